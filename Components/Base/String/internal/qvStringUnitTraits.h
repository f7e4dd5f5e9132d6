#ifndef QVSTRING_INTERNAL_UNITTRAITS_H
#define QVSTRING_INTERNAL_UNITTRAITS_H

// Character traits for 16-bit units held as unsigned short, so that the wide string can use the
// standard sequence without the generic traits the standard library no longer promises.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <ios>
#include <string>

namespace qvString {
namespace internal {

struct UnitTraits {
    using char_type = unsigned short;
    using int_type = std::uint_least32_t;
    using off_type = std::streamoff;
    using pos_type = std::streampos;
    using state_type = std::mbstate_t;

    static void assign(char_type& r, const char_type& a) noexcept { r = a; }
    static constexpr bool eq(char_type a, char_type b) noexcept { return a == b; }
    static constexpr bool lt(char_type a, char_type b) noexcept { return a < b; }

    static int compare(const char_type* a, const char_type* b, std::size_t n)
    {
        for (std::size_t i = 0; i < n; ++i)
            if (a[i] != b[i])
                return a[i] < b[i] ? -1 : 1;
        return 0;
    }
    static std::size_t length(const char_type* s)
    {
        std::size_t n = 0;
        while (s[n] != 0)
            ++n;
        return n;
    }
    static const char_type* find(const char_type* s, std::size_t n, const char_type& a)
    {
        for (std::size_t i = 0; i < n; ++i)
            if (s[i] == a)
                return s + i;
        return nullptr;
    }
    static char_type* move(char_type* dst, const char_type* src, std::size_t n)
    {
        if (n != 0)
            std::memmove(dst, src, n * sizeof(char_type));
        return dst;
    }
    static char_type* copy(char_type* dst, const char_type* src, std::size_t n)
    {
        if (n != 0)
            std::memcpy(dst, src, n * sizeof(char_type));
        return dst;
    }
    static char_type* assign(char_type* s, std::size_t n, char_type a)
    {
        for (std::size_t i = 0; i < n; ++i)
            s[i] = a;
        return s;
    }

    static constexpr int_type eof() noexcept { return 0xFFFFFFFFu; }
    static constexpr int_type not_eof(int_type c) noexcept { return c == eof() ? 0 : c; }
    static constexpr char_type to_char_type(int_type c) noexcept
    {
        return static_cast<char_type>(c);
    }
    static constexpr int_type to_int_type(char_type c) noexcept { return c; }
    static constexpr bool eq_int_type(int_type a, int_type b) noexcept { return a == b; }
};

using WideSeq = std::basic_string<unsigned short, UnitTraits>;

} // namespace internal
} // namespace qvString

#endif
