#pragma once
// AttributeBytesReader: walks attribute-bytes records held back to back in
// memory (the records of a raw list, or any run of record bytes).
//
// Each record is parsed as AttributeBytes parses one. Beyond the plain walk
// the reader:
//   - borrows the bytes (no copy; the caller keeps them alive and unchanged
//     while the reader is used); a reader of a raw list also lets the list
//     values it parses share the list's storage (see AttributeBytesRawList),
//     where a reader of bare bytes makes them copy theirs;
//   - knows where it is: the offset of the next record, the offset and size
//     of the last record read, the bytes remaining;
//   - can be repositioned (Reset, SetOffset) to re-read or skip;
//   - keeps its position when a record fails to parse: the exception of the
//     failing primitive passes through and the reader still stands in front
//     of that record, so a caller can report its offset.
// At the end every Read... form returns a null pointer.

#include "General/ByteBuffer.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "attributebytes/AttributeBytesSharedPtr.h"
#include "hdUtilitiesExport.h"

#include <functional>
#include <memory>

class AttributeBytes;
class AttributeBytesId;
class AttributeBytesValue;

class HDU_API AttributeBytesReader {
 public:
  // Reads the whole buffer.
  explicit AttributeBytesReader(const ByteBuffer& records) noexcept;
  // Reads `length` bytes at `records` (null with length 0 is an empty run).
  AttributeBytesReader(const unsigned char* records, unsigned int length) noexcept;
  // Reads a raw list's records (the list must outlive the reader and stay
  // unchanged while it is used). Its nesting level is not checked here.
  explicit AttributeBytesReader(const AttributeBytesRawList& list) noexcept;

  bool IsAtEnd() const noexcept { return m_offset >= m_length; }
  unsigned int GetOffset() const noexcept { return m_offset; }
  unsigned int GetRemainingByteCount() const noexcept { return m_length - m_offset; }
  unsigned int GetLength() const noexcept { return m_length; }
  // Where the last successfully read record began, and its size (0, 0 before
  // the first read).
  unsigned int GetLastRecordOffset() const noexcept { return m_lastRecordOffset; }
  unsigned int GetLastRecordSize() const noexcept { return m_lastRecordSize; }

  void Reset() noexcept { SetOffset(0); }
  // Moves to an offset (clamped to the end). The offset should be one where a
  // record begins; any other offset reads whatever the bytes there say.
  void SetOffset(unsigned int offset) noexcept;

  // The next record, or null at the end.
  std::unique_ptr<AttributeBytes> ReadNextAttributeBytes();
  AttributeBytesSharedPtr ReadNextAttributeBytesSharedPtr();
  // Parses the next record into `out` (left unchanged on failure); false at
  // the end.
  bool ReadNextAttributeBytes(AttributeBytes& out);
  // Parses and discards the next record; false at the end.
  bool SkipNextAttributeBytes();
  // Parses the next record without keeping it and shows its id and value to
  // `inspect` (AttributeBytes::WalkBufferToInspectAttributeBytes); false at
  // the end.
  bool InspectNextAttributeBytes(
      const std::function<void(const AttributeBytesId&, const AttributeBytesValue&)>& inspect);
  // Checks that the next record reads, as reading it would (the same
  // exception when it does not), without building it where its id and value
  // have payloads of fixed size: those can only fail by being cut short.
  // When the record's value is a list, `nestedList` receives the list (which
  // shares this reader's list's bytes) and `isList` is true. False at the end.
  bool CheckNextAttributeBytes(AttributeBytesRawList& nestedList, bool& isList);

 private:
  template <class Parse>
  bool ReadNext(Parse parse);

  const unsigned char* m_records;
  unsigned int m_length;
  AttributeBytesSource m_source;
  unsigned int m_offset = 0;
  unsigned int m_lastRecordOffset = 0;
  unsigned int m_lastRecordSize = 0;
};
