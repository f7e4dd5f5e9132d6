#include "qvOSFilename.h"

#include "internal/qvOSPlatform.h"
#include "internal/qvOSSeparators.h"


using qvString::CString;

namespace qvOS {

namespace {

const unsigned int npos = CString::npos;

bool isDriveRoot(const CString& s, char sep)
{
    return s.length() == 3 && s[1] == ':' && s[2] == sep;
}

} // namespace

FilenameParts::FilenameParts(const CString& fullName, char sepChar)
    : name(fullName), separator(sepChar)
{
    const CString& n = name;
    const unsigned int len = n.length();
    if (len == 0)
        return;

    // The drive or UNC share prefix. UNC detection uses a literal backslash whatever sep is.
    CString rest;
    bool uncRest = false;
    if (len >= 2 && n[1] == ':') {
        prefix = n.substr(0, 2);
        if (len > 2)
            rest = n.substr(2);
    } else if (len >= 2 && n[0] == '\\' && n[1] == '\\') {
        unsigned int i = n.find('\\', 2);
        if (i != npos)
            i = (i + 1 < len) ? n.find('\\', i + 1) : npos;
        if (i != npos) {
            prefix = n.substr(0, i);
            if (i + 1 < len) {
                rest = n.substr(i + 1);
                uncRest = true;
            }
        } else {
            prefix = n;
        }
    } else {
        rest = n;
    }

    // Directory and base of the rest.
    const unsigned int j = rest.rfind(separator);
    if ((rest.length() == 1 && rest[0] == separator) || j == npos) {
        basename = rest;
    } else if (j == 0) {
        dirname = CString(separator);
        if (rest.length() > 1)
            basename = rest.substr(1);
    } else {
        dirname = rest.substr(0, j);
        if (j + 1 < rest.length())
            basename = rest.substr(j + 1);
    }

    if (uncRest && !dirname.isEmpty())
        dirname = prefix + CString('\\') + dirname;
    else
        dirname = prefix + dirname;

    // Trunk and suffix at the last dot; a leading dot begins a suffix (".cshrc").
    if (basename.isEmpty() || basename == CString("."))
        return;
    const unsigned int k = basename.rfind('.');
    if (k == 0) {
        baseSuffix = basename.substr(1);
    } else if (k == npos) {
        baseTrunk = basename;
    } else {
        baseTrunk = basename.substr(0, k);
        if (k + 1 < basename.length())
            baseSuffix = basename.substr(k + 1);
    }
}

Filename::Filename() : sep(separator()), parts(nullptr) {}

Filename::Filename(const CString& name) : sep(separator()), parts(nullptr)
{
    assign(name);
}

Filename::Filename(const CString& dir, const CString& name) : sep(separator()), parts(nullptr)
{
    assign(dir, name);
}

Filename::Filename(const Filename& dir, const Filename& name) : sep(separator()), parts(nullptr)
{
    assign(dir.fullName, name.fullName);
}

Filename::Filename(const Filename& other)
    : sep(separator()), fullName(other.fullName), parts(nullptr)
{
}

Filename::~Filename()
{
    deleteImpl();
}

Filename& Filename::operator=(const Filename& other)
{
    if (this != &other) {
        deleteImpl();
        fullName = other.fullName;
    }
    return *this;
}

Filename& Filename::operator=(const CString& name)
{
    assign(name);
    return *this;
}

const CString& Filename::prefix() const
{
    split();
    return parts->prefix;
}

const CString& Filename::dirname() const
{
    split();
    return parts->dirname;
}

const CString& Filename::basename() const
{
    split();
    return parts->basename;
}

const CString& Filename::baseTrunk() const
{
    split();
    return parts->baseTrunk;
}

const CString& Filename::baseSuffix() const
{
    split();
    return parts->baseSuffix;
}

std::vector<CString> Filename::components() const
{
    split();
    return {parts->prefix, parts->dirname, parts->basename, parts->baseTrunk, parts->baseSuffix};
}

bool Filename::isAbsolute() const
{
    const CString& n = fullName;
    if (n.length() > 1 && n[0] == '\\' && n[1] == '\\')
        return true;
    return n.length() > 2 && n[1] == ':' && n[2] == '\\';
}

void Filename::getCwd()
{
    std::string dir;
    if (!internal::getCurrentDirectory(dir) || dir.length() >= maxLength())
        dir.clear();
    assign(CString(dir.c_str()));
}

bool Filename::setCwd()
{
    return internal::setCurrentDirectory(internal::nativePath(fullName.asChar()));
}

bool Filename::makeDir()
{
    return internal::makeDirectory(internal::nativePath(fullName.asChar()));
}

CString Filename::canonicalize(const CString& s, char sepChar)
{
    return removeTrailingSeparators(
        removeDuplicateSeparators(internal::unifySeparators(s, sepChar), sepChar), sepChar);
}

CString Filename::removeDuplicateSeparators(const CString& s, char sepChar)
{
    // Starting at index 1 keeps the two leading separators of a UNC name.
    const char pair[3] = {sepChar, sepChar, 0};
    CString result(s);
    unsigned int i = result.find(pair, result.length() >= 2 ? 1 : 0);
    while (i != npos) {
        result.erase(i, 1);
        i = result.find(pair, i);
    }
    return result;
}

CString Filename::removeTrailingSeparators(const CString& s, char sepChar)
{
    const unsigned int n = s.length();
    if (isDriveRoot(s, sepChar))
        return s;
    if (n >= 3 && s[0] == sepChar && s[1] == sepChar) {
        const unsigned int first = s.find(sepChar, 2);
        if (first != npos && first == s.rfind(sepChar))
            return s; // "\\server\" keeps its separator
    }
    if (n == 0)
        return CString();
    unsigned int end = n;
    while (end > 1 && s[end - 1] == sepChar)
        --end;
    return end == n ? s : s.substr(0, end);
}

void Filename::assign(const CString& name)
{
    deleteImpl();
    fullName = canonicalize(name, sep);
}

void Filename::assign(const CString& dir, const CString& name)
{
    deleteImpl();
    const char sepChar = separator();
    if (dir.isEmpty() && name.isEmpty()) {
        fullName = CString();
        return;
    }
    CString joined;
    if (name.isEmpty())
        joined = dir;
    else if (dir.isEmpty())
        joined = name;
    else if (dir.length() == 2 && dir[1] == ':')
        joined = dir + name; // drive-relative: "C:" and "x" give "C:x"
    else
        joined = dir + CString(sepChar) + name;
    fullName = removeTrailingSeparators(removeDuplicateSeparators(joined, sepChar), sepChar);
}

void Filename::split() const
{
    if (!parts)
        parts = new FilenameParts(fullName, sep);
}

void Filename::deleteImpl() const
{
    delete parts;
    parts = nullptr;
}

} // namespace qvOS
