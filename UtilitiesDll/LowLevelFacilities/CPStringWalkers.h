#pragma once
// The walkers CPString's sources share (CPString.cpp and the CPString*.cpp
// files beside it, one per section of the class: index conversion,
// searching, editing, comparison): checked code-point walks over the UTF-8
// bytes, the white-space test, and the position errors whose messages
// CPString.h lists. Internal to the library: it includes the checked decoder
// (utfcpp's core and the exception hierarchy), so public headers must not
// include it.
//
// The walks are defined here, so that each section compiles them as one file
// did; the position errors are cold and live once, in CPString.cpp.

#include "LowLevelFacilities/Utf8CheckedDecoding.h"

#include <cstdint>
#include <cstring>
#include <locale>
#include <string>

namespace InternalHaldenCP::CPStringWalkers {

using size_type = std::string::size_type;

// ---- bytes ---------------------------------------------------------------------------

constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

inline std::uint64_t load64(const char* bytes) noexcept {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

inline bool isAsciiByte(char c) noexcept {
  return static_cast<unsigned char>(c) < 0x80;
}

inline bool isTrailByte(char c) noexcept {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// ---- position errors -------------------------------------------------------------------
// Each throws CPExceptionOutOfRange (a foreign iterator:
// CPExceptionIteratorOutOfBounds; a byte index inside a sequence:
// utf8::CPExceptionInvalidUtf8) under `functionLabel`, with the string's text.

[[noreturn]] void throwCodePointPosition(const char* functionLabel, std::uint64_t position, const std::string& text);
[[noreturn]] void throwRawBytePosition(const char* functionLabel, size_type position, const std::string& text);
[[noreturn]] void throwRawBytePositionAndCount(const char* functionLabel, unsigned position, unsigned count,
                                               const std::string& text);
[[noreturn]] void throwForeignByteIterator(const char* functionLabel, const void* position, const std::string& text);
[[noreturn]] void throwInsideSequence(const char* functionLabel, size_type byteIndex, const std::string& text);

// ---- code-point walks (checked) ---------------------------------------------------------

// Moves `cursor` over up to `count` code points, stopping at `end`; returns
// how many it stepped over. Runs of ASCII go eight bytes at a time. Kept out
// of line: one copy serves every caller, which only set up its arguments.
[[gnu::noinline]] inline std::uint32_t advanceCodePoints(const char* begin, const char* end, const char*& cursor,
                                                         std::uint32_t count, const char* functionLabel) {
  std::uint32_t done = 0;
  while (done < count && cursor < end) {
    if (count - done >= 8 && end - cursor >= 8 && (load64(cursor) & kHighBits) == 0) {
      cursor += 8;
      done += 8;
      continue;
    }
    if (isAsciiByte(*cursor)) {
      ++cursor;
    } else {
      decodeNextUtf8Checked(cursor, begin, end, functionLabel);
    }
    ++done;
  }
  return done;
}

inline std::uint32_t countCodePoints(const std::string& text, const char* functionLabel) {
  const char* cursor = text.data();
  return advanceCodePoints(text.data(), text.data() + text.size(), cursor, 0xFFFFFFFFu, functionLabel);
}

// The byte index of a code-point index, or npos when the string has fewer
// code points; `reached` tells how many code points there were on the way.
inline size_type byteIndexOfCodePoint(const std::string& text, std::uint32_t index, std::uint32_t& reached,
                                      const char* functionLabel) {
  const char* cursor = text.data();
  reached = advanceCodePoints(text.data(), text.data() + text.size(), cursor, index, functionLabel);
  return reached == index ? static_cast<size_type>(cursor - text.data()) : std::string::npos;
}

// Decodes the code point at `cursor` (checked) and moves behind it.
inline std::uint32_t nextCodePoint(const char*& cursor, const char* begin, const char* end, const char* functionLabel) {
  if (isAsciiByte(*cursor)) {
    return static_cast<unsigned char>(*cursor++);
  }
  return decodeNextUtf8Checked(cursor, begin, end, functionLabel);
}

// ---- white space ---------------------------------------------------------------------------

// The space test of the current std::locale's character type facet.
class LocaleSpaceTest {
 public:
  LocaleSpaceTest() : m_locale(), m_facet(std::use_facet<std::ctype<char>>(m_locale)) {}
  bool operator()(char c) const { return m_facet.is(std::ctype_base::space, c); }

 private:
  std::locale m_locale;
  const std::ctype<char>& m_facet;
};

}  // namespace InternalHaldenCP::CPStringWalkers
