#ifndef IO_METHOD_HELPERS_H
#define IO_METHOD_HELPERS_H

// Files in the other byte order made on this machine, for the swapping readers.

#include "ioPacketFileBinary.h"
#include "ioTestHelpers.h"

namespace ioTest {

template <typename T> T byteReversed(T value)
{
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof bytes);
    for (size_t i = 0; i < sizeof(T) / 2; ++i)
        std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
    std::memcpy(&value, bytes, sizeof bytes);
    return value;
}

// A binary writer (plain or checking) that stores every multi-byte value in the other byte
// order, as a machine of the other byte order would. Packet heads are written by the buffer in
// this machine's order; otherOrderFile() turns them round afterwards.
template <class Base> class SwappingWriter : public Base {
public:
    using Base::Base;

#define IO_TEST_SWAPPED(Name, T)                                                                   \
    void write##Name(T v) override { Base::write##Name(byteReversed(v)); }                         \
    void write##Name##Array(const T* v, int n) override { Base::write##Name##Array(reversed(v, n).data(), n); }
    IO_TEST_SWAPPED(Short, short)
    IO_TEST_SWAPPED(UShort, unsigned short)
    IO_TEST_SWAPPED(Int, int)
    IO_TEST_SWAPPED(UInt, unsigned int)
    IO_TEST_SWAPPED(Int64, int64_t)
    IO_TEST_SWAPPED(UInt64, uint64_t)
    IO_TEST_SWAPPED(Float, float)
    IO_TEST_SWAPPED(Double, double)
#undef IO_TEST_SWAPPED

private:
    template <typename T> static std::vector<T> reversed(const T* values, int count)
    {
        std::vector<T> out(values, values + (count > 0 ? count : 0));
        for (T& v : out)
            v = byteReversed(v);
        return out;
    }
};

// Completes a file written by a SwappingWriter: the header names the other byte order and every
// packet head (type id, hasObject, body length) is turned round.
inline std::string otherOrderFile(const std::string& file)
{
    std::string packets = packetsOf(file);
    std::string head = headOf(file);
    size_t flag = head.find('\n', 3) + 1; // the flag opens the third line
    head[flag] = otherOrderFlag()[0];
    for (size_t at = 0; at + 12 <= packets.size();) {
        int32_t fields[3];
        std::memcpy(fields, packets.data() + at, 12);
        int32_t body = fields[2];
        for (int32_t& field : fields)
            field = byteReversed(field);
        std::memcpy(&packets[at], fields, 12);
        at += 12 + static_cast<size_t>(body);
    }
    return head + packets;
}

} // namespace ioTest

#endif
