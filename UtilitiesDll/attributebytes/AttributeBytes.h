#pragma once
// AttributeBytes: one attribute-bytes record, an id paired with a typed value.
//
// The record owns exactly one AttributeBytesId and one AttributeBytesValue;
// it is never without either. Copying clones both.
//
// Its state (the record bytes) is the id part immediately followed by the
// value part, with no length, padding or terminator:
//   id tag, id payload, value tag, unspecified flag, value payload
// (see AttributeBytesId.h and AttributeBytesValue.h). Feature id 5 with the
// specified integer 300 is 02 05 00 00 00 03 00 2C 01 00 00.
//
// Parsing reads the id tag, lets the id factory create the id and the id read
// its payload, then the value tag, the flag byte and the value's payload.
// Bytes left over after the value are ignored. Parsing is all or nothing: a
// record that fails to parse (an unknown tag throws CPExceptionUnhandledSyntax,
// a record cut short CPExceptionNotEnoughBytesForDesiredDataType) leaves the
// object with its previous id and value.

#include "DebuggingAndExceptions/DumpArgs.h"
#include "General/ByteBuffer.h"
#include "attributebytes/AttributeBytesId.h"
#include "attributebytes/AttributeBytesSharedPtr.h"
#include "attributebytes/AttributeBytesValue.h"
#include "hdUtilitiesExport.h"

#include <memory>
#include <string>

class IAttributeBytesDebugDisplayHelper;

class HDU_API AttributeBytes {
 public:
  // Parses one record.
  explicit AttributeBytes(const ByteBuffer& state);
  // Takes ownership of both (a null pointer throws CPExceptionAutoPtrNull).
  AttributeBytes(std::unique_ptr<AttributeBytesId> id, std::unique_ptr<AttributeBytesValue> value);
  // Takes ownership of the id and clones the value.
  AttributeBytes(std::unique_ptr<AttributeBytesId> id, const AttributeBytesValue& value);
  // Clones both.
  AttributeBytes(const AttributeBytesId& id, const AttributeBytesValue& value);
  AttributeBytes(const AttributeBytes& other);
  AttributeBytes& operator=(const AttributeBytes& other);
  ~AttributeBytes();

  // Exchanges ids and values.
  void swap(AttributeBytes& other) noexcept;

  const AttributeBytesId& GetAttributeBytesId() const noexcept { return *m_id; }
  const AttributeBytesValue& GetAttributeBytesValue() const noexcept { return *m_value; }
  AttributeBytesValue& GetAttributeBytesValue() noexcept { return *m_value; }
  // Replaces the value (a null pointer throws CPExceptionAutoPtrNull).
  void SetAttributeBytesValue(std::unique_ptr<AttributeBytesValue> value);
  void SetAttributeBytesValue(const AttributeBytesValue& value);

  // ---- state ----
  ByteBuffer GetAttributeBytesState() const;
  // Replaces the contents of `out` with the record bytes.
  void GetAttributeBytesState(ByteBuffer& out) const;
  // Appends the record bytes to `out`.
  void AppendAttributeBytesState(ByteBuffer& out) const;
  // Replaces id and value from the record at the start of `state`.
  void ImportAttributeBytesState(const ByteBuffer& state);
  // Replaces id and value from the record at the cursor, and advances the
  // cursor past it (on failure neither the object nor the cursor moves).
  // With a source (the list the bytes belong to), a list value shares the
  // source's storage and sits one nesting level below it; without one it
  // copies its bytes and sits at level 1.
  void WalkBufferToSetAttributeBytes(const unsigned char*& cursor, unsigned int& remaining,
                                     const AttributeBytesSource& source = AttributeBytesSource());
  // Parses the record at the cursor into a new object, advancing the cursor.
  static std::unique_ptr<AttributeBytes> WalkBufferToCreateAttributeBytes(
      const unsigned char*& cursor, unsigned int& remaining,
      const AttributeBytesSource& source = AttributeBytesSource());
  static AttributeBytesSharedPtr WalkBufferToCreateAttributeBytesSharedPtr(
      const unsigned char*& cursor, unsigned int& remaining,
      const AttributeBytesSource& source = AttributeBytesSource());

  // Same id and equal values (see AttributeBytesValue for value equality).
  bool IsEqual(const AttributeBytes& other) const;

  // ---- display ----
  // The record's value line (see AttributeBytesValue) with the id's display
  // text, without indentation or line break: "Feature(5) value=300".
  std::string GetDebugDisplayString(const IAttributeBytesDebugDisplayHelper& helper) const;
  std::string GetDebugDisplayString() const;
  // The value line at the dump's indentation, and a list value's records
  // nested beneath it.
  void AttributeBytesDump(const DumpArgs& dumpArgs, const IAttributeBytesDebugDisplayHelper& helper) const;

 private:
  // Parses the two parts at the cursor without touching any object.
  static void WalkBufferToGetParts(const unsigned char*& cursor, unsigned int& remaining,
                                   const AttributeBytesSource& source, std::unique_ptr<AttributeBytesId>& id,
                                   std::unique_ptr<AttributeBytesValue>& value);
  static std::unique_ptr<AttributeBytesId> RequireId(std::unique_ptr<AttributeBytesId> id);
  static std::unique_ptr<AttributeBytesValue> RequireValue(std::unique_ptr<AttributeBytesValue> value);

  std::unique_ptr<AttributeBytesId> m_id;
  std::unique_ptr<AttributeBytesValue> m_value;
};
