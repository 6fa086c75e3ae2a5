#pragma once
// UtilitiesDllPerThreadStorage: what the library keeps for each thread that
// uses it: the pool from which HldSharedPtr control blocks come and the
// thread's execution-context stacks.
//
// A thread reaches its storage through a compiler thread-local pointer (a
// plain pointer: a thread_local object with a destructor must not live in the
// DLL, MinGW could not unload it then). The storage is created on the thread's
// first use and appended to the process-wide list; it lives until the library
// is unloaded, not until the thread ends (thread detach frees nothing). At
// unload the unloading thread combines every storage's pool into its own and
// frees the others (CleanUpDueToProcessDetach).
//
// Locking: the per-thread-storage lock (one process-wide critical section)
// guards the list, the pool new threads are seeded from and the global memory
// pool manager. A thread's own pool and stacks are used without any lock, by
// that thread only.
//
// The marker word is 34567 from the library's static initialisation until the
// unload clean-up, then 0. Code that may run during unload (shared-pointer
// releases, error displays) reads it to know whether per-thread storage may
// still be used.

#include "LowLevelFacilities/FixedBlockSizeMemoryPool.h"
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

  // A storage with its shared-pointer pool ("struct SharedPtrInfoStruct", 12,
  // 4,000, true, false) and no stacks. Building one does not register it
  // anywhere: the library's own storages come from
  // GetUtilitiesDllPerThreadStorageObject.
  UtilitiesDllPerThreadStorage() noexcept;
  ~UtilitiesDllPerThreadStorage();
  UtilitiesDllPerThreadStorage(const UtilitiesDllPerThreadStorage&) = delete;
  UtilitiesDllPerThreadStorage& operator=(const UtilitiesDllPerThreadStorage&) = delete;

  FixedBlockSizeMemoryPool& GetSharedPtrMemoryPoolOfThisStorage() noexcept { return m_sharedPtrMemoryPool; }
  // The thread that built the storage.
  std::uint32_t GetCreatingThreadId() const noexcept { return m_creatingThreadId; }
  ExecutionContextStack* PeekExecutionContextStack() const noexcept { return m_executionContextStack.get(); }
  ConstraintExecutionContextStack* PeekConstraintExecutionContextStack() const noexcept {
    return m_constraintExecutionContextStack.get();
  }

  // The calling thread's storage, created on first use: the slot is read
  // without a lock; only the creation takes the per-thread-storage lock, seeds
  // the new pool with the free blocks of the pool for new threads, and appends
  // the storage to the process-wide list.
  static UtilitiesDllPerThreadStorage& GetUtilitiesDllPerThreadStorageObject();
  // The calling thread's storage or null; never creates anything.
  static UtilitiesDllPerThreadStorage* TryGetUtilitiesDllPerThreadStorageObject() noexcept;
  static FixedBlockSizeMemoryPool& GetSharedPtrMemoryPool();
  // The calling thread's storage (created on first use) while the marker word
  // is 34567; null before the library's static initialisation and once the
  // unload clean-up has begun. The shared pointers' one call per control block.
  static UtilitiesDllPerThreadStorage* GetStorageWhileLoaded();
  // The calling thread's execution-context stack or null. Never creates
  // anything, takes no lock, and answers null once the unload clean-up has
  // begun, so it is safe inside error handling and during unload.
  static ExecutionContextStack* TryGetExecutionContextStackForErrorDisplay() noexcept;
  // The calling thread's execution-context stacks, created (with the thread's
  // storage, if need be) on first use; no lock. Defined with the stacks, in
  // DebuggingAndExceptions/ExecutionContextStackDeleters.cpp.
  static ExecutionContextStack& GetExecutionContextStack();
  static ConstraintExecutionContextStack& GetConstraintExecutionContextStack();

  // Static initialisation: sets the marker word to 34567.
  static void InitializeDueToProcessAttach() noexcept;
  // Unload, under the per-thread-storage lock: CombineAndFreeStorages over the
  // process-wide list with the calling thread's storage; the pool for new
  // threads is combined into the survivor as well, so that every
  // shared-pointer block ends in one pool; the marker word becomes 0. The
  // survivor is then freed with all chunks, unless blocks are still in use
  // (a shared pointer that outlives the library): then it is deliberately
  // kept, so that late releases never touch freed memory.
  static void CleanUpDueToProcessDetach() noexcept;
  // The unload algorithm over a given list:
  //  1. when `callingThreadStorage` is null and the list is not empty, the
  //     first listed storage is adopted as the calling thread's;
  //  2. every listed storage other than the calling thread's has its pool
  //     combined into the calling thread's pool (free blocks appended, chunks
  //     taken over, counters added) and is destroyed;
  //  3. the list is emptied.
  // Returns the calling thread's storage when it was in the list (ownership
  // passes to the caller), otherwise null.
  static std::unique_ptr<UtilitiesDllPerThreadStorage> CombineAndFreeStorages(
      std::vector<std::unique_ptr<UtilitiesDllPerThreadStorage>>& storages,
      UtilitiesDllPerThreadStorage* callingThreadStorage) noexcept;

  static std::uint32_t GetMarkerWord() noexcept;
  static std::size_t GetNumberOfPerThreadStorageObjects() noexcept;
  // The static pool whose free blocks seed the next new thread's pool.
  static FixedBlockSizeMemoryPool& GetSharedPtrMemoryPoolForNewThreads() noexcept {
    return m_soSharedPtrMemoryPoolForNewThreads;
  }

 private:
  static FixedBlockSizeMemoryPool m_soSharedPtrMemoryPoolForNewThreads;

  FixedBlockSizeMemoryPool m_sharedPtrMemoryPool;
  std::uint32_t m_creatingThreadId;
  std::unique_ptr<ExecutionContextStack, ExecutionContextStackDeleter> m_executionContextStack;
  std::unique_ptr<ConstraintExecutionContextStack, ConstraintExecutionContextStackDeleter>
      m_constraintExecutionContextStack;
};

// The process-wide pool manager behind
// FixedBlockSizeMemoryPool::RecycleMemoryPoolFreeListWithGlobalMemoryPoolManager.
// It keeps one receiving pool per block geometry (block size and blocks per
// chunk); the receiving pool of the shared-pointer geometry is the pool for
// new threads, so recycled control blocks go to the next new thread. It lives
// with the per-thread storage because the same lock guards both.
namespace GlobalMemoryPoolManager {
// Moves the pool's free list, chunks and counters into the receiving pool of
// its geometry (created on first need).
HDU_API void AdoptFreeListOf(FixedBlockSizeMemoryPool& pool);
// Free blocks held for a geometry (0 when the manager has no such pool).
HDU_API std::uint32_t GetFreeBlockCountForGeometry(unsigned blockSize, unsigned blocksPerChunk);
}  // namespace GlobalMemoryPoolManager
