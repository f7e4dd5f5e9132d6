#ifndef IOBUFFERENCRYPT_H
#define IOBUFFERENCRYPT_H

#include "qvBaseExport.h"
#include "ioBuffer.h"

namespace io {
namespace internal {
class Aes128;
}
} // namespace io

// Encryption filter (pushed by ioBufferedStream::encrypt(true)). The section starts with one
// marker byte (1: the writer's 32-bit words were little-endian; 0: big-endian, the reader swaps
// each word around the cipher), then records of one length byte and up to 255 enciphered bytes.
// The cipher is AES-128: whole 16-byte blocks are chained (CBC, starting from a zero block), a
// shorter tail is combined with the enciphered chain block, so any length round-trips.
//
// Keys: without a key of its own every filter uses a key built into the library, which anyone
// holding the library can read: the data is then only scrambled, not protected. A host that
// needs secrecy gives each stream its key (ioBufferedStream::encrypt(true, key)) or sets a
// process default with setKey(), on both sides.
// Even then there is no per-file nonce and no authentication: equal files under one key give
// equal bytes, and a changed byte is not detected (push a checksum filter beneath for damage,
// not for tampering).
class QV_BASE_API ioBufferEncrypt : public ioBuffer {
public:
    static constexpr int keySize = 16;

    explicit ioBufferEncrypt(bool isInput);
    // A filter with its own 16-byte key; null takes the process default.
    ioBufferEncrypt(bool isInput, const unsigned char* key);
    ~ioBufferEncrypt() override;

    // The default key of the filters constructed from now on, in this process; null restores
    // the library's built-in key. Safe while other threads construct filters: each takes a
    // whole key, the old or the new.
    static void setKey(const unsigned char* key);

    // Output: writes the pending area (and the marker, when nothing was written yet). Input:
    // reads the marker when nothing was read yet, so an empty section pops cleanly.
    void finish() override;
    int type() const override;
    // finish(), then close the buffer beneath.
    void close() override;
    int read(char* data, int size) override;
    void write(const char* data, int size) override;

    // Bytes of data per record written (a whole number of cipher blocks).
    static constexpr int recordData = 240;

private:
    bool initialise();
    bool fetchRecord();
    void transformBlock(const unsigned char* in, unsigned char* out, bool decrypt) const;
    void encipher(const unsigned char* in, unsigned char* out, int length);
    void decipher(const unsigned char* in, unsigned char* out, int length);

    io::internal::Aes128* cipher;
    unsigned char chain[16];
    unsigned char key[keySize];
    // Input: the current record.
    unsigned char record[255];
    int recordLength;
    int recordPos;
    bool initialised;
    bool swapWords;
};

#endif
