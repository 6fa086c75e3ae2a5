// Without a cabinet library, cabinet data can be carried but not unpacked,
// and zlib keeps working.

#include "Compression/CabCompressedBuffer.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "CompressionTestSupport.h"
#include "UtilitiesLibraryHost.h"

#include <gtest/gtest.h>

using namespace compression_test;

TEST(CabinetOnPosix, FormatIsNotSupported) {
  EXPECT_FALSE(CabCompressedBuffer::IsSupportedOnThisPlatform());

  ByteBuffer cabinetData{'M', 'S', 'C', 'F', 1, 2, 3, 4};
  const Bytes footer = footerBytes(2, -1, 100);
  cabinetData.insert(cabinetData.end(), footer.begin(), footer.end());
  ByteBuffer out{0x42};
  EXPECT_FALSE(UtilitiesLibraryHost::UncompressCabCompressedBufferIfSupported(cabinetData, out));
  EXPECT_EQ(out, (ByteBuffer{0x42}));

  const CabCompressedBuffer carried(cabinetData);
  EXPECT_EQ(carried.GetOriginalSize(), 100);
  EXPECT_FALSE(messageOfThrow<CPExceptionNoSupportForTargetPlatform>([&] { carried.UncompressBuffer(out); }).empty());
  CabCompressedBuffer fresh;
  EXPECT_FALSE(messageOfThrow<CPExceptionNoSupportForTargetPlatform>([&] {
                 fresh.CompressBuffer(ByteBuffer{1, 2, 3});
               }).empty());
  EXPECT_EQ(bytesOf(fresh.GetData()), footerBytes(2, -1, 0));  // unchanged

  // Taking cabinet data into the zlib class needs the cabinet library.
  EXPECT_EQ(messageOfThrow<CPExceptionNoSupportForTargetPlatform>([&] { ZlibCompressedBuffer{cabinetData}; }),
            "CAB compressed data (100 bytes of original data) cannot be uncompressed on this platform: it has no "
            "cabinet library.");
  // Zlib data up to 32K gets as far as the cabinet compressor.
  ByteBuffer zlibData;
  ZlibCompressedBuffer::CompressData(cabinetData.data(), 8, zlibData, -1);
  bool converted = true;
  EXPECT_FALSE(messageOfThrow<CPExceptionNoSupportForTargetPlatform>([&] {
                 CabCompressedBuffer buffer(zlibData, converted);
               }).empty());
  EXPECT_FALSE(converted);
}
