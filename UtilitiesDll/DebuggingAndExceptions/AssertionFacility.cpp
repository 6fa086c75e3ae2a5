#include "DebuggingAndExceptions/AssertionFacility.h"

#include "DebuggingAndExceptions/DebugUtilities.h"
#include "DebuggingAndExceptions/InternalChecks.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/LoggingFacility.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace HaldenAssertion {

namespace {

// Plain ints: a thread_local object with a destructor must not live in the
// DLL (MinGW could not unload it then), and counters need none.
thread_local int t_assertionsDisabledCounter = 0;
thread_local int t_assertionsLogOnlyCounter = 0;

void lowerCounter(int& counter, const char* messageWhenAlreadyZero) {
  if (counter > 0) {
    --counter;
    return;
  }
  if (InternalChecks::internalChecksEnabled()) {
    throw std::runtime_error(std::string("Assertion Internals: ") + messageWhenAlreadyZero);
  }
}

}  // namespace

IAssertionFacilityHost::~IAssertionFacilityHost() = default;

AssertionFacility::AssertionFacility(IPlatformUtilities& platformUtilities, IAssertionFacilityHost& host) noexcept
    : ProcessWideFacility(platformUtilities, host) {}

AssertionFacility::~AssertionFacility() = default;

AssertionFacility& AssertionFacility::operator=(AssertionFacility&& other) noexcept {
  ProcessWideFacility::operator=(std::move(other));
  return *this;
}

bool AssertionFacility::assertionsEnabled() const noexcept {
  return t_assertionsDisabledCounter == 0;
}

bool AssertionFacility::assertionsLogOnlyInUnitTestMode() const noexcept {
  return t_assertionsLogOnlyCounter > 0;
}

bool AssertionFacility::areAssertionsProcessedSynchronously() const {
  return isInitialized() ? getHost().areAssertionsProcessedSynchronously() : true;
}

void AssertionFacility::beginAssertionsDisabledScope() noexcept {
  ++t_assertionsDisabledCounter;
}

void AssertionFacility::endAssertionsDisabledScope() {
  lowerCounter(t_assertionsDisabledCounter,
               "The 'assertions disabled' counter was already 0 when this method was called! Ignoring the attempt to "
               "set it.");
}

void AssertionFacility::beginAssertionsLogOnlyInUnitTestScope() noexcept {
  ++t_assertionsLogOnlyCounter;
}

void AssertionFacility::endAssertionsLogOnlyInUnitTestScope() {
  lowerCounter(t_assertionsLogOnlyCounter,
               "The 'assertions log-only' counter was already 0 when this method was called! Ignoring the attempt to "
               "set it.");
}

bool AssertionFacility::processFailedAssertion(AssertionTypeEnum type, const char* conditionText,
                                               DebugContextReference&& site, unsigned long lastError,
                                               AssertionActionEnum /*defaultAction*/) {
  if (!isInitialized() || !HaldenLogging::isGlobalLoggingOnForReports()) {
    return false;
  }
  PlatformFacilities::LastErrorPreserver preserveLastError;
  try {
    static const char* const kKinds[] = {"Assertion", "Verification", "Unreachable code", "Internal check"};
    const char* kind = (type >= ATE_ASSERT && type <= ATE_INTERNAL_CHECK) ? kKinds[type] : "Assertion";
    const std::string title = InternalHaldenCP::formatToStdString("%s Failed in '%s'", kind, site.getFunctionName());
    const std::string text = InternalHaldenCP::formatToStdString(
        "Condition:\t%s\n%s", conditionText != nullptr ? conditionText : "",
        DebugUtilities::getErrorContextAndMessageDescription(DebugContextCopy(site), lastError, "", {}, {}));
    HaldenLogging::logReportToGlobalLoggingFacility(title.c_str(), text.c_str(), site);
  } catch (...) {
    // No memory for the report: the assertion goes unlogged.
  }
  return false;
}

int AssertionFacility::getAssertionsDisabledCounterForThisThread() noexcept {
  return t_assertionsDisabledCounter;
}

int AssertionFacility::getAssertionsLogOnlyCounterForThisThread() noexcept {
  return t_assertionsLogOnlyCounter;
}

// ---- scopes -----------------------------------------------------------------------

AssertionsDisabledScope::AssertionsDisabledScope() noexcept
    : AssertionsDisabledScope(LowLevelFacilitiesGlobals::getAssertionFacility()) {}

AssertionsDisabledScope::AssertionsDisabledScope(AssertionFacility& facility) noexcept : m_facility(facility) {
  m_facility.beginAssertionsDisabledScope();
}

// A destructor must not throw: a misuse report raised under the internal-check
// counter is dropped here (the scope's own begin makes one impossible anyway).
AssertionsDisabledScope::~AssertionsDisabledScope() {
  try {
    m_facility.endAssertionsDisabledScope();
  } catch (...) {
  }
}

AssertionsLogOnlyInUnitTestScope::AssertionsLogOnlyInUnitTestScope() noexcept
    : AssertionsLogOnlyInUnitTestScope(LowLevelFacilitiesGlobals::getAssertionFacility()) {}

AssertionsLogOnlyInUnitTestScope::AssertionsLogOnlyInUnitTestScope(AssertionFacility& facility) noexcept
    : m_facility(facility) {
  m_facility.beginAssertionsLogOnlyInUnitTestScope();
}

AssertionsLogOnlyInUnitTestScope::~AssertionsLogOnlyInUnitTestScope() {
  try {
    m_facility.endAssertionsLogOnlyInUnitTestScope();
  } catch (...) {
  }
}

}  // namespace HaldenAssertion
