#include "LowLevelFacilities/MeridianRuntimeConfigurationHost.h"

#include "LowLevelFacilities/LoggingPlatform.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace HaldenConfiguration {

namespace {

std::filesystem::path toPath(const std::string& utf8) {
  return std::filesystem::path(std::u8string(reinterpret_cast<const char8_t*>(utf8.data()), utf8.size()));
}

void removeTrailingSeparators(std::string& path) {
  while (path.size() > 1 && (path.back() == '/' || path.back() == '\\')) {
    path.pop_back();
  }
}

}  // namespace

MeridianRuntimeConfigurationHost::~MeridianRuntimeConfigurationHost() = default;

const char* MeridianRuntimeConfigurationHost::getFallbackUserConfigurationText() noexcept {
  return "[logging.options]\n enable-logging=false";
}

std::string MeridianRuntimeConfigurationHost::getUserConfigurationHomeDirectoryPath() {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  std::string home;
  if (HaldenLogging::LoggingPlatform::getEnvironmentVariable(getHomeDirectoryEnvironmentVariable(), home) &&
      !home.empty()) {
    removeTrailingSeparators(home);
    return home;
  }
  const std::string root = HaldenLogging::LoggingPlatform::sharedDriverRootFolder();
  if (root.empty()) {
    return {};
  }
  return root + HaldenLogging::LoggingPlatform::pathSeparator() + "Debug";
}

std::unique_ptr<std::istream> MeridianRuntimeConfigurationHost::getBuiltInConfigurationAsStream() {
  return std::make_unique<std::istringstream>(RuntimeConfiguration::getBuiltInConfigurationText());
}

std::string MeridianRuntimeConfigurationHost::getUserConfigurationFilePath(const std::string& homeDirectory) {
  return homeDirectory + HaldenLogging::LoggingPlatform::pathSeparator() + getUserConfigurationFileName();
}

std::string MeridianRuntimeConfigurationHost::getUserConfigurationSourceName(const std::string& homeDirectory) {
  return getUserConfigurationFilePath(homeDirectory);
}

std::unique_ptr<std::istream> MeridianRuntimeConfigurationHost::getUserConfigurationAsStream(
    const std::string& homeDirectory) {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  if (homeDirectory.empty()) {
    return nullptr;
  }
  const std::filesystem::path path = toPath(getUserConfigurationFilePath(homeDirectory));
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (error || !std::filesystem::exists(status)) {
    return nullptr;
  }
  if (std::filesystem::is_regular_file(status)) {
    auto file = std::make_unique<std::ifstream>(path, std::ios::binary);
    if (file->is_open()) {
      return file;
    }
  }
  return std::make_unique<std::istringstream>(getFallbackUserConfigurationText());
}

}  // namespace HaldenConfiguration
