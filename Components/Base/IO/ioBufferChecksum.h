#ifndef IOBUFFERCHECKSUM_H
#define IOBUFFERCHECKSUM_H

#include "qvBaseExport.h"
#include "ioBuffer.h"

#include <cstdint>

// Checksum filter (pushed by ioBufferedStream::checksum(true)). Every area written through it
// becomes one block: the length n and its complement as big-endian 32-bit numbers, the running
// 16-bit sum after the block in little-endian order, then the n data bytes. The sum is a
// ones'-complement style sum of the 16-bit little-endian words of all blocks so far (it is never
// reset between blocks), so a dropped, repeated or reordered block is caught as well as damaged
// bytes. The mixture of byte orders in the header is kept: existing files use it.
//
// Reading verifies each block before any of its bytes is served; a damaged, cut or forged block
// gives status 4. The block area grows only with data that actually arrives, whatever length a
// header claims. An end of file exactly between blocks is a plain end of file.
class QV_BASE_API ioBufferChecksum : public ioBuffer {
public:
    explicit ioBufferChecksum(bool isInput);
    ~ioBufferChecksum() override;

    // Output: writes the pending area as a block. Input: nothing.
    void finish() override;
    int type() const override;
    // finish(), then close the buffer beneath.
    void close() override;
    int read(char* data, int size) override;
    void write(const char* data, int size) override;

    // The running sum after adding size bytes to sum (odd lengths add the last byte alone).
    static uint16_t addToSum(uint16_t sum, const void* data, uint32_t size);

    static constexpr int headerSize = 10;

private:
    bool fetchBlock();

    uint16_t sum;
    // Input: the current block.
    char* block;
    uint32_t blockCapacity;
    uint32_t blockLength;
    uint32_t blockPos;
};

#endif
