#pragma once
// ErrorDisplayFacility: the process-wide facility through which the library
// shows errors that are reported rather than thrown (bad configuration text,
// misuse of the logging internals): a title and a text. It is the third
// facility of the same form as ExceptionFacility and
// HaldenAssertion::AssertionFacility, and the first one rebuilt when the
// global facilities are reinitialised, because the runtime configuration
// reports through it while it is being rebuilt.
//
// reportError delivers the error to the developer
// (DebugUtilities::deliverReportToDeveloper) and then gives title and text to
// the host's reportAndProcessChoiceForError. Never throws; keeps the thread's
// last-error value. An uninitialised facility writes to the debugger channel
// only.

#include "DebuggingAndExceptions/ProcessWideFacility.h"
#include "hdUtilitiesExport.h"

#include <string>

// The error-display facility's host. Virtual operations in slot order: the
// destructor, then the one below.
class HDU_API IErrorDisplayFacilityHost {
 public:
  virtual ~IErrorDisplayFacilityHost();
  // Processes the developer's choice for a reported error.
  virtual void reportAndProcessChoiceForError(const char* title, const char* text) = 0;

 protected:
  IErrorDisplayFacilityHost() = default;
  IErrorDisplayFacilityHost(const IErrorDisplayFacilityHost&) = default;
  IErrorDisplayFacilityHost& operator=(const IErrorDisplayFacilityHost&) = default;
};

class HDU_API ErrorDisplayFacility : public ProcessWideFacility<IErrorDisplayFacilityHost, ErrorDisplayFacility> {
 public:
  ErrorDisplayFacility(IPlatformUtilities& platformUtilities, IErrorDisplayFacilityHost& host) noexcept;
  ~ErrorDisplayFacility();
  ErrorDisplayFacility& operator=(ErrorDisplayFacility&& other) noexcept;

  void reportError(const char* title, const char* text) noexcept;
  void reportError(const std::string& title, const std::string& text) noexcept;
};
