#include "qvOSByteOrder.h"

#include <algorithm>
#include <cstring>

namespace qvOS {

namespace {

template <typename T>
T reversed(T value)
{
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    std::reverse(bytes, bytes + sizeof(T));
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

template <typename T>
void reverseEach(T* values, unsigned int count)
{
    if (!values)
        return;
    // Last element first, as callers of the array form have always seen it.
    for (unsigned int i = count; i > 0; --i)
        values[i - 1] = reversed(values[i - 1]);
}

} // namespace

short swap(short value) { return reversed(value); }
int swap(int value) { return reversed(value); }
long swap(long value) { return reversed(value); }
float swap(float value) { return reversed(value); }
double swap(double value) { return reversed(value); }

void swap(short* values, unsigned int count) { reverseEach(values, count); }
void swap(int* values, unsigned int count) { reverseEach(values, count); }
void swap(long* values, unsigned int count) { reverseEach(values, count); }
void swap(float* values, unsigned int count) { reverseEach(values, count); }
void swap(double* values, unsigned int count) { reverseEach(values, count); }

int getBytesex()
{
    return hostIsLittleEndian ? 0 : 1;
}

} // namespace qvOS
