#include "Compression/ZlibCompressedBuffer.h"

#include "DebuggingAndExceptions/CPException.h"
#include "UtilitiesLibraryHost.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>

namespace {

// Up to this original size the one-call decompression allocates what the
// footer says at once; above it the stream is measured first.
constexpr std::size_t kLargestSizeAllocatedOnTheFootersWord = 4u << 20;

// The footer stores sizes as signed 32-bit values.
constexpr unsigned long kMaximumOriginalSize = 0x7FFFFFFFUL;

// The streaming decompressor's first output step, and the scratch size used
// to count output beyond the expected size.
constexpr std::size_t kInitialStreamOutput = std::size_t{64} * 1024;
constexpr std::size_t kCountingScratchSize = std::size_t{16} * 1024;

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

[[noreturn]] void throwSizeMismatch(DebugContextReference&& site, unsigned long long actual, long expected) {
  HDU_THROW(CPExceptionCompression, DebugContextReference(site),
            "ZlibCompressedBuffer::uncompressData(): Uncompressed data size (%ld) doesn't match the expected size of "
            "the original data (%ld)!",
            actual, static_cast<long long>(expected));
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
void checkOriginalSizeToUncompress(unsigned long compressedSize, long originalSize, const char* functionName,
                                   const char* functionLabel) {
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

// Inflates what remains of `stream` into a scratch buffer and adds the bytes
// that come out to `total`. Returns Z_STREAM_END when the stream ended,
// otherwise the failing result (with Z_BUF_ERROR for data that stops early).
int countRemainingOutput(z_stream& stream, unsigned long long& total) {
  unsigned char scratch[kCountingScratchSize];
  for (;;) {
    stream.next_out = scratch;
    stream.avail_out = sizeof(scratch);
    const int result = inflate(&stream, Z_NO_FLUSH);
    total += sizeof(scratch) - stream.avail_out;
    if (result == Z_STREAM_END) {
      return result;
    }
    if (result != Z_OK && result != Z_BUF_ERROR) {
      return result;
    }
    if (stream.avail_out != 0) {
      // Room was left, so all input is used up and the end marker is missing.
      return Z_BUF_ERROR;
    }
  }
}

// The whole output size of a zlib stream, or its failing result.
int countZlibOutput(const unsigned char* compressed, unsigned long compressedSize, unsigned long long& total) {
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(compressed);  // zlib's interface is not const-correct
  stream.avail_in = static_cast<uInt>(compressedSize);
  int result = inflateInit(&stream);
  if (result != Z_OK) {
    return result;
  }
  total = 0;
  result = countRemainingOutput(stream, total);
  inflateEnd(&stream);
  return result;
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

void ZlibCompressedBuffer::UncompressData(const ByteBuffer& compressed, ByteBuffer& out) {
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
  UncompressData(compressed.data(), static_cast<unsigned long>(compressed.size() - footerSize), originalSize, out);
}

void ZlibCompressedBuffer::UncompressData(const unsigned char* compressed, unsigned long compressedSize,
                                          long originalSize, ByteBuffer& out) {
  checkOriginalSizeToUncompress(compressedSize, originalSize, "uncompressData", "ZlibCompressedBuffer::UncompressData");
  if (compressedSize == 0) {
    // Only an empty original compresses to nothing (see CompressData).
    out.clear();
    return;
  }
  // One byte more than expected, so that a stream one byte too long is told
  // apart from one that fits exactly.
  const std::size_t expected = static_cast<std::size_t>(originalSize);
  if (expected > kLargestSizeAllocatedOnTheFootersWord) {
    // A large original size is taken on trust only once the stream has shown
    // it: a forged footer must not make a few bytes of input cost gigabytes.
    unsigned long long total = 0;
    const int countResult = countZlibOutput(compressed, compressedSize, total);
    if (countResult != Z_STREAM_END) {
      throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressData"),
                     "ZlibCompressedBuffer::uncompressData(): ZLIB returned an error (%s) from uncompress()!",
                     countResult);
    }
    if (total != expected) {
      throwSizeMismatch(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressData"), total, originalSize);
    }
  }
  ByteBuffer result(expected + 1, 0);
  uLongf produced = static_cast<uLongf>(result.size());
  const int code = uncompress(result.data(), &produced, compressed, static_cast<uLong>(compressedSize));
  if (code == Z_BUF_ERROR) {
    // The output did not fit: the data holds more than the footer says, or
    // fails further on. Count it without keeping it to tell which.
    unsigned long long total = 0;
    const int countResult = countZlibOutput(compressed, compressedSize, total);
    if (countResult == Z_STREAM_END) {
      throwSizeMismatch(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressData"), total, originalSize);
    }
    throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressData"),
                   "ZlibCompressedBuffer::uncompressData(): ZLIB returned an error (%s) from uncompress()!",
                   countResult);
  }
  if (code != Z_OK) {
    throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressData"),
                   "ZlibCompressedBuffer::uncompressData(): ZLIB returned an error (%s) from uncompress()!", code);
  }
  if (produced != expected) {
    throwSizeMismatch(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressData"), produced, originalSize);
  }
  result.resize(expected);
  out = std::move(result);
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
  UncompressStream(GetData().data(), compressedSize, originalSize, original);
}

void ZlibCompressedBuffer::UncompressStream(const unsigned char* compressed, unsigned long compressedSize,
                                            long originalSize, ByteBuffer& out) {
  // The streaming decompressor's messages name deflate() where inflate() is
  // meant; existing log readers match the text as it is.
  constexpr const char* kInflateFailedMessage =
      "ZlibCompressedBuffer::uncompressBuffer(): ZLIB returned an error (%s) from deflate()!";
  checkOriginalSizeToUncompress(compressedSize, originalSize, "uncompressBuffer",
                                "ZlibCompressedBuffer::UncompressBuffer");
  if (compressedSize == 0) {
    out.clear();
    return;
  }
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(compressed);  // zlib's interface is not const-correct
  stream.avail_in = static_cast<uInt>(compressedSize);
  int code = inflateInit(&stream);
  if (code != Z_OK) {
    throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"),
                   "ZlibCompressedBuffer::uncompressBuffer(): ZLIB returned an error (%s) from inflateInit()!", code,
                   stream.msg);
  }
  InflateStreamGuard guard(stream);

  // The output grows only as data comes out, up to one byte more than
  // expected (which tells a longer stream apart from an exact fit).
  const std::size_t limit = static_cast<std::size_t>(originalSize) + 1;
  ByteBuffer result;
  std::size_t produced = 0;
  for (;;) {
    if (produced == result.size()) {
      if (result.size() == limit) {
        // Full and not at the end: more data than the footer says. Count the
        // rest to report the real size (or the failure further on).
        unsigned long long total = produced;
        code = countRemainingOutput(stream, total);
        if (code == Z_STREAM_END) {
          throwSizeMismatch(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"), total, originalSize);
        }
        throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"), kInflateFailedMessage, code,
                       code == Z_BUF_ERROR ? "the data ends before the end of the zlib stream" : stream.msg);
      }
      result.resize(std::min(limit, std::max(kInitialStreamOutput, result.size() * 2)));
    }
    stream.next_out = result.data() + produced;
    stream.avail_out = static_cast<uInt>(result.size() - produced);
    code = inflate(&stream, Z_NO_FLUSH);
    produced = result.size() - stream.avail_out;
    if (code == Z_STREAM_END) {
      break;
    }
    if (code == Z_OK || (code == Z_BUF_ERROR && stream.avail_out == 0)) {
      if (stream.avail_in == 0 && stream.avail_out != 0) {
        // All input used, room left, no end marker: the data stops early.
        throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"), kInflateFailedMessage, Z_BUF_ERROR,
                       "the data ends before the end of the zlib stream");
      }
      continue;
    }
    throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"), kInflateFailedMessage, code,
                   code == Z_BUF_ERROR ? "the data ends before the end of the zlib stream" : stream.msg);
  }
  guard.release();
  code = inflateEnd(&stream);
  if (code != Z_OK) {
    throwZlibError(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"),
                   "ZlibCompressedBuffer::uncompressBuffer(): ZLIB returned an error (%s) from inflateEnd()!", code);
  }
  if (produced != static_cast<std::size_t>(originalSize)) {
    throwSizeMismatch(HDU_DEBUG_CONTEXT("ZlibCompressedBuffer::UncompressBuffer"), produced, originalSize);
  }
  result.resize(produced);
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
