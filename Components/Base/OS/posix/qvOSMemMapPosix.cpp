#include "../internal/qvOSMemMap.h"

#include "internal/qvUtilPlatform.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qvOS {
namespace internal {

qvUtil::Error mapFile(MemMapHandle& handle, const char* filename, unsigned int size,
                      bool writable, void*& view)
{
    view = nullptr;
    const int fd = ::open(filename, (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC);
    if (fd < 0) {
        const std::string text = qvUtil::internal::systemErrorText(errno);
        return writable ? qvUtil::Error(3, "Cannot read/write file %s: %s", filename, text.c_str())
                        : qvUtil::Error(3, "Cannot read file: %s: %s", filename, text.c_str());
    }
    // A view past the end of the file would fault on access; refuse it as the system would
    // refuse a view larger than its mapping.
    struct stat info;
    int err = ::fstat(fd, &info) != 0 ? errno : 0;
    if (err == 0 && static_cast<unsigned long long>(info.st_size) < size)
        err = EINVAL;
    if (err != 0) {
        ::close(fd);
        return qvUtil::Error(2, "%s", qvUtil::internal::systemErrorText(err).c_str());
    }
    void* address = ::mmap(nullptr, size, writable ? PROT_READ | PROT_WRITE : PROT_READ,
                           MAP_SHARED, fd, 0);
    err = errno;
    // The mapping keeps the file open.
    ::close(fd);
    if (address == MAP_FAILED)
        return qvUtil::Error(2, "%s", qvUtil::internal::systemErrorText(err).c_str());
    handle.mapping = address;
    view = address;
    return qvUtil::Error();
}

qvUtil::Error unmapFile(MemMapHandle& handle, const char* filename, void* view,
                        unsigned int size)
{
    handle.mapping = nullptr;
    if (::munmap(view, size) != 0)
        return qvUtil::Error(2, "UnmapViewOfFile() failed for file %s: %s", filename,
                             qvUtil::internal::systemErrorText(errno).c_str());
    return qvUtil::Error();
}

} // namespace internal
} // namespace qvOS
