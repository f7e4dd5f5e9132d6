#include "../internal/ioFileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace io {
namespace internal {

int fdOpen(const char* path, bool forInput, FdFailure& failure)
{
    // Binary mode: the C runtime must not translate line ends, files are byte-identical.
    int flags = forInput ? (_O_RDONLY | _O_BINARY)
                         : (_O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY);
    int fd = ::_open(path, flags | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
    failure = fd < 0 ? classifyErrno(errno) : FdFailure::none;
    return fd;
}

int fdRead(int fd, char* data, int size, FdFailure& failure)
{
    int n = ::_read(fd, data, static_cast<unsigned int>(size));
    failure = n < 0 ? classifyErrno(errno) : FdFailure::none;
    return n;
}

int fdWrite(int fd, const char* data, int size, FdFailure& failure)
{
    int n = ::_write(fd, data, static_cast<unsigned int>(size));
    failure = n < 0 ? classifyErrno(errno) : FdFailure::none;
    return n;
}

void fdClose(int fd)
{
    ::_close(fd);
}

long long fdFileSize(const char* path)
{
    struct _stati64 info;
    if (::_stati64(path, &info) != 0)
        return -1;
    return static_cast<long long>(info.st_size);
}

} // namespace internal
} // namespace io
