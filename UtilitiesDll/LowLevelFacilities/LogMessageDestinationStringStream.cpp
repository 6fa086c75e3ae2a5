#include "LowLevelFacilities/LogMessageDestinationStringStream.h"

namespace HaldenLogging {

LogMessageDestinationStringStream::LogMessageDestinationStringStream(const std::string& name,
                                                                     const HaldenConfiguration::LoggingOptions& options)
    : LogMessageDestinationBase(HaldenConfiguration::DTE_STRINGSTREAM, name, options) {}

LogMessageDestinationStringStream::LogMessageDestinationStringStream(const LogMessageDestinationStringStream& other)
    : LogMessageDestinationBase(other) {}

LogMessageDestinationStringStream::~LogMessageDestinationStringStream() = default;

std::unique_ptr<LogMessageDestinationBase> LogMessageDestinationStringStream::Clone() const {
  return std::unique_ptr<LogMessageDestinationBase>(new LogMessageDestinationStringStream(*this));
}

void LogMessageDestinationStringStream::writeMessage(const FormattedLogMessage& message) {
  const auto bytes = getFormattedMessageCharArrayAndSizeForWriting(message);
  std::lock_guard<std::mutex> lock(m_streamMutex);
  m_stream.write(bytes.first, bytes.second);
}

std::string LogMessageDestinationStringStream::getString() const {
  std::lock_guard<std::mutex> lock(m_streamMutex);
  return m_stream.str();
}

std::string LogMessageDestinationStringStream::getStringAndResetStream() {
  std::lock_guard<std::mutex> lock(m_streamMutex);
  std::string text = m_stream.str();
  m_stream.str(std::string());
  m_stream.clear();
  return text;
}

}  // namespace HaldenLogging
