// The logging system's platform services over POSIX (see LoggingPlatform.h).

#include "LowLevelFacilities/LoggingPlatform.h"

#include "LowLevelFacilities/PlatformFacilities.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace HaldenLogging::LoggingPlatform {

namespace {

// A plain word: no destructor may run for a thread_local of the library.
thread_local std::uint32_t t_threadId = 0;

}  // namespace

bool openLogFile(const std::string& path, bool truncate, LogFileHandle& handle, std::uint64_t& sizeOut,
                 std::uint32_t& errorOut) noexcept {
  const int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | (truncate ? O_TRUNC : 0);
  const int descriptor = ::open(path.c_str(), flags, 0644);
  if (descriptor < 0) {
    errorOut = static_cast<std::uint32_t>(errno);
    return false;
  }
  struct stat status {};
  if (::fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode)) {
    errorOut = static_cast<std::uint32_t>(S_ISDIR(status.st_mode) ? EISDIR : errno);
    ::close(descriptor);
    errno = static_cast<int>(errorOut);
    return false;
  }
  handle.value = descriptor;
  sizeOut = static_cast<std::uint64_t>(status.st_size);
  errorOut = 0;
  return true;
}

std::size_t writeLogFile(LogFileHandle handle, const char* data, std::size_t count, std::uint32_t& errorOut) noexcept {
  std::size_t written = 0;
  errorOut = 0;
  while (written < count) {
    const ssize_t result = ::write(static_cast<int>(handle.value), data + written, count - written);
    if (result < 0) {
      if (errno == EINTR) {
        continue;
      }
      errorOut = static_cast<std::uint32_t>(errno);
      break;
    }
    if (result == 0) {
      errorOut = ENOSPC;
      break;
    }
    written += static_cast<std::size_t>(result);
  }
  return written;
}

void closeLogFile(LogFileHandle& handle) noexcept {
  if (handle.isOpen()) {
    PlatformFacilities::LastErrorPreserver preserve;
    ::close(static_cast<int>(handle.value));
    handle.value = -1;
  }
}

LocalCalendarTime toLocalCalendarTime(std::int64_t utcSeconds) noexcept {
  const auto seconds = static_cast<time_t>(utcSeconds);
  tm parts{};
  ::localtime_r(&seconds, &parts);
  return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec};
}

std::uint32_t currentThreadIdCached() noexcept {
  if (t_threadId == 0) {
    t_threadId = PlatformFacilities::currentThreadId();
  }
  return t_threadId;
}

bool getEnvironmentVariable(const char* name, std::string& value) {
  const char* text = std::getenv(name);
  if (text == nullptr) {
    return false;
  }
  value = text;
  return true;
}

const char* pathSeparator() noexcept {
  return "/";
}

std::string sessionNameForFileNames() {
  return std::to_string(static_cast<long>(::getsid(0)));
}

std::string sharedDriverRootFolder() {
  PlatformFacilities::LastErrorPreserver preserve;
  std::string base;
  if (getEnvironmentVariable("XDG_CONFIG_HOME", base) && !base.empty()) {
    while (base.size() > 1 && base.back() == '/') {
      base.pop_back();
    }
    return base + "/HaldenPrinterDriver";
  }
  std::string home;
  if (!getEnvironmentVariable("HOME", home) || home.empty()) {
    const passwd* entry = ::getpwuid(::geteuid());
    if (entry == nullptr || entry->pw_dir == nullptr) {
      return {};
    }
    home = entry->pw_dir;
  }
  while (home.size() > 1 && home.back() == '/') {
    home.pop_back();
  }
  return home + "/.config/HaldenPrinterDriver";
}

}  // namespace HaldenLogging::LoggingPlatform
