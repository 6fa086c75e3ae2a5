#pragma once
// HaldenConfiguration::RuntimeConfiguration: the process-wide holder of the
// configuration the library reads at run time: the logging configuration,
// the process context it was built for, and the warm-up-mode flag.
//
// It takes its configuration text from a host (IRuntimeConfigurationHost):
// first the configuration built into the library, then the user's
// Config.toml if there is one, each applied over the factory defaults in
// that order (LoggingConfiguration.h tells how sources combine), and last
// any text or stream given to it. The built-in text is
// getBuiltInConfigurationText(): logging off unless a later source turns it
// on, and off in warm-up mode whatever later sources say.
//
// One global instance, gGlobalRuntimeConfiguration, with the driver's host
// (MeridianRuntimeConfigurationHost), is made with the library's static
// objects, uninitialised: reading the user name and files must not happen
// while the loader lock is held. The first session start finds it
// uninitialised (hasContextInformationChangedSinceInitialized() is true) and
// builds it.
//
// Reports of the configuration sources go to the report sink (the error
// display facility unless setReportSink gave another); the built-in text is
// named "Parse Built-in Configuration" in them, the user file by its path.
//
// Context changes: hasContextInformationChangedSinceInitialized() is true
// when the instance is not initialised, when a fresh ProcessContextInfo
// differs from the captured one (ProcessContextInfo::isSameContextAs: process
// id and name, user, application), or when the warm-up mode was changed
// since the configuration was built. reinitializeDueToContextChange rebuilds
// it the way it was first built (WhichConstructorEnum) for the current
// context; an unexpected WhichConstructorEnum value is reported under
// "Logging Internals Error" as "Unexpected WhichConstructorEnum value, '<n>',
// in RuntimeConfiguration." and leaves the configuration as it was.

#include "LowLevelFacilities/IPlatformUtilities.h"
#include "LowLevelFacilities/LoggingConfiguration.h"
#include "LowLevelFacilities/LoggingConfigurationReportSink.h"
#include "LowLevelFacilities/ProcessContextInfo.h"
#include "hdUtilitiesExport.h"

#include <iosfwd>
#include <memory>
#include <string>

namespace HaldenConfiguration {

// Where the runtime configuration's texts come from. Virtual operations in
// slot order: the destructor, then the three below.
class HDU_API IRuntimeConfigurationHost {
 public:
  virtual ~IRuntimeConfigurationHost();
  // The user-configuration home directory, without a trailing separator.
  virtual std::string getUserConfigurationHomeDirectoryPath() = 0;
  // The built-in configuration, or null when there is none.
  virtual std::unique_ptr<std::istream> getBuiltInConfigurationAsStream() = 0;
  // The user's configuration found in the home directory, or null.
  virtual std::unique_ptr<std::istream> getUserConfigurationAsStream(const std::string& homeDirectory) = 0;
  // A description of the user configuration's source for reports (its path).
  virtual std::string getUserConfigurationSourceName(const std::string& homeDirectory);

 protected:
  IRuntimeConfigurationHost() = default;
  IRuntimeConfigurationHost(const IRuntimeConfigurationHost&) = default;
  IRuntimeConfigurationHost& operator=(const IRuntimeConfigurationHost&) = default;
};

// No built-in text, no user file, no home directory: the configuration stays
// at its factory defaults.
class HDU_API DefaultRuntimeConfigurationHost final : public IRuntimeConfigurationHost {
 public:
  std::string getUserConfigurationHomeDirectoryPath() override;
  std::unique_ptr<std::istream> getBuiltInConfigurationAsStream() override;
  std::unique_ptr<std::istream> getUserConfigurationAsStream(const std::string& homeDirectory) override;
  static DefaultRuntimeConfigurationHost& getInstance() noexcept;
};

class HDU_API RuntimeConfiguration : public ILoggingConfigurationHost {
 public:
  enum WhichConstructorEnum : int {
    WCE_FACTORY_DEFAULTS = 0,
    WCE_FROM_FILE_NAME_AND_DATA = 1,
    WCE_FROM_STREAM_AND_NAME = 2,
  };
  enum RequestFactoryDefaults { kRequestFactoryDefaults };
  enum RequestUninitialized { kRequestUninitialized };

  // The default host: the factory defaults, for the current process context.
  explicit RuntimeConfiguration(IPlatformUtilities& platformUtilities);
  // Not yet initialised (no context captured, nothing read): the factory
  // defaults of an unknown context, until reinitializeDueToContextChange.
  RuntimeConfiguration(RequestUninitialized, IRuntimeConfigurationHost& host, IPlatformUtilities& platformUtilities);
  RuntimeConfiguration(RuntimeConfiguration&& other) noexcept;
  RuntimeConfiguration& operator=(RuntimeConfiguration&& other) noexcept;
  ~RuntimeConfiguration() override;

  // The host's built-in and user configurations over the factory defaults.
  static RuntimeConfiguration getFactoryDefaults(IRuntimeConfigurationHost& host,
                                                 IPlatformUtilities& platformUtilities);
  // The same, then the given text (or stream, read to its end).
  static RuntimeConfiguration getFactoryDefaultsAndOverrideWithData(IRuntimeConfigurationHost& host,
                                                                    IPlatformUtilities& platformUtilities,
                                                                    const std::string& data,
                                                                    const std::string& sourceName);
  static RuntimeConfiguration getFactoryDefaultsAndOverrideWithData(IRuntimeConfigurationHost& host,
                                                                    IPlatformUtilities& platformUtilities,
                                                                    std::istream& stream,
                                                                    const std::string& sourceName);

  // The configuration built into the library, exactly.
  static const char* getBuiltInConfigurationText() noexcept;
  static const char* getBuiltInConfigurationSourceName() noexcept { return "Parse Built-in Configuration"; }

  LoggingConfiguration& getLoggingConfiguration() noexcept { return m_loggingConfiguration; }
  const LoggingConfiguration& getLoggingConfiguration() const noexcept { return m_loggingConfiguration; }
  const ProcessContextInfo& getProcessContextInfo() const noexcept { return m_processContextInfo; }
  bool isInitialized() const noexcept { return m_initialized; }
  bool isWarmupMode() const noexcept { return m_warmupMode; }
  void setWarmupMode(bool warmupMode) noexcept { m_warmupMode = warmupMode; }
  WhichConstructorEnum getWhichConstructor() const noexcept { return m_whichConstructor; }
  IRuntimeConfigurationHost& getRuntimeConfigurationHost() const noexcept { return *m_host; }
  // Reports of later (re)builds go to `sink` (which must outlive this object).
  void setReportSink(ILoggingConfigurationReportSink& sink) noexcept { m_reportSink = &sink; }

  // ILoggingConfigurationHost: forwarded to the host.
  std::string getUserConfigurationHomeDirectoryPath() override;

  bool hasContextInformationChangedSinceInitialized() const;
  // The same test against a context the caller captured.
  bool hasContextInformationChangedSince(const ProcessContextInfo& currentContext) const;
  void reinitializeDueToContextChange();
  // The same for a context the caller captured.
  void reinitializeDueToContextChange(const ProcessContextInfo& currentContext);
  // Rebuilt as from getFactoryDefaultsAndOverrideWithData.
  void reinitializeDueToContextChange(const std::string& data, const std::string& sourceName);
  void reinitializeDueToContextChange(std::istream& stream, const std::string& sourceName);

  void prepareToReinitializeDueToContextChange() noexcept {}
  void notifyApplicationSessionStarted() noexcept { m_oneTimeApplicationInitializationFlag = true; }
  void notifyApplicationSessionEnded() noexcept {}
  bool isOneTimeApplicationInitializationFlagSet() const noexcept { return m_oneTimeApplicationInitializationFlag; }

 private:
  RuntimeConfiguration(RequestFactoryDefaults, IRuntimeConfigurationHost& host, IPlatformUtilities& platformUtilities);
  RuntimeConfiguration(IRuntimeConfigurationHost& host, IPlatformUtilities& platformUtilities, const std::string& data,
                       const std::string& sourceName);
  RuntimeConfiguration(IRuntimeConfigurationHost& host, IPlatformUtilities& platformUtilities, std::istream& stream,
                       const std::string& sourceName);

  void build(const ProcessContextInfo& context);
  void loadAndApplyBuiltInConfigurationIfExists();
  void loadAndApplyUserConfigurationIfExists();
  void applyConfigurationData(const std::string& data, const std::string& sourceName);
  void applyConfigurationData(std::istream& stream, const std::string& sourceName);
  ILoggingConfigurationReportSink& sink() const noexcept;

  IRuntimeConfigurationHost* m_host;
  IPlatformUtilities* m_platformUtilities;
  WhichConstructorEnum m_whichConstructor;
  ProcessContextInfo m_processContextInfo;
  LoggingConfiguration m_loggingConfiguration;
  bool m_warmupMode = false;
  bool m_warmupModeWhenBuilt = false;
  bool m_initialized = false;
  bool m_oneTimeApplicationInitializationFlag = false;
  // The text given to the data and stream constructors (a stream is kept as
  // its text so that a reinitialisation can apply it again).
  std::string m_data;
  std::string m_dataSourceName;
  ILoggingConfigurationReportSink* m_reportSink = nullptr;
};

}  // namespace HaldenConfiguration
