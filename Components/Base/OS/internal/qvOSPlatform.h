#ifndef QVOS_INTERNAL_PLATFORM_H
#define QVOS_INTERNAL_PLATFORM_H

// Operating-system services of the file and system classes; posix/ and win32/ each implement
// them. Paths are passed as the caller holds them; nativePath() turns a canonical name (with
// backslashes) into one the platform's calls accept.

#include "qvBaseExport.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qvOS {

class FileStatus;

namespace internal {

// '\\' on Windows, '/' on POSIX: the separator that joins names for the platform's calls.
char nativeSeparator();
// The name with every backslash turned into the native separator (unchanged on Windows).
std::string nativePath(const std::string& name);

// Working directory and directories.
bool getCurrentDirectory(std::string& dir);
bool setCurrentDirectory(const std::string& dir);
bool makeDirectory(const std::string& dir);

// Removing entries. Each returns 0 on success or the system's error number.
int removeFile(const std::string& name);
// Like removeFile; notEmpty tells the caller the directory still held entries.
int removeDirectory(const std::string& name, bool& notEmpty);

// True when name is an existing directory.
bool isDirectory(const std::string& name);

// True when name is itself a symbolic link (on Windows, any reparse point): tree operations
// remove, copy and move it as an entry of its own and never walk through it.
bool isSymbolicLink(const std::string& name);
// Removes the link name itself, never what it points to: 0 or the system's error number.
int removeLink(const std::string& name);
// Makes `to` a new link holding the same target as the link `from`: 0 or the system's error
// number (an existing `to` is refused).
int copySymbolicLink(const std::string& from, const std::string& to);

// What a name reaches, links followed: device and inode, or volume serial and file index.
struct FileIdentity {
    std::uint64_t volume = 0;
    std::uint64_t index = 0;
    bool operator==(const FileIdentity& other) const
    {
        return volume == other.volume && index == other.index;
    }
};
// False when name reaches nothing.
bool fileIdentity(const std::string& name, FileIdentity& identity);
// The directory that holds name as the system resolves it (following "..", not the text).
std::string parentOf(const std::string& name);

// True where a ':' inside a name is an ordinary path character (POSIX): names that no
// transport claims are then local paths.
bool colonIsPathCharacter();

// Fills status for name (exists false, success, when nothing is there). Returns false only when
// the platform could not answer for another reason.
bool queryStatus(const std::string& name, FileStatus& status);

// Entry names of a directory, without "." and "..". Returns 0 on success (an empty directory
// included) or the system's error number (a missing directory included).
int listDirectory(const std::string& dir, std::vector<std::string>& names);

// Copies a whole file. Returns 0 or the system's error number; failIfExists refuses an existing
// destination. kind tells the portable code what the number means (unwritable: the destination
// could not be opened or made). An existing regular file is replaced only by a whole copy: on
// failure it is left as it was.
enum class CopyFailure { none, notFound, exists, unwritable, other };
int copyFile(const std::string& from, const std::string& to, bool failIfExists,
             CopyFailure& kind);

// Replacing a file whole, for crash-safe saves and for copies. replacementTarget gives the file a
// name ends at, links followed (it need not exist yet): that file is the one replaced, so that a
// link stays a link. createBeside makes a new, empty file in target's directory and gives its
// name; when target exists the new file takes its permission bits (on POSIX, as far as the
// process may, its owner too). Returns the C runtime's descriptor, or -1 with errno.
std::string replacementTarget(const std::string& name);
int createBeside(const std::string& target, std::string& temporary);

// 32-bit x86 only: the C++ runtime's decimal-to-binary conversions there were built for the x87
// unit, which rounds to a 64-bit mantissa first, and read some numbers one unit in the last place
// off ("4.284383704639525e+27"). Between these two calls the unit rounds to double precision, and
// the conversions read every number as the other builds do. Elsewhere they do nothing.
QV_BASE_API unsigned int x87RoundToDouble(); // the previous setting, for x87Restore
QV_BASE_API void x87Restore(unsigned int saved);

// Fault injection for tests: the call-th system call from now on (counting from 1, over every
// thread) of copyFile, or of the packet streams' descriptor layer, which shares the count, fails
// the given way; 0 disarms. Interruptions and short counts, where the platform's calls have
// them, are retried by their callers.
enum class FileFault { ioError, noSpace, interrupted, shortCount };
QV_BASE_API void injectFileFault(long call, FileFault fault);
// The calls counted since the last injectFileFault.
QV_BASE_API long fileCallCount();
// Counts a call; true with the fault when it is the one to fail.
bool fileFaultHere(FileFault& fault);
// Deletes a file: 0 or the system's error number.
int deleteFile(const std::string& name);
// The C runtime's rename, refusing an existing destination on every platform. Returns the
// runtime's result (0 or -1).
int renameFile(const std::string& from, const std::string& to);

// A name for a temporary file in dir starting with prefix that no other process will be handed;
// empty when none can be made.
std::string temporaryName(const std::string& dir, const char* prefix);
// The directory for temporary names when TEMP is not set.
std::string defaultTemporaryDirectory();

// Volume size of the directory holding path. fullPath receives the absolute path (step one,
// false when it cannot be made), dir the directory queried.
struct VolumeSpace {
    std::uint64_t totalBytes = 0;
    std::uint64_t availBytes = 0;
};
bool absolutePath(const std::string& path, std::string& full);
std::string containingDirectory(const std::string& full);
// 0 or the system's error number.
int volumeSpace(const std::string& dir, VolumeSpace& space);

// System information.
unsigned int pageSize();
unsigned int processorCount();
struct MemoryStatus {
    std::uint64_t totalPhysical = 0;
    std::uint64_t availPhysical = 0;
    std::uint64_t totalVirtual = 0;
    std::uint64_t availVirtual = 0;
};
MemoryStatus memoryStatus();
// The machine's name, or false.
bool hostName(std::string& name);

// A monotonic counter and its ticks per second.
std::int64_t counterNow();
std::int64_t counterFrequency();

// Program search: true when name is a file that can be started (on Windows: it exists).
bool isProgram(const std::string& name);
// The PATH list separator and the executable suffix tried after the plain name ("" on POSIX).
char pathListSeparator();
const char* executableSuffix();

} // namespace internal
} // namespace qvOS

#endif
