#include "qvpacketFile.h"

#include "qvpacketDecode.h"

#include "ioPacketFileAscii.h"
#include "ioPacketFileBinary.h"
#include "ioPacketType.h"

#include <cstring>

namespace qvPacket {

namespace {

// The last message of the packet-file contexts, so that it can join the tool's own report
// instead of going to standard error on its own.
std::string libraryMessage;

void keepLibraryMessage(char* text)
{
    libraryMessage = text;
    while (!libraryMessage.empty() && (libraryMessage.back() == '\n' || libraryMessage.back() == '.'))
        libraryMessage.pop_back();
}

const char* const methodNames[] = {"ascii", "binary", "ascii-debug", "binary-debug"};

} // namespace

const char* methodName(int method)
{
    return method >= 0 && method < 4 ? methodNames[method] : "unknown";
}

int methodFromName(const std::string& name)
{
    for (int method = 0; method < 4; ++method)
        if (name == methodNames[method])
            return method;
    return -1;
}

PacketFile::PacketFile()
    : headerVersion(0), size(-1), packetIndex(0), ended(false)
{
    ioPacketFileErrorInit(keepLibraryMessage);
}

PacketFile::~PacketFile()
{
    buffer.reset();
    context.reset();
    stream.close();
    ioPacketFileErrorInit(nullptr);
}

bool PacketFile::swapped() const
{
    ioReadMethod read = readMethod();
    return read == ioReadBinarySwapped || read == ioReadBinaryDebugSwapped;
}

bool PacketFile::fail(int offset, const std::string& what, bool nearOffset)
{
    if (!trouble.found) {
        trouble.found = true;
        trouble.offset = offset;
        trouble.near = nearOffset;
        trouble.what = what;
    }
    return false;
}

// A stream failure, named after the layer that most likely caused it.
bool PacketFile::failStream(const std::string& where)
{
    int at = stream.sourceOffset();
    bool filtered = !filterNames.empty();
    switch (stream.getStatus()) {
    case ioStreamEOF:
        return fail(at, "the file ends " + where, filtered);
    case ioStreamChecksumError:
        return fail(at, "a checksum block ending here is damaged (" + where + ")", true);
    case ioStreamEndOfSection:
        return fail(at, "the compressed section ends " + where, true);
    case ioStreamOpenFailed:
        return fail(0, "cannot open the file");
    default:
        if (filtered)
            return fail(at, "the filtered data is damaged or cut short (" + where + ")", true);
        return fail(at, "read error " + where);
    }
}

bool PacketFile::readVersion()
{
    // The version line is not kept by the header reader: take it from the first bytes.
    stream.fillArea();
    int available = 0;
    const char* area = stream.peekArea(available);
    if (!area || available < 4 || std::memcmp(area, "^@\n", 3) != 0)
        return false;
    headerVersion = 0;
    for (int i = 3; i < available && i < 12 && area[i] >= '0' && area[i] <= '9'; ++i)
        headerVersion = headerVersion * 10 + (area[i] - '0');
    return true;
}

bool PacketFile::open(const std::string& path, void (*progress)(int))
{
    size = ioBufferedStream::fileSize(path.c_str());
    stream.openFile(path.c_str());
    if (!stream.good())
        return fail(0, "cannot open the file");
    if (progress)
        stream.associateProgressFunction(progress);
    if (!readVersion() || !header.readHeader(stream))
        return fail(0, "no packet-file header (it must begin with \"^@\" and a newline)");
    switch (readMethod()) {
    case ioReadAscii:
    case ioReadAsciiDebug:
        context.reset(new ioReadContextAscii(stream));
        break;
    case ioReadBinarySameEndian:
    case ioReadBinaryDebugSameEndian:
        context.reset(new ioReadContextBinarySameEndian(stream));
        break;
    case ioReadBinarySwapped:
    case ioReadBinaryDebugSwapped:
        context.reset(new ioReadContextBinarySwapped(stream));
        break;
    default:
        return fail(0, "the header names method " + std::to_string(method()) +
                           ", which no reader of this library reads");
    }
    context->associateRegistry(&registry);
    if (context->readRegistry() != ioOk) {
        if (!stream.good())
            return failStream("inside the registry");
        return fail(stream.sourceOffset(), libraryMessage.empty() ? "damaged registry" : libraryMessage);
    }
    for (int id = 0;; ++id) {
        ioPacketType* type = registry.lookup(id);
        if (!type)
            break;
        names.push_back(type->getName());
    }
    detectFilters();
    buffer.reset(context->newPacketBuffer());
    return true;
}

// A host pushes its filters between the registry and the first packet; the library recognises
// them by their first bytes and pushes the same ones.
void PacketFile::detectFilters()
{
    int kinds[8];
    int pushed = context->detectFilters(kinds, 8);
    for (int i = 0; i < pushed && i < 8; ++i)
        filterNames.push_back(kinds[i] == ioBuffer::typeCompress   ? "compress"
                              : kinds[i] == ioBuffer::typeChecksum ? "checksum"
                                                                   : "encrypt");
}

bool PacketFile::next(Packet& packet)
{
    if (ended || trouble.found)
        return false;
    int before = stream.sourceOffset();
    int flags = buffer->readPacketHeader(*context, stream);
    if (!stream.good())
        return failStream("before its end-of-file packet (packet " + std::to_string(packetIndex) +
                          " starts at or after byte offset " + std::to_string(before) + ")");
    bool filtered = !filterNames.empty();
    int after = stream.sourceOffset();
    packet = Packet();
    packet.index = packetIndex++;
    packet.typeId = buffer->getTypeId();
    packet.hasObject = flags == 1;
    if (isAscii()) {
        auto& text = static_cast<ioPacketFileAsciiBuffer&>(*buffer);
        packet.size = text.getEndIndex() + 3; // "{", the body, "}"
        packet.offset = filtered ? before : after - packet.size;
        packet.body = text.data() + text.getCursor();
        packet.bodySize = text.getCursor() <= text.getEndIndex() ? text.getEndIndex() + 1 - text.getCursor() : 0;
        packet.bodyOffset = packet.offset + 1 + text.getCursor();
    } else {
        auto& bytes = static_cast<ioPacketFileBinaryBuffer&>(*buffer);
        packet.bodySize = bytes.getBodyLength();
        packet.size = 12 + packet.bodySize;
        packet.offset = filtered ? before : after - packet.size;
        packet.body = bytes.data();
        packet.bodyOffset = packet.offset + 12;
    }
    ioPacketType* type = buffer->getType();
    if (!type)
        return fail(packet.offset, "packet " + std::to_string(packet.index) + " has type id " +
                                       std::to_string(packet.typeId) + ", which the registry does not list",
                    filtered);
    if (flags != 0 && flags != 1)
        return fail(packet.offset, "packet " + std::to_string(packet.index) + " has object flag " +
                                       std::to_string(flags) + " (0 or 1 expected)",
                    filtered);
    packet.typeName = type->getName();
    if (packet.typeName == "packetFile_EOF")
        ended = true;
    return !ended;
}

bool PacketFile::decode(const Packet& packet, std::vector<Item>& items)
{
    items.clear();
    if (!isAscii() && !isDebug())
        return true;
    DecodeResult result = isAscii() ? decodeAscii(packet.body, packet.bodySize, isDebug(), items)
                                    : decodeBinary(packet.body, packet.bodySize, swapped(), items);
    if (result.ok)
        return true;
    bool filtered = !filterNames.empty();
    int at = filtered ? packet.offset : packet.bodyOffset + result.at;
    return fail(at, "packet " + std::to_string(packet.index) + " (" + packet.typeName + "): " + result.what,
                filtered);
}

bool PacketFile::finish()
{
    // Nothing but line ends may follow the end-of-file packet; each compressed section ends with
    // its end code, after which the layer beneath goes on.
    std::vector<std::string> layers = filterNames;
    for (;;) {
        stream.fillArea();
        int available = 0;
        const char* area = stream.peekArea(available);
        if (area) {
            int blank = 0;
            while (isAscii() && blank < available && (area[blank] == '\n' || area[blank] == '\r'))
                ++blank;
            if (blank == available) {
                stream.consumeArea(available);
                continue;
            }
            return fail(stream.sourceOffset(), "unexpected bytes after the end-of-file packet",
                        !layers.empty());
        }
        if (stream.getStatus() == ioStreamEndOfSection && !layers.empty() && layers.back() == "compress") {
            stream.compress(false);
            layers.pop_back();
            continue;
        }
        if (stream.getStatus() == ioStreamEOF)
            return !trouble.found;
        return failStream("after the end-of-file packet");
    }
}

} // namespace qvPacket
