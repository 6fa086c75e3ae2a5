#pragma once
// DumpArgs: the library's debugging-dump convention. A Dump(DumpArgs) member
// writes one or more lines describing an object to the sink, each prefixed by
// the indentation. Without a sink, dumps go nowhere.

#include "hdUtilitiesExport.h"

#include <string>
#include <string_view>

class HDU_API DumpArgs {
 public:
  DumpArgs() = default;
  explicit DumpArgs(std::string* sink, unsigned indent = 0) : m_sink(sink), m_indent(indent) {}

  // The same sink, indented two more blanks (for nested objects).
  DumpArgs nested() const { return DumpArgs(m_sink, m_indent + 2); }

  // Appends indentation, the text and a line break to the sink.
  void writeLine(std::string_view text) const;

  std::string* sink() const { return m_sink; }
  unsigned indent() const { return m_indent; }

 private:
  std::string* m_sink = nullptr;
  unsigned m_indent = 0;
};
