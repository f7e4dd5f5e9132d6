#ifndef QVOS_LOCALE_H
#define QVOS_LOCALE_H

#include "qvBaseExport.h"
#include "qvStringCString.h"

namespace qvOS {

// The application's locale as the library sees it: the C runtime's current locale name and its
// code set, read when the instance is made. The library formats and parses in the "C" locale
// whatever this says; the setters are accepted and change nothing.
class QV_BASE_API Locale {
public:
    Locale();

    const qvString::CString& getName() const { return name; }
    const qvString::CString& getCodeSet() const { return codeSet; }
    bool isDefault() const { return defaultFlag; }

    // Successful no-ops.
    bool setLocale(const qvString::CString& localeName);
    bool setDefault();

private:
    qvString::CString name;
    qvString::CString codeSet;
    bool defaultFlag;
};

// The application instance, made on first use.
QV_BASE_API Locale& appLocale();

} // namespace qvOS

#endif
