// Camera roots made from the bundled profiles, and a camera's channels brought up on the simulator as the host does it.
#ifndef SENSORHOST_CAMERA_H
#define SENSORHOST_CAMERA_H

#include <memory>
#include <string>
#include <vector>

#include "ISensorController.h"
#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "controls.h"
#include "hostsim.h"

namespace sensorhost {

extern const char* const kDefaultProfile;

// Names of the bundled cameras.
std::vector<std::string> profileNames();
// Writes every file of the profile into `dir` at the camera's paths. An
// existing camera root is refused unless `replace`, which empties it first; a
// directory that holds anything but a camera root is always refused.
bool makeRoot(const std::string& dir, const std::string& profile, bool replace, std::string& error);
// A root is usable when it holds the simulator's settings.
bool isCameraRoot(const std::string& dir);

// The camera behind the simulator's root: its channels as the module
// configuration lists them, the simulated library and video module set up
// from the root's sim.ini.
class Camera {
public:
    // Reads the root's machine information and module configuration and loads
    // sim.ini; the simulator's root must be set.
    bool open(std::string& error);
    int channelCount() const { return static_cast<int>(configures_.size()); }
    // The channel's user schemes, as its module detail sets them.
    int schemeCount(int channel) const;
    const ModuleConfigure& configure(int channel) const;
    hostsim::SimVideoModule& video() { return video_; }
    const hostsim::SimVideoModule& video() const { return video_; }
    const MachineInfo& machine() const { return machine_; }

private:
    MachineInfo machine_;
    std::vector<ModuleConfigure> configures_;
    hostsim::SimVideoModule video_;
};

// One channel of the camera, as the host runs it: construction,
// setChannelID, the video module, init with the channel's module
// configuration; uinit and destruction on down().
class Channel {
public:
    Channel(Camera& camera, int channel) : camera_(camera), channel_(channel) {}
    ~Channel() { down(); }

    void up();
    void down();
    // Whether the channel came up whole: its style parses (into `controls`)
    // and the scheme in force holds a value for every parameter of it. `why`
    // says what is wrong. Asks the module for its style and parameters, so it
    // is left out where the library's call log must show only what a script did.
    bool healthy(ControlSet& controls, std::string& why);
    ISensorController& controller() { return *controller_; }
    Camera& camera() { return camera_; }
    int number() const { return channel_; }

private:
    Camera& camera_;
    int channel_;
    std::unique_ptr<ISensorController> controller_;
};

}  // namespace sensorhost

#endif
