// Arbitrary format strings and arguments through CString::format and Error, limited to the
// conversions the library documents (d i u x X c s f e g and %%, with flags, and widths and
// precisions of up to two digits). The text must match what the C runtime makes of it, cut at
// its first NUL.
#include "qvStringCString.h"
#include "qvUtilError.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using qvString::CString;

// The formats are made at run time on purpose: that is what this target tests.
#pragma clang diagnostic ignored "-Wformat-security"
#pragma clang diagnostic ignored "-Wformat-nonliteral"

namespace {

enum Kind { Int, Unsigned, Double, Text };

struct Input {
    const std::uint8_t* data;
    std::size_t size;
    std::size_t at = 0;
    int next() { return at < size ? data[at++] : -1; }
};

// Makes a format from the input and notes the kind of argument each conversion takes.
std::string makeFormat(Input& in, std::vector<Kind>& kinds)
{
    static const char conversions[] = "diuxXcsfeg%";
    std::string format;
    for (int c; (c = in.next()) > 0 && c != 0xFF;) {
        if (c != '%') {
            format += static_cast<char>(c);
            continue;
        }
        format += '%';
        int choice = in.next();
        if (choice < 0)
            choice = 0;
        if (choice & 0x80)
            format += "-+ 0#"[choice % 5];
        if (choice & 0x40)
            format += static_cast<char>('0' + choice % 10) + std::string(choice & 1 ? "5" : "");
        if (choice & 0x20)
            format += "." + std::to_string(choice % 23);
        const char conversion = conversions[(choice >> 1) % (sizeof conversions - 1)];
        format += conversion;
        switch (conversion) {
        case 'd': case 'i': case 'c': kinds.push_back(Int); break;
        case 'u': case 'x': case 'X': kinds.push_back(Unsigned); break;
        case 'f': case 'e': case 'g': kinds.push_back(Double); break;
        case 's': kinds.push_back(Text); break;
        default: break;
        }
        if (kinds.size() == 3)
            break;
    }
    return format;
}

struct Values {
    int i;
    unsigned u;
    double d;
    const char* s;
};

// Calls f(args...) with one argument of the right type per conversion kind.
template <class F, class... A>
void withArguments(const std::vector<Kind>& kinds, const Values& v, F f, A... args)
{
    constexpr std::size_t n = sizeof...(A);
    if (n == kinds.size()) {
        f(args...);
        return;
    }
    if constexpr (n < 3) {
        switch (kinds[n]) {
        case Int: withArguments(kinds, v, f, args..., v.i); break;
        case Unsigned: withArguments(kinds, v, f, args..., v.u); break;
        case Double: withArguments(kinds, v, f, args..., v.d); break;
        case Text: withArguments(kinds, v, f, args..., v.s); break;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input in{data, size};
    std::vector<Kind> kinds;
    const std::string format = makeFormat(in, kinds);
    Values v{};
    unsigned raw = 0;
    for (int k = 0; k < 4; ++k)
        raw = (raw << 8) | static_cast<unsigned>(in.next() & 0xFF);
    v.i = static_cast<int>(raw);
    v.u = raw;
    v.d = static_cast<double>(v.i) / 7.0;
    const std::string text(reinterpret_cast<const char*>(data + in.at), size - in.at);
    v.s = text.c_str();

    const CString fmt(format.c_str());
    withArguments(kinds, v, [&](auto... args) {
        const int expected = std::snprintf(nullptr, 0, format.c_str(), args...);
        std::string reference(static_cast<std::size_t>(expected < 0 ? 0 : expected) + 1, '\0');
        std::snprintf(&reference[0], reference.size(), format.c_str(), args...);
        reference.resize(std::strlen(reference.c_str()));

        CString out("old");
        const unsigned int length = out.format(&fmt, args...);
        if (expected < 1) {
            if (length != CString::npos || out != CString("old"))
                std::abort();
        } else if (length != reference.size() || out != CString(reference.c_str())) {
            std::abort();
        }
        const qvUtil::Error error(1, format.c_str(), args...);
        if (std::strlen(error.message()) > qvUtil::Error::maxMessageLength)
            std::abort();
    });
    return 0;
}
