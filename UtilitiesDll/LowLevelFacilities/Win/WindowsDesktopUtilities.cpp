// Win32 implementation of the platform layer (see PlatformFacilities.h).

#include "LowLevelFacilities/PlatformFacilities.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include <cwchar>
#include <string>

namespace PlatformFacilities {

namespace {

std::string utf16ToUtf8(const wchar_t* text, int length) {
  if (text == nullptr || length <= 0) {
    return {};
  }
  const int needed = ::WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) {
    return {};
  }
  std::string result(static_cast<size_t>(needed), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text, length, result.data(), needed, nullptr, nullptr);
  return result;
}

void trimTrailingWhiteSpace(std::string& text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' || text.back() == '\n')) {
    text.pop_back();
  }
}

std::string moduleFileName(HMODULE module) {
  std::wstring buffer(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = ::GetModuleFileNameW(module, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0) {
      return {};
    }
    if (length < buffer.size()) {
      return utf16ToUtf8(buffer.data(), static_cast<int>(length));
    }
    buffer.resize(buffer.size() * 2);
  }
}

}  // namespace

std::uint32_t getLastError() noexcept {
  return ::GetLastError();
}

void setLastError(std::uint32_t code) noexcept {
  ::SetLastError(code);
}

std::uint32_t currentProcessId() noexcept {
  return ::GetCurrentProcessId();
}

std::uint32_t currentThreadId() noexcept {
  return ::GetCurrentThreadId();
}

std::string processImagePath() {
  LastErrorPreserver preserve;
  return moduleFileName(nullptr);
}

std::string processName() {
  const std::string path = processImagePath();
  const size_t slash = path.find_last_of("\\/");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string computerName() {
  LastErrorPreserver preserve;
  wchar_t buffer[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
  if (!::GetComputerNameW(buffer, &size)) {
    return {};
  }
  return utf16ToUtf8(buffer, static_cast<int>(size));
}

std::string userName() {
  LastErrorPreserver preserve;
  wchar_t buffer[257] = {};  // UNLEN + 1
  DWORD size = 257;
  if (!::GetUserNameW(buffer, &size) || size == 0) {
    return {};
  }
  // size counts the terminator.
  return utf16ToUtf8(buffer, static_cast<int>(size - 1));
}

std::uint16_t nativeMachineArchitecture() noexcept {
  LastErrorPreserver preserve;
  // IsWow64Process2 exists from Windows 10 1709 on; it is the only call that
  // sees through the x64 emulation of ARM64 systems.
  using IsWow64Process2Function = BOOL(WINAPI*)(HANDLE, USHORT*, USHORT*);
  const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
  if (kernel != nullptr) {
    const auto isWow64Process2 =
        reinterpret_cast<IsWow64Process2Function>(reinterpret_cast<void*>(::GetProcAddress(kernel, "IsWow64Process2")));
    USHORT processMachine = 0;
    USHORT nativeMachine = 0;
    if (isWow64Process2 != nullptr && isWow64Process2(::GetCurrentProcess(), &processMachine, &nativeMachine) &&
        nativeMachine != 0) {
      return nativeMachine;
    }
  }
  SYSTEM_INFO info = {};
  ::GetNativeSystemInfo(&info);
  switch (info.wProcessorArchitecture) {
    case PROCESSOR_ARCHITECTURE_INTEL:
      return kMachineX86;
    case PROCESSOR_ARCHITECTURE_ARM:
      return kMachineArm;
    case PROCESSOR_ARCHITECTURE_AMD64:
      return kMachineX64;
    case PROCESSOR_ARCHITECTURE_ARM64:
      return kMachineArm64;
    default:
      return kMachineUnknown;
  }
}

std::string systemMessageText(std::uint32_t code) {
  LastErrorPreserver preserve;
  wchar_t* text = nullptr;
  const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                      FORMAT_MESSAGE_MAX_WIDTH_MASK;
  const DWORD length = ::FormatMessageW(flags, nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                        reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::string result;
  if (length != 0 && text != nullptr) {
    result = utf16ToUtf8(text, static_cast<int>(length));
  }
  if (text != nullptr) {
    ::LocalFree(text);
  }
  trimTrailingWhiteSpace(result);
  return result;
}

namespace {

bool convertFromUtf16(UINT codePage, const char16_t* units, std::size_t count, std::string& out) {
  if (units == nullptr || count == 0) {
    return true;
  }
  const auto* wide = reinterpret_cast<const wchar_t*>(units);
  const int length = static_cast<int>(count);
  const int needed = ::WideCharToMultiByte(codePage, 0, wide, length, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) {
    return false;
  }
  const size_t start = out.size();
  out.resize(start + static_cast<size_t>(needed));
  const int written = ::WideCharToMultiByte(codePage, 0, wide, length, out.data() + start, needed, nullptr, nullptr);
  if (written <= 0) {
    out.resize(start);
    return false;
  }
  out.resize(start + static_cast<size_t>(written));
  return true;
}

}  // namespace

bool convertUtf16ToUtf8(const char16_t* units, std::size_t count, std::string& out) {
  return convertFromUtf16(CP_UTF8, units, count, out);
}

bool convertUtf16ToAnsi(const char16_t* units, std::size_t count, std::string& out) {
  return convertFromUtf16(CP_ACP, units, count, out);
}

bool convertUtf8ToUtf16(const char* bytes, std::size_t count, std::u16string& out) {
  if (bytes == nullptr || count == 0) {
    return true;
  }
  const int length = static_cast<int>(count);
  const int needed = ::MultiByteToWideChar(CP_UTF8, 0, bytes, length, nullptr, 0);
  if (needed <= 0) {
    return false;
  }
  const size_t start = out.size();
  out.resize(start + static_cast<size_t>(needed));
  const int written =
      ::MultiByteToWideChar(CP_UTF8, 0, bytes, length, reinterpret_cast<wchar_t*>(out.data() + start), needed);
  if (written <= 0) {
    out.resize(start);
    return false;
  }
  out.resize(start + static_cast<size_t>(written));
  return true;
}

void useBinaryModeForStandardStreams() noexcept {
  ::_setmode(::_fileno(stdin), _O_BINARY);
  ::_setmode(::_fileno(stdout), _O_BINARY);
}

void writeToDebuggerChannel(const char* text) noexcept {
  LastErrorPreserver preserve;
  ::OutputDebugStringA(text != nullptr ? text : "");
}

bool isDebuggerAttached() noexcept {
  return ::IsDebuggerPresent() != FALSE;
}

void breakIntoDebuggerIfAttached() noexcept {
  if (isDebuggerAttached()) {
    ::DebugBreak();
  }
}

namespace {

struct ClockSelection {
  bool usePerformanceCounter = false;
  std::uint64_t frequency = 1000;
};

ClockSelection g_clockSelection;
OnceFlag g_clockSelectionOnce{};

void selectClock(void*) {
  LARGE_INTEGER frequency;
  if (::QueryPerformanceFrequency(&frequency) && frequency.QuadPart > 0) {
    g_clockSelection.usePerformanceCounter = true;
    g_clockSelection.frequency = static_cast<std::uint64_t>(frequency.QuadPart);
  }
}

}  // namespace

HighResolutionClockReading readHighResolutionClock() noexcept {
  runOnce(g_clockSelectionOnce, &selectClock, nullptr);
  if (g_clockSelection.usePerformanceCounter) {
    LARGE_INTEGER counter;
    ::QueryPerformanceCounter(&counter);
    return {static_cast<std::uint64_t>(counter.QuadPart), g_clockSelection.frequency};
  }
  return {::GetTickCount64(), 1000};
}

bool isPerformanceCounterClockInUse() noexcept {
  runOnce(g_clockSelectionOnce, &selectClock, nullptr);
  return g_clockSelection.usePerformanceCounter;
}

bool queryPerformanceFrequency(std::uint64_t& ticksPerSecond) noexcept {
  LARGE_INTEGER frequency;
  if (::QueryPerformanceFrequency(&frequency) && frequency.QuadPart > 0) {
    ticksPerSecond = static_cast<std::uint64_t>(frequency.QuadPart);
    return true;
  }
  return false;
}

std::uint64_t readPerformanceCounter() noexcept {
  LARGE_INTEGER counter;
  ::QueryPerformanceCounter(&counter);
  return static_cast<std::uint64_t>(counter.QuadPart);
}

std::uint64_t readTickClock() noexcept {
  return ::GetTickCount64();
}

LocalTime localTimeNow() noexcept {
  SYSTEMTIME now;
  ::GetLocalTime(&now);
  return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds, now.wDayOfWeek};
}

std::int64_t utcSecondsNow() noexcept {
  FILETIME now;
  ::GetSystemTimeAsFileTime(&now);
  const std::uint64_t ticks = (static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
  // FILETIME counts 100 ns since 1601-01-01.
  return static_cast<std::int64_t>(ticks / 10000000ULL) - 11644473600LL;
}

std::int64_t currentUtcOffsetSeconds() noexcept {
  LastErrorPreserver preserve;
  TIME_ZONE_INFORMATION zone;
  const DWORD mode = ::GetTimeZoneInformation(&zone);
  if (mode == TIME_ZONE_ID_INVALID) {
    return 0;
  }
  long bias = zone.Bias;
  if (mode == TIME_ZONE_ID_DAYLIGHT) {
    bias += zone.DaylightBias;
  } else if (mode == TIME_ZONE_ID_STANDARD) {
    bias += zone.StandardBias;
  }
  return -static_cast<std::int64_t>(bias) * 60;  // Bias is UTC minus local, in minutes
}

void* ownModuleHandle() noexcept {
  LastErrorPreserver preserve;
  HMODULE module = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ownModuleHandle), &module);
  return module;
}

std::string ownModulePath() {
  LastErrorPreserver preserve;
  return moduleFileName(static_cast<HMODULE>(ownModuleHandle()));
}

static_assert(sizeof(CRITICAL_SECTION) <= sizeof(CriticalSection), "CriticalSection storage too small");

CriticalSection::CriticalSection() noexcept : m_storage{} {
  ::InitializeCriticalSection(reinterpret_cast<CRITICAL_SECTION*>(m_storage));
}

CriticalSection::~CriticalSection() {
  ::DeleteCriticalSection(reinterpret_cast<CRITICAL_SECTION*>(m_storage));
}

void CriticalSection::enter() noexcept {
  ::EnterCriticalSection(reinterpret_cast<CRITICAL_SECTION*>(m_storage));
}

void CriticalSection::leave() noexcept {
  ::LeaveCriticalSection(reinterpret_cast<CRITICAL_SECTION*>(m_storage));
}

static_assert(sizeof(INIT_ONCE) <= sizeof(OnceFlag::m_storage), "OnceFlag storage too small");

namespace {

struct OnceCall {
  OnceFunction function;
  void* context;
};

BOOL CALLBACK runOnceTrampoline(PINIT_ONCE, PVOID parameter, PVOID*) {
  const auto* call = static_cast<const OnceCall*>(parameter);
  call->function(call->context);
  return TRUE;
}

}  // namespace

void runOnce(OnceFlag& flag, OnceFunction function, void* context) noexcept {
  LastErrorPreserver preserve;
  OnceCall call{function, context};
  ::InitOnceExecuteOnce(reinterpret_cast<PINIT_ONCE>(flag.m_storage), &runOnceTrampoline, &call, nullptr);
}

}  // namespace PlatformFacilities
