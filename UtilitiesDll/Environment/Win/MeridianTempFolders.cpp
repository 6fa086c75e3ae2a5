#include "Environment/Win/MeridianTempFolders.h"

#include "DebuggingAndExceptions/CPException.h"

#include <windows.h>

#include <sddl.h>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr unsigned long long kTicksPerSecond = 10000000ull;  // FILETIME counts 100 ns

CXString CurrentUserName() {
  wchar_t name[257];  // UNLEN + 1
  DWORD size = sizeof(name) / sizeof(name[0]);
  if (GetUserNameW(name, &size) == 0 || size == 0) {
    HDU_THROW(CPExceptionUserFailure, HDU_DEBUG_CONTEXT("MeridianTempFolders::GetMeridianDriverTempFolderPath"),
              "The name of the calling thread's user could not be read.");
  }
  return CXString(name);
}

bool IsFolder(const CXString& path) {
  const DWORD attributes = GetFileAttributesW(path.wc_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The string form of the SID of the user whose token the thread carries
// (the thread's impersonation token, or the process token).
std::wstring CurrentUserSidText() {
  HANDLE token = nullptr;
  if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) == 0 &&
      OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) {
    return {};
  }
  std::wstring result;
  DWORD size = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  if (size != 0) {
    std::vector<unsigned char> buffer(size);
    if (GetTokenInformation(token, TokenUser, buffer.data(), size, &size) != 0) {
      LPWSTR text = nullptr;
      if (ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid, &text) != 0) {
        result = text;
        LocalFree(text);
      }
    }
  }
  CloseHandle(token);
  return result;
}

// Creates one folder; with a protected access list when `restricted` is set
// (local system, administrators and the current user). An existing folder
// counts as created.
bool CreateOneFolder(const CXString& path, bool restricted) {
  if (IsFolder(path)) {
    return true;
  }
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (restricted) {
    const std::wstring sid = CurrentUserSidText();
    std::wstring sddl = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
    if (!sid.empty()) {
      sddl += L"(A;OICI;FA;;;" + sid + L")";
    }
    ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, &descriptor, nullptr);
  }
  SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
  const BOOL created = CreateDirectoryW(path.wc_str(), descriptor != nullptr ? &attributes : nullptr);
  const DWORD error = GetLastError();
  if (descriptor != nullptr) {
    LocalFree(descriptor);
  }
  return created != 0 || (error == ERROR_ALREADY_EXISTS && IsFolder(path));
}

}  // namespace

CXString MeridianTempFolders::GetMachineTempFolder() {
  wchar_t folder[MAX_PATH + 1];
  const UINT length = GetSystemWindowsDirectoryW(folder, MAX_PATH + 1);
  if (length == 0 || length > MAX_PATH) {
    HDU_THROW(CPExceptionOperatingSystemFailure, HDU_DEBUG_CONTEXT("MeridianTempFolders::GetMachineTempFolder"),
              "The Windows folder could not be read.");
  }
  CXString path(std::wstring(folder, length));
  if (!path.empty() && path[path.size() - 1] == u'\\') {
    path.resize(path.size() - 1);
  }
  path += u"\\Temp";
  return path;
}

CXString MeridianTempFolders::GetMeridianDriverTempFolderPath() {
  CXString path = GetMachineTempFolder();
  path += u"\\MeridianDriver\\";
  path += CurrentUserName();
  return path;
}

CXString MeridianTempFolders::GetMeridianDriverTempFolder() {
  CXString path = GetMeridianDriverTempFolderPath();
  return IsFolder(path) ? path : CXString();
}

CXString MeridianTempFolders::GetOrCreateAndGcMeridianDriverTempFolder() {
  const CXString path = GetMeridianDriverTempFolderPath();
  const CXString parent = path.substr(0, path.rfind(u'\\'));
  if (!CreateOneFolder(parent, false) || !CreateOneFolder(path, true)) {
    HDU_THROW(CPExceptionFile, HDU_DEBUG_CONTEXT("MeridianTempFolders::GetOrCreateAndGcMeridianDriverTempFolder"),
              "The driver's temporary folder '%s' could not be created.", path);
  }
  DeleteFilesOlderThan(path, static_cast<unsigned long long>(kFileLifetimeDays) * 24ull * 3600ull);
  return path;
}

unsigned MeridianTempFolders::DeleteFilesOlderThan(const CXString& folder, unsigned long long maximumAgeSeconds) {
  CXString pattern = folder;
  pattern += u"\\*";
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(pattern.wc_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    return 0;
  }
  FILETIME nowTime;
  GetSystemTimeAsFileTime(&nowTime);
  const unsigned long long now =
      (static_cast<unsigned long long>(nowTime.dwHighDateTime) << 32) | nowTime.dwLowDateTime;
  const unsigned long long maximumAge = maximumAgeSeconds * kTicksPerSecond;
  unsigned deleted = 0;
  do {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      continue;
    }
    const unsigned long long written = (static_cast<unsigned long long>(found.ftLastWriteTime.dwHighDateTime) << 32) |
                                       found.ftLastWriteTime.dwLowDateTime;
    if (written < now && now - written > maximumAge) {
      CXString file = folder;
      file += u"\\";
      file += CXString(found.cFileName);
      if (DeleteFileW(file.wc_str()) != 0) {
        ++deleted;
      }
    }
  } while (FindNextFileW(search, &found) != 0);
  FindClose(search);
  return deleted;
}
