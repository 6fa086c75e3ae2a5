#pragma once
// HaldenLogging::LogMessageDestinationStdout: writes each line to the standard output stream
// (the C runtime's stdout, with its buffering; pushed out at session end and
// when the facility drains).

#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "hdUtilitiesExport.h"

namespace HaldenLogging {

class HDU_API LogMessageDestinationStdout : public LogMessageDestinationBase {
 public:
  LogMessageDestinationStdout(const std::string& name, const HaldenConfiguration::LoggingOptions& options);
  ~LogMessageDestinationStdout() override;
  std::unique_ptr<LogMessageDestinationBase> Clone() const override;
  void writeMessage(const FormattedLogMessage& message) override;
  void flushBufferedOutput() override;

 protected:
  LogMessageDestinationStdout(const LogMessageDestinationStdout& other) = default;
};

}  // namespace HaldenLogging
