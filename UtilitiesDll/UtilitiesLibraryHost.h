#pragma once
// UtilitiesLibraryHost: free functions through which the library's portable
// code reaches services that only the desktop (Windows) build can offer.
// Each has one implementation per platform; where a service does not exist
// the function says so through its result.

#include "General/ByteBuffer.h"
#include "hdUtilitiesExport.h"

namespace UtilitiesLibraryHost {

// Unpacks the data of a CabCompressedBuffer (cabinet bytes followed by the
// compressed-buffer footer) into `out`, replacing its contents, and returns
// true. Where the platform has no cabinet library (every platform but
// Windows) it returns false and leaves `out` untouched. Bad data throws as
// CabCompressedBuffer does (a missing footer, a corrupt cabinet, a size
// mismatch).
HDU_API bool UncompressCabCompressedBufferIfSupported(ByteBuffer& in, ByteBuffer& out);

}  // namespace UtilitiesLibraryHost
