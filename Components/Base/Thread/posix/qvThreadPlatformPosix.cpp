#include "../internal/qvThreadPlatform.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <pthread.h>
#include <semaphore.h>

namespace qvThread {
namespace internal {

struct MutexHandle {
    pthread_mutex_t mutex;
};

MutexHandle* createMutex(int& error)
{
    auto* cell = new MutexHandle;
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    int rc = pthread_mutex_init(&cell->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    if (rc != 0) {
        delete cell;
        error = rc;
        return nullptr;
    }
    return cell;
}

void destroyMutex(MutexHandle* cell)
{
    pthread_mutex_destroy(&cell->mutex);
    delete cell;
}

struct SemaphoreHandle {
    sem_t semaphore;
};

SemaphoreHandle* createSemaphore(unsigned int initial, unsigned int maxValue, int& error)
{
    auto* cell = new SemaphoreHandle;
    int rc = initial > maxValue ? EINVAL : 0;
    if (rc == 0 && sem_init(&cell->semaphore, 0, initial) != 0)
        rc = errno;
    if (rc != 0) {
        delete cell;
        error = rc;
        return nullptr;
    }
    return cell;
}

int destroySemaphore(SemaphoreHandle* cell)
{
    int result = sem_destroy(&cell->semaphore) != 0 ? errno : 0;
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

// See qvThreadCondition.h for the design. Each waiter sleeps on a semaphore of its own, queued in
// arrival order; signal and broadcast take the waiters they wake off the queue under the waiters
// lock and post their semaphores after leaving it, so a woken waiter does not run straight into
// a lock its waker still holds. A waiter that is taken off the queue always gets its post: if
// its time ran out meanwhile, it waits for that post before its semaphore goes away.
struct Waiter {
    sem_t wake;
    bool woken = false;
    bool byBroadcast = false;
    Waiter* prev = nullptr;
    Waiter* next = nullptr;
};

struct ConditionRecord {
    int waiters = 0;
    pthread_mutex_t waitersLock;
    pthread_mutex_t signalLock;
    Waiter* first = nullptr;       // the queue of waiters not yet woken
    Waiter* last = nullptr;
    pthread_cond_t waitersDone;    // the broadcaster sleeps here until `allWoken`
    int broadcastLeft = 0;         // woken by the broadcast and not yet gone
    bool allWoken = false;
    Mutex mutex;

    void append(Waiter* w)
    {
        w->prev = last;
        w->next = nullptr;
        (last ? last->next : first) = w;
        last = w;
    }
    void remove(Waiter* w)
    {
        (w->prev ? w->prev->next : first) = w->next;
        (w->next ? w->next->prev : last) = w->prev;
        w->prev = w->next = nullptr;
    }
};

ConditionRecord* createCondition(int& error, ConditionPart& failed)
{
    auto* record = new ConditionRecord;
    pthread_mutex_init(&record->waitersLock, nullptr);
    pthread_mutex_init(&record->signalLock, nullptr);
    // The waiters' semaphores are made in wait(); the variable made here stands in for the event.
    int rc = pthread_cond_init(&record->waitersDone, nullptr);
    if (rc != 0) {
        pthread_mutex_destroy(&record->waitersLock);
        pthread_mutex_destroy(&record->signalLock);
        delete record;
        error = rc;
        failed = ConditionPart::event;
        return nullptr;
    }
    return record;
}

int destroyCondition(ConditionRecord* record)
{
    int result = pthread_cond_destroy(&record->waitersDone);
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

timespec deadlineAfter(long long milliseconds)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    long long seconds = now.tv_sec + milliseconds / 1000;
    long long nanos = now.tv_nsec + (milliseconds % 1000) * 1000000;
    seconds += nanos / 1000000000;
    nanos %= 1000000000;
    timespec deadline;
    deadline.tv_sec = seconds > LONG_MAX ? LONG_MAX : static_cast<time_t>(seconds);
    deadline.tv_nsec = static_cast<long>(nanos);
    return deadline;
}

// Waits for a post; false when the deadline passed first.
bool waitForPost(sem_t* semaphore, const timespec* deadline)
{
    for (;;) {
        int rc = deadline ? sem_clockwait(semaphore, CLOCK_MONOTONIC, deadline)
                          : sem_wait(semaphore);
        if (rc == 0)
            return true;
        if (errno != EINTR)
            return false;
    }
}

} // namespace

void waitCondition(ConditionRecord* record, long long milliseconds)
{
    const bool forever = milliseconds < 0;
    const timespec deadline = forever ? timespec() : deadlineAfter(milliseconds);
    pthread_mutex_t* mutex = &MutexAccess::handle(record->mutex)->mutex;
    Waiter self;
    sem_init(&self.wake, 0, 0);

    pthread_mutex_lock(&record->waitersLock);
    ++record->waiters;
    record->append(&self);
    // Released while this waiter is queued under the waiters lock: a signal cannot come between
    // the release and the wait unnoticed.
    pthread_mutex_unlock(mutex);
    pthread_mutex_unlock(&record->waitersLock);

    bool posted = waitForPost(&self.wake, forever ? nullptr : &deadline);

    pthread_mutex_lock(&record->waitersLock);
    if (!self.woken)
        record->remove(&self); // timed out
    --record->waiters;
    if (self.byBroadcast && --record->broadcastLeft == 0) {
        record->allWoken = true;
        pthread_cond_signal(&record->waitersDone);
    }
    pthread_mutex_unlock(&record->waitersLock);
    if (self.woken && !posted)
        waitForPost(&self.wake, nullptr); // woken as the time ran out: the post is on its way
    sem_destroy(&self.wake);
    pthread_mutex_lock(mutex);
}

void signalCondition(ConditionRecord* record)
{
    pthread_mutex_lock(&record->signalLock);
    pthread_mutex_lock(&record->waitersLock);
    Waiter* w = record->first;
    if (w) {
        record->remove(w);
        w->woken = true;
    }
    pthread_mutex_unlock(&record->waitersLock);
    if (w)
        sem_post(&w->wake);
    pthread_mutex_unlock(&record->signalLock);
}

void broadcastCondition(ConditionRecord* record)
{
    pthread_mutex_lock(&record->signalLock);
    pthread_mutex_lock(&record->waitersLock);
    Waiter* woken = record->first;
    if (woken) {
        int count = 0;
        for (Waiter* w = woken; w; w = w->next) {
            w->woken = true;
            w->byBroadcast = true;
            ++count;
        }
        record->first = record->last = nullptr;
        record->broadcastLeft = count;
        record->allWoken = false;
        pthread_mutex_unlock(&record->waitersLock);
        while (woken) {
            Waiter* next = woken->next; // the waiter may be gone once posted
            sem_post(&woken->wake);
            woken = next;
        }
        pthread_mutex_lock(&record->waitersLock);
        while (!record->allWoken)
            pthread_cond_wait(&record->waitersDone, &record->waitersLock);
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

int startThread(void* startRecord, ThreadHandle** handle)
{
    auto* cell = new ThreadHandle;
    int rc = pthread_create(&cell->thread, nullptr, &threadMain, startRecord);
    if (rc != 0) {
        delete cell;
        return rc;
    }
    *handle = cell;
    return 0;
}

int joinThread(ThreadHandle* cell)
{
    int rc = pthread_join(cell->thread, nullptr);
    if (rc != 0)
        pthread_detach(cell->thread);
    delete cell;
    return rc;
}

void detachThread(ThreadHandle* cell)
{
    pthread_detach(cell->thread);
    delete cell;
}

bool isCallingThread(const ThreadHandle* cell)
{
    return pthread_equal(pthread_self(), cell->thread) != 0;
}

} // namespace internal

void Mutex::lock()
{
    pthread_mutex_lock(&cell->mutex);
}

void Mutex::unlock()
{
    pthread_mutex_unlock(&cell->mutex);
}

} // namespace qvThread
