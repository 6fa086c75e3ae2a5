#pragma once
// InternalHaldenCP::FormatSpecification: one parsed printf conversion, from
// the "%" to its conversion character, with the library's character classes:
//
//   flag                 space # ' + - 0 I
//   width or precision   * 1-9
//   precision point      .
//   size modifier        L Z h j l q t z
//   conversion           % A C E F G S X a c d e f g i m n o p s u x
//
// Every other character is invalid. Classes may come in any order before the
// conversion character.

#include "hdUtilitiesExport.h"

#include <string>

namespace InternalHaldenCP {

class HDU_API FormatSpecification {
 public:
  // Parses the conversion that begins just behind a "%". Throws
  // CPExceptionInvalidArgument for an invalid character or a missing
  // conversion character.
  static FormatSpecification parseAfterFirstPercentCharacter(const char* afterPercent);

  const char* getFormatSpecificationString() const noexcept { return m_specification.c_str(); }
  unsigned int getFormatSpecificationLength() const noexcept {
    return static_cast<unsigned int>(m_specification.size());
  }
  char getFormatSpecifierCharacter() const noexcept { return m_conversion; }
  const char* getEndOfFormatSpecificationInOriginalString() const noexcept { return m_endInOriginal; }
  bool isSinglePercentCharacter() const noexcept { return m_conversion == '%'; }

  // 'S' becomes 's' (and the reverse), in the conversion character and at its
  // first place in the specification text.
  void convertWideCharFormatSpecifierCharacterToMultibyteSpecifier();
  void convertMultibyteFormatSpecifierCharacterToWideCharacterSpecifier();

  enum class CharacterClass { Flag, WidthOrPrecisionDigit, PrecisionPoint, SizeModifier, Conversion, Invalid };
  static CharacterClass classify(char c) noexcept;

 private:
  explicit FormatSpecification(const char* afterPercent);

  std::string m_specification = "%";
  const char* m_endInOriginal = nullptr;
  char m_conversion = 's';
};

}  // namespace InternalHaldenCP
