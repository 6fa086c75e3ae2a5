#include "DebuggingAndExceptions/DebugUtilities.h"

#include "DebuggingAndExceptions/ExecutionContextStack.h"
#include "LowLevelFacilities/FormatStringBuffer.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/IPlatformUtilities.h"
#include "LowLevelFacilities/LoggingFacility.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <string_view>

namespace DebugUtilities {

namespace {

// "Execution context:\t" and the calling thread's execution-context stack as
// its multi-line display (heading, then one line per context, oldest first),
// with the display's "\r\n" line ends written as the report's "\n"; or
// "<unavailable>" when the thread has no stack.
void appendExecutionContextLine(InternalHaldenCP::FormatStringBuffer<1024>& report) {
  report.append("Execution context:\t");
  const ExecutionContextStack* stack = UtilitiesDllPerThreadStorage::TryGetExecutionContextStackForErrorDisplay();
  if (stack == nullptr) {
    report.append("<unavailable>\n");
    return;
  }
  const CPString display = stack->GetMultiLineDisplayString(true);
  std::string_view rest(display.utf8StdString());
  for (std::size_t lineEnd = rest.find("\r\n"); lineEnd != std::string_view::npos; lineEnd = rest.find("\r\n")) {
    report.append(rest.substr(0, lineEnd));
    report.push_back('\n');
    rest.remove_prefix(lineEnd + 2);
  }
  report.append(rest);
}

void writeTitleAndTextToDebuggerChannel(const char* title, const char* text) noexcept {
  PlatformFacilities::writeToDebuggerChannel(title);
  PlatformFacilities::writeToDebuggerChannel("\n");
  PlatformFacilities::writeToDebuggerChannel(text);
  PlatformFacilities::writeToDebuggerChannel("\n");
}

}  // namespace

std::string formatLastErrorDisplayString(unsigned long code, bool withPrefix) {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  std::string text = PlatformFacilities::systemMessageText(static_cast<std::uint32_t>(code));
  if (text.empty()) {
    text = "Unknown value";
  }
  const char* prefix = withPrefix ? "GetLastError()" : "";
  const char* joiner = withPrefix ? " = " : "";
  return InternalHaldenCP::formatToStdString("%s%s%s (%lu/0x%lx)", prefix, joiner, text, code, code);
}

std::string getErrorContextAndMessageDescription(const DebugContextCopy& site, unsigned long lastError,
                                                 const std::string& whatWasHappening, std::string&& threadDescription,
                                                 std::string&& details) {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  using InternalHaldenCP::formatIntoBuffer;
  const std::string& path = site.getFullFileName();
  const std::size_t separator = path.find_last_of("\\/");
  const std::string_view fileName =
      separator == std::string::npos ? std::string_view(path) : std::string_view(path).substr(separator + 1);
  const auto processId = static_cast<unsigned long>(PlatformFacilities::currentProcessId());
  if (threadDescription.empty()) {
    const auto threadId = static_cast<unsigned long>(PlatformFacilities::currentThreadId());
    threadDescription = InternalHaldenCP::formatToStdString("%lu|0x%lx", threadId, threadId);
  }

  InternalHaldenCP::FormatStringBuffer<1024> report;
  formatIntoBuffer(report, "Path:\t%s\n", path);
  formatIntoBuffer(report, "File:\t%s\n", fileName);
  formatIntoBuffer(report, "Method:\t%s()\n", site.getFunctionName());
  formatIntoBuffer(report, "Line:\t%u\n", static_cast<unsigned>(site.getLineNumber()));
  formatIntoBuffer(report, "Version:\t%s\n", HDU_VERSION_TEXT);
  formatIntoBuffer(report, "Process:\t%ld|0x%lx\n", static_cast<long>(processId), processId);
  formatIntoBuffer(report, "Thread:\t%s\n", threadDescription);
  formatIntoBuffer(report, "Last err (might be unrelated): %s\n", formatLastErrorDisplayString(lastError, true));
  formatIntoBuffer(report, "While:\t%s\n", whatWasHappening);
  appendExecutionContextLine(report);
  if (!details.empty()) {
    report.append("\nDetails:");
    std::string_view rest(details);
    while (!rest.empty()) {
      const std::size_t lineEnd = rest.find('\n');
      std::string_view line = rest.substr(0, lineEnd);
      if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
      }
      formatIntoBuffer(report, "\n\t%s", line);
      rest = lineEnd == std::string_view::npos ? std::string_view() : rest.substr(lineEnd + 1);
    }
  }
  return report.takeStdString();
}

void reportErrorForLowLevelUtilities(const IPlatformUtilities& platformUtilities, const char* title,
                                     const char* text) noexcept {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  const char* safeTitle = title != nullptr ? title : "";
  const char* safeText = text != nullptr ? text : "";
  try {
    platformUtilities.displayDebugMessageForLowLevelUtilities(safeTitle, safeText);
  } catch (...) {
    writeTitleAndTextToDebuggerChannel(safeTitle, safeText);
  }
}

void reportErrorForLowLevelUtilities(const char* title, const char* text) noexcept {
  if (const IPlatformUtilities* platformUtilities = LowLevelFacilitiesGlobals::tryGetPlatformUtilities()) {
    reportErrorForLowLevelUtilities(*platformUtilities, title, text);
    return;
  }
  PlatformFacilities::LastErrorPreserver preserveLastError;
  writeTitleAndTextToDebuggerChannel(title != nullptr ? title : "", text != nullptr ? text : "");
}

void reportErrorForLowLevelUtilities(const std::string& title, const std::string& text) noexcept {
  reportErrorForLowLevelUtilities(title.c_str(), text.c_str());
}

void deliverReportToDeveloper(const IPlatformUtilities& platformUtilities, const char* title,
                              const char* text) noexcept {
  // Only the library's own facilities log their reports; a facility built
  // with other platform utilities (a test's, a tool's) shows them there.
  if (&platformUtilities == LowLevelFacilitiesGlobals::tryGetPlatformUtilities() &&
      HaldenLogging::logReportToGlobalLoggingFacility(
          title, text, DebugContextReference(__FILE__, __LINE__, "DebugUtilities::deliverReportToDeveloper"))) {
    return;
  }
  reportErrorForLowLevelUtilities(platformUtilities, title, text);
}

}  // namespace DebugUtilities
