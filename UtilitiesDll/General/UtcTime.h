#pragma once
// UtcTime: a point in time, in whole seconds since 1970-01-01 00:00:00 UTC.
//
// The 64-bit time value of the record formats ("time64") counts seconds since
// 1970-01-01 00:00:00 as well, but on the machine's local clock: writing adds
// the machine's current offset from UTC (east positive, daylight saving
// included as it is in force at the moment of conversion; looked up at most
// once a second per thread) and reading subtracts the offset current at that
// moment. A value written and read on
// the same machine in the same season therefore comes back unchanged; the
// ...WithOffset forms take the offset explicitly.

#include "hdUtilitiesExport.h"

#include <cstdint>
#include <string>

class HDU_API UtcTime {
 public:
  UtcTime() = default;
  explicit UtcTime(std::int64_t secondsSinceEpoch) noexcept : m_seconds(secondsSinceEpoch) {}
  // From a UTC calendar date and time (month 1-12, day 1-31).
  UtcTime(int year, int month, int day, int hour, int minute, int second) noexcept;

  static UtcTime Now() noexcept;

  std::int64_t GetSecondsSinceEpoch() const noexcept { return m_seconds; }
  void GetDateTime(int& year, int& month, int& day, int& hour, int& minute, int& second) const noexcept;
  // "2026-11-21T04:40:33Z" for years 1 to 9999; other values as
  // "<n> seconds since 1970-01-01T00:00:00Z".
  std::string GetIso8601String() const;
  // Parses exactly the calendar form GetIso8601String writes
  // ("YYYY-MM-DDTHH:MM:SSZ", years 0001 to 9999); false, and no change, for
  // anything else, a date the calendar does not have (2023-02-31) or a leap
  // second (":60", which this count of seconds cannot hold) included.
  bool SetFromIso8601String(const std::string& text);

  // The record formats' 64-bit time value (see above).
  std::int64_t ToTime64() const noexcept;
  static UtcTime FromTime64(std::int64_t time64) noexcept;
  // Both wrap around at the ends of the 64-bit range (stored values come from
  // untrusted bytes), so that writing undoes reading for every value.
  std::int64_t ToTime64WithOffset(std::int64_t utcOffsetSeconds) const noexcept {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(m_seconds) +
                                     static_cast<std::uint64_t>(utcOffsetSeconds));
  }
  static UtcTime FromTime64WithOffset(std::int64_t time64, std::int64_t utcOffsetSeconds) noexcept {
    return UtcTime(
        static_cast<std::int64_t>(static_cast<std::uint64_t>(time64) - static_cast<std::uint64_t>(utcOffsetSeconds)));
  }

  friend bool operator==(const UtcTime& a, const UtcTime& b) noexcept { return a.m_seconds == b.m_seconds; }
  friend bool operator<(const UtcTime& a, const UtcTime& b) noexcept { return a.m_seconds < b.m_seconds; }

 private:
  std::int64_t m_seconds = 0;
};
