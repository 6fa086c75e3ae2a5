#pragma once
// HldSharedPtr<T, Compare>: the library's reference-counted shared pointer.
//
// The pointer holds the object pointer and a pointer to its control block,
// "struct SharedPtrInfoStruct": three 32-bit words taken from the calling
// thread's shared-pointer pool (UtilitiesDllPerThreadStorage) instead of the
// heap. The words are the reference count (atomic: copies of one pointer may
// live on several threads), where the block came from, and the identifier of
// the thread that created it (for diagnostics).
//
// The last owner deletes the object with `delete` through a T* (so a base
// class needs a virtual destructor) and returns the control block to the pool
// of the thread it runs on, which may be another thread than the creator's.
// Before the library's static initialisation and after its unload clean-up
// (the per-thread storage's marker word is not 34567) control blocks come
// from the heap, and pool blocks released then are left where they are.
//
// MakeHldShared places the object and its control block together in one block
// of the calling thread's object pools (the control block first, the object
// kObjectHeaderSize bytes behind it), as std::make_shared does on the heap:
// one pool block instead of a heap allocation and a pool block. The last owner
// then runs the object's destructor (through a T*, so again a virtual one for
// a base class) and returns the whole block to its own thread's pool of that
// size. Objects larger than the largest block, or aligned more strictly than
// a block guarantees, and any object made while no storage can be used, are
// made with `new` and get a separate control block. A class's own operator
// new is not used for an object placed in a block.
//
// Compare is the ordering policy used by operator< and by ordered containers
// (std::set<HldSharedPtr<T>> orders by the objects, not by their addresses);
// SharedPtrCompare<T> compares the objects with their operator<, a null
// pointer before any object.

#include "LowLevelFacilities/GlobalMemoryPoolManager.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"
#include "hdUtilitiesExport.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

struct SharedPtrInfoStruct {
  // Where the block came from: "POOL" (the shared-pointer pool), "HEAP", or
  // "OBJ0" to "OBJ6" (a block of that object pool, the object behind it).
  enum : std::uint32_t { kFromThreadPool = 0x504F4F4C, kFromHeap = 0x48454150, kFromObjectPool0 = 0x4F424A30 };

  std::atomic<std::uint32_t> m_referenceCount;
  std::uint32_t m_origin;
  std::uint32_t m_creatingThreadId;
};
static_assert(sizeof(SharedPtrInfoStruct) == 12, "the control block is three 32-bit words");
static_assert(std::atomic<std::uint32_t>::is_always_lock_free, "the reference count must be lock-free");

namespace InternalHaldenCP {

// The ends of a control block's life outside a loaded library (before its
// static initialisation, or once its unload clean-up has begun): from and to
// the heap.
HDU_API SharedPtrInfoStruct* AllocateSharedPtrInfoFromHeap();
HDU_API void FreeSharedPtrInfoToHeap(SharedPtrInfoStruct* info) noexcept;

// A control block with a reference count of 1, from the calling thread's pool.
// (Inline: one call into the library per block, for the thread's storage.)
inline SharedPtrInfoStruct* AllocateSharedPtrInfo() {
  if (UtilitiesDllPerThreadStorage* storage = UtilitiesDllPerThreadStorage::GetStorageWhileLoaded()) {
    void* memory = storage->GetSharedPtrMemoryPoolOfThisStorage().AllocateFromPool(sizeof(SharedPtrInfoStruct));
    return ::new (memory)
        SharedPtrInfoStruct{{1}, SharedPtrInfoStruct::kFromThreadPool, storage->GetCreatingThreadId()};
  }
  return AllocateSharedPtrInfoFromHeap();
}

// Gives a control block back: to the calling thread's pool (whichever thread
// made it), or to the heap it came from. While the library is unloading a
// pool block stays where it is: the pools are being combined and freed.
inline void FreeSharedPtrInfo(SharedPtrInfoStruct* info) noexcept {
  if (info->m_origin == SharedPtrInfoStruct::kFromHeap) {
    FreeSharedPtrInfoToHeap(info);
    return;
  }
  UtilitiesDllPerThreadStorage* storage = nullptr;
  try {
    storage = UtilitiesDllPerThreadStorage::GetStorageWhileLoaded();
  } catch (...) {
    // This thread's storage could not be created (out of memory): the block is
    // given up rather than let an exception out of a destructor.
  }
  if (storage != nullptr) {
    storage->GetSharedPtrMemoryPoolOfThisStorage().ReturnToPool(info, sizeof(SharedPtrInfoStruct));
  } else {
    GlobalMemoryPoolManager::ReturnBlock(info, UtilitiesDllPerThreadStorage::kSharedPtrBlockSize,
                                         UtilitiesDllPerThreadStorage::kSharedPtrBlocksPerChunk);
  }
}

// ---- object and control block in one block (MakeHldShared) ----

// The alignment every object-pool block has at its object: the header size,
// within chunks the heap aligns to the default new alignment (on 32-bit
// Windows the heap gives 8 bytes).
inline constexpr std::size_t kObjectBlockAlignment =
    std::min({std::size_t{UtilitiesDllPerThreadStorage::kObjectHeaderSize}, 2 * sizeof(void*),
              std::size_t{__STDCPP_DEFAULT_NEW_ALIGNMENT__}, alignof(std::max_align_t)});

// The object pool for a T, or kNumberOfObjectPools when a T is not placed in
// a block.
template <class T>
constexpr unsigned ObjectPoolIndexFor() noexcept {
  if constexpr (alignof(T) > kObjectBlockAlignment) {
    return UtilitiesDllPerThreadStorage::kNumberOfObjectPools;
  } else {
    return UtilitiesDllPerThreadStorage::GetObjectPoolIndexForBlockSize(
        UtilitiesDllPerThreadStorage::kObjectHeaderSize + sizeof(T));
  }
}

inline bool IsObjectBlock(const SharedPtrInfoStruct* info) noexcept {
  return info->m_origin - SharedPtrInfoStruct::kFromObjectPool0 < UtilitiesDllPerThreadStorage::kNumberOfObjectPools;
}

// A block of the calling thread's object pool with its control block (count
// 1) in place, or null when no storage can be used (then the caller makes the
// object with `new`).
inline SharedPtrInfoStruct* AllocateObjectBlock(unsigned poolIndex) {
  UtilitiesDllPerThreadStorage* storage = UtilitiesDllPerThreadStorage::GetStorageWhileLoaded();
  if (storage == nullptr) {
    return nullptr;
  }
  void* memory = storage->GetObjectPoolOfThisStorage(poolIndex).AllocateFromPool(
      UtilitiesDllPerThreadStorage::kObjectPoolBlockSizes[poolIndex]);
  return ::new (memory)
      SharedPtrInfoStruct{{1}, SharedPtrInfoStruct::kFromObjectPool0 + poolIndex, storage->GetCreatingThreadId()};
}

inline void* ObjectOfBlock(SharedPtrInfoStruct* info) noexcept {
  return reinterpret_cast<unsigned char*>(info) + UtilitiesDllPerThreadStorage::kObjectHeaderSize;
}

// Gives an object block back (its object already destroyed) to the calling
// thread's pool of its size, whichever thread made it.
inline void FreeObjectBlock(SharedPtrInfoStruct* info) noexcept {
  const unsigned poolIndex = info->m_origin - SharedPtrInfoStruct::kFromObjectPool0;
  UtilitiesDllPerThreadStorage* storage = nullptr;
  try {
    storage = UtilitiesDllPerThreadStorage::GetStorageWhileLoaded();
  } catch (...) {
    // No storage could be made for this thread: the manager takes the block.
  }
  if (storage != nullptr) {
    storage->GetObjectPoolOfThisStorage(poolIndex).ReturnToPool(info, 0);
  } else {
    GlobalMemoryPoolManager::ReturnBlock(info, UtilitiesDllPerThreadStorage::kObjectPoolBlockSizes[poolIndex],
                                         UtilitiesDllPerThreadStorage::GetObjectPoolBlocksPerChunk(poolIndex));
  }
}

// Marks the constructor through which MakeHldShared hands over an object
// together with its control block.
struct AdoptObjectAndControlBlock {};

}  // namespace InternalHaldenCP

template <class T>
struct SharedPtrCompare {
  bool operator()(const T* a, const T* b) const {
    if (a == nullptr || b == nullptr) {
      return a == nullptr && b != nullptr;
    }
    return *a < *b;
  }
};

template <class T, class Compare = SharedPtrCompare<T>>
class HldSharedPtr {
 public:
  using element_type = T;
  using compare_type = Compare;

  constexpr HldSharedPtr() noexcept = default;
  constexpr HldSharedPtr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  // Takes ownership of `object` (which may be null). If no control block can
  // be had, the object is deleted and std::bad_alloc propagates.
  explicit HldSharedPtr(T* object) : m_pointee(object) {
    if (object != nullptr) {
      try {
        m_info = InternalHaldenCP::AllocateSharedPtrInfo();
      } catch (...) {
        delete object;
        m_pointee = nullptr;
        throw;
      }
    }
  }
  // MakeHldShared's: takes over an object and its control block (count 1).
  HldSharedPtr(InternalHaldenCP::AdoptObjectAndControlBlock, T* object, SharedPtrInfoStruct* info) noexcept
      : m_pointee(object), m_info(info) {}
  HldSharedPtr(const HldSharedPtr& other) noexcept : m_pointee(other.m_pointee), m_info(other.m_info) { addRef(); }
  HldSharedPtr(HldSharedPtr&& other) noexcept
      : m_pointee(std::exchange(other.m_pointee, nullptr)), m_info(std::exchange(other.m_info, nullptr)) {}
  // From a pointer to a derived class (sharing its control block).
  template <class U, class C, class = std::enable_if_t<std::is_convertible_v<U*, T*> && !std::is_same_v<U, T>>>
  HldSharedPtr(const HldSharedPtr<U, C>& other) noexcept  // NOLINT(google-explicit-constructor)
      : m_pointee(other.m_pointee), m_info(other.m_info) {
    addRef();
  }
  ~HldSharedPtr() { release(); }

  // Copy and swap: safe on self-assignment.
  HldSharedPtr& operator=(const HldSharedPtr& other) noexcept {  // NOLINT(bugprone-unhandled-self-assignment)
    HldSharedPtr(other).swap(*this);
    return *this;
  }
  HldSharedPtr& operator=(HldSharedPtr&& other) noexcept {
    HldSharedPtr(std::move(other)).swap(*this);
    return *this;
  }
  HldSharedPtr& operator=(std::nullptr_t) noexcept {
    reset();
    return *this;
  }

  void reset() noexcept { HldSharedPtr().swap(*this); }
  void reset(T* object) { HldSharedPtr(object).swap(*this); }
  void swap(HldSharedPtr& other) noexcept {
    std::swap(m_pointee, other.m_pointee);
    std::swap(m_info, other.m_info);
  }

  T* get() const noexcept { return m_pointee; }
  T& operator*() const noexcept { return *m_pointee; }
  T* operator->() const noexcept { return m_pointee; }
  explicit operator bool() const noexcept { return m_pointee != nullptr; }
  // The number of HldSharedPtr objects sharing the object (0 for null).
  std::uint32_t use_count() const noexcept {
    return m_info != nullptr ? m_info->m_referenceCount.load(std::memory_order_acquire) : 0;
  }
  bool unique() const noexcept { return use_count() == 1; }
  // The control block (for diagnostics and tests).
  const SharedPtrInfoStruct* GetSharedPtrInfo() const noexcept { return m_info; }

  friend bool operator==(const HldSharedPtr& a, const HldSharedPtr& b) noexcept { return a.m_pointee == b.m_pointee; }
  friend bool operator==(const HldSharedPtr& a, std::nullptr_t) noexcept { return a.m_pointee == nullptr; }
  friend bool operator<(const HldSharedPtr& a, const HldSharedPtr& b) { return Compare()(a.m_pointee, b.m_pointee); }

 private:
  template <class U, class C>
  friend class HldSharedPtr;

  void addRef() const noexcept {
    if (m_info != nullptr) {
      m_info->m_referenceCount.fetch_add(1, std::memory_order_relaxed);
    }
  }
  // An owner that sees a count of 1 holds the only reference: no other thread
  // can copy it at the same time, so the atomic decrement can be skipped.
  void release() noexcept {
    if (m_info != nullptr && (m_info->m_referenceCount.load(std::memory_order_acquire) == 1 ||
                              m_info->m_referenceCount.fetch_sub(1, std::memory_order_acq_rel) == 1)) {
      if (InternalHaldenCP::IsObjectBlock(m_info)) {
        std::destroy_at(m_pointee);
        InternalHaldenCP::FreeObjectBlock(m_info);
      } else {
        delete m_pointee;
        InternalHaldenCP::FreeSharedPtrInfo(m_info);
      }
    }
    // The analyzer cannot follow a count shared between owners; the tests run
    // under LeakSanitizer instead.
    m_pointee = nullptr;  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks,clang-analyzer-unix.Malloc)
    m_info = nullptr;     // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks,clang-analyzer-unix.Malloc)
  }

  T* m_pointee = nullptr;
  SharedPtrInfoStruct* m_info = nullptr;
};

// Builds the object and shares it: placed together with its control block in
// a block of the calling thread's object pools when it fits (see the top),
// otherwise made with `new`.
template <class T, class Compare = SharedPtrCompare<T>, class... Args>
HldSharedPtr<T, Compare> MakeHldShared(Args&&... args) {
  constexpr unsigned poolIndex = InternalHaldenCP::ObjectPoolIndexFor<T>();
  if constexpr (poolIndex < UtilitiesDllPerThreadStorage::kNumberOfObjectPools) {
    if (SharedPtrInfoStruct* info = InternalHaldenCP::AllocateObjectBlock(poolIndex)) {
      T* object = nullptr;
      try {
        object = ::new (InternalHaldenCP::ObjectOfBlock(info)) T(std::forward<Args>(args)...);
      } catch (...) {
        InternalHaldenCP::FreeObjectBlock(info);
        throw;
      }
      return HldSharedPtr<T, Compare>(InternalHaldenCP::AdoptObjectAndControlBlock{}, object, info);
    }
  }
  return HldSharedPtr<T, Compare>(new T(std::forward<Args>(args)...));
}
