// The file logger on POSIX: its obscured lines checked against libcrypto's
// AES-256-GCM directly (the format is version byte, nonce, ciphertext, tag),
// and what its permission setters do to the file's mode.

#include "LowLevelFacilities/Logger.h"

#include "LowLevelFacilities/PlatformFacilities.h"

#include <gtest/gtest.h>

#include <openssl/evp.h>

#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

class TestLogger : public Logger {
 public:
  TestLogger(const CXString& appName, const CXString& root) : Logger(appName, CXString(), root, true) {}
  using Logger::TrimLogFile;
};

// The key documented beside the cipher in the library.
const unsigned char kKey[32] = {0x48, 0x61, 0x6c, 0x64, 0x65, 0x6e, 0x4c, 0x6f, 0x67, 0x67, 0x65,
                                0x72, 0x1f, 0x8a, 0x3d, 0xc2, 0x5e, 0x71, 0x09, 0xb4, 0xe6, 0x2b,
                                0x93, 0x4c, 0xd8, 0x07, 0x6a, 0xf1, 0x35, 0xae, 0x52, 0x9d};

std::string openWithLibcrypto(const std::vector<unsigned char>& record) {
  const unsigned char* nonce = record.data() + 1;
  const unsigned char* ciphertext = nonce + 12;
  const int length = static_cast<int>(record.size() - 29);
  std::vector<unsigned char> tag(ciphertext + length, ciphertext + length + 16);
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  std::string plain(static_cast<std::size_t>(length) + 16, '\0');
  int written = 0;
  int finalBytes = 0;
  const unsigned char version = record[0];
  const bool ok =
      EVP_DecryptInit_ex(context, EVP_aes_256_gcm(), nullptr, kKey, nonce) == 1 &&
      EVP_DecryptUpdate(context, nullptr, &written, &version, 1) == 1 &&
      EVP_DecryptUpdate(context, reinterpret_cast<unsigned char*>(plain.data()), &written, ciphertext, length) == 1 &&
      EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_SET_TAG, 16, tag.data()) == 1 &&
      EVP_DecryptFinal_ex(context, reinterpret_cast<unsigned char*>(plain.data()) + written, &finalBytes) == 1;
  EVP_CIPHER_CTX_free(context);
  if (!ok) {
    return "<does not authenticate>";
  }
  plain.resize(static_cast<std::size_t>(written) + static_cast<std::size_t>(finalBytes));
  return plain;
}

mode_t modeOf(const fs::path& path) {
  struct stat info {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 0777;
}

}  // namespace

TEST(LoggerPosix, ObscuredLineIsAes256GcmOfTheUtf8Line) {
  const std::string line =
      "[3/7/2024 1:05:09 PM] App(PID1/TID2): Gr\xC3\xBC\xC3\x9F"
      "e";
  std::vector<unsigned char> record;
  ASSERT_TRUE(
      CXString::Base64DecodeBinaryData(Logger::EncryptAndBase64EncodeLogFileLine(CXString::fromUtf8(line)), record));
  ASSERT_EQ(record.size(), 1 + 12 + line.size() + 16);
  EXPECT_EQ(record[0], 1);
  EXPECT_EQ(openWithLibcrypto(record), line);
}

TEST(LoggerPosix, PermissionSettersSetTheModeOfLogAndBackupAndKeepItAfterATrim) {
  const fs::path root = fs::temp_directory_path() / ("hdu-logger-mode-" + std::to_string(::getpid()));
  fs::remove_all(root);
  TestLogger logger(CXString(u"Modes"), CXString(root.u16string()));
  const fs::path logFile = root / "Halden" / "PrinterDriver" / "V6.0" / "Modes.log";
  const fs::path oldFile = root / "Halden" / "PrinterDriver" / "V6.0" / "Modes.hldold";

  // A missing file is created (byte-order mark only) to carry the mode.
  EXPECT_TRUE(logger.SetLogFilePermissionsForAdminsAndLocalService());
  EXPECT_EQ(fs::file_size(logFile), 2u);
  EXPECT_EQ(modeOf(logFile), 0600u);
  EXPECT_TRUE(logger.SetLogFilePermissionsForAuthenticatedUsers());
  EXPECT_EQ(modeOf(logFile), 0666u);

  // After a trim the new file gets the same mode; the backup keeps its own.
  fs::resize_file(logFile, Logger::iLogSizeLimitBytes + 1);
  EXPECT_TRUE(logger.TrimLogFile());
  EXPECT_EQ(modeOf(logFile), 0666u);
  EXPECT_EQ(modeOf(oldFile), 0666u);
  EXPECT_TRUE(logger.SetLogFilePermissionsForAdminsAndLocalService());
  EXPECT_EQ(modeOf(logFile), 0600u);
  EXPECT_EQ(modeOf(oldFile), 0600u);
  fs::remove_all(root);
}
