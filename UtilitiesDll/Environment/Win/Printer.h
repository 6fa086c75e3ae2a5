#pragma once
// Printer and PrintDriver: the printer queries of the client job data and the
// filter store (Windows only).
//
// Both read PRINTER_INFO_2 of the handle (GetPrinterW level 2) and answer its
// pPrinterName: for a queue handle that is the queue's name; for the driver's
// own per-job handle (the one the print pipeline gives to a version-4
// driver) the spooler reports the queue the job belongs to, so the same query
// serves both. They throw CPExceptionPrinterFailure (with the system's error
// code) when the spooler refuses the query, so that a caller never builds a
// name from an empty text by accident.
//
// The driver's ID (PrintDriver) names the driver-specific settings of the
// filter store: the printer's driver name, pDriverName of the same
// PRINTER_INFO_2, which is unique per installed driver.

#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

class HDU_API Printer {
 public:
  static CXString GetPrinterName(void* printerHandle);
  static CXString GetV4GuidPrinterNameByReverseEngineering(void* printerHandle);
};

class HDU_API PrintDriver {
 public:
  static CXString GetV4PrinterDriverIDByReverseEngineering(void* printerHandle);
};
