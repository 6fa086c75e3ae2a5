#include "LowLevelFacilities/LogMessageDestinationStdout.h"

#include <cstdio>

namespace HaldenLogging {

LogMessageDestinationStdout::LogMessageDestinationStdout(const std::string& name,
                                                         const HaldenConfiguration::LoggingOptions& options)
    : LogMessageDestinationBase(HaldenConfiguration::DTE_STDOUT, name, options) {}

LogMessageDestinationStdout::~LogMessageDestinationStdout() = default;

std::unique_ptr<LogMessageDestinationBase> LogMessageDestinationStdout::Clone() const {
  return std::unique_ptr<LogMessageDestinationBase>(new LogMessageDestinationStdout(*this));
}

void LogMessageDestinationStdout::writeMessage(const FormattedLogMessage& message) {
  const auto bytes = getFormattedMessageCharArrayAndSizeForWriting(message);
  std::fwrite(bytes.first, 1, bytes.second, stdout);
  if (getOptions().getFlushLogFileStreamOnWrite()) {
    std::fflush(stdout);
  }
}

void LogMessageDestinationStdout::flushBufferedOutput() {
  std::fflush(stdout);
}

}  // namespace HaldenLogging
