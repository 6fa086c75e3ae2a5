#include "DebuggingAndExceptions/AssertionFacility.h"
#include "DebuggingAndExceptions/CPException.h"
#include "LoggingTestSupport.h"
#include "LowLevelFacilities/LogMessageDestinationStringStream.h"
#include "LowLevelFacilities/LoggingFacility.h"
#include "LowLevelFacilities/LoggingPlatform.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "LowLevelFacilities/MeridianPlatformUtilities.h"
#include "LowLevelFacilities/MeridianRuntimeConfigurationHost.h"
#include "LowLevelFacilities/RuntimeConfiguration.h"
#include "RecordingHosts.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace HaldenConfiguration;
namespace globals = LowLevelFacilitiesGlobals;

namespace {

// The test program never reads the developer's own Config.toml: before any
// test runs, the configuration home is an empty folder of its own.
class EmptyConfigurationHome : public ::testing::Environment {
 public:
  void SetUp() override {
    s_home = loggingtest::makeTemporaryFolder("home");
    loggingtest::setEnvironmentVariable("HDU_CONFIG_HOME", loggingtest::pathText(s_home));
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(s_home, ignored);
  }
  static std::filesystem::path s_home;
};
std::filesystem::path EmptyConfigurationHome::s_home;
// NOLINTNEXTLINE(cert-err58-cpp): registered before main, as GoogleTest intends
::testing::Environment* const g_emptyHome = ::testing::AddGlobalTestEnvironment(new EmptyConfigurationHome);

// Points HDU_CONFIG_HOME at another folder for the scope.
class ConfigurationHomeScope {
 public:
  explicit ConfigurationHomeScope(const std::filesystem::path& home) {
    loggingtest::setEnvironmentVariable("HDU_CONFIG_HOME", loggingtest::pathText(home));
  }
  ~ConfigurationHomeScope() {
    loggingtest::setEnvironmentVariable("HDU_CONFIG_HOME", loggingtest::pathText(EmptyConfigurationHome::s_home));
  }
  ConfigurationHomeScope(const ConfigurationHomeScope&) = delete;
  ConfigurationHomeScope& operator=(const ConfigurationHomeScope&) = delete;
};

RuntimeConfiguration buildWithMeridianHost(MeridianRuntimeConfigurationHost& host, IPlatformUtilities& platform,
                                           CollectingReportSink& sink, bool warmup = false) {
  RuntimeConfiguration configuration(RuntimeConfiguration::kRequestUninitialized, host, platform);
  configuration.setReportSink(sink);
  configuration.setWarmupMode(warmup);
  configuration.reinitializeDueToContextChange();
  return configuration;
}

int g_argumentEvaluations = 0;
int countedArgument() {
  return ++g_argumentEvaluations;
}

}  // namespace

TEST(RuntimeConfiguration, DefaultHostGivesTheFactoryDefaults) {
  RecordingPlatformUtilities platform;
  RuntimeConfiguration configuration(platform);
  EXPECT_TRUE(configuration.isInitialized());
  EXPECT_EQ(configuration.getWhichConstructor(), RuntimeConfiguration::WCE_FACTORY_DEFAULTS);
  const LoggingConfiguration& logging = configuration.getLoggingConfiguration();
  EXPECT_TRUE(logging.isLoggingEnabled());
  EXPECT_EQ(logging.getNumberOfDestinations(), 0u);
  EXPECT_EQ(logging.getFacilityOptions(), LoggingOptions::getFactoryDefaults());
  EXPECT_TRUE(logging.getSourceNames().empty());
  EXPECT_EQ(configuration.getUserConfigurationHomeDirectoryPath(), "");
  EXPECT_FALSE(configuration.hasContextInformationChangedSinceInitialized());
  configuration.setWarmupMode(true);
  EXPECT_TRUE(configuration.hasContextInformationChangedSinceInitialized());
  configuration.reinitializeDueToContextChange();
  EXPECT_FALSE(configuration.hasContextInformationChangedSinceInitialized());
  const ProcessContextInfo& now = configuration.getProcessContextInfo();
  const ProcessContextInfo otherUser(now.getProcessId(), now.getProcessName(), now.getUserName() + "-x",
                                     now.getComputerName(), now.getApplicationName(), now.getBuildContext());
  EXPECT_TRUE(configuration.hasContextInformationChangedSince(otherUser));

  // From text: applied last, and again on every reinitialisation.
  CollectingReportSink sink;
  RuntimeConfiguration fromText = RuntimeConfiguration::getFactoryDefaultsAndOverrideWithData(
      DefaultRuntimeConfigurationHost::getInstance(), platform, "[logging.destination.x]\ntype = \"null\"\n", "text");
  EXPECT_EQ(fromText.getWhichConstructor(), RuntimeConfiguration::WCE_FROM_FILE_NAME_AND_DATA);
  fromText.reinitializeDueToContextChange(otherUser);
  EXPECT_EQ(fromText.getLoggingConfiguration().getNumberOfDestinations(), 1u);
  EXPECT_EQ(fromText.getLoggingConfiguration().getSourceNames(), std::vector<std::string>{"text"});
  std::istringstream stream("[logging.options]\nenable-logging = false\n");
  RuntimeConfiguration fromStream = RuntimeConfiguration::getFactoryDefaultsAndOverrideWithData(
      DefaultRuntimeConfigurationHost::getInstance(), platform, stream, "stream");
  EXPECT_EQ(fromStream.getWhichConstructor(), RuntimeConfiguration::WCE_FROM_STREAM_AND_NAME);
  fromStream.reinitializeDueToContextChange();
  EXPECT_FALSE(fromStream.getLoggingConfiguration().isLoggingEnabled());
  // The logging configuration asks its host (this object) for the home directory, after moves too.
  RuntimeConfiguration moved(std::move(fromStream));
  EXPECT_EQ(moved.getLoggingConfiguration().getLoggingConfigurationHost(), &moved);
  EXPECT_TRUE(platform.displayed.empty());
}

TEST(RuntimeConfiguration, MeridianHostReadsTheBuiltInTextThenConfigToml) {
  MeridianRuntimeConfigurationHost host;
  RecordingPlatformUtilities platform;
  const std::filesystem::path home = loggingtest::makeTemporaryFolder("meridian");
  const std::string separator = HaldenLogging::LoggingPlatform::pathSeparator();
  {
    ConfigurationHomeScope scope(loggingtest::pathText(home) + separator + separator);
    EXPECT_EQ(host.getUserConfigurationHomeDirectoryPath(), loggingtest::pathText(home));
  }
  {
    // Without the variable: the shared driver root folder and "Debug".
    loggingtest::unsetEnvironmentVariable("HDU_CONFIG_HOME");
    const std::string root = HaldenLogging::LoggingPlatform::sharedDriverRootFolder();
    EXPECT_EQ(host.getUserConfigurationHomeDirectoryPath(), root + separator + "Debug");
#ifdef _WIN32
    const std::string ending = "\\Halden\\PrinterDriver";
#else
    const std::string ending = "/HaldenPrinterDriver";
#endif
    ASSERT_GT(root.size(), ending.size());
    EXPECT_EQ(root.substr(root.size() - ending.size()), ending);
    loggingtest::setEnvironmentVariable("HDU_CONFIG_HOME", loggingtest::pathText(EmptyConfigurationHome::s_home));
  }
  EXPECT_EQ(host.getUserConfigurationAsStream(""), nullptr);
  ConfigurationHomeScope scope(home);
  const std::filesystem::path file = home / "Config.toml";
  CollectingReportSink sink;

  // No Config.toml: the built-in text switches logging off.
  EXPECT_FALSE(buildWithMeridianHost(host, platform, sink).getLoggingConfiguration().isLoggingEnabled());
  EXPECT_EQ(buildWithMeridianHost(host, platform, sink).getLoggingConfiguration().getSourceNames(),
            std::vector<std::string>{"Parse Built-in Configuration"});

  // Config.toml turns it on (a byte order mark is fine) -- but not in warm-up mode.
  loggingtest::writeFile(file, "\xEF\xBB\xBF[logging.options]\nenable-logging = true\n");
  const RuntimeConfiguration on = buildWithMeridianHost(host, platform, sink);
  EXPECT_TRUE(on.getLoggingConfiguration().isLoggingEnabled());
  EXPECT_EQ(on.getLoggingConfiguration().getSourceNames(),
            (std::vector<std::string>{
                "Parse Built-in Configuration",
                MeridianRuntimeConfigurationHost::getUserConfigurationFilePath(loggingtest::pathText(home))}));
  EXPECT_FALSE(buildWithMeridianHost(host, platform, sink, true).getLoggingConfiguration().isLoggingEnabled());
  EXPECT_TRUE(sink.getReports().empty());

  // A Config.toml the parser rejects: one report naming the file; logging stays off.
  loggingtest::writeFile(file, "[logging.options\nenable-logging = true\n");
  EXPECT_FALSE(buildWithMeridianHost(host, platform, sink).getLoggingConfiguration().isLoggingEnabled());
  ASSERT_EQ(sink.getReports().size(), 1u);
  EXPECT_EQ(sink.getReports()[0].text.rfind(
                "Unable to parse the logging configuration '" +
                    MeridianRuntimeConfigurationHost::getUserConfigurationFilePath(loggingtest::pathText(home)) + "': ",
                0),
            0u);

  // A Config.toml that cannot be read gives the fallback text: logging off, no report.
  std::filesystem::remove(file);
  std::filesystem::create_directories(file);
  sink.clear();
  const std::unique_ptr<std::istream> fallback = host.getUserConfigurationAsStream(loggingtest::pathText(home));
  ASSERT_NE(fallback, nullptr);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(*fallback), std::istreambuf_iterator<char>()),
            "[logging.options]\n enable-logging=false");
  EXPECT_FALSE(buildWithMeridianHost(host, platform, sink).getLoggingConfiguration().isLoggingEnabled());
  EXPECT_TRUE(sink.getReports().empty());
  host.changeUIStatus(true);
  EXPECT_TRUE(host.isUIShown());
  std::filesystem::remove_all(home);
}

// The configuration shown in the README turns logging on to a file in the
// configuration home's Logs folder.
TEST(LoggingSessions, ReadmeConfigurationWritesTheFileItNames) {
  const std::filesystem::path home = loggingtest::makeTemporaryFolder("readme");
  loggingtest::writeFile(home / "Config.toml", R"([logging.options]
enable-logging = true
max-verbosity-level = 5

[logging.destination.driver]
type = "file"
log-file-name-string = "$(home)$(separator)Logs$(separator)driver-$(process).log"
)");
  {
    ConfigurationHomeScope scope(home);
    globals::startApplicationSessionForGlobalFacilitiesAndRestoreOriginalConfiguration();
    HDU_LOG(5, XC_ATTRIBUTES, "imported %u records from %s", 12u, "settings");
    HDU_LOG(6, XC_ATTRIBUTES, "not written");
    globals::endApplicationSessionForGlobalFacilities();
  }
  std::string process = ProcessContextInfo::captureCurrent().getProcessName();
  process = process.substr(
      0, process.rfind('.') == std::string::npos || process.rfind('.') == 0 ? process.size() : process.rfind('.'));
  const std::string text = loggingtest::readFile(home / "Logs" / ("driver-" + process + ".log"));
  EXPECT_NE(text.find("[5] RuntimeConfigurationTest.cpp("), std::string::npos) << text;
  EXPECT_NE(text.find(" imported 12 records from settings"), std::string::npos);
  EXPECT_EQ(text.find("not written"), std::string::npos);
  globals::startApplicationSessionForGlobalFacilitiesAndRestoreOriginalConfiguration();
  globals::endApplicationSessionForGlobalFacilities();
  std::filesystem::remove_all(home);
}

// The session operations drive the runtime configuration and the logging
// facility; the facilities' reports go to the log while it is on.
TEST(LoggingSessions, SessionsDriveTheGlobalFacility) {
  const std::filesystem::path home = loggingtest::makeTemporaryFolder("session");
  loggingtest::writeFile(home / "Config.toml", R"([logging.options]
enable-logging = true
show-date = false
show-time = false
show-thread-id = false
show-process-id = false
show-verbosity-level = false
show-file-name = false
show-line-number = false
line-ending-chars = "\n"
[logging.destination.mem]
type = "stringstream"
[logging.destination.file]
type = "file"
)");
  ConfigurationHomeScope scope(home);
  globals::startApplicationSessionForGlobalFacilitiesAndRestoreOriginalConfiguration();
  HaldenLogging::LoggingFacility& facility = globals::getLoggingFacility();
  ASSERT_EQ(&facility, &HaldenLogging::getGlobalLoggingFacility());
  ASSERT_TRUE(facility.isInitializedAndEnabled());
  ASSERT_NE(globals::tryGetGlobalLoggingConfiguration(), nullptr);
  EXPECT_TRUE(globals::tryGetGlobalLoggingConfiguration()->isInUse());
  auto& memory =
      dynamic_cast<HaldenLogging::LogMessageDestinationStringStream&>(*facility.getEnabledDestinationByName("mem"));

  g_argumentEvaluations = 0;
  HDU_LOG(2, XC_TRACE, "hello %d", countedArgument());
  HDU_LOG(6, XC_TRACE, "too verbose %d", countedArgument());  // above 5: nothing is evaluated
  EXPECT_EQ(g_argumentEvaluations, 1);
  EXPECT_TRUE(HaldenLogging::isLogLevelOpenAtCallSite(5));
  EXPECT_FALSE(HaldenLogging::isLogLevelOpenAtCallSite(6));
  EXPECT_EQ(memory.getStringAndResetStream(), "hello 1\n");

  // A caught exception and a failed assertion are logged.
  CPException::reportAndProcessCaughtException(std::runtime_error("boom"), HDU_DEBUG_CONTEXT("Sessions::Test"),
                                               "testing the report");
  EXPECT_FALSE(globals::getAssertionFacility().processFailedAssertion(HaldenAssertion::ATE_ASSERT, "count > 0",
                                                                      HDU_DEBUG_CONTEXT("Sessions::Check"), 0,
                                                                      HaldenAssertion::AAE_CONTINUE));
  const std::string reports = memory.getStringAndResetStream();
  EXPECT_EQ(reports.rfind("Exception Caught in 'Sessions::Test'\nLocation of catch:\n", 0), 0u) << reports;
  EXPECT_NE(reports.find("While:\ttesting the report\n"), std::string::npos);
  EXPECT_NE(reports.find("Assertion Failed in 'Sessions::Check'\nCondition:\tcount > 0\nPath:\t"), std::string::npos);

  // The default file name: <home>/Logs/<destination><build>.log, written by the session end.
  HDU_LOG_ERROR("to the file");
  globals::endApplicationSessionForGlobalFacilities();
  const std::filesystem::path logFile =
      home / "Logs" / (std::string("file") + LoggingSelectionContext::getLibraryBuildWord() + ".log");
  EXPECT_NE(loggingtest::readFile(logFile).find("to the file\n"), std::string::npos);

  // Warm-up mode is a context change: the next start reinitialises, with logging off.
  RuntimeConfiguration& runtime = globals::getRuntimeConfiguration();
  runtime.setWarmupMode(true);
  const auto before = globals::getSessionDiagnostics();
  globals::startApplicationSessionForGlobalFacilities();
  EXPECT_EQ(globals::getSessionDiagnostics().reinitializations, before.reinitializations + 1);
  EXPECT_FALSE(facility.isInitializedAndEnabled());
  EXPECT_FALSE(HaldenLogging::isLogLevelOpenAtCallSite(0));
  globals::endApplicationSessionForGlobalFacilities();
  runtime.setWarmupMode(false);

  // A specified configuration applies over the built-in text and Config.toml.
  globals::startApplicationSessionForGlobalFacilitiesWithSpecifiedConfiguration(
      "[logging.destination.extra]\ntype = \"stringstream\"\n", "test text");
  EXPECT_NE(facility.getEnabledDestinationByName("extra"), nullptr);
  EXPECT_NE(facility.getEnabledDestinationByName("mem"), nullptr);
  EXPECT_EQ(runtime.getWhichConstructor(), RuntimeConfiguration::WCE_FROM_FILE_NAME_AND_DATA);
  // (Other tests start sessions without ending them: the count is relative.)
  const int sessions = facility.getNumberOfApplicationSessions();
  globals::endApplicationSessionForGlobalFacilitiesPriorToApplicationExit();
  EXPECT_EQ(facility.getEnabledDestinationByName("extra"), nullptr);
  EXPECT_EQ(facility.getNumberOfApplicationSessions(), sessions - 1);

  // Back to the empty home: logging off for the tests that follow.
  loggingtest::setEnvironmentVariable("HDU_CONFIG_HOME", loggingtest::pathText(EmptyConfigurationHome::s_home));
  globals::startApplicationSessionForGlobalFacilitiesAndRestoreOriginalConfiguration();
  globals::endApplicationSessionForGlobalFacilities();
  EXPECT_FALSE(facility.isInitializedAndEnabled());
  EXPECT_FALSE(HaldenLogging::isLogLevelOpenAtCallSite(0));
  std::filesystem::remove_all(home);
}
