#include "DebuggingAndExceptions/CPException.h"
#include "General/ByteBuffer.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytesOf(const ByteBuffer& buffer) {
  return Bytes(buffer.begin(), buffer.end());
}

std::string shortMessage(unsigned remaining, unsigned needed) {
  return "Cannot convert to the desired data type because the size of the source buffer is too small (" +
         std::to_string(remaining) + " bytes)! It needs to be at least " + std::to_string(needed) + " bytes.";
}

// Runs `walk` and returns the exception it throws (fails the test when it
// throws nothing or something else).
template <class Walk>
CPExceptionNotEnoughBytesForDesiredDataType expectNotEnoughBytes(Walk walk) {
  try {
    walk();
  } catch (const CPExceptionNotEnoughBytesForDesiredDataType& e) {
    return e;
  } catch (...) {
    ADD_FAILURE() << "a different exception was thrown";
    return CPExceptionNotEnoughBytesForDesiredDataType("", 0, DebugContextCopy());
  }
  ADD_FAILURE() << "nothing was thrown";
  return CPExceptionNotEnoughBytesForDesiredDataType("", 0, DebugContextCopy());
}

}  // namespace

TEST(ByteBuffer, FactoriesWriteLittleEndianBytes) {
  struct Row {
    const char* name;
    ByteBuffer produced;
    Bytes expected;
  };
  const std::vector<Row> rows = {
      {"int", ByteBuffer::createFromIntValue(0x11223344), {0x44, 0x33, 0x22, 0x11}},
      {"negative int", ByteBuffer::createFromIntValue(-2), {0xFE, 0xFF, 0xFF, 0xFF}},
      {"long", ByteBuffer::createFromLongValue(0x01020304L), {0x04, 0x03, 0x02, 0x01}},
      {"negative long", ByteBuffer::createFromLongValue(-1L), {0xFF, 0xFF, 0xFF, 0xFF}},
      {"short", ByteBuffer::createFromShortValue(-2), {0xFE, 0xFF}},
      {"word", ByteBuffer::createFromWordValue(0xABCD), {0xCD, 0xAB}},
      {"byte", ByteBuffer::createFromByteValue(0x7F), {0x7F}},
      {"bool true", ByteBuffer::createFromBoolValue(true), {0x01}},
      {"bool false", ByteBuffer::createFromBoolValue(false), {0x00}},
      {"long64",
       ByteBuffer::createFromLong64Value(0x0123456789ABCDEFLL),
       {0xEF, 0xCD, 0xAB, 0x89, 0x23, 0x01, 0x23, 0x01}},
      {"long64 -2", ByteBuffer::createFromLong64Value(-2), {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {"time64",
       ByteBuffer::createFromTime64Value(0x0123456789ABCDEFLL),
       {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}},
      {"utf16",
       ByteBuffer::createByteBufferWithUtf16EncodedStringData(CXString(u"A\u00E9\u20AC")),
       {0x41, 0x00, 0xE9, 0x00, 0xAC, 0x20}},
      {"utf16 empty", ByteBuffer::createByteBufferWithUtf16EncodedStringData(CXString()), {}},
      {"utf8 from CPString",
       ByteBuffer::createByteBufferWithUtf8EncodedStringData(CPString("h\xC3\xA9")),
       {'h', 0xC3, 0xA9}},
      {"utf8 from std::string",
       ByteBuffer::createByteBufferWithUtf8EncodedStringData(std::string("a\0b", 3)),
       {'a', 0, 'b'}},
      {"utf8 from CXString",
       ByteBuffer::createByteBufferWithUtf8EncodedStringData(CXString(u"\u00E9\u20AC")),
       {0xC3, 0xA9, 0xE2, 0x82, 0xAC}},
      {"counted string",
       ByteBuffer::createCountedStringFormatFromString(CXString(u"AB")),
       {0x02, 0x00, 0x41, 0x00, 0x42, 0x00}},
      {"counted string empty", ByteBuffer::createCountedStringFormatFromString(CXString()), {0x00, 0x00}},
      {"counted bytes", ByteBuffer::createCountedBytesFormat(ByteBuffer{0xAA, 0xBB}), {0x02, 0, 0, 0, 0xAA, 0xBB}},
      {"hex", ByteBuffer::createFromHexBinaryString(CXString(u"00ff7E")), {0x00, 0xFF, 0x7E}},
      {"hex bad", ByteBuffer::createFromHexBinaryString(CXString(u"zz")), {}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(bytesOf(row.produced), row.expected) << row.name;
  }
  EXPECT_THROW(ByteBuffer::createByteBufferWithUtf8EncodedStringData(CXString(u"\xD800")),
               utf8::CPExceptionInvalidUtf16);
}

TEST(ByteBuffer, Long64LayoutRoundTripsOnlyThirtyTwoBitValues) {
  // The top 16 bits are stored twice and bits 32..47 not at all.
  EXPECT_EQ(ByteBuffer::createFromLong64Value(-2).getAsLong64Value(), -2);
  EXPECT_EQ(ByteBuffer::createFromLong64Value(INT_MIN).getAsLong64Value(), INT_MIN);
  EXPECT_EQ(ByteBuffer::createFromLong64Value(INT_MAX).getAsLong64Value(), INT_MAX);
  EXPECT_EQ(ByteBuffer::createFromLong64Value(0x0123456789ABCDEFLL).getAsLong64Value(), 0x0123012389ABCDEFLL);
  EXPECT_EQ(ByteBuffer::createFromTime64Value(0x0123456789ABCDEFLL).getAsTime64Value(), 0x0123456789ABCDEFLL);
}

TEST(ByteBuffer, WholeBufferReadersUseTheLeadingBytesAndSignExtend) {
  const ByteBuffer six{0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
  EXPECT_EQ(six.getAsLongValue(), 0x04030201L);
  EXPECT_EQ(six.getAsIntValue(), 0x04030201);
  EXPECT_EQ(six.getAsShortValue(), 0x0201);
  EXPECT_EQ(six.getAsWordValue(), 0x0201);
  EXPECT_EQ(six.getAsByteValue(), 0x01);
  const ByteBuffer ones(8, 0xFF);
  EXPECT_EQ(ones.getAsLongValue(), -1L);  // 32-bit value sign-extended on every platform
  EXPECT_EQ(ones.getAsIntValue(), -1);
  EXPECT_EQ(ones.getAsShortValue(), -1);
  EXPECT_EQ(ones.getAsWordValue(), 0xFFFF);
  EXPECT_EQ(ones.getAsLong64Value(), -1LL);
  EXPECT_TRUE(ByteBuffer{0x80}.getAsBoolValue());
  EXPECT_FALSE(ByteBuffer({0x00, 0x01}).getAsBoolValue());
  EXPECT_EQ(ByteBuffer({0x00, 0x00, 0x00, 0x80}).getAsLongValue(), -2147483647L - 1);

  const auto e = expectNotEnoughBytes([] { (void)ByteBuffer{1, 2, 3}.getAsIntValue(); });
  EXPECT_EQ(std::string(e.getExceptionMessage()), shortMessage(3, 4));
  EXPECT_STREQ(e.getExceptionLocationFunctionName(), "ByteBuffer::WalkBufferToGetInt");
  EXPECT_EQ(e.getExceptionTypeByNumericCode(), 8);
  EXPECT_THROW((void)ByteBuffer().getAsByteValue(), CPExceptionNotEnoughBytesForDesiredDataType);
}

TEST(ByteBuffer, EveryWalkerOneByteShortThrowsAndConsumesNothing) {
  using Walk = std::function<void(unsigned char*&, unsigned int&)>;
  struct Row {
    const char* label;
    unsigned width;
    Walk walk;
    bool time64Message = false;
  };
  const std::vector<Row> rows = {
      {"ByteBuffer::WalkBufferToGetLong", 4, [](auto& c, auto& r) { (void)ByteBuffer::WalkBufferToGetLong(c, r); }},
      {"ByteBuffer::WalkBufferToGetInt", 4, [](auto& c, auto& r) { (void)ByteBuffer::WalkBufferToGetInt(c, r); }},
      {"ByteBuffer::WalkBufferToGetLong64", 8, [](auto& c, auto& r) { (void)ByteBuffer::WalkBufferToGetLong64(c, r); }},
      {"ByteBuffer::WalkBufferToGetTime64", 8, [](auto& c, auto& r) { (void)ByteBuffer::WalkBufferToGetTime64(c, r); },
       true},
      {"ByteBuffer::WalkBufferToGetShort", 2, [](auto& c, auto& r) { (void)ByteBuffer::WalkBufferToGetShort(c, r); }},
      {"ByteBuffer::WalkBufferToGetWord", 2, [](auto& c, auto& r) { (void)ByteBuffer::WalkBufferToGetWord(c, r); }},
      {"ByteBuffer::WalkBufferToGetByte", 1, [](auto& c, auto& r) { (void)ByteBuffer::WalkBufferToGetByte(c, r); }},
      {"ByteBuffer::WalkBufferToGetByte", 1, [](auto& c, auto& r) { (void)ByteBuffer::WalkBufferToGetBool(c, r); }},
  };
  for (const Row& row : rows) {
    // One byte short: nothing consumed, exact message, label and source file.
    ByteBuffer buffer(row.width, 0x5A);
    unsigned char* cursor = buffer.data();
    unsigned int remaining = row.width - 1;
    const auto e = expectNotEnoughBytes([&] { row.walk(cursor, remaining); });
    std::string expected = shortMessage(row.width - 1, row.width);
    if (row.time64Message) {
      expected += " We persist data in this format, so this could be trouble. Talk to Quillon if you see this message.";
    }
    EXPECT_EQ(std::string(e.getExceptionMessage()), expected) << row.label;
    EXPECT_STREQ(e.getExceptionLocationFunctionName(), row.label);
    EXPECT_STREQ(e.getExceptionLocationFullFileName(), "UtilitiesDll\\General\\ByteBuffer");
    EXPECT_EQ(cursor, buffer.data()) << row.label;
    EXPECT_EQ(remaining, row.width - 1) << row.label;
    // Enough bytes: exactly the width is consumed.
    remaining = row.width + 3;
    ByteBuffer longer(row.width + 3, 0);
    cursor = longer.data();
    row.walk(cursor, remaining);
    EXPECT_EQ(cursor, longer.data() + row.width) << row.label;
    EXPECT_EQ(remaining, 3u) << row.label;
  }
}

TEST(ByteBuffer, WalkersReadInSequenceThroughConstAndMutableCursors) {
  ByteBuffer state;
  state.append(ByteBuffer::createFromLongValue(-5))
      .append(ByteBuffer::createFromWordValue(0xBEEF))
      .append(ByteBuffer::createCountedStringFormatFromString(CXString(u"\u00E9t\u00E9")))
      .append(ByteBuffer::createFromTime64Value(-7))
      .append(ByteBuffer::createCountedBytesFormat(ByteBuffer{9, 8, 7}))
      .append(ByteBuffer::createFromBoolValue(true));
  const unsigned char* cursor = state.data();
  unsigned int remaining = static_cast<unsigned int>(state.size());
  EXPECT_EQ(ByteBuffer::WalkBufferToGetLong(cursor, remaining), -5L);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetWord(cursor, remaining), 0xBEEF);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetCountedString(cursor, remaining), CXString(u"\u00E9t\u00E9"));
  EXPECT_EQ(ByteBuffer::WalkBufferToGetTime64(cursor, remaining), -7);
  ByteBuffer out{1, 1, 1, 1, 1};
  ByteBuffer::WalkBufferToGetCountedBytes(cursor, remaining, out);
  EXPECT_EQ(bytesOf(out), (Bytes{9, 8, 7}));
  EXPECT_TRUE(ByteBuffer::WalkBufferToGetBool(cursor, remaining));
  EXPECT_EQ(remaining, 0u);
  EXPECT_EQ(cursor, state.data() + state.size());

  unsigned char* mutableCursor = state.data();
  remaining = 6;
  EXPECT_EQ(ByteBuffer::WalkBufferToGetInt(mutableCursor, remaining), -5);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetShort(mutableCursor, remaining), static_cast<short>(0xBEEF));
  EXPECT_EQ(mutableCursor, state.data() + 6);
}

TEST(ByteBuffer, CountedStringsAndBytesRejectShortAndNegativeCounts) {
  EXPECT_EQ(ByteBuffer({0x02, 0x00, 0x41, 0x00, 0x42, 0x00}).getAsStringValueFromCountedStringFormat(),
            CXString(u"AB"));
  EXPECT_EQ(ByteBuffer({0x00, 0x00}).getAsStringValueFromCountedStringFormat(), CXString());

  struct Row {
    const char* name;
    ByteBuffer bytes;
    unsigned remainingAfterCount;
    unsigned long long needed;
  };
  // Counts of 0x8000 and above are negative and always fail, whatever follows.
  const std::vector<Row> rows = {
      {"one byte short", ByteBuffer{0x02, 0x00, 0x41, 0x00, 0x42}, 3, 4},
      {"count -1", ByteBuffer(1000, 0xFF), 998, 0xFFFFFFFEull},
      {"count 0x8000",
       [] {
         ByteBuffer b(70000, 0x20);
         b[0] = 0x00;
         b[1] = 0x80;
         return b;
       }(),
       69998, 0xFFFF0000ull},
  };
  for (const Row& row : rows) {
    unsigned char* cursor = const_cast<unsigned char*>(row.bytes.data());
    unsigned int remaining = static_cast<unsigned int>(row.bytes.size());
    const auto e = expectNotEnoughBytes([&] { (void)ByteBuffer::WalkBufferToGetCountedString(cursor, remaining); });
    EXPECT_EQ(std::string(e.getExceptionMessage()),
              "Cannot convert to the desired data type because the size of the source buffer is too small (" +
                  std::to_string(row.remainingAfterCount) + " bytes)! It needs to be at least " +
                  std::to_string(row.needed) + " bytes.")
        << row.name;
    EXPECT_STREQ(e.getExceptionLocationFunctionName(), "ByteBuffer::WalkBufferToGetCountedString") << row.name;
    // The count itself was consumed.
    EXPECT_EQ(cursor, row.bytes.data() + 2) << row.name;
    EXPECT_EQ(remaining, row.remainingAfterCount) << row.name;
  }
  // A missing count fails in the count's own walker.
  const auto noCount = expectNotEnoughBytes([] { (void)ByteBuffer{0x01}.getAsStringValueFromCountedStringFormat(); });
  EXPECT_STREQ(noCount.getExceptionLocationFunctionName(), "ByteBuffer::WalkBufferToGetShort");

  // 32,767 units is the longest counted string that reads back.
  const CXString longest(std::u16string(32767, u'x'));
  EXPECT_EQ(ByteBuffer::createCountedStringFormatFromString(longest).getAsStringValueFromCountedStringFormat(),
            longest);
  // Longer strings are written with the count truncated to 16 bits.
  const ByteBuffer wrapped = ByteBuffer::createCountedStringFormatFromString(CXString(std::u16string(65537, u'y')));
  EXPECT_EQ(bytesOf(wrapped), (Bytes{0x01, 0x00, 'y', 0x00}));

  // Counted bytes: a count larger than what remains fails after the count.
  ByteBuffer counted{0x03, 0x00, 0x00, 0x00, 0xAA, 0xBB};
  const unsigned char* cursor = counted.data();
  unsigned int remaining = 6;
  ByteBuffer out{0x11};
  const auto e = expectNotEnoughBytes([&] { ByteBuffer::WalkBufferToGetCountedBytes(cursor, remaining, out); });
  EXPECT_EQ(std::string(e.getExceptionMessage()), shortMessage(2, 3));
  EXPECT_STREQ(e.getExceptionLocationFunctionName(), "ByteBuffer::WalkBufferToGetCountedBytes");
  EXPECT_EQ(remaining, 2u);
  EXPECT_EQ(bytesOf(out), Bytes{0x11});
  // A count with the top bit set is taken as unsigned and fails.
  ByteBuffer huge{0xFF, 0xFF, 0xFF, 0xFF, 0x00};
  cursor = huge.data();
  remaining = 5;
  const auto hugeError = expectNotEnoughBytes([&] { ByteBuffer::WalkBufferToGetCountedBytes(cursor, remaining, out); });
  EXPECT_EQ(std::string(hugeError.getExceptionMessage()), shortMessage(1, 0xFFFFFFFFu));
}

TEST(ByteBuffer, HexTextConversionsWithTheLenientLetterRule) {
  struct Row {
    std::u16string text;
    bool ok;
    Bytes expected;
  };
  const std::vector<Row> rows = {
      {u"abc", true, {0x0A, 0xBC}},
      {u"0:", true, {0x03}},
      {u":@", true, {0x39}},
      {u"0G", false, {}},
      {u"", true, {}},
      {u"0123456789ABCDEFabcdef", true, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF}},
      {u"F", true, {0x0F}},
      {u"/0", false, {}},
      {u"0 ", false, {}},
      {u"g0", false, {}},
      {u"Z0", false, {}},
      {u"00zz", false, {}},
  };
  for (const Row& row : rows) {
    ByteBuffer out{0xEE, 0xEE};
    const bool ok = ByteBuffer::ConvertHexBinaryStringToByteBuffer(CXString(row.text), out, false);
    EXPECT_EQ(ok, row.ok) << CXString(row.text).toUtf8();
    EXPECT_EQ(bytesOf(out), row.expected) << CXString(row.text).toUtf8();
  }
  // NUL decodes as (0 - 'A' + 10) taken as a byte, 201, and fails.
  ByteBuffer out;
  EXPECT_FALSE(ByteBuffer::ConvertHexBinaryStringToByteBuffer(CXString(std::u16string(u"0\0", 2)), out, true));
  EXPECT_TRUE(out.empty());
  // The difference is taken as a byte, so some characters beyond Latin-1 pass.
  EXPECT_TRUE(ByteBuffer::ConvertHexBinaryStringToByteBuffer(CXString(u"\u01410"), out, true));
  EXPECT_EQ(bytesOf(out), Bytes{0xA0});

  unsigned char value = 99;
  EXPECT_TRUE(ByteBuffer::ConvertSingleHexCharToValue(L'e', value, false));
  EXPECT_EQ(value, 14);
  EXPECT_TRUE(ByteBuffer::ConvertSingleHexCharToValue(L'=', value, false));
  EXPECT_EQ(value, 6);
  EXPECT_FALSE(ByteBuffer::ConvertSingleHexCharToValue(L'h', value, false));
  EXPECT_EQ(value, 0);

  wchar_t character = L'x';
  EXPECT_TRUE(ByteBuffer::ConvertValueToSingleHexChar(11, character, false, false));
  EXPECT_EQ(character, L'B');
  EXPECT_TRUE(ByteBuffer::ConvertValueToSingleHexChar(11, character, true, false));
  EXPECT_EQ(character, L'b');
  EXPECT_TRUE(ByteBuffer::ConvertValueToSingleHexChar(7, character, true, false));
  EXPECT_EQ(character, L'7');
  EXPECT_FALSE(ByteBuffer::ConvertValueToSingleHexChar(16, character, false, false));
  EXPECT_EQ(character, L'0');

  const ByteBuffer bytes{0x00, 0x0A, 0xFF, 0x5C};
  EXPECT_EQ(ByteBuffer::ConvertByteBufferToHexBinaryString(bytes), CXString(u"000AFF5C"));
  EXPECT_EQ(bytes.getAsHexBinaryString(), CXString(u"000AFF5C"));
  EXPECT_EQ(bytes.GetDumpDisplayString().utf8StdString(), "000AFF5C");
  EXPECT_EQ(ByteBuffer::ConvertByteBufferToHexBinaryString(ByteBuffer()), CXString());
  EXPECT_EQ(bytesOf(ByteBuffer::createFromHexBinaryString(bytes.getAsHexBinaryString())), bytesOf(bytes));
}

TEST(ByteBuffer, StringReaders) {
  EXPECT_EQ(ByteBuffer({0x41, 0x00, 0x00, 0x00}).getAsCXStringFromUtf16Buffer(), CXString(u"A"));
  EXPECT_EQ(ByteBuffer({0x41, 0x00, 0x00, 0x00, 0x00, 0x00}).getAsCXStringFromUtf16Buffer(),
            CXString(std::u16string(u"A\0", 2)));
  EXPECT_EQ(ByteBuffer({0x41, 0x00, 0xAC, 0x20, 0x42}).getAsCXStringFromUtf16Buffer(), CXString(u"A\u20AC"));
  EXPECT_EQ(ByteBuffer({0x00, 0x00}).getAsCXStringFromUtf16Buffer(), CXString());
  EXPECT_EQ(ByteBuffer().getAsCXStringFromUtf16Buffer(), CXString());

  EXPECT_EQ(ByteBuffer({'h', 0xC3, 0xA9}).getAsCXStringFromUtf8Buffer(), CXString(u"h\u00E9"));
  EXPECT_EQ(ByteBuffer().getAsCXStringFromUtf8Buffer(), CXString());
  EXPECT_THROW((void)ByteBuffer({'h', 0xC3}).getAsCXStringFromUtf8Buffer(), utf8::exception);
  EXPECT_EQ(ByteBuffer({'h', 0, 'i'}).getAsCPStringFromUtf8Buffer().utf8StdString(), std::string("h\0i", 3));
}

TEST(ByteBuffer, WritersAndConstructors) {
  const unsigned char raw[] = {1, 2, 3, 4};
  EXPECT_EQ(bytesOf(ByteBuffer(raw, 3)), (Bytes{1, 2, 3}));
  EXPECT_TRUE(ByteBuffer(raw, 0).empty());
  EXPECT_TRUE(ByteBuffer(nullptr, 5).empty());
  const ByteBuffer source{5, 6, 7};
  EXPECT_EQ(bytesOf(ByteBuffer(source.begin() + 1, source.end())), (Bytes{6, 7}));
  ByteBuffer moved(ByteBuffer{8, 9}, ByteBuffer::allocator_type());
  EXPECT_EQ(bytesOf(moved), (Bytes{8, 9}));

  ByteBuffer buffer;
  EXPECT_EQ(buffer.getLpbyte(), nullptr);
  EXPECT_EQ(buffer.getDword(), 0ul);
  buffer.setWithLpbyte(raw, 4).appendLpbyte(raw, 2).append(ByteBuffer{9});
  EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3, 4, 1, 2, 9}));
  EXPECT_EQ(buffer.getLpbyte(), buffer.GetAddress());
  EXPECT_EQ(buffer.getDword(), 7ul);
  // Sources inside the buffer itself.
  buffer.append(buffer);
  EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3, 4, 1, 2, 9, 1, 2, 3, 4, 1, 2, 9}));
  buffer.appendLpbyte(buffer.data() + 5, 2);
  EXPECT_EQ(buffer.size(), 16u);
  EXPECT_EQ(buffer[14], 2);
  EXPECT_EQ(buffer[15], 9);
  buffer.setWithLpbyte(buffer.data() + 2, 3);
  EXPECT_EQ(bytesOf(buffer), (Bytes{3, 4, 1}));
  buffer.setWithLpbyte(raw, 0);
  EXPECT_TRUE(buffer.empty());

  buffer.appendAsUtf16(CXString(u"\u00E9\U0001F600")).appendNullUtf16Char();
  EXPECT_EQ(bytesOf(buffer), (Bytes{0xE9, 0x00, 0x3D, 0xD8, 0x00, 0xDE, 0x00, 0x00}));
  buffer.clear();
  buffer.appendAsUtf8(CXString(u"A\u20AC")).appendAsUtf8(CXString()).appendAsAnsi_LossyForUnicode(CXString(u"Hi"));
  EXPECT_EQ(bytesOf(buffer), (Bytes{'A', 0xE2, 0x82, 0xAC, 'H', 'i'}));
  buffer.appendAsAnsi_LossyForUnicode(CXString());
  EXPECT_EQ(buffer.size(), 6u);

  unsigned long size = 99;
  ByteBuffer::OwnedLpbyte copy = buffer.copyAsOwnedLpbyte(size);
  ASSERT_EQ(size, 6ul);
  EXPECT_EQ(Bytes(copy.get(), copy.get() + size), bytesOf(buffer));
  EXPECT_NE(copy.get(), buffer.data());
  unsigned char* empty = ByteBuffer().copyAsLpbyte(size);
  EXPECT_NE(empty, nullptr);
  EXPECT_EQ(size, 0ul);
  ByteBuffer::releaseLpbyte(empty);
}

TEST(ByteBuffer, StreamFormTruncatesTheLengthAndTheTwoOverloadsDiffer) {
  ByteBuffer big(70000, 0);
  for (std::size_t i = 0; i < big.size(); ++i) {
    big[i] = static_cast<unsigned char>(i * 7);
  }
  // 70,000 mod 65,536 = 4,464 = 0x1170.
  ByteBuffer appended{0xAB};
  EXPECT_TRUE(big.persistToByteStream(appended));
  ASSERT_EQ(appended.size(), 1u + 2u + 4464u);
  EXPECT_EQ(appended[1], 0x70);
  EXPECT_EQ(appended[2], 0x11);
  EXPECT_TRUE(std::equal(big.begin(), big.begin() + 4464, appended.begin() + 3));

  std::vector<unsigned char> memory(2 + 70000 + 1, 0xCC);
  unsigned char* cursor = memory.data();
  EXPECT_TRUE(big.persistToByteStream(cursor));
  EXPECT_EQ(cursor, memory.data() + 70002);
  EXPECT_EQ(memory[0], 0x70);
  EXPECT_EQ(memory[1], 0x11);
  EXPECT_TRUE(std::equal(big.begin(), big.end(), memory.begin() + 2));
  EXPECT_EQ(memory[70002], 0xCC);

  // Reading back takes the stored length.
  ByteBuffer read{1, 2, 3};
  const unsigned char* readCursor = memory.data();
  read.initializeFromByteStream(readCursor);
  EXPECT_EQ(read.size(), 4464u);
  EXPECT_EQ(readCursor, memory.data() + 2 + 4464);
  EXPECT_TRUE(std::equal(read.begin(), read.end(), big.begin()));

  // Small buffers round-trip through both forms, the empty one included.
  for (const ByteBuffer& small : {ByteBuffer{}, ByteBuffer{0x10, 0x20, 0x30}}) {
    ByteBuffer stream;
    small.persistToByteStream(stream);
    stream.persistToByteStream(stream);  // writing into itself appends a copy of the earlier contents
    unsigned char* streamCursor = stream.data();
    ByteBuffer back{9};
    back.initializeFromByteStream(streamCursor);
    EXPECT_EQ(bytesOf(back), bytesOf(small));
    EXPECT_EQ(streamCursor, stream.data() + 2 + small.size());
  }
}

TEST(ByteBuffer, DumpsCarryTheHexTextAndTheCharacters) {
  ByteBuffer bytes;
  for (int i = 0; i < 40; ++i) {
    bytes.push_back(static_cast<unsigned char>('0' + i));
  }
  bytes.push_back(0x01);
  std::string sink;
  bytes.DumpAsHexBinary(DumpArgs(&sink, 2));
  const std::string hex = bytes.GetDumpDisplayString().utf8StdString();
  EXPECT_EQ(sink,
            "  ByteBuffer: 41 bytes\n  00000000  " + hex.substr(0, 64) + "\n  00000020  " + hex.substr(64) + "\n");
  sink.clear();
  bytes.dumpAsCharacters(DumpArgs(&sink));
  EXPECT_EQ(sink, "ByteBuffer: 41 bytes\n00000000  0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVW.\n");
  bytes.DumpAsHexBinary(DumpArgs());  // no sink: nothing happens
}
