#include "ioBufferedStream.h"

#include "ioBufferChecksum.h"
#include "ioBufferCompress.h"
#include "ioBufferEncrypt.h"
#include "internal/ioFileDescriptor.h"

#include <cstdarg>
#include <cstdint>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

// Kept exactly: the two tables are numbered differently on purpose.
ioStreamStatus streamStatusOf(int bufferStatus)
{
    switch (bufferStatus) {
    case ioBuffer::statusOpenFailed:
        return ioStreamOpenFailed;
    case ioBuffer::statusEndOfFile:
        return ioStreamEOF;
    case ioBuffer::statusNoSpace:
        return ioStreamNoSpace;
    case ioBuffer::statusChecksumError:
        return ioStreamChecksumError;
    case ioBuffer::statusEndOfCompressedData:
        return ioStreamEndOfSection;
    default:
        return ioStreamIOError;
    }
}

} // namespace

ioBufferedStream::ioBufferedStream(bool input) : status(ioStreamOk), isInput(input), top(nullptr) {}

ioBufferedStream::~ioBufferedStream()
{
    delete top;
}

void ioBufferedStream::close()
{
    if (!top)
        return;
    top->close();
    promoteBufferStatus();
    delete top;
    top = nullptr;
}

void ioBufferedStream::associateProgressFunction(void (*function)(int))
{
    if (top)
        top->setProgressFunction(function);
}

int ioBufferedStream::fileSize(const char* path)
{
    if (!path)
        return -1;
    long long size = io::internal::fdFileSize(path);
    // The declared result is an int: larger files report the largest int.
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}

void ioBufferedStream::promoteBufferStatus()
{
    if (top && top->status() != ioBuffer::statusGood)
        status = streamStatusOf(top->status());
}

void ioBufferedStream::replaceChain(ioBuffer* buffer)
{
    delete top;
    top = buffer;
}

void ioBufferedStream::openDescriptor(const char* path, int descriptor)
{
    setStatus(ioStreamOk);
    ioBufferFD* buffer = new ioBufferFD(isInput);
    if (path)
        buffer->open(path);
    else
        buffer->attach(descriptor);
    replaceChain(buffer);
    promoteBufferStatus();
}

void ioBufferedStream::addBufferToChain(ioBuffer* buffer)
{
    buffer->setNext(top);
    top = buffer;
}

void ioBufferedStream::popBufferChain()
{
    // The bottom buffer stays: removing it would lose the descriptor.
    if (!top || !top->next)
        return;
    ioBuffer* below = top->detachNext();
    delete top;
    top = below;
}

void ioBufferedStream::pushOrPop(bool on, ioBuffer* (*make)(bool))
{
    if (!top) {
        setStatus(ioStreamIOError);
        return;
    }
    if (on) {
        addBufferToChain(make(isInput));
        return;
    }
    popBufferChain();
    promoteBufferStatus();
}

void ioBufferedStream::compress(bool on)
{
    pushOrPop(on, [](bool input) -> ioBuffer* { return new ioBufferCompress(input); });
    if (!on && status == ioStreamEndOfSection)
        status = ioStreamOk;
}

void ioBufferedStream::checksum(bool on)
{
    pushOrPop(on, [](bool input) -> ioBuffer* { return new ioBufferChecksum(input); });
}

void ioBufferedStream::encrypt(bool on)
{
    pushOrPop(on, [](bool input) -> ioBuffer* { return new ioBufferEncrypt(input); });
}

void ioBufferedStream::encrypt(bool on, const unsigned char* key)
{
    if (!on || !top) {
        pushOrPop(on, nullptr);
        return;
    }
    addBufferToChain(new ioBufferEncrypt(isInput, key));
}

// ---- input

ioBufferedStreamInput::ioBufferedStreamInput() : ioBufferedStream(true) {}

void ioBufferedStreamInput::openFile(const char* path)
{
    openDescriptor(path, -1);
}

void ioBufferedStreamInput::openStdin()
{
    openDescriptor(nullptr, 0);
}

char ioBufferedStreamInput::refillAndReadChar()
{
    if (!top) {
        setStatus(ioStreamIOError);
        return 0;
    }
    top->fill();
    promoteBufferStatus();
    if (!good() || top->position >= top->count)
        return 0;
    return top->dataArea[top->position++];
}

void ioBufferedStreamInput::fillArea()
{
    if (!top) {
        setStatus(ioStreamIOError);
        return;
    }
    if (top->position < top->count)
        return;
    top->fill();
    promoteBufferStatus();
}

int ioBufferedStreamInput::sourceOffset() const
{
    const ioBuffer* bottom = top;
    if (!bottom)
        return 0;
    while (bottom->next)
        bottom = bottom->next;
    return bottom->totalBytes - (bottom->count - bottom->position);
}

int ioBufferedStreamInput::lookAhead(int n)
{
    fillArea();
    if (!good())
        return 0;
    ioBuffer& area = *top;
    while (area.count - area.position < n && area.good()) {
        int unread = area.count - area.position;
        std::memmove(area.dataArea, area.dataArea + area.position, static_cast<size_t>(unread));
        area.position = 0;
        area.count = unread;
        int got = area.read(area.dataArea + unread, ioBuffer::dataSize - unread);
        if (got <= 0) {
            // The end comes after the bytes still unread: let the reader meet it there.
            if (area.status() == ioBuffer::statusEndOfFile)
                area.setStatus(ioBuffer::statusGood);
            break;
        }
        area.count += got;
        area.totalBytes += got;
        if (area.progressFunction)
            area.progressFunction(area.totalBytes);
    }
    promoteBufferStatus();
    return area.count - area.position;
}

namespace {

uint32_t bigEndian32(const unsigned char* p)
{
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

} // namespace

int ioBufferedStreamInput::pushDetectedFilters(int* kinds, int capacity,
                                               bool (*plainData)(const unsigned char*, int))
{
    // Enough bytes to tell every filter head from a binary packet head (three 4-byte fields).
    constexpr int headBytes = 12;
    int pushed = 0;
    for (int layer = 0; layer < 8; ++layer) {
        int available = lookAhead(1);
        if (available < 1)
            break;
        const unsigned char* bytes = reinterpret_cast<const unsigned char*>(top->dataArea + top->position);
        // Only the bytes 0, 1 and 0x1F begin a filter; anything else is plain data at once
        // (an ASCII packet), and no more bytes are waited for (a connection may hold no more).
        if (bytes[0] > 1 && bytes[0] != 0x1F)
            break;
        available = lookAhead(headBytes);
        bytes = reinterpret_cast<const unsigned char*>(top->dataArea + top->position);
        int kind;
        if (available >= 3 && bytes[0] == 0x1F && bytes[1] == 0x9D && bytes[2] == 0x90)
            kind = ioBuffer::typeCompress;
        else if (available >= 10 && bigEndian32(bytes + 4) == ~bigEndian32(bytes) && bigEndian32(bytes) > 0 &&
                 bigEndian32(bytes) <= (1u << 24))
            kind = ioBuffer::typeChecksum;
        else if (available >= 2 && bytes[0] <= 1 && bytes[1] >= 1 &&
                 !(plainData && plainData(bytes, available)))
            kind = ioBuffer::typeEncrypt;
        else
            break;
        if (kind == ioBuffer::typeCompress)
            compress(true);
        else if (kind == ioBuffer::typeChecksum)
            checksum(true);
        else
            encrypt(true);
        if (kinds && pushed < capacity)
            kinds[pushed] = kind;
        ++pushed;
    }
    return pushed;
}

int ioBufferedStreamInput::readDataSlow(char* data, int size)
{
    if (!top) {
        setStatus(ioStreamIOError);
        return 0;
    }
    int n = top->readBytes(data, size);
    promoteBufferStatus();
    return n;
}

int ioBufferedStreamInput::readInt()
{
    // Sign and digits, at most 39 characters in all.
    char text[40];
    int length = 0;
    char c = readChar();
    while (c == ' ' || c == '\n' || c == '\t')
        c = readChar();
    if (c == '-') {
        text[length++] = c;
        c = readChar();
    }
    while (c >= '0' && c <= '9' && length < 39) {
        text[length++] = c;
        c = readChar();
    }
    text[length] = '\0';
    // Saturates at the int limits on every platform, as a 32-bit long conversion does.
    long long value = std::strtoll(text, nullptr, 10);
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

void ioBufferedStreamInput::readLine(char* line, int size)
{
    if (!line || size < 1 || !good())
        return;
    int length = 0;
    while (length < size - 1) {
        char c = readChar();
        if (!good())
            break;
        line[length++] = c;
        if (c == '\n')
            break;
    }
    line[length] = '\0';
}

const char* ioBufferedStreamInput::peekArea(int& available) const
{
    if (!top || top->position >= top->count) {
        available = 0;
        return nullptr;
    }
    available = top->count - top->position;
    return top->dataArea + top->position;
}

// ---- output

ioBufferedStreamOutput::ioBufferedStreamOutput() : ioBufferedStream(false) {}

void ioBufferedStreamOutput::openFile(const char* path)
{
    openDescriptor(path, -1);
    if (writeBehind > 0)
        descriptorBuffer()->setWriteBehind(writeBehind);
}

void ioBufferedStreamOutput::openStdout()
{
    openDescriptor(nullptr, 1);
}

void ioBufferedStreamOutput::openFileReplacing(const char* path)
{
    setStatus(ioStreamOk);
    ioBufferFD* buffer = new ioBufferFD(false);
    buffer->openReplacing(path);
    // Nobody sees the new file before close(), so gathering its bytes costs nothing in what a
    // crash leaves behind, and it spares most system writes.
    buffer->setWriteBehind(writeBehind < 0 ? replacingWriteBehind : writeBehind);
    replaceChain(buffer);
    promoteBufferStatus();
}

void ioBufferedStreamOutput::close()
{
    flush();
    // Something above the descriptor failed: a file being replaced must keep its old bytes.
    if (!good())
        if (ioBufferFD* bottom = descriptorBuffer())
            bottom->abandon();
    ioBufferedStream::close();
}

void ioBufferedStreamOutput::setWriteBehind(int bytes)
{
    writeBehind = bytes > 0 ? bytes : 0;
    if (ioBufferFD* bottom = descriptorBuffer()) {
        bottom->setWriteBehind(writeBehind); // writes what it gathered before
        promoteBufferStatus();
    }
}

ioBufferFD* ioBufferedStreamOutput::descriptorBuffer() const
{
    ioBuffer* bottom = top;
    while (bottom && bottom->next)
        bottom = bottom->next;
    return bottom && bottom->type() == ioBuffer::typeFD ? static_cast<ioBufferFD*>(bottom) : nullptr;
}

void ioBufferedStreamOutput::writeChar(char c)
{
    if (!top) {
        setStatus(ioStreamIOError);
        return;
    }
    if (top->position >= top->count) {
        top->flush();
        promoteBufferStatus();
    }
    if (top->position < ioBuffer::dataSize)
        top->dataArea[top->position++] = c;
}

void ioBufferedStreamOutput::writeDataSlow(const char* data, int size)
{
    if (!top) {
        setStatus(ioStreamIOError);
        return;
    }
    top->writeBytes(data, size);
    promoteBufferStatus();
}

void ioBufferedStreamOutput::writeString(const char* text)
{
    writeData(text, static_cast<int>(std::strlen(text)));
}

void ioBufferedStreamOutput::printf(const char* format, ...)
{
    char area[1024];
    area[0] = '\0';
    va_list args;
    va_start(args, format);
    QL_vsnprintf(area, sizeof area, format, args);
    va_end(args);
    area[sizeof area - 1] = '\0';
    writeString(area);
}

void ioBufferedStreamOutput::flush()
{
    if (!top)
        return;
    top->flushChain();
    promoteBufferStatus();
}

const char* ioStreamStatusName(ioStreamStatus status)
{
    switch (status) {
    case ioStreamOk: return "ok";
    case ioStreamOpenFailed: return "open failed";
    case ioStreamEOF: return "end of file";
    case ioStreamEndOfSection: return "end of compressed section";
    case ioStreamNoSpace: return "no space";
    case ioStreamChecksumError: return "checksum error";
    case ioStreamIOError: return "input/output error";
    }
    return "unknown status";
}
