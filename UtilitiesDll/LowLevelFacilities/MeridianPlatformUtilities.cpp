#include "LowLevelFacilities/MeridianPlatformUtilities.h"

#include "LowLevelFacilities/PlatformFacilities.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

MeridianPlatformUtilities::~MeridianPlatformUtilities() = default;

std::string MeridianPlatformUtilities::getComputerNameForLowLevelUtilities() {
  return PlatformFacilities::computerName();
}

void MeridianPlatformUtilities::displayDebugMessageForLowLevelUtilities(const char* title, const char* text) const {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  try {
    std::string message = title != nullptr ? title : "";
    message += '\n';
    message += text != nullptr ? text : "";
    if (message.empty() || message.back() != '\n') {
      message += '\n';
    }
    std::size_t start = 0;
    while (start < message.size()) {
      std::size_t length = std::min<std::size_t>(kMaximumDebuggerChannelPiece, message.size() - start);
      if (start + length < message.size()) {
        // Prefer to cut after a line break in the last quarter of the piece.
        const std::size_t lineBreak = message.rfind('\n', start + length - 1);
        if (lineBreak != std::string::npos && lineBreak >= start + length * 3 / 4) {
          length = lineBreak + 1 - start;
        }
      }
      const std::string piece = message.substr(start, length);
      PlatformFacilities::writeToDebuggerChannel(piece.c_str());
      start += length;
    }
  } catch (...) {
    // No memory for the copy: write the parts as they are.
    PlatformFacilities::writeToDebuggerChannel(title);
    PlatformFacilities::writeToDebuggerChannel("\n");
    PlatformFacilities::writeToDebuggerChannel(text);
    PlatformFacilities::writeToDebuggerChannel("\n");
  }
}

CXString MeridianPlatformUtilities::GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(
    const CXString& locationHint) {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  if (locationHint.empty()) {
    return {};
  }
  std::error_code error;
  const std::filesystem::path path(locationHint.u16string());
  if (!std::filesystem::is_regular_file(path, error) || error) {
    return {};
  }
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error || size > kMaximumConfigurationFileBytes) {
    return {};
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return {};
  }
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
      static_cast<unsigned char>(bytes[1]) == 0xFE) {
    std::u16string units;
    units.reserve((bytes.size() - 2) / 2);
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
      units.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                            (static_cast<unsigned char>(bytes[i + 1]) << 8)));
    }
    return CXString(std::move(units));
  }
  const std::size_t skip = (bytes.size() >= 3 && std::memcmp(bytes.data(), "\xEF\xBB\xBF", 3) == 0) ? 3 : 0;
  return CXString::fromUtf8Lenient(std::string_view(bytes).substr(skip));
}
