#include "ioBuffer.h"

#include "internal/ioFileDescriptor.h"

#include <cstring>

using io::internal::FdFailure;

ioBuffer::ioBuffer(bool input)
    : position(0), count(0), totalBytes(0), bufferStatus(statusGood), isInput(input),
      next(nullptr), progressFunction(nullptr)
{
}

ioBuffer::~ioBuffer()
{
    delete next;
}

void ioBuffer::finish() {}

void ioBuffer::drain() {}

void ioBuffer::fill()
{
    if (!good())
        return;
    position = 0;
    count = read(dataArea, dataSize);
    totalBytes += count;
    if (progressFunction)
        progressFunction(totalBytes);
}

void ioBuffer::flush()
{
    if (!good() || position < 1)
        return;
    write(dataArea, position);
    totalBytes += position;
    position = 0;
    count = 0;
    if (progressFunction)
        progressFunction(totalBytes);
}

void ioBuffer::flushChain()
{
    flush();
    drain();
    if (next) {
        next->flushChain();
        promoteStatus(true);
    }
}

int ioBuffer::readBytes(void* dst, int n)
{
    char* out = static_cast<char*>(dst);
    int done = 0;
    while (done < n) {
        if (position >= count) {
            fill();
            if (!good() || position >= count)
                break;
        }
        int chunk = count - position;
        if (chunk > n - done)
            chunk = n - done;
        std::memcpy(out + done, dataArea + position, static_cast<size_t>(chunk));
        position += chunk;
        done += chunk;
    }
    return done;
}

void ioBuffer::writeBytes(const void* src, int n)
{
    const char* in = static_cast<const char*>(src);
    while (n > 0 && good()) {
        int chunk = dataSize - position;
        if (chunk > n)
            chunk = n;
        std::memcpy(dataArea + position, in, static_cast<size_t>(chunk));
        position += chunk;
        in += chunk;
        n -= chunk;
        // A full area goes down at once: over a connection the peer waits for these bytes.
        if (position >= dataSize)
            flush();
    }
}

void ioBuffer::promoteStatus(bool atEnd)
{
    if (!next)
        return;
    switch (next->bufferStatus) {
    case statusOpenFailed:
    case statusNoSpace:
    case statusChecksumError:
    case statusIOError:
        bufferStatus = next->bufferStatus;
        break;
    case statusEndOfFile:
    case statusEndOfCompressedData:
        if (atEnd)
            bufferStatus = next->bufferStatus;
        break;
    default:
        break;
    }
}

void ioBuffer::closeBelow()
{
    if (!next)
        return;
    if (!isInput)
        next->flushChain();
    next->close();
    promoteStatus(true);
}

ioBuffer* ioBuffer::detachNext()
{
    finish();
    ioBuffer* below = next;
    next = nullptr;
    return below;
}

ioBufferFD::ioBufferFD(bool input) : ioBuffer(input), fd(-1), ownsFd(false) {}

ioBufferFD::~ioBufferFD()
{
    abandon();
}

void ioBufferFD::openReplacing(const char* path)
{
    FdFailure failure = FdFailure::none;
    int opened = -1;
    if (path && !isInput) {
        do {
            opened = io::internal::fdOpenReplacement(path, temporary, target, failure);
        } while (opened < 0 && failure == FdFailure::interrupted);
    }
    if (opened < 0) {
        temporary.clear();
        target.clear();
        setStatus(statusOpenFailed);
        return;
    }
    fd = opened;
    ownsFd = true;
}

void ioBufferFD::abandon()
{
    if (temporary.empty())
        return;
    behindCount = 0;
    if (fd >= 0)
        io::internal::fdClose(fd);
    fd = -1;
    io::internal::fdRemove(temporary);
    temporary.clear();
    target.clear();
}

void ioBufferFD::commitReplacement()
{
    FdFailure failure = FdFailure::none;
    bool done = good();
    while (done && !io::internal::fdSync(fd, failure))
        done = failure == FdFailure::interrupted;
    // The descriptor is released whatever happened; a failing close may have lost bytes.
    if (!io::internal::fdClose(fd) && done) {
        done = false;
        failure = FdFailure::other;
    }
    fd = -1;
    while (done && !io::internal::fdReplace(temporary, target, failure))
        done = failure == FdFailure::interrupted;
    if (!done) {
        io::internal::fdRemove(temporary);
        if (good())
            setStatus(failure == FdFailure::noSpace ? statusNoSpace : statusIOError);
    }
    temporary.clear();
    target.clear();
}

void ioBufferFD::open(const char* path)
{
    FdFailure failure = FdFailure::none;
    int opened = -1;
    if (path) {
        do {
            opened = io::internal::fdOpen(path, isInput, failure);
        } while (opened < 0 && failure == FdFailure::interrupted);
    }
    if (opened < 0) {
        setStatus(statusOpenFailed);
        return;
    }
    fd = opened;
    ownsFd = true;
    aheadPosition = aheadCount = 0;
    behindCount = 0;
}

void ioBufferFD::attach(int descriptor)
{
    if (fd < 0) {
        setStatus(statusOpenFailed);
        return;
    }
    fd = descriptor;
    ownsFd = true;
}

void ioBufferFD::finish() {}

int ioBufferFD::type() const
{
    return typeFD;
}

void ioBufferFD::close()
{
    if (fd < 0)
        return;
    drain();
    if (!temporary.empty()) {
        commitReplacement();
        return;
    }
    // A failed close of an output file may have lost written bytes: say so.
    if (ownsFd && !io::internal::fdClose(fd) && !isInput && good())
        setStatus(statusIOError);
    fd = -1;
    aheadPosition = aheadCount = 0; // bytes read ahead belonged to that descriptor
}

int ioBufferFD::read(char* data, int size)
{
    if (fd < 0) {
        setStatus(statusIOError);
        return 0;
    }
    if (size < 1)
        return 0;
    if (aheadPosition < aheadCount) {
        int n = aheadCount - aheadPosition < size ? aheadCount - aheadPosition : size;
        std::memcpy(data, ahead.get() + aheadPosition, static_cast<size_t>(n));
        aheadPosition += n;
        return n;
    }
    // Requests at least as large as the read-ahead area go straight to the caller's memory.
    bool direct = size >= readAheadSize;
    if (!direct && !ahead)
        ahead.reset(new char[readAheadSize]);
    while (good()) {
        FdFailure failure = FdFailure::none;
        int n = io::internal::fdRead(fd, direct ? data : ahead.get(), direct ? size : readAheadSize, failure);
        if (n > 0 && direct)
            return n;
        if (n > 0) {
            aheadCount = n;
            aheadPosition = n < size ? n : size;
            std::memcpy(data, ahead.get(), static_cast<size_t>(aheadPosition));
            return aheadPosition;
        }
        if (n == 0)
            setStatus(statusEndOfFile);
        else if (failure != FdFailure::interrupted && failure != FdFailure::tryAgain)
            setStatus(statusIOError);
    }
    return 0;
}

void ioBufferFD::write(const char* data, int size)
{
    if (fd < 0) {
        setStatus(statusIOError);
        return;
    }
    if (behindSize < 1 || size < 1) {
        writeThrough(data, size);
        return;
    }
    if (!good())
        return;
    if (size > behindSize - behindCount) {
        drain();
        // What would fill the area on its own goes out as it is, without a copy.
        if (size >= behindSize) {
            writeThrough(data, size);
            return;
        }
    }
    std::memcpy(behind.get() + behindCount, data, static_cast<size_t>(size));
    behindCount += size;
    if (behindCount == behindSize)
        drain();
}

void ioBufferFD::drain()
{
    if (behindCount < 1)
        return;
    const int pending = behindCount;
    behindCount = 0; // after a failure the gathered bytes are gone, as a failed write's are
    writeThrough(behind.get(), pending);
}

void ioBufferFD::setWriteBehind(int bytes)
{
    if (isInput)
        return;
    if (fd >= 0)
        drain();
    behindCount = 0;
    if (bytes > maxWriteBehind)
        bytes = maxWriteBehind;
    behindSize = bytes > 0 ? bytes : 0;
    behind.reset(behindSize > 0 ? new char[static_cast<size_t>(behindSize)] : nullptr);
}

void ioBufferFD::writeThrough(const char* data, int size)
{
    if (fd < 0) {
        setStatus(statusIOError);
        return;
    }
    while (size > 0 && good()) {
        FdFailure failure = FdFailure::none;
        int n = io::internal::fdWrite(fd, data, size, failure);
        if (n > 0) {
            data += n;
            size -= n;
        } else if (n == 0) {
            setStatus(statusIOError); // no progress: never spin on a stuck descriptor
        } else if (failure == FdFailure::noSpace) {
            setStatus(statusNoSpace);
        } else if (failure != FdFailure::interrupted && failure != FdFailure::tryAgain) {
            setStatus(statusIOError);
        }
    }
}
