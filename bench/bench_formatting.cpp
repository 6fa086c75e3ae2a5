// Formatting two everyday message shapes into the library's fixed format
// buffer, side by side with snprintf into a stack array and fmt::sprintf:
//   line_location      "%s (line %ld) in %s%s"        (every exception's location text)
//   not_enough_bytes   the ByteBuffer size message with two "%ld"
//   wide_file_name     "Cannot open '%s'" with a UTF-16 file name (snprintf: "%ls"
//                      with the same ASCII name as wchar_t text)
// Each "ours" case also reports heap allocations per message
// (allocs_per_message), which must be 0 for results under 1,024 characters.

#include "BenchSupport.h"

#include "LowLevelFacilities/FormatStringBuffer.h"
#include "LowLevelFacilities/Formatter.h"

#include <fmt/printf.h>

#include <cstdio>
#include <string>

namespace {

const char* const kLocationFormat = "%s (line %ld) in %s%s";
const char* const kNotEnoughBytesFormat =
    "Cannot convert to the desired data type because the size of the source buffer is too small (%ld bytes)! It "
    "needs to be at least %ld bytes.";

const char* const kFile = "C:\\Build\\hd-Utilities\\UtilitiesDll\\General\\ByteBuffer.cpp";
const char* const kFunction = "ByteBuffer::WalkBufferToGetLong";

void reportAllocations(benchmark::State& state, const hdbench::AllocationCounter& counter) {
  state.counters["allocs_per_message"] =
      benchmark::Counter(static_cast<double>(counter.allocations()) / static_cast<double>(state.iterations()));
}

// ---- line_location --------------------------------------------------------------

void lineLocationOurs(benchmark::State& state) {
  InternalHaldenCP::FormatStringBuffer<1024> buffer;
  long line = 1234;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(line);
    buffer.clear();
    InternalHaldenCP::formatIntoBuffer(buffer, kLocationFormat, kFile, line, kFunction, "");
    hdbench::opaque(buffer);
  }
  reportAllocations(state, counter);
}
BENCHMARK(lineLocationOurs)->Name("line_location/ours");

void lineLocationSnprintf(benchmark::State& state) {
  char buffer[1024];
  long line = 1234;
  for (auto _ : state) {
    hdbench::opaque(line);
    std::snprintf(buffer, sizeof(buffer), kLocationFormat, kFile, line, kFunction, "");
    hdbench::opaque(buffer);
  }
}
BENCHMARK(lineLocationSnprintf)->Name("line_location/snprintf");

void lineLocationFmt(benchmark::State& state) {
  long line = 1234;
  for (auto _ : state) {
    hdbench::opaque(line);
    std::string text = fmt::sprintf(kLocationFormat, kFile, line, kFunction, "");
    hdbench::opaque(text);
  }
}
BENCHMARK(lineLocationFmt)->Name("line_location/fmt_sprintf");

// ---- not_enough_bytes -------------------------------------------------------------

void notEnoughBytesOurs(benchmark::State& state) {
  InternalHaldenCP::FormatStringBuffer<1024> buffer;
  long have = 3;
  long need = 8;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(have);
    hdbench::opaque(need);
    buffer.clear();
    InternalHaldenCP::formatIntoBuffer(buffer, kNotEnoughBytesFormat, have, need);
    hdbench::opaque(buffer);
  }
  reportAllocations(state, counter);
}
BENCHMARK(notEnoughBytesOurs)->Name("not_enough_bytes/ours");

void notEnoughBytesSnprintf(benchmark::State& state) {
  char buffer[1024];
  long have = 3;
  long need = 8;
  for (auto _ : state) {
    hdbench::opaque(have);
    hdbench::opaque(need);
    std::snprintf(buffer, sizeof(buffer), kNotEnoughBytesFormat, have, need);
    hdbench::opaque(buffer);
  }
}
BENCHMARK(notEnoughBytesSnprintf)->Name("not_enough_bytes/snprintf");

void notEnoughBytesFmt(benchmark::State& state) {
  long have = 3;
  long need = 8;
  for (auto _ : state) {
    hdbench::opaque(have);
    hdbench::opaque(need);
    std::string text = fmt::sprintf(kNotEnoughBytesFormat, have, need);
    hdbench::opaque(text);
  }
}
BENCHMARK(notEnoughBytesFmt)->Name("not_enough_bytes/fmt_sprintf");

// ---- wide_file_name -------------------------------------------------------------------

const char16_t* const kWideFileName = u"C:\\ProgramData\\Halden\\Driver\\x64\\PrinterSettings-0001.dat";
const wchar_t* const kWideFileNameAsWchar = L"C:\\ProgramData\\Halden\\Driver\\x64\\PrinterSettings-0001.dat";

void wideFileNameOurs(benchmark::State& state) {
  InternalHaldenCP::FormatStringBuffer<1024> buffer;
  const char16_t* name = kWideFileName;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(name);
    buffer.clear();
    InternalHaldenCP::formatIntoBuffer(buffer, "Cannot open '%s'", name);
    hdbench::opaque(buffer);
  }
  reportAllocations(state, counter);
}
BENCHMARK(wideFileNameOurs)->Name("wide_file_name/ours");

void wideFileNameSnprintf(benchmark::State& state) {
  char buffer[1024];
  const wchar_t* name = kWideFileNameAsWchar;
  for (auto _ : state) {
    hdbench::opaque(name);
    std::snprintf(buffer, sizeof(buffer), "Cannot open '%ls'", name);
    hdbench::opaque(buffer);
  }
}
BENCHMARK(wideFileNameSnprintf)->Name("wide_file_name/snprintf");

}  // namespace

HDU_BENCHMARK_MAIN()
