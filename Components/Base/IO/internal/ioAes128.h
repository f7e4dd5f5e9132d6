#ifndef IO_INTERNAL_AES128_H
#define IO_INTERNAL_AES128_H

// The AES block cipher with a 128-bit key (FIPS-197). Blocks are 16 bytes in the byte order of
// the standard; the object holds the expanded keys of both directions. Where the processor has
// AES instructions (checked once per process) the CBC runs use them; everywhere else, and for
// single blocks, table-driven code gives the same bytes.

#include "qvBaseExport.h"

#include <cstdint>

namespace io {
namespace internal {

// Exported only for the tests, which run both paths; the header is not installed.
class QV_BASE_API Aes128 {
public:
    static constexpr int blockSize = 16;
    static constexpr int keySize = 16;

    explicit Aes128(const unsigned char key[keySize]);

    void encryptBlock(const unsigned char in[blockSize], unsigned char out[blockSize]) const;
    void decryptBlock(const unsigned char in[blockSize], unsigned char out[blockSize]) const;
    // Cipher block chaining over whole blocks: chain holds the enciphered block before the
    // first and is left holding the last. in and out may be the same area.
    void encryptCbc(unsigned char chain[blockSize], const unsigned char* in, unsigned char* out,
                    int blocks) const;
    void decryptCbc(unsigned char chain[blockSize], const unsigned char* in, unsigned char* out,
                    int blocks) const;

    // True when this object's CBC runs use the processor's AES instructions.
    bool usesHardware() const { return hardware; }
    // For tests: false makes the objects made from now on use the portable code only.
    static void allowHardware(bool allowed);

private:
    uint32_t encKeys[44];
    uint32_t decKeys[44];
    // The round keys of both directions as bytes, for the AES instructions; the decryption
    // keys are those of the equivalent inverse cipher, as the instructions expect.
    unsigned char hardwareKeys[2][11][blockSize];
    bool hardware;
};

// The processor's AES instructions (ioAes128Hardware.cpp); available() is false where the build
// or the processor has none, and the other calls are then never made.
namespace aesHardware {
QV_BASE_API bool available();
void encryptCbc(const unsigned char rounds[11][16], unsigned char chain[16], const unsigned char* in,
                unsigned char* out, int blocks);
void decryptCbc(const unsigned char rounds[11][16], unsigned char chain[16], const unsigned char* in,
                unsigned char* out, int blocks);
} // namespace aesHardware

} // namespace internal
} // namespace io

#endif
