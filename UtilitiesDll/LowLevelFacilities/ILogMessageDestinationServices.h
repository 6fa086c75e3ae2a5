#pragma once
// HaldenLogging::ILogMessageDestinationServices: what a log destination may
// ask of the logging facility that feeds it (LoggingFacility implements it).
//
// Virtual operations in slot order: (0) the destructor; (1) to (7) the facts
// below; (8) the report of an internal failure of the logging system (a log
// file that cannot be opened or written, an unknown variable in a file name),
// which must not itself go through logging: the facility shows it on the
// low-level route of its platform utilities. All strings are narrow UTF-8.

#include "hdUtilitiesExport.h"

#include <string>

namespace HaldenLogging {

class HDU_API ILogMessageDestinationServices {
 public:
  virtual ~ILogMessageDestinationServices();

  // The user-configuration home directory, without a trailing separator.
  virtual std::string getUserConfigurationHomeDirectoryPath() = 0;
  // The process identifier as "0x%0*x" with width 6 ("0x00162e").
  virtual std::string getProcessIdAsHexString() = 0;
  // The process identifier as "%0*d" with width 8 ("00005678").
  virtual std::string getProcessIdAsDecimalString() = 0;
  // The running program's file name ("spoolsv.exe").
  virtual std::string getProcessName() = 0;
  virtual std::string getComputerName() = 0;
  // The widths in which thread identifiers are shown: 6 hex digits, 8 decimal digits.
  virtual int getThreadIdWidthAsHexString() = 0;
  virtual int getThreadIdWidthAsDecimalString() = 0;
  // Shows an internal failure of the logging system. Must not throw or log.
  virtual void reportLoggingInternalsError(const char* title, const char* text) noexcept = 0;

 protected:
  ILogMessageDestinationServices() = default;
  ILogMessageDestinationServices(const ILogMessageDestinationServices&) = default;
  ILogMessageDestinationServices& operator=(const ILogMessageDestinationServices&) = default;
};

}  // namespace HaldenLogging
