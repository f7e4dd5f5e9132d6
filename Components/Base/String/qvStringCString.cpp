#include "qvStringCString.h"

#include "qvStringCharClass.h"
#include "qvUtilError.h"
#include "internal/qvStringAlgorithms.h"
#include "internal/qvStringRepPool.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <ostream>

namespace qvString {

// Defined here so that code outside the library can take its address.
const unsigned int CString::npos;

namespace {

char lowerChar(char c) { return toLower(c); }
char upperChar(char c) { return toUpper(c); }
bool spaceChar(char c) { return isSpace(c); }

std::string lowered(const std::string& text)
{
    std::string copy(text);
    internal::mapEach(copy, lowerChar);
    return copy;
}

} // namespace

namespace {

// A sequence from the pool, filled by fill; given back if filling fails.
template <class Fill>
std::string* makeRep(Fill fill)
{
    std::string* rep = internal::acquireNarrowRep();
    try {
        fill(*rep);
    } catch (...) {
        internal::releaseNarrowRep(rep);
        throw;
    }
    return rep;
}

} // namespace

CString::CString() : rep(internal::acquireNarrowRep()) {}

CString::CString(const char* s) : rep(makeRep([s](std::string& r) {
    if (s)
        r.assign(s);
})) {}

CString::CString(char c) : rep(makeRep([c](std::string& r) { r.assign(1, c); })) {}

CString::CString(unsigned int n, char c)
    : rep(makeRep([n, c](std::string& r) { r.assign(n, c); })) {}

CString::CString(const CString& other)
    : String(other), rep(makeRep([&other](std::string& r) { r.assign(*other.rep); })) {}

CString::CString(CString&& other) : String(other), rep(internal::acquireNarrowRep())
{
    rep->swap(*other.rep);
}

CString::~CString()
{
    internal::releaseNarrowRep(rep);
}

unsigned int CString::reserve(unsigned int n)
{
    rep->reserve(n);
    return capacity();
}

char* CString::copyAsChar() const
{
    std::size_t size = rep->size() + 1;
    char* block = static_cast<char*>(std::malloc(size));
    if (block)
        std::memcpy(block, rep->c_str(), size);
    return block;
}

bool CString::isAscii() const
{
    return internal::allAscii(*rep);
}

CString& CString::assign(const char* s)
{
    if (s)
        rep->assign(s);
    else
        rep->clear();
    return *this;
}

CString& CString::prepend(const CString& s)
{
    rep->insert(0, *s.rep);
    return *this;
}

CString& CString::prepend(const char* s)
{
    if (s)
        rep->insert(0, s);
    return *this;
}

CString& CString::prepend(char c)
{
    rep->insert(std::string::size_type(0), 1, c);
    return *this;
}

CString& CString::insert(unsigned int pos, const CString& s)
{
    rep->insert(pos, *s.rep);
    return *this;
}

CString& CString::insert(unsigned int pos, const char* s)
{
    rep->insert(pos, s ? s : "");
    return *this;
}

CString& CString::insert(unsigned int pos, char c)
{
    rep->insert(std::string::size_type(pos), 1, c);
    return *this;
}

CString& CString::replace(unsigned int pos, unsigned int count, const CString& s)
{
    rep->replace(pos, count, *s.rep);
    return *this;
}

CString& CString::replace(unsigned int pos, unsigned int count, const char* s)
{
    rep->replace(pos, count, s ? s : "");
    return *this;
}

CString& CString::replace(unsigned int pos, unsigned int count, char c)
{
    rep->replace(pos, count, 1, c);
    return *this;
}

CString& CString::remove(unsigned int pos, unsigned int count)
{
    erase(pos, count);
    return *this;
}

void CString::erase(unsigned int pos, unsigned int count)
{
    rep->erase(pos, count);
}

CString& CString::strip(char c)
{
    internal::trimFront(*rep, [c](char x) { return x == c; });
    return *this;
}

CString& CString::rstrip(char c)
{
    internal::trimBack(*rep, [c](char x) { return x == c; });
    return *this;
}

CString& CString::stripSpaces()
{
    internal::trimFront(*rep, spaceChar);
    return *this;
}

CString& CString::rstripSpaces()
{
    internal::trimBack(*rep, spaceChar);
    return *this;
}

void CString::toLowerCase()
{
    internal::mapEach(*rep, lowerChar);
}

void CString::toUpperCase()
{
    internal::mapEach(*rep, upperChar);
}

unsigned int CString::find(const CString& s, unsigned int pos) const
{
    return internal::findIn(*rep, s.rep->data(), s.rep->size(), pos);
}

unsigned int CString::find(const char* s, unsigned int pos) const
{
    return s ? internal::findIn(*rep, s, std::strlen(s), pos) : npos;
}

unsigned int CString::find(char c, unsigned int pos) const
{
    return internal::findUnit(*rep, c, pos);
}

unsigned int CString::find(bool (*pred)(char), unsigned int pos) const
{
    return internal::findIf(*rep, pred, pos);
}

unsigned int CString::rfind(const CString& s, unsigned int pos) const
{
    return internal::rfindIn(*rep, s.rep->data(), s.rep->size(), pos);
}

unsigned int CString::rfind(const char* s, unsigned int pos) const
{
    return s ? internal::rfindIn(*rep, s, std::strlen(s), pos) : npos;
}

unsigned int CString::rfind(char c, unsigned int pos) const
{
    return internal::rfindUnit(*rep, c, pos);
}

unsigned int CString::rfind(bool (*pred)(char), unsigned int pos) const
{
    return internal::rfindIf(*rep, pred, pos);
}

CString CString::substr(unsigned int pos, unsigned int count) const
{
    // assign checks pos as substr would, with the standard out-of-range exception.
    const std::string& text = *rep;
    return CString(makeRep([&text, pos, count](std::string& r) { r.assign(text, pos, count); }),
                   Adopt());
}

int CString::compareNoCase(const CString& s) const
{
    // The same answer as comparing lower-cased copies, without making them.
    return internal::compareMapped(*rep, *s.rep, lowerChar);
}

int CString::collate(const CString& s) const
{
    return std::strcoll(rep->c_str(), s.rep->c_str());
}

int CString::collateNoCase(const CString& s) const
{
    return std::strcoll(lowered(*rep).c_str(), lowered(*s.rep).c_str());
}

unsigned int CString::format(const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    unsigned int result = formatList(256, fmt, args);
    va_end(args);
    return result;
}

unsigned int CString::format(const CString* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    unsigned int result = formatList(256, fmt ? fmt->asChar() : nullptr, args);
    va_end(args);
    return result;
}

unsigned int CString::format(unsigned int initialSize, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    unsigned int result = formatList(initialSize, fmt, args);
    va_end(args);
    return result;
}

unsigned int CString::format(unsigned int initialSize, const CString* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    unsigned int result = formatList(initialSize, fmt ? fmt->asChar() : nullptr, args);
    va_end(args);
    return result;
}

unsigned int CString::formatList(unsigned int initialSize, const char* fmt, va_list args)
{
    if (!fmt)
        return npos;
    // The first attempt uses the stack when it fits there; later ones a heap block that
    // doubles each time. QL_vsnprintf also refuses a text of exactly size - 1 characters, so
    // such a text is formatted again in the doubled buffer.
    char local[256];
    char* heap = nullptr;
    char* buffer = nullptr;
    int result = -1;
    // A zero start would never grow; the work is the same from one byte.
    std::uint64_t size = initialSize == 0 ? 1 : initialSize;
    while (size < 0xFFFFFFFEu) {
        std::free(heap);
        heap = nullptr;
        if (size <= sizeof local) {
            buffer = local;
        } else {
            heap = static_cast<char*>(std::malloc(static_cast<std::size_t>(size)));
            if (!heap)
                break;
            buffer = heap;
        }
        va_list attempt;
        va_copy(attempt, args);
        result = QL_vsnprintf(buffer, static_cast<unsigned int>(size), fmt, attempt);
        va_end(attempt);
        size *= 2;
        if (result >= 0)
            break;
    }
    if (result < 1) {
        std::free(heap);
        return npos;
    }
    // The text ends at its first NUL, as a C string does: "%c" of 0 cuts it there.
    const void* nul = std::memchr(buffer, '\0', static_cast<std::size_t>(result));
    rep->assign(buffer, nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - buffer)
                            : static_cast<std::size_t>(result));
    std::free(heap);
    return length();
}

bool operator==(const CString& a, const CString& b) { return a.compare(b) == 0; }
bool operator!=(const CString& a, const CString& b) { return a.compare(b) != 0; }
bool operator<(const CString& a, const CString& b) { return a.compare(b) < 0; }
bool operator<=(const CString& a, const CString& b) { return a.compare(b) <= 0; }
bool operator>(const CString& a, const CString& b) { return a.compare(b) > 0; }
bool operator>=(const CString& a, const CString& b) { return a.compare(b) >= 0; }

CString operator+(const CString& a, const CString& b)
{
    return CString(makeRep([&a, &b](std::string& r) {
                       r.reserve(a.rep->size() + b.rep->size());
                       r.append(*a.rep).append(*b.rep);
                   }),
                   CString::Adopt());
}

CString& operator+=(CString& a, const CString& b)
{
    return a.append(b);
}

void swap(CString& a, CString& b)
{
    a.swap(b);
}

std::ostream& operator<<(std::ostream& out, const CString& s)
{
    return out.write(s.asChar(), static_cast<std::streamsize>(s.length()));
}

} // namespace qvString

extern "C" qvString::CString* CString_create(const char* s)
{
    // Either allocation (the object or its text) may fail; the caller gets null for both.
    try {
        return new qvString::CString(s);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

extern "C" void CString_delete(qvString::CString* p)
{
    delete p;
}
