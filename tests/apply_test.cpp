// Applying parameter sets: skips, cross-key rules, dispatch, failures, recording, and no heap use on the way.
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "ControllerPeer.h"
#include "ModuleTest.h"
#include "hostsim.h"

// Allocations are counted without sanitizers only: they bring their own allocator, and replacing it would take
// their checks away from every test of the program.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define APPLY_COUNTS_ALLOCATIONS 0
#else
#define APPLY_COUNTS_ALLOCATIONS 1
#include <dlfcn.h>
#include <execinfo.h>

#include <cstring>

extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
static thread_local bool t_counting = false;
static long g_allocs = 0, g_moduleAllocs = 0;

// An allocation is the module's when the module, not the simulator, is the nearer of the two on the stack
// (operator new, std::string and the like may lie between).
static void noteAllocation()
{
    t_counting = false;  // the stack walk may allocate itself
    ++g_allocs;
    void* frames[64];
    Dl_info info;
    const char* lib = "";
    for (int i = 1, n = backtrace(frames, 64); i < n && !strstr(lib, "libsensordll") && !strstr(lib, "libhostsim"); ++i)
        lib = dladdr(static_cast<char*>(frames[i]) - 1, &info) && info.dli_fname ? info.dli_fname : "";
    g_moduleAllocs += strstr(lib, "libsensordll") != nullptr;
    t_counting = true;
}
#define COUNTED(call) { if (t_counting) noteAllocation(); return call; }
extern "C" void* malloc(size_t n) noexcept COUNTED(__libc_malloc(n))
extern "C" void* calloc(size_t n, size_t size) noexcept COUNTED(__libc_calloc(n, size))
extern "C" void* realloc(void* p, size_t n) noexcept COUNTED(__libc_realloc(p, n))
#endif

// Found by argument lookup from comparisons of whole sets.
static bool operator==(const KeyVal& a, const KeyVal& b) { return a.key == b.key && a.value == b.value; }
static void PrintTo(const KeyVal& kv, std::ostream* os) { *os << "{" << kv.key << "," << kv.value << "}"; }

using Peer = ISensorControllerTestPeer;
using Strings = std::vector<std::string>;
using Set = std::vector<KeyVal>;
using std::to_string;
using testsupport::colorPrefix;

namespace {

std::string ia(u32 cmd, const std::string& in, int ret = 0)
{
    return "ia ch=0 cmd=" + to_string(cmd) + " opt=0 in=[" + in + "] ret=" + to_string(ret);
}
std::string video(int key, int val) { return "video ch=1 key=" + to_string(key) + " val=" + to_string(val) + " ret=0"; }
// The verbose line naming the row about to be applied.
std::string row(const std::string& name, int key, int val, int cmd)
{
    return colorPrefix(31) + "====================== set " + name + " (" + to_string(key) + "," + to_string(val) +
           ") func:&ISensorController::doIaCmd ia_cmd:" + to_string(cmd) + " =====================\n" +
           testsupport::kColorEnd;
}

class ApplyTest : public testsupport::ModuleTest {
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        ctl_ = std::make_unique<ISensorController>();
        ctl_->setVideoStreamModule(&video_);
        Peer::buildTable(*ctl_);
        Peer::curScheme(*ctl_) = 0;
    }
    void TearDown() override { Peer::releaseAll(*ctl_); ModuleTest::TearDown(); }
    // `users` user schemes and the factory set, all holding `set`.
    void install(const Set& set, u32 users = 2) { Peer::installSets(*ctl_, std::vector<Set>(users + 1, set)); }
    Set set(u32 scheme) { return Peer::set(*ctl_, scheme); }
    void fail(std::int64_t cmd, int result) { hostsim::SimIsp::instance().addFault({-1, cmd, -1, 0, -1, result}); }
    // Applies the entries; out_ gets the console text with line numbers masked.
    int apply(Set entries, bool save = true)
    {
        int ret = -999;
        out_ = testsupport::maskLineNumbers(
            captureStdout([&] { ret = ctl_->setParameters(entries.data(), (u32)entries.size(), save); }));
        return ret;
    }
    Strings take() { Strings lines = hostsim::trace(); hostsim::clearTrace(); return lines; }

    hostsim::SimVideoModule video_;
    std::unique_ptr<ISensorController> ctl_;
    std::string out_;
};

TEST_F(ApplyTest, SendsChangedEntriesAndRecordsThemOnlyInAUserSchemeWhenSaving)
{
    const Set base = {{34, 50}, {2337, 40}, {10, 0}, {8002, 0}, {2368, 1}};
    install(base);
    // 2337 is unchanged, 10 and 8002 are store-only, 2353 is not in the set, hidden WDR is stored as left.
    Peer::showWdr(*ctl_) = false;
    EXPECT_EQ(apply({{34, 60}, {2337, 40}, {10, 7}, {8002, 30}, {2353, 9}, {2368, 2}}), 0);
    EXPECT_EQ(out_, "\n");
    EXPECT_EQ(take(), (Strings{ia(34, "60"), ia(2353, "9")}));
    const Set applied = {{34, 60}, {2337, 40}, {10, 7}, {8002, 30}, {2368, 0}};
    EXPECT_EQ(set(0), applied);
    EXPECT_EQ(set(1), base);
    // Without saving, nothing is compared and nothing recorded.
    EXPECT_EQ(apply({{34, 60}, {10, 8}, {2337, 41}}, false), 0);
    EXPECT_EQ(take(), (Strings{ia(34, "60"), ia(2337, "41")}));
    EXPECT_EQ(set(0), applied);
    // The factory set in force: values still go out, silently unrecorded.
    Peer::curScheme(*ctl_) = 2;
    EXPECT_EQ(apply({{34, 5}}), 0);
    EXPECT_EQ(take(), (Strings{ia(34, "5")}));
    EXPECT_EQ(set(2), base);
}

TEST_F(ApplyTest, AFailingHandlerStopsTheWalkUnderItsRowKeyAndUnknownKeysGoOutAnyway)
{
    install({{8104, 0}, {2337, 0}, {2321, 0}});
    EXPECT_EQ(apply({{8104, 1}, {4242, 5}}), 0);
    EXPECT_EQ(ISensorController::m_nPassKeycmd.load(), 8104);
    setDebugLevel(6);
    fail(2337, -1);
    EXPECT_EQ(apply({{2321, 1}, {2337, 2}, {2321, 3}}), -2337);
    EXPECT_EQ(out_, row("KEY_SHARPNESS", 2321, 1, 2321) + row("KEY_SATURATION", 2337, 2, 2337) + colorPrefix(0) +
                        "[sensor err] file:ISensorController_apply.cpp fun:setParameters line:#\nset KEY_SATURATION "
                        "(2337,2) func:&ISensorController::doIaCmd ia_cmd:2337 ~~~failed ia_ret=-1\n" +
                        testsupport::kColorEnd);
    EXPECT_EQ(take(), (Strings{ia(4242, "5"), ia(2321, "1"), ia(2337, "2", -1)}));
    EXPECT_EQ(set(0), (Set{{8104, 1}, {2337, 0}, {2321, 1}}));
    // The row key, not the command, names the failure; only -1, -4 and -5 are reported.
    install({{83, 0}});
    fail(85, -2);
    EXPECT_EQ(apply({{83, 4}}), -83);
    EXPECT_EQ(out_, row("KEY_IRIS_SIZE", 83, 4, 85));
}

TEST_F(ApplyTest, SchemeModeIsCopiedAndDayNightKeysGoOutFromSchemeZeroOnly)
{
    const Set base = {{8000, 0}, {144, 0}, {145, 10}, {146, 20}, {147, 0}};
    install(base, 3);
    // Time flag, day/night flag, the mode in schemes 0..2 and the factory set.
    auto modes = [&] {
        std::vector<s32> m = {Peer::timeScheme(*ctl_), Peer::dnScheme(*ctl_)};
        for (u32 s = 0; s <= 3; ++s) m.push_back(set(s)[0].value);
        return m;
    };
    for (auto [mode, after] : std::vector<std::pair<s32, std::vector<s32>>>{
             {1, {1, 0, 1, 1, 1, 0}}, {5, {0, 0, 5, 0, 0, 0}}, {2, {0, 1, 2, 2, 2, 0}}}) {
        EXPECT_EQ(apply({{8000, mode}}), 0);
        EXPECT_EQ(modes(), after) << mode;
    }
    // Scheme 1 is the night scheme and keeps in step; 147 is no day/night key.
    EXPECT_EQ(apply({{144, 1}, {145, 30}, {147, 4}}), 0);
    EXPECT_EQ(take(), (Strings{ia(144, "1"), ia(145, "30,20,0"), ia(147, "4")}));
    EXPECT_EQ(set(1), (Set{{8000, 2}, {144, 1}, {145, 30}, {146, 20}, {147, 0}}));
    EXPECT_EQ(set(2), (Set{{8000, 2}, {144, 0}, {145, 10}, {146, 20}, {147, 0}}));
    // Outside scheme 0 these keys and the mode are only recorded.
    Peer::curScheme(*ctl_) = 1;
    EXPECT_EQ(apply({{144, 2}, {147, 5}, {8000, 1}}), 0);
    EXPECT_EQ(take(), (Strings{ia(147, "5")}));
    EXPECT_EQ(modes(), (std::vector<s32>{0, 1, 2, 1, 2, 0}));
    EXPECT_EQ(set(1), (Set{{8000, 1}, {144, 2}, {145, 30}, {146, 20}, {147, 5}}));
    // One user scheme: the set after scheme 0 is the factory set, left alone.
    install(base, 1);
    Peer::curScheme(*ctl_) = 0;
    EXPECT_EQ(apply({{144, 1}}), 0);
    EXPECT_EQ(set(1), base);
}

TEST_F(ApplyTest, LightTwinsLimitedIrPowerAndTheThermalChannel)
{
    install({{161, 0}, {168, 0}, {172, 0}, {203, 0}, {224, 0}});
    EXPECT_EQ(apply({{161, 1}, {168, 2}}), 0);
    // The light type is read for each entry, so a recorded one counts at once.
    EXPECT_EQ(apply({{224, 2}, {161, 3}, {168, 4}, {203, 5}}), 0);
    EXPECT_EQ(take(), (Strings{ia(161, "1"), ia(224, "2"), ia(161, "4"), ia(170, "5")}));
    EXPECT_EQ(set(0), (Set{{161, 4}, {168, 4}, {172, 5}, {203, 5}, {224, 2}}));

    // Near plus far may not pass 100: the set is refused under its first key, from the entry on.
    install({{34, 0}, {163, 60}, {167, 0}, {224, 0}});
    Peer::limitedIrPower(*ctl_) = true;
    EXPECT_EQ(apply({{34, 5}, {167, 41}, {2337, 1}}), -34);
    EXPECT_EQ(apply({{167, 40}}), 0);
    EXPECT_EQ(take(), (Strings{ia(34, "5"), ia(167, "40")}));
    // The cap holds under the intelligent light too, before its twin rule drops the key.
    ctl_->setKeyValToCache(0, 224, 2, true);
    EXPECT_EQ(apply({{163, 61}}), -163);
    EXPECT_EQ(apply({{163, 59}}), 0);
    EXPECT_TRUE(take().empty());
    EXPECT_EQ(set(0), (Set{{34, 5}, {163, 60}, {167, 40}, {224, 2}}));

    // The thermal channel hands mirror, shake and colour keys to the video side itself.
    install({{2384, 0}, {2385, 1}, {2416, 0}, {8201, 0}, {8217, 0}});
    Peer::thermal(*ctl_) = true;
    fail(2384, -1);
    EXPECT_EQ(apply({{2384, 1}, {2416, 1}, {8201, 3}, {8217, 1}}), 0);
    EXPECT_EQ(take(), (Strings{video(2384, 2), ia(2384, "2", -1), video(2416, 1), ia(2416, "1"), video(8201, 3),
                               video(8217, 1)}));
    EXPECT_EQ(set(0), (Set{{2384, 1}, {2385, 1}, {2416, 1}, {8201, 3}, {8217, 1}}));
}

TEST_F(ApplyTest, FullSetMakesNoHeapAllocationInTheModule)
{
#if !APPLY_COUNTS_ALLOCATIONS
    GTEST_SKIP() << "allocations are counted in the build without sanitizers only";
#else
    Set zeros, ones;
    for (u32 i = 0; i < Peer::keyCmdSum(*ctl_); ++i) {
        zeros.push_back({Peer::keyCmdMap(*ctl_)[i].key, 0});
        ones.push_back({Peer::keyCmdMap(*ctl_)[i].key, 1});
    }
    install(zeros);
    g_allocs = g_moduleAllocs = 0;
    t_counting = true;
    const int ret = apply(ones);
    t_counting = false;
    EXPECT_EQ(ret, 0);
    EXPECT_EQ(g_moduleAllocs, 0) << "of " << g_allocs << " allocations in all";
    EXPECT_EQ(set(0), ones);
    // The counter does see the module's own allocations: a controller makes its thread object.
    t_counting = true;
    ISensorController other;
    t_counting = false;
    EXPECT_GE(g_moduleAllocs, 1);
#endif
}

TEST_F(ApplyTest, FirstEntryOfAKeyDecidesAndARecordedLightTypeCountsAtOnce)
{
    // `head`, then unchanged entries up to 20.
    const auto padded = [](Set head) {
        for (u32 key = 9000; head.size() < 20; ++key) head.push_back({key, 0});
        return head;
    };
    // Key 34 twice in the set in force: its first entry holds the value in force.
    Set inForce = padded({{34, 50}, {2337, 40}});
    inForce.back() = {34, 7};
    install(inForce, 1);
    Set entries = inForce;
    entries[1].value = 41;
    entries.back().value = 50;
    EXPECT_EQ(apply(entries), 0);
    EXPECT_EQ(take(), (Strings{"ia ch=0 cmd=2337 opt=0 in=[41] ret=0"}));

    // The intelligent light type, recorded first, drops the infrared key and sends its twin in its place.
    install(padded({{224, 0}, {161, 0}, {168, 0}}), 1);
    EXPECT_EQ(apply(padded({{224, 2}, {161, 3}, {168, 4}})), 0);
    EXPECT_EQ(take(), (Strings{"ia ch=0 cmd=224 opt=0 in=[2] ret=0", "ia ch=0 cmd=161 opt=0 in=[4] ret=0"}));
}

}  // namespace
