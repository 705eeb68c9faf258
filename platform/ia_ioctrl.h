// Image-algorithm library entry: options, command numbers and the records it exchanges.
#ifndef PLATFORM_IA_IOCTRL_H
#define PLATFORM_IA_IOCTRL_H

#include "PLTypes.h"

// Options (third argument of ia_ioctrl_v2).
enum ia_cmd_opt_e : unsigned int {
    IA_CMD_OPT_SET = 0,
    IA_CMD_OPT_GET = 1,
    IA_CMD_OPT_GET_PARAM_RNAGE = 2,
    IA_CMD_OPT_CORRECT_PARAM = 3,
    IA_CMD_OPT_GET_EXEC_STATUS = 4,
};

// Command numbers. The underlying type is fixed so that any 32-bit number
// (a key handed through as its own command, for instance) is a valid value.
enum ia_cmd_e : unsigned int {
    IA_CMD_EXPOSE_MODE = 16,
    IA_CMD_MAX_SHUTTER = 49,
    IA_CMD_FIX_SHUTTER = 50,
    IA_CMD_IRIS_POSITION = 82,
    IA_CMD_IRIS_UP = 83,
    IA_CMD_IRIS_DOWN = 84,
    IA_CMD_IRIS_SIZE = 85,
    IA_CMD_DN_MODE = 144,
    IA_CMD_DTN_THR = 145,
    IA_CMD_NTD_THR = 146,
    IA_CMD_DTN_H = 149,
    IA_CMD_DTN_M = 150,
    IA_CMD_NTD_H = 151,
    IA_CMD_NTD_M = 152,
    IA_CMD_DN_STATE = 153,
    IA_CMD_DN_SENSITIVITY = 154,
    IA_CMD_IR_SWITCH = 160,
    IA_CMD_WHITE_SWITCH = 168,
    IA_CMD_WHITE_MODE = 169,
    IA_CMD_LIGHT_TYPE = 224,
    IA_CMD_EXPOSURE_STRATEGY = 225,
    IA_CMD_AUTO_FOCUS_MODE = 1536,
    IA_CMD_AUTO_FOCUS_NEAR_LIMIT = 1537,
    IA_CMD_AUTO_FOCUS_ONCE = 1539,
    IA_CMD_MF_POSITION = 1552,
    IA_CMD_FOCUS_NEAR = 1553,
    IA_CMD_FOCUS_FAR = 1554,
    IA_CMD_MZ_POSITION = 1568,
    IA_CMD_ZOOM_IN = 1569,
    IA_CMD_ZOOM_OUT = 1570,
    IA_CMD_HEAT_STATUS = 1606,
    IA_CMD_TEMPERATURE = 1607,
    IA_CMD_LENS_RESET = 1616,
    IA_CMD_PTZ_RUN_STATE = 1632,
    IA_CMD_AF_STATISTIC = 1648,
    IA_CMD_WDR_MODE = 2368,
    IA_CMD_WDR_SWITCH_BRACKET = 2370,
    IA_CMD_UI_MIRROR = 2384,
    IA_CMD_UI_BEAWAY = 2385,
    IA_CMD_CAMERA_VERSION = 2496,
    IA_CMD_SENSOR_CHECK = 2816,
    IA_CMD_DYNAMIC_PARAMS_CMDS_GET = 4112,
    IA_CMD_MIXSTREAM_SYNC_FOV = 8104,
    IA_CMD_UI_SHUTTER_RESET = 8231,
    IA_CMD_MAX = 0xFFFFFFFFu,
};

#define IA_DYNAMIC_CMDS_MAX 16
#define IA_DYNAMIC_ITEMS_MAX 64

// Commands whose range the library decides at run time (IA_CMD_DYNAMIC_PARAMS_CMDS_GET).
typedef struct {
    s32 cmd_cnt;
    u32 cmd_list[IA_DYNAMIC_CMDS_MAX];
} ia_dynamic_params_cmds_st;

// One command's range record (IA_CMD_OPT_GET_PARAM_RNAGE).
typedef struct {
    s32 type;
    s32 def_val;
    s32 min_val;
    s32 max_val;
    s32 items_cnt;
    s32 item[IA_DYNAMIC_ITEMS_MAX];
} ia_dynamic_params_attr_st;

// Day/night thresholds (commands 145, 146, 154).
typedef struct {
    u32 d2n_thr;
    u32 n2d_thr;
    u32 dn_sensitivity;
} dn_thr_st;

// Day/night switch times (commands 149 to 152).
typedef struct {
    u32 d2n_hour;
    u32 d2n_min;
    u32 n2d_hour;
    u32 n2d_min;
} dn_time_st;

#ifdef __cplusplus
extern "C" {
#endif

// The library's single entry. p_nChannel is 0-based; 0 means success.
int ia_ioctrl_v2(int p_nChannel, ia_cmd_e p_eCmd, unsigned int p_nOption, void* p_pData);

#ifdef __cplusplus
}
#endif

#endif
