#include "Compression/CabBufferAsFile.h"

#include "DebuggingAndExceptions/CPException.h"

#include <algorithm>
#include <cstring>
#include <utility>

CabBufferAsFile::CabBufferAsFile(ByteBuffer& buffer, std::string name, bool readable, bool writable,
                                 std::size_t maximumSize, bool append)
    : CabAbstractFile(std::move(name), readable, writable),
      m_buffer(buffer),
      m_maximumSize(std::min<std::size_t>(maximumSize, kMaximumFileSize)),
      m_append(append) {}

CabBufferAsFile::~CabBufferAsFile() = default;

unsigned int CabBufferAsFile::DoRead(void* destination, unsigned int count) {
  if (m_position >= m_buffer.size()) {
    return 0;
  }
  const std::size_t available = std::min<std::size_t>(count, m_buffer.size() - m_position);
  std::memcpy(destination, m_buffer.data() + m_position, available);
  m_position += available;
  return static_cast<unsigned int>(available);
}

unsigned int CabBufferAsFile::DoWrite(const void* source, unsigned int count) {
  if (m_append) {
    m_position = m_buffer.size();
  }
  if (m_position > m_maximumSize || count > m_maximumSize - m_position) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabBufferAsFile::DoWrite"),
              "Writing %u bytes at offset %lu would make the in-memory cabinet file '%s' longer than its limit of %lu "
              "bytes.",
              count, static_cast<unsigned long long>(m_position), GetName(),
              static_cast<unsigned long long>(m_maximumSize));
  }
  const std::size_t end = m_position + count;
  if (end > m_buffer.size()) {
    m_buffer.resize(end, 0);  // also fills a gap left by a seek past the end
  }
  std::memcpy(m_buffer.data() + m_position, source, count);
  m_position = end;
  return count;
}

long CabBufferAsFile::DoSeek(long distance, SeekOrigin origin) {
  long long base = 0;
  if (origin == CSO_CURRENT) {
    base = static_cast<long long>(m_position);
  } else if (origin == CSO_END) {
    base = static_cast<long long>(m_buffer.size());
  }
  const long long target = base + static_cast<long long>(distance);
  if (target < 0 || target > static_cast<long long>(kMaximumFileSize)) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabBufferAsFile::DoSeek"),
              "Cannot seek to offset %ld in the in-memory cabinet file '%s' (%lu bytes): positions run from 0 to %lu.",
              target, GetName(), static_cast<unsigned long long>(m_buffer.size()),
              static_cast<unsigned long long>(kMaximumFileSize));
  }
  m_position = static_cast<std::size_t>(target);
  return static_cast<long>(target);
}

void CabBufferAsFile::DoClose() {
  // The bytes already stand in the buffer; nothing is held back.
}
