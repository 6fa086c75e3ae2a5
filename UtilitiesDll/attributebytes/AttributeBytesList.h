#pragma once
// AttributeBytesList: what every list of attribute-bytes records offers, and
// AttributeBytesListIterator, the position of a walk through one.
//
// A walk: take an iterator from the list (CreateIterator, or the list's own
// typed iterator), then call GetNext... until it gives null. At the end of a
// list every GetNext... form returns a null pointer, never throws, and leaves
// the iterator at the end.
//
// An iterator belongs to one list and to one state of that list: a list
// hands out iterators stamped with its current stamp, and takes back only
// iterators that carry it. Adding records keeps the stamp (walks in progress
// go on and may meet the new records); replacing the contents (an import,
// Clear, assignment) and removing records give the list a new stamp, after
// which older iterators are refused. Stamps are unique in the process, so an
// iterator is never taken for one of another list. Handing a list an
// iterator of another list class throws CPExceptionAttributeValueTypeMismatch
// ("Incoming AttributeBytesListIterator is the wrong type for this class!");
// an iterator of another list or of an older state throws
// CPExceptionIndexOutOfBounds ("Invalid iterator supplied!").

#include "DebuggingAndExceptions/DumpArgs.h"
#include "attributebytes/AttributeBytesSharedPtr.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <memory>

class AttributeBytes;
class IAttributeBytesDebugDisplayHelper;

enum AttributeBytesListIteratorKind : int {
  ABLIK_RAWLIST = 1,
  ABLIK_INDEXEDLIST = 2,
};

class HDU_API AttributeBytesListIterator {
 public:
  virtual ~AttributeBytesListIterator();

  virtual AttributeBytesListIteratorKind GetListIteratorKind() const noexcept = 0;
  virtual std::unique_ptr<AttributeBytesListIterator> Clone() const = 0;

  // The stamp of the list state this iterator belongs to (0: none).
  std::uint64_t GetListStamp() const noexcept { return m_listStamp; }

 protected:
  AttributeBytesListIterator() noexcept = default;
  explicit AttributeBytesListIterator(std::uint64_t listStamp) noexcept : m_listStamp(listStamp) {}
  AttributeBytesListIterator(const AttributeBytesListIterator&) noexcept = default;
  AttributeBytesListIterator& operator=(const AttributeBytesListIterator&) noexcept = default;

 private:
  std::uint64_t m_listStamp = 0;
};

class HDU_API AttributeBytesList {
 public:
  virtual ~AttributeBytesList();

  // An iterator at the first record.
  virtual std::unique_ptr<AttributeBytesListIterator> CreateIterator() const = 0;

  // Adds a record (a copy of it, or the shared record itself).
  virtual void AddAttributeBytes(const AttributeBytes& attributeBytes) = 0;
  virtual void AddAttributeBytes(const AttributeBytesSharedPtr& attributeBytes) = 0;

  // The record at the iterator, as a new object, and the iterator moved past
  // it; null at the end of the list.
  virtual std::unique_ptr<AttributeBytes> GetNextAttributeBytes(AttributeBytesListIterator& iterator) const = 0;
  // The same as a shared record; null at the end of the list.
  virtual AttributeBytesSharedPtr GetNextAttributeBytesSharedPtr(AttributeBytesListIterator& iterator) const = 0;

  virtual bool IsEmpty() const noexcept = 0;
  virtual void Clear() = 0;

  // Writes the list and its records through the display helper.
  virtual void AttributeBytesDump(const DumpArgs& dumpArgs, const IAttributeBytesDebugDisplayHelper& helper) const = 0;

 protected:
  AttributeBytesList() = default;
  AttributeBytesList(const AttributeBytesList&) = default;
  AttributeBytesList& operator=(const AttributeBytesList&) = default;

  // A new stamp, never handed out before in this process.
  static std::uint64_t NewListStamp() noexcept;
};
