#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"

#include "DebuggingAndExceptions/MeridianFacilityHosts.h"
#include "LowLevelFacilities/LoggingFacility.h"
#include "LowLevelFacilities/MeridianPlatformUtilities.h"
#include "LowLevelFacilities/MeridianRuntimeConfigurationHost.h"
#include "LowLevelFacilities/RuntimeConfiguration.h"

#include <atomic>
#include <istream>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

// ---- the process-wide objects (constructed in this order, destroyed in reverse) ----

namespace {

MeridianPlatformUtilities g_platformUtilities;

// Marks the lifetime of g_platformUtilities for tryGetPlatformUtilities: set
// just after it is constructed, cleared just before it is destroyed.
std::atomic<bool> g_platformUtilitiesAlive{false};
struct PlatformUtilitiesLifetimeMarker {
  PlatformUtilitiesLifetimeMarker() noexcept { g_platformUtilitiesAlive.store(true, std::memory_order_release); }
  ~PlatformUtilitiesLifetimeMarker() { g_platformUtilitiesAlive.store(false, std::memory_order_release); }
};
PlatformUtilitiesLifetimeMarker g_platformUtilitiesLifetimeMarker;

MeridianErrorDisplayFacilityHost g_errorDisplayFacilityHost;
MeridianExceptionFacilityHost g_exceptionFacilityHost;
HaldenAssertion::MeridianAssertionFacilityHost g_assertionFacilityHost;

ErrorDisplayFacility gGlobalErrorDisplayFacility(g_platformUtilities, g_errorDisplayFacilityHost);
ExceptionFacility gGlobalExceptionFacility(g_platformUtilities, g_exceptionFacilityHost);
HaldenAssertion::AssertionFacility gGlobalAssertionFacility(g_platformUtilities, g_assertionFacilityHost);

// The runtime configuration, uninitialised until the first session start
// (nothing is read while the loader lock is held), and its driver host.
HaldenConfiguration::MeridianRuntimeConfigurationHost gRuntimeConfigurationHost;
// (An allocation failure while the library loads ends the process whatever
// is done about it: the three objects below are built at load on purpose.)
HaldenConfiguration::RuntimeConfiguration gGlobalRuntimeConfiguration(  // NOLINT(cert-err58-cpp)
    HaldenConfiguration::RuntimeConfiguration::kRequestUninitialized, gRuntimeConfigurationHost, g_platformUtilities);

// The global logging configuration: a copy of the runtime configuration's,
// made by every reinitialisation; the logging facility was set up from it.
std::unique_ptr<HaldenConfiguration::LoggingConfiguration> gGlobalLoggingConfiguration;

// The logging facility starts with the factory defaults (no destinations:
// nothing is logged) until the first session start sets it up.
const HaldenConfiguration::LoggingSelectionContext g_noSelectionContext;  // NOLINT(cert-err58-cpp)
// NOLINTNEXTLINE(cert-err58-cpp)
HaldenConfiguration::LoggingConfiguration g_loadTimeLoggingConfiguration(g_noSelectionContext);
struct GlobalLoggingFacility : HaldenLogging::LoggingFacility {
  GlobalLoggingFacility() : LoggingFacility(g_platformUtilities, g_loadTimeLoggingConfiguration, ProcessContextInfo()) {
    attachCallSiteGate(&HaldenLogging::gLoggingCallSiteGate);
  }
};
GlobalLoggingFacility gGlobalLoggingFacility;  // NOLINT(cert-err58-cpp)

// The context the facilities were last set up for (none until the first session start).
std::optional<ProcessContextInfo> g_capturedProcessContextInfo;

// Caller-supplied configuration text, kept for the runtime configuration.
struct SpecifiedConfiguration {
  std::string text;
  std::string sourceDescription;
};
std::optional<SpecifiedConfiguration> g_specifiedConfiguration;

std::uint32_t g_reinitializationCount = 0;
std::uint32_t g_sessionStartCount = 0;
std::uint32_t g_sessionEndCount = 0;

// ---- seams: the runtime configuration --------------------------------------------

// Step 2 of the common reinitialisation. With `specified`, a runtime
// configuration built from its text (host, platform utilities) replaces the
// global one; with `restoreOriginal`, one built the original way (the host's
// built-in and user configurations) does; otherwise the global one rebuilds
// itself the way it was built. The warm-up mode carries over.
void reinitializeRuntimeConfiguration(const ProcessContextInfo& currentContext,
                                      std::optional<SpecifiedConfiguration>&& specified, bool restoreOriginal) {
  using HaldenConfiguration::RuntimeConfiguration;
  const bool warmupMode = gGlobalRuntimeConfiguration.isWarmupMode();
  if (specified.has_value()) {
    RuntimeConfiguration replacement(RuntimeConfiguration::kRequestUninitialized, gRuntimeConfigurationHost,
                                     g_platformUtilities);
    replacement.setWarmupMode(warmupMode);
    replacement.reinitializeDueToContextChange(specified->text, specified->sourceDescription);
    gGlobalRuntimeConfiguration = std::move(replacement);
  } else if (restoreOriginal) {
    gGlobalRuntimeConfiguration = RuntimeConfiguration(RuntimeConfiguration::kRequestUninitialized,
                                                       gRuntimeConfigurationHost, g_platformUtilities);
    gGlobalRuntimeConfiguration.setWarmupMode(warmupMode);
  }
  if (gGlobalRuntimeConfiguration.hasContextInformationChangedSince(currentContext)) {
    gGlobalRuntimeConfiguration.reinitializeDueToContextChange(currentContext);
  }
  g_capturedProcessContextInfo = currentContext;
  if (specified.has_value() || restoreOriginal) {
    g_specifiedConfiguration = std::move(specified);
  }
}

// ---- seams: the logging facility -------------------------------------------------

// Before a context-change reinitialisation.
void prepareLoggingFacilityForContextChange() {
  gGlobalLoggingFacility.prepareToReinitializeDueToContextChange();
}

// Steps 3 and 4 of the common reinitialisation: the global logging
// configuration is made anew from the runtime configuration (replacing the
// previous one), and the logging facility is set up from it.
void reinitializeLoggingFacility(const ProcessContextInfo& currentContext) {
  try {
    gGlobalLoggingConfiguration = std::make_unique<HaldenConfiguration::LoggingConfiguration>(
        gGlobalRuntimeConfiguration.getLoggingConfiguration());
  } catch (...) {
    // Out of memory: the facility keeps its configuration.
    return;
  }
  gGlobalLoggingFacility.setProcessContextInfo(currentContext);
  gGlobalLoggingFacility.reinitializeDueToContextChange(*gGlobalLoggingConfiguration);
}

// Session start: the global logging configuration is marked as in use, the
// facility counts the session.
void notifyLoggingFacilitySessionStarted() {
  if (gGlobalLoggingConfiguration && !gGlobalLoggingConfiguration->isInUse()) {
    gGlobalLoggingConfiguration->setInUse();
  }
  gGlobalRuntimeConfiguration.notifyApplicationSessionStarted();
  gGlobalLoggingFacility.notifyApplicationSessionStarted();
}

// Session end: the facility writes everything (and stops its background
// thread when this was the last session).
void notifyLoggingFacilitySessionEnded() {
  gGlobalLoggingFacility.notifyApplicationSessionEnded();
}

// ---- the session operations' common parts ----------------------------------------

void commonReinitialization(const ProcessContextInfo& currentContext, std::optional<SpecifiedConfiguration>&& specified,
                            bool restoreOriginal) {
  gGlobalErrorDisplayFacility.reinitializeDueToContextChange();
  reinitializeRuntimeConfiguration(currentContext, std::move(specified), restoreOriginal);
  reinitializeLoggingFacility(currentContext);
  gGlobalExceptionFacility.reinitializeDueToContextChange();
  gGlobalAssertionFacility.reinitializeDueToContextChange();
  ++g_reinitializationCount;
}

void markSessionStarted() {
  gGlobalErrorDisplayFacility.notifyApplicationSessionStarted();
  gGlobalExceptionFacility.notifyApplicationSessionStarted();
  gGlobalAssertionFacility.notifyApplicationSessionStarted();
  notifyLoggingFacilitySessionStarted();
  ++g_sessionStartCount;
}

void startWithSpecifiedConfiguration(SpecifiedConfiguration&& specified) {
  commonReinitialization(ProcessContextInfo::captureCurrent(), std::move(specified), false);
  markSessionStarted();
}

}  // namespace

namespace LowLevelFacilitiesGlobals {

void startApplicationSessionForGlobalFacilitiesInContext(const ProcessContextInfo& currentContext) {
  if (!g_capturedProcessContextInfo.has_value() || !g_capturedProcessContextInfo->isSameContextAs(currentContext) ||
      gGlobalRuntimeConfiguration.hasContextInformationChangedSince(currentContext)) {
    prepareLoggingFacilityForContextChange();
    // A context change keeps the configuration the caller chose, if any (the
    // runtime configuration rebuilds itself the way it was built).
    commonReinitialization(currentContext, std::nullopt, false);
  }
  markSessionStarted();
}

void startApplicationSessionForGlobalFacilities() {
  startApplicationSessionForGlobalFacilitiesInContext(ProcessContextInfo::captureCurrent());
}

void startApplicationSessionForGlobalFacilitiesWithSpecifiedConfiguration(const std::string& configurationText,
                                                                          const std::string& sourceDescription) {
  startWithSpecifiedConfiguration(SpecifiedConfiguration{configurationText, sourceDescription});
}

void startApplicationSessionForGlobalFacilitiesWithSpecifiedConfiguration(std::istream& configurationStream,
                                                                          const std::string& sourceDescription) {
  std::string text((std::istreambuf_iterator<char>(configurationStream)), std::istreambuf_iterator<char>());
  startWithSpecifiedConfiguration(SpecifiedConfiguration{std::move(text), sourceDescription});
}

void startApplicationSessionForGlobalFacilitiesAndRestoreOriginalConfiguration() {
  commonReinitialization(ProcessContextInfo::captureCurrent(), std::nullopt, true);
  markSessionStarted();
}

void endApplicationSessionForGlobalFacilities() {
  notifyLoggingFacilitySessionEnded();
  ++g_sessionEndCount;
}

void endApplicationSessionForGlobalFacilitiesPriorToApplicationExit() {
  commonReinitialization(ProcessContextInfo::captureCurrent(), std::nullopt, true);
  endApplicationSessionForGlobalFacilities();
}

ExceptionFacility& getExceptionFacility() noexcept {
  return gGlobalExceptionFacility;
}

HaldenAssertion::AssertionFacility& getAssertionFacility() noexcept {
  return gGlobalAssertionFacility;
}

ErrorDisplayFacility& getErrorDisplayFacility() noexcept {
  return gGlobalErrorDisplayFacility;
}

HaldenLogging::LoggingFacility& getLoggingFacility() noexcept {
  return gGlobalLoggingFacility;
}

HaldenConfiguration::RuntimeConfiguration& getRuntimeConfiguration() noexcept {
  return gGlobalRuntimeConfiguration;
}

HaldenConfiguration::MeridianRuntimeConfigurationHost& getRuntimeConfigurationHost() noexcept {
  return gRuntimeConfigurationHost;
}

const HaldenConfiguration::LoggingConfiguration* tryGetGlobalLoggingConfiguration() noexcept {
  return gGlobalLoggingConfiguration.get();
}

IPlatformUtilities* tryGetPlatformUtilities() noexcept {
  return g_platformUtilitiesAlive.load(std::memory_order_acquire) ? &g_platformUtilities : nullptr;
}

bool hasCapturedProcessContextInfo() noexcept {
  return g_capturedProcessContextInfo.has_value();
}

ProcessContextInfo getCapturedProcessContextInfo() {
  return g_capturedProcessContextInfo.value_or(ProcessContextInfo());
}

SessionDiagnostics getSessionDiagnostics() noexcept {
  return {g_reinitializationCount, g_sessionStartCount, g_sessionEndCount, g_specifiedConfiguration.has_value()};
}

std::string getSpecifiedConfigurationSourceDescription() {
  return g_specifiedConfiguration.has_value() ? g_specifiedConfiguration->sourceDescription : std::string();
}

}  // namespace LowLevelFacilitiesGlobals

namespace HaldenLogging {

LoggingFacility& getGlobalLoggingFacility() noexcept {
  return gGlobalLoggingFacility;
}

}  // namespace HaldenLogging
