#ifndef QVOS_FILE_H
#define QVOS_FILE_H

#include "qvBaseExport.h"
#include "qvOSFileStatus.h"
#include "qvStringCString.h"
#include "qvUtilError.h"

#include <vector>

namespace qvOS {

// A byte stream. The base versions report code 1, "Not Implemented".
class QV_BASE_API IOStream {
public:
    virtual qvUtil::Error read(char* buffer, unsigned size, unsigned& done);
    virtual qvUtil::Error write(const char* buffer, unsigned size, unsigned& done);

protected:
    ~IOStream() = default;
};

// A resource reached by name through a transport: a byte stream that can also be listed,
// copied, moved, deleted and queried. Every failure is one of the codes below, with its message.
// The public operations check the state and hand the work to the protected do... operations,
// which a transport's file class overrides.
class QV_BASE_API File : public IOStream {
public:
    // Open-mode bits.
    enum Mode {
        ModeText = 1,
        ModeBinary = 2,
        ModeRead = 4,
        ModeWrite = 8,
        ModeAppend = 16,
        ModeCopyDest = 32,      // the destination of a copy
        DeleteNonRecursive = 64 // deleteSelf: remove only an empty directory
    };

    // The error codes of every file operation.
    enum Code {
        NotImplemented = 1,
        ErrExists = 2,
        ErrEOF = 3,
        ErrIO_problem = 4,
        ErrNoWritePerm = 5,
        ErrNoReadPerm = 6,
        ErrNoOverwritePerm = 7,
        ErrFileNotOpen = 8,
        ErrFileOpen = 9,
        ErrNotADirectory = 10,
        ErrNotAFile = 11,
        ErrLength = 12,
        ErrIO_NotEmpty = 13
    };

    static const char* const NotImplementedStr;
    static const char* const ErrExistsStr;
    static const char* const ErrEOFStr;
    static const char* const ErrIO_problemStr;
    static const char* const ErrNoWritePermStr;
    static const char* const ErrNoReadPermStr;
    static const char* const ErrNoOverwritePermStr;
    static const char* const ErrFileNotOpenStr;
    static const char* const ErrFileOpenStr;
    static const char* const ErrNotADirectoryStr;
    static const char* const ErrNotAFileStr;
    static const char* const ErrLengthStr;
    static const char* const ErrIO_NotEmptyStr;

    // The Error of one of the codes above, with its message.
    static qvUtil::Error error(int code);

    File();
    explicit File(const qvString::CString& name);
    virtual ~File();

    // Opens with the mode bits; an open file stays as it is.
    virtual qvUtil::Error open(int mode);
    virtual qvUtil::Error close();
    virtual qvUtil::Error makeDirectory();
    // Empties entries, then lists this directory. withStatus also fills each entry's type,
    // size and time; without it only the names are listed.
    virtual qvUtil::Error readDir(std::vector<ResourceInfo>& entries, bool withStatus);
    // A file is copied byte for byte, a directory with everything below it. Nothing is done
    // when dest has this file's full name.
    virtual qvUtil::Error copyTo(File& dest);
    // Copies, then deletes this resource.
    virtual qvUtil::Error moveTo(File& dest);
    // A directory is removed with everything in it unless flags hold DeleteNonRecursive.
    virtual qvUtil::Error deleteSelf(int flags);

    virtual bool isDirectory();
    virtual bool isOpen();
    virtual qvString::CString getFullName();
    // The name up to and including its last separator, and the text after it.
    virtual qvString::CString getNameTitle();
    virtual qvString::CString getNameBase();
    virtual char getSeparator() const;
    // A four-character code of the transport, packed big-endian.
    virtual long transportId() const;
    virtual qvUtil::Error query(FileStatus& status);

    // The status of a name, through a File from the factory.
    static qvUtil::Error query(const qvString::CString& name, FileStatus& status);

protected:
    // Copies the directory tree below this directory into dest (made when missing).
    virtual qvUtil::Error recreateDirStructure(File& dest, bool move);

    virtual qvUtil::Error doOpen();
    virtual qvUtil::Error doClose();
    virtual qvUtil::Error doMakeDirectory();
    virtual qvUtil::Error doReadDir(std::vector<ResourceInfo>& entries, bool withStatus);
    virtual qvUtil::Error doCopyTo(File& dest);
    virtual qvUtil::Error doMoveTo(File& dest);
    virtual qvUtil::Error doDeleteSelf();
    virtual qvUtil::Error doRecursiveDeleteSelf();

    // The full name of the entry called entry inside this directory.
    qvString::CString childName(const qvString::CString& entry);

    int mode;
    qvString::CString nameTitle;
    qvString::CString nameBase;
};

// Turns names into Files of its own kind.
class QV_BASE_API FileTransport {
public:
    virtual ~FileTransport();
    // A new File owned by the caller, or null when the name is not this transport's.
    virtual File* getFile(const qvString::CString& name) = 0;

    // The local transport, once made.
    static FileTransport* thisTransport;
};

// The process-wide table of transports, asked in registration order. The library registers the
// local transport when it is loaded.
class QV_BASE_API FileFactory {
public:
    static const unsigned int maxTransports = 10;

    static FileFactory* getFileFactory();

    // Code -1, "Too Many transports in use.", when the table is full.
    qvUtil::Error registerTransport(FileTransport* transport);
    // The first transport's File for name (the caller owns it), or null.
    File* getFile(const qvString::CString& name);
    // *getFile(name): only for names that a transport is known to accept.
    File& getFileRef(const qvString::CString& name);

    unsigned int transportCount() const { return count; }

    static FileFactory* myPointer;

private:
    FileFactory();

    FileTransport* transports[maxTransports];
    unsigned int count;
};

} // namespace qvOS

#endif
