#pragma once
// The platform's cabinet codec, as CabCompressedBuffer uses it. Windows
// implements it over Cabinet.dll (FCI and FDI, Win/CabinetPlatform.cpp);
// elsewhere there is no cabinet library and every call but isSupported
// throws CPExceptionNoSupportForTargetPlatform (Posix/CabinetPlatform.cpp).
// Internal to the library: not exported.

#include "General/ByteBuffer.h"

namespace CabinetPlatform {

// The name under which the data is stored inside the cabinet.
constexpr const char* kNameOfFileInCabinet = "CompressedBuffer.dat";

bool isSupported() noexcept;

// Replaces `cabinet` with a complete cabinet holding the `size` bytes at
// `data` as its one file (MSZIP compression, one folder).
void compress(const unsigned char* data, unsigned long size, ByteBuffer& cabinet);

// Replaces `out` with the one file stored in the cabinet of `cabinetSize`
// bytes at `cabinet`. The file may be at most `maximumSize` bytes long: its
// output is refused beyond that, so a forged size cannot make it grow
// without bound. A cabinet holding no file or more than one fails.
void uncompress(const unsigned char* cabinet, unsigned long cabinetSize, unsigned long maximumSize, ByteBuffer& out);

}  // namespace CabinetPlatform
