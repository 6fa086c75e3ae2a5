#pragma once
// Shared helpers of the benchmark programs (one program per bench/*.cpp;
// include this header from exactly that one file).
//
// - opaque(value): hides a value from the optimiser. Google Benchmark 1.7.1's
//   DoNotOptimize on a variable is miscompiled by g++ 12 at -O2, so inputs and
//   results go through this empty asm barrier instead.
// - Allocation counting: the program's operator new counts calls;
//   AllocationCounter reads the count around a measured region.
// - Side-by-side naming: register our code as "<case>/ours" and each peer as
//   "<case>/<peer>" (for example "crc32_64KiB/ours" and "crc32_64KiB/zlib").
//   HDU_BENCHMARK_MAIN() runs everything, then prints one line per pair:
//   "ratio <case>: ours is <x>x the speed of <peer>" (above 1 means faster).
// - Before any benchmark runs, the main starts and joins one thread, so that
//   libstdc++ uses its atomic reference counts from the start (it counts
//   non-atomically until a process has started its first thread).

// g++ 12 pairs the counting operator new/delete below (malloc and free) with
// the other side's operator call once they are inlined into a caller and
// reports a mismatch that is not there; the warning is off for every program
// that includes this header.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace hdbench {

template <class T>
inline void opaque(T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}
template <class T>
inline void opaque(const T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

inline std::atomic<unsigned long long>& allocationCount() {
  static std::atomic<unsigned long long> count{0};
  return count;
}

// Counts the heap allocations made while it lives.
class AllocationCounter {
public:
  AllocationCounter() : m_start(allocationCount().load(std::memory_order_relaxed)) {}
  unsigned long long allocations() const { return allocationCount().load(std::memory_order_relaxed) - m_start; }

private:
  unsigned long long m_start;
};

class RatioReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
        // The case's own name (and arguments), without the suffixes of fixed
        // iterations or manual time, so that such cases pair up too.
        std::string name = run.run_name.function_name;
        if (!run.run_name.args.empty()) {
          name += "/" + run.run_name.args;
        }
        m_times[name] = run.GetAdjustedRealTime();
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void printRatios() const {
    std::printf("\n");
    for (const auto& [name, ourTime] : m_times) {
      const std::string suffix = "/ours";
      if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
        continue;
      }
      const std::string group = name.substr(0, name.size() - suffix.size());
      for (const auto& [peerName, peerTime] : m_times) {
        if (peerName != name && peerName.rfind(group + "/", 0) == 0 &&
            peerName.find('/', group.size() + 1) == std::string::npos) {
          std::printf("ratio %s: ours is %.2fx the speed of %s\n", group.c_str(), peerTime / ourTime,
                      peerName.substr(group.size() + 1).c_str());
        }
      }
    }
  }

private:
  std::map<std::string, double> m_times;
};

inline int runAll(int argc, char** argv) {
  std::thread([] {}).join();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printRatios();
  benchmark::Shutdown();
  return 0;
}

}  // namespace hdbench

// The program's allocation functions: count, then allocate as usual. They are
// kept out of line: once inlined into a caller, g++ 12 pairs malloc() or free()
// with the other side's operator call and reports a mismatch.
__attribute__((noinline)) void* operator new(std::size_t size) {
  hdbench::allocationCount().fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size == 0 ? 1 : size)) {
    return p;
  }
  throw std::bad_alloc();
}
__attribute__((noinline)) void* operator new[](std::size_t size) { return operator new(size); }
__attribute__((noinline)) void operator delete(void* p) noexcept { std::free(p); }
__attribute__((noinline)) void operator delete[](void* p) noexcept { std::free(p); }
__attribute__((noinline)) void operator delete(void* p, std::size_t) noexcept { std::free(p); }
__attribute__((noinline)) void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

#define HDU_BENCHMARK_MAIN() \
  int main(int argc, char** argv) { return hdbench::runAll(argc, argv); }
