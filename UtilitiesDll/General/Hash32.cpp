#include "General/Hash32.h"

#include "General/Crc32.h"

#include <bit>
#include <cstdint>

namespace {

std::uint32_t shiftAndFoldHash(const unsigned char* data, unsigned long length) {
  std::uint32_t h = 0;
  for (unsigned long i = 0; i < length; ++i) {
    h = (h << 4) + data[i];
    const std::uint32_t g = h & 0xF0000000u;
    if (g != 0) {
      h ^= g >> 24;
    }
    h &= ~g;
  }
  return h;
}

}  // namespace

unsigned long Hash32::GetHash32(const unsigned char* data, unsigned long length) {
  if (data == nullptr || length == 0) {
    return 0;
  }
  const auto crc = static_cast<std::uint32_t>(Crc32::GetCrc(data, length));
  const std::uint32_t hash = shiftAndFoldHash(data, length) ^ crc;
  return hash != 0 ? hash : 1;
}

unsigned long Hash32::GetHash32(const ByteBuffer& bytes) {
  return GetHash32(bytes.data(), static_cast<unsigned long>(bytes.size()));
}

unsigned long Hash32::GetHash32(const CXString& text) {
  if constexpr (std::endian::native == std::endian::little) {
    return GetHash32(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned long>(2 * text.size()));
  } else {
    return GetHash32(ByteBuffer::createByteBufferWithUtf16EncodedStringData(text));
  }
}

unsigned long Hash32::AddToHash32(unsigned long previous, const unsigned char* data, unsigned long length) {
  if (data == nullptr || length == 0) {
    return previous;
  }
  const std::uint32_t sum = static_cast<std::uint32_t>(previous) + static_cast<std::uint32_t>(GetHash32(data, length));
  return sum != 0 ? sum : 0xFFFFFFFFu;
}

unsigned short Hash32::GetHash16(const unsigned char* data, unsigned long length) {
  if (data == nullptr || length == 0) {
    return 0;
  }
  return Hash16FromHash32(GetHash32(data, length));
}

unsigned short Hash32::Hash16FromHash32(unsigned long hash) {
  return static_cast<unsigned short>((hash >> 16) + hash);
}
