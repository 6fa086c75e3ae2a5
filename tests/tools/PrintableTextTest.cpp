#include "PrintableText.h"

#include <gtest/gtest.h>

#include <string>

using hdutil::isValidUtf8;
using hdutil::printableLine;
using hdutil::printableText;
using hdutil::utf8SequenceLength;
using hdutil::validUtf8;

TEST(PrintableText, ControlCharactersAndMalformedUtf8AreEscaped) {
  struct Row {
    std::string in;
    std::string out;
  };
  const Row rows[] = {
      {"plain ASCII \\ and 'quotes'", "plain ASCII \\ and 'quotes'"},
      {"line\nbreak\rreturn\ttab", "line\\nbreak\\rreturn\\ttab"},
      {std::string("nul\0end", 7), "nul\\x00end"},
      {"\x1b[31mred\x1b[0m", "\\x1B[31mred\\x1B[0m"},
      {"del\x7f", "del\\x7F"},
      // Valid UTF-8 stays: two-, three- and four-byte characters.
      {"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x96\xA8 \xEF\xBF\xBD", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x96\xA8 \xEF\xBF\xBD"},
      // C1 controls (the 8-bit CSI among them), separators, bidi controls.
      {"\xC2\x9B"
       "2J \xC2\x85",
       "\\u009B2J \\u0085"},
      {"a\xE2\x80\xA8"
       "b\xE2\x80\xA9",
       "a\\u2028b\\u2029"},
      {"\xE2\x80\xAE"
       "txt.exe\xE2\x81\xA6",
       "\\u202Etxt.exe\\u2066"},
      // Malformed: stray continuation, truncated sequence, overlong form,
      // encoded surrogate, above U+10FFFF, bytes never used.
      {"\x80", "\\x80"},
      {"\xC3", "\\xC3"},
      {"\xE2\x82", "\\xE2\\x82"},
      {"\xC0\x80", "\\xC0\\x80"},
      {"\xE0\x80\xAF", "\\xE0\\x80\\xAF"},
      {"\xED\xA0\x80", "\\xED\\xA0\\x80"},
      {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
      {"\xFF\xFE", "\\xFF\\xFE"},
      // A malformed byte does not swallow the character after it.
      {"\xC3"
       "A",
       "\\xC3A"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(printableText(row.in), row.out) << row.out;
    const std::string printed = printableText(row.in);
    EXPECT_TRUE(isValidUtf8(printed)) << row.out;
    for (const char c : printed) {
      EXPECT_FALSE(static_cast<unsigned char>(c) < 0x20 || c == 0x7F) << row.out;
    }
  }
}

TEST(PrintableText, LinesLoseOnlyTheirTrailingLineEnd) {
  EXPECT_EQ(printableLine("An entry already exists in the list for=NameSpace(1)! Insertion failed!\r\n"),
            "An entry already exists in the list for=NameSpace(1)! Insertion failed!");
  EXPECT_EQ(printableLine("two\nlines\n\n"), "two\\nlines");
  EXPECT_EQ(printableLine("\r\n"), "");
  EXPECT_EQ(printableLine("ends in a tab\t"), "ends in a tab\\t");
}

TEST(PrintableText, Utf8ValidationAndRepair) {
  EXPECT_TRUE(isValidUtf8(""));
  EXPECT_TRUE(isValidUtf8("\xF4\x8F\xBF\xBF"));  // U+10FFFF
  EXPECT_FALSE(isValidUtf8("\xED\xBF\xBF"));     // U+DFFF
  EXPECT_EQ(validUtf8("a\xFF"
                      "b\xED\xA0\x80"),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(utf8SequenceLength("x\xE2\x82\xAC", 1), 3u);
  EXPECT_EQ(utf8SequenceLength("x\xE2\x82", 1), 0u);
  EXPECT_EQ(utf8SequenceLength("x", 1), 0u);
  EXPECT_EQ(utf8SequenceLength("x", 0), 1u);
}
