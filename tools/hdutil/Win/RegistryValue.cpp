// Registry values through the library's RegistryKey.

#include "RegistryValue.h"
#include "StateInput.h"

#include "LowLevelFacilities/CXString.h"
#include "Registry/RegistryKey.h"

#include <windows.h>

#include <cctype>

namespace hdutil {

namespace {

struct Location {
  HKEY root = nullptr;
  std::string rootName;
  std::string keyPath;
  std::string valueName;
};

bool equalsIgnoringCase(const std::string& a, const char* b) {
  const std::string other = b;
  if (a.size() != other.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::toupper(static_cast<unsigned char>(a[i])) != std::toupper(static_cast<unsigned char>(other[i]))) {
      return false;
    }
  }
  return true;
}

Location parseLocation(const std::string& location) {
  const std::size_t firstSeparator = location.find('\\');
  const std::size_t lastSeparator = location.rfind('\\');
  if (firstSeparator == std::string::npos) {
    throw InputError("registry location '" + location + "' is not ROOT\\Key\\ValueName");
  }
  Location parsed;
  parsed.rootName = location.substr(0, firstSeparator);
  if (equalsIgnoringCase(parsed.rootName, "HKCU") || equalsIgnoringCase(parsed.rootName, "HKEY_CURRENT_USER")) {
    parsed.root = HKEY_CURRENT_USER;
  } else if (equalsIgnoringCase(parsed.rootName, "HKLM") || equalsIgnoringCase(parsed.rootName, "HKEY_LOCAL_MACHINE")) {
    parsed.root = HKEY_LOCAL_MACHINE;
  } else {
    throw InputError("registry location '" + location + "': the root must be HKCU or HKLM");
  }
  parsed.keyPath = lastSeparator > firstSeparator
                       ? location.substr(firstSeparator + 1, lastSeparator - firstSeparator - 1)
                       : std::string();
  parsed.valueName = location.substr(lastSeparator + 1);
  return parsed;
}

const char* typeName(unsigned long type) {
  switch (type) {
    case REG_BINARY:
      return "REG_BINARY";
    case REG_SZ:
      return "REG_SZ";
    case REG_EXPAND_SZ:
      return "REG_EXPAND_SZ";
    case REG_MULTI_SZ:
      return "REG_MULTI_SZ";
    case REG_DWORD:
      return "REG_DWORD";
    case REG_QWORD:
      return "REG_QWORD";
    default:
      return "REG_NONE";
  }
}

}  // namespace

RegistryValue readRegistryValue(const std::string& location) {
  const Location parsed = parseLocation(location);
  const RegistryKey root(parsed.root, false);
  RegistryKey key;
  if (!RegistryKey::OpenRegistryKey(key, root, CXString::fromUtf8(parsed.keyPath), KEY_READ)) {
    throw InputError("cannot open registry key '" + parsed.rootName + "\\" + parsed.keyPath + "'");
  }
  RegistryValue value;
  unsigned long type = REG_NONE;
  if (!key.GetValue(CXString::fromUtf8(parsed.valueName), value.bytes, &type)) {
    throw InputError("no registry value '" + parsed.valueName + "' in '" + parsed.rootName + "\\" + parsed.keyPath +
                     "'");
  }
  value.description = "registry value " + location + " (" + typeName(type) + ")";
  return value;
}

void writeRegistryValue(const std::string& location, const ByteBuffer& bytes) {
  const Location parsed = parseLocation(location);
  const RegistryKey root(parsed.root, false);
  RegistryKey key = RegistryKey::CreateRegistryKey(root, CXString::fromUtf8(parsed.keyPath), KEY_WRITE);
  key.SetBytesValue(CXString::fromUtf8(parsed.valueName), bytes);
}

}  // namespace hdutil
