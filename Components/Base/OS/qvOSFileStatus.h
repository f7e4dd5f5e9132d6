#ifndef QVOS_FILESTATUS_H
#define QVOS_FILESTATUS_H

#include "qvBaseExport.h"
#include "qvStringCString.h"
#include "qvUtilError.h"

#include <utility>

namespace qvOS {

// What a resource is: File::query fills it.
class QV_BASE_API FileStatus {
public:
    FileStatus();

    bool exists() const { return existsFlag; }
    bool isReadable() const { return readable; }
    bool isWritable() const { return writable; }
    bool isDirectory() const { return directory; }
    bool isFile() const { return file; }
    bool isRemote() const { return remote; }
    unsigned int getSize() const { return size; }
    // Seconds since 1970-01-01 UTC.
    long getCreationDate() const { return creationDate; }
    long getLastModifiedDate() const { return lastModifiedDate; }

    void setExists(bool value) { existsFlag = value; }
    void setIsReadable(bool value) { readable = value; }
    void setIsWritable(bool value) { writable = value; }
    void setIsDirectory(bool value) { directory = value; }
    void setIsFile(bool value) { file = value; }
    void setIsRemote(bool value) { remote = value; }
    void setSize(unsigned int value) { size = value; }
    void setCreationDate(long value) { creationDate = value; }
    void setLastModification(long value) { lastModifiedDate = value; }

private:
    bool existsFlag;
    bool readable;
    bool writable;
    bool directory;
    bool file;
    bool remote;
    unsigned int size;
    long creationDate;
    long lastModifiedDate;
};

// One entry of a directory listing: the entry's name (without its directory) and, when the
// listing asked for them, whether it is a directory (1) or not (0), its size in bytes (capped at
// the largest int) and its modification time in seconds since 1970. -1 means not known.
class QV_BASE_API ResourceInfo {
public:
    ResourceInfo();
    ResourceInfo(const qvString::CString& name, int type, int size, int modified);

    const qvString::CString& getName() const { return name; }
    int getType() const { return type; }
    int getSize() const { return size; }
    int getModified() const { return modified; }
    bool isDirectory() const { return type == 1; }

private:
    qvString::CString name;
    int type;
    int size;
    int modified;
};

// Size and free space of the volume holding a path, in blocks of 1024 bytes.
class QV_BASE_API Filesystem {
public:
    explicit Filesystem(const qvString::CString& path);

    qvUtil::Error stat();

    const qvString::CString& filename() const { return path; }
    unsigned int blockSize() const { return blockSizeValue; }
    unsigned int size() const { return sizeValue; }
    unsigned int avail() const { return availValue; }

private:
    qvString::CString path;
    unsigned int blockSizeValue;
    unsigned int sizeValue;
    unsigned int availValue;
};

namespace internal {
struct MemMapHandle;
}

// A whole file mapped into memory, read-only (permissions 0) or read-write (1). The view covers
// the first size bytes, which the file must hold.
class QV_BASE_API MemMapFile {
public:
    // Throws qvUtil::Error (code 1) for permissions other than 0 and 1, then for size 0.
    MemMapFile(const char* filename, unsigned int size, int permissions);
    ~MemMapFile();
    MemMapFile(const MemMapFile&) = delete;
    MemMapFile& operator=(const MemMapFile&) = delete;

    // The mapped address (null on failure) and the result.
    std::pair<void*, qvUtil::Error> map();
    qvUtil::Error unmap();

    bool isMapped() const { return mem != nullptr; }
    bool isWritable() const { return permissions == 1; }
    unsigned int size() const { return sizeValue; }
    void* getMem() const { return mem; }
    qvString::CString filename() const { return name; }

private:
    internal::MemMapHandle* handle;
    qvString::CString name;
    void* mem;
    unsigned int sizeValue;
    int permissions;
};

} // namespace qvOS

#endif
