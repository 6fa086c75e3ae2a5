#pragma once
// CompressedBuffer: a self-describing container for compressed bytes.
//
// The data is the compressed bytes followed by a footer that records the
// compression format, a format parameter, the size of the original
// (uncompressed) data and a four-byte signature. Unlike every other format of
// the library, the footer's integers are big-endian:
//
//   offset  size  field
//        0     1  format (CompressionFormatEnum, low byte)
//        1     4  format parameter, big-endian signed (zlib: the level)
//        5     4  original size, big-endian signed
//        9     4  signature "COM5"
//
// A fresh ZlibCompressedBuffer(-1) therefore holds exactly
//   01 FF FF FF FF 00 00 00 00 43 4F 4D 35.
//
// Two older footers are still read, never written. Each is recognised by the
// signature in the last four bytes, and the original size always stands in
// the four bytes before it:
//   12 bytes, "COM4": parameter (4), original size (4), signature; the format
//                     is zlib
//    8 bytes, "COMP": original size (4), signature; parameter and format are
//                     not recorded (the caller's values are kept)
//
// ZlibCompressedBuffer and CabCompressedBuffer fill the container; each can
// take over data in the other's format by converting it
// (ConvertCompressedDataToNativeFormat).
//
// The ceiling on the original size. A footer's original size comes with the
// data, from wherever the data came from, and decompressing trusts it for
// memory. Every reader therefore refuses, before allocating or decompressing
// anything, an original size above its maximum: 64 MiB unless the caller
// sets another (SetMaximumOriginalSize on an object, an argument on the
// static readers). Real settings and job data are a few kilobytes to a few
// megabytes; data meant to be larger needs a caller that says so.
// A size above what one buffer of this platform can hold (a 32-bit process
// holds at most 2 GiB - 1 bytes in one vector) is refused with
// CPExceptionOutOfMemory (CheckOriginalSizeFitsInOneBuffer), and running
// out of memory while decompressing is reported the same way, never as a
// standard library exception.

#include "General/ByteBuffer.h"
#include "hdUtilitiesExport.h"

#include <cstddef>

// The compression format recorded in the footer. Only the low byte is stored,
// so a footer may name any value from 0 to 255; values other than the two
// below are refused by both buffer classes.
enum CompressionFormatEnum : int {
  CFE_UNKNOWN = 0,
  CFE_ZLIB = 1,  // ZlibCompressedBuffer
  CFE_CAB = 2,   // CabCompressedBuffer
};

class HDU_API CompressedBuffer {
 public:
  enum : unsigned int {
    kSizeOfFooterInfo = 13,       // the current "COM5" footer
    kSizeOf40FooterInfo = 12,     // the older "COM4" footer
    kSizeOfOldestFooterInfo = 8,  // the oldest "COMP" footer
  };
  // The largest original size a reader accepts unless told otherwise.
  enum : unsigned long { kDefaultMaximumOriginalSize = 64UL << 20 };

  virtual ~CompressedBuffer();

  // ---- contents ----
  // The compressed bytes followed by the footer.
  const ByteBuffer& GetData() const noexcept { return m_data; }
  // The number of bytes before compression.
  long GetOriginalSize() const noexcept { return m_originalSize; }
  // For zlib the compression level; for cabinet data -1.
  int GetFormatParameter() const noexcept { return m_formatParameter; }
  CompressionFormatEnum GetCompressionFormat() const noexcept { return m_format; }

  // The largest original size UncompressBuffer (and a conversion) accepts;
  // a larger one in the footer is refused with CPExceptionCompression before
  // anything is allocated. Copies take it along.
  unsigned long GetMaximumOriginalSize() const noexcept { return m_maximumOriginalSize; }
  void SetMaximumOriginalSize(unsigned long maximumOriginalSize) noexcept {
    m_maximumOriginalSize = maximumOriginalSize;
  }

  // Throws CPExceptionOutOfMemory ("The original data size (%ld bytes) cannot
  // be held in one buffer on this platform (at most %lu bytes).") when
  // `originalSize` bytes do not fit in one buffer whose largest size is
  // `largestBufferSize` (by default this platform's largest ByteBuffer).
  static void CheckOriginalSizeFitsInOneBuffer(long originalSize, std::size_t largestBufferSize);
  static void CheckOriginalSizeFitsInOneBuffer(long originalSize);

  // ---- compression ----
  // Replaces the contents with the compressed form of `original` and its
  // footer. An empty original gives the footer alone.
  virtual void CompressBuffer(const ByteBuffer& original) = 0;
  // Fills `original` (replacing its contents) with the uncompressed data.
  // Exactly the footer's original size must come out.
  virtual void UncompressBuffer(ByteBuffer& original) const = 0;

  // Turns compressed data of another format into this class's format:
  // decompresses it, then compresses it anew. `data` is replaced with the
  // native compressed bytes followed by a current footer. `format`,
  // `parameter` and `originalSize` describe the data as it is now;
  // `dataIncludesFooter` says whether `data` still ends with its footer (which
  // is then ignored) or holds the bare compressed bytes. A failure is
  // reported through the exception facility with a text naming the
  // conversion, then the exception raised propagates unchanged.
  virtual void ConvertCompressedDataToNativeFormat(CompressionFormatEnum format, int parameter, long originalSize,
                                                   ByteBuffer& data, bool dataIncludesFooter) = 0;

  // ---- footer ----
  // Appends a current (13-byte) footer to this buffer's data. The original
  // size is written as its low 32 bits.
  void AddFooterInfo(long originalSize, int parameter, CompressionFormatEnum format);
  // The same footer appended to any buffer.
  static void AppendFooterInfo(ByteBuffer& data, long originalSize, int parameter, CompressionFormatEnum format);

  // Reads the footer at the end of `data`:
  // 1. The data must be longer than 7 bytes; otherwise no signature is tried.
  // 2. The last four bytes are compared with "COM5", "COM4" and "COMP".
  // 3. "COM5" with at least 13 bytes: format, parameter and original size are
  //    read, footer size 13. Else "COM4" with at least 12 bytes: parameter and
  //    original size are read, the format is set to CFE_ZLIB, footer size 12.
  //    Otherwise (only "COMP" matched, or the data is too short for the form
  //    whose signature matched) only the original size is read and the footer
  //    size is 8; `parameter` and `format` keep the values passed in.
  // 4. When no signature matches: with `throwIfMissing`
  //    CPExceptionMissingOrBadCompressedBufferFooter is thrown, otherwise the
  //    result is false and the out-arguments are untouched.
  static bool GetFooterInfo(const ByteBuffer& data, long& originalSize, int& parameter, CompressionFormatEnum& format,
                            unsigned int& footerSize, bool throwIfMissing);

  static unsigned int GetSizeOfFooterInfo() noexcept { return kSizeOfFooterInfo; }
  static unsigned int GetSizeOf40FooterInfo() noexcept { return kSizeOf40FooterInfo; }

 protected:
  // A buffer holding only a current footer with original size 0.
  CompressedBuffer(CompressionFormatEnum format, int parameter);
  CompressedBuffer(const CompressedBuffer&) = default;
  CompressedBuffer(CompressedBuffer&&) noexcept = default;
  CompressedBuffer& operator=(const CompressedBuffer&) = default;
  CompressedBuffer& operator=(CompressedBuffer&&) noexcept = default;

  // Takes over `data` (compressed bytes with a footer) in this class's native
  // format `nativeFormat`: reads the footer (throwing when it is missing),
  // converts data of another known format, and refuses unknown formats with
  // CPExceptionIncompatibleCompressionFormat. The 8-byte footer records no
  // format; its data is taken to be zlib, the only format of its time.
  // Returns whether a conversion happened. On failure nothing is changed.
  bool AssignCompressedData(const ByteBuffer& data, CompressionFormatEnum nativeFormat);

  // Replaces the whole state at once.
  void SetState(ByteBuffer&& data, long originalSize, int parameter, CompressionFormatEnum format) noexcept;

  // The number of compressed bytes before the footer, read from the data's
  // own footer (throws when it is missing).
  unsigned long GetCompressedPartSize(long& originalSize) const;

 private:
  ByteBuffer m_data;
  long m_originalSize = 0;
  int m_formatParameter = -1;
  CompressionFormatEnum m_format = CFE_ZLIB;
  unsigned long m_maximumOriginalSize = kDefaultMaximumOriginalSize;
};
