#include "CommandLine.h"

namespace hdutil {

namespace {

struct OptionSpelling {
  const char* shortName;  // or null
  const char* longName;
  OptionSet option;
  bool takesValue;
};

constexpr OptionSpelling kOptionSpellings[] = {
    {nullptr, "--json", kJsonOption, false},           {nullptr, "--hex", kHexOption, false},
    {nullptr, "--value", kValueOption, true},          {"-o", "--output", kOutputOption, true},
    {nullptr, "--registry", kRegistryOption, true},    {nullptr, "--to-registry", kToRegistryOption, true},
    {nullptr, "--process", kProcessOption, true},      {nullptr, "--build", kBuildOption, true},
    {nullptr, "--platform", kPlatformOption, true},    {nullptr, "--warmup", kWarmupOption, true},
    {nullptr, "--unit-tests", kUnitTestsOption, true},
};

void setOption(Options& options, OptionSet option, const std::string& value) {
  switch (option) {
    case kJsonOption:
      options.json = true;
      return;
    case kHexOption:
      options.hex = true;
      return;
    case kValueOption:
      options.valueName = value;
      return;
    case kOutputOption:
      options.output = value;
      return;
    case kRegistryOption:
      options.registry = value;
      return;
    case kToRegistryOption:
      options.toRegistry = value;
      return;
    case kProcessOption:
      options.process = value;
      return;
    case kBuildOption:
      options.build = value;
      return;
    case kPlatformOption:
      options.platform = value;
      return;
    case kWarmupOption:
      options.warmup = value;
      return;
    case kUnitTestsOption:
      options.unitTests = value;
      return;
    case kNoOptions:
      return;
  }
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isOption(const std::string& word) {
  return word.size() > 1 && word[0] == '-' && !isDigit(word[1]);
}

int hexDigitValue(char c) {
  if (isDigit(c)) {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

}  // namespace

Options parseOptions(const std::vector<std::string>& words, unsigned acceptedOptions, const std::string& command) {
  Options options;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "-h" || word == "--help") {
      options.help = true;
      continue;
    }
    if (!isOption(word)) {
      options.arguments.push_back(word);
      continue;
    }
    const OptionSpelling* spelling = nullptr;
    for (const OptionSpelling& candidate : kOptionSpellings) {
      if (word == candidate.longName || (candidate.shortName != nullptr && word == candidate.shortName)) {
        spelling = &candidate;
      }
    }
    if (spelling == nullptr) {
      throw UsageError("unknown option '" + word + "'");
    }
    if ((acceptedOptions & spelling->option) == 0) {
      std::string message = "'";
      message.append(command).append("' has no option '").append(word).append("'");
      throw UsageError(message);
    }
    std::string value;
    if (spelling->takesValue) {
      if (i + 1 >= words.size()) {
        throw UsageError(word + " needs a value");
      }
      value = words[++i];
    }
    setOption(options, spelling->option, value);
  }
  return options;
}

std::uint32_t parseErrorCode(const std::string& text) {
  const auto notACode = [&]() {
    return UsageError("'" + text +
                      "' is not an error code (a 32-bit number: decimal, 0x hex, or a negative decimal HRESULT)");
  };
  constexpr std::uint64_t kLargest = 0xFFFFFFFFu;
  std::uint64_t value = 0;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    for (std::size_t i = 2; i < text.size(); ++i) {
      const int digit = hexDigitValue(text[i]);
      if (digit < 0) {
        throw notACode();
      }
      value = value * 16 + static_cast<std::uint64_t>(digit);
      if (value > kLargest) {
        throw notACode();
      }
    }
    return static_cast<std::uint32_t>(value);
  }
  const bool negative = !text.empty() && text[0] == '-';
  const std::size_t first = negative ? 1 : 0;
  const std::uint64_t largest = negative ? std::uint64_t{0x80000000u} : kLargest;
  if (text.size() == first) {
    throw notACode();
  }
  for (std::size_t i = first; i < text.size(); ++i) {
    if (!isDigit(text[i])) {
      throw notACode();
    }
    value = value * 10 + static_cast<std::uint64_t>(text[i] - '0');
    if (value > largest) {
      throw notACode();
    }
  }
  // A negative HRESULT is the two's complement of its magnitude.
  return negative ? static_cast<std::uint32_t>((~value + 1) & kLargest) : static_cast<std::uint32_t>(value);
}

}  // namespace hdutil
