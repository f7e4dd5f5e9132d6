#include "../internal/ioFileDescriptor.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <windows.h>

namespace io {
namespace internal {

namespace {

// The directory part of a name, with its separator, or "" for a bare name.
std::string directoryOf(const std::string& name)
{
    const std::size_t slash = name.find_last_of("\\/:");
    return slash == std::string::npos ? std::string() : name.substr(0, slash + 1);
}

// The file a name ends at when it is a symbolic link (a reparse point), so that a save replaces
// the file the link points to and the link stays; any other name as it is. A link whose file
// is missing is replaced itself, as the system cannot open what it points to.
std::string finalTarget(const char* path)
{
    const DWORD attributes = GetFileAttributesA(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return path;
    HANDLE file = CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return path;
    char name[4 * MAX_PATH];
    const DWORD length = GetFinalPathNameByHandleA(file, name, sizeof name, FILE_NAME_NORMALIZED);
    CloseHandle(file);
    if (length == 0 || length >= sizeof name)
        return path;
    const std::string resolved(name, length);
    // The system gives the long-name form: \\?\C:\dir\file or \\?\UNC\server\share\file.
    if (resolved.rfind("\\\\?\\UNC\\", 0) == 0)
        return "\\\\" + resolved.substr(8);
    if (resolved.rfind("\\\\?\\", 0) == 0)
        return resolved.substr(4);
    return resolved;
}

} // namespace

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
    target = finalTarget(path);
    struct _stati64 info;
    const bool replacing = ::_stati64(target.c_str(), &info) == 0;
    if (replacing && !(info.st_mode & _S_IFREG))
        return -1; // a directory or a device is not a file to swap out
    static std::atomic<unsigned int> counter{0};
    const std::string dir = directoryOf(target);
    const std::string base = target.substr(dir.size());
    for (int attempt = 0; attempt < 100; ++attempt) {
        char suffix[48];
        std::snprintf(suffix, sizeof suffix, ".%d.%u.tmp", ::_getpid(), counter++);
        temporary = dir + "." + base + suffix;
        const int fd = ::_open(temporary.c_str(),
                               _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                               _S_IREAD | _S_IWRITE);
        if (fd < 0 && errno == EEXIST)
            continue;
        if (fd < 0) {
            failure = classifyErrno(errno);
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
