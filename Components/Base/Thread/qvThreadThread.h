#ifndef QVTHREAD_THREAD_H
#define QVTHREAD_THREAD_H

// Threads. A Thread runs either a function with one argument, or, when made without one, the
// function objects connected to its signal (in connection order, newest first, as any emission).
// Copies of a Thread share one record; the record goes with the last copy. A Thread destroyed
// while its thread runs lets the thread go on, detached.

#include "qvBaseExport.h"
#include "qvRTBSignal.h"
#include "qvUtilError.h"

namespace qvThread {

class QV_BASE_API Thread {
public:
    // A thread that will emit its signal: connect to getSignal() before start().
    Thread();
    Thread(void (*function)(void*), void* argument);
    Thread(const Thread& other);
    Thread& operator=(const Thread& other);
    virtual ~Thread();

    // The signal the new thread emits. start() hands it over to the new thread, so connections
    // must be made before start(); afterwards this returns a fresh, unused signal.
    qvRTB::SignalVoid& getSignal();
    // Starts the thread. Error(1, "_beginthread() failed: ...") when the system refuses. Starting
    // a running Thread starts a second thread, and wait() then waits for that one only.
    qvUtil::Error start();
    // Waits until the thread has ended. Error(2, "cannot wait for a stopped thread") when it was
    // not started (or already waited for).
    qvUtil::Error wait();

private:
    struct Record;
    void release();

    Record* record;
};

} // namespace qvThread

extern "C" {
// Starts function(argument) on a detached thread; true when the thread was started.
QV_BASE_API bool qvThread_CreateThread(void (*function)(void*), void* argument);
}

#endif
