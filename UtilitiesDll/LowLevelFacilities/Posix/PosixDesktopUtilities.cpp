// POSIX implementation of the platform layer (see PlatformFacilities.h).

#include "LowLevelFacilities/PlatformFacilities.h"

#include "LowLevelFacilities/Utf8Encoding.h"

#include <dlfcn.h>
#include <pthread.h>
#include <pwd.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <new>
#include <string>

namespace PlatformFacilities {

namespace {

void trimTrailingWhiteSpace(std::string& text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' || text.back() == '\n')) {
    text.pop_back();
  }
}

// GNU strerror_r returns a pointer that may or may not be the buffer; the XSI
// form returns an int. These two overloads accept either.
[[maybe_unused]] const char* strerrorResult(int result, const char* buffer) {
  return result == 0 ? buffer : nullptr;
}
[[maybe_unused]] const char* strerrorResult(const char* result, const char*) {
  return result;
}

}  // namespace

std::uint32_t getLastError() noexcept {
  return static_cast<std::uint32_t>(errno);
}

void setLastError(std::uint32_t code) noexcept {
  errno = static_cast<int>(code);
}

std::uint32_t currentProcessId() noexcept {
  return static_cast<std::uint32_t>(::getpid());
}

std::uint32_t currentThreadId() noexcept {
  return static_cast<std::uint32_t>(::syscall(SYS_gettid));
}

std::string processImagePath() {
  LastErrorPreserver preserve;
  std::string buffer(4096, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length <= 0) {
    return {};
  }
  buffer.resize(static_cast<size_t>(length));
  return buffer;
}

std::string processName() {
  const std::string path = processImagePath();
  const size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string computerName() {
  LastErrorPreserver preserve;
  char buffer[256] = {};
  if (::gethostname(buffer, sizeof(buffer) - 1) != 0) {
    return {};
  }
  return buffer;
}

std::string userName() {
  LastErrorPreserver preserve;
  long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::string buffer(suggested > 0 ? static_cast<size_t>(suggested) : 1024, '\0');
  for (int attempt = 0; attempt < 8; ++attempt) {
    passwd entry{};
    passwd* result = nullptr;
    const int status = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &result);
    if (status == ERANGE) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    if (status != 0 || result == nullptr || result->pw_name == nullptr) {
      return {};
    }
    return result->pw_name;
  }
  return {};
}

std::uint16_t nativeMachineArchitecture() noexcept {
  utsname names = {};
  if (::uname(&names) != 0) {
    return kMachineUnknown;
  }
  const std::string machine = names.machine;
  if (machine == "x86_64" || machine == "amd64") {
    return kMachineX64;
  }
  if (machine == "aarch64" || machine == "arm64") {
    return kMachineArm64;
  }
  if (machine.size() == 4 && machine[0] == 'i' && machine.compare(2, 2, "86") == 0) {
    return kMachineX86;
  }
  if (machine.compare(0, 3, "arm") == 0) {
    return kMachineArm;
  }
  return kMachineUnknown;
}

std::string systemMessageText(std::uint32_t code) {
  LastErrorPreserver preserve;
  char buffer[512] = {};
  const char* text = strerrorResult(::strerror_r(static_cast<int>(code), buffer, sizeof(buffer)), buffer);
  if (text == nullptr) {
    return {};
  }
  std::string result(text);
  // glibc answers every code; a code it does not know gives "Unknown error N",
  // which stands for "the system has no text" here.
  if (result.rfind("Unknown error", 0) == 0) {
    return {};
  }
  trimTrailingWhiteSpace(result);
  return result;
}

bool convertUtf16ToUtf8(const char16_t* units, std::size_t count, std::string& out) {
  if (units != nullptr && count != 0) {
    out.reserve(out.size() + count);
    Utf8Encoding::appendUtf16AsUtf8Replacing(out, units, count);
  }
  return true;
}

bool convertUtf8ToUtf16(const char* bytes, std::size_t count, std::u16string& out) {
  if (bytes != nullptr && count != 0) {
    Utf8Encoding::appendUtf8AsUtf16Replacing(out, bytes, count);
  }
  return true;
}

bool convertUtf16ToAnsi(const char16_t* units, std::size_t count, std::string& out) {
  for (std::size_t i = 0; i < count; ++i) {
    const char16_t unit = units[i];
    if (unit >= 0xDC00 && unit <= 0xDFFF && i > 0 && units[i - 1] >= 0xD800 && units[i - 1] <= 0xDBFF) {
      continue;  // second half of a pair already written as one "?"
    }
    out.push_back(unit < 0x100 ? static_cast<char>(unit) : '?');
  }
  return true;
}

void useBinaryModeForStandardStreams() noexcept {}

void writeToDebuggerChannel(const char* text) noexcept {
  LastErrorPreserver preserve;
  if (text == nullptr) {
    return;
  }
  const size_t length = std::strlen(text);
  size_t written = 0;
  while (written < length) {
    const ssize_t result = ::write(STDERR_FILENO, text + written, length - written);
    if (result <= 0) {
      break;
    }
    written += static_cast<size_t>(result);
  }
}

bool isDebuggerAttached() noexcept {
  LastErrorPreserver preserve;
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("TracerPid:", 0) == 0) {
      return std::strtol(line.c_str() + 10, nullptr, 10) != 0;
    }
  }
  return false;
}

void breakIntoDebuggerIfAttached() noexcept {
  if (isDebuggerAttached()) {
    ::raise(SIGTRAP);
  }
}

HighResolutionClockReading readHighResolutionClock() noexcept {
  timespec now{};
  if (::clock_gettime(CLOCK_MONOTONIC, &now) == 0) {
    return {static_cast<std::uint64_t>(now.tv_sec) * 1000000000ULL + static_cast<std::uint64_t>(now.tv_nsec),
            1000000000ULL};
  }
  timeval fallback{};
  ::gettimeofday(&fallback, nullptr);
  return {static_cast<std::uint64_t>(fallback.tv_sec) * 1000ULL + static_cast<std::uint64_t>(fallback.tv_usec) / 1000,
          1000};
}

bool isPerformanceCounterClockInUse() noexcept {
  timespec resolution{};
  return ::clock_getres(CLOCK_MONOTONIC, &resolution) == 0;
}

bool queryPerformanceFrequency(std::uint64_t& ticksPerSecond) noexcept {
  timespec resolution{};
  if (::clock_getres(CLOCK_MONOTONIC, &resolution) != 0) {
    return false;
  }
  ticksPerSecond = 1000000000ULL;
  return true;
}

std::uint64_t readPerformanceCounter() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000000000ULL + static_cast<std::uint64_t>(now.tv_nsec);
}

std::uint64_t readTickClock() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000ULL + static_cast<std::uint64_t>(now.tv_nsec) / 1000000ULL;
}

LocalTime localTimeNow() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  ::localtime_r(&now.tv_sec, &parts);
  return {parts.tm_year + 1900,
          parts.tm_mon + 1,
          parts.tm_mday,
          parts.tm_hour,
          parts.tm_min,
          parts.tm_sec,
          static_cast<int>(now.tv_nsec / 1000000),
          parts.tm_wday};
}

std::int64_t utcSecondsNow() noexcept {
  return static_cast<std::int64_t>(::time(nullptr));
}

std::int64_t currentUtcOffsetSeconds() noexcept {
  const time_t now = ::time(nullptr);
  tm parts{};
  ::localtime_r(&now, &parts);
  return static_cast<std::int64_t>(parts.tm_gmtoff);
}

void* ownModuleHandle() noexcept {
  Dl_info info{};
  if (::dladdr(reinterpret_cast<void*>(&ownModuleHandle), &info) == 0) {
    return nullptr;
  }
  return info.dli_fbase;
}

std::string ownModulePath() {
  LastErrorPreserver preserve;
  Dl_info info{};
  if (::dladdr(reinterpret_cast<void*>(&ownModuleHandle), &info) == 0 || info.dli_fname == nullptr) {
    return {};
  }
  return info.dli_fname;
}

static_assert(sizeof(pthread_mutex_t) <= 64, "CriticalSection storage too small");

CriticalSection::CriticalSection() noexcept : m_storage{} {
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  ::pthread_mutex_init(new (m_storage) pthread_mutex_t, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
}

CriticalSection::~CriticalSection() {
  ::pthread_mutex_destroy(reinterpret_cast<pthread_mutex_t*>(m_storage));
}

void CriticalSection::enter() noexcept {
  ::pthread_mutex_lock(reinterpret_cast<pthread_mutex_t*>(m_storage));
}

void CriticalSection::leave() noexcept {
  ::pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(m_storage));
}

// The flag's first word: 0 = never run, 1 = running, 2 = done. A zero-filled
// flag is ready, like PTHREAD_ONCE_INIT and Windows' INIT_ONCE_STATIC_INIT.
void runOnce(OnceFlag& flag, OnceFunction function, void* context) noexcept {
  LastErrorPreserver preserve;
  std::atomic_ref<std::uint32_t> state(*reinterpret_cast<std::uint32_t*>(flag.m_storage));
  if (state.load(std::memory_order_acquire) == 2) {
    return;
  }
  std::uint32_t expected = 0;
  if (state.compare_exchange_strong(expected, 1, std::memory_order_acq_rel)) {
    function(context);
    state.store(2, std::memory_order_release);
    return;
  }
  while (state.load(std::memory_order_acquire) != 2) {
    ::sched_yield();
  }
}

}  // namespace PlatformFacilities
