#pragma once
// CabAbstractFile: one open file as the cabinet interfaces (FCI/FDI) see it.
//
// The cabinet library does all its input and output through callbacks that
// behave like the C run-time's _open/_read/_write/_lseek/_close. The library
// never touches the disk for CompressedBuffer work: CabContext answers those
// callbacks with files held in memory, each open handle being one
// CabAbstractFile (see CabBufferAsFile). This class fixes the behaviour that
// all such files share:
//   - a file is open from construction until Close; every operation on a
//     closed file, and a second Close, fails;
//   - reading needs a file opened for reading, writing one opened for writing;
//   - failures throw CPExceptionFileOperationCompression (the callbacks turn
//     them into the C run-time's -1 results).
// Nothing here is platform-specific; only the callbacks themselves live with
// the Windows contexts.

#include "hdUtilitiesExport.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

class HDU_API CabAbstractFile {
 public:
  // The seek origins of the cabinet interfaces (the C run-time's SEEK_SET,
  // SEEK_CUR and SEEK_END, which have these values on every platform).
  enum SeekOrigin : int { CSO_BEGIN = 0, CSO_CURRENT = 1, CSO_END = 2 };

  // The open files of one context, by handle.
  using OpenFileTable = std::map<std::intptr_t, std::unique_ptr<CabAbstractFile>>;

  CabAbstractFile(const CabAbstractFile&) = delete;
  CabAbstractFile& operator=(const CabAbstractFile&) = delete;
  // Destroying a file that is still open only releases it (a destructor can
  // neither call the derived class's DoClose nor throw): contexts close their
  // files through DoCommonDestroy first.
  virtual ~CabAbstractFile();

  const std::string& GetName() const noexcept { return m_name; }
  bool IsOpen() const noexcept { return m_isOpen; }
  bool IsReadable() const noexcept { return m_isReadable; }
  bool IsWritable() const noexcept { return m_isWritable; }

  // The number of bytes read; 0 at the end of the file.
  unsigned int Read(void* destination, unsigned int count);
  // Writes all `count` bytes or fails.
  unsigned int Write(const void* source, unsigned int count);
  // The new position from the start of the file. A position before the start
  // fails; one beyond the end is allowed (a later write fills the gap with
  // zeros, as the C run-time does).
  long Seek(long distance, SeekOrigin origin);
  void Close();

  // Closes every file of the table and empties it. Every file is closed even
  // when an earlier one fails; if any failed, CPExceptionFileOperationCompression
  // "Exception thrown while trying to close all the open file handles." is
  // thrown afterwards (each failure is reported through the exception
  // facility first).
  static void DoCommonDestroy(OpenFileTable& openFiles);

 protected:
  CabAbstractFile(std::string name, bool readable, bool writable);

  // The work itself; called only on an open file with the right mode.
  virtual unsigned int DoRead(void* destination, unsigned int count) = 0;
  virtual unsigned int DoWrite(const void* source, unsigned int count) = 0;
  virtual long DoSeek(long distance, SeekOrigin origin) = 0;
  virtual void DoClose() = 0;

 private:
  [[noreturn]] void ThrowNotAllowed(const char* operation) const;

  std::string m_name;
  bool m_isReadable;
  bool m_isWritable;
  bool m_isOpen = true;
};
