#include "DesktopUtilitiesLibraryHost.h"
#include "LowLevelFacilities/GlobalMemoryPoolManager.h"
#include "LowLevelFacilities/HldSharedPtr.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#define HDU_TEST_POISONS_MEMORY 1
#else
#define HDU_TEST_POISONS_MEMORY 0
#endif

using Storage = UtilitiesDllPerThreadStorage;

namespace {

struct Payload {
  explicit Payload(int v) : value(v) {}
  int value;
  int more[3] = {};
};

// Runs `work(index)` on `count` threads that are all alive at the same time
// (each waits until every one has done its work), then joins them.
template <class Work>
void runTogether(int count, Work work) {
  std::mutex mutex;
  std::condition_variable allDone;
  int done = 0;
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      work(i);
      std::unique_lock<std::mutex> lock(mutex);
      if (++done == count) {
        allDone.notify_all();
      }
      allDone.wait(lock, [&] { return done == count; });
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace

TEST(UtilitiesDllPerThreadStorage, MarkerWordIs34567WhileTheLibraryIsLoaded) {
  EXPECT_EQ(Storage::GetMarkerWord(), 34567u);
  EXPECT_EQ(Storage::GetMarkerWord(), static_cast<std::uint32_t>(Storage::kMarkerWhileLoaded));
  // The entry routine has remembered the library's own module, and has not
  // been told to detach.
  EXPECT_NE(DesktopUtilitiesLibraryHost::GetModuleInstanceHandle(), nullptr);
  EXPECT_EQ(DesktopUtilitiesLibraryHost::GetModuleInstanceHandle(), PlatformFacilities::ownModuleHandle());
  EXPECT_FALSE(DesktopUtilitiesLibraryHost::HasProcessDetachRun());
  EXPECT_EQ(DesktopUtilitiesLibraryHost::GetUnloadTimeStamp(), 0u);
}

TEST(UtilitiesDllPerThreadStorage, ThreadThatNeverCalledTheLibraryHasNoStorage) {
  const std::size_t before = Storage::GetNumberOfPerThreadStorageObjects();
  bool hadStorage = true;
  bool hadStack = true;
  bool hasStorageAfterwards = true;
  std::thread([&] {
    hadStorage = Storage::TryGetUtilitiesDllPerThreadStorageObject() != nullptr;
    hadStack = Storage::TryGetExecutionContextStackForErrorDisplay() != nullptr;
    hasStorageAfterwards = Storage::TryGetUtilitiesDllPerThreadStorageObject() != nullptr;
  }).join();
  EXPECT_FALSE(hadStorage);
  EXPECT_FALSE(hadStack);
  EXPECT_FALSE(hasStorageAfterwards);
  EXPECT_EQ(Storage::GetNumberOfPerThreadStorageObjects(), before);

  // A thread that uses it gets one storage, listed once, with no stacks,
  // serving this thread; when the thread ends it waits for reuse.
  Storage* created = nullptr;
  Storage* again = nullptr;
  std::uint32_t threadId = 0;
  std::uint32_t creatingThreadId = 1;
  bool waitingWhileInUse = true;
  std::thread([&] {
    created = &Storage::GetUtilitiesDllPerThreadStorageObject();
    again = &Storage::GetUtilitiesDllPerThreadStorageObject();
    threadId = PlatformFacilities::currentThreadId();
    creatingThreadId = created->GetCreatingThreadId();
    waitingWhileInUse = created->IsWaitingForReuse();
    EXPECT_EQ(Storage::TryGetUtilitiesDllPerThreadStorageObject(), created);
    EXPECT_EQ(Storage::GetStorageWhileLoaded(), created);
    EXPECT_EQ(Storage::TryGetExecutionContextStackForErrorDisplay(), nullptr);
    EXPECT_EQ(created->PeekExecutionContextStack(), nullptr);
    EXPECT_EQ(created->PeekConstraintExecutionContextStack(), nullptr);
  }).join();
  EXPECT_EQ(created, again);
  EXPECT_EQ(creatingThreadId, threadId);
  EXPECT_FALSE(waitingWhileInUse);
  EXPECT_TRUE(created->IsWaitingForReuse());
  EXPECT_GE(Storage::GetNumberOfStorageObjectsWaitingForReuse(), 1u);
  EXPECT_LE(Storage::GetNumberOfPerThreadStorageObjects(), before + 1);
}

TEST(UtilitiesDllPerThreadStorage, BlockReturnedOnAnotherThreadEndsInThatThreadsFreeList) {
  void* block = nullptr;
  FixedBlockSizeMemoryPool* pools[2] = {};
  bool atHeadOfB = false;
  bool inListOfA = true;
  std::uint32_t returnsOfB = 0;
  std::uint32_t inUseOfA = 0;
  std::mutex mutex;
  runTogether(2, [&](int i) {
    std::lock_guard<std::mutex> lock(mutex);  // A first, then B, both alive
    pools[i] = &Storage::GetSharedPtrMemoryPool();
    if (block == nullptr) {
      block = pools[i]->AllocateFromPool(12);
      inUseOfA = pools[i]->GetBlocksInUse();
    } else {
      const std::uint32_t before = pools[i]->GetCounters().returns;
      // (Kept from the global manager: a storage seeded with many free blocks
      // would pass its whole list on at this return.)
      const std::uint32_t threshold = pools[i]->GetGlobalMemoryPoolManagerThreshold();
      pools[i]->SetGlobalMemoryPoolManagerThreshold(0);
      pools[i]->ReturnToPool(block, 12);
      pools[i]->SetGlobalMemoryPoolManagerThreshold(threshold);
      atHeadOfB = pools[i]->PeekFreeListHead() == block;
      inListOfA = pools[1 - i]->IsBlockInFreeList(block);
      returnsOfB = pools[i]->GetCounters().returns - before;
    }
  });
  EXPECT_NE(pools[0], pools[1]);
  EXPECT_TRUE(atHeadOfB);
  EXPECT_FALSE(inListOfA);
  EXPECT_EQ(returnsOfB, 1u);
  EXPECT_GE(inUseOfA, 1u);
}

TEST(UtilitiesDllPerThreadStorage, UnloadCleanUpLeavesEveryBlockInOnePool) {
  // Storages built here, not the process's own: the same algorithm, on a list
  // of our own. Their pools do not share with the global manager here, so that
  // every chunk is carved by them.
  for (int callingIndex : {-1, 1}) {
    std::vector<std::unique_ptr<Storage>> storages;
    storages.reserve(3);
    for (int i = 0; i < 3; ++i) {
      storages.push_back(std::make_unique<Storage>());
      storages.back()->GetSharedPtrMemoryPoolOfThisStorage().SetGlobalMemoryPoolManagerThreshold(0);
    }
    std::vector<FixedBlockSizeMemoryPool*> pools;
    pools.reserve(storages.size());
    for (const auto& storage : storages) {
      pools.push_back(&storage->GetSharedPtrMemoryPoolOfThisStorage());
    }
    // Pool 0 hands out two blocks; one comes back to pool 2, one stays in use.
    void* returnedElsewhere = pools[0]->AllocateFromPool(12);
    void* inUse = pools[0]->AllocateFromPool(12);
    pools[2]->ReturnToPool(returnedElsewhere, 12);
    pools[1]->ReturnToPool(pools[1]->AllocateFromPool(12), 12);
    std::uint32_t totalFree = 0;
    for (FixedBlockSizeMemoryPool* pool : pools) {
      totalFree += pool->GetFreeBlockCount();
    }
    Storage* calling = callingIndex < 0 ? nullptr : storages[callingIndex].get();
    Storage* expectedSurvivor = callingIndex < 0 ? storages[0].get() : calling;

    std::unique_ptr<Storage> survivor = Storage::CombineAndFreeStorages(storages, calling);
    ASSERT_EQ(survivor.get(), expectedSurvivor);
    EXPECT_TRUE(storages.empty());
    FixedBlockSizeMemoryPool& pool = survivor->GetSharedPtrMemoryPoolOfThisStorage();
    EXPECT_EQ(pool.GetFreeBlockCount(), totalFree);
    EXPECT_EQ(pool.CountFreeListBlocks(), totalFree);
    EXPECT_TRUE(pool.IsBlockInFreeList(returnedElsewhere));
    EXPECT_EQ(pool.GetCounters().chunks, 2u);
    EXPECT_EQ(pool.GetCounters().allocations, 3u);
    EXPECT_EQ(pool.GetCounters().returns, 2u);
    EXPECT_EQ(pool.GetBlocksInUse(), 1u);
    // Every block is in memory the survivor owns: all can be handed out and written.
    for (std::uint32_t i = 0; i < totalFree; ++i) {
      std::memset(pool.AllocateFromPool(12), 0x3C, 12);
    }
    std::memset(inUse, 0x3C, 12);
  }
}

// The unload clean-up combines the pools of every thread that ever used the
// library. It must not walk the free lists: with thousands of threads each
// walk of the ever longer surviving list made it quadratic. Every free block
// but the last of each list is poisoned, so that touching one stops the test
// (under AddressSanitizer; elsewhere only the results are checked).
TEST(UtilitiesDllPerThreadStorage, CombiningStoragesDoesNotWalkTheirFreeLists) {
  std::vector<std::unique_ptr<Storage>> storages;
  std::vector<std::vector<void*>> lists;
  storages.reserve(4);
  for (int i = 0; i < 4; ++i) {
    storages.push_back(std::make_unique<Storage>());
    for (FixedBlockSizeMemoryPool* pool :
         {&storages.back()->GetSharedPtrMemoryPoolOfThisStorage(), &storages.back()->GetObjectPoolOfThisStorage(1)}) {
      pool->SetGlobalMemoryPoolManagerThreshold(0);
      pool->ReturnToPool(pool->AllocateFromPool(pool->GetBlockSize()), 0);
    }
  }
  std::vector<void*> expectedOrder;  // the survivor's list, then each other's in turn
  for (const auto& storage : storages) {
    const FixedBlockSizeMemoryPool& pool = storage->GetSharedPtrMemoryPoolOfThisStorage();
    for (const void* p = pool.PeekFreeListHead(); p != nullptr; p = *static_cast<void* const*>(p)) {
      expectedOrder.push_back(const_cast<void*>(p));
    }
  }
  std::vector<void*> poisoned;
  for (const auto& storage : storages) {
    for (const FixedBlockSizeMemoryPool* pool :
         {&storage->GetSharedPtrMemoryPoolOfThisStorage(), &storage->GetObjectPoolOfThisStorage(1)}) {
      for (const void* p = pool->PeekFreeListHead(); p != pool->PeekFreeListTail(); p = *static_cast<void* const*>(p)) {
        poisoned.push_back(const_cast<void*>(p));
      }
    }
  }
#if HDU_TEST_POISONS_MEMORY
  for (void* block : poisoned) {
    ASAN_POISON_MEMORY_REGION(block, sizeof(void*));
  }
#endif
  std::unique_ptr<Storage> survivor = Storage::CombineAndFreeStorages(storages, nullptr);
#if HDU_TEST_POISONS_MEMORY
  for (void* block : poisoned) {
    ASAN_UNPOISON_MEMORY_REGION(block, sizeof(void*));
  }
#endif
  ASSERT_NE(survivor, nullptr);
  const FixedBlockSizeMemoryPool& pool = survivor->GetSharedPtrMemoryPoolOfThisStorage();
  std::vector<void*> combined;
  for (const void* p = pool.PeekFreeListHead(); p != nullptr; p = *static_cast<void* const*>(p)) {
    combined.push_back(const_cast<void*>(p));
  }
  EXPECT_EQ(combined, expectedOrder);
  EXPECT_EQ(pool.GetFreeBlockCount(), 4u * 4000u);
  EXPECT_EQ(pool.PeekFreeListTail(), expectedOrder.back());
  EXPECT_EQ(pool.GetCounters().chunks, 4u);
  const FixedBlockSizeMemoryPool& objects = survivor->GetObjectPoolOfThisStorage(1);
  EXPECT_EQ(objects.GetFreeBlockCount(), 4u * objects.GetBlocksPerChunk());
  EXPECT_EQ(objects.CountFreeListBlocks(), objects.GetFreeBlockCount());
}

TEST(UtilitiesDllPerThreadStorage, RecycledSharedPointerBlocksSeedTheNextNewThread) {
  FixedBlockSizeMemoryPool& forNewThreads = Storage::GetSharedPtrMemoryPoolForNewThreads();
  ASSERT_EQ(forNewThreads.GetBlockSize(), 12u);
  ASSERT_EQ(forNewThreads.GetBlocksPerChunk(), 4000u);
  const std::uint32_t before = GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(12, 4000);
  {
    FixedBlockSizeMemoryPool pool(L"struct SharedPtrInfoStruct", 12, 4000, true, false);
    pool.ReturnToPool(pool.AllocateFromPool(12), 12);
    pool.RecycleMemoryPoolFreeListWithGlobalMemoryPoolManager();
    EXPECT_EQ(pool.GetFreeBlockCount(), 0u);
  }
  EXPECT_EQ(GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(12, 4000), before + 4000u);
  // A storage made new starts with them (reused storages do not): as many
  // threads at once as storages wait for reuse, and one more.
  const std::size_t storagesBefore = Storage::GetNumberOfPerThreadStorageObjects();
  const int threads = static_cast<int>(Storage::GetNumberOfStorageObjectsWaitingForReuse()) + 1;
  std::uint32_t seeded = 0;
  std::mutex mutex;
  runTogether(threads, [&](int) {
    const std::uint32_t freeBlocks = Storage::GetSharedPtrMemoryPool().GetFreeBlockCount();
    std::lock_guard<std::mutex> lock(mutex);
    seeded = std::max(seeded, freeBlocks);
  });
  EXPECT_EQ(Storage::GetNumberOfPerThreadStorageObjects(), storagesBefore + 1);
  EXPECT_GE(seeded, before + 4000u);
  // The threads ended: their free blocks went back to the manager.
  EXPECT_GE(forNewThreads.GetFreeBlockCount(), before + 4000u);
}

// A spooler starts a thread per job. Storages of ended threads are reused, so
// the number of storages follows the number of threads alive at once, not the
// number that ever ran.
TEST(UtilitiesDllPerThreadStorage, ThreadsPerTaskReuseTheStoragesOfEndedThreads) {
  std::vector<HldSharedPtr<Payload>> madeByTasks;
  std::mutex mutex;
  const std::size_t before = Storage::GetNumberOfPerThreadStorageObjects();
  std::set<Storage*> storagesSeen;
  int wrongOwner = 0;
  int withStacks = 0;
  for (int task = 0; task < 200; ++task) {
    std::thread([&, task] {
      HldSharedPtr<Payload> made = MakeHldShared<Payload>(task);
      HldSharedPtr<Payload> other(new Payload(-task));
      Storage* storage = Storage::TryGetUtilitiesDllPerThreadStorageObject();
      std::lock_guard<std::mutex> lock(mutex);
      storagesSeen.insert(storage);
      wrongOwner += storage->GetCreatingThreadId() != PlatformFacilities::currentThreadId() ? 1 : 0;
      withStacks += storage->PeekExecutionContextStack() != nullptr ? 1 : 0;
      madeByTasks.push_back(std::move(made));
      madeByTasks.push_back(std::move(other));
    }).join();
  }
  EXPECT_LE(Storage::GetNumberOfPerThreadStorageObjects(), before + 1);
  EXPECT_LE(storagesSeen.size(), 2u);
  EXPECT_EQ(wrongOwner, 0);
  EXPECT_EQ(withStacks, 0);

  // Waves of four threads alive at once: at most four storages more, and the
  // threads of a wave share the free blocks the ended ones left instead of
  // carving chunks of their own, wave after wave.
  std::uint32_t chunksCarved = 0;
  for (int wave = 0; wave < 25; ++wave) {
    runTogether(4, [&](int i) {
      Storage& storage = Storage::GetUtilitiesDllPerThreadStorageObject();
      FixedBlockSizeMemoryPool& objects =
          storage.GetObjectPoolOfThisStorage(InternalHaldenCP::ObjectPoolIndexFor<Payload>());
      FixedBlockSizeMemoryPool& controlBlocks = storage.GetSharedPtrMemoryPoolOfThisStorage();
      const std::uint32_t chunksBefore = objects.GetCounters().chunks + controlBlocks.GetCounters().chunks;
      HldSharedPtr<Payload> made = MakeHldShared<Payload>(wave * 4 + i);
      HldSharedPtr<Payload> other(new Payload(-(wave * 4 + i)));
      const std::uint32_t carved = objects.GetCounters().chunks + controlBlocks.GetCounters().chunks - chunksBefore;
      std::lock_guard<std::mutex> lock(mutex);
      chunksCarved += carved;
      madeByTasks.push_back(std::move(made));
      madeByTasks.push_back(std::move(other));
    });
  }
  EXPECT_LE(Storage::GetNumberOfPerThreadStorageObjects(), before + 4);
  EXPECT_LE(chunksCarved, 8u);  // one of each kind per storage at most
  // The objects outlive the threads that made them; released here.
  ASSERT_EQ(madeByTasks.size(), 600u);
  for (std::size_t i = 0; i < 400; i += 2) {
    EXPECT_EQ(madeByTasks[i]->value, static_cast<int>(i / 2));
    EXPECT_EQ(madeByTasks[i + 1]->value, -static_cast<int>(i / 2));
  }
  madeByTasks.clear();
}

// One thread makes objects, another releases them, never more than 1,000
// alive. Every block ends on the releasing thread's free list; the manager
// takes them from there back to the making thread, which would otherwise carve
// a new chunk every 4,000 objects.
TEST(UtilitiesDllPerThreadStorage, ProducerAndConsumerReuseTheSameBlocks) {
  constexpr int kObjects = 120000;
  constexpr int kAlive = 1000;
  struct Slot {
    HldSharedPtr<Payload> made;
    HldSharedPtr<Payload> separate;
  };
  std::vector<Slot> ring(kAlive);
  std::atomic<int> produced{0};
  std::atomic<int> consumed{0};
  std::uint32_t chunksCarved[2] = {};
  std::uint32_t consumerFreeBlocks[2] = {};
  std::thread producer([&] {
    Storage& storage = Storage::GetUtilitiesDllPerThreadStorageObject();
    FixedBlockSizeMemoryPool* pools[2] = {
        &storage.GetSharedPtrMemoryPoolOfThisStorage(),
        &storage.GetObjectPoolOfThisStorage(InternalHaldenCP::ObjectPoolIndexFor<Payload>())};
    const std::uint32_t chunksBefore[2] = {pools[0]->GetCounters().chunks, pools[1]->GetCounters().chunks};
    for (int i = 0; i < kObjects; ++i) {
      while (i - consumed.load(std::memory_order_acquire) >= kAlive) {
        std::this_thread::yield();
      }
      ring[static_cast<std::size_t>(i % kAlive)] = {MakeHldShared<Payload>(i), HldSharedPtr<Payload>(new Payload(i))};
      produced.store(i + 1, std::memory_order_release);
    }
    for (int p = 0; p < 2; ++p) {
      chunksCarved[p] = pools[p]->GetCounters().chunks - chunksBefore[p];
    }
  });
  std::thread consumer([&] {
    Storage& storage = Storage::GetUtilitiesDllPerThreadStorageObject();
    for (int i = 0; i < kObjects; ++i) {
      while (produced.load(std::memory_order_acquire) <= i) {
        std::this_thread::yield();
      }
      Slot taken = std::move(ring[static_cast<std::size_t>(i % kAlive)]);
      EXPECT_EQ(taken.made->value, i);
      taken = {};
      consumed.store(i + 1, std::memory_order_release);
    }
    consumerFreeBlocks[0] = storage.GetSharedPtrMemoryPoolOfThisStorage().GetFreeBlockCount();
    consumerFreeBlocks[1] =
        storage.GetObjectPoolOfThisStorage(InternalHaldenCP::ObjectPoolIndexFor<Payload>()).GetFreeBlockCount();
  });
  producer.join();
  consumer.join();
  // Without the manager: 30 chunks of control blocks and 234 of objects.
  EXPECT_LE(chunksCarved[0], 4u);
  EXPECT_LE(chunksCarved[1], 4u);
  EXPECT_LE(consumerFreeBlocks[0], Storage::GetGlobalManagerThresholdFor(Storage::kSharedPtrBlocksPerChunk));
  const unsigned objectPool = InternalHaldenCP::ObjectPoolIndexFor<Payload>();
  EXPECT_LE(consumerFreeBlocks[1],
            Storage::GetGlobalManagerThresholdFor(Storage::GetObjectPoolBlocksPerChunk(objectPool)));
}
