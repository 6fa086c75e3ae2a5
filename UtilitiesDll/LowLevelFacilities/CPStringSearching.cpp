// CPString: searching (find, reverseFind, the set searches, contains,
// startsWith, endsWith), substrings and splitting into tokens.

#include "LowLevelFacilities/CPString.h"

#include "LowLevelFacilities/CPStringWalkers.h"
#include "LowLevelFacilities/Utf8Encoding.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

using namespace InternalHaldenCP::CPStringWalkers;

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
