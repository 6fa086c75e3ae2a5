#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/FixedBlockSizeMemoryPool.h"
#include "LowLevelFacilities/GlobalMemoryPoolManager.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

std::wstring statistics(const FixedBlockSizeMemoryPool& pool) {
  wchar_t buffer[512];
  const unsigned length = pool.GetStatisticsDisplayString(buffer, 512);
  EXPECT_EQ(std::wcslen(buffer), length);
  return std::wstring(buffer, length);
}

bool sameCounters(const FixedBlockSizeMemoryPool::Counters& a, const FixedBlockSizeMemoryPool::Counters& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

TEST(FixedBlockSizeMemoryPool, GeometryIsRaisedToItsMinimums) {
  const struct {
    unsigned blockSize, blocksPerChunk, expectedBlockSize, expectedBlocksPerChunk;
  } rows[] = {{1, 0, 4, 2}, {0, 1, 4, 2}, {4, 2, 4, 2}, {3, 5, 4, 5}, {12, 4000, 12, 4000}, {13, 3, 13, 3}};
  for (const auto& row : rows) {
    FixedBlockSizeMemoryPool pool(L"p", row.blockSize, row.blocksPerChunk, true, false);
    EXPECT_TRUE(pool.IsValid());
    EXPECT_EQ(pool.GetRequestedBlockSize(), row.blockSize);
    EXPECT_EQ(pool.GetBlockSize(), row.expectedBlockSize);
    EXPECT_EQ(pool.GetBlocksPerChunk(), row.expectedBlocksPerChunk);
  }

  // Block size 1, chunks of 2: each block holds 4 bytes of its own, and the
  // third allocation needs a second chunk.
  FixedBlockSizeMemoryPool pool(L"tiny", 1, 1, true, false);
  std::vector<unsigned char*> blocks;
  for (unsigned i = 0; i < 3; ++i) {
    blocks.push_back(static_cast<unsigned char*>(pool.AllocateFromPool(1)));
    EXPECT_EQ(pool.GetCounters().chunks, i < 2 ? 1u : 2u);
    EXPECT_EQ(pool.GetFreeBlockCount(), i < 2 ? 1u - i : 1u);
    std::memset(blocks.back(), static_cast<int>(0xA0 + i), 4);
  }
  for (unsigned i = 0; i < 3; ++i) {
    for (unsigned byte = 0; byte < 4; ++byte) {
      EXPECT_EQ(blocks[i][byte], 0xA0 + i);
    }
  }
  EXPECT_EQ(std::set<unsigned char*>(blocks.begin(), blocks.end()).size(), 3u);
  EXPECT_THROW(pool.AllocateFromPool(5), CPExceptionInvalidArgument);
  for (unsigned char* block : blocks) {
    pool.ReturnToPool(block, 4);
  }
  EXPECT_EQ(pool.GetFreeBlockCount(), 4u);
  EXPECT_EQ(pool.GetBlocksInUse(), 0u);
}

TEST(FixedBlockSizeMemoryPool, FreeListIsLastInFirstOutAndNullIsIgnored) {
  FixedBlockSizeMemoryPool pool(L"lifo", 16, 4, true, false);
  void* a = pool.AllocateFromPool(16);
  void* b = pool.AllocateFromPool(8);
  pool.ReturnToPool(a, 0);
  pool.ReturnToPool(b, 0);
  EXPECT_EQ(pool.PeekFreeListHead(), b);
  pool.ReturnToPool(nullptr, 16);
  EXPECT_EQ(pool.PeekFreeListHead(), b);
  EXPECT_EQ(pool.AllocateFromPool(16), b);
  EXPECT_EQ(pool.AllocateFromPool(16), a);
  const FixedBlockSizeMemoryPool::Counters counters = pool.GetCounters();
  EXPECT_EQ(counters.allocations, 4u);
  EXPECT_EQ(counters.returns, 2u);
  EXPECT_EQ(counters.nullReturns, 1u);
  EXPECT_EQ(counters.chunks, 1u);
}

TEST(FixedBlockSizeMemoryPool, NameIsCutAt63Characters) {
  const std::wstring seventy(70, L'n');
  FixedBlockSizeMemoryPool pool(seventy.c_str(), 8, 2, true, false);
  EXPECT_EQ(std::wstring(pool.GetName()), std::wstring(63, L'n'));
  FixedBlockSizeMemoryPool exact(std::wstring(63, L'e').c_str(), 8, 2, true, false);
  EXPECT_EQ(std::wcslen(exact.GetName()), 63u);
  FixedBlockSizeMemoryPool unnamed(nullptr, 8, 2, true, false);
  EXPECT_EQ(std::wstring(unnamed.GetName()), L"");
}

TEST(FixedBlockSizeMemoryPool, CombiningNeedsTheSameGeometry) {
  FixedBlockSizeMemoryPool eight(L"eight", 8, 4, true, false);
  FixedBlockSizeMemoryPool sixteen(L"sixteen", 16, 4, true, true);
  FixedBlockSizeMemoryPool eightWithOtherChunks(L"eight/5", 8, 5, true, true);
  eight.ReturnToPool(eight.AllocateFromPool(8), 8);
  sixteen.ReturnToPool(sixteen.AllocateFromPool(8), 8);
  eightWithOtherChunks.ReturnToPool(eightWithOtherChunks.AllocateFromPool(8), 8);
  const auto eightCounters = eight.GetCounters();
  const auto sixteenCounters = sixteen.GetCounters();

  eight.CombineOtherMemoryPoolWithThisOne(sixteen);
  sixteen.CombineOtherMemoryPoolWithThisOne(eight);
  eight.CombineOtherMemoryPoolWithThisOne(eightWithOtherChunks);
  EXPECT_EQ(eight.GetFreeBlockCount(), 4u);
  EXPECT_EQ(sixteen.GetFreeBlockCount(), 4u);
  EXPECT_EQ(eightWithOtherChunks.GetFreeBlockCount(), 5u);
  EXPECT_TRUE(sameCounters(eight.GetCounters(), eightCounters));
  EXPECT_TRUE(sameCounters(sixteen.GetCounters(), sixteenCounters));
  EXPECT_FALSE(eight.GetReportOnDestructionFlag());

  // With itself: nothing moves.
  eight.CombineOtherMemoryPoolWithThisOne(eight);
  EXPECT_EQ(eight.GetFreeBlockCount(), 4u);
  EXPECT_TRUE(sameCounters(eight.GetCounters(), eightCounters));
}

TEST(FixedBlockSizeMemoryPool, CombiningAppendsTheOtherListAndTakesItsChunksAndCounters) {
  FixedBlockSizeMemoryPool survivor(L"survivor", 12, 3, true, false);
  void* kept = survivor.AllocateFromPool(12);  // survivor: 2 free
  std::vector<void*> survivorOrder;
  std::vector<void*> otherOrder;
  void* used = nullptr;
  {
    FixedBlockSizeMemoryPool other(L"other", 12, 3, true, true);
    used = other.AllocateFromPool(12);
    void* returnedNull = nullptr;
    other.ReturnToPool(returnedNull, 12);
    for (const void* p = survivor.PeekFreeListHead(); p != nullptr; p = *static_cast<void* const*>(p)) {
      survivorOrder.push_back(const_cast<void*>(p));
    }
    for (const void* p = other.PeekFreeListHead(); p != nullptr; p = *static_cast<void* const*>(p)) {
      otherOrder.push_back(const_cast<void*>(p));
    }
    survivor.CombineOtherMemoryPoolWithThisOne(other);
    EXPECT_EQ(other.PeekFreeListHead(), nullptr);
    EXPECT_EQ(other.GetFreeBlockCount(), 0u);
    const auto zero = other.GetCounters();
    EXPECT_EQ(zero.allocations + zero.returns + zero.chunks + zero.blocksReceivedByCombining + zero.nullReturns, 0u);
    EXPECT_TRUE(survivor.GetReportOnDestructionFlag());  // copied from the other
    const auto counters = survivor.GetCounters();
    EXPECT_EQ(counters.allocations, 2u);
    EXPECT_EQ(counters.returns, 0u);
    EXPECT_EQ(counters.chunks, 2u);
    EXPECT_EQ(counters.blocksReceivedByCombining, 2u);
    EXPECT_EQ(counters.nullReturns, 1u);
    EXPECT_EQ(survivor.GetBlocksInUse(), 2u);
    survivor.ReturnToPool(used, 12);  // a block of the other's chunk comes back here
  }                                   // the other pool is gone; its chunk now belongs to the survivor
  std::vector<void*> expected = {used};
  expected.insert(expected.end(), survivorOrder.begin(), survivorOrder.end());
  expected.insert(expected.end(), otherOrder.begin(), otherOrder.end());
  std::vector<void*> combined;
  for (const void* p = survivor.PeekFreeListHead(); p != nullptr; p = *static_cast<void* const*>(p)) {
    combined.push_back(const_cast<void*>(p));
  }
  ASSERT_EQ(combined.size(), 5u);
  EXPECT_EQ(combined, expected);
  // Every block is still writable memory (the chunks were taken over, not freed).
  for (unsigned i = 0; i < 5; ++i) {
    std::memset(survivor.AllocateFromPool(12), 0x5A, 12);
  }
  survivor.ReturnToPool(kept, 12);
  const auto first = survivor.GetCounters();
  survivor.CombineOtherMemoryPoolWithThisOne(survivor);
  EXPECT_TRUE(sameCounters(first, survivor.GetCounters()));
}

TEST(FixedBlockSizeMemoryPool, StatisticsAndDumpStrings) {
  FixedBlockSizeMemoryPool pool(L"struct SharedPtrInfoStruct", 12, 4000, true, false);
  void* a = pool.AllocateFromPool(12);
  pool.AllocateFromPool(12);
  pool.ReturnToPool(a, 12);
  EXPECT_EQ(statistics(pool),
            L"struct SharedPtrInfoStruct: 2 allocated, 1 returned, 1 in use, 3999 free, 1 chunks of 4000 x 12 bytes");

  wchar_t dump[512];
  unsigned length = pool.GetDumpDisplayString(dump, 512, false);
  EXPECT_EQ(std::wstring(dump, length),
            L"FixedBlockSizeMemoryPool 'struct SharedPtrInfoStruct' (block size 12, requested 12, 4000 blocks per "
            L"chunk, free chunks on destruction yes, report on destruction no, 3999 free blocks)");
  length = pool.GetDumpDisplayString(dump, 512, true);
  EXPECT_NE(std::wstring(dump, length).find(L"; allocations=2 returns=1 chunks=1 combined=0 recycled=0 null-returns=0"),
            std::wstring::npos);

  // Cut to the buffer: capacity - 1 characters and the terminator.
  wchar_t small[11];
  std::wmemset(small, L'#', 11);
  EXPECT_EQ(pool.GetStatisticsDisplayString(small, 11), 10u);
  EXPECT_EQ(std::wstring(small), L"struct Sha");
  EXPECT_EQ(pool.GetStatisticsDisplayString(small, 1), 0u);
  EXPECT_EQ(small[0], L'\0');
  EXPECT_EQ(pool.GetStatisticsDisplayString(nullptr, 0), 0u);

  std::string sink;
  pool.Dump(DumpArgs(&sink, 2));
  EXPECT_EQ(sink.rfind("  FixedBlockSizeMemoryPool 'struct SharedPtrInfoStruct' (block size 12", 0), 0u);
}

TEST(FixedBlockSizeMemoryPool, RecyclingHandsTheFreeListToTheGlobalManager) {
  // A geometry no other code uses.
  const unsigned blockSize = 40;
  const unsigned blocksPerChunk = 7;
  const std::uint32_t before = GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(blockSize, blocksPerChunk);
  void* stillInUse = nullptr;
  {
    FixedBlockSizeMemoryPool pool(L"recycled", blockSize, blocksPerChunk, true, false);
    stillInUse = pool.AllocateFromPool(blockSize);
    pool.ReturnToPool(pool.AllocateFromPool(blockSize), blockSize);
    EXPECT_EQ(pool.GetFreeBlockCount(), 6u);
    pool.RecycleMemoryPoolFreeListWithGlobalMemoryPoolManager();
    EXPECT_EQ(pool.GetFreeBlockCount(), 0u);
    EXPECT_EQ(pool.GetCounters().chunks, 0u);
  }  // destroyed: the chunk went to the manager with the free list
  EXPECT_EQ(GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(blockSize, blocksPerChunk), before + 6u);
  std::memset(stillInUse, 0x11, blockSize);  // still valid memory
}

TEST(FixedBlockSizeMemoryPool, PoolsTakingPartShareFreeBlocksThroughTheGlobalManager) {
  // A geometry no other code uses; thresholds of 4 free blocks.
  constexpr unsigned kSize = 24;
  constexpr unsigned kPerChunk = 3;
  ASSERT_EQ(GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(kSize, kPerChunk), 0u);
  FixedBlockSizeMemoryPool maker(L"maker", kSize, kPerChunk, true, false);
  FixedBlockSizeMemoryPool releaser(L"releaser", kSize, kPerChunk, true, false);
  FixedBlockSizeMemoryPool outsider(L"outsider", kSize, kPerChunk, true, false);
  EXPECT_EQ(maker.GetGlobalMemoryPoolManagerThreshold(), 0u);  // not taking part by default
  maker.SetGlobalMemoryPoolManagerThreshold(4);
  releaser.SetGlobalMemoryPoolManagerThreshold(4);
  EXPECT_EQ(releaser.GetGlobalMemoryPoolManagerThreshold(), 4u);

  std::vector<void*> blocks;
  blocks.reserve(6);
  for (int i = 0; i < 6; ++i) {
    blocks.push_back(maker.AllocateFromPool(kSize));
  }
  EXPECT_EQ(maker.GetCounters().chunks, 2u);
  // Up to the threshold the releaser keeps what it gets...
  for (int i = 0; i < 4; ++i) {
    releaser.ReturnToPool(blocks[i], kSize);
  }
  EXPECT_EQ(releaser.GetFreeBlockCount(), 4u);
  EXPECT_EQ(releaser.PeekFreeListTail(), blocks[0]);
  EXPECT_EQ(GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(kSize, kPerChunk), 0u);
  // ...one more and the whole list goes to the manager.
  releaser.ReturnToPool(blocks[4], kSize);
  EXPECT_EQ(releaser.GetFreeBlockCount(), 0u);
  EXPECT_EQ(releaser.PeekFreeListHead(), nullptr);
  EXPECT_EQ(releaser.PeekFreeListTail(), nullptr);
  EXPECT_EQ(releaser.GetCounters().blocksRecycled, 5u);
  EXPECT_EQ(GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(kSize, kPerChunk), 5u);

  // A pool that does not take part neither gives nor takes: it carves.
  for (int i = 0; i < 6; ++i) {
    outsider.ReturnToPool(outsider.AllocateFromPool(kSize), kSize);
  }
  EXPECT_EQ(outsider.GetCounters().chunks, 1u);
  EXPECT_EQ(GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(kSize, kPerChunk), 5u);

  // The maker, out of blocks, takes the manager's before it would carve: a
  // chunk's worth (3) from the head of the list the releaser handed over.
  void* again = maker.AllocateFromPool(kSize);
  EXPECT_EQ(again, blocks[4]);
  EXPECT_EQ(maker.GetCounters().chunks, 2u);
  EXPECT_EQ(maker.GetCounters().blocksReceivedByCombining, 3u);
  EXPECT_EQ(maker.GetFreeBlockCount(), 2u);
  EXPECT_EQ(maker.CountFreeListBlocks(), 2u);
  EXPECT_EQ(maker.PeekFreeListHead(), blocks[3]);
  EXPECT_EQ(maker.PeekFreeListTail(), blocks[2]);
  EXPECT_EQ(GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(kSize, kPerChunk), 2u);
  // The rest comes with the next refill.
  std::vector<void*> taken = {again};
  for (int i = 0; i < 4; ++i) {
    taken.push_back(maker.AllocateFromPool(kSize));
  }
  EXPECT_EQ(taken.back(), blocks[0]);
  EXPECT_EQ(maker.GetCounters().chunks, 2u);
  EXPECT_EQ(GlobalMemoryPoolManager::GetFreeBlockCountForGeometry(kSize, kPerChunk), 0u);

  // Every block ends with the maker, which owns the chunks (so that the pools
  // may be destroyed in any order).
  maker.SetGlobalMemoryPoolManagerThreshold(0);
  maker.CombineOtherMemoryPoolWithThisOne(releaser);  // (its counters of returns)
  taken.push_back(blocks[5]);
  for (void* block : taken) {
    maker.ReturnToPool(block, kSize);
  }
  EXPECT_EQ(maker.GetFreeBlockCount(), 6u);
  EXPECT_EQ(maker.CountFreeListBlocks(), 6u);
  EXPECT_EQ(maker.GetBlocksInUse(), 0u);
}
