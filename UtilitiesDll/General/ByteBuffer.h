#pragma once
// ByteBuffer: the library's growable byte array, and the carrier of every
// binary format it writes and reads.
//
// It is a std::vector<unsigned char> (publicly derived, no data member of its
// own), so every vector operation works on it. On top of storage it fixes the
// library's primitive encodings:
//
//   integers        1, 2, 4 or 8 bytes, little-endian (least significant byte
//                   first), assembled byte by byte whatever the host's order
//   counted string  16-bit count N of UTF-16 code units, then the N units,
//                   2 bytes each, little-endian; no terminator
//   counted bytes   32-bit count N, then N raw bytes
//   stream form     16-bit length L, then L raw bytes
//   hex text        two upper-case hex digits per byte, high nibble first
//
// Walkers read one value at a cursor over raw memory: the cursor points at
// the next byte and `remaining` holds the number of readable bytes. On
// success both move by the bytes consumed; when too few bytes remain they
// throw CPExceptionNotEnoughBytesForDesiredDataType and consume nothing (the
// counted forms consume their count field first, see there).
//
// Integer types: the names keep their C types (long, int, short, ...), but the
// encodings are fixed-width everywhere. `long` is 32 bits on Windows and 64 on
// Linux; a 4-byte read into `long` sign-extends the 32-bit value and a `long`
// written as 4 bytes keeps its low 32 bits, so both platforms agree.

#include "DebuggingAndExceptions/DumpArgs.h"
#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <vector>

class HDU_API ByteBuffer : public std::vector<unsigned char> {
 public:
  using BaseVector = std::vector<unsigned char>;

  // ---- construction (the vector's constructors, plus raw memory) ----
  ByteBuffer() noexcept = default;
  explicit ByteBuffer(const allocator_type& allocator) noexcept : BaseVector(allocator) {}
  ByteBuffer(size_type count, unsigned char fill, const allocator_type& allocator = allocator_type())
      : BaseVector(count, fill, allocator) {}
  ByteBuffer(BaseVector::const_iterator first, BaseVector::const_iterator last,
             const allocator_type& allocator = allocator_type())
      : BaseVector(first, last, allocator) {}
  ByteBuffer(std::initializer_list<unsigned char> bytes) : BaseVector(bytes) {}
  explicit ByteBuffer(const BaseVector& bytes) : BaseVector(bytes) {}
  explicit ByteBuffer(BaseVector&& bytes) noexcept : BaseVector(std::move(bytes)) {}
  // Copies `length` bytes from `data` (nothing when the length is 0 or the
  // pointer is null).
  ByteBuffer(const unsigned char* data, unsigned long length);
  ByteBuffer(const ByteBuffer& other) = default;
  ByteBuffer(ByteBuffer&& other) noexcept = default;
  ByteBuffer(ByteBuffer&& other, const allocator_type& allocator) : BaseVector(std::move(other), allocator) {}
  ByteBuffer& operator=(const ByteBuffer& other) = default;
  ByteBuffer& operator=(ByteBuffer&& other) noexcept = default;
  ~ByteBuffer() = default;

  // ---- accessors ----
  // The first byte: the vector's data pointer, whatever it is when empty.
  unsigned char* GetAddress() noexcept { return data(); }
  const unsigned char* GetAddress() const noexcept { return data(); }
  // The first byte, or null when the buffer is empty.
  unsigned char* getLpbyte() noexcept { return empty() ? nullptr : data(); }
  const unsigned char* getLpbyte() const noexcept { return empty() ? nullptr : data(); }
  unsigned long getDword() const noexcept { return static_cast<unsigned long>(size()); }

  // A copy of the contents in a new array that the caller owns, with its
  // size. The array comes from the library's operator new[] and must be given
  // back with ByteBuffer::releaseLpbyte (which uses the matching operator
  // delete[] of this library's runtime, so a module built against another
  // runtime frees it correctly). An empty buffer gives a valid zero-length
  // array, which must be released too.
  unsigned char* copyAsLpbyte(unsigned long& size) const;
  static void releaseLpbyte(unsigned char* array) noexcept;
  // The same copy, owned by a smart pointer that releases it as above.
  struct LpbyteReleaser {
    void operator()(unsigned char* array) const noexcept { ByteBuffer::releaseLpbyte(array); }
  };
  using OwnedLpbyte = std::unique_ptr<unsigned char[], LpbyteReleaser>;
  OwnedLpbyte copyAsOwnedLpbyte(unsigned long& size) const { return OwnedLpbyte(copyAsLpbyte(size)); }

  // ---- factories ----
  static ByteBuffer createFromIntValue(int value);
  static ByteBuffer createFromLongValue(long value);  // the low 32 bits
  static ByteBuffer createFromShortValue(short value);
  static ByteBuffer createFromWordValue(unsigned short value);
  static ByteBuffer createFromByteValue(unsigned char value);
  static ByteBuffer createFromBoolValue(bool value);  // 0 or 1
  // Eight bytes in the library's historic 64-bit layout: bytes 0..3 are the
  // low 32 bits, little-endian; bytes 4..7 are bits 48..55, 56..63, 48..55,
  // 56..63. Bits 32..47 are not stored and the top 16 bits appear twice.
  // Existing persisted data depends on this layout, so it stays as it is:
  // values from -2^31 to 2^31-1 survive a round trip through
  // getAsLong64Value, others do not. (WalkBufferToGetLong64 reads all eight
  // bytes as a plain little-endian value.)
  static ByteBuffer createFromLong64Value(long long value);
  // Eight bytes: the 64-bit time value, plain little-endian.
  static ByteBuffer createFromTime64Value(const long long& value);
  // The code units, 2 bytes each, no count and no terminator.
  static ByteBuffer createByteBufferWithUtf16EncodedStringData(const CXString& text);
  // The narrow text's bytes as they stand (taken to be UTF-8), no terminator.
  static ByteBuffer createByteBufferWithUtf8EncodedStringData(const CPString& text);
  static ByteBuffer createByteBufferWithUtf8EncodedStringData(const std::string& text);
  static ByteBuffer createByteBufferWithUtf8EncodedStringData(const char* text);  // null gives an empty buffer
  // The UTF-16 text converted to UTF-8 (checked: malformed UTF-16 throws
  // utf8::CPExceptionInvalidUtf16), no terminator.
  static ByteBuffer createByteBufferWithUtf8EncodedStringData(const CXString& text);
  // The counted string form. The count is the length truncated to 16 bits
  // and exactly that many code units follow, so the result always reads back
  // (as the string's first length mod 65,536 units).
  static ByteBuffer createCountedStringFormatFromString(const CXString& text);
  // The counted bytes form: a 32-bit count, then the bytes.
  static ByteBuffer createCountedBytesFormat(const ByteBuffer& bytes);
  // ConvertHexBinaryStringToByteBuffer(text, result, true); bad text gives
  // an empty buffer.
  static ByteBuffer createFromHexBinaryString(const CXString& text);

  // ---- whole-buffer readers ----
  // Each reads from the first byte through the matching walker, with the
  // whole size as the remaining count; trailing bytes are ignored and a
  // buffer too short throws as the walker does.
  long getAsLongValue() const;
  int getAsIntValue() const;
  long long getAsLong64Value() const;
  long long getAsTime64Value() const;
  short getAsShortValue() const;
  unsigned short getAsWordValue() const;
  unsigned char getAsByteValue() const;
  bool getAsBoolValue() const;
  CXString getAsStringValueFromCountedStringFormat() const;
  CXString getAsHexBinaryString() const;

  // ---- string readers ----
  // size()/2 code units (an odd last byte is ignored); one trailing 0 unit is
  // dropped.
  CXString getAsCXStringFromUtf16Buffer() const;
  // The whole buffer decoded as UTF-8 (checked: malformed UTF-8 throws the
  // utf8:: exceptions).
  CXString getAsCXStringFromUtf8Buffer() const;
  // The bytes as they stand, as UTF-8 text.
  CPString getAsCPStringFromUtf8Buffer() const;

  // ---- writers (each returns the buffer for chaining) ----
  // Source memory may lie inside this buffer.
  ByteBuffer& setWithLpbyte(const unsigned char* data, unsigned long length);
  ByteBuffer& appendLpbyte(const unsigned char* data, unsigned long length);
  ByteBuffer& append(const ByteBuffer& other);
  ByteBuffer& appendAsUtf16(const CXString& text);
  ByteBuffer& appendNullUtf16Char();
  // The text in the system ANSI code page (code page 0, no flags, no default
  // character); characters without a mapping are replaced as the platform
  // does. No terminator.
  ByteBuffer& appendAsAnsi_LossyForUnicode(const CXString& text);
  // The text in UTF-8 through the platform's converter. No terminator.
  ByteBuffer& appendAsUtf8(const CXString& text);

  // ---- stream form ----
  // Writes the size truncated to 16 bits, then every byte, at the cursor, and
  // advances it by 2 + size(). The caller guarantees the room.
  bool persistToByteStream(unsigned char*& cursor) const;
  // Appends the 16-bit truncated size L, then only the first L bytes. For a
  // buffer over 65,535 bytes this differs from the cursor form above, which
  // writes every byte; existing callers rely on both, so both stay.
  bool persistToByteStream(ByteBuffer& out) const;
  // Replaces the contents with L bytes read after a 16-bit length L at the
  // cursor and advances it by 2 + L. Nothing is bounds-checked: the caller
  // sizes the memory.
  void initializeFromByteStream(unsigned char*& cursor);
  void initializeFromByteStream(const unsigned char*& cursor);

  // ---- walkers ----
  static long WalkBufferToGetLong(unsigned char*& cursor, unsigned int& remaining);
  static long WalkBufferToGetLong(const unsigned char*& cursor, unsigned int& remaining);
  static int WalkBufferToGetInt(unsigned char*& cursor, unsigned int& remaining);
  static int WalkBufferToGetInt(const unsigned char*& cursor, unsigned int& remaining);
  static long long WalkBufferToGetLong64(unsigned char*& cursor, unsigned int& remaining);
  static long long WalkBufferToGetLong64(const unsigned char*& cursor, unsigned int& remaining);
  static long long WalkBufferToGetTime64(unsigned char*& cursor, unsigned int& remaining);
  static long long WalkBufferToGetTime64(const unsigned char*& cursor, unsigned int& remaining);
  static short WalkBufferToGetShort(unsigned char*& cursor, unsigned int& remaining);
  static short WalkBufferToGetShort(const unsigned char*& cursor, unsigned int& remaining);
  static unsigned short WalkBufferToGetWord(unsigned char*& cursor, unsigned int& remaining);
  static unsigned short WalkBufferToGetWord(const unsigned char*& cursor, unsigned int& remaining);
  static unsigned char WalkBufferToGetByte(unsigned char*& cursor, unsigned int& remaining);
  static unsigned char WalkBufferToGetByte(const unsigned char*& cursor, unsigned int& remaining);
  static bool WalkBufferToGetBool(unsigned char*& cursor, unsigned int& remaining);
  static bool WalkBufferToGetBool(const unsigned char*& cursor, unsigned int& remaining);
  // Reads the count as a signed 16-bit value (consuming its 2 bytes even when
  // the rest is missing), then 2 x count bytes. A count of 0x8000 or more is
  // negative, needs more bytes than can exist and always fails: counted
  // strings read back at most 32,767 code units.
  static CXString WalkBufferToGetCountedString(unsigned char*& cursor, unsigned int& remaining);
  static CXString WalkBufferToGetCountedString(const unsigned char*& cursor, unsigned int& remaining);
  // Reads a 32-bit count (consuming its 4 bytes even when the rest is
  // missing), then that many bytes into `out`, replacing its contents. The
  // count is taken as unsigned.
  static void WalkBufferToGetCountedBytes(unsigned char*& cursor, unsigned int& remaining, ByteBuffer& out);
  static void WalkBufferToGetCountedBytes(const unsigned char*& cursor, unsigned int& remaining, ByteBuffer& out);
  // The same walk without the copy: the counted bytes where they lie (valid
  // as long as the walked buffer), with the same failure.
  static std::span<const unsigned char> WalkBufferToViewCountedBytes(const unsigned char*& cursor,
                                                                     unsigned int& remaining);

  // ---- hex text ----
  // Two upper-case digits per byte, high nibble first, no separators.
  static CXString ConvertByteBufferToHexBinaryString(const ByteBuffer& bytes);
  // Decodes hex text into `out` (cleared first). An odd-length text is read
  // as if it had a leading "0". Each character is decoded with the rule of
  // ConvertSingleHexCharToValue; at the first one that does not give 0..15
  // `out` is cleared and false returned. An empty text gives true. The flag
  // is kept for existing callers and changes nothing.
  static bool ConvertHexBinaryStringToByteBuffer(const CXString& text, ByteBuffer& out, bool unusedFlag);
  // 0..9 give "0".."9", 10..15 "A".."F" (or "a".."f" when lowerCase); a value
  // above 15 sets "0" and returns false. The last flag changes nothing.
  static bool ConvertValueToSingleHexChar(unsigned char value, wchar_t& out, bool lowerCase, bool unusedFlag);
  // "0".."9" give 0..9; "a".."f" give 10..15; any other character c gives
  // (unsigned char)(c - 'A' + 10). That last rule is deliberately lenient and
  // kept for compatibility with stored text: ":" to "@" (0x3A-0x40) decode to
  // 3..9, and since the difference is taken as a byte, so does any character
  // whose code is 256 or more and whose low byte is 0x37..0x46. A result
  // above 15 sets 0 and returns false. The flag changes nothing.
  static bool ConvertSingleHexCharToValue(wchar_t character, unsigned char& out, bool unusedFlag);

  // ---- debugging ----
  // The hex text of the whole buffer.
  CPString GetDumpDisplayString() const;
  // A header line "ByteBuffer: <n> bytes", then one line per 32 bytes: the
  // offset as 8 hex digits, two blanks and the bytes' hex text.
  void DumpAsHexBinary(const DumpArgs& dumpArgs) const;
  // A header line as above, then one line per 64 bytes: the offset, two
  // blanks and the bytes as characters (printable ASCII as it stands, every
  // other byte as ".").
  void dumpAsCharacters(const DumpArgs& dumpArgs) const;
};
