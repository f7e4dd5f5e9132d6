#include "qvThreadMutex.h"

#include "internal/qvThreadPlatform.h"

namespace qvThread {

namespace {

internal::MutexHandle* newMutex()
{
    int error = 0;
    internal::MutexHandle* cell = internal::createMutex(error);
    if (!cell)
        throw internal::systemError(error);
    return cell;
}

internal::SemaphoreHandle* newSemaphore(unsigned int initial, unsigned int maxValue)
{
    int error = 0;
    internal::SemaphoreHandle* cell = internal::createSemaphore(initial, maxValue, error);
    if (!cell)
        throw internal::systemError(error);
    return cell;
}

} // namespace

Mutex::Mutex() : cell(newMutex()) {}

Mutex::~Mutex()
{
    internal::destroyMutex(cell);
}

// Mutex::lock and unlock live in the platform files: they are the hot path of every lock.

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
    : cell(newSemaphore(initial, maxValue()))
{
}

Semaphore::~Semaphore() noexcept(false)
{
    if (int error = internal::destroySemaphore(cell))
        throw internal::systemError(error);
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
