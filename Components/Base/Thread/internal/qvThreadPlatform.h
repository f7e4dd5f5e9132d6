#ifndef QVTHREAD_INTERNAL_PLATFORM_H
#define QVTHREAD_INTERNAL_PLATFORM_H

// Operating-system side of the threads subsystem; posix/ and win32/ each implement it.

#include "qvThreadCondition.h"
#include "qvThreadMutex.h"
#include "qvUtilError.h"
#include "qvUtilInterval.h"

namespace qvThread {
namespace internal {

struct MutexAccess {
    static MutexHandle* handle(Mutex& mutex) { return mutex.cell; }
};

// Each create function throws Error(1, ...) on failure.
MutexHandle* createMutex();
void destroyMutex(MutexHandle* mutex);
void lockMutex(MutexHandle* mutex);
void unlockMutex(MutexHandle* mutex);

SemaphoreHandle* createSemaphore(unsigned int initial, unsigned int maxValue);
// Frees the handle in every case; the Error tells whether the system released its object.
qvUtil::Error destroySemaphore(SemaphoreHandle* semaphore);
void waitSemaphore(SemaphoreHandle* semaphore);
bool tryWaitSemaphore(SemaphoreHandle* semaphore);
void postSemaphore(SemaphoreHandle* semaphore);

ConditionRecord* createCondition();
qvUtil::Error destroyCondition(ConditionRecord* condition);
Mutex& conditionMutex(ConditionRecord* condition);
void waitCondition(ConditionRecord* condition, const qvUtil::Interval& timeout);
void signalCondition(ConditionRecord* condition);
void broadcastCondition(ConditionRecord* condition);

struct ThreadHandle;
// The thread function of every thread: runs what the start record says and deletes it.
void runThread(void* startRecord);
// Starts runThread(startRecord) on a new thread.
qvUtil::Error startThread(void* startRecord, ThreadHandle** handle);
// Waits for the thread to end, then releases the handle whatever the outcome.
qvUtil::Error joinThread(ThreadHandle* handle);
// Releases the handle and lets the thread run on.
void detachThread(ThreadHandle* handle);

} // namespace internal
} // namespace qvThread

#endif
