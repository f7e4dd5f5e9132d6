#ifndef IO_INTERNAL_AES128_H
#define IO_INTERNAL_AES128_H

// The AES block cipher with a 128-bit key (FIPS-197), table driven. Blocks are 16 bytes in the
// byte order of the standard; the object holds the expanded keys of both directions.

#include <cstdint>

namespace io {
namespace internal {

class Aes128 {
public:
    static constexpr int blockSize = 16;
    static constexpr int keySize = 16;

    explicit Aes128(const unsigned char key[keySize]);

    void encryptBlock(const unsigned char in[blockSize], unsigned char out[blockSize]) const;
    void decryptBlock(const unsigned char in[blockSize], unsigned char out[blockSize]) const;

private:
    uint32_t encKeys[44];
    uint32_t decKeys[44];
};

} // namespace internal
} // namespace io

#endif
