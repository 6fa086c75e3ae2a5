// ThreadEndNotification on POSIX: a pthread key whose destructor is the
// callback. The thread library calls it on the ending thread for a non-null
// value, and again (a few times at most) when the callback leaves a new value.

#include "LowLevelFacilities/ThreadEndNotification.h"

#include <pthread.h>

#include <atomic>

namespace ThreadEndNotification {

namespace {

pthread_key_t g_key;
std::atomic<bool> g_open{false};

}  // namespace

bool open(Callback callback) noexcept {
  if (g_open.load(std::memory_order_acquire)) {
    return true;
  }
  if (::pthread_key_create(&g_key, callback) != 0) {
    return false;
  }
  g_open.store(true, std::memory_order_release);
  return true;
}

bool registerCallingThread(void* value) noexcept {
  return g_open.load(std::memory_order_acquire) && ::pthread_setspecific(g_key, value) == 0;
}

void close() noexcept {
  if (g_open.exchange(false, std::memory_order_acq_rel)) {
    ::pthread_key_delete(g_key);
  }
}

bool otherThreadsMayRunDuringUnload() noexcept {
  return true;
}

}  // namespace ThreadEndNotification
