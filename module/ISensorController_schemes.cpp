// Schemes: switching the parameter set in force, the schedule judgement, the host's scheme and mode.
#include <string.h>

#include "ISensorController.h"
#include "PeloraTime.h"

namespace {

// A time of day as hhmm.
u32 scheduleTime(const KeyVal* p_pSet, u32 p_nHourIndex)
{
    return (u32)p_pSet[p_nHourIndex].value * 100 + (u32)p_pSet[p_nHourIndex + 1].value;
}

}  // namespace

bool ISensorController::isSchemeIndexValid(int p_nScheme)
{
    return m_ppUserKeyVal != NULL && p_nScheme >= 0 && (u32)p_nScheme <= m_stSysConf.nSchemeSum;
}

void ISensorController::waitWhileBusy()
{
    // The sensor thread finishes its switch without the lock; the host waits
    // for it holding the lock, so no second switch can start meanwhile.
    while (testFlag(SENSOR_BUSY)) {
        PeloraTime::wait(PeloraTime(0, 500000));
    }
}

int ISensorController::switch_to(int p_nScheme, bool p_bForce)
{
    SENSOR_CHECK_RETURN(isSchemeIndexValid(p_nScheme), SNS_SUCCESS, "p_nScheme(%d)\n", p_nScheme);

    setFlag(m_bSwitching);
    m_nLastScheme = m_nCurScheme.load();
    m_nCurScheme = p_nScheme;
    if (p_bForce) {
        setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, false);
    } else {
        // With recording, only what differs from the scheme in force before is sent.
        SENSOR_CHECK(SNS_SUCCESS == setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, true),
                     "m_nCurScheme(%d) m_nKeyValSum(%d)\n", m_nCurScheme.load(), m_nKeyValSum);
    }
    clearFlag(m_bSwitching);
    return SNS_SUCCESS;
}

int ISensorController::LPR_switch_to(int p_nScheme)
{
    SENSOR_CHECK_RETURN(isSchemeIndexValid(p_nScheme) && m_pstKeyValWork != NULL, SNS_SUCCESS, "p_nScheme(%d)\n",
                        p_nScheme);

    setFlag(m_bSwitching);
    m_nLastScheme = m_nCurScheme.load();
    m_nCurScheme = p_nScheme;
    // Number-plate capture needs the day/night automatics off; the scheme keeps
    // its own day/night mode, only the applied copy carries 0.
    memcpy(m_pstKeyValWork, m_ppUserKeyVal[p_nScheme], m_nKeyValSum * sizeof(KeyVal));
    for (u32 i = 0; i < m_nKeyValSum; ++i) {
        if (KEY_DN_MODE == m_pstKeyValWork[i].key) {
            m_pstKeyValWork[i].value = 0;
            break;
        }
    }
    setParameters(m_pstKeyValWork, m_nKeyValSum, false);
    clearFlag(m_bSwitching);
    return SNS_SUCCESS;
}

int ISensorController::judgeCurScheme(int& nScheme, int& nSchedule)
{
    nSchedule = 0;
    PLDeviceTime objNow = PLDeviceTime::getCurrentTime();
    u32 nNow = (u32)objNow.getHour() * 100 + (u32)objNow.getMinute();

    // The period sits at entries 1 to 4; a set too short to hold it never matches.
    if (m_ppUserKeyVal != NULL && m_nKeyValSum >= 5) {
        for (u32 i = 0; i < m_stSysConf.nSchemeSum; ++i) {
            u32 nStart = scheduleTime(m_ppUserKeyVal[i], 1);
            u32 nEnd = scheduleTime(m_ppUserKeyVal[i], 3);
            if (nStart <= nNow && nNow < nEnd) {
                nScheme = (int)i;
                nSchedule = 1;
                return SNS_SUCCESS;
            }
        }
    }
    nScheme = 0;
    return SNS_SUCCESS;
}

bool ISensorController::setParamScheme(int p_nScheme)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    // An index outside the sets is refused: nothing is switched.
    SENSOR_CHECK_RETURN(p_nScheme >= 0 && (u32)p_nScheme <= m_stSysConf.nSchemeSum, false, "p_nScheme(%d)\n", p_nScheme);
    if (m_ppUserKeyVal == NULL) {
        return false;
    }
    waitWhileBusy();
    return SNS_SUCCESS == switch_to(p_nScheme, false);
}

bool ISensorController::getParamScheme(int& p_nScheme)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    p_nScheme = m_nCurScheme;
    return true;
}

bool ISensorController::setParamMode(int p_nMode)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    SENSOR_CHECK(0 == p_nMode || 1 == p_nMode, "p_nMode(%d)\n", p_nMode);
    waitWhileBusy();
    m_nParamMode = p_nMode;
    return true;
}

bool ISensorController::getParamMode(int& p_nMode)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    p_nMode = m_nParamMode;
    return true;
}
