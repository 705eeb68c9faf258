// Test fixtures, camera-root files and the expected texts of reports and library calls.
#include "ModuleTest.h"

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace testsupport {

namespace fs = std::filesystem;

std::string readFile(const std::string& modulePath)
{
    std::ostringstream out;
    out << std::ifstream(hostsim::mapPath(modulePath), std::ios::binary).rdbuf();
    return out.str();
}

void writeFile(const std::string& modulePath, const std::string& bytes)
{
    const fs::path path(hostsim::mapPath(modulePath));
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

bool fileExists(const std::string& modulePath) { return fs::exists(hostsim::mapPath(modulePath)); }

void removeFile(const std::string& modulePath)
{
    std::error_code ec;
    fs::remove(hostsim::mapPath(modulePath), ec);
}

Strings listDir(const std::string& modulePath)
{
    Strings names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(hostsim::mapPath(modulePath), ec)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string hex(const std::string& bytes)
{
    std::string out;
    char digits[4];
    for (unsigned char c : bytes) out += (std::snprintf(digits, sizeof(digits), " %02X", c), digits);
    return out.empty() ? out : out.substr(1);
}

void HostTest::SetUp()
{
    std::string dir = (fs::temp_directory_path() / "sensortest-XXXXXX").string();
    ASSERT_NE(::mkdtemp(&dir[0]), nullptr);
    root_ = dir;
    hostsim::setRoot(root_);
    hostsim::resetAll();
}

void HostTest::TearDown()
{
    hostsim::resetAll();
    hostsim::setRoot("");
    std::error_code ec;
    fs::remove_all(root_, ec);
}

static void resetModuleGlobals()
{
    g_nDebugLevel = 1;
    g_bEnAssert = false;
    g_bShoWBeawayFalg = true;
    ISensorController::m_nPassKeycmd = -1;
    ISensorController::m_nChanneldDosomething = -1;
}

void ModuleTest::SetUp()
{
    HostTest::SetUp();
    resetModuleGlobals();
}

void ModuleTest::TearDown()
{
    resetModuleGlobals();
    HostTest::TearDown();
}

std::string ModuleTest::maskLineNumbers(const std::string& text)
{
    static const std::regex kLine("line:[0-9]+");
    return std::regex_replace(text, kLine, "line:#");
}

const char* const kColorEnd = "\033[0m";

std::string colorPrefix(int color) { return "\033[0m\033[" + std::to_string(color) + "m"; }

std::string failed(const std::string& where, const std::string& cond, const std::string& message)
{
    const std::string red = colorPrefix(31);
    return red + "[sensor assert] file:" + where + " line:#\n" + cond + "   ~~~Assertion failed.\n" + kColorEnd + red +
           message + kColorEnd;
}

std::string ia(u32 cmd, const std::string& in, u32 opt, int ret, int channel)
{
    return "ia ch=" + std::to_string(channel) + " cmd=" + std::to_string(cmd) + " opt=" + std::to_string(opt) +
           " in=[" + in + "] ret=" + std::to_string(ret);
}

std::string ia(u32 cmd, s32 in, u32 opt, int ret, int channel) { return ia(cmd, std::to_string(in), opt, ret, channel); }

std::string video(int key, int value, int ret, int channel)
{
    return "video ch=" + std::to_string(channel) + " key=" + std::to_string(key) + " val=" + std::to_string(value) +
           " ret=" + std::to_string(ret);
}

Strings take()
{
    Strings lines = hostsim::trace();
    hostsim::clearTrace();
    return lines;
}

void failIsp(std::int64_t cmd, std::int64_t option, int result)
{
    hostsim::SimIsp::instance().addFault({-1, cmd, option, 0, -1, result});
}

}  // namespace testsupport
