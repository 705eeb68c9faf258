// Compound handlers: keys that reach the library as records or depend on a partner key.
#include <string.h>

#include "ISensorController.h"

namespace {

// With beaway on, the picture is turned over, so mirror 1 and 2 trade places.
s32 exchangeMirror(s32 p_nMirror)
{
    if (1 == p_nMirror) {
        return 2;
    }
    if (2 == p_nMirror) {
        return 1;
    }
    return p_nMirror;
}

}  // namespace

int ISensorController::doMirror(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    s32 nMirror = *(s32*)p_pVal;
    u32 nBeaway = 0;
    getKeyValFromCache(m_nCurScheme, KEY_BEAWAY, nBeaway);
    if (0 != nBeaway) {
        nMirror = exchangeMirror(nMirror);
    }
    SENSOR_CHECK(SNS_SUCCESS == notifyToVideo(p_nKey, nMirror));
    // The set keeps the mirror as the user chose it; only the command carries the exchange.
    return doIaCmd(p_nKey, p_nDir, &nMirror);
}

int ISensorController::doBeaway(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    if (!getshowBeawayFalg()) {
        *(s32*)p_pVal = 0;
        return SNS_SUCCESS;
    }
    s32 nBeaway = *(s32*)p_pVal;
    u32 nStoredMirror = 0;
    getKeyValFromCache(m_nCurScheme, KEY_MIRROR, nStoredMirror);
    s32 nMirror = (s32)nStoredMirror;
    if (0 != nBeaway) {
        nMirror = exchangeMirror(nMirror);
    }
    // The stored mirror is sent again first, so that it matches the new beaway.
    SENSOR_CHECK(SNS_SUCCESS == notifyToVideo(IA_CMD_UI_MIRROR, nMirror));
    SENSOR_CHECK(SNS_SUCCESS == notifyToVideo(p_nKey, nBeaway));
    doIaCmd(IA_CMD_UI_MIRROR, p_nDir, &nMirror);
    return doIaCmd(p_nKey, p_nDir, &nBeaway);
}

int ISensorController::doDNThr(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    dn_thr_st stThr;
    memset(&stThr, 0, sizeof(stThr));
    if (KEY_DTN_THR == p_nKey) {
        stThr.d2n_thr = *(u32*)p_pVal;
        getKeyValFromCache(m_nCurScheme, KEY_NTD_THR, stThr.n2d_thr);
    } else if (KEY_NTD_THR == p_nKey) {
        getKeyValFromCache(m_nCurScheme, KEY_DTN_THR, stThr.d2n_thr);
        stThr.n2d_thr = *(u32*)p_pVal;
    } else if (KEY_DN_SENSITIVITY == p_nKey) {
        stThr.dn_sensitivity = *(u32*)p_pVal;
    }
    SENSOR_TRACE(SENSOR_COLOR_NONE,
                 "m_nCurScheme(%u) dn_thr_st.d2n_thr(%u) dn_thr_st.n2d_thr(%u)  dn_thr_st.dn_sensitivity(%u)\n",
                 (u32)m_nCurScheme.load(), stThr.d2n_thr, stThr.n2d_thr, stThr.dn_sensitivity);
    int nRet = doIaCmd(p_nKey, p_nDir, &stThr);
    // Going back to the saved values must not stop on a threshold the library refuses.
    if (testFlag(m_bResettingToLast)) {
        return SNS_SUCCESS;
    }
    return nRet;
}

int ISensorController::doDNTime(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    dn_time_st stTime;
    memset(&stTime, 0, sizeof(stTime));
    u32* apnFields[4] = {&stTime.d2n_hour, &stTime.d2n_min, &stTime.n2d_hour, &stTime.n2d_min};
    const u32 anKeys[4] = {KEY_DTN_H, KEY_DTN_M, KEY_NTD_H, KEY_NTD_M};
    u32 nOwn = 3;
    for (u32 i = 0; i < 3; ++i) {
        if (anKeys[i] == p_nKey) {
            nOwn = i;
        }
    }
    for (u32 i = 0; i < 4; ++i) {
        if (i == nOwn) {
            *apnFields[i] = *(u32*)p_pVal;
        } else {
            getKeyValFromCache(m_nCurScheme, anKeys[i], *apnFields[i]);
        }
    }
    SENSOR_TRACE(SENSOR_COLOR_NONE,
                 "m_nCurScheme(%u) dn_time_st.d2n_hour(%u) dn_time_st.d2n_min(%u) dn_time_st.n2d_hour(%u) dn_time_st.n2d_min(%u) \n",
                 (u32)m_nCurScheme.load(), stTime.d2n_hour, stTime.d2n_min, stTime.n2d_hour, stTime.n2d_min);
    return doIaCmd(p_nKey, p_nDir, &stTime);
}
