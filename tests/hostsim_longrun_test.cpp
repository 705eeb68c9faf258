// The simulator as a long-running host uses it: bounded logs whose trace cursors survive, and a clock that runs by
// itself.
#include <gtest/gtest.h>

#include "ModuleTest.h"
#include "PeloraTime.h"
#include "hostsim.h"

namespace {

class LongRunTest : public testsupport::HostTest {
protected:
    static void setBrightness(int value) { ia_ioctrl_v2(0, static_cast<ia_cmd_e>(34), IA_CMD_OPT_SET, &value); }
};

// Past the limit the oldest entries go, from every log; numbers are never reused.
TEST_F(LongRunTest, LogsKeepTheirNewestEntriesAndCursorsSurvive)
{
    hostsim::setLogLimit(3);
    // Line numbers run on for the whole process (a cursor outlives a clear), so the rows count from here.
    const std::uint64_t base = hostsim::traceSince(0).next;
    for (int value = 1; value <= 5; ++value) setBrightness(value);
    const std::vector<std::string> kept = {"ia ch=0 cmd=34 opt=0 in=[3] ret=0", "ia ch=0 cmd=34 opt=0 in=[4] ret=0",
                                           "ia ch=0 cmd=34 opt=0 in=[5] ret=0"};
    EXPECT_EQ(hostsim::trace(), kept);
    EXPECT_EQ(hostsim::SimIsp::instance().calls().size(), 3u);

    struct Row {
        std::uint64_t cursor;
        std::uint64_t first;
        std::size_t lines;
    };
    for (const Row& row : {Row{0, 2, 3}, Row{3, 3, 2}, Row{5, 5, 0}, Row{99, 5, 0}}) {
        SCOPED_TRACE(row.cursor);
        const hostsim::TracePage page = hostsim::traceSince(row.cursor == 0 ? 0 : base + row.cursor);
        EXPECT_EQ(page.first, base + row.first);
        EXPECT_EQ(page.next, base + 5);
        ASSERT_EQ(page.lines.size(), row.lines);
        if (row.lines > 0) {
            EXPECT_EQ(page.lines.back(), kept.back());
        }
    }
    hostsim::clearTrace();
    setBrightness(6);
    EXPECT_EQ(hostsim::traceSince(base + 5).lines, std::vector<std::string>{"ia ch=0 cmd=34 opt=0 in=[6] ret=0"});
}

// A running clock moves by itself and a wait lasts 1/N of its time; stopped, it stands.
TEST_F(LongRunTest, ClockRunsAtItsSpeedAndStandsWhenStopped)
{
    hostsim::setTimeOfDay(7, 59, 0);
    hostsim::setClockSpeed(3600);
    const std::int64_t start = hostsim::simulatedEpochSeconds();
    PeloraTime::wait(PeloraTime(1, 0));  // a real 0.28 ms
    EXPECT_GE(hostsim::simulatedEpochSeconds(), start + 1);
    hostsim::setTimeOfDay(12, 0, 0);  // moves the running clock from there on
    EXPECT_LT(hostsim::simulatedEpochSeconds() - (start - 7 * 3600 - 59 * 60 + 12 * 3600), 60);
    hostsim::setClockSpeed(0);
    const std::int64_t stopped = hostsim::simulatedEpochSeconds();
    PeloraTime::wait(PeloraTime(0, 1000));
    EXPECT_EQ(hostsim::simulatedEpochSeconds(), stopped);
}

}  // namespace
