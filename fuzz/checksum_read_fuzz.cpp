// Reads arbitrary bytes through the checksum filter: every input must end in a status (end of
// file or checksum error) without a memory fault, an endless loop or an allocation larger than
// the input. Bytes written through the filter must read back exactly.
#include "ioBufferedStream.h"
#include "../tests/support/qvTestMemoryStream.h"

#include <cstdint>
#include <cstring>
#include <string>

using qvTest::MemoryInput;
using qvTest::MemoryOutput;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string input(reinterpret_cast<const char*>(data), size);
    {
        MemoryInput in(input);
        in.checksum(true);
        char area[777];
        while (in.good()) {
            if (in.readData(area, sizeof area) == 0 && in.good())
                __builtin_trap();
        }
        if (in.getStatus() != ioStreamEOF && in.getStatus() != ioStreamChecksumError)
            __builtin_trap();
    }
    {
        std::string framed;
        MemoryOutput out(framed);
        out.checksum(true);
        // Uneven pieces make blocks of many lengths.
        for (size_t at = 0; at < size;) {
            size_t piece = 1 + (data[at] % 97) * 53;
            if (piece > size - at)
                piece = size - at;
            out.writeData(input.data() + at, static_cast<int>(piece));
            out.flush();
            at += piece;
        }
        out.checksum(false);
        out.close();
        MemoryInput in(framed);
        in.checksum(true);
        std::string back(size + 1, '\0');
        if (in.readData(&back[0], static_cast<int>(size + 1)) != static_cast<int>(size) ||
            back.compare(0, size, input) != 0 || in.getStatus() != ioStreamEOF)
            __builtin_trap();
    }
    return 0;
}
