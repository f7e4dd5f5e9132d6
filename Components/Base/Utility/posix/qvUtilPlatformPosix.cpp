#include "../internal/qvUtilPlatform.h"

#include <cstdio>
#include <cstring>

namespace qvUtil {
namespace internal {

int platformVsnprintf(char* buffer, unsigned int size, const char* format, va_list args)
{
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
