#include "LowLevelFacilities/ProcessContextInfo.h"

#include "DesktopUtilitiesLibraryHost.h"
#include "UtilitiesLibraryHost.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <utility>

ProcessContextInfo::ProcessContextInfo(std::uint32_t processId, std::string processName, std::string userName,
                                       std::string computerName, std::string applicationName, std::string buildContext)
    : m_processId(processId),
      m_processName(std::move(processName)),
      m_userName(std::move(userName)),
      m_computerName(std::move(computerName)),
      m_applicationName(std::move(applicationName)),
      m_buildContext(std::move(buildContext)) {}

ProcessContextInfo ProcessContextInfo::captureCurrent() {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  return ProcessContextInfo(PlatformFacilities::currentProcessId(), PlatformFacilities::processName(),
                            PlatformFacilities::userName(), PlatformFacilities::computerName(),
                            UtilitiesLibraryHost::TryGetCallingApplicationFilenameWithoutExtensionOrSpaces().toUtf8(),
                            InternalHaldenCP::formatToStdString("hd-Utilities %s (%u-bit)", HDU_VERSION_TEXT,
                                                                static_cast<unsigned>(sizeof(void*) * 8)));
}

bool ProcessContextInfo::isSameContextAs(const ProcessContextInfo& other) const noexcept {
  return m_processId == other.m_processId && m_processName == other.m_processName && m_userName == other.m_userName &&
         m_applicationName == other.m_applicationName;
}

std::string ProcessContextInfo::getDisplayString() const {
  return InternalHaldenCP::formatToStdString("process %s (%u), user %s, application %s, computer %s, %s", m_processName,
                                             m_processId, m_userName, m_applicationName, m_computerName,
                                             m_buildContext);
}
