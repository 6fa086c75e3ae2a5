#pragma once
// CPString: the library's string. One std::string of UTF-8 bytes inside,
// addressed either in whole code points (SizeCodePoints32Struct) or in raw
// bytes (SizeRawBytes32Struct). Wide (UTF-16) input is converted on entry.
//
// Units and positions
// - Code points: SizeCodePoints32Struct counts and positions; `npos` is the
//   no-position value. Members taking a bare unsigned int for code points say
//   so in their name (...ByCodePoints, ...AtCodePointsIndex, ...CodePoints).
// - Raw bytes: SizeRawBytes32Struct counts and positions; `nposRawBytes` is
//   the no-position value. Bare unsigned forms are named ...ByUtf8RawBytes,
//   ...AtUtf8RawBytesIndex, ...Utf8RawBytes. A raw-byte position may fall
//   inside a multi-byte sequence: raw bytes are taken as they are.
// - std::string indexes (std::string::size_type, std::string::npos) and
//   std::string iterators address the inner std::string directly.
// - Byte iterators are `const char*` into the bytes (beginBytes()..endBytes()).
// - Code-point iterators (`iterator`, the same type for const strings) walk
//   code points, checked, see Utf8CodePointIterator.h (begin()..end()).
// Converting a no-position value gives the no-position value of the other
// unit (or the end iterator); any other position past the end throws
// CPExceptionOutOfRange.
//
// Code-point operations walk the bytes each time (nothing is cached) and
// validate what they walk: malformed UTF-8 met on the way throws the utf8::
// exceptions (utf8::CPExceptionInvalidUtf8 and its kin). Raw-byte operations
// never look at the encoding.
//
// Position errors of the editing members throw CPExceptionOutOfRange with one
// of these messages (function names "CPString::erase" / "CPString::insert";
// other members use their own name). When a code-point count runs past the
// end, the position named is the end it would reach (position + count):
//   "invalid string position, %u! There are %u code points in this string: %s"
//   "invalid byte index string position, %u, and count, %u! There are %u raw bytes in this string: %s"
//   "invalid byte index string position, %u! There are %u raw bytes in this string: %s"
//
// The exception hierarchy is not included here, so that this header can share
// a translation unit with utfcpp's own checked header.

#include "LowLevelFacilities/FormatStringBuffer.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/StrictlyTypedIntegral.h"
#include "LowLevelFacilities/Utf8CodePointIterator.h"
#include "hdUtilitiesExport.h"

#include <compare>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Declares one search family NAME in its three forms (code-point index, raw
// byte index, code-point iterator), each with and without a start position,
// each for a char, a C string and a CPString needle.
#define HDU_CPSTRING_DECLARE_SEARCH_FAMILY(NAME)                                                     \
  SizeCodePoints32Struct NAME(char needle) const;                                                    \
  SizeCodePoints32Struct NAME(char needle, SizeCodePoints32Struct start) const;                      \
  SizeCodePoints32Struct NAME(const char* needle) const;                                             \
  SizeCodePoints32Struct NAME(const char* needle, SizeCodePoints32Struct start) const;               \
  SizeCodePoints32Struct NAME(const CPString& needle) const;                                         \
  SizeCodePoints32Struct NAME(const CPString& needle, SizeCodePoints32Struct start) const;           \
  SizeRawBytes32Struct NAME##Utf8RawBytes(char needle) const;                                        \
  SizeRawBytes32Struct NAME##Utf8RawBytes(char needle, SizeRawBytes32Struct start) const;            \
  SizeRawBytes32Struct NAME##Utf8RawBytes(const char* needle) const;                                 \
  SizeRawBytes32Struct NAME##Utf8RawBytes(const char* needle, SizeRawBytes32Struct start) const;     \
  SizeRawBytes32Struct NAME##Utf8RawBytes(const CPString& needle) const;                             \
  SizeRawBytes32Struct NAME##Utf8RawBytes(const CPString& needle, SizeRawBytes32Struct start) const; \
  iterator NAME##Iterator(char needle) const;                                                        \
  iterator NAME##Iterator(char needle, const iterator& start) const;                                 \
  iterator NAME##Iterator(const char* needle) const;                                                 \
  iterator NAME##Iterator(const char* needle, const iterator& start) const;                          \
  iterator NAME##Iterator(const CPString& needle) const;                                             \
  iterator NAME##Iterator(const CPString& needle, const iterator& start) const;

class HDU_API CPString {
 public:
  // The code-point iterator. It never writes, so const strings hand it out too.
  using iterator = InternalHaldenCP::Utf8CodePointIterator<char*>;
  using const_iterator = iterator;
  // A byte iterator: a pointer into the UTF-8 bytes.
  using byte_iterator = const char*;

  // The no-position values (both 0xFFFFFFFF).
  static const SizeCodePoints32Struct npos;
  static const SizeRawBytes32Struct nposRawBytes;

  // ---- construction and assignment ----
  // Narrow input is taken as UTF-8 as it stands (a null pointer as empty);
  // wide input (UTF-16 on Windows, UTF-32 on Linux) is converted and throws
  // the utf8:: exceptions for malformed text.
  CPString() = default;
  CPString(const char* utf8);  // NOLINT(google-explicit-constructor)
  CPString(const char* utf8, unsigned int byteCount);
  explicit CPString(char c);
  CPString(unsigned int count, char c);
  CPString(const std::string& utf8);      // NOLINT(google-explicit-constructor)
  CPString(std::string&& utf8) noexcept;  // NOLINT(google-explicit-constructor)
  CPString(const wchar_t* wide);          // NOLINT(google-explicit-constructor)
  CPString(const std::wstring& wide);     // NOLINT(google-explicit-constructor)
  CPString(const CPString&) = default;
  CPString(CPString&&) noexcept = default;
  ~CPString() = default;
  CPString& operator=(const CPString&) = default;
  CPString& operator=(CPString&&) noexcept = default;
  CPString& operator=(const char* utf8);
  CPString& operator=(char c);
  CPString& operator=(const std::string& utf8);
  CPString& operator=(std::string&& utf8) noexcept;
  CPString& operator=(const wchar_t* wide);
  CPString& operator=(const std::wstring& wide);

  void swap(CPString& other) noexcept { m_string.swap(other.m_string); }
  void swap(std::string& other) noexcept { m_string.swap(other); }

  // UTF-16 (UTF-32 on Linux) copy; throws the utf8:: exceptions for malformed bytes.
  operator std::wstring() const;  // NOLINT(google-explicit-constructor): passes to wide interfaces

  // Printf-style formatting into a new string (see Formatter.h).
  template <class... Args>
  static CPString format(const char* formatText, const Args&... args) {
    return CPString(InternalHaldenCP::formatToStdString(formatText, args...));
  }

  // ---- appending ----
  CPString& operator+=(const char* utf8);
  CPString& operator+=(char c) {
    m_string.push_back(c);
    return *this;
  }
  CPString& operator+=(const CPString& other) {
    m_string.append(other.m_string);
    return *this;
  }
  CPString& operator+=(const std::string& utf8) {
    m_string.append(utf8);
    return *this;
  }
  CPString& operator+=(const std::wstring& wide);
  CPString& operator+=(const wchar_t* wide);
  CPString& operator<<(const char* utf8) { return *this += utf8; }
  CPString& operator<<(const CPString& other) { return *this += other; }
  CPString& operator<<(const std::wstring& wide) { return *this += wide; }
  CPString& operator<<(const wchar_t* wide) { return *this += wide; }
  CPString& pushBackUtf8RawByte(char byte) {
    m_string.push_back(byte);
    return *this;
  }
  // Appends the string's bytes to a format buffer (how a CPString argument
  // enters the formatter).
  void pushBackUtf8BytesIntoBuffer(InternalHaldenCP::FormatStringBuffer<1024>& buffer) const {
    buffer.append(m_string.data(), m_string.size());
  }

  // ---- size and access ----
  bool isEmpty() const noexcept { return m_string.empty(); }
  explicit operator bool() const noexcept { return !m_string.empty(); }
  // True when empty or when every byte is white space (see trim()).
  bool isEmptyOrOnlyWhitespace() const;
  SizeCodePoints32Struct lengthInCodePoints() const;
  unsigned int sizeOfUtf8Bytes() const noexcept { return static_cast<unsigned int>(m_string.size()); }
  SizeRawBytes32Struct sizeOfUtf8RawBytes() const noexcept {
    return SizeRawBytes32Struct(static_cast<unsigned int>(m_string.size()));
  }
  SizeRawBytes32Struct capacityInUtf8RawBytes() const noexcept {
    return SizeRawBytes32Struct(static_cast<unsigned int>(m_string.capacity()));
  }
  CPString& reserveUtf8RawBytes(SizeRawBytes32Struct byteCount);
  CPString& reserveUtf8RawBytes(unsigned int byteCount) { return reserveUtf8RawBytes(SizeRawBytes32Struct(byteCount)); }
  // Shortening cuts behind the given number of code points (bytes); growing
  // appends the fill character (for code points: encoded as UTF-8).
  CPString& resize(SizeCodePoints32Struct codePoints, char32_t fill = U'\0');
  CPString& resize(SizeRawBytes32Struct byteCount, char fill = '\0');
  CPString& resizeByCodePoints(unsigned int codePoints, char32_t fill = U'\0') {
    return resize(SizeCodePoints32Struct(codePoints), fill);
  }
  CPString& resizeUtf8RawBytes(unsigned int byteCount, char fill = '\0') {
    return resize(SizeRawBytes32Struct(byteCount), fill);
  }
  CPString& shrinkToFit() {
    m_string.shrink_to_fit();
    return *this;
  }
  CPString& clear() noexcept {
    m_string.clear();
    return *this;
  }

  // Code point at a code-point index, byte at a byte index. at() and the
  // named forms throw CPExceptionOutOfRange for a position at or past the
  // end; operator[] does not check the position (a code-point index past the
  // end gives 0, a byte index past the end is undefined, as in std::string).
  char32_t at(SizeCodePoints32Struct index) const;
  char at(SizeRawBytes32Struct index) const;
  char32_t operator[](SizeCodePoints32Struct index) const;
  char operator[](SizeRawBytes32Struct index) const noexcept { return m_string[index.value()]; }
  char32_t atCodePoint(unsigned int codePointIndex) const { return at(SizeCodePoints32Struct(codePointIndex)); }
  char atUtf8RawByte(unsigned int byteIndex) const { return at(SizeRawBytes32Struct(byteIndex)); }

  const char* utf8Bytes() const noexcept { return m_string.c_str(); }
  const char* utf8RawBytes() const noexcept { return m_string.c_str(); }
  const std::string& utf8StdString() const noexcept { return m_string; }
  // Writable bytes, for callers that fill the string in place after
  // resizeUtf8RawBytes(); only the current size may be written.
  char* utf8RawBytesPointerForOverwriting() noexcept { return m_string.data(); }

  byte_iterator beginBytes() const noexcept { return m_string.data(); }
  byte_iterator endBytes() const noexcept { return m_string.data() + m_string.size(); }
  // The first and the past-the-end raw-byte positions.
  SizeRawBytes32Struct beginUtf8RawBytes() const noexcept { return SizeRawBytes32Struct(0); }
  SizeRawBytes32Struct endUtf8RawBytes() const noexcept { return sizeOfUtf8RawBytes(); }
  bool isEndUtf8RawBytes(SizeRawBytes32Struct byteIndex) const noexcept { return byteIndex >= sizeOfUtf8RawBytes(); }
  bool isEndUtf8RawBytes(byte_iterator position) const noexcept { return position >= endBytes(); }
  iterator begin() const { return makeIterator(m_string.data()); }
  iterator end() const { return makeIterator(m_string.data() + m_string.size()); }

  bool isAsciiOnly() const noexcept;
  // Whether the first N code points (bytes) are ASCII; N past the end means
  // the whole string.
  bool areFirstNAsciiOnly(SizeCodePoints32Struct codePoints) const noexcept;
  bool areFirstNAsciiOnly(SizeRawBytes32Struct byteCount) const noexcept;

  // ---- index conversion ----
  byte_iterator byteIteratorFromCodePointIndex(SizeCodePoints32Struct index) const;
  byte_iterator byteIteratorFromStdStringIndex(std::string::size_type index) const;
  byte_iterator byteIteratorFromUtf8RawByteIndex(SizeRawBytes32Struct index) const;
  byte_iterator byteIteratorFromCodePointIterator(const iterator& position) const;
  SizeCodePoints32Struct codePointIndexFromByteIterator(byte_iterator position) const;
  SizeCodePoints32Struct codePointIndexFromStdStringIndex(std::string::size_type index) const;
  SizeCodePoints32Struct codePointIndexFromUtf8RawByteIndex(SizeRawBytes32Struct index) const;
  // No check that the position starts a sequence (only that it lies in the string).
  iterator codePointIteratorFromByteIteratorNoValidation(byte_iterator position) const;
  // These check that the position starts a sequence (utf8::CPExceptionInvalidUtf8 if not).
  iterator codePointIteratorFromStdStringIndex(std::string::size_type index) const;
  iterator getIteratorFromUtf8RawByteIndex(SizeRawBytes32Struct index) const;
  iterator getIterator(SizeCodePoints32Struct index) const;
  SizeCodePoints32Struct getCodePointIndex(const iterator& position) const;
  SizeRawBytes32Struct utf8RawByteIndexFromByteIterator(byte_iterator position) const;
  SizeRawBytes32Struct utf8RawByteIndexFromCodePointIndex(SizeCodePoints32Struct index) const;
  SizeRawBytes32Struct utf8RawByteIndexFromStdStringIndex(std::string::size_type index) const;
  std::string::size_type stdStringIndexFromByteIterator(byte_iterator position) const;
  std::string::size_type stdStringIndexFromCodePointIndex(SizeCodePoints32Struct index) const;
  std::string::size_type stdStringIndexFromCodePointIterator(const iterator& position) const;
  std::string::size_type stdStringIndexFromUtf8RawByteIndex(SizeRawBytes32Struct index) const;
  std::string::const_iterator stdStringIteratorFromByteIterator(byte_iterator position) const;
  std::string::const_iterator stdStringIteratorFromCodePointIndex(SizeCodePoints32Struct index) const;
  std::string::const_iterator stdStringIteratorFromCodePointIterator(const iterator& position) const;
  std::string::const_iterator stdStringIteratorFromUtf8RawByteIndex(SizeRawBytes32Struct index) const;
  std::string::const_iterator stdStringIteratorFromStdStringIndex(std::string::size_type index) const;
  std::string::iterator stdStringIteratorFromByteIterator(byte_iterator position);
  std::string::iterator stdStringIteratorFromCodePointIndex(SizeCodePoints32Struct index);
  std::string::iterator stdStringIteratorFromCodePointIterator(const iterator& position);
  std::string::iterator stdStringIteratorFromUtf8RawByteIndex(SizeRawBytes32Struct index);
  std::string::iterator stdStringIteratorFromStdStringIndex(std::string::size_type index);

  // ---- searching ----
  // find: first occurrence at or after the start. reverseFind: last
  // occurrence that begins at or before the start (default: anywhere).
  // findFirstOf / findFirstNotOf: first code point that is (is not) one of
  // the needle's code points. The raw-byte forms never look at the encoding
  // beyond that: where text or needle is not UTF-8, each byte that is not
  // part of a well-formed sequence is a unit of its own, equal only to the
  // same stray byte; they never throw (the code-point and iterator forms
  // throw the utf8:: exceptions for malformed bytes). The
  // ...UsingAsciiCharacterSet forms take the needle as a set of single bytes
  // and look at bytes. An empty needle is
  // found at the start (find, reverseFind), never (findFirstOf) or at the
  // first position (findFirstNotOf). Absent: npos, nposRawBytes or end().
  // A forward search starting past the end finds nothing.
  HDU_CPSTRING_DECLARE_SEARCH_FAMILY(find)
  HDU_CPSTRING_DECLARE_SEARCH_FAMILY(reverseFind)
  HDU_CPSTRING_DECLARE_SEARCH_FAMILY(findFirstOf)
  HDU_CPSTRING_DECLARE_SEARCH_FAMILY(findFirstNotOf)
  HDU_CPSTRING_DECLARE_SEARCH_FAMILY(findFirstOfUsingAsciiCharacterSet)
  HDU_CPSTRING_DECLARE_SEARCH_FAMILY(findFirstNotOfUsingAsciiCharacterSet)

  bool contains(char needle) const noexcept { return m_string.find(needle) != std::string::npos; }
  bool contains(const char* needle) const noexcept;
  bool contains(const CPString& needle) const noexcept { return m_string.find(needle.m_string) != std::string::npos; }
  bool startsWith(char prefix) const noexcept { return !m_string.empty() && m_string.front() == prefix; }
  bool startsWith(const char* prefix) const noexcept;
  bool startsWith(const CPString& prefix) const noexcept { return m_string.starts_with(prefix.m_string); }
  bool endsWith(char suffix) const noexcept { return !m_string.empty() && m_string.back() == suffix; }
  bool endsWith(const char* suffix) const noexcept;
  bool endsWith(const CPString& suffix) const noexcept { return m_string.ends_with(suffix.m_string); }

  // ---- substrings ----
  // left/right: the first/last N code points (bytes); N past the length
  // gives the whole string. substring(start, count): count clipped to the
  // end. substringRange(start, end): end clipped to the end. A start past
  // the end, or an end before the start, throws CPExceptionOutOfRange.
  CPString left(SizeCodePoints32Struct count) const;
  CPString left(SizeRawBytes32Struct count) const;
  CPString right(SizeCodePoints32Struct count) const;
  CPString right(SizeRawBytes32Struct count) const;
  CPString leftCodePoints(unsigned int count) const { return left(SizeCodePoints32Struct(count)); }
  CPString rightCodePoints(unsigned int count) const { return right(SizeCodePoints32Struct(count)); }
  CPString leftUtf8RawBytes(unsigned int count) const { return left(SizeRawBytes32Struct(count)); }
  CPString rightUtf8RawBytes(unsigned int count) const { return right(SizeRawBytes32Struct(count)); }
  CPString substring(SizeCodePoints32Struct start) const;
  CPString substring(SizeCodePoints32Struct start, SizeCodePoints32Struct count) const;
  CPString substring(SizeRawBytes32Struct start) const;
  CPString substring(SizeRawBytes32Struct start, SizeRawBytes32Struct count) const;
  CPString substringRange(SizeCodePoints32Struct start, SizeCodePoints32Struct end) const;
  CPString substringRange(SizeRawBytes32Struct start, SizeRawBytes32Struct end) const;
  CPString substringRange(const iterator& start, const iterator& end) const;
  CPString substringByCodePoints(unsigned int start, unsigned int count) const {
    return substring(SizeCodePoints32Struct(start), SizeCodePoints32Struct(count));
  }
  CPString substringByUtf8RawBytes(unsigned int start, unsigned int count) const {
    return substring(SizeRawBytes32Struct(start), SizeRawBytes32Struct(count));
  }
  CPString substringRangeByCodePoints(unsigned int start, unsigned int end) const {
    return substringRange(SizeCodePoints32Struct(start), SizeCodePoints32Struct(end));
  }
  CPString substringRangeByUtf8RawBytes(unsigned int start, unsigned int end) const {
    return substringRange(SizeRawBytes32Struct(start), SizeRawBytes32Struct(end));
  }

  // ---- editing (each returns the string itself) ----
  CPString& insert(SizeCodePoints32Struct position, const char* utf8);
  CPString& insert(SizeCodePoints32Struct position, const char* utf8, unsigned int byteCount);
  CPString& insert(SizeCodePoints32Struct position, const CPString& text);
  CPString& insert(SizeRawBytes32Struct position, const char* utf8);
  CPString& insert(SizeRawBytes32Struct position, const char* utf8, unsigned int byteCount);
  CPString& insert(SizeRawBytes32Struct position, const CPString& text);
  CPString& insertAtCodePointsIndex(unsigned int position, const char* utf8) {
    return insert(SizeCodePoints32Struct(position), utf8);
  }
  CPString& insertAtCodePointsIndex(unsigned int position, const char* utf8, unsigned int byteCount) {
    return insert(SizeCodePoints32Struct(position), utf8, byteCount);
  }
  CPString& insertAtCodePointsIndex(unsigned int position, const CPString& text) {
    return insert(SizeCodePoints32Struct(position), text);
  }
  CPString& insertAtUtf8RawBytesIndex(unsigned int position, const char* utf8) {
    return insert(SizeRawBytes32Struct(position), utf8);
  }
  CPString& insertAtUtf8RawBytesIndex(unsigned int position, const char* utf8, unsigned int byteCount) {
    return insert(SizeRawBytes32Struct(position), utf8, byteCount);
  }
  CPString& insertAtUtf8RawBytesIndex(unsigned int position, const CPString& text) {
    return insert(SizeRawBytes32Struct(position), text);
  }

  // Erases `count` code points (bytes) from `position`; without a count (or
  // with npos) to the end. A position or a count reaching past the end throws.
  CPString& erase(SizeCodePoints32Struct position);
  CPString& erase(SizeCodePoints32Struct position, SizeCodePoints32Struct count);
  CPString& erase(SizeRawBytes32Struct position);
  CPString& erase(SizeRawBytes32Struct position, SizeRawBytes32Struct count);
  CPString& erase(const iterator& first, const iterator& last);
  CPString& eraseByCodePoints(unsigned int position, unsigned int count) {
    return erase(SizeCodePoints32Struct(position), SizeCodePoints32Struct(count));
  }
  CPString& eraseByUtf8RawBytes(unsigned int position, unsigned int count) {
    return erase(SizeRawBytes32Struct(position), SizeRawBytes32Struct(count));
  }

  // replace: the first occurrence at or after the start; replaceAll: every
  // occurrence at or after the start (replacements are not searched again).
  // An empty needle changes nothing.
  CPString& replace(char needle, char replacement);
  CPString& replace(char needle, char replacement, SizeCodePoints32Struct start);
  CPString& replace(char needle, char replacement, SizeRawBytes32Struct start);
  CPString& replace(const char* needle, const char* replacement);
  CPString& replace(const char* needle, const char* replacement, SizeCodePoints32Struct start);
  CPString& replace(const char* needle, const char* replacement, SizeRawBytes32Struct start);
  CPString& replace(const CPString& needle, const CPString& replacement);
  CPString& replace(const CPString& needle, const CPString& replacement, SizeCodePoints32Struct start);
  CPString& replace(const CPString& needle, const CPString& replacement, SizeRawBytes32Struct start);
  CPString& replaceAll(char needle, char replacement);
  CPString& replaceAll(char needle, char replacement, SizeCodePoints32Struct start);
  CPString& replaceAll(char needle, char replacement, SizeRawBytes32Struct start);
  CPString& replaceAll(const char* needle, const char* replacement);
  CPString& replaceAll(const char* needle, const char* replacement, SizeCodePoints32Struct start);
  CPString& replaceAll(const char* needle, const char* replacement, SizeRawBytes32Struct start);
  CPString& replaceAll(const CPString& needle, const CPString& replacement);
  CPString& replaceAll(const CPString& needle, const CPString& replacement, SizeCodePoints32Struct start);
  CPString& replaceAll(const CPString& needle, const CPString& replacement, SizeRawBytes32Struct start);

  // Removes every byte equal to `c`.
  CPString& remove(char c);
  // White space is what the space test of the current std::locale's
  // character type facet says of each byte; the ...Ascii... forms use space,
  // tab, line feed, vertical tab, form feed and carriage return.
  CPString& removeAllWhiteSpace();
  // Keeps the first white-space byte of every run of white space and drops
  // the rest of the run; nothing is trimmed at the ends.
  CPString& removeExtraneousWhitespace();
  CPString& removeExtraneousAsciiWhitespace();
  CPString& trim();
  CPString& trimLeft();
  CPString& trimRight();
  // The C library's tolower/toupper applied to each byte.
  CPString& toLower();
  CPString& toUpper();
  // Only A-Z and a-z change.
  CPString& toLowerAscii() noexcept;
  CPString& toUpperAscii() noexcept;
  // Reverses the order of the code points.
  CPString& toReverse();

  // ---- comparison ----
  // compare: byte-wise on the UTF-8 bytes (wide text converted first);
  // -1, 0 or 1.
  int compare(const char* other) const noexcept;
  int compare(const CPString& other) const noexcept { return compareBytes(m_string, other.m_string); }
  int compare(const std::string& other) const noexcept { return compareBytes(m_string, other); }
  int compare(const std::wstring& other) const;
  int compare(const wchar_t* other) const;
  // compareNoCase: length first, deliberately. Strings of different byte
  // lengths order by length alone (-1 when this one is shorter), so "b"
  // orders before "AA". Equal lengths: when both are ASCII, byte by byte
  // after toupper (no widening, no allocation); otherwise code point by code
  // point after toupper, again with the shorter (in code points) first.
  // toupper changes ASCII letters only: "é" and "É" differ (CXString folds
  // more letters with its own table). Never throws for malformed bytes (they
  // are compared as bytes).
  int compareNoCase(const char* other) const noexcept;
  int compareNoCase(const CPString& other) const noexcept {
    return compareNoCaseHelper(m_string.data(), sizeOfUtf8Bytes(), other.m_string.data(), other.sizeOfUtf8Bytes());
  }
  int compareNoCase(const std::string& other) const noexcept {
    return compareNoCaseHelper(m_string.data(), sizeOfUtf8Bytes(), other.data(),
                               static_cast<unsigned int>(other.size()));
  }
  int compareNoCase(const std::wstring& other) const;
  int compareNoCase(const wchar_t* other) const;
  // The same length-first rule on bytes only, each byte upper-cased with
  // toupper and compared as a signed char.
  int compareNoCaseUsingAsciiCharacterSet(const char* other) const noexcept;
  int compareNoCaseUsingAsciiCharacterSet(const CPString& other) const noexcept;
  int compareNoCaseUsingAsciiCharacterSet(const std::string& other) const noexcept;

  static int compareNoCaseHelper(const char* a, unsigned int aLength, const char* b, unsigned int bLength) noexcept;
  // Compares two strings of `length` bytes if both are entirely ASCII and
  // returns true with the result; returns false (result untouched) if
  // either holds a non-ASCII byte.
  static bool compareNoCaseSameLengthStringsIfEntirelyAscii(const char* a, const char* b, unsigned int length,
                                                            int& result) noexcept;
  static int compareNoCaseUsingAsciiCharacterSetHelper(const char* a, unsigned int aLength, const char* b,
                                                       unsigned int bLength) noexcept;
  // The bare byte loop: toupper on each byte, compared as signed chars.
  static int compareNoCaseSameLengthAsciiStrings(const char* a, const char* b, unsigned int length) noexcept;

  friend bool operator==(const CPString& a, const CPString& b) noexcept { return a.m_string == b.m_string; }
  friend bool operator==(const CPString& a, const char* b) noexcept { return a.compare(b) == 0; }
  friend bool operator==(const CPString& a, const std::string& b) noexcept { return a.m_string == b; }
  friend std::strong_ordering operator<=>(const CPString& a, const CPString& b) noexcept { return a.compare(b) <=> 0; }
  friend std::strong_ordering operator<=>(const CPString& a, const char* b) noexcept { return a.compare(b) <=> 0; }
  friend std::strong_ordering operator<=>(const CPString& a, const std::string& b) noexcept {
    return a.compare(b) <=> 0;
  }

  // 32-bit FNV-1a over the bytes up to the first zero byte.
  unsigned int hash() const noexcept;

  // ---- splitting ----
  // Every stretch between delimiters, and the one behind the last, is a
  // token; adjacent delimiters give empty tokens ("a,,b" gives "a", "", "b";
  // "a," gives "a", ""). An empty string has no tokens.
  std::vector<CPString> tokenize(char delimiter) const;
  // Calls `onToken(index, bytes, byteLength)` for each token (the bytes are
  // not terminated) and returns the number of tokens.
  unsigned int tokenize(
      char delimiter,
      const std::function<void(unsigned int index, const char* bytes, unsigned int byteLength)>& onToken) const;
  // Views of the string's own bytes; valid until the string changes.
  std::vector<std::string_view> tokenizeToStringViews(char delimiter) const;
  // Splits at runs of white space (see trim()); no empty tokens.
  std::vector<CPString> tokenizeUsingWhiteSpace() const;

  // ---- diagnostics ----
  // "Length=%d, begin() ptr=0x%p, end() ptr=0x%p, string='%s'" (the length
  // in bytes).
  CPString getLogInternals() const;
  void logInternals(signed char verbosityLevel) const;

 private:
  iterator makeIterator(const char* position) const {
    char* const start = const_cast<char*>(m_string.data());
    return iterator(const_cast<char*>(position), start, start + m_string.size());
  }
  static int compareBytes(const std::string& a, const std::string& b) noexcept {
    const int result = a.compare(b);
    return result < 0 ? -1 : (result > 0 ? 1 : 0);
  }

  // Searches the bytes from `startByte`; returns a std::string index or std::string::npos.
  enum class SearchKind { Find, ReverseFind, FirstOf, FirstNotOf, FirstOfAscii, FirstNotOfAscii };
  static bool isForwardSearch(SearchKind kind) noexcept { return kind != SearchKind::ReverseFind; }
  // Forward searches start at the beginning, backward ones at the end.
  static std::string::size_type defaultSearchStart(SearchKind kind) noexcept {
    return isForwardSearch(kind) ? 0 : std::string::npos;
  }
  // `rawBytes`: the set searches take a malformed byte as a unit of its own
  // instead of throwing (the raw-byte forms).
  std::string::size_type searchWorker(SearchKind kind, const char* needle, std::string::size_type needleLength,
                                      std::string::size_type startByte, bool rawBytes = false) const;
  std::string::size_type searchStartFromCodePoints(SearchKind kind, SizeCodePoints32Struct start) const;
  std::string::size_type searchStartFromRawBytes(SearchKind kind, SizeRawBytes32Struct start) const;
  std::string::size_type searchStartFromIterator(SearchKind kind, const iterator& start) const;
  // The substring of `byteCount` bytes (clipped) from `startByte` (not past the end).
  CPString substringWorker(std::string::size_type startByte, std::string::size_type byteCount) const;
  // Replaces the first (every) occurrence of the needle at or after `startByte`.
  CPString& replaceWorker(const char* needle, std::string::size_type needleLength, const char* replacement,
                          std::string::size_type replacementLength, std::string::size_type startByte);
  CPString& replaceAllWorker(const char* needle, std::string::size_type needleLength, const char* replacement,
                             std::string::size_type replacementLength, std::string::size_type startByte);
  CPString& insertWorker(std::string::size_type byteIndex, const char* bytes, std::string::size_type byteCount);
  // Byte index of a code-point position, throwing in `functionLabel` when it
  // lies past the end.
  std::string::size_type checkedByteIndexOfCodePoint(SizeCodePoints32Struct index, const char* functionLabel) const;
  std::string::size_type checkedByteIndexOfRawByte(SizeRawBytes32Struct index, const char* functionLabel) const;
  std::string::size_type checkedStdStringIndexOfIterator(const iterator& position, const char* functionLabel) const;
  std::string::size_type checkedByteIndexOfByteIterator(byte_iterator position, const char* functionLabel) const;
  SizeCodePoints32Struct codePointIndexOfByteIndex(std::string::size_type byteIndex) const;

  std::string m_string;
};

#undef HDU_CPSTRING_DECLARE_SEARCH_FAMILY

HDU_API CPString operator+(const CPString& a, const CPString& b);
HDU_API CPString operator+(const CPString& a, const char* b);
HDU_API CPString operator+(const char* a, const CPString& b);
HDU_API CPString operator+(CPString&& a, const CPString& b);
HDU_API CPString operator+(CPString&& a, const char* b);

template <>
struct std::hash<CPString> {
  std::size_t operator()(const CPString& text) const noexcept { return text.hash(); }
};
