#include "LowLevelFacilities/HldSharedPtr.h"
#include "LowLevelFacilities/HldUniquePtr.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <gtest/gtest.h>

#include "LowLevelFacilities/PlatformFacilities.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

std::atomic<int> g_liveObjects{0};
std::atomic<int> g_destroyedObjects{0};

struct Counted {
  explicit Counted(int v) : value(v) { ++g_liveObjects; }
  virtual ~Counted() {
    --g_liveObjects;
    ++g_destroyedObjects;
  }
  friend bool operator<(const Counted& a, const Counted& b) { return a.value < b.value; }
  int value;
};

struct DerivedCounted : Counted {
  explicit DerivedCounted(int v) : Counted(v) {}
};

}  // namespace

TEST(HldSharedPtr, OwnershipCountsAndControlBlockFromThisThreadsPool) {
  const int destroyedBefore = g_destroyedObjects;
  {
    HldSharedPtr<Counted> empty;
    EXPECT_FALSE(empty);
    EXPECT_EQ(empty.use_count(), 0u);
    EXPECT_EQ(empty.GetSharedPtrInfo(), nullptr);

    HldSharedPtr<Counted> first(new Counted(7));
    ASSERT_NE(first.GetSharedPtrInfo(), nullptr);
    EXPECT_EQ(first.GetSharedPtrInfo()->m_origin, static_cast<std::uint32_t>(SharedPtrInfoStruct::kFromThreadPool));
    EXPECT_EQ(first->value, 7);
    EXPECT_TRUE(first.unique());
    HldSharedPtr<Counted> second = first;
    EXPECT_EQ(first.use_count(), 2u);
    HldSharedPtr<Counted> third = std::move(second);
    EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): the moved-from state is the point
    EXPECT_EQ(third.use_count(), 2u);
    EXPECT_TRUE(third == first);
    second = third;
    EXPECT_EQ(first.use_count(), 3u);
    third.reset();
    second = nullptr;
    EXPECT_EQ(first.use_count(), 1u);
    EXPECT_EQ(g_destroyedObjects, destroyedBefore);

    // The last release returns the control block to this thread's pool.
    const void* info = first.GetSharedPtrInfo();
    first.reset(new Counted(8));
    EXPECT_EQ(g_destroyedObjects, destroyedBefore + 1);
    FixedBlockSizeMemoryPool& pool = UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPool();
    EXPECT_TRUE(pool.IsBlockInFreeList(info));

    // A derived object shared as its base is deleted once, through the base.
    HldSharedPtr<DerivedCounted> derived = MakeHldShared<DerivedCounted>(9);
    HldSharedPtr<Counted> asBase = derived;
    EXPECT_EQ(derived.use_count(), 2u);
    derived.reset();
    EXPECT_EQ(asBase->value, 9);
  }
  EXPECT_EQ(g_destroyedObjects, destroyedBefore + 3);
  EXPECT_EQ(g_liveObjects, 0);
}

TEST(HldSharedPtr, ReleasedOnAnotherThreadTheControlBlockGoesToThatThreadsPool) {
  HldSharedPtr<Counted> pointer(new Counted(1));
  const SharedPtrInfoStruct* info = pointer.GetSharedPtrInfo();
  FixedBlockSizeMemoryPool* mainPool = &UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPool();
  FixedBlockSizeMemoryPool* otherPool = nullptr;
  bool atOtherHead = false;
  std::thread([&, moved = std::move(pointer)]() mutable {
    otherPool = &UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPool();
    // A storage seeded with many free blocks would pass its whole list on to
    // the global manager at this return; here it keeps the block.
    const std::uint32_t threshold = otherPool->GetGlobalMemoryPoolManagerThreshold();
    otherPool->SetGlobalMemoryPoolManagerThreshold(0);
    moved.reset();
    atOtherHead = otherPool->PeekFreeListHead() == info;
    otherPool->SetGlobalMemoryPoolManagerThreshold(threshold);
  }).join();
  EXPECT_TRUE(atOtherHead);
  EXPECT_NE(otherPool, mainPool);
  EXPECT_FALSE(mainPool->IsBlockInFreeList(info));
  EXPECT_EQ(g_liveObjects, 0);
}

TEST(HldSharedPtr, SharedAcrossThreadsTheObjectIsDeletedExactlyOnce) {
  const int destroyedBefore = g_destroyedObjects;
  HldSharedPtr<Counted> shared(new Counted(5));
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&shared, &go] {
      while (!go) {
        std::this_thread::yield();
      }
      std::vector<HldSharedPtr<Counted>> copies;
      for (int round = 0; round < 200; ++round) {
        for (int i = 0; i < 50; ++i) {
          copies.push_back(shared);
        }
        copies.clear();
      }
    });
  }
  go = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(shared.use_count(), 1u);
  EXPECT_EQ(g_destroyedObjects, destroyedBefore);

  // Last owners on several threads at once.
  std::vector<HldSharedPtr<Counted>> handedOut(8, shared);
  shared.reset();
  threads.clear();
  for (HldSharedPtr<Counted>& copy : handedOut) {
    threads.emplace_back([moved = std::move(copy)]() mutable { moved.reset(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(g_destroyedObjects, destroyedBefore + 1);
  EXPECT_EQ(g_liveObjects, 0);
}

TEST(HldSharedPtr, OrderedContainersUseTheComparisonPolicy) {
  std::set<HldSharedPtr<Counted>> byValue;
  byValue.insert(MakeHldShared<Counted>(30));
  byValue.insert(MakeHldShared<Counted>(10));
  byValue.insert(HldSharedPtr<Counted>());
  byValue.insert(MakeHldShared<Counted>(20));
  byValue.insert(MakeHldShared<Counted>(10));  // equal value: not inserted
  ASSERT_EQ(byValue.size(), 4u);
  auto it = byValue.begin();
  EXPECT_FALSE(*it);  // null first
  EXPECT_EQ((*++it)->value, 10);
  EXPECT_EQ((*++it)->value, 20);
  EXPECT_EQ((*++it)->value, 30);
}

TEST(HldUniquePtr, AlwaysOwnedAndOrdered) {
  const int destroyedBefore = g_destroyedObjects;
  {
    HldUniquePtr<Counted> owner(new Counted(3));
    HldUniquePtr<Counted> taker = std::move(owner);
    EXPECT_FALSE(owner);  // NOLINT(bugprone-use-after-move): the moved-from state is the point
    EXPECT_EQ(taker->value, 3);
    Counted* released = taker.release();
    EXPECT_FALSE(taker);
    taker.reset(released);
    taker.reset(new Counted(4));
    EXPECT_EQ(g_destroyedObjects, destroyedBefore + 1);
    HldUniquePtr<Counted> fromDerived = HldUniquePtr<DerivedCounted>(new DerivedCounted(5));
    EXPECT_TRUE(HldUniquePtr<Counted>() < fromDerived);
    EXPECT_TRUE(taker < fromDerived);
    EXPECT_FALSE(fromDerived < taker);
  }
  EXPECT_EQ(g_destroyedObjects, destroyedBefore + 3);
  EXPECT_EQ(g_liveObjects, 0);
}

namespace {

struct Large {
  explicit Large(int v) : value(v) {}
  int value;
  unsigned char bytes[300] = {};
};

struct alignas(64) OverAligned {
  int value = 3;
};

struct ThrowsOnConstruction {
  explicit ThrowsOnConstruction(bool fail) {
    if (fail) {
      throw std::runtime_error("construction failed");
    }
  }
  int value = 0;
};

}  // namespace

TEST(HldSharedPtr, MakeHldSharedPlacesObjectAndControlBlockInOneBlock) {
  using Storage = UtilitiesDllPerThreadStorage;
  const int destroyedBefore = g_destroyedObjects;
  constexpr unsigned poolIndex = InternalHaldenCP::ObjectPoolIndexFor<DerivedCounted>();
  ASSERT_LT(poolIndex, Storage::kNumberOfObjectPools);
  FixedBlockSizeMemoryPool& pool =
      Storage::GetUtilitiesDllPerThreadStorageObject().GetObjectPoolOfThisStorage(poolIndex);
  const std::uint32_t allocationsBefore = pool.GetCounters().allocations;

  HldSharedPtr<DerivedCounted> made = MakeHldShared<DerivedCounted>(41);
  const SharedPtrInfoStruct* info = made.GetSharedPtrInfo();
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->m_origin, SharedPtrInfoStruct::kFromObjectPool0 + poolIndex);
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(made.get()),
            reinterpret_cast<const unsigned char*>(info) + Storage::kObjectHeaderSize);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(made.get()) % InternalHaldenCP::kObjectBlockAlignment, 0u);
  EXPECT_EQ(info->m_creatingThreadId, PlatformFacilities::currentThreadId());
  EXPECT_EQ(pool.GetCounters().allocations, allocationsBefore + 1);
  EXPECT_EQ(made->value, 41);

  // Shared as its base and released last on another thread: destroyed once,
  // through the virtual destructor, and the whole block goes to that thread's
  // pool of the same size.
  HldSharedPtr<Counted> asBase = made;
  made.reset();
  EXPECT_EQ(asBase.use_count(), 1u);
  bool inOtherPool = false;
  std::thread([&inOtherPool, info, moved = std::move(asBase)]() mutable {
    moved.reset();
    FixedBlockSizeMemoryPool& otherPool =
        UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject().GetObjectPoolOfThisStorage(poolIndex);
    inOtherPool = otherPool.PeekFreeListHead() == info;
  }).join();
  EXPECT_TRUE(inOtherPool);
  EXPECT_FALSE(pool.IsBlockInFreeList(info));
  EXPECT_EQ(g_destroyedObjects, destroyedBefore + 1);
  EXPECT_EQ(g_liveObjects, 0);

  // Too large for the largest block, or aligned beyond a block: made with new,
  // with a control block of their own.
  static_assert(InternalHaldenCP::ObjectPoolIndexFor<Large>() == Storage::kNumberOfObjectPools);
  static_assert(InternalHaldenCP::ObjectPoolIndexFor<OverAligned>() == Storage::kNumberOfObjectPools);
  const HldSharedPtr<Large> large = MakeHldShared<Large>(5);
  EXPECT_EQ(large.GetSharedPtrInfo()->m_origin, static_cast<std::uint32_t>(SharedPtrInfoStruct::kFromThreadPool));
  EXPECT_EQ(large->value, 5);
  const HldSharedPtr<OverAligned> aligned = MakeHldShared<OverAligned>();
  EXPECT_EQ(aligned.GetSharedPtrInfo()->m_origin, static_cast<std::uint32_t>(SharedPtrInfoStruct::kFromThreadPool));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned.get()) % 64, 0u);

  // A constructor that throws gives its block back.
  constexpr unsigned throwingIndex = InternalHaldenCP::ObjectPoolIndexFor<ThrowsOnConstruction>();
  FixedBlockSizeMemoryPool& throwingPool =
      Storage::GetUtilitiesDllPerThreadStorageObject().GetObjectPoolOfThisStorage(throwingIndex);
  const std::uint32_t inUse = throwingPool.GetBlocksInUse();
  EXPECT_THROW(MakeHldShared<ThrowsOnConstruction>(true), std::runtime_error);
  EXPECT_EQ(throwingPool.GetBlocksInUse(), inUse);
  EXPECT_EQ(MakeHldShared<ThrowsOnConstruction>(false)->value, 0);
  EXPECT_EQ(throwingPool.GetBlocksInUse(), inUse);
}

// Many threads make pointers, hand them to each other through shared
// mailboxes, copy what they receive and release it: every object is destroyed
// exactly once, on whichever thread holds it last, and its blocks come back to
// that thread's pools. Threads end and new ones take over their storages
// meanwhile. (Run under AddressSanitizer and ThreadSanitizer.)
TEST(HldSharedPtr, ThreadsHandingPointersToEachOtherDestroyEachObjectOnce) {
  struct Mailbox {
    std::mutex mutex;
    std::vector<HldSharedPtr<Counted>> pointers;
  };
  constexpr int kThreads = 8;
  constexpr int kRounds = 4000;
  const int destroyedBefore = g_destroyedObjects;
  std::vector<Mailbox> mailboxes(kThreads);
  std::atomic<int> made{0};
  auto work = [&](int self, int rounds) {
    unsigned state = static_cast<unsigned>(self) * 2654435761u + 1u;
    std::vector<HldSharedPtr<Counted>> kept;
    for (int round = 0; round < rounds; ++round) {
      state = state * 1103515245u + 12345u;
      const unsigned r = state >> 8;
      if (r % 2 == 0) {
        kept.push_back(MakeHldShared<DerivedCounted>(static_cast<int>(r)));
      } else {
        kept.push_back(HldSharedPtr<Counted>(new Counted(static_cast<int>(r))));
      }
      made.fetch_add(1, std::memory_order_relaxed);
      Mailbox& target = mailboxes[r % kThreads];
      {
        std::lock_guard<std::mutex> lock(target.mutex);
        target.pointers.push_back(kept[r % kept.size()]);  // a copy crosses threads
      }
      if (r % 3 == 0) {
        std::vector<HldSharedPtr<Counted>> received;
        {
          std::lock_guard<std::mutex> lock(mailboxes[static_cast<std::size_t>(self)].mutex);
          received.swap(mailboxes[static_cast<std::size_t>(self)].pointers);
        }
        for (const HldSharedPtr<Counted>& pointer : received) {
          HldSharedPtr<Counted> copy = pointer;
          EXPECT_GE(copy.use_count(), 2u);
          static_cast<void>(copy->value);
        }
      }
      if (kept.size() > 64) {
        kept.erase(kept.begin(), kept.begin() + 32);
      }
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(kThreads + 16);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back(work, t, kRounds);
  }
  // Short-lived threads that end while the others run.
  for (int t = 0; t < 16; ++t) {
    std::thread(work, t % kThreads, 50).join();
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  const int alive = g_liveObjects;
  EXPECT_GT(alive, 0);  // still held by the mailboxes
  mailboxes.clear();
  EXPECT_EQ(g_liveObjects, 0);
  EXPECT_EQ(g_destroyedObjects - destroyedBefore, made.load());
}
