#pragma once
// A stand-in for the logging facility's services, with fixed facts, that
// records the internals reports it is given.

#include "LowLevelFacilities/ILogMessageDestinationServices.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace loggingtest {

class FixedServices : public HaldenLogging::ILogMessageDestinationServices {
 public:
  explicit FixedServices(std::string home = "HOME") : m_home(std::move(home)) {}

  std::string getUserConfigurationHomeDirectoryPath() override { return m_home; }
  std::string getProcessIdAsHexString() override { return "0x00162e"; }
  std::string getProcessIdAsDecimalString() override { return "00005678"; }
  std::string getProcessName() override { return "spoolsv.exe"; }
  std::string getComputerName() override { return "PRINTSRV"; }
  int getThreadIdWidthAsHexString() override { return 6; }
  int getThreadIdWidthAsDecimalString() override { return 8; }
  void reportLoggingInternalsError(const char* title, const char* text) noexcept override {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_reports.emplace_back(title, text);
  }

  std::vector<std::pair<std::string, std::string>> reports() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_reports;
  }

 private:
  std::string m_home;
  mutable std::mutex m_mutex;
  std::vector<std::pair<std::string, std::string>> m_reports;
};

}  // namespace loggingtest
