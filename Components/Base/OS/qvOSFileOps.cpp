#include "qvOSFileOps.h"

#include "internal/qvOSPlatform.h"
#include "qvOSFile.h"
#include "internal/qvUtilPlatform.h"

#include <cstdlib>
#include <cstring>
#include <memory>

using qvString::CString;
using qvUtil::Error;

namespace qvOS {

namespace {

std::string native(const Filename& name)
{
    return internal::nativePath(name.name().asChar());
}

} // namespace

Error fileDelete(const Filename& name)
{
    if (int err = internal::deleteFile(native(name)))
        return Error(1, "%s", qvUtil::internal::systemErrorText(err).c_str());
    return Error();
}

Error fileDelete(const char* name)
{
    return fileDelete(Filename(CString(name)));
}

Error fileCopy(const Filename& from, const Filename& to, bool overwrite)
{
    // The same file under another name ("d/./a", a link): copying would truncate it while
    // reading it, and fileMove would then delete it. Refused as an existing destination is.
    internal::FileIdentity source;
    internal::FileIdentity dest;
    if (internal::fileIdentity(native(from), source) && internal::fileIdentity(native(to), dest)
        && source == dest)
        return Error(3, "Error copying %s to %s: %s", from.name().asChar(), to.name().asChar(),
                     "source and destination are the same file");
    internal::CopyFailure kind = internal::CopyFailure::none;
    const int err = internal::copyFile(native(from), native(to), !overwrite, kind);
    if (err == 0)
        return Error();
    // These codes are the function's own, not the File codes; callers test them.
    const int code = kind == internal::CopyFailure::notFound ? 2
        : kind == internal::CopyFailure::exists             ? 3
                                                            : 1;
    return Error(code, "Error copying %s to %s: %s", from.name().asChar(), to.name().asChar(),
                 qvUtil::internal::systemErrorText(err).c_str());
}

Error fileCopy(const char* from, const char* to, bool overwrite)
{
    return fileCopy(Filename(CString(from)), Filename(CString(to)), overwrite);
}

Error fileMove(const Filename& from, const Filename& to, bool overwrite)
{
    Error err = fileCopy(from, to, overwrite);
    if (!err)
        fileDelete(from);
    return err;
}

Error fileMove(const char* from, const char* to, bool overwrite)
{
    return fileMove(Filename(CString(from)), Filename(CString(to)), overwrite);
}

Error fileRename(const Filename& from, const Filename& to)
{
    if (from.dirname() != to.dirname())
        return fileMove(from, to, false);
    // The runtime's result value picks the message, not errno; runtimes that return -1 for
    // every failure therefore always end in the last case. Kept: callers match these texts.
    switch (internal::renameFile(native(from), native(to))) {
    case 0:
        return Error();
    case 2:
        return Error(6, "File or path specified by %s name not found.", from.name().asChar());
    case 13:
        return Error(6, "A component of either path prefix deniessearch permission");
    case 22:
        return Error(6, "source is a parent directory of target, or an attempt is made to "
                        "rename the .  or ..  directory.");
    default:
        return Error(6, "Unkown system error.");
    }
}

Error fileRename(const char* from, const char* to)
{
    return fileRename(Filename(CString(from)), Filename(CString(to)));
}

} // namespace qvOS

using qvOS::File;
using qvOS::FileFactory;
using qvOS::FileStatus;

namespace {

bool queryFlag(const char* name, bool (FileStatus::*flag)() const)
{
    if (!name)
        return false;
    FileStatus status;
    if (File::query(CString(name), status))
        return false;
    return (status.*flag)();
}

} // namespace

extern "C" {

bool CopyFileTo(const char* from, const char* to)
{
    if (!from || !to)
        return false;
    FileFactory* factory = FileFactory::getFileFactory();
    std::unique_ptr<File> source(factory->getFile(CString(from)));
    std::unique_ptr<File> dest(factory->getFile(CString(to)));
    if (!source || !dest)
        return false;
    return !source->copyTo(*dest);
}

bool DoesFileExist(const char* name)
{
    return queryFlag(name, &FileStatus::exists);
}

bool isFileWriteable(const char* name)
{
    return queryFlag(name, &FileStatus::isWritable);
}

int ReadHeaderFromFile(const char* name, char* buffer, int size)
{
    if (!buffer || size < 0)
        return -1;
    if (size == 0)
        return 0;
    if (!name)
        return -1;
    std::unique_ptr<File> file(FileFactory::getFileFactory()->getFile(CString(name)));
    if (!file)
        return -1;
    if (file->open(File::ModeRead))
        return -1;
    unsigned int done = 0;
    // A short file reports end of file, which counts as a failure here.
    const Error err = file->read(buffer, static_cast<unsigned int>(size), done);
    file->close();
    return err ? -1 : static_cast<int>(done);
}

char* CreateTemporaryFileName(const char* suffix)
{
    const char* temp = std::getenv("TEMP");
    const std::string dir = temp ? std::string(temp) : qvOS::internal::defaultTemporaryDirectory();
    const std::string name = qvOS::internal::temporaryName(dir, "QV_TMP");
    if (name.empty())
        return nullptr;
    char assembled[1024];
    if (suffix)
        QL_snprintf(assembled, sizeof assembled, "%s.%s", name.c_str(), suffix);
    else
        QL_snprintf(assembled, sizeof assembled, "%s", name.c_str());
    assembled[sizeof assembled - 1] = 0;
    const std::size_t length = std::strlen(assembled) + 1;
    char* result = static_cast<char*>(std::malloc(length));
    if (result)
        std::memcpy(result, assembled, length);
    return result;
}

} // extern "C"
