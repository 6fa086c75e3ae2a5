#include "LowLevelFacilities/LogMessageDestinationStderr.h"

#include <cstdio>

namespace HaldenLogging {

LogMessageDestinationStderr::LogMessageDestinationStderr(const std::string& name,
                                                         const HaldenConfiguration::LoggingOptions& options)
    : LogMessageDestinationBase(HaldenConfiguration::DTE_STDERR, name, options) {}

LogMessageDestinationStderr::~LogMessageDestinationStderr() = default;

std::unique_ptr<LogMessageDestinationBase> LogMessageDestinationStderr::Clone() const {
  return std::unique_ptr<LogMessageDestinationBase>(new LogMessageDestinationStderr(*this));
}

void LogMessageDestinationStderr::writeMessage(const FormattedLogMessage& message) {
  const auto bytes = getFormattedMessageCharArrayAndSizeForWriting(message);
  std::fwrite(bytes.first, 1, bytes.second, stderr);
}

}  // namespace HaldenLogging
