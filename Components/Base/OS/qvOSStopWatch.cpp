#include "qvOSStopWatch.h"

#include "internal/qvOSPlatform.h"

namespace qvOS {

namespace {

// Ticks per second, read once per process (on first use, so that watches in static objects
// work too).
CurTime frequency()
{
    static const CurTime value = internal::counterFrequency();
    return value;
}

// Whole seconds first, then the remainder: long intervals keep full precision.
double secondsBetween(CurTime from, CurTime to)
{
    const CurTime diff = to - from;
    const CurTime perSecond = frequency();
    return static_cast<double>(diff / perSecond)
        + static_cast<double>(diff % perSecond) / static_cast<double>(perSecond);
}

} // namespace

StopWatch::StopWatch() : accumulated(0.0), running(false), startTime(0) {}

double StopWatch::start()
{
    startTime = internal::counterNow();
    running = true;
    return accumulated;
}

double StopWatch::stop()
{
    if (running) {
        accumulated += secondsBetween(startTime, internal::counterNow());
        running = false;
    }
    return accumulated;
}

void StopWatch::clear()
{
    if (running)
        stop();
    accumulated = 0.0;
}

double StopWatch::check() const
{
    if (!running)
        return accumulated;
    return accumulated + secondsBetween(startTime, internal::counterNow());
}

} // namespace qvOS
