#ifndef QVUTIL_INTERNAL_PLATFORM_H
#define QVUTIL_INTERNAL_PLATFORM_H

// Operating-system services of the core utilities; posix/ and win32/ each implement them.

#include <cstdarg>
#include <string>

namespace qvUtil {
namespace internal {

// The C runtime's bounded vprintf as the platform has it. Returns the runtime's own count
// (which on POSIX may exceed size - 1 when the text was cut, and on Windows is negative then).
int platformVsnprintf(char* buffer, unsigned int size, const char* format, va_list args);

// The system's own text for an operating-system error number (FormatMessageA on Windows, the C
// library's table on POSIX), without trailing line breaks; empty when the system has none.
std::string platformErrorText(int errorNumber);

// platformErrorText, or "An unknown WIN32 error occured: <n>" when the system has none (portable).
std::string systemErrorText(int errorNumber);

} // namespace internal
} // namespace qvUtil

#endif
