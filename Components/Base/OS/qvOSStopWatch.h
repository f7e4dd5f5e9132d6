#ifndef QVOS_STOPWATCH_H
#define QVOS_STOPWATCH_H

#include "qvBaseExport.h"

namespace qvOS {

// A value of the high-resolution monotonic counter.
typedef long long CurTime;

// An accumulating timer on the high-resolution monotonic counter. Every operation returns
// seconds.
class QV_BASE_API StopWatch {
public:
    StopWatch();

    // Starts (again) and returns the time accumulated so far.
    double start();
    // Adds the time since start() and returns the total.
    double stop();
    // Stops when running and sets the total to 0.
    void clear();
    // The total, with the running part when running; changes nothing.
    double check() const;

    bool isRunning() const { return running; }

private:
    double accumulated;
    bool running;
    CurTime startTime;
};

} // namespace qvOS

#endif
