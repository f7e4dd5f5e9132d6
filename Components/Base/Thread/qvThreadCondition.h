#ifndef QVTHREAD_CONDITION_H
#define QVTHREAD_CONDITION_H

// Condition variables and a readers-writer lock built on them.
//
// Every waiter holds the condition's own mutex (getMutex()), locked once, when it calls wait();
// wait() releases it and blocks in one step, and holds it again when it returns. signal() wakes
// one waiter, if there is one: a signal with no waiter is not remembered. broadcast() wakes every
// waiter and returns only after all of them have woken; its caller must hold the mutex, and the
// woken waiters take the mutex in turn once the caller releases it.
//
// Windows: a kernel mutex, a kernel semaphore on which waiters block, an auto-reset event by
// which the last waiter of a broadcast answers the broadcaster, and two critical sections; the
// release of the mutex and the wait are one SignalObjectAndWait call.
//
// POSIX: the same contract with POSIX objects. An internal lock guards a queue of waiters in
// arrival order, each sleeping on a semaphore of its own (time-outs on the monotonic clock); a
// waiter joins the queue under that lock before it releases the caller's mutex, so a signal
// cannot slip between the release and the wait. signal() takes the oldest waiter off the queue
// and posts its semaphore; broadcast() does so for the whole queue and then sleeps until the last
// of those waiters has woken. As with the kernel semaphore, a wake-up goes to a thread already
// waiting, never to one that starts waiting afterwards; a waiter whose time runs out leaves the
// queue.

#include "qvBaseExport.h"
#include "qvThreadMutex.h"
#include "qvUtilError.h"
#include "qvUtilInterval.h"

#include <cstdint>

namespace qvThread {

namespace internal {
struct ConditionRecord;
} // namespace internal

class QV_BASE_API Condition {
public:
    // Throws Error(1, "Cannot initialize condition: ...") when a system object cannot be made.
    Condition();
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;
    // Throws Error(1, <system text>) when a system object cannot be released.
    virtual ~Condition() noexcept(false);

    Mutex& getMutex();
    // Waits until signalled or until `timeout` has passed; a zero Interval waits without limit.
    // Which of the two happened is not reported: callers test their own predicate.
    void wait(qvUtil::Interval timeout);
    void signal();
    void broadcast();

private:
    internal::ConditionRecord* record;
};

// A readers-writer lock that prefers readers: a reader is admitted whenever no writer holds the
// lock, even while writers wait, so a steady stream of readers can hold off a writer
// indefinitely. That is the intended policy.
class QV_BASE_API RWLock : public Condition {
public:
    RWLock();

    void readLock();
    void writeLock();
    void readUnlock();
    void writeUnlock();

    unsigned short numberOfReaders() const { return readers; }
    bool hasWriter() const { return writer; }

private:
    std::uint16_t readers;
    bool writer;
};

} // namespace qvThread

#endif
