// The POSIX counterpart of the library's entry routine (see
// DesktopUtilitiesLibraryHost.h for the whole load and unload sequence).
//
// A shared object has no DllMain. Process attach is this file's static
// initialiser; it only remembers the handle of the library's own image, so its
// place among the other static initialisers does not matter. Process detach
// runs from the exit-list function that the per-thread storage registers at
// static initialisation, just before the unload clean-up, which gives the same
// order as on Windows: detach steps, clean-up, static destructors.

#include "DesktopUtilitiesLibraryHost.h"
#include "LowLevelFacilities/PlatformFacilities.h"

namespace {

struct PosixProcessAttach {
  PosixProcessAttach() noexcept { DesktopUtilitiesLibraryHost::OnProcessAttach(PlatformFacilities::ownModuleHandle()); }
};

PosixProcessAttach g_posixProcessAttach;

}  // namespace
