#include "qvStringCharClass.h"

#include <cctype>
#include <cstdio>
#include <cwctype>

namespace qvString {

namespace {

// A char as the C runtime sees it when the character is sign-extended: bytes below 0x80 as they
// are, 0xFF as EOF, other high bytes by their unsigned value. Runtimes whose tables cover the
// negative range give those bytes the classes of their unsigned values, so this is the same
// answer, and it never indexes outside the tables of runtimes that do not.
int narrowArg(char c)
{
    unsigned char u = static_cast<unsigned char>(c);
    return u == 0xFF ? EOF : u;
}

wint_t wideArg(unsigned short c)
{
    return static_cast<wint_t>(c);
}

} // namespace

bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }
bool isAscii(unsigned short c) { return c < 0x80; }

bool isUpper(char c) { return std::isupper(narrowArg(c)) != 0; }
bool isUpper(unsigned short c) { return std::iswupper(wideArg(c)) != 0; }
bool isLower(char c) { return std::islower(narrowArg(c)) != 0; }
bool isLower(unsigned short c) { return std::iswlower(wideArg(c)) != 0; }
bool isDigit(char c) { return std::isdigit(narrowArg(c)) != 0; }
bool isDigit(unsigned short c) { return std::iswdigit(wideArg(c)) != 0; }
bool isXDigit(char c) { return std::isxdigit(narrowArg(c)) != 0; }
bool isXDigit(unsigned short c) { return std::iswxdigit(wideArg(c)) != 0; }
bool isAlnum(char c) { return std::isalnum(narrowArg(c)) != 0; }
bool isAlnum(unsigned short c) { return std::iswalnum(wideArg(c)) != 0; }
bool isSpace(char c) { return std::isspace(narrowArg(c)) != 0; }
bool isSpace(unsigned short c) { return std::iswspace(wideArg(c)) != 0; }
bool isPunct(char c) { return std::ispunct(narrowArg(c)) != 0; }
bool isPunct(unsigned short c) { return std::iswpunct(wideArg(c)) != 0; }
bool isPrint(char c) { return std::isprint(narrowArg(c)) != 0; }
bool isPrint(unsigned short c) { return std::iswprint(wideArg(c)) != 0; }
bool isGraph(char c) { return std::isgraph(narrowArg(c)) != 0; }
bool isGraph(unsigned short c) { return std::iswgraph(wideArg(c)) != 0; }
bool isCntrl(char c) { return std::iscntrl(narrowArg(c)) != 0; }
bool isCntrl(unsigned short c) { return std::iswcntrl(wideArg(c)) != 0; }

bool isNewLine(char c) { return (c == '\n' || c == '\r') && isCntrl(c); }
bool isNewLine(unsigned short c) { return (c == 0x0A || c == 0x0D) && isCntrl(c); }

char toUpper(char c) { return static_cast<char>(std::toupper(narrowArg(c))); }
char toLower(char c) { return static_cast<char>(std::tolower(narrowArg(c))); }

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
