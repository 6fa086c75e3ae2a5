#pragma once
// HaldenLogging::LogMessage: one log message record, from the call site to
// the destinations.
//
// It carries what the call site knows: the verbosity level, the source
// location, the category mask and the text (formatted into a
// FormatStringBuffer<1024>, so a message of up to 1,023 bytes is built
// without the heap), and what only the logging thread knows at that moment:
// its thread identifiers, its indent level and the time (microseconds since
// 1970 UTC). Destinations that run on the background thread get a shared
// copy (std::shared_ptr) made by the facility; before a record is shared its
// file and function names are copied into the record (makeSiteOwned), so the
// module that logged may be unloaded while the record waits in the queue.
//
// Records of kind LMKE_EXCLUSIVITY_START / LMKE_EXCLUSIVITY_END carry no
// text: they mark, in the queue's order, where a thread began and ended
// thread-exclusive output (LogMessageQueue).

#include "DebuggingAndExceptions/DebugContext.h"
#include "LowLevelFacilities/FormatStringBuffer.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <thread>

namespace HaldenLogging {

enum class LogMessageKindEnum : std::uint8_t {
  LMKE_MESSAGE = 0,
  LMKE_EXCLUSIVITY_START = 1,
  LMKE_EXCLUSIVITY_END = 2,
};

class HDU_API LogMessage {
 public:
  enum : unsigned { kOwnedNameCapacity = 128 };

  // Captures the calling thread's identifiers, the time, and the indent level
  // given (the facility passes the calling thread's).
  LogMessage(signed char level, const DebugContextReference& site, unsigned long long categories,
             int indentLevel) noexcept;
  // A marker record for the given thread.
  LogMessage(LogMessageKindEnum kind, std::thread::id thread) noexcept;
  LogMessage(const LogMessage& other);
  LogMessage& operator=(const LogMessage&) = delete;

  LogMessageKindEnum getKind() const noexcept { return m_kind; }
  signed char getVerbosityLevel() const noexcept { return m_level; }
  const DebugContextReference& getSite() const noexcept { return m_site; }
  unsigned long long getCategories() const noexcept { return m_categories; }
  void setCategories(unsigned long long categories) noexcept { m_categories = categories; }
  int getIndentLevel() const noexcept { return m_indentLevel; }
  std::uint32_t getThreadId() const noexcept { return m_threadId; }
  std::thread::id getStdThreadId() const noexcept { return m_stdThreadId; }
  std::int64_t getTimeStampMicroseconds() const noexcept { return m_timeStampMicroseconds; }
  void setTimeStampMicroseconds(std::int64_t value) noexcept { m_timeStampMicroseconds = value; }

  InternalHaldenCP::FormatStringBuffer<1024>& getTextBuffer() noexcept { return m_text; }
  const InternalHaldenCP::FormatStringBuffer<1024>& getTextBuffer() const noexcept { return m_text; }

  // Copies the file name (its last kOwnedNameCapacity-1 bytes) and the
  // function name (its first kOwnedNameCapacity-1 bytes) into the record.
  void makeSiteOwned() noexcept;
  bool isSiteOwned() const noexcept { return m_siteOwned; }

  // The current time in microseconds since 1970 UTC.
  static std::int64_t currentTimeMicroseconds() noexcept;

 private:
  LogMessageKindEnum m_kind = LogMessageKindEnum::LMKE_MESSAGE;
  bool m_siteOwned = false;
  signed char m_level = 0;
  int m_indentLevel = 0;
  std::uint32_t m_threadId = 0;
  std::thread::id m_stdThreadId;
  unsigned long long m_categories = 0;
  std::int64_t m_timeStampMicroseconds = 0;
  DebugContextReference m_site;
  InternalHaldenCP::FormatStringBuffer<1024> m_text;
  char m_ownedFileName[kOwnedNameCapacity];
  char m_ownedFunctionName[kOwnedNameCapacity];
};

}  // namespace HaldenLogging
