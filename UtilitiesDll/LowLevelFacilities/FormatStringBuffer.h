#pragma once
// InternalHaldenCP::FormatStringBuffer<N>: the text buffer every message is
// formatted into. It keeps up to N-1 characters (plus the terminator) in its
// own inline space, so short messages are built without touching the heap;
// when the inline space is full its content moves into a growable std::string
// and formatting goes on there. Text is never cut.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace InternalHaldenCP {

template <unsigned N>
class FormatStringBuffer {
  static_assert(N >= 2, "the inline space must hold at least one character and the terminator");

 public:
  FormatStringBuffer() noexcept { m_inline[0] = '\0'; }

  FormatStringBuffer(const FormatStringBuffer& other) : m_length(other.m_length), m_spilled(other.m_spilled) {
    if (!m_spilled) {
      std::memcpy(m_inline, other.m_inline, m_length + 1);
    } else {
      m_text = other.m_text;
      m_inline[0] = '\0';
    }
  }
  FormatStringBuffer& operator=(const FormatStringBuffer& other) {
    if (this != &other) {
      clear();
      append(other.data(), other.size());
    }
    return *this;
  }

  void append(const char* text, std::size_t length) {
    if (length == 0) {
      return;
    }
    if (!m_spilled) {
      if (m_length + length < N) {
        std::memcpy(m_inline + m_length, text, length);
        m_length += static_cast<std::uint32_t>(length);
        m_inline[m_length] = '\0';
        return;
      }
      spill(length);
    }
    m_text.append(text, length);
  }
  void append(std::string_view text) { append(text.data(), text.size()); }
  void append(const char* text) {
    if (text != nullptr) {
      append(text, std::strlen(text));
    }
  }
  void push_back(char c) { append(&c, 1); }
  void appendRepeated(char c, std::size_t count) {
    if (!m_spilled && m_length + count < N) {
      std::memset(m_inline + m_length, c, count);
      m_length += static_cast<std::uint32_t>(count);
      m_inline[m_length] = '\0';
      return;
    }
    if (!m_spilled) {
      spill(count);
    }
    m_text.append(count, c);
  }

  const char* c_str() const noexcept { return m_spilled ? m_text.c_str() : m_inline; }
  const char* data() const noexcept { return c_str(); }
  std::size_t size() const noexcept { return m_spilled ? m_text.size() : m_length; }
  bool empty() const noexcept { return size() == 0; }
  std::string_view view() const noexcept { return {data(), size()}; }
  // True while the text still fits the inline space (no heap memory in use).
  bool isUsingInlineStorage() const noexcept { return !m_spilled; }
  static constexpr unsigned inlineCapacity() noexcept { return N - 1; }

  std::string toStdString() const { return std::string(data(), size()); }
  // Moves the text out; the buffer is empty afterwards.
  std::string takeStdString() {
    std::string result = m_spilled ? std::move(m_text) : std::string(m_inline, m_length);
    clear();
    return result;
  }

  void clear() noexcept {
    m_spilled = false;
    m_text.clear();
    m_length = 0;
    m_inline[0] = '\0';
  }

 private:
  void spill(std::size_t additional) {
    m_text.reserve(m_length + additional + N);
    m_text.assign(m_inline, m_length);
    m_spilled = true;
  }

  char m_inline[N];
  std::uint32_t m_length = 0;
  bool m_spilled = false;
  std::string m_text;
};

using DefaultFormatStringBuffer = FormatStringBuffer<1024>;

}  // namespace InternalHaldenCP
