// The file logger's platform services over POSIX: plain file calls, an
// exclusive flock on a lock file, and OpenSSL's libcrypto for AES-256-GCM.
#include "LowLevelFacilities/LoggerPlatform.h"

#include "DebuggingAndExceptions/CPException.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace LoggerPlatform {
namespace {

using PlatformFacilities::LastErrorPreserver;

std::string toFileName(const CXString& path) {
  return path.toUtf8();
}

bool writeAll(int descriptor, const char* data, std::size_t count) {
  while (count > 0) {
    const ssize_t written = ::write(descriptor, data, count);
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    data += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

class Descriptor {
 public:
  explicit Descriptor(int value) noexcept : m_value(value) {}
  ~Descriptor() {
    if (m_value >= 0) {
      ::close(m_value);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const noexcept { return m_value; }

 private:
  int m_value;
};

}  // namespace

char16_t pathSeparator() noexcept {
  return u'/';
}

CXString defaultLogFolderRoot() {
  const char* state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && state[0] == '/') {
    return CXString::fromUtf8Lenient(state);
  }
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') {
    return CXString::fromUtf8Lenient(std::string(home) + "/.local/state");
  }
  return CXString(u"/tmp");
}

bool createOneFolder(const CXString& path) noexcept {
  LastErrorPreserver preserve;
  try {
    const std::string name = toFileName(path);
    if (::mkdir(name.c_str(), 0777) == 0) {
      return true;
    }
    struct stat info {};
    return errno == EEXIST && ::stat(name.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
  } catch (...) {
    return false;
  }
}

bool fileSize(const CXString& path, std::uint64_t& size) noexcept {
  LastErrorPreserver preserve;
  try {
    struct stat info {};
    if (::stat(toFileName(path).c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
      return false;
    }
    size = static_cast<std::uint64_t>(info.st_size);
    return true;
  } catch (...) {
    return false;
  }
}

bool appendToFile(const CXString& path, const std::string& header, const std::string& bytes) noexcept {
  LastErrorPreserver preserve;
  try {
    const Descriptor file(::open(toFileName(path).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    if (file.get() < 0) {
      return false;
    }
    struct stat info {};
    if (::fstat(file.get(), &info) != 0) {
      return false;
    }
    if (info.st_size == 0) {
      // The header and the first line in one write, so that no reader ever
      // sees a line without the byte-order mark before it.
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
  try {
    return ::rename(toFileName(from).c_str(), toFileName(to).c_str()) == 0;
  } catch (...) {
    return false;
  }
}

bool copyReplacing(const CXString& from, const CXString& to) noexcept {
  LastErrorPreserver preserve;
  try {
    const Descriptor source(::open(toFileName(from).c_str(), O_RDONLY | O_CLOEXEC));
    if (source.get() < 0) {
      return false;
    }
    const Descriptor target(::open(toFileName(to).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (target.get() < 0) {
      return false;
    }
    char buffer[65536];
    for (;;) {
      const ssize_t got = ::read(source.get(), buffer, sizeof(buffer));
      if (got == 0) {
        return true;
      }
      if (got < 0) {
        if (errno == EINTR) {
          continue;
        }
        return false;
      }
      if (!writeAll(target.get(), buffer, static_cast<std::size_t>(got))) {
        return false;
      }
    }
  } catch (...) {
    return false;
  }
}

bool truncateFile(const CXString& path) noexcept {
  LastErrorPreserver preserve;
  try {
    return ::truncate(toFileName(path).c_str(), 0) == 0;
  } catch (...) {
    return false;
  }
}

bool deleteFile(const CXString& path) noexcept {
  LastErrorPreserver preserve;
  try {
    return ::unlink(toFileName(path).c_str()) == 0 || errno == ENOENT;
  } catch (...) {
    return false;
  }
}

bool setFileAccess(const CXString& path, FileAccess access) noexcept {
  LastErrorPreserver preserve;
  try {
    const mode_t mode = access == FileAccess::AdminsAndLocalService ? 0600 : 0666;
    return ::chmod(toFileName(path).c_str(), mode) == 0;
  } catch (...) {
    return false;
  }
}

CXString crossProcessLockName(const CXString& logFilePath) {
  CXString name = logFilePath;
  name += u".lock";
  return name;
}

std::vector<unsigned char> crossProcessLockSecurityDescriptor() {
  return {};
}

// ---- CrossProcessLock: flock on a lock file ------------------------------------------

CrossProcessLock::~CrossProcessLock() {
  close();
}

bool CrossProcessLock::open(const CXString& name, const std::vector<unsigned char>& /*securityDescriptor*/) noexcept {
  LastErrorPreserver preserve;
  close();
  try {
    // The lock file is shared by every user's processes: 0666 less the umask.
    const int descriptor = ::open(toFileName(name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor < 0) {
      return false;
    }
    m_handle = descriptor;
    return true;
  } catch (...) {
    return false;
  }
}

void CrossProcessLock::close() noexcept {
  if (m_handle != kClosed) {
    LastErrorPreserver preserve;
    unlock();
    ::close(static_cast<int>(m_handle));
    m_handle = kClosed;
  }
}

void CrossProcessLock::lock() noexcept {
  if (m_handle == kClosed || m_locked) {
    return;
  }
  LastErrorPreserver preserve;
  // flock locks belong to the open file description, so two descriptors (two
  // loggers, two processes) exclude each other, while the threads of one
  // logger are already serialised by the logger's mutex.
  int result = 0;
  do {
    result = ::flock(static_cast<int>(m_handle), LOCK_EX);
  } while (result != 0 && errno == EINTR);
  m_locked = result == 0;
}

void CrossProcessLock::unlock() noexcept {
  if (m_handle == kClosed || !m_locked) {
    return;
  }
  LastErrorPreserver preserve;
  ::flock(static_cast<int>(m_handle), LOCK_UN);
  m_locked = false;
}

// ---- AES-256-GCM through libcrypto ---------------------------------------------------

namespace {

struct CipherContextDeleter {
  void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, CipherContextDeleter>;

[[noreturn]] void throwCipherFailure(const char* step) {
  HDU_THROW(CPExceptionDataEncrypterFailure, HDU_DEBUG_CONTEXT("LoggerPlatform::aesGcm"),
            "The AES-256-GCM cipher failed (%s).", step);
}

int toLength(std::size_t count) {
  if (count > static_cast<std::size_t>(INT_MAX)) {
    HDU_THROW(CPExceptionDataEncrypterFailure, HDU_DEBUG_CONTEXT("LoggerPlatform::aesGcm"),
              "The text of %llu bytes is too long for the cipher.", static_cast<unsigned long long>(count));
  }
  return static_cast<int>(count);
}

CipherContext startCipher(bool encrypt, const unsigned char* key, const unsigned char* nonce,
                          const std::vector<unsigned char>& associatedData) {
  CipherContext context(EVP_CIPHER_CTX_new());
  if (!context) {
    throwCipherFailure("EVP_CIPHER_CTX_new");
  }
  const int initialised = encrypt ? EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr)
                                  : EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr);
  if (initialised != 1 ||
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_IVLEN, static_cast<int>(kGcmNonceBytes), nullptr) != 1) {
    throwCipherFailure("init");
  }
  const int keyed = encrypt ? EVP_EncryptInit_ex(context.get(), nullptr, nullptr, key, nonce)
                            : EVP_DecryptInit_ex(context.get(), nullptr, nullptr, key, nonce);
  if (keyed != 1) {
    throwCipherFailure("key");
  }
  if (!associatedData.empty()) {
    int ignored = 0;
    const int added = encrypt ? EVP_EncryptUpdate(context.get(), nullptr, &ignored, associatedData.data(),
                                                  toLength(associatedData.size()))
                              : EVP_DecryptUpdate(context.get(), nullptr, &ignored, associatedData.data(),
                                                  toLength(associatedData.size()));
    if (added != 1) {
      throwCipherFailure("associated data");
    }
  }
  return context;
}

}  // namespace

void fillRandom(unsigned char* bytes, std::size_t count) {
  if (RAND_bytes(bytes, toLength(count)) != 1) {
    HDU_THROW(CPExceptionDataEncrypterFailure, HDU_DEBUG_CONTEXT("LoggerPlatform::fillRandom"),
              "The system's random generator failed.");
  }
}

std::vector<unsigned char> aesGcmEncrypt(const unsigned char* key, const unsigned char* nonce,
                                         const std::vector<unsigned char>& associatedData,
                                         const unsigned char* plaintext, std::size_t plaintextBytes) {
  const int length = toLength(plaintextBytes);
  CipherContext context = startCipher(true, key, nonce, associatedData);
  std::vector<unsigned char> sealed(plaintextBytes + kGcmTagBytes);
  int written = 0;
  if (length > 0 && EVP_EncryptUpdate(context.get(), sealed.data(), &written, plaintext, length) != 1) {
    throwCipherFailure("encrypt");
  }
  int finalBytes = 0;
  if (EVP_EncryptFinal_ex(context.get(), sealed.data() + written, &finalBytes) != 1 ||
      static_cast<std::size_t>(written) + static_cast<std::size_t>(finalBytes) != plaintextBytes) {
    throwCipherFailure("final");
  }
  if (EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kGcmTagBytes),
                          sealed.data() + plaintextBytes) != 1) {
    throwCipherFailure("tag");
  }
  return sealed;
}

bool aesGcmDecrypt(const unsigned char* key, const unsigned char* nonce,
                   const std::vector<unsigned char>& associatedData, const unsigned char* ciphertext,
                   std::size_t ciphertextBytes, const unsigned char* tag, std::vector<unsigned char>& plaintext) {
  const int length = toLength(ciphertextBytes);
  CipherContext context = startCipher(false, key, nonce, associatedData);
  std::vector<unsigned char> opened(ciphertextBytes + 16);
  int written = 0;
  if (length > 0 && EVP_DecryptUpdate(context.get(), opened.data(), &written, ciphertext, length) != 1) {
    throwCipherFailure("decrypt");
  }
  // The tag is an input here; libcrypto's interface takes it as non-const.
  unsigned char expectedTag[kGcmTagBytes];
  std::copy(tag, tag + kGcmTagBytes, expectedTag);
  if (EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kGcmTagBytes), expectedTag) != 1) {
    throwCipherFailure("tag");
  }
  int finalBytes = 0;
  if (EVP_DecryptFinal_ex(context.get(), opened.data() + written, &finalBytes) != 1) {
    return false;
  }
  opened.resize(static_cast<std::size_t>(written) + static_cast<std::size_t>(finalBytes));
  plaintext = std::move(opened);
  return true;
}

}  // namespace LoggerPlatform
