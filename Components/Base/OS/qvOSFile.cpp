#include "qvOSFile.h"

#include "qvOSLocalFile.h"

#include "internal/qvOSPlatform.h"

#include <memory>

using qvString::CString;
using qvUtil::Error;

namespace qvOS {

const char* const File::NotImplementedStr = "Not Implemented";
const char* const File::ErrExistsStr = "File Exists";
const char* const File::ErrEOFStr = "End Of File";
const char* const File::ErrIO_problemStr = "An I/O problem has occurred";
const char* const File::ErrNoWritePermStr = "No write permission";
const char* const File::ErrNoReadPermStr = "No read permission";
const char* const File::ErrNoOverwritePermStr = "No Overwrite permission";
const char* const File::ErrFileNotOpenStr = "File is not open";
const char* const File::ErrFileOpenStr = "File is open";
const char* const File::ErrNotADirectoryStr = "Resource is not a directory";
const char* const File::ErrNotAFileStr = "Resource is not a file";
const char* const File::ErrLengthStr = "The path is too long";
const char* const File::ErrIO_NotEmptyStr = "The directory is not empty";

Error File::error(int code)
{
    static const char* const* const texts[] = {
        &NotImplementedStr,   &ErrExistsStr,       &ErrEOFStr,
        &ErrIO_problemStr,    &ErrNoWritePermStr,  &ErrNoReadPermStr,
        &ErrNoOverwritePermStr, &ErrFileNotOpenStr, &ErrFileOpenStr,
        &ErrNotADirectoryStr, &ErrNotAFileStr,     &ErrLengthStr,
        &ErrIO_NotEmptyStr};
    if (code < 1 || code > 13)
        return Error(code, "%s", ErrIO_problemStr);
    return Error(code, "%s", *texts[code - 1]);
}

Error IOStream::read(char*, unsigned, unsigned& done)
{
    done = 0;
    return File::error(File::NotImplemented);
}

Error IOStream::write(const char*, unsigned, unsigned& done)
{
    done = 0;
    return File::error(File::NotImplemented);
}

File::File() : mode(0) {}

// The name is kept by the concrete class, not here.
File::File(const CString&) : mode(0) {}

File::~File() = default;

Error File::open(int openMode)
{
    mode = openMode;
    if (isOpen())
        return Error();
    return doOpen();
}

Error File::close()
{
    return doClose();
}

Error File::makeDirectory()
{
    if (isOpen())
        return error(ErrFileOpen);
    return doMakeDirectory();
}

Error File::readDir(std::vector<ResourceInfo>& entries, bool withStatus)
{
    entries.clear();
    if (!isDirectory())
        return error(ErrNotADirectory);
    return doReadDir(entries, withStatus);
}

Error File::copyTo(File& dest)
{
    if (isOpen())
        return error(ErrFileOpen);
    if (dest.getFullName() == getFullName())
        return Error();
    return doCopyTo(dest);
}

Error File::moveTo(File& dest)
{
    if (isOpen())
        return error(ErrFileOpen);
    if (dest.getFullName() == getFullName())
        return Error();
    return doMoveTo(dest);
}

Error File::deleteSelf(int flags)
{
    if (isOpen())
        return error(ErrFileOpen);
    if (isDirectory() && !(flags & DeleteNonRecursive))
        return doRecursiveDeleteSelf();
    return doDeleteSelf();
}

bool File::isDirectory()
{
    return false;
}

bool File::isOpen()
{
    return false;
}

CString File::getFullName()
{
    return CString();
}

CString File::getNameTitle()
{
    return CString();
}

CString File::getNameBase()
{
    return CString();
}

char File::getSeparator() const
{
    return '/';
}

long File::transportId() const
{
    return 0;
}

Error File::query(FileStatus&)
{
    return error(NotImplemented);
}

Error File::query(const CString& name, FileStatus& status)
{
    std::unique_ptr<File> file(FileFactory::getFileFactory()->getFile(name));
    if (!file)
        return error(NotImplemented);
    return file->query(status);
}

CString File::childName(const CString& entry)
{
    CString full = getFullName();
    // Local names are joined with the platform's own separator so that the result reaches the
    // system's calls unchanged.
    const char sep = transportId() == LocalFile::fileTransportId ? internal::nativeSeparator()
                                                                 : getSeparator();
    if (!full.isEmpty() && full[full.length() - 1] != sep)
        full.append(sep);
    return full + entry;
}

Error File::recreateDirStructure(File& dest, bool move)
{
    if (!dest.isDirectory()) {
        if (Error err = dest.makeDirectory())
            return err;
    }
    std::vector<ResourceInfo> entries;
    if (Error err = readDir(entries, false))
        return err;
    FileFactory* factory = FileFactory::getFileFactory();
    for (const ResourceInfo& entry : entries) {
        std::unique_ptr<File> from(factory->getFile(childName(entry.getName())));
        std::unique_ptr<File> to(factory->getFile(dest.childName(entry.getName())));
        if (!from || !to)
            return error(NotImplemented);
        Error err = move ? from->moveTo(*to) : from->copyTo(*to);
        if (err)
            return err;
    }
    return Error();
}

Error File::doOpen() { return error(NotImplemented); }
Error File::doClose() { return error(NotImplemented); }
Error File::doMakeDirectory() { return error(NotImplemented); }
Error File::doReadDir(std::vector<ResourceInfo>&, bool) { return error(NotImplemented); }
Error File::doCopyTo(File&) { return error(NotImplemented); }
Error File::doMoveTo(File&) { return error(NotImplemented); }
Error File::doDeleteSelf() { return error(NotImplemented); }
Error File::doRecursiveDeleteSelf() { return error(NotImplemented); }

FileTransport* FileTransport::thisTransport = nullptr;

FileTransport::~FileTransport() = default;

FileFactory* FileFactory::myPointer = nullptr;

FileFactory::FileFactory() : transports(), count(0) {}

FileFactory* FileFactory::getFileFactory()
{
    if (!myPointer)
        myPointer = new FileFactory;
    return myPointer;
}

Error FileFactory::registerTransport(FileTransport* transport)
{
    if (count >= maxTransports)
        return Error(-1, "Too Many transports in use.");
    transports[count++] = transport;
    return Error();
}

File* FileFactory::getFile(const CString& name)
{
    for (unsigned int i = 0; i < count; ++i)
        if (File* file = transports[i]->getFile(name))
            return file;
    // A name is a URL only when a transport serves its scheme. On POSIX any other name, such
    // as "dir/a:b", is a local path: every existing file stays reachable, and a tree holding
    // such a name is copied or deleted whole rather than half.
    if (count > 0 && internal::colonIsPathCharacter())
        return new LocalFile(name);
    return nullptr;
}

File& FileFactory::getFileRef(const CString& name)
{
    return *getFile(name);
}

namespace {

// The local transport serves names from the moment the library is loaded.
struct LocalTransportRegistration {
    LocalTransportRegistration()
    {
        FileFactory::getFileFactory()->registerTransport(LocalFileTransport::getFileTransport());
    }
};

const LocalTransportRegistration localTransportRegistration;

} // namespace

} // namespace qvOS
