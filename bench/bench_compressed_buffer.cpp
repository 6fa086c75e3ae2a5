// ZlibCompressedBuffer on 64 KiB of settings-like text against plain zlib
// (compress2 / uncompress / inflate into a preallocated buffer), the engine
// it is built on: the ratios show the cost of the footer, the size checks
// and the result buffers.
//   compress_64KiB          CompressData (one call)      vs compress2
//   uncompress_64KiB        UncompressData (one call)    vs uncompress
//   uncompress_stream_64KiB UncompressBuffer (streaming) vs uncompress

#include "BenchSupport.h"
#include "Compression/ZlibCompressedBuffer.h"

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr std::size_t kSize = 64 * 1024;

const ByteBuffer& input() {
  static const ByteBuffer data = [] {
    static const char pattern[] = "<feature name=\"PageSize\" value=\"A4\"/><feature name=\"Duplex\" value=\"Long\"/>";
    ByteBuffer bytes(kSize, 0);
    std::uint32_t noise = 12345;
    for (std::size_t i = 0; i < kSize; ++i) {
      noise = noise * 1103515245u + 12345u;
      // Mostly repeated markup with a sprinkling of varying digits.
      bytes[i] = (noise >> 28) == 0 ? static_cast<unsigned char>('0' + (noise >> 20) % 10)
                                    : static_cast<unsigned char>(pattern[i % (sizeof(pattern) - 1)]);
    }
    return bytes;
  }();
  return data;
}

const ByteBuffer& compressed() {
  static const ByteBuffer data = [] {
    ByteBuffer out;
    ZlibCompressedBuffer::CompressData(input().data(), kSize, out, -1);
    return out;
  }();
  return data;
}

void setBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kSize));
}

void compressOurs(benchmark::State& state) {
  ByteBuffer out;
  for (auto _ : state) {
    ZlibCompressedBuffer::CompressData(input().data(), kSize, out, -1);
    hdbench::opaque(out);
  }
  setBytes(state);
}

void compressZlib(benchmark::State& state) {
  std::vector<unsigned char> out(compressBound(kSize));
  for (auto _ : state) {
    uLongf size = static_cast<uLongf>(out.size());
    compress2(out.data(), &size, input().data(), kSize, Z_DEFAULT_COMPRESSION);
    hdbench::opaque(size);
  }
  setBytes(state);
}

void uncompressOurs(benchmark::State& state) {
  ByteBuffer out;
  for (auto _ : state) {
    ZlibCompressedBuffer::UncompressData(compressed(), out);
    hdbench::opaque(out);
  }
  setBytes(state);
}

void uncompressStreamOurs(benchmark::State& state) {
  const ZlibCompressedBuffer buffer(compressed());
  ByteBuffer out;
  for (auto _ : state) {
    buffer.UncompressBuffer(out);
    hdbench::opaque(out);
  }
  setBytes(state);
}

void uncompressZlib(benchmark::State& state) {
  std::vector<unsigned char> out(kSize);
  const uLong streamSize = static_cast<uLong>(compressed().size() - 13);
  for (auto _ : state) {
    uLongf size = kSize;
    uncompress(out.data(), &size, compressed().data(), streamSize);
    hdbench::opaque(size);
  }
  setBytes(state);
}

// Both sides must give the same bytes before anything is timed.
const bool kAgree = [] {
  ByteBuffer ours;
  ZlibCompressedBuffer::UncompressData(compressed(), ours);
  std::vector<unsigned char> theirs(kSize);
  uLongf size = kSize;
  const int result =
      uncompress(theirs.data(), &size, compressed().data(), static_cast<uLong>(compressed().size() - 13));
  if (result != Z_OK || size != kSize || ours != input() || !std::equal(theirs.begin(), theirs.end(), ours.begin())) {
    std::fprintf(stderr, "bench_compressed_buffer: results differ\n");
    std::abort();
  }
  return true;
}();

}  // namespace

BENCHMARK(compressOurs)->Name("compress_64KiB/ours");
BENCHMARK(compressZlib)->Name("compress_64KiB/zlib");
BENCHMARK(uncompressOurs)->Name("uncompress_64KiB/ours");
BENCHMARK(uncompressZlib)->Name("uncompress_64KiB/zlib");
BENCHMARK(uncompressStreamOurs)->Name("uncompress_stream_64KiB/ours");
BENCHMARK(uncompressZlib)->Name("uncompress_stream_64KiB/zlib");

HDU_BENCHMARK_MAIN()
