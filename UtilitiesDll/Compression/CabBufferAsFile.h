#pragma once
// CabBufferAsFile: a ByteBuffer presented to the cabinet interfaces as an
// open file, with its own position.
//
// The buffer is not owned: CabContext keeps every in-memory file by name and
// hands out one CabBufferAsFile per open handle, so that two handles on the
// same name see the same bytes (as two descriptors of one disk file do).
// Writing beyond the end grows the buffer; a gap left by a seek past the end
// is filled with zeros. A size limit guards the growth: a write that would
// make the file longer than the limit fails without writing anything, which
// is how decompression output is kept to the size the caller expects.
// Positions are 32-bit signed, as in the cabinet interfaces.

#include "Compression/CabAbstractFile.h"
#include "General/ByteBuffer.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>
#include <string>

class HDU_API CabBufferAsFile : public CabAbstractFile {
 public:
  enum : unsigned long { kMaximumFileSize = 0x7FFFFFFFUL };

  // `buffer` must outlive the file. The position starts at 0 (at the end when
  // `append` is set, for every write).
  CabBufferAsFile(ByteBuffer& buffer, std::string name, bool readable, bool writable,
                  std::size_t maximumSize = kMaximumFileSize, bool append = false);
  ~CabBufferAsFile() override;

  std::size_t GetPosition() const noexcept { return m_position; }
  std::size_t GetMaximumSize() const noexcept { return m_maximumSize; }

 protected:
  unsigned int DoRead(void* destination, unsigned int count) override;
  unsigned int DoWrite(const void* source, unsigned int count) override;
  long DoSeek(long distance, SeekOrigin origin) override;
  void DoClose() override;

 private:
  ByteBuffer& m_buffer;
  std::size_t m_position = 0;
  std::size_t m_maximumSize;
  bool m_append;
};
