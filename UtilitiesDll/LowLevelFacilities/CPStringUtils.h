#pragma once
// CPStringUtils: conversions between the library's UTF-8 text and UTF-16 /
// UTF-32 text, UTF-8 validation and repair, and bounded C-string copies.
//
// Two tiers:
// - The ordinary functions convert with checked routines (built on utfcpp's
//   core) and throw the utf8:: exceptions for malformed input:
//     utf8::CPExceptionInvalidUtf16    unpaired or misplaced surrogate
//     utf8::CPExceptionInvalidUtf8     malformed UTF-8 sequence
//     utf8::CPExceptionInvalidCodePoint  value that is not a code point
//     utf8::CPExceptionNotEnoughRoom   UTF-8 sequence cut off by the end
// - The ...ForLowLevelUtilities functions are used inside error reporting and
//   logging and never throw in normal running. They ask the platform's
//   converter first (WideCharToMultiByte / MultiByteToWideChar, code page
//   65001, on Windows) and, should it fail, convert by hand; only while the
//   thread's internal-check counter is above zero does a platform failure
//   throw std::runtime_error.
//
// wchar_t text is UTF-16 on Windows and UTF-32 on Linux; the wchar_t overloads
// take it as such.

#include "hdUtilitiesExport.h"

#include <cstddef>
#include <string>

class CPString;

namespace CPStringUtils {

// ---- ordinary tier: to UTF-8 ----
HDU_API CPString narrow(const char16_t* text);
HDU_API CPString narrow(const std::u16string& text);
HDU_API CPString narrow(const char32_t* text);
HDU_API CPString narrow(const std::u32string& text);
HDU_API CPString narrow(const wchar_t* text);
HDU_API CPString narrow(const std::wstring& text);

HDU_API std::string narrowToStdString(const char16_t* text);
HDU_API std::string narrowToStdString(const char16_t* text, std::size_t length);
HDU_API std::string narrowToStdString(const std::u16string& text);
HDU_API std::string narrowToStdString(const char32_t* text);
HDU_API std::string narrowToStdString(const std::u32string& text);
HDU_API std::string narrowToStdString(const wchar_t* text);
HDU_API std::string narrowToStdString(const std::wstring& text);

HDU_API void narrowAndAppend(const char16_t* text, std::size_t length, std::string& destination);
HDU_API void narrowAndAppend(const std::u16string& text, std::string& destination);
HDU_API void narrowAndAppend(const std::u32string& text, std::string& destination);
HDU_API void narrowAndAppend(const std::wstring& text, std::string& destination);
HDU_API void narrowAndAppend(const wchar_t* text, std::string& destination);

// ---- ordinary tier: from UTF-8 ----
HDU_API std::wstring widenTo_wstring(const char* utf8);
HDU_API std::wstring widenTo_wstring(const std::string& utf8);
HDU_API std::wstring widenTo_wstring(const CPString& utf8);
HDU_API std::u16string widenTo_u16string(const char* utf8, std::size_t byteCount);
HDU_API std::u16string widenTo_u16string(const std::string& utf8);
HDU_API std::u16string widenTo_u16string(const CPString& utf8);
HDU_API std::u32string widenTo_u32string(const char* utf8);
HDU_API std::u32string widenTo_u32string(const char* utf8, std::size_t byteCount);
HDU_API std::u32string widenTo_u32string(const std::string& utf8);
HDU_API std::u32string widenTo_u32string(const CPString& utf8);

// ---- low-level tier: never throws in normal running ----
// A null pointer, an empty text or a negative length gives an empty string
// without any platform call. The result is always valid UTF-8, as the
// platform's converter writes it: an unpaired surrogate (and, in UTF-32 text,
// a value above U+10FFFF) becomes U+FFFD. On Linux, wchar_t text is UTF-32;
// a lead and a trail surrogate in it are joined into one character, so the
// same units give the same text as the char16_t overloads. Only the hand
// conversion below (the fallback when the platform converter fails) writes
// surrogates as they are.
HDU_API std::string narrowToStdStringForLowLevelUtilities(const wchar_t* text, int length);
HDU_API std::string narrowToStdStringForLowLevelUtilities(const std::wstring& text);
HDU_API std::string narrowToStdStringForLowLevelUtilities(const char16_t* text, int length);
HDU_API std::string narrowToStdStringForLowLevelUtilities(const std::u16string& text);
HDU_API std::string narrowToStdStringForLowLevelUtilities(char32_t codePoint);
HDU_API std::string narrowToStdStringForLowLevelUtilities(const char32_t* text);
HDU_API std::string narrowToStdStringForLowLevelUtilities(const std::u32string& text);
HDU_API void narrowAndAppendForLowLevelUtilities(const wchar_t* text, int length, std::string& destination);
HDU_API void narrowAndAppendForLowLevelUtilities(const std::wstring& text, std::string& destination);
HDU_API void narrowAndAppendForLowLevelUtilities(const char16_t* text, int length, std::string& destination);
HDU_API void narrowAndAppendForLowLevelUtilities(const std::u32string& text, std::string& destination);
// The hand conversion behind the low-level tier: a unit from 0xD800 to 0xDBFF
// is joined with the next as (first * 1024 + second - 56,613,888), unchecked;
// every value is written as UTF-8 without validation. Never fails.
HDU_API void narrowByHandForLowLevelUtilities(const char16_t* text, std::size_t length, std::string& destination);

HDU_API std::wstring widenTo_wstringForLowLevelUtilities(const char* utf8, int byteCount);
HDU_API std::wstring widenTo_wstringForLowLevelUtilities(const char* utf8);
HDU_API std::wstring widenTo_wstringForLowLevelUtilities(const std::string& utf8);
HDU_API std::u16string widenTo_u16stringForLowLevelUtilities(const char* utf8, int byteCount);
HDU_API std::u16string widenTo_u16stringForLowLevelUtilities(const std::string& utf8);
HDU_API std::u32string widenTo_u32stringForLowLevelUtilities(const char* utf8);
HDU_API std::u32string widenTo_u32stringForLowLevelUtilities(const char* utf8, std::size_t byteCount);
HDU_API std::u32string widenTo_u32stringForLowLevelUtilities(const std::string& utf8);

// ---- validation and repair ----
// Converts without throwing; `isValid` tells whether the input was valid (an
// invalid input gives the text with each bad unit replaced by U+FFFD).
HDU_API CPString validateAndCreateCPStringWithoutThrowing(const char16_t* text, bool& isValid);
HDU_API CPString validateAndCreateCPStringWithoutThrowing(const std::u16string& text, bool& isValid);
HDU_API CPString validateAndCreateCPStringWithoutThrowing(const std::u32string& text, bool& isValid);
HDU_API CPString validateAndCreateCPStringWithoutThrowing(const wchar_t* text, bool& isValid);
HDU_API CPString validateAndCreateCPStringWithoutThrowing(const std::wstring& text, bool& isValid);
// Repairs invalid UTF-8: each malformed sequence becomes U+FFFD.
// `repairWasNeeded` is false when the text was valid (and is returned unchanged).
HDU_API CPString validateFixAndCreateCPStringWithoutThrowing(const char* utf8, bool& repairWasNeeded);
HDU_API CPString validateFixAndCreateCPStringWithoutThrowing(const std::string& utf8, bool& repairWasNeeded);
HDU_API std::string validateFixAndCreateStdStringWithoutThrowing(const char* utf8, bool& repairWasNeeded);
HDU_API std::string validateFixAndCreateStdStringWithoutThrowing(const std::string& utf8, bool& repairWasNeeded);

HDU_API bool isAsciiOnly(const char* text);
HDU_API bool isValidUtf8(const char* bytes, std::size_t length);

// Copies with the C library's toupper/tolower applied to each byte (the C
// locale: ASCII letters only).
HDU_API std::string toupper_ForLowLevelUtilities(const std::string& text);
HDU_API std::string tolower_ForLowLevelUtilities(const std::string& text);

// ---- bounded copies ----
// `capacity` is the size of the destination in characters, terminator
// included. They never write past it and always terminate (a capacity of 0
// writes nothing). The result is true when the whole source fitted, false when
// it was cut (the destination then holds the part that fitted). A null source
// counts as empty.
HDU_API bool strcpy_with_size(char* destination, std::size_t capacity, const char* source);
HDU_API bool strcat_with_size(char* destination, std::size_t capacity, const char* source);
HDU_API bool strncat_with_size(char* destination, std::size_t capacity, const char* source, std::size_t count);
HDU_API bool strcpy_with_size(wchar_t* destination, std::size_t capacity, const wchar_t* source);
HDU_API bool strcat_with_size(wchar_t* destination, std::size_t capacity, const wchar_t* source);
HDU_API bool strncat_with_size(wchar_t* destination, std::size_t capacity, const wchar_t* source, std::size_t count);

}  // namespace CPStringUtils
