#include "LowLevelFacilities/PlatformFacilities.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace pf = PlatformFacilities;

TEST(PlatformFacilities, LastErrorIsSavedAndRestoredAcrossACallThatChangesIt) {
  pf::setLastError(1234);
  EXPECT_EQ(pf::getLastError(), 1234u);
  {
    pf::LastErrorPreserver preserve;
    EXPECT_EQ(preserve.savedValue(), 1234u);
    // Calls that touch the system (and may change the last error) in between.
    (void)pf::computerName();
    (void)pf::systemMessageText(2);
    pf::setLastError(99);
  }
  EXPECT_EQ(pf::getLastError(), 1234u);
  // The services themselves keep the caller's last error.
  pf::setLastError(4321);
  (void)pf::systemMessageText(0xFFFFFFF0u);
  (void)pf::processImagePath();
  (void)pf::ownModulePath();
  pf::writeToDebuggerChannel("");
  EXPECT_EQ(pf::getLastError(), 4321u);
}

TEST(PlatformFacilities, MessageTextForKnownAndUnknownCodes) {
  const std::string fileNotFound = pf::systemMessageText(2);
  ASSERT_FALSE(fileNotFound.empty());
  // Trailing white space (FormatMessageW leaves a blank or line break) is trimmed.
  EXPECT_NE(fileNotFound.back(), ' ');
  EXPECT_NE(fileNotFound.back(), '\n');
  EXPECT_EQ(fileNotFound.find('\n'), std::string::npos);
  EXPECT_TRUE(pf::systemMessageText(0x7FFFFF01u).empty());
}

TEST(PlatformFacilities, ThreadAndProcessIdentifiers) {
  const std::uint32_t mainThread = pf::currentThreadId();
  const std::uint32_t process = pf::currentProcessId();
  EXPECT_NE(process, 0u);
  EXPECT_EQ(mainThread, pf::currentThreadId());
  std::uint32_t otherThread = 0;
  std::uint32_t otherProcess = 0;
  std::thread worker([&] {
    otherThread = pf::currentThreadId();
    otherProcess = pf::currentProcessId();
  });
  worker.join();
  EXPECT_NE(otherThread, mainThread);
  EXPECT_NE(otherThread, 0u);
  EXPECT_EQ(otherProcess, process);
  EXPECT_NE(pf::processName().find("hdUtilitiesTests"), std::string::npos);
  EXPECT_FALSE(pf::computerName().empty());
}

TEST(PlatformFacilities, DebuggerChannelAndModuleAndClock) {
  pf::writeToDebuggerChannel("hd-Utilities platform test: debugger channel write\n");
  pf::writeToDebuggerChannel(nullptr);
  pf::breakIntoDebuggerIfAttached();  // no debugger: must return

  EXPECT_NE(pf::ownModuleHandle(), nullptr);
  EXPECT_NE(pf::ownModulePath().find("hd-Utilities"), std::string::npos);

  const pf::HighResolutionClockReading first = pf::readHighResolutionClock();
  const pf::HighResolutionClockReading second = pf::readHighResolutionClock();
  EXPECT_GT(first.ticksPerSecond, 0u);
  EXPECT_EQ(first.ticksPerSecond, second.ticksPerSecond);
  EXPECT_GE(second.ticks, first.ticks);

  const pf::LocalTime now = pf::localTimeNow();
  EXPECT_GE(now.year, 2020);
  EXPECT_GE(now.month, 1);
  EXPECT_LE(now.month, 12);
  EXPECT_LE(now.millisecond, 999);
}

namespace {
pf::OnceFlag g_onceFlag{};
std::atomic<int> g_onceCalls{0};
void countOnce(void* context) {
  g_onceCalls.fetch_add(1);
  *static_cast<int*>(context) = 42;
}
}  // namespace

TEST(PlatformFacilities, RunOnceRunsExactlyOnceAcrossThreadsAndLockIsRecursive) {
  int value = 0;
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] { pf::runOnce(g_onceFlag, &countOnce, &value); });
  }
  for (auto& t : threads) {
    t.join();
  }
  EXPECT_EQ(g_onceCalls.load(), 1);
  EXPECT_EQ(value, 42);

  pf::CriticalSection section;
  long counter = 0;
  std::vector<std::thread> writers;
  writers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      for (int j = 0; j < 10000; ++j) {
        pf::CriticalSectionLock outer(section);
        pf::CriticalSectionLock inner(section);  // recursive entry must not deadlock
        ++counter;
      }
    });
  }
  for (auto& t : writers) {
    t.join();
  }
  EXPECT_EQ(counter, 40000);
}

TEST(PlatformFacilities, NativeMachineArchitectureIsTheMachineThisBuildRunsOn) {
  // This machine runs its own builds natively (and x64 programs under wine64).
#if defined(__x86_64__) || defined(_M_X64)
  EXPECT_EQ(pf::nativeMachineArchitecture(), pf::kMachineX64);
#elif defined(__aarch64__) || defined(_M_ARM64)
  EXPECT_EQ(pf::nativeMachineArchitecture(), pf::kMachineArm64);
#else
  EXPECT_NE(pf::nativeMachineArchitecture(), pf::kMachineUnknown);
#endif
}
