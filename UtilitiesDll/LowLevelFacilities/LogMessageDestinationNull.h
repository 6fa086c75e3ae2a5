#pragma once
// HaldenLogging::LogMessageDestinationNull: accepts every message and writes nothing.

#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "hdUtilitiesExport.h"

namespace HaldenLogging {

class HDU_API LogMessageDestinationNull : public LogMessageDestinationBase {
 public:
  LogMessageDestinationNull(const std::string& name, const HaldenConfiguration::LoggingOptions& options);
  ~LogMessageDestinationNull() override;
  std::unique_ptr<LogMessageDestinationBase> Clone() const override;
  void writeMessage(const FormattedLogMessage& message) override;

 protected:
  LogMessageDestinationNull(const LogMessageDestinationNull& other) = default;
};

}  // namespace HaldenLogging
