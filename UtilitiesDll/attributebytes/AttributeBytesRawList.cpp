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
  const std::unique_ptr<AttributeBytesListIterator> iterator = other.CreateIterator();
  while (const AttributeBytesSharedPtr record = other.GetNextAttributeBytesSharedPtr(*iterator)) {
    record->AppendAttributeBytesState(m_records);
  }
}

AttributeBytesRawList::AttributeBytesRawList(const AttributeBytesRawList& other)
    : AttributeBytesList(other), m_records(other.m_records), m_stamp(NewListStamp()) {}

AttributeBytesRawList::AttributeBytesRawList(AttributeBytesRawList&& other) noexcept
    : m_records(std::move(other.m_records)), m_stamp(NewListStamp()) {
  other.m_records.clear();
  other.m_stamp = NewListStamp();
}

AttributeBytesRawList& AttributeBytesRawList::operator=(const AttributeBytesRawList& other) {
  if (this != &other) {
    ByteBuffer records(other.m_records);
    m_records.swap(records);
    m_stamp = NewListStamp();
  }
  return *this;
}

AttributeBytesRawList& AttributeBytesRawList::operator=(AttributeBytesRawList&& other) noexcept {
  if (this != &other) {
    m_records = std::move(other.m_records);
    other.m_records.clear();
    m_stamp = NewListStamp();
    other.m_stamp = NewListStamp();
  }
  return *this;
}

AttributeBytesRawList::~AttributeBytesRawList() = default;

void AttributeBytesRawList::swap(AttributeBytesRawList& other) noexcept {
  m_records.swap(other.m_records);
  m_stamp = NewListStamp();
  other.m_stamp = NewListStamp();
}

// ---- adding -------------------------------------------------------------------------

void AttributeBytesRawList::AddAttributeBytes(const AttributeBytes& attributeBytes) {
  // Built aside first, so that a failure (memory) leaves the list as it was.
  ByteBuffer state;
  attributeBytes.AppendAttributeBytesState(state);
  m_records.append(state);
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
  if (iterator.GetListStamp() != m_stamp || iterator.m_offset > m_records.size()) {
    HDU_THROW(CPExceptionIndexOutOfBounds, HDU_DEBUG_CONTEXT_IN(kSourceFile, functionLabel),
              "Invalid iterator supplied!");
  }
}

std::unique_ptr<AttributeBytes> AttributeBytesRawList::GetNextAttributeBytes(
    AttributeBytesListIterator& iterator) const {
  AttributeBytesRawListIterator& rawIterator = CheckIterator(iterator, "AttributeBytesRawList::GetNextAttributeBytes");
  AttributeBytesReader reader(m_records);
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
  AttributeBytesReader reader(m_records);
  reader.SetOffset(iterator.m_offset);
  AttributeBytesSharedPtr record = reader.ReadNextAttributeBytesSharedPtr();
  iterator.m_offset = reader.GetOffset();
  return record;
}

unsigned int AttributeBytesRawList::GetAttributeBytesCount() const {
  AttributeBytesReader reader(m_records);
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
  AttributeBytesWire::appendUInt32(out, AttributeBytesWire::kRawListSignature);
  out.append(m_records);
}

void AttributeBytesRawList::ImportAttributeBytesRawListState(const ByteBuffer& state) {
  ImportAttributeBytesRawListState(state.empty() ? nullptr : state.data(),
                                   AttributeBytesWire::remainingCountOf(state.size()));
}

void AttributeBytesRawList::ImportAttributeBytesRawListState(const unsigned char* state, unsigned int length) {
  const unsigned char* cursor = state;
  unsigned int remaining = state == nullptr ? 0 : length;
  const auto signature = static_cast<std::uint32_t>(ByteBuffer::WalkBufferToGetLong(cursor, remaining));
  if (signature != AttributeBytesWire::kRawListSignature) {
    HDU_THROW(CPExceptionMissingOrBadAttributeBytesFormat,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesRawList::ImportAttributeBytesRawListState"),
              "Import request ignored. This expected signature is missing or doesn't match.");
  }
  ByteBuffer records(cursor, remaining);
  m_records.swap(records);
  m_stamp = NewListStamp();
}

void AttributeBytesRawList::ImportFromIndexedList(const AttributeBytesIndexedList& indexedList) {
  ByteBuffer records;
  indexedList.AppendRecordBytes(records);
  m_records.swap(records);
  m_stamp = NewListStamp();
}

void AttributeBytesRawList::Clear() {
  m_records.clear();
  m_stamp = NewListStamp();
}

bool AttributeBytesRawList::IsEqual(const AttributeBytesRawList& other) const noexcept {
  return AttributeBytesWire::compareBytes(m_records.data(), m_records.size(), other.m_records.data(),
                                          other.m_records.size()) == 0;
}

bool AttributeBytesRawList::LessThan(const AttributeBytesRawList& other) const noexcept {
  return AttributeBytesWire::compareBytes(m_records.data(), m_records.size(), other.m_records.data(),
                                          other.m_records.size()) < 0;
}

void AttributeBytesRawList::AttributeBytesDump(const DumpArgs& dumpArgs,
                                               const IAttributeBytesDebugDisplayHelper& helper) const {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  dumpArgs.writeLine(InternalHaldenCP::formatToStdString("AttributeBytesRawList: %lu bytes",
                                                         static_cast<unsigned long long>(m_records.size())));
  if (m_records.empty()) {
    return;
  }
  const DumpArgs nested = dumpArgs.nested();
  if (nested.indent() > kMaxDumpIndent) {
    nested.writeLine("<records nested too deeply, not shown>");
    return;
  }
  AttributeBytesReader reader(m_records);
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
