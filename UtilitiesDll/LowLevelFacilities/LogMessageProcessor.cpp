#include "LowLevelFacilities/LogMessageProcessor.h"

#include "LowLevelFacilities/ILogMessageDestinationServices.h"
#include "LowLevelFacilities/LogMessageDestinationBase.h"

#include <chrono>
#include <utility>

namespace HaldenLogging {

// ---- LogMessageProcessor ------------------------------------------------------------------

LogMessageProcessor::~LogMessageProcessor() = default;

bool LogMessageProcessor::isAcceptedBySomeDestination(signed char level, unsigned long long categories) const noexcept {
  for (const LogMessageDestinationBase* destination : m_destinations) {
    if (destination->isDestinationEnabled() &&
        destination->isMessageContextWithCompleteCategoriesAllowed(level, categories)) {
      return true;
    }
  }
  return false;
}

void LogMessageProcessor::deliver(const LogMessage& message) {
  for (LogMessageDestinationBase* destination : m_destinations) {
    if (destination->isDestinationEnabled() && destination->isMessageContextWithCompleteCategoriesAllowed(
                                                   message.getVerbosityLevel(), message.getCategories())) {
      destination->processLogMessage(message);
    }
  }
}

void LogMessageProcessor::flushDestinations() {
  for (LogMessageDestinationBase* destination : m_destinations) {
    destination->flush();
  }
}

// ---- ThreadedLogMessageProcessor ------------------------------------------------------------

ThreadedLogMessageProcessor::ThreadedLogMessageProcessor(LogMessageQueue& queue,
                                                         ILogMessageDestinationServices& services,
                                                         bool threadExclusiveOutput)
    : m_queue(queue), m_services(services), m_threadExclusiveOutput(threadExclusiveOutput) {}

ThreadedLogMessageProcessor::~ThreadedLogMessageProcessor() {
  stop();
  processQueuedMessagesRequiringThreadSynchronization(true);
}

void ThreadedLogMessageProcessor::start() {
  std::lock_guard<std::mutex> lifecycle(m_lifecycleMutex);
  if (m_thread.joinable()) {
    return;
  }
  m_queue.clearStopRequest();
  m_running.store(true, std::memory_order_release);
  try {
    m_thread = std::thread([this] { threadMain(); });
  } catch (...) {
    // No thread: records are written on the logging threads instead.
    m_running.store(false, std::memory_order_release);
  }
}

void ThreadedLogMessageProcessor::stop() {
  {
    std::lock_guard<std::mutex> lifecycle(m_lifecycleMutex);
    if (m_thread.joinable()) {
      m_queue.requestStop();
      m_thread.join();
    }
    m_running.store(false, std::memory_order_release);
  }
  // Records that arrived while the thread was ending.
  processQueuedMessagesRequiringThreadSynchronization(true);
}

void ThreadedLogMessageProcessor::addLogMessageWorkerWithThreadSynchronization(const LogMessage& message) {
  auto record =
      std::allocate_shared<LogMessage>(LogMessageRecordAllocator<LogMessage>(m_queue.getRecordPool()), message);
  record->makeSiteOwned();
  m_queue.addMessage(std::move(record));
  m_recordsQueued.fetch_add(1, std::memory_order_release);
  if (!isRunning()) {
    // No background thread to write it (or it just ended): write it here.
    processQueuedMessagesRequiringThreadSynchronization(false);
  }
}

void ThreadedLogMessageProcessor::processQueuedMessagesRequiringThreadSynchronization(bool releaseHeldRecords) {
  {
    std::lock_guard<std::mutex> lock(m_processingMutex);
    processBatchUnderLock(releaseHeldRecords);
    flushDestinations();
  }
  m_progress.notify_all();
}

void ThreadedLogMessageProcessor::waitUntilQueuedMessagesAreWritten() {
  const std::uint64_t target = m_recordsQueued.load(std::memory_order_acquire);
  std::unique_lock<std::mutex> progressLock(m_progressMutex);
  for (;;) {
    {
      std::lock_guard<std::mutex> lock(m_processingMutex);
      if (m_recordsTaken >= target) {
        return;
      }
    }
    if (!isRunning()) {
      progressLock.unlock();
      processQueuedMessagesRequiringThreadSynchronization(false);
      return;
    }
    m_progress.wait_for(progressLock, std::chrono::milliseconds(10));
  }
}

void ThreadedLogMessageProcessor::processBatchUnderLock(bool releaseHeldRecords) {
  m_queue.takeAllMessages(m_batch);
  m_recordsTaken += m_batch.size();
  for (LogMessageQueue::Record& record : m_batch) {
    route(std::move(record));
  }
  m_batch.clear();
  if (releaseHeldRecords && !m_held.empty()) {
    m_owner.reset();
    m_ownerCount = 0;
    releaseHeld();
    // Any exclusivity begun among the released records ends with the drain.
    m_owner.reset();
    m_ownerCount = 0;
    while (!m_held.empty()) {
      LogMessageQueue::Record record = std::move(m_held.front());
      m_held.pop_front();
      writeRecord(*record);
    }
  }
}

void ThreadedLogMessageProcessor::threadMain() {
  m_queue.setConsumerThread(std::this_thread::get_id());
  // Buffers are written out when the queue has stayed empty for a while
  // after a batch, not after every batch.
  bool unflushed = false;
  for (;;) {
    const bool messages = unflushed ? m_queue.waitForMessagesFor(kIdleFlushMilliseconds) : m_queue.waitForMessages();
    if (!messages) {
      if (m_queue.isStopRequested()) {
        break;
      }
      {
        std::lock_guard<std::mutex> lock(m_processingMutex);
        flushDestinations();
      }
      m_queue.getRecordPool().trim(LogMessageRecordPool::kBlocksKeptWhenIdle);
      unflushed = false;
      continue;
    }
    {
      std::lock_guard<std::mutex> lock(m_processingMutex);
      processBatchUnderLock(false);
    }
    unflushed = true;
    m_progress.notify_all();
  }
  {
    std::lock_guard<std::mutex> lock(m_processingMutex);
    processBatchUnderLock(true);
    flushDestinations();
  }
  m_queue.setConsumerThread(std::thread::id());
}

void ThreadedLogMessageProcessor::writeRecord(const LogMessage& message) {
  if (message.getKind() == LogMessageKindEnum::LMKE_MESSAGE) {
    deliver(message);
  }
}

// Records of the exclusive owner pass; others wait in m_held, in order.
void ThreadedLogMessageProcessor::route(LogMessageQueue::Record&& record) {
  const LogMessageKindEnum kind = record->getKind();
  if (!m_owner.has_value()) {
    if (!m_held.empty()) {
      m_held.push_back(std::move(record));
      return;
    }
    if (kind == LogMessageKindEnum::LMKE_EXCLUSIVITY_START) {
      m_owner = record->getStdThreadId();
      m_ownerCount = 1;
    } else {
      writeRecord(*record);
    }
    return;
  }
  if (record->getStdThreadId() == *m_owner) {
    if (kind == LogMessageKindEnum::LMKE_EXCLUSIVITY_START) {
      ++m_ownerCount;
    } else if (kind == LogMessageKindEnum::LMKE_EXCLUSIVITY_END) {
      if (--m_ownerCount <= 0) {
        m_owner.reset();
        m_ownerCount = 0;
        releaseHeld();
      }
    } else {
      writeRecord(*record);
    }
    return;
  }
  m_held.push_back(std::move(record));
  if (m_held.size() > LogMessageQueue::kMaximumHeldMessages) {
    if (!m_heldLimitReported) {
      m_heldLimitReported = true;
      m_services.reportLoggingInternalsError(
          "LogMessageQueue::startExclusivityForThread",
          "More than 65536 log messages of other threads are waiting for a thread to end its exclusive output. "
          "Exclusive output is given up and the waiting messages are written.");
    }
    m_owner.reset();
    m_ownerCount = 0;
    releaseHeld();
  }
}

void ThreadedLogMessageProcessor::releaseHeld() {
  while (!m_owner.has_value() && !m_held.empty()) {
    std::deque<LogMessageQueue::Record> pending;
    pending.swap(m_held);
    while (!pending.empty()) {
      LogMessageQueue::Record record = std::move(pending.front());
      pending.pop_front();
      route(std::move(record));
    }
  }
}

}  // namespace HaldenLogging
