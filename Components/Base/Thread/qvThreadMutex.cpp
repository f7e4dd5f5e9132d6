#include "qvThreadMutex.h"

#include "internal/qvThreadPlatform.h"

namespace qvThread {

Mutex::Mutex() : cell(internal::createMutex()) {}

Mutex::~Mutex()
{
    internal::destroyMutex(cell);
}

// Mutex::lock and unlock live in the platform files: they are the hot path of every lock, and
// calling the system directly there saves a call.

MutexOp::MutexOp(Mutex& m, bool unlockAtEnd)
    : mutex(m), locked(false), unlockOnDestruction(unlockAtEnd)
{
}

MutexOp::~MutexOp()
{
    if (unlockOnDestruction && locked)
        mutex.unlock();
}

Semaphore::Semaphore(unsigned int initial)
    : cell(internal::createSemaphore(initial, maxValue()))
{
}

Semaphore::~Semaphore() noexcept(false)
{
    qvUtil::Error err = internal::destroySemaphore(cell);
    if (err)
        throw err;
}

void Semaphore::wait()
{
    internal::waitSemaphore(cell);
}

bool Semaphore::tryWait()
{
    return internal::tryWaitSemaphore(cell);
}

void Semaphore::post()
{
    internal::postSemaphore(cell);
}

} // namespace qvThread
