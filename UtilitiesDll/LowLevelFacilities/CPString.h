#pragma once
// CPString: the library's string. One std::string of UTF-8 bytes inside,
// addressed either in whole code points (SizeCodePoints32Struct) or in raw
// bytes (SizeRawBytes32Struct). Wide (UTF-16) input is converted on entry.

#include "LowLevelFacilities/FormatStringBuffer.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/StrictlyTypedIntegral.h"
#include "hdUtilitiesExport.h"

#include <string>
#include <utility>

class HDU_API CPString {
 public:
  static constexpr SizeCodePoints32Struct npos{0xFFFFFFFFu};
  static constexpr SizeRawBytes32Struct nposRawBytes{0xFFFFFFFFu};

  // ---- construction and assignment ----
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
  CPString& operator=(const CPString&) = default;
  CPString& operator=(CPString&&) noexcept = default;
  CPString& operator=(const char* utf8);
  CPString& operator=(const std::string& utf8);
  CPString& operator=(std::string&& utf8) noexcept;
  CPString& operator=(const wchar_t* wide);
  CPString& operator=(const std::wstring& wide);

  void swap(CPString& other) noexcept { m_string.swap(other.m_string); }
  void swap(std::string& other) noexcept { m_string.swap(other); }

  // Printf-style formatting into a new string (see Formatter.h).
  template <class... Args>
  static CPString format(const char* formatText, const Args&... args) {
    return CPString(InternalHaldenCP::formatToStdString(formatText, args...));
  }

  // ---- size and access ----
  bool isEmpty() const noexcept { return m_string.empty(); }
  explicit operator bool() const noexcept { return !m_string.empty(); }
  unsigned int sizeOfUtf8Bytes() const noexcept { return static_cast<unsigned int>(m_string.size()); }
  SizeRawBytes32Struct sizeOfUtf8RawBytes() const noexcept {
    return SizeRawBytes32Struct(static_cast<unsigned int>(m_string.size()));
  }
  const char* utf8Bytes() const noexcept { return m_string.c_str(); }
  const char* utf8RawBytes() const noexcept { return m_string.c_str(); }
  const std::string& utf8StdString() const noexcept { return m_string; }

  // Appends the string's bytes to a format buffer (how a CPString argument
  // enters the formatter).
  void pushBackUtf8BytesIntoBuffer(InternalHaldenCP::FormatStringBuffer<1024>& buffer) const {
    buffer.append(m_string.data(), m_string.size());
  }

  friend bool operator==(const CPString& a, const CPString& b) noexcept { return a.m_string == b.m_string; }

 private:
  std::string m_string;
};
