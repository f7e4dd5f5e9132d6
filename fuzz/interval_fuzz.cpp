// Arbitrary text and arbitrary doubles as intervals: text always throws its one error, and any
// double, NaN and infinities included, gives a span that is not negative.
#include "qvUtilError.h"
#include "qvUtilInterval.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        qvUtil::Interval parsed(text.c_str());
        std::abort();
    } catch (const qvUtil::Error& error) {
        if (error.num() != 1 || std::strcmp(error.message(), "Bad time string") != 0)
            std::abort();
    }
    for (std::size_t i = 0; i + sizeof(double) <= size; i += sizeof(double)) {
        double value;
        std::memcpy(&value, data + i, sizeof value);
        const qvUtil::Interval span(value);
        if (span.seconds() < 0 || span.microseconds() < 0 || span.microseconds() > 999999)
            std::abort();
        (void)span.dseconds();
    }
    return 0;
}
