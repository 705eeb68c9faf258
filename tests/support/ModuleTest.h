// Test fixtures: a private camera root per test with a freshly reset host simulator, the module's
// process-wide flags back at their start values, and the expected texts most tests compare with.
#ifndef TESTS_SUPPORT_MODULETEST_H
#define TESTS_SUPPORT_MODULETEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "ControllerPeer.h"
#include "ISensorController.h"
#include "hostsim.h"

// Whole sets compare and print in test expectations.
inline bool operator==(const KeyVal& a, const KeyVal& b) { return a.key == b.key && a.value == b.value; }
inline void PrintTo(const KeyVal& kv, std::ostream* os) { *os << "{" << kv.key << "," << kv.value << "}"; }

namespace testsupport {

using Strings = std::vector<std::string>;

// Files of the camera root, by the module's absolute paths.
std::string readFile(const std::string& modulePath);
void writeFile(const std::string& modulePath, const std::string& bytes);
inline bool fileExists(const std::string& modulePath) { return std::filesystem::exists(hostsim::mapPath(modulePath)); }
inline void removeFile(const std::string& modulePath)
{
    std::error_code ec;
    std::filesystem::remove(hostsim::mapPath(modulePath), ec);
}
Strings listDir(const std::string& modulePath);
std::string hex(const std::string& bytes);

// Makes a temporary directory the simulator's root and resets the simulator (simulated clock, empty ISP,
// empty trace); removes the root afterwards.
class HostTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    const std::string& rootDir() const { return root_; }

private:
    std::string root_;
};

class ModuleTest : public HostTest {
protected:
    void SetUp() override;
    void TearDown() override;
    // Writes "/tmp/Debug.sign" with the given lines (each ends with a line end).
    void setDebugSign(const std::string& contents) { writeFile("/tmp/Debug.sign", contents); }
    void setDebugLevel(int level) { setDebugSign(std::to_string(level) + "\n"); }
    // Text the module printed on the standard output while `action` ran; output() masks the line numbers of
    // reports ("line:#"), so that expectations survive edits that move the reporting code.
    template <typename F>
    std::string captureStdout(F&& action)
    {
        ::testing::internal::CaptureStdout();
        action();
        fflush(stdout);
        return ::testing::internal::GetCapturedStdout();
    }
    template <typename F>
    std::string output(F&& action) { return maskLineNumbers(captureStdout(action)); }
    static std::string maskLineNumbers(const std::string& text);
};

// A controller that was never started: the key-command table, scheme 0 in force, the video module attached.
// install() lays sets out as init does (the last is the factory set), with a scratch set as long as one.
class BareControllerTest : public ModuleTest {
protected:
    void SetUp() override;
    void TearDown() override;
    void install(const std::vector<std::vector<KeyVal>>& sets);
    std::vector<KeyVal> set(u32 scheme) { return Peer::set(*ctl_, scheme); }

    hostsim::SimVideoModule video_;
    std::unique_ptr<ISensorController> ctl_;
};

// `text` with every run of digits right after `marker` replaced by "#".
std::string maskDigitsAfter(const std::string& text, const std::string& marker);
// Console prefix of a report or trace in the given colour, and the end of one.
inline std::string colorPrefix(int color) { return "\033[0m\033[" + std::to_string(color) + "m"; }
const char* const kColorEnd = "\033[0m";
// Console text of one failed check with its line masked; `where` is "File.cpp fun:name".
std::string failed(const std::string& where, const std::string& cond, const std::string& message = "");

// One library call and one video notification as the trace shows them; `in` is the words handed in.
std::string ia(u32 cmd, const std::string& in, u32 opt = 0, int ret = 0, int channel = 0);
inline std::string ia(u32 cmd, s32 in, u32 opt = 0, int ret = 0, int channel = 0)
{
    return ia(cmd, std::to_string(in), opt, ret, channel);
}
std::string video(int key, int value, int ret = 0, int channel = 1);
// The trace so far; it is cleared.
Strings take();
// Every later call of the command (any command: -1) with that option (any: -1) fails with `result`.
inline void failIsp(std::int64_t cmd, std::int64_t option = -1, int result = -1)
{
    hostsim::SimIsp::instance().addFault({-1, cmd, option, 0, -1, result});
}

}  // namespace testsupport

#endif
