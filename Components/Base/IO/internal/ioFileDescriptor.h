#ifndef IO_INTERNAL_FILEDESCRIPTOR_H
#define IO_INTERNAL_FILEDESCRIPTOR_H

// Descriptor input/output of the operating system: POSIX calls on Linux, the C runtime's
// descriptor calls (binary mode) on Windows; posix/ and win32/ each implement it.

#include <cerrno>

namespace io {
namespace internal {

// How a failed call failed, independent of the platform's error numbers.
enum class FdFailure { none, interrupted, tryAgain, noSpace, other };

// Both C runtimes report descriptor failures through errno with these names.
inline FdFailure classifyErrno(int errorNumber)
{
    switch (errorNumber) {
    case EINTR:
        return FdFailure::interrupted;
    case EAGAIN:
        return FdFailure::tryAgain;
    case ENOSPC:
        return FdFailure::noSpace;
    default:
        return FdFailure::other;
    }
}

// Opens for reading, or for writing with create and truncate (permission 0666). Returns the
// descriptor or -1, with the failure kind.
int fdOpen(const char* path, bool forInput, FdFailure& failure);
// The count transferred, or -1 with the failure kind.
int fdRead(int fd, char* data, int size, FdFailure& failure);
int fdWrite(int fd, const char* data, int size, FdFailure& failure);
void fdClose(int fd);
// Size of the file at path, or -1 when the status query fails.
long long fdFileSize(const char* path);

} // namespace internal
} // namespace io

#endif
