#pragma once
// RegistryAccessControl: a registry key as a protected resource (see
// ResourceAccessControl), for code that reads or changes the key's security.
//
// Built from a root key, a key path and whether write access is wanted. The
// first GetHandle() creates (or opens) the key through the status-returning
// RegistryKey::CreateRegistryKey, with STANDARD_RIGHTS_REQUIRED (0xF0000:
// delete, read and write the security descriptor, take ownership) when write
// access is wanted and GENERIC_READ (0x80000000) otherwise, keeps the key for
// the object's life and caches its handle. The root is wrapped as a
// RegistryKey at that moment, so HKEY_CURRENT_USER means the hive of the user
// whom the calling thread then impersonates.
//
// The cached handle starts as INVALID_HANDLE_VALUE (-1) and, once set, is
// returned as it is. When the key cannot be created GetHandle() returns null,
// keeps the status (GetLastStatus()) and tries again on the next call.

#include "Environment/Win/ResourceAccessControl.h"
#include "Registry/RegistryKey.h"
#include "hdUtilitiesExport.h"

#include <windows.h>

#include <string>

class HDU_API RegistryAccessControl : public ResourceAccessControl {
 public:
  enum : unsigned long {
    kWriteAccess = STANDARD_RIGHTS_REQUIRED,  // 0xF0000
    kReadAccess = GENERIC_READ,               // 0x80000000
  };

  RegistryAccessControl(HKEY root, const std::wstring& keyPath, bool writeAccess);
  ~RegistryAccessControl() override;

  HANDLE GetHandle() override;
  // The status of the last attempt to create the key (0 before any attempt
  // and after a success).
  long GetLastStatus() const noexcept { return m_lastStatus; }
  // The key opened by GetHandle(), or null before it succeeded.
  const RegistryKey* GetKey() const noexcept { return m_key.get(); }

 private:
  HKEY m_root;
  std::wstring m_keyPath;
  bool m_writeAccess;
  RegistryKey::Pointer m_key;
  HANDLE m_handle = INVALID_HANDLE_VALUE;
  long m_lastStatus = 0;
};
