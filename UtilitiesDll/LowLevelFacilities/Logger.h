#pragma once
// Logger: the older, self-contained file logger. It writes one wide-character
// line per message to one log file that every process of the driver may share,
// and needs none of the logging facility's configuration.
//
// Where the file lies. The folder is the log-folder root followed by
// "\Halden\PrinterDriver\V6.0\" (with '/' instead of '\' on POSIX); the file
// is the log-file name with ".log" added. The root is the one given to
// InitializeAndGetInstance, or else GetDefaultLogFolderRoot(): on Windows the
// common application-data folder (usually C:\ProgramData), which the spooler's
// service accounts and the users' processes share; on POSIX $XDG_STATE_HOME,
// else $HOME/.local/state, else /tmp. Missing folders are created on the first
// write.
//
// What a line looks like. Each message becomes
//   "[<time stamp>] <app name>(PID<pid>/TID<tid>): <message>\n"
// or, when the logger was set up not to show threads,
//   "[<time stamp>] <app name>(PID<pid>): <message>\n"
// with the process and thread identifiers in decimal. The time stamp is the
// local time as "month/day/year hour:minutes:seconds AM|PM", nothing padded
// but minutes and seconds (two digits): "3/7/2024 1:05:09 PM". The clock has
// 12 hours: from 12:00 on the half is "PM" and hours above 12 lose 12; before
// noon the hour prints unchanged with "AM", so the hour after midnight prints
// as 0 ("0:30:00 AM"), as this logger always has. The message is written as
// given (an embedded line break makes a second physical line).
//
// Encoding. The file is UTF-16 little-endian text, as the lines are wide
// strings: a new (or emptied) file starts with the byte-order mark FF FE, and
// every line ends with a bare line feed (0A 00, no carriage return). Notepad,
// PowerShell's Get-Content and iconv -f UTF-16 read it as it is.
//
// Size limit. Before each line is written, a file that has passed
// iLogSizeLimitBytes (4,194,304 bytes, byte-order mark included) is trimmed:
// its whole content moves to a file of the same name with the extension
// ".hldold" (replacing an older one), and the new file starts with the line
// "Log trimmed." in the usual form. A file of exactly the limit is not yet
// trimmed. A file that another program holds open and so cannot be renamed is
// copied to ".hldold" and then emptied instead.
//
// Writers. All writers of one file are serialised, within the process by the
// logger's own mutex and between processes by a named mutex on Windows (see
// GetLogFileMutexName and InitSecurityDescriptorForLogFileMutex) and by an
// exclusive flock on a lock file beside the log ("<file>.log.lock") on POSIX.
// The file is opened, appended to and closed for every line, so that another
// process's trim never leaves a writer behind on the renamed file. Logging
// never throws: a line that cannot be written is dropped.
//
// Obscured lines. With SetObscuredLogLines(true) every line (the time stamp
// included) is written as EncryptAndBase64EncodeLogFileLine of its text
// instead, one Base64 line per message, so that a log handed out of the
// building does not show document names or user data to whoever reads it on
// the way. The cipher is AES-256-GCM with a key built into this library (see
// Logger.cpp): it hides the text from readers without the library and detects
// any damage, but anyone holding the library can read the lines back with
// Base64DecodeAndDecryptLogFileLine. Plain lines begin with '[', which Base64
// never contains, so a reader tells the two kinds apart line by line.
//
// The singleton. GetInstance() returns the process's one logger, creating it
// with default settings (see InitializeAndGetInstance) the first time;
// InitializeAndGetInstance applies new settings to that same instance, so that
// references held by other threads stay valid. The instance is never
// destroyed: threads that still log while the process exits never meet a
// destroyed logger, and the system closes its handles.

#include "LowLevelFacilities/CXString.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "hdUtilitiesExport.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <type_traits>
#include <vector>

namespace LoggerPlatform {
class CrossProcessLock;
}

class HDU_API Logger {
 public:
  // A file that has passed this size is trimmed before the next line.
  static constexpr int iLogSizeLimitBytes = 4194304;

  // Where the logger reads the local time; tests and tools may replace it.
  using LocalTimeSource = std::function<PlatformFacilities::LocalTime()>;

  // The process's logger; created with default settings (the running
  // program's name, without its extension, as application and file name; the
  // default root; threads shown) when it does not exist yet.
  static Logger& GetInstance();

  // Applies settings to the process's logger (creating it when needed) and
  // returns it:
  //   appName        the name shown in every line; empty: the running
  //                  program's name without its extension.
  //   logFileName    the log file's name without ".log" (a trailing ".log"
  //                  is dropped; characters that may not appear in a file
  //                  name become '_'); when not given or empty: appName.
  //                  Programs that share one file give the same name here and
  //                  their own appName.
  //   logFolderRoot  the folder under which "Halden\PrinterDriver\V6.0\"
  //                  lies; when not given or empty: GetDefaultLogFolderRoot().
  //   showThreadId   whether lines carry "/TID<tid>" after the process id.
  static Logger& InitializeAndGetInstance(const CXString& appName, bool showThreadId);
  static Logger& InitializeAndGetInstance(const CXString& appName, const CXString& logFileName, bool showThreadId);
  static Logger& InitializeAndGetInstance(const CXString& appName, const CXString& logFileName,
                                          const CXString& logFolderRoot, bool showThreadId);
  // A text in the place of the bool would otherwise convert to it silently
  // (a pointer converts to bool before it converts to CXString).
  template <class T>
  requires std::is_pointer_v<T>
  static Logger& InitializeAndGetInstance(const CXString&, T) = delete;
  template <class T>
  requires std::is_pointer_v<T>
  static Logger& InitializeAndGetInstance(const CXString&, const CXString&, T) = delete;
  template <class T>
  requires std::is_pointer_v<T>
  static Logger& InitializeAndGetInstance(const CXString&, const CXString&, const CXString&, T) = delete;

  virtual ~Logger();
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  // Writes one line for the message (see above). Never throws; a null pointer
  // logs an empty message.
  void LogMessage(const CXString& message) noexcept;
  void LogMessage(const wchar_t* message) noexcept;
  // Kept for callers that once logged only in debug builds: does nothing.
  void DebugOnlyLogMessage(const CXString& /*message*/) noexcept {}
  void DebugOnlyLogMessage(const wchar_t* /*message*/) noexcept {}

  // The full path of the log file.
  CXString GetLogFilePath() const;
  // Deletes the log file and its ".hldold" copy; true when neither exists
  // afterwards.
  bool DeleteLogFile();
  // Restricts the log file (and its ".hldold" copy when there is one) to
  // administrators and the LocalService account: on Windows a protected DACL
  // with full control for Administrators, LocalService and SYSTEM; on POSIX
  // mode 0600. The file is created (empty, with its byte-order mark) when it
  // does not exist, and the setting is applied again to the new file after
  // every trim. False when the permissions could not be set.
  bool SetLogFilePermissionsForAdminsAndLocalService();
  // The same, and Authenticated Users may read, write and delete the file
  // (so that the users' own processes can log to it and trim it); on POSIX
  // mode 0666.
  bool SetLogFilePermissionsForAuthenticatedUsers();

  // Obscured-line mode (off by default); see above.
  void SetObscuredLogLines(bool obscure);
  bool AreLogLinesObscured() const;
  // Replaces the clock (an empty function restores the system's local time).
  void SetLocalTimeSource(LocalTimeSource source);

  // The time stamp of a line for the given local time: "3/7/2024 1:05:09 PM".
  static CXString FormatTimeStamp(const PlatformFacilities::LocalTime& time);

  // A line (without its line end) in obscured form: the standard Base64 (with
  // "=" padding, on one line) of a version byte (1), a random 12-byte nonce,
  // the AES-256-GCM encryption of the line's UTF-8 bytes (unpaired surrogates
  // become U+FFFD) and the 16-byte tag, the version byte being authenticated
  // as well. Throws CPExceptionDataEncrypterFailure when the platform's cipher
  // fails.
  static CXString EncryptAndBase64EncodeLogFileLine(const CXString& line);
  // The line back from its obscured form; blanks and line breaks in the text
  // are skipped. Throws CPExceptionInvalidArgument for text that is not
  // Base64, is too short, has another version byte, or does not authenticate
  // (damaged, or not made with this library's key).
  static CXString Base64DecodeAndDecryptLogFileLine(const CXString& encodedLine);

 protected:
  // The settings as InitializeAndGetInstance describes them.
  Logger(const CXString& appName, const CXString& logFileName, const CXString& logFolderRoot, bool showThreadId);

  // The application name shown in lines.
  CXString GetAppName() const;
  // See the top of this file.
  CXString GetDefaultLogFolderRoot() const;
  // The name of the cross-process lock of this log file (a named mutex on
  // Windows, a lock-file path on POSIX; see LoggerPlatform.h).
  CXString GetLogFileMutexName() const;
  // The self-relative security descriptor of the named mutex (empty on
  // POSIX; see LoggerPlatform.h for what it grants).
  std::vector<unsigned char> InitSecurityDescriptorForLogFileMutex() const;
  // Creates the folder and every missing folder above it; true when it exists
  // afterwards.
  bool CreateDirectoryW(const CXString& folderPath) const;
  // The size of the log file in bytes; 0 when it does not exist.
  std::uint64_t GetLogFileSize() const;
  // Trims the log file when it has passed iLogSizeLimitBytes (see above);
  // true when it did. Takes the logger's locks itself.
  bool TrimLogFile();

 private:
  enum class PermissionSetting { None, AdminsAndLocalService, AuthenticatedUsers };

  void Configure(const CXString& appName, const CXString& logFileName, const CXString& logFolderRoot,
                 bool showThreadId);
  // These expect m_mutex to be held.
  void EnsureCrossProcessLockOpen();
  // These expect the cross-process lock to be held as well.
  bool TrimLogFileLocked(const PlatformFacilities::LocalTime& now);
  bool WriteLineLocked(const PlatformFacilities::LocalTime& now, const CXString& message);
  bool ApplyPermissionsLocked(PermissionSetting setting);
  CXString FormatLine(const PlatformFacilities::LocalTime& now, const CXString& message) const;
  PlatformFacilities::LocalTime ReadLocalTime() const;

  static std::atomic<Logger*> m_pInstance;

  mutable std::mutex m_mutex;
  CXString m_appName;
  CXString m_logFileName;
  CXString m_logFolderPath;   // with its trailing separator
  CXString m_logFilePath;     // ".log"
  CXString m_oldLogFilePath;  // ".hldold"
  bool m_showThreadId = true;
  bool m_obscureLines = false;
  PermissionSetting m_permissions = PermissionSetting::None;
  LocalTimeSource m_localTimeSource;
  std::unique_ptr<LoggerPlatform::CrossProcessLock> m_crossProcessLock;
  CXString m_crossProcessLockName;        // the name for m_logFilePath
  CXString m_openedCrossProcessLockName;  // the name m_crossProcessLock was opened with
};
