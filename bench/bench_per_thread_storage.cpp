// The per-thread storage in the patterns of a long-running spooler, ours
// against std::shared_ptr (std::make_shared) in the same run:
//   producer_consumer  one thread makes 4,000,000 objects, another releases
//                      them, never more than 1,000 alive
//   thread_per_task    2,000 short-lived threads in waves of 8 alive at
//                      once, each makes two objects that outlive it
// Each case runs once, in a forked child so that its memory is its own; the
// time is the child's and peak_MB is how far the child's resident set grew
// above its size at the start (the high-water mark, VmHWM). storages counts
// the per-thread storages the case added.
//   unload_2000_threads  a private copy of the library is loaded, 2,000
//                      threads (all alive at once) use it and end, and the
//                      copy is unloaded: the time from the entry routine's
//                      process detach to the end of the clean-up. Its peer
//                      frees the same memory with operator delete, the least
//                      any clean-up must do.

#include "BenchSupport.h"

#include "DesktopUtilitiesLibraryHost.h"
#include "LowLevelFacilities/HldSharedPtr.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <dlfcn.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <latch>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Payload {
  explicit Payload(int v) : value(v) {}
  virtual ~Payload() = default;
  int value;
  int more[3] = {};
};

long readStatusKiB(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const std::size_t length = std::char_traits<char>::length(field);
  while (std::getline(status, line)) {
    if (line.compare(0, length, field) == 0 && line.size() > length && line[length] == ':') {
      return std::stol(line.substr(length + 1));
    }
  }
  return -1;
}

struct ChildResult {
  double seconds = -1;
  double peakKiB = -1;
  double storages = -1;
};

// Runs the case in a forked child: its time, its peak growth of the resident
// set, and the per-thread storages it added.
template <class Operation>
ChildResult runInChild(Operation operation) {
  int channel[2];
  if (pipe(channel) != 0) {
    return {};
  }
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    malloc_trim(0);
    ChildResult result;
    if (std::FILE* clear = std::fopen("/proc/self/clear_refs", "w")) {
      // "5" resets the high-water mark (VmHWM) to the current resident size.
      const bool reset = std::fputs("5", clear) >= 0;
      if (std::fclose(clear) == 0 && reset) {
        const long before = readStatusKiB("VmRSS");
        const std::size_t storagesBefore = UtilitiesDllPerThreadStorage::GetNumberOfPerThreadStorageObjects();
        const Clock::time_point start = Clock::now();
        operation();
        result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
        result.peakKiB = static_cast<double>(readStatusKiB("VmHWM") - before);
        result.storages =
            static_cast<double>(UtilitiesDllPerThreadStorage::GetNumberOfPerThreadStorageObjects() - storagesBefore);
      }
    }
    const ssize_t written = write(channel[1], &result, sizeof result);
    _exit(written == static_cast<ssize_t>(sizeof result) ? 0 : 1);
  }
  close(channel[1]);
  ChildResult result;
  if (child < 0 || read(channel[0], &result, sizeof result) != static_cast<ssize_t>(sizeof result)) {
    result = {};
  }
  close(channel[0]);
  if (child > 0) {
    int status = 0;
    waitpid(child, &status, 0);
  }
  return result;
}

template <class Operation>
void runCase(benchmark::State& state, Operation operation) {
  for (auto _ : state) {
    const ChildResult result = runInChild(operation);
    if (result.seconds < 0) {
      state.SkipWithError("the child could not measure (no /proc/self/clear_refs?)");
      return;
    }
    state.SetIterationTime(result.seconds);
    state.counters["peak_MB"] = result.peakKiB / 1024.0;
    state.counters["storages"] = result.storages;
  }
}

// ---- producer and consumer ---------------------------------------------------

constexpr int kProducedObjects = 4000000;
constexpr int kAliveAtMost = 1000;

template <class Pointer, class Make>
void producerConsumer(Make make) {
  std::vector<Pointer> ring(kAliveAtMost);
  std::atomic<int> produced{0};
  std::atomic<int> consumed{0};
  std::thread producer([&] {
    for (int i = 0; i < kProducedObjects; ++i) {
      while (i - consumed.load(std::memory_order_acquire) >= kAliveAtMost) {
        std::this_thread::yield();
      }
      ring[static_cast<std::size_t>(i % kAliveAtMost)] = make(i);
      produced.store(i + 1, std::memory_order_release);
    }
  });
  std::thread consumer([&] {
    for (int i = 0; i < kProducedObjects; ++i) {
      while (produced.load(std::memory_order_acquire) <= i) {
        std::this_thread::yield();
      }
      Pointer taken = std::move(ring[static_cast<std::size_t>(i % kAliveAtMost)]);
      hdbench::opaque(taken);
      consumed.store(i + 1, std::memory_order_release);
    }
  });
  producer.join();
  consumer.join();
}

void producerConsumerOurs(benchmark::State& state) {
  runCase(state, [] { producerConsumer<HldSharedPtr<Payload>>([](int i) { return MakeHldShared<Payload>(i); }); });
}
BENCHMARK(producerConsumerOurs)
    ->Name("producer_consumer/ours")
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void producerConsumerStd(benchmark::State& state) {
  runCase(state,
          [] { producerConsumer<std::shared_ptr<Payload>>([](int i) { return std::make_shared<Payload>(i); }); });
}
BENCHMARK(producerConsumerStd)
    ->Name("producer_consumer/std_make_shared")
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// ---- a thread per task ---------------------------------------------------------

constexpr int kTasks = 2000;
constexpr int kTasksAtOnce = 8;

template <class Pointer, class Make>
void threadPerTask(Make make) {
  std::vector<Pointer> results;
  results.reserve(2 * kTasks);
  std::mutex mutex;
  for (int wave = 0; wave < kTasks / kTasksAtOnce; ++wave) {
    std::vector<std::thread> threads;
    threads.reserve(kTasksAtOnce);
    std::latch allMade(kTasksAtOnce);  // the threads of a wave are alive at once
    for (int t = 0; t < kTasksAtOnce; ++t) {
      threads.emplace_back([&, task = wave * kTasksAtOnce + t] {
        Pointer first = make(task);
        Pointer second = make(-task);
        {
          std::lock_guard<std::mutex> lock(mutex);
          results.push_back(std::move(first));
          results.push_back(std::move(second));
        }
        allMade.arrive_and_wait();
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  hdbench::opaque(results);
}

void threadPerTaskOurs(benchmark::State& state) {
  runCase(state, [] { threadPerTask<HldSharedPtr<Payload>>([](int i) { return MakeHldShared<Payload>(i); }); });
}
BENCHMARK(threadPerTaskOurs)
    ->Name("thread_per_task/ours")
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void threadPerTaskStd(benchmark::State& state) {
  runCase(state, [] { threadPerTask<std::shared_ptr<Payload>>([](int i) { return std::make_shared<Payload>(i); }); });
}
BENCHMARK(threadPerTaskStd)
    ->Name("thread_per_task/std_make_shared")
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// ---- unload after 2,000 threads --------------------------------------------------

constexpr int kUnloadThreads = 2000;

// Nanoseconds of the steady clock at the two unload steps.
std::atomic<long long> g_detachTime{0};
std::atomic<long long> g_cleanUpTime{0};

void recordUnloadStep(const char* step, std::uint32_t /*markerWord*/) {
  const long long now = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
  (std::strcmp(step, "process detach") == 0 ? g_detachTime : g_cleanUpTime).store(now);
}

// Loads a private copy of the library, lets 2,000 threads that are alive at
// the same time use it, lets them end, and unloads it. Answers the seconds
// from process detach to the end of the clean-up (negative on failure).
double unloadAfterThreads() {
  const std::filesystem::path copy =
      std::filesystem::temp_directory_path() /
      ("libhd-Utilities-bench-" + std::to_string(PlatformFacilities::currentProcessId()) + ".so");
  std::filesystem::copy_file(PlatformFacilities::ownModulePath(), copy,
                             std::filesystem::copy_options::overwrite_existing);
  void* library = ::dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    return -1;
  }
  using GetPool = FixedBlockSizeMemoryPool& (*)();
  using Observer = void (*)(const char*, std::uint32_t);
  const auto getPool =
      reinterpret_cast<GetPool>(::dlsym(library, "_ZN28UtilitiesDllPerThreadStorage22GetSharedPtrMemoryPoolEv"));
  const auto setObserver = reinterpret_cast<void (*)(Observer)>(
      ::dlsym(library, "_ZN27DesktopUtilitiesLibraryHost21SetUnloadStepObserverEPFvPKcjE"));
  if (getPool == nullptr || setObserver == nullptr) {
    ::dlclose(library);
    return -1;
  }
  std::mutex mutex;
  std::condition_variable allThere;
  int there = 0;
  std::vector<std::thread> threads;
  threads.reserve(kUnloadThreads);
  for (int t = 0; t < kUnloadThreads; ++t) {
    threads.emplace_back([&] {
      // A few blocks in use and returned, some on another thread's pool.
      FixedBlockSizeMemoryPool& pool = getPool();
      void* blocks[8];
      for (void*& block : blocks) {
        block = pool.AllocateFromPool(12);
      }
      for (void* block : blocks) {
        pool.ReturnToPool(block, 12);
      }
      std::unique_lock<std::mutex> lock(mutex);
      ++there;
      allThere.notify_all();
      allThere.wait(lock, [&] { return there == kUnloadThreads; });
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  setObserver(&recordUnloadStep);
  ::dlclose(library);
  std::filesystem::remove(copy);
  return static_cast<double>(g_cleanUpTime.load() - g_detachTime.load()) / 1e9;
}

void unloadOurs(benchmark::State& state) {
  for (auto _ : state) {
    const double seconds = unloadAfterThreads();
    if (seconds < 0) {
      state.SkipWithError("the library copy could not be loaded");
      return;
    }
    state.SetIterationTime(seconds);
  }
}
BENCHMARK(unloadOurs)->Name("unload_2000_threads/ours")->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

// The memory the clean-up frees (a storage and one chunk of control blocks
// per thread), freed with operator delete.
void unloadHeapFree(benchmark::State& state) {
  const std::size_t chunkBytes = 16 + std::size_t{UtilitiesDllPerThreadStorage::kSharedPtrBlocksPerChunk} * 16;
  for (auto _ : state) {
    std::vector<void*> blocks;
    blocks.reserve(std::size_t{2} * kUnloadThreads);
    for (int t = 0; t < kUnloadThreads; ++t) {
      blocks.push_back(::operator new(sizeof(UtilitiesDllPerThreadStorage)));
      blocks.push_back(::operator new(chunkBytes));
      std::memset(blocks.back(), 0, chunkBytes);
    }
    const Clock::time_point start = Clock::now();
    for (void* block : blocks) {
      ::operator delete(block);
    }
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
}
BENCHMARK(unloadHeapFree)
    ->Name("unload_2000_threads/operator_delete")
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

HDU_BENCHMARK_MAIN()
