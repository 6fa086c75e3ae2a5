// Loads a second, private copy of the library, uses its per-thread storage
// from two threads and unloads it: the copy's static initialisation sets its
// marker, and its unload (detach steps, clean-up of every thread's storage,
// static destruction) must run to the end without touching freed memory (the
// test runs under AddressSanitizer).

#include "LowLevelFacilities/FixedBlockSizeMemoryPool.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// The copy defines the same exported globals as the library the test program
// is linked with; that is the point of the test, so AddressSanitizer reports
// only one-definition violations between globals of different sizes (level 1)
// instead of every second definition (its default, level 2).
extern "C" const char* __asan_default_options() {
  return "detect_odr_violation=1";
}

namespace {

std::vector<std::pair<std::string, std::uint32_t>> g_unloadSteps;

void recordUnloadStep(const char* step, std::uint32_t markerWord) {
  g_unloadSteps.emplace_back(step, markerWord);
}

template <class Function>
Function lookUp(void* library, const char* mangledName) {
  return reinterpret_cast<Function>(::dlsym(library, mangledName));
}

// A private copy of the library, loaded and unloaded by the test.
std::filesystem::path copyTheLibrary(const char* suffix) {
  std::filesystem::path copy =
      std::filesystem::temp_directory_path() /
      ("libhd-Utilities-" + std::string(suffix) + "-" + std::to_string(PlatformFacilities::currentProcessId()) + ".so");
  std::filesystem::copy_file(PlatformFacilities::ownModulePath(), copy,
                             std::filesystem::copy_options::overwrite_existing);
  return copy;
}

// Allocations the leak checker is not to report: the storage of a thread that
// runs through the unload clean-up is deliberately never freed.
struct NotReportedAsLeaks {
#if defined(__SANITIZE_ADDRESS__)
  NotReportedAsLeaks() {
    __lsan_disable();
  }
  ~NotReportedAsLeaks() {
    __lsan_enable();
  }
#else
  NotReportedAsLeaks() = default;
#endif
  NotReportedAsLeaks(const NotReportedAsLeaks&) = delete;
  NotReportedAsLeaks& operator=(const NotReportedAsLeaks&) = delete;
};

}  // namespace

TEST(LibraryLoadUnload, PrivateCopyLoadsWithItsMarkerAndUnloadsCleanly) {
  const std::filesystem::path original = PlatformFacilities::ownModulePath();
  ASSERT_FALSE(original.empty());
  const std::filesystem::path copy =
      std::filesystem::temp_directory_path() /
      ("libhd-Utilities-copy-" + std::to_string(PlatformFacilities::currentProcessId()) + ".so");
  std::filesystem::copy_file(original, copy, std::filesystem::copy_options::overwrite_existing);

  void* library = ::dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << ::dlerror();
  const auto getMarker = lookUp<std::uint32_t (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage13GetMarkerWordEv");
  const auto getHandle = lookUp<void* (*)()>(library, "_ZN27DesktopUtilitiesLibraryHost23GetModuleInstanceHandleEv");
  const auto getPool =
      lookUp<FixedBlockSizeMemoryPool& (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage22GetSharedPtrMemoryPoolEv");
  const auto countStorages =
      lookUp<std::size_t (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage34GetNumberOfPerThreadStorageObjectsEv");
  using Observer = void (*)(const char*, std::uint32_t);
  const auto setObserver =
      lookUp<void (*)(Observer)>(library, "_ZN27DesktopUtilitiesLibraryHost21SetUnloadStepObserverEPFvPKcjE");
  ASSERT_NE(setObserver, nullptr);
  ASSERT_TRUE(getMarker && getHandle && getPool && countStorages);

  EXPECT_EQ(getMarker(), 34567u);
  EXPECT_NE(getHandle(), nullptr);
  EXPECT_NE(getHandle(), PlatformFacilities::ownModuleHandle());  // the copy is its own image
  EXPECT_EQ(countStorages(), 0u);

  // Storage on this thread and on a worker; a block crosses between them.
  void* block = getPool().AllocateFromPool(12);
  std::thread([&] { getPool().ReturnToPool(block, 12); }).join();
  getPool().ReturnToPool(getPool().AllocateFromPool(12), 12);
  EXPECT_EQ(countStorages(), 2u);  // the worker's waits for reuse

  g_unloadSteps.clear();
  setObserver(&recordUnloadStep);
  ASSERT_EQ(::dlclose(library), 0);
  EXPECT_EQ(::dlopen(copy.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "the copy stayed loaded";
  // The detach steps ran first, while the marker still said "loaded"; the
  // clean-up then set it to 0.
  const std::vector<std::pair<std::string, std::uint32_t>> expected = {{"process detach", 34567u}, {"clean-up", 0u}};
  EXPECT_EQ(g_unloadSteps, expected);
  std::filesystem::remove(copy);
}

// exit() runs the library's clean-up while other threads may still run. A
// thread that has just looked at the marker word and is using its own pool
// must find it still there: the clean-up sets the marker to 0 first, leaves
// the storage of a thread that has not ended alone, and combines and frees
// only those of ended threads. Here the clean-up is called directly, as the
// exit list would call it, while a worker holds a reference to its pool.
TEST(LibraryLoadUnload, CleanUpLeavesTheStorageOfARunningThreadAlone) {
  const std::filesystem::path copy = copyTheLibrary("running");
  void* library = ::dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << ::dlerror();
  using Storage = void;
  const auto getMarker = lookUp<std::uint32_t (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage13GetMarkerWordEv");
  const auto getPool =
      lookUp<FixedBlockSizeMemoryPool& (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage22GetSharedPtrMemoryPoolEv");
  const auto whileLoaded =
      lookUp<Storage* (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage21GetStorageWhileLoadedEv");
  const auto tryGet =
      lookUp<Storage* (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage40TryGetUtilitiesDllPerThreadStorageObjectEv");
  const auto cleanUp = lookUp<void (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage25CleanUpDueToProcessDetachEv");
  ASSERT_TRUE(getMarker && getPool && whileLoaded && tryGet && cleanUp);

  {
    // With a thread that may still run, the clean-up keeps this thread's
    // storage too (its chunks may hold that thread's blocks).
    NotReportedAsLeaks notReported;
    getPool().ReturnToPool(getPool().AllocateFromPool(12), 12);
    std::thread([&] { getPool().ReturnToPool(getPool().AllocateFromPool(12), 12); }).join();  // ended
  }

  std::mutex mutex;
  std::condition_variable changed;
  int stage = 0;  // 1: the worker uses its pool; 2: the clean-up has run; 3: the worker is done
  Storage* workerStorageAfter = &stage;
  Storage* workerTryGetAfter = &stage;
  std::thread worker([&] {
    FixedBlockSizeMemoryPool* pool = nullptr;
    void* block = nullptr;
    {
      NotReportedAsLeaks notReported;
      pool = &getPool();
      block = pool->AllocateFromPool(12);
    }
    std::unique_lock<std::mutex> lock(mutex);
    stage = 1;
    changed.notify_all();
    changed.wait(lock, [&] { return stage == 2; });
    // Past its look at the marker word, the thread still uses its pool.
    pool->ReturnToPool(block, 12);
    for (int i = 0; i < 5000; ++i) {
      pool->ReturnToPool(pool->AllocateFromPool(12), 12);
    }
    workerStorageAfter = whileLoaded();
    workerTryGetAfter = tryGet();
    stage = 3;
    changed.notify_all();
  });
  {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return stage == 1; });
  }
  {
    NotReportedAsLeaks notReported;  // the list of storages set aside
    cleanUp();
  }
  EXPECT_EQ(getMarker(), 0u);
  EXPECT_EQ(whileLoaded(), nullptr);
  EXPECT_EQ(tryGet(), nullptr);
  {
    std::unique_lock<std::mutex> lock(mutex);
    stage = 2;
    changed.notify_all();
    changed.wait(lock, [&] { return stage == 3; });
  }
  worker.join();
  EXPECT_EQ(workerStorageAfter, nullptr);
  EXPECT_EQ(workerTryGetAfter, nullptr);
  ASSERT_EQ(::dlclose(library), 0);  // the exit list's clean-up finds nothing more to do
  std::filesystem::remove(copy);
}
