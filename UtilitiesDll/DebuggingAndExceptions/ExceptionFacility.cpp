// The CPException forwarders to the process-wide exception facility.
// (The facility itself is being built; until then the forwarders use the
// platform layer directly.)

#include "DebuggingAndExceptions/CPException.h"

bool CPException::allowForExceptionDebug(const char* /*exceptionTypeName*/, const std::string& /*message*/,
                                         unsigned long /*lastError*/, DebugContextReference&& /*throwSite*/) {
  return false;
}

void CPException::reportAndProcessCaughtException(const std::exception& exception, DebugContextReference&& catchSite,
                                                  const std::string& whatWasHappening) {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  const std::string text =
      InternalHaldenCP::formatToStdString("Exception Caught in '%s'\n%s\nWhile: %s\n", catchSite.getFunctionName(),
                                          getExceptionDescription(exception), whatWasHappening);
  PlatformFacilities::writeToDebuggerChannel(text.c_str());
}

void CPException::reportAndProcessUnknownCaughtException(DebugContextReference&& /*catchSite*/,
                                                         const std::string& /*whatWasHappening*/) {}

int CPException::HaldenCrtDbgReportHook(int /*reportType*/, wchar_t* /*message*/, int* returnValue) {
  if (returnValue != nullptr) {
    *returnValue = 0;
  }
  return 0;
}
