#include "DebuggingAndExceptions/ExceptionFacility.h"

#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/DebugUtilities.h"
#include "LowLevelFacilities/CXString.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <utility>

namespace {

const char* const kAnotherMessageFollows =
    "\n\nAnother message will follow with more information, unless memory issues prevent it from being displayed.";

}  // namespace

IExceptionFacilityHost::~IExceptionFacilityHost() = default;

ExceptionFacility::ExceptionFacility(IPlatformUtilities& platformUtilities, IExceptionFacilityHost& host) noexcept
    : ProcessWideFacility(platformUtilities, host) {}

ExceptionFacility::~ExceptionFacility() = default;

ExceptionFacility& ExceptionFacility::operator=(ExceptionFacility&& other) noexcept {
  ProcessWideFacility::operator=(std::move(other));
  return *this;
}

bool ExceptionFacility::allowForExceptionDebug(const char* exceptionTypeName, const std::string& message,
                                               unsigned long /*lastError*/, DebugContextReference&& throwSite) {
  if (!isInitialized()) {
    return false;
  }
  PlatformFacilities::LastErrorPreserver preserveLastError;
  const char* typeName = exceptionTypeName != nullptr ? exceptionTypeName : "";
  if (!getHost().allowForExceptionDebugOnThrow(typeName, message.c_str())) {
    return false;
  }
  try {
    const std::string line =
        InternalHaldenCP::formatToStdString("Debug break allowed for %s thrown from %s: %s\n", typeName,
                                            DebugContextCopy(throwSite).getLogString(), message);
    PlatformFacilities::writeToDebuggerChannel(line.c_str());
  } catch (...) {
    PlatformFacilities::writeToDebuggerChannel("Debug break allowed for a thrown exception\n");
  }
  CPException::SafeDebugBreak();
  return true;
}

std::string ExceptionFacility::makeCaughtExceptionTitle(const DebugContextReference& catchSite) {
  return InternalHaldenCP::formatToStdString("Exception Caught in '%s'", catchSite.getFunctionName());
}

std::vector<std::string> ExceptionFacility::makeCaughtExceptionMessages(const std::exception& exception,
                                                                        const DebugContextReference& catchSite,
                                                                        const std::string& whatWasHappening,
                                                                        unsigned long lastError) {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  const DebugContextCopy site(catchSite);
  std::string first = InternalHaldenCP::formatToStdString("Location of catch:\n%s\n\n%s", site.getLogString(),
                                                          CPException::getExceptionDescription(exception));
  std::string report = DebugUtilities::getErrorContextAndMessageDescription(site, lastError, whatWasHappening, {}, {});
  std::vector<std::string> messages;
  if (first.size() + 2 + report.size() <= kMaximumSingleReportCharacters) {
    first += "\n\n";
    first += report;
    messages.push_back(std::move(first));
    return messages;
  }
  first += kAnotherMessageFollows;
  messages.push_back(std::move(first));
  messages.push_back(std::move(report));
  return messages;
}

void ExceptionFacility::reportAndProcessCaughtException(const std::exception& exception,
                                                        DebugContextReference&& catchSite,
                                                        const std::string& whatWasHappening) noexcept {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  const unsigned long lastError = preserveLastError.savedValue();
  std::string title;
  std::string typeName;
  std::vector<std::string> messages;
  try {
    title = makeCaughtExceptionTitle(catchSite);
    const auto* cpException = dynamic_cast<const CPException*>(&exception);
    typeName =
        cpException != nullptr ? cpException->getExceptionType() : CPException::getReadableTypeName(typeid(exception));
    messages = makeCaughtExceptionMessages(exception, catchSite, whatWasHappening, lastError);
  } catch (...) {
    // Out of memory (or a formatting failure) while composing: say what we can.
    PlatformFacilities::writeToDebuggerChannel("Exception Caught: the report could not be composed, in ");
    PlatformFacilities::writeToDebuggerChannel(catchSite.getFunctionName());
    PlatformFacilities::writeToDebuggerChannel("\n");
    return;
  }
  for (const std::string& text : messages) {
    if (!isInitialized()) {
      // The library's static objects are not (or no longer) there: the
      // debugger channel is all that is left.
      PlatformFacilities::writeToDebuggerChannel(title.c_str());
      PlatformFacilities::writeToDebuggerChannel("\n");
      PlatformFacilities::writeToDebuggerChannel(text.c_str());
      PlatformFacilities::writeToDebuggerChannel("\n");
      continue;
    }
    DebugUtilities::deliverReportToDeveloper(getPlatformUtilities(), title.c_str(), text.c_str());
    try {
      getHost().reportAndProcessChoiceForCaughtException(typeName.c_str(), text.c_str());
    } catch (...) {
      // A host must not let anything out; if it does, the report stands.
    }
  }
}

void ExceptionFacility::reportAndProcessUnknownCaughtException(DebugContextReference&& /*catchSite*/,
                                                               const std::string& /*whatWasHappening*/) noexcept {}

int ExceptionFacility::processCrtDebugReport(int reportType, const wchar_t* message, int* returnValue) noexcept {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  if (returnValue != nullptr) {
    *returnValue = 0;
  }
  const char* title = "C Runtime Report";
  switch (reportType) {
    case 0:
      title = "C Runtime Warning";
      break;
    case 1:
      title = "C Runtime Error";
      break;
    case 2:
      title = "C Runtime Assertion";
      break;
    default:
      break;
  }
  try {
    const std::string text = message != nullptr ? CXString(message).toUtf8() : std::string();
    if (isInitialized()) {
      DebugUtilities::deliverReportToDeveloper(getPlatformUtilities(), title, text.c_str());
    } else {
      PlatformFacilities::writeToDebuggerChannel(title);
      PlatformFacilities::writeToDebuggerChannel("\n");
      PlatformFacilities::writeToDebuggerChannel(text.c_str());
      PlatformFacilities::writeToDebuggerChannel("\n");
    }
  } catch (...) {
    PlatformFacilities::writeToDebuggerChannel(title);
    PlatformFacilities::writeToDebuggerChannel("\n");
  }
  return 1;
}

// ---- CPException's forwarders to the library's exception facility ----------------

bool CPException::allowForExceptionDebug(const char* exceptionTypeName, const std::string& message,
                                         unsigned long lastError, DebugContextReference&& throwSite) {
  return LowLevelFacilitiesGlobals::getExceptionFacility().allowForExceptionDebug(exceptionTypeName, message, lastError,
                                                                                  DebugContextReference(throwSite));
}

void CPException::reportAndProcessCaughtException(const std::exception& exception, DebugContextReference&& catchSite,
                                                  const std::string& whatWasHappening) {
  LowLevelFacilitiesGlobals::getExceptionFacility().reportAndProcessCaughtException(
      exception, DebugContextReference(catchSite), whatWasHappening);
}

void CPException::reportAndProcessUnknownCaughtException(DebugContextReference&& catchSite,
                                                         const std::string& whatWasHappening) {
  LowLevelFacilitiesGlobals::getExceptionFacility().reportAndProcessUnknownCaughtException(
      DebugContextReference(catchSite), whatWasHappening);
}

int CPException::HaldenCrtDbgReportHook(int reportType, wchar_t* message, int* returnValue) {
  return LowLevelFacilitiesGlobals::getExceptionFacility().processCrtDebugReport(reportType, message, returnValue);
}
