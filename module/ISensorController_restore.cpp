// Restore and reset: saving the scheme in force, going back to its file, re-sending single keys.
#include <stdio.h>
#include <string.h>

#include "ISensorController.h"
#include "SensorFile.h"

void ISensorController::schemeFileName(int p_nScheme, char* p_szName, u32 p_nSize)
{
    if (m_bThermal) {
        snprintf(p_szName, p_nSize, SENSOR_THERMAL_PARAM_FILE, p_nScheme);
    } else {
        snprintf(p_szName, p_nSize, SENSOR_PARAM_FILE, (int)m_nCameraID, p_nScheme);
    }
}

int ISensorController::flush()
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    // The factory set has no file.
    s32 nScheme = m_nCurScheme;
    if (nScheme < 0 || (u32)nScheme >= m_stSysConf.nSchemeSum || m_ppUserKeyVal == NULL) {
        return SNS_SUCCESS;
    }
    int nRet = paramCheck();
    if (SNS_SUCCESS != nRet) {
        return nRet;
    }
    char szTmp[256];
    schemeFileName(nScheme, szTmp, sizeof(szTmp));
    return keyValToFile(szTmp, m_ppUserKeyVal[nScheme], m_nKeyValSum);
}

bool ISensorController::resetToLastParameters()
{
    s32 nScheme = m_nCurScheme;
    if (nScheme < 0 || (u32)nScheme >= m_stSysConf.nSchemeSum || m_ppUserKeyVal == NULL || m_pstKeyValTmp == NULL) {
        return true;
    }
    char szTmp[256];
    schemeFileName(nScheme, szTmp, sizeof(szTmp));

    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    setFlag(m_bResettingToLast);
    // The scratch set starts as the set in force, so that a file that cannot be
    // read (or is short) sends nothing for the entries it lacks.
    memcpy(m_pstKeyValTmp, m_ppUserKeyVal[nScheme], m_nKeyValSum * sizeof(KeyVal));
    SENSOR_CHECK(SNS_SUCCESS == keyValFromFile(szTmp, m_pstKeyValTmp, m_nKeyValSum), "szTmp(%s), m_nKeyValSum(%d)\n",
                 szTmp, m_nKeyValSum);
    int nRet = setParameters(m_pstKeyValTmp, m_nKeyValSum, true);
    clearFlag(m_bResettingToLast);
    return SNS_SUCCESS == nRet;
}

int ISensorController::restore(int p_nKey)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    int nPos = -1;
    s32 nScheme = m_nCurScheme;
    if (m_ppUserKeyVal != NULL && nScheme >= 0 && (u32)nScheme <= m_stSysConf.nSchemeSum) {
        for (u32 i = 0; i < m_nKeyValSum; ++i) {
            if (m_ppUserKeyVal[nScheme][i].key == (u32)p_nKey) {
                nPos = (int)i;
                break;
            }
        }
    }
    SENSOR_CHECK_RETURN(-1 != nPos, -1, "restore key(%d) failed! make sure it is sensor ui key \n", p_nKey);
    // A copy: a handler may rewrite the value it is given, and the set must not change.
    KeyVal stKeyVal = m_ppUserKeyVal[nScheme][nPos];
    return setParameters(&stKeyVal, 1, false);
}

bool ISensorController::restoreAeMode()
{
    if (m_bHasLens && SNS_SUCCESS != restore(KEY_AUTO_FOCUS_MODE)) {
        return false;
    }
    if (m_bThermal) {
        return true;
    }
    return SNS_SUCCESS == restore(KEY_EXPOSE_MODE);
}

bool ISensorController::setMirrorMode(int p_nVal)
{
    if (SNS_SUCCESS != setParameter(KEY_MIRROR, p_nVal, true)) {
        return false;
    }
    flush();
    return true;
}
