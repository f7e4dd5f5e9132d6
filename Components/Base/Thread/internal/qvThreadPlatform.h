#ifndef QVTHREAD_INTERNAL_PLATFORM_H
#define QVTHREAD_INTERNAL_PLATFORM_H

// Operating-system side of the threads subsystem; posix/ and win32/ each implement it, and
// Mutex::lock and Mutex::unlock besides (the hot path of every lock goes straight to the system).
// Failures come back as system error numbers; the portable files turn them into Errors, so both
// platforms report them with the same codes and messages.

#include "qvThreadCondition.h"
#include "qvThreadMutex.h"
#include "qvUtilError.h"

#include "internal/qvUtilPlatform.h"

namespace qvThread {
namespace internal {

// Error(1, <system text>): how this subsystem reports a refusal of the system.
inline qvUtil::Error systemError(int number)
{
    return qvUtil::Error(1, "%s", qvUtil::internal::systemErrorText(number).c_str());
}

struct MutexAccess {
    static MutexHandle* handle(Mutex& mutex) { return mutex.cell; }
};

// Each create function returns null and sets `error` when the system refuses.
MutexHandle* createMutex(int& error);
void destroyMutex(MutexHandle* mutex);

SemaphoreHandle* createSemaphore(unsigned int initial, unsigned int maxValue, int& error);
// Frees the handle in every case; 0, or the error number when the system did not release it.
int destroySemaphore(SemaphoreHandle* semaphore);
void waitSemaphore(SemaphoreHandle* semaphore);
bool tryWaitSemaphore(SemaphoreHandle* semaphore);
void postSemaphore(SemaphoreHandle* semaphore);

// What a failed createCondition() could not make, for the message.
enum class ConditionPart { semaphore, event };
ConditionRecord* createCondition(int& error, ConditionPart& failed);
// Frees the record in every case; 0 or the error number of a release that failed.
int destroyCondition(ConditionRecord* condition);
Mutex& conditionMutex(ConditionRecord* condition);
// The caller holds the condition's mutex. milliseconds < 0: no time-out.
void waitCondition(ConditionRecord* condition, long long milliseconds);
void signalCondition(ConditionRecord* condition);
void broadcastCondition(ConditionRecord* condition);

struct ThreadHandle;
// The thread function of every thread: runs what the start record says and deletes it.
void runThread(void* startRecord);
// Starts runThread(startRecord) on a new thread; 0, or the C runtime's error number.
int startThread(void* startRecord, ThreadHandle** handle);
// Waits for the thread to end, then releases the handle whatever the outcome; 0 or the system
// error number of a wait that failed.
int joinThread(ThreadHandle* handle);
// Releases the handle and lets the thread run on.
void detachThread(ThreadHandle* handle);
// True when the caller is the thread of the handle (compared by thread id).
bool isCallingThread(const ThreadHandle* handle);

} // namespace internal
} // namespace qvThread

#endif
