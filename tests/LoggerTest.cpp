// The file logger: line and time-stamp bytes, where the file lies, the trim at
// the size limit, threads and processes writing one file at once, obscured
// lines and the singleton.

#include "LowLevelFacilities/Logger.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LoggerTestSupport.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

// Exposes the protected members and the constructor.
class TestLogger : public Logger {
 public:
  TestLogger(const CXString& appName, const CXString& logFileName, const CXString& root, bool showThreadId)
      : Logger(appName, logFileName, root, showThreadId) {}
  using Logger::CreateDirectoryW;
  using Logger::GetAppName;
  using Logger::GetDefaultLogFolderRoot;
  using Logger::GetLogFileMutexName;
  using Logger::GetLogFileSize;
  using Logger::InitSecurityDescriptorForLogFileMutex;
  using Logger::TrimLogFile;
};

PlatformFacilities::LocalTime at(int year, int month, int day, int hour, int minute, int second) {
  return PlatformFacilities::LocalTime{year, month, day, hour, minute, second, 0, 0};
}

// A fresh folder for one test, removed afterwards.
class ScratchFolder {
 public:
  ScratchFolder() {
    static std::atomic<int> counter{0};
    m_path = fs::temp_directory_path() /
             ("hdu-logger-" + std::to_string(PlatformFacilities::currentProcessId()) + "-" + std::to_string(counter++));
    fs::remove_all(m_path);
    fs::create_directories(m_path);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const fs::path& path() const { return m_path; }
  CXString root() const { return CXString(m_path.u16string()); }
  fs::path logFolder() const { return m_path / "Halden" / "PrinterDriver" / "V6.0"; }

 private:
  fs::path m_path;
};

std::string readBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  std::string bytes(in ? static_cast<std::size_t>(in.tellg()) : 0, '\0');
  in.seekg(0);
  in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

void writeBytes(const fs::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// UTF-16 little-endian bytes, built independently of the library.
std::string le(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

std::u16string digits(std::uint32_t value) {
  std::u16string text;
  for (const char c : std::to_string(value)) {
    text.push_back(static_cast<char16_t>(c));
  }
  return text;
}

const char kBom[] = "\xFF\xFE";

// The file's lines as UTF-8, after checking the byte-order mark; the last
// line must end with a line feed.
std::vector<std::string> readLines(const fs::path& path) {
  const std::string bytes = readBytes(path);
  EXPECT_EQ(bytes.substr(0, 2), kBom) << path;
  EXPECT_EQ(bytes.size() % 2, 0u) << path;
  std::u16string text;
  for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
    text.push_back(
        static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | (static_cast<unsigned char>(bytes[i + 1]) << 8)));
  }
  EXPECT_TRUE(text.empty() || text.back() == u'\n') << path;
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\n') {
      lines.push_back(CXString(text.substr(start, i - start)).toUtf8());
      start = i + 1;
    }
  }
  return lines;
}

// One line "[<stamp>] <app>(PID<pid>/TID<tid>): <message>", taken apart by
// hand (std::regex is too slow for thousands of lines in a sanitizer build).
struct ParsedLine {
  std::string app;
  std::string pid;
  std::string tid;
  std::string message;
};

bool isDigits(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

bool parseLine(const std::string& line, ParsedLine& parsed) {
  const std::size_t stampEnd = line.find("] ");
  if (line.empty() || line[0] != '[' || stampEnd == std::string::npos) {
    return false;
  }
  // "M/D/YYYY H:MM:SS AM" or "... PM"
  const std::string stamp = line.substr(1, stampEnd - 1);
  if (stamp.size() < 17 ||
      (stamp.compare(stamp.size() - 3, 3, " AM") != 0 && stamp.compare(stamp.size() - 3, 3, " PM") != 0) ||
      stamp.find_first_not_of("0123456789/: ", 0) != stamp.size() - 2 ||
      std::count(stamp.begin(), stamp.end(), '/') != 2 || std::count(stamp.begin(), stamp.end(), ':') != 2) {
    return false;
  }
  const std::size_t pidAt = line.find("(PID", stampEnd);
  const std::size_t tidAt = line.find("/TID", pidAt);
  const std::size_t messageAt = line.find("): ", tidAt);
  if (pidAt == std::string::npos || tidAt == std::string::npos || messageAt == std::string::npos) {
    return false;
  }
  parsed.app = line.substr(stampEnd + 2, pidAt - stampEnd - 2);
  parsed.pid = line.substr(pidAt + 4, tidAt - pidAt - 4);
  parsed.tid = line.substr(tidAt + 4, messageAt - tidAt - 4);
  parsed.message = line.substr(messageAt + 3);
  return !parsed.app.empty() && isDigits(parsed.pid) && isDigits(parsed.tid);
}

// A text where the bool belongs would otherwise be taken for "true".
template <class... Args>
constexpr bool canInitialize = requires(Args... args) {
  Logger::InitializeAndGetInstance(args...);
};
static_assert(canInitialize<const wchar_t*, bool>);
static_assert(canInitialize<const wchar_t*, const wchar_t*, bool>);
static_assert(canInitialize<const char16_t*, const char16_t*, const char16_t*, bool>);
static_assert(!canInitialize<const wchar_t*, const wchar_t*>);
static_assert(!canInitialize<const char16_t*, const char16_t*, const char16_t*>);
static_assert(!canInitialize<const wchar_t*, const wchar_t*, const wchar_t*, const char*>);

}  // namespace

TEST(Logger, TimeStampIsMonthDayYearOnATwelveHourClockWithZeroAfterMidnight) {
  EXPECT_EQ(Logger::FormatTimeStamp(at(2024, 3, 7, 0, 30, 0)).toUtf8(), "3/7/2024 0:30:00 AM");
  EXPECT_EQ(Logger::FormatTimeStamp(at(2024, 3, 7, 0, 0, 0)).toUtf8(), "3/7/2024 0:00:00 AM");
  EXPECT_EQ(Logger::FormatTimeStamp(at(2024, 3, 7, 11, 59, 59)).toUtf8(), "3/7/2024 11:59:59 AM");
  EXPECT_EQ(Logger::FormatTimeStamp(at(2024, 3, 7, 12, 0, 0)).toUtf8(), "3/7/2024 12:00:00 PM");
  EXPECT_EQ(Logger::FormatTimeStamp(at(2024, 3, 7, 12, 5, 0)).toUtf8(), "3/7/2024 12:05:00 PM");
  EXPECT_EQ(Logger::FormatTimeStamp(at(2024, 3, 7, 13, 0, 0)).toUtf8(), "3/7/2024 1:00:00 PM");
  EXPECT_EQ(Logger::FormatTimeStamp(at(1999, 12, 31, 23, 59, 9)).toUtf8(), "12/31/1999 11:59:09 PM");
}

TEST(Logger, LinesAreExactUtf16BytesWithAndWithoutThread) {
  ScratchFolder scratch;
  TestLogger withThread(CXString(u"Writer"), CXString(), scratch.root(), true);
  TestLogger withoutThread(CXString(u"Other App"), CXString(u"Writer"), scratch.root(), false);
  const fs::path logFile = scratch.logFolder() / "Writer.log";
  EXPECT_EQ(fs::path(withThread.GetLogFilePath().u16string()), logFile);
  EXPECT_EQ(withoutThread.GetLogFilePath(), withThread.GetLogFilePath());

  withThread.SetLocalTimeSource([] { return at(2024, 1, 2, 0, 30, 0); });
  withoutThread.SetLocalTimeSource([] { return at(2024, 11, 22, 13, 0, 5); });
  withThread.LogMessage(CXString(u"first"));
  // Non-ASCII text, a surrogate pair (U+1F600) and an unpaired surrogate pass unchanged.
  withoutThread.LogMessage(CXString(u"Gr\u00FC\u00DFe \u20AC \U0001F600 \xD800!"));
  withThread.LogMessage(L"wide");
  withThread.LogMessage(static_cast<const wchar_t*>(nullptr));
  withThread.DebugOnlyLogMessage(CXString(u"never written"));
  withThread.DebugOnlyLogMessage(L"never written");

  const std::u16string pid = digits(PlatformFacilities::currentProcessId());
  const std::u16string tid = digits(PlatformFacilities::currentThreadId());
  const std::string expected =
      kBom + le(u"[1/2/2024 0:30:00 AM] Writer(PID" + pid + u"/TID" + tid + u"): first\n") +
      le(u"[11/22/2024 1:00:05 PM] Other App(PID" + pid + u"): Gr\u00FC\u00DFe \u20AC \U0001F600 \xD800!\n") +
      le(u"[1/2/2024 0:30:00 AM] Writer(PID" + pid + u"/TID" + tid + u"): wide\n") +
      le(u"[1/2/2024 0:30:00 AM] Writer(PID" + pid + u"/TID" + tid + u"): \n");
  const std::string actual = readBytes(logFile);
  EXPECT_EQ(actual, expected);
  // The first bytes spelled out: the byte-order mark, then "[1/" in UTF-16LE.
  ASSERT_GE(actual.size(), 8u);
  EXPECT_EQ(actual.substr(0, 8), std::string("\xFF\xFE\x5B\x00\x31\x00\x2F\x00", 8));
  EXPECT_EQ(withThread.GetLogFileSize(), expected.size());
}

TEST(Logger, NamesPathsAndTheCrossProcessLockName) {
  ScratchFolder scratch;
  // A root given with a trailing separator; a file name with a ".log" ending
  // and characters that no file name may hold.
  CXString rootWithSeparator = scratch.root();
  rootWithSeparator += static_cast<char16_t>(fs::path::preferred_separator);
  TestLogger logger(CXString(u"App"), CXString(u"a/b:c*d.LOG"), rootWithSeparator, true);
  EXPECT_EQ(fs::path(logger.GetLogFilePath().u16string()), scratch.logFolder() / "a_b_c_d.log");
  EXPECT_EQ(logger.GetAppName().toUtf8(), "App");

  // Without names: the running program's name, without extension, for both.
  TestLogger unnamed(CXString(), CXString(), scratch.root(), true);
  std::string program = fs::path(PlatformFacilities::processName()).stem().string();
  EXPECT_EQ(unnamed.GetAppName().toUtf8(), program);
  EXPECT_EQ(fs::path(unnamed.GetLogFilePath().u16string()), scratch.logFolder() / (program + ".log"));

  // The default root is an absolute folder; the log folder lies below it.
  TestLogger defaultRoot(CXString(u"App"), CXString(), CXString(), true);
  const fs::path root(defaultRoot.GetDefaultLogFolderRoot().u16string());
  EXPECT_TRUE(root.is_absolute()) << root;
  EXPECT_EQ(fs::path(defaultRoot.GetLogFilePath().u16string()), root / "Halden" / "PrinterDriver" / "V6.0" / "App.log");
#ifdef _WIN32
  EXPECT_EQ(defaultRoot.GetLogFilePath().toUtf8().find("\\Halden\\PrinterDriver\\V6.0\\App.log"),
            defaultRoot.GetLogFilePath().size() - 34);
  // A named mutex in the global namespace, the same for the path in any case.
  const std::string name = logger.GetLogFileMutexName().toUtf8();
  EXPECT_TRUE(std::regex_match(name, std::regex(R"(Global\\HaldenLoggerMutex-[0-9a-f]{16})"))) << name;
  TestLogger upperCase(CXString(u"App"), CXString(u"A_B_C_D"), scratch.root(), true);
  EXPECT_EQ(upperCase.GetLogFileMutexName(), logger.GetLogFileMutexName());
  EXPECT_NE(unnamed.GetLogFileMutexName(), logger.GetLogFileMutexName());
  EXPECT_FALSE(logger.InitSecurityDescriptorForLogFileMutex().empty());
#else
  EXPECT_EQ(logger.GetLogFileMutexName().toUtf8(), (scratch.logFolder() / "a_b_c_d.log.lock").string());
  EXPECT_TRUE(logger.InitSecurityDescriptorForLogFileMutex().empty());
#endif

  // CreateDirectoryW makes every missing level and accepts an existing folder.
  const fs::path nested = scratch.path() / "one" / "two" / "three";
  EXPECT_TRUE(logger.CreateDirectoryW(CXString(nested.u16string())));
  EXPECT_TRUE(fs::is_directory(nested));
  EXPECT_TRUE(logger.CreateDirectoryW(CXString(nested.u16string())));
  writeBytes(scratch.path() / "file", "x");
  EXPECT_FALSE(logger.CreateDirectoryW(CXString((scratch.path() / "file").u16string())));
  EXPECT_FALSE(logger.CreateDirectoryW(CXString()));
}

TEST(Logger, TrimsAFileThatHasPassedTheLimitKeepingItsContentAsHldold) {
  ScratchFolder scratch;
  TestLogger logger(CXString(u"Trim"), CXString(), scratch.root(), false);
  logger.SetLocalTimeSource([] { return at(2024, 6, 1, 12, 5, 0); });
  const std::u16string pid = digits(PlatformFacilities::currentProcessId());
  const fs::path logFile = scratch.logFolder() / "Trim.log";
  const fs::path oldFile = scratch.logFolder() / "Trim.hldold";

  EXPECT_EQ(logger.GetLogFileSize(), 0u);
  EXPECT_FALSE(logger.TrimLogFile());  // no file: nothing to trim
  fs::create_directories(scratch.logFolder());
  writeBytes(oldFile, "an older backup");

  // Exactly at the limit: not yet passed, so the line is appended.
  std::string content = kBom + std::string(Logger::iLogSizeLimitBytes - 2, 'x');
  writeBytes(logFile, content);
  EXPECT_EQ(logger.GetLogFileSize(), 4194304u);
  EXPECT_FALSE(logger.TrimLogFile());
  logger.LogMessage(CXString(u"at the limit"));
  content += le(u"[6/1/2024 12:05:00 PM] Trim(PID" + pid + u"): at the limit\n");
  EXPECT_EQ(readBytes(logFile), content);
  EXPECT_EQ(readBytes(oldFile), "an older backup");

  // Past the limit: the whole file moves to ".hldold" (replacing the older
  // one) and the new file starts with "Log trimmed.".
  logger.LogMessage(CXString(u"after the trim"));
  EXPECT_EQ(readBytes(oldFile), content);
  EXPECT_EQ(readBytes(logFile), kBom + le(u"[6/1/2024 12:05:00 PM] Trim(PID" + pid + u"): Log trimmed.\n") +
                                    le(u"[6/1/2024 12:05:00 PM] Trim(PID" + pid + u"): after the trim\n"));

  // TrimLogFile by itself: one byte past the limit is enough.
  writeBytes(logFile, kBom + std::string(Logger::iLogSizeLimitBytes - 1, 'y'));
  EXPECT_TRUE(logger.TrimLogFile());
  EXPECT_EQ(fs::file_size(oldFile), 4194305u);
  EXPECT_EQ(readBytes(logFile), kBom + le(u"[6/1/2024 12:05:00 PM] Trim(PID" + pid + u"): Log trimmed.\n"));

  // DeleteLogFile removes both files, and succeeds again when they are gone.
  EXPECT_TRUE(logger.DeleteLogFile());
  EXPECT_FALSE(fs::exists(logFile));
  EXPECT_FALSE(fs::exists(oldFile));
  EXPECT_TRUE(logger.DeleteLogFile());
  // The next line recreates folder and file.
  fs::remove_all(scratch.path() / "Halden");
  logger.LogMessage(CXString(u"again"));
  EXPECT_EQ(readBytes(logFile), kBom + le(u"[6/1/2024 12:05:00 PM] Trim(PID" + pid + u"): again\n"));
}

TEST(Logger, ThreadsWritingAtOnceLeaveEveryLineWholeAndInOrder) {
  ScratchFolder scratch;
  TestLogger logger(CXString(u"Threads"), CXString(), scratch.root(), true);
  constexpr int kThreads = 8;
  constexpr int kLinesPerThread = 300;
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      ++ready;
      while (ready.load() < kThreads) {
        std::this_thread::yield();
      }
      for (int n = 0; n < kLinesPerThread; ++n) {
        logger.LogMessage(CXString::fromUtf8("thread " + std::to_string(t) + " line " + std::to_string(n)));
        if (n % 100 == 0) {
          EXPECT_FALSE(logger.GetLogFilePath().empty());  // readers beside the writers
        }
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }

  const std::vector<std::string> lines = readLines(scratch.logFolder() / "Threads.log");
  ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLinesPerThread));
  std::map<int, int> nextLineOfThread;
  std::map<int, std::string> tidOfThread;
  const std::string pid = std::to_string(PlatformFacilities::currentProcessId());
  for (const std::string& line : lines) {
    ParsedLine parsed;
    ASSERT_TRUE(parseLine(line, parsed)) << line;
    EXPECT_EQ(parsed.app, "Threads");
    EXPECT_EQ(parsed.pid, pid);
    int thread = -1;
    int number = -1;
    ASSERT_EQ(std::sscanf(parsed.message.c_str(), "thread %d line %d", &thread, &number), 2) << line;
    EXPECT_EQ(number, nextLineOfThread[thread]++) << line;
    // Each writer thread shows one thread id of its own.
    auto [known, inserted] = tidOfThread.emplace(thread, parsed.tid);
    EXPECT_EQ(known->second, parsed.tid);
  }
  EXPECT_EQ(nextLineOfThread.size(), static_cast<std::size_t>(kThreads));
  for (const auto& [thread, count] : nextLineOfThread) {
    EXPECT_EQ(count, kLinesPerThread) << "thread " << thread;
  }
}

TEST(Logger, TwoProcessesWritingAcrossATrimLoseNoLine) {
  ScratchFolder scratch;
  fs::create_directories(scratch.logFolder());
  const fs::path logFile = scratch.logFolder() / "Shared.log";
  const fs::path oldFile = scratch.logFolder() / "Shared.hldold";
  // 150,000 bytes below the limit: the two writers pass it once together.
  const std::string filler = kBom + std::string(Logger::iLogSizeLimitBytes - 150000, 'f');
  writeBytes(logFile, filler);

  constexpr int kLines = 1500;
  const std::string program = LoggerTestSupport::programBesideTests("LoggerWriter");
  ASSERT_TRUE(fs::exists(program)) << program;
  const std::string root = scratch.path().string();
  const fs::path go = scratch.path() / "go";
  {
    LoggerTestSupport::ChildProcess writerA(program, {root, "WriterA", "Shared", std::to_string(kLines), go.string()});
    LoggerTestSupport::ChildProcess writerB(program, {root, "WriterB", "Shared", std::to_string(kLines), go.string()});
    writeBytes(go, "go");
    ASSERT_EQ(writerA.wait(), 0);
    ASSERT_EQ(writerB.wait(), 0);
  }

  // The backup is the filler followed by whole lines; the new file begins
  // with "Log trimmed." and then whole lines.
  const std::string oldBytes = readBytes(oldFile);
  ASSERT_GT(oldBytes.size(), filler.size());
  EXPECT_EQ(oldBytes.substr(0, filler.size()), filler);
  writeBytes(scratch.path() / "backup-lines", kBom + oldBytes.substr(filler.size()));
  std::vector<std::string> lines = readLines(scratch.path() / "backup-lines");
  const std::vector<std::string> newLines = readLines(logFile);
  ASSERT_FALSE(newLines.empty());
  ParsedLine first;
  ASSERT_TRUE(parseLine(newLines[0], first)) << newLines[0];
  EXPECT_EQ(first.message, "Log trimmed.");
  lines.insert(lines.end(), newLines.begin() + 1, newLines.end());

  std::map<std::string, int> nextLineOfWriter;
  std::map<std::string, std::string> pidOfWriter;
  for (const std::string& line : lines) {
    ParsedLine parsed;
    ASSERT_TRUE(parseLine(line, parsed)) << line;
    EXPECT_EQ(parsed.message, parsed.app + " line " + std::to_string(nextLineOfWriter[parsed.app]++)) << line;
    auto [known, inserted] = pidOfWriter.emplace(parsed.app, parsed.pid);
    EXPECT_EQ(known->second, parsed.pid);
  }
  EXPECT_EQ(nextLineOfWriter["WriterA"], kLines);
  EXPECT_EQ(nextLineOfWriter["WriterB"], kLines);
  EXPECT_EQ(nextLineOfWriter.size(), 2u);
  EXPECT_NE(pidOfWriter["WriterA"], pidOfWriter["WriterB"]);
}

TEST(Logger, AnotherProcessWaitsWhileTheLogFileLockIsHeld) {
  ScratchFolder scratch;
  const TestLogger sameFile(CXString(u"Held"), CXString(), scratch.root(), true);
  const fs::path logFile = scratch.logFolder() / "Held.log";
  const fs::path go = scratch.path() / "go";
  const std::string program = LoggerTestSupport::programBesideTests("LoggerWriter");
  fs::create_directories(scratch.logFolder());  // where the POSIX lock file lies

  auto held = std::make_unique<LoggerTestSupport::HeldLogFileLock>(sameFile.GetLogFileMutexName());
  ASSERT_TRUE(held->held());
  LoggerTestSupport::ChildProcess writer(program, {scratch.path().string(), "Held", "Held", "20", go.string()});
  writeBytes(go, "go");
  // The writer announces that it is about to log; while the lock is held here
  // it must not get a line into the file.
  for (int waited = 0; !fs::exists(go.string() + ".Held.ready") && waited < 60000; waited += 10) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ASSERT_TRUE(fs::exists(go.string() + ".Held.ready"));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_FALSE(fs::exists(logFile));
  held.reset();
  EXPECT_EQ(writer.wait(), 0);
  EXPECT_EQ(readLines(logFile).size(), 20u);
}

TEST(Logger, ObscuredLinesRoundTripAndMalformedTextIsRefused) {
  const std::vector<CXString> samples = {CXString(), CXString(u"[3/7/2024 1:05:09 PM] App(PID1/TID2): hello"),
                                         CXString(u"Gr\u00FC\u00DFe \u20AC \U0001F600"),
                                         CXString(std::u16string(10000, u'z'))};
  for (const CXString& line : samples) {
    const CXString encoded = Logger::EncryptAndBase64EncodeLogFileLine(line);
    const std::string text = encoded.toUtf8();
    const std::size_t padding = text.find('=');
    EXPECT_EQ(text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"), padding);
    EXPECT_TRUE(padding == std::string::npos || text.find_first_not_of('=', padding) == std::string::npos);
    EXPECT_EQ(Logger::Base64DecodeAndDecryptLogFileLine(encoded), line);
    // A fresh nonce every time: the same line never looks the same twice.
    EXPECT_NE(Logger::EncryptAndBase64EncodeLogFileLine(line), encoded);
  }
  // Line ends around the text are passed over.
  CXString withLineEnd = Logger::EncryptAndBase64EncodeLogFileLine(CXString(u"x"));
  withLineEnd += u"\r\n";
  EXPECT_EQ(Logger::Base64DecodeAndDecryptLogFileLine(withLineEnd).toUtf8(), "x");

  // Written once through BCrypt on Windows and once through libcrypto on
  // Linux: the cipher is the same everywhere.
  for (const char16_t* written :
       {u"AVSY8BboFeyJ0BEIHPT8hQ5Q72sEYwHCAPmOMYoWZrokAJEeBpGtQMdNq4JDkS/czeBUXpA1/xI1hA==",
        u"ATnTUgEq9SiwmZ71fMkA1aGy+eoAd3HCsoPrpFW1BjdFGXa6/zdeFzYGDg/1S0lPYpQOBWz61YiuXw=="}) {
    EXPECT_EQ(Logger::Base64DecodeAndDecryptLogFileLine(CXString(written)).toUtf8(), "written once, read everywhere");
  }

  const auto refusal = [](const CXString& text) -> std::string {
    try {
      Logger::Base64DecodeAndDecryptLogFileLine(text);
    } catch (const CPExceptionInvalidArgument& error) {
      EXPECT_EQ(error.getExceptionTypeByNumericCode(), 1);
      return error.getExceptionMessage();
    }
    return "not refused";
  };
  EXPECT_EQ(refusal(CXString(u"[3/7/2024 1:05:09 PM] App(PID1): plain")), "The obscured log line is not Base64 text.");
  EXPECT_EQ(refusal(CXString(u"AQID")), "The obscured log line holds 3 bytes, fewer than the 29 of the shortest line.");
  EXPECT_EQ(refusal(CXString()), "The obscured log line holds 0 bytes, fewer than the 29 of the shortest line.");

  std::vector<unsigned char> record;
  ASSERT_TRUE(CXString::Base64DecodeBinaryData(Logger::EncryptAndBase64EncodeLogFileLine(CXString(u"secret")), record));
  ASSERT_EQ(record.size(), 29u + 6u);
  std::vector<unsigned char> otherVersion = record;
  otherVersion[0] = 2;
  EXPECT_EQ(refusal(CXString::Base64EncodeBinaryData(otherVersion)),
            "The obscured log line has format version 2; this library reads version 1.");
  // One flipped bit anywhere in nonce, ciphertext or tag is detected.
  for (std::size_t position = 1; position < record.size(); ++position) {
    std::vector<unsigned char> damaged = record;
    damaged[position] ^= 0x01;
    EXPECT_EQ(refusal(CXString::Base64EncodeBinaryData(damaged)),
              "The obscured log line does not authenticate: it is damaged or was not written by this library.")
        << "byte " << position;
  }
  std::vector<unsigned char> cut(record.begin(), record.end() - 1);
  EXPECT_NE(refusal(CXString::Base64EncodeBinaryData(cut)), "not refused");
}

TEST(Logger, ObscuredModeWritesOneDecodableLinePerMessage) {
  ScratchFolder scratch;
  TestLogger logger(CXString(u"Hidden"), CXString(), scratch.root(), false);
  logger.SetLocalTimeSource([] { return at(2024, 2, 29, 23, 0, 0); });
  EXPECT_FALSE(logger.AreLogLinesObscured());
  logger.LogMessage(CXString(u"plain"));
  logger.SetObscuredLogLines(true);
  EXPECT_TRUE(logger.AreLogLinesObscured());
  logger.LogMessage(CXString(u"user document \u00C5.pdf"));

  const std::vector<std::string> lines = readLines(scratch.logFolder() / "Hidden.log");
  ASSERT_EQ(lines.size(), 2u);
  const std::string pid = std::to_string(PlatformFacilities::currentProcessId());
  EXPECT_EQ(lines[0], "[2/29/2024 11:00:00 PM] Hidden(PID" + pid + "): plain");
  EXPECT_EQ(lines[1].find("document"), std::string::npos);
  EXPECT_EQ(Logger::Base64DecodeAndDecryptLogFileLine(CXString::fromUtf8(lines[1])).toUtf8(),
            "[2/29/2024 11:00:00 PM] Hidden(PID" + pid + "): user document \xC3\x85.pdf");
}

TEST(Logger, SingletonIsOneInstanceThatNewSettingsReconfigure) {
  ScratchFolder scratch;
  Logger& first = Logger::InitializeAndGetInstance(CXString(u"One"), CXString(u"Single"), scratch.root(), true);
  EXPECT_EQ(&Logger::GetInstance(), &first);
  EXPECT_EQ(fs::path(first.GetLogFilePath().u16string()), scratch.logFolder() / "Single.log");
  first.SetLocalTimeSource([] { return at(2024, 1, 1, 9, 0, 0); });
  first.LogMessage(CXString(u"from one"));

  Logger& second = Logger::InitializeAndGetInstance(CXString(u"Two"), CXString(u"Single"), scratch.root(), false);
  EXPECT_EQ(&second, &first);
  second.LogMessage(CXString(u"from two"));
  const std::string pid = std::to_string(PlatformFacilities::currentProcessId());
  const std::string tid = std::to_string(PlatformFacilities::currentThreadId());
  EXPECT_EQ(readLines(scratch.logFolder() / "Single.log"),
            (std::vector<std::string>{"[1/1/2024 9:00:00 AM] One(PID" + pid + "/TID" + tid + "): from one",
                                      "[1/1/2024 9:00:00 AM] Two(PID" + pid + "): from two"}));

  // The shorter forms: the file name follows the app name, the root is the default.
  Logger::InitializeAndGetInstance(CXString(u"Three"), CXString(u"Other"), false);
  EXPECT_EQ(fs::path(Logger::GetInstance().GetLogFilePath().u16string()).filename(), "Other.log");
  Logger::InitializeAndGetInstance(CXString(u"Four"), true);
  EXPECT_EQ(fs::path(Logger::GetInstance().GetLogFilePath().u16string()).filename(), "Four.log");
  Logger::GetInstance().SetLocalTimeSource({});
}
