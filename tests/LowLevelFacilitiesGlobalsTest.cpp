#include "DesktopUtilitiesLibraryHost.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "LowLevelFacilities/MeridianPlatformUtilities.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/ProcessContextInfo.h"
#include "UtilitiesLibraryHost.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace globals = LowLevelFacilitiesGlobals;

namespace {

bool allFacilityFlagsSet() {
  return globals::getExceptionFacility().isOneTimeApplicationInitializationFlagSet() &&
         globals::getAssertionFacility().isOneTimeApplicationInitializationFlagSet() &&
         globals::getErrorDisplayFacility().isOneTimeApplicationInitializationFlagSet();
}

}  // namespace

TEST(ProcessContextInfo, CurrentContextAndWhichMembersCount) {
  const ProcessContextInfo current = ProcessContextInfo::captureCurrent();
  EXPECT_EQ(current.getProcessId(), PlatformFacilities::currentProcessId());
  EXPECT_EQ(current.getProcessName(), PlatformFacilities::processName());
  EXPECT_FALSE(current.getUserName().empty());
  EXPECT_EQ(current.getApplicationName(), "hdUtilitiesTests");
  EXPECT_EQ(current.getBuildContext().rfind("hd-Utilities ", 0), 0u);
  EXPECT_TRUE(current.isSameContextAs(ProcessContextInfo::captureCurrent()));

  const ProcessContextInfo base(10, "spoolsv.exe", "alice", "PC1", "spoolsv", "build A");
  const struct {
    ProcessContextInfo other;
    bool same;
  } rows[] = {
      {ProcessContextInfo(10, "spoolsv.exe", "alice", "PC1", "spoolsv", "build A"), true},
      {ProcessContextInfo(11, "spoolsv.exe", "alice", "PC1", "spoolsv", "build A"), false},
      {ProcessContextInfo(10, "printui.exe", "alice", "PC1", "spoolsv", "build A"), false},
      {ProcessContextInfo(10, "spoolsv.exe", "bob", "PC1", "spoolsv", "build A"), false},
      {ProcessContextInfo(10, "spoolsv.exe", "alice", "PC1", "PrinterSettings", "build A"), false},
      {ProcessContextInfo(10, "spoolsv.exe", "alice", "PC2", "spoolsv", "build A"), true},
      {ProcessContextInfo(10, "spoolsv.exe", "alice", "PC1", "spoolsv", "build B"), true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(base.isSameContextAs(row.other), row.same) << row.other.getDisplayString();
    EXPECT_EQ(row.other.isSameContextAs(base), row.same);
  }
  EXPECT_EQ(base.getDisplayString(),
            "process spoolsv.exe (10), user alice, application spoolsv, computer PC1, build A");
}

TEST(LowLevelFacilitiesGlobals, SessionStartsReinitializeOnlyWhenTheContextChanges) {
  ASSERT_TRUE(globals::getExceptionFacility().isInitialized());
  ASSERT_TRUE(globals::getAssertionFacility().isInitialized());
  ASSERT_TRUE(globals::getErrorDisplayFacility().isInitialized());

  // The restore variant always reinitialises.
  auto before = globals::getSessionDiagnostics();
  globals::startApplicationSessionForGlobalFacilitiesAndRestoreOriginalConfiguration();
  auto after = globals::getSessionDiagnostics();
  EXPECT_EQ(after.reinitializations, before.reinitializations + 1);
  EXPECT_EQ(after.sessionStarts, before.sessionStarts + 1);
  EXPECT_TRUE(allFacilityFlagsSet());
  ASSERT_TRUE(globals::hasCapturedProcessContextInfo());
  EXPECT_TRUE(globals::getCapturedProcessContextInfo().isSameContextAs(ProcessContextInfo::captureCurrent()));

  // Twice in the same context: counted, nothing rebuilt (the flags stay set).
  before = after;
  globals::startApplicationSessionForGlobalFacilities();
  globals::startApplicationSessionForGlobalFacilities();
  after = globals::getSessionDiagnostics();
  EXPECT_EQ(after.reinitializations, before.reinitializations);
  EXPECT_EQ(after.sessionStarts, before.sessionStarts + 2);
  EXPECT_TRUE(allFacilityFlagsSet());

  // A changed context (another user) reinitialises once; the same one again does not.
  const ProcessContextInfo current = ProcessContextInfo::captureCurrent();
  const ProcessContextInfo otherUser(current.getProcessId(), current.getProcessName(), current.getUserName() + "-other",
                                     current.getComputerName(), current.getApplicationName(),
                                     current.getBuildContext());
  before = after;
  globals::startApplicationSessionForGlobalFacilitiesInContext(otherUser);
  globals::startApplicationSessionForGlobalFacilitiesInContext(otherUser);
  after = globals::getSessionDiagnostics();
  EXPECT_EQ(after.reinitializations, before.reinitializations + 1);
  EXPECT_EQ(globals::getCapturedProcessContextInfo().getUserName(), otherUser.getUserName());
  EXPECT_TRUE(allFacilityFlagsSet());
  // Back in the real context: rebuilt again.
  globals::startApplicationSessionForGlobalFacilities();
  EXPECT_EQ(globals::getSessionDiagnostics().reinitializations, after.reinitializations + 1);

  before = globals::getSessionDiagnostics();
  globals::endApplicationSessionForGlobalFacilities();
  after = globals::getSessionDiagnostics();
  EXPECT_EQ(after.sessionEnds, before.sessionEnds + 1);
  EXPECT_EQ(after.reinitializations, before.reinitializations);
  EXPECT_TRUE(allFacilityFlagsSet());  // an end changes no flag
}

TEST(LowLevelFacilitiesGlobals, SpecifiedConfigurationAndEndBeforeExit) {
  auto before = globals::getSessionDiagnostics();
  globals::startApplicationSessionForGlobalFacilitiesWithSpecifiedConfiguration(
      "[logging.options]\nenable-logging = true\n", "test text");
  auto after = globals::getSessionDiagnostics();
  EXPECT_EQ(after.reinitializations, before.reinitializations + 1);
  EXPECT_TRUE(after.specifiedConfigurationInUse);
  EXPECT_EQ(globals::getSpecifiedConfigurationSourceDescription(), "test text");
  EXPECT_TRUE(allFacilityFlagsSet());

  std::istringstream stream("[logging.options]\nenable-logging = false\n");
  globals::startApplicationSessionForGlobalFacilitiesWithSpecifiedConfiguration(stream, "test stream");
  EXPECT_EQ(globals::getSessionDiagnostics().reinitializations, after.reinitializations + 1);
  EXPECT_EQ(globals::getSpecifiedConfigurationSourceDescription(), "test stream");
  EXPECT_EQ(stream.peek(), std::char_traits<char>::eof());  // read to its end

  // Just before exit: back to the original configuration, then the end.
  before = globals::getSessionDiagnostics();
  globals::endApplicationSessionForGlobalFacilitiesPriorToApplicationExit();
  after = globals::getSessionDiagnostics();
  EXPECT_EQ(after.reinitializations, before.reinitializations + 1);
  EXPECT_EQ(after.sessionEnds, before.sessionEnds + 1);
  EXPECT_FALSE(after.specifiedConfigurationInUse);
  EXPECT_EQ(globals::getSpecifiedConfigurationSourceDescription(), "");
  // The reinitialisation cleared the flags and no session has started since.
  EXPECT_FALSE(globals::getExceptionFacility().isOneTimeApplicationInitializationFlagSet());
  globals::startApplicationSessionForGlobalFacilities();
  EXPECT_TRUE(allFacilityFlagsSet());
}

TEST(DesktopUtilitiesLibraryHost, ClockSelectionAndApplicationName) {
  const DesktopUtilitiesLibraryHost::ClockFunction clock = DesktopUtilitiesLibraryHost::GetSelectedClockFunction();
  ASSERT_NE(clock, nullptr);
  EXPECT_EQ(clock, DesktopUtilitiesLibraryHost::GetSelectedClockFunction());  // chosen once
  std::uint64_t frequency = 0;
  EXPECT_EQ(DesktopUtilitiesLibraryHost::IsPerformanceCounterSelected(),
            PlatformFacilities::queryPerformanceFrequency(frequency));
  const std::uint64_t first = clock();
  const std::uint64_t second = clock();
  EXPECT_LE(first, second);
  EXPECT_EQ(UtilitiesLibraryHost::TryGetCallingApplicationFilenameWithoutExtensionOrSpaces(),
            CXString(u"hdUtilitiesTests"));
}

TEST(MeridianPlatformUtilities, FeatureChangeDebuggerConfigurationFile) {
  MeridianPlatformUtilities platform;
  EXPECT_EQ(platform.getComputerNameForLowLevelUtilities(), PlatformFacilities::computerName());
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("hdu-fcd-" + std::to_string(PlatformFacilities::currentProcessId()));
  std::filesystem::create_directories(folder);
  const auto hintFor = [](const std::filesystem::path& path) { return CXString(path.u16string()); };

  const std::filesystem::path utf8File = folder / "FeatureChangeDebugger.toml";
  std::ofstream(utf8File, std::ios::binary) << "\xEF\xBB\xBF"
                                            << "feature = \"Caf\xC3\xA9\"\n";
  EXPECT_EQ(platform.GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(hintFor(utf8File)),
            CXString(u"feature = \"Caf\u00E9\"\n"));

  const std::filesystem::path utf16File = folder / "wide.toml";
  std::ofstream(utf16File, std::ios::binary).write("\xFF\xFEO\0K\0", 6);
  EXPECT_EQ(platform.GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(hintFor(utf16File)),
            CXString(u"OK"));

  // A folder, a missing file and an empty hint give nothing.
  EXPECT_TRUE(platform.GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(hintFor(folder)).empty());
  EXPECT_TRUE(
      platform.GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(hintFor(folder / "none")).empty());
  EXPECT_TRUE(platform.GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(CXString()).empty());
  std::filesystem::remove_all(folder);
}
