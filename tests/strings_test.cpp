// Parameter strings from the web interface: pair lists, key lists, all parameters, ranges and the sensor check.
#include "ModuleTest.h"
#include "SensorKeyVal.h"

using namespace testsupport;
using Pairs = std::vector<std::pair<u32, s32>>;

namespace {

const std::string kCut = failed("SensorKeyVal.cpp fun:keyval_str2st", "*p_pnCount < p_nCapacity",
                                "keyval_str2st: more than 2 pairs, text cut\n");
// A refused key list shows the source line right after the file name; output() masks it.
const std::string kRefused = "ISensorController_strings.cpp# getParameters fail p_strIds = ";

// Scans into a heap block of exactly `room` entries, so a write past it is caught.
std::pair<int, Pairs> scan(const std::string& text, unsigned room)
{
    std::vector<KeyVal> set(room);
    unsigned count = 999;
    const int ret = keyval_str2st(text, set.data(), &count, room);
    Pairs out;
    for (unsigned i = 0; i < count && i < room; ++i) out.emplace_back(set[i].key, set[i].value);
    return {ret, out};
}

class StringsTest : public BareControllerTest {
protected:
    void SetUp() override
    {
        BareControllerTest::SetUp();
        // Two user schemes and the factory set; the scratch set holds exactly one set.
        install(std::vector<std::vector<KeyVal>>(3, {{34, 50}, {49, 47}}));
        range_.def_val = 40, range_.items_cnt = 3;
        range_.item[0] = 33, range_.item[1] = 40, range_.item[2] = 50;
    }
    void styleMaxShutter(const std::string& value)
    {
        writeFile("/tmp/merge_style_ch1.xml", "<style><tab><param id=\"49\" value=\"" + value + "\"/></tab></style>");
    }
    // Also masks the source line printed right after the file name of a refused key list.
    template <typename F>
    std::string said(F&& action)
    {
        return maskDigitsAfter(output(action), ".cpp");
    }
    s32 shutter(u32 scheme) { return Peer::set(*ctl_, scheme)[1].value; }

    hostsim::SimIsp& isp_ = hostsim::SimIsp::instance();
    ia_dynamic_params_attr_st range_{};
};

TEST(PairListTest, ScanningRules)
{
    const std::vector<std::pair<std::string, Pairs>> cases = {
        {"(34,50)(2337,60)", {{34, 50}, {2337, 60}}}, {"xx(34,50)yy(2337,60)zz", {{34, 50}, {2337, 60}}},
        {"(34,50)(2337,", {{34, 50}}}, {"(abc)", {{0, 0}}}, {"(34,50)(x,y)", {{34, 50}, {34, 50}}},
        {"(34,50)(8 ,9)", {{34, 50}, {8, 50}}}, {"( 7, -3)", {{7, -3}}}, {"(", {}}, {"(34,50)(", {{34, 50}}},
        // A ")" just before the "(" gives an empty piece; one further before, the rest of the text.
        {")(", {}}, {")(5,6)", {{0, 0}, {5, 6}}}, {"(1,2))x(34", {{1, 2}, {34, 2}}},
        {"(1,2))x(3,9)", {{1, 2}, {3, 9}, {3, 9}}},
        {"(99999999999,-99999999999)", {{2147483647u, -2147483647 - 1}}},
    };
    for (const auto& c : cases) EXPECT_EQ(scan(c.first, 8), std::make_pair(0, c.second)) << c.first;
    std::string out = "pre";
    KeyVal pairs[] = {{34, 50}, {16, -1}};
    keyval_st2str(out, pairs, 2);
    EXPECT_EQ(out, "pre(34,50)(16,-1)");
}

TEST_F(StringsTest, PairListsAreCutAtTheScratchSetAndKeyListsAnsweredKeyByKey)
{
    std::pair<int, Pairs> got;
    EXPECT_EQ(said([&] { got = scan("(1,2)(3,4)(5,6)(7,8)", 2); }), kCut);
    EXPECT_EQ(got, std::make_pair(-1, Pairs{{1, 2}, {3, 4}}));

    // The first two pairs are applied and recorded, the rest dropped.
    int ret = -999;
    EXPECT_EQ(said([&] { ret = ctl_->setParameters(std::string("(34,60)(49,40)(2337,70)"), true); }), kCut + "\n");
    EXPECT_EQ(ret, 0);
    EXPECT_EQ(take(), (Strings{ia(34, 60), ia(49, 40)}));
    EXPECT_EQ(Peer::set(*ctl_, 0)[0].value, 60);
    EXPECT_EQ(shutter(0), 40);

    // Key lists: "(" first, ")" last, nothing after.
    Strings items;
    EXPECT_TRUE(ctl_->parseSensorParameter("(34)", items));
    EXPECT_TRUE(ctl_->parseSensorParameter("(34,2337)", items));
    EXPECT_EQ(items, (Strings{"34", "34", "2337"}));
    for (const std::string text : {"", "()", " (34)", "(34", "(34))", "(34)x", "34)", "3)4)"}) {
        EXPECT_FALSE(ctl_->parseSensorParameter(text, items)) << text;
    }

    // Keys outside the set are asked of the library; one it cannot read is left out.
    isp_.setValue(0, 2337, 60);
    failIsp(9999);
    std::string out = "old";
    EXPECT_EQ(said([&] { EXPECT_TRUE(ctl_->getParameters("(34,9999,2337,x)", out)); }),
              failed("ISensorController_params.cpp fun:getParameter",
                          "SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)", "get key(9999) val from 2a err") +
                  "@@ out_Parameters = (34,60)(2337,60)(0,0) @@\n");
    EXPECT_EQ(out, "(34,60)(2337,60)(0,0)");
    EXPECT_EQ(take(), (Strings{ia(9999, 0, 1, -1), ia(2337, 0, 1), ia(0, 0, 1)}));
    EXPECT_EQ(said([&] { EXPECT_FALSE(ctl_->getParameters("34", out)); }), kRefused + "34 \n");
    EXPECT_EQ(out, "(34,60)(2337,60)(0,0)");
}

TEST_F(StringsTest, AllParametersFromTheSavedFileOrTheCorrectedSetInForce)
{
    styleMaxShutter("200");  // the style offers its own shutter list
    std::string out;
    Peer::curScheme(*ctl_) = 2;
    EXPECT_EQ(said([&] { EXPECT_TRUE(ctl_->getAllParameters(out)); }), "");
    EXPECT_EQ(out, "");
    Peer::curScheme(*ctl_) = 1;
    const char file[] = "\x22\0\0\0\x4d\0\0\0\x31\0\0\0\xf6\xff\xff\xff";  // (34,77)(49,-10)
    writeFile("/mnt/mtd/code/config_file/sensor1_1.cfg", std::string(file, 16));
    out = "keep";
    EXPECT_EQ(said([&] { EXPECT_TRUE(ctl_->getAllParameters(out)); }), "");
    EXPECT_EQ(out, "keep(34,77)(49,-10)");
    // Entries a short file lacks are those in memory, not left over in the scratch set.
    writeFile("/mnt/mtd/code/config_file/sensor1_1.cfg", std::string(file, 8));
    out.clear();
    captureStdout([&] { EXPECT_TRUE(ctl_->getAllParameters(out)); });
    EXPECT_EQ(out, "(34,77)(49,47)");

    // Below 200 the set in force is corrected in place and answered.
    styleMaxShutter("25");
    isp_.setDynamicCommands(0, {49});
    isp_.setRange(0, 49, range_);
    Peer::curScheme(*ctl_) = 0;
    out = "(1,1)";
    EXPECT_EQ(said([&] { EXPECT_TRUE(ctl_->getAllParameters(out)); }), "");
    EXPECT_EQ(out, "(1,1)(34,50)(49,50)");
    EXPECT_EQ(std::make_pair(shutter(0), shutter(1)), std::make_pair(50, 47));
    EXPECT_EQ(take(), (Strings{ia(4112, "", 1), ia(49, 47, 3)}));
}

TEST_F(StringsTest, RangeQueryAnswersOnlyForListedRangedCommandsFromFreshRecords)
{
    isp_.setDynamicCommands(0, {34, 49, 82});
    for (u32 cmd : {34, 49}) isp_.setRange(0, cmd, range_);
    int def = -5;
    std::string text = "x:";
    EXPECT_EQ(said([&] { EXPECT_TRUE(ctl_->getSensorParamRange(49, def, text)); }),
              "cmd=49 DefaltParam=40 strParamRange=x:33 40 50\n");
    EXPECT_EQ(std::make_pair(def, text), std::make_pair(40, std::string("x:33 40 50")));
    EXPECT_EQ(take(), (Strings{ia(4112, "", 1), ia(49, "", 2)}));

    def = -5, text = "t";
    const auto unanswered = [&](int cmd, const std::string& printed) {
        EXPECT_EQ(said([&] { EXPECT_FALSE(ctl_->getSensorParamRange(cmd, def, text)); }), printed) << cmd;
        EXPECT_EQ(std::make_pair(def, text), std::make_pair(-5, std::string("t")));
    };
    const std::string where = "ISensorController_strings.cpp fun:getSensorParamRange";
    unanswered(34, "");  // listed, but not a parameter the host may range
    unanswered(50, "");  // not listed
    unanswered(82, failed(where, "SNS_SUCCESS == doIaCmd(p_nCmd, IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&stDynamicParam))"));
    failIsp(4112);
    unanswered(49, failed(where, "SNS_SUCCESS == ia_ioctrl_v2(m_nCameraID-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, "
                                 "IA_CMD_OPT_GET, (void*)(&dnaCmdList))"));
}

TEST_F(StringsTest, SensorCheckQueriesOrSetsAndRefusesShortRequests)
{
    isp_.setSensorCheckResult(0, 42);
    // The request, what it becomes, and the option it was sent with (a query when the second item is 2).
    const struct { std::string request, answer; u32 option; } rows[] = {
        {"(5,2,7)", "42", 1}, {"(5,3,7)", "(5,3,7)", 0}, {"(5,2,7,9)", "42", 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.request);
        std::string text = row.request;
        EXPECT_EQ(said([&] { EXPECT_EQ(ctl_->SensorCheck(text), 0); }), "");
        EXPECT_EQ(text, row.answer);
        EXPECT_EQ(take(), Strings{ia(2816, row.request.substr(1, 5) + ",0", row.option)});
    }
    // Too few items or no list at all: refused without asking the library.
    for (std::string request : {"(5,2)", "5,2,7", ""}) {
        EXPECT_EQ(said([&] { EXPECT_EQ(ctl_->SensorCheck(request), -1); }), kRefused + request + " \n");
    }
    EXPECT_TRUE(take().empty());
    // A failed query answers the zeroed result, never stale memory.
    failIsp(2816, -1, -9);
    std::string text = "(1,2,3)";
    EXPECT_EQ(ctl_->SensorCheck(text), -9);
    EXPECT_EQ(text, "0");
}

}  // namespace
