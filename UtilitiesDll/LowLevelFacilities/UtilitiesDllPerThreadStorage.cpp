#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include "DesktopUtilitiesLibraryHost.h"
#include "LowLevelFacilities/GlobalMemoryPoolManager.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/ThreadEndNotification.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

// Everything the unload clean-up uses (the lock, the list, the pool for new
// threads) is built before the static initialiser at the end of the file,
// which registers the clean-up with the runtime's exit list, and none of it is
// destroyed by the runtime: the order in which a runtime runs exit-list
// functions and static destructors differs (a sanitizer's runtime may run the
// destructors first), and threads that still run at exit may use the lock.

namespace {

using Storage = UtilitiesDllPerThreadStorage;

// The per-thread-storage lock. Where other threads may still run while the
// library unloads (POSIX exit), it is never destroyed: a thread that ends or
// releases a shared pointer after the static destructors have run still finds
// a working lock (and then the marker word 0). A POSIX mutex holds no other
// resources. On Windows it is deleted with the DLL's other statics.
struct PerThreadStorageLockHolder {
  PerThreadStorageLockHolder() noexcept
      : lock(::new (static_cast<void*>(storage)) PlatformFacilities::CriticalSection) {}
  ~PerThreadStorageLockHolder() {
    if (!ThreadEndNotification::otherThreadsMayRunDuringUnload()) {
      lock->~CriticalSection();
    }
  }
  PerThreadStorageLockHolder(const PerThreadStorageLockHolder&) = delete;
  PerThreadStorageLockHolder& operator=(const PerThreadStorageLockHolder&) = delete;

  alignas(PlatformFacilities::CriticalSection) unsigned char storage[sizeof(PlatformFacilities::CriticalSection)];
  PlatformFacilities::CriticalSection* lock;
};
PerThreadStorageLockHolder g_perThreadStorageLock;

// Every storage in use or waiting for reuse. Made with the first storage;
// the unload clean-up takes the storages out and deletes the list.
using StorageList = std::vector<std::unique_ptr<Storage>>;
StorageList* g_perThreadStorages = nullptr;

// The pool for new threads, built in place and never destroyed.
alignas(FixedBlockSizeMemoryPool) unsigned char g_poolForNewThreadsPlace[sizeof(FixedBlockSizeMemoryPool)];

// Trivially destructible, so they stay usable during unload whatever the order
// of destruction.
std::atomic<std::uint32_t> g_markerWord{0};
// The first of the storages waiting for reuse, which are linked through the
// storages themselves (so that giving a storage up allocates nothing). Under
// the lock.
Storage* g_firstWaitingStorage = nullptr;
thread_local UtilitiesDllPerThreadStorage* t_perThreadStorage = nullptr;
// Set when the thread's storage has been given up at the thread's end: what
// the thread still does afterwards must not take a storage again.
thread_local bool t_storageGivenUp = false;

constexpr const wchar_t* kSharedPtrPoolName = L"struct SharedPtrInfoStruct";
constexpr const wchar_t* kObjectPoolNames[Storage::kNumberOfObjectPools] = {
    L"MakeHldShared blocks of 32 bytes", L"MakeHldShared blocks of 48 bytes",  L"MakeHldShared blocks of 64 bytes",
    L"MakeHldShared blocks of 96 bytes", L"MakeHldShared blocks of 128 bytes", L"MakeHldShared blocks of 192 bytes",
    L"MakeHldShared blocks of 256 bytes"};

bool isLoaded() noexcept {
  return g_markerWord.load(std::memory_order_acquire) == Storage::kMarkerWhileLoaded;
}

// Storages the unload clean-up must not free (a thread may still be using
// them) and storages made after the clean-up: never freed. The list is never
// destroyed either (a plain pointer), so that they stay reachable, for leak
// checkers too, after their threads have ended.
std::vector<Storage*>* g_storagesSetAside = nullptr;

// Under the lock. When even the list cannot grow, the storage is simply
// never freed.
void setAside(std::unique_ptr<Storage> storage) noexcept {
  Storage* kept = storage.release();
  try {
    if (g_storagesSetAside == nullptr) {
      g_storagesSetAside = new std::vector<Storage*>;
    }
    g_storagesSetAside->push_back(kept);
  } catch (...) {
  }
}

}  // namespace

FixedBlockSizeMemoryPool& UtilitiesDllPerThreadStorage::m_soSharedPtrMemoryPoolForNewThreads =
    *::new (static_cast<void*>(g_poolForNewThreadsPlace))
        FixedBlockSizeMemoryPool(kSharedPtrPoolName, UtilitiesDllPerThreadStorage::kSharedPtrBlockSize,
                                 UtilitiesDllPerThreadStorage::kSharedPtrBlocksPerChunk, true, false);

UtilitiesDllPerThreadStorage::UtilitiesDllPerThreadStorage() noexcept
    : m_sharedPtrMemoryPool(kSharedPtrPoolName, kSharedPtrBlockSize, kSharedPtrBlocksPerChunk, true, false),
      m_objectPools{{kObjectPoolNames[0], kObjectPoolBlockSizes[0], GetObjectPoolBlocksPerChunk(0), true, false},
                    {kObjectPoolNames[1], kObjectPoolBlockSizes[1], GetObjectPoolBlocksPerChunk(1), true, false},
                    {kObjectPoolNames[2], kObjectPoolBlockSizes[2], GetObjectPoolBlocksPerChunk(2), true, false},
                    {kObjectPoolNames[3], kObjectPoolBlockSizes[3], GetObjectPoolBlocksPerChunk(3), true, false},
                    {kObjectPoolNames[4], kObjectPoolBlockSizes[4], GetObjectPoolBlocksPerChunk(4), true, false},
                    {kObjectPoolNames[5], kObjectPoolBlockSizes[5], GetObjectPoolBlocksPerChunk(5), true, false},
                    {kObjectPoolNames[6], kObjectPoolBlockSizes[6], GetObjectPoolBlocksPerChunk(6), true, false}},
      m_creatingThreadId(PlatformFacilities::currentThreadId()) {
  static_assert(kNumberOfObjectPools == 7, "one initialiser per object pool");
  m_sharedPtrMemoryPool.SetGlobalMemoryPoolManagerThreshold(GetGlobalManagerThresholdFor(kSharedPtrBlocksPerChunk));
  for (unsigned i = 0; i < kNumberOfObjectPools; ++i) {
    m_objectPools[i].SetGlobalMemoryPoolManagerThreshold(GetGlobalManagerThresholdFor(GetObjectPoolBlocksPerChunk(i)));
  }
}

// The stacks go first (they may hold shared pointers whose blocks return to
// this storage's pools), then the pools with their chunks.
UtilitiesDllPerThreadStorage::~UtilitiesDllPerThreadStorage() {
  m_constraintExecutionContextStack.reset();
  m_executionContextStack.reset();
}

FixedBlockSizeMemoryPool& UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPoolForNewThreads() noexcept {
  return m_soSharedPtrMemoryPoolForNewThreads;
}

PlatformFacilities::CriticalSection& UtilitiesDllPerThreadStorage::GetPerThreadStorageLock() noexcept {
  return *g_perThreadStorageLock.lock;
}

std::uint32_t UtilitiesDllPerThreadStorage::GetBlocksInUseOfThisStorage() const noexcept {
  std::uint32_t inUse = m_sharedPtrMemoryPool.GetBlocksInUse();
  for (const FixedBlockSizeMemoryPool& pool : m_objectPools) {
    inUse += pool.GetBlocksInUse();
  }
  return inUse;
}

void UtilitiesDllPerThreadStorage::CombinePoolsOf(UtilitiesDllPerThreadStorage& other) noexcept {
  m_sharedPtrMemoryPool.CombineOtherMemoryPoolWithThisOne(other.m_sharedPtrMemoryPool);
  for (unsigned i = 0; i < kNumberOfObjectPools; ++i) {
    m_objectPools[i].CombineOtherMemoryPoolWithThisOne(other.m_objectPools[i]);
  }
}

// A storage taken by a new thread comes to it as a new one would: empty
// stacks (they were destroyed when the last thread ended; again here in case
// that thread made them after), and the new thread's identifier.
void UtilitiesDllPerThreadStorage::PrepareForReuseByCallingThread() noexcept {
  m_constraintExecutionContextStack.reset();
  m_executionContextStack.reset();
  m_creatingThreadId = PlatformFacilities::currentThreadId();
  m_waitingForReuse = false;
}

UtilitiesDllPerThreadStorage& UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject() {
  if (UtilitiesDllPerThreadStorage* storage = t_perThreadStorage) {
    return *storage;
  }
  PlatformFacilities::LastErrorPreserver preserveLastError;
  PlatformFacilities::CriticalSectionLock lock(GetPerThreadStorageLock());
  if (t_perThreadStorage != nullptr) {
    return *t_perThreadStorage;
  }
  if (!isLoaded()) {
    // After the unload clean-up (or before the static initialisation): a
    // storage of its own that is never freed nor listed.
    auto storage = std::make_unique<UtilitiesDllPerThreadStorage>();
    t_perThreadStorage = storage.get();
    setAside(std::move(storage));
    return *t_perThreadStorage;
  }
  UtilitiesDllPerThreadStorage* storage = g_firstWaitingStorage;
  if (storage != nullptr) {
    g_firstWaitingStorage = storage->m_nextWaitingStorage;
    storage->m_nextWaitingStorage = nullptr;
    storage->PrepareForReuseByCallingThread();
  } else {
    // Everything that can fail comes before anything moves.
    if (g_perThreadStorages == nullptr) {
      g_perThreadStorages = new StorageList;
    }
    g_perThreadStorages->reserve(g_perThreadStorages->size() + 1);
    g_perThreadStorages->push_back(std::make_unique<UtilitiesDllPerThreadStorage>());  // no reallocation
    storage = g_perThreadStorages->back().get();
    // A new storage starts with the free blocks of the pool for new threads. A
    // reused one does not: it takes a chunk's worth from the global manager
    // when it first needs blocks, so that threads starting together share them.
    storage->m_sharedPtrMemoryPool.CombineOtherMemoryPoolWithThisOne(m_soSharedPtrMemoryPoolForNewThreads);
  }
  // Without the notification the storage is simply never reused.
  static_cast<void>(ThreadEndNotification::registerCallingThread(storage));
  t_perThreadStorage = storage;
  t_storageGivenUp = false;
  return *storage;
}

UtilitiesDllPerThreadStorage* UtilitiesDllPerThreadStorage::TryGetUtilitiesDllPerThreadStorageObject() noexcept {
  return isLoaded() ? t_perThreadStorage : nullptr;
}

UtilitiesDllPerThreadStorage* UtilitiesDllPerThreadStorage::GetStorageWhileLoaded() {
  if (g_markerWord.load(std::memory_order_relaxed) != kMarkerWhileLoaded) {
    return nullptr;
  }
  if (UtilitiesDllPerThreadStorage* storage = t_perThreadStorage) {
    return storage;
  }
  if (t_storageGivenUp) {
    return nullptr;
  }
  return &GetUtilitiesDllPerThreadStorageObject();
}

FixedBlockSizeMemoryPool& UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPool() {
  return GetUtilitiesDllPerThreadStorageObject().m_sharedPtrMemoryPool;
}

ExecutionContextStack* UtilitiesDllPerThreadStorage::TryGetExecutionContextStackForErrorDisplay() noexcept {
  if (!isLoaded()) {
    return nullptr;
  }
  const UtilitiesDllPerThreadStorage* storage = t_perThreadStorage;
  return storage != nullptr ? storage->m_executionContextStack.get() : nullptr;
}

// The end of a thread that had a storage (ThreadEndNotification's callback,
// on the ending thread). On Windows, closing the notification at unload calls
// it for every registered thread: the marker word is 0 by then and nothing is
// touched.
void UtilitiesDllPerThreadStorage::GiveUpStorageOfEndedThread(void* value) {
  auto* storage = static_cast<UtilitiesDllPerThreadStorage*>(value);
  if (!isLoaded() || storage == nullptr || t_perThreadStorage != storage) {
    return;  // unloading, or not this thread's storage (a fiber that ended elsewhere)
  }
  PlatformFacilities::LastErrorPreserver preserveLastError;
  // The stacks first, without the lock (destroying them may take other locks
  // and release shared pointers, whose blocks come back to these pools).
  storage->m_constraintExecutionContextStack.reset();
  storage->m_executionContextStack.reset();
  PlatformFacilities::CriticalSectionLock lock(GetPerThreadStorageLock());
  if (!isLoaded()) {
    return;  // the unload clean-up has begun: it decides about this storage
  }
  // The free blocks go where other threads find them; the chunks stay.
  static_cast<void>(GlobalMemoryPoolManager::AcceptFreeListOf(storage->m_sharedPtrMemoryPool));
  for (FixedBlockSizeMemoryPool& pool : storage->m_objectPools) {
    static_cast<void>(GlobalMemoryPoolManager::AcceptFreeListOf(pool));
  }
  t_perThreadStorage = nullptr;
  t_storageGivenUp = true;
  storage->m_waitingForReuse = true;
  storage->m_nextWaitingStorage = g_firstWaitingStorage;
  g_firstWaitingStorage = storage;
}

void UtilitiesDllPerThreadStorage::InitializeDueToProcessAttach() noexcept {
  // Without the notification storages are simply never reused.
  static_cast<void>(ThreadEndNotification::open(&GiveUpStorageOfEndedThread));
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
      callingThreadStorage->CombinePoolsOf(*storage);
      storage.reset();
    }
  }
  storages.clear();
  return survivor;
}

void UtilitiesDllPerThreadStorage::CleanUpDueToProcessDetach() noexcept {
  if (DesktopUtilitiesLibraryHost::IsProcessEnding()) {
    // The system has ended the other threads wherever they were: inside the
    // lock, halfway through changing a list, inside the heap. Nothing is
    // touched and nothing is freed (the system takes the process's memory
    // back); shared pointers released from here on leave their blocks alone.
    g_markerWord.store(0, std::memory_order_seq_cst);
    return;
  }
  std::unique_ptr<UtilitiesDllPerThreadStorage> survivorToFree;
  {
    PlatformFacilities::CriticalSectionLock lock(GetPerThreadStorageLock());
    // First: from now on no thread starts to use a storage, and none is made.
    g_markerWord.store(0, std::memory_order_seq_cst);
    StorageList listed;
    if (g_perThreadStorages != nullptr) {
      listed.swap(*g_perThreadStorages);
      delete g_perThreadStorages;
      g_perThreadStorages = nullptr;
    }
    g_firstWaitingStorage = nullptr;

    // Which storages no other thread can be using.
    const bool othersMayRun = ThreadEndNotification::otherThreadsMayRunDuringUnload();
    UtilitiesDllPerThreadStorage* calling = t_perThreadStorage;
    std::vector<std::unique_ptr<UtilitiesDllPerThreadStorage>> combinable;
    bool somethingSetAside = false;
    try {
      combinable.reserve(listed.size());
    } catch (...) {
      // No room to sort them: every storage is set aside below.
    }
    for (std::unique_ptr<UtilitiesDllPerThreadStorage>& storage : listed) {
      const bool mayBeInUse = othersMayRun && storage.get() != calling && !storage->m_waitingForReuse;
      if (mayBeInUse || combinable.size() == combinable.capacity()) {
        setAside(std::move(storage));
        somethingSetAside = true;
      } else {
        combinable.push_back(std::move(storage));  // within the reserved capacity: cannot throw
      }
    }
    // A calling thread without a storage of its own in the list adopts the
    // first combinable one.
    bool callingIsListed = false;
    for (const std::unique_ptr<UtilitiesDllPerThreadStorage>& storage : combinable) {
      callingIsListed = callingIsListed || storage.get() == calling;
    }
    if (!callingIsListed) {
      calling = combinable.empty() ? nullptr : combinable.front().get();
    }
    // (Without a survivor nothing was combined or freed: the manager's pools
    // and this thread's slot stay as they are.)
    std::unique_ptr<UtilitiesDllPerThreadStorage> survivor = CombineAndFreeStorages(combinable, calling);
    if (survivor) {
      FixedBlockSizeMemoryPool* survivorPools[1 + kNumberOfObjectPools];
      survivorPools[0] = &survivor->m_sharedPtrMemoryPool;
      for (unsigned i = 0; i < kNumberOfObjectPools; ++i) {
        survivorPools[1 + i] = &survivor->m_objectPools[i];
      }
      GlobalMemoryPoolManager::CombineReceivingPoolsIntoSurvivors(survivorPools, 1 + kNumberOfObjectPools);
      if (!somethingSetAside && survivor->GetBlocksInUseOfThisStorage() == 0) {
        t_perThreadStorage = nullptr;
        survivorToFree = std::move(survivor);
      } else {
        // Blocks of its chunks may still be in use: kept, so that their late
        // release never touches freed memory. (Not listed as set aside: this
        // thread's slot keeps it, as for a library unloaded while it runs.)
        t_perThreadStorage = survivor.release();
      }
    }
  }
  survivorToFree.reset();
  // Outside the lock: on Windows closing calls back for every registered
  // thread, and a thread ending meanwhile may hold the system's lock of those
  // callbacks while it waits for ours.
  ThreadEndNotification::close();
}

std::uint32_t UtilitiesDllPerThreadStorage::GetMarkerWord() noexcept {
  return g_markerWord.load(std::memory_order_acquire);
}

std::size_t UtilitiesDllPerThreadStorage::GetNumberOfPerThreadStorageObjects() noexcept {
  PlatformFacilities::CriticalSectionLock lock(GetPerThreadStorageLock());
  return g_perThreadStorages != nullptr ? g_perThreadStorages->size() : 0;
}

std::size_t UtilitiesDllPerThreadStorage::GetNumberOfStorageObjectsWaitingForReuse() noexcept {
  PlatformFacilities::CriticalSectionLock lock(GetPerThreadStorageLock());
  std::size_t count = 0;
  for (const UtilitiesDllPerThreadStorage* storage = g_firstWaitingStorage; storage != nullptr;
       storage = storage->m_nextWaitingStorage) {
    ++count;
  }
  return count;
}

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
