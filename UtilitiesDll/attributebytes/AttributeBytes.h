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
//
// Memory. A record made by parsing (the WalkBufferToCreate... forms, and so
// every record read from a list) is one allocation: the record, its id and
// its value side by side. Such a record is deleted as any other (its class
// has its own operator delete); its parts are replaced, not moved, by the
// setters, and swap exchanges copies of them.

#include "DebuggingAndExceptions/DumpArgs.h"
#include "General/ByteBuffer.h"
#include "attributebytes/AttributeBytesId.h"
#include "attributebytes/AttributeBytesSharedPtr.h"
#include "attributebytes/AttributeBytesValue.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <string>

class IAttributeBytesDebugDisplayHelper;

// Deletes a part of a record (its id or value), or only destroys one that
// lives in the record's own allocation.
struct AttributeBytesPartDeleter {
  bool inPlace = false;
  template <class T>
  void operator()(T* part) const noexcept {
    if (inPlace) {
      part->~T();
    } else {
      delete part;
    }
  }
};

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

  // Exchanges ids and values. Parts that live inside a parsed record's own
  // allocation are copied across, so this may throw std::bad_alloc (and
  // then changes nothing).
  void swap(AttributeBytes& other);

  // Records are allocated and freed through these (see above).
  static void* operator new(std::size_t size) { return ::operator new(size); }
  static void operator delete(void* memory) noexcept { ::operator delete(memory); }

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
  // Parses the record at the cursor without keeping it (its parts are built
  // on the stack, shown to `inspect`, then destroyed), advancing the cursor:
  // a check that the record reads, at a fraction of the cost of making it.
  static void WalkBufferToInspectAttributeBytes(
      const unsigned char*& cursor, unsigned int& remaining, const AttributeBytesSource& source,
      const std::function<void(const AttributeBytesId&, const AttributeBytesValue&)>& inspect);
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

  using PartDeleter = AttributeBytesPartDeleter;
  template <class T>
  using PartPointer = std::unique_ptr<T, PartDeleter>;

  // The parsed record in one allocation (see above).
  template <class Result>
  static Result WalkBufferToCreateInOneBlock(const unsigned char*& cursor, unsigned int& remaining,
                                             const AttributeBytesSource& source);
  AttributeBytes(PartPointer<AttributeBytesId> id, PartPointer<AttributeBytesValue> value) noexcept;
  bool HasPartsInPlace() const noexcept { return m_id.get_deleter().inPlace || m_value.get_deleter().inPlace; }

  PartPointer<AttributeBytesId> m_id;
  PartPointer<AttributeBytesValue> m_value;
};
