// The formatter writes integer conversions that carry nothing but size
// modifiers ("%ld", "%llu", "%hx") on a short path; a "0" flag without a width
// changes nothing in printf, so "%0ld" takes the general path to the same
// text. Both must agree for every kind and width of argument.

#include "LowLevelFacilities/Formatter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using InternalHaldenCP::formatToStdString;

namespace {

template <class T>
void expectSameOnBothPaths(T value) {
  for (const char* conversion : {"d", "i", "u", "x", "X"}) {
    for (const char* modifier : {"", "l", "ll", "h", "z"}) {
      const std::string shortPath = std::string("<%") + modifier + conversion + ">";
      const std::string generalPath = std::string("<%0") + modifier + conversion + ">";
      EXPECT_EQ(formatToStdString(shortPath.c_str(), value), formatToStdString(generalPath.c_str(), value))
          << shortPath << " with " << +value;
    }
  }
}

}  // namespace

TEST(FormatterIntegerConversions, ShortAndGeneralPathsAgree) {
  expectSameOnBothPaths(0);
  expectSameOnBothPaths(-1);
  expectSameOnBothPaths(2147483647);
  expectSameOnBothPaths(static_cast<long>(-1234567));
  expectSameOnBothPaths(static_cast<long long>(INT64_MIN));
  expectSameOnBothPaths(static_cast<unsigned long long>(UINT64_MAX));
  expectSameOnBothPaths(static_cast<unsigned short>(65535));
  expectSameOnBothPaths(static_cast<std::int8_t>(-128));
  expectSameOnBothPaths(4000000000u);

  EXPECT_EQ(formatToStdString("%ld|%lu|%lx|%llX|%hd", -5L, 5UL, 255UL, 0xABCDULL, static_cast<short>(-7)),
            "-5|5|ff|ABCD|-7");
  EXPECT_EQ(formatToStdString("(%lu/0x%lx)", 2UL, 2UL), "(2/0x2)");
  // Flags and widths still take the general path.
  EXPECT_EQ(formatToStdString("%5ld|%-4lu|%08lx|%+ld", 42L, 7UL, 0xBEEFUL, 3L), "   42|7   |0000beef|+3");
}
