#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/CPString.h"
#include "ThrownExceptionSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using CP = SizeCodePoints32Struct;
using RB = SizeRawBytes32Struct;

// "a" (1 byte), "é" (2), "€" (3), "b" (1): 4 code points, 7 bytes.
const char* const kMixed =
    "a\xC3\xA9\xE2\x82\xAC"
    "b";

}  // namespace

// The index types never mix with each other or with bare integers.
static_assert(!std::is_convertible_v<SizeCodePoints32Struct, SizeRawBytes32Struct>);
static_assert(!std::is_convertible_v<SizeRawBytes32Struct, SizeCodePoints32Struct>);
static_assert(!std::is_convertible_v<unsigned int, SizeCodePoints32Struct>);
static_assert(!std::is_convertible_v<SizeCodePoints32Struct, unsigned int>);
static_assert(!std::is_convertible_v<unsigned int, SizeRawBytes32Struct>);
template <class S>
concept ErasesWithBareUnsigned = requires(S s) {
  s.erase(1u, 1u);
};
template <class S>
concept TakesLeftWithBareUnsigned = requires(S s) {
  s.left(3u);
};
template <class S>
concept ErasesWithMixedUnits = requires(S s) {
  s.erase(CP(1), RB(1));
};
static_assert(!ErasesWithBareUnsigned<CPString>);
static_assert(!TakesLeftWithBareUnsigned<CPString>);
static_assert(!ErasesWithMixedUnits<CPString>);

TEST(CPString, CompareNoCaseOrdersByLengthFirst) {
  EXPECT_EQ(CPString("b").compareNoCase("AA"), -1);
  EXPECT_EQ(CPString("AA").compareNoCase("b"), 1);
  EXPECT_EQ(CPString("abc").compareNoCase("ABC"), 0);
  EXPECT_EQ(CPString("abc").compareNoCase(CPString("abd")), -1);
  EXPECT_EQ(CPString("abd").compareNoCase(std::string("ABC")), 1);
  EXPECT_EQ(CPString("").compareNoCase(""), 0);
  EXPECT_EQ(CPString("").compareNoCase(static_cast<const char*>(nullptr)), 0);

  // The word-at-a-time ASCII path: a difference in the middle of a long
  // string, the first difference deciding, and the characters between 'Z'
  // and 'a' (which upper-casing must not confuse with letters).
  const std::string base = "The Quick Brown Fox Jumps Over The Lazy Dog 0123456789 [\\]^_` {|}~";
  std::string upper = base;
  for (char& c : upper) {
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  EXPECT_EQ(CPString(base).compareNoCase(upper), 0);
  for (std::size_t i = 0; i < base.size(); ++i) {
    std::string higher = upper;
    std::string lower = upper;
    higher[i] = static_cast<char>(higher[i] + 1);
    lower[i] = static_cast<char>(lower[i] - 1);
    if (std::tolower(static_cast<unsigned char>(higher[i])) == std::tolower(static_cast<unsigned char>(upper[i]))) {
      continue;
    }
    EXPECT_EQ(CPString(base).compareNoCase(higher), std::toupper(higher[i]) > std::toupper(base[i]) ? -1 : 1) << i;
    EXPECT_EQ(CPString(base).compareNoCase(lower), std::toupper(lower[i]) > std::toupper(base[i]) ? -1 : 1) << i;
  }
  EXPECT_EQ(CPString("abcdefgh_").compareNoCase("ABCDEFGHa"), 1);   // '_' (0x5F) > 'A'
  EXPECT_EQ(CPString("abcdefgh@").compareNoCase("ABCDEFGHa"), -1);  // '@' < 'A'
  EXPECT_EQ(CPString("abcdefg[x").compareNoCase("abcdefgAx"), 1);   // '[' > 'A'

  // Non-ASCII: same byte length, then the code-point count, then code point
  // by code point after toupper, which changes ASCII letters only: é (U+00E9)
  // and É (U+00C9) stay different, Cyrillic and Greek letters too.
  EXPECT_EQ(CPString("\xC3\xA9t\xC3\xA9").compareNoCase("\xC3\x89T\xC3\x89"), 1);  // été / ÉTÉ
  EXPECT_EQ(CPString("\xC3\x89T\xC3\x89").compareNoCase("\xC3\xA9t\xC3\xA9"), -1);
  EXPECT_EQ(CPString("\xC3\xA9t\xC3\xA9").compareNoCase("\xC3\xA9T\xC3\xA9"), 0);
  EXPECT_EQ(CPString("\xD0\xB6x").compareNoCase("\xD0\x96X"), 1);             // ж / Ж
  EXPECT_EQ(CPString("\xCF\x83").compareNoCase(std::string("\xCE\xA3")), 1);  // σ / Σ
  EXPECT_EQ(CPString("\xC3\xBF").compareNoCase("\xC5\xB8"), -1);              // ÿ (U+00FF) / Ÿ (U+0178)
  EXPECT_EQ(CPString("Z\xC3\xA9").compareNoCase("Aaa"), -1);                  // 3 bytes each; 2 code points before 3
  EXPECT_EQ(CPString("Aaa").compareNoCase("Z\xC3\xA9"), 1);
  EXPECT_EQ(CPString("a\xC3\xA9").compareNoCase("B\xC3\xA9"), -1);
  // Malformed bytes never throw; they are compared as bytes.
  EXPECT_EQ(CPString("\xFF").compareNoCase("\xFE"), 1);
  EXPECT_EQ(CPString("a\xFF").compareNoCase("A\xFF"), 0);

  // Wide arguments are converted first.
  EXPECT_EQ(CPString("\xC3\xA9"
                     "cole")
                .compareNoCase(L"\u00E9COLE"),
            0);
  EXPECT_EQ(CPString("\xC3\xA9"
                     "cole")
                .compareNoCase(L"\u00C9COLE"),
            1);
  EXPECT_EQ(CPString("b").compareNoCase(std::wstring(L"AA")), -1);
}

// The ASCII comparison goes sixteen bytes at a time with an overlapping last
// block; differences and non-ASCII bytes must be seen at every position.
TEST(CPString, CompareNoCaseAroundBlockEdges) {
  for (const unsigned length : {1u, 15u, 16u, 17u, 31u, 32u, 33u, 64u, 65u}) {
    const std::string lower(length, 'k');
    const std::string upper(length, 'K');
    EXPECT_EQ(CPString(lower).compareNoCase(upper), 0) << length;
    for (unsigned k = 0; k < length; ++k) {
      std::string changed = upper;
      changed[k] = 'L';
      EXPECT_EQ(CPString(lower).compareNoCase(changed), -1) << length << " " << k;
      changed[k] = 'j';
      EXPECT_EQ(CPString(lower).compareNoCase(changed), 1) << length << " " << k;
    }
    if (length >= 2) {
      // Same byte length, fewer code points: decided by the count, which only
      // the code-point path sees ("zz..." would otherwise order after "aa...").
      for (unsigned k = 0; k + 2 <= length; ++k) {
        std::string accented(length, 'z');
        accented.replace(k, 2, "\xC3\xA9");
        EXPECT_EQ(CPString(accented).compareNoCase(std::string(length, 'a')), -1) << length << " " << k;
      }
    }
  }
}

TEST(CPString, CompareNoCaseUsingAsciiCharacterSetTakesBytesAsSignedChars) {
  EXPECT_EQ(CPString("b").compareNoCaseUsingAsciiCharacterSet("AA"), -1);
  EXPECT_EQ(CPString("abc").compareNoCaseUsingAsciiCharacterSet(CPString("ABC")), 0);
  // 0xC3 is negative as a signed char, so it orders before 'A'.
  EXPECT_EQ(CPString("\xC3").compareNoCaseUsingAsciiCharacterSet("A"), -1);
  EXPECT_EQ(CPString("A").compareNoCaseUsingAsciiCharacterSet(std::string("\xC3")), 1);
  // No case folding beyond ASCII: é and É differ.
  EXPECT_NE(CPString("\xC3\xA9").compareNoCaseUsingAsciiCharacterSet("\xC3\x89"), 0);
  EXPECT_EQ(CPString::compareNoCaseSameLengthAsciiStrings("abc", "ABD", 3), -1);
  int result = 7;
  EXPECT_FALSE(
      CPString::compareNoCaseSameLengthStringsIfEntirelyAscii("abcdefghij\xC3\xA9", "ABCDEFGHIJKL", 12, result));
  EXPECT_EQ(result, 7);
  EXPECT_TRUE(CPString::compareNoCaseSameLengthStringsIfEntirelyAscii("abcdefghij", "ABCDEFGHIK", 10, result));
  EXPECT_EQ(result, -1);
}

TEST(CPString, CompareAndRelationalOperatorsAreByteWise) {
  EXPECT_EQ(CPString("a").compare("b"), -1);
  EXPECT_EQ(CPString("b").compare(CPString("a")), 1);
  EXPECT_EQ(CPString("abc").compare(std::string("abc")), 0);
  EXPECT_EQ(CPString("aa").compare("b"), -1);  // no length-first rule here
  EXPECT_EQ(CPString("\xC3\xA9").compare(L"\u00E9"), 0);
  EXPECT_EQ(CPString("a").compare(std::wstring(L"\u00E9")), -1);
  const CPString withZero(std::string("a\0b", 3));
  EXPECT_EQ(withZero.compare("a"), 1);
  EXPECT_FALSE(withZero == "a");
  EXPECT_TRUE(CPString("aa") < CPString("b"));
  EXPECT_TRUE(CPString("b") > "aa");
  EXPECT_TRUE("abc" == CPString("abc"));
  EXPECT_TRUE(CPString("abc") != std::string("abd"));
  EXPECT_TRUE(CPString("abc") <= CPString("abc"));
}

TEST(CPString, HashIsFnv1aUpToTheFirstZeroByte) {
  EXPECT_EQ(CPString().hash(), 0x811C9DC5u);
  EXPECT_EQ(CPString("a").hash(), 0xE40C292Cu);
  EXPECT_EQ(CPString("foobar").hash(), 0xBF9CF968u);
  EXPECT_EQ(CPString(std::string("ab\0cd", 5)).hash(), CPString("ab").hash());
  EXPECT_EQ(CPString(std::string("\0x", 2)).hash(), 0x811C9DC5u);
  EXPECT_EQ(std::hash<CPString>()(CPString("foobar")), 0xBF9CF968u);
}

TEST(CPString, CodePointsAndBytesOfAnAccentedLetter) {
  CPString e("\xC3\xA9");  // é
  EXPECT_EQ(e.lengthInCodePoints(), CP(1));
  EXPECT_EQ(e.sizeOfUtf8RawBytes(), RB(2));
  EXPECT_EQ(e.sizeOfUtf8Bytes(), 2u);

  const Thrown byCodePoints = thrownAs<CPExceptionOutOfRange>([&] { e.eraseByCodePoints(1, 1); });
  // The count overruns: the message names the end it would reach.
  EXPECT_EQ(byCodePoints.message, "invalid string position, 2! There are 1 code points in this string: \xC3\xA9");
  EXPECT_EQ(byCodePoints.function, "CPString::erase");
  EXPECT_EQ(byCodePoints.code, 4);
  EXPECT_EQ(e.utf8StdString(), "\xC3\xA9");  // unchanged by the failed erase

  const Thrown bytesAndCount = thrownAs<CPExceptionOutOfRange>([&] { e.eraseByUtf8RawBytes(1, 2); });
  EXPECT_EQ(bytesAndCount.message,
            "invalid byte index string position, 1, and count, 2! There are 2 raw bytes in this string: \xC3\xA9");
  EXPECT_EQ(bytesAndCount.function, "CPString::erase");
  const Thrown bytePosition = thrownAs<CPExceptionOutOfRange>([&] { e.erase(RB(3)); });
  EXPECT_EQ(bytePosition.message,
            "invalid byte index string position, 3! There are 2 raw bytes in this string: \xC3\xA9");
  const Thrown insertBytes = thrownAs<CPExceptionOutOfRange>([&] { e.insertAtUtf8RawBytesIndex(3, "x"); });
  EXPECT_EQ(insertBytes.message, bytePosition.message);
  EXPECT_EQ(insertBytes.function, "CPString::insert");
  const Thrown insertCodePoints = thrownAs<CPExceptionOutOfRange>([&] { e.insertAtCodePointsIndex(2, "x"); });
  EXPECT_EQ(insertCodePoints.message, "invalid string position, 2! There are 1 code points in this string: \xC3\xA9");
  EXPECT_EQ(insertCodePoints.function, "CPString::insert");
  EXPECT_EQ(e.utf8StdString(), "\xC3\xA9");

  e.eraseByUtf8RawBytes(1, 1);  // raw bytes: allowed to split the sequence
  EXPECT_EQ(e.utf8StdString(), "\xC3");
  EXPECT_EQ(e.sizeOfUtf8RawBytes(), RB(1));
}

TEST(CPString, SearchFormsForAbsentAndPresentNeedles) {
  const CPString text(kMixed);
  EXPECT_EQ(text.find('z'), CPString::npos);
  EXPECT_EQ(text.find("zz"), CPString::npos);
  EXPECT_EQ(text.find(CPString("zz"), CP(1)), CPString::npos);
  EXPECT_EQ(text.findUtf8RawBytes('z'), CPString::nposRawBytes);
  EXPECT_EQ(text.findUtf8RawBytes("zz", RB(2)), CPString::nposRawBytes);
  EXPECT_EQ(text.findUtf8RawBytes(CPString("zz")), CPString::nposRawBytes);
  EXPECT_TRUE(text.findIterator('z') == text.end());
  EXPECT_TRUE(text.findIterator("zz", text.begin()) == text.end());
  EXPECT_TRUE(text.findIterator(CPString("zz")) == text.end());
  EXPECT_EQ(text.reverseFind("zz"), CPString::npos);
  EXPECT_EQ(text.findFirstOf("xyz"), CPString::npos);
  EXPECT_EQ(text.findFirstNotOfUtf8RawBytes(kMixed), CPString::nposRawBytes);

  // Present: the three forms agree.
  EXPECT_EQ(text.find('b'), CP(3));
  EXPECT_EQ(text.findUtf8RawBytes('b'), RB(6));
  EXPECT_EQ(*text.findIterator('b'), U'b');
  EXPECT_EQ(text.find("\xE2\x82\xAC"), CP(2));
  EXPECT_EQ(text.findUtf8RawBytes(CPString("\xE2\x82\xAC")), RB(3));
  EXPECT_EQ(*text.findIterator("\xE2\x82\xAC"), U'\u20AC');
  EXPECT_EQ(text.getCodePointIndex(text.findIterator("b")), CP(3));
  // Start positions, and a forward start past the end.
  EXPECT_EQ(text.find("a", CP(1)), CPString::npos);
  EXPECT_EQ(text.find("b", CP(3)), CP(3));
  EXPECT_EQ(text.find("b", CP(9)), CPString::npos);
  EXPECT_EQ(text.find("b", CPString::npos), CPString::npos);
  EXPECT_EQ(text.findUtf8RawBytes("b", RB(100)), CPString::nposRawBytes);
  EXPECT_TRUE(text.findIterator('b', text.findIterator('b')) == text.findIterator('b'));

  const CPString repeated("abcabc");
  EXPECT_EQ(repeated.reverseFind("bc"), CP(4));
  EXPECT_EQ(repeated.reverseFind("bc", CP(3)), CP(1));
  EXPECT_EQ(repeated.reverseFindUtf8RawBytes('a', RB(2)), RB(0));
  EXPECT_EQ(repeated.getCodePointIndex(repeated.reverseFindIterator(CPString("c"))), CP(5));

  // Sets: code points versus single bytes.
  EXPECT_EQ(text.findFirstOf("\xE2\x82\xAC"
                             "b"),
            CP(2));
  EXPECT_EQ(text.findFirstOfUtf8RawBytes("\xE2\x82\xAC"
                                         "b"),
            RB(3));
  EXPECT_EQ(text.findFirstNotOf("a\xC3\xA9"), CP(2));
  EXPECT_EQ(text.findFirstNotOf('a'), CP(1));
  EXPECT_EQ(text.findFirstOf("b", CP(1)), CP(3));
  EXPECT_EQ(text.findFirstOfUsingAsciiCharacterSetUtf8RawBytes("b"), RB(6));
  EXPECT_EQ(text.findFirstNotOfUsingAsciiCharacterSetUtf8RawBytes("a"), RB(1));
  EXPECT_EQ(text.findFirstNotOfUsingAsciiCharacterSet("a"), CP(1));
  // As bytes, 0xAC is found inside the euro sign; as code points it is not there.
  EXPECT_EQ(text.findFirstOfUsingAsciiCharacterSetUtf8RawBytes("\xAC"), RB(5));
  EXPECT_EQ(text.findFirstOf("\xC2\xAC"), CPString::npos);  // U+00AC

  // Empty needles.
  EXPECT_EQ(text.find(""), CP(0));
  EXPECT_EQ(text.findFirstOf(""), CPString::npos);
  EXPECT_EQ(text.findFirstNotOf("", CP(2)), CP(2));

  EXPECT_TRUE(text.contains("\xC3\xA9"));
  EXPECT_FALSE(text.contains('z'));
  EXPECT_TRUE(text.startsWith("a\xC3"));
  EXPECT_TRUE(
      text.endsWith(CPString("\xAC"
                             "b")));
  EXPECT_FALSE(text.endsWith('a'));
}

TEST(CPString, CodePointIteratorWalksAndReportsMisuse) {
  const CPString text("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  std::u32string forward;
  for (char32_t c : text) {
    forward.push_back(c);
  }
  EXPECT_EQ(forward, U"a\u00E9\u20AC\U0001F600");
  std::u32string backward;
  for (auto it = text.end(); it != text.begin();) {
    backward.push_back(*--it);
  }
  EXPECT_EQ(backward, U"\U0001F600\u20AC\u00E9a");

  const Thrown atBeginning = thrownAs<utf8::CPExceptionNotEnoughRoom>([&] { --text.begin(); });
  EXPECT_EQ(atBeginning.message, "Already at the beginning.");
  EXPECT_EQ(atBeginning.function, "utf8::prior");
  const CPString trailsOnly("\x80\x80");
  const Thrown noLead = thrownAs<utf8::CPExceptionInvalidUtf8>([&] { --trailsOnly.end(); });
  EXPECT_EQ(noLead.message, "No lead byte in the sequence.");
  EXPECT_EQ(noLead.function, "utf8::prior");

  const CPString other("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  const Thrown ranges = thrownAs<CPExceptionIteratorOutOfBounds>([&] { (void)(text.begin() == other.begin()); });
  char expected[200];
  auto hex = [](const void* p) {
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "0x%0*llX", static_cast<int>(2 * sizeof(void*)),
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(p)));
    return std::string(buffer);
  };
  std::snprintf(expected, sizeof expected,
                "Comparing utf-8 iterators defined with different ranges (%s - %s) (%s - %s)",
                hex(text.beginBytes()).c_str(), hex(text.endBytes()).c_str(), hex(other.beginBytes()).c_str(),
                hex(other.endBytes()).c_str());
  EXPECT_EQ(ranges.message, expected);
  EXPECT_EQ(ranges.function, "utf8::iterator<char *>::operator ==");

  // Malformed text met while walking.
  EXPECT_EQ(thrownAs<utf8::CPExceptionInvalidUtf8>([] { (void)CPString("a\xFF").lengthInCodePoints(); }).code, 1002);
  EXPECT_EQ(thrownAs<utf8::CPExceptionNotEnoughRoom>([] { (void)CPString("a\xE2\x82").lengthInCodePoints(); }).code,
            1004);
  EXPECT_EQ(
      thrownAs<utf8::CPExceptionInvalidCodePoint>([] { (void)CPString("\xED\xA0\x80").lengthInCodePoints(); }).code,
      1001);
  EXPECT_EQ(thrownAs<utf8::CPExceptionInvalidUtf8>([] { (void)CPString("\xC0\x80").lengthInCodePoints(); }).code, 1002);
  EXPECT_EQ(thrownAs<utf8::CPExceptionInvalidUtf8>([] { (void)*CPString("\xC3(").begin(); }).code, 1002);
  // Raw bytes never look at the encoding.
  EXPECT_EQ(CPString("a\xFF").findUtf8RawBytes('\xFF'), RB(1));
}

TEST(CPString, IndexConversionsBetweenUnits) {
  CPString text(kMixed);
  EXPECT_EQ(text.utf8RawByteIndexFromCodePointIndex(CP(2)), RB(3));
  EXPECT_EQ(text.utf8RawByteIndexFromCodePointIndex(CP(4)), RB(7));
  EXPECT_EQ(text.utf8RawByteIndexFromCodePointIndex(CPString::npos), CPString::nposRawBytes);
  EXPECT_EQ(text.codePointIndexFromUtf8RawByteIndex(RB(3)), CP(2));
  EXPECT_EQ(text.codePointIndexFromUtf8RawByteIndex(RB(4)), CP(2));  // inside the euro sign: that code point
  EXPECT_EQ(text.codePointIndexFromUtf8RawByteIndex(RB(7)), CP(4));
  EXPECT_EQ(text.codePointIndexFromUtf8RawByteIndex(CPString::nposRawBytes), CPString::npos);
  EXPECT_EQ(text.codePointIndexFromStdStringIndex(6), CP(3));
  EXPECT_EQ(text.codePointIndexFromByteIterator(text.beginBytes() + 1), CP(1));
  EXPECT_EQ(text.stdStringIndexFromCodePointIndex(CP(3)), 6u);
  EXPECT_EQ(text.stdStringIndexFromCodePointIndex(CPString::npos), std::string::npos);
  EXPECT_EQ(text.stdStringIndexFromUtf8RawByteIndex(RB(5)), 5u);
  EXPECT_EQ(text.stdStringIndexFromCodePointIterator(text.getIterator(CP(2))), 3u);
  EXPECT_EQ(text.stdStringIndexFromByteIterator(text.endBytes()), 7u);
  EXPECT_EQ(text.byteIteratorFromCodePointIndex(CP(1)), text.beginBytes() + 1);
  EXPECT_EQ(text.byteIteratorFromCodePointIndex(CPString::npos), text.endBytes());
  EXPECT_EQ(text.byteIteratorFromStdStringIndex(3), text.beginBytes() + 3);
  EXPECT_EQ(text.byteIteratorFromUtf8RawByteIndex(RB(6)), text.beginBytes() + 6);
  EXPECT_EQ(text.byteIteratorFromCodePointIterator(text.end()), text.endBytes());
  EXPECT_EQ(text.utf8RawByteIndexFromByteIterator(text.beginBytes() + 2), RB(2));
  EXPECT_EQ(text.utf8RawByteIndexFromStdStringIndex(std::string::npos), CPString::nposRawBytes);
  EXPECT_EQ(*text.getIterator(CP(1)), U'\u00E9');
  EXPECT_TRUE(text.getIterator(CPString::npos) == text.end());
  EXPECT_EQ(*text.getIteratorFromUtf8RawByteIndex(RB(3)), U'\u20AC');
  EXPECT_EQ(*text.codePointIteratorFromStdStringIndex(6), U'b');
  EXPECT_EQ(text.codePointIteratorFromByteIteratorNoValidation(text.beginBytes() + 2).base(), text.beginBytes() + 2);
  EXPECT_EQ(*text.stdStringIteratorFromCodePointIndex(CP(3)), 'b');
  EXPECT_TRUE(text.stdStringIteratorFromUtf8RawByteIndex(CPString::nposRawBytes) == text.utf8StdString().end());
  *text.stdStringIteratorFromCodePointIndex(CP(0)) = 'A';
  EXPECT_EQ(text.at(CP(0)), U'A');

  // Positions that are not in the string, or not at a code point.
  EXPECT_EQ(thrownAs<CPExceptionOutOfRange>([&] { (void)text.utf8RawByteIndexFromCodePointIndex(CP(5)); }).message,
            std::string("invalid string position, 5! There are 4 code points in this string: A") + (kMixed + 1));
  EXPECT_EQ(thrownAs<CPExceptionOutOfRange>([&] { (void)text.codePointIndexFromUtf8RawByteIndex(RB(8)); }).code, 4);
  EXPECT_EQ(thrownAs<CPExceptionOutOfRange>([&] { (void)text.byteIteratorFromStdStringIndex(8); }).code, 4);
  EXPECT_EQ(thrownAs<utf8::CPExceptionInvalidUtf8>([&] { (void)text.getIteratorFromUtf8RawByteIndex(RB(2)); }).code,
            1002);
  EXPECT_EQ(thrownAs<utf8::CPExceptionInvalidUtf8>([&] { (void)text.codePointIteratorFromStdStringIndex(4); }).code,
            1002);
  const CPString other("x");
  EXPECT_EQ(thrownAs<CPExceptionIteratorOutOfBounds>([&] {
              (void)text.codePointIndexFromByteIterator(other.beginBytes());
            }).code,
            28);
  EXPECT_EQ(thrownAs<CPExceptionIteratorOutOfBounds>([&] { (void)text.getCodePointIndex(other.begin()); }).code, 28);
}

TEST(CPString, AccessAndSize) {
  CPString text(kMixed);
  EXPECT_EQ(text.at(CP(2)), U'\u20AC');
  EXPECT_EQ(text.atCodePoint(3), U'b');
  EXPECT_EQ(text[CP(1)], U'\u00E9');
  EXPECT_EQ(text[CP(9)], U'\0');
  EXPECT_EQ(text.at(RB(1)), '\xC3');
  EXPECT_EQ(text.atUtf8RawByte(6), 'b');
  EXPECT_EQ(text[RB(0)], 'a');
  const Thrown atEnd = thrownAs<CPExceptionOutOfRange>([&] { (void)text.at(CP(4)); });
  EXPECT_EQ(atEnd.function, "CPString::at");
  EXPECT_EQ(thrownAs<CPExceptionOutOfRange>([&] { (void)text.atUtf8RawByte(7); }).code, 4);

  EXPECT_FALSE(text.isAsciiOnly());
  EXPECT_TRUE(text.areFirstNAsciiOnly(CP(1)));
  EXPECT_FALSE(text.areFirstNAsciiOnly(CP(2)));
  EXPECT_TRUE(text.areFirstNAsciiOnly(RB(1)));
  EXPECT_TRUE(CPString("abc").areFirstNAsciiOnly(CP(100)));
  EXPECT_TRUE(CPString().isEmpty());
  EXPECT_FALSE(static_cast<bool>(CPString()));
  EXPECT_TRUE(static_cast<bool>(text));
  EXPECT_TRUE(text.isEndUtf8RawBytes(text.endUtf8RawBytes()));
  EXPECT_FALSE(text.isEndUtf8RawBytes(text.beginUtf8RawBytes()));
  EXPECT_TRUE(text.isEndUtf8RawBytes(text.endBytes()));
  EXPECT_TRUE(CPString(" \t\n").isEmptyOrOnlyWhitespace());
  EXPECT_FALSE(CPString(" x ").isEmptyOrOnlyWhitespace());

  text.reserveUtf8RawBytes(RB(100));
  EXPECT_GE(text.capacityInUtf8RawBytes(), RB(100));
  text.resize(CP(2));
  EXPECT_EQ(text.utf8StdString(), "a\xC3\xA9");
  text.resizeByCodePoints(4, U'\u20AC');
  EXPECT_EQ(text.utf8StdString(), "a\xC3\xA9\xE2\x82\xAC\xE2\x82\xAC");
  text.resizeUtf8RawBytes(2);
  EXPECT_EQ(text.utf8StdString(), "a\xC3");
  text.resize(RB(4), 'x').shrinkToFit();
  EXPECT_EQ(text.utf8StdString(), "a\xC3xx");
  CPString small("ab");
  EXPECT_EQ(thrownAs<utf8::CPExceptionInvalidCodePoint>([&] { small.resize(CP(9), char32_t{0xD800}); }).function,
            "utf8::append");
  EXPECT_EQ(small.utf8StdString(), "ab");
  EXPECT_TRUE(text.clear().isEmpty());
}

TEST(CPString, Substrings) {
  const CPString text(kMixed);
  EXPECT_EQ(text.left(CP(2)).utf8StdString(), "a\xC3\xA9");
  EXPECT_EQ(text.left(RB(2)).utf8StdString(), "a\xC3");
  EXPECT_EQ(text.leftCodePoints(10), text);
  EXPECT_EQ(text.right(CP(2)).utf8StdString(),
            "\xE2\x82\xAC"
            "b");
  EXPECT_EQ(text.rightUtf8RawBytes(2).utf8StdString(),
            "\xAC"
            "b");
  EXPECT_EQ(text.rightCodePoints(10), text);
  EXPECT_EQ(text.substring(CP(1), CP(2)).utf8StdString(), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(text.substring(CP(2)).utf8StdString(),
            "\xE2\x82\xAC"
            "b");
  EXPECT_EQ(text.substringByCodePoints(3, 100).utf8StdString(), "b");
  EXPECT_EQ(text.substring(CP(4)).utf8StdString(), "");
  EXPECT_EQ(text.substringByUtf8RawBytes(1, 2).utf8StdString(), "\xC3\xA9");
  EXPECT_EQ(text.substringRange(CP(1), CP(3)).utf8StdString(), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(text.substringRangeByUtf8RawBytes(3, 100).utf8StdString(),
            "\xE2\x82\xAC"
            "b");
  EXPECT_EQ(text.substringRange(text.getIterator(CP(1)), text.getIterator(CP(2))).utf8StdString(), "\xC3\xA9");
  EXPECT_EQ(thrownAs<CPExceptionOutOfRange>([&] { (void)text.substring(CP(5)); }).function, "CPString::substring");
  EXPECT_EQ(thrownAs<CPExceptionOutOfRange>([&] { (void)text.substring(RB(8), RB(1)); }).code, 4);
  EXPECT_EQ(thrownAs<CPExceptionOutOfRange>([&] { (void)text.substringRangeByCodePoints(3, 1); }).code, 4);
}

TEST(CPString, EditingChainsAndHandlesPositions) {
  CPString text("hello world");
  text.insert(CP(5), ",").insertAtUtf8RawBytesIndex(0, ">> ").insert(RB(0), CPString("\xC3\xA9"));
  EXPECT_EQ(text.utf8StdString(), "\xC3\xA9>> hello, world");
  text.erase(CP(0), CP(1)).eraseByUtf8RawBytes(0, 3).erase(RB(5));
  EXPECT_EQ(text.utf8StdString(), "hello");
  text.insertAtCodePointsIndex(5, " there", 3);
  EXPECT_EQ(text.utf8StdString(), "hello th");
  text.erase(text.getIterator(CP(5)), text.end());
  EXPECT_EQ(text.utf8StdString(), "hello");
  text.insert(CP(2), text);  // inserting itself
  EXPECT_EQ(text.utf8StdString(), "hehellollo");

  CPString replaced("a-b-c-b");
  replaced.replace('-', '+').replace("b", "BB", CP(3)).replaceAll("-", "--").replaceAll(CPString("+"), CPString(""));
  EXPECT_EQ(replaced.utf8StdString(), "ab--c--BB");
  CPString grow("aaa");
  grow.replaceAll("a", "aa");  // replacements are not searched again
  EXPECT_EQ(grow.utf8StdString(), "aaaaaa");
  CPString fromByte("x.x.x");
  fromByte.replaceAll('x', 'y', RB(1)).replace("", "never");
  EXPECT_EQ(fromByte.utf8StdString(), "x.y.y");
  CPString self("ab");
  self.replaceAll(self, CPString("c"));
  EXPECT_EQ(self.utf8StdString(), "c");

  CPString spaces("  a  b\t\t c \n");
  CPString copy = spaces;
  EXPECT_EQ(copy.removeExtraneousWhitespace().utf8StdString(), " a b\tc ");
  copy = spaces;
  EXPECT_EQ(copy.removeExtraneousAsciiWhitespace().utf8StdString(), " a b\tc ");
  copy = spaces;
  EXPECT_EQ(copy.trim().utf8StdString(), "a  b\t\t c");
  copy = spaces;
  EXPECT_EQ(copy.trimLeft().utf8StdString(), "a  b\t\t c \n");
  copy = spaces;
  EXPECT_EQ(copy.trimRight().utf8StdString(), "  a  b\t\t c");
  copy = spaces;
  EXPECT_EQ(copy.removeAllWhiteSpace().remove('b').utf8StdString(), "ac");

  CPString letters("Mixed \xC3\x89t\xC3\xA9 Case");
  EXPECT_EQ(CPString(letters).toLowerAscii().utf8StdString(), "mixed \xC3\x89t\xC3\xA9 case");
  EXPECT_EQ(CPString(letters).toUpperAscii().utf8StdString(), "MIXED \xC3\x89T\xC3\xA9 CASE");
  EXPECT_EQ(CPString("AbC").toLower().utf8StdString(), "abc");
  EXPECT_EQ(CPString("AbC").toUpper().utf8StdString(), "ABC");
  EXPECT_EQ(CPString(kMixed).toReverse().utf8StdString(),
            "b\xE2\x82\xAC\xC3\xA9"
            "a");
  EXPECT_EQ(CPString().toReverse().utf8StdString(), "");
}

TEST(CPString, TokenizeKeepsEmptyTokens) {
  const CPString csv("a,,b,");
  const std::vector<CPString> tokens = csv.tokenize(',');
  ASSERT_EQ(tokens.size(), 4u);
  EXPECT_EQ(tokens[0], "a");
  EXPECT_EQ(tokens[1], "");
  EXPECT_EQ(tokens[2], "b");
  EXPECT_EQ(tokens[3], "");
  EXPECT_TRUE(CPString().tokenize(',').empty());
  ASSERT_EQ(CPString("abc").tokenize(',').size(), 1u);

  std::string seen;
  const unsigned count = CPString(",x,yz").tokenize(',', [&](unsigned index, const char* bytes, unsigned length) {
    seen += std::to_string(index) + "[" + std::string(bytes, length) + "]";
  });
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(seen, "0[]1[x]2[yz]");

  const std::vector<std::string_view> views = csv.tokenizeToStringViews(',');
  ASSERT_EQ(views.size(), 4u);
  EXPECT_EQ(views[2].data(), csv.beginBytes() + 3);
  EXPECT_EQ(views[2], "b");

  const std::vector<CPString> words = CPString("  one two\t\tthree\n").tokenizeUsingWhiteSpace();
  ASSERT_EQ(words.size(), 3u);
  EXPECT_EQ(words[2], "three");
}

TEST(CPString, ConstructionAppendingAndWideText) {
  EXPECT_EQ(CPString("abc", 2).utf8StdString(), "ab");
  EXPECT_EQ(CPString(3u, 'x').utf8StdString(), "xxx");
  EXPECT_EQ(CPString('q').utf8StdString(), "q");
  EXPECT_EQ(CPString(static_cast<const char*>(nullptr)).utf8StdString(), "");
  // Wide text is UTF-16 on Windows and UTF-32 on Linux; both give the same bytes.
  EXPECT_EQ(CPString(L"\U0001F600").utf8StdString(), "\xF0\x9F\x98\x80");
  EXPECT_EQ(CPString(std::wstring{wchar_t(0xD83D), wchar_t(0xDE00)}).utf8StdString(), "\xF0\x9F\x98\x80");
  const std::wstring wide = CPString("\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(wide, std::wstring(L"\u00E9\U0001F600"));
  EXPECT_EQ(thrownAs<utf8::CPExceptionInvalidUtf16>([] { CPString s(std::wstring{wchar_t(0xDE00)}); }).message,
            "Found a lone trail surrogate.");

  CPString text;
  text += "a";
  text += CPString("b");
  text += std::string("c");
  text += L"\u00E9";
  text += std::wstring(L"d");
  text += 'e';
  text << "f" << CPString("g") << L"h" << std::wstring(L"i");
  text.pushBackUtf8RawByte('\xC3').pushBackUtf8RawByte('\xA9');
  EXPECT_EQ(text.utf8StdString(),
            "abc\xC3\xA9"
            "defghi\xC3\xA9");
  EXPECT_EQ((CPString("x") + "y" + CPString("z")).utf8StdString(), "xyz");
  EXPECT_EQ(("<" + CPString("x")).utf8StdString(), "<x");

  CPString assigned;
  assigned = L"w";
  EXPECT_EQ(assigned, "w");
  assigned = std::string("s");
  EXPECT_EQ(assigned, "s");
  assigned = 'c';
  EXPECT_EQ(assigned, "c");
  std::string raw = "swapped";
  assigned.swap(raw);
  EXPECT_EQ(assigned, "swapped");
  EXPECT_EQ(raw, "c");

  // How a CPString enters the formatter.
  EXPECT_EQ(CPString::format("[%s|%5s]", CPString("\xC3\xA9"), CPString("ab")).utf8StdString(), "[\xC3\xA9|   ab]");
  InternalHaldenCP::FormatStringBuffer<1024> buffer;
  CPString("bytes").pushBackUtf8BytesIntoBuffer(buffer);
  EXPECT_EQ(buffer.view(), "bytes");
}

TEST(CPString, LogInternalsText) {
  const CPString text("hello");
  char expected[160];
  std::snprintf(expected, sizeof expected, "Length=5, begin() ptr=0x%0*llX, end() ptr=0x%0*llX, string='hello'",
                static_cast<int>(2 * sizeof(void*)),
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(text.beginBytes())),
                static_cast<int>(2 * sizeof(void*)),
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(text.beginBytes() + 5)));
  EXPECT_EQ(text.getLogInternals().utf8StdString(), expected);
}

TEST(CPString, EraseCountPastTheEndNamesTheEndItWouldReach) {
  CPString text("abc");
  const Thrown overrun = thrownAs<CPExceptionOutOfRange>([&] { text.erase(CP(1), CP(5)); });
  EXPECT_EQ(overrun.message, "invalid string position, 6! There are 3 code points in this string: abc");
  EXPECT_EQ(overrun.function, "CPString::erase");
  // The end is computed without wrapping at 32 bits.
  const Thrown huge = thrownAs<CPExceptionOutOfRange>([&] { text.eraseByCodePoints(2, 0xFFFFFFFEu); });
  EXPECT_EQ(huge.message, "invalid string position, 4294967296! There are 3 code points in this string: abc");
  // A position past the end is still named itself.
  const Thrown position = thrownAs<CPExceptionOutOfRange>([&] { text.eraseByCodePoints(4, 1); });
  EXPECT_EQ(position.message, "invalid string position, 4! There are 3 code points in this string: abc");
  EXPECT_EQ(text.utf8StdString(), "abc");
  text.erase(CP(1), CP(2));
  EXPECT_EQ(text.utf8StdString(), "a");
}

TEST(CPString, RawByteSetSearchesNeverLookAtTheEncoding) {
  // Not UTF-8 at all: stray bytes are units of their own, in the text and in the set.
  const CPString bytes(
      "\xFF\xFE"
      "abc\xFF");
  EXPECT_EQ(bytes.findFirstNotOfUtf8RawBytes("\xFF\xFE"), RB(2));
  EXPECT_EQ(bytes.findFirstNotOfUtf8RawBytes("\xFF\xFE"
                                             "abc"),
            CPString::nposRawBytes);
  EXPECT_EQ(bytes.findFirstNotOfUtf8RawBytes(CPString("a"), RB(2)), RB(3));
  EXPECT_EQ(bytes.findFirstNotOfUtf8RawBytes('\xFF'), RB(1));
  EXPECT_EQ(bytes.findFirstOfUtf8RawBytes("c\xC3\xA9"), RB(4));
  EXPECT_EQ(bytes.findFirstOfUtf8RawBytes("\xFF", RB(1)), RB(5));
  EXPECT_EQ(bytes.findFirstOfUtf8RawBytes("\xC3\xA9"), CPString::nposRawBytes);
  // Valid sequences around broken ones are still whole code points: é in the
  // set does not match the lone 0xC3 of a cut sequence, nor è (same lead byte).
  const CPString mixed(
      "\xC3\xA9\xC3\xA8\xC3"
      "x");
  EXPECT_EQ(mixed.findFirstNotOfUtf8RawBytes("\xC3\xA9"), RB(2));
  EXPECT_EQ(mixed.findFirstNotOfUtf8RawBytes("\xC3\xA9\xC3\xA8"), RB(4));
  EXPECT_EQ(mixed.findFirstOfUtf8RawBytes("x\xC3\xA8"), RB(2));
  // The code-point forms validate what they walk, as they always did.
  EXPECT_THROW((void)bytes.findFirstNotOf("\xFF"), utf8::CPExceptionInvalidUtf8);
}

TEST(CPString, ReplaceOfTheSameLengthWritesInPlaceEvenFromItsOwnBytes) {
  CPString text("abcdef");
  const char* const bytes = text.utf8Bytes();
  // The replacement is "def", read from the string itself, overlapping the
  // bytes it replaces: the result is as if it had been copied first.
  text.replace("cde", text.utf8Bytes() + 3);
  EXPECT_EQ(text.utf8StdString(), "abdeff");
  EXPECT_EQ(text.utf8Bytes(), bytes);

  text.replace('f', 'x').replace('f', 'y', RB(0)).replace('a', 'z', CP(1));
  EXPECT_EQ(text.utf8StdString(), "abdexy");
  text = "\xC3\xA9t\xC3\xA9";  // été
  text.replace(CPString("\xC3\xA9"), CPString("\xC3\xA8"), CP(1));
  EXPECT_EQ(text.utf8StdString(), "\xC3\xA9t\xC3\xA8");
  text.replace(text, text);
  EXPECT_EQ(text.utf8StdString(), "\xC3\xA9t\xC3\xA8");
}
