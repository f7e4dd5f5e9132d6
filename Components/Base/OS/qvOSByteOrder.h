#ifndef QVOS_BYTEORDER_H
#define QVOS_BYTEORDER_H

#include "qvBaseExport.h"

namespace qvOS {

// The value with its bytes in reverse order.
QV_BASE_API short swap(short value);
QV_BASE_API int swap(int value);
QV_BASE_API long swap(long value);
QV_BASE_API float swap(float value);
QV_BASE_API double swap(double value);

// Reverses the bytes of each of count values in place (nothing for 0 or a null array).
QV_BASE_API void swap(short* values, unsigned int count);
QV_BASE_API void swap(int* values, unsigned int count);
QV_BASE_API void swap(long* values, unsigned int count);
QV_BASE_API void swap(float* values, unsigned int count);
QV_BASE_API void swap(double* values, unsigned int count);

// Whether the target of this build stores the least significant byte first: a property of the
// build, fixed at compile time. Windows targets are all little-endian.
#if defined(__BYTE_ORDER__) && defined(__ORDER_BIG_ENDIAN__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
constexpr bool hostIsLittleEndian = false;
#else
constexpr bool hostIsLittleEndian = true;
#endif

// The byte-order code of this platform: 0 little-endian, 1 big-endian.
QV_BASE_API int getBytesex();

} // namespace qvOS

#endif
