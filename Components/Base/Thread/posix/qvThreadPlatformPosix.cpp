#include "../internal/qvThreadPlatform.h"

#include "../../Utility/internal/qvUtilPlatform.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <pthread.h>
#include <semaphore.h>

namespace qvThread {
namespace internal {

namespace {

[[noreturn]] void throwSystemError(int number)
{
    throw qvUtil::Error(1, "%s", qvUtil::internal::systemErrorText(number).c_str());
}

} // namespace

struct MutexHandle {
    pthread_mutex_t mutex;
};

MutexHandle* createMutex()
{
    auto* cell = new MutexHandle;
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    int rc = pthread_mutex_init(&cell->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    if (rc != 0) {
        delete cell;
        throwSystemError(rc);
    }
    return cell;
}

void destroyMutex(MutexHandle* cell)
{
    pthread_mutex_destroy(&cell->mutex);
    delete cell;
}

void lockMutex(MutexHandle* cell)
{
    pthread_mutex_lock(&cell->mutex);
}

void unlockMutex(MutexHandle* cell)
{
    pthread_mutex_unlock(&cell->mutex);
}

struct SemaphoreHandle {
    sem_t semaphore;
};

SemaphoreHandle* createSemaphore(unsigned int initial, unsigned int maxValue)
{
    auto* cell = new SemaphoreHandle;
    int rc = initial > maxValue ? EINVAL : 0;
    if (rc == 0 && sem_init(&cell->semaphore, 0, initial) != 0)
        rc = errno;
    if (rc != 0) {
        delete cell;
        throwSystemError(rc);
    }
    return cell;
}

qvUtil::Error destroySemaphore(SemaphoreHandle* cell)
{
    qvUtil::Error result;
    if (sem_destroy(&cell->semaphore) != 0)
        result = qvUtil::Error(1, "%s", qvUtil::internal::systemErrorText(errno).c_str());
    delete cell;
    return result;
}

void waitSemaphore(SemaphoreHandle* cell)
{
    while (sem_wait(&cell->semaphore) != 0 && errno == EINTR) {
    }
}

bool tryWaitSemaphore(SemaphoreHandle* cell)
{
    int rc;
    while ((rc = sem_trywait(&cell->semaphore)) != 0 && errno == EINTR) {
    }
    return rc == 0;
}

void postSemaphore(SemaphoreHandle* cell)
{
    sem_post(&cell->semaphore);
}

// See qvThreadCondition.h for the design.
struct ConditionRecord {
    int waiters = 0;
    pthread_mutex_t waitersLock;
    pthread_mutex_t signalLock;
    pthread_cond_t wakeUp;        // waiters sleep here until `pending` is above 0
    unsigned int pending = 0;     // wake-ups handed out and not yet taken
    pthread_cond_t waitersDone;   // the broadcaster sleeps here until `allWoken`
    bool allWoken = false;
    int wasBroadcast = 0;
    Mutex mutex;
};

ConditionRecord* createCondition()
{
    auto* record = new ConditionRecord;
    pthread_mutex_init(&record->waitersLock, nullptr);
    pthread_mutex_init(&record->signalLock, nullptr);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    // The wake-up variable stands in for the semaphore, the second one for the event: their
    // failures carry the messages of the kernel objects they replace.
    const char* failure = nullptr;
    int rc = pthread_cond_init(&record->wakeUp, &attributes);
    if (rc != 0) {
        failure = "Cannot initialize condition: Unable to create                     "
                  "semaphore: %s";
    } else if ((rc = pthread_cond_init(&record->waitersDone, nullptr)) != 0) {
        pthread_cond_destroy(&record->wakeUp);
        failure = "Cannot initialize condition: Unable to create                     "
                  "an generic NT synchro event: %s";
    }
    pthread_condattr_destroy(&attributes);
    if (failure) {
        pthread_mutex_destroy(&record->waitersLock);
        pthread_mutex_destroy(&record->signalLock);
        delete record;
        throw qvUtil::Error(1, failure, qvUtil::internal::systemErrorText(rc).c_str());
    }
    return record;
}

qvUtil::Error destroyCondition(ConditionRecord* record)
{
    qvUtil::Error result;
    int rc = pthread_cond_destroy(&record->wakeUp);
    if (rc == 0)
        rc = pthread_cond_destroy(&record->waitersDone);
    if (rc != 0)
        result = qvUtil::Error(1, "%s", qvUtil::internal::systemErrorText(rc).c_str());
    pthread_mutex_destroy(&record->waitersLock);
    pthread_mutex_destroy(&record->signalLock);
    delete record;
    return result;
}

Mutex& conditionMutex(ConditionRecord* record)
{
    return record->mutex;
}

namespace {

timespec deadlineAfter(const qvUtil::Interval& timeout)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    long long seconds = now.tv_sec + static_cast<long long>(timeout.seconds());
    long long nanos = now.tv_nsec + static_cast<long long>(timeout.microseconds()) * 1000;
    seconds += nanos / 1000000000;
    nanos %= 1000000000;
    timespec deadline;
    deadline.tv_sec = seconds > LONG_MAX ? LONG_MAX : static_cast<time_t>(seconds);
    deadline.tv_nsec = static_cast<long>(nanos);
    return deadline;
}

} // namespace

void waitCondition(ConditionRecord* record, const qvUtil::Interval& timeout)
{
    const bool forever = timeout.seconds() == 0 && timeout.microseconds() == 0;
    const timespec deadline = forever ? timespec() : deadlineAfter(timeout);
    MutexHandle* mutex = MutexAccess::handle(record->mutex);

    pthread_mutex_lock(&record->waitersLock);
    ++record->waiters;
    // Released under the waiters lock: a signal needs that lock, so it cannot come between the
    // release and the wait.
    unlockMutex(mutex);
    while (record->pending == 0) {
        int rc = forever ? pthread_cond_wait(&record->wakeUp, &record->waitersLock)
                         : pthread_cond_timedwait(&record->wakeUp, &record->waitersLock, &deadline);
        if (rc == ETIMEDOUT)
            break;
    }
    if (record->pending > 0)
        --record->pending;
    --record->waiters;
    if (record->wasBroadcast && record->waiters == 0) {
        record->allWoken = true;
        pthread_cond_signal(&record->waitersDone);
    }
    pthread_mutex_unlock(&record->waitersLock);
    lockMutex(mutex);
}

void signalCondition(ConditionRecord* record)
{
    pthread_mutex_lock(&record->signalLock);
    pthread_mutex_lock(&record->waitersLock);
    if (record->waiters > 0 && static_cast<unsigned int>(record->waiters) > record->pending) {
        ++record->pending;
        pthread_cond_signal(&record->wakeUp);
    }
    pthread_mutex_unlock(&record->waitersLock);
    pthread_mutex_unlock(&record->signalLock);
}

void broadcastCondition(ConditionRecord* record)
{
    pthread_mutex_lock(&record->signalLock);
    pthread_mutex_lock(&record->waitersLock);
    if (record->waiters > 0) {
        record->wasBroadcast = 1;
        record->allWoken = false;
        record->pending = static_cast<unsigned int>(record->waiters);
        pthread_cond_broadcast(&record->wakeUp);
        while (!record->allWoken)
            pthread_cond_wait(&record->waitersDone, &record->waitersLock);
        record->wasBroadcast = 0;
        record->allWoken = false;
    }
    pthread_mutex_unlock(&record->waitersLock);
    pthread_mutex_unlock(&record->signalLock);
}

struct ThreadHandle {
    pthread_t thread;
};

namespace {

void* threadMain(void* start)
{
    runThread(start);
    return nullptr;
}

} // namespace

qvUtil::Error startThread(void* startRecord, ThreadHandle** handle)
{
    auto* cell = new ThreadHandle;
    int rc = pthread_create(&cell->thread, nullptr, &threadMain, startRecord);
    if (rc != 0) {
        delete cell;
        return qvUtil::Error(1, "_beginthread() failed: %s", std::strerror(rc));
    }
    *handle = cell;
    return qvUtil::Error();
}

qvUtil::Error joinThread(ThreadHandle* cell)
{
    qvUtil::Error result;
    int rc = pthread_join(cell->thread, nullptr);
    if (rc != 0) {
        result = qvUtil::Error(1, "WaitForSingleObject() failed: %s\n",
                               qvUtil::internal::systemErrorText(rc).c_str());
        pthread_detach(cell->thread);
    }
    delete cell;
    return result;
}

void detachThread(ThreadHandle* cell)
{
    pthread_detach(cell->thread);
    delete cell;
}

} // namespace internal
} // namespace qvThread
