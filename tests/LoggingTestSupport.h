#pragma once
// Helpers of the logging tests: temporary folders, file contents, the
// environment, configurations built from text for a chosen process context.

#include "LowLevelFacilities/LoggingConfiguration.h"
#include "LowLevelFacilities/LoggingConfigurationReportSink.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace loggingtest {

inline void setEnvironmentVariable(const char* name, const std::string& value) {
#ifdef _WIN32
  _putenv_s(name, value.c_str());
#else
  ::setenv(name, value.c_str(), 1);
#endif
}

inline void unsetEnvironmentVariable(const char* name) {
#ifdef _WIN32
  _putenv_s(name, "");
#else
  ::unsetenv(name);
#endif
}

// A fresh, empty folder under the temporary directory.
inline std::filesystem::path makeTemporaryFolder(const std::string& name) {
  static unsigned s_counter = 0;
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() /
      ("hdu-log-" + name + "-" + std::to_string(PlatformFacilities::currentProcessId()) + "-" +
       std::to_string(++s_counter));
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  std::filesystem::create_directories(folder);
  return folder;
}

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// UTF-8 text of a path, as the configuration wants it.
inline std::string pathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

inline std::filesystem::path pathFromText(const std::string& text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

// TOML basic-string form of a path (backslashes doubled).
inline std::string tomlPath(const std::filesystem::path& path) {
  std::string result;
  for (const char c : pathText(path)) {
    result += c;
    if (c == '\\') {
      result += '\\';
    }
  }
  return result;
}

inline HaldenConfiguration::LoggingSelectionContext selection(const std::string& process = "spoolsv.exe",
                                                              const std::string& build = "release",
                                                              const std::string& platform = "windows",
                                                              bool warmup = false, bool unitTests = false) {
  HaldenConfiguration::LoggingSelectionContext context;
  context.processName = process;
  context.build = build;
  context.platform = platform;
  context.warmupMode = warmup;
  context.unitTests = unitTests;
  return context;
}

// Factory defaults for the context, then each text in turn.
inline HaldenConfiguration::LoggingConfiguration configurationFrom(
    std::initializer_list<std::string> texts, HaldenConfiguration::ILoggingConfigurationReportSink& sink,
    const HaldenConfiguration::LoggingSelectionContext& context = selection()) {
  HaldenConfiguration::LoggingConfiguration configuration(context);
  int number = 0;
  for (const std::string& text : texts) {
    configuration.applyLoggingConfigurationFromText(text, "source " + std::to_string(++number), sink);
  }
  return configuration;
}

}  // namespace loggingtest
