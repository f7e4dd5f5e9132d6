#include "qvThreadCondition.h"

#include "internal/qvThreadPlatform.h"

namespace qvThread {

Condition::Condition() : record(internal::createCondition()) {}

Condition::~Condition() noexcept(false)
{
    qvUtil::Error err = internal::destroyCondition(record);
    if (err)
        throw err;
}

Mutex& Condition::getMutex()
{
    return internal::conditionMutex(record);
}

void Condition::wait(qvUtil::Interval timeout)
{
    internal::waitCondition(record, timeout);
}

void Condition::signal()
{
    internal::signalCondition(record);
}

void Condition::broadcast()
{
    internal::broadcastCondition(record);
}

RWLock::RWLock() : readers(0), writer(false) {}

void RWLock::readLock()
{
    MutexOp op(getMutex(), true);
    op.lock();
    while (writer)
        wait(qvUtil::Interval());
    ++readers;
}

void RWLock::writeLock()
{
    MutexOp op(getMutex(), true);
    op.lock();
    while (writer || readers != 0)
        wait(qvUtil::Interval());
    writer = true;
}

void RWLock::readUnlock()
{
    MutexOp op(getMutex(), true);
    op.lock();
    --readers;
    if (readers == 0)
        signal(); // one waiting writer (or reader) may go on
}

void RWLock::writeUnlock()
{
    MutexOp op(getMutex(), true);
    op.lock();
    writer = false;
    broadcast();
}

} // namespace qvThread
