#pragma once
// Source locations of throw sites and log calls.
//
// DebugContextReference is what a site builds from its compile-time constants
// (it only points at them); DebugContextCopy owns copies and is what an
// exception stores. HDU_DEBUG_CONTEXT(label) and HDU_DEBUG_CONTEXT_IN(file,
// label) build a reference for the current line.

#include "hdUtilitiesExport.h"

#include <cstdint>
#include <string>

class HDU_API DebugContextReference {
 public:
  constexpr DebugContextReference(const char* fullFileName, long lineNumber, const char* functionName,
                                  bool isNoexcept = false, std::uint32_t contextWord1 = 0,
                                  std::uint32_t contextWord2 = 0) noexcept
      : m_fullFileName(fullFileName != nullptr ? fullFileName : ""),
        m_lineNumber(lineNumber),
        m_functionName(functionName != nullptr ? functionName : ""),
        m_contextWord1(contextWord1),
        m_contextWord2(contextWord2),
        m_isNoexcept(isNoexcept) {}

  constexpr const char* getFullFileName() const noexcept { return m_fullFileName; }
  constexpr long getLineNumber() const noexcept { return m_lineNumber; }
  constexpr const char* getFunctionName() const noexcept { return m_functionName; }
  constexpr std::uint32_t getContextWord1() const noexcept { return m_contextWord1; }
  constexpr std::uint32_t getContextWord2() const noexcept { return m_contextWord2; }
  constexpr bool isNoexcept() const noexcept { return m_isNoexcept; }

 private:
  const char* m_fullFileName;
  long m_lineNumber;
  const char* m_functionName;
  std::uint32_t m_contextWord1;
  std::uint32_t m_contextWord2;
  bool m_isNoexcept;
};

class HDU_API DebugContextCopy {
 public:
  DebugContextCopy() = default;
  DebugContextCopy(
      const DebugContextReference& reference);  // NOLINT(google-explicit-constructor): sites pass references
  DebugContextCopy(std::string fullFileName, std::int32_t lineNumber, std::string functionName, bool isNoexcept = false,
                   std::uint32_t contextWord1 = 0, std::uint32_t contextWord2 = 0);

  const std::string& getFullFileName() const noexcept { return m_fullFileName; }
  std::int32_t getLineNumber() const noexcept { return m_lineNumber; }
  const std::string& getFunctionName() const noexcept { return m_functionName; }
  std::uint32_t getContextWord1() const noexcept { return m_contextWord1; }
  std::uint32_t getContextWord2() const noexcept { return m_contextWord2; }
  bool isNoexcept() const noexcept { return m_isNoexcept; }

  // "%s (line %ld) in %s%s": file, line, function and " (noexcept)" when the
  // throwing function is declared not to throw.
  std::string getLogString() const;

 private:
  std::string m_fullFileName;
  std::int32_t m_lineNumber = 0;
  std::string m_functionName;
  std::uint32_t m_contextWord1 = 0;
  std::uint32_t m_contextWord2 = 0;
  bool m_isNoexcept = false;
};

#define HDU_DEBUG_CONTEXT(functionLabel) ::DebugContextReference(__FILE__, __LINE__, functionLabel)
#define HDU_DEBUG_CONTEXT_NOEXCEPT(functionLabel) ::DebugContextReference(__FILE__, __LINE__, functionLabel, true)
#define HDU_DEBUG_CONTEXT_IN(sourceFile, functionLabel) ::DebugContextReference(sourceFile, __LINE__, functionLabel)
