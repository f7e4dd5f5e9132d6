#include "ioBufferChecksum.h"

#include <cstring>

namespace {

void putBigEndian32(unsigned char* at, uint32_t value)
{
    at[0] = static_cast<unsigned char>(value >> 24);
    at[1] = static_cast<unsigned char>(value >> 16);
    at[2] = static_cast<unsigned char>(value >> 8);
    at[3] = static_cast<unsigned char>(value);
}

uint32_t getBigEndian32(const unsigned char* at)
{
    return static_cast<uint32_t>(at[0]) << 24 | static_cast<uint32_t>(at[1]) << 16 |
           static_cast<uint32_t>(at[2]) << 8 | at[3];
}

// A block area grows in steps of at most this much, each only after the previous step's bytes
// have arrived: a forged length cannot make the reader allocate memory for data that is not there.
constexpr uint32_t growStep = 1u << 20;

} // namespace

ioBufferChecksum::ioBufferChecksum(bool input)
    : ioBuffer(input), sum(0), block(nullptr), blockCapacity(0), blockLength(0), blockPos(0)
{
}

ioBufferChecksum::~ioBufferChecksum()
{
    delete[] block;
}

int ioBufferChecksum::type() const
{
    return typeChecksum;
}

void ioBufferChecksum::finish()
{
    if (!isInput)
        flush();
}

void ioBufferChecksum::close()
{
    finish();
    closeBelow();
}

uint16_t ioBufferChecksum::addToSum(uint16_t start, const void* data, uint32_t size)
{
    // Adding 32-bit little-endian words into a wide accumulator and folding once at the end
    // gives the same value as folding 16-bit words whenever the top bit is set: both keep the
    // sum modulo 65535, and both give 0 only when every word is 0.
    const unsigned char* p = static_cast<const unsigned char*>(data);
    uint64_t acc = start;
    uint32_t words = size / 4;
    for (uint32_t i = 0; i < words; ++i, p += 4)
        acc += static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
               static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
    uint32_t rest = size & 3;
    if (rest >= 2) {
        acc += static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8;
        p += 2;
        rest -= 2;
    }
    if (rest == 1)
        acc += p[0];
    while (acc > 0xFFFF)
        acc = (acc & 0xFFFF) + (acc >> 16);
    return static_cast<uint16_t>(acc);
}

void ioBufferChecksum::write(const char* data, int size)
{
    if (!good() || size < 0 || !next)
        return;
    uint32_t n = static_cast<uint32_t>(size);
    sum = addToSum(sum, data, n);
    unsigned char header[headerSize];
    putBigEndian32(header, n);
    putBigEndian32(header + 4, ~n);
    header[8] = static_cast<unsigned char>(sum);
    header[9] = static_cast<unsigned char>(sum >> 8);
    next->writeBytes(header, headerSize);
    next->writeBytes(data, size);
    promoteStatus(true);
}

bool ioBufferChecksum::fetchBlock()
{
    unsigned char header[headerSize];
    int got = next->readBytes(header, headerSize);
    if (got == 0) {
        promoteStatus(true); // an end of file between blocks is an end of file
        return false;
    }
    if (got < headerSize) {
        promoteStatus(false);
        if (good())
            setStatus(statusChecksumError);
        return false;
    }
    uint32_t n = getBigEndian32(header);
    if (getBigEndian32(header + 4) != ~n) {
        setStatus(statusChecksumError);
        return false;
    }
    uint16_t expected = static_cast<uint16_t>(header[8] | header[9] << 8);

    uint32_t length = 0;
    while (length < n) {
        if (length == blockCapacity) {
            uint32_t want = n - length < growStep ? n : length + growStep;
            char* grown = new char[want];
            if (length)
                std::memcpy(grown, block, length);
            delete[] block;
            block = grown;
            blockCapacity = want;
        }
        uint32_t chunk = blockCapacity - length;
        if (chunk > n - length)
            chunk = n - length;
        if (chunk > 0x40000000u)
            chunk = 0x40000000u;
        int read = next->readBytes(block + length, static_cast<int>(chunk));
        length += static_cast<uint32_t>(read);
        if (static_cast<uint32_t>(read) < chunk)
            break;
    }
    if (length < n) {
        promoteStatus(false);
        if (good() || status() == statusEndOfFile)
            setStatus(statusChecksumError);
        return false;
    }
    sum = addToSum(sum, block, n);
    if (sum != expected) {
        setStatus(statusChecksumError);
        return false;
    }
    blockLength = n;
    blockPos = 0;
    return true;
}

int ioBufferChecksum::read(char* data, int size)
{
    if (!good() || size < 1 || !next)
        return 0;
    while (blockPos >= blockLength) {
        if (!fetchBlock())
            return 0;
    }
    uint32_t n = blockLength - blockPos;
    if (n > static_cast<uint32_t>(size))
        n = static_cast<uint32_t>(size);
    std::memcpy(data, block + blockPos, n);
    blockPos += n;
    return static_cast<int>(n);
}
