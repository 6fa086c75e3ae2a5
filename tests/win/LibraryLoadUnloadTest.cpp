// Loads a second, private copy of hd-Utilities.dll, uses its per-thread
// storage from two threads and unloads it: DllMain's process attach remembers
// the copy's own module handle, the static initialisation sets its marker,
// and the unload (DllMain's detach, the clean-up of every thread's storage,
// static destruction) runs to the end.

#include "LowLevelFacilities/FixedBlockSizeMemoryPool.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

std::vector<std::pair<std::string, std::uint32_t>> g_unloadSteps;

void recordUnloadStep(const char* step, std::uint32_t markerWord) {
  g_unloadSteps.emplace_back(step, markerWord);
}

template <class Function>
Function lookUp(HMODULE library, const char* mangledName) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library, mangledName)));
}

}  // namespace

TEST(LibraryLoadUnload, PrivateCopyLoadsWithItsMarkerAndUnloadsCleanly) {
  wchar_t original[MAX_PATH] = {};
  ASSERT_NE(::GetModuleFileNameW(static_cast<HMODULE>(PlatformFacilities::ownModuleHandle()), original, MAX_PATH), 0u);
  std::wstring copy = original;
  copy.replace(copy.rfind(L".dll"), 4, L"-copy-" + std::to_wstring(::GetCurrentProcessId()) + L".dll");
  ASSERT_TRUE(::CopyFileW(original, copy.c_str(), FALSE));

  HMODULE library = ::LoadLibraryW(copy.c_str());
  ASSERT_NE(library, nullptr);
  const auto getMarker = lookUp<std::uint32_t (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage13GetMarkerWordEv");
  const auto getHandle = lookUp<void* (*)()>(library, "_ZN27DesktopUtilitiesLibraryHost23GetModuleInstanceHandleEv");
  const auto getPool =
      lookUp<FixedBlockSizeMemoryPool& (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage22GetSharedPtrMemoryPoolEv");
  const auto countStorages =
      lookUp<std::size_t (*)()>(library, "_ZN28UtilitiesDllPerThreadStorage34GetNumberOfPerThreadStorageObjectsEv");
  const auto detachHasRun = lookUp<bool (*)()>(library, "_ZN27DesktopUtilitiesLibraryHost19HasProcessDetachRunEv");
  using Observer = void (*)(const char*, std::uint32_t);
  const auto setObserver =
      lookUp<void (*)(Observer)>(library, "_ZN27DesktopUtilitiesLibraryHost21SetUnloadStepObserverEPFvPKcjE");
  ASSERT_NE(setObserver, nullptr);
  ASSERT_TRUE(getMarker && getHandle && getPool && countStorages && detachHasRun);

  EXPECT_EQ(getMarker(), 34567u);
  EXPECT_EQ(getHandle(), static_cast<void*>(library));  // remembered by DllMain
  EXPECT_FALSE(detachHasRun());
  EXPECT_EQ(countStorages(), 0u);

  void* block = getPool().AllocateFromPool(12);
  std::thread([&] { getPool().ReturnToPool(block, 12); }).join();
  getPool().AllocateFromPool(12);
  EXPECT_EQ(countStorages(), 2u);

  g_unloadSteps.clear();
  setObserver(&recordUnloadStep);
  ASSERT_TRUE(::FreeLibrary(library));
  EXPECT_EQ(::GetModuleHandleW(copy.c_str()), nullptr) << "the copy stayed loaded";
  // DllMain's detach ran first, while the marker still said "loaded"; the
  // clean-up from the DLL's exit list then set it to 0.
  const std::vector<std::pair<std::string, std::uint32_t>> expected = {{"process detach", 34567u}, {"clean-up", 0u}};
  EXPECT_EQ(g_unloadSteps, expected);
  ::DeleteFileW(copy.c_str());
}
