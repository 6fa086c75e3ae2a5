#pragma once
// A printer for the Windows tests: Wine's PostScript driver printing to a
// file, added to the test prefix on first use (Wine's spooler keeps jobs and
// answers GetPrinter for its own printers).

#include <windows.h>

#include <winspool.h>

namespace win_test {

inline constexpr const wchar_t* kTestPrinterName = L"HduClientJobDataTestPrinter";
inline constexpr const wchar_t* kTestPrinterDriver = L"Wine PostScript Driver";

// An open handle to the test printer (close it with ClosePrinter); null when
// the system refuses to add it (a real Windows machine without that driver).
inline HANDLE OpenTestPrinter() {
  HANDLE printer = nullptr;
  if (OpenPrinterW(const_cast<LPWSTR>(kTestPrinterName), &printer, nullptr) != 0) {
    return printer;
  }
  DRIVER_INFO_3W driver{};
  driver.cVersion = 3;
  driver.pName = const_cast<LPWSTR>(kTestPrinterDriver);
  driver.pDriverPath = const_cast<LPWSTR>(L"wineps.drv");
  driver.pDataFile = const_cast<LPWSTR>(L"generic.ppd");
  driver.pConfigFile = const_cast<LPWSTR>(L"wineps.drv");
  if (AddPrinterDriverW(nullptr, 3, reinterpret_cast<LPBYTE>(&driver)) == 0) {
    return nullptr;
  }
  PRINTER_INFO_2W info{};
  info.pPrinterName = const_cast<LPWSTR>(kTestPrinterName);
  info.pPortName = const_cast<LPWSTR>(L"FILE:");
  info.pDriverName = driver.pName;
  info.pPrintProcessor = const_cast<LPWSTR>(L"WinPrint");
  info.pDatatype = const_cast<LPWSTR>(L"RAW");
  return AddPrinterW(nullptr, 2, reinterpret_cast<LPBYTE>(&info));
}

}  // namespace win_test
