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

#include "BenchSupport.h"
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

void namespacesWrite(benchmark::State& state, int count) {
  const Workload& work = workload(count);
  for (auto _ : state) {
    ByteBuffer bytes = writeNameSpaces(work);
    hdbench::opaque(bytes);
  }
  state.SetItemsProcessed(state.iterations() * count);
}

void namespacesParse(benchmark::State& state, int count) {
  const Workload& work = workload(count);
  for (auto _ : state) {
    const std::size_t records = parseNameSpaces(work.state);
    hdbench::opaque(records);
  }
  state.SetItemsProcessed(state.iterations() * count);
}

void indexedListBuild(benchmark::State& state, int count) {
  const Workload& work = workload(count);
  for (auto _ : state) {
    AttributeBytesIndexedList list;
    for (const AttributeBytesSharedPtr& record : work.records) {
      list.AddAttributeBytes(record);
    }
    hdbench::opaque(list);
  }
  state.SetItemsProcessed(state.iterations() * count);
}

void stdMapBuild(benchmark::State& state, int count) {
  const Workload& work = workload(count);
  for (auto _ : state) {
    std::map<PlainId, AttributeBytesSharedPtr> map;
    for (const AttributeBytesSharedPtr& record : work.records) {
      if (!map.emplace(plainIdOf(record->GetAttributeBytesId()), record).second) {
        std::abort();  // the ids are unique, as the indexed list insists
      }
    }
    hdbench::opaque(map);
  }
  state.SetItemsProcessed(state.iterations() * count);
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
}

const bool kRegistered = (registerAll(), true);

}  // namespace

HDU_BENCHMARK_MAIN()
