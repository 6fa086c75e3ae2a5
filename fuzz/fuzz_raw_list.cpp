// Fuzz target: a raw-list state imported from arbitrary bytes, then every
// record read (see AttributeBytesFuzzSupport.h). The input is used twice: as
// a state as it stands (so the signature check is exercised) and behind an
// "ABRL" signature (so that every input reaches the records).

#include "AttributeBytesFuzzSupport.h"

#include <cstddef>
#include <cstdint>

namespace {

void fuzzState(const ByteBuffer& state) {
  using abfuzz::require;
  AttributeBytesRawList list;
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesBooleanValue(true)));
  const ByteBuffer before = list.GetAttributeBytesRawListState();
  try {
    list.ImportAttributeBytesRawListState(state);
  } catch (const CPException&) {
    require(list.GetAttributeBytesRawListState() == before);
    return;
  }
  // The state is kept byte for byte; records are checked only when read.
  require(list.GetAttributeBytesRawListState() == state);
  abfuzz::checkList(list, 0);
  try {
    const unsigned count = list.GetAttributeBytesCount();
    const AttributeBytesRawList copy(static_cast<const AttributeBytesList&>(list));
    require(copy.GetAttributeBytesCount() == count);
  } catch (const CPException&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteBuffer input(data, static_cast<unsigned long>(size));
  fuzzState(input);
  ByteBuffer signed_{0x41, 0x42, 0x52, 0x4C};
  signed_.append(input);
  fuzzState(signed_);
  return 0;
}
