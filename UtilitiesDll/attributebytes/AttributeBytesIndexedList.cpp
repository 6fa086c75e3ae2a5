#include "attributebytes/AttributeBytesIndexedList.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Formatter.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "attributebytes/AttributeBytesReader.h"
#include "attributebytes/AttributeBytesWire.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace {

constexpr const char* kSourceFile = "UtilitiesDll\\attributebytes\\AttributeBytesIndexedList";

AttributeBytesIndexedMap cloneMap(const AttributeBytesIndexedMap& source) {
  AttributeBytesIndexedMap copy;
  for (const AttributeBytesIndexedEntry& entry : source) {
    copy.emplace_hint(copy.end(), MakeAttributeBytesSharedPtr(*entry.record));
  }
  return copy;
}

}  // namespace

// ---- entries and their pool ---------------------------------------------------------

AttributeBytesIndexedEntry::AttributeBytesIndexedEntry(const AttributeBytesSharedPtr& shared) : record(shared) {
  const AttributeBytesId& id = shared->GetAttributeBytesId();
  tag = id.GetAttributeBytesIdType();
  number = 0;
  hasNumber = id.GetOrderingNumber(number);
}

AttributeBytesIndexedEntry::AttributeBytesIndexedEntry(const AttributeBytesIdOrderKey& key,
                                                       const AttributeBytesSharedPtr& shared) noexcept
    : tag(key.tag), hasNumber(key.hasNumber), number(key.number), record(shared) {}

AttributeBytesIndexedEntry::AttributeBytesIndexedEntry(const AttributeBytesIndexedEntry& other) noexcept = default;
AttributeBytesIndexedEntry& AttributeBytesIndexedEntry::operator=(const AttributeBytesIndexedEntry& other) noexcept =
    default;
AttributeBytesIndexedEntry::~AttributeBytesIndexedEntry() = default;

const AttributeBytesId& AttributeBytesIndexedEntryCompare::idOf(const AttributeBytesIndexedEntry& entry) noexcept {
  return entry.record->GetAttributeBytesId();
}

struct AttributeBytesNodePool::Chunk {
  Chunk* next;
};

AttributeBytesNodePool::AttributeBytesNodePool(std::size_t blockSize) noexcept
    : m_blockSize((std::max(blockSize, sizeof(FreeBlock)) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) *
                  alignof(std::max_align_t)) {}

AttributeBytesNodePool::~AttributeBytesNodePool() {
  while (m_chunks != nullptr) {
    Chunk* next = m_chunks->next;
    ::operator delete(m_chunks);
    m_chunks = next;
  }
}

void* AttributeBytesNodePool::Allocate() {
  if (m_free == nullptr) {
    // A chunk: its header, then the blocks, each at a multiple of the
    // strictest fundamental alignment.
    constexpr std::size_t kHeader =
        (sizeof(Chunk) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
    auto* chunk = static_cast<Chunk*>(::operator new(kHeader + m_nextChunkBlocks * m_blockSize));
    chunk->next = m_chunks;
    m_chunks = chunk;
    unsigned char* blocks = reinterpret_cast<unsigned char*>(chunk) + kHeader;
    for (std::size_t i = m_nextChunkBlocks; i > 0; --i) {
      m_free = ::new (blocks + (i - 1) * m_blockSize) FreeBlock{m_free};
    }
    m_nextChunkBlocks = std::min<std::size_t>(m_nextChunkBlocks * 2, 256);
  }
  FreeBlock* block = m_free;
  m_free = block->next;
  return block;
}

void AttributeBytesNodePool::Release(void* block) noexcept {
  m_free = ::new (block) FreeBlock{m_free};
}

void AttributeBytesNodePool::RemoveReference() noexcept {
  if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete this;
  }
}

// ---- iterator -----------------------------------------------------------------------

AttributeBytesIndexedListIterator::~AttributeBytesIndexedListIterator() = default;

std::unique_ptr<AttributeBytesListIterator> AttributeBytesIndexedListIterator::Clone() const {
  return std::make_unique<AttributeBytesIndexedListIterator>(*this);
}

// ---- construction -------------------------------------------------------------------

AttributeBytesIndexedList::AttributeBytesIndexedList() noexcept : m_stamp(NewListStamp()) {}

AttributeBytesIndexedList::AttributeBytesIndexedList(const ByteBuffer& state) : m_stamp(NewListStamp()) {
  ImportAttributeBytesIndexedListState(state);
}

AttributeBytesIndexedList::AttributeBytesIndexedList(const AttributeBytesIndexedList& other)
    : AttributeBytesList(other), m_map(cloneMap(other.m_map)), m_stamp(NewListStamp()) {}

AttributeBytesIndexedList::AttributeBytesIndexedList(AttributeBytesIndexedList&& other) noexcept
    : m_map(std::move(other.m_map)), m_stamp(NewListStamp()) {
  // The moved-from set still refers to the same pool; it gets a fresh one,
  // so that the two lists never share a pool.
  other.m_map = AttributeBytesIndexedMap();
  other.m_stamp = NewListStamp();
}

AttributeBytesIndexedList& AttributeBytesIndexedList::operator=(const AttributeBytesIndexedList& other) {
  if (this != &other) {
    AttributeBytesIndexedMap copy = cloneMap(other.m_map);
    m_map.swap(copy);
    m_stamp = NewListStamp();
  }
  return *this;
}

AttributeBytesIndexedList& AttributeBytesIndexedList::operator=(AttributeBytesIndexedList&& other) noexcept {
  if (this != &other) {
    m_map = std::move(other.m_map);
    other.m_map = AttributeBytesIndexedMap();
    m_stamp = NewListStamp();
    other.m_stamp = NewListStamp();
  }
  return *this;
}

AttributeBytesIndexedList::~AttributeBytesIndexedList() = default;

void AttributeBytesIndexedList::swap(AttributeBytesIndexedList& other) noexcept {
  m_map.swap(other.m_map);
  m_stamp = NewListStamp();
  other.m_stamp = NewListStamp();
}

// ---- adding and removing ------------------------------------------------------------

void AttributeBytesIndexedList::InsertNew(const AttributeBytesSharedPtr& attributeBytes) {
  const AttributeBytesIdOrderKey key = AttributeBytesIdOrderKey::Of(attributeBytes->GetAttributeBytesId());
  // Records read from a state come in id order: while they do, each is
  // placed at the end with one comparison; any other is placed by a search.
  const std::size_t sizeBefore = m_map.size();
  const auto position = m_lastAddedAtEnd ? m_map.emplace_hint(m_map.end(), key, attributeBytes)
                                         : m_map.emplace(key, attributeBytes).first;
  if (m_map.size() == sizeBefore) {
    HDU_THROW(CPExceptionDuplicateAttributeId,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesIndexedList::AddAttributeBytes"),
              "An entry already exists in the list for=%s! Insertion failed!\r\n",
              attributeBytes->GetAttributeBytesId().GetDebugDisplayString());
  }
  m_lastAddedAtEnd = std::next(position) == m_map.end();
}

void AttributeBytesIndexedList::AddAttributeBytes(const AttributeBytes& attributeBytes) {
  InsertNew(MakeAttributeBytesSharedPtr(attributeBytes));
}

void AttributeBytesIndexedList::AddAttributeBytes(const AttributeBytesSharedPtr& attributeBytes) {
  if (!attributeBytes) {
    HDU_THROW(CPExceptionInvalidArgumentNullPointer,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesIndexedList::AddAttributeBytes"),
              "The AttributeBytes to add is a null pointer.");
  }
  InsertNew(attributeBytes);
}

void AttributeBytesIndexedList::SetAttributeBytes(const AttributeBytes& attributeBytes) {
  SetAttributeBytes(MakeAttributeBytesSharedPtr(attributeBytes));
}

void AttributeBytesIndexedList::SetAttributeBytes(const AttributeBytesSharedPtr& attributeBytes) {
  if (!attributeBytes) {
    HDU_THROW(CPExceptionInvalidArgumentNullPointer,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesIndexedList::SetAttributeBytes"),
              "The AttributeBytes to set is a null pointer.");
  }
  const AttributeBytesIdOrderKey key = AttributeBytesIdOrderKey::Of(attributeBytes->GetAttributeBytesId());
  const auto position = m_map.lower_bound(key);
  if (position != m_map.end() && !AttributeBytesIndexedEntryCompare()(key, *position)) {
    position->record = attributeBytes;  // the same id: the key and the order hold
  } else {
    m_map.emplace_hint(position, key, attributeBytes);
  }
}

bool AttributeBytesIndexedList::RemoveAttributeBytes(const AttributeBytesId& id) {
  const auto position = m_map.find(AttributeBytesIdOrderKey::Of(id));
  if (position == m_map.end()) {
    return false;
  }
  m_map.erase(position);
  m_stamp = NewListStamp();
  return true;
}

// ---- look-ups -----------------------------------------------------------------------

const AttributeBytes& AttributeBytesIndexedList::GetAttributeBytesRef(const AttributeBytesId& id) const {
  const auto position = m_map.find(AttributeBytesIdOrderKey::Of(id));
  if (position == m_map.end()) {
    HDU_THROW(CPExceptionFeatureNotFound,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesIndexedList::GetAttributeBytesRef"),
              "Request for a non-existent attribute (%s)! Consider using the 'xxxPtr' method, instead, and check the "
              "return code.",
              id.GetDebugDisplayString());
  }
  return *position->record;
}

const AttributeBytes* AttributeBytesIndexedList::GetAttributeBytesPtr(const AttributeBytesId& id) const {
  const auto position = m_map.find(AttributeBytesIdOrderKey::Of(id));
  return position == m_map.end() ? nullptr : position->record.get();
}

AttributeBytesSharedPtr AttributeBytesIndexedList::GetAttributeBytesSharedPtr(const AttributeBytesId& id) const {
  const auto position = m_map.find(AttributeBytesIdOrderKey::Of(id));
  return position == m_map.end() ? AttributeBytesSharedPtr() : position->record;
}

const AttributeBytesValue* AttributeBytesIndexedList::GetAttributeBytesValuePtr(const AttributeBytesId& id) const {
  const AttributeBytes* record = GetAttributeBytesPtr(id);
  return record == nullptr ? nullptr : &record->GetAttributeBytesValue();
}

bool AttributeBytesIndexedList::ContainsAttributeBytes(const AttributeBytesId& id) const {
  return m_map.find(AttributeBytesIdOrderKey::Of(id)) != m_map.end();
}

// ---- walking ------------------------------------------------------------------------

std::unique_ptr<AttributeBytesListIterator> AttributeBytesIndexedList::CreateIterator() const {
  return std::make_unique<AttributeBytesIndexedListIterator>(GetIndexedListIterator());
}

AttributeBytesIndexedListIterator AttributeBytesIndexedList::GetIndexedListIterator() const noexcept {
  return AttributeBytesIndexedListIterator(m_stamp, m_map.begin());
}

AttributeBytesIndexedListIterator& AttributeBytesIndexedList::CheckIterator(AttributeBytesListIterator& iterator,
                                                                            const char* functionLabel) const {
  if (iterator.GetListIteratorKind() != ABLIK_INDEXEDLIST) {
    HDU_THROW(CPExceptionAttributeValueTypeMismatch, HDU_DEBUG_CONTEXT_IN(kSourceFile, functionLabel),
              "Incoming AttributeBytesListIterator is the wrong type for this class!");
  }
  auto& indexedIterator = static_cast<AttributeBytesIndexedListIterator&>(iterator);
  CheckIndexedListIterator(indexedIterator, functionLabel);
  return indexedIterator;
}

void AttributeBytesIndexedList::CheckIndexedListIterator(const AttributeBytesIndexedListIterator& iterator,
                                                         const char* functionLabel) const {
  if (iterator.GetListStamp() != m_stamp) {
    HDU_THROW(CPExceptionIndexOutOfBounds, HDU_DEBUG_CONTEXT_IN(kSourceFile, functionLabel),
              "Invalid iterator supplied!");
  }
}

std::unique_ptr<AttributeBytes> AttributeBytesIndexedList::GetNextAttributeBytes(
    AttributeBytesListIterator& iterator) const {
  AttributeBytesIndexedListIterator& indexedIterator =
      CheckIterator(iterator, "AttributeBytesIndexedList::GetNextAttributeBytes");
  if (indexedIterator.m_position == m_map.end()) {
    return nullptr;
  }
  auto record = std::make_unique<AttributeBytes>(*indexedIterator.m_position->record);
  ++indexedIterator.m_position;
  return record;
}

AttributeBytesSharedPtr AttributeBytesIndexedList::GetNextAttributeBytesSharedPtr(
    AttributeBytesListIterator& iterator) const {
  AttributeBytesIndexedListIterator& indexedIterator =
      CheckIterator(iterator, "AttributeBytesIndexedList::GetNextAttributeBytesSharedPtr");
  if (indexedIterator.m_position == m_map.end()) {
    return AttributeBytesSharedPtr();
  }
  return (indexedIterator.m_position++)->record;
}

AttributeBytesSharedPtr AttributeBytesIndexedList::GetNextAttributeBytesFromIndexedListIterator(
    AttributeBytesIndexedListIterator& iterator) const {
  CheckIndexedListIterator(iterator, "AttributeBytesIndexedList::GetNextAttributeBytesFromIndexedListIterator");
  if (iterator.m_position == m_map.end()) {
    return AttributeBytesSharedPtr();
  }
  return (iterator.m_position++)->record;
}

const AttributeBytes& AttributeBytesIndexedList::GetAttributeBytesRefFromIndexedListIterator(
    const AttributeBytesIndexedListIterator& iterator) const {
  CheckIndexedListIterator(iterator, "AttributeBytesIndexedList::GetAttributeBytesRefFromIndexedListIterator");
  if (iterator.m_position == m_map.end()) {
    HDU_THROW(
        CPExceptionIteratorOutOfBounds,
        HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesIndexedList::GetAttributeBytesRefFromIndexedListIterator"),
        "The iterator is at the end of the list; there is no record to return.");
  }
  return *iterator.m_position->record;
}

// ---- state --------------------------------------------------------------------------

ByteBuffer AttributeBytesIndexedList::GetAttributeBytesIndexedListState() const {
  ByteBuffer state;
  AppendAttributeBytesIndexedListState(state);
  return state;
}

void AttributeBytesIndexedList::GetAttributeBytesIndexedListState(ByteBuffer& out) const {
  ByteBuffer state;
  AppendAttributeBytesIndexedListState(state);
  out.swap(state);
}

void AttributeBytesIndexedList::AppendAttributeBytesIndexedListState(ByteBuffer& out) const {
  AttributeBytesWire::appendUInt32(out, AttributeBytesWire::kIndexedListSignature);
  AttributeBytesWire::appendUInt32(out, AttributeBytesWire::kRawListSignature);
  AppendRecordBytes(out);
}

void AttributeBytesIndexedList::AppendRecordBytes(ByteBuffer& out) const {
  for (const AttributeBytesIndexedEntry& entry : m_map) {
    entry.record->AppendAttributeBytesState(out);
  }
}

void AttributeBytesIndexedList::ImportAttributeBytesIndexedListState(const ByteBuffer& state) {
  ImportAttributeBytesIndexedListState(state.empty() ? nullptr : state.data(),
                                       AttributeBytesWire::remainingCountOf(state.size()));
}

void AttributeBytesIndexedList::ImportAttributeBytesIndexedListState(const unsigned char* state, unsigned int length) {
  const unsigned char* cursor = state;
  unsigned int remaining = state == nullptr ? 0 : length;
  const auto signature = static_cast<std::uint32_t>(AttributeBytesWire::walkLong(cursor, remaining));
  if (signature != AttributeBytesWire::kIndexedListSignature) {
    HDU_THROW(CPExceptionMissingOrBadAttributeBytesFormat,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesIndexedList::ImportAttributeBytesIndexedListState"),
              "Import request ignored. This expected signature is missing or doesn't match.");
  }
  AttributeBytesRawList rawList;
  rawList.ImportAttributeBytesRawListState(cursor, remaining);
  ImportFromRawList(rawList);
}

void AttributeBytesIndexedList::ImportAttributeBytesIndexedListState(const std::shared_ptr<ByteBuffer>& storage,
                                                                     std::size_t offset, std::size_t length,
                                                                     unsigned maximumNestingLevel) {
  const bool inside = storage && offset <= storage->size() && length <= storage->size() - offset;
  const unsigned char* cursor = inside ? storage->data() + offset : nullptr;
  unsigned int remaining = inside ? AttributeBytesWire::remainingCountOf(length) : 0;
  const auto signature = static_cast<std::uint32_t>(AttributeBytesWire::walkLong(cursor, remaining));
  if (signature != AttributeBytesWire::kIndexedListSignature) {
    HDU_THROW(CPExceptionMissingOrBadAttributeBytesFormat,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesIndexedList::ImportAttributeBytesIndexedListState"),
              "Import request ignored. This expected signature is missing or doesn't match.");
  }
  AttributeBytesRawList rawList;
  rawList.ImportAttributeBytesRawListState(storage, offset + 4, length - 4);
  rawList.SetMaximumNestingLevel(maximumNestingLevel);
  ImportFromRawList(rawList);
}

void AttributeBytesIndexedList::ImportFromRawList(const AttributeBytesRawList& rawList) {
  rawList.CheckNestingLevel("AttributeBytesIndexedList::ImportFromRawList");
  AttributeBytesIndexedList imported;
  AttributeBytesReader reader(rawList);
  while (AttributeBytesSharedPtr record = reader.ReadNextAttributeBytesSharedPtr()) {
    imported.InsertNew(record);
  }
  m_map.swap(imported.m_map);
  m_stamp = NewListStamp();
}

void AttributeBytesIndexedList::Clear() {
  m_map.clear();
  m_stamp = NewListStamp();
}

bool AttributeBytesIndexedList::IsEqual(const AttributeBytesIndexedList& other) const {
  if (m_map.size() != other.m_map.size()) {
    return false;
  }
  for (auto mine = m_map.begin(), theirs = other.m_map.begin(); mine != m_map.end(); ++mine, ++theirs) {
    if (!mine->record->IsEqual(*theirs->record)) {
      return false;
    }
  }
  return true;
}

void AttributeBytesIndexedList::AttributeBytesDump(const DumpArgs& dumpArgs,
                                                   const IAttributeBytesDebugDisplayHelper& helper) const {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  dumpArgs.writeLine(InternalHaldenCP::formatToStdString("AttributeBytesIndexedList: %lu records",
                                                         static_cast<unsigned long long>(m_map.size())));
  const DumpArgs nested = dumpArgs.nested();
  for (const AttributeBytesIndexedEntry& entry : m_map) {
    entry.record->AttributeBytesDump(nested, helper);
  }
}
