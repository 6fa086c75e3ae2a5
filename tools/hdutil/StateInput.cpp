#include "StateInput.h"

#include "LowLevelFacilities/CXString.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace hdutil {

namespace {

bool isHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isSeparator(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ',' || c == ':' || c == '-';
}

// Decodes hex digits, skipping separators; anything else is an error.
ByteBuffer decodeHex(const std::string& text, const std::string& what) {
  std::string digits;
  digits.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (isHexDigit(c)) {
      digits.push_back(c);
    } else if (!isSeparator(c)) {
      throw InputError(what + ": unexpected character '" + std::string(1, c) + "' at offset " + std::to_string(i));
    }
  }
  if (digits.size() % 2 != 0) {
    throw InputError(what + ": an odd number of hex digits (" + std::to_string(digits.size()) + ")");
  }
  ByteBuffer bytes;
  if (!ByteBuffer::ConvertHexBinaryStringToByteBuffer(CXString::fromUtf8(digits), bytes, true)) {
    throw InputError(what + ": not hex text");
  }
  return bytes;
}

// Registry exports of regedit are UTF-16LE with a byte-order mark.
std::string toUtf8IfUtf16(const std::string& content) {
  if (content.size() >= 2 && static_cast<unsigned char>(content[0]) == 0xFF &&
      static_cast<unsigned char>(content[1]) == 0xFE) {
    std::u16string units;
    for (std::size_t i = 2; i + 1 < content.size(); i += 2) {
      units.push_back(static_cast<char16_t>(static_cast<unsigned char>(content[i]) |
                                            (static_cast<unsigned char>(content[i + 1]) << 8)));
    }
    return CXString(std::move(units)).toUtf8();
  }
  if (content.size() >= 3 && content.compare(0, 3, "\xEF\xBB\xBF") == 0) {
    return content.substr(3);
  }
  return content;
}

bool looksLikeText(const std::string& content) {
  for (const char c : content) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 && c != '\r' && c != '\n' && c != '\t') {
      return false;
    }
  }
  return true;
}

// The hex data of one registry value: from behind "hex:" (or "hex(3):") to the
// end of the logical line, continuation lines ending in "\" included.
std::string registryHexData(const std::string& text, std::size_t hexStart) {
  std::string data;
  std::size_t position = hexStart;
  while (position < text.size()) {
    std::size_t end = text.find('\n', position);
    if (end == std::string::npos) {
      end = text.size();
    }
    std::string line = text.substr(position, end - position);
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t')) {
      line.pop_back();
    }
    const bool continues = !line.empty() && line.back() == '\\';
    if (continues) {
      line.pop_back();
    }
    data += line;
    position = end + 1;
    if (!continues) {
      break;
    }
  }
  return data;
}

}  // namespace

const char* inputFormName(InputForm form) {
  switch (form) {
    case InputForm::RawBinary:
      return "raw binary";
    case InputForm::HexText:
      return "hex text";
    case InputForm::RegistryExport:
      return "registry export";
  }
  return "?";
}

std::string readWholeFile(const std::string& path) {
  if (path == "-") {
    return std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw InputError("cannot open '" + path + "'");
  }
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

StateInput decodeStateInput(const std::string& rawContent, const std::string& valueName) {
  StateInput input;
  const std::string text = toUtf8IfUtf16(rawContent);
  if (!looksLikeText(text) || text.empty()) {
    input.bytes.assign(rawContent.begin(), rawContent.end());
    input.form = InputForm::RawBinary;
    input.description = "raw binary";
    return input;
  }

  // A registry export: find the value's line.
  std::size_t search = 0;
  while ((search = text.find("=hex", search)) != std::string::npos) {
    const std::size_t lineStart = text.rfind('\n', search) == std::string::npos ? 0 : text.rfind('\n', search) + 1;
    const std::size_t colon = text.find(':', search);
    const std::string name = text.substr(lineStart, search - lineStart);
    const bool binaryKind = colon != std::string::npos &&
                            (text.compare(search, 5, "=hex:") == 0 || text.compare(search, 8, "=hex(3):") == 0);
    std::string unquoted = name;
    if (unquoted.size() >= 2 && unquoted.front() == '"' && unquoted.back() == '"') {
      unquoted = unquoted.substr(1, unquoted.size() - 2);
    }
    if (binaryKind && (valueName.empty() || unquoted == valueName || (valueName == "@" && name == "@"))) {
      input.bytes = decodeHex(registryHexData(text, colon + 1), "registry value " + name);
      input.form = InputForm::RegistryExport;
      input.description = "registry value " + name;
      return input;
    }
    search += 4;
  }
  if (!valueName.empty()) {
    throw InputError("no binary registry value named \"" + valueName + "\" in the input");
  }
  if (text.find("=hex") != std::string::npos || text.find("REGEDIT") != std::string::npos ||
      text.find("Windows Registry Editor") != std::string::npos) {
    throw InputError("the registry export holds no binary (hex:) value");
  }
  input.bytes = decodeHex(text, "hex text");
  input.form = InputForm::HexText;
  input.description = "hex text";
  return input;
}

}  // namespace hdutil
