#pragma once
// RegistryKey: the library's one wrapper over the Windows registry (Windows
// only). Every module that keeps settings in the registry goes through it.
//
// A key owns one open handle and knows whether it must close it. It hides two
// platform details from its callers:
//   - Which user HKEY_CURRENT_USER means. While the constructing thread
//     impersonates somebody, a key built on HKEY_CURRENT_USER uses that user's
//     hive (RegOpenCurrentUser), not the hive the process loaded first. The
//     decision is made once, at construction, on the constructing thread: a
//     key opened while impersonating keeps pointing at that user's hive after
//     the impersonation ends and in whatever thread it is used later.
//   - Which registry view a 32-bit process sees. Every RegCreateKeyExW and
//     RegOpenKeyExW adds KEY_WOW64_64KEY to the caller's access mask when, and
//     only when, the native architecture is ARM64. On x64 the mask stays as
//     given, so the 32-bit library sees the redirected 32-bit view there.
//
// Values: the typed setters write exactly these registry types and bytes:
//   SetBooleanValue  REG_BINARY (3)  one byte, 0 or 1 (not a REG_DWORD: other
//                                    readers depend on the one-byte form)
//   SetLongValue     REG_DWORD (4)   4 bytes, little-endian
//   SetLong64Value   REG_QWORD (11)  8 bytes, little-endian
//   SetStringValue   REG_SZ (1)      the UTF-16LE code units and one 16-bit zero
//                                    (an empty string is 2 zero bytes)
//   SetBytesValue    REG_BINARY (3)  the bytes as they are
// The empty value name is the key's default value.
//
// Reading separates a value that is not there from a registry that failed.
// The raw reader GetValue treats ERROR_FILE_NOT_FOUND (2), ERROR_ACCESS_DENIED
// (5) and ERROR_INVALID_HANDLE (6) as "no value" and returns false, so the
// typed getters return the caller's default; any other status throws
// CPExceptionRegistryRequest. The getters look only at the bytes, never at the
// stored type: a boolean is the first byte (a REG_DWORD 0x100 reads as false),
// the integers are ByteBuffer's little-endian readers from the first byte (data
// shorter than 4 or 8 bytes throws CPExceptionNotEnoughBytesForDesiredDataType
// from those readers), a string is the data as UTF-16 less one trailing zero
// unit (an existing value without data is the empty string, not the default).
//
// Failures are thrown only as CPExceptionRegistryRequest, through HDU_THROW,
// with these messages and function names:
//   "Application=<program file name>. RegCreateKeyEx(<sub-key>) failed! <error>"
//                                                  RegistryKey::CreateRegistryKey
//   "RegQueryValueEx(<value>) failed unexpectedly! <error>"  RegistryKey::GetValue
//   "RegSetValueEx(<value>) failed unexpectedly! <error>"    RegistryKey::SetValue
//   "Call to RegQueryMultipleValues() failed! Buffer size for the <n> entries
//    was <size> bytes. <error>"                       RegistryKey::QueryMultipleValues
// where <error> is DebugUtilities::formatLastErrorDisplayString(status, false).
// The registry functions return their status instead of setting the thread's
// last error, so the status is made the thread's last error before the throw
// and the exception carries it as its last-error value.
//
// Silent by design: open failures of OpenRegistryKey and of the status- and
// text-returning CreateRegistryKey forms (out-parameters), DeleteValue,
// DeleteKey, DeleteKeyAndSubkeys and CopyKeyAndSubkeysFrom (they return the
// status), enumeration and counting (false or a short count), and the static
// one-shot functions, which hand any exception to the exception facility and
// return a default.
//
// Ownership. A key made by a factory owns its handle; a key built from a root
// key with ownsHandle false does not. The current-user hive handle, when there
// is one, is always closed by the key that holds it. Moving or "copying" from
// a non-const key transfers everything: the new key takes the handle, the
// owns flag and the hive handle, and the source keeps only a non-owning copy
// of the key handle. Assignment copies only the key handle and the owns flag
// and clears the source's owns flag; it deliberately neither closes the
// handle the target held before nor touches the target's hive handle, so that
// a handle is closed by exactly one object (the caller releases the target's
// old key first when it owned one).
//
// Threads: no locks. One object is used by one thread at a time; different
// objects may be used from different threads, and a key may be handed to
// another thread and destroyed there.

#include "General/ByteBuffer.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <windows.h>

#include <memory>
#include <vector>

class HDU_API RegistryKey {
 public:
  using Pointer = std::unique_ptr<RegistryKey>;

  enum : unsigned long {
    kRegistryViewFlag = KEY_WOW64_64KEY,  // added to every open and create on ARM64
    kEnumerationNameCharacters = 520,     // value-name buffer of EnumValueNames and the counts
    kAnySubKeyNameCharacters = 260,       // sub-key name buffer of AnySubKeysExist
  };

  // ---- construction and lifetime ----
  // A key with a null handle (IsKeyValid() is false).
  RegistryKey() noexcept = default;
  // Wraps an existing handle, typically a predefined root key. For
  // HKEY_CURRENT_USER while the thread impersonates, the impersonated user's
  // hive is opened and used instead (see above). Never fails: without a
  // token, or when the hive cannot be opened, HKEY_CURRENT_USER stays as it
  // is. Keeps the thread's last-error value.
  RegistryKey(HKEY key, bool ownsHandle) noexcept;
  // Ownership transfer from a non-const key (see above).
  RegistryKey(RegistryKey& other) noexcept;
  RegistryKey(RegistryKey&& other) noexcept;
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(RegistryKey& other) noexcept;
  RegistryKey& operator=(RegistryKey&& other) noexcept;
  RegistryKey& operator=(const RegistryKey&) = delete;
  // Closes the key handle if owned, then the hive handle if there is one
  // (once, when the two are the same handle).
  ~RegistryKey();

  bool IsKeyValid() const noexcept { return m_hKey != nullptr; }
  // The handle every operation uses (the hive handle for a redirected
  // HKEY_CURRENT_USER), whether this object closes it, and the hive handle
  // opened for the impersonated user (null when there was no redirection).
  HKEY GetKeyHandle() const noexcept { return m_hKey; }
  bool OwnsHandle() const noexcept { return m_ownsHandle; }
  HKEY GetCurrentUserHandle() const noexcept { return m_hCurrentUserKey; }

  // ---- factories ----
  // Creates or opens `subKey` under `parent` (RegCreateKeyExW, no class,
  // REG_OPTION_VOLATILE or REG_OPTION_NON_VOLATILE, the access mask with the
  // view flag added, no security attributes). The key owns its handle.
  // Throws CPExceptionRegistryRequest on failure.
  static RegistryKey CreateRegistryKey(const RegistryKey& parent, const CXString& subKey, unsigned long access,
                                       bool isVolatile = false);
  // The same; on failure null, with errorText "RegCreateKeyEx(<sub-key>)
  // failed! <error>". errorText is emptied first. Never throws for a registry
  // failure.
  static Pointer CreateRegistryKey(const RegistryKey& parent, const CXString& subKey, unsigned long access,
                                   CXString& errorText, bool isVolatile = false);
  // The same; on failure null, with the Windows status in `status` (0 on
  // success). Never throws for a registry failure.
  static Pointer CreateRegistryKey(const RegistryKey& parent, const CXString& subKey, unsigned long access,
                                   long& status, bool isVolatile = false) noexcept;
  // Open an existing key only, never create one (RegOpenKeyExW with the view
  // flag added). On success `result` releases the key it held (closing an
  // owned handle) and takes the new one. On failure they return false, store
  // the status where there is a status parameter, and release whatever key
  // `result` held before. They never throw. The final boolean of the second
  // form is accepted for callers that pass one and changes nothing.
  static bool OpenRegistryKey(RegistryKey& result, const RegistryKey& parent, const CXString& subKey,
                              unsigned long access) noexcept;
  static bool OpenRegistryKey(Pointer& result, const RegistryKey& parent, const CXString& subKey, unsigned long access,
                              long& status, bool reserved = false) noexcept;

  // ---- values ----
  // Whether the value is there: asks only for the size and answers true unless
  // the status is ERROR_FILE_NOT_FOUND, so a value that cannot be read for
  // lack of rights counts as existing. A key with a null handle answers false
  // without a system call.
  bool DoesValueExist(const CXString& name) const;

  bool GetBooleanValue(const CXString& name, bool defaultValue) const;
  long GetLongValue(const CXString& name, long defaultValue) const;
  long long GetLong64Value(const CXString& name, long long defaultValue) const;
  CXString GetStringValue(const CXString& name, const CXString& defaultValue) const;
  ByteBuffer GetBytesValue(const CXString& name, const ByteBuffer& defaultValue) const;

  void SetBooleanValue(const CXString& name, bool value);
  void SetLongValue(const CXString& name, long value);
  void SetLong64Value(const CXString& name, long long value);
  void SetStringValue(const CXString& name, const CXString& value);
  void SetBytesValue(const CXString& name, const ByteBuffer& value);

  // The raw reader under all getters: empties `data`, asks for the size and
  // type, and when the size is not zero reads the data into a buffer of that
  // size. True when the value was read (also with zero bytes), with its
  // registry type in *type (type may be null). False for the silent statuses
  // 2, 5 and 6 (data empty, *type REG_NONE). Any other status throws.
  bool GetValue(const CXString& name, ByteBuffer& data, unsigned long* type) const;

  // RegQueryMultipleValuesW with the entries and the buffer's current size;
  // on ERROR_MORE_DATA the buffer is resized to the size reported and the call
  // made once more. On success each entry's ve_valueptr points into `buffer`.
  // A remaining failure throws when throwOnFailure is set, else returns false.
  bool QueryMultipleValues(std::vector<value_entW>& entries, ByteBuffer& buffer, bool throwOnFailure);

  // RegDeleteValueW; the Windows status.
  long DeleteValue(const CXString& name);
  // Writes the value's data and type under the new name and deletes the old
  // name; false when the old value cannot be read or a write or delete
  // fails. Names equal but for case ("A" to "a") delete the old value first,
  // because writing would otherwise only overwrite it under its old
  // spelling; if the write then fails, the old value is written back.
  bool RenameValue(const CXString& oldName, const CXString& newName);

  // ---- enumeration ----
  // The sub-key names (buffer of the longest name + 1 characters, from
  // RegQueryInfoKeyW) or value names (520-character buffer), from index 0
  // until the first failure. True exactly when the enumeration ended with
  // ERROR_NO_MORE_ITEMS; names read before another error stay in `names`.
  // A null handle gives false.
  bool EnumKeyNames(std::vector<CXString>& names) const;
  bool EnumValueNames(std::vector<CXString>& names) const;
  // The data (not the names) of the REG_SZ values, in enumeration order,
  // converted as GetStringValue converts; other types are skipped. The result
  // is EnumValueNames'; reading a value throws as GetValue does.
  bool EnumStringValues(std::vector<CXString>& values) const;
  // How many RegEnumKeyExW / RegEnumValueW calls with a 520-character buffer
  // succeed from index 0 before the first failure; 0 without a system call
  // for a null handle.
  int GetCountOfSubKeys() const;
  int GetCountOfValues() const;
  // Whether RegEnumKeyExW at index 0 (260-character buffer) succeeds; false
  // for a null handle.
  bool AnySubKeysExist() const;

  // ---- keys ----
  // RegDeleteKeyW (the sub-key must have no sub-keys); the status.
  long DeleteKey(const CXString& subKey);
  // SHDeleteKeyW: the sub-key and its whole tree; the status.
  long DeleteKeyAndSubkeys(const CXString& subKey);
  // SHCopyKeyW: the tree under `subKey` of `source` into this key; the status.
  long CopyKeyAndSubkeysFrom(HKEY source, const CXString& subKey);

  // ---- one-shot access ----
  // Each wraps `root` (with the current-user redirection), opens `path` with
  // KEY_READ (readers, DeleteOneRegistryValue with KEY_WRITE) or creates it
  // non-volatile with KEY_WRITE (writers), and reads with the typed getter or
  // writes with the typed setter. A key that cannot be opened or created
  // gives the default or false; a write that was reached answers true, and
  // DeleteOneRegistryValue answers whether RegDeleteValueW succeeded (false
  // for a value that was not there). Any exception is handed to the exception
  // facility (ExceptionFacility::reportAndProcessCaughtException) under the
  // function's own name, and the default or false is returned: nothing
  // escapes.
  // (ReadOneRegistryString is not noexcept only because copying the default
  // text for the result can run out of memory.)
  static CXString ReadOneRegistryString(HKEY root, const CXString& path, const CXString& name,
                                        const CXString& defaultValue);
  static unsigned long ReadOneRegistryDword(HKEY root, const CXString& path, const CXString& name,
                                            unsigned long defaultValue) noexcept;
  static long long ReadOneRegistry64BitInt(HKEY root, const CXString& path, const CXString& name,
                                           long long defaultValue) noexcept;
  static bool WriteOneRegistryString(HKEY root, const CXString& path, const CXString& name,
                                     const CXString& value) noexcept;
  static bool WriteOneRegistryDword(HKEY root, const CXString& path, const CXString& name,
                                    unsigned long value) noexcept;
  static bool WriteOneRegistry64BitInt(HKEY root, const CXString& path, const CXString& name, long long value) noexcept;
  static bool DeleteOneRegistryValue(HKEY root, const CXString& path, const CXString& name) noexcept;

  // ---- platform ----
  // KEY_WOW64_64KEY (0x100) on an ARM64 system, else 0.
  static int GetWow64RegAccessFlag() noexcept;
  // `access` as every open and create passes it: with GetWow64RegAccessFlag() added.
  static unsigned long AddRegistryViewFlag(unsigned long access) noexcept;
  // The native architecture the view rule is decided on
  // (PlatformFacilities::nativeMachineArchitecture, asked once per process),
  // unless a test has set another.
  static unsigned short GetNativeOsArchitecture() noexcept;
  // For tests: answer `machine` (an image-file machine code such as 0xAA64)
  // as the native architecture from now on; 0 returns to the system's answer.
  static void SetNativeOsArchitectureForTesting(unsigned short machine) noexcept;
  // Tries to create "Software" under HKEY_CURRENT_USER (redirected) with
  // KEY_WRITE and the view flag, closes what it opened, and answers false
  // only when that was denied (ERROR_ACCESS_DENIED); every other outcome,
  // failures included, answers true.
  static bool DoesThreadHavePermissiontoWriteToHkcu() noexcept;

 private:
  // The raw writer under all setters: RegSetValueExW; any non-zero status throws.
  void SetValue(const CXString& name, unsigned long type, const ByteBuffer& data);
  // Closes what this key owns and leaves it empty.
  void Release() noexcept;
  // Takes everything from `other` and leaves it with a non-owning key handle.
  void TakeOwnershipFrom(RegistryKey& other) noexcept;

  HKEY m_hKey = nullptr;
  bool m_ownsHandle = false;
  HKEY m_hCurrentUserKey = nullptr;
};
