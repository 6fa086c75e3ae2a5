#pragma once
// DebugUtilities: the text builders shared by the exception and assertion
// facilities.

#include "hdUtilitiesExport.h"

#include <string>

namespace DebugUtilities {

// "%s%s%s (%lu/0x%lx)": the prefix "GetLastError()" (when withPrefix), the
// joiner " = " (when there is a prefix), the system's text for the code (or
// "Unknown value"), then the code in decimal and hexadecimal. Keeps the
// thread's last-error value.
HDU_API std::string formatLastErrorDisplayString(unsigned long code, bool withPrefix);

}  // namespace DebugUtilities
