#include "Compression/ZlibCompressedBuffer.h"
#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/DebugContext.h"
#include "General/ByteBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

template <std::size_t N>
std::string moduleOf(const char (&path)[N]) {
  return InternalHaldenCP::sourceModuleOf(path).text;
}

}  // namespace

TEST(DebugContext, SourcePathsTakeTheModuleForm) {
  // From the last "UtilitiesDll" folder on, backslashes, no extension; the
  // same whether the compiler saw an absolute path, a relative one (as a
  // compiler cache rewrites them) or a Windows path.
  EXPECT_EQ(moduleOf("/tmp/build/x/UtilitiesDll/Compression/CabCompressedBuffer.cpp"),
            "UtilitiesDll\\Compression\\CabCompressedBuffer");
  EXPECT_EQ(moduleOf("../../UtilitiesDll/General/ByteBuffer.cpp"), "UtilitiesDll\\General\\ByteBuffer");
  EXPECT_EQ(moduleOf("C:\\src\\hd\\UtilitiesDll\\attributebytes\\AttributeBytesWire.h"),
            "UtilitiesDll\\attributebytes\\AttributeBytesWire");
  EXPECT_EQ(moduleOf("/home/UtilitiesDll/src/UtilitiesDll/Win/Entry.cpp"), "UtilitiesDll\\Win\\Entry");
  EXPECT_EQ(moduleOf("UtilitiesDll/DesktopUtilitiesLibraryHost.cpp"), "UtilitiesDll\\DesktopUtilitiesLibraryHost");
  // A folder only named like the library's is not it; a dot in a folder is
  // not an extension.
  EXPECT_EQ(moduleOf("/a/MyUtilitiesDll/b.v2/Thing.cpp"), "Thing");
  // Outside the library: the file's base name.
  EXPECT_EQ(moduleOf("/work/tests/DebugContextTest.cpp"), "DebugContextTest");
  EXPECT_EQ(moduleOf("tools/hdutil/main.cpp"), "main");
  EXPECT_EQ(moduleOf("NoExtension"), "NoExtension");
  EXPECT_EQ(moduleOf(""), "");
  static_assert(std::string_view(InternalHaldenCP::sourceModuleOf("/x/UtilitiesDll/General/UtcTime.cpp").text) ==
                "UtilitiesDll\\General\\UtcTime");

  const DebugContextReference here = HDU_DEBUG_CONTEXT("DebugContextTest");
  EXPECT_STREQ(here.getFullFileName(), "DebugContextTest");
  EXPECT_EQ(DebugContextCopy(HDU_DEBUG_CONTEXT_NOEXCEPT("f")).getLogString().rfind("DebugContextTest (line ", 0), 0u);
}

TEST(DebugContext, LibraryExceptionsCarryTheModuleForm) {
  // Thrown through HDU_DEBUG_CONTEXT inside the library.
  try {
    ByteBuffer out;
    ZlibCompressedBuffer::UncompressData(ByteBuffer{0x01, 0x02, 0x03}, out);
    FAIL() << "no exception";
  } catch (const CPException& e) {
    EXPECT_STREQ(e.getExceptionLocationFullFileName(), "UtilitiesDll\\Compression\\CompressedBuffer");
  }
  try {
    ByteBuffer out;
    const ByteBuffer damaged{0x78, 0x9C, 0xFF, 0xFF};
    ZlibCompressedBuffer::UncompressData(damaged.data(), 4, 10, out);
    FAIL() << "no exception";
  } catch (const CPException& e) {
    EXPECT_STREQ(e.getExceptionLocationFullFileName(), "UtilitiesDll\\Compression\\ZlibCompressedBuffer");
  }
  // Thrown through HDU_DEBUG_CONTEXT_IN with the module named by the code.
  try {
    const unsigned char* cursor = nullptr;
    unsigned int remaining = 0;
    ByteBuffer::WalkBufferToGetLong(cursor, remaining);
    FAIL() << "no exception";
  } catch (const CPException& e) {
    EXPECT_STREQ(e.getExceptionLocationFullFileName(), "UtilitiesDll\\General\\ByteBuffer");
  }
}
