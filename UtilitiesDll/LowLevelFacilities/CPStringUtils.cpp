#include "LowLevelFacilities/CPStringUtils.h"

#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/DebugUtilities.h"
#include "DebuggingAndExceptions/InternalChecks.h"
#include "LowLevelFacilities/AsciiBlocks.h"
#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/Utf8CheckedDecoding.h"
#include "LowLevelFacilities/Utf8Encoding.h"
#include "LowLevelFacilities/WideCodeUnit.h"

#include <cctype>
#include <cstring>
#include <cwchar>
#include <stdexcept>
#include <type_traits>

namespace CPStringUtils {

namespace {

// ---- checked routines ----------------------------------------------------------

// The checked conversions write through a pointer into an output sized in
// advance: one unit per input unit, which is exact for ASCII; at the first
// non-ASCII unit the rest is counted exactly and the output resized once
// (UTF-16 to UTF-8; the other direction needs no count, see below). Runs of
// ASCII go sixteen units at a time. A failure leaves the destination as it
// was. (The count runs in 16-bit sums over chunks, which vectorises well.)

// UTF-8 length of UTF-16 text: each surrogate unit counts two bytes, so a
// pair makes four. (Broken pairs are reported before their bytes are written.)
template <class Unit>
std::size_t utf8LengthOfUtf16(const Unit* units, std::size_t length) noexcept {
  std::size_t total = 0;
  while (length != 0) {
    const std::size_t chunk = length < 16384 ? length : 16384;  // at most 3 bytes a unit: fits 16 bits
    std::uint16_t sum = 0;
    for (std::size_t i = 0; i < chunk; ++i) {
      const auto unit = static_cast<std::uint16_t>(units[i]);
      sum = static_cast<std::uint16_t>(sum + 1u + (unit >= 0x80) + (unit >= 0x800) - ((unit & 0xF800) == 0xD800));
    }
    total += sum;
    units += chunk;
    length -= chunk;
  }
  return total;
}

inline char* writeUtf8(char* target, std::uint32_t code) noexcept {
  if (code < 0x80) {
    *target++ = static_cast<char>(code);
  } else if (code < 0x800) {
    *target++ = static_cast<char>(0xC0 | (code >> 6));
    *target++ = static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    *target++ = static_cast<char>(0xE0 | (code >> 12));
    *target++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    *target++ = static_cast<char>(0x80 | (code & 0x3F));
  } else {
    *target++ = static_cast<char>(0xF0 | (code >> 18));
    *target++ = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    *target++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    *target++ = static_cast<char>(0x80 | (code & 0x3F));
  }
  return target;
}

template <class Unit>
void utf16ToUtf8Checked(const Unit* units, std::size_t length, std::string& out) {
  static_assert(sizeof(Unit) == 2);
  using namespace InternalHaldenCP::AsciiBlocks;
  const std::size_t base = out.size();
  out.resize(base + length);
  char* target = out.data() + base;
  bool sizedExactly = false;
  try {
    std::size_t i = 0;
    while (i < length) {
      if (length - i >= 16) {
        Units8 low;
        Units8 high;
        loadUnits(low, units + i);
        loadUnits(high, units + i + 8);
        if (unitsAreAscii(low, high)) {
          narrowAsciiBlock(low, high, target);
          target += 16;
          i += 16;
          continue;
        }
      }
      // A block with some non-ASCII unit goes one unit at a time.
      const std::size_t blockEnd = length - i >= 16 ? i + 16 : length;
      while (i < blockEnd) {
        std::uint32_t code = static_cast<std::uint16_t>(units[i++]);
        if (code < 0x80) {
          *target++ = static_cast<char>(code);
          continue;
        }
        if (!sizedExactly) {
          const auto written = static_cast<std::size_t>(target - out.data());
          out.resize(written + utf8LengthOfUtf16(units + i - 1, length - i + 1));
          target = out.data() + written;
          sizedExactly = true;
        }
        if ((code & 0xF800) == 0xD800) {
          if (utf8::internal::is_trail_surrogate(code)) {
            HDU_THROW(utf8::CPExceptionInvalidUtf16, HDU_DEBUG_CONTEXT("utf8::utf16to8"),
                      "Found a lone trail surrogate.");
          }
          if (i == length) {
            HDU_THROW(utf8::CPExceptionInvalidUtf16, HDU_DEBUG_CONTEXT("utf8::utf16to8"),
                      "Reached the end of the character sequence. No trail surrogate.");
          }
          const std::uint32_t trail = static_cast<std::uint16_t>(units[i++]);
          if (!utf8::internal::is_trail_surrogate(trail)) {
            HDU_THROW(utf8::CPExceptionInvalidUtf16, HDU_DEBUG_CONTEXT("utf8::utf16to8"),
                      "Expected this to be a trail surrogate, but is_trail_surrogate() failed.");
          }
          code = (code << 10) + trail + utf8::internal::SURROGATE_OFFSET;
        }
        target = writeUtf8(target, code);
      }
    }
  } catch (...) {
    out.resize(base);
    throw;
  }
}

template <class Unit>
void utf32ToUtf8Checked(const Unit* units, std::size_t length, std::string& out) {
  static_assert(sizeof(Unit) == 4);
  // Every value is checked before anything is written, so a failure leaves
  // `out` as it was.
  for (std::size_t i = 0; i < length; ++i) {
    if (!utf8::internal::is_code_point_valid(static_cast<std::uint32_t>(units[i]))) {
      HDU_THROW(utf8::CPExceptionInvalidCodePoint, HDU_DEBUG_CONTEXT("utf8::append"), "Code point can't be appended.");
    }
  }
  out.reserve(out.size() + length);
  for (std::size_t i = 0; i < length; ++i) {
    const auto code = static_cast<std::uint32_t>(units[i]);
    if (!utf8::internal::is_code_point_valid(code)) {
      HDU_THROW(utf8::CPExceptionInvalidCodePoint, HDU_DEBUG_CONTEXT("utf8::append"), "Code point can't be appended.");
    }
    Utf8Encoding::appendCodePointAsUtf8(out, code);
  }
}

// Into a string of 16-bit (UTF-16) or 32-bit (UTF-32) units. No UTF-8
// sequence gives more units than it has bytes, so an output of one unit per
// byte always suffices; it is cut to what was written at the end.
template <class OutString>
void utf8ToUnitsChecked(const char* bytes, std::size_t length, OutString& out, const char* functionLabel) {
  using Unit = typename OutString::value_type;
  static_assert(sizeof(Unit) == 2 || sizeof(Unit) == 4);
  using namespace InternalHaldenCP::AsciiBlocks;
  const std::size_t base = out.size();
  out.resize(base + length);
  Unit* target = out.data() + base;
  const char* cursor = bytes;
  const char* const end = bytes + length;
  try {
    while (cursor < end) {
      if (end - cursor >= 16) {
        Bytes16 block;
        loadBytes(block, cursor);
        if (!hasNonAscii(block)) {
          widenAsciiBlock(cursor, target);
          target += 16;
          cursor += 16;
          continue;
        }
      }
      // A block with some non-ASCII byte goes one code point at a time.
      const char* const blockEnd = end - cursor >= 16 ? cursor + 16 : end;
      while (cursor < blockEnd) {
        if (static_cast<unsigned char>(*cursor) < 0x80) {
          *target++ = static_cast<Unit>(*cursor++);
          continue;
        }
        std::uint32_t code = InternalHaldenCP::decodeNextUtf8Checked(cursor, bytes, end, functionLabel);
        if (sizeof(Unit) == 2 && code > 0xFFFF) {
          code -= 0x10000;
          *target++ = static_cast<Unit>(0xD800 + (code >> 10));
          *target++ = static_cast<Unit>(0xDC00 + (code & 0x3FF));
        } else {
          *target++ = static_cast<Unit>(code);
        }
      }
    }
    out.resize(static_cast<std::size_t>(target - out.data()));
  } catch (...) {
    out.resize(base);
    throw;
  }
}

void utf8ToUtf16Checked(const char* bytes, std::size_t length, std::u16string& out) {
  utf8ToUnitsChecked(bytes, length, out, "utf8::utf8to16");
}

void utf8ToUtf32Checked(const char* bytes, std::size_t length, std::u32string& out) {
  utf8ToUnitsChecked(bytes, length, out, "utf8::utf8to32");
}

template <class CharT>
std::size_t lengthOf(const CharT* text) {
  return text == nullptr ? 0 : std::char_traits<CharT>::length(text);
}

void wideUtf32ToUtf8CheckedAppending(const wchar_t* units, std::size_t length, std::string& out);

// 32-bit wchar_t text (Linux) is UTF-32, but a UTF-16 surrogate pair met in
// it (text that came unit by unit from a 16-bit source) is joined as on
// Windows, and a broken pair is reported as it is there.
void wideUtf32ToUtf8Checked(const wchar_t* units, std::size_t length, std::string& out) {
  const std::size_t base = out.size();
  try {
    wideUtf32ToUtf8CheckedAppending(units, length, out);
  } catch (...) {
    out.resize(base);  // a failure leaves `out` as it was
    throw;
  }
}

void wideUtf32ToUtf8CheckedAppending(const wchar_t* units, std::size_t length, std::string& out) {
  out.reserve(out.size() + length);
  for (std::size_t i = 0; i < length; ++i) {
    auto code = wideCodeUnitValue(units[i]);
    if (code < 0x80) {
      out.push_back(static_cast<char>(code));
      continue;
    }
    if (utf8::internal::is_lead_surrogate(code)) {
      if (i + 1 == length) {
        HDU_THROW(utf8::CPExceptionInvalidUtf16, HDU_DEBUG_CONTEXT("utf8::utf16to8"),
                  "Reached the end of the character sequence. No trail surrogate.");
      }
      const auto trail = wideCodeUnitValue(units[++i]);
      if (!utf8::internal::is_trail_surrogate(trail)) {
        HDU_THROW(utf8::CPExceptionInvalidUtf16, HDU_DEBUG_CONTEXT("utf8::utf16to8"),
                  "Expected this to be a trail surrogate, but is_trail_surrogate() failed.");
      }
      code = (code << 10) + trail + utf8::internal::SURROGATE_OFFSET;
    } else if (utf8::internal::is_trail_surrogate(code)) {
      HDU_THROW(utf8::CPExceptionInvalidUtf16, HDU_DEBUG_CONTEXT("utf8::utf16to8"), "Found a lone trail surrogate.");
    } else if (!utf8::internal::is_code_point_valid(code)) {
      HDU_THROW(utf8::CPExceptionInvalidCodePoint, HDU_DEBUG_CONTEXT("utf8::append"), "Code point can't be appended.");
    }
    Utf8Encoding::appendCodePointAsUtf8(out, code);
  }
}

// wchar_t dispatch: UTF-16 where wchar_t has 16 bits, UTF-32 elsewhere.
void narrowWideChecked(const wchar_t* text, std::size_t length, std::string& out) {
  if constexpr (sizeof(wchar_t) == 2) {
    utf16ToUtf8Checked(text, length, out);
  } else {
    wideUtf32ToUtf8Checked(text, length, out);
  }
}

std::wstring widenToWideChecked(const char* bytes, std::size_t length) {
  std::wstring result;
  if (bytes != nullptr) {
    utf8ToUnitsChecked(bytes, length, result, sizeof(wchar_t) == 2 ? "utf8::utf8to16" : "utf8::utf8to32");
  }
  return result;
}

// ---- low-level tier -------------------------------------------------------------

void reportPlatformConversionFailure(const char* apiName, const char* errorPrefix) {
  std::string text = DebugUtilities::formatLastErrorDisplayString(PlatformFacilities::getLastError(), true);
  text += ": failed ::";
  text += apiName;
  text += "()";
  if (InternalChecks::internalChecksEnabled()) {
    throw std::runtime_error(std::string(errorPrefix) + text);
  }
}

void narrowUtf16LowLevel(const char16_t* text, std::size_t length, std::string& out) {
  const std::size_t start = out.size();
  if (PlatformFacilities::convertUtf16ToUtf8(text, length, out)) {
    return;
  }
  out.resize(start);
  reportPlatformConversionFailure("WideCharToMultiByte", "Error converting wchar_t to char *");
  narrowByHandForLowLevelUtilities(text, length, out);
}

void widenUtf16LowLevel(const char* bytes, std::size_t length, std::u16string& out) {
  const std::size_t start = out.size();
  if (PlatformFacilities::convertUtf8ToUtf16(bytes, length, out)) {
    return;
  }
  out.resize(start);
  reportPlatformConversionFailure("MultiByteToWideChar", "Error converting char to wchar_t *");
  Utf8Encoding::appendUtf8AsUtf16Replacing(out, bytes, length);
}

void narrowWideLowLevel(const wchar_t* text, std::size_t length, std::string& out) {
  if constexpr (sizeof(wchar_t) == 2) {
    narrowUtf16LowLevel(reinterpret_cast<const char16_t*>(text), length, out);
  } else {
    // UTF-32 (there is no platform converter for it): as the UTF-16 path
    // writes the same units, a surrogate pair is joined and every other unit
    // that is no code point becomes U+FFFD. Never fails.
    out.reserve(out.size() + length);
    Utf8Encoding::appendUtf32AsUtf8Replacing(out, text, length);
  }
}

}  // namespace

// ---- ordinary tier ------------------------------------------------------------------

CPString narrow(const char16_t* text) {
  return CPString(narrowToStdString(text));
}
CPString narrow(const std::u16string& text) {
  return CPString(narrowToStdString(text));
}
CPString narrow(const char32_t* text) {
  return CPString(narrowToStdString(text));
}
CPString narrow(const std::u32string& text) {
  return CPString(narrowToStdString(text));
}
CPString narrow(const wchar_t* text) {
  return CPString(narrowToStdString(text));
}
CPString narrow(const std::wstring& text) {
  return CPString(narrowToStdString(text));
}

std::string narrowToStdString(const char16_t* text) {
  return narrowToStdString(text, lengthOf(text));
}

std::string narrowToStdString(const char16_t* text, std::size_t length) {
  std::string result;
  if (text != nullptr) {
    utf16ToUtf8Checked(text, length, result);
  }
  return result;
}

std::string narrowToStdString(const std::u16string& text) {
  return narrowToStdString(text.data(), text.size());
}

std::string narrowToStdString(const char32_t* text) {
  std::string result;
  utf32ToUtf8Checked(text, lengthOf(text), result);
  return result;
}

std::string narrowToStdString(const std::u32string& text) {
  std::string result;
  utf32ToUtf8Checked(text.data(), text.size(), result);
  return result;
}

std::string narrowToStdString(const wchar_t* text) {
  std::string result;
  narrowWideChecked(text, lengthOf(text), result);
  return result;
}

std::string narrowToStdString(const std::wstring& text) {
  std::string result;
  narrowWideChecked(text.data(), text.size(), result);
  return result;
}

void narrowAndAppend(const char16_t* text, std::size_t length, std::string& destination) {
  if (text != nullptr) {
    utf16ToUtf8Checked(text, length, destination);
  }
}
void narrowAndAppend(const std::u16string& text, std::string& destination) {
  utf16ToUtf8Checked(text.data(), text.size(), destination);
}
void narrowAndAppend(const std::u32string& text, std::string& destination) {
  utf32ToUtf8Checked(text.data(), text.size(), destination);
}
void narrowAndAppend(const std::wstring& text, std::string& destination) {
  narrowWideChecked(text.data(), text.size(), destination);
}
void narrowAndAppend(const wchar_t* text, std::string& destination) {
  narrowWideChecked(text, lengthOf(text), destination);
}

std::wstring widenTo_wstring(const char* utf8) {
  return widenToWideChecked(utf8, lengthOf(utf8));
}
std::wstring widenTo_wstring(const std::string& utf8) {
  return widenToWideChecked(utf8.data(), utf8.size());
}
std::wstring widenTo_wstring(const CPString& utf8) {
  return widenTo_wstring(utf8.utf8StdString());
}

std::u16string widenTo_u16string(const char* utf8, std::size_t byteCount) {
  std::u16string result;
  if (utf8 != nullptr) {
    utf8ToUtf16Checked(utf8, byteCount, result);
  }
  return result;
}
std::u16string widenTo_u16string(const std::string& utf8) {
  return widenTo_u16string(utf8.data(), utf8.size());
}
std::u16string widenTo_u16string(const CPString& utf8) {
  return widenTo_u16string(utf8.utf8StdString());
}

std::u32string widenTo_u32string(const char* utf8) {
  return widenTo_u32string(utf8, lengthOf(utf8));
}
std::u32string widenTo_u32string(const char* utf8, std::size_t byteCount) {
  std::u32string result;
  if (utf8 != nullptr) {
    utf8ToUtf32Checked(utf8, byteCount, result);
  }
  return result;
}
std::u32string widenTo_u32string(const std::string& utf8) {
  return widenTo_u32string(utf8.data(), utf8.size());
}
std::u32string widenTo_u32string(const CPString& utf8) {
  return widenTo_u32string(utf8.utf8StdString());
}

// ---- low-level tier -----------------------------------------------------------------

void narrowByHandForLowLevelUtilities(const char16_t* text, std::size_t length, std::string& destination) {
  if (text != nullptr) {
    Utf8Encoding::appendUtf16AsUtf8Lenient(destination, text, length);
  }
}

std::string narrowToStdStringForLowLevelUtilities(const wchar_t* text, int length) {
  std::string result;
  narrowAndAppendForLowLevelUtilities(text, length, result);
  return result;
}

std::string narrowToStdStringForLowLevelUtilities(const std::wstring& text) {
  std::string result;
  narrowAndAppendForLowLevelUtilities(text, result);
  return result;
}

std::string narrowToStdStringForLowLevelUtilities(const char16_t* text, int length) {
  std::string result;
  narrowAndAppendForLowLevelUtilities(text, length, result);
  return result;
}

std::string narrowToStdStringForLowLevelUtilities(const std::u16string& text) {
  std::string result;
  if (!text.empty()) {
    narrowUtf16LowLevel(text.data(), text.size(), result);
  }
  return result;
}

std::string narrowToStdStringForLowLevelUtilities(char32_t codePoint) {
  std::string result;
  Utf8Encoding::appendCodePointAsUtf8(result,
                                      Utf8Encoding::codePointOrReplacement(static_cast<std::uint32_t>(codePoint)));
  return result;
}

std::string narrowToStdStringForLowLevelUtilities(const char32_t* text) {
  std::string result;
  if (text != nullptr) {
    Utf8Encoding::appendUtf32AsUtf8Replacing(result, text, lengthOf(text));
  }
  return result;
}

std::string narrowToStdStringForLowLevelUtilities(const std::u32string& text) {
  std::string result;
  Utf8Encoding::appendUtf32AsUtf8Replacing(result, text.data(), text.size());
  return result;
}

void narrowAndAppendForLowLevelUtilities(const wchar_t* text, int length, std::string& destination) {
  if (text == nullptr || length <= 0) {
    return;
  }
  narrowWideLowLevel(text, static_cast<std::size_t>(length), destination);
}

void narrowAndAppendForLowLevelUtilities(const std::wstring& text, std::string& destination) {
  if (!text.empty()) {
    narrowWideLowLevel(text.data(), text.size(), destination);
  }
}

void narrowAndAppendForLowLevelUtilities(const char16_t* text, int length, std::string& destination) {
  if (text == nullptr || length <= 0) {
    return;
  }
  narrowUtf16LowLevel(text, static_cast<std::size_t>(length), destination);
}

void narrowAndAppendForLowLevelUtilities(const std::u32string& text, std::string& destination) {
  Utf8Encoding::appendUtf32AsUtf8Replacing(destination, text.data(), text.size());
}

std::u16string widenTo_u16stringForLowLevelUtilities(const char* utf8, int byteCount) {
  std::u16string result;
  if (utf8 != nullptr && byteCount > 0) {
    widenUtf16LowLevel(utf8, static_cast<std::size_t>(byteCount), result);
  }
  return result;
}

std::u16string widenTo_u16stringForLowLevelUtilities(const std::string& utf8) {
  std::u16string result;
  if (!utf8.empty()) {
    widenUtf16LowLevel(utf8.data(), utf8.size(), result);
  }
  return result;
}

std::wstring widenTo_wstringForLowLevelUtilities(const char* utf8, int byteCount) {
  if (utf8 == nullptr || byteCount <= 0) {
    return {};
  }
  if constexpr (sizeof(wchar_t) == 2) {
    const std::u16string units = widenTo_u16stringForLowLevelUtilities(utf8, byteCount);
    return std::wstring(units.begin(), units.end());
  } else {
    std::u32string units;
    Utf8Encoding::appendUtf8AsUtf32Replacing(units, utf8, static_cast<std::size_t>(byteCount));
    return std::wstring(units.begin(), units.end());
  }
}

std::wstring widenTo_wstringForLowLevelUtilities(const char* utf8) {
  return widenTo_wstringForLowLevelUtilities(utf8, static_cast<int>(lengthOf(utf8)));
}

std::wstring widenTo_wstringForLowLevelUtilities(const std::string& utf8) {
  return widenTo_wstringForLowLevelUtilities(utf8.data(), static_cast<int>(utf8.size()));
}

std::u32string widenTo_u32stringForLowLevelUtilities(const char* utf8) {
  return widenTo_u32stringForLowLevelUtilities(utf8, lengthOf(utf8));
}

std::u32string widenTo_u32stringForLowLevelUtilities(const char* utf8, std::size_t byteCount) {
  std::u32string result;
  if (utf8 != nullptr) {
    Utf8Encoding::appendUtf8AsUtf32Replacing(result, utf8, byteCount);
  }
  return result;
}

std::u32string widenTo_u32stringForLowLevelUtilities(const std::string& utf8) {
  return widenTo_u32stringForLowLevelUtilities(utf8.data(), utf8.size());
}

// ---- validation and repair ---------------------------------------------------------------

namespace {

bool utf16IsValid(const char16_t* text, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    const char16_t unit = text[i];
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      if (i + 1 >= length || text[i + 1] < 0xDC00 || text[i + 1] > 0xDFFF) {
        return false;
      }
      ++i;
    } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
      return false;
    }
  }
  return true;
}

CPString createFromUtf16WithoutThrowing(const char16_t* text, std::size_t length, bool& isValid) {
  isValid = utf16IsValid(text, length);
  std::string result;
  Utf8Encoding::appendUtf16AsUtf8Replacing(result, text, length);
  return CPString(std::move(result));
}

CPString createFromUtf32WithoutThrowing(const char32_t* text, std::size_t length, bool& isValid) {
  isValid = true;
  std::string result;
  result.reserve(length);
  for (std::size_t i = 0; i < length; ++i) {
    std::uint32_t code = static_cast<std::uint32_t>(text[i]);
    if (!utf8::internal::is_code_point_valid(code)) {
      isValid = false;
      code = 0xFFFD;
    }
    Utf8Encoding::appendCodePointAsUtf8(result, code);
  }
  return CPString(std::move(result));
}

}  // namespace

CPString validateAndCreateCPStringWithoutThrowing(const char16_t* text, bool& isValid) {
  return createFromUtf16WithoutThrowing(text, lengthOf(text), isValid);
}

CPString validateAndCreateCPStringWithoutThrowing(const std::u16string& text, bool& isValid) {
  return createFromUtf16WithoutThrowing(text.data(), text.size(), isValid);
}

CPString validateAndCreateCPStringWithoutThrowing(const std::u32string& text, bool& isValid) {
  return createFromUtf32WithoutThrowing(text.data(), text.size(), isValid);
}

CPString validateAndCreateCPStringWithoutThrowing(const wchar_t* text, bool& isValid) {
  return validateAndCreateCPStringWithoutThrowing(std::wstring(text != nullptr ? text : L""), isValid);
}

CPString validateAndCreateCPStringWithoutThrowing(const std::wstring& text, bool& isValid) {
  if constexpr (sizeof(wchar_t) == 2) {
    return createFromUtf16WithoutThrowing(reinterpret_cast<const char16_t*>(text.data()), text.size(), isValid);
  } else {
    // As the checked conversion does, a surrogate pair in 32-bit wchar_t text is joined.
    std::u32string joined;
    joined.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
      auto code = static_cast<char32_t>(text[i]);
      if (code >= 0xD800 && code <= 0xDBFF && i + 1 < text.size() && static_cast<char32_t>(text[i + 1]) >= 0xDC00 &&
          static_cast<char32_t>(text[i + 1]) <= 0xDFFF) {
        code = 0x10000 + ((code - 0xD800) << 10) + (static_cast<char32_t>(text[++i]) - 0xDC00);
      }
      joined.push_back(code);
    }
    return createFromUtf32WithoutThrowing(joined.data(), joined.size(), isValid);
  }
}

std::string validateFixAndCreateStdStringWithoutThrowing(const char* utf8, bool& repairWasNeeded) {
  std::string result;
  repairWasNeeded = utf8 != nullptr && Utf8Encoding::appendUtf8Repaired(result, utf8, std::strlen(utf8));
  return result;
}

std::string validateFixAndCreateStdStringWithoutThrowing(const std::string& utf8, bool& repairWasNeeded) {
  std::string result;
  repairWasNeeded = Utf8Encoding::appendUtf8Repaired(result, utf8.data(), utf8.size());
  return result;
}

CPString validateFixAndCreateCPStringWithoutThrowing(const char* utf8, bool& repairWasNeeded) {
  return CPString(validateFixAndCreateStdStringWithoutThrowing(utf8, repairWasNeeded));
}

CPString validateFixAndCreateCPStringWithoutThrowing(const std::string& utf8, bool& repairWasNeeded) {
  return CPString(validateFixAndCreateStdStringWithoutThrowing(utf8, repairWasNeeded));
}

bool isAsciiOnly(const char* text) {
  return text == nullptr || Utf8Encoding::isAsciiOnly(text, std::strlen(text));
}

bool isValidUtf8(const char* bytes, std::size_t length) {
  return bytes == nullptr || utf8::find_invalid(bytes, bytes + length) == bytes + length;
}

std::string toupper_ForLowLevelUtilities(const std::string& text) {
  std::string result(text);
  for (char& c : result) {
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return result;
}

std::string tolower_ForLowLevelUtilities(const std::string& text) {
  std::string result(text);
  for (char& c : result) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return result;
}

// ---- bounded copies ---------------------------------------------------------------------

namespace {

// Appends at most `count` characters of `source` behind the first `used`
// characters. A cut in narrow text backs off to a UTF-8 sequence boundary.
template <class CharT>
bool boundedAppend(CharT* destination, std::size_t capacity, std::size_t used, const CharT* source, std::size_t count) {
  if (destination == nullptr || capacity == 0) {
    return source == nullptr || count == 0 || *source == CharT{};
  }
  if (used >= capacity) {
    destination[capacity - 1] = CharT{};
    return false;
  }
  std::size_t sourceLength = 0;
  if (source != nullptr) {
    while (sourceLength < count && source[sourceLength] != CharT{}) {
      ++sourceLength;
    }
  }
  const std::size_t room = capacity - 1 - used;
  std::size_t copied = sourceLength <= room ? sourceLength : room;
  if constexpr (sizeof(CharT) == 1) {
    if (copied < sourceLength) {
      while (copied > 0 && (static_cast<unsigned char>(source[copied]) & 0xC0) == 0x80) {
        --copied;
      }
    }
  }
  if (copied != 0) {
    std::memmove(destination + used, source, copied * sizeof(CharT));
  }
  destination[used + copied] = CharT{};
  return copied == sourceLength;
}

template <class CharT>
std::size_t boundedLength(const CharT* text, std::size_t capacity) {
  std::size_t length = 0;
  while (length < capacity && text[length] != CharT{}) {
    ++length;
  }
  return length;
}

}  // namespace

bool strcpy_with_size(char* destination, std::size_t capacity, const char* source) {
  return boundedAppend(destination, capacity, 0, source, static_cast<std::size_t>(-1));
}

bool strcat_with_size(char* destination, std::size_t capacity, const char* source) {
  const std::size_t used = destination != nullptr ? boundedLength(destination, capacity) : 0;
  return boundedAppend(destination, capacity, used, source, static_cast<std::size_t>(-1));
}

bool strncat_with_size(char* destination, std::size_t capacity, const char* source, std::size_t count) {
  const std::size_t used = destination != nullptr ? boundedLength(destination, capacity) : 0;
  return boundedAppend(destination, capacity, used, source, count);
}

bool strcpy_with_size(wchar_t* destination, std::size_t capacity, const wchar_t* source) {
  return boundedAppend(destination, capacity, 0, source, static_cast<std::size_t>(-1));
}

bool strcat_with_size(wchar_t* destination, std::size_t capacity, const wchar_t* source) {
  const std::size_t used = destination != nullptr ? boundedLength(destination, capacity) : 0;
  return boundedAppend(destination, capacity, used, source, static_cast<std::size_t>(-1));
}

bool strncat_with_size(wchar_t* destination, std::size_t capacity, const wchar_t* source, std::size_t count) {
  const std::size_t used = destination != nullptr ? boundedLength(destination, capacity) : 0;
  return boundedAppend(destination, capacity, used, source, count);
}

}  // namespace CPStringUtils
