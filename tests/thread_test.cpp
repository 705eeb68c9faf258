// Passes of the sensor thread on a started camera whose background thread is held still.
#include <atomic>
#include <thread>

#include "CameraTest.h"

namespace {

using namespace testsupport;

class SensorThreadTest : public CameraTest {
protected:
    void SetUp() override { CameraTest::SetUp(), install("bullet"); }
    // A started channel whose passes run only when the test calls them.
    Started held(int channel = 1, const std::string& detail = "")
    {
        ModuleConfigure mc = config(channel);
        if (!detail.empty()) mc.setDetail(detail);
        auto c = start(channel, mc);
        Peer::thread(*c)->stop();
        hostsim::clearTrace();
        hostsim::clearSleeps();
        return c;
    }
    static void period(ISensorController& c, int scheme, int startH, int endH)
    {
        KeyVal* set = Peer::userKeyVal(c)[scheme];
        set[1].value = startH, set[2].value = 0, set[3].value = endH, set[4].value = 0;
    }
    static int pass(ISensorController& c) { return c.sensorThread(), Peer::curScheme(c).load(); }
};

TEST_F(SensorThreadTest, DayNightModeSwitchesOnChangeOnlyAndNotWhileBusy)
{
    auto c = held();
    ASSERT_EQ(c->setParameter(8000, 2, true), 0);
    hostsim::SimIsp::instance().setDayNight(0, 1);
    // A reset wants its passes back to back: no pause.
    for (u32 flag : {Peer::kSwitching, Peer::kResettingToLast, Peer::kResetting}) {
        SCOPED_TRACE(flag);
        Peer::setFlags(*c, flag);
        hostsim::clearSleeps();
        EXPECT_EQ(pass(*c), 0);
        EXPECT_EQ(hostsim::sleeps().size(), flag == Peer::kResetting ? 0u : 1u);
        Peer::clearFlags(*c, flag);
    }
    EXPECT_EQ(pass(*c), 1);
    EXPECT_EQ(hostsim::sleeps().back().seconds, 1);
    take();
    EXPECT_EQ(pass(*c), 1);
    EXPECT_EQ(take(), Strings{ia(153, 0, 1)});  // the state is asked, nothing is sent
}

TEST_F(SensorThreadTest, TimeModeFollowsThePeriodsAndFallsBackToSchemeZero)
{
    auto c = held();
    ASSERT_EQ(c->setParameter(8000, 1, true), 0);
    period(*c, 0, 0, 0);
    period(*c, 1, 8, 12);
    period(*c, 2, 11, 20);  // overlaps scheme 1: the first match wins
    period(*c, 3, 20, 20);  // empty: never in force
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

// A host thread holding the lock while init runs its own pass: the pass waits for it, so the first scheme
// is chosen by the time init returns and a value set right afterwards is recorded in it.
TEST_F(SensorThreadTest, InitPassWaitsForTheLockAndChoosesTheFirstScheme)
{
    hostsim::setThreadsHeld(true);
    start().reset();  // the scheme files, from the factory set
    for (const auto& [scheme, startH, endH] : {std::tuple<int, int, int>{0, 0, 1}, {1, 10, 14}}) {
        const std::string path = "/mnt/mtd/code/config_file/sensor1_" + std::to_string(scheme) + ".cfg";
        std::vector<KeyVal> set = schemeFile(path);
        set[0].value = 1, set[1].value = startH, set[3].value = endH;  // time of day; the clock says 12:00
        writeSchemeFile(path, set);
    }
    Started c(new ISensorController);
    c->setChannelID(1);
    c->setVideoStreamModule(&video_);
    const std::uint64_t waitsBefore = hostsim::lockWaits();
    std::atomic<bool> initDone{false}, locked{false};
    std::thread holder([&] {
        PLMutexManager lock(&Peer::mutex(*c), __FILE__, __LINE__);
        locked = true;
        while (!initDone && hostsim::lockWaits() == waitsBefore) std::this_thread::yield();
    });
    while (!locked) std::this_thread::yield();
    c->init(config(1));
    initDone = true;
    holder.join();
    EXPECT_GT(hostsim::lockWaits(), waitsBefore);
    // The pass put scheme 1 in force, and init switched nothing before it: a stored scheme mode leaves the
    // first choice to the pass.
    EXPECT_EQ((std::vector<int>{Peer::lastScheme(*c), Peer::curScheme(*c)}), (std::vector<int>{-1, 1}));
    take();
    EXPECT_EQ(c->setParameter(34, 61, true), 0);
    EXPECT_EQ(traced("ia ch=0 cmd=34 "), Strings{ia(34, 61)});
    u32 recorded = 0;
    EXPECT_NE(c->getKeyValFromCache(1, 34, recorded), -1);
    EXPECT_EQ(recorded, 61u);
}

// With a single user scheme there is no night scheme: the pass stays in scheme 0 at night (the factory set
// behind it is not a scheme to switch to), and day/night values applied in scheme 0 are not copied into it.
TEST_F(SensorThreadTest, DayNightModeWithOneSchemeStaysInSchemeZero)
{
    auto c = held(1, "(max_scheme=1)(isInfrared=1)(lensId=3)");
    ASSERT_EQ(c->setParameter(8000, 2, true), 0);
    const std::string factory = raw(Peer::set(*c, 1));
    hostsim::SimIsp::instance().setDayNight(0, 1);
    EXPECT_EQ(pass(*c), 0);
    EXPECT_EQ(c->setParameter(145, 33, true), 0);
    EXPECT_EQ(raw(Peer::set(*c, 1)), factory);
}

TEST_F(SensorThreadTest, NumberPlateModeEntersStaysInAndLeavesPeriods)
{
    writeFile(SENSOR_MACHINE_INFO_FILE, "deviceType=8\n");
    auto c = held(1, "(max_scheme=4)(lensId=3)");
    ASSERT_TRUE(Peer::lprMode(*c));
    ASSERT_EQ(c->setParameter(8000, 1, true), 0);
    for (int scheme : {0, 1, 3}) period(*c, scheme, 0, 0);
    period(*c, 2, 8, 18);
    // Values sent by a pass at the given time, and the scheme and schedule it ends in.
    auto at = [&](int hour, int minute) {
        hostsim::setTimeOfDay(hour, minute);
        take();
        const int scheme = pass(*c);
        int sent = 0;
        for (const std::string& line : traced("ia ch=0 ")) sent += line.find(" opt=0 ") != std::string::npos;
        return std::vector<int>{sent, scheme, (int)Peer::lastSchedule(*c)};
    };
    // Every value goes out outside a period (scheme 0 by day, with day/night mode 0) and on entering one:
    // the bullet's 79 entries less the five schedule keys and the four smart-light twins; anti-shake takes
    // two calls. Staying sends nothing.
    EXPECT_EQ(at(7, 59), (std::vector<int>{71, 0, 0}));
    EXPECT_EQ(at(8, 0), (std::vector<int>{71, 2, 1}));
    EXPECT_EQ(at(8, 1), (std::vector<int>{0, 2, 1}));
    // Leaving at night: scheme 1, its day/night mode kept and 0 sent.
    hostsim::SimIsp::instance().setDayNight(0, 1);
    EXPECT_EQ(at(18, 0), (std::vector<int>{71, 1, 0}));
    EXPECT_EQ(traced("ia ch=0 cmd=144 opt=0"), Strings{ia(144, 0)});
    int stored = -1;
    EXPECT_TRUE(c->getParameter(144, stored));
    EXPECT_EQ(stored, 0);
}

TEST_F(SensorThreadTest, FieldOfViewRequestIsCarriedOutByChannelOneOnly)
{
    install("thermal-dual");
    auto thermal = held(2);
    auto visible = held(1);
    Peer::hasLens(*visible) = true;
    writeFile("/mnt/mtd/hd1/program/config/sync_fov.ini", "zoom2=100,focus2=5,\nzoom12=24576,\nfocus1=3000\n");
    ASSERT_TRUE(thermal->setParamMode(0) && visible->setParamMode(0));
    s32 one = 1;
    ASSERT_EQ(thermal->doIoCrtl(8104, 0, &one), 0);
    EXPECT_EQ(captureStdout([&] { thermal->sensorThread(); }), "");
    // zoom1 is found inside zoom12; a focus entry needs a comma after its value.
    EXPECT_EQ(captureStdout([&] { visible->sensorThread(); }),
              "zoom= -1,focus= -1 \nzoom= 24576,focus= -1 \nzoom= 24576,focus= -1 \n");
    EXPECT_EQ(take(), Strings{ia(1568, 24576)});
    // The request is used up.
    EXPECT_EQ(captureStdout([&] { visible->sensorThread(); }), "");
    EXPECT_TRUE(take().empty());
}

}  // namespace
