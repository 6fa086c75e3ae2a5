#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/InternalChecks.h"
#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CPStringUtils.h"
#include "LowLevelFacilities/CXString.h"
#include "LowLevelFacilities/FormatSpecification.h"
#include "LowLevelFacilities/Formatter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

using InternalHaldenCP::FormatSpecification;
using InternalHaldenCP::FormatStringBuffer;
using InternalHaldenCP::formatToStdString;

TEST(FormatSpecification, CharacterClassesAndParsing) {
  using C = FormatSpecification::CharacterClass;
  for (char c : std::string(" #'+-0I")) {
    EXPECT_EQ(FormatSpecification::classify(c), C::Flag) << c;
  }
  for (char c : std::string("*123456789")) {
    EXPECT_EQ(FormatSpecification::classify(c), C::WidthOrPrecisionDigit) << c;
  }
  EXPECT_EQ(FormatSpecification::classify('.'), C::PrecisionPoint);
  for (char c : std::string("LZhjlqtz")) {
    EXPECT_EQ(FormatSpecification::classify(c), C::SizeModifier) << c;
  }
  for (char c : std::string("%ACEFGSXacdefgimnopsux")) {
    EXPECT_EQ(FormatSpecification::classify(c), C::Conversion) << c;
  }
  for (char c : std::string("!$BDHbkrvwy{~\x1f")) {
    EXPECT_EQ(FormatSpecification::classify(c), C::Invalid) << c;
  }

  const char* format = "%016I64X tail";
  FormatSpecification spec = FormatSpecification::parseAfterFirstPercentCharacter(format + 1);
  EXPECT_STREQ(spec.getFormatSpecificationString(), "%016I64X");
  EXPECT_EQ(spec.getFormatSpecificationLength(), 8u);
  EXPECT_EQ(spec.getFormatSpecifierCharacter(), 'X');
  EXPECT_STREQ(spec.getEndOfFormatSpecificationInOriginalString(), " tail");
  EXPECT_FALSE(spec.isSinglePercentCharacter());
  EXPECT_TRUE(FormatSpecification::parseAfterFirstPercentCharacter("%").isSinglePercentCharacter());

  FormatSpecification wide = FormatSpecification::parseAfterFirstPercentCharacter("-10S");
  wide.convertWideCharFormatSpecifierCharacterToMultibyteSpecifier();
  EXPECT_STREQ(wide.getFormatSpecificationString(), "%-10s");
  wide.convertMultibyteFormatSpecifierCharacterToWideCharacterSpecifier();
  EXPECT_EQ(wide.getFormatSpecifierCharacter(), 'S');
}

TEST(Formatter, InvalidAndIncompleteConversionsThrowInvalidArgument) {
  try {
    (void)formatToStdString("value %b here", 1);
    FAIL();
  } catch (const CPExceptionInvalidArgument& e) {
    EXPECT_STREQ(e.getExceptionMessage(), "Invalid character, b, in a format specification, %b here");
  }
  try {
    (void)formatToStdString("dangling %-5", 1);
    FAIL();
  } catch (const CPExceptionInvalidArgument& e) {
    EXPECT_STREQ(e.getExceptionMessage(), "No valid format specifier characters in '%-5'");
  }
}

TEST(Formatter, ConversionsAsPrintfWritesThem) {
  EXPECT_EQ(formatToStdString("100%%"), "100%");
  EXPECT_EQ(formatToStdString("%5.2f", 3.14159), " 3.14");
  EXPECT_EQ(formatToStdString("%-4d|", 7), "7   |");
  EXPECT_EQ(formatToStdString("%04d|%+d|% d|%x|%X|%#x|%o", 42, 5, 5, 255, 255, 255, 8), "0042|+5| 5|ff|FF|0xff|10");
  EXPECT_EQ(formatToStdString("%d %ld %lld %u", -1, -2L, -3LL, 4u), "-1 -2 -3 4");
  EXPECT_EQ(formatToStdString("%x", -1), "ffffffff");  // the argument's own width
  EXPECT_EQ(formatToStdString("%lx", static_cast<std::int64_t>(-1)), "ffffffffffffffff");
  EXPECT_EQ(formatToStdString("%016I64X", 0x1234ABCDull), "000000001234ABCD");
  EXPECT_EQ(formatToStdString("%0*x", 8, 0xbeefu), "0000beef");
  EXPECT_EQ(formatToStdString("%0*d", 5, 42), "00042");
  EXPECT_EQ(formatToStdString("[%*.*s]", 6, 3, "abcdef"), "[   abc]");
  EXPECT_EQ(formatToStdString("[%-*d]", 4, 1), "[1   ]");
  EXPECT_EQ(formatToStdString("[%*d]", -4, 1), "[1   ]");
  EXPECT_EQ(formatToStdString("%.3d|%.0d|", 7, 0), "007||");
  EXPECT_EQ(formatToStdString("%c%c", 'o', 'k'), "ok");
  EXPECT_EQ(formatToStdString("%e", 1234.5), "1.234500e+03");
  EXPECT_EQ(formatToStdString("%g", 0.0001), "0.0001");
  EXPECT_EQ(formatToStdString("%s and %d", true, 'A'), "1 and 65");
  EXPECT_EQ(formatToStdString("%d", static_cast<std::uint32_t>(0x80004005u)), "-2147467259");
  EXPECT_EQ(formatToStdString("%u", static_cast<std::int8_t>(-1)), "255");
  const void* pointer =
      reinterpret_cast<const void*>(static_cast<std::uintptr_t>(0xABCDu));  // NOLINT(performance-no-int-to-ptr)
  EXPECT_EQ(formatToStdString("0x%p", pointer), sizeof(void*) == 8 ? "0x000000000000ABCD" : "0x0000ABCD");
  EXPECT_EQ(formatToStdString("%s", static_cast<const char*>(nullptr)), "(null)");
}

TEST(Formatter, NarrowAndWideTextUnderEitherConversion) {
  EXPECT_EQ(formatToStdString("%S", "narrow"), "narrow");
  EXPECT_EQ(formatToStdString("%s", L"wide \u00e9"), "wide \xc3\xa9");
  EXPECT_EQ(formatToStdString("%S|%s", std::u16string(u"\u00e9"), std::wstring(L"x")), "\xc3\xa9|x");
  EXPECT_EQ(formatToStdString("%s", CXString(u"\U0001F600")), "\xF0\x9F\x98\x80");
  EXPECT_EQ(formatToStdString("%s|%s", std::string("std"), std::string_view("view")), "std|view");
  EXPECT_EQ(formatToStdString("[%-6S]", L"ab"), "[ab    ]");
  // Precision never cuts a UTF-8 sequence in two.
  EXPECT_EQ(formatToStdString("[%.2s]", "a\xc3\xa9"), "[a]");
  // Empty views without data are empty text; only a null C string is "(null)".
  EXPECT_EQ(formatToStdString("[%s|%s|%s]", std::string_view(), std::u16string_view(), std::wstring_view()), "[||]");
  EXPECT_EQ(formatToStdString("[%s]", static_cast<const char*>(nullptr)), "[(null)]");
}

TEST(Formatter, TooFewAndTooManyArguments) {
  EXPECT_EQ(formatToStdString("%d and %s and %%", 1), "1 and %s and %");
  EXPECT_EQ(formatToStdString("%0*x", 8), "%0*x");
  EXPECT_EQ(formatToStdString("no conversions", 1, 2), "no conversions");
  {
    InternalChecks::InternalCheckScope checks;
    try {
      (void)formatToStdString("no conversions", 1);
      FAIL();
    } catch (const std::runtime_error& e) {
      EXPECT_EQ(std::string(e.what()),
                "Extra arguments provided to formatWorker(). There's no format specifier corresponding to this "
                "argument in the original format string: no conversions");
    }
  }
  EXPECT_EQ(InternalChecks::internalCheckCounter(), 0);
}

TEST(Formatter, BufferStaysInlineThenSpillsWithoutCutting) {
  FormatStringBuffer<1024> buffer;
  InternalHaldenCP::formatIntoBuffer(buffer, "%s (line %ld) in %s%s", "file.cpp", 12L, "F", "");
  EXPECT_TRUE(buffer.isUsingInlineStorage());
  EXPECT_EQ(buffer.view(), "file.cpp (line 12) in F");

  FormatStringBuffer<1024> full;
  InternalHaldenCP::formatIntoBuffer(full, "%s", std::string(1023, 'a'));
  EXPECT_TRUE(full.isUsingInlineStorage());
  full.push_back('b');
  EXPECT_FALSE(full.isUsingInlineStorage());
  EXPECT_EQ(full.size(), 1024u);

  const std::string longText(5000, 'z');
  EXPECT_EQ(formatToStdString("<%s>", longText), "<" + longText + ">");
  EXPECT_EQ(formatToStdString("%5000d", 1).size(), 5000u);
}

TEST(Formatter, LastErrorSurvivesFormatting) {
  PlatformFacilities::setLastError(31);
  (void)formatToStdString("%s %d %f %S", "a", 1, 2.0, L"w");
  EXPECT_EQ(PlatformFacilities::getLastError(), 31u);
  try {
    (void)formatToStdString("%k", 1);
  } catch (const CPException& e) {
    EXPECT_EQ(e.getLastErrorValue(), 31u);
  }
  EXPECT_EQ(PlatformFacilities::getLastError(), 31u);
}

TEST(Formatter, ExtremeStarWidthsFloatingIntegersAndFlaggedPercent) {
  // A flagged "%" writes one percent sign and uses no argument.
  EXPECT_EQ(formatToStdString("[%5%] %d", 42), "[%] 42");
  // Star widths are limited, whatever the argument.
  EXPECT_EQ(formatToStdString("%*d", std::numeric_limits<int>::min(), 5).size(), 100000u);
  EXPECT_EQ(formatToStdString("%*d|", 3e10, 5).size(), 100001u);
  EXPECT_EQ(formatToStdString("%.*d", -5, 7), "7");
  // Floating values under integer conversions saturate instead of overflowing.
  EXPECT_EQ(formatToStdString("%d", 1e300), "9223372036854775807");
  EXPECT_EQ(formatToStdString("%d", -1e300), "-9223372036854775808");
  EXPECT_EQ(formatToStdString("%d", std::numeric_limits<double>::quiet_NaN()), "0");
  EXPECT_EQ(formatToStdString("%d", 2.9), "2");
}

namespace {

// The C library's own text for one floating conversion with a star width and
// a star precision.
std::string printfText(const char* format, int width, int precision, double value) {
  char text[512];
  const int length = std::snprintf(text, sizeof(text), format, width, precision, value);
  return std::string(text, static_cast<std::size_t>(length));
}

}  // namespace

TEST(Formatter, HexFloatsWithoutPrecisionAreExactAsInPrintf) {
  const double values[] = {3.14159, 1.0, -0.1, 2.5, 0.0, 1e300, 4.9406564584124654e-324, -1e-310};
  for (const double value : values) {
    for (const char* format : {"%*.*a", "%*.*A", "%-+*.*a", "%#0*.*A"}) {
      for (const int precision : {-1, -7}) {  // a negative star precision counts as none
        const std::string ours = formatToStdString(format, 24, precision, value);
        EXPECT_EQ(ours, printfText(format, 24, precision, value)) << format << " " << precision;
        // No digits dropped: the text reads back as the same number.
        EXPECT_EQ(std::strtod(ours.c_str(), nullptr), value) << ours;
      }
    }
    // Without any precision in the format at all.
    const std::string plain = formatToStdString("%a", value);
    EXPECT_EQ(std::strtod(plain.c_str(), nullptr), value) << plain;
    EXPECT_EQ(plain, printfText("%*.*a", 0, -1, value));
  }
  // A negative star precision is no precision for the other floating conversions too.
  EXPECT_EQ(formatToStdString("%.*e|%.*g", -1, 1234.5, -2, 0.0001), "1.234500e+03|0.0001");
}

TEST(Formatter, MalformedUtf16AndUtf32TextBecomesReplacementCharacters) {
  const std::string fffd = "\xEF\xBF\xBD";
  // Unpaired surrogates in UTF-16 text, on the direct path and under a width.
  EXPECT_EQ(formatToStdString("%s", u"\xDC00"), fffd);
  EXPECT_EQ(formatToStdString("%s", u"a\xD800"), "a" + fffd);
  EXPECT_EQ(formatToStdString("%S",
                              u"\xD800"
                              "A"),
            fffd + "A");
  EXPECT_EQ(formatToStdString("[%6S]", std::u16string(u"\xDBFF\xDBFF")), "[" + fffd + fffd + "]");
  EXPECT_EQ(formatToStdString("[%7s]", CXString(u"x\xDC00")), "[   x" + fffd + "]");
  EXPECT_EQ(formatToStdString("%s", u"\xD83D\xDE00"), "\xF0\x9F\x98\x80");
  // A file name with an unpaired surrogate keeps every other character, and
  // the message stays valid UTF-8.
  const CPString lead = CPString::format("Cannot open '%s'", u"f\xD800.txt");
  EXPECT_EQ(lead.utf8StdString(), "Cannot open 'f" + fffd + ".txt'");
  const CPString trail = CPString::format("Cannot open '%s'", u"f\xDC00.txt");
  EXPECT_EQ(trail.utf8StdString(), "Cannot open 'f" + fffd + ".txt'");
  EXPECT_EQ(trail.lengthInCodePoints(), SizeCodePoints32Struct(20));

  // wchar_t text: a surrogate pair is one character on every platform (two
  // UTF-32 units on Linux are joined), unpaired units are replaced.
  const std::wstring widePair{wchar_t(0xD83D), wchar_t(0xDE00)};
  EXPECT_EQ(formatToStdString("%s", widePair), "\xF0\x9F\x98\x80");
  EXPECT_EQ(formatToStdString("%S|%s", std::wstring{wchar_t(0xD83D), L'A'}, std::wstring{wchar_t(0xDE00)}),
            fffd + "A|" + fffd);
  EXPECT_EQ(formatToStdString("%s", std::u32string{U'a', char32_t(0x110000), char32_t(0xDFFF), U'\U0001F600'}),
            "a" + fffd + fffd + "\xF0\x9F\x98\x80");
  if constexpr (sizeof(wchar_t) == 4) {
    EXPECT_EQ(formatToStdString("%s", std::wstring{L'a', static_cast<wchar_t>(0x110000)}), "a" + fffd);
  }

  // %c with a wide character that is not a code point.
  EXPECT_EQ(formatToStdString("%c", char16_t(0xD800)), fffd);
  EXPECT_EQ(formatToStdString("%c", char32_t(0x110000)), fffd);
  EXPECT_EQ(formatToStdString("%C", char32_t(0xDFFF)), fffd);
  EXPECT_EQ(formatToStdString("%C", 0x110000), fffd);
  EXPECT_EQ(formatToStdString("%c|%C", wchar_t(0xE9), 0x20AC), "\xC3\xA9|\xE2\x82\xAC");
}

TEST(Formatter, CharacterConversionOfIntegersWritesTheByteAsPrintf) {
  for (const int value : {0x41, 0x7F, 0x80, 0xE9, 0xFF, 0x100, 0x141, -1, -23, -200}) {
    char expected[8];
    const int length = std::snprintf(expected, sizeof(expected), "[%c]", value);
    EXPECT_EQ(formatToStdString("[%c]", value), std::string(expected, static_cast<std::size_t>(length))) << value;
  }
  EXPECT_EQ(formatToStdString("%c", 0xE9u), "\xE9");
  EXPECT_EQ(formatToStdString("%c", static_cast<unsigned char>(0xE9)), "\xE9");
  // A narrow char stays a byte under either conversion, as narrow text does.
  EXPECT_EQ(formatToStdString("%c%C", '\xE9', '\xE8'), "\xE9\xE8");
}

TEST(Formatter, NullPointersByteTextAndUtf32Arrays) {
  const std::string zeros(2 * sizeof(void*), '0');
  EXPECT_EQ(formatToStdString("0x%p", nullptr), "0x" + zeros);

  // Byte text: unsigned char and char8_t pointers and arrays are text under %s.
  const unsigned char bytes[] = {'a', 0xC3, 0xA9, 0};
  const unsigned char* bytePointer = bytes;
  const char8_t* utf8Pointer = u8"\u00E9t\u00E9";
  EXPECT_EQ(formatToStdString("%s|%s|%s", bytePointer, utf8Pointer, bytes), "a\xC3\xA9|\xC3\xA9t\xC3\xA9|a\xC3\xA9");
  EXPECT_EQ(formatToStdString("[%-6s]", u8"\u00E9"), "[\xC3\xA9    ]");
  EXPECT_EQ(formatToStdString("%s", static_cast<const unsigned char*>(nullptr)), "(null)");
  // ...and addresses under %p, as printf writes them (the bytes are not read).
  const unsigned char unterminated[2] = {0xFF, 0xFF};
  const std::string address = formatToStdString("%p", static_cast<const void*>(unterminated));
  EXPECT_EQ(formatToStdString("%p", static_cast<const unsigned char*>(unterminated)), address);
  const char* text = "text";
  EXPECT_EQ(formatToStdString("%p", text), formatToStdString("%p", static_cast<const void*>(text)));
  EXPECT_EQ(formatToStdString("%p|%s", static_cast<const char*>(nullptr), static_cast<const char*>(nullptr)),
            zeros + "|(null)");

  // UTF-32 arrays and pointers.
  const char32_t* utf32Pointer = U"\u00E9\U0001F600";
  EXPECT_EQ(formatToStdString("%s|%S", U"x\u00E9", utf32Pointer), "x\xC3\xA9|\xC3\xA9\xF0\x9F\x98\x80");
  // An array without a terminator is read up to its end, never beyond.
  const char letters[3] = {'a', 'b', 'c'};
  const char32_t wideLetters[2] = {U'd', U'e'};
  EXPECT_EQ(formatToStdString("%s%s", letters, wideLetters), "abcde");
}

TEST(Formatter, InvalidCharacterMessageIsValidUtf8) {
  const struct {
    const char* format;
    const char* message;
  } cases[] = {
      {"%\xC3\xA9 x", "Invalid character, \xC3\xA9, in a format specification, %\xC3\xA9 x"},
      {"%5\xE2\x82\xAC", "Invalid character, \xE2\x82\xAC, in a format specification, %5\xE2\x82\xAC"},
      {"%\xC3", "Invalid character, \xEF\xBF\xBD, in a format specification, %\xEF\xBF\xBD"},
      {"%\xFF\xFE", "Invalid character, \xEF\xBF\xBD, in a format specification, %\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"%-\x01", "Invalid character, \x01, in a format specification, %-\x01"},
  };
  for (const auto& c : cases) {
    try {
      (void)formatToStdString(c.format, 1);
      ADD_FAILURE() << c.format;
    } catch (const CPExceptionInvalidArgument& e) {
      EXPECT_STREQ(e.getExceptionMessage(), c.message);
      EXPECT_TRUE(CPStringUtils::isValidUtf8(e.getExceptionMessage(), std::strlen(e.getExceptionMessage())));
    }
  }
}
