#include "LoggingTestServices.h"
#include "LoggingTestSupport.h"
#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/LogLineObscurer.h"
#include "LowLevelFacilities/LogMessageDestinationFile.h"
#include "LowLevelFacilities/LogMessageDestinationNull.h"
#include "LowLevelFacilities/LogMessageDestinationStringStream.h"
#include "LowLevelFacilities/LoggingPlatform.h"

#include <cpptoml.h>
#include <gtest/gtest.h>

#include <sstream>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

using namespace HaldenConfiguration;
using namespace HaldenLogging;
using loggingtest::FixedServices;

namespace {

constexpr std::int64_t kTime = 1700000000123456LL;  // 2023-11-14 22:13:20.123456 UTC

LogMessage makeMessage(signed char level, unsigned long long categories, const char* text, int indent = 0,
                       const char* file = "C:\\src\\dir/file.cpp", const char* function = "CPString::format",
                       long line = 42) {
  LogMessage message(level, DebugContextReference(file, line, function), categories, indent);
  message.setTimeStampMicroseconds(kTime);
  message.getTextBuffer().append(text);
  return message;
}

std::string localDateAndTime() {
  const LoggingPlatform::LocalCalendarTime t = LoggingPlatform::toLocalCalendarTime(kTime / 1000000);
  return InternalHaldenCP::formatToStdString("%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day, t.hour, t.minute,
                                             t.second);
}

std::string threadPiece() {
  return InternalHaldenCP::formatToStdString("0x%06x ", PlatformFacilities::currentThreadId());
}

LoggingOptions plainOptions() {
  LoggingOptions options = LoggingOptions::getFactoryDefaults();
  LoggingMessageFormatOptions& f = options.getMessageFormatOptions();
  f.setShowDate(false);
  f.setShowTime(false);
  f.setShowThreadId(false);
  f.setShowProcessId(false);
  f.setShowVerbosityLevel(false);
  f.setShowFileName(false);
  f.setShowLineNumber(false);
  f.setLineEndingChars("\n");
  return options;
}

std::string formatted(LogMessageDestinationBase& destination, const LogMessage& message) {
  FormattedLogMessage out;
  destination.formatLogMessage(message, out);
  return out.line.toStdString();
}

}  // namespace

TEST(LogMessageDestination, LineLayoutFieldByField) {
  FixedServices services;
  LoggingOptions options = LoggingOptions::getFactoryDefaults();
  LoggingMessageFormatOptions& f = options.getMessageFormatOptions();
  f.setShowComputerName(true);
  f.setMinComputerNameWidth(10);
  f.setMaxComputerNameWidth(4);
  f.setShowProcessName(true);
  f.setMaxProcessNameWidth(0);
  f.setShowMethodName(true);
  f.setMaxMethodNameWidth(8);
  f.setIndentString("->");
  f.setLineEndingChars("|\n");
  options.setTroubleshootDebugLoggingCategories(true);
  LogMessageDestinationStringStream destination("out", options);
  destination.setLogMessageDestinationServices(services);

  const LogMessage message = makeMessage(-2, XC_ERR | XC_TRACE, "hello", 2);
  EXPECT_EQ(formatted(destination, message), localDateAndTime() + ".123       PRIN spoolsv.exe 0x00162e " +
                                                 threadPiece() +
                                                 "[-2] file.cpp(42) CPString [ XC_ERR XC_TRACE ] ->->hello|\n");

  // The factory layout.
  LogMessageDestinationStringStream plain("plain", LoggingOptions::getFactoryDefaults());
  plain.setLogMessageDestinationServices(services);
  const std::string lineEnd = LoggingMessageFormatOptions::getFactoryDefaults().getLineEndingChars();
  EXPECT_EQ(formatted(plain, message),
            localDateAndTime() + ".123 0x00162e " + threadPiece() + "[-2] file.cpp(42)     hello" + lineEnd);

  // Nothing but the text; the line alone; no seconds fraction; cut at a
  // character boundary; obscured.
  LoggingOptions bare = plainOptions();
  bare.getMessageFormatOptions().setMaxMessageWidth(4);
  LogMessageDestinationStringStream cut("cut", bare);
  cut.setLogMessageDestinationServices(services);
  EXPECT_EQ(formatted(cut, makeMessage(1, 0, "abc\xC3\xA9xyz")), "abc\n");
  EXPECT_EQ(formatted(cut, makeMessage(1, 0, "ab")), "ab\n");
  LoggingOptions lineOnly = plainOptions();
  lineOnly.getMessageFormatOptions().setShowLineNumber(true);
  lineOnly.getMessageFormatOptions().setShowTime(true);
  lineOnly.getMessageFormatOptions().setUseMillisecondPrecision(false);
  lineOnly.setObfuscateLogMessages(true);
  LogMessageDestinationStringStream hidden("hidden", lineOnly);
  hidden.setLogMessageDestinationServices(services);
  const std::string line = formatted(hidden, makeMessage(1, 0, "secret", 0, "f.cpp", "g", 7));
  const std::string expectedPrefix = localDateAndTime().substr(11) + " (7) ";
  ASSERT_EQ(line.rfind(expectedPrefix, 0), 0u) << line;
  std::string revealed;
  ASSERT_TRUE(
      LogLineObscurer::reveal(line.substr(expectedPrefix.size(), line.size() - expectedPrefix.size() - 1), revealed));
  EXPECT_EQ(revealed, "secret");
}

TEST(LogMessageDestination, ObscuredTextRoundTrips) {
  EXPECT_EQ(LogLineObscurer::obscure(""), "~");
  for (const std::string& text : {std::string("a"), std::string("ab"), std::string("abc"),
                                  std::string("caf\xC3\xA9 \x01\xFF\n"), std::string(1000, 'x')}) {
    const std::string hidden = LogLineObscurer::obscure(text);
    EXPECT_EQ(hidden[0], '~');
    EXPECT_EQ(hidden.size(), 1 + (text.size() + 2) / 3 * 4);
    EXPECT_EQ(hidden.find(text.substr(0, 3)), std::string::npos);
    std::string back;
    ASSERT_TRUE(LogLineObscurer::reveal(hidden, back));
    EXPECT_EQ(back, text);
  }
  std::string unchanged = "keep";
  for (const char* bad : {"", "abc", "~a", "~ab=c", "~a===", "~ab!c", "~=abc"}) {
    EXPECT_FALSE(LogLineObscurer::reveal(bad, unchanged)) << bad;
  }
  EXPECT_EQ(unchanged, "keep");
}

TEST(LogMessageDestination, FilterRules) {
  LoggingOptions options = LoggingOptions::getFactoryDefaults();
  options.setIncludedCategories(XC_ERR | XC_TRACE | XC_FLOW);
  options.setMaxVerbosityLevel(3);
  LogMessageDestinationNull destination("d", options);
  // Level: not above the maximum.
  EXPECT_TRUE(destination.isMessageContextWithCompleteCategoriesAllowed(3, XC_TRACE));
  EXPECT_FALSE(destination.isMessageContextWithCompleteCategoriesAllowed(4, XC_TRACE));
  // Every bit admitted; no categories at all; one bit outside.
  EXPECT_TRUE(destination.isMessageContextWithCompleteCategoriesAllowed(0, XC_TRACE | XC_FLOW));
  EXPECT_TRUE(destination.isMessageContextWithCompleteCategoriesAllowed(0, 0));
  EXPECT_FALSE(destination.isMessageContextWithCompleteCategoriesAllowed(0, XC_TRACE | XC_XMLPARSE));
  // XC_ERR in both: passes whatever else the message carries.
  EXPECT_TRUE(destination.isMessageContextWithCompleteCategoriesAllowed(0, XC_ERR | XC_XMLPARSE));
  EXPECT_TRUE(destination.isMessageContextWithPossiblyIncompleteCategoriesAllowed(0, XC_ERR | XC_XMLPARSE));

  // The subset flag: some shared bit suffices once categories are complete;
  // the early check admits on the flag alone.
  options.setRequireOnlySubsetOfCategories(true);
  options.setIncludedCategories(XC_TRACE);
  LogMessageDestinationNull subset("s", options);
  EXPECT_TRUE(subset.isMessageContextWithCompleteCategoriesAllowed(0, XC_TRACE | XC_XMLPARSE));
  EXPECT_FALSE(subset.isMessageContextWithCompleteCategoriesAllowed(0, XC_XMLPARSE));
  EXPECT_TRUE(subset.isMessageContextWithPossiblyIncompleteCategoriesAllowed(0, XC_XMLPARSE));
  EXPECT_FALSE(subset.isMessageContextWithCompleteCategoriesAllowed(0, XC_ERR));  // XC_ERR not admitted here
  EXPECT_FALSE(subset.isMessageContextWithPossiblyIncompleteCategoriesAllowed(4, XC_TRACE));
}

TEST(LogMessageDestination, FactoryCloneNullAndStringStream) {
  CollectingReportSink sink;
  for (int type = 0; type < DTE_NUMBER_OF_TYPES; ++type) {
    auto destination = LogMessageDestinationBase::createLogMessageDestination(
        static_cast<DestinationTypesEnum>(type), "n", LoggingOptions::getFactoryDefaults(), sink);
    ASSERT_NE(destination, nullptr);
    EXPECT_EQ(destination->getDestinationType(), type);
    EXPECT_STREQ(destination->getDestinationTypeWord(), getDestinationTypeWord(type));
    DestinationTypesEnum back = DTE_NULL;
    EXPECT_TRUE(tryGetDestinationTypeFromWord(destination->getDestinationTypeWord(), back));
    EXPECT_EQ(back, type);
  }
  EXPECT_EQ(LogMessageDestinationBase::createLogMessageDestination(static_cast<DestinationTypesEnum>(6), "n",
                                                                   LoggingOptions(), sink),
            nullptr);
  ASSERT_EQ(sink.getReports().size(), 1u);
  EXPECT_EQ(sink.getReports()[0].title, "LogMessageDestinationBase::createLogMessageDestination()");
  EXPECT_EQ(sink.getReports()[0].text, "Unknown DestinationTypesEnum supplied: 6");

  FixedServices services;
  LogMessageDestinationStringStream text("text", plainOptions());
  text.setLogMessageDestinationServices(services);
  text.processLogMessage(makeMessage(1, 0, "one"));
  text.processLogMessage(makeMessage(1, 0, "two"));
  EXPECT_EQ(text.getString(), "one\ntwo\n");
  EXPECT_EQ(text.getStringAndResetStream(), "one\ntwo\n");
  EXPECT_EQ(text.getStringAndResetStream(), "");
  // A disabled destination drops messages; a clone starts empty with the same options and flag.
  text.processLogMessage(makeMessage(1, 0, "three"));
  text.disableDestination();
  text.processLogMessage(makeMessage(1, 0, "dropped"));
  const std::unique_ptr<LogMessageDestinationBase> clone = text.Clone();
  EXPECT_EQ(text.getString(), "three\n");
  EXPECT_FALSE(clone->isDestinationEnabled());
  EXPECT_EQ(clone->getOptions(), text.getOptions());
  EXPECT_EQ(dynamic_cast<LogMessageDestinationStringStream&>(*clone).getString(), "");

  LogMessageDestinationNull null("null", plainOptions());
  null.setLogMessageDestinationServices(services);
  null.processLogMessage(makeMessage(1, 0, "gone"));
  EXPECT_TRUE(null.isDestinationEnabled());
  EXPECT_TRUE(services.reports().empty());
}

TEST(LogMessageDestinationFile, NameVariablesAndLazyOpening) {
  const std::filesystem::path folder = loggingtest::makeTemporaryFolder("names");
  FixedServices services(loggingtest::pathText(folder));
  LoggingOptions options = plainOptions();
  options.setLogFileNameString(
      "$(home)$(separator)sub$(separator)$(build)-$(computer)-$(destination)-$(pid)-$(pidx)-$(platform)-$(process)-"
      "$(session)-$(tid)-$(tidx)-$(time)-$(nope).log");
  auto owned = std::make_unique<LogMessageDestinationFile>("dest", options);
  LogMessageDestinationFile& destination = *owned;
  destination.setLogMessageDestinationServices(services);

  const std::string separator = LoggingPlatform::pathSeparator();
  const std::string expectedStart = loggingtest::pathText(folder) + separator + "sub" + separator +
                                    HaldenConfiguration::LoggingSelectionContext::getLibraryBuildWord() +
                                    "-PRINTSRV-dest-00005678-0x00162e-" + LoggingSelectionContext::getPlatformWord() +
                                    "-spoolsv-" + LoggingPlatform::sessionNameForFileNames() + "-";
  EXPECT_EQ(destination.getPreProcessedLogFileName(), expectedStart + "$(tid)-$(tidx)-$(time)-$(nope).log");
  ASSERT_EQ(services.reports().size(), 1u);
  EXPECT_EQ(services.reports()[0].first, "LogMessageDestinationFile::preProcessLogFileName()");
  EXPECT_EQ(services.reports()[0].second, "Unknown variable, '$(nope)', in the log file name '" +
                                              options.getLogFileNameString() +
                                              "' of the destination 'dest'. It is left in the name as written.");
  EXPECT_FALSE(destination.isLogFileOpen());
  EXPECT_FALSE(std::filesystem::exists(folder / "sub"));  // nothing opened before the first message

  destination.processLogMessage(makeMessage(1, 0, "first"));
  ASSERT_TRUE(destination.isLogFileOpen());
  const std::string name = destination.getFinalLogFileName();
  const std::uint32_t tid = LoggingPlatform::currentThreadIdCached();
  const std::string threadPart = InternalHaldenCP::formatToStdString("%08u-0x%06x-", tid, tid);
  ASSERT_EQ(name.rfind(expectedStart + threadPart, 0), 0u) << name;
  const std::string timePart = name.substr(expectedStart.size() + threadPart.size(), 19);
  // "%Y-%m-%d_%H_%M_%S"
  ASSERT_EQ(timePart.size(), 19u);
  EXPECT_EQ(timePart[4], '-');
  EXPECT_EQ(timePart[10], '_');
  EXPECT_EQ(timePart[13], '_');
  EXPECT_EQ(name.substr(name.size() - 12), "-$(nope).log");
  destination.flush();
  EXPECT_EQ(loggingtest::readFile(loggingtest::pathFromText(name)), "first\n");
  owned.reset();  // closes the file: Windows keeps an open file's folder
  std::filesystem::remove_all(folder);
}

TEST(LogMessageDestinationFile, AppendClearSequentialFlushAndRollOver) {
  const std::filesystem::path folder = loggingtest::makeTemporaryFolder("files");
  FixedServices services;
  const std::filesystem::path path = folder / "app.log";
  loggingtest::writeFile(path, "old\n");
  const auto make = [&](const std::function<void(LoggingOptions&)>& adjust) {
    LoggingOptions options = plainOptions();
    options.setLogFileNameString(loggingtest::pathText(path));
    adjust(options);
    auto destination = std::make_unique<LogMessageDestinationFile>("f", options);
    destination->setLogMessageDestinationServices(services);
    return destination;
  };

  // Appends by default; buffered until flushed (or destroyed).
  auto append = make([](LoggingOptions&) {});
  append->processLogMessage(makeMessage(1, 0, "new"));
  EXPECT_EQ(loggingtest::readFile(path), "old\n");
  append->flush();
  EXPECT_EQ(loggingtest::readFile(path), "old\nnew\n");
  append.reset();

  // Flush on write; clear on open.
  auto cleared = make([](LoggingOptions& o) {
    o.setClearLogFilesOnOpen(true);
    o.setFlushLogFileStreamOnWrite(true);
  });
  cleared->processLogMessage(makeMessage(1, 0, "only"));
  EXPECT_EQ(loggingtest::readFile(path), "only\n");
  cleared.reset();

  // A sequential suffix never reuses a file.
  for (const char* expected : {"app_1.log", "app_2.log"}) {
    auto numbered = make([](LoggingOptions& o) { o.setAddSequentialLogFileSuffixOnOpen(true); });
    numbered->processLogMessage(makeMessage(1, 0, expected));
    EXPECT_EQ(loggingtest::pathText(std::filesystem::path(numbered->getFinalLogFileName()).filename()), expected);
  }
  EXPECT_EQ(loggingtest::readFile(folder / "app_2.log"), "app_2.log\n");
  EXPECT_EQ(loggingtest::readFile(path), "only\n");

  // Roll-over: the file never passes the limit; the previous one is kept as ".1".
  auto limited = make([](LoggingOptions& o) {
    o.setClearLogFilesOnOpen(true);
    o.setMaxSizeOfLimitedLogFile(20);
  });
  for (const char* text : {"aaaaaaaa", "bbbbbbbb", "cccccccc", "dddddddd", "eeeeeeeeeeeeeeeeeeeeeeeeeeee"}) {
    limited->processLogMessage(makeMessage(1, 0, text));
  }
  limited->flush();
  EXPECT_EQ(loggingtest::readFile(path), "eeeeeeeeeeeeeeeeeeeeeeeeeeee\n");  // longer than the limit: alone
  EXPECT_EQ(loggingtest::readFile(folder / "app.log.1"), "cccccccc\ndddddddd\n");
  // Unlimited: no roll-over.
  auto unlimited = make([](LoggingOptions& o) {
    o.setClearLogFilesOnOpen(true);
    o.setMaxSizeOfLimitedLogFile(20);
    o.setUnlimitedLogFileSizeFlag(true);
  });
  for (int i = 0; i < 5; ++i) {
    unlimited->processLogMessage(makeMessage(1, 0, "xxxxxxxx"));
  }
  unlimited->flush();
  EXPECT_EQ(loggingtest::readFile(path).size(), 45u);
  EXPECT_TRUE(services.reports().empty());
  limited.reset();
  unlimited.reset();
  std::filesystem::remove_all(folder);
}

TEST(LogMessageDestinationFile, AFileThatCannotBeOpenedIsReportedOnceAndDisabled) {
  const std::filesystem::path folder = loggingtest::makeTemporaryFolder("blocked");
  std::filesystem::create_directories(folder / "app.log");  // a directory in the way
  FixedServices services;
  LoggingOptions options = plainOptions();
  options.setLogFileNameString(loggingtest::pathText(folder / "app.log"));
  auto owned = std::make_unique<LogMessageDestinationFile>("blocked", options);
  LogMessageDestinationFile& destination = *owned;
  destination.setLogMessageDestinationServices(services);
  for (int i = 0; i < 10; ++i) {
    destination.processLogMessage(makeMessage(1, 0, "lost"));
  }
  EXPECT_FALSE(destination.isDestinationEnabled());
  const auto reports = services.reports();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].first, "Error Opening Log File");
  const std::string& text = reports[0].second;
  const std::string start = "The log file destination 'blocked' failed when trying to open '" +
                            loggingtest::pathText(folder / "app.log") +
                            "' (CPFileResultEnum::FILE_NOT_OPENED_FOR_WRITING). Last error is 'GetLastError() = ";
  EXPECT_EQ(text.rfind(start, 0), 0u) << text;
  const std::string end = "'. This log message destination will be disabled.";
  ASSERT_GT(text.size(), start.size() + end.size());
  EXPECT_EQ(text.substr(text.size() - end.size()), end);
  std::filesystem::remove_all(folder);
}

// Options straight from a TOML table; the cached line pieces and their one
// width check.
TEST(LogMessageDestination, OptionsFromATableAndThePrefixCache) {
  std::istringstream text("max-verbosity-level = 2\nshow-date = false\nbogus = 1\ntype = \"null\"\n");
  const std::shared_ptr<cpptoml::table> table = cpptoml::parser(text).parse();
  CollectingReportSink sink;
  LogMessageDestinationNull destination("d", LoggingOptions::getFactoryDefaults());
  destination.applySpecifiedOptionValues(*table, "logging.destination.d", sink);
  EXPECT_EQ(destination.getOptions().getMaxVerbosityLevel(), 2);
  EXPECT_FALSE(destination.getOptions().getMessageFormatOptions().getShowDate());
  EXPECT_TRUE(destination.getOptions().getMessageFormatOptions().getShowTime());
  ASSERT_EQ(sink.getReports().size(), 1u);
  EXPECT_EQ(sink.getReports()[0].text,
            "Unknown key, 'bogus', in the [logging.destination.d] table. It is not a logging configuration key and is "
            "being ignored.");

  // A process id wider than six hex digits is reported once per process.
  class WidePid : public FixedServices {
   public:
    std::string getProcessIdAsHexString() override { return "0x1234567"; }
  } wide;
  LoggingMessageFormatOptions format = LoggingMessageFormatOptions::getFactoryDefaults();
  format.setMinProcessNameWidth(14);
  format.updateFormattedStringCacheMembers(wide);
  format.updateFormattedStringCacheMembers(wide);
  EXPECT_EQ(format.getCachedProcessIdPiece(), "0x1234567 ");
  EXPECT_EQ(format.getCachedProcessNamePiece(), "   spoolsv.exe ");
  EXPECT_EQ(format.getCachedComputerNamePiece(), "PRINTSRV ");
  const auto reports = wide.reports();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].first, "LoggingMessageFormatOptions::updateFormattedStringCacheMembers()");
  EXPECT_EQ(reports[0].second,
            "CP_SNPRINTF() returned 7 for the width (in hex) of the process ID, but we expected 6. May need to assume "
            "a larger value for kWidthProcessIdHex on this platform. This error will only be shown once.");
}
