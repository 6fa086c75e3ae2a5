// Fuzz target: an indexed-list state imported from arbitrary bytes. A failed
// import leaves the list exactly as it was (state and iterators); a good one
// holds each id once, in strictly increasing order, and writes a state that
// imports again to the same ids. The input is also tried behind "ABIL"
// "ABRL", so that every input reaches the records.

#include "AttributeBytesFuzzSupport.h"
#include "attributebytes/AttributeBytesIndexedList.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

void fuzzState(const ByteBuffer& state) {
  using abfuzz::require;
  AttributeBytesIndexedList list;
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300)));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesValueId(7), AttributeBytesBooleanValue(false, false)));
  const ByteBuffer before = list.GetAttributeBytesIndexedListState();
  AttributeBytesIndexedListIterator iterator = list.GetIndexedListIterator();
  try {
    list.ImportAttributeBytesIndexedListState(state);
  } catch (const CPException&) {
    require(list.GetAttributeBytesIndexedListState() == before);
    require(static_cast<bool>(list.GetNextAttributeBytesFromIndexedListIterator(iterator)));
    return;
  }

  // Ids strictly increasing; every record found by its id.
  std::vector<AttributeBytesSharedPtr> records;
  AttributeBytesIndexedListIterator walk = list.GetIndexedListIterator();
  while (AttributeBytesSharedPtr record = list.GetNextAttributeBytesFromIndexedListIterator(walk)) {
    if (!records.empty()) {
      require(records.back()->GetAttributeBytesId().LessThan(record->GetAttributeBytesId()));
    }
    require(list.GetAttributeBytesPtr(record->GetAttributeBytesId()) == record.get());
    records.push_back(record);
  }
  require(records.size() == list.GetAttributeBytesCount());
  for (const AttributeBytesSharedPtr& record : records) {
    abfuzz::checkRecord(*record, record->GetAttributeBytesState().size(), 0);
  }

  // The written state imports again to the same ids in the same order.
  const ByteBuffer written = list.GetAttributeBytesIndexedListState();
  const AttributeBytesIndexedList again(written);
  require(again.GetAttributeBytesCount() == list.GetAttributeBytesCount());
  AttributeBytesIndexedListIterator mine = list.GetIndexedListIterator();
  AttributeBytesIndexedListIterator theirs = again.GetIndexedListIterator();
  while (AttributeBytesSharedPtr a = list.GetNextAttributeBytesFromIndexedListIterator(mine)) {
    const AttributeBytesSharedPtr b = again.GetNextAttributeBytesFromIndexedListIterator(theirs);
    require(b && a->GetAttributeBytesId().IsEqual(b->GetAttributeBytesId()));
  }
  require(again.GetAttributeBytesIndexedListState().size() == written.size());

  std::string sink;
  list.AttributeBytesDump(DumpArgs(&sink), NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteBuffer input(data, static_cast<unsigned long>(size));
  fuzzState(input);
  ByteBuffer signed_{0x41, 0x42, 0x49, 0x4C, 0x41, 0x42, 0x52, 0x4C};
  signed_.append(input);
  fuzzState(signed_);
  return 0;
}
