#include "qvUtilSplit.h"

#include "qvStringCharClass.h"

using qvString::CString;
using qvString::IString;

namespace qvUtil {

namespace {

// The one splitting algorithm behind the four forms; it walks an index instead of erasing the
// consumed text from a copy, which gives the same tokens in linear time.
template <class Str, class IsDelimiter>
std::vector<Str> splitString(const Str& s, IsDelimiter isDelimiter, bool skipEmpty,
                             bool keepDelimiters)
{
    std::vector<Str> result;
    const unsigned int n = s.length();
    unsigned int pos = 0;
    while (pos < n) {
        unsigned int p = pos;
        while (p < n && !isDelimiter(s[p]))
            ++p;
        if (p == n)
            break;
        if (p > pos) {
            result.push_back(s.substr(pos, p - pos));
            pos = keepDelimiters ? p : p + 1;
        } else {
            if (keepDelimiters)
                result.push_back(s.substr(p, 1));
            else if (!skipEmpty)
                result.emplace_back();
            pos = p + 1;
        }
    }
    if (pos < n)
        result.push_back(s.substr(pos, n - pos));
    return result;
}

// split() returns its tokens, so a missing delimiter test can only be reported by throwing.
void requireTest(bool given)
{
    if (!given)
        throw Error(2, "qvUtil::split: no delimiter test given");
}

template <class Str>
Str joinStrings(const std::vector<Str>& parts)
{
    unsigned int total = 0;
    for (const Str& part : parts)
        total += part.length();
    Str result;
    result.reserve(total);
    for (const Str& part : parts)
        result.append(part);
    return result;
}

} // namespace

std::vector<CString> split(const CString& s, char delimiter, bool skipEmpty, bool keepDelimiters)
{
    return splitString(s, [delimiter](char c) { return c == delimiter; }, skipEmpty,
                       keepDelimiters);
}

std::vector<CString> split(const CString& s, bool (*isDelimiter)(char), bool skipEmpty,
                           bool keepDelimiters)
{
    requireTest(isDelimiter != nullptr);
    return splitString(s, isDelimiter, skipEmpty, keepDelimiters);
}

std::vector<IString> split(const IString& s, unsigned short delimiter, bool skipEmpty,
                           bool keepDelimiters)
{
    return splitString(s, [delimiter](unsigned short c) { return c == delimiter; }, skipEmpty,
                       keepDelimiters);
}

std::vector<IString> split(const IString& s, bool (*isDelimiter)(unsigned short), bool skipEmpty,
                           bool keepDelimiters)
{
    requireTest(isDelimiter != nullptr);
    return splitString(s, isDelimiter, skipEmpty, keepDelimiters);
}

CString join(const std::vector<CString>& parts)
{
    return joinStrings(parts);
}

IString join(const std::vector<IString>& parts)
{
    return joinStrings(parts);
}

std::vector<CString> splitMultiLines(const CString& s)
{
    std::vector<CString> lines;
    if (s.isEmpty()) {
        lines.emplace_back();
        return lines;
    }
    unsigned int start = 0;
    for (unsigned int i = 0; i <= s.last(); ++i) {
        if (qvString::isNewLine(s[i])) {
            lines.push_back(s.substr(start, i - start));
            start = i + 1;
        }
    }
    if (start > s.last())
        lines.emplace_back();
    else
        lines.push_back(s.substr(start, CString::npos));
    return lines;
}

int numMultiLines(const CString& s)
{
    return static_cast<int>(splitMultiLines(s).size());
}

namespace {

// First position at or after pos that is not white space (n when there is none).
unsigned int skipSpaces(const CString& s, unsigned int pos)
{
    const unsigned int n = s.length();
    while (pos < n && qvString::isSpace(s[pos]))
        ++pos;
    return pos;
}

} // namespace

Error splitWithQuotes(const CString& s, std::vector<CString>& tokens)
{
    tokens.clear();
    const unsigned int n = s.length();
    unsigned int pos = 0;
    for (;;) {
        unsigned int i = skipSpaces(s, pos);
        if (i == n)
            return Error();
        bool quoted = false;
        unsigned int open = i;
        unsigned int k = i;
        if (s[i] == '"') {
            if (i == n - 1)
                return Error(static_cast<int>(i + 1), "Unmatched double quote");
            quoted = true;
            k = i + 1;
        }
        CString token;
        for (; k < n; ++k) {
            char c = s[k];
            if (c == '"') {
                if (!quoted)
                    return Error(static_cast<int>(k),
                                 "Unexpected character before a double quote: '%c'", s[k - 1]);
                if (k + 1 < n && !qvString::isSpace(s[k + 1]))
                    return Error(static_cast<int>(k + 2),
                                 "Unexpected character after double quote: '%c'", s[k + 1]);
                quoted = false;
            } else if (!qvString::isSpace(c) || quoted) {
                token.append(c);
            } else {
                break;
            }
        }
        if (quoted)
            return Error(static_cast<int>(open + 1), "Unmatched double quote");
        tokens.push_back(token);
        pos = k;
    }
}

Error splitWithQuotesAndBackslash(const CString& s, std::vector<CString>& tokens)
{
    tokens.clear();
    const unsigned int n = s.length();
    unsigned int pos = 0;
    for (;;) {
        unsigned int k = skipSpaces(s, pos);
        if (k == n)
            return Error();
        bool quoted = false;
        unsigned int open = k;
        CString token;
        for (; k < n; ++k) {
            char c = s[k];
            if (qvString::isSpace(c) && !quoted)
                break;
            if (c == '"') {
                quoted = !quoted;
                if (quoted)
                    open = k;
            } else if (c == '\\') {
                if (k == n - 1)
                    return Error(static_cast<int>(k + 1), "Single backslash character");
                char next = s[k + 1];
                if (next != '\\' && next != '"')
                    return Error(static_cast<int>(k + 2), "Illegal escape of character '%c'",
                                 next);
                token.append(next);
                ++k;
            } else {
                token.append(c);
            }
        }
        if (quoted)
            return Error(static_cast<int>(open + 1), "Unmatched double quote");
        tokens.push_back(token);
        pos = k;
    }
}

} // namespace qvUtil
