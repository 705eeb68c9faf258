// Schemes: what a switch sends, the schedule judgement, and the host's scheme and mode with their waits.
#include <chrono>
#include <future>
#include <thread>

#include "ModuleTest.h"

using namespace testsupport;
using Ints = std::vector<s32>;

namespace {

const std::string kWhere = "ISensorController_schemes.cpp fun:";
// Style order: scheme mode, the daily period, brightness, saturation, contrast, day/night mode.
std::vector<KeyVal> scheme(s32 bright, s32 contrast, s32 dn)
{
    return {{8000, 0}, {8001, 0}, {8002, 0}, {8003, 0}, {8004, 0},
            {34, bright}, {2337, 50}, {2353, contrast}, {144, dn}};
}

// Two user schemes and the factory set, scheme 0 in force; the sets go with the controller.
struct Ctl : ISensorController {
    Ctl()
    {
        Peer::buildTable(*this);
        Peer::installSets(*this, {scheme(50, 50, 1), scheme(60, 70, 2), scheme(50, 40, 0)});
        Peer::curScheme(*this) = Peer::lastScheme(*this) = 0;
    }
    ~Ctl() { Peer::keyValWork(*this) = nullptr, Peer::releaseAll(*this); }
    Ints state() { return {Peer::curScheme(*this), Peer::lastScheme(*this), (s32)Peer::flags(*this)}; }
};

using SchemeTest = ModuleTest;

TEST_F(SchemeTest, SwitchSendsWhatDiffersFromTheSchemeBeforeUnlessForced)
{
    Ctl c;
    EXPECT_EQ(c.switch_to(1), 0);
    EXPECT_EQ(take(), (Strings{ia(34, 60), ia(2353, 70), ia(144, 2)}));
    EXPECT_EQ(c.switch_to(1, true), 0);
    EXPECT_EQ(take(), (Strings{ia(34, 60), ia(2337, 50), ia(2353, 70), ia(144, 2)}));
    EXPECT_EQ(c.state(), (Ints{1, 1, 0}));
    // Number-plate capture sends everything with day/night mode 0; the scheme keeps its own.
    std::vector<KeyVal> work(9);
    Peer::keyValWork(c) = work.data();
    EXPECT_EQ(c.LPR_switch_to(0), 0);
    EXPECT_EQ(take(), (Strings{ia(34, 50), ia(2337, 50), ia(2353, 50), ia(144, 0)}));
    EXPECT_EQ(c.state(), (Ints{0, 1, 0}));
    EXPECT_EQ(Peer::set(c, 0)[8].value, 1);
}

TEST_F(SchemeTest, JudgementTakesTheFirstPeriodHoldingTheTimeOfDay)
{
    Ctl c;
    int nScheme = -7, nSchedule = -7;
    // Sets too short for a period never match: entry 4 would be the next set's first (08:00 to 18:30).
    Peer::installSets(c, {{{8000, 0}, {8001, 8}, {8002, 0}, {8003, 18}}, {{8000, 30}, {1, 0}, {2, 0}, {3, 0}}});
    EXPECT_EQ(c.judgeCurScheme(nScheme, nSchedule), 0);
    EXPECT_EQ((Ints{nScheme, nSchedule}), (Ints{0, 0}));

    auto period = [](s32 fromH, s32 fromM, s32 toH, s32 toM) {
        return std::vector<KeyVal>{{8000, 1}, {8001, fromH}, {8002, fromM}, {8003, toH}, {8004, toM}};
    };
    // A negative start is huge as unsigned, start equal to end is empty, the factory set is never judged.
    Peer::installSets(c, {period(-1, 0, 24, 0), period(10, 0, 10, 0), period(8, 30, 18, 15), period(6, 0, 20, 0),
                          period(18, 0, 24, 0), period(0, 0, 24, 0)});
    const int cases[][4] = {{0, 0, 0, 0},  {5, 59, 0, 0},  {6, 0, 3, 1},   {8, 29, 3, 1},  {8, 30, 2, 1}, {10, 0, 2, 1},
                            {18, 14, 2, 1}, {18, 15, 3, 1}, {19, 59, 3, 1}, {20, 0, 4, 1}, {23, 59, 4, 1}};
    for (const auto& k : cases) {
        hostsim::setTimeOfDay(k[0], k[1], 59);
        nScheme = nSchedule = -7;
        EXPECT_EQ(c.judgeCurScheme(nScheme, nSchedule), 0);
        EXPECT_EQ((Ints{nScheme, nSchedule}), (Ints{k[2], k[3]})) << k[0] << ":" << k[1];
    }
}

TEST_F(SchemeTest, HostChoosesUpToTheFactorySetAnyModeIsStoredAndBothWaitInHalfSecondsWhileBusy)
{
    Ctl c;
    for (int bad : {-1, 3}) {
        bool ok = true;
        EXPECT_EQ(output([&] { ok = c.setParamScheme(bad); }),
                  failed(kWhere + "setParamScheme", "p_nScheme >= 0 && (u32)p_nScheme <= m_stSysConf.nSchemeSum",
                         "p_nScheme(" + std::to_string(bad) + ")\n"));
        EXPECT_FALSE(ok);
    }
    EXPECT_EQ(c.state(), (Ints{0, 0, 0}));
    int current = -7, mode = -7;
    bool ok = false;
    EXPECT_EQ(output([&] {
                  ok = c.setParamScheme(2) && c.getParamScheme(current) && c.setParamMode(5) && c.getParamMode(mode);
              }),
              "\n" + failed(kWhere + "setParamMode", "0 == p_nMode || 1 == p_nMode", "p_nMode(5)\n"));
    EXPECT_TRUE(ok);
    EXPECT_EQ((Ints{current, mode}), (Ints{2, 5}));
    EXPECT_EQ(take(), (Strings{ia(2353, 40), ia(144, 0)}));

    Peer::paramMode(c) = 1;
    hostsim::setAutoAdvance(true);
    const auto ready = [](std::future<bool>& f) { return f.wait_for(std::chrono::seconds(0)) == std::future_status::ready; };
    // The flag held while the host asks, the scheme it asks for (-1: parameter mode 0) and what then goes out.
    const struct { u32 flag; int target; Strings sent; } cases[] = {
        {Peer::kSwitching, 1, {ia(34, 60), ia(2353, 70), ia(144, 2)}},
        {Peer::kResetting, 0, {ia(34, 50), ia(2353, 50), ia(144, 1)}},
        {Peer::kResettingToLast, -1, {}}};
    for (const auto& k : cases) {
        SCOPED_TRACE(k.flag);
        hostsim::setTimeOfDay(12, 0, 0);
        hostsim::clearSleeps();
        Peer::setFlags(c, k.flag);
        auto done = std::async(std::launch::async,
                               [&] { return k.target < 0 ? c.setParamMode(0) : c.setParamScheme(k.target); });
        while (hostsim::sleeps().size() < 3 && !ready(done)) std::this_thread::yield();
        EXPECT_GE(hostsim::sleeps().size(), 3u);
        EXPECT_EQ(Peer::paramMode(c), 1);
        EXPECT_TRUE(take().empty());
        Peer::clearFlags(c, k.flag);
        EXPECT_TRUE(done.get());
        const auto sleeps = hostsim::sleeps();
        for (const auto& s : sleeps) EXPECT_EQ(std::make_pair(s.seconds, s.microseconds), std::make_pair(0L, 500000L));
        EXPECT_EQ(hostsim::simulatedEpochSeconds() % 86400, 12 * 3600 + (std::int64_t)sleeps.size() / 2);
        EXPECT_EQ(take(), k.sent);
    }
    EXPECT_EQ(Peer::paramMode(c), 0);
    // Start-up alone is not busy.
    Peer::setFlags(c, Peer::kInitializing);
    hostsim::clearSleeps();
    auto quick = std::async(std::launch::async, [&] { return c.setParamScheme(1) && c.setParamMode(1); });
    while (!ready(quick) && hostsim::sleeps().empty()) std::this_thread::yield();
    EXPECT_TRUE(hostsim::sleeps().empty());
    Peer::clearFlags(c, Peer::kInitializing);
    EXPECT_TRUE(quick.get());
    EXPECT_EQ(take(), (Strings{ia(34, 60), ia(2353, 70), ia(144, 2)}));
}

}  // namespace
