#pragma once
// hdutil's command line: the options every command shares, read into one
// Options value, and the numbers commands take.
//
// Each command names the options it accepts (OptionSet); an option it does
// not accept is a usage error. A word that begins with '-' is an option,
// except "-" itself (standard input) and a negative number ("-5").
// To add an option: a member of Options, a bit of OptionSet, and one entry in
// the table in CommandLine.cpp.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace hdutil {

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum OptionSet : unsigned {
  kNoOptions = 0,
  kJsonOption = 1u << 0,        // --json
  kHexOption = 1u << 1,         // --hex
  kValueOption = 1u << 2,       // --value NAME
  kOutputOption = 1u << 3,      // -o, --output OUT
  kRegistryOption = 1u << 4,    // --registry ROOT\KEY\VALUE
  kToRegistryOption = 1u << 5,  // --to-registry ROOT\KEY\VALUE
  kProcessOption = 1u << 6,     // --process NAME
  kBuildOption = 1u << 7,       // --build WORD
  kPlatformOption = 1u << 8,    // --platform WORD
  kWarmupOption = 1u << 9,      // --warmup on|off
  kUnitTestsOption = 1u << 10,  // --unit-tests on|off
};

struct Options {
  std::vector<std::string> arguments;
  bool help = false;  // -h, --help (every command)
  bool json = false;
  bool hex = false;
  std::string valueName;
  std::string output;
  std::string registry;    // inspect --registry: read the state from there
  std::string toRegistry;  // encode/sample --to-registry: write it there as REG_BINARY
  // log-config check: the process the configuration is read for (empty: as
  // the current process is); checked by the command (LogConfigCheck.h).
  std::string process;
  std::string build;
  std::string platform;
  std::string warmup;
  std::string unitTests;
};

// Reads the words after the command; throws UsageError.
Options parseOptions(const std::vector<std::string>& words, unsigned acceptedOptions, const std::string& command);

// An error code as "hdutil error" takes it: decimal (leading zeros are
// decimal too), 0x hex, or a negative decimal HRESULT (-2147024891 is
// 0x80070005); every form must fit in 32 bits. Throws UsageError otherwise.
std::uint32_t parseErrorCode(const std::string& text);

}  // namespace hdutil
