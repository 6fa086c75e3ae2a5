// CPString: construction, assignment, appending, size and access, and the
// diagnostics line; the position errors of every section. The other sections
// are in CPStringIndexConversion.cpp, CPStringSearching.cpp,
// CPStringEditing.cpp and CPStringComparison.cpp; the walkers they share in
// CPStringWalkers.h.

#include "LowLevelFacilities/CPString.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/CPStringUtils.h"
#include "LowLevelFacilities/CPStringWalkers.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/Utf8Encoding.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

const SizeCodePoints32Struct CPString::npos{0xFFFFFFFFu};
const SizeRawBytes32Struct CPString::nposRawBytes{0xFFFFFFFFu};

using namespace InternalHaldenCP::CPStringWalkers;

namespace InternalHaldenCP::CPStringWalkers {

// ---- position errors ------------------------------------------------------------

namespace {

// Counts code points without validating (lead bytes and stray bytes each
// count once), for messages that must not fail themselves.
unsigned lenientCodePointCount(const std::string& text) noexcept {
  unsigned count = 0;
  for (const char c : text) {
    count += isTrailByte(c) ? 0 : 1;
  }
  return count;
}

}  // namespace

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

}  // namespace InternalHaldenCP::CPStringWalkers

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

// ---- diagnostics --------------------------------------------------------------------------------------------

CPString CPString::getLogInternals() const {
  return format("Length=%d, begin() ptr=0x%p, end() ptr=0x%p, string='%s'", static_cast<int>(m_string.size()),
                static_cast<const void*>(beginBytes()), static_cast<const void*>(endBytes()), m_string);
}

void CPString::logInternals(signed char verbosityLevel) const {
  // The line goes to the debugger channel whatever the level; the logging
  // facility is not asked.
  (void)verbosityLevel;
  std::string line = getLogInternals().m_string;
  line.push_back('\n');
  PlatformFacilities::writeToDebuggerChannel(line.c_str());
}
