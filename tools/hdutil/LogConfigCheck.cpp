#include "LogConfigCheck.h"

#include "CommandLine.h"
#include "PrintableText.h"

#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"
#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "LowLevelFacilities/LoggingOptions.h"
#include "LowLevelFacilities/ProcessContextInfo.h"
#include "LowLevelFacilities/RuntimeConfiguration.h"

#include <bitset>
#include <string>
#include <type_traits>
#include <utility>

namespace hdutil {

using HaldenConfiguration::ConfigurationReportSeverityEnum;
using HaldenConfiguration::LoggingOptions;
using HaldenConfiguration::LoggingSelectionContext;
using HaldenLogging::LogMessageDestinationBase;

namespace {

// Bits 0 to 58 have names; 59 to 63 do not.
constexpr unsigned kNamedCategories = 59;
constexpr unsigned long long kNamedCategoryBits = (1ULL << kNamedCategories) - 1;

const char* const kBuildWords[] = {"checked", "debug", "free", "release", "aefree", "aeplus"};
const char* const kPlatformWords[] = {"windows", "linux"};
const char* const kSwitchWords[] = {"on", "off"};

template <std::size_t N>
void requireOneOf(const std::string& value, const char* const (&words)[N], const char* option) {
  std::string list;
  for (const char* word : words) {
    if (value == word) {
      return;
    }
    list += list.empty() ? "" : ", ";
    list += word;
  }
  throw UsageError(std::string(option) + " takes one of " + list + ", not '" + value + "'");
}

const char* severityWord(ConfigurationReportSeverityEnum severity) {
  return severity == ConfigurationReportSeverityEnum::CRSE_WARNING ? "warning" : "error";
}

std::string countOf(std::size_t count, const char* singular, const char* plural) {
  return std::to_string(count) + " " + (count == 1 ? singular : plural);
}

std::vector<std::string> categoryNames(unsigned long long mask) {
  std::vector<std::string> names;
  if (mask == XC_ALL) {
    names.emplace_back("XC_ALL");
    return names;
  }
  for (unsigned bit = 0; bit < kNamedCategories; ++bit) {
    const unsigned long long category = 1ULL << bit;
    if ((mask & category) != 0) {
      names.push_back(HaldenLogging::DebugLoggingCategoryHelper::getCategoryString(
          static_cast<tagDebugLoggingCategoryEnumType>(category)));
    }
  }
  return names;
}

template <class T>
Json optionValueToJson(const T& value) {
  if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, std::string>) {
    return Json(value);
  } else {
    static_assert(std::is_integral_v<T>);
    if constexpr (std::is_signed_v<T>) {
      return Json(static_cast<long long>(value));
    } else {
      return Json(static_cast<unsigned long long>(value));
    }
  }
}

// The value of one option as JSON: true/false, a number, a string, or an
// array of category names.
Json optionValueToJson(const LoggingOptions& options, int id) {
  using namespace HaldenConfiguration;
  if (id == LOID_INCLUDED_CATEGORIES_ARRAY || id == LOID_EXCLUDED_CATEGORIES_ARRAY) {
    return Json(categoryNames(id == LOID_INCLUDED_CATEGORIES_ARRAY ? options.getIncludedCategories()
                                                                   : options.getExcludedCategories()));
  }
#define HDUTIL_OPTION_VALUE_CASE(optionId, Member, Kind) \
  case optionId:                                         \
    return optionValueToJson(owner.get##Member());
  {
    const LoggingOptions& owner = options;
    switch (id) {
      HDU_LOGGING_GENERAL_OPTIONS(HDUTIL_OPTION_VALUE_CASE)
      default:
        break;
    }
  }
  {
    const LoggingMessageFormatOptions& owner = options.getMessageFormatOptions();
    switch (id) {
      HDU_LOGGING_FORMAT_OPTIONS(HDUTIL_OPTION_VALUE_CASE)
      default:
        break;
    }
  }
#undef HDUTIL_OPTION_VALUE_CASE
  return Json();
}

Json optionsToJson(const LoggingOptions& options) {
  Json result = Json::object();
  for (int id = 0; id < HaldenConfiguration::LOID_NUMBER_OF_OPTIONS; ++id) {
    Json option = Json::object();
    option["value"] = optionValueToJson(options, id);
    option["specified"] = options.isOptionSpecified(id);
    result[HaldenConfiguration::LoggingOptionTable::describe(id)->key] = std::move(option);
  }
  return result;
}

// The options that decide what is logged, shown whether specified or not.
bool isAlwaysShown(int id, bool fileDestination) {
  using namespace HaldenConfiguration;
  switch (id) {
    case LOID_ENABLE_LOGGING:
    case LOID_MAX_VERBOSITY_LEVEL:
    case LOID_INCLUDED_CATEGORIES_ARRAY:
    case LOID_EXCLUDED_CATEGORIES_ARRAY:
    case LOID_REQUIRE_ONLY_SUBSET_OF_CATEGORIES:
    case LOID_USE_BACKGROUND_THREAD:
      return true;
    case LOID_LOG_FILE_NAME_STRING:
      return fileDestination;
    default:
      return false;
  }
}

void printOptions(std::ostream& out, const LoggingOptions& options, bool fileDestination) {
  std::size_t hidden = 0;
  for (int id = 0; id < HaldenConfiguration::LOID_NUMBER_OF_OPTIONS; ++id) {
    const bool specified = options.isOptionSpecified(id);
    if (!specified && !isAlwaysShown(id, fileDestination)) {
      ++hidden;
      continue;
    }
    out << "    " << HaldenConfiguration::LoggingOptionTable::describe(id)->key << " = "
        << printableText(options.getOptionValueDisplayString(id)) << (specified ? "" : "  (default)") << "\n";
  }
  out << "    allowed categories: " << describeCategories(options.getAllowedCategories()) << "\n";
  if (hidden != 0) {
    out << "    (" << countOf(hidden, "other option", "other options") << " at the factory default)\n";
  }
}

// "enabled", or why the destination is disabled.
std::string destinationState(const LogMessageDestinationBase& destination) {
  if (destination.isDestinationEnabled()) {
    return "enabled";
  }
  if (!destination.getOptions().getEnableLogging()) {
    return "disabled: enable-logging is false";
  }
  return "disabled by disable-all-prior-destinations";
}

std::string quotedList(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += text.empty() ? "'" : ", '";
    text += printableText(name) + "'";
  }
  return text;
}

std::string entryEffect(const HaldenConfiguration::ContextualOptionsEvaluation& evaluation) {
  if (!evaluation.applied) {
    return "does not apply";
  }
  std::string effect = "applies";
  if (evaluation.affectsFacilityOptions) {
    effect += " to the facility's options";
  }
  if (!evaluation.affectedDestinations.empty()) {
    effect += evaluation.affectsFacilityOptions ? " and" : "";
    effect += evaluation.affectedDestinations.size() == 1 ? " to destination " : " to destinations ";
    effect += quotedList(evaluation.affectedDestinations);
  }
  if (!evaluation.affectsFacilityOptions && evaluation.affectedDestinations.empty()) {
    effect += ", but selects no destination that exists";
  }
  return effect;
}

}  // namespace

// ---- LogConfigCheck --------------------------------------------------------------------------

int LogConfigCheck::exitStatus() const noexcept {
  return errors != 0 ? 2 : (warnings != 0 ? 1 : 0);
}

std::size_t LogConfigCheck::countEnabledDestinations() const {
  std::size_t enabled = 0;
  for (std::size_t i = 0; i < configuration.getNumberOfDestinations(); ++i) {
    enabled += configuration.getDestination(i).isDestinationEnabled() ? 1 : 0;
  }
  return enabled;
}

bool LogConfigCheck::isLoggingOn() const {
  return configuration.isLoggingEnabled() && countEnabledDestinations() != 0;
}

std::string LogConfigCheck::loggingReason() const {
  if (configuration.isForceAllLoggingOffOverride()) {
    return "force-all-logging-off-override is set";
  }
  if (!configuration.getFacilityOptions().getEnableLogging()) {
    return "enable-logging is false for the facility";
  }
  const std::size_t all = configuration.getNumberOfDestinations();
  if (all == 0) {
    return "no destination is configured";
  }
  const std::size_t enabled = countEnabledDestinations();
  if (enabled == 0) {
    return "no destination is enabled";
  }
  return std::to_string(enabled) + " of " + countOf(all, "destination", "destinations") + " enabled";
}

LoggingSelectionContext makeLogConfigSelectionContext(const std::string& process, const std::string& build,
                                                      const std::string& platform, const std::string& warmup,
                                                      const std::string& unitTests) {
  LoggingSelectionContext context =
      LoggingSelectionContext::fromProcessContext(ProcessContextInfo::captureCurrent(), false);
  if (!process.empty()) {
    context.processName = process;
  }
  if (!build.empty()) {
    requireOneOf(build, kBuildWords, "--build");
    context.build = build;
  }
  if (!platform.empty()) {
    requireOneOf(platform, kPlatformWords, "--platform");
    context.platform = platform;
  }
  if (!warmup.empty()) {
    requireOneOf(warmup, kSwitchWords, "--warmup");
    context.warmupMode = warmup == "on";
  }
  if (!unitTests.empty()) {
    requireOneOf(unitTests, kSwitchWords, "--unit-tests");
    context.unitTests = unitTests == "on";
  }
  return context;
}

LogConfigCheck checkLogConfiguration(std::string_view text, const std::string& sourceName,
                                     const LoggingSelectionContext& context) {
  LogConfigCheck check(context);
  check.sourceName = sourceName;
  const auto collect = [&check](HaldenConfiguration::CollectingReportSink& sink, const std::string& source) {
    for (const HaldenConfiguration::ConfigurationReport& report : sink.getReports()) {
      (report.severity == ConfigurationReportSeverityEnum::CRSE_WARNING ? check.warnings : check.errors) += 1;
      check.reports.push_back(LogConfigReport{source, report});
    }
  };
  HaldenConfiguration::CollectingReportSink builtInReports;
  const std::string builtInName = HaldenConfiguration::RuntimeConfiguration::getBuiltInConfigurationSourceName();
  check.configuration.applyLoggingConfigurationFromText(
      HaldenConfiguration::RuntimeConfiguration::getBuiltInConfigurationText(), builtInName, builtInReports);
  collect(builtInReports, builtInName);
  HaldenConfiguration::CollectingReportSink fileReports;
  check.configuration.applyLoggingConfigurationFromText(std::string(text), sourceName, fileReports);
  collect(fileReports, sourceName);
  return check;
}

std::string describeCategories(unsigned long long mask) {
  const unsigned long long named = mask & kNamedCategoryBits;
  if (named == kNamedCategoryBits) {
    return "all";
  }
  if (named == 0) {
    return "none";
  }
  const bool mostly = std::bitset<64>(named).count() > kNamedCategories / 2;
  std::string text = mostly ? "all except " : "";
  const std::vector<std::string> names = categoryNames(mostly ? (~named & kNamedCategoryBits) : named);
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += (i == 0 ? "" : ", ") + names[i];
  }
  return text;
}

void printLogConfigCheck(std::ostream& out, const LogConfigCheck& check) {
  const HaldenConfiguration::LoggingConfiguration& configuration = check.configuration;
  out << "Logging configuration: " << printableText(check.sourceName) << ", applied over the built-in configuration\n";
  out << "Read for: " << printableText(check.context.getDisplayString()) << "\n";

  out << "\nReports: ";
  if (check.reports.empty()) {
    out << "none\n";
  } else {
    out << countOf(check.errors, "error", "errors") << ", " << countOf(check.warnings, "warning", "warnings") << "\n";
  }
  for (const LogConfigReport& item : check.reports) {
    out << "  " << severityWord(item.report.severity) << " in " << printableText(item.source) << ": "
        << printableText(item.report.title) << "\n";
    out << "      " << printableText(item.report.text) << "\n";
  }

  const auto& evaluations = configuration.getContextualOptionsEvaluations();
  out << "\nContextual options: " << (evaluations.empty() ? "none" : countOf(evaluations.size(), "entry", "entries"))
      << "\n";
  for (const auto& evaluation : evaluations) {
    out << "  " << printableText(evaluation.sourceName) << ", entry " << evaluation.entryNumber << ": "
        << entryEffect(evaluation) << "\n";
    for (const std::string& line : evaluation.explanation) {
      out << "      " << printableText(line) << "\n";
    }
  }

  out << "\nFacility\n";
  printOptions(out, configuration.getFacilityOptions(), false);
  if (configuration.isForceAllLoggingOffOverride()) {
    out << "    force-all-logging-off-override = true\n";
  }
  if (configuration.isThreadExclusiveOutputEnabled()) {
    out << "    enable-thread-exclusive-output = true\n";
  }

  out << "\nDestinations: "
      << (configuration.getNumberOfDestinations() == 0 ? std::string("none")
                                                       : std::to_string(configuration.getNumberOfDestinations()))
      << "\n";
  for (std::size_t i = 0; i < configuration.getNumberOfDestinations(); ++i) {
    const LogMessageDestinationBase& destination = configuration.getDestination(i);
    out << "  " << printableText(destination.getDestinationName()) << " (" << destination.getDestinationTypeWord()
        << ", " << destinationState(destination) << ")\n";
    printOptions(out, destination.getOptions(), destination.getDestinationType() == HaldenConfiguration::DTE_FILE);
  }

  out << "\nLogging: " << (check.isLoggingOn() ? "on" : "off") << " (" << check.loggingReason() << ")\n";
  out << "Result: "
      << (check.reports.empty()
              ? std::string("clean")
              : countOf(check.errors, "error", "errors") + ", " + countOf(check.warnings, "warning", "warnings"))
      << " (exit status " << check.exitStatus() << ")\n";
}

Json logConfigCheckToJson(const LogConfigCheck& check) {
  const HaldenConfiguration::LoggingConfiguration& configuration = check.configuration;
  Json document = Json::object();
  document["source"] = check.sourceName;
  Json context = Json::object();
  context["process"] = check.context.processName;
  context["build"] = check.context.build;
  context["platform"] = check.context.platform;
  context["warmup-mode"] = check.context.warmupMode ? "on" : "off";
  context["unit-tests"] = check.context.unitTests ? "on" : "off";
  document["context"] = std::move(context);
  document["sources"] = configuration.getSourceNames();

  Json reports = Json::array();
  for (const LogConfigReport& item : check.reports) {
    Json report = Json::object();
    report["source"] = item.source;
    report["severity"] = severityWord(item.report.severity);
    report["title"] = item.report.title;
    report["text"] = item.report.text;
    reports.push_back(std::move(report));
  }
  document["reports"] = std::move(reports);

  Json entries = Json::array();
  for (const auto& evaluation : configuration.getContextualOptionsEvaluations()) {
    Json entry = Json::object();
    entry["source"] = evaluation.sourceName;
    entry["entry"] = evaluation.entryNumber;
    entry["applies"] = evaluation.applied;
    entry["explanation"] = evaluation.explanation;
    entry["affects-facility"] = evaluation.affectsFacilityOptions;
    entry["affected-destinations"] = evaluation.affectedDestinations;
    entries.push_back(std::move(entry));
  }
  document["contextual-options"] = std::move(entries);

  Json facility = Json::object();
  facility["options"] = optionsToJson(configuration.getFacilityOptions());
  facility["allowed-categories"] = categoryNames(configuration.getFacilityOptions().getAllowedCategories());
  facility["force-all-logging-off-override"] = configuration.isForceAllLoggingOffOverride();
  facility["enable-thread-exclusive-output"] = configuration.isThreadExclusiveOutputEnabled();
  document["facility"] = std::move(facility);

  Json destinations = Json::array();
  for (std::size_t i = 0; i < configuration.getNumberOfDestinations(); ++i) {
    const LogMessageDestinationBase& destination = configuration.getDestination(i);
    Json item = Json::object();
    item["name"] = destination.getDestinationName();
    item["type"] = destination.getDestinationTypeWord();
    item["enabled"] = destination.isDestinationEnabled();
    item["state"] = destinationState(destination);
    item["options"] = optionsToJson(destination.getOptions());
    item["allowed-categories"] = categoryNames(destination.getOptions().getAllowedCategories());
    destinations.push_back(std::move(item));
  }
  document["destinations"] = std::move(destinations);

  Json logging = Json::object();
  logging["on"] = check.isLoggingOn();
  logging["reason"] = check.loggingReason();
  document["logging"] = std::move(logging);
  document["errors"] = check.errors;
  document["warnings"] = check.warnings;
  document["exit-status"] = check.exitStatus();
  return document;
}

}  // namespace hdutil
