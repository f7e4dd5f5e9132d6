#include "qvUtilInterval.h"

#include "qvUtilError.h"

#include <cmath>
#include <cstdint>

namespace qvUtil {

Interval::Interval(double s)
{
    s = std::fabs(s);
    double whole = std::floor(s);
    secs = static_cast<int32_t>(whole);
    usecs = static_cast<int32_t>((s - whole) * 1000000.0);
}

Interval::Interval(const char*) : secs(0), usecs(0)
{
    throw Error(1, "Bad time string");
}

} // namespace qvUtil
