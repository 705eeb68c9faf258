// File layer, style merge, dynamic style and factory-set derivation of the sensor module.
#ifndef MODULE_SENSORFILE_H
#define MODULE_SENSORFILE_H

#include <string>

#include "ISensorController.h"

class TiXmlDocument;
class TiXmlElement;

#define SENSOR_VERSION_FILE "/mnt/mtd/code/config_file/snsversion.cfg"
#define SENSOR_PARAM_FILE "/mnt/mtd/code/config_file/sensor%d_%d.cfg"
#define SENSOR_THERMAL_PARAM_FILE "/mnt/mtd/code/config_file/sensor-thermal%d.cfg"

SENSOR_API INT64 getFileLen(const char* file_name);
SENSOR_API int loadFromFile(const char* file_name, char* data, INT64 file_len);
SENSOR_API int saveToFile(char* file_name, char* data, INT64 file_len);
SENSOR_API int keyValFromFile(char* file_name, KeyVal* p_pKeyVal, u32 p_nKeyValNum);
SENSOR_API int keyValToFile(char* file_name, KeyVal* p_pKeyVal, u32 p_nKeyValSum);
SENSOR_API int getVersion(u32* p_pnVersion);
SENSOR_API int setVersion(u32 p_nVersion);

#define SENSOR_MERGE_STYLE_FILE "/tmp/merge_style_ch%d.xml"
// Room of the factory set that getFctData fills.
#define SENSOR_FCT_KEYVAL_MAX 160

SENSOR_API int mergeStyle(int p_nChannelID, ModuleConfig* p_pModuleConfig, char** ui_style, char* ui_styleDiversity);
SENSOR_API int updateStyleTab(TiXmlDocument* doc_style, const char* p_szOperation, const char* p_szTabKey,
                              const TiXmlElement* p_pContent);

SENSOR_API int getDnaStyle(int p_channelID, const char* szStyle, std::string& p_strOut, bool p_bShowWDRFalg);
SENSOR_API int doDnaStyle(TiXmlElement* p_pRoot, int p_nCmd, const ia_dynamic_params_attr_st* p_pAttr);
SENSOR_API int doCustomizeStyle(TiXmlElement* p_pRoot, int p_nCmd, ia_dynamic_params_attr_st* p_pAttr);
SENSOR_API int getNodebyCmdId(TiXmlElement* p_pRoot, int p_nId, TiXmlElement*& p_pNode);
SENSOR_API int getDnaValbyCmdId(TiXmlElement* p_pRoot, int p_nId, int& p_nVal);
SENSOR_API int DeleteNode(TiXmlElement* p_pRoot, TiXmlElement* p_pNode);
SENSOR_API int ModifyNodebyCmdId(TiXmlElement* p_pRoot, int p_nId);

SENSOR_API int getFctData(int p_channelID, char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum,
                          bool p_bShowWDRFalg);
SENSOR_API int style2KeyVal(TiXmlElement* p_pElement, KeyVal* p_pKeyVal, u32* p_pnKeyValNum);

#endif
