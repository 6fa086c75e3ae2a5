#pragma once
// Number: the library's rounding of measured values to stored integers.

#include "hdUtilitiesExport.h"

#include <cstdint>

namespace Number {

// Adds 0.499999 and truncates toward zero: 2.5 gives 2 (not 3), 2.500001
// gives 3, -1.2 gives 0. Stored dimensions are made this way, so the rule must
// not change. Values outside the 32-bit range are clamped to it.
HDU_API std::int32_t RoundToInt32(double value) noexcept;

}  // namespace Number
