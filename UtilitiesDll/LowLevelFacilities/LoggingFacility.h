#pragma once
// HaldenLogging::LoggingFacility: takes messages from every module, each with
// a verbosity level, a category mask and a source location, filters them
// against the logging configuration and hands those that pass to the
// configured destinations, on the logging thread or through the background
// thread. The process-wide instance is gGlobalLoggingFacility
// (getGlobalLoggingFacility()); the session operations of
// LowLevelFacilitiesGlobals drive it. Other instances (tests, tools) work the
// same way on their own destinations.
//
// Logging from code: the macros at the end check the filter before the text
// is formatted, so a call that is filtered out builds nothing:
//   HDU_LOG(3, XC_ATTRIBUTES, "imported %u records from %s", count, name);
//   HDU_LOG_ERROR("cannot open %s", path);          // level 0, XC_ERR
//
// The filter, in order:
//  1. The initialisation marker must hold 0x0FAB0FAB (calls before
//     construction or after destruction of the instance are refused quietly),
//     the calling thread's logging-disabled counter must be 0, and the
//     configuration must have logging enabled.
//  2. A level above the facility's max-verbosity-level is refused.
//  3. The destinations enabled at the last reinitialisation are walked in
//     configuration order; the first that admits the message (level not above
//     its own maximum, categories as told in LogMessageDestinationBase.h)
//     accepts it. The call-site check uses the categories as given at the
//     call ("possibly incomplete"); addLogMessage then completes them and
//     each destination checks again with the complete mask before writing.
//
// Complete categories (getCompleteCategoriesForThisThread). While an
// execution context is in force on a thread, that is from its lifetime's
// construction to its destruction, whatever is pushed above it meanwhile,
// logging from the thread filters on the context's categories
// (GetDebugLoggingCategoriesToFilterOn) as well as the message's own. The
// complete mask is the union of the message's own categories and those of
// every context on the thread's two stacks, general and constraint, outer
// and inner alike, with one exception: a context's XC_ERR bit is left out,
// because whether a message is an error is the call's own business. So:
//  - a destination with require-only-subset-of-categories that admits a
//    context's category receives everything logged while that context is in
//    force, and nothing for that reason outside it;
//  - a destination that excludes a context's category receives nothing that
//    is logged while the context is in force, except errors;
//  - contexts on other threads take no part; a message queued for the
//    background thread carries the categories completed on the thread that
//    logged it.
// The complete mask only ever adds bits to the call's own, and never XC_ERR,
// so a message that the complete check admits has passed the call-site
// check as well: the early check never refuses what the complete check
// would admit. Reading the stacks (a walk over a few shared pointers, no
// allocation, nothing made for a thread that has no stacks) happens in
// addLogMessage only, after the call-site check has passed; a call that is
// filtered out never looks at them.
// The call-site macros add one more, inline check in front of all this: a
// process-wide word (gLoggingCallSiteGate) kept by the global instance says
// whether it logs at all and up to which level, so that a call above the
// level, or any call while logging is off, costs one load and one compare.
//
// Threads. Any thread may log. The filter reads the configuration, which
// changes only at a reinitialisation (with no sessions active, from one
// thread), and the calling thread's own counters; it takes no lock.
// Destinations with use-background-thread get their records through a
// LogMessageQueue served by one background thread (LogMessageProcessor.h);
// the others are written on the logging thread. The background thread runs
// while application sessions are active: it starts with the first session
// and stops, after writing everything, when the last one ends, at a
// reinitialisation and when the facility is destroyed; outside sessions such
// destinations are written on the logging thread. So every message logged is
// written by the end of the session in which it was logged, and by unload at
// the latest. A library must not be unloaded (FreeLibrary) while a session
// with a background-thread destination is still active: the background
// thread cannot end while the loader lock is held.
//
// Messages logged by a destination while it writes (from a report it causes)
// are refused, so a failing destination cannot feed itself.
//
// Failures are never thrown from logging: a text that cannot be formatted is
// logged as "<unformattable log message: ...>", a destination that fails is
// disabled (LogMessageDestinationFile.h), and misuse is reported under
// "Logging Internals Error" through the platform utilities' low-level route,
// then ignored:
//   "The 'logging disabled' counter was already 0 when this method was
//   called! Ignoring the attempt to set it."
//   "The 'logging indent level' counter was already 0 when this method was
//   called! Ignoring the attempt to set it."
//   "The 'application sessions' counter was already 0 when this method was
//   called! Ignoring the attempt to set it."
//   "The 'application sessions' counter isn't 0 when this method was called!
//   Only expect to reinitialize due to a context change when there are NO
//   active application sessions."
// A destination written on the logging thread without an unthreaded
// processor reports, under "LoggingFacility::addLogMessageWorker()", "There's
// no LogMessageProcessor for 'unthreaded' message destinations, but somehow
// we got to the point where we are expecting to find one. Should never get
// here." (a consistency check; it cannot happen with this class's own
// set-up).
//
// At most kMaximumFilteredDestinations destinations are used; further ones
// are reported under "Logging Internals Error" and left out.

#include "DebuggingAndExceptions/DebugContext.h"
#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/ILogMessageDestinationServices.h"
#include "LowLevelFacilities/IPlatformUtilities.h"
#include "LowLevelFacilities/LogMessage.h"
#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "LowLevelFacilities/LogMessageProcessor.h"
#include "LowLevelFacilities/LogMessageQueue.h"
#include "LowLevelFacilities/LoggingConfiguration.h"
#include "LowLevelFacilities/ProcessContextInfo.h"
#include "hdUtilitiesExport.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace HaldenLogging {

// The global instance's call-site gate: 0 while it logs nothing, otherwise
// its max-verbosity-level + 129 (1 to 256).
extern HDU_API std::atomic<int> gLoggingCallSiteGate;

inline bool isLogLevelOpenAtCallSite(signed char level) noexcept {
  return static_cast<int>(level) + 128 < gLoggingCallSiteGate.load(std::memory_order_relaxed);
}

class HDU_API LoggingFacility : public ILogMessageDestinationServices {
 public:
  enum : std::uint32_t { kInitializationMarker = 0x0FAB0FAB };
  enum : unsigned { kMaximumFilteredDestinations = 32 };

  LoggingFacility(IPlatformUtilities& platformUtilities, HaldenConfiguration::LoggingConfiguration& configuration,
                  const ProcessContextInfo& processContextInfo);
  // Moves take over the other's configuration, destinations and sessions;
  // the other is left uninitialised.
  LoggingFacility(LoggingFacility&& other) noexcept;
  LoggingFacility& operator=(LoggingFacility&& other) noexcept;
  // Refuses new messages, waits for messages being added, writes everything
  // queued, stops the background thread and closes the destinations.
  ~LoggingFacility() override;

  bool isInitialized() const noexcept {
    return m_initializationMarker.load(std::memory_order_acquire) == kInitializationMarker;
  }
  bool isInitializedAndEnabled() const noexcept;
  bool isInitializedAndEnabledAndMessageContextAllowed_CategoriesMayBeIncomplete(
      signed char level, unsigned long long categories) const noexcept;

  // Formats the text (printf-style, Formatter.h) and adds the message.
  // Re-checks the marker; never throws.
  template <class... Args>
  void addLogMessage(signed char level, DebugContextReference&& site, unsigned long long categories, const char* format,
                     const Args&... args) noexcept {
    if (!isInitialized()) {
      return;
    }
    LogMessage message(level, site, categories, getLoggingIndentLevelForThisThread());
    try {
      InternalHaldenCP::formatIntoBuffer(message.getTextBuffer(), format, args...);
    } catch (const std::exception& error) {
      setUnformattableText(message, format, error.what());
    } catch (...) {
      setUnformattableText(message, format, "unknown failure");
    }
    addLogMessageWorker(message);
  }
  // The same without categories of the message's own (XC_NONE).
  template <class... Args>
  void addLogMessage(signed char level, DebugContextReference&& site, const char* format,
                     const Args&... args) noexcept {
    addLogMessage(level, DebugContextReference(site), XC_NONE, format, args...);
  }
  // Adds a message whose record the caller built (text and all).
  void addLogMessageWorker(LogMessage& message) noexcept;

  LogMessageDestinationBase* getEnabledDestinationByName(const char* name) const noexcept;
  LogMessageDestinationBase* getEnabledDestinationByName(const std::string& name) const noexcept;
  // Any destination of that name, enabled or not (for checks and tests).
  LogMessageDestinationBase* getDestinationByName(const std::string& name) const noexcept;
  const HaldenConfiguration::LoggingConfiguration& getLoggingConfiguration() const noexcept { return m_configuration; }

  // ---- the calling thread's counters ----
  void beginLoggingDisabledScopeForThisThread() noexcept;
  void endLoggingDisabledScopeForThisThread() noexcept;
  void beginLoggingIndentScopeForThisThread() noexcept;
  void endLoggingIndentScopeForThisThread() noexcept;
  bool loggingEnabledPerScopeCounter() const noexcept;
  static int getLoggingDisabledCounterForThisThread() noexcept;
  static int getLoggingIndentLevelForThisThread() noexcept;
  // The message's categories completed with those of the contexts in force
  // on the calling thread (see "Complete categories" above).
  static unsigned long long getCompleteCategoriesForThisThread(unsigned long long messageCategories) noexcept;

  // ---- sessions and context changes ----
  void notifyApplicationSessionStarted() noexcept;
  void notifyApplicationSessionEnded() noexcept;
  int getNumberOfApplicationSessions() const noexcept { return m_applicationSessions; }
  void setOneTimeApplicationInitializationFlag() noexcept { m_oneTimeApplicationInitializationFlag = true; }
  bool isOneTimeApplicationInitializationFlagSet() const noexcept { return m_oneTimeApplicationInitializationFlag; }
  // Reports when sessions are active; writes everything pending.
  void prepareToReinitializeDueToContextChange() noexcept;
  // Writes everything pending, closes the destinations, takes a copy of the
  // configuration and sets its destinations up anew (the background thread
  // starts again when sessions are active).
  void reinitializeDueToContextChange(HaldenConfiguration::LoggingConfiguration& configuration) noexcept;
  // The context the facility was last set up for (file-name variables, ids).
  void setProcessContextInfo(const ProcessContextInfo& processContextInfo) {
    m_processContextInfo = processContextInfo;
  }

  // ---- thread-exclusive output (LogMessageQueue.h) ----
  void startExclusivityForThread(std::thread::id thread) noexcept;
  void endExclusivityForThread(std::thread::id thread) noexcept;

  // Writes everything queued on the calling thread and pushes out every
  // destination's buffer.
  void processAllPendingMessagesImmediately() noexcept;
  // Waits until the background thread has handed every message queued
  // before the call to its destinations (a file destination may still hold
  // the bytes in its buffer; records held back by thread-exclusive output
  // wait for their turn); writes them on the calling thread when the
  // background thread is not running.
  void waitUntilQueuedMessagesAreWritten() noexcept;
  bool isBackgroundThreadRunning() const noexcept;

  // The global instance keeps gLoggingCallSiteGate up to date.
  void attachCallSiteGate(std::atomic<int>* gate) noexcept;

  // ---- ILogMessageDestinationServices ----
  std::string getUserConfigurationHomeDirectoryPath() override;
  std::string getProcessIdAsHexString() override;
  std::string getProcessIdAsDecimalString() override;
  std::string getProcessName() override;
  std::string getComputerName() override;
  int getThreadIdWidthAsHexString() override;
  int getThreadIdWidthAsDecimalString() override;
  void reportLoggingInternalsError(const char* title, const char* text) noexcept override;

 private:
  struct FilterEntry {
    signed char maxLevel;
    bool requireOnlySubset;
    unsigned long long allowedCategories;
  };

  static void setUnformattableText(LogMessage& message, const char* format, const char* reason) noexcept;
  void setUpDestinations() noexcept;
  void tearDownDestinations() noexcept;
  void waitForMessagesInFlight() const noexcept;
  void updateCallSiteGate() noexcept;
  std::uint32_t getProcessIdForDisplay() const noexcept;

  IPlatformUtilities* m_platformUtilities;
  std::atomic<std::uint32_t> m_initializationMarker{0};
  HaldenConfiguration::LoggingConfiguration m_configuration;
  ProcessContextInfo m_processContextInfo;
  int m_applicationSessions = 0;
  std::vector<std::unique_ptr<LogMessageDestinationBase>> m_destinations;
  std::unique_ptr<LogMessageQueue> m_queue;
  std::unique_ptr<UnthreadedLogMessageProcessor> m_unthreadedProcessor;
  std::unique_ptr<ThreadedLogMessageProcessor> m_threadedProcessor;
  bool m_oneTimeApplicationInitializationFlag = false;
  // Read by the filter without locks: data inside the object (no heap), the
  // words that change at a reinitialisation or destruction atomic, so that
  // threads still logging while the process exits read them safely.
  std::atomic<bool> m_loggingEnabled{false};
  bool m_hasUnthreadedDestinations = false;
  std::atomic<signed char> m_maxVerbosityLevel{0};
  std::atomic<unsigned> m_numberOfFilterEntries{0};
  FilterEntry m_filterEntries[kMaximumFilteredDestinations] = {};
  std::atomic<int>* m_callSiteGate = nullptr;
  mutable std::atomic<int> m_messagesInFlight{0};
};

// The process-wide instance (built with the library's static objects).
HDU_API LoggingFacility& getGlobalLoggingFacility() noexcept;

// The facilities' reports (caught exceptions, displayed errors, failed
// assertions) on their way to the log: whether the global facility is on and
// admits an XC_ERR message of level 0 from the calling thread, and the
// report logged as one ("<title>\n<text>"); false when it was not logged.
HDU_API bool isGlobalLoggingOnForReports() noexcept;
HDU_API bool logReportToGlobalLoggingFacility(const char* title, const char* text,
                                              const DebugContextReference& site) noexcept;

}  // namespace HaldenLogging

// Logs when the global facility admits the level and categories; the text is
// formatted only then.
#define HDU_LOG(level, categories, ...)                                                                    \
  do {                                                                                                     \
    const signed char hduLogLevel_ = static_cast<signed char>(level);                                      \
    if (::HaldenLogging::isLogLevelOpenAtCallSite(hduLogLevel_)) {                                         \
      ::HaldenLogging::LoggingFacility& hduLogFacility_ = ::HaldenLogging::getGlobalLoggingFacility();     \
      const unsigned long long hduLogCategories_ = static_cast<unsigned long long>(categories);            \
      if (hduLogFacility_.isInitializedAndEnabledAndMessageContextAllowed_CategoriesMayBeIncomplete(       \
              hduLogLevel_, hduLogCategories_)) {                                                          \
        hduLogFacility_.addLogMessage(hduLogLevel_, ::DebugContextReference(__FILE__, __LINE__, __func__), \
                                      hduLogCategories_, __VA_ARGS__);                                     \
      }                                                                                                    \
    }                                                                                                      \
  } while (false)

// An error: level 0, category XC_ERR.
#define HDU_LOG_ERROR(...) HDU_LOG(0, XC_ERR, __VA_ARGS__)

// The same against a given facility (tests, tools): no call-site gate.
#define HDU_LOG_TO(facility, level, categories, ...)                                                                   \
  do {                                                                                                                 \
    const signed char hduLogLevel_ = static_cast<signed char>(level);                                                  \
    const unsigned long long hduLogCategories_ = static_cast<unsigned long long>(categories);                          \
    if ((facility).isInitializedAndEnabledAndMessageContextAllowed_CategoriesMayBeIncomplete(hduLogLevel_,             \
                                                                                             hduLogCategories_)) {     \
      (facility).addLogMessage(hduLogLevel_, ::DebugContextReference(__FILE__, __LINE__, __func__), hduLogCategories_, \
                               __VA_ARGS__);                                                                           \
    }                                                                                                                  \
  } while (false)
