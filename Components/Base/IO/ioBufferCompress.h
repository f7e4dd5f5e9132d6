#ifndef IOBUFFERCOMPRESS_H
#define IOBUFFERCOMPRESS_H

#include "qvBaseExport.h"
#include "ioBuffer.h"

#include <cstdint>

// LZW compression filter (pushed by ioBufferedStream::compress(true)). The bytes it writes are
// the classic Unix "compress" layout: the magic 1F 9D 90, then codes of 9 to 16 bits packed
// least significant bit first in groups of eight codes, with block-mode clears (code 256) when
// the compression ratio stops improving. Code 257 is reserved as an end-of-data code and the
// first free code is 258, so the compressed section has a visible end and plain bytes may
// follow it; that utility's decoder cannot read these sections.
//
// Writing: finish() (run by close() or when the filter is popped) writes the pending code, the
// end code and pads the last group to its full width, so a reader that pushes the same filter
// at the same point stops exactly at the end of the section. A section into which no byte was
// written has no magic and cannot be read back: writers must not push the filter around nothing.
// Reading: the end code sets status 5 (end of compressed data), which the stream reports as
// ioStreamEndOfSection; compress(false) then pops the filter and reading goes on with the plain
// bytes behind the section. A section that stops without its end code, a bad magic or an
// impossible code gives status 6.
class QV_BASE_API ioBufferCompress : public ioBuffer {
public:
    explicit ioBufferCompress(bool isInput);
    ~ioBufferCompress() override;

    // Output: emits the pending code, the end code and the last group, and flushes the chain
    // beneath. Input: releases the tables. Later calls do nothing.
    void finish() override;
    int type() const override;
    // finish(), then close the buffer beneath.
    void close() override;
    int read(char* data, int size) override;
    void write(const char* data, int size) override;

    static constexpr int initialBits = 9;
    static constexpr int maxBits = 16;
    static constexpr int32_t maxMaxCode = 1 << maxBits; // the limit value kept: 65536
    static constexpr int clearCode = 256;
    static constexpr int endCode = 257;
    static constexpr int firstCode = 258;
    static constexpr int hashSize = 69001; // prime, about 5% above 65536
    static constexpr int checkGap = 10000;

private:
    // Output side.
    void startOutput();
    void outputCode(int32_t code);
    void afterOutput();
    void padGroup();
    void clearBlock();
    int32_t findSpilled(uint32_t key) const;
    void addSpilled(uint32_t key, int32_t code);
    void drainOutput();
    // Input side.
    bool startInput();
    bool refillGroup();
    int32_t nextCode();
    struct CodeString;
    static CodeString extended(CodeString of, int32_t code, int c);
    static void writeString(const CodeString* table, CodeString s, unsigned char* dest);
    void releaseTables();

    int nBits;
    int32_t maxCode;
    int32_t freeEnt;
    bool clearFlag;
    int64_t ratio;
    int64_t checkpoint;
    int64_t inCount;
    int64_t outCount; // bytes handed to the buffer beneath (the area holds outUsed more)
    int32_t ent;
    int bitOffset; // output: codes in the current group; input: bit offset in the group
    // Output table: per slot a code and enough of its key to tell it apart (internal/ioLzwSlots.h).
    uint32_t* hashTable;
    // Input tables: per code its string (see CodeString in the .cpp), and a stack that holds the
    // longest string the table can define (one byte per code), so no valid stream overflows it.
    CodeString* stringTable;
    unsigned char* stack;

    bool started;  // tables allocated, magic written or checked
    bool finished; // finish() ran
    // Input: how the data ended. The end code is reported (status 5) only by a read that
    // delivers nothing, so that the bytes before it are not lost.
    enum { endRunning, endSeen, endMissing, endDamaged } endState;
    bool expectLiteral; // input: the next code starts the data or follows a clear
    // Output: packed bits not yet whole bytes, and bytes waiting for the buffer beneath.
    uint64_t bitBuffer;
    int bitCount;
    unsigned char* outArea;
    int outUsed;
    // Input: the current group, the decoded bytes not yet handed out, the decoder's memory.
    unsigned char group[24];
    int groupBits;
    int stackPos; // index of the next undelivered byte of the stack (its end when none)
    int32_t oldCode;
    int finChar;
    // Output: keys that found no room near their home slot (rare), with their codes.
    uint64_t* spillTable;
};

#endif
