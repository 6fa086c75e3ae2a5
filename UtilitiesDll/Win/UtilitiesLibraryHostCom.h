#pragma once
// The COM helpers of UtilitiesLibraryHost (Windows only).
//
// The two Catch... functions are called inside a catch (...) block and
// rethrow the exception in flight to find out what it is. They are inline on
// purpose: with the C++ runtime linked into each module, only the module that
// caught an exception can rethrow it, so the rethrow must happen in the
// caller's module; the library's part is the exported work behind them.

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <windows.h>

#include <comdef.h>

#include <exception>

namespace UtilitiesLibraryHost {

// "COM Error HRESULT = 0x%x (%s)." with the error's code and the system's
// text for it.
HDU_API CXString formatCOMExceptionDisplayString(_com_error& error);
HDU_API CXString formatCOMResultDisplayString(long hresult);

// Reports a COM failure that should not have happened through the exception
// facility (as a CPComException; `context` says what the caller was doing).
HDU_API void reportUnreachableComError(long hresult, const CPString& context);
// Throws a CPOrvikParseException of the given code whose message is the
// display string of the COM failure.
[[noreturn]] HDU_API void throwOrvikParseExceptionForComError(long hresult, CPOrvikParseException::ExceptionCode code);

// For a _com_error in flight: reports it and returns its HRESULT. For another
// standard exception: reports it through the exception facility and returns
// E_FAIL. For anything else: returns E_UNEXPECTED. Never throws.
inline long CatchPossibleComErrorExceptionAndAssertUnreachable(const CPString& context) {
  try {
    throw;
  } catch (_com_error& error) {
    reportUnreachableComError(error.Error(), context);
    return error.Error();
  } catch (const std::exception& exception) {
    CPException::reportAndProcessCaughtException(
        exception, HDU_DEBUG_CONTEXT("UtilitiesLibraryHost::CatchPossibleComErrorExceptionAndAssertUnreachable"),
        context.utf8StdString());
    return E_FAIL;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

// For a _com_error in flight: throws a CPOrvikParseException of the given
// code. Anything else in flight is rethrown as it is.
[[noreturn]] inline void CatchPossibleComErrorExceptionAndThrowOrvikParseException(
    CPOrvikParseException::ExceptionCode code) {
  try {
    throw;
  } catch (_com_error& error) {
    throwOrvikParseExceptionForComError(error.Error(), code);
  }
}

}  // namespace UtilitiesLibraryHost
