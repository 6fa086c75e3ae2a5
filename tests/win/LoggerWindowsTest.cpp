// The file logger on Windows: the DACLs its permission setters give the log
// files, and the security of its named mutex, read back through the security
// APIs.

#include "LowLevelFacilities/Logger.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace fs = std::filesystem;

namespace {

class TestLogger : public Logger {
 public:
  TestLogger(const CXString& appName, const CXString& root) : Logger(appName, CXString(), root, true) {}
  using Logger::GetLogFileMutexName;
  using Logger::InitSecurityDescriptorForLogFileMutex;
  using Logger::TrimLogFile;
};

// The allowed ACEs of a DACL, by well-known account, as access masks.
std::map<std::string, DWORD> allowedAces(PACL dacl) {
  const std::pair<WELL_KNOWN_SID_TYPE, const char*> accounts[] = {
      {WinLocalSystemSid, "SYSTEM"},
      {WinBuiltinAdministratorsSid, "Administrators"},
      {WinLocalServiceSid, "LocalService"},
      {WinAuthenticatedUserSid, "AuthenticatedUsers"},
      {WinBuiltinAnyPackageSid, "AllApplicationPackages"},
  };
  std::map<std::string, DWORD> result;
  ACL_SIZE_INFORMATION size{};
  if (dacl == nullptr || !::GetAclInformation(dacl, &size, sizeof(size), AclSizeInformation)) {
    return result;
  }
  for (DWORD index = 0; index < size.AceCount; ++index) {
    void* ace = nullptr;
    if (!::GetAce(dacl, index, &ace) || static_cast<ACE_HEADER*>(ace)->AceType != ACCESS_ALLOWED_ACE_TYPE) {
      result["other ACE"] = 0;
      continue;
    }
    auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(ace);
    PSID sid = &allowed->SidStart;
    std::string name = "unknown account";
    for (const auto& [type, label] : accounts) {
      if (::IsWellKnownSid(sid, type)) {
        name = label;
      }
    }
    result[name] |= allowed->Mask;
  }
  return result;
}

struct FileSecurity {
  std::map<std::string, DWORD> aces;
  bool isProtected = false;
};

FileSecurity fileSecurity(const fs::path& path) {
  FileSecurity security;
  PACL dacl = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  std::wstring name = path.wstring();
  if (::GetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &dacl, nullptr,
                              &descriptor) == ERROR_SUCCESS) {
    security.aces = allowedAces(dacl);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    ::GetSecurityDescriptorControl(descriptor, &control, &revision);
    security.isProtected = (control & SE_DACL_PROTECTED) != 0;
    ::LocalFree(descriptor);
  }
  return security;
}

constexpr DWORD kReadWriteDelete = FILE_GENERIC_READ | FILE_GENERIC_WRITE | DELETE;

}  // namespace

// Whether this system keeps the DACL a program sets on a file (Wine maps it
// to Unix mode bits and reads back a DACL of its own).
bool systemKeepsFileDacls(const fs::path& folder) {
  const fs::path probe = folder / "dacl-probe";
  { std::ofstream(probe) << "probe"; }
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  bool kept = false;
  if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;LS)",
                                                             SDDL_REVISION_1, &descriptor, nullptr)) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL dacl = nullptr;
    std::wstring name = probe.wstring();
    if (::GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) &&
        ::SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT,
                                DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr, nullptr, dacl,
                                nullptr) == ERROR_SUCCESS) {
      kept = fileSecurity(probe).aces.count("LocalService") == 1;
    }
    ::LocalFree(descriptor);
  }
  fs::remove(probe);
  return kept;
}

class LoggerWindowsFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    m_root = fs::temp_directory_path() / ("hdu-logger-acl-" + std::to_string(::GetCurrentProcessId()));
    fs::remove_all(m_root);
    fs::create_directories(m_root);
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(m_root, ignored);
  }
  fs::path m_root;
};

TEST_F(LoggerWindowsFiles, PermissionSettersSucceedAndTheFilesStayUsable) {
  TestLogger logger(CXString(u"Acl"), CXString(m_root.u16string()));
  const fs::path logFile = m_root / "Halden" / "PrinterDriver" / "V6.0" / "Acl.log";
  const fs::path oldFile = m_root / "Halden" / "PrinterDriver" / "V6.0" / "Acl.hldold";
  ASSERT_TRUE(logger.SetLogFilePermissionsForAuthenticatedUsers());
  EXPECT_EQ(fs::file_size(logFile), 2u);  // created with its byte-order mark
  fs::resize_file(logFile, Logger::iLogSizeLimitBytes + 1);
  EXPECT_TRUE(logger.TrimLogFile());
  EXPECT_EQ(fs::file_size(oldFile), Logger::iLogSizeLimitBytes + 1u);
  ASSERT_TRUE(logger.SetLogFilePermissionsForAdminsAndLocalService());
  // Full control for administrators keeps the file usable for this test's account.
  const std::uintmax_t before = fs::file_size(logFile);
  logger.LogMessage(CXString(u"still writable"));
  EXPECT_GT(fs::file_size(logFile), before);
  EXPECT_TRUE(logger.DeleteLogFile());
  EXPECT_FALSE(fs::exists(logFile));
  EXPECT_FALSE(fs::exists(oldFile));
}

TEST_F(LoggerWindowsFiles, PermissionSettersGiveTheLogFilesProtectedDacls) {
  if (!systemKeepsFileDacls(m_root)) {
    GTEST_SKIP() << "this system does not keep file DACLs (Wine maps them to Unix mode bits)";
  }
  TestLogger logger(CXString(u"Acl"), CXString(m_root.u16string()));
  const fs::path logFile = m_root / "Halden" / "PrinterDriver" / "V6.0" / "Acl.log";
  const fs::path oldFile = m_root / "Halden" / "PrinterDriver" / "V6.0" / "Acl.hldold";
  const std::map<std::string, DWORD> adminsAndLocalService = {
      {"SYSTEM", FILE_ALL_ACCESS}, {"Administrators", FILE_ALL_ACCESS}, {"LocalService", FILE_ALL_ACCESS}};
  std::map<std::string, DWORD> withUsers = adminsAndLocalService;
  withUsers["AuthenticatedUsers"] = kReadWriteDelete;

  ASSERT_TRUE(logger.SetLogFilePermissionsForAuthenticatedUsers());
  const FileSecurity security = fileSecurity(logFile);
  EXPECT_EQ(security.aces, withUsers);
  EXPECT_TRUE(security.isProtected);

  // A trim makes a new file; it gets the same DACL, and so does the backup.
  fs::resize_file(logFile, Logger::iLogSizeLimitBytes + 1);
  EXPECT_TRUE(logger.TrimLogFile());
  EXPECT_EQ(fileSecurity(logFile).aces, withUsers);
  EXPECT_EQ(fileSecurity(oldFile).aces, withUsers);

  ASSERT_TRUE(logger.SetLogFilePermissionsForAdminsAndLocalService());
  EXPECT_EQ(fileSecurity(logFile).aces, adminsAndLocalService);
  EXPECT_EQ(fileSecurity(oldFile).aces, adminsAndLocalService);
  EXPECT_TRUE(fileSecurity(logFile).isProtected);
}

TEST(LoggerWindows, NamedMutexLetsEveryDriverProcessWaitAndRelease) {
  const std::vector<unsigned char> bytes =
      TestLogger(CXString(u"Mutex"), CXString(u"C:\\unused")).InitSecurityDescriptorForLogFileMutex();
  ASSERT_FALSE(bytes.empty());
  auto* descriptor = const_cast<unsigned char*>(bytes.data());
  ASSERT_TRUE(::IsValidSecurityDescriptor(descriptor));
  EXPECT_EQ(::GetSecurityDescriptorLength(descriptor), bytes.size());
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  ASSERT_TRUE(::GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted));
  ASSERT_TRUE(present);
  const DWORD waitAndRelease = SYNCHRONIZE | MUTEX_MODIFY_STATE;
  EXPECT_EQ(allowedAces(dacl), (std::map<std::string, DWORD>{{"SYSTEM", GENERIC_ALL},
                                                             {"Administrators", GENERIC_ALL},
                                                             {"LocalService", GENERIC_ALL},
                                                             {"AuthenticatedUsers", waitAndRelease},
                                                             {"AllApplicationPackages", waitAndRelease}}));

  // The mutex a logger creates carries that DACL (generic rights mapped to the
  // mutex's own).
  const fs::path root = fs::temp_directory_path() / ("hdu-logger-mutex-" + std::to_string(::GetCurrentProcessId()));
  TestLogger logger(CXString(u"Mutex"), CXString(root.u16string()));
  logger.LogMessage(CXString(u"creates the mutex"));
  const CXString name = logger.GetLogFileMutexName();
  HANDLE mutex = ::OpenMutexW(READ_CONTROL | SYNCHRONIZE, FALSE, name.wc_str());
  ASSERT_NE(mutex, nullptr);
  PACL mutexDacl = nullptr;
  PSECURITY_DESCRIPTOR mutexDescriptor = nullptr;
  ASSERT_EQ(::GetSecurityInfo(mutex, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &mutexDacl, nullptr,
                              &mutexDescriptor),
            static_cast<DWORD>(ERROR_SUCCESS));
  const std::map<std::string, DWORD> aces = allowedAces(mutexDacl);
  EXPECT_EQ(aces.at("AuthenticatedUsers"), waitAndRelease);
  EXPECT_EQ(aces.at("AllApplicationPackages"), waitAndRelease);
  EXPECT_EQ(aces.count("SYSTEM"), 1u);
  ::LocalFree(mutexDescriptor);
  ::CloseHandle(mutex);
  fs::remove_all(root);
}
