#include "LowLevelFacilities/RuntimeConfiguration.h"

#include "LowLevelFacilities/Formatter.h"

#include <istream>
#include <iterator>
#include <new>
#include <utility>

namespace HaldenConfiguration {

namespace {

const char* const kBuiltInConfigurationText =
    "[logging.options]\n enable-logging=false\n[[logging.contextual-options]]\n[[logging.contextual-options."
    "contexts]]\n warmup-mode=[\"on\"]\n[logging.contextual-options.options]\n enable-logging=false";

std::string readAll(std::istream& stream) {
  return std::string((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
}

}  // namespace

// ---- hosts ---------------------------------------------------------------------------------

IRuntimeConfigurationHost::~IRuntimeConfigurationHost() = default;

std::string IRuntimeConfigurationHost::getUserConfigurationSourceName(const std::string& homeDirectory) {
  return homeDirectory.empty() ? std::string("user configuration") : homeDirectory;
}

std::string DefaultRuntimeConfigurationHost::getUserConfigurationHomeDirectoryPath() {
  return {};
}

std::unique_ptr<std::istream> DefaultRuntimeConfigurationHost::getBuiltInConfigurationAsStream() {
  return nullptr;
}

std::unique_ptr<std::istream> DefaultRuntimeConfigurationHost::getUserConfigurationAsStream(
    const std::string& /*homeDirectory*/) {
  return nullptr;
}

DefaultRuntimeConfigurationHost& DefaultRuntimeConfigurationHost::getInstance() noexcept {
  // Built in static storage and never destroyed: configurations holding it
  // may outlive static destruction.
  alignas(DefaultRuntimeConfigurationHost) static unsigned char s_storage[sizeof(DefaultRuntimeConfigurationHost)];
  static DefaultRuntimeConfigurationHost* const s_instance =
      ::new (static_cast<void*>(s_storage)) DefaultRuntimeConfigurationHost();
  return *s_instance;
}

// ---- RuntimeConfiguration ------------------------------------------------------------------

const char* RuntimeConfiguration::getBuiltInConfigurationText() noexcept {
  return kBuiltInConfigurationText;
}

RuntimeConfiguration::RuntimeConfiguration(IPlatformUtilities& platformUtilities)
    : RuntimeConfiguration(kRequestFactoryDefaults, DefaultRuntimeConfigurationHost::getInstance(), platformUtilities) {
}

RuntimeConfiguration::RuntimeConfiguration(RequestUninitialized, IRuntimeConfigurationHost& host,
                                           IPlatformUtilities& platformUtilities)
    : m_host(&host),
      m_platformUtilities(&platformUtilities),
      m_whichConstructor(WCE_FACTORY_DEFAULTS),
      m_loggingConfiguration(LoggingSelectionContext()) {
  m_loggingConfiguration.setNewLoggingConfigurationHost(*this);
}

RuntimeConfiguration::RuntimeConfiguration(RequestFactoryDefaults, IRuntimeConfigurationHost& host,
                                           IPlatformUtilities& platformUtilities)
    : m_host(&host),
      m_platformUtilities(&platformUtilities),
      m_whichConstructor(WCE_FACTORY_DEFAULTS),
      m_loggingConfiguration(LoggingSelectionContext()) {
  build(ProcessContextInfo::captureCurrent());
}

RuntimeConfiguration::RuntimeConfiguration(IRuntimeConfigurationHost& host, IPlatformUtilities& platformUtilities,
                                           const std::string& data, const std::string& sourceName)
    : m_host(&host),
      m_platformUtilities(&platformUtilities),
      m_whichConstructor(WCE_FROM_FILE_NAME_AND_DATA),
      m_loggingConfiguration(LoggingSelectionContext()),
      m_data(data),
      m_dataSourceName(sourceName) {
  build(ProcessContextInfo::captureCurrent());
}

RuntimeConfiguration::RuntimeConfiguration(IRuntimeConfigurationHost& host, IPlatformUtilities& platformUtilities,
                                           std::istream& stream, const std::string& sourceName)
    : m_host(&host),
      m_platformUtilities(&platformUtilities),
      m_whichConstructor(WCE_FROM_STREAM_AND_NAME),
      m_loggingConfiguration(LoggingSelectionContext()),
      m_data(readAll(stream)),
      m_dataSourceName(sourceName) {
  build(ProcessContextInfo::captureCurrent());
}

RuntimeConfiguration::RuntimeConfiguration(RuntimeConfiguration&& other) noexcept
    : m_host(other.m_host),
      m_platformUtilities(other.m_platformUtilities),
      m_whichConstructor(other.m_whichConstructor),
      m_processContextInfo(std::move(other.m_processContextInfo)),
      m_loggingConfiguration(std::move(other.m_loggingConfiguration)),
      m_warmupMode(other.m_warmupMode),
      m_warmupModeWhenBuilt(other.m_warmupModeWhenBuilt),
      m_initialized(other.m_initialized),
      m_oneTimeApplicationInitializationFlag(other.m_oneTimeApplicationInitializationFlag),
      m_data(std::move(other.m_data)),
      m_dataSourceName(std::move(other.m_dataSourceName)),
      m_reportSink(other.m_reportSink) {
  m_loggingConfiguration.setNewLoggingConfigurationHost(*this);
}

RuntimeConfiguration& RuntimeConfiguration::operator=(RuntimeConfiguration&& other) noexcept {
  if (this != &other) {
    m_host = other.m_host;
    m_platformUtilities = other.m_platformUtilities;
    m_whichConstructor = other.m_whichConstructor;
    m_processContextInfo = std::move(other.m_processContextInfo);
    m_loggingConfiguration = std::move(other.m_loggingConfiguration);
    m_warmupMode = other.m_warmupMode;
    m_warmupModeWhenBuilt = other.m_warmupModeWhenBuilt;
    m_initialized = other.m_initialized;
    m_oneTimeApplicationInitializationFlag = other.m_oneTimeApplicationInitializationFlag;
    m_data = std::move(other.m_data);
    m_dataSourceName = std::move(other.m_dataSourceName);
    m_reportSink = other.m_reportSink;
    m_loggingConfiguration.setNewLoggingConfigurationHost(*this);
  }
  return *this;
}

RuntimeConfiguration::~RuntimeConfiguration() = default;

RuntimeConfiguration RuntimeConfiguration::getFactoryDefaults(IRuntimeConfigurationHost& host,
                                                              IPlatformUtilities& platformUtilities) {
  return RuntimeConfiguration(kRequestFactoryDefaults, host, platformUtilities);
}

RuntimeConfiguration RuntimeConfiguration::getFactoryDefaultsAndOverrideWithData(IRuntimeConfigurationHost& host,
                                                                                 IPlatformUtilities& platformUtilities,
                                                                                 const std::string& data,
                                                                                 const std::string& sourceName) {
  return RuntimeConfiguration(host, platformUtilities, data, sourceName);
}

RuntimeConfiguration RuntimeConfiguration::getFactoryDefaultsAndOverrideWithData(IRuntimeConfigurationHost& host,
                                                                                 IPlatformUtilities& platformUtilities,
                                                                                 std::istream& stream,
                                                                                 const std::string& sourceName) {
  return RuntimeConfiguration(host, platformUtilities, stream, sourceName);
}

ILoggingConfigurationReportSink& RuntimeConfiguration::sink() const noexcept {
  return m_reportSink != nullptr ? *m_reportSink : ErrorDisplayReportSink::getInstance();
}

std::string RuntimeConfiguration::getUserConfigurationHomeDirectoryPath() {
  return m_host->getUserConfigurationHomeDirectoryPath();
}

void RuntimeConfiguration::build(const ProcessContextInfo& context) {
  m_processContextInfo = context;
  m_warmupModeWhenBuilt = m_warmupMode;
  m_loggingConfiguration = LoggingConfiguration(LoggingSelectionContext::fromProcessContext(context, m_warmupMode));
  m_loggingConfiguration.setNewLoggingConfigurationHost(*this);
  loadAndApplyBuiltInConfigurationIfExists();
  loadAndApplyUserConfigurationIfExists();
  if (m_whichConstructor != WCE_FACTORY_DEFAULTS) {
    applyConfigurationData(m_data, m_dataSourceName);
  }
  m_initialized = true;
}

void RuntimeConfiguration::loadAndApplyBuiltInConfigurationIfExists() {
  std::unique_ptr<std::istream> stream = m_host->getBuiltInConfigurationAsStream();
  if (stream) {
    applyConfigurationData(*stream, getBuiltInConfigurationSourceName());
  }
}

void RuntimeConfiguration::loadAndApplyUserConfigurationIfExists() {
  const std::string home = m_host->getUserConfigurationHomeDirectoryPath();
  std::unique_ptr<std::istream> stream = m_host->getUserConfigurationAsStream(home);
  if (stream) {
    applyConfigurationData(*stream, m_host->getUserConfigurationSourceName(home));
  }
}

void RuntimeConfiguration::applyConfigurationData(const std::string& data, const std::string& sourceName) {
  m_loggingConfiguration.applyLoggingConfigurationFromText(data, sourceName, sink());
}

void RuntimeConfiguration::applyConfigurationData(std::istream& stream, const std::string& sourceName) {
  m_loggingConfiguration.applyLoggingConfigurationFromStream(stream, sourceName, sink());
}

bool RuntimeConfiguration::hasContextInformationChangedSince(const ProcessContextInfo& currentContext) const {
  return !m_initialized || !m_processContextInfo.isSameContextAs(currentContext) ||
         m_warmupMode != m_warmupModeWhenBuilt;
}

bool RuntimeConfiguration::hasContextInformationChangedSinceInitialized() const {
  return hasContextInformationChangedSince(ProcessContextInfo::captureCurrent());
}

void RuntimeConfiguration::reinitializeDueToContextChange() {
  reinitializeDueToContextChange(ProcessContextInfo::captureCurrent());
}

void RuntimeConfiguration::reinitializeDueToContextChange(const ProcessContextInfo& currentContext) {
  switch (m_whichConstructor) {
    case WCE_FACTORY_DEFAULTS:
    case WCE_FROM_FILE_NAME_AND_DATA:
    case WCE_FROM_STREAM_AND_NAME:
      build(currentContext);
      return;
  }
  const std::string text = InternalHaldenCP::formatToStdString(
      "Unexpected WhichConstructorEnum value, '%d', in RuntimeConfiguration.", static_cast<int>(m_whichConstructor));
  m_platformUtilities->displayDebugMessageForLowLevelUtilities("Logging Internals Error", text.c_str());
}

void RuntimeConfiguration::reinitializeDueToContextChange(const std::string& data, const std::string& sourceName) {
  m_whichConstructor = WCE_FROM_FILE_NAME_AND_DATA;
  m_data = data;
  m_dataSourceName = sourceName;
  build(ProcessContextInfo::captureCurrent());
}

void RuntimeConfiguration::reinitializeDueToContextChange(std::istream& stream, const std::string& sourceName) {
  m_whichConstructor = WCE_FROM_STREAM_AND_NAME;
  m_data = readAll(stream);
  m_dataSourceName = sourceName;
  build(ProcessContextInfo::captureCurrent());
}

}  // namespace HaldenConfiguration
