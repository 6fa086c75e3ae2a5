#include "LowLevelFacilities/LogMessageDestinationOutputDebugString.h"

#include "LowLevelFacilities/PlatformFacilities.h"

#include <cstring>

namespace HaldenLogging {

LogMessageDestinationOutputDebugString::LogMessageDestinationOutputDebugString(
    const std::string& name, const HaldenConfiguration::LoggingOptions& options)
    : LogMessageDestinationBase(HaldenConfiguration::DTE_OUTPUTDEBUGSTRING, name, options) {}

LogMessageDestinationOutputDebugString::~LogMessageDestinationOutputDebugString() = default;

std::unique_ptr<LogMessageDestinationBase> LogMessageDestinationOutputDebugString::Clone() const {
  return std::unique_ptr<LogMessageDestinationBase>(new LogMessageDestinationOutputDebugString(*this));
}

void LogMessageDestinationOutputDebugString::writeMessage(const FormattedLogMessage& message) {
  const auto bytes = getFormattedMessageCharArrayAndSizeForWriting(message);
  if (bytes.second < kMaximumPiece) {
    PlatformFacilities::writeToDebuggerChannel(message.line.c_str());
    return;
  }
  char piece[kMaximumPiece + 1];
  for (unsigned int start = 0; start < bytes.second; start += kMaximumPiece) {
    const unsigned int length = bytes.second - start < kMaximumPiece ? bytes.second - start : kMaximumPiece;
    std::memcpy(piece, bytes.first + start, length);
    piece[length] = '\0';
    PlatformFacilities::writeToDebuggerChannel(piece);
  }
}

}  // namespace HaldenLogging
