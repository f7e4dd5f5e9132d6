#include "qvOSLocale.h"

#include <clocale>

using qvString::CString;

namespace qvOS {

Locale::Locale() : defaultFlag(true)
{
    const char* current = std::setlocale(LC_CTYPE, nullptr);
    name = current ? current : "C";
    // The code set is what follows the dot of the name ("en_US.UTF-8", "English_USA.1252").
    const unsigned int dot = name.find('.');
    if (dot != CString::npos) {
        codeSet = name.substr(dot + 1);
        const unsigned int at = codeSet.find('@');
        if (at != CString::npos)
            codeSet = codeSet.substr(0, at);
    }
    defaultFlag = name == CString("C") || name == CString("POSIX");
}

bool Locale::setLocale(const CString&)
{
    return true;
}

bool Locale::setDefault()
{
    return true;
}

Locale& appLocale()
{
    static Locale instance;
    return instance;
}

} // namespace qvOS
