// Client job data against the real Windows services: the property bag through
// COM (an in-memory IPrintPipelinePropertyBag), the driver's temporary folder
// and its files on disk, the spooler (which, under Wine, has no jobs) and the
// printer-name query.

#include "ClientJobDataTestSupport.h"
#include "Environment/Win/MeridianTempFolders.h"
#include "Environment/Win/Printer.h"
#include "General/ClientJobData2ReaderWriter.h"
#include "General/FilterStoreEnvironment.h"
#include "General/Win/PrintPipelinePropertyBag.h"
#include "win/WinTestPrinter.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <winspool.h>

#include <map>
#include <string>

namespace {

using CJD = ClientJobData2ReaderWriter;

// A property bag as the pipeline service provides one: VARIANT properties by
// name, reference counted.
class InMemoryPropertyBag final : public IPrintPipelinePropertyBag {
 public:
  InMemoryPropertyBag() = default;
  InMemoryPropertyBag(const InMemoryPropertyBag&) = delete;
  InMemoryPropertyBag& operator=(const InMemoryPropertyBag&) = delete;
  ~InMemoryPropertyBag() {
    for (auto& property : m_properties) {
      VariantClear(&property.second);
    }
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    if (IsEqualIID(iid, __uuidof(IUnknown)) || IsEqualIID(iid, __uuidof(IPrintPipelinePropertyBag))) {
      *object = static_cast<IPrintPipelinePropertyBag*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }

  HRESULT STDMETHODCALLTYPE AddProperty(const wchar_t* name, const VARIANT* value) override {
    if (refuse) {
      return E_ACCESSDENIED;
    }
    VARIANT& slot = m_properties[name];
    VariantClear(&slot);
    return VariantCopy(&slot, const_cast<VARIANT*>(value));
  }
  HRESULT STDMETHODCALLTYPE GetProperty(const wchar_t* name, VARIANT* value) override {
    const auto found = m_properties.find(name);
    if (found == m_properties.end()) {
      return E_INVALIDARG;
    }
    VariantInit(value);
    return VariantCopy(value, &found->second);
  }
  BOOL STDMETHODCALLTYPE DeleteProperty(const wchar_t* name) override { return m_properties.erase(name) != 0; }

  void SetString(const wchar_t* name, const wchar_t* text) {
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(text);
    AddProperty(name, &value);
    VariantClear(&value);
  }
  std::wstring GetString(const wchar_t* name) const {
    const auto found = m_properties.find(name);
    if (found == m_properties.end() || found->second.vt != VT_BSTR) {
      return L"<none>";
    }
    return std::wstring(found->second.bstrVal, SysStringLen(found->second.bstrVal));
  }
  VARTYPE TypeOf(const wchar_t* name) const { return m_properties.at(name).vt; }

  long references = 1;
  bool refuse = false;

 private:
  std::map<std::wstring, VARIANT> m_properties;
};

// The system environment with a fixed printer name: Wine has no printers to
// ask, everything else is the real thing.
class FixedPrinterNameEnvironment final : public IClientJobDataEnvironment {
 public:
  explicit FixedPrinterNameEnvironment(CXString name) : m_name(std::move(name)) {}
  bool GetJobParameters(void* h, unsigned long id, CXString& p) override { return system().GetJobParameters(h, id, p); }
  bool SetJobParameters(void* h, unsigned long id, const CXString& p) override {
    return system().SetJobParameters(h, id, p);
  }
  CXString GetPrinterName(void*) override { return m_name; }
  CXString GetV4GuidPrinterNameByReverseEngineering(void*) override { return m_name; }
  CXString GetDriverTempFolder(bool create) override { return system().GetDriverTempFolder(create); }
  bool IsExistingFile(const CXString& path) override { return system().IsExistingFile(path); }
  ByteBuffer ReadWholeFile(const CXString& path) override { return system().ReadWholeFile(path); }
  void WriteWholeFile(const CXString& path, const ByteBuffer& data) override { system().WriteWholeFile(path, data); }
  bool RemoveFile(const CXString& path) override { return system().RemoveFile(path); }
  void AddRefPropertyBag(IPrintPipelinePropertyBag* bag) override { system().AddRefPropertyBag(bag); }
  void ReleasePropertyBag(IPrintPipelinePropertyBag* bag) override { system().ReleasePropertyBag(bag); }
  bool ReadPropertyBagString(IPrintPipelinePropertyBag* bag, const CXString& n, CXString& v) override {
    return system().ReadPropertyBagString(bag, n, v);
  }
  bool WritePropertyBagString(IPrintPipelinePropertyBag* bag, const CXString& n, const CXString& v) override {
    return system().WritePropertyBagString(bag, n, v);
  }

 private:
  static IClientJobDataEnvironment& system() { return IClientJobDataEnvironment::GetSystemEnvironment(); }
  CXString m_name;
};

ByteBuffer fileBytes(const CXString& path) {
  return IClientJobDataEnvironment::GetSystemEnvironment().ReadWholeFile(path);
}

CXString join(CXString first, const CXString& second) {
  first += second;
  return first;
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// A printer handle the spooler does not know.
void* const kUnknownPrinter = reinterpret_cast<void*>(static_cast<std::uintptr_t>(0x5A5A0));

}  // namespace

TEST(ClientJobDataWin, PropertyBagRoadThroughCom) {
  InMemoryPropertyBag bag;
  bag.SetString(L"Halden_ClientJobData2", L"L200=1;S3=\u3016;");
  {
    CJD data(kUnknownPrinter, 77, &bag);
    EXPECT_EQ(bag.references, 2);
    EXPECT_EQ(data.GetPrintTimeUiResultFromParameterList(), CJD::PTUIRE_OK);
    CXString user;
    ASSERT_TRUE(data.GetStringFromParameterList(3, user));
    EXPECT_EQ(user.u16string(), u"a");
    EXPECT_FALSE(data.WasJobFound());
    data.AddOrReplaceInParameterList(4, 1234L);
    ASSERT_TRUE(data.CommitAdditions());
  }
  EXPECT_EQ(bag.references, 1);
  EXPECT_EQ(bag.TypeOf(L"Halden_ClientJobData2"), VT_BSTR);
  EXPECT_EQ(bag.GetString(L"Halden_ClientJobData2"), L"L1=1;L4=1234;L200=1;S3=\u3016;");

  // A property of another type is not client job data.
  InMemoryPropertyBag numeric;
  VARIANT number;
  VariantInit(&number);
  number.vt = VT_I4;
  number.lVal = 5;
  numeric.AddProperty(L"Halden_ClientJobData2", &number);
  CXString read;
  EXPECT_FALSE(PrintPipelinePropertyBagStrings::ReadString(numeric, CXString(u"Halden_ClientJobData2"), read));

  EXPECT_TRUE(CJD::StoreCjd2FromStringToPropertyBag(CXString(u"L9=9;"), &numeric));
  EXPECT_EQ(numeric.GetString(L"Halden_ClientJobData2"), L"L9=9;");
  numeric.refuse = true;
  EXPECT_FALSE(CJD::StoreCjd2FromStringToPropertyBag(CXString(u"L9=8;"), &numeric));
  EXPECT_FALSE(CJD::StoreCjd2FromStringToPropertyBag(CXString(u"L9=8;"), nullptr));
}

TEST(ClientJobDataWin, StringAllocationFailureRaisesOutOfMemory) {
  try {
    BSTR text = PrintPipelinePropertyBagStrings::AllocateBstr(nullptr, std::size_t{0x80000000u});
    SysFreeString(text);
    FAIL() << "no exception";
  } catch (const CPComException& exception) {
    EXPECT_EQ(static_cast<std::uint32_t>(exception.getExceptionTypeByNumericCode()), 0x8007000Eu);
    EXPECT_TRUE(contains(exception.getExceptionMessage(), "could not be allocated")) << exception.what();
  }
  BSTR empty = PrintPipelinePropertyBagStrings::AllocateBstr(u"", 0);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(SysStringLen(empty), 0u);
  SysFreeString(empty);
}

TEST(ClientJobDataWin, FileRoadEndToEndOnDisk) {
  const CXString printer(u"\\\\print-server\\Accounting Printer \u00C5");
  FixedPrinterNameEnvironment environment(printer);
  const std::uint32_t jobId = 4242;
  CXString file;
  {
    CJD writer(environment, kUnknownPrinter, jobId, false, true);
    EXPECT_FALSE(writer.WasJobFound());  // no such job in the spooler
    EXPECT_FALSE(writer.WasClientJobDataFound());
    file = writer.GetTempFileNameWithPath();
    const CXString expected = join(MeridianTempFolders::GetMeridianDriverTempFolderPath(),
                                   CXString::format("\\HCJD_%u_4242.tmp", CJD::GetPrinterNameCrc(printer)));
    EXPECT_EQ(file, expected);
    environment.RemoveFile(file);  // left over from an earlier run
    writer.AddOrReplaceInParameterList(3, CXString(u"J\u00F6rg;="));
    writer.AddOrReplaceSpoolingMethodInParameterListFromString(CXString(u"StartDocPrinter"));
    writer.AddOrReplaceInParameterList(8, ByteBuffer{1, 2, 3, 4});
    ASSERT_TRUE(writer.CommitAdditions());
  }
  // UTF-16LE without a byte-order mark or terminator.
  const ByteBuffer onDisk = fileBytes(file);
  const CXString expectedList(u"L1=1;L202=1;S3=\u30A4\u306F\u3027\u3076\u30B3\u30D3;B8=AQIDBA==;");
  EXPECT_EQ(onDisk, CJD::EncodeTempFileContents(expectedList));
  ASSERT_GE(onDisk.size(), 2u);
  EXPECT_EQ(onDisk[0], 'L');
  EXPECT_EQ(onDisk[1], 0);

  {
    const CJD reader(environment, kUnknownPrinter, jobId, true, false);
    EXPECT_EQ(reader.GetTempFileNameWithPath(), file);
    EXPECT_EQ(reader.GetPrintProcessorParametersString(), expectedList);
    CXString user;
    ASSERT_TRUE(reader.GetStringFromParameterList(3, user));
    EXPECT_EQ(user.u16string(), u"J\u00F6rg;=");
    ByteBuffer bytes;
    ASSERT_TRUE(reader.GetByteBufferFromParameterList(8, bytes));
    EXPECT_EQ(bytes, (ByteBuffer{1, 2, 3, 4}));
  }

  // A committed file read next to a bag moves into the bag and is deleted.
  InMemoryPropertyBag bag;
  {
    const CJD mover(environment, kUnknownPrinter, jobId, &bag);
    EXPECT_EQ(mover.GetSpoolingMethodFromParameterList(), CJD::SME_START_DOC_PRINTER);
  }
  EXPECT_EQ(bag.GetString(L"Halden_ClientJobData2"), expectedList.toWString());
  EXPECT_FALSE(environment.IsExistingFile(file));
}

TEST(ClientJobDataWin, SystemEnvironmentWithoutJobOrPrinterReportsAndNeverThrows) {
  ScopedExceptionReportRecorder recorder;
  CJD data(kUnknownPrinter, 12, false, false);
  EXPECT_FALSE(data.WasJobFound());
  // The printer name cannot be read for an unknown handle: reported.
  const std::string reports = recorder.allReports();
  EXPECT_TRUE(contains(reports, "FAILED reading ClientJobData via GetJob()")) << reports;
  EXPECT_TRUE(contains(reports, "class CPExceptionPrinterFailure")) << reports;
  EXPECT_THROW(Printer::GetPrinterName(kUnknownPrinter), CPExceptionPrinterFailure);
  CXString parameters;
  EXPECT_FALSE(IClientJobDataEnvironment::GetSystemEnvironment().GetJobParameters(kUnknownPrinter, 12, parameters));
  EXPECT_FALSE(IClientJobDataEnvironment::GetSystemEnvironment().SetJobParameters(kUnknownPrinter, 12, parameters));
}

TEST(ClientJobDataWin, TempFolderIsPerUserUnderTheMachineTempFolderAndOldFilesAreCollected) {
  const CXString machineTemp = MeridianTempFolders::GetMachineTempFolder();
  EXPECT_EQ(machineTemp.u16string().substr(machineTemp.size() - 5), u"\\Temp");
  const CXString folder = MeridianTempFolders::GetOrCreateAndGcMeridianDriverTempFolder();
  wchar_t user[257];
  DWORD size = 257;
  ASSERT_NE(GetUserNameW(user, &size), 0);
  EXPECT_EQ(folder, join(join(machineTemp, CXString(u"\\MeridianDriver\\")), CXString(user)));
  EXPECT_EQ(MeridianTempFolders::GetMeridianDriverTempFolder(), folder);

  auto& system = IClientJobDataEnvironment::GetSystemEnvironment();
  const CXString oldFile = join(folder, CXString(u"\\HCJD_1_1.tmp"));
  const CXString newFile = join(folder, CXString(u"\\HCJD_1_2.tmp"));
  system.WriteWholeFile(oldFile, ByteBuffer{'x', 0});
  system.WriteWholeFile(newFile, ByteBuffer{'y', 0});
  // Eight days old.
  HANDLE handle = CreateFileW(oldFile.wc_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(handle, INVALID_HANDLE_VALUE);
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  ULARGE_INTEGER stamp{};
  stamp.LowPart = now.dwLowDateTime;
  stamp.HighPart = now.dwHighDateTime;
  stamp.QuadPart -= 8ull * 24 * 3600 * 10000000ull;
  FILETIME old{stamp.LowPart, stamp.HighPart};
  ASSERT_NE(SetFileTime(handle, nullptr, nullptr, &old), 0);
  CloseHandle(handle);

  EXPECT_EQ(MeridianTempFolders::GetOrCreateAndGcMeridianDriverTempFolder(), folder);
  EXPECT_FALSE(system.IsExistingFile(oldFile));
  EXPECT_TRUE(system.IsExistingFile(newFile));
  EXPECT_TRUE(system.RemoveFile(newFile));
  EXPECT_FALSE(system.RemoveFile(newFile));
  EXPECT_THROW(system.ReadWholeFile(newFile), CPExceptionCreateFileForReading);
  EXPECT_THROW(system.WriteWholeFile(join(folder, CXString(u"\\no\\such\\folder.tmp")), ByteBuffer{}),
               CPExceptionCreateFileForWriting);
}

// Wine's spooler keeps jobs of its own printers: GetJob at level 2 and
// GetPrinter at level 2 run for real here. (Its SetJobW at level 2 crashes
// Wine 8, so committing into a spooler job is left to the in-memory tests.)
TEST(ClientJobDataWin, SpoolerJobIsFoundAndThePrinterNameRead) {
  HANDLE printer = win_test::OpenTestPrinter();
  if (printer == nullptr) {
    GTEST_SKIP() << "no test printer could be added (error " << GetLastError() << ")";
  }
  const CXString output = join(MeridianTempFolders::GetMachineTempFolder(), CXString(u"\\hdu-cjd-test.prn"));
  DOC_INFO_1W document{};
  document.pDocName = const_cast<LPWSTR>(L"client job data test");
  document.pOutputFile = const_cast<LPWSTR>(output.wc_str());
  document.pDatatype = const_cast<LPWSTR>(L"RAW");
  const DWORD jobId = StartDocPrinterW(printer, 1, reinterpret_cast<LPBYTE>(&document));
  ASSERT_NE(jobId, 0u);

  EXPECT_EQ(Printer::GetPrinterName(printer).u16string(), u"HduClientJobDataTestPrinter");
  EXPECT_EQ(Printer::GetV4GuidPrinterNameByReverseEngineering(printer).u16string(), u"HduClientJobDataTestPrinter");
  EXPECT_EQ(PrintDriver::GetV4PrinterDriverIDByReverseEngineering(printer).u16string(), u"Wine PostScript Driver");
  auto& filterEnvironment = IFilterStoreEnvironment::GetSystemEnvironment();
  EXPECT_EQ(filterEnvironment.GetPrinterName(printer).u16string(), u"HduClientJobDataTestPrinter");
  EXPECT_EQ(filterEnvironment.GetV4PrinterDriverIDByReverseEngineering(printer).u16string(), u"Wine PostScript Driver");
  EXPECT_TRUE(filterEnvironment.GetPrinterName(kUnknownPrinter).empty());
  CXString parameters(u"unchanged");
  EXPECT_TRUE(IClientJobDataEnvironment::GetSystemEnvironment().GetJobParameters(printer, jobId, parameters));
  EXPECT_TRUE(parameters.empty());

  // The job exists but carries no list: the file of this printer and job is
  // read instead.
  const CXString file =
      join(MeridianTempFolders::GetOrCreateAndGcMeridianDriverTempFolder(),
           CXString::format("\\HCJD_%u_%u.tmp", CJD::GetPrinterNameCrc(CXString(u"HduClientJobDataTestPrinter")),
                            static_cast<unsigned>(jobId)));
  auto& system = IClientJobDataEnvironment::GetSystemEnvironment();
  system.WriteWholeFile(file, CJD::EncodeTempFileContents(CXString(u"L200=3;")));
  {
    const CJD data(printer, jobId, true, false);
    EXPECT_TRUE(data.WasJobFound());
    EXPECT_EQ(data.GetTempFileNameWithPath(), file);
    EXPECT_EQ(data.GetPrintTimeUiResultFromParameterList(), CJD::PTUIRE_NO_ACTION_REQUIRED);
  }
  system.RemoveFile(file);
  EndDocPrinter(printer);
  ClosePrinter(printer);
}
