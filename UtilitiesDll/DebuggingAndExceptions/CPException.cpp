#include "DebuggingAndExceptions/CPException.h"

#include "DebuggingAndExceptions/DebugUtilities.h"

#include <cxxabi.h>

#include <cstdlib>
#include <cstring>
#include <new>

// ---- CPException ---------------------------------------------------------------

CPException::CPException(const char* message, unsigned long lastError, DebugContextCopy context)
    : m_lastErrorValue(lastError), m_debugContext(std::move(context)), m_message(message != nullptr ? message : "") {}

CPException::CPException(std::string&& message, unsigned long lastError, DebugContextCopy context)
    : m_lastErrorValue(lastError), m_debugContext(std::move(context)), m_message(std::move(message)) {}

CPException::CPException(unsigned long lastError, DebugContextCopy context)
    : m_lastErrorValue(lastError), m_debugContext(std::move(context)) {}

// The text buffer belongs to one object and is rebuilt by what(); copies start without one.
CPException::CPException(const CPException& other)
    : std::exception(other),
      m_lastErrorValue(other.m_lastErrorValue),
      m_debugContext(other.m_debugContext),
      m_message(other.m_message) {}

CPException::CPException(CPException&& other) noexcept
    : std::exception(std::move(other)),
      m_lastErrorValue(other.m_lastErrorValue),
      m_debugContext(std::move(other.m_debugContext)),
      m_message(std::move(other.m_message)),
      m_whatBuffer(other.m_whatBuffer.exchange(nullptr)) {}

CPException& CPException::operator=(const CPException& other) {
  if (this != &other) {
    m_lastErrorValue = other.m_lastErrorValue;
    m_debugContext = other.m_debugContext;
    m_message = other.m_message;
    delete[] m_whatBuffer.exchange(nullptr);
  }
  return *this;
}

CPException& CPException::operator=(CPException&& other) noexcept {
  if (this != &other) {
    m_lastErrorValue = other.m_lastErrorValue;
    m_debugContext = std::move(other.m_debugContext);
    m_message = std::move(other.m_message);
    delete[] m_whatBuffer.exchange(other.m_whatBuffer.exchange(nullptr));
  }
  return *this;
}

CPException::~CPException() {
  delete[] m_whatBuffer.load();
}

void CPException::log(signed char /*verbosityLevel*/) const {}

// A new message changes the log string: the text built by an earlier what()
// is dropped, and the next what() builds the current one. (A pointer returned
// by an earlier what() is no longer valid, as after any change of a standard
// exception.)
void CPException::setExceptionMessage(const char* message) {
  m_message = message != nullptr ? message : "";
  delete[] m_whatBuffer.exchange(nullptr, std::memory_order_acq_rel);
}

void CPException::setExceptionMessage(std::string&& message) {
  m_message = std::move(message);
  delete[] m_whatBuffer.exchange(nullptr, std::memory_order_acq_rel);
}

const char* CPException::what() const noexcept {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  if (char* existing = m_whatBuffer.load(std::memory_order_acquire)) {
    return existing;
  }
  char* fresh = new (std::nothrow) char[kWhatBufferCharacters];
  if (fresh == nullptr) {
    return "";
  }
  fresh[0] = '\0';
  try {
    const std::string logString = getLogString();
    // All or nothing: a text that does not fit with its terminator is left out
    // entirely rather than cut in the middle.
    if (logString.size() + 1 <= kWhatBufferCharacters) {
      std::memcpy(fresh, logString.c_str(), logString.size() + 1);
    }
  } catch (...) {
    fresh[0] = '\0';
  }
  char* expected = nullptr;
  if (m_whatBuffer.compare_exchange_strong(expected, fresh, std::memory_order_acq_rel, std::memory_order_acquire)) {
    return fresh;
  }
  delete[] fresh;  // another thread installed the same text first
  return expected;
}

std::string CPException::getReadableTypeName(const std::type_info& type) {
  int status = 0;
  char* demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
  std::string name = (status == 0 && demangled != nullptr) ? demangled : type.name();
  std::free(demangled);
  return name;
}

std::string CPException::getExceptionType() const {
  return "class " + getReadableTypeName(typeid(*this));
}

std::string CPException::getLogString() const {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  return InternalHaldenCP::formatToStdString(
      "%s thrown from %s ('last err' at time of throw: %s): %s", getExceptionType(), m_debugContext.getLogString(),
      DebugUtilities::formatLastErrorDisplayString(m_lastErrorValue, false), m_message);
}

bool CPException::isCPException(const std::exception& exception) noexcept {
  return dynamic_cast<const CPException*>(&exception) != nullptr;
}

std::string CPException::getExceptionDescription(const std::exception& exception) {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  if (const auto* cpException = dynamic_cast<const CPException*>(&exception)) {
    return cpException->getLogString();
  }
  if (dynamic_cast<const std::bad_alloc*>(&exception) != nullptr) {
    return "Object of std::bad_alloc. Out of memory!";
  }
  std::string description = InternalHaldenCP::formatToStdString("Object of %s", getReadableTypeName(typeid(exception)));
  const char* text = exception.what();
  if (text != nullptr && *text != '\0') {
    description += InternalHaldenCP::formatToStdString("\n\n\t%s", text);
  } else {
    description += "\n\n\tNo additional information available.";
  }
  return description;
}

void CPException::SafeDebugBreak() noexcept {
  PlatformFacilities::breakIntoDebuggerIfAttached();
}

// ---- the concrete classes ---------------------------------------------------------

#define HDU_DEFINE_CPEXCEPTION_CLASS(ClassName, BaseName, TypeCode) \
  ClassName::~ClassName() = default;                                \
  int ClassName::getExceptionTypeByNumericCode() const {            \
    return TypeCode;                                                \
  }

HDU_CPEXCEPTION_TABLE(HDU_DEFINE_CPEXCEPTION_CLASS)

namespace utf8 {
exception::~exception() = default;
HDU_UTF8_CPEXCEPTION_TABLE(HDU_DEFINE_CPEXCEPTION_CLASS)
}  // namespace utf8

// ---- CPComException ------------------------------------------------------------------

namespace {
std::string systemTextForResult(long hresult) {
  std::string text = PlatformFacilities::systemMessageText(static_cast<std::uint32_t>(hresult));
  return text.empty() ? std::string("Unknown error") : text;
}
}  // namespace

CPComException::CPComException(const std::string& message, unsigned long lastError, DebugContextReference context,
                               long hresult)
    : CPException(
          InternalHaldenCP::formatToStdString("%s HRESULT = 0x%x (%S).", message, static_cast<std::uint32_t>(hresult),
                                              CXString::fromUtf8Lenient(systemTextForResult(hresult))),
          lastError, DebugContextCopy(context)),
      m_hresult(hresult) {}

CPComException::~CPComException() = default;

int CPComException::getExceptionTypeByNumericCode() const {
  return static_cast<int>(m_hresult);
}

void CPComException::Dump(const DumpArgs& dumpArgs) const {
  dumpArgs.writeLine(
      InternalHaldenCP::formatToStdString("CPComException: HRESULT = 0x%08x", static_cast<std::uint32_t>(m_hresult)));
  dumpArgs.nested().writeLine(getLogString());
}

CXString CPComException::GetAdditionalExceptionDescription(const CPComException* exception) {
  if (exception == nullptr) {
    return {};
  }
  return CXString::format("COM Error HRESULT = 0x%x (%s).", static_cast<std::uint32_t>(exception->m_hresult),
                          systemTextForResult(exception->m_hresult));
}

CXString CPComException::GetExceptionTypeByNumericCode() const {
  return CXString::format("0x%08x", static_cast<std::uint32_t>(m_hresult));
}

// ---- CPOrvikParseException ------------------------------------------------------------

CPOrvikParseException::CPOrvikParseException(std::string message, unsigned long lastError,
                                             DebugContextReference context, ExceptionCode code)
    : CPException(std::move(message), lastError, DebugContextCopy(context)), m_code(code) {
  commonConstruction();
}

CPOrvikParseException::~CPOrvikParseException() = default;

void CPOrvikParseException::commonConstruction() {
  if (static_cast<int>(m_code) < 0 || static_cast<int>(m_code) >= kExceptionCodeCount) {
    m_code = ORVIK_UNKNOWN_ERROR;
  }
}

int CPOrvikParseException::getExceptionTypeByNumericCode() const {
  return static_cast<int>(m_code);
}

const char* CPOrvikParseException::GetCodeName(ExceptionCode code) noexcept {
  static const char* const kNames[kExceptionCodeCount] = {
      "ORVIK_UNKNOWN_ERROR",
      "ORVIK_FILE_NOT_FOUND",
      "ORVIK_FILE_OPEN_FAILED",
      "ORVIK_FILE_READ_FAILED",
      "ORVIK_EMPTY_DOCUMENT",
      "ORVIK_XML_PARSER_CREATION_FAILED",
      "ORVIK_XML_MALFORMED",
      "ORVIK_XML_UNEXPECTED_END_OF_DOCUMENT",
      "ORVIK_ROOT_ELEMENT_MISSING",
      "ORVIK_ROOT_ELEMENT_UNEXPECTED",
      "ORVIK_NAMESPACE_UNKNOWN",
      "ORVIK_VERSION_UNSUPPORTED",
      "ORVIK_ELEMENT_UNEXPECTED",
      "ORVIK_ELEMENT_MISSING",
      "ORVIK_ATTRIBUTE_MISSING",
      "ORVIK_ATTRIBUTE_UNEXPECTED",
      "ORVIK_ATTRIBUTE_VALUE_INVALID",
      "ORVIK_FEATURE_UNKNOWN",
      "ORVIK_OPTION_UNKNOWN",
      "ORVIK_PARAMETER_UNKNOWN",
      "ORVIK_PARAMETER_VALUE_OUT_OF_RANGE",
      "ORVIK_VALUE_TYPE_MISMATCH",
      "ORVIK_DUPLICATE_ENTRY",
      "ORVIK_CONSTRAINT_VIOLATION",
      "ORVIK_ENCODING_INVALID",
      "ORVIK_OUT_OF_MEMORY",
      "ORVIK_COM_ERROR",
  };
  const int index = static_cast<int>(code);
  return (index >= 0 && index < kExceptionCodeCount) ? kNames[index] : kNames[0];
}

CXString CPOrvikParseException::GetCodeString() const {
  return CXString::fromUtf8Lenient(GetCodeName(m_code));
}
