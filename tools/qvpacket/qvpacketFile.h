#ifndef QVPACKET_FILE_H
#define QVPACKET_FILE_H

// Reading a packet file without the program that wrote it: the header, the registry, the filters
// pushed after the registry, then the packets one by one. Type-checked (debug) bodies are decoded
// value by value from their tags; plain ASCII bodies as untyped tokens; plain binary bodies stay
// bytes. Every problem is kept with the byte offset where it was found.

#include "ioBufferedStream.h"
#include "ioContext.h"
#include "ioPacketRegistry.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class ioPacketFileBuffer;

namespace qvPacket {

// A number as read: integers in i (unsigned values keep their bits), reals in d.
struct Number {
    int64_t i = 0;
    double d = 0;
};

// One decoded item of a packet body.
struct Item {
    enum Kind { Value, Array, String, Reference, SubPacket, Chunk, Token };
    Kind kind = Value;
    // The value's tag (Value, String, Reference) or the array's tag; 0 for untyped tokens.
    char tag = 0;
    std::vector<Number> numbers; // Value and Reference: one; Array: the elements
    std::string text;            // String: the text; Token: the token as written
    std::vector<Item> items;     // SubPacket, Chunk
};

struct Problem {
    bool found = false;
    int offset = 0;   // byte offset in the file
    bool near = false; // inside a filtered section: the offset the reading had reached
    std::string what;
};

struct Packet {
    int index = 0; // 0 for the first packet after the registry
    int typeId = -1;
    std::string typeName;
    bool hasObject = false;
    int offset = 0; // of the packet's first byte (exact without filters)
    int size = 0;   // bytes in its encoding, framing included
    // Binary: the body bytes. ASCII: the text after the type id and the object flag.
    const char* body = nullptr;
    int bodySize = 0;
    int bodyOffset = 0; // file offset of body[0]
};

// "ascii", "binary", "ascii-debug", "binary-debug"; "unknown" for other values.
const char* methodName(int method);
// The method of a name above, or -1.
int methodFromName(const std::string& name);

class PacketFile {
public:
    PacketFile();
    ~PacketFile();
    PacketFile(const PacketFile&) = delete;
    PacketFile& operator=(const PacketFile&) = delete;

    // Opens path and reads the header, the registry and the filters behind the registry. The
    // progress function receives the bytes read from the file so far.
    bool open(const std::string& path, void (*progress)(int) = nullptr);
    // The next packet; false at the end-of-file packet (atEnd()) or on a problem.
    bool next(Packet& packet);
    bool atEnd() const { return ended; }
    // Decodes a body read by next(); false (with the problem set) for malformed data. Plain
    // binary bodies cannot be decoded: items stay empty.
    bool decode(const Packet& packet, std::vector<Item>& items);
    // After the end-of-file packet: the filters must end cleanly and nothing may follow.
    bool finish();

    const Problem& problem() const { return trouble; }

    int fileSize() const { return size; }
    int version() const { return headerVersion; }
    bool littleEndian() const { return header.isLittleEndian(); }
    int method() const { return header.getMethod(); }
    ioReadMethod readMethod() const { return header.determineReadMethod(); }
    bool isAscii() const { return method() == ioWriteAscii || method() == ioWriteAsciiDebug; }
    bool isDebug() const { return method() == ioWriteAsciiDebug || method() == ioWriteBinaryDebug; }
    bool swapped() const;
    // By id.
    const std::vector<std::string>& typeNames() const { return names; }
    // Outermost (nearest the file) first.
    const std::vector<std::string>& filters() const { return filterNames; }

private:
    class Registry : public ioPacketRegistry {
    public:
        Registry() : ioPacketRegistry(true) {}

    protected:
        void registerTypes() override {}
    };

    bool fail(int offset, const std::string& what, bool nearOffset = false);
    bool failStream(const std::string& where);
    bool readVersion();
    void detectFilters();

    ioBufferedStreamInput stream;
    ioHeader header;
    int headerVersion;
    int size;
    Registry registry;
    std::unique_ptr<ioReadContext> context;
    std::unique_ptr<ioPacketFileBuffer> buffer;
    std::vector<std::string> names;
    std::vector<std::string> filterNames;
    int packetIndex;
    bool ended;
    Problem trouble;
};

} // namespace qvPacket

#endif
