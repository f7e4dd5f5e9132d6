#include "qvThreadMutex.h"

#include "internal/qvThreadPlatform.h"

namespace qvThread {

Mutex::Mutex() : cell(internal::createMutex()) {}

Mutex::~Mutex()
{
    internal::destroyMutex(cell);
}

void Mutex::lock()
{
    internal::lockMutex(cell);
}

void Mutex::unlock()
{
    internal::unlockMutex(cell);
}

MutexOp::MutexOp(Mutex& m, bool unlockAtEnd)
    : mutex(m), locked(false), unlockOnDestruction(unlockAtEnd)
{
}

MutexOp::~MutexOp()
{
    if (unlockOnDestruction && locked)
        mutex.unlock();
}

void MutexOp::lock()
{
    mutex.lock();
    locked = true;
}

void MutexOp::unlock()
{
    mutex.unlock();
    locked = false;
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
