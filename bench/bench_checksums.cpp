// Crc32::GetCrc on 64 KiB against zlib's crc32 (the engine it is built on,
// so the ratio shows the cost of the library's wrapper) and against the
// classic byte-at-a-time table loop.

#include "BenchSupport.h"
#include "General/Crc32.h"

#include <zlib.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

constexpr std::size_t kSize = 64 * 1024;

const std::vector<unsigned char>& input() {
  static const std::vector<unsigned char> data = [] {
    std::vector<unsigned char> bytes(kSize);
    std::mt19937 random(20240601);
    for (unsigned char& byte : bytes) {
      byte = static_cast<unsigned char>(random());
    }
    return bytes;
  }();
  return data;
}

std::array<std::uint32_t, 256> makeTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t reg = i;
    for (int bit = 0; bit < 8; ++bit) {
      reg = (reg >> 1) ^ ((reg & 1u) != 0 ? 0xEDB88320u : 0u);
    }
    table[i] = reg;
  }
  return table;
}

const std::array<std::uint32_t, 256> kTable = makeTable();

std::uint32_t bytewiseCrc(const unsigned char* data, std::size_t length) {
  std::uint32_t reg = 0xFFFFFFFFu;
  for (std::size_t i = 0; i < length; ++i) {
    reg = kTable[(reg ^ data[i]) & 0xFFu] ^ (reg >> 8);
  }
  return ~reg;
}

template <class Crc>
void run(benchmark::State& state, Crc crc) {
  const unsigned char* data = input().data();
  for (auto _ : state) {
    hdbench::opaque(data);
    const auto value = crc(data);
    hdbench::opaque(value);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kSize));
}

void ours(benchmark::State& state) {
  run(state, [](const unsigned char* data) { return Crc32::GetCrc(data, kSize); });
}

void zlib(benchmark::State& state) {
  run(state, [](const unsigned char* data) { return ::crc32(0, data, static_cast<uInt>(kSize)); });
}

void bytewiseTable(benchmark::State& state) {
  run(state, [](const unsigned char* data) { return bytewiseCrc(data, kSize); });
}

// All three must agree before anything is timed.
const bool kAgree = [] {
  const unsigned char* data = input().data();
  const unsigned long expected = ::crc32(0, data, static_cast<uInt>(kSize));
  if (Crc32::GetCrc(data, kSize) != expected || bytewiseCrc(data, kSize) != expected) {
    std::fprintf(stderr, "bench_checksums: the CRC implementations disagree\n");
    std::abort();
  }
  return true;
}();

}  // namespace

BENCHMARK(ours)->Name("crc32_64KiB/ours");
BENCHMARK(zlib)->Name("crc32_64KiB/zlib");
BENCHMARK(bytewiseTable)->Name("crc32_64KiB/bytewise_table");

HDU_BENCHMARK_MAIN()
