#include "LowLevelFacilities/LogMessage.h"

#include "LowLevelFacilities/LoggingPlatform.h"

#include <chrono>
#include <cstring>

namespace HaldenLogging {

namespace {

void copyTail(char* target, const char* source) noexcept {
  const std::size_t length = std::strlen(source);
  const std::size_t keep = length < LogMessage::kOwnedNameCapacity - 1 ? length : LogMessage::kOwnedNameCapacity - 1;
  std::memcpy(target, source + (length - keep), keep);
  target[keep] = '\0';
}

void copyHead(char* target, const char* source) noexcept {
  const std::size_t length = std::strlen(source);
  const std::size_t keep = length < LogMessage::kOwnedNameCapacity - 1 ? length : LogMessage::kOwnedNameCapacity - 1;
  std::memcpy(target, source, keep);
  target[keep] = '\0';
}

}  // namespace

LogMessage::LogMessage(signed char level, const DebugContextReference& site, unsigned long long categories,
                       int indentLevel) noexcept
    : m_level(level),
      m_indentLevel(indentLevel),
      m_threadId(LoggingPlatform::currentThreadIdCached()),
      m_stdThreadId(std::this_thread::get_id()),
      m_categories(categories),
      m_timeStampMicroseconds(currentTimeMicroseconds()),
      m_site(site) {
  m_ownedFileName[0] = '\0';
  m_ownedFunctionName[0] = '\0';
}

LogMessage::LogMessage(LogMessageKindEnum kind, std::thread::id thread) noexcept
    : m_kind(kind), m_stdThreadId(thread), m_timeStampMicroseconds(currentTimeMicroseconds()), m_site("", 0, "") {
  m_ownedFileName[0] = '\0';
  m_ownedFunctionName[0] = '\0';
}

LogMessage::LogMessage(const LogMessage& other)
    : m_kind(other.m_kind),
      m_siteOwned(false),
      m_level(other.m_level),
      m_indentLevel(other.m_indentLevel),
      m_threadId(other.m_threadId),
      m_stdThreadId(other.m_stdThreadId),
      m_categories(other.m_categories),
      m_timeStampMicroseconds(other.m_timeStampMicroseconds),
      m_site(other.m_site),
      m_text(other.m_text) {
  m_ownedFileName[0] = '\0';
  m_ownedFunctionName[0] = '\0';
  if (other.m_siteOwned) {
    makeSiteOwned();
  }
}

void LogMessage::makeSiteOwned() noexcept {
  if (m_siteOwned) {
    return;
  }
  copyTail(m_ownedFileName, m_site.getFullFileName());
  copyHead(m_ownedFunctionName, m_site.getFunctionName());
  m_site = DebugContextReference(m_ownedFileName, m_site.getLineNumber(), m_ownedFunctionName, m_site.isNoexcept(),
                                 m_site.getContextWord1(), m_site.getContextWord2());
  m_siteOwned = true;
}

std::int64_t LogMessage::currentTimeMicroseconds() noexcept {
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace HaldenLogging
