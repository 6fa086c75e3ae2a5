#include "PrintableText.h"

#include <cstdint>
#include <cstdio>

namespace hdutil {

namespace {

constexpr std::uint32_t kInvalid = 0xFFFFFFFFu;

// Decodes the well-formed UTF-8 sequence at `at`; returns its code point and
// sets `length`, or returns kInvalid (length 1) when the byte there does not
// begin one.
std::uint32_t decodeAt(std::string_view text, std::size_t at, std::size_t& length) {
  length = 1;
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byte(at);
  if (lead < 0x80) {
    return lead;
  }
  std::size_t count = 0;
  std::uint32_t code = 0;
  std::uint32_t minimum = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    count = 1;
    code = lead & 0x1Fu;
    minimum = 0x80;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    count = 2;
    code = lead & 0x0Fu;
    minimum = 0x800;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    count = 3;
    code = lead & 0x07u;
    minimum = 0x10000;
  } else {
    return kInvalid;
  }
  if (text.size() - at <= count) {
    return kInvalid;
  }
  for (std::size_t i = 1; i <= count; ++i) {
    const unsigned next = byte(at + i);
    if ((next & 0xC0u) != 0x80u) {
      return kInvalid;
    }
    code = (code << 6) | (next & 0x3Fu);
  }
  if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
    return kInvalid;
  }
  length = count + 1;
  return code;
}

// Characters that are valid but must not reach a terminal or a log line as
// they are.
bool isHiddenControl(std::uint32_t code) {
  return (code >= 0x80 && code <= 0x9F) || code == 0x2028 || code == 0x2029 || (code >= 0x202A && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

void appendEscape(std::string& out, const char* format, unsigned value) {
  char escape[16];
  std::snprintf(escape, sizeof(escape), format, value);
  out += escape;
}

}  // namespace

std::string printableText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t length = 1;
    const std::uint32_t code = decodeAt(text, at, length);
    if (code == kInvalid) {
      appendEscape(out, "\\x%02X", static_cast<unsigned char>(text[at]));
    } else if (code == '\n') {
      out += "\\n";
    } else if (code == '\r') {
      out += "\\r";
    } else if (code == '\t') {
      out += "\\t";
    } else if (code < 0x20 || code == 0x7F) {
      appendEscape(out, "\\x%02X", code);
    } else if (isHiddenControl(code)) {
      appendEscape(out, "\\u%04X", code);
    } else {
      out.append(text.substr(at, length));
    }
    at += length;
  }
  return out;
}

std::string printableLine(std::string_view message) {
  while (!message.empty() && (message.back() == '\n' || message.back() == '\r')) {
    message.remove_suffix(1);
  }
  return printableText(message);
}

std::string validUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t length = 1;
    if (decodeAt(text, at, length) == kInvalid) {
      out += "\xEF\xBF\xBD";
    } else {
      out.append(text.substr(at, length));
    }
    at += length;
  }
  return out;
}

std::size_t utf8SequenceLength(std::string_view text, std::size_t at) {
  std::size_t length = 1;
  return at < text.size() && decodeAt(text, at, length) != kInvalid ? length : 0;
}

bool isValidUtf8(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t length = 1;
    if (decodeAt(text, at, length) == kInvalid) {
      return false;
    }
    at += length;
  }
  return true;
}

}  // namespace hdutil
