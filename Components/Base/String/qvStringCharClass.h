#ifndef QVSTRING_CHARCLASS_H
#define QVSTRING_CHARCLASS_H

#include "qvBaseExport.h"

// Character classes of the current C locale, for the narrow character (char) and the 16-bit
// character (unsigned short) of the two string classes.
namespace qvString {

// Below 0x80.
QV_BASE_API bool isAscii(char c);
QV_BASE_API bool isAscii(unsigned short c);

// The C runtime's classes: is... for char, isw... for 16-bit characters.
QV_BASE_API bool isUpper(char c);
QV_BASE_API bool isUpper(unsigned short c);
QV_BASE_API bool isLower(char c);
QV_BASE_API bool isLower(unsigned short c);
QV_BASE_API bool isDigit(char c);
QV_BASE_API bool isDigit(unsigned short c);
QV_BASE_API bool isXDigit(char c);
QV_BASE_API bool isXDigit(unsigned short c);
QV_BASE_API bool isAlnum(char c);
QV_BASE_API bool isAlnum(unsigned short c);
QV_BASE_API bool isSpace(char c);
QV_BASE_API bool isSpace(unsigned short c);
QV_BASE_API bool isPunct(char c);
QV_BASE_API bool isPunct(unsigned short c);
QV_BASE_API bool isPrint(char c);
QV_BASE_API bool isPrint(unsigned short c);
QV_BASE_API bool isGraph(char c);
QV_BASE_API bool isGraph(unsigned short c);
QV_BASE_API bool isCntrl(char c);
QV_BASE_API bool isCntrl(unsigned short c);

// Line feed or carriage return.
QV_BASE_API bool isNewLine(char c);
QV_BASE_API bool isNewLine(unsigned short c);

QV_BASE_API char toUpper(char c);
QV_BASE_API char toLower(char c);
// towupper.
QV_BASE_API unsigned short toUpper(unsigned short c);
// The narrow tolower applied to the 16-bit value, so letters beyond the narrow character set
// keep their case. Deliberately unlike toUpper: existing callers depend on it.
QV_BASE_API unsigned short toLower(unsigned short c);

} // namespace qvString

#endif
