#include "LowLevelFacilities/LogMessageDestinationBase.h"

#include "DebuggingAndExceptions/DebugUtilities.h"
#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"
#include "LowLevelFacilities/ILogMessageDestinationServices.h"
#include "LowLevelFacilities/LogLineObscurer.h"
#include "LowLevelFacilities/LogMessageDestinationFile.h"
#include "LowLevelFacilities/LogMessageDestinationNull.h"
#include "LowLevelFacilities/LogMessageDestinationOutputDebugString.h"
#include "LowLevelFacilities/LogMessageDestinationStderr.h"
#include "LowLevelFacilities/LogMessageDestinationStdout.h"
#include "LowLevelFacilities/LogMessageDestinationStringStream.h"
#include "LowLevelFacilities/LoggingPlatform.h"
#include "LowLevelFacilities/LoggingTomlReader.h"

#include <cstring>

namespace HaldenConfiguration {

namespace {

const char* const kTypeWords[DTE_NUMBER_OF_TYPES] = {"file", "stderr",      "stdout", "outputdebugstring",
                                                     "null", "stringstream"};

}  // namespace

const char* getDestinationTypeWord(int type) noexcept {
  return (type >= 0 && type < DTE_NUMBER_OF_TYPES) ? kTypeWords[type] : "";
}

bool tryGetDestinationTypeFromWord(const std::string& word, DestinationTypesEnum& type) noexcept {
  for (int i = 0; i < DTE_NUMBER_OF_TYPES; ++i) {
    if (word == kTypeWords[i]) {
      type = static_cast<DestinationTypesEnum>(i);
      return true;
    }
  }
  return false;
}

}  // namespace HaldenConfiguration

namespace HaldenLogging {

ILogMessageDestinationServices::~ILogMessageDestinationServices() = default;

using HaldenConfiguration::DestinationTypesEnum;
using HaldenConfiguration::LoggingOptions;

namespace {

// ---- small, allocation-free pieces of the line ----

template <class Buffer>
void appendDigits(Buffer& out, unsigned value, int width) {
  char digits[12];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0 && count < 11);
  while (count < width && count < 11) {
    digits[count++] = '0';
  }
  char reversed[12];
  for (int i = 0; i < count; ++i) {
    reversed[i] = digits[count - 1 - i];
  }
  out.append(reversed, static_cast<std::size_t>(count));
}

template <class Buffer>
void appendSigned(Buffer& out, long long value) {
  if (value < 0) {
    out.push_back('-');
    appendDigits(out, static_cast<unsigned>(-(value + 1)) + 1u, 1);
  } else {
    appendDigits(out, static_cast<unsigned>(value), 1);
  }
}

template <class Buffer>
void appendHex(Buffer& out, std::uint32_t value, int width) {
  static const char kHex[] = "0123456789abcdef";
  char digits[10];
  int count = 0;
  do {
    digits[count++] = kHex[value & 0xFu];
    value >>= 4;
  } while (value != 0);
  while (count < width) {
    digits[count++] = '0';
  }
  char reversed[10];
  for (int i = 0; i < count; ++i) {
    reversed[i] = digits[count - 1 - i];
  }
  out.append(reversed, static_cast<std::size_t>(count));
}

// The number of bytes of `text` (of `length`) that fit `maximum` bytes without
// cutting a UTF-8 sequence.
std::size_t fittingLength(const char* text, std::size_t length, std::size_t maximum) {
  if (length <= maximum) {
    return length;
  }
  std::size_t cut = maximum;
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0u) == 0x80u) {
    --cut;
  }
  return cut;
}

// "%*.*s": padded on the left to `minimum`, cut to `maximum` (0: no cut).
template <class Buffer>
void appendNameField(Buffer& out, const char* text, int minimum, int maximum) {
  std::size_t length = std::strlen(text);
  if (maximum > 0) {
    length = fittingLength(text, length, static_cast<std::size_t>(maximum));
  }
  if (static_cast<std::size_t>(minimum) > length) {
    out.appendRepeated(' ', static_cast<std::size_t>(minimum) - length);
  }
  out.append(text, length);
}

const char* fileNamePart(const char* path) {
  const char* name = path;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '\\' || *p == '/') {
      name = p + 1;
    }
  }
  return name;
}

}  // namespace

LogMessageDestinationBase::LogMessageDestinationBase(DestinationTypesEnum type, const std::string& name,
                                                     const LoggingOptions& options)
    : m_type(type), m_name(name), m_options(options) {
  updateEnabledFlagFromOptions();
}

LogMessageDestinationBase::LogMessageDestinationBase(const LogMessageDestinationBase& other)
    : m_type(other.m_type),
      m_name(other.m_name),
      m_options(other.m_options),
      m_enabled(other.isDestinationEnabled()),
      m_applicableContexts(other.m_applicableContexts) {}

LogMessageDestinationBase::~LogMessageDestinationBase() = default;

std::unique_ptr<LogMessageDestinationBase> LogMessageDestinationBase::createLogMessageDestination(
    DestinationTypesEnum type, const std::string& name, const LoggingOptions& options,
    HaldenConfiguration::ILoggingConfigurationReportSink& sink) {
  switch (type) {
    case HaldenConfiguration::DTE_FILE:
      return std::make_unique<LogMessageDestinationFile>(name, options);
    case HaldenConfiguration::DTE_STDERR:
      return std::make_unique<LogMessageDestinationStderr>(name, options);
    case HaldenConfiguration::DTE_STDOUT:
      return std::make_unique<LogMessageDestinationStdout>(name, options);
    case HaldenConfiguration::DTE_OUTPUTDEBUGSTRING:
      return std::make_unique<LogMessageDestinationOutputDebugString>(name, options);
    case HaldenConfiguration::DTE_NULL:
      return std::make_unique<LogMessageDestinationNull>(name, options);
    case HaldenConfiguration::DTE_STRINGSTREAM:
      return std::make_unique<LogMessageDestinationStringStream>(name, options);
    default:
      break;
  }
  sink.reportConfigurationProblem(HaldenConfiguration::ConfigurationReportSeverityEnum::CRSE_ERROR,
                                  "LogMessageDestinationBase::createLogMessageDestination()",
                                  "Unknown DestinationTypesEnum supplied: " + std::to_string(static_cast<int>(type)));
  return nullptr;
}

std::unique_ptr<LogMessageDestinationBase> LogMessageDestinationBase::createLogMessageDestination(
    DestinationTypesEnum type, const std::string& name, const LoggingOptions& options) {
  return createLogMessageDestination(type, name, options, HaldenConfiguration::ErrorDisplayReportSink::getInstance());
}

bool LogMessageDestinationBase::includeLineTerminationCharacters() const {
  return true;
}

void LogMessageDestinationBase::initializeFromLogMessageDestinationServices(
    ILogMessageDestinationServices& /*services*/) {}

void LogMessageDestinationBase::notifyApplicationSessionStarted() {}

void LogMessageDestinationBase::notifyApplicationSessionEnded() {}

std::pair<const char*, unsigned int> LogMessageDestinationBase::getFormattedMessageCharArrayAndSizeForWriting(
    const FormattedLogMessage& message) {
  return {message.line.data(), static_cast<unsigned int>(message.line.size())};
}

void LogMessageDestinationBase::flushBufferedOutput() {}

const char* LogMessageDestinationBase::getDestinationTypeWord() const noexcept {
  return HaldenConfiguration::getDestinationTypeWord(m_type);
}

void LogMessageDestinationBase::updateEnabledFlagFromOptions() noexcept {
  m_enabled.store(m_options.getEnableLogging(), std::memory_order_relaxed);
}

void LogMessageDestinationBase::setLogMessageDestinationServices(ILogMessageDestinationServices& services) {
  m_services = &services;
  m_options.getMessageFormatOptions().updateFormattedStringCacheMembers(services);
  initializeFromLogMessageDestinationServices(services);
}

void LogMessageDestinationBase::setOptions(const LoggingOptions& options) {
  m_options = options;
  m_options.calculateAllowedCategories();
  updateEnabledFlagFromOptions();
}

void LogMessageDestinationBase::applySpecifiedOptionValues(const LoggingOptions& options) {
  m_options.applySpecifiedOptionValues(options);
  updateEnabledFlagFromOptions();
}

void LogMessageDestinationBase::applySpecifiedOptionValues(
    const HaldenConfiguration::LoggingContextualOptions& contextualOptions) {
  if (!isAffectedBy(contextualOptions)) {
    return;
  }
  applySpecifiedOptionValues(contextualOptions.getOptions());
  HaldenConfiguration::LoggingContextsSet contexts = contextualOptions.getContexts();
  appendApplicableContextsSet(std::move(contexts));
}

void LogMessageDestinationBase::applySpecifiedOptionValues(const cpptoml::table& table, const std::string& tablePath,
                                                           HaldenConfiguration::ILoggingConfigurationReportSink& sink) {
  LoggingOptions fromTable;
  HaldenConfiguration::LoggingTomlReader::readLoggingOptionsFromTable(
      table, tablePath, fromTable, sink, {"type", "inherit-original-destination-contexts"});
  applySpecifiedOptionValues(fromTable);
}

bool LogMessageDestinationBase::isAffectedBy(
    const HaldenConfiguration::LoggingContextualOptions& contextualOptions) const {
  return contextualOptions.affectsDestination(m_name, getDestinationTypeWord());
}

void LogMessageDestinationBase::clearApplicableContextsSet(HaldenConfiguration::ILoggingConfigurationReportSink& sink) {
  m_applicableContexts.clear();
  if (!isDestinationEnabled()) {
    sink.reportConfigurationProblem(
        HaldenConfiguration::ConfigurationReportSeverityEnum::CRSE_WARNING,
        "LogMessageDestinationBase::clearApplicableContextsSet()",
        "The applicable context set is clear, which is the same as saying this destination applies to all contexts. "
        "However, the method to update the flag says the destination is now disabled.");
  }
}

void LogMessageDestinationBase::clearApplicableContextsSet() {
  clearApplicableContextsSet(HaldenConfiguration::ErrorDisplayReportSink::getInstance());
}

void LogMessageDestinationBase::appendApplicableContextsSet(HaldenConfiguration::LoggingContextsSet&& contexts) {
  for (auto& context : contexts) {
    m_applicableContexts.push_back(std::move(context));
  }
}

void LogMessageDestinationBase::replaceApplicableContextsSet(HaldenConfiguration::LoggingContextsSet&& contexts) {
  m_applicableContexts = std::move(contexts);
}

bool LogMessageDestinationBase::isMessageContextWithPossiblyIncompleteCategoriesAllowed(
    signed char level, unsigned long long categories) const noexcept {
  if (level > m_options.getMaxVerbosityLevel()) {
    return false;
  }
  const unsigned long long allowed = m_options.getAllowedCategories();
  return m_options.getRequireOnlySubsetOfCategories() || (categories & ~allowed) == 0 ||
         (categories & allowed & XC_ERR) != 0;
}

bool LogMessageDestinationBase::isMessageContextWithCompleteCategoriesAllowed(
    signed char level, unsigned long long categories) const noexcept {
  if (level > m_options.getMaxVerbosityLevel()) {
    return false;
  }
  const unsigned long long allowed = m_options.getAllowedCategories();
  return (m_options.getRequireOnlySubsetOfCategories() && (categories & allowed) != 0) ||
         (categories & ~allowed) == 0 || (categories & allowed & XC_ERR) != 0;
}

void LogMessageDestinationBase::processLogMessage(const LogMessage& message) {
  std::lock_guard<std::mutex> lock(m_writeMutex);
  if (!isDestinationEnabled()) {
    return;
  }
  formatLogMessage(message, m_formatted);
  writeMessage(m_formatted);
}

void LogMessageDestinationBase::flush() {
  std::lock_guard<std::mutex> lock(m_writeMutex);
  flushBufferedOutput();
}

void LogMessageDestinationBase::formatLogMessage(const LogMessage& message, FormattedLogMessage& formatted) {
  using HaldenConfiguration::LoggingMessageFormatOptions;
  const LoggingMessageFormatOptions& format = m_options.getMessageFormatOptions();
  auto& line = formatted.line;
  formatted.message = &message;
  line.clear();

  if (format.getShowDate() || format.getShowTime()) {
    const std::int64_t micros = message.getTimeStampMicroseconds();
    std::int64_t seconds = micros / 1000000;
    std::int64_t fraction = micros % 1000000;
    if (fraction < 0) {
      fraction += 1000000;
      --seconds;
    }
    if (seconds != m_cachedSecond) {
      const LoggingPlatform::LocalCalendarTime local = LoggingPlatform::toLocalCalendarTime(seconds);
      InternalHaldenCP::FormatStringBuffer<16> piece;
      appendDigits(piece, static_cast<unsigned>(local.year), 4);
      piece.push_back('-');
      appendDigits(piece, static_cast<unsigned>(local.month), 2);
      piece.push_back('-');
      appendDigits(piece, static_cast<unsigned>(local.day), 2);
      std::memcpy(m_cachedDate, piece.data(), piece.size() < 10 ? piece.size() : 10);
      m_cachedDate[piece.size() < 10 ? piece.size() : 10] = '\0';
      piece.clear();
      appendDigits(piece, static_cast<unsigned>(local.hour), 2);
      piece.push_back(':');
      appendDigits(piece, static_cast<unsigned>(local.minute), 2);
      piece.push_back(':');
      appendDigits(piece, static_cast<unsigned>(local.second), 2);
      std::memcpy(m_cachedTime, piece.data(), 8);
      m_cachedTime[8] = '\0';
      m_cachedSecond = seconds;
    }
    if (format.getShowDate()) {
      line.append(m_cachedDate);
      line.push_back(' ');
    }
    if (format.getShowTime()) {
      line.append(m_cachedTime, 8);
      if (format.getUseMillisecondPrecision()) {
        line.push_back('.');
        appendDigits(line, static_cast<unsigned>(fraction / 1000), 3);
      }
      line.push_back(' ');
    }
  }
  if (format.getShowComputerName()) {
    line.append(format.getCachedComputerNamePiece());
  }
  if (format.getShowProcessName()) {
    line.append(format.getCachedProcessNamePiece());
  }
  if (format.getShowProcessId()) {
    line.append(format.getCachedProcessIdPiece());
  }
  if (format.getShowThreadId()) {
    line.append("0x", 2);
    appendHex(line, message.getThreadId(), LoggingMessageFormatOptions::kWidthThreadIdHex);
    line.push_back(' ');
  }
  if (format.getShowVerbosityLevel()) {
    line.push_back('[');
    appendSigned(line, message.getVerbosityLevel());
    line.append("] ", 2);
  }
  const DebugContextReference& site = message.getSite();
  if (format.getShowFileName() || format.getShowLineNumber()) {
    if (format.getShowFileName()) {
      appendNameField(line, fileNamePart(site.getFullFileName()), format.getMinFileNameWidth(),
                      format.getMaxFileNameWidth());
    }
    if (format.getShowLineNumber()) {
      line.push_back('(');
      appendSigned(line, site.getLineNumber());
      line.push_back(')');
    }
    line.push_back(' ');
  }
  if (format.getShowMethodName()) {
    appendNameField(line, site.getFunctionName(), format.getMinMethodNameWidth(), format.getMaxMethodNameWidth());
    line.push_back(' ');
  }
  if (m_options.getTroubleshootDebugLoggingCategories()) {
    char categories[1024];
    const unsigned int length =
        DebugLoggingCategoryHelper::addCategoryStringsToBuffer(message.getCategories(), categories, sizeof(categories));
    line.append(categories, length);
  }
  const std::string& indent = format.getIndentString();
  for (int i = 0; i < message.getIndentLevel() && !indent.empty(); ++i) {
    line.append(indent);
  }
  const auto& text = message.getTextBuffer();
  std::size_t length = text.size();
  if (format.getMaxMessageWidth() > 0) {
    length = fittingLength(text.data(), length, static_cast<std::size_t>(format.getMaxMessageWidth()));
  }
  if (m_options.getObfuscateLogMessages()) {
    std::string obscured;
    LogLineObscurer::obscure(std::string_view(text.data(), length), obscured);
    line.append(obscured);
  } else {
    line.append(text.data(), length);
  }
  if (includeLineTerminationCharacters()) {
    line.append(format.getLineEndingChars());
  }
}

void LogMessageDestinationBase::reportLoggingInternalsError(const char* title, const char* text) const noexcept {
  if (m_services != nullptr) {
    m_services->reportLoggingInternalsError(title, text);
  } else {
    DebugUtilities::reportErrorForLowLevelUtilities(title, text);
  }
}

}  // namespace HaldenLogging
