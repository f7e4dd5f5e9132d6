#include "qvOSFileStatus.h"

#include "internal/qvOSMemMap.h"
#include "internal/qvOSPlatform.h"
#include "internal/qvUtilPlatform.h"

using qvString::CString;

namespace qvOS {

FileStatus::FileStatus()
    : existsFlag(false), readable(false), writable(false), directory(false), file(false),
      remote(false), size(0), creationDate(0), lastModifiedDate(0)
{
}

ResourceInfo::ResourceInfo() : type(-1), size(-1), modified(-1) {}

ResourceInfo::ResourceInfo(const CString& entryName, int entryType, int entrySize,
                           int entryModified)
    : name(entryName), type(entryType), size(entrySize), modified(entryModified)
{
}

Filesystem::Filesystem(const CString& fsPath)
    : path(fsPath), blockSizeValue(0), sizeValue(0), availValue(0)
{
}

qvUtil::Error Filesystem::stat()
{
    std::string full;
    if (!internal::absolutePath(path.asChar(), full))
        return qvUtil::Error(1, "Filesystem::stat(): invalid path %s\n", path.asChar());
    const std::string dir = internal::containingDirectory(full);
    internal::VolumeSpace space;
    if (int err = internal::volumeSpace(dir, space))
        return qvUtil::Error(1, "Filesystem::stat(): GetDiskFreeSpaceEx(%s) failed: %s",
                             dir.c_str(), qvUtil::internal::systemErrorText(err).c_str());
    blockSizeValue = 1024;
    sizeValue = static_cast<unsigned int>(space.totalBytes >> 10);
    availValue = static_cast<unsigned int>(space.availBytes >> 10);
    return qvUtil::Error();
}

MemMapFile::MemMapFile(const char* filename, unsigned int size, int perms)
    : handle(nullptr), name(filename), mem(nullptr), sizeValue(size), permissions(perms)
{
    if (perms != 0 && perms != 1)
        throw qvUtil::Error(1, "Bad parameters to MemMapFile(): permissions");
    if (size == 0)
        throw qvUtil::Error(1, "Bad parameters to MemMapFile(): size");
    handle = new internal::MemMapHandle;
}

MemMapFile::~MemMapFile()
{
    if (isMapped())
        unmap();
    delete handle;
}

std::pair<void*, qvUtil::Error> MemMapFile::map()
{
    if (isMapped())
        return {mem, qvUtil::Error()};
    void* view = nullptr;
    qvUtil::Error err = internal::mapFile(*handle, name.asChar(), sizeValue, permissions == 1, view);
    if (!err)
        mem = view;
    return {mem, err};
}

qvUtil::Error MemMapFile::unmap()
{
    if (!isMapped())
        return qvUtil::Error(4, "%s", "");
    qvUtil::Error err = internal::unmapFile(*handle, name.asChar(), mem, sizeValue);
    mem = nullptr;
    return err;
}

} // namespace qvOS
