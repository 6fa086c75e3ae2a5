// FilterStore: priorities and groups, class identifier texts, actions, the
// starting list, the settings tree walk over an in-memory tree, and the whole
// build from real XML files.

#include "General/FilterStore.h"

#include "General/FilterListXmlReader.h"

#include "ClientJobDataTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>

namespace {

constexpr std::uint32_t kPost5 = (6000u << 16) | 5u;

GUID MakeGuid(std::uint32_t data1, unsigned char last) {
  GUID guid{};
  guid.Data1 = data1;
  guid.Data2 = 0x1234;
  guid.Data3 = 0x5678;
  const unsigned char tail[8] = {0x9A, 0xBC, 0xDE, 0xF0, 0x11, 0x22, 0x33, last};
  for (int i = 0; i < 8; ++i) {
    guid.Data4[i] = tail[i];
  }
  return guid;
}

ByteBuffer Bytes(const std::string& text) {
  return ByteBuffer(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned long>(text.size()));
}

std::string Text(const CXString& text) {
  return text.toUtf8();
}

template <class Exception, class Function>
std::string MessageOf(Function function) {
  try {
    function();
  } catch (const Exception& exception) {
    return exception.getExceptionMessage();
  }
  return "<no exception>";
}

std::vector<std::uint32_t> Priorities(const FilterStore& store) {
  std::vector<std::uint32_t> priorities;
  for (const CTargetFilter& filter : store.GetTargetFilters()) {
    priorities.push_back(filter.GetPriority());
  }
  return priorities;
}

std::vector<std::uint32_t> Data1s(const FilterStore& store) {
  std::vector<std::uint32_t> ids;
  for (const CTargetFilter& filter : store.GetTargetFilters()) {
    ids.push_back(static_cast<std::uint32_t>(filter.GetClsid().Data1));
  }
  return ids;
}

// ---- an in-memory settings tree ----

struct FakeKeyNode {
  std::map<std::u16string, std::u16string> values;
  std::map<std::u16string, std::shared_ptr<FakeKeyNode>> subKeys;

  FakeKeyNode& At(const std::u16string& path) {
    FakeKeyNode* node = this;
    std::size_t start = 0;
    while (start <= path.size()) {
      const std::size_t end = std::min(path.find(u'\\', start), path.size());
      auto& child = node->subKeys[path.substr(start, end - start)];
      if (!child) {
        child = std::make_shared<FakeKeyNode>();
      }
      node = child.get();
      start = end + 1;
    }
    return *node;
  }
};

class FakeKey final : public IFilterSettingsKey {
 public:
  explicit FakeKey(std::shared_ptr<FakeKeyNode> node) : m_node(std::move(node)) {}
  bool GetStringValue(const CXString& name, CXString& value) const override {
    const auto found = m_node->values.find(name.u16string());
    if (found == m_node->values.end()) {
      return false;
    }
    value = CXString(found->second);
    return true;
  }
  std::vector<CXString> GetSubKeyNames() const override {
    std::vector<CXString> names;
    // Reverse order, so that the store must sort them itself.
    for (auto it = m_node->subKeys.rbegin(); it != m_node->subKeys.rend(); ++it) {
      names.emplace_back(it->first);
    }
    return names;
  }
  std::unique_ptr<IFilterSettingsKey> OpenSubKey(const CXString& path) const override {
    std::shared_ptr<FakeKeyNode> node = m_node;
    const std::u16string& text = path.u16string();
    std::size_t start = 0;
    while (start <= text.size()) {
      const std::size_t end = std::min(text.find(u'\\', start), text.size());
      const auto found = node->subKeys.find(text.substr(start, end - start));
      if (found == node->subKeys.end()) {
        return nullptr;
      }
      node = found->second;
      start = end + 1;
    }
    return std::make_unique<FakeKey>(node);
  }

 private:
  std::shared_ptr<FakeKeyNode> m_node;
};

class FakeFilterStoreEnvironment final : public IFilterStoreEnvironment {
 public:
  CXString GetPrinterName(void*) override { return CXString(printerName); }
  CXString GetV4PrinterDriverIDByReverseEngineering(void*) override { return CXString(driverId); }
  std::unique_ptr<IFilterSettingsKey> OpenMachineKey(const CXString& path) override {
    ++machineKeyOpens;
    return FakeKey(root).OpenSubKey(path);
  }
  CXString GetFilterListFolder() override { return CXString(folder); }

  std::shared_ptr<FakeKeyNode> root = std::make_shared<FakeKeyNode>();
  std::u16string printerName = u"\\\\srv\\Finance Laser";
  std::u16string driverId = u"{D1D1D1D1-0000-4000-8000-000000000001}";
  std::u16string folder;
  int machineKeyOpens = 0;

  FakeKeyNode& Rendering(const std::u16string& path) {
    return root->At(u"Software\\Halden\\PrinterDriver\\V6.0\\Rendering\\" + path);
  }
};

void AddAction(FakeKeyNode& filters, const std::u16string& subKey, const std::u16string& action,
               const std::u16string& priority, const GUID& clsid, const std::u16string& minRequiredProxy = u"") {
  FakeKeyNode& node = filters.At(subKey);
  node.values[u"Action"] = action;
  node.values[u"Priority"] = priority;
  node.values[u"CLSID"] = FilterStore::CLSIDToString(clsid).u16string();
  node.values[u"Name"] = subKey;
  if (!minRequiredProxy.empty()) {
    node.values[u"MinRequiredProxy"] = minRequiredProxy;
  }
}

// A folder of its own below the system's temporary folder, removed at the end.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::string& name)
      : m_path(std::filesystem::temp_directory_path() / ("hdu-filterstore-" + name)) {
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  void Write(const std::u16string& name, const std::string& contents) const {
    std::ofstream(m_path / std::filesystem::path(name), std::ios::binary) << contents;
  }
  CXString File(const std::u16string& name) const {
    return CXString((m_path / std::filesystem::path(name)).u16string());
  }
  // The folder with its trailing separator, as the environment gives it.
  std::u16string WithSeparator() const { return (m_path / "").u16string(); }

 private:
  std::filesystem::path m_path;
};

}  // namespace

TEST(FilterStore, PrioritiesFromTextAndBack) {
  EXPECT_EQ(FilterStore::GetClassificationAndRank(CXString(u"postprocessing.5")), kPost5);
  EXPECT_EQ(FilterStore::GetClassificationAndRank(CXString(u"PostProcessing.5")), kPost5);
  EXPECT_EQ(FilterStore::GetClassificationAndRank(CXString(u" PostProcessing . 5 ")), kPost5);
  EXPECT_EQ(FilterStore::GetClassificationAndRank(CXString(u"DocToStreamConversion.1")), (6500u << 16) | 1u);
  EXPECT_EQ(FilterStore::GetClassificationAndRank(CXString(u"Preview.2.5")), 0x13880003u);  // rounded half up
  EXPECT_EQ(FilterStore::GetClassificationAndRank(CXString(u"Preview.2.49")), 0x13880002u);
  EXPECT_EQ(FilterStore::GetClassificationAndRank(CXString(u"Preview.70000")), 0x13880000u | (70000u & 0xFFFF));
  EXPECT_EQ(FilterStore::GetClassificationAndRank(CXString(u"preprocessing.-1")), 0x0000FFFFu);
  EXPECT_EQ(FilterStore::GetClassificationAndRank(CXString(u"StreamPostProcessing.+0")), 13000u << 16);

  EXPECT_EQ(
      MessageOf<CPExceptionInvalidArgument>([] { FilterStore::GetClassificationAndRank(CXString(u"PostProcessing")); }),
      "'PostProcessing' is not a filter priority of the form <classification>.<number>: there is no \".\".");
  EXPECT_EQ(MessageOf<CPExceptionInvalidArgument>([] { FilterStore::GetClassificationAndRank(CXString(u"Post.5")); }),
            "'Post.5' is not a filter priority of the form <classification>.<number>: the classification is unknown.");
  for (const char16_t* bad : {u"Preview.", u"Preview.x", u"Preview.1e3", u"Preview.-", u"Preview..5", u".5"}) {
    EXPECT_THROW(FilterStore::GetClassificationAndRank(CXString(bad)), CPExceptionInvalidArgument)
        << Text(CXString(bad));
  }
  EXPECT_THROW(FilterStore::GetClassificationAndRank(CXString(u"Preview.99999999999")), CPExceptionOutOfRange);

  EXPECT_EQ(Text(FilterStore::PriorityToString(kPost5)), "POSTPROCESSING.5");
  EXPECT_EQ(Text(FilterStore::PriorityToString((6501u << 16) | 3u)), "UNKNOWN(6501).3");
  for (const auto& classification : FilterStore::GetClassifications()) {
    const std::uint32_t priority = (std::uint32_t{classification.rank} << 16) | 65535u;
    EXPECT_EQ(FilterStore::GetClassificationAndRank(FilterStore::PriorityToString(priority)), priority);
  }
}

TEST(FilterStore, GroupsHaveAsymmetricBounds) {
  const auto in = [](std::uint32_t rank, int group) {
    return FilterStore::DoesFilterPriorityMatchGroup((rank << 16) | 0xFFFFu, group);
  };
  EXPECT_TRUE(in(0, 0));
  EXPECT_TRUE(in(6000, 0));
  EXPECT_FALSE(in(6001, 0));
  EXPECT_FALSE(in(6500, 0));
  EXPECT_FALSE(in(6500, 1));
  EXPECT_TRUE(in(6500, 10));
  EXPECT_FALSE(in(6499, 10));
  EXPECT_FALSE(in(6501, 10));
  EXPECT_TRUE(in(6501, 1));
  EXPECT_TRUE(in(13000, 1));
  EXPECT_FALSE(in(13001, 1));
  EXPECT_FALSE(in(6000, 1));
  for (const int other : {-1, 2, 9, 11}) {
    EXPECT_FALSE(in(0, other));
    EXPECT_FALSE(in(6500, other));
    EXPECT_FALSE(in(7000, other));
  }
  FilterStore store;
  EXPECT_TRUE(store.DoesFilterPriorityMatchCurrentGroup(kPost5));
  store.SetFilterGroup(FilterStore::kDocumentToStreamFilterGroup);
  EXPECT_TRUE(store.DoesFilterPriorityMatchCurrentGroup(
      FilterStore::GetClassificationAndRank(CXString(u"DocToStreamConversion.1"))));
  EXPECT_FALSE(store.DoesFilterPriorityMatchCurrentGroup(kPost5));

  EXPECT_FALSE(CTargetFilter(kPost5, GUID{}).IsStreamFilter());
  EXPECT_FALSE(CTargetFilter(6500u << 16, GUID{}).IsStreamFilter());
  EXPECT_TRUE(CTargetFilter(6501u << 16, GUID{}).IsStreamFilter());
}

TEST(FilterStore, ClassIdentifierTextAndProxyBytes) {
  GUID guid{};
  guid.Data1 = 0x01234567;
  guid.Data2 = 0x89AB;
  guid.Data3 = 0xCDEF;
  const unsigned char tail[8] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
  std::copy(tail, tail + 8, guid.Data4);
  const CXString text = FilterStore::CLSIDToString(guid);
  EXPECT_EQ(Text(text), "{01234567-89AB-CDEF-0123-456789ABCDEF}");
  EXPECT_EQ(text.size(), 38u);
  EXPECT_TRUE(AreGuidsEqual(FilterStore::StringToCLSID(text), guid));
  EXPECT_TRUE(AreGuidsEqual(FilterStore::StringToCLSID(CXString(u"{01234567-89ab-cdef-0123-456789abcdef}")), guid));
  EXPECT_EQ(Text(FilterStore::CLSIDToString(GUID{})), "{00000000-0000-0000-0000-000000000000}");
  const GUID high = MakeGuid(0xFFFFFFFF, 0xFF);
  EXPECT_TRUE(AreGuidsEqual(FilterStore::StringToCLSID(FilterStore::CLSIDToString(high)), high));

  EXPECT_EQ(FilterStore::GetProxyFilterTypeFromClsid(guid), 0xAB);
  EXPECT_EQ(FilterStore::GetProxyFilterGroupFromClsid(guid), 0xCD);
  EXPECT_EQ(FilterStore::GetProxyFilterIndexFromClsid(guid), 0xEF);

  EXPECT_EQ(MessageOf<CPExceptionInvalidArgument>([] { FilterStore::StringToCLSID(CXString(u"{0123}")); }),
            "'{0123}' is not a class identifier in the form {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}.");
  for (const char16_t* bad : {u"01234567-89AB-CDEF-0123-456789ABCDEF", u"(01234567-89AB-CDEF-0123-456789ABCDEF)",
                              u"{01234567-89AB-CDEF-0123-456789ABCDEG}", u"{0123456-789AB-CDEF-0123-456789ABCDEF}",
                              u"{01234567-89AB-CDEF-0123-456789ABCDEF} ", u"{01234567-89AB-CDEF-01234-56789ABCDEF}",
                              u"{01234567-89AB-CDEF-0123-456789ABCD-F}", u""}) {
    EXPECT_THROW(FilterStore::StringToCLSID(CXString(bad)), CPExceptionInvalidArgument) << Text(CXString(bad));
  }
}

TEST(FilterStore, ActionsAgainstPresentAndAbsentFilters) {
  EXPECT_EQ(FilterStore::GetActionEnumFromString(CXString(u"AddOrReplace")), CTargetFilter::AE_ADD_OR_REPLACE);
  EXPECT_EQ(FilterStore::GetActionEnumFromString(CXString(u"NONE")), CTargetFilter::AE_NONE);
  EXPECT_EQ(FilterStore::GetActionEnumFromString(CXString(u"add")), CTargetFilter::AE_ADD);
  EXPECT_EQ(FilterStore::GetActionEnumFromString(CXString(u"Remove")), CTargetFilter::AE_REMOVE);
  EXPECT_EQ(FilterStore::GetActionEnumFromString(CXString(u"rePlace")), CTargetFilter::AE_REPLACE);
  EXPECT_EQ(FilterStore::GetActionEnumFromString(CXString(u"add ")), CTargetFilter::AE_INVALID);
  EXPECT_EQ(FilterStore::GetActionEnumFromString(CXString(u"")), CTargetFilter::AE_INVALID);

  const GUID present = MakeGuid(1, 1);
  const GUID absent = MakeGuid(2, 2);
  const auto action = [](const GUID& clsid, CTargetFilter::ActionEnum what, std::uint32_t priority = kPost5) {
    return CTargetFilter(priority, clsid, CXString(u"new"), {}, what);
  };
  const auto fresh = [&] {
    FilterStore store;
    EXPECT_TRUE(store.AddTargetFilter(CTargetFilter((1000u << 16), present, CXString(u"old"))));
    return store;
  };
  struct Case {
    GUID clsid;
    CTargetFilter::ActionEnum what;
    bool result;
    std::vector<std::uint32_t> priorities;
  };
  const Case cases[] = {
      {present, CTargetFilter::AE_ADD, false, {1000u << 16}},
      {absent, CTargetFilter::AE_ADD, true, {1000u << 16, kPost5}},
      {present, CTargetFilter::AE_ADD_OR_REPLACE, true, {kPost5}},
      {absent, CTargetFilter::AE_ADD_OR_REPLACE, true, {1000u << 16, kPost5}},
      {present, CTargetFilter::AE_REMOVE, true, {}},
      {absent, CTargetFilter::AE_REMOVE, false, {1000u << 16}},
      {present, CTargetFilter::AE_REPLACE, true, {kPost5}},
      {absent, CTargetFilter::AE_REPLACE, true, {1000u << 16}},
      {present, CTargetFilter::AE_NONE, true, {1000u << 16}},
      {absent, CTargetFilter::AE_INVALID, true, {1000u << 16}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.what));
    FilterStore store = fresh();
    EXPECT_EQ(store.ProcessAddRemoveReplaceActionsForTargetFilterList({action(c.clsid, c.what)}), c.result);
    EXPECT_EQ(Priorities(store), c.priorities);
  }

  // A failure anywhere makes the result false; later actions still apply.
  FilterStore store = fresh();
  EXPECT_FALSE(store.ProcessAddRemoveReplaceActionsForTargetFilterList(
      {action(absent, CTargetFilter::AE_REMOVE), action(absent, CTargetFilter::AE_ADD)}));
  EXPECT_EQ(store.Size(), 2u);
  // Actions outside the group are skipped, whatever they would do.
  EXPECT_TRUE(store.ProcessAddRemoveReplaceActionsForTargetFilterList(
      {action(MakeGuid(3, 3), CTargetFilter::AE_REMOVE, 7000u << 16)}));
  EXPECT_TRUE(store.ProcessAddRemoveReplaceActionsForTargetFilterList({}));
  EXPECT_EQ(store.GetNumFilters(), 2u);
  store.Clear();
  EXPECT_TRUE(store.IsEmpty());
}

TEST(FilterStore, StartingListEntriesOrderAndProxies) {
  const GUID a = MakeGuid(0xA, 0);
  const GUID b = MakeGuid(0xB, 0);
  const GUID c = MakeGuid(0xC, 0);
  const GUID stream = MakeGuid(0xD, 0);
  FilterStore store;
  const std::vector<CXString> entries = {
      CXString(u"PostProcessing.5, " + FilterStore::CLSIDToString(a).u16string() + u", Watermark"),
      CXString(FilterStore::CLSIDToString(b)),  // a bare CLSID: PREPROCESSING.0
      CXString(u"  "),
      CXString(u"Preview.1," + FilterStore::CLSIDToString(c).u16string() + u",Preview"),
      CXString(u"StreamContentProcessing.1," + FilterStore::CLSIDToString(stream).u16string() + u",Stream"),
      CXString(u"Preview.1," + FilterStore::CLSIDToString(a).u16string() + u",Duplicate"),
  };
  EXPECT_FALSE(store.InitializeTargetFilterList(entries));  // the duplicate was not added
  EXPECT_EQ(Data1s(store), (std::vector<std::uint32_t>{0xB, 0xC, 0xA}));
  EXPECT_EQ(Text(store.GetTargetFilters()[2].GetName()), "Watermark");

  // Equal priorities keep their order of arrival.
  EXPECT_TRUE(store.AddTargetFilter(CTargetFilter((5000u << 16) | 1u, MakeGuid(0xE, 0))));
  EXPECT_EQ(Data1s(store), (std::vector<std::uint32_t>{0xB, 0xC, 0xE, 0xA}));

  // A malformed entry leaves the store as it was.
  const std::vector<std::uint32_t> before = Data1s(store);
  EXPECT_EQ(MessageOf<CPExceptionInvalidArgument>([&] {
              store.InitializeTargetFilterList({CXString(FilterStore::CLSIDToString(c)), CXString(u"Preview.1,{bad}")});
            }),
            "The filter list entry 'Preview.1,{bad}' has 2 parts; an entry is '<CLSID>' or "
            "'<priority>,<CLSID>,<name>'.");
  EXPECT_THROW(store.InitializeTargetFilterList({CXString(u"Preview.1,{bad},x")}), CPExceptionInvalidArgument);
  EXPECT_THROW(
      store.InitializeTargetFilterList({CXString(u"Later.1," + FilterStore::CLSIDToString(c).u16string() + u",x")}),
      CPExceptionInvalidArgument);
  EXPECT_EQ(Data1s(store), before);

  // Group 1 takes the stream filter only; a bare CLSID is never a stream filter.
  FilterStore streams;
  streams.SetFilterGroup(FilterStore::kStreamFilterGroup);
  EXPECT_TRUE(streams.InitializeTargetFilterList(entries));
  EXPECT_EQ(Data1s(streams), (std::vector<std::uint32_t>{0xD}));

  // A proxy of group 0 with index 1 stands for the second filter.
  GUID proxy = MakeGuid(0x9, 1);
  proxy.Data4[5] = FilterStore::PFTBE_DOCUMENT;
  proxy.Data4[6] = 0;
  CTargetFilter target;
  ASSERT_TRUE(store.GetTargetFilterForThisProxy(proxy, target));
  EXPECT_EQ(target.GetClsid().Data1, 0xCu);
  proxy.Data4[7] = 4;
  EXPECT_FALSE(store.GetTargetFilterForThisProxy(proxy, target));
  proxy.Data4[7] = 0;
  proxy.Data4[6] = 1;
  EXPECT_FALSE(store.GetTargetFilterForThisProxy(proxy, target));
  ASSERT_TRUE(streams.GetTargetFilterForThisProxy(proxy, target));
  EXPECT_EQ(target.GetClsid().Data1, 0xDu);
}

TEST(FilterStore, ProxyVersionsAndDependencyCheck) {
  EXPECT_EQ(FilterStore::ProxyInterfaceVersionStringToInt(CXString(u"V1.0")), 0x00010000);
  EXPECT_EQ(FilterStore::ProxyInterfaceVersionStringToInt(CXString(u"v2.15")), 0x0002000F);
  EXPECT_EQ(FilterStore::ProxyInterfaceVersionStringToInt(CXString(u"")), 0);
  EXPECT_EQ(FilterStore::ProxyInterfaceVersionStringToInt(CXString(u" V1.0 ")), 0x00010000);
  for (const char16_t* bad : {u"1.0", u"V1", u"V1.", u"V.1", u"V1.0.0", u"V1.65536", u"V32768.0", u"Vx.y"}) {
    EXPECT_EQ(FilterStore::ProxyInterfaceVersionStringToInt(CXString(bad)), -1) << Text(CXString(bad));
  }
  FilterStore store;
  store.AddTargetFilter(CTargetFilter(1, MakeGuid(1, 0), CXString(u"none needed")));
  store.AddTargetFilter(CTargetFilter(2, MakeGuid(2, 0), CXString(u"current"), CXString(u"V1.0")));
  store.AddTargetFilter(CTargetFilter(3, MakeGuid(3, 0), CXString(u"newer"), CXString(u"V1.1")));
  store.AddTargetFilter(CTargetFilter(4, MakeGuid(4, 0), CXString(u"unreadable"), CXString(u"one")));
  store.AddTargetFilter(CTargetFilter(5, MakeGuid(5, 0), CXString(u"old"), CXString(u"V0.9")));
  EXPECT_EQ(store.CheckFilterDependencies(), 2u);
  EXPECT_EQ(Data1s(store), (std::vector<std::uint32_t>{1, 2, 5}));
}

TEST(FilterStore, SettingsTreeGeneralThenDriverSpecificWithWildcardsAndInheritance) {
  FakeFilterStoreEnvironment environment;
  const GUID a = MakeGuid(0xA, 0);
  const GUID b = MakeGuid(0xB, 0);
  const GUID c = MakeGuid(0xC, 0);
  const GUID d = MakeGuid(0xD, 0);
  FakeKeyNode& general = environment.Rendering(u"XPS\\Drivers\\Filters");
  general.values[u"PrinterNameWildcardNoCase"] = u"*finance*";
  AddAction(general, u"b-second", u"Remove", u"Preview.1", b);
  AddAction(general, u"A-first", u"add", u"PostProcessing.5", a);
  FakeKeyNode& specific =
      environment.Rendering(u"XPS\\Drivers\\SpecificDrivers\\PrinterDriverIDs\\" + environment.driverId + u"\\Filters");
  specific.values[u"AlsoInheritFromPdl"] = u"pcl6";
  AddAction(specific, u"1", u"replace", u"Preview.2", c);
  FakeKeyNode& inherited = environment.Rendering(u"PCL6\\Drivers\\SpecificDrivers\\PrinterDriverIDs\\" +
                                                 environment.driverId + u"\\Filters");
  AddAction(inherited, u"0", u"addorreplace", u"StreamPreview.1", d);
  // A malformed action: reported and skipped.
  environment.Rendering(u"XPS\\Drivers\\Filters\\c-broken").values[u"Priority"] = u"Preview.1";

  ScopedExceptionReportRecorder recorder;
  FilterStore store(environment, nullptr, DataModelIds::DMIDVE_PDL_XPS, false);
  std::vector<CTargetFilter> actions = store.ReadFilterAddRemoveAndReplaceListFromRegistry();
  ASSERT_EQ(actions.size(), 4u);
  EXPECT_EQ(actions[0].GetClsid().Data1, 0xAu);
  EXPECT_EQ(actions[0].GetAction(), CTargetFilter::AE_ADD);
  EXPECT_EQ(Text(actions[0].GetName()), "A-first");
  EXPECT_EQ(actions[1].GetClsid().Data1, 0xBu);
  EXPECT_EQ(actions[1].GetAction(), CTargetFilter::AE_REMOVE);
  EXPECT_EQ(actions[2].GetClsid().Data1, 0xDu);  // the inherited PDL's key comes first
  EXPECT_EQ(actions[3].GetClsid().Data1, 0xCu);
  EXPECT_EQ(actions[3].GetAction(), CTargetFilter::AE_REPLACE);
  const std::string reports = recorder.allReports();
  EXPECT_NE(reports.find("The filter action 'c-broken' lacks its \"Priority\" or \"CLSID\" value."), std::string::npos)
      << reports;

  // A printer the wildcard does not match: the general key is ignored.
  environment.printerName = u"\\\\srv\\Reception";
  actions = store.ReadFilterAddRemoveAndReplaceListFromRegistry();
  ASSERT_EQ(actions.size(), 2u);
  EXPECT_EQ(actions[0].GetClsid().Data1, 0xDu);
  // Without a driver ID only the general key is read; without a tree, nothing.
  environment.printerName = u"FINANCE-2";
  environment.driverId.clear();
  EXPECT_EQ(store.ReadFilterAddRemoveAndReplaceListFromRegistry().size(), 2u);
  environment.root = std::make_shared<FakeKeyNode>();
  EXPECT_TRUE(store.ReadFilterAddRemoveAndReplaceListFromRegistry().empty());
}

TEST(FilterStore, XmlFilterListsGoodEmptyAndMalformed) {
  const ByteBuffer good = Bytes(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<Filters xmlns:p=\"urn:x\">\n"
      "  <Filter name=\"PostProcessing.5,{0000000A-1234-5678-9ABC-DEF01122330A},W\u00e4sser &amp; Co\"/>\n"
      "  <Group><Filter name=\"second\"><Filter name=\"nested\"/></Filter></Group>\n"
      "  <Filter/><filter name=\"wrong case\"/><p:Filter name=\"namespaced\"/>\n"
      "</Filters>\n");
  const std::vector<CXString> names = FilterListXmlReader::ReadFilterNames(good, CXString(u"good.xml"));
  ASSERT_EQ(names.size(), 4u);
  EXPECT_EQ(Text(names[0]), "PostProcessing.5,{0000000A-1234-5678-9ABC-DEF01122330A},W\u00e4sser & Co");
  EXPECT_EQ(Text(names[1]), "second");
  EXPECT_EQ(Text(names[2]), "nested");
  EXPECT_EQ(Text(names[3]), "namespaced");
  EXPECT_TRUE(FilterListXmlReader::ReadFilterNames(Bytes("<Filters/>"), CXString(u"x")).empty());

  const std::string prefix = "The filter list 'bad.xml' is not well-formed XML";
  for (const char* bad :
       {"", "   ", "<Filters>", "<Filters><Filter name=\"x></Filters>", "<a></b>", "<Filters/><second/>",
        "<!DOCTYPE Filters [<!ENTITY e \"x\">]><Filters name=\"&e;\"/>", "not xml at all"}) {
    const std::string message = MessageOf<CPExceptionXMLConfigurationFileParseFailed>(
        [&] { FilterListXmlReader::ReadFilterNames(Bytes(bad), CXString(u"bad.xml")); });
    EXPECT_EQ(message.substr(0, prefix.size()), prefix) << "input: " << bad << "\nmessage: " << message;
  }

  // A mismatched end tag on line 2: the message says where.
  const std::string mismatched = MessageOf<CPExceptionXMLConfigurationFileParseFailed>(
      [] { FilterListXmlReader::ReadFilterNames(Bytes("<Filters>\n</Filter>"), CXString(u"bad.xml")); });
  EXPECT_EQ(mismatched.substr(0, prefix.size() + 9), prefix + " (line 2)") << mismatched;

  TemporaryFolder folder("xml");
  folder.Write(u"list-\u00FC\u20AC.xml", "<Filters><Filter name=\"one\"/></Filters>");
  folder.Write(u"list.xml", "<Filters><Filter name=\"one\"/></Filters>");
  const std::vector<CXString> fromFile =
      FilterListXmlReader::ReadFilterNamesFromFile(folder.File(u"list-\u00FC\u20AC.xml"));
  ASSERT_EQ(fromFile.size(), 1u);
  EXPECT_EQ(Text(fromFile[0]), "one");
  EXPECT_TRUE(FilterListXmlReader::DoesFileExist(folder.File(u"list.xml")));
  EXPECT_FALSE(FilterListXmlReader::DoesFileExist(folder.File(u"missing.xml")));
  EXPECT_THROW(FilterListXmlReader::ReadFilterNamesFromFile(folder.File(u"missing.xml")),
               CPExceptionCreateFileForReading);
}

TEST(FilterStore, BuildFromListFilesAndSettingsTree) {
  TemporaryFolder folder("build");
  FakeFilterStoreEnvironment environment;
  environment.folder = folder.WithSeparator();
  const GUID a = MakeGuid(0xA, 0);
  const GUID b = MakeGuid(0xB, 0);
  const GUID c = MakeGuid(0xC, 0);
  const auto entry = [](const char* priority, const GUID& clsid, const char* name) {
    return std::string("<Filter name=\"") + priority + "," + FilterStore::CLSIDToString(clsid).toUtf8() + "," + name +
           "\"/>";
  };
  folder.Write(u"PCL6-filters.xml", "<Filters>" + entry("Preview.1", a, "a") + entry("PostProcessing.1", b, "b") +
                                        entry("StreamPreview.1", c, "stream") + "</Filters>");
  folder.Write(u"DesktopApp-filters.xml", "<Filters>" + entry("Imposition.1", c, "desktop") + "</Filters>");
  FakeKeyNode& general = environment.Rendering(u"PCL6\\Drivers\\Filters");
  AddAction(general, u"1", u"remove", u"Preview.1", a);
  AddAction(general, u"2", u"add", u"Optimization.3", MakeGuid(0xF, 0), u"V2.0");  // needs a newer proxy

  FilterStore store(environment, nullptr, DataModelIds::DMIDVE_PDL_PCL6, true);
  EXPECT_EQ(Data1s(store), (std::vector<std::uint32_t>{0xB}));
  // The desktop list has no "a" to remove: the filters are built, the result is false.
  EXPECT_FALSE(store.GetFilterStore(true));
  EXPECT_EQ(Data1s(store), (std::vector<std::uint32_t>{0xC}));
  std::vector<CXString> desktop;
  EXPECT_TRUE(store.GetDesktopAppFilterList(desktop));
  EXPECT_EQ(desktop.size(), 1u);

  // A broken list file: reported, false, and the store keeps its filters.
  folder.Write(u"PCL6-filters.xml", "<Filters><Filter name=\"x\">");
  ScopedExceptionReportRecorder recorder;
  EXPECT_FALSE(store.GetFilterStore(false));
  EXPECT_EQ(Data1s(store), (std::vector<std::uint32_t>{0xC}));
  const std::string reports = recorder.allReports();
  EXPECT_NE(reports.find("Building the PCL6 filter store of group 0 failed; the store keeps its 1 filters."),
            std::string::npos)
      << reports;
  EXPECT_NE(reports.find("class CPExceptionXMLConfigurationFileParseFailed"), std::string::npos) << reports;

  // No list file at all: an empty start, the registry actions alone.
  store.SetPdl(DataModelIds::DMIDVE_PDL_PDF);
  EXPECT_TRUE(store.GetFilterStore(false));
  EXPECT_TRUE(store.IsEmpty());
  EXPECT_EQ(Text(store.GetPdlName()), "PDF");
  EXPECT_EQ(Text(FilterStore::GetPdlName(static_cast<DataModelIds::tagValueEnum>(42))), "Unknown");
  EXPECT_EQ(Text(FilterStore::GetRenderingFilterRegistryBaseKey()), "Software\\Halden\\PrinterDriver\\V6.0\\Rendering");
}
