#include "qvStringString.h"

namespace qvString {

// Defined here so that code outside the library can take its address.
const unsigned int String::npos;

String::~String() = default;

bool String::doBoundsCheck(int pos) const
{
    return pos >= 0 && static_cast<unsigned int>(pos) < length();
}

bool String::doBoundsCheck(int pos, int count) const
{
    if (!doBoundsCheck(pos))
        return false;
    return count == -1 || (count >= 0 && static_cast<unsigned int>(count) <= length());
}

} // namespace qvString
