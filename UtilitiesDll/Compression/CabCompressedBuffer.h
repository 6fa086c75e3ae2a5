#pragma once
// CabCompressedBuffer: a CompressedBuffer whose compressed bytes are a
// complete Windows cabinet, with the footer's format 2 and parameter -1.
//
// The cabinet holds one file, "CompressedBuffer.dat", compressed with MSZIP
// in one folder; it is built and read entirely in memory through the
// platform's cabinet interfaces (FCI and FDI of Cabinet.dll, see
// CabCompressionContext and CabDecompressionContext). Any tool that reads
// cabinets can list and extract it once the 13-byte footer is cut off.
//
// Platforms: the cabinet interfaces exist only on Windows. Elsewhere the
// class still carries cabinet data (construction and the footer work), but
// compressing, uncompressing and converting throw
// CPExceptionNoSupportForTargetPlatform; IsSupportedOnThisPlatform tells in
// advance. ZlibCompressedBuffer works everywhere.
//
// Zlib data handed to this class is converted (decompressed, then compressed
// into a cabinet) only when its original size is at most 32,767 bytes
// (0x7FFF, the 32K limit); larger Zlib data is refused with
// CPExceptionIncompatibleCompressionFormat. The limit is deliberate and
// applies only to that direction.
//
// An original size above the object's ceiling (see CompressedBuffer) is
// refused before the platform is asked. Decompression never lets the output
// grow beyond the footer's original size
// (the in-memory output file refuses longer writes), and exactly that many
// bytes must come out.

#include "Compression/CompressedBuffer.h"
#include "hdUtilitiesExport.h"

class HDU_API CabCompressedBuffer : public CompressedBuffer {
 public:
  enum : long { kMaximumZlibOriginalSizeForConversion = 0x7FFF };

  // Only a footer: original size 0, parameter -1, format 2.
  CabCompressedBuffer();
  // Take over compressed data with its footer; Zlib data is converted (see
  // ConvertCompressedDataToNativeFormat) and `converted` says whether that
  // happened. Throws for a missing footer or an unknown format; the
  // conversion's failures propagate as raised. On failure `converted` is
  // false.
  explicit CabCompressedBuffer(const ByteBuffer& data);
  CabCompressedBuffer(const ByteBuffer& data, bool& converted);
  CabCompressedBuffer(const CabCompressedBuffer&) = default;
  CabCompressedBuffer(CabCompressedBuffer&&) noexcept = default;
  CabCompressedBuffer& operator=(const CabCompressedBuffer&) = default;
  CabCompressedBuffer& operator=(CabCompressedBuffer&&) noexcept = default;
  ~CabCompressedBuffer() override;

  // Whether this platform has the cabinet interfaces (Windows only).
  static bool IsSupportedOnThisPlatform() noexcept;
  // The name of the one file inside the cabinet.
  static const char* GetNameOfFileInCabinet() noexcept;

  void CompressBuffer(const ByteBuffer& original) override;
  void UncompressBuffer(ByteBuffer& original) const override;

  // Zlib data of at most 32,767 original bytes is decompressed and compressed
  // anew into a cabinet. Above that CPExceptionIncompatibleCompressionFormat
  // "Compression data is in Zlib format and the original data size is %ld
  // bytes. Original data > 32K (%ld) bytes cannot be uncompressed by this
  // class." is raised. Any failure is reported with "Exception thrown while
  // trying to convert the ZLIB data into CAB format. ..." and propagates as
  // raised. Cabinet data is left as it is.
  void ConvertCompressedDataToNativeFormat(CompressionFormatEnum format, int parameter, long originalSize,
                                           ByteBuffer& data, bool dataIncludesFooter) override;

  // Compresses `size` bytes into a cabinet followed by the footer, replacing
  // `out`. An empty input gives the footer alone.
  static void CompressData(const unsigned char* data, unsigned long size, ByteBuffer& out);
};
