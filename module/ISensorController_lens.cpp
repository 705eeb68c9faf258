// Lens and light controls: zoom, focus, iris, day/night state and the two illuminators.
#include "ISensorController.h"

namespace {

// Zoom positions of the magnifications 1x to 16x.
const u32 s_anZoomRatioTable[16] = {16384, 24576, 27264, 28672, 29056, 29440, 29728, 30016,
                                    30208, 30400, 30560, 30720, 30912, 31104, 31232, 31424};

const s32 SENSOR_EXPOSE_MODE_IRIS = 3;
const s32 SENSOR_FOCUS_MODE_MANUAL = 1;
const s32 SENSOR_IRIS_MIN = 256;
const s32 SENSOR_IRIS_MAX = 25600;
// Above the largest iris step the library expects its "fully open" code.
const s32 SENSOR_IRIS_OPEN = 0x100000;
const u32 SENSOR_LIGHT_TYPE_MAX = 3;

}  // namespace

bool ISensorController::sendValue(u32 p_nCmd, s32 p_nVal)
{
    return SNS_SUCCESS == doIaCmd(p_nCmd, IA_CMD_OPT_SET, &p_nVal);
}

bool ISensorController::readValue(u32 p_nCmd, int& p_nVal)
{
    return SNS_SUCCESS == doIaCmd(p_nCmd, IA_CMD_OPT_GET, &p_nVal);
}

bool ISensorController::focusFar()
{
    if (!m_bHasLens) {
        return true;
    }
    sendValue(IA_CMD_AUTO_FOCUS_MODE, SENSOR_FOCUS_MODE_MANUAL);
    return sendValue(IA_CMD_FOCUS_FAR, 1);
}

bool ISensorController::focusNear()
{
    if (!m_bHasLens) {
        return true;
    }
    sendValue(IA_CMD_AUTO_FOCUS_MODE, SENSOR_FOCUS_MODE_MANUAL);
    return sendValue(IA_CMD_FOCUS_NEAR, 1);
}

bool ISensorController::irisUp()
{
    if (!sendValue(IA_CMD_EXPOSE_MODE, SENSOR_EXPOSE_MODE_IRIS)) {
        return false;
    }
    return sendValue(IA_CMD_IRIS_UP, 1);
}

bool ISensorController::irisDown()
{
    if (!sendValue(IA_CMD_EXPOSE_MODE, SENSOR_EXPOSE_MODE_IRIS)) {
        return false;
    }
    return sendValue(IA_CMD_IRIS_DOWN, 1);
}

bool ISensorController::zoomIn()
{
    return sendValue(IA_CMD_ZOOM_IN, 1);
}

bool ISensorController::zoomOut()
{
    return sendValue(IA_CMD_ZOOM_OUT, 1);
}

bool ISensorController::getZoomValue(int& p_nPosition, int& p_nRatio)
{
    if (!m_bHasLens) {
        p_nPosition = 0;
        return true;
    }
    if (!readValue(IA_CMD_MZ_POSITION, p_nPosition)) {
        return false;
    }
    // Ratio in thousandths, interpolated between the table's magnifications
    // and rounded up to the next thousandth; past 16x it is left as it was.
    u32 nPosition = (u32)p_nPosition;
    if (nPosition <= s_anZoomRatioTable[0]) {
        p_nRatio = 1000;
        return true;
    }
    for (u32 i = 0; i < 15; ++i) {
        u32 nLow = s_anZoomRatioTable[i];
        u32 nHigh = s_anZoomRatioTable[i + 1];
        if (nLow < nPosition && nPosition <= nHigh) {
            p_nRatio = (int)(1000 * (i + 2) - (nHigh - nPosition) * 1000 / (nHigh - nLow));
            break;
        }
    }
    return true;
}

bool ISensorController::setZoomValue(int p_nVal)
{
    return !m_bHasLens || sendValue(IA_CMD_MZ_POSITION, p_nVal);
}

bool ISensorController::setPTZRunState(int p_nVal)
{
    return !m_bHasLens || sendValue(IA_CMD_PTZ_RUN_STATE, p_nVal);
}

bool ISensorController::setFocusValue(int p_nVal)
{
    return !m_bHasLens || sendValue(IA_CMD_MF_POSITION, p_nVal);
}

bool ISensorController::getFocusValue(int& p_nVal)
{
    if (!m_bHasLens) {
        p_nVal = 0;
        return true;
    }
    return readValue(IA_CMD_MF_POSITION, p_nVal);
}

bool ISensorController::setFocusMode(int p_nVal)
{
    return sendValue(IA_CMD_AUTO_FOCUS_MODE, p_nVal);
}

bool ISensorController::getFocusMode(int& p_nVal)
{
    return readValue(IA_CMD_AUTO_FOCUS_MODE, p_nVal);
}

bool ISensorController::setDNState(int p_nVal)
{
    return sendValue(IA_CMD_DN_STATE, p_nVal);
}

bool ISensorController::getDNState(int& p_nVal)
{
    return readValue(IA_CMD_DN_STATE, p_nVal);
}

bool ISensorController::getAFStatistic(unsigned& p_nVal)
{
    return SNS_SUCCESS == doIaCmd(IA_CMD_AF_STATISTIC, IA_CMD_OPT_GET, &p_nVal);
}

bool ISensorController::getWDR(int& p_nVal)
{
    return readValue(IA_CMD_WDR_MODE, p_nVal);
}

bool ISensorController::setExposureStrategy(int& p_nVal)
{
    return SNS_SUCCESS == doIaCmd(IA_CMD_EXPOSURE_STRATEGY, IA_CMD_OPT_SET, &p_nVal);
}

bool ISensorController::getCmdExecStatus(int p_nCmd, int& p_nStatus)
{
    return SNS_SUCCESS == doIaCmd((u32)p_nCmd, IA_CMD_OPT_GET_EXEC_STATUS, &p_nStatus);
}

bool ISensorController::getIRSwitch(int& p_nVal)
{
    return readValue(IA_CMD_IR_SWITCH, p_nVal);
}

bool ISensorController::setIRSwitch(int p_nVal)
{
    // Infrared and white light are never on together.
    if (1 == p_nVal) {
        int nWhite = 0;
        if (!getWhiteSwitch(nWhite)) {
            return false;
        }
        if (1 == nWhite && !setWhiteSwitch(0)) {
            return false;
        }
    }
    return SNS_SUCCESS == setParameter(KEY_IR_SWITCH, p_nVal, true);
}

bool ISensorController::getWhiteSwitch(int& p_nVal)
{
    return readValue(IA_CMD_WHITE_SWITCH, p_nVal);
}

bool ISensorController::setWhiteSwitch(int p_nVal)
{
    if (1 == p_nVal) {
        int nIr = 0;
        if (!getIRSwitch(nIr)) {
            return false;
        }
        if (1 == nIr && !setIRSwitch(0)) {
            return false;
        }
    }
    return SNS_SUCCESS == setParameter(KEY_WHITE_SWITCH, p_nVal, true);
}

bool ISensorController::setWhiteMode(int p_nVal)
{
    return SNS_SUCCESS == setParameter(KEY_WHITE_MODE, p_nVal, true);
}

bool ISensorController::getWhiteMode(int& p_nVal)
{
    return readValue(IA_CMD_WHITE_MODE, p_nVal);
}

bool ISensorController::setLightType(int p_nVal)
{
    if ((u32)p_nVal > SENSOR_LIGHT_TYPE_MAX) {
        return false;
    }
    return SNS_SUCCESS == setParameter(KEY_LIGHT_TYPE, p_nVal, true);
}

bool ISensorController::getLightType(int& p_nVal)
{
    return readValue(IA_CMD_LIGHT_TYPE, p_nVal);
}

bool ISensorController::getIrisValue(int& p_nVal)
{
    return readValue(IA_CMD_IRIS_POSITION, p_nVal);
}

bool ISensorController::setIrisValue(int p_nVal)
{
    s32 nIris = p_nVal;
    if (nIris <= SENSOR_IRIS_MIN - 1) {
        nIris = SENSOR_IRIS_MIN;
    } else if (nIris > SENSOR_IRIS_MAX) {
        nIris = SENSOR_IRIS_OPEN;
    }
    if (!sendValue(IA_CMD_EXPOSE_MODE, SENSOR_EXPOSE_MODE_IRIS)) {
        return false;
    }
    return sendValue(IA_CMD_IRIS_POSITION, nIris);
}

bool ISensorController::getHeatStatus(bool& p_bVal)
{
    // The library answers a full word; a bool would not hold it.
    s32 nHeat = 0;
    if (SNS_SUCCESS != doIaCmd(IA_CMD_HEAT_STATUS, IA_CMD_OPT_GET, &nHeat)) {
        return false;
    }
    p_bVal = (0 != nHeat);
    return true;
}

bool ISensorController::getTempValue(int& p_nVal)
{
    return readValue(IA_CMD_TEMPERATURE, p_nVal);
}

int ISensorController::getSensorZoomFocusParam(SensorZoomFocusParam& p_objParam)
{
    std::lock_guard<std::mutex> objGuard(m_objZoomFocusLock);
    p_objParam = m_objZoomFocusParam;
    return 0;
}

int ISensorController::setSensorZoomFocusParam(SensorZoomFocusParam& p_objParam)
{
    std::lock_guard<std::mutex> objGuard(m_objZoomFocusLock);
    m_objZoomFocusParam = p_objParam;
    return 0;
}
