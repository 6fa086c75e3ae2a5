// hdutil: the driver engineer's command-line companion to hd-Utilities; first
// of all the inspector of persisted driver settings.
//
//   hdutil [inspect] [FILE]      show a persisted settings state (the built-in
//                                sample when no FILE is given)
//   hdutil inspect FILE --json   the same facts as JSON
//   hdutil inspect --registry 'HKCU\Software\...\ValueName'   a state where a
//                                driver keeps it (Windows)
//   hdutil diff A B              records added, removed or changed, per namespace
//   hdutil encode FILE.json      JSON (as inspect --json writes it) back to the state
//   hdutil sample                the built-in sample state itself
//   hdutil platform              facts about this machine as the library sees them
//   hdutil error CODE            the system's text for an error code
//   hdutil log-config check FILE a logging configuration (Config.toml) read as
//                                the driver would, with every report
//
// Exit status: 0 success (diff: no difference), 1 diff found differences or
// log-config check found warnings, 2 bad input, usage, or errors found by
// log-config check. Bad input never crashes: it ends in one line naming
// the library's exception class and message.

#include "CommandLine.h"
#include "Json.h"
#include "LogConfigCheck.h"
#include "PersistedStateTool.h"
#include "PrintableText.h"
#include "RegistryValue.h"
#include "SampleState.h"
#include "StateInput.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "attributebytes/PersistentAttributes.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>
#include <vector>

namespace {

using hdutil::Options;
using hdutil::UsageError;

constexpr const char* kSampleName = "@sample";

const char* const kMainUsage =
    "Usage: hdutil [COMMAND] [OPTIONS] [ARGS]\n"
    "\n"
    "Inspect, compare and edit persisted driver settings.\n"
    "\n"
    "Commands:\n"
    "  inspect [FILE]   show a persisted settings state (default command; without\n"
    "                   FILE, the built-in sample)\n"
    "  diff A B         show the records added, removed or changed from A to B\n"
    "  encode FILE      turn JSON written by 'inspect --json' back into the state\n"
    "  sample           write the built-in sample state\n"
    "  platform         show what the library knows about this process and machine\n"
    "  error CODE       show the system's text for an error code\n"
    "  log-config check FILE\n"
    "                   check a logging configuration (Config.toml) as the\n"
    "                   driver reads it: every report, the destinations, the\n"
    "                   contextual options that match, whether logging is on\n"
    "\n"
    "FILE may hold the state as raw binary, as hex text, or as a registry export\n"
    "(.reg) line such as \"Name\"=hex:10,00,00,...; '-' reads standard input and\n"
    "'@sample' names the built-in sample. Input files (JSON too) may hold up to\n"
    "64 MiB, a state up to 64 MiB of settings. On Windows, 'inspect --registry'\n"
    "and 'encode --to-registry' read and write a state straight in the registry.\n"
    "\n"
    "Options:\n"
    "  -h, --help       show help (after a command: that command's help)\n"
    "\n"
    "Exit status: 0 success, 1 differences found (diff) or warnings (log-config\n"
    "check), 2 bad input, usage, or errors (log-config check).\n";

const char* const kInspectUsage =
    "Usage: hdutil inspect [OPTIONS] [FILE]\n"
    "\n"
    "Show the header, the compression footer, the driver version and every\n"
    "namespace with its records (id, value type, value, whether specified).\n"
    "Without FILE, the built-in sample state is shown.\n"
    "\n"
    "Options:\n"
    "  --json           write the same facts as JSON (the input of 'encode')\n"
    "  --value NAME     in a registry export, the value to read (default: the\n"
    "                   first binary value)\n"
    "  --registry ROOT\\KEY\\VALUE\n"
    "                   read the state from a registry value instead of FILE\n"
    "                   (Windows; ROOT is HKCU or HKLM)\n"
    "  -h, --help       show this help\n";

const char* const kDiffUsage =
    "Usage: hdutil diff [OPTIONS] A B\n"
    "\n"
    "Compare two persisted settings states namespace by namespace: '+' a record\n"
    "only in B, '-' only in A, '~' the same id with another value.\n"
    "Exit status 0 when the states hold the same settings, 1 when they differ.\n"
    "\n"
    "Options:\n"
    "  --value NAME     in registry exports, the value to read\n"
    "  -h, --help       show this help\n";

const char* const kEncodeUsage =
    "Usage: hdutil encode [OPTIONS] FILE.json\n"
    "\n"
    "Build the persisted settings state that a JSON document (as written by\n"
    "'hdutil inspect --json', possibly edited) describes. A document written\n"
    "by inspect gives back the original bytes when the state was in the\n"
    "library's own form (inspect reports it as canonical); otherwise the same\n"
    "settings are written in that form (current header, no bytes after the\n"
    "compressed data, flag bytes as 0 or 1).\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT write to OUT instead of standard output\n"
    "  --hex            write hex text instead of raw bytes\n"
    "  --to-registry ROOT\\KEY\\VALUE\n"
    "                   write the state to a registry value as REG_BINARY\n"
    "                   (Windows; ROOT is HKCU or HKLM)\n"
    "  -h, --help       show this help\n";

const char* const kSampleUsage =
    "Usage: hdutil sample [OPTIONS]\n"
    "\n"
    "Write the built-in sample state: realistic settings of one queue and user\n"
    "in four namespaces, with every kind of record.\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT write to OUT instead of standard output\n"
    "  --hex            write hex text instead of raw bytes\n"
    "  --to-registry ROOT\\KEY\\VALUE\n"
    "                   write the state to a registry value as REG_BINARY\n"
    "                   (Windows; ROOT is HKCU or HKLM)\n"
    "  -h, --help       show this help\n";

const char* const kPlatformUsage =
    "Usage: hdutil platform\n\nShow what the library knows about this process and machine.\n";
const char* const kErrorUsage =
    "Usage: hdutil error CODE\n\nShow the system's message text for an error code: a 32-bit number, decimal or\n"
    "0x hex, or a negative decimal HRESULT (-2147024891 is 0x80070005).\n";

const char* const kLogConfigUsage =
    "Usage: hdutil log-config check [OPTIONS] FILE\n"
    "\n"
    "Read a logging configuration (Config.toml; '-' reads standard input) as\n"
    "the driver reads it: the library's built-in configuration first, then\n"
    "FILE, for the process the options describe (by default this one). Show\n"
    "every report with its exact title and text, which contextual-options\n"
    "entries apply to that process and why, the facility's and each\n"
    "destination's effective options, and whether logging ends up on.\n"
    "\n"
    "Options:\n"
    "  --process NAME   the program's file name, as 'processes' selectors match\n"
    "                   it (spoolsv.exe, printfilterpipelinesvc.exe, ...)\n"
    "  --build WORD     checked, debug, free, release, aefree or aeplus\n"
    "  --platform WORD  windows or linux\n"
    "  --warmup on|off  the driver's warm-up mode (default off)\n"
    "  --unit-tests on|off\n"
    "                   whether the process runs the library's unit tests\n"
    "  --json           write the same facts as JSON\n"
    "  -h, --help       show this help\n"
    "\n"
    "Exit status: 0 no reports, 1 warnings only, 2 errors, or FILE unreadable.\n";

struct LoadedInput {
  hdutil::PersistedState state;
  std::string source;
};

LoadedInput load(const std::string& file, const std::string& valueName) {
  LoadedInput loaded;
  if (file == kSampleName) {
    loaded.state = hdutil::loadPersistedState(
        PersistentAttributes(hdutil::buildSampleNameSpaces()).GetPersistentAttributesState());
    loaded.source = "built-in sample";
    return loaded;
  }
  const hdutil::StateInput input = hdutil::decodeStateInput(hdutil::readInput(file), valueName);
  loaded.state = hdutil::loadPersistedState(input.bytes);
  loaded.source = (file == "-" ? std::string("standard input") : file) + " (" + input.description + ")";
  return loaded;
}

LoadedInput loadFromRegistry(const std::string& location) {
  hdutil::RegistryValue value = hdutil::readRegistryValue(location);
  LoadedInput loaded;
  loaded.state = hdutil::loadPersistedState(hdutil::decodeStateInput(std::move(value.bytes), std::string()).bytes);
  loaded.source = value.description;
  return loaded;
}

void writeOutput(const ByteBuffer& bytes, const Options& options) {
  if (!options.toRegistry.empty()) {
    hdutil::writeRegistryValue(options.toRegistry, bytes);
    std::cout << "wrote " << bytes.size() << " bytes to " << hdutil::printableText(options.toRegistry)
              << " (REG_BINARY)\n";
    std::cout.flush();
    if (options.output.empty()) {
      return;
    }
  }
  std::string hex;
  const char* data = reinterpret_cast<const char*>(bytes.data());
  std::size_t size = bytes.size();
  if (options.hex) {
    hex = ByteBuffer::ConvertByteBufferToHexBinaryString(bytes).toUtf8() + "\n";
    data = hex.data();
    size = hex.size();
  }
  if (options.output.empty()) {
    std::cout.write(data, static_cast<std::streamsize>(size));
    std::cout.flush();
    return;
  }
  std::ofstream file(options.output, std::ios::binary);
  file.write(data, static_cast<std::streamsize>(size));
  if (!file) {
    throw hdutil::InputError("cannot write '" + options.output + "'");
  }
}

int inspect(const Options& options) {
  if (options.arguments.size() > 1) {
    throw UsageError("inspect takes one FILE");
  }
  if (!options.registry.empty() && !options.arguments.empty()) {
    throw UsageError("inspect takes a FILE or --registry, not both");
  }
  const LoadedInput loaded =
      !options.registry.empty()
          ? loadFromRegistry(options.registry)
          : load(options.arguments.empty() ? kSampleName : options.arguments[0], options.valueName);
  if (options.json) {
    hdutil::writePersistedStateJson(std::cout, loaded.state, loaded.source);
  } else {
    hdutil::printPersistedState(std::cout, loaded.state, loaded.source);
  }
  return 0;
}

int diff(const Options& options) {
  if (options.arguments.size() != 2) {
    throw UsageError("diff takes two files, A and B");
  }
  const LoadedInput before = load(options.arguments[0], options.valueName);
  const LoadedInput after = load(options.arguments[1], options.valueName);
  const bool different = hdutil::printDifferences(std::cout, before.state, after.state);
  if (!different) {
    std::cout << "no differences\n";
  }
  return different ? 1 : 0;
}

int encode(const Options& options) {
  if (options.arguments.size() != 1) {
    throw UsageError("encode takes one JSON file");
  }
  const ByteBuffer text = hdutil::readInput(options.arguments[0]);
  const hdutil::Json document =
      hdutil::parseJson(std::string_view(reinterpret_cast<const char*>(text.data()), text.size()));
  const ByteBuffer bytes = hdutil::encodePersistedState(document);
  hdutil::loadPersistedState(bytes);  // what we write must read back
  writeOutput(bytes, options);
  return 0;
}

int sample(const Options& options) {
  if (!options.arguments.empty()) {
    throw UsageError("sample takes no arguments");
  }
  writeOutput(PersistentAttributes(hdutil::buildSampleNameSpaces()).GetPersistentAttributesState(), options);
  return 0;
}

int showPlatform(const Options& options) {
  if (!options.arguments.empty()) {
    throw UsageError("platform takes no arguments");
  }
  namespace pf = PlatformFacilities;
  const pf::LocalTime now = pf::localTimeNow();
  const pf::HighResolutionClockReading clock = pf::readHighResolutionClock();
  std::printf("computer name     : %s\n", hdutil::printableText(pf::computerName()).c_str());
  std::printf("process           : %s (id %u)\n", hdutil::printableText(pf::processName()).c_str(),
              pf::currentProcessId());
  std::printf("thread id         : %u\n", pf::currentThreadId());
  std::printf("library image     : %s\n", hdutil::printableText(pf::ownModulePath()).c_str());
  std::printf("local time        : %04d-%02d-%02d %02d:%02d:%02d.%03d\n", now.year, now.month, now.day, now.hour,
              now.minute, now.second, now.millisecond);
  std::printf("clock             : %s, %llu ticks per second\n",
              pf::isPerformanceCounterClockInUse() ? "high-resolution counter" : "tick clock",
              static_cast<unsigned long long>(clock.ticksPerSecond));
  return 0;
}

int showError(const Options& options) {
  if (options.arguments.size() != 1) {
    throw UsageError("error takes one CODE");
  }
  const std::uint32_t code = hdutil::parseErrorCode(options.arguments[0]);
  const std::string text = PlatformFacilities::systemMessageText(code);
  std::printf("%u (0x%x): %s\n", static_cast<unsigned>(code), static_cast<unsigned>(code),
              text.empty() ? "Unknown value" : hdutil::printableLine(text).c_str());
  return 0;
}

int logConfig(const Options& options) {
  if (options.arguments.empty() || options.arguments[0] != "check") {
    throw UsageError("log-config takes the command 'check' and one FILE");
  }
  if (options.arguments.size() != 2) {
    throw UsageError("log-config check takes one FILE");
  }
  const HaldenConfiguration::LoggingSelectionContext context = hdutil::makeLogConfigSelectionContext(
      options.process, options.build, options.platform, options.warmup, options.unitTests);
  const std::string& file = options.arguments[1];
  const ByteBuffer text = hdutil::readInput(file);
  const hdutil::LogConfigCheck check =
      hdutil::checkLogConfiguration(std::string_view(reinterpret_cast<const char*>(text.data()), text.size()),
                                    file == "-" ? std::string("standard input") : file, context);
  if (options.json) {
    std::cout << hdutil::writeJson(hdutil::logConfigCheckToJson(check));
  } else {
    hdutil::printLogConfigCheck(std::cout, check);
  }
  std::cout.flush();
  return check.exitStatus();
}

// The commands. To add one: its usage text, its function, and a line here
// naming the options it accepts (see CommandLine.h).
struct Command {
  const char* name;
  const char* usage;
  unsigned options;
  int (*run)(const Options&);
};

const Command kCommands[] = {
    {"inspect", kInspectUsage, hdutil::kJsonOption | hdutil::kValueOption | hdutil::kRegistryOption, inspect},
    {"diff", kDiffUsage, hdutil::kValueOption, diff},
    {"encode", kEncodeUsage, hdutil::kOutputOption | hdutil::kHexOption | hdutil::kToRegistryOption, encode},
    {"sample", kSampleUsage, hdutil::kOutputOption | hdutil::kHexOption | hdutil::kToRegistryOption, sample},
    {"platform", kPlatformUsage, hdutil::kNoOptions, showPlatform},
    {"error", kErrorUsage, hdutil::kNoOptions, showError},
    {"log-config", kLogConfigUsage,
     hdutil::kJsonOption | hdutil::kProcessOption | hdutil::kBuildOption | hdutil::kPlatformOption |
         hdutil::kWarmupOption | hdutil::kUnitTestsOption,
     logConfig},
};

const Command* findCommand(const std::string& name) {
  for (const Command& command : kCommands) {
    if (name == command.name) {
      return &command;
    }
  }
  return nullptr;
}

int run(const std::vector<std::string>& words) {
  if (!words.empty() && (words[0] == "-h" || words[0] == "--help")) {
    std::fputs(kMainUsage, stdout);
    return 0;
  }
  // Without a command word the words are inspect's ("hdutil state.bin").
  const Command* command = words.empty() ? nullptr : findCommand(words[0]);
  const std::size_t first = command != nullptr ? 1 : 0;
  if (command == nullptr) {
    command = findCommand("inspect");
  }
  const Options options =
      hdutil::parseOptions(std::vector<std::string>(words.begin() + static_cast<std::ptrdiff_t>(first), words.end()),
                           command->options, command->name);
  if (options.help) {
    std::fputs(command->usage, stdout);
    return 0;
  }
  return command->run(options);
}

}  // namespace

int main(int argc, char** argv) {
  // States travel through standard input and output as raw bytes.
  PlatformFacilities::useBinaryModeForStandardStreams();
  // Every failure ends in exactly one line: texts from the input or from the
  // library's messages are made printable first (see PrintableText.h).
  const auto report = [](const std::string& line) { std::fprintf(stderr, "hdutil: %s\n", line.c_str()); };
  using hdutil::printableLine;
  try {
    return run(std::vector<std::string>(argv + std::min(argc, 1), argv + argc));
  } catch (const UsageError& e) {
    report(printableLine(e.what()) + " (see 'hdutil --help')");
  } catch (const CPException& e) {
    report(CPException::getReadableTypeName(typeid(e)) + ": " + printableLine(e.getExceptionMessage()));
  } catch (const hdutil::RegistryUnavailable& e) {
    report(e.what());
  } catch (const hdutil::JsonError& e) {
    report("bad JSON: " + printableLine(e.what()));
  } catch (const hdutil::InputError& e) {
    report("bad input: " + printableLine(e.what()));
  } catch (const std::exception& e) {
    report(printableLine(CPException::getExceptionDescription(e)));
  }
  return 2;
}
