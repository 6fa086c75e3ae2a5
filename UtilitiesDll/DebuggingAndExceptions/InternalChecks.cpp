#include "DebuggingAndExceptions/InternalChecks.h"

namespace InternalChecks {

namespace {
// A plain int: thread_local objects with destructors must not live in the DLL
// (MinGW cannot unload it then), and a counter needs none.
thread_local int t_internalCheckCounter = 0;
}  // namespace

int internalCheckCounter() noexcept {
  return t_internalCheckCounter;
}

void raiseInternalCheckCounter() noexcept {
  ++t_internalCheckCounter;
}

void lowerInternalCheckCounter() noexcept {
  if (t_internalCheckCounter > 0) {
    --t_internalCheckCounter;
  }
}

}  // namespace InternalChecks
