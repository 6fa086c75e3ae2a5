#pragma once
// IClientJobDataEnvironment: the operating-system services that
// ClientJobData2ReaderWriter uses, behind one small interface, so that the
// reader-writer's logic is the same on every platform and can be driven by a
// test double.
//
// GetSystemEnvironment() answers the platform's implementation:
//   Windows  the spooler's GetJob/SetJobW at level 2, the printer's name from
//            GetPrinterW level 2, the driver's temporary folder of
//            MeridianTempFolders, Win32 file calls, and the print pipeline's
//            IPrintPipelinePropertyBag through COM.
//   POSIX    no print spooler and no property bags: jobs are never found,
//            printer names are empty, there is no temporary folder, reading
//            or writing a file and writing a bag throw
//            CPExceptionNoSupportForTargetPlatform.
//
// The implementations hold no state of their own; one object serves every
// thread.

#include "General/ByteBuffer.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

// The print filter pipeline's property bag (a COM interface; declared in
// General/Win/PrintPipelinePropertyBag.h on Windows). Portable code only
// passes the pointer on.
struct IPrintPipelinePropertyBag;

class HDU_API IClientJobDataEnvironment {
 public:
  virtual ~IClientJobDataEnvironment();

  // ---- spooler ----
  // The parameters string of the job's JOB_INFO_2 (empty when it has none).
  // False when the spooler does not return the job; never throws for that.
  virtual bool GetJobParameters(void* printerHandle, unsigned long jobId, CXString& parameters) = 0;
  // Fetches the job's JOB_INFO_2 again, sets its parameters to `parameters`
  // and its position to 0 (unchanged), and calls SetJobW at level 2 with no
  // command. False when the job cannot be fetched or set.
  virtual bool SetJobParameters(void* printerHandle, unsigned long jobId, const CXString& parameters) = 0;

  // ---- printers ----
  // The queue's name for a printer handle. Throws (CPExceptionPrinterFailure)
  // when it cannot be read.
  virtual CXString GetPrinterName(void* printerHandle) = 0;
  // The queue's name when the handle is the driver's own per-job handle.
  virtual CXString GetV4GuidPrinterNameByReverseEngineering(void* printerHandle) = 0;

  // ---- the driver's temporary folder and its files ----
  // The folder's path without a trailing separator; empty when it does not
  // exist (and `createIfMissing` is false) or cannot be made.
  virtual CXString GetDriverTempFolder(bool createIfMissing) = 0;
  virtual bool IsExistingFile(const CXString& path) = 0;
  // Throw CPExceptionReadFile or CPExceptionCreateFileForReading.
  virtual ByteBuffer ReadWholeFile(const CXString& path) = 0;
  // Creates or replaces the file. Throws CPExceptionWriteFile or
  // CPExceptionCreateFileForWriting.
  virtual void WriteWholeFile(const CXString& path, const ByteBuffer& contents) = 0;
  virtual bool RemoveFile(const CXString& path) = 0;

  // ---- property bag ----
  virtual void AddRefPropertyBag(IPrintPipelinePropertyBag* bag) = 0;
  virtual void ReleasePropertyBag(IPrintPipelinePropertyBag* bag) = 0;
  // A string property; false when the bag has no such property or it is not
  // a string.
  virtual bool ReadPropertyBagString(IPrintPipelinePropertyBag* bag, const CXString& name, CXString& value) = 0;
  // Adds or replaces a string property; false when the bag refuses it. A
  // string that cannot be allocated raises CPComException E_OUTOFMEMORY.
  virtual bool WritePropertyBagString(IPrintPipelinePropertyBag* bag, const CXString& name, const CXString& value) = 0;

  static IClientJobDataEnvironment& GetSystemEnvironment() noexcept;

 protected:
  IClientJobDataEnvironment() = default;
  IClientJobDataEnvironment(const IClientJobDataEnvironment&) = default;
  IClientJobDataEnvironment& operator=(const IClientJobDataEnvironment&) = default;
};
