// Reads arbitrary bytes as the packets of a binary file. The first byte picks the header (plain
// or type-checked, this machine's byte order or the other); the registry is fixed, so the fuzzer
// spends its time on packet heads, bodies, lengths and tags.
#include "packetFileFuzz.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    static const char* const headers[] = {
        "^@\n1\n1 1 1\n1 2 4 8 4 8 4\n@\n", "^@\n1\n0 1 1\n1 2 4 8 4 8 4\n@\n",
        "^@\n1\n1 3 1\n1 2 4 8 4 8 4\n@\n", "^@\n1\n0 3 1\n1 2 4 8 4 8 4\n@\n"};
    std::string file = headers[data[0] % 4];
    file += "   0 packetFile_string\n   1 packetFile_EOF\n   2 node\n   3 blob\n@\n";
    file.append(reinterpret_cast<const char*>(data + 1), size - 1);
    fuzzPacketFile::readPacketFile(reinterpret_cast<const uint8_t*>(file.data()), file.size());
    return 0;
}
