#ifndef QVOS_URL_H
#define QVOS_URL_H

#include "qvBaseExport.h"
#include "qvOSFilename.h"
#include "qvStringCString.h"

namespace qvOS {

// A resource name: a local file name, or scheme "://" authority path "?" query "#" ref. The
// local name (of a scheme-less or "file" name) is kept as the Filename base; no percent-decoding
// is done. The protocol is lower case; https, telnet and ftp have their default ports, every
// other scheme port 80, and an explicit port wins.
class QV_BASE_API URL : public Filename {
public:
    URL(const qvString::CString& name);
    URL(const URL& other);
    URL& operator=(const URL& other);
    ~URL() override;

    qvString::CString getAuthority() const { return authority; }
    qvString::CString getHost() const { return host; }
    qvString::CString getPath() const { return path; }
    qvString::CString getProtocol() const { return protocol; }
    qvString::CString getQuery() const { return query; }
    qvString::CString getRef() const { return ref; }
    int getPort() const { return port; }
    // A scheme-less name that was empty or ended with a separator.
    bool isDirectoryName() const { return directoryName; }

    // The path with every '/' a '\' and doubled separators collapsed.
    qvString::CString getCanonicalPath() const;
    // '\' for local names, '/' otherwise.
    char getSeparator() const;
    // The directory of the path (local name or URL path) with its trailing separator, or empty
    // when it has none; and the last component (a trailing separator is not a component).
    qvString::CString getDirname() const;
    qvString::CString getName() const;
    // The two names equal (case-blind for local names).
    bool comparePath(const URL& other) const;

    // Every non-file URL is absolute; a local name is when its Filename is.
    bool IsAbsolutePath() const;
    bool IsLocalFile() const;

    // Characters that a URL may not carry: the protocol may hold no '\', ':', '/' or brackets;
    // the host no '\', ':' or '/'; the path no brackets, nor '\' unless it is a local one.
    bool hasIllegalCharacters() const;
    // The common set only: controls, space and " # $ % & + , ; < = > ? @ ^ ` { | }.
    static bool hasIllegalCharacters(const qvString::CString& s);

protected:
    // Every other separator turned into sep and doubled ones collapsed; trailing ones stay.
    static qvString::CString canonicalize(const qvString::CString& s, char sep);

private:
    void parse(const qvString::CString& name);
    // The path that getDirname and getName split.
    qvString::CString splitPath() const;

    qvString::CString authority;
    qvString::CString host;
    qvString::CString path;
    qvString::CString protocol;
    qvString::CString query;
    qvString::CString ref;
    int port;
    bool directoryName;
};

} // namespace qvOS

extern "C" {
QV_BASE_API bool IsAbsolutePath(const char* name);
QV_BASE_API bool IsLocalFile(const char* name);
}

#endif
