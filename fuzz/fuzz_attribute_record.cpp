// Fuzz target: one attribute-bytes record parsed from arbitrary bytes, then
// held to the record contract (see AttributeBytesFuzzSupport.h). A failed
// parse must leave the target record exactly as it was.

#include "AttributeBytesFuzzSupport.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using abfuzz::require;
  const ByteBuffer input(data, static_cast<unsigned long>(size));
  AttributeBytes target(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300));
  const ByteBuffer before = target.GetAttributeBytesState();
  try {
    target.ImportAttributeBytesState(input);
  } catch (const CPException&) {
    require(target.GetAttributeBytesState() == before);
    return 0;
  }
  try {
    const unsigned char* cursor = input.data();
    auto remaining = static_cast<unsigned int>(input.size());
    const std::unique_ptr<AttributeBytes> walked = AttributeBytes::WalkBufferToCreateAttributeBytes(cursor, remaining);
    require(walked->IsEqual(target));
    const auto consumed = static_cast<std::size_t>(cursor - input.data());
    require(consumed + remaining == input.size());
    abfuzz::checkRecord(target, consumed, 0);
  } catch (const CPException&) {
    // Only a nested list's damaged records may throw here, and checkList
    // catches those; anything reaching this point broke the contract.
    require(false);
  }
  return 0;
}
