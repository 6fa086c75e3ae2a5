#pragma once
// PersistentHash: a string hash that stays the same across runs, processes,
// platforms and library versions, and that the driver's managed (.NET) code
// computes identically (string.GetHashCode is randomised per process and so
// cannot be stored).
//
// The algorithm is 32-bit FNV-1a over the string's UTF-16 code units, each
// taken as two bytes, low byte first; the result is written as eight
// upper-case hex digits. The managed counterpart, exactly:
//
//   static string ComputePersistentHash(string text)
//   {
//       uint hash = 2166136261;
//       foreach (char c in text)
//       {
//           hash = unchecked((hash ^ (byte)c) * 16777619);
//           hash = unchecked((hash ^ (byte)(c >> 8)) * 16777619);
//       }
//       return hash.ToString("X8");
//   }
//
// An empty string gives "811C9DC5"; "a" gives "2B24D044".

#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

class HDU_API PersistentHash {
 public:
  static CXString ComputeCSharpCompatiblePersistentHash(const CXString& text);
  // The same hash as a number.
  static unsigned long ComputePersistentHashValue(const CXString& text);
};
