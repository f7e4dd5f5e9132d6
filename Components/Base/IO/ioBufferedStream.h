#ifndef IOBUFFEREDSTREAM_H
#define IOBUFFEREDSTREAM_H

#include "qvBaseExport.h"
#include "ioBuffer.h"

#include <cstring>

namespace qvTCP {
class Socket;
}

// The stream's view of its chain's health; good() is true exactly for ioStreamOk.
enum ioStreamStatus {
    ioStreamOk = 0,
    ioStreamOpenFailed = 1,
    ioStreamEOF = 2,
    ioStreamEndOfSection = 3,
    ioStreamNoSpace = 4,
    ioStreamChecksumError = 5,
    ioStreamIOError = 6
};

// The status in words ("checksum error"), for messages; "unknown status" for other values.
QV_BASE_API const char* ioStreamStatusName(ioStreamStatus status);

// A byte stream over a chain of buffers that it owns. Closed (no chain) after construction and
// after close(). Destroying a stream destroys its chain without flushing and without closing the
// descriptor: destruction is cleanup, close() is completion.
class QV_BASE_API ioBufferedStream {
public:
    explicit ioBufferedStream(bool isInput);
    // Copies share the chain (the fields are copied as they are): only one copy may be closed
    // or destroyed.
    ioBufferedStream(const ioBufferedStream& other) = default;
    ioBufferedStream& operator=(const ioBufferedStream& other) = default;
    virtual ~ioBufferedStream();

    virtual void openFile(const char* path) = 0;
    // Closes the chain's resource, takes over its status and destroys the chain.
    virtual void close();
    virtual void openSocket(qvTCP::Socket* socket) = 0;

    bool good() const { return status == ioStreamOk; }
    ioStreamStatus getStatus() const { return status; }

    // Filters: true pushes a new filter buffer of the stream's direction on top of the chain,
    // false finishes and removes the top filter (the bottom buffer is never removed). What a
    // writer pushes and pops, the reader must push and pop at the same point of the bytes.
    // After compress(false) an end of compressed section is cleared, so reading goes on with
    // the plain bytes behind it.
    void compress(bool on);
    void checksum(bool on);
    void encrypt(bool on);
    // encrypt(true) with this stream's own 16-byte key instead of the process's default
    // (ioBufferEncrypt::setKey); null takes the default. false pops as encrypt(false) does.
    void encrypt(bool on, const unsigned char* key);

    // The progress function of the top buffer receives its running byte count after each
    // refill or flush.
    void associateProgressFunction(void (*function)(int));

    // Size of the file at path from the file system, or -1 for a null path or a failed query.
    static int fileSize(const char* path);

protected:
    void setStatus(ioStreamStatus value) { status = value; }
    // Maps the top buffer's status onto the stream's (a good buffer changes nothing).
    void promoteBufferStatus();
    // Makes buffer the whole chain, destroying any previous one.
    void replaceChain(ioBuffer* buffer);
    // A fresh descriptor buffer as the whole chain: opened on path, or else attached to
    // descriptor.
    void openDescriptor(const char* path, int descriptor);

    ioStreamStatus status;
    bool isInput;
    ioBuffer* top;

private:
    void addBufferToChain(ioBuffer* buffer);
    void popBufferChain();
    void pushOrPop(bool on, ioBuffer* (*make)(bool isInput));
};

class QV_BASE_API ioBufferedStreamInput : public ioBufferedStream {
public:
    ioBufferedStreamInput();

    void openFile(const char* path) override;
    // Always ends in ioStreamOpenFailed: see ioBufferFD::attach.
    void openStdin();
    void openSocket(qvTCP::Socket* socket) override;

    // The next byte, or 0 once the stream is no longer good.
    char readChar()
    {
        if (top && top->position < top->count)
            return top->dataArea[top->position++];
        return refillAndReadChar();
    }
    // Up to size bytes; the count read. Bytes already in the top area are copied here inline.
    int readData(char* data, int size)
    {
        if (top && size > 0 && top->count - top->position >= size) {
            std::memcpy(data, top->dataArea + top->position, static_cast<size_t>(size));
            top->position += size;
            return size;
        }
        return readDataSlow(data, size);
    }
    // A decimal integer after blanks, newlines and tabs; the character that ends it is consumed.
    int readInt();
    // Up to size - 1 characters through the first newline (kept), NUL-terminated.
    void readLine(char* line, int size);

    // The unread bytes of the top buffer, without consuming them (none when the area is empty:
    // call readChar() to refill). Lets a parser scan whole areas instead of single bytes.
    const char* peekArea(int& available) const;
    // Consumes n bytes of the area given by peekArea().
    void consumeArea(int n) { top->position += n; }
    // Refills the top buffer's area when it is empty, consuming nothing: peekArea() then shows
    // the next bytes (none when the stream turned bad). Lets a reader look ahead, for instance
    // at the start of a filtered section.
    void fillArea();
    // Offset in the underlying file (or connection) of the next byte that the bottom buffer
    // will hand up: the bytes taken from it so far, less those still unread in its area.
    int sourceOffset() const;

    // Recognises the filters that begin at the next byte by their first bytes (the compression
    // magic, a checksum block head, the encryption marker) and pushes the same filters the
    // writer pushed there, outermost first, until plain data follows. plainData(bytes,
    // available) tells plain data that begins like an encryption marker from one; null takes
    // every marker for one. Stores the kinds pushed (ioBuffer::typeCompress and so on) in kinds,
    // up to capacity of them, and returns how many were pushed. ioReadContext::detectFilters()
    // is the usual call.
    int pushDetectedFilters(int* kinds, int capacity,
                            bool (*plainData)(const unsigned char* bytes, int available) = nullptr);

private:
    char refillAndReadChar();
    int readDataSlow(char* data, int size);
    // Makes at least n bytes (up to the area's size) unread in the top area, reading more
    // behind those there; fewer only when the data ends. Returns the bytes available.
    int lookAhead(int n);
};

class QV_BASE_API ioBufferedStreamOutput : public ioBufferedStream {
public:
    ioBufferedStreamOutput();

    // Creates or truncates the file.
    void openFile(const char* path) override;
    // Replaces the file whole, for saves that survive a crash or a full disk: the bytes go to
    // a new file beside path, and only a close() that finds every write done makes it durable
    // and renames it over path. A failed save, or a stream destroyed without close(), leaves
    // path exactly as it was. The new file keeps the replaced file's permissions; a link at
    // path stays and the file it points to is replaced.
    void openFileReplacing(const char* path);
    // Always ends in ioStreamOpenFailed: see ioBufferFD::attach.
    void openStdout();
    void openSocket(qvTCP::Socket* socket) override;
    // Flushes, then closes as ioBufferedStream::close() does.
    void close() override;

    // Hands whatever the top area holds to the buffer's write() before storing the byte, so
    // every call reaches the buffer beneath: kept, callers rely on single characters going out
    // at once. Bulk output goes through writeData, writeString and printf.
    void writeChar(char c);
    // Bytes that fit in the top area without filling it are stored here inline; a write that
    // fills the area hands it down at once.
    void writeData(const char* data, int size)
    {
        if (top && size > 0 && top->good() && ioBuffer::dataSize - top->position > size) {
            std::memcpy(top->dataArea + top->position, data, static_cast<size_t>(size));
            top->position += size;
            return;
        }
        writeDataSlow(data, size);
    }
    void writeString(const char* text);
    // Formats into 1024 bytes; longer output is cut to 1023 characters.
    void printf(const char* format, ...) QV_PRINTF_FORMAT(2, 3);
    void flush();

    // Write-behind for files (see ioBufferFD::setWriteBehind): the descriptor buffer gathers
    // full areas into `bytes` and makes one system write whenever they fill it; flush() and
    // close() write the rest and report a failure, a full disk as ioStreamNoSpace. 0, the
    // default, makes one system write per full area. The size holds for the file open now and
    // the files opened later; sockets are not affected. A stream destroyed without close()
    // loses what was gathered, as it loses its area. openFileReplacing() gathers
    // replacingWriteBehind bytes unless a size, 0 included, was set.
    void setWriteBehind(int bytes);
    static constexpr int replacingWriteBehind = 256 * 1024;

private:
    void writeDataSlow(const char* data, int size);
    // The descriptor buffer at the bottom of the chain, or null (no chain, or a socket).
    ioBufferFD* descriptorBuffer() const;

    int writeBehind = -1; // -1: never set
};

#endif
