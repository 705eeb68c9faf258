// Host thread object and the callable wrappers that carry its body.
#ifndef PLATFORM_GTHREAD_H
#define PLATFORM_GTHREAD_H

#include <pthread.h>

#include <atomic>
#include <string>

#include "PLRuntimeError.h"

// Reference-counted owner of a heap object; dereferencing an empty one throws.
template <typename T>
class SafePointer {
public:
    SafePointer() : m_pObj(0), m_pCount(0) {}
    explicit SafePointer(T* p_pObj) : m_pObj(p_pObj), m_pCount(0)
    {
        if (m_pObj == 0) {
            throw PLRuntimeError(std::string("SafePointer Report: null object"));
        }
        m_pCount = new std::atomic<long>(1);
    }
    SafePointer(const SafePointer& p_other) : m_pObj(p_other.m_pObj), m_pCount(p_other.m_pCount)
    {
        if (m_pCount != 0) {
            m_pCount->fetch_add(1);
        }
    }
    SafePointer& operator=(const SafePointer& p_other)
    {
        if (this != &p_other) {
            SafePointer tmp(p_other);
            swap(tmp);
        }
        return *this;
    }
    ~SafePointer() { drop(); }

    T* operator->() const { return checked(); }
    T& operator*() const { return *checked(); }
    bool isNull() const { return m_pObj == 0; }

private:
    T* checked() const
    {
        if (m_pObj == 0) {
            throw PLRuntimeError(std::string("SafePointer Report: dereference of an empty pointer"));
        }
        return m_pObj;
    }
    void swap(SafePointer& p_other)
    {
        T* obj = m_pObj;
        std::atomic<long>* count = m_pCount;
        m_pObj = p_other.m_pObj;
        m_pCount = p_other.m_pCount;
        p_other.m_pObj = obj;
        p_other.m_pCount = count;
    }
    void drop()
    {
        if (m_pCount != 0 && m_pCount->fetch_sub(1) == 1) {
            delete m_pObj;
            delete m_pCount;
        }
        m_pObj = 0;
        m_pCount = 0;
    }

    T* m_pObj;
    std::atomic<long>* m_pCount;
};

// A callable without arguments.
template <typename R>
class function_obj {
public:
    virtual ~function_obj() {}
    virtual R operator()() = 0;
};

template <typename R, typename C>
class member_funcobj0 : public function_obj<R> {
public:
    member_funcobj0(C* p_pObj, R (C::*p_pFun)()) : m_pObj(p_pObj), m_pFun(p_pFun) {}
    virtual R operator()() { return (m_pObj->*m_pFun)(); }

private:
    C* m_pObj;
    R (C::*m_pFun)();
};

template <typename R>
class static_funcobj0 : public function_obj<R> {
public:
    explicit static_funcobj0(R (*p_pFun)()) : m_pFun(p_pFun) {}
    virtual R operator()() { return m_pFun(); }

private:
    R (*m_pFun)();
};

// Binds a member function without arguments to its object.
template <typename R, typename C>
function_obj<R>* bind_funcobj0(C* p_pObj, R (C::*p_pFun)())
{
    return new member_funcobj0<R, C>(p_pObj, p_pFun);
}

template <typename R>
class function {
public:
    explicit function(function_obj<R>* p_pObj) : m_objCall(p_pObj) {}
    explicit function(R (*p_pFun)()) : m_objCall(new static_funcobj0<R>(p_pFun)) {}
    R operator()() const { return (*m_objCall)(); }

private:
    SafePointer<function_obj<R> > m_objCall;
};

// Runs its body over and over between start() and stop(). The two hooks run
// once on the thread, before the first and after the last call of the body.
class GThread {
public:
    GThread(const function<int>& p_objBody, const char* p_szName, const function<int>& p_objOnStart,
            const function<int>& p_objOnStop);
    ~GThread();

    // false when the thread already runs or cannot be created.
    bool start();
    // Returns once the body is no longer running; true also when it was not running.
    bool stop();
    bool isRunning() const;
    const std::string& getName() const { return m_strName; }

    static int emptyFun();

private:
    GThread(const GThread&);
    GThread& operator=(const GThread&);
    static void* threadMain(void* p_pArg);

    function<int> m_objBody;
    function<int> m_objOnStart;
    function<int> m_objOnStop;
    std::string m_strName;
    pthread_t m_stThread;
    std::atomic<bool> m_bRunning;
    std::atomic<bool> m_bStopRequested;
};

#endif
