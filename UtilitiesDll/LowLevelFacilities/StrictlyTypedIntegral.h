#pragma once
// StrictlyTypedIntegral<T, Tag>: an integer that only mixes with integers of
// the same tag. CPString counts code points with SizeCodePoints32Struct and
// raw UTF-8 bytes with SizeRawBytes32Struct; neither converts to the other or
// from a bare unsigned int without saying so (explicit construction, value()).

#include <compare>

template <class T, class Tag>
class StrictlyTypedIntegral {
 public:
  using value_type = T;

  constexpr StrictlyTypedIntegral() noexcept = default;
  constexpr explicit StrictlyTypedIntegral(T value) noexcept : m_value(value) {}

  constexpr T value() const noexcept { return m_value; }
  constexpr T get() const noexcept { return m_value; }

  constexpr auto operator<=>(const StrictlyTypedIntegral&) const noexcept = default;  // NOLINT(modernize-use-nullptr)
  constexpr bool operator==(const StrictlyTypedIntegral&) const noexcept = default;

  constexpr StrictlyTypedIntegral& operator+=(StrictlyTypedIntegral other) noexcept {
    m_value += other.m_value;
    return *this;
  }
  constexpr StrictlyTypedIntegral& operator-=(StrictlyTypedIntegral other) noexcept {
    m_value -= other.m_value;
    return *this;
  }
  constexpr StrictlyTypedIntegral& operator++() noexcept {
    ++m_value;
    return *this;
  }
  constexpr StrictlyTypedIntegral operator++(int) noexcept {
    StrictlyTypedIntegral old = *this;
    ++m_value;
    return old;
  }
  constexpr StrictlyTypedIntegral& operator--() noexcept {
    --m_value;
    return *this;
  }
  constexpr StrictlyTypedIntegral operator--(int) noexcept {
    StrictlyTypedIntegral old = *this;
    --m_value;
    return old;
  }
  friend constexpr StrictlyTypedIntegral operator+(StrictlyTypedIntegral a, StrictlyTypedIntegral b) noexcept {
    return StrictlyTypedIntegral(static_cast<T>(a.m_value + b.m_value));
  }
  friend constexpr StrictlyTypedIntegral operator-(StrictlyTypedIntegral a, StrictlyTypedIntegral b) noexcept {
    return StrictlyTypedIntegral(static_cast<T>(a.m_value - b.m_value));
  }

 private:
  T m_value = 0;
};

struct SizeCodePoints32Tag;
struct SizeRawBytes32Tag;

// Counts and positions in whole code points.
using SizeCodePoints32Struct = StrictlyTypedIntegral<unsigned int, SizeCodePoints32Tag>;
// Counts and positions in raw UTF-8 bytes.
using SizeRawBytes32Struct = StrictlyTypedIntegral<unsigned int, SizeRawBytes32Tag>;
