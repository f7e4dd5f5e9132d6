// Arbitrary bytes read back as integers and lines, the text primitives of the packet readers:
// readLine never writes past its buffer and always terminates it.
#include "packetFileFuzz.h"

#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    // The first byte sizes the line buffer (1..64), the rest is the stream.
    const int room = 1 + data[0] % 64;
    fuzzPacketFile::MemoryInput input;
    input.openMemory(data + 1, size - 1);
    char line[66];
    for (int round = 0; input.good() && round < 10000; ++round) {
        (void)input.readInt();
        std::memset(line, 'x', sizeof line);
        input.readLine(line, room);
        if (!input.good())
            break;
        if (std::memchr(line, '\0', static_cast<size_t>(room)) == nullptr || line[room] != 'x')
            std::abort();
    }
    input.close();
    return 0;
}
