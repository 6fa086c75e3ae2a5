#include "DebuggingAndExceptions/CPException.h"
#include "General/DriverVersion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<unsigned short> wordsOf(const DriverVersion& version) {
  unsigned short w[4] = {1, 1, 1, 1};
  version.GetWordComponents(w[0], w[1], w[2], w[3]);
  return {w[0], w[1], w[2], w[3]};
}

}  // namespace

TEST(DriverVersion, ConstructorsAndComponents) {
  EXPECT_EQ(wordsOf(DriverVersion()), (std::vector<unsigned short>{0, 0, 0, 0}));
  EXPECT_EQ(wordsOf(DriverVersion(7, 4, 0, 999)), (std::vector<unsigned short>{7, 4, 0, 999}));
  const DriverVersion fromLongs(0x00070004L, 0x000003E7L);
  EXPECT_EQ(wordsOf(fromLongs), (std::vector<unsigned short>{7, 4, 0, 999}));
  long high = 1;
  long low = 1;
  fromLongs.GetLongComponents(high, low);
  EXPECT_EQ(high, 0x00070004L);
  EXPECT_EQ(low, 0x000003E7L);
  // A word 0 with its top bit set gives the same 32-bit value on every platform.
  DriverVersion(0xFFFE, 0x0001, 0x8000, 0x0000).GetLongComponents(high, low);
  EXPECT_EQ(high, -131071L);
  EXPECT_EQ(low, -2147483647L - 1);
  EXPECT_EQ(DriverVersion(high, low), DriverVersion(0xFFFE, 0x0001, 0x8000, 0x0000));
  DriverVersion assigned;
  assigned = fromLongs;
  EXPECT_EQ(assigned, fromLongs);
}

TEST(DriverVersion, SerialisedFormAndWalker) {
  const DriverVersion version(7, 4, 0, 999);
  const ByteBuffer bytes = version.GetVersionAsByteBuffer();
  EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.end()),
            (std::vector<unsigned char>{0x07, 0x00, 0x04, 0x00, 0x00, 0x00, 0xE7, 0x03}));

  ByteBuffer ten = bytes;
  ten.push_back(0xAA);
  ten.push_back(0xBB);
  unsigned char* cursor = ten.data();
  unsigned int remaining = 10;
  EXPECT_EQ(DriverVersion::WalkBufferToGetDriverVersion(cursor, remaining), version);
  EXPECT_EQ(cursor, ten.data() + 8);
  EXPECT_EQ(remaining, 2u);

  const DriverVersion highWords(0xFFFF, 0x8001, 0x1234, 0xABCD);
  const ByteBuffer highBytes = highWords.GetVersionAsByteBuffer();
  const unsigned char* constCursor = highBytes.data();
  remaining = 8;
  EXPECT_EQ(DriverVersion::WalkBufferToGetDriverVersion(constCursor, remaining), highWords);
  EXPECT_EQ(remaining, 0u);

  cursor = ten.data();
  remaining = 7;
  try {
    (void)DriverVersion::WalkBufferToGetDriverVersion(cursor, remaining);
    FAIL() << "no throw";
  } catch (const CPExceptionNotEnoughBytesForDesiredDataType& e) {
    EXPECT_STREQ(e.getExceptionMessage(),
                 "Cannot convert to the DriverVersion because the size of the source buffer is too small (7 bytes)! "
                 "It needs to be at least 8 bytes.");
    EXPECT_STREQ(e.getExceptionLocationFunctionName(), "DriverVersion::WalkBufferToGetDriverVersion");
    EXPECT_STREQ(e.getExceptionLocationFullFileName(), "UtilitiesDll\\General\\DriverVersion");
  }
  EXPECT_EQ(cursor, ten.data());
  EXPECT_EQ(remaining, 7u);
}

TEST(DriverVersion, OrderingIsWordByWordUnsigned) {
  const DriverVersion v(7, 4, 0, 999);
  struct Row {
    DriverVersion a;
    DriverVersion b;
    bool less;
    bool equal;
  };
  const std::vector<Row> rows = {
      {v, DriverVersion(7, 4, 1, 0), true, false},
      {v, DriverVersion(7, 5, 0, 0), true, false},
      {v, DriverVersion(8, 0, 0, 0), true, false},
      {v, DriverVersion(7, 4, 0, 1000), true, false},
      {v, v, false, true},
      {v, DriverVersion(v), false, true},
      {DriverVersion(7, 4, 1, 0), v, false, false},
      {DriverVersion(0x7FFF, 0, 0, 0), DriverVersion(0x8000, 0, 0, 0), true, false},  // unsigned, not signed
      {DriverVersion(0, 0, 0, 0xFFFF), DriverVersion(0, 0, 1, 0), true, false},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.a < row.b, row.less) << row.a.GetDumpDisplayString().utf8StdString() << " vs "
                                       << row.b.GetDumpDisplayString().utf8StdString();
    EXPECT_EQ(row.a == row.b, row.equal);
    EXPECT_EQ(row.a != row.b, !row.equal);
  }
}

TEST(DriverVersion, DisplayFormsSplitEachWordIntoThousands) {
  struct Row {
    DriverVersion version;
    const char* display;
    const char* dump;
  };
  const std::vector<Row> rows = {
      {DriverVersion(7048, 1, 0, 999), "7.48.0.1.0.0.0.999",
       "7.48.0.1.0.0.0.999 [7048, 1, 0, 999 (0x1b88, 0x1, 0x0, 0x3e7)]"},
      {DriverVersion(7, 4, 0, 999), "0.7.0.4.0.0.0.999", "0.7.0.4.0.0.0.999 [7, 4, 0, 999 (0x7, 0x4, 0x0, 0x3e7)]"},
      {DriverVersion(65535, 1000, 0, 0), "65.535.1.0.0.0.0.0",
       "65.535.1.0.0.0.0.0 [65535, 1000, 0, 0 (0xffff, 0x3e8, 0x0, 0x0)]"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.version.GetVersionDisplayString().utf8StdString(), row.display);
    EXPECT_EQ(row.version.GetDumpDisplayString().utf8StdString(), row.dump);
  }
  std::string sink;
  DriverVersion(7, 4, 0, 999).Dump(DumpArgs(&sink, 4));
  EXPECT_EQ(sink, "    DriverVersion: 0.7.0.4.0.0.0.999 [7, 4, 0, 999 (0x7, 0x4, 0x0, 0x3e7)]\n");
}
