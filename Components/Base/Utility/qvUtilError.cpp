#include "qvUtilError.h"

#include "internal/qvUtilPlatform.h"

#include <cstdlib>
#include <cstring>

extern "C" int QL_vsnprintf(char* buffer, unsigned int size, const char* format, va_list args)
{
    int count = qvUtil::internal::platformVsnprintf(buffer, size, format, args);
    // A text that fills the buffer up to its last byte counts as not fitting.
    if (count < 0 || static_cast<unsigned int>(count) >= size - 1)
        return -1;
    return count;
}

extern "C" int QL_snprintf(char* buffer, unsigned int size, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    int count = QL_vsnprintf(buffer, size, format, args);
    va_end(args);
    return count;
}

namespace qvUtil {

namespace {

char* duplicate(const char* text)
{
    size_t size = std::strlen(text) + 1;
    char* copy = static_cast<char*>(std::malloc(size));
    std::memcpy(copy, text, size);
    return copy;
}

} // namespace

Error::Error() : code(0), msg(duplicate("")) {}

Error::Error(int code, const char* format, ...) : code(code), msg(nullptr)
{
    va_list args;
    va_start(args, format);
    setMsg(format, args);
    va_end(args);
}

Error::Error(int code, const char* format, const VaList& args) : code(code), msg(nullptr)
{
    va_list copy;
    va_copy(copy, args.list);
    setMsg(format, copy);
    va_end(copy);
}

Error::Error(const Error& other) : code(other.code), msg(duplicate(other.msg)) {}

Error::~Error()
{
    std::free(msg);
}

const Error& Error::operator=(const Error& other)
{
    if (this != &other) {
        code = other.code;
        std::free(msg);
        msg = duplicate(other.msg);
    }
    return *this;
}

bool Error::operator==(const Error& other) const
{
    return code == other.code && std::strcmp(msg, other.msg) == 0;
}

bool Error::operator!=(const Error& other) const
{
    return !(*this == other);
}

void Error::setMsg(const char* format, va_list args)
{
    std::free(msg);
    msg = nullptr;
    const unsigned int scratchSize = maxMessageLength + 1;
    char* scratch = static_cast<char*>(std::malloc(scratchSize));
    scratch[0] = '\0';
    QL_vsnprintf(scratch, scratchSize, format, args);
    // The runtime may leave a cut text unterminated.
    scratch[scratchSize - 1] = '\0';
    msg = duplicate(scratch);
    std::free(scratch);
}

namespace internal {

std::string systemErrorText(int errorNumber)
{
    std::string text = platformErrorText(errorNumber);
    if (text.empty()) {
        char fallback[64];
        QL_snprintf(fallback, sizeof fallback, "An unknown WIN32 error occured: %d", errorNumber);
        text = fallback;
    }
    return text;
}

} // namespace internal

} // namespace qvUtil
