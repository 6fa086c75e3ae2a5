#include "LowLevelFacilities/LoggingConfiguration.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/LoggingTomlReader.h"

#include <algorithm>
#include <istream>
#include <iterator>
#include <sstream>
#include <utility>

namespace HaldenConfiguration {

using namespace LoggingTomlReader;

namespace {

const char* const kLoggingTable = "logging";
const char* const kDestinationTable = "logging.destination";
const char* const kContextualOptionsArray = "logging.contextual-options";

// The deepest nesting of brackets and braces outside strings and comments.
std::size_t nestingDepth(const std::string& text) {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  std::size_t i = 0;
  const std::size_t n = text.size();
  while (i < n) {
    const char c = text[i];
    if (c == '#') {
      while (i < n && text[i] != '\n') {
        ++i;
      }
      continue;
    }
    if (c == '"' || c == '\'') {
      const bool multiLine = i + 2 < n && text[i + 1] == c && text[i + 2] == c;
      const std::size_t quoteLength = multiLine ? 3 : 1;
      i += quoteLength;
      while (i < n) {
        if (c == '"' && text[i] == '\\') {
          i += 2;
          continue;
        }
        if (!multiLine && text[i] == '\n') {
          break;
        }
        if (text[i] == c && (!multiLine || (i + 2 < n && text[i + 1] == c && text[i + 2] == c))) {
          i += quoteLength;
          break;
        }
        ++i;
      }
      continue;
    }
    if (c == '[' || c == '{') {
      deepest = std::max(deepest, ++depth);
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
    ++i;
  }
  return deepest;
}

std::vector<std::string> sortedKeys(const cpptoml::table& table) {
  std::vector<std::string> keys;
  for (const auto& entry : table) {
    keys.push_back(entry.first);
  }
  std::sort(keys.begin(), keys.end());
  return keys;
}

void reportParseError(ILoggingConfigurationReportSink& sink, const std::string& sourceName, const std::string& what) {
  report(sink, kErrorTitle,
         "Unable to parse the logging configuration '" + sourceName + "': " + what +
             ". The whole source is being ignored.");
}

}  // namespace

ILoggingConfigurationHost::~ILoggingConfigurationHost() = default;

LoggingConfiguration::LoggingConfiguration(const LoggingSelectionContext& selectionContext)
    : m_selectionContext(selectionContext) {
  resetToFactoryDefaults();
}

LoggingConfiguration LoggingConfiguration::getFactoryDefaults(const ProcessContextInfo& processContextInfo,
                                                              bool warmupMode) {
  return LoggingConfiguration(LoggingSelectionContext::fromProcessContext(processContextInfo, warmupMode));
}

LoggingConfiguration::LoggingConfiguration(const LoggingConfiguration& other)
    : m_selectionContext(other.m_selectionContext),
      m_host(other.m_host),
      m_plainFacilityOptions(other.m_plainFacilityOptions),
      m_facilityOptions(other.m_facilityOptions),
      m_contextualOptions(other.m_contextualOptions),
      m_evaluations(other.m_evaluations),
      m_sourceNames(other.m_sourceNames),
      m_forceAllLoggingOff(other.m_forceAllLoggingOff),
      m_threadExclusiveOutput(other.m_threadExclusiveOutput),
      m_inUse(other.m_inUse) {
  m_destinations.reserve(other.m_destinations.size());
  for (const DestinationRecord& record : other.m_destinations) {
    DestinationRecord copy;
    copy.destination = record.destination->Clone();
    copy.ownOptions = record.ownOptions;
    copy.disabledByLaterSource = record.disabledByLaterSource;
    copy.firstContextualEntry = record.firstContextualEntry;
    m_destinations.push_back(std::move(copy));
  }
}

LoggingConfiguration& LoggingConfiguration::operator=(const LoggingConfiguration& other) {
  if (this != &other) {
    LoggingConfiguration copy(other);
    *this = std::move(copy);
  }
  return *this;
}

LoggingConfiguration::LoggingConfiguration(LoggingConfiguration&& other) noexcept = default;
LoggingConfiguration& LoggingConfiguration::operator=(LoggingConfiguration&& other) noexcept = default;
LoggingConfiguration::~LoggingConfiguration() = default;

void LoggingConfiguration::resetToFactoryDefaults() {
  m_plainFacilityOptions = LoggingOptions();
  m_destinations.clear();
  m_contextualOptions.clear();
  m_evaluations.clear();
  m_forceAllLoggingOff = false;
  m_threadExclusiveOutput = false;
  recompute();
}

bool LoggingConfiguration::isLoggingEnabled() const noexcept {
  return !m_forceAllLoggingOff && m_facilityOptions.getEnableLogging();
}

const HaldenLogging::LogMessageDestinationBase& LoggingConfiguration::getDestination(std::size_t index) const {
  if (index >= m_destinations.size()) {
    HDU_THROW(CPExceptionIndexOutOfBounds, HDU_DEBUG_CONTEXT("LoggingConfiguration::getDestination"),
              "Destination index %zu is out of bounds (%zu destinations).", index, m_destinations.size());
  }
  return *m_destinations[index].destination;
}

HaldenLogging::LogMessageDestinationBase& LoggingConfiguration::getDestination(std::size_t index) {
  return const_cast<HaldenLogging::LogMessageDestinationBase&>(std::as_const(*this).getDestination(index));
}

const HaldenLogging::LogMessageDestinationBase* LoggingConfiguration::findDestination(const std::string& name) const {
  for (const DestinationRecord& record : m_destinations) {
    if (record.destination->getDestinationName() == name) {
      return record.destination.get();
    }
  }
  return nullptr;
}

LoggingConfiguration::DestinationRecord* LoggingConfiguration::findRecord(const std::string& name) {
  for (DestinationRecord& record : m_destinations) {
    if (record.destination->getDestinationName() == name) {
      return &record;
    }
  }
  return nullptr;
}

std::vector<std::unique_ptr<HaldenLogging::LogMessageDestinationBase>> LoggingConfiguration::takeDestinations() {
  std::vector<std::unique_ptr<HaldenLogging::LogMessageDestinationBase>> destinations;
  destinations.reserve(m_destinations.size());
  for (DestinationRecord& record : m_destinations) {
    destinations.push_back(std::move(record.destination));
  }
  m_destinations.clear();
  return destinations;
}

// ---- reading ---------------------------------------------------------------------------------

void LoggingConfiguration::applyLoggingConfigurationFromText(const std::string& originalText,
                                                             const std::string& sourceName,
                                                             ILoggingConfigurationReportSink& sink) {
  // A UTF-8 byte order mark (as editors on Windows write it) is not TOML.
  const bool hasByteOrderMark = originalText.size() >= 3 && originalText.compare(0, 3, "\xEF\xBB\xBF") == 0;
  const std::string& text = hasByteOrderMark ? originalText.substr(3) : originalText;
  if (text.size() > kMaximumSourceBytes) {
    reportParseError(sink, sourceName,
                     "the text is " + std::to_string(text.size()) + " bytes long, more than the " +
                         std::to_string(static_cast<std::size_t>(kMaximumSourceBytes)) + " bytes allowed");
    return;
  }
  const std::size_t depth = nestingDepth(text);
  if (depth > kMaximumNestingDepth) {
    reportParseError(sink, sourceName,
                     "brackets or braces are nested " + std::to_string(depth) + " levels deep, more than the " +
                         std::to_string(static_cast<std::size_t>(kMaximumNestingDepth)) + " allowed");
    return;
  }
  std::shared_ptr<cpptoml::table> document;
  try {
    std::istringstream stream(text);
    cpptoml::parser parser(stream);
    document = parser.parse();
  } catch (const std::exception& error) {
    reportParseError(sink, sourceName, error.what());
    return;
  } catch (...) {
    reportParseError(sink, sourceName, "unknown failure of the parser");
    return;
  }
  applyLoggingConfigurationFromTable(*document, sourceName, sink);
}

void LoggingConfiguration::applyLoggingConfigurationFromStream(std::istream& stream, const std::string& sourceName,
                                                               ILoggingConfigurationReportSink& sink) {
  std::string text;
  try {
    text.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  } catch (const std::exception& error) {
    reportParseError(sink, sourceName, std::string("the stream could not be read: ") + error.what());
    return;
  }
  applyLoggingConfigurationFromText(text, sourceName, sink);
}

void LoggingConfiguration::applyLoggingConfigurationFromTable(const cpptoml::table& document,
                                                              const std::string& sourceName,
                                                              ILoggingConfigurationReportSink& sink) {
  try {
    applyDocument(document, sourceName, sink);
  } catch (const std::exception& error) {
    report(sink, kErrorTitle,
           "Reading the logging configuration '" + sourceName + "' stopped early: " + error.what() +
               ". What was read before stays in effect.");
    try {
      recompute();
    } catch (...) {
    }
  }
}

void LoggingConfiguration::applyDocument(const cpptoml::table& document, const std::string& sourceName,
                                         ILoggingConfigurationReportSink& sink) {
  // Keys outside [logging] belong to other readers of the same file.
  m_sourceNames.push_back(sourceName);
  const std::shared_ptr<cpptoml::base> loggingValue = findValue(document, kLoggingTable);
  if (!loggingValue) {
    recompute();
    return;
  }
  if (!loggingValue->is_table()) {
    report(sink, "Format Error: Type Mismatch for TOML Value",
           "Wrong type for this key's value: 'logging'. Expect a table ([logging]).");
    recompute();
    return;
  }
  const std::shared_ptr<cpptoml::table> logging = loggingValue->as_table();

  // 1. The switches.
  static const char* const kSwitches[] = {"ignore-all-prior-logging-configuration-sources",
                                          "disable-all-prior-destinations", "force-all-logging-off-override",
                                          "enable-thread-exclusive-output"};
  if (tryGetTomlBoolean(*logging, kLoggingTable, kSwitches[0], sink).value_or(false)) {
    const std::vector<std::string> names = std::move(m_sourceNames);
    resetToFactoryDefaults();
    m_sourceNames = names;
  }
  if (tryGetTomlBoolean(*logging, kLoggingTable, kSwitches[1], sink).value_or(false)) {
    for (DestinationRecord& record : m_destinations) {
      record.disabledByLaterSource = true;
    }
  }
  if (const auto off = tryGetTomlBoolean(*logging, kLoggingTable, kSwitches[2], sink)) {
    m_forceAllLoggingOff = *off;
  }
  if (const auto exclusive = tryGetTomlBoolean(*logging, kLoggingTable, kSwitches[3], sink)) {
    m_threadExclusiveOutput = *exclusive;
  }
  for (const std::string& key : sortedKeys(*logging)) {
    const bool known = key == "options" || key == "destination" || key == "contextual-options" ||
                       std::find_if(std::begin(kSwitches), std::end(kSwitches),
                                    [&](const char* s) { return key == s; }) != std::end(kSwitches);
    if (!known) {
      reportUnknownKey(sink, kLoggingTable, key);
    }
  }

  // 2. The facility's options.
  if (const std::shared_ptr<cpptoml::base> options = findValue(*logging, "options")) {
    if (options->is_table()) {
      LoggingOptions fromTable(*options->as_table(), "logging.options", sink);
      m_plainFacilityOptions.applySpecifiedOptionValues(fromTable);
    } else {
      report(sink, "Format Error: Type Mismatch for TOML Value",
             "Wrong type for this key's value: 'logging.options'. Expect a table ([logging.options]).");
    }
  }

  // 3. The destinations.
  if (const std::shared_ptr<cpptoml::base> destinations = findValue(*logging, "destination")) {
    if (destinations->is_table()) {
      getDestinationsFromTable(*destinations->as_table(), sink);
    } else {
      report(sink, "Format Error: Type Mismatch for TOML Value",
             "Wrong type for this key's value: 'logging.destination'. Expect a table of tables "
             "([logging.destination.NAME]).");
    }
  }

  // 4. The contextual options.
  if (const std::shared_ptr<cpptoml::base> entries = findValue(*logging, "contextual-options")) {
    getContextualOptionsFromTable(*entries, sourceName, sink);
  }
  recompute();
}

void LoggingConfiguration::getDestinationsFromTable(const cpptoml::table& destinations,
                                                    ILoggingConfigurationReportSink& sink) {
  for (const std::string& name : sortedKeys(destinations)) {
    const std::shared_ptr<cpptoml::base> value = findValue(destinations, name);
    if (!value->is_table()) {
      reportWarning(sink, "A key, '" + name +
                              "', in the [logging.destination] table is not itself a table. Expecting all keys here "
                              "to be tables named for a specific destination. This key is being ignored.");
      continue;
    }
    const std::shared_ptr<cpptoml::table> table = value->as_table();
    const std::string tablePath = joinKey(kDestinationTable, name);

    // The type word, if present and a known string.
    bool typeGiven = false;
    bool typeValid = false;
    DestinationTypesEnum type = DTE_NULL;
    std::string typeWord;
    if (const std::shared_ptr<cpptoml::base> typeValue = findValue(*table, "type")) {
      typeGiven = true;
      const auto text = typeValue->as<std::string>();
      if (!text) {
        report(sink, "Format Error: Type Mismatch for TOML Value",
               "Wrong type. Expect this key's value to be a string: '" + joinKey(tablePath, "type") + "'.");
      } else if (!tryGetDestinationTypeFromWord(text->get(), type)) {
        report(sink, "Format Error: No Enum Mapping for TOML Value",
               "Unexpected string. No enum mapping. The value: '" + text->get() +
                   "' is not in the map associated with this key: '" + joinKey(tablePath, "type") + "'.");
      } else {
        typeValid = true;
        typeWord = text->get();
      }
    }

    LoggingOptions fromTable;
    readLoggingOptionsFromTable(*table, tablePath, fromTable, sink, {"type", "inherit-original-destination-contexts"});
    const std::optional<bool> inherit =
        tryGetTomlBoolean(*table, tablePath, "inherit-original-destination-contexts", sink);

    DestinationRecord* record = findRecord(name);
    if (record == nullptr) {
      if (!typeGiven) {
        report(
            sink, kErrorTitle,
            "The 'type' key is missing from the [logging.destination." + name + "] section. This is a required key!");
        continue;
      }
      if (!typeValid) {
        continue;
      }
      DestinationRecord created;
      created.destination =
          HaldenLogging::LogMessageDestinationBase::createLogMessageDestination(type, name, LoggingOptions(), sink);
      if (!created.destination) {
        continue;
      }
      created.ownOptions = fromTable;
      // Entries of earlier sources that select it (by type, or every
      // destination) apply to it as well.
      created.firstContextualEntry = 0;
      m_destinations.push_back(std::move(created));
      continue;
    }

    if (typeValid && type != record->destination->getDestinationType()) {
      reportWarning(sink, InternalHaldenCP::formatToStdString(
                              "The 'type' key is present, '%s', in the [logging.destination.%s] section. However, "
                              "the destination already exists with a different type, '%s'! Ignoring the new type "
                              "value.",
                              typeWord, name, record->destination->getDestinationTypeWord()));
    }
    record->disabledByLaterSource = false;
    if (inherit.has_value() && !*inherit) {
      record->destination->clearApplicableContextsSet(sink);
      record->ownOptions = LoggingOptions();
      record->firstContextualEntry = m_contextualOptions.size();
    }
    record->ownOptions.applySpecifiedOptionValues(fromTable);
  }
}

void LoggingConfiguration::getContextualOptionsFromTable(cpptoml::base& entries, const std::string& sourceName,
                                                         ILoggingConfigurationReportSink& sink) {
  if (!entries.is_table_array()) {
    if (entries.is_array() && entries.as_array()->get().empty()) {
      report(sink, "Format Error: Missing Required Table Array",
             std::string("'") + kContextualOptionsArray +
                 "' table array requires at least one table in the array of tables, '" + kContextualOptionsArray +
                 "'.");
      return;
    }
    report(sink, "Format Error: Type Mismatch for TOML Value",
           std::string("Wrong type for this key's value: '") + kContextualOptionsArray +
               "'. Expect an array of tables ([[" + kContextualOptionsArray + "]]).");
    return;
  }
  const std::size_t firstNewEntry = m_contextualOptions.size();
  std::size_t entryNumber = 0;
  const std::shared_ptr<cpptoml::table_array> tables = entries.as_table_array();
  for (const std::shared_ptr<cpptoml::table>& entry : tables->get()) {
    ++entryNumber;
    const std::string entryPath = std::string(kContextualOptionsArray) + "[" + std::to_string(entryNumber) + "]";
    for (const std::string& key : sortedKeys(*entry)) {
      if (key != "contexts" && key != "options") {
        reportUnknownKey(sink, entryPath, key);
      }
    }
    const std::shared_ptr<cpptoml::base> contextsValue = findValue(*entry, "contexts");
    const std::shared_ptr<cpptoml::base> optionsValue = findValue(*entry, "options");
    bool usable = true;
    if (!contextsValue) {
      report(sink, "Format Error: Missing Required Table",
             std::string("Each table in the '") + kContextualOptionsArray +
                 "' table array requires at least one 'contexts' table.");
      usable = false;
    } else if (!contextsValue->is_table_array()) {
      if (contextsValue->is_array() && contextsValue->as_array()->get().empty()) {
        report(sink, "Format Error: Missing Required Table Array",
               std::string("'") + kContextualOptionsArray +
                   "' table array requires at least one table in the array of tables, 'contexts'.");
      } else {
        report(sink, "Format Error: Type Mismatch for TOML Value",
               "Wrong type for this key's value: '" + entryPath + ".contexts'. Expect an array of tables ([[" +
                   kContextualOptionsArray + ".contexts]]).");
      }
      usable = false;
    }
    if (!optionsValue) {
      report(sink, "Format Error: Missing Required Table",
             std::string("Each table in the '") + kContextualOptionsArray +
                 "' table array requires at least one 'options' table.");
      usable = false;
    } else if (!optionsValue->is_table()) {
      report(sink, "Format Error: Type Mismatch for TOML Value",
             "Wrong type for this key's value: '" + entryPath + ".options'. Expect a table ([" +
                 kContextualOptionsArray + ".options]).");
      usable = false;
    }
    if (!usable) {
      continue;
    }
    LoggingContextsSet contexts;
    std::size_t contextNumber = 0;
    for (const std::shared_ptr<cpptoml::table>& contextTable : contextsValue->as_table_array()->get()) {
      ++contextNumber;
      contexts.push_back(readLoggingContextFromTable(
          *contextTable, entryPath + ".contexts[" + std::to_string(contextNumber) + "]", sink));
    }
    LoggingOptions options(*optionsValue->as_table(), entryPath + ".options", sink);
    m_contextualOptions.emplace_back(std::move(contexts), std::move(options), sourceName, entryNumber);
  }

  // Destinations named by the new entries must exist by now; unknown names are
  // reported and dropped from their selector.
  for (std::size_t i = firstNewEntry; i < m_contextualOptions.size(); ++i) {
    LoggingContextsSet contexts = m_contextualOptions[i].getContexts();
    bool changed = false;
    for (LoggingContext& context : contexts) {
      LoggingContextSelector& names = context.getSelector(LCSE_DESTINATIONS);
      std::vector<std::string> kept;
      for (const std::string& name : names.values) {
        if (name == "empty" || findRecord(name) != nullptr) {
          kept.push_back(name);
          continue;
        }
        report(sink, kErrorTitle,
               InternalHaldenCP::formatToStdString(
                   "A destination named in a contextual-options, '%s', does not have a [logging.destination.%s] "
                   "table in the configuration file, nor is it a destination created by a prior configuration file.",
                   name, name));
        changed = true;
      }
      names.values = std::move(kept);
    }
    if (changed) {
      LoggingContextualOptions replacement(std::move(contexts), m_contextualOptions[i].getOptions(),
                                           m_contextualOptions[i].getSourceName(),
                                           m_contextualOptions[i].getEntryNumber());
      m_contextualOptions[i] = std::move(replacement);
    }
    ContextualOptionsEvaluation evaluation;
    evaluation.sourceName = m_contextualOptions[i].getSourceName();
    evaluation.entryNumber = m_contextualOptions[i].getEntryNumber();
    m_contextualOptions[i].evaluate(m_selectionContext, &evaluation.explanation);
    evaluation.applied = m_contextualOptions[i].appliesToProcess();
    m_evaluations.push_back(std::move(evaluation));
  }
}

void LoggingConfiguration::recompute() {
  const LoggingOptions factory = LoggingOptions::getFactoryDefaults();
  // The facility.
  LoggingOptions facility = factory;
  facility.applySpecifiedOptionValues(m_plainFacilityOptions);
  for (const LoggingContextualOptions& entry : m_contextualOptions) {
    if (entry.appliesToProcess() && entry.affectsFacilityOptions()) {
      facility.applySpecifiedOptionValues(entry.getOptions());
    }
  }
  m_facilityOptions = facility;
  for (ContextualOptionsEvaluation& evaluation : m_evaluations) {
    evaluation.affectsFacilityOptions = false;
    evaluation.affectedDestinations.clear();
  }
  for (std::size_t i = 0; i < m_contextualOptions.size() && i < m_evaluations.size(); ++i) {
    m_evaluations[i].affectsFacilityOptions =
        m_contextualOptions[i].appliesToProcess() && m_contextualOptions[i].affectsFacilityOptions();
  }
  // Every destination.
  for (DestinationRecord& record : m_destinations) {
    HaldenLogging::LogMessageDestinationBase& destination = *record.destination;
    LoggingOptions options = factory;
    options.applySpecifiedOptionValues(m_plainFacilityOptions);
    options.applySpecifiedOptionValues(record.ownOptions);
    LoggingContextsSet applicable;
    for (std::size_t i = record.firstContextualEntry; i < m_contextualOptions.size(); ++i) {
      const LoggingContextualOptions& entry = m_contextualOptions[i];
      if (!entry.appliesToProcess() || !destination.isAffectedBy(entry)) {
        continue;
      }
      options.applySpecifiedOptionValues(entry.getOptions());
      for (const LoggingContext& context : entry.getContexts()) {
        applicable.push_back(context);
      }
      if (i < m_evaluations.size()) {
        m_evaluations[i].affectedDestinations.push_back(destination.getDestinationName());
      }
    }
    destination.setOptions(options);
    destination.replaceApplicableContextsSet(std::move(applicable));
    if (record.disabledByLaterSource) {
      destination.disableDestination();
    }
  }
}

}  // namespace HaldenConfiguration
