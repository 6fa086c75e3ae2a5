#pragma once
// GUID: the 16-byte class and interface identifier. On Windows it is the
// system's own structure (guiddef.h); elsewhere a structure of the same
// layout, so that portable code (class identifiers of filters, for example)
// is written once.

#if defined(_WIN32)
#include <guiddef.h>
#else
#include <cstdint>

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  unsigned char Data4[8];
};
#endif

// Field-by-field equality, the same on every platform.
inline bool AreGuidsEqual(const GUID& a, const GUID& b) noexcept {
  if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) {
    return false;
  }
  for (int i = 0; i < 8; ++i) {
    if (a.Data4[i] != b.Data4[i]) {
      return false;
    }
  }
  return true;
}
