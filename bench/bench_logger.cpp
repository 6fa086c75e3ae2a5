// The file logger, side by side with spdlog:
//   line_to_file   one typical message through Logger::LogMessage (cross-process
//                  lock, open, size check, append, close for every line) against
//                  spdlog's basic_file_sink_mt with a comparable pattern and a
//                  flush after every line (so that each line reaches the system,
//                  as ours does; spdlog keeps its file open and takes no
//                  cross-process lock).
//   time_stamp     Logger::FormatTimeStamp against strftime with the nearest
//                  pattern ("%m/%d/%Y %I:%M:%S %p", which pads and has no 0 hour).
// "ours" reports heap allocations per message (allocs_per_message).

#include "BenchSupport.h"

#include "LowLevelFacilities/Logger.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <ctime>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

class BenchLogger : public Logger {
 public:
  explicit BenchLogger(const CXString& root) : Logger(CXString(u"BenchApp"), CXString(), root, true) {}
};

fs::path scratchFolder(const char* name) {
  const fs::path folder = fs::temp_directory_path() / name;
  fs::remove_all(folder);
  fs::create_directories(folder);
  return folder;
}

void reportAllocations(benchmark::State& state, const hdbench::AllocationCounter& counter) {
  state.counters["allocs_per_message"] =
      benchmark::Counter(static_cast<double>(counter.allocations()) / static_cast<double>(state.iterations()));
}

void lineToFileOurs(benchmark::State& state) {
  const fs::path folder = scratchFolder("hdu-bench-logger");
  BenchLogger logger(CXString(folder.u16string()));
  const CXString message(u"Job 42: rendering page 7 of 12 with 600 dpi, duplex long edge");
  logger.LogMessage(message);  // creates folder, lock and file
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(message);
    logger.LogMessage(message);
  }
  reportAllocations(state, counter);
  fs::remove_all(folder);
}
BENCHMARK(lineToFileOurs)->Name("line_to_file/ours");

void lineToFileSpdlog(benchmark::State& state) {
  const fs::path folder = scratchFolder("hdu-bench-spdlog");
  auto logger = spdlog::basic_logger_mt("bench", (folder / "BenchApp.log").string());
  logger->set_pattern("[%m/%d/%Y %I:%M:%S %p] %n(PID%P/TID%t): %v");
  logger->flush_on(spdlog::level::trace);
  const std::string message = "Job 42: rendering page 7 of 12 with 600 dpi, duplex long edge";
  for (auto _ : state) {
    hdbench::opaque(message);
    logger->info(message);
  }
  spdlog::drop("bench");
  fs::remove_all(folder);
}
BENCHMARK(lineToFileSpdlog)->Name("line_to_file/spdlog_mt_flush");

void timeStampOurs(benchmark::State& state) {
  PlatformFacilities::LocalTime time{2024, 11, 22, 13, 5, 9, 0, 5};
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(time);
    CXString stamp = Logger::FormatTimeStamp(time);
    hdbench::opaque(stamp);
  }
  reportAllocations(state, counter);
}
BENCHMARK(timeStampOurs)->Name("time_stamp/ours");

void timeStampStrftime(benchmark::State& state) {
  std::tm time{};
  time.tm_year = 124;
  time.tm_mon = 10;
  time.tm_mday = 22;
  time.tm_hour = 13;
  time.tm_min = 5;
  time.tm_sec = 9;
  char buffer[64];
  for (auto _ : state) {
    hdbench::opaque(time);
    std::strftime(buffer, sizeof(buffer), "%m/%d/%Y %I:%M:%S %p", &time);
    hdbench::opaque(buffer);
  }
}
BENCHMARK(timeStampStrftime)->Name("time_stamp/strftime");

}  // namespace

HDU_BENCHMARK_MAIN()
