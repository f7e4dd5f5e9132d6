#include "qvOSLocalFile.h"

#include "internal/qvOSPlatform.h"
#include "qvOSFilename.h"

#include <climits>
#include <memory>
#include <typeinfo>

using qvString::CString;
using qvUtil::Error;

namespace qvOS {

namespace {

const CString fileScheme("file");

const unsigned int copyBlockSize = 4096;

bool endsWith(const CString& s, char c)
{
    return !s.isEmpty() && s[s.length() - 1] == c;
}

// The last separator of a local name: '\' everywhere, and the platform's own separator too.
unsigned int lastSeparator(const CString& name)
{
    unsigned int pos = name.rfind('\\');
    const unsigned int native = name.rfind(internal::nativeSeparator());
    if (native != CString::npos && (pos == CString::npos || native > pos))
        pos = native;
    return pos;
}

// The name as the system's calls take it: the library's canonical '\\' turned into the
// platform's separator, so canonical names and local files reach the same file.
std::string systemName(const CString& name)
{
    return internal::nativePath(name.asChar());
}

// The nearest existing directory that holds name, found by dropping components from the text:
// the name itself when it exists.
std::string existingAncestor(std::string name, internal::FileIdentity& identity)
{
    while (!internal::fileIdentity(name, identity)) {
        const std::size_t slash = name.find_last_of("/\\");
        if (slash == std::string::npos) {
            name = ".";
            return internal::fileIdentity(name, identity) ? name : std::string();
        }
        name.erase(slash == 0 ? 1 : slash);
        if (slash == 0)
            return internal::fileIdentity(name, identity) ? name : std::string();
    }
    return name;
}

// True when dest is tree or lies inside it, as the system resolves both (links, "." and ".."
// included): copying or moving a tree there would feed on its own output.
bool insideTree(const std::string& tree, const std::string& dest)
{
    internal::FileIdentity root;
    internal::FileIdentity here;
    if (!internal::fileIdentity(tree, root))
        return false;
    std::string at = existingAncestor(dest, here);
    if (at.empty())
        return false;
    // Up through the parents to the root, where a directory is its own parent.
    for (int depth = 0; depth < 4096; ++depth) {
        if (here == root)
            return true;
        at = internal::parentOf(at);
        internal::FileIdentity up;
        if (!internal::fileIdentity(at, up) || up == here)
            return false;
        here = up;
    }
    return false;
}

} // namespace

LocalFileTransport* LocalFileTransport::getFileTransport()
{
    if (!thisTransport)
        thisTransport = new LocalFileTransport;
    return static_cast<LocalFileTransport*>(thisTransport);
}

File* LocalFileTransport::getFile(const CString& name)
{
    const unsigned int colon = name.find(':');
    if (colon == CString::npos || colon == 1)
        return new LocalFile(name);
    // Other schemes belong to other transports; the factory hands a name that none of them
    // claims back here as a local path where the platform allows ':' in names.
    if (name.substr(0, colon) != fileScheme)
        return nullptr;
    CString path = name.substr(colon + 1);
    path.strip('/');
    return new LocalFile(path);
}

LocalFile::LocalFile(const CString& fileName)
    : File(fileName), name(fileName), stream(nullptr), directoryKnown(false), directory(false),
      openFlag(false)
{
}

LocalFile::~LocalFile()
{
    if (stream)
        std::fclose(stream);
}

Error LocalFile::read(char* buffer, unsigned size, unsigned& done)
{
    done = 0;
    if (!stream)
        return error(ErrIO_problem);
    done = static_cast<unsigned>(std::fread(buffer, 1, size, stream));
    if (std::feof(stream))
        return error(ErrEOF);
    if (done != size)
        return error(ErrIO_problem);
    return Error();
}

Error LocalFile::write(const char* buffer, unsigned size, unsigned& done)
{
    done = 0;
    if (!stream)
        return error(ErrIO_problem);
    done = static_cast<unsigned>(std::fwrite(buffer, 1, size, stream));
    if (done != size)
        return error(ErrIO_problem);
    return Error();
}

bool LocalFile::isDirectory()
{
    if (!directoryKnown) {
        // One trailing separator goes: the system's status call refuses it.
        std::string path = name.asChar();
        const bool loneSeparator = path.length() == 1;
        const bool driveRoot = path.length() == 3 && path[1] == ':';
        if (!loneSeparator && !driveRoot && !path.empty()
            && (path.back() == '/' || path.back() == internal::nativeSeparator()))
            path.pop_back();
        path = internal::nativePath(path);
        // A link to a directory is not walked into: trees treat it as an entry of its own.
        directory = internal::isDirectory(path) && !internal::isSymbolicLink(path);
        directoryKnown = true;
    }
    return directory;
}

CString LocalFile::getNameTitle()
{
    const unsigned int pos = lastSeparator(name);
    return pos == CString::npos ? CString() : name.substr(0, pos + 1);
}

CString LocalFile::getNameBase()
{
    const unsigned int pos = lastSeparator(name);
    return pos == CString::npos ? CString() : name.substr(pos + 1);
}

char LocalFile::getSeparator() const
{
    return Filename::separator();
}

long LocalFile::transportId() const
{
    return fileTransportId;
}

Error LocalFile::query(FileStatus& status)
{
    status = FileStatus();
    if (!internal::queryStatus(systemName(name), status))
        return error(14); // the status query has its own code, beyond the vocabulary
    return Error();
}

Error LocalFile::doOpen()
{
    // "r", "w", "rw" (kept as callers have always passed it), or "a+"; binary unless text
    // alone is asked for.
    std::string openMode;
    if (mode & ModeRead)
        openMode += 'r';
    if (mode & ModeWrite)
        openMode += 'w';
    if (mode & ModeAppend)
        openMode = "a+";
    if ((mode & ModeBinary) || !(mode & ModeText))
        openMode += 'b';
    if (stream) {
        std::fclose(stream);
        stream = nullptr;
    }
    Error err;
    stream = std::fopen(systemName(name).c_str(), openMode.c_str());
    if (!stream)
        err = error((mode & (ModeRead | ModeWrite)) ? ErrExists : ErrIO_problem);
    openFlag = !err;
    return err;
}

Error LocalFile::doClose()
{
    bool flushed = true;
    if (stream) {
        flushed = std::fclose(stream) == 0;
        stream = nullptr;
    }
    openFlag = false;
    // Bytes that never reached the disk are a failure, not a quiet success.
    return flushed ? Error() : error(ErrIO_problem);
}

Error LocalFile::doMakeDirectory()
{
    if (!internal::makeDirectory(systemName(name)))
        return error(ErrIO_problem);
    directoryKnown = false;
    return Error();
}

Error LocalFile::doReadDir(std::vector<ResourceInfo>& entries, bool withStatus)
{
    CString path = name;
    const char sep = internal::nativeSeparator();
    if (!endsWith(path, sep) && !endsWith(path, '\\'))
        path.append(sep);
    if (path.length() > Filename::maxLength())
        return error(ErrLength);
    std::vector<std::string> names;
    if (internal::listDirectory(systemName(path), names) != 0)
        return error(ErrIO_problem);
    entries.reserve(names.size());
    for (const std::string& entry : names) {
        if (!withStatus) {
            entries.emplace_back(CString(entry.c_str()), -1, -1, -1);
            continue;
        }
        FileStatus status;
        const CString full = path + CString(entry.c_str());
        File::query(full, status);
        const bool directoryEntry = status.isDirectory()
            && !internal::isSymbolicLink(systemName(full));
        const unsigned int size = status.getSize();
        entries.emplace_back(CString(entry.c_str()), directoryEntry ? 1 : 0,
                             size > static_cast<unsigned int>(INT_MAX) ? INT_MAX
                                                                        : static_cast<int>(size),
                             static_cast<int>(status.getLastModifiedDate()));
    }
    return Error();
}

Error LocalFile::copyContents(File& dest)
{
    // The source first: a missing source must not truncate the destination.
    Error err = open(ModeRead | ModeBinary);
    if (err)
        return err;
    // Opening an existing file for writing truncates it, and a copy that then failed (a full
    // disk) would lose it. A plain local file that exists is replaced by the platform's copy,
    // which writes a new file beside it and puts it in its place only when whole; the codes
    // are the ones the open and the writes below give.
    FileStatus existing;
    if (typeid(dest) == typeid(LocalFile) && !File::query(dest.getFullName(), existing)
        && existing.exists() && !existing.isDirectory()) {
        close();
        internal::CopyFailure kind = internal::CopyFailure::none;
        if (internal::copyFile(systemName(name), systemName(dest.getFullName()), false, kind) == 0)
            return Error();
        return error(kind == internal::CopyFailure::unwritable ? ErrExists : ErrIO_problem);
    }
    err = dest.open(ModeWrite | ModeCopyDest);
    if (err) {
        close();
        return err;
    }
    std::unique_ptr<char[]> block(new char[copyBlockSize]);
    Error result;
    for (;;) {
        unsigned int got = 0;
        const Error readErr = read(block.get(), copyBlockSize, got);
        if (readErr && readErr.num() != ErrEOF) {
            result = error(ErrIO_problem);
            break;
        }
        unsigned int written = 0;
        if (got > 0 && dest.write(block.get(), got, written)) {
            result = error(ErrIO_problem);
            break;
        }
        if (readErr)
            break; // end of file: the last partial block is written
    }
    close();
    // The destination's close writes out its buffer: a failure there is a failed copy.
    if (dest.close() && !result)
        result = error(ErrIO_problem);
    return result;
}

Error LocalFile::refuseOverlap(File& dest)
{
    if (dest.transportId() != fileTransportId)
        return Error();
    // Another spelling of the same file ("d/./a", a link): copying would truncate the source
    // while reading it and a move would then delete the only copy. Refused as a copy onto an
    // existing file is, before anything is opened for writing.
    const std::string from = systemName(name);
    const std::string to = systemName(dest.getFullName());
    internal::FileIdentity source;
    internal::FileIdentity target;
    if (internal::fileIdentity(from, source) && internal::fileIdentity(to, target)
        && source == target)
        return error(ErrExists);
    if (isDirectory() && insideTree(from, to))
        return error(ErrExists);
    return Error();
}

Error LocalFile::doCopyTo(File& dest)
{
    if (Error err = refuseOverlap(dest))
        return err;
    if (internal::isSymbolicLink(systemName(name))) {
        // A link is copied as a link: its target may be anywhere and is not the tree's.
        if (dest.transportId() != fileTransportId)
            return error(NotImplemented);
        if (internal::copySymbolicLink(systemName(name), systemName(dest.getFullName())) != 0)
            return error(ErrIO_problem);
        return Error();
    }
    if (isDirectory())
        return recreateDirStructure(dest, false);
    return copyContents(dest);
}

Error LocalFile::doMoveTo(File& dest)
{
    FileStatus status;
    if (Error err = query(status))
        return err;
    // A dangling link still exists as an entry and moves as one.
    if (!status.exists() && !internal::isSymbolicLink(systemName(name)))
        return error(ErrExists);
    if (Error err = doCopyTo(dest))
        return err;
    return deleteSelf(0);
}

Error LocalFile::doDeleteSelf()
{
    if (internal::isSymbolicLink(systemName(name))) {
        if (internal::removeLink(systemName(name)) != 0)
            return error(ErrIO_problem);
        return Error();
    }
    if (!isDirectory()) {
        if (internal::removeFile(systemName(name)) != 0)
            return error(ErrIO_problem);
        return Error();
    }
    bool notEmpty = false;
    if (internal::removeDirectory(systemName(name), notEmpty) != 0)
        return error(notEmpty ? ErrIO_NotEmpty : ErrIO_problem);
    directoryKnown = false;
    return Error();
}

Error LocalFile::doRecursiveDeleteSelf()
{
    std::vector<ResourceInfo> entries;
    if (Error err = readDir(entries, false))
        return err;
    FileFactory* factory = FileFactory::getFileFactory();
    for (const ResourceInfo& entry : entries) {
        std::unique_ptr<File> child(factory->getFile(childName(entry.getName())));
        if (!child)
            return error(NotImplemented);
        if (Error err = child->deleteSelf(0))
            return err;
    }
    return doDeleteSelf();
}

} // namespace qvOS
