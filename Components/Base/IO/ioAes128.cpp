#include "internal/ioAes128.h"

#include <atomic>
#include <cstring>

namespace io {
namespace internal {

namespace {

inline uint32_t rotr8(uint32_t w)
{
    return (w >> 8) | (w << 24);
}

inline uint32_t load32(const unsigned char* p)
{
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
           static_cast<uint32_t>(p[2]) << 8 | p[3];
}

inline void store32(unsigned char* p, uint32_t w)
{
    p[0] = static_cast<unsigned char>(w >> 24);
    p[1] = static_cast<unsigned char>(w >> 16);
    p[2] = static_cast<unsigned char>(w >> 8);
    p[3] = static_cast<unsigned char>(w);
}

// The S-boxes and the round tables that merge SubBytes, ShiftRows and MixColumns, computed once
// from the field arithmetic of the standard rather than typed in.
struct Tables {
    unsigned char sbox[256];
    unsigned char inverse[256];
    uint32_t te[4][256];
    uint32_t td[4][256];

    Tables()
    {
        // Powers and logarithms of the generator 3 in GF(2^8) modulo x^8 + x^4 + x^3 + x + 1.
        unsigned char power[255];
        unsigned char log[256] = {};
        unsigned x = 1;
        for (int i = 0; i < 255; ++i) {
            power[i] = static_cast<unsigned char>(x);
            log[x] = static_cast<unsigned char>(i);
            x ^= (x << 1) ^ ((x & 0x80) ? 0x11B : 0);
        }
        auto mul = [&](unsigned a, unsigned b) -> unsigned {
            return a && b ? power[(log[a] + log[b]) % 255] : 0;
        };
        for (unsigned v = 0; v < 256; ++v) {
            unsigned inv = v ? power[(255 - log[v]) % 255] : 0;
            unsigned s = inv;
            for (int r = 1; r <= 4; ++r)
                s ^= ((inv << r) | (inv >> (8 - r))) & 0xFF;
            s ^= 0x63;
            sbox[v] = static_cast<unsigned char>(s);
            inverse[s] = static_cast<unsigned char>(v);
        }
        for (unsigned v = 0; v < 256; ++v) {
            unsigned s = sbox[v];
            unsigned i = inverse[v];
            te[0][v] = mul(s, 2) << 24 | s << 16 | s << 8 | mul(s, 3);
            td[0][v] = mul(i, 14) << 24 | mul(i, 9) << 16 | mul(i, 13) << 8 | mul(i, 11);
            for (int t = 1; t < 4; ++t) {
                te[t][v] = rotr8(te[t - 1][v]);
                td[t][v] = rotr8(td[t - 1][v]);
            }
        }
    }
};

std::atomic<bool> hardwareAllowed{true};

const Tables& tables()
{
    static const Tables instance;
    return instance;
}

} // namespace

Aes128::Aes128(const unsigned char key[keySize])
{
    const Tables& t = tables();
    static const unsigned char rcon[10] = {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0x1B, 0x36};
    for (int i = 0; i < 4; ++i)
        encKeys[i] = load32(key + 4 * i);
    for (int i = 4; i < 44; ++i) {
        uint32_t w = encKeys[i - 1];
        if (i % 4 == 0) {
            w = static_cast<uint32_t>(t.sbox[(w >> 16) & 0xFF]) << 24 |
                static_cast<uint32_t>(t.sbox[(w >> 8) & 0xFF]) << 16 |
                static_cast<uint32_t>(t.sbox[w & 0xFF]) << 8 | t.sbox[w >> 24];
            w ^= static_cast<uint32_t>(rcon[i / 4 - 1]) << 24;
        }
        encKeys[i] = encKeys[i - 4] ^ w;
    }
    // The equivalent inverse cipher: round keys in reverse order, the inner ones passed through
    // InvMixColumns.
    for (int round = 0; round <= 10; ++round)
        for (int j = 0; j < 4; ++j)
            decKeys[4 * round + j] = encKeys[4 * (10 - round) + j];
    for (int i = 4; i < 40; ++i) {
        uint32_t w = decKeys[i];
        decKeys[i] = t.td[0][t.sbox[w >> 24]] ^ t.td[1][t.sbox[(w >> 16) & 0xFF]] ^
                     t.td[2][t.sbox[(w >> 8) & 0xFF]] ^ t.td[3][t.sbox[w & 0xFF]];
    }
    hardware = hardwareAllowed.load(std::memory_order_relaxed) && aesHardware::available();
    for (int round = 0; round <= 10; ++round) {
        for (int j = 0; j < 4; ++j) {
            store32(hardwareKeys[0][round] + 4 * j, encKeys[4 * round + j]);
            store32(hardwareKeys[1][round] + 4 * j, decKeys[4 * round + j]);
        }
    }
}

void Aes128::allowHardware(bool allowed)
{
    hardwareAllowed.store(allowed, std::memory_order_relaxed);
}

void Aes128::encryptCbc(unsigned char chain[blockSize], const unsigned char* in, unsigned char* out,
                        int blocks) const
{
    if (hardware) {
        aesHardware::encryptCbc(hardwareKeys[0], chain, in, out, blocks);
        return;
    }
    unsigned char block[blockSize];
    for (; blocks > 0; --blocks, in += blockSize, out += blockSize) {
        for (int i = 0; i < blockSize; ++i)
            block[i] = in[i] ^ chain[i];
        encryptBlock(block, out);
        std::memcpy(chain, out, blockSize);
    }
}

void Aes128::decryptCbc(unsigned char chain[blockSize], const unsigned char* in, unsigned char* out,
                        int blocks) const
{
    if (hardware) {
        aesHardware::decryptCbc(hardwareKeys[1], chain, in, out, blocks);
        return;
    }
    unsigned char block[blockSize];
    unsigned char enciphered[blockSize]; // in and out may be the same area
    for (; blocks > 0; --blocks, in += blockSize, out += blockSize) {
        std::memcpy(enciphered, in, blockSize);
        decryptBlock(enciphered, block);
        for (int i = 0; i < blockSize; ++i)
            out[i] = block[i] ^ chain[i];
        std::memcpy(chain, enciphered, blockSize);
    }
}

void Aes128::encryptBlock(const unsigned char in[blockSize], unsigned char out[blockSize]) const
{
    const Tables& t = tables();
    const uint32_t* rk = encKeys;
    uint32_t s0 = load32(in) ^ rk[0], s1 = load32(in + 4) ^ rk[1];
    uint32_t s2 = load32(in + 8) ^ rk[2], s3 = load32(in + 12) ^ rk[3];
    for (int round = 1; round < 10; ++round) {
        rk += 4;
        uint32_t t0 = t.te[0][s0 >> 24] ^ t.te[1][(s1 >> 16) & 0xFF] ^ t.te[2][(s2 >> 8) & 0xFF] ^
                      t.te[3][s3 & 0xFF] ^ rk[0];
        uint32_t t1 = t.te[0][s1 >> 24] ^ t.te[1][(s2 >> 16) & 0xFF] ^ t.te[2][(s3 >> 8) & 0xFF] ^
                      t.te[3][s0 & 0xFF] ^ rk[1];
        uint32_t t2 = t.te[0][s2 >> 24] ^ t.te[1][(s3 >> 16) & 0xFF] ^ t.te[2][(s0 >> 8) & 0xFF] ^
                      t.te[3][s1 & 0xFF] ^ rk[2];
        uint32_t t3 = t.te[0][s3 >> 24] ^ t.te[1][(s0 >> 16) & 0xFF] ^ t.te[2][(s1 >> 8) & 0xFF] ^
                      t.te[3][s2 & 0xFF] ^ rk[3];
        s0 = t0;
        s1 = t1;
        s2 = t2;
        s3 = t3;
    }
    rk += 4;
    const unsigned char* S = t.sbox;
    auto last = [S](uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t k) {
        return (static_cast<uint32_t>(S[a >> 24]) << 24 | static_cast<uint32_t>(S[(b >> 16) & 0xFF]) << 16 |
                static_cast<uint32_t>(S[(c >> 8) & 0xFF]) << 8 | S[d & 0xFF]) ^ k;
    };
    store32(out, last(s0, s1, s2, s3, rk[0]));
    store32(out + 4, last(s1, s2, s3, s0, rk[1]));
    store32(out + 8, last(s2, s3, s0, s1, rk[2]));
    store32(out + 12, last(s3, s0, s1, s2, rk[3]));
}

void Aes128::decryptBlock(const unsigned char in[blockSize], unsigned char out[blockSize]) const
{
    const Tables& t = tables();
    const uint32_t* rk = decKeys;
    uint32_t s0 = load32(in) ^ rk[0], s1 = load32(in + 4) ^ rk[1];
    uint32_t s2 = load32(in + 8) ^ rk[2], s3 = load32(in + 12) ^ rk[3];
    for (int round = 1; round < 10; ++round) {
        rk += 4;
        uint32_t t0 = t.td[0][s0 >> 24] ^ t.td[1][(s3 >> 16) & 0xFF] ^ t.td[2][(s2 >> 8) & 0xFF] ^
                      t.td[3][s1 & 0xFF] ^ rk[0];
        uint32_t t1 = t.td[0][s1 >> 24] ^ t.td[1][(s0 >> 16) & 0xFF] ^ t.td[2][(s3 >> 8) & 0xFF] ^
                      t.td[3][s2 & 0xFF] ^ rk[1];
        uint32_t t2 = t.td[0][s2 >> 24] ^ t.td[1][(s1 >> 16) & 0xFF] ^ t.td[2][(s0 >> 8) & 0xFF] ^
                      t.td[3][s3 & 0xFF] ^ rk[2];
        uint32_t t3 = t.td[0][s3 >> 24] ^ t.td[1][(s2 >> 16) & 0xFF] ^ t.td[2][(s1 >> 8) & 0xFF] ^
                      t.td[3][s0 & 0xFF] ^ rk[3];
        s0 = t0;
        s1 = t1;
        s2 = t2;
        s3 = t3;
    }
    rk += 4;
    const unsigned char* S = t.inverse;
    auto last = [S](uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t k) {
        return (static_cast<uint32_t>(S[a >> 24]) << 24 | static_cast<uint32_t>(S[(b >> 16) & 0xFF]) << 16 |
                static_cast<uint32_t>(S[(c >> 8) & 0xFF]) << 8 | S[d & 0xFF]) ^ k;
    };
    store32(out, last(s0, s3, s2, s1, rk[0]));
    store32(out + 4, last(s1, s0, s3, s2, rk[1]));
    store32(out + 8, last(s2, s1, s0, s3, rk[2]));
    store32(out + 12, last(s3, s2, s1, s0, rk[3]));
}

} // namespace internal
} // namespace io
