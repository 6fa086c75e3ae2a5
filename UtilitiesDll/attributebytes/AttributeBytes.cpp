#include "attributebytes/AttributeBytes.h"

#include "DebuggingAndExceptions/CPException.h"
#include "attributebytes/AttributeBytesIdFactory.h"
#include "attributebytes/AttributeBytesValueFactory.h"
#include "attributebytes/AttributeBytesWire.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <cstddef>
#include <utility>

namespace {
constexpr const char* kSourceFile = "UtilitiesDll\\attributebytes\\AttributeBytes";
}  // namespace

std::unique_ptr<AttributeBytesId> AttributeBytes::RequireId(std::unique_ptr<AttributeBytesId> id) {
  if (!id) {
    HDU_THROW(CPExceptionAutoPtrNull, HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytes::AttributeBytes"),
              "The AttributeBytesId given to the record is a null pointer.");
  }
  return id;
}

std::unique_ptr<AttributeBytesValue> AttributeBytes::RequireValue(std::unique_ptr<AttributeBytesValue> value) {
  if (!value) {
    HDU_THROW(CPExceptionAutoPtrNull, HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytes::SetAttributeBytesValue"),
              "The AttributeBytesValue given to the record is a null pointer.");
  }
  return value;
}

namespace {

// Rounds up to the alignment every part may need.
constexpr std::size_t alignedSize(std::size_t size) noexcept {
  return (size + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
}

// Frees a record's allocation unless it was handed on.
class BlockGuard {
 public:
  explicit BlockGuard(void* block) noexcept : m_block(block) {}
  ~BlockGuard() { ::operator delete(m_block); }
  BlockGuard(const BlockGuard&) = delete;
  BlockGuard& operator=(const BlockGuard&) = delete;
  void* release() noexcept { return std::exchange(m_block, nullptr); }

 private:
  void* m_block;
};

}  // namespace

AttributeBytes::AttributeBytes(const ByteBuffer& state) {
  const unsigned char* cursor = state.empty() ? nullptr : state.data();
  unsigned int remaining = AttributeBytesWire::remainingCountOf(state.size());
  std::unique_ptr<AttributeBytesId> id;
  std::unique_ptr<AttributeBytesValue> value;
  WalkBufferToGetParts(cursor, remaining, AttributeBytesSource(), id, value);
  m_id.reset(id.release());
  m_value.reset(value.release());
}

AttributeBytes::AttributeBytes(std::unique_ptr<AttributeBytesId> id, std::unique_ptr<AttributeBytesValue> value)
    : m_id(RequireId(std::move(id)).release()), m_value(RequireValue(std::move(value)).release()) {}

AttributeBytes::AttributeBytes(std::unique_ptr<AttributeBytesId> id, const AttributeBytesValue& value)
    : m_id(RequireId(std::move(id)).release()), m_value(value.Clone().release()) {}

AttributeBytes::AttributeBytes(const AttributeBytesId& id, const AttributeBytesValue& value)
    : m_id(id.Clone().release()), m_value(value.Clone().release()) {}

AttributeBytes::AttributeBytes(const AttributeBytes& other)
    : m_id(other.m_id->Clone().release()), m_value(other.m_value->Clone().release()) {}

AttributeBytes::AttributeBytes(PartPointer<AttributeBytesId> id, PartPointer<AttributeBytesValue> value) noexcept
    : m_id(std::move(id)), m_value(std::move(value)) {}

AttributeBytes& AttributeBytes::operator=(const AttributeBytes& other) {
  if (this != &other) {
    std::unique_ptr<AttributeBytesId> id = other.m_id->Clone();
    std::unique_ptr<AttributeBytesValue> value = other.m_value->Clone();
    m_id = PartPointer<AttributeBytesId>(id.release());
    m_value = PartPointer<AttributeBytesValue>(value.release());
  }
  return *this;
}

AttributeBytes::~AttributeBytes() = default;

void AttributeBytes::swap(AttributeBytes& other) {
  if (HasPartsInPlace() || other.HasPartsInPlace()) {
    // A part inside a record's own allocation cannot leave it: exchange
    // copies (all made before anything changes).
    AttributeBytes mine(*this);
    AttributeBytes theirs(other);
    m_id.swap(theirs.m_id);
    m_value.swap(theirs.m_value);
    other.m_id.swap(mine.m_id);
    other.m_value.swap(mine.m_value);
    return;
  }
  m_id.swap(other.m_id);
  m_value.swap(other.m_value);
}

void AttributeBytes::SetAttributeBytesValue(std::unique_ptr<AttributeBytesValue> value) {
  m_value = PartPointer<AttributeBytesValue>(RequireValue(std::move(value)).release());
}

void AttributeBytes::SetAttributeBytesValue(const AttributeBytesValue& value) {
  m_value = PartPointer<AttributeBytesValue>(value.Clone().release());
}

ByteBuffer AttributeBytes::GetAttributeBytesState() const {
  ByteBuffer state;
  AppendAttributeBytesState(state);
  return state;
}

void AttributeBytes::GetAttributeBytesState(ByteBuffer& out) const {
  ByteBuffer state;
  AppendAttributeBytesState(state);
  out.swap(state);
}

void AttributeBytes::AppendAttributeBytesState(ByteBuffer& out) const {
  m_id->AppendTypeAndIdentifierState(out);
  m_value->AppendTypeAndValueState(out);
}

void AttributeBytes::ImportAttributeBytesState(const ByteBuffer& state) {
  const unsigned char* cursor = state.empty() ? nullptr : state.data();
  unsigned int remaining = AttributeBytesWire::remainingCountOf(state.size());
  WalkBufferToSetAttributeBytes(cursor, remaining);
}

void AttributeBytes::WalkBufferToSetAttributeBytes(const unsigned char*& cursor, unsigned int& remaining,
                                                   const AttributeBytesSource& source) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  std::unique_ptr<AttributeBytesId> id;
  std::unique_ptr<AttributeBytesValue> value;
  WalkBufferToGetParts(walk, left, source, id, value);
  m_id = PartPointer<AttributeBytesId>(id.release());
  m_value = PartPointer<AttributeBytesValue>(value.release());
  cursor = walk;
  remaining = left;
}

template <class Result>
Result AttributeBytes::WalkBufferToCreateInOneBlock(const unsigned char*& cursor, unsigned int& remaining,
                                                    const AttributeBytesSource& source) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  const auto idTag = static_cast<AttributeBytesIdEnum>(AttributeBytesWire::walkByte(walk, left));
  // The block: the record, the id, room for the largest value. The value's
  // tag is only known once the id is read.
  const std::size_t idOffset = alignedSize(sizeof(AttributeBytes));
  const std::size_t valueOffset = idOffset + alignedSize(AttributeBytesIdFactory::GetAttributeBytesIdSize(idTag));
  BlockGuard block(::operator new(valueOffset + AttributeBytesValueFactory::GetLargestAttributeBytesValueSize()));
  auto* const memory = static_cast<unsigned char*>(block.release());
  BlockGuard freeOnFailure(memory);

  PartPointer<AttributeBytesId> id(AttributeBytesIdFactory::CreateAttributeBytesIdAt(idTag, memory + idOffset),
                                   PartDeleter{true});
  id->WalkBufferToSetIdentifier(walk, left);
  const auto valueTag = static_cast<AttributeBytesValueEnum>(AttributeBytesWire::walkByte(walk, left));
  PartPointer<AttributeBytesValue> value(
      AttributeBytesValueFactory::CreateAttributeBytesValueAt(valueTag, memory + valueOffset), PartDeleter{true});
  value->SetSpecified(AttributeBytesWire::walkByte(walk, left) == 0);
  if (valueTag == ABVTE_LIST) {
    static_cast<AttributeBytesListValue&>(*value).WalkBufferToSetValue(walk, left, source);
  } else {
    value->WalkBufferToSetValue(walk, left);
  }

  AttributeBytes* record = ::new (memory) AttributeBytes(std::move(id), std::move(value));
  freeOnFailure.release();
  Result result(record);  // a shared pointer deletes the record should it fail
  cursor = walk;
  remaining = left;
  return result;
}

std::unique_ptr<AttributeBytes> AttributeBytes::WalkBufferToCreateAttributeBytes(const unsigned char*& cursor,
                                                                                 unsigned int& remaining,
                                                                                 const AttributeBytesSource& source) {
  return WalkBufferToCreateInOneBlock<std::unique_ptr<AttributeBytes>>(cursor, remaining, source);
}

AttributeBytesSharedPtr AttributeBytes::WalkBufferToCreateAttributeBytesSharedPtr(const unsigned char*& cursor,
                                                                                  unsigned int& remaining,
                                                                                  const AttributeBytesSource& source) {
  return WalkBufferToCreateInOneBlock<AttributeBytesSharedPtr>(cursor, remaining, source);
}

void AttributeBytes::WalkBufferToInspectAttributeBytes(
    const unsigned char*& cursor, unsigned int& remaining, const AttributeBytesSource& source,
    const std::function<void(const AttributeBytesId&, const AttributeBytesValue&)>& inspect) {
  alignas(std::max_align_t) unsigned char idMemory[AttributeBytesIdFactory::kLargestIdSize];
  alignas(std::max_align_t) unsigned char valueMemory[AttributeBytesValueFactory::kLargestValueSizeBound];
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  const auto idTag = static_cast<AttributeBytesIdEnum>(AttributeBytesWire::walkByte(walk, left));
  PartPointer<AttributeBytesId> id(AttributeBytesIdFactory::CreateAttributeBytesIdAt(idTag, idMemory),
                                   PartDeleter{true});
  id->WalkBufferToSetIdentifier(walk, left);
  const auto valueTag = static_cast<AttributeBytesValueEnum>(AttributeBytesWire::walkByte(walk, left));
  PartPointer<AttributeBytesValue> value(AttributeBytesValueFactory::CreateAttributeBytesValueAt(valueTag, valueMemory),
                                         PartDeleter{true});
  value->SetSpecified(AttributeBytesWire::walkByte(walk, left) == 0);
  if (valueTag == ABVTE_LIST) {
    static_cast<AttributeBytesListValue&>(*value).WalkBufferToSetValue(walk, left, source);
  } else {
    value->WalkBufferToSetValue(walk, left);
  }
  inspect(*id, *value);
  cursor = walk;
  remaining = left;
}

void AttributeBytes::WalkBufferToGetParts(const unsigned char*& cursor, unsigned int& remaining,
                                          const AttributeBytesSource& source, std::unique_ptr<AttributeBytesId>& idOut,
                                          std::unique_ptr<AttributeBytesValue>& valueOut) {
  const auto idTag = static_cast<AttributeBytesIdEnum>(AttributeBytesWire::walkByte(cursor, remaining));
  std::unique_ptr<AttributeBytesId> id = AttributeBytesIdFactory::CreateAttributeBytesId(idTag);
  id->WalkBufferToSetIdentifier(cursor, remaining);

  const auto valueTag = static_cast<AttributeBytesValueEnum>(AttributeBytesWire::walkByte(cursor, remaining));
  std::unique_ptr<AttributeBytesValue> value = AttributeBytesValueFactory::CreateAttributeBytesValue(
      valueTag, NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
  value->SetSpecified(AttributeBytesWire::walkByte(cursor, remaining) == 0);
  if (valueTag == ABVTE_LIST) {
    static_cast<AttributeBytesListValue&>(*value).WalkBufferToSetValue(cursor, remaining, source);
  } else {
    value->WalkBufferToSetValue(cursor, remaining);
  }

  idOut = std::move(id);
  valueOut = std::move(value);
}

bool AttributeBytes::IsEqual(const AttributeBytes& other) const {
  return m_id->IsEqual(*other.m_id) && m_value->IsEqual(*other.m_value);
}

std::string AttributeBytes::GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const {
  return m_value->GetDisplayLine(std::string(), m_id->GetDebugDisplayString(helper), helper);
}

std::string AttributeBytes::GetDebugDisplayString() const {
  return GetDebugDisplayString(NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
}

void AttributeBytes::AttributeBytesDump(const DumpArgs& dumpArgs,
                                        const IAttributeBytesDebugDisplayHelper& helper) const {
  if (dumpArgs.sink() != nullptr) {
    m_value->AttributeBytesDump(dumpArgs, m_id->GetDebugDisplayString(helper), helper);
  }
}
