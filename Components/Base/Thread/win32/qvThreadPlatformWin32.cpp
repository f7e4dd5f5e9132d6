#include "../internal/qvThreadPlatform.h"

#include <cerrno>
#include <process.h>
#include <windows.h>

namespace qvThread {
namespace internal {

namespace {

int lastError()
{
    return static_cast<int>(GetLastError());
}

} // namespace

struct MutexHandle {
    HANDLE handle;
};

MutexHandle* createMutex(int& error)
{
    HANDLE handle = CreateMutexA(nullptr, FALSE, nullptr);
    if (!handle) {
        error = lastError();
        return nullptr;
    }
    return new MutexHandle{handle};
}

void destroyMutex(MutexHandle* cell)
{
    CloseHandle(cell->handle);
    delete cell;
}

struct SemaphoreHandle {
    HANDLE handle;
};

SemaphoreHandle* createSemaphore(unsigned int initial, unsigned int maxValue, int& error)
{
    HANDLE handle = CreateSemaphoreA(nullptr, static_cast<LONG>(initial),
                                     static_cast<LONG>(maxValue), nullptr);
    if (!handle) {
        error = lastError();
        return nullptr;
    }
    return new SemaphoreHandle{handle};
}

int destroySemaphore(SemaphoreHandle* cell)
{
    int result = CloseHandle(cell->handle) ? 0 : lastError();
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

ConditionRecord* createCondition(int& error, ConditionPart& failed)
{
    auto* record = new ConditionRecord;
    record->semaphore = CreateSemaphoreA(nullptr, 0, 0x7FFFFFFF, nullptr);
    if (!record->semaphore) {
        error = lastError();
        failed = ConditionPart::semaphore;
        delete record;
        return nullptr;
    }
    InitializeCriticalSection(&record->waitersLock);
    InitializeCriticalSection(&record->signalLock);
    record->waitersDone = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (!record->waitersDone) {
        error = lastError();
        failed = ConditionPart::event;
        CloseHandle(record->semaphore);
        DeleteCriticalSection(&record->waitersLock);
        DeleteCriticalSection(&record->signalLock);
        delete record;
        return nullptr;
    }
    return record;
}

int destroyCondition(ConditionRecord* record)
{
    int result = 0;
    if (!CloseHandle(record->semaphore) || !CloseHandle(record->waitersDone))
        result = lastError();
    DeleteCriticalSection(&record->waitersLock);
    DeleteCriticalSection(&record->signalLock);
    delete record;
    return result;
}

Mutex& conditionMutex(ConditionRecord* record)
{
    return record->mutex;
}

void waitCondition(ConditionRecord* record, long long timeout)
{
    DWORD milliseconds = INFINITE;
    if (timeout >= 0)
        milliseconds = timeout >= INFINITE ? INFINITE - 1 : static_cast<DWORD>(timeout);
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
    unsigned int id;
};

namespace {

unsigned __stdcall threadMain(void* start)
{
    runThread(start);
    return 0;
}

} // namespace

int startThread(void* startRecord, ThreadHandle** handle)
{
    unsigned int threadId = 0;
    uintptr_t thread = _beginthreadex(nullptr, 0, &threadMain, startRecord, 0, &threadId);
    if (thread == 0)
        return errno;
    *handle = new ThreadHandle{reinterpret_cast<HANDLE>(thread), threadId};
    return 0;
}

int joinThread(ThreadHandle* cell)
{
    int result = WaitForSingleObject(cell->handle, INFINITE) != WAIT_OBJECT_0 ? lastError() : 0;
    CloseHandle(cell->handle);
    delete cell;
    return result;
}

void detachThread(ThreadHandle* cell)
{
    CloseHandle(cell->handle);
    delete cell;
}

bool isCallingThread(const ThreadHandle* cell)
{
    return GetCurrentThreadId() == cell->id;
}

} // namespace internal

void Mutex::lock()
{
    WaitForSingleObject(cell->handle, INFINITE);
}

void Mutex::unlock()
{
    ReleaseMutex(cell->handle);
}

} // namespace qvThread
