// What only a simulated camera can do: its clock, day and night, the trace of the library and video calls, faults.
#ifndef SENSORHOST_SIMCONTROL_H
#define SENSORHOST_SIMCONTROL_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sensorhost {

class SimCamera;

struct ClockInfo {
    std::int64_t epochSeconds = 0;  // the simulated local time, as seconds since the epoch
    int speed = 0;                  // 0: stands still; N: runs at N times real time
};

// One line of the trace, read: what the module told the library or the video
// module (or the shell), on which camera channel.
struct TraceEntry {
    std::uint64_t seq = 0;
    std::string text;         // the simulator's own line
    std::string kind;         // "ia", "video" or "shell"
    int channel = 0;          // the camera channel, from 1; 0 for a shell command
    int cmd = 0;              // ia: the library command; video: the key
    int option = -1;          // ia: 0 set, 1 get, 2 range, 3 correct, 4 status
    std::vector<int> values;  // ia: the words handed in; video: the value
    int result = 0;
};

struct TraceChunk {
    std::uint64_t next = 0;     // the cursor for the next read
    std::uint64_t dropped = 0;  // lines after the cursor that the bounded trace no longer held
    std::vector<TraceEntry> entries;
};

class SimControl {
public:
    // Passes of the sensor threads one request may ask for: a simulated day.
    static constexpr int kMaxPasses = 24 * 60 * 60;
    // An hour a second: faster, the threads' passes cannot keep up with the clock.
    static constexpr int kMaxSpeed = 3600;

    virtual ~SimControl() = default;

    virtual ClockInfo clock() const = 0;
    virtual void setTimeOfDay(int hour, int minute, int second) = 0;
    // 0 stops the clock and holds the sensor threads; N lets the threads run
    // on a clock going N times real time (1 to kMaxSpeed).
    virtual void setSpeed(int speed) = 0;
    // `count` passes of every channel's sensor thread, one simulated second
    // apart. False, and nothing done, while the clock runs by itself.
    virtual bool runPasses(int count) = 0;

    virtual bool night(int channel) const = 0;
    virtual void setNight(int channel, bool night) = 0;

    virtual std::uint64_t traceCursor() const = 0;
    virtual TraceChunk traceSince(std::uint64_t cursor) const = 0;

    // The library fails `cmd` on the channel for the next `count` calls (-1: until cleared).
    virtual void failCommand(int channel, int cmd, int count) = 0;
    virtual void clearFaults() = 0;

    // Where one of the camera's paths lies on this machine.
    virtual std::string hostPath(const std::string& cameraPath) const = 0;
};

// The simulator's controls over a camera brought up on it.
std::unique_ptr<SimControl> makeSimControl(SimCamera& camera);

}  // namespace sensorhost

#endif
