#pragma once
// Small inline UTF-8 encoders shared by the formatter and the string
// conversions. They never fail and never allocate beyond what the sink does.
//
// appendCodePointAsUtf8 writes any value up to 21 bits in the 1- to 4-byte
// UTF-8 form without validating it (surrogates and values above U+10FFFF
// included); callers that need valid output check first.
//
// appendUtf16AsUtf8Lenient is the never-failing UTF-16 walk of the hand
// conversion: a unit from 0xD800 to 0xDBFF is joined with the next unit as
// (first * 1024 + second - 56,613,888) without checking that the second is a
// trail surrogate; a lead unit at the very end is written on its own.
//
// appendUtf16AsUtf8Replacing and appendUtf32AsUtf8Replacing write valid UTF-8
// whatever they are given, as the platform's converter does: a surrogate pair
// becomes its code point, and every unit that is not a code point (an
// unpaired surrogate, a UTF-32 value above U+10FFFF) becomes U+FFFD. The
// UTF-32 form joins a lead and a trail surrogate too, because Linux wchar_t
// text (UTF-32) may hold UTF-16 pairs unit by unit.

#include <cstddef>
#include <cstdint>

namespace Utf8Encoding {

template <class Sink>
inline void appendCodePointAsUtf8(Sink& sink, std::uint32_t codePoint) {
  if (codePoint < 0x80) {
    sink.push_back(static_cast<char>(codePoint));
  } else if (codePoint < 0x800) {
    const char bytes[2] = {static_cast<char>(0xC0 | (codePoint >> 6)), static_cast<char>(0x80 | (codePoint & 0x3F))};
    sink.append(bytes, 2);
  } else if (codePoint < 0x10000) {
    const char bytes[3] = {static_cast<char>(0xE0 | (codePoint >> 12)),
                           static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)),
                           static_cast<char>(0x80 | (codePoint & 0x3F))};
    sink.append(bytes, 3);
  } else {
    const char bytes[4] = {
        static_cast<char>(0xF0 | ((codePoint >> 18) & 0x07)), static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F)),
        static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)), static_cast<char>(0x80 | (codePoint & 0x3F))};
    sink.append(bytes, 4);
  }
}

// Decodes the well-formed UTF-8 sequence of two to four bytes that starts at
// `bytes` (a byte of 0x80 or above) and ends before `end`: returns its length
// and sets `code`, or returns 0 for anything malformed (bad lead or trail
// byte, cut off, overlong, surrogate, above U+10FFFF), leaving the reporting
// to the checked routines.
inline unsigned decodeWellFormedMultiByteSequence(const char* bytes, const char* end, std::uint32_t& code) noexcept {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes);
  const std::ptrdiff_t available = end - bytes;
  const unsigned lead = p[0];
  auto isTrail = [](unsigned char c) { return (c & 0xC0) == 0x80; };
  if (lead >= 0xC2 && lead <= 0xDF) {
    if (available >= 2 && isTrail(p[1])) {
      code = ((lead & 0x1Fu) << 6) | (p[1] & 0x3Fu);
      return 2;
    }
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    if (available >= 3 && isTrail(p[1]) && isTrail(p[2])) {
      const std::uint32_t value = ((lead & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
      if (value >= 0x800 && (value < 0xD800 || value > 0xDFFF)) {
        code = value;
        return 3;
      }
    }
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    if (available >= 4 && isTrail(p[1]) && isTrail(p[2]) && isTrail(p[3])) {
      const std::uint32_t value =
          ((lead & 0x07u) << 18) | ((p[1] & 0x3Fu) << 12) | ((p[2] & 0x3Fu) << 6) | (p[3] & 0x3Fu);
      if (value >= 0x10000 && value <= 0x10FFFF) {
        code = value;
        return 4;
      }
    }
  }
  return 0;
}

template <class Sink, class Unit>
inline void appendUtf16AsUtf8Lenient(Sink& sink, const Unit* units, std::size_t length) {
  std::size_t i = 0;
  while (i < length) {
    // ASCII runs are copied as they are.
    std::size_t run = i;
    while (run < length && static_cast<std::uint32_t>(units[run]) < 0x80) {
      ++run;
    }
    if (run > i) {
      if constexpr (sizeof(Unit) == 1) {
        sink.append(reinterpret_cast<const char*>(units + i), run - i);
      } else {
        for (std::size_t k = i; k < run; ++k) {
          sink.push_back(static_cast<char>(units[k]));
        }
      }
      i = run;
      continue;
    }
    std::uint32_t value = static_cast<std::uint16_t>(units[i]);
    if (value >= 0xD800 && value <= 0xDBFF && i + 1 < length) {
      value = value * 1024 + static_cast<std::uint16_t>(units[i + 1]) - 56613888u;
      ++i;
    }
    appendCodePointAsUtf8(sink, value);
    ++i;
  }
}

inline constexpr std::uint32_t kReplacementCodePoint = 0xFFFD;

inline constexpr bool isLeadSurrogate(std::uint32_t unit) noexcept {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
inline constexpr bool isTrailSurrogate(std::uint32_t unit) noexcept {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}
inline constexpr std::uint32_t joinSurrogates(std::uint32_t lead, std::uint32_t trail) noexcept {
  return 0x10000 + ((lead - 0xD800) << 10) + (trail - 0xDC00);
}
// The value itself when it is a code point (not a surrogate, not above
// U+10FFFF), otherwise U+FFFD.
inline constexpr std::uint32_t codePointOrReplacement(std::uint32_t value) noexcept {
  return (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) ? kReplacementCodePoint : value;
}

// A small staging block: the encoders below write into it and hand the sink
// whole runs (one append per 128 bytes or so), which is much cheaper than a
// push_back per byte into a growing string or format buffer.
template <class Sink>
class Utf8StagingBlock {
 public:
  explicit Utf8StagingBlock(Sink& sink) noexcept : m_sink(sink) {}
  Utf8StagingBlock(const Utf8StagingBlock&) = delete;
  Utf8StagingBlock& operator=(const Utf8StagingBlock&) = delete;
  ~Utf8StagingBlock() = default;

  // Room for one more code point (at most 4 bytes).
  void makeRoom() {
    if (m_used > sizeof(m_bytes) - 4) {
      flush();
    }
  }
  void push_back(char c) noexcept { m_bytes[m_used++] = c; }
  void append(const char* bytes, std::size_t count) noexcept {
    for (std::size_t k = 0; k < count; ++k) {
      m_bytes[m_used++] = bytes[k];
    }
  }
  void flush() {
    if (m_used != 0) {
      m_sink.append(m_bytes, m_used);
      m_used = 0;
    }
  }

 private:
  Sink& m_sink;
  char m_bytes[128];
  std::size_t m_used = 0;
};

// Units are read through `valueOf` (a unit's value as an unsigned 32-bit
// number); a surrogate pair is joined, anything else goes through
// codePointOrReplacement.
template <class Sink, class Unit, class ValueOf>
inline void appendUnitsAsUtf8Replacing(Sink& sink, const Unit* units, std::size_t length, ValueOf valueOf) {
  Utf8StagingBlock<Sink> block(sink);
  std::size_t i = 0;
  while (i < length) {
    block.makeRoom();
    std::uint32_t value = valueOf(units[i]);
    if (value < 0x80) {
      block.push_back(static_cast<char>(value));
      ++i;
      continue;
    }
    if (isLeadSurrogate(value) && i + 1 < length && isTrailSurrogate(valueOf(units[i + 1]))) {
      value = joinSurrogates(value, valueOf(units[i + 1]));
      ++i;
    }
    appendCodePointAsUtf8(block, codePointOrReplacement(value));
    ++i;
  }
  block.flush();
}

template <class Sink, class Unit>
inline void appendUtf16AsUtf8Replacing(Sink& sink, const Unit* units, std::size_t length) {
  static_assert(sizeof(Unit) == 2);
  appendUnitsAsUtf8Replacing(sink, units, length,
                             [](Unit unit) { return std::uint32_t{static_cast<std::uint16_t>(unit)}; });
}

template <class Sink, class Unit>
inline void appendUtf32AsUtf8Replacing(Sink& sink, const Unit* units, std::size_t length) {
  static_assert(sizeof(Unit) == 4);
  // A negative (signed wchar_t) unit becomes a value above U+10FFFF.
  appendUnitsAsUtf8Replacing(sink, units, length, [](Unit unit) { return static_cast<std::uint32_t>(unit); });
}

}  // namespace Utf8Encoding

#include "hdUtilitiesExport.h"

#include <string>

namespace Utf8Encoding {

// Never-failing decoders: every malformed UTF-8 sequence becomes one U+FFFD
// (an invalid lead or stray trail byte, a sequence cut short by a non-trail
// byte or by the end, an overlong form, a surrogate or a value above U+10FFFF).
HDU_API void appendUtf8AsUtf16Replacing(std::u16string& out, const char* bytes, std::size_t length);
HDU_API void appendUtf8AsUtf32Replacing(std::u32string& out, const char* bytes, std::size_t length);
// UTF-8 with each malformed sequence replaced by U+FFFD; returns whether any
// replacement was needed.
HDU_API bool appendUtf8Repaired(std::string& out, const char* bytes, std::size_t length);
// Whether the bytes are all below 0x80 (eight at a time).
HDU_API bool isAsciiOnly(const char* bytes, std::size_t length) noexcept;
// Length of the well-formed UTF-8 sequence a lead byte starts (2 to 4), or 1
// for a byte that cannot lead one, so that walks always advance.
HDU_API std::size_t sequenceLengthOrOne(unsigned char lead);

}  // namespace Utf8Encoding
