#pragma once
// FilterStore: decides which print-pipeline filters run for a printer, and in
// which order.
//
// Priorities. A filter's priority is an unsigned 32-bit value: the high 16
// bits are the rank of its classification (its stage in the pipeline), the
// low 16 bits its order within the classification. Text form
// "<CLASSIFICATION>.<number>", the name compared after upper-casing:
//   PREPROCESSING 0, ORIGINALCONTENTPROCESSING 1000, CONTENTADDITION 2000,
//   IMPOSITION 3000, OPTIMIZATION 4000, PREVIEW 5000, POSTPROCESSING 6000,
//   DOCTOSTREAMCONVERSION 6500, STREAMCONTENTPROCESSING 7000,
//   STREAMCONTENTADDITION 8000, STREAMOPTIMIZATION 9000, STREAMPREVIEW 10000,
//   STREAMCONVERSION 11000, STREAMCONVERSIONOPTIMIZATION 12000,
//   STREAMPOSTPROCESSING 13000.
// The number is everything after the first "."; it may carry a fraction and
// is rounded to the nearest integer (halves away from zero) before its low
// 16 bits are kept ("postprocessing.5" is 0x17700005, "Preview.2.5" is
// 0x13880003). Blanks around the two parts are ignored.
//
// Groups. A store works on one filter group at a time:
//   0   ranks 0..6000    document-side filters, up to POSTPROCESSING
//   1   ranks 6501..13000 stream-side filters
//   10  rank 6500 only   the document-to-stream conversion
//   any other group accepts nothing.
// A stream filter (CTargetFilter::IsStreamFilter) is one whose rank is above
// 6500.
//
// Class identifiers are written in the registry form
// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (38 characters, upper-case hex;
// the last 8 bytes in their stored order). A proxy filter's identifier
// carries data in its last three bytes: byte 13 the proxy type
// (ProxyFilterTypeByteEnum), byte 14 the filter group, byte 15 the index of
// the target filter it stands for.
//
// Starting lists (InitializeTargetFilterList) hold one entry per filter, its
// tokens separated by ",", blanks around tokens ignored:
//   "<priority>,<CLSID>,<name>"   a filter with its display name
//   "<CLSID>"                     a filter with priority PREPROCESSING.0 (0),
//                                 so it belongs to group 0 only
// Blank entries are ignored; entries whose priority is outside the store's
// group are skipped. The lists come from XML files in the filter list folder:
// the "name" attribute of every element named "Filter" is one entry.
//   driver default list   "<PDL name>-filters.xml"   (GetDriverDefaultFilterList)
//   desktop applications  "DesktopApp-filters.xml"   (GetDesktopAppFilterList)
// A missing file is an empty list; a file that is not well-formed XML raises
// CPExceptionXMLConfigurationFileParseFailed.
//
// Registry actions. Below GetRenderingFilterRegistryBaseKey() (under
// HKEY_LOCAL_MACHINE) two keys are read, in this order:
//   general           "<PDL name>\Drivers\Filters"
//   driver-specific   "<PDL name>\Drivers\SpecificDrivers\PrinterDriverIDs\<driver ID>\Filters"
// A key may hold "PrinterNameWildcardNoCase" (REG_SZ): a pattern ("*" any run,
// "?" one character) matched without regard to case against the printer's
// name; when the value is present and does not match, the key is ignored.
// A key may hold "AlsoInheritFromPdl" (REG_SZ): the name of another PDL whose
// key at the same place is read first (with its own wildcard; its own
// AlsoInheritFromPdl is not followed); an unknown PDL name is ignored.
// Every sub-key of a key that applies is one action (ParseTargetFilterActionList),
// applied in the order of the sub-key names compared without regard to case,
// and made of these REG_SZ values:
//   "Action"            none | add | addorreplace | remove | replace (any case)
//   "Priority"          the priority text, for example "PostProcessing.5"
//   "CLSID"             the filter's class identifier in registry form
//   "Name"              the display name (optional)
//   "MinRequiredProxy"  the proxy interface version the filter needs, "V1.0"
//                       form (optional)
// A sub-key with a missing or malformed priority or CLSID is reported through
// the exception facility and skipped. An unknown action text is kept as
// AE_INVALID, which applying ignores.
//
// Applying actions (ProcessAddRemoveReplaceActionsForTargetFilterList): in
// order, skipping actions whose priority is outside the group:
//   add            add the filter; fails when its CLSID is already present
//   addorreplace   remove the CLSID if present, then add
//   remove         remove the CLSID; fails when absent
//   replace        only if the CLSID was present and removed, add the new one
// The result is true only if every add and every remove that "remove"
// requires succeeded (so true for an empty list).
//
// GetFilterStore(useDesktopAppList) builds the store in this order: the
// starting list (the desktop-application list when the flag is set, the
// driver default list otherwise), then the registry actions, then the
// dependency check (CheckFilterDependencies: filters that need a newer proxy
// interface than kSupportedProxyInterfaceVersion, or whose requirement cannot
// be read, are dropped). It never throws: a failure is reported through the
// exception facility, the store keeps the filters it had, and the result is
// false; otherwise the result is that of applying the actions.
//
// Filters are kept ordered by priority; filters of equal priority keep the
// order in which they were added. A store is used by one thread at a time.

#include "General/DataModelIds.h"
#include "General/FilterStoreEnvironment.h"
#include "General/Guid.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <vector>

class HDU_API CTargetFilter {
 public:
  enum ActionEnum : int {
    AE_INVALID = -1,
    AE_NONE = 0,
    AE_ADD = 1,
    AE_ADD_OR_REPLACE = 2,
    AE_REMOVE = 3,
    AE_REPLACE = 4,
  };

  CTargetFilter() noexcept;
  CTargetFilter(std::uint32_t priority, const GUID& clsid, CXString name = {}, CXString minRequiredProxy = {},
                ActionEnum action = AE_NONE);

  std::uint32_t GetPriority() const noexcept { return m_priority; }
  const GUID& GetClsid() const noexcept { return m_clsid; }
  // The filter's display name.
  const CXString& GetName() const noexcept { return m_name; }
  // The proxy interface version the filter needs ("V1.0"); empty: none.
  const CXString& GetMinRequiredProxy() const noexcept { return m_minRequiredProxy; }
  ActionEnum GetAction() const noexcept { return m_action; }
  void SetAction(ActionEnum action) noexcept { m_action = action; }
  // A stream-side filter: its rank is above DOCTOSTREAMCONVERSION (6500).
  bool IsStreamFilter() const noexcept;

 private:
  std::uint32_t m_priority;
  GUID m_clsid;
  CXString m_name;
  CXString m_minRequiredProxy;
  ActionEnum m_action;
};

class HDU_API FilterStore {
 public:
  enum : int { kDocumentFilterGroup = 0, kStreamFilterGroup = 1, kDocumentToStreamFilterGroup = 10 };
  // Proxy interface versions are (major << 16) | minor.
  enum : int { kSupportedProxyInterfaceVersion = 0x00010000 };
  enum ProxyFilterTypeByteEnum : unsigned char {
    PFTBE_NONE = 0,
    PFTBE_DOCUMENT = 1,            // a group 0 filter
    PFTBE_STREAM = 2,              // a group 1 filter
    PFTBE_DOCUMENT_TO_STREAM = 3,  // the group 10 filter
  };
  struct Classification {
    const char16_t* name;
    std::uint16_t rank;
  };

  FilterStore();
  // When `buildNow` is set, the store is built at once with
  // GetFilterStore(false).
  FilterStore(void* printerHandle, DataModelIds::tagValueEnum pdl, bool buildNow);
  // The same over a given environment (which must outlive the store).
  FilterStore(IFilterStoreEnvironment& environment, void* printerHandle, DataModelIds::tagValueEnum pdl, bool buildNow);
  FilterStore(const FilterStore& other);
  FilterStore& operator=(const FilterStore& other);
  ~FilterStore();

  void SetPrinterHandle(void* printerHandle) noexcept { m_printerHandle = printerHandle; }
  void SetPdl(DataModelIds::tagValueEnum pdl) noexcept { m_pdl = pdl; }
  void SetFilterGroup(int group) noexcept { m_filterGroup = group; }
  int GetFilterGroup() const noexcept { return m_filterGroup; }
  // "XPS", "PCL6", "PCL5", "PS", "PDF"; "Unknown" for any other value.
  CXString GetPdlName() const;
  static CXString GetPdlName(DataModelIds::tagValueEnum pdl);
  // "Software\Halden\PrinterDriver\V6.0\Rendering".
  static CXString GetRenderingFilterRegistryBaseKey();
  // Replaces the environment's filter list folder (a path ending in its
  // separator); an empty text goes back to the environment's.
  void SetFilterListFolder(const CXString& folder) { m_filterListFolder = folder; }

  // ---- building ----
  bool GetFilterStore(bool useDesktopAppList);
  bool GetFilterStore(void* printerHandle, bool useDesktopAppList);
  std::vector<CXString> GetDriverDefaultFilterList();
  // False when the file does not exist (the list is then empty).
  bool GetDesktopAppFilterList(std::vector<CXString>& list);
  // The two keys' actions in order (see above); empty without a settings tree.
  std::vector<CTargetFilter> ReadFilterAddRemoveAndReplaceListFromRegistry();
  // The actions of one key's sub-keys, in the order of their names.
  static std::vector<CTargetFilter> ParseTargetFilterActionList(const IFilterSettingsKey& key);
  // Replaces the filters by the list's (see above). Throws
  // CPExceptionInvalidArgument (or CPExceptionOutOfRange for a number beyond
  // 32 bits) for a malformed entry and leaves the store unchanged then.
  // False when an entry's CLSID was already in the list (the first one stays).
  bool InitializeTargetFilterList(const std::vector<CXString>& entries);
  bool ProcessAddRemoveReplaceActionsForTargetFilterList(const std::vector<CTargetFilter>& actions);
  // Drops the filters whose MinRequiredProxy is newer than
  // kSupportedProxyInterfaceVersion or cannot be read; returns how many.
  unsigned CheckFilterDependencies();

  // ---- the filters ----
  bool AddTargetFilter(const CTargetFilter& filter);
  bool RemoveTargetFilter(const GUID& clsid);
  // The target filter a proxy stands for: the proxy's group byte must be the
  // store's group, and its index byte counts filters in priority order.
  bool GetTargetFilterForThisProxy(const GUID& proxyClsid, CTargetFilter& filter) const;
  bool DoesFilterPriorityMatchCurrentGroup(unsigned long priority) const noexcept;
  static bool DoesFilterPriorityMatchGroup(std::uint32_t priority, int group) noexcept;
  const std::vector<CTargetFilter>& GetTargetFilters() const noexcept { return m_targetFilters; }
  std::size_t GetNumFilters() const noexcept { return m_targetFilters.size(); }
  std::size_t Size() const noexcept { return m_targetFilters.size(); }
  bool IsEmpty() const noexcept { return m_targetFilters.empty(); }
  void Clear() noexcept { m_targetFilters.clear(); }

  // ---- texts ----
  // Throws CPExceptionInvalidArgument for text that is not "<known
  // classification>.<number>", CPExceptionOutOfRange for a number whose
  // rounded value does not fit in 32 bits.
  static std::uint32_t GetClassificationAndRank(const CXString& text);
  // "<CLASSIFICATION>.<low 16 bits>"; "UNKNOWN(<rank>).<low 16 bits>" for a
  // rank without a classification.
  static CXString PriorityToString(std::uint32_t priority);
  static const std::vector<Classification>& GetClassifications();
  static CTargetFilter::ActionEnum GetActionEnumFromString(CXString text);
  static CXString CLSIDToString(const GUID& clsid);
  // Throws CPExceptionInvalidArgument for anything but the registry form.
  static GUID StringToCLSID(const CXString& text);
  static unsigned char GetProxyFilterTypeFromClsid(const GUID& clsid) noexcept;
  static unsigned char GetProxyFilterGroupFromClsid(const GUID& clsid) noexcept;
  static unsigned char GetProxyFilterIndexFromClsid(const GUID& clsid) noexcept;
  // "V<major>.<minor>" (either case of "V", decimal parts up to 65535) as
  // (major << 16) | minor; 0 for an empty text; -1 for anything else.
  static int ProxyInterfaceVersionStringToInt(const CXString& text);

 private:
  std::vector<CTargetFilter> ReadActionsOfKey(IFilterSettingsKey& base, const CXString& relativePath,
                                              const CXString& printerName);
  std::vector<CXString> ReadFilterListFile(const CXString& fileName, bool& found);
  CXString FilterListFolder() const;

  IFilterStoreEnvironment* m_environment;
  void* m_printerHandle = nullptr;
  DataModelIds::tagValueEnum m_pdl = DataModelIds::DMIDVE_PDL_UNKNOWN;
  int m_filterGroup = kDocumentFilterGroup;
  const std::vector<Classification>* m_classifications;
  std::vector<CTargetFilter> m_targetFilters;
  CXString m_filterListFolder;
};
