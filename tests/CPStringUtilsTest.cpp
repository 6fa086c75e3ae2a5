#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/InternalChecks.h"
#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CPStringUtils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>

namespace {

const char* const kSmileyUtf8 = "\xF0\x9F\x98\x80";  // U+1F600

struct Thrown {
  int code = 0;  // -1: another exception, -2: none
  std::string message;
  std::string function;
};

Thrown thrownBy(const std::function<void()>& f) {
  try {
    f();
  } catch (const utf8::exception& e) {
    return {e.getExceptionTypeByNumericCode(), e.getExceptionMessage(), e.getExceptionLocationFunctionName()};
  } catch (...) {
    return {-1, "", ""};
  }
  return {-2, "", ""};
}

}  // namespace

TEST(CPStringUtils, SurrogatePairNarrowsToFourBytesInBothTiers) {
  const char16_t pair[] = {0xD83D, 0xDE00, 0};
  const std::wstring widePair{wchar_t(0xD83D), wchar_t(0xDE00)};
  EXPECT_EQ(CPStringUtils::narrowToStdString(pair), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrowToStdString(std::u16string(pair)), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrow(pair).utf8StdString(), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(pair, 2), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(std::u16string(pair)), kSmileyUtf8);
  std::string byHand;
  CPStringUtils::narrowByHandForLowLevelUtilities(pair, 2, byHand);
  EXPECT_EQ(byHand, kSmileyUtf8);
  // The wide overloads (UTF-16 units on Windows, UTF-32 on Linux, where the
  // pair is joined too).
  EXPECT_EQ(CPStringUtils::narrowToStdString(widePair), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrowToStdString(widePair.c_str()), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(widePair), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(widePair.c_str(), 2), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrow(std::wstring(L"\U0001F600")).utf8StdString(), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(U'\U0001F600'), kSmileyUtf8);
  EXPECT_EQ(CPStringUtils::narrowToStdString(U"\U0001F600"), kSmileyUtf8);

  // The hand conversion joins a lead unit with whatever follows, unchecked:
  // 0xD83D * 1024 + 0x41 - 56,613,888 = 0x11841.
  const char16_t broken[] = {0xD83D, 0x0041};
  byHand.clear();
  CPStringUtils::narrowByHandForLowLevelUtilities(broken, 2, byHand);
  EXPECT_EQ(byHand, "\xF0\x91\xA1\x81");
  // A lead unit at the very end is written on its own (as a 3-byte value).
  byHand.clear();
  CPStringUtils::narrowByHandForLowLevelUtilities(broken, 1, byHand);
  EXPECT_EQ(byHand, "\xED\xA0\xBD");
}

TEST(CPStringUtils, MalformedInputThrowsItsClassAndMessage) {
  struct Case {
    const char* name;
    std::function<void()> convert;
    int code;
    const char* message;  // null: not checked
    const char* function;
  };
  const char16_t loneLead[] = {0xD83D, 0};
  const char16_t leadThenLetter[] = {0xD83D, u'A', 0};
  const char16_t loneTrail[] = {u'x', 0xDE00, 0};
  const std::wstring wideLoneLead{wchar_t(0xD83D)};
  const std::wstring wideLeadThenLetter{wchar_t(0xD83D), L'A'};
  const std::wstring wideLoneTrail{wchar_t(0xDE00)};
  const Case cases[] = {
      {"lead at end", [&] { (void)CPStringUtils::narrowToStdString(loneLead); }, 1003,
       "Reached the end of the character sequence. No trail surrogate.", "utf8::utf16to8"},
      {"lead then letter", [&] { (void)CPStringUtils::narrow(leadThenLetter); }, 1003,
       "Expected this to be a trail surrogate, but is_trail_surrogate() failed.", "utf8::utf16to8"},
      {"lone trail", [&] { (void)CPStringUtils::narrowToStdString(std::u16string(loneTrail)); }, 1003,
       "Found a lone trail surrogate.", "utf8::utf16to8"},
      {"wide lead at end", [&] { (void)CPStringUtils::narrowToStdString(wideLoneLead); }, 1003,
       "Reached the end of the character sequence. No trail surrogate.", "utf8::utf16to8"},
      {"wide lead then letter", [&] { (void)CPStringUtils::narrow(wideLeadThenLetter); }, 1003,
       "Expected this to be a trail surrogate, but is_trail_surrogate() failed.", "utf8::utf16to8"},
      {"wide lone trail", [&] { (void)CPStringUtils::narrowToStdString(wideLoneTrail.c_str()); }, 1003,
       "Found a lone trail surrogate.", "utf8::utf16to8"},
      {"above U+10FFFF", [] { (void)CPStringUtils::narrowToStdString(std::u32string(1, char32_t(0x110000))); }, 1001,
       "Code point can't be appended.", "utf8::append"},
      {"UTF-32 surrogate", [] { (void)CPStringUtils::narrow(std::u32string(1, char32_t(0xDC00))); }, 1001,
       "Code point can't be appended.", "utf8::append"},
      {"invalid lead", [] { (void)CPStringUtils::widenTo_wstring("ab\xFF"); }, 1002,
       "Invalid UTF-8 lead byte 0xff at byte 2.", nullptr},
      {"stray trail", [] { (void)CPStringUtils::widenTo_u16string(std::string("\x80")); }, 1002, nullptr, nullptr},
      {"missing trail", [] { (void)CPStringUtils::widenTo_u32string("\xC3(x"); }, 1002,
       "Incomplete UTF-8 sequence at byte 0: a trail byte is missing.", nullptr},
      {"overlong", [] { (void)CPStringUtils::widenTo_wstring(std::string("\xC0\xAF")); }, 1002,
       "Overlong UTF-8 sequence at byte 0.", nullptr},
      {"cut off", [] { (void)CPStringUtils::widenTo_u32string(std::string("a\xE2\x82")); }, 1004,
       "The UTF-8 sequence at byte 1 is cut off by the end of the text.", nullptr},
      {"encoded surrogate", [] { (void)CPStringUtils::widenTo_wstring(CPString("\xED\xA0\x80")); }, 1001, nullptr,
       nullptr},
      {"above U+10FFFF in UTF-8", [] { (void)CPStringUtils::widenTo_u16string("\xF4\x90\x80\x80", 4); }, 1001, nullptr,
       nullptr},
  };
  for (const Case& c : cases) {
    const Thrown thrown = thrownBy(c.convert);
    EXPECT_EQ(thrown.code, c.code) << c.name;
    if (c.message != nullptr) {
      EXPECT_EQ(thrown.message, c.message) << c.name;
    }
    if (c.function != nullptr) {
      EXPECT_EQ(thrown.function, c.function) << c.name;
    }
  }
}

TEST(CPStringUtils, LowLevelTierNeverThrowsAndIgnoresBadLengths) {
  const wchar_t text[] = L"abc";
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(text, -1), "");
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(text, 0), "");
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(static_cast<const wchar_t*>(nullptr), 3), "");
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(text, 2), "ab");
  EXPECT_EQ(CPStringUtils::widenTo_wstringForLowLevelUtilities("abc", -5), L"");
  EXPECT_EQ(CPStringUtils::widenTo_wstringForLowLevelUtilities("abc", 2), L"ab");
  std::string appended = "x";
  CPStringUtils::narrowAndAppendForLowLevelUtilities(text, -1, appended);
  CPStringUtils::narrowAndAppendForLowLevelUtilities(std::wstring(L"\u00E9"), appended);
  EXPECT_EQ(appended, "x\xC3\xA9");

  // Malformed text still gives a result, even under the internal-check counter.
  InternalChecks::InternalCheckScope checks;
  const std::wstring loneTrail{wchar_t(0xDE00), L'z'};
  EXPECT_NO_THROW((void)CPStringUtils::narrowToStdStringForLowLevelUtilities(loneTrail));
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(loneTrail).back(), 'z');
  EXPECT_EQ(CPStringUtils::widenTo_wstringForLowLevelUtilities(std::string("a\xFF"
                                                                           "b")),
            L"a\uFFFD"
            L"b");
  EXPECT_EQ(CPStringUtils::widenTo_u32stringForLowLevelUtilities("a\xE2\x82"), U"a\uFFFD");
  EXPECT_EQ(CPStringUtils::widenTo_u16stringForLowLevelUtilities(std::string("\xC3\xA9")), u"\u00E9");
}

TEST(CPStringUtils, WideningAndRoundTrips) {
  const std::string mixed = "A\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80";  // A é 中 😀
  EXPECT_EQ(CPStringUtils::widenTo_u32string(mixed), U"A\u00E9\u4E2D\U0001F600");
  EXPECT_EQ(CPStringUtils::widenTo_u16string(mixed), u"A\u00E9\u4E2D\U0001F600");
  EXPECT_EQ(CPStringUtils::widenTo_wstring(mixed), L"A\u00E9\u4E2D\U0001F600");
  EXPECT_EQ(CPStringUtils::widenTo_wstring(mixed.c_str()), L"A\u00E9\u4E2D\U0001F600");
  EXPECT_EQ(CPStringUtils::narrowToStdString(CPStringUtils::widenTo_wstring(mixed)), mixed);
  EXPECT_EQ(CPStringUtils::narrowToStdString(CPStringUtils::widenTo_u16string(mixed)), mixed);
  EXPECT_EQ(CPStringUtils::narrowToStdString(CPStringUtils::widenTo_u32string(CPString(mixed))), mixed);
  EXPECT_EQ(CPStringUtils::widenTo_u32string("abc", 2), U"ab");
  EXPECT_EQ(CPStringUtils::widenTo_wstring(static_cast<const char*>(nullptr)), L"");
  std::string destination = ">";
  CPStringUtils::narrowAndAppend(std::u16string(u"\u00E9"), destination);
  CPStringUtils::narrowAndAppend(L"\u4E2D", destination);
  CPStringUtils::narrowAndAppend(std::u32string(U"\U0001F600"), destination);
  EXPECT_EQ(destination, ">\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80");

  // Long text crosses the eight-byte ASCII blocks in both directions.
  std::string longText;
  for (int i = 0; i < 50; ++i) {
    longText += "abcdefghijk\xC3\xA9";
  }
  EXPECT_EQ(CPStringUtils::narrowToStdString(CPStringUtils::widenTo_u16string(longText)), longText);
}

TEST(CPStringUtils, ValidationAndRepair) {
  bool repaired = true;
  EXPECT_EQ(CPStringUtils::validateFixAndCreateStdStringWithoutThrowing(std::string("ok \xC3\xA9"), repaired),
            "ok \xC3\xA9");
  EXPECT_FALSE(repaired);
  EXPECT_EQ(CPStringUtils::validateFixAndCreateStdStringWithoutThrowing("a\xFF"
                                                                        "b",
                                                                        repaired),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_TRUE(repaired);
  EXPECT_EQ(CPStringUtils::validateFixAndCreateCPStringWithoutThrowing("\xE2\x82", repaired).utf8StdString(),
            "\xEF\xBF\xBD");
  EXPECT_TRUE(repaired);
  EXPECT_EQ(CPStringUtils::validateFixAndCreateCPStringWithoutThrowing(std::string(), repaired).utf8StdString(), "");
  EXPECT_FALSE(repaired);

  bool valid = false;
  EXPECT_EQ(CPStringUtils::validateAndCreateCPStringWithoutThrowing(u"\u00E9", valid).utf8StdString(), "\xC3\xA9");
  EXPECT_TRUE(valid);
  const char16_t loneTrail[] = {u'a', 0xDC00, 0};
  EXPECT_EQ(CPStringUtils::validateAndCreateCPStringWithoutThrowing(loneTrail, valid).utf8StdString(), "a\xEF\xBF\xBD");
  EXPECT_FALSE(valid);
  EXPECT_EQ(
      CPStringUtils::validateAndCreateCPStringWithoutThrowing(std::wstring{wchar_t(0xD83D), wchar_t(0xDE00)}, valid)
          .utf8StdString(),
      kSmileyUtf8);
  EXPECT_TRUE(valid);
  (void)CPStringUtils::validateAndCreateCPStringWithoutThrowing(std::u32string(1, char32_t(0x110000)), valid);
  EXPECT_FALSE(valid);

  EXPECT_TRUE(CPStringUtils::isAsciiOnly("plain text, 0123456789"));
  EXPECT_FALSE(CPStringUtils::isAsciiOnly("plain text, 012345678\xC3\xA9"));
  EXPECT_EQ(CPStringUtils::toupper_ForLowLevelUtilities("abc \xC3\xA9"), "ABC \xC3\xA9");
  EXPECT_EQ(CPStringUtils::tolower_ForLowLevelUtilities("ABC"), "abc");
}

TEST(CPStringUtils, BoundedCopiesNeverPassTheCapacityAndAlwaysTerminate) {
  char buffer[8];
  auto reset = [&] { std::memset(buffer, '#', sizeof buffer); };

  reset();
  EXPECT_TRUE(CPStringUtils::strcpy_with_size(buffer, 4, "abc"));  // exactly fits
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[4], '#');

  reset();
  EXPECT_FALSE(CPStringUtils::strcpy_with_size(buffer, 4, "abcd"));  // one too many
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[4], '#');

  reset();
  EXPECT_FALSE(CPStringUtils::strcpy_with_size(buffer, 3, "a\xC3\xA9"));  // a cut never splits a sequence
  EXPECT_STREQ(buffer, "a");
  EXPECT_EQ(buffer[3], '#');

  reset();
  EXPECT_TRUE(CPStringUtils::strcpy_with_size(buffer, 1, ""));
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], '#');
  EXPECT_FALSE(CPStringUtils::strcpy_with_size(buffer, 0, "x"));
  EXPECT_EQ(buffer[1], '#');

  reset();
  ASSERT_TRUE(CPStringUtils::strcpy_with_size(buffer, 6, "ab"));
  EXPECT_TRUE(CPStringUtils::strcat_with_size(buffer, 6, "cde"));  // "abcde" + terminator = 6
  EXPECT_STREQ(buffer, "abcde");
  EXPECT_FALSE(CPStringUtils::strcat_with_size(buffer, 6, "f"));
  EXPECT_STREQ(buffer, "abcde");
  EXPECT_EQ(buffer[6], '#');

  reset();
  ASSERT_TRUE(CPStringUtils::strcpy_with_size(buffer, 6, "ab"));
  EXPECT_TRUE(CPStringUtils::strncat_with_size(buffer, 6, "xyzw", 2));
  EXPECT_STREQ(buffer, "abxy");
  EXPECT_FALSE(CPStringUtils::strncat_with_size(buffer, 6, "123", 3));
  EXPECT_STREQ(buffer, "abxy1");
  EXPECT_EQ(buffer[6], '#');

  // A destination without a terminator inside its capacity gets one.
  std::memset(buffer, 'z', sizeof buffer);
  EXPECT_FALSE(CPStringUtils::strcat_with_size(buffer, 5, "q"));
  EXPECT_EQ(buffer[4], '\0');
  EXPECT_EQ(buffer[5], 'z');

  wchar_t wide[6];
  std::fill(std::begin(wide), std::end(wide), L'#');
  EXPECT_TRUE(CPStringUtils::strcpy_with_size(wide, 3, L"ab"));
  EXPECT_EQ(std::wstring(wide), L"ab");
  EXPECT_FALSE(CPStringUtils::strcat_with_size(wide, 3, L"c"));
  EXPECT_EQ(std::wstring(wide), L"ab");
  EXPECT_FALSE(CPStringUtils::strncat_with_size(wide, 4, L"cd", 2));
  EXPECT_EQ(std::wstring(wide), L"abc");
  EXPECT_EQ(wide[4], L'#');
}

// The conversions take ASCII sixteen units at a time and the rest one by one;
// non-ASCII text at every position around the block edges must come out the
// same as a plain code-point-by-code-point conversion.
TEST(CPStringUtils, ConversionsAroundBlockEdgesMatchAPlainConversion) {
  const char32_t specials[] = {U'\u00E9', U'\u4E2D', U'\U0001F600'};
  for (const char32_t special : specials) {
    for (std::size_t position = 0; position < 40; ++position) {
      std::u32string codePoints(40, U'a');
      codePoints[position] = special;
      codePoints[39 - position / 2] = U'\u00FC';
      std::string utf8;
      std::u16string utf16;
      for (const char32_t c : codePoints) {
        utf8 += CPStringUtils::narrowToStdStringForLowLevelUtilities(c);
        if (c > 0xFFFF) {
          utf16 += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
          utf16 += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
          utf16 += static_cast<char16_t>(c);
        }
      }
      EXPECT_EQ(CPStringUtils::narrowToStdString(utf16), utf8) << position;
      EXPECT_EQ(CPStringUtils::widenTo_u16string(utf8), utf16) << position;
      EXPECT_EQ(CPStringUtils::widenTo_u32string(utf8), codePoints) << position;
      EXPECT_EQ(CPStringUtils::narrowToStdString(CPStringUtils::widenTo_wstring(utf8)), utf8) << position;
    }
  }
}

TEST(CPStringUtils, FailedConversionLeavesTheDestinationAsItWas) {
  std::u16string text(40, u'x');
  text[33] = 0xDC00;  // a lone trail surrogate after two ASCII blocks
  std::string destination = "kept";
  EXPECT_THROW(CPStringUtils::narrowAndAppend(text, destination), utf8::CPExceptionInvalidUtf16);
  EXPECT_EQ(destination, "kept");
  text[33] = u'\u00E9';
  text[39] = 0xD800;  // a lead surrogate at the very end
  EXPECT_THROW(CPStringUtils::narrowAndAppend(text, destination), utf8::CPExceptionInvalidUtf16);
  EXPECT_EQ(destination, "kept");
  CPStringUtils::narrowAndAppend(text.substr(0, 39), destination);
  EXPECT_EQ(destination.size(), 4u + 38u + 2u);
}

TEST(CPStringUtils, AFailedAppendLeavesTheDestinationAsItWas) {
  std::string destination = "keep";
  const std::u32string badCodePoint = {U'x', U'y', static_cast<char32_t>(0x110000)};
  const std::wstring loneLead = {L'x', L'y', static_cast<wchar_t>(0xD800)};
  const std::wstring loneTrail = {L'x', L'y', static_cast<wchar_t>(0xDC00)};
  EXPECT_THROW(CPStringUtils::narrowAndAppend(badCodePoint, destination), utf8::CPExceptionInvalidCodePoint);
  EXPECT_EQ(destination, "keep");
  EXPECT_THROW(CPStringUtils::narrowAndAppend(loneLead, destination), utf8::CPExceptionInvalidUtf16);
  EXPECT_EQ(destination, "keep");
  CPString text("abc");
  EXPECT_THROW(text += loneTrail, utf8::CPExceptionInvalidUtf16);
  EXPECT_EQ(text.utf8StdString(), "abc");
}

TEST(CPStringUtils, LowLevelWideTextTreatsUnpairedSurrogatesAsUtf16TextDoes) {
  const std::string fffd = "\xEF\xBF\xBD";
  const struct {
    std::u16string units;
    std::string utf8;
  } cases[] = {
      {u"a\xD800", "a" + fffd},       {u"\xDC00z", fffd + "z"},       {std::u16string(u"\xD800") + u"A", fffd + "A"},
      {u"\xD800\xD800", fffd + fffd}, {u"\xDE00\xD83D", fffd + fffd}, {u"f\xD83D\xDE00.txt", "f\xF0\x9F\x98\x80.txt"},
  };
  for (const auto& c : cases) {
    // wchar_t text holding the same units one by one (surrogates as UTF-32
    // units on Linux).
    const std::wstring wide(c.units.begin(), c.units.end());
    EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(c.units), c.utf8);
    EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(c.units.data(), static_cast<int>(c.units.size())),
              c.utf8);
    EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(wide), c.utf8);
    EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(wide.c_str(), static_cast<int>(wide.size())),
              c.utf8);
    std::string appended = "<";
    CPStringUtils::narrowAndAppendForLowLevelUtilities(wide, appended);
    EXPECT_EQ(appended, "<" + c.utf8);
  }
  // UTF-32 values that are no code points.
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(std::u32string{U'a', char32_t(0x110000), U'b'}),
            "a" + fffd + "b");
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(char32_t(0xDC00)), fffd);
  EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(char32_t(0x7FFFFFFF)), fffd);
  if constexpr (sizeof(wchar_t) == 4) {
    EXPECT_EQ(CPStringUtils::narrowToStdStringForLowLevelUtilities(std::wstring{static_cast<wchar_t>(-1), L'x'}),
              fffd + "x");
  }
}
