#pragma once
// HaldenLogging::LogMessageQueue: the queue between the threads that log and
// the logging facility's background thread.
//
// Producers append shared records at the back under the queue's lock; the
// background thread takes everything queued so far in one step (so records
// leave in arrival order, in batches) and writes them outside the lock. The
// queue holds at most kMaximumQueuedMessages records: a producer that finds
// it full waits until the background thread has taken a batch, so memory
// stays bounded however fast threads log (nothing is dropped). The
// background thread itself never waits for room (a report it causes while
// writing could otherwise wait for itself). The producer wakes the
// background thread only when it is asleep.
//
// The background thread writes its destinations' buffers out when no new
// record has come for 50 ms after a batch
// (ThreadedLogMessageProcessor::kIdleFlushMilliseconds), so a trickle of
// messages reaches the file within that time without a write per message.
//
// Thread-exclusive output. startExclusivityForThread and
// endExclusivityForThread count, per thread, how often each was called; an
// end without a start is reported under
// "LogMessageQueue::endExclusivityForThread" with "Unmatched call to end
// exclusivity for the thread, <id>. Should have been a call to
// LogMessageQueue::startExclusivityForThread() before this." and ignored.
// When the configuration enables thread-exclusive output, each call also
// queues a marker record, and the background thread then writes one
// thread's output at a time: from a thread's first start marker to its
// matching end marker only that thread's records are written; the records of
// other threads that arrive meanwhile are held back (in order) and written
// after the end marker. Each thread's own records always keep their order.
// When more than kMaximumHeldMessages records are held back (a thread that
// never ends its exclusivity), exclusivity is given up, reported once under
// "LogMessageQueue::startExclusivityForThread", and everything held is
// written; a drain (session end, reinitialisation, unload) also writes
// everything held.

#include "LowLevelFacilities/LogMessage.h"
#include "hdUtilitiesExport.h"

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

namespace HaldenLogging {

class ILogMessageDestinationServices;

// Equal-sized blocks for the shared records (record and reference counts in
// one block), handed out and taken back under a small lock, so that a
// message through the background thread costs no heap allocation once the
// pool has warmed up. At most kMaximumCachedBlocks free blocks are kept (as
// many as can be in flight: a full queue and a full batch being written),
// more go back to the heap; when the background thread finds nothing to do
// it trims the cache to kBlocksKeptWhenIdle. Requests of another size go to
// the heap.
class HDU_API LogMessageRecordPool {
 public:
  enum : std::size_t { kMaximumCachedBlocks = 4096, kBlocksKeptWhenIdle = 128 };
  LogMessageRecordPool() = default;
  ~LogMessageRecordPool();
  LogMessageRecordPool(const LogMessageRecordPool&) = delete;
  LogMessageRecordPool& operator=(const LogMessageRecordPool&) = delete;
  void* allocate(std::size_t bytes);
  void deallocate(void* block, std::size_t bytes) noexcept;
  std::size_t getNumberOfCachedBlocks() const;
  // Gives all but `keep` cached blocks back to the heap.
  void trim(std::size_t keep) noexcept;

 private:
  mutable std::mutex m_mutex;
  std::size_t m_blockSize = 0;
  std::vector<void*> m_free;
};

// The allocator of shared records: std::allocate_shared takes the record's
// block from the pool.
template <class T>
class LogMessageRecordAllocator {
 public:
  using value_type = T;
  explicit LogMessageRecordAllocator(LogMessageRecordPool& pool) noexcept : m_pool(&pool) {}
  template <class U>
  LogMessageRecordAllocator(const LogMessageRecordAllocator<U>& other) noexcept  // NOLINT(google-explicit-constructor)
      : m_pool(other.getPool()) {}
  T* allocate(std::size_t count) { return static_cast<T*>(m_pool->allocate(count * sizeof(T))); }
  void deallocate(T* block, std::size_t count) noexcept { m_pool->deallocate(block, count * sizeof(T)); }
  LogMessageRecordPool* getPool() const noexcept { return m_pool; }
  template <class U>
  bool operator==(const LogMessageRecordAllocator<U>& other) const noexcept {
    return m_pool == other.getPool();
  }

 private:
  LogMessageRecordPool* m_pool;
};

class HDU_API LogMessageQueue {
 public:
  enum : std::size_t { kMaximumQueuedMessages = 2048, kMaximumHeldMessages = 65536 };
  using Record = std::shared_ptr<const LogMessage>;

  // Reports go to `services` (reportLoggingInternalsError).
  explicit LogMessageQueue(ILogMessageDestinationServices& services);
  ~LogMessageQueue();
  LogMessageQueue(const LogMessageQueue&) = delete;
  LogMessageQueue& operator=(const LogMessageQueue&) = delete;

  // ---- producers ----
  // Appends a record; waits for room unless called on the consumer thread or
  // while the queue is stopping.
  void addMessage(Record record);
  void startExclusivityForThread(std::thread::id thread, bool queueMarker);
  void endExclusivityForThread(std::thread::id thread, bool queueMarker);
  // The number of unmatched starts of a thread.
  int getExclusivityCountForThread(std::thread::id thread) const;

  // ---- the consumer ----
  // Waits until records are queued or a stop is requested; true when records
  // are queued.
  bool waitForMessages();
  // The same, waiting at most `milliseconds`.
  bool waitForMessagesFor(unsigned milliseconds);
  // The pool the shared records come from (it outlives every record: the
  // queue is the last of the facility's parts to go).
  LogMessageRecordPool& getRecordPool() noexcept { return m_recordPool; }
  // Moves every queued record into `batch` (which must be empty) without
  // waiting; wakes producers waiting for room.
  void takeAllMessages(std::vector<Record>& batch);
  void requestStop();
  void clearStopRequest();
  bool isStopRequested() const;
  // Marks the calling thread as the consumer (it never waits for room).
  void setConsumerThread(std::thread::id thread);
  std::size_t getNumberOfQueuedMessages() const;

 private:
  ILogMessageDestinationServices& m_services;
  LogMessageRecordPool m_recordPool;
  mutable std::mutex m_mutex;
  std::condition_variable m_messagesAvailable;
  std::condition_variable m_roomAvailable;
  std::vector<Record> m_pending;
  bool m_consumerWaiting = false;
  std::size_t m_producersWaiting = 0;
  bool m_stopRequested = false;
  std::thread::id m_consumerThread;
  std::unordered_map<std::thread::id, int> m_exclusivityCounts;
};

}  // namespace HaldenLogging
