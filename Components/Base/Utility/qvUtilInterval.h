#ifndef QVUTIL_INTERVAL_H
#define QVUTIL_INTERVAL_H

#include "qvBaseExport.h"

namespace qvUtil {

// A non-negative time span of whole seconds and microseconds, used for time-outs.
class QV_BASE_API Interval {
public:
    Interval() : secs(0), usecs(0) {}
    // A negative span is stored as its positive counterpart: there are no negative intervals.
    Interval(double seconds);
    // Time strings have no syntax yet: always throws Error(1, "Bad time string").
    explicit Interval(const char* text);

    long seconds() const { return secs; }
    long microseconds() const { return usecs; }
    double dseconds() const { return usecs * 1e-06 + secs; }
    bool isZero() const { return secs == 0 && usecs == 0; }

    bool operator==(const Interval& other) const
    {
        return secs == other.secs && usecs == other.usecs;
    }
    bool operator<(const Interval& other) const
    {
        return secs != other.secs ? secs < other.secs : usecs < other.usecs;
    }
    Interval& operator=(const Interval& other) = default;
    Interval(const Interval& other) = default;

private:
    long secs;
    long usecs;
};

} // namespace qvUtil

#endif
