// Tests of the debug level, the coloured console reports, the error log and the check macros.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <map>

#include "ModuleTest.h"
#include "SensorDebug.h"

using namespace testsupport;

namespace {

const char* const kLog = SENSOR_ERROR_LOG_FILE;
const char* const kAssert = "[sensor assert]";
const std::string kRed = colorPrefix(31);

using DiagnosticsTest = ModuleTest;

// Console header of a tagged report, which is also its position entry in the log.
std::string position(const char* tag, const char* fun, int line)
{
    return std::string(tag) + " file:diagnostics_test.cpp fun:" + fun + " line:" + std::to_string(line) + "\n";
}
// Console text and log entries of one failed check.
std::string failedOnConsole(const char* fun, int line, const std::string& condition, const std::string& message)
{
    return kRed + position(kAssert, fun, line) + condition + "   ~~~Assertion failed.\n" + kColorEnd + kRed + message +
           kColorEnd;
}
std::string failedInLog(const char* fun, int line, const std::string& condition, const std::string& message)
{
    return position(kAssert, fun, line) + kAssert + " " + condition + "   ~~~Assertion failed.\n" + kAssert + " " +
           message + (message.empty() || message.back() != '\n' ? "\n" : "");
}

// Each helper answers the line of its statement; a holding condition reports nothing.
int checkWithoutMessage(int& nCalls)
{
    SENSOR_CHECK(++nCalls > 1 && strcmp("%d", "%%") != 0); return __LINE__;
}
int reportText(const std::string& text)
{
    SENSOR_REPORT("%s", text.c_str()); return __LINE__;
}

// One report a line, from the line it answers on.
int emitEveryKind(int nValue)
{
    SENSOR_REPORT("report %d\n", 1); const int nLine = __LINE__;
    SENSOR_WARN("warn %d\n", 2);
    SENSOR_ERR("err %d\n", 3);
    SENSOR_DBG("dbg %d\n", 4);
    SENSOR_DBG_COLOR(37, "dbg %d\n", 5);
    SENSOR_INFO("info %d\n", 6);
    SENSOR_TRACE(32, "trace %s\n", "t");
    SENSOR_CHECK(nValue < 0, "nValue(%d)\n", nValue);
    return nLine;
}

TEST_F(DiagnosticsTest, SignFileSetsLevelAndAbortAndGatesEveryKind)
{
    // shown: R report, W warn, E err, D dbg, C dbg in colour, I info, T trace, A failed check; nullptr: not run,
    // the row aborts. One process, the sign file rewritten or removed between rows: each change counts from the
    // very next statement.
    struct Row { const char* sign; int level; bool abort; const char* shown; };  // sign nullptr: no file
    const Row rows[] = {{"7\n", 7, false, "RWEDCITA"}, {nullptr, 1, false, "RA"},   {"-1\n", -1, false, ""},
                        {"6", 6, false, "RWEDCTA"},    {"abc\n", 0, false, "RA"},    {"4\n0\n", 4, false, "RWA"},
                        {"3\nyes\n", 3, false, "RA"},  {"", 1, false, "RA"},         {"-2\n", -2, false, ""},
                        {"7\n1\n", 7, true, nullptr},  {"\n1\n", 1, true, nullptr},  {"5\n2\n", 5, true, nullptr}};
    int nLine = 0;
    captureStdout([&] { nLine = emitEveryKind(-1); });
    auto kind = [&](int offset, int color, const char* tag, const char* text, bool logged) {
        const std::string pos = position(tag, "emitEveryKind", nLine + offset);
        return std::make_pair(colorPrefix(color) + pos + text + kColorEnd, logged ? pos + tag + " " + text : "");
    };
    const std::map<char, std::pair<std::string, std::string>> kinds = {
        {'R', kind(0, 0, kAssert, "report 1\n", true)},      {'W', kind(1, 0, "[sensor warn]", "warn 2\n", true)},
        {'E', kind(2, 0, "[sensor err]", "err 3\n", false)},  {'D', kind(3, 0, "[sensor dbg]", "dbg 4\n", false)},
        {'C', kind(4, 37, "[sensor dbg]", "dbg 5\n", false)}, {'I', kind(5, 35, "[sensor info]", "info 6\n", false)},
        {'T', {colorPrefix(32) + "trace t\n" + kColorEnd, ""}},
        {'A', {failedOnConsole("emitEveryKind", nLine + 7, "nValue < 0", "nValue(1)\n"),
               failedInLog("emitEveryKind", nLine + 7, "nValue < 0", "nValue(1)\n")}}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sign != nullptr ? row.sign : "(no file)");
        removeFile(SENSOR_DEBUG_SIGN_FILE);
        removeFile(kLog);
        if (row.sign != nullptr) setDebugSign(row.sign);
        g_nDebugLevel = 9;
        g_bEnAssert = !row.abort;
        updateDebugLevel();
        EXPECT_EQ(g_nDebugLevel, row.level);
        EXPECT_EQ(g_bEnAssert, row.abort);
        if (row.shown == nullptr) continue;
        const std::string out = captureStdout([&] { emitEveryKind(1); });
        std::string console, log;
        for (char k : std::string(row.shown)) console += kinds.at(k).first, log += kinds.at(k).second;
        EXPECT_EQ(out, console);
        EXPECT_EQ(readFile(kLog), log);
        EXPECT_EQ(fileExists(kLog), !log.empty());
    }

    // A sign file that exists but cannot be read leaves both as they were.
    setDebugSign("2\n0\n");
    hostsim::setOpenFault(SENSOR_DEBUG_SIGN_FILE, hostsim::kFailRead);
    g_nDebugLevel = 9;
    g_bEnAssert = true;
    updateDebugLevel();
    EXPECT_EQ(g_nDebugLevel, 9);
    EXPECT_TRUE(g_bEnAssert);
}

TEST_F(DiagnosticsTest, HoldingCheckTouchesNothingAndOneWithoutMessageLogsAnEmptyEntry)
{
    // No sign file: a refresh would bring the level back to 1 and abort off.
    g_nDebugLevel = 9;
    g_bEnAssert = true;
    int nCalls = 1, nLine = 0;
    EXPECT_EQ(captureStdout([&] { nLine = checkWithoutMessage(nCalls); }), "");
    EXPECT_EQ((std::vector<int>{nCalls, g_nDebugLevel, g_bEnAssert}), (std::vector<int>{2, 9, 1}));
    EXPECT_FALSE(fileExists("/mnt/mtd/log"));
    // The condition is printed as written, never used as a format.
    const std::string condition = "++nCalls > 1 && strcmp(\"%d\", \"%%\") != 0";
    nCalls = 0;
    EXPECT_EQ(captureStdout([&] { checkWithoutMessage(nCalls); }),
              failedOnConsole("checkWithoutMessage", nLine, condition, ""));
    EXPECT_EQ(nCalls, 1);
    EXPECT_EQ(readFile(kLog), failedInLog("checkWithoutMessage", nLine, condition, ""));
}

TEST_F(DiagnosticsTest, ALongMessageIsCutInTheLogOnly)
{
    std::string text;
    for (int i = 0; i < 5000; ++i) text += static_cast<char>('0' + i % 10);
    int nLine = 0;
    std::string out = captureStdout([&] { nLine = reportText(text); });
    EXPECT_EQ(out, colorPrefix(0) + position(kAssert, "reportText", nLine) + text + kColorEnd);
    EXPECT_EQ(readFile(kLog),
              position(kAssert, "reportText", nLine) + kAssert + " " + text.substr(0, SENSOR_LOG_BUF_SIZE - 1) + "\n");
}

// A death-test child sends its console to stderr, next to the abort message,
// and removes its own root when it aborts.
std::string g_strChildRoot;
void removeChildRoot(int)
{
    std::error_code ec;
    std::filesystem::remove_all(g_strChildRoot, ec);
}
void abortIntoStderr(const std::string& root)
{
    g_strChildRoot = root;
    signal(SIGABRT, removeChildRoot);
    fflush(stdout);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    emitEveryKind(5);
}

TEST_F(DiagnosticsTest, FailedCheckAbortsWhenTheSignFileAsks)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    int nLine = 0;
    captureStdout([&] { nLine = emitEveryKind(-1) + 7; });
    using testing::HasSubstr;
    const auto aborted = testing::ContainsRegex("diagnostics_test\\.cpp:" + std::to_string(nLine) +
                                                ": [^\033]*emitEveryKind\\(int\\): Assertion `bRet' failed");
    setDebugSign("7\n1\n");
    EXPECT_DEATH(abortIntoStderr(rootDir()),
                 testing::AllOf(HasSubstr(failedOnConsole("emitEveryKind", nLine, "nValue < 0", "nValue(5)\n")), aborted));
    // Silent, but still aborting.
    setDebugSign("-1\n1\n");
    EXPECT_DEATH(abortIntoStderr(rootDir()), testing::AllOf(testing::Not(HasSubstr("\033")), aborted));
}

}  // namespace
