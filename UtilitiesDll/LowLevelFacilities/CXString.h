#pragma once
// CXString: the UTF-16 string used at the Windows boundary (registry values,
// counted strings in attribute bytes, job data, file names).
//
// It holds UTF-16 code units in a std::u16string on every platform. On Windows
// (16-bit wchar_t) wc_str() hands out the text as const wchar_t* without
// copying; on Linux, wchar_t text (UTF-32 there) is converted on the way in and
// out. Units are never validated: an unpaired surrogate (which a Windows file
// name may hold) is kept as it is, from char16_t and wchar_t text alike, and
// comes back unchanged from toWString(); on Linux a lead and a trail surrogate
// held unit by unit in wchar_t text give the same pair, and a wchar_t value
// above U+10FFFF becomes U+FFFD. Conversions from UTF-8 are checked and throw
// the library's utf8:: exceptions for malformed input (fromUtf8Lenient repairs
// instead); toUtf8() writes U+FFFD for an unpaired surrogate.
//
// Case-insensitive operations fold case with a fixed, platform-independent
// table: ASCII, Latin-1, Latin Extended-A, Greek and Cyrillic letters. Other
// characters compare as they are. (CPString::compareNoCase does not use this
// table: it changes ASCII letters only.)

#include "LowLevelFacilities/Formatter.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

class CPString;

class HDU_API CXString {
 public:
  using value_type = char16_t;
  // Defined in the library (not constexpr) so that callers can bind it to a
  // reference through the DLL import.
  static const std::size_t npos = std::u16string::npos;

  // Options of Base64EncodeBinaryData.
  enum Base64Option : unsigned long {
    Base64StandardAlphabet = 1,  // RFC 4648 alphabet with "=" padding (always used)
    Base64NoLineBreaks = 2,      // without it, "\r\n" follows every 64 characters
    Base64Default = 3,           // one line, the form stored in job data
  };

  CXString() = default;
  CXString(const char16_t* text);  // NOLINT(google-explicit-constructor)
  CXString(const char16_t* text, std::size_t length);
  CXString(std::u16string text) noexcept : m_text(std::move(text)) {}  // NOLINT(google-explicit-constructor)
  explicit CXString(std::u16string_view text) : m_text(text) {}
  // Wide text: UTF-16 on Windows, UTF-32 (converted) on Linux.
  CXString(const wchar_t* text);       // NOLINT(google-explicit-constructor)
  CXString(const std::wstring& text);  // NOLINT(google-explicit-constructor)
  explicit CXString(const CPString& utf8);

  // From UTF-8; throws utf8::CPExceptionInvalidUtf8 and its kin for malformed input.
  static CXString fromUtf8(std::string_view utf8);
  // From UTF-8; malformed sequences become U+FFFD. Never throws for bad text.
  static CXString fromUtf8Lenient(std::string_view utf8);
  // Printf-style formatting (see Formatter.h); the result is converted from UTF-8.
  template <class... Args>
  static CXString format(const char* formatText, const Args&... args) {
    return fromUtf8Lenient(InternalHaldenCP::formatToStdString(formatText, args...));
  }

  // ---- access ----
  const char16_t* c_str() const noexcept { return m_text.c_str(); }
  const char16_t* data() const noexcept { return m_text.data(); }
  std::size_t length() const noexcept { return m_text.size(); }
  std::size_t size() const noexcept { return m_text.size(); }
  bool empty() const noexcept { return m_text.empty(); }
  bool IsEmpty() const noexcept { return m_text.empty(); }
  std::u16string_view utf16View() const noexcept { return m_text; }
  const std::u16string& u16string() const noexcept { return m_text; }
  std::u16string& u16string() noexcept { return m_text; }
  char16_t operator[](std::size_t index) const { return m_text[index]; }
  char16_t& operator[](std::size_t index) { return m_text[index]; }
  std::u16string::const_iterator begin() const noexcept { return m_text.begin(); }
  std::u16string::const_iterator end() const noexcept { return m_text.end(); }

  // The text as const wchar_t*, without copying; only where wchar_t is UTF-16.
  template <class W = wchar_t>
  requires(sizeof(W) == 2) const W* wc_str() const noexcept { return reinterpret_cast<const W*>(m_text.c_str()); }
  std::wstring toWString() const;
  // UTF-8; unpaired surrogates become U+FFFD. Never throws for bad text.
  std::string toUtf8() const;
  CPString toCPString() const;

  // ---- editing ----
  CXString& append(const CXString& other) {
    m_text.append(other.m_text);
    return *this;
  }
  CXString& append(const char16_t* text, std::size_t length) {
    m_text.append(text, length);
    return *this;
  }
  CXString& operator+=(const CXString& other) { return append(other); }
  CXString& operator+=(const char16_t* text) {
    m_text.append(text);
    return *this;
  }
  CXString& operator+=(char16_t unit) {
    m_text.push_back(unit);
    return *this;
  }
  void push_back(char16_t unit) { m_text.push_back(unit); }
  void clear() noexcept { m_text.clear(); }
  void resize(std::size_t length) { m_text.resize(length); }
  CXString substr(std::size_t position, std::size_t count = npos) const {
    return CXString(m_text.substr(position, count));
  }
  std::size_t find(const CXString& needle, std::size_t from = 0) const noexcept {
    return m_text.find(needle.m_text, from);
  }
  std::size_t find(char16_t unit, std::size_t from = 0) const noexcept { return m_text.find(unit, from); }
  std::size_t rfind(char16_t unit, std::size_t from = npos) const noexcept { return m_text.rfind(unit, from); }
  // Replaces every occurrence of `from` (not empty) by `to`, left to right,
  // without searching the replacements again; returns the count. Linear in
  // the length of the result.
  std::size_t replaceAll(const CXString& from, const CXString& to);
  CXString& toLower();
  CXString& toUpper();

  // ---- comparison ----
  friend bool operator==(const CXString& a, const CXString& b) noexcept { return a.m_text == b.m_text; }
  friend auto operator<=>(const CXString& a, const CXString& b) noexcept { return a.m_text <=> b.m_text; }
  // -1, 0 or 1: code unit by code unit after case folding, a shorter prefix first.
  int compareNoCase(const CXString& other) const noexcept;
  bool equalsNoCase(const CXString& other) const noexcept { return compareNoCase(other) == 0; }
  // Whether this text matches the pattern, case-insensitively: "*" matches any
  // run of characters (also none), "?" exactly one.
  bool IsWildcardMatch(const CXString& pattern) const noexcept;

  static char16_t foldToUpper(char16_t unit) noexcept;
  static char16_t foldToLower(char16_t unit) noexcept;

  // ---- Base64 ----
  static CXString Base64EncodeBinaryData(const unsigned char* data, std::size_t length,
                                         unsigned long options = Base64Default);
  static CXString Base64EncodeBinaryData(const std::vector<unsigned char>& data, unsigned long options = Base64Default);
  // Decodes what Base64EncodeBinaryData writes (line breaks and blanks are
  // skipped). On malformed text returns false and leaves `out` empty.
  static bool Base64DecodeBinaryData(const CXString& text, std::vector<unsigned char>& out);

 private:
  std::u16string m_text;
};
