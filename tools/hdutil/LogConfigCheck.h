#pragma once
// hdutil log-config check: a logging configuration file (Config.toml) read
// as the driver reads it, and everything that came of it.
//
// The driver starts from the factory defaults, applies the configuration
// built into the library, then the user's Config.toml. The check does the
// same for a process described on the command line (by default the current
// one), with the library's own reader, and collects instead of showing:
//   - every report of either source, with its severity, its exact title and
//     text, and the source it came from;
//   - every contextual-options entry of either source: whether it applies to
//     the process, why (one line per `contexts` table, with each selector's
//     verdict), and whether its options went to the facility and to which
//     destinations;
//   - the facility's effective options and each destination that results,
//     with its type, whether it is enabled and its effective options (each
//     with its value and whether some source specified it);
//   - whether logging ends up on: the facility has enable-logging, no source
//     forces all logging off, and at least one destination is enabled.
// Exit status: 0 when no report was made, 1 when there were warnings only,
// 2 when there was an error (a file that cannot be read at all is a usage
// failure of the tool: one line, exit status 2).
//
// The text report prints everything that came from the file through
// printableText, so a configuration cannot forge lines; it shows the options
// that decide what is logged (enable-logging, max-verbosity-level, the
// category arrays and the allowed categories they give, the subset flag,
// use-background-thread, a file's log-file-name-string) and every option
// some source specified; the JSON report (nlohmann::ordered_json, as the
// tool's other JSON) holds the same facts with every option.

#include "Json.h"

#include "LowLevelFacilities/LoggingConfiguration.h"
#include "LowLevelFacilities/LoggingConfigurationReportSink.h"
#include "LowLevelFacilities/LoggingContextualOptions.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace hdutil {

struct LogConfigReport {
  std::string source;  // the name of the source it came from
  HaldenConfiguration::ConfigurationReport report;
};

struct LogConfigCheck {
  HaldenConfiguration::LoggingSelectionContext context;
  std::string sourceName;                // the checked file ("standard input" for "-")
  std::vector<LogConfigReport> reports;  // in the order they were made
  HaldenConfiguration::LoggingConfiguration configuration;
  std::size_t errors = 0;
  std::size_t warnings = 0;

  explicit LogConfigCheck(const HaldenConfiguration::LoggingSelectionContext& selection)
      : context(selection), configuration(selection) {}

  // 0 clean, 1 warnings only, 2 errors.
  int exitStatus() const noexcept;
  std::size_t countEnabledDestinations() const;
  // Whether the facility would log at all.
  bool isLoggingOn() const;
  // Why logging is on or off, in a few words ("2 of 3 destinations enabled",
  // "enable-logging is false for the facility").
  std::string loggingReason() const;
};

// The process to check for: the current process, with each word given
// (not empty) put in its place. `build` is one of "checked", "debug",
// "free", "release", "aefree", "aeplus"; `platform` "windows" or "linux";
// `warmup` and `unitTests` "on" or "off"; `process` a program's file name
// ("spoolsv.exe"). Anything else throws UsageError naming the option.
HaldenConfiguration::LoggingSelectionContext makeLogConfigSelectionContext(const std::string& process,
                                                                           const std::string& build,
                                                                           const std::string& platform,
                                                                           const std::string& warmup,
                                                                           const std::string& unitTests);

// Applies the built-in configuration, then `text` (named `sourceName` in the
// reports), for the process `context`. Never throws for bad text.
LogConfigCheck checkLogConfiguration(std::string_view text, const std::string& sourceName,
                                     const HaldenConfiguration::LoggingSelectionContext& context);

void printLogConfigCheck(std::ostream& out, const LogConfigCheck& check);
Json logConfigCheckToJson(const LogConfigCheck& check);

// A category mask for people: "all", "none", "XC_ERR, XC_TRACE", or "all
// except XC_TRACE" when more than half the named categories are in it.
std::string describeCategories(unsigned long long mask);

}  // namespace hdutil
