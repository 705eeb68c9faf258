// Command handlers: the last step between a parameter key and the library or the video module.
#include "ISensorController.h"

// Lens commands that the zoom/focus lock suppresses.
#define SENSOR_LENS_CMD_FIRST 1536
#define SENSOR_LENS_CMD_LAST 1616

bool ISensorController::isZoomFocusLocked()
{
    std::lock_guard<std::mutex> objGuard(m_objZoomFocusLock);
    return m_objZoomFocusParam.getLockZoomFocusEnable();
}

int ISensorController::doIaCmd(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    // While the PTZ side holds the lens, a lens command counts as done.
    if (p_nKey >= SENSOR_LENS_CMD_FIRST && p_nKey <= SENSOR_LENS_CMD_LAST && isZoomFocusLocked()) {
        return SNS_SUCCESS;
    }
    return ia_ioctrl_v2(m_nCameraID - 1, (ia_cmd_e)p_nKey, p_nDir, p_pVal);
}

int ISensorController::doIaCmd_User(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    // One-shot user actions (lens moves, iris steps, frame rate) must not be
    // replayed while a whole parameter set is being applied.
    if (testFlag(SENSOR_BLOCKING_PHASE)) {
        return SNS_SUCCESS;
    }
    if (KEY_AUTO_FOCUS_ONCE == p_nKey && !m_bHasLens) {
        return SNS_SUCCESS;
    }
    return doIaCmd(p_nKey, p_nDir, p_pVal);
}

int ISensorController::doIaCmdShutter(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    // uinit lets exactly one shutter adjustment through a blocking phase.
    if (!m_bPassShutterCmd && testFlag(SENSOR_BLOCKING_PHASE)) {
        return SNS_SUCCESS;
    }
    m_bPassShutterCmd = false;
    return doIaCmd(p_nKey, p_nDir, p_pVal);
}

int ISensorController::doIoCrtl(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    (void)p_nDir;
    (void)p_pVal;
    if (KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV == p_nKey) {
        // The field of view is always taken from the visible channel 1, whose
        // sensor thread carries the request out. The command is posted before
        // the channel so that a thread seeing its channel also sees the command.
        m_nPassKeycmd = KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV;
        m_nChanneldDosomething = 1;
    }
    return SNS_SUCCESS;
}

int ISensorController::test_debugParam(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    (void)p_nDir;
    notifyToVideo(p_nKey, *(s32*)p_pVal);
    return SNS_SUCCESS;
}

int ISensorController::doHwdr(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    // A stream configuration with limited frames cannot run WDR: the mode is
    // forced off and recorded as off.
    if (!m_bShowWDRFalg) {
        *(s32*)p_pVal = 0;
        return SNS_SUCCESS;
    }
    notifyToVideo(IA_CMD_WDR_SWITCH_BRACKET, 0);
    int nRet = notifyToVideo(p_nKey, *(s32*)p_pVal);
    SENSOR_CHECK(SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal));
    notifyToVideo(IA_CMD_WDR_SWITCH_BRACKET, 1);
    return nRet;
}

int ISensorController::doImageAdjust(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    SENSOR_CHECK(SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal));
    return notifyToVideo(p_nKey, *(s32*)p_pVal);
}

int ISensorController::doDIS(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    SENSOR_CHECK(SNS_SUCCESS == notifyToVideo(p_nKey, *(u32*)p_pVal));
    return doIaCmd(p_nKey, p_nDir, p_pVal);
}

int ISensorController::doIaCmd_PanoTuning(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    (void)p_nDir;
    // Stitching and mixed-stream offsets belong to the video module alone.
    int nKey = p_nKey;
    int nVal = *(s32*)p_pVal;
    SENSOR_CHECK(SNS_SUCCESS == notifyToVideo(nKey, nVal));
    return SNS_SUCCESS;
}

int ISensorController::notifyToVideo(int p_nKey, int p_nValue)
{
    if (m_pVideoStreamModule == NULL) {
        return SNS_SUCCESS;
    }
    // A single-sensor thermal device has one video channel, 1, although its
    // controller runs as channel 2.
    int nChannel = (DeviceType::THERMAL_DEVICE == m_objMachineInfo.getDeviceType()) ? 1 : (int)m_nCameraID;
    return m_pVideoStreamModule->notifySensorParam(nChannel, p_nKey, p_nValue);
}
