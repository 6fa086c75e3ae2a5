// CPString: conversion between the four kinds of position (code-point
// indexes, raw-byte indexes, std::string indexes, byte and code-point
// iterators). Every conversion checks that the position lies in the string.

#include "LowLevelFacilities/CPString.h"

#include "LowLevelFacilities/CPStringWalkers.h"

#include <cstddef>
#include <cstdint>
#include <string>

using namespace InternalHaldenCP::CPStringWalkers;

namespace {

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

}  // namespace

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
