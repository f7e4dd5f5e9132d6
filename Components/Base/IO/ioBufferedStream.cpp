#include "ioBufferedStream.h"

#include "ioBufferChecksum.h"
#include "ioBufferCompress.h"
#include "ioBufferEncrypt.h"
#include "internal/ioFileDescriptor.h"

#include <cstdarg>
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
    replaceChain(buffer);
    promoteBufferStatus();
}

void ioBufferedStreamOutput::close()
{
    flush();
    if (!good() && top) {
        // Something above the descriptor failed: a file being replaced must keep its old bytes.
        ioBuffer* bottom = top;
        while (bottom->next)
            bottom = bottom->next;
        if (bottom->type() == ioBuffer::typeFD)
            static_cast<ioBufferFD*>(bottom)->abandon();
    }
    ioBufferedStream::close();
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
