// Arbitrary text as file names: every splitting and joining operation of Filename must neither
// crash nor read out of bounds, and its parts must add up to the name.
#include "qvOSFilename.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

using qvString::CString;

namespace {

CString text(const std::uint8_t* data, std::size_t size)
{
    CString s;
    for (std::size_t i = 0; i < size; ++i)
        if (data[i] != 0)
            s.append(static_cast<char>(data[i]));
    return s;
}

#define check(ok) ((ok) ? (void)0 : (std::fprintf(stderr, "failed at line %d\n", __LINE__), std::abort()))

// The text rules are protected: the URL class shares them.
struct Rules : qvOS::Filename {
    using qvOS::Filename::canonicalize;
    using qvOS::Filename::removeDuplicateSeparators;
    using qvOS::Filename::removeTrailingSeparators;
};

void exercise(const qvOS::Filename& file)
{
    const CString& prefix = file.prefix();
    const CString& dirname = file.dirname();
    const CString& basename = file.basename();
    // The base name begins with its trunk and ends with its suffix.
    const CString& trunk = file.baseTrunk();
    const CString& suffix = file.baseSuffix();
    check(trunk.length() + suffix.length() <= basename.length());
    check(basename.substr(0, trunk.length()) == trunk);
    check(basename.substr(basename.length() - suffix.length(), CString::npos) == suffix);
    (void)prefix;
    (void)dirname;
    (void)file.components();
    (void)file.isAbsolute();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const CString whole = text(data, size);
    const qvOS::Filename file(whole);
    exercise(file);
    // A canonical name is its own canonical form (a join keeps '/', so only this one).
    check(qvOS::Filename(file.name()).name() == file.name());

    const std::size_t half = size / 2;
    const CString dir = text(data, half);
    const CString rest = text(data + half, size - half);
    exercise(qvOS::Filename(dir, rest));
    exercise(qvOS::Filename(qvOS::Filename(dir), qvOS::Filename(rest)));

    for (char sep : {'\\', '/'}) {
        (void)Rules::canonicalize(whole, sep);
        const CString once = Rules::removeDuplicateSeparators(whole, sep);
        check(Rules::removeDuplicateSeparators(once, sep) == once);
        const CString trimmed = Rules::removeTrailingSeparators(whole, sep);
        check(Rules::removeTrailingSeparators(trimmed, sep) == trimmed);
    }
    qvOS::Filename assigned;
    assigned = whole;
    check(assigned.name() == file.name());
    return 0;
}
