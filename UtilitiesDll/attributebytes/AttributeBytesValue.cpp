#include "attributebytes/AttributeBytesValue.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Formatter.h"
#include "attributebytes/AttributeBytesIdFactory.h"
#include "attributebytes/AttributeBytesWire.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <cstring>
#include <tuple>

namespace {

constexpr const char* kSourceFile = "UtilitiesDll\\attributebytes\\AttributeBytesValue";

using InternalHaldenCP::formatToStdString;

template <class T>
int threeWay(const T& a, const T& b) noexcept {
  return a < b ? -1 : (b < a ? 1 : 0);
}

// Writes one ready-made line (indentation included) to a dump's sink.
void writeLineAsIs(const DumpArgs& dumpArgs, const std::string& line) {
  if (std::string* sink = dumpArgs.sink()) {
    sink->append(line);
    sink->push_back('\n');
  }
}

std::string valueLine(const std::string& indentation, const std::string& idText, const std::string& valueText) {
  return formatToStdString("%s%s value=%s", indentation, idText, valueText);
}

}  // namespace

// ---- AttributeBytesValue ------------------------------------------------------------

AttributeBytesValue::~AttributeBytesValue() = default;

bool AttributeBytesValue::IsEqual(const AttributeBytesValue& other) const {
  return GetAttributeBytesValueType() == other.GetAttributeBytesValueType() && m_specified == other.m_specified &&
         ComparePayload(other) == 0;
}

bool AttributeBytesValue::LessThan(const AttributeBytesValue& other) const {
  if (GetAttributeBytesValueType() != other.GetAttributeBytesValueType()) {
    return GetAttributeBytesValueType() < other.GetAttributeBytesValueType();
  }
  const int payload = ComparePayload(other);
  if (payload != 0) {
    return payload < 0;
  }
  return m_specified < other.m_specified;
}

void AttributeBytesValue::AttributeBytesDump(const DumpArgs& dumpArgs,
                                             const IAttributeBytesDebugDisplayHelper& helper) const {
  AttributeBytesDump(dumpArgs, GetTypeDebugDisplayString(), helper);
}

void AttributeBytesValue::AttributeBytesDump(const DumpArgs& dumpArgs, const std::string& idText,
                                             const IAttributeBytesDebugDisplayHelper& helper) const {
  if (dumpArgs.sink() != nullptr) {
    writeLineAsIs(dumpArgs, GetDisplayLine(std::string(dumpArgs.indent(), ' '), idText, helper));
  }
}

ByteBuffer AttributeBytesValue::GetValueState() const {
  ByteBuffer payload;
  AppendValueState(payload);
  return payload;
}

void AttributeBytesValue::WalkBufferToSetValue(unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* constCursor = cursor;
  WalkBufferToSetValue(constCursor, remaining);
  cursor += constCursor - cursor;
}

ByteBuffer AttributeBytesValue::GetTypeAndValueState() const {
  ByteBuffer state;
  AppendTypeAndValueState(state);
  return state;
}

void AttributeBytesValue::GetTypeAndValueState(ByteBuffer& out) const {
  ByteBuffer state;
  AppendTypeAndValueState(state);
  out.swap(state);
}

void AttributeBytesValue::AppendTypeAndValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendByte(out, static_cast<unsigned char>(GetAttributeBytesValueType()));
  AttributeBytesWire::appendByte(out, m_specified ? 0 : 1);
  AppendValueState(out);
}

unsigned int AttributeBytesValue::GetTypeAndValueState(unsigned char* destination, unsigned int capacity) const {
  const ByteBuffer state = GetTypeAndValueState();
  if (capacity < state.size()) {
    HDU_THROW(CPExceptionNotEnoughBytesForDesiredDataType,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesValue::GetTypeAndValueState"),
              "Cannot copy the AttributeBytesValue state: it needs %ld bytes, but the destination holds only %ld "
              "bytes.",
              static_cast<long long>(state.size()), static_cast<long long>(capacity));
  }
  if (destination == nullptr) {
    HDU_THROW(CPExceptionInvalidArgumentNullPointer,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesValue::GetTypeAndValueState"),
              "The destination of the AttributeBytesValue state is a null pointer.");
  }
  std::memcpy(destination, state.data(), state.size());
  return static_cast<unsigned int>(state.size());
}

const AttributeBytesListValue& AttributeBytesValue::GetListValue() const {
  if (!IsList()) {
    HDU_THROW(CPExceptionAttributeValueTypeMismatch,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesValue::GetListValue"),
              "Can't convert a '%s' object to an AttributeBytesListValue!", GetTypeDebugDisplayString());
  }
  return static_cast<const AttributeBytesListValue&>(*this);
}

AttributeBytesListValue& AttributeBytesValue::GetListValue() {
  return const_cast<AttributeBytesListValue&>(static_cast<const AttributeBytesValue&>(*this).GetListValue());
}

std::string AttributeBytesValue::GetDisplayLine(const std::string& indentation, const std::string& idText,
                                                const IAttributeBytesDebugDisplayHelper& helper) const {
  std::string line = FormatValueLine(indentation, idText, helper);
  if (!m_specified) {
    line += " <unspecified>";
  }
  return line;
}

const char* AttributeBytesValue::GetTypeDebugDisplayString(AttributeBytesValueEnum type) noexcept {
  switch (type) {
    case ABVTE_UNSPECIFIED:
      return "ABVTE_UNSPECIFIED";
    case ABVTE_OPTION:
      return "ABVTE_OPTION";
    case ABVTE_INTEGER:
      return "ABVTE_INTEGER";
    case ABVTE_STRING:
      return "ABVTE_STRING";
    case ABVTE_BOOLEAN:
      return "ABVTE_BOOLEAN";
    case ABVTE_RANGE:
      return "ABVTE_RANGE";
    case ABVTE_RANGEOFDIMENSION:
      return "ABVTE_RANGEOFDIMENSION";
    case ABVTE_DIMENSION:
      return "ABVTE_DIMENSION";
    case ABVTE_RESOLUTION:
      return "ABVTE_RESOLUTION";
    case ABVTE_DATABLOB:
      return "ABVTE_DATABLOB";
    case ABVTE_LIST:
      return "ABVTE_LIST";
    case ABVTE_DATETIME:
      return "ABVTE_DATETIME";
  }
  return "UNKNOWN!";
}

// ---- option -------------------------------------------------------------------------

namespace {

// What a default option value names (held by no object until changed).
const AttributeBytesId& defaultOptionId() noexcept {
  static const AttributeBytesValueId kValueIdZero;
  return kValueIdZero;
}

}  // namespace

AttributeBytesOptionValue::AttributeBytesOptionValue() noexcept : AttributeBytesValue(false) {}

const AttributeBytesId& AttributeBytesOptionValue::GetValue() const noexcept {
  return m_id ? *m_id : defaultOptionId();
}

AttributeBytesOptionValue::AttributeBytesOptionValue(std::unique_ptr<AttributeBytesId> id, bool specified)
    : AttributeBytesValue(specified) {
  SetValue(std::move(id));
}

AttributeBytesOptionValue::AttributeBytesOptionValue(const AttributeBytesId& id, bool specified)
    : AttributeBytesValue(specified), m_id(id.Clone()) {}

AttributeBytesOptionValue::AttributeBytesOptionValue(const AttributeBytesOptionValue& other)
    : AttributeBytesValue(other), m_id(other.m_id ? other.m_id->Clone() : nullptr) {}

AttributeBytesOptionValue& AttributeBytesOptionValue::operator=(const AttributeBytesOptionValue& other) {
  if (this != &other) {
    std::unique_ptr<AttributeBytesId> id = other.m_id ? other.m_id->Clone() : nullptr;
    AttributeBytesValue::operator=(other);
    m_id = std::move(id);
  }
  return *this;
}

AttributeBytesOptionValue::~AttributeBytesOptionValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesOptionValue::Clone() const {
  return std::make_unique<AttributeBytesOptionValue>(*this);
}

void AttributeBytesOptionValue::SetValue(std::unique_ptr<AttributeBytesId> id) {
  if (!id) {
    HDU_THROW(CPExceptionAutoPtrNull, HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesOptionValue::SetValue"),
              "The AttributeBytesId given to the option value is a null pointer.");
  }
  m_id = std::move(id);
}

void AttributeBytesOptionValue::SetValue(const AttributeBytesId& id) {
  m_id = id.Clone();
}

const AttributeBytesFeatureId& AttributeBytesOptionValue::GetFeatureIdValue() const {
  const AttributeBytesId& id = GetValue();
  if (id.GetAttributeBytesIdType() != ABIDE_FEATURE) {
    HDU_THROW(CPExceptionAttributeValueTypeMismatch,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesOptionValue::GetFeatureIdValue"),
              "The AttributeBytesId value is of a different type (%s) than expected by this method.",
              id.GetTypeDebugDisplayString());
  }
  return static_cast<const AttributeBytesFeatureId&>(id);
}

const AttributeBytesValueId& AttributeBytesOptionValue::GetValueIdValue() const {
  const AttributeBytesId& id = GetValue();
  if (id.GetAttributeBytesIdType() != ABIDE_VALUE) {
    HDU_THROW(CPExceptionAttributeValueTypeMismatch,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesOptionValue::GetValueIdValue"),
              "The AttributeBytesId value is of a different type (%s) than expected by this method.",
              id.GetTypeDebugDisplayString());
  }
  return static_cast<const AttributeBytesValueId&>(id);
}

void AttributeBytesOptionValue::AppendValueState(ByteBuffer& out) const {
  GetValue().AppendTypeAndIdentifierState(out);
}

void AttributeBytesOptionValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  const auto tag = static_cast<AttributeBytesIdEnum>(AttributeBytesWire::walkByte(walk, left));
  std::unique_ptr<AttributeBytesId> id = AttributeBytesIdFactory::CreateAttributeBytesId(tag);
  id->WalkBufferToSetIdentifier(walk, left);
  m_id = std::move(id);
  cursor = walk;
  remaining = left;
}

int AttributeBytesOptionValue::ComparePayload(const AttributeBytesValue& other) const {
  const AttributeBytesId& mine = GetValue();
  const AttributeBytesId& otherId = static_cast<const AttributeBytesOptionValue&>(other).GetValue();
  if (mine.LessThan(otherId)) {
    return -1;
  }
  return otherId.LessThan(mine) ? 1 : 0;
}

std::string AttributeBytesOptionValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                       const IAttributeBytesDebugDisplayHelper& helper) const {
  return valueLine(indentation, idText, GetValue().GetDebugDisplayString(helper));
}

// ---- integer ------------------------------------------------------------------------

AttributeBytesIntegerValue::AttributeBytesIntegerValue(long value, bool specified) noexcept
    : AttributeBytesValue(specified), m_value(AttributeBytesWire::toLong32(value)) {}

AttributeBytesIntegerValue::~AttributeBytesIntegerValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesIntegerValue::Clone() const {
  return std::make_unique<AttributeBytesIntegerValue>(*this);
}

void AttributeBytesIntegerValue::SetValue(long value) noexcept {
  m_value = AttributeBytesWire::toLong32(value);
}

void AttributeBytesIntegerValue::AppendValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendLong32(out, m_value);
}

void AttributeBytesIntegerValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  m_value = AttributeBytesWire::walkLong(cursor, remaining);  // consumes nothing when it throws
}

int AttributeBytesIntegerValue::ComparePayload(const AttributeBytesValue& other) const {
  return threeWay(m_value, static_cast<const AttributeBytesIntegerValue&>(other).m_value);
}

std::string AttributeBytesIntegerValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                        const IAttributeBytesDebugDisplayHelper&) const {
  return valueLine(indentation, idText, std::to_string(m_value));
}

// ---- string -------------------------------------------------------------------------

AttributeBytesStringValue::AttributeBytesStringValue(const CXString& value, bool specified)
    : AttributeBytesValue(specified), m_value(value) {}

AttributeBytesStringValue::~AttributeBytesStringValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesStringValue::Clone() const {
  return std::make_unique<AttributeBytesStringValue>(*this);
}

void AttributeBytesStringValue::AppendValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendCountedString(out, m_value);
}

void AttributeBytesStringValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  CXString value = ByteBuffer::WalkBufferToGetCountedString(walk, left);
  m_value = std::move(value);
  cursor = walk;
  remaining = left;
}

int AttributeBytesStringValue::ComparePayload(const AttributeBytesValue& other) const {
  return threeWay(m_value, static_cast<const AttributeBytesStringValue&>(other).m_value);
}

std::string AttributeBytesStringValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                       const IAttributeBytesDebugDisplayHelper&) const {
  return formatToStdString("%s%s value='%s'", indentation, idText, m_value.toUtf8());
}

// ---- boolean ------------------------------------------------------------------------

AttributeBytesBooleanValue::~AttributeBytesBooleanValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesBooleanValue::Clone() const {
  return std::make_unique<AttributeBytesBooleanValue>(*this);
}

void AttributeBytesBooleanValue::AppendValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendByte(out, m_value ? 1 : 0);
}

void AttributeBytesBooleanValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  m_value = AttributeBytesWire::walkBool(cursor, remaining);
}

int AttributeBytesBooleanValue::ComparePayload(const AttributeBytesValue& other) const {
  return threeWay(m_value, static_cast<const AttributeBytesBooleanValue&>(other).m_value);
}

std::string AttributeBytesBooleanValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                        const IAttributeBytesDebugDisplayHelper&) const {
  return formatToStdString("%s%s value=%s", indentation, idText, m_value ? "TRUE" : "FALSE");
}

// ---- range --------------------------------------------------------------------------

AttributeBytesRangeValue::AttributeBytesRangeValue(long first, long second, bool specified) noexcept
    : AttributeBytesValue(specified),
      m_first(AttributeBytesWire::toLong32(first)),
      m_second(AttributeBytesWire::toLong32(second)) {}

AttributeBytesRangeValue::~AttributeBytesRangeValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesRangeValue::Clone() const {
  return std::make_unique<AttributeBytesRangeValue>(*this);
}

void AttributeBytesRangeValue::GetValue(long& first, long& second) const noexcept {
  first = m_first;
  second = m_second;
}

void AttributeBytesRangeValue::SetValue(long first, long second) noexcept {
  m_first = AttributeBytesWire::toLong32(first);
  m_second = AttributeBytesWire::toLong32(second);
}

void AttributeBytesRangeValue::AppendValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendLong32(out, m_first);
  AttributeBytesWire::appendLong32(out, m_second);
}

void AttributeBytesRangeValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  const long first = AttributeBytesWire::walkLong(walk, left);
  const long second = AttributeBytesWire::walkLong(walk, left);
  m_first = first;
  m_second = second;
  cursor = walk;
  remaining = left;
}

int AttributeBytesRangeValue::ComparePayload(const AttributeBytesValue& other) const {
  const auto& that = static_cast<const AttributeBytesRangeValue&>(other);
  return threeWay(std::tie(m_first, m_second), std::tie(that.m_first, that.m_second));
}

std::string AttributeBytesRangeValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                      const IAttributeBytesDebugDisplayHelper&) const {
  return formatToStdString("%s%s value=[%ld, %ld]", indentation, idText, m_first, m_second);
}

// ---- range of dimension -------------------------------------------------------------

AttributeBytesRangeOfDimensionValue::~AttributeBytesRangeOfDimensionValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesRangeOfDimensionValue::Clone() const {
  return std::make_unique<AttributeBytesRangeOfDimensionValue>(*this);
}

void AttributeBytesRangeOfDimensionValue::GetValue(Dimension& first, Dimension& second) const noexcept {
  first = m_first;
  second = m_second;
}

void AttributeBytesRangeOfDimensionValue::SetValue(const Dimension& first, const Dimension& second) noexcept {
  m_first = first;
  m_second = second;
}

void AttributeBytesRangeOfDimensionValue::AppendValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendUInt32(out, static_cast<std::uint32_t>(m_first.GetStorageValue()));
  AttributeBytesWire::appendUInt32(out, static_cast<std::uint32_t>(m_second.GetStorageValue()));
}

void AttributeBytesRangeOfDimensionValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  const auto first = static_cast<std::int32_t>(AttributeBytesWire::walkLong(walk, left));
  const auto second = static_cast<std::int32_t>(AttributeBytesWire::walkLong(walk, left));
  m_first = Dimension::FromStorageValue(first);
  m_second = Dimension::FromStorageValue(second);
  cursor = walk;
  remaining = left;
}

int AttributeBytesRangeOfDimensionValue::ComparePayload(const AttributeBytesValue& other) const {
  const auto& that = static_cast<const AttributeBytesRangeOfDimensionValue&>(other);
  return threeWay(std::make_tuple(m_first.GetStorageValue(), m_second.GetStorageValue()),
                  std::make_tuple(that.m_first.GetStorageValue(), that.m_second.GetStorageValue()));
}

std::string AttributeBytesRangeOfDimensionValue::FormatValueLine(const std::string& indentation,
                                                                 const std::string& idText,
                                                                 const IAttributeBytesDebugDisplayHelper&) const {
  return formatToStdString("%s%s value=[%s, %s]", indentation, idText, m_first.GetDisplayString(),
                           m_second.GetDisplayString());
}

// ---- dimension ----------------------------------------------------------------------

AttributeBytesDimensionValue::~AttributeBytesDimensionValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesDimensionValue::Clone() const {
  return std::make_unique<AttributeBytesDimensionValue>(*this);
}

void AttributeBytesDimensionValue::AppendValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendUInt32(out, static_cast<std::uint32_t>(m_value.GetStorageValue()));
}

void AttributeBytesDimensionValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  m_value = Dimension::FromStorageValue(static_cast<std::int32_t>(AttributeBytesWire::walkLong(cursor, remaining)));
}

int AttributeBytesDimensionValue::ComparePayload(const AttributeBytesValue& other) const {
  return threeWay(m_value.GetStorageValue(),
                  static_cast<const AttributeBytesDimensionValue&>(other).m_value.GetStorageValue());
}

std::string AttributeBytesDimensionValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                          const IAttributeBytesDebugDisplayHelper&) const {
  return valueLine(indentation, idText, m_value.GetDisplayString());
}

// ---- resolution ---------------------------------------------------------------------

AttributeBytesResolutionValue::AttributeBytesResolutionValue(long first, long second, short third,
                                                             bool specified) noexcept
    : AttributeBytesValue(specified),
      m_first(AttributeBytesWire::toLong32(first)),
      m_second(AttributeBytesWire::toLong32(second)),
      m_third(third) {}

AttributeBytesResolutionValue::~AttributeBytesResolutionValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesResolutionValue::Clone() const {
  return std::make_unique<AttributeBytesResolutionValue>(*this);
}

void AttributeBytesResolutionValue::GetValue(long& first, long& second, short& third) const noexcept {
  first = m_first;
  second = m_second;
  third = m_third;
}

void AttributeBytesResolutionValue::SetValue(long first, long second, short third) noexcept {
  m_first = AttributeBytesWire::toLong32(first);
  m_second = AttributeBytesWire::toLong32(second);
  m_third = third;
}

// The two longs travel in the reverse of their constructor order: the
// second first. Existing stored settings are laid out so.
void AttributeBytesResolutionValue::AppendValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendLong32(out, m_second);
  AttributeBytesWire::appendLong32(out, m_first);
  AttributeBytesWire::appendUInt16(out, static_cast<std::uint16_t>(m_third));
}

void AttributeBytesResolutionValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  const long second = AttributeBytesWire::walkLong(walk, left);
  const long first = AttributeBytesWire::walkLong(walk, left);
  const short third = AttributeBytesWire::walkShort(walk, left);
  m_first = first;
  m_second = second;
  m_third = third;
  cursor = walk;
  remaining = left;
}

int AttributeBytesResolutionValue::ComparePayload(const AttributeBytesValue& other) const {
  const auto& that = static_cast<const AttributeBytesResolutionValue&>(other);
  return threeWay(std::tie(m_first, m_second, m_third), std::tie(that.m_first, that.m_second, that.m_third));
}

std::string AttributeBytesResolutionValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                           const IAttributeBytesDebugDisplayHelper&) const {
  return valueLine(indentation, idText, formatToStdString("%ld x %ld (%d)", m_first, m_second, m_third));
}

// ---- data blob ----------------------------------------------------------------------

AttributeBytesDataBlobValue::AttributeBytesDataBlobValue(const ByteBuffer& value, bool specified)
    : AttributeBytesValue(specified), m_value(value) {}

AttributeBytesDataBlobValue::~AttributeBytesDataBlobValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesDataBlobValue::Clone() const {
  return std::make_unique<AttributeBytesDataBlobValue>(*this);
}

void AttributeBytesDataBlobValue::AppendValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendUInt32(out, static_cast<std::uint32_t>(m_value.size()));
  AttributeBytesWire::appendBytes(out, m_value.data(), m_value.size());
}

void AttributeBytesDataBlobValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  ByteBuffer value;
  ByteBuffer::WalkBufferToGetCountedBytes(walk, left, value);
  m_value.swap(value);
  cursor = walk;
  remaining = left;
}

int AttributeBytesDataBlobValue::ComparePayload(const AttributeBytesValue& other) const {
  const ByteBuffer& that = static_cast<const AttributeBytesDataBlobValue&>(other).m_value;
  return AttributeBytesWire::compareBytes(m_value.data(), m_value.size(), that.data(), that.size());
}

std::string AttributeBytesDataBlobValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                         const IAttributeBytesDebugDisplayHelper&) const {
  enum : std::size_t { kShownBytes = 64 };
  const bool cut = m_value.size() > kShownBytes;
  const ByteBuffer shown(m_value.begin(), cut ? m_value.begin() + kShownBytes : m_value.end());
  return valueLine(indentation, idText,
                   formatToStdString("%lu bytes: %s%s", static_cast<unsigned long long>(m_value.size()),
                                     ByteBuffer::ConvertByteBufferToHexBinaryString(shown).toUtf8(), cut ? "..." : ""));
}

// ---- list ---------------------------------------------------------------------------

AttributeBytesListValue::AttributeBytesListValue(unsigned char kindOfList, const AttributeBytesRawList& list,
                                                 bool specified)
    : AttributeBytesValue(specified), m_kindOfList(kindOfList), m_list(list) {}

AttributeBytesListValue::AttributeBytesListValue(unsigned char kindOfList, AttributeBytesRawList&& list,
                                                 bool specified) noexcept
    : AttributeBytesValue(specified), m_kindOfList(kindOfList), m_list(std::move(list)) {}

AttributeBytesListValue::~AttributeBytesListValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesListValue::Clone() const {
  return std::make_unique<AttributeBytesListValue>(*this);
}

void AttributeBytesListValue::AttributeBytesDump(const DumpArgs& dumpArgs, const std::string& idText,
                                                 const IAttributeBytesDebugDisplayHelper& helper) const {
  AttributeBytesValue::AttributeBytesDump(dumpArgs, idText, helper);
  m_list.AttributeBytesDump(dumpArgs.nested(), helper);
}

void AttributeBytesListValue::AppendValueState(ByteBuffer& out) const {
  const std::span<const unsigned char> records = m_list.GetRecordBytes();
  AttributeBytesWire::appendByte(out, m_kindOfList);
  AttributeBytesWire::appendUInt32(out, static_cast<std::uint32_t>(4 + records.size()));
  m_list.AppendAttributeBytesRawListState(out);
}

void AttributeBytesListValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  WalkBufferToSetValue(cursor, remaining, AttributeBytesSource());
}

void AttributeBytesListValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining,
                                                   const AttributeBytesSource& source) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  const unsigned char kindOfList = AttributeBytesWire::walkByte(walk, left);
  // The list state is counted bytes (the counted-bytes walker raises the
  // failure when fewer bytes remain than the count says).
  const std::span<const unsigned char> state = ByteBuffer::WalkBufferToViewCountedBytes(walk, left);
  // Each import below replaces the list only once its signature is checked.
  const ByteBuffer* storage = source.storage != nullptr ? source.storage->get() : nullptr;
  if (storage != nullptr && state.data() >= storage->data() &&
      state.data() + state.size() <= storage->data() + storage->size()) {
    m_list.ImportAttributeBytesRawListState(*source.storage, static_cast<std::size_t>(state.data() - storage->data()),
                                            state.size());
  } else {
    m_list.ImportAttributeBytesRawListState(state.data(), static_cast<unsigned int>(state.size()));
  }
  m_list.SetNestedIn(source);
  m_kindOfList = kindOfList;
  cursor = walk;
  remaining = left;
}

int AttributeBytesListValue::ComparePayload(const AttributeBytesValue& other) const {
  const auto& that = static_cast<const AttributeBytesListValue&>(other);
  if (m_kindOfList != that.m_kindOfList) {
    return m_kindOfList < that.m_kindOfList ? -1 : 1;
  }
  const std::span<const unsigned char> mine = m_list.GetRecordBytes();
  const std::span<const unsigned char> theirs = that.m_list.GetRecordBytes();
  return AttributeBytesWire::compareBytes(mine.data(), mine.size(), theirs.data(), theirs.size());
}

std::string AttributeBytesListValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                     const IAttributeBytesDebugDisplayHelper&) const {
  return valueLine(indentation, idText,
                   formatToStdString("list of kind %u, %lu bytes", static_cast<unsigned>(m_kindOfList),
                                     static_cast<unsigned long long>(m_list.GetRecordBytes().size())));
}

// ---- date-time ----------------------------------------------------------------------

AttributeBytesDateTimeValue::~AttributeBytesDateTimeValue() = default;

std::unique_ptr<AttributeBytesValue> AttributeBytesDateTimeValue::Clone() const {
  return std::make_unique<AttributeBytesDateTimeValue>(*this);
}

void AttributeBytesDateTimeValue::AppendValueState(ByteBuffer& out) const {
  AttributeBytesWire::appendUInt64(out, static_cast<std::uint64_t>(m_value.ToTime64()));
}

void AttributeBytesDateTimeValue::WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) {
  m_value = UtcTime::FromTime64(ByteBuffer::WalkBufferToGetTime64(cursor, remaining));
}

int AttributeBytesDateTimeValue::ComparePayload(const AttributeBytesValue& other) const {
  return threeWay(m_value, static_cast<const AttributeBytesDateTimeValue&>(other).m_value);
}

std::string AttributeBytesDateTimeValue::FormatValueLine(const std::string& indentation, const std::string& idText,
                                                         const IAttributeBytesDebugDisplayHelper&) const {
  // Calendar text for years 0 to 9999; any other stored value (only damaged
  // or hostile bytes hold one) shows as its number of seconds.
  constexpr std::int64_t kEarliest = -62167219200LL;  // 0000-01-01T00:00:00Z
  constexpr std::int64_t kLatest = 253402300799LL;    // 9999-12-31T23:59:59Z
  const std::int64_t seconds = m_value.GetSecondsSinceEpoch();
  if (seconds < kEarliest || seconds > kLatest) {
    return valueLine(indentation, idText, formatToStdString("%lld s since 1970-01-01T00:00:00Z", seconds));
  }
  return valueLine(indentation, idText, m_value.GetIso8601String());
}
