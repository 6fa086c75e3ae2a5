#include "DebuggingAndExceptions/InternalChecks.h"
#include "LoggingTestSupport.h"
#include "LowLevelFacilities/LogMessageDestinationFile.h"
#include "LowLevelFacilities/LogMessageDestinationStringStream.h"
#include "LowLevelFacilities/LoggingFacility.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace HaldenConfiguration;
using namespace HaldenLogging;

namespace {

// Platform utilities that record what is shown to the developer, from any thread.
class RecordingPlatform : public IPlatformUtilities {
 public:
  std::string getComputerNameForLowLevelUtilities() override { return "TESTPC"; }
  void displayDebugMessageForLowLevelUtilities(const char* title, const char* text) const override {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_displayed.emplace_back(title, text);
  }
  CXString GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(const CXString&) override { return {}; }

  std::vector<std::pair<std::string, std::string>> displayed() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_displayed;
  }

 private:
  mutable std::mutex m_mutex;
  mutable std::vector<std::pair<std::string, std::string>> m_displayed;
};

// A facility of its own, set up from TOML text.
struct TestFacility {
  explicit TestFacility(const std::string& text) : configuration(loggingtest::selection()) {
    configuration.applyLoggingConfigurationFromText(text, "test", sink);
    facility = std::make_unique<LoggingFacility>(platform, configuration, ProcessContextInfo::captureCurrent());
  }
  LogMessageDestinationStringStream& text(const char* name) {
    return dynamic_cast<LogMessageDestinationStringStream&>(*facility->getDestinationByName(name));
  }

  RecordingPlatform platform;
  CollectingReportSink sink;
  LoggingConfiguration configuration;
  std::unique_ptr<LoggingFacility> facility;
};

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

const char* const kInternalsError = "Logging Internals Error";

}  // namespace

TEST(LoggingFacility, FilterAndDelivery) {
  TestFacility t(std::string("[logging.options]\nmax-verbosity-level = 6\n") + kBareLines +
                 R"([logging.destination.errors]
type = "stringstream"
max-verbosity-level = 2
included-categories-array = ["XC_ERR"]
[logging.destination.trace]
type = "stringstream"
included-categories-array = ["XC_TRACE", "XC_FLOW"]
[logging.destination.subset]
type = "stringstream"
max-verbosity-level = 6
require-only-subset-of-categories = true
included-categories-array = ["XC_REGISTRY"]
)");
  ASSERT_TRUE(t.sink.getReports().empty());
  LoggingFacility& f = *t.facility;
  EXPECT_TRUE(f.isInitialized());
  EXPECT_TRUE(f.isInitializedAndEnabled());
  EXPECT_TRUE(f.isInitializedAndEnabledAndMessageContextAllowed_CategoriesMayBeIncomplete(2, XC_ERR));
  EXPECT_FALSE(f.isInitializedAndEnabledAndMessageContextAllowed_CategoriesMayBeIncomplete(7, 0));  // facility max
  // The subset destination admits anything at level 6 in the early check.
  EXPECT_TRUE(f.isInitializedAndEnabledAndMessageContextAllowed_CategoriesMayBeIncomplete(6, XC_THREAD));

  HDU_LOG_TO(f, 1, XC_ERR | XC_XMLPARSE, "error %d", 1);  // errors only (XC_ERR rule)
  HDU_LOG_TO(f, 3, XC_TRACE, "trace %s", "two");          // trace
  HDU_LOG_TO(f, 0, XC_NONE, "plain");                     // no categories: every destination within its level
  HDU_LOG_TO(f, 6, XC_REGISTRY | XC_THREAD, "registry");  // subset only
  HDU_LOG_TO(f, 6, XC_THREAD, "nobody");                  // early check passes, nobody writes
  {
    // A formatting failure (here: a surplus argument under the internal
    // checks) is logged, not thrown.
    InternalChecks::InternalCheckScope checks;
    f.addLogMessage(2, HDU_DEBUG_CONTEXT("f"), XC_NONE, "extra", 1);
  }
  const auto startsAndEnds = [](const std::string& text, const std::string& start) {
    const std::string end = "; format \"extra\">\n";
    return text.rfind(start + "<unformattable log message: Extra arguments provided to formatWorker().", 0) == 0 &&
           text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
  };
  EXPECT_TRUE(startsAndEnds(t.text("errors").getString(), "error 1\nplain\n")) << t.text("errors").getString();
  EXPECT_TRUE(startsAndEnds(t.text("trace").getString(), "trace two\nplain\n"));
  EXPECT_TRUE(startsAndEnds(t.text("subset").getString(), "plain\nregistry\n"));
  EXPECT_EQ(f.getEnabledDestinationByName("trace"), &t.text("trace"));
  EXPECT_EQ(f.getEnabledDestinationByName("missing"), nullptr);
  EXPECT_TRUE(t.platform.displayed().empty());

  // Logging off in the configuration.
  TestFacility off("[logging.options]\nenable-logging = false\n[logging.destination.x]\ntype = \"stringstream\"\n");
  EXPECT_FALSE(off.facility->isInitializedAndEnabled());
  EXPECT_FALSE(off.facility->isInitializedAndEnabledAndMessageContextAllowed_CategoriesMayBeIncomplete(0, XC_ERR));
}

TEST(LoggingFacility, PerThreadCountersAndTheirMisuse) {
  TestFacility t(std::string("[logging.options]\nindent-string = \". \"\n") + kBareLines +
                 "[logging.destination.out]\ntype = \"stringstream\"\n");
  LoggingFacility& f = *t.facility;
  f.beginLoggingDisabledScopeForThisThread();
  f.beginLoggingDisabledScopeForThisThread();
  EXPECT_FALSE(f.loggingEnabledPerScopeCounter());
  HDU_LOG_TO(f, 0, XC_ERR, "hidden");
  // Another thread is not affected.
  std::thread([&] { HDU_LOG_TO(f, 0, XC_ERR, "other thread"); }).join();
  f.endLoggingDisabledScopeForThisThread();
  HDU_LOG_TO(f, 0, XC_ERR, "still hidden");
  f.endLoggingDisabledScopeForThisThread();
  EXPECT_TRUE(f.loggingEnabledPerScopeCounter());
  f.beginLoggingIndentScopeForThisThread();
  f.beginLoggingIndentScopeForThisThread();
  HDU_LOG_TO(f, 0, XC_ERR, "deep");
  f.endLoggingIndentScopeForThisThread();
  f.endLoggingIndentScopeForThisThread();
  HDU_LOG_TO(f, 0, XC_ERR, "flat");
  EXPECT_EQ(t.text("out").getString(), "other thread\n. . deep\nflat\n");

  // Ends without begins: reported, counters stay at 0.
  f.endLoggingDisabledScopeForThisThread();
  f.endLoggingIndentScopeForThisThread();
  f.notifyApplicationSessionEnded();
  EXPECT_EQ(LoggingFacility::getLoggingDisabledCounterForThisThread(), 0);
  EXPECT_EQ(LoggingFacility::getLoggingIndentLevelForThisThread(), 0);
  f.notifyApplicationSessionStarted();
  EXPECT_EQ(f.getNumberOfApplicationSessions(), 1);
  f.prepareToReinitializeDueToContextChange();
  f.notifyApplicationSessionEnded();
  const std::vector<std::pair<std::string, std::string>> expected = {
      {kInternalsError,
       "The 'logging disabled' counter was already 0 when this method was called! Ignoring the attempt to set it."},
      {kInternalsError,
       "The 'logging indent level' counter was already 0 when this method was called! Ignoring the attempt to set "
       "it."},
      {kInternalsError,
       "The 'application sessions' counter was already 0 when this method was called! Ignoring the attempt to set "
       "it."},
      {kInternalsError,
       "The 'application sessions' counter isn't 0 when this method was called! Only expect to reinitialize due to a "
       "context change when there are NO active application sessions."},
  };
  EXPECT_EQ(t.platform.displayed(), expected);
  EXPECT_EQ(f.getNumberOfApplicationSessions(), 0);
}

TEST(LoggingFacility, ReinitializationReplacesDestinations) {
  TestFacility t(std::string("[logging.options]\n") + kBareLines +
                 "[logging.destination.a]\ntype = \"stringstream\"\n");
  HDU_LOG_TO(*t.facility, 0, 0, "to a");
  EXPECT_EQ(t.text("a").getString(), "to a\n");
  CollectingReportSink sink;
  LoggingConfiguration next(loggingtest::selection());
  next.applyLoggingConfigurationFromText(
      std::string("[logging.options]\n") + kBareLines + "[logging.destination.b]\ntype = \"stringstream\"\n", "next",
      sink);
  t.facility->reinitializeDueToContextChange(next);
  EXPECT_EQ(t.facility->getDestinationByName("a"), nullptr);
  HDU_LOG_TO(*t.facility, 0, 0, "to b");
  EXPECT_EQ(t.text("b").getString(), "to b\n");
  // The configuration given is copied: its own destinations stay untouched.
  EXPECT_EQ(dynamic_cast<const LogMessageDestinationStringStream*>(next.findDestination("b"))->getString(), "");

  // A move leaves the source refusing everything.
  LoggingFacility moved(std::move(*t.facility));
  EXPECT_FALSE(t.facility->isInitialized());
  EXPECT_TRUE(moved.isInitializedAndEnabled());
  HDU_LOG_TO(moved, 0, 0, "moved");
  EXPECT_EQ(dynamic_cast<LogMessageDestinationStringStream&>(*moved.getDestinationByName("b")).getString(), "moved\n");
}

TEST(LoggingFacility, ThreadExclusiveOutputAndUnmatchedEnds) {
  TestFacility t(std::string("[logging]\nenable-thread-exclusive-output = true\n[logging.options]\n") + kBareLines +
                 "use-background-thread = true\n[logging.destination.out]\ntype = \"stringstream\"\n");
  LoggingFacility& f = *t.facility;
  f.notifyApplicationSessionStarted();
  EXPECT_TRUE(f.isBackgroundThreadRunning());
  const std::thread::id self = std::this_thread::get_id();
  HDU_LOG_TO(f, 0, 0, "before");
  f.startExclusivityForThread(self);
  HDU_LOG_TO(f, 0, 0, "a1");
  std::thread([&] { HDU_LOG_TO(f, 0, 0, "b1"); }).join();
  f.startExclusivityForThread(self);  // nested
  HDU_LOG_TO(f, 0, 0, "a2");
  f.endExclusivityForThread(self);
  std::thread([&] { HDU_LOG_TO(f, 0, 0, "b2"); }).join();
  HDU_LOG_TO(f, 0, 0, "a3");
  f.endExclusivityForThread(self);
  HDU_LOG_TO(f, 0, 0, "after");
  f.notifyApplicationSessionEnded();
  EXPECT_FALSE(f.isBackgroundThreadRunning());
  EXPECT_EQ(t.text("out").getString(), "before\na1\na2\na3\nb1\nb2\nafter\n");

  f.endExclusivityForThread(self);
  std::ostringstream id;
  id << self;
  const auto displayed = t.platform.displayed();
  ASSERT_EQ(displayed.size(), 1u);
  EXPECT_EQ(displayed[0].first, "LogMessageQueue::endExclusivityForThread");
  EXPECT_EQ(displayed[0].second, "Unmatched call to end exclusivity for the thread, " + id.str() +
                                     ". Should have been a call to LogMessageQueue::startExclusivityForThread() "
                                     "before this.");
}

// Every message arrives exactly once, each thread's in its own order, in the
// file and in the string stream, by the time the session ends.
TEST(LoggingFacility, EightThreadsThroughTheBackgroundThreadLoseNothing) {
#ifdef _WIN32
  const int kMessagesPerThread = 10000;  // Wine is slow; the count does not change what is checked
#else
  const int kMessagesPerThread = 100000;
#endif
  const int kThreads = 8;
  const std::filesystem::path folder = loggingtest::makeTemporaryFolder("threads");
  const std::filesystem::path file = folder / "all.log";
  TestFacility t(std::string("[logging.options]\n") + kBareLines + "use-background-thread = true\n" +
                 "[logging.destination.file]\ntype = \"file\"\nunlimited-log-file-size-flag = true\n" +
                 "clear-log-files-on-open = true\nlog-file-name-string = \"" + loggingtest::tomlPath(file) + "\"\n" +
                 "[logging.destination.memory]\ntype = \"stringstream\"\n");
  ASSERT_TRUE(t.sink.getReports().empty());
  LoggingFacility& f = *t.facility;
  f.notifyApplicationSessionStarted();
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&f, thread, kMessagesPerThread] {
      for (int i = 0; i < kMessagesPerThread; ++i) {
        HDU_LOG_TO(f, 1, XC_TRACE, "t%d m%d", thread, i);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  f.notifyApplicationSessionEnded();

  const auto check = [&](const std::string& text, const char* where) {
    std::vector<int> next(kThreads, 0);
    std::size_t lines = 0;
    std::size_t start = 0;
    bool ordered = true;
    while (start < text.size()) {
      const std::size_t end = text.find('\n', start);
      ASSERT_NE(end, std::string::npos) << where;
      // "t<thread> m<index>" (sscanf would measure the whole text each time).
      int thread = -1;
      int index = -1;
      const char* p = text.data() + start;
      ASSERT_EQ(*p, 't') << where;
      const auto first = std::from_chars(p + 1, text.data() + end, thread);
      ASSERT_TRUE(first.ec == std::errc() && first.ptr[0] == ' ' && first.ptr[1] == 'm') << where;
      const auto second = std::from_chars(first.ptr + 2, text.data() + end, index);
      ASSERT_TRUE(second.ec == std::errc() && second.ptr == text.data() + end) << where;
      ASSERT_TRUE(thread >= 0 && thread < kThreads);
      ordered = ordered && index == next[thread];
      next[thread] = index + 1;
      ++lines;
      start = end + 1;
    }
    EXPECT_TRUE(ordered) << where;
    EXPECT_EQ(lines, static_cast<std::size_t>(kThreads * kMessagesPerThread)) << where;
    for (int thread = 0; thread < kThreads; ++thread) {
      EXPECT_EQ(next[thread], kMessagesPerThread) << where << " thread " << thread;
    }
  };
  check(t.text("memory").getString(), "string stream");
  check(loggingtest::readFile(file), "file");
  EXPECT_TRUE(t.platform.displayed().empty());
  t.facility.reset();
  std::filesystem::remove_all(folder);
}

// A file that cannot be opened is reported once and disabled; the string
// stream beside it gets every message, on the logging thread and through the
// background thread alike.
TEST(LoggingFacility, AFailingFileDoesNotStopTheOthers) {
  for (const bool background : {false, true}) {
    const std::filesystem::path folder = loggingtest::makeTemporaryFolder("failing");
    std::filesystem::create_directories(folder / "in-the-way.log");
    TestFacility t(std::string("[logging.options]\n") + kBareLines +
                   (background ? "use-background-thread = true\n" : "") + "[logging.destination.file]\n" +
                   "type = \"file\"\nlog-file-name-string = \"" + loggingtest::tomlPath(folder / "in-the-way.log") +
                   "\"\n[logging.destination.memory]\ntype = \"stringstream\"\n");
    LoggingFacility& f = *t.facility;
    f.notifyApplicationSessionStarted();
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&f, thread] {
        for (int i = 0; i < 250; ++i) {
          HDU_LOG_TO(f, 1, 0, "t%d m%d", thread, i);
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    f.notifyApplicationSessionEnded();
    const std::string text = t.text("memory").getString();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1000) << background;
    const auto displayed = t.platform.displayed();
    ASSERT_EQ(displayed.size(), 1u) << background;
    EXPECT_EQ(displayed[0].first, "Error Opening Log File");
    EXPECT_FALSE(f.getDestinationByName("file")->isDestinationEnabled());
    EXPECT_EQ(f.getEnabledDestinationByName("file"), nullptr);
    t.facility.reset();
    std::filesystem::remove_all(folder);
  }
}

// Threads come and go while logging: hundreds of short-lived threads, the
// session ending and restarting the background thread between rounds.
TEST(LoggingFacility, ShortLivedThreadsAcrossSessions) {
  TestFacility t(std::string("[logging.options]\n") + kBareLines +
                 "use-background-thread = true\n[logging.destination.memory]\ntype = \"stringstream\"\n");
  LoggingFacility& f = *t.facility;
  std::atomic<int> logged{0};
  for (int round = 0; round < 4; ++round) {
    f.notifyApplicationSessionStarted();
    for (int batch = 0; batch < 25; ++batch) {
      std::vector<std::thread> threads;
      threads.reserve(8);
      for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
          for (int i = 0; i < 10; ++i) {
            HDU_LOG_TO(f, 1, 0, "m");
            logged.fetch_add(1);
          }
        });
      }
      for (std::thread& thread : threads) {
        thread.join();
      }
    }
    f.notifyApplicationSessionEnded();
    EXPECT_FALSE(f.isBackgroundThreadRunning());
    const std::string text = t.text("memory").getStringAndResetStream();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2000);
  }
  // Outside a session, records for the background destinations are written
  // on the logging thread.
  HDU_LOG_TO(f, 1, 0, "no session");
  EXPECT_EQ(t.text("memory").getString(), "no session\n");
  EXPECT_EQ(logged.load(), 8000);
}
