// The sensor module's exported class, its records and the module-wide flags.
#ifndef MODULE_ISENSORCONTROLLER_H
#define MODULE_ISENSORCONTROLLER_H

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "GThread.h"
#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "PLMutex.h"
#include "PLRuntimeError.h"
#include "PLTypes.h"
#include "SensorApi.h"
#include "SensorDebug.h"
#include "SensorKeys.h"
#include "SensorZoomFocusParam.h"
#include "VideoStreamModule.h"
#include "ia_ioctrl.h"

#define SENSOR_MACHINE_INFO_FILE "/mnt/mtd/code/factory_setting/machineinfo.ini"

// Schedule results of paramCheck.
// Maximum shutter values offered for stepping.
#define SENSOR_SHUTTER_LIST_MAX 30

#define SENSOR_ERR_START_TIME 505
#define SENSOR_ERR_END_TIME 506
#define SENSOR_ERR_START_NOT_BEFORE_END 507

// One image parameter; a parameter set is an array of these in style order,
// and the parameter files hold exactly this memory image.
struct KeyVal {
    u32 key;
    s32 value;
};

class ISensorController;
class SensorKeyIndex;
typedef int (ISensorController::*SensorCmdHandler)(u32 p_nKey, u32 p_nDir, void* p_pVal);

// Rows of the key-command table.
#define KEYCMD_ROW_SUM 156
#define KEYCMD_KEY_NAME_LEN 32
#define KEYCMD_FUNC_NAME_LEN 64

// One row of the key-command table. The name fields are fixed-size; a key name
// of 32 characters or more fills its field without a terminator.
struct keycmd {
    u32 key;
    u32 cmd;
    SensorCmdHandler func;
    char szKeyName[KEYCMD_KEY_NAME_LEN];
    char szFuncName[KEYCMD_FUNC_NAME_LEN];
};

#define MODULE_PARAMETERS_LEN 256
#define MODULE_DETAIL_LEN 512

struct ModuleConfig {
    s32 nModuleId;
    char szParameters[MODULE_PARAMETERS_LEN];
    char szDetail[MODULE_DETAIL_LEN];
};

struct UIFile {
    u32 nId;
    char* szLanguage;
    char* szCommon;
};

struct SysConfig {
    ModuleConfig moduleConfig;
    u32 nSchemeSum;
    u32 nUIFileSum;
    UIFile* pUIFile;
    char* szUIStyle;
    u32 nDeviceType;
};

class ISensorControllerTestPeer;

class SENSOR_API ISensorController {
public:
    ISensorController();
    ~ISensorController();

    bool init(const ModuleConfigure& p_objModuleConfigure);
    void uinit();
    bool resetParameters();

    void setChannelID(int p_nChannelID);
    void setVideoStreamModule(const VideoStreamModule* p_pVideoStreamModule);
    int getSensorType();
    bool getSensorStatus();
    int paramCheck();
    void printDebugMsg();

    // Body of one sensor-thread pass; the thread calls it over and over.
    int sensorThread();
    bool sync_fov();

    // Command handlers: (command, option, value) -> 0 on success.
    int doIaCmd(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doIaCmd_User(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doIaCmdShutter(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doIoCrtl(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int test_debugParam(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doHwdr(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doImageAdjust(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doDIS(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doIaCmd_PanoTuning(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doMirror(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doBeaway(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doDNThr(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doDNTime(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int notifyToVideo(int p_nKey, int p_nValue);

    // The parameter sets of the schemes are the record of the values in force.
    int setKeyValToCache(u32 p_nScheme, u32 p_nKey, u32 p_nVal, bool p_bForce);
    int getKeyValFromCache(u32 p_nScheme, u32 p_nKey, u32& p_nVal);
    bool isKeyValSame(const KeyVal& p_stKeyVal);

    int findFromKeyCmdMap(keycmd* p_pKeyCmdMap, u32 p_nKey, keycmd& p_stKeyCmd);

    // Applies p_nCount entries; the caller holds m_objMutex (or runs before the
    // sensor thread exists). 0, or the negated key that stopped the walk.
    int setParameters(KeyVal* p_pKeyval, u32 p_nCount, bool p_bSave);

    // Single parameters.
    bool getParameter(int p_nKey, int& p_nVal);
    int setParameter(int p_nKey, int p_nVal, bool p_bSave);
    bool setDNMode(int p_nVal);
    bool getDNMode(int& p_nVal);
    bool setWDRSwitch(int& p_nVal);
    bool getWDRSwitch(int& p_nVal);
    bool setWDRStrength(int& p_nVal);
    bool getWDRStrength(int& p_nVal);
    bool setHLCSwitch(int& p_nVal);
    bool getHLCSwitch(int& p_nVal);
    bool setHLCStrength(int& p_nVal);
    bool getHLCStrength(int& p_nVal);
    bool setBLCSwitch(int& p_nVal);
    bool getBLCSwitch(int& p_nVal);
    bool setBLCStrength(int& p_nVal);
    bool getBLCStrength(int& p_nVal);
    bool setDefogSwitch(int& p_nVal);
    bool getDefogSwitch(int& p_nVal);
    bool setDefogStrength(int& p_nVal);
    bool getDefogStrength(int& p_nVal);
    bool set2DSwitch(int& p_nVal);
    bool get2DSwitch(int& p_nVal);
    bool set2DMode(int& p_nVal);
    bool get2DMode(int& p_nVal);
    bool set2DAutoMaxStrength(int& p_nVal);
    bool get2DAutoMaxStrength(int& p_nVal);
    bool set2DManualMaxStrength(int& p_nVal);
    bool get2DManualMaxStrength(int& p_nVal);
    bool set3DSwitch(int& p_nVal);
    bool get3DSwitch(int& p_nVal);
    bool set3DMode(int& p_nVal);
    bool get3DMode(int& p_nVal);
    bool set3DAutoMaxStrength(int& p_nVal);
    bool get3DAutoMaxStrength(int& p_nVal);
    bool set3DManualMaxStrength(int& p_nVal);
    bool get3DManualMaxStrength(int& p_nVal);
    bool setBeaway(int& p_nVal);
    bool getBeaway(int& p_nVal);
    bool getMirrorValue(int& p_nVal);
    void setShowWDRFalg(bool p_bShow);
    bool getShowWDRFalg(bool& p_bShow);
    void setShowBeawayFalg(bool p_bShow);
    bool getShowBeawayFalg(bool& p_bShow);

    // Schemes.
    int switch_to(int p_nScheme, bool p_bForce = false);
    int LPR_switch_to(int p_nScheme);
    int judgeCurScheme(int& nScheme, int& nSchedule);
    bool setParamScheme(int p_nScheme);
    bool getParamScheme(int& p_nScheme);
    bool setParamMode(int p_nMode);
    bool getParamMode(int& p_nMode);

    // Lens and light controls.
    bool focusFar();
    bool focusNear();
    bool irisUp();
    bool irisDown();
    bool zoomIn();
    bool zoomOut();
    bool getZoomValue(int& p_nPosition, int& p_nRatio);
    bool setZoomValue(int p_nVal);
    bool setPTZRunState(int p_nVal);
    bool setFocusValue(int p_nVal);
    bool getFocusValue(int& p_nVal);
    bool setFocusMode(int p_nVal);
    bool getFocusMode(int& p_nVal);
    bool setDNState(int p_nVal);
    bool getDNState(int& p_nVal);
    bool getAFStatistic(unsigned& p_nVal);
    bool getWDR(int& p_nVal);
    bool setExposureStrategy(int& p_nVal);
    bool getCmdExecStatus(int p_nCmd, int& p_nStatus);
    bool getIRSwitch(int& p_nVal);
    bool setIRSwitch(int p_nVal);
    bool getWhiteSwitch(int& p_nVal);
    bool setWhiteSwitch(int p_nVal);
    bool setWhiteMode(int p_nVal);
    bool getWhiteMode(int& p_nVal);
    bool setLightType(int p_nVal);
    bool getLightType(int& p_nVal);
    bool getIrisValue(int& p_nVal);
    bool setIrisValue(int p_nVal);
    bool getHeatStatus(bool& p_bVal);
    bool getTempValue(int& p_nVal);
    int getSensorZoomFocusParam(SensorZoomFocusParam& p_objParam);
    int setSensorZoomFocusParam(SensorZoomFocusParam& p_objParam);

    // Restore, reset and saving.
    int flush();
    bool resetToLastParameters();
    int restore(int p_nKey);
    bool restoreAeMode();
    bool setMirrorMode(int p_nVal);

    // Parameter strings, ranges and queries.
    bool getAllParameters(std::string& p_strOut);
    int setParameters(const std::string& p_strParameters, bool p_bSave);
    bool getParameters(const std::string& p_strIds, std::string& p_strOut);
    bool parseSensorParameter(const std::string& p_strText, std::vector<std::string>& p_vecItems);
    bool getSensorParamRange(int p_nCmd, int& p_nDef, std::string& p_strRange);
    int SensorCheck(std::string& p_strParameters);
    bool getCameraVerInf(std::string& p_strVersion);

    // Shutter stepping through the library's list of maximum shutter values.
    bool getShutterValue(int& p_nIndex);
    bool setShutterValue(int p_nIndex);
    bool shutterUp();
    bool shutterDown();

    // UI style texts.
    std::string getUIStyleFile();
    std::string getUICommonFile(int p_nId);
    std::string getUILanguageFile(int p_nId);

    // A key command handed from one channel to another channel's sensor thread.
    static std::atomic<s32> m_nPassKeycmd;
    static std::atomic<s32> m_nChanneldDosomething;

private:
    friend class ISensorControllerTestPeer;

    // The cache functions, their look-ups served by a long apply's key index when one is given.
    int setKeyValToCache(u32 p_nScheme, u32 p_nKey, u32 p_nVal, bool p_bForce, SensorKeyIndex* p_pIndex);
    int getKeyValFromCache(u32 p_nScheme, u32 p_nKey, u32& p_nVal, SensorKeyIndex* p_pIndex);
    bool isKeyValSame(const KeyVal& p_stKeyVal, SensorKeyIndex* p_pIndex);

    ISensorController(const ISensorController&);
    ISensorController& operator=(const ISensorController&);

    // Bits of the flag word. Host threads and the sensor thread read the word
    // without the controller lock, so it is one atomic 32-bit word.
    enum : u32 {
        m_bInitializing = 1u << 0,
        m_bUninitializing = 1u << 1,
        m_bInited = 1u << 2,
        m_bResetting = 1u << 3,
        m_bResettingToLast = 1u << 4,
        m_bSwitching = 1u << 5,
    };
    // User commands are refused while any of these runs.
    static const u32 SENSOR_BLOCKING_PHASE = m_bInitializing | m_bResetting | m_bResettingToLast | m_bSwitching;
    // The sensor thread switches nothing while any of these runs.
    static const u32 SENSOR_BUSY = m_bResetting | m_bResettingToLast | m_bSwitching;

    // Builds the key-command table (start-up); m_nKeyCmdSum then holds its row count.
    void initKeyCmdMap();
    bool isZoomFocusLocked();
    bool isSchemeIndexValid(int p_nScheme);
    bool isUserScheme(int p_nScheme);
    // One pass of the sensor thread. The pass that init runs itself must make
    // the first choice, so it waits for the controller lock instead of
    // skipping the pass when a host operation holds it.
    int runSensorPass(bool p_bInitPass);
    // The automatic switch of one pass, by day/night state or time of day.
    void switchByState();
    // Scheme chosen by the day/night state: 0 by day, 1 by night.
    int dayNightScheme();
    // Host operations that switch wait for a running switch of the sensor thread.
    void waitWhileBusy();
    bool sendValue(u32 p_nCmd, s32 p_nVal);
    // Parameter file of a scheme of this channel.
    void schemeFileName(int p_nScheme, char* p_szName, u32 p_nSize);
    // Removes the channel's parameter files through the shell.
    void deleteParamFiles();
    // The library's maximum shutter values (at most SENSOR_SHUTTER_LIST_MAX), and
    // the position of the value in force among them.
    u32 buildShutterList(s32* p_pnList);
    bool findShutterPosition(const s32* p_pnList, u32 p_nCount, u32& p_nIndex);
    const UIFile* findUIFile(int p_nId);
    bool readValue(u32 p_nCmd, int& p_nVal);

    bool testFlag(u32 p_nMask) const { return (m_nFlagWord.load() & p_nMask) != 0; }
    void setFlag(u32 p_nMask) { m_nFlagWord.fetch_or(p_nMask); }
    void clearFlag(u32 p_nMask) { m_nFlagWord.fetch_and(~p_nMask); }

    SysConfig m_stSysConf;
    u32 m_nCameraID;
    PLMutex m_objMutex;
    GThread* m_pSensorThread;
    std::atomic<s32> m_nLastScheme;
    std::atomic<s32> m_nCurScheme;
    std::atomic<s32> m_nParamMode;
    KeyVal** m_ppUserKeyVal;
    KeyVal* m_pstKeyValTmp;
    KeyVal* m_pFctKeyVal;
    u32 m_nKeyValSum;
    KeyVal* m_pstKeyValWork;
    keycmd* m_pKeyCmdMap;
    u32 m_nVersion;
    const VideoStreamModule* m_pVideoStreamModule;
    MachineInfo m_objMachineInfo;
    std::atomic<u32> m_nFlagWord;
    u32 m_nKeyCmdSum;
    u32 m_nLastSchedule;
    bool m_bLprMode;
    std::atomic<bool> m_bShowWDRFalg;
    std::atomic<bool> m_bTimeScheme;
    std::atomic<bool> m_bDNScheme;
    bool m_bisLimitedIrPower;
    bool m_bHasLens;
    std::atomic<bool> m_bPassShutterCmd;
    bool m_bThermal;
    SensorZoomFocusParam m_objZoomFocusParam;
    // The host may replace the zoom/focus record from any thread while a
    // command is being sent; this guards the record alone.
    std::mutex m_objZoomFocusLock;
};

// Visibility of the beaway items in the UI style, one flag for the whole process.
extern SENSOR_API std::atomic<bool> g_bShoWBeawayFalg;
SENSOR_API void setshowBeawayFalg(bool p_bShow);
SENSOR_API bool getshowBeawayFalg();

#endif
