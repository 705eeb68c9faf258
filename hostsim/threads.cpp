// PLMutex and GThread on POSIX threads.
#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>

#include <exception>
#include <string>

#include <time.h>

#include <atomic>
#include <cstdint>

#include "GThread.h"
#include "hostsim.h"
#include "PLMutex.h"

// An error-checking mutex: a controller that relocks its own lock is a bug we
// want reported where it happens, not a hung sensor thread.
PLMutex::PLMutex()
{
    pthread_mutexattr_t stAttr;
    pthread_mutexattr_init(&stAttr);
    pthread_mutexattr_settype(&stAttr, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&m_stMutex, &stAttr);
    pthread_mutexattr_destroy(&stAttr);
}

PLMutex::~PLMutex() { pthread_mutex_destroy(&m_stMutex); }

namespace hostsim {
namespace detail {
std::atomic<std::uint64_t> g_lockWaits{0};
}  // namespace detail
}  // namespace hostsim

bool PLMutex::Lock(const char* p_szFile, int p_nLine)
{
    if (pthread_mutex_trylock(&m_stMutex) == 0) return true;
    // Counted before blocking, so a test can tell that a thread is waiting.
    hostsim::detail::g_lockWaits.fetch_add(1);
    int nRet = pthread_mutex_lock(&m_stMutex);
    if (nRet == 0) return true;
    if (nRet == EDEADLK) {
        fprintf(stderr, "PLMutex: relock by owner at %s:%d\n", p_szFile != NULL ? p_szFile : "?", p_nLine);
    } else {
        fprintf(stderr, "PLMutex: lock failed (%s) at %s:%d\n", strerror(nRet), p_szFile != NULL ? p_szFile : "?",
                p_nLine);
    }
    return false;
}

bool PLMutex::TryLock(const char* /*p_szFile*/, int /*p_nLine*/)
{
    // An error-checking mutex answers EBUSY to its owner as well.
    return pthread_mutex_trylock(&m_stMutex) == 0;
}

bool PLMutex::Unlock(const char* /*p_szFile*/, int /*p_nLine*/) { return pthread_mutex_unlock(&m_stMutex) == 0; }

GThread::GThread(const function<int>& p_objBody, const char* p_szName, const function<int>& p_objOnStart,
                 const function<int>& p_objOnStop)
    : m_objBody(p_objBody),
      m_objOnStart(p_objOnStart),
      m_objOnStop(p_objOnStop),
      m_strName(p_szName != NULL ? p_szName : ""),
      m_stThread(),
      m_bRunning(false),
      m_bStopRequested(false)
{
}

GThread::~GThread()
{
    if (m_bRunning.load() && pthread_equal(pthread_self(), m_stThread)) {
        // Destroyed from its own body: nobody is left to join it.
        m_bStopRequested.store(true);
        pthread_detach(m_stThread);
        m_bRunning.store(false);
        return;
    }
    stop();
}

// start() and stop() belong to the thread's owner; they are not meant to race
// each other from several threads.
bool GThread::start()
{
    if (m_bRunning.load()) return false;
    m_bStopRequested.store(false);
    if (pthread_create(&m_stThread, NULL, &GThread::threadMain, this) != 0) return false;
    // The kernel keeps 15 characters of a thread name; a longer one is cut, not refused.
    std::string strName = m_strName.substr(0, 15);
    pthread_setname_np(m_stThread, strName.c_str());
    m_bRunning.store(true);
    return true;
}

bool GThread::stop()
{
    m_bStopRequested.store(true);
    if (!m_bRunning.load()) return true;
    if (pthread_equal(pthread_self(), m_stThread)) {
        // Asked from its own body: the loop ends after this pass and the owner joins later.
        return true;
    }
    pthread_join(m_stThread, NULL);
    m_bRunning.store(false);
    return true;
}

bool GThread::isRunning() const { return m_bRunning.load(); }

int GThread::emptyFun() { return 0; }

void* GThread::threadMain(void* p_pArg)
{
    GThread* pThread = static_cast<GThread*>(p_pArg);
    try {
        pThread->m_objOnStart();
        while (!pThread->m_bStopRequested.load()) {
            if (hostsim::threadsHeld()) {
                struct timespec stPause = {0, 1000000};
                nanosleep(&stPause, NULL);
                continue;
            }
            pThread->m_objBody();
        }
        pThread->m_objOnStop();
    } catch (const std::exception& e) {
        // An escaping exception would end the whole camera process.
        fprintf(stderr, "GThread %s: %s\n", pThread->m_strName.c_str(), e.what());
    }
    return NULL;
}

namespace hostsim {

namespace {
std::atomic<bool> g_threadsHeld(false);
}  // namespace

void setThreadsHeld(bool held) { g_threadsHeld.store(held); }
std::uint64_t lockWaits() { return detail::g_lockWaits.load(); }
bool threadsHeld() { return g_threadsHeld.load(); }

}  // namespace hostsim
