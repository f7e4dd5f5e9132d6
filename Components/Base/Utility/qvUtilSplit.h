#ifndef QVUTIL_SPLIT_H
#define QVUTIL_SPLIT_H

#include "qvBaseExport.h"
#include "qvStringCString.h"
#include "qvStringIString.h"
#include "qvUtilError.h"

#include <vector>

namespace qvUtil {

// Cuts s at each delimiter. With skipEmpty false, a leading delimiter and each pair of adjacent
// delimiters give an empty token, but a trailing delimiter gives none. With keepDelimiters true
// every delimiter becomes a one-character token of its own (and no token is empty), so that
// join(split(s, d, false, true)) == s. A null isDelimiter throws Error(2, ...).
QV_BASE_API std::vector<qvString::CString> split(const qvString::CString& s, char delimiter,
                                                 bool skipEmpty, bool keepDelimiters);
QV_BASE_API std::vector<qvString::CString> split(const qvString::CString& s,
                                                 bool (*isDelimiter)(char), bool skipEmpty,
                                                 bool keepDelimiters);
QV_BASE_API std::vector<qvString::IString> split(const qvString::IString& s,
                                                 unsigned short delimiter, bool skipEmpty,
                                                 bool keepDelimiters);
QV_BASE_API std::vector<qvString::IString> split(const qvString::IString& s,
                                                 bool (*isDelimiter)(unsigned short),
                                                 bool skipEmpty, bool keepDelimiters);

// The parts one after another, with nothing between them.
QV_BASE_API qvString::CString join(const std::vector<qvString::CString>& parts);
QV_BASE_API qvString::IString join(const std::vector<qvString::IString>& parts);

// The lines of s: each line feed and each carriage return ends a line by itself, so CR LF gives
// an empty line between them and a text ending in a line break ends with an empty line. An
// empty text is one empty line.
QV_BASE_API std::vector<qvString::CString> splitMultiLines(const qvString::CString& s);
QV_BASE_API int numMultiLines(const qvString::CString& s);

// White-space separated tokens; a token may be enclosed whole in double quotes (keeping its
// spaces), but a double quote cannot be part of a token. On malformed text the Error's code is
// the 1-based position of the fault, and tokens holds the tokens completed before it.
QV_BASE_API Error splitWithQuotes(const qvString::CString& s,
                                  std::vector<qvString::CString>& tokens);
// As splitWithQuotes, but double quotes may open and close anywhere inside a token (they are
// dropped), and a backslash escapes a backslash or a double quote.
QV_BASE_API Error splitWithQuotesAndBackslash(const qvString::CString& s,
                                              std::vector<qvString::CString>& tokens);

} // namespace qvUtil

#endif
