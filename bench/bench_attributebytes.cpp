// Attribute bytes: writing and parsing back a namespaces state of mixed
// records (every id and value type, six namespaces), and building an indexed
// list against a plain std::map of the same ids.
//
// Cases, each at 1,000, 10,000 and 100,000 records (items = records):
//   namespaces_write_<n>/ours   indexed lists -> raw lists -> namespaces state
//   namespaces_parse_<n>/ours   namespaces state -> every namespace's records
//                               parsed into an indexed list
//   indexed_list_build_<n>/ours     AttributeBytesIndexedList::AddAttributeBytes
//                                   of n shared records
//   indexed_list_build_<n>/std_map  std::map keyed by a plain id struct, same
//                                   shared records (the reference)
// The per-record times at the three sizes show the growth (n log n at most).
// Counter "allocs_per_record": heap allocations per record (the program's
// counting operator new; blocks from the library's per-thread pools are not
// heap allocations and are not counted).
//
// Nesting, at 10,000 levels (items = records read):
//   deep_walk_10000/ours   a raw-list state whose records nest list values
//                          10,000 deep (one list value per level, one integer
//                          at the bottom): imported, then every record of
//                          every level read, each level's record held while
//                          the levels beneath it are read
//   deep_walk_10000/flat   the same records without nesting (10,000 list
//                          values with empty lists and the integer, side by
//                          side), imported and read the same way
// Counter "peak_KiB": the peak memory of one walk (bench/MemoryProbe.h); the
// peak of each pair is printed after the speed ratios.

#include "BenchSupport.h"
#include "MemoryProbe.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesNameSpaces.h"
#include "attributebytes/AttributeBytesRawList.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

constexpr int kNameSpaces = 6;

std::unique_ptr<AttributeBytesId> makeId(int i) {
  const long number = i;
  const CXString name = CXString::fromUtf8("Feature_" + std::to_string(i));
  switch (i / kNameSpaces % 8) {
    case 0:
      return std::make_unique<AttributeBytesFeatureId>(number);
    case 1:
      return std::make_unique<AttributeBytesNewFeatureId>(name);
    case 2:
      return std::make_unique<AttributeBytesValueId>(number);
    case 3:
      return std::make_unique<AttributeBytesNewValueId>(name);
    case 4:
      return std::make_unique<AttributeBytesListOfValuesItemId>(number);
    case 5:
      return std::make_unique<AttributeBytesCapabilityId>(number, static_cast<short>(i % 5));
    case 6:
      return std::make_unique<AttributeBytesNewCapabilityId>(name, static_cast<short>(i % 5));
    default:
      return std::make_unique<AttributeBytesNameSpacesId>(number);
  }
}

std::unique_ptr<AttributeBytesValue> makeValue(int i) {
  const bool specified = i % 7 != 0;
  switch (i % 11) {
    case 0:
      return std::make_unique<AttributeBytesOptionValue>(AttributeBytesValueId(i), specified);
    case 1:
      return std::make_unique<AttributeBytesIntegerValue>(i * 3, specified);
    case 2:
      return std::make_unique<AttributeBytesStringValue>(CXString(u"Letter / A4 (210 x 297 mm)"), specified);
    case 3:
      return std::make_unique<AttributeBytesBooleanValue>(i % 2 == 0, specified);
    case 4:
      return std::make_unique<AttributeBytesRangeValue>(-i, i, specified);
    case 5:
      return std::make_unique<AttributeBytesRangeOfDimensionValue>(Dimension(210, DIMENSION_UNIT_MILLIMETERS),
                                                                   Dimension(11, DIMENSION_UNIT_INCHES), specified);
    case 6:
      return std::make_unique<AttributeBytesDimensionValue>(Dimension(i, DIMENSION_UNIT_POINTS), specified);
    case 7:
      return std::make_unique<AttributeBytesResolutionValue>(600, 1200, 3, specified);
    case 8:
      return std::make_unique<AttributeBytesDataBlobValue>(ByteBuffer(24, static_cast<unsigned char>(i)), specified);
    case 9: {
      AttributeBytesRawList items;
      items.AddAttributeBytes(AttributeBytes(AttributeBytesListOfValuesItemId(0), AttributeBytesIntegerValue(i)));
      items.AddAttributeBytes(AttributeBytes(AttributeBytesListOfValuesItemId(1), AttributeBytesBooleanValue(true)));
      return std::make_unique<AttributeBytesListValue>(1, items, specified);
    }
    default:
      return std::make_unique<AttributeBytesDateTimeValue>(UtcTime(1700000000 + i), specified);
  }
}

// The records of one size, by namespace, as indexed lists.
struct Workload {
  std::vector<AttributeBytesSharedPtr> records;
  std::vector<AttributeBytesIndexedList> nameSpaces;
  ByteBuffer state;
};

const Workload& workload(int count) {
  static std::map<int, Workload> cache;
  Workload& work = cache[count];
  if (work.records.empty()) {
    work.nameSpaces.resize(kNameSpaces);
    for (int i = 0; i < count; ++i) {
      auto record = MakeAttributeBytesSharedPtr(makeId(i), makeValue(i));
      work.nameSpaces[i % kNameSpaces].AddAttributeBytes(record);
      work.records.push_back(record);
    }
    AttributeBytesNameSpaces nameSpaces(DriverVersion(7, 4, 0, 999));
    for (int n = 0; n < kNameSpaces; ++n) {
      AttributeBytesRawList raw;
      raw.ImportFromIndexedList(work.nameSpaces[n]);
      nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(n + 1), std::move(raw));
    }
    work.state = nameSpaces.GetAttributeBytesNameSpacesState();
  }
  return work;
}

ByteBuffer writeNameSpaces(const Workload& work) {
  AttributeBytesNameSpaces nameSpaces(DriverVersion(7, 4, 0, 999));
  for (int n = 0; n < kNameSpaces; ++n) {
    AttributeBytesRawList raw;
    raw.ImportFromIndexedList(work.nameSpaces[n]);
    nameSpaces.SetNameSpace(AttributeBytesNameSpacesId(n + 1), std::move(raw));
  }
  ByteBuffer state;
  nameSpaces.GetAttributeBytesNameSpacesState(state);
  return state;
}

std::size_t parseNameSpaces(const ByteBuffer& state) {
  AttributeBytesNameSpaces nameSpaces;
  nameSpaces.ImportAttributeBytesNameSpacesState(state);
  std::size_t records = 0;
  AttributeBytesRawList raw;
  for (int n = 0; n < kNameSpaces; ++n) {
    if (nameSpaces.GetNameSpaceRecords(AttributeBytesNameSpacesId(n + 1), raw)) {
      AttributeBytesIndexedList list;
      list.ImportFromRawList(raw);
      records += list.GetAttributeBytesCount();
    }
  }
  return records;
}

// The reference key: the same id as plain data, ordered tag first.
struct PlainId {
  int tag;
  long number;
  short capability;
  std::u16string name;
  bool operator<(const PlainId& other) const {
    return std::tie(tag, number, name, capability) < std::tie(other.tag, other.number, other.name, other.capability);
  }
};

PlainId plainIdOf(const AttributeBytesId& id) {
  PlainId plain{id.GetAttributeBytesIdType(), 0, 0, {}};
  switch (id.GetAttributeBytesIdType()) {
    case ABIDE_FEATURE:
      plain.number = static_cast<const AttributeBytesFeatureId&>(id).GetFeatureId();
      break;
    case ABIDE_VALUE:
      plain.number = static_cast<const AttributeBytesValueId&>(id).GetValueId();
      break;
    case ABIDE_LISTOFVALUESITEM:
      plain.number = static_cast<const AttributeBytesListOfValuesItemId&>(id).GetIndexValue();
      break;
    case ABIDE_NAMESPACE:
      plain.number = static_cast<const AttributeBytesNameSpacesId&>(id).GetNameSpaceId();
      break;
    case ABIDE_NEWFEATURE:
      plain.name = static_cast<const AttributeBytesNewFeatureId&>(id).GetFeatureName().u16string();
      break;
    case ABIDE_NEWVALUE:
      plain.name = static_cast<const AttributeBytesNewValueId&>(id).GetValueName().u16string();
      break;
    case ABIDE_CAPABILITY:
      plain.number = static_cast<const AttributeBytesCapabilityId&>(id).GetFeatureId();
      plain.capability = static_cast<const AttributeBytesCapabilityId&>(id).GetCapabilityTypeEnum();
      break;
    case ABIDE_NEWCAPABILITY:
      plain.name = static_cast<const AttributeBytesNewCapabilityId&>(id).GetNewFeatureId().u16string();
      plain.capability = static_cast<const AttributeBytesNewCapabilityId&>(id).GetCapabilityTypeEnum();
      break;
    default:
      break;
  }
  return plain;
}

void setPerRecordCounters(benchmark::State& state, const hdbench::AllocationCounter& counter, long long records) {
  state.SetItemsProcessed(state.iterations() * records);
  state.counters["allocs_per_record"] = benchmark::Counter(static_cast<double>(counter.allocations()) /
                                                           static_cast<double>(state.iterations() * records));
}

void namespacesWrite(benchmark::State& state, int count) {
  const Workload& work = workload(count);
  hdbench::AllocationCounter counter;
  for (auto _ : state) {
    ByteBuffer bytes = writeNameSpaces(work);
    hdbench::opaque(bytes);
  }
  setPerRecordCounters(state, counter, count);
}

void namespacesParse(benchmark::State& state, int count) {
  const Workload& work = workload(count);
  hdbench::AllocationCounter counter;
  for (auto _ : state) {
    const std::size_t records = parseNameSpaces(work.state);
    hdbench::opaque(records);
  }
  setPerRecordCounters(state, counter, count);
}

void indexedListBuild(benchmark::State& state, int count) {
  const Workload& work = workload(count);
  hdbench::AllocationCounter counter;
  for (auto _ : state) {
    AttributeBytesIndexedList list;
    for (const AttributeBytesSharedPtr& record : work.records) {
      list.AddAttributeBytes(record);
    }
    hdbench::opaque(list);
  }
  setPerRecordCounters(state, counter, count);
}

void stdMapBuild(benchmark::State& state, int count) {
  const Workload& work = workload(count);
  hdbench::AllocationCounter counter;
  for (auto _ : state) {
    std::map<PlainId, AttributeBytesSharedPtr> map;
    for (const AttributeBytesSharedPtr& record : work.records) {
      if (!map.emplace(plainIdOf(record->GetAttributeBytesId()), record).second) {
        std::abort();  // the ids are unique, as the indexed list insists
      }
    }
    hdbench::opaque(map);
  }
  setPerRecordCounters(state, counter, count);
}

// ---- nesting ----

constexpr unsigned kDeepLevels = 10000;

void appendLittleEndian32(ByteBuffer& out, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) {
    out.push_back(static_cast<unsigned char>(value >> (8 * i)));
  }
}

// A list-value record of feature 2 whose list state ("ABRL" and the records)
// is `listStateSize` bytes; the records follow.
void appendListRecordHead(ByteBuffer& out, std::uint32_t listStateSize) {
  for (const unsigned char byte : {0x02, 0x02, 0x00, 0x00, 0x00, 0x0B, 0x00, 0x00}) {
    out.push_back(byte);
  }
  appendLittleEndian32(out, listStateSize);
  appendLittleEndian32(out, 0x4C524241u);  // "ABRL"
}

// Feature 1, integer 7.
void appendIntegerRecord(ByteBuffer& out) {
  for (const unsigned char byte : {0x02, 0x01, 0x00, 0x00, 0x00, 0x03, 0x00, 0x07, 0x00, 0x00, 0x00}) {
    out.push_back(byte);
  }
}

// Raw-list states, written byte by byte (building them through the library
// would copy each level into the one above it).
ByteBuffer deepState() {
  constexpr std::uint32_t kListRecordHead = 16;
  constexpr std::uint32_t kIntegerRecord = 11;
  ByteBuffer state;
  appendLittleEndian32(state, 0x4C524241u);
  for (unsigned level = 0; level < kDeepLevels; ++level) {
    appendListRecordHead(state, 4 + (kDeepLevels - level - 1) * kListRecordHead + kIntegerRecord);
  }
  appendIntegerRecord(state);
  return state;
}

ByteBuffer flatState() {
  ByteBuffer state;
  appendLittleEndian32(state, 0x4C524241u);
  for (unsigned level = 0; level < kDeepLevels; ++level) {
    appendListRecordHead(state, 4);
  }
  appendIntegerRecord(state);
  return state;
}

// Imports a raw-list state and reads every record of every nested list,
// depth first, holding each level's record while the levels beneath it are
// read (as a recursive reader does). Returns the number of records read.
std::size_t walkState(const ByteBuffer& state) {
  struct Level {
    AttributeBytesSharedPtr owner;
    const AttributeBytesRawList* list;
    AttributeBytesRawListIterator iterator;
  };
  const AttributeBytesRawList top(state);
  std::vector<Level> levels;
  levels.push_back({AttributeBytesSharedPtr(), &top, top.GetRawListIterator()});
  std::size_t records = 0;
  while (!levels.empty()) {
    Level& level = levels.back();
    AttributeBytesSharedPtr record = level.list->GetNextAttributeBytesFromRawListIterator(level.iterator);
    if (!record) {
      levels.pop_back();
      continue;
    }
    ++records;
    const AttributeBytesValue& value = record->GetAttributeBytesValue();
    if (value.IsList()) {
      const AttributeBytesRawList* list = &value.GetListValue().GetValue();
      levels.push_back({record, list, list->GetRawListIterator()});
    }
  }
  return records;
}

void deepWalk(benchmark::State& state, const std::string& name, const ByteBuffer& bytes) {
  const double peak = hdbench::peakKiB([&bytes] { hdbench::opaque(walkState(bytes)); });
  hdbench::recordPeak(name, peak);
  hdbench::AllocationCounter counter;
  std::size_t records = 0;
  for (auto _ : state) {
    records = walkState(bytes);
    hdbench::opaque(records);
  }
  setPerRecordCounters(state, counter, static_cast<long long>(records));
  state.counters["peak_KiB"] = peak;
}

// Before timing: the state parses back to every record, and the namespace
// lists hold them all.
const bool kChecked = [] {
  for (int count : {1000, 10000, 100000}) {
    const Workload& work = workload(count);
    if (parseNameSpaces(work.state) != static_cast<std::size_t>(count) || writeNameSpaces(work) != work.state) {
      std::fprintf(stderr, "bench_attributebytes: the namespaces state does not round-trip (%d records)\n", count);
      std::abort();
    }
  }
  return true;
}();

void registerAll() {
  for (int count : {1000, 10000, 100000}) {
    const std::string size = std::to_string(count);
    benchmark::RegisterBenchmark(("namespaces_write_" + size + "/ours").c_str(), namespacesWrite, count);
    benchmark::RegisterBenchmark(("namespaces_parse_" + size + "/ours").c_str(), namespacesParse, count);
    benchmark::RegisterBenchmark(("indexed_list_build_" + size + "/ours").c_str(), indexedListBuild, count);
    benchmark::RegisterBenchmark(("indexed_list_build_" + size + "/std_map").c_str(), stdMapBuild, count);
  }
  static const ByteBuffer deep = deepState();
  static const ByteBuffer flat = flatState();
  if (walkState(deep) != kDeepLevels + 1 || walkState(flat) != kDeepLevels + 1) {
    std::fprintf(stderr, "bench_attributebytes: the nested states do not read back\n");
    std::abort();
  }
  const std::string levels = std::to_string(kDeepLevels);
  benchmark::RegisterBenchmark(("deep_walk_" + levels + "/ours").c_str(), deepWalk, "deep_walk_" + levels + "/ours",
                               deep)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(("deep_walk_" + levels + "/flat").c_str(), deepWalk, "deep_walk_" + levels + "/flat",
                               flat)
      ->Unit(benchmark::kMillisecond);
}

const bool kRegistered = (registerAll(), true);

}  // namespace

int main(int argc, char** argv) {
  const int result = hdbench::runAll(argc, argv);
  hdbench::printPeakRatios();
  return result;
}
