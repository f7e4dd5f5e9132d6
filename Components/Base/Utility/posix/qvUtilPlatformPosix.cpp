#include "../internal/qvUtilPlatform.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace qvUtil {
namespace internal {

namespace {

// The format with each plain "%p" written as the Windows runtime prints a pointer: every hex
// digit of its width, upper case, no "0x" (the C library here adds one, or prints "(nil)").
// Empty when the format has no such conversion.
std::string withRuntimePointers(const char* format)
{
    static const std::string pointer =
        "%0" + std::to_string(2 * sizeof(void*)) + PRIXPTR;
    std::string rewritten;
    const char* copied = format;
    for (const char* c = format; *c; ++c) {
        if (*c != '%')
            continue;
        if (c[1] == 'p') {
            rewritten.append(copied, c).append(pointer);
            copied = c + 2;
        }
        // Skip the rest of the conversion ("%%" included) so that its letters are not read
        // as the start of another.
        ++c;
        while (*c && std::strchr("-+ #0123456789.*hlLqjzt", *c))
            ++c;
        if (!*c)
            break;
    }
    if (copied != format)
        rewritten.append(copied);
    return rewritten;
}

} // namespace

int platformVsnprintf(char* buffer, unsigned int size, const char* format, va_list args)
{
    if (format && std::strstr(format, "%p")) {
        const std::string rewritten = withRuntimePointers(format);
        if (!rewritten.empty())
            return std::vsnprintf(buffer, size, rewritten.c_str(), args);
    }
    return std::vsnprintf(buffer, size, format, args);
}

std::string platformErrorText(int errorNumber)
{
#if defined(__GLIBC__) && (__GLIBC__ > 2 || __GLIBC_MINOR__ >= 32)
    // Null for a number the table lacks, where strerror() would make up "Unknown error <n>".
    const char* text = strerrordesc_np(errorNumber);
#else
    const char* text = std::strerror(errorNumber);
#endif
    return text ? text : "";
}

} // namespace internal
} // namespace qvUtil
