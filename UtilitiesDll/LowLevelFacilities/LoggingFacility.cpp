#include "LowLevelFacilities/LoggingFacility.h"

#include "DebuggingAndExceptions/ConstraintExecutionContextStack.h"
#include "DebuggingAndExceptions/DebugUtilities.h"
#include "DebuggingAndExceptions/ExecutionContextStack.h"
#include "LowLevelFacilities/LoggingPlatform.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <chrono>
#include <cstring>
#include <utility>

namespace HaldenLogging {

std::atomic<int> gLoggingCallSiteGate{0};

namespace {

const char* const kInternalsErrorTitle = "Logging Internals Error";

// Plain ints: a thread_local object with a destructor must not live in the
// DLL (MinGW could not unload it then), and counters need none.
thread_local int t_loggingDisabledCounter = 0;
thread_local int t_loggingIndentLevel = 0;
// Above 0 while the thread writes to destinations: what it logs then is
// refused.
thread_local int t_insideDelivery = 0;

class DeliveryScope {
 public:
  DeliveryScope() noexcept { ++t_insideDelivery; }
  ~DeliveryScope() { --t_insideDelivery; }
  DeliveryScope(const DeliveryScope&) = delete;
  DeliveryScope& operator=(const DeliveryScope&) = delete;
};

class InFlightScope {
 public:
  explicit InFlightScope(std::atomic<int>& counter) noexcept : m_counter(counter) {
    m_counter.fetch_add(1, std::memory_order_seq_cst);
  }
  ~InFlightScope() { m_counter.fetch_sub(1, std::memory_order_acq_rel); }
  InFlightScope(const InFlightScope&) = delete;
  InFlightScope& operator=(const InFlightScope&) = delete;

 private:
  std::atomic<int>& m_counter;
};

}  // namespace

LoggingFacility::LoggingFacility(IPlatformUtilities& platformUtilities,
                                 HaldenConfiguration::LoggingConfiguration& configuration,
                                 const ProcessContextInfo& processContextInfo)
    : m_platformUtilities(&platformUtilities),
      m_configuration(configuration),
      m_processContextInfo(processContextInfo) {
  setUpDestinations();
  m_initializationMarker.store(kInitializationMarker, std::memory_order_seq_cst);
  updateCallSiteGate();
}

LoggingFacility::LoggingFacility(LoggingFacility&& other) noexcept
    : m_platformUtilities(other.m_platformUtilities), m_configuration(other.m_configuration.getSelectionContext()) {
  other.m_initializationMarker.store(0, std::memory_order_seq_cst);
  other.updateCallSiteGate();
  other.waitForMessagesInFlight();
  other.tearDownDestinations();
  try {
    m_configuration = other.m_configuration;
    m_processContextInfo = other.m_processContextInfo;
  } catch (...) {
    // Out of memory: this facility starts from the factory defaults.
  }
  m_applicationSessions = other.m_applicationSessions;
  m_oneTimeApplicationInitializationFlag = other.m_oneTimeApplicationInitializationFlag;
  other.m_applicationSessions = 0;
  setUpDestinations();
  m_initializationMarker.store(kInitializationMarker, std::memory_order_seq_cst);
  if (m_applicationSessions > 0 && m_threadedProcessor) {
    m_threadedProcessor->start();
  }
}

LoggingFacility& LoggingFacility::operator=(LoggingFacility&& other) noexcept {
  if (this != &other) {
    std::atomic<int>* gate = m_callSiteGate;
    this->~LoggingFacility();
    ::new (static_cast<void*>(this)) LoggingFacility(std::move(other));
    attachCallSiteGate(gate);
  }
  return *this;
}

LoggingFacility::~LoggingFacility() {
  // Atomic stores are never dropped, even into an object that ends its
  // life: code running during unload reads the marker afterwards.
  m_initializationMarker.store(0, std::memory_order_seq_cst);
  updateCallSiteGate();
  m_numberOfFilterEntries.store(0, std::memory_order_release);
  waitForMessagesInFlight();
  tearDownDestinations();
}

// ---- the filter --------------------------------------------------------------------------------

bool LoggingFacility::isInitializedAndEnabled() const noexcept {
  return isInitialized() && t_loggingDisabledCounter == 0 && m_loggingEnabled.load(std::memory_order_relaxed);
}

bool LoggingFacility::isInitializedAndEnabledAndMessageContextAllowed_CategoriesMayBeIncomplete(
    signed char level, unsigned long long categories) const noexcept {
  if (!isInitialized() || t_loggingDisabledCounter != 0 || !m_loggingEnabled.load(std::memory_order_relaxed) ||
      t_insideDelivery != 0) {
    return false;
  }
  if (level > m_maxVerbosityLevel.load(std::memory_order_relaxed)) {
    return false;
  }
  const unsigned entries = m_numberOfFilterEntries.load(std::memory_order_acquire);
  for (unsigned i = 0; i < entries; ++i) {
    const FilterEntry& entry = m_filterEntries[i];
    if (level > entry.maxLevel) {
      continue;
    }
    if (entry.requireOnlySubset || (categories & ~entry.allowedCategories) == 0 ||
        (categories & entry.allowedCategories & XC_ERR) != 0) {
      return true;
    }
  }
  return false;
}

unsigned long long LoggingFacility::getCompleteCategoriesForThisThread(unsigned long long messageCategories) noexcept {
  // The thread's own stacks, as they are: nothing is made for a thread that
  // has none (and nothing once the unload clean-up has begun).
  const UtilitiesDllPerThreadStorage* storage =
      UtilitiesDllPerThreadStorage::TryGetUtilitiesDllPerThreadStorageObject();
  if (storage == nullptr) {
    return messageCategories;
  }
  unsigned long long contextCategories = 0;
  if (const ExecutionContextStack* stack = storage->PeekExecutionContextStack()) {
    for (const ExecutionContextSharedPtr& context : stack->GetContexts()) {
      contextCategories |= context->GetDebugLoggingCategoriesToFilterOn();
    }
  }
  if (const ConstraintExecutionContextStack* stack = storage->PeekConstraintExecutionContextStack()) {
    for (const ConstraintExecutionContextSharedPtr& context : stack->GetContexts()) {
      contextCategories |= context->GetDebugLoggingCategoriesToFilterOn();
    }
  }
  // Whether a message is an error is the call's own business.
  return messageCategories | (contextCategories & ~static_cast<unsigned long long>(XC_ERR));
}

// ---- adding messages ---------------------------------------------------------------------------

void LoggingFacility::setUnformattableText(LogMessage& message, const char* format, const char* reason) noexcept {
  try {
    auto& text = message.getTextBuffer();
    text.clear();
    text.append("<unformattable log message: ");
    text.append(reason);
    text.append("; format \"");
    text.append(format != nullptr ? format : "");
    text.append("\">");
  } catch (...) {
    message.getTextBuffer().clear();
  }
}

void LoggingFacility::addLogMessageWorker(LogMessage& message) noexcept {
  if (t_insideDelivery != 0) {
    return;
  }
  // Counted before the marker is read again, both in sequential order, so
  // that a destructor that cleared the marker and then saw no message in
  // flight cannot miss this one.
  InFlightScope inFlight(m_messagesInFlight);
  if (m_initializationMarker.load(std::memory_order_seq_cst) != kInitializationMarker) {
    return;
  }
  PlatformFacilities::LastErrorPreserver preserveLastError;
  message.setCategories(getCompleteCategoriesForThisThread(message.getCategories()));
  DeliveryScope delivering;
  try {
    if (m_threadedProcessor &&
        m_threadedProcessor->isAcceptedBySomeDestination(message.getVerbosityLevel(), message.getCategories())) {
      m_threadedProcessor->addLogMessageWorkerWithThreadSynchronization(message);
    }
    if (!m_hasUnthreadedDestinations) {
      return;
    }
    if (!m_unthreadedProcessor) {
      reportLoggingInternalsError("LoggingFacility::addLogMessageWorker()",
                                  "There's no LogMessageProcessor for 'unthreaded' message destinations, but somehow "
                                  "we got to the point where we are expecting to find one. Should never get here.");
      return;
    }
    m_unthreadedProcessor->processLogMessage(message);
  } catch (...) {
    // Out of memory while queueing or writing: the message is lost, the
    // caller goes on.
  }
}

// ---- destinations ------------------------------------------------------------------------------

LogMessageDestinationBase* LoggingFacility::getEnabledDestinationByName(const char* name) const noexcept {
  if (name == nullptr) {
    return nullptr;
  }
  for (const auto& destination : m_destinations) {
    if (destination->isDestinationEnabled() && destination->getDestinationName() == name) {
      return destination.get();
    }
  }
  return nullptr;
}

LogMessageDestinationBase* LoggingFacility::getEnabledDestinationByName(const std::string& name) const noexcept {
  return getEnabledDestinationByName(name.c_str());
}

LogMessageDestinationBase* LoggingFacility::getDestinationByName(const std::string& name) const noexcept {
  for (const auto& destination : m_destinations) {
    if (destination->getDestinationName() == name) {
      return destination.get();
    }
  }
  return nullptr;
}

void LoggingFacility::setUpDestinations() noexcept {
  try {
    const HaldenConfiguration::LoggingOptions& facilityOptions = m_configuration.getFacilityOptions();
    const bool loggingEnabled = m_configuration.isLoggingEnabled();
    const signed char maxVerbosityLevel = facilityOptions.getMaxVerbosityLevel();
    m_queue = std::make_unique<LogMessageQueue>(*this);
    m_unthreadedProcessor = std::make_unique<UnthreadedLogMessageProcessor>();
    std::unique_ptr<ThreadedLogMessageProcessor> threaded;
    unsigned entries = 0;
    m_numberOfFilterEntries.store(0, std::memory_order_release);
    m_hasUnthreadedDestinations = false;
    for (std::size_t i = 0; i < m_configuration.getNumberOfDestinations(); ++i) {
      const LogMessageDestinationBase& original = m_configuration.getDestination(i);
      if (m_destinations.size() >= kMaximumFilteredDestinations) {
        const std::string text = "The destination '" + original.getDestinationName() + "' is left out: at most " +
                                 std::to_string(static_cast<unsigned>(kMaximumFilteredDestinations)) +
                                 " log message destinations are used.";
        // Not dispatched: this runs in the constructor too.
        LoggingFacility::reportLoggingInternalsError(kInternalsErrorTitle, text.c_str());
        continue;
      }
      std::unique_ptr<LogMessageDestinationBase> destination = original.Clone();
      destination->setLogMessageDestinationServices(*this);
      if (destination->isDestinationEnabled()) {
        const HaldenConfiguration::LoggingOptions& options = destination->getOptions();
        FilterEntry& entry = m_filterEntries[entries++];
        entry.maxLevel = options.getMaxVerbosityLevel();
        entry.requireOnlySubset = options.getRequireOnlySubsetOfCategories();
        entry.allowedCategories = options.getAllowedCategories();
      }
      if (destination->getOptions().getUseBackgroundThread()) {
        if (!threaded) {
          threaded = std::make_unique<ThreadedLogMessageProcessor>(*m_queue, *this,
                                                                   m_configuration.isThreadExclusiveOutputEnabled());
        }
        threaded->addDestination(*destination);
      } else {
        m_unthreadedProcessor->addDestination(*destination);
        m_hasUnthreadedDestinations = true;
      }
      m_destinations.push_back(std::move(destination));
    }
    m_threadedProcessor = std::move(threaded);
    m_maxVerbosityLevel.store(maxVerbosityLevel, std::memory_order_relaxed);
    m_loggingEnabled.store(loggingEnabled, std::memory_order_relaxed);
    m_numberOfFilterEntries.store(entries, std::memory_order_release);
    if (facilityOptions.getEnableLowLevelInternalsOutput()) {
      std::string text = "Logging set up for " + m_processContextInfo.getDisplayString() + ": logging " +
                         (loggingEnabled ? "on" : "off") + ", max-verbosity-level " +
                         std::to_string(static_cast<int>(maxVerbosityLevel)) + ", " +
                         std::to_string(m_destinations.size()) + " destination(s)";
      for (const auto& destination : m_destinations) {
        text += "\n  " + destination->getDestinationName() + " (" + destination->getDestinationTypeWord() + ", " +
                (destination->isDestinationEnabled() ? "enabled" : "disabled") + ")";
      }
      m_platformUtilities->displayDebugMessageForLowLevelUtilities("Logging Internals", text.c_str());
    }
  } catch (...) {
    // Out of memory: log nothing rather than fail the caller.
    m_numberOfFilterEntries.store(0, std::memory_order_release);
    m_loggingEnabled.store(false, std::memory_order_relaxed);
  }
}

void LoggingFacility::tearDownDestinations() noexcept {
  try {
    if (m_threadedProcessor) {
      m_threadedProcessor->stop();
    }
    if (m_unthreadedProcessor) {
      m_unthreadedProcessor->flush();
    }
  } catch (...) {
  }
  m_numberOfFilterEntries.store(0, std::memory_order_release);
  m_hasUnthreadedDestinations = false;
  m_threadedProcessor.reset();
  m_unthreadedProcessor.reset();
  m_destinations.clear();
}

void LoggingFacility::waitForMessagesInFlight() const noexcept {
  // Messages that passed the marker just before it was cleared finish first
  // (bounded: a thread stuck in a destination must not hang the unload).
  for (int round = 0; round < 2000 && m_messagesInFlight.load(std::memory_order_seq_cst) != 0; ++round) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void LoggingFacility::attachCallSiteGate(std::atomic<int>* gate) noexcept {
  m_callSiteGate = gate;
  updateCallSiteGate();
}

void LoggingFacility::updateCallSiteGate() noexcept {
  if (m_callSiteGate == nullptr) {
    return;
  }
  const bool open = isInitialized() && m_loggingEnabled.load(std::memory_order_relaxed) &&
                    m_numberOfFilterEntries.load(std::memory_order_acquire) != 0;
  m_callSiteGate->store(open ? static_cast<int>(m_maxVerbosityLevel.load(std::memory_order_relaxed)) + 129 : 0,
                        std::memory_order_relaxed);
}

// ---- per-thread counters -------------------------------------------------------------------

void LoggingFacility::beginLoggingDisabledScopeForThisThread() noexcept {
  ++t_loggingDisabledCounter;
}

void LoggingFacility::endLoggingDisabledScopeForThisThread() noexcept {
  if (t_loggingDisabledCounter > 0) {
    --t_loggingDisabledCounter;
    return;
  }
  reportLoggingInternalsError(kInternalsErrorTitle,
                              "The 'logging disabled' counter was already 0 when this method was called! Ignoring "
                              "the attempt to set it.");
}

void LoggingFacility::beginLoggingIndentScopeForThisThread() noexcept {
  ++t_loggingIndentLevel;
}

void LoggingFacility::endLoggingIndentScopeForThisThread() noexcept {
  if (t_loggingIndentLevel > 0) {
    --t_loggingIndentLevel;
    return;
  }
  reportLoggingInternalsError(kInternalsErrorTitle,
                              "The 'logging indent level' counter was already 0 when this method was called! "
                              "Ignoring the attempt to set it.");
}

bool LoggingFacility::loggingEnabledPerScopeCounter() const noexcept {
  return t_loggingDisabledCounter == 0;
}

int LoggingFacility::getLoggingDisabledCounterForThisThread() noexcept {
  return t_loggingDisabledCounter;
}

int LoggingFacility::getLoggingIndentLevelForThisThread() noexcept {
  return t_loggingIndentLevel;
}

// ---- sessions --------------------------------------------------------------------------------

void LoggingFacility::notifyApplicationSessionStarted() noexcept {
  if (!isInitialized()) {
    return;
  }
  ++m_applicationSessions;
  m_oneTimeApplicationInitializationFlag = true;
  try {
    for (const auto& destination : m_destinations) {
      destination->notifyApplicationSessionStarted();
    }
  } catch (...) {
  }
  if (m_threadedProcessor) {
    m_threadedProcessor->start();
  }
}

void LoggingFacility::notifyApplicationSessionEnded() noexcept {
  if (!isInitialized()) {
    return;
  }
  if (m_applicationSessions == 0) {
    reportLoggingInternalsError(kInternalsErrorTitle,
                                "The 'application sessions' counter was already 0 when this method was called! "
                                "Ignoring the attempt to set it.");
  } else {
    --m_applicationSessions;
  }
  try {
    for (const auto& destination : m_destinations) {
      destination->notifyApplicationSessionEnded();
    }
  } catch (...) {
  }
  if (m_applicationSessions == 0 && m_threadedProcessor) {
    m_threadedProcessor->stop();
  }
  processAllPendingMessagesImmediately();
}

void LoggingFacility::prepareToReinitializeDueToContextChange() noexcept {
  if (!isInitialized()) {
    return;
  }
  if (m_applicationSessions != 0) {
    reportLoggingInternalsError(kInternalsErrorTitle,
                                "The 'application sessions' counter isn't 0 when this method was called! Only expect "
                                "to reinitialize due to a context change when there are NO active application "
                                "sessions.");
  }
  processAllPendingMessagesImmediately();
}

void LoggingFacility::reinitializeDueToContextChange(
    HaldenConfiguration::LoggingConfiguration& configuration) noexcept {
  m_initializationMarker.store(0, std::memory_order_seq_cst);
  updateCallSiteGate();
  waitForMessagesInFlight();
  tearDownDestinations();
  try {
    m_configuration = configuration;
  } catch (...) {
    // Out of memory: keep the previous configuration.
  }
  setUpDestinations();
  m_initializationMarker.store(kInitializationMarker, std::memory_order_seq_cst);
  updateCallSiteGate();
  if (m_applicationSessions > 0 && m_threadedProcessor) {
    m_threadedProcessor->start();
  }
}

// ---- exclusivity and draining ---------------------------------------------------------------

void LoggingFacility::startExclusivityForThread(std::thread::id thread) noexcept {
  if (!isInitialized() || !m_queue) {
    return;
  }
  try {
    m_queue->startExclusivityForThread(thread,
                                       m_threadedProcessor && m_threadedProcessor->isThreadExclusiveOutputEnabled());
  } catch (...) {
  }
}

void LoggingFacility::endExclusivityForThread(std::thread::id thread) noexcept {
  if (!isInitialized() || !m_queue) {
    return;
  }
  try {
    m_queue->endExclusivityForThread(thread,
                                     m_threadedProcessor && m_threadedProcessor->isThreadExclusiveOutputEnabled());
  } catch (...) {
  }
}

void LoggingFacility::processAllPendingMessagesImmediately() noexcept {
  DeliveryScope delivering;
  try {
    if (m_threadedProcessor) {
      m_threadedProcessor->processQueuedMessagesRequiringThreadSynchronization(true);
    }
    if (m_unthreadedProcessor) {
      m_unthreadedProcessor->flush();
    }
  } catch (...) {
  }
}

void LoggingFacility::waitUntilQueuedMessagesAreWritten() noexcept {
  try {
    if (m_threadedProcessor) {
      m_threadedProcessor->waitUntilQueuedMessagesAreWritten();
    }
  } catch (...) {
  }
}

bool LoggingFacility::isBackgroundThreadRunning() const noexcept {
  return m_threadedProcessor && m_threadedProcessor->isRunning();
}

// ---- ILogMessageDestinationServices ---------------------------------------------------------

std::uint32_t LoggingFacility::getProcessIdForDisplay() const noexcept {
  return m_processContextInfo.getProcessId() != 0 ? m_processContextInfo.getProcessId()
                                                  : PlatformFacilities::currentProcessId();
}

std::string LoggingFacility::getUserConfigurationHomeDirectoryPath() {
  HaldenConfiguration::ILoggingConfigurationHost* host = m_configuration.getLoggingConfigurationHost();
  return host != nullptr ? host->getUserConfigurationHomeDirectoryPath() : std::string();
}

std::string LoggingFacility::getProcessIdAsHexString() {
  return InternalHaldenCP::formatToStdString(
      "0x%0*x", static_cast<int>(HaldenConfiguration::LoggingMessageFormatOptions::kWidthProcessIdHex),
      getProcessIdForDisplay());
}

std::string LoggingFacility::getProcessIdAsDecimalString() {
  return InternalHaldenCP::formatToStdString(
      "%0*d", static_cast<int>(HaldenConfiguration::LoggingMessageFormatOptions::kWidthProcessIdDecimal),
      getProcessIdForDisplay());
}

std::string LoggingFacility::getProcessName() {
  return m_processContextInfo.getProcessName().empty() ? PlatformFacilities::processName()
                                                       : m_processContextInfo.getProcessName();
}

std::string LoggingFacility::getComputerName() {
  return m_platformUtilities->getComputerNameForLowLevelUtilities();
}

int LoggingFacility::getThreadIdWidthAsHexString() {
  return HaldenConfiguration::LoggingMessageFormatOptions::kWidthThreadIdHex;
}

int LoggingFacility::getThreadIdWidthAsDecimalString() {
  return HaldenConfiguration::LoggingMessageFormatOptions::kWidthThreadIdDecimal;
}

void LoggingFacility::reportLoggingInternalsError(const char* title, const char* text) noexcept {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  if (m_platformUtilities != nullptr) {
    m_platformUtilities->displayDebugMessageForLowLevelUtilities(title, text);
  } else {
    DebugUtilities::reportErrorForLowLevelUtilities(title, text);
  }
}

// ---- the facilities' reports ------------------------------------------------------------------

bool isGlobalLoggingOnForReports() noexcept {
  return isLogLevelOpenAtCallSite(0) &&
         getGlobalLoggingFacility().isInitializedAndEnabledAndMessageContextAllowed_CategoriesMayBeIncomplete(0,
                                                                                                              XC_ERR);
}

bool logReportToGlobalLoggingFacility(const char* title, const char* text, const DebugContextReference& site) noexcept {
  if (!isGlobalLoggingOnForReports()) {
    return false;
  }
  getGlobalLoggingFacility().addLogMessage(0, DebugContextReference(site), XC_ERR, "%s\n%s",
                                           title != nullptr ? title : "", text != nullptr ? text : "");
  return true;
}

}  // namespace HaldenLogging
