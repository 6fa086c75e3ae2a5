// The logging facility side by side with spdlog 1.10:
//   filtered_level          a call whose level is above the maximum, through
//                           HDU_LOG, against spdlog's logger->debug() with the
//                           logger's level at "off"
//   filtered_disabled       a call while logging is off (enable-logging = false)
//   file_unthreaded         one enabled message with a typical prefix (date, time
//                           with milliseconds, process and thread ids, level,
//                           file and line) into a file, written on the calling
//                           thread, against basic_file_sink_st with the pattern
//                           "%Y-%m-%d %H:%M:%S.%e %P %t [%l] %s(%#) %v"
//   file_in_contexts        the same message logged while three execution
//                           contexts are in force (their categories are read
//                           in the complete check), against the same spdlog sink
//   background_1_producer   8,192 messages from one thread through the
//                           background thread into a file, until the last is
//                           written, against spdlog's async logger (queue of
//                           8,192, one worker, blocking when full) whose file
//                           sink counts what it wrote
//   background_4_producers  the same from four threads, 2,048 each
// Every "ours" case reports heap allocations per message (allocs_per_message).
// The configuration home (HDU_CONFIG_HOME) is an empty temporary folder, so a
// developer's own Config.toml does not take part.

#include "BenchSupport.h"

#include "DebuggingAndExceptions/ConstraintExecutionContextStack.h"
#include "DebuggingAndExceptions/ExecutionContextStack.h"
#include "LowLevelFacilities/LoggingFacility.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"

#include <spdlog/async.h>
#include <spdlog/details/file_helper.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <unistd.h>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

std::filesystem::path g_folder;

std::string pathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

void reportAllocations(benchmark::State& state, const hdbench::AllocationCounter& counter, double messages) {
  state.counters["allocs_per_message"] = benchmark::Counter(static_cast<double>(counter.allocations()) / messages);
}

// Starts a session of the global facility with the given [logging] text
// (ending the one before): one session at a time.
void useConfiguration(const std::string& text) {
  LowLevelFacilitiesGlobals::endApplicationSessionForGlobalFacilities();
  LowLevelFacilitiesGlobals::startApplicationSessionForGlobalFacilitiesWithSpecifiedConfiguration(text, "benchmark");
}

std::string fileConfiguration(const char* name, bool background) {
  return std::string("[logging.options]\nenable-logging = true\nmax-verbosity-level = 5\n") + "[logging.destination." +
         name + "]\ntype = \"file\"\nclear-log-files-on-open = true\n" +
         "unlimited-log-file-size-flag = true\nuse-background-thread = " + (background ? "true" : "false") + "\n" +
         "log-file-name-string = \"" + pathText(g_folder / (std::string(name) + ".log")) + "\"\n";
}

const char* const kPattern = "%Y-%m-%d %H:%M:%S.%e %P %t [%l] %s(%#) %v";

// ---- filtered calls ---------------------------------------------------------------

void filteredLevelOurs(benchmark::State& state) {
  useConfiguration(
      "[logging.options]\nenable-logging = true\nmax-verbosity-level = 5\n"
      "[logging.destination.none]\ntype = \"null\"\n");
  int value = 7;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(value);
    HDU_LOG(9, XC_TRACE, "value %d", value);
  }
  reportAllocations(state, counter, static_cast<double>(state.iterations()));
}
BENCHMARK(filteredLevelOurs)->Name("filtered_level/ours");

void filteredSpdlog(benchmark::State& state) {
  auto logger = std::make_shared<spdlog::logger>(
      "filtered", std::make_shared<spdlog::sinks::basic_file_sink_st>(pathText(g_folder / "filtered.log"), true));
  logger->set_level(spdlog::level::off);
  int value = 7;
  for (auto _ : state) {
    hdbench::opaque(value);
    logger->debug("value {}", value);
  }
}
BENCHMARK(filteredSpdlog)->Name("filtered_level/spdlog");
BENCHMARK(filteredSpdlog)->Name("filtered_disabled/spdlog");

void filteredDisabledOurs(benchmark::State& state) {
  useConfiguration("[logging.options]\nenable-logging = false\n[logging.destination.none]\ntype = \"null\"\n");
  int value = 7;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(value);
    HDU_LOG(1, XC_TRACE, "value %d", value);
  }
  reportAllocations(state, counter, static_cast<double>(state.iterations()));
}
BENCHMARK(filteredDisabledOurs)->Name("filtered_disabled/ours");

// ---- one message to a file, on the calling thread ------------------------------------

void fileUnthreadedOurs(benchmark::State& state) {
  useConfiguration(fileConfiguration("unthreaded", false));
  int record = 0;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    ++record;
    hdbench::opaque(record);
    HDU_LOG(2, XC_TRACE, "processed record %d of %d", record, 100000);
  }
  reportAllocations(state, counter, static_cast<double>(state.iterations()));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(fileUnthreadedOurs)->Name("file_unthreaded/ours");

void fileUnthreadedSpdlog(benchmark::State& state) {
  auto logger = std::make_shared<spdlog::logger>(
      "unthreaded", std::make_shared<spdlog::sinks::basic_file_sink_st>(pathText(g_folder / "spdlog_st.log"), true));
  logger->set_pattern(kPattern);
  logger->set_level(spdlog::level::info);
  int record = 0;
  for (auto _ : state) {
    ++record;
    hdbench::opaque(record);
    SPDLOG_LOGGER_INFO(logger, "processed record {} of {}", record, 100000);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(fileUnthreadedSpdlog)->Name("file_unthreaded/spdlog_basic_file_sink_st");
BENCHMARK(fileUnthreadedSpdlog)->Name("file_in_contexts/spdlog_basic_file_sink_st");

// The same message logged while three execution contexts (two general, one
// constraint) are in force: their categories join the message's in the
// complete check, and the destination admits them.
void fileInContextsOurs(benchmark::State& state) {
  useConfiguration(fileConfiguration("in_contexts", false));
  ExecutionContextLifetime outer(
      MakeBasicExecutionContext(ECIE_UI_DIALOG, static_cast<std::uint64_t>(XC_HANDLERS), CPString("dialog")));
  ExecutionContextLifetime inner(MakeBasicExecutionContext(
      ECIE_IMPORT_FROM_PRINT_TICKET, static_cast<std::uint64_t>(XC_PRINTTICKET), CPString("import")));
  ConstraintExecutionContextLifetime constraint(MakeBasicConstraintExecutionContext(
      CECIE_ADD_DI_COMMON_CONSTRAINTS, static_cast<std::uint64_t>(XC_CONSTRAINT), CPString("constraints")));
  int record = 0;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    ++record;
    hdbench::opaque(record);
    HDU_LOG(2, XC_TRACE, "processed record %d of %d", record, 100000);
  }
  reportAllocations(state, counter, static_cast<double>(state.iterations()));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(fileInContextsOurs)->Name("file_in_contexts/ours");

// ---- through the background thread ----------------------------------------------------

constexpr int kBatch = 8192;

// spdlog's basic file sink, counting the messages it has written.
class CountingFileSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  explicit CountingFileSink(const std::string& path) { m_file.open(path, true); }
  std::atomic<long long> written{0};

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    spdlog::memory_buf_t formatted;
    formatter_->format(message, formatted);
    m_file.write(formatted);
    written.fetch_add(1, std::memory_order_release);
  }
  void flush_() override { m_file.flush(); }

 private:
  spdlog::details::file_helper m_file;
};

template <class LogOne>
void produce(int producers, const LogOne& logOne) {
  if (producers == 1) {
    for (int i = 0; i < kBatch; ++i) {
      logOne(0, i);
    }
    return;
  }
  std::vector<std::thread> threads;
  for (int p = 0; p < producers; ++p) {
    threads.emplace_back([p, producers, &logOne] {
      for (int i = 0; i < kBatch / producers; ++i) {
        logOne(p, i);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// (Wall-clock time per batch decides the ratio; the producers' CPU time
// says little when they wait for the background thread.)
void backgroundOurs(benchmark::State& state, int producers) {
  useConfiguration(fileConfiguration("background", true));
  HaldenLogging::LoggingFacility& facility = HaldenLogging::getGlobalLoggingFacility();
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    produce(producers, [](int producer, int i) { HDU_LOG(2, XC_TRACE, "producer %d record %d", producer, i); });
    facility.waitUntilQueuedMessagesAreWritten();
  }
  reportAllocations(state, counter, static_cast<double>(state.iterations()) * kBatch);
}
void backgroundOurs1(benchmark::State& state) {
  backgroundOurs(state, 1);
}
void backgroundOurs4(benchmark::State& state) {
  backgroundOurs(state, 4);
}
BENCHMARK(backgroundOurs1)->Name("background_1_producer/ours");
BENCHMARK(backgroundOurs4)->Name("background_4_producers/ours");

void backgroundSpdlog(benchmark::State& state, int producers) {
  auto pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
  auto sink = std::make_shared<CountingFileSink>(pathText(g_folder / "spdlog_async.log"));
  auto logger = std::make_shared<spdlog::async_logger>("async", sink, pool, spdlog::async_overflow_policy::block);
  logger->set_pattern(kPattern);
  long long expected = 0;
  for (auto _ : state) {
    produce(producers,
            [&logger](int producer, int i) { SPDLOG_LOGGER_INFO(logger, "producer {} record {}", producer, i); });
    expected += kBatch;
    while (sink->written.load(std::memory_order_acquire) < expected) {
      std::this_thread::yield();
    }
  }
}
void backgroundSpdlog1(benchmark::State& state) {
  backgroundSpdlog(state, 1);
}
void backgroundSpdlog4(benchmark::State& state) {
  backgroundSpdlog(state, 4);
}
BENCHMARK(backgroundSpdlog1)->Name("background_1_producer/spdlog_async");
BENCHMARK(backgroundSpdlog4)->Name("background_4_producers/spdlog_async");

}  // namespace

int main(int argc, char** argv) {
  g_folder = std::filesystem::temp_directory_path() / ("hdu-bench-logging-" + std::to_string(::getpid()));
  std::filesystem::create_directories(g_folder / "home");
  ::setenv("HDU_CONFIG_HOME", pathText(g_folder / "home").c_str(), 1);
  LowLevelFacilitiesGlobals::startApplicationSessionForGlobalFacilities();
  const int result = hdbench::runAll(argc, argv);
  LowLevelFacilitiesGlobals::endApplicationSessionForGlobalFacilities();
  std::error_code ignored;
  std::filesystem::remove_all(g_folder, ignored);
  return result;
}
