#include "DebuggingAndExceptions/CPException.h"
#include "LoggingTestSupport.h"
#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"
#include "LowLevelFacilities/LoggingConfiguration.h"
#include "LowLevelFacilities/LoggingOptions.h"
#include "LowLevelFacilities/RuntimeConfiguration.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace HaldenConfiguration;
using loggingtest::configurationFrom;
using loggingtest::selection;

namespace {

using Report = std::pair<std::string, std::string>;

std::vector<Report> reportsOf(const CollectingReportSink& sink) {
  std::vector<Report> reports;
  for (const ConfigurationReport& report : sink.getReports()) {
    reports.emplace_back(report.title, report.text);
  }
  return reports;
}

const char* const kTypeMismatch = "Format Error: Type Mismatch for TOML Value";
const char* const kParseError = "Error Parsing Logging Configuration TOML Data";
const char* const kParseWarning = "Warning Parsing Logging Configuration TOML Data";

}  // namespace

TEST(LoggingOptions, IdsKeysAndFactoryDefaults) {
  const char* const keys[] = {"enable-logging",
                              "enable-low-level-internals-output",
                              "max-verbosity-level",
                              "included-categories-array",
                              "excluded-categories-array",
                              "require-only-subset-of-categories",
                              "use-background-thread",
                              "show-date",
                              "show-time",
                              "use-millisecond-precision",
                              "show-thread-id",
                              "show-process-id",
                              "show-verbosity-level",
                              "show-line-number",
                              "show-process-name",
                              "min-process-name-width",
                              "max-process-name-width",
                              "show-file-name",
                              "min-file-name-width",
                              "max-file-name-width",
                              "show-method-name",
                              "min-method-name-width",
                              "max-method-name-width",
                              "show-computer-name",
                              "min-computer-name-width",
                              "max-computer-name-width",
                              "indent-string",
                              "line-ending-chars",
                              "max-message-width",
                              "troubleshoot-debug-logging-categories",
                              "obfuscate-log-messages",
                              "clear-log-files-on-open",
                              "flush-log-file-stream-on-write",
                              "add-sequential-log-file-suffix-on-open",
                              "unlimited-log-file-size-flag",
                              "max-size-of-limited-log-file",
                              "log-file-name-string"};
  static_assert(sizeof(keys) / sizeof(keys[0]) == LOID_NUMBER_OF_OPTIONS);
  for (int id = 0; id < LOID_NUMBER_OF_OPTIONS; ++id) {
    const LoggingOptionDescription* description = LoggingOptionTable::describe(id);
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(description->id, id);
    EXPECT_STREQ(description->key, keys[id]);
    EXPECT_EQ(LoggingOptionTable::findByKey(keys[id]), description);
    EXPECT_EQ(LoggingOptionTable::isMessageFormatOption(id), id >= 7 && id <= 28) << id;
  }
  EXPECT_EQ(LoggingOptionTable::describe(37), nullptr);
  EXPECT_EQ(LoggingOptionTable::describe(-1), nullptr);
  EXPECT_EQ(LoggingOptionTable::findByKey("Enable-Logging"), nullptr);

  const LoggingOptions defaults = LoggingOptions::getFactoryDefaults();
  EXPECT_FALSE(defaults.hasAnySpecifiedOption());
  EXPECT_TRUE(defaults.getEnableLogging());
  EXPECT_EQ(defaults.getMaxVerbosityLevel(), 5);
  EXPECT_EQ(defaults.getAllowedCategories(), XC_ALL);
  EXPECT_EQ(defaults.getMaxSizeOfLimitedLogFile(), 1048576u);
  EXPECT_EQ(defaults.getLogFileNameString(), "$(home)$(separator)Logs$(separator)$(destination)$(build).log");
  EXPECT_EQ(defaults.getMessageFormatOptions().getIndentString(), "  ");
  EXPECT_EQ(defaults.getOptionValueDisplayString(LOID_MAX_VERBOSITY_LEVEL), "5");
  EXPECT_EQ(defaults.getOptionValueDisplayString(LOID_INCLUDED_CATEGORIES_ARRAY), "[\"XC_ALL\"]");
  EXPECT_EQ(defaults.getOptionValueDisplayString(LOID_EXCLUDED_CATEGORIES_ARRAY), "[]");
  EXPECT_EQ(defaults.getOptionValueDisplayString(LOID_INDENT_STRING), "\"  \"");
  EXPECT_EQ(defaults.getOptionValueDisplayString(LOID_SHOW_DATE), "true");
}

TEST(LoggingOptions, ApplySpecifiedAndSupersetMergeOnlyWhatIsSpecified) {
  LoggingOptions base = LoggingOptions::getFactoryDefaults();
  LoggingOptions later;
  later.setMaxVerbosityLevel(9);
  later.setExcludedCategories(XC_TRACE | XC_FLOW);
  later.getMessageFormatOptions().setShowDate(false);
  base.applySpecifiedOptionValues(later);
  EXPECT_EQ(base.getMaxVerbosityLevel(), 9);
  EXPECT_TRUE(base.isOptionSpecified(LOID_MAX_VERBOSITY_LEVEL));
  EXPECT_FALSE(base.isOptionSpecified(LOID_ENABLE_LOGGING));
  EXPECT_TRUE(base.getEnableLogging());  // not specified by `later`: kept
  EXPECT_FALSE(base.getMessageFormatOptions().getShowDate());
  EXPECT_EQ(base.getAllowedCategories(), XC_ALL & ~(XC_TRACE | XC_FLOW));
  EXPECT_EQ(base.getCategoriesIntersection(XC_TRACE | XC_ERR), XC_ERR);
  EXPECT_EQ(base.getOptionValueDisplayString(LOID_EXCLUDED_CATEGORIES_ARRAY), "[\"XC_TRACE\", \"XC_FLOW\"]");

  LoggingOptions own;
  own.setMaxVerbosityLevel(2);
  own.setIncludedCategories(XC_ERR | XC_TRACE);
  own.setWithSupersetOfOptions(base);
  EXPECT_EQ(own.getMaxVerbosityLevel(), 2);                   // its own stays
  EXPECT_FALSE(own.getMessageFormatOptions().getShowDate());  // taken from the superset
  EXPECT_EQ(own.getAllowedCategories(), XC_ERR);              // included less excluded
  own.clearSpecifiedFlags();
  EXPECT_FALSE(own.hasAnySpecifiedOption());
  EXPECT_EQ(own.getMaxVerbosityLevel(), 2);
}

TEST(LoggingConfiguration, ReadsEveryOptionKeyOfAllKinds) {
  CollectingReportSink sink;
  const LoggingConfiguration configuration = configurationFrom({R"([logging.options]
enable-logging = true
max-verbosity-level = -3
[logging.destination.out]
type = "stringstream"
enable-low-level-internals-output = true
max-verbosity-level = 127
included-categories-array = ["XC_ERR", "XC_TRACE", "XC_DATAMODEL_INNERDLL"]
excluded-categories-array = ["XC_TRACE"]
require-only-subset-of-categories = true
use-background-thread = true
show-date = false
show-time = false
use-millisecond-precision = false
show-thread-id = false
show-process-id = false
show-verbosity-level = false
show-line-number = false
show-process-name = true
min-process-name-width = 10
max-process-name-width = 12
show-file-name = false
min-file-name-width = 1
max-file-name-width = 2
show-method-name = true
min-method-name-width = 3
max-method-name-width = 4096
show-computer-name = true
min-computer-name-width = 0
max-computer-name-width = 7
indent-string = "->"
line-ending-chars = "\r\n"
max-message-width = 2147483647
troubleshoot-debug-logging-categories = true
obfuscate-log-messages = true
clear-log-files-on-open = true
flush-log-file-stream-on-write = true
add-sequential-log-file-suffix-on-open = true
unlimited-log-file-size-flag = true
max-size-of-limited-log-file = 9223372036854775807
log-file-name-string = "$(home)/x.log"
)"},
                                                               sink);
  EXPECT_TRUE(sink.getReports().empty()) << sink.getReports()[0].text;
  EXPECT_EQ(configuration.getFacilityOptions().getMaxVerbosityLevel(), -3);
  ASSERT_EQ(configuration.getNumberOfDestinations(), 1u);
  const LoggingOptions& o = configuration.getDestination(0).getOptions();
  for (int id = 0; id < LOID_NUMBER_OF_OPTIONS; ++id) {
    EXPECT_TRUE(o.isOptionSpecified(id)) << id;
  }
  EXPECT_EQ(o.getMaxVerbosityLevel(), 127);
  EXPECT_EQ(o.getAllowedCategories(), XC_ERR | XC_DATAMODEL_INNERDLL);
  EXPECT_TRUE(o.getUseBackgroundThread());
  const LoggingMessageFormatOptions& f = o.getMessageFormatOptions();
  EXPECT_EQ(f.getMaxProcessNameWidth(), 12);
  EXPECT_EQ(f.getMaxMethodNameWidth(), 4096);
  EXPECT_EQ(f.getIndentString(), "->");
  EXPECT_EQ(f.getLineEndingChars(), "\r\n");
  EXPECT_EQ(f.getMaxMessageWidth(), 2147483647);
  EXPECT_EQ(o.getMaxSizeOfLimitedLogFile(), 9223372036854775807ULL);
  EXPECT_EQ(o.getLogFileNameString(), "$(home)/x.log");
  EXPECT_EQ(o.getOptionValueDisplayString(LOID_LINE_ENDING_CHARS), "\"\\r\\n\"");
  EXPECT_EQ(o.getOptionValueDisplayString(LOID_INCLUDED_CATEGORIES_ARRAY),
            "[\"XC_ERR\", \"XC_TRACE\", \"XC_DATAMODEL_INNERDLL\"]");
}

TEST(LoggingConfiguration, ValueErrorsAreReportedExactlyAndIgnored) {
  CollectingReportSink sink;
  const LoggingConfiguration configuration = configurationFrom({R"([logging.options]
enable-logging = "yes"
max-verbosity-level = 128
max-file-name-width = -1
indent-string = 3
min-method-name-width = 1.5
included-categories-array = "XC_ERR"
excluded-categories-array = ["XC_ALL"]
max-verbosityy-level = 3
[logging.options.max-message-width]
x = 1
[logging.destination.d]
type = "null"
included-categories-array = ["XC_ERR", "", "!XC_TRACE", "XC_BOGUS", "XC_FLOW"]
[logging.destination.e]
type = "null"
excluded-categories-array = [["XC_ERR"]]
)"},
                                                               sink);
  const std::vector<Report> expected = {
      {kTypeMismatch, "Wrong type for this key's value: 'logging.options.enable-logging'. Expect true or false."},
      {"Format Error Found by LoggingOptions::LoggingOptions()",
       "Unexpected value, 'XC_ALL', in the list of values for this key, 'logging.options.excluded-categories-array'! "
       "Ignoring the values."},
      {kTypeMismatch,
       "Wrong type. Expect this key's value to be an array: 'logging.options.included-categories-array'."},
      {kTypeMismatch, "Wrong type. Expect this key's value to be a string: 'logging.options.indent-string'."},
      {"Format Error Found by tryGetTomlOption()",
       "The value, -1, is out of range for this key: 'logging.options.max-file-name-width'. Expect an integer from 0 "
       "to 4096. Ignoring this value."},
      {kTypeMismatch, "Wrong type. Expect this key's value to be an integer: 'logging.options.max-message-width'."},
      {"Format Error Found by tryGetTomlOption()",
       "The value, 128, is out of range for this key: 'logging.options.max-verbosity-level'. Expect an integer from "
       "-128 to 127. Ignoring this value."},
      {kParseWarning,
       "Unknown key, 'max-verbosityy-level', in the [logging.options] table. It is not a logging configuration key "
       "and is being ignored."},
      {kTypeMismatch, "Wrong type. Expect this key's value to be an integer: 'logging.options.min-method-name-width'."},
      {"Format Error: Invalid Empty TOML Value",
       "Empty string not allowed in this array of enum values: 'logging.destination.d.included-categories-array'."},
      {"Format Error: 'Exlusive' Prefix Not Allowed",
       "Invalid use of the 'exclusive prefix' character, '!', in the value, '!XC_TRACE', for this key, "
       "'logging.destination.d.included-categories-array'! Ignoring this value."},
      {"Format Error: Invalid Debug Logging Category Name",
       "Invalid category name, 'XC_BOGUS'. Did you misspell it? Note that category strings are case-sensitive and "
       "generally all uppercase. This category will be ignored."},
      {"Format Error Found by tryGetTomlArrayAsStrings()",
       "Wrong type. Expect this key's value to be an array of strings (representing enums): "
       "'logging.destination.e.excluded-categories-array'."},
  };
  EXPECT_EQ(reportsOf(sink), expected);
  // Everything reported was ignored; the good values around it were taken.
  EXPECT_TRUE(configuration.getFacilityOptions().getEnableLogging());
  EXPECT_EQ(configuration.getFacilityOptions().getMaxVerbosityLevel(), 5);
  EXPECT_EQ(configuration.getFacilityOptions().getAllowedCategories(), XC_ALL);
  EXPECT_EQ(configuration.getDestination(0).getOptions().getAllowedCategories(), XC_ERR | XC_FLOW);
  EXPECT_EQ(configuration.getDestination(1).getOptions().getAllowedCategories(), XC_ALL);
  EXPECT_EQ(sink.countReports(ConfigurationReportSeverityEnum::CRSE_WARNING), 1u);
}

TEST(LoggingConfiguration, DestinationsAcrossSources) {
  CollectingReportSink sink;
  LoggingConfiguration configuration = configurationFrom({R"([logging.destination]
scalar = 3
[logging.destination.zeta]
type = "stderr"
[logging.destination.alpha]
type = "stringstream"
max-verbosity-level = 1
[logging.destination.notype]
max-verbosity-level = 1
[logging.destination.badtype]
type = "files"
)",
                                                          R"([logging.destination.alpha]
type = "file"
show-date = false
[logging.destination.beta]
type = "outputdebugstring"
)"},
                                                         sink);
  const std::vector<Report> expected = {
      {"Format Error: No Enum Mapping for TOML Value",
       "Unexpected string. No enum mapping. The value: 'files' is not in the map associated with this key: "
       "'logging.destination.badtype.type'."},
      {kParseError, "The 'type' key is missing from the [logging.destination.notype] section. This is a required key!"},
      {kParseWarning,
       "A key, 'scalar', in the [logging.destination] table is not itself a table. Expecting all keys here to be "
       "tables named for a specific destination. This key is being ignored."},
      {kParseWarning,
       "The 'type' key is present, 'file', in the [logging.destination.alpha] section. However, the destination "
       "already exists with a different type, 'stringstream'! Ignoring the new type value."},
  };
  EXPECT_EQ(reportsOf(sink), expected);
  // Sorted by name within a source, in source order across sources.
  ASSERT_EQ(configuration.getNumberOfDestinations(), 3u);
  EXPECT_EQ(configuration.getDestination(0).getDestinationName(), "alpha");
  EXPECT_EQ(configuration.getDestination(1).getDestinationName(), "zeta");
  EXPECT_EQ(configuration.getDestination(2).getDestinationName(), "beta");
  // The first type stays; the second source's options apply over the first's.
  const HaldenLogging::LogMessageDestinationBase& alpha = configuration.getDestination(0);
  EXPECT_EQ(alpha.getDestinationType(), DTE_STRINGSTREAM);
  EXPECT_EQ(alpha.getOptions().getMaxVerbosityLevel(), 1);
  EXPECT_FALSE(alpha.getOptions().getMessageFormatOptions().getShowDate());
  EXPECT_EQ(configuration.findDestination("notype"), nullptr);
  EXPECT_EQ(configuration.findDestination("badtype"), nullptr);
  EXPECT_EQ(configuration.getSourceNames(), (std::vector<std::string>{"source 1", "source 2"}));

  // Copies clone the destinations.
  const LoggingConfiguration copy(configuration);
  ASSERT_EQ(copy.getNumberOfDestinations(), 3u);
  EXPECT_NE(&copy.getDestination(0), &configuration.getDestination(0));
  EXPECT_EQ(copy.getDestination(0).getOptions(), configuration.getDestination(0).getOptions());
  EXPECT_THROW(copy.getDestination(3), CPExceptionIndexOutOfBounds);
}

TEST(LoggingConfiguration, ContextualOptionsSelectorsAndExclusivePrefix) {
  const std::string destinations = R"([logging.destination.file1]
type = "null"
[logging.destination.file2]
type = "null"
[logging.destination.text]
type = "stringstream"
)";
  const auto levelOf = [](const LoggingConfiguration& c, const char* name) {
    return static_cast<int>(c.findDestination(name)->getOptions().getMaxVerbosityLevel());
  };

  // Every process but spoolsv.exe ("spoolsv" matches it too, any case).
  for (const auto& [process, expectedLevel] :
       {std::pair<std::string, int>{"spoolsv.exe", 5}, {"SPOOLSV.EXE", 5}, {"printui.exe", 9}}) {
    CollectingReportSink sink;
    const LoggingConfiguration c = configurationFrom({destinations + R"([[logging.contextual-options]]
[[logging.contextual-options.contexts]]
processes = ["!spoolsv"]
[logging.contextual-options.options]
max-verbosity-level = 9
)"},
                                                     sink, selection(process));
    EXPECT_TRUE(sink.getReports().empty());
    EXPECT_EQ(levelOf(c, "file1"), expectedLevel) << process;
    EXPECT_EQ(static_cast<int>(c.getFacilityOptions().getMaxVerbosityLevel()), expectedLevel);
  }

  // Builds (checked = debug), platforms, unit tests, warm-up; destinations and
  // types select where the options go; "empty" selects the facility alone.
  CollectingReportSink sink;
  const LoggingConfiguration c = configurationFrom({destinations + R"(
[[logging.contextual-options]]
[[logging.contextual-options.contexts]]
builds = ["checked"]
destinations = ["file1"]
[logging.contextual-options.options]
max-verbosity-level = 1
[[logging.contextual-options]]
[[logging.contextual-options.contexts]]
platforms = ["linux"]
types = ["stringstream"]
[[logging.contextual-options.contexts]]
unit-tests = ["on"]
warmup-mode = ["off"]
destinations = ["file2"]
[logging.contextual-options.options]
max-verbosity-level = 2
[[logging.contextual-options]]
[[logging.contextual-options.contexts]]
destinations = ["empty"]
[logging.contextual-options.options]
max-verbosity-level = 7
)"},
                                                   sink, selection("app.exe", "debug", "linux", false, true));
  EXPECT_TRUE(sink.getReports().empty());
  EXPECT_EQ(levelOf(c, "file1"), 1);
  EXPECT_EQ(levelOf(c, "file2"), 2);
  EXPECT_EQ(levelOf(c, "text"), 2);
  EXPECT_EQ(static_cast<int>(c.getFacilityOptions().getMaxVerbosityLevel()), 7);
  const auto& evaluations = c.getContextualOptionsEvaluations();
  ASSERT_EQ(evaluations.size(), 3u);
  EXPECT_TRUE(evaluations[0].applied);
  EXPECT_EQ(evaluations[0].affectedDestinations, std::vector<std::string>{"file1"});
  EXPECT_EQ(evaluations[0].explanation,
            std::vector<std::string>{"contexts[1] matches: builds 'debug' is in [checked]"});
  EXPECT_EQ(evaluations[1].affectedDestinations, (std::vector<std::string>{"file2", "text"}));
  EXPECT_FALSE(evaluations[1].affectsFacilityOptions);
  EXPECT_EQ(
      evaluations[1].explanation,
      (std::vector<std::string>{"contexts[1] matches: platforms 'linux' is in [linux]",
                                "contexts[2] matches: unit-tests 'on' is in [on]; warmup-mode 'off' is in [off]"}));
  EXPECT_TRUE(evaluations[2].affectsFacilityOptions);
  EXPECT_TRUE(evaluations[2].affectedDestinations.empty());

  // The same file for a release build on Windows: nothing but "empty" applies.
  CollectingReportSink other;
  const LoggingConfiguration w = configurationFrom({destinations}, other, selection("app.exe", "free", "windows"));
  EXPECT_EQ(levelOf(w, "file1"), 5);
}

TEST(LoggingConfiguration, SelectorErrorsAreReportedAndIgnored) {
  CollectingReportSink sink;
  const LoggingConfiguration c = configurationFrom({R"([logging.destination.out]
type = "stringstream"
[[logging.contextual-options]]
extra = 1
[[logging.contextual-options.contexts]]
processes = ["a.exe", "!b.exe"]
[logging.contextual-options.options]
max-verbosity-level = 1
[[logging.contextual-options]]
[[logging.contextual-options.contexts]]
builds = ["retail", "!"]
warmup-mode = ["!on"]
platforms = [""]
destinations = ["nowhere", "out"]
colour = ["red"]
[logging.contextual-options.options]
max-verbosity-level = 2
[[logging.contextual-options]]
[logging.contextual-options.options]
max-verbosity-level = 3
[[logging.contextual-options]]
contexts = []
[[logging.contextual-options]]
[logging.contextual-options.contexts]
builds = ["debug"]
[logging.contextual-options.options]
)"},
                                                   sink);
  const std::vector<Report> expected = {
      {kParseWarning,
       "Unknown key, 'extra', in the [logging.contextual-options[1]] table. It is not a logging configuration key and "
       "is being ignored."},
      {"Format Error: Invalid Use of Exclusive Prefix",
       "The set of values includes a mix of 'exclusive' (i.e., starts with '!') and 'inclusive' values! The values "
       "for this key are being ignored: 'logging.contextual-options[1].contexts[1].processes'."},
      {"Format Error: No Enum Mapping for TOML Value",
       "Unexpected string. No enum mapping. The value: 'retail' is not in the map associated with this key: "
       "'logging.contextual-options[2].contexts[1].builds'."},
      {"Format Error: Invalid Use of Exclusive Prefix",
       "Invalid use of the 'exclusive prefix' character, '!', in the value, '!', for this key, "
       "'logging.contextual-options[2].contexts[1].builds'! Ignoring this value."},
      {kParseWarning,
       "Unknown key, 'colour', in the [logging.contextual-options[2].contexts[1]] table. It is not a logging "
       "configuration key and is being ignored."},
      {"Format Error: Invalid Empty TOML Value",
       "Empty string not allowed in this array of enum values: 'logging.contextual-options[2].contexts[1].platforms'."},
      {"Format Error: 'Exlusive' Prefix Not Allowed",
       "Invalid use of the 'exclusive prefix' character, '!', in the value, '!on', for this key, "
       "'logging.contextual-options[2].contexts[1].warmup-mode'! Ignoring this value."},
      {"Format Error: Missing Required Table",
       "Each table in the 'logging.contextual-options' table array requires at least one 'contexts' table."},
      {"Format Error: Missing Required Table Array",
       "'logging.contextual-options' table array requires at least one table in the array of tables, 'contexts'."},
      {"Format Error: Missing Required Table",
       "Each table in the 'logging.contextual-options' table array requires at least one 'options' table."},
      {kTypeMismatch,
       "Wrong type for this key's value: 'logging.contextual-options[5].contexts'. Expect an array of tables "
       "([[logging.contextual-options.contexts]])."},
      {kParseError,
       "A destination named in a contextual-options, 'nowhere', does not have a [logging.destination.nowhere] table "
       "in the configuration file, nor is it a destination created by a prior configuration file."},
  };
  EXPECT_EQ(reportsOf(sink), expected);
  // Entry 1: its only selector was ignored, so it applies everywhere.
  // Entry 2: builds kept no valid value, so it matches nothing.
  EXPECT_EQ(c.findDestination("out")->getOptions().getMaxVerbosityLevel(), 1);
  ASSERT_EQ(c.getContextualOptionsEvaluations().size(), 2u);
  EXPECT_TRUE(c.getContextualOptionsEvaluations()[0].applied);
  EXPECT_FALSE(c.getContextualOptionsEvaluations()[1].applied);
  EXPECT_EQ(c.getContextualOptionsEvaluations()[1].explanation[0],
            "contexts[1] does not match: builds 'release' cannot match: no valid values; platforms 'windows' cannot "
            "match: no valid values; warmup-mode 'off' cannot match: no valid values");
}

TEST(LoggingConfiguration, BuiltInTextKeepsWarmupOffWhateverLaterSourcesSay) {
  const std::string builtIn = RuntimeConfiguration::getBuiltInConfigurationText();
  EXPECT_EQ(builtIn,
            "[logging.options]\n enable-logging=false\n[[logging.contextual-options]]\n"
            "[[logging.contextual-options.contexts]]\n warmup-mode=[\"on\"]\n[logging.contextual-options.options]\n "
            "enable-logging=false");
  const std::string user = R"([logging.options]
enable-logging = true
[logging.destination.log]
type = "stringstream"
)";
  CollectingReportSink sink;
  EXPECT_FALSE(configurationFrom({builtIn}, sink).isLoggingEnabled());
  const LoggingConfiguration normal = configurationFrom({builtIn, user}, sink);
  EXPECT_TRUE(normal.isLoggingEnabled());
  EXPECT_TRUE(normal.findDestination("log")->isDestinationEnabled());
  const LoggingConfiguration warm =
      configurationFrom({builtIn, user}, sink, selection("a.exe", "release", "windows", true));
  EXPECT_FALSE(warm.isLoggingEnabled());
  EXPECT_FALSE(warm.findDestination("log")->isDestinationEnabled());
  EXPECT_TRUE(sink.getReports().empty());
}

TEST(LoggingConfiguration, SwitchesAndInheritance) {
  CollectingReportSink sink;
  const std::string first = R"([logging.options]
max-verbosity-level = 8
[logging.destination.old]
type = "stringstream"
enable-logging = false
max-verbosity-level = 2
[[logging.contextual-options]]
[[logging.contextual-options.contexts]]
destinations = ["old"]
[logging.contextual-options.options]
show-date = false
)";
  // disable-all-prior-destinations; force-off; exclusive output.
  LoggingConfiguration c = configurationFrom({first, R"([logging]
disable-all-prior-destinations = true
force-all-logging-off-override = true
enable-thread-exclusive-output = true
[logging.destination.new]
type = "null"
)"},
                                             sink);
  EXPECT_FALSE(c.findDestination("old")->isDestinationEnabled());
  EXPECT_TRUE(c.findDestination("new")->isDestinationEnabled());
  EXPECT_FALSE(c.isLoggingEnabled());
  EXPECT_TRUE(c.isForceAllLoggingOffOverride());
  EXPECT_TRUE(c.isThreadExclusiveOutputEnabled());
  EXPECT_EQ(c.findDestination("old")->getApplicableContextsSet().size(), 1u);
  EXPECT_TRUE(sink.getReports().empty());

  // Starting afresh: own options and contexts from earlier sources dropped;
  // the destination was disabled, so clearing its contexts is reported.
  c.applyLoggingConfigurationFromText(R"([logging]
force-all-logging-off-override = false
[logging.destination.old]
inherit-original-destination-contexts = false
show-time = false
)",
                                      "third", sink);
  const HaldenLogging::LogMessageDestinationBase* old = c.findDestination("old");
  EXPECT_TRUE(old->isDestinationEnabled());
  EXPECT_EQ(old->getOptions().getMaxVerbosityLevel(), 8);                  // from [logging.options]
  EXPECT_TRUE(old->getOptions().getMessageFormatOptions().getShowDate());  // the old entry no longer applies
  EXPECT_FALSE(old->getOptions().getMessageFormatOptions().getShowTime());
  EXPECT_TRUE(old->getApplicableContextsSet().empty());
  EXPECT_TRUE(c.isLoggingEnabled());
  ASSERT_EQ(sink.getReports().size(), 1u);
  EXPECT_EQ(sink.getReports()[0].title, "LogMessageDestinationBase::clearApplicableContextsSet()");
  EXPECT_EQ(sink.getReports()[0].text,
            "The applicable context set is clear, which is the same as saying this destination applies to all "
            "contexts. However, the method to update the flag says the destination is now disabled.");
  EXPECT_EQ(sink.getReports()[0].severity, ConfigurationReportSeverityEnum::CRSE_WARNING);

  // Forgetting every earlier source.
  c.applyLoggingConfigurationFromText("[logging]\nignore-all-prior-logging-configuration-sources = true\n", "fourth",
                                      sink);
  EXPECT_EQ(c.getNumberOfDestinations(), 0u);
  EXPECT_EQ(c.getFacilityOptions(), LoggingOptions::getFactoryDefaults());
  EXPECT_FALSE(c.isThreadExclusiveOutputEnabled());
}

TEST(LoggingConfiguration, TextTheParserRejectsIsOneReportAndChangesNothing) {
  const std::string good = "[logging.destination.a]\ntype = \"null\"\n";
  const std::string deep = "x = " + std::string(100, '[') + std::string(100, ']') + "\n";
  const std::string inString = "x = \"" + std::string(100, '[') + "\"\n# " + std::string(100, '{') + "\n";
  for (const std::string& bad :
       {std::string("[logging.options\nenable-logging = true\n"), std::string("[logging]\nx = 1\nx = 2\n"),
        std::string("a = \"\\q\"\n"), std::string("\xFF\xFE[logging]"), deep}) {
    CollectingReportSink sink;
    LoggingConfiguration c = configurationFrom({good}, sink);
    c.applyLoggingConfigurationFromText(bad, "bad.toml", sink);
    ASSERT_EQ(sink.getReports().size(), 1u) << bad;
    EXPECT_EQ(sink.getReports()[0].title, kParseError);
    EXPECT_EQ(sink.getReports()[0].text.rfind("Unable to parse the logging configuration 'bad.toml': ", 0), 0u);
    EXPECT_EQ(sink.getReports()[0].text.substr(sink.getReports()[0].text.size() - 36),
              ". The whole source is being ignored.");
    EXPECT_EQ(c.getNumberOfDestinations(), 1u);
  }
  CollectingReportSink sink;
  configurationFrom({deep}, sink);
  EXPECT_EQ(sink.getReports()[0].text,
            "Unable to parse the logging configuration 'source 1': brackets or braces are nested 100 levels deep, more "
            "than the 64 allowed. The whole source is being ignored.");
  // Brackets inside strings and comments do not count; a byte order mark is accepted.
  CollectingReportSink quiet;
  const LoggingConfiguration c = configurationFrom({inString, "\xEF\xBB\xBF" + good}, quiet);
  // Other top-level tables and keys belong to other readers of the file.
  EXPECT_TRUE(quiet.getReports().empty());
  EXPECT_EQ(c.getNumberOfDestinations(), 1u);
}
