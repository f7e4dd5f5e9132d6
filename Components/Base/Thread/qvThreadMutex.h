#ifndef QVTHREAD_MUTEX_H
#define QVTHREAD_MUTEX_H

// Mutual exclusion and counting semaphores.
//
// A Mutex is recursive, like the Windows kernel mutex it is made of: the owning thread may lock
// it again and must unlock it as often. On POSIX systems it is a recursive pthread mutex. It is
// locked and unlocked through a MutexOp (or by a Condition), never directly.
//
// A Semaphore is a Windows kernel semaphore, or a POSIX unnamed semaphore, with the maximum
// count maxValue().

#include "qvBaseExport.h"
#include "qvUtilError.h"

namespace qvThread {

namespace internal {
struct MutexHandle;
struct SemaphoreHandle;
struct MutexAccess;
} // namespace internal

class QV_BASE_API Mutex {
public:
    // Throws Error(1, <system text>) when the system cannot create the mutex.
    Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    ~Mutex();

private:
    friend class MutexOp;
    friend class Condition;
    friend struct internal::MutexAccess;

    void lock();
    void unlock();

    internal::MutexHandle* cell;
};

// A lock on a Mutex for the length of a scope. The constructor does not lock; lock() does.
class QV_BASE_API MutexOp {
public:
    MutexOp(Mutex& mutex, bool unlockOnDestruction);
    MutexOp(const MutexOp&) = delete;
    MutexOp& operator=(const MutexOp&) = delete;
    // Releases the mutex when it was locked through this object and unlockOnDestruction is set.
    ~MutexOp();

    void lock()
    {
        mutex.lock();
        locked = true;
    }
    void unlock()
    {
        mutex.unlock();
        locked = false;
    }

private:
    Mutex& mutex;
    bool locked;
    bool unlockOnDestruction;
};

class QV_BASE_API Semaphore {
public:
    // Throws Error(1, <system text>) when the system cannot create the semaphore (for instance
    // when `initial` exceeds maxValue()).
    explicit Semaphore(unsigned int initial);
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    // Throws Error(1, <system text>) when the system cannot release the semaphore.
    ~Semaphore() noexcept(false);

    // Blocks until the count is above 0, then takes 1.
    void wait();
    // Takes 1 when the count is above 0 and says so; never blocks.
    bool tryWait();
    // Adds 1 (a post beyond maxValue() is lost).
    void post();

    static unsigned int maxValue() { return 0x7FFFFFFF; }

private:
    internal::SemaphoreHandle* cell;
};

} // namespace qvThread

#endif
