#include "DebuggingAndExceptions/ErrorDisplayFacility.h"

#include "DebuggingAndExceptions/DebugUtilities.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <utility>

IErrorDisplayFacilityHost::~IErrorDisplayFacilityHost() = default;

ErrorDisplayFacility::ErrorDisplayFacility(IPlatformUtilities& platformUtilities,
                                           IErrorDisplayFacilityHost& host) noexcept
    : ProcessWideFacility(platformUtilities, host) {}

ErrorDisplayFacility::~ErrorDisplayFacility() = default;

ErrorDisplayFacility& ErrorDisplayFacility::operator=(ErrorDisplayFacility&& other) noexcept {
  ProcessWideFacility::operator=(std::move(other));
  return *this;
}

void ErrorDisplayFacility::reportError(const char* title, const char* text) noexcept {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  const char* safeTitle = title != nullptr ? title : "";
  const char* safeText = text != nullptr ? text : "";
  if (!isInitialized()) {
    PlatformFacilities::writeToDebuggerChannel(safeTitle);
    PlatformFacilities::writeToDebuggerChannel("\n");
    PlatformFacilities::writeToDebuggerChannel(safeText);
    PlatformFacilities::writeToDebuggerChannel("\n");
    return;
  }
  DebugUtilities::deliverReportToDeveloper(getPlatformUtilities(), safeTitle, safeText);
  try {
    getHost().reportAndProcessChoiceForError(safeTitle, safeText);
  } catch (...) {
    // A host must not let anything out; if it does, the report stands.
  }
}

void ErrorDisplayFacility::reportError(const std::string& title, const std::string& text) noexcept {
  reportError(title.c_str(), text.c_str());
}
