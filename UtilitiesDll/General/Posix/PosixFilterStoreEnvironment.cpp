// The filter store environment of POSIX systems: no registry and no
// printers, so the store is built from its filter list files alone; those
// are looked for beside the library's own image.

#include "General/FilterStoreEnvironment.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <new>

namespace {

class PosixFilterStoreEnvironment final : public IFilterStoreEnvironment {
 public:
  CXString GetPrinterName(void*) override { return {}; }
  CXString GetV4PrinterDriverIDByReverseEngineering(void*) override { return {}; }
  std::unique_ptr<IFilterSettingsKey> OpenMachineKey(const CXString&) override { return nullptr; }
  CXString GetFilterListFolder() override {
    const std::string image = PlatformFacilities::ownModulePath();
    return CXString::fromUtf8Lenient(image.substr(0, image.rfind('/') + 1));
  }
};

}  // namespace

IFilterStoreEnvironment& IFilterStoreEnvironment::GetSystemEnvironment() noexcept {
  // Built in static storage and never destroyed: objects that outlive the
  // library's static objects (a caller's static reader-writer or store) may
  // still use it, and no heap block is left behind at unload.
  alignas(PosixFilterStoreEnvironment) static unsigned char storage[sizeof(PosixFilterStoreEnvironment)];
  static PosixFilterStoreEnvironment* const environment = new (storage) PosixFilterStoreEnvironment();
  return *environment;
}
