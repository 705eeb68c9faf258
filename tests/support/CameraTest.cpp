// Fixture for tests on a bundled simulated camera.
#include "CameraTest.h"

#include <cstring>

#include "MachineInfo.h"

namespace testsupport {

void CameraTest::install(const std::string& camera)
{
    std::string error;
    ASSERT_TRUE(hostsim::installProfile(std::string(SENSOR_PROFILES_DIR) + "/" + camera, rootDir(), error)) << error;
    ASSERT_TRUE(hostsim::loadSimProfile(rootDir() + "/sim.ini", video_, error)) << error;
}

ModuleConfigure CameraTest::config(int channel) const
{
    MachineInfo info;
    SystemInfoParser::parseMachineInfo(SENSOR_MACHINE_INFO_FILE, info);
    std::vector<ModuleConfigure> list;
    ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", info.getHardwareModel(),
                                 info.getHardwareCode(), list);
    if (list.empty()) return ModuleConfigure();
    return static_cast<std::size_t>(channel) <= list.size() ? list[channel - 1] : list[0];
}

Started CameraTest::start(int channel, const ModuleConfigure& configure)
{
    Started controller(new ISensorController);
    controller->setChannelID(channel);
    controller->setVideoStreamModule(&video_);
    controller->init(configure);
    return controller;
}

std::vector<KeyVal> CameraTest::schemeFile(const std::string& modulePath) const
{
    const std::string bytes = readFile(modulePath);
    std::vector<KeyVal> set(bytes.size() / sizeof(KeyVal));
    std::memcpy(set.data(), bytes.data(), set.size() * sizeof(KeyVal));
    return set;
}

Strings CameraTest::traced(const std::string& prefix)
{
    Strings out;
    for (const std::string& line : hostsim::trace()) {
        if (line.compare(0, prefix.size(), prefix) == 0) out.push_back(line);
    }
    return out;
}

}  // namespace testsupport
