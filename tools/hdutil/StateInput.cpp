#include "StateInput.h"

#include "PrintableText.h"

#include "LowLevelFacilities/CXString.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

namespace hdutil {

namespace {

constexpr std::size_t kReadChunk = std::size_t{64} * 1024;

std::string limitText(std::size_t limit) {
  constexpr std::size_t kMiB = std::size_t{1024} * 1024;
  return limit % kMiB == 0 ? std::to_string(limit / kMiB) + " MiB" : std::to_string(limit) + " bytes";
}

[[noreturn]] void throwTooLarge(const std::string& name, std::size_t limit) {
  throw InputError(name + " is larger than hdutil's limit of " + limitText(limit));
}

struct FileCloser {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

// Reads the stream to its end, but never more than `limit` + 1 bytes: one
// byte beyond the limit is enough to refuse. A regular file of known size is
// read in one call into a buffer of that size; one more byte is asked for to
// see that it has not grown. Streams are read in chunks.
ByteBuffer readStream(std::FILE* stream, const std::string& name, std::size_t limit, std::size_t expectedSize) {
  const auto failed = [&]() { return InputError("cannot read " + name + ": " + std::strerror(errno)); };
  ByteBuffer content;
  if (expectedSize > 0) {
    content.resize(std::min(expectedSize, limit));
    const std::size_t got = std::fread(content.data(), 1, content.size(), stream);
    const bool complete = got == content.size();
    content.resize(got);
    if (!complete) {
      if (std::ferror(stream) != 0) {
        throw failed();
      }
      return content;
    }
    unsigned char next = 0;
    if (std::fread(&next, 1, 1, stream) != 1) {
      if (std::ferror(stream) != 0) {
        throw failed();
      }
      return content;
    }
    content.push_back(next);
  }
  for (;;) {
    const std::size_t used = content.size();
    if (used > limit) {
      throwTooLarge(name, limit);
    }
    const std::size_t wanted = std::min(kReadChunk, limit + 1 - used);
    if (used + wanted > content.capacity()) {
      // Doubling, but once a doubling would reach the limit, straight to the
      // most the limit lets through: the buffer is never reallocated at the
      // limit itself.
      const std::size_t doubled = std::max(2 * content.capacity(), used + wanted);
      content.reserve(doubled >= limit ? limit + 1 : doubled);
    }
    content.resize(used + wanted);
    const std::size_t got = std::fread(content.data() + used, 1, wanted, stream);
    content.resize(used + got);
    if (got < wanted) {
      if (std::ferror(stream) != 0) {
        throw failed();
      }
      if (content.size() > limit) {
        throwTooLarge(name, limit);
      }
      return content;
    }
  }
}

bool isHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

unsigned hexValue(char c) {
  if (c <= '9') {
    return static_cast<unsigned>(c - '0');
  }
  return static_cast<unsigned>((c | 0x20) - 'a' + 10);
}

bool isSeparator(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ',' || c == ':' || c == '-';
}

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

// Registry exports of regedit are UTF-16LE with a byte-order mark.
std::string utf16LittleEndianToUtf8(std::string_view bytes) {
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units.push_back(
        static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | (static_cast<unsigned char>(bytes[i + 1]) << 8)));
  }
  return CXString(std::move(units)).toUtf8();
}

bool looksLikeText(std::string_view content) {
  return std::none_of(content.begin(), content.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 && c != '\r' && c != '\n' && c != '\t';
  });
}

// The next physical line from `position`, without its line end and trailing
// blanks; `position` moves behind it.
std::string_view nextLine(std::string_view text, std::size_t& position) {
  std::size_t end = text.find('\n', position);
  if (end == std::string_view::npos) {
    end = text.size();
  }
  std::string_view line = text.substr(position, end - position);
  position = end + 1;
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t')) {
    line.remove_suffix(1);
  }
  return line;
}

// A value line: "Name"=DATA (regedit escapes '"' and '\' in names with a
// backslash) or @=DATA for the key's default value.
bool parseValueLine(std::string_view line, std::string& name, std::string_view& data) {
  name.clear();
  std::size_t i = 0;
  if (startsWith(line, "@=")) {
    name.push_back('@');  // (an assignment here trips g++ 12's -O3 -Wrestrict false alarm)
    i = 1;
  } else if (startsWith(line, "\"")) {
    for (i = 1; i < line.size() && line[i] != '"'; ++i) {
      if (line[i] == '\\' && i + 1 < line.size()) {
        ++i;
      }
      name.push_back(line[i]);
    }
    if (i + 1 >= line.size() || line[i + 1] != '=') {
      return false;
    }
    ++i;
  } else {
    return false;
  }
  data = line.substr(i + 1);
  return true;
}

std::string displayName(const std::string& name) {
  return name == "@" ? name : "\"" + name + "\"";
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

ByteBuffer readInput(const std::string& path, std::size_t limit) {
  if (path == "-") {
    return readStream(stdin, "standard input", limit, 0);
  }
  const std::string name = "'" + path + "'";
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (std::filesystem::is_directory(status)) {
    throw InputError(name + " is a directory");
  }
  std::size_t expectedSize = 0;
  if (std::filesystem::is_regular_file(status)) {
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (!error && size > limit) {
      throwTooLarge(name, limit);
    }
    expectedSize = error ? 0 : static_cast<std::size_t>(size);
  }
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    throw InputError("cannot open " + name + ": " + std::strerror(errno));
  }
  return readStream(file.get(), name, limit, expectedSize);
}

RegistryExportValue findRegistryValue(std::string_view text, std::string_view valueName) {
  RegistryExportValue result;
  // regedit writes its header as the first line.
  const std::size_t firstText = text.find_first_not_of(" \t\r\n");
  if (firstText != std::string_view::npos) {
    const std::string_view start = text.substr(firstText);
    result.isRegistryExport = startsWith(start, "Windows Registry Editor") || startsWith(start, "REGEDIT");
  }
  // Every value line holds a '=', which hex data lines never do: the scan
  // jumps from one '=' to the next, looks back to the start of its line (never
  // before `position`, the start of a line not yet looked at) and then goes on
  // behind that line. Each line is looked at once at most.
  std::string name;
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t equals = text.find('=', position);
    if (equals == std::string_view::npos) {
      break;
    }
    const std::size_t newlineBefore = text.rfind('\n', equals);
    if (newlineBefore != std::string_view::npos && newlineBefore >= position) {
      position = newlineBefore + 1;
    }
    const std::string_view line = nextLine(text, position);
    std::string_view data;
    if (!parseValueLine(line, name, data)) {
      continue;
    }
    result.isRegistryExport = true;
    const bool named = !valueName.empty() && name == valueName;
    std::size_t hexStart = 0;
    if (startsWith(data, "hex:")) {
      hexStart = 4;
    } else if (startsWith(data, "hex(3):")) {
      hexStart = 7;
    } else {
      result.namedValueIsNotBinary = result.namedValueIsNotBinary || named;
      continue;
    }
    if (!valueName.empty() && !named) {
      continue;
    }
    // The value's data, with its continuation lines (a line ending in '\').
    std::string hexData(data.substr(hexStart));
    while (!hexData.empty() && hexData.back() == '\\' && position < text.size()) {
      hexData.pop_back();
      hexData += nextLine(text, position);
    }
    if (!hexData.empty() && hexData.back() == '\\') {
      hexData.pop_back();
    }
    result.found = true;
    result.name = std::move(name);
    result.hexData = std::move(hexData);
    return result;
  }
  return result;
}

ByteBuffer decodeHexText(std::string_view text, const std::string& what) {
  ByteBuffer bytes;
  bytes.reserve(text.size() / 2);
  std::size_t digits = 0;
  unsigned high = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (isHexDigit(c)) {
      if (digits % 2 == 0) {
        high = hexValue(c);
      } else {
        bytes.push_back(static_cast<unsigned char>((high << 4) | hexValue(c)));
      }
      ++digits;
    } else if (!isSeparator(c)) {
      // The whole character when it is UTF-8, not one byte of it.
      const std::size_t length = std::max<std::size_t>(utf8SequenceLength(text, i), 1);
      throw InputError(what + ": unexpected character '" + std::string(text.substr(i, length)) + "' at offset " +
                       std::to_string(i));
    }
  }
  if (digits % 2 != 0) {
    throw InputError(what + ": an odd number of hex digits (" + std::to_string(digits) + ")");
  }
  return bytes;
}

StateInput decodeStateInput(ByteBuffer&& content, const std::string& valueName) {
  StateInput input;
  std::string converted;
  std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
  if (startsWith(text, "\xFF\xFE")) {
    converted = utf16LittleEndianToUtf8(text.substr(2));
    text = converted;
  } else if (startsWith(text, "\xEF\xBB\xBF")) {
    text.remove_prefix(3);
  }
  if (text.empty() || !looksLikeText(text)) {
    input.bytes = std::move(content);
    input.form = InputForm::RawBinary;
    input.description = "raw binary";
    return input;
  }

  const RegistryExportValue value = findRegistryValue(text, valueName);
  if (value.found) {
    input.description = "registry value " + displayName(value.name);
    input.bytes = decodeHexText(value.hexData, input.description);
    input.form = InputForm::RegistryExport;
    return input;
  }
  if (!valueName.empty()) {
    if (value.namedValueIsNotBinary) {
      throw InputError("registry value " + displayName(valueName) + " is not a binary (hex:) value");
    }
    throw InputError("no binary registry value named \"" + valueName + "\" in the input");
  }
  if (value.isRegistryExport) {
    throw InputError("the registry export holds no binary (hex:) value");
  }
  input.bytes = decodeHexText(text, "hex text");
  input.form = InputForm::HexText;
  input.description = "hex text";
  return input;
}

}  // namespace hdutil
