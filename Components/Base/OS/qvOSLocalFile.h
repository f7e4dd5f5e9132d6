#ifndef QVOS_LOCALFILE_H
#define QVOS_LOCALFILE_H

#include "qvBaseExport.h"
#include "qvOSFile.h"

#include <cstdio>

namespace qvOS {

// The transport of local names: plain paths ("C:\x", "dir/x") and "file:" names.
class QV_BASE_API LocalFileTransport : public FileTransport {
public:
    // The single instance, made on first call.
    static LocalFileTransport* getFileTransport();

    // A LocalFile for a plain or "file:" name; null for any other scheme.
    File* getFile(const qvString::CString& name) override;
};

// A file or directory on a local disk, read and written through the C runtime's streams.
// On POSIX the platform's '/' joins directory entries; getSeparator() still answers '\'.
class QV_BASE_API LocalFile : public File {
public:
    // "file" packed big-endian.
    static const long fileTransportId = 0x66696C65;

    explicit LocalFile(const qvString::CString& name);
    ~LocalFile() override;
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;

    // done receives the bytes read; code 3, End Of File, when the end was reached.
    qvUtil::Error read(char* buffer, unsigned size, unsigned& done) override;
    // Code 4 unless every byte was written.
    qvUtil::Error write(const char* buffer, unsigned size, unsigned& done) override;

    bool isDirectory() override;
    bool isOpen() override { return openFlag; }
    qvString::CString getFullName() override { return name; }
    qvString::CString getNameTitle() override;
    qvString::CString getNameBase() override;
    char getSeparator() const override;
    long transportId() const override;
    qvUtil::Error query(FileStatus& status) override;

protected:
    qvUtil::Error doOpen() override;
    // Code 4 when buffered bytes could not be written out.
    qvUtil::Error doClose() override;
    qvUtil::Error doMakeDirectory() override;
    qvUtil::Error doReadDir(std::vector<ResourceInfo>& entries, bool withStatus) override;
    qvUtil::Error doCopyTo(File& dest) override;
    qvUtil::Error doMoveTo(File& dest) override;
    qvUtil::Error doDeleteSelf() override;
    qvUtil::Error doRecursiveDeleteSelf() override;

private:
    qvUtil::Error copyContents(File& dest);
    // Refuses a local destination that is this file under another name, or that lies inside
    // this directory's tree.
    qvUtil::Error refuseOverlap(File& dest);

    qvString::CString name;
    std::FILE* stream;
    bool directoryKnown;
    bool directory;
    bool openFlag;
};

} // namespace qvOS

#endif
