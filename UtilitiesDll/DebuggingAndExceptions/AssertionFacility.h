#pragma once
// HaldenAssertion::AssertionFacility: the process-wide assertion facility.
//
// Two per-thread counters switch assertions for the calling thread:
//  - the assertions-disabled counter: assertions are enabled only while it
//    is 0 (beginAssertionsDisabledScope / endAssertionsDisabledScope);
//  - the log-only counter: while it is above 0 a failed assertion is only
//    logged (beginAssertionsLogOnlyInUnitTestScope / end...), for unit tests
//    that provoke failures on purpose.
// The counters are signed 32-bit, 0 for every new thread and never shared. An
// end without a matching begin leaves the counter at 0; under the internal-
// check counter (InternalChecks.h) it throws std::runtime_error with the text
// "Assertion Internals: " followed by the message quoted at the end functions,
// otherwise the call is ignored.
//
// processFailedAssertion takes no action in this library and answers false:
// what happens on a failed assertion is decided by the modules that assert.
// While the global logging facility is on it logs the failure (an XC_ERR
// message of level 0: "<kind> Failed in '<function>'", then "Condition:\t",
// the condition, and the error report of DebugUtilities).

#include "DebuggingAndExceptions/DebugContext.h"
#include "DebuggingAndExceptions/ProcessWideFacility.h"
#include "hdUtilitiesExport.h"

namespace HaldenAssertion {

enum AssertionTypeEnum : int {
  ATE_ASSERT = 0,          // a condition that must hold
  ATE_VERIFY = 1,          // a condition whose expression runs in every build
  ATE_UNREACHABLE = 2,     // code that must never run
  ATE_INTERNAL_CHECK = 3,  // the library's own consistency checks
};

enum AssertionActionEnum : int {
  AAE_CONTINUE = 0,                  // go on as if nothing happened
  AAE_CONTINUE_AND_IGNORE_SITE = 1,  // go on, and do not stop at this site again
  AAE_BREAK_INTO_DEBUGGER = 2,
  AAE_THROW_EXCEPTION = 3,  // throw CPExceptionAssertion
};

// The assertion facility's host. Virtual operations in slot order: the
// destructor, then the two below.
class HDU_API IAssertionFacilityHost {
 public:
  virtual ~IAssertionFacilityHost();
  // Given the assertion's condition text, its message and the default action,
  // returns the action chosen.
  virtual AssertionActionEnum requestAssertionAction(const char* conditionText, const char* message,
                                                     AssertionActionEnum defaultAction) = 0;
  virtual bool areAssertionsProcessedSynchronously() const = 0;

 protected:
  IAssertionFacilityHost() = default;
  IAssertionFacilityHost(const IAssertionFacilityHost&) = default;
  IAssertionFacilityHost& operator=(const IAssertionFacilityHost&) = default;
};

class HDU_API AssertionFacility : public ProcessWideFacility<IAssertionFacilityHost, AssertionFacility> {
 public:
  AssertionFacility(IPlatformUtilities& platformUtilities, IAssertionFacilityHost& host) noexcept;
  ~AssertionFacility();
  AssertionFacility& operator=(AssertionFacility&& other) noexcept;

  // True while the calling thread's assertions-disabled counter is 0.
  bool assertionsEnabled() const noexcept;
  // True while the calling thread's log-only counter is above 0.
  bool assertionsLogOnlyInUnitTestMode() const noexcept;
  // The host's answer; true (synchronous) while the facility is not initialised.
  bool areAssertionsProcessedSynchronously() const;

  void beginAssertionsDisabledScope() noexcept;
  // "The 'assertions disabled' counter was already 0 when this method was
  // called! Ignoring the attempt to set it."
  void endAssertionsDisabledScope();
  void beginAssertionsLogOnlyInUnitTestScope() noexcept;
  // "The 'assertions log-only' counter was already 0 when this method was
  // called! Ignoring the attempt to set it."
  void endAssertionsLogOnlyInUnitTestScope();

  bool processFailedAssertion(AssertionTypeEnum type, const char* conditionText, DebugContextReference&& site,
                              unsigned long lastError, AssertionActionEnum defaultAction);

  // The calling thread's counters.
  static int getAssertionsDisabledCounterForThisThread() noexcept;
  static int getAssertionsLogOnlyCounterForThisThread() noexcept;
};

// Disables assertions on the calling thread for the lifetime of the scope
// (the library's facility unless another is given).
class HDU_API AssertionsDisabledScope {
 public:
  AssertionsDisabledScope() noexcept;
  explicit AssertionsDisabledScope(AssertionFacility& facility) noexcept;
  ~AssertionsDisabledScope();
  AssertionsDisabledScope(const AssertionsDisabledScope&) = delete;
  AssertionsDisabledScope& operator=(const AssertionsDisabledScope&) = delete;

 private:
  AssertionFacility& m_facility;
};

// Makes failed assertions log-only on the calling thread for the lifetime of
// the scope.
class HDU_API AssertionsLogOnlyInUnitTestScope {
 public:
  AssertionsLogOnlyInUnitTestScope() noexcept;
  explicit AssertionsLogOnlyInUnitTestScope(AssertionFacility& facility) noexcept;
  ~AssertionsLogOnlyInUnitTestScope();
  AssertionsLogOnlyInUnitTestScope(const AssertionsLogOnlyInUnitTestScope&) = delete;
  AssertionsLogOnlyInUnitTestScope& operator=(const AssertionsLogOnlyInUnitTestScope&) = delete;

 private:
  AssertionFacility& m_facility;
};

}  // namespace HaldenAssertion
