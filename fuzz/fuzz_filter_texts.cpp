// Fuzz target: the filter store's text parsers. The input is used as
//   - UTF-8 text (malformed sequences repaired), split into lines: the first
//     line is a priority text, the second a class identifier text, every
//     line a proxy version and an action text, and all lines together a
//     starting list for InitializeTargetFilterList in groups 0, 1 and 10;
//   - raw bytes for the XML filter-list reader, whose names (when the
//     document is well-formed) become another starting list.
// The only outcomes allowed are values and exceptions of the library's own
// hierarchy, and each result is checked against its contract: priorities and
// class identifiers round-trip through their text forms, a failed list
// leaves the store unchanged, and a built store is ordered by priority, holds
// each class identifier once and only priorities of its group.

#include "DebuggingAndExceptions/CPException.h"
#include "General/FilterListXmlReader.h"
#include "General/FilterStore.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

void require(bool condition) {
  if (!condition) {
    __builtin_trap();
  }
}

std::vector<std::uint32_t> Priorities(const FilterStore& store) {
  std::vector<std::uint32_t> priorities;
  for (const CTargetFilter& filter : store.GetTargetFilters()) {
    priorities.push_back(filter.GetPriority());
  }
  return priorities;
}

void CheckPriority(const CXString& text) {
  try {
    const std::uint32_t priority = FilterStore::GetClassificationAndRank(text);
    require(FilterStore::GetClassificationAndRank(FilterStore::PriorityToString(priority)) == priority);
  } catch (const CPException&) {
  }
}

void CheckClsid(const CXString& text) {
  try {
    const GUID clsid = FilterStore::StringToCLSID(text);
    CXString upper = text;
    upper.toUpper();
    require(FilterStore::CLSIDToString(clsid) == upper);
  } catch (const CPException&) {
  }
}

void CheckList(const std::vector<CXString>& entries) {
  for (const int group : {0, 1, 10}) {
    FilterStore store;
    store.SetFilterGroup(group);
    store.AddTargetFilter(CTargetFilter(0, GUID{}, CXString(u"sentinel")));
    const std::vector<std::uint32_t> before = Priorities(store);
    try {
      store.InitializeTargetFilterList(entries);
    } catch (const CPException&) {
      require(Priorities(store) == before);
      continue;
    }
    const auto& filters = store.GetTargetFilters();
    for (std::size_t i = 0; i < filters.size(); ++i) {
      require(store.DoesFilterPriorityMatchCurrentGroup(filters[i].GetPriority()));
      if (i > 0) {
        require(filters[i - 1].GetPriority() <= filters[i].GetPriority());
      }
      for (std::size_t j = 0; j < i; ++j) {
        require(!AreGuidsEqual(filters[i].GetClsid(), filters[j].GetClsid()));
      }
    }
    store.CheckFilterDependencies();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const CXString text = CXString::fromUtf8Lenient(std::string_view(reinterpret_cast<const char*>(data), size));
  std::vector<CXString> lines;
  std::size_t start = 0;
  const std::u16string& units = text.u16string();
  while (start <= units.size()) {
    const std::size_t end = std::min(units.find(u'\n', start), units.size());
    lines.emplace_back(units.substr(start, end - start));
    start = end + 1;
  }
  CheckPriority(lines[0]);
  CheckClsid(lines.size() > 1 ? lines[1] : lines[0]);
  for (const CXString& line : lines) {
    const int version = FilterStore::ProxyInterfaceVersionStringToInt(line);
    require(version >= -1);
    const CTargetFilter::ActionEnum action = FilterStore::GetActionEnumFromString(line);
    require(action >= CTargetFilter::AE_INVALID && action <= CTargetFilter::AE_REPLACE);
  }
  CheckList(lines);

  try {
    const std::vector<CXString> names =
        FilterListXmlReader::ReadFilterNames(ByteBuffer(data, static_cast<unsigned long>(size)), CXString(u"fuzz"));
    CheckList(names);
  } catch (const CPException&) {
  }
  return 0;
}
