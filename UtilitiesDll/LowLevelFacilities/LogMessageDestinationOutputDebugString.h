#pragma once
// HaldenLogging::LogMessageDestinationOutputDebugString: writes each line to the debugger channel:
// OutputDebugStringA on Windows, the platform layer's debugger channel
// (standard error) elsewhere. A debugger shows at most about 4 KB of one
// call, so a longer line is written in pieces of at most 4,000 bytes.

#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "hdUtilitiesExport.h"

namespace HaldenLogging {

class HDU_API LogMessageDestinationOutputDebugString : public LogMessageDestinationBase {
 public:
  LogMessageDestinationOutputDebugString(const std::string& name, const HaldenConfiguration::LoggingOptions& options);
  ~LogMessageDestinationOutputDebugString() override;
  std::unique_ptr<LogMessageDestinationBase> Clone() const override;
  void writeMessage(const FormattedLogMessage& message) override;
  enum : unsigned { kMaximumPiece = 4000 };

 protected:
  LogMessageDestinationOutputDebugString(const LogMessageDestinationOutputDebugString& other) = default;
};

}  // namespace HaldenLogging
