#pragma once
// CPException: the root of every error the library raises.
//
// An exception carries a message, the operating system's last-error value the
// thrower captured, and a DebugContextCopy of the throwing site. Each concrete
// class answers a fixed numeric type code (getExceptionTypeByNumericCode), so
// that modules which do not share the library's run-time type information can
// still tell kinds apart. what() gives one line:
//   "<type> thrown from <location> ('last err' at time of throw: <text>): <message>"
//
// Throw through HDU_THROW (or hdThrowException), never with a bare `throw`:
// it captures the last error, builds the message with the library's
// formatter, offers the exception to the exception facility's debug-break hook
// and then throws.

#include "DebuggingAndExceptions/DebugContext.h"
#include "DebuggingAndExceptions/DumpArgs.h"
#include "LowLevelFacilities/CXString.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "hdUtilitiesExport.h"

#include <atomic>
#include <exception>
#include <memory>
#include <string>
#include <typeinfo>
#include <utility>

class HDU_API CPException : public std::exception {
 public:
  enum : unsigned { kWhatBufferCharacters = 2048 };

  ~CPException() override;

  // The log string, copied whole into a 2,048-character buffer, or an empty
  // text when it does not fit with its terminator. Never throws; keeps the
  // thread's last-error value. The text is built once and then reused until
  // the message is set again (setExceptionMessage drops it), so each call
  // returns the current log string.
  const char* what() const noexcept override;
  virtual int getExceptionTypeByNumericCode() const = 0;
  // A hook for classes that write themselves to the log; does nothing here.
  virtual void log(signed char verbosityLevel) const;

  const char* getExceptionMessage() const noexcept { return m_message.c_str(); }
  unsigned long getLastErrorValue() const noexcept { return m_lastErrorValue; }
  const DebugContextCopy& getExceptionDebugContext() const noexcept { return m_debugContext; }
  const char* getExceptionLocationFullFileName() const noexcept { return m_debugContext.getFullFileName().c_str(); }
  int getExceptionLocationLineNumber() const noexcept { return m_debugContext.getLineNumber(); }
  const char* getExceptionLocationFunctionName() const noexcept { return m_debugContext.getFunctionName().c_str(); }

  // The run-time type name of the most derived class in the form "class Name"
  // (namespaces kept: "class utf8::CPExceptionInvalidUtf8") on every platform.
  std::string getExceptionType() const;
  // "%s thrown from %s ('last err' at time of throw: %s): %s".
  std::string getLogString() const;

  static bool isCPException(const std::exception& exception) noexcept;
  // A CPException's log string; for std::bad_alloc "Object of std::bad_alloc.
  // Out of memory!"; otherwise "Object of <type>" and "\n\n\t<what()>" (or
  // "\n\n\tNo additional information available."). Keeps the last error.
  static std::string getExceptionDescription(const std::exception& exception);
  // The readable name of any object's dynamic type, without "class ".
  static std::string getReadableTypeName(const std::type_info& type);

  static void SafeDebugBreak() noexcept;

  // Forwarders to the process-wide exception facility.
  static bool allowForExceptionDebug(const char* exceptionTypeName, const std::string& message, unsigned long lastError,
                                     DebugContextReference&& throwSite);
  static void reportAndProcessCaughtException(const std::exception& exception, DebugContextReference&& catchSite,
                                              const std::string& whatWasHappening);
  static void reportAndProcessUnknownCaughtException(DebugContextReference&& catchSite,
                                                     const std::string& whatWasHappening);
  static int HaldenCrtDbgReportHook(int reportType, wchar_t* message, int* returnValue);

 protected:
  CPException(const char* message, unsigned long lastError, DebugContextCopy context);
  CPException(std::string&& message, unsigned long lastError, DebugContextCopy context);
  CPException(unsigned long lastError, DebugContextCopy context);
  CPException(const CPException& other);
  CPException(CPException&& other) noexcept;
  CPException& operator=(const CPException& other);
  CPException& operator=(CPException&& other) noexcept;

  void setExceptionMessage(const char* message);
  void setExceptionMessage(std::string&& message);

 private:
  unsigned long m_lastErrorValue = 0;
  DebugContextCopy m_debugContext;
  std::string m_message;
  // The 2,048-character text of what(), built by the first call and kept:
  // installed atomically, so that threads sharing one exception object (an
  // exception_ptr rethrown on several threads) may call what() together.
  // Owned by this object; a new message drops it.
  mutable std::atomic<char*> m_whatBuffer{nullptr};
};

// Declares one concrete exception class: the three constructors of every
// CPException class (message text, moved message, no message), each followed
// by the last-error value and the throwing site, and the class's type code.
#define HDU_DECLARE_CPEXCEPTION_CLASS(ClassName, BaseName, TypeCode)                                          \
  class HDU_API ClassName : public BaseName {                                                                 \
   public:                                                                                                    \
    enum : int { kNumericTypeCode = TypeCode };                                                               \
    ClassName(const char* message, unsigned long lastError, DebugContextCopy context)                         \
        : BaseName(message, lastError, std::move(context)) {}                                                 \
    ClassName(std::string&& message, unsigned long lastError, DebugContextCopy context)                       \
        : BaseName(std::move(message), lastError, std::move(context)) {}                                      \
    ClassName(unsigned long lastError, DebugContextCopy context) : BaseName(lastError, std::move(context)) {} \
    ClassName(const ClassName&) = default;                                                                    \
    ClassName(ClassName&&) noexcept = default;                                                                \
    ClassName& operator=(const ClassName&) = default;                                                         \
    ClassName& operator=(ClassName&&) noexcept = default;                                                     \
    ~ClassName() override;                                                                                    \
    int getExceptionTypeByNumericCode() const override;                                                       \
  };

// The table of concrete classes: name, base, numeric type code. Codes 0 and
// 25 belong to no class. Bases come before the classes derived from them.
#define HDU_CPEXCEPTION_TABLE(X)                                                     \
  X(CPExceptionInvalidArgument, CPException, 1)                                      \
  X(CPExceptionNullArgument, CPExceptionInvalidArgument, 2)                          \
  X(CPExceptionDuplicateArgument, CPExceptionInvalidArgument, 3)                     \
  X(CPExceptionOutOfRange, CPException, 4)                                           \
  X(CPExceptionOSApiError, CPException, 5)                                           \
  X(CPExceptionRegistryRequest, CPException, 6)                                      \
  X(CPExceptionIndexOutOfBounds, CPException, 7)                                     \
  X(CPExceptionNotEnoughBytesForDesiredDataType, CPException, 8)                     \
  X(CPExceptionNodeAccessOutOfBounds, CPException, 9)                                \
  X(CPExceptionTabCreationFailure, CPException, 10)                                  \
  X(CPExceptionOperatingSystemFailure, CPException, 11)                              \
  X(CPExceptionSpoolerFailure, CPException, 12)                                      \
  X(CPExceptionPrintJobFailure, CPException, 13)                                     \
  X(CPExceptionProcessSpawnFailure, CPException, 14)                                 \
  X(CPExceptionProcessWaitFailure, CPException, 15)                                  \
  X(CPExceptionProcessFailure, CPException, 16)                                      \
  X(CPExceptionPrintDriverFailure, CPException, 17)                                  \
  X(CPExceptionPrinterFailure, CPException, 18)                                      \
  X(CPExceptionUserFailure, CPException, 19)                                         \
  X(CPExceptionApplicationFailure, CPException, 20)                                  \
  X(CPExceptionUnknownKeyRequest, CPException, 21)                                   \
  X(CPExceptionDuplicateDictionaryIndexEntry, CPException, 22)                       \
  X(CPExceptionDelayLoadDllLoadFailure, CPException, 23)                             \
  X(CPExceptionFeatureNotFound, CPException, 24)                                     \
  X(CPExceptionFeatureIsOfADifferentType, CPException, 26)                           \
  X(CPExceptionWatermarkFailure, CPException, 27)                                    \
  X(CPExceptionIteratorOutOfBounds, CPException, 28)                                 \
  X(CPExceptionInvalidHandle, CPException, 29)                                       \
  X(CPExceptionCommunicationsFailure, CPException, 30)                               \
  X(CPExceptionAutoDiscovery, CPExceptionCommunicationsFailure, 31)                  \
  X(CPExceptionBEACON, CPExceptionCommunicationsFailure, 32)                         \
  X(CPExceptionDLP, CPExceptionCommunicationsFailure, 33)                            \
  X(CPExceptionHTTP, CPExceptionCommunicationsFailure, 34)                           \
  X(CPExceptionIPP, CPExceptionCommunicationsFailure, 35)                            \
  X(CPExceptionSNMP, CPExceptionCommunicationsFailure, 36)                           \
  X(CPExceptionSOCKET, CPExceptionCommunicationsFailure, 37)                         \
  X(CPExceptionUSB, CPExceptionCommunicationsFailure, 38)                            \
  X(CPExceptionWSD, CPExceptionCommunicationsFailure, 39)                            \
  X(CPExceptionAttributeValueTypeMismatch, CPException, 40)                          \
  X(CPExceptionUnhandledSyntax, CPException, 41)                                     \
  X(CPExceptionInappropriateAttributeId, CPException, 42)                            \
  X(CPExceptionDuplicateAttributeId, CPException, 43)                                \
  X(CPExceptionInvalidAttributeOperationParamter, CPException, 44)                   \
  X(CPExceptionInvalidArgumentNullPointer, CPException, 45)                          \
  X(CPExceptionMissingOrBadPersistentAttributesFormat, CPException, 46)              \
  X(CPExceptionIncompatibleCompressionFormat, CPException, 47)                       \
  X(CPExceptionMissingOrBadCompressedBufferFooter, CPException, 48)                  \
  X(CPExceptionCompression, CPException, 49)                                         \
  X(CPExceptionFileOperationCompression, CPException, 50)                            \
  X(CPExceptionCabinetLibraryConstructionFailure, CPException, 51)                   \
  X(CPExceptionMissingOrBadAttributeBytesFormat, CPException, 52)                    \
  X(CPExceptionCpsuiOptitemNotFound, CPException, 53)                                \
  X(CPExceptionCpsuiDrvUpdateUISettingFailed, CPException, 54)                       \
  X(CPExceptionMicrosoftFeatureNotFound, CPException, 55)                            \
  X(CPExceptionMicrosoftDevmodeValueMappingFailed, CPException, 56)                  \
  X(CPExceptionMicrosoftPrivateDevmodeNotSafeForReverseEngineering, CPException, 57) \
  X(CPExceptionMicrosoftPrivateDevmodeOffsetOutOfBounds, CPException, 58)            \
  X(CPExceptionIPrintCoreHelperReadFailure, CPException, 59)                         \
  X(CPExceptionIPrintCoreHelperWriteFailure, CPException, 60)                        \
  X(CPExceptionIPrintCoreHelperEnumerationFailure, CPException, 61)                  \
  X(CPExceptionInvalidPaperSizeData, CPException, 62)                                \
  X(CPExceptionAccessPriorToInitialization, CPException, 63)                         \
  X(CPExceptionMicrosoftBugInVistaPreRelease, CPException, 64)                       \
  X(CPExceptionFailedLockResource, CPException, 65)                                  \
  X(CPExceptionUnsupportedFeatureRequest, CPException, 66)                           \
  X(CPExceptionDataCacheFailure, CPException, 67)                                    \
  X(CPExceptionOemDataNotFoundInDevmode, CPException, 68)                            \
  X(CPExceptionDataEncrypterFailure, CPException, 69)                                \
  X(CPExceptionAutoPtrNull, CPException, 70)                                         \
  X(CPExceptionClientJobDataFailure, CPException, 71)                                \
  X(CPExceptionInvalidFormName, CPException, 72)                                     \
  X(CPExceptionNotAHldCustomSize, CPException, 73)                                   \
  X(CPExceptionCustomSizeByTheSameNameExists, CPException, 74)                       \
  X(CPExceptionFromGreaterThanToRange, CPException, 75)                              \
  X(CPExceptionInvalidPrinterHandle, CPException, 76)                                \
  X(CPExceptionPagesFormat, CPException, 77)                                         \
  X(CPExceptionPageNumberTooLarge, CPException, 78)                                  \
  X(CPExceptionPageNumberTooSmall, CPException, 79)                                  \
  X(CPExceptionFile, CPException, 80)                                                \
  X(CPExceptionCreateFileForReading, CPExceptionFile, 81)                            \
  X(CPExceptionCreateFileForWriting, CPExceptionFile, 82)                            \
  X(CPExceptionReadFile, CPExceptionFile, 83)                                        \
  X(CPExceptionWriteFile, CPExceptionFile, 84)                                       \
  X(CPExceptionGroupMembershipFailure, CPException, 85)                              \
  X(CPExceptionMapInfModelNameToIniModelIdStringFailure, CPException, 86)            \
  X(CPExceptionPrinterModelIdQueriedBeforeInitialized, CPException, 87)              \
  X(CPExceptionRecursionDetectedInDevmodeHandler, CPException, 88)                   \
  X(CPExceptionMaximumSpecialPageItemsExceeded, CPException, 89)                     \
  X(CPExceptionOutOfMemory, CPException, 90)                                         \
  X(CPExceptionWorkflowObjectNotInitialized, CPException, 91)                        \
  X(CPExceptionWorkflowObjectCreateMsFeatureMgrFailed, CPException, 92)              \
  X(CPExceptionXMLConfigurationFileParseFailed, CPException, 93)                     \
  X(CPExceptionXMLConstraintFileParseFailed, CPException, 94)                        \
  X(CPExceptionXMLConstraintVersionMismatch, CPException, 95)                        \
  X(CPExceptionAnnotationServicesObjectNotInitialized, CPException, 96)              \
  X(CPExceptionSavedSettingsServicesObjectNotInitialized, CPException, 97)           \
  X(CPExceptionNoSupportForTargetPlatform, CPException, 98)                          \
  X(CPExceptionAssertion, CPException, 999)

HDU_CPEXCEPTION_TABLE(HDU_DECLARE_CPEXCEPTION_CLASS)

// The UTF-8 routines' own branch: the abstract utf8::exception and its four
// concrete classes. They replace utfcpp's exception classes so that every
// malformed-text error is a CPException.
namespace utf8 {

class HDU_API exception : public CPException {
 public:
  ~exception() override;

 protected:
  using CPException::CPException;
  exception(const exception&) = default;
  exception(exception&&) noexcept = default;
  exception& operator=(const exception&) = default;
  exception& operator=(exception&&) noexcept = default;
};

#define HDU_UTF8_CPEXCEPTION_TABLE(X)             \
  X(CPExceptionInvalidCodePoint, exception, 1001) \
  X(CPExceptionInvalidUtf8, exception, 1002)      \
  X(CPExceptionInvalidUtf16, exception, 1003)     \
  X(CPExceptionNotEnoughRoom, exception, 1004)

HDU_UTF8_CPEXCEPTION_TABLE(HDU_DECLARE_CPEXCEPTION_CLASS)

}  // namespace utf8

// Builds the message with the library's formatter, captures the thread's last
// error (as it was before the message was built), offers the exception to the
// exception facility's debug-break hook under its class name, and throws.
template <class ExceptionClass, class... Args>
[[noreturn]] void hdThrowException(const char* className, DebugContextReference&& throwSite, const char* format,
                                   const Args&... args) {
  const unsigned long lastError = PlatformFacilities::getLastError();
  std::string message = InternalHaldenCP::formatToStdString(format, args...);
  CPException::allowForExceptionDebug(className, message, lastError, DebugContextReference(throwSite));
  PlatformFacilities::setLastError(static_cast<std::uint32_t>(lastError));
  throw ExceptionClass(std::move(message), lastError, DebugContextCopy(throwSite));
}

// HDU_THROW(ClassName, HDU_DEBUG_CONTEXT("Class::Method"), "format", args...)
#define HDU_THROW(ExceptionClass, debugContext, ...) \
  ::hdThrowException<ExceptionClass>(#ExceptionClass, debugContext, __VA_ARGS__)

// CPComException: a COM failure, identified by its HRESULT.
class HDU_API CPComException : public CPException {
 public:
  // The stored message is "%s HRESULT = 0x%x (%S)." with the given message,
  // the result code and the system's text for it.
  CPComException(const std::string& message, unsigned long lastError, DebugContextReference context, long hresult);
  CPComException(const CPComException&) = default;
  CPComException(CPComException&&) noexcept = default;
  CPComException& operator=(const CPComException&) = default;
  CPComException& operator=(CPComException&&) noexcept = default;
  ~CPComException() override;

  int getExceptionTypeByNumericCode() const override;
  virtual void Dump(const DumpArgs& dumpArgs) const;

  long GetHresult() const noexcept { return m_hresult; }
  // "COM Error HRESULT = 0x%x (%s)." with the code and the system's text.
  static CXString GetAdditionalExceptionDescription(const CPComException* exception);

 private:
  // The code as text ("0x80004005").
  CXString GetExceptionTypeByNumericCode() const;

  long m_hresult;
};

// CPOrvikParseException: a failure to parse a print-instruction document.
class HDU_API CPOrvikParseException : public CPException {
 public:
  enum ExceptionCode : int {
    ORVIK_UNKNOWN_ERROR = 0,
    ORVIK_FILE_NOT_FOUND,
    ORVIK_FILE_OPEN_FAILED,
    ORVIK_FILE_READ_FAILED,
    ORVIK_EMPTY_DOCUMENT,
    ORVIK_XML_PARSER_CREATION_FAILED,
    ORVIK_XML_MALFORMED,
    ORVIK_XML_UNEXPECTED_END_OF_DOCUMENT,
    ORVIK_ROOT_ELEMENT_MISSING,
    ORVIK_ROOT_ELEMENT_UNEXPECTED,
    ORVIK_NAMESPACE_UNKNOWN,
    ORVIK_VERSION_UNSUPPORTED,
    ORVIK_ELEMENT_UNEXPECTED,
    ORVIK_ELEMENT_MISSING,
    ORVIK_ATTRIBUTE_MISSING,
    ORVIK_ATTRIBUTE_UNEXPECTED,
    ORVIK_ATTRIBUTE_VALUE_INVALID,
    ORVIK_FEATURE_UNKNOWN,
    ORVIK_OPTION_UNKNOWN,
    ORVIK_PARAMETER_UNKNOWN,
    ORVIK_PARAMETER_VALUE_OUT_OF_RANGE,
    ORVIK_VALUE_TYPE_MISMATCH,
    ORVIK_DUPLICATE_ENTRY,
    ORVIK_CONSTRAINT_VIOLATION,
    ORVIK_ENCODING_INVALID,
    ORVIK_OUT_OF_MEMORY,
    ORVIK_COM_ERROR,
  };
  enum : int { kExceptionCodeCount = 27 };

  CPOrvikParseException(std::string message, unsigned long lastError, DebugContextReference context,
                        ExceptionCode code);
  CPOrvikParseException(const CPOrvikParseException&) = default;
  CPOrvikParseException(CPOrvikParseException&&) noexcept = default;
  CPOrvikParseException& operator=(const CPOrvikParseException&) = default;
  CPOrvikParseException& operator=(CPOrvikParseException&&) noexcept = default;
  ~CPOrvikParseException() override;

  int getExceptionTypeByNumericCode() const override;
  ExceptionCode GetCode() const noexcept { return m_code; }
  // The enumerator's name ("ORVIK_FILE_NOT_FOUND").
  CXString GetCodeString() const;
  static const char* GetCodeName(ExceptionCode code) noexcept;

 private:
  void commonConstruction();

  ExceptionCode m_code;
};
