// AES-128 CBC runs with the x86 AES instructions. The functions carry their own target
// attribute, so the library as a whole is still built for the baseline processor; available()
// asks the processor once before any of them is called. Other processors and compilers get
// available() == false and the table-driven code.
#include "internal/ioAes128.h"

#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)

#include <cpuid.h>
#include <emmintrin.h>
#include <wmmintrin.h>

namespace io {
namespace internal {
namespace aesHardware {

namespace {

bool processorHasAes()
{
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx))
        return false;
    return (ecx & bit_AES) && (edx & bit_SSE2);
}

#define QV_AES_TARGET __attribute__((target("aes,sse2")))

QV_AES_TARGET inline __m128i load(const unsigned char* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

QV_AES_TARGET inline void store(unsigned char* p, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

} // namespace

bool available()
{
    static const bool has = processorHasAes();
    return has;
}

QV_AES_TARGET void encryptCbc(const unsigned char rounds[11][16], unsigned char chain[16],
                              const unsigned char* in, unsigned char* out, int blocks)
{
    __m128i k[11];
    for (int r = 0; r < 11; ++r)
        k[r] = load(rounds[r]);
    // Each block needs the one before: the chain is serial.
    __m128i x = load(chain);
    for (; blocks > 0; --blocks, in += 16, out += 16) {
        x = _mm_xor_si128(_mm_xor_si128(load(in), x), k[0]);
        for (int r = 1; r < 10; ++r)
            x = _mm_aesenc_si128(x, k[r]);
        x = _mm_aesenclast_si128(x, k[10]);
        store(out, x);
    }
    store(chain, x);
}

QV_AES_TARGET void decryptCbc(const unsigned char rounds[11][16], unsigned char chain[16],
                              const unsigned char* in, unsigned char* out, int blocks)
{
    __m128i k[11];
    for (int r = 0; r < 11; ++r)
        k[r] = load(rounds[r]);
    __m128i previous = load(chain);
    // Deciphering blocks does not depend on other blocks: four at a time keep the unit busy.
    for (; blocks >= 4; blocks -= 4, in += 64, out += 64) {
        const __m128i c0 = load(in), c1 = load(in + 16), c2 = load(in + 32), c3 = load(in + 48);
        __m128i x0 = _mm_xor_si128(c0, k[0]), x1 = _mm_xor_si128(c1, k[0]);
        __m128i x2 = _mm_xor_si128(c2, k[0]), x3 = _mm_xor_si128(c3, k[0]);
        for (int r = 1; r < 10; ++r) {
            x0 = _mm_aesdec_si128(x0, k[r]);
            x1 = _mm_aesdec_si128(x1, k[r]);
            x2 = _mm_aesdec_si128(x2, k[r]);
            x3 = _mm_aesdec_si128(x3, k[r]);
        }
        store(out, _mm_xor_si128(_mm_aesdeclast_si128(x0, k[10]), previous));
        store(out + 16, _mm_xor_si128(_mm_aesdeclast_si128(x1, k[10]), c0));
        store(out + 32, _mm_xor_si128(_mm_aesdeclast_si128(x2, k[10]), c1));
        store(out + 48, _mm_xor_si128(_mm_aesdeclast_si128(x3, k[10]), c2));
        previous = c3;
    }
    for (; blocks > 0; --blocks, in += 16, out += 16) {
        const __m128i c = load(in);
        __m128i x = _mm_xor_si128(c, k[0]);
        for (int r = 1; r < 10; ++r)
            x = _mm_aesdec_si128(x, k[r]);
        store(out, _mm_xor_si128(_mm_aesdeclast_si128(x, k[10]), previous));
        previous = c;
    }
    store(chain, previous);
}

} // namespace aesHardware
} // namespace internal
} // namespace io

#else

namespace io {
namespace internal {
namespace aesHardware {

bool available()
{
    return false;
}

void encryptCbc(const unsigned char (*)[16], unsigned char*, const unsigned char*, unsigned char*, int) {}

void decryptCbc(const unsigned char (*)[16], unsigned char*, const unsigned char*, unsigned char*, int) {}

} // namespace aesHardware
} // namespace internal
} // namespace io

#endif
