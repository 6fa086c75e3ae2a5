#include "LowLevelFacilities/HldSharedPtr.h"

#include "LowLevelFacilities/PlatformFacilities.h"

#include <new>

namespace InternalHaldenCP {

SharedPtrInfoStruct* AllocateSharedPtrInfoFromHeap() {
  void* memory = ::operator new(sizeof(SharedPtrInfoStruct));
  return ::new (memory) SharedPtrInfoStruct{{1}, SharedPtrInfoStruct::kFromHeap, PlatformFacilities::currentThreadId()};
}

void FreeSharedPtrInfoToHeap(SharedPtrInfoStruct* info) noexcept {
  ::operator delete(static_cast<void*>(info));
}

}  // namespace InternalHaldenCP
