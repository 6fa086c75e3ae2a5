#include "Compression/ZlibCompressedBuffer.h"

#include "DebuggingAndExceptions/CPException.h"
#include "UtilitiesLibraryHost.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

// The footer stores sizes as signed 32-bit values.
constexpr unsigned long kMaximumOriginalSize = 0x7FFFFFFFUL;

// The output buffer is filled this much at a time (each step is zeroed
// before inflate writes it), and output beyond the original size is counted
// in a scratch buffer of this size.
constexpr std::size_t kOutputStep = std::size_t{256} * 1024;
constexpr std::size_t kCountingScratchSize = std::size_t{4} * 1024;

const char* zlibErrorName(int code) noexcept {
  switch (code) {
    case Z_OK:
      return "Z_OK";
    case Z_STREAM_END:
      return "Z_STREAM_END";
    case Z_NEED_DICT:
      return "Z_NEED_DICT";
    case Z_ERRNO:
      return "Z_ERRNO";
    case Z_STREAM_ERROR:
      return "Z_STREAM_ERROR";
    case Z_DATA_ERROR:
      return "Z_DATA_ERROR";
    case Z_MEM_ERROR:
      return "Z_MEM_ERROR";
    case Z_BUF_ERROR:
      return "Z_BUF_ERROR";
    case Z_VERSION_ERROR:
      return "Z_VERSION_ERROR";
    default:
      return "unknown zlib result";
  }
}

// "Z_DATA_ERROR (incorrect header check)": zlib's constant, then the stream's
// own message when it has one, otherwise zlib's text for the code.
std::string zlibErrorText(int code, const char* detail = nullptr) {
  const char* text = detail != nullptr ? detail : zError(code);
  return InternalHaldenCP::formatToStdString("%s (%s)", zlibErrorName(code), text != nullptr ? text : "");
}

[[noreturn]] void throwZlibError(DebugContextReference&& site, const char* format, int code,
                                 const char* detail = nullptr) {
  HDU_THROW(CPExceptionCompression, DebugContextReference(site), format, zlibErrorText(code, detail));
}

// "12345", or "at least 12345" when inflation stopped before the stream ended.
std::string sizeText(unsigned long long size, bool isLowerBound) {
  return isLowerBound ? InternalHaldenCP::formatToStdString("at least %lu", size) : std::to_string(size);
}

[[noreturn]] void throwSizeMismatch(DebugContextReference&& site, unsigned long long actual, bool isLowerBound,
                                    long expected) {
  HDU_THROW(CPExceptionCompression, DebugContextReference(site),
            "ZlibCompressedBuffer::uncompressData(): Uncompressed data size (%s) doesn't match the expected size of "
            "the original data (%ld)!",
            sizeText(actual, isLowerBound), static_cast<long long>(expected));
}

void checkOriginalSizeToCompress(unsigned long size, const char* functionName, const char* functionLabel) {
  if (size > kMaximumOriginalSize) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT(functionLabel),
              "ZlibCompressedBuffer::%s(): The data (%lu bytes) is too large for a CompressedBuffer (at most %lu "
              "bytes)!",
              functionName, static_cast<unsigned long long>(size),
              static_cast<unsigned long long>(kMaximumOriginalSize));
  }
}

// The footer's original size is checked before anything is allocated: it
// must not be negative, and deflate data cannot expand by more than
// kMaximumExpansionRatio.
void checkOriginalSizeToUncompress(unsigned long compressedSize, long originalSize, unsigned long maximumOriginalSize,
                                   const char* functionName, const char* functionLabel) {
  const unsigned long long limit =
      static_cast<unsigned long long>(compressedSize) * ZlibCompressedBuffer::kMaximumExpansionRatio;
  if (static_cast<unsigned long long>(compressedSize) > UINT_MAX) {
    // zlib's streams count input in 32-bit units; no genuine buffer is this big.
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT(functionLabel),
              "ZlibCompressedBuffer::%s(): The Zlib data (%lu bytes) is too large!", functionName,
              static_cast<unsigned long long>(compressedSize));
  }
  if (originalSize < 0 || static_cast<unsigned long long>(originalSize) > limit ||
      static_cast<unsigned long long>(originalSize) > kMaximumOriginalSize) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT(functionLabel),
              "ZlibCompressedBuffer::%s(): The original data size in the footer (%ld) is impossible for %lu bytes of "
              "Zlib data (at most %lu bytes can come out)!",
              functionName, static_cast<long long>(originalSize), static_cast<unsigned long long>(compressedSize),
              std::min<unsigned long long>(limit, kMaximumOriginalSize));
  }
  if (static_cast<unsigned long long>(originalSize) > maximumOriginalSize) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT(functionLabel),
              "ZlibCompressedBuffer::%s(): The original data size in the footer (%ld) is above the maximum original "
              "size accepted (%lu bytes)!",
              functionName, static_cast<long long>(originalSize), static_cast<unsigned long long>(maximumOriginalSize));
  }
}

// Ends a zlib stream on every path that leaves early; the normal path ends it
// itself to check the result.
class InflateStreamGuard {
 public:
  explicit InflateStreamGuard(z_stream& stream) noexcept : m_stream(&stream) {}
  ~InflateStreamGuard() {
    if (m_stream != nullptr) {
      inflateEnd(m_stream);
    }
  }
  InflateStreamGuard(const InflateStreamGuard&) = delete;
  InflateStreamGuard& operator=(const InflateStreamGuard&) = delete;
  void release() noexcept { m_stream = nullptr; }

 private:
  z_stream* m_stream;
};

class DeflateStreamGuard {
 public:
  explicit DeflateStreamGuard(z_stream& stream) noexcept : m_stream(&stream) {}
  ~DeflateStreamGuard() {
    if (m_stream != nullptr) {
      deflateEnd(m_stream);
    }
  }
  DeflateStreamGuard(const DeflateStreamGuard&) = delete;
  DeflateStreamGuard& operator=(const DeflateStreamGuard&) = delete;
  void release() noexcept { m_stream = nullptr; }

 private:
  z_stream* m_stream;
};

// How one bounded inflation ended.
struct BoundedInflation {
  // Z_STREAM_END: the stream ended, `produced` is its whole output.
  // Z_OK: inflation stopped the counting allowance past the claim before
  // the stream ended; `produced` is a lower bound.
  // Z_BUF_ERROR: the input ended before the stream did.
  // Anything else: zlib's failure, with its message (zlib's messages are
  // static texts) when it gave one.
  int code = Z_OK;
  unsigned long long produced = 0;
  const char* message = nullptr;
  // The zlib call that failed.
  enum Call { kInflateInit, kInflate, kInflateEnd } failedCall = kInflate;
};

// The library's one inflation loop. Inflates the stream into `kept`,
// reserved at `claimed` bytes and grown step by step as output comes, keeping
// at most `claimed` bytes; output beyond them is counted in a scratch buffer
// up to `claimed` more (at least kMinimumSizeCountingAllowance), then
// inflation stops. `kept` holds the kept output on return.
BoundedInflation inflateBounded(const unsigned char* compressed, unsigned long compressedSize, std::size_t claimed,
                                ByteBuffer& kept) {
  BoundedInflation result;
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(compressed);  // zlib's interface is not const-correct
  stream.avail_in = static_cast<uInt>(compressedSize);
  int code = inflateInit(&stream);
  if (code != Z_OK) {
    result.code = code;
    result.message = stream.msg;
    result.failedCall = BoundedInflation::kInflateInit;
    return result;
  }
  InflateStreamGuard guard(stream);
  kept.clear();
  kept.reserve(claimed);

  // The stream's end while filling `kept`, or a failure.
  const auto finish = [&](int endCode, unsigned long long produced) {
    result.code = endCode;
    result.produced = produced;
    result.message = endCode == Z_STREAM_END || endCode == Z_BUF_ERROR ? nullptr : stream.msg;
    if (endCode == Z_STREAM_END) {
      guard.release();
      const int endResult = inflateEnd(&stream);
      if (endResult != Z_OK) {
        result.code = endResult;
        result.message = nullptr;
        result.failedCall = BoundedInflation::kInflateEnd;
      }
    }
    return result;
  };

  std::size_t produced = 0;
  while (produced < claimed || produced < kept.size()) {
    if (produced == kept.size()) {
      kept.resize(std::min(claimed, produced + kOutputStep));
    }
    stream.next_out = kept.data() + produced;
    stream.avail_out = static_cast<uInt>(kept.size() - produced);
    code = inflate(&stream, Z_NO_FLUSH);
    produced = kept.size() - stream.avail_out;
    if (code == Z_STREAM_END) {
      kept.resize(produced);
      return finish(Z_STREAM_END, produced);
    }
    if (code != Z_OK && !(code == Z_BUF_ERROR && stream.avail_out == 0)) {
      kept.resize(produced);
      return finish(code, produced);
    }
    if (stream.avail_in == 0 && stream.avail_out != 0) {
      // All input used, room left, no end marker: the data stops early.
      kept.resize(produced);
      return finish(Z_BUF_ERROR, produced);
    }
  }

  // `claimed` bytes are kept and the stream has not ended: count what follows.
  unsigned long long total = produced;
  const unsigned long long stopAt =
      total + std::max<unsigned long long>(claimed, ZlibCompressedBuffer::kMinimumSizeCountingAllowance);
  unsigned char scratch[kCountingScratchSize];
  for (;;) {
    stream.next_out = scratch;
    stream.avail_out = sizeof(scratch);
    code = inflate(&stream, Z_NO_FLUSH);
    total += sizeof(scratch) - stream.avail_out;
    if (code == Z_STREAM_END) {
      return finish(Z_STREAM_END, total);
    }
    if (code != Z_OK && !(code == Z_BUF_ERROR && stream.avail_out == 0)) {
      return finish(code, total);
    }
    if (stream.avail_in == 0 && stream.avail_out != 0) {
      return finish(Z_BUF_ERROR, total);
    }
    if (total > stopAt) {
      return finish(Z_OK, total);
    }
  }
}

// Runs the bounded inflation with its memory checked first, and turns running
// out of memory into the library's exception.
BoundedInflation inflateClaimed(const unsigned char* compressed, unsigned long compressedSize, long originalSize,
                                ByteBuffer& kept, const char* functionLabel) {
  CompressedBuffer::CheckOriginalSizeFitsInOneBuffer(originalSize);
  try {
    return inflateBounded(compressed, compressedSize, static_cast<std::size_t>(originalSize), kept);
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
  HDU_THROW(CPExceptionOutOfMemory, HDU_DEBUG_CONTEXT(functionLabel),
            "Not enough memory to decompress %ld bytes of original data.", static_cast<long long>(originalSize));
}

// The one-call decompressor's view of a failure, as zlib's uncompress()
// reports it: a stream that ends early or needs a dictionary is a data error.
int asUncompressResult(int code) noexcept {
  return code == Z_BUF_ERROR || code == Z_NEED_DICT ? Z_DATA_ERROR : code;
}

}  // namespace

ZlibCompressedBuffer::ZlibCompressedBuffer(int level) : CompressedBuffer(CFE_ZLIB, level) {}

ZlibCompressedBuffer::ZlibCompressedBuffer(const ByteBuffer& data) : CompressedBuffer(CFE_ZLIB, -1) {
  AssignCompressedData(data, CFE_ZLIB);
}

ZlibCompressedBuffer::~ZlibCompressedBuffer() = default;

void ZlibCompressedBuffer::CompressData(const unsigned char* data, unsigned long size, ByteBuffer& out,
                                        const int& level) {
  checkOriginalSizeToCompress(size, "compressData", "ZlibCompressedBuffer::CompressData");
  ByteBuffer result;
  if (size != 0) {
    uLongf compressedSize = compressBound(static_cast<uLong>(size));
    result.resize(static_cast<std::size_t>(compressedSize) + kSizeOfFooterInfo);
    const int code = compress2(result.data(), &compressedSize, data, static_cast<uLong>(size), level);
    if (code != Z_OK) {
      throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::CompressData"),
                     "ZlibCompressedBuffer::compressData(): ZLIB returned an error (%s) from compress()!", code);
    }
    result.resize(compressedSize);
  }
  AppendFooterInfo(result, static_cast<long>(size), level, CFE_ZLIB);
  out = std::move(result);
}

void ZlibCompressedBuffer::UncompressData(const ByteBuffer& compressed, ByteBuffer& out,
                                          unsigned long maximumOriginalSize) {
  long originalSize = 0;
  int parameter = -1;
  CompressionFormatEnum format = CFE_ZLIB;
  unsigned int footerSize = 0;
  GetFooterInfo(compressed, originalSize, parameter, format, footerSize, true);
  if (format != CFE_ZLIB) {
    HDU_THROW(CPExceptionIncompatibleCompressionFormat, HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressData"),
              "ZlibCompressedBuffer::uncompressData(): The data is in compression format %d, not in Zlib format (%d)!",
              static_cast<int>(format), static_cast<int>(CFE_ZLIB));
  }
  UncompressData(compressed.data(), static_cast<unsigned long>(compressed.size() - footerSize), originalSize, out,
                 maximumOriginalSize);
}

void ZlibCompressedBuffer::UncompressData(const unsigned char* compressed, unsigned long compressedSize,
                                          long originalSize, ByteBuffer& out, unsigned long maximumOriginalSize) {
  checkOriginalSizeToUncompress(compressedSize, originalSize, maximumOriginalSize, "uncompressData",
                                "ZlibCompressedBuffer::UncompressData");
  if (compressedSize == 0) {
    // Only an empty original compresses to nothing (see CompressData).
    out.clear();
    return;
  }
  const InflationResult result = InflateClaimedSize(compressed, compressedSize, originalSize, out);
  if (!result.sizeMatches) {
    throwSizeMismatch(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressData"), result.size, result.sizeIsLowerBound,
                      originalSize);
  }
}

ZlibCompressedBuffer::InflationResult ZlibCompressedBuffer::InflateClaimedSize(const unsigned char* compressed,
                                                                               unsigned long compressedSize,
                                                                               long originalSize, ByteBuffer& out) {
  ByteBuffer kept;
  const BoundedInflation inflation =
      inflateClaimed(compressed, compressedSize, originalSize, kept, "ZlibCompressedBuffer::UncompressData");
  if (inflation.code != Z_STREAM_END && inflation.code != Z_OK) {
    throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressData"),
                   "ZlibCompressedBuffer::uncompressData(): ZLIB returned an error (%s) from uncompress()!",
                   asUncompressResult(inflation.code));
  }
  InflationResult result;
  result.size = inflation.produced;
  result.sizeIsLowerBound = inflation.code == Z_OK;
  result.sizeMatches = !result.sizeIsLowerBound && inflation.produced == static_cast<unsigned long long>(originalSize);
  if (result.sizeMatches) {
    out.swap(kept);
  }
  return result;
}

bool ZlibCompressedBuffer::BeginsWithZlibStreamHeader(const unsigned char* data, std::size_t size) noexcept {
  if (data == nullptr || size < 2) {
    return false;
  }
  const unsigned cmf = data[0];
  const unsigned flg = data[1];
  return (cmf & 0x0Fu) == Z_DEFLATED && (cmf >> 4) <= 7 && ((cmf << 8) | flg) % 31 == 0 && (flg & 0x20u) == 0;
}

void ZlibCompressedBuffer::CompressBuffer(const ByteBuffer& original) {
  const unsigned long size = static_cast<unsigned long>(original.size());
  checkOriginalSizeToCompress(size, "compressBuffer", "ZlibCompressedBuffer::CompressBuffer");
  const int level = GetCompressionLevel();
  ByteBuffer result;
  if (size != 0) {
    z_stream stream{};
    int code = deflateInit(&stream, level);
    if (code != Z_OK) {
      throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::CompressBuffer"),
                     "ZlibCompressedBuffer::compressBuffer(): ZLIB returned an error (%s) from deflateInit()!", code,
                     stream.msg);
    }
    DeflateStreamGuard guard(stream);
    result.resize(static_cast<std::size_t>(deflateBound(&stream, static_cast<uLong>(size))) + kSizeOfFooterInfo);
    stream.next_in = const_cast<Bytef*>(original.data());  // zlib's interface is not const-correct
    stream.avail_in = static_cast<uInt>(size);
    std::size_t produced = 0;
    do {
      if (produced == result.size()) {
        result.resize(result.size() * 2);
      }
      stream.next_out = result.data() + produced;
      stream.avail_out = static_cast<uInt>(result.size() - produced);
      code = deflate(&stream, Z_FINISH);
      produced = result.size() - stream.avail_out;
      if (code != Z_OK && code != Z_BUF_ERROR && code != Z_STREAM_END) {
        throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::CompressBuffer"),
                       "ZlibCompressedBuffer::compressBuffer(): ZLIB returned an error (%s) from deflate()!", code,
                       stream.msg);
      }
    } while (code != Z_STREAM_END);
    guard.release();
    code = deflateEnd(&stream);
    if (code != Z_OK) {
      throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::CompressBuffer"),
                     "ZlibCompressedBuffer::compressBuffer(): ZLIB returned an error (%s) from deflateEnd()!", code);
    }
    result.resize(produced);
  }
  AppendFooterInfo(result, static_cast<long>(size), level, CFE_ZLIB);
  SetState(std::move(result), static_cast<long>(size), level, CFE_ZLIB);
}

void ZlibCompressedBuffer::UncompressBuffer(ByteBuffer& original) const {
  long originalSize = 0;
  const unsigned long compressedSize = GetCompressedPartSize(originalSize);
  UncompressStream(GetData().data(), compressedSize, originalSize, original, GetMaximumOriginalSize());
}

void ZlibCompressedBuffer::UncompressStream(const unsigned char* compressed, unsigned long compressedSize,
                                            long originalSize, ByteBuffer& out, unsigned long maximumOriginalSize) {
  // The streaming decompressor's messages name deflate() where inflate() is
  // meant; existing log readers match the text as it is.
  constexpr const char* kInflateFailedMessage =
      "ZlibCompressedBuffer::uncompressBuffer(): ZLIB returned an error (%s) from deflate()!";
  checkOriginalSizeToUncompress(compressedSize, originalSize, maximumOriginalSize, "uncompressBuffer",
                                "ZlibCompressedBuffer::UncompressBuffer");
  if (compressedSize == 0) {
    out.clear();
    return;
  }
  ByteBuffer result;
  const BoundedInflation inflation =
      inflateClaimed(compressed, compressedSize, originalSize, result, "ZlibCompressedBuffer::UncompressBuffer");
  if (inflation.code != Z_STREAM_END && inflation.code != Z_OK) {
    switch (inflation.failedCall) {
      case BoundedInflation::kInflateInit:
        throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"),
                       "ZlibCompressedBuffer::uncompressBuffer(): ZLIB returned an error (%s) from inflateInit()!",
                       inflation.code, inflation.message);
      case BoundedInflation::kInflateEnd:
        throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"),
                       "ZlibCompressedBuffer::uncompressBuffer(): ZLIB returned an error (%s) from inflateEnd()!",
                       inflation.code);
      case BoundedInflation::kInflate:
        break;
    }
    throwZlibError(
        HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"), kInflateFailedMessage, inflation.code,
        inflation.code == Z_BUF_ERROR ? "the data ends before the end of the zlib stream" : inflation.message);
  }
  if (inflation.code == Z_OK || inflation.produced != static_cast<unsigned long long>(originalSize)) {
    throwSizeMismatch(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"), inflation.produced,
                      inflation.code == Z_OK, originalSize);
  }
  out = std::move(result);
}

void ZlibCompressedBuffer::ConvertCompressedDataToNativeFormat(CompressionFormatEnum format, int parameter,
                                                               long originalSize, ByteBuffer& data,
                                                               bool dataIncludesFooter) {
  if (format == CFE_ZLIB) {
    if (!dataIncludesFooter) {
      AppendFooterInfo(data, originalSize, parameter, format);
    }
    return;
  }
  if (format != CFE_CAB) {
    HDU_THROW(CPExceptionIncompatibleCompressionFormat,
              HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::ConvertCompressedDataToNativeFormat"),
              "Compressed data in format %d cannot be converted into Zlib format; only CAB data (%d) can.",
              static_cast<int>(format), static_cast<int>(CFE_CAB));
  }
  if (originalSize < 0 || static_cast<unsigned long long>(originalSize) > GetMaximumOriginalSize()) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::ConvertCompressedDataToNativeFormat"),
              "ZlibCompressedBuffer::ConvertCompressedDataToNativeFormat(): The original data size in the footer (%ld) "
              "is negative or above the maximum original size accepted (%lu bytes)!",
              static_cast<long long>(originalSize), static_cast<unsigned long long>(GetMaximumOriginalSize()));
  }
  try {
    ByteBuffer cabinetData(data);
    if (!dataIncludesFooter) {
      AppendFooterInfo(cabinetData, originalSize, parameter, format);
    }
    ByteBuffer original;
    if (!UtilitiesLibraryHost::UncompressCabCompressedBufferIfSupported(cabinetData, original)) {
      HDU_THROW(CPExceptionNoSupportForTargetPlatform,
                HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::ConvertCompressedDataToNativeFormat"),
                "CAB compressed data (%ld bytes of original data) cannot be uncompressed on this platform: it has no "
                "cabinet library.",
                static_cast<long long>(originalSize));
    }
    ByteBuffer converted;
    CompressData(original.data(), static_cast<unsigned long>(original.size()), converted, GetCompressionLevel());
    data = std::move(converted);
  } catch (const std::exception& exception) {
    CPException::reportAndProcessCaughtException(
        exception, HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::ConvertCompressedDataToNativeFormat"),
        "Exception thrown while trying to convert the CAB data into ZLIB format.");
    throw;
  }
}
