#include "Compression/CabAbstractFile.h"

#include "DebuggingAndExceptions/CPException.h"

#include <exception>
#include <utility>

CabAbstractFile::CabAbstractFile(std::string name, bool readable, bool writable)
    : m_name(std::move(name)), m_isReadable(readable), m_isWritable(writable) {}

CabAbstractFile::~CabAbstractFile() = default;

void CabAbstractFile::ThrowNotAllowed(const char* operation) const {
  HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabAbstractFile::ThrowNotAllowed"),
            "Cannot %s the in-memory cabinet file '%s': it is %s.", operation, m_name,
            !m_isOpen ? "closed" : (m_isReadable ? "open for reading only" : "open for writing only"));
}

unsigned int CabAbstractFile::Read(void* destination, unsigned int count) {
  if (!m_isOpen || !m_isReadable) {
    ThrowNotAllowed("read from");
  }
  if (count == 0) {
    return 0;
  }
  if (destination == nullptr) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabAbstractFile::Read"),
              "Cannot read %u bytes from the in-memory cabinet file '%s' into a null buffer.", count, m_name);
  }
  return DoRead(destination, count);
}

unsigned int CabAbstractFile::Write(const void* source, unsigned int count) {
  if (!m_isOpen || !m_isWritable) {
    ThrowNotAllowed("write to");
  }
  if (count == 0) {
    return 0;
  }
  if (source == nullptr) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabAbstractFile::Write"),
              "Cannot write %u bytes from a null buffer to the in-memory cabinet file '%s'.", count, m_name);
  }
  return DoWrite(source, count);
}

long CabAbstractFile::Seek(long distance, SeekOrigin origin) {
  if (!m_isOpen) {
    ThrowNotAllowed("seek in");
  }
  if (origin != CSO_BEGIN && origin != CSO_CURRENT && origin != CSO_END) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabAbstractFile::Seek"),
              "Cannot seek in the in-memory cabinet file '%s': unknown origin %d.", m_name, static_cast<int>(origin));
  }
  return DoSeek(distance, origin);
}

void CabAbstractFile::Close() {
  if (!m_isOpen) {
    ThrowNotAllowed("close");
  }
  // A file counts as closed even when closing fails: it is never retried.
  m_isOpen = false;
  DoClose();
}

void CabAbstractFile::DoCommonDestroy(OpenFileTable& openFiles) {
  bool anyFailed = false;
  for (auto& entry : openFiles) {
    CabAbstractFile* file = entry.second.get();
    if (file == nullptr || !file->IsOpen()) {
      continue;
    }
    try {
      file->Close();
    } catch (const std::exception& exception) {
      anyFailed = true;
      CPException::reportAndProcessCaughtException(exception, HDU_DEBUG_CONTEXT("CabAbstractFile::DoCommonDestroy"),
                                                   "Closing the in-memory cabinet file '" + file->GetName() + "'.");
    }
  }
  openFiles.clear();
  if (anyFailed) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabAbstractFile::DoCommonDestroy"),
              "Exception thrown while trying to close all the open file handles.");
  }
}
