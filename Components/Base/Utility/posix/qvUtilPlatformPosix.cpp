#include "../internal/qvUtilPlatform.h"

#include "qvUtilError.h"

#include <cstdio>
#include <cstring>

namespace qvUtil {
namespace internal {

int platformVsnprintf(char* buffer, unsigned int size, const char* format, va_list args)
{
    return std::vsnprintf(buffer, size, format, args);
}

std::string systemErrorText(int errorNumber)
{
    const char* text = std::strerror(errorNumber);
    if (text && *text)
        return text;
    char fallback[64];
    QL_snprintf(fallback, sizeof fallback, "An unknown WIN32 error occured: %d", errorNumber);
    return fallback;
}

} // namespace internal
} // namespace qvUtil
