#include "General/Checksum.h"

#include <cstdint>

unsigned short Checksum::GetChecksum(const unsigned char* data, unsigned long length) {
  if (data == nullptr) {
    length = 0;
  }
  std::uint32_t sum = 0;
  for (unsigned long i = 0; i < length; i += 2) {
    sum += static_cast<std::uint32_t>(data[i]) | (static_cast<std::uint32_t>(data[i + 1]) << 8);
  }
  if (length % 2 != 0) {
    sum += data[length + 1];
  }
  sum += static_cast<std::uint32_t>(length);
  while ((sum >> 16) != 0) {
    sum = (sum & 0xFFFFu) + (sum >> 16);
  }
  return static_cast<unsigned short>(~sum);
}
