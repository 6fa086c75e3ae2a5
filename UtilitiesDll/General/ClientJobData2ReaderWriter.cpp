#include "General/ClientJobData2ReaderWriter.h"

#include "DebuggingAndExceptions/CPException.h"
#include "General/Crc32.h"
#include "LowLevelFacilities/Formatter.h"

#include <exception>
#include <string>

namespace {

constexpr const char* kSourceFile = "UtilitiesDll\\General\\ClientJobData2ReaderWriter";
constexpr const char* kReadingFailure =
    "FAILED reading ClientJobData via GetJob(), and the fallback of reading from a temp file ('%s') also failed! "
    "Features such as Accounting will be impacted.";
constexpr const char* kWritingFailure =
    "FAILED writing ClientJobData via SetJob(), and the fallback of writing to a temp file ('%s') also failed! "
    "Features such as Accounting will be impacted.";
constexpr const char* kInitFunction = "ClientJobData2ReaderWriter::ClientJobData2ReaderWriter_Init";
constexpr const char* kCommitFunction = "ClientJobData2ReaderWriter::CommitAdditions";

// Reports whatever is being handled (called only inside a catch block).
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

std::string FailureText(const char* format, const CXString& fileName) noexcept {
  try {
    return InternalHaldenCP::formatToStdString(format, fileName);
  } catch (...) {
    return format;
  }
}

template <class Enum>
struct EnumText {
  Enum value;
  const char16_t* text;
};

template <class Enum, std::size_t N>
Enum TextToEnum(const EnumText<Enum> (&table)[N], const CXString& text) {
  if (text.empty()) {
    return Enum{};
  }
  for (const auto& row : table) {
    if (text.equalsNoCase(CXString(row.text))) {
      return row.value;
    }
  }
  return Enum{};
}

template <class Enum, std::size_t N>
CXString EnumToText(const EnumText<Enum> (&table)[N], Enum value) {
  for (const auto& row : table) {
    if (row.value == value) {
      return CXString(row.text);
    }
  }
  return {};
}

using CJD = ClientJobData2ReaderWriter;

constexpr EnumText<CJD::_PrintTimeUiResultEnum> kPrintTimeUiResults[] = {
    {CJD::PTUIRE_OK, u"Ok"},
    {CJD::PTUIRE_CANCEL, u"Cancel"},
    {CJD::PTUIRE_NO_ACTION_REQUIRED, u"NoActionRequired"},
    {CJD::PTUIRE_ERROR, u"Error"},
};
constexpr EnumText<CJD::_SpoolingMethodEnum> kSpoolingMethods[] = {
    {CJD::SME_START_DOC_PRINTER, u"StartDocPrinter"},
    {CJD::SME_ADD_JOB, u"AddJob"},
};
constexpr EnumText<CJD::_CallbackReasonEnum> kCallbackReasons[] = {
    {CJD::CRE_START_OF_SPOOLING, u"StartOfSpooling"},
    {CJD::CRE_SPOOL_FILE_DONE_RENDERING_NOT_WAITING, u"SpoolFileDone_RenderingNotWaiting"},
    {CJD::CRE_SPOOL_FILE_DONE_RENDERING_WAITING, u"SpoolFileDone_RenderingWaiting"},
};

}  // namespace

const char16_t* const ClientJobData2ReaderWriter::kPropertyBagKey = u"Halden_ClientJobData2";

// ---- construction ----

ClientJobData2ReaderWriter::ClientJobData2ReaderWriter(void* printerHandle, unsigned long jobId,
                                                       IPrintPipelinePropertyBag* bag)
    : ClientJobData2ReaderWriter(IClientJobDataEnvironment::GetSystemEnvironment(), printerHandle, jobId, bag) {}

ClientJobData2ReaderWriter::ClientJobData2ReaderWriter(void* printerHandle, unsigned long jobId, bool jobIdIsExact,
                                                       bool createTempFolder)
    : ClientJobData2ReaderWriter(IClientJobDataEnvironment::GetSystemEnvironment(), printerHandle, jobId, jobIdIsExact,
                                 createTempFolder) {}

ClientJobData2ReaderWriter::ClientJobData2ReaderWriter(IClientJobDataEnvironment& environment, void* printerHandle,
                                                       unsigned long jobId, IPrintPipelinePropertyBag* bag)
    : m_environment(environment),
      m_printerHandle(printerHandle),
      m_jobId(static_cast<std::uint32_t>(jobId)),
      m_jobIdForSpooler(FixUpJobId(static_cast<std::uint32_t>(jobId), false)) {
  bool foundInBag = false;
  try {
    TakeBag(bag);
    if (m_bag != nullptr) {
      CXString list;
      foundInBag = m_environment.ReadPropertyBagString(m_bag, CXString(kPropertyBagKey), list) && !list.empty();
      if (foundInBag) {
        m_list.SetText(std::move(list));
      }
    }
  } catch (...) {
    ReportCurrentException(kInitFunction, __LINE__, FailureText(kReadingFailure, m_tempFileName));
  }
  if (!foundInBag) {
    Init(false);
  }
}

ClientJobData2ReaderWriter::ClientJobData2ReaderWriter(IClientJobDataEnvironment& environment, void* printerHandle,
                                                       unsigned long jobId, bool jobIdIsExact, bool createTempFolder)
    : m_environment(environment),
      m_printerHandle(printerHandle),
      m_jobId(static_cast<std::uint32_t>(jobId)),
      m_jobIdForSpooler(FixUpJobId(static_cast<std::uint32_t>(jobId), jobIdIsExact)) {
  Init(createTempFolder && !jobIdIsExact);
}

ClientJobData2ReaderWriter::~ClientJobData2ReaderWriter() {
  TakeBag(nullptr);
}

void ClientJobData2ReaderWriter::TakeBag(IPrintPipelinePropertyBag* bag) {
  if (bag != nullptr) {
    m_environment.AddRefPropertyBag(bag);
  }
  IPrintPipelinePropertyBag* const previous = m_bag;
  m_bag = bag;
  if (previous != nullptr) {
    m_environment.ReleasePropertyBag(previous);
  }
}

// ---- reading ----

void ClientJobData2ReaderWriter::Init(bool createTempFolder) {
  try {
    ReadFromSpoolerOrFile(createTempFolder);
  } catch (...) {
    ReportCurrentException(kInitFunction, __LINE__, FailureText(kReadingFailure, m_tempFileName));
  }
}

void ClientJobData2ReaderWriter::ReadFromSpoolerOrFile(bool createTempFolder) {
  m_tempFolder = m_environment.GetDriverTempFolder(createTempFolder);
  if (!IsJobIdFixedUp_ReverseEngineering()) {
    CXString parameters;
    m_jobFound = m_environment.GetJobParameters(m_printerHandle, m_jobIdForSpooler, parameters);
    if (m_jobFound && !parameters.empty()) {
      m_list.SetText(ClientJobDataParameterList::RemoveWhiteSpace(parameters.utf16View()));
      return;
    }
  }
  EnsureTempFileName();
  if (m_tempFileName.empty() || !m_environment.IsExistingFile(m_tempFileName)) {
    return;
  }
  const ByteBuffer contents = m_environment.ReadWholeFile(m_tempFileName);
  m_list.SetText(ClientJobDataParameterList::RemoveWhiteSpace(DecodeTempFileContents(contents).utf16View()));
  long committed = 0;
  if (m_bag != nullptr && m_list.GetLong(kCommittedMarkerId, committed) && committed != 0 &&
      CommitAndTellStore() == Store::PropertyBag) {
    m_environment.RemoveFile(m_tempFileName);
  }
}

void ClientJobData2ReaderWriter::EnsureTempFileName() {
  if (!m_tempFileName.empty() || m_tempFolder.empty()) {
    return;
  }
  const CXString printerName = IsJobIdFixedUp_ReverseEngineering()
                                   ? m_environment.GetV4GuidPrinterNameByReverseEngineering(m_printerHandle)
                                   : m_environment.GetPrinterName(m_printerHandle);
  m_tempFileName = MakeTempFileName(m_tempFolder, printerName, m_jobIdForSpooler);
}

bool ClientJobData2ReaderWriter::ReInitializeFromPropertyBag(IPrintPipelinePropertyBag* bag) {
  try {
    TakeBag(bag);
    CXString list;
    const bool found = m_bag != nullptr && m_environment.ReadPropertyBagString(m_bag, CXString(kPropertyBagKey), list);
    m_list.SetText(found ? std::move(list) : CXString());
    return found;
  } catch (...) {
    ReportCurrentException(kInitFunction, __LINE__, FailureText(kReadingFailure, m_tempFileName));
    return false;
  }
}

void ClientJobData2ReaderWriter::ReInitializeFromString(const CXString& list) {
  m_list.SetText(list);
}

// ---- committing ----

bool ClientJobData2ReaderWriter::StoreCjd2FromStringToPropertyBag(const CXString& list,
                                                                  IPrintPipelinePropertyBag* bag) {
  return StoreCjd2FromStringToPropertyBag(IClientJobDataEnvironment::GetSystemEnvironment(), list, bag);
}

bool ClientJobData2ReaderWriter::StoreCjd2FromStringToPropertyBag(IClientJobDataEnvironment& environment,
                                                                  const CXString& list,
                                                                  IPrintPipelinePropertyBag* bag) {
  if (bag == nullptr) {
    return false;
  }
  return environment.WritePropertyBagString(bag, CXString(kPropertyBagKey), list);
}

bool ClientJobData2ReaderWriter::CommitAdditions() {
  return CommitAndTellStore() != Store::None;
}

ClientJobData2ReaderWriter::Store ClientJobData2ReaderWriter::CommitAndTellStore() {
  try {
    return Commit();
  } catch (...) {
    ReportCurrentException(kCommitFunction, __LINE__, FailureText(kWritingFailure, m_tempFileName));
    return Store::None;
  }
}

ClientJobData2ReaderWriter::Store ClientJobData2ReaderWriter::Commit() {
  m_list.AddOrReplaceLong(kCommittedMarkerId, 1);
  if (m_bag != nullptr && StoreCjd2FromStringToPropertyBag(m_environment, m_list.GetText(), m_bag)) {
    return Store::PropertyBag;
  }
  if (m_jobFound && m_environment.SetJobParameters(m_printerHandle, m_jobIdForSpooler, m_list.GetText())) {
    return Store::Spooler;
  }
  EnsureTempFileName();
  if (!m_tempFileName.empty()) {
    m_environment.WriteWholeFile(m_tempFileName, EncodeTempFileContents(m_list.GetText()));
    return Store::TempFile;
  }
  HDU_THROW(CPExceptionClientJobDataFailure, HDU_DEBUG_CONTEXT_IN(kSourceFile, kCommitFunction),
            "No store accepted the client job data of job %u: %s, %s, and no temporary folder is known.",
            m_jobIdForSpooler, m_bag != nullptr ? "the property bag refused it" : "there is no property bag",
            m_jobFound ? "SetJob() failed" : "the spooler did not return the job");
}

// ---- enumerations ----

ClientJobData2ReaderWriter::_PrintTimeUiResultEnum ClientJobData2ReaderWriter::GetPrintTimeUiResultFromParameterList()
    const {
  long value = 0;
  return m_list.GetLong(kPrintTimeUiResultId, value) ? static_cast<_PrintTimeUiResultEnum>(value) : PTUIRE_NONE;
}

ClientJobData2ReaderWriter::_SpoolingMethodEnum ClientJobData2ReaderWriter::GetSpoolingMethodFromParameterList() const {
  long value = 0;
  return m_list.GetLong(kSpoolingMethodId, value) ? static_cast<_SpoolingMethodEnum>(value) : SME_NONE;
}

void ClientJobData2ReaderWriter::AddOrReplacePrintTimeUiResultInParameterListFromString(const CXString& text) {
  m_list.AddOrReplaceLong(kPrintTimeUiResultId, ConvertPrintTimeUiResultStringToEnum(text));
}

void ClientJobData2ReaderWriter::AddOrReplaceSpoolingMethodInParameterListFromString(const CXString& text) {
  m_list.AddOrReplaceLong(kSpoolingMethodId, ConvertSpoolingMethodStringToEnum(text));
}

ClientJobData2ReaderWriter::_PrintTimeUiResultEnum ClientJobData2ReaderWriter::ConvertPrintTimeUiResultStringToEnum(
    const CXString& text) {
  return TextToEnum(kPrintTimeUiResults, text);
}

CXString ClientJobData2ReaderWriter::ConvertPrintTimeUiResultEnumToString(_PrintTimeUiResultEnum value) {
  return EnumToText(kPrintTimeUiResults, value);
}

ClientJobData2ReaderWriter::_SpoolingMethodEnum ClientJobData2ReaderWriter::ConvertSpoolingMethodStringToEnum(
    const CXString& text) {
  return TextToEnum(kSpoolingMethods, text);
}

CXString ClientJobData2ReaderWriter::ConvertSpoolingMethodEnumToString(_SpoolingMethodEnum value) {
  return EnumToText(kSpoolingMethods, value);
}

ClientJobData2ReaderWriter::_CallbackReasonEnum ClientJobData2ReaderWriter::ConvertCallbackReasonStringToEnum(
    const CXString& text) {
  return TextToEnum(kCallbackReasons, text);
}

CXString ClientJobData2ReaderWriter::ConvertCallbackReasonEnumToString(_CallbackReasonEnum value) {
  return EnumToText(kCallbackReasons, value);
}

// ---- pieces ----

std::uint32_t ClientJobData2ReaderWriter::FixUpJobId(std::uint32_t jobId, bool jobIdIsExact) noexcept {
  if (jobIdIsExact || jobId <= kLargestUnchangedJobId) {
    return jobId;
  }
  return static_cast<std::uint32_t>(kJobIdFixUpBase - jobId);
}

std::uint32_t ClientJobData2ReaderWriter::GetPrinterNameCrc(const CXString& printerName) {
  const std::size_t separator = printerName.rfind(u'\\');
  const std::u16string_view component =
      separator == CXString::npos ? printerName.utf16View() : printerName.utf16View().substr(separator + 1);
  ByteBuffer bytes;
  bytes.reserve(component.size() * 2);
  for (const char16_t unit : component) {
    bytes.push_back(static_cast<unsigned char>(unit & 0xFFu));
    bytes.push_back(static_cast<unsigned char>(unit >> 8));
  }
  return static_cast<std::uint32_t>(Crc32::GetCrc(bytes.data(), static_cast<unsigned long>(bytes.size())));
}

CXString ClientJobData2ReaderWriter::MakeTempFileName(const CXString& folder, const CXString& printerName,
                                                      std::uint32_t jobId) {
  return CXString::format("%s\\HCJD_%u_%u.tmp", folder, GetPrinterNameCrc(printerName), jobId);
}

CXString ClientJobData2ReaderWriter::DecodeTempFileContents(const ByteBuffer& contents) {
  std::u16string units;
  units.reserve(contents.size() / 2);
  for (std::size_t i = 0; i + 1 < contents.size(); i += 2) {
    units.push_back(static_cast<char16_t>(contents[i] | (contents[i + 1] << 8)));
  }
  if (!units.empty() && units.back() == u'\0') {
    units.pop_back();
  }
  return CXString(std::move(units));
}

ByteBuffer ClientJobData2ReaderWriter::EncodeTempFileContents(const CXString& list) {
  ByteBuffer bytes;
  bytes.reserve(list.size() * 2);
  for (const char16_t unit : list) {
    bytes.push_back(static_cast<unsigned char>(unit & 0xFFu));
    bytes.push_back(static_cast<unsigned char>(unit >> 8));
  }
  return bytes;
}
