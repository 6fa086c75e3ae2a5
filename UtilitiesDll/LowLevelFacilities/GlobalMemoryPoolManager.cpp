#include "LowLevelFacilities/GlobalMemoryPoolManager.h"

#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <memory>
#include <new>
#include <vector>

namespace {

using ReceivingPools = std::vector<std::unique_ptr<FixedBlockSizeMemoryPool>>;

// The receiving pools of every geometry but the shared-pointer one, made on
// first need. A plain pointer (constant-initialised, never destroyed by the
// runtime): the unload clean-up, which runs from another file's exit-list
// function, empties and deletes it whatever the order of static destruction.
ReceivingPools* g_receivingPools = nullptr;

bool isLoaded() noexcept {
  return UtilitiesDllPerThreadStorage::GetMarkerWord() == UtilitiesDllPerThreadStorage::kMarkerWhileLoaded;
}

// Under the per-thread-storage lock.
FixedBlockSizeMemoryPool* findReceivingPool(unsigned blockSize, unsigned blocksPerChunk) noexcept {
  FixedBlockSizeMemoryPool& forNewThreads = UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPoolForNewThreads();
  if (forNewThreads.GetBlockSize() == blockSize && forNewThreads.GetBlocksPerChunk() == blocksPerChunk) {
    return &forNewThreads;
  }
  if (g_receivingPools != nullptr) {
    for (const std::unique_ptr<FixedBlockSizeMemoryPool>& pool : *g_receivingPools) {
      if (pool->GetBlockSize() == blockSize && pool->GetBlocksPerChunk() == blocksPerChunk) {
        return pool.get();
      }
    }
  }
  return nullptr;
}

// Under the per-thread-storage lock. Throws std::bad_alloc.
FixedBlockSizeMemoryPool& findOrMakeReceivingPool(unsigned blockSize, unsigned blocksPerChunk) {
  if (FixedBlockSizeMemoryPool* pool = findReceivingPool(blockSize, blocksPerChunk)) {
    return *pool;
  }
  if (g_receivingPools == nullptr) {
    g_receivingPools = new ReceivingPools;
  }
  g_receivingPools->reserve(g_receivingPools->size() + 1);
  g_receivingPools->push_back(std::make_unique<FixedBlockSizeMemoryPool>(L"GlobalMemoryPoolManager receiving pool",
                                                                         blockSize, blocksPerChunk, true, false));
  return *g_receivingPools->back();
}

}  // namespace

void GlobalMemoryPoolManager::AdoptEverythingOf(FixedBlockSizeMemoryPool& pool) {
  PlatformFacilities::CriticalSectionLock lock(UtilitiesDllPerThreadStorage::GetPerThreadStorageLock());
  if (!isLoaded()) {
    return;
  }
  FixedBlockSizeMemoryPool& receiver = findOrMakeReceivingPool(pool.GetBlockSize(), pool.GetBlocksPerChunk());
  pool.m_recycledBlockCount += pool.m_freeBlockCount;
  receiver.CombineOtherMemoryPoolWithThisOne(pool);
}

bool GlobalMemoryPoolManager::AcceptFreeListOf(FixedBlockSizeMemoryPool& pool) noexcept {
  PlatformFacilities::CriticalSectionLock lock(UtilitiesDllPerThreadStorage::GetPerThreadStorageLock());
  if (!isLoaded() || !pool.IsValid()) {
    return false;
  }
  try {
    FixedBlockSizeMemoryPool& receiver = findOrMakeReceivingPool(pool.GetBlockSize(), pool.GetBlocksPerChunk());
    const std::uint32_t moved = receiver.TakeFreeListOf(pool);
    pool.m_recycledBlockCount += moved;
    receiver.m_combinedBlockCount += moved;
    return moved != 0;
  } catch (...) {
    return false;  // no receiving pool: the pool keeps its blocks
  }
}

bool GlobalMemoryPoolManager::HandFreeBlocksTo(FixedBlockSizeMemoryPool& pool) noexcept {
  PlatformFacilities::CriticalSectionLock lock(UtilitiesDllPerThreadStorage::GetPerThreadStorageLock());
  if (!isLoaded() || !pool.IsValid()) {
    return false;
  }
  FixedBlockSizeMemoryPool* receiver = findReceivingPool(pool.GetBlockSize(), pool.GetBlocksPerChunk());
  if (receiver == nullptr) {
    return false;
  }
  // A chunk's worth at most: several threads that start at once each get
  // some, rather than the first all and the others a new chunk each.
  const std::uint32_t moved = pool.TakeFreeBlocksOf(*receiver, pool.GetBlocksPerChunk());
  pool.m_combinedBlockCount += moved;
  return moved != 0;
}

void GlobalMemoryPoolManager::ReturnBlock(void* block, unsigned blockSize, unsigned blocksPerChunk) noexcept {
  if (block == nullptr) {
    return;
  }
  PlatformFacilities::CriticalSectionLock lock(UtilitiesDllPerThreadStorage::GetPerThreadStorageLock());
  if (!isLoaded()) {
    return;
  }
  try {
    findOrMakeReceivingPool(blockSize, blocksPerChunk).ReturnToPool(block, blockSize);
  } catch (...) {
    // No receiving pool could be made: the block is given up.
  }
}

std::uint32_t GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(unsigned blockSize, unsigned blocksPerChunk) {
  PlatformFacilities::CriticalSectionLock lock(UtilitiesDllPerThreadStorage::GetPerThreadStorageLock());
  const FixedBlockSizeMemoryPool* receiver = findReceivingPool(blockSize, blocksPerChunk);
  return receiver != nullptr ? receiver->GetFreeBlockCount() : 0;
}

void GlobalMemoryPoolManager::CombineReceivingPoolsIntoSurvivors(FixedBlockSizeMemoryPool* const* survivors,
                                                                 std::size_t count) noexcept {
  auto survivorFor = [&](const FixedBlockSizeMemoryPool& pool) -> FixedBlockSizeMemoryPool* {
    for (std::size_t i = 0; i < count; ++i) {
      if (survivors[i]->GetBlockSize() == pool.GetBlockSize() &&
          survivors[i]->GetBlocksPerChunk() == pool.GetBlocksPerChunk()) {
        return survivors[i];
      }
    }
    return nullptr;
  };
  FixedBlockSizeMemoryPool& forNewThreads = UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPoolForNewThreads();
  if (FixedBlockSizeMemoryPool* survivor = survivorFor(forNewThreads)) {
    survivor->CombineOtherMemoryPoolWithThisOne(forNewThreads);
  }
  if (g_receivingPools == nullptr) {
    return;
  }
  // A pool whose chunks still have blocks in use stays in the list (which the
  // manager then never uses again), so that their late release never touches
  // freed memory.
  ReceivingPools& pools = *g_receivingPools;
  std::size_t kept = 0;
  for (std::unique_ptr<FixedBlockSizeMemoryPool>& pool : pools) {
    if (FixedBlockSizeMemoryPool* survivor = survivorFor(*pool)) {
      survivor->CombineOtherMemoryPoolWithThisOne(*pool);
    }
    if (pool->GetBlocksInUse() == 0 || pool->GetCounters().chunks == 0) {
      pool.reset();
    } else {
      pools[kept++] = std::move(pool);
    }
  }
  pools.resize(kept);
  if (kept == 0) {
    delete g_receivingPools;
    g_receivingPools = nullptr;
  }
}
