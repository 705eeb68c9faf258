// System configuration of a channel: device type, scheme count, the merged UI style.
#ifndef MODULE_SENSOR_H
#define MODULE_SENSOR_H

#include "ISensorController.h"

// Room for one detail value, terminator included; longer values are cut.
#define SENSOR_DETAIL_VALUE_LEN 10
#define SENSOR_SCHEME_SUM_DEFAULT 4
// More schemes than this would only multiply the memory of every set.
#define SENSOR_SCHEME_SUM_MAX 16

#define SENSOR_STYLE_FILE "/hd1/moduleConfig/sensorConfig/style/Style.xml"
#define SENSOR_STYLE_DOME_FILE "/hd1/moduleConfig/sensorConfig/style/Style_dome.xml"
#define SENSOR_STYLE_THERMAL_FILE "/hd1/moduleConfig/sensorConfig/style/Style_Thermal.xml"
#define SENSOR_STYLE_DIV_FILE "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml"
#define SENSOR_STYLE_DIV_DOME_FILE "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity_dome.xml"
#define SENSOR_STYLE_DIV_THERMAL_FILE "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity_Thermal.xml"

SENSOR_API int initSysConf(int p_nChannelID, const ModuleConfigure& p_objModuleConfigure, SysConfig* p_stSysConf);
SENSOR_API void uinitSysConf(SysConfig* p_stSysConf);
SENSOR_API int getDetailFieldTou32(const char* p_szDetail, const char* p_szField, u32* p_pnVal);
SENSOR_API int getDetailFieldToStr(const char* p_szDetail, const char* p_szField, char* p_szVal);

#endif
