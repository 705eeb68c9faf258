// Single parameters: reads and writes, the accessors, the visibility flags and what waits for the controller lock.
#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

#include "ModuleTest.h"

using namespace testsupport;
using Sets = std::vector<std::vector<KeyVal>>;

namespace {

std::string failedRead(int key)
{
    return failed("ISensorController_params.cpp fun:getParameter",
                  "SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)",
                  "get key(" + std::to_string(key) + ") val from 2a err");
}

struct Ctl : ISensorController {
    Ctl(const Sets& sets) { Peer::buildTable(*this), Peer::installSets(*this, sets), Peer::curScheme(*this) = 0; }
    ~Ctl() { Peer::keyValWork(*this) = nullptr, Peer::releaseAll(*this); }
    s32 recorded(u32 scheme, u32 index) { return Peer::set(*this, scheme)[index].value; }
};

using ParamTest = ModuleTest;

TEST_F(ParamTest, GetAnswersFromTheSchemeInForceAndSetAppliesOneEntry)
{
    Ctl c({{{34, 50}, {163, 40}}, {{34, 60}, {163, 0}}, {{34, 0}, {163, 0}}});
    Peer::curScheme(c) = 1;
    hostsim::SimIsp::instance().setValue(0, 34, 99);
    hostsim::SimIsp::instance().setValue(0, 2353, 33);
    // Held keys come from the set; infrared keys missing from it are never asked of the library.
    std::vector<int> got;
    for (int key : {34, 163, 160, 161, 165, 167, 2353}) {
        int v = 7;
        EXPECT_TRUE(c.getParameter(key, v)) << key;
        got.push_back(v);
    }
    EXPECT_EQ(got, (std::vector<int>{60, 0, -1, -1, -1, -1, 33}));
    failIsp(2353, IA_CMD_OPT_GET);
    int v = 5;
    EXPECT_EQ(output([&] { EXPECT_FALSE(c.getParameter(2353, v)); }), failedRead(2353));
    // Applied to the scheme in force; an unsaved value is not recorded.
    EXPECT_EQ(c.setParameter(34, 61, true) + c.setParameter(163, 70, false), 0);
    EXPECT_EQ(take(), (Strings{ia(2353, 7, 1), ia(2353, 5, 1, -1), ia(34, 61), ia(163, 70)}));
    EXPECT_EQ((std::vector<s32>{c.recorded(1, 0), c.recorded(1, 1), c.recorded(0, 0)}), (std::vector<s32>{61, 0, 50}));
}

// Keys from outside may name a command whose data is a record or a list: the library fills all of it (the
// simulator touches every byte, so AddressSanitizer sees one word handed in) and the caller gets the first word.
TEST_F(ParamTest, RecordCommandsGetRoomForTheirWholeRecord)
{
    Ctl c(Sets(3, {{34, 50}}));
    dn_thr_st thr = {70, 30, 5};
    dn_time_st time = {18, 15, 6, 30};
    ia_ioctrl_v2(0, IA_CMD_DTN_THR, IA_CMD_OPT_SET, &thr), ia_ioctrl_v2(0, IA_CMD_DTN_H, IA_CMD_OPT_SET, &time);
    hostsim::SimIsp::instance().setDynamicCommands(0, {49, 50, 82});
    take();
    const struct Row { int key, value; const char* in; } rows[] = {
        {145, 70, "7,0,0"}, {149, 18, "7,0,0,0"}, {2816, 7, "7,0,0,0"}, {4112, 3, ""}, {1606, 0, "7"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key);
        int v = 7;
        EXPECT_TRUE(c.getParameter(row.key, v));
        EXPECT_EQ(v, row.value);
        EXPECT_EQ(take(), Strings{ia(row.key, row.in, IA_CMD_OPT_GET)});
    }
    // Sent as its own command, with nothing but zeros after the value.
    EXPECT_EQ(c.setParameter(2816, 1, true), 0);
    EXPECT_EQ(take(), Strings{ia(2816, "1,0,0,0")});
}

TEST_F(ParamTest, AccessorsFixTheirKeysBeawayAnswersFalseAndDayNightModeTrue)
{
    using C = ISensorController;
#define ACCESSORS(name, key) {&C::set##name, &C::get##name, key}
    const struct Row { bool (C::*set)(int&); bool (C::*get)(int&); u32 key; } rows[] = {
        ACCESSORS(WDRSwitch, 2368), ACCESSORS(WDRStrength, 2369), ACCESSORS(HLCSwitch, 112),
        ACCESSORS(HLCStrength, 113), ACCESSORS(BLCSwitch, 128), ACCESSORS(BLCStrength, 130),
        ACCESSORS(DefogSwitch, 2400), ACCESSORS(DefogStrength, 2401), ACCESSORS(2DSwitch, 2304),
        ACCESSORS(2DMode, 2305), ACCESSORS(2DAutoMaxStrength, 2306), ACCESSORS(2DManualMaxStrength, 2307),
        ACCESSORS(3DSwitch, 2308), ACCESSORS(3DMode, 2309), ACCESSORS(3DAutoMaxStrength, 2312),
        ACCESSORS(3DManualMaxStrength, 2313), ACCESSORS(Beaway, 2385)};
#undef ACCESSORS
    std::vector<KeyVal> all = {{2384, 9}, {144, 9}};
    for (const Row& row : rows) all.push_back({row.key, 9});
    Ctl c({all, all, all});
    int v = -7;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key);
        v = 0;
        EXPECT_EQ((c.*row.set)(v), row.key != 2385);
        // Beaway sends the stored mirror again before itself.
        EXPECT_EQ(take(), row.key == 2385 ? (Strings{ia(2384, 9), ia(2385, 0)}) : Strings{ia(row.key, 0)});
        v = 7;
        EXPECT_TRUE((c.*row.get)(v));
        EXPECT_EQ(v, 0);
    }
    EXPECT_TRUE(c.setDNMode(0) && c.getDNMode(v) && v == 0 && c.getMirrorValue(v) && v == 9);
    EXPECT_EQ(take(), (Strings{ia(144, 0)}));
    // Missing from the set and a failed read: getDNMode still answers true.
    Peer::installSets(c, Sets(3, {{34, 0}}));
    failIsp(-1, IA_CMD_OPT_GET);
    bool dn = false, wdr = true;
    EXPECT_EQ(output([&] { dn = c.getDNMode(v), wdr = c.getWDRSwitch(v); }), failedRead(144) + failedRead(2368));
    EXPECT_TRUE(dn && !wdr);

    // The WDR flag is the controller's, the beaway flag the whole process's.
    ISensorController other;
    bool shown[3] = {};
    other.setShowBeawayFalg(false);
    c.setShowWDRFalg(false);
    EXPECT_TRUE(c.getShowBeawayFalg(shown[0]) && c.getShowWDRFalg(shown[1]) && other.getShowWDRFalg(shown[2]));
    EXPECT_EQ(std::vector<bool>(shown, shown + 3), (std::vector<bool>{false, false, true}));
}

TEST_F(ParamTest, HostOperationsWaitForTheControllerLockAndTheRestDoNot)
{
    const std::vector<KeyVal> base = {{8000, 0}, {8001, 0}, {8002, 0}, {8003, 0},
                                      {8004, 0}, {34, 50},  {144, 0},  {160, 0}};
    std::vector<KeyVal> brighter = base, work(base.size());
    brighter[5].value = 60;
    Ctl c({base, brighter, base});
    Peer::keyValWork(c) = work.data();
    std::promise<void> release;
    std::atomic<bool> held{false};
    std::thread holder([&] {
        PLMutexManager lock(&Peer::mutex(c), __FILE__, __LINE__);
        held = true;
        release.get_future().wait();
    });
    while (!held) std::this_thread::yield();

    // Switches, the judgement, the flags and the plain library commands run beside the holder: they end
    // without a single lock call having to wait.
    const auto ready = [](std::future<bool>& f) { return f.wait_for(std::chrono::seconds(0)) == std::future_status::ready; };
    std::uint64_t waits = hostsim::lockWaits();
    auto unlocked = std::async(std::launch::async, [&] {
        int a = 7, b = 7;
        bool flag = false;
        c.setShowWDRFalg(true);
        c.setShowBeawayFalg(true);
        return c.switch_to(1) == 0 && c.LPR_switch_to(0) == 0 && c.judgeCurScheme(a, b) == 0 &&
               c.getShowWDRFalg(flag) && c.getShowBeawayFalg(flag) && c.zoomIn() && c.setIrisValue(300) &&
               c.getHeatStatus(flag) && c.getZoomValue(a, b);
    });
    while (!ready(unlocked) && hostsim::lockWaits() == waits) std::this_thread::yield();
    EXPECT_EQ(hostsim::lockWaits(), waits);
    EXPECT_EQ(take(), (Strings{ia(34, 60), ia(34, 50), ia(144, 0), ia(160, 0), ia(1569, 1), ia(16, 3), ia(82, 300),
                               ia(1606, 0, 1), ia(1568, 0, 1)}));

    // The rest wait, each on its own thread, until the lock is free: every one of them is counted as
    // waiting before the lock goes, and none has reached the library by then.
    int v = -7, scheme = -7, mode = -7;
    const std::function<bool()> ops[] = {
        [&] { return c.setParameter(34, 61, true) == 0; }, [&] { return c.getParameter(160, v); },
        [&] { return c.setDNMode(1); },   [&] { return c.setLightType(3); },     [&] { return c.setWhiteMode(1); },
        [&] { return c.setParamScheme(0); }, [&] { return c.getParamScheme(scheme); },
        [&] { return c.setParamMode(0); }, [&] { return c.getParamMode(mode); }};
    std::vector<std::future<bool>> locked;
    for (const auto& op : ops) {
        waits = hostsim::lockWaits();
        locked.push_back(std::async(std::launch::async, op));
        while (hostsim::lockWaits() == waits && !ready(locked.back())) std::this_thread::yield();
        EXPECT_FALSE(ready(locked.back()));
    }
    EXPECT_TRUE(take().empty());
    release.set_value();
    holder.join();
    EXPECT_TRUE(unlocked.get());
    for (auto& f : locked) EXPECT_TRUE(f.get());
    Strings sent = take();
    std::sort(sent.begin(), sent.end());
    EXPECT_EQ(sent, (Strings{ia(144, 1), ia(169, 1), ia(224, 3), ia(34, 61)}));
    EXPECT_EQ((std::vector<s32>{v, scheme, Peer::paramMode(c), c.recorded(0, 5), c.recorded(0, 6)}),
              (std::vector<s32>{0, 0, 0, 61, 1}));
}

}  // namespace
