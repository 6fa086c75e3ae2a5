#include "General/ByteBuffer.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/CPStringUtils.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/WideCodeUnit.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>

namespace {

constexpr const char* kSourceFile = "UtilitiesDll\\General\\ByteBuffer";

constexpr const char* kNotEnoughBytesMessage =
    "Cannot convert to the desired data type because the size of the source buffer is too small (%ld bytes)! It "
    "needs to be at least %ld bytes.";

// The 64-bit time walker reads persisted data; its message says so.
constexpr const char* kNotEnoughBytesForTime64Message =
    "Cannot convert to the desired data type because the size of the source buffer is too small (%ld bytes)! It "
    "needs to be at least %ld bytes. We persist data in this format, so this could be trouble. Talk to Quillon if "
    "you see this message.";

constexpr char kUpperHexDigits[] = "0123456789ABCDEF";
constexpr char kLowerHexDigits[] = "0123456789abcdef";

// Kept out of line so that the walkers' fast path stays small. The counts are
// passed as 64-bit values so that both platforms print the same numbers.
[[noreturn]] __attribute__((noinline, cold)) void throwNotEnoughBytes(DebugContextReference&& site,
                                                                      unsigned int remaining, std::uint32_t needed,
                                                                      const char* message = kNotEnoughBytesMessage) {
  HDU_THROW(CPExceptionNotEnoughBytesForDesiredDataType, DebugContextReference(site), message,
            static_cast<long long>(remaining), static_cast<long long>(needed));
}

template <unsigned Width>
inline std::uint64_t readLittleEndian(const unsigned char* bytes) noexcept {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < Width; ++i) {
    value |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
  }
  return value;
}

template <unsigned Width>
inline void writeLittleEndian(unsigned char* bytes, std::uint64_t value) noexcept {
  for (unsigned i = 0; i < Width; ++i) {
    bytes[i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

// Reads one fixed-width little-endian value at the cursor (as the fixed-width
// type Fixed) and advances past it, or throws when fewer than Width bytes
// remain, consuming nothing.
template <class Fixed, unsigned Width>
Fixed walkFixedWidth(const unsigned char*& cursor, unsigned int& remaining, const char* functionLabel,
                     const char* message = kNotEnoughBytesMessage) {
  if (remaining < Width) [[unlikely]] {
    throwNotEnoughBytes(HDU_DEBUG_CONTEXT_IN(kSourceFile, functionLabel), remaining, Width, message);
  }
  const auto value = static_cast<Fixed>(readLittleEndian<Width>(cursor));
  cursor += Width;
  remaining -= Width;
  return value;
}

template <unsigned Width>
ByteBuffer littleEndianBuffer(std::uint64_t value) {
  ByteBuffer result(Width, 0);
  writeLittleEndian<Width>(result.data(), value);
  return result;
}

// The whole-buffer readers hand the size to a walker as an unsigned int; a
// buffer beyond 4 GiB is read as if it held 4 GiB - 1 bytes.
inline unsigned int remainingCountOf(const ByteBuffer& buffer) noexcept {
  return static_cast<unsigned int>(std::min<std::size_t>(buffer.size(), UINT_MAX));
}

// Whether `pointer` points into the buffer's storage (so that copying from it
// into the same buffer would read memory that the copy moves or frees).
inline bool pointsInto(const ByteBuffer& buffer, const unsigned char* pointer) noexcept {
  const unsigned char* begin = buffer.data();
  return begin != nullptr && std::less_equal<const unsigned char*>()(begin, pointer) &&
         std::less<const unsigned char*>()(pointer, begin + buffer.capacity());
}

// Runs a walker written for const cursors on a mutable cursor.
template <class Walker>
inline auto walkMutable(unsigned char*& cursor, unsigned int& remaining, Walker walker) {
  const unsigned char* constCursor = cursor;
  auto result = walker(constCursor, remaining);
  cursor += constCursor - cursor;
  return result;
}

}  // namespace

// ---- construction and accessors ------------------------------------------------

ByteBuffer::ByteBuffer(const unsigned char* data, unsigned long length) {
  if (data != nullptr && length != 0) {
    assign(data, data + length);
  }
}

unsigned char* ByteBuffer::copyAsLpbyte(unsigned long& sizeOut) const {
  auto* array = new unsigned char[size()];
  if (!empty()) {
    std::memcpy(array, data(), size());
  }
  sizeOut = static_cast<unsigned long>(size());
  return array;
}

void ByteBuffer::releaseLpbyte(unsigned char* array) noexcept {
  delete[] array;
}

// ---- factories -------------------------------------------------------------------

ByteBuffer ByteBuffer::createFromIntValue(int value) {
  return littleEndianBuffer<4>(static_cast<std::uint32_t>(value));
}

ByteBuffer ByteBuffer::createFromLongValue(long value) {
  return littleEndianBuffer<4>(static_cast<std::uint32_t>(value));
}

ByteBuffer ByteBuffer::createFromShortValue(short value) {
  return littleEndianBuffer<2>(static_cast<std::uint16_t>(value));
}

ByteBuffer ByteBuffer::createFromWordValue(unsigned short value) {
  return littleEndianBuffer<2>(value);
}

ByteBuffer ByteBuffer::createFromByteValue(unsigned char value) {
  return ByteBuffer(1, value);
}

ByteBuffer ByteBuffer::createFromBoolValue(bool value) {
  return ByteBuffer(1, value ? 1 : 0);
}

ByteBuffer ByteBuffer::createFromLong64Value(long long value) {
  const auto bits = static_cast<std::uint64_t>(value);
  ByteBuffer result(8, 0);
  writeLittleEndian<4>(result.data(), bits);
  const auto bits48To55 = static_cast<unsigned char>(bits >> 48);
  const auto bits56To63 = static_cast<unsigned char>(bits >> 56);
  result[4] = bits48To55;
  result[5] = bits56To63;
  result[6] = bits48To55;
  result[7] = bits56To63;
  return result;
}

ByteBuffer ByteBuffer::createFromTime64Value(const long long& value) {
  return littleEndianBuffer<8>(static_cast<std::uint64_t>(value));
}

ByteBuffer ByteBuffer::createByteBufferWithUtf16EncodedStringData(const CXString& text) {
  ByteBuffer result;
  result.appendAsUtf16(text);
  return result;
}

ByteBuffer ByteBuffer::createByteBufferWithUtf8EncodedStringData(const CPString& text) {
  return createByteBufferWithUtf8EncodedStringData(text.utf8StdString());
}

ByteBuffer ByteBuffer::createByteBufferWithUtf8EncodedStringData(const std::string& text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  return ByteBuffer(bytes, static_cast<unsigned long>(text.size()));
}

ByteBuffer ByteBuffer::createByteBufferWithUtf8EncodedStringData(const char* text) {
  if (text == nullptr) {
    return ByteBuffer();
  }
  return ByteBuffer(reinterpret_cast<const unsigned char*>(text), static_cast<unsigned long>(std::strlen(text)));
}

ByteBuffer ByteBuffer::createByteBufferWithUtf8EncodedStringData(const CXString& text) {
  return createByteBufferWithUtf8EncodedStringData(CPStringUtils::narrowToStdString(text.u16string()));
}

ByteBuffer ByteBuffer::createCountedStringFormatFromString(const CXString& text) {
  const auto count = static_cast<std::uint16_t>(text.size());
  ByteBuffer result(2 + 2 * static_cast<std::size_t>(count), 0);
  unsigned char* out = result.data();
  writeLittleEndian<2>(out, count);
  out += 2;
  for (std::size_t i = 0; i < count; ++i, out += 2) {
    writeLittleEndian<2>(out, text[i]);
  }
  return result;
}

ByteBuffer ByteBuffer::createCountedBytesFormat(const ByteBuffer& bytes) {
  ByteBuffer result;
  result.reserve(4 + bytes.size());
  result.resize(4);
  writeLittleEndian<4>(result.data(), static_cast<std::uint32_t>(bytes.size()));
  result.insert(result.end(), bytes.begin(), bytes.end());
  return result;
}

ByteBuffer ByteBuffer::createFromHexBinaryString(const CXString& text) {
  ByteBuffer result;
  ConvertHexBinaryStringToByteBuffer(text, result, true);
  return result;
}

// ---- whole-buffer readers --------------------------------------------------------

namespace {

// A whole-buffer reader: the walker applied from the buffer's first byte.
template <class Result>
Result readWholeBuffer(const ByteBuffer& buffer, Result (*walk)(const unsigned char*&, unsigned int&)) {
  const unsigned char* cursor = buffer.data();
  unsigned int remaining = remainingCountOf(buffer);
  return walk(cursor, remaining);
}

}  // namespace

long ByteBuffer::getAsLongValue() const {
  return readWholeBuffer(*this, &WalkBufferToGetLong);
}

int ByteBuffer::getAsIntValue() const {
  return readWholeBuffer(*this, &WalkBufferToGetInt);
}

long long ByteBuffer::getAsLong64Value() const {
  return readWholeBuffer(*this, &WalkBufferToGetLong64);
}

long long ByteBuffer::getAsTime64Value() const {
  return readWholeBuffer(*this, &WalkBufferToGetTime64);
}

short ByteBuffer::getAsShortValue() const {
  return readWholeBuffer(*this, &WalkBufferToGetShort);
}

unsigned short ByteBuffer::getAsWordValue() const {
  return readWholeBuffer(*this, &WalkBufferToGetWord);
}

unsigned char ByteBuffer::getAsByteValue() const {
  return readWholeBuffer(*this, &WalkBufferToGetByte);
}

bool ByteBuffer::getAsBoolValue() const {
  return readWholeBuffer(*this, &WalkBufferToGetBool);
}

CXString ByteBuffer::getAsStringValueFromCountedStringFormat() const {
  return readWholeBuffer(*this, &WalkBufferToGetCountedString);
}

CXString ByteBuffer::getAsHexBinaryString() const {
  return ConvertByteBufferToHexBinaryString(*this);
}

// ---- string readers ------------------------------------------------------------

CXString ByteBuffer::getAsCXStringFromUtf16Buffer() const {
  std::size_t count = size() / 2;
  const unsigned char* bytes = data();
  if (count != 0 && bytes[2 * count - 2] == 0 && bytes[2 * count - 1] == 0) {
    --count;
  }
  std::u16string text(count, u'\0');
  for (std::size_t i = 0; i < count; ++i) {
    text[i] = static_cast<char16_t>(readLittleEndian<2>(bytes + 2 * i));
  }
  return CXString(std::move(text));
}

CXString ByteBuffer::getAsCXStringFromUtf8Buffer() const {
  if (empty()) {
    return CXString();
  }
  return CXString(CPStringUtils::widenTo_u16string(reinterpret_cast<const char*>(data()), size()));
}

CPString ByteBuffer::getAsCPStringFromUtf8Buffer() const {
  return CPString(std::string(reinterpret_cast<const char*>(data()), size()));
}

// ---- writers ---------------------------------------------------------------------

ByteBuffer& ByteBuffer::setWithLpbyte(const unsigned char* source, unsigned long length) {
  if (source == nullptr || length == 0) {
    clear();
  } else if (pointsInto(*this, source)) {
    BaseVector copy(source, source + length);
    swap(copy);
  } else {
    assign(source, source + length);
  }
  return *this;
}

ByteBuffer& ByteBuffer::appendLpbyte(const unsigned char* source, unsigned long length) {
  if (source == nullptr || length == 0) {
    return *this;
  }
  if (pointsInto(*this, source)) {
    const BaseVector copy(source, source + length);
    insert(end(), copy.begin(), copy.end());
  } else {
    insert(end(), source, source + length);
  }
  return *this;
}

ByteBuffer& ByteBuffer::append(const ByteBuffer& other) {
  return appendLpbyte(other.data(), static_cast<unsigned long>(other.size()));
}

ByteBuffer& ByteBuffer::appendAsUtf16(const CXString& text) {
  const std::size_t start = size();
  resize(start + 2 * text.size());
  unsigned char* out = data() + start;
  for (const char16_t unit : text) {
    writeLittleEndian<2>(out, unit);
    out += 2;
  }
  return *this;
}

ByteBuffer& ByteBuffer::appendNullUtf16Char() {
  push_back(0);
  push_back(0);
  return *this;
}

ByteBuffer& ByteBuffer::appendAsAnsi_LossyForUnicode(const CXString& text) {
  if (text.empty()) {
    return *this;
  }
  std::string converted;
  if (PlatformFacilities::convertUtf16ToAnsi(text.data(), text.size(), converted)) {
    appendLpbyte(reinterpret_cast<const unsigned char*>(converted.data()),
                 static_cast<unsigned long>(converted.size()));
  }
  return *this;
}

ByteBuffer& ByteBuffer::appendAsUtf8(const CXString& text) {
  if (text.empty()) {
    return *this;
  }
  std::string converted;
  if (PlatformFacilities::convertUtf16ToUtf8(text.data(), text.size(), converted)) {
    appendLpbyte(reinterpret_cast<const unsigned char*>(converted.data()),
                 static_cast<unsigned long>(converted.size()));
  }
  return *this;
}

// ---- stream form -------------------------------------------------------------------

bool ByteBuffer::persistToByteStream(unsigned char*& cursor) const {
  writeLittleEndian<2>(cursor, static_cast<std::uint16_t>(size()));
  if (!empty()) {
    std::memmove(cursor + 2, data(), size());
  }
  cursor += 2 + size();
  return true;
}

bool ByteBuffer::persistToByteStream(ByteBuffer& out) const {
  const auto length = static_cast<std::uint16_t>(size());
  unsigned char header[2];
  writeLittleEndian<2>(header, length);
  if (&out == this) {
    const BaseVector copy(begin(), begin() + length);
    out.insert(out.end(), header, header + 2);
    out.insert(out.end(), copy.begin(), copy.end());
  } else {
    out.reserve(out.size() + 2 + length);
    out.insert(out.end(), header, header + 2);
    out.insert(out.end(), begin(), begin() + length);
  }
  return true;
}

void ByteBuffer::initializeFromByteStream(const unsigned char*& cursor) {
  const auto length = static_cast<std::size_t>(readLittleEndian<2>(cursor));
  const unsigned char* first = cursor + 2;
  if (pointsInto(*this, cursor)) {
    BaseVector copy(first, first + length);
    swap(copy);
  } else {
    assign(first, first + length);
  }
  cursor = first + length;
}

void ByteBuffer::initializeFromByteStream(unsigned char*& cursor) {
  const unsigned char* constCursor = cursor;
  initializeFromByteStream(constCursor);
  cursor += constCursor - cursor;
}

// ---- walkers -----------------------------------------------------------------------

long ByteBuffer::WalkBufferToGetLong(const unsigned char*& cursor, unsigned int& remaining) {
  return walkFixedWidth<std::int32_t, 4>(cursor, remaining, "ByteBuffer::WalkBufferToGetLong");
}

int ByteBuffer::WalkBufferToGetInt(const unsigned char*& cursor, unsigned int& remaining) {
  return walkFixedWidth<std::int32_t, 4>(cursor, remaining, "ByteBuffer::WalkBufferToGetInt");
}

long long ByteBuffer::WalkBufferToGetLong64(const unsigned char*& cursor, unsigned int& remaining) {
  return walkFixedWidth<std::int64_t, 8>(cursor, remaining, "ByteBuffer::WalkBufferToGetLong64");
}

long long ByteBuffer::WalkBufferToGetTime64(const unsigned char*& cursor, unsigned int& remaining) {
  return walkFixedWidth<std::int64_t, 8>(cursor, remaining, "ByteBuffer::WalkBufferToGetTime64",
                                         kNotEnoughBytesForTime64Message);
}

short ByteBuffer::WalkBufferToGetShort(const unsigned char*& cursor, unsigned int& remaining) {
  return walkFixedWidth<std::int16_t, 2>(cursor, remaining, "ByteBuffer::WalkBufferToGetShort");
}

unsigned short ByteBuffer::WalkBufferToGetWord(const unsigned char*& cursor, unsigned int& remaining) {
  return walkFixedWidth<std::uint16_t, 2>(cursor, remaining, "ByteBuffer::WalkBufferToGetWord");
}

unsigned char ByteBuffer::WalkBufferToGetByte(const unsigned char*& cursor, unsigned int& remaining) {
  return walkFixedWidth<std::uint8_t, 1>(cursor, remaining, "ByteBuffer::WalkBufferToGetByte");
}

bool ByteBuffer::WalkBufferToGetBool(const unsigned char*& cursor, unsigned int& remaining) {
  return WalkBufferToGetByte(cursor, remaining) != 0;
}

CXString ByteBuffer::WalkBufferToGetCountedString(const unsigned char*& cursor, unsigned int& remaining) {
  const short count = WalkBufferToGetShort(cursor, remaining);
  // Twice the signed count, compared unsigned: a negative count needs more
  // bytes than any buffer holds.
  const auto needed = static_cast<std::uint32_t>(2 * static_cast<std::int32_t>(count));
  if (remaining < needed) {
    throwNotEnoughBytes(HDU_DEBUG_CONTEXT_IN(kSourceFile, "ByteBuffer::WalkBufferToGetCountedString"), remaining,
                        needed);
  }
  std::u16string text(static_cast<std::size_t>(count), u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char16_t>(readLittleEndian<2>(cursor + 2 * i));
  }
  cursor += needed;
  remaining -= needed;
  return CXString(std::move(text));
}

std::span<const unsigned char> ByteBuffer::WalkBufferToViewCountedBytes(const unsigned char*& cursor,
                                                                        unsigned int& remaining) {
  const auto count = static_cast<std::uint32_t>(WalkBufferToGetLong(cursor, remaining));
  if (remaining < count) {
    throwNotEnoughBytes(HDU_DEBUG_CONTEXT_IN(kSourceFile, "ByteBuffer::WalkBufferToGetCountedBytes"), remaining, count);
  }
  const std::span<const unsigned char> bytes(cursor, count);
  cursor += count;
  remaining -= count;
  return bytes;
}

void ByteBuffer::WalkBufferToGetCountedBytes(const unsigned char*& cursor, unsigned int& remaining, ByteBuffer& out) {
  const std::span<const unsigned char> bytes = WalkBufferToViewCountedBytes(cursor, remaining);
  out.setWithLpbyte(bytes.data(), bytes.size());
}

long ByteBuffer::WalkBufferToGetLong(unsigned char*& cursor, unsigned int& remaining) {
  return walkMutable(cursor, remaining,
                     [](const unsigned char*& c, unsigned int& r) { return WalkBufferToGetLong(c, r); });
}

int ByteBuffer::WalkBufferToGetInt(unsigned char*& cursor, unsigned int& remaining) {
  return walkMutable(cursor, remaining,
                     [](const unsigned char*& c, unsigned int& r) { return WalkBufferToGetInt(c, r); });
}

long long ByteBuffer::WalkBufferToGetLong64(unsigned char*& cursor, unsigned int& remaining) {
  return walkMutable(cursor, remaining,
                     [](const unsigned char*& c, unsigned int& r) { return WalkBufferToGetLong64(c, r); });
}

long long ByteBuffer::WalkBufferToGetTime64(unsigned char*& cursor, unsigned int& remaining) {
  return walkMutable(cursor, remaining,
                     [](const unsigned char*& c, unsigned int& r) { return WalkBufferToGetTime64(c, r); });
}

short ByteBuffer::WalkBufferToGetShort(unsigned char*& cursor, unsigned int& remaining) {
  return walkMutable(cursor, remaining,
                     [](const unsigned char*& c, unsigned int& r) { return WalkBufferToGetShort(c, r); });
}

unsigned short ByteBuffer::WalkBufferToGetWord(unsigned char*& cursor, unsigned int& remaining) {
  return walkMutable(cursor, remaining,
                     [](const unsigned char*& c, unsigned int& r) { return WalkBufferToGetWord(c, r); });
}

unsigned char ByteBuffer::WalkBufferToGetByte(unsigned char*& cursor, unsigned int& remaining) {
  return walkMutable(cursor, remaining,
                     [](const unsigned char*& c, unsigned int& r) { return WalkBufferToGetByte(c, r); });
}

bool ByteBuffer::WalkBufferToGetBool(unsigned char*& cursor, unsigned int& remaining) {
  return walkMutable(cursor, remaining,
                     [](const unsigned char*& c, unsigned int& r) { return WalkBufferToGetBool(c, r); });
}

CXString ByteBuffer::WalkBufferToGetCountedString(unsigned char*& cursor, unsigned int& remaining) {
  // The count is consumed even when the characters are missing, so the cursor
  // is written back on the way out either way.
  const unsigned char* constCursor = cursor;
  struct WriteBack {
    unsigned char*& target;
    const unsigned char*& source;
    ~WriteBack() { target += source - target; }
  } writeBack{cursor, constCursor};
  return WalkBufferToGetCountedString(constCursor, remaining);
}

void ByteBuffer::WalkBufferToGetCountedBytes(unsigned char*& cursor, unsigned int& remaining, ByteBuffer& out) {
  const unsigned char* constCursor = cursor;
  struct WriteBack {
    unsigned char*& target;
    const unsigned char*& source;
    ~WriteBack() { target += source - target; }
  } writeBack{cursor, constCursor};
  WalkBufferToGetCountedBytes(constCursor, remaining, out);
}

// ---- hex text ------------------------------------------------------------------------

CXString ByteBuffer::ConvertByteBufferToHexBinaryString(const ByteBuffer& bytes) {
  std::u16string text(2 * bytes.size(), u'0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text[2 * i] = static_cast<char16_t>(kUpperHexDigits[bytes[i] >> 4]);
    text[2 * i + 1] = static_cast<char16_t>(kUpperHexDigits[bytes[i] & 0x0F]);
  }
  return CXString(std::move(text));
}

bool ByteBuffer::ConvertHexBinaryStringToByteBuffer(const CXString& text, ByteBuffer& out, bool /*unusedFlag*/) {
  out.clear();
  const std::size_t length = text.size();
  if (length == 0) {
    return true;
  }
  out.reserve((length + 1) / 2);
  std::size_t position = 0;
  unsigned char high = 0;
  unsigned char low = 0;
  if (length % 2 != 0) {
    // An odd text reads as if it began with "0".
    if (!ConvertSingleHexCharToValue(static_cast<wchar_t>(text[0]), low, true)) {
      out.clear();
      return false;
    }
    out.push_back(low);
    position = 1;
  }
  for (; position < length; position += 2) {
    if (!ConvertSingleHexCharToValue(static_cast<wchar_t>(text[position]), high, true) ||
        !ConvertSingleHexCharToValue(static_cast<wchar_t>(text[position + 1]), low, true)) {
      out.clear();
      return false;
    }
    out.push_back(static_cast<unsigned char>(high * 16 + low));
  }
  return true;
}

bool ByteBuffer::ConvertValueToSingleHexChar(unsigned char value, wchar_t& out, bool lowerCase, bool /*unusedFlag*/) {
  if (value > 15) {
    out = L'0';
    return false;
  }
  out = static_cast<wchar_t>(lowerCase ? kLowerHexDigits[value] : kUpperHexDigits[value]);
  return true;
}

bool ByteBuffer::ConvertSingleHexCharToValue(wchar_t character, unsigned char& out, bool /*unusedFlag*/) {
  const auto code = static_cast<std::int64_t>(wideCodeUnitValue(character));
  unsigned char value;
  if (code >= '0' && code <= '9') {
    value = static_cast<unsigned char>(code - '0');
  } else if (code >= 'a' && code <= 'f') {
    value = static_cast<unsigned char>(code - 'a' + 10);
  } else {
    value = static_cast<unsigned char>(code - 'A' + 10);
  }
  if (value > 15) {
    out = 0;
    return false;
  }
  out = value;
  return true;
}

// ---- debugging ----------------------------------------------------------------------

CPString ByteBuffer::GetDumpDisplayString() const {
  std::string text(2 * size(), '0');
  for (std::size_t i = 0; i < size(); ++i) {
    text[2 * i] = kUpperHexDigits[(*this)[i] >> 4];
    text[2 * i + 1] = kUpperHexDigits[(*this)[i] & 0x0F];
  }
  return CPString(std::move(text));
}

namespace {

void appendOffset(std::string& line, std::size_t offset) {
  for (int shift = 28; shift >= 0; shift -= 4) {
    line.push_back(kUpperHexDigits[(offset >> shift) & 0x0F]);
  }
  line.append("  ");
}

void writeHeader(const DumpArgs& dumpArgs, std::size_t size) {
  dumpArgs.writeLine(
      InternalHaldenCP::formatToStdString("ByteBuffer: %lu bytes", static_cast<unsigned long long>(size)));
}

}  // namespace

void ByteBuffer::DumpAsHexBinary(const DumpArgs& dumpArgs) const {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  writeHeader(dumpArgs, size());
  constexpr std::size_t kBytesPerLine = 32;
  std::string line;
  for (std::size_t offset = 0; offset < size(); offset += kBytesPerLine) {
    line.clear();
    appendOffset(line, offset);
    const std::size_t end = std::min(size(), offset + kBytesPerLine);
    for (std::size_t i = offset; i < end; ++i) {
      line.push_back(kUpperHexDigits[(*this)[i] >> 4]);
      line.push_back(kUpperHexDigits[(*this)[i] & 0x0F]);
    }
    dumpArgs.writeLine(line);
  }
}

void ByteBuffer::dumpAsCharacters(const DumpArgs& dumpArgs) const {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  writeHeader(dumpArgs, size());
  constexpr std::size_t kBytesPerLine = 64;
  std::string line;
  for (std::size_t offset = 0; offset < size(); offset += kBytesPerLine) {
    line.clear();
    appendOffset(line, offset);
    const std::size_t end = std::min(size(), offset + kBytesPerLine);
    for (std::size_t i = offset; i < end; ++i) {
      const unsigned char byte = (*this)[i];
      line.push_back(byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.');
    }
    dumpArgs.writeLine(line);
  }
}
