#include "General/FilterStore.h"

#include "DebuggingAndExceptions/CPException.h"
#include "General/FilterListXmlReader.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

namespace {

constexpr const char* kSourceFile = "UtilitiesDll\\General\\FilterStore";

constexpr FilterStore::Classification kClassifications[] = {
    {u"PREPROCESSING", 0},
    {u"ORIGINALCONTENTPROCESSING", 1000},
    {u"CONTENTADDITION", 2000},
    {u"IMPOSITION", 3000},
    {u"OPTIMIZATION", 4000},
    {u"PREVIEW", 5000},
    {u"POSTPROCESSING", 6000},
    {u"DOCTOSTREAMCONVERSION", 6500},
    {u"STREAMCONTENTPROCESSING", 7000},
    {u"STREAMCONTENTADDITION", 8000},
    {u"STREAMOPTIMIZATION", 9000},
    {u"STREAMPREVIEW", 10000},
    {u"STREAMCONVERSION", 11000},
    {u"STREAMCONVERSIONOPTIMIZATION", 12000},
    {u"STREAMPOSTPROCESSING", 13000},
};

constexpr std::uint32_t kDocumentToStreamRank = 6500;

struct PdlName {
  DataModelIds::tagValueEnum pdl;
  const char16_t* name;
};
constexpr PdlName kPdlNames[] = {
    {DataModelIds::DMIDVE_PDL_XPS, u"XPS"},   {DataModelIds::DMIDVE_PDL_PCL6, u"PCL6"},
    {DataModelIds::DMIDVE_PDL_PCL5, u"PCL5"}, {DataModelIds::DMIDVE_PDL_POSTSCRIPT, u"PS"},
    {DataModelIds::DMIDVE_PDL_PDF, u"PDF"},
};

bool IsBlank(char16_t unit) noexcept {
  return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
}

std::u16string_view Trim(std::u16string_view text) noexcept {
  while (!text.empty() && IsBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && IsBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

int HexValue(char16_t unit) noexcept {
  if (unit >= u'0' && unit <= u'9') {
    return unit - u'0';
  }
  if (unit >= u'A' && unit <= u'F') {
    return unit - u'A' + 10;
  }
  if (unit >= u'a' && unit <= u'f') {
    return unit - u'a' + 10;
  }
  return -1;
}

[[noreturn]] void ThrowBadClsid(const CXString& text) {
  HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT_IN(kSourceFile, "FilterStore::StringToCLSID"),
            "'%s' is not a class identifier in the form {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}.", text);
}

[[noreturn]] void ThrowBadPriority(const CXString& text, const char* reason) {
  HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT_IN(kSourceFile, "FilterStore::GetClassificationAndRank"),
            "'%s' is not a filter priority of the form <classification>.<number>: %s.", text, reason);
}

// Reports the exception being handled (called only inside a catch block).
void ReportCurrentException(const char* function, int line, const std::string& whatWasHappening) noexcept {
  try {
    throw;
  } catch (const std::exception& exception) {
    CPException::reportAndProcessCaughtException(exception, DebugContextReference(kSourceFile, line, function),
                                                 whatWasHappening);
  } catch (...) {
    CPException::reportAndProcessUnknownCaughtException(DebugContextReference(kSourceFile, line, function),
                                                        whatWasHappening);
  }
}

// Sub-keys in the order of their names compared without regard to case
// (ties by the exact text, so the order never depends on enumeration).
void SortKeyNames(std::vector<CXString>& names) {
  std::sort(names.begin(), names.end(), [](const CXString& a, const CXString& b) {
    const int order = a.compareNoCase(b);
    return order != 0 ? order < 0 : a < b;
  });
}

}  // namespace

// ---- CTargetFilter ----

CTargetFilter::CTargetFilter() noexcept : m_priority(0), m_clsid{}, m_action(AE_NONE) {}

CTargetFilter::CTargetFilter(std::uint32_t priority, const GUID& clsid, CXString name, CXString minRequiredProxy,
                             ActionEnum action)
    : m_priority(priority),
      m_clsid(clsid),
      m_name(std::move(name)),
      m_minRequiredProxy(std::move(minRequiredProxy)),
      m_action(action) {}

bool CTargetFilter::IsStreamFilter() const noexcept {
  return (m_priority >> 16) > kDocumentToStreamRank;
}

// ---- construction ----

FilterStore::FilterStore()
    : m_environment(&IFilterStoreEnvironment::GetSystemEnvironment()), m_classifications(&GetClassifications()) {}

FilterStore::FilterStore(void* printerHandle, DataModelIds::tagValueEnum pdl, bool buildNow)
    : FilterStore(IFilterStoreEnvironment::GetSystemEnvironment(), printerHandle, pdl, buildNow) {}

FilterStore::FilterStore(IFilterStoreEnvironment& environment, void* printerHandle, DataModelIds::tagValueEnum pdl,
                         bool buildNow)
    : m_environment(&environment),
      m_printerHandle(printerHandle),
      m_pdl(pdl),
      m_classifications(&GetClassifications()) {
  if (buildNow) {
    GetFilterStore(false);
  }
}

FilterStore::FilterStore(const FilterStore& other) = default;
FilterStore& FilterStore::operator=(const FilterStore& other) = default;
FilterStore::~FilterStore() = default;

CXString FilterStore::GetPdlName() const {
  return GetPdlName(m_pdl);
}

CXString FilterStore::GetPdlName(DataModelIds::tagValueEnum pdl) {
  for (const auto& row : kPdlNames) {
    if (row.pdl == pdl) {
      return CXString(row.name);
    }
  }
  return CXString(u"Unknown");
}

CXString FilterStore::GetRenderingFilterRegistryBaseKey() {
  return CXString(u"Software\\Halden\\PrinterDriver\\V6.0\\Rendering");
}

// ---- texts ----

const std::vector<FilterStore::Classification>& FilterStore::GetClassifications() {
  static const std::vector<Classification> table(std::begin(kClassifications), std::end(kClassifications));
  return table;
}

std::uint32_t FilterStore::GetClassificationAndRank(const CXString& text) {
  const std::u16string_view all = text.utf16View();
  const std::size_t dot = all.find(u'.');
  if (dot == std::u16string_view::npos) {
    ThrowBadPriority(text, "there is no \".\"");
  }
  CXString classification(Trim(all.substr(0, dot)));
  classification.toUpper();
  const auto found = std::find_if(std::begin(kClassifications), std::end(kClassifications),
                                  [&](const Classification& c) { return classification.u16string() == c.name; });
  if (found == std::end(kClassifications)) {
    ThrowBadPriority(text, "the classification is unknown");
  }

  // The number: an optional sign, digits, an optional fraction ("2." is 2).
  const std::u16string_view number = Trim(all.substr(dot + 1));
  std::size_t i = 0;
  bool negative = false;
  if (i < number.size() && (number[i] == u'+' || number[i] == u'-')) {
    negative = number[i] == u'-';
    ++i;
  }
  double value = 0.0;
  std::size_t digits = 0;
  for (; i < number.size() && number[i] >= u'0' && number[i] <= u'9'; ++i, ++digits) {
    value = value * 10.0 + (number[i] - u'0');
  }
  if (digits != 0 && i < number.size() && number[i] == u'.') {
    double scale = 0.1;
    for (++i; i < number.size() && number[i] >= u'0' && number[i] <= u'9'; ++i) {
      value += (number[i] - u'0') * scale;
      scale /= 10.0;
    }
  }
  if (digits == 0 || i != number.size()) {
    ThrowBadPriority(text, "the number is missing or malformed");
  }
  const double rounded = std::floor(value + 0.5);
  if (rounded > 4294967295.0) {
    HDU_THROW(CPExceptionOutOfRange, HDU_DEBUG_CONTEXT_IN(kSourceFile, "FilterStore::GetClassificationAndRank"),
              "The number of the filter priority '%s' does not fit in 32 bits.", text);
  }
  std::uint32_t order = static_cast<std::uint32_t>(rounded);
  if (negative) {
    order = 0u - order;
  }
  return (static_cast<std::uint32_t>(found->rank) << 16) | (order & 0xFFFFu);
}

CXString FilterStore::PriorityToString(std::uint32_t priority) {
  const std::uint32_t rank = priority >> 16;
  const std::uint32_t order = priority & 0xFFFFu;
  for (const Classification& classification : kClassifications) {
    if (classification.rank == rank) {
      return CXString::format("%s.%u", CXString(classification.name), order);
    }
  }
  return CXString::format("UNKNOWN(%u).%u", rank, order);
}

CTargetFilter::ActionEnum FilterStore::GetActionEnumFromString(CXString text) {
  text.toLower();
  const std::u16string& action = text.u16string();
  if (action == u"none") {
    return CTargetFilter::AE_NONE;
  }
  if (action == u"add") {
    return CTargetFilter::AE_ADD;
  }
  if (action == u"addorreplace") {
    return CTargetFilter::AE_ADD_OR_REPLACE;
  }
  if (action == u"remove") {
    return CTargetFilter::AE_REMOVE;
  }
  if (action == u"replace") {
    return CTargetFilter::AE_REPLACE;
  }
  return CTargetFilter::AE_INVALID;
}

CXString FilterStore::CLSIDToString(const GUID& clsid) {
  unsigned long long tail = 0;
  for (const unsigned char byte : clsid.Data4) {
    tail = (tail << 8) | byte;
  }
  CXString text = CXString::format("{%08X-%04X-%04X-%016I64X}", static_cast<std::uint32_t>(clsid.Data1),
                                   static_cast<unsigned>(clsid.Data2), static_cast<unsigned>(clsid.Data3), tail);
  text.u16string().insert(24, 1, u'-');
  return text;
}

GUID FilterStore::StringToCLSID(const CXString& text) {
  const std::u16string& s = text.u16string();
  // {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}
  if (s.size() != 38 || s[0] != u'{' || s[37] != u'}' || s[9] != u'-' || s[14] != u'-' || s[19] != u'-' ||
      s[24] != u'-') {
    ThrowBadClsid(text);
  }
  unsigned char bytes[16];
  std::size_t position = 1;
  for (unsigned char& byte : bytes) {
    if (s[position] == u'-') {
      ++position;
    }
    const int high = HexValue(s[position]);
    const int low = HexValue(s[position + 1]);
    if (high < 0 || low < 0) {
      ThrowBadClsid(text);
    }
    byte = static_cast<unsigned char>((high << 4) | low);
    position += 2;
  }
  GUID clsid{};
  clsid.Data1 = (static_cast<std::uint32_t>(bytes[0]) << 24) | (static_cast<std::uint32_t>(bytes[1]) << 16) |
                (static_cast<std::uint32_t>(bytes[2]) << 8) | bytes[3];
  clsid.Data2 = static_cast<std::uint16_t>((bytes[4] << 8) | bytes[5]);
  clsid.Data3 = static_cast<std::uint16_t>((bytes[6] << 8) | bytes[7]);
  for (int i = 0; i < 8; ++i) {
    clsid.Data4[i] = bytes[8 + i];
  }
  return clsid;
}

unsigned char FilterStore::GetProxyFilterTypeFromClsid(const GUID& clsid) noexcept {
  return clsid.Data4[5];
}

unsigned char FilterStore::GetProxyFilterGroupFromClsid(const GUID& clsid) noexcept {
  return clsid.Data4[6];
}

unsigned char FilterStore::GetProxyFilterIndexFromClsid(const GUID& clsid) noexcept {
  return clsid.Data4[7];
}

int FilterStore::ProxyInterfaceVersionStringToInt(const CXString& text) {
  const std::u16string_view version = Trim(text.utf16View());
  if (version.empty()) {
    return 0;
  }
  if (version[0] != u'V' && version[0] != u'v') {
    return -1;
  }
  unsigned parts[2] = {0, 0};
  std::size_t i = 1;
  for (int part = 0; part < 2; ++part) {
    std::size_t digits = 0;
    for (; i < version.size() && version[i] >= u'0' && version[i] <= u'9'; ++i, ++digits) {
      parts[part] = parts[part] * 10 + static_cast<unsigned>(version[i] - u'0');
      if (parts[part] > 0xFFFFu) {
        return -1;
      }
    }
    if (digits == 0) {
      return -1;
    }
    if (part == 0) {
      if (i >= version.size() || version[i] != u'.') {
        return -1;
      }
      ++i;
    }
  }
  if (i != version.size() || parts[0] > 0x7FFFu) {
    return -1;
  }
  return static_cast<int>((parts[0] << 16) | parts[1]);
}

// ---- groups and filters ----

bool FilterStore::DoesFilterPriorityMatchGroup(std::uint32_t priority, int group) noexcept {
  const std::uint32_t rank = priority >> 16;
  switch (group) {
    case kDocumentFilterGroup:
      return rank <= 6000;
    case kStreamFilterGroup:
      return rank >= 6501 && rank <= 13000;
    case kDocumentToStreamFilterGroup:
      return rank == kDocumentToStreamRank;
    default:
      return false;
  }
}

bool FilterStore::DoesFilterPriorityMatchCurrentGroup(unsigned long priority) const noexcept {
  return DoesFilterPriorityMatchGroup(static_cast<std::uint32_t>(priority), m_filterGroup);
}

bool FilterStore::AddTargetFilter(const CTargetFilter& filter) {
  const auto same = std::find_if(m_targetFilters.begin(), m_targetFilters.end(), [&](const CTargetFilter& f) {
    return AreGuidsEqual(f.GetClsid(), filter.GetClsid());
  });
  if (same != m_targetFilters.end()) {
    return false;
  }
  const auto after =
      std::upper_bound(m_targetFilters.begin(), m_targetFilters.end(), filter.GetPriority(),
                       [](std::uint32_t priority, const CTargetFilter& f) { return priority < f.GetPriority(); });
  m_targetFilters.insert(after, filter);
  return true;
}

bool FilterStore::RemoveTargetFilter(const GUID& clsid) {
  const auto found = std::find_if(m_targetFilters.begin(), m_targetFilters.end(),
                                  [&](const CTargetFilter& f) { return AreGuidsEqual(f.GetClsid(), clsid); });
  if (found == m_targetFilters.end()) {
    return false;
  }
  m_targetFilters.erase(found);
  return true;
}

bool FilterStore::GetTargetFilterForThisProxy(const GUID& proxyClsid, CTargetFilter& filter) const {
  if (GetProxyFilterGroupFromClsid(proxyClsid) != m_filterGroup) {
    return false;
  }
  const std::size_t index = GetProxyFilterIndexFromClsid(proxyClsid);
  if (index >= m_targetFilters.size()) {
    return false;
  }
  filter = m_targetFilters[index];
  return true;
}

bool FilterStore::InitializeTargetFilterList(const std::vector<CXString>& entries) {
  FilterStore built(*this);
  built.m_targetFilters.clear();
  bool allAdded = true;
  for (const CXString& entry : entries) {
    if (Trim(entry.utf16View()).empty()) {
      continue;
    }
    std::vector<std::u16string_view> tokens;
    std::u16string_view rest = entry.utf16View();
    for (std::size_t comma = rest.find(u','); comma != std::u16string_view::npos; comma = rest.find(u',')) {
      tokens.push_back(Trim(rest.substr(0, comma)));
      rest.remove_prefix(comma + 1);
    }
    tokens.push_back(Trim(rest));
    std::uint32_t priority = 0;
    CXString name;
    GUID clsid{};
    if (tokens.size() == 1) {
      clsid = StringToCLSID(CXString(tokens[0]));
    } else if (tokens.size() == 3) {
      priority = GetClassificationAndRank(CXString(tokens[0]));
      clsid = StringToCLSID(CXString(tokens[1]));
      name = CXString(tokens[2]);
    } else {
      HDU_THROW(CPExceptionInvalidArgument,
                HDU_DEBUG_CONTEXT_IN(kSourceFile, "FilterStore::InitializeTargetFilterList"),
                "The filter list entry '%s' has %u parts; an entry is '<CLSID>' or '<priority>,<CLSID>,<name>'.", entry,
                static_cast<unsigned>(tokens.size()));
    }
    if (!built.DoesFilterPriorityMatchCurrentGroup(priority)) {
      continue;
    }
    allAdded = built.AddTargetFilter(CTargetFilter(priority, clsid, std::move(name))) && allAdded;
  }
  m_targetFilters = std::move(built.m_targetFilters);
  return allAdded;
}

bool FilterStore::ProcessAddRemoveReplaceActionsForTargetFilterList(const std::vector<CTargetFilter>& actions) {
  bool result = true;
  for (const CTargetFilter& action : actions) {
    if (!DoesFilterPriorityMatchCurrentGroup(action.GetPriority())) {
      continue;
    }
    switch (action.GetAction()) {
      case CTargetFilter::AE_ADD:
        result = AddTargetFilter(action) && result;
        break;
      case CTargetFilter::AE_ADD_OR_REPLACE:
        RemoveTargetFilter(action.GetClsid());
        result = AddTargetFilter(action) && result;
        break;
      case CTargetFilter::AE_REMOVE:
        result = RemoveTargetFilter(action.GetClsid()) && result;
        break;
      case CTargetFilter::AE_REPLACE:
        if (RemoveTargetFilter(action.GetClsid())) {
          result = AddTargetFilter(action) && result;
        }
        break;
      case CTargetFilter::AE_NONE:
      case CTargetFilter::AE_INVALID:
        break;
    }
  }
  return result;
}

unsigned FilterStore::CheckFilterDependencies() {
  const auto unmet = std::remove_if(m_targetFilters.begin(), m_targetFilters.end(), [](const CTargetFilter& f) {
    const int needed = ProxyInterfaceVersionStringToInt(f.GetMinRequiredProxy());
    return needed < 0 || needed > kSupportedProxyInterfaceVersion;
  });
  const auto removed = static_cast<unsigned>(m_targetFilters.end() - unmet);
  m_targetFilters.erase(unmet, m_targetFilters.end());
  return removed;
}

// ---- registry ----

std::vector<CTargetFilter> FilterStore::ParseTargetFilterActionList(const IFilterSettingsKey& key) {
  std::vector<CXString> names = key.GetSubKeyNames();
  SortKeyNames(names);
  std::vector<CTargetFilter> actions;
  actions.reserve(names.size());
  for (const CXString& subKeyName : names) {
    try {
      const std::unique_ptr<IFilterSettingsKey> subKey = key.OpenSubKey(subKeyName);
      if (!subKey) {
        continue;
      }
      CXString actionText;
      CXString priorityText;
      CXString clsidText;
      CXString name;
      CXString minRequiredProxy;
      subKey->GetStringValue(CXString(u"Action"), actionText);
      if (!subKey->GetStringValue(CXString(u"Priority"), priorityText) ||
          !subKey->GetStringValue(CXString(u"CLSID"), clsidText)) {
        HDU_THROW(CPExceptionInvalidArgument,
                  HDU_DEBUG_CONTEXT_IN(kSourceFile, "FilterStore::ParseTargetFilterActionList"),
                  "The filter action '%s' lacks its \"Priority\" or \"CLSID\" value.", subKeyName);
      }
      subKey->GetStringValue(CXString(u"Name"), name);
      subKey->GetStringValue(CXString(u"MinRequiredProxy"), minRequiredProxy);
      actions.emplace_back(GetClassificationAndRank(priorityText), StringToCLSID(CXString(Trim(clsidText.utf16View()))),
                           std::move(name), std::move(minRequiredProxy), GetActionEnumFromString(actionText));
    } catch (...) {
      ReportCurrentException("FilterStore::ParseTargetFilterActionList", __LINE__,
                             InternalHaldenCP::formatToStdString(
                                 "Reading the filter action '%s' failed; the action is skipped.", subKeyName));
    }
  }
  return actions;
}

std::vector<CTargetFilter> FilterStore::ReadActionsOfKey(IFilterSettingsKey& base, const CXString& relativePath,
                                                         const CXString& printerName) {
  std::vector<CTargetFilter> actions;
  CXString path = GetPdlName();
  path += u"\\";
  path += relativePath;
  const std::unique_ptr<IFilterSettingsKey> key = base.OpenSubKey(path);
  if (!key) {
    return actions;
  }
  const auto applies = [&](const IFilterSettingsKey& candidate) {
    CXString pattern;
    return !candidate.GetStringValue(CXString(u"PrinterNameWildcardNoCase"), pattern) ||
           printerName.IsWildcardMatch(pattern);
  };
  CXString inheritedPdl;
  if (key->GetStringValue(CXString(u"AlsoInheritFromPdl"), inheritedPdl)) {
    inheritedPdl = CXString(Trim(inheritedPdl.utf16View()));
    for (const auto& row : kPdlNames) {
      if (inheritedPdl.equalsNoCase(CXString(row.name)) && row.pdl != m_pdl) {
        CXString inheritedPath(row.name);
        inheritedPath += u"\\";
        inheritedPath += relativePath;
        const std::unique_ptr<IFilterSettingsKey> inherited = base.OpenSubKey(inheritedPath);
        if (inherited && applies(*inherited)) {
          actions = ParseTargetFilterActionList(*inherited);
        }
        break;
      }
    }
  }
  if (applies(*key)) {
    std::vector<CTargetFilter> own = ParseTargetFilterActionList(*key);
    actions.insert(actions.end(), std::make_move_iterator(own.begin()), std::make_move_iterator(own.end()));
  }
  return actions;
}

std::vector<CTargetFilter> FilterStore::ReadFilterAddRemoveAndReplaceListFromRegistry() {
  std::vector<CTargetFilter> actions;
  const std::unique_ptr<IFilterSettingsKey> base = m_environment->OpenMachineKey(GetRenderingFilterRegistryBaseKey());
  if (!base) {
    return actions;
  }
  const CXString printerName = m_environment->GetPrinterName(m_printerHandle);
  actions = ReadActionsOfKey(*base, CXString(u"Drivers\\Filters"), printerName);
  const CXString driverId = m_environment->GetV4PrinterDriverIDByReverseEngineering(m_printerHandle);
  if (!driverId.empty()) {
    CXString specific(u"Drivers\\SpecificDrivers\\PrinterDriverIDs\\");
    specific += driverId;
    specific += u"\\Filters";
    std::vector<CTargetFilter> own = ReadActionsOfKey(*base, specific, printerName);
    actions.insert(actions.end(), std::make_move_iterator(own.begin()), std::make_move_iterator(own.end()));
  }
  return actions;
}

// ---- lists and building ----

CXString FilterStore::FilterListFolder() const {
  return m_filterListFolder.empty() ? m_environment->GetFilterListFolder() : m_filterListFolder;
}

std::vector<CXString> FilterStore::ReadFilterListFile(const CXString& fileName, bool& found) {
  CXString path = FilterListFolder();
  path += fileName;
  found = FilterListXmlReader::DoesFileExist(path);
  return found ? FilterListXmlReader::ReadFilterNamesFromFile(path) : std::vector<CXString>();
}

std::vector<CXString> FilterStore::GetDriverDefaultFilterList() {
  CXString fileName = GetPdlName();
  fileName += u"-filters.xml";
  bool found = false;
  return ReadFilterListFile(fileName, found);
}

bool FilterStore::GetDesktopAppFilterList(std::vector<CXString>& list) {
  bool found = false;
  list = ReadFilterListFile(CXString(u"DesktopApp-filters.xml"), found);
  return found;
}

bool FilterStore::GetFilterStore(void* printerHandle, bool useDesktopAppList) {
  m_printerHandle = printerHandle;
  return GetFilterStore(useDesktopAppList);
}

bool FilterStore::GetFilterStore(bool useDesktopAppList) {
  try {
    FilterStore built(*this);
    std::vector<CXString> list;
    if (useDesktopAppList) {
      built.GetDesktopAppFilterList(list);
    } else {
      list = built.GetDriverDefaultFilterList();
    }
    built.InitializeTargetFilterList(list);
    const bool result =
        built.ProcessAddRemoveReplaceActionsForTargetFilterList(built.ReadFilterAddRemoveAndReplaceListFromRegistry());
    built.CheckFilterDependencies();
    m_targetFilters = std::move(built.m_targetFilters);
    return result;
  } catch (...) {
    ReportCurrentException(
        "FilterStore::GetFilterStore", __LINE__,
        InternalHaldenCP::formatToStdString("Building the %s filter store of group %d failed; the store keeps its "
                                            "%u filters.",
                                            GetPdlName(), m_filterGroup, static_cast<unsigned>(Size())));
    return false;
  }
}
