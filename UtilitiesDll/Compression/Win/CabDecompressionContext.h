#pragma once
// CabDecompressionContext: reads a cabinet held in memory through the File
// Decompression Interface (FDI) of Cabinet.dll. Windows only.
//
// The cabinet is an in-memory file of the CabContext base ("hdu.cab"); each
// file FDI extracts is written into another in-memory file whose size is
// limited twice: to the size the cabinet declares for it, and to what is left
// of the caller's budget. A file declaring more than the budget is refused
// before anything is written (FDI then reports FDIERROR_USER_ABORT); a file
// that comes out longer than declared fails the write (FDIERROR_TARGET_FILE).
// So a forged cabinet cannot make the output grow beyond the budget.
//
// FDI's file callbacks carry no context pointer; while an FDI call runs, the
// context is found through a per-thread pointer, so contexts on different
// threads do not disturb each other.
//
// Failures throw: CPExceptionCabinetLibraryConstructionFailure when FDICreate
// fails, CPExceptionCompression when FDICopy fails. The messages carry FDI's
// error name and text ("FDIERROR_NOT_A_CABINET (Cabinet file does not have
// the correct format)", "FDIERROR_CORRUPT_CABINET (Cabinet file is
// corrupt)"), the C run-time error code and the failing file operation, if
// one caused it.

#include "Compression/CabContext.h"
#include "General/ByteBuffer.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class HDU_API CabDecompressionContext : public CabContext {
 public:
  struct ExtractedFile {
    std::string name;  // as stored in the cabinet
    ByteBuffer contents;
  };

  // The name of the cabinet among the in-memory files.
  static const char* GetCabinetName() noexcept;

  CabDecompressionContext();
  ~CabDecompressionContext() override;

  // Whether FDI recognises `cabinet` as a cabinet; if so, `fileCount` is the
  // number of files it declares.
  bool IsCabinet(const ByteBuffer& cabinet, unsigned int& fileCount);

  // Every file of `cabinet`, in cabinet order. Their sizes together may be at
  // most `maximumTotalSize` bytes.
  std::vector<ExtractedFile> ExtractFiles(const ByteBuffer& cabinet, std::size_t maximumTotalSize);

  struct State;  // FDI's handle, error record and the extraction in progress

 private:
  std::unique_ptr<State> m_state;
};
