#pragma once
// The platform layer: the few operating-system services the portable code of
// the library needs, behind one small interface. Win/WindowsDesktopUtilities.cpp
// implements it over Win32, Posix/PosixDesktopUtilities.cpp over POSIX. No
// other portable file includes windows.h or a POSIX system header for these.

#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace PlatformFacilities {

// ---- last error ------------------------------------------------------------
// The thread's "last error" value: GetLastError/SetLastError on Windows, errno
// on POSIX. Always a 32-bit unsigned code.
HDU_API std::uint32_t getLastError() noexcept;
HDU_API void setLastError(std::uint32_t code) noexcept;

// Saves the thread's last-error value on construction and puts it back on
// destruction, so that code which reports an error never changes the code
// being reported.
class LastErrorPreserver {
 public:
  LastErrorPreserver() noexcept : m_savedLastError(getLastError()) {}
  ~LastErrorPreserver() { setLastError(m_savedLastError); }
  LastErrorPreserver(const LastErrorPreserver&) = delete;
  LastErrorPreserver& operator=(const LastErrorPreserver&) = delete;
  std::uint32_t savedValue() const noexcept { return m_savedLastError; }

 private:
  std::uint32_t m_savedLastError;
};

// ---- identity of process and thread -----------------------------------------
HDU_API std::uint32_t currentProcessId() noexcept;
HDU_API std::uint32_t currentThreadId() noexcept;
// File name of the running program, without its folder ("spoolsv.exe").
HDU_API std::string processName();
// Full path of the running program.
HDU_API std::string processImagePath();
HDU_API std::string computerName();
// Name of the user the calling thread runs as (GetUserNameW, so an
// impersonated thread answers the impersonated user; the effective user's
// name from the password database on POSIX). Empty when it cannot be read.
HDU_API std::string userName();

// ---- machine ------------------------------------------------------------------
// Image-file machine codes of the operating system's native architecture.
enum : std::uint16_t {
  kMachineUnknown = 0,
  kMachineX86 = 0x014C,
  kMachineArm = 0x01C4,
  kMachineX64 = 0x8664,
  kMachineArm64 = 0xAA64,
};
// The machine the operating system itself runs on, whatever this process was
// built for: a 32-bit process under WOW64 on an ARM64 system answers
// kMachineArm64. IsWow64Process2 where the system has it, otherwise
// GetNativeSystemInfo on Windows; uname on POSIX. kMachineUnknown when the
// architecture is none of the above.
HDU_API std::uint16_t nativeMachineArchitecture() noexcept;

// ---- error texts -------------------------------------------------------------
// The system's message text for an error code in UTF-8, with trailing white
// space removed; empty when the system has no text for the code.
HDU_API std::string systemMessageText(std::uint32_t code);

// ---- text conversion ----------------------------------------------------------
// The platform's own converters: WideCharToMultiByte / MultiByteToWideChar with
// code page 65001 and no flags on Windows (malformed input becomes U+FFFD);
// the library's equivalent replacing conversion on POSIX. They append to `out`
// and return false only when the platform call fails (the thread's last error
// then tells why). An empty input succeeds and appends nothing.
HDU_API bool convertUtf16ToUtf8(const char16_t* units, std::size_t count, std::string& out);
HDU_API bool convertUtf8ToUtf16(const char* bytes, std::size_t count, std::u16string& out);
// The system ANSI code page (code page 0, no flags, no default character) on
// Windows; ISO-8859-1 with "?" for characters outside it on POSIX. Lossy.
HDU_API bool convertUtf16ToAnsi(const char16_t* units, std::size_t count, std::string& out);

// ---- standard streams -------------------------------------------------------------
// Switches standard input and output to binary mode, so that bytes pass
// unchanged (Windows translates line ends in text mode; POSIX has no text
// mode, so nothing changes there). For tools that read or write binary data.
HDU_API void useBinaryModeForStandardStreams() noexcept;

// ---- debugger ----------------------------------------------------------------
// Writes text to the debugger channel (OutputDebugStringA; standard error on
// POSIX). Never fails and never changes the last-error value.
HDU_API void writeToDebuggerChannel(const char* text) noexcept;
HDU_API bool isDebuggerAttached() noexcept;
// Breaks into an attached debugger; does nothing when none is attached.
HDU_API void breakIntoDebuggerIfAttached() noexcept;

// ---- clocks and time -----------------------------------------------------------
// The high-resolution clock: the performance counter when its frequency can be
// read, otherwise the millisecond tick clock. The choice is made once.
struct HighResolutionClockReading {
  std::uint64_t ticks;
  std::uint64_t ticksPerSecond;
};
HDU_API HighResolutionClockReading readHighResolutionClock() noexcept;
HDU_API bool isPerformanceCounterClockInUse() noexcept;
// The raw clocks behind the choice above, for callers that make the choice
// themselves (the library host's unload time stamp). The frequency query
// answers false when the performance counter cannot be used.
HDU_API bool queryPerformanceFrequency(std::uint64_t& ticksPerSecond) noexcept;
HDU_API std::uint64_t readPerformanceCounter() noexcept;
// Milliseconds since an arbitrary start (GetTickCount64; CLOCK_MONOTONIC in
// milliseconds on POSIX).
HDU_API std::uint64_t readTickClock() noexcept;

struct LocalTime {
  int year;
  int month;  // 1..12
  int day;    // 1..31
  int hour;
  int minute;
  int second;
  int millisecond;
  int dayOfWeek;  // 0 = Sunday
};
HDU_API LocalTime localTimeNow() noexcept;
// Seconds since 1970-01-01 00:00:00 UTC.
HDU_API std::int64_t utcSecondsNow() noexcept;
// The machine's current offset of local time from UTC in seconds (east
// positive), daylight saving included when it is in force now.
HDU_API std::int64_t currentUtcOffsetSeconds() noexcept;

// ---- the library's own image --------------------------------------------------
// A handle to the library's own module (HMODULE on Windows; the dladdr base
// address on POSIX) and the full path of its image file.
HDU_API void* ownModuleHandle() noexcept;
HDU_API std::string ownModulePath();

// ---- synchronisation ------------------------------------------------------------
// A recursive lock: CRITICAL_SECTION on Windows, a recursive pthread mutex on
// POSIX. Not copyable, not movable.
class HDU_API CriticalSection {
 public:
  CriticalSection() noexcept;
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;
  void enter() noexcept;
  void leave() noexcept;

 private:
  alignas(8) unsigned char m_storage[64];
};

class CriticalSectionLock {
 public:
  explicit CriticalSectionLock(CriticalSection& section) noexcept : m_section(section) { m_section.enter(); }
  ~CriticalSectionLock() { m_section.leave(); }
  CriticalSectionLock(const CriticalSectionLock&) = delete;
  CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

 private:
  CriticalSection& m_section;
};

// Once-only initialisation (InitOnceExecuteOnce on Windows, pthread_once
// semantics on POSIX). A zero-initialised OnceFlag is ready for use, so it can
// be a static object that is usable before static constructors have run.
struct OnceFlag {
  alignas(8) unsigned char m_storage[8];
};
using OnceFunction = void (*)(void* context);
// Runs function(context) exactly once per flag, even when several threads call
// at the same time; all callers return after it has finished.
HDU_API void runOnce(OnceFlag& flag, OnceFunction function, void* context) noexcept;

}  // namespace PlatformFacilities
