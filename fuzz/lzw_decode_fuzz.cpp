// Decompresses arbitrary bytes through the compression filter: every input must end in a
// status (end of section, or input/output error) without a memory fault or an endless loop. The
// same bytes are also compressed and read back, which must give them back exactly.
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
        in.compress(true);
        char area[1000];
        long long total = 0;
        // Forged streams can expand quadratically; a few megabytes show all there is to see.
        while (in.good() && total < (4 << 20)) {
            int n = in.readData(area, sizeof area);
            total += n;
            if (n == 0 && in.good())
                __builtin_trap(); // no progress while good: a loop would never end
        }
        if (!in.good() && in.getStatus() != ioStreamEndOfSection && in.getStatus() != ioStreamIOError)
            __builtin_trap();
        in.compress(false);
    }
    {
        std::string packed;
        MemoryOutput out(packed);
        out.compress(true);
        out.writeData(input.data(), static_cast<int>(input.size()));
        out.compress(false);
        out.writeString("tail");
        out.close();
        if (size == 0)
            return 0;
        MemoryInput in(packed);
        in.compress(true);
        std::string back(size, '\0');
        if (in.readData(&back[0], static_cast<int>(size)) != static_cast<int>(size) || back != input)
            __builtin_trap();
        char extra;
        in.readData(&extra, 1);
        if (in.getStatus() != ioStreamEndOfSection)
            __builtin_trap();
        in.compress(false);
        char tail[5] = {};
        if (in.readData(tail, 4) != 4 || std::strcmp(tail, "tail") != 0)
            __builtin_trap();
    }
    return 0;
}
