// Reads arbitrary bytes through the encryption filter: every input must end in a status (end of
// file or an input/output error for a bad marker or a cut record) without a memory fault or an
// endless loop, whatever the sizes asked for. Bytes written through the filter must read back
// exactly, and the processor's AES instructions and the portable code must write the same bytes.
#include "ioBufferedStream.h"
#include "internal/ioAes128.h"
#include "../tests/support/qvTestMemoryStream.h"

#include <cstdint>
#include <string>

using qvTest::MemoryInput;
using qvTest::MemoryOutput;

namespace {

std::string encrypted(const std::string& input, const uint8_t* data, size_t size, bool hardware)
{
    io::internal::Aes128::allowHardware(hardware);
    std::string framed;
    MemoryOutput out(framed);
    out.encrypt(true);
    // Uneven pieces make records of many lengths.
    for (size_t at = 0; at < size;) {
        size_t piece = 1 + (data[at] % 61) * 37;
        if (piece > size - at)
            piece = size - at;
        out.writeData(input.data() + at, static_cast<int>(piece));
        at += piece;
    }
    out.encrypt(false);
    out.close();
    io::internal::Aes128::allowHardware(true);
    return framed;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string input(reinterpret_cast<const char*>(data), size);
    {
        MemoryInput in(input);
        in.encrypt(true);
        char area[5000];
        for (size_t i = 0; in.good(); ++i) {
            const int want = 1 + static_cast<int>((size ? data[i % size] : 0) * 19 % sizeof area);
            if (in.readData(area, want) == 0 && in.good())
                __builtin_trap();
        }
        if (in.getStatus() != ioStreamEOF && in.getStatus() != ioStreamIOError)
            __builtin_trap();
    }
    const std::string framed = encrypted(input, data, size, true);
    if (encrypted(input, data, size, false) != framed)
        __builtin_trap();
    MemoryInput in(framed);
    in.encrypt(true);
    std::string back(size + 1, '\0');
    if (in.readData(&back[0], static_cast<int>(size + 1)) != static_cast<int>(size) ||
        back.compare(0, size, input) != 0 || in.getStatus() != ioStreamEOF)
        __builtin_trap();
    return 0;
}
