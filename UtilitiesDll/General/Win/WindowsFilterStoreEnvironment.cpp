// The filter store environment of Windows: the settings tree in the
// registry under HKEY_LOCAL_MACHINE (through RegistryKey, KEY_READ), the
// printer's name and driver from the spooler, and the filter list files
// beside the library's own image.

#include "DebuggingAndExceptions/CPException.h"
#include "Environment/Win/Printer.h"
#include "General/FilterStoreEnvironment.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "Registry/RegistryKey.h"

#include <windows.h>

#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace {

// One registry key opened for reading. String values are REG_SZ values only
// (REG_EXPAND_SZ and the other types count as absent), read as
// RegistryKey::GetStringValue reads them.
class RegistryFilterSettingsKey final : public IFilterSettingsKey {
 public:
  explicit RegistryFilterSettingsKey(RegistryKey::Pointer key) noexcept : m_key(std::move(key)) {}

  bool GetStringValue(const CXString& name, CXString& value) const override {
    ByteBuffer data;
    unsigned long type = REG_NONE;
    if (!m_key->GetValue(name, data, &type) || type != REG_SZ) {
      return false;
    }
    value = m_key->GetStringValue(name, CXString());
    return true;
  }

  std::vector<CXString> GetSubKeyNames() const override {
    std::vector<CXString> names;
    m_key->EnumKeyNames(names);
    return names;
  }

  std::unique_ptr<IFilterSettingsKey> OpenSubKey(const CXString& path) const override { return Open(*m_key, path); }

  static std::unique_ptr<IFilterSettingsKey> Open(const RegistryKey& parent, const CXString& path) {
    RegistryKey::Pointer key;
    long status = 0;
    if (!RegistryKey::OpenRegistryKey(key, parent, path, KEY_READ, status) || !key) {
      return nullptr;
    }
    return std::make_unique<RegistryFilterSettingsKey>(std::move(key));
  }

 private:
  RegistryKey::Pointer m_key;
};

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
  std::unique_ptr<IFilterSettingsKey> OpenMachineKey(const CXString& path) override {
    const RegistryKey machine(HKEY_LOCAL_MACHINE, false);
    return RegistryFilterSettingsKey::Open(machine, path);
  }
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
