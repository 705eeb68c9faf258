// The camera services' view of a camera brought up whole on the host simulator: every channel with its sensor thread.
#ifndef SENSORHOST_SIMCAMERA_H
#define SENSORHOST_SIMCAMERA_H

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "camera.h"
#include "service.h"

namespace sensorhost {

class SimCamera final : public CameraService {
public:
    SimCamera() = default;
    ~SimCamera() override;
    SimCamera(const SimCamera&) = delete;
    SimCamera& operator=(const SimCamera&) = delete;

    // Brings up every channel of the camera at the simulator's root, as the
    // host does at boot. False with `error` when the root is not a camera.
    bool open(std::string& error);

    int channelCount() const override { return static_cast<int>(channels_.size()); }
    int schemeCount(int channel) const override { return camera_.schemeCount(channel); }
    ISensorController& controller(int channel) override { return channel_(channel).controller(); }
    std::mutex& lock(int channel) override { return *locks_.at(static_cast<std::size_t>(channel - 1)); }
    std::shared_ptr<const ControlSet> controls(int channel) override;
    void controlsChanged(int channel) override;
    DeviceInfo device() const override { return device_; }
    std::string schemeFile(int channel, int scheme) const override;
    VideoStream stream(int channel) const override;

private:
    Channel& channel_(int channel) { return *channels_.at(static_cast<std::size_t>(channel - 1)); }

    struct Cached {
        std::shared_ptr<const ControlSet> controls;
        unsigned generation = 0;  // counts invalidations, so a build that raced one is not kept
    };

    Camera camera_;
    DeviceInfo device_;
    std::vector<bool> thermal_;
    std::vector<std::unique_ptr<Channel>> channels_;
    std::vector<std::unique_ptr<std::mutex>> locks_;
    std::mutex cacheMutex_;
    std::vector<Cached> cache_;
};

}  // namespace sensorhost

#endif
