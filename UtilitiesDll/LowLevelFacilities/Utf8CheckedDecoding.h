#pragma once
// The checked UTF-8 decoder shared by the library's conversions, CPString and
// its code-point iterator. Internal to the library: it includes utfcpp's core
// and the exception hierarchy, so public headers must not include it.

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Utf8Encoding.h"

// Only utfcpp's core: its checked header declares exception classes of its own
// in namespace utf8, which the library's utf8:: classes replace.
#include <utf8/core.h>

#include <cstdint>

namespace InternalHaldenCP {

// Decodes the sequence at `cursor` with utfcpp's validation and moves
// `cursor` behind it. Malformed input throws, naming the byte offset from
// `begin`:
//   cut off by `end` (or `cursor` already at `end`): utf8::CPExceptionNotEnoughRoom
//   a value that is no code point (surrogate, above U+10FFFF): utf8::CPExceptionInvalidCodePoint
//   invalid lead byte, missing trail byte, overlong form: utf8::CPExceptionInvalidUtf8
[[gnu::noinline]] inline std::uint32_t decodeNextUtf8CheckedSlowly(const char*& cursor, const char* begin,
                                                                   const char* end, const char* functionLabel) {
  std::uint32_t code = 0;
  const char* start = cursor;
  switch (utf8::internal::validate_next(cursor, end, code)) {
    case utf8::internal::UTF8_OK:
      return code;
    case utf8::internal::NOT_ENOUGH_ROOM:
      if (start == end) {
        HDU_THROW(utf8::CPExceptionNotEnoughRoom, HDU_DEBUG_CONTEXT(functionLabel),
                  "Already at the end of the text (byte %u).", static_cast<unsigned>(start - begin));
      }
      HDU_THROW(utf8::CPExceptionNotEnoughRoom, HDU_DEBUG_CONTEXT(functionLabel),
                "The UTF-8 sequence at byte %u is cut off by the end of the text.",
                static_cast<unsigned>(start - begin));
    case utf8::internal::INVALID_CODE_POINT:
      HDU_THROW(utf8::CPExceptionInvalidCodePoint, HDU_DEBUG_CONTEXT(functionLabel),
                "The UTF-8 sequence at byte %u encodes a value that is not a valid code point.",
                static_cast<unsigned>(start - begin));
    case utf8::internal::INVALID_LEAD:
      HDU_THROW(utf8::CPExceptionInvalidUtf8, HDU_DEBUG_CONTEXT(functionLabel),
                "Invalid UTF-8 lead byte 0x%02x at byte %u.", static_cast<unsigned>(static_cast<unsigned char>(*start)),
                static_cast<unsigned>(start - begin));
    case utf8::internal::INCOMPLETE_SEQUENCE:
      HDU_THROW(utf8::CPExceptionInvalidUtf8, HDU_DEBUG_CONTEXT(functionLabel),
                "Incomplete UTF-8 sequence at byte %u: a trail byte is missing.", static_cast<unsigned>(start - begin));
    case utf8::internal::OVERLONG_SEQUENCE:
    default:
      HDU_THROW(utf8::CPExceptionInvalidUtf8, HDU_DEBUG_CONTEXT(functionLabel), "Overlong UTF-8 sequence at byte %u.",
                static_cast<unsigned>(start - begin));
  }
}

// Well-formed sequences are decoded inline; anything else goes to the
// utfcpp-based routine above, which reports it.
inline std::uint32_t decodeNextUtf8Checked(const char*& cursor, const char* begin, const char* end,
                                           const char* functionLabel) {
  if (cursor < end) {
    const auto lead = static_cast<unsigned char>(*cursor);
    if (lead < 0x80) {
      ++cursor;
      return lead;
    }
    std::uint32_t code = 0;
    if (const unsigned length = Utf8Encoding::decodeWellFormedMultiByteSequence(cursor, end, code)) {
      cursor += length;
      return code;
    }
  }
  return decodeNextUtf8CheckedSlowly(cursor, begin, end, functionLabel);
}

}  // namespace InternalHaldenCP
