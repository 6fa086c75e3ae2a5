#pragma once
// CabContext: the in-memory file system behind one use of the cabinet
// interfaces, and the base of CabCompressionContext (FCI) and
// CabDecompressionContext (FDI), which live with the Windows code.
//
// The cabinet interfaces read and write files through callbacks that behave
// like the C run-time's _open, _read, _write, _lseek, _close and remove, plus
// one that invents names for temporary files. A context answers all of them
// from memory:
//   - files are ByteBuffers kept by name; the cabinet, the file to be stored,
//     FCI's temporary files and FDI's output are all such files, so nothing
//     touches the disk;
//   - each successful open gives a new handle (1, 2, 3, ...; never 0 or -1,
//     which the interfaces treat specially) owning one CabBufferAsFile;
//   - the file operations never throw: they return the C run-time's results
//     (-1 on failure) and set an errno-style code (ENOENT, EEXIST, EBADF,
//     EINVAL, EACCES, ENOSPC), and remember the failure's text for the
//     message of the cabinet call that fails because of it.
// The open flags are the library's own (CCOF_...); the Windows callbacks
// translate the C run-time's _O_... flags.
//
// Destroying a context closes every handle still open. CloseAllOpenFiles does
// the same and reports a failure by throwing.

#include "Compression/CabAbstractFile.h"
#include "General/ByteBuffer.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

class HDU_API CabContext {
 public:
  enum OpenFlags : unsigned int {
    CCOF_READ = 0x01,
    CCOF_WRITE = 0x02,
    CCOF_CREATE = 0x04,     // create the file when it does not exist
    CCOF_TRUNCATE = 0x08,   // empty an existing file (needs CCOF_WRITE)
    CCOF_EXCLUSIVE = 0x10,  // with CCOF_CREATE: fail when the file exists
    CCOF_APPEND = 0x20,     // every write goes to the end
  };

  CabContext(const CabContext&) = delete;
  CabContext& operator=(const CabContext&) = delete;
  virtual ~CabContext();

  // ---- files by name ----
  // Creates or replaces a file. Fails (CPExceptionFileOperationCompression)
  // while the file is open.
  void SetFile(const std::string& name, ByteBuffer contents);
  bool HasFile(const std::string& name) const noexcept;
  // Throws CPExceptionFileOperationCompression when there is no such file.
  const ByteBuffer& GetFile(const std::string& name) const;
  // Limits how long writes may make the file (see CabBufferAsFile); applies
  // to handles opened afterwards. Throws when there is no such file.
  void SetFileSizeLimit(const std::string& name, std::size_t maximumSize);
  std::size_t GetFileCount() const noexcept { return m_files.size(); }

  // ---- the C run-time-like operations behind the cabinet callbacks ----
  // A new handle, or -1 with `error` set (ENOENT: no such file and no
  // CCOF_CREATE; EEXIST: CCOF_CREATE | CCOF_EXCLUSIVE on an existing file;
  // EINVAL: neither read nor write access asked for).
  std::intptr_t FileOpen(const std::string& name, unsigned int flags, int& error) noexcept;
  // The bytes read, or (unsigned int)-1.
  unsigned int FileRead(std::intptr_t handle, void* destination, unsigned int count, int& error) noexcept;
  // The bytes written (all of them), or (unsigned int)-1.
  unsigned int FileWrite(std::intptr_t handle, const void* source, unsigned int count, int& error) noexcept;
  // The new position, or -1. `origin` is 0, 1 or 2 (SEEK_SET, SEEK_CUR, SEEK_END).
  long FileSeek(std::intptr_t handle, long distance, int origin, int& error) noexcept;
  // 0, or -1. The handle is gone afterwards either way.
  int FileClose(std::intptr_t handle, int& error) noexcept;
  // 0, or -1 (ENOENT: no such file; EACCES: the file is open).
  int FileDelete(const std::string& name, int& error) noexcept;
  // Writes a new, unused name ("hdu-temp-1.tmp", ...) with its terminator
  // into `buffer`; false when it does not fit.
  bool GetTemporaryFileName(char* buffer, int bufferSize) noexcept;

  // Takes over an already open file and gives it a handle.
  std::intptr_t AdoptOpenFile(std::unique_ptr<CabAbstractFile> file);
  std::size_t GetOpenFileCount() const noexcept { return m_openFiles.size(); }
  // Closes every open handle (CabAbstractFile::DoCommonDestroy): throws
  // CPExceptionFileOperationCompression when any close failed.
  void CloseAllOpenFiles();

  // The text of the most recent failed file operation ("" when none failed
  // since ClearLastFileError).
  const std::string& GetLastFileError() const noexcept { return m_lastFileError; }
  void ClearLastFileError() noexcept { m_lastFileError.clear(); }

  // ---- the cabinet interfaces' error codes ----
  // The name and text of an FCIERROR or FDIERROR value, as in
  // "FCIERR_CAB_FILE (Could not create cabinet file)" and
  // "FDIERROR_CORRUPT_CABINET (Cabinet file is corrupt)"; an unknown value
  // gives "FCIERR_<n> (Unknown FCI error)" / "FDIERROR_<n> (Unknown FDI error)".
  static std::string GetFciErrorText(int fciError);
  static std::string GetFdiErrorText(int fdiError);

 protected:
  CabContext();

 private:
  struct NamedFile {
    ByteBuffer contents;
    std::size_t maximumSize;
  };

  CabAbstractFile* FindOpenFile(std::intptr_t handle, int& error) noexcept;
  bool IsFileOpen(const std::string& name) const noexcept;
  void RememberFailure(const char* operation, std::string_view part1, std::string_view part2 = {},
                       std::string_view part3 = {}) noexcept;

  std::map<std::string, NamedFile> m_files;
  CabAbstractFile::OpenFileTable m_openFiles;
  std::intptr_t m_nextHandle = 1;
  unsigned int m_nextTemporaryFile = 1;
  std::string m_lastFileError;
};
