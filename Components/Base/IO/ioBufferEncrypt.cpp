#include "ioBufferEncrypt.h"

#include "internal/ioAes128.h"

#include <cstring>
#include <mutex>

using io::internal::Aes128;

namespace {

// Built into the library: it scrambles, it does not protect (see the header).
const unsigned char libraryKey[ioBufferEncrypt::keySize] = {
    0x71, 0x76, 0x42, 0x61, 0x73, 0x65, 0x20, 0x70, 0x61, 0x63, 0x6B, 0x65, 0x74, 0x20, 0x66, 0x31};

// The default key, changed by setKey() while other threads may be copying it.
unsigned char processKey[ioBufferEncrypt::keySize] = {
    0x71, 0x76, 0x42, 0x61, 0x73, 0x65, 0x20, 0x70, 0x61, 0x63, 0x6B, 0x65, 0x74, 0x20, 0x66, 0x31};
std::mutex processKeyLock;

const unsigned char markerLittleEndian = 1;
const unsigned char markerBigEndian = 0;

void swapWordsOf(unsigned char* block)
{
    for (int i = 0; i < 16; i += 4) {
        unsigned char a = block[i], b = block[i + 1];
        block[i] = block[i + 3];
        block[i + 1] = block[i + 2];
        block[i + 2] = b;
        block[i + 3] = a;
    }
}

} // namespace

ioBufferEncrypt::ioBufferEncrypt(bool input) : ioBufferEncrypt(input, nullptr) {}

ioBufferEncrypt::ioBufferEncrypt(bool input, const unsigned char* ownKey)
    : ioBuffer(input), cipher(nullptr), recordLength(0), recordPos(0), initialised(false),
      swapWords(false)
{
    std::memset(chain, 0, sizeof chain);
    if (ownKey) {
        std::memcpy(key, ownKey, keySize);
    } else {
        std::lock_guard<std::mutex> hold(processKeyLock);
        std::memcpy(key, processKey, keySize);
    }
    std::memset(record, 0, sizeof record);
}

ioBufferEncrypt::~ioBufferEncrypt()
{
    delete cipher;
}

void ioBufferEncrypt::setKey(const unsigned char* newKey)
{
    std::lock_guard<std::mutex> hold(processKeyLock);
    std::memcpy(processKey, newKey ? newKey : libraryKey, keySize);
}

int ioBufferEncrypt::type() const
{
    return typeEncrypt;
}

bool ioBufferEncrypt::initialise()
{
    if (initialised)
        return good();
    initialised = true;
    if (!next) {
        setStatus(statusIOError);
        return false;
    }
    cipher = new Aes128(key);
    if (!isInput) {
        next->writeBytes(&markerLittleEndian, 1);
        promoteStatus(true);
        return good();
    }
    unsigned char marker = 0;
    if (next->readBytes(&marker, 1) != 1) {
        promoteStatus(true);
        if (good())
            setStatus(statusIOError);
        return false;
    }
    if (marker != markerLittleEndian && marker != markerBigEndian) {
        setStatus(statusIOError);
        return false;
    }
    swapWords = marker == markerBigEndian;
    return true;
}

void ioBufferEncrypt::transformBlock(const unsigned char* in, unsigned char* out, bool decrypt) const
{
    if (!swapWords) {
        if (decrypt)
            cipher->decryptBlock(in, out);
        else
            cipher->encryptBlock(in, out);
        return;
    }
    unsigned char block[16];
    std::memcpy(block, in, 16);
    swapWordsOf(block);
    if (decrypt)
        cipher->decryptBlock(block, out);
    else
        cipher->encryptBlock(block, out);
    swapWordsOf(out);
}

void ioBufferEncrypt::encipher(const unsigned char* in, unsigned char* out, int length)
{
    unsigned char block[16];
    if (!swapWords) {
        const int blocks = length / 16;
        cipher->encryptCbc(chain, in, out, blocks);
        in += 16 * blocks;
        out += 16 * blocks;
        length -= 16 * blocks;
    }
    for (; length >= 16; length -= 16, in += 16, out += 16) {
        for (int i = 0; i < 16; ++i)
            block[i] = in[i] ^ chain[i];
        transformBlock(block, out, false);
        std::memcpy(chain, out, 16);
    }
    if (length > 0) {
        transformBlock(chain, block, false);
        for (int i = 0; i < length; ++i)
            out[i] = in[i] ^ block[i];
        std::memcpy(chain, block, 16);
    }
}

void ioBufferEncrypt::decipher(const unsigned char* in, unsigned char* out, int length)
{
    unsigned char block[16];
    unsigned char enciphered[16]; // in and out may be the same area
    if (!swapWords) {
        const int blocks = length / 16;
        cipher->decryptCbc(chain, in, out, blocks);
        in += 16 * blocks;
        out += 16 * blocks;
        length -= 16 * blocks;
    }
    for (; length >= 16; length -= 16, in += 16, out += 16) {
        std::memcpy(enciphered, in, 16);
        transformBlock(enciphered, block, true);
        for (int i = 0; i < 16; ++i)
            out[i] = block[i] ^ chain[i];
        std::memcpy(chain, enciphered, 16);
    }
    if (length > 0) {
        transformBlock(chain, block, false);
        for (int i = 0; i < length; ++i)
            out[i] = in[i] ^ block[i];
        std::memcpy(chain, block, 16);
    }
}

void ioBufferEncrypt::write(const char* data, int size)
{
    if (!good() || size < 1 || !initialise())
        return;
    const unsigned char* in = reinterpret_cast<const unsigned char*>(data);
    // Records are staged and handed down a data area at a time.
    unsigned char staged[dataSize + recordData + 1];
    int used = 0;
    while (size > 0 && good()) {
        int n = size < recordData ? size : recordData;
        staged[used] = static_cast<unsigned char>(n);
        encipher(in, staged + used + 1, n);
        used += n + 1;
        in += n;
        size -= n;
        if (used >= dataSize || size == 0) {
            next->writeBytes(staged, used);
            promoteStatus(true);
            used = 0;
        }
    }
}

void ioBufferEncrypt::finish()
{
    // A section that moved no data still holds its marker: write it, or consume it.
    if (!isInput)
        flush();
    initialise();
}

void ioBufferEncrypt::close()
{
    finish();
    closeBelow();
}

bool ioBufferEncrypt::fetchRecord()
{
    unsigned char length = 0;
    if (next->readBytes(&length, 1) != 1) {
        promoteStatus(true); // an end of file between records is an end of file
        return false;
    }
    if (next->readBytes(record, length) != length) {
        promoteStatus(false);
        if (good() || status() == statusEndOfFile)
            setStatus(statusIOError);
        return false;
    }
    decipher(record, record, length);
    recordLength = length;
    recordPos = 0;
    return true;
}

int ioBufferEncrypt::read(char* data, int size)
{
    if (!good() || size < 1 || !initialise())
        return 0;
    int done = 0;
    while (done < size) {
        if (recordPos >= recordLength) {
            // Past the first record, only records already whole in the area beneath: fetching
            // more could meet the end of the data or a damaged record, and a failure must not
            // come with bytes in hand.
            if (done > 0) {
                int available = 0;
                const char* below = next->unreadBytes(available);
                if (available < 1 || available < 1 + static_cast<unsigned char>(below[0]))
                    break;
            }
            if (!fetchRecord())
                break;
        }
        int n = recordLength - recordPos;
        if (n > size - done)
            n = size - done;
        std::memcpy(data + done, record + recordPos, static_cast<size_t>(n));
        recordPos += n;
        done += n;
    }
    return done;
}
