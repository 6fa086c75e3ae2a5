#pragma once
// Crc32: the standard CRC-32 of IEEE 802.3 (reflected polynomial 0xEDB88320),
// the checksum of zip, PNG and Ethernet. zlib's multi-byte implementation
// computes it; the two entry points keep the library's own conventions for
// the start value and for empty data, which differ from zlib's.
//
// Values are 32-bit; where unsigned long is wider, the high bits of a
// `previous` argument are ignored and results have them clear.

#include "hdUtilitiesExport.h"

class HDU_API Crc32 {
 public:
  // The CRC of the data: register starts at 0xFFFFFFFF, the complement of
  // the final register is returned. "123456789" gives 0xCBF43926. A length
  // of 0 (or null data) gives 0.
  static unsigned long GetCrc(const unsigned char* data, unsigned long length);
  // Continues from a register value as it stands (no inversion on entry) and
  // returns the complement of the final register; a length of 0 (or null
  // data) returns the complement of `previous`. So GetCrc(d, n, 0xFFFFFFFF)
  // equals GetCrc(d, n) for n > 0, and a CRC over two pieces is
  // GetCrc(b, m, ~GetCrc(a, n) & 0xFFFFFFFF).
  static unsigned long GetCrc(const unsigned char* data, unsigned long length, unsigned long previous);
};
