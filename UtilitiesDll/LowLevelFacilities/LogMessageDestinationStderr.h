#pragma once
// HaldenLogging::LogMessageDestinationStderr: writes each line to the standard error stream
// (the C runtime's stderr, unbuffered) as it comes.

#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "hdUtilitiesExport.h"

namespace HaldenLogging {

class HDU_API LogMessageDestinationStderr : public LogMessageDestinationBase {
 public:
  LogMessageDestinationStderr(const std::string& name, const HaldenConfiguration::LoggingOptions& options);
  ~LogMessageDestinationStderr() override;
  std::unique_ptr<LogMessageDestinationBase> Clone() const override;
  void writeMessage(const FormattedLogMessage& message) override;

 protected:
  LogMessageDestinationStderr(const LogMessageDestinationStderr& other) = default;
};

}  // namespace HaldenLogging
