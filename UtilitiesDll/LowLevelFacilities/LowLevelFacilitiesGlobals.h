#pragma once
// LowLevelFacilitiesGlobals: the library's process-wide objects and the
// application-session operations.
//
// Process-wide objects, built when the library is loaded (static objects of
// LowLevelFacilitiesGlobals.cpp, in this order) and destroyed at unload: the
// driver's platform utilities (MeridianPlatformUtilities), the three facility
// hosts, then the ErrorDisplayFacility, the ExceptionFacility and the
// HaldenAssertion::AssertionFacility; and the ProcessContextInfo for which the
// facilities were last set up.
//
// Sessions. A calling application starts a session before it relies on
// logging or the runtime configuration and ends it as its last call; sessions
// may follow each other in one process, and a start without an end simply
// starts again. The operations take no lock: the application calls them from
// one thread.
//
// The context is captured by a session start, not at load: reading the user
// name can reach the security subsystem, which must not happen while the
// loader lock is held. The first session start therefore always sets the
// facilities up (nothing is captured yet); a later plain start does so only
// when the context has changed.
//
// The runtime configuration (gGlobalRuntimeConfiguration, with the driver's
// MeridianRuntimeConfigurationHost) and the logging facility
// (gGlobalLoggingFacility) are built with the other static objects, both
// empty: the first session start reads the configuration (built-in text,
// then the user's Config.toml) and sets logging up. A session start that
// finds a changed context (the runtime configuration's
// hasContextInformationChangedSince: process, user, application, or a
// changed warm-up mode) prepares the logging facility and reinitialises;
// the specified-configuration and restore variants, and the end before exit,
// always reinitialise (without the preparation, whose report is meant for
// context changes during active sessions). Every reinitialisation makes the
// global logging configuration anew from the runtime configuration and sets
// the logging facility up from it. A session end makes the logging facility
// write everything; the last one stops its background thread.

#include "DebuggingAndExceptions/AssertionFacility.h"
#include "DebuggingAndExceptions/ErrorDisplayFacility.h"
#include "DebuggingAndExceptions/ExceptionFacility.h"
#include "LowLevelFacilities/IPlatformUtilities.h"
#include "LowLevelFacilities/ProcessContextInfo.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <iosfwd>
#include <string>

namespace HaldenLogging {
class LoggingFacility;
}
namespace HaldenConfiguration {
class RuntimeConfiguration;
class MeridianRuntimeConfigurationHost;
class LoggingConfiguration;
}  // namespace HaldenConfiguration

namespace LowLevelFacilitiesGlobals {

// Starts a session: when the current ProcessContextInfo differs from the
// captured one (or none is captured), prepares the logging facility and runs
// the common reinitialisation; then sets the one-time application
// initialisation flag of each facility that is still clear and tells the
// logging facility that a session started.
HDU_API void startApplicationSessionForGlobalFacilities();
// Replaces the global runtime configuration by one built from the given TOML
// text (with a description of its source), reinitialises, starts a session.
HDU_API void startApplicationSessionForGlobalFacilitiesWithSpecifiedConfiguration(const std::string& configurationText,
                                                                                  const std::string& sourceDescription);
// The same, reading the TOML text from a stream (to its end).
HDU_API void startApplicationSessionForGlobalFacilitiesWithSpecifiedConfiguration(std::istream& configurationStream,
                                                                                  const std::string& sourceDescription);
// Always reinitialises from the original configuration, then starts a session.
HDU_API void startApplicationSessionForGlobalFacilitiesAndRestoreOriginalConfiguration();
// Tells the logging facility that the session has ended.
HDU_API void endApplicationSessionForGlobalFacilities();
// Reinitialises from the original configuration, then ends the session (just
// before the application exits, so that its last messages are written under
// the original settings).
HDU_API void endApplicationSessionForGlobalFacilitiesPriorToApplicationExit();

// ---- the process-wide objects ----
// Until the library's static objects are constructed (and after they are
// destroyed) the facilities' validity tags are 0 and they refuse every call;
// tryGetPlatformUtilities answers null then.
HDU_API ExceptionFacility& getExceptionFacility() noexcept;
HDU_API HaldenAssertion::AssertionFacility& getAssertionFacility() noexcept;
HDU_API ErrorDisplayFacility& getErrorDisplayFacility() noexcept;
HDU_API IPlatformUtilities* tryGetPlatformUtilities() noexcept;
// gGlobalLoggingFacility (also HaldenLogging::getGlobalLoggingFacility()).
HDU_API HaldenLogging::LoggingFacility& getLoggingFacility() noexcept;
// gGlobalRuntimeConfiguration and its host (gRuntimeConfigurationHost).
HDU_API HaldenConfiguration::RuntimeConfiguration& getRuntimeConfiguration() noexcept;
HDU_API HaldenConfiguration::MeridianRuntimeConfigurationHost& getRuntimeConfigurationHost() noexcept;
// The global logging configuration; null before the first reinitialisation.
HDU_API const HaldenConfiguration::LoggingConfiguration* tryGetGlobalLoggingConfiguration() noexcept;
// Whether a context has been captured, and the one captured by the last
// reinitialisation.
HDU_API bool hasCapturedProcessContextInfo() noexcept;
HDU_API ProcessContextInfo getCapturedProcessContextInfo();

// ---- diagnostics ----
struct SessionDiagnostics {
  std::uint32_t reinitializations;   // common reinitialisations run
  std::uint32_t sessionStarts;       // start operations (every variant)
  std::uint32_t sessionEnds;         // end operations (both variants)
  bool specifiedConfigurationInUse;  // the last reinitialisation used caller-supplied text
};
HDU_API SessionDiagnostics getSessionDiagnostics() noexcept;
// The source description of the caller-supplied configuration in use (empty
// when the original configuration is in use).
HDU_API std::string getSpecifiedConfigurationSourceDescription();

// The plain session start with the current context given by the caller
// (startApplicationSessionForGlobalFacilities passes
// ProcessContextInfo::captureCurrent()); lets a test present a changed context.
HDU_API void startApplicationSessionForGlobalFacilitiesInContext(const ProcessContextInfo& currentContext);

}  // namespace LowLevelFacilitiesGlobals
