// What the host's network services (the JSON API, ONVIF) see of a running camera: its channels and their controls.
#ifndef SENSORHOST_SERVICE_H
#define SENSORHOST_SERVICE_H

#include <memory>
#include <mutex>
#include <string>

#include "ISensorController.h"
#include "controls.h"

namespace sensorhost {

// Who the camera is, as the device services report it.
struct DeviceInfo {
    std::string manufacturer;
    std::string model;     // the machine information's hardware model
    std::string firmware;  // the camera version text of channel 1
    std::string serial;
    std::string hardwareId;
};

// A channel's main stream as the host's video module runs it; the ONVIF media
// service describes the channel's video source and profile with it. Zeros
// when the host does not know.
struct VideoStream {
    std::string encoding = "H264";  // JPEG, MPEG4 or H264
    int width = 0;
    int height = 0;
    int framerate = 0;
};

// A camera whose channels are up, each driven only through ISensorController's
// public API, as the camera's host process drives them. The same services run
// on a camera (over the real platform) and on the simulator (sensorctl serve).
class CameraService {
public:
    virtual ~CameraService() = default;

    virtual int channelCount() const = 0;
    // The channel's user schemes; channels count from 1.
    virtual int schemeCount(int channel) const = 0;
    // The channel's controller, valid while the service runs. The module's own
    // lock serialises its parameter operations; a caller holds none of the
    // service's locks across a call into the controller.
    virtual ISensorController& controller(int channel) = 0;
    // One lock per channel, shared by every network service (the JSON API,
    // ONVIF), so that one client's compound operation (read all, set, put
    // back, save) does not interleave with another's. Held only around
    // calls into the controller, never across network I/O or controls().
    virtual std::mutex& lock(int channel) = 0;
    // The channel's control description (without values): built from its
    // dynamic style the first time and again only after something that can
    // change the style (a factory reset, a restart, the library's ranges).
    // Never null; an empty set when the style does not parse.
    virtual std::shared_ptr<const ControlSet> controls(int channel) = 0;
    // The caller did something through controller() that can change the
    // channel's style (a factory reset): the next controls() builds it again.
    virtual void controlsChanged(int /*channel*/) {}
    virtual DeviceInfo device() const = 0;
    // The camera path of a scheme's parameter file (the module's own naming,
    // which differs for a thermal sensor), or "" when the service cannot say.
    virtual std::string schemeFile(int /*channel*/, int /*scheme*/) const { return ""; }
    virtual VideoStream stream(int channel) const
    {
        (void)channel;
        return VideoStream();
    }
};

}  // namespace sensorhost

#endif
