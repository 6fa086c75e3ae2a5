// CPString: comparison (byte-wise, and case-insensitive with its
// allocation-free ASCII path) and the hash.

#include "LowLevelFacilities/CPString.h"

#include "LowLevelFacilities/AsciiBlocks.h"
#include "LowLevelFacilities/CPStringUtils.h"
#include "LowLevelFacilities/CPStringWalkers.h"

#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>

using namespace InternalHaldenCP::CPStringWalkers;

namespace {

// ---- case-insensitive comparison helpers -----------------------------------------------------

inline int asciiUpper(int c) noexcept {
  return (c >= 'a' && c <= 'z') ? c - ('a' - 'A') : c;
}

// The first difference of two ASCII strings of `length` bytes after
// upper-casing: -1, 0 or 1.
[[gnu::noinline]] int firstAsciiDifferenceNoCase(const char* a, const char* b, unsigned length) noexcept {
  for (unsigned i = 0; i < length; ++i) {
    const int upperA = asciiUpper(static_cast<unsigned char>(a[i]));
    const int upperB = asciiUpper(static_cast<unsigned char>(b[i]));
    if (upperA != upperB) {
      return upperA < upperB ? -1 : 1;
    }
  }
  return 0;
}

// Both strings have `length` bytes. If both are entirely ASCII, compares them
// after upper-casing (toupper of the C locale) and returns true with the
// result; otherwise returns false. Sixteen bytes at a time, the blocks only
// gather whether any byte is non-ASCII and whether any pair differs other
// than in the case of a letter; only then is the first difference looked
// for. A last partial block is taken as the last sixteen bytes (overlapping).
inline bool compareSameLengthNoCaseIfAscii(const char* a, const char* b, unsigned length, int& result) noexcept {
  using namespace InternalHaldenCP::AsciiBlocks;
  if (length < 16) {
    unsigned char seen = 0;
    bool unequal = false;
    for (unsigned i = 0; i < length; ++i) {
      const auto byteA = static_cast<unsigned char>(a[i]);
      const auto byteB = static_cast<unsigned char>(b[i]);
      seen |= byteA | byteB;
      unequal |= asciiUpper(byteA) != asciiUpper(byteB);
    }
    if ((seen & 0x80) != 0) {
      return false;
    }
    result = unequal ? firstAsciiDifferenceNoCase(a, b, length) : 0;
    return true;
  }
  Bytes16 seen = {};
  Bytes16 unequal = {};
  unsigned i = 0;
  Bytes16 blockA;
  Bytes16 blockB;
  for (; i + 16 <= length; i += 16) {
    loadBytes(blockA, a + i);
    loadBytes(blockB, b + i);
    seen |= blockA | blockB;
    accumulateCaseInsensitiveDifference(blockA, blockB, unequal);
  }
  if (i < length) {
    loadBytes(blockA, a + length - 16);
    loadBytes(blockB, b + length - 16);
    seen |= blockA | blockB;
    accumulateCaseInsensitiveDifference(blockA, blockB, unequal);
  }
  if (hasNonAscii(seen)) {
    return false;
  }
  result = anyBitSet(unequal) ? firstAsciiDifferenceNoCase(a, b, length) : 0;
  return true;
}

// toupper on a code point: the C library's toupper changes only ASCII
// letters, so every code point above 0x7F stays as it is.
inline std::uint32_t upperCodePoint(std::uint32_t code) noexcept {
  return code < 0x80 ? static_cast<std::uint32_t>(asciiUpper(static_cast<int>(code))) : code;
}

// Counts code points without throwing; false when the bytes are not valid UTF-8.
bool tryCountCodePoints(const char* bytes, size_type length, std::uint32_t& count) noexcept {
  const char* cursor = bytes;
  const char* const end = bytes + length;
  count = 0;
  while (cursor < end) {
    if (isAsciiByte(*cursor)) {
      ++cursor;
    } else if (utf8::internal::validate_next(cursor, end) != utf8::internal::UTF8_OK) {
      return false;
    }
    ++count;
  }
  return true;
}

inline std::uint32_t decodeValid(const char*& cursor, const char* end) noexcept {
  if (isAsciiByte(*cursor)) {
    return static_cast<unsigned char>(*cursor++);
  }
  std::uint32_t code = 0;
  utf8::internal::validate_next(cursor, end, code);
  return code;
}

// Same byte length, some byte not ASCII: compares code points after toupper,
// again with the shorter (in code points) first. Decoding on the fly
// needs no copies. Kept out of line so that the ASCII path stays lean.
[[gnu::noinline]] int compareSameLengthNoCaseWithNonAscii(const char* a, const char* b, unsigned length) noexcept {
  std::uint32_t aCount = 0;
  std::uint32_t bCount = 0;
  if (!tryCountCodePoints(a, length, aCount) || !tryCountCodePoints(b, length, bCount)) {
    // Not UTF-8: the bytes are compared as they are.
    return CPString::compareNoCaseSameLengthAsciiStrings(a, b, length);
  }
  if (aCount != bCount) {
    return aCount < bCount ? -1 : 1;
  }
  const char* aCursor = a;
  const char* bCursor = b;
  const char* const aEnd = a + length;
  const char* const bEnd = b + length;
  while (aCursor < aEnd) {
    const std::uint32_t aCode = upperCodePoint(decodeValid(aCursor, aEnd));
    const std::uint32_t bCode = upperCodePoint(decodeValid(bCursor, bEnd));
    if (aCode != bCode) {
      return aCode < bCode ? -1 : 1;
    }
  }
  return 0;
}

}  // namespace

// ---- comparison ---------------------------------------------------------------------------------------

int CPString::compare(const char* other) const noexcept {
  const int result = std::strcmp(m_string.c_str(), other != nullptr ? other : "");
  if (result != 0) {
    return result < 0 ? -1 : 1;
  }
  // strcmp stops at a zero byte inside this string; such a string is longer.
  return std::strlen(m_string.c_str()) < m_string.size() ? 1 : 0;
}

int CPString::compare(const std::wstring& other) const {
  return compareBytes(m_string, CPStringUtils::narrowToStdString(other));
}

int CPString::compare(const wchar_t* other) const {
  return compareBytes(m_string, CPStringUtils::narrowToStdString(other));
}

int CPString::compareNoCase(const char* other) const noexcept {
  const char* text = other != nullptr ? other : "";
  return compareNoCaseHelper(m_string.data(), sizeOfUtf8Bytes(), text, static_cast<unsigned>(std::strlen(text)));
}

int CPString::compareNoCase(const std::wstring& other) const {
  const std::string narrow = CPStringUtils::narrowToStdString(other);
  return compareNoCaseHelper(m_string.data(), sizeOfUtf8Bytes(), narrow.data(), static_cast<unsigned>(narrow.size()));
}

int CPString::compareNoCase(const wchar_t* other) const {
  const std::string narrow = CPStringUtils::narrowToStdString(other);
  return compareNoCaseHelper(m_string.data(), sizeOfUtf8Bytes(), narrow.data(), static_cast<unsigned>(narrow.size()));
}

int CPString::compareNoCaseUsingAsciiCharacterSet(const char* other) const noexcept {
  const char* text = other != nullptr ? other : "";
  return compareNoCaseUsingAsciiCharacterSetHelper(m_string.data(), sizeOfUtf8Bytes(), text,
                                                   static_cast<unsigned>(std::strlen(text)));
}

int CPString::compareNoCaseUsingAsciiCharacterSet(const CPString& other) const noexcept {
  return compareNoCaseUsingAsciiCharacterSetHelper(m_string.data(), sizeOfUtf8Bytes(), other.m_string.data(),
                                                   other.sizeOfUtf8Bytes());
}

int CPString::compareNoCaseUsingAsciiCharacterSet(const std::string& other) const noexcept {
  return compareNoCaseUsingAsciiCharacterSetHelper(m_string.data(), sizeOfUtf8Bytes(), other.data(),
                                                   static_cast<unsigned>(other.size()));
}

int CPString::compareNoCaseHelper(const char* a, unsigned int aLength, const char* b, unsigned int bLength) noexcept {
  // Length first, deliberately: "b" orders before "AA".
  if (aLength != bLength) {
    return aLength < bLength ? -1 : 1;
  }
  int result = 0;
  if (compareSameLengthNoCaseIfAscii(a, b, aLength, result)) {
    return result;
  }
  return compareSameLengthNoCaseWithNonAscii(a, b, aLength);
}

bool CPString::compareNoCaseSameLengthStringsIfEntirelyAscii(const char* a, const char* b, unsigned int length,
                                                             int& result) noexcept {
  return compareSameLengthNoCaseIfAscii(a, b, length, result);
}

int CPString::compareNoCaseUsingAsciiCharacterSetHelper(const char* a, unsigned int aLength, const char* b,
                                                        unsigned int bLength) noexcept {
  if (aLength != bLength) {
    return aLength < bLength ? -1 : 1;
  }
  return compareNoCaseSameLengthAsciiStrings(a, b, aLength);
}

int CPString::compareNoCaseSameLengthAsciiStrings(const char* a, const char* b, unsigned int length) noexcept {
  for (unsigned i = 0; i < length; ++i) {
    const auto upperA = static_cast<signed char>(std::toupper(static_cast<unsigned char>(a[i])));
    const auto upperB = static_cast<signed char>(std::toupper(static_cast<unsigned char>(b[i])));
    if (upperA != upperB) {
      return upperA < upperB ? -1 : 1;
    }
  }
  return 0;
}

unsigned int CPString::hash() const noexcept {
  std::uint32_t value = 0x811C9DC5u;
  for (const char c : m_string) {
    if (c == '\0') {
      break;
    }
    value ^= static_cast<unsigned char>(c);
    value *= 16777619u;
  }
  return value;
}
