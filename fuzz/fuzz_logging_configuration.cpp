// Fuzz target: the logging configuration reader. The input is TOML text; it
// is applied over the configuration built into the library, as the driver
// applies a user's Config.toml, for a process context chosen by the first
// byte (warm-up, build, platform).
//
// The only outcomes allowed are a configuration and reports: nothing may be
// thrown out of the reader, and every report must have a title and a text.
// The result is then read the way a checker reads it (every option of the
// facility and of every destination, the contextual-options evaluations),
// and, when it writes only to memory, a facility is set up from it and one
// message goes through the line layout.

#include "LowLevelFacilities/IPlatformUtilities.h"
#include "LowLevelFacilities/LoggingConfiguration.h"
#include "LowLevelFacilities/LoggingFacility.h"
#include "LowLevelFacilities/RuntimeConfiguration.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

void require(bool condition) {
  if (!condition) {
    __builtin_trap();
  }
}

class QuietPlatform : public IPlatformUtilities {
 public:
  std::string getComputerNameForLowLevelUtilities() override { return "FUZZ"; }
  void displayDebugMessageForLowLevelUtilities(const char* title, const char* text) const override {
    require(title != nullptr && text != nullptr);
  }
  CXString GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(const CXString&) override { return {}; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace HaldenConfiguration;
  const std::uint8_t selector = size > 0 ? data[0] : 0;
  const std::string text = size > 0 ? std::string(reinterpret_cast<const char*>(data) + 1, size - 1) : std::string();

  LoggingSelectionContext context;
  context.processName = (selector & 1) != 0 ? "spoolsv.exe" : "PrintConfig.exe";
  context.build = (selector & 2) != 0 ? "release" : "debug";
  context.platform = (selector & 4) != 0 ? "linux" : "windows";
  context.warmupMode = (selector & 8) != 0;
  context.unitTests = (selector & 16) != 0;

  CollectingReportSink sink;
  LoggingConfiguration configuration(context);
  try {
    configuration.applyLoggingConfigurationFromText(RuntimeConfiguration::getBuiltInConfigurationText(),
                                                    RuntimeConfiguration::getBuiltInConfigurationSourceName(), sink);
    require(sink.getReports().empty());
    configuration.applyLoggingConfigurationFromText(text, "fuzz.toml", sink);
  } catch (...) {
    require(false);  // the reader never throws
  }
  for (const ConfigurationReport& report : sink.getReports()) {
    require(!report.title.empty() && !report.text.empty());
  }

  // Read everything a checker would.
  bool memoryOnly = true;
  std::size_t characters = 0;
  for (int id = 0; id < LOID_NUMBER_OF_OPTIONS; ++id) {
    characters += configuration.getFacilityOptions().getOptionValueDisplayString(id).size();
  }
  for (std::size_t i = 0; i < configuration.getNumberOfDestinations(); ++i) {
    const HaldenLogging::LogMessageDestinationBase& destination = configuration.getDestination(i);
    const DestinationTypesEnum type = destination.getDestinationType();
    memoryOnly = memoryOnly && (type == DTE_NULL || type == DTE_STRINGSTREAM);
    for (int id = 0; id < LOID_NUMBER_OF_OPTIONS; ++id) {
      characters += destination.getOptions().getOptionValueDisplayString(id).size();
    }
    require(destination.getOptions().getAllowedCategories() ==
            (destination.getOptions().getIncludedCategories() & ~destination.getOptions().getExcludedCategories()));
  }
  for (const ContextualOptionsEvaluation& evaluation : configuration.getContextualOptionsEvaluations()) {
    characters += evaluation.explanation.size() + evaluation.affectedDestinations.size();
  }
  require(characters > 0);

  // Through the facility, when nothing leaves the process.
  if (memoryOnly && configuration.getNumberOfDestinations() <= 8) {
    QuietPlatform platform;
    HaldenLogging::LoggingFacility facility(platform, configuration, ProcessContextInfo());
    facility.beginLoggingIndentScopeForThisThread();
    HDU_LOG_TO(facility, 0, XC_ERR | XC_TRACE, "fuzzed %s %d", "message", 42);
    facility.endLoggingIndentScopeForThisThread();
    facility.processAllPendingMessagesImmediately();
  }
  return 0;
}
