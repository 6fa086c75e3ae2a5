#pragma once
// AttributeBytesIndexedList: attribute-bytes records keyed by their id, at
// most one record per id.
//
// The list holds an ordered set of shared records keyed by their own ids; the
// order is the id family's LessThan (tag first, then payload; see
// AttributeBytesId.h) and two ids are the same key when IsEqual says so. A
// record shared with a caller must keep its id while it is in the list: a
// caller that gives such a record another id (ImportAttributeBytesState on
// it) breaks the list's order, and must not.
//
// Memory. The set's nodes come from a pool that belongs to the list (chunks
// of nodes, growing from 8 to 256 per chunk), so adding a record costs no
// heap allocation of its own once a chunk is there; the chunks are freed
// with the list.
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

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <type_traits>

class AttributeBytes;
class AttributeBytesRawList;
class AttributeBytesValue;

// Where an id stands in an indexed list's order: its tag, and for ids
// ordered by one number (AttributeBytesId::GetOrderingNumber) that number,
// so that most comparisons need no call into the ids. `id` is the id itself,
// for the other comparisons (a search key carries it; an entry finds it in
// its record).
struct AttributeBytesIdOrderKey {
  int tag = 0;
  bool hasNumber = false;
  std::int64_t number = 0;
  const AttributeBytesId* id = nullptr;

  static AttributeBytesIdOrderKey Of(const AttributeBytesId& id) noexcept {
    AttributeBytesIdOrderKey key;
    key.tag = id.GetAttributeBytesIdType();
    key.hasNumber = id.GetOrderingNumber(key.number);
    key.id = &id;
    return key;
  }
};

// One record of an indexed list, with its id's tag and number. The record is
// replaced in place only by a record with an equal id (SetAttributeBytes),
// which keeps them and the order.
struct HDU_API AttributeBytesIndexedEntry {
  explicit AttributeBytesIndexedEntry(const AttributeBytesSharedPtr& shared);
  // With the key of the record's id, already made.
  AttributeBytesIndexedEntry(const AttributeBytesIdOrderKey& key, const AttributeBytesSharedPtr& shared) noexcept;
  // Out of line: the record's class is complete only in the library.
  AttributeBytesIndexedEntry(const AttributeBytesIndexedEntry& other) noexcept;
  AttributeBytesIndexedEntry& operator=(const AttributeBytesIndexedEntry& other) noexcept;
  ~AttributeBytesIndexedEntry();
  int tag;
  bool hasNumber;
  std::int64_t number;
  mutable AttributeBytesSharedPtr record;
};

// Orders entries and search keys as AttributeBytesId::LessThan orders their
// ids; transparent.
struct AttributeBytesIndexedEntryCompare {
  using is_transparent = void;
  template <class A, class B>
  bool operator()(const A& a, const B& b) const {
    if (a.tag != b.tag) {
      return a.tag < b.tag;
    }
    return a.hasNumber ? a.number < b.number : idOf(a).LessThanSameType(idOf(b));
  }
  static const AttributeBytesId& idOf(const AttributeBytesIdOrderKey& key) noexcept { return *key.id; }
  static const AttributeBytesId& idOf(const AttributeBytesIndexedEntry& entry) noexcept;
};

// The node pool of one indexed list: equal blocks carved from chunks, handed
// out and taken back without locking (one list is used by one thread at a
// time), shared by the copies of the list's allocator and freed with the
// last of them.
class HDU_API AttributeBytesNodePool {
 public:
  explicit AttributeBytesNodePool(std::size_t blockSize) noexcept;
  ~AttributeBytesNodePool();
  AttributeBytesNodePool(const AttributeBytesNodePool&) = delete;
  AttributeBytesNodePool& operator=(const AttributeBytesNodePool&) = delete;

  std::size_t GetBlockSize() const noexcept { return m_blockSize; }
  void* Allocate();
  void Release(void* block) noexcept;

  void AddReference() noexcept { m_references.fetch_add(1, std::memory_order_relaxed); }
  // Deletes the pool with the last reference.
  void RemoveReference() noexcept;

 private:
  struct FreeBlock {
    FreeBlock* next;
  };
  struct Chunk;

  std::size_t m_blockSize;
  FreeBlock* m_free = nullptr;
  Chunk* m_chunks = nullptr;
  std::size_t m_nextChunkBlocks = 8;
  std::atomic<unsigned> m_references{1};
};

// The allocator of an indexed list's set: single nodes from the list's pool
// (made on the first allocation), anything else from the heap. Copies share
// the pool; a copied list gets a pool of its own.
template <class T>
class AttributeBytesNodeAllocator {
 public:
  using value_type = T;
  using propagate_on_container_copy_assignment = std::false_type;
  using propagate_on_container_move_assignment = std::true_type;
  using propagate_on_container_swap = std::true_type;
  using is_always_equal = std::false_type;

  AttributeBytesNodeAllocator() noexcept = default;
  AttributeBytesNodeAllocator(const AttributeBytesNodeAllocator& other) noexcept : m_pool(other.m_pool) { AddPool(); }
  template <class U>
  AttributeBytesNodeAllocator(
      const AttributeBytesNodeAllocator<U>& other) noexcept  // NOLINT(google-explicit-constructor)
      : m_pool(other.m_pool) {
    AddPool();
  }
  AttributeBytesNodeAllocator& operator=(const AttributeBytesNodeAllocator& other) noexcept {
    if (this != &other && m_pool != other.m_pool) {
      DropPool();
      m_pool = other.m_pool;
      AddPool();
    }
    return *this;
  }
  ~AttributeBytesNodeAllocator() { DropPool(); }

  T* allocate(std::size_t count) {
    if (count == 1) {
      if (m_pool == nullptr) {
        m_pool = new AttributeBytesNodePool(sizeof(T));
      }
      if (m_pool->GetBlockSize() >= sizeof(T)) {
        return static_cast<T*>(m_pool->Allocate());
      }
    }
    return static_cast<T*>(::operator new(count * sizeof(T)));
  }
  void deallocate(T* block, std::size_t count) noexcept {
    if (count == 1 && m_pool != nullptr && m_pool->GetBlockSize() >= sizeof(T)) {
      m_pool->Release(block);
    } else {
      ::operator delete(block);
    }
  }
  // A copied container starts a pool of its own.
  AttributeBytesNodeAllocator select_on_container_copy_construction() const noexcept {
    return AttributeBytesNodeAllocator();
  }

  template <class U>
  bool operator==(const AttributeBytesNodeAllocator<U>& other) const noexcept {
    return m_pool == other.m_pool;
  }

 private:
  template <class U>
  friend class AttributeBytesNodeAllocator;
  void AddPool() noexcept {
    if (m_pool != nullptr) {
      m_pool->AddReference();
    }
  }
  void DropPool() noexcept {
    if (m_pool != nullptr) {
      m_pool->RemoveReference();
      m_pool = nullptr;
    }
  }

  AttributeBytesNodePool* m_pool = nullptr;
};

// The set of an indexed list.
using AttributeBytesIndexedMap = std::set<AttributeBytesIndexedEntry, AttributeBytesIndexedEntryCompare,
                                          AttributeBytesNodeAllocator<AttributeBytesIndexedEntry>>;

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
  // Whether the last record added went to the end (records read from a
  // state do): then the next one is tried there first.
  bool m_lastAddedAtEnd = true;
};
