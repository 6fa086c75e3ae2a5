// The Logger tests' platform helpers on POSIX: posix_spawn, and flock on the
// lock file.
#include "LoggerTestSupport.h"

#include "LowLevelFacilities/PlatformFacilities.h"

#include <filesystem>

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace LoggerTestSupport {

std::string programBesideTests(const std::string& name) {
  return (std::filesystem::path(PlatformFacilities::processImagePath()).parent_path() / name).string();
}

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments) : m_handle(-1) {
  std::vector<std::string> all{program};
  all.insert(all.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  argv.reserve(all.size() + 1);
  for (auto& argument : all) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);
  pid_t child = -1;
  if (::posix_spawn(&child, program.c_str(), nullptr, nullptr, argv.data(), environ) == 0) {
    m_handle = child;
  }
}

ChildProcess::~ChildProcess() {
  wait();
}

int ChildProcess::wait() {
  if (m_handle >= 0) {
    int status = 0;
    if (::waitpid(static_cast<pid_t>(m_handle), &status, 0) == static_cast<pid_t>(m_handle) && WIFEXITED(status)) {
      m_exitCode = WEXITSTATUS(status);
    }
    m_handle = -1;
  }
  return m_exitCode;
}

HeldLogFileLock::HeldLogFileLock(const CXString& name) {
  const int descriptor = ::open(name.toUtf8().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor >= 0) {
    m_handle = descriptor;
    m_held = ::flock(descriptor, LOCK_EX) == 0;
  }
}

HeldLogFileLock::~HeldLogFileLock() {
  if (m_handle >= 0) {
    ::close(static_cast<int>(m_handle));  // releases the flock
  }
}

}  // namespace LoggerTestSupport
