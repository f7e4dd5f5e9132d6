#include "ioPacketFileAscii.h"

#include "ioBufferedStream.h"
#include "ioPacketType.h"
#include "internal/ioNumberText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <memory>
#include <vector>

using namespace io::internal;

namespace {

// The characters that frame packets, sub-packets, chunks and strings.
struct EscapeTable {
    bool escaped[256];
    EscapeTable() : escaped()
    {
        for (unsigned char c : {'"', '<', '>', '[', '\\', ']', '{', '}'})
            escaped[c] = true;
    }
};
const EscapeTable escapes;

inline bool needsEscape(char c)
{
    return escapes.escaped[static_cast<unsigned char>(c)];
}

// The one buffer of every ASCII reader for the strings it returns. A returned pointer shows each
// later string that fits in it. A longer string moves to a larger block, but the earlier blocks
// stay allocated, so a pointer handed out before never dangles: it shows the start of the
// longer string, as much as its block holds.
class StringArea {
public:
    void clear() { length = 0; }
    void push(char c)
    {
        if (length + 1 >= capacity)
            grow();
        block[length++] = c;
    }
    const char* text()
    {
        if (!block)
            grow();
        block[length] = '\0';
        return block;
    }

private:
    void grow()
    {
        size_t larger = capacity ? 2 * capacity : 4096;
        std::unique_ptr<char[]> fresh(new char[larger]);
        if (length)
            std::memcpy(fresh.get(), block, length);
        if (block)
            block[capacity - 1] = '\0'; // the old block shows the new string cut to its size
        block = fresh.get();
        capacity = larger;
        blocks.push_back(std::move(fresh));
    }

    std::vector<std::unique_ptr<char[]>> blocks;
    char* block = nullptr;
    size_t capacity = 0;
    size_t length = 0;
};

StringArea& stringArea()
{
    static StringArea area;
    return area;
}

} // namespace

// ---- packet buffer

ioPacketFileAsciiBuffer::ioPacketFileAsciiBuffer()
    : text(new char[initialCapacity]), capacity(initialCapacity), used(0), cursor(0), endIndex(-1),
      subPacketFlag(false), tooLarge(false)
{
    text[0] = '\0';
}

ioPacketFileAsciiBuffer::~ioPacketFileAsciiBuffer()
{
    delete[] text;
}

void ioPacketFileAsciiBuffer::grow(int size)
{
    int64_t need = static_cast<int64_t>(used) + size;
    if (need > maxPacketSize) {
        // No length field could hold it: the text starts over, and the packet is given up.
        tooLarge = true;
        used = 0;
        return;
    }
    int64_t grown = capacity;
    while (grown <= need)
        grown *= 2;
    grown = std::min<int64_t>(grown, INT32_MAX);
    char* larger = new char[static_cast<size_t>(grown)];
    std::memcpy(larger, text, static_cast<size_t>(used));
    delete[] text;
    text = larger;
    capacity = static_cast<int>(grown);
}

void ioPacketFileAsciiBuffer::append(const char* data, int size)
{
    if (size < 1)
        return;
    std::memcpy(reserve(size), data, static_cast<size_t>(size));
    used += size;
}

void ioPacketFileAsciiBuffer::beginPacket(ioWriteContext&, bool hasObject, ioPacketType* packetType)
{
    used = 0;
    tooLarge = false;
    append("{ ", 2);
    char* p = reserve(2 * maxNumberText);
    char* q = formatInteger(p, packetType->getId());
    *q++ = ' ';
    *q++ = hasObject ? '1' : '0';
    *q++ = ' ';
    commit(static_cast<int>(q - p));
}

void ioPacketFileAsciiBuffer::endPacket(ioWriteContext& context)
{
    append("}\n", 2);
    if (tooLarge) {
        ioPacketFileError("ioPacketFile: A packet of type '%s' is larger than a packet can be; it "
                          "is dropped.\n", type ? type->getName() : "");
        context.setStatus(ioError);
        return;
    }
    if (output)
        context.getStream().writeData(text, used);
}

void ioPacketFileAsciiBuffer::beginSubPacket(ioWriteContext&)
{
    append("\n  [ ", 5);
}

void ioPacketFileAsciiBuffer::endSubPacket(ioWriteContext&)
{
    append("] ", 2);
}

void ioPacketFileAsciiBuffer::beginChunk(ioWriteContext&)
{
    append("\n  < ", 5);
}

void ioPacketFileAsciiBuffer::endChunk(ioWriteContext&)
{
    append("> ", 2);
}

int ioPacketFileAsciiBuffer::readPacketHeader(ioReadContext& context, ioBufferedStreamInput& input)
{
    type = nullptr;
    typeId = -1;
    headerFault = nullptr;
    // Everything before the next "{" is skipped. Well-formed files end with the end-of-file
    // packet and never get here at the end; for truncated ones the scan stops with the stream.
    for (;;) {
        int available = 0;
        const char* area = input.peekArea(available);
        if (!area) {
            char c = input.readChar();
            if (!input.good())
                return 0;
            if (c == '{')
                break;
            continue;
        }
        const void* brace = std::memchr(area, '{', static_cast<size_t>(available));
        if (brace) {
            input.consumeArea(static_cast<int>(static_cast<const char*>(brace) - area) + 1);
            break;
        }
        input.consumeArea(available);
    }

    // The body up to the closing "}"; a backslash keeps the character after it, so an escaped
    // brace does not end the packet.
    used = 0;
    cursor = 0;
    tooLarge = false;
    bool closed = false;
    while (!closed) {
        int available = 0;
        const char* area = input.peekArea(available);
        if (area) {
            // The run up to the first brace or backslash, found with block scans.
            const char* stop = static_cast<const char*>(std::memchr(area, '}', static_cast<size_t>(available)));
            int limit = stop ? static_cast<int>(stop - area) : available;
            const char* escape = static_cast<const char*>(std::memchr(area, '\\', static_cast<size_t>(limit)));
            int run = escape ? static_cast<int>(escape - area) : limit;
            append(area, run);
            if (run == available) {
                input.consumeArea(run);
                continue;
            }
            input.consumeArea(run + 1);
            if (area[run] == '}') {
                closed = true;
                continue;
            }
            append('\\');
            char escapedChar = input.readChar();
            if (!input.good())
                break;
            append(escapedChar);
            continue;
        }
        char c = input.readChar();
        if (!input.good())
            break;
        if (c == '}')
            break;
        append(c);
        if (c == '\\') {
            char escapedChar = input.readChar();
            if (!input.good())
                break;
            append(escapedChar);
        }
    }
    reserve(1)[0] = '\0';
    endIndex = used - 1;
    if (!input.good())
        return 0;
    if (tooLarge) {
        headerFault = "the packet is larger than a packet can be";
        return 0;
    }

    while (cursor <= endIndex && (text[cursor] == ' ' || text[cursor] == '\n'))
        ++cursor;
    const char* p = cursorText();
    typeId = parseInt32(p, bodyEnd());
    skipTokenFrom(p);
    p = cursorText();
    int hasObject = parseInt32(p, bodyEnd());
    skipTokenFrom(p);
    type = context.lookupType(typeId);
    return hasObject;
}

void ioPacketFileAsciiBuffer::skipToken()
{
    while (cursor <= endIndex && text[cursor] != ' ')
        ++cursor;
    ++cursor;
}

void ioPacketFileAsciiBuffer::skipPacket(ioReadContext&)
{
    cursor = endIndex + 1;
}

void ioPacketFileAsciiBuffer::enterSubPacket(ioReadContext& context)
{
    subPacketFlag = false;
    if (cursor > endIndex) {
        cursor = endIndex + 1;
        return;
    }
    if (endIndex + 1 - cursor >= 5 && std::memcmp(text + cursor, "\n  [ ", 5) == 0) {
        cursor += 5;
        subPacketFlag = peek() != ']';
    } else if (context.isStrict()) {
        context.strictFault("holds no sub-packet where its type reads one");
    }
}

bool ioPacketFileAsciiBuffer::subPacketHasData() const
{
    return subPacketFlag;
}

void ioPacketFileAsciiBuffer::leaveSubPacket(ioReadContext& context)
{
    if (context.isStrict() && cursor <= endIndex && text[cursor] != ']')
        context.strictFault("holds values in a sub-packet that its type does not read");
    // "[" is not counted: the scan ends at the first "]" outside chunks, nested sub-packets
    // included. Files depend on this.
    int depth = 0;
    while (cursor <= endIndex) {
        char c = text[cursor];
        if (c == '<') {
            ++depth;
            ++cursor;
        } else if (c == '>') {
            if (depth == 0)
                break;
            --depth;
            ++cursor;
        } else if (c == '\\') {
            cursor += 2;
        } else if (c == ']') {
            cursor += 2;
            if (depth == 0)
                break;
        } else {
            ++cursor;
        }
    }
    subPacketFlag = false;
}

void ioPacketFileAsciiBuffer::enterChunk(ioReadContext& context)
{
    if (context.isStrict()
        && (endIndex + 1 - cursor < 5 || std::memcmp(text + cursor, "\n  < ", 5) != 0))
        context.strictFault("holds no chunk where its type reads one");
    cursor += 5;
}

void ioPacketFileAsciiBuffer::leaveChunk(ioReadContext& context)
{
    if (context.isStrict() && cursor <= endIndex && text[cursor] != '>')
        context.strictFault("holds values in a chunk that its type does not read");
    // Chunks close at the first unescaped ">", whatever opened since: kept as the format has it.
    while (cursor <= endIndex && text[cursor] != '>')
        cursor += text[cursor] == '\\' ? 2 : 1;
    cursor += 2;
}

// ---- writing

ioWriteContextAscii::ioWriteContextAscii(ioBufferedStreamOutput& stream)
    : ioWriteContext(stream), buffer(nullptr)
{
}

ioPacketFileBuffer* ioWriteContextAscii::newPacketBuffer()
{
    return new ioPacketFileAsciiBuffer();
}

void ioWriteContextAscii::setPacketBuffer(ioPacketFileBuffer* packet)
{
    buffer = static_cast<ioPacketFileAsciiBuffer*>(packet);
}

namespace {

template <typename Integer> inline void appendInteger(ioPacketFileAsciiBuffer* buffer, Integer value)
{
    if (!buffer)
        return;
    char* p = buffer->reserve(maxNumberText + 1);
    char* q = formatInteger(p, value);
    *q++ = ' ';
    buffer->commit(static_cast<int>(q - p));
}

// Arrays go element by element through the (virtual) scalar writers, so that a context derived
// from this one sees every element.
template <typename T, typename Scalar>
void writeEach(ioWriteContext& ctx, void (ioWriteContext::*write)(Scalar), const T* values, int count)
{
    for (int i = 0; i < count; ++i)
        (ctx.*write)(values[i]);
}

} // namespace

void ioWriteContextAscii::writeBool(bool value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendInteger(buffer, value ? 1 : 0);
}

void ioWriteContextAscii::writeChar(char value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendInteger(buffer, static_cast<int>(static_cast<signed char>(value)));
}

void ioWriteContextAscii::writeUChar(unsigned char value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendInteger(buffer, static_cast<int>(value));
}

void ioWriteContextAscii::writeShort(short value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendInteger(buffer, static_cast<int>(value));
}

void ioWriteContextAscii::writeUShort(unsigned short value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendInteger(buffer, static_cast<unsigned int>(value));
}

void ioWriteContextAscii::writeInt(int value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendInteger(buffer, value);
}

void ioWriteContextAscii::writeUInt(unsigned int value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendInteger(buffer, value);
}

void ioWriteContextAscii::writeInt64(int64_t value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendInteger(buffer, value);
}

void ioWriteContextAscii::writeUInt64(uint64_t value)
{
    if (!buffer)
        return valueOutsidePacket();
    appendInteger(buffer, value);
}

void ioWriteContextAscii::writeFloat(float value)
{
    if (!buffer)
        return valueOutsidePacket();
    if (!buffer)
        return;
    char* p = buffer->reserve(maxNumberText + 1);
    char* q = formatFloat(p, value);
    *q++ = ' ';
    buffer->commit(static_cast<int>(q - p));
}

void ioWriteContextAscii::writeDouble(double value)
{
    if (!buffer)
        return valueOutsidePacket();
    if (!buffer)
        return;
    char* p = buffer->reserve(maxNumberText + 1);
    char* q = formatDouble(p, value);
    *q++ = ' ';
    buffer->commit(static_cast<int>(q - p));
}

void ioWriteContextAscii::writeCString(const char* text)
{
    if (!buffer)
        return valueOutsidePacket();
    if (!buffer)
        return;
    if (!text)
        text = "";
    buffer->append('"');
    for (const char* p = text; *p; ++p) {
        if (needsEscape(*p))
            buffer->append('\\');
        buffer->append(*p);
    }
    buffer->append("\" ", 2);
}

void ioWriteContextAscii::writeBoolArray(const bool* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeBool, values, count);
}

void ioWriteContextAscii::writeCharArray(const char* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeChar, values, count);
}

void ioWriteContextAscii::writeUCharArray(const unsigned char* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeUChar, values, count);
}

void ioWriteContextAscii::writeShortArray(const short* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeShort, values, count);
}

void ioWriteContextAscii::writeUShortArray(const unsigned short* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeUShort, values, count);
}

void ioWriteContextAscii::writeIntArray(const int* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeInt, values, count);
}

void ioWriteContextAscii::writeUIntArray(const unsigned int* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeUInt, values, count);
}

void ioWriteContextAscii::writeInt64Array(const int64_t* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeInt64, values, count);
}

void ioWriteContextAscii::writeUInt64Array(const uint64_t* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeUInt64, values, count);
}

void ioWriteContextAscii::writeFloatArray(const float* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeFloat, values, count);
}

void ioWriteContextAscii::writeDoubleArray(const double* values, int count)
{
    if (!buffer)
        return valueOutsidePacket();
    writeEach(*this, &ioWriteContext::writeDouble, values, count);
}

void ioWriteContextAscii::writeRawChar(char c)
{
    if (!buffer)
        return valueOutsidePacket();
    if (!buffer)
        return;
    if (needsEscape(c))
        buffer->append('\\');
    buffer->append(c);
}

ioHeader ioWriteContextAscii::header() const
{
    return ioHeader(ioWriteAscii);
}

// ---- reading

ioReadContextAscii::ioReadContextAscii(ioBufferedStreamInput& stream)
    : ioReadContext(stream), buffer(nullptr)
{
}

ioPacketFileBuffer* ioReadContextAscii::newPacketBuffer()
{
    return new ioPacketFileAsciiBuffer();
}

void ioReadContextAscii::setPacketBuffer(ioPacketFileBuffer* packet)
{
    buffer = static_cast<ioPacketFileAsciiBuffer*>(packet);
}

bool ioReadContextAscii::subPacketHasData() const
{
    return buffer && buffer->subPacketHasData();
}

namespace {

// Converts the token at the cursor with parse, then steps past it.
template <typename Result>
inline Result readToken(ioPacketFileAsciiBuffer* buffer, Result (*parse)(const char*&, const char*))
{
    if (!buffer)
        return Result();
    const char* p = buffer->cursorText();
    Result value = parse(p, buffer->bodyEnd());
    buffer->skipTokenFrom(p);
    return value;
}

// Arrays go element by element through the (virtual) scalar readers.
template <typename T> void readEach(ioReadContext& ctx, T (ioReadContext::*read)(), T* values, int count)
{
    for (int i = 0; i < count; ++i)
        values[i] = (ctx.*read)();
}

} // namespace

void ioReadContextAscii::checkNumber(int kind)
{
    if (!isStrict() || !buffer)
        return;
    if (buffer->atEnd()) {
        strictFault("has fewer values than its type reads");
        return;
    }
    const char* begin = buffer->cursorText();
    const char* end = begin;
    while (end < buffer->bodyEnd() && *end != ' ')
        ++end;
    if (isStrictNumber(static_cast<NumberKind>(kind), begin, end))
        return;
    static const char* const kindNames[] = {"Bool", "Char", "UChar", "Short", "UShort", "Int",
                                            "UInt", "Int64", "UInt64", "Float", "Double"};
    char what[128];
    std::snprintf(what, sizeof what, "holds the malformed or out-of-range %s value '%.40s'",
                  kindNames[kind], std::string(begin, end).c_str());
    strictFault(what);
}

bool ioReadContextAscii::readBool()
{
    checkNumber(static_cast<int>(NumberKind::Bool));
    return readToken(buffer, parseInt32) != 0;
}

char ioReadContextAscii::readChar()
{
    checkNumber(static_cast<int>(NumberKind::Char));
    return static_cast<char>(readToken(buffer, parseInt32));
}

unsigned char ioReadContextAscii::readUChar()
{
    checkNumber(static_cast<int>(NumberKind::UChar));
    return static_cast<unsigned char>(readToken(buffer, parseInt32));
}

short ioReadContextAscii::readShort()
{
    checkNumber(static_cast<int>(NumberKind::Short));
    return static_cast<short>(readToken(buffer, parseInt32));
}

unsigned short ioReadContextAscii::readUShort()
{
    checkNumber(static_cast<int>(NumberKind::UShort));
    return static_cast<unsigned short>(readToken(buffer, parseInt32));
}

int ioReadContextAscii::readInt()
{
    checkNumber(static_cast<int>(NumberKind::Int));
    return readToken(buffer, parseInt32);
}

unsigned int ioReadContextAscii::readUInt()
{
    checkNumber(static_cast<int>(NumberKind::UInt));
    return readToken(buffer, parseUInt32);
}

int64_t ioReadContextAscii::readInt64()
{
    checkNumber(static_cast<int>(NumberKind::Int64));
    return readToken(buffer, parseInt64);
}

uint64_t ioReadContextAscii::readUInt64()
{
    checkNumber(static_cast<int>(NumberKind::UInt64));
    return readToken(buffer, parseUInt64);
}

float ioReadContextAscii::readFloat()
{
    checkNumber(static_cast<int>(NumberKind::Float));
    return narrowToFloat(readToken(buffer, parseDouble));
}

double ioReadContextAscii::readDouble()
{
    checkNumber(static_cast<int>(NumberKind::Double));
    return readToken(buffer, parseDouble);
}

const char* ioReadContextAscii::readCString()
{
    StringArea& out = stringArea();
    out.clear();
    if (!buffer)
        return nullptr;
    if (isStrict() && buffer->peek() != '"')
        strictFault(buffer->atEnd() ? "has fewer values than its type reads"
                                    : "holds no string where its type reads one");
    while (!buffer->atEnd() && buffer->take() != '"') {
    }
    if (buffer->atEnd()) {
        if (isStrict())
            strictFault("holds a string without its closing quote");
        return nullptr;
    }
    while (!buffer->atEnd()) {
        char c = buffer->take();
        if (c == '"')
            break;
        if (c == '\\')
            c = buffer->take();
        out.push(c);
    }
    // A string whose closing quote is missing, or not followed by its blank, is malformed.
    if (buffer->atEnd()) {
        if (isStrict())
            strictFault("holds a string without its closing quote");
        return nullptr;
    }
    buffer->take(); // the blank after the closing quote
    return out.text();
}

void ioReadContextAscii::readBoolArray(bool* values, int count)
{
    readEach(*this, &ioReadContext::readBool, values, count);
}

void ioReadContextAscii::readCharArray(char* values, int count)
{
    readEach(*this, &ioReadContext::readChar, values, count);
}

void ioReadContextAscii::readUCharArray(unsigned char* values, int count)
{
    readEach(*this, &ioReadContext::readUChar, values, count);
}

void ioReadContextAscii::readShortArray(short* values, int count)
{
    readEach(*this, &ioReadContext::readShort, values, count);
}

void ioReadContextAscii::readUShortArray(unsigned short* values, int count)
{
    readEach(*this, &ioReadContext::readUShort, values, count);
}

void ioReadContextAscii::readIntArray(int* values, int count)
{
    readEach(*this, &ioReadContext::readInt, values, count);
}

void ioReadContextAscii::readUIntArray(unsigned int* values, int count)
{
    readEach(*this, &ioReadContext::readUInt, values, count);
}

void ioReadContextAscii::readInt64Array(int64_t* values, int count)
{
    readEach(*this, &ioReadContext::readInt64, values, count);
}

void ioReadContextAscii::readUInt64Array(uint64_t* values, int count)
{
    readEach(*this, &ioReadContext::readUInt64, values, count);
}

void ioReadContextAscii::readFloatArray(float* values, int count)
{
    readEach(*this, &ioReadContext::readFloat, values, count);
}

void ioReadContextAscii::readDoubleArray(double* values, int count)
{
    readEach(*this, &ioReadContext::readDouble, values, count);
}

char ioReadContextAscii::readRawChar()
{
    if (!buffer)
        return '\0';
    char c = buffer->take();
    if (c == '\\')
        c = buffer->take();
    return c;
}
