// Fuzz target: ZlibCompressedBuffer built from arbitrary bytes, then
// uncompressed.
//
// Every input is used in three ways:
// - as a whole buffer (data with its footer at the end): the object is built
//   and uncompressed with the streaming decompressor, and the data also with
//   the one-call decompressor; the two must agree (both fail, or both give
//   the same bytes, exactly the footer's original size of them);
// - with its first byte as a level and the rest as data to compress: both
//   compressors must give data that both decompressors read back unchanged;
//   and the whole input is taken as a zlib stream whose footer is written
//   with the size zlib itself finds, which must then decompress to zlib's own
//   output.
// The only outcomes allowed are values and exceptions of the library's own
// hierarchy; decompression must never allocate beyond its bound (the
// footer's size is checked against what the data can hold), which libFuzzer's
// memory limits enforce.

#include "Compression/CompressedBuffer.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "DebuggingAndExceptions/CPException.h"

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace {

void require(bool condition) {
  if (!condition) {
    __builtin_trap();
  }
}

std::optional<ByteBuffer> uncompressStreaming(const ByteBuffer& data) {
  try {
    const ZlibCompressedBuffer buffer(data);
    ByteBuffer out{0xEE};
    buffer.UncompressBuffer(out);
    require(static_cast<long>(out.size()) == buffer.GetOriginalSize());
    return out;
  } catch (const CPException&) {
    return std::nullopt;
  }
}

std::optional<ByteBuffer> uncompressOneCall(const ByteBuffer& data) {
  try {
    ByteBuffer out{0xEE};
    ZlibCompressedBuffer::UncompressData(data, out);
    return out;
  } catch (const CPException&) {
    return std::nullopt;
  }
}

void fuzzWholeBuffer(const ByteBuffer& data) {
  // Cabinet data would be converted, which this platform cannot do (and
  // which reports every attempt); it is left to the footer checks.
  long originalSize = 0;
  int parameter = -1;
  CompressionFormatEnum format = CFE_ZLIB;
  unsigned int footerSize = 0;
  if (CompressedBuffer::GetFooterInfo(data, originalSize, parameter, format, footerSize, false) && format == CFE_CAB) {
    return;
  }
  const auto streamed = uncompressStreaming(data);
  const auto oneCall = uncompressOneCall(data);
  require(streamed.has_value() == oneCall.has_value());
  if (streamed) {
    require(*streamed == *oneCall);
  }
}

// zlib's own reading of a stream, up to a cap: the output, or nothing when
// the stream is invalid, incomplete or longer than the cap.
std::optional<ByteBuffer> zlibReference(const unsigned char* data, std::size_t size, std::size_t cap) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) {
    return std::nullopt;
  }
  stream.next_in = const_cast<Bytef*>(data);
  stream.avail_in = static_cast<uInt>(size);
  ByteBuffer out(cap + 1, 0);
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = inflate(&stream, Z_FINISH);
  const std::size_t produced = out.size() - stream.avail_out;
  inflateEnd(&stream);
  if (result != Z_STREAM_END || produced > cap) {
    return std::nullopt;
  }
  out.resize(produced);
  return out;
}

void fuzzRoundTripsAndForeignStreams(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return;
  }
  const int level = static_cast<int>(data[0] % 11) - 1;  // -1 .. 9
  const ByteBuffer original(data + 1, static_cast<unsigned long>(size - 1));

  ByteBuffer oneCall;
  ZlibCompressedBuffer::CompressData(original.data(), static_cast<unsigned long>(original.size()), oneCall, level);
  ZlibCompressedBuffer streamed(level);
  streamed.CompressBuffer(original);
  for (const ByteBuffer* compressed : {static_cast<const ByteBuffer*>(&oneCall), &streamed.GetData()}) {
    const auto a = uncompressStreaming(*compressed);
    const auto b = uncompressOneCall(*compressed);
    require(a && b && *a == original && *b == original);
  }

  // The whole input as a zlib stream (bytes after its end, such as a
  // footer, are ignored by every reader), with a footer holding zlib's own
  // size; zlib's reading is capped at 1 MB to keep runs fast.
  const std::size_t cap = std::min<std::size_t>(size * ZlibCompressedBuffer::kMaximumExpansionRatio, 1 << 20);
  if (const auto reference = zlibReference(data, size, cap)) {
    ByteBuffer withFooter(data, static_cast<unsigned long>(size));
    CompressedBuffer::AppendFooterInfo(withFooter, static_cast<long>(reference->size()), -1, CFE_ZLIB);
    const auto a = uncompressStreaming(withFooter);
    const auto b = uncompressOneCall(withFooter);
    require(a && b && *a == *reference && *b == *reference);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    fuzzWholeBuffer(ByteBuffer(data, static_cast<unsigned long>(size)));
    fuzzRoundTripsAndForeignStreams(data, size);
  } catch (const CPException&) {
    // Only the decompressions above may fail, and they catch their own; a
    // library exception here is still an allowed outcome, never a crash.
  }
  return 0;
}
