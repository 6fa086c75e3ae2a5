#include "attributebytes/AttributeBytesReader.h"

#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIdFactory.h"
#include "attributebytes/AttributeBytesValueFactory.h"
#include "attributebytes/AttributeBytesWire.h"

AttributeBytesReader::AttributeBytesReader(const ByteBuffer& records) noexcept
    : m_records(records.empty() ? nullptr : records.data()),
      m_length(AttributeBytesWire::remainingCountOf(records.size())) {}

AttributeBytesReader::AttributeBytesReader(const unsigned char* records, unsigned int length) noexcept
    : m_records(records), m_length(records == nullptr ? 0 : length) {}

AttributeBytesReader::AttributeBytesReader(const AttributeBytesRawList& list) noexcept
    : m_records(list.GetRecordBytes().data()),
      m_length(m_records == nullptr ? 0 : AttributeBytesWire::remainingCountOf(list.GetRecordBytes().size())),
      m_source(list.GetSource()) {}

void AttributeBytesReader::SetOffset(unsigned int offset) noexcept {
  m_offset = offset < m_length ? offset : m_length;
}

template <class Parse>
bool AttributeBytesReader::ReadNext(Parse parse) {
  if (IsAtEnd()) {
    return false;
  }
  const unsigned char* cursor = m_records + m_offset;
  unsigned int remaining = m_length - m_offset;
  parse(cursor, remaining);  // moves nothing when it throws
  const unsigned int size = (m_length - m_offset) - remaining;
  m_lastRecordOffset = m_offset;
  m_lastRecordSize = size;
  m_offset += size;
  return true;
}

std::unique_ptr<AttributeBytes> AttributeBytesReader::ReadNextAttributeBytes() {
  std::unique_ptr<AttributeBytes> record;
  ReadNext([this, &record](const unsigned char*& cursor, unsigned int& remaining) {
    record = AttributeBytes::WalkBufferToCreateAttributeBytes(cursor, remaining, m_source);
  });
  return record;
}

AttributeBytesSharedPtr AttributeBytesReader::ReadNextAttributeBytesSharedPtr() {
  AttributeBytesSharedPtr record;
  ReadNext([this, &record](const unsigned char*& cursor, unsigned int& remaining) {
    record = AttributeBytes::WalkBufferToCreateAttributeBytesSharedPtr(cursor, remaining, m_source);
  });
  return record;
}

bool AttributeBytesReader::ReadNextAttributeBytes(AttributeBytes& out) {
  return ReadNext([this, &out](const unsigned char*& cursor, unsigned int& remaining) {
    out.WalkBufferToSetAttributeBytes(cursor, remaining, m_source);
  });
}

bool AttributeBytesReader::SkipNextAttributeBytes() {
  static const std::function<void(const AttributeBytesId&, const AttributeBytesValue&)> kIgnore =
      [](const AttributeBytesId&, const AttributeBytesValue&) {};
  return InspectNextAttributeBytes(kIgnore);
}

bool AttributeBytesReader::InspectNextAttributeBytes(
    const std::function<void(const AttributeBytesId&, const AttributeBytesValue&)>& inspect) {
  return ReadNext([this, &inspect](const unsigned char*& cursor, unsigned int& remaining) {
    AttributeBytes::WalkBufferToInspectAttributeBytes(cursor, remaining, m_source, inspect);
  });
}

bool AttributeBytesReader::CheckNextAttributeBytes(AttributeBytesRawList& nestedList, bool& isList) {
  isList = false;
  if (IsAtEnd()) {
    return false;
  }
  // Id tag, id payload, value tag, flag byte, value payload.
  const unsigned char* record = m_records + m_offset;
  const unsigned int remaining = m_length - m_offset;
  const unsigned idSize = AttributeBytesIdFactory::GetFixedPayloadSize(static_cast<AttributeBytesIdEnum>(record[0]));
  if (idSize != 0 && remaining >= 1 + idSize + 1) {
    const unsigned valueSize =
        AttributeBytesValueFactory::GetFixedPayloadSize(static_cast<AttributeBytesValueEnum>(record[1 + idSize]));
    const unsigned size = 1 + idSize + 2 + valueSize;
    if (valueSize != 0 && remaining >= size) {
      m_lastRecordOffset = m_offset;
      m_lastRecordSize = size;
      m_offset += size;
      return true;
    }
  }
  // Anything else is read for real (and fails as reading fails).
  return InspectNextAttributeBytes([&nestedList, &isList](const AttributeBytesId&, const AttributeBytesValue& value) {
    if (value.IsList()) {
      nestedList = value.GetListValue().GetValue();
      isList = true;
    }
  });
}
