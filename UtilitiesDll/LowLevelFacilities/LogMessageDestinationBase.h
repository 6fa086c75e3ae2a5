#pragma once
// HaldenLogging::LogMessageDestinationBase: one named place where log lines
// go, and the factory over its six kinds:
//
//   type word            class                                      writes to
//   "file"               LogMessageDestinationFile                  a log file
//   "stderr"             LogMessageDestinationStderr                the standard error stream
//   "stdout"             LogMessageDestinationStdout                the standard output stream
//   "outputdebugstring"  LogMessageDestinationOutputDebugString     the debugger channel
//   "null"               LogMessageDestinationNull                  nothing
//   "stringstream"       LogMessageDestinationStringStream          an in-memory std::stringstream
//
// A destination holds its type, its name, its effective LoggingOptions, its
// enabled flag and its applicable-contexts set, and the services of the
// facility that feeds it. The facility hands it each message it accepted
// (processLogMessage); the destination builds the line from its format
// options and writes it. Writes to one destination are serialised by its own
// lock, so any thread may feed it; a destination disabled after a failure
// (the file destination's open and write errors) drops messages from then on
// while the others go on.
//
// Line layout (each field only when its show- option is on, each followed by
// one blank):
//   date           "2024-05-17"                              show-date
//   time           "14:03:07" or "14:03:07.123"              show-time, use-millisecond-precision
//   computer name  "%*.*s" min/max-computer-name-width       show-computer-name
//   process name   "%*.*s" min/max-process-name-width        show-process-name
//   process id     "0x%0*x", 6 digits                        show-process-id
//   thread id      "0x%0*x", 6 digits                        show-thread-id
//   level          "[%d]"                                    show-verbosity-level
//   file and line  "%*.*s" of the file name (after the last "\" or "/"),
//                  min/max-file-name-width, then "(%d)"      show-file-name, show-line-number
//                  (the line alone, "(%d)", when show-file-name is off)
//   method         "%*.*s" min/max-method-name-width         show-method-name
//   categories     "[ XC_ERR XC_TRACE ]"                     troubleshoot-debug-logging-categories
// then indent-string once per indent level of the logging thread, the
// message text (cut to max-message-width bytes at a character boundary; in
// its obscured form under obfuscate-log-messages, LogLineObscurer.h), and
// line-ending-chars. Times are the local time of the moment the message was
// made. "%*.*s": padded on the left to the minimum width, cut to the maximum
// width (0 = no maximum). Building a line allocates nothing while it fits
// 1,023 bytes.
//
// Filtering (LoggingFacility.h tells the whole filter): a destination admits
// a message whose level is not above its max-verbosity-level and whose
// categories M meet its allowed mask A (included less excluded categories):
//  - with the categories complete: (require-only-subset-of-categories and
//    A and M share a bit) or every bit of M is in A or XC_ERR is in both;
//  - with the categories possibly incomplete (the call site's early check):
//    the same, except that require-only-subset-of-categories admits on its
//    own.

#include "LowLevelFacilities/FormatStringBuffer.h"
#include "LowLevelFacilities/LogMessage.h"
#include "LowLevelFacilities/LoggingConfigurationReportSink.h"
#include "LowLevelFacilities/LoggingContextualOptions.h"
#include "LowLevelFacilities/LoggingOptions.h"
#include "hdUtilitiesExport.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace cpptoml {
class base;
class table;
}  // namespace cpptoml

namespace HaldenLogging {
class ILogMessageDestinationServices;
}

namespace HaldenConfiguration {

enum DestinationTypesEnum : int {
  DTE_FILE = 0,
  DTE_STDERR = 1,
  DTE_STDOUT = 2,
  DTE_OUTPUTDEBUGSTRING = 3,
  DTE_NULL = 4,
  DTE_STRINGSTREAM = 5,
  DTE_NUMBER_OF_TYPES = 6,
};

// The configuration word of a type ("file", ...); "" for a value outside the enumeration.
HDU_API const char* getDestinationTypeWord(int type) noexcept;
// The type of a configuration word (exact, lower case); false when unknown.
HDU_API bool tryGetDestinationTypeFromWord(const std::string& word, DestinationTypesEnum& type) noexcept;

}  // namespace HaldenConfiguration

namespace HaldenLogging {

// A message together with the line built for one destination.
struct FormattedLogMessage {
  const LogMessage* message = nullptr;
  InternalHaldenCP::FormatStringBuffer<1024> line;
};

class HDU_API LogMessageDestinationBase {
 public:
  LogMessageDestinationBase(HaldenConfiguration::DestinationTypesEnum type, const std::string& name,
                            const HaldenConfiguration::LoggingOptions& options);
  virtual ~LogMessageDestinationBase();
  LogMessageDestinationBase& operator=(const LogMessageDestinationBase&) = delete;

  // The factory. An unknown type is reported under
  // "LogMessageDestinationBase::createLogMessageDestination()" with
  // "Unknown DestinationTypesEnum supplied: <value>" and yields null.
  static std::unique_ptr<LogMessageDestinationBase> createLogMessageDestination(
      HaldenConfiguration::DestinationTypesEnum type, const std::string& name,
      const HaldenConfiguration::LoggingOptions& options, HaldenConfiguration::ILoggingConfigurationReportSink& sink);
  static std::unique_ptr<LogMessageDestinationBase> createLogMessageDestination(
      HaldenConfiguration::DestinationTypesEnum type, const std::string& name,
      const HaldenConfiguration::LoggingOptions& options);

  // A new destination of the same kind with the same type, name, options,
  // enabled flag and applicable contexts; not yet given services, with
  // nothing written (a file destination has not opened its file).
  virtual std::unique_ptr<LogMessageDestinationBase> Clone() const = 0;

  // ---- virtual operations, in slot order after the destructor ----
  // Whether the line ends with line-ending-chars (true here).
  virtual bool includeLineTerminationCharacters() const;
  // Nothing here; the file destination works out its file name.
  virtual void initializeFromLogMessageDestinationServices(ILogMessageDestinationServices& services);
  virtual void notifyApplicationSessionStarted();
  // Nothing here; buffered destinations push out what they hold.
  virtual void notifyApplicationSessionEnded();
  // The bytes to write for a formatted message: the whole line.
  virtual std::pair<const char*, unsigned int> getFormattedMessageCharArrayAndSizeForWriting(
      const FormattedLogMessage& message);
  virtual void writeMessage(const FormattedLogMessage& message) = 0;
  // Pushes out anything buffered (nothing here). Called under the write lock.
  virtual void flushBufferedOutput();

  // ---- state ----
  HaldenConfiguration::DestinationTypesEnum getDestinationType() const noexcept { return m_type; }
  const char* getDestinationTypeWord() const noexcept;
  const std::string& getDestinationName() const noexcept { return m_name; }
  const HaldenConfiguration::LoggingOptions& getOptions() const noexcept { return m_options; }
  bool isDestinationEnabled() const noexcept { return m_enabled.load(std::memory_order_relaxed); }
  void enableDestination() noexcept { m_enabled.store(true, std::memory_order_relaxed); }
  void disableDestination() noexcept { m_enabled.store(false, std::memory_order_relaxed); }
  // Enabled exactly when the effective enable-logging option is true.
  void updateEnabledFlagFromOptions() noexcept;

  // Gives the destination the services of the facility that will feed it:
  // builds the cached line pieces, then initializeFromLogMessageDestinationServices.
  void setLogMessageDestinationServices(ILogMessageDestinationServices& services);
  ILogMessageDestinationServices* getLogMessageDestinationServices() const noexcept { return m_services; }

  // ---- options ----
  // Replaces the options (and the enabled flag follows enable-logging).
  void setOptions(const HaldenConfiguration::LoggingOptions& options);
  // Overrides only the options the source specifies.
  void applySpecifiedOptionValues(const HaldenConfiguration::LoggingOptions& options);
  // The same for an entry's options, when the entry affects this destination
  // (isAffectedBy); its contexts are appended to the applicable set.
  void applySpecifiedOptionValues(const HaldenConfiguration::LoggingContextualOptions& contextualOptions);
  // The same from the option keys of a TOML table (`tablePath` names it in
  // reports; keys that are not option keys are reported as unknown unless
  // they are "type" or "inherit-original-destination-contexts").
  void applySpecifiedOptionValues(const cpptoml::table& table, const std::string& tablePath,
                                  HaldenConfiguration::ILoggingConfigurationReportSink& sink);
  bool isAffectedBy(const HaldenConfiguration::LoggingContextualOptions& contextualOptions) const;

  // The contexts of the contextual entries that shaped this destination's
  // options; empty means the destination's options hold in all contexts.
  // Clearing the set while the destination is disabled reports, under
  // "LogMessageDestinationBase::clearApplicableContextsSet()", "The
  // applicable context set is clear, which is the same as saying this
  // destination applies to all contexts. However, the method to update the
  // flag says the destination is now disabled." (a warning, to `sink`).
  void clearApplicableContextsSet(HaldenConfiguration::ILoggingConfigurationReportSink& sink);
  void clearApplicableContextsSet();
  void appendApplicableContextsSet(HaldenConfiguration::LoggingContextsSet&& contexts);
  // Replaces the set; reports nothing (the configuration rebuilds it this way).
  void replaceApplicableContextsSet(HaldenConfiguration::LoggingContextsSet&& contexts);
  const HaldenConfiguration::LoggingContextsSet& getApplicableContextsSet() const noexcept {
    return m_applicableContexts;
  }

  // ---- filtering ----
  bool isMessageContextWithPossiblyIncompleteCategoriesAllowed(signed char level,
                                                               unsigned long long categories) const noexcept;
  bool isMessageContextWithCompleteCategoriesAllowed(signed char level, unsigned long long categories) const noexcept;

  // ---- writing ----
  // Under the destination's lock: when enabled, builds the line and writes it.
  void processLogMessage(const LogMessage& message);
  // Under the destination's lock: flushBufferedOutput.
  void flush();
  // Builds the line for `message` into `formatted` (see the layout above).
  void formatLogMessage(const LogMessage& message, FormattedLogMessage& formatted);

 protected:
  LogMessageDestinationBase(const LogMessageDestinationBase& other);
  // Reports an internal failure through the services (the low-level route
  // when there are none).
  void reportLoggingInternalsError(const char* title, const char* text) const noexcept;

 private:
  HaldenConfiguration::DestinationTypesEnum m_type;
  std::string m_name;
  HaldenConfiguration::LoggingOptions m_options;
  std::atomic<bool> m_enabled{true};
  HaldenConfiguration::LoggingContextsSet m_applicableContexts;
  ILogMessageDestinationServices* m_services = nullptr;

  std::mutex m_writeMutex;
  FormattedLogMessage m_formatted;
  std::int64_t m_cachedSecond = INT64_MIN;
  char m_cachedDate[11] = {};
  char m_cachedTime[9] = {};
};

}  // namespace HaldenLogging
