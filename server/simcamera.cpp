// A camera brought up whole on the host simulator, and its channels' control descriptions kept until the style can
// change.
#include "simcamera.h"

#include <cstdio>

#include "SensorFile.h"
#include "keys.h"

namespace sensorhost {

namespace {

// Which sensor the module drives as a thermal one, from the machine
// information, as the module decides it when it is given its channel: a
// single thermal sensor, or channel 2 of the thermal double-sensor families.
bool thermalChannel(const MachineInfo& machine, int channel)
{
    const u32 type = machine.getDeviceType();
    if (type == DeviceType::THERMAL_DEVICE) return true;
    return channel == 2 &&
           (type == DeviceType::THERMAL_DOUBLE_SENSOR_DEVICE || type == DeviceType::HUMAN_TEMPERATURE ||
            type == DeviceType::THERMAL_DOUBLE_SENSOR_DOME_DEVICE || type == DeviceType::THERMAL_IPDOME);
}

}  // namespace

SimCamera::~SimCamera()
{
    // The host takes its channels down in the reverse order of bringing them up.
    while (!channels_.empty()) channels_.pop_back();
}

bool SimCamera::open(std::string& error)
{
    if (!camera_.open(error)) return false;
    for (int channel = 1; channel <= camera_.channelCount(); ++channel) {
        channels_.push_back(std::make_unique<Channel>(camera_, channel));
        locks_.push_back(std::make_unique<std::mutex>());
        channels_.back()->up();
        thermal_.push_back(thermalChannel(camera_.machine(), channel));
    }
    cache_.resize(channels_.size());
    const MachineInfo& machine = camera_.machine();
    device_.manufacturer = "libsensordll host simulator";
    device_.model = machine.getHardwareModel();
    device_.serial = machine.getSerialNumber();
    device_.hardwareId = machine.getHardwareCode();
    controller(1).getCameraVerInf(device_.firmware);
    return true;
}

std::shared_ptr<const ControlSet> SimCamera::controls(int channel)
{
    const std::size_t index = static_cast<std::size_t>(channel - 1);
    unsigned generation = 0;
    {
        std::lock_guard<std::mutex> lock(cacheMutex_);
        if (cache_.at(index).controls) return cache_[index].controls;
        generation = cache_[index].generation;
    }
    // Built without the cache's lock: the style comes from the module, under its own.
    auto built = std::make_shared<ControlSet>();
    std::string error;
    if (!ControlSet::build(controller(channel), *built, error)) *built = ControlSet();
    std::lock_guard<std::mutex> lock(cacheMutex_);
    if (cache_[index].generation == generation) cache_[index].controls = built;
    return built;
}

void SimCamera::controlsChanged(int channel)
{
    std::lock_guard<std::mutex> lock(cacheMutex_);
    Cached& cached = cache_.at(static_cast<std::size_t>(channel - 1));
    cached.controls.reset();
    ++cached.generation;
}

std::string SimCamera::schemeFile(int channel, int scheme) const
{
    char name[128];
    if (thermal_.at(static_cast<std::size_t>(channel - 1))) {
        std::snprintf(name, sizeof(name), SENSOR_THERMAL_PARAM_FILE, scheme);
    } else {
        std::snprintf(name, sizeof(name), SENSOR_PARAM_FILE, channel, scheme);
    }
    return name;
}

// What the simulated camera knows of its streams: the video module's list
// (the sim.ini's "stream" lines) starts with each channel's main stream in
// channel order, and the module configuration's parameters carry the sensor's
// "fps=N". Encoder numbers are the host's own; the simulator's are all H.264.
VideoStream SimCamera::stream(int channel) const
{
    VideoStream stream;
    std::vector<AVStreamParam> streams;
    camera_.video().getAVStreamParams(streams);
    const std::size_t index = static_cast<std::size_t>(channel - 1);
    if (index < streams.size()) {
        stream.width = streams[index].getVideoWidth();
        stream.height = streams[index].getVideoHeight();
    }
    const std::string parameters = ";" + camera_.configure(channel).getParameters() + ";";
    const std::size_t fps = parameters.find(";fps=");
    if (fps != std::string::npos) {
        const std::size_t from = fps + 5;
        int rate = 0;
        if (parseNumber(parameters.substr(from, parameters.find(';', from) - from), rate) && rate > 0) {
            stream.framerate = rate;
        }
    }
    return stream;
}

}  // namespace sensorhost
