// A writer process for the Logger tests: waits until a start file exists,
// then logs numbered lines through the process's Logger.
//   LoggerWriter ROOT APP_NAME FILE_NAME COUNT START_FILE
// Each line is "<APP_NAME> line <n>" for n from 0 to COUNT - 1. Just before
// the first line it creates START_FILE.APP_NAME.ready, so that a test knows it
// is about to write.
#include "LowLevelFacilities/Logger.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "usage: LoggerWriter ROOT APP_NAME FILE_NAME COUNT START_FILE\n");
    return 2;
  }
  const CXString root = CXString::fromUtf8(argv[1]);
  const std::string appName = argv[2];
  const int count = std::atoi(argv[4]);
  const std::filesystem::path startFile = argv[5];

  Logger& logger =
      Logger::InitializeAndGetInstance(CXString::fromUtf8(appName), CXString::fromUtf8(argv[3]), root, true);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!std::filesystem::exists(startFile)) {
    if (std::chrono::steady_clock::now() > deadline) {
      std::fprintf(stderr, "LoggerWriter: no start file\n");
      return 3;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  std::ofstream(startFile.string() + "." + appName + ".ready") << "ready\n";
  for (int n = 0; n < count; ++n) {
    logger.LogMessage(CXString::fromUtf8(appName + " line " + std::to_string(n)));
  }
  return 0;
}
