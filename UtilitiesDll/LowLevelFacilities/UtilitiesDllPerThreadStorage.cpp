#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include "DesktopUtilitiesLibraryHost.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <atomic>
#include <cstdlib>
#include <utility>

// The order of the definitions in this file matters. Everything the unload
// clean-up uses (the lock, the list, the pools) is defined before the static
// initialiser at the end of the file, which registers the clean-up with the
// runtime's exit list. Objects of one file are constructed in the order of
// their definitions, and an exit-list function registered after an object was
// constructed runs before that object is destroyed: so all of them are still
// alive when the clean-up runs.

namespace {

PlatformFacilities::CriticalSection g_perThreadStorageLock;
std::vector<std::unique_ptr<UtilitiesDllPerThreadStorage>> g_perThreadStorages;
// Receiving pools of the global memory pool manager for geometries other than
// the shared-pointer one.
std::vector<std::unique_ptr<FixedBlockSizeMemoryPool>> g_receivingPoolsOfOtherGeometries;

// Trivially destructible, so they stay usable during unload whatever the order
// of destruction.
std::atomic<std::uint32_t> g_markerWord{0};
thread_local UtilitiesDllPerThreadStorage* t_perThreadStorage = nullptr;

constexpr const wchar_t* kSharedPtrPoolName = L"struct SharedPtrInfoStruct";

}  // namespace

FixedBlockSizeMemoryPool UtilitiesDllPerThreadStorage::m_soSharedPtrMemoryPoolForNewThreads(
    kSharedPtrPoolName, UtilitiesDllPerThreadStorage::kSharedPtrBlockSize,
    UtilitiesDllPerThreadStorage::kSharedPtrBlocksPerChunk, true, false);

UtilitiesDllPerThreadStorage::UtilitiesDllPerThreadStorage() noexcept
    : m_sharedPtrMemoryPool(kSharedPtrPoolName, kSharedPtrBlockSize, kSharedPtrBlocksPerChunk, true, false),
      m_creatingThreadId(PlatformFacilities::currentThreadId()) {}

// The stacks go first (they may hold shared pointers whose control blocks
// return to this storage's pool), then the pool with its chunks.
UtilitiesDllPerThreadStorage::~UtilitiesDllPerThreadStorage() {
  m_constraintExecutionContextStack.reset();
  m_executionContextStack.reset();
}

UtilitiesDllPerThreadStorage& UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject() {
  if (UtilitiesDllPerThreadStorage* storage = t_perThreadStorage) {
    return *storage;
  }
  PlatformFacilities::CriticalSectionLock lock(g_perThreadStorageLock);
  if (t_perThreadStorage == nullptr) {
    // Everything that can fail comes before the blocks of the pool for new
    // threads move: should memory run out, they stay where they were.
    g_perThreadStorages.reserve(g_perThreadStorages.size() + 1);
    auto storage = std::make_unique<UtilitiesDllPerThreadStorage>();
    storage->m_sharedPtrMemoryPool.CombineOtherMemoryPoolWithThisOne(m_soSharedPtrMemoryPoolForNewThreads);
    g_perThreadStorages.push_back(std::move(storage));  // no reallocation: cannot throw
    t_perThreadStorage = g_perThreadStorages.back().get();
  }
  return *t_perThreadStorage;
}

UtilitiesDllPerThreadStorage* UtilitiesDllPerThreadStorage::TryGetUtilitiesDllPerThreadStorageObject() noexcept {
  return t_perThreadStorage;
}

UtilitiesDllPerThreadStorage* UtilitiesDllPerThreadStorage::GetStorageWhileLoaded() {
  if (g_markerWord.load(std::memory_order_relaxed) != kMarkerWhileLoaded) {
    return nullptr;
  }
  if (UtilitiesDllPerThreadStorage* storage = t_perThreadStorage) {
    return storage;
  }
  return &GetUtilitiesDllPerThreadStorageObject();
}

FixedBlockSizeMemoryPool& UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPool() {
  return GetUtilitiesDllPerThreadStorageObject().m_sharedPtrMemoryPool;
}

ExecutionContextStack* UtilitiesDllPerThreadStorage::TryGetExecutionContextStackForErrorDisplay() noexcept {
  if (g_markerWord.load(std::memory_order_acquire) != kMarkerWhileLoaded) {
    return nullptr;
  }
  const UtilitiesDllPerThreadStorage* storage = t_perThreadStorage;
  return storage != nullptr ? storage->m_executionContextStack.get() : nullptr;
}

void UtilitiesDllPerThreadStorage::InitializeDueToProcessAttach() noexcept {
  g_markerWord.store(kMarkerWhileLoaded, std::memory_order_release);
}

std::unique_ptr<UtilitiesDllPerThreadStorage> UtilitiesDllPerThreadStorage::CombineAndFreeStorages(
    std::vector<std::unique_ptr<UtilitiesDllPerThreadStorage>>& storages,
    UtilitiesDllPerThreadStorage* callingThreadStorage) noexcept {
  if (callingThreadStorage == nullptr && !storages.empty()) {
    callingThreadStorage = storages.front().get();
  }
  std::unique_ptr<UtilitiesDllPerThreadStorage> survivor;
  for (std::unique_ptr<UtilitiesDllPerThreadStorage>& storage : storages) {
    if (storage.get() == callingThreadStorage) {
      survivor = std::move(storage);
    }
  }
  for (std::unique_ptr<UtilitiesDllPerThreadStorage>& storage : storages) {
    if (storage) {
      callingThreadStorage->m_sharedPtrMemoryPool.CombineOtherMemoryPoolWithThisOne(storage->m_sharedPtrMemoryPool);
      storage.reset();
    }
  }
  storages.clear();
  return survivor;
}

void UtilitiesDllPerThreadStorage::CleanUpDueToProcessDetach() noexcept {
  PlatformFacilities::CriticalSectionLock lock(g_perThreadStorageLock);
  // The list is taken out first, and a calling thread without storage of its
  // own adopts the first one at once: destroying the other storages releases
  // shared pointers, which must find this thread's storage instead of
  // creating a new one in the list being walked.
  std::vector<std::unique_ptr<UtilitiesDllPerThreadStorage>> storages;
  storages.swap(g_perThreadStorages);
  if (t_perThreadStorage == nullptr && !storages.empty()) {
    t_perThreadStorage = storages.front().get();
  }
  std::unique_ptr<UtilitiesDllPerThreadStorage> survivor = CombineAndFreeStorages(storages, t_perThreadStorage);
  g_markerWord.store(0, std::memory_order_release);
  if (!survivor) {
    return;
  }
  FixedBlockSizeMemoryPool& pool = survivor->m_sharedPtrMemoryPool;
  pool.CombineOtherMemoryPoolWithThisOne(m_soSharedPtrMemoryPoolForNewThreads);
  if (pool.GetBlocksInUse() == 0) {
    t_perThreadStorage = nullptr;
    survivor.reset();
  } else {
    // Shared pointers outlive the library: their control blocks stay valid.
    t_perThreadStorage = survivor.release();
  }
}

std::uint32_t UtilitiesDllPerThreadStorage::GetMarkerWord() noexcept {
  return g_markerWord.load(std::memory_order_acquire);
}

std::size_t UtilitiesDllPerThreadStorage::GetNumberOfPerThreadStorageObjects() noexcept {
  PlatformFacilities::CriticalSectionLock lock(g_perThreadStorageLock);
  return g_perThreadStorages.size();
}

// ---- the global memory pool manager ----------------------------------------------

namespace GlobalMemoryPoolManager {

namespace {

// Under the per-thread-storage lock.
FixedBlockSizeMemoryPool* findReceivingPool(unsigned blockSize, unsigned blocksPerChunk, bool create) {
  FixedBlockSizeMemoryPool& forNewThreads = UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPoolForNewThreads();
  if (forNewThreads.GetBlockSize() == blockSize && forNewThreads.GetBlocksPerChunk() == blocksPerChunk) {
    return &forNewThreads;
  }
  for (const std::unique_ptr<FixedBlockSizeMemoryPool>& pool : g_receivingPoolsOfOtherGeometries) {
    if (pool->GetBlockSize() == blockSize && pool->GetBlocksPerChunk() == blocksPerChunk) {
      return pool.get();
    }
  }
  if (!create) {
    return nullptr;
  }
  g_receivingPoolsOfOtherGeometries.push_back(std::make_unique<FixedBlockSizeMemoryPool>(
      L"GlobalMemoryPoolManager receiving pool", blockSize, blocksPerChunk, true, false));
  return g_receivingPoolsOfOtherGeometries.back().get();
}

}  // namespace

void AdoptFreeListOf(FixedBlockSizeMemoryPool& pool) {
  PlatformFacilities::CriticalSectionLock lock(g_perThreadStorageLock);
  FixedBlockSizeMemoryPool* receiver = findReceivingPool(pool.GetBlockSize(), pool.GetBlocksPerChunk(), true);
  receiver->CombineOtherMemoryPoolWithThisOne(pool);
}

std::uint32_t GetFreeBlockCountForGeometry(unsigned blockSize, unsigned blocksPerChunk) {
  PlatformFacilities::CriticalSectionLock lock(g_perThreadStorageLock);
  const FixedBlockSizeMemoryPool* receiver = findReceivingPool(blockSize, blocksPerChunk, false);
  return receiver != nullptr ? receiver->GetFreeBlockCount() : 0;
}

}  // namespace GlobalMemoryPoolManager

// ---- static initialisation -------------------------------------------------------

namespace {

// The exit-list function. On Windows the entry routine's process-detach steps
// have already run when the DLL's exit list is processed (DllMain's detach
// comes first); a POSIX library has no entry routine, so they run here, still
// before the clean-up, which keeps the same order on both platforms.
void cleanUpAtExit() {
  DesktopUtilitiesLibraryHost::RunProcessDetachStepsIfNotYetRun();
  UtilitiesDllPerThreadStorage::CleanUpDueToProcessDetach();
  DesktopUtilitiesLibraryHost::NotifyUnloadStep("clean-up");
}

struct PerThreadStorageStaticInitializer {
  PerThreadStorageStaticInitializer() noexcept {
    UtilitiesDllPerThreadStorage::InitializeDueToProcessAttach();
    std::atexit(&cleanUpAtExit);
  }
};

// Must stay the last definition of this file (see the top).
PerThreadStorageStaticInitializer g_perThreadStorageStaticInitializer;

}  // namespace
