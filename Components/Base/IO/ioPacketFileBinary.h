#ifndef IOPACKETFILEBINARY_H
#define IOPACKETFILEBINARY_H

#include "qvBaseExport.h"
#include "ioContext.h"

#include <cstdint>
#include <cstring>
#include <deque>
#include <vector>

// One packet of the binary encoding: type id, hasObject and body length as 32-bit integers in
// the writer's byte order, then the body. Sub-packets are "," and chunks "." followed by a length
// field (written through the context's Int writer) that counts itself and the contents. A packet
// is assembled whole and written in one call; on reading, the whole body is taken from the stream
// and values are read from memory.
class QV_BASE_API ioPacketFileBinaryBuffer : public ioPacketFileBuffer {
public:
    static constexpr int initialCapacity = 50000;
    static constexpr char subPacketMarker = ',';
    static constexpr char chunkMarker = '.';

    // One level of framing: the packet, and one more per open chunk.
    struct Frame {
        int chunkLengthPosition;     // writing
        int subPacketLengthPosition; // writing
        int regionEnd;               // reading: end of the packet body or chunk
        int subPacketEnd;            // reading
        bool subPacketFlag;          // reading: the sub-packet just entered holds data
    };

    ioPacketFileBinaryBuffer();
    ~ioPacketFileBinaryBuffer() override;

    void beginPacket(ioWriteContext& context, bool hasObject, ioPacketType* type) override;
    void endPacket(ioWriteContext& context) override;
    void beginSubPacket(ioWriteContext& context) override;
    void endSubPacket(ioWriteContext& context) override;
    void beginChunk(ioWriteContext& context) override;
    void endChunk(ioWriteContext& context) override;

    int readPacketHeader(ioReadContext& context, ioBufferedStreamInput& input) override;
    void skipPacket(ioReadContext& context) override;
    void enterSubPacket(ioReadContext& context) override;
    bool subPacketHasData() const override;
    void leaveSubPacket(ioReadContext& context) override;
    void enterChunk(ioReadContext& context) override;
    void leaveChunk(ioReadContext& context) override;
    bool bodyConsumed() const override { return frames.empty() || position >= bodyLength; }

    // Writing: size bytes at the position, which then moves past them (nothing when the packet
    // would outgrow maxPacketSize).
    void append(const void* data, int64_t size)
    {
        if (!fits(size))
            return;
        std::memcpy(reserve(static_cast<int>(size)), data, static_cast<size_t>(size));
        position += static_cast<int>(size);
    }
    // Whether size more bytes keep the packet within maxPacketSize; if not, the packet is marked
    // too large, to be dropped at its end.
    bool fits(int64_t size)
    {
        if (size <= maxPacketSize - position)
            return true;
        tooLarge = true;
        return false;
    }
    bool isTooLarge() const { return tooLarge; }
    void appendByte(char c)
    {
        *reserve(1) = c;
        ++position;
    }
    // Room for size bytes at the position; the caller fills them and then calls advance(size).
    char* reserve(int size)
    {
        if (static_cast<int64_t>(position) + size >= capacity)
            grow(size);
        return bytes + position;
    }

    // Reading: size bytes at the position, or null when they would run past the end of the
    // current packet or chunk (the position then stays at that end and the overrun is noted).
    const char* take(int64_t size)
    {
        if (size > limit - position) {
            position = limit;
            overrun = true;
            return nullptr;
        }
        const char* p = bytes + position;
        position += static_cast<int>(size);
        return p;
    }
    // The bytes from the position to the end of the current region.
    int remaining() const { return limit - position; }
    // Whether a read ran past its region since the last header or clearOverrun().
    bool hasOverrun() const { return overrun; }
    void clearOverrun() { overrun = false; }

    int getPosition() const { return position; }
    void seek(int to) { position = to; }
    void advance(int size) { position += size; }
    const char* data() const { return bytes; }
    int getCapacity() const { return capacity; }
    int getFrameDepth() const { return static_cast<int>(frames.size()); }
    // Body length of the packet read last.
    int getBodyLength() const { return bodyLength; }

private:
    void grow(int size);
    void pushFrame(int regionEnd);
    void popFrame();
    // Patches the length field at lengthPosition with the distance to the position.
    void patchLength(ioWriteContext& context, int lengthPosition);
    // Reads the length field after a marker; the end it gives, kept inside the current region.
    int readRegionEnd(ioReadContext& context);
    bool readBody(ioBufferedStreamInput& input, int length);

    char* bytes;
    int capacity;
    int position;
    std::deque<Frame> frames;
    // What open sub-packets replaced in their frame (writing: the length position; reading: the
    // end and the flag), so that nested sub-packets each keep their own.
    std::vector<int> enclosingSubPackets;
    int limit;      // region end of the top frame while reading
    int bodyLength; // reading
    bool overrun;
    bool tooLarge; // writing
};

// Copies each value's bytes into the packet in this machine's byte order.
class QV_BASE_API ioWriteContextBinary : public ioWriteContext {
public:
    explicit ioWriteContextBinary(ioBufferedStreamOutput& stream);

    ioPacketFileBuffer* newPacketBuffer() override;
    void setPacketBuffer(ioPacketFileBuffer* buffer) override;

    void writeBool(bool value) override;
    void writeChar(char value) override;
    void writeUChar(unsigned char value) override;
    void writeShort(short value) override;
    void writeUShort(unsigned short value) override;
    void writeInt(int value) override;
    void writeUInt(unsigned int value) override;
    void writeInt64(int64_t value) override;
    void writeUInt64(uint64_t value) override;
    void writeFloat(float value) override;
    void writeDouble(double value) override;
    // The bytes and the terminating NUL (a null text is written as the empty string).
    void writeCString(const char* text) override;
    // Bytes 0 and 1; derived contexts see each element through writeBool.
    void writeBoolArray(const bool* values, int count) override;
    // The other arrays: one block copy of the memory.
    void writeCharArray(const char* values, int count) override;
    void writeUCharArray(const unsigned char* values, int count) override;
    void writeShortArray(const short* values, int count) override;
    void writeUShortArray(const unsigned short* values, int count) override;
    void writeIntArray(const int* values, int count) override;
    void writeUIntArray(const unsigned int* values, int count) override;
    void writeInt64Array(const int64_t* values, int count) override;
    void writeUInt64Array(const uint64_t* values, int count) override;
    void writeFloatArray(const float* values, int count) override;
    void writeDoubleArray(const double* values, int count) override;
    void writeRawChar(char c) override;
    ioHeader header() const override;

protected:
    ioPacketFileBinaryBuffer* buffer;
};

// What the two binary readers share: single bytes, strings returned in place, the framing. A
// read that would run past the end of its packet or chunk gives zeros and ends reading with
// ioBadData, so a damaged file never makes the reader leave its buffer.
class QV_BASE_API ioReadContextBinary : public ioReadContext {
public:
    explicit ioReadContextBinary(ioBufferedStreamInput& stream);

    ioPacketFileBuffer* newPacketBuffer() override;
    void setPacketBuffer(ioPacketFileBuffer* buffer) override;
    bool subPacketHasData() const override;

    using ioReadContext::readBool;
    using ioReadContext::readChar;
    using ioReadContext::readUChar;
    using ioReadContext::readShort;
    using ioReadContext::readUShort;
    using ioReadContext::readInt;
    using ioReadContext::readUInt;
    using ioReadContext::readInt64;
    using ioReadContext::readUInt64;
    using ioReadContext::readFloat;
    using ioReadContext::readDouble;

    bool readBool() override;
    char readChar() override;
    unsigned char readUChar() override;
    // A pointer into the packet, valid until the next packet is read; null (and ioBadData)
    // when no NUL ends the string inside its packet or chunk.
    const char* readCString() override;
    void readBoolArray(bool* values, int count) override;
    void readCharArray(char* values, int count) override;
    void readUCharArray(unsigned char* values, int count) override;
    char readRawChar() override;
    // Four bytes straight from the input stream (the packet heads), in the file's byte order.
    virtual int readRawInt() = 0;

protected:
    // size bytes of the packet, or null after reporting a read past the end of the region.
    const char* take(int64_t size)
    {
        if (!buffer)
            return nullptr;
        const char* p = buffer->take(size);
        if (!p)
            reportOverrun();
        return p;
    }
    void reportOverrun();

    ioPacketFileBinaryBuffer* buffer;
};

// Reads files written in this machine's byte order: arrays are one block copy.
class QV_BASE_API ioReadContextBinarySameEndian : public ioReadContextBinary {
public:
    explicit ioReadContextBinarySameEndian(ioBufferedStreamInput& stream);

    short readShort() override;
    unsigned short readUShort() override;
    int readInt() override;
    unsigned int readUInt() override;
    int64_t readInt64() override;
    uint64_t readUInt64() override;
    float readFloat() override;
    double readDouble() override;
    void readShortArray(short* values, int count) override;
    void readUShortArray(unsigned short* values, int count) override;
    void readIntArray(int* values, int count) override;
    void readUIntArray(unsigned int* values, int count) override;
    void readInt64Array(int64_t* values, int count) override;
    void readUInt64Array(uint64_t* values, int count) override;
    void readFloatArray(float* values, int count) override;
    void readDoubleArray(double* values, int count) override;
    int readRawInt() override;
};

// Reads files written in the other byte order: every multi-byte value is reversed.
class QV_BASE_API ioReadContextBinarySwapped : public ioReadContextBinary {
public:
    explicit ioReadContextBinarySwapped(ioBufferedStreamInput& stream);

    short readShort() override;
    unsigned short readUShort() override;
    int readInt() override;
    unsigned int readUInt() override;
    int64_t readInt64() override;
    uint64_t readUInt64() override;
    float readFloat() override;
    double readDouble() override;
    void readShortArray(short* values, int count) override;
    void readUShortArray(unsigned short* values, int count) override;
    void readIntArray(int* values, int count) override;
    void readUIntArray(unsigned int* values, int count) override;
    void readInt64Array(int64_t* values, int count) override;
    void readUInt64Array(uint64_t* values, int count) override;
    void readFloatArray(float* values, int count) override;
    void readDoubleArray(double* values, int count) override;
    int readRawInt() override;
};

#endif
