// Value cache: single entries of the schemes' parameter sets, by scheme index and key.
#include "ISensorController.h"

#include <string.h>

#include "SensorKeyIndex.h"

int ISensorController::setKeyValToCache(u32 p_nScheme, u32 p_nKey, u32 p_nVal, bool p_bForce)
{
    return setKeyValToCache(p_nScheme, p_nKey, p_nVal, p_bForce, NULL);
}

int ISensorController::getKeyValFromCache(u32 p_nScheme, u32 p_nKey, u32& p_nVal)
{
    return getKeyValFromCache(p_nScheme, p_nKey, p_nVal, NULL);
}

bool ISensorController::isKeyValSame(const KeyVal& p_stKeyVal)
{
    return isKeyValSame(p_stKeyVal, NULL);
}

// ---------------------------------------------------------------- key index of long applies

// Multiplicative hashing: the top bits of the product mix all bits of the key.
u32 SensorKeyIndex::slotOf(u32 p_nKey)
{
    return (p_nKey * 2654435761u) >> (32 - SLOT_BITS);
}

SensorKeyIndex::Table* SensorKeyIndex::tableFor(const KeyVal* p_pSet, u32 p_nCount)
{
    for (u32 t = 0; t < m_nTables; ++t) {
        if (m_astTables[t].pSet == p_pSet && m_astTables[t].nCount == p_nCount) {
            return &m_astTables[t];
        }
    }
    if (!m_bActive || m_nTables == TABLES || p_nCount > SLOTS / 2) {
        return NULL;
    }
    Table& stTable = m_astTables[m_nTables++];
    stTable.pSet = p_pSet;
    stTable.nCount = p_nCount;
    stTable.bUnique = true;
    stTable.nNext = 0;
    memset(stTable.anSlot, 0, sizeof(stTable.anSlot));
    for (u32 i = 0; i < p_nCount; ++i) {
        u32 nSlot = slotOf(p_pSet[i].key);
        while (stTable.anSlot[nSlot] != 0 && p_pSet[stTable.anSlot[nSlot] - 1].key != p_pSet[i].key) {
            nSlot = (nSlot + 1) & (SLOTS - 1);
        }
        if (stTable.anSlot[nSlot] == 0) {
            stTable.anSlot[nSlot] = (unsigned short)(i + 1);
        } else {
            // A key that is already there keeps its first position.
            stTable.bUnique = false;
        }
    }
    return &stTable;
}

int SensorKeyIndex::findInTable(const KeyVal* p_pSet, u32 p_nCount, u32 p_nKey)
{
    Table* pTable = tableFor(p_pSet, p_nCount);
    if (pTable == NULL) {
        return findKeyInSet(p_pSet, p_nCount, p_nKey);
    }
    m_pLast = pTable;
    for (u32 nSlot = slotOf(p_nKey);; nSlot = (nSlot + 1) & (SLOTS - 1)) {
        const u32 nEntry = pTable->anSlot[nSlot];
        if (nEntry == 0) {
            return -1;
        }
        if (p_pSet[nEntry - 1].key == p_nKey) {
            pTable->nNext = nEntry;
            return (int)nEntry - 1;
        }
    }
}
