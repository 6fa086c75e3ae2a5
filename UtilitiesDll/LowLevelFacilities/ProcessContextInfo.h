#pragma once
// ProcessContextInfo: the identity of the context the library's global
// facilities were set up for: the process, the user it runs as, and the
// calling application, plus the build of the library.
//
// Two contexts are the same context (isSameContextAs) when their process id,
// process name, user name and application name are equal. The user name
// matters because a spooler process serves many users (its threads
// impersonate them); the process id because a forked child is a new process
// with the parent's memory. The computer name and the build text are kept for
// display only: neither can change while the library stays loaded.

#include "hdUtilitiesExport.h"

#include <cstdint>
#include <string>

class HDU_API ProcessContextInfo {
 public:
  ProcessContextInfo() = default;
  ProcessContextInfo(std::uint32_t processId, std::string processName, std::string userName, std::string computerName,
                     std::string applicationName, std::string buildContext);

  // The current context: the process's id and file name, the calling thread's
  // user name, the computer name, the calling application's file name without
  // extension or spaces, and "hd-Utilities <version> (<32|64>-bit)".
  static ProcessContextInfo captureCurrent();

  std::uint32_t getProcessId() const noexcept { return m_processId; }
  const std::string& getProcessName() const noexcept { return m_processName; }
  const std::string& getUserName() const noexcept { return m_userName; }
  const std::string& getComputerName() const noexcept { return m_computerName; }
  const std::string& getApplicationName() const noexcept { return m_applicationName; }
  const std::string& getBuildContext() const noexcept { return m_buildContext; }

  bool isSameContextAs(const ProcessContextInfo& other) const noexcept;
  // "process <name> (<id>), user <user>, application <app>, computer <computer>, <build>"
  std::string getDisplayString() const;

 private:
  std::uint32_t m_processId = 0;
  std::string m_processName;
  std::string m_userName;
  std::string m_computerName;
  std::string m_applicationName;
  std::string m_buildContext;
};
