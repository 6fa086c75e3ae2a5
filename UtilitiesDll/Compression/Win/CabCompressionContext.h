#pragma once
// CabCompressionContext: builds one cabinet in memory through the File
// Compression Interface (FCI) of Cabinet.dll. Windows only.
//
// Settings (chosen for CompressedBuffer data, which is small and read back
// whole):
//   - MSZIP compression (tcompTYPE_MSZIP): deflate blocks of at most 32K each,
//     read by every cabinet reader (Cabinet.dll, Wine, cabextract, gcab);
//   - one cabinet, no spanning: maximum cabinet size and folder threshold
//     are both CB_MAX_DISK (0x7FFFFFFF), so every file lands in one folder of
//     one cabinet and FCI never asks for a next cabinet;
//   - no reserved areas in header, folder or data blocks; set id 0x4855;
//   - stored files carry a fixed time stamp (1980-01-01 00:00) and no
//     attributes (or _A_NAME_IS_UTF for a name outside ASCII), so the same
//     input always gives the same cabinet.
// The cabinet, the files to store and FCI's temporary files are in-memory
// files of the CabContext base; the cabinet is named "hdu.cab" there.
//
// Failures throw: CPExceptionCabinetLibraryConstructionFailure when FCICreate
// fails, CPExceptionCompression for a failing FCIAddFile or FCIFlushCabinet.
// Their messages carry FCI's error name and text ("FCIERR_CAB_FILE (Could not
// create cabinet file)"), the C run-time error code and the failing file
// operation, if one caused it. The FCI context is destroyed with the object
// (or by FlushCabinet); after a failure the object can only be destroyed.

#include "Compression/CabContext.h"
#include "General/ByteBuffer.h"
#include "hdUtilitiesExport.h"

#include <memory>
#include <string>

class HDU_API CabCompressionContext : public CabContext {
 public:
  // The name of the cabinet among the in-memory files.
  static const char* GetCabinetName() noexcept;

  CabCompressionContext();
  ~CabCompressionContext() override;

  // Stores `contents` in the cabinet under `nameInCabinet` (at most 255
  // bytes, no path separators needed).
  void AddFile(const ByteBuffer& contents, const std::string& nameInCabinet);
  // Completes the cabinet, ends the FCI context and returns the cabinet's
  // bytes. Nothing can be added afterwards.
  ByteBuffer FlushCabinet();

  struct State;  // FCI's handle, error record and cabinet description

 private:
  [[noreturn]] void ThrowFciError(const char* functionLabel, const char* call) const;

  std::unique_ptr<State> m_state;
  unsigned int m_filesAdded = 0;
};
