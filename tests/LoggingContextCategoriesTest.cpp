// The categories of the execution contexts in force join a message's own in
// the logging filter's complete check.

#include "DebuggingAndExceptions/ConstraintExecutionContextStack.h"
#include "DebuggingAndExceptions/ExecutionContextStack.h"
#include "LoggingTestSupport.h"
#include "LowLevelFacilities/LogMessageDestinationStringStream.h"
#include "LowLevelFacilities/LoggingFacility.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace HaldenConfiguration;
using namespace HaldenLogging;

namespace {

class QuietPlatform : public IPlatformUtilities {
 public:
  std::string getComputerNameForLowLevelUtilities() override { return "TESTPC"; }
  void displayDebugMessageForLowLevelUtilities(const char* title, const char* text) const override {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_displayed.emplace_back(std::string(title) + ": " + text);
  }
  CXString GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(const CXString&) override { return {}; }
  std::vector<std::string> displayed() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_displayed;
  }

 private:
  mutable std::mutex m_mutex;
  mutable std::vector<std::string> m_displayed;
};

const char* const kBareLines =
    "show-date = false\nshow-time = false\nshow-thread-id = false\nshow-process-id = false\n"
    "show-verbosity-level = false\nshow-file-name = false\nshow-line-number = false\nline-ending-chars = \"\\n\"\n";

// Three string streams: one that admits XC_CONSTRAINT alone (on some of a
// message's categories), one that admits everything but XC_CONSTRAINT, one
// that admits XC_ERR alone.
struct ContextFacility {
  explicit ContextFacility(bool background) : configuration(loggingtest::selection()) {
    const std::string text = std::string("[logging.options]\n") + kBareLines +
                             "use-background-thread = " + (background ? "true" : "false") +
                             "\n[logging.destination.constraint]\ntype = \"stringstream\"\n"
                             "require-only-subset-of-categories = true\n"
                             "included-categories-array = [\"XC_CONSTRAINT\"]\n"
                             "[logging.destination.quiet]\ntype = \"stringstream\"\n"
                             "excluded-categories-array = [\"XC_CONSTRAINT\"]\n"
                             "[logging.destination.errors]\ntype = \"stringstream\"\n"
                             "included-categories-array = [\"XC_ERR\"]\n";
    configuration.applyLoggingConfigurationFromText(text, "test", sink);
    facility = std::make_unique<LoggingFacility>(platform, configuration, ProcessContextInfo::captureCurrent());
  }
  std::string take(const char* name) {
    facility->processAllPendingMessagesImmediately();
    return dynamic_cast<LogMessageDestinationStringStream&>(*facility->getDestinationByName(name))
        .getStringAndResetStream();
  }

  QuietPlatform platform;
  CollectingReportSink sink;
  LoggingConfiguration configuration;
  std::unique_ptr<LoggingFacility> facility;
};

ExecutionContextSharedPtr generalContext(int id, unsigned long long categories) {
  return MakeBasicExecutionContext(id, static_cast<std::uint64_t>(categories), CPString("test"));
}

ConstraintExecutionContextSharedPtr constraintContext(int id, unsigned long long categories) {
  return MakeBasicConstraintExecutionContext(id, static_cast<std::uint64_t>(categories), CPString("test"));
}

}  // namespace

TEST(LoggingContextCategories, ContextsInForceJoinTheFilter) {
  ContextFacility t(false);
  ASSERT_TRUE(t.sink.getReports().empty());
  LoggingFacility& f = *t.facility;
  EXPECT_EQ(LoggingFacility::getCompleteCategoriesForThisThread(XC_DATAMODEL), XC_DATAMODEL);

  HDU_LOG_TO(f, 1, XC_DATAMODEL, "outside");
  EXPECT_EQ(t.take("constraint"), "");
  EXPECT_EQ(t.take("quiet"), "outside\n");
  {
    ExecutionContextLifetime outer(generalContext(ECIE_EXECUTE_CONSTRAINT, XC_CONSTRAINT));
    EXPECT_EQ(LoggingFacility::getCompleteCategoriesForThisThread(XC_DATAMODEL), XC_DATAMODEL | XC_CONSTRAINT);
    HDU_LOG_TO(f, 1, XC_DATAMODEL, "inside");
    HDU_LOG_TO(f, 0, XC_ERR | XC_DATAMODEL, "error inside");  // errors pass the exclusion
    {
      // Nested: the outer context stays in force under the inner one.
      ExecutionContextLifetime inner(generalContext(ECIE_IMPORT_FROM_PRINT_TICKET, XC_PRINTTICKET));
      EXPECT_EQ(LoggingFacility::getCompleteCategoriesForThisThread(XC_NONE), XC_CONSTRAINT | XC_PRINTTICKET);
      HDU_LOG_TO(f, 1, XC_DATAMODEL, "nested");
    }
    HDU_LOG_TO(f, 1, XC_DATAMODEL, "inner ended");
  }
  HDU_LOG_TO(f, 1, XC_DATAMODEL, "outer ended");
  EXPECT_EQ(t.take("constraint"), "inside\nerror inside\nnested\ninner ended\n");
  EXPECT_EQ(t.take("quiet"), "error inside\nouter ended\n");
  EXPECT_EQ(t.take("errors"), "error inside\n");

  // The constraint family takes part the same way, alone and beside the
  // general one.
  {
    ConstraintExecutionContextLifetime adding(constraintContext(CECIE_ADD_DI_COMMON_CONSTRAINTS, XC_CONSTRAINT));
    HDU_LOG_TO(f, 1, XC_DATAMODEL, "constraint family");
    ExecutionContextLifetime general(generalContext(ECIE_UI_DIALOG, XC_HANDLERS));
    EXPECT_EQ(LoggingFacility::getCompleteCategoriesForThisThread(XC_TRACE), XC_TRACE | XC_HANDLERS | XC_CONSTRAINT);
  }
  HDU_LOG_TO(f, 1, XC_DATAMODEL, "after");
  EXPECT_EQ(t.take("constraint"), "constraint family\n");
  EXPECT_EQ(t.take("quiet"), "after\n");

  // A context's XC_ERR bit does not make what is logged inside it an error.
  {
    ExecutionContextLifetime erring(generalContext(ECIE_UI_DIALOG, XC_ERR | XC_CONSTRAINT));
    EXPECT_EQ(LoggingFacility::getCompleteCategoriesForThisThread(XC_DATAMODEL), XC_DATAMODEL | XC_CONSTRAINT);
    HDU_LOG_TO(f, 1, XC_DATAMODEL, "not an error");
    HDU_LOG_TO(f, 1, XC_NONE, "no categories of its own");
  }
  EXPECT_EQ(t.take("errors"), "");
  EXPECT_EQ(t.take("constraint"), "not an error\nno categories of its own\n");
  EXPECT_EQ(t.take("quiet"), "");
  EXPECT_TRUE(t.platform.displayed().empty());
}

// Whatever the destination and the contexts, a message that the complete
// check admits has passed the call-site check with its own categories.
TEST(LoggingContextCategories, TheEarlyCheckNeverRefusesWhatTheCompleteCheckAdmits) {
  std::mt19937_64 random(20240517);
  const auto someCategories = [&random]() {
    // Sparse masks, so that "every bit admitted" happens as well.
    const unsigned long long a = random();
    const unsigned long long b = random();
    const unsigned long long c = random();
    return (random() % 4 == 0) ? 0ULL : (a & b & c);
  };
  int admittedInsideContexts = 0;
  for (int round = 0; round < 4000; ++round) {
    LoggingOptions options;
    options.setIncludedCategories(random() % 8 == 0 ? static_cast<unsigned long long>(XC_ALL)
                                                    : someCategories() | (random() % 2 ? XC_ERR : XC_NONE));
    options.setExcludedCategories(someCategories() & ~static_cast<unsigned long long>(XC_ERR));
    options.setRequireOnlySubsetOfCategories(random() % 2 == 0);
    options.setMaxVerbosityLevel(5);
    const auto destination = LogMessageDestinationBase::createLogMessageDestination(DTE_NULL, "d", options);
    ASSERT_TRUE(destination);
    const unsigned long long own = someCategories() | (random() % 4 == 0 ? XC_ERR : XC_NONE);
    ExecutionContextLifetime general(
        generalContext(ECIE_UI_DIALOG, someCategories() | (random() % 2 ? XC_ERR : XC_NONE)));
    ConstraintExecutionContextLifetime constraint(constraintContext(CECIE_ADD_DI_KARVEN_CONSTRAINTS, someCategories()));
    const unsigned long long complete = LoggingFacility::getCompleteCategoriesForThisThread(own);
    ASSERT_EQ(complete & own, own);
    ASSERT_EQ(complete & XC_ERR, own & XC_ERR);
    if (destination->isMessageContextWithCompleteCategoriesAllowed(3, complete)) {
      ++admittedInsideContexts;
      ASSERT_TRUE(destination->isMessageContextWithPossiblyIncompleteCategoriesAllowed(3, own))
          << std::hex << "allowed " << options.getAllowedCategories() << " own " << own << " complete " << complete;
    }
  }
  EXPECT_GT(admittedInsideContexts, 100);  // the property was put to the test
}

// Contexts belong to their thread: a thread inside a context and one outside
// log side by side through the background thread; only the first thread's
// messages reach the destination that admits the context's category, and
// the other destination gets exactly the second thread's.
TEST(LoggingContextCategories, ContextsAreThePerThreadBusinessOfTheirThread) {
  const int kMessages = 2000;
  ContextFacility t(true);
  ASSERT_TRUE(t.sink.getReports().empty());
  LoggingFacility& f = *t.facility;
  f.notifyApplicationSessionStarted();
  ASSERT_TRUE(f.isBackgroundThreadRunning());
  std::thread inside([&f] {
    ExecutionContextLifetime constraint(generalContext(ECIE_PROCESS_CONSTRAINTS, XC_CONSTRAINT));
    for (int i = 0; i < kMessages; ++i) {
      HDU_LOG_TO(f, 1, XC_TRACE, "in %d", i);
    }
  });
  std::thread outside([&f] {
    for (int i = 0; i < kMessages; ++i) {
      HDU_LOG_TO(f, 1, XC_TRACE, "out %d", i);
    }
  });
  inside.join();
  outside.join();
  f.notifyApplicationSessionEnded();
  std::string expectedInside;
  std::string expectedOutside;
  for (int i = 0; i < kMessages; ++i) {
    expectedInside += "in " + std::to_string(i) + "\n";
    expectedOutside += "out " + std::to_string(i) + "\n";
  }
  EXPECT_EQ(t.take("constraint"), expectedInside);
  EXPECT_EQ(t.take("quiet"), expectedOutside);
  EXPECT_TRUE(t.platform.displayed().empty());
}

// Completing the categories on a thread that has no per-thread storage makes
// none.
TEST(LoggingContextCategories, ReadingTheStacksMakesNothing) {
  bool hadStorage = true;
  bool hasStorageAfterwards = true;
  unsigned long long complete = 0;
  std::thread fresh([&] {
    hadStorage = UtilitiesDllPerThreadStorage::TryGetUtilitiesDllPerThreadStorageObject() != nullptr;
    complete = LoggingFacility::getCompleteCategoriesForThisThread(XC_TRACE | XC_ERR);
    hasStorageAfterwards = UtilitiesDllPerThreadStorage::TryGetUtilitiesDllPerThreadStorageObject() != nullptr;
  });
  fresh.join();
  EXPECT_FALSE(hadStorage);
  EXPECT_FALSE(hasStorageAfterwards);
  EXPECT_EQ(complete, XC_TRACE | XC_ERR);
}
