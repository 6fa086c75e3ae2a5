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
//
// Exit status: 0 success (diff: no difference), 1 diff found differences,
// 2 bad input or usage. Bad input never crashes: it ends in one line naming
// the library's exception class and message.

#include "Json.h"
#include "PersistedStateTool.h"
#include "RegistryValue.h"
#include "SampleState.h"
#include "StateInput.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "attributebytes/PersistentAttributes.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

using hdutil::Json;

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
    "\n"
    "FILE may hold the state as raw binary, as hex text, or as a registry export\n"
    "(.reg) line such as \"Name\"=hex:10,00,00,...; '-' reads standard input and\n"
    "'@sample' names the built-in sample. On Windows, 'inspect --registry' and\n"
    "'encode --to-registry' read and write a state straight in the registry.\n"
    "\n"
    "Options:\n"
    "  -h, --help       show help (after a command: that command's help)\n"
    "\n"
    "Exit status: 0 success, 1 differences found (diff), 2 bad input or usage.\n";

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
    "Usage: hdutil error CODE\n\nShow the system's message text for an error code (decimal or 0x hex).\n";

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Options {
  std::vector<std::string> arguments;
  bool json = false;
  bool hex = false;
  bool help = false;
  std::string valueName;
  std::string output;
  std::string registry;    // inspect --registry ROOT\KEY\VALUE
  std::string toRegistry;  // encode/sample --to-registry ROOT\KEY\VALUE
};

Options parseOptions(int argc, char** argv, int first, bool acceptsOutput) {
  Options options;
  for (int i = first; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "-h" || argument == "--help") {
      options.help = true;
    } else if (argument == "--json") {
      options.json = true;
    } else if (argument == "--hex" && acceptsOutput) {
      options.hex = true;
    } else if (argument == "--value") {
      if (i + 1 >= argc) {
        throw UsageError("--value needs a name");
      }
      options.valueName = argv[++i];
    } else if (argument == "--registry" || (argument == "--to-registry" && acceptsOutput)) {
      if (i + 1 >= argc) {
        throw UsageError(argument + " needs a registry location ROOT\\KEY\\VALUE");
      }
      (argument == "--registry" ? options.registry : options.toRegistry) = argv[++i];
    } else if ((argument == "-o" || argument == "--output") && acceptsOutput) {
      if (i + 1 >= argc) {
        throw UsageError(argument + " needs a file name");
      }
      options.output = argv[++i];
    } else if (argument.size() > 1 && argument[0] == '-' && argument != "-") {
      throw UsageError("unknown option '" + argument + "'");
    } else {
      options.arguments.push_back(argument);
    }
  }
  return options;
}

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
  const hdutil::StateInput input = hdutil::decodeStateInput(hdutil::readWholeFile(file), valueName);
  loaded.state = hdutil::loadPersistedState(input.bytes);
  loaded.source = (file == "-" ? std::string("standard input") : file) + " (" + input.description + ")";
  return loaded;
}

LoadedInput loadFromRegistry(const std::string& location) {
  const hdutil::RegistryValue value = hdutil::readRegistryValue(location);
  const hdutil::StateInput input =
      hdutil::decodeStateInput(std::string(value.bytes.begin(), value.bytes.end()), std::string());
  LoadedInput loaded;
  loaded.state = hdutil::loadPersistedState(input.bytes);
  loaded.source = value.description;
  return loaded;
}

void writeOutput(const ByteBuffer& bytes, const Options& options) {
  if (!options.toRegistry.empty()) {
    hdutil::writeRegistryValue(options.toRegistry, bytes);
    std::cout << "wrote " << bytes.size() << " bytes to " << options.toRegistry << " (REG_BINARY)\n";
    std::cout.flush();
    if (options.output.empty()) {
      return;
    }
  }
  std::string data;
  if (options.hex) {
    data = ByteBuffer::ConvertByteBufferToHexBinaryString(bytes).toUtf8() + "\n";
  } else {
    data.assign(bytes.begin(), bytes.end());
  }
  if (options.output.empty()) {
    std::cout.write(data.data(), static_cast<std::streamsize>(data.size()));
    std::cout.flush();
    return;
  }
  std::ofstream file(options.output, std::ios::binary);
  file.write(data.data(), static_cast<std::streamsize>(data.size()));
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
    std::cout << hdutil::persistedStateToJson(loaded.state, loaded.source).dump();
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
  const Json document = Json::parse(hdutil::readWholeFile(options.arguments[0]));
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

int showPlatform() {
  namespace pf = PlatformFacilities;
  const pf::LocalTime now = pf::localTimeNow();
  const pf::HighResolutionClockReading clock = pf::readHighResolutionClock();
  std::printf("computer name     : %s\n", pf::computerName().c_str());
  std::printf("process           : %s (id %u)\n", pf::processName().c_str(), pf::currentProcessId());
  std::printf("thread id         : %u\n", pf::currentThreadId());
  std::printf("library image     : %s\n", pf::ownModulePath().c_str());
  std::printf("local time        : %04d-%02d-%02d %02d:%02d:%02d.%03d\n", now.year, now.month, now.day, now.hour,
              now.minute, now.second, now.millisecond);
  std::printf("clock             : %s, %llu ticks per second\n",
              pf::isPerformanceCounterClockInUse() ? "high-resolution counter" : "tick clock",
              static_cast<unsigned long long>(clock.ticksPerSecond));
  return 0;
}

int showError(const std::string& argument) {
  char* end = nullptr;
  const unsigned long code = std::strtoul(argument.c_str(), &end, 0);
  if (argument.empty() || *end != '\0') {
    throw UsageError("'" + argument + "' is not a number");
  }
  const std::string text = PlatformFacilities::systemMessageText(static_cast<std::uint32_t>(code));
  std::printf("%lu (0x%lx): %s\n", code, code, text.empty() ? "Unknown value" : text.c_str());
  return 0;
}

int run(int argc, char** argv) {
  std::string command = "inspect";
  int first = 1;
  if (argc >= 2 && argv[1][0] != '-' && std::strcmp(argv[1], "-") != 0) {
    const std::string word = argv[1];
    if (word == "inspect" || word == "diff" || word == "encode" || word == "sample" || word == "platform" ||
        word == "error") {
      command = word;
      first = 2;
    }
  } else if (argc >= 2 && (std::strcmp(argv[1], "-h") == 0 || std::strcmp(argv[1], "--help") == 0)) {
    std::fputs(kMainUsage, stdout);
    return 0;
  }
  const bool writesBytes = command == "encode" || command == "sample";
  const Options options = parseOptions(argc, argv, first, writesBytes);
  const char* usage = command == "inspect"    ? kInspectUsage
                      : command == "diff"     ? kDiffUsage
                      : command == "encode"   ? kEncodeUsage
                      : command == "sample"   ? kSampleUsage
                      : command == "platform" ? kPlatformUsage
                                              : kErrorUsage;
  if (options.help) {
    std::fputs(usage, stdout);
    return 0;
  }
  if (options.json && command != "inspect") {
    throw UsageError("--json belongs to inspect");
  }
  if (!options.registry.empty() && command != "inspect") {
    throw UsageError("--registry belongs to inspect");
  }
  if (command == "inspect") {
    return inspect(options);
  }
  if (command == "diff") {
    return diff(options);
  }
  if (command == "encode") {
    return encode(options);
  }
  if (command == "sample") {
    return sample(options);
  }
  if (command == "platform") {
    return showPlatform();
  }
  if (options.arguments.size() != 1) {
    throw UsageError("error takes one CODE");
  }
  return showError(options.arguments[0]);
}

}  // namespace

int main(int argc, char** argv) {
  // States travel through standard input and output as raw bytes.
  PlatformFacilities::useBinaryModeForStandardStreams();
  try {
    return run(argc, argv);
  } catch (const UsageError& e) {
    std::fprintf(stderr, "hdutil: %s (see 'hdutil --help')\n", e.what());
  } catch (const CPException& e) {
    std::fprintf(stderr, "hdutil: %s: %s\n", CPException::getReadableTypeName(typeid(e)).c_str(),
                 e.getExceptionMessage());
  } catch (const hdutil::JsonError& e) {
    std::fprintf(stderr, "hdutil: bad JSON: %s\n", e.what());
  } catch (const hdutil::RegistryUnavailable& e) {
    std::fprintf(stderr, "hdutil: %s\n", e.what());
  } catch (const hdutil::InputError& e) {
    std::fprintf(stderr, "hdutil: bad input: %s\n", e.what());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "hdutil: %s\n", CPException::getExceptionDescription(e).c_str());
  }
  return 2;
}
