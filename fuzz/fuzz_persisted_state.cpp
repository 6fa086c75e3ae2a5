// Fuzz target: a persisted attributes state imported from arbitrary bytes.
//
// Each input is tried twice:
//  - as a persisted state itself (header, footer, validation, zlib and the
//    upgrade of older forms are exercised);
//  - as the namespaces state inside a well-formed persisted state (a current
//    header, the input compressed with zlib, a footer with its size), so
//    that every input also reaches the namespaces, lists and records.
// Each import is made with and without checking every record.
//
// Contract, trapped when broken:
//  - the only failures are exceptions of the library's hierarchy, and a
//    failed import leaves the object (header, namespaces, version) and the
//    version argument exactly as they were;
//  - an import that checks every record succeeds only where the trusting
//    import does;
//  - after a good import the header is current and the version argument is
//    the namespaces' version; namespaces whose top level holds a record that
//    is not a namespace list (taken on trust by the import that does not
//    check every record) are refused by building with
//    CPExceptionMissingOrBadPersistentAttributesFormat; any other rebuilt
//    state imports again to equal
//    namespaces and the same version, and rebuilding that gives the same
//    bytes again (apart from top-level records with a negative dimension,
//    which move one micron toward zero each time they are written; see
//    AttributeBytesFuzzSupport.h);
//  - a state dump never throws.
//
// Seeds (fuzz/corpus/persisted_state/): states written by PersistentAttributes
// (default, empty with a version, realistic collections with every value type
// and nested lists), older forms (older header versions, no header with each
// footer form), bare namespaces states for the second way of trying, and
// hostile ones: streams of about 1,000 to 1 that claim less than they
// inflate to, more than the ceiling on the original size, or exactly what
// they hold (a 1 MiB blob), and records nested 200 deep. The dictionary
// (fuzz_persisted_state.dict) holds the signatures, header and footer fields
// and sizes at the limits; the runs are held to 512 MB and 5 s per input
// (fuzz_persisted_state.options), so that an input whose cost is not bounded
// by what it claims is reported.

#include "AttributeBytesFuzzSupport.h"
#include "Compression/CompressedBuffer.h"
#include "attributebytes/PersistentAttributes.h"

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

using abfuzz::require;

bool holdsOnlyNameSpaceLists(const AttributeBytesNameSpaces& nameSpaces) {
  const AttributeBytesIndexedList& list = nameSpaces.GetNameSpacesIndexedList();
  AttributeBytesIndexedListIterator iterator = list.GetIndexedListIterator();
  while (const AttributeBytesSharedPtr record = list.GetNextAttributeBytesFromIndexedListIterator(iterator)) {
    if (record->GetAttributeBytesId().GetAttributeBytesIdType() != ABIDE_NAMESPACE ||
        !record->GetAttributeBytesValue().IsList()) {
      return false;
    }
  }
  return true;
}

bool hasNegativeDimensionAtTop(const AttributeBytesNameSpaces& nameSpaces) {
  const AttributeBytesIndexedList& list = nameSpaces.GetNameSpacesIndexedList();
  AttributeBytesIndexedListIterator iterator = list.GetIndexedListIterator();
  while (const AttributeBytesSharedPtr record = list.GetNextAttributeBytesFromIndexedListIterator(iterator)) {
    if (abfuzz::hasNegativeDimension(record->GetAttributeBytesValue())) {
      return true;
    }
  }
  return false;
}

PersistentAttributes makeHeldObject() {
  AttributeBytesRawList saved;
  saved.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300)));
  AttributeBytesNameSpaces nameSpaces(DriverVersion(7, 4, 0, 999));
  nameSpaces.AddNameSpace(PersistentAttributes::GetSavedSettingsNameSpaceId(), saved);
  return PersistentAttributes(nameSpaces);
}

void fuzzState(const ByteBuffer& state) {
  const auto& helper = NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance();
  std::string sink;
  PersistentAttributes::DumpStateData(state, DumpArgs(&sink), helper);
  require(!sink.empty());

  bool trustingSucceeded = false;
  for (const bool checkEveryRecord : {false, true}) {
    PersistentAttributes object = makeHeldObject();
    const ByteBuffer before = object.GetPersistentAttributesState();
    const PersistentAttributesHeaderType headerBefore = object.GetHeader();
    DriverVersion version(1, 2, 3, 4);
    try {
      require(object.ImportPersistentAttributesState(state, version, true, checkEveryRecord));
    } catch (const CPException&) {
      require(version == DriverVersion(1, 2, 3, 4));
      require(object.GetHeader() == headerBefore);
      require(object.GetPersistentAttributesState() == before);
      continue;
    }
    if (!checkEveryRecord) {
      trustingSucceeded = true;
    } else {
      require(trustingSucceeded);
    }
    const AttributeBytesNameSpaces& nameSpaces = object.GetAttributeBytesNameSpaces();
    require(object.GetHeader().IsCurrentVersionHeader());
    require(version == nameSpaces.GetDriverVersion());
    if (!holdsOnlyNameSpaceLists(nameSpaces)) {
      require(!checkEveryRecord);
      bool refused = false;
      try {
        object.GetPersistentAttributesState();
      } catch (const CPExceptionMissingOrBadPersistentAttributesFormat&) {
        refused = true;
      }
      require(refused);
      continue;
    }

    const ByteBuffer rebuilt = object.GetPersistentAttributesState();
    require(rebuilt.size() == object.GetPersistentAttributesStateSize());
    DriverVersion againVersion;
    PersistentAttributes again;
    require(again.ImportPersistentAttributesState(rebuilt, againVersion, true, checkEveryRecord));
    require(againVersion == version);
    const AttributeBytesNameSpaces& againNameSpaces = again.GetAttributeBytesNameSpaces();
    require(againNameSpaces.GetNameSpaceCount() == nameSpaces.GetNameSpaceCount());
    if (!hasNegativeDimensionAtTop(nameSpaces)) {
      require(againNameSpaces.GetAttributeBytesNameSpacesState() == nameSpaces.GetAttributeBytesNameSpacesState());
      require(again.GetPersistentAttributesState() == rebuilt);
    }

    std::string dump;
    object.AttributeBytesDump(DumpArgs(&dump), helper);
    require(!dump.empty());
  }
}

// A current header, `nameSpacesState` compressed with zlib, and its footer.
ByteBuffer wrapped(const ByteBuffer& nameSpacesState) {
  ByteBuffer state = PersistentAttributesHeaderType().GetHeaderBytes();
  if (nameSpacesState.empty()) {
    CompressedBuffer::AppendFooterInfo(state, 0, -1, CFE_ZLIB);
    return state;
  }
  uLongf size = compressBound(static_cast<uLong>(nameSpacesState.size()));
  ByteBuffer stream(size, 0);
  require(compress2(stream.data(), &size, nameSpacesState.data(), static_cast<uLong>(nameSpacesState.size()), -1) ==
          Z_OK);
  stream.resize(size);
  state.append(stream);
  CompressedBuffer::AppendFooterInfo(state, static_cast<long>(nameSpacesState.size()), -1, CFE_ZLIB);
  return state;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteBuffer input(data, static_cast<unsigned long>(size));
  fuzzState(input);
  fuzzState(wrapped(input));
  return 0;
}
