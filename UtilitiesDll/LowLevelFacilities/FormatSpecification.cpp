#include "LowLevelFacilities/FormatSpecification.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Utf8Encoding.h"

#include <cstdint>
#include <cstring>

namespace InternalHaldenCP {

namespace {
// The format text from the "%" on, for error messages; malformed UTF-8 in it
// becomes U+FFFD, so that the message is valid UTF-8.
std::string textFromPercent(const char* afterPercent) {
  std::string text = "%";
  if (afterPercent != nullptr) {
    Utf8Encoding::appendUtf8Repaired(text, afterPercent, std::strlen(afterPercent));
  }
  return text;
}

// The character at `cursor` for an error message: a whole UTF-8 sequence
// when one starts there, U+FFFD for a byte that starts none.
char32_t characterAt(const char* cursor) {
  const auto lead = static_cast<unsigned char>(*cursor);
  if (lead < 0x80) {
    return lead;
  }
  std::uint32_t code = 0;
  const char* end = cursor;
  while (end < cursor + 4 && *end != '\0') {
    ++end;
  }
  if (Utf8Encoding::decodeWellFormedMultiByteSequence(cursor, end, code) != 0) {
    return code;
  }
  return Utf8Encoding::kReplacementCodePoint;
}
}  // namespace

FormatSpecification::CharacterClass FormatSpecification::classify(char c) noexcept {
  if (c < ' ' || c > 'z') {
    return CharacterClass::Invalid;
  }
  switch (c) {
    case ' ':
    case '#':
    case '\'':
    case '+':
    case '-':
    case '0':
    case 'I':
      return CharacterClass::Flag;
    case '*':
    case '1':
    case '2':
    case '3':
    case '4':
    case '5':
    case '6':
    case '7':
    case '8':
    case '9':
      return CharacterClass::WidthOrPrecisionDigit;
    case '.':
      return CharacterClass::PrecisionPoint;
    case 'L':
    case 'Z':
    case 'h':
    case 'j':
    case 'l':
    case 'q':
    case 't':
    case 'z':
      return CharacterClass::SizeModifier;
    case '%':
    case 'A':
    case 'C':
    case 'E':
    case 'F':
    case 'G':
    case 'S':
    case 'X':
    case 'a':
    case 'c':
    case 'd':
    case 'e':
    case 'f':
    case 'g':
    case 'i':
    case 'm':
    case 'n':
    case 'o':
    case 'p':
    case 's':
    case 'u':
    case 'x':
      return CharacterClass::Conversion;
    default:
      return CharacterClass::Invalid;
  }
}

FormatSpecification FormatSpecification::parseAfterFirstPercentCharacter(const char* afterPercent) {
  return FormatSpecification(afterPercent);
}

FormatSpecification::FormatSpecification(const char* afterPercent) {
  const char* cursor = afterPercent;
  for (;;) {
    const char c = (cursor != nullptr) ? *cursor : '\0';
    if (c == '\0') {
      HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT("FormatSpecification::FormatSpecification"),
                "No valid format specifier characters in '%s'", textFromPercent(afterPercent));
    }
    const CharacterClass characterClass = classify(c);
    if (characterClass == CharacterClass::Invalid) {
      HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT("FormatSpecification::FormatSpecification"),
                "Invalid character, %c, in a format specification, %s", characterAt(cursor),
                textFromPercent(afterPercent));
    }
    m_specification.push_back(c);
    ++cursor;
    if (characterClass == CharacterClass::Conversion) {
      m_conversion = c;
      m_endInOriginal = cursor;
      return;
    }
  }
}

void FormatSpecification::convertWideCharFormatSpecifierCharacterToMultibyteSpecifier() {
  if (m_conversion == 'S') {
    m_conversion = 's';
    const size_t at = m_specification.find('S');
    if (at != std::string::npos) {
      m_specification[at] = 's';
    }
  }
}

void FormatSpecification::convertMultibyteFormatSpecifierCharacterToWideCharacterSpecifier() {
  if (m_conversion == 's') {
    m_conversion = 'S';
    const size_t at = m_specification.find('s');
    if (at != std::string::npos) {
      m_specification[at] = 'S';
    }
  }
}

}  // namespace InternalHaldenCP
