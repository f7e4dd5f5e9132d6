#include "qvOSURL.h"

#include "internal/qvOSSeparators.h"
#include "qvStringCharClass.h"

#include <cstdlib>
#include <cstring>

using qvString::CString;

namespace qvOS {

namespace {

const unsigned int npos = CString::npos;

struct Scheme {
    const char* name;
    int port;
};

const Scheme defaultPorts[] = {{"https", 443}, {"telnet", 23}, {"ftp", 21}};

int defaultPort(const CString& protocol)
{
    for (const Scheme& scheme : defaultPorts)
        if (protocol == CString(scheme.name))
            return scheme.port;
    return 80;
}

// Which of the optional characters a string may not hold.
enum Forbid { ForbidBackslash = 1, ForbidColon = 2, ForbidSlash = 4, ForbidBrackets = 8 };

bool illegal(const CString& s, int forbid)
{
    static const char common[] = " \"#$%&+,;<=>?@^`{|}";
    for (unsigned int i = 0; i < s.length(); ++i) {
        const char c = s[i];
        if (qvString::isAlnum(c))
            continue;
        if (qvString::isCntrl(c) || (c != 0 && std::strchr(common, c)))
            return true;
        if ((c == '\\' && (forbid & ForbidBackslash)) || (c == ':' && (forbid & ForbidColon))
            || (c == '/' && (forbid & ForbidSlash))
            || ((c == '[' || c == ']') && (forbid & ForbidBrackets)))
            return true;
    }
    return false;
}

CString lowerCase(CString s)
{
    s.toLowerCase();
    return s;
}

} // namespace

URL::URL(const CString& name) : path("/"), port(80), directoryName(false)
{
    parse(name);
}

URL::URL(const URL& other)
    : Filename(other), authority(other.authority), host(other.host), path(other.path),
      protocol(other.protocol), query(other.query), ref(other.ref), port(other.port),
      directoryName(other.directoryName)
{
    sep = other.sep; // a Filename copy starts with '\'
}

URL& URL::operator=(const URL& other)
{
    if (this != &other) {
        Filename::operator=(other);
        sep = other.sep;
        authority = other.authority;
        host = other.host;
        path = other.path;
        protocol = other.protocol;
        query = other.query;
        ref = other.ref;
        port = other.port;
        directoryName = other.directoryName;
    }
    return *this;
}

URL::~URL() = default;

void URL::parse(const CString& n)
{
    const unsigned int i = n.find("://");
    if (i == npos || i == 1) {
        // A local name ("C://dir" too: the "://" follows a drive letter).
        protocol = "file";
        directoryName = n.isEmpty() || n[n.length() - 1] == separator();
        Filename::operator=(n);
        return;
    }
    protocol = lowerCase(n.substr(0, i));
    if (protocol == CString("file")) {
        CString local = n.substr(i + 3);
        // "/C:/dir" names a drive: the leading slash goes.
        if (local.length() > 2 && local[0] == '/' && local[2] == ':')
            local = local.substr(1);
        path = local;
        Filename::operator=(local);
        return;
    }

    port = defaultPort(protocol);
    sep = '/';
    const unsigned int start = i + 3;
    unsigned int end = n.find('/', start);
    if (end == npos)
        end = (start < n.length() && (n[start] == '#' || n[start] == '?')) ? start : n.length();
    authority = n.substr(start, end - start);
    if (!authority.isEmpty()) {
        authority.toLowerCase();
        const unsigned int j = authority.find(':');
        if (j == npos) {
            host = authority;
        } else {
            if (j != 0)
                host = authority.substr(0, j);
            if (j + 1 < authority.length())
                port = std::atoi(authority.substr(j + 1).asChar());
        }
    }

    // Split at the first '?' and at the first '#' after it: a '#' before the '?' belongs to
    // the path. The path is set even when empty ("http://host" has none).
    CString rest = n.substr(end);
    const unsigned int q = rest.find('?');
    const unsigned int h = rest.find('#', q == npos ? 0 : q);
    if (h != npos) {
        ref = rest.substr(h + 1);
        rest = rest.substr(0, h);
    }
    if (q != npos) {
        query = rest.substr(q + 1);
        rest = rest.substr(0, q);
    }
    path = canonicalize(rest, '/');
    // The separator is '/' now: the Filename holds the path canonicalised with it.
    Filename::operator=(rest);
}

CString URL::canonicalize(const CString& s, char sepChar)
{
    return removeDuplicateSeparators(internal::unifySeparators(s, sepChar), sepChar);
}

CString URL::getCanonicalPath() const
{
    return canonicalize(path, Filename::separator());
}

char URL::getSeparator() const
{
    return IsLocalFile() ? Filename::separator() : '/';
}

CString URL::splitPath() const
{
    CString p = IsLocalFile() ? name() : path;
    const char sepChar = getSeparator();
    while (p.length() > 1 && p[p.length() - 1] == sepChar)
        p = p.substr(0, p.length() - 1);
    return p;
}

CString URL::getDirname() const
{
    const CString p = splitPath();
    const unsigned int last = p.rfind(getSeparator());
    if (last == npos)
        return CString();
    CString dir;
    dir.format("%s%c", p.substr(0, last).asChar(), getSeparator());
    return dir;
}

CString URL::getName() const
{
    const CString p = splitPath();
    const unsigned int last = p.rfind(getSeparator());
    return last == npos ? p : p.substr(last + 1);
}

bool URL::comparePath(const URL& other) const
{
    if (IsLocalFile())
        return getName().compareNoCase(other.getName()) == 0;
    return getName() == other.getName();
}

bool URL::IsAbsolutePath() const
{
    return !IsLocalFile() || isAbsolute();
}

bool URL::IsLocalFile() const
{
    return protocol == CString("file");
}

bool URL::hasIllegalCharacters() const
{
    if (illegal(protocol, ForbidBackslash | ForbidColon | ForbidSlash | ForbidBrackets))
        return true;
    if (illegal(host, ForbidBackslash | ForbidColon | ForbidSlash))
        return true;
    return illegal(path, ForbidBrackets | (IsLocalFile() ? 0 : ForbidBackslash));
}

bool URL::hasIllegalCharacters(const CString& s)
{
    return illegal(s, 0);
}

} // namespace qvOS

extern "C" {

bool IsAbsolutePath(const char* name)
{
    return qvOS::URL(CString(name)).IsAbsolutePath();
}

bool IsLocalFile(const char* name)
{
    return qvOS::URL(CString(name)).IsLocalFile();
}

} // extern "C"
