#pragma once
// The value of one wide code unit: a UTF-16 unit on Windows, a UTF-32 unit on
// Linux, where wchar_t is signed and a negative unit becomes a value above
// U+10FFFF (never a code point). Taken as a number, not as a character.

#include <cstdint>

inline constexpr std::uint32_t wideCodeUnitValue(wchar_t unit) noexcept {
  return static_cast<std::uint32_t>(unit);  // NOLINT(bugprone-signed-char-misuse)
}
// Only wchar_t: a char16_t or char32_t would convert silently (and a char32_t
// lose its upper half where wchar_t has 16 bits).
template <class Unit>
std::uint32_t wideCodeUnitValue(Unit) = delete;
