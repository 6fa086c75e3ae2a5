#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CXString.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<unsigned char> bytesOf(const char* text) {
  return std::vector<unsigned char>(text, text + std::char_traits<char>::length(text));
}

std::string narrow(const CXString& text) {
  return text.toUtf8();
}

}  // namespace

TEST(CXString, Base64OneLineRoundTripsEveryTail) {
  // The RFC 4648 vectors: tails of 0, 1 and 2 bytes, with "=" padding.
  const struct {
    const char* data;
    const char* encoded;
  } vectors[] = {{"", ""},
                 {"f", "Zg=="},
                 {"fo", "Zm8="},
                 {"foo", "Zm9v"},
                 {"foob", "Zm9vYg=="},
                 {"fooba", "Zm9vYmE="},
                 {"foobar", "Zm9vYmFy"}};
  for (const auto& v : vectors) {
    const CXString encoded = CXString::Base64EncodeBinaryData(bytesOf(v.data), 3);
    EXPECT_EQ(narrow(encoded), v.encoded) << v.data;
    std::vector<unsigned char> decoded{0xEE};
    EXPECT_TRUE(CXString::Base64DecodeBinaryData(encoded, decoded)) << v.data;
    EXPECT_EQ(decoded, bytesOf(v.data)) << v.data;
  }

  // Every byte value, and a length that would need line breaks: option 3 writes one line.
  std::vector<unsigned char> all(256 * 3 + 2);
  for (std::size_t i = 0; i < all.size(); ++i) {
    all[i] = static_cast<unsigned char>(i * 7 + 3);
  }
  const CXString oneLine = CXString::Base64EncodeBinaryData(all.data(), all.size(), 3);
  EXPECT_EQ(oneLine.find(u'\r'), CXString::npos);
  EXPECT_EQ(oneLine.size(), (all.size() + 2) / 3 * 4);
  std::vector<unsigned char> decoded;
  ASSERT_TRUE(CXString::Base64DecodeBinaryData(oneLine, decoded));
  EXPECT_EQ(decoded, all);

  // Without the one-line option, lines of 64 characters end in CR LF; the
  // reader takes both forms.
  const CXString broken = CXString::Base64EncodeBinaryData(all.data(), all.size(), 1);
  EXPECT_EQ(broken.substr(64, 2), CXString(u"\r\n"));
  ASSERT_TRUE(CXString::Base64DecodeBinaryData(broken, decoded));
  EXPECT_EQ(decoded, all);
}

TEST(CXString, Base64RejectsMalformedText) {
  const char16_t* const malformed[] = {
      u"Z",         // one sextet cannot hold a byte
      u"Zg=",       // padding that does not complete the group
      u"Zg===",     // too much padding
      u"====",      // padding only
      u"Zm9v!",     // not in the alphabet
      u"Zg==Zg==",  // data after padding
      u"Zm9vY-==",  // URL-safe alphabet is not accepted
      u"Zm9=v",
  };
  for (const char16_t* text : malformed) {
    std::vector<unsigned char> out{1, 2, 3};
    EXPECT_FALSE(CXString::Base64DecodeBinaryData(CXString(text), out)) << narrow(CXString(text));
    EXPECT_TRUE(out.empty()) << narrow(CXString(text));
  }
}

TEST(CXString, WildcardMatchIgnoresCase) {
  const struct {
    const char16_t* text;
    const char16_t* pattern;
    bool matches;
  } cases[] = {
      {u"HP LaserJet 4000", u"hp*", true},
      {u"Canon iR", u"HP*", false},
      {u"hp", u"HP*", true},
      {u"file.txt", u"*.*", true},
      {u"file", u"*.*", false},
      {u".", u"*.*", true},
      {u"a", u"?", true},
      {u"", u"?", false},
      {u"ab", u"?", false},
      {u"", u"", true},
      {u"a", u"", false},
      {u"", u"*", true},
      {u"anything at all", u"*", true},
      {u"ABC", u"a?c", true},
      {u"abcbc", u"*bc", true},
      {u"abcbd", u"*bc", false},
      {u"Mississippi", u"m*iss*PPI", true},
      {u"Mississippi", u"m*iss*ppx", false},
      {u"\u00C9cole", u"\u00E9*", true},
      {u"\\\\server\\Printer", u"\\\\SERVER\\*", true},
      {u"x", u"**?**", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(CXString(c.text).IsWildcardMatch(CXString(c.pattern)), c.matches)
        << narrow(CXString(c.text)) << " ~ " << narrow(CXString(c.pattern));
  }
}

TEST(CXString, ConversionsAndCaseFolding) {
  // Wide text is UTF-16 on Windows and UTF-32 on Linux; both give the same units.
  const CXString smiley(L"a\U0001F600");
  EXPECT_EQ(smiley.u16string(), u"a\xD83D\xDE00");
  EXPECT_EQ(smiley.toWString(), L"a\U0001F600");
  EXPECT_EQ(smiley.toUtf8(), "a\xF0\x9F\x98\x80");
  EXPECT_EQ(CXString(std::wstring(L"\u00E9")).toCPString().utf8StdString(), "\xC3\xA9");
  EXPECT_EQ(CXString(CPString("\xC3\xA9t\xC3\xA9")).u16string(), u"\u00E9t\u00E9");
  EXPECT_EQ(CXString::fromUtf8("\xE4\xB8\xAD").u16string(), u"\u4E2D");
  EXPECT_THROW((void)CXString::fromUtf8("bad \xFF"), utf8::CPExceptionInvalidUtf8);
  EXPECT_EQ(CXString::fromUtf8Lenient("bad \xFF").u16string(), u"bad \uFFFD");
  // An unpaired surrogate becomes U+FFFD on the way out.
  EXPECT_EQ(CXString(u"x\xDC00").toUtf8(), "x\xEF\xBF\xBD");

  EXPECT_EQ(CXString(u"\u00E9cole").compareNoCase(CXString(u"\u00C9COLE")), 0);
  EXPECT_EQ(CXString(u"abc").compareNoCase(CXString(u"ABD")), -1);
  EXPECT_EQ(CXString(u"ab").compareNoCase(CXString(u"ABC")), -1);
  EXPECT_TRUE(CXString(u"\u0416\u0401").equalsNoCase(CXString(u"\u0436\u0451")));  // Cyrillic
  EXPECT_EQ(CXString(u"\u00FFx\u0141").toUpper().u16string(), u"\u0178X\u0141");
  EXPECT_EQ(CXString(u"\u0178X\u0141\u03A3").toLower().u16string(), u"\u00FFx\u0142\u03C3");

  CXString text(u"a-b-c");
  EXPECT_EQ(text.replaceAll(CXString(u"-"), CXString(u"--")), 2u);
  EXPECT_EQ(text.u16string(), u"a--b--c");
  EXPECT_EQ(CXString::format("%s=%d", CXString(u"\u00E9"), 5).u16string(), u"\u00E9=5");
}

TEST(CXString, ReplaceAllCountsAndNeverSearchesReplacements) {
  const struct {
    const char16_t* text;
    const char16_t* from;
    const char16_t* to;
    const char16_t* result;
    std::size_t count;
  } cases[] = {
      {u"aaa", u"aa", u"b", u"ba", 1},      // matches do not overlap
      {u"aaa", u"a", u"aa", u"aaaaaa", 3},  // replacements are not searched again
      {u"abcabc", u"abc", u"", u"", 2},     // to nothing
      {u"xyz", u"q", u"r", u"xyz", 0},      // absent
      {u"xyz", u"", u"r", u"xyz", 0},       // an empty needle changes nothing
      {u"\xD800-\xD800", u"\xD800", u"\u00E9", u"\u00E9-\u00E9", 2},
      {u"ab", u"ab", u"ab", u"ab", 1},
  };
  for (const auto& c : cases) {
    CXString text(c.text);
    EXPECT_EQ(text.replaceAll(CXString(c.from), CXString(c.to)), c.count) << narrow(CXString(c.text));
    EXPECT_EQ(text.u16string(), c.result) << narrow(CXString(c.text));
  }
  // Many matches, and the string replaced in itself.
  CXString many(std::u16string(100000, u'x'));
  EXPECT_EQ(many.replaceAll(CXString(u"x"), CXString(u"yz")), 100000u);
  EXPECT_EQ(many.size(), 200000u);
  EXPECT_EQ(many.substr(199998).u16string(), u"yz");
  CXString self(u"abc");
  EXPECT_EQ(self.replaceAll(self, CXString(u"-")), 1u);
  EXPECT_EQ(self.u16string(), u"-");
}

TEST(CXString, CompareNoCaseKeepsItsTableAndWideUnitsMatchUtf16Units) {
  // CXString folds with its documented table (CPString::compareNoCase does not).
  EXPECT_EQ(CXString(u"\u00FF").compareNoCase(CXString(u"\u0178")), 0);
  EXPECT_EQ(CPString("\xC3\xBF").compareNoCase("\xC5\xB8"), -1);

  // Wide text gives the same UTF-16 units as the char16_t constructor: a pair
  // is joined on Linux, unpaired surrogates are kept as the units they are.
  const std::u16string units[] = {
      u"a\xD800", u"\xDC00z", u"\xD800\xD800", u"x\xDBFF\xDFFFy", u"\xDE00\xD83D",
  };
  for (const std::u16string& u : units) {
    std::wstring wide;
    for (std::size_t i = 0; i < u.size(); ++i) {
      if (sizeof(wchar_t) == 4 && u[i] >= 0xD800 && u[i] <= 0xDBFF && i + 1 < u.size() && u[i + 1] >= 0xDC00 &&
          u[i + 1] <= 0xDFFF) {
        wide.push_back(static_cast<wchar_t>(0x10000 + ((u[i] - 0xD800) << 10) + (u[i + 1] - 0xDC00)));
        ++i;
      } else {
        wide.push_back(static_cast<wchar_t>(u[i]));
      }
    }
    EXPECT_EQ(CXString(wide).u16string(), u) << narrow(CXString(u));
    EXPECT_EQ(CXString(wide.c_str()).u16string(), u) << narrow(CXString(u));
    EXPECT_EQ(CXString(u).toWString(), wide) << narrow(CXString(u));
    // The same units as UTF-32 surrogates (Linux wchar_t text written unit by unit).
    const std::wstring unitByUnit(u.begin(), u.end());
    EXPECT_EQ(CXString(unitByUnit).u16string(), u) << narrow(CXString(u));
  }
  if constexpr (sizeof(wchar_t) == 4) {
    EXPECT_EQ(CXString(std::wstring{L'a', static_cast<wchar_t>(0x110000)}).u16string(), u"a\uFFFD");
  }
}
