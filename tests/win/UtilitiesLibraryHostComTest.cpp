#include "Win/UtilitiesLibraryHostCom.h"

#include <windows.h>

#include <comdef.h>
#include <gtest/gtest.h>

#include <stdexcept>

TEST(UtilitiesLibraryHostCom, ComErrorsBecomeTextCodesAndOrvikExceptions) {
  _com_error notImplemented(E_NOTIMPL);
  const std::string text = UtilitiesLibraryHost::formatCOMExceptionDisplayString(notImplemented).toUtf8();
  EXPECT_EQ(text.rfind("COM Error HRESULT = 0x80004001 (", 0), 0u) << text;

  long result = 0;
  try {
    throw _com_error(E_ACCESSDENIED);
  } catch (...) {
    result = UtilitiesLibraryHost::CatchPossibleComErrorExceptionAndAssertUnreachable("opening the ticket");
  }
  EXPECT_EQ(result, static_cast<long>(E_ACCESSDENIED));
  try {
    throw std::runtime_error("not COM");
  } catch (...) {
    result = UtilitiesLibraryHost::CatchPossibleComErrorExceptionAndAssertUnreachable("x");
  }
  EXPECT_EQ(result, static_cast<long>(E_FAIL));
  try {
    throw 42;
  } catch (...) {
    result = UtilitiesLibraryHost::CatchPossibleComErrorExceptionAndAssertUnreachable("x");
  }
  EXPECT_EQ(result, static_cast<long>(E_UNEXPECTED));

  try {
    try {
      throw _com_error(E_INVALIDARG);
    } catch (...) {
      UtilitiesLibraryHost::CatchPossibleComErrorExceptionAndThrowOrvikParseException(
          CPOrvikParseException::ORVIK_XML_MALFORMED);
    }
  } catch (const CPOrvikParseException& e) {
    EXPECT_EQ(e.GetCode(), CPOrvikParseException::ORVIK_XML_MALFORMED);
    EXPECT_EQ(std::string(e.getExceptionMessage()).rfind("COM Error HRESULT = 0x80070057 (", 0), 0u);
  }
  // Anything else passes through unchanged.
  EXPECT_THROW(
      {
        try {
          throw std::logic_error("other");
        } catch (...) {
          UtilitiesLibraryHost::CatchPossibleComErrorExceptionAndThrowOrvikParseException(
              CPOrvikParseException::ORVIK_COM_ERROR);
        }
      },
      std::logic_error);
}
