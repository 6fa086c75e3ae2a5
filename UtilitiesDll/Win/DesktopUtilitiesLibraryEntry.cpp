// The library's entry routine on Windows (see DesktopUtilitiesLibraryHost.h for
// the whole load and unload sequence). The C runtime has constructed the
// DLL's static objects before DllMain sees DLL_PROCESS_ATTACH, and runs the
// DLL's exit list and static destructors after DllMain has handled
// DLL_PROCESS_DETACH.
//
// The DLL's image entry point is HduDllEntryPoint (set in the link options),
// which hands every call to the C runtime's DllMainCRTStartup but one: the
// process detach of a process that is ending (ExitProcess, a non-null
// reserved argument). By then the system has ended the other threads
// wherever they were, perhaps holding the heap's lock, one of the library's
// locks or one of the runtime's; freeing, allocating or locking anything
// could wait for ever. So at process end the library runs its own detach
// steps (the clock reading, the marker word 0) and stops there: the runtime's
// exit list and the static destructors do not run, and the system takes the
// process's memory back. Logging that must reach its files before the
// process ends is written by ending the session first
// (endApplicationSessionForGlobalFacilitiesPriorToApplicationExit).
// FreeLibrary (a null reserved argument) unloads completely, as always.

#include "DesktopUtilitiesLibraryHost.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      DesktopUtilitiesLibraryHost::OnProcessAttach(instance);
      break;
    case DLL_PROCESS_DETACH:
      // A non-null reserved argument: the process is ending (ExitProcess), not
      // unloading the DLL (FreeLibrary).
      if (reserved != nullptr) {
        DesktopUtilitiesLibraryHost::NoteProcessIsEnding();
      }
      DesktopUtilitiesLibraryHost::OnProcessDetach();
      break;
    default:  // DLL_THREAD_ATTACH, DLL_THREAD_DETACH: nothing to do
      break;
  }
  return TRUE;
}

// The C runtime's entry routine (the default entry point of a MinGW DLL): it
// initialises the runtime, calls DllMain and runs the exit list.
extern "C" BOOL WINAPI DllMainCRTStartup(HANDLE instance, DWORD reason, LPVOID reserved);

extern "C" BOOL WINAPI HduDllEntryPoint(HANDLE instance, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_DETACH && reserved != nullptr) {
    DllMain(static_cast<HINSTANCE>(instance), reason, reserved);
    // Only sets the marker word to 0 when the process is ending.
    UtilitiesDllPerThreadStorage::CleanUpDueToProcessDetach();
    DesktopUtilitiesLibraryHost::NotifyUnloadStep("clean-up");
    return TRUE;
  }
  return DllMainCRTStartup(instance, reason, reserved);
}
