#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/DebugUtilities.h"
#include "DebuggingAndExceptions/ExceptionFacility.h"
#include "DebuggingAndExceptions/ExecutionContextStack.h"
#include "DebuggingAndExceptions/MeridianFacilityHosts.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"
#include "RecordingHosts.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace pf = PlatformFacilities;

namespace {

const char* const kNote =
    "\n\nAnother message will follow with more information, unless memory issues prevent it from being displayed.";

// What follows "Execution context:\t": "<unavailable>" while the calling thread
// has no execution-context stack (the tests here do not give it one, but
// another test may have), else the stack's display with "\n" line ends.
std::string executionContextLine() {
  const ExecutionContextStack* stack = UtilitiesDllPerThreadStorage::TryGetExecutionContextStackForErrorDisplay();
  if (stack == nullptr) {
    return "<unavailable>\n";
  }
  std::string display = stack->GetMultiLineDisplayString(true).utf8StdString();
  for (std::size_t at = display.find("\r\n"); at != std::string::npos; at = display.find("\r\n", at)) {
    display.erase(at, 1);
  }
  return display;
}

// The report lines for a site, with the version line taken from `report` itself
// (the version text is the library's own build setting).
std::string expectedReport(const std::string& path, const std::string& file, const std::string& function, int line,
                           unsigned long lastError, const std::string& whileText, const std::string& report) {
  const std::size_t versionStart = report.find("Version:\t");
  const std::size_t versionEnd = report.find('\n', versionStart);
  const std::string versionLine = report.substr(versionStart, versionEnd + 1 - versionStart);
  const unsigned long pid = pf::currentProcessId();
  const unsigned long tid = pf::currentThreadId();
  return "Path:\t" + path + "\nFile:\t" + file + "\nMethod:\t" + function + "()\nLine:\t" + std::to_string(line) +
         "\n" + versionLine + "Process:\t" + std::to_string(pid) + "|0x" +
         InternalHaldenCP::formatToStdString("%lx", pid) + "\nThread:\t" + std::to_string(tid) + "|0x" +
         InternalHaldenCP::formatToStdString("%lx", tid) +
         "\nLast err (might be unrelated): " + DebugUtilities::formatLastErrorDisplayString(lastError, true) +
         "\nWhile:\t" + whileText + "\nExecution context:\t" + executionContextLine();
}

bool isVersionText(const std::string& report) {
  const std::size_t start = report.find("Version:\t");
  if (start == std::string::npos) {
    return false;
  }
  const std::string version = report.substr(start + 9, report.find('\n', start) - start - 9);
  return !version.empty() && version.find_first_not_of("0123456789.") == std::string::npos;
}

}  // namespace

TEST(DebugUtilities, LastErrorDisplayStringForCode2) {
  pf::setLastError(1234);
  const std::string systemText = pf::systemMessageText(2);
  ASSERT_FALSE(systemText.empty());
  EXPECT_EQ(DebugUtilities::formatLastErrorDisplayString(2, true), "GetLastError() = " + systemText + " (2/0x2)");
  EXPECT_EQ(DebugUtilities::formatLastErrorDisplayString(2, false), systemText + " (2/0x2)");
  EXPECT_EQ(DebugUtilities::formatLastErrorDisplayString(0x7FFFFF01ul, true),
            "GetLastError() = Unknown value (2147483393/0x7fffff01)");
  EXPECT_EQ(pf::getLastError(), 1234u);
}

TEST(DebugUtilities, ErrorContextReportLinesAndDetails) {
  pf::setLastError(77);
  const DebugContextCopy site("C:\\drv\\UtilitiesDll\\General\\ByteBuffer.cpp", 321, "ByteBuffer::Walk");
  const std::string report =
      DebugUtilities::getErrorContextAndMessageDescription(site, 2, "walking the buffer", {}, {});
  EXPECT_TRUE(isVersionText(report)) << report;
  EXPECT_EQ(report, expectedReport("C:\\drv\\UtilitiesDll\\General\\ByteBuffer.cpp", "ByteBuffer.cpp",
                                   "ByteBuffer::Walk", 321, 2, "walking the buffer", report));
  EXPECT_EQ(pf::getLastError(), 77u);

  // A given thread text replaces the identifier; details become indented
  // lines after "\nDetails:"; a file without folders is its own file name.
  const std::string withDetails = DebugUtilities::getErrorContextAndMessageDescription(
      DebugContextCopy("plain.cpp", 5, "f"), 0, "", "worker 7", "first\r\nsecond\n\nlast");
  EXPECT_NE(withDetails.find("Path:\tplain.cpp\nFile:\tplain.cpp\nMethod:\tf()\nLine:\t5\n"), std::string::npos);
  EXPECT_NE(withDetails.find("\nThread:\tworker 7\n"), std::string::npos);
  const std::string tail =
      "Execution context:\t" + executionContextLine() + "\nDetails:\n\tfirst\n\tsecond\n\t\n\tlast";
  ASSERT_GE(withDetails.size(), tail.size());
  EXPECT_EQ(withDetails.substr(withDetails.size() - tail.size()), tail);
}

TEST(ExceptionFacility, CaughtExceptionReportReachesHostAndDeveloper) {
  RecordingPlatformUtilities platform;
  RecordingExceptionHost host;
  ExceptionFacility facility(platform, host);
  const CPExceptionInvalidArgument exception("The value 7 is not allowed.", 5,
                                             DebugContextCopy("C:\\src\\Module.cpp", 12, "Module::check"));

  pf::setLastError(3);
  facility.reportAndProcessCaughtException(exception, DebugContextReference("C:\\src\\Catcher.cpp", 77, "Catcher::run"),
                                           "reading the settings");
  EXPECT_EQ(pf::getLastError(), 3u);

  ASSERT_EQ(host.reports.size(), 1u);
  EXPECT_EQ(host.reports[0].first, "class CPExceptionInvalidArgument");
  const std::string& text = host.reports[0].second;
  const std::string head =
      "Location of catch:\nC:\\src\\Catcher.cpp (line 77) in Catcher::run\n\n" + exception.getLogString() + "\n\n";
  ASSERT_EQ(text.substr(0, head.size()), head);
  const std::string report = text.substr(head.size());
  EXPECT_EQ(report, expectedReport("C:\\src\\Catcher.cpp", "Catcher.cpp", "Catcher::run", 77, 3, "reading the settings",
                                   report));
  // The same message went to the developer through the platform utilities, under the title.
  ASSERT_EQ(platform.displayed.size(), 1u);
  EXPECT_EQ(platform.displayed[0].first, "Exception Caught in 'Catcher::run'");
  EXPECT_EQ(platform.displayed[0].second, text);

  // An unknown exception is not reported at all.
  facility.reportAndProcessUnknownCaughtException(DebugContextReference("f.cpp", 1, "f"), "x");
  EXPECT_EQ(host.reports.size(), 1u);
}

TEST(ExceptionFacility, LongReportIsSplitInTwoAtTheLimit) {
  const DebugContextReference site("catch.cpp", 9, "Catcher::go");
  pf::setLastError(0);
  // Size of the single message for a one-character what(): find the what()
  // length at which the whole text is exactly at the limit.
  const std::string base = ExceptionFacility::makeCaughtExceptionMessages(std::runtime_error("x"), site, "w", 0).at(0);
  const std::size_t limit = ExceptionFacility::kMaximumSingleReportCharacters;
  ASSERT_LT(base.size(), limit);
  const std::size_t fitting = 1 + (limit - base.size());

  const auto atLimit =
      ExceptionFacility::makeCaughtExceptionMessages(std::runtime_error(std::string(fitting, 'x')), site, "w", 0);
  ASSERT_EQ(atLimit.size(), 1u);
  EXPECT_EQ(atLimit[0].size(), limit);

  RecordingPlatformUtilities platform;
  RecordingExceptionHost host;
  ExceptionFacility facility(platform, host);
  const std::string longText(fitting + 1, 'y');
  facility.reportAndProcessCaughtException(std::runtime_error(longText), DebugContextReference(site), "w");
  ASSERT_EQ(host.reports.size(), 2u);
  EXPECT_EQ(host.reports[0].first, "std::runtime_error");
  EXPECT_EQ(host.reports[1].first, host.reports[0].first);
  ASSERT_EQ(platform.displayed.size(), 2u);
  EXPECT_EQ(platform.displayed[0].first, "Exception Caught in 'Catcher::go'");
  EXPECT_EQ(
      host.reports[0].second,
      "Location of catch:\ncatch.cpp (line 9) in Catcher::go\n\nObject of std::runtime_error\n\n\t" + longText + kNote);
  EXPECT_EQ(host.reports[1].second.rfind("Path:\tcatch.cpp\nFile:\tcatch.cpp\n", 0), 0u);
  EXPECT_EQ(platform.displayed.size(), 2u);
}

TEST(ExceptionFacility, DebugBreakOnThrowAsksTheHost) {
  RecordingPlatformUtilities platform;
  RecordingExceptionHost host;
  ExceptionFacility facility(platform, host);
  pf::setLastError(42);
  EXPECT_FALSE(facility.allowForExceptionDebug("CPExceptionOutOfRange", "index 9 of 3", 42,
                                               DebugContextReference("a.cpp", 1, "A::f")));
  ASSERT_EQ(host.allowQuestions.size(), 1u);
  EXPECT_EQ(host.allowQuestions[0], TitleAndText("CPExceptionOutOfRange", "index 9 of 3"));
  host.answer = true;  // no debugger is attached: allowed, but nothing breaks
  EXPECT_TRUE(
      facility.allowForExceptionDebug("CPExceptionOutOfRange", "again", 42, DebugContextReference("a.cpp", 2, "A::f")));
  EXPECT_EQ(host.allowQuestions.size(), 2u);
  EXPECT_EQ(pf::getLastError(), 42u);

  // The library's own facility is in place, so HDU_THROW's hook reaches it and
  // the exception is thrown as usual.
  EXPECT_TRUE(LowLevelFacilitiesGlobals::getExceptionFacility().isInitialized());
  EXPECT_THROW(HDU_THROW(CPExceptionOutOfRange, HDU_DEBUG_CONTEXT("Test::throw"), "value %d", 3),
               CPExceptionOutOfRange);
}

TEST(ExceptionFacility, ZeroFilledFacilityIsNotInitializedAndRefusesCalls) {
  alignas(ExceptionFacility) unsigned char storage[sizeof(ExceptionFacility)] = {};
  auto* zeroFilled = reinterpret_cast<ExceptionFacility*>(storage);
  EXPECT_FALSE(zeroFilled->isInitialized());
  EXPECT_FALSE(zeroFilled->allowForExceptionDebug("X", "m", 0, DebugContextReference("f.cpp", 1, "f")));

  alignas(HaldenAssertion::AssertionFacility) unsigned char
      assertionStorage[sizeof(HaldenAssertion::AssertionFacility)] = {};
  EXPECT_FALSE(reinterpret_cast<HaldenAssertion::AssertionFacility*>(assertionStorage)->isInitialized());
  alignas(ErrorDisplayFacility) unsigned char errorStorage[sizeof(ErrorDisplayFacility)] = {};
  EXPECT_FALSE(reinterpret_cast<ErrorDisplayFacility*>(errorStorage)->isInitialized());
}

TEST(ExceptionFacility, ReinitializationRebuildsInPlaceAndMoveAssignmentTakesEverything) {
  RecordingPlatformUtilities platform;
  RecordingExceptionHost host;
  ExceptionFacility facility(platform, host);
  EXPECT_TRUE(facility.isInitialized());
  EXPECT_FALSE(facility.isOneTimeApplicationInitializationFlagSet());
  facility.notifyApplicationSessionStarted();
  EXPECT_TRUE(facility.isOneTimeApplicationInitializationFlagSet());
  facility.notifyApplicationSessionEnded();
  EXPECT_TRUE(facility.isOneTimeApplicationInitializationFlagSet());
  facility.reinitializeDueToContextChange();
  EXPECT_TRUE(facility.isInitialized());
  EXPECT_FALSE(facility.isOneTimeApplicationInitializationFlagSet());
  EXPECT_EQ(&facility.getHost(), &host);
  EXPECT_EQ(&facility.getPlatformUtilities(), &platform);

  RecordingPlatformUtilities otherPlatform;
  RecordingExceptionHost otherHost;
  ExceptionFacility other(otherPlatform, otherHost);
  other.setOneTimeApplicationInitializationFlag();
  facility = std::move(other);
  EXPECT_EQ(&facility.getHost(), &otherHost);
  EXPECT_EQ(&facility.getPlatformUtilities(), &otherPlatform);
  EXPECT_TRUE(facility.isOneTimeApplicationInitializationFlagSet());
}

// A context change rebuilds each facility with the platform utilities and
// the host it holds at that moment (here the ones moved in), not those it was
// first built with.
template <class Facility, class Host>
void expectRebuiltWithTheHostItHolds() {
  RecordingPlatformUtilities firstPlatform;
  Host firstHost;
  RecordingPlatformUtilities platform;
  Host host;
  Facility facility(firstPlatform, firstHost);
  facility = Facility(platform, host);
  for (int round = 0; round < 2; ++round) {
    facility.notifyApplicationSessionStarted();
    ASSERT_TRUE(facility.isOneTimeApplicationInitializationFlagSet());
    facility.prepareToReinitializeDueToContextChange();
    EXPECT_TRUE(facility.isOneTimeApplicationInitializationFlagSet());
    facility.reinitializeDueToContextChange();
    EXPECT_TRUE(facility.isInitialized());
    EXPECT_FALSE(facility.isOneTimeApplicationInitializationFlagSet());
    EXPECT_EQ(&facility.getPlatformUtilities(), &platform);
    EXPECT_EQ(&facility.getHost(), &host);
  }
}

TEST(ProcessWideFacility, EveryFacilityIsRebuiltWithTheUtilitiesAndHostItHolds) {
  expectRebuiltWithTheHostItHolds<ExceptionFacility, RecordingExceptionHost>();
  expectRebuiltWithTheHostItHolds<HaldenAssertion::AssertionFacility, RecordingAssertionHost>();
  expectRebuiltWithTheHostItHolds<ErrorDisplayFacility, RecordingErrorDisplayHost>();

  // A rebuilt facility works as before: reports reach its developer channel and host.
  RecordingPlatformUtilities platform;
  RecordingErrorDisplayHost host;
  ErrorDisplayFacility facility(platform, host);
  facility.reinitializeDueToContextChange();
  facility.reportError("Title", "Text");
  ASSERT_EQ(platform.displayed.size(), 1u);
  EXPECT_EQ(platform.displayed[0], TitleAndText("Title", "Text"));
  ASSERT_EQ(host.reports.size(), 1u);
  EXPECT_EQ(host.reports[0], TitleAndText("Title", "Text"));
}

TEST(ExceptionFacility, CrtReportHookDeliversAndClaimsTheReport) {
  RecordingPlatformUtilities platform;
  RecordingExceptionHost host;
  ExceptionFacility facility(platform, host);
  const struct {
    int type;
    const char* title;
  } rows[] = {{0, "C Runtime Warning"}, {1, "C Runtime Error"}, {2, "C Runtime Assertion"}, {7, "C Runtime Report"}};
  for (const auto& row : rows) {
    int returnValue = -1;
    EXPECT_EQ(facility.processCrtDebugReport(row.type, L"heap check failed", &returnValue), 1);
    EXPECT_EQ(returnValue, 0);
    ASSERT_FALSE(platform.displayed.empty());
    EXPECT_EQ(platform.displayed.back(), TitleAndText(row.title, "heap check failed"));
  }
  EXPECT_TRUE(host.reports.empty());
}

TEST(ErrorDisplayFacility, ReportsGoToTheDeveloperAndTheHost) {
  RecordingPlatformUtilities platform;
  RecordingErrorDisplayHost host;
  ErrorDisplayFacility facility(platform, host);
  pf::setLastError(9);
  facility.reportError("Format Error: Missing Required Table", "The table [logging] is missing.");
  EXPECT_EQ(pf::getLastError(), 9u);
  const TitleAndText expected("Format Error: Missing Required Table", "The table [logging] is missing.");
  ASSERT_EQ(platform.displayed.size(), 1u);
  EXPECT_EQ(platform.displayed[0], expected);
  ASSERT_EQ(host.reports.size(), 1u);
  EXPECT_EQ(host.reports[0], expected);

  // The low-level route goes to the platform utilities only.
  DebugUtilities::reportErrorForLowLevelUtilities(platform, "Logging Internals Error", "counter was 0");
  EXPECT_EQ(platform.displayed.back(), TitleAndText("Logging Internals Error", "counter was 0"));
  EXPECT_EQ(host.reports.size(), 1u);
  EXPECT_NE(LowLevelFacilitiesGlobals::tryGetPlatformUtilities(), nullptr);
}

TEST(MeridianFacilityHosts, DebugBreakSwitchWords) {
  const struct {
    const char* switches;
    const char* word;
    bool expected;
  } rows[] = {
      {nullptr, "throw", false},    {"", "throw", false},           {"throw", "throw", true},
      {"THROW", "throw", true},     {"catch,throw", "throw", true}, {"catch; error", "error", true},
      {"throwing", "throw", false}, {"thro", "throw", false},       {"all", "assert", true},
      {" , ;", "catch", false},     {"catch", "throw", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(MeridianFacilityHosts::isDebugBreakSwitchSet(row.switches, row.word), row.expected)
        << (row.switches ? row.switches : "(null)") << " / " << row.word;
  }
}
