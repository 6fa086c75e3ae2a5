#pragma once
// The peak memory of one operation, for the benchmark programs that report
// memory beside time (include from exactly one bench/*.cpp, after
// BenchSupport.h).
//
// peakKiB(operation) runs the operation in a forked child and returns the
// growth of the child's resident set during it: the high-water mark (VmHWM,
// reset just before the operation through /proc/self/clear_refs) minus the
// resident set at that moment, after the inherited free heap memory has been
// handed back to the system (malloc_trim). The operation runs once before it
// is measured, so that the pages of code it runs (mapped into the child's
// resident set on first touch) are not counted as its memory. Pages the
// operation only reserves and never touches do not count, as they cost
// nothing.
//
// Peaks are kept by case name ("<case>/ours", "<case>/<peer>", as for the
// times); printPeakRatios() prints one line per pair:
//   "peak <case>: ours <a> KiB, <peer> <b> KiB (<a/b>x)"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <string>

namespace hdbench {

inline long readStatusKiB(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const std::size_t length = std::strlen(field);
  while (std::getline(status, line)) {
    if (line.compare(0, length, field) == 0 && line.size() > length && line[length] == ':') {
      return std::stol(line.substr(length + 1));
    }
  }
  return -1;
}

template <class Operation>
double peakKiB(Operation operation) {
  int channel[2];
  if (pipe(channel) != 0) {
    return -1;
  }
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    operation();
    malloc_trim(0);
    long result = -1;
    // "5" resets the resident set high-water mark (VmHWM) to the current size.
    if (std::FILE* clear = std::fopen("/proc/self/clear_refs", "w")) {
      const bool reset = std::fputs("5", clear) >= 0;
      if (std::fclose(clear) == 0 && reset) {
        const long before = readStatusKiB("VmRSS");
        operation();
        result = readStatusKiB("VmHWM") - before;
      }
    }
    const ssize_t written = write(channel[1], &result, sizeof result);
    _exit(written == static_cast<ssize_t>(sizeof result) ? 0 : 1);
  }
  close(channel[1]);
  long result = -1;
  if (child < 0 || read(channel[0], &result, sizeof result) != static_cast<ssize_t>(sizeof result)) {
    result = -1;
  }
  close(channel[0]);
  if (child > 0) {
    int status = 0;
    waitpid(child, &status, 0);
  }
  return static_cast<double>(result);
}

inline std::map<std::string, double>& recordedPeaks() {
  static std::map<std::string, double> peaks;
  return peaks;
}

inline void recordPeak(const std::string& caseName, double kib) {
  recordedPeaks()[caseName] = kib;
}

inline void printPeakRatios() {
  const std::map<std::string, double>& peaks = recordedPeaks();
  bool first = true;
  for (const auto& [name, ours] : peaks) {
    const std::string suffix = "/ours";
    if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
      continue;
    }
    const std::string group = name.substr(0, name.size() - suffix.size());
    for (const auto& [peerName, peer] : peaks) {
      if (peerName != name && peerName.rfind(group + "/", 0) == 0 &&
          peerName.find('/', group.size() + 1) == std::string::npos) {
        if (first) {
          std::printf("\n");
          first = false;
        }
        std::printf("peak %s: ours %.0f KiB, %s %.0f KiB (%.2fx)\n", group.c_str(), ours,
                    peerName.substr(group.size() + 1).c_str(), peer, peer > 0 ? ours / peer : 0.0);
      }
    }
  }
}

}  // namespace hdbench
