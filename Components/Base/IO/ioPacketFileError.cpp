#include "ioContext.h"

#include "qvUtilError.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "internal/ioContextInternal.h"

namespace {

void (*errorFunction)(char*) = nullptr;
void (*abortFunction)() = nullptr;

// Without an installed function the text is printed as if it were a format once more, so a
// "%%" in it comes out as one "%" (kept: existing callers double their per-cent signs). Any
// other conversion is printed as it stands: text such as a type name from a file must never be
// interpreted as a format.
void printAsFormatOnceMore(const char* text)
{
    for (const char* p = text; *p; ++p) {
        if (p[0] == '%' && p[1] == '%')
            ++p;
        std::fputc(*p, stderr);
    }
    std::fflush(stderr);
}

} // namespace

void ioPacketFileErrorInit(void (*function)(char*))
{
    errorFunction = function;
}

void ioPacketFileAbortInit(void (*function)())
{
    abortFunction = function;
}

void ioPacketFileError(const char* format, ...)
{
    char text[1024];
    text[0] = '\0';
    va_list args;
    va_start(args, format);
    QL_vsnprintf(text, sizeof text, format, args);
    va_end(args);
    text[sizeof text - 1] = '\0';
    if (errorFunction)
        errorFunction(text);
    else
        printAsFormatOnceMore(text);
}

namespace io {
namespace internal {

// Calls the installed abort function, then aborts even when it returns.
void abortPacketFile()
{
    if (abortFunction)
        abortFunction();
    std::abort();
}

} // namespace internal
} // namespace io
