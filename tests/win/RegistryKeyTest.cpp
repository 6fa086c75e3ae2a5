// RegistryKey against Wine's registry server. Every test works in its own
// scratch key under HKEY_CURRENT_USER\Software\hd-Utilities-Tests, created by
// the fixture and deleted with its tree afterwards. What the wrapper writes is
// read back independently with RegQueryValueExW and with Wine's reg.exe.

#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/DebugUtilities.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "RecordingHosts.h"
#include "Registry/RegistryAccessControl.h"
#include "Registry/RegistryKey.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

const wchar_t* const kScratchParent = L"Software\\hd-Utilities-Tests";

struct RawValue {
  LONG status = ERROR_SUCCESS;
  DWORD type = REG_NONE;
  Bytes data;
};

RawValue rawQuery(HKEY key, const wchar_t* name) {
  RawValue value;
  DWORD size = 0;
  value.status = ::RegQueryValueExW(key, name, nullptr, &value.type, nullptr, &size);
  if (value.status == ERROR_SUCCESS && size != 0) {
    value.data.resize(size);
    value.status = ::RegQueryValueExW(key, name, nullptr, &value.type, value.data.data(), &size);
  }
  return value;
}

void rawSet(HKEY key, const wchar_t* name, DWORD type, const Bytes& data) {
  ASSERT_EQ(::RegSetValueExW(key, name, 0, type, data.empty() ? nullptr : data.data(), static_cast<DWORD>(data.size())),
            ERROR_SUCCESS);
}

bool isOpenHandle(HKEY key) {
  return ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr) == ERROR_SUCCESS;
}

std::string displayText(unsigned long code) {
  return DebugUtilities::formatLastErrorDisplayString(code, false);
}

// Runs a program and returns what it wrote to standard output.
std::string runAndCapture(std::wstring commandLine) {
  SECURITY_ATTRIBUTES inherit = {sizeof(inherit), nullptr, TRUE};
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  if (!::CreatePipe(&readEnd, &writeEnd, &inherit, 0)) {
    return {};
  }
  ::SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = writeEnd;
  startup.hStdError = writeEnd;
  PROCESS_INFORMATION process = {};
  const BOOL started =
      ::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process);
  ::CloseHandle(writeEnd);
  std::string output;
  if (started) {
    char chunk[4096];
    DWORD got = 0;
    while (::ReadFile(readEnd, chunk, sizeof(chunk), &got, nullptr) && got != 0) {
      output.append(chunk, got);
    }
    ::WaitForSingleObject(process.hProcess, 60000);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
  }
  ::CloseHandle(readEnd);
  return output;
}

// Installs recording hosts in the library's exception facility for the life
// of the object and puts the original ones back afterwards.
class RecordedExceptionFacility {
 public:
  RecordedExceptionFacility()
      : m_facility(LowLevelFacilitiesGlobals::getExceptionFacility()),
        m_originalPlatform(m_facility.getPlatformUtilities()),
        m_originalHost(m_facility.getHost()),
        m_wasFlagSet(m_facility.isOneTimeApplicationInitializationFlagSet()) {
    m_facility = ExceptionFacility(platform, host);
  }
  ~RecordedExceptionFacility() {
    m_facility = ExceptionFacility(m_originalPlatform, m_originalHost);
    if (m_wasFlagSet) {
      m_facility.setOneTimeApplicationInitializationFlag();
    }
  }
  RecordedExceptionFacility(const RecordedExceptionFacility&) = delete;
  RecordedExceptionFacility& operator=(const RecordedExceptionFacility&) = delete;

  RecordingPlatformUtilities platform;
  RecordingExceptionHost host;

 private:
  ExceptionFacility& m_facility;
  IPlatformUtilities& m_originalPlatform;
  IExceptionFacilityHost& m_originalHost;
  bool m_wasFlagSet;
};

class NativeArchitectureForTest {
 public:
  explicit NativeArchitectureForTest(unsigned short machine) {
    RegistryKey::SetNativeOsArchitectureForTesting(machine);
  }
  ~NativeArchitectureForTest() { RegistryKey::SetNativeOsArchitectureForTesting(0); }
  NativeArchitectureForTest(const NativeArchitectureForTest&) = delete;
  NativeArchitectureForTest& operator=(const NativeArchitectureForTest&) = delete;
};

class RegistryKeyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(info->name()) + "-" + std::to_string(::GetCurrentProcessId());
    m_path = std::wstring(kScratchParent) + L"\\" + std::wstring(name.begin(), name.end());
    ::RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str());
    ASSERT_EQ(
        ::RegCreateKeyExW(HKEY_CURRENT_USER, m_path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_raw, nullptr),
        ERROR_SUCCESS);
  }
  void TearDown() override {
    ::RegCloseKey(m_raw);
    EXPECT_EQ(::RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str()), ERROR_SUCCESS);
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kScratchParent);  // when no other run uses it
  }

  // The scratch key through the wrapper.
  RegistryKey open(unsigned long access = KEY_ALL_ACCESS) const {
    RegistryKey key;
    EXPECT_TRUE(RegistryKey::OpenRegistryKey(key, RegistryKey(HKEY_CURRENT_USER, false), CXString(m_path), access));
    return key;
  }

  std::wstring m_path;
  HKEY m_raw = nullptr;
};

}  // namespace

TEST_F(RegistryKeyTest, SettersWriteExactlyTheirTypesAndBytesAndGettersReadThemBack) {
  RegistryKey key = open();
  key.SetBooleanValue(u"True", true);
  key.SetBooleanValue(u"False", false);
  key.SetLongValue(u"Long", 0x12345678);
  key.SetLongValue(u"Minus2", -2);
  key.SetLong64Value(u"Long64", 0x0102030405060708LL);
  key.SetLong64Value(u"Long64Minus2", -2);
  key.SetStringValue(u"Text", CXString(u"A\u00e9\U0001F600"));
  key.SetStringValue(u"Empty", CXString());
  key.SetBytesValue(u"Bytes", ByteBuffer{0x00, 0x01, 0xAB, 0xFF});
  key.SetBytesValue(u"NoBytes", ByteBuffer());
  key.SetStringValue(u"", CXString(u"default"));

  const struct {
    const wchar_t* name;
    DWORD type;
    Bytes data;
  } expected[] = {
      {L"True", REG_BINARY, {1}},
      {L"False", REG_BINARY, {0}},
      {L"Long", REG_DWORD, {0x78, 0x56, 0x34, 0x12}},
      {L"Minus2", REG_DWORD, {0xFE, 0xFF, 0xFF, 0xFF}},
      {L"Long64", REG_QWORD, {8, 7, 6, 5, 4, 3, 2, 1}},
      {L"Long64Minus2", REG_QWORD, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {L"Text", REG_SZ, {'A', 0, 0xE9, 0, 0x3D, 0xD8, 0x00, 0xDE, 0, 0}},
      {L"Empty", REG_SZ, {0, 0}},
      {L"Bytes", REG_BINARY, {0x00, 0x01, 0xAB, 0xFF}},
      {L"NoBytes", REG_BINARY, {}},
      {L"", REG_SZ, {'d', 0, 'e', 0, 'f', 0, 'a', 0, 'u', 0, 'l', 0, 't', 0, 0, 0}},
  };
  for (const auto& row : expected) {
    SCOPED_TRACE(std::wstring(row.name).size());
    const RawValue raw = rawQuery(m_raw, row.name);
    EXPECT_EQ(raw.status, ERROR_SUCCESS);
    EXPECT_EQ(raw.type, row.type);
    EXPECT_EQ(raw.data, row.data);
  }

  EXPECT_TRUE(key.GetBooleanValue(u"True", false));
  EXPECT_FALSE(key.GetBooleanValue(u"False", true));
  EXPECT_EQ(key.GetLongValue(u"Long", 0), 0x12345678);
  EXPECT_EQ(key.GetLongValue(u"Minus2", 0), -2);
  EXPECT_EQ(key.GetLong64Value(u"Long64", 0), 0x0102030405060708LL);
  EXPECT_EQ(key.GetLong64Value(u"Long64Minus2", 0), -2);
  key.SetLong64Value(u"Wide", static_cast<long long>(0x8000000000000001ULL));
  EXPECT_EQ(key.GetLong64Value(u"Wide", 0), static_cast<long long>(0x8000000000000001ULL));
  EXPECT_EQ(key.GetStringValue(u"Text", CXString(u"x")), CXString(u"A\u00e9\U0001F600"));
  EXPECT_EQ(key.GetStringValue(u"Empty", CXString(u"x")), CXString());
  EXPECT_EQ(key.GetStringValue(u"", CXString(u"x")), CXString(u"default"));
  EXPECT_EQ(key.GetBytesValue(u"Bytes", ByteBuffer{9}), (ByteBuffer{0x00, 0x01, 0xAB, 0xFF}));
  EXPECT_EQ(key.GetBytesValue(u"NoBytes", ByteBuffer{9}), ByteBuffer());
}

TEST_F(RegistryKeyTest, GettersLookAtTheBytesOnlyAndMissingValuesGiveTheDefault) {
  rawSet(m_raw, L"Dword100", REG_DWORD, {0x00, 0x01, 0x00, 0x00});
  rawSet(m_raw, L"Dword1", REG_DWORD, {0x01, 0x00, 0x00, 0x00});
  rawSet(m_raw, L"EmptySz", REG_SZ, {});
  rawSet(m_raw, L"EmptyBinary", REG_BINARY, {});
  rawSet(m_raw, L"OddUnterminated", REG_SZ, {'h', 0, 'i', 0, 'x'});
  rawSet(m_raw, L"TwoZeros", REG_SZ, {'h', 0, 0, 0, 0, 0});
  rawSet(m_raw, L"Short", REG_BINARY, {1, 2});
  const RegistryKey key = open(KEY_READ);

  EXPECT_FALSE(key.GetBooleanValue(u"Dword100", true));  // only the first byte counts
  EXPECT_TRUE(key.GetBooleanValue(u"Dword1", false));
  EXPECT_EQ(key.GetLongValue(u"Dword100", 0), 0x100);
  EXPECT_EQ(key.GetStringValue(u"EmptySz", CXString(u"default")), CXString());
  EXPECT_EQ(key.GetStringValue(u"Missing", CXString(u"default")), CXString(u"default"));
  EXPECT_TRUE(key.GetBooleanValue(u"EmptyBinary", true));
  EXPECT_EQ(key.GetLongValue(u"EmptyBinary", 77), 77);
  EXPECT_EQ(key.GetLong64Value(u"Missing", -5), -5);
  EXPECT_EQ(key.GetStringValue(u"OddUnterminated", CXString()), CXString(u"hi"));
  EXPECT_EQ(key.GetStringValue(u"TwoZeros", CXString()), CXString(std::u16string(u"h\0", 2)));
  EXPECT_EQ(key.GetBytesValue(u"Missing", ByteBuffer{7}), ByteBuffer{7});
  // Too few bytes for the integer: ByteBuffer's reader refuses them.
  EXPECT_THROW(key.GetLongValue(u"Short", 0), CPExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_THROW(key.GetLong64Value(u"Dword1", 0), CPExceptionNotEnoughBytesForDesiredDataType);

  ByteBuffer data{1, 2, 3};
  unsigned long type = 99;
  EXPECT_TRUE(key.GetValue(u"EmptyBinary", data, &type));
  EXPECT_TRUE(data.empty());
  EXPECT_EQ(type, static_cast<unsigned long>(REG_BINARY));
  data = ByteBuffer{1, 2, 3};
  EXPECT_FALSE(key.GetValue(u"Missing", data, &type));
  EXPECT_TRUE(data.empty());
  EXPECT_EQ(type, static_cast<unsigned long>(REG_NONE));
  EXPECT_TRUE(key.GetValue(u"Dword1", data, nullptr));
  EXPECT_TRUE(key.DoesValueExist(u"EmptySz"));
  EXPECT_FALSE(key.DoesValueExist(u"Missing"));

  // A key without query rights: the value is denied (status 5), so every
  // getter gives its default, but it counts as existing.
  const RegistryKey setOnly = open(KEY_SET_VALUE);
  EXPECT_FALSE(setOnly.GetValue(u"Dword1", data, nullptr));
  EXPECT_FALSE(setOnly.GetBooleanValue(u"Dword1", false));
  EXPECT_EQ(setOnly.GetLongValue(u"Dword1", 42), 42);
  EXPECT_EQ(setOnly.GetStringValue(u"EmptySz", CXString(u"d")), CXString(u"d"));
  EXPECT_TRUE(setOnly.DoesValueExist(u"Dword1"));
  // A default key: invalid handle (status 6), silent as well.
  const RegistryKey none;
  EXPECT_FALSE(none.IsKeyValid());
  EXPECT_FALSE(none.GetValue(u"Dword1", data, nullptr));
  EXPECT_EQ(none.GetLongValue(u"Dword1", 3), 3);
  EXPECT_FALSE(none.DoesValueExist(u"Dword1"));
}

TEST_F(RegistryKeyTest, WinesRegToolReadsWhatTheSettersWrote) {
  RegistryKey key = open();
  key.SetBooleanValue(u"Bool", true);
  key.SetLongValue(u"Dword", 0x12345678);
  key.SetLong64Value(u"Qword", 0x0102030405060708LL);
  key.SetStringValue(u"Str", CXString(u"Hello registry"));
  key.SetStringValue(u"EmptyStr", CXString());
  key.SetBytesValue(u"Bin", ByteBuffer{0x00, 0x01, 0xAB, 0xFF});

  wchar_t system[MAX_PATH] = {};
  ASSERT_NE(::GetSystemDirectoryW(system, MAX_PATH), 0u);
  const std::string output =
      runAndCapture(L"\"" + std::wstring(system) + L"\\reg.exe\" query \"HKCU\\" + m_path + L"\"");
  // Lines "    NAME    TYPE    DATA".
  std::map<std::string, std::pair<std::string, std::string>> listed;
  std::istringstream lines(output);
  std::string line;
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    if (line.rfind("    ", 0) != 0) {
      continue;
    }
    const std::size_t typeAt = line.find("    ", 4);
    const std::size_t dataAt = typeAt == std::string::npos ? typeAt : line.find("    ", typeAt + 4);
    if (dataAt == std::string::npos) {
      continue;
    }
    listed[line.substr(4, typeAt - 4)] = {line.substr(typeAt + 4, dataAt - typeAt - 4), line.substr(dataAt + 4)};
  }
  ASSERT_EQ(listed.size(), 6u) << output;
  EXPECT_EQ(listed["Bool"], std::make_pair(std::string("REG_BINARY"), std::string("01")));
  EXPECT_EQ(listed["Dword"], std::make_pair(std::string("REG_DWORD"), std::string("0x12345678")));
  EXPECT_EQ(listed["Qword"].first, "REG_QWORD");  // Wine 8's reg prints no QWORD data
  EXPECT_EQ(listed["Str"], std::make_pair(std::string("REG_SZ"), std::string("Hello registry")));
  EXPECT_EQ(listed["EmptyStr"], std::make_pair(std::string("REG_SZ"), std::string()));
  EXPECT_EQ(listed["Bin"], std::make_pair(std::string("REG_BINARY"), std::string("0001ABFF")));
}

TEST_F(RegistryKeyTest, FailuresThrowRegistryRequestWithTheirMessagesThroughTheThrowSite) {
  RecordedExceptionFacility recorded;
  RegistryKey readOnly = open(KEY_READ);
  try {
    readOnly.SetLongValue(u"Denied", 1);
    FAIL() << "no exception";
  } catch (const CPExceptionRegistryRequest& e) {
    EXPECT_EQ(e.getExceptionTypeByNumericCode(), 6);
    EXPECT_EQ(e.getLastErrorValue(), static_cast<unsigned long>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(std::string(e.getExceptionMessage()), "RegSetValueEx(Denied) failed unexpectedly! " + displayText(5));
    EXPECT_STREQ(e.getExceptionLocationFunctionName(), "RegistryKey::SetValue");
    EXPECT_STREQ(e.getExceptionLocationFullFileName(), "UtilitiesDll\\Registry\\RegistryKey");
  }
  EXPECT_EQ(rawQuery(m_raw, L"Denied").status, ERROR_FILE_NOT_FOUND);

  // HKEY_PERFORMANCE_DATA answers the size query with ERROR_MORE_DATA (234).
  const RegistryKey performance(HKEY_PERFORMANCE_DATA, false);
  ByteBuffer data;
  try {
    performance.GetValue(u"Global", data, nullptr);
    FAIL() << "no exception";
  } catch (const CPExceptionRegistryRequest& e) {
    EXPECT_EQ(e.getLastErrorValue(), static_cast<unsigned long>(ERROR_MORE_DATA));
    EXPECT_EQ(std::string(e.getExceptionMessage()), "RegQueryValueEx(Global) failed unexpectedly! " + displayText(234));
    EXPECT_STREQ(e.getExceptionLocationFunctionName(), "RegistryKey::GetValue");
  }
  EXPECT_THROW(performance.GetLongValue(u"Global", 0), CPExceptionRegistryRequest);

  // A non-volatile key cannot live under a volatile one (1021).
  const RegistryKey parent = open();
  const RegistryKey volatileKey = RegistryKey::CreateRegistryKey(parent, u"Volatile", KEY_ALL_ACCESS, true);
  const std::string createText = "RegCreateKeyEx(Child) failed! " + displayText(1021);
  try {
    RegistryKey::CreateRegistryKey(volatileKey, u"Child", KEY_ALL_ACCESS, false);
    FAIL() << "no exception";
  } catch (const CPExceptionRegistryRequest& e) {
    EXPECT_EQ(e.getLastErrorValue(), 1021u);
    EXPECT_EQ(std::string(e.getExceptionMessage()),
              "Application=" + PlatformFacilities::processName() + ". " + createText);
    EXPECT_STREQ(e.getExceptionLocationFunctionName(), "RegistryKey::CreateRegistryKey");
  }
  CXString errorText(u"stale");
  EXPECT_EQ(RegistryKey::CreateRegistryKey(volatileKey, u"Child", KEY_ALL_ACCESS, errorText, false), nullptr);
  EXPECT_EQ(errorText.toUtf8(), createText);
  EXPECT_NE(RegistryKey::CreateRegistryKey(volatileKey, u"VolatileChild", KEY_ALL_ACCESS, errorText, true), nullptr);
  EXPECT_TRUE(errorText.empty());
  long status = 0;
  EXPECT_EQ(RegistryKey::CreateRegistryKey(volatileKey, u"Child", KEY_ALL_ACCESS, status, false), nullptr);
  EXPECT_EQ(status, 1021);

  // Each throw was offered to the exception facility's debug hook first.
  ASSERT_EQ(recorded.host.allowQuestions.size(), 4u);
  EXPECT_EQ(recorded.host.allowQuestions[0],
            TitleAndText("CPExceptionRegistryRequest", "RegSetValueEx(Denied) failed unexpectedly! " + displayText(5)));
  EXPECT_TRUE(recorded.host.reports.empty());
}

TEST_F(RegistryKeyTest, QueryMultipleValuesGrowsItsBufferOnceAndReportsFailures) {
  RegistryKey key = open();
  key.SetStringValue(u"S", CXString(u"four"));
  key.SetLongValue(u"D", 7);
  key.SetBytesValue(u"B", ByteBuffer(300, 0x5A));
  for (const std::size_t initialSize : {std::size_t{0}, std::size_t{10}, std::size_t{1000}}) {
    SCOPED_TRACE(initialSize);
    std::vector<value_entW> entries(3);
    const wchar_t* names[] = {L"S", L"D", L"B"};
    for (std::size_t i = 0; i < 3; ++i) {
      entries[i].ve_valuename = const_cast<wchar_t*>(names[i]);
    }
    ByteBuffer buffer(initialSize, 0);
    ASSERT_TRUE(key.QueryMultipleValues(entries, buffer, true));
    EXPECT_EQ(buffer.size(), std::max<std::size_t>(initialSize, 10 + 4 + 300));
    const Bytes expected[] = {{'f', 0, 'o', 0, 'u', 0, 'r', 0, 0, 0}, {7, 0, 0, 0}, Bytes(300, 0x5A)};
    const DWORD types[] = {REG_SZ, REG_DWORD, REG_BINARY};
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(entries[i].ve_type, types[i]);
      // NOLINTNEXTLINE(performance-no-int-to-ptr): the system hands the address over as an integer
      const auto* start = reinterpret_cast<const unsigned char*>(entries[i].ve_valueptr);
      ASSERT_GE(start, buffer.data());
      ASSERT_LE(start + entries[i].ve_valuelen, buffer.data() + buffer.size());
      EXPECT_EQ(Bytes(start, start + entries[i].ve_valuelen), expected[i]);
    }
  }

  std::vector<value_entW> missing(2);
  missing[0].ve_valuename = const_cast<wchar_t*>(L"S");
  missing[1].ve_valuename = const_cast<wchar_t*>(L"Nowhere");
  ByteBuffer buffer(64, 0);
  EXPECT_FALSE(key.QueryMultipleValues(missing, buffer, false));
  try {
    key.QueryMultipleValues(missing, buffer, true);
    FAIL() << "no exception";
  } catch (const CPExceptionRegistryRequest& e) {
    EXPECT_EQ(std::string(e.getExceptionMessage()),
              "Call to RegQueryMultipleValues() failed! Buffer size for the 2 entries was 64 bytes. " +
                  displayText(ERROR_FILE_NOT_FOUND));
    EXPECT_STREQ(e.getExceptionLocationFunctionName(), "RegistryKey::QueryMultipleValues");
  }
}

TEST_F(RegistryKeyTest, RenameDeleteAndKeyTrees) {
  rawSet(m_raw, L"A", REG_DWORD, {1, 2, 3, 4});
  RegistryKey key = open();
  // Same name but for case: the value takes the new spelling.
  EXPECT_TRUE(key.RenameValue(u"A", u"a"));
  std::vector<CXString> names;
  EXPECT_TRUE(key.EnumValueNames(names));
  EXPECT_EQ(names, std::vector<CXString>{CXString(u"a")});
  EXPECT_TRUE(key.RenameValue(u"a", u"b"));
  const RawValue moved = rawQuery(m_raw, L"b");
  EXPECT_EQ(moved.type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(moved.data, (Bytes{1, 2, 3, 4}));
  EXPECT_EQ(rawQuery(m_raw, L"a").status, ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(key.RenameValue(u"Missing", u"c"));
  // Without write rights nothing changes.
  RegistryKey readOnly = open(KEY_READ);
  EXPECT_FALSE(readOnly.RenameValue(u"b", u"c"));
  EXPECT_FALSE(readOnly.RenameValue(u"b", u"B"));
  EXPECT_EQ(rawQuery(m_raw, L"b").data, (Bytes{1, 2, 3, 4}));

  EXPECT_EQ(key.DeleteValue(u"b"), ERROR_SUCCESS);
  EXPECT_EQ(key.DeleteValue(u"b"), ERROR_FILE_NOT_FOUND);

  RegistryKey tree = RegistryKey::CreateRegistryKey(key, u"Tree\\Inner\\Leaf", KEY_ALL_ACCESS);
  tree.SetStringValue(u"Leaf", CXString(u"green"));
  EXPECT_NE(key.DeleteKey(u"Tree"), ERROR_SUCCESS);  // it has sub-keys
  RegistryKey copy = RegistryKey::CreateRegistryKey(key, u"Copy", KEY_ALL_ACCESS);
  EXPECT_EQ(copy.CopyKeyAndSubkeysFrom(key.GetKeyHandle(), u"Tree"), ERROR_SUCCESS);
  EXPECT_EQ(RegistryKey::ReadOneRegistryString(HKEY_CURRENT_USER, CXString(m_path + L"\\Copy\\Inner\\Leaf"), u"Leaf",
                                               CXString()),
            CXString(u"green"));
  EXPECT_EQ(key.DeleteKeyAndSubkeys(u"Tree"), ERROR_SUCCESS);
  EXPECT_EQ(key.DeleteKey(u"Copy\\Inner\\Leaf"), ERROR_SUCCESS);
  EXPECT_EQ(key.DeleteKey(u"Tree"), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(key.EnumKeyNames(names));
  EXPECT_EQ(names, std::vector<CXString>{CXString(u"Copy")});
}

TEST_F(RegistryKeyTest, EnumerationsAndCounts) {
  RegistryKey key = open();
  std::vector<CXString> names{CXString(u"stale")};
  EXPECT_EQ(key.GetCountOfSubKeys(), 0);
  EXPECT_EQ(key.GetCountOfValues(), 0);
  EXPECT_FALSE(key.AnySubKeysExist());
  EXPECT_TRUE(key.EnumKeyNames(names));
  EXPECT_TRUE(names.empty());
  EXPECT_TRUE(key.EnumValueNames(names));
  EXPECT_TRUE(names.empty());

  const RegistryKey none;  // answers without asking the system
  EXPECT_EQ(none.GetCountOfSubKeys(), 0);
  EXPECT_EQ(none.GetCountOfValues(), 0);
  EXPECT_FALSE(none.AnySubKeysExist());
  EXPECT_FALSE(none.EnumKeyNames(names));
  EXPECT_FALSE(none.EnumValueNames(names));

  const std::u16string longKeyName(200, u'k');
  for (const std::u16string& sub : {std::u16string(u"One"), std::u16string(u"Two"), longKeyName}) {
    RegistryKey::CreateRegistryKey(key, CXString(sub), KEY_ALL_ACCESS);
  }
  key.SetStringValue(u"S1", CXString(u"first"));
  key.SetLongValue(u"D", 5);
  key.SetStringValue(u"S2", CXString());
  key.SetBytesValue(u"B", ByteBuffer{1});
  EXPECT_EQ(key.GetCountOfSubKeys(), 3);
  EXPECT_TRUE(key.AnySubKeysExist());
  EXPECT_TRUE(key.EnumKeyNames(names));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<CXString>{CXString(u"One"), CXString(u"Two"), CXString(longKeyName)}));
  EXPECT_EQ(key.GetCountOfValues(), 4);
  std::vector<CXString> strings;
  EXPECT_TRUE(key.EnumStringValues(strings));
  std::sort(strings.begin(), strings.end());
  EXPECT_EQ(strings, (std::vector<CXString>{CXString(), CXString(u"first")}));

  // A value name longer than the 520-character buffer ends the enumeration
  // there: false, with the names read before it; the count stops as well.
  key.SetLongValue(CXString(std::u16string(600, u'z')), 1);
  EXPECT_FALSE(key.EnumValueNames(names));
  EXPECT_EQ(names.size(), 4u);
  EXPECT_EQ(key.GetCountOfValues(), 4);
}

TEST_F(RegistryKeyTest, OwnershipMovesAndEveryHandleIsClosedOnce) {
  const RegistryKey root(HKEY_CURRENT_USER, false);
  HKEY handle = nullptr;
  {
    RegistryKey made = RegistryKey::CreateRegistryKey(root, CXString(m_path), KEY_READ);
    handle = made.GetKeyHandle();
    EXPECT_TRUE(made.OwnsHandle());
    RegistryKey taker(made);  // from a non-const key: everything moves
    EXPECT_TRUE(taker.OwnsHandle());
    EXPECT_FALSE(made.OwnsHandle());
    EXPECT_EQ(made.GetKeyHandle(), handle);
    {
      RegistryKey gone(std::move(made));  // the source no longer owns: nothing closed
      EXPECT_FALSE(gone.OwnsHandle());
    }
    EXPECT_TRUE(isOpenHandle(handle));
  }
  EXPECT_FALSE(isOpenHandle(handle));

  // Assignment takes the handle and the owns flag, and leaves the target's
  // old handle open for its owner to close.
  RegistryKey target = RegistryKey::CreateRegistryKey(root, CXString(m_path), KEY_READ);
  const HKEY oldHandle = target.GetKeyHandle();
  RegistryKey source = RegistryKey::CreateRegistryKey(root, CXString(m_path), KEY_READ);
  const HKEY newHandle = source.GetKeyHandle();
  target = source;
  RegistryKey& alias = target;
  target = alias;  // self-assignment changes nothing
  EXPECT_EQ(target.GetKeyHandle(), newHandle);
  EXPECT_TRUE(target.OwnsHandle());
  EXPECT_FALSE(source.OwnsHandle());
  EXPECT_TRUE(isOpenHandle(oldHandle));
  EXPECT_EQ(::RegCloseKey(oldHandle), ERROR_SUCCESS);

  // A failed open releases what the result held; the pointer form reports the status.
  RegistryKey result = RegistryKey::CreateRegistryKey(root, CXString(m_path), KEY_READ);
  const HKEY held = result.GetKeyHandle();
  EXPECT_FALSE(RegistryKey::OpenRegistryKey(result, root, CXString(m_path + L"\\Missing"), KEY_READ));
  EXPECT_FALSE(result.IsKeyValid());
  EXPECT_FALSE(isOpenHandle(held));
  RegistryKey::Pointer pointer;
  long status = 0;
  EXPECT_TRUE(RegistryKey::OpenRegistryKey(pointer, root, CXString(m_path), KEY_READ, status));
  EXPECT_EQ(status, ERROR_SUCCESS);
  EXPECT_FALSE(RegistryKey::OpenRegistryKey(pointer, root, CXString(m_path + L"\\Missing"), KEY_READ, status));
  EXPECT_EQ(status, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(pointer, nullptr);
  // The result may be the parent itself.
  RegistryKey walker = RegistryKey::CreateRegistryKey(root, CXString(kScratchParent), KEY_READ);
  const std::wstring leaf = m_path.substr(std::wcslen(kScratchParent) + 1);
  EXPECT_TRUE(RegistryKey::OpenRegistryKey(walker, walker, CXString(leaf), KEY_READ));
  EXPECT_TRUE(walker.IsKeyValid());
}

TEST_F(RegistryKeyTest, CurrentUserFollowsTheImpersonationOfTheConstructingThread) {
  const RegistryKey plain(HKEY_CURRENT_USER, false);
  EXPECT_EQ(plain.GetKeyHandle(), HKEY_CURRENT_USER);
  EXPECT_EQ(plain.GetCurrentUserHandle(), nullptr);
  rawSet(m_raw, L"Marker", REG_DWORD, {9, 0, 0, 0});

  // A job thread impersonates, opens the key and ends; the key lives on and
  // is closed by the thread that destroys it.
  RegistryKey::Pointer fromJob;
  HKEY hive = nullptr;
  bool wroteWhileImpersonating = false;
  bool accessControlOpened = false;
  std::thread job([&] {
    ASSERT_TRUE(::ImpersonateSelf(SecurityImpersonation));
    RegistryKey redirected(HKEY_CURRENT_USER, false);
    hive = redirected.GetCurrentUserHandle();
    wroteWhileImpersonating = RegistryKey::WriteOneRegistryDword(HKEY_CURRENT_USER, CXString(m_path), u"Job", 12);
    RegistryAccessControl control(HKEY_CURRENT_USER, m_path, false);
    const HANDLE first = control.GetHandle();
    accessControlOpened = first != nullptr && first != INVALID_HANDLE_VALUE && control.GetHandle() == first;
    EXPECT_TRUE(RegistryKey::DoesThreadHavePermissiontoWriteToHkcu());
    ::RevertToSelf();
    fromJob = std::make_unique<RegistryKey>(std::move(redirected));  // takes the hive handle too
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): the moved-from state is documented
    EXPECT_EQ(redirected.GetCurrentUserHandle(), nullptr);
  });
  job.join();
  ASSERT_NE(hive, nullptr);
  EXPECT_NE(hive, HKEY_CURRENT_USER);
  ASSERT_NE(fromJob, nullptr);
  EXPECT_EQ(fromJob->GetKeyHandle(), hive);
  EXPECT_EQ(fromJob->GetCurrentUserHandle(), hive);
  EXPECT_TRUE(wroteWhileImpersonating);
  EXPECT_TRUE(accessControlOpened);
  EXPECT_EQ(rawQuery(m_raw, L"Job").data, (Bytes{12, 0, 0, 0}));
  // Impersonating itself, the thread saw the same user's hive.
  RegistryKey scratch;
  ASSERT_TRUE(RegistryKey::OpenRegistryKey(scratch, *fromJob, CXString(m_path), KEY_READ));
  EXPECT_EQ(scratch.GetLongValue(u"Marker", 0), 9);
  fromJob.reset();
  EXPECT_FALSE(isOpenHandle(hive));
  EXPECT_TRUE(RegistryKey::DoesThreadHavePermissiontoWriteToHkcu());

  RegistryAccessControl failing(nullptr, m_path, true);
  EXPECT_EQ(failing.GetHandle(), nullptr);
  EXPECT_EQ(failing.GetLastStatus(), ERROR_INVALID_HANDLE);
}

TEST_F(RegistryKeyTest, ViewFlagOnlyOnArm64) {
  EXPECT_EQ(RegistryKey::GetNativeOsArchitecture(), PlatformFacilities::nativeMachineArchitecture());
  EXPECT_EQ(PlatformFacilities::nativeMachineArchitecture(), PlatformFacilities::kMachineX64);
  EXPECT_EQ(RegistryKey::GetWow64RegAccessFlag(), 0);
  EXPECT_EQ(RegistryKey::AddRegistryViewFlag(KEY_READ), static_cast<unsigned long>(KEY_READ));
  for (const unsigned short machine : {PlatformFacilities::kMachineX86, PlatformFacilities::kMachineX64}) {
    const NativeArchitectureForTest other(machine);
    EXPECT_EQ(RegistryKey::GetWow64RegAccessFlag(), 0);
  }
  {
    const NativeArchitectureForTest arm64(PlatformFacilities::kMachineArm64);
    EXPECT_EQ(RegistryKey::GetWow64RegAccessFlag(), 0x100);
    EXPECT_EQ(RegistryKey::AddRegistryViewFlag(KEY_WRITE), static_cast<unsigned long>(KEY_WRITE | 0x100));
    EXPECT_EQ(RegistryKey::AddRegistryViewFlag(KEY_WRITE | 0x100), static_cast<unsigned long>(KEY_WRITE | 0x100));
    // Opens and creates carry the flag to the system and still work.
    RegistryKey key = open();
    RegistryKey created = RegistryKey::CreateRegistryKey(key, u"Arm64", KEY_ALL_ACCESS);
    created.SetLongValue(u"V", 1);
    EXPECT_TRUE(RegistryKey::WriteOneRegistryDword(HKEY_CURRENT_USER, CXString(m_path + L"\\Arm64"), u"W", 2));
    EXPECT_EQ(RegistryKey::ReadOneRegistryDword(HKEY_CURRENT_USER, CXString(m_path + L"\\Arm64"), u"V", 0), 1u);
    EXPECT_TRUE(RegistryKey::DoesThreadHavePermissiontoWriteToHkcu());
  }
  EXPECT_EQ(RegistryKey::GetWow64RegAccessFlag(), 0);
}

TEST_F(RegistryKeyTest, OneShotFunctionsLetNothingOut) {
  RecordedExceptionFacility recorded;
  const CXString path(m_path + L"\\OneShot");
  EXPECT_EQ(RegistryKey::ReadOneRegistryDword(HKEY_CURRENT_USER, path, u"Missing", 17), 17u);
  EXPECT_EQ(RegistryKey::ReadOneRegistry64BitInt(HKEY_CURRENT_USER, path, u"Missing", -3), -3);
  EXPECT_EQ(RegistryKey::ReadOneRegistryString(HKEY_CURRENT_USER, path, u"Missing", CXString(u"d")), CXString(u"d"));
  EXPECT_FALSE(RegistryKey::DeleteOneRegistryValue(HKEY_CURRENT_USER, path, u"Missing"));
  EXPECT_TRUE(recorded.host.reports.empty());
  EXPECT_TRUE(recorded.platform.displayed.empty());

  EXPECT_TRUE(RegistryKey::WriteOneRegistryDword(HKEY_CURRENT_USER, path, u"Dword", 0xFFFFFFFEul));
  EXPECT_TRUE(RegistryKey::WriteOneRegistry64BitInt(HKEY_CURRENT_USER, path, u"Int64", -1234567890123LL));
  EXPECT_TRUE(RegistryKey::WriteOneRegistryString(HKEY_CURRENT_USER, path, u"Text", CXString(u"t")));
  EXPECT_EQ(RegistryKey::ReadOneRegistryDword(HKEY_CURRENT_USER, path, u"Dword", 0), 0xFFFFFFFEul);
  EXPECT_EQ(RegistryKey::ReadOneRegistry64BitInt(HKEY_CURRENT_USER, path, u"Int64", 0), -1234567890123LL);
  EXPECT_EQ(RegistryKey::ReadOneRegistryString(HKEY_CURRENT_USER, path, u"Text", CXString()), CXString(u"t"));
  HKEY raw = nullptr;
  ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, path.wc_str(), 0, KEY_READ, &raw), ERROR_SUCCESS);
  EXPECT_EQ(rawQuery(raw, L"Dword").type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(rawQuery(raw, L"Int64").type, static_cast<DWORD>(REG_QWORD));
  EXPECT_EQ(rawQuery(raw, L"Text").type, static_cast<DWORD>(REG_SZ));
  ::RegCloseKey(raw);
  EXPECT_TRUE(RegistryKey::DeleteOneRegistryValue(HKEY_CURRENT_USER, path, u"Dword"));
  EXPECT_EQ(RegistryKey::ReadOneRegistryDword(HKEY_CURRENT_USER, path, u"Dword", 5), 5u);
  EXPECT_TRUE(recorded.host.reports.empty());

  // Failures inside are reported under the function's own name, never thrown.
  EXPECT_FALSE(RegistryKey::WriteOneRegistryDword(HKEY_CURRENT_USER, path, CXString(std::u16string(17000, u'n')), 1));
  ASSERT_FALSE(recorded.host.reports.empty());
  EXPECT_EQ(recorded.host.reports.back().first, "class CPExceptionRegistryRequest");
  EXPECT_NE(recorded.platform.displayed.back().first.find("RegistryKey::WriteOneRegistryDword"), std::string::npos);
  EXPECT_TRUE(
      std::any_of(recorded.platform.displayed.begin(), recorded.platform.displayed.end(),
                  [](const TitleAndText& shown) { return shown.second.find("RegSetValueEx(") != std::string::npos; }));
  rawSet(m_raw, L"Short", REG_BINARY, {1});
  EXPECT_EQ(RegistryKey::ReadOneRegistryDword(HKEY_CURRENT_USER, CXString(m_path), u"Short", 8), 8u);
  EXPECT_EQ(recorded.host.reports.back().first, "class CPExceptionNotEnoughBytesForDesiredDataType");
  EXPECT_NE(recorded.platform.displayed.back().first.find("RegistryKey::ReadOneRegistryDword"), std::string::npos);
}

TEST_F(RegistryKeyTest, ManyThreadsWriteAndReadTheirOwnValuesAndHandKeysOver) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 40;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  std::vector<int> mismatches(kThreads, 0);
  std::vector<RegistryKey> handedOver(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const CXString name = CXString::format("T%d", t);
      for (int round = 0; round < kRounds; ++round) {
        const unsigned long value = static_cast<unsigned long>(t) * 1000 + static_cast<unsigned long>(round);
        if (!RegistryKey::WriteOneRegistryDword(HKEY_CURRENT_USER, CXString(m_path), name, value) ||
            RegistryKey::ReadOneRegistryDword(HKEY_CURRENT_USER, CXString(m_path), name, 0) != value) {
          ++mismatches[t];
        }
      }
      RegistryKey made =
          RegistryKey::CreateRegistryKey(RegistryKey(HKEY_CURRENT_USER, false), CXString(m_path), KEY_ALL_ACCESS);
      handedOver[t] = made;  // used and closed by the main thread after this thread has ended
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(mismatches[t], 0) << t;
    EXPECT_TRUE(handedOver[t].OwnsHandle());
    EXPECT_EQ(handedOver[t].GetLongValue(CXString::format("T%d", t), -1), t * 1000 + kRounds - 1);
  }
  const HKEY first = handedOver[0].GetKeyHandle();
  handedOver.clear();
  EXPECT_FALSE(isOpenHandle(first));
}
