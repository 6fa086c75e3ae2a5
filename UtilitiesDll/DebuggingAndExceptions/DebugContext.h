#pragma once
// Source locations of throw sites and log calls.
//
// DebugContextReference is what a site builds from its compile-time constants
// (it only points at them); DebugContextCopy owns copies and is what an
// exception stores.
//
// Source files are named in one form everywhere, the module form: the path
// from the library's folder on, with backslashes and without the extension,
// as in "UtilitiesDll\General\ByteBuffer". Log readers match on it, so it
// must not depend on where or how the library was built.
//
// Which macro to use:
//  - HDU_DEBUG_CONTEXT(label): the normal choice, for a throw site or log
//    call in the file it stands in. The compiler's path of the file (absolute,
//    relative, with either separator) is turned into the module form at
//    compile time, from the last folder named "UtilitiesDll" on; a file
//    outside the library (a tool, a test) is named by its base name alone.
//  - HDU_DEBUG_CONTEXT_NOEXCEPT(label): the same, in a function declared not
//    to throw (its report says so).
//  - HDU_DEBUG_CONTEXT_IN(module, label): only where the module to name is
//    not the file the site stands in, or is part of a documented contract
//    that must survive the code moving: a module name written out in the
//    module form (for example a class's helper in another file reporting as
//    that class, "UtilitiesDll\attributebytes\PersistentAttributes").

#include "hdUtilitiesExport.h"

#include <cstddef>
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

namespace InternalHaldenCP {

// A source file's module form (see above), held in an array of the path's
// own size so that it can be made at compile time.
template <std::size_t N>
struct SourceModuleText {
  char text[N] = {};
};

// The module form of `path`: from the last folder named "UtilitiesDll" on,
// separators as backslashes; otherwise the base name. The extension (from the
// last dot of the last part) is left out.
template <std::size_t N>
constexpr SourceModuleText<N> sourceModuleOf(const char (&path)[N]) noexcept {
  constexpr char kLibraryFolder[] = "UtilitiesDll";
  constexpr std::size_t kLibraryFolderLength = sizeof(kLibraryFolder) - 1;
  std::size_t length = 0;
  while (length < N && path[length] != '\0') {
    ++length;
  }
  const auto isSeparator = [](char c) { return c == '/' || c == '\\'; };
  std::size_t start = 0;     // where the module form begins
  std::size_t baseName = 0;  // after the last separator
  for (std::size_t i = 0; i < length; ++i) {
    if (isSeparator(path[i])) {
      baseName = i + 1;
    }
    const bool folderStart = i == 0 || isSeparator(path[i - 1]);
    if (folderStart && i + kLibraryFolderLength < length && isSeparator(path[i + kLibraryFolderLength])) {
      bool matches = true;
      for (std::size_t k = 0; k < kLibraryFolderLength; ++k) {
        matches = matches && path[i + k] == kLibraryFolder[k];
      }
      if (matches) {
        start = i + 1;  // + 1: 0 means none found
      }
    }
  }
  start = start != 0 ? start - 1 : baseName;
  std::size_t end = length;
  for (std::size_t i = length; i > baseName; --i) {
    if (path[i - 1] == '.') {
      end = i - 1;
      break;
    }
  }
  SourceModuleText<N> result;
  std::size_t out = 0;
  for (std::size_t i = start; i < end; ++i) {
    result.text[out++] = isSeparator(path[i]) ? '\\' : path[i];
  }
  return result;
}

}  // namespace InternalHaldenCP

// The module form of the current file, made once at compile time.
#define HDU_SOURCE_MODULE()                                                                                       \
  ([]() noexcept -> const char* {                                                                                 \
    static constexpr ::InternalHaldenCP::SourceModuleText kModule = ::InternalHaldenCP::sourceModuleOf(__FILE__); \
    return kModule.text;                                                                                          \
  }())

#define HDU_DEBUG_CONTEXT(functionLabel) ::DebugContextReference(HDU_SOURCE_MODULE(), __LINE__, functionLabel)
#define HDU_DEBUG_CONTEXT_NOEXCEPT(functionLabel) \
  ::DebugContextReference(HDU_SOURCE_MODULE(), __LINE__, functionLabel, true)
#define HDU_DEBUG_CONTEXT_IN(sourceFile, functionLabel) ::DebugContextReference(sourceFile, __LINE__, functionLabel)
