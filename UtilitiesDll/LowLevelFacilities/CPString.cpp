#include "LowLevelFacilities/CPString.h"

#include "LowLevelFacilities/CPStringUtils.h"

#include <cstring>

CPString::CPString(const char* utf8) : m_string(utf8 != nullptr ? utf8 : "") {}

CPString::CPString(const char* utf8, unsigned int byteCount) {
  if (utf8 != nullptr) {
    m_string.assign(utf8, byteCount);
  }
}

CPString::CPString(char c) : m_string(1, c) {}

CPString::CPString(unsigned int count, char c) : m_string(count, c) {}

CPString::CPString(const std::string& utf8) : m_string(utf8) {}

CPString::CPString(std::string&& utf8) noexcept : m_string(std::move(utf8)) {}

CPString::CPString(const wchar_t* wide) : m_string(CPStringUtils::narrowToStdString(wide)) {}

CPString::CPString(const std::wstring& wide) : m_string(CPStringUtils::narrowToStdString(wide)) {}

CPString& CPString::operator=(const char* utf8) {
  m_string = utf8 != nullptr ? utf8 : "";
  return *this;
}

CPString& CPString::operator=(const std::string& utf8) {
  m_string = utf8;
  return *this;
}

CPString& CPString::operator=(std::string&& utf8) noexcept {
  m_string = std::move(utf8);
  return *this;
}

CPString& CPString::operator=(const wchar_t* wide) {
  m_string = CPStringUtils::narrowToStdString(wide);
  return *this;
}

CPString& CPString::operator=(const std::wstring& wide) {
  m_string = CPStringUtils::narrowToStdString(wide);
  return *this;
}
