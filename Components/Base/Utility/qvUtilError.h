#ifndef QVUTIL_ERROR_H
#define QVUTIL_ERROR_H

#include "qvBaseExport.h"

#include <cstdarg>

extern "C" {
// Bounded formatting. Returns the number of characters written, or -1 when the text does not
// fit with room to spare: a text of size - 1 characters counts as not fitting. On -1 the buffer
// holds whatever the C runtime left in it, possibly without a terminator.
QV_BASE_API int QL_vsnprintf(char* buffer, unsigned int size, const char* format, va_list args);
QV_BASE_API int QL_snprintf(char* buffer, unsigned int size, const char* format, ...)
    QV_PRINTF_FORMAT(3, 4);
}

namespace qvUtil {

// An argument list that the caller has already started, for building an Error from inside a
// variadic function of its own:
//
//     void report(int code, const char* format, ...)
//     {
//         va_list args;
//         va_start(args, format);
//         qvUtil::Error err(code, format, qvUtil::VaList(args));
//         va_end(args);
//     }
//
// The wrapper exists because on 32-bit Windows va_list is a plain char*: a constructor taking a
// bare va_list would win overload resolution for an ordinary call such as Error(4, "%s", text)
// and format garbage. Wrapping the list keeps that form out of reach of plain callers.
class QV_BASE_API VaList {
public:
    explicit VaList(va_list args) { va_copy(list, args); }
    VaList(const VaList&) = delete;
    VaList& operator=(const VaList&) = delete;
    ~VaList() { va_end(list); }

    mutable va_list list;
};

// The failure value of the library: a code (0 = success) and a formatted message that the
// object owns. Testing an Error for truth asks whether it holds a failure.
class QV_BASE_API Error {
public:
    Error();
    Error(int code, const char* format, ...) QV_PRINTF_FORMAT(3, 4);
    Error(int code, const char* format, const VaList& args);
    Error(const Error& other);
    virtual ~Error();

    const Error& operator=(const Error& other);

    bool operator==(const Error& other) const;
    bool operator!=(const Error& other) const;
    operator bool() const { return code != 0; }

    int num() const { return code; }
    const char* message() const { return msg; }

    // Longest message kept; longer formatted text is cut.
    static constexpr unsigned int maxMessageLength = 8191;

protected:
    void setMsg(const char* format, va_list args);

private:
    int code;
    char* msg;
};

} // namespace qvUtil

#endif
