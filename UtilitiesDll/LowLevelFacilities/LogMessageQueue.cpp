#include "LowLevelFacilities/LogMessageQueue.h"

#include "LowLevelFacilities/ILogMessageDestinationServices.h"

#include <chrono>
#include <new>
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

LogMessageRecordPool::~LogMessageRecordPool() {
  for (void* block : m_free) {
    ::operator delete(block);
  }
}

void* LogMessageRecordPool::allocate(std::size_t bytes) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_blockSize == 0) {
      m_blockSize = bytes;
    }
    if (bytes == m_blockSize && !m_free.empty()) {
      void* block = m_free.back();
      m_free.pop_back();
      return block;
    }
  }
  return ::operator new(bytes);
}

void LogMessageRecordPool::deallocate(void* block, std::size_t bytes) noexcept {
  if (block == nullptr) {
    return;
  }
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (bytes == m_blockSize && m_free.size() < kMaximumCachedBlocks) {
      try {
        m_free.push_back(block);
        return;
      } catch (...) {
        // No room in the list: the block goes back to the heap.
      }
    }
  }
  ::operator delete(block);
}

void LogMessageRecordPool::trim(std::size_t keep) noexcept {
  std::lock_guard<std::mutex> lock(m_mutex);
  while (m_free.size() > keep) {
    ::operator delete(m_free.back());
    m_free.pop_back();
  }
}

std::size_t LogMessageRecordPool::getNumberOfCachedBlocks() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_free.size();
}

bool LogMessageQueue::waitForMessagesFor(unsigned milliseconds) {
  std::unique_lock<std::mutex> lock(m_mutex);
  if (m_pending.empty() && !m_stopRequested) {
    m_consumerWaiting = true;
    m_messagesAvailable.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                 [this] { return !m_pending.empty() || m_stopRequested; });
    m_consumerWaiting = false;
  }
  return !m_pending.empty();
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
