// Reads arbitrary bytes as a packet file: header, registry and packets of two types that use
// every kind of value, sub-packets, chunks and references (forward ones included).
#include "packetFileFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzPacketFile::readPacketFile(data, size);
    return 0;
}
