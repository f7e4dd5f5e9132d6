#include "../internal/ioFileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <windows.h>

namespace io {
namespace internal {

int fdOpen(const char* path, bool forInput, FdFailure& failure)
{
    if (fdInjectedFailure(failure))
        return -1;
    // Binary mode: the C runtime must not translate line ends, files are byte-identical.
    int flags = forInput ? (_O_RDONLY | _O_BINARY)
                         : (_O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY);
    int fd = ::_open(path, flags | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
    failure = fd < 0 ? classifyErrno(errno) : FdFailure::none;
    return fd;
}

int fdRead(int fd, char* data, int size, FdFailure& failure)
{
    if (fdInjectedFailure(failure, &size))
        return -1;
    int n = ::_read(fd, data, static_cast<unsigned int>(size));
    failure = n < 0 ? classifyErrno(errno) : FdFailure::none;
    return n;
}

int fdWrite(int fd, const char* data, int size, FdFailure& failure)
{
    if (fdInjectedFailure(failure, &size))
        return -1;
    int n = ::_write(fd, data, static_cast<unsigned int>(size));
    failure = n < 0 ? classifyErrno(errno) : FdFailure::none;
    return n;
}

bool fdClose(int fd)
{
    // The descriptor is released whatever is injected; an interruption loses nothing.
    FdFailure injected = FdFailure::none;
    const bool failed = fdInjectedFailure(injected) && injected != FdFailure::interrupted;
    const int result = ::_close(fd);
    return !failed && result == 0;
}

long long fdFileSize(const char* path)
{
    struct _stati64 info;
    if (::_stati64(path, &info) != 0)
        return -1;
    return static_cast<long long>(info.st_size);
}

int fdOpenReplacement(const char* path, std::string& temporary, std::string& target,
                      FdFailure& failure)
{
    if (fdInjectedFailure(failure))
        return -1;
    failure = FdFailure::other;
    target = qvOS::internal::replacementTarget(path);
    struct _stati64 info;
    if (::_stati64(target.c_str(), &info) == 0 && !(info.st_mode & _S_IFREG))
        return -1; // a directory or a device is not a file to swap out
    const int fd = qvOS::internal::createBeside(target, temporary);
    failure = fd < 0 ? classifyErrno(errno) : FdFailure::none;
    return fd;
}

bool fdSync(int fd, FdFailure& failure)
{
    if (fdInjectedFailure(failure))
        return false;
    if (::_commit(fd) == 0)
        return true;
    failure = classifyErrno(errno);
    return false;
}

bool fdReplace(const std::string& temporary, const std::string& target, FdFailure& failure)
{
    if (fdInjectedFailure(failure))
        return false;
    // The new file keeps the attributes of the one it replaces (read-only, hidden, ...), as
    // it keeps the permission bits on POSIX. A read-only file refuses to be replaced, so the
    // flag is lifted for the move and put back on whichever file holds the name afterwards.
    const DWORD kept = GetFileAttributesA(target.c_str());
    const bool replacing = kept != INVALID_FILE_ATTRIBUTES && !(kept & FILE_ATTRIBUTE_DIRECTORY);
    if (replacing && (kept & FILE_ATTRIBUTE_READONLY))
        SetFileAttributesA(target.c_str(), kept & ~FILE_ATTRIBUTE_READONLY);
    const bool moved = MoveFileExA(temporary.c_str(), target.c_str(),
                                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
    const DWORD error = moved ? 0 : GetLastError();
    if (replacing)
        SetFileAttributesA(target.c_str(), kept);
    if (!moved) {
        failure = error == ERROR_DISK_FULL ? FdFailure::noSpace : FdFailure::other;
        return false;
    }
    return true;
}

void fdRemove(const std::string& path)
{
    ::_unlink(path.c_str());
}

} // namespace internal
} // namespace io
