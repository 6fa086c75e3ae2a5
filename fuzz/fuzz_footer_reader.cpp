// Fuzz target: CompressedBuffer::GetFooterInfo on arbitrary bytes.
//
// The reading rules are checked against an independent statement of them:
// whether a footer is found, which layout is used, every field read, the
// untouched out-arguments when nothing is found, the exact message of the
// exception when one is asked for, and that a current footer written back
// gives the same bytes. Both buffer classes are then built from the bytes
// (without decompressing); the only outcomes allowed are values and
// exceptions of the library's own hierarchy.

#include "Compression/CabCompressedBuffer.h"
#include "Compression/CompressedBuffer.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "DebuggingAndExceptions/CPException.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

void require(bool condition) {
  if (!condition) {
    __builtin_trap();
  }
}

std::int32_t bigEndian32(const std::uint8_t* bytes) {
  return static_cast<std::int32_t>((static_cast<std::uint32_t>(bytes[0]) << 24) |
                                   (static_cast<std::uint32_t>(bytes[1]) << 16) |
                                   (static_cast<std::uint32_t>(bytes[2]) << 8) | bytes[3]);
}

void checkFooterReading(const std::uint8_t* data, std::size_t size) {
  const ByteBuffer buffer(data, static_cast<unsigned long>(size));
  const std::uint8_t* signature = size >= 4 ? data + size - 4 : nullptr;
  auto is = [&](const char* text) { return size >= 8 && std::memcmp(signature, text, 4) == 0; };
  const bool com5 = is("COM5");
  const bool com4 = is("COM4");
  const bool comp = is("COMP");

  long originalSize = -123;
  int parameter = -456;
  auto format = static_cast<CompressionFormatEnum>(200);
  unsigned int footerSize = 999;
  const bool found = CompressedBuffer::GetFooterInfo(buffer, originalSize, parameter, format, footerSize, false);
  require(found == (com5 || com4 || comp));
  if (!found) {
    require(originalSize == -123 && parameter == -456 && format == 200 && footerSize == 999);
    const std::string expected = "Footer information missing (buffer is " + std::to_string(size) +
                                 " bytes versus footer size of 13, 12, or 8) OR signature bytes were invalid (yes). "
                                 "CompressedBuffer ByteBuffer is invalid!";
    bool thrown = false;
    try {
      CompressedBuffer::GetFooterInfo(buffer, originalSize, parameter, format, footerSize, true);
    } catch (const CPExceptionMissingOrBadCompressedBufferFooter& exception) {
      thrown = true;
      require(expected == exception.getExceptionMessage());
    }
    require(thrown);
    return;
  }

  require(originalSize == bigEndian32(data + size - 8));
  if (com5 && size >= 13) {
    require(footerSize == 13);
    require(static_cast<int>(format) == data[size - 13]);
    require(parameter == bigEndian32(data + size - 12));
    // Written back, the footer gives the same bytes.
    ByteBuffer rewritten(data, static_cast<unsigned long>(size - 13));
    CompressedBuffer::AppendFooterInfo(rewritten, originalSize, parameter, format);
    require(rewritten == buffer);
  } else if (com4 && size >= 12) {
    require(footerSize == 12);
    require(format == CFE_ZLIB);
    require(parameter == bigEndian32(data + size - 12));
  } else {
    require(footerSize == 8);
    require(parameter == -456 && format == 200);
  }
  require(footerSize <= size);

  // The throwing form gives the same answer.
  long size2 = 0;
  int parameter2 = -456;
  auto format2 = static_cast<CompressionFormatEnum>(200);
  unsigned int footerSize2 = 0;
  require(CompressedBuffer::GetFooterInfo(buffer, size2, parameter2, format2, footerSize2, true));
  require(size2 == originalSize && parameter2 == parameter && format2 == format && footerSize2 == footerSize);
}

void buildBuffers(const std::uint8_t* data, std::size_t size) {
  const ByteBuffer buffer(data, static_cast<unsigned long>(size));
  long originalSize = 0;
  int parameter = -1;
  CompressionFormatEnum format = CFE_ZLIB;
  unsigned int footerSize = 0;
  if (!CompressedBuffer::GetFooterInfo(buffer, originalSize, parameter, format, footerSize, false)) {
    return;
  }
  // Each class takes data of its own format as it is and refuses unknown
  // formats. (Conversions decompress; they are fuzzed with the zlib target.)
  if (format != CFE_CAB) {
    try {
      const ZlibCompressedBuffer zlib(buffer);
      require(format == CFE_ZLIB);
      require(zlib.GetCompressionFormat() == CFE_ZLIB && zlib.GetData() == buffer);
      require(zlib.GetOriginalSize() == originalSize && zlib.GetFormatParameter() == parameter);
    } catch (const CPExceptionIncompatibleCompressionFormat&) {
      require(format != CFE_ZLIB);
    }
  }
  if (format != CFE_ZLIB) {
    try {
      bool converted = true;
      const CabCompressedBuffer cab(buffer, converted);
      require(format == CFE_CAB && !converted);
      require(cab.GetData() == buffer && cab.GetOriginalSize() == originalSize);
    } catch (const CPExceptionIncompatibleCompressionFormat&) {
      require(format != CFE_CAB);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkFooterReading(data, size);
  buildBuffers(data, size);
  return 0;
}
