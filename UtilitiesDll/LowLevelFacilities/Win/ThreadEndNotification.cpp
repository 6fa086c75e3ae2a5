// ThreadEndNotification on Windows: a fiber-local-storage slot whose callback
// the system calls on a thread that ends (before the DLLs' thread detach), for
// the thread's non-null value. FlsFree calls it for every value still set.

#include "LowLevelFacilities/ThreadEndNotification.h"

#include <windows.h>

#include <atomic>

namespace ThreadEndNotification {

namespace {

std::atomic<DWORD> g_slot{FLS_OUT_OF_INDEXES};
std::atomic<Callback> g_callback{nullptr};

// The system's calling convention, forwarding to the library's callback.
VOID WINAPI onFiberLocalStorageFreed(PVOID value) {
  if (const Callback callback = g_callback.load(std::memory_order_acquire)) {
    callback(value);
  }
}

}  // namespace

bool open(Callback callback) noexcept {
  if (g_slot.load(std::memory_order_acquire) != FLS_OUT_OF_INDEXES) {
    return true;
  }
  g_callback.store(callback, std::memory_order_release);
  const DWORD slot = ::FlsAlloc(&onFiberLocalStorageFreed);
  if (slot == FLS_OUT_OF_INDEXES) {
    return false;
  }
  g_slot.store(slot, std::memory_order_release);
  return true;
}

bool registerCallingThread(void* value) noexcept {
  const DWORD slot = g_slot.load(std::memory_order_acquire);
  return slot != FLS_OUT_OF_INDEXES && ::FlsSetValue(slot, value) != FALSE;
}

void close() noexcept {
  const DWORD slot = g_slot.exchange(FLS_OUT_OF_INDEXES, std::memory_order_acq_rel);
  if (slot != FLS_OUT_OF_INDEXES) {
    ::FlsFree(slot);
  }
}

bool otherThreadsMayRunDuringUnload() noexcept {
  return false;
}

}  // namespace ThreadEndNotification
