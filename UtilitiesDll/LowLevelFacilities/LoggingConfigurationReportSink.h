#pragma once
// HaldenConfiguration::ILoggingConfigurationReportSink: where the logging
// configuration's reports go. A bad configuration is never thrown: every
// problem found while reading one (a TOML parse error, a mistyped key, a
// value of the wrong type, an unknown category or destination) is reported
// under a title and a text, the offending key or value is ignored, and
// reading goes on.
//
// The library's own reading (RuntimeConfiguration, session starts) reports
// to ErrorDisplayReportSink, which hands each report to the process-wide
// ErrorDisplayFacility. A configuration checker passes a CollectingReportSink
// instead and gets every report back with its exact title, text and
// severity, in the order they were found, without anything being shown.
//
// Severity: reports titled "Warning Parsing Logging Configuration TOML Data"
// (an unknown key, a destination table that is not a table, a type change of
// an existing destination) and the notice of a cleared context set are
// warnings; every other report is an error.

#include "hdUtilitiesExport.h"

#include <string>
#include <vector>

namespace HaldenConfiguration {

enum class ConfigurationReportSeverityEnum { CRSE_WARNING = 1, CRSE_ERROR = 2 };

struct ConfigurationReport {
  ConfigurationReportSeverityEnum severity;
  std::string title;
  std::string text;
};

class HDU_API ILoggingConfigurationReportSink {
 public:
  virtual ~ILoggingConfigurationReportSink();
  // Receives one report. Must not throw.
  virtual void reportConfigurationProblem(ConfigurationReportSeverityEnum severity, const std::string& title,
                                          const std::string& text) noexcept = 0;

 protected:
  ILoggingConfigurationReportSink() = default;
  ILoggingConfigurationReportSink(const ILoggingConfigurationReportSink&) = default;
  ILoggingConfigurationReportSink& operator=(const ILoggingConfigurationReportSink&) = default;
};

// Hands every report to LowLevelFacilitiesGlobals::getErrorDisplayFacility().
class HDU_API ErrorDisplayReportSink final : public ILoggingConfigurationReportSink {
 public:
  void reportConfigurationProblem(ConfigurationReportSeverityEnum severity, const std::string& title,
                                  const std::string& text) noexcept override;
  // The one instance the library uses when no sink is given.
  static ErrorDisplayReportSink& getInstance() noexcept;
};

// Keeps every report, in order.
class HDU_API CollectingReportSink final : public ILoggingConfigurationReportSink {
 public:
  void reportConfigurationProblem(ConfigurationReportSeverityEnum severity, const std::string& title,
                                  const std::string& text) noexcept override;

  const std::vector<ConfigurationReport>& getReports() const noexcept { return m_reports; }
  std::size_t countReports(ConfigurationReportSeverityEnum severity) const noexcept;
  bool hasErrors() const noexcept { return countReports(ConfigurationReportSeverityEnum::CRSE_ERROR) != 0; }
  void clear() noexcept { m_reports.clear(); }

 private:
  std::vector<ConfigurationReport> m_reports;
};

}  // namespace HaldenConfiguration
