// RegistryKey (see RegistryKey.h).

#include "Registry/RegistryKey.h"

#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/DebugUtilities.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <shlwapi.h>

#include <atomic>
#include <cwchar>
#include <new>
#include <string>
#include <utility>

namespace {

std::atomic<unsigned short> g_nativeArchitectureForTesting{0};

bool isSilentQueryStatus(LONG status) noexcept {
  return status == ERROR_FILE_NOT_FOUND || status == ERROR_ACCESS_DENIED || status == ERROR_INVALID_HANDLE;
}

std::string errorDisplayText(LONG status) {
  return DebugUtilities::formatLastErrorDisplayString(static_cast<unsigned long>(status), false);
}

std::string createFailureText(const CXString& subKey, LONG status) {
  return InternalHaldenCP::formatToStdString("RegCreateKeyEx(%s) failed! %s", subKey, errorDisplayText(status));
}

// Registry calls return their status and leave the thread's last error alone;
// the status becomes the last error so that the exception carries it.
[[noreturn]] void throwRegistryRequestFailure(const DebugContextReference& site, LONG status,
                                              const std::string& message) {
  PlatformFacilities::setLastError(static_cast<std::uint32_t>(status));
  HDU_THROW(CPExceptionRegistryRequest, DebugContextReference(site), "%s", message);
}

// The impersonated user's hive when the calling thread has a token, else null.
HKEY openImpersonatedUserHive() noexcept {
  HANDLE token = nullptr;
  if (!::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, &token)) {
    // ERROR_NO_TOKEN (1008) when the thread is not impersonating; any other
    // error leaves HKEY_CURRENT_USER as it is as well.
    return nullptr;
  }
  ::CloseHandle(token);
  HKEY hive = nullptr;
  if (::RegOpenCurrentUser(MAXIMUM_ALLOWED, &hive) != ERROR_SUCCESS) {
    return nullptr;
  }
  return hive;
}

CXString fromWide(const wchar_t* text, DWORD length) {
  return CXString(reinterpret_cast<const char16_t*>(text), length);
}

// Reads one value with the raw calls, for RenameValue: false on any failure.
bool readRawValue(HKEY key, const wchar_t* name, DWORD& type, ByteBuffer& data) {
  DWORD size = 0;
  if (::RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) {
    return false;
  }
  data.assign(size, 0);
  if (size == 0) {
    return true;
  }
  if (::RegQueryValueExW(key, name, nullptr, &type, data.data(), &size) != ERROR_SUCCESS) {
    return false;
  }
  data.resize(size);
  return true;
}

LONG writeRawValue(HKEY key, const wchar_t* name, DWORD type, const ByteBuffer& data) {
  return ::RegSetValueExW(key, name, 0, type, data.getLpbyte(), static_cast<DWORD>(data.size()));
}

std::string rootKeyName(HKEY root) {
  if (root == HKEY_CURRENT_USER) {
    return "HKEY_CURRENT_USER";
  }
  if (root == HKEY_LOCAL_MACHINE) {
    return "HKEY_LOCAL_MACHINE";
  }
  if (root == HKEY_USERS) {
    return "HKEY_USERS";
  }
  if (root == HKEY_CLASSES_ROOT) {
    return "HKEY_CLASSES_ROOT";
  }
  return InternalHaldenCP::formatToStdString("key %p", static_cast<const void*>(root));
}

// Hands an exception caught by a one-shot function to the exception facility.
// Building the report may itself run out of memory; nothing leaves.
void reportOneShotFailure(const std::exception* exception, const DebugContextReference& catchSite, const char* activity,
                          HKEY root, const CXString& path, const CXString& name) noexcept {
  try {
    const std::string whatWasHappening = InternalHaldenCP::formatToStdString("%s the registry value '%s' of '%s\\%s'",
                                                                             activity, name, rootKeyName(root), path);
    if (exception != nullptr) {
      CPException::reportAndProcessCaughtException(*exception, DebugContextReference(catchSite), whatWasHappening);
    } else {
      CPException::reportAndProcessUnknownCaughtException(DebugContextReference(catchSite), whatWasHappening);
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): reporting is best effort
  }
}

// Runs a one-shot operation; an exception is reported under the function's
// own name and the fallback is returned.
template <class Result, class Operation>
Result runOneShot(const DebugContextReference& site, const char* activity, HKEY root, const CXString& path,
                  const CXString& name, Result fallback, Operation&& operation) noexcept {
  try {
    return operation();
  } catch (const std::exception& exception) {
    reportOneShotFailure(&exception, site, activity, root, path, name);
  } catch (...) {
    reportOneShotFailure(nullptr, site, activity, root, path, name);
  }
  return fallback;
}

}  // namespace

// ---- construction and lifetime ----------------------------------------------

RegistryKey::RegistryKey(HKEY key, bool ownsHandle) noexcept : m_hKey(key), m_ownsHandle(ownsHandle) {
  if (key == HKEY_CURRENT_USER) {
    const PlatformFacilities::LastErrorPreserver preserve;
    const HKEY hive = openImpersonatedUserHive();
    if (hive != nullptr) {
      m_hCurrentUserKey = hive;
      m_hKey = hive;
    }
  }
}

RegistryKey::RegistryKey(RegistryKey& other) noexcept {
  TakeOwnershipFrom(other);
}

RegistryKey::RegistryKey(RegistryKey&& other) noexcept {
  TakeOwnershipFrom(other);
}

RegistryKey& RegistryKey::operator=(RegistryKey& other) noexcept {
  if (this != &other) {
    m_hKey = other.m_hKey;
    m_ownsHandle = other.m_ownsHandle;
    other.m_ownsHandle = false;
  }
  return *this;
}

RegistryKey& RegistryKey::operator=(RegistryKey&& other) noexcept {
  return *this = other;  // the same rule as for a non-const key
}

RegistryKey::~RegistryKey() {
  Release();
}

void RegistryKey::Release() noexcept {
  const PlatformFacilities::LastErrorPreserver preserve;
  const bool closeKey = m_ownsHandle && m_hKey != nullptr;
  if (closeKey) {
    ::RegCloseKey(m_hKey);
  }
  if (m_hCurrentUserKey != nullptr && !(closeKey && m_hCurrentUserKey == m_hKey)) {
    ::RegCloseKey(m_hCurrentUserKey);
  }
  m_hKey = nullptr;
  m_ownsHandle = false;
  m_hCurrentUserKey = nullptr;
}

void RegistryKey::TakeOwnershipFrom(RegistryKey& other) noexcept {
  m_hKey = other.m_hKey;
  m_ownsHandle = other.m_ownsHandle;
  m_hCurrentUserKey = other.m_hCurrentUserKey;
  other.m_ownsHandle = false;
  other.m_hCurrentUserKey = nullptr;
}

// ---- factories ----------------------------------------------------------------

RegistryKey::Pointer RegistryKey::CreateRegistryKey(const RegistryKey& parent, const CXString& subKey,
                                                    unsigned long access, long& status, bool isVolatile) noexcept {
  HKEY created = nullptr;
  status = ::RegCreateKeyExW(parent.m_hKey, subKey.wc_str(), 0, nullptr,
                             isVolatile ? REG_OPTION_VOLATILE : REG_OPTION_NON_VOLATILE, AddRegistryViewFlag(access),
                             nullptr, &created, nullptr);
  if (status != ERROR_SUCCESS) {
    return nullptr;
  }
  try {
    return std::make_unique<RegistryKey>(created, true);
  } catch (const std::bad_alloc&) {
    ::RegCloseKey(created);
    status = ERROR_NOT_ENOUGH_MEMORY;
    return nullptr;
  }
}

RegistryKey::Pointer RegistryKey::CreateRegistryKey(const RegistryKey& parent, const CXString& subKey,
                                                    unsigned long access, CXString& errorText, bool isVolatile) {
  errorText.clear();
  long status = ERROR_SUCCESS;
  Pointer key = CreateRegistryKey(parent, subKey, access, status, isVolatile);
  if (!key) {
    errorText = CXString::fromUtf8Lenient(createFailureText(subKey, status));
  }
  return key;
}

RegistryKey RegistryKey::CreateRegistryKey(const RegistryKey& parent, const CXString& subKey, unsigned long access,
                                           bool isVolatile) {
  long status = ERROR_SUCCESS;
  const Pointer key = CreateRegistryKey(parent, subKey, access, status, isVolatile);
  if (!key) {
    const std::string message = InternalHaldenCP::formatToStdString(
        "Application=%s. %s", PlatformFacilities::processName(), createFailureText(subKey, status));
    throwRegistryRequestFailure(HDU_DEBUG_CONTEXT("RegistryKey::CreateRegistryKey"), status, message);
  }
  return RegistryKey(*key);
}

bool RegistryKey::OpenRegistryKey(RegistryKey& result, const RegistryKey& parent, const CXString& subKey,
                                  unsigned long access) noexcept {
  HKEY opened = nullptr;
  const LONG status = ::RegOpenKeyExW(parent.m_hKey, subKey.wc_str(), 0, AddRegistryViewFlag(access), &opened);
  result.Release();  // after the open: `result` may be the parent itself
  if (status != ERROR_SUCCESS) {
    return false;
  }
  RegistryKey key(opened, true);
  result.TakeOwnershipFrom(key);
  return true;
}

bool RegistryKey::OpenRegistryKey(Pointer& result, const RegistryKey& parent, const CXString& subKey,
                                  unsigned long access, long& status, bool /*reserved*/) noexcept {
  HKEY opened = nullptr;
  status = ::RegOpenKeyExW(parent.m_hKey, subKey.wc_str(), 0, AddRegistryViewFlag(access), &opened);
  if (status != ERROR_SUCCESS) {
    result.reset();
    return false;
  }
  try {
    result = std::make_unique<RegistryKey>(opened, true);
  } catch (const std::bad_alloc&) {
    ::RegCloseKey(opened);
    result.reset();
    status = ERROR_NOT_ENOUGH_MEMORY;
    return false;
  }
  return true;
}

// ---- values ------------------------------------------------------------------------

bool RegistryKey::DoesValueExist(const CXString& name) const {
  if (m_hKey == nullptr) {
    return false;
  }
  DWORD size = 0;
  return ::RegQueryValueExW(m_hKey, name.wc_str(), nullptr, nullptr, nullptr, &size) != ERROR_FILE_NOT_FOUND;
}

bool RegistryKey::GetValue(const CXString& name, ByteBuffer& data, unsigned long* type) const {
  data.clear();
  DWORD valueType = REG_NONE;
  DWORD size = 0;
  LONG status = ::RegQueryValueExW(m_hKey, name.wc_str(), nullptr, &valueType, nullptr, &size);
  if (status == ERROR_SUCCESS && size != 0) {
    data.assign(size, 0);
    status = ::RegQueryValueExW(m_hKey, name.wc_str(), nullptr, &valueType, data.data(), &size);
    if (status == ERROR_SUCCESS) {
      data.resize(size);
    }
  }
  if (status != ERROR_SUCCESS) {
    data.clear();
    if (type != nullptr) {
      *type = REG_NONE;
    }
    if (isSilentQueryStatus(status)) {
      return false;
    }
    throwRegistryRequestFailure(HDU_DEBUG_CONTEXT("RegistryKey::GetValue"), status,
                                InternalHaldenCP::formatToStdString("RegQueryValueEx(%s) failed unexpectedly! %s", name,
                                                                    errorDisplayText(status)));
  }
  if (type != nullptr) {
    *type = valueType;
  }
  return true;
}

bool RegistryKey::GetBooleanValue(const CXString& name, bool defaultValue) const {
  ByteBuffer data;
  if (!GetValue(name, data, nullptr) || data.empty()) {
    return defaultValue;
  }
  return data[0] != 0;
}

long RegistryKey::GetLongValue(const CXString& name, long defaultValue) const {
  ByteBuffer data;
  if (!GetValue(name, data, nullptr) || data.empty()) {
    return defaultValue;
  }
  return data.getAsLongValue();
}

long long RegistryKey::GetLong64Value(const CXString& name, long long defaultValue) const {
  ByteBuffer data;
  if (!GetValue(name, data, nullptr) || data.empty()) {
    return defaultValue;
  }
  return data.getAsLong64Value();
}

CXString RegistryKey::GetStringValue(const CXString& name, const CXString& defaultValue) const {
  ByteBuffer data;
  if (!GetValue(name, data, nullptr)) {
    return defaultValue;
  }
  return data.getAsCXStringFromUtf16Buffer();
}

ByteBuffer RegistryKey::GetBytesValue(const CXString& name, const ByteBuffer& defaultValue) const {
  ByteBuffer data;
  if (!GetValue(name, data, nullptr)) {
    return defaultValue;
  }
  return data;
}

void RegistryKey::SetValue(const CXString& name, unsigned long type, const ByteBuffer& data) {
  const LONG status = writeRawValue(m_hKey, name.wc_str(), type, data);
  if (status != ERROR_SUCCESS) {
    throwRegistryRequestFailure(HDU_DEBUG_CONTEXT("RegistryKey::SetValue"), status,
                                InternalHaldenCP::formatToStdString("RegSetValueEx(%s) failed unexpectedly! %s", name,
                                                                    errorDisplayText(status)));
  }
}

void RegistryKey::SetBooleanValue(const CXString& name, bool value) {
  SetValue(name, REG_BINARY, ByteBuffer::createFromBoolValue(value));
}

void RegistryKey::SetLongValue(const CXString& name, long value) {
  SetValue(name, REG_DWORD, ByteBuffer::createFromLongValue(value));
}

void RegistryKey::SetLong64Value(const CXString& name, long long value) {
  ByteBuffer data(8, 0);
  const auto bits = static_cast<unsigned long long>(value);
  for (std::size_t index = 0; index < 8; ++index) {
    data[index] = static_cast<unsigned char>(bits >> (8 * index));
  }
  SetValue(name, REG_QWORD, data);
}

void RegistryKey::SetStringValue(const CXString& name, const CXString& value) {
  ByteBuffer data;
  data.reserve(2 * value.length() + 2);
  data.appendAsUtf16(value).appendNullUtf16Char();
  SetValue(name, REG_SZ, data);
}

void RegistryKey::SetBytesValue(const CXString& name, const ByteBuffer& value) {
  SetValue(name, REG_BINARY, value);
}

bool RegistryKey::QueryMultipleValues(std::vector<value_entW>& entries, ByteBuffer& buffer, bool throwOnFailure) {
  const auto count = static_cast<DWORD>(entries.size());
  DWORD size = static_cast<DWORD>(buffer.size());
  LONG status =
      ::RegQueryMultipleValuesW(m_hKey, entries.data(), count, reinterpret_cast<LPWSTR>(buffer.getLpbyte()), &size);
  if (status == ERROR_MORE_DATA) {
    buffer.resize(size);
    size = static_cast<DWORD>(buffer.size());
    status =
        ::RegQueryMultipleValuesW(m_hKey, entries.data(), count, reinterpret_cast<LPWSTR>(buffer.getLpbyte()), &size);
  }
  if (status == ERROR_SUCCESS) {
    return true;
  }
  if (!throwOnFailure) {
    return false;
  }
  throwRegistryRequestFailure(
      HDU_DEBUG_CONTEXT("RegistryKey::QueryMultipleValues"), status,
      InternalHaldenCP::formatToStdString(
          "Call to RegQueryMultipleValues() failed! Buffer size for the %u entries was %ld bytes. %s",
          static_cast<unsigned>(count), static_cast<long>(buffer.size()), errorDisplayText(status)));
}

long RegistryKey::DeleteValue(const CXString& name) {
  return ::RegDeleteValueW(m_hKey, name.wc_str());
}

bool RegistryKey::RenameValue(const CXString& oldName, const CXString& newName) {
  DWORD type = REG_NONE;
  ByteBuffer data;
  if (!readRawValue(m_hKey, oldName.wc_str(), type, data)) {
    return false;
  }
  const bool sameName = ::_wcsicmp(oldName.wc_str(), newName.wc_str()) == 0;
  if (sameName) {
    // Writing would only overwrite the value under its old spelling.
    ::RegDeleteValueW(m_hKey, oldName.wc_str());
  }
  if (writeRawValue(m_hKey, newName.wc_str(), type, data) != ERROR_SUCCESS) {
    if (sameName) {
      writeRawValue(m_hKey, oldName.wc_str(), type, data);  // put the value back
    }
    return false;
  }
  return sameName || ::RegDeleteValueW(m_hKey, oldName.wc_str()) == ERROR_SUCCESS;
}

// ---- enumeration ----------------------------------------------------------------

bool RegistryKey::EnumKeyNames(std::vector<CXString>& names) const {
  names.clear();
  if (m_hKey == nullptr) {
    return false;
  }
  DWORD subKeyCount = 0;
  DWORD longestName = 0;
  if (::RegQueryInfoKeyW(m_hKey, nullptr, nullptr, nullptr, &subKeyCount, &longestName, nullptr, nullptr, nullptr,
                         nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  names.reserve(subKeyCount);
  std::wstring buffer(static_cast<std::size_t>(longestName) + 1, L'\0');
  for (DWORD index = 0;; ++index) {
    auto length = static_cast<DWORD>(buffer.size());
    const LONG status = ::RegEnumKeyExW(m_hKey, index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) {
      return status == ERROR_NO_MORE_ITEMS;
    }
    names.push_back(fromWide(buffer.data(), length));
  }
}

bool RegistryKey::EnumValueNames(std::vector<CXString>& names) const {
  names.clear();
  if (m_hKey == nullptr) {
    return false;
  }
  DWORD valueCount = 0;
  if (::RegQueryInfoKeyW(m_hKey, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &valueCount, nullptr, nullptr,
                         nullptr, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  names.reserve(valueCount);
  wchar_t buffer[kEnumerationNameCharacters];
  for (DWORD index = 0;; ++index) {
    DWORD length = kEnumerationNameCharacters;
    const LONG status = ::RegEnumValueW(m_hKey, index, buffer, &length, nullptr, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) {
      return status == ERROR_NO_MORE_ITEMS;
    }
    names.push_back(fromWide(buffer, length));
  }
}

bool RegistryKey::EnumStringValues(std::vector<CXString>& values) const {
  values.clear();
  std::vector<CXString> names;
  const bool complete = EnumValueNames(names);
  ByteBuffer data;
  for (const CXString& name : names) {
    unsigned long type = REG_NONE;
    if (GetValue(name, data, &type) && type == REG_SZ) {
      values.push_back(data.getAsCXStringFromUtf16Buffer());
    }
  }
  return complete;
}

namespace {

// Counts by enumerating names into a buffer of kEnumerationNameCharacters
// until the enumeration stops; `enumerate` is RegEnumKeyExW or RegEnumValueW,
// which take the same arguments up to the name's length.
template <class Enumerate>
int countByEnumerating(HKEY key, Enumerate enumerate) {
  if (key == nullptr) {
    return 0;
  }
  wchar_t buffer[RegistryKey::kEnumerationNameCharacters];
  int count = 0;
  for (;;) {
    DWORD length = RegistryKey::kEnumerationNameCharacters;
    if (enumerate(key, static_cast<DWORD>(count), buffer, &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return count;
    }
    ++count;
  }
}

}  // namespace

int RegistryKey::GetCountOfSubKeys() const {
  return countByEnumerating(m_hKey, ::RegEnumKeyExW);
}

int RegistryKey::GetCountOfValues() const {
  return countByEnumerating(m_hKey, ::RegEnumValueW);
}

bool RegistryKey::AnySubKeysExist() const {
  if (m_hKey == nullptr) {
    return false;
  }
  wchar_t buffer[kAnySubKeyNameCharacters];
  DWORD length = kAnySubKeyNameCharacters;
  return ::RegEnumKeyExW(m_hKey, 0, buffer, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

// ---- keys ------------------------------------------------------------------------------

long RegistryKey::DeleteKey(const CXString& subKey) {
  return ::RegDeleteKeyW(m_hKey, subKey.wc_str());
}

long RegistryKey::DeleteKeyAndSubkeys(const CXString& subKey) {
  return static_cast<long>(::SHDeleteKeyW(m_hKey, subKey.wc_str()));
}

long RegistryKey::CopyKeyAndSubkeysFrom(HKEY source, const CXString& subKey) {
  return static_cast<long>(::SHCopyKeyW(source, subKey.wc_str(), m_hKey, 0));
}

// ---- one-shot access --------------------------------------------------------------

CXString RegistryKey::ReadOneRegistryString(HKEY root, const CXString& path, const CXString& name,
                                            const CXString& defaultValue) {
  CXString result = defaultValue;
  runOneShot(HDU_DEBUG_CONTEXT("RegistryKey::ReadOneRegistryString"), "Reading", root, path, name, false, [&] {
    const RegistryKey rootKey(root, false);
    RegistryKey key;
    if (OpenRegistryKey(key, rootKey, path, KEY_READ)) {
      result = key.GetStringValue(name, defaultValue);
    }
    return true;
  });
  return result;
}

unsigned long RegistryKey::ReadOneRegistryDword(HKEY root, const CXString& path, const CXString& name,
                                                unsigned long defaultValue) noexcept {
  return runOneShot(HDU_DEBUG_CONTEXT("RegistryKey::ReadOneRegistryDword"), "Reading", root, path, name, defaultValue,
                    [&] {
                      const RegistryKey rootKey(root, false);
                      RegistryKey key;
                      if (!OpenRegistryKey(key, rootKey, path, KEY_READ)) {
                        return defaultValue;
                      }
                      return static_cast<unsigned long>(key.GetLongValue(name, static_cast<long>(defaultValue)));
                    });
}

long long RegistryKey::ReadOneRegistry64BitInt(HKEY root, const CXString& path, const CXString& name,
                                               long long defaultValue) noexcept {
  return runOneShot(HDU_DEBUG_CONTEXT("RegistryKey::ReadOneRegistry64BitInt"), "Reading", root, path, name,
                    defaultValue, [&] {
                      const RegistryKey rootKey(root, false);
                      RegistryKey key;
                      if (!OpenRegistryKey(key, rootKey, path, KEY_READ)) {
                        return defaultValue;
                      }
                      return key.GetLong64Value(name, defaultValue);
                    });
}

namespace {

// The writers' common part: create the key non-volatile with KEY_WRITE and
// run the write on it; false when the key cannot be created.
template <class Write>
bool writeOne(HKEY root, const CXString& path, Write&& write) {
  const RegistryKey rootKey(root, false);
  long status = ERROR_SUCCESS;
  const RegistryKey::Pointer key = RegistryKey::CreateRegistryKey(rootKey, path, KEY_WRITE, status, false);
  if (!key) {
    return false;
  }
  write(*key);
  return true;
}

}  // namespace

bool RegistryKey::WriteOneRegistryString(HKEY root, const CXString& path, const CXString& name,
                                         const CXString& value) noexcept {
  return runOneShot(HDU_DEBUG_CONTEXT("RegistryKey::WriteOneRegistryString"), "Writing", root, path, name, false,
                    [&] { return writeOne(root, path, [&](RegistryKey& key) { key.SetStringValue(name, value); }); });
}

bool RegistryKey::WriteOneRegistryDword(HKEY root, const CXString& path, const CXString& name,
                                        unsigned long value) noexcept {
  return runOneShot(HDU_DEBUG_CONTEXT("RegistryKey::WriteOneRegistryDword"), "Writing", root, path, name, false, [&] {
    return writeOne(root, path, [&](RegistryKey& key) { key.SetLongValue(name, static_cast<long>(value)); });
  });
}

bool RegistryKey::WriteOneRegistry64BitInt(HKEY root, const CXString& path, const CXString& name,
                                           long long value) noexcept {
  return runOneShot(HDU_DEBUG_CONTEXT("RegistryKey::WriteOneRegistry64BitInt"), "Writing", root, path, name, false,
                    [&] { return writeOne(root, path, [&](RegistryKey& key) { key.SetLong64Value(name, value); }); });
}

bool RegistryKey::DeleteOneRegistryValue(HKEY root, const CXString& path, const CXString& name) noexcept {
  return runOneShot(HDU_DEBUG_CONTEXT("RegistryKey::DeleteOneRegistryValue"), "Deleting", root, path, name, false, [&] {
    const RegistryKey rootKey(root, false);
    RegistryKey key;
    if (!OpenRegistryKey(key, rootKey, path, KEY_WRITE)) {
      return false;
    }
    return key.DeleteValue(name) == ERROR_SUCCESS;
  });
}

// ---- platform ---------------------------------------------------------------------------

unsigned short RegistryKey::GetNativeOsArchitecture() noexcept {
  const unsigned short forTesting = g_nativeArchitectureForTesting.load(std::memory_order_relaxed);
  if (forTesting != 0) {
    return forTesting;
  }
  static const unsigned short native = PlatformFacilities::nativeMachineArchitecture();
  return native;
}

void RegistryKey::SetNativeOsArchitectureForTesting(unsigned short machine) noexcept {
  g_nativeArchitectureForTesting.store(machine, std::memory_order_relaxed);
}

int RegistryKey::GetWow64RegAccessFlag() noexcept {
  return GetNativeOsArchitecture() == PlatformFacilities::kMachineArm64 ? static_cast<int>(kRegistryViewFlag) : 0;
}

unsigned long RegistryKey::AddRegistryViewFlag(unsigned long access) noexcept {
  return access | static_cast<unsigned long>(GetWow64RegAccessFlag());
}

bool RegistryKey::DoesThreadHavePermissiontoWriteToHkcu() noexcept {
  const PlatformFacilities::LastErrorPreserver preserve;
  const RegistryKey currentUser(HKEY_CURRENT_USER, false);
  HKEY software = nullptr;
  const LONG status = ::RegCreateKeyExW(currentUser.m_hKey, L"Software", 0, nullptr, REG_OPTION_NON_VOLATILE,
                                        AddRegistryViewFlag(KEY_WRITE), nullptr, &software, nullptr);
  if (status == ERROR_SUCCESS && software != nullptr) {
    ::RegCloseKey(software);
  }
  return status != ERROR_ACCESS_DENIED;
}
