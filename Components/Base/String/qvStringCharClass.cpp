#include "qvStringCharClass.h"

#include <cctype>
#include <cstdio>
#include <cwctype>

namespace qvString {

namespace {

// A char's class as the C runtime gives it for the sign-extended character. 0xFF extends to
// EOF, which is in no class and maps to itself. Other bytes above 0x7F are passed as their
// unsigned values: runtimes whose tables cover the negative range give those the classes of
// the unsigned values, so the answer is the same, and no runtime's table is read out of range.
bool narrowClass(char c, int (*test)(int))
{
    unsigned char u = static_cast<unsigned char>(c);
    return u != 0xFF && test(u) != 0;
}

char narrowMap(char c, int (*map)(int))
{
    unsigned char u = static_cast<unsigned char>(c);
    return u == 0xFF ? c : static_cast<char>(map(u));
}

wint_t wideArg(unsigned short c)
{
    return static_cast<wint_t>(c);
}

} // namespace

bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }
bool isAscii(unsigned short c) { return c < 0x80; }

bool isUpper(char c) { return narrowClass(c, [](int x) { return std::isupper(x); }); }
bool isUpper(unsigned short c) { return std::iswupper(wideArg(c)) != 0; }
bool isLower(char c) { return narrowClass(c, [](int x) { return std::islower(x); }); }
bool isLower(unsigned short c) { return std::iswlower(wideArg(c)) != 0; }
bool isDigit(char c) { return narrowClass(c, [](int x) { return std::isdigit(x); }); }
bool isDigit(unsigned short c) { return std::iswdigit(wideArg(c)) != 0; }
bool isXDigit(char c) { return narrowClass(c, [](int x) { return std::isxdigit(x); }); }
bool isXDigit(unsigned short c) { return std::iswxdigit(wideArg(c)) != 0; }
bool isAlnum(char c) { return narrowClass(c, [](int x) { return std::isalnum(x); }); }
bool isAlnum(unsigned short c) { return std::iswalnum(wideArg(c)) != 0; }
bool isSpace(char c) { return narrowClass(c, [](int x) { return std::isspace(x); }); }
bool isSpace(unsigned short c) { return std::iswspace(wideArg(c)) != 0; }
bool isPunct(char c) { return narrowClass(c, [](int x) { return std::ispunct(x); }); }
bool isPunct(unsigned short c) { return std::iswpunct(wideArg(c)) != 0; }
bool isPrint(char c) { return narrowClass(c, [](int x) { return std::isprint(x); }); }
bool isPrint(unsigned short c) { return std::iswprint(wideArg(c)) != 0; }
bool isGraph(char c) { return narrowClass(c, [](int x) { return std::isgraph(x); }); }
bool isGraph(unsigned short c) { return std::iswgraph(wideArg(c)) != 0; }
bool isCntrl(char c) { return narrowClass(c, [](int x) { return std::iscntrl(x); }); }
bool isCntrl(unsigned short c) { return std::iswcntrl(wideArg(c)) != 0; }

bool isNewLine(char c) { return (c == '\n' || c == '\r') && isCntrl(c); }
bool isNewLine(unsigned short c) { return (c == 0x0A || c == 0x0D) && isCntrl(c); }

char toUpper(char c) { return narrowMap(c, [](int x) { return std::toupper(x); }); }
char toLower(char c) { return narrowMap(c, [](int x) { return std::tolower(x); }); }

unsigned short toUpper(unsigned short c)
{
    return static_cast<unsigned short>(std::towupper(wideArg(c)));
}

unsigned short toLower(unsigned short c)
{
    // The narrow tables stop at 0xFF; beyond them the narrow tolower has no mapping.
    if (c > 0xFF)
        return c;
    return static_cast<unsigned short>(std::tolower(c));
}

} // namespace qvString
