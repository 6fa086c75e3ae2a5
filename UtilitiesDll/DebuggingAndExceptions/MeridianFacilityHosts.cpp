#include "DebuggingAndExceptions/MeridianFacilityHosts.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <cstdlib>
#include <cstring>

namespace MeridianFacilityHosts {

namespace {

char toLowerAscii(char c) noexcept {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isSeparator(char c) noexcept {
  return c == ',' || c == ';' || c == ' ' || c == '\t';
}

bool equalsNoCase(const char* text, std::size_t length, const char* word) noexcept {
  if (std::strlen(word) != length) {
    return false;
  }
  for (std::size_t i = 0; i < length; ++i) {
    if (toLowerAscii(text[i]) != toLowerAscii(word[i])) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool isDebugBreakSwitchSet(const char* switches, const char* word) noexcept {
  if (switches == nullptr || word == nullptr) {
    return false;
  }
  const char* cursor = switches;
  while (*cursor != '\0') {
    while (isSeparator(*cursor)) {
      ++cursor;
    }
    const char* start = cursor;
    while (*cursor != '\0' && !isSeparator(*cursor)) {
      ++cursor;
    }
    const auto length = static_cast<std::size_t>(cursor - start);
    if (length != 0 && (equalsNoCase(start, length, word) || equalsNoCase(start, length, "all"))) {
      return true;
    }
  }
  return false;
}

bool isDebugBreakRequested(const char* word) noexcept {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  return isDebugBreakSwitchSet(std::getenv("HDU_DEBUG_BREAK"), word);
}

}  // namespace MeridianFacilityHosts

MeridianExceptionFacilityHost::~MeridianExceptionFacilityHost() = default;

bool MeridianExceptionFacilityHost::allowForExceptionDebugOnThrow(const char* /*exceptionTypeName*/,
                                                                  const char* /*text*/) {
  return MeridianFacilityHosts::isDebugBreakRequested("throw");
}

void MeridianExceptionFacilityHost::reportAndProcessChoiceForCaughtException(const char* /*exceptionTypeName*/,
                                                                             const char* /*text*/) {
  if (MeridianFacilityHosts::isDebugBreakRequested("catch")) {
    CPException::SafeDebugBreak();
  }
}

namespace HaldenAssertion {

MeridianAssertionFacilityHost::~MeridianAssertionFacilityHost() = default;

AssertionActionEnum MeridianAssertionFacilityHost::requestAssertionAction(const char* /*conditionText*/,
                                                                          const char* /*message*/,
                                                                          AssertionActionEnum defaultAction) {
  if (MeridianFacilityHosts::isDebugBreakRequested("assert") && PlatformFacilities::isDebuggerAttached()) {
    return AAE_BREAK_INTO_DEBUGGER;
  }
  return defaultAction;
}

bool MeridianAssertionFacilityHost::areAssertionsProcessedSynchronously() const {
  return true;
}

}  // namespace HaldenAssertion

MeridianErrorDisplayFacilityHost::~MeridianErrorDisplayFacilityHost() = default;

void MeridianErrorDisplayFacilityHost::reportAndProcessChoiceForError(const char* /*title*/, const char* /*text*/) {
  if (MeridianFacilityHosts::isDebugBreakRequested("error")) {
    CPException::SafeDebugBreak();
  }
}
