#pragma once
// DesktopUtilitiesLibraryHost: the library's host module, the portable part of
// what happens when the library is loaded into and unloaded from a process,
// and the UtilitiesLibraryHost services of the desktop build.
//
// Load and unload, in this order on both platforms:
//  1. Static initialisation of the library's globals. Among them the per-thread
//     storage's initialiser sets the marker word to 34567 and registers the
//     unload clean-up with the runtime's exit list.
//  2. Process attach (DllMain on Windows, Win/DesktopUtilitiesLibraryEntry.cpp;
//     a static initialiser on POSIX, Posix/DesktopUtilitiesLibraryEntry.cpp):
//     only remembers the module instance handle. Thread attach and detach do
//     nothing.
//  3. Process detach: selects the clock function once, under its own lock with
//     a check before and after taking it (the performance counter when its
//     frequency can be read, otherwise the tick clock), and reads it into the
//     unload time stamp. DllMain runs it on Windows, before the DLL's static
//     destructors and exit list; on POSIX the exit-list function runs it just
//     before the clean-up.
//  4. The exit list runs UtilitiesDllPerThreadStorage::CleanUpDueToProcessDetach
//     (marker 0), then the static destructors. When the process is ending
//     (Windows tells DllMain so), the DLL's entry point runs the clean-up
//     itself, which then only sets the marker to 0, and neither the exit list
//     nor the static destructors run (Win/DesktopUtilitiesLibraryEntry.cpp):
//     the other threads were stopped wherever they were, and nothing at this
//     step may wait for a lock or use the heap.
//
// The state kept here is trivially destructible (atomics and a std::mutex,
// which the standard library constructs statically and never destroys), so it
// is usable at every step above whatever the order of static destruction.

#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <cstdint>

namespace DesktopUtilitiesLibraryHost {

using ClockFunction = std::uint64_t (*)() noexcept;

// Entry-routine steps (called by the platform's entry code).
HDU_API void OnProcessAttach(void* moduleInstanceHandle) noexcept;
HDU_API void OnProcessDetach() noexcept;
// Runs OnProcessDetach unless it has run already (the exit-list function's
// first step; on Windows DllMain has always run it by then).
HDU_API void RunProcessDetachStepsIfNotYetRun() noexcept;
// The process is ending (Windows: DllMain's process detach with a non-null
// reserved argument), not merely unloading the library: the system has ended
// the other threads wherever they were, perhaps holding a lock of the
// library, so the unload clean-up must not wait for any lock.
HDU_API void NoteProcessIsEnding() noexcept;
HDU_API bool IsProcessEnding() noexcept;

// The handle remembered at process attach (HMODULE on Windows; the base
// address of the library's image on POSIX); null before attach.
HDU_API void* GetModuleInstanceHandle() noexcept;
// The clock function, selected once (selecting it now if nobody has yet).
HDU_API ClockFunction GetSelectedClockFunction() noexcept;
HDU_API bool IsPerformanceCounterSelected() noexcept;
// The clock reading taken at process detach; 0 before.
HDU_API std::uint64_t GetUnloadTimeStamp() noexcept;
HDU_API bool HasProcessDetachRun() noexcept;

// Diagnostics of the unload sequence: the observer (a function of another
// module, for instance a test that unloads a private copy of the library) is
// told of each unload step as it completes, with the marker word at that
// moment: "process detach", then "clean-up".
using UnloadStepObserver = void (*)(const char* step, std::uint32_t markerWord);
HDU_API void SetUnloadStepObserver(UnloadStepObserver observer) noexcept;
HDU_API void NotifyUnloadStep(const char* step) noexcept;

}  // namespace DesktopUtilitiesLibraryHost

// The UtilitiesLibraryHost services this module implements are declared in
// UtilitiesLibraryHost.h.
