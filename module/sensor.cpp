// System configuration: the channel's device type, scheme count and merged UI style.
#include "sensor.h"

#include <stdlib.h>
#include <string.h>

#include <string>

#include "MachineInfo.h"
#include "SensorFile.h"
#include "SensorUtil.h"

namespace {

// The value of a (name=value) detail field: the text between the first "="
// after the name and the first ")" after that "=". Values of 10 characters or
// more are cut to 9.
int findDetailField(const char* p_szDetail, const char* p_szField, char* p_szVal)
{
    if (p_szDetail == NULL || p_szField == NULL) {
        return -1;
    }
    const char* pName = strstr(p_szDetail, p_szField);
    if (pName == NULL) {
        return -1;
    }
    const char* pEqual = strchr(pName, '=');
    if (pEqual == NULL) {
        return -1;
    }
    const char* pClose = strchr(pEqual, ')');
    if (pClose == NULL) {
        return -1;
    }
    size_t nLen = (size_t)(pClose - pEqual - 1);
    if (nLen > SENSOR_DETAIL_VALUE_LEN - 1) {
        nLen = SENSOR_DETAIL_VALUE_LEN - 1;
    }
    memcpy(p_szVal, pEqual + 1, nLen);
    return 0;
}

bool isStandardStyleDevice(u32 p_nType)
{
    return DeviceType::IPCAMERA == p_nType || DeviceType::LPR == p_nType || DeviceType::FACE_DETECT == p_nType ||
           DeviceType::VEHICLE_DETECT == p_nType || DeviceType::THERMAL_DEVICE == p_nType ||
           DeviceType::THERMAL_DOUBLE_SENSOR_DEVICE == p_nType || DeviceType::IPP == p_nType ||
           DeviceType::FISHEYE == p_nType || DeviceType::HUMAN_TEMPERATURE == p_nType ||
           DeviceType::AIMULTI_OBJECT_DETECT == p_nType || DeviceType::BINOCULAR_DEVICE == p_nType;
}

bool isThermalStyleDevice(u32 p_nType)
{
    return DeviceType::THERMAL_DEVICE == p_nType || DeviceType::THERMAL_DOUBLE_SENSOR_DEVICE == p_nType ||
           DeviceType::HUMAN_TEMPERATURE == p_nType || DeviceType::THERMAL_DOUBLE_SENSOR_DOME_DEVICE == p_nType ||
           DeviceType::THERMAL_IPDOME == p_nType;
}

// Style files are a few hundred kilobytes; a far larger one is refused rather than loaded.
const INT64 SENSOR_STYLE_FILE_MAX = 16 * 1024 * 1024;

// Length of a style file as the buffer for it is sized: 0 when it cannot be
// opened or is implausibly large.
INT64 styleFileLen(const std::string& p_strName)
{
    INT64 nLen = getFileLen(p_strName.c_str());
    if (nLen < 0 || nLen > SENSOR_STYLE_FILE_MAX) {
        SENSOR_REPORT("style file %s: length %lld refused\n", p_strName.c_str(), (long long)nLen);
        nLen = 0;
    }
    return nLen;
}

}  // namespace

int getDetailFieldTou32(const char* p_szDetail, const char* p_szField, u32* p_pnVal)
{
    char szVal[SENSOR_DETAIL_VALUE_LEN];
    memset(szVal, 0, sizeof(szVal));
    if (0 != findDetailField(p_szDetail, p_szField, szVal)) {
        return -1;
    }
    *p_pnVal = (u32)sensorAtoi(szVal);
    return 0;
}

int getDetailFieldToStr(const char* p_szDetail, const char* p_szField, char* p_szVal)
{
    return findDetailField(p_szDetail, p_szField, p_szVal);
}

int initSysConf(int p_nChannelID, const ModuleConfigure& p_objModuleConfigure, SysConfig* p_stSysConf)
{
    memset(p_stSysConf, 0, sizeof(*p_stSysConf));

    // Texts longer than their fields are cut, always terminated.
    p_stSysConf->moduleConfig.nModuleId = p_objModuleConfigure.getModuleId();
    snprintf(p_stSysConf->moduleConfig.szDetail, sizeof(p_stSysConf->moduleConfig.szDetail), "%s",
             p_objModuleConfigure.getDetail().c_str());
    snprintf(p_stSysConf->moduleConfig.szParameters, sizeof(p_stSysConf->moduleConfig.szParameters), "%s",
             p_objModuleConfigure.getParameters().c_str());

    if (0 != getDetailFieldTou32(p_stSysConf->moduleConfig.szDetail, "max_scheme", &p_stSysConf->nSchemeSum)) {
        p_stSysConf->nSchemeSum = SENSOR_SCHEME_SUM_DEFAULT;
    }
    SENSOR_CHECK(p_stSysConf->nSchemeSum <= SENSOR_SCHEME_SUM_MAX, "nSchemeSum(%u)\n", p_stSysConf->nSchemeSum);
    if (p_stSysConf->nSchemeSum > SENSOR_SCHEME_SUM_MAX) {
        p_stSysConf->nSchemeSum = SENSOR_SCHEME_SUM_MAX;
    }

    MachineInfo machineInfo;
    SENSOR_CHECK(SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", machineInfo));
    p_stSysConf->nDeviceType = machineInfo.getDeviceType();
    SENSOR_CHECK(DeviceType::IPCAMERA == p_stSysConf->nDeviceType || DeviceType::FACE_DETECT == p_stSysConf->nDeviceType ||
                     DeviceType::VEHICLE_DETECT == p_stSysConf->nDeviceType ||
                     DeviceType::AIMULTI_OBJECT_DETECT == p_stSysConf->nDeviceType ||
                     DeviceType::IPDOME == p_stSysConf->nDeviceType || DeviceType::LPR == p_stSysConf->nDeviceType ||
                     DeviceType::IPP == p_stSysConf->nDeviceType ||
                     DeviceType::HUMAN_TEMPERATURE == p_stSysConf->nDeviceType ||
                     DeviceType::THERMAL_DEVICE == p_stSysConf->nDeviceType ||
                     DeviceType::THERMAL_DOUBLE_SENSOR_DEVICE == p_stSysConf->nDeviceType ||
                     DeviceType::FISHEYE == p_stSysConf->nDeviceType || DeviceType::DOMECORE == p_stSysConf->nDeviceType ||
                     DeviceType::THERMAL_DOUBLE_SENSOR_DOME_DEVICE == p_stSysConf->nDeviceType ||
                     DeviceType::BINOCULAR_DEVICE == p_stSysConf->nDeviceType ||
                     DeviceType::THERMAL_IPDOME == p_stSysConf->nDeviceType ||
                     DeviceType::DOMECORE_THERMAL_DEVICE == p_stSysConf->nDeviceType,
                 "machineinfo, devicetype(%d) error, must be 1 or 4 or 8 or 9 or 13\n", p_stSysConf->nDeviceType);

    // Unknown device types fall through to the dome documents.
    bool bStandard = isStandardStyleDevice(p_stSysConf->nDeviceType);
    bool bThermal = (2 == p_nChannelID) && isThermalStyleDevice(p_stSysConf->nDeviceType);
    std::string strStyleFileName = bStandard ? SENSOR_STYLE_FILE : SENSOR_STYLE_DOME_FILE;
    std::string strStyleDivFileName = bStandard ? SENSOR_STYLE_DIV_FILE : SENSOR_STYLE_DIV_DOME_FILE;
    if (bThermal) {
        strStyleFileName = SENSOR_STYLE_THERMAL_FILE;
        strStyleDivFileName = SENSOR_STYLE_DIV_THERMAL_FILE;
    }

    // Each buffer is zeroed and one byte longer than its file. The load checks
    // read the length through a local getFileLen that answers the length
    // measured for the buffer, so a file that grows meanwhile is never read past it.
    INT64 nStyleLen = styleFileLen(strStyleFileName);
    p_stSysConf->szUIStyle = (char*)calloc((size_t)nStyleLen + 1, 1);
    {
        auto getFileLen = [nStyleLen](const char*) { return nStyleLen; };
        SENSOR_CHECK(loadFromFile(strStyleFileName.c_str(), p_stSysConf->szUIStyle, getFileLen(strStyleFileName.c_str())) > 0);
    }
    INT64 nDivLen = styleFileLen(strStyleDivFileName);
    char* ui_styleDiversity = (char*)calloc((size_t)nDivLen + 1, 1);
    {
        auto getFileLen = [nDivLen](const char*) { return nDivLen; };
        SENSOR_CHECK(loadFromFile(strStyleDivFileName.c_str(), ui_styleDiversity, getFileLen(strStyleDivFileName.c_str())) > 0);
    }

    SENSOR_CHECK(SNS_SUCCESS == mergeStyle(p_nChannelID,&p_stSysConf->moduleConfig, &p_stSysConf->szUIStyle, ui_styleDiversity));
    free(ui_styleDiversity);
    return SNS_SUCCESS;
}

void uinitSysConf(SysConfig* p_stSysConf)
{
    if (p_stSysConf->pUIFile != NULL) {
        for (u32 i = 0; i < p_stSysConf->nUIFileSum; ++i) {
            free(p_stSysConf->pUIFile[i].szCommon);
            free(p_stSysConf->pUIFile[i].szLanguage);
        }
        free(p_stSysConf->pUIFile);
        p_stSysConf->pUIFile = NULL;
        p_stSysConf->nUIFileSum = 0;
    }
    free(p_stSysConf->szUIStyle);
    p_stSysConf->szUIStyle = NULL;
}
