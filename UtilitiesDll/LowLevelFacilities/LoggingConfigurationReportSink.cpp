#include "LowLevelFacilities/LoggingConfigurationReportSink.h"

#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"

#include <algorithm>
#include <new>

namespace HaldenConfiguration {

ILoggingConfigurationReportSink::~ILoggingConfigurationReportSink() = default;

void ErrorDisplayReportSink::reportConfigurationProblem(ConfigurationReportSeverityEnum /*severity*/,
                                                        const std::string& title, const std::string& text) noexcept {
  LowLevelFacilitiesGlobals::getErrorDisplayFacility().reportError(title, text);
}

ErrorDisplayReportSink& ErrorDisplayReportSink::getInstance() noexcept {
  // Built in static storage and never destroyed: reports may still arrive
  // while the library's static objects are being destroyed at unload.
  alignas(ErrorDisplayReportSink) static unsigned char s_storage[sizeof(ErrorDisplayReportSink)];
  static ErrorDisplayReportSink* const s_instance = ::new (static_cast<void*>(s_storage)) ErrorDisplayReportSink();
  return *s_instance;
}

void CollectingReportSink::reportConfigurationProblem(ConfigurationReportSeverityEnum severity,
                                                      const std::string& title, const std::string& text) noexcept {
  try {
    m_reports.push_back(ConfigurationReport{severity, title, text});
  } catch (...) {
    // Out of memory: the report is lost, reading goes on.
  }
}

std::size_t CollectingReportSink::countReports(ConfigurationReportSeverityEnum severity) const noexcept {
  return static_cast<std::size_t>(std::count_if(m_reports.begin(), m_reports.end(),
                                                [&](const ConfigurationReport& r) { return r.severity == severity; }));
}

}  // namespace HaldenConfiguration
