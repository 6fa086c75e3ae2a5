// Logging where POSIX lets a test reach: a device that takes no bytes, and a
// process that exits while its threads are still logging.

#include "LoggingTestSupport.h"
#include "LowLevelFacilities/LogMessageDestinationStringStream.h"
#include "LowLevelFacilities/LoggingFacility.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "RecordingHosts.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

using namespace HaldenConfiguration;
using namespace HaldenLogging;

namespace {

const char* const kBareLines = R"(
show-date = false
show-time = false
show-thread-id = false
show-process-id = false
show-verbosity-level = false
show-file-name = false
show-line-number = false
line-ending-chars = "\n"
)";

}  // namespace

// /dev/full opens but takes no byte: the short write is reported once, the
// file destination is disabled, the string stream beside it gets everything.
TEST(LoggingPosix, ShortWriteToDevFullDisablesOnlyTheFile) {
  if (::access("/dev/full", W_OK) != 0) {
    GTEST_SKIP() << "no /dev/full here";
  }
  RecordingPlatformUtilities platform;
  CollectingReportSink sink;
  LoggingConfiguration configuration(loggingtest::selection());
  configuration.applyLoggingConfigurationFromText(
      std::string("[logging.options]\n") + kBareLines +
          "[logging.destination.full]\ntype = \"file\"\nlog-file-name-string = \"/dev/full\"\n"
          "flush-log-file-stream-on-write = true\n[logging.destination.memory]\ntype = \"stringstream\"\n",
      "test", sink);
  ASSERT_TRUE(sink.getReports().empty());
  LoggingFacility facility(platform, configuration, ProcessContextInfo::captureCurrent());
  for (int i = 0; i < 100; ++i) {
    HDU_LOG_TO(facility, 0, 0, "line %d", i);
  }
  facility.processAllPendingMessagesImmediately();
  ASSERT_EQ(platform.displayed.size(), 1u);
  EXPECT_EQ(platform.displayed[0].first, "Error Writing to Log File");
  EXPECT_EQ(platform.displayed[0].second.rfind("The log file destination 'full' failed writing '/dev/full' when trying "
                                               "to write 7 bytes to the file only 0 bytes were written. Last error is "
                                               "'GetLastError() = ",
                                               0),
            0u)
      << platform.displayed[0].second;
  EXPECT_FALSE(facility.getDestinationByName("full")->isDestinationEnabled());
  const std::string text =
      dynamic_cast<LogMessageDestinationStringStream&>(*facility.getDestinationByName("memory")).getString();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 100);
}

// The process exits (static destruction included) while four threads log
// through the background thread as fast as they can: the exit neither hangs
// nor crashes, and the file holds, for each thread, an unbroken run of its
// messages from the first on, each line whole.
TEST(LoggingPosix, ProcessExitWhileThreadsLog) {
  const std::filesystem::path folder = loggingtest::makeTemporaryFolder("exit");
  const std::filesystem::path file = folder / "exit.log";
  std::fflush(nullptr);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    LowLevelFacilitiesGlobals::startApplicationSessionForGlobalFacilitiesWithSpecifiedConfiguration(
        std::string("[logging.options]\nenable-logging = true\nuse-background-thread = true\n") + kBareLines +
            "[logging.destination.file]\ntype = \"file\"\nunlimited-log-file-size-flag = true\n"
            "log-file-name-string = \"" +
            loggingtest::tomlPath(file) + "\"\n",
        "exit test");
    for (int thread = 0; thread < 4; ++thread) {
      std::thread([thread] {
        for (int i = 0;; ++i) {
          HDU_LOG(1, XC_TRACE, "t%d m%d", thread, i);
        }
      }).detach();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::exit(0);
  }
  int status = 0;
  pid_t done = 0;
  for (int waited = 0; waited < 600 && done == 0; ++waited) {
    done = ::waitpid(child, &status, WNOHANG);
    if (done == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
  if (done == 0) {
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    FAIL() << "the process did not end within a minute of its exit call";
  }
  ASSERT_TRUE(WIFEXITED(status)) << "signal " << (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
#if defined(__SANITIZE_THREAD__)
  // ThreadSanitizer ends a process that reported anything with 66; the
  // per-thread storage's clean-up at exit is reported in every process
  // (outside logging), so the child's own reports are read from the output.
  EXPECT_TRUE(WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 66) << WEXITSTATUS(status);
#else
  EXPECT_EQ(WEXITSTATUS(status), 0);
#endif

  const std::string text = loggingtest::readFile(file);
  std::vector<int> next(4, 0);
  std::size_t start = 0;
  std::size_t lines = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    ASSERT_NE(end, std::string::npos) << "a partial last line";
    int thread = -1;
    int index = -1;
    ASSERT_EQ(text[start], 't');
    const auto first = std::from_chars(text.data() + start + 1, text.data() + end, thread);
    ASSERT_TRUE(first.ec == std::errc() && thread >= 0 && thread < 4 && first.ptr[0] == ' ' && first.ptr[1] == 'm');
    const auto second = std::from_chars(first.ptr + 2, text.data() + end, index);
    ASSERT_TRUE(second.ec == std::errc() && second.ptr == text.data() + end);
    ASSERT_EQ(index, next[thread]) << "thread " << thread;
    next[thread] = index + 1;
    ++lines;
    start = end + 1;
  }
  EXPECT_GT(lines, 0u);
  std::filesystem::remove_all(folder);
}
