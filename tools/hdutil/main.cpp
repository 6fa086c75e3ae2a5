// hdutil: the driver engineer's command-line companion to hd-Utilities.
//
//   hdutil platform        facts about this machine as the library sees them
//   hdutil error CODE      the system's message text for an error code

#include "LowLevelFacilities/PlatformFacilities.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const char* const kUsage =
    "Usage: hdutil [COMMAND] [ARGS]\n"
    "\n"
    "Commands:\n"
    "  platform     show what the library knows about this process and machine (default)\n"
    "  error CODE   show the system's message text for an error code (decimal or 0x hex)\n"
    "\n"
    "Options:\n"
    "  -h, --help   show this help and exit\n";

int showPlatform() {
  namespace pf = PlatformFacilities;
  const pf::LocalTime now = pf::localTimeNow();
  const pf::HighResolutionClockReading clock = pf::readHighResolutionClock();
  std::printf("computer name     : %s\n", pf::computerName().c_str());
  std::printf("process           : %s (id %u)\n", pf::processName().c_str(), pf::currentProcessId());
  std::printf("process image     : %s\n", pf::processImagePath().c_str());
  std::printf("thread id         : %u\n", pf::currentThreadId());
  std::printf("library image     : %s\n", pf::ownModulePath().c_str());
  std::printf("local time        : %04d-%02d-%02d %02d:%02d:%02d.%03d\n", now.year, now.month, now.day, now.hour,
              now.minute, now.second, now.millisecond);
  std::printf("clock             : %s, %llu ticks per second\n",
              pf::isPerformanceCounterClockInUse() ? "high-resolution counter" : "tick clock",
              static_cast<unsigned long long>(clock.ticksPerSecond));
  std::printf("error 2 means     : %s\n", pf::systemMessageText(2).c_str());
  return 0;
}

int showError(const char* argument) {
  char* end = nullptr;
  const unsigned long code = std::strtoul(argument, &end, 0);
  if (end == argument || *end != '\0') {
    std::fprintf(stderr, "hdutil error: '%s' is not a number\n", argument);
    return 2;
  }
  const std::string text = PlatformFacilities::systemMessageText(static_cast<std::uint32_t>(code));
  std::printf("%lu (0x%lx): %s\n", code, code, text.empty() ? "Unknown value" : text.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 2 && (std::strcmp(argv[1], "-h") == 0 || std::strcmp(argv[1], "--help") == 0)) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (argc < 2 || std::strcmp(argv[1], "platform") == 0) {
    return showPlatform();
  }
  if (std::strcmp(argv[1], "error") == 0 && argc == 3) {
    return showError(argv[2]);
  }
  std::fputs(kUsage, stderr);
  return 2;
}
