// Platforms without a cabinet library: cabinet data can be carried (a
// CabCompressedBuffer can be built from it and its footer read) but neither
// compressed nor uncompressed. Zlib data is unaffected.

#include "Compression/CabinetPlatform.h"

#include "DebuggingAndExceptions/CPException.h"
#include "UtilitiesLibraryHost.h"

namespace {

constexpr const char* kNoCabinetLibraryMessage =
    "CAB compression is not supported on this platform: the cabinet library (Cabinet.dll with its FCI and FDI "
    "interfaces) exists only on Windows. Use Zlib compression instead.";

}  // namespace

bool CabinetPlatform::isSupported() noexcept {
  return false;
}

void CabinetPlatform::compress(const unsigned char* /*data*/, unsigned long /*size*/, ByteBuffer& /*cabinet*/) {
  HDU_THROW(CPExceptionNoSupportForTargetPlatform, HDU_DEBUG_CONTEXT("CabinetPlatform::compress"),
            kNoCabinetLibraryMessage);
}

void CabinetPlatform::uncompress(const unsigned char* /*cabinet*/, unsigned long /*cabinetSize*/,
                                 unsigned long /*maximumSize*/, ByteBuffer& /*out*/) {
  HDU_THROW(CPExceptionNoSupportForTargetPlatform, HDU_DEBUG_CONTEXT("CabinetPlatform::uncompress"),
            kNoCabinetLibraryMessage);
}

bool UtilitiesLibraryHost::UncompressCabCompressedBufferIfSupported(ByteBuffer& /*in*/, ByteBuffer& /*out*/) {
  return false;
}
