#include "General/Dimension.h"
#include "General/Number.h"
#include "General/UtcTime.h"

#include <gtest/gtest.h>

#include <limits>

TEST(Number, RoundingAddsJustUnderOneHalfThenTruncates) {
  EXPECT_EQ(Number::RoundToInt32(2.5), 2);
  EXPECT_EQ(Number::RoundToInt32(2.500001), 3);
  EXPECT_EQ(Number::RoundToInt32(2.4), 2);
  EXPECT_EQ(Number::RoundToInt32(0.0), 0);
  EXPECT_EQ(Number::RoundToInt32(-1.2), 0);
  EXPECT_EQ(Number::RoundToInt32(-1.6), -1);
  EXPECT_EQ(Number::RoundToInt32(1e12), 2147483647);
  EXPECT_EQ(Number::RoundToInt32(-1e12), -2147483647 - 1);
}

TEST(Dimension, StoredInMicronsAndComparedAsLengths) {
  const Dimension letterWidth(8.5, DIMENSION_UNIT_INCHES);
  EXPECT_EQ(letterWidth.GetStorageValue(), 215900);
  EXPECT_DOUBLE_EQ(letterWidth.GetValueIn(DIMENSION_UNIT_MILLIMETERS), 215.9);
  EXPECT_EQ(Dimension(1.0, DIMENSION_UNIT_POINTS).GetStorageValue(), 353);  // 352.777...
  EXPECT_EQ(Dimension(2100, DIMENSION_UNIT_TENTHS_OF_MILLIMETERS).GetStorageValue(), 210000);
  EXPECT_EQ(Dimension(1, DIMENSION_UNIT_THOUSANDTHS_OF_INCH).GetStorageValue(), 25);  // 25.4
  EXPECT_EQ(Dimension::FromStorageValue(215900), letterWidth);
  // Stored values survive being read and written again, negative ones too.
  for (const std::int32_t microns : {-5, -1, 0, 7, -2147483647 - 1, 2147483647}) {
    EXPECT_EQ(Dimension::FromStorageValue(microns).GetStorageValue(), microns);
  }
  EXPECT_EQ(Dimension(-1.6, DIMENSION_UNIT_MICRONS).GetStorageValue(), -1);
  // A length is stored with the rounding rule, negative ones too.
  EXPECT_EQ(Dimension(-5, DIMENSION_UNIT_MILLIMETERS).GetStorageValue(), -4999);
  EXPECT_EQ(Dimension(-5, DIMENSION_UNIT_MILLIMETERS), Dimension::FromStorageValue(-5000));
  EXPECT_TRUE(Dimension(1, DIMENSION_UNIT_MILLIMETERS) < Dimension(1, DIMENSION_UNIT_CENTIMETERS));
  EXPECT_EQ(Dimension(3, static_cast<DimensionUnitEnum>(42)).GetUnit(), DIMENSION_UNIT_MICRONS);
  EXPECT_EQ(letterWidth.GetDisplayString(), "8.5 in");
}

TEST(UtcTime, CalendarConversionAndTime64Offset) {
  const UtcTime t(2026, 11, 21, 4, 40, 33);
  EXPECT_EQ(t.GetSecondsSinceEpoch(), 1795236033);
  EXPECT_EQ(t.GetIso8601String(), "2026-11-21T04:40:33Z");
  EXPECT_EQ(UtcTime(0).GetIso8601String(), "1970-01-01T00:00:00Z");
  EXPECT_EQ(UtcTime(-1).GetIso8601String(), "1969-12-31T23:59:59Z");
  EXPECT_EQ(UtcTime(2000, 2, 29, 12, 0, 0).GetIso8601String(), "2000-02-29T12:00:00Z");
  // The ends of the 64-bit range have no calendar form and no overflow.
  const std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(UtcTime(lowest).GetIso8601String(), "-9223372036854775808 seconds since 1970-01-01T00:00:00Z");
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  UtcTime(lowest).GetDateTime(year, month, day, hour, minute, second);
  EXPECT_EQ(year, std::numeric_limits<int>::min());
  EXPECT_EQ(UtcTime(253402300799LL).GetIso8601String(), "9999-12-31T23:59:59Z");

  UtcTime parsed;
  EXPECT_TRUE(parsed.SetFromIso8601String("2026-11-21T04:40:33Z"));
  EXPECT_EQ(parsed, t);
  EXPECT_FALSE(parsed.SetFromIso8601String("2026-13-01T00:00:00Z"));
  EXPECT_FALSE(parsed.SetFromIso8601String("2026-11-21 04:40:33"));
  EXPECT_EQ(parsed, t);

  // Only dates of the calendar are read, in exactly the form written.
  for (const char* impossible : {"2023-02-31T00:00:00Z",  "2023-02-29T00:00:00Z",
                                 "1900-02-29T00:00:00Z",  "2023-04-31T12:00:00Z",
                                 "2023-06-31T12:00:00Z",  "2023-09-31T12:00:00Z",
                                 "2023-11-31T12:00:00Z",  "2023-01-32T00:00:00Z",
                                 "2023-01-00T00:00:00Z",  "0000-01-01T00:00:00Z",
                                 "2023-01-01T24:00:00Z",  "2023-01-01T23:60:00Z",
                                 "2023-12-31T23:59:60Z",  "+2023-01-01T00:00:00Z",
                                 " 2023-01-01T00:00:00Z", "2023-1-01T00:00:00Z",
                                 "12023-01-01T00:00:00Z", "2023-01-01T00:00:00z",
                                 "2023-01-01T00:00:00Z ", "2023-01-01T00:00:0Z",
                                 "2023-01-01T-1:00:00Z",  ""}) {
    EXPECT_FALSE(parsed.SetFromIso8601String(impossible)) << impossible;
    EXPECT_EQ(parsed, t) << impossible;
  }
  for (const char* possible : {"2024-02-29T00:00:00Z", "2000-02-29T23:59:59Z", "2023-04-30T12:00:00Z",
                               "0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z", "1969-12-31T23:59:59Z"}) {
    ASSERT_TRUE(parsed.SetFromIso8601String(possible)) << possible;
    EXPECT_EQ(parsed.GetIso8601String(), possible);
  }

  // One hour east of UTC: the stored value is local time.
  EXPECT_EQ(t.ToTime64WithOffset(3600), 1795236033 + 3600);
  EXPECT_EQ(UtcTime::FromTime64WithOffset(1795236033 + 3600, 3600), t);
  EXPECT_EQ(UtcTime::FromTime64(t.ToTime64()), t);
  EXPECT_GT(UtcTime::Now().GetSecondsSinceEpoch(), 1700000000);
}
