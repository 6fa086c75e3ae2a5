#pragma once
// The driver's hosts of the three process-wide facilities.
//
// A driver runs inside the spooler and other processes without a desktop, so
// its hosts offer no interactive choice. What they do decide is whether to
// break into an attached debugger, steered by the environment variable
// HDU_DEBUG_BREAK: a list of words separated by commas, semicolons or blanks,
// matched without regard to case:
//   "throw"   break when an exception is thrown
//   "catch"   break when a caught exception is reported
//   "error"   break when an error is displayed
//   "assert"  ask for a break on a failed assertion
//   "all"     all of the above
// Without the variable nothing breaks. A break happens only when a debugger is
// attached (CPException::SafeDebugBreak).

#include "DebuggingAndExceptions/AssertionFacility.h"
#include "DebuggingAndExceptions/ErrorDisplayFacility.h"
#include "DebuggingAndExceptions/ExceptionFacility.h"
#include "hdUtilitiesExport.h"

namespace MeridianFacilityHosts {
// Whether `switches` (the variable's text; null or empty for none) names
// `word` or "all".
HDU_API bool isDebugBreakSwitchSet(const char* switches, const char* word) noexcept;
// The same for the current value of HDU_DEBUG_BREAK.
HDU_API bool isDebugBreakRequested(const char* word) noexcept;
}  // namespace MeridianFacilityHosts

class HDU_API MeridianExceptionFacilityHost : public IExceptionFacilityHost {
 public:
  MeridianExceptionFacilityHost() = default;
  ~MeridianExceptionFacilityHost() override;
  // True when HDU_DEBUG_BREAK names "throw".
  bool allowForExceptionDebugOnThrow(const char* exceptionTypeName, const char* text) override;
  // Breaks into an attached debugger when HDU_DEBUG_BREAK names "catch".
  void reportAndProcessChoiceForCaughtException(const char* exceptionTypeName, const char* text) override;
};

namespace HaldenAssertion {

class HDU_API MeridianAssertionFacilityHost : public IAssertionFacilityHost {
 public:
  MeridianAssertionFacilityHost() = default;
  ~MeridianAssertionFacilityHost() override;
  // AAE_BREAK_INTO_DEBUGGER when HDU_DEBUG_BREAK names "assert" and a debugger
  // is attached; otherwise the default action.
  AssertionActionEnum requestAssertionAction(const char* conditionText, const char* message,
                                             AssertionActionEnum defaultAction) override;
  // Always true: there is no user interface to process them on.
  bool areAssertionsProcessedSynchronously() const override;
};

}  // namespace HaldenAssertion

class HDU_API MeridianErrorDisplayFacilityHost : public IErrorDisplayFacilityHost {
 public:
  MeridianErrorDisplayFacilityHost() = default;
  ~MeridianErrorDisplayFacilityHost() override;
  // Breaks into an attached debugger when HDU_DEBUG_BREAK names "error".
  void reportAndProcessChoiceForError(const char* title, const char* text) override;
};
