#include "../internal/ioFileDescriptor.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace io {
namespace internal {

namespace {

// The directory part of a name, with its '/', or "" for a bare name.
std::string directoryOf(const std::string& name)
{
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? std::string() : name.substr(0, slash + 1);
}

// Follows links from name to the name of the file they end at (which need not exist yet).
std::string linkTarget(std::string name)
{
    std::vector<char> text(PATH_MAX + 1);
    for (int hops = 0; hops < 40; ++hops) {
        struct stat info;
        if (::lstat(name.c_str(), &info) != 0 || !S_ISLNK(info.st_mode))
            break;
        const ssize_t length = ::readlink(name.c_str(), text.data(), text.size() - 1);
        if (length <= 0)
            break;
        const std::string target(text.data(), static_cast<std::size_t>(length));
        name = target[0] == '/' ? target : directoryOf(name) + target;
    }
    return name;
}

} // namespace

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
    target = linkTarget(path);
    struct stat info;
    const bool replacing = ::stat(target.c_str(), &info) == 0;
    if (replacing && !S_ISREG(info.st_mode))
        return -1; // a directory or a device is not a file to swap out
    // The process id and a counter keep concurrent saves apart; O_EXCL keeps strangers' files.
    static std::atomic<unsigned int> counter{0};
    const std::size_t slash = target.rfind('/');
    const std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
    for (int attempt = 0; attempt < 100; ++attempt) {
        char suffix[48];
        std::snprintf(suffix, sizeof suffix, ".%ld.%u.tmp", static_cast<long>(::getpid()),
                      counter++);
        temporary = directoryOf(target) + "." + base + suffix;
        const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                              replacing ? 0600 : 0666);
        if (fd < 0 && errno == EINTR)
            continue;
        if (fd < 0 && errno == EEXIST)
            continue;
        if (fd < 0) {
            failure = classifyErrno(errno);
            return -1;
        }
        // The new file takes the permissions of the one it replaces, not the umask's.
        if (replacing && ::fchmod(fd, info.st_mode & 07777) != 0) {
            ::close(fd);
            ::unlink(temporary.c_str());
            return -1;
        }
        failure = FdFailure::none;
        return fd;
    }
    return -1;
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
    const std::string dir = directoryOf(target);
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
