#include "CommandLine.h"
#include "LogConfigCheck.h"

#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"
#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "LowLevelFacilities/RuntimeConfiguration.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using HaldenConfiguration::ConfigurationReportSeverityEnum;
using HaldenConfiguration::LoggingSelectionContext;
using hdutil::checkLogConfiguration;
using hdutil::LogConfigCheck;

namespace {

LoggingSelectionContext processNamed(const std::string& process, bool warmup = false) {
  return hdutil::makeLogConfigSelectionContext(process, "release", "windows", warmup ? "on" : "off", "off");
}

std::string printed(const LogConfigCheck& check) {
  std::ostringstream out;
  hdutil::printLogConfigCheck(out, check);
  return out.str();
}

bool hasLine(const std::string& text, const std::string& line) {
  return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

const char* const kTwoDestinations = R"(
[logging.options]
enable-logging = true
max-verbosity-level = 4

[logging.destination.driver]
type = "file"
included-categories-array = ["XC_ERR", "XC_ATTRIBUTES"]

[logging.destination.spooler]
type = "stringstream"
enable-logging = false

[[logging.contextual-options]]
[[logging.contextual-options.contexts]]
processes = ["spoolsv"]
destinations = ["spooler"]
[logging.contextual-options.options]
enable-logging = true
max-verbosity-level = 6
)";

}  // namespace

TEST(HdutilLogConfigCheck, ACleanFileAndWhatComesOfIt) {
  const LogConfigCheck check = checkLogConfiguration(kTwoDestinations, "Config.toml", processNamed("spoolsv.exe"));
  EXPECT_TRUE(check.reports.empty());
  EXPECT_EQ(check.exitStatus(), 0);
  ASSERT_EQ(check.configuration.getNumberOfDestinations(), 2u);
  EXPECT_TRUE(check.isLoggingOn());
  EXPECT_EQ(check.loggingReason(), "2 of 2 destinations enabled");
  const std::string text = printed(check);
  EXPECT_TRUE(hasLine(text, "Logging configuration: Config.toml, applied over the built-in configuration")) << text;
  EXPECT_TRUE(hasLine(text,
                      "Read for: process 'spoolsv.exe', build 'release', platform 'windows', warm-up off, "
                      "unit tests off"));
  EXPECT_TRUE(hasLine(text, "Reports: none"));
  EXPECT_TRUE(hasLine(text, "  Config.toml, entry 1: applies to destination 'spooler'"));
  EXPECT_TRUE(hasLine(text, "      contexts[1] matches: processes 'spoolsv.exe' is in [spoolsv]"));
  EXPECT_TRUE(hasLine(text, "  driver (file, enabled)"));
  EXPECT_TRUE(hasLine(text, "    included-categories-array = [\"XC_ERR\", \"XC_ATTRIBUTES\"]"));
  EXPECT_TRUE(hasLine(text, "    allowed categories: XC_ERR, XC_ATTRIBUTES"));
  EXPECT_TRUE(hasLine(text,
                      "    log-file-name-string = \"$(home)$(separator)Logs$(separator)$(destination)$(build).log\""
                      "  (default)"));
  EXPECT_TRUE(hasLine(text, "  spooler (stringstream, enabled)"));
  EXPECT_TRUE(hasLine(text, "    max-verbosity-level = 6"));
  EXPECT_TRUE(hasLine(text, "Logging: on (2 of 2 destinations enabled)"));
  EXPECT_TRUE(hasLine(text, "Result: clean (exit status 0)"));

  // The same facts as JSON: every option, typed, with its specified flag.
  const hdutil::Json json = hdutil::logConfigCheckToJson(check);
  EXPECT_EQ(json["source"], "Config.toml");
  EXPECT_EQ(json["context"]["process"], "spoolsv.exe");
  EXPECT_EQ(json["context"]["warmup-mode"], "off");
  EXPECT_EQ(json["sources"], hdutil::Json::parse(R"(["Parse Built-in Configuration", "Config.toml"])"));
  EXPECT_TRUE(json["reports"].empty());
  ASSERT_EQ(json["contextual-options"].size(), 2u);
  EXPECT_EQ(json["contextual-options"][1]["applies"], true);
  EXPECT_EQ(json["contextual-options"][1]["affected-destinations"], hdutil::Json::parse(R"(["spooler"])"));
  ASSERT_EQ(json["destinations"].size(), 2u);
  const hdutil::Json& driver = json["destinations"][0];
  EXPECT_EQ(driver["name"], "driver");
  EXPECT_EQ(driver["type"], "file");
  EXPECT_EQ(driver["enabled"], true);
  EXPECT_EQ(driver["options"].size(), 37u);
  EXPECT_EQ(driver["options"]["max-verbosity-level"], hdutil::Json::parse(R"({"value": 4, "specified": true})"));
  EXPECT_EQ(driver["options"]["included-categories-array"]["value"],
            hdutil::Json::parse(R"(["XC_ERR", "XC_ATTRIBUTES"])"));
  EXPECT_EQ(driver["options"]["max-size-of-limited-log-file"],
            hdutil::Json::parse(R"({"value": 1048576, "specified": false})"));
  EXPECT_EQ(driver["options"]["indent-string"], hdutil::Json::parse(R"({"value": "  ", "specified": false})"));
  EXPECT_EQ(driver["allowed-categories"], hdutil::Json::parse(R"(["XC_ERR", "XC_ATTRIBUTES"])"));
  EXPECT_EQ(json["facility"]["options"]["included-categories-array"]["value"], hdutil::Json::parse(R"(["XC_ALL"])"));
  EXPECT_EQ(json["logging"], hdutil::Json::parse(R"({"on": true, "reason": "2 of 2 destinations enabled"})"));
  EXPECT_EQ(json["exit-status"], 0);
}

TEST(HdutilLogConfigCheck, ContextualEntriesFollowTheProcess) {
  const LogConfigCheck elsewhere = checkLogConfiguration(kTwoDestinations, "Config.toml", processNamed("explorer.exe"));
  EXPECT_EQ(elsewhere.exitStatus(), 0);
  const auto& evaluation = elsewhere.configuration.getContextualOptionsEvaluations().at(1);
  EXPECT_FALSE(evaluation.applied);
  EXPECT_EQ(evaluation.explanation.at(0), "contexts[1] does not match: processes 'explorer.exe' is not in [spoolsv]");
  const auto* spooler = elsewhere.configuration.findDestination("spooler");
  ASSERT_NE(spooler, nullptr);
  EXPECT_FALSE(spooler->isDestinationEnabled());
  EXPECT_EQ(spooler->getOptions().getMaxVerbosityLevel(), 4);
  EXPECT_EQ(elsewhere.loggingReason(), "1 of 2 destinations enabled");
  const std::string text = printed(elsewhere);
  EXPECT_TRUE(hasLine(text, "  Config.toml, entry 1: does not apply")) << text;
  EXPECT_TRUE(hasLine(text, "  spooler (stringstream, disabled: enable-logging is false)"));

  // The driver's warm-up runs: the built-in rule turns logging off, whatever
  // the file says.
  const LogConfigCheck warmup =
      checkLogConfiguration(kTwoDestinations, "Config.toml", processNamed("spoolsv.exe", true));
  EXPECT_FALSE(warmup.isLoggingOn());
  EXPECT_EQ(warmup.loggingReason(), "enable-logging is false for the facility");
  EXPECT_EQ(warmup.exitStatus(), 0);
  const std::string warm = printed(warmup);
  EXPECT_TRUE(hasLine(warm,
                      "  Parse Built-in Configuration, entry 1: applies to the facility's options and to "
                      "destinations 'driver', 'spooler'"))
      << warm;
  EXPECT_TRUE(hasLine(warm, "      contexts[1] matches: warmup-mode 'on' is in [on]"));
  EXPECT_TRUE(hasLine(warm, "Logging: off (enable-logging is false for the facility)"));
}

TEST(HdutilLogConfigCheck, ReportsAndTheirExitStatus) {
  // A mistyped category: reported with its exact text; the other name applies.
  const LogConfigCheck category = checkLogConfiguration(
      "[logging.destination.d]\ntype = \"null\"\nincluded-categories-array = [\"XC_ERR\", \"XC_CONSTRAINTS\"]\n",
      "c.toml", processNamed("a.exe"));
  ASSERT_EQ(category.reports.size(), 1u);
  EXPECT_EQ(category.reports[0].source, "c.toml");
  EXPECT_EQ(category.reports[0].report.severity, ConfigurationReportSeverityEnum::CRSE_ERROR);
  EXPECT_EQ(category.reports[0].report.title, "Format Error: Invalid Debug Logging Category Name");
  EXPECT_EQ(category.reports[0].report.text,
            "Invalid category name, 'XC_CONSTRAINTS'. Did you misspell it? Note that category strings are "
            "case-sensitive and generally all uppercase. This category will be ignored.");
  EXPECT_EQ(category.exitStatus(), 2);
  EXPECT_EQ(category.configuration.getDestination(0).getOptions().getAllowedCategories(), XC_ERR);
  const std::string text = printed(category);
  EXPECT_TRUE(hasLine(text, "Reports: 1 error, 0 warnings")) << text;
  EXPECT_TRUE(hasLine(text, "  error in c.toml: Format Error: Invalid Debug Logging Category Name"));
  EXPECT_TRUE(hasLine(text, "Result: 1 error, 0 warnings (exit status 2)"));

  // A destination without its type is not made.
  const LogConfigCheck missingType = checkLogConfiguration(
      "[logging.options]\nenable-logging = true\n[logging.destination.trace]\nmax-verbosity-level = 6\n", "t.toml",
      processNamed("a.exe"));
  ASSERT_EQ(missingType.reports.size(), 1u);
  EXPECT_EQ(missingType.reports[0].report.title, "Error Parsing Logging Configuration TOML Data");
  EXPECT_EQ(missingType.reports[0].report.text,
            "The 'type' key is missing from the [logging.destination.trace] section. This is a required key!");
  EXPECT_EQ(missingType.configuration.getNumberOfDestinations(), 0u);
  EXPECT_EQ(missingType.loggingReason(), "no destination is configured");

  // Warnings alone: exit status 1.
  const LogConfigCheck unknownKey = checkLogConfiguration(
      "[logging.destination.d]\ntype = \"null\"\nshow-dates = true\n", "w.toml", processNamed("a.exe"));
  ASSERT_EQ(unknownKey.reports.size(), 1u);
  EXPECT_EQ(unknownKey.reports[0].report.severity, ConfigurationReportSeverityEnum::CRSE_WARNING);
  EXPECT_EQ(unknownKey.exitStatus(), 1);
  EXPECT_TRUE(hasLine(printed(unknownKey), "  warning in w.toml: Warning Parsing Logging Configuration TOML Data"));

  // Text the parser refuses is one report; nothing of it applies.
  const LogConfigCheck broken =
      checkLogConfiguration("[logging.options\nenable-logging = true\n[[", "broken.toml", processNamed("a.exe"));
  ASSERT_EQ(broken.reports.size(), 1u);
  EXPECT_EQ(broken.reports[0].report.title, "Error Parsing Logging Configuration TOML Data");
  EXPECT_EQ(broken.reports[0].report.text.rfind("Unable to parse the logging configuration 'broken.toml': ", 0), 0u);
  EXPECT_EQ(broken.exitStatus(), 2);
  EXPECT_FALSE(broken.isLoggingOn());  // the built-in text still holds
  EXPECT_EQ(broken.configuration.getSourceNames(),
            std::vector<std::string>{HaldenConfiguration::RuntimeConfiguration::getBuiltInConfigurationSourceName()});

  // Forced off, and destinations disabled by a switch.
  const LogConfigCheck forced = checkLogConfiguration(
      "[logging]\nforce-all-logging-off-override = true\n[logging.options]\nenable-logging = true\n"
      "[logging.destination.d]\ntype = \"null\"\n",
      "f.toml", processNamed("a.exe"));
  EXPECT_EQ(forced.loggingReason(), "force-all-logging-off-override is set");
  EXPECT_FALSE(forced.isLoggingOn());
  EXPECT_TRUE(hasLine(printed(forced), "    force-all-logging-off-override = true"));
}

TEST(HdutilLogConfigCheck, NothingFromTheFileReachesTheTerminalRaw) {
  const LogConfigCheck check = checkLogConfiguration(
      "[logging.options]\nenable-logging = true\n[logging.destination.\"x\\nLogging: on\\u001b[31m\"]\n"
      "type = \"stdout\"\nindent-string = \"\\u0007\"\nincluded-categories-array = [\"XC_\\u202e\"]\n",
      "evil\n.toml", processNamed("a.exe"));
  const std::string text = printed(check);
  for (const char c : text) {
    ASSERT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20) << text;
  }
  EXPECT_TRUE(hasLine(text, "Logging configuration: evil\\n.toml, applied over the built-in configuration")) << text;
  EXPECT_TRUE(hasLine(text, "  x\\nLogging: on\\x1B[31m (stdout, enabled)")) << text;
  EXPECT_NE(text.find("Invalid category name, 'XC_\\u202E'."), std::string::npos) << text;
  EXPECT_TRUE(hasLine(text, "    indent-string = \"\\x07\"")) << text;
}

TEST(HdutilLogConfigCheck, TheProcessFromTheCommandLine) {
  const LoggingSelectionContext current = hdutil::makeLogConfigSelectionContext("", "", "", "", "");
  EXPECT_FALSE(current.processName.empty());
  EXPECT_EQ(current.build, LoggingSelectionContext::getLibraryBuildWord());
  EXPECT_EQ(current.platform, LoggingSelectionContext::getPlatformWord());
  EXPECT_FALSE(current.warmupMode);
  const LoggingSelectionContext given =
      hdutil::makeLogConfigSelectionContext("PrintIsolationHost.exe", "checked", "linux", "on", "on");
  EXPECT_EQ(given.processName, "PrintIsolationHost.exe");
  EXPECT_EQ(given.build, "checked");
  EXPECT_EQ(given.platform, "linux");
  EXPECT_TRUE(given.warmupMode);
  EXPECT_TRUE(given.unitTests);

  const auto refusal = [](const char* build, const char* platform, const char* warmup, const char* unitTests) {
    try {
      hdutil::makeLogConfigSelectionContext("", build, platform, warmup, unitTests);
    } catch (const hdutil::UsageError& error) {
      return std::string(error.what());
    }
    return std::string("(accepted)");
  };
  EXPECT_EQ(refusal("fast", "", "", ""),
            "--build takes one of checked, debug, free, release, aefree, aeplus, not 'fast'");
  EXPECT_EQ(refusal("", "Windows", "", ""), "--platform takes one of windows, linux, not 'Windows'");
  EXPECT_EQ(refusal("", "", "yes", ""), "--warmup takes one of on, off, not 'yes'");
  EXPECT_EQ(refusal("", "", "", "1"), "--unit-tests takes one of on, off, not '1'");

  const hdutil::Options options =
      hdutil::parseOptions({"check", "f.toml", "--process", "a.exe", "--build", "free", "--platform", "linux",
                            "--warmup", "on", "--unit-tests", "off", "--json"},
                           hdutil::kJsonOption | hdutil::kProcessOption | hdutil::kBuildOption |
                               hdutil::kPlatformOption | hdutil::kWarmupOption | hdutil::kUnitTestsOption,
                           "log-config");
  EXPECT_EQ(options.arguments, (std::vector<std::string>{"check", "f.toml"}));
  EXPECT_EQ(options.process, "a.exe");
  EXPECT_EQ(options.build, "free");
  EXPECT_EQ(options.platform, "linux");
  EXPECT_EQ(options.warmup, "on");
  EXPECT_EQ(options.unitTests, "off");
  EXPECT_TRUE(options.json);
  EXPECT_THROW(hdutil::parseOptions({"--process", "a.exe"}, hdutil::kJsonOption, "inspect"), hdutil::UsageError);
}

TEST(HdutilLogConfigCheck, CategoriesForPeople) {
  EXPECT_EQ(hdutil::describeCategories(XC_ALL), "all");
  EXPECT_EQ(hdutil::describeCategories((1ULL << 59) - 1), "all");  // every named category
  EXPECT_EQ(hdutil::describeCategories(XC_NONE), "none");
  EXPECT_EQ(hdutil::describeCategories(1ULL << 60), "none");  // no named category
  EXPECT_EQ(hdutil::describeCategories(XC_ERR | XC_PRINT_HELPER_UTILDLL), "XC_ERR, XC_PRINT_HELPER_UTILDLL");
  EXPECT_EQ(hdutil::describeCategories(XC_ALL & ~static_cast<unsigned long long>(XC_TRACE | XC_REGISTRY)),
            "all except XC_TRACE, XC_REGISTRY");
}
