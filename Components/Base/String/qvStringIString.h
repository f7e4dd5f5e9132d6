#ifndef QVSTRING_ISTRING_H
#define QVSTRING_ISTRING_H

#include "qvBaseExport.h"
#include "qvStringString.h"

#include <cstddef>
#include <functional>
#include <string_view>

namespace qvString {

class CString;

namespace internal {
struct IStringRep;
}

// The wide string: 16-bit characters (unsigned short) with the operations and rules of CString
// (positions, npos, one-sided trims, the empty-pattern rule of find, unchecked element access,
// std::out_of_range for bad positions), plus conversion from and to the multibyte text of the
// current C locale. The multibyte form is cached and converted again only after a change.
class QV_BASE_API IString : public String {
public:
    static const unsigned int npos = 0xFFFFFFFFu;

    IString();
    // Up to the first 0 unit; a null s gives an empty string.
    IString(const unsigned short* s);
    IString(const IString& other);
    // Takes the other's text; the other is left empty but usable.
    IString(IString&& other);
    IString(unsigned short c);
    IString(unsigned int n, unsigned short c);
    // From multibyte text of the current C locale. Text that the locale cannot convert gives
    // an empty string; so does a null s.
    IString(const char* s);
    IString(const CString& s);
    IString(char c);
    IString(unsigned int n, char c);
    ~IString() override;

    // Size and storage.
    unsigned int length() const override;
    unsigned int capacity() const override;
    unsigned int reserve(unsigned int n) override;
    unsigned int maxSize() const override { return 0x7FFFFFFEu; }

    // The text with a terminating 0 unit, valid until the next change.
    const unsigned short* asWChar() const;
    // Bytes of that text with its terminator: (length() + 1) * 2.
    unsigned int asWCharStoreSize() const;
    // A malloc block of asWCharStoreSize() bytes; the caller frees it.
    unsigned short* copyAsWChar() const;

    // The multibyte form in the current C locale, converted again only when the text changed
    // since the last conversion. When the locale cannot convert the text, the previous form
    // stays.
    const char* asMultibyte() const;
    // Bytes of the multibyte form with its terminator.
    unsigned int asMultibyteStoreSize() const;
    // A malloc block holding the multibyte form; the caller frees it.
    char* copyAsMultibyte() const;
    // Every unit below 0x80 (true for an empty string).
    bool isAscii() const;

    // Unchecked element access. The non-const forms count as a change of the text (the
    // multibyte form is converted again on its next use).
    unsigned short& at(unsigned int pos);
    unsigned short at(unsigned int pos) const;
    unsigned short& operator[](unsigned int pos);
    unsigned short operator[](unsigned int pos) const;

    // Assignment and growth.
    IString& operator=(const IString& other);
    // Takes the other's text; the other receives this string's previous text.
    IString& operator=(IString&& other);
    IString& assign(const IString& s);
    IString& assign(const unsigned short* s);
    virtual IString& append(const IString& s);
    IString& append(const unsigned short* s);
    IString& append(unsigned short c);
    IString& prepend(const IString& s);
    IString& prepend(const unsigned short* s);
    IString& prepend(unsigned short c);
    IString& insert(unsigned int pos, const IString& s);
    IString& insert(unsigned int pos, const unsigned short* s);
    IString& insert(unsigned int pos, unsigned short c);
    IString& replace(unsigned int pos, unsigned int count, const IString& s);
    IString& replace(unsigned int pos, unsigned int count, const unsigned short* s);
    IString& replace(unsigned int pos, unsigned int count, unsigned short c);
    IString& remove(unsigned int pos, unsigned int count);
    void erase(unsigned int pos, unsigned int count);
    void swap(IString& other);

    // One-sided trims, as for CString.
    IString& strip(unsigned short c);
    IString& rstrip(unsigned short c);
    IString& stripSpaces();
    IString& rstripSpaces();

    // Through the 16-bit toLower / toUpper (see qvStringCharClass.h).
    void toLowerCase();
    void toUpperCase();

    // Searching, with the rules of CString.
    unsigned int find(const IString& s, unsigned int pos = 0) const;
    unsigned int find(const unsigned short* s, unsigned int pos = 0) const;
    unsigned int find(unsigned short c, unsigned int pos = 0) const;
    unsigned int find(bool (*pred)(unsigned short), unsigned int pos = 0) const;
    unsigned int rfind(const IString& s, unsigned int pos = npos) const;
    unsigned int rfind(const unsigned short* s, unsigned int pos = npos) const;
    unsigned int rfind(unsigned short c, unsigned int pos = npos) const;
    unsigned int rfind(bool (*pred)(unsigned short), unsigned int pos = npos) const;

    IString substr(unsigned int pos = 0, unsigned int count = npos) const;

    // -1, 0 or 1: units compared as unsigned 16-bit values, then lengths.
    int compare(const IString& s) const;
    int compareNoCase(const IString& s) const;
    // Order of the current C locale (wcscoll).
    int collate(const IString& s) const;
    int collateNoCase(const IString& s) const;

private:
    explicit IString(internal::IStringRep* adopted);
    void convertFromMultibyte(const char* s);
    void convertToMultibyte() const;

    friend QV_BASE_API IString operator+(const IString& a, const IString& b);

    internal::IStringRep* rep;
};

QV_BASE_API bool operator==(const IString& a, const IString& b);
QV_BASE_API bool operator!=(const IString& a, const IString& b);
QV_BASE_API bool operator<(const IString& a, const IString& b);
QV_BASE_API bool operator<=(const IString& a, const IString& b);
QV_BASE_API bool operator>(const IString& a, const IString& b);
QV_BASE_API bool operator>=(const IString& a, const IString& b);

QV_BASE_API IString operator+(const IString& a, const IString& b);
QV_BASE_API IString& operator+=(IString& a, const IString& b);

QV_BASE_API void swap(IString& a, IString& b);

// The NUL-terminated multibyte text src of the current C locale to 16-bit units. With a null
// dst, returns the number of units the whole text needs. Returns 0 when the locale cannot
// convert the text or dst has fewer than the needed units (then nothing is written). Otherwise
// writes at most srcCount units (never more than dstCount), adding a 0 unit when the text ends
// before that limit, and returns the units written.
QV_BASE_API unsigned int MBStoWCS(const char* src, unsigned int srcCount, unsigned short* dst,
                                  unsigned int dstCount);
// 0-terminated 16-bit units to multibyte text, with the same rules; counts in dst are bytes, and
// only whole characters are written.
QV_BASE_API unsigned int WCStoMBS(const unsigned short* src, unsigned int srcCount, char* dst,
                                  unsigned int dstCount);

} // namespace qvString

// IStrings as keys of the standard unordered containers (hashing the bytes of the units).
template <>
struct std::hash<qvString::IString> {
    std::size_t operator()(const qvString::IString& s) const noexcept
    {
        const char* bytes = reinterpret_cast<const char*>(s.asWChar());
        return std::hash<std::string_view>()(std::string_view(bytes, s.length() * 2u));
    }
};

#endif
