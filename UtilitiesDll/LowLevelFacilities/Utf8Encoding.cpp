#include "LowLevelFacilities/Utf8Encoding.h"

#include <utf8/core.h>

#include <cstring>

namespace Utf8Encoding {

namespace {

constexpr std::uint32_t kReplacementCharacter = 0xFFFD;

// Decodes one sequence; on failure returns false, sets `code` to U+FFFD and
// advances past the malformed sequence (at least one byte).
bool decodeOne(const char*& cursor, const char* end, std::uint32_t& code) {
  const char* start = cursor;
  const utf8::internal::utf_error error = utf8::internal::validate_next(cursor, end, code);
  if (error == utf8::internal::UTF8_OK) {
    return true;
  }
  code = kReplacementCharacter;
  const auto lead = static_cast<unsigned char>(*start);
  const std::size_t expected = sequenceLengthOrOne(lead);
  cursor = start + 1;
  if (error == utf8::internal::INCOMPLETE_SEQUENCE || error == utf8::internal::NOT_ENOUGH_ROOM) {
    // Skip the trail bytes that do belong to the broken sequence.
    std::size_t taken = 1;
    while (taken < expected && cursor < end && (static_cast<unsigned char>(*cursor) & 0xC0) == 0x80) {
      ++cursor;
      ++taken;
    }
  } else if (error == utf8::internal::OVERLONG_SEQUENCE || error == utf8::internal::INVALID_CODE_POINT) {
    cursor = start + expected <= end ? start + expected : end;
  }
  return false;
}

}  // namespace

std::size_t sequenceLengthOrOne(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) {
    return 2;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    return 4;
  }
  return 1;
}

bool isAsciiOnly(const char* bytes, std::size_t length) noexcept {
  std::size_t i = 0;
  for (; i + 8 <= length; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, bytes + i, 8);
    if ((word & 0x8080808080808080ULL) != 0) {
      return false;
    }
  }
  for (; i < length; ++i) {
    if (static_cast<unsigned char>(bytes[i]) >= 0x80) {
      return false;
    }
  }
  return true;
}

void appendUtf8AsUtf16Replacing(std::u16string& out, const char* bytes, std::size_t length) {
  const char* cursor = bytes;
  const char* const end = bytes + length;
  out.reserve(out.size() + length);
  while (cursor < end) {
    if (static_cast<unsigned char>(*cursor) < 0x80) {
      out.push_back(static_cast<char16_t>(*cursor++));
      continue;
    }
    std::uint32_t code = 0;
    decodeOne(cursor, end, code);
    if (code >= 0x10000) {
      code -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(code));
    }
  }
}

void appendUtf8AsUtf32Replacing(std::u32string& out, const char* bytes, std::size_t length) {
  const char* cursor = bytes;
  const char* const end = bytes + length;
  out.reserve(out.size() + length);
  while (cursor < end) {
    if (static_cast<unsigned char>(*cursor) < 0x80) {
      out.push_back(static_cast<char32_t>(*cursor++));
      continue;
    }
    std::uint32_t code = 0;
    decodeOne(cursor, end, code);
    out.push_back(static_cast<char32_t>(code));
  }
}

bool appendUtf8Repaired(std::string& out, const char* bytes, std::size_t length) {
  const char* cursor = bytes;
  const char* const end = bytes + length;
  bool repaired = false;
  out.reserve(out.size() + length);
  while (cursor < end) {
    const char* start = cursor;
    while (cursor < end && static_cast<unsigned char>(*cursor) < 0x80) {
      ++cursor;
    }
    out.append(start, static_cast<std::size_t>(cursor - start));
    if (cursor == end) {
      break;
    }
    start = cursor;
    std::uint32_t code = 0;
    if (decodeOne(cursor, end, code)) {
      out.append(start, static_cast<std::size_t>(cursor - start));
    } else {
      repaired = true;
      appendCodePointAsUtf8(out, kReplacementCharacter);
    }
  }
  return repaired;
}

}  // namespace Utf8Encoding
