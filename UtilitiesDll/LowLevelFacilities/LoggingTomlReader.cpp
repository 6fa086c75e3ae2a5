#include "LowLevelFacilities/LoggingTomlReader.h"

#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/LogMessageDestinationBase.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace HaldenConfiguration::LoggingTomlReader {

const char* const kWarningTitle = "Warning Parsing Logging Configuration TOML Data";
const char* const kErrorTitle = "Error Parsing Logging Configuration TOML Data";

namespace {

const char* const kTypeMismatchTitle = "Format Error: Type Mismatch for TOML Value";
const char* const kEmptyValueTitle = "Format Error: Invalid Empty TOML Value";
const char* const kNoEnumMappingTitle = "Format Error: No Enum Mapping for TOML Value";
const char* const kInvalidExclusiveTitle = "Format Error: Invalid Use of Exclusive Prefix";
const char* const kExclusiveNotAllowedTitle = "Format Error: 'Exlusive' Prefix Not Allowed";
const char* const kTryGetOptionTitle = "Format Error Found by tryGetTomlOption()";
const char* const kTryGetArrayTitle = "Format Error Found by tryGetTomlArrayAsStrings()";
const char* const kLoggingOptionsTitle = "Format Error Found by LoggingOptions::LoggingOptions()";

std::string invalidExclusiveText(const std::string& value, const std::string& keyPath) {
  return "Invalid use of the 'exclusive prefix' character, '!', in the value, '" + value + "', for this key, '" +
         keyPath + "'! Ignoring this value.";
}

// The allowed words of an enumerated selector; null for free-form selectors.
const std::vector<std::string>* allowedWords(int selector) {
  static const std::vector<std::string> builds = {"checked", "debug", "free", "release", "aefree", "aeplus"};
  static const std::vector<std::string> types = {"file", "stderr",      "stdout", "outputdebugstring",
                                                 "null", "stringstream"};
  static const std::vector<std::string> platforms = {"windows", "linux"};
  static const std::vector<std::string> onOff = {"on", "off"};
  switch (selector) {
    case LCSE_BUILDS:
      return &builds;
    case LCSE_TYPES:
      return &types;
    case LCSE_PLATFORMS:
      return &platforms;
    case LCSE_UNIT_TESTS:
    case LCSE_WARMUP_MODE:
      return &onOff;
    default:
      return nullptr;
  }
}

bool contains(const std::vector<std::string>& words, const std::string& word) {
  for (const std::string& w : words) {
    if (w == word) {
      return true;
    }
  }
  return false;
}

void readCategories(const cpptoml::table& table, const std::string& tablePath,
                    const LoggingOptionDescription& description, LoggingOptions& into,
                    ILoggingConfigurationReportSink& sink) {
  const std::string keyPath = joinKey(tablePath, description.key);
  const auto names = tryGetTomlArrayAsStrings(table, tablePath, description.key, true, sink);
  if (!names.has_value()) {
    return;
  }
  unsigned long long mask = XC_NONE;
  for (const std::string& name : *names) {
    if (name[0] == '!') {
      report(sink, kExclusiveNotAllowedTitle, invalidExclusiveText(name, keyPath));
      continue;
    }
    const unsigned long long category = HaldenLogging::DebugLoggingCategoryHelper::getCategoryFromString(name, sink);
    if (category == XC_ALL && description.id == LOID_EXCLUDED_CATEGORIES_ARRAY) {
      report(
          sink, kLoggingOptionsTitle,
          InternalHaldenCP::formatToStdString(
              "Unexpected value, '%s', in the list of values for this key, '%s'! Ignoring the values.", name, keyPath));
      return;
    }
    mask |= category;
  }
  if (description.id == LOID_INCLUDED_CATEGORIES_ARRAY) {
    into.setIncludedCategories(mask);
  } else {
    into.setExcludedCategories(mask);
  }
}

}  // namespace

std::shared_ptr<cpptoml::base> findValue(const cpptoml::table& table, const std::string& key) {
  return table.contains(key) ? table.get(key) : nullptr;
}

std::string joinKey(const std::string& tablePath, const std::string& key) {
  return tablePath.empty() ? key : tablePath + "." + key;
}

void report(ILoggingConfigurationReportSink& sink, const char* title, const std::string& text) {
  const ConfigurationReportSeverityEnum severity = std::strcmp(title, kWarningTitle) == 0
                                                       ? ConfigurationReportSeverityEnum::CRSE_WARNING
                                                       : ConfigurationReportSeverityEnum::CRSE_ERROR;
  sink.reportConfigurationProblem(severity, title, text);
}

void reportWarning(ILoggingConfigurationReportSink& sink, const std::string& text) {
  report(sink, kWarningTitle, text);
}

void reportUnknownKey(ILoggingConfigurationReportSink& sink, const std::string& tablePath, const std::string& key) {
  reportWarning(sink, "Unknown key, '" + key + "', in the [" + tablePath +
                          "] table. It is not a logging configuration key and is being ignored.");
}

void reportWrongType(ILoggingConfigurationReportSink& sink, const char* piece, const std::string& keyPath,
                     const std::string& key, const cpptoml::base& value) {
  std::string text = std::string(piece) + " '" + keyPath;
  if (value.is_table()) {
    text += "'. Missing a set of braces (e.g., '" + key + "=[...]')?";
  } else {
    text += "'.";
  }
  report(sink, kTypeMismatchTitle, text);
}

bool tryGetTomlOption(const cpptoml::table& table, const std::string& tablePath,
                      const LoggingOptionDescription& description, LoggingOptions& into,
                      ILoggingConfigurationReportSink& sink) {
  const std::shared_ptr<cpptoml::base> value = findValue(table, description.key);
  if (!value) {
    return false;
  }
  const std::string keyPath = joinKey(tablePath, description.key);
  switch (description.kind) {
    case LoggingOptionKindEnum::LOKE_BOOLEAN: {
      const auto flag = value->as<bool>();
      if (!flag) {
        report(sink, kTypeMismatchTitle, "Wrong type for this key's value: '" + keyPath + "'. Expect true or false.");
        return false;
      }
      const bool v = flag->get();
      switch (description.id) {
        case LOID_ENABLE_LOGGING:
          into.setEnableLogging(v);
          break;
        case LOID_ENABLE_LOW_LEVEL_INTERNALS_OUTPUT:
          into.setEnableLowLevelInternalsOutput(v);
          break;
        case LOID_REQUIRE_ONLY_SUBSET_OF_CATEGORIES:
          into.setRequireOnlySubsetOfCategories(v);
          break;
        case LOID_USE_BACKGROUND_THREAD:
          into.setUseBackgroundThread(v);
          break;
        case LOID_SHOW_DATE:
          into.getMessageFormatOptions().setShowDate(v);
          break;
        case LOID_SHOW_TIME:
          into.getMessageFormatOptions().setShowTime(v);
          break;
        case LOID_USE_MILLISECOND_PRECISION:
          into.getMessageFormatOptions().setUseMillisecondPrecision(v);
          break;
        case LOID_SHOW_THREAD_ID:
          into.getMessageFormatOptions().setShowThreadId(v);
          break;
        case LOID_SHOW_PROCESS_ID:
          into.getMessageFormatOptions().setShowProcessId(v);
          break;
        case LOID_SHOW_VERBOSITY_LEVEL:
          into.getMessageFormatOptions().setShowVerbosityLevel(v);
          break;
        case LOID_SHOW_LINE_NUMBER:
          into.getMessageFormatOptions().setShowLineNumber(v);
          break;
        case LOID_SHOW_PROCESS_NAME:
          into.getMessageFormatOptions().setShowProcessName(v);
          break;
        case LOID_SHOW_FILE_NAME:
          into.getMessageFormatOptions().setShowFileName(v);
          break;
        case LOID_SHOW_METHOD_NAME:
          into.getMessageFormatOptions().setShowMethodName(v);
          break;
        case LOID_SHOW_COMPUTER_NAME:
          into.getMessageFormatOptions().setShowComputerName(v);
          break;
        case LOID_TROUBLESHOOT_DEBUG_LOGGING_CATEGORIES:
          into.setTroubleshootDebugLoggingCategories(v);
          break;
        case LOID_OBFUSCATE_LOG_MESSAGES:
          into.setObfuscateLogMessages(v);
          break;
        case LOID_CLEAR_LOG_FILES_ON_OPEN:
          into.setClearLogFilesOnOpen(v);
          break;
        case LOID_FLUSH_LOG_FILE_STREAM_ON_WRITE:
          into.setFlushLogFileStreamOnWrite(v);
          break;
        case LOID_ADD_SEQUENTIAL_LOG_FILE_SUFFIX_ON_OPEN:
          into.setAddSequentialLogFileSuffixOnOpen(v);
          break;
        case LOID_UNLIMITED_LOG_FILE_SIZE_FLAG:
          into.setUnlimitedLogFileSizeFlag(v);
          break;
        default:
          return false;
      }
      return true;
    }
    case LoggingOptionKindEnum::LOKE_LEVEL:
    case LoggingOptionKindEnum::LOKE_WIDTH:
    case LoggingOptionKindEnum::LOKE_SIZE: {
      const auto number = value->as<std::int64_t>();
      if (!number) {
        report(sink, kTypeMismatchTitle, "Wrong type. Expect this key's value to be an integer: '" + keyPath + "'.");
        return false;
      }
      const std::int64_t v = number->get();
      if (v < description.minimum || v > description.maximum) {
        report(sink, kTryGetOptionTitle,
               "The value, " + std::to_string(v) + ", is out of range for this key: '" + keyPath +
                   "'. Expect an integer from " + std::to_string(description.minimum) + " to " +
                   std::to_string(description.maximum) + ". Ignoring this value.");
        return false;
      }
      LoggingMessageFormatOptions& format = into.getMessageFormatOptions();
      const auto width = static_cast<LoggingOptionWidthType>(v);
      switch (description.id) {
        case LOID_MAX_VERBOSITY_LEVEL:
          into.setMaxVerbosityLevel(static_cast<signed char>(v));
          break;
        case LOID_MIN_PROCESS_NAME_WIDTH:
          format.setMinProcessNameWidth(width);
          break;
        case LOID_MAX_PROCESS_NAME_WIDTH:
          format.setMaxProcessNameWidth(width);
          break;
        case LOID_MIN_FILE_NAME_WIDTH:
          format.setMinFileNameWidth(width);
          break;
        case LOID_MAX_FILE_NAME_WIDTH:
          format.setMaxFileNameWidth(width);
          break;
        case LOID_MIN_METHOD_NAME_WIDTH:
          format.setMinMethodNameWidth(width);
          break;
        case LOID_MAX_METHOD_NAME_WIDTH:
          format.setMaxMethodNameWidth(width);
          break;
        case LOID_MIN_COMPUTER_NAME_WIDTH:
          format.setMinComputerNameWidth(width);
          break;
        case LOID_MAX_COMPUTER_NAME_WIDTH:
          format.setMaxComputerNameWidth(width);
          break;
        case LOID_MAX_MESSAGE_WIDTH:
          format.setMaxMessageWidth(width);
          break;
        case LOID_MAX_SIZE_OF_LIMITED_LOG_FILE:
          into.setMaxSizeOfLimitedLogFile(static_cast<std::uint64_t>(v));
          break;
        default:
          return false;
      }
      return true;
    }
    case LoggingOptionKindEnum::LOKE_STRING: {
      const auto text = value->as<std::string>();
      if (!text) {
        report(sink, kTypeMismatchTitle, "Wrong type. Expect this key's value to be a string: '" + keyPath + "'.");
        return false;
      }
      switch (description.id) {
        case LOID_INDENT_STRING:
          into.getMessageFormatOptions().setIndentString(text->get());
          break;
        case LOID_LINE_ENDING_CHARS:
          into.getMessageFormatOptions().setLineEndingChars(text->get());
          break;
        case LOID_LOG_FILE_NAME_STRING:
          into.setLogFileNameString(text->get());
          break;
        default:
          return false;
      }
      return true;
    }
    case LoggingOptionKindEnum::LOKE_CATEGORIES:
      readCategories(table, tablePath, description, into, sink);
      return true;
  }
  return false;
}

std::optional<std::vector<std::string>> tryGetTomlArrayAsStrings(const cpptoml::table& table,
                                                                 const std::string& tablePath, const std::string& key,
                                                                 bool representsEnums,
                                                                 ILoggingConfigurationReportSink& sink) {
  const std::shared_ptr<cpptoml::base> value = findValue(table, key);
  if (!value) {
    return std::nullopt;
  }
  const std::string keyPath = joinKey(tablePath, key);
  if (!value->is_array()) {
    reportWrongType(sink, "Wrong type. Expect this key's value to be an array:", keyPath, key, *value);
    return std::nullopt;
  }
  std::vector<std::string> strings;
  for (const std::shared_ptr<cpptoml::base>& element : value->as_array()->get()) {
    const auto text = element ? element->as<std::string>() : nullptr;
    if (!text) {
      report(sink, kTryGetArrayTitle,
             std::string(representsEnums
                             ? "Wrong type. Expect this key's value to be an array of strings (representing enums):"
                             : "Wrong type. Expect this key's value to be an array of strings:") +
                 " '" + keyPath + "'.");
      return std::nullopt;
    }
    if (text->get().empty()) {
      report(sink, kEmptyValueTitle,
             std::string(representsEnums ? "Empty string not allowed in this array of enum values:"
                                         : "Empty string not allowed in this array of strings:") +
                 " '" + keyPath + "'.");
      continue;
    }
    strings.push_back(text->get());
  }
  return strings;
}

void readLoggingOptionsFromTable(const cpptoml::table& table, const std::string& tablePath, LoggingOptions& into,
                                 ILoggingConfigurationReportSink& sink, std::initializer_list<const char*> otherKeys) {
  // Keys in a fixed order: the reports come out the same on every run.
  std::vector<std::string> keys;
  for (const auto& entry : table) {
    keys.push_back(entry.first);
  }
  std::sort(keys.begin(), keys.end());
  for (const std::string& key : keys) {
    const LoggingOptionDescription* description = LoggingOptionTable::findByKey(key);
    if (description != nullptr) {
      tryGetTomlOption(table, tablePath, *description, into, sink);
      continue;
    }
    bool known = false;
    for (const char* other : otherKeys) {
      known = known || key == other;
    }
    if (!known) {
      reportUnknownKey(sink, tablePath, key);
    }
  }
}

LoggingContext readLoggingContextFromTable(const cpptoml::table& table, const std::string& tablePath,
                                           ILoggingConfigurationReportSink& sink) {
  LoggingContext context;
  std::vector<std::string> keys;
  for (const auto& entry : table) {
    keys.push_back(entry.first);
  }
  std::sort(keys.begin(), keys.end());
  for (const std::string& key : keys) {
    const int which = LoggingContext::findSelectorByKey(key);
    if (which < 0) {
      reportUnknownKey(sink, tablePath, key);
      continue;
    }
    const std::vector<std::string>* words = allowedWords(which);
    const auto values = tryGetTomlArrayAsStrings(table, tablePath, key, words != nullptr, sink);
    if (!values.has_value()) {
      continue;
    }
    const std::string keyPath = joinKey(tablePath, key);
    const bool prefixAllowed = which != LCSE_UNIT_TESTS && which != LCSE_WARMUP_MODE;
    bool anyExclusive = false;
    bool anyInclusive = false;
    std::vector<std::string> kept;
    bool keptExclusive = false;
    for (const std::string& value : *values) {
      const bool exclusive = value[0] == '!';
      if (exclusive && !prefixAllowed) {
        report(sink, kExclusiveNotAllowedTitle, invalidExclusiveText(value, keyPath));
        continue;
      }
      std::string bare = exclusive ? value.substr(1) : value;
      if (exclusive && (bare.empty() || bare[0] == '!' || (which == LCSE_DESTINATIONS && bare == "empty"))) {
        report(sink, kInvalidExclusiveTitle, invalidExclusiveText(value, keyPath));
        continue;
      }
      anyExclusive = anyExclusive || exclusive;
      anyInclusive = anyInclusive || !exclusive;
      if (words != nullptr && !contains(*words, bare)) {
        report(sink, kNoEnumMappingTitle,
               InternalHaldenCP::formatToStdString(
                   "Unexpected string. No enum mapping. The value: '%s' is not in the map associated with this key: "
                   "'%s'.",
                   value, keyPath));
        continue;
      }
      keptExclusive = exclusive;
      kept.push_back(std::move(bare));
    }
    if (anyExclusive && anyInclusive) {
      report(sink, kInvalidExclusiveTitle,
             "The set of values includes a mix of 'exclusive' (i.e., starts with '!') and 'inclusive' values! The "
             "values for this key are being ignored: '" +
                 keyPath + "'.");
      continue;
    }
    LoggingContextSelector& selector = context.getSelector(static_cast<LoggingContextSelectorEnum>(which));
    selector.present = true;
    selector.exclusive = kept.empty() ? anyExclusive : keptExclusive;
    selector.values = std::move(kept);
  }
  return context;
}

std::optional<bool> tryGetTomlBoolean(const cpptoml::table& table, const std::string& tablePath, const std::string& key,
                                      ILoggingConfigurationReportSink& sink) {
  const std::shared_ptr<cpptoml::base> value = findValue(table, key);
  if (!value) {
    return std::nullopt;
  }
  const auto flag = value->as<bool>();
  if (!flag) {
    report(sink, kTypeMismatchTitle,
           "Wrong type for this key's value: '" + joinKey(tablePath, key) + "'. Expect true or false.");
    return std::nullopt;
  }
  return flag->get();
}

}  // namespace HaldenConfiguration::LoggingTomlReader

// ---- LoggingOptions from a table ------------------------------------------------------------

namespace HaldenConfiguration {

LoggingOptions::LoggingOptions(const cpptoml::table& table, const std::string& tablePath,
                               ILoggingConfigurationReportSink& sink) {
  LoggingTomlReader::readLoggingOptionsFromTable(table, tablePath, *this, sink);
}

}  // namespace HaldenConfiguration
