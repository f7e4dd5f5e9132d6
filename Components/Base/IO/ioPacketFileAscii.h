#ifndef IOPACKETFILEASCII_H
#define IOPACKETFILEASCII_H

#include "qvBaseExport.h"
#include "ioContext.h"

// One packet of the ASCII encoding as text: "{ <id> <hasObject> " values "}\n", with
// sub-packets "\n  [ " ... "] " and chunks "\n  < " ... "> ". A packet is assembled whole and
// written in one call; on reading, a whole packet is taken from the stream and parsed here.
class QV_BASE_API ioPacketFileAsciiBuffer : public ioPacketFileBuffer {
public:
    static constexpr int initialCapacity = 50000;

    ioPacketFileAsciiBuffer();
    ~ioPacketFileAsciiBuffer() override;

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
    bool bodyConsumed() const override { return cursor > endIndex; }
    // Whether the packet outgrew maxPacketSize (it is then dropped, or read as damaged).
    bool isTooLarge() const { return tooLarge; }

    // Writing: appends text to the packet.
    void append(const char* data, int size);
    void append(char c) { reserve(1)[0] = c; ++used; }
    // Room for size more bytes at the end of the packet; commit() then counts what was put there.
    char* reserve(int size)
    {
        if (used + size >= capacity)
            grow(size);
        return text + used;
    }
    void commit(int size) { used += size; }

    // Reading: the text at the cursor (NUL-terminated after the packet body) and the body's end.
    const char* cursorText() const { return text + (cursor <= endIndex ? cursor : endIndex + 1); }
    const char* bodyEnd() const { return text + endIndex + 1; }
    bool atEnd() const { return cursor > endIndex; }
    char peek() const { return cursor <= endIndex ? text[cursor] : '\0'; }
    char take() { return cursor <= endIndex ? text[cursor++] : (++cursor, '\0'); }
    // Past the token at the cursor and the blank after it.
    void skipToken();
    // As skipToken(), knowing that the token runs at least up to position (inside the text).
    void skipTokenFrom(const char* position)
    {
        int at = static_cast<int>(position - text);
        if (at > cursor)
            cursor = at;
        skipToken();
    }

    const char* data() const { return text; }
    int size() const { return used; }
    int getCapacity() const { return capacity; }
    int getCursor() const { return cursor; }
    int getEndIndex() const { return endIndex; }

private:
    void grow(int size);
    void storeBodyByte(char c) { append(c); }

    char* text;
    int capacity;
    int used;
    int cursor;
    int endIndex;
    bool subPacketFlag;
    bool tooLarge;
};

// Writes each value as text followed by a blank.
class QV_BASE_API ioWriteContextAscii : public ioWriteContext {
public:
    explicit ioWriteContextAscii(ioBufferedStreamOutput& stream);

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
    void writeCString(const char* text) override;
    void writeBoolArray(const bool* values, int count) override;
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
    // One character; the eight framing characters " < > [ \ ] { } get a backslash before them.
    void writeRawChar(char c) override;
    ioHeader header() const override;

protected:
    ioPacketFileAsciiBuffer* buffer;
};

// Parses the values of ASCII packets. Strings are returned in one process-wide buffer, so ASCII
// files are read by one thread at a time and a string stays valid until the next is read.
class QV_BASE_API ioReadContextAscii : public ioReadContext {
public:
    explicit ioReadContextAscii(ioBufferedStreamInput& stream);

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
    short readShort() override;
    unsigned short readUShort() override;
    int readInt() override;
    unsigned int readUInt() override;
    int64_t readInt64() override;
    uint64_t readUInt64() override;
    float readFloat() override;
    double readDouble() override;
    const char* readCString() override;
    void readBoolArray(bool* values, int count) override;
    void readCharArray(char* values, int count) override;
    void readUCharArray(unsigned char* values, int count) override;
    void readShortArray(short* values, int count) override;
    void readUShortArray(unsigned short* values, int count) override;
    void readIntArray(int* values, int count) override;
    void readUIntArray(unsigned int* values, int count) override;
    void readInt64Array(int64_t* values, int count) override;
    void readUInt64Array(uint64_t* values, int count) override;
    void readFloatArray(float* values, int count) override;
    void readDoubleArray(double* values, int count) override;
    // The next character; after a backslash, the character it escapes.
    char readRawChar() override;

protected:
    // In strict mode, whether the token at the cursor is a number of kind (reported if not).
    void checkNumber(int kind);

    ioPacketFileAsciiBuffer* buffer;
};

#endif
