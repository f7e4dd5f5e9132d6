#include "qvStringIString.h"

#include "qvStringCString.h"
#include "qvStringCharClass.h"
#include "internal/qvStringAlgorithms.h"
#include "internal/qvStringConvert.h"
#include "internal/qvStringUnitTraits.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <vector>

namespace qvString {

// Defined here so that code outside the library can take its address.
const unsigned int IString::npos;

namespace internal {

// The wide text, and its multibyte form as last converted.
struct IStringRep {
    WideSeq wide;
    bool multibyteStale = true;
    std::string narrow;

    IStringRep() = default;
    explicit IStringRep(WideSeq text) : wide(std::move(text)) {}
};

} // namespace internal

namespace {

using internal::IStringRep;
using internal::UnitTraits;
using internal::WideSeq;

// The text for changing: every change makes the cached multibyte form out of date.
WideSeq& edit(IStringRep* rep)
{
    rep->multibyteStale = true;
    return rep->wide;
}

const unsigned short* orEmpty(const unsigned short* s)
{
    static const unsigned short empty = 0;
    return s ? s : &empty;
}

std::size_t unitLength(const unsigned short* s)
{
    return s ? UnitTraits::length(s) : 0;
}

unsigned short lowerUnit(unsigned short c) { return toLower(c); }
unsigned short upperUnit(unsigned short c) { return toUpper(c); }
bool spaceUnit(unsigned short c) { return isSpace(c); }

int collateUnits(const WideSeq& a, const WideSeq& b)
{
    std::vector<wchar_t> x(a.begin(), a.end());
    std::vector<wchar_t> y(b.begin(), b.end());
    x.push_back(L'\0');
    y.push_back(L'\0');
    return std::wcscoll(x.data(), y.data());
}

WideSeq lowered(const WideSeq& text)
{
    WideSeq copy(text);
    internal::mapEach(copy, lowerUnit);
    return copy;
}

} // namespace

IString::IString() : rep(new IStringRep) {}

IString::IString(const unsigned short* s) : rep(new IStringRep(WideSeq(orEmpty(s)))) {}

IString::IString(const IString& other) : String(other), rep(new IStringRep(*other.rep)) {}

IString::IString(IString&& other) : String(other), rep(new IStringRep)
{
    rep->wide.swap(edit(other.rep));
}

IString::IString(unsigned short c) : rep(new IStringRep(WideSeq(1, c))) {}

IString::IString(unsigned int n, unsigned short c) : rep(new IStringRep(WideSeq(n, c))) {}

IString::IString(const char* s) : rep(new IStringRep)
{
    if (s)
        convertFromMultibyte(s);
}

IString::IString(const CString& s) : rep(new IStringRep)
{
    *this = IString(s.asChar());
}

IString::IString(char c) : rep(new IStringRep)
{
    *this = IString(CString(c).asChar());
}

IString::IString(unsigned int n, char c) : rep(new IStringRep)
{
    *this = IString(CString(n, c).asChar());
}

IString::IString(IStringRep* adopted) : rep(adopted) {}

IString::~IString()
{
    delete rep;
}

unsigned int IString::length() const
{
    return static_cast<unsigned int>(rep->wide.size());
}

unsigned int IString::capacity() const
{
    return static_cast<unsigned int>(rep->wide.capacity());
}

unsigned int IString::reserve(unsigned int n)
{
    rep->wide.reserve(n);
    return capacity();
}

const unsigned short* IString::asWChar() const
{
    return rep->wide.c_str();
}

unsigned int IString::asWCharStoreSize() const
{
    return (length() + 1) * 2;
}

unsigned short* IString::copyAsWChar() const
{
    std::size_t size = (rep->wide.size() + 1) * sizeof(unsigned short);
    auto* block = static_cast<unsigned short*>(std::malloc(size));
    if (block)
        std::memcpy(block, rep->wide.c_str(), size);
    return block;
}

const char* IString::asMultibyte() const
{
    convertToMultibyte();
    return rep->narrow.c_str();
}

unsigned int IString::asMultibyteStoreSize() const
{
    convertToMultibyte();
    return static_cast<unsigned int>(rep->narrow.size() + 1);
}

char* IString::copyAsMultibyte() const
{
    convertToMultibyte();
    std::size_t size = rep->narrow.size() + 1;
    char* block = static_cast<char*>(std::malloc(size));
    if (block)
        std::memcpy(block, rep->narrow.c_str(), size);
    return block;
}

bool IString::isAscii() const
{
    return internal::allAscii(rep->wide);
}

unsigned short& IString::at(unsigned int pos) { return edit(rep)[pos]; }
unsigned short IString::at(unsigned int pos) const { return rep->wide[pos]; }
unsigned short& IString::operator[](unsigned int pos) { return edit(rep)[pos]; }
unsigned short IString::operator[](unsigned int pos) const { return rep->wide[pos]; }

IString& IString::operator=(const IString& other)
{
    if (this != &other)
        edit(rep) = other.rep->wide;
    return *this;
}

IString& IString::operator=(IString&& other)
{
    edit(rep).swap(edit(other.rep));
    return *this;
}

IString& IString::assign(const IString& s)
{
    return *this = s;
}

IString& IString::assign(const unsigned short* s)
{
    edit(rep).assign(orEmpty(s));
    return *this;
}

IString& IString::append(const IString& s)
{
    edit(rep).append(s.rep->wide);
    return *this;
}

IString& IString::append(const unsigned short* s)
{
    edit(rep).append(orEmpty(s));
    return *this;
}

IString& IString::append(unsigned short c)
{
    edit(rep).push_back(c);
    return *this;
}

IString& IString::prepend(const IString& s)
{
    return insert(0, s);
}

IString& IString::prepend(const unsigned short* s)
{
    return insert(0, s);
}

IString& IString::prepend(unsigned short c)
{
    return insert(0, c);
}

IString& IString::insert(unsigned int pos, const IString& s)
{
    edit(rep).insert(pos, s.rep->wide);
    return *this;
}

IString& IString::insert(unsigned int pos, const unsigned short* s)
{
    edit(rep).insert(pos, orEmpty(s));
    return *this;
}

IString& IString::insert(unsigned int pos, unsigned short c)
{
    edit(rep).insert(WideSeq::size_type(pos), 1, c);
    return *this;
}

IString& IString::replace(unsigned int pos, unsigned int count, const IString& s)
{
    edit(rep).replace(pos, count, s.rep->wide);
    return *this;
}

IString& IString::replace(unsigned int pos, unsigned int count, const unsigned short* s)
{
    edit(rep).replace(pos, count, orEmpty(s));
    return *this;
}

IString& IString::replace(unsigned int pos, unsigned int count, unsigned short c)
{
    edit(rep).replace(pos, count, 1, c);
    return *this;
}

IString& IString::remove(unsigned int pos, unsigned int count)
{
    erase(pos, count);
    return *this;
}

void IString::erase(unsigned int pos, unsigned int count)
{
    edit(rep).erase(pos, count);
}

void IString::swap(IString& other)
{
    std::swap(rep, other.rep);
}

IString& IString::strip(unsigned short c)
{
    internal::trimFront(edit(rep), [c](unsigned short x) { return x == c; });
    return *this;
}

IString& IString::rstrip(unsigned short c)
{
    internal::trimBack(edit(rep), [c](unsigned short x) { return x == c; });
    return *this;
}

IString& IString::stripSpaces()
{
    internal::trimFront(edit(rep), spaceUnit);
    return *this;
}

IString& IString::rstripSpaces()
{
    internal::trimBack(edit(rep), spaceUnit);
    return *this;
}

void IString::toLowerCase()
{
    internal::mapEach(edit(rep), lowerUnit);
}

void IString::toUpperCase()
{
    internal::mapEach(edit(rep), upperUnit);
}

unsigned int IString::find(const IString& s, unsigned int pos) const
{
    return internal::findIn(rep->wide, s.rep->wide.data(), s.rep->wide.size(), pos);
}

unsigned int IString::find(const unsigned short* s, unsigned int pos) const
{
    return internal::findIn(rep->wide, orEmpty(s), unitLength(s), pos);
}

unsigned int IString::find(unsigned short c, unsigned int pos) const
{
    return internal::findUnit(rep->wide, c, pos);
}

unsigned int IString::find(bool (*pred)(unsigned short), unsigned int pos) const
{
    return internal::findIf(rep->wide, pred, pos);
}

unsigned int IString::rfind(const IString& s, unsigned int pos) const
{
    return internal::rfindIn(rep->wide, s.rep->wide.data(), s.rep->wide.size(), pos);
}

unsigned int IString::rfind(const unsigned short* s, unsigned int pos) const
{
    return internal::rfindIn(rep->wide, orEmpty(s), unitLength(s), pos);
}

unsigned int IString::rfind(unsigned short c, unsigned int pos) const
{
    return internal::rfindUnit(rep->wide, c, pos);
}

unsigned int IString::rfind(bool (*pred)(unsigned short), unsigned int pos) const
{
    return internal::rfindIf(rep->wide, pred, pos);
}

IString IString::substr(unsigned int pos, unsigned int count) const
{
    return IString(new IStringRep(rep->wide.substr(pos, count)));
}

int IString::compare(const IString& s) const
{
    return internal::compareMapped(rep->wide, s.rep->wide, [](unsigned short c) { return c; });
}

int IString::compareNoCase(const IString& s) const
{
    return internal::compareMapped(rep->wide, s.rep->wide, lowerUnit);
}

int IString::collate(const IString& s) const
{
    return collateUnits(rep->wide, s.rep->wide);
}

int IString::collateNoCase(const IString& s) const
{
    return collateUnits(lowered(rep->wide), lowered(s.rep->wide));
}

void IString::convertFromMultibyte(const char* s)
{
    std::size_t length = std::strlen(s);
    if (length == 0) {
        edit(rep).clear();
        return;
    }
    // Text the locale cannot convert leaves the wide text as it was.
    WideSeq units;
    if (internal::decodeMultibyte(s, length, units) && !units.empty())
        edit(rep).swap(units);
}

void IString::convertToMultibyte() const
{
    if (!rep->multibyteStale)
        return;
    if (rep->wide.empty()) {
        rep->narrow.clear();
    } else {
        // A text the locale cannot convert keeps the previous multibyte form.
        std::string bytes;
        if (internal::encodeMultibyte(rep->wide.data(), rep->wide.size(), bytes)
            && !bytes.empty())
            rep->narrow.swap(bytes);
    }
    rep->multibyteStale = false;
}

bool operator==(const IString& a, const IString& b) { return a.compare(b) == 0; }
bool operator!=(const IString& a, const IString& b) { return a.compare(b) != 0; }
bool operator<(const IString& a, const IString& b) { return a.compare(b) < 0; }
bool operator<=(const IString& a, const IString& b) { return a.compare(b) <= 0; }
bool operator>(const IString& a, const IString& b) { return a.compare(b) > 0; }
bool operator>=(const IString& a, const IString& b) { return a.compare(b) >= 0; }

IString operator+(const IString& a, const IString& b)
{
    WideSeq text;
    text.reserve(a.rep->wide.size() + b.rep->wide.size());
    text.append(a.rep->wide).append(b.rep->wide);
    return IString(new IStringRep(std::move(text)));
}

IString& operator+=(IString& a, const IString& b)
{
    return a.append(b);
}

void swap(IString& a, IString& b)
{
    a.swap(b);
}

} // namespace qvString
