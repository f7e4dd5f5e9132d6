#ifndef QVPACKET_DECODE_H
#define QVPACKET_DECODE_H

// Decoding packet bodies without the packet types that wrote them.

#include "qvpacketFile.h"

#include <string>
#include <vector>

namespace qvPacket {

struct DecodeResult {
    bool ok = true;
    int at = 0; // index in the body of the problem
    std::string what;
};

// An ASCII body: typed values (debug) or untyped tokens, with sub-packets and chunks.
DecodeResult decodeAscii(const char* text, int size, bool debug, std::vector<Item>& items);
// A type-checked binary body.
//
// Arrays carry no count. In ASCII each element has its own tag, so an array ends where the tags
// change; in binary the elements are bare bytes. Either way a run can be split in more than one
// way, so the decoders take the count from the integer value just before the array (how
// programs usually write a length and then the elements) when it fits; otherwise ASCII takes the
// whole run and binary the shortest split after which the rest of the region decodes.
DecodeResult decodeBinary(const char* bytes, int size, bool swapped, std::vector<Item>& items);

// The scalar tag of an array tag's elements, or 0.
char elementTag(char arrayTag);
// Bytes of a scalar in the binary encoding (0 for anything else).
int scalarSize(char tag);
bool isRealTag(char tag);

} // namespace qvPacket

#endif
