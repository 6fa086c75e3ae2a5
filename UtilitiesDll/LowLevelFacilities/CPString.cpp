#include "LowLevelFacilities/CPString.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/AsciiBlocks.h"
#include "LowLevelFacilities/CPStringUtils.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/Utf8CheckedDecoding.h"
#include "LowLevelFacilities/Utf8Encoding.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <locale>

const SizeCodePoints32Struct CPString::npos{0xFFFFFFFFu};
const SizeRawBytes32Struct CPString::nposRawBytes{0xFFFFFFFFu};

namespace {

using size_type = std::string::size_type;

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

// ---- position errors ------------------------------------------------------------

// Counts code points without validating (lead bytes and stray bytes each
// count once), for messages that must not fail themselves.
unsigned lenientCodePointCount(const std::string& text) noexcept {
  unsigned count = 0;
  for (const char c : text) {
    count += isTrailByte(c) ? 0 : 1;
  }
  return count;
}

[[noreturn]] void throwCodePointPosition(const char* functionLabel, std::uint64_t position, const std::string& text) {
  HDU_THROW(CPExceptionOutOfRange, HDU_DEBUG_CONTEXT(functionLabel),
            "invalid string position, %u! There are %u code points in this string: %s", position,
            lenientCodePointCount(text), text);
}

[[noreturn]] void throwRawBytePosition(const char* functionLabel, size_type position, const std::string& text) {
  HDU_THROW(CPExceptionOutOfRange, HDU_DEBUG_CONTEXT(functionLabel),
            "invalid byte index string position, %u! There are %u raw bytes in this string: %s",
            static_cast<unsigned>(position), static_cast<unsigned>(text.size()), text);
}

[[noreturn]] void throwRawBytePositionAndCount(const char* functionLabel, unsigned position, unsigned count,
                                               const std::string& text) {
  HDU_THROW(CPExceptionOutOfRange, HDU_DEBUG_CONTEXT(functionLabel),
            "invalid byte index string position, %u, and count, %u! There are %u raw bytes in this string: %s",
            position, count, static_cast<unsigned>(text.size()), text);
}

[[noreturn]] void throwForeignByteIterator(const char* functionLabel, const void* position, const std::string& text) {
  HDU_THROW(CPExceptionIteratorOutOfBounds, HDU_DEBUG_CONTEXT(functionLabel),
            "The byte iterator 0x%p does not point into this string (0x%p - 0x%p): %s", position, text.data(),
            text.data() + text.size(), text);
}

[[noreturn]] void throwInsideSequence(const char* functionLabel, size_type byteIndex, const std::string& text) {
  HDU_THROW(utf8::CPExceptionInvalidUtf8, HDU_DEBUG_CONTEXT(functionLabel),
            "The byte index %u is inside a UTF-8 sequence, not at the start of a code point: %s",
            static_cast<unsigned>(byteIndex), text);
}

// ---- code-point walks (checked) -------------------------------------------------------

// Moves `cursor` over up to `count` code points, stopping at `end`; returns
// how many it stepped over. Runs of ASCII go eight bytes at a time.
std::uint32_t advanceCodePoints(const char* begin, const char* end, const char*& cursor, std::uint32_t count,
                                const char* functionLabel) {
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
      InternalHaldenCP::decodeNextUtf8Checked(cursor, begin, end, functionLabel);
    }
    ++done;
  }
  return done;
}

std::uint32_t countCodePoints(const std::string& text, const char* functionLabel) {
  const char* cursor = text.data();
  return advanceCodePoints(text.data(), text.data() + text.size(), cursor, 0xFFFFFFFFu, functionLabel);
}

// The byte index of a code-point index, or npos when the string has fewer
// code points; `reached` tells how many code points there were on the way.
size_type byteIndexOfCodePoint(const std::string& text, std::uint32_t index, std::uint32_t& reached,
                               const char* functionLabel) {
  const char* cursor = text.data();
  reached = advanceCodePoints(text.data(), text.data() + text.size(), cursor, index, functionLabel);
  return reached == index ? static_cast<size_type>(cursor - text.data()) : std::string::npos;
}

// The index of the code point that contains the byte at `byteIndex` (the
// number of whole code points before it); the end gives the length.
std::uint32_t codePointIndexOfByte(const std::string& text, size_type byteIndex, const char* functionLabel) {
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const char* const limit = begin + byteIndex;
  const char* cursor = begin;
  std::uint32_t count = 0;
  while (cursor < limit) {
    if (limit - cursor >= 8 && (load64(cursor) & kHighBits) == 0) {
      cursor += 8;
      count += 8;
      continue;
    }
    if (isAsciiByte(*cursor)) {
      ++cursor;
    } else {
      const char* next = cursor;
      InternalHaldenCP::decodeNextUtf8Checked(next, begin, end, functionLabel);
      if (next > limit) {
        break;
      }
      cursor = next;
    }
    ++count;
  }
  return count;
}

// Decodes the code point at `cursor` (checked) and moves behind it.
inline std::uint32_t nextCodePoint(const char*& cursor, const char* begin, const char* end, const char* functionLabel) {
  if (isAsciiByte(*cursor)) {
    return static_cast<unsigned char>(*cursor++);
  }
  return InternalHaldenCP::decodeNextUtf8Checked(cursor, begin, end, functionLabel);
}

// ---- white space ---------------------------------------------------------------------------

class LocaleSpaceTest {
 public:
  LocaleSpaceTest() : m_locale(), m_facet(std::use_facet<std::ctype<char>>(m_locale)) {}
  bool operator()(char c) const { return m_facet.is(std::ctype_base::space, c); }

 private:
  std::locale m_locale;
  const std::ctype<char>& m_facet;
};

inline bool isAsciiSpace(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

template <class IsSpace>
void removeExtraneous(std::string& text, const IsSpace& isSpace) {
  size_type out = 0;
  bool previousWasSpace = false;
  for (size_type in = 0; in < text.size(); ++in) {
    const char c = text[in];
    const bool space = isSpace(c);
    if (space && previousWasSpace) {
      continue;
    }
    previousWasSpace = space;
    text[out++] = c;
  }
  text.resize(out);
}

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

// ---- construction and assignment ----------------------------------------------------------

CPString::CPString(const char* utf8) : m_string(utf8 != nullptr ? utf8 : "") {}

CPString::CPString(const char* utf8, unsigned int byteCount) {
  if (utf8 != nullptr) {
    m_string.assign(utf8, byteCount);
  }
}

CPString::CPString(char c) : m_string(1, c) {}

CPString::CPString(unsigned int count, char c) : m_string(count, c) {}

CPString::CPString(const std::string& utf8) : m_string(utf8) {}

CPString::CPString(std::string&& utf8) noexcept : m_string(std::move(utf8)) {}

CPString::CPString(const wchar_t* wide) : m_string(CPStringUtils::narrowToStdString(wide)) {}

CPString::CPString(const std::wstring& wide) : m_string(CPStringUtils::narrowToStdString(wide)) {}

CPString& CPString::operator=(const char* utf8) {
  m_string = utf8 != nullptr ? utf8 : "";
  return *this;
}

CPString& CPString::operator=(char c) {
  m_string.assign(1, c);
  return *this;
}

CPString& CPString::operator=(const std::string& utf8) {
  m_string = utf8;
  return *this;
}

CPString& CPString::operator=(std::string&& utf8) noexcept {
  m_string = std::move(utf8);
  return *this;
}

CPString& CPString::operator=(const wchar_t* wide) {
  m_string = CPStringUtils::narrowToStdString(wide);
  return *this;
}

CPString& CPString::operator=(const std::wstring& wide) {
  m_string = CPStringUtils::narrowToStdString(wide);
  return *this;
}

CPString::operator std::wstring() const {
  return CPStringUtils::widenTo_wstring(m_string);
}

// ---- appending ---------------------------------------------------------------------------------

CPString& CPString::operator+=(const char* utf8) {
  if (utf8 != nullptr) {
    m_string.append(utf8);
  }
  return *this;
}

CPString& CPString::operator+=(const std::wstring& wide) {
  CPStringUtils::narrowAndAppend(wide, m_string);
  return *this;
}

CPString& CPString::operator+=(const wchar_t* wide) {
  CPStringUtils::narrowAndAppend(wide, m_string);
  return *this;
}

CPString operator+(const CPString& a, const CPString& b) {
  CPString result;
  result.reserveUtf8RawBytes(a.sizeOfUtf8Bytes() + b.sizeOfUtf8Bytes());
  result += a;
  result += b;
  return result;
}

CPString operator+(const CPString& a, const char* b) {
  CPString result(a);
  result += b;
  return result;
}

CPString operator+(const char* a, const CPString& b) {
  CPString result(a);
  result += b;
  return result;
}

CPString operator+(CPString&& a, const CPString& b) {
  a += b;
  return std::move(a);
}

CPString operator+(CPString&& a, const char* b) {
  a += b;
  return std::move(a);
}

// ---- size and access ----------------------------------------------------------------------------

bool CPString::isEmptyOrOnlyWhitespace() const {
  const LocaleSpaceTest isSpace;
  return std::all_of(m_string.begin(), m_string.end(), [&](char c) { return isSpace(c); });
}

SizeCodePoints32Struct CPString::lengthInCodePoints() const {
  return SizeCodePoints32Struct(countCodePoints(m_string, "CPString::lengthInCodePoints"));
}

CPString& CPString::reserveUtf8RawBytes(SizeRawBytes32Struct byteCount) {
  m_string.reserve(byteCount.value());
  return *this;
}

CPString& CPString::resize(SizeCodePoints32Struct codePoints, char32_t fill) {
  std::uint32_t reached = 0;
  const size_type byteIndex = byteIndexOfCodePoint(m_string, codePoints.value(), reached, "CPString::resize");
  if (byteIndex != std::string::npos) {
    m_string.resize(byteIndex);
    return *this;
  }
  if (!utf8::internal::is_code_point_valid(static_cast<std::uint32_t>(fill))) {
    HDU_THROW(utf8::CPExceptionInvalidCodePoint, HDU_DEBUG_CONTEXT("utf8::append"), "Code point can't be appended.");
  }
  std::string encoded;
  Utf8Encoding::appendCodePointAsUtf8(encoded, static_cast<std::uint32_t>(fill));
  for (std::uint32_t i = reached; i < codePoints.value(); ++i) {
    m_string.append(encoded);
  }
  return *this;
}

CPString& CPString::resize(SizeRawBytes32Struct byteCount, char fill) {
  m_string.resize(byteCount.value(), fill);
  return *this;
}

char32_t CPString::at(SizeCodePoints32Struct index) const {
  std::uint32_t reached = 0;
  const size_type byteIndex = byteIndexOfCodePoint(m_string, index.value(), reached, "CPString::at");
  if (byteIndex == std::string::npos || byteIndex == m_string.size()) {
    throwCodePointPosition("CPString::at", index.value(), m_string);
  }
  const char* cursor = m_string.data() + byteIndex;
  return nextCodePoint(cursor, m_string.data(), m_string.data() + m_string.size(), "CPString::at");
}

char CPString::at(SizeRawBytes32Struct index) const {
  if (index.value() >= m_string.size()) {
    throwRawBytePosition("CPString::at", index.value(), m_string);
  }
  return m_string[index.value()];
}

char32_t CPString::operator[](SizeCodePoints32Struct index) const {
  std::uint32_t reached = 0;
  const size_type byteIndex = byteIndexOfCodePoint(m_string, index.value(), reached, "CPString::operator[]");
  if (byteIndex == std::string::npos || byteIndex == m_string.size()) {
    return 0;
  }
  const char* cursor = m_string.data() + byteIndex;
  return nextCodePoint(cursor, m_string.data(), m_string.data() + m_string.size(), "CPString::operator[]");
}

bool CPString::isAsciiOnly() const noexcept {
  return Utf8Encoding::isAsciiOnly(m_string.data(), m_string.size());
}

bool CPString::areFirstNAsciiOnly(SizeCodePoints32Struct codePoints) const noexcept {
  // Each code point has at least one byte, and a non-ASCII byte among the
  // first N bytes belongs to one of the first N code points.
  return Utf8Encoding::isAsciiOnly(m_string.data(), std::min<size_type>(codePoints.value(), m_string.size()));
}

bool CPString::areFirstNAsciiOnly(SizeRawBytes32Struct byteCount) const noexcept {
  return Utf8Encoding::isAsciiOnly(m_string.data(), std::min<size_type>(byteCount.value(), m_string.size()));
}

// ---- index conversion --------------------------------------------------------------------------------

size_type CPString::checkedByteIndexOfCodePoint(SizeCodePoints32Struct index, const char* functionLabel) const {
  if (index == npos) {
    return std::string::npos;
  }
  std::uint32_t reached = 0;
  const size_type byteIndex = byteIndexOfCodePoint(m_string, index.value(), reached, functionLabel);
  if (byteIndex == std::string::npos) {
    throwCodePointPosition(functionLabel, index.value(), m_string);
  }
  return byteIndex;
}

size_type CPString::checkedByteIndexOfRawByte(SizeRawBytes32Struct index, const char* functionLabel) const {
  if (index == nposRawBytes) {
    return std::string::npos;
  }
  if (index.value() > m_string.size()) {
    throwRawBytePosition(functionLabel, index.value(), m_string);
  }
  return index.value();
}

size_type CPString::checkedStdStringIndexOfIterator(const iterator& position, const char* functionLabel) const {
  // Comparing with end() checks that the iterator was made for this string.
  (void)(position == end());
  return checkedByteIndexOfByteIterator(position.base(), functionLabel);
}

size_type CPString::checkedByteIndexOfByteIterator(byte_iterator position, const char* functionLabel) const {
  if (position < m_string.data() || position > m_string.data() + m_string.size()) {
    throwForeignByteIterator(functionLabel, position, m_string);
  }
  return static_cast<size_type>(position - m_string.data());
}

SizeCodePoints32Struct CPString::codePointIndexOfByteIndex(size_type byteIndex) const {
  return SizeCodePoints32Struct(codePointIndexOfByte(m_string, byteIndex, "CPString::codePointIndexFromByteIndex"));
}

namespace {
size_type checkedStdIndex(size_type index, const std::string& text, const char* functionLabel) {
  if (index != std::string::npos && index > text.size()) {
    throwRawBytePosition(functionLabel, index, text);
  }
  return index;
}
}  // namespace

CPString::byte_iterator CPString::byteIteratorFromCodePointIndex(SizeCodePoints32Struct index) const {
  const size_type byteIndex = checkedByteIndexOfCodePoint(index, "CPString::byteIteratorFromCodePointIndex");
  return byteIndex == std::string::npos ? endBytes() : beginBytes() + byteIndex;
}

CPString::byte_iterator CPString::byteIteratorFromStdStringIndex(size_type index) const {
  index = checkedStdIndex(index, m_string, "CPString::byteIteratorFromStdStringIndex");
  return index == std::string::npos ? endBytes() : beginBytes() + index;
}

CPString::byte_iterator CPString::byteIteratorFromUtf8RawByteIndex(SizeRawBytes32Struct index) const {
  const size_type byteIndex = checkedByteIndexOfRawByte(index, "CPString::byteIteratorFromUtf8RawByteIndex");
  return byteIndex == std::string::npos ? endBytes() : beginBytes() + byteIndex;
}

CPString::byte_iterator CPString::byteIteratorFromCodePointIterator(const iterator& position) const {
  return beginBytes() + checkedStdStringIndexOfIterator(position, "CPString::byteIteratorFromCodePointIterator");
}

SizeCodePoints32Struct CPString::codePointIndexFromByteIterator(byte_iterator position) const {
  return codePointIndexOfByteIndex(
      checkedByteIndexOfByteIterator(position, "CPString::codePointIndexFromByteIterator"));
}

SizeCodePoints32Struct CPString::codePointIndexFromStdStringIndex(size_type index) const {
  index = checkedStdIndex(index, m_string, "CPString::codePointIndexFromStdStringIndex");
  return index == std::string::npos ? npos : codePointIndexOfByteIndex(index);
}

SizeCodePoints32Struct CPString::codePointIndexFromUtf8RawByteIndex(SizeRawBytes32Struct index) const {
  const size_type byteIndex = checkedByteIndexOfRawByte(index, "CPString::codePointIndexFromUtf8RawByteIndex");
  return byteIndex == std::string::npos ? npos : codePointIndexOfByteIndex(byteIndex);
}

CPString::iterator CPString::codePointIteratorFromByteIteratorNoValidation(byte_iterator position) const {
  return makeIterator(position);
}

CPString::iterator CPString::codePointIteratorFromStdStringIndex(size_type index) const {
  index = checkedStdIndex(index, m_string, "CPString::codePointIteratorFromStdStringIndex");
  if (index == std::string::npos) {
    return end();
  }
  if (index < m_string.size() && isTrailByte(m_string[index])) {
    throwInsideSequence("CPString::codePointIteratorFromStdStringIndex", index, m_string);
  }
  return makeIterator(m_string.data() + index);
}

CPString::iterator CPString::getIteratorFromUtf8RawByteIndex(SizeRawBytes32Struct index) const {
  const size_type byteIndex = checkedByteIndexOfRawByte(index, "CPString::getIteratorFromUtf8RawByteIndex");
  if (byteIndex == std::string::npos) {
    return end();
  }
  if (byteIndex < m_string.size() && isTrailByte(m_string[byteIndex])) {
    throwInsideSequence("CPString::getIteratorFromUtf8RawByteIndex", byteIndex, m_string);
  }
  return makeIterator(m_string.data() + byteIndex);
}

CPString::iterator CPString::getIterator(SizeCodePoints32Struct index) const {
  const size_type byteIndex = checkedByteIndexOfCodePoint(index, "CPString::getIterator");
  return byteIndex == std::string::npos ? end() : makeIterator(m_string.data() + byteIndex);
}

SizeCodePoints32Struct CPString::getCodePointIndex(const iterator& position) const {
  return codePointIndexOfByteIndex(checkedStdStringIndexOfIterator(position, "CPString::getCodePointIndex"));
}

SizeRawBytes32Struct CPString::utf8RawByteIndexFromByteIterator(byte_iterator position) const {
  return SizeRawBytes32Struct(
      static_cast<unsigned>(checkedByteIndexOfByteIterator(position, "CPString::utf8RawByteIndexFromByteIterator")));
}

SizeRawBytes32Struct CPString::utf8RawByteIndexFromCodePointIndex(SizeCodePoints32Struct index) const {
  const size_type byteIndex = checkedByteIndexOfCodePoint(index, "CPString::utf8RawByteIndexFromCodePointIndex");
  return byteIndex == std::string::npos ? nposRawBytes : SizeRawBytes32Struct(static_cast<unsigned>(byteIndex));
}

SizeRawBytes32Struct CPString::utf8RawByteIndexFromStdStringIndex(size_type index) const {
  index = checkedStdIndex(index, m_string, "CPString::utf8RawByteIndexFromStdStringIndex");
  return index == std::string::npos ? nposRawBytes : SizeRawBytes32Struct(static_cast<unsigned>(index));
}

size_type CPString::stdStringIndexFromByteIterator(byte_iterator position) const {
  return checkedByteIndexOfByteIterator(position, "CPString::stdStringIndexFromByteIterator");
}

size_type CPString::stdStringIndexFromCodePointIndex(SizeCodePoints32Struct index) const {
  return checkedByteIndexOfCodePoint(index, "CPString::stdStringIndexFromCodePointIndex");
}

size_type CPString::stdStringIndexFromCodePointIterator(const iterator& position) const {
  return checkedStdStringIndexOfIterator(position, "CPString::stdStringIndexFromCodePointIterator");
}

size_type CPString::stdStringIndexFromUtf8RawByteIndex(SizeRawBytes32Struct index) const {
  return checkedByteIndexOfRawByte(index, "CPString::stdStringIndexFromUtf8RawByteIndex");
}

namespace {
template <class Iterator>
Iterator stdIteratorAt(Iterator begin, Iterator end, size_type index) {
  return index == std::string::npos ? end : begin + static_cast<std::ptrdiff_t>(index);
}
}  // namespace

std::string::const_iterator CPString::stdStringIteratorFromByteIterator(byte_iterator position) const {
  return stdIteratorAt(m_string.cbegin(), m_string.cend(), stdStringIndexFromByteIterator(position));
}
std::string::const_iterator CPString::stdStringIteratorFromCodePointIndex(SizeCodePoints32Struct index) const {
  return stdIteratorAt(m_string.cbegin(), m_string.cend(), stdStringIndexFromCodePointIndex(index));
}
std::string::const_iterator CPString::stdStringIteratorFromCodePointIterator(const iterator& position) const {
  return stdIteratorAt(m_string.cbegin(), m_string.cend(), stdStringIndexFromCodePointIterator(position));
}
std::string::const_iterator CPString::stdStringIteratorFromUtf8RawByteIndex(SizeRawBytes32Struct index) const {
  return stdIteratorAt(m_string.cbegin(), m_string.cend(), stdStringIndexFromUtf8RawByteIndex(index));
}
std::string::const_iterator CPString::stdStringIteratorFromStdStringIndex(size_type index) const {
  return stdIteratorAt(m_string.cbegin(), m_string.cend(),
                       checkedStdIndex(index, m_string, "CPString::stdStringIteratorFromStdStringIndex"));
}
std::string::iterator CPString::stdStringIteratorFromByteIterator(byte_iterator position) {
  return stdIteratorAt(m_string.begin(), m_string.end(), stdStringIndexFromByteIterator(position));
}
std::string::iterator CPString::stdStringIteratorFromCodePointIndex(SizeCodePoints32Struct index) {
  return stdIteratorAt(m_string.begin(), m_string.end(), stdStringIndexFromCodePointIndex(index));
}
std::string::iterator CPString::stdStringIteratorFromCodePointIterator(const iterator& position) {
  return stdIteratorAt(m_string.begin(), m_string.end(), stdStringIndexFromCodePointIterator(position));
}
std::string::iterator CPString::stdStringIteratorFromUtf8RawByteIndex(SizeRawBytes32Struct index) {
  return stdIteratorAt(m_string.begin(), m_string.end(), stdStringIndexFromUtf8RawByteIndex(index));
}
std::string::iterator CPString::stdStringIteratorFromStdStringIndex(size_type index) {
  return stdIteratorAt(m_string.begin(), m_string.end(),
                       checkedStdIndex(index, m_string, "CPString::stdStringIteratorFromStdStringIndex"));
}

// ---- searching -----------------------------------------------------------------------------------

namespace {

// Whether the code point `code` is one of the code points of the set.
bool setContainsCodePoint(const std::u32string& set, std::uint32_t code) noexcept {
  return set.find(static_cast<char32_t>(code)) != std::u32string::npos;
}

// The unit at `cursor` for the raw-byte set searches, which never fail: a
// well-formed UTF-8 sequence is its code point; any other byte is a unit of
// its own, marked above every code point so that it equals only itself.
inline std::uint32_t nextUnitOfRawBytes(const char*& cursor, const char* end) noexcept {
  const auto lead = static_cast<unsigned char>(*cursor);
  if (lead >= 0x80) {
    std::uint32_t code = 0;
    const unsigned length = Utf8Encoding::decodeWellFormedMultiByteSequence(cursor, end, code);
    if (length != 0) {
      cursor += length;
      return code;
    }
  }
  ++cursor;
  return lead < 0x80 ? lead : (0x80000000u | lead);
}

}  // namespace

size_type CPString::searchWorker(SearchKind kind, const char* needle, size_type needleLength, size_type startByte,
                                 bool rawBytes) const {
  switch (kind) {
    case SearchKind::Find:
      return m_string.find(needle, startByte, needleLength);
    case SearchKind::ReverseFind:
      return m_string.rfind(needle, startByte, needleLength);
    case SearchKind::FirstOfAscii:
      return m_string.find_first_of(needle, startByte, needleLength);
    case SearchKind::FirstNotOfAscii:
      return m_string.find_first_not_of(needle, startByte, needleLength);
    case SearchKind::FirstOf:
    case SearchKind::FirstNotOf:
      break;
  }
  const bool wantMember = kind == SearchKind::FirstOf;
  if (Utf8Encoding::isAsciiOnly(needle, needleLength)) {
    // An ASCII set matches only ASCII bytes, which are whole code points;
    // the byte search finds the same position. Only findFirstNotOf must
    // step over whole sequences, so it walks below.
    if (wantMember) {
      return m_string.find_first_of(needle, startByte, needleLength);
    }
  }
  if (startByte >= m_string.size()) {
    return std::string::npos;
  }
  // The code-point forms validate what they walk; the raw-byte forms take
  // malformed bytes as units of their own and never throw.
  auto next = [rawBytes](const char*& cursor, const char* begin, const char* end) {
    return rawBytes ? nextUnitOfRawBytes(cursor, end) : nextCodePoint(cursor, begin, end, "CPString::findFirstOf");
  };
  std::u32string set;
  {
    const char* cursor = needle;
    const char* const end = needle + needleLength;
    while (cursor < end) {
      set.push_back(static_cast<char32_t>(next(cursor, needle, end)));
    }
  }
  const char* const begin = m_string.data();
  const char* const end = begin + m_string.size();
  const char* cursor = begin + startByte;
  while (cursor < end) {
    const char* const here = cursor;
    const std::uint32_t code = next(cursor, begin, end);
    if (setContainsCodePoint(set, code) == wantMember) {
      return static_cast<size_type>(here - begin);
    }
  }
  return std::string::npos;
}

size_type CPString::searchStartFromCodePoints(SearchKind kind, SizeCodePoints32Struct start) const {
  if (start == npos) {
    return std::string::npos;
  }
  std::uint32_t reached = 0;
  const size_type byteIndex = byteIndexOfCodePoint(m_string, start.value(), reached, "CPString::find");
  if (byteIndex == std::string::npos && isForwardSearch(kind)) {
    // Past the end: a forward search finds nothing.
    return std::string::npos;
  }
  return byteIndex;
}

size_type CPString::searchStartFromRawBytes(SearchKind /*kind*/, SizeRawBytes32Struct start) const {
  // Past the end, the std::string searches find nothing going forward and
  // start at the end going back.
  return start == nposRawBytes ? std::string::npos : static_cast<size_type>(start.value());
}

size_type CPString::searchStartFromIterator(SearchKind /*kind*/, const iterator& start) const {
  return checkedStdStringIndexOfIterator(start, "CPString::find");
}

// The three forms of one search family. A forward search from npos finds
// nothing: the std::string searches return npos for a start past the end.
#define HDU_CPSTRING_DEFINE_SEARCH_FORMS(NAME, KIND, NEEDLE_PARAMETER, NEEDLE_BYTES, NEEDLE_LENGTH)                \
  SizeCodePoints32Struct CPString::NAME(NEEDLE_PARAMETER) const {                                                  \
    const size_type found = searchWorker(KIND, NEEDLE_BYTES, NEEDLE_LENGTH, defaultSearchStart(KIND));             \
    return found == std::string::npos ? npos : codePointIndexOfByteIndex(found);                                   \
  }                                                                                                                \
  SizeCodePoints32Struct CPString::NAME(NEEDLE_PARAMETER, SizeCodePoints32Struct start) const {                    \
    const size_type from = searchStartFromCodePoints(KIND, start);                                                 \
    if (from == std::string::npos && isForwardSearch(KIND)) {                                                      \
      return npos;                                                                                                 \
    }                                                                                                              \
    const size_type found = searchWorker(KIND, NEEDLE_BYTES, NEEDLE_LENGTH, from);                                 \
    return found == std::string::npos ? npos : codePointIndexOfByteIndex(found);                                   \
  }                                                                                                                \
  SizeRawBytes32Struct CPString::NAME##Utf8RawBytes(NEEDLE_PARAMETER) const {                                      \
    const size_type found = searchWorker(KIND, NEEDLE_BYTES, NEEDLE_LENGTH, defaultSearchStart(KIND), true);       \
    return found == std::string::npos ? nposRawBytes : SizeRawBytes32Struct(static_cast<unsigned>(found));         \
  }                                                                                                                \
  SizeRawBytes32Struct CPString::NAME##Utf8RawBytes(NEEDLE_PARAMETER, SizeRawBytes32Struct start) const {          \
    const size_type from = searchStartFromRawBytes(KIND, start);                                                   \
    if (from == std::string::npos && isForwardSearch(KIND)) {                                                      \
      return nposRawBytes;                                                                                         \
    }                                                                                                              \
    const size_type found = searchWorker(KIND, NEEDLE_BYTES, NEEDLE_LENGTH, from, true);                           \
    return found == std::string::npos ? nposRawBytes : SizeRawBytes32Struct(static_cast<unsigned>(found));         \
  }                                                                                                                \
  CPString::iterator CPString::NAME##Iterator(NEEDLE_PARAMETER) const {                                            \
    const size_type found = searchWorker(KIND, NEEDLE_BYTES, NEEDLE_LENGTH, defaultSearchStart(KIND));             \
    return found == std::string::npos ? end() : makeIterator(m_string.data() + found);                             \
  }                                                                                                                \
  CPString::iterator CPString::NAME##Iterator(NEEDLE_PARAMETER, const iterator& start) const {                     \
    const size_type found = searchWorker(KIND, NEEDLE_BYTES, NEEDLE_LENGTH, searchStartFromIterator(KIND, start)); \
    return found == std::string::npos ? end() : makeIterator(m_string.data() + found);                             \
  }

#define HDU_CPSTRING_DEFINE_SEARCH_FAMILY(NAME, KIND)                                               \
  HDU_CPSTRING_DEFINE_SEARCH_FORMS(NAME, KIND, char needle, &needle, 1)                             \
  HDU_CPSTRING_DEFINE_SEARCH_FORMS(NAME, KIND, const char* needle, needle != nullptr ? needle : "", \
                                   needle != nullptr ? std::strlen(needle) : 0)                     \
  HDU_CPSTRING_DEFINE_SEARCH_FORMS(NAME, KIND, const CPString& needle, needle.m_string.data(), needle.m_string.size())

HDU_CPSTRING_DEFINE_SEARCH_FAMILY(find, SearchKind::Find)
HDU_CPSTRING_DEFINE_SEARCH_FAMILY(reverseFind, SearchKind::ReverseFind)
HDU_CPSTRING_DEFINE_SEARCH_FAMILY(findFirstOf, SearchKind::FirstOf)
HDU_CPSTRING_DEFINE_SEARCH_FAMILY(findFirstNotOf, SearchKind::FirstNotOf)
HDU_CPSTRING_DEFINE_SEARCH_FAMILY(findFirstOfUsingAsciiCharacterSet, SearchKind::FirstOfAscii)
HDU_CPSTRING_DEFINE_SEARCH_FAMILY(findFirstNotOfUsingAsciiCharacterSet, SearchKind::FirstNotOfAscii)

#undef HDU_CPSTRING_DEFINE_SEARCH_FAMILY
#undef HDU_CPSTRING_DEFINE_SEARCH_FORMS

bool CPString::contains(const char* needle) const noexcept {
  return needle == nullptr || m_string.find(needle) != std::string::npos;
}

bool CPString::startsWith(const char* prefix) const noexcept {
  return prefix == nullptr || m_string.starts_with(prefix);
}

bool CPString::endsWith(const char* suffix) const noexcept {
  return suffix == nullptr || m_string.ends_with(suffix);
}

// ---- substrings -------------------------------------------------------------------------------------

CPString CPString::substringWorker(size_type startByte, size_type byteCount) const {
  return CPString(m_string.substr(startByte, byteCount));
}

CPString CPString::left(SizeCodePoints32Struct count) const {
  std::uint32_t reached = 0;
  const size_type byteIndex = byteIndexOfCodePoint(m_string, count.value(), reached, "CPString::left");
  return substringWorker(0, byteIndex);
}

CPString CPString::left(SizeRawBytes32Struct count) const {
  return substringWorker(0, count.value());
}

CPString CPString::right(SizeCodePoints32Struct count) const {
  const std::uint32_t length = countCodePoints(m_string, "CPString::right");
  if (count.value() >= length) {
    return *this;
  }
  std::uint32_t reached = 0;
  return substringWorker(byteIndexOfCodePoint(m_string, length - count.value(), reached, "CPString::right"),
                         std::string::npos);
}

CPString CPString::right(SizeRawBytes32Struct count) const {
  if (count.value() >= m_string.size()) {
    return *this;
  }
  return substringWorker(m_string.size() - count.value(), std::string::npos);
}

CPString CPString::substring(SizeCodePoints32Struct start) const {
  return substring(start, npos);
}

CPString CPString::substring(SizeCodePoints32Struct start, SizeCodePoints32Struct count) const {
  std::uint32_t reached = 0;
  const size_type startByte = byteIndexOfCodePoint(m_string, start.value(), reached, "CPString::substring");
  if (startByte == std::string::npos) {
    throwCodePointPosition("CPString::substring", start.value(), m_string);
  }
  if (count == npos) {
    return substringWorker(startByte, std::string::npos);
  }
  const char* cursor = m_string.data() + startByte;
  advanceCodePoints(m_string.data(), m_string.data() + m_string.size(), cursor, count.value(), "CPString::substring");
  return substringWorker(startByte, static_cast<size_type>(cursor - m_string.data()) - startByte);
}

CPString CPString::substring(SizeRawBytes32Struct start) const {
  return substring(start, nposRawBytes);
}

CPString CPString::substring(SizeRawBytes32Struct start, SizeRawBytes32Struct count) const {
  if (start.value() > m_string.size()) {
    throwRawBytePosition("CPString::substring", start.value(), m_string);
  }
  return substringWorker(start.value(), count == nposRawBytes ? std::string::npos : count.value());
}

CPString CPString::substringRange(SizeCodePoints32Struct start, SizeCodePoints32Struct end) const {
  if (end < start) {
    throwCodePointPosition("CPString::substringRange", end.value(), m_string);
  }
  return substring(start, end == npos ? npos : end - start);
}

CPString CPString::substringRange(SizeRawBytes32Struct start, SizeRawBytes32Struct end) const {
  if (end < start) {
    throwRawBytePosition("CPString::substringRange", end.value(), m_string);
  }
  return substring(start, end == nposRawBytes ? nposRawBytes : end - start);
}

CPString CPString::substringRange(const iterator& start, const iterator& end) const {
  const size_type first = checkedStdStringIndexOfIterator(start, "CPString::substringRange");
  const size_type last = checkedStdStringIndexOfIterator(end, "CPString::substringRange");
  if (last < first) {
    throwRawBytePosition("CPString::substringRange", last, m_string);
  }
  return substringWorker(first, last - first);
}

// ---- editing ------------------------------------------------------------------------------------------

CPString& CPString::insertWorker(size_type byteIndex, const char* bytes, size_type byteCount) {
  if (bytes != nullptr && byteCount != 0) {
    m_string.insert(byteIndex, bytes, byteCount);
  }
  return *this;
}

CPString& CPString::insert(SizeCodePoints32Struct position, const char* utf8) {
  return insert(position, utf8, utf8 != nullptr ? static_cast<unsigned>(std::strlen(utf8)) : 0u);
}

CPString& CPString::insert(SizeCodePoints32Struct position, const char* utf8, unsigned int byteCount) {
  std::uint32_t reached = 0;
  const size_type byteIndex = byteIndexOfCodePoint(m_string, position.value(), reached, "CPString::insert");
  if (byteIndex == std::string::npos) {
    throwCodePointPosition("CPString::insert", position.value(), m_string);
  }
  return insertWorker(byteIndex, utf8, byteCount);
}

CPString& CPString::insert(SizeCodePoints32Struct position, const CPString& text) {
  if (&text == this) {
    // Inserting into itself: the text must not move while it is read.
    const CPString copy(text);  // NOLINT(performance-unnecessary-copy-initialization)
    return insert(position, copy);
  }
  return insert(position, text.m_string.data(), static_cast<unsigned>(text.m_string.size()));
}

CPString& CPString::insert(SizeRawBytes32Struct position, const char* utf8) {
  return insert(position, utf8, utf8 != nullptr ? static_cast<unsigned>(std::strlen(utf8)) : 0u);
}

CPString& CPString::insert(SizeRawBytes32Struct position, const char* utf8, unsigned int byteCount) {
  if (position.value() > m_string.size()) {
    throwRawBytePosition("CPString::insert", position.value(), m_string);
  }
  return insertWorker(position.value(), utf8, byteCount);
}

CPString& CPString::insert(SizeRawBytes32Struct position, const CPString& text) {
  if (&text == this) {
    // Inserting into itself: the text must not move while it is read.
    const CPString copy(text);  // NOLINT(performance-unnecessary-copy-initialization)
    return insert(position, copy);
  }
  return insert(position, text.m_string.data(), static_cast<unsigned>(text.m_string.size()));
}

CPString& CPString::erase(SizeCodePoints32Struct position) {
  return erase(position, npos);
}

CPString& CPString::erase(SizeCodePoints32Struct position, SizeCodePoints32Struct count) {
  std::uint32_t reached = 0;
  const size_type startByte = byteIndexOfCodePoint(m_string, position.value(), reached, "CPString::erase");
  if (startByte == std::string::npos) {
    throwCodePointPosition("CPString::erase", position.value(), m_string);
  }
  if (count == npos) {
    m_string.erase(startByte);
    return *this;
  }
  const char* cursor = m_string.data() + startByte;
  const std::uint32_t erased =
      advanceCodePoints(m_string.data(), m_string.data() + m_string.size(), cursor, count.value(), "CPString::erase");
  if (erased != count.value()) {
    // The count overruns: the message names the end it would reach.
    throwCodePointPosition("CPString::erase", std::uint64_t{position.value()} + count.value(), m_string);
  }
  m_string.erase(startByte, static_cast<size_type>(cursor - m_string.data()) - startByte);
  return *this;
}

CPString& CPString::erase(SizeRawBytes32Struct position) {
  if (position.value() > m_string.size()) {
    throwRawBytePosition("CPString::erase", position.value(), m_string);
  }
  m_string.erase(position.value());
  return *this;
}

CPString& CPString::erase(SizeRawBytes32Struct position, SizeRawBytes32Struct count) {
  if (count == nposRawBytes) {
    return erase(position);
  }
  const size_type size = m_string.size();
  if (position.value() > size || count.value() > size - position.value()) {
    throwRawBytePositionAndCount("CPString::erase", position.value(), count.value(), m_string);
  }
  m_string.erase(position.value(), count.value());
  return *this;
}

CPString& CPString::erase(const iterator& first, const iterator& last) {
  const size_type from = checkedStdStringIndexOfIterator(first, "CPString::erase");
  const size_type to = checkedStdStringIndexOfIterator(last, "CPString::erase");
  if (to < from) {
    throwRawBytePosition("CPString::erase", to, m_string);
  }
  m_string.erase(from, to - from);
  return *this;
}

CPString& CPString::replaceWorker(const char* needle, size_type needleLength, const char* replacement,
                                  size_type replacementLength, size_type startByte) {
  if (needleLength == 0 || startByte == std::string::npos) {
    return *this;
  }
  const size_type found = m_string.find(needle, startByte, needleLength);
  if (found != std::string::npos) {
    m_string.replace(found, needleLength, replacement, replacementLength);
  }
  return *this;
}

CPString& CPString::replaceAllWorker(const char* needle, size_type needleLength, const char* replacement,
                                     size_type replacementLength, size_type startByte) {
  if (needleLength == 0 || startByte == std::string::npos || startByte > m_string.size()) {
    return *this;
  }
  size_type found = m_string.find(needle, startByte, needleLength);
  if (found == std::string::npos) {
    return *this;
  }
  // One pass into a new buffer: linear whatever the number of matches.
  std::string result;
  result.reserve(m_string.size());
  result.append(m_string, 0, found);
  size_type from = found;
  while (found != std::string::npos) {
    result.append(m_string, from, found - from);
    result.append(replacement, replacementLength);
    from = found + needleLength;
    found = m_string.find(needle, from, needleLength);
  }
  result.append(m_string, from, std::string::npos);
  m_string.swap(result);
  return *this;
}

#define HDU_CPSTRING_DEFINE_REPLACE(NAME, WORKER, PARAMETERS, NEEDLE_BYTES, NEEDLE_LENGTH, REPLACEMENT_BYTES, \
                                    REPLACEMENT_LENGTH)                                                       \
  CPString& CPString::NAME(PARAMETERS) {                                                                      \
    return WORKER(NEEDLE_BYTES, NEEDLE_LENGTH, REPLACEMENT_BYTES, REPLACEMENT_LENGTH, 0);                     \
  }                                                                                                           \
  CPString& CPString::NAME(PARAMETERS, SizeCodePoints32Struct start) {                                        \
    if (start == npos) {                                                                                      \
      return *this;                                                                                           \
    }                                                                                                         \
    std::uint32_t reached = 0;                                                                                \
    const size_type startByte = byteIndexOfCodePoint(m_string, start.value(), reached, "CPString::" #NAME);   \
    return WORKER(NEEDLE_BYTES, NEEDLE_LENGTH, REPLACEMENT_BYTES, REPLACEMENT_LENGTH, startByte);             \
  }                                                                                                           \
  CPString& CPString::NAME(PARAMETERS, SizeRawBytes32Struct start) {                                          \
    return WORKER(NEEDLE_BYTES, NEEDLE_LENGTH, REPLACEMENT_BYTES, REPLACEMENT_LENGTH,                         \
                  start == nposRawBytes ? std::string::npos : static_cast<size_type>(start.value()));         \
  }

#define HDU_COMMA ,
#define HDU_CPSTRING_DEFINE_REPLACE_FAMILY(NAME, WORKER)                                                         \
  HDU_CPSTRING_DEFINE_REPLACE(NAME, WORKER, char needle HDU_COMMA char replacement, &needle, 1, &replacement, 1) \
  HDU_CPSTRING_DEFINE_REPLACE(NAME, WORKER, const char* needle HDU_COMMA const char* replacement,                \
                              needle != nullptr ? needle : "", needle != nullptr ? std::strlen(needle) : 0,      \
                              replacement != nullptr ? replacement : "",                                         \
                              replacement != nullptr ? std::strlen(replacement) : 0)                             \
  HDU_CPSTRING_DEFINE_REPLACE(NAME, WORKER, const CPString& needle HDU_COMMA const CPString& replacement,        \
                              needle.m_string.data(), needle.m_string.size(), replacement.m_string.data(),       \
                              replacement.m_string.size())

HDU_CPSTRING_DEFINE_REPLACE_FAMILY(replace, replaceWorker)
HDU_CPSTRING_DEFINE_REPLACE_FAMILY(replaceAll, replaceAllWorker)

#undef HDU_CPSTRING_DEFINE_REPLACE_FAMILY
#undef HDU_COMMA
#undef HDU_CPSTRING_DEFINE_REPLACE

CPString& CPString::remove(char c) {
  m_string.erase(std::remove(m_string.begin(), m_string.end(), c), m_string.end());
  return *this;
}

CPString& CPString::removeAllWhiteSpace() {
  const LocaleSpaceTest isSpace;
  m_string.erase(std::remove_if(m_string.begin(), m_string.end(), [&](char c) { return isSpace(c); }), m_string.end());
  return *this;
}

CPString& CPString::removeExtraneousWhitespace() {
  removeExtraneous(m_string, LocaleSpaceTest());
  return *this;
}

CPString& CPString::removeExtraneousAsciiWhitespace() {
  removeExtraneous(m_string, [](char c) { return isAsciiSpace(c); });
  return *this;
}

CPString& CPString::trim() {
  return trimRight().trimLeft();
}

CPString& CPString::trimLeft() {
  const LocaleSpaceTest isSpace;
  size_type first = 0;
  while (first < m_string.size() && isSpace(m_string[first])) {
    ++first;
  }
  m_string.erase(0, first);
  return *this;
}

CPString& CPString::trimRight() {
  const LocaleSpaceTest isSpace;
  size_type last = m_string.size();
  while (last > 0 && isSpace(m_string[last - 1])) {
    --last;
  }
  m_string.resize(last);
  return *this;
}

CPString& CPString::toLower() {
  for (char& c : m_string) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return *this;
}

CPString& CPString::toUpper() {
  for (char& c : m_string) {
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return *this;
}

CPString& CPString::toLowerAscii() noexcept {
  for (char& c : m_string) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c + ('a' - 'A'));
    }
  }
  return *this;
}

CPString& CPString::toUpperAscii() noexcept {
  for (char& c : m_string) {
    if (c >= 'a' && c <= 'z') {
      c = static_cast<char>(c - ('a' - 'A'));
    }
  }
  return *this;
}

CPString& CPString::toReverse() {
  const char* const begin = m_string.data();
  const char* const end = begin + m_string.size();
  std::string reversed(m_string.size(), '\0');
  size_type out = m_string.size();
  const char* cursor = begin;
  while (cursor < end) {
    const char* const start = cursor;
    nextCodePoint(cursor, begin, end, "CPString::toReverse");
    const auto length = static_cast<size_type>(cursor - start);
    out -= length;
    std::memcpy(reversed.data() + out, start, length);
  }
  m_string.swap(reversed);
  return *this;
}

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

// ---- splitting ---------------------------------------------------------------------------------------------

unsigned int CPString::tokenize(
    char delimiter,
    const std::function<void(unsigned int index, const char* bytes, unsigned int byteLength)>& onToken) const {
  if (m_string.empty()) {
    return 0;
  }
  unsigned index = 0;
  size_type start = 0;
  while (true) {
    const size_type stop = m_string.find(delimiter, start);
    const size_type tokenEnd = stop == std::string::npos ? m_string.size() : stop;
    onToken(index++, m_string.data() + start, static_cast<unsigned>(tokenEnd - start));
    if (stop == std::string::npos) {
      return index;
    }
    start = stop + 1;
  }
}

std::vector<CPString> CPString::tokenize(char delimiter) const {
  std::vector<CPString> tokens;
  tokenize(delimiter, [&tokens](unsigned, const char* bytes, unsigned length) { tokens.emplace_back(bytes, length); });
  return tokens;
}

std::vector<std::string_view> CPString::tokenizeToStringViews(char delimiter) const {
  std::vector<std::string_view> tokens;
  tokenize(delimiter, [&tokens](unsigned, const char* bytes, unsigned length) { tokens.emplace_back(bytes, length); });
  return tokens;
}

std::vector<CPString> CPString::tokenizeUsingWhiteSpace() const {
  const LocaleSpaceTest isSpace;
  std::vector<CPString> tokens;
  size_type i = 0;
  while (i < m_string.size()) {
    while (i < m_string.size() && isSpace(m_string[i])) {
      ++i;
    }
    const size_type start = i;
    while (i < m_string.size() && !isSpace(m_string[i])) {
      ++i;
    }
    if (i > start) {
      tokens.emplace_back(m_string.data() + start, static_cast<unsigned>(i - start));
    }
  }
  return tokens;
}

// ---- diagnostics --------------------------------------------------------------------------------------------

CPString CPString::getLogInternals() const {
  return format("Length=%d, begin() ptr=0x%p, end() ptr=0x%p, string='%s'", static_cast<int>(m_string.size()),
                static_cast<const void*>(beginBytes()), static_cast<const void*>(endBytes()), m_string);
}

void CPString::logInternals(signed char verbosityLevel) const {
  // Until the logging facility takes these lines (at `verbosityLevel`), they
  // go to the debugger channel.
  (void)verbosityLevel;
  std::string line = getLogInternals().m_string;
  line.push_back('\n');
  PlatformFacilities::writeToDebuggerChannel(line.c_str());
}
