#include "attributebytes/AttributeBytesRawList.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Formatter.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesReader.h"
#include "attributebytes/AttributeBytesWire.h"

namespace {

constexpr const char* kSourceFile = "UtilitiesDll\\attributebytes\\AttributeBytesRawList";

// Lists nested inside list values are dumped down to this indentation (four
// blanks per level of nesting); deeper ones are summarised in one line, so
// that a dump of hostile bytes cannot exhaust the stack.
enum : unsigned { kMaxDumpIndent = 128 };

}  // namespace

// ---- iterator -----------------------------------------------------------------------

AttributeBytesRawListIterator::~AttributeBytesRawListIterator() = default;

std::unique_ptr<AttributeBytesListIterator> AttributeBytesRawListIterator::Clone() const {
  return std::make_unique<AttributeBytesRawListIterator>(*this);
}

// ---- construction -------------------------------------------------------------------

AttributeBytesRawList::AttributeBytesRawList() noexcept : m_stamp(NewListStamp()) {}

AttributeBytesRawList::AttributeBytesRawList(const ByteBuffer& state) : m_stamp(NewListStamp()) {
  ImportAttributeBytesRawListState(state);
}

AttributeBytesRawList::AttributeBytesRawList(const AttributeBytesList& other) : m_stamp(NewListStamp()) {
  ByteBuffer records;
  const std::unique_ptr<AttributeBytesListIterator> iterator = other.CreateIterator();
  while (const AttributeBytesSharedPtr record = other.GetNextAttributeBytesSharedPtr(*iterator)) {
    record->AppendAttributeBytesState(records);
  }
  m_size = records.size();
  m_storage = std::make_shared<ByteBuffer>(std::move(records));
}

AttributeBytesRawList::AttributeBytesRawList(const AttributeBytesRawList& other)
    : AttributeBytesList(other),
      m_storage(other.m_storage),
      m_offset(other.m_offset),
      m_size(other.m_size),
      m_stamp(NewListStamp()),
      m_nestingLevel(other.m_nestingLevel),
      m_maximumNestingLevel(other.m_maximumNestingLevel) {}

AttributeBytesRawList::AttributeBytesRawList(AttributeBytesRawList&& other) noexcept
    : m_storage(std::move(other.m_storage)),
      m_offset(other.m_offset),
      m_size(other.m_size),
      m_stamp(NewListStamp()),
      m_nestingLevel(other.m_nestingLevel),
      m_maximumNestingLevel(other.m_maximumNestingLevel) {
  other.m_storage.reset();
  other.m_offset = 0;
  other.m_size = 0;
  other.m_stamp = NewListStamp();
}

AttributeBytesRawList& AttributeBytesRawList::operator=(const AttributeBytesRawList& other) {
  if (this != &other) {
    m_storage = other.m_storage;
    m_offset = other.m_offset;
    m_size = other.m_size;
    m_nestingLevel = other.m_nestingLevel;
    m_maximumNestingLevel = other.m_maximumNestingLevel;
    m_stamp = NewListStamp();
  }
  return *this;
}

AttributeBytesRawList& AttributeBytesRawList::operator=(AttributeBytesRawList&& other) noexcept {
  if (this != &other) {
    m_storage = std::move(other.m_storage);
    m_offset = other.m_offset;
    m_size = other.m_size;
    m_nestingLevel = other.m_nestingLevel;
    m_maximumNestingLevel = other.m_maximumNestingLevel;
    other.m_storage.reset();
    other.m_offset = 0;
    other.m_size = 0;
    m_stamp = NewListStamp();
    other.m_stamp = NewListStamp();
  }
  return *this;
}

AttributeBytesRawList::~AttributeBytesRawList() = default;

void AttributeBytesRawList::swap(AttributeBytesRawList& other) noexcept {
  m_storage.swap(other.m_storage);
  std::swap(m_offset, other.m_offset);
  std::swap(m_size, other.m_size);
  std::swap(m_nestingLevel, other.m_nestingLevel);
  std::swap(m_maximumNestingLevel, other.m_maximumNestingLevel);
  m_stamp = NewListStamp();
  other.m_stamp = NewListStamp();
}

// ---- storage and nesting ------------------------------------------------------------

ByteBuffer& AttributeBytesRawList::WritableStorage(std::size_t extra) {
  // use_count() is exact here: another owner would have to copy this list,
  // which is not done while this list is being changed.
  if (!m_storage || m_storage.use_count() != 1 || m_offset + m_size != m_storage->size()) {
    ByteBuffer records;
    records.reserve(m_size + extra);
    AttributeBytesWire::appendBytes(records, RecordData(), m_size);
    m_storage = std::make_shared<ByteBuffer>(std::move(records));
    m_offset = 0;
  }
  return *m_storage;
}

void AttributeBytesRawList::SetNestedIn(const AttributeBytesSource& source) noexcept {
  m_nestingLevel = source.nestingLevel + 1;
  m_maximumNestingLevel = source.maximumNestingLevel;
}

void AttributeBytesRawList::CheckNestingLevel(const char* functionLabel) const {
  if (m_maximumNestingLevel != 0 && m_nestingLevel > m_maximumNestingLevel) {
    HDU_THROW(CPExceptionMissingOrBadAttributeBytesFormat, HDU_DEBUG_CONTEXT_IN(kSourceFile, functionLabel),
              "The records are nested in list values deeper than %u levels.", m_maximumNestingLevel);
  }
}

// ---- adding -------------------------------------------------------------------------

void AttributeBytesRawList::AddAttributeBytes(const AttributeBytes& attributeBytes) {
  // Built aside first, so that a failure (memory) leaves the list as it was.
  ByteBuffer state;
  attributeBytes.AppendAttributeBytesState(state);
  ByteBuffer& storage = WritableStorage(state.size());
  storage.append(state);
  m_size += state.size();
}

void AttributeBytesRawList::AddAttributeBytes(const AttributeBytesSharedPtr& attributeBytes) {
  if (!attributeBytes) {
    HDU_THROW(CPExceptionInvalidArgumentNullPointer,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesRawList::AddAttributeBytes"),
              "The AttributeBytes to add is a null pointer.");
  }
  AddAttributeBytes(*attributeBytes);
}

// ---- walking ------------------------------------------------------------------------

std::unique_ptr<AttributeBytesListIterator> AttributeBytesRawList::CreateIterator() const {
  return std::make_unique<AttributeBytesRawListIterator>(GetRawListIterator());
}

AttributeBytesRawListIterator AttributeBytesRawList::GetRawListIterator() const noexcept {
  return AttributeBytesRawListIterator(m_stamp, 0);
}

AttributeBytesRawListIterator& AttributeBytesRawList::CheckIterator(AttributeBytesListIterator& iterator,
                                                                    const char* functionLabel) const {
  if (iterator.GetListIteratorKind() != ABLIK_RAWLIST) {
    HDU_THROW(CPExceptionAttributeValueTypeMismatch, HDU_DEBUG_CONTEXT_IN(kSourceFile, functionLabel),
              "Incoming AttributeBytesListIterator is the wrong type for this class!");
  }
  auto& rawIterator = static_cast<AttributeBytesRawListIterator&>(iterator);
  CheckRawListIterator(rawIterator, functionLabel);
  return rawIterator;
}

void AttributeBytesRawList::CheckRawListIterator(const AttributeBytesRawListIterator& iterator,
                                                 const char* functionLabel) const {
  if (iterator.GetListStamp() != m_stamp || iterator.m_offset > m_size) {
    HDU_THROW(CPExceptionIndexOutOfBounds, HDU_DEBUG_CONTEXT_IN(kSourceFile, functionLabel),
              "Invalid iterator supplied!");
  }
  CheckNestingLevel(functionLabel);
}

std::unique_ptr<AttributeBytes> AttributeBytesRawList::GetNextAttributeBytes(
    AttributeBytesListIterator& iterator) const {
  AttributeBytesRawListIterator& rawIterator = CheckIterator(iterator, "AttributeBytesRawList::GetNextAttributeBytes");
  AttributeBytesReader reader(*this);
  reader.SetOffset(rawIterator.m_offset);
  std::unique_ptr<AttributeBytes> record = reader.ReadNextAttributeBytes();
  rawIterator.m_offset = reader.GetOffset();
  return record;
}

AttributeBytesSharedPtr AttributeBytesRawList::GetNextAttributeBytesSharedPtr(
    AttributeBytesListIterator& iterator) const {
  return GetNextAttributeBytesFromRawListIterator(
      CheckIterator(iterator, "AttributeBytesRawList::GetNextAttributeBytesSharedPtr"));
}

AttributeBytesSharedPtr AttributeBytesRawList::GetNextAttributeBytesFromRawListIterator(
    AttributeBytesRawListIterator& iterator) const {
  CheckRawListIterator(iterator, "AttributeBytesRawList::GetNextAttributeBytesFromRawListIterator");
  AttributeBytesReader reader(*this);
  reader.SetOffset(iterator.m_offset);
  AttributeBytesSharedPtr record = reader.ReadNextAttributeBytesSharedPtr();
  iterator.m_offset = reader.GetOffset();
  return record;
}

unsigned int AttributeBytesRawList::GetAttributeBytesCount() const {
  CheckNestingLevel("AttributeBytesRawList::GetAttributeBytesCount");
  AttributeBytesReader reader(*this);
  unsigned int count = 0;
  while (reader.SkipNextAttributeBytes()) {
    ++count;
  }
  return count;
}

// ---- state --------------------------------------------------------------------------

ByteBuffer AttributeBytesRawList::GetAttributeBytesRawListState() const {
  ByteBuffer state;
  AppendAttributeBytesRawListState(state);
  return state;
}

void AttributeBytesRawList::GetAttributeBytesRawListState(ByteBuffer& out) const {
  ByteBuffer state;
  AppendAttributeBytesRawListState(state);
  out.swap(state);
}

void AttributeBytesRawList::AppendAttributeBytesRawListState(ByteBuffer& out) const {
  out.reserve(out.size() + 4 + m_size);
  AttributeBytesWire::appendUInt32(out, AttributeBytesWire::kRawListSignature);
  AttributeBytesWire::appendBytes(out, RecordData(), m_size);
}

void AttributeBytesRawList::ImportAttributeBytesRawListState(const ByteBuffer& state) {
  ImportAttributeBytesRawListState(state.empty() ? nullptr : state.data(),
                                   AttributeBytesWire::remainingCountOf(state.size()));
}

namespace {

// Reads and checks the "ABRL" signature at the start of `length` bytes.
void checkRawListSignature(const unsigned char* state, unsigned int length) {
  const unsigned char* cursor = state;
  unsigned int remaining = state == nullptr ? 0 : length;
  const auto signature = static_cast<std::uint32_t>(AttributeBytesWire::walkLong(cursor, remaining));
  if (signature != AttributeBytesWire::kRawListSignature) {
    HDU_THROW(CPExceptionMissingOrBadAttributeBytesFormat,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesRawList::ImportAttributeBytesRawListState"),
              "Import request ignored. This expected signature is missing or doesn't match.");
  }
}

}  // namespace

void AttributeBytesRawList::ImportAttributeBytesRawListState(const unsigned char* state, unsigned int length) {
  checkRawListSignature(state, length);
  auto storage = std::make_shared<ByteBuffer>(state + 4, length - 4);
  m_storage = std::move(storage);
  m_offset = 0;
  m_size = length - 4;
  m_nestingLevel = 0;
  m_stamp = NewListStamp();
}

void AttributeBytesRawList::ImportAttributeBytesRawListState(const std::shared_ptr<ByteBuffer>& storage,
                                                             std::size_t offset, std::size_t length) {
  const bool inside = storage && offset <= storage->size() && length <= storage->size() - offset;
  checkRawListSignature(inside ? storage->data() + offset : nullptr,
                        inside ? AttributeBytesWire::remainingCountOf(length) : 0);
  m_storage = storage;
  m_offset = offset + 4;
  m_size = length - 4;
  m_nestingLevel = 0;
  m_stamp = NewListStamp();
}

void AttributeBytesRawList::ImportAttributeBytesRawListState(ByteBuffer&& state) {
  checkRawListSignature(state.empty() ? nullptr : state.data(), AttributeBytesWire::remainingCountOf(state.size()));
  const std::size_t size = state.size();
  m_storage = std::make_shared<ByteBuffer>(std::move(state));
  m_offset = 4;
  m_size = size - 4;
  m_nestingLevel = 0;
  m_stamp = NewListStamp();
}

void AttributeBytesRawList::ImportFromIndexedList(const AttributeBytesIndexedList& indexedList) {
  ByteBuffer records;
  indexedList.AppendRecordBytes(records);
  const std::size_t size = records.size();
  m_storage = std::make_shared<ByteBuffer>(std::move(records));
  m_offset = 0;
  m_size = size;
  m_nestingLevel = 0;
  m_stamp = NewListStamp();
}

void AttributeBytesRawList::Clear() {
  m_storage.reset();
  m_offset = 0;
  m_size = 0;
  m_stamp = NewListStamp();
}

bool AttributeBytesRawList::IsEqual(const AttributeBytesRawList& other) const noexcept {
  return AttributeBytesWire::compareBytes(RecordData(), m_size, other.RecordData(), other.m_size) == 0;
}

bool AttributeBytesRawList::LessThan(const AttributeBytesRawList& other) const noexcept {
  return AttributeBytesWire::compareBytes(RecordData(), m_size, other.RecordData(), other.m_size) < 0;
}

void AttributeBytesRawList::AttributeBytesDump(const DumpArgs& dumpArgs,
                                               const IAttributeBytesDebugDisplayHelper& helper) const {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  dumpArgs.writeLine(
      InternalHaldenCP::formatToStdString("AttributeBytesRawList: %lu bytes", static_cast<unsigned long long>(m_size)));
  if (m_size == 0) {
    return;
  }
  const DumpArgs nested = dumpArgs.nested();
  if (nested.indent() > kMaxDumpIndent || (m_maximumNestingLevel != 0 && m_nestingLevel > m_maximumNestingLevel)) {
    nested.writeLine("<records nested too deeply, not shown>");
    return;
  }
  AttributeBytesReader reader(*this);
  try {
    while (const std::unique_ptr<AttributeBytes> record = reader.ReadNextAttributeBytes()) {
      record->AttributeBytesDump(nested, helper);
    }
  } catch (const CPException& e) {
    nested.writeLine(InternalHaldenCP::formatToStdString("<damaged record at offset %lu: %s>",
                                                         static_cast<unsigned long long>(reader.GetOffset()),
                                                         e.getExceptionMessage()));
  }
}
