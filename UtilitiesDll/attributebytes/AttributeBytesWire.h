#pragma once
// Internal helpers of the attribute-bytes record format (not exported).
//
// Every field is written little-endian, byte by byte, exactly as ByteBuffer's
// factories write it, but appended in place so that a record is built in one
// buffer without temporaries. Reading goes through ByteBuffer's walkers.

#include "DebuggingAndExceptions/CPException.h"
#include "General/ByteBuffer.h"
#include "LowLevelFacilities/CXString.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace AttributeBytesWire {

// The four-character signatures of the persisted containers, as the
// little-endian 32-bit integers their bytes make.
enum : std::uint32_t {
  kRawListSignature = 0x4C524241u,      // "ABRL"
  kIndexedListSignature = 0x4C494241u,  // "ABIL"
  kNameSpacesSignature = 0x534E4241u,   // "ABNS"
};

// An id or value class's fixed payload size (its kFixedPayloadSize), 0 for a
// payload whose size varies.
template <class T>
constexpr unsigned fixedPayloadSizeOf() noexcept {
  if constexpr (requires { T::kFixedPayloadSize; }) {
    return T::kFixedPayloadSize;
  } else {
    return 0;
  }
}

inline void appendByte(ByteBuffer& out, unsigned char value) {
  out.push_back(value);
}

// Grows the buffer by `width` bytes and writes `value` there, least
// significant byte first. (Written through resize and the data pointer: GCC 12
// at -O3 warns wrongly about inserting small arrays into a vector.)
inline void appendLittleEndian(ByteBuffer& out, std::uint64_t value, unsigned width) {
  const std::size_t start = out.size();
  out.resize(start + width);
  unsigned char* destination = out.data() + start;
  for (unsigned i = 0; i < width; ++i) {
    destination[i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

inline void appendUInt16(ByteBuffer& out, std::uint16_t value) {
  appendLittleEndian(out, value, 2);
}

inline void appendUInt32(ByteBuffer& out, std::uint32_t value) {
  appendLittleEndian(out, value, 4);
}

inline void appendUInt64(ByteBuffer& out, std::uint64_t value) {
  appendLittleEndian(out, value, 8);
}

// A `long` field on the wire: its low 32 bits.
inline void appendLong32(ByteBuffer& out, long value) {
  appendUInt32(out, static_cast<std::uint32_t>(value));
}

// The counted string form of a record: a 16-bit count, then the units. Counts
// are read back as signed 16-bit values, so a text of more than 32,767 units
// could be written but never read again (and would take the records behind it
// along): such a text is refused here, before the record is written.
inline void appendCountedString(ByteBuffer& out, const CXString& text) {
  if (text.length() > 32767) {
    HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT("AttributeBytesWire::appendCountedString"),
              "A text of %u UTF-16 code units cannot be stored in attribute bytes: counted strings hold at most "
              "32,767.",
              static_cast<unsigned>(text.length()));
  }
  const auto count = static_cast<std::uint16_t>(text.length());
  appendUInt16(out, count);
  const char16_t* units = text.data();
  const std::size_t start = out.size();
  out.resize(start + std::size_t{2} * count);
  unsigned char* destination = out.data() + start;
  for (std::uint16_t i = 0; i < count; ++i) {
    *destination++ = static_cast<unsigned char>(units[i]);
    *destination++ = static_cast<unsigned char>(units[i] >> 8);
  }
}

inline void appendBytes(ByteBuffer& out, const unsigned char* data, std::size_t length) {
  if (length != 0) {
    const std::size_t start = out.size();
    out.resize(start + length);
    std::memcpy(out.data() + start, data, length);
  }
}

// A `long` as it travels: the low 32 bits, sign-extended. Values held in
// `long` fields are kept in this form so that what is written is what is
// held on every platform (long is 64 bits wide on Linux).
inline long toLong32(long value) noexcept {
  return static_cast<long>(static_cast<std::int32_t>(value));
}

// The remaining count handed to the walkers for a buffer (a buffer beyond
// 4 GiB is read as if it held 4 GiB - 1 bytes).
inline unsigned int remainingCountOf(std::size_t size) noexcept {
  return static_cast<unsigned int>(std::min<std::size_t>(size, UINT_MAX));
}

// ---- reading ----
// The fixed-width readers of the record format: ByteBuffer's walkers, with
// the common case (enough bytes) inline. When too few bytes remain they call
// the walker itself, which throws its own exception and consumes nothing.

inline unsigned char walkByte(const unsigned char*& cursor, unsigned int& remaining) {
  if (remaining < 1) [[unlikely]] {
    return ByteBuffer::WalkBufferToGetByte(cursor, remaining);
  }
  --remaining;
  return *cursor++;
}

inline bool walkBool(const unsigned char*& cursor, unsigned int& remaining) {
  return walkByte(cursor, remaining) != 0;
}

inline short walkShort(const unsigned char*& cursor, unsigned int& remaining) {
  if (remaining < 2) [[unlikely]] {
    return ByteBuffer::WalkBufferToGetShort(cursor, remaining);
  }
  const auto value = static_cast<std::int16_t>(cursor[0] | (cursor[1] << 8));
  cursor += 2;
  remaining -= 2;
  return value;
}

inline long walkLong(const unsigned char*& cursor, unsigned int& remaining) {
  if (remaining < 4) [[unlikely]] {
    return ByteBuffer::WalkBufferToGetLong(cursor, remaining);
  }
  const auto value = static_cast<std::int32_t>(
      static_cast<std::uint32_t>(cursor[0]) | (static_cast<std::uint32_t>(cursor[1]) << 8) |
      (static_cast<std::uint32_t>(cursor[2]) << 16) | (static_cast<std::uint32_t>(cursor[3]) << 24));
  cursor += 4;
  remaining -= 4;
  return value;
}

// Three-way comparison of byte runs: byte by byte, a shorter prefix first.
inline int compareBytes(const unsigned char* a, std::size_t aLength, const unsigned char* b,
                        std::size_t bLength) noexcept {
  const std::size_t common = std::min(aLength, bLength);
  const int result = common == 0 ? 0 : std::memcmp(a, b, common);
  if (result != 0) {
    return result < 0 ? -1 : 1;
  }
  return aLength < bLength ? -1 : (aLength > bLength ? 1 : 0);
}

}  // namespace AttributeBytesWire
