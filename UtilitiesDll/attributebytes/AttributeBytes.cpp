#include "attributebytes/AttributeBytes.h"

#include "DebuggingAndExceptions/CPException.h"
#include "attributebytes/AttributeBytesIdFactory.h"
#include "attributebytes/AttributeBytesValueFactory.h"
#include "attributebytes/AttributeBytesWire.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

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

AttributeBytes::AttributeBytes(const ByteBuffer& state) {
  const unsigned char* cursor = state.empty() ? nullptr : state.data();
  unsigned int remaining = AttributeBytesWire::remainingCountOf(state.size());
  WalkBufferToGetParts(cursor, remaining, AttributeBytesSource(), m_id, m_value);
}

AttributeBytes::AttributeBytes(std::unique_ptr<AttributeBytesId> id, std::unique_ptr<AttributeBytesValue> value)
    : m_id(RequireId(std::move(id))), m_value(RequireValue(std::move(value))) {}

AttributeBytes::AttributeBytes(std::unique_ptr<AttributeBytesId> id, const AttributeBytesValue& value)
    : m_id(RequireId(std::move(id))), m_value(value.Clone()) {}

AttributeBytes::AttributeBytes(const AttributeBytesId& id, const AttributeBytesValue& value)
    : m_id(id.Clone()), m_value(value.Clone()) {}

AttributeBytes::AttributeBytes(const AttributeBytes& other)
    : m_id(other.m_id->Clone()), m_value(other.m_value->Clone()) {}

AttributeBytes& AttributeBytes::operator=(const AttributeBytes& other) {
  if (this != &other) {
    AttributeBytes copy(other);
    swap(copy);
  }
  return *this;
}

AttributeBytes::~AttributeBytes() = default;

void AttributeBytes::swap(AttributeBytes& other) noexcept {
  m_id.swap(other.m_id);
  m_value.swap(other.m_value);
}

void AttributeBytes::SetAttributeBytesValue(std::unique_ptr<AttributeBytesValue> value) {
  m_value = RequireValue(std::move(value));
}

void AttributeBytes::SetAttributeBytesValue(const AttributeBytesValue& value) {
  m_value = value.Clone();
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
  m_id = std::move(id);
  m_value = std::move(value);
  cursor = walk;
  remaining = left;
}

std::unique_ptr<AttributeBytes> AttributeBytes::WalkBufferToCreateAttributeBytes(const unsigned char*& cursor,
                                                                                 unsigned int& remaining,
                                                                                 const AttributeBytesSource& source) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  std::unique_ptr<AttributeBytesId> id;
  std::unique_ptr<AttributeBytesValue> value;
  WalkBufferToGetParts(walk, left, source, id, value);
  auto record = std::make_unique<AttributeBytes>(std::move(id), std::move(value));
  cursor = walk;
  remaining = left;
  return record;
}

AttributeBytesSharedPtr AttributeBytes::WalkBufferToCreateAttributeBytesSharedPtr(const unsigned char*& cursor,
                                                                                  unsigned int& remaining,
                                                                                  const AttributeBytesSource& source) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  std::unique_ptr<AttributeBytesId> id;
  std::unique_ptr<AttributeBytesValue> value;
  WalkBufferToGetParts(walk, left, source, id, value);
  AttributeBytesSharedPtr record = MakeAttributeBytesSharedPtr(std::move(id), std::move(value));
  cursor = walk;
  remaining = left;
  return record;
}

void AttributeBytes::WalkBufferToGetParts(const unsigned char*& cursor, unsigned int& remaining,
                                          const AttributeBytesSource& source, std::unique_ptr<AttributeBytesId>& idOut,
                                          std::unique_ptr<AttributeBytesValue>& valueOut) {
  const auto idTag = static_cast<AttributeBytesIdEnum>(ByteBuffer::WalkBufferToGetByte(cursor, remaining));
  std::unique_ptr<AttributeBytesId> id = AttributeBytesIdFactory::CreateAttributeBytesId(idTag);
  id->WalkBufferToSetIdentifier(cursor, remaining);

  const auto valueTag = static_cast<AttributeBytesValueEnum>(ByteBuffer::WalkBufferToGetByte(cursor, remaining));
  std::unique_ptr<AttributeBytesValue> value = AttributeBytesValueFactory::CreateAttributeBytesValue(
      valueTag, NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
  value->SetSpecified(ByteBuffer::WalkBufferToGetByte(cursor, remaining) == 0);
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
