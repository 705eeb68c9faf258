// Start-up, shutdown and factory reset of a channel on the bundled simulated cameras.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CameraTest.h"
#include "ControllerPeer.h"
#include "SensorDebug.h"

namespace {

using Peer = ISensorControllerTestPeer;
using testsupport::fileExists;

const char* const kVersionFile = "/mnt/mtd/code/config_file/snsversion.cfg";

std::string scheme(int channel, int index)
{
    return "/mnt/mtd/code/config_file/sensor" + std::to_string(channel) + "_" + std::to_string(index) + ".cfg";
}

std::string versionBytes(u32 version) { return std::string(reinterpret_cast<const char*>(&version), sizeof(version)); }

int valueOf(const std::vector<KeyVal>& set, u32 key)
{
    for (const KeyVal& kv : set) {
        if (kv.key == key) return kv.value;
    }
    return -12345;
}

bool sameSets(const std::vector<KeyVal>& a, const std::vector<KeyVal>& b)
{
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].key != b[i].key || a[i].value != b[i].value) return false;
    }
    return true;
}

class LifecycleTest : public testsupport::CameraTest {};

TEST_F(LifecycleTest, FirstStartWritesEverySchemeFromTheFactorySetAndSecondStartWritesNothing)
{
    install("bullet");
    setDebugLevel(4);
    testsupport::Started c;
    const std::string out = captureStdout([&] { c = start(1); });
    EXPECT_NE(out.find("check the sensor version,   local(0) --> libsensordll.so(8), source the cmd: "
                       "rm -rf /mnt/mtd/code/config*/sensor*\n"),
              std::string::npos)
        << out;
    EXPECT_EQ(traced("shell "), std::vector<std::string>{"shell rm -rf /mnt/mtd/code/config*/sensor1_[0-3].cfg"});
    EXPECT_EQ(testsupport::readFile(kVersionFile), versionBytes(8));
    EXPECT_TRUE(c->getSensorStatus());

    // Four schemes (max_scheme=4), each the factory set with the scheme mode 0.
    const std::vector<KeyVal> factory = Peer::set(*c, 4);
    // 81 parameters in the style, less the two placeholders the WDR and corridor flags remove.
    ASSERT_EQ(factory.size(), 79u);
    EXPECT_EQ(factory[0].key, 8000u);
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(sameSets(schemeFile(scheme(1, i)), factory)) << i;
    EXPECT_FALSE(fileExists(scheme(1, 4)));
    EXPECT_EQ(Peer::curScheme(*c).load(), 0);
    // Scheme 0 went out to the library, starting with the first parameter that has a command.
    EXPECT_EQ(traced("ia ch=0 cmd=34 opt=0"), std::vector<std::string>{"ia ch=0 cmd=34 opt=0 in=[50] ret=0"});
    c.reset();

    // A user change, saved in scheme 0's file, survives the reboot; nothing else is written.
    std::vector<KeyVal> saved = schemeFile(scheme(1, 0));
    saved[5].value = 70;  // brightness
    writeSchemeFile(scheme(1, 0), saved);
    hostsim::clearTrace();
    const std::string again = captureStdout([&] { c = start(1); });
    EXPECT_EQ(again.find("check the sensor version"), std::string::npos);
    EXPECT_TRUE(traced("shell ").empty());
    int brightness = 0;
    EXPECT_TRUE(c->getParameter(34, brightness));
    EXPECT_EQ(brightness, 70);
    EXPECT_TRUE(sameSets(schemeFile(scheme(1, 0)), saved));
}

TEST_F(LifecycleTest, AnOlderVersionDeletesAndRewritesTheSchemeFiles)
{
    install("bullet");
    setDebugLevel(4);
    testsupport::writeFile(kVersionFile, versionBytes(7));
    writeSchemeFile(scheme(1, 0), {{34, 99}});
    testsupport::Started c;
    const std::string out = captureStdout([&] { c = start(1); });
    EXPECT_NE(out.find("local(7) --> libsensordll.so(8)"), std::string::npos);
    EXPECT_TRUE(sameSets(schemeFile(scheme(1, 0)), Peer::set(*c, 4)));
    EXPECT_EQ(testsupport::readFile(kVersionFile), versionBytes(8));
}

TEST_F(LifecycleTest, ThermalChannelUsesItsOwnFilesStyleAndWdrRule)
{
    install("thermal-dual");
    auto thermal = start(2);
    auto visible = start(1);
    EXPECT_TRUE(Peer::thermal(*thermal));
    EXPECT_EQ(traced("shell ").front(), "shell rm -rf /mnt/mtd/code/config*/sensor-thermal*.cfg");
    // max_scheme=2 on the thermal core: two files named by scheme only.
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/sensor-thermal0.cfg"));
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/sensor-thermal1.cfg"));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor-thermal2.cfg"));
    EXPECT_EQ(valueOf(Peer::set(*thermal, 2), 8201), 0);  // palette, a thermal-only key
    // The thermal core runs in a limited-frames mode without WDR; the visible channel keeps it.
    bool wdr = true;
    thermal->getShowWDRFalg(wdr);
    EXPECT_FALSE(wdr);
    visible->getShowWDRFalg(wdr);
    EXPECT_TRUE(wdr);
    // The fixed-lens visible channel lost its lens tab and gained distortion correction.
    EXPECT_EQ(valueOf(Peer::set(*visible, 4), 1536), -12345);
    EXPECT_EQ(valueOf(Peer::set(*visible, 4), 2570), 0);
}

TEST_F(LifecycleTest, StoredSchemeModeLeavesTheFirstSwitchToTheThread)
{
    install("bullet");
    hostsim::SimIsp::instance().setDayNight(0, 1);
    start(1);
    std::vector<KeyVal> first = schemeFile(scheme(1, 0));
    first[0].value = 2;  // switching by day and night
    writeSchemeFile(scheme(1, 0), first);

    auto c = start(1);
    EXPECT_TRUE(Peer::dnScheme(*c).load());
    EXPECT_FALSE(Peer::timeScheme(*c).load());
    // Night: the pass inside init put scheme 1 in force, and init switched nothing before it.
    EXPECT_EQ(Peer::curScheme(*c).load(), 1);
    EXPECT_EQ(Peer::lastScheme(*c).load(), -1);
}

struct DetailCase {
    const char* detail;
    bool limitedIr;
    bool lens;
};

TEST_F(LifecycleTest, DetailItemsSetInfraredPowerAndLens)
{
    install("bullet");
    const DetailCase cases[] = {
        {"(max_scheme=1)(isInfrared=17)(lensId=3)", true, true},
        {"(max_scheme=1)(isInfrared=1)(lensId=0)", false, false},
        {"(max_scheme=1)(isInfrared=1)", false, false},
        {"(max_scheme=1)(lensId=3", false, false},
        {"(max_scheme=1)(lensId=x3)", false, false},
    };
    for (const DetailCase& dc : cases) {
        ModuleConfigure mc = config(1);
        mc.setDetail(dc.detail);
        testsupport::Started c;
        const std::string out = captureStdout([&] { c = start(1, mc); });
        EXPECT_EQ(Peer::limitedIrPower(*c), dc.limitedIr) << dc.detail;
        EXPECT_EQ(out.find("#### m_bisLimitedIrPower is true!") != std::string::npos, dc.limitedIr) << dc.detail;
        EXPECT_EQ(Peer::hasLens(*c), dc.lens) << dc.detail;
    }
}

TEST_F(LifecycleTest, NumberPlateCameraWritesItsNightSchemeWithFiveChangedValues)
{
    install("bullet");
    testsupport::writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini", "deviceType=8\n");
    ModuleConfigure mc = config(1);
    mc.setDetail("(max_scheme=2)(lensId=3)");
    auto c = start(1, mc);
    EXPECT_TRUE(Peer::lprMode(*c));
    const std::vector<KeyVal> factory = Peer::set(*c, 2);
    const std::vector<KeyVal> day = schemeFile(scheme(1, 0));
    const std::vector<KeyVal> night = schemeFile(scheme(1, 1));
    EXPECT_TRUE(sameSets(day, factory));
    EXPECT_EQ(valueOf(night, 144), 0);
    EXPECT_EQ(valueOf(night, 49), 18);
    EXPECT_EQ(valueOf(night, 96), 1);
    EXPECT_EQ(valueOf(night, 161), 2);
    EXPECT_EQ(valueOf(night, 163), 40);
    int differing = 0;
    for (std::size_t i = 0; i < night.size(); ++i) differing += night[i].value != factory[i].value;
    EXPECT_EQ(differing, 4);  // day/night mode 0 is already the factory value

    mc.setDetail("(max_scheme=2)(isInfrared=1)");
    auto infrared = start(1, mc);
    EXPECT_FALSE(Peer::lprMode(*infrared));
}

TEST_F(LifecycleTest, BeawayFlagFollowsHardwareModelAndSmallStreams)
{
    install("dome");  // Hi3516AV200 with a 352x240 sub-stream
    start(1);
    EXPECT_FALSE(getshowBeawayFalg());
    video_.setStreams({AVStreamParam(1, 1920, 1080), AVStreamParam(1, 352, 256), AVStreamParam(2, 352, 240)});
    start(1);
    EXPECT_TRUE(getshowBeawayFalg());
    install("bullet");
    start(1);
    EXPECT_TRUE(getshowBeawayFalg());
}

TEST_F(LifecycleTest, UinitIsSafeNeverStartedAndTwice)
{
    install("bullet");
    ISensorController idle;
    idle.uinit();
    EXPECT_FALSE(idle.getSensorStatus());

    auto c = start(1);
    c->uinit();
    EXPECT_EQ(Peer::userKeyVal(*c), nullptr);
    EXPECT_EQ(Peer::keyCmdMap(*c), nullptr);
    EXPECT_EQ(Peer::curScheme(*c).load(), -1);
    EXPECT_TRUE(c->getSensorStatus());
    c->uinit();
    EXPECT_EQ(Peer::keyValSum(*c), 0u);
    // And back up again on the same object, as a reset does.
    c->init(config(1));
    EXPECT_EQ(Peer::keyValSum(*c), 79u);
}

TEST_F(LifecycleTest, ResetRewritesEverySchemeFromTheFactorySetAndEndsInSchemeZero)
{
    install("bullet");
    auto c = start(1);
    EXPECT_EQ(c->setParameter(34, 80, true), 0);
    EXPECT_EQ(c->flush(), 0);
    ASSERT_EQ(valueOf(schemeFile(scheme(1, 0)), 34), 80);
    hostsim::clearTrace();

    EXPECT_TRUE(c->resetParameters());
    EXPECT_EQ(Peer::curScheme(*c).load(), 0);
    EXPECT_EQ(traced("shell ")[0], "shell rm -rf /mnt/mtd/code/config*/sensor1_[0-3].cfg");
    const std::vector<KeyVal> factory = Peer::set(*c, 4);
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(sameSets(schemeFile(scheme(1, i)), factory)) << i;
    int brightness = 0;
    EXPECT_TRUE(c->getParameter(34, brightness));
    EXPECT_EQ(brightness, 50);
    EXPECT_EQ(Peer::flags(*c) & Peer::kResetting, 0u);
}

}  // namespace
