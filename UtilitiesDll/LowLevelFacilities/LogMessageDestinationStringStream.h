#pragma once
// HaldenLogging::LogMessageDestinationStringStream: appends each line to an
// in-memory std::stringstream, for tests and for callers that collect the
// log. getString and getStringAndResetStream take the destination's own lock
// and are safe while other threads log; getStringStreamNotThreadSafe hands
// out the stream itself, for a caller that knows no other thread writes.
// A clone starts with an empty stream.

#include "LowLevelFacilities/LogMessageDestinationBase.h"
#include "hdUtilitiesExport.h"

#include <mutex>
#include <sstream>
#include <string>

namespace HaldenLogging {

class HDU_API LogMessageDestinationStringStream : public LogMessageDestinationBase {
 public:
  LogMessageDestinationStringStream(const std::string& name, const HaldenConfiguration::LoggingOptions& options);
  ~LogMessageDestinationStringStream() override;
  std::unique_ptr<LogMessageDestinationBase> Clone() const override;
  void writeMessage(const FormattedLogMessage& message) override;

  // A copy of everything written so far.
  std::string getString() const;
  // The copy, then the stream is emptied.
  std::string getStringAndResetStream();
  std::stringstream& getStringStreamNotThreadSafe() noexcept { return m_stream; }

 protected:
  LogMessageDestinationStringStream(const LogMessageDestinationStringStream& other);

 private:
  mutable std::mutex m_streamMutex;
  std::stringstream m_stream;
};

}  // namespace HaldenLogging
