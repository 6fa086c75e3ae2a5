#include "General/UtcTime.h"

#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <algorithm>
#include <limits>

namespace {

// Days since 1970-01-01 of a proleptic Gregorian date, and back (the
// era-based algorithms, exact for every 64-bit day count in use).
std::int64_t daysFromCivil(std::int64_t year, unsigned month, unsigned day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto yearOfEra = static_cast<unsigned>(year - era * 400);
  const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + static_cast<std::int64_t>(dayOfEra) - 719468;
}

void civilFromDays(std::int64_t days, int& year, int& month, int& day) {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
  const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned monthIndex = (5 * dayOfYear + 2) / 153;
  day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
  month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
  const std::int64_t fullYear = static_cast<std::int64_t>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0);
  year = static_cast<int>(
      std::clamp<std::int64_t>(fullYear, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

int daysInMonth(int year, int month) noexcept {
  constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

constexpr std::int64_t kFirstCalendarSecond = -62135596800LL;  // 0001-01-01T00:00:00Z
constexpr std::int64_t kLastCalendarSecond = 253402300799LL;   // 9999-12-31T23:59:59Z

}  // namespace

UtcTime::UtcTime(int year, int month, int day, int hour, int minute, int second) noexcept
    : m_seconds(daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) * 86400 +
                std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second) {}

UtcTime UtcTime::Now() noexcept {
  return UtcTime(PlatformFacilities::utcSecondsNow());
}

void UtcTime::GetDateTime(int& year, int& month, int& day, int& hour, int& minute, int& second) const noexcept {
  // Split without multiplying back, which could overflow at the ends of the range.
  std::int64_t days = m_seconds / 86400;
  std::int64_t secondsOfDay = m_seconds % 86400;
  if (secondsOfDay < 0) {
    secondsOfDay += 86400;
    --days;
  }
  civilFromDays(days, year, month, day);
  hour = static_cast<int>(secondsOfDay / 3600);
  minute = static_cast<int>(secondsOfDay / 60 % 60);
  second = static_cast<int>(secondsOfDay % 60);
}

std::string UtcTime::GetIso8601String() const {
  // Years 1 to 9999 have a calendar form; other values are shown as they are.
  if (m_seconds < kFirstCalendarSecond || m_seconds > kLastCalendarSecond) {
    return InternalHaldenCP::formatToStdString("%lld seconds since 1970-01-01T00:00:00Z",
                                               static_cast<long long>(m_seconds));
  }
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  GetDateTime(year, month, day, hour, minute, second);
  return InternalHaldenCP::formatToStdString("%04d-%02d-%02dT%02d:%02d:%02dZ", year, month, day, hour, minute, second);
}

bool UtcTime::SetFromIso8601String(const std::string& text) {
  // Exactly "YYYY-MM-DDTHH:MM:SSZ": four-digit year, two-digit fields, no
  // signs or blanks, and a date that exists in the calendar.
  constexpr char kPattern[] = "dddd-dd-ddTdd:dd:ddZ";
  if (text.size() != sizeof(kPattern) - 1) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool digitExpected = kPattern[i] == 'd';
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (digitExpected ? !isDigit : text[i] != kPattern[i]) {
      return false;
    }
  }
  const auto number = [&text](std::size_t position, std::size_t digits) {
    int value = 0;
    for (std::size_t i = position; i < position + digits; ++i) {
      value = value * 10 + (text[i] - '0');
    }
    return value;
  };
  const int year = number(0, 4);
  const int month = number(5, 2);
  const int day = number(8, 2);
  const int hour = number(11, 2);
  const int minute = number(14, 2);
  const int second = number(17, 2);
  // Seconds count without leap seconds (":60" has no value of its own).
  if (year < 1 || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 || minute > 59 ||
      second > 59) {
    return false;
  }
  *this = UtcTime(year, month, day, hour, minute, second);
  return true;
}

namespace {

// The machine's current UTC offset, looked up at most once a second per
// thread: reading a settings state converts every date-time record, and the
// offset can only change from one second to the next.
std::int64_t currentUtcOffset() noexcept {
  thread_local std::int64_t t_second = std::numeric_limits<std::int64_t>::min();
  thread_local std::int64_t t_offset = 0;
  const std::int64_t now = PlatformFacilities::utcSecondsNow();
  if (now != t_second) {
    t_offset = PlatformFacilities::currentUtcOffsetSeconds();
    t_second = now;
  }
  return t_offset;
}

}  // namespace

std::int64_t UtcTime::ToTime64() const noexcept {
  return ToTime64WithOffset(currentUtcOffset());
}

UtcTime UtcTime::FromTime64(std::int64_t time64) noexcept {
  return FromTime64WithOffset(time64, currentUtcOffset());
}
