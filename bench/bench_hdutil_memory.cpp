// hdutil's memory: the peak memory of inspect (text and --json) and diff, run
// as the commands run them (the state read from a file, loaded, written to
// an output stream), measured against the size of the decompressed settings.
//
// States, written once per run into the temporary directory:
//   blob_8MiB       one namespace holding one data blob of 8 MiB less 256
//                   bytes of pseudo-random (incompressible) bytes: the file is
//                   about as large as the settings
//   records_4MiB    about 4 MiB of small records of every value type in four
//                   namespaces (every 200th record a list of five records),
//                   about 300,000 records
//   blob_8MiB_level0  the blob_8MiB settings stored at zlib level 0 (not
//                   compressed), whose canonical form is checked whole
//   blob_64MiB      (above the tool's former 8 MiB ceiling) one data blob of
//                   64 MiB less 256 bytes of text-like, compressible bytes
//   records_64MiB   about 64 MiB of the small records
// A case whose state the tool refuses (above its ceiling) reports an error
// instead of figures. diff compares the state with a copy holding one
// changed, one removed and one added record (the blob: its last byte
// changed).
//
// Cases, each "<command>_<state>/ours" against "/uncompress": reading the
// file and inflating its settings with zlib's uncompress into one buffer
// (for diff, both files, both buffers held), the least any inspector needs
// to hold.
//
// Counters: "peak_KiB" (bench/MemoryProbe.h: the resident growth during one
// run in a forked child) and "copies": peak_KiB over the decompressed
// settings' size (for diff, the two states' together). After the speed
// ratios the program prints the peak memory of each pair, then one line per
// case with the copies.
//
// Goal: inspect at most about three copies of the decompressed size.

#include "BenchSupport.h"
#include "MemoryProbe.h"

#include "PersistedStateTool.h"
#include "StateInput.h"

#include "General/Dimension.h"
#include "General/UtcTime.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesNameSpaces.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kMiB = std::size_t{1024} * 1024;

// A small record of each kind in turn; `i` makes ids and values differ.
void addSmallRecord(AttributeBytesRawList& list, unsigned i) {
  const long feature = static_cast<long>(1000 + i);
  switch (i % 10) {
    case 0:
      list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(feature), AttributeBytesIntegerValue(feature)));
      break;
    case 1:
      list.AddAttributeBytes(
          AttributeBytes(AttributeBytesNewFeatureId(CXString::fromUtf8("psk:Feature" + std::to_string(i))),
                         AttributeBytesOptionValue(AttributeBytesNewValueId(CXString::fromUtf8("psk:Option")))));
      break;
    case 2:
      list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(feature), AttributeBytesBooleanValue(i % 3 == 0)));
      break;
    case 3:
      list.AddAttributeBytes(
          AttributeBytes(AttributeBytesFeatureId(feature),
                         AttributeBytesStringValue(CXString::fromUtf8("Tray " + std::to_string(i)))));
      break;
    case 4:
      list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(feature), AttributeBytesRangeValue(1, feature)));
      break;
    case 5:
      list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(feature),
                                            AttributeBytesDimensionValue(Dimension(8.5, DIMENSION_UNIT_INCHES))));
      break;
    case 6:
      list.AddAttributeBytes(
          AttributeBytes(AttributeBytesCapabilityId(feature, 3), AttributeBytesResolutionValue(600, 1200, 1)));
      break;
    case 7:
      list.AddAttributeBytes(AttributeBytes(AttributeBytesListOfValuesItemId(feature),
                                            AttributeBytesDateTimeValue(UtcTime(2026, 11, 2, 8, 15, 0))));
      break;
    case 8: {
      ByteBuffer bytes;
      for (unsigned b = 0; b < 16; ++b) {
        bytes.push_back(static_cast<unsigned char>(i * 7 + b));
      }
      list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(feature), AttributeBytesDataBlobValue(bytes)));
      break;
    }
    default:
      list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(feature),
                                            AttributeBytesOptionValue(AttributeBytesValueId(feature + 1), false)));
      break;
  }
}

AttributeBytesNameSpaces recordsNameSpaces(std::size_t size, unsigned changes) {
  AttributeBytesNameSpaces nameSpaces(DriverVersion(7048, 1, 0, 999));
  const std::size_t perNameSpace = size / 4;
  for (long nameSpace = 1; nameSpace <= 4; ++nameSpace) {
    AttributeBytesRawList list;
    for (unsigned i = 0; list.GetRecordBytes().size() < perNameSpace; ++i) {
      if (changes != 0 && nameSpace == 1 && i == 3) {
        continue;  // removed
      }
      if (i % 200 == 199) {
        AttributeBytesRawList inner;
        for (unsigned j = 0; j < 5; ++j) {
          addSmallRecord(inner, i + j);
        }
        list.AddAttributeBytes(
            AttributeBytes(AttributeBytesFeatureId(static_cast<long>(1000 + i)), AttributeBytesListValue(1, inner)));
      } else if (changes != 0 && nameSpace == 1 && i == 10) {
        list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1010), AttributeBytesIntegerValue(-1)));
      } else {
        addSmallRecord(list, i);
      }
    }
    if (changes != 0 && nameSpace == 1) {
      list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(999999), AttributeBytesBooleanValue(true)));
    }
    nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(nameSpace), list);
  }
  return nameSpaces;
}

AttributeBytesNameSpaces blobNameSpaces(std::size_t size, bool compressible, unsigned changes) {
  ByteBuffer bytes(size, 0);
  std::uint32_t seed = 12345;
  static const char kWords[] = "duplex tray colour staple booklet media resolution ";
  for (std::size_t i = 0; i < size; ++i) {
    seed = seed * 1664525u + 1013904223u;
    bytes[i] = compressible ? static_cast<unsigned char>(kWords[(seed >> 24) % (sizeof(kWords) - 1)])
                            : static_cast<unsigned char>(seed >> 24);
  }
  if (changes != 0) {
    bytes[size - 1] ^= 0xFF;
  }
  AttributeBytesRawList list;
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(4001), AttributeBytesDataBlobValue(bytes)));
  AttributeBytesNameSpaces nameSpaces(DriverVersion(7048, 1, 0, 999));
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(5), list);
  return nameSpaces;
}

struct StateFiles {
  std::string before;
  std::string after;
  std::size_t decompressedSize = 0;  // of `before`
};

StateFiles writeStates(const std::string& name, const std::function<AttributeBytesNameSpaces(unsigned)>& make,
                       int level) {
  StateFiles files;
  const std::filesystem::path directory = std::filesystem::temp_directory_path();
  for (unsigned changes = 0; changes < 2; ++changes) {
    const AttributeBytesNameSpaces nameSpaces = make(changes);
    if (changes == 0) {
      files.decompressedSize = nameSpaces.GetAttributeBytesNameSpacesState().size();
    }
    hdutil::StateWriting writing;
    writing.compressionLevel = level;
    const ByteBuffer state = hdutil::writePersistedState(nameSpaces, writing);
    const std::string path =
        (directory / ("bench_hdutil_memory_" + name + (changes == 0 ? ".bin" : "_changed.bin"))).string();
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(state.data()), static_cast<std::streamsize>(state.size()));
    (changes == 0 ? files.before : files.after) = path;
  }
  return files;
}

const StateFiles& statesNamed(const std::string& name) {
  static std::map<std::string, StateFiles> states;
  const auto found = states.find(name);
  if (found != states.end()) {
    return found->second;
  }
  std::function<AttributeBytesNameSpaces(unsigned)> make;
  if (name == "blob_8MiB" || name == "blob_8MiB_level0") {
    make = [](unsigned changes) { return blobNameSpaces(8 * kMiB - 256, false, changes); };
  } else if (name == "blob_64MiB") {
    make = [](unsigned changes) { return blobNameSpaces(64 * kMiB - 256, true, changes); };
  } else if (name == "records_4MiB") {
    make = [](unsigned changes) { return recordsNameSpaces(4 * kMiB, changes); };
  } else {
    make = [](unsigned changes) { return recordsNameSpaces(64 * kMiB - 4096, changes); };
  }
  return states.emplace(name, writeStates(name, make, name == "blob_8MiB_level0" ? 0 : -1)).first->second;
}

hdutil::PersistedState loadFile(const std::string& path) {
  const hdutil::StateInput input = hdutil::decodeStateInput(hdutil::readInput(path), std::string());
  return hdutil::loadPersistedState(input.bytes);
}

// What inspect does, writing to /dev/null through a file stream as it
// would to standard output.
void inspectText(const StateFiles& files) {
  std::ofstream out("/dev/null");
  hdutil::printPersistedState(out, loadFile(files.before), files.before);
}

void inspectJson(const StateFiles& files) {
  std::ofstream out("/dev/null");
  const hdutil::PersistedState state = loadFile(files.before);
  hdutil::writePersistedStateJson(out, state, files.before);
}

void diff(const StateFiles& files) {
  std::ofstream out("/dev/null");
  const hdutil::PersistedState before = loadFile(files.before);
  const hdutil::PersistedState after = loadFile(files.after);
  hdbench::opaque(hdutil::printDifferences(out, before, after));
}

// The peer: the file read and its settings inflated into one buffer.
std::vector<unsigned char> uncompressFile(const std::string& path) {
  const ByteBuffer bytes = hdutil::readInput(path);
  const std::size_t footer = 13;
  // The footer's original size: big-endian, 8 to 5 bytes from the end.
  std::size_t claimed = 0;
  for (std::size_t i = bytes.size() - 8; i < bytes.size() - 4; ++i) {
    claimed = (claimed << 8) | bytes[i];
  }
  std::vector<unsigned char> out(claimed);
  uLongf size = static_cast<uLongf>(out.size());
  if (uncompress(out.data(), &size, bytes.data() + 16, static_cast<uLong>(bytes.size() - 16 - footer)) != Z_OK) {
    std::abort();
  }
  return out;
}

std::map<std::string, double>& copiesByCase() {
  static std::map<std::string, double> copies;
  return copies;
}

void run(benchmark::State& state, const std::string& caseName, const std::string& stateName, bool twoStates,
         const std::function<void(const StateFiles&)>& operation) {
  const StateFiles& files = statesNamed(stateName);
  try {
    operation(files);
  } catch (const std::exception& e) {
    state.SkipWithError(("refused: " + std::string(e.what())).c_str());
    return;
  } catch (...) {
    state.SkipWithError("refused by the library");
    return;
  }
  const double peak = hdbench::peakKiB([&] { operation(files); });
  hdbench::recordPeak(caseName, peak);
  const double settings = static_cast<double>(files.decompressedSize) * (twoStates ? 2 : 1);
  const double copies = peak * 1024 / settings;
  copiesByCase()[caseName] = copies;
  for (auto _ : state) {
    operation(files);
  }
  state.counters["peak_KiB"] = peak;
  state.counters["copies"] = copies;
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(settings));
}

void registerAll() {
  for (const char* stateName : {"blob_8MiB", "records_4MiB", "blob_8MiB_level0", "blob_64MiB", "records_64MiB"}) {
    const std::string name = stateName;
    const auto add = [&](const std::string& command, bool twoStates,
                         const std::function<void(const StateFiles&)>& ours) {
      const std::string group = command + "_" + name;
      benchmark::RegisterBenchmark((group + "/ours").c_str(),
                                   [=](benchmark::State& state) { run(state, group + "/ours", name, twoStates, ours); })
          ->Unit(benchmark::kMillisecond)
          ->Iterations(2);
      benchmark::RegisterBenchmark((group + "/uncompress").c_str(),
                                   [=](benchmark::State& state) {
                                     run(state, group + "/uncompress", name, twoStates,
                                         [twoStates](const StateFiles& files) {
                                           // A diff holds both states.
                                           const std::vector<unsigned char> before = uncompressFile(files.before);
                                           if (twoStates) {
                                             const std::vector<unsigned char> after = uncompressFile(files.after);
                                             hdbench::opaque(after.data());
                                           }
                                           hdbench::opaque(before.data());
                                         });
                                   })
          ->Unit(benchmark::kMillisecond)
          ->Iterations(2);
    };
    add("inspect_text", false, inspectText);
    add("inspect_json", false, inspectJson);
    add("diff", true, diff);
  }
}

const bool kRegistered = (registerAll(), true);

}  // namespace

int main(int argc, char** argv) {
  const int result = hdbench::runAll(argc, argv);
  hdbench::printPeakRatios();
  std::printf("\n");
  for (const auto& [name, copies] : copiesByCase()) {
    std::printf("copies %s: peak %.2fx the decompressed settings\n", name.c_str(), copies);
  }
  for (const char* stateName : {"blob_8MiB", "records_4MiB", "blob_8MiB_level0", "blob_64MiB", "records_64MiB"}) {
    for (const char* suffix : {".bin", "_changed.bin"}) {
      std::filesystem::remove(std::filesystem::temp_directory_path() /
                              (std::string("bench_hdutil_memory_") + stateName + suffix));
    }
  }
  return result;
}
