#include "qvUtilInterval.h"

#include "qvUtilError.h"

#include <cmath>
#include <cstdint>

namespace qvUtil {

Interval::Interval(double s)
{
    s = std::fabs(s);
    // A span the fields cannot hold would wrap to negative seconds: a NaN is no span at all,
    // anything at or beyond the largest whole second is the largest span.
    if (std::isnan(s)) {
        secs = 0;
        usecs = 0;
        return;
    }
    if (s >= 2147483647.0) {
        secs = INT32_MAX;
        usecs = 999999;
        return;
    }
    double whole = std::floor(s);
    secs = static_cast<int32_t>(whole);
    usecs = static_cast<int32_t>((s - whole) * 1000000.0);
}

Interval::Interval(const char*) : secs(0), usecs(0)
{
    throw Error(1, "Bad time string");
}

} // namespace qvUtil
