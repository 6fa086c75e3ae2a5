#pragma once
// ExceptionFacility: the process-wide facility that decides what happens
// around exceptions: whether a thrown exception may break into a debugger,
// and how a caught exception is reported. CPException's static forwarders
// (allowForExceptionDebug, reportAndProcessCaughtException, ...) reach the
// library's one instance (LowLevelFacilitiesGlobals::getExceptionFacility).
//
// Break on throw (allowForExceptionDebug): the facility asks its host's
// allowForExceptionDebugOnThrow with the exception's class name and the
// thrower's message; when the host allows it, the facility writes one line
// naming the exception and its site to the debugger channel and breaks into
// the debugger if one is attached (nothing happens without one). The result
// is the host's answer. An uninitialised facility answers false and asks
// nobody.
//
// Caught exceptions (reportAndProcessCaughtException): the report has the
// title "Exception Caught in '<catching function>'" and the text
//   "Location of catch:\n<catch site>\n\n<exception description>\n\n<report>"
// where the catch site is "<file> (line <n>) in <function>", the exception
// description comes from CPException::getExceptionDescription, and the report
// is DebugUtilities::getErrorContextAndMessageDescription for the catch site,
// the thread's current last-error value and what the program was doing.
// A text longer than kMaximumSingleReportCharacters (what a debugger shows of
// one message, with room for the title) is split in two messages under the
// same title: first the location and the description, ending with "\n\nAnother
// message will follow with more information, unless memory issues prevent it
// from being displayed.", then the report. Each message is delivered to the
// developer under the title (DebugUtilities::deliverReportToDeveloper) and
// then given to the host's reportAndProcessChoiceForCaughtException with the
// exception's type name ("class CPExceptionFile", "std::runtime_error").
// Reporting never throws and keeps the thread's last-error value.

#include "DebuggingAndExceptions/DebugContext.h"
#include "DebuggingAndExceptions/ProcessWideFacility.h"
#include "hdUtilitiesExport.h"

#include <exception>
#include <string>
#include <vector>

// The exception facility's host. Virtual operations in slot order: the
// destructor, then the two below.
class HDU_API IExceptionFacilityHost {
 public:
  virtual ~IExceptionFacilityHost();
  // Whether a debugger break is allowed when an exception of this class
  // (its class name, as written at the throw) is thrown with this text.
  virtual bool allowForExceptionDebugOnThrow(const char* exceptionTypeName, const char* text) = 0;
  // Processes the developer's choice for a caught-exception report, given the
  // exception's type name and the report text (once per message when the
  // report is split).
  virtual void reportAndProcessChoiceForCaughtException(const char* exceptionTypeName, const char* text) = 0;

 protected:
  IExceptionFacilityHost() = default;
  IExceptionFacilityHost(const IExceptionFacilityHost&) = default;
  IExceptionFacilityHost& operator=(const IExceptionFacilityHost&) = default;
};

class HDU_API ExceptionFacility : public ProcessWideFacility<IExceptionFacilityHost, ExceptionFacility> {
 public:
  enum : unsigned { kMaximumSingleReportCharacters = 4000 };

  ExceptionFacility(IPlatformUtilities& platformUtilities, IExceptionFacilityHost& host) noexcept;
  ~ExceptionFacility();
  ExceptionFacility& operator=(ExceptionFacility&& other) noexcept;

  bool allowForExceptionDebug(const char* exceptionTypeName, const std::string& message, unsigned long lastError,
                              DebugContextReference&& throwSite);
  void reportAndProcessCaughtException(const std::exception& exception, DebugContextReference&& catchSite,
                                       const std::string& whatWasHappening) noexcept;
  // Does nothing: an exception of unknown type carries nothing to report.
  void reportAndProcessUnknownCaughtException(DebugContextReference&& catchSite,
                                              const std::string& whatWasHappening) noexcept;
  // The C runtime's debug-report hook (_CrtSetReportHook): the message is
  // delivered to the developer under "C Runtime Warning", "C Runtime Error"
  // or "C Runtime Assertion" (report types 0, 1, 2; "C Runtime Report"
  // otherwise). *returnValue is set to 0 (do not start a debugger) and the
  // result is 1 (handled): a driver running in the spooler must never show the
  // runtime's own dialog.
  int processCrtDebugReport(int reportType, const wchar_t* message, int* returnValue) noexcept;

  // The title and the message texts of a caught-exception report (one text,
  // or two when split), as described above.
  static std::string makeCaughtExceptionTitle(const DebugContextReference& catchSite);
  static std::vector<std::string> makeCaughtExceptionMessages(const std::exception& exception,
                                                              const DebugContextReference& catchSite,
                                                              const std::string& whatWasHappening,
                                                              unsigned long lastError);
};
