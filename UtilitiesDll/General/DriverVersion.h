#pragma once
// DriverVersion: the version stamp of the driver that wrote a piece of data.
//
// Four unsigned 16-bit words, word 0 the most significant. By convention each
// word carries two numbers, major * 1000 + minor, so the word 7048 stands for
// "7.48"; the display form splits every word that way.
//
// Serialised form: exactly 8 bytes, the four words in order, each 16-bit
// little-endian; no tag, length or signature (the form is always embedded in
// a larger state). The version (7, 4, 0, 999) is 07 00 04 00 00 00 E7 03.

#include "DebuggingAndExceptions/DumpArgs.h"
#include "General/ByteBuffer.h"
#include "LowLevelFacilities/CPString.h"
#include "hdUtilitiesExport.h"

class HDU_API DriverVersion {
 public:
  enum : unsigned { kSerialisedSize = 8 };

  DriverVersion() noexcept = default;
  DriverVersion(unsigned short word0, unsigned short word1, unsigned short word2, unsigned short word3) noexcept
      : m_word0(word0), m_word1(word1), m_word2(word2), m_word3(word3) {}
  // Word 0 and 1 are the high and low halves of the first value's low 32
  // bits, words 2 and 3 those of the second.
  DriverVersion(long high, long low) noexcept;
  DriverVersion(const DriverVersion&) noexcept = default;
  DriverVersion& operator=(const DriverVersion&) noexcept = default;

  void GetWordComponents(unsigned short& word0, unsigned short& word1, unsigned short& word2,
                         unsigned short& word3) const noexcept;
  // The inverse of the two-long constructor: (word0 << 16) | word1 and
  // (word2 << 16) | word3, as 32-bit values (sign-extended where long is
  // wider, so that both platforms give the same numbers).
  void GetLongComponents(long& high, long& low) const noexcept;

  // The 8-byte serialised form.
  ByteBuffer GetVersionAsByteBuffer() const;
  // Reads the serialised form at the cursor and advances it by 8. With fewer
  // than 8 bytes remaining it throws CPExceptionNotEnoughBytesForDesiredDataType
  // and consumes nothing.
  static DriverVersion WalkBufferToGetDriverVersion(unsigned char*& cursor, unsigned int& remaining);
  static DriverVersion WalkBufferToGetDriverVersion(const unsigned char*& cursor, unsigned int& remaining);

  // Word by word, word 0 first, as unsigned numbers.
  bool operator<(const DriverVersion& other) const noexcept;
  bool operator==(const DriverVersion& other) const noexcept;

  // Each word w as w / 1000 and w % 1000, eight numbers joined by dots:
  // (7048, 1, 0, 999) is "7.48.0.1.0.0.0.999".
  CPString GetVersionDisplayString() const;
  // "<display> [w0, w1, w2, w3 (0xw0, 0xw1, 0xw2, 0xw3)]".
  CPString GetDumpDisplayString() const;
  // One line: "DriverVersion: " and the dump display string.
  void Dump(const DumpArgs& dumpArgs) const;

 private:
  unsigned short m_word0 = 0;
  unsigned short m_word1 = 0;
  unsigned short m_word2 = 0;
  unsigned short m_word3 = 0;
};
