// Single parameters: getParameter, setParameter, the named accessors and the visibility flags.
#include "ISensorController.h"
#include "SensorUtil.h"

bool ISensorController::getParameter(int p_nKey, int& p_nVal)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    SENSOR_DBG("p_nKey(%d)\n", p_nKey);

    u32 nVal = 0;
    if (-1 != getKeyValFromCache(m_nCurScheme, p_nKey, nVal)) {
        p_nVal = (int)nVal;
        return true;
    }
    // The illuminator keys are answered from the sets only: the library's
    // value may belong to the other light type.
    if (KEY_IR_SWITCH == p_nKey || KEY_IR_MODE == p_nKey || KEY_IR_MANUAL_STRG_NEAR == p_nKey ||
        KEY_IR_MANUAL_STRG_MEDIUM == p_nKey || KEY_IR_MANUAL_STRG_FAR == p_nKey) {
        p_nVal = -1;
        return true;
    }
    // The key comes from the host and may name a command whose data is a
    // record or a list; the library fills all of it, so it reads into room
    // for the largest one and the caller gets the first word. The room takes
    // the caller's name for the call so that a failure reports the condition
    // as written here for every host tool that looks for it.
    int& nCaller = p_nVal;
    {
        SensorCmdReadRoom p_nVal(nCaller);
        SENSOR_CHECK_RETURN(SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal), false,
                            "get key(%d) val from 2a err", p_nKey);
    }
    return true;
}

int ISensorController::setParameter(int p_nKey, int p_nVal, bool p_bSave)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    SENSOR_DBG("p_Parameters22222222222(%d, %d)\n", p_nKey, p_nVal);
    KeyVal stKeyVal;
    stKeyVal.key = (u32)p_nKey;
    stKeyVal.value = p_nVal;
    return setParameters(&stKeyVal, 1, p_bSave);
}

bool ISensorController::setDNMode(int p_nVal)
{
    return SNS_SUCCESS == setParameter(KEY_DN_MODE, p_nVal, true);
}

bool ISensorController::getDNMode(int& p_nVal)
{
    getParameter(KEY_DN_MODE, p_nVal);
    return true;
}

#define SENSOR_ACCESSOR_PAIR(setter, getter, key)              \
    bool ISensorController::setter(int& p_nVal)                \
    {                                                          \
        return SNS_SUCCESS == setParameter(key, p_nVal, true); \
    }                                                          \
    bool ISensorController::getter(int& p_nVal)                \
    {                                                          \
        return getParameter(key, p_nVal);                      \
    }

SENSOR_ACCESSOR_PAIR(setWDRSwitch, getWDRSwitch, KEY_WDR_MODE)
SENSOR_ACCESSOR_PAIR(setWDRStrength, getWDRStrength, KEY_WDR_STRG)
SENSOR_ACCESSOR_PAIR(setHLCSwitch, getHLCSwitch, KEY_HLC_SWITCH)
SENSOR_ACCESSOR_PAIR(setHLCStrength, getHLCStrength, KEY_HLC_STRG)
SENSOR_ACCESSOR_PAIR(setBLCSwitch, getBLCSwitch, KEY_BLC_SWITCH)
SENSOR_ACCESSOR_PAIR(setBLCStrength, getBLCStrength, KEY_BLC_STRG)
SENSOR_ACCESSOR_PAIR(setDefogSwitch, getDefogSwitch, KEY_DEFLG_SWITCH)
SENSOR_ACCESSOR_PAIR(setDefogStrength, getDefogStrength, KEY_DEFLG_STRG)
SENSOR_ACCESSOR_PAIR(set2DSwitch, get2DSwitch, KEY_2D_NR_SWITCH)
SENSOR_ACCESSOR_PAIR(set2DMode, get2DMode, KEY_2D_NR_MODE)
SENSOR_ACCESSOR_PAIR(set2DAutoMaxStrength, get2DAutoMaxStrength, KEY_2D_NR_STRG_A)
SENSOR_ACCESSOR_PAIR(set2DManualMaxStrength, get2DManualMaxStrength, KEY_2D_NR_STRG_M)
SENSOR_ACCESSOR_PAIR(set3DSwitch, get3DSwitch, KEY_3D_NR_SWITCH)
SENSOR_ACCESSOR_PAIR(set3DMode, get3DMode, KEY_3D_NR_MODE)
SENSOR_ACCESSOR_PAIR(set3DAutoMaxStrength, get3DAutoMaxStrength, KEY_3D_NR_STRG_A)
SENSOR_ACCESSOR_PAIR(set3DManualMaxStrength, get3DManualMaxStrength, KEY_3D_NR_STRG_M)

bool ISensorController::setBeaway(int& p_nVal)
{
    // Always answers false, whatever the outcome; hosts do not rely on it.
    setParameter(KEY_BEAWAY, p_nVal, true);
    return false;
}

bool ISensorController::getBeaway(int& p_nVal)
{
    return getParameter(KEY_BEAWAY, p_nVal);
}

bool ISensorController::getMirrorValue(int& p_nVal)
{
    return getParameter(KEY_MIRROR, p_nVal);
}

void ISensorController::setShowWDRFalg(bool p_bShow)
{
    m_bShowWDRFalg = p_bShow;
}

bool ISensorController::getShowWDRFalg(bool& p_bShow)
{
    p_bShow = m_bShowWDRFalg;
    return true;
}

void ISensorController::setShowBeawayFalg(bool p_bShow)
{
    setshowBeawayFalg(p_bShow);
}

bool ISensorController::getShowBeawayFalg(bool& p_bShow)
{
    p_bShow = getshowBeawayFalg();
    return true;
}
