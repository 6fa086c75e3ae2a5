#include "LowLevelFacilities/Formatter.h"

#include "DebuggingAndExceptions/InternalChecks.h"
#include "LowLevelFacilities/FormatSpecification.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/Utf8Encoding.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

namespace InternalHaldenCP {

namespace {

using Buffer = FormatStringBuffer<1024>;

// The structured reading of one conversion's text (flags, width, precision,
// conversion), accepting the library's characters in any order.
struct ConversionParts {
  bool leftAlign = false;
  bool plusSign = false;
  bool spaceSign = false;
  bool alternate = false;
  bool zeroPad = false;
  bool widthFromArgument = false;
  bool precisionFromArgument = false;
  int width = 0;
  int precision = -1;  // -1: none given
  char conversion = 's';
};

ConversionParts readConversionParts(const FormatSpecification& conversionSpec) {
  ConversionParts parts;
  parts.conversion = conversionSpec.getFormatSpecifierCharacter();
  const char* text = conversionSpec.getFormatSpecificationString() + 1;  // behind the "%"
  const char* const end =
      conversionSpec.getFormatSpecificationString() + conversionSpec.getFormatSpecificationLength() - 1;
  bool inPrecision = false;
  bool widthStarted = false;
  for (const char* c = text; c < end; ++c) {
    switch (*c) {
      case '-':
        parts.leftAlign = true;
        break;
      case '+':
        parts.plusSign = true;
        break;
      case ' ':
        parts.spaceSign = true;
        break;
      case '#':
        parts.alternate = true;
        break;
      case '\'':
        break;  // digit grouping: the C locale has none
      case 'I':
        // Windows size prefixes I, I32 and I64: the argument's type decides.
        if (c + 2 < end + 1 && ((c[1] == '6' && c[2] == '4') || (c[1] == '3' && c[2] == '2'))) {
          c += 2;
        }
        break;
      case '.':
        inPrecision = true;
        parts.precision = 0;
        break;
      case '*':
        if (inPrecision) {
          parts.precisionFromArgument = true;
        } else {
          parts.widthFromArgument = true;
        }
        break;
      case '0':
        if (inPrecision) {
          parts.precision = parts.precision * 10;
        } else if (widthStarted) {
          parts.width = parts.width * 10;
        } else {
          parts.zeroPad = true;
        }
        break;
      default:
        if (*c >= '1' && *c <= '9') {
          const int digit = *c - '0';
          if (inPrecision) {
            parts.precision = parts.precision * 10 + digit;
          } else {
            widthStarted = true;
            parts.width = parts.width * 10 + digit;
          }
        }
        // size modifiers: the argument's type decides
        break;
    }
    if (parts.width > 100000) {
      parts.width = 100000;
    }
    if (parts.precision > 100000) {
      parts.precision = 100000;
    }
  }
  return parts;
}

bool isTextKind(FormatArgumentKind kind) {
  return kind == FormatArgumentKind::NarrowText || kind == FormatArgumentKind::Utf16Text ||
         kind == FormatArgumentKind::Utf32Text;
}

bool isIntegerKind(FormatArgumentKind kind) {
  return kind == FormatArgumentKind::SignedInteger || kind == FormatArgumentKind::UnsignedInteger ||
         kind == FormatArgumentKind::Character;
}

// A small fixed sink for the encoders, used to build one field before padding.
struct FieldText {
  std::string heap;
  char local[256];
  std::size_t length = 0;
  bool onHeap = false;

  void append(const char* text, std::size_t count) {
    if (!onHeap && length + count <= sizeof(local)) {
      std::memcpy(local + length, text, count);
      length += count;
      return;
    }
    if (!onHeap) {
      heap.assign(local, length);
      onHeap = true;
    }
    heap.append(text, count);
    length += count;
  }
  void push_back(char c) { append(&c, 1); }
  const char* data() const { return onHeap ? heap.data() : local; }
};

template <class CharT>
std::size_t measuredLength(const void* data, std::size_t length) {
  if (length != kUnmeasuredTextLength) {
    return length;
  }
  return std::char_traits<CharT>::length(static_cast<const CharT*>(data));
}

// The narrow text of an argument, with a null C string as "(null)".
inline std::string_view narrowTextOf(const FormatArgument& argument) {
  if (argument.text.data == nullptr) {
    return "(null)";
  }
  return {static_cast<const char*>(argument.text.data), measuredLength<char>(argument.text.data, argument.text.length)};
}

// Writes a text argument as UTF-8 to `sink` (the field of a padded
// conversion, or the buffer itself).
template <class Sink>
void appendText(Sink& field, const FormatArgument& argument) {
  if (argument.text.data == nullptr || argument.kind == FormatArgumentKind::NarrowText) {
    const std::string_view text = narrowTextOf(argument);
    field.append(text.data(), text.size());
    return;
  }
  if (argument.kind == FormatArgumentKind::Utf16Text) {
    const auto* units = static_cast<const char16_t*>(argument.text.data);
    Utf8Encoding::appendUtf16AsUtf8Replacing(field, units, measuredLength<char16_t>(units, argument.text.length));
  } else if (argument.kind == FormatArgumentKind::Utf32Text) {
    const auto* units = static_cast<const char32_t*>(argument.text.data);
    Utf8Encoding::appendUtf32AsUtf8Replacing(field, units, measuredLength<char32_t>(units, argument.text.length));
  }
}

void appendPadded(Buffer& out, const ConversionParts& parts, const char* text, std::size_t length, bool zeroPadAllowed,
                  std::size_t signPrefixLength = 0) {
  const std::size_t width = parts.width > 0 ? static_cast<std::size_t>(parts.width) : 0;
  if (length >= width) {
    out.append(text, length);
    return;
  }
  const std::size_t padding = width - length;
  if (parts.leftAlign) {
    out.append(text, length);
    out.appendRepeated(' ', padding);
  } else if (parts.zeroPad && zeroPadAllowed) {
    out.append(text, signPrefixLength);
    out.appendRepeated('0', padding);
    out.append(text + signPrefixLength, length - signPrefixLength);
  } else {
    out.appendRepeated(' ', padding);
    out.append(text, length);
  }
}

// Text under a precision keeps at most that many bytes, backed off so that no
// UTF-8 sequence is cut in two.
std::size_t limitTextToPrecision(const char* text, std::size_t length, int precision) {
  if (precision < 0 || static_cast<std::size_t>(precision) >= length) {
    return length;
  }
  std::size_t keep = static_cast<std::size_t>(precision);
  while (keep > 0 && (static_cast<unsigned char>(text[keep]) & 0xC0) == 0x80) {
    --keep;
  }
  return keep;
}

void writeTextField(Buffer& out, const ConversionParts& parts, const FormatArgument& argument) {
  FieldText field;
  appendText(field, argument);
  const std::size_t length = limitTextToPrecision(field.data(), field.length, parts.precision);
  appendPadded(out, parts, field.data(), length, false);
}

// The value of an integer argument read as the signed type of its own width.
long long asSigned(const FormatArgument& argument) {
  if (argument.kind == FormatArgumentKind::SignedInteger) {
    return argument.signedValue;
  }
  switch (argument.byteSize) {
    case 1:
      return static_cast<signed char>(argument.unsignedValue);
    case 2:
      return static_cast<short>(argument.unsignedValue);
    case 4:
      return static_cast<std::int32_t>(argument.unsignedValue);
    default:
      return static_cast<long long>(argument.unsignedValue);
  }
}

// The value of an integer argument read as the unsigned type of its own width.
unsigned long long asUnsigned(const FormatArgument& argument) {
  const unsigned long long raw = argument.unsignedValue;
  switch (argument.byteSize) {
    case 1:
      return raw & 0xFFu;
    case 2:
      return raw & 0xFFFFu;
    case 4:
      return raw & 0xFFFFFFFFu;
    default:
      return raw;
  }
}

// A floating-point value truncated toward zero, saturated at the ends of the
// 64-bit range (NaN gives 0), for integer conversions of floating arguments.
long long truncatedToLongLong(double value) {
  if (std::isnan(value)) {
    return 0;
  }
  if (value >= 9223372036854775807.0) {
    return std::numeric_limits<long long>::max();
  }
  if (value <= -9223372036854775808.0) {
    return std::numeric_limits<long long>::min();
  }
  return static_cast<long long>(value);
}

void writeInteger(Buffer& out, const ConversionParts& parts, bool isSignedConversion, long long signedValue,
                  unsigned long long unsignedValue) {
  char conversion = parts.conversion;
  unsigned base = 10;
  bool upper = false;
  if (conversion == 'x') {
    base = 16;
  } else if (conversion == 'X') {
    base = 16;
    upper = true;
  } else if (conversion == 'o') {
    base = 8;
  }

  bool negative = false;
  unsigned long long magnitude = unsignedValue;
  if (isSignedConversion) {
    negative = signedValue < 0;
    magnitude =
        negative ? 0ULL - static_cast<unsigned long long>(signedValue) : static_cast<unsigned long long>(signedValue);
  }

  char digits[80];
  std::size_t digitCount = 0;
  const char* const alphabet = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  unsigned long long rest = magnitude;
  // Constant divisors: the compiler turns them into multiplications and shifts.
  if (base == 10) {
    while (rest != 0) {
      digits[sizeof(digits) - 1 - digitCount++] = static_cast<char>('0' + rest % 10);
      rest /= 10;
    }
  } else if (base == 16) {
    while (rest != 0) {
      digits[sizeof(digits) - 1 - digitCount++] = alphabet[rest & 0xF];
      rest >>= 4;
    }
  } else {
    while (rest != 0) {
      digits[sizeof(digits) - 1 - digitCount++] = alphabet[rest & 0x7];
      rest >>= 3;
    }
  }
  if (magnitude == 0 && parts.precision != 0) {
    digits[sizeof(digits) - 1 - digitCount++] = '0';
  }

  char field[160];
  std::size_t length = 0;
  if (isSignedConversion) {
    if (negative) {
      field[length++] = '-';
    } else if (parts.plusSign) {
      field[length++] = '+';
    } else if (parts.spaceSign) {
      field[length++] = ' ';
    }
  }
  if (parts.alternate && base == 16 && magnitude != 0) {
    field[length++] = '0';
    field[length++] = upper ? 'X' : 'x';
  }
  const std::size_t prefixLength = length;
  std::size_t zeros = 0;
  if (parts.precision > 0 && static_cast<std::size_t>(parts.precision) > digitCount) {
    zeros = static_cast<std::size_t>(parts.precision) - digitCount;
  }
  if (parts.alternate && base == 8 && zeros == 0 && (digitCount == 0 || digits[sizeof(digits) - digitCount] != '0')) {
    zeros = 1;
  }
  if (zeros > 60) {
    // Very long precisions: write directly, the field buffer is for the usual case.
    std::string big(field, prefixLength);
    big.append(zeros, '0');
    big.append(digits + sizeof(digits) - digitCount, digitCount);
    appendPadded(out, parts, big.data(), big.size(), parts.precision < 0, prefixLength);
    return;
  }
  std::memset(field + length, '0', zeros);
  length += zeros;
  std::memcpy(field + length, digits + sizeof(digits) - digitCount, digitCount);
  length += digitCount;
  // The zero flag is ignored when a precision is given, as printf does.
  appendPadded(out, parts, field, length, parts.precision < 0, prefixLength);
}

void writePointer(Buffer& out, const ConversionParts& parts, std::uintptr_t value) {
  char digits[2 * sizeof(void*)];
  for (std::size_t i = 0; i < sizeof(digits); ++i) {
    digits[sizeof(digits) - 1 - i] = "0123456789ABCDEF"[(value >> (4 * i)) & 0xF];
  }
  appendPadded(out, parts, digits, sizeof(digits), false);
}

void writeFloating(Buffer& out, const ConversionParts& parts, double value) {
  char conversionText[32];
  std::size_t n = 0;
  conversionText[n++] = '%';
  if (parts.leftAlign) {
    conversionText[n++] = '-';
  }
  if (parts.plusSign) {
    conversionText[n++] = '+';
  }
  if (parts.spaceSign) {
    conversionText[n++] = ' ';
  }
  if (parts.alternate) {
    conversionText[n++] = '#';
  }
  if (parts.zeroPad) {
    conversionText[n++] = '0';
  }
  conversionText[n++] = '*';
  conversionText[n++] = '.';
  conversionText[n++] = '*';
  conversionText[n++] = parts.conversion;
  conversionText[n] = '\0';
  // A negative precision is none: "%*.*a" with -1 is "%*a", which writes all
  // the hex digits the value needs (a default of 6 would change the number).
  const int precision = parts.precision < 0 ? -1 : parts.precision;
  char local[512];
  const int needed = std::snprintf(local, sizeof(local), conversionText, parts.width, precision, value);
  if (needed < 0) {
    return;
  }
  if (static_cast<std::size_t>(needed) < sizeof(local)) {
    out.append(local, static_cast<std::size_t>(needed));
    return;
  }
  std::string large(static_cast<std::size_t>(needed) + 1, '\0');
  std::snprintf(large.data(), large.size(), conversionText, parts.width, precision, value);
  out.append(large.data(), static_cast<std::size_t>(needed));
}

// A char (char8_t) is a byte under "%c" and "%C"; an integer is a byte under
// "%c" (printf converts it to unsigned char) and a code point under "%C"; a
// wide character is a code point. Code points that are no characters become
// U+FFFD, so the text stays valid UTF-8.
void writeCharacter(Buffer& out, const ConversionParts& parts, const FormatArgument& argument) {
  FieldText field;
  const unsigned long long value = asUnsigned(argument);
  const bool isByte = argument.kind == FormatArgumentKind::Character ? argument.byteSize == 1 : parts.conversion == 'c';
  if (isByte) {
    field.push_back(static_cast<char>(static_cast<unsigned char>(value)));
  } else {
    const std::uint32_t code = value > 0x10FFFF
                                   ? Utf8Encoding::kReplacementCodePoint
                                   : Utf8Encoding::codePointOrReplacement(static_cast<std::uint32_t>(value));
    Utf8Encoding::appendCodePointAsUtf8(field, code);
  }
  appendPadded(out, parts, field.data(), field.length, false);
}

void formatOne(Buffer& out, const ConversionParts& parts, const FormatArgument& argument) {
  const char conversion = parts.conversion;
  const FormatArgumentKind kind = argument.kind;

  if (conversion == 'n') {
    return;  // never writes through the argument
  }
  if (isTextKind(kind)) {
    if (conversion == 'p') {
      // The address, as printf writes a char pointer under %p.
      writePointer(out, parts, reinterpret_cast<std::uintptr_t>(argument.text.data));
    } else {
      writeTextField(out, parts, argument);
    }
    return;
  }

  switch (conversion) {
    case 's':
    case 'S':
    case 'm': {
      // A number where text was expected: written as %d, %g or %p would.
      ConversionParts numeric = parts;
      numeric.precision = -1;
      if (kind == FormatArgumentKind::Character) {
        writeCharacter(out, numeric, argument);
      } else if (kind == FormatArgumentKind::FloatingPoint) {
        numeric.conversion = 'g';
        writeFloating(out, numeric, argument.floatingValue);
      } else if (kind == FormatArgumentKind::Pointer) {
        writePointer(out, numeric, reinterpret_cast<std::uintptr_t>(argument.pointerValue));
      } else {
        numeric.conversion = 'd';
        writeInteger(out, numeric, kind == FormatArgumentKind::SignedInteger, asSigned(argument), asUnsigned(argument));
      }
      return;
    }
    case 'c':
    case 'C':
      if (isIntegerKind(kind)) {
        writeCharacter(out, parts, argument);
      } else if (kind == FormatArgumentKind::FloatingPoint) {
        writeFloating(out,
                      ConversionParts{parts.leftAlign, false, false, false, false, false, false, parts.width, -1, 'g'},
                      argument.floatingValue);
      }
      return;
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o': {
      const bool signedConversion = (conversion == 'd' || conversion == 'i');
      if (kind == FormatArgumentKind::FloatingPoint) {
        const long long truncated = truncatedToLongLong(argument.floatingValue);
        writeInteger(out, parts, signedConversion, truncated, static_cast<unsigned long long>(truncated));
      } else if (kind == FormatArgumentKind::Pointer) {
        const auto value = static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(argument.pointerValue));
        writeInteger(out, parts, false, static_cast<long long>(value), value);
      } else {
        writeInteger(out, parts, signedConversion, asSigned(argument), asUnsigned(argument));
      }
      return;
    }
    case 'p':
      if (kind == FormatArgumentKind::Pointer) {
        writePointer(out, parts, reinterpret_cast<std::uintptr_t>(argument.pointerValue));
      } else if (isIntegerKind(kind)) {
        writePointer(out, parts, static_cast<std::uintptr_t>(asUnsigned(argument)));
      } else {
        writeFloating(out,
                      ConversionParts{parts.leftAlign, false, false, false, false, false, false, parts.width, -1, 'g'},
                      argument.floatingValue);
      }
      return;
    default: {
      // a A e E f F g G
      double value = argument.floatingValue;
      if (kind == FormatArgumentKind::SignedInteger) {
        value = static_cast<double>(argument.signedValue);
      } else if (kind == FormatArgumentKind::UnsignedInteger || kind == FormatArgumentKind::Character) {
        value = static_cast<double>(asUnsigned(argument));
      } else if (kind == FormatArgumentKind::Pointer) {
        value = static_cast<double>(reinterpret_cast<std::uintptr_t>(argument.pointerValue));
      }
      writeFloating(out, parts, value);
      return;
    }
  }
}

// Copies format text to the buffer, turning "%%" into "%" and leaving every
// other conversion as it stands (used once the arguments are used up).
void copyRemainingFormat(Buffer& out, const char* cursor) {
  while (*cursor != '\0') {
    const char* percent = std::strchr(cursor, '%');
    if (percent == nullptr) {
      out.append(cursor, std::strlen(cursor));
      return;
    }
    out.append(cursor, static_cast<std::size_t>(percent - cursor));
    if (percent[1] == '%') {
      out.push_back('%');
      cursor = percent + 2;
    } else {
      out.push_back('%');
      cursor = percent + 1;
    }
  }
}

// The size modifiers of FormatSpecification ("LZhjlqtz"); the Windows "I"
// prefixes are left to the general parse.
bool isPlainSizeModifier(char c) {
  return c == 'l' || c == 'h' || c == 'L' || c == 'Z' || c == 'j' || c == 'q' || c == 't' || c == 'z';
}

// A star width or precision, limited to +-100,000 (no field is wider).
int integerArgumentValue(const FormatArgument& argument) {
  long long value = 0;
  if (argument.kind == FormatArgumentKind::SignedInteger) {
    value = argument.signedValue;
  } else if (argument.kind == FormatArgumentKind::UnsignedInteger || argument.kind == FormatArgumentKind::Character) {
    value = asSigned(argument);
  } else if (argument.kind == FormatArgumentKind::FloatingPoint) {
    value = truncatedToLongLong(argument.floatingValue);
  }
  return static_cast<int>(std::clamp(value, -100000LL, 100000LL));
}

}  // namespace

void formatWorker(Buffer& buffer, const char* format, const FormatArgument* arguments, std::size_t argumentCount) {
  PlatformFacilities::LastErrorPreserver preserveLastError;
  if (format == nullptr) {
    format = "";
  }
  const char* cursor = format;
  std::size_t next = 0;

  while (*cursor != '\0') {
    const char* percent = std::strchr(cursor, '%');
    if (percent == nullptr) {
      buffer.append(cursor, std::strlen(cursor));
      break;
    }
    buffer.append(cursor, static_cast<std::size_t>(percent - cursor));
    if (percent[1] == '%') {
      buffer.push_back('%');
      cursor = percent + 2;
      continue;
    }
    if (next == argumentCount) {
      copyRemainingFormat(buffer, percent);
      return;
    }

    const FormatArgument& argument = arguments[next];
    // The two everyday conversions go straight to the buffer: "%s" or "%S"
    // with text, and integers below.
    if ((percent[1] == 's' || percent[1] == 'S') && isTextKind(argument.kind)) {
      if (argument.kind == FormatArgumentKind::NarrowText) {
        buffer.append(narrowTextOf(argument));
      } else {
        appendText(buffer, argument);
      }
      ++next;
      cursor = percent + 2;
      continue;
    }
    // Integer conversions with nothing but size modifiers ("%d", "%ld", "%lu",
    // "%llx"): the argument's own type decides the width, so the modifiers are
    // skipped and the general parse is not needed.
    if (argument.kind == FormatArgumentKind::SignedInteger || argument.kind == FormatArgumentKind::UnsignedInteger) {
      const char* conversion = percent + 1;
      while (isPlainSizeModifier(*conversion)) {
        ++conversion;
      }
      const char c = *conversion;
      if (c == 'd' || c == 'i' || c == 'u' || c == 'x' || c == 'X') {
        ConversionParts plain;
        plain.conversion = c == 'i' ? 'd' : c;
        writeInteger(buffer, plain, c == 'd' || c == 'i', asSigned(argument), asUnsigned(argument));
        ++next;
        cursor = conversion + 1;
        continue;
      }
    }

    FormatSpecification conversionSpec = FormatSpecification::parseAfterFirstPercentCharacter(percent + 1);
    if (isTextKind(argument.kind)) {
      if (argument.kind == FormatArgumentKind::NarrowText) {
        conversionSpec.convertWideCharFormatSpecifierCharacterToMultibyteSpecifier();
      } else {
        conversionSpec.convertMultibyteFormatSpecifierCharacterToWideCharacterSpecifier();
      }
    }
    cursor = conversionSpec.getEndOfFormatSpecificationInOriginalString();
    if (conversionSpec.isSinglePercentCharacter()) {
      // "%5%" and the like: a percent sign, and no argument is used.
      buffer.push_back('%');
      continue;
    }
    ConversionParts parts = readConversionParts(conversionSpec);

    if (parts.widthFromArgument) {
      if (next == argumentCount) {
        copyRemainingFormat(buffer, percent);
        return;
      }
      const int width = integerArgumentValue(arguments[next++]);
      parts.leftAlign = parts.leftAlign || width < 0;
      parts.width = width < 0 ? -width : width;
    }
    if (parts.precisionFromArgument) {
      if (next == argumentCount) {
        copyRemainingFormat(buffer, percent);
        return;
      }
      const int precision = integerArgumentValue(arguments[next++]);
      parts.precision = precision < 0 ? -1 : precision;
    }
    if (next == argumentCount) {
      copyRemainingFormat(buffer, percent);
      return;
    }
    formatOne(buffer, parts, arguments[next++]);
  }

  if (next < argumentCount && InternalChecks::internalChecksEnabled()) {
    throw std::runtime_error(
        formatToStdString("Extra arguments provided to formatWorker(). There's no format specifier corresponding to "
                          "this argument in the original format string: %s",
                          format));
  }
}

}  // namespace InternalHaldenCP
