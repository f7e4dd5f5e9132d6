#include "../internal/qvUtilPlatform.h"

#include <cstdio>
#include <windows.h>

namespace qvUtil {
namespace internal {

int platformVsnprintf(char* buffer, unsigned int size, const char* format, va_list args)
{
    return _vsnprintf(buffer, size, format, args);
}

std::string platformErrorText(int errorNumber)
{
    char* text = nullptr;
    DWORD length = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM
                                      | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, static_cast<DWORD>(errorNumber), 0,
                                  reinterpret_cast<char*>(&text), 0, nullptr);
    std::string result;
    if (length != 0 && text) {
        result.assign(text, length);
        while (!result.empty() && (result.back() == '\n' || result.back() == '\r'))
            result.pop_back();
    }
    if (text)
        LocalFree(text);
    return result;
}

} // namespace internal
} // namespace qvUtil
