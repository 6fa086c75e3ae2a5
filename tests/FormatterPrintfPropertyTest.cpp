// Random conversions compared with the C library's snprintf: every flag,
// width, precision and star that printf defines for each conversion, with
// arguments of every integer width, doubles (special values included) and
// ASCII text. The seed is fixed, so a failure reproduces; each failure names
// the format and the argument.
//
// Left out because printf leaves them undefined, because C libraries differ
// or because the library deliberately differs: "#" with d, i, u, c, s; "0"
// with c and s; "+" and " " with the unsigned conversions (they apply to
// signed conversions only, but MinGW's printf writes a space for "% u");
// "#" with o and the value 0 (MinGW's printf writes nothing for "%#.0o"); a
// precision with c; "%p" (always upper-case hex zero-filled to pointer width here);
// size modifiers that do not match the argument (here the argument's own type
// decides); text that is not ASCII under a precision (never cut inside a UTF-8
// sequence here). `long` is 32-bit on Windows and 64-bit on Linux; it is
// formatted with "l" on both, so each platform checks its own width.

#include "LowLevelFacilities/Formatter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

using InternalHaldenCP::formatToStdString;

namespace {

class Generator {
 public:
  explicit Generator(std::uint32_t seed) : m_engine(seed) {}
  // Uniform in [0, bound); the engine's raw output keeps the sequence the
  // same with every standard library.
  std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(m_engine() % bound); }
  bool chance(std::uint32_t percent) { return below(100) < percent; }
  std::uint64_t bits64() { return (static_cast<std::uint64_t>(m_engine()) << 32) | m_engine(); }
  // A value whose magnitude is spread over every number of bits.
  std::uint64_t spreadBits() {
    const std::uint32_t width = below(65);
    return width == 0 ? 0 : bits64() >> (64 - width);
  }
  double floating() {
    switch (below(10)) {
      case 0: {
        const double specials[] = {0.0,
                                   -0.0,
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity(),
                                   std::numeric_limits<double>::quiet_NaN(),
                                   std::numeric_limits<double>::denorm_min(),
                                   std::numeric_limits<double>::max(),
                                   std::numeric_limits<double>::min(),
                                   0.5,
                                   9.5,
                                   0.05,
                                   1e21};
        return specials[below(sizeof(specials) / sizeof(specials[0]))];
      }
      case 1:  // small integers and halves, where rounding ties show
        return static_cast<double>(static_cast<int>(below(2001)) - 1000) / (chance(50) ? 1.0 : 2.0);
      default: {
        // Any finite double: random sign, mantissa and exponent.
        std::uint64_t raw = bits64();
        const std::uint64_t exponent = 1023 + below(160) - 80;  // about 1e-24 to 1e24
        raw = (raw & 0x800FFFFFFFFFFFFFull) | (exponent << 52);
        double value = 0;
        static_assert(sizeof(value) == sizeof(raw));
        std::memcpy(&value, &raw, sizeof(value));
        return value;
      }
    }
  }
  std::string asciiText() {
    std::string text(below(24), ' ');
    for (char& c : text) {
      c = static_cast<char>(' ' + below(95));
    }
    return text;
  }

 private:
  std::mt19937 m_engine;
};

// One conversion, its optional star arguments and its argument, written by
// both sides. Star values are passed as int, as printf requires.
template <class T>
std::string printfText(const std::string& format, const std::vector<int>& stars, T value) {
  std::vector<char> text(256);
  for (;;) {
    int length = 0;
    switch (stars.size()) {
      case 0:
        length = std::snprintf(text.data(), text.size(), format.c_str(), value);
        break;
      case 1:
        length = std::snprintf(text.data(), text.size(), format.c_str(), stars[0], value);
        break;
      default:
        length = std::snprintf(text.data(), text.size(), format.c_str(), stars[0], stars[1], value);
        break;
    }
    if (length < 0) {
      return "<snprintf failed>";
    }
    if (static_cast<std::size_t>(length) < text.size()) {
      return std::string(text.data(), static_cast<std::size_t>(length));
    }
    text.resize(static_cast<std::size_t>(length) + 1);
  }
}

template <class T>
std::string ourText(const std::string& format, const std::vector<int>& stars, T value) {
  switch (stars.size()) {
    case 0:
      return formatToStdString(format.c_str(), value);
    case 1:
      return formatToStdString(format.c_str(), stars[0], value);
    default:
      return formatToStdString(format.c_str(), stars[0], stars[1], value);
  }
}

struct Mismatch {
  std::string format;
  std::string argument;
  std::string ours;
  std::string theirs;
};

class PropertyRun {
 public:
  explicit PropertyRun(std::uint32_t seed) : m_random(seed) {}

  void runOne() {
    static const char kConversions[] = "diuoxXcsfFeEgGaA";
    const char conversion = kConversions[m_random.below(sizeof(kConversions) - 1)];
    const bool isInteger = std::string("diuoxX").find(conversion) != std::string::npos;
    const bool isText = conversion == 'c' || conversion == 's';

    // Flags that printf defines for this conversion, in random order and number.
    const bool isUnsigned = isInteger && conversion != 'd' && conversion != 'i';
    std::string allowedFlags = "-";
    if (!isText) {
      allowedFlags += "0";
    }
    if (!isText && !isUnsigned) {
      allowedFlags += "+ ";
    }
    if (!isText && conversion != 'd' && conversion != 'i' && conversion != 'u') {
      allowedFlags += "#";
    }
    std::string conversionText = "%";
    const std::uint32_t flagCount = m_random.below(4);
    for (std::uint32_t i = 0; i < flagCount; ++i) {
      conversionText.push_back(allowedFlags[m_random.below(static_cast<std::uint32_t>(allowedFlags.size()))]);
    }

    std::vector<int> stars;
    switch (m_random.below(4)) {
      case 0:
        break;
      case 1:
        conversionText += "*";
        stars.push_back(static_cast<int>(m_random.below(61)) - 30);
        break;
      default:
        conversionText += std::to_string(1 + m_random.below(m_random.chance(10) ? 300 : 30));
        break;
    }
    if (conversion != 'c') {
      const int maximum = isInteger ? 30 : (conversion == 'f' || conversion == 'F' ? 40 : 20);
      switch (m_random.below(5)) {
        case 0:
          conversionText += ".";
          break;
        case 1:
          conversionText += ".*";
          stars.push_back(static_cast<int>(m_random.below(static_cast<std::uint32_t>(maximum) + 8)) - 7);
          break;
        case 2:
          conversionText += "." + std::to_string(m_random.below(static_cast<std::uint32_t>(maximum) + 1));
          break;
        default:
          break;
      }
    }

    std::string prefix = m_random.chance(30) ? "<" + m_random.asciiText().substr(0, 3) : "";
    for (char& c : prefix) {
      c = c == '%' ? '.' : c;  // literal text only
    }
    if (!prefix.empty()) {
      prefix += "%%";
    }
    const std::string suffix = m_random.chance(30) ? "%%>" : "";
    auto formatWith = [&](const char* modifier) { return prefix + conversionText + modifier + conversion + suffix; };

    if (isInteger) {
      const bool isSigned = conversion == 'd' || conversion == 'i';
      std::uint64_t raw = m_random.spreadBits();
      if (raw == 0 && conversion == 'o' && conversionText.find('#') != std::string::npos) {
        raw = 8;  // "%#.0o" with 0 is "0" in C; MinGW's printf writes nothing
      }
      const bool negate = isSigned && m_random.chance(50);
      const auto signedRaw = static_cast<std::int64_t>(negate ? 0 - raw : raw);
      switch (m_random.below(5)) {
        case 0:
          isSigned ? check(formatWith("hh"), stars, static_cast<signed char>(signedRaw))
                   : check(formatWith("hh"), stars, static_cast<unsigned char>(raw));
          break;
        case 1:
          isSigned ? check(formatWith("h"), stars, static_cast<short>(signedRaw))
                   : check(formatWith("h"), stars, static_cast<unsigned short>(raw));
          break;
        case 2:
          isSigned ? check(formatWith(""), stars, static_cast<int>(signedRaw))
                   : check(formatWith(""), stars, static_cast<unsigned int>(raw));
          break;
        case 3:
          isSigned ? check(formatWith("l"), stars, static_cast<long>(signedRaw))
                   : check(formatWith("l"), stars, static_cast<unsigned long>(raw));
          break;
        default:
          isSigned ? check(formatWith("ll"), stars, static_cast<long long>(signedRaw))
                   : check(formatWith("ll"), stars, static_cast<unsigned long long>(raw));
          break;
      }
    } else if (conversion == 'c') {
      check(formatWith(""), stars, static_cast<int>(m_random.below(600)) - 300);
    } else if (conversion == 's') {
      const std::string text = m_random.asciiText();
      check(formatWith(""), stars, text.c_str());
    } else {
      check(formatWith(""), stars, m_random.floating());
    }
  }

  int cases() const { return m_cases; }
  const std::vector<Mismatch>& mismatches() const { return m_mismatches; }

 private:
  template <class T>
  void check(const std::string& format, const std::vector<int>& stars, T value) {
    ++m_cases;
    const std::string theirs = printfText(format, stars, value);
    const std::string ours = ourText(format, stars, value);
    if (ours != theirs) {
      std::string argument;
      for (const int star : stars) {
        argument += std::to_string(star) + ", ";
      }
      if constexpr (std::is_same_v<T, const char*>) {
        argument += std::string("\"") + value + "\"";
      } else if constexpr (std::is_floating_point_v<T>) {
        argument += printfText("%a", {}, value);
      } else {
        argument += std::to_string(value);
      }
      m_mismatches.push_back({format, argument, ours, theirs});
    }
  }

  Generator m_random;
  int m_cases = 0;
  std::vector<Mismatch> m_mismatches;
};

}  // namespace

TEST(FormatterPrintfProperty, RandomConversionsMatchSnprintf) {
  PropertyRun run(20240917u);
  for (int i = 0; i < 6000; ++i) {
    run.runOne();
  }
  EXPECT_EQ(run.cases(), 6000);
  for (std::size_t i = 0; i < run.mismatches().size() && i < 25; ++i) {
    const Mismatch& m = run.mismatches()[i];
    ADD_FAILURE() << "format \"" << m.format << "\" with (" << m.argument << "): ours \"" << m.ours << "\", snprintf \""
                  << m.theirs << "\"";
  }
  EXPECT_EQ(run.mismatches().size(), 0u);
}
