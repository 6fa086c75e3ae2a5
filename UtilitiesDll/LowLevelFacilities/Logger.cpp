#include "LowLevelFacilities/Logger.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/LoggerPlatform.h"

#include <array>
#include <cstring>
#include <string>

namespace {

// The folder below the root, one name per level.
constexpr std::array<const char16_t*, 3> kRelativeFolders = {u"Halden", u"PrinterDriver", u"V6.0"};
constexpr const char16_t* kLogFileExtension = u".log";
constexpr const char16_t* kOldLogFileExtension = u".hldold";
constexpr const char16_t* kLogTrimmedMessage = u"Log trimmed.";

// The key of obscured lines. It only hides lines from readers who do not have
// this library; it is not a secret from anyone who has.
constexpr std::array<unsigned char, LoggerPlatform::kAesKeyBytes> kObscuredLineKey = {
    0x48, 0x61, 0x6c, 0x64, 0x65, 0x6e, 0x4c, 0x6f, 0x67, 0x67, 0x65, 0x72, 0x1f, 0x8a, 0x3d, 0xc2,
    0x5e, 0x71, 0x09, 0xb4, 0xe6, 0x2b, 0x93, 0x4c, 0xd8, 0x07, 0x6a, 0xf1, 0x35, 0xae, 0x52, 0x9d};
constexpr unsigned char kObscuredLineVersion = 1;
constexpr std::size_t kObscuredLineOverhead = 1 + LoggerPlatform::kGcmNonceBytes + LoggerPlatform::kGcmTagBytes;

void appendAscii(std::u16string& out, const char* text) {
  for (; *text != '\0'; ++text) {
    out.push_back(static_cast<char16_t>(static_cast<unsigned char>(*text)));
  }
}

void appendDecimal(std::u16string& out, std::uint32_t value, int minimumDigits = 1) {
  char16_t digits[10];
  int count = 0;
  do {
    digits[count++] = static_cast<char16_t>(u'0' + value % 10);
    value /= 10;
  } while (value != 0);
  for (int pad = count; pad < minimumDigits; ++pad) {
    out.push_back(u'0');
  }
  while (count > 0) {
    out.push_back(digits[--count]);
  }
}

// UTF-16 little-endian bytes of the text.
void appendUtf16LittleEndian(std::string& out, std::u16string_view text) {
  out.reserve(out.size() + text.size() * 2);
  for (const char16_t unit : text) {
    out.push_back(static_cast<char>(unit & 0xFF));
    out.push_back(static_cast<char>(unit >> 8));
  }
}

const std::string& byteOrderMark() {
  static const std::string bom("\xFF\xFE", 2);
  return bom;
}

// The running program's file name without its extension ("spoolsv").
CXString programNameWithoutExtension() {
  std::string name = PlatformFacilities::processName();
  const std::size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) {
    name.resize(dot);
  }
  if (name.empty()) {
    name = "Logger";
  }
  return CXString::fromUtf8Lenient(name);
}

// A name that is safe as a file name on every platform: characters that
// Windows refuses in file names, and control characters, become '_'.
CXString sanitizedFileName(const CXString& name) {
  std::u16string text = name.u16string();
  if (text.size() >= 4) {
    CXString tail(text.substr(text.size() - 4));
    if (tail.equalsNoCase(CXString(kLogFileExtension))) {
      text.resize(text.size() - 4);
    }
  }
  for (char16_t& unit : text) {
    if (unit < 0x20 || unit == u'\\' || unit == u'/' || unit == u':' || unit == u'*' || unit == u'?' || unit == u'"' ||
        unit == u'<' || unit == u'>' || unit == u'|') {
      unit = u'_';
    }
  }
  return CXString(std::move(text));
}

// Holds the cross-process lock for a scope.
class CrossProcessLockScope {
 public:
  explicit CrossProcessLockScope(LoggerPlatform::CrossProcessLock& lock) noexcept : m_lock(lock) { m_lock.lock(); }
  ~CrossProcessLockScope() { m_lock.unlock(); }
  CrossProcessLockScope(const CrossProcessLockScope&) = delete;
  CrossProcessLockScope& operator=(const CrossProcessLockScope&) = delete;

 private:
  LoggerPlatform::CrossProcessLock& m_lock;
};

}  // namespace

std::atomic<Logger*> Logger::m_pInstance{nullptr};

// ---- the singleton ------------------------------------------------------------

Logger& Logger::GetInstance() {
  Logger* instance = m_pInstance.load(std::memory_order_acquire);
  if (instance != nullptr) {
    return *instance;
  }
  return InitializeAndGetInstance(CXString(), CXString(), CXString(), true);
}

Logger& Logger::InitializeAndGetInstance(const CXString& appName, bool showThreadId) {
  return InitializeAndGetInstance(appName, CXString(), CXString(), showThreadId);
}

Logger& Logger::InitializeAndGetInstance(const CXString& appName, const CXString& logFileName, bool showThreadId) {
  return InitializeAndGetInstance(appName, logFileName, CXString(), showThreadId);
}

Logger& Logger::InitializeAndGetInstance(const CXString& appName, const CXString& logFileName,
                                         const CXString& logFolderRoot, bool showThreadId) {
  static std::mutex creationMutex;
  std::lock_guard<std::mutex> creationLock(creationMutex);
  Logger* instance = m_pInstance.load(std::memory_order_acquire);
  if (instance == nullptr) {
    // Deliberately never deleted (see Logger.h).
    instance = new Logger(appName, logFileName, logFolderRoot, showThreadId);
    m_pInstance.store(instance, std::memory_order_release);
  } else {
    std::lock_guard<std::mutex> lock(instance->m_mutex);
    instance->Configure(appName, logFileName, logFolderRoot, showThreadId);
  }
  return *instance;
}

// ---- construction and settings ------------------------------------------------

Logger::Logger(const CXString& appName, const CXString& logFileName, const CXString& logFolderRoot, bool showThreadId)
    : m_crossProcessLock(std::make_unique<LoggerPlatform::CrossProcessLock>()) {
  Configure(appName, logFileName, logFolderRoot, showThreadId);
}

Logger::~Logger() = default;

void Logger::Configure(const CXString& appName, const CXString& logFileName, const CXString& logFolderRoot,
                       bool showThreadId) {
  m_appName = appName.empty() ? programNameWithoutExtension() : appName;
  m_logFileName = sanitizedFileName(logFileName.empty() ? m_appName : logFileName);
  if (m_logFileName.empty()) {
    m_logFileName = sanitizedFileName(programNameWithoutExtension());
  }
  m_showThreadId = showThreadId;

  // The paths, computed once: root, "Halden\PrinterDriver\V6.0\", name.
  const char16_t separator = LoggerPlatform::pathSeparator();
  CXString folder = logFolderRoot.empty() ? GetDefaultLogFolderRoot() : logFolderRoot;
  while (!folder.empty() && (folder[folder.size() - 1] == u'\\' || folder[folder.size() - 1] == u'/')) {
    folder.resize(folder.size() - 1);
  }
  for (const char16_t* name : kRelativeFolders) {
    folder += separator;
    folder += name;
  }
  folder += separator;
  m_logFolderPath = folder;
  m_logFilePath = folder;
  m_logFilePath += m_logFileName;
  m_logFilePath += kLogFileExtension;
  m_oldLogFilePath = folder;
  m_oldLogFilePath += m_logFileName;
  m_oldLogFilePath += kOldLogFileExtension;
  m_crossProcessLockName = LoggerPlatform::crossProcessLockName(m_logFilePath);
  // The file may be another one now: its permissions are its own.
  m_permissions = PermissionSetting::None;
}

void Logger::SetObscuredLogLines(bool obscure) {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_obscureLines = obscure;
}

bool Logger::AreLogLinesObscured() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_obscureLines;
}

void Logger::SetLocalTimeSource(LocalTimeSource source) {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_localTimeSource = std::move(source);
}

PlatformFacilities::LocalTime Logger::ReadLocalTime() const {
  return m_localTimeSource ? m_localTimeSource() : PlatformFacilities::localTimeNow();
}

// ---- names and paths --------------------------------------------------------------

CXString Logger::GetAppName() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_appName;
}

CXString Logger::GetDefaultLogFolderRoot() const {
  return LoggerPlatform::defaultLogFolderRoot();
}

CXString Logger::GetLogFilePath() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_logFilePath;
}

CXString Logger::GetLogFileMutexName() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_crossProcessLockName;
}

std::vector<unsigned char> Logger::InitSecurityDescriptorForLogFileMutex() const {
  return LoggerPlatform::crossProcessLockSecurityDescriptor();
}

bool Logger::CreateDirectoryW(const CXString& folderPath) const {
  if (folderPath.empty()) {
    return false;
  }
  if (LoggerPlatform::createOneFolder(folderPath)) {
    return true;
  }
  // Create the missing levels from the top down. Windows drive roots ("C:\")
  // and UNC shares cannot be created; their failures are passed over and the
  // last level decides.
  const std::u16string& text = folderPath.u16string();
  for (std::size_t position = 1; position < text.size(); ++position) {
    if ((text[position] == u'\\' || text[position] == u'/') && text[position - 1] != u'\\' &&
        text[position - 1] != u'/' && text[position - 1] != u':') {
      LoggerPlatform::createOneFolder(CXString(text.substr(0, position)));
    }
  }
  return LoggerPlatform::createOneFolder(folderPath);
}

std::uint64_t Logger::GetLogFileSize() const {
  std::uint64_t size = 0;
  std::lock_guard<std::mutex> lock(m_mutex);
  return LoggerPlatform::fileSize(m_logFilePath, size) ? size : 0;
}

// ---- writing ------------------------------------------------------------------------

CXString Logger::FormatTimeStamp(const PlatformFacilities::LocalTime& time) {
  // "%u/%u/%u %u:%02u:%02u %s": month, day, year, hour, minute, second, half.
  auto hour = static_cast<std::uint32_t>(time.hour);
  const char* half = "AM";
  if (hour >= 12) {
    half = "PM";
    if (hour > 12) {
      hour -= 12;
    }
  }
  std::u16string text;
  text.reserve(24);
  appendDecimal(text, static_cast<std::uint32_t>(time.month));
  text.push_back(u'/');
  appendDecimal(text, static_cast<std::uint32_t>(time.day));
  text.push_back(u'/');
  appendDecimal(text, static_cast<std::uint32_t>(time.year));
  text.push_back(u' ');
  appendDecimal(text, hour);
  text.push_back(u':');
  appendDecimal(text, static_cast<std::uint32_t>(time.minute), 2);
  text.push_back(u':');
  appendDecimal(text, static_cast<std::uint32_t>(time.second), 2);
  text.push_back(u' ');
  appendAscii(text, half);
  return CXString(std::move(text));
}

CXString Logger::FormatLine(const PlatformFacilities::LocalTime& now, const CXString& message) const {
  // "[%s] %s(PID%u/TID%u): %s" or "[%s] %s(PID%u): %s", without the line end.
  std::u16string line;
  line.reserve(48 + m_appName.size() + message.size());
  line.push_back(u'[');
  line += FormatTimeStamp(now).u16string();
  line += u"] ";
  line += m_appName.u16string();
  line += u"(PID";
  appendDecimal(line, PlatformFacilities::currentProcessId());
  if (m_showThreadId) {
    line += u"/TID";
    appendDecimal(line, PlatformFacilities::currentThreadId());
  }
  line += u"): ";
  line += message.u16string();
  return CXString(std::move(line));
}

void Logger::EnsureCrossProcessLockOpen() {
  if (m_crossProcessLock->isOpen() && m_openedCrossProcessLockName == m_crossProcessLockName) {
    return;
  }
  // The POSIX lock file lies in the log folder, which must exist first.
  CreateDirectoryW(m_logFolderPath);
  m_crossProcessLock->open(m_crossProcessLockName, InitSecurityDescriptorForLogFileMutex());
  m_openedCrossProcessLockName = m_crossProcessLockName;
}

bool Logger::WriteLineLocked(const PlatformFacilities::LocalTime& now, const CXString& message) {
  CXString line = FormatLine(now, message);
  if (m_obscureLines) {
    line = EncryptAndBase64EncodeLogFileLine(line);
  }
  line += u'\n';
  std::string bytes;
  appendUtf16LittleEndian(bytes, line.utf16View());

  const CXString& path = m_logFilePath;
  if (LoggerPlatform::appendToFile(path, byteOrderMark(), bytes)) {
    return true;
  }
  // The folder may be missing (first write, or deleted meanwhile).
  return CreateDirectoryW(m_logFolderPath) && LoggerPlatform::appendToFile(path, byteOrderMark(), bytes);
}

bool Logger::TrimLogFileLocked(const PlatformFacilities::LocalTime& now) {
  const CXString& path = m_logFilePath;
  std::uint64_t size = 0;
  if (!LoggerPlatform::fileSize(path, size) || size <= static_cast<std::uint64_t>(iLogSizeLimitBytes)) {
    return false;
  }
  const CXString& oldPath = m_oldLogFilePath;
  if (!LoggerPlatform::renameReplacing(path, oldPath)) {
    // Another program holds the file open without allowing a rename: keep a
    // copy and empty the file in place.
    if (!LoggerPlatform::copyReplacing(path, oldPath) || !LoggerPlatform::truncateFile(path)) {
      return false;
    }
  }
  WriteLineLocked(now, CXString(kLogTrimmedMessage));
  if (m_permissions != PermissionSetting::None) {
    ApplyPermissionsLocked(m_permissions);
  }
  return true;
}

bool Logger::TrimLogFile() {
  try {
    std::lock_guard<std::mutex> lock(m_mutex);
    EnsureCrossProcessLockOpen();
    CrossProcessLockScope crossProcessLock(*m_crossProcessLock);
    return TrimLogFileLocked(ReadLocalTime());
  } catch (...) {
    return false;
  }
}

void Logger::LogMessage(const CXString& message) noexcept {
  try {
    std::lock_guard<std::mutex> lock(m_mutex);
    EnsureCrossProcessLockOpen();
    CrossProcessLockScope crossProcessLock(*m_crossProcessLock);
    // The time is read under the locks, so that the lines of a file are in
    // time order whichever process wrote them.
    const PlatformFacilities::LocalTime now = ReadLocalTime();
    TrimLogFileLocked(now);
    WriteLineLocked(now, message);
  } catch (...) {
    // Logging never fails outward: the line is dropped.
  }
}

void Logger::LogMessage(const wchar_t* message) noexcept {
  try {
    LogMessage(CXString(message));
  } catch (...) {
    // Converting the text failed (out of memory): nothing to log.
  }
}

// ---- deleting and permissions ------------------------------------------------------

bool Logger::DeleteLogFile() {
  std::lock_guard<std::mutex> lock(m_mutex);
  EnsureCrossProcessLockOpen();
  CrossProcessLockScope crossProcessLock(*m_crossProcessLock);
  const bool logDeleted = LoggerPlatform::deleteFile(m_logFilePath);
  const bool oldLogDeleted = LoggerPlatform::deleteFile(m_oldLogFilePath);
  return logDeleted && oldLogDeleted;
}

bool Logger::ApplyPermissionsLocked(PermissionSetting setting) {
  const LoggerPlatform::FileAccess access = setting == PermissionSetting::AdminsAndLocalService
                                                ? LoggerPlatform::FileAccess::AdminsAndLocalService
                                                : LoggerPlatform::FileAccess::AuthenticatedUsers;
  const CXString& path = m_logFilePath;
  std::uint64_t size = 0;
  if (!LoggerPlatform::fileSize(path, size)) {
    // Create the file (with its byte-order mark) so that it can be given its
    // permissions before anything is written to it.
    CreateDirectoryW(m_logFolderPath);
    if (!LoggerPlatform::appendToFile(path, byteOrderMark(), std::string())) {
      return false;
    }
  }
  bool applied = LoggerPlatform::setFileAccess(path, access);
  const CXString& oldPath = m_oldLogFilePath;
  if (LoggerPlatform::fileSize(oldPath, size)) {
    applied = LoggerPlatform::setFileAccess(oldPath, access) && applied;
  }
  return applied;
}

bool Logger::SetLogFilePermissionsForAdminsAndLocalService() {
  std::lock_guard<std::mutex> lock(m_mutex);
  EnsureCrossProcessLockOpen();
  CrossProcessLockScope crossProcessLock(*m_crossProcessLock);
  m_permissions = PermissionSetting::AdminsAndLocalService;
  return ApplyPermissionsLocked(m_permissions);
}

bool Logger::SetLogFilePermissionsForAuthenticatedUsers() {
  std::lock_guard<std::mutex> lock(m_mutex);
  EnsureCrossProcessLockOpen();
  CrossProcessLockScope crossProcessLock(*m_crossProcessLock);
  m_permissions = PermissionSetting::AuthenticatedUsers;
  return ApplyPermissionsLocked(m_permissions);
}

// ---- obscured lines -------------------------------------------------------------------

CXString Logger::EncryptAndBase64EncodeLogFileLine(const CXString& line) {
  const std::string plaintext = line.toUtf8();
  const std::vector<unsigned char> associatedData{kObscuredLineVersion};
  std::vector<unsigned char> record(1 + LoggerPlatform::kGcmNonceBytes);
  record[0] = kObscuredLineVersion;
  LoggerPlatform::fillRandom(record.data() + 1, LoggerPlatform::kGcmNonceBytes);
  const std::vector<unsigned char> sealed =
      LoggerPlatform::aesGcmEncrypt(kObscuredLineKey.data(), record.data() + 1, associatedData,
                                    reinterpret_cast<const unsigned char*>(plaintext.data()), plaintext.size());
  record.insert(record.end(), sealed.begin(), sealed.end());
  return CXString::Base64EncodeBinaryData(record, CXString::Base64Default);
}

CXString Logger::Base64DecodeAndDecryptLogFileLine(const CXString& encodedLine) {
  std::vector<unsigned char> record;
  if (!CXString::Base64DecodeBinaryData(encodedLine, record)) {
    HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT("Logger::Base64DecodeAndDecryptLogFileLine"),
              "The obscured log line is not Base64 text.");
  }
  if (record.size() < kObscuredLineOverhead) {
    HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT("Logger::Base64DecodeAndDecryptLogFileLine"),
              "The obscured log line holds %u bytes, fewer than the %u of the shortest line.",
              static_cast<unsigned>(record.size()), static_cast<unsigned>(kObscuredLineOverhead));
  }
  if (record[0] != kObscuredLineVersion) {
    HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT("Logger::Base64DecodeAndDecryptLogFileLine"),
              "The obscured log line has format version %u; this library reads version %u.",
              static_cast<unsigned>(record[0]), static_cast<unsigned>(kObscuredLineVersion));
  }
  const std::vector<unsigned char> associatedData{kObscuredLineVersion};
  const unsigned char* nonce = record.data() + 1;
  const unsigned char* ciphertext = nonce + LoggerPlatform::kGcmNonceBytes;
  const std::size_t ciphertextBytes = record.size() - kObscuredLineOverhead;
  std::vector<unsigned char> plaintext;
  if (!LoggerPlatform::aesGcmDecrypt(kObscuredLineKey.data(), nonce, associatedData, ciphertext, ciphertextBytes,
                                     ciphertext + ciphertextBytes, plaintext)) {
    HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT("Logger::Base64DecodeAndDecryptLogFileLine"),
              "The obscured log line does not authenticate: it is damaged or was not written by this library.");
  }
  return CXString::fromUtf8(std::string_view(reinterpret_cast<const char*>(plaintext.data()), plaintext.size()));
}
