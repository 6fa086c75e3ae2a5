#pragma once
// ZlibCompressedBuffer: a CompressedBuffer whose compressed bytes are one zlib
// stream (RFC 1950: zlib header, deflate data, Adler-32), with the footer's
// format 1 and the compression level as its parameter.
//
// Two ways of (de)compressing, producing data the other reads:
//   CompressData / UncompressData      one call each (zlib's compress2 and
//                                      uncompress), on raw memory
//   CompressBuffer / UncompressBuffer  the streaming calls (deflateInit,
//                                      deflate, deflateEnd; inflateInit,
//                                      inflate, inflateEnd) on this object
//
// Failures:
//   a zlib call fails, or the output size differs from the footer's
//   original size, or that size is impossible    CPExceptionCompression
//   the footer is missing                        CPExceptionMissingOrBadCompressedBufferFooter
//   the data is not zlib data (and is not        CPExceptionIncompatibleCompressionFormat
//   converted)
// A zlib error is named with zlib's constant and its text, as in
// "Z_DATA_ERROR (incorrect header check)".
//
// Bounds on decompression. The footer is not trusted for memory: deflate can
// expand at most 1032 to 1 (a 258-byte match coded in 2 bits), so an original
// size above 1032 times the compressed size cannot be genuine and is refused
// before anything is allocated. Beyond that the one-call path allocates
// exactly the original size once; the streaming path grows its output only as
// data actually comes out. Neither reads outside the input.

#include "Compression/CompressedBuffer.h"
#include "hdUtilitiesExport.h"

class HDU_API ZlibCompressedBuffer : public CompressedBuffer {
 public:
  // The highest expansion deflate data can achieve (see above).
  enum : unsigned long { kMaximumExpansionRatio = 1032 };

  // Only a footer: original size 0, the given level (-1 is zlib's default,
  // otherwise 0 to 9; other values fail when compressing).
  explicit ZlibCompressedBuffer(int level = -1);
  // Takes over compressed data with its footer. Data in cabinet form is
  // converted (see ConvertCompressedDataToNativeFormat); the level is then
  // zlib's default. Throws for a missing footer or an unknown format; the
  // conversion's failures propagate as raised.
  explicit ZlibCompressedBuffer(const ByteBuffer& data);
  ZlibCompressedBuffer(const ZlibCompressedBuffer&) = default;
  ZlibCompressedBuffer(ZlibCompressedBuffer&&) noexcept = default;
  ZlibCompressedBuffer& operator=(const ZlibCompressedBuffer&) = default;
  ZlibCompressedBuffer& operator=(ZlibCompressedBuffer&&) noexcept = default;
  ~ZlibCompressedBuffer() override;

  int GetCompressionLevel() const noexcept { return GetFormatParameter(); }

  // ---- one call ----
  // Compresses `size` bytes at `data` with compress2 at `level` and replaces
  // `out` with the zlib stream followed by the footer (original size, level,
  // format 1). An empty input gives the footer alone. Inputs of 2^31 bytes or
  // more do not fit the footer and are refused.
  static void CompressData(const unsigned char* data, unsigned long size, ByteBuffer& out, const int& level);
  // Reads the footer of `compressed`, inflates the bytes before it with one
  // uncompress call into a buffer of exactly the original size and replaces
  // `out` with them.
  static void UncompressData(const ByteBuffer& compressed, ByteBuffer& out);
  // The same for bare zlib bytes and a known original size.
  static void UncompressData(const unsigned char* compressed, unsigned long compressedSize, long originalSize,
                             ByteBuffer& out);

  // ---- streaming, on this object ----
  // Replaces the contents with the deflated `original` at this object's level
  // and the footer.
  void CompressBuffer(const ByteBuffer& original) override;
  // Inflates this object's data into `original`.
  void UncompressBuffer(ByteBuffer& original) const override;
  // The streaming decompressor on bare zlib bytes and a known original size.
  static void UncompressStream(const unsigned char* compressed, unsigned long compressedSize, long originalSize,
                               ByteBuffer& out);

  // Cabinet data is unpacked through UtilitiesLibraryHost::
  // UncompressCabCompressedBufferIfSupported and compressed anew with
  // CompressData at this object's level. Where the platform has no cabinet
  // library CPExceptionNoSupportForTargetPlatform is raised. A failure is
  // reported with "Exception thrown while trying to convert the CAB data into
  // ZLIB format." and propagates as raised. Zlib data is left as it is.
  void ConvertCompressedDataToNativeFormat(CompressionFormatEnum format, int parameter, long originalSize,
                                           ByteBuffer& data, bool dataIncludesFooter) override;
};
