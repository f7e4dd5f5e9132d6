#include "../internal/ioFileDescriptor.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace io {
namespace internal {

int fdOpen(const char* path, bool forInput, FdFailure& failure)
{
    if (fdInjectedFailure(failure))
        return -1;
    int flags = forInput ? O_RDONLY : (O_WRONLY | O_CREAT | O_TRUNC);
    int fd = ::open(path, flags | O_CLOEXEC, 0666);
    failure = fd < 0 ? classifyErrno(errno) : FdFailure::none;
    return fd;
}

int fdRead(int fd, char* data, int size, FdFailure& failure)
{
    if (fdInjectedFailure(failure, &size))
        return -1;
    ssize_t n = ::read(fd, data, static_cast<size_t>(size));
    failure = n < 0 ? classifyErrno(errno) : FdFailure::none;
    return static_cast<int>(n);
}

int fdWrite(int fd, const char* data, int size, FdFailure& failure)
{
    if (fdInjectedFailure(failure, &size))
        return -1;
    ssize_t n = ::write(fd, data, static_cast<size_t>(size));
    failure = n < 0 ? classifyErrno(errno) : FdFailure::none;
    return static_cast<int>(n);
}

bool fdClose(int fd)
{
    // The descriptor is released whatever is injected; an interruption loses nothing.
    FdFailure injected = FdFailure::none;
    const bool failed = fdInjectedFailure(injected) && injected != FdFailure::interrupted;
    // Linux releases the descriptor even when close() is interrupted: it is never retried.
    const int result = ::close(fd);
    return !failed && (result == 0 || errno == EINTR);
}

long long fdFileSize(const char* path)
{
    struct stat info;
    if (::stat(path, &info) != 0)
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
    struct stat info;
    if (::stat(target.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
        return -1; // a directory or a device is not a file to swap out
    const int fd = qvOS::internal::createBeside(target, temporary);
    failure = fd < 0 ? classifyErrno(errno) : FdFailure::none;
    return fd;
}

bool fdSync(int fd, FdFailure& failure)
{
    if (fdInjectedFailure(failure))
        return false;
    if (::fsync(fd) == 0 || errno == EINVAL)
        return true; // EINVAL: nothing to make durable (not a disk file)
    failure = classifyErrno(errno);
    return false;
}

bool fdReplace(const std::string& temporary, const std::string& target, FdFailure& failure)
{
    if (fdInjectedFailure(failure))
        return false;
    if (std::rename(temporary.c_str(), target.c_str()) != 0) {
        failure = classifyErrno(errno);
        return false;
    }
    // The rename itself is durable once the directory is (best effort: some systems refuse).
    const std::size_t slash = target.rfind('/');
    const std::string dir = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
    const int dirFd = ::open(dir.empty() ? "." : dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
    return true;
}

void fdRemove(const std::string& path)
{
    ::unlink(path.c_str());
}

} // namespace internal
} // namespace io
