// Fixture for module tests: a private root plus the module's process-wide flags back at their start values.
#ifndef TESTS_SUPPORT_MODULETEST_H
#define TESTS_SUPPORT_MODULETEST_H

#include <string>

#include "ISensorController.h"
#include "TestRoot.h"

namespace testsupport {

class ModuleTest : public HostTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // Writes "/tmp/Debug.sign" with the given lines (each ends with a line end).
    void setDebugSign(const std::string& contents);
    void setDebugLevel(int level);

    // Text the module printed on the standard output while `action` ran.
    template <typename F>
    std::string captureStdout(F&& action)
    {
        ::testing::internal::CaptureStdout();
        action();
        fflush(stdout);
        return ::testing::internal::GetCapturedStdout();
    }
};

// `text` with every "line:<digits>" turned into "line:#", so expectations
// survive edits that move the reporting code.
std::string maskLineNumbers(const std::string& text);

// Console prefix of a report or trace in the given colour.
std::string colorPrefix(int color);
extern const char* const kColorEnd;

}  // namespace testsupport

#endif
