#include "qvThreadCondition.h"

#include "internal/qvThreadPlatform.h"

namespace qvThread {

namespace {

internal::ConditionRecord* newCondition()
{
    int error = 0;
    internal::ConditionPart failed = internal::ConditionPart::event;
    internal::ConditionRecord* record = internal::createCondition(error, failed);
    if (!record)
        throw qvUtil::Error(1, "Cannot initialize condition: Unable to create                     %s: %s",
                            failed == internal::ConditionPart::semaphore ? "semaphore"
                                                                         : "an generic NT synchro event",
                            qvUtil::internal::systemErrorText(error).c_str());
    return record;
}

} // namespace

Condition::Condition() : record(newCondition()) {}

Condition::~Condition() noexcept(false)
{
    if (int error = internal::destroyCondition(record))
        throw internal::systemError(error);
}

Mutex& Condition::getMutex()
{
    return internal::conditionMutex(record);
}

void Condition::wait(qvUtil::Interval timeout)
{
    // A zero interval waits without end; any other is counted in whole milliseconds, the
    // microseconds truncated, on every platform.
    long long milliseconds = -1;
    if (!timeout.isZero())
        milliseconds = static_cast<long long>(timeout.seconds()) * 1000 + timeout.microseconds() / 1000;
    internal::waitCondition(record, milliseconds);
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
