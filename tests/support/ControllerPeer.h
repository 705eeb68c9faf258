// Test-only access to a controller's private state (the class befriends this peer).
#ifndef TESTS_SUPPORT_CONTROLLERPEER_H
#define TESTS_SUPPORT_CONTROLLERPEER_H

#include <cstdlib>
#include <vector>

#include "ISensorController.h"

class ISensorControllerTestPeer {
public:
    static const u32 kInitializing = ISensorController::m_bInitializing;
    static const u32 kUninitializing = ISensorController::m_bUninitializing;
    static const u32 kInited = ISensorController::m_bInited;
    static const u32 kResetting = ISensorController::m_bResetting;
    static const u32 kResettingToLast = ISensorController::m_bResettingToLast;
    static const u32 kSwitching = ISensorController::m_bSwitching;

    static u32 flags(const ISensorController& c) { return c.m_nFlagWord.load(); }
    static void setFlags(ISensorController& c, u32 mask) { c.setFlag(mask); }
    static void clearFlags(ISensorController& c, u32 mask) { c.clearFlag(mask); }

    static SysConfig& sysConf(ISensorController& c) { return c.m_stSysConf; }
    static u32& cameraId(ISensorController& c) { return c.m_nCameraID; }
    static PLMutex& mutex(ISensorController& c) { return c.m_objMutex; }
    static GThread* thread(ISensorController& c) { return c.m_pSensorThread; }
    static std::atomic<s32>& lastScheme(ISensorController& c) { return c.m_nLastScheme; }
    static std::atomic<s32>& curScheme(ISensorController& c) { return c.m_nCurScheme; }
    static std::atomic<s32>& paramMode(ISensorController& c) { return c.m_nParamMode; }
    static KeyVal**& userKeyVal(ISensorController& c) { return c.m_ppUserKeyVal; }
    static KeyVal*& keyValTmp(ISensorController& c) { return c.m_pstKeyValTmp; }
    static u32& keyValSum(ISensorController& c) { return c.m_nKeyValSum; }
    static KeyVal*& keyValWork(ISensorController& c) { return c.m_pstKeyValWork; }
    static keycmd*& keyCmdMap(ISensorController& c) { return c.m_pKeyCmdMap; }
    static u32& keyCmdSum(ISensorController& c) { return c.m_nKeyCmdSum; }
    static u32& lastSchedule(ISensorController& c) { return c.m_nLastSchedule; }
    static bool& lprMode(ISensorController& c) { return c.m_bLprMode; }
    static std::atomic<bool>& showWdr(ISensorController& c) { return c.m_bShowWDRFalg; }
    static std::atomic<bool>& timeScheme(ISensorController& c) { return c.m_bTimeScheme; }
    static std::atomic<bool>& dnScheme(ISensorController& c) { return c.m_bDNScheme; }
    static bool& limitedIrPower(ISensorController& c) { return c.m_bisLimitedIrPower; }
    static bool& hasLens(ISensorController& c) { return c.m_bHasLens; }
    static std::atomic<bool>& passShutterCmd(ISensorController& c) { return c.m_bPassShutterCmd; }
    static bool& thermal(ISensorController& c) { return c.m_bThermal; }
    static SensorZoomFocusParam& zoomFocus(ISensorController& c) { return c.m_objZoomFocusParam; }

    // Installs parameter sets laid out as init lays them out: one block of
    // (schemes + 1) runs of the same length and a pointer array; the last set
    // is the factory set. Every set must have the same length.
    static void installSets(ISensorController& c, const std::vector<std::vector<KeyVal>>& sets)
    {
        std::free(c.m_ppUserKeyVal != nullptr ? c.m_ppUserKeyVal[0] : nullptr);
        std::free(c.m_ppUserKeyVal);
        const u32 count = static_cast<u32>(sets.size());
        const u32 length = count == 0 ? 0 : static_cast<u32>(sets[0].size());
        KeyVal* block = count == 0 ? nullptr : static_cast<KeyVal*>(std::calloc(count * length + 1, sizeof(KeyVal)));
        KeyVal** table = count == 0 ? nullptr : static_cast<KeyVal**>(std::calloc(count, sizeof(KeyVal*)));
        for (u32 i = 0; i < count; ++i) {
            table[i] = block + i * length;
            for (u32 j = 0; j < length; ++j) table[i][j] = sets[i][j];
        }
        c.m_ppUserKeyVal = table;
        c.m_nKeyValSum = length;
        c.m_stSysConf.nSchemeSum = count == 0 ? 0 : count - 1;
        c.m_pFctKeyVal = count == 0 ? nullptr : table[count - 1];
    }

    static void buildTable(ISensorController& c)
    {
        std::free(c.m_pKeyCmdMap);
        c.initKeyCmdMap();
    }

    // What uinit would release; tests that install state without init call it.
    static void releaseAll(ISensorController& c)
    {
        installSets(c, {});
        std::free(c.m_pKeyCmdMap);
        c.m_pKeyCmdMap = nullptr;
    }

    static std::vector<KeyVal> set(ISensorController& c, u32 scheme)
    {
        return std::vector<KeyVal>(c.m_ppUserKeyVal[scheme], c.m_ppUserKeyVal[scheme] + c.m_nKeyValSum);
    }
};

using Peer = ISensorControllerTestPeer;

#endif
