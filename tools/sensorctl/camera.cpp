// Camera roots made from the bundled profiles, and one channel brought up on a root.
#include "camera.h"

#include <filesystem>
#include <fstream>
#include <set>

#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "embedded.h"

namespace fs = std::filesystem;

namespace sensorctl {

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

bool makeRoot(const std::string& dir, const std::string& profile, std::string& error)
{
    if (findEmbedded(profile + "/sim.ini") == nullptr) {
        error = "no bundled camera named '" + profile + "' (see: sensorctl profiles)";
        return false;
    }
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
        if (!out) {
            error = "cannot write " + to.string();
            return false;
        }
    }
    return true;
}

bool isCameraRoot(const std::string& dir) { return fs::is_regular_file(fs::path(dir) / "sim.ini"); }

bool Channel::loadSimulator(std::string& error)
{
    return hostsim::loadSimProfile(hostsim::root() + "/sim.ini", video_, error);
}

void Channel::up()
{
    MachineInfo info;
    SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", info);
    std::vector<ModuleConfigure> list;
    ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", info.getHardwareModel(),
                                 info.getHardwareCode(), list);
    ModuleConfigure configure;
    if (!list.empty()) {
        configure = static_cast<std::size_t>(channel_) <= list.size() ? list[channel_ - 1] : list[0];
    }
    controller_ = std::make_unique<ISensorController>();
    controller_->setChannelID(channel_);
    controller_->setVideoStreamModule(&video_);
    controller_->init(configure);
}

void Channel::down()
{
    if (controller_) {
        controller_->uinit();
        controller_.reset();
    }
}

}  // namespace sensorctl
