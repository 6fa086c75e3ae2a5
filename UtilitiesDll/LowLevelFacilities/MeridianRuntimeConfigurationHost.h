#pragma once
// HaldenConfiguration::MeridianRuntimeConfigurationHost: the driver's runtime
// configuration host.
//
// Home directory (getUserConfigurationHomeDirectoryPath), without a trailing
// separator:
//  - the value of the environment variable HDU_CONFIG_HOME when it is set and
//    not empty (for tests, and for an engineer who keeps a configuration
//    elsewhere), trailing separators removed;
//  - otherwise the driver's shared root folder followed by "\Debug" ("/Debug"
//    on POSIX): on Windows "%ProgramData%\Halden\PrinterDriver\Debug" (usually
//    C:\ProgramData\Halden\PrinterDriver\Debug), shared by the spooler's
//    driver host and the user's driver processes; on Linux
//    "$XDG_CONFIG_HOME/HaldenPrinterDriver/Debug", by default
//    "~/.config/HaldenPrinterDriver/Debug" (LoggingPlatform::sharedDriverRootFolder).
// The same folder is "$(home)" in log file names; the default log file name
// puts log files in its "Logs" folder.
//
// Built-in configuration: a string stream over
// RuntimeConfiguration::getBuiltInConfigurationText().
//
// User configuration: "<home>\Config.toml" ("<home>/Config.toml"), opened
// for reading when it exists as a file; null when it does not. When the file
// exists but cannot be read (no permission, locked, a folder of that name),
// the stream given is the fallback text "[logging.options]\n
// enable-logging=false", so that a configuration the process cannot read
// keeps logging off rather than falling back to whatever came before. A UTF-8
// byte order mark at the start of the file is accepted.
//
// changeUIStatus lets the driver's user interface say that it is shown or
// hidden; the host keeps the flag (isUIShown) for the driver's own use and
// it does not change the configuration.

#include "LowLevelFacilities/RuntimeConfiguration.h"
#include "hdUtilitiesExport.h"

#include <atomic>

namespace HaldenConfiguration {

class HDU_API MeridianRuntimeConfigurationHost final : public IRuntimeConfigurationHost {
 public:
  static const char* getUserConfigurationFileName() noexcept { return "Config.toml"; }
  static const char* getFallbackUserConfigurationText() noexcept;
  static const char* getHomeDirectoryEnvironmentVariable() noexcept { return "HDU_CONFIG_HOME"; }

  MeridianRuntimeConfigurationHost() = default;
  ~MeridianRuntimeConfigurationHost() override;

  std::string getUserConfigurationHomeDirectoryPath() override;
  std::unique_ptr<std::istream> getBuiltInConfigurationAsStream() override;
  std::unique_ptr<std::istream> getUserConfigurationAsStream(const std::string& homeDirectory) override;
  std::string getUserConfigurationSourceName(const std::string& homeDirectory) override;

  // The path of the user configuration file in a home directory.
  static std::string getUserConfigurationFilePath(const std::string& homeDirectory);

  void changeUIStatus(bool shown) noexcept { m_uiShown.store(shown, std::memory_order_relaxed); }
  bool isUIShown() const noexcept { return m_uiShown.load(std::memory_order_relaxed); }

 private:
  std::atomic<bool> m_uiShown{false};
};

}  // namespace HaldenConfiguration
