#pragma once
// HaldenLogging::LoggingPlatform: the operating-system services of the
// logging system, behind one small interface: Win/WindowsLoggingPlatform.cpp
// implements it over Win32, Posix/PosixLoggingPlatform.cpp over POSIX.
//
// Paths are UTF-8 on both platforms (converted to UTF-16 for Win32 calls).
// Every call keeps the thread's last-error value unless it says otherwise.

#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace HaldenLogging {

// The outcome of a file operation, as reported by the file destination.
enum class CPFileResultEnum : int {
  FILE_OK = 0,
  FILE_NOT_OPENED_FOR_WRITING = 1,
  FILE_WRITE_INCOMPLETE = 2,
};

namespace LoggingPlatform {

// An open log file (a HANDLE on Windows, a descriptor on POSIX).
struct LogFileHandle {
  std::intptr_t value = -1;
  bool isOpen() const noexcept { return value != -1; }
};

// Opens (creating it when missing) a file for appending; with `truncate` the
// file is emptied first. On success `sizeOut` is the file's size after
// opening. On failure returns false and `errorOut` holds the system's error
// code (the thread's last-error value is left set to it as well). The file may
// be read, written and deleted by other processes while it is open.
HDU_API bool openLogFile(const std::string& path, bool truncate, LogFileHandle& handle, std::uint64_t& sizeOut,
                         std::uint32_t& errorOut) noexcept;
// Writes the bytes, repeating short writes until all are written or a write
// fails. Returns the number of bytes written; when fewer than `count`,
// `errorOut` holds the system's error code.
HDU_API std::size_t writeLogFile(LogFileHandle handle, const char* data, std::size_t count,
                                 std::uint32_t& errorOut) noexcept;
HDU_API void closeLogFile(LogFileHandle& handle) noexcept;

// Local calendar time of a UTC time in seconds since 1970.
struct LocalCalendarTime {
  int year;
  int month;  // 1..12
  int day;
  int hour;
  int minute;
  int second;
};
HDU_API LocalCalendarTime toLocalCalendarTime(std::int64_t utcSeconds) noexcept;

// The calling thread's identifier (cached per thread after its first call).
HDU_API std::uint32_t currentThreadIdCached() noexcept;

// The value of an environment variable as UTF-8; false when it is not set.
HDU_API bool getEnvironmentVariable(const char* name, std::string& value);

// The path separator: "\\" on Windows, "/" elsewhere.
HDU_API const char* pathSeparator() noexcept;

// The value of the "$(session)" file-name variable: "Master" for a process
// of the services session (Windows session 0); otherwise the session number
// (the Windows session id; the POSIX session id, getsid).
HDU_API std::string sessionNameForFileNames();

// The driver's shared root folder for the current user, without a trailing
// separator:
//   Windows  "%ProgramData%\Halden\PrinterDriver": one folder that the
//            spooler's driver host (running as LocalSystem) and the user's
//            own driver processes (printing preferences, tools) all read,
//            so one Config.toml configures every process of the driver;
//   POSIX    "$XDG_CONFIG_HOME/HaldenPrinterDriver", or
//            "$HOME/.config/HaldenPrinterDriver" when XDG_CONFIG_HOME is not
//            set (the password database's home when HOME is not set either).
// Empty when no such folder can be named.
HDU_API std::string sharedDriverRootFolder();

}  // namespace LoggingPlatform

}  // namespace HaldenLogging
