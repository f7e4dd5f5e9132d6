#ifndef QVSTRING_INTERNAL_CONVERT_H
#define QVSTRING_INTERNAL_CONVERT_H

// Conversion between the multibyte text of the current C locale and 16-bit units, through the C
// runtime's mbstowcs and wcstombs.

#include "qvStringUnitTraits.h"

#include <cstddef>
#include <string>

namespace qvString {
namespace internal {

// The first length bytes of text (up to a NUL) as 16-bit units; false, out untouched, when
// the locale cannot convert them.
bool decodeMultibyte(const char* text, std::size_t length, WideSeq& out);

// The first length units of text (up to a 0 unit) as multibyte text; false, out untouched,
// when the locale cannot convert them.
bool encodeMultibyte(const unsigned short* text, std::size_t length, std::string& out);

} // namespace internal
} // namespace qvString

#endif
