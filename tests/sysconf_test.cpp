// System configuration of a channel: detail fields, scheme count, device type and the style documents chosen.
#include <cstring>
#include <filesystem>
#include <string>

#include "ModuleConfigure.h"
#include "ModuleTest.h"
#include "sensor.h"

using namespace testsupport;

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

    std::string init(int channel, unsigned type, const std::string& detail = "(x=1)", const std::string& params = "p")
    {
        writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini", "deviceType=" + std::to_string(type) + "\n");
        ModuleConfigure mc;
        mc.setModuleId(334), mc.setDetail(detail), mc.setParameters(params);
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

TEST_F(SysConfTest, RecordTakesTheConfigurationAndTheSchemeCount)
{
    const std::pair<const char*, u32> cases[] = {{"", 4}, {"(max_scheme2)", 4}, {"(max_scheme=abc)", 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(init(1, 1, c.first), "") << c.first;
        EXPECT_EQ(conf_.nSchemeSum, c.second) << c.first;
    }
    // Texts longer than their fields are cut and stay terminated.
    EXPECT_EQ(init(1, 14, "(max_scheme=3)" + std::string(600, 'd'), std::string(300, 'p')), "");
    EXPECT_EQ(conf_.moduleConfig.szDetail, "(max_scheme=3)" + std::string(511 - 14, 'd'));
    EXPECT_EQ(conf_.moduleConfig.szParameters, std::string(255, 'p'));
    EXPECT_EQ((std::vector<u32>{(u32)conf_.moduleConfig.nModuleId, conf_.nSchemeSum, conf_.nDeviceType}),
              (std::vector<u32>{334, 3, 14}));
}

TEST_F(SysConfTest, MissingOrOversizedDocumentsAreReportedAndLeaveAnEmptyStyle)
{
    const std::string styleLoad = "loadFromFile(strStyleFileName.c_str(), p_stSysConf->szUIStyle, "
                                  "getFileLen(strStyleFileName.c_str())) > 0";
    removeFile(path("Style.xml"));
    writeFile(path("StyleDiversity.xml"), "");
    std::filesystem::resize_file(hostsim::mapPath(path("StyleDiversity.xml")), (16 << 20) + 1);
    const std::string out = init(1, 1);
    EXPECT_EQ(out.substr(0, out.find("fun:mergeStyle")),
              failed("SensorFile.cpp fun:getFileLen", "file.open(file_name)", "file_name(" + path("Style.xml") + ")") +
                  failed("sensor.cpp fun:initSysConf", styleLoad) + colorPrefix(0) +
                  "[sensor assert] file:sensor.cpp fun:styleFileLen line:#\nstyle file " + path("StyleDiversity.xml") +
                  ": length 16777217 refused\n" + kColorEnd +
                  failed("sensor.cpp fun:initSysConf", "loadFromFile(strStyleDivFileName.c_str(), ui_styleDiversity, "
                                                       "getFileLen(strStyleDivFileName.c_str())) > 0") +
                  colorPrefix(31) + "[sensor assert] file:SensorStyle.cpp ");
    EXPECT_STREQ(conf_.szUIStyle, "");
    EXPECT_EQ(readFile("/tmp/merge_style_ch1.xml"), "");
}

}  // namespace
