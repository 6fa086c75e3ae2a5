#include "LowLevelFacilities/HldSharedPtr.h"

#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <new>

namespace InternalHaldenCP {

namespace {

bool perThreadStorageUsable() noexcept {
  return UtilitiesDllPerThreadStorage::GetMarkerWord() == UtilitiesDllPerThreadStorage::kMarkerWhileLoaded;
}

}  // namespace

SharedPtrInfoStruct* AllocateSharedPtrInfo() {
  void* memory = nullptr;
  std::uint32_t origin = SharedPtrInfoStruct::kFromThreadPool;
  std::uint32_t threadId = 0;
  if (perThreadStorageUsable()) {
    UtilitiesDllPerThreadStorage& storage = UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject();
    memory = storage.GetSharedPtrMemoryPoolOfThisStorage().AllocateFromPool(sizeof(SharedPtrInfoStruct));
    threadId = storage.GetCreatingThreadId();
  } else {
    memory = ::operator new(sizeof(SharedPtrInfoStruct));
    origin = SharedPtrInfoStruct::kFromHeap;
    threadId = PlatformFacilities::currentThreadId();
  }
  auto* info = ::new (memory) SharedPtrInfoStruct{{1}, origin, threadId};
  return info;
}

void FreeSharedPtrInfo(SharedPtrInfoStruct* info) noexcept {
  if (info == nullptr) {
    return;
  }
  if (info->m_origin == SharedPtrInfoStruct::kFromHeap) {
    ::operator delete(static_cast<void*>(info));
    return;
  }
  if (!perThreadStorageUsable()) {
    // Unloading: the pools are being (or have been) combined and freed; the
    // block stays where it is.
    return;
  }
  try {
    UtilitiesDllPerThreadStorage::GetSharedPtrMemoryPool().ReturnToPool(info, sizeof(SharedPtrInfoStruct));
  } catch (...) {
    // This thread's storage could not be created (out of memory): the block is
    // given up rather than let an exception out of a destructor.
  }
}

}  // namespace InternalHaldenCP
