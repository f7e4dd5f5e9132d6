// Arbitrary text as "host:port": the address either parses or throws code 2, and compares equal
// to its copy. No name is looked up.
#include "qvTCPAddress.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    qvString::CString text;
    for (std::size_t i = 0; i < size; ++i)
        if (data[i] != 0)
            text.append(static_cast<char>(data[i]));
    try {
        const qvTCP::Address address(text);
        const qvTCP::Address copy(address);
        if (!(copy == address) || address.getPort() != copy.getPort())
            std::abort();
        if (address.isNameCached() == address.isNumbersAndDotsCached())
            std::abort();
    } catch (const qvUtil::Error& error) {
        if (error.num() != 2)
            std::abort();
    }
    try {
        const qvTCP::Address address(text, static_cast<int>(size));
        if (address.getPort() != static_cast<int>(size))
            std::abort();
    } catch (const qvUtil::Error& error) {
        if (error.num() != 2 || text.length() != 0)
            std::abort();
    }
    return 0;
}
