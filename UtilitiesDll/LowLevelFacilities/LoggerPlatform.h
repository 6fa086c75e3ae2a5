#pragma once
// LoggerPlatform: the operating-system services of the file logger (Logger.h)
// behind one small interface. Win/WindowsLoggerPlatform.cpp implements it over
// Win32 (named mutex, file security, BCrypt AES-GCM),
// Posix/PosixLoggerPlatform.cpp over POSIX (flock on a lock file, file modes,
// OpenSSL's libcrypto AES-GCM). Internal to the library: not exported.
//
// Paths are UTF-16 (CXString) on both platforms; the POSIX side converts them
// to UTF-8 file names. No call changes the thread's last-error value.

#include "LowLevelFacilities/CXString.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace LoggerPlatform {

// The separator between folders of a path: '\\' on Windows, '/' elsewhere.
char16_t pathSeparator() noexcept;

// The root under which the log folder lies by default, without a trailing
// separator: the common application-data folder on Windows
// (CSIDL_COMMON_APPDATA, usually C:\ProgramData), shared by the spooler's
// service accounts and the users' processes; on POSIX $XDG_STATE_HOME, else
// $HOME/.local/state, else /tmp.
CXString defaultLogFolderRoot();

// Creates one folder; true when it exists afterwards (also when it already
// existed).
bool createOneFolder(const CXString& path) noexcept;

// The size of a file in bytes; false when it does not exist or cannot be read.
bool fileSize(const CXString& path, std::uint64_t& size) noexcept;

// Opens the file for appending (creating it when missing) and writes `bytes`
// in one call, preceded by `header` when the file is empty. The file stays
// open only for the call; other processes may read, write, rename and delete
// it meanwhile. False when it cannot be opened or written completely.
bool appendToFile(const CXString& path, const std::string& header, const std::string& bytes) noexcept;

// Renames `from` to `to`, replacing `to` when it exists.
bool renameReplacing(const CXString& from, const CXString& to) noexcept;
// Copies `from` over `to` (for files that cannot be renamed because another
// program holds them open).
bool copyReplacing(const CXString& from, const CXString& to) noexcept;
// Cuts a file to 0 bytes.
bool truncateFile(const CXString& path) noexcept;
// Deletes a file; true when it is gone afterwards (also when it never existed).
bool deleteFile(const CXString& path) noexcept;

// Who may use a log file.
enum class FileAccess {
  // Windows: a protected DACL giving full control to Administrators, the
  // LocalService account and SYSTEM only. POSIX: mode 0600 (the owner; root
  // reads anything anyway).
  AdminsAndLocalService,
  // Windows: the same plus read, write and delete for Authenticated Users, so
  // that the users' own processes (the printing preferences, applications)
  // may write and trim the file. POSIX: mode 0666.
  AuthenticatedUsers,
};
bool setFileAccess(const CXString& path, FileAccess access) noexcept;

// The name of the object that serialises writers of one log file between
// processes: on Windows a named mutex in the global namespace
// ("Global\HaldenLoggerMutex-" and a 64-bit FNV-1a hash of the upper-cased
// path in hex, as mutex names are limited in length and may not contain '\');
// on POSIX the path of a lock file beside the log file (the log file's path
// with ".lock" added), as the log file itself is renamed when it is trimmed.
CXString crossProcessLockName(const CXString& logFilePath);

// The self-relative security descriptor given to the named mutex on Windows:
// full access for SYSTEM, Administrators and LocalService, wait and release
// (SYNCHRONIZE | MUTEX_MODIFY_STATE) for Authenticated Users and for
// app-container processes (ALL APPLICATION PACKAGES), and a low integrity
// label, so that every process of the driver can share the mutex whichever
// account, session or sandbox it runs in. Empty on POSIX, where the lock file
// is created with mode 0666 (less the process's umask).
std::vector<unsigned char> crossProcessLockSecurityDescriptor();

// One cross-process lock, opened by name. When it cannot be opened (or
// created) it stays closed, and lock/unlock do nothing: the writers of this
// process are still serialised by the logger's own mutex.
class CrossProcessLock {
 public:
  CrossProcessLock() noexcept = default;
  ~CrossProcessLock();
  CrossProcessLock(const CrossProcessLock&) = delete;
  CrossProcessLock& operator=(const CrossProcessLock&) = delete;

  // Closes any lock held so far and opens the one of this name, with the
  // security descriptor where the platform uses one.
  bool open(const CXString& name, const std::vector<unsigned char>& securityDescriptor) noexcept;
  void close() noexcept;
  bool isOpen() const noexcept { return m_handle != kClosed; }
  // Waits for the lock. A lock whose holder died (an abandoned mutex) is
  // taken over. Not recursive on POSIX: never lock twice without unlocking.
  void lock() noexcept;
  void unlock() noexcept;

 private:
  static constexpr std::intptr_t kClosed = -1;
  std::intptr_t m_handle = kClosed;  // HANDLE on Windows, descriptor on POSIX
  bool m_locked = false;
};

// ---- the cipher of obscured lines -------------------------------------------
// AES-256 in Galois/counter mode with a 96-bit nonce and a 128-bit tag, the
// same on both platforms, so that a line written on one decodes on the other.
constexpr std::size_t kAesKeyBytes = 32;
constexpr std::size_t kGcmNonceBytes = 12;
constexpr std::size_t kGcmTagBytes = 16;

// Fills `count` bytes with cryptographically random bytes (BCryptGenRandom;
// OpenSSL's RAND_bytes). Throws CPExceptionDataEncrypterFailure on failure.
void fillRandom(unsigned char* bytes, std::size_t count);

// Encrypts `plaintext`; returns the ciphertext (as long as the plaintext)
// followed by the 16-byte tag. Throws CPExceptionDataEncrypterFailure when the
// platform's cipher fails.
std::vector<unsigned char> aesGcmEncrypt(const unsigned char* key, const unsigned char* nonce,
                                         const std::vector<unsigned char>& associatedData,
                                         const unsigned char* plaintext, std::size_t plaintextBytes);

// Decrypts `ciphertextBytes` bytes and checks `tag`. False when the tag does
// not match (the data is damaged or was not made with this key); throws
// CPExceptionDataEncrypterFailure when the platform's cipher fails.
bool aesGcmDecrypt(const unsigned char* key, const unsigned char* nonce,
                   const std::vector<unsigned char>& associatedData, const unsigned char* ciphertext,
                   std::size_t ciphertextBytes, const unsigned char* tag, std::vector<unsigned char>& plaintext);

}  // namespace LoggerPlatform
