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

// The byte-order code of this platform: 0, little-endian.
QV_BASE_API int getBytesex();

} // namespace qvOS

#endif
