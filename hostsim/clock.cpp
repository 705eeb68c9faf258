// The host clock: PeloraTime::wait and PLDeviceTime on real time, or on a settable simulated clock.
#include <errno.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "PeloraTime.h"
#include "hostsim.h"
#include "internal.h"

namespace hostsim {
namespace {

const std::int64_t kMicrosPerSecond = 1000000;

using Steady = std::chrono::steady_clock;

// The sensor thread reads the clock while tests move it. Time is kept in
// microseconds so that many short waits add up to whole seconds. A running
// clock is `micros` at `since`, plus the real time gone since then times `speed`.
struct ClockState {
    std::atomic<int> mode{static_cast<int>(ClockMode::Real)};
    std::atomic<bool> autoAdvance{false};
    std::atomic<int> speed{0};
    std::mutex mutex;
    std::int64_t micros = 0;  // since the epoch, UTC
    Steady::time_point since;
    std::deque<SleepRecord> sleeps;

    // The caller holds the mutex.
    std::int64_t now() const
    {
        const int n = speed.load();
        if (n == 0) return micros;
        const auto real = std::chrono::duration_cast<std::chrono::microseconds>(Steady::now() - since).count();
        return micros + real * n;
    }
    // Makes the current time the new starting point of a running clock.
    void settle()
    {
        micros = now();
        since = Steady::now();
    }
};

ClockState& clockState()
{
    static ClockState state;
    return state;
}

std::int64_t floorDiv(std::int64_t a, std::int64_t b)
{
    std::int64_t q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

// Simulated time is taken as UTC so nothing depends on the machine's zone.
std::int64_t epochOf(int year, int month, int day, int hour, int minute, int second)
{
    struct tm stTm = {};
    stTm.tm_year = year - 1900;
    stTm.tm_mon = month - 1;
    stTm.tm_mday = day;
    stTm.tm_hour = hour;
    stTm.tm_min = minute;
    stTm.tm_sec = second;
    return static_cast<std::int64_t>(timegm(&stTm));
}

void realSleep(std::int64_t micros)
{
    if (micros <= 0) return;
    struct timespec stReq;
    stReq.tv_sec = static_cast<time_t>(micros / kMicrosPerSecond);
    stReq.tv_nsec = static_cast<long>((micros % kMicrosPerSecond) * 1000);
    struct timespec stRem;
    while (nanosleep(&stReq, &stRem) != 0 && errno == EINTR) stReq = stRem;
}

}  // namespace

void setClockMode(ClockMode mode) { clockState().mode.store(static_cast<int>(mode)); }

ClockMode clockMode() { return static_cast<ClockMode>(clockState().mode.load()); }

void setLocalTime(int year, int month, int day, int hour, int minute, int second)
{
    ClockState& state = clockState();
    std::int64_t secs = epochOf(year, month, day, hour, minute, second);
    std::lock_guard<std::mutex> lock(state.mutex);
    state.settle();
    state.micros = secs * kMicrosPerSecond;
}

void setTimeOfDay(int hour, int minute, int second)
{
    ClockState& state = clockState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.settle();
    time_t now = static_cast<time_t>(floorDiv(state.micros, kMicrosPerSecond));
    struct tm stTm = {};
    gmtime_r(&now, &stTm);
    state.micros =
        epochOf(stTm.tm_year + 1900, stTm.tm_mon + 1, stTm.tm_mday, hour, minute, second) * kMicrosPerSecond;
}

void advanceSeconds(std::int64_t seconds)
{
    ClockState& state = clockState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.settle();
    state.micros += seconds * kMicrosPerSecond;
}

void setClockSpeed(int speed)
{
    ClockState& state = clockState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.settle();
    state.speed.store(speed > 0 ? speed : 0);
}

int clockSpeed() { return clockState().speed.load(); }

std::int64_t simulatedEpochSeconds()
{
    ClockState& state = clockState();
    std::lock_guard<std::mutex> lock(state.mutex);
    return floorDiv(state.now(), kMicrosPerSecond);
}

void setAutoAdvance(bool on) { clockState().autoAdvance.store(on); }

std::vector<SleepRecord> sleeps()
{
    ClockState& state = clockState();
    std::lock_guard<std::mutex> lock(state.mutex);
    return std::vector<SleepRecord>(state.sleeps.begin(), state.sleeps.end());
}

void clearSleeps()
{
    ClockState& state = clockState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.sleeps.clear();
}

}  // namespace hostsim

void PeloraTime::wait(const PeloraTime& p_objDuration)
{
    using namespace hostsim;
    const std::int64_t nMicros =
        static_cast<std::int64_t>(p_objDuration.getSeconds()) * kMicrosPerSecond + p_objDuration.getMicroseconds();
    if (clockMode() == ClockMode::Real) {
        realSleep(nMicros);
        return;
    }
    ClockState& state = clockState();
    int nSpeed = 0;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        state.sleeps.push_back(SleepRecord{p_objDuration.getSeconds(), p_objDuration.getMicroseconds()});
        detail::keepLast(state.sleeps);
        nSpeed = state.speed.load();
        if (nSpeed == 0 && state.autoAdvance.load() && nMicros > 0) state.micros += nMicros;
    }
    // A running clock moves by itself: the wait lasts its share of real time.
    if (nSpeed > 0) {
        realSleep(nMicros / nSpeed);
        return;
    }
    // A started sensor thread loops on wait and must leave the core to the
    // others. While the threads are held nobody loops here but a driver making
    // passes one by one (sensorctl's tick, a test), and a simulated day of
    // passes must not cost a real minute and a half: a yield is enough.
    if (threadsHeld()) {
        std::this_thread::yield();
    } else {
        realSleep(1000);
    }
}

PLDeviceTime PLDeviceTime::getCurrentTime()
{
    using namespace hostsim;
    struct tm stTm = {};
    if (clockMode() == ClockMode::Real) {
        time_t now = time(NULL);
        localtime_r(&now, &stTm);
    } else {
        time_t now = static_cast<time_t>(simulatedEpochSeconds());
        gmtime_r(&now, &stTm);
    }
    return PLDeviceTime(stTm.tm_year + 1900, stTm.tm_mon + 1, stTm.tm_mday, stTm.tm_hour, stTm.tm_min, stTm.tm_sec);
}
