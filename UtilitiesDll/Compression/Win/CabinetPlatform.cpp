// The cabinet codec over Cabinet.dll: FCI builds the cabinet, FDI reads it,
// both entirely in memory (see CabCompressionContext and
// CabDecompressionContext).

#include "Compression/CabinetPlatform.h"

#include "Compression/CabCompressedBuffer.h"
#include "Compression/Win/CabCompressionContext.h"
#include "Compression/Win/CabDecompressionContext.h"
#include "DebuggingAndExceptions/CPException.h"
#include "UtilitiesLibraryHost.h"

#include <utility>

bool CabinetPlatform::isSupported() noexcept {
  return true;
}

void CabinetPlatform::compress(const unsigned char* data, unsigned long size, ByteBuffer& cabinet) {
  CabCompressionContext context;
  context.AddFile(ByteBuffer(data, size), kNameOfFileInCabinet);
  cabinet = context.FlushCabinet();
}

void CabinetPlatform::uncompress(const unsigned char* cabinet, unsigned long cabinetSize, unsigned long maximumSize,
                                 ByteBuffer& out) {
  CabDecompressionContext context;
  auto files = context.ExtractFiles(ByteBuffer(cabinet, cabinetSize), maximumSize);
  if (files.size() != 1) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("CabinetPlatform::uncompress"),
              "The cabinet holds %u files; the cabinet of a CabCompressedBuffer holds exactly one.",
              static_cast<unsigned int>(files.size()));
  }
  out = std::move(files.front().contents);
}

bool UtilitiesLibraryHost::UncompressCabCompressedBufferIfSupported(ByteBuffer& in, ByteBuffer& out) {
  const CabCompressedBuffer buffer(in);
  ByteBuffer result;
  buffer.UncompressBuffer(result);
  out = std::move(result);
  return true;
}
