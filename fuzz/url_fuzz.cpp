// Arbitrary bytes as a resource name: URL parsing and the Filename text rules must neither
// crash nor read out of bounds, and canonical names must be stable.
#include "qvOSURL.h"

#include <cstddef>
#include <cstdint>
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const CString name = text(data, size);
    const qvOS::URL url(name);
    (void)url.getCanonicalPath();
    (void)url.getDirname();
    (void)url.getName();
    (void)url.hasIllegalCharacters();
    (void)url.IsAbsolutePath();
    (void)url.components();
    if (!url.comparePath(url))
        std::abort();
    const qvOS::URL copy(url);
    if (copy.getSeparator() != url.getSeparator() || copy.name() != url.name())
        std::abort();

    const qvOS::Filename file(name);
    (void)file.components();
    // A canonical name holds no '/' and canonicalises to itself.
    if (file.name().find('/') != CString::npos || qvOS::Filename(file.name()).name() != file.name())
        std::abort();
    const std::size_t half = size / 2;
    const qvOS::Filename joined(text(data, half), text(data + half, size - half));
    (void)joined.components();
    return 0;
}
