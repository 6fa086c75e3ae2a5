#include "LowLevelFacilities/LoggingOptions.h"

#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/ILogMessageDestinationServices.h"

#include <atomic>
#include <cstring>
#include <type_traits>

namespace HaldenConfiguration {

namespace {

constexpr long long kMaximumNameWidth = 4096;
constexpr long long kMaximumInt32 = 2147483647LL;
constexpr long long kMaximumInt64 = 9223372036854775807LL;

constexpr LoggingOptionDescription kOptionTable[LOID_NUMBER_OF_OPTIONS] = {
    {LOID_ENABLE_LOGGING, LoggingOptionKindEnum::LOKE_BOOLEAN, "enable-logging", 0, 1},
    {LOID_ENABLE_LOW_LEVEL_INTERNALS_OUTPUT, LoggingOptionKindEnum::LOKE_BOOLEAN, "enable-low-level-internals-output",
     0, 1},
    {LOID_MAX_VERBOSITY_LEVEL, LoggingOptionKindEnum::LOKE_LEVEL, "max-verbosity-level", -128, 127},
    {LOID_INCLUDED_CATEGORIES_ARRAY, LoggingOptionKindEnum::LOKE_CATEGORIES, "included-categories-array", 0, 0},
    {LOID_EXCLUDED_CATEGORIES_ARRAY, LoggingOptionKindEnum::LOKE_CATEGORIES, "excluded-categories-array", 0, 0},
    {LOID_REQUIRE_ONLY_SUBSET_OF_CATEGORIES, LoggingOptionKindEnum::LOKE_BOOLEAN, "require-only-subset-of-categories",
     0, 1},
    {LOID_USE_BACKGROUND_THREAD, LoggingOptionKindEnum::LOKE_BOOLEAN, "use-background-thread", 0, 1},
    {LOID_SHOW_DATE, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-date", 0, 1},
    {LOID_SHOW_TIME, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-time", 0, 1},
    {LOID_USE_MILLISECOND_PRECISION, LoggingOptionKindEnum::LOKE_BOOLEAN, "use-millisecond-precision", 0, 1},
    {LOID_SHOW_THREAD_ID, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-thread-id", 0, 1},
    {LOID_SHOW_PROCESS_ID, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-process-id", 0, 1},
    {LOID_SHOW_VERBOSITY_LEVEL, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-verbosity-level", 0, 1},
    {LOID_SHOW_LINE_NUMBER, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-line-number", 0, 1},
    {LOID_SHOW_PROCESS_NAME, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-process-name", 0, 1},
    {LOID_MIN_PROCESS_NAME_WIDTH, LoggingOptionKindEnum::LOKE_WIDTH, "min-process-name-width", 0, kMaximumNameWidth},
    {LOID_MAX_PROCESS_NAME_WIDTH, LoggingOptionKindEnum::LOKE_WIDTH, "max-process-name-width", 0, kMaximumNameWidth},
    {LOID_SHOW_FILE_NAME, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-file-name", 0, 1},
    {LOID_MIN_FILE_NAME_WIDTH, LoggingOptionKindEnum::LOKE_WIDTH, "min-file-name-width", 0, kMaximumNameWidth},
    {LOID_MAX_FILE_NAME_WIDTH, LoggingOptionKindEnum::LOKE_WIDTH, "max-file-name-width", 0, kMaximumNameWidth},
    {LOID_SHOW_METHOD_NAME, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-method-name", 0, 1},
    {LOID_MIN_METHOD_NAME_WIDTH, LoggingOptionKindEnum::LOKE_WIDTH, "min-method-name-width", 0, kMaximumNameWidth},
    {LOID_MAX_METHOD_NAME_WIDTH, LoggingOptionKindEnum::LOKE_WIDTH, "max-method-name-width", 0, kMaximumNameWidth},
    {LOID_SHOW_COMPUTER_NAME, LoggingOptionKindEnum::LOKE_BOOLEAN, "show-computer-name", 0, 1},
    {LOID_MIN_COMPUTER_NAME_WIDTH, LoggingOptionKindEnum::LOKE_WIDTH, "min-computer-name-width", 0, kMaximumNameWidth},
    {LOID_MAX_COMPUTER_NAME_WIDTH, LoggingOptionKindEnum::LOKE_WIDTH, "max-computer-name-width", 0, kMaximumNameWidth},
    {LOID_INDENT_STRING, LoggingOptionKindEnum::LOKE_STRING, "indent-string", 0, 0},
    {LOID_LINE_ENDING_CHARS, LoggingOptionKindEnum::LOKE_STRING, "line-ending-chars", 0, 0},
    {LOID_MAX_MESSAGE_WIDTH, LoggingOptionKindEnum::LOKE_WIDTH, "max-message-width", 0, kMaximumInt32},
    {LOID_TROUBLESHOOT_DEBUG_LOGGING_CATEGORIES, LoggingOptionKindEnum::LOKE_BOOLEAN,
     "troubleshoot-debug-logging-categories", 0, 1},
    {LOID_OBFUSCATE_LOG_MESSAGES, LoggingOptionKindEnum::LOKE_BOOLEAN, "obfuscate-log-messages", 0, 1},
    {LOID_CLEAR_LOG_FILES_ON_OPEN, LoggingOptionKindEnum::LOKE_BOOLEAN, "clear-log-files-on-open", 0, 1},
    {LOID_FLUSH_LOG_FILE_STREAM_ON_WRITE, LoggingOptionKindEnum::LOKE_BOOLEAN, "flush-log-file-stream-on-write", 0, 1},
    {LOID_ADD_SEQUENTIAL_LOG_FILE_SUFFIX_ON_OPEN, LoggingOptionKindEnum::LOKE_BOOLEAN,
     "add-sequential-log-file-suffix-on-open", 0, 1},
    {LOID_UNLIMITED_LOG_FILE_SIZE_FLAG, LoggingOptionKindEnum::LOKE_BOOLEAN, "unlimited-log-file-size-flag", 0, 1},
    {LOID_MAX_SIZE_OF_LIMITED_LOG_FILE, LoggingOptionKindEnum::LOKE_SIZE, "max-size-of-limited-log-file", 0,
     kMaximumInt64},
    {LOID_LOG_FILE_NAME_STRING, LoggingOptionKindEnum::LOKE_STRING, "log-file-name-string", 0, 0},
};

#ifdef _WIN32
const char* const kNativeLineEnding = "\r\n";
#else
const char* const kNativeLineEnding = "\n";
#endif

// "%*.*s " with a maximum of 0 meaning no limit.
std::string makeNamePiece(const std::string& name, int minimumWidth, int maximumWidth) {
  if (maximumWidth > 0) {
    return InternalHaldenCP::formatToStdString("%*.*s ", minimumWidth, maximumWidth, name);
  }
  return InternalHaldenCP::formatToStdString("%*s ", minimumWidth, name);
}

std::string quoteForDisplay(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    switch (c) {
      case '\r':
        result += "\\r";
        break;
      case '\n':
        result += "\\n";
        break;
      case '\t':
        result += "\\t";
        break;
      case '\\':
        result += "\\\\";
        break;
      case '"':
        result += "\\\"";
        break;
      default:
        result += c;
    }
  }
  result += '"';
  return result;
}

std::string categoriesForDisplay(unsigned long long mask) {
  if (mask == XC_ALL) {
    return "[\"XC_ALL\"]";
  }
  if (mask == XC_NONE) {
    return "[]";
  }
  std::string result = "[";
  const auto* table = HaldenLogging::DebugLoggingCategoryHelper::getCategoryTable();
  for (unsigned i = 0; i < HaldenLogging::DebugLoggingCategoryHelper::kNumberOfCategoryTableEntries; ++i) {
    const auto& entry = table[i];
    if (entry.mask == XC_ALL || (entry.mask & mask) == 0) {
      continue;
    }
    if (result.size() > 1) {
      result += ", ";
    }
    result += '"';
    result += entry.name;
    result += '"';
  }
  result += ']';
  return result;
}

template <class T>
std::string displayValue(const T& value) {
  if constexpr (std::is_same_v<T, bool>) {
    return value ? "true" : "false";
  } else if constexpr (std::is_same_v<T, std::string>) {
    return quoteForDisplay(value);
  } else if constexpr (std::is_same_v<T, signed char>) {
    return std::to_string(static_cast<int>(value));
  } else {
    return std::to_string(value);
  }
}

}  // namespace

// ---- the option table ----------------------------------------------------------------

const LoggingOptionDescription* LoggingOptionTable::describe(int id) noexcept {
  if (id < 0 || id >= LOID_NUMBER_OF_OPTIONS) {
    return nullptr;
  }
  return &kOptionTable[id];
}

const LoggingOptionDescription* LoggingOptionTable::findByKey(const std::string& key) noexcept {
  for (const LoggingOptionDescription& description : kOptionTable) {
    if (key == description.key) {
      return &description;
    }
  }
  return nullptr;
}

// ---- LoggingMessageFormatOptions ------------------------------------------------------

LoggingMessageFormatOptions LoggingMessageFormatOptions::getFactoryDefaults() {
  LoggingMessageFormatOptions options;
  options.m_ShowDate.value = true;
  options.m_ShowTime.value = true;
  options.m_UseMillisecondPrecision.value = true;
  options.m_ShowThreadId.value = true;
  options.m_ShowProcessId.value = true;
  options.m_ShowVerbosityLevel.value = true;
  options.m_ShowLineNumber.value = true;
  options.m_ShowProcessName.value = false;
  options.m_MinProcessNameWidth.value = 0;
  options.m_MaxProcessNameWidth.value = 24;
  options.m_ShowFileName.value = true;
  options.m_MinFileNameWidth.value = 0;
  options.m_MaxFileNameWidth.value = 32;
  options.m_ShowMethodName.value = false;
  options.m_MinMethodNameWidth.value = 0;
  options.m_MaxMethodNameWidth.value = 48;
  options.m_ShowComputerName.value = false;
  options.m_MinComputerNameWidth.value = 0;
  options.m_MaxComputerNameWidth.value = 24;
  options.m_IndentString.value = std::string(2, ' ');
  options.m_LineEndingChars.value = std::string(kNativeLineEnding);
  options.m_MaxMessageWidth.value = 0;
  return options;
}

#define HDU_APPLY_SPECIFIED(id, Member, Kind) \
  if (other.m_##Member.specified) {           \
    m_##Member = other.m_##Member;            \
  }
#define HDU_TAKE_FROM_SUPERSET(id, Member, Kind) \
  if (!m_##Member.specified) {                   \
    m_##Member = superset.m_##Member;            \
  }
#define HDU_CLEAR_FLAG(id, Member, Kind) m_##Member.specified = false;
#define HDU_COMPARE(id, Member, Kind) &&m_##Member == other.m_##Member

void LoggingMessageFormatOptions::applySpecifiedOptionValues(const LoggingMessageFormatOptions& other) {
  HDU_LOGGING_FORMAT_OPTIONS(HDU_APPLY_SPECIFIED)
}

void LoggingMessageFormatOptions::setWithSupersetOfOptions(const LoggingMessageFormatOptions& superset) {
  HDU_LOGGING_FORMAT_OPTIONS(HDU_TAKE_FROM_SUPERSET)
}

void LoggingMessageFormatOptions::clearSpecifiedFlags() noexcept {
  HDU_LOGGING_FORMAT_OPTIONS(HDU_CLEAR_FLAG)
}

bool LoggingMessageFormatOptions::operator==(const LoggingMessageFormatOptions& other) const {
  return true HDU_LOGGING_FORMAT_OPTIONS(HDU_COMPARE);
}

void LoggingMessageFormatOptions::updateFormattedStringCacheMembers(
    HaldenLogging::ILogMessageDestinationServices& services) {
  static std::atomic<bool> s_widthReported{false};
  const std::string processIdHex = services.getProcessIdAsHexString();
  const std::size_t digits = processIdHex.size() >= 2 ? processIdHex.size() - 2 : processIdHex.size();
  if (digits != static_cast<std::size_t>(kWidthProcessIdHex) && !s_widthReported.exchange(true)) {
    const std::string text = InternalHaldenCP::formatToStdString(
        "CP_SNPRINTF() returned %u for the width (in hex) of the process ID, but we expected %d. May need to assume "
        "a larger value for kWidthProcessIdHex on this platform. This error will only be shown once.",
        static_cast<unsigned>(digits), static_cast<int>(kWidthProcessIdHex));
    services.reportLoggingInternalsError("LoggingMessageFormatOptions::updateFormattedStringCacheMembers()",
                                         text.c_str());
  }
  m_cachedProcessIdPiece = processIdHex + " ";
  m_cachedProcessNamePiece =
      makeNamePiece(services.getProcessName(), m_MinProcessNameWidth.value, m_MaxProcessNameWidth.value);
  m_cachedComputerNamePiece =
      makeNamePiece(services.getComputerName(), m_MinComputerNameWidth.value, m_MaxComputerNameWidth.value);
}

void LoggingMessageFormatOptions::updateFormattedStringCacheMembers(std::uint32_t processId,
                                                                    const std::string& processName,
                                                                    const std::string& computerName) {
  m_cachedProcessIdPiece =
      InternalHaldenCP::formatToStdString("0x%0*x ", static_cast<int>(kWidthProcessIdHex), processId);
  m_cachedProcessNamePiece = makeNamePiece(processName, m_MinProcessNameWidth.value, m_MaxProcessNameWidth.value);
  m_cachedComputerNamePiece = makeNamePiece(computerName, m_MinComputerNameWidth.value, m_MaxComputerNameWidth.value);
}

// ---- LoggingOptions ----------------------------------------------------------------------

LoggingOptions LoggingOptions::getFactoryDefaults() {
  LoggingOptions options;
  options.m_EnableLogging.value = true;
  options.m_EnableLowLevelInternalsOutput.value = false;
  options.m_MaxVerbosityLevel.value = 5;
  options.m_IncludedCategories.value = XC_ALL;
  options.m_ExcludedCategories.value = XC_NONE;
  options.m_RequireOnlySubsetOfCategories.value = false;
  options.m_UseBackgroundThread.value = false;
  options.m_TroubleshootDebugLoggingCategories.value = false;
  options.m_ObfuscateLogMessages.value = false;
  options.m_ClearLogFilesOnOpen.value = false;
  options.m_FlushLogFileStreamOnWrite.value = false;
  options.m_AddSequentialLogFileSuffixOnOpen.value = false;
  options.m_UnlimitedLogFileSizeFlag.value = false;
  options.m_MaxSizeOfLimitedLogFile.value = 1048576;
  options.m_LogFileNameString.value = "$(home)$(separator)Logs$(separator)$(destination)$(build).log";
  options.m_messageFormatOptions = LoggingMessageFormatOptions::getFactoryDefaults();
  options.calculateAllowedCategories();
  return options;
}

void LoggingOptions::applySpecifiedOptionValues(const LoggingOptions& other) {
  HDU_LOGGING_GENERAL_OPTIONS(HDU_APPLY_SPECIFIED)
  m_messageFormatOptions.applySpecifiedOptionValues(other.m_messageFormatOptions);
  calculateAllowedCategories();
}

void LoggingOptions::setWithSupersetOfOptions(const LoggingOptions& superset) {
  HDU_LOGGING_GENERAL_OPTIONS(HDU_TAKE_FROM_SUPERSET)
  m_messageFormatOptions.setWithSupersetOfOptions(superset.m_messageFormatOptions);
  calculateAllowedCategories();
}

void LoggingOptions::clearSpecifiedFlags() noexcept {
  HDU_LOGGING_GENERAL_OPTIONS(HDU_CLEAR_FLAG)
  m_messageFormatOptions.clearSpecifiedFlags();
}

bool LoggingOptions::hasAnySpecifiedOption() const noexcept {
  for (int id = 0; id < LOID_NUMBER_OF_OPTIONS; ++id) {
    if (isOptionSpecified(id)) {
      return true;
    }
  }
  return false;
}

bool LoggingOptions::operator==(const LoggingOptions& other) const {
  return m_messageFormatOptions == other.m_messageFormatOptions HDU_LOGGING_GENERAL_OPTIONS(HDU_COMPARE);
}

void LoggingOptions::calculateAllowedCategories() noexcept {
  m_allowedCategories = m_IncludedCategories.value & ~m_ExcludedCategories.value;
}

void LoggingOptions::onOptionChanged(int id) noexcept {
  if (id == LOID_INCLUDED_CATEGORIES_ARRAY || id == LOID_EXCLUDED_CATEGORIES_ARRAY) {
    calculateAllowedCategories();
  }
}

#undef HDU_APPLY_SPECIFIED
#undef HDU_TAKE_FROM_SUPERSET
#undef HDU_CLEAR_FLAG
#undef HDU_COMPARE

#define HDU_CASE_SPECIFIED(id, Member, Kind) \
  case id:                                   \
    return owner.m_##Member.specified;
#define HDU_CASE_DISPLAY(id, Member, Kind) \
  case id:                                 \
    return displayValue(owner.m_##Member.value);

bool LoggingOptions::isOptionSpecified(int id) const noexcept {
  {
    const LoggingOptions& owner = *this;
    switch (id) { HDU_LOGGING_GENERAL_OPTIONS(HDU_CASE_SPECIFIED) default : break; }
  }
  {
    const LoggingMessageFormatOptions& owner = m_messageFormatOptions;
    switch (id) { HDU_LOGGING_FORMAT_OPTIONS(HDU_CASE_SPECIFIED) default : break; }
  }
  return false;
}

std::string LoggingOptions::getOptionValueDisplayString(int id) const {
  if (id == LOID_INCLUDED_CATEGORIES_ARRAY) {
    return categoriesForDisplay(m_IncludedCategories.value);
  }
  if (id == LOID_EXCLUDED_CATEGORIES_ARRAY) {
    return categoriesForDisplay(m_ExcludedCategories.value);
  }
  {
    const LoggingOptions& owner = *this;
    switch (id) {
      HDU_LOGGING_GENERAL_OPTIONS(HDU_CASE_DISPLAY)
      default:
        break;
    }
  }
  {
    const LoggingMessageFormatOptions& owner = m_messageFormatOptions;
    switch (id) {
      HDU_LOGGING_FORMAT_OPTIONS(HDU_CASE_DISPLAY)
      default:
        break;
    }
  }
  return {};
}

#undef HDU_CASE_SPECIFIED
#undef HDU_CASE_DISPLAY

}  // namespace HaldenConfiguration
