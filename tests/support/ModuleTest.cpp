// Test fixtures, camera roots and their files, and the expected texts of reports and library calls.
#include "ModuleTest.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
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

void BareControllerTest::SetUp()
{
    ModuleTest::SetUp();
    ctl_ = std::make_unique<ISensorController>();  // it reads the machine information of this root
    ctl_->setVideoStreamModule(&video_);
    Peer::buildTable(*ctl_);
    Peer::curScheme(*ctl_) = 0;
}

void BareControllerTest::TearDown()
{
    std::free(Peer::keyValTmp(*ctl_));
    Peer::keyValTmp(*ctl_) = Peer::keyValWork(*ctl_) = nullptr;
    Peer::releaseAll(*ctl_);
    ctl_.reset();
    ModuleTest::TearDown();
}

void BareControllerTest::install(const std::vector<std::vector<KeyVal>>& sets)
{
    Peer::installSets(*ctl_, sets);
    std::free(Peer::keyValTmp(*ctl_));
    Peer::keyValTmp(*ctl_) = static_cast<KeyVal*>(std::calloc(sets.empty() ? 1 : sets[0].size(), sizeof(KeyVal)));
}

std::string maskDigitsAfter(const std::string& text, const std::string& marker)
{
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        out += text[i++];
        if (out.size() < marker.size() || out.compare(out.size() - marker.size(), marker.size(), marker) != 0) continue;
        if (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) out += '#';
        while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i;
    }
    return out;
}

std::string ModuleTest::maskLineNumbers(const std::string& text) { return maskDigitsAfter(text, "line:"); }

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

}  // namespace testsupport
