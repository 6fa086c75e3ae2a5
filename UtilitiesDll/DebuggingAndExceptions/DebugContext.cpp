#include "DebuggingAndExceptions/DebugContext.h"

#include "LowLevelFacilities/Formatter.h"

#include <utility>

DebugContextCopy::DebugContextCopy(const DebugContextReference& reference)
    : m_fullFileName(reference.getFullFileName()),
      m_lineNumber(static_cast<std::int32_t>(reference.getLineNumber())),
      m_functionName(reference.getFunctionName()),
      m_contextWord1(reference.getContextWord1()),
      m_contextWord2(reference.getContextWord2()),
      m_isNoexcept(reference.isNoexcept()) {}

DebugContextCopy::DebugContextCopy(std::string fullFileName, std::int32_t lineNumber, std::string functionName,
                                   bool isNoexcept, std::uint32_t contextWord1, std::uint32_t contextWord2)
    : m_fullFileName(std::move(fullFileName)),
      m_lineNumber(lineNumber),
      m_functionName(std::move(functionName)),
      m_contextWord1(contextWord1),
      m_contextWord2(contextWord2),
      m_isNoexcept(isNoexcept) {}

std::string DebugContextCopy::getLogString() const {
  return InternalHaldenCP::formatToStdString("%s (line %ld) in %s%s", m_fullFileName, static_cast<long>(m_lineNumber),
                                             m_functionName, m_isNoexcept ? " (noexcept)" : "");
}
