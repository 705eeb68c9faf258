// The UI style: the model's diversity merged into it, and the rewrite by the image library's run-time ranges.
#include <tinyxml.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <tuple>

#include "ModuleTest.h"
#include "SensorFile.h"

using namespace testsupport;
using Items = std::vector<s32>;

namespace {

std::string failedIn(const std::string& func, const std::string& cond) { return failed("SensorStyle.cpp fun:" + func, cond); }

std::string attr(const TiXmlElement* e, const char* name, const char* none = "")
{
    return e->Attribute(name) != nullptr ? e->Attribute(name) : none;
}
// Tabs as "key:name,...", or parameters as "id=value[index,...] ...", in document order.
void flatten(const TiXmlElement* e, bool tabs, std::string& out)
{
    for (const TiXmlElement* c = e->FirstChildElement(); c != nullptr; c = c->NextSiblingElement()) {
        if (tabs) {
            out += (out.empty() ? "" : ",") + attr(c, "key") + ":" + attr(c, "name");
        } else if (c->Attribute("id") == nullptr) {
            flatten(c, false, out);
        } else {
            out += (out.empty() ? "" : " ") + attr(c, "id") + "=" + attr(c, "value");
            for (const TiXmlElement* o = c->FirstChildElement(); o != nullptr; o = o->NextSiblingElement()) {
                out += (o == c->FirstChildElement() ? "[" : ",") + attr(o, "index", "?");
                out += o->NextSiblingElement() != nullptr ? "" : "]";
            }
        }
    }
}
std::string flat(const std::string& xml, bool tabs = false)
{
    TiXmlDocument doc;
    doc.Parse(xml.c_str());
    std::string out;
    if (doc.RootElement() != nullptr) flatten(doc.RootElement(), tabs, out);
    return out;
}

std::string choices(const Items& indexes)
{
    std::string text;
    for (s32 i : indexes) text += "<o index=\"" + std::to_string(i) + "\"/>";
    return text;
}

class StyleTest : public ModuleTest {
protected:
    void SetUp() override { ModuleTest::SetUp(), setDebugLevel(1); }

    // The merged style; what the merge printed goes to out_.
    std::string merge(const std::string& style, std::string diversity, const std::string& detail, int channel = 1)
    {
        ModuleConfig mc{};
        std::snprintf(mc.szDetail, sizeof(mc.szDetail), "%s", detail.c_str());
        char* text = strdup(style.c_str());  // the merge reallocates it
        out_ = output([&] { EXPECT_EQ(mergeStyle(channel, &mc, &text, &diversity[0]), 0); });
        const std::string merged = text;
        std::free(text);
        return merged;
    }
    std::string dna(const std::string& style, bool showWdr = false)
    {
        std::string result;
        out_ = output([&] { EXPECT_EQ(getDnaStyle(1, style.c_str(), result, showWdr), 0); });
        return result;
    }
    // The library's dynamic commands in order, each with its default and items.
    void library(const std::vector<std::tuple<u32, s32, Items>>& ranges)
    {
        std::vector<std::uint32_t> cmds;
        for (const auto& [cmd, def, items] : ranges) {
            ia_dynamic_params_attr_st r{};
            r.def_val = def, r.items_cnt = static_cast<s32>(items.size());
            std::copy(items.begin(), items.end(), r.item);
            cmds.push_back(cmd), isp_.setRange(0, cmd, r);
        }
        isp_.setDynamicCommands(0, cmds);
    }

    hostsim::SimIsp& isp_ = hostsim::SimIsp::instance();
    std::string out_;
};

TEST_F(StyleTest, ConditionMatchesTheDetailFieldOnFiveCharacters)
{
    const struct { const char *attributes, *detail; bool applied; } cases[] = {
        {"f=\"AB123,CD45\"", "(f=AB123)", true},  {"f=\"AB123,CD45\"", "(f=AB1234)", true},
        {"f=\"AB123,CD45\"", "(f=CD45)", true},   {"f=\"AB123,CD45\"", "(f=CD4)", false},
        {"f=\"AB123,CD45\"", "(f=AB12)", false},  {"f=\"AB123,CD45\"", "(g=AB123)", false},
        {"f=\"AB123\"", "(f=AB123XYZXYZXYZ)", true}, {"f=\"A,B\"", "(f=A,B)", true},
        {"", "(f=AB123)", false},                 {R"(g="1" f="AB123")", "(f=AB123)", true},
        // Only the first matching attribute counts: the block runs once.
        {R"(f="AB123" g="1")", "(g=1)(f=AB123)", true},
    };
    for (const auto& c : cases) {
        const std::string div = std::string("<m ") + c.attributes + R"(><AddAfter tab_key="b"><tab key="x"/>)";
        EXPECT_EQ(flat(merge(R"(<s><tab key="a"/><tab key="b"/></s>)", div + "</AddAfter></m>", c.detail), true),
                  c.applied ? "a:,b:,x:" : "a:,b:") << c.attributes << c.detail;
        EXPECT_EQ(out_, "");
    }
}

TEST_F(StyleTest, BlocksEditTheRealTabsInTurnAndTheMergeFileIsTheStyle)
{
    std::ifstream in(std::string(SENSOR_PROFILES_DIR) + "/style/Style.xml");
    const std::string style((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::string div =
        R"(<m lensId="0"><Modify tab_key="exposure"><tab key="exposure" name="new"/></Modify>)"
        R"(<AddAfter tab_key="lens"><tab key="zoom" name="Zoom"/></AddAfter></m>)"
        // A copy of a tab, then a delete of that key, removes the first of the two: the original.
        R"(<m lensId="0,1"><AddAfter tab_key="image"><tab key="image" name="copy"/></AddAfter>)"
        R"(<Delete tab_key="image"/></m><m lensId="1"><Delete tab_key="scheme"/></m><m lensId="0"/>)"
        R"(<m lensId="0"><Replace tab_key="iris"/><Delete tab_key="Iris"/><Delete/><Modify tab_key="light"/></m>)";
    const std::string merged = merge(style, div, "(lensId=0)", 2);
    EXPECT_EQ(flat(merged, true), "scheme:Schemes,image:copy,exposure:new,iris:Iris,whitebalance:White balance,"
                                  "daynight:Day/night,light:Illumination,enhance:Enhancement,lens:Lens,zoom:Zoom");
    EXPECT_EQ(out_, failedIn("mergeStyle", "NULL != (node_second = node_first->FirstChildElement())"));
    EXPECT_EQ(readFile("/tmp/merge_style_ch2.xml"), merged);
}

TEST_F(StyleTest, MalformedEmptyAndTruncatedDocumentsAreReportedAndUsedAsFarAsTheyParse)
{
    const std::string ok = R"(<s><tab key="a"/><tab key="b"/></s>)", okPrinted = "<s>\n    <tab key=\"a\" />\n"
                                                                                   "    <tab key=\"b\" />\n</s>\n";
    const std::string badStyle = failedIn("mergeStyle", "doc_style.LoadMem(*ui_style, TIXML_ENCODING_UTF8)"),
                      badDiv = failedIn("mergeStyle", "doc_style_div.LoadMem(ui_styleDiversity, TIXML_ENCODING_UTF8)"),
                      noBlock = failedIn("mergeStyle", "NULL != (node_first = doc_style_div.RootElement())"),
                      noMerge = failedIn("mergeStyle", "loadFromFile(filename, *ui_style, file_len) > 0"),
                      badDna = failedIn("getDnaStyle", "objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)");
    // What the parser kept of a broken document is what the merge and the rewrite go on with.
    const struct { std::string style, diversity, reports, merged; } cases[] = {
        {"", "<m/>", badStyle + noMerge, ""},
        {"<s><tab key=\"a\"/><tab", "<m/>", badStyle, "<s>\n    <tab key=\"a\" />\n    <tab />\n</s>\n"},
        {ok, "", badDiv + noBlock, okPrinted},
        {ok, "no markup", badDiv + noBlock, okPrinted},
        {ok, R"(<m f="1"><Delete tab_key="a"/>)", badDiv, "<s>\n    <tab key=\"b\" />\n</s>\n"},
        // Cut after the lead byte of a three-byte character: what follows its terminator is not the
        // document's ("&" would start an entity).
        {ok, "<m f=\"1\"><Delete tab_key=\"a\" x=\"\xe4" + std::string(1, '\0') + std::string(16, '&'), badDiv,
         "<s>\n    <tab key=\"b\" />\n</s>\n"},
    };
    for (const auto& c : cases) {
        const std::string merged = merge(c.style, c.diversity, "(f=1)");
        EXPECT_EQ(out_, c.reports) << c.style << " | " << c.diversity;
        EXPECT_EQ(merged, c.merged) << c.style << " | " << c.diversity;
        EXPECT_EQ(readFile("/tmp/merge_style_ch1.xml"), merged);
        const bool broken = c.style != ok;
        EXPECT_EQ(dna(c.style), broken ? merged : okPrinted) << c.style;
        EXPECT_EQ(out_, broken ? badDna : "") << c.style;
    }
}

TEST_F(StyleTest, LibraryDecidesDefaultsChoicesAndPlaceholders)
{
    library({{2337, 1, {0, 2}}, {34, 60, {1}}, {96, 0, {}}, {2384, 3, {}}});
    const std::string style = R"(<s><tab><p id="2337" value="9">)" + choices({0, 1, 2, 3}) +
                              R"(</p><p id="34" value="50"><o index="0"/><o/><o index="5"/></p><p id="96" value="4">)" +
                              choices({1, 2}) + R"(</p><p id="2384" value="7"/><p id="8000" value="1"/></tab><g>)" +
                              R"(<p id="2337" value="9">)" + choices({2, 3}) + "</p></g></s>";
    // A choice without index stops the filtering of its parameter only.
    EXPECT_EQ(flat(dna(style)), "2337=1[0,2] 34=60[?,5] 96=0 2384=3 8000=1 2337=1[2]");
    EXPECT_EQ(out_, failedIn("getDnaStyle", "SNS_SUCCESS == doDnaStyle(objStyleXmlDoc.RootElement(), "
                                          "dnaCmdList.cmd_list[i], &dnaParamList)"));
    EXPECT_EQ(take(), (Strings{ia(4112, "", 1), ia(2337, "", 2), ia(34, "", 2), ia(96, "", 2), ia(2384, "", 2)}));

    // The placeholders go with their flags; of two with one id, the later one goes.
    const std::string spacers = R"(<s><t><p id="10" value="1"/><p id="11" value="2"/></t><p id="10" value="3"/></s>)";
    const char* const kept[2][2] = {{"10=1 11=2 10=3", "10=1 10=3"}, {"10=1 11=2", "10=1"}};
    for (const bool wdr : {false, true}) {
        for (const bool beaway : {false, true}) {
            g_bShoWBeawayFalg = beaway;
            EXPECT_EQ(flat(dna(spacers, wdr)), kept[wdr][beaway]) << wdr << beaway;
        }
    }
}

// The console lines of the scan of the library's items for the style's own value.
std::string scanned(int value, const Items& items, size_t upTo)
{
    std::string text = "dnaCmdList.cmd_list[0] = dnaParamList.items_cnt(" + std::to_string(items.size()) + ")\n";
    for (size_t j = 0; j < upTo; ++j) {
        text += " dnaParamList.item[" + std::to_string(j) + "] = " + std::to_string(items[j]) + " nVal = " +
                std::to_string(value) + " \n";
    }
    return text;
}

TEST_F(StyleTest, ShutterAndFocusLimitsMayTakeTheirDefaultOrChoicesFromTheStyle)
{
    const struct { u32 cmd; int value; Items choices; s32 def; Items items; std::string expected, console; } cases[] = {
        {49, 203, {1, 2, 4, 8}, 25, {6, 12, 25}, "49=3[1,2,4,8]", scanned(203, {6, 12, 25}, 3)},
        {49, 200, {}, 25, {6}, "49=0", scanned(200, {6}, 1)},
        {50, 100, {25, 30, 60}, 60, {25, 60}, "50=60[25,60]", ""},
        {50, 60, {25, 30, 60, 100}, 25, {25, 30, 60, 100}, "50=60[25,30,60,100]", scanned(60, {25, 30, 60, 100}, 3)},
        {50, 203, {25, 30, 60}, 30, {25, 30}, "50=30[25,30]", scanned(203, {25, 30}, 2)},
        {1537, 7, {}, 2, {0, 1, 2, 3, 4, 5}, "1537=2", scanned(7, {0, 1, 2, 3, 4, 5}, 6)},
        {1537, 203, {1, 2, 4, 8}, 2, {0, 1, 2}, "1537=2[1,2]", scanned(203, {0, 1, 2}, 3)},
        {2337, 25, {6, 25}, 6, {6, 25}, "2337=6[6,25]", ""},
    };
    for (const auto& c : cases) {
        isp_.reset();
        library({{c.cmd, c.def, c.items}});
        const std::string param = "<p id=\"" + std::to_string(c.cmd) + "\" value=\"" + std::to_string(c.value) + "\">";
        EXPECT_EQ(flat(dna("<s><t>" + param + choices(c.choices) + "</p></t></s>")), c.expected) << c.cmd << c.value;
        EXPECT_EQ(out_, c.console) << c.cmd << " " << c.value;
    }
    // The style's own list: the record holds 64 choices, further ones are dropped.
    Items many(70);
    for (int i = 0; i < 70; ++i) many[i] = i + 1;
    std::string kept = "49=5";
    for (int i = 1; i <= 64; ++i) kept += (i == 1 ? "[" : ",") + std::to_string(i);
    library({{49, 25, {6}}});
    EXPECT_EQ(flat(dna(R"(<s><p id="49" value="205">)" + choices(many) + "</p></s>")), kept + "]");
}

// A hostile document cannot drive the element search into the stack: an element nested deeper than 256
// levels below where the search starts is not found.
TEST_F(StyleTest, ElementSearchStopsBelowDepth256)
{
    for (int depth : {256, 257}) {
        SCOPED_TRACE(depth);
        std::string xml;
        for (int i = 0; i < depth; ++i) xml = "<g>" + xml + "</g>";
        xml.insert(3 * depth, "<p id=\"34\" value=\"7\"/>");  // inside the innermost "<g>"
        TiXmlDocument doc;
        doc.Parse(xml.c_str());
        int value = -1;
        EXPECT_EQ(getDnaValbyCmdId(doc.RootElement(), 34, value), 0);
        EXPECT_EQ(value, depth == 256 ? 7 : -1);
    }
}

TEST_F(StyleTest, FailedQueriesLeaveTheRecordAsItWasAndTheListIsBounded)
{
    // No range for 34: it gets the one 2337 left behind.
    library({{2337, 1, {0, 2}}});
    isp_.setDynamicCommands(0, {2337, 34});
    const std::string style = R"(<s><p id="2337" value="5">)" + choices({0, 1}) + R"(</p><p id="34" value="50">)" +
                              choices({0, 1, 2}) + "</p></s>";
    EXPECT_EQ(flat(dna(style)), "2337=1[0] 34=1[0,2]");
    EXPECT_EQ(out_, failedIn("getDnaStyle", "SNS_SUCCESS == ia_ioctrl_v2(p_channelID-1, (ia_cmd_e)dnaCmdList."
                                          "cmd_list[i], IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&dnaParamList))"));
    EXPECT_EQ(take(), (Strings{ia(4112, "", 1), ia(2337, "", 2), ia(34, "", 2, -1)}));
    isp_.addFault(hostsim::IspFault{-1, 4112, -1, 0, 1, -1});
    EXPECT_EQ(flat(dna(style)), "2337=5[0,1] 34=50[0,1,2]");
    EXPECT_EQ(out_, failedIn("getDnaStyle", "SNS_SUCCESS == ia_ioctrl_v2(p_channelID-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, "
                                          "IA_CMD_OPT_GET, (void*)(&dnaCmdList))"));
    EXPECT_EQ(take(), Strings{ia(4112, "", 1, -1)});

    // A count beyond the list's 16 places takes the 16; a negative one takes none.
    std::vector<std::tuple<u32, s32, Items>> twenty;
    for (u32 cmd = 100; cmd < 120; ++cmd) twenty.emplace_back(cmd, 1, Items{1});
    library(twenty);
    for (const s32 count : {20, -3}) {
        isp_.setCommandCount(0, count);
        take();
        dna(style);
        EXPECT_EQ(take().size(), count < 0 ? 1u : 17u) << count;
    }
}

}  // namespace
