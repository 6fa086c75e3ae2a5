#include "LowLevelFacilities/PlatformFacilities.h"

#include <cstdio>

int main() {
  PlatformFacilities::setLastError(5);
  {
    PlatformFacilities::LastErrorPreserver preserve;
    PlatformFacilities::setLastError(7);
  }
  const bool ok = PlatformFacilities::getLastError() == 5 && !PlatformFacilities::computerName().empty();
  std::puts(ok ? "consumer: ok" : "consumer: FAILED");
  return ok ? 0 : 1;
}
