#include "ioBufferCompress.h"
#include "internal/ioLzwSlots.h"

#include <cstring>

// The decoder keeps per code its string's length, its last chunk of one to four bytes (the bytes
// from position (length - 1) rounded down to a multiple of four) and the code of the string
// before that chunk, whose length is that multiple of four. One load per four bytes unwinds a
// string, and the length is known before the first byte is written.
struct ioBufferCompress::CodeString {
    uint16_t jump;
    uint16_t length;
    unsigned char tail[4];
};

namespace {

const unsigned char magic[3] = {0x1F, 0x9D, 0x90};

// Room for the output staging area: one data area plus the largest step that outputCode or
// padGroup can add before the area is drained.
constexpr int outAreaSize = ioBuffer::dataSize + 64;
// A decoded string is copied in chunks of four bytes, so its last chunk may write up to three
// bytes past its end.
constexpr int chunkSlack = 3;
// The longest string has one byte per code that it chains through; the stack holds it and the
// slack behind it. Undelivered bytes sit just below stackEnd.
constexpr int stackEnd = ioBufferCompress::maxMaxCode;
constexpr int stackSize = stackEnd + chunkSlack;

using io::internal::lzwSlotMask;
using io::internal::lzwSlotCount;

constexpr uint32_t noSlot = ~0u;
constexpr uint64_t noSpill = ~uint64_t(0);

// The spill table's slot: another mix than the main table's, so that keys crowded there spread.
inline uint32_t spillSlot(uint32_t key)
{
    return (key * 0x85EBCA6Bu) >> (32 - io::internal::lzwSlotBits);
}

inline int32_t maxCodeFor(int bits)
{
    return bits == ioBufferCompress::maxBits ? ioBufferCompress::maxMaxCode : (1 << bits) - 1;
}

} // namespace

ioBufferCompress::ioBufferCompress(bool input)
    : ioBuffer(input), nBits(initialBits), maxCode(maxCodeFor(initialBits)), freeEnt(firstCode),
      clearFlag(false), ratio(0), checkpoint(checkGap), inCount(0), outCount(0), ent(0),
      bitOffset(0), hashTable(nullptr), stringTable(nullptr), stack(nullptr), started(false), finished(false), endState(endRunning), expectLiteral(false),
      bitBuffer(0), bitCount(0), outArea(nullptr), outUsed(0), groupBits(0),
      stackPos(stackEnd), oldCode(0), finChar(0), spillTable(nullptr)
{
    std::memset(group, 0, sizeof group);
}

ioBufferCompress::~ioBufferCompress()
{
    releaseTables();
}

void ioBufferCompress::releaseTables()
{
    delete[] hashTable;
    delete[] spillTable;
    delete[] stringTable;
    delete[] stack;
    delete[] outArea;
    hashTable = nullptr;
    spillTable = nullptr;
    stringTable = nullptr;
    stack = nullptr;
    outArea = nullptr;
}

int ioBufferCompress::type() const
{
    return typeCompress;
}

void ioBufferCompress::close()
{
    finish();
    closeBelow();
}

// ---- output

void ioBufferCompress::startOutput()
{
    started = true;
    hashTable = new uint32_t[lzwSlotCount];
    std::memset(hashTable, 0, sizeof(uint32_t) * lzwSlotCount);
    if (!outArea)
        outArea = new unsigned char[outAreaSize];
    std::memcpy(outArea, magic, sizeof magic);
    outUsed = sizeof magic;
    outCount = 0;
}

void ioBufferCompress::drainOutput()
{
    if (outUsed > 0 && next) {
        next->writeBytes(outArea, outUsed);
        promoteStatus(true);
    }
    outCount += outUsed;
    outUsed = 0;
}

void ioBufferCompress::outputCode(int32_t code)
{
    bitBuffer |= static_cast<uint64_t>(code) << bitCount;
    bitCount += nBits;
    while (bitCount >= 8) {
        outArea[outUsed++] = static_cast<unsigned char>(bitBuffer);
        bitBuffer >>= 8;
        bitCount -= 8;
    }
    // Eight codes of nBits bits make a group of nBits whole bytes.
    if (++bitOffset == 8)
        bitOffset = 0;
    afterOutput();
}

void ioBufferCompress::afterOutput()
{
    // A new width, or a clear, starts a new group: the decoder reads whole groups of the width
    // it expects, so the rest of the current one is padded.
    if (freeEnt > maxCode || clearFlag) {
        padGroup();
        if (clearFlag) {
            nBits = initialBits;
            clearFlag = false;
        } else {
            ++nBits;
        }
        maxCode = maxCodeFor(nBits);
    }
    if (outUsed >= dataSize)
        drainOutput();
}

void ioBufferCompress::padGroup()
{
    if (bitOffset == 0)
        return;
    int padBits = (8 - bitOffset) * nBits;
    bitCount += padBits; // the pending bits are followed by zeros
    while (bitCount >= 8) {
        outArea[outUsed++] = static_cast<unsigned char>(bitBuffer);
        bitBuffer >>= 8;
        bitCount -= 8;
    }
    bitOffset = 0;
}

// The spill table holds whole keys and codes, probed linearly; it is made on the first spill.
// It never holds more keys than there are codes, so it is at most half full.
int32_t ioBufferCompress::findSpilled(uint32_t key) const
{
    if (!spillTable)
        return -1;
    for (uint32_t slot = spillSlot(key);; slot = (slot + 1) & lzwSlotMask) {
        const uint64_t entry = spillTable[slot];
        if (entry == noSpill)
            return -1;
        if (static_cast<uint32_t>(entry) == key)
            return static_cast<int32_t>(entry >> 32);
    }
}

void ioBufferCompress::addSpilled(uint32_t key, int32_t code)
{
    if (!spillTable) {
        spillTable = new uint64_t[lzwSlotCount];
        std::memset(spillTable, 0xFF, sizeof(uint64_t) * lzwSlotCount);
    }
    uint32_t slot = spillSlot(key);
    while (spillTable[slot] != noSpill)
        slot = (slot + 1) & lzwSlotMask;
    spillTable[slot] = static_cast<uint64_t>(code) << 32 | key;

}

void ioBufferCompress::clearBlock()
{
    checkpoint = inCount + checkGap;
    const int64_t out = outCount + outUsed;
    int64_t rat;
    if (inCount < 0x800000) {
        rat = (inCount << 8) / out;
    } else {
        int64_t divisor = out >> 8;
        rat = divisor == 0 ? 0x7FFFFFFF : inCount / divisor;
    }
    if (rat > ratio) {
        ratio = rat;
        return;
    }
    ratio = 0;
    std::memset(hashTable, 0, sizeof(uint32_t) * lzwSlotCount);
    delete[] spillTable;
    spillTable = nullptr;
    freeEnt = firstCode;
    clearFlag = true;
    outputCode(clearCode);
}

void ioBufferCompress::write(const char* data, int size)
{
    if (!good() || finished || size < 1)
        return;
    const unsigned char* in = reinterpret_cast<const unsigned char*>(data);
    const unsigned char* end = in + size;
    if (!started) {
        startOutput();
        ent = *in++;
        inCount = 1;
    }
    // The hot loop works on locals (stores to the output area could alias any member); the
    // rare steps (new width, clear, full area) write them back, run, and reload them.
    uint32_t* const table = hashTable;
    unsigned char* const area = outArea;
    unsigned char* const areaEnd = outArea + dataSize;
    // The input count is the count at entry plus the bytes taken since.
    const unsigned char* const start = in;
    const int64_t startCount = inCount;
    unsigned char* op = area + outUsed;
    uint64_t acc = bitBuffer;
    int accBits = bitCount;
    int inGroup = bitOffset;
    int bits = nBits;
    int32_t limit = maxCode;
    int32_t free = freeEnt;
    auto save = [&] {
        inCount = startCount + (in - start);
        outUsed = static_cast<int>(op - area);
        bitBuffer = acc;
        bitCount = accBits;
        bitOffset = inGroup;
        freeEnt = free;
    };
    auto load = [&] {
        op = area + outUsed;
        acc = bitBuffer;
        accBits = bitCount;
        inGroup = bitOffset;
        bits = nBits;
        limit = maxCode;
        free = freeEnt;
    };
    // The string so far: its code in the upper half, where the slot keeps it too.
    uint32_t high = static_cast<uint32_t>(ent) << 16;
    while (in < end) {
        const uint32_t c = *in++;
        const uint32_t shifted = high | c << 8;
        const uint32_t mixed = io::internal::lzwMixShifted(shifted);
        uint32_t slot = io::internal::lzwSlotOfMix(mixed);
        uint32_t tag = io::internal::lzwTagOfMix(mixed);
        uint32_t entry = table[slot];
        // Should this byte end the string, the next search starts from it and the next byte:
        // fetch that slot while this search runs.
        if (in < end)
            __builtin_prefetch(table + io::internal::lzwSlotOfMix(io::internal::lzwMixShifted(c << 16 | *in << 8)));
        bool found = false;
        for (;;) {
            if ((entry & 0xFFFF) == tag) {
                found = true;
                break;
            }
            if (entry == 0)
                break;
            slot = (slot + 1) & lzwSlotMask;
            if ((++tag & io::internal::lzwDistanceMask) == 0) {
                // The run of occupied slots is longer than a tag can record.
                const int32_t spilled = findSpilled(shifted >> 8);
                if (spilled >= 0) {
                    entry = static_cast<uint32_t>(spilled) << 16;
                    found = true;
                }
                slot = noSlot;
                break;
            }
            entry = table[slot];
        }
        if (found) {
            high = entry & 0xFFFF0000u;
            continue;
        }
        // Output the code: whole bytes go to the area (three stored, the slack absorbs them).
        acc |= static_cast<uint64_t>(high >> 16) << accBits;
        accBits += bits;
        const uint32_t low = static_cast<uint32_t>(acc);
        op[0] = static_cast<unsigned char>(low);
        op[1] = static_cast<unsigned char>(low >> 8);
        op[2] = static_cast<unsigned char>(low >> 16);
        const int whole = accBits >> 3;
        op += whole;
        acc >>= whole * 8;
        accBits &= 7;
        if (++inGroup == 8)
            inGroup = 0;
        if (free > limit || op >= areaEnd) {
            save();
            afterOutput();
            load();
        }
        high = c << 16;
        if (free < maxMaxCode) {
            if (slot != noSlot)
                table[slot] = static_cast<uint32_t>(free) << 16 | tag;
            else
                addSpilled(shifted >> 8, free);
            ++free;
        } else if (startCount + (in - start) >= checkpoint) {
            save();
            clearBlock();
            load();
        }
    }
    save();
    ent = static_cast<int32_t>(high >> 16);
}

// ---- finishing

void ioBufferCompress::finish()
{
    if (finished)
        return;
    if (isInput) {
        finished = true;
        releaseTables();
        return;
    }
    flush();
    finished = true;
    if (!good())
        return;
    if (!outArea)
        outArea = new unsigned char[outAreaSize];
    // Kept: with no byte written there is no magic, yet the final codes still go out.
    outputCode(ent);
    outputCode(endCode);
    padGroup();
    if (bitCount > 0) { // only when the group was padded to nothing: never, kept for safety
        outArea[outUsed++] = static_cast<unsigned char>(bitBuffer);
        bitBuffer = 0;
        bitCount = 0;
    }
    drainOutput();
    if (next) {
        next->flushChain();
        promoteStatus(true);
    }
    releaseTables();
}

// ---- input

bool ioBufferCompress::startInput()
{
    started = true;
    unsigned char head[3] = {0, 0, 0};
    int n = next ? next->readBytes(head, 3) : 0;
    if (n != 3 || std::memcmp(head, magic, 3) != 0) {
        // An empty or cut input is an end of file only for the buffer beneath; a damaged one
        // (a checksum error beneath) is reported as such.
        setStatus(statusIOError);
        promoteStatus(false);
        endState = endDamaged;
        return false;
    }
    stringTable = new CodeString[maxMaxCode];
    stack = new unsigned char[stackSize];
    // Entries from 258 on are written before any code may use them.
    for (int c = 0; c < 256; ++c)
        stringTable[c] = CodeString{0, 1, {static_cast<unsigned char>(c), 0, 0, 0}};
    return true;
}

bool ioBufferCompress::refillGroup()
{
    if (freeEnt > maxCode) {
        ++nBits;
        maxCode = maxCodeFor(nBits);
    }
    if (clearFlag) {
        nBits = initialBits;
        maxCode = maxCodeFor(nBits);
        clearFlag = false;
    }
    int n = nBits;
    if (const char* span = next->takeBytes(nBits))
        std::memcpy(group, span, static_cast<size_t>(nBits));
    else
        n = next->readBytes(group, nBits);
    // A group too short to hold one code ends the data like a missing one.
    if (n <= 0 || n * 8 < nBits)
        return false;
    bitOffset = 0;
    groupBits = n * 8 - nBits + 1;
    return true;
}

inline int32_t ioBufferCompress::nextCode()
{
    if ((clearFlag || bitOffset >= groupBits || freeEnt > maxCode) && !refillGroup())
        return -1;
    const int byte = bitOffset >> 3;
    uint32_t bits = static_cast<uint32_t>(group[byte]) | static_cast<uint32_t>(group[byte + 1]) << 8 |
                    static_cast<uint32_t>(group[byte + 2]) << 16;
    bits >>= bitOffset & 7;
    bitOffset += nBits;
    return static_cast<int32_t>(bits & ((1u << nBits) - 1));
}

// The entry for the string of `code` followed by the byte c.
inline ioBufferCompress::CodeString ioBufferCompress::extended(CodeString of, int32_t code, int c)
{
    const int used = of.length & 3;
    if (used == 0)
        return CodeString{static_cast<uint16_t>(code), static_cast<uint16_t>(of.length + 1),
                          {static_cast<unsigned char>(c), 0, 0, 0}};
    of.tail[used] = static_cast<unsigned char>(c);
    ++of.length;
    return of;
}

// Writes the string of s to dest[0, s.length), and scratch bytes up to chunkSlack beyond it.
inline void ioBufferCompress::writeString(const CodeString* table, CodeString s, unsigned char* dest)
{
    int at = (s.length - 1) & ~3;
    std::memcpy(dest + at, s.tail, 4);
    while (at > 0) {
        s = table[s.jump];
        at -= 4;
        std::memcpy(dest + at, s.tail, 4);
    }
}

int ioBufferCompress::read(char* data, int size)
{
    if (!good() || size < 1)
        return 0;
    if (!started) {
        if (!next || !startInput())
            return 0;
        expectLiteral = true;
    }

    unsigned char* out = reinterpret_cast<unsigned char*>(data);
    int produced = 0;
    bool damaged = false;
    // The hot state lives in locals: stores through `out` may alias any member, which would
    // force the compiler to reload them all after every byte.
    CodeString* const entries = stringTable;
    int32_t free = freeEnt;
    int32_t old = oldCode;
    int fin = finChar;
    int offset = bitOffset;
    int bits = nBits;
    uint32_t mask = (1u << bits) - 1;
    int usable = groupBits;
    int32_t limit = clearFlag ? -1 : maxCode; // a pending clear forces the slow path
    auto save = [&] {
        freeEnt = free;
        oldCode = old;
        finChar = fin;
        bitOffset = offset;
    };
    auto load = [&] {
        free = freeEnt;
        old = oldCode;
        fin = finChar;
        offset = bitOffset;
        bits = nBits;
        mask = (1u << bits) - 1;
        usable = groupBits;
        limit = clearFlag ? -1 : maxCode;
    };
    while (produced < size) {
        if (stackPos < stackEnd) {
            int n = stackEnd - stackPos;
            if (n > size - produced)
                n = size - produced;
            std::memcpy(out + produced, stack + stackPos, static_cast<size_t>(n));
            stackPos += n;
            produced += n;
            continue;
        }
        if (endState != endRunning)
            break;
        int32_t code;
        if (offset < usable && free <= limit) {
            const unsigned char* at = group + (offset >> 3);
            uint32_t word = static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 |
                            static_cast<uint32_t>(at[2]) << 16;
            code = static_cast<int32_t>((word >> (offset & 7)) & mask);
            offset += bits;
        } else {
            save();
            code = nextCode();
            load();
        }
        if (code < 0) {
            endState = endMissing;
            break;
        }
        if (code == endCode) {
            endState = endSeen;
            break;
        }
        if (code == clearCode && !expectLiteral) {
            // Start afresh, as at the start of the data.
            save();
            freeEnt = firstCode;
            clearFlag = true;
            load();
            expectLiteral = true;
            continue;
        }
        if (expectLiteral) {
            // The first code (of the data, or after a clear) is a literal that adds no entry.
            if (code > 255) {
                damaged = true;
                break;
            }
            expectLiteral = false;
            old = code;
            fin = code;
            out[produced++] = static_cast<unsigned char>(code);
            continue;
        }
        if (code >= free) {
            // Only the code being defined right now may be used before its entry exists: it
            // is the previous string and that string's first byte.
            if (code > free || free >= maxMaxCode) {
                damaged = true;
                break;
            }
            entries[code] = extended(entries[old], old, fin);
        }
        // Straight into the caller's area when the string and its slack fit, else onto the
        // stack to be handed out by later reads.
        const CodeString string = entries[code];
        const int length = string.length;
        const bool direct = length + chunkSlack <= size - produced;
        unsigned char* const dest = direct ? out + produced : stack + stackEnd - length;
        writeString(entries, string, dest);
        fin = dest[0];
        if (direct)
            produced += length;
        else
            stackPos = stackEnd - length;
        if (free < maxMaxCode) {
            entries[free] = extended(entries[old], old, fin);
            ++free;
        }
        old = code;
    }
    save();

    if (damaged) {
        endState = endDamaged;
        setStatus(statusIOError);
        // Garbled codes usually come from damaged input: a failure found beneath (a checksum
        // error) names the cause better than the codes do.
        promoteStatus(false);
        return produced;
    }
    if (produced > 0) {
        promoteStatus(false);
        return produced;
    }
    if (endState == endSeen) {
        setStatus(statusEndOfCompressedData);
        return 0;
    }
    // Nothing left and no end code: a compressed section must end with it.
    promoteStatus(true);
    if (good() || status() == statusEndOfFile)
        setStatus(statusIOError);
    return 0;
}
