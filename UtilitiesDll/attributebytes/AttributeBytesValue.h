#pragma once
// AttributeBytesValue: the typed value half of an attribute-bytes record.
//
// On the wire a value is its one-byte tag (AttributeBytesValueEnum), one
// flag byte, then its payload, all integers little-endian. The flag byte is
// the inverse of the in-memory "specified" flag: 0 when the value is
// specified, 1 when it is not; on reading, the value is specified exactly
// when the byte is 0. Payloads:
//
//   2 option              a whole id part (tag byte and payload)
//   3 integer             4-byte signed integer
//   4 string              counted string
//   5 boolean             1 byte, 0 or 1 (any non-zero byte reads as true)
//   6 range               4-byte first, 4-byte second
//   7 range of dimension  two 4-byte dimension integers, first then second
//   8 dimension           4-byte dimension integer
//   9 resolution          4-byte second, 4-byte first, 2-byte third: the two
//                         longs travel in the reverse of their constructor
//                         order, and are read back the same way
//  10 data blob           4-byte length L, then L bytes
//  11 list                1-byte kind of list, 4-byte length L, then the L
//                         bytes of an AttributeBytesRawList state ("ABRL"...)
//  12 date-time           8-byte time value (UtcTime::ToTime64 / FromTime64,
//                         which apply the machine's current UTC offset)
//
// A dimension integer is the Dimension in microns made with Dimension::
// GetStorageValue (Number's rounding); reading gives the Dimension in
// microns. Tag 1 ("ABVTE_UNSPECIFIED") names no class and is never created.
//
// Ordering (LessThan) is a strict total order over all values: first by tag,
// then by payload (field by field in the order the constructor takes them:
// numbers as signed values, text code unit by code unit, byte runs byte by
// byte with a shorter prefix first, dimensions by their stored micron value,
// options by their id's order, lists by kind and then their bytes), then by
// the specified flag (unspecified first). IsEqual is true exactly when
// neither is less than the other; two dimensions that store the same micron
// value are equal whatever their units.
//
// `long` fields hold 32-bit values (kept as their low 32 bits, sign-extended),
// as they travel.
//
// Reading (WalkBufferToSetValue) reads the payload alone and is all or
// nothing: on failure the object, the cursor and the remaining count are left
// as they were.
//
// Display: a value shows as one line made with "%s%s value='%s'" (string),
// "%s%s value=[%ld, %ld]" (range), "%s%s value=[%s, %s]" (range of
// dimension) or "%s%s value=%s" (everything else; a boolean as "TRUE" or
// "FALSE"), the first two %s being the indentation and the id's text; a value
// that is not specified is followed by " <unspecified>".

#include "DebuggingAndExceptions/DumpArgs.h"
#include "General/ByteBuffer.h"
#include "General/Dimension.h"
#include "General/UtcTime.h"
#include "LowLevelFacilities/CXString.h"
#include "attributebytes/AttributeBytesId.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "hdUtilitiesExport.h"

#include <memory>
#include <string>

class IAttributeBytesDebugDisplayHelper;
class AttributeBytesListValue;

enum AttributeBytesValueEnum : int {
  ABVTE_UNSPECIFIED = 1,
  ABVTE_OPTION = 2,
  ABVTE_INTEGER = 3,
  ABVTE_STRING = 4,
  ABVTE_BOOLEAN = 5,
  ABVTE_RANGE = 6,
  ABVTE_RANGEOFDIMENSION = 7,
  ABVTE_DIMENSION = 8,
  ABVTE_RESOLUTION = 9,
  ABVTE_DATABLOB = 10,
  ABVTE_LIST = 11,
  ABVTE_DATETIME = 12,
};

class HDU_API AttributeBytesValue {
 public:
  virtual ~AttributeBytesValue();

  virtual AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept = 0;
  // Tag, then payload (ComparePayload), then the specified flag.
  virtual bool IsEqual(const AttributeBytesValue& other) const;
  virtual bool LessThan(const AttributeBytesValue& other) const;
  virtual std::unique_ptr<AttributeBytesValue> Clone() const = 0;
  // The value line with the type name standing for the id text.
  virtual void AttributeBytesDump(const DumpArgs& dumpArgs, const IAttributeBytesDebugDisplayHelper& helper) const;
  // The value line of a record whose id shows as `idText`, and what the value
  // holds beneath it (a list value's records, nested).
  virtual void AttributeBytesDump(const DumpArgs& dumpArgs, const std::string& idText,
                                  const IAttributeBytesDebugDisplayHelper& helper) const;
  // True only for AttributeBytesListValue.
  virtual bool IsList() const noexcept { return false; }
  // The payload alone, as a new buffer.
  ByteBuffer GetValueState() const;
  // Appends the payload to `out`.
  virtual void AppendValueState(ByteBuffer& out) const = 0;
  // Reads the payload at the cursor (all or nothing). The flag byte is not
  // part of the payload; the record reader sets it with SetSpecified.
  virtual void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) = 0;
  void WalkBufferToSetValue(unsigned char*& cursor, unsigned int& remaining);

  bool IsSpecified() const noexcept { return m_specified; }
  void SetSpecified(bool specified) noexcept { m_specified = specified; }

  // The value part: tag byte, flag byte, payload.
  ByteBuffer GetTypeAndValueState() const;
  // Replaces the contents of `out` with the value part.
  void GetTypeAndValueState(ByteBuffer& out) const;
  // Appends the value part to `out`.
  void AppendTypeAndValueState(ByteBuffer& out) const;
  // Copies the value part into raw memory and returns its size. When
  // `capacity` is below that size, throws CPExceptionNotEnoughBytesForDesiredDataType
  // (function label "AttributeBytesValue::GetTypeAndValueState", with the
  // needed and the available size) and writes nothing; a null destination
  // throws CPExceptionInvalidArgumentNullPointer.
  unsigned int GetTypeAndValueState(unsigned char* destination, unsigned int capacity) const;

  // This value as a list value. Any other value throws
  // CPExceptionAttributeValueTypeMismatch: "Can't convert a '<type name>'
  // object to an AttributeBytesListValue!".
  const AttributeBytesListValue& GetListValue() const;
  AttributeBytesListValue& GetListValue();

  // The display line (see above), without a line break.
  std::string GetDisplayLine(const std::string& indentation, const std::string& idText,
                             const IAttributeBytesDebugDisplayHelper& helper) const;

  // "ABVTE_OPTION" ... "ABVTE_DATETIME", "ABVTE_UNSPECIFIED" for 1 and
  // "UNKNOWN!" for any other value.
  static const char* GetTypeDebugDisplayString(AttributeBytesValueEnum type) noexcept;
  const char* GetTypeDebugDisplayString() const noexcept {
    return GetTypeDebugDisplayString(GetAttributeBytesValueType());
  }

 protected:
  explicit AttributeBytesValue(bool specified) noexcept : m_specified(specified) {}
  AttributeBytesValue(const AttributeBytesValue&) = default;
  AttributeBytesValue& operator=(const AttributeBytesValue&) = default;

  // Three-way comparison of the payloads of two values of this class.
  virtual int ComparePayload(const AttributeBytesValue& sameTypeOther) const = 0;
  // The display line without the " <unspecified>" suffix.
  virtual std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                                      const IAttributeBytesDebugDisplayHelper& helper) const = 0;

 private:
  bool m_specified;
};

// Tag 2: one option, named by an id (normally a feature id or a value id).
// The default value names value id 0 and is not specified (it holds no id of
// its own until it is given one).
class HDU_API AttributeBytesOptionValue : public AttributeBytesValue {
 public:
  AttributeBytesOptionValue() noexcept;
  // Takes ownership of the id (a null pointer throws CPExceptionAutoPtrNull).
  explicit AttributeBytesOptionValue(std::unique_ptr<AttributeBytesId> id, bool specified = true);
  explicit AttributeBytesOptionValue(const AttributeBytesId& id, bool specified = true);
  AttributeBytesOptionValue(const AttributeBytesOptionValue& other);
  AttributeBytesOptionValue& operator=(const AttributeBytesOptionValue& other);
  ~AttributeBytesOptionValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_OPTION; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  const AttributeBytesId& GetValue() const noexcept;
  void SetValue(std::unique_ptr<AttributeBytesId> id);
  void SetValue(const AttributeBytesId& id);
  // The id as a feature id or a value id. An id of another class throws
  // CPExceptionAttributeValueTypeMismatch: "The AttributeBytesId value is of a
  // different type (<type name>) than expected by this method."
  const AttributeBytesFeatureId& GetFeatureIdValue() const;
  const AttributeBytesValueId& GetValueIdValue() const;

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  std::unique_ptr<AttributeBytesId> m_id;
};

// Tag 3: a signed 32-bit integer.
class HDU_API AttributeBytesIntegerValue : public AttributeBytesValue {
 public:
  // The payload's size, the same for every value of the class.
  static constexpr unsigned kFixedPayloadSize = 4;
  AttributeBytesIntegerValue() noexcept : AttributeBytesValue(false) {}
  explicit AttributeBytesIntegerValue(long value, bool specified = true) noexcept;
  ~AttributeBytesIntegerValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_INTEGER; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  long GetValue() const noexcept { return m_value; }
  void SetValue(long value) noexcept;

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  long m_value = 0;
};

// Tag 4: a UTF-16 string (at most 32,767 code units read back).
class HDU_API AttributeBytesStringValue : public AttributeBytesValue {
 public:
  AttributeBytesStringValue() noexcept : AttributeBytesValue(false) {}
  explicit AttributeBytesStringValue(const CXString& value, bool specified = true);
  ~AttributeBytesStringValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_STRING; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  const CXString& GetValue() const noexcept { return m_value; }
  void SetValue(const CXString& value) { m_value = value; }

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  CXString m_value;
};

// Tag 5: a boolean.
class HDU_API AttributeBytesBooleanValue : public AttributeBytesValue {
 public:
  // The payload's size, the same for every value of the class.
  static constexpr unsigned kFixedPayloadSize = 1;
  AttributeBytesBooleanValue() noexcept : AttributeBytesValue(false) {}
  explicit AttributeBytesBooleanValue(bool value, bool specified = true) noexcept
      : AttributeBytesValue(specified), m_value(value) {}
  ~AttributeBytesBooleanValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_BOOLEAN; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  bool GetValue() const noexcept { return m_value; }
  void SetValue(bool value) noexcept { m_value = value; }

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  bool m_value = false;
};

// Tag 6: a range of two signed 32-bit integers.
class HDU_API AttributeBytesRangeValue : public AttributeBytesValue {
 public:
  // The payload's size, the same for every value of the class.
  static constexpr unsigned kFixedPayloadSize = 8;
  AttributeBytesRangeValue() noexcept : AttributeBytesValue(false) {}
  AttributeBytesRangeValue(long first, long second, bool specified = true) noexcept;
  ~AttributeBytesRangeValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_RANGE; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  void GetValue(long& first, long& second) const noexcept;
  long GetFirst() const noexcept { return m_first; }
  long GetSecond() const noexcept { return m_second; }
  void SetValue(long first, long second) noexcept;

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  long m_first = 0;
  long m_second = 0;
};

// Tag 7: a range of two dimensions.
class HDU_API AttributeBytesRangeOfDimensionValue : public AttributeBytesValue {
 public:
  // The payload's size, the same for every value of the class.
  static constexpr unsigned kFixedPayloadSize = 8;
  AttributeBytesRangeOfDimensionValue() noexcept : AttributeBytesValue(false) {}
  AttributeBytesRangeOfDimensionValue(const Dimension& first, const Dimension& second, bool specified = true) noexcept
      : AttributeBytesValue(specified), m_first(first), m_second(second) {}
  ~AttributeBytesRangeOfDimensionValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_RANGEOFDIMENSION; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  void GetValue(Dimension& first, Dimension& second) const noexcept;
  const Dimension& GetFirst() const noexcept { return m_first; }
  const Dimension& GetSecond() const noexcept { return m_second; }
  void SetValue(const Dimension& first, const Dimension& second) noexcept;

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  Dimension m_first;
  Dimension m_second;
};

// Tag 8: a dimension.
class HDU_API AttributeBytesDimensionValue : public AttributeBytesValue {
 public:
  // The payload's size, the same for every value of the class.
  static constexpr unsigned kFixedPayloadSize = 4;
  AttributeBytesDimensionValue() noexcept : AttributeBytesValue(false) {}
  explicit AttributeBytesDimensionValue(const Dimension& value, bool specified = true) noexcept
      : AttributeBytesValue(specified), m_value(value) {}
  ~AttributeBytesDimensionValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_DIMENSION; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  const Dimension& GetValue() const noexcept { return m_value; }
  void SetValue(const Dimension& value) noexcept { m_value = value; }

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  Dimension m_value;
};

// Tag 9: a resolution: two signed 32-bit integers (normally horizontal and
// vertical dots per inch) and a 16-bit third number, in constructor order.
// On the wire the second long comes first (see above).
class HDU_API AttributeBytesResolutionValue : public AttributeBytesValue {
 public:
  // The payload's size, the same for every value of the class.
  static constexpr unsigned kFixedPayloadSize = 10;
  AttributeBytesResolutionValue() noexcept : AttributeBytesValue(false) {}
  AttributeBytesResolutionValue(long first, long second, short third, bool specified = true) noexcept;
  ~AttributeBytesResolutionValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_RESOLUTION; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  void GetValue(long& first, long& second, short& third) const noexcept;
  long GetFirst() const noexcept { return m_first; }
  long GetSecond() const noexcept { return m_second; }
  short GetThird() const noexcept { return m_third; }
  void SetValue(long first, long second, short third) noexcept;

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  long m_first = 0;
  long m_second = 0;
  short m_third = 0;
};

// Tag 10: a run of bytes.
class HDU_API AttributeBytesDataBlobValue : public AttributeBytesValue {
 public:
  AttributeBytesDataBlobValue() noexcept : AttributeBytesValue(false) {}
  explicit AttributeBytesDataBlobValue(const ByteBuffer& value, bool specified = true);
  ~AttributeBytesDataBlobValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_DATABLOB; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  const ByteBuffer& GetValue() const noexcept { return m_value; }
  void SetValue(const ByteBuffer& value) { m_value = value; }

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  // "<n> bytes: <hex>", the hex text cut after 64 bytes with "...".
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  ByteBuffer m_value;
};

// Tag 11: a kind-of-list byte (its meaning belongs to the caller) and a raw
// list of records. Reading checks the embedded list's signature ("ABRL") but
// not its records, as importing a raw list does. Copies share the list's
// bytes (see AttributeBytesRawList).
class HDU_API AttributeBytesListValue : public AttributeBytesValue {
 public:
  AttributeBytesListValue() noexcept : AttributeBytesValue(false) {}
  AttributeBytesListValue(unsigned char kindOfList, const AttributeBytesRawList& list, bool specified = true);
  AttributeBytesListValue(unsigned char kindOfList, AttributeBytesRawList&& list, bool specified = true) noexcept;
  ~AttributeBytesListValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_LIST; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  // The value line ("list of kind <k>, <n> bytes"), then the list's records,
  // nested.
  void AttributeBytesDump(const DumpArgs& dumpArgs, const std::string& idText,
                          const IAttributeBytesDebugDisplayHelper& helper) const override;
  using AttributeBytesValue::AttributeBytesDump;
  bool IsList() const noexcept override { return true; }
  void AppendValueState(ByteBuffer& out) const override;
  // Reads the list's bytes into a list of its own, at nesting level 1.
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  // Reads the list as part of `source`'s records: when the bytes lie in the
  // source's storage the list shares it instead of copying them, and it sits
  // one nesting level below the source.
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining, const AttributeBytesSource& source);
  using AttributeBytesValue::WalkBufferToSetValue;

  unsigned char GetKindOfList() const noexcept { return m_kindOfList; }
  void SetKindOfList(unsigned char kindOfList) noexcept { m_kindOfList = kindOfList; }
  const AttributeBytesRawList& GetValue() const noexcept { return m_list; }
  AttributeBytesRawList& GetValue() noexcept { return m_list; }
  void SetValue(const AttributeBytesRawList& list) { m_list = list; }

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  unsigned char m_kindOfList = 0;
  AttributeBytesRawList m_list;
};

// Tag 12: a point in time.
class HDU_API AttributeBytesDateTimeValue : public AttributeBytesValue {
 public:
  // The payload's size, the same for every value of the class.
  static constexpr unsigned kFixedPayloadSize = 8;
  AttributeBytesDateTimeValue() noexcept : AttributeBytesValue(false) {}
  explicit AttributeBytesDateTimeValue(const UtcTime& value, bool specified = true) noexcept
      : AttributeBytesValue(specified), m_value(value) {}
  ~AttributeBytesDateTimeValue() override;

  AttributeBytesValueEnum GetAttributeBytesValueType() const noexcept override { return ABVTE_DATETIME; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;
  void AppendValueState(ByteBuffer& out) const override;
  void WalkBufferToSetValue(const unsigned char*& cursor, unsigned int& remaining) override;
  using AttributeBytesValue::WalkBufferToSetValue;

  const UtcTime& GetValue() const noexcept { return m_value; }
  void SetValue(const UtcTime& value) noexcept { m_value = value; }

 protected:
  int ComparePayload(const AttributeBytesValue& other) const override;
  std::string FormatValueLine(const std::string& indentation, const std::string& idText,
                              const IAttributeBytesDebugDisplayHelper& helper) const override;

 private:
  UtcTime m_value;
};
