#ifndef QVOS_INTERNAL_SEPARATORS_H
#define QVOS_INTERNAL_SEPARATORS_H

#include "qvStringCString.h"

namespace qvOS {
namespace internal {

// s with every occurrence of the other separator ('\' when sep is '/', '/' otherwise) turned
// into sep.
inline qvString::CString unifySeparators(const qvString::CString& s, char sep)
{
    const char other = sep == '/' ? '\\' : '/';
    qvString::CString result(s);
    for (unsigned int i = 0; i < result.length(); ++i)
        if (result[i] == other)
            result[i] = sep;
    return result;
}

} // namespace internal
} // namespace qvOS

#endif
