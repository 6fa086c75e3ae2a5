// The client job data environment of Windows: the spooler's job parameters
// (GetJobW / SetJobW at level 2), the printer's name, the driver's temporary
// folder, Win32 files and the print pipeline's property bag.

#include "DebuggingAndExceptions/CPException.h"
#include "Environment/Win/MeridianTempFolders.h"
#include "Environment/Win/Printer.h"
#include "General/ClientJobDataEnvironment.h"
#include "General/Win/PrintPipelinePropertyBag.h"

#include <windows.h>

#include <winspool.h>

#include <new>
#include <vector>

namespace {

// A file handle closed on every way out.
class ScopedFile {
 public:
  explicit ScopedFile(HANDLE handle) noexcept : m_handle(handle) {}
  ~ScopedFile() {
    if (m_handle != INVALID_HANDLE_VALUE) {
      CloseHandle(m_handle);
    }
  }
  ScopedFile(const ScopedFile&) = delete;
  ScopedFile& operator=(const ScopedFile&) = delete;
  HANDLE get() const noexcept { return m_handle; }
  bool valid() const noexcept { return m_handle != INVALID_HANDLE_VALUE; }

 private:
  HANDLE m_handle;
};

// The job's JOB_INFO_2 in DWORD-aligned storage; empty when the spooler does
// not return the job.
std::vector<DWORD> FetchJobInfo2(HANDLE printer, DWORD jobId) {
  DWORD needed = 0;
  GetJobW(printer, jobId, 2, nullptr, 0, &needed);
  if (needed == 0) {
    return {};
  }
  std::vector<DWORD> buffer((needed + sizeof(DWORD) - 1) / sizeof(DWORD));
  if (GetJobW(printer, jobId, 2, reinterpret_cast<LPBYTE>(buffer.data()),
              static_cast<DWORD>(buffer.size() * sizeof(DWORD)), &needed) == 0) {
    return {};
  }
  return buffer;
}

class WindowsClientJobDataEnvironment final : public IClientJobDataEnvironment {
 public:
  bool GetJobParameters(void* printerHandle, unsigned long jobId, CXString& parameters) override {
    const std::vector<DWORD> info = FetchJobInfo2(static_cast<HANDLE>(printerHandle), static_cast<DWORD>(jobId));
    if (info.empty()) {
      return false;
    }
    const auto* job = reinterpret_cast<const JOB_INFO_2W*>(info.data());
    parameters = job->pParameters != nullptr ? CXString(job->pParameters) : CXString();
    return true;
  }

  bool SetJobParameters(void* printerHandle, unsigned long jobId, const CXString& parameters) override {
    std::vector<DWORD> info = FetchJobInfo2(static_cast<HANDLE>(printerHandle), static_cast<DWORD>(jobId));
    if (info.empty()) {
      return false;
    }
    auto* job = reinterpret_cast<JOB_INFO_2W*>(info.data());
    std::wstring text = parameters.toWString();
    job->pParameters = text.data();
    job->Position = JOB_POSITION_UNSPECIFIED;
    return SetJobW(static_cast<HANDLE>(printerHandle), static_cast<DWORD>(jobId), 2, reinterpret_cast<LPBYTE>(job),
                   0) != 0;
  }

  CXString GetPrinterName(void* printerHandle) override { return Printer::GetPrinterName(printerHandle); }

  CXString GetV4GuidPrinterNameByReverseEngineering(void* printerHandle) override {
    return Printer::GetV4GuidPrinterNameByReverseEngineering(printerHandle);
  }

  CXString GetDriverTempFolder(bool createIfMissing) override {
    return createIfMissing ? MeridianTempFolders::GetOrCreateAndGcMeridianDriverTempFolder()
                           : MeridianTempFolders::GetMeridianDriverTempFolder();
  }

  bool IsExistingFile(const CXString& path) override {
    const DWORD attributes = GetFileAttributesW(path.wc_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
  }

  ByteBuffer ReadWholeFile(const CXString& path) override {
    const ScopedFile file(CreateFileW(path.wc_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.valid()) {
      HDU_THROW(CPExceptionCreateFileForReading, HDU_DEBUG_CONTEXT("WindowsClientJobDataEnvironment::ReadWholeFile"),
                "The file '%s' could not be opened for reading.", path);
    }
    LARGE_INTEGER size{};
    if (GetFileSizeEx(file.get(), &size) == 0 || size.QuadPart > 0x7FFFFFFF) {
      HDU_THROW(CPExceptionReadFile, HDU_DEBUG_CONTEXT("WindowsClientJobDataEnvironment::ReadWholeFile"),
                "The size of the file '%s' could not be read or is too large.", path);
    }
    ByteBuffer contents(static_cast<std::size_t>(size.QuadPart), 0);
    std::size_t done = 0;
    while (done < contents.size()) {
      DWORD read = 0;
      if (ReadFile(file.get(), contents.data() + done, static_cast<DWORD>(contents.size() - done), &read, nullptr) ==
          0) {
        HDU_THROW(CPExceptionReadFile, HDU_DEBUG_CONTEXT("WindowsClientJobDataEnvironment::ReadWholeFile"),
                  "Reading the file '%s' failed after %lu bytes.", path, static_cast<unsigned long long>(done));
      }
      if (read == 0) {
        contents.resize(done);  // the file became shorter while being read
        break;
      }
      done += read;
    }
    return contents;
  }

  void WriteWholeFile(const CXString& path, const ByteBuffer& contents) override {
    const ScopedFile file(
        CreateFileW(path.wc_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.valid()) {
      HDU_THROW(CPExceptionCreateFileForWriting, HDU_DEBUG_CONTEXT("WindowsClientJobDataEnvironment::WriteWholeFile"),
                "The file '%s' could not be created.", path);
    }
    std::size_t done = 0;
    while (done < contents.size()) {
      DWORD written = 0;
      if (WriteFile(file.get(), contents.data() + done, static_cast<DWORD>(contents.size() - done), &written,
                    nullptr) == 0 ||
          written == 0) {
        HDU_THROW(CPExceptionWriteFile, HDU_DEBUG_CONTEXT("WindowsClientJobDataEnvironment::WriteWholeFile"),
                  "Writing the file '%s' failed after %lu bytes.", path, static_cast<unsigned long long>(done));
      }
      done += written;
    }
  }

  bool RemoveFile(const CXString& path) override { return DeleteFileW(path.wc_str()) != 0; }

  void AddRefPropertyBag(IPrintPipelinePropertyBag* bag) override { bag->AddRef(); }
  void ReleasePropertyBag(IPrintPipelinePropertyBag* bag) override { bag->Release(); }

  bool ReadPropertyBagString(IPrintPipelinePropertyBag* bag, const CXString& name, CXString& value) override {
    return PrintPipelinePropertyBagStrings::ReadString(*bag, name, value);
  }

  bool WritePropertyBagString(IPrintPipelinePropertyBag* bag, const CXString& name, const CXString& value) override {
    return PrintPipelinePropertyBagStrings::WriteString(*bag, name, value);
  }
};

}  // namespace

IClientJobDataEnvironment& IClientJobDataEnvironment::GetSystemEnvironment() noexcept {
  // Built in static storage and never destroyed: objects that outlive the
  // library's static objects (a caller's static reader-writer or store) may
  // still use it, and no heap block is left behind at unload.
  alignas(WindowsClientJobDataEnvironment) static unsigned char storage[sizeof(WindowsClientJobDataEnvironment)];
  static WindowsClientJobDataEnvironment* const environment = new (storage) WindowsClientJobDataEnvironment();
  return *environment;
}
