#include "LowLevelFacilities/Utf8CodePointIterator.h"

#include "LowLevelFacilities/Utf8CheckedDecoding.h"

namespace InternalHaldenCP {

char32_t utf8DecodeCheckedAt(const char* position, const char* rangeEnd) {
  const char* cursor = position;
  return static_cast<char32_t>(decodeNextUtf8Checked(cursor, position, rangeEnd, "utf8::next"));
}

const char* utf8AdvanceChecked(const char* position, const char* rangeEnd) {
  const char* cursor = position;
  decodeNextUtf8Checked(cursor, position, rangeEnd, "utf8::next");
  return cursor;
}

const char* utf8RetreatChecked(const char* position, const char* rangeStart) {
  if (position == rangeStart) {
    HDU_THROW(utf8::CPExceptionNotEnoughRoom, HDU_DEBUG_CONTEXT("utf8::prior"), "Already at the beginning.");
  }
  const char* const sequenceEnd = position;
  const char* cursor = position;
  while (utf8::internal::is_trail(*--cursor)) {
    if (cursor == rangeStart) {
      HDU_THROW(utf8::CPExceptionInvalidUtf8, HDU_DEBUG_CONTEXT("utf8::prior"), "No lead byte in the sequence.");
    }
  }
  // The sequence found must end exactly where the step started.
  const char* check = cursor;
  decodeNextUtf8Checked(check, cursor, sequenceEnd, "utf8::prior");
  if (check != sequenceEnd) {
    HDU_THROW(utf8::CPExceptionInvalidUtf8, HDU_DEBUG_CONTEXT("utf8::prior"),
              "The UTF-8 sequence before the position has more trail bytes than its lead byte announces.");
  }
  return cursor;
}

void utf8ThrowIteratorRangeMismatch(const void* start1, const void* end1, const void* start2, const void* end2) {
  HDU_THROW(CPExceptionIteratorOutOfBounds, HDU_DEBUG_CONTEXT("utf8::iterator<char *>::operator =="),
            "Comparing utf-8 iterators defined with different ranges (0x%p - 0x%p) (0x%p - 0x%p)", start1, end1, start2,
            end2);
}

void utf8ThrowIteratorPositionOutsideRange(const void* position, const void* start, const void* end) {
  HDU_THROW(CPExceptionIteratorOutOfBounds, HDU_DEBUG_CONTEXT("utf8::iterator<char *>::iterator"),
            "Invalid utf-8 iterator position 0x%p: outside the range (0x%p - 0x%p)", position, start, end);
}

}  // namespace InternalHaldenCP
