#pragma once
// HaldenLogging::LogMessageDestinationFile: writes log lines to a file.
//
// File name. log-file-name-string holds text and variables, each written
// "$(name)":
//   $(build)      "debug" or "release" (the library's build)
//   $(computer)   the computer name
//   $(destination) the destination's name
//   $(home)       the user-configuration home directory (Config.toml's folder)
//   $(pid)        the process id, 8 decimal digits ("00004711")
//   $(pidx)       the process id, "0x" and 6 hex digits ("0x001267")
//   $(platform)   "windows" or "linux"
//   $(process)    the program's file name without its extension ("spoolsv")
//   $(separator)  "\" on Windows, "/" elsewhere
//   $(session)    "Master" in the services session (Windows session 0),
//                 otherwise the session number
//   $(tid)        the id of the thread that opens the file, 8 decimal digits
//   $(tidx)       the same, "0x" and 6 hex digits
//   $(time)       the local time of opening, strftime "%Y-%m-%d_%H_%M_%S"
//                 ("%F_%H_%M_%S" spelt out) in a buffer of 40 characters
// The first ten do not change while the process runs and are replaced once,
// when the destination is given the facility's services
// (preProcessLogFileName); $(tid), $(tidx) and $(time) are replaced when the
// file is opened (generateFinalLogFileName). An unknown variable stays in the
// name as written and is reported once, under
// "LogMessageDestinationFile::preProcessLogFileName()".
//
// Opening. The file is opened on the first message, not before (so that a
// configuration that logs nothing creates no file), with its missing folders
// created. clear-log-files-on-open empties an existing file; otherwise lines
// are appended. add-sequential-log-file-suffix-on-open never reuses an
// existing file: "name.log" is used when it does not exist, otherwise the
// first of "name_1.log", "name_2.log", ... up to "name_9999.log" that does not
// exist (the suffix goes before the last extension; a name without extension
// gets it at the end). Other processes may read, write and delete the file
// while it is open.
//
// Writing. Lines collect in a 64 KiB buffer that is written when it is full,
// when the facility flushes (its background thread each time its queue runs
// empty, every session end, reinitialisation and unload), and after every
// line under flush-log-file-stream-on-write. A process that crashes loses at
// most what the buffer held; turn flush-log-file-stream-on-write on when that
// matters more than speed.
//
// Size limit. Unless unlimited-log-file-size-flag is on, a file never grows
// past max-size-of-limited-log-file bytes through this destination: before a
// line that would take it past the limit, the file is rolled over: it is
// renamed to the same name with ".1" appended (replacing an earlier ".1") and
// a new, empty file is started under the name. A line longer than the limit
// is still written whole, to a fresh file. So at most about twice the limit
// is on disk. When the rename fails (another process holds the file without
// delete sharing), the file is emptied and restarted instead. A limit of 0
// means no limit.
//
// Failures. A file that cannot be opened is reported once, under "Error
// Opening Log File", as "The log file destination 'NAME' failed when trying
// to open 'PATH' (CPFileResultEnum::FILE_NOT_OPENED_FOR_WRITING). Last error
// is '<formatLastErrorDisplayString>'. This log message destination will be
// disabled."; a write that writes fewer bytes than given is reported once,
// under "Error Writing to Log File", as "The log file destination 'NAME'
// failed writing 'PATH' when trying to write N bytes to the file only M
// bytes were written. Last error is '...'. This log message destination will
// be disabled.". Either way the destination is disabled and the other
// destinations go on. Reports go through the services' internals report
// (never through logging).

#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "LowLevelFacilities/LoggingPlatform.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <string>
#include <thread>

namespace HaldenLogging {

class HDU_API LogMessageDestinationFile : public LogMessageDestinationBase {
 public:
  enum LogFileNameVariablesEnum : int {
    LFNVE_BUILD = 0,
    LFNVE_COMPUTER,
    LFNVE_DESTINATION,
    LFNVE_HOME,
    LFNVE_PID,
    LFNVE_PIDX,
    LFNVE_PLATFORM,
    LFNVE_PROCESS,
    LFNVE_SEPARATOR,
    LFNVE_SESSION,
    LFNVE_TID,
    LFNVE_TIDX,
    LFNVE_TIME,
    LFNVE_NUMBER_OF_VARIABLES,
  };
  enum : std::size_t { kBufferBytes = 65536, kMaximumSequentialSuffix = 9999 };

  LogMessageDestinationFile(const std::string& name, const HaldenConfiguration::LoggingOptions& options);
  ~LogMessageDestinationFile() override;
  std::unique_ptr<LogMessageDestinationBase> Clone() const override;

  void initializeFromLogMessageDestinationServices(ILogMessageDestinationServices& services) override;
  void writeMessage(const FormattedLogMessage& message) override;
  void flushBufferedOutput() override;

  // The variable's name without "$(" and ")" ("build", ...); "" when out of range.
  static const char* getVariableName(int variable) noexcept;
  // The name after the first substitution (empty before services are given).
  const std::string& getPreProcessedLogFileName() const noexcept { return m_preProcessedName; }
  // The path of the file opened last (empty before the first open).
  const std::string& getFinalLogFileName() const noexcept { return m_finalName; }
  bool isLogFileOpen() const noexcept { return m_file.isOpen(); }

 protected:
  LogMessageDestinationFile(const LogMessageDestinationFile& other);

 private:
  void preProcessLogFileName(ILogMessageDestinationServices& services);
  std::string generateFinalLogFileName(ILogMessageDestinationServices& services, const std::thread::id& thread,
                                       const std::string& timeText);
  // Appends the value of one variable; false for the variables left to the
  // final substitution when `final` is false.
  bool substituteVariable(LogFileNameVariablesEnum variable, bool final, ILogMessageDestinationServices& services,
                          const std::string& timeText, std::string& out);
  bool openLogFileIfNeeded();
  bool openFile(bool truncate);
  void rollOver();
  bool writeBytes(const char* data, std::size_t count);
  void reportOpenFailure(const std::string& path, std::uint32_t error);

  std::string m_preProcessedName;
  std::string m_finalName;
  LoggingPlatform::LogFileHandle m_file;
  std::uint64_t m_fileSize = 0;
  std::string m_buffer;
  bool m_openAttempted = false;
};

}  // namespace HaldenLogging
