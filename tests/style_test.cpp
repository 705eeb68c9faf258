// The UI style of a channel: the documents its device type and channel choose, the model's diversity merged
// into them, the rewrite by the image library's run-time ranges, and the factory set read out of the result.
#include <tinyxml.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <tuple>

#include "ModuleTest.h"
#include "SensorFile.h"
#include "SensorKeyVal.h"
#include "sensor.h"

using namespace testsupport;
using Items = std::vector<s32>;
using Pairs = std::vector<std::pair<u32, s32>>;

namespace {

std::string path(const std::string& name)
{
    const bool diversity = name.find("Div") != std::string::npos;
    return "/hd1/moduleConfig/sensorConfig/style" + std::string(diversity ? "Diversity/" : "/") + name;
}

TEST(DetailFieldTest, FirstOccurrenceOfTheNameUpToTheNextClosingParenthesis)
{
    const struct { const char *detail, *field; int ret; u32 number; const char* text; } cases[] = {
        {"(max_scheme=2)", "max_scheme", 0, 2, "2"},     {"", "max_scheme", -1, 77, ""},
        {"(max_scheme2)", "max_scheme", -1, 77, ""},     {"(max_scheme=2", "max_scheme", -1, 77, ""},
        {"(max_scheme=abc)", "max_scheme", 0, 0, "abc"}, {"(max_scheme2)(isInfrared=1)", "max_scheme", 0, 1, "1"},
        {"(lensId=0)(old_max_scheme=3)(max_scheme=2)", "max_scheme", 0, 3, "3"}, {"(lensId=)(x=5)", "lensId", 0, 0, ""},
        {"(v=123456789)", "v", 0, 123456789, "123456789"},
        // Ten characters and more do not fit the 10-byte value buffers: nine are kept.
        {"(v=1234567890123)", "v", 0, 123456789, "123456789"}, {"(s=IMX334ABCDEFGHIJ)", "s", 0, 0, "IMX334ABC"},
    };
    for (const auto& c : cases) {
        u32 number = 77;
        EXPECT_EQ(getDetailFieldTou32(c.detail, c.field, &number), c.ret) << c.detail;
        EXPECT_EQ(number, c.number) << c.detail;
        // The text reader writes the value's characters only: no terminator, nothing past them.
        char text[16];
        std::memset(text, '#', sizeof(text));
        EXPECT_EQ(getDetailFieldToStr(c.detail, c.field, text), c.ret) << c.detail;
        EXPECT_EQ(std::string(text, sizeof(text)), (c.text + std::string(16, '#')).substr(0, 16)) << c.detail;
    }
}

class SysConfTest : public ModuleTest {
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        setDebugLevel(1);  // and the directory /tmp, where the merged style goes
        // Each style names itself on its root; each diversity adds a tab naming itself.
        for (const std::string kind : {"", "_dome", "_Thermal"}) {
            writeFile(path("Style" + kind + ".xml"), "<s file=\"" + kind + "\"><tab key=\"t\"/></s>");
            writeFile(path("StyleDiversity" + kind + ".xml"),
                      R"(<m x="1"><AddAfter tab_key="t"><tab key=")" + kind + "\"/></AddAfter></m>");
        }
    }
    void TearDown() override { uinitSysConf(&conf_), ModuleTest::TearDown(); }

    std::string init(int channel, unsigned type)
    {
        writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini", "deviceType=" + std::to_string(type) + "\n");
        ModuleConfigure mc;
        mc.setDetail("(x=1)");
        uinitSysConf(&conf_);
        return output([&] { EXPECT_EQ(initSysConf(channel, mc, &conf_), 0); });
    }
    // "style+diversity" by their kinds, as the merged style shows them.
    std::string chosen() const
    {
        const std::string style = conf_.szUIStyle;
        const size_t file = style.find("file=\"") + 6, added = style.find("<tab key=\"", style.find("\"t\"")) + 10;
        return style.substr(file, style.find('"', file) - file) + "+" +
               style.substr(added, style.find('"', added) - added);
    }

    SysConfig conf_{};
};

TEST_F(SysConfTest, DocumentsFollowDeviceTypeAndChannel)
{
    // Per device type, the documents of channels 1, 2 and 3: Standard, Dome or Thermal.
    const std::pair<unsigned, const char*> cases[] = {
        {1, "SSS"},  {8, "SSS"},  {9, "SSS"},  {11, "SSS"}, {15, "SSS"}, {16, "SSS"}, {18, "SSS"},  {22, "SSS"},
        {13, "STS"}, {14, "STS"}, {17, "STS"}, {19, "DTD"}, {23, "DTD"}, {4, "DDD"},  {20, "DDD"},  {104, "DDD"},
        {0, "DDD"},  {5, "DDD"},  {21, "DDD"}};  // unknown types: reported, then the dome documents
    for (const auto& c : cases) {
        for (int channel = 1; channel <= 3; ++channel) {
            SCOPED_TRACE(testing::Message() << "type " << c.first << " channel " << channel);
            const std::string out = init(channel, c.first);
            EXPECT_EQ(out.find("machineinfo, devicetype(" + std::to_string(c.first) +
                               ") error, must be 1 or 4 or 8 or 9 or 13\n") != std::string::npos,
                      c.first == 0 || c.first == 5 || c.first == 21);
            const char kind = c.second[channel - 1];
            EXPECT_EQ(chosen(), kind == 'S' ? "+" : kind == 'D' ? "_dome+_dome" : "_Thermal+_Thermal");
        }
    }
}

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

// The dynamic style is printed by the module in TinyXML's file layout: every kind of node, every quoting and
// escaping rule, byte for byte what TinyXML itself writes to a file.
TEST_F(StyleTest, TheDynamicStyleIsWhatTinyXmlWritesToAFile)
{
    const char* docs[] = {
        "",
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?><!--top--><s/>",
        "<?xml version=\"1.0\"?>\n<style><tab key=\"a\" title='say \"hi\"' x=\"it's\"/></style>",
        "<s a=\"x&amp;y &lt;&gt; &#x41;&#20;\" b=\"caf\xc3\xa9\">one &amp; two &quot;q&apos; \x01 &#xA9;</s>",
        "<s><t>only text</t><m>a<b/>tail<c>x</c></m><e></e><![CDATA[raw <x> & y]]><!DOCTYPE d><!--in--></s>",
        "<a><b><c><d id=\"1\" value=\"2\"><item>3</item><item>4</item></d></c></b></a><!--after-->",
        "<s>  spaced   text  </s><t>\n</t>",
        "\xef\xbb\xbf<s a=\"1\" b=\"&unknown;\">&amp</s>",
    };
    for (const char* doc : docs) {
        SCOPED_TRACE(doc);
        TiXmlDocument reference;
        reference.Parse(doc, nullptr, TIXML_ENCODING_UTF8);
        char* buffer = nullptr;
        size_t size = 0;
        FILE* stream = open_memstream(&buffer, &size);
        ASSERT_NE(stream, nullptr);
        reference.SaveFile(stream);
        fclose(stream);
        const std::string expected(buffer, size);
        free(buffer);
        EXPECT_EQ(dna(doc, true), expected);
    }
}

// A hostile document cannot drive the element search into the stack: it looks 256 levels deep, no further,
// in a search and in the dynamic style's pass (which finds its elements through an index of its own).
TEST_F(StyleTest, ElementSearchStopsBelowDepth256)
{
    for (int depth : {256, 257}) {
        SCOPED_TRACE(depth);
        std::string open, close;
        for (int i = 0; i < depth; ++i) open += "<g>", close += "</g>";
        TiXmlDocument doc;
        doc.Parse((open + R"(<p id="34" value="7"/>)" + close).c_str());
        int value = -1;
        EXPECT_EQ(getDnaValbyCmdId(doc.RootElement(), 34, value), 0);
        EXPECT_EQ(value, depth == 256 ? 7 : -1);
        library({{34, 1, {0, 2}}});
        EXPECT_EQ(flat(dna(open + R"(<p id="34" value="7">)" + choices({0, 1, 2}) + "</p>" + close)),
                  depth == 256 ? "34=1[0,2]" : "34=7[0,1,2]");
    }
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
