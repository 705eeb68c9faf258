// Test fixtures: a private camera root per test with a freshly reset host simulator, the module's
// process-wide flags back at their start values, and the expected texts most tests compare with.
#ifndef TESTS_SUPPORT_MODULETEST_H
#define TESTS_SUPPORT_MODULETEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ControllerPeer.h"
#include "ISensorController.h"
#include "hostsim.h"

namespace testsupport {

using Strings = std::vector<std::string>;

// Files of the camera root, by the module's absolute paths.
std::string readFile(const std::string& modulePath);
void writeFile(const std::string& modulePath, const std::string& bytes);
bool fileExists(const std::string& modulePath);
void removeFile(const std::string& modulePath);
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

// Console prefix of a report or trace in the given colour, and the end of one.
std::string colorPrefix(int color);
extern const char* const kColorEnd;
// Console text of one failed check with its line masked; `where` is "File.cpp fun:name".
std::string failed(const std::string& where, const std::string& cond, const std::string& message = "");

// One library call and one video notification as the trace shows them; `in` is the words handed in.
std::string ia(u32 cmd, const std::string& in, u32 opt = 0, int ret = 0, int channel = 0);
std::string ia(u32 cmd, s32 in, u32 opt = 0, int ret = 0, int channel = 0);
std::string video(int key, int value, int ret = 0, int channel = 1);
// The trace so far; it is cleared.
Strings take();
// Every later call of the command (any command: -1) with that option (any: -1) fails with `result`.
void failIsp(std::int64_t cmd, std::int64_t option = -1, int result = -1);

}  // namespace testsupport

#endif
