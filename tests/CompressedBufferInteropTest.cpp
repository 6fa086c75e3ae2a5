// Leaves a ZlibCompressedBuffer's data and the original bytes in the interop
// folder beside the test program, for the check that a different zlib front
// end (Python's zlib module) reads the stream before the footer and finds the
// footer's original size (tests/interop/check_zlib_buffer.py).

#include "Compression/ZlibCompressedBuffer.h"
#include "CompressionTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace compression_test;

TEST(CompressedBufferInterop, WritesZlibBufferForOtherReaders) {
  const std::string folder = interopFolder();
  std::filesystem::create_directories(folder);
  const char separator = folder.find('\\') != std::string::npos ? '\\' : '/';

  // Text-like data followed by incompressible bytes, over 64K so that zlib
  // emits more than one block.
  ByteBuffer original = repetitiveBytes(50000);
  original.append(randomBytes(30000, 77));
  ZlibCompressedBuffer buffer(9);
  buffer.CompressBuffer(original);

  ASSERT_TRUE(writeFile(folder + separator + "zlib_buffer.bin", buffer.GetData()));
  ASSERT_TRUE(writeFile(folder + separator + "zlib_buffer.original", original));

  ByteBuffer restored;
  ZlibCompressedBuffer(buffer.GetData()).UncompressBuffer(restored);
  EXPECT_EQ(restored, original);
}
