// The Logger tests' platform helpers on Windows: CreateProcessW, and the
// named mutex.
#include "LoggerTestSupport.h"

#include "LowLevelFacilities/PlatformFacilities.h"

#include <windows.h>

#include <filesystem>

namespace LoggerTestSupport {

std::string programBesideTests(const std::string& name) {
  return (std::filesystem::path(PlatformFacilities::processImagePath()).parent_path() / (name + ".exe")).string();
}

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments) : m_handle(-1) {
  // Every argument in quotes; none of the tests' arguments holds a quote.
  std::wstring commandLine = L"\"" + std::filesystem::path(program).wstring() + L"\"";
  for (const auto& argument : arguments) {
    commandLine += L" \"" + std::filesystem::path(argument).wstring() + L"\"";
  }
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
    ::CloseHandle(process.hThread);
    m_handle = reinterpret_cast<std::intptr_t>(process.hProcess);
  }
}

ChildProcess::~ChildProcess() {
  wait();
}

int ChildProcess::wait() {
  if (m_handle != -1) {
    const HANDLE process = reinterpret_cast<HANDLE>(m_handle);
    DWORD code = 0;
    if (::WaitForSingleObject(process, INFINITE) == WAIT_OBJECT_0 && ::GetExitCodeProcess(process, &code)) {
      m_exitCode = static_cast<int>(code);
    }
    ::CloseHandle(process);
    m_handle = -1;
  }
  return m_exitCode;
}

HeldLogFileLock::HeldLogFileLock(const CXString& name) {
  HANDLE mutex = ::CreateMutexW(nullptr, FALSE, name.wc_str());
  if (mutex != nullptr) {
    m_handle = reinterpret_cast<std::intptr_t>(mutex);
    const DWORD result = ::WaitForSingleObject(mutex, INFINITE);
    m_held = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
  }
}

HeldLogFileLock::~HeldLogFileLock() {
  if (m_handle != -1) {
    if (m_held) {
      ::ReleaseMutex(reinterpret_cast<HANDLE>(m_handle));
    }
    ::CloseHandle(reinterpret_cast<HANDLE>(m_handle));
  }
}

}  // namespace LoggerTestSupport
