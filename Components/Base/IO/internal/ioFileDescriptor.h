#ifndef IO_INTERNAL_FILEDESCRIPTOR_H
#define IO_INTERNAL_FILEDESCRIPTOR_H

// Descriptor input/output of the operating system: POSIX calls on Linux, the C runtime's
// descriptor calls (binary mode) on Windows; posix/ and win32/ each implement it.

#include "internal/qvOSPlatform.h"
#include "qvBaseExport.h"

#include <cerrno>
#include <string>

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
// Closes the descriptor; false when the system reports that written data may be lost.
bool fdClose(int fd);
// Size of the file at path, or -1 when the status query fails.
long long fdFileSize(const char* path);

// Replacing a file whole. fdOpenReplacement creates a new, empty file beside the file that path
// names (for a link: the file it points to, which is the one to replace) with the permission
// bits of that file, and gives its name (temporary) and the name to rename it to (target).
// Returns the descriptor or -1; a path naming something other than a regular file is refused.
int fdOpenReplacement(const char* path, std::string& temporary, std::string& target,
                      FdFailure& failure);
// Makes the written bytes durable. False on failure.
bool fdSync(int fd, FdFailure& failure);
// Renames temporary over target in one step. False on failure.
bool fdReplace(const std::string& temporary, const std::string& target, FdFailure& failure);
void fdRemove(const std::string& path);

// Fault injection for tests: the call-th call of this layer from now on (open, read, write,
// sync, close, replace; counting from 1) fails the given way; 0 disarms. Short counts move at
// most half the bytes asked for; they and interruptions must be retried by the callers. The
// count is the one of the file copies below the files (injectFileFault), so that an operation
// using both layers has its calls numbered in one sequence.
using FdFault = qvOS::internal::FileFault;
inline void injectFdFault(long call, FdFault fault)
{
    qvOS::internal::injectFileFault(call, fault);
}
// Calls of this layer since the last injectFdFault.
inline long fdCallCount()
{
    return qvOS::internal::fileCallCount();
}
// Called by each call of this layer: true when an injected fault makes it fail at once, with
// failure set; a short count only shrinks *size (when the call has one) and the call goes on.
bool fdInjectedFailure(FdFailure& failure, int* size = nullptr);

} // namespace internal
} // namespace io

#endif
