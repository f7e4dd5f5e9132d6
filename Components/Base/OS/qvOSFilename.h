#ifndef QVOS_FILENAME_H
#define QVOS_FILENAME_H

#include "qvBaseExport.h"
#include "qvStringCString.h"

#include <vector>

namespace qvOS {

// The split of a canonical name, built once from it.
class QV_BASE_API FilenameParts {
public:
    FilenameParts(const qvString::CString& name, char separator);

    const qvString::CString& name;
    qvString::CString prefix;
    qvString::CString dirname;
    qvString::CString basename;
    qvString::CString baseTrunk;
    qvString::CString baseSuffix;
    char separator;
};

// One file or directory name in canonical form: every '/' a '\', no doubled separators (except
// the two that begin a UNC name) and no trailing separator (except in "C:\", "\" and "\\server\").
// The rules are text rules and give the same results on every platform. The split into prefix
// (drive or UNC share), directory, base name, trunk and suffix is made on first request and
// kept until the next assignment.
class QV_BASE_API Filename {
public:
    Filename();
    Filename(const qvString::CString& name);
    // Joins dir and name with one separator ("C:" and "x" give the drive-relative "C:x").
    Filename(const qvString::CString& dir, const qvString::CString& name);
    Filename(const Filename& dir, const Filename& name);
    Filename(const Filename& other);
    virtual ~Filename();

    Filename& operator=(const Filename& other);
    Filename& operator=(const qvString::CString& name);

    const qvString::CString& name() const { return fullName; }

    // Components of the name; each reference stays valid until the next assignment.
    const qvString::CString& prefix() const;
    const qvString::CString& dirname() const;
    const qvString::CString& basename() const;
    const qvString::CString& baseTrunk() const;
    const qvString::CString& baseSuffix() const;
    // prefix, dirname, basename, baseTrunk and baseSuffix, in that order.
    std::vector<qvString::CString> components() const;

    // A UNC name or a drive with a root ("C:\..."). "\dir", "C:dir" and "C:" are not absolute.
    bool isAbsolute() const;

    static char separator() { return '\\'; }
    static unsigned int maxLength() { return 260; }

    // The process's working directory, assigned to this name (empty when it cannot be read).
    void getCwd();
    // Makes this name the working directory; false when the system refuses.
    bool setCwd();
    // Creates this one directory (not its parents); false when the system refuses.
    bool makeDir();

protected:
    // Text rules, also used by URL: every other separator turned into sep, then doubled and
    // trailing separators removed.
    static qvString::CString canonicalize(const qvString::CString& s, char sep);
    static qvString::CString removeDuplicateSeparators(const qvString::CString& s, char sep);
    static qvString::CString removeTrailingSeparators(const qvString::CString& s, char sep);

    char sep;

private:
    void assign(const qvString::CString& name);
    void assign(const qvString::CString& dir, const qvString::CString& name);
    void split() const;
    void deleteImpl() const;

    qvString::CString fullName;
    mutable FilenameParts* parts;
};

} // namespace qvOS

#endif
