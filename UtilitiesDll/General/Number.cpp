#include "General/Number.h"

#include <cmath>

namespace Number {

std::int32_t RoundToInt32(double value) noexcept {
  const double shifted = value + 0.499999;
  if (std::isnan(shifted)) {
    return 0;
  }
  if (shifted >= 2147483647.0) {
    return 2147483647;
  }
  if (shifted <= -2147483648.0) {
    return -2147483647 - 1;
  }
  return static_cast<std::int32_t>(shifted);  // truncates toward zero
}

}  // namespace Number
