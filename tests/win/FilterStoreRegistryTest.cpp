// FilterStore over the real registry and spooler: the test writes a settings
// tree under HKEY_LOCAL_MACHINE\Software\Halden\PrinterDriver\V6.0\Rendering
// (it is meant for the throwaway Wine prefix of the test run), uses the test
// printer for the printer's name and driver, and builds the store.

#include "ClientJobDataTestSupport.h"
#include "General/FilterStore.h"
#include "Registry/RegistryKey.h"
#include "win/WinTestPrinter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

GUID Clsid(std::uint32_t data1) {
  GUID guid{};
  guid.Data1 = data1;
  guid.Data2 = 0x4A4A;
  guid.Data3 = 0x4B4B;
  for (int i = 0; i < 8; ++i) {
    guid.Data4[i] = static_cast<unsigned char>(0x10 + i);
  }
  return guid;
}

CXString ClsidText(std::uint32_t data1) {
  return FilterStore::CLSIDToString(Clsid(data1));
}

void WriteAction(RegistryKey& filters, const wchar_t* subKey, const wchar_t* action, const wchar_t* priority,
                 std::uint32_t clsid, const wchar_t* name) {
  RegistryKey key = RegistryKey::CreateRegistryKey(filters, CXString(subKey), KEY_ALL_ACCESS);
  key.SetStringValue(CXString(u"Action"), CXString(action));
  key.SetStringValue(CXString(u"Priority"), CXString(priority));
  key.SetStringValue(CXString(u"CLSID"), ClsidText(clsid));
  key.SetStringValue(CXString(u"Name"), CXString(name));
}

std::vector<std::uint32_t> Data1s(const FilterStore& store) {
  std::vector<std::uint32_t> ids;
  for (const CTargetFilter& filter : store.GetTargetFilters()) {
    ids.push_back(static_cast<std::uint32_t>(filter.GetClsid().Data1));
  }
  return ids;
}

}  // namespace

TEST(FilterStoreRegistry, SettingsTreeFromTheRegistryWithTheTestPrinter) {
  HANDLE printer = win_test::OpenTestPrinter();
  if (printer == nullptr) {
    GTEST_SKIP() << "no test printer could be added (error " << GetLastError() << ")";
  }
  const RegistryKey machine(HKEY_LOCAL_MACHINE, false);
  RegistryKey rendering =
      RegistryKey::CreateRegistryKey(machine, FilterStore::GetRenderingFilterRegistryBaseKey(), KEY_ALL_ACCESS);
  rendering.DeleteKeyAndSubkeys(CXString(u"XPS"));
  rendering.DeleteKeyAndSubkeys(CXString(u"PCL6"));
  const CXString specific = CXString(u"Drivers\\SpecificDrivers\\PrinterDriverIDs\\") +=
      CXString(std::wstring(win_test::kTestPrinterDriver) + L"\\Filters");
  {
    // General key: its wildcard matches the test printer's name.
    RegistryKey general = RegistryKey::CreateRegistryKey(rendering, CXString(u"XPS\\Drivers\\Filters"), KEY_ALL_ACCESS);
    general.SetStringValue(CXString(u"PrinterNameWildcardNoCase"), CXString(u"hdu*TEST?rinter"));
    WriteAction(general, L"10 watermark", L"Add", L"PostProcessing.5", 0xA, L"watermark");
    WriteAction(general, L"20 no preview", L"remove", L"Preview.1", 0xB, L"gone");
    // A priority that is not a string: reported and skipped.
    RegistryKey broken = RegistryKey::CreateRegistryKey(general, CXString(u"30 broken"), KEY_ALL_ACCESS);
    broken.SetStringValue(CXString(u"Action"), CXString(u"add"));
    broken.SetLongValue(CXString(u"Priority"), 5);
    broken.SetStringValue(CXString(u"CLSID"), ClsidText(0xE));

    // Driver-specific key: inherits from PCL6, whose key does not match.
    CXString xpsSpecific(u"XPS\\");
    xpsSpecific += specific;
    RegistryKey driver = RegistryKey::CreateRegistryKey(rendering, xpsSpecific, KEY_ALL_ACCESS);
    driver.SetStringValue(CXString(u"AlsoInheritFromPdl"), CXString(u"PCL6"));
    WriteAction(driver, L"1", L"REPLACE", L"Preview.2", 0xC, L"new");
    CXString pclSpecific(u"PCL6\\");
    pclSpecific += specific;
    RegistryKey inherited = RegistryKey::CreateRegistryKey(rendering, pclSpecific, KEY_ALL_ACCESS);
    inherited.SetStringValue(CXString(u"PrinterNameWildcardNoCase"), CXString(u"other*"));
    WriteAction(inherited, L"0", L"add", L"Imposition.1", 0xD, L"not for this printer");
  }

  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "hdu-filterstore-registry";
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "XPS-filters.xml")
      << "<Filters><Filter name=\"Preview.1," << ClsidText(0xB).toUtf8() << ",b\"/>"
      << "<Filter name=\"Preview.2," << ClsidText(0xC).toUtf8() << ",old\"/></Filters>";

  ScopedExceptionReportRecorder recorder;
  FilterStore store(nullptr, DataModelIds::DMIDVE_PDL_XPS, false);
  store.SetFilterListFolder(CXString((folder / "").u16string()));
  EXPECT_TRUE(store.GetFilterStore(printer, false));
  EXPECT_EQ(Data1s(store), (std::vector<std::uint32_t>{0xC, 0xA}));
  ASSERT_EQ(store.Size(), 2u);
  EXPECT_EQ(store.GetTargetFilters()[0].GetName().toUtf8(), "new");
  EXPECT_EQ(store.GetTargetFilters()[0].GetPriority(), (5000u << 16) | 2u);
  const std::string reports = recorder.allReports();
  EXPECT_NE(reports.find("The filter action '30 broken' lacks its \"Priority\" or \"CLSID\" value."), std::string::npos)
      << reports;

  // The inherited key applies once its wildcard matches.
  {
    CXString pclSpecific(u"PCL6\\");
    pclSpecific += specific;
    RegistryKey inherited = RegistryKey::CreateRegistryKey(rendering, pclSpecific, KEY_ALL_ACCESS);
    inherited.SetStringValue(CXString(u"PrinterNameWildcardNoCase"), CXString(u"*"));
  }
  EXPECT_TRUE(store.GetFilterStore(false));
  EXPECT_EQ(Data1s(store), (std::vector<std::uint32_t>{0xD, 0xC, 0xA}));

  // Another printer name: the general key's wildcard no longer matches.
  {
    RegistryKey general = RegistryKey::CreateRegistryKey(rendering, CXString(u"XPS\\Drivers\\Filters"), KEY_ALL_ACCESS);
    general.SetStringValue(CXString(u"PrinterNameWildcardNoCase"), CXString(u"Reception*"));
  }
  EXPECT_TRUE(store.GetFilterStore(false));
  EXPECT_EQ(Data1s(store), (std::vector<std::uint32_t>{0xD, 0xB, 0xC}));

  rendering.DeleteKeyAndSubkeys(CXString(u"XPS"));
  rendering.DeleteKeyAndSubkeys(CXString(u"PCL6"));
  std::filesystem::remove_all(folder);
  ClosePrinter(printer);
}
