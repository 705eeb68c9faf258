// Applying parameter sets: skip test, cross-key rules, dispatch through the key-command table, recording.
#include <stdio.h>
#include <string.h>

#include "ISensorController.h"
#include "SensorKeyIndex.h"
#include "SensorUtil.h"

namespace {

// Keys stored in the sets but never sent: the placeholders and the schedule.
bool isStoreOnlyKey(u32 p_nKey)
{
    return KEY_EMPTY1 == p_nKey || KEY_EMPTY2 == p_nKey || KEY_SCHEME_START_HOUR == p_nKey ||
           KEY_SCHEME_START_MIN == p_nKey || KEY_SCHEME_END_HOUR == p_nKey || KEY_SCHEME_END_MIN == p_nKey;
}

// In day/night scheme mode these are sent from scheme 0 only and kept in step in scheme 1.
bool isDayNightKey(u32 p_nKey)
{
    return KEY_DN_MODE == p_nKey || KEY_DTN_THR == p_nKey || KEY_NTD_THR == p_nKey || KEY_DTN_H == p_nKey ||
           KEY_DTN_M == p_nKey || KEY_NTD_H == p_nKey || KEY_NTD_M == p_nKey;
}

struct LightTwin {
    u32 nKey;
    u32 nIntelKey;
};

// Each illumination key and its twin for the intelligent light type (2). The
// twins have no command: their value always travels as the plain key.
const LightTwin s_astLightTwins[] = {
    {KEY_IR_MODE, KEY_IR_MODE_INTELL},
    {KEY_IR_MANUAL_STRG_NEAR, KEY_IR_MANUAL_STRG_NEAR_INTELL},
    {KEY_IR_MANUAL_STRG_MEDIUM, KEY_IR_MANUAL_STRG_MEDIUM_INTELL},
    {KEY_IR_MANUAL_STRG_FAR, KEY_IR_MANUAL_STRG_FAR_INTELL},
    {KEY_WHITE_MODE, KEY_WHITE_MODE_INTELL},
    {KEY_WHITE_MANUAL_STRG, KEY_WHITE_MANUAL_STRG_INTELL},
    {KEY_WHITE_MANUAL_STRG_MEDIUM, KEY_WHITE_MANUAL_STRG_MEDIUM_INTELL},
    {KEY_WHITE_MANUAL_STRG_FAR, KEY_WHITE_MANUAL_STRG_FAR_INTELL},
};

const u32 SENSOR_LIGHT_TYPE_INTELL = 2;
// Limited infrared power: near plus far strength may not exceed this.
const u32 SENSOR_LIMITED_IR_SUM = 100;
// Applies shorter than this search the sets directly.
const u32 SENSOR_KEY_INDEX_MIN_ENTRIES = 8;

}  // namespace

int ISensorController::setParameters(KeyVal* p_pKeyval, u32 p_nCount, bool p_bSave)
{
    if (NULL == p_pKeyval) {
        p_nCount = 0;
    }
    // The look-ups made for every entry (the skip test, the light type, the
    // record of the value) go through the key index of this apply.
    SensorKeyIndex objKeyIndex(p_nCount >= SENSOR_KEY_INDEX_MIN_ENTRIES);

    for (u32 i = 0; i < p_nCount; ++i) {
        KeyVal& stEntry = p_pKeyval[i];
        const s32 nCurScheme = m_nCurScheme;

        if (p_bSave && isKeyValSame(stEntry, &objKeyIndex)) {
            continue;
        }

        u32 nKey = stEntry.key;
        bool bSend = true;

        if (isStoreOnlyKey(nKey)) {
            bSend = false;
        } else if (KEY_SCHEME_MODE == nKey) {
            bSend = false;
            // The scheme mode lives in scheme 0; the other schemes carry a copy.
            if (0 == nCurScheme) {
                s32 nMode = stEntry.value;
                m_bTimeScheme = (1 == nMode);
                m_bDNScheme = (2 == nMode);
                u32 nCopy = (1 == nMode || 2 == nMode) ? (u32)nMode : 0;
                for (u32 s = 1; s < m_stSysConf.nSchemeSum; ++s) {
                    setKeyValToCache(s, KEY_SCHEME_MODE, nCopy, true);
                }
            }
        } else if (m_bThermal && (KEY_MIRROR == nKey || KEY_ANTI_SHAKE_SWITCH == nKey ||
                                  KEY_NONE_COLOR_MODE == nKey || KEY_TEMPERATURE_STRIP_SWITCH == nKey)) {
            // The thermal sensor takes these straight from the video side.
            bSend = false;
            if (KEY_MIRROR == nKey) {
                doMirror(KEY_MIRROR, IA_CMD_OPT_SET, &stEntry.value);
            } else if (KEY_ANTI_SHAKE_SWITCH == nKey) {
                doDIS(KEY_ANTI_SHAKE_SWITCH, IA_CMD_OPT_SET, &stEntry.value);
            } else {
                notifyToVideo(nKey, stEntry.value);
            }
        } else {
            if (m_bDNScheme && isDayNightKey(nKey)) {
                if (0 == nCurScheme) {
                    // Scheme 1 is the night scheme; with fewer than two user
                    // schemes there is none to keep in step.
                    if (1 < m_stSysConf.nSchemeSum) {
                        setKeyValToCache(1, nKey, stEntry.value, true);
                    }
                } else {
                    bSend = false;
                }
            }

            u32 nLightType = 0;
            getKeyValFromCache(nCurScheme, KEY_LIGHT_TYPE, nLightType, &objKeyIndex);

            if (m_bisLimitedIrPower && (KEY_IR_MANUAL_STRG_NEAR == nKey || KEY_IR_MANUAL_STRG_FAR == nKey)) {
                const bool bPartnerFar = (KEY_IR_MANUAL_STRG_NEAR == nKey);
                const u32 nPartner = bPartnerFar ? KEY_IR_MANUAL_STRG_FAR : KEY_IR_MANUAL_STRG_NEAR;
                u32 nVal = (u32)-1;
                if (-1 == getKeyValFromCache(nCurScheme, nPartner, nVal)) {
                    int nRet = doIaCmd(nPartner, IA_CMD_OPT_GET, &nVal);
                    if (SNS_SUCCESS == nRet) {
                        printf(bPartnerFar ? "### KEY_IR_MANUAL_STRG_FAR doIaCmd sucess\n"
                                           : "### KEY_IR_MANUAL_STRG_NEAR doIaCmd sucess\n");
                    } else {
                        SENSOR_CHECK(SNS_SUCCESS == nRet, "get key(%d) val from 2a err", nPartner);
                        printf(bPartnerFar ? "### KEY_IR_MANUAL_STRG_FAR doIaCmd error\n"
                                           : "### KEY_IR_MANUAL_STRG_NEAR doIaCmd error\n");
                    }
                }
                if ((u32)-1 != nVal && nVal + (u32)stEntry.value > SENSOR_LIMITED_IR_SUM) {
                    return -(int)p_pKeyval[0].key;
                }
            }

            bool bDrop = false;
            for (u32 t = 0; t < sizeof(s_astLightTwins) / sizeof(s_astLightTwins[0]); ++t) {
                const LightTwin& stTwin = s_astLightTwins[t];
                if (stTwin.nKey == nKey) {
                    if (SENSOR_LIGHT_TYPE_INTELL == nLightType) {
                        bDrop = true;
                    } else {
                        setKeyValToCache(nCurScheme, stTwin.nIntelKey, stEntry.value, true);
                    }
                    break;
                }
                if (stTwin.nIntelKey == nKey) {
                    if (SENSOR_LIGHT_TYPE_INTELL != nLightType) {
                        bDrop = true;
                    } else {
                        setKeyValToCache(nCurScheme, stTwin.nKey, stEntry.value, true);
                        nKey = stTwin.nKey;
                    }
                    break;
                }
            }
            if (bDrop) {
                continue;
            }
        }

        if (bSend) {
            keycmd stKeyCmdTmp;
            // A lookup that misses leaves the row untouched, so a key other than
            // the one looked up marks the miss.
            stKeyCmdTmp.key = nKey + 1;
            SENSOR_CHECK(-1 != findFromKeyCmdMap(m_pKeyCmdMap, nKey, stKeyCmdTmp), "p_pKeyval[%u].key(%u)", i, nKey);
            const bool bUnknown = (stKeyCmdTmp.key != nKey);
            if (bUnknown) {
                SENSOR_TRACE(SENSOR_COLOR_GREEN, "not find (%d) \n", nKey);
                // An unknown key still goes to the library, as its own command.
                stKeyCmdTmp.key = nKey;
                stKeyCmdTmp.cmd = nKey;
                stKeyCmdTmp.func = &ISensorController::doIaCmd;
                memset(stKeyCmdTmp.szKeyName, 0, sizeof(stKeyCmdTmp.szKeyName));
                memset(stKeyCmdTmp.szFuncName, 0, sizeof(stKeyCmdTmp.szFuncName));
                memcpy(stKeyCmdTmp.szKeyName, "unknow key", sizeof("unknow key"));
                memcpy(stKeyCmdTmp.szFuncName, "ISensorController::doIaCmd", sizeof("ISensorController::doIaCmd"));
            }

            // Keys without a command are settled above; a row without handler
            // is only stored, never called.
            if (stKeyCmdTmp.func != NULL) {
                char szKeyName[KEYCMD_KEY_NAME_LEN + 1];
                memcpy(szKeyName, stKeyCmdTmp.szKeyName, KEYCMD_KEY_NAME_LEN);
                szKeyName[KEYCMD_KEY_NAME_LEN] = '\0';
                char szFuncName[KEYCMD_FUNC_NAME_LEN + 1];
                memcpy(szFuncName, stKeyCmdTmp.szFuncName, KEYCMD_FUNC_NAME_LEN);
                szFuncName[KEYCMD_FUNC_NAME_LEN] = '\0';

                SENSOR_TRACE(SENSOR_COLOR_RED,
                             "====================== set %s (%d,%d) func:%s ia_cmd:%d =====================\n",
                             szKeyName, stKeyCmdTmp.key, stEntry.value, szFuncName, stKeyCmdTmp.cmd);
                int nRet;
                if (bUnknown) {
                    // The key is its own command here, and nothing says that
                    // command takes one word: it may be a record or a list
                    // that the library reads (and fills) whole, so the value
                    // goes in room for the largest one. The entry keeps what
                    // the library left in the first word, as it would have.
                    SensorCmdRoom stRoom(stEntry.value);
                    nRet = (this->*stKeyCmdTmp.func)(stKeyCmdTmp.cmd, IA_CMD_OPT_SET, &stRoom);
                    stEntry.value = stRoom.anWord[0];
                } else {
                    nRet = (this->*stKeyCmdTmp.func)(stKeyCmdTmp.cmd, IA_CMD_OPT_SET, &stEntry.value);
                }
                if (SNS_SUCCESS != nRet) {
                    if (-1 == nRet || -4 == nRet || -5 == nRet) {
                        SENSOR_ERR("set %s (%d,%d) func:%s ia_cmd:%d ~~~failed ia_ret=%d\n", szKeyName,
                                   stKeyCmdTmp.key, stEntry.value, szFuncName, stKeyCmdTmp.cmd, nRet);
                    }
                    return -(int)stKeyCmdTmp.key;
                }
            }
        }

        if (p_bSave) {
            int nRet = setKeyValToCache(nCurScheme, stEntry.key, stEntry.value, false, &objKeyIndex);
            if (-1 == nRet) {
                SENSOR_DBG("SET_KEY_VAL FAILED, m_nCurScheme(%d), p_pKeyval[%d].key(%d), p_pKeyval[%d].value(%d),  maybe jixin\n",
                           nCurScheme, i, stEntry.key, i, stEntry.value);
            }
        }
    }
    printf("\n");
    return SNS_SUCCESS;
}
