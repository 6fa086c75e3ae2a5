#pragma once
// Utf8CodePointIterator<char*>: a bidirectional iterator over the code points
// of UTF-8 bytes, the code-point iterator of CPString (CPString::iterator).
//
// It behaves like utfcpp's checked utf8::iterator: it remembers the byte
// range it was made for, dereferencing decodes the code point at its position
// (as a char32_t value), and stepping validates the sequence it steps over.
// Malformed text raises the library's utf8:: exceptions:
//   - stepping forward over or reading a malformed sequence: as the checked
//     conversions do (utf8::CPExceptionInvalidUtf8, ...NotEnoughRoom,
//     ...InvalidCodePoint), in "utf8::next";
//   - stepping back at the beginning: utf8::CPExceptionNotEnoughRoom,
//     "Already at the beginning." in "utf8::prior";
//   - stepping back over trail bytes that have no lead byte:
//     utf8::CPExceptionInvalidUtf8, "No lead byte in the sequence." in
//     "utf8::prior";
//   - comparing iterators made for different ranges:
//     CPExceptionIteratorOutOfBounds, "Comparing utf-8 iterators defined with
//     different ranges (0x%p - 0x%p) (0x%p - 0x%p)" in
//     "utf8::iterator<char *>::operator ==".
//
// The iterator never writes through its byte pointer; CPString hands out
// Utf8CodePointIterator<char*> for const strings as well.
//
// Well-formed sequences are decoded inline; everything else goes to the
// out-of-line routines below (built on utfcpp's core), which keeps this header
// free of utfcpp and of the exception hierarchy, so that it can share a
// translation unit with utfcpp's own checked header.

#include "LowLevelFacilities/Utf8Encoding.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

namespace InternalHaldenCP {

// Out-of-line parts of the iterator. Each validates the one sequence it
// touches and throws as described above.
HDU_API char32_t utf8DecodeCheckedAt(const char* position, const char* rangeEnd);
HDU_API const char* utf8AdvanceChecked(const char* position, const char* rangeEnd);
HDU_API const char* utf8RetreatChecked(const char* position, const char* rangeStart);
[[noreturn]] HDU_API void utf8ThrowIteratorRangeMismatch(const void* start1, const void* end1, const void* start2,
                                                         const void* end2);
[[noreturn]] HDU_API void utf8ThrowIteratorPositionOutsideRange(const void* position, const void* start,
                                                                const void* end);

template <class OctetIterator>
class Utf8CodePointIterator {
  static_assert(std::is_same_v<OctetIterator, char*> || std::is_same_v<OctetIterator, const char*>,
                "the code-point iterator walks char pointers");

 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using value_type = char32_t;
  using difference_type = std::ptrdiff_t;
  using pointer = const char32_t*;
  using reference = char32_t;

  Utf8CodePointIterator() noexcept = default;
  // `position` must lie within [rangeStart, rangeEnd]; otherwise
  // CPExceptionIteratorOutOfBounds is thrown. It is not checked to be on a
  // sequence boundary.
  Utf8CodePointIterator(OctetIterator position, OctetIterator rangeStart, OctetIterator rangeEnd)
      : m_position(position), m_rangeStart(rangeStart), m_rangeEnd(rangeEnd) {
    if (position < rangeStart || position > rangeEnd) {
      utf8ThrowIteratorPositionOutsideRange(position, rangeStart, rangeEnd);
    }
  }

  OctetIterator base() const noexcept { return m_position; }
  OctetIterator rangeStart() const noexcept { return m_rangeStart; }
  OctetIterator rangeEnd() const noexcept { return m_rangeEnd; }

  char32_t operator*() const {
    if (m_position != m_rangeEnd) {
      if (static_cast<unsigned char>(*m_position) < 0x80) {
        return static_cast<char32_t>(*m_position);
      }
      std::uint32_t code = 0;
      if (Utf8Encoding::decodeWellFormedMultiByteSequence(m_position, m_rangeEnd, code) != 0) {
        return static_cast<char32_t>(code);
      }
    }
    return utf8DecodeCheckedAt(m_position, m_rangeEnd);
  }

  bool operator==(const Utf8CodePointIterator& other) const {
    if (m_rangeStart != other.m_rangeStart || m_rangeEnd != other.m_rangeEnd) {
      utf8ThrowIteratorRangeMismatch(m_rangeStart, m_rangeEnd, other.m_rangeStart, other.m_rangeEnd);
    }
    return m_position == other.m_position;
  }

  Utf8CodePointIterator& operator++() {
    if (m_position != m_rangeEnd) {
      if (static_cast<unsigned char>(*m_position) < 0x80) {
        ++m_position;
        return *this;
      }
      std::uint32_t code = 0;
      if (const unsigned length = Utf8Encoding::decodeWellFormedMultiByteSequence(m_position, m_rangeEnd, code)) {
        m_position += length;
        return *this;
      }
    }
    m_position = const_cast<OctetIterator>(utf8AdvanceChecked(m_position, m_rangeEnd));
    return *this;
  }
  Utf8CodePointIterator operator++(int) {
    Utf8CodePointIterator old = *this;
    ++*this;
    return old;
  }
  Utf8CodePointIterator& operator--() {
    if (m_position != m_rangeStart && static_cast<unsigned char>(m_position[-1]) < 0x80) {
      --m_position;
    } else {
      m_position = const_cast<OctetIterator>(utf8RetreatChecked(m_position, m_rangeStart));
    }
    return *this;
  }
  Utf8CodePointIterator operator--(int) {
    Utf8CodePointIterator old = *this;
    --*this;
    return old;
  }

 private:
  OctetIterator m_position = nullptr;
  OctetIterator m_rangeStart = nullptr;
  OctetIterator m_rangeEnd = nullptr;
};

}  // namespace InternalHaldenCP
