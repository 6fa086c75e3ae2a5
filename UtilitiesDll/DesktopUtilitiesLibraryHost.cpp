#include "DesktopUtilitiesLibraryHost.h"
#include "UtilitiesLibraryHost.h"

#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <atomic>
#include <string>
#include <thread>

namespace DesktopUtilitiesLibraryHost {

namespace {

std::atomic<void*> g_moduleInstanceHandle{nullptr};
std::atomic<ClockFunction> g_selectedClockFunction{nullptr};
// The clock selection's lock: a flag, because the selection may first be
// needed at process detach, when the system has ended the other threads
// wherever they were, perhaps inside the heap. A flag takes nothing from the
// heap (a std::mutex of the MinGW runtime allocates its implementation when it
// is first locked) and cannot fail.
std::atomic_flag g_clockSelectionLock = ATOMIC_FLAG_INIT;
std::atomic<std::uint64_t> g_unloadTimeStamp{0};
std::atomic<bool> g_processDetachHasRun{false};
std::atomic<bool> g_processIsEnding{false};
std::atomic<UnloadStepObserver> g_unloadStepObserver{nullptr};

ClockFunction selectClockFunctionOnce() noexcept {
  ClockFunction clock = g_selectedClockFunction.load(std::memory_order_acquire);
  if (clock != nullptr) {
    return clock;
  }
  // When the process is ending, a thread ended in the middle of a selection
  // never gives the lock back: the selection then goes ahead without it (both
  // selections choose the same clock).
  bool locked = false;
  for (;;) {
    locked = !g_clockSelectionLock.test_and_set(std::memory_order_acquire);
    if (locked || IsProcessEnding()) {
      break;
    }
    std::this_thread::yield();
  }
  clock = g_selectedClockFunction.load(std::memory_order_acquire);
  if (clock == nullptr) {
    std::uint64_t frequency = 0;
    clock = PlatformFacilities::queryPerformanceFrequency(frequency) ? &PlatformFacilities::readPerformanceCounter
                                                                     : &PlatformFacilities::readTickClock;
    g_selectedClockFunction.store(clock, std::memory_order_release);
  }
  if (locked) {
    g_clockSelectionLock.clear(std::memory_order_release);
  }
  return clock;
}

}  // namespace

void OnProcessAttach(void* moduleInstanceHandle) noexcept {
  g_moduleInstanceHandle.store(moduleInstanceHandle, std::memory_order_release);
}

void OnProcessDetach() noexcept {
  const ClockFunction clock = selectClockFunctionOnce();
  g_unloadTimeStamp.store(clock(), std::memory_order_release);
  g_processDetachHasRun.store(true, std::memory_order_release);
  NotifyUnloadStep("process detach");
}

void RunProcessDetachStepsIfNotYetRun() noexcept {
  if (!g_processDetachHasRun.load(std::memory_order_acquire)) {
    OnProcessDetach();
  }
}

void NoteProcessIsEnding() noexcept {
  g_processIsEnding.store(true, std::memory_order_release);
}

bool IsProcessEnding() noexcept {
  return g_processIsEnding.load(std::memory_order_acquire);
}

void* GetModuleInstanceHandle() noexcept {
  return g_moduleInstanceHandle.load(std::memory_order_acquire);
}

ClockFunction GetSelectedClockFunction() noexcept {
  return selectClockFunctionOnce();
}

bool IsPerformanceCounterSelected() noexcept {
  return selectClockFunctionOnce() == &PlatformFacilities::readPerformanceCounter;
}

std::uint64_t GetUnloadTimeStamp() noexcept {
  return g_unloadTimeStamp.load(std::memory_order_acquire);
}

bool HasProcessDetachRun() noexcept {
  return g_processDetachHasRun.load(std::memory_order_acquire);
}

void SetUnloadStepObserver(UnloadStepObserver observer) noexcept {
  g_unloadStepObserver.store(observer, std::memory_order_release);
}

void NotifyUnloadStep(const char* step) noexcept {
  if (const UnloadStepObserver observer = g_unloadStepObserver.load(std::memory_order_acquire)) {
    observer(step, UtilitiesDllPerThreadStorage::GetMarkerWord());
  }
}

}  // namespace DesktopUtilitiesLibraryHost

namespace UtilitiesLibraryHost {

CXString TryGetCallingApplicationFilenameWithoutExtensionOrSpaces() {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  std::string name = PlatformFacilities::processName();
  const std::size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot != 0) {
    name.erase(dot);
  }
  std::string withoutSpaces;
  withoutSpaces.reserve(name.size());
  for (const char c : name) {
    if (c != ' ') {
      withoutSpaces.push_back(c);
    }
  }
  return CXString::fromUtf8Lenient(withoutSpaces);
}

}  // namespace UtilitiesLibraryHost
