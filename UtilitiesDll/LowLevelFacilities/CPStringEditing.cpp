// CPString: editing in place (insert, erase, replace and replaceAll, the
// white-space removals and trims, case changes, reversal).

#include "LowLevelFacilities/CPString.h"

#include "LowLevelFacilities/CPStringWalkers.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>

using namespace InternalHaldenCP::CPStringWalkers;

namespace {

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

}  // namespace

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
  if (found == std::string::npos) {
    return *this;
  }
  if (needleLength == replacementLength) {
    // Same length: the bytes are overwritten where they are. memmove, as the
    // replacement may lie in this string. (The one-byte forms, with constant
    // lengths, also keep std::string::replace away from g++ 12's -O3
    // -Wrestrict false alarm.)
    std::memmove(m_string.data() + found, replacement, replacementLength);
    return *this;
  }
  m_string.replace(found, needleLength, replacement, replacementLength);
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
