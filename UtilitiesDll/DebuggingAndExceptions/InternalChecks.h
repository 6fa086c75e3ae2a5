#pragma once
// The per-thread internal-check counter. While it is above zero, misuse of the
// library's per-thread counters and surplus formatting arguments throw
// std::runtime_error instead of being ignored; tests and the library's own
// self-checks raise it. Zero for every new thread; never shared between threads.

#include "hdUtilitiesExport.h"

namespace InternalChecks {

HDU_API int internalCheckCounter() noexcept;
HDU_API void raiseInternalCheckCounter() noexcept;
// Lowers the counter; a counter already at zero stays at zero.
HDU_API void lowerInternalCheckCounter() noexcept;

inline bool internalChecksEnabled() noexcept {
  return internalCheckCounter() > 0;
}

// Raises the counter for the lifetime of the scope.
class InternalCheckScope {
 public:
  InternalCheckScope() noexcept { raiseInternalCheckCounter(); }
  ~InternalCheckScope() { lowerInternalCheckCounter(); }
  InternalCheckScope(const InternalCheckScope&) = delete;
  InternalCheckScope& operator=(const InternalCheckScope&) = delete;
};

}  // namespace InternalChecks
