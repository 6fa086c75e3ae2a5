#pragma once
// AttributeBytesNameSpaces: the records of all namespaces of a settings
// collection, stamped with the DriverVersion that wrote them.
//
// It holds an indexed list of namespace records (ids of type
// "ABIDE_NAMESPACE", one per namespace) and a DriverVersion. A namespace
// record's value is a list value (ABVTE_LIST) whose raw list holds the
// namespace's own records.
//
// Persisted state: "ABNS" (41 42 4E 53), the 8-byte DriverVersion form, then
// the indexed-list state ("ABIL" "ABRL" records...). Importing checks "ABNS",
// reads the version, then imports the rest as an indexed-list state; any
// failure leaves the object, version included, as it was. Importing does not
// insist that every record has a namespace id or a list value: such records
// are kept as they are, and only the namespace accessors below refuse them.
//
// GetNameSpaceByIndex counts from 0, in id order (namespace id order when
// all ids are namespace ids).

#include "DebuggingAndExceptions/DumpArgs.h"
#include "General/ByteBuffer.h"
#include "General/DriverVersion.h"
#include "attributebytes/AttributeBytesId.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "attributebytes/AttributeBytesSharedPtr.h"
#include "hdUtilitiesExport.h"

#include <cstddef>

class IAttributeBytesDebugDisplayHelper;

class HDU_API AttributeBytesNameSpaces {
 public:
  // No namespaces, version 0.0.0.0.
  AttributeBytesNameSpaces() noexcept = default;
  explicit AttributeBytesNameSpaces(const DriverVersion& driverVersion) noexcept;
  // Imports a namespaces state and reports its version through
  // `driverVersionOut` (when not null).
  AttributeBytesNameSpaces(const ByteBuffer& state, DriverVersion* driverVersionOut);
  AttributeBytesNameSpaces(const AttributeBytesNameSpaces&) = default;
  AttributeBytesNameSpaces(AttributeBytesNameSpaces&&) noexcept = default;
  AttributeBytesNameSpaces& operator=(const AttributeBytesNameSpaces&) = default;
  AttributeBytesNameSpaces& operator=(AttributeBytesNameSpaces&&) noexcept = default;
  ~AttributeBytesNameSpaces();

  void swap(AttributeBytesNameSpaces& other) noexcept;

  // ---- state ----
  ByteBuffer GetAttributeBytesNameSpacesState() const;
  // Replaces the contents of `out` with the state.
  void GetAttributeBytesNameSpacesState(ByteBuffer& out) const;
  // Replaces the contents from a state and returns the version read with it.
  // A state under 4 bytes, or cut short in the version, throws
  // CPExceptionNotEnoughBytesForDesiredDataType; a signature that is not
  // "ABNS" throws CPExceptionMissingOrBadAttributeBytesFormat.
  DriverVersion ImportAttributeBytesNameSpacesState(const ByteBuffer& state);
  // The same, taking the state's buffer over: the namespaces' lists share
  // it instead of copying it. The namespace records are read as a list with
  // the given maximum nesting level (a namespace's own list is level 1; see
  // AttributeBytesRawList).
  DriverVersion ImportAttributeBytesNameSpacesState(ByteBuffer&& state, unsigned maximumNestingLevel = 0);

  const DriverVersion& GetDriverVersion() const noexcept { return m_driverVersion; }
  void SetDriverVersion(const DriverVersion& driverVersion) noexcept { m_driverVersion = driverVersion; }

  // ---- namespaces ----
  std::size_t GetNameSpaceCount() const noexcept { return m_nameSpaces.GetAttributeBytesCount(); }
  // The namespace record at an index (from 0, in id order); null beyond the
  // last. Walks the map, so it costs linear time in the index.
  AttributeBytesSharedPtr GetNameSpaceByIndex(std::size_t index) const;
  // Adds a namespace whose value is a list value of `kindOfList` holding
  // `records` (duplicate rule: an existing namespace id throws
  // CPExceptionDuplicateAttributeId).
  void AddNameSpace(const AttributeBytesNameSpacesId& id, const AttributeBytesRawList& records,
                    unsigned char kindOfList = 0);
  void AddNameSpace(const AttributeBytesNameSpacesId& id, AttributeBytesRawList&& records,
                    unsigned char kindOfList = 0);
  // Adds, or replaces the namespace with the same id.
  void SetNameSpace(const AttributeBytesNameSpacesId& id, const AttributeBytesRawList& records,
                    unsigned char kindOfList = 0);
  void SetNameSpace(const AttributeBytesNameSpacesId& id, AttributeBytesRawList&& records,
                    unsigned char kindOfList = 0);
  bool RemoveNameSpace(const AttributeBytesNameSpacesId& id);
  // Copies the records of a namespace into `records`; false (and `records`
  // unchanged) when there is no such namespace. A namespace record whose
  // value is not a list throws CPExceptionAttributeValueTypeMismatch.
  bool GetNameSpaceRecords(const AttributeBytesNameSpacesId& id, AttributeBytesRawList& records) const;

  const AttributeBytesIndexedList& GetNameSpacesIndexedList() const noexcept { return m_nameSpaces; }
  AttributeBytesIndexedList& GetNameSpacesIndexedList() noexcept { return m_nameSpaces; }

  // "AttributeBytesNameSpaces: version <display>, <n> namespaces", then the
  // namespace records with their records, nested.
  void AttributeBytesDump(const DumpArgs& dumpArgs, const IAttributeBytesDebugDisplayHelper& helper) const;

 private:
  AttributeBytesIndexedList m_nameSpaces;
  DriverVersion m_driverVersion;
};
