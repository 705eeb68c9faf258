// Start-up and shutdown: init, uinit and the reset to factory settings.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "ISensorController.h"
#include "PLFile.h"
#include "SensorFile.h"
#include "SensorUtil.h"
#include "sensor.h"
#include "sy_system.h"

#define SENSOR_MODULE_CONFIG_FILE "/hd1/moduleConfig/moduleConfig.xml"
#define SENSOR_SHELL_TIMEOUT 30

namespace {

// Changes the first entry with that key; an absent key is skipped.
void setFirst(KeyVal* p_pSet, u32 p_nSum, u32 p_nKey, s32 p_nVal)
{
    for (u32 i = 0; i < p_nSum; ++i) {
        if (p_pSet[i].key == p_nKey) {
            p_pSet[i].value = p_nVal;
            return;
        }
    }
}

}  // namespace

void ISensorController::deleteParamFiles()
{
    char szCmd[256];
    memset(szCmd, 0, sizeof(szCmd));
    if (m_bThermal) {
        snprintf(szCmd, sizeof(szCmd), "rm -rf /mnt/mtd/code/config*/sensor-thermal*.cfg");
    } else {
        snprintf(szCmd, sizeof(szCmd), "rm -rf /mnt/mtd/code/config*/sensor%d_[0-3].cfg", (int)m_nCameraID);
    }
    sy_system(szCmd, SENSOR_SHELL_TIMEOUT);
}

bool ISensorController::init(const ModuleConfigure& p_objModuleConfigure)
{
    char szFileName[256];
    memset(szFileName, 0, sizeof(szFileName));
    setFlag(m_bInitializing);
    clearFlag(m_bInited);

    SENSOR_CHECK(SNS_SUCCESS == initSysConf(m_nCameraID,p_objModuleConfigure, &m_stSysConf));

    // The factory set is read into room for the largest set the style may give,
    // whatever m_nKeyCmdSum holds at this start.
    u32 nRoom = m_nKeyCmdSum < SENSOR_FCT_KEYVAL_MAX ? SENSOR_FCT_KEYVAL_MAX : m_nKeyCmdSum;
    m_pFctKeyVal = (KeyVal*)calloc(nRoom, sizeof(KeyVal));
    m_pstKeyValWork = (KeyVal*)calloc(nRoom, sizeof(KeyVal));
    SENSOR_CHECK(SNS_SUCCESS == getFctData(m_nCameraID,m_stSysConf.szUIStyle, m_pFctKeyVal, &m_nKeyValSum,m_bShowWDRFalg), "m_nKeyValSum(%d)\n", m_nKeyValSum);

    const u32 nSchemeSum = m_stSysConf.nSchemeSum;
    KeyVal* pBlock = (KeyVal*)calloc((size_t)(nSchemeSum + 1) * m_nKeyValSum + 1, sizeof(KeyVal));
    m_ppUserKeyVal = (KeyVal**)calloc(nSchemeSum + 1, sizeof(KeyVal*));
    for (u32 i = 0; i <= nSchemeSum; ++i) {
        m_ppUserKeyVal[i] = pBlock + (size_t)i * m_nKeyValSum;
    }
    // Every scheme starts as the factory set, so that a short or torn scheme
    // file leaves factory values, never undefined ones, in the entries it lacks.
    for (u32 i = 0; i <= nSchemeSum; ++i) {
        memcpy(m_ppUserKeyVal[i], m_pFctKeyVal, m_nKeyValSum * sizeof(KeyVal));
    }
    free(m_pFctKeyVal);
    m_pFctKeyVal = m_ppUserKeyVal[nSchemeSum];

    u32 nVersion = 0;
    bool bVersionRead = (0 == getVersion(&nVersion));
    if (!bVersionRead) {
        // A short version file may have been read in part.
        nVersion = 0;
    }
    if (!bVersionRead || nVersion != m_nVersion) {
        SENSOR_WARN("check the sensor version,   local(%u) --> libsensordll.so(%u), source the cmd: rm -rf /mnt/mtd/code/config*/sensor*\n", nVersion, m_nVersion);
        deleteParamFiles();
    }

    MachineInfo objMachineInfo;
    SystemInfoParser::parseMachineInfo(SENSOR_MACHINE_INFO_FILE, objMachineInfo);
    DeviceType objDeviceType;
    objDeviceType.setDeviceTypeId(objMachineInfo.getDeviceType());
    std::string strDetail = m_stSysConf.moduleConfig.szDetail;

    if (std::string::npos != strDetail.find("(isInfrared=17)")) {
        printf("#### m_bisLimitedIrPower is true!\n");
        m_bisLimitedIrPower = true;
    }

    bool bLens = false;
    size_t nLensPos = strDetail.find("lensId");
    if (std::string::npos != nLensPos) {
        size_t nEqual = strDetail.find('=', nLensPos);
        if (std::string::npos != nEqual && std::string::npos != strDetail.find(')', nEqual)) {
            bLens = (0 != sensorAtoi(strDetail.c_str() + nEqual + 1));
        }
    }
    if (!bLens) {
        m_bHasLens = false;
    }

    // A number-plate camera without an infrared item uses the LPR scheme handling.
    if (DeviceType::LPR == objDeviceType.getDeviceTypeId() && std::string::npos == strDetail.find("(isInfrared=0)") &&
        std::string::npos == strDetail.find("(isInfrared=1)")) {
        m_bLprMode = true;
    }

    for (u32 i = 0; i < nSchemeSum; ++i) {
        schemeFileName((int)i, szFileName, sizeof(szFileName));
        if (!PLFile::isExist(szFileName)) {
            if (!m_bLprMode) {
                if (0 == i) {
                    setKeyValToCache(nSchemeSum, KEY_SCHEME_MODE, 0, true);
                }
                keyValToFile(szFileName, m_pFctKeyVal, m_nKeyValSum);
            } else if (1 != i) {
                keyValToFile(szFileName, m_pFctKeyVal, m_nKeyValSum);
            } else {
                // The night scheme of a number-plate camera: fixed day/night,
                // short shutter, spot metering, manual near infrared.
                memcpy(m_pstKeyValWork, m_pFctKeyVal, m_nKeyValSum * sizeof(KeyVal));
                setFirst(m_pstKeyValWork, m_nKeyValSum, KEY_DN_MODE, 0);
                setFirst(m_pstKeyValWork, m_nKeyValSum, KEY_MAX_SHUTTER, 18);
                setFirst(m_pstKeyValWork, m_nKeyValSum, KEY_METER_AREA, 1);
                setFirst(m_pstKeyValWork, m_nKeyValSum, KEY_IR_MODE, 2);
                setFirst(m_pstKeyValWork, m_nKeyValSum, KEY_IR_MANUAL_STRG_NEAR, 40);
                keyValToFile(szFileName, m_pstKeyValWork, m_nKeyValSum);
            }
        }
        keyValFromFile(szFileName, m_ppUserKeyVal[i], m_nKeyValSum);
        if (0 == i) {
            u32 nMode = 0;
            if (-1 != getKeyValFromCache(0, KEY_SCHEME_MODE, nMode)) {
                m_bTimeScheme = (1 == nMode);
                m_bDNScheme = (2 == nMode);
            }
        }
    }

    SENSOR_CHECK(SNS_SUCCESS == setVersion(m_nVersion), "m_nVersion(%d)\n", m_nVersion);

    initKeyCmdMap();
    m_pstKeyValTmp = (KeyVal*)calloc(m_nKeyValSum + 1, sizeof(KeyVal));

    // With a scheme mode the first pass of the sensor thread picks the scheme.
    if (!m_bDNScheme && !m_bTimeScheme) {
        switch_to(0, false);
    }
    runSensorPass(true);
    SENSOR_CHECK(m_pSensorThread->start());

    m_bShowWDRFalg = true;
    setshowBeawayFalg(true);
    if (m_pVideoStreamModule != NULL) {
        // Small streams of this encoder cannot be turned over on this SoC.
        std::vector<AVStreamParam> vecStreams;
        m_pVideoStreamModule->getAVStreamParams(vecStreams);
        const std::string& strModel = objMachineInfo.getHardwareModel();
        if ("Hi3516AV200" == strModel || "Hi3516AV200Thermal" == strModel) {
            for (size_t i = 0; i < vecStreams.size(); ++i) {
                if (1 == vecStreams[i].getVideoEncoderType() && vecStreams[i].getVideoHeight() <= 255) {
                    setshowBeawayFalg(false);
                }
            }
        }
        // A limited-frames stream mode leaves no room for WDR.
        LimitedFramesWDRModeParam objLimited;
        m_pVideoStreamModule->getLimitedFramesWDRModeParam(m_nCameraID, objLimited);
        if (0 == objLimited.getLimitFramesModeId() && 1 == objLimited.getLimitWdr()) {
            m_bShowWDRFalg = false;
        }
    }

    clearFlag(m_bInitializing);
    setFlag(m_bInited);
    SENSOR_DBG("ISensorController::initSensor  success\n");
    return true;
}

void ISensorController::uinit()
{
    if (!testFlag(m_bInited)) {
        return;
    }
    // One shutter command may still reach the sensor while it is taken down.
    m_bPassShutterCmd = true;
    setFlag(m_bUninitializing);
    SENSOR_CHECK(m_pSensorThread->stop());

    free(m_pstKeyValTmp);
    m_pstKeyValTmp = NULL;
    free(m_pKeyCmdMap);
    m_pKeyCmdMap = NULL;
    if (m_ppUserKeyVal != NULL) {
        free(m_ppUserKeyVal[0]);
        free(m_ppUserKeyVal);
        m_ppUserKeyVal = NULL;
    }
    free(m_pstKeyValWork);
    m_pstKeyValWork = NULL;

    uinitSysConf(&m_stSysConf);

    m_nLastScheme = -1;
    m_nCurScheme = -1;
    m_nParamMode = 1;
    m_ppUserKeyVal = NULL;
    m_pFctKeyVal = NULL;
    m_nKeyValSum = 0;
    clearFlag(m_bUninitializing);
}

bool ISensorController::resetParameters()
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    setFlag(m_bResetting);

    SENSOR_CHECK(SNS_SUCCESS == switch_to(m_stSysConf.nSchemeSum), "m_stSysConf.nSchemeSum(%d)\n", m_stSysConf.nSchemeSum);
    deleteParamFiles();
    uinit();

    ModuleConfigure objModuleConfigure;
    objModuleConfigure.setDetail(m_stSysConf.moduleConfig.szDetail);
    objModuleConfigure.setModuleId(m_stSysConf.moduleConfig.nModuleId);
    objModuleConfigure.setParameters(m_stSysConf.moduleConfig.szParameters);
    if (g_nDebugLevel > 5) {
        // At a debug level the configuration is read afresh, so that an edited
        // module list takes effect with a reset; an empty list keeps the stored one.
        MachineInfo objMachineInfo;
        SystemInfoParser::parseMachineInfo(SENSOR_MACHINE_INFO_FILE, objMachineInfo);
        std::vector<ModuleConfigure> vecList;
        ModuleConfigureParser::parse(SENSOR_MODULE_CONFIG_FILE, objMachineInfo.getHardwareModel(),
                                     objMachineInfo.getHardwareCode(), vecList);
        if (!vecList.empty()) {
            objModuleConfigure = vecList[0];
        }
    }
    SENSOR_CHECK(init(objModuleConfigure));

    m_nCurScheme = 0;
    clearFlag(m_bResetting);
    return true;
}
