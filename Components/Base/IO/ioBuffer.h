#ifndef IOBUFFER_H
#define IOBUFFER_H

#include "qvBaseExport.h"
#include "qvUtilError.h"

#include <memory>
#include <string>

// One link of a stream's buffer chain. The stream reads from or writes to the top buffer; each
// buffer moves its 4096-byte data area to or from the buffer beneath it (`next`), and the bottom
// buffer talks to the outside world. Failures never throw: they are status values that callers
// read with good() and status(), and that filters copy upwards with promoteStatus().
class QV_BASE_API ioBuffer {
public:
    // Buffer status values. The stream maps them onto its own numbering (ioStreamStatus).
    enum {
        statusGood = 0,
        statusOpenFailed = 1,
        statusEndOfFile = 2,
        statusNoSpace = 3,
        statusChecksumError = 4,
        statusEndOfCompressedData = 5,
        statusIOError = 6
    };
    // Buffer kinds returned by type().
    enum { typeFD = 0, typeCompress = 1, typeChecksum = 2, typeTCP = 3, typeEncrypt = 4 };

    static constexpr int dataSize = 4096;

    explicit ioBuffer(bool isInput);
    ioBuffer(const ioBuffer&) = delete;
    ioBuffer& operator=(const ioBuffer&) = delete;
    // Destroys the buffer beneath as well: a chain goes as a whole.
    virtual ~ioBuffer();

    // Called when the buffer is taken off the top of a chain.
    virtual void finish();
    virtual int type() const = 0;
    // Releases the underlying resource; filters forward it to `next`.
    virtual void close() = 0;
    // Fetches up to size bytes; the count fetched.
    virtual int read(char* data, int size) = 0;
    // Delivers size bytes.
    virtual void write(const char* data, int size) = 0;
    // Delivers what the buffer holds back beyond its data area (the descriptor buffer's
    // write-behind); the default holds nothing back.
    virtual void drain();

    // Input refill of the data area from read().
    void fill();
    // Output drain of the data area through write().
    void flush();
    // flush() and drain() this buffer and every buffer beneath it, carrying their failures
    // upwards.
    void flushChain();
    // Copies up to n bytes out of the data area, refilling it as needed; the count copied.
    int readBytes(void* dst, int n);
    // Copies n bytes into the data area, draining it whenever it is full.
    void writeBytes(const void* src, int n);
    // The next n unread bytes of the data area, consumed, or null when fewer are there (then
    // use readBytes). Lets a filter take small runs from the buffer beneath without a copy loop.
    const char* takeBytes(int n)
    {
        if (count - position < n)
            return nullptr;
        const char* at = dataArea + position;
        position += n;
        return at;
    }
    // The unread bytes of the data area, not consumed; available is how many there are.
    const char* unreadBytes(int& available) const
    {
        available = count - position;
        return dataArea + position;
    }
    // Takes over the status of `next`: failures always, the two end conditions only at the end.
    void promoteStatus(bool atEnd);

    void setNext(ioBuffer* buffer) { next = buffer; }
    // finish() this buffer and hand back the buffer beneath, no longer linked.
    ioBuffer* detachNext();
    void setProgressFunction(void (*function)(int)) { progressFunction = function; }
    int status() const { return bufferStatus; }
    bool good() const { return bufferStatus == statusGood; }
    void setStatus(int value) { bufferStatus = value; }

protected:
    // For filters' close(): flush the chain beneath (output side), close it and take over its
    // status.
    void closeBelow();

    qvUtil::Error error;
    char dataArea[dataSize];
    int position;
    int count;
    int totalBytes;
    int bufferStatus;
    bool isInput;
    ioBuffer* next;
    void (*progressFunction)(int);

    friend class ioBufferedStream;
    friend class ioBufferedStreamInput;
    friend class ioBufferedStreamOutput;
};

// The bottom buffer over an operating-system file descriptor.
class QV_BASE_API ioBufferFD : public ioBuffer {
public:
    explicit ioBufferFD(bool isInput);
    // Destroying a buffer that is replacing a file abandons the new file: the old one stays.
    ~ioBufferFD() override;

    // Opens path for reading, or creates/truncates it for writing; status 1 on failure.
    void open(const char* path);
    // Output that replaces path whole: the bytes go to a new file beside it, which close()
    // makes durable and renames over path, and only when every write succeeded. On any
    // failure, or destruction without close(), path is left as it was and the new file is
    // removed. A link at path stays a link; the file it points to is replaced. Status 1 when
    // the new file cannot be made.
    void openReplacing(const char* path);
    // Drops a pending replacement: the new file is closed and removed, path is left alone.
    void abandon();
    // Adopts a descriptor. The test is on the buffer's current descriptor, not the argument, so
    // a fresh buffer (descriptor -1) always fails with status 1: kept, callers depend on
    // standard input and output being refused this way.
    void attach(int fd);

    void finish() override;
    int type() const override;
    void close() override;
    int read(char* data, int size) override;
    void write(const char* data, int size) override;
    void drain() override;

    // Write-behind for output: write() gathers what it is given in an area of `bytes` and makes
    // one system write whenever that area is full; drain() (the stream's flush()) and close()
    // write the rest, and a failure, a full disk included, shows in the status they leave.
    // 0, the default, writes every call through before it returns. Changing the size drains
    // first. Sizes above maxWriteBehind are taken as maxWriteBehind.
    void setWriteBehind(int bytes);
    static constexpr int maxWriteBehind = 64 << 20;

    int descriptor() const { return fd; }

    // Bytes that one system read asks for on input. The stream still takes 4096 bytes per
    // refill; the rest waits here, which spares a system call per refill (they cost more than
    // copying the bytes once more).
    static constexpr int readAheadSize = 65536;

private:
    // Makes the new file durable and renames it over the target (close() of a replacement).
    void commitReplacement();
    // The system write loop: every byte, or a failure status.
    void writeThrough(const char* data, int size);

    int fd;
    bool ownsFd;
    std::string temporary; // the new file of a pending replacement, else empty
    std::string target;    // the file it replaces
    std::unique_ptr<char[]> ahead; // made at the first read
    int aheadPosition = 0;
    int aheadCount = 0;
    std::unique_ptr<char[]> behind; // the write-behind area, when one is set
    int behindSize = 0;
    int behindCount = 0;
};

#endif
