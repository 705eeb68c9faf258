// Bundled camera profiles: a camera root from a profile directory, and the simulator's own settings file.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "hostsim.h"

namespace fs = std::filesystem;

namespace hostsim {

namespace {

const ProfileFile kCameraFiles[] = {
    {"machineinfo.ini", "/mnt/mtd/code/factory_setting/machineinfo.ini"},
    {"moduleConfig.xml", "/hd1/moduleConfig/moduleConfig.xml"},
    {"sim.ini", "/sim.ini"},
    {"../style/Style.xml", "/hd1/moduleConfig/sensorConfig/style/Style.xml"},
    {"../style/Style_dome.xml", "/hd1/moduleConfig/sensorConfig/style/Style_dome.xml"},
    {"../style/Style_Thermal.xml", "/hd1/moduleConfig/sensorConfig/style/Style_Thermal.xml"},
    {"../styleDiversity/StyleDiversity.xml", "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml"},
    {"../styleDiversity/StyleDiversity_dome.xml",
     "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity_dome.xml"},
    {"../styleDiversity/StyleDiversity_Thermal.xml",
     "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity_Thermal.xml"},
};

// Directories the module writes into without creating them.
const char* const kCameraDirs[] = {"/mnt/mtd/code/config_file", "/mnt/mtd/hd1/program/config", "/tmp",
                                   "/mnt/mtd/log"};

std::string trimmed(const std::string& text)
{
    const char* blanks = " \t\r\n";
    std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool readInt(std::istringstream& in, long& out)
{
    std::string word;
    if (!(in >> word)) return false;
    char* end = nullptr;
    out = std::strtol(word.c_str(), &end, 10);
    return end != word.c_str() && *end == '\0';
}

// "def D min A max B type T items V..." in any order of the named fields.
bool parseRange(const std::string& text, ia_dynamic_params_attr_st& range, std::string& error)
{
    range = ia_dynamic_params_attr_st();
    std::istringstream in(text);
    std::string name;
    while (in >> name) {
        long value = 0;
        if (name == "items") {
            while (readInt(in, value)) {
                if (range.items_cnt >= static_cast<s32>(sizeof(range.item) / sizeof(range.item[0]))) {
                    error = "more than 64 items";
                    return false;
                }
                range.item[range.items_cnt++] = static_cast<s32>(value);
            }
            if (!in.eof()) {
                error = "an item is not a number";
                return false;
            }
            return true;
        }
        if (!readInt(in, value)) {
            error = "'" + name + "' needs a number";
            return false;
        }
        if (name == "def") {
            range.def_val = static_cast<s32>(value);
        } else if (name == "min") {
            range.min_val = static_cast<s32>(value);
        } else if (name == "max") {
            range.max_val = static_cast<s32>(value);
        } else if (name == "type") {
            range.type = static_cast<s32>(value);
        } else {
            error = "unknown range field '" + name + "'";
            return false;
        }
    }
    return true;
}

}  // namespace

const std::vector<ProfileFile>& profileLayout()
{
    static const std::vector<ProfileFile> layout(std::begin(kCameraFiles), std::end(kCameraFiles));
    return layout;
}

const std::vector<std::string>& cameraDirectories()
{
    static const std::vector<std::string> dirs(std::begin(kCameraDirs), std::end(kCameraDirs));
    return dirs;
}

bool installProfile(const std::string& profileDir, const std::string& rootDir, std::string& error)
{
    std::error_code ec;
    if (!fs::is_directory(profileDir, ec)) {
        error = "no profile directory " + profileDir;
        return false;
    }
    const fs::path root(rootDir);
    for (const std::string& dir : cameraDirectories()) {
        fs::create_directories(root / dir.substr(1), ec);
        if (ec) {
            error = "cannot create " + (root / dir.substr(1)).string() + ": " + ec.message();
            return false;
        }
    }
    for (const ProfileFile& step : profileLayout()) {
        const fs::path from = fs::path(profileDir) / step.fromProfile;
        const fs::path to = root / (step.cameraPath + 1);
        fs::create_directories(to.parent_path(), ec);
        if (ec || !fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec)) {
            error = "cannot copy " + from.string() + " to " + to.string() + (ec ? ": " + ec.message() : "");
            return false;
        }
    }
    return true;
}

bool loadSimProfile(const std::string& simIniPath, SimVideoModule& video, std::string& error)
{
    std::ifstream in(simIniPath);
    if (!in) {
        error = "cannot read " + simIniPath;
        return false;
    }
    SimIsp& isp = SimIsp::instance();
    std::map<int, std::vector<std::uint32_t>> dynamic;
    std::vector<AVStreamParam> streams;
    int channel = 1;
    bool inVideo = false;
    bool inClock = false;
    bool inSection = false;
    std::string raw;
    int lineNo = 0;
    auto fail = [&](const std::string& why) {
        error = simIniPath + ":" + std::to_string(lineNo) + ": " + why;
        return false;
    };
    while (std::getline(in, raw)) {
        ++lineNo;
        const std::string line = trimmed(raw);
        if (line.empty() || line[0] == '#') continue;
        if (line.front() == '[') {
            inSection = true;
            long n = 0;
            std::istringstream head(line.substr(1, line.size() >= 2 ? line.size() - 2 : 0));
            std::string word;
            head >> word;
            inVideo = false;
            inClock = false;
            if (line.back() == ']' && word == "video") {
                inVideo = true;
            } else if (line.back() == ']' && word == "clock") {
                inClock = true;
            } else if (line.back() == ']' && word == "channel" && readInt(head, n) && n >= 1 && n <= 64) {
                channel = static_cast<int>(n);
            } else {
                return fail("unknown section " + line);
            }
            continue;
        }
        const std::size_t eq = line.find('=');
        if (!inSection || eq == std::string::npos) return fail("expected 'name = value' inside a section");
        std::istringstream name(line.substr(0, eq));
        const std::string value = trimmed(line.substr(eq + 1));
        std::string word;
        name >> word;
        std::istringstream values(value);
        long a = 0;
        long b = 0;
        long c = 0;
        if (inClock) {
            int hour = -1;
            int minute = -1;
            char extra = 0;
            if (word != "start" || std::sscanf(value.c_str(), "%d:%d%c", &hour, &minute, &extra) != 2 || hour < 0 ||
                hour > 23 || minute < 0 || minute > 59) {
                return fail("bad clock line (start = HH:MM)");
            }
            setTimeOfDay(hour, minute);
            continue;
        }
        if (inVideo) {
            if (word == "stream" && readInt(values, a) && readInt(values, b) && readInt(values, c)) {
                streams.emplace_back(static_cast<int>(a), static_cast<int>(b), static_cast<int>(c));
            } else if (word == "limited" && readInt(name, c) && readInt(values, a) && readInt(values, b)) {
                video.setLimitedFrames(static_cast<int>(c), LimitedFramesWDRModeParam(static_cast<int>(a),
                                                                                      static_cast<int>(b)));
            } else {
                return fail("bad video line");
            }
            continue;
        }
        const int ispChannel = channel - 1;  // the library numbers channels from 0
        if (word == "version") {
            isp.setVersionText(ispChannel, value);
        } else if (word == "daynight" && (value == "day" || value == "night")) {
            isp.setDayNight(ispChannel, value == "day" ? 0 : 1);
        } else if (word == "default" && readInt(name, a) && readInt(values, b)) {
            isp.setDefault(ispChannel, static_cast<std::uint32_t>(a), static_cast<std::int32_t>(b));
        } else if (word == "dynamic" && readInt(name, a)) {
            ia_dynamic_params_attr_st range;
            std::string why;
            if (!parseRange(value, range, why)) return fail(why);
            isp.setRange(ispChannel, static_cast<std::uint32_t>(a), range);
            dynamic[ispChannel].push_back(static_cast<std::uint32_t>(a));
        } else {
            return fail("bad channel line");
        }
    }
    for (const auto& entry : dynamic) isp.setDynamicCommands(entry.first, entry.second);
    video.setStreams(streams);
    return true;
}

}  // namespace hostsim
