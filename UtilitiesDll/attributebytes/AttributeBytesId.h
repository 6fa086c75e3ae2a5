#pragma once
// AttributeBytesId: the identifier half of an attribute-bytes record (which
// feature, value, capability or namespace the record speaks of).
//
// On the wire an id is its one-byte tag (AttributeBytesIdEnum) followed by
// its payload, all integers little-endian:
//
//   tag 2 feature, 4 value, 6 list item, 9 namespace   4-byte signed integer
//   tag 3 new feature, 5 new value                     counted string
//   tag 7 capability                                   2-byte type, 4-byte feature id
//   tag 8 new capability                               2-byte type, counted string
//
// (counted string: 16-bit count N of UTF-16 units, then 2N bytes; a count of
// 0x8000 or more never reads back, so names are limited to 32,767 units.)
// Tag 1 ("ABIDE_UNSPECIFIED") names no class and is never created.
//
// Ordering (LessThan) is a strict total order over all ids: first by tag, then
// by payload field by field in the order listed under each class (numbers as
// signed values, names code unit by code unit with a shorter prefix first).
// IsEqual is true exactly when neither id is less than the other.
//
// `long` fields hold 32-bit values: they travel as 4 bytes, and a value given
// to a constructor or setter is kept as its low 32 bits, sign-extended, so
// that what an object holds is what it writes on every platform.
//
// Reading (WalkBufferToSetIdentifier) is all or nothing: on failure the
// object, the cursor and the remaining count are left as they were.

#include "DebuggingAndExceptions/DumpArgs.h"
#include "General/ByteBuffer.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <memory>
#include <string>

class IAttributeBytesDebugDisplayHelper;

// The wire tags. The underlying type is fixed so that any byte read from a
// buffer is a valid value of the type.
enum AttributeBytesIdEnum : int {
  ABIDE_UNSPECIFIED = 1,
  ABIDE_FEATURE = 2,
  ABIDE_NEWFEATURE = 3,
  ABIDE_VALUE = 4,
  ABIDE_NEWVALUE = 5,
  ABIDE_LISTOFVALUESITEM = 6,
  ABIDE_CAPABILITY = 7,
  ABIDE_NEWCAPABILITY = 8,
  ABIDE_NAMESPACE = 9,
};

class HDU_API AttributeBytesId {
 public:
  virtual ~AttributeBytesId();

  virtual AttributeBytesIdEnum GetAttributeBytesIdType() const noexcept = 0;
  virtual bool IsEqual(const AttributeBytesId& other) const = 0;
  virtual bool LessThan(const AttributeBytesId& other) const = 0;
  // For ids ordered, within their tag, by one number (the numeric ids and
  // the capability id): sets `number` so that two ids of the same tag order
  // as their numbers do, and returns true. Others return false. Lets sorted
  // containers compare without calling LessThan.
  virtual bool GetOrderingNumber(std::int64_t& number) const noexcept;
  // LessThan for an id known to have this id's tag (sorted containers know
  // it from the tags); the type check is left out.
  virtual bool LessThanSameType(const AttributeBytesId& sameTypeOther) const;
  virtual std::unique_ptr<AttributeBytesId> Clone() const = 0;
  // One line: the type name and the display text ("ABIDE_FEATURE Feature(5)").
  virtual void AttributeBytesDump(const DumpArgs& dumpArgs, const IAttributeBytesDebugDisplayHelper& helper) const;
  // The payload alone, as a new buffer.
  ByteBuffer GetIdentifierState() const;
  // Appends the payload to `out`.
  virtual void AppendIdentifierState(ByteBuffer& out) const = 0;
  // Reads the payload at the cursor (all or nothing, see above).
  virtual void WalkBufferToSetIdentifier(const unsigned char*& cursor, unsigned int& remaining) = 0;
  void WalkBufferToSetIdentifier(unsigned char*& cursor, unsigned int& remaining);
  // The readable text of this id (see IAttributeBytesDebugDisplayHelper).
  virtual std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const = 0;
  // The display text through the plain helper.
  std::string GetDebugDisplayString() const;

  // The id part: tag byte, then payload.
  ByteBuffer GetTypeAndIdentifierState() const;
  // Replaces the contents of `out` with the id part.
  void GetTypeAndIdentifierState(ByteBuffer& out) const;
  // Appends the id part to `out`.
  void AppendTypeAndIdentifierState(ByteBuffer& out) const;
  // Copies the id part into raw memory and returns its size. When `capacity`
  // is below that size, throws CPExceptionNotEnoughBytesForDesiredDataType
  // (with the needed and the available size) and writes nothing; a null
  // destination throws CPExceptionInvalidArgumentNullPointer.
  unsigned int GetTypeAndIdentifierState(unsigned char* destination, unsigned int capacity) const;

  // "ABIDE_FEATURE" ... "ABIDE_NAMESPACE", "ABIDE_UNSPECIFIED" for 1 and
  // "UNKNOWN!" for any other value.
  static const char* GetTypeDebugDisplayString(AttributeBytesIdEnum type) noexcept;
  const char* GetTypeDebugDisplayString() const noexcept {
    return GetTypeDebugDisplayString(GetAttributeBytesIdType());
  }

 protected:
  AttributeBytesId() = default;
  AttributeBytesId(const AttributeBytesId&) = default;
  AttributeBytesId& operator=(const AttributeBytesId&) = default;
};

// ---- ids that carry one 32-bit number (feature, value, list item, namespace) ----

// The shared base of the four number ids: payload and ordering are the
// number. Not created by itself.
class HDU_API AttributeBytesNumericId : public AttributeBytesId {
 public:
  // The payload's size, the same for every id of the class.
  static constexpr unsigned kFixedPayloadSize = 4;
  ~AttributeBytesNumericId() override;

  bool IsEqual(const AttributeBytesId& other) const override;
  bool LessThan(const AttributeBytesId& other) const override;
  bool GetOrderingNumber(std::int64_t& number) const noexcept override;
  void AppendIdentifierState(ByteBuffer& out) const override;
  void WalkBufferToSetIdentifier(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesId::WalkBufferToSetIdentifier;

 protected:
  explicit AttributeBytesNumericId(long number) noexcept;
  AttributeBytesNumericId(const AttributeBytesNumericId&) = default;
  AttributeBytesNumericId& operator=(const AttributeBytesNumericId&) = default;

  long GetNumber() const noexcept { return m_number; }
  void SetNumber(long number) noexcept;

 private:
  long m_number;
};

// Tag 2: a feature by its numeric id. Payload: feature id.
class HDU_API AttributeBytesFeatureId : public AttributeBytesNumericId {
 public:
  explicit AttributeBytesFeatureId(long featureId = 0) noexcept;
  ~AttributeBytesFeatureId() override;

  AttributeBytesIdEnum GetAttributeBytesIdType() const noexcept override { return ABIDE_FEATURE; }
  std::unique_ptr<AttributeBytesId> Clone() const override;
  std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const override;
  using AttributeBytesId::GetDebugDisplayString;

  long GetFeatureId() const noexcept { return GetNumber(); }
  void SetFeatureId(long featureId) noexcept { SetNumber(featureId); }
};

// Tag 4: a value (option) by its numeric id. Payload: value id.
class HDU_API AttributeBytesValueId : public AttributeBytesNumericId {
 public:
  explicit AttributeBytesValueId(long valueId = 0) noexcept;
  ~AttributeBytesValueId() override;

  AttributeBytesIdEnum GetAttributeBytesIdType() const noexcept override { return ABIDE_VALUE; }
  std::unique_ptr<AttributeBytesId> Clone() const override;
  std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const override;
  using AttributeBytesId::GetDebugDisplayString;

  long GetValueId() const noexcept { return GetNumber(); }
  void SetValueId(long valueId) noexcept { SetNumber(valueId); }
};

// Tag 6: an item of a list of values, by its index. Payload: index value.
class HDU_API AttributeBytesListOfValuesItemId : public AttributeBytesNumericId {
 public:
  explicit AttributeBytesListOfValuesItemId(long indexValue = 0) noexcept;
  ~AttributeBytesListOfValuesItemId() override;

  AttributeBytesIdEnum GetAttributeBytesIdType() const noexcept override { return ABIDE_LISTOFVALUESITEM; }
  std::unique_ptr<AttributeBytesId> Clone() const override;
  std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const override;
  using AttributeBytesId::GetDebugDisplayString;

  long GetIndexValue() const noexcept { return GetNumber(); }
  void SetIndexValue(long indexValue) noexcept { SetNumber(indexValue); }
};

// Tag 9: a namespace of records. Payload: namespace id.
class HDU_API AttributeBytesNameSpacesId : public AttributeBytesNumericId {
 public:
  explicit AttributeBytesNameSpacesId(long nameSpaceId = 0) noexcept;
  ~AttributeBytesNameSpacesId() override;

  AttributeBytesIdEnum GetAttributeBytesIdType() const noexcept override { return ABIDE_NAMESPACE; }
  std::unique_ptr<AttributeBytesId> Clone() const override;
  std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const override;
  using AttributeBytesId::GetDebugDisplayString;

  long GetNameSpaceId() const noexcept { return GetNumber(); }
  void SetNameSpaceId(long nameSpaceId) noexcept { SetNumber(nameSpaceId); }
};

// ---- ids that carry a name (new feature, new value) ----

// The shared base of the two name ids: payload and ordering are the name.
class HDU_API AttributeBytesNamedId : public AttributeBytesId {
 public:
  ~AttributeBytesNamedId() override;

  bool IsEqual(const AttributeBytesId& other) const override;
  bool LessThan(const AttributeBytesId& other) const override;
  bool LessThanSameType(const AttributeBytesId& sameTypeOther) const override;
  void AppendIdentifierState(ByteBuffer& out) const override;
  void WalkBufferToSetIdentifier(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesId::WalkBufferToSetIdentifier;

 protected:
  explicit AttributeBytesNamedId(CXString name) noexcept;
  AttributeBytesNamedId(const AttributeBytesNamedId&) = default;
  AttributeBytesNamedId& operator=(const AttributeBytesNamedId&) = default;

  const CXString& GetName() const noexcept { return m_name; }
  void SetName(const CXString& name) { m_name = name; }

 private:
  CXString m_name;
};

// Tag 3: a feature known by name only. Payload: feature name.
class HDU_API AttributeBytesNewFeatureId : public AttributeBytesNamedId {
 public:
  AttributeBytesNewFeatureId() noexcept;
  explicit AttributeBytesNewFeatureId(const CXString& featureName);
  ~AttributeBytesNewFeatureId() override;

  AttributeBytesIdEnum GetAttributeBytesIdType() const noexcept override { return ABIDE_NEWFEATURE; }
  std::unique_ptr<AttributeBytesId> Clone() const override;
  std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const override;
  using AttributeBytesId::GetDebugDisplayString;

  const CXString& GetFeatureName() const noexcept { return GetName(); }
  void SetFeatureName(const CXString& featureName) { SetName(featureName); }
};

// Tag 5: a value known by name only. Payload: value name.
class HDU_API AttributeBytesNewValueId : public AttributeBytesNamedId {
 public:
  AttributeBytesNewValueId() noexcept;
  explicit AttributeBytesNewValueId(const CXString& valueName);
  ~AttributeBytesNewValueId() override;

  AttributeBytesIdEnum GetAttributeBytesIdType() const noexcept override { return ABIDE_NEWVALUE; }
  std::unique_ptr<AttributeBytesId> Clone() const override;
  std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const override;
  using AttributeBytesId::GetDebugDisplayString;

  const CXString& GetValueName() const noexcept { return GetName(); }
  void SetValueName(const CXString& valueName) { SetName(valueName); }
};

// ---- capabilities ----

// Tag 7: one capability of a feature. Payload: capability type (2 bytes),
// then feature id (4 bytes). Ordered by feature id, then capability type.
class HDU_API AttributeBytesCapabilityId : public AttributeBytesId {
 public:
  static constexpr unsigned kFixedPayloadSize = 6;
  AttributeBytesCapabilityId() noexcept = default;
  AttributeBytesCapabilityId(long featureId, short capabilityType) noexcept;
  ~AttributeBytesCapabilityId() override;

  AttributeBytesIdEnum GetAttributeBytesIdType() const noexcept override { return ABIDE_CAPABILITY; }
  bool IsEqual(const AttributeBytesId& other) const override;
  bool LessThan(const AttributeBytesId& other) const override;
  bool GetOrderingNumber(std::int64_t& number) const noexcept override;
  std::unique_ptr<AttributeBytesId> Clone() const override;
  void AppendIdentifierState(ByteBuffer& out) const override;
  void WalkBufferToSetIdentifier(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesId::WalkBufferToSetIdentifier;
  std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const override;
  using AttributeBytesId::GetDebugDisplayString;

  long GetFeatureId() const noexcept { return m_featureId; }
  short GetCapabilityTypeEnum() const noexcept { return m_capabilityType; }

 private:
  long m_featureId = 0;
  short m_capabilityType = 0;
};

// Tag 8: one capability of a feature known by name only. Payload: capability
// type (2 bytes), then the new feature id as a counted string. Ordered by the
// name, then capability type.
class HDU_API AttributeBytesNewCapabilityId : public AttributeBytesId {
 public:
  AttributeBytesNewCapabilityId() noexcept = default;
  AttributeBytesNewCapabilityId(const CXString& newFeatureId, short capabilityType);
  ~AttributeBytesNewCapabilityId() override;

  AttributeBytesIdEnum GetAttributeBytesIdType() const noexcept override { return ABIDE_NEWCAPABILITY; }
  bool IsEqual(const AttributeBytesId& other) const override;
  bool LessThan(const AttributeBytesId& other) const override;
  bool LessThanSameType(const AttributeBytesId& sameTypeOther) const override;
  std::unique_ptr<AttributeBytesId> Clone() const override;
  void AppendIdentifierState(ByteBuffer& out) const override;
  void WalkBufferToSetIdentifier(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesId::WalkBufferToSetIdentifier;
  std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const override;
  using AttributeBytesId::GetDebugDisplayString;

  const CXString& GetNewFeatureId() const noexcept { return m_newFeatureId; }
  short GetCapabilityTypeEnum() const noexcept { return m_capabilityType; }

 private:
  CXString m_newFeatureId;
  short m_capabilityType = 0;
};
