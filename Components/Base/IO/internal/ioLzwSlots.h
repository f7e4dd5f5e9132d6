#ifndef IO_INTERNAL_LZWSLOTS_H
#define IO_INTERNAL_LZWSLOTS_H

// Where the LZW coder's output table keeps a key. The table has 2^17 slots of 32 bits, at most
// half full, probed linearly, so that a search mostly stays in one cache line and the table in a
// core's second-level cache. A key (prefix code shifted left 8, plus the byte: 24 bits) is
// multiplied by an odd constant modulo 2^24, which is one-to-one: the upper 17 bits of the
// product pick the home slot, the lower 7 bits (the quotient) are kept in the slot. A slot holds
// the code in its upper 16 bits and, below, the quotient and the distance from the home slot plus
// one, so home slot and quotient give back the whole key and one compare decides a match. Empty
// slots are 0. A key whose distance would not fit goes to a spill table instead. The bytes the
// coder writes do not depend on any of this.

#include <cstdint>

namespace io {
namespace internal {

constexpr int lzwSlotBits = 17;
constexpr uint32_t lzwSlotCount = 1u << lzwSlotBits;
constexpr uint32_t lzwSlotMask = lzwSlotCount - 1;
constexpr int lzwQuotientBits = 24 - lzwSlotBits;
constexpr uint32_t lzwQuotientMask = (1u << lzwQuotientBits) - 1;
// The distance field below the quotient: 1 to 511 for distances 0 to 510.
constexpr int lzwDistanceBits = 16 - lzwQuotientBits;
constexpr uint32_t lzwDistanceMask = (1u << lzwDistanceBits) - 1;
constexpr uint32_t lzwSlotMultiplier = 0x9E3779B1u;

// The mix of a key given shifted left 8 (prefix code in the upper 16 bits, byte below it): the
// mix modulo 2^24, shifted left 8, so that no mask is needed.
inline uint32_t lzwMixShifted(uint32_t shiftedKey)
{
    return shiftedKey * lzwSlotMultiplier;
}

inline uint32_t lzwSlotOfMix(uint32_t mixed)
{
    return mixed >> (32 - lzwSlotBits);
}

// The low 16 bits of the slot that holds the key at its home slot.
inline uint32_t lzwTagOfMix(uint32_t mixed)
{
    return (mixed >> 8 & lzwQuotientMask) << lzwDistanceBits | 1;
}

inline uint32_t lzwHomeSlot(uint32_t key)
{
    return lzwSlotOfMix(lzwMixShifted(key << 8));
}

} // namespace internal
} // namespace io

#endif
