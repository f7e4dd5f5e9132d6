#include "ioBufferCompress.h"

#include <cstring>

namespace {

const unsigned char magic[3] = {0x1F, 0x9D, 0x90};

// Room for the output staging area: one data area plus the largest step that outputCode or
// padGroup can add before the area is drained.
constexpr int outAreaSize = ioBuffer::dataSize + 64;
// One byte per code that a string can chain through, and then some.
constexpr int stackSize = ioBufferCompress::maxMaxCode;

inline int32_t maxCodeFor(int bits)
{
    return bits == ioBufferCompress::maxBits ? ioBufferCompress::maxMaxCode : (1 << bits) - 1;
}

} // namespace

ioBufferCompress::ioBufferCompress(bool input)
    : ioBuffer(input), nBits(initialBits), maxCode(maxCodeFor(initialBits)), freeEnt(firstCode),
      clearFlag(false), ratio(0), checkpoint(checkGap), inCount(0), outCount(0), ent(0),
      bitOffset(0), hashTable(nullptr), codeTable(nullptr), prefixTable(nullptr),
      suffixTable(nullptr), stack(nullptr), started(false), finished(false), endState(endRunning),
      bitBuffer(0), bitCount(0), outArea(nullptr), outUsed(0), groupBits(0),
      stackPos(stackSize), oldCode(0), finChar(0)
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
    delete[] codeTable;
    delete[] prefixTable;
    delete[] suffixTable;
    delete[] stack;
    delete[] outArea;
    hashTable = nullptr;
    codeTable = nullptr;
    prefixTable = nullptr;
    suffixTable = nullptr;
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
    if (next) {
        next->close();
        promoteStatus(true);
    }
}

// ---- output

void ioBufferCompress::startOutput()
{
    started = true;
    hashTable = new int32_t[hashSize];
    codeTable = new uint16_t[hashSize];
    std::memset(hashTable, 0xFF, sizeof(int32_t) * hashSize);
    if (!outArea)
        outArea = new unsigned char[outAreaSize];
    std::memcpy(outArea, magic, sizeof magic);
    outUsed = sizeof magic;
    outCount = sizeof magic;
}

void ioBufferCompress::drainOutput()
{
    if (outUsed > 0 && next) {
        next->writeBytes(outArea, outUsed);
        promoteStatus(true);
    }
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
        ++outCount;
    }
    // Eight codes of nBits bits make a group of nBits whole bytes.
    if (++bitOffset == 8)
        bitOffset = 0;
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
        ++outCount;
    }
    bitOffset = 0;
}

void ioBufferCompress::clearBlock()
{
    checkpoint = inCount + checkGap;
    int64_t rat;
    if (inCount < 0x800000) {
        rat = (inCount << 8) / outCount;
    } else {
        int64_t divisor = outCount >> 8;
        rat = divisor == 0 ? 0x7FFFFFFF : inCount / divisor;
    }
    if (rat > ratio) {
        ratio = rat;
        return;
    }
    ratio = 0;
    std::memset(hashTable, 0xFF, sizeof(int32_t) * hashSize);
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
    // The hot loop works on locals; the tables and counters are written back at the end.
    int32_t* const htab = hashTable;
    uint16_t* const codetab = codeTable;
    int32_t code = ent;
    int64_t count = inCount;
    while (in < end) {
        const int32_t c = *in++;
        ++count;
        const int32_t key = (c << maxBits) + code;
        int32_t i = (c << 8) ^ code;
        int32_t entry = htab[i];
        if (entry == key) {
            code = codetab[i];
            continue;
        }
        if (entry >= 0) {
            // Secondary probe: step back by the distance to the end of the table.
            const int32_t disp = i == 0 ? 1 : hashSize - i;
            bool found = false;
            do {
                i -= disp;
                if (i < 0)
                    i += hashSize;
                entry = htab[i];
                if (entry == key) {
                    found = true;
                    break;
                }
            } while (entry >= 0);
            if (found) {
                code = codetab[i];
                continue;
            }
        }
        inCount = count;
        outputCode(code);
        code = c;
        if (freeEnt < maxMaxCode) {
            codetab[i] = static_cast<uint16_t>(freeEnt++);
            htab[i] = key;
        } else if (count >= checkpoint) {
            clearBlock();
        }
    }
    ent = code;
    inCount = count;
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
        // An empty or cut input is an end of file only for the buffer beneath.
        setStatus(statusIOError);
        endState = endDamaged;
        return false;
    }
    prefixTable = new uint16_t[maxMaxCode];
    suffixTable = new unsigned char[maxMaxCode];
    stack = new unsigned char[stackSize];
    // Entries from 258 on are written before any code may use them.
    for (int c = 0; c < 256; ++c)
        suffixTable[c] = static_cast<unsigned char>(c);
    return true;
}

int32_t ioBufferCompress::nextCode()
{
    if (clearFlag || bitOffset >= groupBits || freeEnt > maxCode) {
        if (freeEnt > maxCode) {
            ++nBits;
            maxCode = maxCodeFor(nBits);
        }
        if (clearFlag) {
            nBits = initialBits;
            maxCode = maxCodeFor(nBits);
            clearFlag = false;
        }
        int n = next->readBytes(group, nBits);
        // A group too short to hold one code ends the data like a missing one.
        if (n <= 0 || n * 8 < nBits)
            return -1;
        bitOffset = 0;
        groupBits = n * 8 - nBits + 1;
    }
    const int byte = bitOffset >> 3;
    uint32_t bits = static_cast<uint32_t>(group[byte]) | static_cast<uint32_t>(group[byte + 1]) << 8 |
                    static_cast<uint32_t>(group[byte + 2]) << 16;
    bits >>= bitOffset & 7;
    bitOffset += nBits;
    return static_cast<int32_t>(bits & ((1u << nBits) - 1));
}

int ioBufferCompress::read(char* data, int size)
{
    if (!good() || size < 1)
        return 0;
    if (!started) {
        if (!next || !startInput())
            return 0;
        // The first code is a literal: both the first byte and the previous code.
        int32_t code = nextCode();
        if (code == endCode) {
            endState = endSeen;
        } else if (code < 0) {
            endState = endMissing;
        } else if (code > 255) {
            endState = endDamaged;
            setStatus(statusIOError);
            return 0;
        } else {
            oldCode = code;
            finChar = code;
            stack[--stackPos] = static_cast<unsigned char>(code);
        }
    }

    unsigned char* out = reinterpret_cast<unsigned char*>(data);
    int produced = 0;
    bool damaged = false;
    while (produced < size) {
        if (stackPos < stackSize) {
            int n = stackSize - stackPos;
            if (n > size - produced)
                n = size - produced;
            std::memcpy(out + produced, stack + stackPos, static_cast<size_t>(n));
            stackPos += n;
            produced += n;
            continue;
        }
        if (endState != endRunning)
            break;
        int32_t code = nextCode();
        if (code < 0) {
            endState = endMissing;
            break;
        }
        if (code == endCode) {
            endState = endSeen;
            break;
        }
        if (code == clearCode) {
            // Start afresh: the next code is a literal that adds no entry, as at the start.
            freeEnt = firstCode;
            clearFlag = true;
            code = nextCode();
            if (code < 0) {
                endState = endMissing;
                break;
            }
            if (code == endCode) {
                endState = endSeen;
                break;
            }
            if (code > 255) {
                damaged = true;
                break;
            }
            oldCode = code;
            finChar = code;
            stack[--stackPos] = static_cast<unsigned char>(code);
            continue;
        }
        const int32_t inCode = code;
        int sp = stackSize;
        if (code >= freeEnt) {
            // Only the code being defined right now may be used before its entry exists.
            if (code > freeEnt || freeEnt >= maxMaxCode) {
                damaged = true;
                break;
            }
            stack[--sp] = static_cast<unsigned char>(finChar);
            code = oldCode;
        }
        // Every entry's prefix is a smaller code, so the walk ends within stackSize steps.
        while (code >= 256) {
            stack[--sp] = suffixTable[code];
            code = prefixTable[code];
        }
        finChar = suffixTable[code];
        stack[--sp] = static_cast<unsigned char>(finChar);
        stackPos = sp;
        if (freeEnt < maxMaxCode) {
            prefixTable[freeEnt] = static_cast<uint16_t>(oldCode);
            suffixTable[freeEnt] = static_cast<unsigned char>(finChar);
            ++freeEnt;
        }
        oldCode = inCode;
    }

    if (damaged) {
        endState = endDamaged;
        setStatus(statusIOError);
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
