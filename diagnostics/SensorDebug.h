// Debug level, coloured console reports, error log and the check macros of the sensor module.
#ifndef DIAGNOSTICS_SENSORDEBUG_H
#define DIAGNOSTICS_SENSORDEBUG_H

#include <atomic>

#include "SensorApi.h"

#define SNS_SUCCESS 0

// Refreshed from "/tmp/Debug.sign" at every gated statement; read by any thread.
extern SENSOR_API std::atomic<int> g_nDebugLevel;
extern SENSOR_API std::atomic<bool> g_bEnAssert;

#define SENSOR_DEBUG_SIGN_FILE "/tmp/Debug.sign"
#define SENSOR_ERROR_LOG_FILE "/mnt/mtd/log/SensorError.log"
#define SENSOR_ERROR_LOG_MAX_SIZE 10240
#define SENSOR_ERROR_LOG_MAX_FILES 3
// Room for one log text: the longest condition of the module (the device-type
// check, close to a thousand characters) plus the fixed wording. Longer texts are cut.
#define SENSOR_LOG_BUF_SIZE 2048

#define SENSOR_TAG_ASSERT "[sensor assert]"
#define SENSOR_TAG_WARN "[sensor warn]"
#define SENSOR_TAG_ERR "[sensor err]"
#define SENSOR_TAG_DBG "[sensor dbg]"
#define SENSOR_TAG_INFO "[sensor info]"

#define SENSOR_COLOR_NONE 0
#define SENSOR_COLOR_RED 31
#define SENSOR_COLOR_GREEN 32
#define SENSOR_COLOR_MAGENTA 35
#define SENSOR_COLOR_WHITE 37

enum SensorReportKind {
    SENSOR_KIND_REPORT = 0,
    SENSOR_KIND_WARN,
    SENSOR_KIND_ERR,
    SENSOR_KIND_DBG,
    SENSOR_KIND_INFO,
};

SENSOR_API void updateDebugLevel();

// Reports a failed check (both blocks) and aborts when "/tmp/Debug.sign" asks for it.
SENSOR_API void sensorCheckFailed(const char* p_szCondition, const char* p_szFile, const char* p_szFunc, int p_nLine,
                                  const char* p_szSignature, const char* p_szFormat = nullptr, ...)
    __attribute__((format(printf, 6, 7)));
SENSOR_API void sensorReport(SensorReportKind p_eKind, int p_nColor, const char* p_szFile, const char* p_szFunc,
                             int p_nLine, const char* p_szFormat, ...) __attribute__((format(printf, 6, 7)));
SENSOR_API void sensorTrace(int p_nColor, const char* p_szFormat, ...) __attribute__((format(printf, 2, 3)));

// The condition is evaluated once; its source text is what a failure prints.
#define SENSOR_CHECK(cond, ...)                                                                        \
    do {                                                                                               \
        if (!(cond)) {                                                                                 \
            sensorCheckFailed(#cond, __FILE__, __func__, __LINE__, __PRETTY_FUNCTION__ __VA_OPT__(, ) \
                                  __VA_ARGS__);                                                        \
        }                                                                                              \
    } while (0)

// The returning form: after the report the enclosing operation returns retval.
#define SENSOR_CHECK_RETURN(cond, retval, ...)                                                         \
    do {                                                                                               \
        if (!(cond)) {                                                                                 \
            sensorCheckFailed(#cond, __FILE__, __func__, __LINE__, __PRETTY_FUNCTION__ __VA_OPT__(, ) \
                                  __VA_ARGS__);                                                        \
            return retval;                                                                             \
        }                                                                                              \
    } while (0)

#define SENSOR_REPORT(...) sensorReport(SENSOR_KIND_REPORT, SENSOR_COLOR_NONE, __FILE__, __func__, __LINE__, __VA_ARGS__)
#define SENSOR_WARN(...) sensorReport(SENSOR_KIND_WARN, SENSOR_COLOR_NONE, __FILE__, __func__, __LINE__, __VA_ARGS__)
#define SENSOR_ERR(...) sensorReport(SENSOR_KIND_ERR, SENSOR_COLOR_NONE, __FILE__, __func__, __LINE__, __VA_ARGS__)
#define SENSOR_DBG(...) sensorReport(SENSOR_KIND_DBG, SENSOR_COLOR_NONE, __FILE__, __func__, __LINE__, __VA_ARGS__)
#define SENSOR_DBG_COLOR(color, ...) sensorReport(SENSOR_KIND_DBG, color, __FILE__, __func__, __LINE__, __VA_ARGS__)
#define SENSOR_INFO(...) sensorReport(SENSOR_KIND_INFO, SENSOR_COLOR_MAGENTA, __FILE__, __func__, __LINE__, __VA_ARGS__)
#define SENSOR_TRACE(color, ...) sensorTrace(color, __VA_ARGS__)

#endif
