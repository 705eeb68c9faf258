// Module test fixture: resets the module's process-wide flags around each test.
#include "ModuleTest.h"

#include "hostsim.h"

namespace testsupport {

const char* const kColorEnd = "\033[0m";

std::string colorPrefix(int color)
{
    return "\033[0m\033[" + std::to_string(color) + "m";
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

void ModuleTest::setDebugSign(const std::string& contents)
{
    writeFile("/tmp/Debug.sign", contents);
}

void ModuleTest::setDebugLevel(int level)
{
    setDebugSign(std::to_string(level) + "\n");
}

std::string maskLineNumbers(const std::string& text)
{
    static const std::string kMark = "line:";
    std::string out;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t hit = text.find(kMark, pos);
        if (hit == std::string::npos) {
            out.append(text, pos, std::string::npos);
            break;
        }
        size_t end = hit + kMark.size();
        size_t digits = end;
        while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
            ++digits;
        }
        out.append(text, pos, end - pos);
        if (digits > end) {
            out += '#';
        }
        pos = digits;
    }
    return out;
}

}  // namespace testsupport
