// A host program on the installed module: one simulated bullet camera, one parameter set and read back.
#include <cstdio>
#include <string>
#include <vector>

#include "ISensorController.h"
#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "SensorKeyVal.h"
#include "hostsim.h"

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CAMERA_ROOT\n", argv[0]);
        return 2;
    }
    // Simulated clock, and no passes of the sensor thread: the answers below are exact.
    hostsim::setRoot(argv[1]);
    hostsim::resetAll();
    hostsim::setThreadsHeld(true);
    hostsim::SimVideoModule video;
    std::string error;
    if (!hostsim::installProfile(PROFILES_DIR "/bullet", argv[1], error) ||
        !hostsim::loadSimProfile(std::string(argv[1]) + "/sim.ini", video, error)) {
        std::fprintf(stderr, "camera root: %s\n", error.c_str());
        return 1;
    }
    MachineInfo info;
    std::vector<ModuleConfigure> modules;
    SystemInfoParser::parseMachineInfo(SENSOR_MACHINE_INFO_FILE, info);
    ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", info.getHardwareModel(),
                                 info.getHardwareCode(), modules);

    ISensorController controller;
    controller.setChannelID(1);
    controller.setVideoStreamModule(&video);
    const bool up = !modules.empty() && controller.init(modules[0]);
    hostsim::clearTrace();
    const int set = controller.setParameter(KEY_BRIGHTNESS, 60, true);
    int value = -1;
    const bool got = controller.getParameter(KEY_BRIGHTNESS, value);
    const std::vector<std::string> trace = hostsim::trace();
    controller.uinit();

    KeyVal pair = {KEY_BRIGHTNESS, value};
    std::string text;
    keyval_st2str(text, &pair, 1);
    // The module's own console talk comes first; the last line is the result.
    std::printf("init %d, set %d, get %d %s, sent: %s\n", up, set, got, text.c_str(),
                trace.empty() ? "nothing" : trace.front().c_str());
    return up && set == 0 && got && text == "(34,60)" ? 0 : 1;
}
