// Shutter stepping: the maximum shutter time by position in the library's list of values.
#include <string>

#include "ISensorController.h"
#include "StringHandler.h"

u32 ISensorController::buildShutterList(s32* p_pnList)
{
    int nDef = 0;
    std::string strRange;
    getSensorParamRange(KEY_MAX_SHUTTER, nDef, strRange);

    u32 nCount = 0;
    size_t nBlank = strRange.find(' ');
    while (nBlank != std::string::npos && nCount < SENSOR_SHUTTER_LIST_MAX) {
        p_pnList[nCount++] = StringHandler::str2type<int>(strRange.substr(0, nBlank));
        strRange.erase(0, nBlank + 1);
        nBlank = strRange.find(' ');
    }
    if (nCount < SENSOR_SHUTTER_LIST_MAX && nBlank == std::string::npos && !strRange.empty()) {
        p_pnList[nCount++] = StringHandler::str2type<int>(strRange);
    }
    return nCount;
}

bool ISensorController::findShutterPosition(const s32* p_pnList, u32 p_nCount, u32& p_nIndex)
{
    int nCurrent = 0;
    if (SNS_SUCCESS != doIaCmd(KEY_MAX_SHUTTER, IA_CMD_OPT_GET, &nCurrent)) {
        return false;
    }
    for (u32 i = 0; i < p_nCount; ++i) {
        if (p_pnList[i] == nCurrent) {
            p_nIndex = i;
            return true;
        }
    }
    return false;
}

bool ISensorController::getShutterValue(int& p_nIndex)
{
    s32 anList[SENSOR_SHUTTER_LIST_MAX];
    u32 nCount = buildShutterList(anList);
    u32 nIndex = 0;
    if (!findShutterPosition(anList, nCount, nIndex)) {
        return false;
    }
    p_nIndex = (int)nIndex;
    return true;
}

bool ISensorController::setShutterValue(int p_nIndex)
{
    s32 anList[SENSOR_SHUTTER_LIST_MAX];
    u32 nCount = buildShutterList(anList);
    if (0 == nCount || p_nIndex < 0 || (u32)p_nIndex >= nCount) {
        return false;
    }
    return SNS_SUCCESS == setParameter(KEY_MAX_SHUTTER, anList[p_nIndex], true);
}

bool ISensorController::shutterUp()
{
    s32 anList[SENSOR_SHUTTER_LIST_MAX];
    u32 nCount = buildShutterList(anList);
    u32 nIndex = 0;
    if (!findShutterPosition(anList, nCount, nIndex)) {
        return false;
    }
    // At the end of the list the current value is set again.
    s32 nNew = nIndex + 1 < nCount ? anList[nIndex + 1] : anList[nIndex];
    return SNS_SUCCESS == setParameter(KEY_MAX_SHUTTER, nNew, true);
}

bool ISensorController::shutterDown()
{
    s32 anList[SENSOR_SHUTTER_LIST_MAX];
    u32 nCount = buildShutterList(anList);
    u32 nIndex = 0;
    if (!findShutterPosition(anList, nCount, nIndex)) {
        return false;
    }
    s32 nNew = nIndex > 0 ? anList[nIndex - 1] : anList[nIndex];
    return SNS_SUCCESS == setParameter(KEY_MAX_SHUTTER, nNew, true);
}
