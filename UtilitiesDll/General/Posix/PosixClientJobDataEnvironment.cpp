// The client job data environment of POSIX systems: there is no print
// spooler and no print filter pipeline, so jobs are never found, printer
// names are empty and no temporary folder is known. A ClientJobData2ReaderWriter
// built on it therefore starts empty and reports a failed commit; tests and
// tools that need the stores pass their own IClientJobDataEnvironment.

#include "DebuggingAndExceptions/CPException.h"
#include "General/ClientJobDataEnvironment.h"

#include <new>

namespace {

[[noreturn]] void Unsupported(const char* function) {
  HDU_THROW(CPExceptionNoSupportForTargetPlatform, HDU_DEBUG_CONTEXT(function),
            "%s: this platform has no print spooler, driver temporary folder or print pipeline property bag.",
            function);
}

class PosixClientJobDataEnvironment final : public IClientJobDataEnvironment {
 public:
  bool GetJobParameters(void*, unsigned long, CXString&) override { return false; }
  bool SetJobParameters(void*, unsigned long, const CXString&) override { return false; }
  CXString GetPrinterName(void*) override { return {}; }
  CXString GetV4GuidPrinterNameByReverseEngineering(void*) override { return {}; }
  CXString GetDriverTempFolder(bool) override { return {}; }
  bool IsExistingFile(const CXString&) override { return false; }
  ByteBuffer ReadWholeFile(const CXString&) override { Unsupported("PosixClientJobDataEnvironment::ReadWholeFile"); }
  void WriteWholeFile(const CXString&, const ByteBuffer&) override {
    Unsupported("PosixClientJobDataEnvironment::WriteWholeFile");
  }
  bool RemoveFile(const CXString&) override { return false; }
  void AddRefPropertyBag(IPrintPipelinePropertyBag*) override {}
  void ReleasePropertyBag(IPrintPipelinePropertyBag*) override {}
  bool ReadPropertyBagString(IPrintPipelinePropertyBag*, const CXString&, CXString&) override { return false; }
  bool WritePropertyBagString(IPrintPipelinePropertyBag*, const CXString&, const CXString&) override {
    Unsupported("PosixClientJobDataEnvironment::WritePropertyBagString");
  }
};

}  // namespace

IClientJobDataEnvironment& IClientJobDataEnvironment::GetSystemEnvironment() noexcept {
  // Built in static storage and never destroyed: objects that outlive the
  // library's static objects (a caller's static reader-writer or store) may
  // still use it, and no heap block is left behind at unload.
  alignas(PosixClientJobDataEnvironment) static unsigned char storage[sizeof(PosixClientJobDataEnvironment)];
  static PosixClientJobDataEnvironment* const environment = new (storage) PosixClientJobDataEnvironment();
  return *environment;
}
