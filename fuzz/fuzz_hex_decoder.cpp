// Fuzz target: ByteBuffer's hex decoding of arbitrary UTF-16 text, and the
// walkers, whole-buffer readers, stream form, driver version and checksums
// over arbitrary bytes.
//
// Every input is used twice:
// - as UTF-16LE text (an odd last byte dropped) for ConvertHexBinaryStringToByteBuffer;
// - as a little program for the walkers: a byte chooses the walker, which
//   then reads at the cursor; this repeats until the bytes run out or a
//   walker runs short.
// The only outcomes allowed are values and exceptions of the library's own
// hierarchy; each call's contract (bytes consumed, nothing consumed on
// failure, round trips) is checked, and a broken contract traps.

#include "DebuggingAndExceptions/CPException.h"
#include "General/ByteBuffer.h"
#include "General/Checksum.h"
#include "General/Crc32.h"
#include "General/DriverVersion.h"
#include "General/Hash32.h"
#include "General/PersistentHash.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

void require(bool condition) {
  if (!condition) {
    __builtin_trap();
  }
}

bool isStrictHexDigit(char16_t c) {
  return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

char16_t upper(char16_t c) {
  return (c >= u'a' && c <= u'f') ? static_cast<char16_t>(c - u'a' + u'A') : c;
}

void fuzzHexDecoding(const std::uint8_t* data, std::size_t size) {
  std::u16string units(size / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  }
  const CXString text(units);

  ByteBuffer decoded{0x77};
  const bool ok = ByteBuffer::ConvertHexBinaryStringToByteBuffer(text, decoded, (size & 1) != 0);
  if (!ok) {
    require(decoded.empty());
    require(ByteBuffer::createFromHexBinaryString(text).empty());
    return;
  }
  require(decoded.size() == (units.size() + 1) / 2);
  require(ByteBuffer::createFromHexBinaryString(text) == decoded);

  // Every character was accepted one by one.
  bool strict = true;
  for (const char16_t unit : units) {
    unsigned char value = 0xFF;
    require(ByteBuffer::ConvertSingleHexCharToValue(static_cast<wchar_t>(unit), value, false));
    require(value <= 15);
    strict = strict && isStrictHexDigit(unit);
  }

  // Encoding gives upper-case text that decodes to the same bytes; for plain
  // hex digits it is the input itself (upper-cased, a "0" before odd text).
  const CXString encoded = ByteBuffer::ConvertByteBufferToHexBinaryString(decoded);
  require(encoded.size() == 2 * decoded.size());
  ByteBuffer again;
  require(ByteBuffer::ConvertHexBinaryStringToByteBuffer(encoded, again, true));
  require(again == decoded);
  require(decoded.GetDumpDisplayString().utf8StdString() == encoded.toUtf8());
  if (strict) {
    std::u16string expected = units.size() % 2 != 0 ? u"0" : u"";
    for (const char16_t unit : units) {
      expected.push_back(upper(unit));
    }
    require(encoded.u16string() == expected);
  }
}

enum Op : unsigned {
  kLong,
  kInt,
  kLong64,
  kTime64,
  kShort,
  kWord,
  kByte,
  kBool,
  kCountedString,
  kCountedBytes,
  kDriverVersion,
  kOpCount
};

unsigned widthOf(Op op) {
  switch (op) {
    case kLong:
    case kInt:
      return 4;
    case kLong64:
    case kTime64:
    case kDriverVersion:
      return 8;
    case kShort:
    case kWord:
      return 2;
    case kByte:
    case kBool:
      return 1;
    default:
      return 0;
  }
}

// Runs one walker; returns false when it ran short (after checking what it
// consumed).
bool walkOnce(Op op, const unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* const start = cursor;
  const unsigned int before = remaining;
  try {
    switch (op) {
      case kLong: {
        const long value = ByteBuffer::WalkBufferToGetLong(cursor, remaining);
        require(value >= INT32_MIN && value <= INT32_MAX);
        require(ByteBuffer::createFromLongValue(value) == ByteBuffer(start, 4));
        break;
      }
      case kInt:
        require(ByteBuffer::createFromIntValue(ByteBuffer::WalkBufferToGetInt(cursor, remaining)) ==
                ByteBuffer(start, 4));
        break;
      case kLong64:
        require(ByteBuffer::createFromTime64Value(ByteBuffer::WalkBufferToGetLong64(cursor, remaining)) ==
                ByteBuffer(start, 8));
        break;
      case kTime64:
        require(ByteBuffer::createFromTime64Value(ByteBuffer::WalkBufferToGetTime64(cursor, remaining)) ==
                ByteBuffer(start, 8));
        break;
      case kShort:
        require(ByteBuffer::createFromShortValue(ByteBuffer::WalkBufferToGetShort(cursor, remaining)) ==
                ByteBuffer(start, 2));
        break;
      case kWord:
        require(ByteBuffer::createFromWordValue(ByteBuffer::WalkBufferToGetWord(cursor, remaining)) ==
                ByteBuffer(start, 2));
        break;
      case kByte:
        require(ByteBuffer::WalkBufferToGetByte(cursor, remaining) == *start);
        break;
      case kBool:
        require(ByteBuffer::WalkBufferToGetBool(cursor, remaining) == (*start != 0));
        break;
      case kDriverVersion: {
        const DriverVersion version = DriverVersion::WalkBufferToGetDriverVersion(cursor, remaining);
        require(version.GetVersionAsByteBuffer() == ByteBuffer(start, 8));
        (void)version.GetDumpDisplayString();
        break;
      }
      case kCountedString: {
        const CXString value = ByteBuffer::WalkBufferToGetCountedString(cursor, remaining);
        const std::size_t consumed = static_cast<std::size_t>(cursor - start);
        require(consumed == 2 + 2 * value.size() && before - remaining == consumed);
        require(ByteBuffer::createCountedStringFormatFromString(value) == ByteBuffer(start, consumed));
        break;
      }
      case kCountedBytes: {
        ByteBuffer out{1, 2, 3};
        ByteBuffer::WalkBufferToGetCountedBytes(cursor, remaining, out);
        const std::size_t consumed = static_cast<std::size_t>(cursor - start);
        require(consumed == 4 + out.size() && before - remaining == consumed);
        require(ByteBuffer::createCountedBytesFormat(out) == ByteBuffer(start, consumed));
        break;
      }
      default:
        __builtin_trap();
    }
  } catch (const CPExceptionNotEnoughBytesForDesiredDataType&) {
    if (op == kCountedString || op == kCountedBytes) {
      // The count field is consumed when present; nothing else.
      const unsigned countWidth = op == kCountedString ? 2 : 4;
      const unsigned consumed = before >= countWidth ? countWidth : 0;
      require(cursor == start + consumed && remaining == before - consumed);
    } else {
      require(before < widthOf(op) && cursor == start && remaining == before);
    }
    return false;
  }
  const unsigned width = widthOf(op);
  if (width != 0) {
    require(cursor == start + width && remaining == before - width);
  }
  return true;
}

void fuzzWalkers(const std::uint8_t* data, std::size_t size) {
  const unsigned char* cursor = data;
  auto remaining = static_cast<unsigned int>(size);
  while (remaining > 0) {
    const auto op = static_cast<Op>(ByteBuffer::WalkBufferToGetByte(cursor, remaining) % kOpCount);
    if (!walkOnce(op, cursor, remaining)) {
      break;
    }
  }
}

void fuzzWholeBuffer(const std::uint8_t* data, std::size_t size) {
  const ByteBuffer whole(data, static_cast<unsigned long>(size));
  require(whole.size() == size);

  const CXString utf16 = whole.getAsCXStringFromUtf16Buffer();
  require(utf16.size() == size / 2 || utf16.size() + 1 == size / 2);
  require(whole.getAsCPStringFromUtf8Buffer().utf8StdString().size() == size);
  try {
    (void)whole.getAsCXStringFromUtf8Buffer();  // malformed UTF-8 throws utf8:: exceptions
  } catch (const utf8::exception&) {
  }
  (void)PersistentHash::ComputeCSharpCompatiblePersistentHash(utf16);

  // Stream form, where the stored length fits.
  if (size >= 2) {
    const std::size_t length = data[0] | (data[1] << 8);
    if (length <= size - 2) {
      ByteBuffer read{9};
      const unsigned char* cursor = data;
      read.initializeFromByteStream(cursor);
      require(read.size() == length && cursor == data + 2 + length);
      ByteBuffer written;
      read.persistToByteStream(written);
      require(written == ByteBuffer(data, static_cast<unsigned long>(2 + length)));
    }
  }

  // Checksums and hashes; an odd-length checksum reads two bytes behind its
  // range, so it covers size - 2 bytes.
  const auto length = static_cast<unsigned long>(size);
  const unsigned long crc = Crc32::GetCrc(data, length);
  require(size != 0 || crc == 0);
  if (size != 0) {
    require(Crc32::GetCrc(data, length, 0xFFFFFFFFul) == crc);
    const unsigned long half = length / 2;
    require(Crc32::GetCrc(data + half, length - half, ~Crc32::GetCrc(data, half, 0xFFFFFFFFul) & 0xFFFFFFFFul) == crc);
  }
  const unsigned long hash = Hash32::GetHash32(whole);
  require((size == 0) == (hash == 0));
  require(Hash32::GetHash16(data, length) == (size == 0 ? 0 : Hash32::Hash16FromHash32(hash)));
  const unsigned long summed = Hash32::AddToHash32(0x9E3779B9ul, data, length);
  require(summed != 0);
  const unsigned long checksumLength = size % 2 == 0 ? length : (size >= 2 ? length - 2 : 0);
  (void)Checksum::GetChecksum(data, checksumLength);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    fuzzHexDecoding(data, size);
    fuzzWalkers(data, size);
    fuzzWholeBuffer(data, size);
  } catch (const CPException&) {
    // A library exception is an allowed outcome; anything else escapes and
    // ends the run as a crash.
  }
  return 0;
}
