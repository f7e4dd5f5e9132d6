#include "../internal/qvOSPlatform.h"

#include "qvOSFileStatus.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

namespace qvOS {
namespace internal {

char nativeSeparator()
{
    return '/';
}

std::string nativePath(const std::string& name)
{
    std::string path(name);
    for (char& c : path)
        if (c == '\\')
            c = '/';
    return path;
}

bool getCurrentDirectory(std::string& dir)
{
    char buffer[PATH_MAX];
    if (!::getcwd(buffer, sizeof buffer))
        return false;
    dir = buffer;
    return true;
}

bool setCurrentDirectory(const std::string& dir)
{
    return ::chdir(dir.c_str()) == 0;
}

bool makeDirectory(const std::string& dir)
{
    return ::mkdir(dir.c_str(), 0777) == 0;
}

int removeFile(const std::string& name)
{
    return ::unlink(name.c_str()) == 0 ? 0 : errno;
}

int removeDirectory(const std::string& name, bool& notEmpty)
{
    if (::rmdir(name.c_str()) == 0)
        return 0;
    const int err = errno;
    notEmpty = err == ENOTEMPTY || err == EEXIST;
    return err;
}

bool isDirectory(const std::string& name)
{
    struct stat info;
    return ::stat(name.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isSymbolicLink(const std::string& name)
{
    struct stat info;
    return ::lstat(name.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

int removeLink(const std::string& name)
{
    return ::unlink(name.c_str()) == 0 ? 0 : errno;
}

int copySymbolicLink(const std::string& from, const std::string& to)
{
    std::vector<char> target(PATH_MAX + 1);
    const ssize_t length = ::readlink(from.c_str(), target.data(), target.size() - 1);
    if (length < 0)
        return errno;
    target[static_cast<std::size_t>(length)] = 0;
    return ::symlink(target.data(), to.c_str()) == 0 ? 0 : errno;
}

bool fileIdentity(const std::string& name, FileIdentity& identity)
{
    struct stat info;
    if (::stat(name.c_str(), &info) != 0)
        return false;
    identity.volume = static_cast<std::uint64_t>(info.st_dev);
    identity.index = static_cast<std::uint64_t>(info.st_ino);
    return true;
}

std::string parentOf(const std::string& name)
{
    return name.empty() ? std::string("..") : name + "/..";
}

bool colonIsPathCharacter()
{
    return true;
}

namespace {

bool isMissing(int error)
{
    return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

} // namespace

bool queryStatus(const std::string& name, FileStatus& status)
{
    mode_t mode = 0;
    long long size = 0;
    long created = 0;
    long modified = 0;
    bool known = false;
#if defined(STATX_BTIME)
    // statx() gives the creation (birth) time too, where the file system keeps one, as Windows
    // reports it; elsewhere the status-change time is the nearest there is.
    struct statx extended;
    if (::statx(AT_FDCWD, name.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &extended) == 0) {
        known = true;
        mode = extended.stx_mode;
        size = static_cast<long long>(extended.stx_size);
        created = static_cast<long>((extended.stx_mask & STATX_BTIME) ? extended.stx_btime.tv_sec
                                                                       : extended.stx_ctime.tv_sec);
        modified = static_cast<long>(extended.stx_mtime.tv_sec);
    } else if (errno != ENOSYS && errno != EPERM) {
        return isMissing(errno);
    }
#endif
    if (!known) {
        struct stat info;
        if (::stat(name.c_str(), &info) != 0)
            return isMissing(errno);
        mode = info.st_mode;
        size = static_cast<long long>(info.st_size);
        created = static_cast<long>(info.st_ctime);
        modified = static_cast<long>(info.st_mtime);
    }
    status.setExists(true);
    status.setIsReadable(::access(name.c_str(), R_OK) == 0);
    status.setIsWritable(::access(name.c_str(), W_OK) == 0);
    status.setIsDirectory(S_ISDIR(mode));
    status.setIsFile(S_ISREG(mode));
    status.setIsRemote(false);
    status.setSize(static_cast<unsigned int>(size));
    status.setCreationDate(created);
    status.setLastModification(modified);
    return true;
}

int listDirectory(const std::string& dir, std::vector<std::string>& names)
{
    // A missing directory is a failure, as FindFirstFileA's "path not found" is on Windows.
    DIR* stream = ::opendir(dir.c_str());
    if (!stream)
        return errno;
    errno = 0;
    while (const dirent* entry = ::readdir(stream)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    const int err = errno;
    ::closedir(stream);
    return err;
}

namespace {

// Each system call of copyFile is counted first, so that a test can make any of them fail.
// True when it is to fail, with errno set; a short count only shrinks size.
bool faulted(std::size_t* size = nullptr)
{
    FileFault fault;
    if (!fileFaultHere(fault))
        return false;
    if (fault == FileFault::shortCount) {
        if (size && *size > 1)
            *size /= 2;
        return false;
    }
    errno = fault == FileFault::noSpace ? ENOSPC : fault == FileFault::interrupted ? EINTR : EIO;
    return true;
}

// A counted call returning -1 on failure, repeated while it is interrupted.
template <typename Call> int counted(Call call)
{
    for (;;) {
        const int result = faulted() ? -1 : call();
        if (result >= 0 || errno != EINTR)
            return result;
    }
}

// Writes all of size bytes, retrying after interruptions and short writes.
bool writeAll(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        std::size_t piece = size;
        const ssize_t n = faulted(&piece) ? -1 : ::write(fd, data, piece);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

// Copies the open file in to out; 0 or the error number.
int copyBytes(int in, int out)
{
    static const std::size_t blockSize = 1 << 16;
    std::vector<char> block(blockSize);
    for (;;) {
        std::size_t piece = blockSize;
        const ssize_t n = faulted(&piece) ? -1 : ::read(in, block.data(), piece);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 || (n > 0 && !writeAll(out, block.data(), static_cast<std::size_t>(n))))
            return errno;
        if (n == 0)
            return 0;
    }
}

// Closes fd whatever happens (an interrupted close has closed it); 0 or the error number.
int closeCounted(int fd)
{
    const bool failed = faulted() && errno != EINTR;
    const int err = failed ? errno : 0;
    if (::close(fd) != 0 && !failed && errno != EINTR)
        return errno;
    return err;
}

// The regular file an existing destination names (through links), or "" when it is not one:
// only such a file is replaced through a new file beside it. A file the caller may not write is
// not one either: renaming over it would get past its permissions, where opening it in place
// is refused as before.
std::string replacedFile(const std::string& to)
{
    struct stat info;
    if (::stat(to.c_str(), &info) != 0 || !S_ISREG(info.st_mode)
        || ::faccessat(AT_FDCWD, to.c_str(), W_OK, AT_EACCESS) != 0)
        return std::string();
    return replacementTarget(to);
}

} // namespace

int copyFile(const std::string& from, const std::string& to, bool failIfExists,
             CopyFailure& kind)
{
    kind = CopyFailure::other;
    const int in = counted([&] { return ::open(from.c_str(), O_RDONLY | O_CLOEXEC); });
    if (in < 0) {
        const int err = errno;
        if (err == ENOENT)
            kind = CopyFailure::notFound;
        return err;
    }
    struct stat info;
    if (::fstat(in, &info) != 0 || S_ISDIR(info.st_mode)) {
        const int err = S_ISDIR(info.st_mode) ? EISDIR : errno;
        ::close(in);
        return err;
    }
    // Truncating an existing file and then failing (a full disk) would lose it: the copy goes
    // to a new file beside it, made durable and renamed over it only when whole. A link keeps
    // its place; the file it points to is the one replaced.
    const std::string target = failIfExists ? std::string() : replacedFile(to);
    bool beside = !target.empty();
    std::string temporary;
    int out = -1;
    if (beside) {
        out = counted([&] { return createBeside(target, temporary); });
        // A directory that takes no new files while the file itself is writable: the copy is
        // made in place as before rather than refused.
        if (out < 0 && (errno == EACCES || errno == EPERM))
            beside = false;
    }
    if (!beside) {
        const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (failIfExists ? O_EXCL : O_TRUNC);
        out = counted([&] { return ::open(to.c_str(), flags, info.st_mode & 07777); });
    }
    if (out < 0) {
        const int err = errno;
        ::close(in);
        kind = err == EEXIST && !beside ? CopyFailure::exists : CopyFailure::unwritable;
        return err;
    }
    int err = copyBytes(in, out);
    ::close(in);
    // EINVAL: nothing to make durable on this file system.
    if (err == 0 && beside && counted([&] { return ::fsync(out); }) != 0 && errno != EINVAL)
        err = errno;
    if (const int closed = closeCounted(out))
        err = err ? err : closed;
    if (err == 0 && beside
        && counted([&] { return std::rename(temporary.c_str(), target.c_str()); }) != 0)
        err = errno;
    if (err != 0) {
        if (beside) {
            ::unlink(temporary.c_str());
        } else {
            // No half-copied regular file is left behind (a device such as /dev/full stays).
            struct stat written;
            if (::stat(to.c_str(), &written) == 0 && S_ISREG(written.st_mode))
                ::unlink(to.c_str());
        }
        return err;
    }
    kind = CopyFailure::none;
    return 0;
}

std::string replacementTarget(const std::string& name)
{
    std::string at = name;
    std::vector<char> text(PATH_MAX + 1);
    for (int hops = 0; hops < 40; ++hops) {
        struct stat info;
        if (::lstat(at.c_str(), &info) != 0 || !S_ISLNK(info.st_mode))
            break;
        const ssize_t length = ::readlink(at.c_str(), text.data(), text.size() - 1);
        if (length <= 0)
            break;
        const std::string link(text.data(), static_cast<std::size_t>(length));
        const std::size_t slash = at.rfind('/');
        at = link[0] == '/' || slash == std::string::npos ? link : at.substr(0, slash + 1) + link;
    }
    return at;
}

int createBeside(const std::string& target, std::string& temporary)
{
    struct stat info;
    const bool replacing = ::stat(target.c_str(), &info) == 0;
    // The process id and a counter keep concurrent writers apart; O_EXCL keeps strangers' files.
    static std::atomic<unsigned int> counter{0};
    const std::size_t slash = target.rfind('/');
    const std::string dir = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
    const std::string base = target.substr(dir.size());
    for (int attempt = 0; attempt < 100; ++attempt) {
        temporary = dir + "." + base + "." + std::to_string(::getpid()) + "."
            + std::to_string(counter++) + ".tmp";
        const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                              replacing ? 0600 : 0666);
        if (fd < 0 && (errno == EEXIST || errno == EINTR))
            continue;
        if (fd < 0)
            return -1;
        if (replacing) {
            if (::fchown(fd, info.st_uid, info.st_gid) != 0) {
                // Not permitted to give the file away: it stays the writer's, as a new file would.
            }
            if (::fchmod(fd, info.st_mode & 07777) != 0) {
                const int err = errno;
                ::close(fd);
                ::unlink(temporary.c_str());
                errno = err;
                return -1;
            }
        }
        return fd;
    }
    errno = EEXIST;
    return -1;
}

// No POSIX build runs on the x87 unit.
unsigned int x87RoundToDouble()
{
    return 0;
}

void x87Restore(unsigned int) {}

int deleteFile(const std::string& name)
{
    return ::unlink(name.c_str()) == 0 ? 0 : errno;
}

int renameFile(const std::string& from, const std::string& to)
{
    // rename() would replace an existing destination; the library's contract refuses it.
    struct stat info;
    if (::lstat(to.c_str(), &info) == 0) {
        errno = EEXIST;
        return -1;
    }
    return std::rename(from.c_str(), to.c_str());
}

std::string defaultTemporaryDirectory()
{
    const char* dir = std::getenv("TMPDIR");
    return dir && *dir ? dir : "/tmp";
}

std::string temporaryName(const std::string& dir, const char* prefix)
{
    // The process id and a per-process counter keep names apart between and within processes;
    // the clock separates a recycled process id from its predecessor.
    static std::atomic<unsigned int> counter{0};
    std::string base = dir;
    if (!base.empty() && base.back() != '/')
        base += '/';
    for (int attempt = 0; attempt < 100; ++attempt) {
        const auto stamp = static_cast<unsigned long long>(
            std::chrono::steady_clock::now().time_since_epoch().count());
        char name[96];
        std::snprintf(name, sizeof name, "%s%lx_%x_%llx", prefix,
                      static_cast<unsigned long>(::getpid()), counter++, stamp & 0xFFFFFFFFull);
        const std::string candidate = base + name;
        struct stat info;
        if (::lstat(candidate.c_str(), &info) != 0 && errno == ENOENT)
            return candidate;
    }
    return std::string();
}

bool absolutePath(const std::string& path, std::string& full)
{
    if (path.empty())
        return false;
    std::string native = nativePath(path);
    if (native[0] == '/') {
        full = native;
        return true;
    }
    std::string cwd;
    if (!getCurrentDirectory(cwd))
        return false;
    full = cwd + (cwd.back() == '/' ? "" : "/") + native;
    return true;
}

std::string containingDirectory(const std::string& full)
{
    const std::size_t slash = full.rfind('/');
    return slash == std::string::npos ? std::string("/") : full.substr(0, slash + 1);
}

int volumeSpace(const std::string& dir, VolumeSpace& space)
{
    struct statvfs info;
    if (::statvfs(dir.c_str(), &info) != 0)
        return errno;
    space.totalBytes = static_cast<std::uint64_t>(info.f_blocks) * info.f_frsize;
    space.availBytes = static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
    return 0;
}

unsigned int pageSize()
{
    const long size = ::sysconf(_SC_PAGESIZE);
    return size > 0 ? static_cast<unsigned int>(size) : 4096u;
}

unsigned int processorCount()
{
    const long count = ::sysconf(_SC_NPROCESSORS_ONLN);
    return count > 0 ? static_cast<unsigned int>(count) : 1u;
}

MemoryStatus memoryStatus()
{
    MemoryStatus status;
    struct sysinfo info;
    if (::sysinfo(&info) == 0) {
        status.totalPhysical = static_cast<std::uint64_t>(info.totalram) * info.mem_unit;
        status.availPhysical = static_cast<std::uint64_t>(info.freeram) * info.mem_unit;
    }
    // The process's address space: its limit, or what a pointer can reach.
    struct rlimit limit;
    std::uint64_t total = sizeof(void*) >= 8 ? (std::uint64_t(1) << 47) : 0xFFFFFFFFull;
    if (::getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
        total = static_cast<std::uint64_t>(limit.rlim_cur);
    status.totalVirtual = total;
    std::uint64_t used = 0;
    if (std::FILE* statm = std::fopen("/proc/self/statm", "r")) {
        unsigned long pages = 0;
        if (std::fscanf(statm, "%lu", &pages) == 1)
            used = static_cast<std::uint64_t>(pages) * pageSize();
        std::fclose(statm);
    }
    status.availVirtual = used < total ? total - used : 0;
    return status;
}

bool hostName(std::string& name)
{
    char buffer[256];
    if (::gethostname(buffer, sizeof buffer) != 0)
        return false;
    buffer[sizeof buffer - 1] = 0;
    name = buffer;
    return true;
}

std::int64_t counterNow()
{
    struct timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

std::int64_t counterFrequency()
{
    return 1000000000;
}

bool isProgram(const std::string& name)
{
    struct stat info;
    return ::stat(name.c_str(), &info) == 0 && S_ISREG(info.st_mode)
        && ::access(name.c_str(), X_OK) == 0;
}

char pathListSeparator()
{
    return ':';
}

const char* executableSuffix()
{
    return "";
}

} // namespace internal
} // namespace qvOS
