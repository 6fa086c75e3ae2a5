#pragma once
// AttributeBytesIndexedList: attribute-bytes records keyed by their id, at
// most one record per id.
//
// The list holds an ordered map from id to shared record; the order is the id
// family's LessThan (tag first, then payload; see AttributeBytesId.h) and two
// ids are the same key when IsEqual says so. The map keeps its own copy of
// each id as the key, so the order cannot be broken through a record that a
// caller shares with the list; a caller that changes the id of such a record
// makes it disagree with its key, and should not.
//
// Its persisted state is "ABIL" (41 42 49 4C) followed by the raw-list state
// of its records in map order; an empty list's state is
// 41 42 49 4C 41 42 52 4C. Importing checks "ABIL", imports the rest as a
// raw-list state (so "ABRL" is checked too), then adds every record in order
// under the duplicate rule. Any failure leaves the list exactly as it was: the
// import is built in a separate list and swapped in.
//
// Duplicate rule: adding a record whose id is already present throws
// CPExceptionDuplicateAttributeId ("An entry already exists in the list
// for=<id text>! Insertion failed!\r\n") and leaves the list unchanged;
// SetAttributeBytes replaces instead.
//
// Iterators (see AttributeBytesList): adding and replacing records keep the
// list's stamp; removing, clearing, importing and assignment renew it.

#include "General/ByteBuffer.h"
#include "attributebytes/AttributeBytesList.h"
#include "attributebytes/AttributeBytesSharedPtr.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

class AttributeBytes;
class AttributeBytesRawList;
class AttributeBytesValue;

// The map of an indexed list: owned copies of the ids, ordered by LessThan,
// each with its shared record.
using AttributeBytesIndexedMap =
    std::map<std::unique_ptr<const AttributeBytesId>, AttributeBytesSharedPtr, AttributeBytesIdCompare>;

// A position in an indexed list's map.
class HDU_API AttributeBytesIndexedListIterator : public AttributeBytesListIterator {
 public:
  // An iterator of no list (refused by every list).
  AttributeBytesIndexedListIterator() noexcept = default;
  AttributeBytesIndexedListIterator(const AttributeBytesIndexedListIterator&) noexcept = default;
  AttributeBytesIndexedListIterator& operator=(const AttributeBytesIndexedListIterator&) noexcept = default;
  ~AttributeBytesIndexedListIterator() override;

  AttributeBytesListIteratorKind GetListIteratorKind() const noexcept override { return ABLIK_INDEXEDLIST; }
  std::unique_ptr<AttributeBytesListIterator> Clone() const override;

 private:
  friend class AttributeBytesIndexedList;
  AttributeBytesIndexedListIterator(std::uint64_t listStamp, AttributeBytesIndexedMap::const_iterator position) noexcept
      : AttributeBytesListIterator(listStamp), m_position(position) {}

  AttributeBytesIndexedMap::const_iterator m_position;
};

class HDU_API AttributeBytesIndexedList : public AttributeBytesList {
 public:
  AttributeBytesIndexedList() noexcept;
  // Imports an indexed-list state.
  explicit AttributeBytesIndexedList(const ByteBuffer& state);
  // Copies clone every record.
  AttributeBytesIndexedList(const AttributeBytesIndexedList& other);
  AttributeBytesIndexedList(AttributeBytesIndexedList&& other) noexcept;
  AttributeBytesIndexedList& operator=(const AttributeBytesIndexedList& other);
  AttributeBytesIndexedList& operator=(AttributeBytesIndexedList&& other) noexcept;
  ~AttributeBytesIndexedList() override;

  void swap(AttributeBytesIndexedList& other) noexcept;

  // ---- adding and removing ----
  // Adds a copy of the record (duplicate rule).
  void AddAttributeBytes(const AttributeBytes& attributeBytes) override;
  // Adds the shared record itself (duplicate rule; a null pointer throws
  // CPExceptionInvalidArgumentNullPointer).
  void AddAttributeBytes(const AttributeBytesSharedPtr& attributeBytes) override;
  // Adds, or replaces the record with the same id.
  void SetAttributeBytes(const AttributeBytes& attributeBytes);
  void SetAttributeBytes(const AttributeBytesSharedPtr& attributeBytes);
  // Removes the record with this id; false when there is none.
  bool RemoveAttributeBytes(const AttributeBytesId& id);

  // ---- look-ups ----
  // The record for an id. A missing id throws CPExceptionFeatureNotFound
  // ("Request for a non-existent attribute (<id text>)! Consider using the
  // 'xxxPtr' method, instead, and check the return code.").
  const AttributeBytes& GetAttributeBytesRef(const AttributeBytesId& id) const;
  // The record, its shared pointer, or its value for an id; null when missing.
  const AttributeBytes* GetAttributeBytesPtr(const AttributeBytesId& id) const;
  AttributeBytesSharedPtr GetAttributeBytesSharedPtr(const AttributeBytesId& id) const;
  const AttributeBytesValue* GetAttributeBytesValuePtr(const AttributeBytesId& id) const;
  bool ContainsAttributeBytes(const AttributeBytesId& id) const;
  std::size_t GetAttributeBytesCount() const noexcept { return m_map.size(); }

  // ---- walking (in id order) ----
  std::unique_ptr<AttributeBytesListIterator> CreateIterator() const override;
  AttributeBytesIndexedListIterator GetIndexedListIterator() const noexcept;
  // A copy of the record at the iterator, iterator advanced; null at the end.
  std::unique_ptr<AttributeBytes> GetNextAttributeBytes(AttributeBytesListIterator& iterator) const override;
  // The shared record at the iterator, iterator advanced; null at the end.
  AttributeBytesSharedPtr GetNextAttributeBytesSharedPtr(AttributeBytesListIterator& iterator) const override;
  AttributeBytesSharedPtr GetNextAttributeBytesFromIndexedListIterator(
      AttributeBytesIndexedListIterator& iterator) const;
  // The record at the iterator, without advancing. At the end of the list
  // throws CPExceptionIteratorOutOfBounds.
  const AttributeBytes& GetAttributeBytesRefFromIndexedListIterator(
      const AttributeBytesIndexedListIterator& iterator) const;

  // ---- state ----
  ByteBuffer GetAttributeBytesIndexedListState() const;
  // Replaces the contents of `out` with the state.
  void GetAttributeBytesIndexedListState(ByteBuffer& out) const;
  void AppendAttributeBytesIndexedListState(ByteBuffer& out) const;
  // Appends the records' bytes, in map order (a raw list's records).
  void AppendRecordBytes(ByteBuffer& out) const;
  // Replaces the contents from a state (see above). A state under 4 bytes
  // throws CPExceptionNotEnoughBytesForDesiredDataType; a signature that is
  // not "ABIL" throws CPExceptionMissingOrBadAttributeBytesFormat.
  void ImportAttributeBytesIndexedListState(const ByteBuffer& state);
  void ImportAttributeBytesIndexedListState(const unsigned char* state, unsigned int length);
  // The same from the `length` bytes at `offset` in `storage`, which the
  // records' list values then share (see AttributeBytesRawList); the records
  // are read as a list with the given maximum nesting level.
  void ImportAttributeBytesIndexedListState(const std::shared_ptr<ByteBuffer>& storage, std::size_t offset,
                                            std::size_t length, unsigned maximumNestingLevel = 0);
  // Replaces the contents with the records of a raw list, added in its order
  // under the duplicate rule (a damaged record throws as reading it does).
  // List values in the records share the raw list's bytes.
  void ImportFromRawList(const AttributeBytesRawList& rawList);

  bool IsEmpty() const noexcept override { return m_map.empty(); }
  void Clear() override;

  // Same ids with equal records, in the same order.
  bool IsEqual(const AttributeBytesIndexedList& other) const;

  // "AttributeBytesIndexedList: <n> records", then each record, nested.
  void AttributeBytesDump(const DumpArgs& dumpArgs, const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  AttributeBytesIndexedListIterator& CheckIterator(AttributeBytesListIterator& iterator,
                                                   const char* functionLabel) const;
  void CheckIndexedListIterator(const AttributeBytesIndexedListIterator& iterator, const char* functionLabel) const;
  void InsertNew(const AttributeBytesSharedPtr& attributeBytes);

  AttributeBytesIndexedMap m_map;
  std::uint64_t m_stamp;
};
