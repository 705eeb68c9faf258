// Key-command table: which library command and which handler apply each key.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ISensorController.h"

namespace {

struct KeyCmdRowSpec {
    u32 nKey;
    u32 nCmd;
    SensorCmdHandler pFunc;
    const char* szKeyName;
    const char* szFuncName;
};

}  // namespace

// The key's name is its enumerator's name; the 8231 row is named after its library command.
#define SENSOR_KEYCMD_ROW(key, cmd, func) \
    { (u32)(key), (cmd), &ISensorController::func, #key, "&ISensorController::" #func }
#define SENSOR_KEYCMD_NONE(key) \
    { (u32)(key), 0, NULL, #key, "NULL" }

void ISensorController::initKeyCmdMap()
{
    // Lookups take the first match, so the order only decides their speed.
    static const KeyCmdRowSpec s_astRows[KEYCMD_ROW_SUM] = {
        SENSOR_KEYCMD_ROW(KEY__DDE_MANUAL_STRG, 8240, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_BRIGHTNESS, 34, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_SATURATION, 2337, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_CONTRAST, 2353, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_SHARPNESS, 2321, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_METER_AREA, 96, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_EXPOSE_MODE, 16, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_MAX_SHUTTER, 49, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_FIX_SHUTTER, 50, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_MAX_GAIN, 65, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_FIX_GAIN, 66, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IRIS_SWITCH, 80, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IRIS_SPEED, 81, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IRIS_POSITION, 82, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IRIS_SIZE, 85, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IRIS_UP, 83, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_IRIS_DOWN, 84, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_WB_MODE, 768, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_R_GAIN, 770, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_B_GAIN, 771, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_DN_MODE, 144, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_DELAY, 147, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IR_SWITCH, 160, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IR_MODE, 161, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IR_AUTO_STRG_NEAR, 162, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IR_MANUAL_STRG_NEAR, 163, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IR_AUTO_STRG_MEDIUM, 164, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IR_MANUAL_STRG_MEDIUM, 165, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IR_AUTO_STRG_FAR, 166, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IR_MANUAL_STRG_FAR, 167, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IR_ANTI_OVEREXP, 155, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_WHITE_SWITCH, 168, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_WHITE_MODE, 169, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_WHITE_MANUAL_STRG, 170, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_WHITE_MANUAL_STRG_MEDIUM, 171, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_WHITE_MANUAL_STRG_FAR, 172, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_2D_NR_SWITCH, 2304, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_2D_NR_MODE, 2305, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_2D_NR_STRG_A, 2306, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_2D_NR_STRG_M, 2307, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_3D_NR_SWITCH, 2308, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_3D_NR_MODE, 2309, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_3D_NR_STRG_A, 2312, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_3D_NR_STRG_M, 2313, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_WDR_MODE, 2368, doHwdr),
        SENSOR_KEYCMD_ROW(KEY_WDR_STRG, 2369, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_HLC_SWITCH, 112, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_HLC_STRG, 113, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_BLC_SWITCH, 128, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_BLC_MODE, 129, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_BLC_STRG, 130, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_ANTI_SHAKE_SWITCH, 2416, doDIS),
        SENSOR_KEYCMD_ROW(KEY_ANTI_SHAKE_STRG, 2417, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_DEFLG_SWITCH, 2400, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_DEFLG_STRG, 2401, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IN_OUT_SIDE, 176, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_TEST_PARAM1, 190, test_debugParam),
        SENSOR_KEYCMD_ROW(KEY_TEST_PARAM2, 191, test_debugParam),
        SENSOR_KEYCMD_ROW(KEY_TEST_PARAM3, 192, test_debugParam),
        SENSOR_KEYCMD_ROW(KEY_TEST_PARAM4, 193, test_debugParam),
        SENSOR_KEYCMD_ROW(KEY_MIRROR, 2384, doMirror),
        SENSOR_KEYCMD_ROW(KEY_BEAWAY, 2385, doBeaway),
        SENSOR_KEYCMD_ROW(KEY_DTN_THR, 145, doDNThr),
        SENSOR_KEYCMD_ROW(KEY_NTD_THR, 146, doDNThr),
        SENSOR_KEYCMD_ROW(KEY_DN_SENSITIVITY, 154, doDNThr),
        SENSOR_KEYCMD_ROW(KEY_DTN_H, 149, doDNTime),
        SENSOR_KEYCMD_ROW(KEY_DTN_M, 150, doDNTime),
        SENSOR_KEYCMD_ROW(KEY_NTD_H, 151, doDNTime),
        SENSOR_KEYCMD_ROW(KEY_NTD_M, 152, doDNTime),
        SENSOR_KEYCMD_ROW(KEY_AUTO_FOCUS_MODE, 1536, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_AUTO_FOCUS_NEAR_LIMIT, 1537, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_AUTO_FOCUS_SENSITIVITY, 1538, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_AUTO_FOCUS_ONCE, 1539, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_LENS_RESET, 1616, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_ZOOM_OUT, 1570, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_ZOOM_IN, 1569, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_FOCUS_NEAR, 1553, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_FOCUS_FAR, 1554, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_DIGITAL_ZOOM, 1584, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_MZOOM_SPEED, 1571, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV, 8104, doIoCrtl),
        SENSOR_KEYCMD_ROW(KEY_MIXSTREAM_DISTANCE, 8100, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_MIXSTREAM_DISTANCE_Y_OFFSET, 8101, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_MIXSTREAM_DISTANCE_WIDTH_OFFSET, 8102, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_MIXSTREAM_DISTANCE_HEIGHT_OFFSET, 8103, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_NONE(KEY_SCHEME_MODE),
        SENSOR_KEYCMD_NONE(KEY_SCHEME_START_HOUR),
        SENSOR_KEYCMD_NONE(KEY_SCHEME_START_MIN),
        SENSOR_KEYCMD_NONE(KEY_SCHEME_END_HOUR),
        SENSOR_KEYCMD_NONE(KEY_SCHEME_END_MIN),
        SENSOR_KEYCMD_NONE(KEY_EMPTY1),
        SENSOR_KEYCMD_NONE(KEY_EMPTY2),
        SENSOR_KEYCMD_ROW(KEY_MF_POSITION, 1552, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_MZ_POSITION, 1568, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_CAP_OFF_ADJ_DIRECTION, 2432, doImageAdjust),
        SENSOR_KEYCMD_ROW(KEY_CAP_OFF_ADJ_STEP, 2433, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_CAP_OFF_ADJ_H_MIN, 2434, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_CAP_OFF_ADJ_H_MAX, 2435, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_CAP_OFF_ADJ_H_CUR, 2436, doImageAdjust),
        SENSOR_KEYCMD_ROW(KEY_CAP_OFF_ADJ_V_MIN, 2437, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_CAP_OFF_ADJ_V_MAX, 2438, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_CAP_OFF_ADJ_V_CUR, 2439, doImageAdjust),
        SENSOR_KEYCMD_ROW(KEY_SENSOR_FPS, 2464, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_FREEZE, 2512, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_GAMMA, 2528, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_DN_AF_MODE, 2560, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_NONE_COLOR_MODE, 8201, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_DVE_MODE, 8202, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_AUTO_TIME, 8203, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_AUTO_TEMPR, 8209, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_CONTROL_FFC_MODE, 8204, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IMAGES_ADJUST, 8205, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_IMAGES_REGULATE, 8206, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_FOCUS_SPEED_LEVEL, 8207, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_DVE_TYPE, 8208, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_SHUTTER_ADJUST, 8211, doIaCmdShutter),
        SENSOR_KEYCMD_ROW(KEY_BACKGROUND_ADJUST, 8212, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_TEMPERATURE_STRIP_SWITCH, 8217, doIaCmd),
        SENSOR_KEYCMD_ROW(IA_CMD_UI_SHUTTER_RESET, 8231, doIaCmd_User),
        SENSOR_KEYCMD_ROW(KEY_PANO_STITCH_DIST, 9000, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_SAVE, 9001, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_RESET, 9002, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_PREVIEW, 9003, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ADJUST_EN, 9004, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ID, 9005, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ADJUST_EN_1, 9101, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_YAW_1, 9102, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_PITCH_1, 9103, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ROLL_1, 9104, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_OFFSETX_1, 9105, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_OFFSETY_1, 9106, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ADJUST_EN_2, 9201, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_YAW_2, 9202, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_PITCH_2, 9203, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ROLL_2, 9204, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_OFFSETX_2, 9205, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_OFFSETY_2, 9206, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ADJUST_EN_3, 9301, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_YAW_3, 9302, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_PITCH_3, 9303, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ROLL_3, 9304, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_OFFSETX_3, 9305, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_OFFSETY_3, 9306, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ADJUST_EN_4, 9401, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_YAW_4, 9402, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_PITCH_4, 9403, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_ROLL_4, 9404, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_OFFSETX_4, 9405, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_ROW(KEY_PANO_OFFSETY_4, 9406, doIaCmd_PanoTuning),
        SENSOR_KEYCMD_NONE(KEY_IR_MODE_INTELL),
        SENSOR_KEYCMD_NONE(KEY_WHITE_MODE_INTELL),
        SENSOR_KEYCMD_NONE(KEY_IR_MANUAL_STRG_NEAR_INTELL),
        SENSOR_KEYCMD_NONE(KEY_WHITE_MANUAL_STRG_INTELL),
        SENSOR_KEYCMD_ROW(KEY_LIGHT_TYPE, 224, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_LDC_SWITCH, 2048, doIaCmd),
        SENSOR_KEYCMD_ROW(KEY_LDC_STRG, 2064, doIaCmd),
    };

    // Room for m_nKeyCmdSum rows as it stands (160 at the first start); never
    // less than the rows written.
    u32 nRoom = m_nKeyCmdSum < KEYCMD_ROW_SUM ? KEYCMD_ROW_SUM : m_nKeyCmdSum;
    m_pKeyCmdMap = (keycmd*)calloc(nRoom, sizeof(keycmd));
    for (u32 i = 0; i < KEYCMD_ROW_SUM; ++i) {
        keycmd& stRow = m_pKeyCmdMap[i];
        stRow.key = s_astRows[i].nKey;
        stRow.cmd = s_astRows[i].nCmd;
        stRow.func = s_astRows[i].pFunc;
        // A name of 32 characters or more fills the field without a terminator.
        size_t nNameLen = strlen(s_astRows[i].szKeyName);
        memcpy(stRow.szKeyName, s_astRows[i].szKeyName,
               nNameLen < KEYCMD_KEY_NAME_LEN ? nNameLen : KEYCMD_KEY_NAME_LEN);
        snprintf(stRow.szFuncName, KEYCMD_FUNC_NAME_LEN, "%s", s_astRows[i].szFuncName);
    }
    m_nKeyCmdSum = KEYCMD_ROW_SUM;
}

int ISensorController::findFromKeyCmdMap(keycmd* p_pKeyCmdMap, u32 p_nKey, keycmd& p_stKeyCmd)
{
    if (p_pKeyCmdMap != NULL) {
        for (u32 i = 0; i < m_nKeyCmdSum; ++i) {
            if (p_pKeyCmdMap[i].key == p_nKey) {
                p_stKeyCmd = p_pKeyCmdMap[i];
                return (int)i;
            }
        }
    }
    SENSOR_TRACE(SENSOR_COLOR_NONE, "cand not find key-cmd while key=%d\n", p_nKey);
    return -1;
}
