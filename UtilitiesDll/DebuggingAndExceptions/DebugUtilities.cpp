#include "DebuggingAndExceptions/DebugUtilities.h"

#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/PlatformFacilities.h"

namespace DebugUtilities {

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

}  // namespace DebugUtilities
