#pragma once
// Helpers of the Logger tests that differ by platform (tests/win/ and
// tests/posix/ implement them): writer processes, and the log file's
// cross-process lock taken the way another program would take it.

#include "LowLevelFacilities/CXString.h"

#include <string>
#include <vector>

namespace LoggerTestSupport {

// The full path of a program built beside the test program (".exe" is added
// on Windows).
std::string programBesideTests(const std::string& name);

// A started program; wait() returns its exit code (-1 when it could not be
// started or waited for). The destructor waits when wait() was not called.
class ChildProcess {
 public:
  ChildProcess(const std::string& program, const std::vector<std::string>& arguments);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  int wait();

 private:
  std::intptr_t m_handle;  // process handle on Windows, pid on POSIX; -1 when none
  int m_exitCode = -1;
};

// Holds a log file's cross-process lock, named as Logger::GetLogFileMutexName
// gives it (a named mutex on Windows, a lock file taken with flock on POSIX),
// from construction to destruction.
class HeldLogFileLock {
 public:
  explicit HeldLogFileLock(const CXString& name);
  ~HeldLogFileLock();
  HeldLogFileLock(const HeldLogFileLock&) = delete;
  HeldLogFileLock& operator=(const HeldLogFileLock&) = delete;
  bool held() const { return m_held; }

 private:
  std::intptr_t m_handle = -1;
  bool m_held = false;
};

}  // namespace LoggerTestSupport
