#pragma once
// UtilitiesLibraryHost: free functions through which the library's portable
// code reaches services that only the desktop (Windows) build can offer.
// Each has one implementation per platform; where a service does not exist
// the function says so through its result. Each lives beside the code it
// serves: the cabinet service with the cabinet codec
// (Compression/Win/CabinetPlatform.cpp, and Compression/Posix/CabinetPlatform.cpp,
// which answers false), the application name in DesktopUtilitiesLibraryHost.cpp,
// and the COM helpers, which exist only on Windows, in
// Win/UtilitiesLibraryHostCom.h. Creating the platform's XML parser
// (CreateMicrosoftXmlParser) belongs to the XML wrappers, which this library
// does not build.

#include "General/ByteBuffer.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

namespace UtilitiesLibraryHost {

// Unpacks the data of a CabCompressedBuffer (cabinet bytes followed by the
// compressed-buffer footer) into `out`, replacing its contents, and returns
// true. Where the platform has no cabinet library (every platform but
// Windows) it returns false and leaves `out` untouched. Bad data throws as
// CabCompressedBuffer does (a missing footer, a corrupt cabinet, a size
// mismatch).
HDU_API bool UncompressCabCompressedBufferIfSupported(ByteBuffer& in, ByteBuffer& out);

// The calling application's file name without folder, extension and spaces
// ("Printer Settings.exe" gives "PrinterSettings"); empty when it cannot be read.
HDU_API CXString TryGetCallingApplicationFilenameWithoutExtensionOrSpaces();

}  // namespace UtilitiesLibraryHost
