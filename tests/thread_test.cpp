// Passes of the sensor thread on a started camera whose background thread is held still.
#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

#include "CameraTest.h"
#include "ControllerPeer.h"

namespace {

using Peer = ISensorControllerTestPeer;
using Strings = std::vector<std::string>;

class SensorThreadTest : public testsupport::CameraTest {
protected:
    // A started channel whose passes run only when the test calls them.
    testsupport::Started held(int channel = 1, const ModuleConfigure* mc = nullptr)
    {
        auto c = mc ? start(channel, *mc) : start(channel);
        Peer::thread(*c)->stop();
        hostsim::clearTrace();
        hostsim::clearSleeps();
        return c;
    }
    static void period(ISensorController& c, int scheme, int startH, int startM, int endH, int endM)
    {
        KeyVal* set = Peer::userKeyVal(c)[scheme];
        set[1].value = startH, set[2].value = startM, set[3].value = endH, set[4].value = endM;
    }
    static int pass(ISensorController& c) { return c.sensorThread(), Peer::curScheme(c).load(); }
};

TEST_F(SensorThreadTest, DayNightModeSwitchesOnChangeOnlyAndNotWhileBusy)
{
    install("bullet");
    auto c = held();
    ASSERT_EQ(c->setParameter(8000, 2, true), 0);
    EXPECT_EQ(pass(*c), 0);  // day
    EXPECT_EQ(hostsim::sleeps().size(), 1u);
    EXPECT_EQ(hostsim::sleeps()[0].seconds, 1);
    hostsim::SimIsp::instance().setDayNight(0, 1);
    // A reset wants its passes back to back: no pause.
    for (u32 flag : {Peer::kSwitching, Peer::kResettingToLast, Peer::kResetting}) {
        Peer::setFlags(*c, flag);
        hostsim::clearSleeps();
        EXPECT_EQ(pass(*c), 0) << flag;
        EXPECT_EQ(hostsim::sleeps().size(), flag == Peer::kResetting ? 0u : 1u) << flag;
        Peer::clearFlags(*c, flag);
    }
    EXPECT_EQ(pass(*c), 1);
    hostsim::clearTrace();
    EXPECT_EQ(pass(*c), 1);
    EXPECT_EQ(traced("ia ch=0 cmd=153"), Strings{"ia ch=0 cmd=153 opt=1 in=[0] ret=0"});
    EXPECT_EQ(traced("ia ch=0 cmd=144"), Strings{});
}

TEST_F(SensorThreadTest, TimeModeFollowsThePeriodsAndFallsBackToSchemeZero)
{
    install("bullet");
    auto c = held();
    ASSERT_EQ(c->setParameter(8000, 1, true), 0);
    period(*c, 0, 0, 0, 0, 0);
    period(*c, 1, 8, 0, 12, 0);
    period(*c, 2, 11, 0, 20, 0);  // overlaps scheme 1: the first match wins
    period(*c, 3, 20, 0, 20, 0);  // empty: never in force
    const struct { int hour, minute, scheme; } steps[] = {{7, 59, 0}, {8, 0, 1}, {11, 30, 1}, {12, 0, 2}, {20, 0, 0}};
    for (const auto& step : steps) {
        hostsim::setTimeOfDay(step.hour, step.minute);
        EXPECT_EQ(pass(*c), step.scheme) << step.hour << ":" << step.minute;
    }
    // Parameter mode 0 holds the scheme whatever the time says.
    ASSERT_TRUE(c->setParamMode(0));
    hostsim::setTimeOfDay(9, 0);
    EXPECT_EQ(pass(*c), 0);
}

// A host thread holding the lock while init runs its own pass: the pass waits
// for it, so the first scheme is chosen by the time init returns and a value
// set right afterwards is recorded in it.
TEST_F(SensorThreadTest, InitPassWaitsForTheLockAndChoosesTheFirstScheme)
{
    install("bullet");
    hostsim::setThreadsHeld(true);
    start().reset();  // the scheme files, from the factory set
    const auto edit = [&](int scheme, int mode, int startH, int endH) {
        const std::string path = "/mnt/mtd/code/config_file/sensor1_" + std::to_string(scheme) + ".cfg";
        std::vector<KeyVal> set = schemeFile(path);
        set[0].value = mode, set[1].value = startH, set[2].value = 0, set[3].value = endH, set[4].value = 0;
        writeSchemeFile(path, set);
    };
    edit(0, 1, 0, 1);    // time of day; scheme 0 only past midnight
    edit(1, 1, 10, 14);  // and scheme 1 around the clock's 12:00

    testsupport::Started c(new ISensorController);
    c->setChannelID(1);
    c->setVideoStreamModule(&video_);
    const std::uint64_t waitsBefore = hostsim::lockWaits();
    std::atomic<bool> initDone{false};
    std::promise<void> held;
    std::thread holder([&] {
        PLMutexManager lock(&Peer::mutex(*c), __FILE__, __LINE__);
        held.set_value();
        while (!initDone && hostsim::lockWaits() == waitsBefore) std::this_thread::yield();
    });
    held.get_future().wait();
    c->init(config(1));
    initDone = true;
    holder.join();
    EXPECT_EQ(Peer::curScheme(*c), 1);
    hostsim::clearTrace();
    EXPECT_EQ(c->setParameter(34, 61, true), 0);
    EXPECT_EQ(traced("ia ch=0 cmd=34 "), Strings{"ia ch=0 cmd=34 opt=0 in=[61] ret=0"});
    int scheme = -1;
    EXPECT_TRUE(c->getParamScheme(scheme) && scheme == 1);
    u32 recorded = 0;
    EXPECT_NE(c->getKeyValFromCache(1, 34, recorded), -1);
    EXPECT_EQ(recorded, 61u);
}

// With a single user scheme there is no night scheme: the pass stays in scheme
// 0 at night (the factory set behind it is not a scheme to switch to), and
// day/night values applied in scheme 0 have no scheme 1 to be copied into.
TEST_F(SensorThreadTest, DayNightModeWithOneSchemeStaysInSchemeZero)
{
    install("bullet");
    ModuleConfigure mc = config(1);
    mc.setDetail("(max_scheme=1)(isInfrared=1)(lensId=3)");
    auto c = held(1, &mc);
    ASSERT_EQ(c->setParameter(8000, 2, true), 0);
    const std::vector<KeyVal> factory = Peer::set(*c, 1);
    hostsim::SimIsp::instance().setDayNight(0, 1);
    EXPECT_EQ(pass(*c), 0);
    EXPECT_EQ(c->setParameter(145, 33, true), 0);
    const std::vector<KeyVal> after = Peer::set(*c, 1);
    EXPECT_TRUE(std::equal(after.begin(), after.end(), factory.begin(),
                           [](const KeyVal& a, const KeyVal& b) { return a.key == b.key && a.value == b.value; }));
}

TEST_F(SensorThreadTest, NumberPlateModeEntersStaysInAndLeavesPeriods)
{
    install("bullet");
    testsupport::writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini", "deviceType=8\n");
    ModuleConfigure mc = config(1);
    mc.setDetail("(max_scheme=4)(lensId=3)");
    auto c = held(1, &mc);
    ASSERT_TRUE(Peer::lprMode(*c));
    ASSERT_EQ(c->setParameter(8000, 1, true), 0);
    for (int scheme : {0, 1, 3}) period(*c, scheme, 0, 0, 0, 0);
    period(*c, 2, 8, 0, 18, 0);
    // Values sent by a pass at the given time, and the scheme and schedule it ends in.
    auto at = [&](int hour, int minute) {
        hostsim::setTimeOfDay(hour, minute);
        hostsim::clearTrace();
        const int scheme = pass(*c);
        int sent = 0;
        for (const std::string& line : traced("ia ch=0 ")) sent += line.find(" opt=0 ") != std::string::npos;
        return std::vector<int>{sent, scheme, (int)Peer::lastSchedule(*c)};
    };
    // Every value goes out outside a period (scheme 0 by day, with day/night mode 0) and on entering one: the
    // bullet's 79 entries less the five schedule keys and the four smart-light twins; anti-shake takes two calls.
    // Staying sends nothing.
    EXPECT_EQ(at(7, 59), (std::vector<int>{71, 0, 0}));
    EXPECT_EQ(at(8, 0), (std::vector<int>{71, 2, 1}));
    EXPECT_EQ(at(8, 1), (std::vector<int>{0, 2, 1}));
    // Leaving at night: scheme 1, its day/night mode kept and 0 sent.
    hostsim::SimIsp::instance().setDayNight(0, 1);
    EXPECT_EQ(at(18, 0)[1], 1);
    EXPECT_EQ(traced("ia ch=0 cmd=144 opt=0"), Strings{"ia ch=0 cmd=144 opt=0 in=[0] ret=0"});
    int stored = -1;
    EXPECT_TRUE(c->getParameter(144, stored));
    EXPECT_EQ(stored, 0);
    EXPECT_EQ(Peer::lastSchedule(*c), 0u);
}

TEST_F(SensorThreadTest, FieldOfViewRequestIsCarriedOutByChannelOneOnly)
{
    install("thermal-dual");
    auto thermal = held(2);
    auto visible = held(1);
    Peer::hasLens(*visible) = true;
    const char* fov = "/mnt/mtd/hd1/program/config/sync_fov.ini";
    testsupport::writeFile(fov, "zoom2=100,focus2=5,\nzoom12=24576,\nfocus1=3000\n");
    ASSERT_TRUE(thermal->setParamMode(0) && visible->setParamMode(0));
    s32 one = 1;
    ASSERT_EQ(thermal->doIoCrtl(8104, 0, &one), 0);

    hostsim::clearTrace();
    EXPECT_EQ(captureStdout([&] { thermal->sensorThread(); }), "");
    // zoom1 is found inside zoom12; a focus entry needs a comma after its value.
    EXPECT_EQ(captureStdout([&] { visible->sensorThread(); }),
              "zoom= -1,focus= -1 \nzoom= 24576,focus= -1 \nzoom= 24576,focus= -1 \n");
    EXPECT_EQ(hostsim::trace(), Strings{"ia ch=0 cmd=1568 opt=0 in=[24576] ret=0"});
    // The request is used up.
    hostsim::clearTrace();
    EXPECT_EQ(captureStdout([&] { visible->sensorThread(); }), "");
    EXPECT_TRUE(hostsim::trace().empty());
}

}  // namespace
