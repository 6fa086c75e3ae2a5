#include "Compression/CabCompressedBuffer.h"
#include "Compression/CompressedBuffer.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "CompressionTestSupport.h"

#include <gtest/gtest.h>

#include <zlib.h>

#include <climits>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

using namespace compression_test;

namespace {

constexpr std::string_view kMissingFooterPrefix = "Footer information missing (buffer is ";

std::string missingFooterMessage(std::size_t size) {
  return std::string(kMissingFooterPrefix) + std::to_string(size) +
         " bytes versus footer size of 13, 12, or 8) OR signature bytes were invalid (yes). CompressedBuffer "
         "ByteBuffer is invalid!";
}

std::string mismatchMessage(unsigned long long actual, long long expected) {
  return "ZlibCompressedBuffer::uncompressData(): Uncompressed data size (" + std::to_string(actual) +
         ") doesn't match the expected size of the original data (" + std::to_string(expected) + ")!";
}

// A zlib stream made by zlib itself, independently of the classes under test.
ByteBuffer plainZlib(const ByteBuffer& original) {
  uLongf size = compressBound(static_cast<uLong>(original.size()));
  ByteBuffer out(size, 0);
  EXPECT_EQ(compress(out.data(), &size, original.data(), static_cast<uLong>(original.size())), Z_OK);
  out.resize(size);
  return out;
}

struct FooterRead {
  bool found = false;
  long originalSize = -7;
  int parameter = 77;
  CompressionFormatEnum format = CFE_UNKNOWN;
  unsigned int footerSize = 99;
};

FooterRead readFooter(const Bytes& data) {
  FooterRead r;
  r.found =
      CompressedBuffer::GetFooterInfo(ByteBuffer(data), r.originalSize, r.parameter, r.format, r.footerSize, false);
  return r;
}

}  // namespace

TEST(CompressedBuffer, FreshBuffersHoldOnlyAFooter) {
  const ZlibCompressedBuffer zlibDefault(-1);
  EXPECT_EQ(bytesOf(zlibDefault.GetData()),
            (Bytes{0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x43, 0x4F, 0x4D, 0x35}));
  EXPECT_GE(zlibDefault.GetData().capacity(), 13u);
  EXPECT_EQ(zlibDefault.GetOriginalSize(), 0);
  EXPECT_EQ(zlibDefault.GetFormatParameter(), -1);
  EXPECT_EQ(zlibDefault.GetCompressionFormat(), CFE_ZLIB);
  EXPECT_EQ(bytesOf(ZlibCompressedBuffer().GetData()), bytesOf(zlibDefault.GetData()));

  EXPECT_EQ(bytesOf(ZlibCompressedBuffer(9).GetData()), footerBytes(1, 9, 0));
  const CabCompressedBuffer cab;
  EXPECT_EQ(bytesOf(cab.GetData()), footerBytes(2, -1, 0));
  EXPECT_EQ(cab.GetCompressionFormat(), CFE_CAB);
  EXPECT_EQ(cab.GetFormatParameter(), -1);

  EXPECT_EQ(CompressedBuffer::GetSizeOfFooterInfo(), 13u);
  EXPECT_EQ(CompressedBuffer::GetSizeOf40FooterInfo(), 12u);
}

TEST(CompressedBuffer, AppendedFooterIsBigEndian) {
  ByteBuffer data{0xAA};
  CompressedBuffer::AppendFooterInfo(data, 0x12345678L, -2, CFE_CAB);
  EXPECT_EQ(bytesOf(data), (Bytes{0xAA, 0x02, 0xFF, 0xFF, 0xFF, 0xFE, 0x12, 0x34, 0x56, 0x78, 'C', 'O', 'M', '5'}));

  ZlibCompressedBuffer buffer(5);
  buffer.AddFooterInfo(300, 5, CFE_ZLIB);  // a second footer after the first
  Bytes expected = footerBytes(1, 5, 0);
  const Bytes second = footerBytes(1, 5, 300);
  expected.insert(expected.end(), second.begin(), second.end());
  EXPECT_EQ(bytesOf(buffer.GetData()), expected);
}

TEST(CompressedBuffer, FooterReadingRules) {
  const Bytes com5 = {0xEE, 0x02, 0x00, 0x00, 0x00, 0x07, 0x00, 0x01, 0x02, 0x03, 'C', 'O', 'M', '5'};
  FooterRead r = readFooter(com5);
  EXPECT_TRUE(r.found);
  EXPECT_EQ(r.format, CFE_CAB);
  EXPECT_EQ(r.parameter, 7);
  EXPECT_EQ(r.originalSize, 0x010203);
  EXPECT_EQ(r.footerSize, 13u);

  // Signed fields and a format outside the enumeration are read as they are.
  r = readFooter({0xFE, 0x80, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFE, 'C', 'O', 'M', '5'});
  EXPECT_TRUE(r.found);
  EXPECT_EQ(static_cast<int>(r.format), 254);
  EXPECT_EQ(r.parameter, INT_MIN);
  EXPECT_EQ(r.originalSize, -2);

  // Twelve bytes ending in "COM5" are too short for its layout: the 8-byte
  // layout is used (not the 12-byte one), so parameter and format are kept.
  r = readFooter({0x00, 0x00, 0x00, 0x09, 0x00, 0x00, 0x01, 0x00, 'C', 'O', 'M', '5'});
  EXPECT_TRUE(r.found);
  EXPECT_EQ(r.originalSize, 0x100);
  EXPECT_EQ(r.parameter, 77);
  EXPECT_EQ(r.format, CFE_UNKNOWN);
  EXPECT_EQ(r.footerSize, 8u);

  // "COM4": parameter and size, format zlib.
  r = readFooter({0x55, 0x00, 0x00, 0x00, 0x06, 0x00, 0x00, 0x30, 0x39, 'C', 'O', 'M', '4'});
  EXPECT_TRUE(r.found);
  EXPECT_EQ(r.parameter, 6);
  EXPECT_EQ(r.originalSize, 12345);
  EXPECT_EQ(r.format, CFE_ZLIB);
  EXPECT_EQ(r.footerSize, 12u);
  // ... and with 11 bytes only the size.
  r = readFooter({0x00, 0x00, 0x06, 0x00, 0x00, 0x30, 0x39, 'C', 'O', 'M', '4'});
  EXPECT_TRUE(r.found);
  EXPECT_EQ(r.originalSize, 12345);
  EXPECT_EQ(r.parameter, 77);
  EXPECT_EQ(r.footerSize, 8u);

  // "COMP": the size only, whatever precedes it.
  r = readFooter({0x01, 0x02, 0x03, 0x04, 0x05, 0x00, 0x00, 0x00, 0x2A, 'C', 'O', 'M', 'P'});
  EXPECT_TRUE(r.found);
  EXPECT_EQ(r.originalSize, 42);
  EXPECT_EQ(r.parameter, 77);
  EXPECT_EQ(r.format, CFE_UNKNOWN);
  EXPECT_EQ(r.footerSize, 8u);
  EXPECT_TRUE(readFooter({0x00, 0x00, 0x00, 0x00, 'C', 'O', 'M', 'P'}).found);

  // No footer: false with the out-arguments untouched, or the exception.
  const std::vector<Bytes> missing = {
      {},
      {'C', 'O', 'M', '5'},
      {0x00, 0x00, 0x00, 'C', 'O', 'M', 'P'},  // 7 bytes: no signature is tried
      {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 'C', 'O', 'M', '6'},
      {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 'c', 'o', 'm', '5'},
      Bytes(100, 0x43),
  };
  for (const Bytes& data : missing) {
    SCOPED_TRACE(data.size());
    r = readFooter(data);
    EXPECT_FALSE(r.found);
    EXPECT_EQ(r.originalSize, -7);
    EXPECT_EQ(r.parameter, 77);
    EXPECT_EQ(r.footerSize, 99u);
    const std::string message = messageOfThrow<CPExceptionMissingOrBadCompressedBufferFooter>([&] {
      long size = 0;
      int parameter = 0;
      CompressionFormatEnum format = CFE_ZLIB;
      unsigned int footerSize = 0;
      CompressedBuffer::GetFooterInfo(ByteBuffer(data), size, parameter, format, footerSize, true);
    });
    EXPECT_EQ(message, missingFooterMessage(data.size()));
  }
}

TEST(ZlibCompressedBuffer, OneCallRoundTrips) {
  const std::vector<ByteBuffer> originals = {ByteBuffer(),           ByteBuffer{0x5A},       randomBytes(1 << 20),
                                             ByteBuffer(1 << 20, 0), repetitiveBytes(70000), randomBytes(32767, 7)};
  for (const ByteBuffer& original : originals) {
    SCOPED_TRACE(original.size());
    ByteBuffer compressed;
    ZlibCompressedBuffer::CompressData(original.data(), static_cast<unsigned long>(original.size()), compressed, -1);
    ASSERT_GE(compressed.size(), 13u);
    const Bytes footer(compressed.end() - 13, compressed.end());
    EXPECT_EQ(footer, footerBytes(1, -1, static_cast<std::int32_t>(original.size())));
    if (original.empty()) {
      EXPECT_EQ(compressed.size(), 13u);  // the footer alone
    } else {
      EXPECT_EQ(compressed[0], 0x78);  // a zlib header
    }
    ByteBuffer restored{0x01, 0x02};
    ZlibCompressedBuffer::UncompressData(compressed, restored);
    EXPECT_EQ(restored, original);
  }
  // Highly compressible data shrinks to a small fraction.
  ByteBuffer zeros;
  ZlibCompressedBuffer::CompressData(ByteBuffer(1 << 20, 0).data(), 1 << 20, zeros, 9);
  EXPECT_LT(zeros.size(), 2000u);
  // Every level round-trips and is recorded.
  const ByteBuffer text = repetitiveBytes(5000);
  for (int level = -1; level <= 9; ++level) {
    ByteBuffer compressed;
    ZlibCompressedBuffer::CompressData(text.data(), 5000, compressed, level);
    EXPECT_EQ(ZlibCompressedBuffer(compressed).GetCompressionLevel(), level);
    ByteBuffer restored;
    ZlibCompressedBuffer::UncompressData(compressed, restored);
    EXPECT_EQ(restored, text);
  }
}

TEST(ZlibCompressedBuffer, StreamingAndOneCallReadEachOther) {
  const std::vector<ByteBuffer> originals = {ByteBuffer(), ByteBuffer{0x00}, randomBytes(1 << 20, 3),
                                             repetitiveBytes(300000), randomBytes(65537, 4)};
  for (const ByteBuffer& original : originals) {
    SCOPED_TRACE(original.size());
    ZlibCompressedBuffer streamed(6);
    streamed.CompressBuffer(original);
    EXPECT_EQ(streamed.GetOriginalSize(), static_cast<long>(original.size()));
    EXPECT_EQ(streamed.GetCompressionLevel(), 6);
    ByteBuffer restored;
    streamed.UncompressBuffer(restored);
    EXPECT_EQ(restored, original);
    // Streaming output, one-call reader.
    restored.clear();
    ZlibCompressedBuffer::UncompressData(streamed.GetData(), restored);
    EXPECT_EQ(restored, original);
    // One-call output, streaming reader.
    ByteBuffer oneCall;
    ZlibCompressedBuffer::CompressData(original.data(), static_cast<unsigned long>(original.size()), oneCall, 6);
    const ZlibCompressedBuffer loaded(oneCall);
    EXPECT_EQ(loaded.GetData(), oneCall);
    EXPECT_EQ(loaded.GetOriginalSize(), static_cast<long>(original.size()));
    restored.clear();
    loaded.UncompressBuffer(restored);
    EXPECT_EQ(restored, original);
  }
  // zlib's own stream with a footer added is read by both.
  const ByteBuffer original = repetitiveBytes(1000);
  ByteBuffer foreign = plainZlib(original);
  CompressedBuffer::AppendFooterInfo(foreign, 1000, -1, CFE_ZLIB);
  ByteBuffer restored;
  ZlibCompressedBuffer(foreign).UncompressBuffer(restored);
  EXPECT_EQ(restored, original);
}

TEST(ZlibCompressedBuffer, OlderFootersAreReadNotWritten) {
  const ByteBuffer original = repetitiveBytes(4000);
  const ByteBuffer stream = plainZlib(original);

  ByteBuffer com4 = stream;
  const Bytes com4Footer = {0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x0F, 0xA0, 'C', 'O', 'M', '4'};
  com4.insert(com4.end(), com4Footer.begin(), com4Footer.end());
  const ZlibCompressedBuffer fromCom4(com4);
  EXPECT_EQ(fromCom4.GetOriginalSize(), 4000);
  EXPECT_EQ(fromCom4.GetCompressionLevel(), 3);
  EXPECT_EQ(fromCom4.GetData(), com4);  // taken as it is
  ByteBuffer restored;
  fromCom4.UncompressBuffer(restored);
  EXPECT_EQ(restored, original);
  restored.clear();
  ZlibCompressedBuffer::UncompressData(com4, restored);
  EXPECT_EQ(restored, original);

  ByteBuffer comp = stream;
  const Bytes compFooter = {0x00, 0x00, 0x0F, 0xA0, 'C', 'O', 'M', 'P'};
  comp.insert(comp.end(), compFooter.begin(), compFooter.end());
  const ZlibCompressedBuffer fromComp(comp);
  EXPECT_EQ(fromComp.GetOriginalSize(), 4000);
  EXPECT_EQ(fromComp.GetCompressionLevel(), -1);
  EXPECT_EQ(fromComp.GetCompressionFormat(), CFE_ZLIB);
  restored.clear();
  fromComp.UncompressBuffer(restored);
  EXPECT_EQ(restored, original);

  // Compressing again writes the current footer.
  ZlibCompressedBuffer again(fromCom4);
  again.CompressBuffer(original);
  const Bytes tail(again.GetData().end() - 13, again.GetData().end());
  EXPECT_EQ(tail, footerBytes(1, 3, 4000));
}

TEST(ZlibCompressedBuffer, FailuresNameTheZlibError) {
  const ByteBuffer original = repetitiveBytes(10000);
  ByteBuffer good;
  ZlibCompressedBuffer::CompressData(original.data(), 10000, good, -1);
  const std::size_t streamSize = good.size() - 13;

  // A broken zlib header.
  ByteBuffer badHeader = good;
  badHeader[0] = 0x79;
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer::UncompressData(badHeader, out);
            }),
            "ZlibCompressedBuffer::uncompressData(): ZLIB returned an error (Z_DATA_ERROR (data error)) from "
            "uncompress()!");
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer(badHeader).UncompressBuffer(out);
            }),
            "ZlibCompressedBuffer::uncompressBuffer(): ZLIB returned an error (Z_DATA_ERROR (incorrect header "
            "check)) from deflate()!");

  // A damaged checksum.
  ByteBuffer badChecksum = good;
  badChecksum[streamSize - 1] ^= 0xFF;
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer(badChecksum).UncompressBuffer(out);
            }),
            "ZlibCompressedBuffer::uncompressBuffer(): ZLIB returned an error (Z_DATA_ERROR (incorrect data check)) "
            "from deflate()!");

  // A stream cut short (the footer moved up to stay valid).
  ByteBuffer truncated(good.begin(), good.begin() + static_cast<long>(streamSize / 2));
  CompressedBuffer::AppendFooterInfo(truncated, 10000, -1, CFE_ZLIB);
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer::UncompressData(truncated, out);
            }),
            "ZlibCompressedBuffer::uncompressData(): ZLIB returned an error (Z_DATA_ERROR (data error)) from "
            "uncompress()!");
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer(truncated).UncompressBuffer(out);
            }),
            "ZlibCompressedBuffer::uncompressBuffer(): ZLIB returned an error (Z_BUF_ERROR (the data ends before the "
            "end of the zlib stream)) from deflate()!");

  // A level zlib does not know.
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer::CompressData(original.data(), 10000, out, 42);
            }),
            "ZlibCompressedBuffer::compressData(): ZLIB returned an error (Z_STREAM_ERROR (stream error)) from "
            "compress()!");
  ZlibCompressedBuffer badLevel(42);
  const ByteBuffer before = badLevel.GetData();
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] { badLevel.CompressBuffer(original); }),
            "ZlibCompressedBuffer::compressBuffer(): ZLIB returned an error (Z_STREAM_ERROR (stream error)) from "
            "deflateInit()!");
  EXPECT_EQ(badLevel.GetData(), before);  // nothing lost

  // Data that is not zlib at all, and a footer naming another format.
  ByteBuffer cabFooter(good.begin(), good.begin() + static_cast<long>(streamSize));
  CompressedBuffer::AppendFooterInfo(cabFooter, 10000, -1, CFE_CAB);
  EXPECT_FALSE(messageOfThrow<CPExceptionIncompatibleCompressionFormat>([&] {
                 ByteBuffer out;
                 ZlibCompressedBuffer::UncompressData(cabFooter, out);
               }).empty());
  ByteBuffer unknownFormat = good;
  unknownFormat[streamSize] = 7;
  EXPECT_EQ(messageOfThrow<CPExceptionIncompatibleCompressionFormat>([&] { ZlibCompressedBuffer{unknownFormat}; }),
            "The CompressedBuffer footer names an unknown compression format (7); only Zlib (1) and CAB (2) data can "
            "be used.");
  EXPECT_EQ(messageOfThrow<CPExceptionMissingOrBadCompressedBufferFooter>(
                [&] { ZlibCompressedBuffer{ByteBuffer(good.begin(), good.end() - 1)}; }),
            missingFooterMessage(good.size() - 1));
}

TEST(ZlibCompressedBuffer, OriginalSizeMustMatchBothWays) {
  const ByteBuffer original = repetitiveBytes(10000);
  ByteBuffer good;
  ZlibCompressedBuffer::CompressData(original.data(), 10000, good, -1);
  const std::size_t streamSize = good.size() - 13;

  struct Row {
    long footerSize;
    unsigned long long actual;
  };
  for (const Row row : {Row{10001, 10000}, Row{9999, 10000}, Row{20000, 10000}, Row{0, 10000}, Row{1, 10000}}) {
    SCOPED_TRACE(row.footerSize);
    ByteBuffer forged(good.begin(), good.begin() + static_cast<long>(streamSize));
    CompressedBuffer::AppendFooterInfo(forged, row.footerSize, -1, CFE_ZLIB);
    const std::string expected = mismatchMessage(row.actual, row.footerSize);
    EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
                ByteBuffer out;
                ZlibCompressedBuffer::UncompressData(forged, out);
              }),
              expected);
    ZlibCompressedBuffer loaded(forged);
    ByteBuffer out{0x11};
    EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] { loaded.UncompressBuffer(out); }), expected);
    EXPECT_EQ(out, (ByteBuffer{0x11}));  // untouched on failure
  }

  // One byte of data against a footer of 0.
  ByteBuffer oneByte;
  ZlibCompressedBuffer::CompressData(original.data(), 1, oneByte, -1);
  ByteBuffer forged(oneByte.begin(), oneByte.end() - 13);
  CompressedBuffer::AppendFooterInfo(forged, 0, -1, CFE_ZLIB);
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer::UncompressData(forged, out);
            }),
            mismatchMessage(1, 0));

  // Bytes but no data before the footer, against a positive size.
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer::UncompressData(ByteBuffer(footerBytes(1, -1, 5)), out);
            }),
            "ZlibCompressedBuffer::uncompressData(): The original data size in the footer (5) is impossible for 0 "
            "bytes of Zlib data (at most 0 bytes can come out)!");
}

TEST(ZlibCompressedBuffer, ForgedSizesAreRefusedBeforeAllocating) {
  const ByteBuffer original = repetitiveBytes(100);
  ByteBuffer good;
  ZlibCompressedBuffer::CompressData(original.data(), 100, good, -1);
  const unsigned long streamSize = static_cast<unsigned long>(good.size() - 13);
  for (const long size : {0x7FFFFFFFL, -1L, static_cast<long>(streamSize * 1032 + 1)}) {
    SCOPED_TRACE(size);
    ByteBuffer forged(good.begin(), good.begin() + static_cast<long>(streamSize));
    CompressedBuffer::AppendFooterInfo(forged, size, -1, CFE_ZLIB);
    const std::string expected = "ZlibCompressedBuffer::uncompressData(): The original data size in the footer (" +
                                 std::to_string(size) + ") is impossible for " + std::to_string(streamSize) +
                                 " bytes of Zlib data (at most " + std::to_string(streamSize * 1032) +
                                 " bytes can come out)!";
    EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
                ByteBuffer out;
                ZlibCompressedBuffer::UncompressData(forged, out);
              }),
              expected);
    EXPECT_FALSE(messageOfThrow<CPExceptionCompression>([&] {
                   ByteBuffer out;
                   ZlibCompressedBuffer(forged).UncompressBuffer(out);
                 }).empty());
  }
  // The highest genuine expansion passes the check.
  ByteBuffer zeros;
  ZlibCompressedBuffer::CompressData(ByteBuffer(4 << 20, 0).data(), 4 << 20, zeros, 9);
  EXPECT_LE(static_cast<unsigned long>(4 << 20), (zeros.size() - 13) * ZlibCompressedBuffer::kMaximumExpansionRatio);
  ByteBuffer restored;
  ZlibCompressedBuffer(zeros).UncompressBuffer(restored);
  EXPECT_EQ(restored.size(), static_cast<std::size_t>(4 << 20));
}

TEST(CabCompressedBuffer, ZlibDataAbove32KIsRefused) {
  for (const std::size_t size : {std::size_t{32768}, std::size_t{100000}}) {
    SCOPED_TRACE(size);
    const ByteBuffer original = randomBytes(size, 9);
    ByteBuffer zlibData;
    ZlibCompressedBuffer::CompressData(original.data(), static_cast<unsigned long>(size), zlibData, -1);
    bool converted = true;
    EXPECT_EQ(messageOfThrow<CPExceptionIncompatibleCompressionFormat>(
                  [&] { CabCompressedBuffer buffer(zlibData, converted); }),
              "Compression data is in Zlib format and the original data size is " + std::to_string(size) +
                  " bytes. Original data > 32K (32767) bytes cannot be uncompressed by this class.");
    EXPECT_FALSE(converted);
  }

  // 32,767 bytes are taken over where the platform has the cabinet library.
  const ByteBuffer original = randomBytes(32767, 10);
  ByteBuffer zlibData;
  ZlibCompressedBuffer::CompressData(original.data(), 32767, zlibData, -1);
  if (CabCompressedBuffer::IsSupportedOnThisPlatform()) {
    bool converted = false;
    const CabCompressedBuffer buffer(zlibData, converted);
    EXPECT_TRUE(converted);
    EXPECT_EQ(buffer.GetCompressionFormat(), CFE_CAB);
    EXPECT_EQ(buffer.GetOriginalSize(), 32767);
    ByteBuffer restored;
    buffer.UncompressBuffer(restored);
    EXPECT_EQ(restored, original);
  } else {
    EXPECT_FALSE(messageOfThrow<CPExceptionNoSupportForTargetPlatform>([&] { CabCompressedBuffer{zlibData}; }).empty());
  }
}

TEST(CabCompressedBuffer, CabinetDataIsCarriedWithoutConversion) {
  // Any platform can hold cabinet data and read its footer.
  ByteBuffer data{'M', 'S', 'C', 'F', 0x00, 0x00, 0x00, 0x00};
  const Bytes footer = footerBytes(2, -1, 1234);
  data.insert(data.end(), footer.begin(), footer.end());
  bool converted = true;
  const CabCompressedBuffer buffer(data, converted);
  EXPECT_FALSE(converted);
  EXPECT_EQ(buffer.GetData(), data);
  EXPECT_EQ(buffer.GetOriginalSize(), 1234);
  EXPECT_EQ(buffer.GetCompressionFormat(), CFE_CAB);

  // The footer alone stands for empty data on every platform.
  CabCompressedBuffer empty;
  empty.CompressBuffer(ByteBuffer());
  EXPECT_EQ(bytesOf(empty.GetData()), footerBytes(2, -1, 0));
  ByteBuffer restored{0x01};
  empty.UncompressBuffer(restored);
  EXPECT_TRUE(restored.empty());
  EXPECT_EQ(CabCompressedBuffer::GetNameOfFileInCabinet(), std::string("CompressedBuffer.dat"));
}

TEST(ZlibCompressedBuffer, AForgedLargeOriginalSizeIsCheckedBeforeAnythingIsAllocated) {
  // A zlib stream header, 2 MB of junk and a footer that claims 2,000,000,000 bytes
  // (within the 1032:1 bound): the junk is found before the claim is believed.
  ByteBuffer forged;
  forged.push_back(0x78);
  forged.push_back(0x9C);
  for (int i = 0; i < 2 * 1024 * 1024; ++i) {
    forged.push_back(static_cast<unsigned char>(i * 131 + 7));
  }
  CompressedBuffer::AppendFooterInfo(forged, 2000000000L, -1, CFE_ZLIB);
  ByteBuffer out;
  EXPECT_THROW(ZlibCompressedBuffer::UncompressData(forged, out), CPExceptionCompression);
  EXPECT_TRUE(out.empty());
}

namespace {

// `count` zeros compressed by zlib at its highest ratio.
ByteBuffer zerosStream(std::size_t count) {
  return plainZlib(ByteBuffer(count, 0));
}

// The number in "(at least N)" of a message, or -1 when it has none.
long long atLeastIn(const std::string& message) {
  const std::string marker = "(at least ";
  const std::size_t position = message.find(marker);
  return position == std::string::npos ? -1 : std::stoll(message.substr(position + marker.size()));
}

}  // namespace

TEST(ZlibCompressedBuffer, InflationStopsSoonAfterTheClaimedSize) {
  // 16 MiB of output against a claim of 1,000: inflation stops a fixed
  // allowance past the claim, and the message says the size is a lower bound.
  const ByteBuffer stream = zerosStream(std::size_t{16} << 20);
  ByteBuffer forged = stream;
  CompressedBuffer::AppendFooterInfo(forged, 1000, 9, CFE_ZLIB);
  const std::string oneCall = messageOfThrow<CPExceptionCompression>([&] {
    ByteBuffer out;
    ZlibCompressedBuffer::UncompressData(forged, out);
  });
  const long long seen = atLeastIn(oneCall);
  EXPECT_GT(seen, 1000) << oneCall;
  EXPECT_LE(seen, 1000 + static_cast<long long>(ZlibCompressedBuffer::kMinimumSizeCountingAllowance) + 4 * 1024)
      << oneCall;
  EXPECT_EQ(oneCall, "ZlibCompressedBuffer::uncompressData(): Uncompressed data size (at least " +
                         std::to_string(seen) + ") doesn't match the expected size of the original data (1000)!");
  ZlibCompressedBuffer loaded(forged);
  ByteBuffer out{0x22};
  const std::string streamed = messageOfThrow<CPExceptionCompression>([&] { loaded.UncompressBuffer(out); });
  EXPECT_GT(atLeastIn(streamed), 1000) << streamed;
  EXPECT_LE(atLeastIn(streamed), seen) << streamed;
  EXPECT_EQ(out, (ByteBuffer{0x22}));

  // Within the allowance the true size is still found and named.
  const ByteBuffer near = zerosStream(1000 + ZlibCompressedBuffer::kMinimumSizeCountingAllowance / 2);
  ByteBuffer nearForged = near;
  CompressedBuffer::AppendFooterInfo(nearForged, 1000, -1, CFE_ZLIB);
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer restored;
              ZlibCompressedBuffer::UncompressData(nearForged, restored);
            }),
            mismatchMessage(1000 + ZlibCompressedBuffer::kMinimumSizeCountingAllowance / 2, 1000));

  // The allowance grows with the claim: as many bytes again as claimed.
  ByteBuffer largerClaim = stream;
  CompressedBuffer::AppendFooterInfo(largerClaim, 100000, 9, CFE_ZLIB);
  const std::string larger = messageOfThrow<CPExceptionCompression>([&] {
    ByteBuffer out;
    ZlibCompressedBuffer::UncompressData(largerClaim, out);
  });
  EXPECT_GT(atLeastIn(larger), 200000) << larger;
  EXPECT_LE(atLeastIn(larger), 200000 + 4 * 1024) << larger;
  const ByteBuffer nearLarger = zerosStream(190000);
  ByteBuffer nearLargerForged = nearLarger;
  CompressedBuffer::AppendFooterInfo(nearLargerForged, 100000, -1, CFE_ZLIB);
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer restored;
              ZlibCompressedBuffer::UncompressData(nearLargerForged, restored);
            }),
            mismatchMessage(190000, 100000));

  // The routine that reports instead of throwing.
  ByteBuffer kept{0x33};
  ZlibCompressedBuffer::InflationResult result =
      ZlibCompressedBuffer::InflateClaimedSize(stream.data(), static_cast<unsigned long>(stream.size()), 1000, kept);
  EXPECT_FALSE(result.sizeMatches);
  EXPECT_TRUE(result.sizeIsLowerBound);
  EXPECT_EQ(static_cast<long long>(result.size), seen);
  EXPECT_EQ(kept, (ByteBuffer{0x33}));
  result =
      ZlibCompressedBuffer::InflateClaimedSize(near.data(), static_cast<unsigned long>(near.size()),
                                               1000 + ZlibCompressedBuffer::kMinimumSizeCountingAllowance / 2, kept);
  EXPECT_TRUE(result.sizeMatches);
  EXPECT_FALSE(result.sizeIsLowerBound);
  EXPECT_EQ(kept, ByteBuffer(1000 + ZlibCompressedBuffer::kMinimumSizeCountingAllowance / 2, 0));
}

TEST(CompressedBuffer, OriginalSizesAboveTheCeilingAreRefusedBeforeAllocating) {
  EXPECT_EQ(CompressedBuffer::kDefaultMaximumOriginalSize, 64UL << 20);
  ZlibCompressedBuffer zlib;
  EXPECT_EQ(zlib.GetMaximumOriginalSize(), 64UL << 20);
  CabCompressedBuffer cab;
  EXPECT_EQ(cab.GetMaximumOriginalSize(), 64UL << 20);

  // A zlib stream header and 70 KB of junk: the ratio check lets claims up to
  // about 72 MB pass, so the ceiling is what refuses 64 MiB + 1.
  ByteBuffer junk{0x78, 0x9C};
  for (int i = 0; i < 70 * 1024; ++i) {
    junk.push_back(static_cast<unsigned char>(i * 131 + 7));
  }
  const auto forgedWith = [&junk](long claim, CompressionFormatEnum format) {
    ByteBuffer forged = junk;
    CompressedBuffer::AppendFooterInfo(forged, claim, -1, format);
    return forged;
  };
  const long ceiling = 64L << 20;
  const std::string above = "ZlibCompressedBuffer::uncompressData(): The original data size in the footer (" +
                            std::to_string(ceiling + 1) +
                            ") is above the maximum original size accepted (67108864 bytes)!";
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer::UncompressData(forgedWith(ceiling + 1, CFE_ZLIB), out);
            }),
            above);
  // At the ceiling the claim is believed as far as the data goes: the junk fails.
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              ZlibCompressedBuffer::UncompressData(forgedWith(ceiling, CFE_ZLIB), out);
            }),
            "ZlibCompressedBuffer::uncompressData(): ZLIB returned an error (Z_DATA_ERROR (data error)) from "
            "uncompress()!");

  // The caller sets its own ceiling: per call, or per object.
  const ByteBuffer original = repetitiveBytes(1000);
  ByteBuffer packed;
  ZlibCompressedBuffer::CompressData(original.data(), 1000, packed, -1);
  ByteBuffer out;
  ZlibCompressedBuffer::UncompressData(packed, out, 1000);
  EXPECT_EQ(out, original);
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer refused;
              ZlibCompressedBuffer::UncompressData(packed, refused, 999);
            }),
            "ZlibCompressedBuffer::uncompressData(): The original data size in the footer (1000) is above the maximum "
            "original size accepted (999 bytes)!");
  ZlibCompressedBuffer loaded(packed);
  loaded.SetMaximumOriginalSize(999);
  EXPECT_EQ(loaded.GetMaximumOriginalSize(), 999UL);
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] { loaded.UncompressBuffer(out); }),
            "ZlibCompressedBuffer::uncompressBuffer(): The original data size in the footer (1000) is above the "
            "maximum original size accepted (999 bytes)!");
  loaded.SetMaximumOriginalSize(1000);
  ByteBuffer streamed;
  loaded.UncompressBuffer(streamed);
  EXPECT_EQ(streamed, original);

  // The cabinet reader refuses the claim before it asks the platform.
  CabCompressedBuffer cabinet(forgedWith(ceiling + 1, CFE_CAB));
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] { cabinet.UncompressBuffer(out); }),
            "CabCompressedBuffer::UncompressBuffer(): The original data size in the footer (" +
                std::to_string(ceiling + 1) + ") is above the maximum original size accepted (67108864 bytes)!");
}

TEST(CompressedBuffer, TheOneBufferSizeCheckNeedsNoAllocation) {
  // A 32-bit process holds at most 0x7FFFFFFF bytes in one vector. The
  // largest original size a footer can state fits exactly; the check refuses
  // with the library's memory exception what the platform cannot hold,
  // instead of letting std::length_error out.
  constexpr std::size_t kVectorMaximumOn32Bit = 0x7FFFFFFF;
  EXPECT_NO_THROW(CompressedBuffer::CheckOriginalSizeFitsInOneBuffer(0x7FFFFFFF, kVectorMaximumOn32Bit));
  EXPECT_NO_THROW(CompressedBuffer::CheckOriginalSizeFitsInOneBuffer(0, 0));
  EXPECT_EQ(messageOfThrow<CPExceptionOutOfMemory>(
                [] { CompressedBuffer::CheckOriginalSizeFitsInOneBuffer(0x7FFFFFFF, kVectorMaximumOn32Bit - 1); }),
            "The original data size (2147483647 bytes) cannot be held in one buffer on this platform (at most "
            "2147483646 bytes).");
  EXPECT_NO_THROW(CompressedBuffer::CheckOriginalSizeFitsInOneBuffer(0x7FFFFFFF));  // this platform's own maximum
}
