#include "Environment/Win/Printer.h"

#include "DebuggingAndExceptions/CPException.h"

#include <windows.h>

#include <winspool.h>

#include <vector>

namespace {

enum class Field { PrinterName, DriverName };

CXString TextFromLevel2(void* printerHandle, Field field, const char* function) {
  DWORD needed = 0;
  GetPrinterW(static_cast<HANDLE>(printerHandle), 2, nullptr, 0, &needed);
  if (needed == 0) {
    HDU_THROW(CPExceptionPrinterFailure, HDU_DEBUG_CONTEXT(function),
              "GetPrinter() at level 2 refused the printer handle %p.", printerHandle);
  }
  // DWORD-aligned storage for the structure and its strings.
  std::vector<DWORD> buffer((needed + sizeof(DWORD) - 1) / sizeof(DWORD));
  if (GetPrinterW(static_cast<HANDLE>(printerHandle), 2, reinterpret_cast<LPBYTE>(buffer.data()),
                  static_cast<DWORD>(buffer.size() * sizeof(DWORD)), &needed) == 0) {
    HDU_THROW(CPExceptionPrinterFailure, HDU_DEBUG_CONTEXT(function),
              "GetPrinter() at level 2 failed for the printer handle %p.", printerHandle);
  }
  const auto* info = reinterpret_cast<const PRINTER_INFO_2W*>(buffer.data());
  const wchar_t* text = field == Field::PrinterName ? info->pPrinterName : info->pDriverName;
  return text != nullptr ? CXString(text) : CXString();
}

}  // namespace

CXString Printer::GetPrinterName(void* printerHandle) {
  return TextFromLevel2(printerHandle, Field::PrinterName, "Printer::GetPrinterName");
}

CXString Printer::GetV4GuidPrinterNameByReverseEngineering(void* printerHandle) {
  return TextFromLevel2(printerHandle, Field::PrinterName, "Printer::GetV4GuidPrinterNameByReverseEngineering");
}

CXString PrintDriver::GetV4PrinterDriverIDByReverseEngineering(void* printerHandle) {
  return TextFromLevel2(printerHandle, Field::DriverName, "PrintDriver::GetV4PrinterDriverIDByReverseEngineering");
}
