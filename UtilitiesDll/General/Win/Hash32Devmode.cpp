// The device-mode form of Hash32, which needs the Windows headers.

#include "General/Hash32.h"

#include <windows.h>

unsigned long Hash32::GetHash32(const _devicemodeW* devmode) {
  if (devmode == nullptr) {
    return 0;
  }
  const unsigned long extent = static_cast<unsigned long>(devmode->dmSize) + devmode->dmDriverExtra;
  return GetHash32(reinterpret_cast<const unsigned char*>(devmode), extent);
}
