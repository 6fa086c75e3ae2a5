#include "LowLevelFacilities/CXString.h"

#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CPStringUtils.h"
#include "LowLevelFacilities/Utf8Encoding.h"
#include "LowLevelFacilities/WideCodeUnit.h"

namespace {

std::u16string fromWide(const wchar_t* text, std::size_t length) {
  std::u16string result;
  if constexpr (sizeof(wchar_t) == 2) {
    result.assign(reinterpret_cast<const char16_t*>(text), length);
  } else {
    // UTF-32 to UTF-16. Surrogate units are taken as UTF-16 units, as the
    // char16_t constructors take them: an unpaired one is kept as it is (a
    // Windows file name may hold one), and a lead and a trail unit give the
    // same pair. Values above U+10FFFF (negative units too) become U+FFFD.
    result.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
      auto code = wideCodeUnitValue(text[i]);
      if (code > 0x10FFFF) {
        code = Utf8Encoding::kReplacementCodePoint;
      }
      if (code >= 0x10000) {
        code -= 0x10000;
        result.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
        result.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
      } else {
        result.push_back(static_cast<char16_t>(code));
      }
    }
  }
  return result;
}

}  // namespace

const std::size_t CXString::npos;

CXString::CXString(const char16_t* text) {
  if (text != nullptr) {
    m_text.assign(text);
  }
}

CXString::CXString(const char16_t* text, std::size_t length) {
  if (text != nullptr) {
    m_text.assign(text, length);
  }
}

CXString::CXString(const wchar_t* text) {
  if (text != nullptr) {
    m_text = fromWide(text, std::char_traits<wchar_t>::length(text));
  }
}

CXString::CXString(const std::wstring& text) : m_text(fromWide(text.data(), text.size())) {}

CXString::CXString(const CPString& utf8) : m_text(CPStringUtils::widenTo_u16string(utf8.utf8StdString())) {}

CXString CXString::fromUtf8(std::string_view utf8) {
  return CXString(CPStringUtils::widenTo_u16string(utf8.data(), utf8.size()));
}

CXString CXString::fromUtf8Lenient(std::string_view utf8) {
  std::u16string result;
  Utf8Encoding::appendUtf8AsUtf16Replacing(result, utf8.data(), utf8.size());
  return CXString(std::move(result));
}

std::wstring CXString::toWString() const {
  if constexpr (sizeof(wchar_t) == 2) {
    return std::wstring(reinterpret_cast<const wchar_t*>(m_text.data()), m_text.size());
  } else {
    // A pair becomes one UTF-32 unit; an unpaired surrogate is kept as the
    // unit it is, as the UTF-16 wchar_t text of Windows keeps it.
    std::wstring result;
    result.reserve(m_text.size());
    for (std::size_t i = 0; i < m_text.size(); ++i) {
      std::uint32_t unit = m_text[i];
      if (Utf8Encoding::isLeadSurrogate(unit) && i + 1 < m_text.size() &&
          Utf8Encoding::isTrailSurrogate(m_text[i + 1])) {
        unit = Utf8Encoding::joinSurrogates(unit, m_text[i + 1]);
        ++i;
      }
      result.push_back(static_cast<wchar_t>(unit));
    }
    return result;
  }
}

std::string CXString::toUtf8() const {
  std::string result;
  result.reserve(m_text.size());
  Utf8Encoding::appendUtf16AsUtf8Replacing(result, m_text.data(), m_text.size());
  return result;
}

CPString CXString::toCPString() const {
  return CPString(toUtf8());
}

std::size_t CXString::replaceAll(const CXString& from, const CXString& to) {
  const std::u16string_view needle = from.m_text;
  std::size_t found = needle.empty() ? std::u16string::npos : m_text.find(needle);
  if (found == std::u16string::npos) {
    return 0;
  }
  // One pass into a new string: linear whatever the number of matches (a
  // replacement in place would move the whole tail at every match). `from`
  // and `to` may be this string itself; it is only read until the swap.
  std::u16string result;
  result.reserve(m_text.size());
  std::size_t count = 0;
  std::size_t copiedUpTo = 0;
  while (found != std::u16string::npos) {
    result.append(m_text, copiedUpTo, found - copiedUpTo);
    result.append(to.m_text);
    copiedUpTo = found + needle.size();
    ++count;
    found = m_text.find(needle, copiedUpTo);
  }
  result.append(m_text, copiedUpTo, std::u16string::npos);
  m_text.swap(result);
  return count;
}

// Case folding: a fixed table, the same on every platform.
char16_t CXString::foldToUpper(char16_t unit) noexcept {
  if (unit < 0x80) {
    return (unit >= u'a' && unit <= u'z') ? static_cast<char16_t>(unit - 0x20) : unit;
  }
  if ((unit >= 0xE0 && unit <= 0xFE && unit != 0xF7) || (unit >= 0x3B1 && unit <= 0x3C9 && unit != 0x3C2) ||
      (unit >= 0x430 && unit <= 0x44F)) {
    return static_cast<char16_t>(unit - 0x20);
  }
  if (unit == 0xFF) {
    return 0x178;
  }
  if (unit >= 0x450 && unit <= 0x45F) {
    return static_cast<char16_t>(unit - 0x50);
  }
  // Latin Extended-A: capital at the even (or odd) position, small right after.
  if ((unit >= 0x100 && unit <= 0x137) || (unit >= 0x14A && unit <= 0x177)) {
    return (unit & 1) != 0 ? static_cast<char16_t>(unit - 1) : unit;
  }
  if ((unit >= 0x139 && unit <= 0x148) || (unit >= 0x179 && unit <= 0x17E)) {
    return (unit & 1) == 0 ? static_cast<char16_t>(unit - 1) : unit;
  }
  return unit;
}

char16_t CXString::foldToLower(char16_t unit) noexcept {
  if (unit < 0x80) {
    return (unit >= u'A' && unit <= u'Z') ? static_cast<char16_t>(unit + 0x20) : unit;
  }
  if ((unit >= 0xC0 && unit <= 0xDE && unit != 0xD7) || (unit >= 0x391 && unit <= 0x3A9 && unit != 0x3A2) ||
      (unit >= 0x410 && unit <= 0x42F)) {
    return static_cast<char16_t>(unit + 0x20);
  }
  if (unit == 0x178) {
    return 0xFF;
  }
  if (unit >= 0x400 && unit <= 0x40F) {
    return static_cast<char16_t>(unit + 0x50);
  }
  if ((unit >= 0x100 && unit <= 0x137) || (unit >= 0x14A && unit <= 0x177)) {
    return (unit & 1) == 0 ? static_cast<char16_t>(unit + 1) : unit;
  }
  if ((unit >= 0x139 && unit <= 0x148) || (unit >= 0x179 && unit <= 0x17E)) {
    return (unit & 1) != 0 ? static_cast<char16_t>(unit + 1) : unit;
  }
  return unit;
}

CXString& CXString::toLower() {
  for (char16_t& unit : m_text) {
    unit = foldToLower(unit);
  }
  return *this;
}

CXString& CXString::toUpper() {
  for (char16_t& unit : m_text) {
    unit = foldToUpper(unit);
  }
  return *this;
}

int CXString::compareNoCase(const CXString& other) const noexcept {
  const std::size_t common = m_text.size() < other.m_text.size() ? m_text.size() : other.m_text.size();
  for (std::size_t i = 0; i < common; ++i) {
    const char16_t a = foldToUpper(m_text[i]);
    const char16_t b = foldToUpper(other.m_text[i]);
    if (a != b) {
      return a < b ? -1 : 1;
    }
  }
  if (m_text.size() == other.m_text.size()) {
    return 0;
  }
  return m_text.size() < other.m_text.size() ? -1 : 1;
}

bool CXString::IsWildcardMatch(const CXString& pattern) const noexcept {
  // Iterative matching with one back-track point (the last "*"): linear in
  // the common case, never recursive.
  const std::u16string& text = m_text;
  const std::u16string& wild = pattern.m_text;
  std::size_t t = 0;
  std::size_t w = 0;
  std::size_t starAt = std::u16string::npos;
  std::size_t textAtStar = 0;
  while (t < text.size()) {
    if (w < wild.size() && (wild[w] == u'?' || foldToUpper(wild[w]) == foldToUpper(text[t]))) {
      ++t;
      ++w;
    } else if (w < wild.size() && wild[w] == u'*') {
      starAt = w++;
      textAtStar = t;
    } else if (starAt != std::u16string::npos) {
      w = starAt + 1;
      t = ++textAtStar;
    } else {
      return false;
    }
  }
  while (w < wild.size() && wild[w] == u'*') {
    ++w;
  }
  return w == wild.size();
}

// ---- Base64 ----

namespace {
constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int base64Value(char16_t c) {
  if (c >= u'A' && c <= u'Z') {
    return c - u'A';
  }
  if (c >= u'a' && c <= u'z') {
    return c - u'a' + 26;
  }
  if (c >= u'0' && c <= u'9') {
    return c - u'0' + 52;
  }
  if (c == u'+') {
    return 62;
  }
  if (c == u'/') {
    return 63;
  }
  return -1;
}
}  // namespace

CXString CXString::Base64EncodeBinaryData(const unsigned char* data, std::size_t length, unsigned long options) {
  std::u16string out;
  if (data == nullptr || length == 0) {
    return CXString(std::move(out));
  }
  const bool lineBreaks = (options & Base64NoLineBreaks) == 0;
  out.reserve((length + 2) / 3 * 4 + (lineBreaks ? length / 24 + 2 : 0));
  std::size_t column = 0;
  auto put = [&](char c) {
    if (lineBreaks && column == 64) {
      out.append(u"\r\n");
      column = 0;
    }
    out.push_back(static_cast<char16_t>(c));
    ++column;
  };
  std::size_t i = 0;
  for (; i + 3 <= length; i += 3) {
    const std::uint32_t triple = (std::uint32_t{data[i]} << 16) | (std::uint32_t{data[i + 1]} << 8) | data[i + 2];
    put(kBase64Alphabet[(triple >> 18) & 0x3F]);
    put(kBase64Alphabet[(triple >> 12) & 0x3F]);
    put(kBase64Alphabet[(triple >> 6) & 0x3F]);
    put(kBase64Alphabet[triple & 0x3F]);
  }
  const std::size_t rest = length - i;
  if (rest != 0) {
    const std::uint32_t triple = (std::uint32_t{data[i]} << 16) | (rest == 2 ? std::uint32_t{data[i + 1]} << 8 : 0);
    put(kBase64Alphabet[(triple >> 18) & 0x3F]);
    put(kBase64Alphabet[(triple >> 12) & 0x3F]);
    put(rest == 2 ? kBase64Alphabet[(triple >> 6) & 0x3F] : '=');
    put('=');
  }
  if (lineBreaks) {
    out.append(u"\r\n");
  }
  return CXString(std::move(out));
}

CXString CXString::Base64EncodeBinaryData(const std::vector<unsigned char>& data, unsigned long options) {
  return Base64EncodeBinaryData(data.data(), data.size(), options);
}

bool CXString::Base64DecodeBinaryData(const CXString& text, std::vector<unsigned char>& out) {
  out.clear();
  std::uint32_t accumulator = 0;
  int bits = 0;
  int sextets = 0;
  int padding = 0;
  for (const char16_t c : text.m_text) {
    if (c == u'\r' || c == u'\n' || c == u' ' || c == u'\t') {
      continue;
    }
    if (c == u'=') {
      ++padding;
      continue;
    }
    const int value = base64Value(c);
    if (value < 0 || padding != 0) {
      out.clear();
      return false;
    }
    accumulator = (accumulator << 6) | static_cast<std::uint32_t>(value);
    bits += 6;
    ++sextets;
    if (bits >= 8) {
      bits -= 8;
      out.push_back(static_cast<unsigned char>((accumulator >> bits) & 0xFF));
    }
  }
  // A final group of one sextet cannot hold a byte; padding may only complete a group of four.
  const int tail = sextets % 4;
  if (tail == 1 || padding > 2 || (padding != 0 && tail + padding != 4)) {
    out.clear();
    return false;
  }
  return true;
}
