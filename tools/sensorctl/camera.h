// Camera roots made from the bundled profiles, and one channel brought up on a root as the host does it.
#ifndef SENSORCTL_CAMERA_H
#define SENSORCTL_CAMERA_H

#include <memory>
#include <string>
#include <vector>

#include "ISensorController.h"
#include "hostsim.h"

namespace sensorctl {

extern const char* const kDefaultProfile;

// Names of the bundled cameras.
std::vector<std::string> profileNames();
// Writes every file of the profile into `dir` at the camera's paths.
bool makeRoot(const std::string& dir, const std::string& profile, std::string& error);
// A root is usable when it holds the simulator's settings.
bool isCameraRoot(const std::string& dir);

// One channel of a camera root, as the host runs it: construction,
// setChannelID, the video module, init with the root's module configuration;
// uinit and destruction on down(). The simulator is set up from the root's
// sim.ini before the first start.
class Channel {
public:
    explicit Channel(int channel) : channel_(channel) {}
    ~Channel() { down(); }

    bool loadSimulator(std::string& error);
    void up();
    void down();
    ISensorController& controller() { return *controller_; }
    hostsim::SimVideoModule& video() { return video_; }
    int number() const { return channel_; }

private:
    int channel_;
    hostsim::SimVideoModule video_;
    std::unique_ptr<ISensorController> controller_;
};

}  // namespace sensorctl

#endif
