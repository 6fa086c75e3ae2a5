#include "CommandLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using hdutil::Options;
using hdutil::parseErrorCode;
using hdutil::parseOptions;
using hdutil::UsageError;

namespace {

template <class Action>
std::string usageFailure(Action action) {
  try {
    action();
  } catch (const UsageError& e) {
    return e.what();
  }
  return "(accepted)";
}

}  // namespace

TEST(HdutilCommandLine, ErrorCodesAreThirtyTwoBitNumbers) {
  struct Row {
    const char* text;
    std::uint32_t code;
  };
  const Row accepted[] = {
      {"0", 0},
      {"5", 5},
      {"010", 10},  // decimal, not octal
      {"4294967295", 0xFFFFFFFFu},
      {"0x0", 0},
      {"0x80070005", 0x80070005u},
      {"0XffffFFFF", 0xFFFFFFFFu},
      {"0x00000000ffffffff", 0xFFFFFFFFu},
      {"-1", 0xFFFFFFFFu},
      {"-2147024891", 0x80070005u},
      {"-2147483648", 0x80000000u},
      {"-0", 0},
  };
  for (const Row& row : accepted) {
    EXPECT_EQ(parseErrorCode(row.text), row.code) << row.text;
  }
  const char* const refused[] = {"99999999999999999999999",
                                 "4294967296",
                                 "18446744073709551615",
                                 "0x100000000",
                                 "-2147483649",
                                 "-",
                                 "",
                                 "0x",
                                 "12abc",
                                 " 5",
                                 "5 ",
                                 "+5",
                                 "0x-1",
                                 "1e3",
                                 "0b101"};
  for (const char* text : refused) {
    EXPECT_EQ(usageFailure([&] { parseErrorCode(text); }),
              std::string("'") + text +
                  "' is not an error code (a 32-bit number: decimal, 0x hex, or a negative decimal HRESULT)")
        << text;
  }
}

TEST(HdutilCommandLine, OptionsBelongToTheirCommands) {
  const unsigned inspectOptions = hdutil::kJsonOption | hdutil::kValueOption;
  Options options = parseOptions({"state.reg", "--json", "--value", "DevMode", "-"}, inspectOptions, "inspect");
  EXPECT_EQ(options.arguments, (std::vector<std::string>{"state.reg", "-"}));
  EXPECT_TRUE(options.json);
  EXPECT_FALSE(options.hex || options.help);
  EXPECT_EQ(options.valueName, "DevMode");

  options = parseOptions({"-o", "out.bin", "--hex", "-h"}, hdutil::kOutputOption | hdutil::kHexOption, "sample");
  EXPECT_EQ(options.output, "out.bin");
  EXPECT_TRUE(options.hex && options.help);
  EXPECT_TRUE(options.arguments.empty());

  // A negative number is an argument, not an option.
  options = parseOptions({"-2147024891"}, hdutil::kNoOptions, "error");
  EXPECT_EQ(options.arguments, (std::vector<std::string>{"-2147024891"}));

  EXPECT_EQ(usageFailure([&] { parseOptions({"--json"}, hdutil::kValueOption, "diff"); }),
            "'diff' has no option '--json'");
  EXPECT_EQ(usageFailure([&] { parseOptions({"--frobnicate"}, inspectOptions, "inspect"); }),
            "unknown option '--frobnicate'");
  EXPECT_EQ(usageFailure([&] { parseOptions({"a", "--value"}, inspectOptions, "inspect"); }), "--value needs a value");
  EXPECT_EQ(usageFailure([&] { parseOptions({"--output"}, hdutil::kOutputOption, "encode"); }),
            "--output needs a value");
}
