#include "qvStringIString.h"

#include "internal/qvStringConvert.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

// The C runtime converts between multibyte text and wchar_t. Where wchar_t is 16 bits wide
// (Windows) its units are the string's units. Where it is 32 bits wide (Linux) a character
// beyond U+FFFF becomes a UTF-16 surrogate pair on the way in, and a valid pair becomes one
// character again on the way out, so such characters survive a round trip; a lone surrogate
// has no multibyte form and makes the conversion fail.

namespace qvString {
namespace internal {

namespace {

constexpr bool wideIs16Bit = sizeof(wchar_t) == 2;

void appendUnits(wchar_t c, WideSeq& out)
{
    unsigned long code = static_cast<unsigned long>(c);
    if (wideIs16Bit || code <= 0xFFFF) {
        out.push_back(static_cast<unsigned short>(code));
    } else if (code <= 0x10FFFF) {
        code -= 0x10000;
        out.push_back(static_cast<unsigned short>(0xD800 + (code >> 10)));
        out.push_back(static_cast<unsigned short>(0xDC00 + (code & 0x3FF)));
    } else {
        out.push_back(0xFFFD);
    }
}

// Units up to length or the first 0 unit, as a terminated wchar_t text.
std::vector<wchar_t> widen(const unsigned short* text, std::size_t length)
{
    std::vector<wchar_t> wide;
    wide.reserve(length + 1);
    for (std::size_t i = 0; i < length && text[i] != 0; ++i) {
        unsigned long unit = text[i];
        if (!wideIs16Bit && unit >= 0xD800 && unit < 0xDC00 && i + 1 < length
            && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
            unit = 0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00u);
            ++i;
        }
        wide.push_back(static_cast<wchar_t>(unit));
    }
    wide.push_back(L'\0');
    return wide;
}

} // namespace

bool decodeMultibyte(const char* text, std::size_t length, WideSeq& out)
{
    const void* nul = std::memchr(text, '\0', length);
    std::string bytes(text, nul ? static_cast<const char*>(nul) - text : length);
    std::size_t count = std::mbstowcs(nullptr, bytes.c_str(), 0);
    if (count == static_cast<std::size_t>(-1))
        return false;
    std::vector<wchar_t> wide(count + 1);
    if (std::mbstowcs(wide.data(), bytes.c_str(), count + 1) != count)
        return false;
    WideSeq units;
    units.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        appendUnits(wide[i], units);
    out.swap(units);
    return true;
}

bool encodeMultibyte(const unsigned short* text, std::size_t length, std::string& out)
{
    std::vector<wchar_t> wide = widen(text, length);
    std::size_t count = std::wcstombs(nullptr, wide.data(), 0);
    if (count == static_cast<std::size_t>(-1))
        return false;
    std::string bytes(count, '\0');
    if (count != 0 && std::wcstombs(&bytes[0], wide.data(), count) != count)
        return false;
    out.swap(bytes);
    return true;
}

} // namespace internal

namespace {

std::size_t unitLength(const unsigned short* text)
{
    std::size_t n = 0;
    while (text[n] != 0)
        ++n;
    return n;
}

// The common tail of both conversions. The whole text was converted: with a null dst its count
// is the answer, and a dst shorter than it takes nothing. Otherwise at most limit units of it go
// to dst, with a terminator when the text ends before the limit. The limit is srcCount, the
// runtime's output count, capped at dstCount so that dst is never overrun.
template <class Unit, class Seq>
unsigned int deliver(const Seq& converted, std::size_t kept, unsigned int srcCount, Unit* dst,
                     unsigned int dstCount)
{
    const std::size_t count = converted.size();
    if (!dst)
        return static_cast<unsigned int>(count);
    if (count > dstCount)
        return 0;
    const std::size_t limit = std::min(srcCount, dstCount);
    std::copy(converted.begin(), converted.begin() + static_cast<std::ptrdiff_t>(kept), dst);
    if (kept == count && count < limit)
        dst[count] = 0;
    return static_cast<unsigned int>(kept);
}

} // namespace

unsigned int MBStoWCS(const char* src, unsigned int srcCount, unsigned short* dst,
                      unsigned int dstCount)
{
    internal::WideSeq units;
    if (!src || !internal::decodeMultibyte(src, std::strlen(src), units))
        return 0;
    const std::size_t kept = std::min<std::size_t>(units.size(), std::min(srcCount, dstCount));
    return deliver(units, kept, srcCount, dst, dstCount);
}

unsigned int WCStoMBS(const unsigned short* src, unsigned int srcCount, char* dst,
                      unsigned int dstCount)
{
    std::string bytes;
    const std::size_t length = src ? unitLength(src) : 0;
    if (!src || !internal::encodeMultibyte(src, length, bytes))
        return 0;
    const std::size_t limit = std::min(srcCount, dstCount);
    std::size_t kept = bytes.size();
    if (dst && kept > limit) {
        // The runtime writes whole characters only: count those that fit.
        kept = 0;
        std::string piece;
        for (std::size_t i = 0; i < length;) {
            const std::size_t units = (src[i] >= 0xD800 && src[i] < 0xDC00 && i + 1 < length
                                       && src[i + 1] >= 0xDC00 && src[i + 1] < 0xE000)
                                          ? 2
                                          : 1;
            if (!internal::encodeMultibyte(src + i, units, piece) || kept + piece.size() > limit)
                break;
            kept += piece.size();
            i += units;
        }
    }
    return deliver(bytes, kept, srcCount, dst, dstCount);
}

} // namespace qvString
