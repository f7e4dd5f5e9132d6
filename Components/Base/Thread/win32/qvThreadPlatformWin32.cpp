#include "../internal/qvThreadPlatform.h"

#include "../../Utility/internal/qvUtilPlatform.h"

#include <cerrno>
#include <cstring>
#include <process.h>
#include <windows.h>

namespace qvThread {
namespace internal {

namespace {

std::string lastErrorText()
{
    return qvUtil::internal::systemErrorText(static_cast<int>(GetLastError()));
}

[[noreturn]] void throwLastError()
{
    throw qvUtil::Error(1, "%s", lastErrorText().c_str());
}

} // namespace

struct MutexHandle {
    HANDLE handle;
};

MutexHandle* createMutex()
{
    HANDLE handle = CreateMutexA(nullptr, FALSE, nullptr);
    if (!handle)
        throwLastError();
    return new MutexHandle{handle};
}

void destroyMutex(MutexHandle* cell)
{
    CloseHandle(cell->handle);
    delete cell;
}

void lockMutex(MutexHandle* cell)
{
    WaitForSingleObject(cell->handle, INFINITE);
}

void unlockMutex(MutexHandle* cell)
{
    ReleaseMutex(cell->handle);
}

struct SemaphoreHandle {
    HANDLE handle;
};

SemaphoreHandle* createSemaphore(unsigned int initial, unsigned int maxValue)
{
    HANDLE handle = CreateSemaphoreA(nullptr, static_cast<LONG>(initial),
                                     static_cast<LONG>(maxValue), nullptr);
    if (!handle)
        throwLastError();
    return new SemaphoreHandle{handle};
}

qvUtil::Error destroySemaphore(SemaphoreHandle* cell)
{
    qvUtil::Error result;
    if (!CloseHandle(cell->handle))
        result = qvUtil::Error(1, "%s", lastErrorText().c_str());
    delete cell;
    return result;
}

void waitSemaphore(SemaphoreHandle* cell)
{
    WaitForSingleObject(cell->handle, INFINITE);
}

bool tryWaitSemaphore(SemaphoreHandle* cell)
{
    return WaitForSingleObject(cell->handle, 0) == WAIT_OBJECT_0;
}

void postSemaphore(SemaphoreHandle* cell)
{
    ReleaseSemaphore(cell->handle, 1, nullptr);
}

struct ConditionRecord {
    long waiters = 0;
    CRITICAL_SECTION waitersLock;
    CRITICAL_SECTION signalLock;
    HANDLE semaphore = nullptr;
    HANDLE waitersDone = nullptr;
    long wasBroadcast = 0;
    Mutex mutex;
};

ConditionRecord* createCondition()
{
    auto* record = new ConditionRecord;
    record->semaphore = CreateSemaphoreA(nullptr, 0, 0x7FFFFFFF, nullptr);
    if (!record->semaphore) {
        std::string text = lastErrorText();
        delete record;
        throw qvUtil::Error(1,
                            "Cannot initialize condition: Unable to create                     "
                            "semaphore: %s",
                            text.c_str());
    }
    InitializeCriticalSection(&record->waitersLock);
    InitializeCriticalSection(&record->signalLock);
    record->waitersDone = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (!record->waitersDone) {
        std::string text = lastErrorText();
        CloseHandle(record->semaphore);
        DeleteCriticalSection(&record->waitersLock);
        DeleteCriticalSection(&record->signalLock);
        delete record;
        throw qvUtil::Error(1,
                            "Cannot initialize condition: Unable to create                     "
                            "an generic NT synchro event: %s",
                            text.c_str());
    }
    return record;
}

qvUtil::Error destroyCondition(ConditionRecord* record)
{
    qvUtil::Error result;
    if (!CloseHandle(record->semaphore) || !CloseHandle(record->waitersDone))
        result = qvUtil::Error(1, "%s", lastErrorText().c_str());
    DeleteCriticalSection(&record->waitersLock);
    DeleteCriticalSection(&record->signalLock);
    delete record;
    return result;
}

Mutex& conditionMutex(ConditionRecord* record)
{
    return record->mutex;
}

void waitCondition(ConditionRecord* record, const qvUtil::Interval& timeout)
{
    DWORD milliseconds = INFINITE;
    if (timeout.seconds() != 0 || timeout.microseconds() != 0) {
        unsigned long long ms = static_cast<unsigned long long>(timeout.seconds()) * 1000
                                + static_cast<unsigned long long>(timeout.microseconds()) / 1000;
        milliseconds = ms >= INFINITE ? INFINITE - 1 : static_cast<DWORD>(ms);
    }
    HANDLE mutex = MutexAccess::handle(record->mutex)->handle;

    EnterCriticalSection(&record->waitersLock);
    ++record->waiters;
    LeaveCriticalSection(&record->waitersLock);

    // Releases the caller's mutex and starts waiting in one step; woken or timed out is all one.
    SignalObjectAndWait(mutex, record->semaphore, milliseconds, FALSE);

    EnterCriticalSection(&record->waitersLock);
    --record->waiters;
    const bool lastOfBroadcast = record->wasBroadcast && record->waiters == 0;
    LeaveCriticalSection(&record->waitersLock);

    if (lastOfBroadcast)
        SignalObjectAndWait(record->waitersDone, mutex, INFINITE, FALSE);
    else
        WaitForSingleObject(mutex, INFINITE);
}

void signalCondition(ConditionRecord* record)
{
    EnterCriticalSection(&record->signalLock);
    EnterCriticalSection(&record->waitersLock);
    const bool haveWaiters = record->waiters > 0;
    LeaveCriticalSection(&record->waitersLock);
    if (haveWaiters)
        ReleaseSemaphore(record->semaphore, 1, nullptr);
    LeaveCriticalSection(&record->signalLock);
}

void broadcastCondition(ConditionRecord* record)
{
    EnterCriticalSection(&record->signalLock);
    EnterCriticalSection(&record->waitersLock);
    if (record->waiters > 0) {
        record->wasBroadcast = 1;
        ReleaseSemaphore(record->semaphore, record->waiters, nullptr);
        LeaveCriticalSection(&record->waitersLock);
        WaitForSingleObject(record->waitersDone, INFINITE);
        record->wasBroadcast = 0;
    } else {
        LeaveCriticalSection(&record->waitersLock);
    }
    LeaveCriticalSection(&record->signalLock);
}

struct ThreadHandle {
    HANDLE handle;
};

namespace {

unsigned __stdcall threadMain(void* start)
{
    runThread(start);
    return 0;
}

} // namespace

qvUtil::Error startThread(void* startRecord, ThreadHandle** handle)
{
    unsigned int threadId = 0;
    uintptr_t thread = _beginthreadex(nullptr, 0, &threadMain, startRecord, 0, &threadId);
    if (thread == 0)
        return qvUtil::Error(1, "_beginthread() failed: %s", std::strerror(errno));
    *handle = new ThreadHandle{reinterpret_cast<HANDLE>(thread)};
    return qvUtil::Error();
}

qvUtil::Error joinThread(ThreadHandle* cell)
{
    qvUtil::Error result;
    if (WaitForSingleObject(cell->handle, INFINITE) != WAIT_OBJECT_0)
        result = qvUtil::Error(1, "WaitForSingleObject() failed: %s\n", lastErrorText().c_str());
    CloseHandle(cell->handle);
    delete cell;
    return result;
}

void detachThread(ThreadHandle* cell)
{
    CloseHandle(cell->handle);
    delete cell;
}

} // namespace internal

void Mutex::lock()
{
    internal::lockMutex(cell);
}

void Mutex::unlock()
{
    internal::unlockMutex(cell);
}

} // namespace qvThread
