#include "General/Crc32.h"

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

// zlib's crc32 in its own convention (it complements on entry and on exit),
// fed in pieces that fit its 32-bit length.
std::uint32_t zlibCrc(std::uint32_t crc, const unsigned char* data, std::size_t length) {
  constexpr std::size_t kPiece = std::size_t{1} << 30;
  while (length != 0) {
    const std::size_t piece = std::min(length, kPiece);
    crc = static_cast<std::uint32_t>(::crc32(crc, data, static_cast<uInt>(piece)));
    data += piece;
    length -= piece;
  }
  return crc;
}

}  // namespace

unsigned long Crc32::GetCrc(const unsigned char* data, unsigned long length) {
  if (data == nullptr || length == 0) {
    return 0;
  }
  // zlib's start value 0 is the register 0xFFFFFFFF, and it returns the
  // complemented register: exactly this form's convention.
  return zlibCrc(0, data, length);
}

unsigned long Crc32::GetCrc(const unsigned char* data, unsigned long length, unsigned long previous) {
  const auto startRegister = static_cast<std::uint32_t>(previous);
  if (data == nullptr || length == 0) {
    return static_cast<std::uint32_t>(~startRegister);
  }
  // zlib complements its argument to get the register, so handing it the
  // complement starts the register at `previous` itself.
  return zlibCrc(~startRegister, data, length);
}
