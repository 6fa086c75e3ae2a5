// The file logger's platform services over Win32: file calls, a named mutex
// with its own security descriptor, file DACLs through the security APIs, and
// BCrypt for AES-256-GCM.
#include "LowLevelFacilities/LoggerPlatform.h"

#include "DebuggingAndExceptions/CPException.h"

#include <windows.h>

#include <aclapi.h>
#include <bcrypt.h>
#include <sddl.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace LoggerPlatform {
namespace {

using PlatformFacilities::LastErrorPreserver;

const wchar_t* wide(const CXString& text) {
  return text.wc_str();
}

// A security descriptor made from SDDL text, freed with LocalFree.
class SddlSecurityDescriptor {
 public:
  explicit SddlSecurityDescriptor(const wchar_t* sddl) noexcept {
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &m_descriptor, &m_size)) {
      m_descriptor = nullptr;
      m_size = 0;
    }
  }
  ~SddlSecurityDescriptor() {
    if (m_descriptor != nullptr) {
      ::LocalFree(m_descriptor);
    }
  }
  SddlSecurityDescriptor(const SddlSecurityDescriptor&) = delete;
  SddlSecurityDescriptor& operator=(const SddlSecurityDescriptor&) = delete;
  PSECURITY_DESCRIPTOR get() const noexcept { return m_descriptor; }
  ULONG size() const noexcept { return m_size; }

 private:
  PSECURITY_DESCRIPTOR m_descriptor = nullptr;
  ULONG m_size = 0;
};

class FileHandle {
 public:
  explicit FileHandle(HANDLE handle) noexcept : m_handle(handle) {}
  ~FileHandle() {
    if (m_handle != INVALID_HANDLE_VALUE) {
      ::CloseHandle(m_handle);
    }
  }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  HANDLE get() const noexcept { return m_handle; }
  bool valid() const noexcept { return m_handle != INVALID_HANDLE_VALUE; }

 private:
  HANDLE m_handle;
};

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool writeAll(HANDLE file, const char* data, std::size_t count) {
  while (count > 0) {
    const DWORD chunk = count > 0x40000000u ? 0x40000000u : static_cast<DWORD>(count);
    DWORD written = 0;
    if (!::WriteFile(file, data, chunk, &written, nullptr) || written == 0) {
      return false;
    }
    data += written;
    count -= written;
  }
  return true;
}

// 64-bit FNV-1a over the UTF-16 code units.
std::uint64_t fnv1a64(const std::u16string& text) {
  std::uint64_t hash = 0xcbf29ce484222325ull;
  for (const char16_t unit : text) {
    hash ^= static_cast<std::uint64_t>(unit & 0xFF);
    hash *= 0x100000001b3ull;
    hash ^= static_cast<std::uint64_t>(unit >> 8);
    hash *= 0x100000001b3ull;
  }
  return hash;
}

}  // namespace

char16_t pathSeparator() noexcept {
  return u'\\';
}

CXString defaultLogFolderRoot() {
  LastErrorPreserver preserve;
  wchar_t buffer[MAX_PATH] = {};
  if (SUCCEEDED(::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, buffer)) &&
      buffer[0] != L'\0') {
    return CXString(buffer);
  }
  const DWORD length = ::GetEnvironmentVariableW(L"ProgramData", buffer, MAX_PATH);
  if (length > 0 && length < MAX_PATH) {
    return CXString(buffer);
  }
  return CXString(u"C:\\ProgramData");
}

bool createOneFolder(const CXString& path) noexcept {
  LastErrorPreserver preserve;
  if (::CreateDirectoryW(wide(path), nullptr)) {
    return true;
  }
  const DWORD attributes = ::GetFileAttributesW(wide(path));
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool fileSize(const CXString& path, std::uint64_t& size) noexcept {
  LastErrorPreserver preserve;
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!::GetFileAttributesExW(wide(path), GetFileExInfoStandard, &data) ||
      (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return false;
  }
  size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  return true;
}

bool appendToFile(const CXString& path, const std::string& header, const std::string& bytes) noexcept {
  LastErrorPreserver preserve;
  try {
    // Append-only access: every write goes to the end of the file, whatever
    // other handles do meanwhile.
    const FileHandle file(::CreateFileW(wide(path), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES, kShareAll, nullptr,
                                        OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.valid()) {
      return false;
    }
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(file.get(), &size)) {
      return false;
    }
    if (size.QuadPart == 0) {
      const std::string first = header + bytes;
      return writeAll(file.get(), first.data(), first.size());
    }
    return writeAll(file.get(), bytes.data(), bytes.size());
  } catch (...) {
    return false;
  }
}

bool renameReplacing(const CXString& from, const CXString& to) noexcept {
  LastErrorPreserver preserve;
  return ::MoveFileExW(wide(from), wide(to), MOVEFILE_REPLACE_EXISTING) != 0;
}

bool copyReplacing(const CXString& from, const CXString& to) noexcept {
  LastErrorPreserver preserve;
  return ::CopyFileW(wide(from), wide(to), FALSE) != 0;
}

bool truncateFile(const CXString& path) noexcept {
  LastErrorPreserver preserve;
  const FileHandle file(
      ::CreateFileW(wide(path), GENERIC_WRITE, kShareAll, nullptr, TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return file.valid();
}

bool deleteFile(const CXString& path) noexcept {
  LastErrorPreserver preserve;
  if (::DeleteFileW(wide(path))) {
    return true;
  }
  const DWORD error = ::GetLastError();
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool setFileAccess(const CXString& path, FileAccess access) noexcept {
  LastErrorPreserver preserve;
  try {
    // A protected DACL (P): nothing is inherited from the folder. FA is full
    // control; FR, FW and SD are generic read, generic write and delete.
    const wchar_t* sddl = access == FileAccess::AdminsAndLocalService
                              ? L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;LS)"
                              : L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;LS)(A;;FRFWSD;;;AU)";
    const SddlSecurityDescriptor descriptor(sddl);
    if (descriptor.get() == nullptr) {
      return false;
    }
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL dacl = nullptr;
    if (!::GetSecurityDescriptorDacl(descriptor.get(), &present, &dacl, &defaulted) || !present) {
      return false;
    }
    std::wstring name(wide(path));
    return ::SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT,
                                   DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                   dacl, nullptr) == ERROR_SUCCESS;
  } catch (...) {
    return false;
  }
}

CXString crossProcessLockName(const CXString& logFilePath) {
  CXString upper = logFilePath;
  upper.toUpper();
  char hex[17];
  std::snprintf(hex, sizeof(hex), "%016llx", static_cast<unsigned long long>(fnv1a64(upper.u16string())));
  CXString name(u"Global\\HaldenLoggerMutex-");
  for (const char* digit = hex; *digit != '\0'; ++digit) {
    name += static_cast<char16_t>(*digit);
  }
  return name;
}

std::vector<unsigned char> crossProcessLockSecurityDescriptor() {
  LastErrorPreserver preserve;
  // GA: full access for SYSTEM, Administrators and LocalService. 0x00100001
  // (SYNCHRONIZE | MUTEX_MODIFY_STATE): wait and release for Authenticated
  // Users and for ALL APPLICATION PACKAGES (S-1-15-2-1, app-container
  // processes such as the print dialogs of store applications). The low
  // integrity label (ML;;NW;;;LW) lets low-integrity processes open it too.
  // Systems whose SDDL parser lacks labels get the DACL alone.
  static const wchar_t* const kCandidates[] = {
      L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;LS)(A;;0x00100001;;;AU)(A;;0x00100001;;;S-1-15-2-1)S:(ML;;NW;;;LW)",
      L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;LS)(A;;0x00100001;;;AU)(A;;0x00100001;;;S-1-15-2-1)",
  };
  for (const wchar_t* sddl : kCandidates) {
    const SddlSecurityDescriptor descriptor(sddl);
    if (descriptor.get() != nullptr) {
      const auto* bytes = static_cast<const unsigned char*>(descriptor.get());
      return std::vector<unsigned char>(bytes, bytes + descriptor.size());
    }
  }
  return {};
}

// ---- CrossProcessLock: a named mutex ----------------------------------------------------

CrossProcessLock::~CrossProcessLock() {
  close();
}

bool CrossProcessLock::open(const CXString& name, const std::vector<unsigned char>& securityDescriptor) noexcept {
  LastErrorPreserver preserve;
  close();
  SECURITY_ATTRIBUTES attributes{};
  attributes.nLength = sizeof(attributes);
  attributes.bInheritHandle = FALSE;
  attributes.lpSecurityDescriptor =
      securityDescriptor.empty() ? nullptr : const_cast<unsigned char*>(securityDescriptor.data());
  HANDLE mutex = ::CreateMutexW(&attributes, FALSE, wide(name));
  if (mutex == nullptr) {
    // It exists and its descriptor grants this account only wait and release.
    mutex = ::OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, wide(name));
  }
  if (mutex == nullptr) {
    return false;
  }
  m_handle = reinterpret_cast<std::intptr_t>(mutex);
  return true;
}

void CrossProcessLock::close() noexcept {
  if (m_handle != kClosed) {
    LastErrorPreserver preserve;
    unlock();
    ::CloseHandle(reinterpret_cast<HANDLE>(m_handle));
    m_handle = kClosed;
  }
}

void CrossProcessLock::lock() noexcept {
  if (m_handle == kClosed || m_locked) {
    return;
  }
  LastErrorPreserver preserve;
  // WAIT_ABANDONED: a writer died holding the mutex; this thread owns it now,
  // and at worst its last line is incomplete.
  const DWORD result = ::WaitForSingleObject(reinterpret_cast<HANDLE>(m_handle), INFINITE);
  m_locked = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

void CrossProcessLock::unlock() noexcept {
  if (m_handle == kClosed || !m_locked) {
    return;
  }
  LastErrorPreserver preserve;
  ::ReleaseMutex(reinterpret_cast<HANDLE>(m_handle));
  m_locked = false;
}

// ---- AES-256-GCM through BCrypt ----------------------------------------------------------

namespace {

constexpr NTSTATUS kStatusAuthTagMismatch = static_cast<NTSTATUS>(0xC000A002L);

bool succeeded(NTSTATUS status) {
  return status >= 0;
}

[[noreturn]] void throwCipherFailure(const char* step, NTSTATUS status) {
  HDU_THROW(CPExceptionDataEncrypterFailure, HDU_DEBUG_CONTEXT("LoggerPlatform::aesGcm"),
            "The AES-256-GCM cipher failed (%s, NTSTATUS 0x%08lx).", step,
            static_cast<unsigned long>(static_cast<ULONG>(status)));
}

ULONG toLength(std::size_t count) {
  if (count > 0x7FFFFFFFu) {
    HDU_THROW(CPExceptionDataEncrypterFailure, HDU_DEBUG_CONTEXT("LoggerPlatform::aesGcm"),
              "The text of %llu bytes is too long for the cipher.", static_cast<unsigned long long>(count));
  }
  return static_cast<ULONG>(count);
}

// An AES key in GCM mode, with its algorithm provider.
class GcmKey {
 public:
  explicit GcmKey(const unsigned char* key) {
    NTSTATUS status = ::BCryptOpenAlgorithmProvider(&m_algorithm, BCRYPT_AES_ALGORITHM, nullptr, 0);
    if (!succeeded(status)) {
      m_algorithm = nullptr;
      throwCipherFailure("BCryptOpenAlgorithmProvider", status);
    }
    status = ::BCryptSetProperty(m_algorithm, BCRYPT_CHAINING_MODE,
                                 reinterpret_cast<PUCHAR>(const_cast<wchar_t*>(BCRYPT_CHAIN_MODE_GCM)),
                                 sizeof(BCRYPT_CHAIN_MODE_GCM), 0);
    if (!succeeded(status)) {
      throwCipherFailure("BCryptSetProperty", status);
    }
    status = ::BCryptGenerateSymmetricKey(m_algorithm, &m_key, nullptr, 0, const_cast<PUCHAR>(key),
                                          static_cast<ULONG>(kAesKeyBytes), 0);
    if (!succeeded(status)) {
      m_key = nullptr;
      throwCipherFailure("BCryptGenerateSymmetricKey", status);
    }
  }
  ~GcmKey() {
    if (m_key != nullptr) {
      ::BCryptDestroyKey(m_key);
    }
    if (m_algorithm != nullptr) {
      ::BCryptCloseAlgorithmProvider(m_algorithm, 0);
    }
  }
  GcmKey(const GcmKey&) = delete;
  GcmKey& operator=(const GcmKey&) = delete;
  BCRYPT_KEY_HANDLE get() const noexcept { return m_key; }

 private:
  BCRYPT_ALG_HANDLE m_algorithm = nullptr;
  BCRYPT_KEY_HANDLE m_key = nullptr;
};

BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO authenticationInfo(const unsigned char* nonce,
                                                         const std::vector<unsigned char>& associatedData,
                                                         unsigned char* tag) {
  BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO info;
  BCRYPT_INIT_AUTH_MODE_INFO(info);
  info.pbNonce = const_cast<PUCHAR>(nonce);
  info.cbNonce = static_cast<ULONG>(kGcmNonceBytes);
  info.pbAuthData = associatedData.empty() ? nullptr : const_cast<PUCHAR>(associatedData.data());
  info.cbAuthData = static_cast<ULONG>(associatedData.size());
  info.pbTag = tag;
  info.cbTag = static_cast<ULONG>(kGcmTagBytes);
  return info;
}

}  // namespace

void fillRandom(unsigned char* bytes, std::size_t count) {
  const NTSTATUS status = ::BCryptGenRandom(nullptr, bytes, toLength(count), BCRYPT_USE_SYSTEM_PREFERRED_RNG);
  if (!succeeded(status)) {
    HDU_THROW(CPExceptionDataEncrypterFailure, HDU_DEBUG_CONTEXT("LoggerPlatform::fillRandom"),
              "The system's random generator failed (NTSTATUS 0x%08lx).",
              static_cast<unsigned long>(static_cast<ULONG>(status)));
  }
}

std::vector<unsigned char> aesGcmEncrypt(const unsigned char* key, const unsigned char* nonce,
                                         const std::vector<unsigned char>& associatedData,
                                         const unsigned char* plaintext, std::size_t plaintextBytes) {
  const ULONG length = toLength(plaintextBytes);
  const GcmKey gcmKey(key);
  std::vector<unsigned char> sealed(plaintextBytes + kGcmTagBytes);
  BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO info =
      authenticationInfo(nonce, associatedData, sealed.data() + plaintextBytes);
  ULONG written = 0;
  const NTSTATUS status =
      ::BCryptEncrypt(gcmKey.get(), length == 0 ? nullptr : const_cast<PUCHAR>(plaintext), length, &info, nullptr, 0,
                      length == 0 ? nullptr : sealed.data(), length, &written, 0);
  if (!succeeded(status) || written != length) {
    throwCipherFailure("BCryptEncrypt", status);
  }
  return sealed;
}

bool aesGcmDecrypt(const unsigned char* key, const unsigned char* nonce,
                   const std::vector<unsigned char>& associatedData, const unsigned char* ciphertext,
                   std::size_t ciphertextBytes, const unsigned char* tag, std::vector<unsigned char>& plaintext) {
  const ULONG length = toLength(ciphertextBytes);
  const GcmKey gcmKey(key);
  unsigned char expectedTag[kGcmTagBytes];
  std::copy(tag, tag + kGcmTagBytes, expectedTag);
  BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO info = authenticationInfo(nonce, associatedData, expectedTag);
  std::vector<unsigned char> opened(ciphertextBytes);
  ULONG written = 0;
  const NTSTATUS status =
      ::BCryptDecrypt(gcmKey.get(), length == 0 ? nullptr : const_cast<PUCHAR>(ciphertext), length, &info, nullptr, 0,
                      length == 0 ? nullptr : opened.data(), length, &written, 0);
  if (status == kStatusAuthTagMismatch) {
    return false;
  }
  if (!succeeded(status) || written != length) {
    throwCipherFailure("BCryptDecrypt", status);
  }
  plaintext = std::move(opened);
  return true;
}

}  // namespace LoggerPlatform
