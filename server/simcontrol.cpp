// The simulator's controls over a camera brought up on it, over the host simulator's own API.
#include "simcontrol.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <sstream>

#include "hostsim.h"
#include "simcamera.h"

namespace sensorhost {

namespace {

// "ia ch=0 cmd=34 opt=0 in=[50] ret=0", "video ch=1 key=2370 val=0 ret=0", "shell rm ...".
TraceEntry readLine(std::uint64_t seq, const std::string& line)
{
    TraceEntry entry;
    entry.seq = seq;
    entry.text = line;
    entry.kind = line.substr(0, line.find(' '));
    int channel = 0;
    int used = 0;
    if (entry.kind == "ia" &&
        std::sscanf(line.c_str(), "ia ch=%d cmd=%d opt=%d in=[%n", &channel, &entry.cmd, &entry.option, &used) == 3) {
        entry.channel = channel + 1;  // the library counts channels from 0
        const std::size_t close = line.find(']', static_cast<std::size_t>(used));
        std::istringstream words(line.substr(static_cast<std::size_t>(used), close - static_cast<std::size_t>(used)));
        for (std::string word; std::getline(words, word, ',');) entry.values.push_back(std::atoi(word.c_str()));
        if (close != std::string::npos) std::sscanf(line.c_str() + close, "] ret=%d", &entry.result);
    } else if (entry.kind == "video") {
        int value = 0;
        std::sscanf(line.c_str(), "video ch=%d key=%d val=%d ret=%d", &entry.channel, &entry.cmd, &value,
                    &entry.result);
        entry.values.push_back(value);
    }
    return entry;
}

class HostSimControl final : public SimControl {
public:
    explicit HostSimControl(SimCamera& camera) : camera_(camera) {}

    ClockInfo clock() const override { return ClockInfo{hostsim::simulatedEpochSeconds(), hostsim::clockSpeed()}; }

    void setTimeOfDay(int hour, int minute, int second) override { hostsim::setTimeOfDay(hour, minute, second); }

    void setSpeed(int speed) override
    {
        std::lock_guard<std::mutex> lock(passes_);
        if (speed <= 0) {
            hostsim::setClockSpeed(0);
            hostsim::setThreadsHeld(true);
            return;
        }
        hostsim::setClockSpeed(speed > kMaxSpeed ? kMaxSpeed : speed);
        hostsim::setThreadsHeld(false);
    }

    // The threads are held while the clock stands, so the passes made here are
    // the only ones; one runner at a time, so each pass is a second of its own.
    bool runPasses(int count) override
    {
        std::lock_guard<std::mutex> lock(passes_);
        if (hostsim::clockSpeed() != 0) return false;
        for (int pass = 0; pass < count; ++pass) {
            hostsim::advanceSeconds(1);
            for (int channel = 1; channel <= camera_.channelCount(); ++channel) {
                camera_.controller(channel).sensorThread();
            }
        }
        return true;
    }

    bool night(int channel) const override
    {
        return hostsim::SimIsp::instance().value(channel - 1, IA_CMD_DN_STATE) != 0;
    }

    void setNight(int channel, bool night) override { hostsim::SimIsp::instance().setDayNight(channel - 1, night); }

    std::uint64_t traceCursor() const override { return hostsim::traceSince(~std::uint64_t{0}).next; }

    TraceChunk traceSince(std::uint64_t cursor) const override
    {
        const hostsim::TracePage page = hostsim::traceSince(cursor);
        TraceChunk chunk;
        chunk.next = page.next;
        chunk.dropped = page.first > cursor ? page.first - cursor : 0;
        for (std::size_t i = 0; i < page.lines.size(); ++i) {
            chunk.entries.push_back(readLine(page.first + i, page.lines[i]));
        }
        return chunk;
    }

    void failCommand(int channel, int cmd, int count) override
    {
        hostsim::IspFault fault;
        fault.channel = channel - 1;
        fault.cmd = cmd;
        fault.count = count;
        hostsim::SimIsp::instance().addFault(fault);
        // A failing range query changes what the style offers.
        for (int c = 1; c <= camera_.channelCount(); ++c) camera_.controlsChanged(c);
    }

    void clearFaults() override
    {
        hostsim::SimIsp::instance().clearFaults();
        for (int c = 1; c <= camera_.channelCount(); ++c) camera_.controlsChanged(c);
    }

    std::string hostPath(const std::string& cameraPath) const override { return hostsim::mapPath(cameraPath); }

private:
    SimCamera& camera_;
    std::mutex passes_;
};

}  // namespace

std::unique_ptr<SimControl> makeSimControl(SimCamera& camera) { return std::make_unique<HostSimControl>(camera); }

}  // namespace sensorhost
