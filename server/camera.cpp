// Camera roots made from the bundled profiles, and a camera's channels brought up on the simulator.
#include "camera.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "MachineInfo.h"
#include "embedded.h"
#include "keys.h"
#include "paramfile.h"
#include "sensor.h"

namespace fs = std::filesystem;

namespace sensorhost {

const char* const kDefaultProfile = "bullet";

namespace {

const EmbeddedFile* findEmbedded(const std::string& path)
{
    for (const EmbeddedFile& file : embeddedProfiles()) {
        if (path == file.path) return &file;
    }
    return nullptr;
}

// "bullet/../style/Style.xml" -> "style/Style.xml"
std::string profilePath(const std::string& profile, const std::string& relative)
{
    return (fs::path(profile) / relative).lexically_normal().generic_string();
}

// A new root goes into a missing or empty directory; an old camera root only
// when asked to, and then emptied first so that nothing of the old camera
// (its saved parameters above all) is mixed into the new one.
bool prepareDirectory(const std::string& dir, bool replace, std::string& error)
{
    std::error_code ec;
    if (!fs::exists(dir, ec)) return true;
    if (!fs::is_directory(dir, ec)) {
        error = dir + " exists and is not a directory";
        return false;
    }
    if (fs::is_empty(dir, ec)) return true;
    if (!isCameraRoot(dir)) {
        error = dir + " is not empty and is not a camera root; nothing written";
        return false;
    }
    if (!replace) {
        error = "a camera root already exists at " + dir + "; --force replaces it (its saved settings are lost)";
        return false;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(dir, ec)) {
        fs::remove_all(entry.path(), ec);
        if (ec) {
            error = "cannot remove " + entry.path().string() + ": " + ec.message();
            return false;
        }
    }
    return true;
}

}  // namespace

std::vector<std::string> profileNames()
{
    std::set<std::string> names;
    for (const EmbeddedFile& file : embeddedProfiles()) {
        const std::string path = file.path;
        const std::size_t slash = path.find('/');
        if (slash != std::string::npos && path.substr(slash + 1) == "sim.ini") names.insert(path.substr(0, slash));
    }
    return std::vector<std::string>(names.begin(), names.end());
}

bool makeRoot(const std::string& dir, const std::string& profile, bool replace, std::string& error)
{
    if (findEmbedded(profile + "/sim.ini") == nullptr) {
        error = "no bundled camera named '" + profile + "' (see: sensorctl profiles)";
        return false;
    }
    if (!prepareDirectory(dir, replace, error)) return false;
    std::error_code ec;
    for (const std::string& cameraDir : hostsim::cameraDirectories()) {
        fs::create_directories(fs::path(dir) / cameraDir.substr(1), ec);
        if (ec) {
            error = "cannot create " + (fs::path(dir) / cameraDir.substr(1)).string() + ": " + ec.message();
            return false;
        }
    }
    for (const hostsim::ProfileFile& step : hostsim::profileLayout()) {
        const EmbeddedFile* file = findEmbedded(profilePath(profile, step.fromProfile));
        if (file == nullptr) {
            error = "the camera '" + profile + "' has no " + step.fromProfile;
            return false;
        }
        const fs::path to = fs::path(dir) / (step.cameraPath + 1);
        fs::create_directories(to.parent_path(), ec);
        std::ofstream out(to, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(file->data), static_cast<std::streamsize>(file->size));
        out.close();
        if (!out) {
            error = "cannot write " + to.string();
            return false;
        }
    }
    return true;
}

bool isCameraRoot(const std::string& dir) { return fs::is_regular_file(fs::path(dir) / "sim.ini"); }

bool Camera::open(std::string& error)
{
    machine_ = MachineInfo();
    SystemInfoParser::parseMachineInfo(SENSOR_MACHINE_INFO_FILE, machine_);
    configures_.clear();
    ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", machine_.getHardwareModel(),
                                 machine_.getHardwareCode(), configures_);
    // The host starts a channel even without a configuration of its own.
    if (configures_.empty()) configures_.emplace_back();
    return hostsim::loadSimProfile(hostsim::root() + "/sim.ini", video_, error);
}

int Camera::schemeCount(int channel) const
{
    u32 schemes = SENSOR_SCHEME_SUM_DEFAULT;
    const std::string detail = configure(channel).getDetail();
    if (getDetailFieldTou32(detail.c_str(), "max_scheme", &schemes) != 0) {
        schemes = SENSOR_SCHEME_SUM_DEFAULT;
    }
    return static_cast<int>(schemes > SENSOR_SCHEME_SUM_MAX ? SENSOR_SCHEME_SUM_MAX : schemes);
}

const ModuleConfigure& Camera::configure(int channel) const
{
    const std::size_t index = channel >= 1 && static_cast<std::size_t>(channel) <= configures_.size()
                                  ? static_cast<std::size_t>(channel - 1)
                                  : 0;
    return configures_[index];
}

void Channel::up()
{
    controller_ = std::make_unique<ISensorController>();
    controller_->setChannelID(channel_);
    controller_->setVideoStreamModule(&camera_.video());
    controller_->init(camera_.configure(channel_));
}

void Channel::down()
{
    if (controller_) {
        controller_->uinit();
        controller_.reset();
    }
}

bool Channel::healthy(ControlSet& controls, std::string& why)
{
    if (!ControlSet::build(*controller_, controls, why)) {
        why = "channel " + std::to_string(channel_) + " did not start: " + why +
              " (is the camera root writable, its style files whole?)";
        return false;
    }
    std::string text;
    controller_->getAllParameters(text);
    std::vector<KeyVal> set;
    std::string ignored;
    parsePairs(text, set, ignored);
    int scheme = 0;
    controller_->getParamScheme(scheme);
    for (const ControlInfo& control : controls.controls()) {
        if (!control.hasValue) continue;
        const bool held = std::any_of(set.begin(), set.end(),
                                      [&](const KeyVal& kv) { return static_cast<int>(kv.key) == control.key; });
        if (!held) {
            why = "channel " + std::to_string(channel_) + " did not start: scheme " + std::to_string(scheme) +
                  " holds no value for " + keyLabel(static_cast<std::uint32_t>(control.key)) +
                  " (a damaged parameter file? 'sensorctl reset' goes back to the factory settings)";
            return false;
        }
    }
    return true;
}

}  // namespace sensorhost
