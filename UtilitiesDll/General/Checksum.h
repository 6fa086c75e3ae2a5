#pragma once
// Checksum: the 16-bit ones'-complement checksum of the library's records.

#include "hdUtilitiesExport.h"

class HDU_API Checksum {
 public:
  // Sums the 16-bit little-endian words of byte pairs (i, i + 1) for
  // i = 0, 2, 4, ... below the length in 32 bits; for an odd length adds
  // once more the byte at index length + 1; adds the length; folds the carries
  // above 16 bits back in until none are left; returns the ones' complement.
  //
  // For an odd length this reads the two bytes just behind the data (the
  // high half of the last pair, then the byte after it). That is the
  // checksum's established arithmetic, kept so that stored checksums still
  // match: hand odd-length data only where those two bytes are readable. An
  // even length reads only the data. Null data counts as no bytes (0xFFFF).
  static unsigned short GetChecksum(const unsigned char* data, unsigned long length);
};
