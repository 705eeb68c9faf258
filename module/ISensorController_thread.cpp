// Sensor thread: the pass that the controller's GThread runs over and over, and field-of-view sync.
#include <stdio.h>

#include <string>
#include <vector>

#include "ISensorController.h"
#include "PLFile.h"
#include "PeloraTime.h"
#include "SensorUtil.h"

#define SENSOR_SYNC_FOV_FILE "/mnt/mtd/hd1/program/config/sync_fov.ini"

namespace {

// "name...=value," anywhere in the line: the number right after the first "="
// that follows the name, counted only when a "," follows that "=".
bool findFovEntry(const std::string& p_strLine, const char* p_szName, int& p_nValue)
{
    size_t nPos = p_strLine.find(p_szName);
    if (nPos == std::string::npos) {
        return false;
    }
    size_t nEqual = p_strLine.find('=', nPos);
    if (nEqual == std::string::npos || p_strLine.find(',', nEqual) == std::string::npos) {
        return false;
    }
    p_nValue = sensorAtoi(p_strLine.c_str() + nEqual + 1);
    return true;
}

}  // namespace

int ISensorController::sensorThread()
{
    return runSensorPass(false);
}

int ISensorController::runSensorPass(bool p_bInitPass)
{
    // A reset wants its passes back to back so that the thread reaches stop() quickly.
    if (!testFlag(m_bResetting)) {
        PeloraTime::wait(PeloraTime(1, 0));
    }

    // A field-of-view request posted by another channel's key command.
    if ((s32)m_nCameraID == m_nChanneldDosomething) {
        if (KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV == m_nPassKeycmd) {
            sync_fov();
        }
        m_nPassKeycmd = -1;
        m_nChanneldDosomething = -1;
    }

    if (0 == m_nParamMode) {
        return 0;
    }

    // The thread's passes decide and switch under the controller lock, but
    // never wait for it: a host operation holding it (a reset waiting in
    // stop() for this very pass, among others) simply makes the pass skip.
    // The pass inside init runs on the host's own thread before the sensor
    // thread exists, so waiting there blocks nothing that could wait for it;
    // inside a reset that thread already holds the lock.
    if (p_bInitPass && testFlag(m_bResetting)) {
        switchByState();
        return 0;
    }
    if (p_bInitPass) {
        if (!m_objMutex.Lock(__FILE__, __LINE__)) {
            return 0;
        }
    } else if (!m_objMutex.TryLock(__FILE__, __LINE__)) {
        return 0;
    }
    switchByState();
    m_objMutex.Unlock(__FILE__, __LINE__);
    return 0;
}

int ISensorController::dayNightScheme()
{
    // A failed read leaves 0: day.
    int nDNState = 0;
    getDNState(nDNState);
    return 0 == nDNState ? 0 : 1;
}

bool ISensorController::isUserScheme(int p_nScheme)
{
    return p_nScheme >= 0 && (u32)p_nScheme < m_stSysConf.nSchemeSum && m_ppUserKeyVal != NULL;
}

void ISensorController::switchByState()
{
    if (m_bDNScheme) {
        int nScheme = dayNightScheme();
        // The night scheme is scheme 1; without it there is nothing to switch to.
        if (m_nCurScheme == nScheme || testFlag(SENSOR_BUSY) || !isUserScheme(nScheme)) {
            return;
        }
        SENSOR_CHECK(SNS_SUCCESS == switch_to(nScheme), "nScheme(%d)\n", nScheme);
        return;
    }
    if (!m_bTimeScheme) {
        return;
    }

    int nScheme = 0;
    int nSchedule = 0;
    SENSOR_CHECK(SNS_SUCCESS == judgeCurScheme(nScheme, nSchedule), "nScheme(%d)\n", nScheme);

    if (!m_bLprMode) {
        if (m_nCurScheme == nScheme || testFlag(SENSOR_BUSY) || !isUserScheme(nScheme)) {
            return;
        }
        SENSOR_CHECK(SNS_SUCCESS == switch_to(nScheme), "nScheme(%d)\n", nScheme);
        return;
    }

    if (1 == nSchedule) {
        if ((u32)nSchedule == m_nLastSchedule && m_nCurScheme == nScheme) {
            return;
        }
        if (testFlag(SENSOR_BUSY)) {
            return;
        }
        if ((u32)nSchedule == m_nLastSchedule) {
            SENSOR_CHECK(SNS_SUCCESS == switch_to(nScheme), "nScheme(%d)\n", nScheme);
        } else {
            // Entering a period from outside: the day/night fallback left the
            // library with values the scheme does not hold, so all are sent.
            SENSOR_CHECK(SNS_SUCCESS == switch_to(nScheme, true), "nScheme(%d)\n", nScheme);
        }
        m_nLastSchedule = nSchedule;
        return;
    }

    nScheme = dayNightScheme();
    if (0 == m_nLastSchedule && m_nCurScheme == nScheme) {
        return;
    }
    if (testFlag(SENSOR_BUSY) || !isUserScheme(nScheme)) {
        return;
    }
    LPR_switch_to(nScheme);
    m_nLastSchedule = 0;
}

bool ISensorController::sync_fov()
{
    PLFile objFile;
    objFile.open(SENSOR_SYNC_FOV_FILE, PLFile::modeRead);
    std::vector<std::string> vecLines = objFile.ReadLines();
    objFile.close();

    char szZoom[32];
    char szFocus[32];
    snprintf(szZoom, sizeof(szZoom), "zoom%d", (int)m_nCameraID);
    snprintf(szFocus, sizeof(szFocus), "focus%d", (int)m_nCameraID);

    int nZoom = -1;
    int nFocus = -1;
    for (size_t i = 0; i < vecLines.size(); ++i) {
        findFovEntry(vecLines[i], szZoom, nZoom);
        findFovEntry(vecLines[i], szFocus, nFocus);
        printf("zoom= %d,focus= %d \n", nZoom, nFocus);
        if (nZoom > 0 && nFocus > 0) {
            break;
        }
    }
    if (nZoom > 0) {
        setZoomValue(nZoom);
    }
    return true;
}
