// The library's entry routine on Windows (see DesktopUtilitiesLibraryHost.h for
// the whole load and unload sequence). The C runtime has constructed the
// DLL's static objects before DllMain sees DLL_PROCESS_ATTACH, and runs the
// DLL's exit list and static destructors after DllMain has handled
// DLL_PROCESS_DETACH.

#include "DesktopUtilitiesLibraryHost.h"

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
