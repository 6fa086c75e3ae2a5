#pragma once
// Sixteen bytes (or UTF-16 units) at a time for the ASCII runs of the string
// conversions and comparisons. Written with the compiler's generic vector
// types (GCC and Clang), which become SSE2 instructions on x86-64 and plain
// word operations where no vector unit is assumed (32-bit x86). Internal to
// the library.

#include <bit>
#include <cstdint>
#include <cstring>

namespace InternalHaldenCP::AsciiBlocks {

using Bytes16 = signed char __attribute__((vector_size(16)));
using Units8 = std::uint16_t __attribute__((vector_size(16)));
using Units16 = std::uint16_t __attribute__((vector_size(32)));
using Units32x16 = std::uint32_t __attribute__((vector_size(64)));
using UnsignedBytes16 = unsigned char __attribute__((vector_size(16)));
using UnsignedBytes8 = unsigned char __attribute__((vector_size(8)));
using Halves = std::uint64_t __attribute__((vector_size(16)));

// Vectors go by reference and come back through references: passed by value
// they would change the calling convention where SSE is not assumed.
inline void loadBytes(Bytes16& v, const void* bytes) noexcept {
  std::memcpy(&v, bytes, sizeof v);
}

inline void loadUnits(Units8& v, const void* units) noexcept {
  std::memcpy(&v, units, sizeof v);
}

inline bool anyBitSet(const Bytes16& v) noexcept {
  const Halves halves = __builtin_bit_cast(Halves, v);
  return (halves[0] | halves[1]) != 0;
}

inline bool anyBitSet(const Units8& v) noexcept {
  const Halves halves = __builtin_bit_cast(Halves, v);
  return (halves[0] | halves[1]) != 0;
}

// Whether any of the bytes is 0x80 or above.
inline bool hasNonAscii(const Bytes16& v) noexcept {
  const Bytes16 high = v & static_cast<signed char>(0x80);
  return anyBitSet(high);
}

// Whether all sixteen units are below 0x80.
inline bool unitsAreAscii(const Units8& low, const Units8& high) noexcept {
  const Units8 above = (low | high) & 0xFF80;
  return !anyBitSet(above);
}

// Sets bits in `unequal` in the bytes where the two blocks differ other than
// in the case of an ASCII letter (bytes that differ only in bit 0x20 and are
// letters).
inline void accumulateCaseInsensitiveDifference(const Bytes16& a, const Bytes16& b, Bytes16& unequal) noexcept {
  const Bytes16 difference = a ^ b;
  const Bytes16 folded = a | 0x20;
  const Bytes16 aboveZ = Bytes16{} + static_cast<signed char>('z' + 1);
  const Bytes16 isLetter = (folded > 'a' - 1) & (aboveZ > folded);
  const Bytes16 onlyCase = (difference == 0x20) & isLetter;
  unequal |= difference & ~onlyCase;
}

// Sixteen ASCII bytes to sixteen UTF-16 or UTF-32 units (or sixteen UTF-16
// units below 0x80 to bytes), stored unaligned.
template <class Unit>
inline void widenAsciiBlock(const char* bytes, Unit* units) noexcept {
  static_assert(sizeof(Unit) == 2 || sizeof(Unit) == 4);
  UnsignedBytes16 v;
  std::memcpy(&v, bytes, sizeof v);
  if constexpr (sizeof(Unit) == 2) {
    const Units16 wide = __builtin_convertvector(v, Units16);
    std::memcpy(units, &wide, sizeof wide);
  } else {
    const Units32x16 wide = __builtin_convertvector(v, Units32x16);
    std::memcpy(units, &wide, sizeof wide);
  }
}

inline void narrowAsciiBlock(const Units8& low, const Units8& high, char* bytes) noexcept {
  const UnsignedBytes8 narrowLow = __builtin_convertvector(low, UnsignedBytes8);
  const UnsignedBytes8 narrowHigh = __builtin_convertvector(high, UnsignedBytes8);
  std::memcpy(bytes, &narrowLow, sizeof narrowLow);
  std::memcpy(bytes + 8, &narrowHigh, sizeof narrowHigh);
}

}  // namespace InternalHaldenCP::AsciiBlocks
