#pragma once
// The logging facility's message processors: they hand accepted messages to
// their destinations.
//
// UnthreadedLogMessageProcessor writes on the thread that logs: each
// destination that admits the message (its check on the complete categories)
// gets it at once; the destination's own lock serialises threads.
//
// ThreadedLogMessageProcessor serves the destinations that use the
// background thread: the logging thread appends a shared copy of the record
// to the LogMessageQueue and goes on; the background thread takes the queued
// records in batches, in arrival order, and writes them, pushing out the
// destinations' buffers whenever the queue runs empty. While the background
// thread is not running (before start, after stop) records are written on
// the logging thread under the processing lock instead, in the same order,
// so nothing is ever left behind in the queue. Batches are always taken and
// written under the processing lock, so a drain on another thread
// (processQueuedMessagesRequiringThreadSynchronization) keeps the order too.

#include "LowLevelFacilities/LogMessage.h"
#include "LowLevelFacilities/LogMessageQueue.h"
#include "hdUtilitiesExport.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace HaldenLogging {

class LogMessageDestinationBase;

class HDU_API LogMessageProcessor {
 public:
  virtual ~LogMessageProcessor();
  LogMessageProcessor(const LogMessageProcessor&) = delete;
  LogMessageProcessor& operator=(const LogMessageProcessor&) = delete;

  void addDestination(LogMessageDestinationBase& destination) { m_destinations.push_back(&destination); }
  bool hasDestinations() const noexcept { return !m_destinations.empty(); }
  const std::vector<LogMessageDestinationBase*>& getDestinations() const noexcept { return m_destinations; }
  // Whether some enabled destination admits the message (complete categories).
  bool isAcceptedBySomeDestination(signed char level, unsigned long long categories) const noexcept;

 protected:
  LogMessageProcessor() = default;
  // Writes the message to every destination that admits it.
  void deliver(const LogMessage& message);
  // Pushes out every destination's buffer.
  void flushDestinations();

 private:
  std::vector<LogMessageDestinationBase*> m_destinations;
};

class HDU_API UnthreadedLogMessageProcessor final : public LogMessageProcessor {
 public:
  UnthreadedLogMessageProcessor() = default;
  void processLogMessage(const LogMessage& message) { deliver(message); }
  void flush() { flushDestinations(); }
};

class HDU_API ThreadedLogMessageProcessor final : public LogMessageProcessor {
 public:
  enum : unsigned { kIdleFlushMilliseconds = 50 };

  ThreadedLogMessageProcessor(LogMessageQueue& queue, ILogMessageDestinationServices& services,
                              bool threadExclusiveOutput);
  // Stops the background thread, writing everything queued.
  ~ThreadedLogMessageProcessor() override;

  // Starts the background thread (no effect while it runs).
  void start();
  // Asks the background thread to write everything queued and end, and
  // waits for it; then writes whatever arrived meanwhile.
  void stop();
  bool isRunning() const noexcept { return m_running.load(std::memory_order_acquire); }
  bool isThreadExclusiveOutputEnabled() const noexcept { return m_threadExclusiveOutput; }

  // Queues a shared copy of the message (the copy owns its site names).
  void addLogMessageWorkerWithThreadSynchronization(const LogMessage& message);
  // Writes every queued record on the calling thread, in order; with
  // `releaseHeldRecords` also the records held back by thread-exclusive
  // output; then pushes out the destinations' buffers.
  void processQueuedMessagesRequiringThreadSynchronization(bool releaseHeldRecords);
  // Waits until the background thread has written every record queued
  // before the call (writes them here when it is not running).
  void waitUntilQueuedMessagesAreWritten();

 private:
  void threadMain();
  void processBatchUnderLock(bool releaseHeldRecords);
  void route(LogMessageQueue::Record&& record);
  void releaseHeld();
  void writeRecord(const LogMessage& message);

  LogMessageQueue& m_queue;
  ILogMessageDestinationServices& m_services;
  const bool m_threadExclusiveOutput;
  std::mutex m_processingMutex;
  std::mutex m_lifecycleMutex;
  std::thread m_thread;
  std::atomic<bool> m_running{false};
  std::atomic<std::uint64_t> m_recordsQueued{0};
  std::uint64_t m_recordsTaken = 0;  // under m_processingMutex
  std::mutex m_progressMutex;
  std::condition_variable m_progress;
  std::vector<LogMessageQueue::Record> m_batch;
  std::deque<LogMessageQueue::Record> m_held;
  std::optional<std::thread::id> m_owner;
  int m_ownerCount = 0;
  bool m_heldLimitReported = false;
};

}  // namespace HaldenLogging
