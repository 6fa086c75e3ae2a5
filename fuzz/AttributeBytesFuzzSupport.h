#pragma once
// Checks shared by the attribute-bytes fuzz targets.
//
// The only outcomes allowed on any input are values and exceptions of the
// library's hierarchy. Beyond that, every parsed record is held to the
// format's contract, and a broken contract traps:
// - writing a parsed record gives exactly as many bytes as were read (every
//   field has a fixed width or a count), and those bytes read back to the
//   same length, type and (apart from a negative dimension, see below) an
//   equal record; writing is then stable;
// - a record is never less than itself and equals its clone;
// - the raw-memory writers write exactly the part's size and refuse one byte
//   less;
// - a debug display and a dump never throw;
// - list values are walked record by record, nested lists down to a depth.
//
// A dimension is stored with Number's rounding (add 0.499999, truncate toward
// zero), so a negative stored dimension moves one micron toward zero each
// time it is read and written again: such records are compared by length and
// type only.

#include "DebuggingAndExceptions/CPException.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace abfuzz {

inline void require(bool condition) {
  if (!condition) {
    __builtin_trap();
  }
}

enum : unsigned { kMaxListDepth = 24 };

inline bool hasNegativeDimension(const AttributeBytesValue& value) {
  switch (value.GetAttributeBytesValueType()) {
    case ABVTE_DIMENSION:
      return static_cast<const AttributeBytesDimensionValue&>(value).GetValue().GetStorageValue() < 0;
    case ABVTE_RANGEOFDIMENSION: {
      const auto& range = static_cast<const AttributeBytesRangeOfDimensionValue&>(value);
      return range.GetFirst().GetStorageValue() < 0 || range.GetSecond().GetStorageValue() < 0;
    }
    default:
      return false;
  }
}

inline void checkList(const AttributeBytesRawList& list, unsigned depth);

// `consumed`: how many bytes the record was read from.
inline void checkRecord(const AttributeBytes& record, std::size_t consumed, unsigned depth) {
  const ByteBuffer written = record.GetAttributeBytesState();
  require(written.size() == consumed);

  const AttributeBytes reread(written);
  require(reread.GetAttributeBytesState().size() == written.size());
  require(reread.GetAttributeBytesId().IsEqual(record.GetAttributeBytesId()));
  require(reread.GetAttributeBytesValue().GetAttributeBytesValueType() ==
          record.GetAttributeBytesValue().GetAttributeBytesValueType());
  if (!hasNegativeDimension(record.GetAttributeBytesValue())) {
    require(reread.IsEqual(record));
    require(reread.GetAttributeBytesState() == written);
  }

  const AttributeBytes copy(record);
  require(copy.IsEqual(record));
  require(!record.GetAttributeBytesId().LessThan(record.GetAttributeBytesId()));
  require(!record.GetAttributeBytesValue().LessThan(*record.GetAttributeBytesValue().Clone()));

  const AttributeBytesId& id = record.GetAttributeBytesId();
  const AttributeBytesValue& value = record.GetAttributeBytesValue();
  const ByteBuffer idPart = id.GetTypeAndIdentifierState();
  const ByteBuffer valuePart = value.GetTypeAndValueState();
  require(idPart.size() + valuePart.size() == written.size());
  std::vector<unsigned char> memory(written.size() + 1, 0xA5);
  require(id.GetTypeAndIdentifierState(memory.data(), static_cast<unsigned>(idPart.size())) == idPart.size());
  require(value.GetTypeAndValueState(memory.data(), static_cast<unsigned>(valuePart.size())) == valuePart.size());
  try {
    value.GetTypeAndValueState(memory.data(), static_cast<unsigned>(valuePart.size() - 1));
    require(false);
  } catch (const CPExceptionNotEnoughBytesForDesiredDataType&) {
  }

  (void)record.GetDebugDisplayString();
  std::string sink;
  record.AttributeBytesDump(DumpArgs(&sink), NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
  require(!sink.empty());

  if (value.IsList() && depth < kMaxListDepth) {
    checkList(value.GetListValue().GetValue(), depth + 1);
  } else {
    try {
      (void)value.GetListValue();
      require(value.IsList());
    } catch (const CPExceptionAttributeValueTypeMismatch&) {
      require(!value.IsList());
    }
  }
}

// Reads every record of a raw list; a damaged record ends the walk with the
// library's exception and leaves the iterator in front of it.
inline void checkList(const AttributeBytesRawList& list, unsigned depth) {
  AttributeBytesRawListIterator iterator = list.GetRawListIterator();
  std::size_t total = 0;
  for (;;) {
    const unsigned offset = iterator.GetOffset();
    AttributeBytesSharedPtr record;
    try {
      record = list.GetNextAttributeBytesFromRawListIterator(iterator);
    } catch (const CPException&) {
      require(iterator.GetOffset() == offset);
      break;
    }
    if (!record) {
      require(total == list.GetRecordBytes().size());
      break;
    }
    require(iterator.GetOffset() > offset);
    total += iterator.GetOffset() - offset;
    checkRecord(*record, iterator.GetOffset() - offset, depth);
  }
  std::string sink;
  list.AttributeBytesDump(DumpArgs(&sink), NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
}

}  // namespace abfuzz
