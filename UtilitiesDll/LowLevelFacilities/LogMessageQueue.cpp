#include "LowLevelFacilities/LogMessageQueue.h"

#include "LowLevelFacilities/ILogMessageDestinationServices.h"

#include <sstream>
#include <string>
#include <utility>

namespace HaldenLogging {

LogMessageQueue::LogMessageQueue(ILogMessageDestinationServices& services) : m_services(services) {
  m_pending.reserve(256);
}

LogMessageQueue::~LogMessageQueue() = default;

void LogMessageQueue::addMessage(Record record) {
  bool wake = false;
  {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (std::this_thread::get_id() != m_consumerThread) {
      while (m_pending.size() >= kMaximumQueuedMessages && !m_stopRequested) {
        ++m_producersWaiting;
        m_roomAvailable.wait(lock);
        --m_producersWaiting;
      }
    }
    m_pending.push_back(std::move(record));
    wake = m_consumerWaiting;
  }
  if (wake) {
    m_messagesAvailable.notify_one();
  }
}

void LogMessageQueue::startExclusivityForThread(std::thread::id thread, bool queueMarker) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_exclusivityCounts[thread];
  }
  if (queueMarker) {
    addMessage(std::make_shared<const LogMessage>(LogMessageKindEnum::LMKE_EXCLUSIVITY_START, thread));
  }
}

void LogMessageQueue::endExclusivityForThread(std::thread::id thread, bool queueMarker) {
  bool matched = false;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_exclusivityCounts.find(thread);
    if (found != m_exclusivityCounts.end() && found->second > 0) {
      matched = true;
      if (--found->second == 0) {
        m_exclusivityCounts.erase(found);
      }
    }
  }
  if (!matched) {
    std::ostringstream text;
    text << "Unmatched call to end exclusivity for the thread, " << thread
         << ". Should have been a call to LogMessageQueue::startExclusivityForThread() before this.";
    m_services.reportLoggingInternalsError("LogMessageQueue::endExclusivityForThread", text.str().c_str());
    return;
  }
  if (queueMarker) {
    addMessage(std::make_shared<const LogMessage>(LogMessageKindEnum::LMKE_EXCLUSIVITY_END, thread));
  }
}

int LogMessageQueue::getExclusivityCountForThread(std::thread::id thread) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = m_exclusivityCounts.find(thread);
  return found == m_exclusivityCounts.end() ? 0 : found->second;
}

bool LogMessageQueue::waitForMessages() {
  std::unique_lock<std::mutex> lock(m_mutex);
  while (m_pending.empty() && !m_stopRequested) {
    m_consumerWaiting = true;
    m_messagesAvailable.wait(lock);
    m_consumerWaiting = false;
  }
  return !m_pending.empty();
}

void LogMessageQueue::takeAllMessages(std::vector<Record>& batch) {
  bool wakeProducers = false;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    batch.swap(m_pending);
    wakeProducers = m_producersWaiting != 0;
  }
  if (wakeProducers) {
    m_roomAvailable.notify_all();
  }
}

void LogMessageQueue::requestStop() {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_stopRequested = true;
  }
  m_messagesAvailable.notify_all();
  m_roomAvailable.notify_all();
}

void LogMessageQueue::clearStopRequest() {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_stopRequested = false;
}

bool LogMessageQueue::isStopRequested() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_stopRequested;
}

void LogMessageQueue::setConsumerThread(std::thread::id thread) {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_consumerThread = thread;
}

std::size_t LogMessageQueue::getNumberOfQueuedMessages() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_pending.size();
}

}  // namespace HaldenLogging
