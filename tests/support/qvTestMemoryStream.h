#ifndef QVTEST_MEMORY_STREAM_H
#define QVTEST_MEMORY_STREAM_H

// Packet-file streams over bytes in memory, for tests and fuzz targets (header only, so that
// the fuzz targets can use it without the test support library).

#include "ioBufferedStream.h"

#include <cstring>
#include <string>

namespace qvTest {

// A bottom buffer over a string: reads serve it (then end of file), writes append to it.
class MemoryBuffer : public ioBuffer {
public:
    MemoryBuffer(bool input, std::string* bytes) : ioBuffer(input), bytes(bytes) {}
    int type() const override { return typeFD; }
    void close() override {}
    int read(char* data, int size) override
    {
        if (offset >= bytes->size()) {
            setStatus(statusEndOfFile);
            return 0;
        }
        size_t n = bytes->size() - offset;
        if (n > static_cast<size_t>(size))
            n = static_cast<size_t>(size);
        std::memcpy(data, bytes->data() + offset, n);
        offset += n;
        return static_cast<int>(n);
    }
    void write(const char* data, int size) override { bytes->append(data, static_cast<size_t>(size)); }

private:
    std::string* bytes;
    size_t offset = 0;
};

// Reads a copy of the given bytes.
class MemoryInput : public ioBufferedStreamInput {
public:
    explicit MemoryInput(const std::string& source) : bytes(source) { replaceChain(new MemoryBuffer(true, &bytes)); }
    ~MemoryInput() override { close(); }

private:
    std::string bytes;
};

// Appends to target, which must outlive the stream.
class MemoryOutput : public ioBufferedStreamOutput {
public:
    explicit MemoryOutput(std::string& target) { replaceChain(new MemoryBuffer(false, &target)); }
};

} // namespace qvTest

#endif
