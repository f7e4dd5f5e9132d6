#include "qvThreadThread.h"

#include "internal/qvThreadPlatform.h"

#include <cstring>

namespace qvThread {

// Shared by every copy of one Thread.
struct Thread::Record {
    void (*function)(void*) = nullptr;
    void* argument = nullptr;
    qvRTB::SignalVoid* signal = nullptr;
    bool running = false;
    internal::ThreadHandle* handle = nullptr;
    int copies = 1;
};

namespace {

// What the new thread needs; it owns the signal from start() on and deletes both at its end.
struct StartRecord {
    void (*function)(void*);
    void* argument;
    qvRTB::SignalVoid* signal;
};

} // namespace

namespace internal {

void runThread(void* start)
{
    auto* record = static_cast<StartRecord*>(start);
    if (record->function)
        record->function(record->argument);
    else if (record->signal)
        record->signal->emit();
    delete record->signal;
    delete record;
}

} // namespace internal

Thread::Thread() : record(new Record)
{
    record->signal = new qvRTB::SignalVoid;
}

Thread::Thread(void (*function)(void*), void* argument) : record(new Record)
{
    record->function = function;
    record->argument = argument;
}

Thread::Thread(const Thread& other) : record(other.record)
{
    ++record->copies;
}

Thread& Thread::operator=(const Thread& other)
{
    if (record != other.record) {
        ++other.record->copies;
        release();
        record = other.record;
    }
    return *this;
}

Thread::~Thread()
{
    release();
}

void Thread::release()
{
    if (--record->copies > 0)
        return;
    if (record->running)
        internal::detachThread(record->handle);
    delete record->signal;
    delete record;
}

qvRTB::SignalVoid& Thread::getSignal()
{
    if (!record->signal)
        record->signal = new qvRTB::SignalVoid;
    return *record->signal;
}

qvUtil::Error Thread::start()
{
    auto* start = new StartRecord{record->function, record->argument, record->signal};
    record->signal = nullptr;
    internal::ThreadHandle* handle = nullptr;
    if (int error = internal::startThread(start, &handle)) {
        delete start->signal;
        delete start;
        return qvUtil::Error(1, "_beginthread() failed: %s", std::strerror(error));
    }
    // A second start replaces the kept handle; the first thread goes on detached.
    if (record->running)
        internal::detachThread(record->handle);
    record->running = true;
    record->handle = handle;
    return qvUtil::Error();
}

qvUtil::Error Thread::wait()
{
    if (!record->running)
        return qvUtil::Error(2, "cannot wait for a stopped thread");
    internal::ThreadHandle* handle = record->handle;
    record->running = false;
    record->handle = nullptr;
    // A thread waiting for itself would wait for ever on Windows; every platform refuses it the
    // way POSIX does, and the thread runs on detached.
    if (internal::isCallingThread(handle)) {
        internal::detachThread(handle);
        return qvUtil::Error(1, "WaitForSingleObject() failed: %s\n", "Resource deadlock avoided");
    }
    if (int error = internal::joinThread(handle))
        return qvUtil::Error(1, "WaitForSingleObject() failed: %s\n",
                             qvUtil::internal::systemErrorText(error).c_str());
    return qvUtil::Error();
}

} // namespace qvThread

bool qvThread_CreateThread(void (*function)(void*), void* argument)
{
    qvThread::Thread thread(function, argument);
    return !thread.start();
}
