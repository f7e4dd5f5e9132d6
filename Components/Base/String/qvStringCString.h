#ifndef QVSTRING_CSTRING_H
#define QVSTRING_CSTRING_H

#include "qvBaseExport.h"
#include "qvStringString.h"

#include <cstdarg>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace qvString {

// The narrow (8-bit) string: a handle on a standard sequence that the object owns alone (every
// copy has its own). Positions are unsigned int; npos means "no position" or "to the end".
// A position greater than length() given to insert, replace, erase/remove or substr throws
// std::out_of_range; a count that reaches past the end is cut there. Element access does not
// check its position.
class QV_BASE_API CString : public String {
public:
    static const unsigned int npos = 0xFFFFFFFFu;

    CString();
    // A null s gives an empty string.
    CString(const char* s);
    CString(char c);
    CString(unsigned int n, char c);
    CString(const CString& other);
    // Takes the other's text; the other is left empty but usable.
    CString(CString&& other);
    ~CString() override;

    // Size and storage.
    unsigned int length() const override { return static_cast<unsigned int>(rep->size()); }
    // Room without the terminator.
    unsigned int capacity() const override { return static_cast<unsigned int>(rep->capacity()); }
    unsigned int reserve(unsigned int n) override;
    unsigned int maxSize() const override { return 0xFFFFFFFEu; }

    // The text with a terminating NUL, valid until the next change.
    const char* asChar() const { return rep->c_str(); }
    const char* asMultibyte() const { return rep->c_str(); }
    // length() + 1: the bytes of the text with its terminator.
    unsigned int asCharStoreSize() const { return static_cast<unsigned int>(rep->size()) + 1; }
    unsigned int asMultibyteStoreSize() const { return asCharStoreSize(); }
    // A copy of the text and its terminator in a block from malloc; the caller frees it.
    char* copyAsChar() const;
    char* copyAsMultibyte() const { return copyAsChar(); }
    // Every character below 0x80 (true for an empty string).
    bool isAscii() const;

    // Unchecked element access.
    char& at(unsigned int pos) { return (*rep)[pos]; }
    char at(unsigned int pos) const { return (*rep)[pos]; }
    char& operator[](unsigned int pos) { return (*rep)[pos]; }
    char operator[](unsigned int pos) const { return (*rep)[pos]; }

    // Assignment and growth.
    CString& operator=(const CString& other)
    {
        if (this != &other)
            *rep = *other.rep;
        return *this;
    }
    // Takes the other's text; the other receives this string's previous text.
    CString& operator=(CString&& other)
    {
        rep->swap(*other.rep);
        return *this;
    }
    CString& operator=(const char* s) { return assign(s); }
    CString& assign(const CString& s) { return *this = s; }
    CString& assign(const char* s);

    virtual CString& append(const CString& s)
    {
        rep->append(*s.rep);
        return *this;
    }
    CString& append(const char* s)
    {
        if (s)
            rep->append(s);
        return *this;
    }
    CString& append(char c)
    {
        rep->push_back(c);
        return *this;
    }

    CString& prepend(const CString& s);
    CString& prepend(const char* s);
    CString& prepend(char c);
    CString& insert(unsigned int pos, const CString& s);
    CString& insert(unsigned int pos, const char* s);
    CString& insert(unsigned int pos, char c);
    CString& replace(unsigned int pos, unsigned int count, const CString& s);
    CString& replace(unsigned int pos, unsigned int count, const char* s);
    CString& replace(unsigned int pos, unsigned int count, char c);
    CString& remove(unsigned int pos, unsigned int count);
    void erase(unsigned int pos, unsigned int count);
    // Exchanges the two texts in constant time.
    void swap(CString& other) { rep->swap(*other.rep); }

    // One-sided trims: strip and stripSpaces work on the front, rstrip and rstripSpaces on the
    // back. A two-sided trim is strip followed by rstrip.
    CString& strip(char c);
    CString& rstrip(char c);
    CString& stripSpaces();
    CString& rstripSpaces();

    // Every character through toLower / toUpper of the current C locale.
    void toLowerCase();
    void toUpperCase();

    // Searching: a position, or npos. An empty text or an empty (or null) pattern never
    // matches, nor does a pattern that cannot fit between pos and the end.
    unsigned int find(const CString& s, unsigned int pos = 0) const;
    unsigned int find(const char* s, unsigned int pos = 0) const;
    unsigned int find(char c, unsigned int pos = 0) const;
    // First position at or after pos whose character satisfies pred.
    unsigned int find(bool (*pred)(char), unsigned int pos = 0) const;
    // Last occurrence beginning at or before min(pos, length() - s.length()).
    unsigned int rfind(const CString& s, unsigned int pos = npos) const;
    unsigned int rfind(const char* s, unsigned int pos = npos) const;
    unsigned int rfind(char c, unsigned int pos = npos) const;
    // Tests pos, pos - 1, ..., 0 (npos: from the last character).
    unsigned int rfind(bool (*pred)(char), unsigned int pos = npos) const;

    CString substr(unsigned int pos = 0, unsigned int count = npos) const;

    // -1, 0 or 1: bytes compared as unsigned values; on an equal prefix the shorter is less.
    int compare(const CString& s) const
    {
        int r = rep->compare(*s.rep);
        return (r > 0) - (r < 0);
    }
    // compare on lower-cased texts.
    int compareNoCase(const CString& s) const;
    // Order of the current C locale (strcoll).
    int collate(const CString& s) const;
    int collateNoCase(const CString& s) const;

    // printf-style formatting into this string, replacing its text. Returns the new length, or
    // npos (the string unchanged) when formatting fails or produces no characters. The work
    // buffer starts at 256 bytes (or initialSize) and doubles until the text fits.
    unsigned int format(const char* fmt, ...) QV_PRINTF_FORMAT(2, 3);
    unsigned int format(const CString* fmt, ...);
    unsigned int format(unsigned int initialSize, const char* fmt, ...) QV_PRINTF_FORMAT(3, 4);
    unsigned int format(unsigned int initialSize, const CString* fmt, ...);

private:
    struct Adopt {};
    CString(std::string* adopted, Adopt) : rep(adopted) {}
    unsigned int formatList(unsigned int initialSize, const char* fmt, va_list args);

    friend QV_BASE_API CString operator+(const CString& a, const CString& b);

    std::string* rep;
};

// Comparison through compare.
QV_BASE_API bool operator==(const CString& a, const CString& b);
QV_BASE_API bool operator!=(const CString& a, const CString& b);
QV_BASE_API bool operator<(const CString& a, const CString& b);
QV_BASE_API bool operator<=(const CString& a, const CString& b);
QV_BASE_API bool operator>(const CString& a, const CString& b);
QV_BASE_API bool operator>=(const CString& a, const CString& b);

// A copy of a with b appended.
QV_BASE_API CString operator+(const CString& a, const CString& b);
QV_BASE_API CString& operator+=(CString& a, const CString& b);

QV_BASE_API void swap(CString& a, CString& b);

// Writes the text (all length() bytes) to a standard stream.
QV_BASE_API std::ostream& operator<<(std::ostream& out, const CString& s);

} // namespace qvString

// CStrings as keys of the standard unordered containers.
template <>
struct std::hash<qvString::CString> {
    std::size_t operator()(const qvString::CString& s) const noexcept
    {
        return std::hash<std::string_view>()(std::string_view(s.asChar(), s.length()));
    }
};

extern "C" {
// For callers that cannot use the class: a new CString holding s (null when allocation fails),
// and its release (nothing for null).
QV_BASE_API qvString::CString* CString_create(const char* s);
QV_BASE_API void CString_delete(qvString::CString* p);
}

#endif
