#pragma once
// HaldenConfiguration::LoggingConfiguration: whether and what to log, to
// which destinations and in which line format; built from the factory
// defaults and then from configuration sources (TOML text) applied in turn.
//
// A source's layout (all under [logging]):
//   [logging]                 ignore-all-prior-logging-configuration-sources,
//                             disable-all-prior-destinations,
//                             force-all-logging-off-override,
//                             enable-thread-exclusive-output   (booleans)
//   [logging.options]         option keys for the facility and every destination
//   [logging.destination.NAME] `type` (required) and option keys; also
//                             inherit-original-destination-contexts (boolean)
//   [[logging.contextual-options]] entries: [[...contexts]] tables and one
//                             [...options] table (LoggingContextualOptions.h)
//
// How sources combine. The options in effect are layered, lowest first:
//  - facility: factory defaults, then [logging.options] of every source in
//    order, then the options of every contextual entry that applies to the
//    facility, in source and entry order;
//  - destination: factory defaults, the facility's [logging.options] layer,
//    then the destination's own tables in source order, then the options of
//    every contextual entry that selects it, in order.
// Contextual options thus win over plain options whatever the source order:
// the built-in text's warm-up rule keeps logging off in warm-up mode even
// when a later Config.toml turns it on in [logging.options]. Among contextual
// entries, and among plain tables, the later source wins.
//
// The switches of a source act as the source is read, before its other
// tables:
//  - ignore-all-prior-logging-configuration-sources = true: everything read
//    so far (destinations, options, contextual entries, switches) is
//    forgotten, as if this were the first source;
//  - disable-all-prior-destinations = true: destinations created by earlier
//    sources are disabled, until a [logging.destination.NAME] table of this
//    or a later source names one again;
//  - force-all-logging-off-override: true turns all logging off, whatever
//    else says (isLoggingEnabled() false); a later source may set it false;
//  - enable-thread-exclusive-output: thread-exclusive output of the
//    background thread (LogMessageQueue.h); the last source that says wins.
//
// Destinations. Created in source order; within one source in the order of
// their names (TOML tables have no order). A destination named again by a
// later source keeps its type (a different `type` is reported and ignored)
// and takes the new table's options over its own. With
// inherit-original-destination-contexts = false in that later table the
// destination starts afresh instead: its own options from earlier sources,
// its applicable contexts and the effect of earlier contextual entries on it
// are dropped. A contextual entry may name only destinations that exist by
// the end of its source.
//
// Reports. Nothing is thrown for a bad configuration: each problem goes to
// the report sink given with the source (LoggingConfigurationReportSink.h;
// the texts are listed in LoggingTomlReader.h and here), the offending part
// is ignored and reading goes on. Texts of this class:
//   "Error Parsing Logging Configuration TOML Data"
//     "Unable to parse the logging configuration '<source>': <the parser's
//     message>. The whole source is being ignored."
//     "The 'type' key is missing from the [logging.destination.NAME] section.
//     This is a required key!"
//     "A destination named in a contextual-options, 'NAME', does not have a
//     [logging.destination.NAME] table in the configuration file, nor is it a
//     destination created by a prior configuration file."
//   "Warning Parsing Logging Configuration TOML Data"
//     "The 'type' key is present, 'NEW', in the [logging.destination.NAME]
//     section. However, the destination already exists with a different
//     type, 'OLD'! Ignoring the new type value."
//     "A key, 'KEY', in the [logging.destination] table is not itself a table.
//     Expecting all keys here to be tables named for a specific destination.
//     This key is being ignored."
//   "Format Error: Missing Required Table"
//     "Each table in the 'logging.contextual-options' table array requires at
//     least one 'contexts' table." (or 'options')
//   "Format Error: Missing Required Table Array"
//     "'logging.contextual-options' table array requires at least one table
//     in the array of tables, 'contexts'."
// Parsing is guarded: text nested deeper than kMaximumNestingDepth brackets
// or braces, or longer than kMaximumSourceBytes, is refused with the parse
// report before the parser sees it (the parser recurses once per level).
//
// For checkers: build a configuration for any process context, apply the
// built-in text and then the file, each with a CollectingReportSink, and read
// the result; nothing is opened or written, and nothing is shown:
//
//   LoggingSelectionContext context;          // what the selectors match
//   context.processName = "spoolsv.exe";      // as given, or the current one
//   context.build = "release";                // a build word
//   context.platform = "windows";
//   context.warmupMode = false;
//   LoggingConfiguration configuration(context);
//   CollectingReportSink reports;             // exact title, text, severity
//   configuration.applyLoggingConfigurationFromText(
//       RuntimeConfiguration::getBuiltInConfigurationText(),
//       RuntimeConfiguration::getBuiltInConfigurationSourceName(), reports);
//   configuration.applyLoggingConfigurationFromText(fileText, fileName, reports);
//   configuration.isLoggingEnabled();         // does logging end up on
//   for (i < configuration.getNumberOfDestinations())
//     getDestination(i): getDestinationName(), getDestinationTypeWord(),
//     isDestinationEnabled(), getOptions().getOptionValueDisplayString(id) and
//     isOptionSpecified(id) for id 0..36 (keys: LoggingOptionTable::describe)
//   configuration.getFacilityOptions();       // the facility's own options
//   configuration.getContextualOptionsEvaluations();  // which entries matched
//                                             // and why, and what they changed

#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "LowLevelFacilities/LoggingConfigurationReportSink.h"
#include "LowLevelFacilities/LoggingContextualOptions.h"
#include "LowLevelFacilities/LoggingOptions.h"
#include "LowLevelFacilities/ProcessContextInfo.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace HaldenConfiguration {

// The object through which the logging configuration asks its host for
// environment facts (RuntimeConfiguration implements it).
class HDU_API ILoggingConfigurationHost {
 public:
  virtual ~ILoggingConfigurationHost();
  // The user-configuration home directory, without a trailing separator.
  virtual std::string getUserConfigurationHomeDirectoryPath() = 0;

 protected:
  ILoggingConfigurationHost() = default;
  ILoggingConfigurationHost(const ILoggingConfigurationHost&) = default;
  ILoggingConfigurationHost& operator=(const ILoggingConfigurationHost&) = default;
};

// What happened to one contextual-options entry.
struct ContextualOptionsEvaluation {
  std::string sourceName;
  std::size_t entryNumber = 0;           // from 1 within its source
  bool applied = false;                  // some contexts table matched the process
  std::vector<std::string> explanation;  // one line per contexts table
  bool affectsFacilityOptions = false;
  std::vector<std::string> affectedDestinations;  // names, at the end of its source
};

class HDU_API LoggingConfiguration {
 public:
  enum : std::size_t { kMaximumNestingDepth = 64, kMaximumSourceBytes = 16777216 };

  // The factory defaults for the process: logging enabled, no destinations.
  explicit LoggingConfiguration(const LoggingSelectionContext& selectionContext);
  static LoggingConfiguration getFactoryDefaults(const ProcessContextInfo& processContextInfo, bool warmupMode = false);
  // Copies clone the destinations (not yet given services, nothing written).
  LoggingConfiguration(const LoggingConfiguration& other);
  LoggingConfiguration& operator=(const LoggingConfiguration& other);
  LoggingConfiguration(LoggingConfiguration&& other) noexcept;
  LoggingConfiguration& operator=(LoggingConfiguration&& other) noexcept;
  ~LoggingConfiguration();

  // ---- applying sources (never throw for bad text) ----
  void applyLoggingConfigurationFromText(const std::string& text, const std::string& sourceName,
                                         ILoggingConfigurationReportSink& sink);
  void applyLoggingConfigurationFromStream(std::istream& stream, const std::string& sourceName,
                                           ILoggingConfigurationReportSink& sink);
  void applyLoggingConfigurationFromTable(const cpptoml::table& document, const std::string& sourceName,
                                          ILoggingConfigurationReportSink& sink);
  const std::vector<std::string>& getSourceNames() const noexcept { return m_sourceNames; }

  // ---- the result ----
  const LoggingSelectionContext& getSelectionContext() const noexcept { return m_selectionContext; }
  // The facility's effective options.
  const LoggingOptions& getFacilityOptions() const noexcept { return m_facilityOptions; }
  // enable-logging of the facility, unless force-all-logging-off-override.
  bool isLoggingEnabled() const noexcept;
  bool isForceAllLoggingOffOverride() const noexcept { return m_forceAllLoggingOff; }
  bool isThreadExclusiveOutputEnabled() const noexcept { return m_threadExclusiveOutput; }
  std::size_t getNumberOfDestinations() const noexcept { return m_destinations.size(); }
  // In creation order.
  const HaldenLogging::LogMessageDestinationBase& getDestination(std::size_t index) const;
  HaldenLogging::LogMessageDestinationBase& getDestination(std::size_t index);
  // Null when there is no destination of that name.
  const HaldenLogging::LogMessageDestinationBase* findDestination(const std::string& name) const;
  // Hands the destinations over (the configuration keeps none); the facility
  // takes its own copy's destinations this way.
  std::vector<std::unique_ptr<HaldenLogging::LogMessageDestinationBase>> takeDestinations();
  const std::vector<ContextualOptionsEvaluation>& getContextualOptionsEvaluations() const noexcept {
    return m_evaluations;
  }

  // ---- host and in-use flag ----
  void setNewLoggingConfigurationHost(ILoggingConfigurationHost& host) noexcept { m_host = &host; }
  ILoggingConfigurationHost* getLoggingConfigurationHost() const noexcept { return m_host; }
  // Set at a session start when clear; marks the configuration as the one in use.
  bool isInUse() const noexcept { return m_inUse != 0; }
  void setInUse() noexcept { m_inUse = 1; }

 private:
  struct DestinationRecord {
    std::unique_ptr<HaldenLogging::LogMessageDestinationBase> destination;
    LoggingOptions ownOptions;             // from its tables
    bool disabledByLaterSource = false;    // disable-all-prior-destinations
    std::size_t firstContextualEntry = 0;  // entries before this index do not affect it
  };

  void resetToFactoryDefaults();
  void applyDocument(const cpptoml::table& document, const std::string& sourceName,
                     ILoggingConfigurationReportSink& sink);
  void getDestinationsFromTable(const cpptoml::table& destinations, ILoggingConfigurationReportSink& sink);
  void getContextualOptionsFromTable(cpptoml::base& entries, const std::string& sourceName,
                                     ILoggingConfigurationReportSink& sink);
  DestinationRecord* findRecord(const std::string& name);
  // Recomputes the effective options of the facility and every destination.
  void recompute();

  LoggingSelectionContext m_selectionContext;
  ILoggingConfigurationHost* m_host = nullptr;
  LoggingOptions m_plainFacilityOptions;
  LoggingOptions m_facilityOptions;
  std::vector<DestinationRecord> m_destinations;
  std::vector<LoggingContextualOptions> m_contextualOptions;
  std::vector<ContextualOptionsEvaluation> m_evaluations;
  std::vector<std::string> m_sourceNames;
  bool m_forceAllLoggingOff = false;
  bool m_threadExclusiveOutput = false;
  unsigned char m_inUse = 0;
};

}  // namespace HaldenConfiguration
