#include "LowLevelFacilities/LogMessageDestinationFile.h"

#include "DebuggingAndExceptions/DebugUtilities.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/ILogMessageDestinationServices.h"
#include "LowLevelFacilities/LoggingContextualOptions.h"

#include <ctime>
#include <filesystem>
#include <system_error>

namespace HaldenLogging {

namespace {

const char* const kVariableNames[LogMessageDestinationFile::LFNVE_NUMBER_OF_VARIABLES] = {
    "build",   "computer",  "destination", "home", "pid",  "pidx", "platform",
    "process", "separator", "session",     "tid",  "tidx", "time",
};

std::filesystem::path toPath(const std::string& utf8) {
  return std::filesystem::path(std::u8string(reinterpret_cast<const char8_t*>(utf8.data()), utf8.size()));
}

bool pathExists(const std::string& utf8) {
  std::error_code error;
  return std::filesystem::exists(toPath(utf8), error);
}

// "name.log" -> "name_<n>.log"; the suffix goes before the last extension of
// the last path component.
std::string withSequentialSuffix(const std::string& name, unsigned number) {
  const std::size_t separator = name.find_last_of("\\/");
  const std::size_t componentStart = separator == std::string::npos ? 0 : separator + 1;
  const std::size_t dot = name.rfind('.');
  // Built by the formatter: g++ 12 at -O3 warns falsely (-Wrestrict) about
  // a literal joined to a std::string here.
  if (dot == std::string::npos || dot < componentStart || dot == componentStart) {
    return InternalHaldenCP::formatToStdString("%s_%u", name, number);
  }
  return InternalHaldenCP::formatToStdString("%s_%u%s", name.substr(0, dot), number, name.substr(dot));
}

std::string processNameWithoutExtension(const std::string& processName) {
  const std::size_t dot = processName.rfind('.');
  return (dot == std::string::npos || dot == 0) ? processName : processName.substr(0, dot);
}

std::string localTimeText() {
  const auto now = static_cast<std::int64_t>(std::time(nullptr));
  const LoggingPlatform::LocalCalendarTime local = LoggingPlatform::toLocalCalendarTime(now);
  std::tm parts{};
  parts.tm_year = local.year - 1900;
  parts.tm_mon = local.month - 1;
  parts.tm_mday = local.day;
  parts.tm_hour = local.hour;
  parts.tm_min = local.minute;
  parts.tm_sec = local.second;
  char buffer[40];
  const std::size_t length = std::strftime(buffer, sizeof(buffer), "%Y-%m-%d_%H_%M_%S", &parts);
  return std::string(buffer, length);
}

}  // namespace

LogMessageDestinationFile::LogMessageDestinationFile(const std::string& name,
                                                     const HaldenConfiguration::LoggingOptions& options)
    : LogMessageDestinationBase(HaldenConfiguration::DTE_FILE, name, options) {}

LogMessageDestinationFile::LogMessageDestinationFile(const LogMessageDestinationFile& other)
    : LogMessageDestinationBase(other) {}

LogMessageDestinationFile::~LogMessageDestinationFile() {
  if (m_file.isOpen() && !m_buffer.empty() && isDestinationEnabled()) {
    writeBytes(m_buffer.data(), m_buffer.size());
  }
  LoggingPlatform::closeLogFile(m_file);
}

std::unique_ptr<LogMessageDestinationBase> LogMessageDestinationFile::Clone() const {
  return std::unique_ptr<LogMessageDestinationBase>(new LogMessageDestinationFile(*this));
}

const char* LogMessageDestinationFile::getVariableName(int variable) noexcept {
  return (variable >= 0 && variable < LFNVE_NUMBER_OF_VARIABLES) ? kVariableNames[variable] : "";
}

void LogMessageDestinationFile::initializeFromLogMessageDestinationServices(ILogMessageDestinationServices& services) {
  preProcessLogFileName(services);
}

bool LogMessageDestinationFile::substituteVariable(LogFileNameVariablesEnum variable, bool final,
                                                   ILogMessageDestinationServices& services,
                                                   const std::string& timeText, std::string& out) {
  using HaldenConfiguration::LoggingMessageFormatOptions;
  switch (variable) {
    case LFNVE_BUILD:
      out += HaldenConfiguration::LoggingSelectionContext::getLibraryBuildWord();
      return true;
    case LFNVE_COMPUTER:
      out += services.getComputerName();
      return true;
    case LFNVE_DESTINATION:
      out += getDestinationName();
      return true;
    case LFNVE_HOME:
      out += services.getUserConfigurationHomeDirectoryPath();
      return true;
    case LFNVE_PID:
      out += services.getProcessIdAsDecimalString();
      return true;
    case LFNVE_PIDX:
      out += services.getProcessIdAsHexString();
      return true;
    case LFNVE_PLATFORM:
      out += HaldenConfiguration::LoggingSelectionContext::getPlatformWord();
      return true;
    case LFNVE_PROCESS:
      out += processNameWithoutExtension(services.getProcessName());
      return true;
    case LFNVE_SEPARATOR:
      out += LoggingPlatform::pathSeparator();
      return true;
    case LFNVE_SESSION:
      out += LoggingPlatform::sessionNameForFileNames();
      return true;
    case LFNVE_TID:
      if (!final) {
        return false;
      }
      out += InternalHaldenCP::formatToStdString("%0*u", services.getThreadIdWidthAsDecimalString(),
                                                 LoggingPlatform::currentThreadIdCached());
      return true;
    case LFNVE_TIDX:
      if (!final) {
        return false;
      }
      out += InternalHaldenCP::formatToStdString("0x%0*x", services.getThreadIdWidthAsHexString(),
                                                 LoggingPlatform::currentThreadIdCached());
      return true;
    case LFNVE_TIME:
      if (!final) {
        return false;
      }
      out += timeText;
      return true;
    default:
      return false;
  }
}

void LogMessageDestinationFile::preProcessLogFileName(ILogMessageDestinationServices& services) {
  const std::string& pattern = getOptions().getLogFileNameString();
  std::string result;
  std::string unknown;
  std::size_t position = 0;
  while (position < pattern.size()) {
    const std::size_t start = pattern.find("$(", position);
    if (start == std::string::npos) {
      result.append(pattern, position, std::string::npos);
      break;
    }
    result.append(pattern, position, start - position);
    const std::size_t end = pattern.find(')', start + 2);
    if (end == std::string::npos) {
      result.append(pattern, start, std::string::npos);
      break;
    }
    const std::string name = pattern.substr(start + 2, end - start - 2);
    int variable = -1;
    for (int i = 0; i < LFNVE_NUMBER_OF_VARIABLES; ++i) {
      if (name == kVariableNames[i]) {
        variable = i;
      }
    }
    if (variable < 0) {
      if (unknown.empty()) {
        unknown = pattern.substr(start, end - start + 1);
      }
      result.append(pattern, start, end - start + 1);
    } else if (!substituteVariable(static_cast<LogFileNameVariablesEnum>(variable), false, services, {}, result)) {
      result.append(pattern, start, end - start + 1);
    }
    position = end + 1;
  }
  m_preProcessedName = std::move(result);
  if (!unknown.empty()) {
    const std::string text = "Unknown variable, '" + unknown + "', in the log file name '" + pattern +
                             "' of the destination '" + getDestinationName() + "'. It is left in the name as written.";
    services.reportLoggingInternalsError("LogMessageDestinationFile::preProcessLogFileName()", text.c_str());
  }
}

std::string LogMessageDestinationFile::generateFinalLogFileName(ILogMessageDestinationServices& services,
                                                                const std::thread::id& /*thread*/,
                                                                const std::string& timeText) {
  std::string result;
  std::size_t position = 0;
  const std::string& name = m_preProcessedName;
  while (position < name.size()) {
    const std::size_t start = name.find("$(", position);
    if (start == std::string::npos) {
      result.append(name, position, std::string::npos);
      break;
    }
    result.append(name, position, start - position);
    const std::size_t end = name.find(')', start + 2);
    if (end == std::string::npos) {
      result.append(name, start, std::string::npos);
      break;
    }
    const std::string variableName = name.substr(start + 2, end - start - 2);
    bool substituted = false;
    for (int i = LFNVE_TID; i <= LFNVE_TIME && !substituted; ++i) {
      if (variableName == kVariableNames[i]) {
        substituted = substituteVariable(static_cast<LogFileNameVariablesEnum>(i), true, services, timeText, result);
      }
    }
    if (!substituted) {
      result.append(name, start, end - start + 1);
    }
    position = end + 1;
  }
  return result;
}

void LogMessageDestinationFile::reportOpenFailure(const std::string& path, std::uint32_t error) {
  const std::string text = "The log file destination '" + getDestinationName() + "' failed when trying to open '" +
                           path + "' (CPFileResultEnum::FILE_NOT_OPENED_FOR_WRITING). Last error is '" +
                           DebugUtilities::formatLastErrorDisplayString(error, true) +
                           "'. This log message destination will be disabled.";
  reportLoggingInternalsError("Error Opening Log File", text.c_str());
}

bool LogMessageDestinationFile::openFile(bool truncate) {
  std::uint32_t error = 0;
  if (!LoggingPlatform::openLogFile(m_finalName, truncate, m_file, m_fileSize, error)) {
    reportOpenFailure(m_finalName, error);
    disableDestination();
    return false;
  }
  return true;
}

bool LogMessageDestinationFile::openLogFileIfNeeded() {
  if (m_file.isOpen()) {
    return true;
  }
  if (m_openAttempted) {
    return false;
  }
  m_openAttempted = true;
  ILogMessageDestinationServices* services = getLogMessageDestinationServices();
  if (services == nullptr) {
    reportOpenFailure(getOptions().getLogFileNameString(), 0);
    disableDestination();
    return false;
  }
  std::string name = generateFinalLogFileName(*services, std::this_thread::get_id(), localTimeText());
  {
    std::error_code ignored;
    const std::filesystem::path parent = toPath(name).parent_path();
    if (!parent.empty()) {
      std::filesystem::create_directories(parent, ignored);
    }
  }
  if (getOptions().getAddSequentialLogFileSuffixOnOpen() && pathExists(name)) {
    std::string candidate;
    for (unsigned number = 1; number <= kMaximumSequentialSuffix; ++number) {
      candidate = withSequentialSuffix(name, number);
      if (!pathExists(candidate)) {
        break;
      }
    }
    name = std::move(candidate);
  }
  m_finalName = std::move(name);
  return openFile(getOptions().getClearLogFilesOnOpen());
}

bool LogMessageDestinationFile::writeBytes(const char* data, std::size_t count) {
  std::uint32_t error = 0;
  const std::size_t written = LoggingPlatform::writeLogFile(m_file, data, count, error);
  m_fileSize += written;
  if (written == count) {
    return true;
  }
  const std::string text = InternalHaldenCP::formatToStdString(
      "The log file destination '%s' failed writing '%s' when trying to write %zu bytes to the file only %zu bytes "
      "were written. Last error is '%s'. This log message destination will be disabled.",
      getDestinationName(), m_finalName, count, written, DebugUtilities::formatLastErrorDisplayString(error, true));
  reportLoggingInternalsError("Error Writing to Log File", text.c_str());
  disableDestination();
  m_buffer.clear();
  LoggingPlatform::closeLogFile(m_file);
  return false;
}

void LogMessageDestinationFile::rollOver() {
  if (!m_buffer.empty()) {
    if (!writeBytes(m_buffer.data(), m_buffer.size())) {
      return;
    }
    m_buffer.clear();
  }
  LoggingPlatform::closeLogFile(m_file);
  std::error_code error;
  const std::filesystem::path current = toPath(m_finalName);
  const std::filesystem::path previous = toPath(m_finalName + ".1");
  std::filesystem::remove(previous, error);
  std::filesystem::rename(current, previous, error);
  // Emptied in either case: after a rename the name is free, otherwise the
  // file restarts.
  openFile(true);
}

void LogMessageDestinationFile::writeMessage(const FormattedLogMessage& message) {
  if (!openLogFileIfNeeded()) {
    return;
  }
  const auto bytes = getFormattedMessageCharArrayAndSizeForWriting(message);
  const HaldenConfiguration::LoggingOptions& options = getOptions();
  const std::uint64_t limit = options.getMaxSizeOfLimitedLogFile();
  if (!options.getUnlimitedLogFileSizeFlag() && limit > 0) {
    const std::uint64_t pending = m_fileSize + m_buffer.size();
    if (pending > 0 && pending + bytes.second > limit) {
      rollOver();
      if (!m_file.isOpen()) {
        return;
      }
    }
  }
  if (m_buffer.capacity() < kBufferBytes) {
    m_buffer.reserve(kBufferBytes);
  }
  if (m_buffer.size() + bytes.second > kBufferBytes) {
    if (!m_buffer.empty()) {
      if (!writeBytes(m_buffer.data(), m_buffer.size())) {
        return;
      }
      m_buffer.clear();
    }
    if (bytes.second > kBufferBytes) {
      writeBytes(bytes.first, bytes.second);
      return;
    }
  }
  m_buffer.append(bytes.first, bytes.second);
  if (options.getFlushLogFileStreamOnWrite()) {
    flushBufferedOutput();
  }
}

void LogMessageDestinationFile::flushBufferedOutput() {
  if (m_buffer.empty() || !m_file.isOpen()) {
    return;
  }
  if (writeBytes(m_buffer.data(), m_buffer.size())) {
    m_buffer.clear();
  }
}

}  // namespace HaldenLogging
