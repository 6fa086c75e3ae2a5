#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"

#include "DebuggingAndExceptions/MeridianFacilityHosts.h"
#include "LowLevelFacilities/MeridianPlatformUtilities.h"

#include <atomic>
#include <istream>
#include <iterator>
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

// Step 2 of the common reinitialisation. With the runtime configuration in
// place this becomes gGlobalRuntimeConfiguration.reinitializeDueToContextChange()
// (which captures the context itself), or, when `specified` is given, building
// a RuntimeConfiguration from its text with the runtime-configuration host and
// the platform utilities, marking it as changed, and assigning it to
// gGlobalRuntimeConfiguration. Until then the context and the text are kept here.
void reinitializeRuntimeConfiguration(const ProcessContextInfo& currentContext,
                                      std::optional<SpecifiedConfiguration>&& specified) {
  g_capturedProcessContextInfo = currentContext;
  g_specifiedConfiguration = std::move(specified);
}

// ---- seams: the logging facility -------------------------------------------------

// Before a context-change reinitialisation:
// gGlobalLoggingFacility.prepareToReinitializeDueToContextChange().
void prepareLoggingFacilityForContextChange() {}

// Steps 3 and 4 of the common reinitialisation: create the global logging
// configuration from the global runtime configuration and the logging
// configuration host when none exists (installing it in place of any
// previous one), then gGlobalLoggingFacility.reinitializeDueToContextChange()
// with it.
void reinitializeLoggingFacility() {}

// Session start: set the "in use" flag byte of the global logging
// configuration if it is clear, then gGlobalLoggingFacility.notifyApplicationSessionStarted().
void notifyLoggingFacilitySessionStarted() {}

// Session end: gGlobalLoggingFacility.notifyApplicationSessionEnded().
void notifyLoggingFacilitySessionEnded() {}

// ---- the session operations' common parts ----------------------------------------

void commonReinitialization(const ProcessContextInfo& currentContext,
                            std::optional<SpecifiedConfiguration>&& specified) {
  gGlobalErrorDisplayFacility.reinitializeDueToContextChange();
  reinitializeRuntimeConfiguration(currentContext, std::move(specified));
  reinitializeLoggingFacility();
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
  prepareLoggingFacilityForContextChange();
  commonReinitialization(ProcessContextInfo::captureCurrent(), std::move(specified));
  markSessionStarted();
}

}  // namespace

namespace LowLevelFacilitiesGlobals {

void startApplicationSessionForGlobalFacilitiesInContext(const ProcessContextInfo& currentContext) {
  if (!g_capturedProcessContextInfo.has_value() || !g_capturedProcessContextInfo->isSameContextAs(currentContext)) {
    prepareLoggingFacilityForContextChange();
    // A context change keeps the configuration the caller chose, if any.
    std::optional<SpecifiedConfiguration> specified = g_specifiedConfiguration;
    commonReinitialization(currentContext, std::move(specified));
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
  prepareLoggingFacilityForContextChange();
  commonReinitialization(ProcessContextInfo::captureCurrent(), std::nullopt);
  markSessionStarted();
}

void endApplicationSessionForGlobalFacilities() {
  notifyLoggingFacilitySessionEnded();
  ++g_sessionEndCount;
}

void endApplicationSessionForGlobalFacilitiesPriorToApplicationExit() {
  prepareLoggingFacilityForContextChange();
  commonReinitialization(ProcessContextInfo::captureCurrent(), std::nullopt);
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
