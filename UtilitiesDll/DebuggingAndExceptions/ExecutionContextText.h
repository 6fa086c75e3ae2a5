#pragma once
// The workings the two execution-context families share (general contexts,
// ExecutionContextBase.h; constraint contexts, ConstraintExecutionContextBase.h):
// the process-wide name table of a family's identifiers and the builders of
// the display texts. The families differ only in their identifiers, the
// prefix of their names and the heading of the stack display, so each of
// their members is a thin call into what is here. Internal to the library.

#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CriticalResource.h"
#include "LowLevelFacilities/FormatStringBuffer.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "hdUtilitiesExport.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace InternalHaldenCP {

struct ExecutionContextNamePair {
  const char* name;
  int value;
};

// One family's table from identifier to name: a hash map built from the
// family's (name, value) pairs on the first lookup, inside the family's
// critical section, where every later lookup happens too. The names are
// string literals, so a found name stays valid after the lock is left.
//
// The table object itself is constant-initialised and trivially destructible:
// it can be asked at any time. Between the library's static initialisation
// and its static destruction (marked by ExecutionContextNameTableLifetime,
// defined after the family's critical section) lookups go through the map;
// outside that window, when the critical section does not exist, they scan
// the pairs without a lock (an error display during unload).
class HDU_API ExecutionContextNameTable {
 public:
  constexpr ExecutionContextNameTable(const ExecutionContextNamePair* pairs, std::size_t count, std::string_view prefix,
                                      CriticalResource& resource) noexcept
      : m_pairs(pairs), m_count(count), m_prefix(prefix), m_resource(&resource) {}
  ExecutionContextNameTable(const ExecutionContextNameTable&) = delete;
  ExecutionContextNameTable& operator=(const ExecutionContextNameTable&) = delete;

  // The identifier's full name; empty when the table does not hold it.
  std::string_view FindName(int context) const;
  // The name with `withPrefix` false: its last (length - prefix length)
  // characters, empty when the name is no longer than the prefix.
  std::string_view FindName(int context, bool withPrefix) const;

  // Whether the map has been built (for tests of the one-time build).
  bool IsMapBuilt() const;

  void MarkResourceConstructed() noexcept;
  void ReleaseAtStaticDestruction() noexcept;

 private:
  struct Map;
  std::string_view FindNameWithoutMap(int context) const noexcept;

  const ExecutionContextNamePair* m_pairs;
  std::size_t m_count;
  std::string_view m_prefix;
  CriticalResource* m_resource;
  std::atomic<bool> m_resourceUsable{false};
  mutable Map* m_map = nullptr;  // built on first lookup; guarded by *m_resource
};

// Defined after a family's critical section in the same file: marks the
// window in which the table may use that critical section, and frees the map
// at static destruction.
class ExecutionContextNameTableLifetime {
 public:
  explicit ExecutionContextNameTableLifetime(ExecutionContextNameTable& table) noexcept : m_table(table) {
    m_table.MarkResourceConstructed();
  }
  ~ExecutionContextNameTableLifetime() { m_table.ReleaseAtStaticDestruction(); }
  ExecutionContextNameTableLifetime(const ExecutionContextNameTableLifetime&) = delete;
  ExecutionContextNameTableLifetime& operator=(const ExecutionContextNameTableLifetime&) = delete;

 private:
  ExecutionContextNameTable& m_table;
};

namespace ExecutionContextText {

// The part of `file` after its last backslash, or the whole of it when it
// holds none.
std::string_view FileNameAfterLastBackslash(std::string_view file) noexcept;

// "%s line %ld" (function, line) when the function name contains "::";
// otherwise "%s, %s line %ld" (file name, function, line). The line is shown
// as the signed 32-bit value it holds, the same on every platform.
void AppendSingleLineLocation(FormatStringBuffer<1024>& buffer, std::string_view fileName, const CPString& function,
                              std::uint32_t line);

// The dump display of one context, N being its name without prefix, M its
// message and L its single-line location:
//   location embedded in the message:  N, or "%s: %s" (N, M) when the message is included
//   otherwise:                         "%s (%s)" (N, L), or "%s: %s (%s)" (N, M, L)
// The message is included when `includeMessage` is true and it is not empty.
CPString MakeDumpDisplayString(std::string_view name, bool locationEmbeddedInMessage, bool includeMessage,
                               const CPString& message, std::string_view fileName, const CPString& function,
                               std::uint32_t line);

// The name, then "::COMMENT:: " and the message when `withMessage` is true and
// the message is neither empty nor only white space.
CPString MakeContextAndMessage(std::string_view name, bool withMessage, const CPString& message);

// Stack displays over a vector of shared pointers to contexts, oldest first.
// The indent is two blanks for the oldest and two more for each further one.
//
// The multi-line display: the heading (a format taking the calling thread's
// identifier as unsigned long and the number of contexts as long), then
// "%s%s\r\n" (indent, dump display) per context.
template <class Contexts>
CPString MakeMultiLineDisplayString(const char* headingFormat, const Contexts& contexts, bool includeMessage) {
  FormatStringBuffer<1024> buffer;
  formatIntoBuffer(buffer, headingFormat, static_cast<unsigned long>(PlatformFacilities::currentThreadId()),
                   static_cast<long>(contexts.size()));
  std::size_t indent = 2;
  for (const auto& context : contexts) {
    buffer.appendRepeated(' ', indent);
    buffer.append(context->GetDumpDisplayString(includeMessage).utf8StdString());
    buffer.append("\r\n", 2);
    indent += 2;
  }
  return CPString(buffer.takeStdString());
}

// The text appended to exception texts: "\r\n", then "\t\t\t\t%s%s\r\n"
// (indent, dump display with message) per context; no heading.
template <class Contexts>
CPString MakeStackString(const Contexts& contexts) {
  FormatStringBuffer<1024> buffer;
  buffer.append("\r\n", 2);
  std::size_t indent = 2;
  for (const auto& context : contexts) {
    buffer.append("\t\t\t\t", 4);
    buffer.appendRepeated(' ', indent);
    buffer.append(context->GetDumpDisplayString(true).utf8StdString());
    buffer.append("\r\n", 2);
    indent += 2;
  }
  return CPString(buffer.takeStdString());
}

}  // namespace ExecutionContextText

}  // namespace InternalHaldenCP
