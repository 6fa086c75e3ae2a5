#include "DebuggingAndExceptions/AssertionFacility.h"
#include "DebuggingAndExceptions/InternalChecks.h"
#include "DebuggingAndExceptions/MeridianFacilityHosts.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "RecordingHosts.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

using namespace HaldenAssertion;

namespace {

std::string runtimeErrorText(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "(nothing thrown)";
}

}  // namespace

TEST(AssertionFacility, NestedDisabledScopesNeedTwoEnds) {
  RecordingPlatformUtilities platform;
  RecordingAssertionHost host;
  AssertionFacility facility(platform, host);
  ASSERT_TRUE(facility.assertionsEnabled());
  facility.beginAssertionsDisabledScope();
  facility.beginAssertionsDisabledScope();
  EXPECT_FALSE(facility.assertionsEnabled());
  EXPECT_EQ(AssertionFacility::getAssertionsDisabledCounterForThisThread(), 2);
  facility.endAssertionsDisabledScope();
  EXPECT_FALSE(facility.assertionsEnabled());
  facility.endAssertionsDisabledScope();
  EXPECT_TRUE(facility.assertionsEnabled());

  // Another thread has its own counters.
  facility.beginAssertionsDisabledScope();
  facility.beginAssertionsLogOnlyInUnitTestScope();
  bool otherEnabled = false;
  bool otherLogOnly = true;
  std::thread([&] {
    otherEnabled = facility.assertionsEnabled();
    otherLogOnly = facility.assertionsLogOnlyInUnitTestMode();
  }).join();
  EXPECT_TRUE(otherEnabled);
  EXPECT_FALSE(otherLogOnly);
  facility.endAssertionsLogOnlyInUnitTestScope();
  facility.endAssertionsDisabledScope();

  // The scopes do the same for their lifetime, on the library's facility too.
  {
    AssertionsDisabledScope outer;
    {
      AssertionsDisabledScope inner(facility);
      AssertionsLogOnlyInUnitTestScope logOnly;
      EXPECT_FALSE(LowLevelFacilitiesGlobals::getAssertionFacility().assertionsEnabled());
      EXPECT_TRUE(facility.assertionsLogOnlyInUnitTestMode());
    }
    EXPECT_FALSE(facility.assertionsEnabled());
    EXPECT_FALSE(facility.assertionsLogOnlyInUnitTestMode());
  }
  EXPECT_TRUE(facility.assertionsEnabled());
}

TEST(AssertionFacility, EndWithoutBeginStaysZeroAndThrowsOnlyUnderInternalChecks) {
  RecordingPlatformUtilities platform;
  RecordingAssertionHost host;
  AssertionFacility facility(platform, host);
  ASSERT_EQ(InternalChecks::internalCheckCounter(), 0);
  EXPECT_NO_THROW(facility.endAssertionsDisabledScope());
  EXPECT_NO_THROW(facility.endAssertionsLogOnlyInUnitTestScope());
  EXPECT_EQ(AssertionFacility::getAssertionsDisabledCounterForThisThread(), 0);
  EXPECT_EQ(AssertionFacility::getAssertionsLogOnlyCounterForThisThread(), 0);
  EXPECT_TRUE(facility.assertionsEnabled());

  InternalChecks::InternalCheckScope checks;
  EXPECT_EQ(runtimeErrorText([&] { facility.endAssertionsDisabledScope(); }),
            "Assertion Internals: The 'assertions disabled' counter was already 0 when this method was called! "
            "Ignoring the attempt to set it.");
  EXPECT_EQ(runtimeErrorText([&] { facility.endAssertionsLogOnlyInUnitTestScope(); }),
            "Assertion Internals: The 'assertions log-only' counter was already 0 when this method was called! "
            "Ignoring the attempt to set it.");
  EXPECT_EQ(AssertionFacility::getAssertionsDisabledCounterForThisThread(), 0);
  EXPECT_EQ(AssertionFacility::getAssertionsLogOnlyCounterForThisThread(), 0);
  // A matched end still works under the checks.
  facility.beginAssertionsLogOnlyInUnitTestScope();
  EXPECT_NO_THROW(facility.endAssertionsLogOnlyInUnitTestScope());
}

TEST(AssertionFacility, HostQuestionsAndFailedAssertions) {
  RecordingPlatformUtilities platform;
  RecordingAssertionHost host;
  AssertionFacility facility(platform, host);
  EXPECT_FALSE(facility.areAssertionsProcessedSynchronously());
  host.synchronous = true;
  EXPECT_TRUE(facility.areAssertionsProcessedSynchronously());
  EXPECT_FALSE(facility.processFailedAssertion(ATE_ASSERT, "size > 0", DebugContextReference("a.cpp", 3, "f"), 0,
                                               AAE_BREAK_INTO_DEBUGGER));
  EXPECT_TRUE(platform.displayed.empty());

  facility.setOneTimeApplicationInitializationFlag();
  facility.reinitializeDueToContextChange();
  EXPECT_TRUE(facility.isInitialized());
  EXPECT_FALSE(facility.isOneTimeApplicationInitializationFlagSet());
  EXPECT_EQ(&facility.getHost(), &host);

  // The driver's host: no interactive choice, synchronous processing.
  MeridianAssertionFacilityHost meridian;
  EXPECT_TRUE(meridian.areAssertionsProcessedSynchronously());
  EXPECT_EQ(meridian.requestAssertionAction("x", "y", AAE_THROW_EXCEPTION), AAE_THROW_EXCEPTION);
}
