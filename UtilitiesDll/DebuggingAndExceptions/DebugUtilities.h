#pragma once
// DebugUtilities: the text builders shared by the exception, assertion and
// error-display facilities, and the two routes by which the library's reports
// reach the developer.

#include "DebuggingAndExceptions/DebugContext.h"
#include "hdUtilitiesExport.h"

#include <string>

class IPlatformUtilities;

namespace DebugUtilities {

// "%s%s%s (%lu/0x%lx)": the prefix "GetLastError()" (when withPrefix), the
// joiner " = " (when there is a prefix), the system's text for the code (or
// "Unknown value"), then the code in decimal and hexadecimal. Keeps the
// thread's last-error value.
HDU_API std::string formatLastErrorDisplayString(unsigned long code, bool withPrefix);

// The multi-line error report, one line each, in this order:
//   "Path:\t<full file name of the site>\n"
//   "File:\t<file name after the last backslash or slash>\n"
//   "Method:\t<function>()\n"
//   "Line:\t<line>\n"
//   "Version:\t<the library's version>\n"
//   "Process:\t<id>|0x<id in hex>\n"
//   "Thread:\t<threadDescription, or the calling thread's id as <id>|0x<hex> when it is empty>\n"
//   "Last err (might be unrelated): <formatLastErrorDisplayString(lastError, true)>\n"
//   "While:\t<whatWasHappening>\n"
//   "Execution context:\t<the thread's execution-context stack>\n": its multi-line
//       display (ExecutionContextStack::GetMultiLineDisplayString(true), a heading
//       and one line per context) with "\n" line ends, or "<unavailable>\n"
//       when the thread has no stack
// then, only when `details` is not empty, "\nDetails:" and "\n\t<line>" for
// each of its lines (split at line breaks; carriage returns dropped). Keeps
// the thread's last-error value.
HDU_API std::string getErrorContextAndMessageDescription(const DebugContextCopy& site, unsigned long lastError,
                                                         const std::string& whatWasHappening,
                                                         std::string&& threadDescription, std::string&& details);

// The low-level route: hands title and text straight to
// IPlatformUtilities::displayDebugMessageForLowLevelUtilities of the
// library's platform utilities (the debugger channel, when the library's
// static objects are not there). For failures inside the reporting machinery
// itself, such as logging, which must not be reported through it. Never
// throws; keeps the thread's last-error value.
HDU_API void reportErrorForLowLevelUtilities(const char* title, const char* text) noexcept;
HDU_API void reportErrorForLowLevelUtilities(const std::string& title, const std::string& text) noexcept;
HDU_API void reportErrorForLowLevelUtilities(const IPlatformUtilities& platformUtilities, const char* title,
                                             const char* text) noexcept;

// The one place where the facilities' reports (caught exceptions, displayed
// errors, C runtime reports) leave the library for the developer: for the
// library's own facilities (those given the library's platform utilities),
// while the global logging facility is on and admits an XC_ERR message of
// level 0, the report is logged as such a message (the title, a line break,
// the text); otherwise it goes to
// IPlatformUtilities::displayDebugMessageForLowLevelUtilities.
// Never throws; keeps the last-error value.
HDU_API void deliverReportToDeveloper(const IPlatformUtilities& platformUtilities, const char* title,
                                      const char* text) noexcept;

}  // namespace DebugUtilities
