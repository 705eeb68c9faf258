// The host's shared event trace and the reset of the whole simulated host.
#include <atomic>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "flash.h"
#include "hostsim.h"
#include "internal.h"

namespace hostsim {
namespace {

// The library and the video module write into one list so that tests see the
// order in which the module talked to both.
// Lines are numbered from 0 in the order they came; the numbers go on over a
// clear and over lines dropped past the log limit, so a reader's cursor stays valid.
struct TraceState {
    std::mutex mutex;
    std::deque<std::string> lines;
    std::uint64_t next = 0;  // the number the next line gets
};

std::atomic<std::size_t> g_logLimit{0};

TraceState& traceState()
{
    static TraceState state;
    return state;
}

}  // namespace

namespace detail {

void appendTrace(const std::string& line)
{
    TraceState& state = traceState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.lines.push_back(line);
    ++state.next;
    keepLast(state.lines);
}

std::size_t logLimit() { return g_logLimit.load(); }

}  // namespace detail

void setLogLimit(std::size_t entries) { g_logLimit.store(entries); }

std::vector<std::string> trace()
{
    TraceState& state = traceState();
    std::lock_guard<std::mutex> lock(state.mutex);
    return std::vector<std::string>(state.lines.begin(), state.lines.end());
}

TracePage traceSince(std::uint64_t cursor)
{
    TraceState& state = traceState();
    std::lock_guard<std::mutex> lock(state.mutex);
    TracePage page;
    page.next = state.next;
    page.first = state.next - state.lines.size();
    if (cursor > page.first) page.first = cursor < state.next ? cursor : state.next;
    page.lines.assign(state.lines.end() - static_cast<std::ptrdiff_t>(state.next - page.first), state.lines.end());
    return page;
}

void clearTrace()
{
    TraceState& state = traceState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.lines.clear();
}

void resetAll()
{
    setClockMode(ClockMode::Simulated);
    setClockSpeed(0);
    setLogLimit(0);
    setLocalTime(2026, 1, 1, 12, 0, 0);
    setAutoAdvance(false);
    clearSleeps();
    SimIsp::instance().reset();
    clearTrace();
    setDiskSpace(-1);
    clearOpenFaults();
    setThreadsHeld(false);
    detail::resetFlash();
}

}  // namespace hostsim
