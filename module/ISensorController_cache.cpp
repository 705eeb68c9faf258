// Value cache: single entries of the schemes' parameter sets, by scheme index and key.
#include "ISensorController.h"

int ISensorController::setKeyValToCache(u32 p_nScheme, u32 p_nKey, u32 p_nVal, bool p_bForce)
{
    if (!p_bForce && p_nScheme >= m_stSysConf.nSchemeSum) {
        return -2;
    }
    // Forced writes may reach the factory set, never past it.
    if (m_ppUserKeyVal == NULL || p_nScheme > m_stSysConf.nSchemeSum) {
        return -1;
    }
    KeyVal* pSet = m_ppUserKeyVal[p_nScheme];
    for (u32 i = 0; i < m_nKeyValSum; ++i) {
        if (pSet[i].key == p_nKey) {
            pSet[i].value = (s32)p_nVal;
            return (int)i;
        }
    }
    return -1;
}

int ISensorController::getKeyValFromCache(u32 p_nScheme, u32 p_nKey, u32& p_nVal)
{
    if (p_nScheme > m_stSysConf.nSchemeSum) {
        SENSOR_TRACE(SENSOR_COLOR_NONE, "can not find val, invalid sheme(%d) \n", p_nScheme);
        return -1;
    }
    if (m_ppUserKeyVal == NULL) {
        return -1;
    }
    const KeyVal* pSet = m_ppUserKeyVal[p_nScheme];
    for (u32 i = 0; i < m_nKeyValSum; ++i) {
        if (pSet[i].key == p_nKey) {
            p_nVal = (u32)pSet[i].value;
            return (int)i;
        }
    }
    return -1;
}

bool ISensorController::isKeyValSame(const KeyVal& p_stKeyVal)
{
    // During a switch m_nCurScheme already names the set being applied; the
    // values in force are those of the scheme before it.
    s32 nScheme = testFlag(m_bSwitching) ? m_nLastScheme.load() : m_nCurScheme.load();
    u32 nVal = (u32)-1;
    if (-1 == getKeyValFromCache((u32)nScheme, p_stKeyVal.key, nVal)) {
        return false;
    }
    return (s32)nVal == p_stKeyVal.value;
}
