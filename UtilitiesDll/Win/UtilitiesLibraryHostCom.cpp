#include "Win/UtilitiesLibraryHostCom.h"

#include "LowLevelFacilities/PlatformFacilities.h"

namespace UtilitiesLibraryHost {

CXString formatCOMResultDisplayString(long hresult) {
  const auto code = static_cast<std::uint32_t>(hresult);
  std::string text = PlatformFacilities::systemMessageText(code);
  if (text.empty()) {
    text = "Unknown error";
  }
  return CXString::format("COM Error HRESULT = 0x%x (%s).", code, text);
}

CXString formatCOMExceptionDisplayString(_com_error& error) {
  return formatCOMResultDisplayString(error.Error());
}

void reportUnreachableComError(long hresult, const CPString& context) {
  const unsigned long lastError = PlatformFacilities::getLastError();
  CPException::reportAndProcessCaughtException(
      CPComException("A COM call failed where no failure was expected.", lastError,
                     HDU_DEBUG_CONTEXT("UtilitiesLibraryHost::CatchPossibleComErrorExceptionAndAssertUnreachable"),
                     hresult),
      HDU_DEBUG_CONTEXT("UtilitiesLibraryHost::CatchPossibleComErrorExceptionAndAssertUnreachable"),
      context.utf8StdString());
}

void throwOrvikParseExceptionForComError(long hresult, CPOrvikParseException::ExceptionCode code) {
  const unsigned long lastError = PlatformFacilities::getLastError();
  throw CPOrvikParseException(
      formatCOMResultDisplayString(hresult).toUtf8(), lastError,
      HDU_DEBUG_CONTEXT("UtilitiesLibraryHost::CatchPossibleComErrorExceptionAndThrowOrvikParseException"), code);
}

}  // namespace UtilitiesLibraryHost
