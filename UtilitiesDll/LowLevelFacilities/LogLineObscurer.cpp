#include "LowLevelFacilities/LogLineObscurer.h"

#include <cstdint>

namespace HaldenLogging {

namespace {

const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const std::uint32_t kSeed = 0x484C444Eu;

class KeyStream {
 public:
  unsigned char next() noexcept {
    m_state ^= m_state << 13;
    m_state ^= m_state >> 17;
    m_state ^= m_state << 5;
    return static_cast<unsigned char>(m_state & 0xFFu);
  }

 private:
  std::uint32_t m_state = kSeed;
};

int alphabetIndex(char c) noexcept {
  if (c >= 'A' && c <= 'Z') {
    return c - 'A';
  }
  if (c >= 'a' && c <= 'z') {
    return c - 'a' + 26;
  }
  if (c >= '0' && c <= '9') {
    return c - '0' + 52;
  }
  if (c == '+') {
    return 62;
  }
  if (c == '/') {
    return 63;
  }
  return -1;
}

}  // namespace

void LogLineObscurer::obscure(std::string_view text, std::string& out) {
  KeyStream key;
  out.reserve(out.size() + 1 + (text.size() + 2) / 3 * 4);
  out += '~';
  std::size_t i = 0;
  while (i < text.size()) {
    std::uint32_t group = 0;
    const std::size_t count = text.size() - i < 3 ? text.size() - i : 3;
    for (std::size_t k = 0; k < 3; ++k) {
      group <<= 8;
      if (k < count) {
        group |= static_cast<unsigned char>(static_cast<unsigned char>(text[i + k]) ^ key.next());
      }
    }
    out += kAlphabet[(group >> 18) & 63];
    out += kAlphabet[(group >> 12) & 63];
    out += count > 1 ? kAlphabet[(group >> 6) & 63] : '=';
    out += count > 2 ? kAlphabet[group & 63] : '=';
    i += count;
  }
}

std::string LogLineObscurer::obscure(std::string_view text) {
  std::string out;
  obscure(text, out);
  return out;
}

bool LogLineObscurer::reveal(std::string_view obscured, std::string& out) {
  if (obscured.empty() || obscured[0] != '~' || (obscured.size() - 1) % 4 != 0) {
    return false;
  }
  std::string bytes;
  bytes.reserve((obscured.size() - 1) / 4 * 3);
  for (std::size_t i = 1; i < obscured.size(); i += 4) {
    std::uint32_t group = 0;
    int padding = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      const char c = obscured[i + k];
      int value = 0;
      if (c == '=') {
        // Padding only at the end of the last group, and at most two.
        if (i + 4 != obscured.size() || k < 2) {
          return false;
        }
        ++padding;
      } else {
        if (padding != 0) {
          return false;
        }
        value = alphabetIndex(c);
        if (value < 0) {
          return false;
        }
      }
      group = (group << 6) | static_cast<std::uint32_t>(value);
    }
    bytes += static_cast<char>((group >> 16) & 0xFF);
    if (padding < 2) {
      bytes += static_cast<char>((group >> 8) & 0xFF);
    }
    if (padding < 1) {
      bytes += static_cast<char>(group & 0xFF);
    }
  }
  KeyStream key;
  for (char& c : bytes) {
    c = static_cast<char>(static_cast<unsigned char>(c) ^ key.next());
  }
  out = std::move(bytes);
  return true;
}

}  // namespace HaldenLogging
