#include "../internal/ioFileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace io {
namespace internal {

int fdOpen(const char* path, bool forInput, FdFailure& failure)
{
    int flags = forInput ? O_RDONLY : (O_WRONLY | O_CREAT | O_TRUNC);
    int fd = ::open(path, flags | O_CLOEXEC, 0666);
    failure = fd < 0 ? classifyErrno(errno) : FdFailure::none;
    return fd;
}

int fdRead(int fd, char* data, int size, FdFailure& failure)
{
    ssize_t n = ::read(fd, data, static_cast<size_t>(size));
    failure = n < 0 ? classifyErrno(errno) : FdFailure::none;
    return static_cast<int>(n);
}

int fdWrite(int fd, const char* data, int size, FdFailure& failure)
{
    ssize_t n = ::write(fd, data, static_cast<size_t>(size));
    failure = n < 0 ? classifyErrno(errno) : FdFailure::none;
    return static_cast<int>(n);
}

void fdClose(int fd)
{
    ::close(fd);
}

long long fdFileSize(const char* path)
{
    struct stat info;
    if (::stat(path, &info) != 0)
        return -1;
    return static_cast<long long>(info.st_size);
}

} // namespace internal
} // namespace io
