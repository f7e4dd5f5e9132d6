#ifndef QVSTRING_INTERNAL_ALGORITHMS_H
#define QVSTRING_INTERNAL_ALGORITHMS_H

// The rules that the narrow and the wide string share, written once over the standard sequence
// that each of them holds.

#include <cstdint>
#include <string>
#include <type_traits>

namespace qvString {
namespace internal {

constexpr unsigned int npos = 0xFFFFFFFFu;

template <class Seq>
unsigned int toPosition(typename Seq::size_type pos)
{
    return pos == Seq::npos ? npos : static_cast<unsigned int>(pos);
}

// First occurrence of a pattern at or after pos. No match for an empty text, an empty pattern,
// or a pattern that cannot fit between pos and the end.
template <class Seq>
unsigned int findIn(const Seq& text, const typename Seq::value_type* pattern,
                    typename Seq::size_type patternLength, unsigned int pos)
{
    if (text.empty() || patternLength == 0
        || static_cast<std::uint64_t>(pos) + patternLength > text.size())
        return npos;
    return toPosition<Seq>(text.find(pattern, pos, patternLength));
}

// Last occurrence that begins at or before min(pos, length - patternLength).
template <class Seq>
unsigned int rfindIn(const Seq& text, const typename Seq::value_type* pattern,
                     typename Seq::size_type patternLength, unsigned int pos)
{
    if (text.empty() || patternLength == 0 || patternLength > text.size())
        return npos;
    typename Seq::size_type start = text.size() - patternLength;
    if (pos < start)
        start = pos;
    return toPosition<Seq>(text.rfind(pattern, start, patternLength));
}

// The same rules for a one-unit pattern, which reduce to "pos is inside the text".
template <class Seq>
unsigned int findUnit(const Seq& text, typename Seq::value_type unit, unsigned int pos)
{
    if (pos >= text.size())
        return npos;
    return toPosition<Seq>(text.find(unit, pos));
}

template <class Seq>
unsigned int rfindUnit(const Seq& text, typename Seq::value_type unit, unsigned int pos)
{
    if (text.empty())
        return npos;
    return toPosition<Seq>(text.rfind(unit, pos));
}

template <class Seq, class Pred>
unsigned int findIf(const Seq& text, Pred pred, unsigned int pos)
{
    for (typename Seq::size_type i = pos; i < text.size(); ++i)
        if (pred(text[i]))
            return static_cast<unsigned int>(i);
    return npos;
}

// Tests pos, pos - 1, ..., 0; npos means the last character. A position past the end counts as
// the last character, so a stray position never reads outside the text.
template <class Seq, class Pred>
unsigned int rfindIf(const Seq& text, Pred pred, unsigned int pos)
{
    if (text.empty())
        return npos;
    typename Seq::size_type i = pos;
    if (i >= text.size())
        i = text.size() - 1;
    for (;;) {
        if (pred(text[i]))
            return static_cast<unsigned int>(i);
        if (i == 0)
            return npos;
        --i;
    }
}

// One-sided trims: remove leading (or trailing) units for which pred holds.
template <class Seq, class Pred>
void trimFront(Seq& text, Pred pred)
{
    typename Seq::size_type n = 0;
    while (n < text.size() && pred(text[n]))
        ++n;
    text.erase(0, n);
}

template <class Seq, class Pred>
void trimBack(Seq& text, Pred pred)
{
    typename Seq::size_type n = text.size();
    while (n > 0 && pred(text[n - 1]))
        --n;
    text.erase(n);
}

// -1, 0 or 1: units compared as unsigned values after mapping each through map; on an equal
// common prefix the shorter text is less.
template <class Seq, class Map>
int compareMapped(const Seq& a, const Seq& b, Map map)
{
    typename Seq::size_type n = a.size() < b.size() ? a.size() : b.size();
    for (typename Seq::size_type i = 0; i < n; ++i) {
        auto x = static_cast<typename std::make_unsigned<typename Seq::value_type>::type>(map(a[i]));
        auto y = static_cast<typename std::make_unsigned<typename Seq::value_type>::type>(map(b[i]));
        if (x != y)
            return x < y ? -1 : 1;
    }
    if (a.size() == b.size())
        return 0;
    return a.size() < b.size() ? -1 : 1;
}

template <class Seq, class Map>
void mapEach(Seq& text, Map map)
{
    for (auto& unit : text)
        unit = map(unit);
}

template <class Seq>
bool allAscii(const Seq& text)
{
    for (auto unit : text)
        if (static_cast<typename std::make_unsigned<typename Seq::value_type>::type>(unit) >= 0x80)
            return false;
    return true;
}

} // namespace internal
} // namespace qvString

#endif
