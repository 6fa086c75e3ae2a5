#pragma once
// Hash32: a 32-bit hash of byte ranges (CRC-32 combined with the classic
// shift-and-fold string hash) and its 16-bit folding. Used for cache keys and
// change detection; never 0 for non-empty data, so 0 can mean "no data".

#include "General/ByteBuffer.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#if defined(_WIN32)
struct _devicemodeW;  // DEVMODEW, from the Windows headers
#endif

class HDU_API Hash32 {
 public:
  // 0 for null data or length 0. Otherwise E XOR C, where C is the CRC-32 of
  // the data (as Crc32::GetCrc) and E the shift-and-fold hash (h = (h << 4)
  // + byte; the top four bits, when set, are folded in at bit 4 and cleared);
  // a result of 0 is returned as 1.
  static unsigned long GetHash32(const unsigned char* data, unsigned long length);
  // The buffer's bytes.
  static unsigned long GetHash32(const ByteBuffer& bytes);
  // The string's UTF-16 code units as little-endian byte pairs, without a
  // terminator; 0 for an empty string.
  static unsigned long GetHash32(const CXString& text);
#if defined(_WIN32)
  // The device mode's public part and its driver-private part: the first
  // dmSize + dmDriverExtra bytes, the whole extent of a DEVMODEW as the
  // spooler stores it. 0 for null.
  static unsigned long GetHash32(const _devicemodeW* devmode);
#endif

  // previous + GetHash32(data) with 32-bit wrap-around; a sum of 0 becomes
  // 0xFFFFFFFF. Null or empty data returns `previous` unchanged.
  static unsigned long AddToHash32(unsigned long previous, const unsigned char* data, unsigned long length);

  // Hash16FromHash32(GetHash32(data)); 0 for null or empty data.
  static unsigned short GetHash16(const unsigned char* data, unsigned long length);
  // (hash >> 16) + hash, truncated to 16 bits.
  static unsigned short Hash16FromHash32(unsigned long hash);
};
