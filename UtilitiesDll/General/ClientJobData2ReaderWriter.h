#pragma once
// ClientJobData2ReaderWriter: reads, edits and commits the client job data of
// one print job (the record itself is ClientJobDataParameterList).
//
// The record lives in one of three stores, tried in this order both when
// reading and when committing:
//   1. the print pipeline's property bag, as the string property
//      "Halden_ClientJobData2" (only when the object was given a bag);
//   2. the spooler job's JOB_INFO_2 parameters string (GetJob / SetJobW at
//      level 2, position 0 meaning "unchanged");
//   3. the file "<temp folder>\HCJD_<crc>_<job id>.tmp" in the driver's
//      temporary folder: the list as UTF-16LE code units without a byte-order
//      mark or terminator. <crc> is the CRC-32 of the UTF-16LE bytes of the
//      printer name's last path component (the text after the last "\").
//
// Job-id fix-up: unless the caller says the id is exact, an id of 15001 or
// more is replaced by 30000 minus the id for every spooler call and for the
// file name (computed in 32 bits, so ids above 30000 wrap around). With a
// fixed-up id the spooler is never asked for the job, and the file name uses
// the printer's name as GetV4GuidPrinterNameByReverseEngineering gives it.
//
// Reading (construction):
//   - with a bag: the bag's property; only when it is absent or empty, the
//     spooler and file reading below, without creating the temporary folder;
//   - otherwise: find the temporary folder (created and cleaned when
//     allowed; never when the id is exact); unless the id was fixed up, ask
//     the spooler, and a non-empty parameters string is the list; else read
//     the temporary file if it exists (one trailing zero unit dropped). Lists
//     from the spooler or the file are used without ASCII white space. When a
//     bag is present and the file's list carries the committed marker (long
//     id 1 non-zero), it is committed, and the file is deleted when the bag
//     took the list (when the bag refuses it, the commit goes on to the
//     spooler or the file, and the file stays).
// Committing (CommitAdditions): set long id 1 to 1, then the first store that
// accepts the list wins: the bag, then the spooler (only for a job found at
// construction), then the temporary file (only when the folder is known).
//
// Failures never leave construction, the ReInitialize calls or
// CommitAdditions: every exception is reported through the exception
// facility, with "FAILED reading ClientJobData via GetJob(), and the fallback
// of reading from a temp file ('%s') also failed! Features such as Accounting
// will be impacted." or its "writing ... SetJob()" counterpart, and the object
// stays usable with the list it has. A commit with no store at all reports a
// CPExceptionClientJobDataFailure and returns false.
//
// An object belongs to one thread. The environment (spooler, files, bag) is
// IClientJobDataEnvironment::GetSystemEnvironment() unless one is given.

#include "General/ByteBuffer.h"
#include "General/ClientJobDataEnvironment.h"
#include "General/ClientJobDataParameterList.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <cstdint>

class HDU_API ClientJobData2ReaderWriter {
 public:
  // Long id 200.
  enum _PrintTimeUiResultEnum : int {
    PTUIRE_NONE = 0,
    PTUIRE_OK = 1,
    PTUIRE_CANCEL = 2,
    PTUIRE_NO_ACTION_REQUIRED = 3,
    PTUIRE_ERROR = 4,
  };
  // Long id 202.
  enum _SpoolingMethodEnum : int {
    SME_NONE = 0,
    SME_START_DOC_PRINTER = 1,
    SME_ADD_JOB = 2,
  };
  enum _CallbackReasonEnum : int {
    CRE_NONE = 0,
    CRE_START_OF_SPOOLING = 1,
    CRE_SPOOL_FILE_DONE_RENDERING_NOT_WAITING = 2,
    CRE_SPOOL_FILE_DONE_RENDERING_WAITING = 3,
  };
  enum : int { kCommittedMarkerId = 1, kPrintTimeUiResultId = 200, kSpoolingMethodId = 202 };
  enum : std::uint32_t { kLargestUnchangedJobId = 15000, kJobIdFixUpBase = 30000 };

  static const char16_t* const kPropertyBagKey;  // "Halden_ClientJobData2"

  ClientJobData2ReaderWriter(void* printerHandle, unsigned long jobId, IPrintPipelinePropertyBag* bag);
  ClientJobData2ReaderWriter(void* printerHandle, unsigned long jobId, bool jobIdIsExact, bool createTempFolder);
  // The same over a given environment (which must outlive the object).
  ClientJobData2ReaderWriter(IClientJobDataEnvironment& environment, void* printerHandle, unsigned long jobId,
                             IPrintPipelinePropertyBag* bag);
  ClientJobData2ReaderWriter(IClientJobDataEnvironment& environment, void* printerHandle, unsigned long jobId,
                             bool jobIdIsExact, bool createTempFolder);
  ~ClientJobData2ReaderWriter();
  ClientJobData2ReaderWriter(const ClientJobData2ReaderWriter&) = delete;
  ClientJobData2ReaderWriter& operator=(const ClientJobData2ReaderWriter&) = delete;

  // Takes `bag` as the object's bag (a null bag drops it) and replaces the
  // list by the bag's property (empty when absent). True when it was found.
  bool ReInitializeFromPropertyBag(IPrintPipelinePropertyBag* bag);
  void ReInitializeFromString(const CXString& list);
  // Writes a list into a bag under kPropertyBagKey. False when the bag
  // refuses it; a string that cannot be allocated raises CPComException
  // E_OUTOFMEMORY.
  static bool StoreCjd2FromStringToPropertyBag(const CXString& list, IPrintPipelinePropertyBag* bag);
  static bool StoreCjd2FromStringToPropertyBag(IClientJobDataEnvironment& environment, const CXString& list,
                                               IPrintPipelinePropertyBag* bag);

  // ---- entries (ClientJobDataParameterList) ----
  bool GetStringFromParameterList(int id, CXString& value) const { return m_list.GetString(id, value); }
  bool GetLongFromParameterList(int id, long& value) const { return m_list.GetLong(id, value); }
  bool GetByteBufferFromParameterList(int id, ByteBuffer& value) const { return m_list.GetByteBuffer(id, value); }
  void AddOrReplaceInParameterList(int id, const CXString& value) { m_list.AddOrReplaceString(id, value); }
  void AddOrReplaceInParameterList(int id, long value) { m_list.AddOrReplaceLong(id, value); }
  void AddOrReplaceInParameterList(int id, const ByteBuffer& value) { m_list.AddOrReplaceByteBuffer(id, value); }
  bool RemoveStringFromParameterList(int id) { return m_list.RemoveString(id); }
  bool RemoveLongFromParameterList(int id) { return m_list.RemoveLong(id); }
  bool RemoveByteBufferFromParameterList(int id) { return m_list.RemoveByteBuffer(id); }

  // Long ids 200 and 202, or 0 when absent.
  _PrintTimeUiResultEnum GetPrintTimeUiResultFromParameterList() const;
  _SpoolingMethodEnum GetSpoolingMethodFromParameterList() const;
  void AddOrReplacePrintTimeUiResultInParameterListFromString(const CXString& text);
  void AddOrReplaceSpoolingMethodInParameterListFromString(const CXString& text);

  // Text forms, compared without regard to case; an empty or unknown text
  // gives 0, a value without a text gives the empty string.
  static _PrintTimeUiResultEnum ConvertPrintTimeUiResultStringToEnum(const CXString& text);
  static CXString ConvertPrintTimeUiResultEnumToString(_PrintTimeUiResultEnum value);
  static _SpoolingMethodEnum ConvertSpoolingMethodStringToEnum(const CXString& text);
  static CXString ConvertSpoolingMethodEnumToString(_SpoolingMethodEnum value);
  static _CallbackReasonEnum ConvertCallbackReasonStringToEnum(const CXString& text);
  static CXString ConvertCallbackReasonEnumToString(_CallbackReasonEnum value);

  bool CommitAdditions();

  bool WasJobFound() const noexcept { return m_jobFound; }
  bool WasClientJobDataFound() const noexcept { return !m_list.IsEmpty(); }
  const CXString& GetPrintProcessorParametersString() const noexcept { return m_list.GetText(); }
  // Empty until the name is known (it needs the temporary folder and the
  // printer's name).
  const CXString& GetTempFileNameWithPath() const noexcept { return m_tempFileName; }
  bool IsJobIdFixedUp_ReverseEngineering() const noexcept { return m_jobIdForSpooler != m_jobId; }
  unsigned long GetJobIdForSpooler() const noexcept { return m_jobIdForSpooler; }

  // ---- the pieces, for callers and tests ----
  static std::uint32_t FixUpJobId(std::uint32_t jobId, bool jobIdIsExact) noexcept;
  // The CRC-32 of the UTF-16LE bytes of the text after the last "\".
  static std::uint32_t GetPrinterNameCrc(const CXString& printerName);
  // "%s\HCJD_%u_%u.tmp".
  static CXString MakeTempFileName(const CXString& folder, const CXString& printerName, std::uint32_t jobId);
  // The file's bytes as a list: UTF-16LE units (an odd last byte ignored),
  // one trailing zero unit dropped.
  static CXString DecodeTempFileContents(const ByteBuffer& contents);
  static ByteBuffer EncodeTempFileContents(const CXString& list);

 private:
  void Init(bool createTempFolder);
  void ReadFromSpoolerOrFile(bool createTempFolder);
  enum class Store { None, PropertyBag, Spooler, TempFile };
  void EnsureTempFileName();
  // The store that took the list; Store::None after a reported failure.
  Store CommitAndTellStore();
  Store Commit();
  void TakeBag(IPrintPipelinePropertyBag* bag);

  IClientJobDataEnvironment& m_environment;
  void* m_printerHandle;
  std::uint32_t m_jobId;
  std::uint32_t m_jobIdForSpooler;
  bool m_jobFound = false;
  ClientJobDataParameterList m_list;
  CXString m_tempFolder;
  CXString m_tempFileName;
  IPrintPipelinePropertyBag* m_bag = nullptr;
};
