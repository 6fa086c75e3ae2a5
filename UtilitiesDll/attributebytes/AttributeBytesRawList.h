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
// Shared bytes. The records' bytes live in a storage buffer that lists share
// instead of copying: a copy of a list, and every list value parsed from a
// list's records (a list nested in a record), refer to the same storage,
// each to its own range. A state of lists nested n deep therefore costs its
// bytes once, not n times, however deep it is read. Storage is never
// changed while it is shared: adding records to a list that shares its
// storage first copies the list's own range (copy on write). A list keeps
// the whole storage it refers to alive, so a small list taken from a large
// state holds the state's bytes until it is released.
//
// Nesting level. A list read from a list value of a record of another list
// is one level deeper than that list; a list imported from bytes or built by
// hand is at level 0. A list may carry a maximum nesting level (0: none),
// which the lists parsed from it inherit: reading the records of a list
// deeper than its maximum throws CPExceptionMissingOrBadAttributeBytesFormat
// ("The records are nested in list values deeper than %u levels."), as
// reading a damaged record throws. Persisted attributes set 32.
//
// At the end of the list every GetNext... form returns a null pointer (see
// AttributeBytesList for iterators). A record that cannot be parsed throws
// and leaves the iterator where it was, in front of that record.

#include "General/ByteBuffer.h"
#include "attributebytes/AttributeBytesList.h"
#include "attributebytes/AttributeBytesSharedPtr.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

class AttributeBytesIndexedList;
class AttributeBytesRawList;

// Where records being parsed come from: the storage their bytes live in
// (list values parsed from them share it; null: they copy their bytes), and
// the nesting level and maximum of the list they belong to.
struct AttributeBytesSource {
  const std::shared_ptr<ByteBuffer>* storage = nullptr;
  unsigned nestingLevel = 0;
  unsigned maximumNestingLevel = 0;
};

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
  // The same without a copy: the state is the `length` bytes at `offset` in
  // `storage`, which the list (and the lists parsed from it) then share.
  void ImportAttributeBytesRawListState(const std::shared_ptr<ByteBuffer>& storage, std::size_t offset,
                                        std::size_t length);
  // Takes the state's buffer over instead of copying it.
  void ImportAttributeBytesRawListState(ByteBuffer&& state);
  // Replaces the contents with the records of an indexed list, in its order.
  void ImportFromIndexedList(const AttributeBytesIndexedList& indexedList);

  // The records' bytes (the state without its signature), valid until the
  // list is changed.
  std::span<const unsigned char> GetRecordBytes() const noexcept { return {RecordData(), m_size}; }
  // Where parsing this list's records starts from (see AttributeBytesSource).
  AttributeBytesSource GetSource() const noexcept { return {&m_storage, m_nestingLevel, m_maximumNestingLevel}; }

  // ---- nesting (see above) ----
  unsigned GetNestingLevel() const noexcept { return m_nestingLevel; }
  unsigned GetMaximumNestingLevel() const noexcept { return m_maximumNestingLevel; }
  void SetMaximumNestingLevel(unsigned maximumNestingLevel) noexcept { m_maximumNestingLevel = maximumNestingLevel; }
  // Makes this list a list nested in a record read from `source`'s list:
  // one level deeper, the same maximum. Used by the list value reader.
  void SetNestedIn(const AttributeBytesSource& source) noexcept;
  // Throws (see above) when the list is deeper than its maximum.
  void CheckNestingLevel(const char* functionLabel) const;

  bool IsEmpty() const noexcept override { return m_size == 0; }
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

  const unsigned char* RecordData() const noexcept { return m_storage ? m_storage->data() + m_offset : nullptr; }
  // The storage, unshared and with the records at its end, ready for
  // `extra` more bytes.
  ByteBuffer& WritableStorage(std::size_t extra);

  // The records are m_size bytes at m_offset in *m_storage (no storage when
  // the list was never filled).
  std::shared_ptr<ByteBuffer> m_storage;
  std::size_t m_offset = 0;
  std::size_t m_size = 0;
  std::uint64_t m_stamp;
  unsigned m_nestingLevel = 0;
  unsigned m_maximumNestingLevel = 0;
};
