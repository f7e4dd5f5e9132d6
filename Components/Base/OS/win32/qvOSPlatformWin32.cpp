#include "../internal/qvOSPlatform.h"

#include "qvOSFileStatus.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <direct.h>
#include <float.h>
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <windows.h>

namespace qvOS {
namespace internal {

namespace {

const unsigned int classicPathLength = 260;

bool isNotFound(DWORD err)
{
    return err == ERROR_FILE_NOT_FOUND || err == ERROR_PATH_NOT_FOUND || err == ERROR_INVALID_NAME
        || err == ERROR_BAD_NETPATH || err == ERROR_BAD_NET_NAME
        || err == ERROR_FILENAME_EXCED_RANGE || err == ERROR_INVALID_DRIVE;
}

// Seconds since 1970 of a FILETIME (100 ns steps since 1601).
long unixSeconds(const FILETIME& time)
{
    ULARGE_INTEGER value;
    value.LowPart = time.dwLowDateTime;
    value.HighPart = time.dwHighDateTime;
    if (value.QuadPart < 116444736000000000ULL)
        return 0;
    return static_cast<long>((value.QuadPart - 116444736000000000ULL) / 10000000ULL);
}

// Names past the classic limit go through the wide calls with the long-name prefixes.
bool longAttributes(const std::string& name, WIN32_FILE_ATTRIBUTE_DATA& data, DWORD& err)
{
    std::string path(name);
    for (char& c : path)
        if (c == '/')
            c = '\\';
    std::string prefixed;
    if (path.compare(0, 4, "\\\\?\\") == 0)
        prefixed = path;
    else if (path.compare(0, 2, "\\\\") == 0)
        prefixed = "\\\\?\\UNC\\" + path.substr(2);
    else if (path.size() > 2 && path[1] == ':' && path[2] == '\\')
        prefixed = "\\\\?\\" + path;
    else {
        err = ERROR_FILENAME_EXCED_RANGE;
        return false;
    }
    const int length = MultiByteToWideChar(CP_ACP, 0, prefixed.c_str(), -1, nullptr, 0);
    if (length <= 0) {
        err = GetLastError();
        return false;
    }
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_ACP, 0, prefixed.c_str(), -1, &wide[0], length);
    if (!GetFileAttributesExW(wide.c_str(), GetFileExInfoStandard, &data)) {
        err = GetLastError();
        return false;
    }
    return true;
}

bool isRemoteName(const std::string& name)
{
    if (name.size() >= 2 && (name[0] == '\\' || name[0] == '/') && (name[1] == '\\' || name[1] == '/'))
        return name.compare(0, 4, "\\\\?\\") != 0 || name.compare(0, 8, "\\\\?\\UNC\\") == 0;
    if (name.size() >= 2 && name[1] == ':') {
        const char root[4] = {name[0], ':', '\\', 0};
        return GetDriveTypeA(root) == DRIVE_REMOTE;
    }
    return false;
}

} // namespace

char nativeSeparator()
{
    return '\\';
}

std::string nativePath(const std::string& name)
{
    return name;
}

bool getCurrentDirectory(std::string& dir)
{
    char buffer[classicPathLength];
    if (!_getcwd(buffer, sizeof buffer))
        return false;
    dir = buffer;
    return true;
}

bool setCurrentDirectory(const std::string& dir)
{
    return SetCurrentDirectoryA(dir.c_str()) != 0;
}

bool makeDirectory(const std::string& dir)
{
    return _mkdir(dir.c_str()) == 0;
}

int removeFile(const std::string& name)
{
    return _unlink(name.c_str()) == 0 ? 0 : errno;
}

int removeDirectory(const std::string& name, bool& notEmpty)
{
    if (_rmdir(name.c_str()) == 0)
        return 0;
    const int err = errno;
    notEmpty = err == ENOTEMPTY;
    if (!notEmpty) {
        // Some runtimes report a full directory as a plain access failure; look inside.
        std::vector<std::string> names;
        std::string dir = name;
        if (!dir.empty() && dir.back() != '\\' && dir.back() != '/')
            dir += '\\';
        notEmpty = listDirectory(dir, names) == 0 && !names.empty();
    }
    return err != 0 ? err : EACCES;
}

bool isDirectory(const std::string& name)
{
    struct _stat info;
    return _stat(name.c_str(), &info) == 0 && (info.st_mode & _S_IFDIR) != 0;
}

bool isSymbolicLink(const std::string& name)
{
    const DWORD attributes = GetFileAttributesA(name.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

int removeLink(const std::string& name)
{
    // A link to a directory is removed as a directory entry; its target is not touched.
    const DWORD attributes = GetFileAttributesA(name.c_str());
    const BOOL removed = attributes != INVALID_FILE_ATTRIBUTES
            && (attributes & FILE_ATTRIBUTE_DIRECTORY)
        ? RemoveDirectoryA(name.c_str())
        : DeleteFileA(name.c_str());
    if (removed)
        return 0;
    const DWORD err = GetLastError();
    return err != 0 ? static_cast<int>(err) : static_cast<int>(ERROR_GEN_FAILURE);
}

int copySymbolicLink(const std::string&, const std::string&)
{
    // Reading a reparse point's target takes privileges a library cannot count on: the copy is
    // refused rather than made by following the link.
    return static_cast<int>(ERROR_NOT_SUPPORTED);
}

bool fileIdentity(const std::string& name, FileIdentity& identity)
{
    // Directories open only with backup semantics; no access is asked for, only information.
    HANDLE handle = CreateFileA(name.c_str(), 0,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    BY_HANDLE_FILE_INFORMATION info;
    const BOOL known = GetFileInformationByHandle(handle, &info);
    CloseHandle(handle);
    if (!known)
        return false;
    identity.volume = info.dwVolumeSerialNumber;
    identity.index = (static_cast<std::uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow;
    return true;
}

std::string parentOf(const std::string& name)
{
    return name.empty() ? std::string("..") : name + "\\..";
}

bool colonIsPathCharacter()
{
    return false;
}

bool queryStatus(const std::string& name, FileStatus& status)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    DWORD err = 0;
    bool found;
    if (name.size() >= classicPathLength) {
        found = longAttributes(name, data, err);
    } else {
        found = GetFileAttributesExA(name.c_str(), GetFileExInfoStandard, &data) != 0;
        if (!found)
            err = GetLastError();
    }
    if (!found)
        return isNotFound(err);
    const bool dir = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    status.setExists(true);
    status.setIsReadable(true);
    status.setIsWritable(dir || !(data.dwFileAttributes & FILE_ATTRIBUTE_READONLY));
    status.setIsDirectory(dir);
    status.setIsFile(!dir && !(data.dwFileAttributes & FILE_ATTRIBUTE_DEVICE));
    status.setIsRemote(isRemoteName(name));
    status.setSize(data.nFileSizeLow);
    status.setCreationDate(unixSeconds(data.ftCreationTime));
    status.setLastModification(unixSeconds(data.ftLastWriteTime));
    return true;
}

int listDirectory(const std::string& dir, std::vector<std::string>& names)
{
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA((dir + "*").c_str(), &data);
    if (find == INVALID_HANDLE_VALUE) {
        const DWORD err = GetLastError();
        return err == ERROR_FILE_NOT_FOUND ? 0 : static_cast<int>(err);
    }
    do {
        const std::string name = data.cFileName;
        if (name != "." && name != "..")
            names.push_back(name);
    } while (FindNextFileA(find, &data));
    const DWORD err = GetLastError();
    FindClose(find);
    return err == ERROR_NO_MORE_FILES ? 0 : static_cast<int>(err);
}

namespace {

// Each system call of copyFile is counted first, so that a test can make any of them fail;
// interruptions and short counts do not happen to these calls. True when it is to fail, with
// the last error set.
bool faulted()
{
    FileFault fault;
    if (!fileFaultHere(fault) || fault == FileFault::interrupted || fault == FileFault::shortCount)
        return false;
    SetLastError(fault == FileFault::noSpace ? ERROR_DISK_FULL : ERROR_WRITE_FAULT);
    return true;
}

} // namespace

int copyFile(const std::string& from, const std::string& to, bool failIfExists,
             CopyFailure& kind)
{
    // Copying over an existing file truncates it first, and a copy that then fails (a full
    // disk) would lose it: the copy goes to a new file beside it that replaces it only when
    // whole. A link is copied onto as the system does it, through to its file, and the system
    // refuses a read-only file as before.
    const DWORD attributes = failIfExists ? INVALID_FILE_ATTRIBUTES : GetFileAttributesA(to.c_str());
    bool beside = attributes != INVALID_FILE_ATTRIBUTES
        && !(attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_READONLY));
    std::string temporary;
    if (beside) {
        // A directory too long for a temporary name there gets the direct copy.
        const std::size_t slash = to.find_last_of("\\/:");
        const std::string dir = slash == std::string::npos ? std::string(".") : to.substr(0, slash + 1);
        char name[MAX_PATH];
        beside = GetTempFileNameA(dir.c_str(), "qvc", 0, name) != 0;
        if (beside)
            temporary = name;
    }
    const std::string& copyTo = beside ? temporary : to;
    bool done = !faulted() && CopyFileA(from.c_str(), copyTo.c_str(), failIfExists ? TRUE : FALSE);
    if (done && beside)
        done = !faulted() && MoveFileExA(temporary.c_str(), to.c_str(),
                                         MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    const DWORD err = done ? 0 : GetLastError();
    if (!done && beside) {
        SetFileAttributesA(temporary.c_str(), FILE_ATTRIBUTE_NORMAL); // a read-only source's copy
        DeleteFileA(temporary.c_str());
    }
    if (done) {
        kind = CopyFailure::none;
        return 0;
    }
    // The system names no side: a refusal to open is taken to be the destination's, as the
    // callers have opened the source before.
    const bool refused = err == ERROR_ACCESS_DENIED || err == ERROR_PATH_NOT_FOUND
        || err == ERROR_SHARING_VIOLATION || err == ERROR_INVALID_NAME;
    kind = err == ERROR_FILE_NOT_FOUND ? CopyFailure::notFound
        : err == ERROR_FILE_EXISTS     ? CopyFailure::exists
        : refused                      ? CopyFailure::unwritable
                                       : CopyFailure::other;
    return err != 0 ? static_cast<int>(err) : static_cast<int>(ERROR_GEN_FAILURE);
}

std::string replacementTarget(const std::string& name)
{
    // A symbolic link is a reparse point; a link whose file is missing is replaced itself, as
    // the system cannot open what it points to.
    const DWORD attributes = GetFileAttributesA(name.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return name;
    HANDLE file = CreateFileA(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return name;
    char resolved[4 * MAX_PATH];
    const DWORD length = GetFinalPathNameByHandleA(file, resolved, sizeof resolved, FILE_NAME_NORMALIZED);
    CloseHandle(file);
    if (length == 0 || length >= sizeof resolved)
        return name;
    const std::string full(resolved, length);
    // The system gives the long-name form: \\?\C:\dir\file or \\?\UNC\server\share\file.
    if (full.rfind("\\\\?\\UNC\\", 0) == 0)
        return "\\\\" + full.substr(8);
    if (full.rfind("\\\\?\\", 0) == 0)
        return full.substr(4);
    return full;
}

int createBeside(const std::string& target, std::string& temporary)
{
    // Attributes are not copied here: the move that replaces target keeps them (fdReplace).
    static std::atomic<unsigned int> counter{0};
    const std::size_t slash = target.find_last_of("\\/:");
    const std::string dir = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
    const std::string base = target.substr(dir.size());
    for (int attempt = 0; attempt < 100; ++attempt) {
        temporary = dir + "." + base + "." + std::to_string(::_getpid()) + "."
            + std::to_string(counter++) + ".tmp";
        const int fd = ::_open(temporary.c_str(),
                               _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                               _S_IREAD | _S_IWRITE);
        if (fd < 0 && errno == EEXIST)
            continue;
        return fd;
    }
    errno = EEXIST;
    return -1;
}

unsigned int x87RoundToDouble()
{
#if defined(__i386__) || defined(_M_IX86)
    unsigned int saved = 0;
    _controlfp_s(&saved, _PC_53, _MCW_PC);
    return saved;
#else
    return 0; // SSE arithmetic: nothing to set (and _MCW_PC is refused there)
#endif
}

void x87Restore(unsigned int saved)
{
#if defined(__i386__) || defined(_M_IX86)
    unsigned int unused = 0;
    _controlfp_s(&unused, saved, _MCW_PC);
#else
    (void)saved;
#endif
}

int deleteFile(const std::string& name)
{
    if (DeleteFileA(name.c_str()))
        return 0;
    const DWORD err = GetLastError();
    return err != 0 ? static_cast<int>(err) : static_cast<int>(ERROR_GEN_FAILURE);
}

int renameFile(const std::string& from, const std::string& to)
{
    // The runtime's rename already refuses an existing destination here.
    return rename(from.c_str(), to.c_str());
}

std::string defaultTemporaryDirectory()
{
    return "c:\\";
}

std::string temporaryName(const std::string& dir, const char* prefix)
{
    char* name = _tempnam(dir.c_str(), prefix);
    if (!name)
        return std::string();
    std::string result(name);
    free(name);
    return result;
}

bool absolutePath(const std::string& path, std::string& full)
{
    char* absolute = _fullpath(nullptr, path.c_str(), 0);
    if (!absolute)
        return false;
    full = absolute;
    free(absolute);
    return true;
}

std::string containingDirectory(const std::string& full)
{
    char drive[3];
    char dir[256];
    char result[classicPathLength];
    _splitpath(full.c_str(), drive, dir, nullptr, nullptr);
    _makepath(result, drive, dir, nullptr, nullptr);
    return result;
}

int volumeSpace(const std::string& dir, VolumeSpace& space)
{
    ULARGE_INTEGER avail, total, free;
    if (!GetDiskFreeSpaceExA(dir.c_str(), &avail, &total, &free)) {
        const DWORD err = GetLastError();
        return err != 0 ? static_cast<int>(err) : static_cast<int>(ERROR_GEN_FAILURE);
    }
    space.totalBytes = total.QuadPart;
    space.availBytes = avail.QuadPart;
    return 0;
}

unsigned int pageSize()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwPageSize;
}

unsigned int processorCount()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwNumberOfProcessors;
}

MemoryStatus memoryStatus()
{
    MEMORYSTATUS info;
    info.dwLength = sizeof info;
    GlobalMemoryStatus(&info);
    MemoryStatus status;
    status.totalPhysical = info.dwTotalPhys;
    status.availPhysical = info.dwAvailPhys;
    status.totalVirtual = info.dwTotalVirtual;
    status.availVirtual = info.dwAvailVirtual;
    return status;
}

bool hostName(std::string& name)
{
    char buffer[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD size = sizeof buffer;
    if (!GetComputerNameA(buffer, &size))
        return false;
    name.assign(buffer, size);
    return true;
}

std::int64_t counterNow()
{
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

std::int64_t counterFrequency()
{
    LARGE_INTEGER frequency;
    if (!QueryPerformanceFrequency(&frequency) || frequency.QuadPart <= 0)
        return 1000;
    return frequency.QuadPart;
}

bool isProgram(const std::string& name)
{
    return _access(name.c_str(), 0) == 0;
}

char pathListSeparator()
{
    return ';';
}

const char* executableSuffix()
{
    return ".exe";
}

} // namespace internal
} // namespace qvOS
