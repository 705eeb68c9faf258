// Test fixtures: temporary camera roots and file helpers.
#include "TestRoot.h"

#include <dirent.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "hostsim.h"

namespace testsupport {

std::string readFile(const std::string& modulePath)
{
    std::ifstream in(hostsim::mapPath(modulePath), std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void writeFile(const std::string& modulePath, const std::string& bytes)
{
    std::filesystem::path p(hostsim::mapPath(modulePath));
    std::filesystem::create_directories(p.parent_path());
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out << bytes;
}

bool fileExists(const std::string& modulePath)
{
    struct stat st;
    return ::stat(hostsim::mapPath(modulePath).c_str(), &st) == 0;
}

void removeFile(const std::string& modulePath)
{
    std::error_code ec;
    std::filesystem::remove(hostsim::mapPath(modulePath), ec);
}

std::vector<std::string> listDir(const std::string& modulePath)
{
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(hostsim::mapPath(modulePath), ec)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string hex(const std::string& bytes)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : bytes) {
        if (!out.empty()) out += ' ';
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

void HostTest::SetUp()
{
    std::string base = std::filesystem::temp_directory_path().string() + "/sensortest-XXXXXX";
    std::vector<char> tmpl(base.begin(), base.end());
    tmpl.push_back('\0');
    ASSERT_NE(::mkdtemp(tmpl.data()), nullptr);
    root_ = tmpl.data();
    hostsim::setRoot(root_);
    hostsim::resetAll();
}

void HostTest::TearDown()
{
    hostsim::resetAll();
    hostsim::setRoot("");
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
}

}  // namespace testsupport
