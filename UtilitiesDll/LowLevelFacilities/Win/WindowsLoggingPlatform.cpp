// The logging system's platform services over Win32 (see LoggingPlatform.h).

#include "LowLevelFacilities/LoggingPlatform.h"

#include "LowLevelFacilities/PlatformFacilities.h"

#include <windows.h>

#include <string>

namespace HaldenLogging::LoggingPlatform {

namespace {

// A plain word: no destructor may run for a thread_local of the library.
thread_local std::uint32_t t_threadId = 0;

std::wstring toWide(const std::string& text) {
  std::u16string units;
  PlatformFacilities::convertUtf8ToUtf16(text.data(), text.size(), units);
  return std::wstring(units.begin(), units.end());
}

}  // namespace

bool openLogFile(const std::string& path, bool truncate, LogFileHandle& handle, std::uint64_t& sizeOut,
                 std::uint32_t& errorOut) noexcept {
  std::wstring widePath;
  try {
    widePath = toWide(path);
  } catch (...) {
    errorOut = ERROR_NOT_ENOUGH_MEMORY;
    ::SetLastError(errorOut);
    return false;
  }
  const HANDLE file = ::CreateFileW(widePath.c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    truncate ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    errorOut = ::GetLastError();
    return false;
  }
  LARGE_INTEGER size{};
  if (!::GetFileSizeEx(file, &size)) {
    size.QuadPart = 0;
  }
  handle.value = reinterpret_cast<std::intptr_t>(file);
  sizeOut = static_cast<std::uint64_t>(size.QuadPart);
  errorOut = 0;
  ::SetLastError(0);
  return true;
}

std::size_t writeLogFile(LogFileHandle handle, const char* data, std::size_t count, std::uint32_t& errorOut) noexcept {
  PlatformFacilities::LastErrorPreserver preserve;
  std::size_t written = 0;
  errorOut = 0;
  while (written < count) {
    const std::size_t remaining = count - written;
    const DWORD chunk = remaining > 0x40000000u ? 0x40000000u : static_cast<DWORD>(remaining);
    DWORD done = 0;
    if (!::WriteFile(reinterpret_cast<HANDLE>(handle.value), data + written, chunk, &done, nullptr)) {
      errorOut = ::GetLastError();
      break;
    }
    if (done == 0) {
      errorOut = ERROR_DISK_FULL;
      break;
    }
    written += done;
  }
  return written;
}

void closeLogFile(LogFileHandle& handle) noexcept {
  if (handle.isOpen()) {
    PlatformFacilities::LastErrorPreserver preserve;
    ::CloseHandle(reinterpret_cast<HANDLE>(handle.value));
    handle.value = -1;
  }
}

LocalCalendarTime toLocalCalendarTime(std::int64_t utcSeconds) noexcept {
  PlatformFacilities::LastErrorPreserver preserve;
  const std::uint64_t ticks = static_cast<std::uint64_t>(utcSeconds + 11644473600LL) * 10000000ULL;
  FILETIME fileTime{static_cast<DWORD>(ticks & 0xFFFFFFFFu), static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME utc{};
  SYSTEMTIME local{};
  if (!::FileTimeToSystemTime(&fileTime, &utc) || !::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local)) {
    local = utc;
  }
  return {local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond};
}

std::uint32_t currentThreadIdCached() noexcept {
  if (t_threadId == 0) {
    t_threadId = ::GetCurrentThreadId();
  }
  return t_threadId;
}

bool getEnvironmentVariable(const char* name, std::string& value) {
  PlatformFacilities::LastErrorPreserver preserve;
  const std::wstring wideName = toWide(name);
  const DWORD needed = ::GetEnvironmentVariableW(wideName.c_str(), nullptr, 0);
  if (needed == 0) {
    return false;
  }
  std::wstring buffer(needed, L'\0');
  const DWORD length = ::GetEnvironmentVariableW(wideName.c_str(), buffer.data(), needed);
  if (length == 0 || length >= needed) {
    return false;
  }
  const std::u16string units(buffer.begin(), buffer.begin() + length);
  value.clear();
  return PlatformFacilities::convertUtf16ToUtf8(units.data(), units.size(), value);
}

const char* pathSeparator() noexcept {
  return "\\";
}

std::string sessionNameForFileNames() {
  PlatformFacilities::LastErrorPreserver preserve;
  DWORD session = 0;
  if (!::ProcessIdToSessionId(::GetCurrentProcessId(), &session)) {
    return "Master";
  }
  return session == 0 ? std::string("Master") : std::to_string(static_cast<unsigned long>(session));
}

std::string sharedDriverRootFolder() {
  std::string base;
  if (!getEnvironmentVariable("ProgramData", base) || base.empty()) {
    base = "C:\\ProgramData";
  }
  while (!base.empty() && (base.back() == '\\' || base.back() == '/')) {
    base.pop_back();
  }
  return base + "\\Halden\\PrinterDriver";
}

}  // namespace HaldenLogging::LoggingPlatform
