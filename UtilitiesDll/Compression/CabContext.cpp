#include "Compression/CabContext.h"

#include "Compression/CabBufferAsFile.h"
#include "DebuggingAndExceptions/CPException.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

namespace {

struct ErrorEntry {
  const char* name;
  const char* text;
};

// FCIERROR, in the order of its values (FCIERR_NONE = 0, ...).
constexpr ErrorEntry kFciErrors[] = {
    {"FCIERR_NONE", "No error"},
    {"FCIERR_OPEN_SRC", "Failure opening file to be stored in cabinet"},
    {"FCIERR_READ_SRC", "Failure reading file to be stored in cabinet"},
    {"FCIERR_ALLOC_FAIL", "Out of memory in FCI"},
    {"FCIERR_TEMP_FILE", "Could not create a temporary file"},
    {"FCIERR_BAD_COMPR_TYPE", "Unknown compression type"},
    {"FCIERR_CAB_FILE", "Could not create cabinet file"},
    {"FCIERR_USER_ABORT", "Client requested abort"},
    {"FCIERR_MCI_FAIL", "Failure compressing data"},
    {"FCIERR_CAB_FORMAT_LIMIT", "Data-size or file-count exceeded CAB format limits"},
};

// FDIERROR, in the order of its values (FDIERROR_NONE = 0, ...).
constexpr ErrorEntry kFdiErrors[] = {
    {"FDIERROR_NONE", "No error"},
    {"FDIERROR_CABINET_NOT_FOUND", "Cabinet not found"},
    {"FDIERROR_NOT_A_CABINET", "Cabinet file does not have the correct format"},
    {"FDIERROR_UNKNOWN_CABINET_VERSION", "Cabinet file has an unknown version number"},
    {"FDIERROR_CORRUPT_CABINET", "Cabinet file is corrupt"},
    {"FDIERROR_ALLOC_FAIL", "Could not allocate enough memory"},
    {"FDIERROR_BAD_COMPR_TYPE", "Unknown compression type in a cabinet folder"},
    {"FDIERROR_MDI_FAIL", "Failure decompressing data from a cabinet file"},
    {"FDIERROR_TARGET_FILE", "Failure writing to target file"},
    {"FDIERROR_RESERVE_MISMATCH", "Cabinets in a set do not have the same RESERVE sizes"},
    {"FDIERROR_WRONG_CABINET", "Cabinet returned on fdintNEXT_CABINET is incorrect"},
    {"FDIERROR_USER_ABORT", "Application aborted"},
    {"FDIERROR_EOF", "Unexpected end of file"},
};

template <std::size_t N>
std::string errorText(const ErrorEntry (&table)[N], int code, const char* prefix, const char* unknownText) {
  if (code >= 0 && static_cast<std::size_t>(code) < N) {
    return InternalHaldenCP::formatToStdString("%s (%s)", table[code].name, table[code].text);
  }
  return InternalHaldenCP::formatToStdString("%s%d (%s)", prefix, code, unknownText);
}

// The failure reported by a file operation: the exception's own message when
// it is one of the library's, otherwise what() (no allocation either way).
const char* describe(const std::exception& exception) noexcept {
  if (CPException::isCPException(exception)) {
    return static_cast<const CPException&>(exception).getExceptionMessage();
  }
  return exception.what();
}

}  // namespace

CabContext::CabContext() = default;

CabContext::~CabContext() {
  try {
    CloseAllOpenFiles();
  } catch (const std::exception& exception) {
    CPException::reportAndProcessCaughtException(exception, HDU_DEBUG_CONTEXT("CabContext::~CabContext"),
                                                 "Closing the in-memory cabinet files of a context being destroyed.");
  }
}

void CabContext::SetFile(const std::string& name, ByteBuffer contents) {
  if (IsFileOpen(name)) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabContext::SetFile"),
              "Cannot replace the in-memory cabinet file '%s' while it is open.", name);
  }
  auto found = m_files.find(name);
  if (found == m_files.end()) {
    m_files.emplace(name, NamedFile{std::move(contents), CabBufferAsFile::kMaximumFileSize});
  } else {
    found->second.contents = std::move(contents);
  }
}

bool CabContext::HasFile(const std::string& name) const noexcept {
  return m_files.find(name) != m_files.end();
}

const ByteBuffer& CabContext::GetFile(const std::string& name) const {
  auto found = m_files.find(name);
  if (found == m_files.end()) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabContext::GetFile"),
              "There is no in-memory cabinet file named '%s'.", name);
  }
  return found->second.contents;
}

void CabContext::SetFileSizeLimit(const std::string& name, std::size_t maximumSize) {
  auto found = m_files.find(name);
  if (found == m_files.end()) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabContext::SetFileSizeLimit"),
              "There is no in-memory cabinet file named '%s'.", name);
  }
  found->second.maximumSize = maximumSize;
}

void CabContext::RememberFailure(const char* operation, std::string_view part1, std::string_view part2,
                                 std::string_view part3) noexcept {
  try {
    m_lastFileError.assign(operation).append(": ").append(part1).append(part2).append(part3);
  } catch (...) {
    m_lastFileError.clear();  // out of memory: the error code alone must do
  }
}

bool CabContext::IsFileOpen(const std::string& name) const noexcept {
  for (const auto& entry : m_openFiles) {
    if (entry.second != nullptr && entry.second->GetName() == name) {
      return true;
    }
  }
  return false;
}

CabAbstractFile* CabContext::FindOpenFile(std::intptr_t handle, int& error) noexcept {
  auto found = m_openFiles.find(handle);
  if (found == m_openFiles.end() || found->second == nullptr) {
    error = EBADF;
    RememberFailure("file handle", "unknown handle");
    return nullptr;
  }
  return found->second.get();
}

std::intptr_t CabContext::FileOpen(const std::string& name, unsigned int flags, int& error) noexcept {
  try {
    const bool readable = (flags & CCOF_READ) != 0;
    const bool writable = (flags & CCOF_WRITE) != 0;
    if (!readable && !writable) {
      error = EINVAL;
      RememberFailure("open", "'", name, "' asked for neither reading nor writing");
      return -1;
    }
    auto found = m_files.find(name);
    if (found == m_files.end()) {
      if ((flags & CCOF_CREATE) == 0) {
        error = ENOENT;
        RememberFailure("open", "there is no in-memory file named '", name, "'");
        return -1;
      }
      found = m_files.emplace(name, NamedFile{ByteBuffer(), CabBufferAsFile::kMaximumFileSize}).first;
    } else if ((flags & CCOF_CREATE) != 0 && (flags & CCOF_EXCLUSIVE) != 0) {
      error = EEXIST;
      RememberFailure("open", "'", name, "' exists already");
      return -1;
    } else if ((flags & CCOF_TRUNCATE) != 0 && writable) {
      found->second.contents.clear();
    }
    auto file = std::make_unique<CabBufferAsFile>(found->second.contents, name, readable, writable,
                                                  found->second.maximumSize, (flags & CCOF_APPEND) != 0);
    return AdoptOpenFile(std::move(file));
  } catch (const std::exception& exception) {
    error = ENOMEM;
    RememberFailure("open", describe(exception));
    return -1;
  }
}

unsigned int CabContext::FileRead(std::intptr_t handle, void* destination, unsigned int count, int& error) noexcept {
  CabAbstractFile* file = FindOpenFile(handle, error);
  if (file == nullptr) {
    return static_cast<unsigned int>(-1);
  }
  if (!file->IsReadable()) {
    error = EBADF;
    RememberFailure("read", "'", file->GetName(), "' is open for writing only");
    return static_cast<unsigned int>(-1);
  }
  try {
    return file->Read(destination, count);
  } catch (const std::exception& exception) {
    error = EBADF;
    RememberFailure("read", describe(exception));
    return static_cast<unsigned int>(-1);
  }
}

unsigned int CabContext::FileWrite(std::intptr_t handle, const void* source, unsigned int count, int& error) noexcept {
  CabAbstractFile* file = FindOpenFile(handle, error);
  if (file == nullptr) {
    return static_cast<unsigned int>(-1);
  }
  if (!file->IsWritable()) {
    error = EBADF;  // as the C run-time answers a write on a read-only descriptor
    RememberFailure("write", "'", file->GetName(), "' is open for reading only");
    return static_cast<unsigned int>(-1);
  }
  try {
    return file->Write(source, count);
  } catch (const std::bad_alloc& exception) {
    error = ENOMEM;
    RememberFailure("write", describe(exception));
  } catch (const std::exception& exception) {
    error = ENOSPC;
    RememberFailure("write", describe(exception));
  }
  return static_cast<unsigned int>(-1);
}

long CabContext::FileSeek(std::intptr_t handle, long distance, int origin, int& error) noexcept {
  CabAbstractFile* file = FindOpenFile(handle, error);
  if (file == nullptr) {
    return -1;
  }
  try {
    return file->Seek(distance, static_cast<CabAbstractFile::SeekOrigin>(origin));
  } catch (const std::exception& exception) {
    error = EINVAL;
    RememberFailure("seek", describe(exception));
    return -1;
  }
}

int CabContext::FileClose(std::intptr_t handle, int& error) noexcept {
  auto found = m_openFiles.find(handle);
  if (found == m_openFiles.end() || found->second == nullptr) {
    error = EBADF;
    RememberFailure("close", "unknown handle");
    return -1;
  }
  int result = 0;
  try {
    found->second->Close();
  } catch (const std::exception& exception) {
    error = EBADF;
    RememberFailure("close", describe(exception));
    result = -1;
  }
  m_openFiles.erase(found);
  return result;
}

int CabContext::FileDelete(const std::string& name, int& error) noexcept {
  auto found = m_files.find(name);
  if (found == m_files.end()) {
    error = ENOENT;
    RememberFailure("delete", "there is no in-memory file named '", name, "'");
    return -1;
  }
  if (IsFileOpen(name)) {
    error = EACCES;
    RememberFailure("delete", "'", name, "' is open");
    return -1;
  }
  m_files.erase(found);
  return 0;
}

bool CabContext::GetTemporaryFileName(char* buffer, int bufferSize) noexcept {
  if (buffer == nullptr || bufferSize <= 0) {
    return false;
  }
  char name[64];
  try {
    do {
      std::snprintf(name, sizeof(name), "hdu-temp-%u.tmp", m_nextTemporaryFile++);
    } while (HasFile(name));
  } catch (...) {
    return false;
  }
  const std::size_t length = std::strlen(name);
  if (length + 1 > static_cast<std::size_t>(bufferSize)) {
    return false;
  }
  std::memcpy(buffer, name, length + 1);
  return true;
}

std::intptr_t CabContext::AdoptOpenFile(std::unique_ptr<CabAbstractFile> file) {
  if (file == nullptr) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabContext::AdoptOpenFile"),
              "A null file cannot be given a handle.");
  }
  const std::intptr_t handle = m_nextHandle++;
  m_openFiles.emplace(handle, std::move(file));
  return handle;
}

void CabContext::CloseAllOpenFiles() {
  CabAbstractFile::DoCommonDestroy(m_openFiles);
}

std::string CabContext::GetFciErrorText(int fciError) {
  return errorText(kFciErrors, fciError, "FCIERR_", "Unknown FCI error");
}

std::string CabContext::GetFdiErrorText(int fdiError) {
  return errorText(kFdiErrors, fdiError, "FDIERROR_", "Unknown FDI error");
}
