// Debug level refresh, coloured reports, error-log entries and the optional abort on a failed check.
#include "SensorDebug.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "PLFile.h"

// The C library's own assertion report, so that an enabled check ends the
// process exactly like a failed assert() whatever NDEBUG says.
extern "C" void __assert_fail(const char* p_szAssertion, const char* p_szFile, unsigned int p_nLine,
                              const char* p_szFunction) noexcept __attribute__((__noreturn__));
#include "PLLogger.h"

std::atomic<int> g_nDebugLevel(1);
std::atomic<bool> g_bEnAssert(false);

namespace {

struct ReportStyle {
    const char* szTag;
    int nMinLevel;  // printed when g_nDebugLevel is at least this
    bool bLogged;
};

const ReportStyle s_astStyles[] = {
    {SENSOR_TAG_ASSERT, 0, true},  // SENSOR_KIND_REPORT
    {SENSOR_TAG_WARN, 4, true},    // SENSOR_KIND_WARN
    {SENSOR_TAG_ERR, 6, false},    // SENSOR_KIND_ERR
    {SENSOR_TAG_DBG, 6, false},    // SENSOR_KIND_DBG
    {SENSOR_TAG_INFO, 7, false},   // SENSOR_KIND_INFO
};

const char* baseName(const char* p_szPath)
{
    const char* pSlash = strrchr(p_szPath, '/');
    return pSlash != NULL ? pSlash + 1 : p_szPath;
}

void printPrefix(int p_nColor)
{
    printf("\033[%dm\033[%dm", 0, p_nColor);
}

void printSuffix()
{
    printf("\033[0m");
    fflush(stdout);
}

void printHeader(const char* p_szTag, const char* p_szFile, const char* p_szFunc, int p_nLine)
{
    printf("%s file:%s fun:%s line:%d\n", p_szTag, baseName(p_szFile), p_szFunc, p_nLine);
}

// Each entry goes through its own short-lived logger; serialising writers of
// the file is the host's business.
void logEntries(const char* p_szTag, const char* const* p_aszTexts, int p_nCount)
{
    PLLogger objLogger;
    objLogger.init(SENSOR_ERROR_LOG_FILE, SENSOR_ERROR_LOG_MAX_SIZE, SENSOR_ERROR_LOG_MAX_FILES);
    for (int i = 0; i < p_nCount; ++i) {
        objLogger.write(p_szTag, p_aszTexts[i]);
    }
    objLogger.release();
}

void formatPosition(char* p_szBuf, const char* p_szFile, const char* p_szFunc, int p_nLine)
{
    snprintf(p_szBuf, SENSOR_LOG_BUF_SIZE, "file:%s fun:%s line:%d\n", baseName(p_szFile), p_szFunc, p_nLine);
}

}  // namespace

void updateDebugLevel()
{
    if (!PLFile::isExist(SENSOR_DEBUG_SIGN_FILE)) {
        g_nDebugLevel = 1;
        g_bEnAssert = false;
        return;
    }
    PLFile objFile;
    if (!objFile.open(SENSOR_DEBUG_SIGN_FILE, PLFile::modeRead)) {
        return;
    }
    std::string strLine = objFile.ReadOneLine();
    g_nDebugLevel = strLine.empty() ? 1 : atoi(strLine.c_str());
    strLine = objFile.ReadOneLine();
    g_bEnAssert = strLine.empty() ? false : (atoi(strLine.c_str()) != 0);
    objFile.close();
}

void sensorCheckFailed(const char* p_szCondition, const char* p_szFile, const char* p_szFunc, int p_nLine,
                       const char* p_szSignature, const char* p_szFormat, ...)
{
    char szText[SENSOR_LOG_BUF_SIZE];

    updateDebugLevel();
    if (g_nDebugLevel >= 0) {
        printPrefix(SENSOR_COLOR_RED);
        printHeader(SENSOR_TAG_ASSERT, p_szFile, p_szFunc, p_nLine);
        printf("%s   ~~~Assertion failed.\n", p_szCondition);
        printSuffix();

        char szPosition[SENSOR_LOG_BUF_SIZE];
        formatPosition(szPosition, p_szFile, p_szFunc, p_nLine);
        snprintf(szText, sizeof(szText), "%s   ~~~Assertion failed.\n", p_szCondition);
        const char* aszEntries[] = {szPosition, szText};
        logEntries(SENSOR_TAG_ASSERT, aszEntries, 2);
    }

    updateDebugLevel();
    if (g_nDebugLevel >= 0) {
        szText[0] = '\0';
        printPrefix(SENSOR_COLOR_RED);
        if (p_szFormat != NULL) {
            va_list args;
            va_start(args, p_szFormat);
            va_list argsLog;
            va_copy(argsLog, args);
            vprintf(p_szFormat, args);
            vsnprintf(szText, sizeof(szText), p_szFormat, argsLog);
            va_end(argsLog);
            va_end(args);
        }
        printSuffix();

        const char* aszEntries[] = {szText};
        logEntries(SENSOR_TAG_ASSERT, aszEntries, 1);
    }

    if (g_bEnAssert) {
        fflush(stdout);
        __assert_fail("bRet", baseName(p_szFile), static_cast<unsigned int>(p_nLine), p_szSignature);
    }
}

void sensorReport(SensorReportKind p_eKind, int p_nColor, const char* p_szFile, const char* p_szFunc, int p_nLine,
                  const char* p_szFormat, ...)
{
    updateDebugLevel();
    const ReportStyle& stStyle = s_astStyles[p_eKind];
    if (g_nDebugLevel < stStyle.nMinLevel) {
        return;
    }

    va_list args;
    va_start(args, p_szFormat);
    va_list argsLog;
    va_copy(argsLog, args);
    printPrefix(p_nColor);
    printHeader(stStyle.szTag, p_szFile, p_szFunc, p_nLine);
    vprintf(p_szFormat, args);
    printSuffix();

    // The console takes the whole message; the log text is cut to its buffer.
    if (stStyle.bLogged) {
        char szText[SENSOR_LOG_BUF_SIZE];
        vsnprintf(szText, sizeof(szText), p_szFormat, argsLog);
        char szPosition[SENSOR_LOG_BUF_SIZE];
        formatPosition(szPosition, p_szFile, p_szFunc, p_nLine);
        const char* aszEntries[] = {szPosition, szText};
        logEntries(stStyle.szTag, aszEntries, 2);
    }
    va_end(argsLog);
    va_end(args);
}

void sensorTrace(int p_nColor, const char* p_szFormat, ...)
{
    updateDebugLevel();
    if (g_nDebugLevel < 6) {
        return;
    }
    printPrefix(p_nColor);
    va_list args;
    va_start(args, p_szFormat);
    vprintf(p_szFormat, args);
    va_end(args);
    printSuffix();
}
