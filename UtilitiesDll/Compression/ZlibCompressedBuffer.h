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
// Bounds on decompression. The footer is not trusted for memory or for work:
//  - deflate can expand at most 1032 to 1 (a 258-byte match coded in 2 bits),
//    so an original size above 1032 times the compressed size cannot be
//    genuine; it is refused before anything is allocated, as is an original
//    size above the reader's ceiling (see CompressedBuffer);
//  - the output buffer is reserved at the original size (address space only)
//    and filled chunk by chunk as data comes out, so a footer that claims
//    more than the stream holds costs no memory it does not fill;
//  - inflation stops soon after the output passes the original size: at
//    most as many bytes again as the original size (and at least
//    kMinimumSizeCountingAllowance) are counted beyond it, not kept, to name
//    the true size; a stream that goes on past that is refused with "(at
//    least N)" in place of the size, N being the bytes seen. The work is
//    bounded by twice the original size, never by what the stream would give.
// Neither path reads outside the input. InflateClaimedSize is the one
// inflation routine the library's readers share.

#include "Compression/CompressedBuffer.h"
#include "hdUtilitiesExport.h"

#include <cstddef>

class HDU_API ZlibCompressedBuffer : public CompressedBuffer {
 public:
  // The highest expansion deflate data can achieve (see above).
  enum : unsigned long { kMaximumExpansionRatio = 1032 };
  // How far past the original size output is counted, at least, to name the
  // true size (see above).
  enum : unsigned long { kMinimumSizeCountingAllowance = 16UL * 1024 };

  // What InflateClaimedSize found.
  struct InflationResult {
    // Exactly the original size came out, and the stream ended there.
    bool sizeMatches = false;
    // The bytes that came out: the stream's whole output, or, when
    // sizeIsLowerBound, the bytes seen before inflation stopped.
    unsigned long long size = 0;
    bool sizeIsLowerBound = false;
  };

  // Only a footer: original size 0, the given level (-1 is zlib's default,
  // otherwise 0 to 9; other values fail when compressing).
  explicit ZlibCompressedBuffer(int level = -1);
  // Takes over compressed data with its footer. Data in cabinet form is
  // converted (see ConvertCompressedDataToNativeFormat, with the default
  // ceiling); the level is then
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
  // Reads the footer of `compressed`, inflates the bytes before it into a
  // buffer of exactly the original size and replaces `out` with them. An
  // original size above `maximumOriginalSize` is refused first.
  static void UncompressData(const ByteBuffer& compressed, ByteBuffer& out,
                             unsigned long maximumOriginalSize = kDefaultMaximumOriginalSize);
  // The same for bare zlib bytes and a known original size.
  static void UncompressData(const unsigned char* compressed, unsigned long compressedSize, long originalSize,
                             ByteBuffer& out, unsigned long maximumOriginalSize = kDefaultMaximumOriginalSize);
  // Inflates `compressedSize` bytes of one zlib stream against the size its
  // footer claims (not negative; the caller has checked it against its
  // ceiling and the expansion bound) and reports how it went, without
  // throwing for a size that differs. On a match `out` is replaced with the
  // data; otherwise it is left as it was. Damaged data throws
  // CPExceptionCompression ("ZlibCompressedBuffer::uncompressData(): ZLIB
  // returned an error (%s) from uncompress()!"), a size this platform cannot
  // hold or memory running out CPExceptionOutOfMemory.
  static InflationResult InflateClaimedSize(const unsigned char* compressed, unsigned long compressedSize,
                                            long originalSize, ByteBuffer& out);
  // RFC 1950 stream header: compression method 8, a window of at most 32K,
  // check bits right, no preset dictionary (never used by this class).
  static bool BeginsWithZlibStreamHeader(const unsigned char* data, std::size_t size) noexcept;

  // ---- streaming, on this object ----
  // Replaces the contents with the deflated `original` at this object's level
  // and the footer.
  void CompressBuffer(const ByteBuffer& original) override;
  // Inflates this object's data into `original` (the object's ceiling
  // applies).
  void UncompressBuffer(ByteBuffer& original) const override;
  // The streaming decompressor on bare zlib bytes and a known original size.
  static void UncompressStream(const unsigned char* compressed, unsigned long compressedSize, long originalSize,
                               ByteBuffer& out, unsigned long maximumOriginalSize = kDefaultMaximumOriginalSize);

  // Cabinet data is unpacked through UtilitiesLibraryHost::
  // UncompressCabCompressedBufferIfSupported and compressed anew with
  // CompressData at this object's level. Where the platform has no cabinet
  // library CPExceptionNoSupportForTargetPlatform is raised. A failure is
  // reported with "Exception thrown while trying to convert the CAB data into
  // ZLIB format." and propagates as raised. Zlib data is left as it is.
  void ConvertCompressedDataToNativeFormat(CompressionFormatEnum format, int parameter, long originalSize,
                                           ByteBuffer& data, bool dataIncludesFooter) override;
};
