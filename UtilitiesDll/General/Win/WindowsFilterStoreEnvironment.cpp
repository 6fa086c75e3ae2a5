// The filter store environment of Windows: the printer's name and driver from
// the spooler, and the filter list files beside the library's own image.

#include "DebuggingAndExceptions/CPException.h"
#include "Environment/Win/Printer.h"
#include "General/FilterStoreEnvironment.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <new>

namespace {

class WindowsFilterStoreEnvironment final : public IFilterStoreEnvironment {
 public:
  // An unreadable name or driver counts as unknown: wildcards then match
  // only "*", and the driver-specific key is not read.
  CXString GetPrinterName(void* printerHandle) override {
    try {
      return Printer::GetPrinterName(printerHandle);
    } catch (const CPException&) {
      return {};
    }
  }
  CXString GetV4PrinterDriverIDByReverseEngineering(void* printerHandle) override {
    try {
      return PrintDriver::GetV4PrinterDriverIDByReverseEngineering(printerHandle);
    } catch (const CPException&) {
      return {};
    }
  }
  // The settings tree is read through RegistryKey, which this build does not
  // have yet: no tree.
  std::unique_ptr<IFilterSettingsKey> OpenMachineKey(const CXString&) override { return nullptr; }
  CXString GetFilterListFolder() override {
    const CXString image = CXString::fromUtf8Lenient(PlatformFacilities::ownModulePath());
    return image.substr(0, image.rfind(u'\\') + 1);
  }
};

}  // namespace

IFilterStoreEnvironment& IFilterStoreEnvironment::GetSystemEnvironment() noexcept {
  // Built in static storage and never destroyed: objects that outlive the
  // library's static objects (a caller's static reader-writer or store) may
  // still use it, and no heap block is left behind at unload.
  alignas(WindowsFilterStoreEnvironment) static unsigned char storage[sizeof(WindowsFilterStoreEnvironment)];
  static WindowsFilterStoreEnvironment* const environment = new (storage) WindowsFilterStoreEnvironment();
  return *environment;
}
