#pragma once
// RecordWalker: reads the records of a raw list one at a time, in place.
//
// hdutil shows states of up to tens of megabytes, so it never holds more than
// one record of a list at a time, and never copies what a record holds:
//   - each record's id and value are built in the walker's own memory,
//     replacing the previous record's (no heap block per record; a name or a
//     string value still allocates its text);
//   - a data blob is not built at all: its bytes are shown as a view into the
//     list's bytes (RecordView::blob), where the library's value would copy
//     them;
//   - a list value shares the list's storage, as the library's lists do.
// A record is parsed exactly as the library parses it (AttributeBytes), with
// the same exceptions and messages for damaged records, and the same
// nesting limit: walking a list nested deeper than its maximum throws
// CPExceptionMissingOrBadAttributeBytesFormat. A record that fails to parse
// leaves the walker in front of it.
//
// A RecordView can also show a record the library built (a namespace record
// of an indexed list): then it refers to that record's parts, and byte
// ranges are not known (empty).
//
// The record bytes of an id are the form the library writes (ids have no
// other form), so two ids are the same exactly when their bytes are.

#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIdFactory.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/AttributeBytesValueFactory.h"

#include <cstddef>
#include <span>

namespace hdutil {

using Bytes = std::span<const unsigned char>;

class RecordView {
 public:
  RecordView() noexcept = default;
  // A record built by the library (see above).
  explicit RecordView(const AttributeBytes& record) noexcept;

  const AttributeBytesId& id() const noexcept { return *m_id; }
  AttributeBytesValueEnum valueType() const noexcept { return m_valueType; }
  bool isSpecified() const noexcept { return m_specified; }
  bool isList() const noexcept { return m_valueType == ABVTE_LIST; }
  bool isBlob() const noexcept { return m_valueType == ABVTE_DATABLOB; }
  // The library's value; null for a data blob read by a walker.
  const AttributeBytesValue* value() const noexcept { return m_value; }
  // A list value's list (only for isList()).
  const AttributeBytesListValue& list() const noexcept { return static_cast<const AttributeBytesListValue&>(*m_value); }
  // A data blob's bytes (only for isBlob()).
  Bytes blob() const noexcept { return m_blob; }
  // The record's bytes in its list: the whole record, its id part and its
  // value part (empty for a record built by the library).
  Bytes bytes() const noexcept { return m_bytes; }
  Bytes idBytes() const noexcept { return m_bytes.first(m_idSize); }
  Bytes valueBytes() const noexcept { return m_bytes.subspan(m_idSize); }

 private:
  friend class RecordWalker;

  const AttributeBytesId* m_id = nullptr;
  const AttributeBytesValue* m_value = nullptr;
  AttributeBytesValueEnum m_valueType = ABVTE_UNSPECIFIED;
  bool m_specified = false;
  Bytes m_blob;
  Bytes m_bytes;
  std::size_t m_idSize = 0;
};

class RecordWalker {
 public:
  // Walks `list`, which must outlive the walker and stay unchanged.
  explicit RecordWalker(const AttributeBytesRawList& list) noexcept;
  ~RecordWalker();
  RecordWalker(const RecordWalker&) = delete;
  RecordWalker& operator=(const RecordWalker&) = delete;

  // The next record, valid until the next call (or the walker's end); null at
  // the end of the list.
  const RecordView* next();
  // Moves to a byte offset in the list's records where a record begins (one
  // that RecordView::bytes of an earlier walk of the list started at).
  void seek(std::size_t offset) noexcept { m_offset = offset; }
  // The offset of the next record.
  std::size_t offset() const noexcept { return m_offset; }

  // The number of records in `list`, counted without building any blob.
  static std::size_t countRecords(const AttributeBytesRawList& list);

 private:
  void destroyParts() noexcept;

  const AttributeBytesRawList& m_list;
  Bytes m_records;
  std::size_t m_offset = 0;
  RecordView m_view;
  AttributeBytesId* m_id = nullptr;
  AttributeBytesValue* m_value = nullptr;
  alignas(std::max_align_t) unsigned char m_idMemory[AttributeBytesIdFactory::kLargestIdSize];
  alignas(std::max_align_t) unsigned char m_valueMemory[AttributeBytesValueFactory::kLargestValueSizeBound];
};

}  // namespace hdutil
