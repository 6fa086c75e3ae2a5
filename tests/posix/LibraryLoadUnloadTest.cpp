// Loads a second, private copy of the library, uses its per-thread storage
// from two threads and unloads it: the copy's static initialisation sets its
// marker, and its unload (detach steps, clean-up of every thread's storage,
// static destruction) must run to the end without touching freed memory (the
// test runs under AddressSanitizer).

#include "LowLevelFacilities/FixedBlockSizeMemoryPool.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
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
  getPool().AllocateFromPool(12);
  EXPECT_EQ(countStorages(), 2u);

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
