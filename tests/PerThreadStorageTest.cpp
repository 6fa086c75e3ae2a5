#include "DesktopUtilitiesLibraryHost.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

using Storage = UtilitiesDllPerThreadStorage;

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

  // A thread that uses it gets one storage, listed once, with no stacks.
  Storage* created = nullptr;
  Storage* again = nullptr;
  std::uint32_t threadId = 0;
  std::uint32_t creatingThreadId = 1;
  std::thread([&] {
    created = &Storage::GetUtilitiesDllPerThreadStorageObject();
    again = &Storage::GetUtilitiesDllPerThreadStorageObject();
    threadId = PlatformFacilities::currentThreadId();
    creatingThreadId = created->GetCreatingThreadId();
    EXPECT_EQ(Storage::TryGetUtilitiesDllPerThreadStorageObject(), created);
    EXPECT_EQ(Storage::TryGetExecutionContextStackForErrorDisplay(), nullptr);
  }).join();
  EXPECT_EQ(created, again);
  EXPECT_EQ(creatingThreadId, threadId);
  EXPECT_EQ(created->PeekExecutionContextStack(), nullptr);
  EXPECT_EQ(created->PeekConstraintExecutionContextStack(), nullptr);
  EXPECT_EQ(Storage::GetNumberOfPerThreadStorageObjects(), before + 1);
}

TEST(UtilitiesDllPerThreadStorage, BlockReturnedOnAnotherThreadEndsInThatThreadsFreeList) {
  void* block = nullptr;
  FixedBlockSizeMemoryPool* poolA = nullptr;
  FixedBlockSizeMemoryPool* poolB = nullptr;
  std::thread([&] {
    poolA = &Storage::GetSharedPtrMemoryPool();
    block = poolA->AllocateFromPool(12);
  }).join();
  std::thread([&] {
    poolB = &Storage::GetSharedPtrMemoryPool();
    poolB->ReturnToPool(block, 12);
  }).join();
  ASSERT_NE(poolA, poolB);
  EXPECT_EQ(poolB->PeekFreeListHead(), block);
  EXPECT_FALSE(poolA->IsBlockInFreeList(block));
  EXPECT_EQ(poolA->GetBlocksInUse(), 1u);                              // counted out by A...
  EXPECT_EQ(poolB->GetCounters().returns, 1u);                         // ...and in by B
  EXPECT_EQ(poolB->GetBlocksInUse(), static_cast<std::uint32_t>(-1));  // the sums balance once combined
}

TEST(UtilitiesDllPerThreadStorage, UnloadCleanUpLeavesEveryBlockInOnePool) {
  // Storages built here, not the process's own: the same algorithm, on a list
  // of our own.
  for (int callingIndex : {-1, 1}) {
    std::vector<std::unique_ptr<Storage>> storages;
    storages.reserve(3);
    for (int i = 0; i < 3; ++i) {
      storages.push_back(std::make_unique<Storage>());
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

TEST(UtilitiesDllPerThreadStorage, RecycledSharedPointerBlocksSeedTheNextNewThread) {
  FixedBlockSizeMemoryPool& forNewThreads = Storage::GetSharedPtrMemoryPoolForNewThreads();
  ASSERT_EQ(forNewThreads.GetBlockSize(), 12u);
  ASSERT_EQ(forNewThreads.GetBlocksPerChunk(), 4000u);
  {
    FixedBlockSizeMemoryPool pool(L"struct SharedPtrInfoStruct", 12, 4000, true, false);
    pool.ReturnToPool(pool.AllocateFromPool(12), 12);
    pool.RecycleMemoryPoolFreeListWithGlobalMemoryPoolManager();
  }
  EXPECT_EQ(GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(12, 4000), 4000u);
  std::uint32_t seeded = 0;
  std::uint32_t chunks = 99;
  std::thread([&] {
    FixedBlockSizeMemoryPool& pool = Storage::GetSharedPtrMemoryPool();
    seeded = pool.GetFreeBlockCount();
    chunks = pool.GetCounters().chunks;
  }).join();
  EXPECT_EQ(seeded, 4000u);
  EXPECT_EQ(chunks, 1u);  // the chunk came with the blocks
  EXPECT_EQ(forNewThreads.GetFreeBlockCount(), 0u);
}
