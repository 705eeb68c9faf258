// Applying parameter sets: skips, cross-key rules, dispatch, failures and recording.
#include "ModuleTest.h"

using namespace testsupport;
using Set = std::vector<KeyVal>;
using std::to_string;

namespace {

// The verbose line naming the row about to be applied.
std::string row(const std::string& name, int key, int val, int cmd)
{
    return colorPrefix(31) + "====================== set " + name + " (" + to_string(key) + "," + to_string(val) +
           ") func:&ISensorController::doIaCmd ia_cmd:" + to_string(cmd) + " =====================\n" +
           kColorEnd;
}

class ApplyTest : public BareControllerTest {
protected:
    // `users` user schemes and the factory set, all holding `set`.
    void install(const Set& set, u32 users = 2) { BareControllerTest::install(std::vector<Set>(users + 1, set)); }
    // Applies the entries; out_ gets the console text with line numbers masked.
    int apply(Set entries, bool save = true)
    {
        int ret = -999;
        out_ = output([&] { ret = ctl_->setParameters(entries.data(), (u32)entries.size(), save); });
        return ret;
    }

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
    failIsp(2337);
    EXPECT_EQ(apply({{2321, 1}, {2337, 2}, {2321, 3}}), -2337);
    EXPECT_EQ(out_, row("KEY_SHARPNESS", 2321, 1, 2321) + row("KEY_SATURATION", 2337, 2, 2337) + colorPrefix(0) +
                        "[sensor err] file:ISensorController_apply.cpp fun:setParameters line:#\nset KEY_SATURATION "
                        "(2337,2) func:&ISensorController::doIaCmd ia_cmd:2337 ~~~failed ia_ret=-1\n" +
                        kColorEnd);
    EXPECT_EQ(take(), (Strings{ia(4242, "5"), ia(2321, "1"), ia(2337, "2", 0, -1)}));
    EXPECT_EQ(set(0), (Set{{8104, 1}, {2337, 0}, {2321, 1}}));
    // The row key, not the command, names the failure; only -1, -4 and -5 are reported.
    install({{83, 0}});
    failIsp(85, -1, -2);
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
    failIsp(2384);
    EXPECT_EQ(apply({{2384, 1}, {2416, 1}, {8201, 3}, {8217, 1}}), 0);
    EXPECT_EQ(take(), (Strings{video(2384, 2), ia(2384, "2", 0, -1), video(2416, 1), ia(2416, "1"), video(8201, 3),
                               video(8217, 1)}));
    EXPECT_EQ(set(0), (Set{{2384, 1}, {2385, 1}, {2416, 1}, {8201, 3}, {8217, 1}}));
}

TEST_F(ApplyTest, TheFirstEntryOfAKeyHoldsTheValueInForce)
{
    install({{34, 50}, {2337, 40}, {34, 7}}, 1);
    EXPECT_EQ(apply({{34, 50}, {2337, 41}, {34, 50}}), 0);
    EXPECT_EQ(take(), (Strings{ia(2337, "41")}));
    // Applies of eight entries or more find keys through a per-call index: the same first-entry rule, whether
    // the apply follows the set's order (where a key's next entry is its repeat) or not.
    const Set base = {{34, 50}, {2337, 40}, {2321, 10}, {10, 0}, {8002, 0}, {2353, 30}, {34, 9}, {4243, 0}};
    install(base, 1);
    EXPECT_EQ(apply({{34, 51}, {2337, 41}, {2321, 11}, {10, 1}, {8002, 1}, {2353, 31}, {34, 9}, {4243, 2}}), 0);
    EXPECT_EQ(take(), (Strings{ia(34, "51"), ia(2337, "41"), ia(2321, "11"), ia(2353, "31"), ia(34, "9"),
                               ia(4243, "2")}));
    const Set applied = {{34, 9}, {2337, 41}, {2321, 11}, {10, 1}, {8002, 1}, {2353, 31}, {34, 9}, {4243, 2}};
    EXPECT_EQ(set(0), applied);
    EXPECT_EQ(apply({{4243, 2}, {34, 52}, {4242, 1}, {34, 9}, {2353, 31}, {2321, 12}, {10, 1}, {34, 9}, {2337, 41}}),
              0);
    EXPECT_EQ(take(), (Strings{ia(34, "52"), ia(4242, "1"), ia(34, "9"), ia(2321, "12")}));
    Set after = applied;
    after[2].value = 12;
    EXPECT_EQ(set(0), after);
    EXPECT_EQ(set(1), base);
}

}  // namespace
