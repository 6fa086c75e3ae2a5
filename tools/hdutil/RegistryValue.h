#pragma once
// Persisted settings where drivers keep them: a value in the Windows registry,
// named as "ROOT\Key\Path\ValueName" with ROOT one of HKCU, HKEY_CURRENT_USER,
// HKLM, HKEY_LOCAL_MACHINE (any case). A trailing backslash names the key's
// default value. Windows only (Win/RegistryValue.cpp, through RegistryKey);
// elsewhere both functions throw RegistryUnavailable.

#include "General/ByteBuffer.h"

#include <stdexcept>
#include <string>

namespace hdutil {

class RegistryUnavailable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct RegistryValue {
  ByteBuffer bytes;
  std::string description;  // "registry value HKCU\...\Name (REG_BINARY)"
};

// Reads the value's data, whatever its type. Throws InputError for a bad
// name, a key that cannot be opened or a value that is not there, and the
// library's exceptions when the registry fails.
RegistryValue readRegistryValue(const std::string& location);
// Writes the bytes as a REG_BINARY value, creating the key when needed.
// Throws as above.
void writeRegistryValue(const std::string& location, const ByteBuffer& bytes);

}  // namespace hdutil
