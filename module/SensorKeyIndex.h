// Internal: positions of keys in the parameter sets that a long apply looks into.
#ifndef MODULE_SENSORKEYINDEX_H
#define MODULE_SENSORKEYINDEX_H

#include "ISensorController.h"

// First position of the key in the set, or -1. Every look-up of a key in a
// parameter set answers what this search answers: the first entry wins.
inline int findKeyInSet(const KeyVal* p_pSet, u32 p_nCount, u32 p_nKey)
{
    for (u32 i = 0; i < p_nCount; ++i) {
        if (p_pSet[i].key == p_nKey) {
            return (int)i;
        }
    }
    return -1;
}

// A whole set applied at once (a switch, a restore, a pair list) looks each of
// its keys up in the set in force, to skip unchanged values and to record the
// new ones: a linear search each, quadratic in the length of the set. The
// apply finds them through this instead: per set looked into, a small hash
// table of first positions (built at the first look, on the applying thread's
// stack), and before it the entry after the last one found, which is where a
// set applied in its own order finds every key. Only positions are kept; the
// values are read from and written to the sets themselves. Keys of a set
// change only when init loads it, never while a set is applied.
class SensorKeyIndex {
public:
    // An inactive index searches linearly: for short applies the tables cost more than the searches.
    explicit SensorKeyIndex(bool p_bActive) : m_bActive(p_bActive), m_nTables(0), m_pLast(NULL) {}

    // findKeyInSet's answer.
    int find(const KeyVal* p_pSet, u32 p_nCount, u32 p_nKey)
    {
        Table* pTable = m_pLast;
        // In a set without repeated keys, an entry with the key is the first one.
        if (pTable != NULL && pTable->pSet == p_pSet && pTable->nCount == p_nCount && pTable->bUnique &&
            pTable->nNext < p_nCount && p_pSet[pTable->nNext].key == p_nKey) {
            return (int)pTable->nNext++;
        }
        return findInTable(p_pSet, p_nCount, p_nKey);
    }

private:
    SensorKeyIndex(const SensorKeyIndex&);
    SensorKeyIndex& operator=(const SensorKeyIndex&);

    // Room for twice the largest set (160 entries): probes stay short.
    static const u32 SLOT_BITS = 9;
    static const u32 SLOTS = 1u << SLOT_BITS;
    static const u32 TABLES = 2;  // the set in force and, during a switch, the one before it

    struct Table {
        const KeyVal* pSet;
        u32 nCount;
        bool bUnique;                  // no key appears twice in the set
        u32 nNext;                     // the entry after the last one found
        unsigned short anSlot[SLOTS];  // position + 1; 0 is an empty slot
    };

    int findInTable(const KeyVal* p_pSet, u32 p_nCount, u32 p_nKey);
    Table* tableFor(const KeyVal* p_pSet, u32 p_nCount);
    static u32 slotOf(u32 p_nKey);

    bool m_bActive;
    u32 m_nTables;
    Table* m_pLast;  // the table of the last look-up
    Table m_astTables[TABLES];
};

// The cache functions with an apply's index: defined here so that the apply's
// loop inlines them, as it did the look-ups they make.
inline int sensorFindKey(SensorKeyIndex* p_pIndex, const KeyVal* p_pSet, u32 p_nCount, u32 p_nKey)
{
    return p_pIndex != NULL ? p_pIndex->find(p_pSet, p_nCount, p_nKey) : findKeyInSet(p_pSet, p_nCount, p_nKey);
}

inline int ISensorController::setKeyValToCache(u32 p_nScheme, u32 p_nKey, u32 p_nVal, bool p_bForce,
                                                SensorKeyIndex* p_pIndex)
{
    if (!p_bForce && p_nScheme >= m_stSysConf.nSchemeSum) {
        return -2;
    }
    // Forced writes may reach the factory set, never past it.
    if (m_ppUserKeyVal == NULL || p_nScheme > m_stSysConf.nSchemeSum) {
        return -1;
    }
    KeyVal* pSet = m_ppUserKeyVal[p_nScheme];
    const int nPos = sensorFindKey(p_pIndex, pSet, m_nKeyValSum, p_nKey);
    if (nPos >= 0) {
        pSet[nPos].value = (s32)p_nVal;
    }
    return nPos;
}

inline int ISensorController::getKeyValFromCache(u32 p_nScheme, u32 p_nKey, u32& p_nVal, SensorKeyIndex* p_pIndex)
{
    if (p_nScheme > m_stSysConf.nSchemeSum) {
        SENSOR_TRACE(SENSOR_COLOR_NONE, "can not find val, invalid sheme(%d) \n", p_nScheme);
        return -1;
    }
    if (m_ppUserKeyVal == NULL) {
        return -1;
    }
    const KeyVal* pSet = m_ppUserKeyVal[p_nScheme];
    const int nPos = sensorFindKey(p_pIndex, pSet, m_nKeyValSum, p_nKey);
    if (nPos >= 0) {
        p_nVal = (u32)pSet[nPos].value;
    }
    return nPos;
}

inline bool ISensorController::isKeyValSame(const KeyVal& p_stKeyVal, SensorKeyIndex* p_pIndex)
{
    // During a switch m_nCurScheme already names the set being applied; the
    // values in force are those of the scheme before it.
    s32 nScheme = testFlag(m_bSwitching) ? m_nLastScheme.load() : m_nCurScheme.load();
    u32 nVal = (u32)-1;
    if (-1 == getKeyValFromCache((u32)nScheme, p_stKeyVal.key, nVal, p_pIndex)) {
        return false;
    }
    return (s32)nVal == p_stKeyVal.value;
}

#endif
