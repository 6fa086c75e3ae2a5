#include "attributebytes/AttributeBytesId.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Formatter.h"
#include "attributebytes/AttributeBytesWire.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <cstring>
#include <tuple>

namespace {

using InternalHaldenCP::formatToStdString;

constexpr const char* kSourceFile = "UtilitiesDll\\attributebytes\\AttributeBytesId";

// Runs a walker written for const cursors on a mutable cursor.
template <class Walk>
void walkMutable(unsigned char*& cursor, unsigned int& remaining, Walk walk) {
  const unsigned char* constCursor = cursor;
  walk(constCursor, remaining);
  cursor += constCursor - cursor;
}

// Whether two ids have the same tag; the ordering of ids of different tags.
inline bool sameType(const AttributeBytesId& a, const AttributeBytesId& b) noexcept {
  return a.GetAttributeBytesIdType() == b.GetAttributeBytesIdType();
}
inline bool typeLess(const AttributeBytesId& a, const AttributeBytesId& b) noexcept {
  return a.GetAttributeBytesIdType() < b.GetAttributeBytesIdType();
}

}  // namespace

// ---- AttributeBytesId ---------------------------------------------------------------

bool AttributeBytesId::GetOrderingNumber(std::int64_t&) const noexcept {
  return false;
}

bool AttributeBytesId::LessThanSameType(const AttributeBytesId& sameTypeOther) const {
  return LessThan(sameTypeOther);
}

AttributeBytesId::~AttributeBytesId() = default;

void AttributeBytesId::AttributeBytesDump(const DumpArgs& dumpArgs,
                                          const IAttributeBytesDebugDisplayHelper& helper) const {
  dumpArgs.writeLine(formatToStdString("%s %s", GetTypeDebugDisplayString(), GetDebugDisplayString(helper)));
}

ByteBuffer AttributeBytesId::GetIdentifierState() const {
  ByteBuffer payload;
  AppendIdentifierState(payload);
  return payload;
}

void AttributeBytesId::WalkBufferToSetIdentifier(unsigned char*& cursor, unsigned int& remaining) {
  walkMutable(cursor, remaining, [this](const unsigned char*& c, unsigned int& r) { WalkBufferToSetIdentifier(c, r); });
}

std::string AttributeBytesId::GetDebugDisplayString() const {
  return GetDebugDisplayString(NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
}

ByteBuffer AttributeBytesId::GetTypeAndIdentifierState() const {
  ByteBuffer state;
  AppendTypeAndIdentifierState(state);
  return state;
}

void AttributeBytesId::GetTypeAndIdentifierState(ByteBuffer& out) const {
  ByteBuffer state;
  AppendTypeAndIdentifierState(state);
  out.swap(state);
}

void AttributeBytesId::AppendTypeAndIdentifierState(ByteBuffer& out) const {
  AttributeBytesWire::appendByte(out, static_cast<unsigned char>(GetAttributeBytesIdType()));
  AppendIdentifierState(out);
}

unsigned int AttributeBytesId::GetTypeAndIdentifierState(unsigned char* destination, unsigned int capacity) const {
  const ByteBuffer state = GetTypeAndIdentifierState();
  if (capacity < state.size()) {
    HDU_THROW(CPExceptionNotEnoughBytesForDesiredDataType,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesId::GetTypeAndIdentifierState"),
              "Cannot copy the AttributeBytesId state: it needs %ld bytes, but the destination holds only %ld bytes.",
              static_cast<long long>(state.size()), static_cast<long long>(capacity));
  }
  if (destination == nullptr) {
    HDU_THROW(CPExceptionInvalidArgumentNullPointer,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesId::GetTypeAndIdentifierState"),
              "The destination of the AttributeBytesId state is a null pointer.");
  }
  std::memcpy(destination, state.data(), state.size());
  return static_cast<unsigned int>(state.size());
}

const char* AttributeBytesId::GetTypeDebugDisplayString(AttributeBytesIdEnum type) noexcept {
  switch (type) {
    case ABIDE_UNSPECIFIED:
      return "ABIDE_UNSPECIFIED";
    case ABIDE_FEATURE:
      return "ABIDE_FEATURE";
    case ABIDE_NEWFEATURE:
      return "ABIDE_NEWFEATURE";
    case ABIDE_VALUE:
      return "ABIDE_VALUE";
    case ABIDE_NEWVALUE:
      return "ABIDE_NEWVALUE";
    case ABIDE_LISTOFVALUESITEM:
      return "ABIDE_LISTOFVALUESITEM";
    case ABIDE_CAPABILITY:
      return "ABIDE_CAPABILITY";
    case ABIDE_NEWCAPABILITY:
      return "ABIDE_NEWCAPABILITY";
    case ABIDE_NAMESPACE:
      return "ABIDE_NAMESPACE";
  }
  return "UNKNOWN!";
}

// ---- number ids ---------------------------------------------------------------------

AttributeBytesNumericId::AttributeBytesNumericId(long number) noexcept
    : m_number(AttributeBytesWire::toLong32(number)) {}

AttributeBytesNumericId::~AttributeBytesNumericId() = default;

void AttributeBytesNumericId::SetNumber(long number) noexcept {
  m_number = AttributeBytesWire::toLong32(number);
}

bool AttributeBytesNumericId::IsEqual(const AttributeBytesId& other) const {
  return sameType(*this, other) && static_cast<const AttributeBytesNumericId&>(other).m_number == m_number;
}

bool AttributeBytesNumericId::LessThan(const AttributeBytesId& other) const {
  if (!sameType(*this, other)) {
    return typeLess(*this, other);
  }
  return m_number < static_cast<const AttributeBytesNumericId&>(other).m_number;
}

bool AttributeBytesNumericId::GetOrderingNumber(std::int64_t& number) const noexcept {
  number = m_number;
  return true;
}

void AttributeBytesNumericId::AppendIdentifierState(ByteBuffer& out) const {
  AttributeBytesWire::appendLong32(out, m_number);
}

void AttributeBytesNumericId::WalkBufferToSetIdentifier(const unsigned char*& cursor, unsigned int& remaining) {
  m_number = AttributeBytesWire::walkLong(cursor, remaining);  // consumes nothing when it throws
}

AttributeBytesFeatureId::AttributeBytesFeatureId(long featureId) noexcept : AttributeBytesNumericId(featureId) {}
AttributeBytesFeatureId::~AttributeBytesFeatureId() = default;
std::unique_ptr<AttributeBytesId> AttributeBytesFeatureId::Clone() const {
  return std::make_unique<AttributeBytesFeatureId>(*this);
}
std::string AttributeBytesFeatureId::GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const {
  return formatToStdString("Feature(%s)", helper.GetFeatureIdDisplayString(GetFeatureId()));
}

AttributeBytesValueId::AttributeBytesValueId(long valueId) noexcept : AttributeBytesNumericId(valueId) {}
AttributeBytesValueId::~AttributeBytesValueId() = default;
std::unique_ptr<AttributeBytesId> AttributeBytesValueId::Clone() const {
  return std::make_unique<AttributeBytesValueId>(*this);
}
std::string AttributeBytesValueId::GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const {
  return formatToStdString("Value(%s)", helper.GetValueIdDisplayString(GetValueId()));
}

AttributeBytesListOfValuesItemId::AttributeBytesListOfValuesItemId(long indexValue) noexcept
    : AttributeBytesNumericId(indexValue) {}
AttributeBytesListOfValuesItemId::~AttributeBytesListOfValuesItemId() = default;
std::unique_ptr<AttributeBytesId> AttributeBytesListOfValuesItemId::Clone() const {
  return std::make_unique<AttributeBytesListOfValuesItemId>(*this);
}
std::string AttributeBytesListOfValuesItemId::GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper&) const {
  return formatToStdString("ListItem(%ld)", GetIndexValue());
}

AttributeBytesNameSpacesId::AttributeBytesNameSpacesId(long nameSpaceId) noexcept
    : AttributeBytesNumericId(nameSpaceId) {}
AttributeBytesNameSpacesId::~AttributeBytesNameSpacesId() = default;
std::unique_ptr<AttributeBytesId> AttributeBytesNameSpacesId::Clone() const {
  return std::make_unique<AttributeBytesNameSpacesId>(*this);
}
std::string AttributeBytesNameSpacesId::GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const {
  return formatToStdString("NameSpace(%s)", helper.GetNameSpaceIdDisplayString(GetNameSpaceId()));
}

// ---- name ids -----------------------------------------------------------------------

AttributeBytesNamedId::AttributeBytesNamedId(CXString name) noexcept : m_name(std::move(name)) {}

AttributeBytesNamedId::~AttributeBytesNamedId() = default;

bool AttributeBytesNamedId::IsEqual(const AttributeBytesId& other) const {
  return sameType(*this, other) && static_cast<const AttributeBytesNamedId&>(other).m_name == m_name;
}

bool AttributeBytesNamedId::LessThan(const AttributeBytesId& other) const {
  if (!sameType(*this, other)) {
    return typeLess(*this, other);
  }
  return m_name < static_cast<const AttributeBytesNamedId&>(other).m_name;
}

bool AttributeBytesNamedId::LessThanSameType(const AttributeBytesId& sameTypeOther) const {
  return m_name < static_cast<const AttributeBytesNamedId&>(sameTypeOther).m_name;
}

void AttributeBytesNamedId::AppendIdentifierState(ByteBuffer& out) const {
  AttributeBytesWire::appendCountedString(out, m_name);
}

void AttributeBytesNamedId::WalkBufferToSetIdentifier(const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  CXString name = ByteBuffer::WalkBufferToGetCountedString(walk, left);
  m_name = std::move(name);
  cursor = walk;
  remaining = left;
}

AttributeBytesNewFeatureId::AttributeBytesNewFeatureId() noexcept : AttributeBytesNamedId(CXString()) {}
AttributeBytesNewFeatureId::AttributeBytesNewFeatureId(const CXString& featureName)
    : AttributeBytesNamedId(featureName) {}
AttributeBytesNewFeatureId::~AttributeBytesNewFeatureId() = default;
std::unique_ptr<AttributeBytesId> AttributeBytesNewFeatureId::Clone() const {
  return std::make_unique<AttributeBytesNewFeatureId>(*this);
}
std::string AttributeBytesNewFeatureId::GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper&) const {
  return formatToStdString("NewFeature('%s')", GetFeatureName().toUtf8());
}

AttributeBytesNewValueId::AttributeBytesNewValueId() noexcept : AttributeBytesNamedId(CXString()) {}
AttributeBytesNewValueId::AttributeBytesNewValueId(const CXString& valueName) : AttributeBytesNamedId(valueName) {}
AttributeBytesNewValueId::~AttributeBytesNewValueId() = default;
std::unique_ptr<AttributeBytesId> AttributeBytesNewValueId::Clone() const {
  return std::make_unique<AttributeBytesNewValueId>(*this);
}
std::string AttributeBytesNewValueId::GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper&) const {
  return formatToStdString("NewValue('%s')", GetValueName().toUtf8());
}

// ---- capabilities -------------------------------------------------------------------

AttributeBytesCapabilityId::AttributeBytesCapabilityId(long featureId, short capabilityType) noexcept
    : m_featureId(AttributeBytesWire::toLong32(featureId)), m_capabilityType(capabilityType) {}

AttributeBytesCapabilityId::~AttributeBytesCapabilityId() = default;

bool AttributeBytesCapabilityId::IsEqual(const AttributeBytesId& other) const {
  if (!sameType(*this, other)) {
    return false;
  }
  const auto& that = static_cast<const AttributeBytesCapabilityId&>(other);
  return m_featureId == that.m_featureId && m_capabilityType == that.m_capabilityType;
}

bool AttributeBytesCapabilityId::LessThan(const AttributeBytesId& other) const {
  if (!sameType(*this, other)) {
    return typeLess(*this, other);
  }
  const auto& that = static_cast<const AttributeBytesCapabilityId&>(other);
  return std::tie(m_featureId, m_capabilityType) < std::tie(that.m_featureId, that.m_capabilityType);
}

bool AttributeBytesCapabilityId::GetOrderingNumber(std::int64_t& number) const noexcept {
  // Feature id first, then capability type: both fit one 64-bit number.
  number = static_cast<std::int64_t>(m_featureId) * 65536 + (static_cast<std::int64_t>(m_capabilityType) + 32768);
  return true;
}

std::unique_ptr<AttributeBytesId> AttributeBytesCapabilityId::Clone() const {
  return std::make_unique<AttributeBytesCapabilityId>(*this);
}

void AttributeBytesCapabilityId::AppendIdentifierState(ByteBuffer& out) const {
  AttributeBytesWire::appendUInt16(out, static_cast<std::uint16_t>(m_capabilityType));
  AttributeBytesWire::appendLong32(out, m_featureId);
}

void AttributeBytesCapabilityId::WalkBufferToSetIdentifier(const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  const short capabilityType = AttributeBytesWire::walkShort(walk, left);
  const long featureId = AttributeBytesWire::walkLong(walk, left);
  m_capabilityType = capabilityType;
  m_featureId = featureId;
  cursor = walk;
  remaining = left;
}

std::string AttributeBytesCapabilityId::GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const {
  return formatToStdString("Capability(%s, Feature(%s))", helper.GetCapabilityTypeDisplayString(m_capabilityType),
                           helper.GetFeatureIdDisplayString(m_featureId));
}

AttributeBytesNewCapabilityId::AttributeBytesNewCapabilityId(const CXString& newFeatureId, short capabilityType)
    : m_newFeatureId(newFeatureId), m_capabilityType(capabilityType) {}

AttributeBytesNewCapabilityId::~AttributeBytesNewCapabilityId() = default;

bool AttributeBytesNewCapabilityId::IsEqual(const AttributeBytesId& other) const {
  if (!sameType(*this, other)) {
    return false;
  }
  const auto& that = static_cast<const AttributeBytesNewCapabilityId&>(other);
  return m_capabilityType == that.m_capabilityType && m_newFeatureId == that.m_newFeatureId;
}

bool AttributeBytesNewCapabilityId::LessThan(const AttributeBytesId& other) const {
  if (!sameType(*this, other)) {
    return typeLess(*this, other);
  }
  return LessThanSameType(other);
}

bool AttributeBytesNewCapabilityId::LessThanSameType(const AttributeBytesId& sameTypeOther) const {
  const auto& that = static_cast<const AttributeBytesNewCapabilityId&>(sameTypeOther);
  if (m_newFeatureId != that.m_newFeatureId) {
    return m_newFeatureId < that.m_newFeatureId;
  }
  return m_capabilityType < that.m_capabilityType;
}

std::unique_ptr<AttributeBytesId> AttributeBytesNewCapabilityId::Clone() const {
  return std::make_unique<AttributeBytesNewCapabilityId>(*this);
}

void AttributeBytesNewCapabilityId::AppendIdentifierState(ByteBuffer& out) const {
  AttributeBytesWire::appendUInt16(out, static_cast<std::uint16_t>(m_capabilityType));
  AttributeBytesWire::appendCountedString(out, m_newFeatureId);
}

void AttributeBytesNewCapabilityId::WalkBufferToSetIdentifier(const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* walk = cursor;
  unsigned int left = remaining;
  const short capabilityType = AttributeBytesWire::walkShort(walk, left);
  CXString newFeatureId = ByteBuffer::WalkBufferToGetCountedString(walk, left);
  m_capabilityType = capabilityType;
  m_newFeatureId = std::move(newFeatureId);
  cursor = walk;
  remaining = left;
}

std::string AttributeBytesNewCapabilityId::GetDebugDisplayString(
    const IAttributeBytesDebugDisplayHelper& helper) const {
  return formatToStdString("NewCapability(%s, NewFeature('%s'))",
                           helper.GetCapabilityTypeDisplayString(m_capabilityType), m_newFeatureId.toUtf8());
}
