// The client job data record: value encodings, lookup, removal and the
// add-or-replace rules, byte-exact.

#include "General/ClientJobDataParameterList.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

using List = ClientJobDataParameterList;

std::u16string text(const List& list) {
  return list.GetText().u16string();
}

}  // namespace

TEST(ClientJobDataParameterList, ValueEncodingIsTheFixedUnitTransform) {
  EXPECT_EQ(List::EncodeCodeUnit(u'='), 0x30D3);
  EXPECT_EQ(List::EncodeCodeUnit(u';'), 0x30B3);
  EXPECT_EQ(List::EncodeCodeUnit(u'a'), 0x3016);
  EXPECT_EQ(List::EncodeCodeUnit(0x00E9), 0x309E);  // é: high byte kept, low byte's halves swapped
  EXPECT_EQ(List::EncodeCodeUnit(0x20AC), 0x50CA);  // €
  EXPECT_EQ(List::EncodeCodeUnit(0xFFFF), 0x2FFF);  // wraps modulo 0x10000
  // The transform's known blind spot: U+D0xx lands in the ASCII range.
  EXPECT_EQ(List::EncodeCodeUnit(0xD0B3), u';');
  EXPECT_EQ(List::EncodeCodeUnit(0xD0D3), u'=');
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    ASSERT_EQ(List::DecodeCodeUnit(List::EncodeCodeUnit(static_cast<char16_t>(unit))), unit);
  }
}

TEST(ClientJobDataParameterList, StringsAreEncodedPrependedAndSurviveSeparators) {
  List list;
  list.AddOrReplaceString(5, CXString(u"a;b=c"));
  // Every unit encoded: no separator inside the value, one entry.
  EXPECT_EQ(text(list), (std::u16string{u'S', u'5', u'=', 0x3016, 0x30B3, 0x3026, 0x30D3, 0x3036, u';'}));
  list.AddOrReplaceString(6, CXString(u""));
  EXPECT_EQ(text(list).substr(0, 4), u"S6=;");

  CXString value;
  ASSERT_TRUE(list.GetString(5, value));
  EXPECT_EQ(value.u16string(), u"a;b=c");
  ASSERT_TRUE(list.GetString(6, value));
  EXPECT_TRUE(value.empty());

  // Replacing keeps one entry, now at the front.
  list.AddOrReplaceString(5, CXString(u"x"));
  EXPECT_EQ(text(list), (std::u16string{u'S', u'5', u'=', 0x3087, u';', u'S', u'6', u'=', u';'}));

  // A negative id is written as its 32-bit pattern.
  List negative;
  negative.AddOrReplaceString(-1, CXString(u""));
  EXPECT_EQ(text(negative), u"S4294967295=;");
  EXPECT_TRUE(negative.GetString(-1, value));
}

TEST(ClientJobDataParameterList, LongsReplaceInFrontAndConvertLikeWtoi) {
  List list;
  list.AddOrReplaceString(1, CXString(u"z"));
  list.AddOrReplaceLong(7, 5);
  list.AddOrReplaceLong(7, 9);
  list.AddOrReplaceLong(8, -2147483647L - 1);
  EXPECT_EQ(text(list), (std::u16string(u"L8=-2147483648;L7=9;S1=") + char16_t{0x30A7} + u";"));
  long value = 0;
  ASSERT_TRUE(list.GetLong(7, value));
  EXPECT_EQ(value, 9);
  ASSERT_TRUE(list.GetLong(8, value));
  EXPECT_EQ(value, INT_MIN);

  EXPECT_EQ(List::ConvertDecimalText(u"  -12abc"), -12);
  EXPECT_EQ(List::ConvertDecimalText(u"+7"), 7);
  EXPECT_EQ(List::ConvertDecimalText(u""), 0);
  EXPECT_EQ(List::ConvertDecimalText(u"abc"), 0);
  EXPECT_EQ(List::ConvertDecimalText(u"-"), 0);
  EXPECT_EQ(List::ConvertDecimalText(u"2147483647"), INT_MAX);
  EXPECT_EQ(List::ConvertDecimalText(u"2147483648"), INT_MAX);
  EXPECT_EQ(List::ConvertDecimalText(u"-2147483648"), INT_MIN);
  EXPECT_EQ(List::ConvertDecimalText(u"-99999999999999999999999"), INT_MIN);
  EXPECT_EQ(List::ConvertDecimalText(u"\t\r\n 42 "), 42);
}

TEST(ClientJobDataParameterList, LookupNeedsLetterIdEqualsAndClosingSemicolon) {
  long value = -5;
  List onlyEleven(CXString(u"L11=5;"));
  EXPECT_FALSE(onlyEleven.GetLong(1, value));
  EXPECT_EQ(value, -5);
  EXPECT_TRUE(onlyEleven.GetLong(11, value));
  EXPECT_EQ(value, 5);

  List unterminated(CXString(u"L11=5;L1=7"));
  EXPECT_FALSE(unterminated.GetLong(1, value));
  EXPECT_FALSE(unterminated.RemoveLong(1));
  EXPECT_EQ(unterminated.GetText().u16string(), u"L11=5;L1=7");

  // Kinds have separate id spaces; the first occurrence wins.
  List mixed(CXString(u"S3=;L3=1;L3=2;B3=AQ==;"));
  EXPECT_TRUE(mixed.GetLong(3, value));
  EXPECT_EQ(value, 1);
  ByteBuffer bytes;
  EXPECT_TRUE(mixed.GetByteBuffer(3, bytes));
  EXPECT_EQ(bytes, (ByteBuffer{0x01}));

  // The search is a plain substring search: a key inside another entry's
  // value is found as well (the record's readers have always behaved so).
  List inside(CXString(u"B2=QL5=;"));
  EXPECT_TRUE(inside.GetLong(5, value));
  EXPECT_EQ(value, 0);

  EXPECT_FALSE(List().GetLong(0, value));
}

TEST(ClientJobDataParameterList, RemovalCutsOneEntryWithItsSemicolon) {
  List list(CXString(u"S1=x;L7=5;B2=AA==;L7=6;"));
  EXPECT_TRUE(list.RemoveLong(7));
  EXPECT_EQ(list.GetText().u16string(), u"S1=x;B2=AA==;L7=6;");
  EXPECT_TRUE(list.RemoveByteBuffer(2));
  EXPECT_TRUE(list.RemoveString(1));
  EXPECT_EQ(list.GetText().u16string(), u"L7=6;");
  EXPECT_FALSE(list.RemoveString(1));
  EXPECT_TRUE(list.RemoveLong(7));
  EXPECT_TRUE(list.IsEmpty());
}

TEST(ClientJobDataParameterList, ByteBuffersAppendRemoveTheStringOfTheirIdAndKeepTheOlderEntry) {
  List list;
  list.AddOrReplaceString(4, CXString(u"s"));
  list.AddOrReplaceLong(4, 1);
  list.AddOrReplaceByteBuffer(4, ByteBuffer{0x01});
  EXPECT_EQ(text(list), u"L4=1;B4=AQ==;");  // S4 went, L4 stayed
  list.AddOrReplaceByteBuffer(4, ByteBuffer{0x02, 0x03});
  EXPECT_EQ(text(list), u"L4=1;B4=AQ==;B4=AgM=;");
  ByteBuffer value;
  ASSERT_TRUE(list.GetByteBuffer(4, value));
  EXPECT_EQ(value, (ByteBuffer{0x01}));

  list.AddOrReplaceByteBuffer(9, ByteBuffer{});
  EXPECT_EQ(text(list).substr(text(list).size() - 4), u"B9=;");
  ASSERT_TRUE(list.GetByteBuffer(9, value));
  EXPECT_TRUE(value.empty());

  // Not Base64: reported as absent, the output untouched.
  List bad(CXString(u"B1=A*B=;"));
  value = ByteBuffer{0x77};
  EXPECT_FALSE(bad.GetByteBuffer(1, value));
  EXPECT_EQ(value, (ByteBuffer{0x77}));
}

TEST(ClientJobDataParameterList, ByteBufferEntryIsKeptOnlyBelow65536Units) {
  // 3,000 bytes are 4,000 Base64 units; the entry "B1=" + 4000 + ";" is 4,004.
  const ByteBuffer payload(3000, 0xA5);
  const std::u16string prefix = u"S1=;";  // removed by the byte-buffer add
  const std::size_t entry = 4004;

  List fits(CXString(prefix + std::u16string(65535 - entry, u'Z')));
  fits.AddOrReplaceByteBuffer(1, payload);
  EXPECT_EQ(fits.GetText().size(), 65535u);
  ByteBuffer read;
  ASSERT_TRUE(fits.GetByteBuffer(1, read));
  EXPECT_EQ(read, payload);

  List tooLong(CXString(prefix + std::u16string(65536 - entry, u'Z')));
  tooLong.AddOrReplaceByteBuffer(1, payload);
  // Nothing appended, but the S entry of the id is gone all the same.
  EXPECT_EQ(tooLong.GetText().u16string(), std::u16string(65536 - entry, u'Z'));
  EXPECT_FALSE(tooLong.GetByteBuffer(1, read));
}

TEST(ClientJobDataParameterList, WhiteSpaceRemovalTakesOnlyAsciiWhiteSpace) {
  const std::u16string withBlanks = u" L1=1;\r\n\tS2=\u3016\u00A0;\v\f";
  EXPECT_EQ(List::RemoveWhiteSpace(withBlanks).u16string(), u"L1=1;S2=\u3016\u00A0;");
}
