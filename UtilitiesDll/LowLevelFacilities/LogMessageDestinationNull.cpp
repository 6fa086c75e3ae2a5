#include "LowLevelFacilities/LogMessageDestinationNull.h"

namespace HaldenLogging {

LogMessageDestinationNull::LogMessageDestinationNull(const std::string& name,
                                                     const HaldenConfiguration::LoggingOptions& options)
    : LogMessageDestinationBase(HaldenConfiguration::DTE_NULL, name, options) {}

LogMessageDestinationNull::~LogMessageDestinationNull() = default;

std::unique_ptr<LogMessageDestinationBase> LogMessageDestinationNull::Clone() const {
  return std::unique_ptr<LogMessageDestinationBase>(new LogMessageDestinationNull(*this));
}

void LogMessageDestinationNull::writeMessage(const FormattedLogMessage& /*message*/) {}

}  // namespace HaldenLogging
