#include "ioPacketFileBinary.h"

#include "ioBufferedStream.h"
#include "ioPacketType.h"

#include <algorithm>
#include <cstring>
#include <typeinfo>

namespace {

// The body of a packet is taken from the stream in pieces of this size, the buffer growing only
// as bytes arrive: a forged body length costs at most one piece more than the stream delivers.
constexpr int bodyPiece = 1 << 20;

inline uint16_t reversed(uint16_t v)
{
    return static_cast<uint16_t>((v >> 8) | (v << 8));
}

inline uint32_t reversed(uint32_t v)
{
    return __builtin_bswap32(v);
}

inline uint64_t reversed(uint64_t v)
{
    return __builtin_bswap64(v);
}

// The unsigned integer of a value's width, for reversing its bytes.
template <size_t Size> struct Bits;
template <> struct Bits<2> { using type = uint16_t; };
template <> struct Bits<4> { using type = uint32_t; };
template <> struct Bits<8> { using type = uint64_t; };

template <typename T> inline T fromBytes(const char* p)
{
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

template <typename T> inline T fromSwappedBytes(const char* p)
{
    typename Bits<sizeof(T)>::type bits;
    std::memcpy(&bits, p, sizeof bits);
    bits = reversed(bits);
    T value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <typename T> inline void appendValue(ioPacketFileBinaryBuffer* buffer, T value)
{
    if (buffer)
        buffer->append(&value, static_cast<int64_t>(sizeof value));
}

template <typename T> inline void appendArray(ioPacketFileBinaryBuffer* buffer, const T* values, int count)
{
    if (buffer && values && count > 0)
        buffer->append(values, static_cast<int64_t>(sizeof(T)) * count);
}

} // namespace

// ---- packet buffer

ioPacketFileBinaryBuffer::ioPacketFileBinaryBuffer()
    : bytes(new char[initialCapacity]), capacity(initialCapacity), position(0), limit(0),
      bodyLength(0), overrun(false), tooLarge(false)
{
}

ioPacketFileBinaryBuffer::~ioPacketFileBinaryBuffer()
{
    delete[] bytes;
}

void ioPacketFileBinaryBuffer::grow(int size)
{
    int64_t need = static_cast<int64_t>(position) + size;
    if (need > maxPacketSize) {
        // Small values at the very limit: the packet is given up and its bytes start over.
        tooLarge = true;
        position = 0;
        return;
    }
    int64_t grown = capacity;
    while (grown < need)
        grown *= 2;
    if (grown == capacity)
        grown *= 2;
    grown = std::min<int64_t>(grown, INT32_MAX);
    char* larger = new char[static_cast<size_t>(grown)];
    std::memcpy(larger, bytes, static_cast<size_t>(position));
    delete[] bytes;
    bytes = larger;
    capacity = static_cast<int>(grown);
}

void ioPacketFileBinaryBuffer::pushFrame(int regionEnd)
{
    frames.push_back(Frame{0, 0, regionEnd, 0, false});
    limit = regionEnd;
}

void ioPacketFileBinaryBuffer::popFrame()
{
    if (!frames.empty())
        frames.pop_back();
    limit = frames.empty() ? 0 : frames.back().regionEnd;
}

// ---- writing

void ioPacketFileBinaryBuffer::beginPacket(ioWriteContext&, bool hasObject, ioPacketType* packetType)
{
    position = 0;
    tooLarge = false;
    frames.clear();
    enclosingSubPackets.clear();
    int32_t head[3] = {packetType->getId(), hasObject ? 1 : 0, 0};
    append(head, static_cast<int>(sizeof head));
    pushFrame(0);
}

void ioPacketFileBinaryBuffer::endPacket(ioWriteContext& context)
{
    popFrame();
    if (tooLarge) {
        ioPacketFileError("ioPacketFile: A packet of type '%s' is larger than a packet can be; it "
                          "is dropped.\n", type ? type->getName() : "");
        context.setStatus(ioError);
        return;
    }
    int32_t body = position - 12;
    std::memcpy(bytes + 8, &body, sizeof body);
    if (output)
        context.getStream().writeData(bytes, position);
}

void ioPacketFileBinaryBuffer::beginSubPacket(ioWriteContext& context)
{
    appendByte(subPacketMarker);
    // An enclosing sub-packet of the same frame waits here for its own length.
    enclosingSubPackets.push_back(frames.back().subPacketLengthPosition);
    frames.back().subPacketLengthPosition = position;
    context.writeInt(0);
}

void ioPacketFileBinaryBuffer::patchLength(ioWriteContext& context, int lengthPosition)
{
    int end = position;
    position = lengthPosition;
    context.writeInt(end - lengthPosition);
    position = end;
}

void ioPacketFileBinaryBuffer::endSubPacket(ioWriteContext& context)
{
    Frame& top = frames.back();
    patchLength(context, top.subPacketLengthPosition);
    // Sub-packets and chunks nest properly (the write context sees to it), so the position
    // saved last belongs to the sub-packet that encloses this one, if any.
    if (!enclosingSubPackets.empty()) {
        top.subPacketLengthPosition = enclosingSubPackets.back();
        enclosingSubPackets.pop_back();
    }
}

void ioPacketFileBinaryBuffer::beginChunk(ioWriteContext& context)
{
    appendByte(chunkMarker);
    frames.back().chunkLengthPosition = position;
    context.writeInt(0);
    pushFrame(0);
}

void ioPacketFileBinaryBuffer::endChunk(ioWriteContext& context)
{
    if (frames.size() < 2)
        return;
    popFrame();
    patchLength(context, frames.back().chunkLengthPosition);
}

// ---- reading

bool ioPacketFileBinaryBuffer::readBody(ioBufferedStreamInput& input, int length)
{
    int got = 0;
    while (got < length) {
        int piece = std::min(length - got, bodyPiece);
        if (static_cast<int64_t>(got) + piece >= capacity) {
            position = got;
            grow(piece);
        }
        int n = input.readData(bytes + got, piece);
        got += n;
        if (n < piece)
            return false;
    }
    return true;
}

int ioPacketFileBinaryBuffer::readPacketHeader(ioReadContext& context, ioBufferedStreamInput& input)
{
    ioReadContextBinary& reader = static_cast<ioReadContextBinary&>(context);
    typeId = reader.readRawInt();
    int hasObject = reader.readRawInt();
    int length = reader.readRawInt();
    type = nullptr;
    headerFault = nullptr;
    frames.clear();
    enclosingSubPackets.clear();
    position = 0;
    limit = 0;
    bodyLength = 0;
    overrun = false;
    if (!input.good())
        return 0;
    if (typeId < 0 || length < 0) {
        headerFault = typeId < 0 ? "its type id is negative" : "its body length is negative";
        return 0;
    }
    type = context.lookupType(typeId);
    if (!readBody(input, length)) {
        type = nullptr;
        return 0;
    }
    bodyLength = length;
    position = 0;
    pushFrame(length);
    return hasObject;
}

void ioPacketFileBinaryBuffer::skipPacket(ioReadContext&)
{
    // The next head comes from the stream: the rest of this body needs no skipping.
    popFrame();
}

int ioPacketFileBinaryBuffer::readRegionEnd(ioReadContext& context)
{
    int start = position;
    int length = context.readInt();
    // A forged length is kept inside the region that holds it.
    int64_t end = static_cast<int64_t>(start) + length;
    return static_cast<int>(std::max<int64_t>(position, std::min<int64_t>(end, limit)));
}

void ioPacketFileBinaryBuffer::enterSubPacket(ioReadContext& context)
{
    if (frames.empty())
        return;
    // The sub-packet that encloses this one in the same frame is resumed when this one is left.
    enclosingSubPackets.push_back(frames.back().subPacketEnd);
    enclosingSubPackets.push_back(frames.back().subPacketFlag ? 1 : 0);
    if (position < limit) {
        take(1); // the marker, not checked
        int end = readRegionEnd(context);
        Frame& top = frames.back();
        top.subPacketEnd = end;
        top.subPacketFlag = position < end;
    } else {
        position = limit;
        frames.back().subPacketFlag = false;
    }
}

bool ioPacketFileBinaryBuffer::subPacketHasData() const
{
    return !frames.empty() && frames.back().subPacketFlag;
}

void ioPacketFileBinaryBuffer::leaveSubPacket(ioReadContext&)
{
    if (frames.empty())
        return;
    Frame& top = frames.back();
    if (top.subPacketFlag)
        position = top.subPacketEnd;
    if (enclosingSubPackets.size() >= 2) {
        top.subPacketFlag = enclosingSubPackets.back() != 0;
        enclosingSubPackets.pop_back();
        top.subPacketEnd = enclosingSubPackets.back();
        enclosingSubPackets.pop_back();
    }
}

void ioPacketFileBinaryBuffer::enterChunk(ioReadContext& context)
{
    if (frames.empty())
        return;
    take(1); // the marker, not checked
    int end = readRegionEnd(context);
    pushFrame(end);
}

void ioPacketFileBinaryBuffer::leaveChunk(ioReadContext&)
{
    // The packet's own frame stays until skipPacket.
    if (frames.size() < 2)
        return;
    position = limit;
    popFrame();
}

// ---- writing context

ioWriteContextBinary::ioWriteContextBinary(ioBufferedStreamOutput& stream)
    : ioWriteContext(stream), buffer(nullptr)
{
}

ioPacketFileBuffer* ioWriteContextBinary::newPacketBuffer()
{
    return new ioPacketFileBinaryBuffer();
}

void ioWriteContextBinary::setPacketBuffer(ioPacketFileBuffer* packet)
{
    buffer = static_cast<ioPacketFileBinaryBuffer*>(packet);
}

void ioWriteContextBinary::writeBool(bool value)
{
    if (!buffer)
        return valueOutsidePacket();
    if (buffer)
        buffer->appendByte(value ? 1 : 0);
}

void ioWriteContextBinary::writeChar(char value)
{
    if (!buffer)
        return valueOutsidePacket();
    if (buffer)
        buffer->appendByte(value);
}

void ioWriteContextBinary::writeUChar(unsigned char value)
{
    if (!buffer)
        return valueOutsidePacket();
    if (buffer)
        buffer->appendByte(static_cast<char>(value));
}

void ioWriteContextBinary::writeShort(short value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendValue(buffer, value);
}

void ioWriteContextBinary::writeUShort(unsigned short value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendValue(buffer, value);
}

void ioWriteContextBinary::writeInt(int value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendValue(buffer, value);
}

void ioWriteContextBinary::writeUInt(unsigned int value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendValue(buffer, value);
}

void ioWriteContextBinary::writeInt64(int64_t value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendValue(buffer, value);
}

void ioWriteContextBinary::writeUInt64(uint64_t value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendValue(buffer, value);
}

void ioWriteContextBinary::writeFloat(float value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendValue(buffer, value);
}

void ioWriteContextBinary::writeDouble(double value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendValue(buffer, value);
}

void ioWriteContextBinary::writeCString(const char* text)
{
    if (!buffer)
        return valueOutsidePacket();
    if (!buffer)
        return;
    if (!text)
        text = "";
    buffer->append(text, static_cast<int64_t>(std::strlen(text)) + 1);
}

void ioWriteContextBinary::writeBoolArray(const bool* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    // A derived context may mark each value in writeBool, so it sees every element; this
    // class itself stores the bytes in one pass.
    if (typeid(*this) != typeid(ioWriteContextBinary)) {
        for (int i = 0; i < count; ++i)
            writeBool(values[i]);
        return;
    }
    if (!buffer || count < 1)
        return;
    if (!buffer->fits(count))
        return;
    char* out = buffer->reserve(count);
    for (int i = 0; i < count; ++i)
        out[i] = values[i] ? 1 : 0;
    buffer->advance(count);
}

void ioWriteContextBinary::writeCharArray(const char* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeUCharArray(const unsigned char* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeShortArray(const short* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeUShortArray(const unsigned short* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeIntArray(const int* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeUIntArray(const unsigned int* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeInt64Array(const int64_t* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeUInt64Array(const uint64_t* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeFloatArray(const float* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeDoubleArray(const double* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    appendArray(buffer, values, count);
}

void ioWriteContextBinary::writeRawChar(char c)
{
    if (!buffer)
        return valueOutsidePacket();
    if (buffer)
        buffer->appendByte(c);
}

ioHeader ioWriteContextBinary::header() const
{
    return ioHeader(ioWriteBinary);
}

// ---- reading contexts

ioReadContextBinary::ioReadContextBinary(ioBufferedStreamInput& stream)
    : ioReadContext(stream), buffer(nullptr)
{
}

ioPacketFileBuffer* ioReadContextBinary::newPacketBuffer()
{
    return new ioPacketFileBinaryBuffer();
}

void ioReadContextBinary::setPacketBuffer(ioPacketFileBuffer* packet)
{
    buffer = static_cast<ioPacketFileBinaryBuffer*>(packet);
}

bool ioReadContextBinary::subPacketHasData() const
{
    return buffer && buffer->subPacketHasData();
}

void ioReadContextBinary::reportOverrun()
{
    if (!good())
        return;
    ioPacketType* type = buffer ? buffer->getType() : nullptr;
    ioPacketFileError("ioPacketFile: A packet of type '%s' reads past the end of its data "
                      "(after %d packets).\n", type ? type->getName() : "", getPacketsRead());
    setStatus(ioBadData);
}

bool ioReadContextBinary::readBool()
{
    const char* p = take(1);
    return p && *p != 0;
}

char ioReadContextBinary::readChar()
{
    const char* p = take(1);
    return p ? *p : '\0';
}

// The readers below call each other by name, not through the slots: a checking context
// derived from this one must see exactly one tag per value.
unsigned char ioReadContextBinary::readUChar()
{
    return static_cast<unsigned char>(ioReadContextBinary::readChar());
}

const char* ioReadContextBinary::readCString()
{
    if (!buffer)
        return nullptr;
    int available = buffer->remaining();
    const char* start = buffer->data() + buffer->getPosition();
    const void* nul = available > 0 ? std::memchr(start, '\0', static_cast<size_t>(available)) : nullptr;
    if (!nul) {
        take(static_cast<int64_t>(available) + 1);
        return nullptr;
    }
    return take(static_cast<const char*>(nul) - start + 1);
}

void ioReadContextBinary::readBoolArray(bool* values, int count)
{
    // The two plain readers take the bytes in one pass when they are all there; a derived
    // context that checks each value, or a short region, goes element by element.
    bool plain = typeid(*this) == typeid(ioReadContextBinarySameEndian)
                 || typeid(*this) == typeid(ioReadContextBinarySwapped);
    if (plain && buffer && count > 0 && count <= buffer->remaining()) {
        const char* p = buffer->take(count);
        for (int i = 0; i < count; ++i)
            values[i] = p[i] != 0;
        return;
    }
    for (int i = 0; i < count; ++i)
        values[i] = readBool();
}

void ioReadContextBinary::readCharArray(char* values, int count)
{
    if (count < 1)
        return;
    const char* p = take(count);
    if (p)
        std::memcpy(values, p, static_cast<size_t>(count));
    else
        std::memset(values, 0, static_cast<size_t>(count));
}

void ioReadContextBinary::readUCharArray(unsigned char* values, int count)
{
    ioReadContextBinary::readCharArray(reinterpret_cast<char*>(values), count);
}

char ioReadContextBinary::readRawChar()
{
    return ioReadContextBinary::readChar();
}

namespace {

// One value read in the file's byte order; zero after an overrun (reported by take).
template <bool Swap, typename T> struct ValueReader {
    static T from(const char* p)
    {
        if (!p)
            return T();
        return Swap ? fromSwappedBytes<T>(p) : fromBytes<T>(p);
    }
};

template <bool Swap, typename T> inline void copyArray(const char* p, T* values, int count)
{
    size_t size = sizeof(T) * static_cast<size_t>(count);
    if (!p)
        std::memset(values, 0, size);
    else if (!Swap)
        std::memcpy(values, p, size);
    else
        for (int i = 0; i < count; ++i)
            values[i] = fromSwappedBytes<T>(p + i * sizeof(T));
}

template <bool Swap> int rawIntFrom(ioBufferedStreamInput& input)
{
    char bytes[4] = {0, 0, 0, 0};
    if (input.readData(bytes, 4) != 4)
        return 0;
    return ValueReader<Swap, int32_t>::from(bytes);
}

} // namespace

// ---- same byte order: arrays are one block copy

ioReadContextBinarySameEndian::ioReadContextBinarySameEndian(ioBufferedStreamInput& stream) : ioReadContextBinary(stream) {}

short ioReadContextBinarySameEndian::readShort()
{
    return ValueReader<false, short>::from(take(2));
}

unsigned short ioReadContextBinarySameEndian::readUShort()
{
    return ValueReader<false, unsigned short>::from(take(2));
}

int ioReadContextBinarySameEndian::readInt()
{
    return ValueReader<false, int>::from(take(4));
}

unsigned int ioReadContextBinarySameEndian::readUInt()
{
    return ValueReader<false, unsigned int>::from(take(4));
}

int64_t ioReadContextBinarySameEndian::readInt64()
{
    return ValueReader<false, int64_t>::from(take(8));
}

uint64_t ioReadContextBinarySameEndian::readUInt64()
{
    return ValueReader<false, uint64_t>::from(take(8));
}

float ioReadContextBinarySameEndian::readFloat()
{
    return ValueReader<false, float>::from(take(4));
}

double ioReadContextBinarySameEndian::readDouble()
{
    return ValueReader<false, double>::from(take(8));
}

void ioReadContextBinarySameEndian::readShortArray(short* values, int count)
{
    if (count > 0)
        copyArray<false>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySameEndian::readUShortArray(unsigned short* values, int count)
{
    if (count > 0)
        copyArray<false>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySameEndian::readIntArray(int* values, int count)
{
    if (count > 0)
        copyArray<false>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySameEndian::readUIntArray(unsigned int* values, int count)
{
    if (count > 0)
        copyArray<false>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySameEndian::readInt64Array(int64_t* values, int count)
{
    if (count > 0)
        copyArray<false>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySameEndian::readUInt64Array(uint64_t* values, int count)
{
    if (count > 0)
        copyArray<false>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySameEndian::readFloatArray(float* values, int count)
{
    if (count > 0)
        copyArray<false>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySameEndian::readDoubleArray(double* values, int count)
{
    if (count > 0)
        copyArray<false>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

int ioReadContextBinarySameEndian::readRawInt()
{
    return rawIntFrom<false>(getStream());
}

// ---- other byte order: every multi-byte value is reversed

ioReadContextBinarySwapped::ioReadContextBinarySwapped(ioBufferedStreamInput& stream) : ioReadContextBinary(stream) {}

short ioReadContextBinarySwapped::readShort()
{
    return ValueReader<true, short>::from(take(2));
}

unsigned short ioReadContextBinarySwapped::readUShort()
{
    return ValueReader<true, unsigned short>::from(take(2));
}

int ioReadContextBinarySwapped::readInt()
{
    return ValueReader<true, int>::from(take(4));
}

unsigned int ioReadContextBinarySwapped::readUInt()
{
    return ValueReader<true, unsigned int>::from(take(4));
}

int64_t ioReadContextBinarySwapped::readInt64()
{
    return ValueReader<true, int64_t>::from(take(8));
}

uint64_t ioReadContextBinarySwapped::readUInt64()
{
    return ValueReader<true, uint64_t>::from(take(8));
}

float ioReadContextBinarySwapped::readFloat()
{
    return ValueReader<true, float>::from(take(4));
}

double ioReadContextBinarySwapped::readDouble()
{
    return ValueReader<true, double>::from(take(8));
}

void ioReadContextBinarySwapped::readShortArray(short* values, int count)
{
    if (count > 0)
        copyArray<true>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySwapped::readUShortArray(unsigned short* values, int count)
{
    if (count > 0)
        copyArray<true>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySwapped::readIntArray(int* values, int count)
{
    if (count > 0)
        copyArray<true>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySwapped::readUIntArray(unsigned int* values, int count)
{
    if (count > 0)
        copyArray<true>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySwapped::readInt64Array(int64_t* values, int count)
{
    if (count > 0)
        copyArray<true>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySwapped::readUInt64Array(uint64_t* values, int count)
{
    if (count > 0)
        copyArray<true>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySwapped::readFloatArray(float* values, int count)
{
    if (count > 0)
        copyArray<true>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

void ioReadContextBinarySwapped::readDoubleArray(double* values, int count)
{
    if (count > 0)
        copyArray<true>(take(static_cast<int64_t>(count) * sizeof(*values)), values, count);
}

int ioReadContextBinarySwapped::readRawInt()
{
    return rawIntFrom<true>(getStream());
}
