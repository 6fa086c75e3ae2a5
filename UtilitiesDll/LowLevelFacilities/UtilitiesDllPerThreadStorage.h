#pragma once
// UtilitiesDllPerThreadStorage: what the library keeps for each thread that
// uses it: the pool from which HldSharedPtr control blocks come, the pools of
// the objects MakeHldShared places together with their control block, and the
// thread's execution-context stacks.
//
// A thread reaches its storage through a compiler thread-local pointer (a
// plain pointer: a thread_local object with a destructor must not live in the
// DLL, MinGW could not unload it then). The storage is made on the thread's
// first use and appended to the process-wide list.
//
// Threads that end. A spooler starts a thread per job, tens of thousands over
// weeks; a storage per thread that ever ran would hold memory for all of them.
// So the end of a thread that has a storage is noticed (ThreadEndNotification:
// no work in the entry routine's thread detach), and its storage is given up
// for reuse, not freed: its execution-context stacks are destroyed (through
// their deleters), the free blocks of its pools go to the global memory pool
// manager, and the storage waits in the process-wide list until a thread that
// has none takes it, clean, instead of a new one. The storages in existence
// are therefore as many as threads ever used the library at the same time, and
// every storage, in use or waiting, lives until the library is unloaded; the
// unloading thread combines their pools and frees them
// (CleanUpDueToProcessDetach). A thread whose storage has been given up and
// that still releases shared pointers afterwards (a later thread-exit
// destructor) gets no storage again: its blocks go to the global manager, and
// shared pointers it makes take their control block from the heap.
//
// Locking: the per-thread-storage lock (one process-wide critical section)
// guards the list, the pool new threads are seeded from and the global memory
// pool manager. A thread's own pools and stacks are used without any lock, by
// that thread only.
//
// The marker word is 34567 from the library's static initialisation until the
// unload clean-up begins, then 0. Code that may run during unload
// (shared-pointer releases, error displays) reads it to know whether
// per-thread storage may still be used.

#include "LowLevelFacilities/FixedBlockSizeMemoryPool.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class ExecutionContextStack;
class ConstraintExecutionContextStack;

// Deleters of the two stacks. The stack classes are only declared here; their
// deleters are defined in DebuggingAndExceptions/ExecutionContextStackDeleters.cpp,
// next to the stacks themselves.
struct HDU_API ExecutionContextStackDeleter {
  void operator()(ExecutionContextStack* stack) const noexcept;
};
struct HDU_API ConstraintExecutionContextStackDeleter {
  void operator()(ConstraintExecutionContextStack* stack) const noexcept;
};

class HDU_API UtilitiesDllPerThreadStorage {
 public:
  enum : std::uint32_t { kMarkerWhileLoaded = 34567 };
  enum : unsigned { kSharedPtrBlockSize = 12, kSharedPtrBlocksPerChunk = 4000 };

  // The object pools: MakeHldShared places an object and its control block in
  // one block, the control block in the first kObjectHeaderSize bytes and the
  // object behind it. One pool per block size; chunks of about 16 KiB.
  enum : unsigned { kNumberOfObjectPools = 7, kObjectHeaderSize = 16, kObjectPoolChunkBytes = 16384 };
  static constexpr unsigned kObjectPoolBlockSizes[kNumberOfObjectPools] = {32, 48, 64, 96, 128, 192, 256};
  static constexpr unsigned GetObjectPoolBlocksPerChunk(unsigned poolIndex) noexcept {
    return kObjectPoolChunkBytes / kObjectPoolBlockSizes[poolIndex];
  }
  // The pool for a block of `blockSize` bytes (header included), or
  // kNumberOfObjectPools when it is larger than the largest.
  static constexpr unsigned GetObjectPoolIndexForBlockSize(std::size_t blockSize) noexcept {
    unsigned index = 0;
    while (index < kNumberOfObjectPools && kObjectPoolBlockSizes[index] < blockSize) {
      ++index;
    }
    return index;
  }
  // Every pool of a storage hands its free list to the global memory pool
  // manager beyond this many free blocks: two chunks' worth.
  static constexpr std::uint32_t GetGlobalManagerThresholdFor(unsigned blocksPerChunk) noexcept {
    return 2 * blocksPerChunk;
  }

  // A storage with its shared-pointer pool ("struct SharedPtrInfoStruct", 12,
  // 4,000, true, false), its object pools and no stacks, owned by the calling
  // thread. Building one does not register it anywhere: the library's own
  // storages come from GetUtilitiesDllPerThreadStorageObject.
  UtilitiesDllPerThreadStorage() noexcept;
  ~UtilitiesDllPerThreadStorage();
  UtilitiesDllPerThreadStorage(const UtilitiesDllPerThreadStorage&) = delete;
  UtilitiesDllPerThreadStorage& operator=(const UtilitiesDllPerThreadStorage&) = delete;

  FixedBlockSizeMemoryPool& GetSharedPtrMemoryPoolOfThisStorage() noexcept { return m_sharedPtrMemoryPool; }
  FixedBlockSizeMemoryPool& GetObjectPoolOfThisStorage(unsigned poolIndex) noexcept { return m_objectPools[poolIndex]; }
  // The thread the storage serves (the one that made it, or the one that
  // took it over after that thread ended).
  std::uint32_t GetCreatingThreadId() const noexcept { return m_creatingThreadId; }
  ExecutionContextStack* PeekExecutionContextStack() const noexcept { return m_executionContextStack.get(); }
  ConstraintExecutionContextStack* PeekConstraintExecutionContextStack() const noexcept {
    return m_constraintExecutionContextStack.get();
  }
  // Whether the storage's thread has ended and the storage waits for reuse.
  bool IsWaitingForReuse() const noexcept { return m_waitingForReuse; }

  // The calling thread's storage, made on first use: the slot is read without
  // a lock; only the making takes the per-thread-storage lock, takes a storage
  // that waits for reuse or builds a new one (whose shared-pointer pool starts
  // with the free blocks of the pool for new threads), and registers it for
  // the end of the thread. After the unload clean-up has begun, a thread that has
  // none gets one that is never freed (the process is ending).
  static UtilitiesDllPerThreadStorage& GetUtilitiesDllPerThreadStorageObject();
  // The calling thread's storage or null; never makes anything; null once the
  // unload clean-up has begun.
  static UtilitiesDllPerThreadStorage* TryGetUtilitiesDllPerThreadStorageObject() noexcept;
  static FixedBlockSizeMemoryPool& GetSharedPtrMemoryPool();
  // The calling thread's storage (made on first use) while the marker word is
  // 34567; null before the library's static initialisation, once the unload
  // clean-up has begun, and on a thread whose storage has been given up at
  // its end. The shared pointers' one call per block.
  static UtilitiesDllPerThreadStorage* GetStorageWhileLoaded();
  // The calling thread's execution-context stack or null. Never makes
  // anything, takes no lock, and answers null once the unload clean-up has
  // begun, so it is safe inside error handling and during unload.
  static ExecutionContextStack* TryGetExecutionContextStackForErrorDisplay() noexcept;
  // The calling thread's execution-context stacks, created (with the thread's
  // storage, if need be) on first use; no lock. Defined with the stacks, in
  // DebuggingAndExceptions/ExecutionContextStackDeleters.cpp.
  static ExecutionContextStack& GetExecutionContextStack();
  static ConstraintExecutionContextStack& GetConstraintExecutionContextStack();

  // Static initialisation: opens the notification of thread ends and sets the
  // marker word to 34567.
  static void InitializeDueToProcessAttach() noexcept;
  // Unload, under the per-thread-storage lock. The marker word becomes 0
  // first, so from then on the calls above answer null and make nothing. Then
  // CombineAndFreeStorages over the listed storages that no other thread can
  // be using, with the calling thread's storage as survivor; the global
  // manager's pools (among them the pool for new threads) are combined into
  // the survivor as well. The survivor is freed with all chunks when nothing
  // is left: no block in use (a shared pointer that outlives the library) and
  // no storage set aside. Otherwise it is deliberately kept, so that late
  // releases never touch freed memory.
  //
  // Which storages no other thread can be using: on Windows all of them
  // (other threads have been ended, or must not run the library's code while
  // it is unloaded); on POSIX, where exit() runs this while other threads go
  // on, those of threads that have ended. The storages of threads that may
  // still run are set aside untouched and never freed: such a thread may be
  // between its last look at the marker word and its use of its own pool.
  // When the process is ending (Windows' process detach at ExitProcess), only
  // the marker word is set to 0: the system has ended the other threads
  // wherever they were (inside the lock or the heap, halfway through a
  // change), and takes the process's memory back itself.
  static void CleanUpDueToProcessDetach() noexcept;
  // The unload algorithm over a given list:
  //  1. when `callingThreadStorage` is null and the list is not empty, the
  //     first listed storage is adopted as the calling thread's;
  //  2. every listed storage other than the calling thread's has its pools
  //     combined into the calling thread's pools (free blocks appended,
  //     chunks taken over, counters added) and is destroyed;
  //  3. the list is emptied.
  // Returns the calling thread's storage when it was in the list (ownership
  // passes to the caller), otherwise null. Its time grows with the number of
  // storages and chunks, not with the length of the free lists.
  static std::unique_ptr<UtilitiesDllPerThreadStorage> CombineAndFreeStorages(
      std::vector<std::unique_ptr<UtilitiesDllPerThreadStorage>>& storages,
      UtilitiesDllPerThreadStorage* callingThreadStorage) noexcept;

  static std::uint32_t GetMarkerWord() noexcept;
  // Storages in the process-wide list: in use and waiting for reuse.
  static std::size_t GetNumberOfPerThreadStorageObjects() noexcept;
  static std::size_t GetNumberOfStorageObjectsWaitingForReuse() noexcept;
  // The static pool whose free blocks seed the next new thread's pool.
  static FixedBlockSizeMemoryPool& GetSharedPtrMemoryPoolForNewThreads() noexcept;
  // The per-thread-storage lock (shared with the global memory pool manager).
  static PlatformFacilities::CriticalSection& GetPerThreadStorageLock() noexcept;

  // Blocks in use over the storage's pools, counted as its pools' counters say
  // (meaningful for the survivor of the unload clean-up).
  std::uint32_t GetBlocksInUseOfThisStorage() const noexcept;

 private:
  // Built at static initialisation and never destroyed (the unload clean-up
  // empties it, whatever the order in which the runtime runs the exit list and
  // the static destructors). Not exported: every copy of the library (a second
  // one loaded under another name) must use its own pool, and an exported
  // object would be shared with the first copy loaded.
  HDUTILITIES_NO_EXPORT static FixedBlockSizeMemoryPool& m_soSharedPtrMemoryPoolForNewThreads;

  static void GiveUpStorageOfEndedThread(void* storage);
  void PrepareForReuseByCallingThread() noexcept;
  void CombinePoolsOf(UtilitiesDllPerThreadStorage& other) noexcept;

  FixedBlockSizeMemoryPool m_sharedPtrMemoryPool;
  FixedBlockSizeMemoryPool m_objectPools[kNumberOfObjectPools];
  std::uint32_t m_creatingThreadId;
  bool m_waitingForReuse = false;
  UtilitiesDllPerThreadStorage* m_nextWaitingStorage = nullptr;  // under the lock
  std::unique_ptr<ExecutionContextStack, ExecutionContextStackDeleter> m_executionContextStack;
  std::unique_ptr<ConstraintExecutionContextStack, ConstraintExecutionContextStackDeleter>
      m_constraintExecutionContextStack;
};
