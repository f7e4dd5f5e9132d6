// Arbitrary bytes as the text head of a packet file: the header line, then the registry lines.
// Each reader either accepts or reports a status; neither crashes nor reads out of bounds.
#include "packetFileFuzz.h"

#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzPacketFile::MemoryInput input;
    input.openMemory(data, size);
    // The registry follows a usable header; otherwise it is read from the start of the bytes.
    ioHeader header;
    if (header.readHeader(input)) {
        (void)header.determineReadMethod();
    } else {
        input.close();
        input.openMemory(data, size);
    }
    std::deque<fuzzPacketFile::Node> nodes;
    fuzzPacketFile::FuzzRegistry registry(nodes);
    registry.init();
    const ioStatus status = registry.readRegistry(input);
    if (status == ioOk && std::strcmp(registry.readProblem(), "") != 0)
        std::abort();
    // Every refusal says why.
    if (status != ioOk && registry.readProblem()[0] == '\0')
        std::abort();
    input.close();
    return 0;
}
