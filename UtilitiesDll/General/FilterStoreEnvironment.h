#pragma once
// The operating-system services FilterStore reads through, behind two small
// interfaces, so that the store's logic is the same on every platform and can
// be driven by a test double:
//
//   IFilterSettingsKey       one read-only key of the filter settings tree
//                            (a registry key on Windows)
//   IFilterStoreEnvironment  the printer's name and driver ID, the rendering
//                            settings tree, and the folder of the filter
//                            list files
//
// IFilterStoreEnvironment::GetSystemEnvironment() answers the platform's
// implementation:
//   Windows  the registry under HKEY_LOCAL_MACHINE through RegistryKey
//            (KEY_READ), the printer's name and driver name from GetPrinterW
//            level 2, and the folder of the library's own image.
//   POSIX    no registry (no settings tree) and no printers (empty names);
//            the folder of the library's own image.

#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <memory>
#include <vector>

class HDU_API IFilterSettingsKey {
 public:
  virtual ~IFilterSettingsKey();
  // A string value; false when the value is absent or not a string.
  virtual bool GetStringValue(const CXString& name, CXString& value) const = 0;
  // The names of the key's sub-keys, in the order the store enumerates them.
  virtual std::vector<CXString> GetSubKeyNames() const = 0;
  // A sub-key (a "\"-separated path below this key); null when it does not
  // exist or cannot be opened for reading.
  virtual std::unique_ptr<IFilterSettingsKey> OpenSubKey(const CXString& path) const = 0;

 protected:
  IFilterSettingsKey() = default;
  IFilterSettingsKey(const IFilterSettingsKey&) = default;
  IFilterSettingsKey& operator=(const IFilterSettingsKey&) = default;
};

class HDU_API IFilterStoreEnvironment {
 public:
  virtual ~IFilterStoreEnvironment();
  // The printer's name as the spooler reports it (empty when unknown).
  virtual CXString GetPrinterName(void* printerHandle) = 0;
  // The ID of the printer's driver, the last component of the
  // driver-specific settings key (empty when unknown).
  virtual CXString GetV4PrinterDriverIDByReverseEngineering(void* printerHandle) = 0;
  // The key at `path` below the machine's settings root; null when absent.
  virtual std::unique_ptr<IFilterSettingsKey> OpenMachineKey(const CXString& path) = 0;
  // The folder of the filter list files, ending in its separator.
  virtual CXString GetFilterListFolder() = 0;

  static IFilterStoreEnvironment& GetSystemEnvironment() noexcept;

 protected:
  IFilterStoreEnvironment() = default;
  IFilterStoreEnvironment(const IFilterStoreEnvironment&) = default;
  IFilterStoreEnvironment& operator=(const IFilterStoreEnvironment&) = default;
};
