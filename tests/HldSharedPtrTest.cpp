#include "LowLevelFacilities/HldSharedPtr.h"
#include "LowLevelFacilities/HldUniquePtr.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
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
    moved.reset();
    atOtherHead = otherPool->PeekFreeListHead() == info;
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
