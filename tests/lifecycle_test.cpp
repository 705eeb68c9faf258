// Start-up, shutdown and factory reset of a channel on the bundled simulated cameras.
#include "CameraTest.h"
#include "SensorDebug.h"

namespace {

using namespace testsupport;

const std::string kVersionFile = "/mnt/mtd/code/config_file/snsversion.cfg";
const std::string kRemove = "shell rm -rf /mnt/mtd/code/config*/sensor1_[0-3].cfg";

std::string scheme(int index) { return "/mnt/mtd/code/config_file/sensor1_" + std::to_string(index) + ".cfg"; }
std::string word(u32 version) { return std::string(reinterpret_cast<const char*>(&version), sizeof(version)); }
int valueOf(const std::vector<KeyVal>& set, u32 key)
{
    for (const KeyVal& kv : set)
        if (kv.key == key) return kv.value;
    return -12345;
}

class LifecycleTest : public CameraTest {
protected:
    // Every scheme file of channel 1 holds the factory set; the one past the last scheme is absent.
    void expectFactoryFiles(ISensorController& c)
    {
        const std::string factory = raw(Peer::set(c, 4));
        for (int i = 0; i < 4; ++i) EXPECT_EQ(raw(schemeFile(scheme(i))), factory) << i;
        EXPECT_FALSE(fileExists(scheme(4)));
    }
    int brightness(ISensorController& c)
    {
        int value = 0;
        EXPECT_TRUE(c.getParameter(34, value));
        return value;
    }
};

TEST_F(LifecycleTest, SchemeFilesComeFromTheFactorySetOnFirstStartResetAndAnOlderVersionOnly)
{
    install("bullet");
    setDebugLevel(4);
    Started c;
    const std::string notice = "check the sensor version,   local(0) --> libsensordll.so(8), source the cmd: "
                               "rm -rf /mnt/mtd/code/config*/sensor*\n";
    EXPECT_NE(captureStdout([&] { c = start(1); }).find(notice), std::string::npos);
    EXPECT_EQ(traced("shell "), Strings{kRemove});
    EXPECT_EQ(readFile(kVersionFile), word(8));
    EXPECT_TRUE(c->getSensorStatus());
    // 81 parameters in the style, less the two placeholders the WDR and corridor flags remove; four schemes
    // (max_scheme=4), each the factory set with the scheme mode 0 first.
    ASSERT_EQ(Peer::set(*c, 4).size(), 79u);
    EXPECT_EQ(Peer::set(*c, 4)[0].key, 8000u);
    expectFactoryFiles(*c);
    EXPECT_EQ(Peer::curScheme(*c).load(), 0);
    // Scheme 0 went out to the library, starting with the first parameter that has a command.
    EXPECT_EQ(traced("ia ch=0 cmd=34 opt=0"), Strings{"ia ch=0 cmd=34 opt=0 in=[50] ret=0"});
    c.reset();

    // A user change, saved in scheme 0's file, survives the reboot; nothing else is written.
    std::vector<KeyVal> saved = schemeFile(scheme(0));
    saved[5].value = 70;  // brightness
    writeSchemeFile(scheme(0), saved);
    hostsim::clearTrace();
    EXPECT_EQ(captureStdout([&] { c = start(1); }).find("check the sensor version"), std::string::npos);
    EXPECT_TRUE(traced("shell ").empty());
    EXPECT_EQ(brightness(*c), 70);
    EXPECT_EQ(raw(schemeFile(scheme(0))), raw(saved));

    // The factory reset rewrites every file and ends in scheme 0 with the factory values and mode 1.
    ASSERT_TRUE(c->setParamMode(0));
    EXPECT_TRUE(c->resetParameters());
    EXPECT_EQ(traced("shell "), Strings{kRemove});
    expectFactoryFiles(*c);
    EXPECT_EQ((std::vector<int>{Peer::curScheme(*c), brightness(*c), Peer::paramMode(*c)}), (std::vector<int>{0, 50, 1}));
    EXPECT_EQ(Peer::flags(*c) & Peer::kResetting, 0u);
    c.reset();

    // Files of an older module are deleted and written again.
    writeFile(kVersionFile, word(7));
    writeSchemeFile(scheme(0), {{34, 99}});
    EXPECT_NE(captureStdout([&] { c = start(1); }).find("local(7) --> libsensordll.so(8)"), std::string::npos);
    expectFactoryFiles(*c);
    EXPECT_EQ(readFile(kVersionFile), word(8));

    // uinit releases the sets and may run twice; init then starts the same object again, as a reset does.
    // The parameter mode goes back to 1: in mode 0 a start in a scheme mode would choose no scheme at all.
    ASSERT_TRUE(c->setParamMode(0));
    c->uinit();
    EXPECT_TRUE(Peer::userKeyVal(*c) == nullptr && Peer::keyCmdMap(*c) == nullptr && c->getSensorStatus());
    EXPECT_EQ((std::vector<int>{Peer::curScheme(*c), Peer::paramMode(*c)}), (std::vector<int>{-1, 1}));
    c->uinit();
    EXPECT_EQ(Peer::keyValSum(*c), 0u);
    c->init(config(1));
    EXPECT_EQ(Peer::keyValSum(*c), 79u);
    ISensorController idle;
    idle.uinit();
    EXPECT_FALSE(idle.getSensorStatus());
}

// A reset starts again with the configuration of the start: on the dome three schemes and a lens
// ("(max_scheme=3)" and "(lensId=20)"), not the four schemes and no lens of an empty detail.
TEST_F(LifecycleTest, AResetKeepsTheModuleConfigurationOfTheStart)
{
    install("dome");
    auto c = start(1);
    const ModuleConfig before = Peer::sysConf(*c).moduleConfig;
    ASSERT_TRUE(c->resetParameters());
    const ModuleConfig& after = Peer::sysConf(*c).moduleConfig;
    EXPECT_EQ(std::make_pair(c->getSensorType(), std::string(after.szDetail)),
              std::make_pair(291, std::string("(max_scheme=3)(isInfrared=1)(lensId=20)(ptz=1)(sensor=IMX291)")));
    EXPECT_EQ(std::string(after.szParameters), before.szParameters);
    EXPECT_EQ(Peer::sysConf(*c).nSchemeSum, 3u);
    EXPECT_TRUE(Peer::hasLens(*c));
    EXPECT_TRUE(fileExists(scheme(2)) && !fileExists(scheme(3)));
}

TEST_F(LifecycleTest, ThermalChannelUsesItsOwnFilesStyleAndWdrRule)
{
    install("thermal-dual");
    video_.setLimitedFrames(1, LimitedFramesWDRModeParam(0, 0));
    auto thermal = start(2);
    auto visible = start(1);
    EXPECT_TRUE(Peer::thermal(*thermal));
    EXPECT_EQ(traced("shell ").front(), "shell rm -rf /mnt/mtd/code/config*/sensor-thermal*.cfg");
    // max_scheme=2 on the thermal core: two files named by scheme only.
    const std::string dir = "/mnt/mtd/code/config_file/sensor-thermal";
    EXPECT_TRUE(fileExists(dir + "0.cfg") && fileExists(dir + "1.cfg") && !fileExists(dir + "2.cfg"));
    EXPECT_EQ(valueOf(Peer::set(*thermal, 2), 8201), 0);  // palette, a thermal-only key
    // The thermal core runs in a limited-frames mode without WDR; the visible channel's mode allows it.
    bool wdr[2] = {true, false};
    thermal->getShowWDRFalg(wdr[0]);
    visible->getShowWDRFalg(wdr[1]);
    EXPECT_TRUE(!wdr[0] && wdr[1]);
    // The fixed-lens visible channel lost its lens tab and gained distortion correction.
    EXPECT_EQ(valueOf(Peer::set(*visible, 4), 1536), -12345);
    EXPECT_EQ(valueOf(Peer::set(*visible, 4), 2570), 0);
}

TEST_F(LifecycleTest, DetailItemsNumberPlateCamerasAndTheBeawayFlag)
{
    install("bullet");
    const struct { const char* detail; bool limitedIr, lens; } cases[] = {
        {"(max_scheme=1)(isInfrared=17)(lensId=3)", true, true}, {"(max_scheme=1)(isInfrared=1)(lensId=0)", 0, 0},
        {"(max_scheme=1)(isInfrared=1)", false, false},          {"(max_scheme=1)(lensId=3", false, false},
        {"(max_scheme=1)(lensId=x3)", false, false},
    };
    ModuleConfigure mc = config(1);
    for (const auto& dc : cases) {
        SCOPED_TRACE(dc.detail);
        mc.setDetail(dc.detail);
        Started c;
        const std::string out = captureStdout([&] { c = start(1, mc); });
        EXPECT_EQ(out.find("#### m_bisLimitedIrPower is true!") != std::string::npos, dc.limitedIr);
        EXPECT_EQ(std::make_pair(Peer::limitedIrPower(*c), Peer::hasLens(*c)), std::make_pair(dc.limitedIr, dc.lens));
    }

    // A number-plate camera with a lens writes its night scheme with four values changed from the factory set.
    writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini", "deviceType=8\n");
    mc.setDetail("(max_scheme=2)(lensId=3)");
    auto c = start(1, mc);
    EXPECT_TRUE(Peer::lprMode(*c));
    const std::vector<KeyVal> factory = Peer::set(*c, 2), night = schemeFile(scheme(1));
    EXPECT_EQ(raw(schemeFile(scheme(0))), raw(factory));
    std::vector<std::pair<u32, s32>> changed;
    for (std::size_t i = 0; i < night.size(); ++i)
        if (night[i].value != factory[i].value) changed.emplace_back(night[i].key, night[i].value);
    EXPECT_EQ(changed, (std::vector<std::pair<u32, s32>>{{96, 1}, {49, 18}, {161, 2}, {163, 40}}));
    EXPECT_EQ(valueOf(night, 144), 0);  // day/night mode 0, as the factory set has it
    mc.setDetail("(max_scheme=2)(isInfrared=1)");
    EXPECT_FALSE(Peer::lprMode(*start(1, mc)));

    // The process-wide beaway flag follows the hardware model and small streams.
    EXPECT_TRUE(getshowBeawayFalg());
    install("dome");  // Hi3516AV200 with a 352x240 sub-stream
    start(1);
    EXPECT_FALSE(getshowBeawayFalg());
    video_.setStreams({AVStreamParam(1, 1920, 1080), AVStreamParam(1, 352, 256), AVStreamParam(2, 352, 240)});
    start(1);
    EXPECT_TRUE(getshowBeawayFalg());
}

}  // namespace
