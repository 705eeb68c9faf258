// Factory set read out of the dynamic style, and the library's correction of a set's values.
#include <cstdlib>

#include "ModuleTest.h"
#include "SensorFile.h"
#include "SensorKeyVal.h"

using namespace testsupport;
using Pairs = std::vector<std::pair<u32, s32>>;

namespace {

class FactoryTest : public ModuleTest {
protected:
    // The factory set, read into a heap block of exactly 160 entries so that a write past it is caught.
    Pairs factory(std::string style, bool showWdr = false)
    {
        KeyVal* set = static_cast<KeyVal*>(std::malloc(SENSOR_FCT_KEYVAL_MAX * sizeof(KeyVal)));
        u32 count = 999;
        out_ = output([&] { EXPECT_EQ(getFctData(1, &style[0], set, &count, showWdr), 0); });
        Pairs pairs;
        for (u32 i = 0; i < count && i < SENSOR_FCT_KEYVAL_MAX; ++i) pairs.emplace_back(set[i].key, set[i].value);
        std::free(set);
        return pairs;
    }
    std::string out_;
};

TEST_F(FactoryTest, EveryElementWithIdAndValueIsAnEntryAndTheSetHasRoomFor160)
{
    const std::string style = R"(<s><g><p id="34" value="50"/><p id="2337" value="128"/></g><p id="7"><p id="8" )"
                              R"(value="12abc"/></p><p value="3"/><p id="34" value="-5"><o id="9" value="1"/>)"
                              R"(</p><p id="10" value="1"/><p id="11" value="2"/></s>)";
    const Pairs all = {{34, 50}, {2337, 128}, {8, 12}, {34, -5}, {9, 1}, {10, 1}, {11, 2}};
    g_bShoWBeawayFalg = false;
    EXPECT_EQ(factory(style), all);
    EXPECT_EQ(factory(style, true), (Pairs{all[0], all[1], all[2], all[3], all[4], all[6]}));
    g_bShoWBeawayFalg = true;
    EXPECT_EQ(factory(style, true), Pairs(all.begin(), all.end() - 2));
    EXPECT_EQ(out_, "");
    EXPECT_EQ(factory(""), Pairs{});
    EXPECT_EQ(out_, failed("SensorStyle.cpp fun:getDnaStyle", "objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)") +
                        failed("SensorStyle.cpp fun:getFctData",
                               "objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8)"));

    std::string many = "<s>";
    for (int i = 0; i < 170; ++i) {
        many += "<p id=\"" + std::to_string(1000 + i) + "\" value=\"" + std::to_string(i) + "\"/>";
    }
    const Pairs set = factory(many + "</s>");
    ASSERT_EQ(set.size(), 160u);
    EXPECT_EQ(set.back(), std::make_pair(1159u, 159));
    EXPECT_EQ(out_, failed("SensorStyle.cpp fun:getFctData",
                           "SNS_SUCCESS == style2KeyVal(pRootNode, p_pKeyVal, p_pnKeyValNum)", "p_pnKeyValNum(160)\n"));
}

TEST_F(FactoryTest, CorrectionTouchesOnlyTheFirstEntryOfEachListedKey)
{
    hostsim::SimIsp& isp = hostsim::SimIsp::instance();
    ia_dynamic_params_attr_st shutter{};
    shutter.items_cnt = 3, shutter.item[0] = 6, shutter.item[1] = 12, shutter.item[2] = 25;
    isp.setRange(1, 49, shutter);
    isp.setDynamicCommands(1, {49, 82});
    std::vector<KeyVal> set = {{34, 50}, {49, 7}, {49, 7}};
    EXPECT_EQ(output([&] { EXPECT_EQ(keyval_correct(1, set.data(), 3), 0); }), colorPrefix(0) +
              "[sensor assert] file:SensorKeyVal.cpp fun:keyval_correct line:#\ncmd_list[1]=82\n" + kColorEnd);
    EXPECT_EQ(Pairs({{set[0].key, set[0].value}, {set[1].key, set[1].value}, {set[2].key, set[2].value}}),
              Pairs({{34, 50}, {49, 6}, {49, 7}}));
    EXPECT_EQ(take(), (Strings{ia(4112, "", 1, 0, 1), ia(49, 7, 3, 0, 1)}));

    // A refused correction is reported and the walk goes on.
    isp.setDynamicCommands(1, {49, 34});
    isp.addFault(hostsim::IspFault{1, 49, 3, 0, 1, -1});
    EXPECT_EQ(output([&] { EXPECT_EQ(keyval_correct(1, set.data(), 3), 0); }),
              failed("SensorKeyVal.cpp fun:keyval_correct", "SNS_SUCCESS == ia_ioctrl_v2(p_nChannel_id, (ia_cmd_e)"
                     "p_pKeyval[index].key, IA_CMD_OPT_CORRECT_PARAM, &p_pKeyval[index].value)"));
    EXPECT_EQ(take(), (Strings{ia(4112, "", 1, 0, 1), ia(49, 6, 3, -1, 1), ia(34, 50, 3, 0, 1)}));
    // No list, nothing to correct; no set, -1.
    isp.setDynamicCommands(1, {});
    EXPECT_EQ(keyval_correct(1, set.data(), 3), 0);
    EXPECT_EQ(take(), Strings{ia(4112, "", 1, 0, 1)});
    EXPECT_EQ(output([&] { EXPECT_EQ(keyval_correct(1, nullptr, 3), -1); }),
              failed("SensorKeyVal.cpp fun:keyval_correct", "NULL != p_pKeyval"));
}

}  // namespace
