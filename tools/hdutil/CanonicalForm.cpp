#include "CanonicalForm.h"

#include "Compression/CompressedBuffer.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace hdutil {

namespace {

// deflate's output is taken in chunks of this size.
constexpr std::size_t kOutputChunkSize = std::size_t{64} * 1024;

// Compares what it is given, in order, with `bytes`, and counts it.
class ByteComparer {
 public:
  explicit ByteComparer(const ByteBuffer& bytes) noexcept : m_bytes(bytes) {}

  void add(Bytes piece) noexcept {
    if (m_same) {
      m_same = m_count + piece.size() <= m_bytes.size() &&
               (piece.empty() || std::memcmp(m_bytes.data() + m_count, piece.data(), piece.size()) == 0);
    }
    m_count += piece.size();
  }

  CanonicalForm result() const noexcept { return {m_same && m_count == m_bytes.size(), m_count}; }

 private:
  const ByteBuffer& m_bytes;
  std::size_t m_count = 0;
  bool m_same = true;
};

// One zlib stream (zlib header, deflate data, Adler-32), made as compress2
// makes it at the same level, its output handed to a ByteComparer.
class StreamingDeflater {
 public:
  StreamingDeflater(int level, ByteComparer& sink) : m_sink(sink), m_output(kOutputChunkSize) {
    m_ready = deflateInit(&m_stream, level) == Z_OK;
  }
  ~StreamingDeflater() {
    if (m_ready) {
      deflateEnd(&m_stream);
    }
  }
  StreamingDeflater(const StreamingDeflater&) = delete;
  StreamingDeflater& operator=(const StreamingDeflater&) = delete;

  bool ready() const noexcept { return m_ready; }

  // False when zlib fails (the caller then lets the library write the state
  // and report the failure as it does).
  bool add(Bytes input) {
    m_stream.next_in = const_cast<unsigned char*>(input.data());  // zlib's API is not const-correct
    m_stream.avail_in = static_cast<uInt>(input.size());
    m_size += input.size();
    return run(Z_NO_FLUSH) && m_stream.avail_in == 0;
  }

  bool finish() { return run(Z_FINISH); }

  std::size_t inputSize() const noexcept { return m_size; }

 private:
  // Runs deflate until it has taken all input (and, finishing, ended the
  // stream), handing on each chunk of output.
  bool run(int flush) {
    for (;;) {
      m_stream.next_out = m_output.data();
      m_stream.avail_out = static_cast<uInt>(m_output.size());
      const int code = deflate(&m_stream, flush);
      if (code != Z_OK && code != Z_STREAM_END && code != Z_BUF_ERROR) {
        return false;
      }
      const std::size_t produced = m_output.size() - m_stream.avail_out;
      m_sink.add(Bytes(m_output.data(), produced));
      if (flush == Z_FINISH ? code == Z_STREAM_END : m_stream.avail_out != 0) {
        return true;
      }
      if (produced == 0) {
        return false;  // no progress with room to spare: zlib is stuck
      }
    }
  }

  ByteComparer& m_sink;
  std::vector<unsigned char> m_output;
  z_stream m_stream{};
  bool m_ready = false;
  std::size_t m_size = 0;
};

bool holdsOnlyNameSpaceLists(const AttributeBytesNameSpaces& nameSpaces) {
  const AttributeBytesIndexedList& top = nameSpaces.GetNameSpacesIndexedList();
  AttributeBytesIndexedListIterator iterator = top.GetIndexedListIterator();
  while (const AttributeBytesSharedPtr record = top.GetNextAttributeBytesFromIndexedListIterator(iterator)) {
    if (record->GetAttributeBytesId().GetAttributeBytesIdType() != ABIDE_NAMESPACE ||
        !record->GetAttributeBytesValue().IsList()) {
      return false;
    }
  }
  return true;
}

CanonicalForm compareWithWholeForm(const AttributeBytesNameSpaces& nameSpaces, const StateWriting& writing,
                                   const ByteBuffer& bytes) {
  const ByteBuffer canonical = writePersistedState(nameSpaces, writing);
  return {canonical == bytes, canonical.size()};
}

}  // namespace

void forEachNameSpacesStatePiece(const AttributeBytesNameSpaces& nameSpaces, const std::function<void(Bytes)>& piece) {
  const ByteBuffer empty = AttributeBytesNameSpaces(nameSpaces.GetDriverVersion()).GetAttributeBytesNameSpacesState();
  piece(Bytes(empty.data(), empty.size()));
  // The signature of a raw-list state, behind its length in a list value.
  static const unsigned char kEmptyListTail[] = {4, 0, 0, 0, 'A', 'B', 'R', 'L'};
  const AttributeBytesIndexedList& top = nameSpaces.GetNameSpacesIndexedList();
  AttributeBytesIndexedListIterator iterator = top.GetIndexedListIterator();
  while (const AttributeBytesSharedPtr record = top.GetNextAttributeBytesFromIndexedListIterator(iterator)) {
    const AttributeBytesValue& value = record->GetAttributeBytesValue();
    if (value.IsList()) {
      // The record with an empty list ends in the list's length, 4 (the
      // signature alone), and the signature: the length becomes that of
      // this list, and its records follow.
      const AttributeBytesListValue& list = value.GetListValue();
      ByteBuffer head =
          AttributeBytes(record->GetAttributeBytesId(),
                         AttributeBytesListValue(list.GetKindOfList(), AttributeBytesRawList(), value.IsSpecified()))
              .GetAttributeBytesState();
      const Bytes records = list.GetValue().GetRecordBytes();
      if (head.size() >= sizeof(kEmptyListTail) && records.size() <= 0xFFFFFFFBu &&
          std::equal(std::begin(kEmptyListTail), std::end(kEmptyListTail), head.end() - sizeof(kEmptyListTail))) {
        const auto length = static_cast<std::uint32_t>(4 + records.size());
        unsigned char* at = head.data() + head.size() - sizeof(kEmptyListTail);
        for (int i = 0; i < 4; ++i) {
          at[i] = static_cast<unsigned char>(length >> (8 * i));
        }
        piece(Bytes(head.data(), head.size()));
        piece(records);
        continue;
      }
    }
    const ByteBuffer whole = record->GetAttributeBytesState();
    piece(Bytes(whole.data(), whole.size()));
  }
}

CanonicalForm compareWithCanonicalForm(const AttributeBytesNameSpaces& nameSpaces, const StateWriting& writing,
                                       const ByteBuffer& bytes) {
  const bool empty = nameSpaces.GetNameSpaceCount() == 0 && nameSpaces.GetDriverVersion() == DriverVersion();
  if (empty || !holdsOnlyNameSpaceLists(nameSpaces)) {
    return compareWithWholeForm(nameSpaces, writing, bytes);
  }

  ByteComparer comparer(bytes);
  PersistentAttributesHeaderType header;  // the current header
  if (writing.keepCreatorVersion) {
    std::copy(std::begin(writing.creatorVersion), std::end(writing.creatorVersion),
              std::begin(header.m_creatorVersion));
  }
  const ByteBuffer headerBytes = header.GetHeaderBytes();
  comparer.add(Bytes(headerBytes.data(), headerBytes.size()));

  if (writing.compressionLevel == 0) {
    // Stored blocks follow the room for output: one call, as the library
    // compresses (compress2 and a single deflate call make the same stream).
    const ByteBuffer state = nameSpaces.GetAttributeBytesNameSpacesState();
    ByteBuffer compressed;  // the zlib stream and the footer
    ZlibCompressedBuffer::CompressData(state.data(), static_cast<unsigned long>(state.size()), compressed,
                                       writing.compressionLevel);
    comparer.add(Bytes(compressed.data(), compressed.size()));
    return comparer.result();
  }

  StreamingDeflater deflater(writing.compressionLevel, comparer);
  bool failed = !deflater.ready();
  if (!failed) {
    forEachNameSpacesStatePiece(nameSpaces, [&](Bytes piece) { failed = failed || !deflater.add(piece); });
    failed = failed || !deflater.finish();
  }
  if (failed) {
    return compareWithWholeForm(nameSpaces, writing, bytes);
  }

  ByteBuffer footer;
  CompressedBuffer::AppendFooterInfo(footer, static_cast<long>(deflater.inputSize()), writing.compressionLevel,
                                     CFE_ZLIB);
  comparer.add(Bytes(footer.data(), footer.size()));
  return comparer.result();
}

}  // namespace hdutil
