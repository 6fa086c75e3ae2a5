#pragma once
// HaldenConfiguration::LoggingOptions and LoggingMessageFormatOptions: the
// options of one log destination, or of the logging facility as a whole.
//
// Every option has a fixed identifier (its position in the list below, from
// 0) and a configuration key. Ids 7 to 28 are the line-format options
// (LoggingMessageFormatOptions); the others belong to LoggingOptions, which
// also holds one LoggingMessageFormatOptions.
//
// Each option is held as a LoggingOptionValue: a value and a flag saying
// whether some configuration source specified it. Factory defaults carry
// their values with the flag clear. Two ways of combining option sets:
//  - a.applySpecifiedOptionValues(b): every option that b specifies
//    overrides a's (value and flag); the others stay. A later configuration
//    source overrides only what it names.
//  - a.setWithSupersetOfOptions(b): every option that a does not specify is
//    taken from b (value and flag); a's specified ones stay. A destination's
//    own options are completed from the facility's options this way.
//
// Values and factory defaults:
//   id key                                      kind        default
//    0 enable-logging                           boolean     true
//    1 enable-low-level-internals-output        boolean     false
//    2 max-verbosity-level                      -128..127   5
//    3 included-categories-array                categories  XC_ALL
//    4 excluded-categories-array                categories  XC_NONE
//    5 require-only-subset-of-categories        boolean     false
//    6 use-background-thread                    boolean     false
//    7 show-date                                boolean     true
//    8 show-time                                boolean     true
//    9 use-millisecond-precision                boolean     true
//   10 show-thread-id                           boolean     true
//   11 show-process-id                          boolean     true
//   12 show-verbosity-level                     boolean     true
//   13 show-line-number                         boolean     true
//   14 show-process-name                        boolean     false
//   15 min-process-name-width                   0..4096     0
//   16 max-process-name-width                   0..4096     24
//   17 show-file-name                           boolean     true
//   18 min-file-name-width                      0..4096     0
//   19 max-file-name-width                      0..4096     32
//   20 show-method-name                         boolean     false
//   21 min-method-name-width                    0..4096     0
//   22 max-method-name-width                    0..4096     48
//   23 show-computer-name                       boolean     false
//   24 min-computer-name-width                  0..4096     0
//   25 max-computer-name-width                  0..4096     24
//   26 indent-string                            string      two blanks
//   27 line-ending-chars                        string      "\r\n" on Windows, "\n" elsewhere
//   28 max-message-width                        0..2^31-1   0 (no limit)
//   29 troubleshoot-debug-logging-categories    boolean     false
//   30 obfuscate-log-messages                   boolean     false
//   31 clear-log-files-on-open                  boolean     false
//   32 flush-log-file-stream-on-write           boolean     false
//   33 add-sequential-log-file-suffix-on-open   boolean     false
//   34 unlimited-log-file-size-flag             boolean     false
//   35 max-size-of-limited-log-file             0..2^63-1   1,048,576
//   36 log-file-name-string                     string "$(home)$(separator)Logs$(separator)$(destination)$(build).log"
// A maximum width of 0 means "no truncation". What the options do is told
// where they are used: the filter (LoggingFacility.h), the line layout
// (LogMessageDestinationBase.h) and the file handling
// (LogMessageDestinationFile.h).

#include "LowLevelFacilities/LoggingConfigurationReportSink.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <string>

namespace HaldenLogging {
class ILogMessageDestinationServices;
}
namespace cpptoml {
class table;
}

namespace HaldenConfiguration {

enum LoggingOptionIdEnum : int {
  LOID_ENABLE_LOGGING = 0,
  LOID_ENABLE_LOW_LEVEL_INTERNALS_OUTPUT = 1,
  LOID_MAX_VERBOSITY_LEVEL = 2,
  LOID_INCLUDED_CATEGORIES_ARRAY = 3,
  LOID_EXCLUDED_CATEGORIES_ARRAY = 4,
  LOID_REQUIRE_ONLY_SUBSET_OF_CATEGORIES = 5,
  LOID_USE_BACKGROUND_THREAD = 6,
  LOID_SHOW_DATE = 7,
  LOID_SHOW_TIME = 8,
  LOID_USE_MILLISECOND_PRECISION = 9,
  LOID_SHOW_THREAD_ID = 10,
  LOID_SHOW_PROCESS_ID = 11,
  LOID_SHOW_VERBOSITY_LEVEL = 12,
  LOID_SHOW_LINE_NUMBER = 13,
  LOID_SHOW_PROCESS_NAME = 14,
  LOID_MIN_PROCESS_NAME_WIDTH = 15,
  LOID_MAX_PROCESS_NAME_WIDTH = 16,
  LOID_SHOW_FILE_NAME = 17,
  LOID_MIN_FILE_NAME_WIDTH = 18,
  LOID_MAX_FILE_NAME_WIDTH = 19,
  LOID_SHOW_METHOD_NAME = 20,
  LOID_MIN_METHOD_NAME_WIDTH = 21,
  LOID_MAX_METHOD_NAME_WIDTH = 22,
  LOID_SHOW_COMPUTER_NAME = 23,
  LOID_MIN_COMPUTER_NAME_WIDTH = 24,
  LOID_MAX_COMPUTER_NAME_WIDTH = 25,
  LOID_INDENT_STRING = 26,
  LOID_LINE_ENDING_CHARS = 27,
  LOID_MAX_MESSAGE_WIDTH = 28,
  LOID_TROUBLESHOOT_DEBUG_LOGGING_CATEGORIES = 29,
  LOID_OBFUSCATE_LOG_MESSAGES = 30,
  LOID_CLEAR_LOG_FILES_ON_OPEN = 31,
  LOID_FLUSH_LOG_FILE_STREAM_ON_WRITE = 32,
  LOID_ADD_SEQUENTIAL_LOG_FILE_SUFFIX_ON_OPEN = 33,
  LOID_UNLIMITED_LOG_FILE_SIZE_FLAG = 34,
  LOID_MAX_SIZE_OF_LIMITED_LOG_FILE = 35,
  LOID_LOG_FILE_NAME_STRING = 36,
  LOID_NUMBER_OF_OPTIONS = 37,
};

// The kind of an option's value, which decides how it is read from TOML.
enum class LoggingOptionKindEnum {
  LOKE_BOOLEAN,     // TOML boolean
  LOKE_LEVEL,       // TOML integer, -128..127
  LOKE_WIDTH,       // TOML integer, 0..4096 (max-message-width: 0..2^31-1)
  LOKE_SIZE,        // TOML integer, 0..2^63-1
  LOKE_STRING,      // TOML string
  LOKE_CATEGORIES,  // TOML array of category names
};

using LoggingOptionBooleanType = bool;
using LoggingOptionLevelType = signed char;
using LoggingOptionWidthType = std::int32_t;
using LoggingOptionSizeType = std::uint64_t;
using LoggingOptionStringType = std::string;
using LoggingOptionCategoriesType = unsigned long long;

template <class T>
struct LoggingOptionValue {
  T value{};
  bool specified = false;

  void set(const T& newValue) {
    value = newValue;
    specified = true;
  }
  bool operator==(const LoggingOptionValue&) const = default;
};

// X(id, member, kind): the format options (ids 7 to 28).
#define HDU_LOGGING_FORMAT_OPTIONS(X)                                 \
  X(LOID_SHOW_DATE, ShowDate, Boolean)                                \
  X(LOID_SHOW_TIME, ShowTime, Boolean)                                \
  X(LOID_USE_MILLISECOND_PRECISION, UseMillisecondPrecision, Boolean) \
  X(LOID_SHOW_THREAD_ID, ShowThreadId, Boolean)                       \
  X(LOID_SHOW_PROCESS_ID, ShowProcessId, Boolean)                     \
  X(LOID_SHOW_VERBOSITY_LEVEL, ShowVerbosityLevel, Boolean)           \
  X(LOID_SHOW_LINE_NUMBER, ShowLineNumber, Boolean)                   \
  X(LOID_SHOW_PROCESS_NAME, ShowProcessName, Boolean)                 \
  X(LOID_MIN_PROCESS_NAME_WIDTH, MinProcessNameWidth, Width)          \
  X(LOID_MAX_PROCESS_NAME_WIDTH, MaxProcessNameWidth, Width)          \
  X(LOID_SHOW_FILE_NAME, ShowFileName, Boolean)                       \
  X(LOID_MIN_FILE_NAME_WIDTH, MinFileNameWidth, Width)                \
  X(LOID_MAX_FILE_NAME_WIDTH, MaxFileNameWidth, Width)                \
  X(LOID_SHOW_METHOD_NAME, ShowMethodName, Boolean)                   \
  X(LOID_MIN_METHOD_NAME_WIDTH, MinMethodNameWidth, Width)            \
  X(LOID_MAX_METHOD_NAME_WIDTH, MaxMethodNameWidth, Width)            \
  X(LOID_SHOW_COMPUTER_NAME, ShowComputerName, Boolean)               \
  X(LOID_MIN_COMPUTER_NAME_WIDTH, MinComputerNameWidth, Width)        \
  X(LOID_MAX_COMPUTER_NAME_WIDTH, MaxComputerNameWidth, Width)        \
  X(LOID_INDENT_STRING, IndentString, String)                         \
  X(LOID_LINE_ENDING_CHARS, LineEndingChars, String)                  \
  X(LOID_MAX_MESSAGE_WIDTH, MaxMessageWidth, Width)

// The other options (ids 0 to 6 and 29 to 36).
#define HDU_LOGGING_GENERAL_OPTIONS(X)                                                       \
  X(LOID_ENABLE_LOGGING, EnableLogging, Boolean)                                             \
  X(LOID_ENABLE_LOW_LEVEL_INTERNALS_OUTPUT, EnableLowLevelInternalsOutput, Boolean)          \
  X(LOID_MAX_VERBOSITY_LEVEL, MaxVerbosityLevel, Level)                                      \
  X(LOID_INCLUDED_CATEGORIES_ARRAY, IncludedCategories, Categories)                          \
  X(LOID_EXCLUDED_CATEGORIES_ARRAY, ExcludedCategories, Categories)                          \
  X(LOID_REQUIRE_ONLY_SUBSET_OF_CATEGORIES, RequireOnlySubsetOfCategories, Boolean)          \
  X(LOID_USE_BACKGROUND_THREAD, UseBackgroundThread, Boolean)                                \
  X(LOID_TROUBLESHOOT_DEBUG_LOGGING_CATEGORIES, TroubleshootDebugLoggingCategories, Boolean) \
  X(LOID_OBFUSCATE_LOG_MESSAGES, ObfuscateLogMessages, Boolean)                              \
  X(LOID_CLEAR_LOG_FILES_ON_OPEN, ClearLogFilesOnOpen, Boolean)                              \
  X(LOID_FLUSH_LOG_FILE_STREAM_ON_WRITE, FlushLogFileStreamOnWrite, Boolean)                 \
  X(LOID_ADD_SEQUENTIAL_LOG_FILE_SUFFIX_ON_OPEN, AddSequentialLogFileSuffixOnOpen, Boolean)  \
  X(LOID_UNLIMITED_LOG_FILE_SIZE_FLAG, UnlimitedLogFileSizeFlag, Boolean)                    \
  X(LOID_MAX_SIZE_OF_LIMITED_LOG_FILE, MaxSizeOfLimitedLogFile, Size)                        \
  X(LOID_LOG_FILE_NAME_STRING, LogFileNameString, String)

// Static facts about each option.
struct LoggingOptionDescription {
  LoggingOptionIdEnum id;
  LoggingOptionKindEnum kind;
  const char* key;
  long long minimum;  // for the integer kinds
  long long maximum;
};

class HDU_API LoggingOptionTable {
 public:
  // The description of an id (LOID_ENABLE_LOGGING .. LOID_LOG_FILE_NAME_STRING);
  // null for any other value.
  static const LoggingOptionDescription* describe(int id) noexcept;
  // The description of a key, or null when the key is not an option key.
  static const LoggingOptionDescription* findByKey(const std::string& key) noexcept;
  static bool isMessageFormatOption(int id) noexcept { return id >= LOID_SHOW_DATE && id <= LOID_MAX_MESSAGE_WIDTH; }
};

#define HDU_DECLARE_LOGGING_OPTION_MEMBERS(id, Member, Kind)                                  \
 public:                                                                                      \
  const LoggingOptionValue<LoggingOption##Kind##Type>& get##Member##Option() const noexcept { \
    return m_##Member;                                                                        \
  }                                                                                           \
  const LoggingOption##Kind##Type& get##Member() const noexcept {                             \
    return m_##Member.value;                                                                  \
  }                                                                                           \
  void set##Member(const LoggingOption##Kind##Type& value) {                                  \
    m_##Member.set(value);                                                                    \
    onOptionChanged(id);                                                                      \
  }                                                                                           \
                                                                                              \
 private:                                                                                     \
  LoggingOptionValue<LoggingOption##Kind##Type> m_##Member;

class HDU_API LoggingMessageFormatOptions {
 public:
  // The width in hex digits of a process identifier in a line ("0x%0*x").
  enum : int { kWidthProcessIdHex = 6, kWidthThreadIdHex = 6, kWidthProcessIdDecimal = 8, kWidthThreadIdDecimal = 8 };

  LoggingMessageFormatOptions() = default;
  // The factory defaults (every flag clear).
  static LoggingMessageFormatOptions getFactoryDefaults();

  void applySpecifiedOptionValues(const LoggingMessageFormatOptions& other);
  void setWithSupersetOfOptions(const LoggingMessageFormatOptions& superset);
  // Clears every "specified" flag (the values stay).
  void clearSpecifiedFlags() noexcept;

  // Builds the cached pieces of the line prefix from the services' facts:
  // "0x%0*x " (width kWidthProcessIdHex) for the process id, and "%*.*s "
  // (minimum and maximum width; maximum 0 is no limit) for the process and
  // computer names. Checks that the process id takes kWidthProcessIdHex
  // digits; if not, reports once per process, under
  // "LoggingMessageFormatOptions::updateFormattedStringCacheMembers()",
  // "CP_SNPRINTF() returned <n> for the width (in hex) of the process ID, but
  // we expected 6. May need to assume a larger value for kWidthProcessIdHex
  // on this platform. This error will only be shown once." through the
  // services' internals report.
  void updateFormattedStringCacheMembers(HaldenLogging::ILogMessageDestinationServices& services);
  // The same from plain facts (the report goes nowhere); for tests and tools.
  void updateFormattedStringCacheMembers(std::uint32_t processId, const std::string& processName,
                                         const std::string& computerName);
  const std::string& getCachedProcessIdPiece() const noexcept { return m_cachedProcessIdPiece; }
  const std::string& getCachedProcessNamePiece() const noexcept { return m_cachedProcessNamePiece; }
  const std::string& getCachedComputerNamePiece() const noexcept { return m_cachedComputerNamePiece; }

  bool operator==(const LoggingMessageFormatOptions& other) const;

  HDU_LOGGING_FORMAT_OPTIONS(HDU_DECLARE_LOGGING_OPTION_MEMBERS)

 private:
  friend class LoggingOptions;
  void onOptionChanged(int /*id*/) noexcept {}
  std::string m_cachedProcessIdPiece;
  std::string m_cachedProcessNamePiece;
  std::string m_cachedComputerNamePiece;
};

class HDU_API LoggingOptions {
 public:
  LoggingOptions() = default;
  // The options a TOML table specifies (every option key it holds); keys
  // that are not option keys are reported as unknown (LoggingTomlReader.h
  // lists the reports).
  LoggingOptions(const cpptoml::table& table, const std::string& tablePath, ILoggingConfigurationReportSink& sink);
  // The factory defaults (every flag clear).
  static LoggingOptions getFactoryDefaults();

  void applySpecifiedOptionValues(const LoggingOptions& other);
  void setWithSupersetOfOptions(const LoggingOptions& superset);
  void clearSpecifiedFlags() noexcept;
  // Whether any option is specified.
  bool hasAnySpecifiedOption() const noexcept;

  LoggingMessageFormatOptions& getMessageFormatOptions() noexcept { return m_messageFormatOptions; }
  const LoggingMessageFormatOptions& getMessageFormatOptions() const noexcept { return m_messageFormatOptions; }

  // The allowed-category mask: the included categories without the excluded
  // ones. Kept up to date whenever either option changes.
  unsigned long long getAllowedCategories() const noexcept { return m_allowedCategories; }
  void calculateAllowedCategories() noexcept;
  // The allowed mask intersected with a message's categories.
  unsigned long long getCategoriesIntersection(const unsigned long long& categories) const noexcept {
    return m_allowedCategories & categories;
  }

  // Access by identifier (for readers and checkers).
  bool isOptionSpecified(int id) const noexcept;
  // The value as configuration text: true/false, a decimal number, a quoted
  // string (with \r, \n, \t and \\ escaped), or a category list
  // ["XC_ERR", "XC_TRACE"] (XC_ALL and XC_NONE by those names).
  std::string getOptionValueDisplayString(int id) const;

  bool operator==(const LoggingOptions& other) const;

  HDU_LOGGING_GENERAL_OPTIONS(HDU_DECLARE_LOGGING_OPTION_MEMBERS)

 private:
  void onOptionChanged(int id) noexcept;
  LoggingMessageFormatOptions m_messageFormatOptions;
  unsigned long long m_allowedCategories = 0;
};

#undef HDU_DECLARE_LOGGING_OPTION_MEMBERS

}  // namespace HaldenConfiguration
