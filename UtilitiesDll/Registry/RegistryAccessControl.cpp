// RegistryAccessControl (see RegistryAccessControl.h).

#include "Registry/RegistryAccessControl.h"

#include <utility>

RegistryAccessControl::RegistryAccessControl(HKEY root, const std::wstring& keyPath, bool writeAccess)
    : m_root(root), m_keyPath(keyPath), m_writeAccess(writeAccess) {}

RegistryAccessControl::~RegistryAccessControl() = default;

HANDLE RegistryAccessControl::GetHandle() {
  if (m_handle != INVALID_HANDLE_VALUE) {
    return m_handle;
  }
  const RegistryKey root(m_root, false);
  long status = ERROR_SUCCESS;
  RegistryKey::Pointer key =
      RegistryKey::CreateRegistryKey(root, CXString(m_keyPath), m_writeAccess ? kWriteAccess : kReadAccess, status);
  m_lastStatus = status;
  if (!key) {
    return nullptr;
  }
  m_key = std::move(key);
  m_handle = m_key->GetKeyHandle();
  return m_handle;
}
