// Host lock and its scoped guard.
#ifndef PLATFORM_PLMUTEX_H
#define PLATFORM_PLMUTEX_H

#include <pthread.h>

class PLMutex {
public:
    PLMutex();
    ~PLMutex();

    // The caller's source position is kept for lock diagnostics.
    bool Lock(const char* p_szFile, int p_nLine);
    // Never blocks: false when any thread, the caller included, holds the lock.
    bool TryLock(const char* p_szFile, int p_nLine);
    bool Unlock(const char* p_szFile, int p_nLine);

private:
    PLMutex(const PLMutex&);
    PLMutex& operator=(const PLMutex&);

    pthread_mutex_t m_stMutex;
};

class PLMutexManager {
public:
    PLMutexManager(PLMutex* p_pMutex, const char* p_szFile, int p_nLine)
        : m_pMutex(p_pMutex), m_szFile(p_szFile), m_nLine(p_nLine)
    {
        m_bLocked = m_pMutex->Lock(p_szFile, p_nLine);
    }
    ~PLMutexManager()
    {
        if (m_bLocked) {
            m_pMutex->Unlock(m_szFile, m_nLine);
        }
    }

private:
    PLMutexManager(const PLMutexManager&);
    PLMutexManager& operator=(const PLMutexManager&);

    PLMutex* m_pMutex;
    const char* m_szFile;
    int m_nLine;
    bool m_bLocked;
};

#endif
