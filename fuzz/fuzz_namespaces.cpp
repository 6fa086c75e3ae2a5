// Fuzz target: a namespaces state imported from arbitrary bytes. A failed
// import leaves the object, version included, exactly as it was; a good one
// reports the version stored after "ABNS", finds every namespace by index
// and by id, reads the records of every namespace (nested lists included,
// see AttributeBytesFuzzSupport.h) and writes a state that imports again.
// The input is also tried behind "ABNS", so that every input reaches the
// version and the lists.

#include "AttributeBytesFuzzSupport.h"
#include "attributebytes/AttributeBytesNameSpaces.h"

#include <cstddef>
#include <cstdint>

namespace {

void fuzzState(const ByteBuffer& state) {
  using abfuzz::require;
  AttributeBytesRawList saved;
  saved.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300)));
  AttributeBytesNameSpaces nameSpaces(DriverVersion(7, 4, 0, 999));
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(4), saved);
  const ByteBuffer before = nameSpaces.GetAttributeBytesNameSpacesState();
  DriverVersion version;
  try {
    version = nameSpaces.ImportAttributeBytesNameSpacesState(state);
  } catch (const CPException&) {
    require(nameSpaces.GetAttributeBytesNameSpacesState() == before);
    require(nameSpaces.GetDriverVersion() == DriverVersion(7, 4, 0, 999));
    return;
  }
  require(state.size() >= 12);
  require(version.GetVersionAsByteBuffer() == ByteBuffer(state.begin() + 4, state.begin() + 12));
  require(nameSpaces.GetDriverVersion() == version);

  const std::size_t count = nameSpaces.GetNameSpaceCount();
  for (std::size_t index = 0; index < count; ++index) {
    const AttributeBytesSharedPtr record = nameSpaces.GetNameSpaceByIndex(index);
    require(static_cast<bool>(record));
    abfuzz::checkRecord(*record, record->GetAttributeBytesState().size(), 0);
    const AttributeBytesId& id = record->GetAttributeBytesId();
    if (id.GetAttributeBytesIdType() == ABIDE_NAMESPACE) {
      AttributeBytesRawList records;
      try {
        require(nameSpaces.GetNameSpaceRecords(static_cast<const AttributeBytesNameSpacesId&>(id), records));
        require(record->GetAttributeBytesValue().IsList());
      } catch (const CPExceptionAttributeValueTypeMismatch&) {
        require(!record->GetAttributeBytesValue().IsList());
      }
    }
  }
  require(!nameSpaces.GetNameSpaceByIndex(count));

  DriverVersion reported;
  const ByteBuffer written = nameSpaces.GetAttributeBytesNameSpacesState();
  const AttributeBytesNameSpaces again(written, &reported);
  require(reported == version);
  require(again.GetNameSpaceCount() == count);

  std::string sink;
  nameSpaces.AttributeBytesDump(DumpArgs(&sink), NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteBuffer input(data, static_cast<unsigned long>(size));
  fuzzState(input);
  ByteBuffer signed_{0x41, 0x42, 0x4E, 0x53};
  signed_.append(input);
  fuzzState(signed_);
  return 0;
}
