// Cabinet compression through the platform's Cabinet.dll (FCI and FDI).

#include "Compression/CabCompressedBuffer.h"
#include "Compression/Win/CabCompressionContext.h"
#include "Compression/Win/CabDecompressionContext.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "CompressionTestSupport.h"
#include "UtilitiesLibraryHost.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace compression_test;

namespace {

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

ByteBuffer cabinetPartOf(const CompressedBuffer& buffer) {
  const ByteBuffer& data = buffer.GetData();
  return ByteBuffer(data.begin(), data.end() - 13);
}

}  // namespace

TEST(CabCompressedBufferWin, RoundTripsOfSeveralSizes) {
  ASSERT_TRUE(CabCompressedBuffer::IsSupportedOnThisPlatform());
  const std::vector<ByteBuffer> originals = {ByteBuffer{0x42},       randomBytes(100, 1),    randomBytes(32767, 2),
                                             randomBytes(32768, 3),  randomBytes(100000, 4), randomBytes(1 << 20, 5),
                                             repetitiveBytes(300000)};
  for (const ByteBuffer& original : originals) {
    SCOPED_TRACE(original.size());
    CabCompressedBuffer buffer;
    buffer.CompressBuffer(original);
    EXPECT_EQ(buffer.GetOriginalSize(), static_cast<long>(original.size()));
    EXPECT_EQ(buffer.GetCompressionFormat(), CFE_CAB);
    const ByteBuffer& data = buffer.GetData();
    ASSERT_GT(data.size(), 13u + 4u);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 4), (Bytes{'M', 'S', 'C', 'F'}));
    EXPECT_EQ(Bytes(data.end() - 13, data.end()), footerBytes(2, -1, static_cast<std::int32_t>(original.size())));

    CabDecompressionContext check;
    unsigned int fileCount = 0;
    EXPECT_TRUE(check.IsCabinet(cabinetPartOf(buffer), fileCount));
    EXPECT_EQ(fileCount, 1u);

    ByteBuffer restored{0x01};
    buffer.UncompressBuffer(restored);
    EXPECT_EQ(restored, original);
    // The buffer rebuilt from its bytes reads the same.
    bool converted = true;
    restored.clear();
    CabCompressedBuffer(data, converted).UncompressBuffer(restored);
    EXPECT_FALSE(converted);
    EXPECT_EQ(restored, original);
  }
  // Text-like data really is compressed (MSZIP).
  CabCompressedBuffer text;
  text.CompressBuffer(repetitiveBytes(300000));
  EXPECT_LT(text.GetData().size(), 30000u);
}

TEST(CabCompressedBufferWin, ContextsStoreSeveralFilesAndKeepToTheBudget) {
  CabCompressionContext compressor;
  const ByteBuffer first = repetitiveBytes(5000);
  const ByteBuffer second = randomBytes(40000, 8);
  compressor.AddFile(first, "first.txt");
  compressor.AddFile(second, "second.bin");
  const ByteBuffer cabinet = compressor.FlushCabinet();
  EXPECT_EQ(compressor.GetOpenFileCount(), 0u);
  EXPECT_FALSE(messageOfThrow<CPExceptionCompression>([&] { compressor.AddFile(first, "late"); }).empty());

  CabDecompressionContext decompressor;
  unsigned int fileCount = 0;
  EXPECT_TRUE(decompressor.IsCabinet(cabinet, fileCount));
  EXPECT_EQ(fileCount, 2u);
  const auto files = decompressor.ExtractFiles(cabinet, 45000);
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files[0].name, "first.txt");
  EXPECT_EQ(files[0].contents, first);
  EXPECT_EQ(files[1].name, "second.bin");
  EXPECT_EQ(files[1].contents, second);
  EXPECT_EQ(decompressor.GetOpenFileCount(), 0u);

  // A budget too small for the second file stops before writing it.
  const std::string message =
      messageOfThrow<CPExceptionCompression>([&] { decompressor.ExtractFiles(cabinet, 44999); });
  EXPECT_TRUE(contains(message, "FDICopy() failed with FDIERROR_USER_ABORT (Application aborted)")) << message;
  EXPECT_TRUE(contains(message, "the cabinet's file 'second.bin' declares 40000 bytes, more than the 39999 bytes"))
      << message;
  EXPECT_EQ(decompressor.GetOpenFileCount(), 0u);

  // The buffer class wants exactly one file.
  ByteBuffer twoFiles = cabinet;
  CompressedBuffer::AppendFooterInfo(twoFiles, 45000, -1, CFE_CAB);
  EXPECT_EQ(messageOfThrow<CPExceptionCompression>([&] {
              ByteBuffer out;
              CabCompressedBuffer(twoFiles).UncompressBuffer(out);
            }),
            "The cabinet holds 2 files; the cabinet of a CabCompressedBuffer holds exactly one.");
}

TEST(CabCompressedBufferWin, CabinetWriteFailureIsReportedWithTheFciError) {
  // The in-memory cabinet file is limited to 10 bytes, so FCI cannot write
  // the cabinet.
  CabCompressionContext compressor;
  compressor.SetFile(CabCompressionContext::GetCabinetName(), ByteBuffer());
  compressor.SetFileSizeLimit(CabCompressionContext::GetCabinetName(), 10);
  compressor.AddFile(repetitiveBytes(1000), "data.bin");
  const std::string message = messageOfThrow<CPExceptionCompression>([&] { compressor.FlushCabinet(); });
  EXPECT_TRUE(contains(message,
                       "CabCompressionContext::FlushCabinet(): FCIFlushCabinet() failed with "
                       "FCIERR_CAB_FILE (Could not create cabinet file)"))
      << message;
  EXPECT_TRUE(contains(message, "longer than its limit of 10 bytes")) << message;
}

TEST(CabCompressedBufferWin, BadCabinetsFailWithTheFdiError) {
  const ByteBuffer original = repetitiveBytes(20000);
  CabCompressedBuffer good;
  good.CompressBuffer(original);
  const ByteBuffer cabinet = cabinetPartOf(good);

  auto uncompressMessage = [](const ByteBuffer& cabinetBytes, long originalSize) {
    ByteBuffer data = cabinetBytes;
    CompressedBuffer::AppendFooterInfo(data, originalSize, -1, CFE_CAB);
    return messageOfThrow<CPExceptionCompression>([&] {
      ByteBuffer out;
      CabCompressedBuffer(data).UncompressBuffer(out);
    });
  };

  // Not a cabinet at all.
  std::string message = uncompressMessage(randomBytes(500, 11), 20000);
  EXPECT_TRUE(contains(message, "FDIERROR_NOT_A_CABINET (Cabinet file does not have the correct format)")) << message;

  // Damaged compressed data: the block checksum fails.
  ByteBuffer damaged = cabinet;
  for (std::size_t i = damaged.size() - 40; i < damaged.size() - 20; ++i) {
    damaged[i] ^= 0x5A;
  }
  message = uncompressMessage(damaged, 20000);
  EXPECT_TRUE(contains(message, "FDIERROR_CORRUPT_CABINET (Cabinet file is corrupt)")) << message;

  // Cut short.
  message =
      uncompressMessage(ByteBuffer(cabinet.begin(), cabinet.begin() + static_cast<long>(cabinet.size() / 2)), 20000);
  EXPECT_TRUE(contains(message, "FDICopy() failed with FDIERROR_")) << message;

  // A footer claiming less than the cabinet holds: refused before writing.
  message = uncompressMessage(cabinet, 19999);
  EXPECT_TRUE(contains(message, "FDIERROR_USER_ABORT")) << message;
  EXPECT_TRUE(contains(message, "declares 20000 bytes, more than the 19999 bytes")) << message;
  // ... or more.
  EXPECT_EQ(uncompressMessage(cabinet, 20001),
            "CabCompressedBuffer::UncompressBuffer(): Uncompressed data size (20000) doesn't match the expected size "
            "of the original data (20001)!");
}

TEST(CabCompressedBufferWin, ConversionsBetweenZlibAndCabinet) {
  // Zlib to cabinet, up to the 32K limit.
  for (const std::size_t size : {std::size_t{1}, std::size_t{1000}, std::size_t{32767}}) {
    SCOPED_TRACE(size);
    const ByteBuffer original = randomBytes(size, 20);
    ByteBuffer zlibData;
    ZlibCompressedBuffer::CompressData(original.data(), static_cast<unsigned long>(size), zlibData, 9);
    bool converted = false;
    const CabCompressedBuffer cab(zlibData, converted);
    EXPECT_TRUE(converted);
    EXPECT_EQ(cab.GetFormatParameter(), -1);
    EXPECT_EQ(Bytes(cab.GetData().begin(), cab.GetData().begin() + 4), (Bytes{'M', 'S', 'C', 'F'}));
    ByteBuffer restored;
    cab.UncompressBuffer(restored);
    EXPECT_EQ(restored, original);

    // And back: cabinet to zlib, at the zlib class's default level.
    const ZlibCompressedBuffer zlib(cab.GetData());
    EXPECT_EQ(zlib.GetCompressionFormat(), CFE_ZLIB);
    EXPECT_EQ(zlib.GetCompressionLevel(), -1);
    EXPECT_EQ(zlib.GetOriginalSize(), static_cast<long>(size));
    restored.clear();
    zlib.UncompressBuffer(restored);
    EXPECT_EQ(restored, original);
  }

  // Cabinet data above 32K converts to zlib (the limit is one-way).
  const ByteBuffer large = repetitiveBytes(200000);
  CabCompressedBuffer cab;
  cab.CompressBuffer(large);
  ByteBuffer restored;
  ZlibCompressedBuffer(cab.GetData()).UncompressBuffer(restored);
  EXPECT_EQ(restored, large);

  // The host function unpacks cabinet data here.
  ByteBuffer in = cab.GetData();
  ByteBuffer out;
  EXPECT_TRUE(UtilitiesLibraryHost::UncompressCabCompressedBufferIfSupported(in, out));
  EXPECT_EQ(out, large);

  // A broken cabinet makes the conversion fail with the FDI error, as raised.
  ByteBuffer broken = randomBytes(300, 21);
  CompressedBuffer::AppendFooterInfo(broken, 100, -1, CFE_CAB);
  const std::string message = messageOfThrow<CPExceptionCompression>([&] { ZlibCompressedBuffer{broken}; });
  EXPECT_TRUE(contains(message, "FDIERROR_NOT_A_CABINET")) << message;
}

TEST(CabCompressedBufferWin, WritesCabinetForOtherReaders) {
  // Left for tests/interop/check_cabinet.sh, which lists and extracts the
  // cabinet with cabextract and compares the content with the original.
  const std::string folder = interopFolder();
  std::filesystem::create_directories(folder);
  const ByteBuffer original = repetitiveBytes(60000);
  CabCompressedBuffer buffer;
  buffer.CompressBuffer(original);
  ASSERT_TRUE(writeFile(folder + "\\cab_buffer.cab", cabinetPartOf(buffer)));
  ASSERT_TRUE(writeFile(folder + "\\cab_buffer.original", original));
}
