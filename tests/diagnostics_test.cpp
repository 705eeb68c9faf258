// Tests of the debug level, the coloured console reports, the error log and the check macros.
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ModuleTest.h"
#include "SensorDebug.h"
#include "hostsim.h"

using testsupport::colorPrefix;
using testsupport::fileExists;
using testsupport::kColorEnd;
using testsupport::readFile;

namespace {

const char* const kLog = SENSOR_ERROR_LOG_FILE;
const char* const kAssert = "[sensor assert]";

class DiagnosticsTest : public testsupport::ModuleTest {};

// Console header of a tagged report, which is also its position entry in the log.
std::string position(const char* tag, const char* fun, int line)
{
    return std::string(tag) + " file:diagnostics_test.cpp fun:" + fun + " line:" + std::to_string(line) + "\n";
}

std::string failedText(const std::string& condition)
{
    return condition + "   ~~~Assertion failed.\n";
}

// Each helper answers the line of its statement; a holding condition reports nothing.
int checkWithMessage(int nValue, const char* szUnit)
{
    SENSOR_CHECK(nValue > 0 && strcmp(szUnit, "%%") != 0, "nValue(%d) unit(%s)\n", nValue, szUnit); return __LINE__;
}

int checkWithoutMessage(int& nCalls)
{
    SENSOR_CHECK(++nCalls > 1); return __LINE__;
}

int checkReturn(int nValue, int& nLine)
{
    nLine = __LINE__; SENSOR_CHECK_RETURN(nValue >= 0, -5, "neg %d", nValue);
    return nValue * 2;
}

int checkAndAbort(int nValue)
{
    SENSOR_CHECK(nValue < 0, "nValue(%d)\n", nValue); return __LINE__;
}

int reportText(const std::string& text)
{
    SENSOR_REPORT("%s", text.c_str()); return __LINE__;
}

struct Lines { int report, warn, err, dbg, dbgColor, info; };

Lines emitEveryKind()
{
    Lines l;
    l.report = __LINE__; SENSOR_REPORT("report %d\n", 1);
    l.warn = __LINE__; SENSOR_WARN("warn %d\n", 2);
    l.err = __LINE__; SENSOR_ERR("err %d\n", 3);
    l.dbg = __LINE__; SENSOR_DBG("dbg %d\n", 4);
    l.dbgColor = __LINE__; SENSOR_DBG_COLOR(37, "dbg %d\n", 5);
    l.info = __LINE__; SENSOR_INFO("info %d\n", 6);
    SENSOR_TRACE(32, "trace %s\n", "t");
    return l;
}

std::string escapeRegex(const std::string& text)
{
    std::string out;
    for (char c : text) {
        if (strchr(".[]()*+?{}|^$\\", c) != NULL) out += '\\';
        out += c;
    }
    return out;
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
    checkAndAbort(5);
}

TEST_F(DiagnosticsTest, DebugLevelComesFromTheSignFile)
{
    struct Row { const char* sign; int level; bool abort; };  // sign nullptr: no file
    const Row rows[] = {{nullptr, 1, false}, {"", 1, false},     {"6", 6, false},     {"7\n1\n", 7, true},
                        {"-1\n", -1, false}, {"\n1\n", 1, true}, {"abc\n", 0, false}, {"4\n0\n", 4, false},
                        {"5\n2\n", 5, true},  {"3\nyes\n", 3, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sign != nullptr ? row.sign : "(no file)");
        testsupport::removeFile(SENSOR_DEBUG_SIGN_FILE);
        if (row.sign != nullptr) setDebugSign(row.sign);
        g_nDebugLevel = 9;
        g_bEnAssert = !row.abort;
        updateDebugLevel();
        EXPECT_EQ(g_nDebugLevel, row.level);
        EXPECT_EQ(g_bEnAssert, row.abort);
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

TEST_F(DiagnosticsTest, HoldingCheckTouchesNothing)
{
    // No sign file: a refresh would bring the level back to 1 and abort off.
    g_nDebugLevel = 9;
    g_bEnAssert = true;
    int nCalls = 1;
    int nLine = 0;
    std::string out = captureStdout([&] {
        checkWithMessage(3, "mm");
        checkWithoutMessage(nCalls);
        EXPECT_EQ(checkReturn(4, nLine), 8);
        checkAndAbort(-1);
    });
    EXPECT_EQ(out, "");
    EXPECT_EQ(nCalls, 2);
    EXPECT_EQ(g_nDebugLevel, 9);
    EXPECT_TRUE(g_bEnAssert);
    EXPECT_FALSE(fileExists("/mnt/mtd/log"));
}

TEST_F(DiagnosticsTest, FailedCheckPrintsAndLogsBothBlocks)
{
    int nCalls = 0, nReturnLine = 0, nLineA = 0, nLineB = 0, nResult = 0;
    std::string out = captureStdout([&] {
        nLineA = checkWithMessage(-3, "mm");
        nLineB = checkWithoutMessage(nCalls);
        nResult = checkReturn(-4, nReturnLine);
    });
    EXPECT_EQ(nCalls, 1);
    EXPECT_EQ(nResult, -5);

    const std::string condA = "nValue > 0 && strcmp(szUnit, \"%%\") != 0";
    const std::string red = colorPrefix(31);
    EXPECT_EQ(out, red + position(kAssert, "checkWithMessage", nLineA) + failedText(condA) + kColorEnd + red +
                       "nValue(-3) unit(mm)\n" + kColorEnd +
                       red + position(kAssert, "checkWithoutMessage", nLineB) + failedText("++nCalls > 1") + kColorEnd +
                       red + kColorEnd +
                       red + position(kAssert, "checkReturn", nReturnLine) + failedText("nValue >= 0") + kColorEnd +
                       red + "neg -4" + kColorEnd);
    EXPECT_EQ(readFile(kLog), position(kAssert, "checkWithMessage", nLineA) + kAssert + " " + failedText(condA) +
                                  kAssert + " nValue(-3) unit(mm)\n" +
                                  position(kAssert, "checkWithoutMessage", nLineB) + kAssert + " " +
                                  failedText("++nCalls > 1") + kAssert + " \n" +
                                  position(kAssert, "checkReturn", nReturnLine) + kAssert + " " +
                                  failedText("nValue >= 0") + kAssert + " neg -4\n");
}

TEST_F(DiagnosticsTest, LevelsGateEveryKind)
{
    // shown: R report, W warn, E err, D dbg, C dbg in colour, I info, T trace, A failed check.
    struct Row { const char* sign; const char* shown; };  // sign nullptr: no file
    // One process, the sign file rewritten or removed between rows: each change
    // counts from the very next statement.
    const Row rows[] = {{"7\n", "RWEDCITA"}, {nullptr, "RA"}, {"-1\n", ""},     {"6\n", "RWEDCTA"},
                        {"abc\n", "RA"},      {"4\n", "RWA"},  {"3\n0\n", "RA"}, {"-2\n", ""}};
    const int nCheckLine = checkAndAbort(-1);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sign != nullptr ? row.sign : "(no file)");
        testsupport::removeFile(SENSOR_DEBUG_SIGN_FILE);
        testsupport::removeFile(kLog);
        if (row.sign != nullptr) setDebugSign(row.sign);
        Lines l{};
        std::string out = captureStdout([&] {
            l = emitEveryKind();
            checkAndAbort(1);
        });

        std::string console;
        std::string log;
        const std::string shown = row.shown;
        auto tagged = [&](char key, int color, const char* tag, int line, const char* text) {
            if (shown.find(key) == std::string::npos) return;
            console += colorPrefix(color) + position(tag, "emitEveryKind", line) + text + kColorEnd;
            if (key == 'R' || key == 'W') log += position(tag, "emitEveryKind", line) + tag + " " + text;
        };
        tagged('R', 0, kAssert, l.report, "report 1\n");
        tagged('W', 0, "[sensor warn]", l.warn, "warn 2\n");
        tagged('E', 0, "[sensor err]", l.err, "err 3\n");
        tagged('D', 0, "[sensor dbg]", l.dbg, "dbg 4\n");
        tagged('C', 37, "[sensor dbg]", l.dbgColor, "dbg 5\n");
        tagged('I', 35, "[sensor info]", l.info, "info 6\n");
        if (shown.find('T') != std::string::npos) console += colorPrefix(32) + "trace t\n" + kColorEnd;
        if (shown.find('A') != std::string::npos) {
            const std::string red = colorPrefix(31);
            console += red + position(kAssert, "checkAndAbort", nCheckLine) + failedText("nValue < 0") + kColorEnd +
                       red + "nValue(1)\n" + kColorEnd;
            log += position(kAssert, "checkAndAbort", nCheckLine) + kAssert + " " + failedText("nValue < 0") +
                   kAssert + " nValue(1)\n";
        }
        EXPECT_EQ(out, console);
        EXPECT_EQ(readFile(kLog), log);
        EXPECT_EQ(fileExists(kLog), !log.empty());
    }
}

TEST_F(DiagnosticsTest, LongMessageIsWholeOnConsoleAndCutInLog)
{
    std::string text;
    for (int i = 0; i < 5000; ++i) text += static_cast<char>('0' + i % 10);
    int nLine = 0;
    std::string out = captureStdout([&] { nLine = reportText(text); });
    EXPECT_EQ(out, colorPrefix(0) + position(kAssert, "reportText", nLine) + text + kColorEnd);
    EXPECT_EQ(readFile(kLog), position(kAssert, "reportText", nLine) + kAssert + " " +
                                  text.substr(0, SENSOR_LOG_BUF_SIZE - 1) + "\n");
}

TEST_F(DiagnosticsTest, ErrorLogRotatesAtTenKilobytesKeepingThreeCopies)
{
    const std::string text(1000, 'r');
    captureStdout([&] {
        for (int i = 0; i < 50; ++i) reportText(text);
    });
    EXPECT_EQ(testsupport::listDir("/mnt/mtd/log"),
              (std::vector<std::string>{"SensorError.log", "SensorError.log.1", "SensorError.log.2",
                                        "SensorError.log.3"}));
    // A copy is rotated out once the next entry (at most 1100 bytes here) would not fit.
    for (const char* name : {".1", ".2", ".3"}) {
        const size_t nSize = readFile(std::string(kLog) + name).size();
        EXPECT_TRUE(nSize <= 10240u && nSize > 10240u - 1100u) << name << ": " << nSize;
    }
}

TEST_F(DiagnosticsTest, FailedCheckAbortsWhenTheSignFileAsks)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const int nLine = checkAndAbort(-1);
    const std::string red = colorPrefix(31);
    const std::string abortText = "diagnostics_test\\.cpp:" + std::to_string(nLine) +
                                  ": [^\033]*checkAndAbort\\(int\\): Assertion `bRet' failed";

    setDebugSign("7\n1\n");
    const std::string console = red + position(kAssert, "checkAndAbort", nLine) + failedText("nValue < 0") +
                                kColorEnd + red + "nValue(5)\n" + kColorEnd;
    EXPECT_DEATH(abortIntoStderr(rootDir()), escapeRegex(console) + "[^\033]*" + abortText);

    // Silent, but still aborting.
    setDebugSign("-1\n1\n");
    EXPECT_DEATH(abortIntoStderr(rootDir()), "^[^\033]*" + abortText + "[^\033]*$");
}

}  // namespace
