#include "General/ByteBuffer.h"
#include "General/Checksum.h"
#include "General/Crc32.h"
#include "General/Hash32.h"
#include "General/PersistentHash.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

// Expected values below were computed independently (Python's zlib.crc32 and
// a direct transcription of the hash rules), not with the code under test.

namespace {

const unsigned char* bytesOf(const char* text) {
  return reinterpret_cast<const unsigned char*>(text);
}

// The textbook bit-at-a-time CRC register update, as an independent reference
// for register values that zlib's conventions cannot express directly.
std::uint32_t referenceRegister(std::uint32_t reg, const std::vector<unsigned char>& data) {
  for (unsigned char byte : data) {
    reg ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      reg = (reg >> 1) ^ ((reg & 1u) != 0 ? 0xEDB88320u : 0u);
    }
  }
  return reg;
}

}  // namespace

TEST(Checksum, OnesComplementSumWithTheOddLengthArithmetic) {
  struct Row {
    const char* name;
    std::vector<unsigned char> memory;  // the data and whatever lies behind it
    unsigned long length;
    unsigned short expected;
  };
  const std::vector<Row> rows = {
      {"01 02", {0x01, 0x02}, 2, 0xFDFC},                                         // ~(0x0201 + 2)
      {"empty", {}, 0, 0xFFFF},                                                   // ~0
      {"odd reads two bytes behind", {0x01, 0x02, 0x03, 0xAA, 0xBB}, 3, 0x533D},  // ~(0x0201 + 0xAA03 + 0xBB + 3)
      {"carries fold", std::vector<unsigned char>(10, 0xFF), 10, 0xFFF5},         // 0x4FFFB + 10 folds to 0xA
      {"single byte", {0x10, 0x00, 0x00}, 1, 0xFFEE},                             // ~(0x0010 + 0 + 1)
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Checksum::GetChecksum(row.memory.data(), row.length), row.expected) << row.name;
  }
  // The bytes behind an odd-length range take part; behind an even one they do not.
  const unsigned char a[] = {0x01, 0x02, 0x03, 0x00, 0x00};
  const unsigned char b[] = {0x01, 0x02, 0x03, 0x01, 0x01};
  EXPECT_NE(Checksum::GetChecksum(a, 3), Checksum::GetChecksum(b, 3));
  EXPECT_EQ(Checksum::GetChecksum(a, 2), Checksum::GetChecksum(b, 2));
  EXPECT_EQ(Checksum::GetChecksum(nullptr, 0), 0xFFFF);
}

TEST(Crc32, StandardValueAndTheTwoConventions) {
  const unsigned char* digits = bytesOf("123456789");
  EXPECT_EQ(Crc32::GetCrc(digits, 9), 0xCBF43926ul);
  EXPECT_EQ(Crc32::GetCrc(digits, 9, 0xFFFFFFFFul), 0xCBF43926ul);
  EXPECT_EQ(Crc32::GetCrc(bytesOf("a"), 1), 0xE8B7BE43ul);

  // Empty data: 0 for the two-argument form, the complement of `previous` for the other.
  EXPECT_EQ(Crc32::GetCrc(digits, 0), 0ul);
  EXPECT_EQ(Crc32::GetCrc(nullptr, 5), 0ul);
  EXPECT_EQ(Crc32::GetCrc(digits, 0, 0x12345678ul), 0xEDCBA987ul);
  EXPECT_EQ(Crc32::GetCrc(digits, 0, 0xFFFFFFFFul), 0ul);
  EXPECT_EQ(Crc32::GetCrc(nullptr, 0, 0ul), 0xFFFFFFFFul);

  // `previous` is the register as it stands: compare with the bitwise reference.
  const std::vector<unsigned char> data(digits, digits + 9);
  for (const std::uint32_t start : {0x00000000u, 0x12345678u, 0xFFFFFFFFu, 0x80000001u}) {
    EXPECT_EQ(Crc32::GetCrc(data.data(), 9, start), static_cast<std::uint32_t>(~referenceRegister(start, data)))
        << std::hex << start;
  }
  // Chaining over any split gives the whole CRC.
  for (unsigned long split = 1; split < 9; ++split) {
    const unsigned long first = Crc32::GetCrc(digits, split);
    EXPECT_EQ(Crc32::GetCrc(digits + split, 9 - split, ~first & 0xFFFFFFFFul), 0xCBF43926ul) << split;
  }
  if constexpr (sizeof(unsigned long) > 4) {
    // Bits above 32 of `previous` are ignored.
    const unsigned long wide = static_cast<unsigned long>(0xABCDull << 32 | 0xFFFFFFFFull);
    EXPECT_EQ(Crc32::GetCrc(digits, 9, wide), 0xCBF43926ul);
  }
}

TEST(Crc32, LargeUnalignedInputsMatchTheBitwiseReference) {
  std::mt19937 random(12345);
  std::vector<unsigned char> data(100003);
  for (unsigned char& byte : data) {
    byte = static_cast<unsigned char>(random());
  }
  for (const std::size_t offset : {0u, 1u, 3u, 7u}) {
    const std::vector<unsigned char> piece(data.begin() + static_cast<long>(offset), data.end());
    EXPECT_EQ(Crc32::GetCrc(piece.data(), static_cast<unsigned long>(piece.size())),
              static_cast<std::uint32_t>(~referenceRegister(0xFFFFFFFFu, piece)))
        << offset;
  }
}

TEST(Hash32, ValuesAndZeroRules) {
  struct Row {
    std::vector<unsigned char> data;
    unsigned long hash32;
    unsigned short hash16;
  };
  std::vector<unsigned char> all(256);
  for (int i = 0; i < 256; ++i) {
    all[static_cast<std::size_t>(i)] = static_cast<unsigned char>(i);
  }
  const std::vector<Row> rows = {
      {{'1', '2', '3', '4', '5', '6', '7', '8', '9'}, 0xCD8C97CFul, 0x655B},
      {{'a'}, 0xE8B7BE22ul, 0xA6D9},
      {{0x01, 0x02}, 0xB6CC4280ul, 0xF94C},
      {all, 0x2546976Cul, 0xBCB2},
      // The two hashes cancel (E XOR C = 0): reported as 1.
      {{0x01, 0x60, 0xB3, 0xDF, 0x41}, 1ul, 0x0001},
      // E XOR C = 1.
      {{0x04, 0x19, 0xEF, 0x15, 0x5A}, 1ul, 0x0001},
  };
  for (const Row& row : rows) {
    const auto length = static_cast<unsigned long>(row.data.size());
    EXPECT_EQ(Hash32::GetHash32(row.data.data(), length), row.hash32) << row.data.size();
    EXPECT_EQ(Hash32::GetHash32(ByteBuffer(row.data)), row.hash32);
    EXPECT_EQ(Hash32::GetHash16(row.data.data(), length), row.hash16);
  }
  EXPECT_EQ(Hash32::GetHash32(nullptr, 4), 0ul);
  EXPECT_EQ(Hash32::GetHash32(bytesOf("x"), 0), 0ul);
  EXPECT_EQ(Hash32::GetHash32(ByteBuffer()), 0ul);
  EXPECT_EQ(Hash32::GetHash32(CXString()), 0ul);
  EXPECT_EQ(Hash32::GetHash16(nullptr, 3), 0);
  EXPECT_EQ(Hash32::GetHash16(bytesOf("x"), 0), 0);
  // The string form hashes the UTF-16LE code units without a terminator.
  EXPECT_EQ(Hash32::GetHash32(CXString(u"AB\u00E9")), 0xCF738EE9ul);

  EXPECT_EQ(Hash32::Hash16FromHash32(0x12345678ul), 0x68AC);
  EXPECT_EQ(Hash32::Hash16FromHash32(0x0001FFFFul), 0x0000);
  EXPECT_EQ(Hash32::Hash16FromHash32(0ul), 0x0000);
}

TEST(Hash32, AddToHash32WrapsAndNeverGivesZero) {
  const unsigned char* digits = bytesOf("123456789");                 // hash 0xCD8C97CF
  const unsigned char cancelling[] = {0x01, 0x60, 0xB3, 0xDF, 0x41};  // hash 1
  EXPECT_EQ(Hash32::AddToHash32(0x10ul, digits, 9), 0xCD8C97DFul);
  EXPECT_EQ(Hash32::AddToHash32(0x40000000ul, digits, 9), 0x0D8C97CFul);  // 32-bit wrap-around
  EXPECT_EQ(Hash32::AddToHash32(0x32736831ul, digits, 9), 0xFFFFFFFFul);  // sum exactly 2^32
  EXPECT_EQ(Hash32::AddToHash32(0xFFFFFFFFul, cancelling, 5), 0xFFFFFFFFul);
  EXPECT_EQ(Hash32::AddToHash32(0xFFFFFFFEul, cancelling, 5), 0xFFFFFFFFul);
  EXPECT_EQ(Hash32::AddToHash32(0ul, cancelling, 5), 1ul);
  EXPECT_EQ(Hash32::AddToHash32(0x1234ul, nullptr, 5), 0x1234ul);
  EXPECT_EQ(Hash32::AddToHash32(0ul, digits, 0), 0ul);
}

TEST(PersistentHash, FnvOneAOverUtf16MatchesFixedValues) {
  struct Row {
    std::u16string text;
    const char16_t* expected;
  };
  const std::vector<Row> rows = {
      {u"", u"811C9DC5"},
      {u"a", u"2B24D044"},
      {u"Hello, World!", u"36426D38"},
      {u"Printer \u00E9\u20AC", u"BBCE62CE"},
      {u"\U0001F600", u"B34A1DAA"},
      {u"HaldenDriver\\Settings", u"3440F018"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(PersistentHash::ComputeCSharpCompatiblePersistentHash(CXString(row.text)), CXString(row.expected))
        << CXString(row.text).toUtf8();
  }
  EXPECT_EQ(PersistentHash::ComputePersistentHashValue(CXString(u"a")), 0x2B24D044ul);
}
