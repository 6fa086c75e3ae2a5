#pragma once
// AttributeBytesRawList: an ordered run of attribute-bytes records, kept as
// their bytes.
//
// The list holds one ByteBuffer with the records' states concatenated in the
// order they were added; it keeps no index, and a record is parsed only when
// it is read. Its persisted state is "ABRL" (41 42 52 4C) followed by the
// records back to back; an empty list's state is exactly those four bytes.
//
// Importing a state checks only the signature: a damaged record imports
// without error and fails, with the exception of the primitive that ran
// out, when it is read. A failed import leaves the list as it was.
//
// At the end of the list every GetNext... form returns a null pointer (see
// AttributeBytesList for iterators). A record that cannot be parsed throws
// and leaves the iterator where it was, in front of that record.

#include "General/ByteBuffer.h"
#include "attributebytes/AttributeBytesList.h"
#include "attributebytes/AttributeBytesSharedPtr.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <memory>

class AttributeBytesIndexedList;
class AttributeBytesRawList;

// A position in a raw list: the byte offset of the next record.
class HDU_API AttributeBytesRawListIterator : public AttributeBytesListIterator {
 public:
  // An iterator of no list (refused by every list).
  AttributeBytesRawListIterator() noexcept = default;
  AttributeBytesRawListIterator(const AttributeBytesRawListIterator&) noexcept = default;
  AttributeBytesRawListIterator& operator=(const AttributeBytesRawListIterator&) noexcept = default;
  ~AttributeBytesRawListIterator() override;

  AttributeBytesListIteratorKind GetListIteratorKind() const noexcept override { return ABLIK_RAWLIST; }
  std::unique_ptr<AttributeBytesListIterator> Clone() const override;

  // Byte offset of the next record in the list's records (after the signature).
  unsigned int GetOffset() const noexcept { return m_offset; }

 private:
  friend class AttributeBytesRawList;
  AttributeBytesRawListIterator(std::uint64_t listStamp, unsigned int offset) noexcept
      : AttributeBytesListIterator(listStamp), m_offset(offset) {}

  unsigned int m_offset = 0;
};

class HDU_API AttributeBytesRawList : public AttributeBytesList {
 public:
  AttributeBytesRawList() noexcept;
  // Imports a raw-list state (see ImportAttributeBytesRawListState).
  explicit AttributeBytesRawList(const ByteBuffer& state);
  // The records of another list, in its order.
  explicit AttributeBytesRawList(const AttributeBytesList& other);
  AttributeBytesRawList(const AttributeBytesRawList& other);
  AttributeBytesRawList(AttributeBytesRawList&& other) noexcept;
  AttributeBytesRawList& operator=(const AttributeBytesRawList& other);
  AttributeBytesRawList& operator=(AttributeBytesRawList&& other) noexcept;
  ~AttributeBytesRawList() override;

  void swap(AttributeBytesRawList& other) noexcept;

  // ---- adding ----
  // Appends the record's state.
  void AddAttributeBytes(const AttributeBytes& attributeBytes) override;
  // Appends the state of the shared record (a null pointer throws
  // CPExceptionInvalidArgumentNullPointer).
  void AddAttributeBytes(const AttributeBytesSharedPtr& attributeBytes) override;

  // ---- walking ----
  std::unique_ptr<AttributeBytesListIterator> CreateIterator() const override;
  AttributeBytesRawListIterator GetRawListIterator() const noexcept;
  std::unique_ptr<AttributeBytes> GetNextAttributeBytes(AttributeBytesListIterator& iterator) const override;
  AttributeBytesSharedPtr GetNextAttributeBytesSharedPtr(AttributeBytesListIterator& iterator) const override;
  AttributeBytesSharedPtr GetNextAttributeBytesFromRawListIterator(AttributeBytesRawListIterator& iterator) const;
  // The number of records; parses every one (a damaged record throws).
  unsigned int GetAttributeBytesCount() const;

  // ---- state ----
  ByteBuffer GetAttributeBytesRawListState() const;
  // Replaces the contents of `out` with the state.
  void GetAttributeBytesRawListState(ByteBuffer& out) const;
  // Appends the state to `out`.
  void AppendAttributeBytesRawListState(ByteBuffer& out) const;
  // Replaces the contents from a state: reads the 4-byte signature (a state
  // under 4 bytes throws CPExceptionNotEnoughBytesForDesiredDataType), and
  // when it is not "ABRL" throws CPExceptionMissingOrBadAttributeBytesFormat
  // ("Import request ignored. This expected signature is missing or doesn't
  // match."). Otherwise the records become a copy of the bytes after it.
  void ImportAttributeBytesRawListState(const ByteBuffer& state);
  // The same from raw memory (`length` bytes at `state`).
  void ImportAttributeBytesRawListState(const unsigned char* state, unsigned int length);
  // Replaces the contents with the records of an indexed list, in its order.
  void ImportFromIndexedList(const AttributeBytesIndexedList& indexedList);

  // The records' bytes (the state without its signature).
  const ByteBuffer& GetRecordBytes() const noexcept { return m_records; }

  bool IsEmpty() const noexcept override { return m_records.empty(); }
  void Clear() override;

  // Byte-wise comparison of the records' bytes (a shorter prefix first).
  bool IsEqual(const AttributeBytesRawList& other) const noexcept;
  bool LessThan(const AttributeBytesRawList& other) const noexcept;

  // "AttributeBytesRawList: <n> bytes", then one line per record, nested. A
  // record that cannot be parsed ends the dump with a line naming its offset
  // and the failure; a dump never throws for bad bytes. Lists nested inside
  // list values are expanded down to a fixed depth.
  void AttributeBytesDump(const DumpArgs& dumpArgs, const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  AttributeBytesRawListIterator& CheckIterator(AttributeBytesListIterator& iterator, const char* functionLabel) const;
  void CheckRawListIterator(const AttributeBytesRawListIterator& iterator, const char* functionLabel) const;

  ByteBuffer m_records;
  std::uint64_t m_stamp;
};
