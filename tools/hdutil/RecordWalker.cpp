#include "RecordWalker.h"

#include "General/ByteBuffer.h"

#include <algorithm>
#include <climits>
#include <cstdint>

namespace hdutil {

RecordView::RecordView(const AttributeBytes& record) noexcept
    : m_id(&record.GetAttributeBytesId()),
      m_value(&record.GetAttributeBytesValue()),
      m_valueType(record.GetAttributeBytesValue().GetAttributeBytesValueType()),
      m_specified(record.GetAttributeBytesValue().IsSpecified()) {
  if (m_valueType == ABVTE_DATABLOB) {
    const ByteBuffer& bytes = static_cast<const AttributeBytesDataBlobValue&>(*m_value).GetValue();
    m_blob = Bytes(bytes.data(), bytes.size());
  }
}

RecordWalker::RecordWalker(const AttributeBytesRawList& list) noexcept
    : m_list(list), m_records(list.GetRecordBytes()) {}

RecordWalker::~RecordWalker() {
  destroyParts();
}

void RecordWalker::destroyParts() noexcept {
  if (m_value != nullptr) {
    m_value->~AttributeBytesValue();
    m_value = nullptr;
  }
  if (m_id != nullptr) {
    m_id->~AttributeBytesId();
    m_id = nullptr;
  }
}

const RecordView* RecordWalker::next() {
  m_list.CheckNestingLevel("hdutil::RecordWalker::next");
  if (m_offset >= m_records.size()) {
    return nullptr;
  }
  // The library's walkers count in 32 bits; a list is far smaller.
  const unsigned char* const start = m_records.data() + m_offset;
  const unsigned char* walk = start;
  unsigned int left = static_cast<unsigned int>(std::min<std::size_t>(m_records.size() - m_offset, UINT_MAX));

  destroyParts();
  RecordView view;
  const auto idTag = static_cast<AttributeBytesIdEnum>(ByteBuffer::WalkBufferToGetByte(walk, left));
  m_id = AttributeBytesIdFactory::CreateAttributeBytesIdAt(idTag, m_idMemory);
  m_id->WalkBufferToSetIdentifier(walk, left);
  view.m_id = m_id;
  view.m_idSize = static_cast<std::size_t>(walk - start);

  view.m_valueType = static_cast<AttributeBytesValueEnum>(ByteBuffer::WalkBufferToGetByte(walk, left));
  if (view.m_valueType == ABVTE_DATABLOB) {
    // The flag byte, then counted bytes: a 4-byte count and the bytes.
    view.m_specified = ByteBuffer::WalkBufferToGetByte(walk, left) == 0;
    const std::span<const unsigned char> blob = ByteBuffer::WalkBufferToViewCountedBytes(walk, left);
    view.m_blob = Bytes(blob.data(), blob.size());
  } else {
    m_value = AttributeBytesValueFactory::CreateAttributeBytesValueAt(view.m_valueType, m_valueMemory);
    m_value->SetSpecified(ByteBuffer::WalkBufferToGetByte(walk, left) == 0);
    if (view.m_valueType == ABVTE_LIST) {
      static_cast<AttributeBytesListValue&>(*m_value).WalkBufferToSetValue(walk, left, m_list.GetSource());
    } else {
      m_value->WalkBufferToSetValue(walk, left);
    }
    view.m_value = m_value;
    view.m_specified = m_value->IsSpecified();
  }
  view.m_bytes = Bytes(start, static_cast<std::size_t>(walk - start));
  m_offset += view.m_bytes.size();
  m_view = view;
  return &m_view;
}

std::size_t RecordWalker::countRecords(const AttributeBytesRawList& list) {
  RecordWalker walker(list);
  std::size_t count = 0;
  while (walker.next() != nullptr) {
    ++count;
  }
  return count;
}

}  // namespace hdutil
