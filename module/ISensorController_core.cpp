// Controller object: construction, channel and video-module set-up, small queries, module-wide flags.
#include <string.h>

#include "ISensorController.h"

std::atomic<s32> ISensorController::m_nPassKeycmd(-1);
std::atomic<s32> ISensorController::m_nChanneldDosomething(-1);

std::atomic<bool> g_bShoWBeawayFalg(true);

void setshowBeawayFalg(bool p_bShow)
{
    g_bShoWBeawayFalg = p_bShow;
}

bool getshowBeawayFalg()
{
    return g_bShoWBeawayFalg;
}

ISensorController::ISensorController()
    // The system configuration is filled by init; it starts zeroed so that a
    // query before init reads defined values.
    : m_stSysConf(),
      m_nCameraID(1),
      m_objMutex(),
      m_pSensorThread(NULL),
      m_nLastScheme(-1),
      m_nCurScheme(-1),
      m_nParamMode(1),
      m_ppUserKeyVal(NULL),
      m_pstKeyValTmp(NULL),
      m_pFctKeyVal(NULL),
      m_nKeyValSum(0),
      m_pstKeyValWork(NULL),
      m_pKeyCmdMap(NULL),
      m_nVersion(8),
      m_pVideoStreamModule(NULL),
      m_objMachineInfo(),
      m_nFlagWord(0),
      m_nKeyCmdSum(160),
      m_nLastSchedule(255),
      m_bLprMode(false),
      m_bShowWDRFalg(true),
      m_bTimeScheme(false),
      m_bDNScheme(false),
      m_bisLimitedIrPower(false),
      m_bHasLens(true),
      m_bPassShutterCmd(false),
      m_bThermal(false),
      m_objZoomFocusParam()
{
    function<int> objBody(bind_funcobj0(this, &ISensorController::sensorThread));
    function<int> objEmpty(&GThread::emptyFun);
    m_pSensorThread = new GThread(objBody, "SensorThread", objEmpty, objEmpty);

    m_nFlagWord = 0;

    SystemInfoParser::parseMachineInfo(SENSOR_MACHINE_INFO_FILE, m_objMachineInfo);
}

ISensorController::~ISensorController()
{
    if (m_pSensorThread != NULL) {
        m_pSensorThread->stop();
        delete m_pSensorThread;
        m_pSensorThread = NULL;
    }
}

void ISensorController::setChannelID(int p_nChannelID)
{
    m_nCameraID = p_nChannelID;
    u32 nDeviceType = m_objMachineInfo.getDeviceType();
    // A single-sensor thermal device drives its only sensor as the thermal channel 2.
    if (DeviceType::THERMAL_DEVICE == nDeviceType) {
        m_nCameraID = 2;
    }
    if (DeviceType::THERMAL_DEVICE != nDeviceType && 2 != m_nCameraID) {
        return;
    }
    if (DeviceType::THERMAL_DEVICE == nDeviceType || DeviceType::THERMAL_DOUBLE_SENSOR_DEVICE == nDeviceType ||
        DeviceType::HUMAN_TEMPERATURE == nDeviceType || DeviceType::THERMAL_DOUBLE_SENSOR_DOME_DEVICE == nDeviceType ||
        DeviceType::THERMAL_IPDOME == nDeviceType) {
        m_bThermal = true;
    }
}

void ISensorController::setVideoStreamModule(const VideoStreamModule* p_pVideoStreamModule)
{
    m_pVideoStreamModule = p_pVideoStreamModule;
}

int ISensorController::getSensorType()
{
    return m_stSysConf.moduleConfig.nModuleId;
}

bool ISensorController::getSensorStatus()
{
    return testFlag(m_bInited);
}

int ISensorController::paramCheck()
{
    // The schedule sits at entries 1 to 4 of every set (start h, start m, end h,
    // end m). Without a scheme in force, or in a set too short to hold a
    // schedule, the missing entries count as 0, which no check accepts.
    u32 anSchedule[5] = {0, 0, 0, 0, 0};
    s32 nScheme = m_nCurScheme;
    if (m_ppUserKeyVal != NULL && nScheme >= 0 && (u32)nScheme <= m_stSysConf.nSchemeSum) {
        const KeyVal* pSet = m_ppUserKeyVal[nScheme];
        for (u32 i = 1; i < 5 && i < m_nKeyValSum; ++i) {
            anSchedule[i] = (u32)pSet[i].value;
        }
    }
    u32 nStart = anSchedule[1] * 100 + anSchedule[2];
    u32 nEnd = anSchedule[3] * 100 + anSchedule[4];
    if (nStart > 2400) {
        return SENSOR_ERR_START_TIME;
    }
    if (nEnd > 2400) {
        return SENSOR_ERR_END_TIME;
    }
    if (nStart < nEnd) {
        return SNS_SUCCESS;
    }
    return SENSOR_ERR_START_NOT_BEFORE_END;
}

void ISensorController::printDebugMsg()
{
}
