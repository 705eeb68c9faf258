// The host's shared event trace and the reset of the whole simulated host.
#include <mutex>
#include <string>
#include <vector>

#include "flash.h"
#include "hostsim.h"

namespace hostsim {
namespace {

// The library and the video module write into one list so that tests see the
// order in which the module talked to both.
struct TraceState {
    std::mutex mutex;
    std::vector<std::string> lines;
};

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
}

}  // namespace detail

std::vector<std::string> trace()
{
    TraceState& state = traceState();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.lines;
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
