#ifndef IO_METHOD_HELPERS_H
#define IO_METHOD_HELPERS_H

// The packet bytes of a file, and big-endian files made on this (little-endian) machine for
// the swapping readers.

#include "ioPacketFileBinary.h"
#include "ioTestHelpers.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace ioTest {

// What follows the header and the registry (each ends with an "@" line).
inline std::string packetsOf(const std::string& file)
{
    size_t header = file.find("\n@\n");
    size_t registry = header == std::string::npos ? header : file.find("\n@\n", header + 3);
    return registry == std::string::npos ? "" : file.substr(registry + 3);
}

inline std::string headOf(const std::string& file)
{
    return file.substr(0, file.size() - packetsOf(file).size());
}

inline std::string int32Bytes(int32_t value)
{
    return std::string(reinterpret_cast<const char*>(&value), 4);
}

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
// order, as a big-endian machine would. Packet heads are written by the buffer in this machine's
// order; bigEndianFile() turns them round afterwards.
template <class Base> class SwappingWriter : public Base {
public:
    using Base::Base;

    void writeShort(short v) override { Base::writeShort(byteReversed(v)); }
    void writeUShort(unsigned short v) override { Base::writeUShort(byteReversed(v)); }
    void writeInt(int v) override { Base::writeInt(byteReversed(v)); }
    void writeUInt(unsigned int v) override { Base::writeUInt(byteReversed(v)); }
    void writeInt64(int64_t v) override { Base::writeInt64(byteReversed(v)); }
    void writeUInt64(uint64_t v) override { Base::writeUInt64(byteReversed(v)); }
    void writeFloat(float v) override { Base::writeFloat(byteReversed(v)); }
    void writeDouble(double v) override { Base::writeDouble(byteReversed(v)); }
    void writeShortArray(const short* v, int n) override { Base::writeShortArray(reversed(v, n).data(), n); }
    void writeUShortArray(const unsigned short* v, int n) override { Base::writeUShortArray(reversed(v, n).data(), n); }
    void writeIntArray(const int* v, int n) override { Base::writeIntArray(reversed(v, n).data(), n); }
    void writeUIntArray(const unsigned int* v, int n) override { Base::writeUIntArray(reversed(v, n).data(), n); }
    void writeInt64Array(const int64_t* v, int n) override { Base::writeInt64Array(reversed(v, n).data(), n); }
    void writeUInt64Array(const uint64_t* v, int n) override { Base::writeUInt64Array(reversed(v, n).data(), n); }
    void writeFloatArray(const float* v, int n) override { Base::writeFloatArray(reversed(v, n).data(), n); }
    void writeDoubleArray(const double* v, int n) override { Base::writeDoubleArray(reversed(v, n).data(), n); }

private:
    template <typename T> static std::vector<T> reversed(const T* values, int count)
    {
        std::vector<T> out(values, values + (count > 0 ? count : 0));
        for (T& v : out)
            v = byteReversed(v);
        return out;
    }
};

// Completes a file written by a SwappingWriter: the header says "written big-endian" and every
// packet head (type id, hasObject, body length) is turned round.
inline std::string bigEndianFile(const std::string& file)
{
    std::string packets = packetsOf(file);
    std::string head = headOf(file);
    size_t flag = head.find("\n1 ", head.find('\n', 3));
    if (flag != std::string::npos)
        head[flag + 1] = '0';
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
