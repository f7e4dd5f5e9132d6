#ifndef IO_INTERNAL_NUMBERTEXT_H
#define IO_INTERNAL_NUMBERTEXT_H

// Number text of the ASCII packet format, independent of the C locale and of the platform's C
// runtime: the same bytes on Linux and on Windows. Formatting gives the digits of printf's
// "%d", "%u", "%.7g" and "%.16g"; parsing follows atoi, strtoul, strtoll, strtoull and atof, with
// the overflow behaviour of a 32-bit long (saturation) on every platform.

#include "internal/qvOSPlatform.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <string>

namespace io {
namespace internal {

// Longest text any formatter below produces ("-1.234567890123457e-308", "-9223372036854775808").
constexpr int maxNumberText = 32;

template <typename Integer> inline char* formatInteger(char* out, Integer value)
{
    return std::to_chars(out, out + maxNumberText, value).ptr;
}

// "%.16g" of value.
inline char* formatDouble(char* out, double value)
{
    return std::to_chars(out, out + maxNumberText, value, std::chars_format::general, 16).ptr;
}

// "%.7g" of value widened to double.
inline char* formatFloat(char* out, float value)
{
    return std::to_chars(out, out + maxNumberText, static_cast<double>(value),
                         std::chars_format::general, 7)
        .ptr;
}

inline bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Leading white space, a sign and decimal digits, as the C conversions read them. The
// magnitude saturates at UINT64_MAX; overflow tells whether it did.
struct ParsedInteger {
    bool negative;
    bool overflow;
    uint64_t magnitude;
};

// Each parser below advances p past the text it converted.
inline ParsedInteger parseInteger(const char*& p, const char* end)
{
    ParsedInteger result{false, false, 0};
    while (p < end && isSpace(*p))
        ++p;
    if (p < end && (*p == '-' || *p == '+'))
        result.negative = *p++ == '-';
    while (p < end && *p >= '0' && *p <= '9') {
        unsigned digit = static_cast<unsigned>(*p++ - '0');
        if (result.magnitude > (UINT64_MAX - digit) / 10) {
            result.overflow = true;
            result.magnitude = UINT64_MAX;
        } else if (!result.overflow) {
            result.magnitude = result.magnitude * 10 + digit;
        }
    }
    return result;
}

// atoi / strtol into a 32-bit long: saturates at the int limits.
inline int32_t parseInt32(const char*& p, const char* end)
{
    ParsedInteger n = parseInteger(p, end);
    if (n.negative)
        return n.magnitude > 2147483648ull ? INT32_MIN
                                           : static_cast<int32_t>(-static_cast<int64_t>(n.magnitude));
    return n.magnitude > 2147483647ull ? INT32_MAX : static_cast<int32_t>(n.magnitude);
}

// strtoul into a 32-bit unsigned long: saturates, and negates a leading "-" modulo 2^32.
inline uint32_t parseUInt32(const char*& p, const char* end)
{
    ParsedInteger n = parseInteger(p, end);
    if (n.magnitude > UINT32_MAX)
        return UINT32_MAX;
    uint32_t value = static_cast<uint32_t>(n.magnitude);
    return n.negative ? 0u - value : value;
}

// strtoll: saturates at the 64-bit limits.
inline int64_t parseInt64(const char*& p, const char* end)
{
    ParsedInteger n = parseInteger(p, end);
    if (n.negative)
        return n.magnitude > 9223372036854775808ull ? INT64_MIN
                                                    : static_cast<int64_t>(0 - n.magnitude);
    return n.magnitude > 9223372036854775807ull ? INT64_MAX : static_cast<int64_t>(n.magnitude);
}

// strtoull: saturates, and negates a leading "-" modulo 2^64.
inline uint64_t parseUInt64(const char*& p, const char* end)
{
    ParsedInteger n = parseInteger(p, end);
    if (n.overflow)
        return UINT64_MAX;
    return n.negative ? 0 - n.magnitude : n.magnitude;
}

// Decimal text to binary reads the same on every build while one of these lives (see
// x87RoundToDouble); it costs nothing on builds that do not compute on the x87 unit.
struct ExactDecimalScope {
#if defined(__i386__) || defined(_M_IX86)
    unsigned int saved = qvOS::internal::x87RoundToDouble();
    ~ExactDecimalScope() { qvOS::internal::x87Restore(saved); }
#endif
};

// atof without the locale: leading white space, an optional sign, then a decimal number,
// "inf"/"infinity" or "nan"; 0 when nothing converts. Out of range gives infinity or zero with
// the sign, as strtod does.
inline double parseDouble(const char*& p, const char* end)
{
    while (p < end && isSpace(*p))
        ++p;
    bool negative = false;
    if (p < end && (*p == '-' || *p == '+'))
        negative = *p++ == '-';
    if (p < end && (*p == '-' || *p == '+'))
        return 0.0; // a second sign: nothing converts
    double value = 0.0;
    const char* start = p;
    [[maybe_unused]] const ExactDecimalScope exact;
    std::from_chars_result r = std::from_chars(start, end, value, std::chars_format::general);
    if (r.ec != std::errc::invalid_argument)
        p = r.ptr;
    if (r.ec == std::errc::result_out_of_range) {
        // Overflow or underflow: decide from the exponent's sign, or without an exponent from
        // whether any digit before the point is non-zero.
        bool huge = false;
        const char* q = start;
        while (q < r.ptr && *q != 'e' && *q != 'E')
            ++q;
        if (q < r.ptr) {
            huge = q + 1 < r.ptr && q[1] != '-';
        } else {
            for (const char* d = start; d < r.ptr && *d != '.'; ++d)
                huge = huge || (*d >= '1' && *d <= '9');
        }
        value = huge ? std::numeric_limits<double>::infinity() : 0.0;
    } else if (r.ec != std::errc()) {
        value = 0.0;
    }
    return negative ? -value : value;
}

// A double narrowed to float as IEEE rounding does it, without undefined behaviour for values
// beyond the float range: they become infinities.
inline float narrowToFloat(double value)
{
    // Halfway between the largest float and the next power of two rounds to infinity.
    const double limit = static_cast<double>(std::numeric_limits<float>::max()) + 0x1p103;
    if (value >= limit)
        return std::numeric_limits<float>::infinity();
    if (value <= -limit)
        return -std::numeric_limits<float>::infinity();
    return static_cast<float>(value);
}

// The value kinds of the packet files, for the strict checks below.
enum class NumberKind { Bool, Char, UChar, Short, UShort, Int, UInt, Int64, UInt64, Float, Double };

// Whether the token [begin, end) is a number of kind as a writer of packet files could have
// written it: integers an optional "-" and decimal digits within the kind's range (a Char is
// a Bool is 0 or 1); reals
// a decimal number that is finite in the kind's precision, or "inf", "-inf", "nan", "-nan".
// Nothing else may stand in the token. The strict readers and the file checker share it, so
// that they never disagree about a number.
inline bool isStrictNumber(NumberKind kind, const char* begin, const char* end)
{
    if (begin >= end)
        return false;
    if (kind == NumberKind::Float || kind == NumberKind::Double) {
        const char* p = begin;
        bool negative = *p == '-';
        if (negative)
            ++p;
        size_t rest = static_cast<size_t>(end - p);
        if ((rest == 3 && (std::char_traits<char>::compare(p, "inf", 3) == 0
                           || std::char_traits<char>::compare(p, "nan", 3) == 0)))
            return true;
        if (p == end || !((*p >= '0' && *p <= '9') || *p == '.'))
            return false;
        double value = 0.0;
        [[maybe_unused]] const ExactDecimalScope exact;
        std::from_chars_result r = std::from_chars(p, end, value, std::chars_format::general);
        if (r.ec != std::errc() || r.ptr != end)
            return false;
        if (kind == NumberKind::Float) {
            float narrowed = narrowToFloat(value);
            return narrowed - narrowed == 0.0f; // finite
        }
        return true;
    }
    const char* p = begin;
    bool negative = *p == '-';
    if (negative)
        ++p;
    if (p == end)
        return false;
    for (const char* q = p; q < end; ++q)
        if (*q < '0' || *q > '9')
            return false;
    ParsedInteger n = parseInteger(p, end);
    if (n.overflow)
        return false;
    uint64_t lowest = 0, highest = 0; // magnitudes allowed below and above zero
    switch (kind) {
    case NumberKind::Bool: highest = 1; break;
    case NumberKind::Char: lowest = 128; highest = 127; break;
    case NumberKind::UChar: highest = 255; break;
    case NumberKind::Short: lowest = 32768; highest = 32767; break;
    case NumberKind::UShort: highest = 65535; break;
    case NumberKind::Int: lowest = 2147483648ull; highest = 2147483647ull; break;
    case NumberKind::UInt: highest = 4294967295ull; break;
    case NumberKind::Int64: lowest = 9223372036854775808ull; highest = 9223372036854775807ull; break;
    default: highest = UINT64_MAX; break;
    }
    return negative ? n.magnitude <= lowest : n.magnitude <= highest;
}

} // namespace internal
} // namespace io

#endif
