#include "DebuggingAndExceptions/DumpArgs.h"

void DumpArgs::writeLine(std::string_view text) const {
  if (m_sink == nullptr) {
    return;
  }
  m_sink->append(m_indent, ' ');
  m_sink->append(text);
  m_sink->push_back('\n');
}
