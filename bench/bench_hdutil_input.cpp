// hdutil's input scanning, side by side with simple peers:
//
//   registry_scan_1MB_hostile     findRegistryValue over one 1 MB line of
//                                 "=hex" repeated, against one plain pass of
//                                 std::string_view::find over the same text
//                                 (every scan reads each byte at least once).
//   registry_scan_100KB_hostile   the same at 100 KB, with the scan hdutil
//                                 used before (kept here verbatim as
//                                 previous_scan: for each "=hex" it searched
//                                 back to the line start twice, forward to the
//                                 end for ':' and copied the prefix).
//   registry_scan_export          a realistic UTF-8 export: 200 values of 2 KB,
//                                 the value asked for last; the former scan
//                                 as well.
//   json_records_10k              parseJson of 10,000 records as inspect --json
//                                 writes them, against nlohmann's own parsers
//                                 (ordered_json and json).
//   json_objects_64_members       2,500 objects of 64 members each (the most
//                                 hdutil accepts): ordered_json's own parser
//                                 searches the members on every insertion.
//   json_hostile_160k_members     one object of 160,000 members: hdutil refuses
//                                 it at the 65th; nlohmann::json (a std::map
//                                 per object) parses it all.
//   read_16MiB_file               readInput against fread into a vector.

#include "BenchSupport.h"
#include "Json.h"
#include "StateInput.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string repeated(std::string_view unit, std::size_t totalSize) {
  std::string text;
  text.reserve(totalSize);
  while (text.size() + unit.size() <= totalSize) {
    text += unit;
  }
  return text;
}

const std::string& hostile1MB() {
  static const std::string text = repeated("=hex", 1000000);
  return text;
}

const std::string& hostile100KB() {
  static const std::string text = repeated("=hex", 100000);
  return text;
}

const std::string& realisticExport() {
  static const std::string text = [] {
    std::string out = "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\Halden\\Settings]\r\n";
    for (int value = 0; value < 200; ++value) {
      std::string line = "\"Value" + std::to_string(value) + "\"=hex:";
      for (int byte = 0; byte < 2048; ++byte) {
        line += "a5,";
        if (line.size() > 76) {
          out += line + "\\\r\n";
          line = "  ";
        }
      }
      out += line + "00\r\n";
    }
    return out;
  }();
  return text;
}

// The scan hdutil used before, verbatim but for the decoding it led to.
bool previousScan(const std::string& text, const std::string& valueName) {
  std::size_t search = 0;
  while ((search = text.find("=hex", search)) != std::string::npos) {
    const std::size_t lineStart = text.rfind('\n', search) == std::string::npos ? 0 : text.rfind('\n', search) + 1;
    const std::size_t colon = text.find(':', search);
    const std::string name = text.substr(lineStart, search - lineStart);
    const bool binaryKind = colon != std::string::npos &&
                            (text.compare(search, 5, "=hex:") == 0 || text.compare(search, 8, "=hex(3):") == 0);
    std::string unquoted = name;
    if (unquoted.size() >= 2 && unquoted.front() == '"' && unquoted.back() == '"') {
      unquoted = unquoted.substr(1, unquoted.size() - 2);
    }
    if (binaryKind && (valueName.empty() || unquoted == valueName || (valueName == "@" && name == "@"))) {
      return true;
    }
    search += 4;
  }
  return false;
}

// One plain pass: every occurrence of "=hex" found, nothing else done.
std::size_t plainFind(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = text.find("=hex"); at != std::string_view::npos; at = text.find("=hex", at + 4)) {
    ++count;
  }
  return count;
}

void scanOurs(benchmark::State& state, const std::string& text, const char* valueName) {
  for (auto _ : state) {
    hdbench::opaque(text);
    const hdutil::RegistryExportValue value = hdutil::findRegistryValue(text, valueName);
    hdbench::opaque(value.found);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void scanPlain(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    hdbench::opaque(text);
    const std::size_t count = plainFind(text);
    hdbench::opaque(count);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void scanPreviousNamed(benchmark::State& state, const std::string& text, const char* valueName) {
  for (auto _ : state) {
    hdbench::opaque(text);
    const bool found = previousScan(text, valueName);
    hdbench::opaque(found);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void scanPrevious(benchmark::State& state, const std::string& text) {
  scanPreviousNamed(state, text, "");
}

BENCHMARK_CAPTURE(scanOurs, registry_scan_1MB_hostile_ours, hostile1MB(), "")
    ->Name("registry_scan_1MB_hostile/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scanPlain, registry_scan_1MB_hostile_plain_find, hostile1MB())
    ->Name("registry_scan_1MB_hostile/plain_find")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scanOurs, registry_scan_100KB_hostile_ours, hostile100KB(), "")
    ->Name("registry_scan_100KB_hostile/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scanPlain, registry_scan_100KB_hostile_plain_find, hostile100KB())
    ->Name("registry_scan_100KB_hostile/plain_find")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scanPrevious, registry_scan_100KB_hostile_previous_scan, hostile100KB())
    ->Name("registry_scan_100KB_hostile/previous_scan")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK_CAPTURE(scanOurs, registry_scan_export_ours, realisticExport(), "Value199")
    ->Name("registry_scan_export/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scanPlain, registry_scan_export_plain_find, realisticExport())
    ->Name("registry_scan_export/plain_find")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scanPreviousNamed, registry_scan_export_previous_scan, realisticExport(), "Value199")
    ->Name("registry_scan_export/previous_scan")
    ->Unit(benchmark::kMillisecond);

const std::string& recordsDocument() {
  static const std::string text = [] {
    std::string out = "{\"driverVersion\": [7, 48, 0, 1], \"namespaces\": [";
    for (int i = 0; i < 10000; ++i) {
      out += (i == 0 ? "" : ",") + std::string("\n  {\"id\": {\"type\": \"FEATURE\", \"featureId\": ") +
             std::to_string(i) + "}, \"value\": {\"type\": \"STRING\", \"specified\": true, \"value\": \"text " +
             std::to_string(i) + "\"}}";
    }
    return out + "]}";
  }();
  return text;
}

const std::string& wideObjects() {
  static const std::string text = [] {
    std::string out = "[";
    for (int object = 0; object < 2500; ++object) {
      out += object == 0 ? "{" : ",{";
      for (int member = 0; member < 64; ++member) {
        out += (member == 0 ? "\"member" : ",\"member") + std::to_string(member) + "\":" + std::to_string(member);
      }
      out += "}";
    }
    return out + "]";
  }();
  return text;
}

const std::string& hostileObject() {
  static const std::string text = [] {
    std::string out = "{";
    for (int member = 0; member < 160000; ++member) {
      out += (member == 0 ? "\"k" : ",\"k") + std::to_string(member) + "\":0";
    }
    return out + "}";
  }();
  return text;
}

void jsonOurs(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    hdbench::opaque(text);
    try {
      const hdutil::Json document = hdutil::parseJson(text);
      hdbench::opaque(document);
    } catch (const hdutil::JsonError&) {
      // the hostile object: refused, as it must be
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

template <class Document>
void jsonNlohmann(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    hdbench::opaque(text);
    const Document document = Document::parse(text);
    hdbench::opaque(document);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void jsonOrdered(benchmark::State& state, const std::string& text) {
  jsonNlohmann<nlohmann::ordered_json>(state, text);
}

void jsonPlain(benchmark::State& state, const std::string& text) {
  jsonNlohmann<nlohmann::json>(state, text);
}

BENCHMARK_CAPTURE(jsonOurs, json_records_10k_ours, recordsDocument())
    ->Name("json_records_10k/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jsonOrdered, json_records_10k_nlohmann_ordered_json, recordsDocument())
    ->Name("json_records_10k/nlohmann_ordered_json")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jsonPlain, json_records_10k_nlohmann_json, recordsDocument())
    ->Name("json_records_10k/nlohmann_json")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jsonOurs, json_objects_64_members_ours, wideObjects())
    ->Name("json_objects_64_members/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jsonOrdered, json_objects_64_members_nlohmann_ordered_json, wideObjects())
    ->Name("json_objects_64_members/nlohmann_ordered_json")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jsonPlain, json_objects_64_members_nlohmann_json, wideObjects())
    ->Name("json_objects_64_members/nlohmann_json")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jsonOurs, json_hostile_160k_members_ours, hostileObject())
    ->Name("json_hostile_160k_members/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jsonPlain, json_hostile_160k_members_nlohmann_json, hostileObject())
    ->Name("json_hostile_160k_members/nlohmann_json")
    ->Unit(benchmark::kMillisecond);

// A 16 MiB file, written once per run.
const std::string& bigFile() {
  static const std::string path = [] {
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "bench_hdutil_input.bin";
    std::ofstream out(file, std::ios::binary);
    const std::string block(1024 * 1024, '\x5A');
    for (int i = 0; i < 16; ++i) {
      out.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    return file.string();
  }();
  return path;
}

void readOurs(benchmark::State& state) {
  const std::string& path = bigFile();
  for (auto _ : state) {
    const ByteBuffer content = hdutil::readInput(path);
    hdbench::opaque(content.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 16 * 1024 * 1024);
}

void readFread(benchmark::State& state) {
  const std::string& path = bigFile();
  for (auto _ : state) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    std::vector<unsigned char> content(std::filesystem::file_size(path));
    const std::size_t got = std::fread(content.data(), 1, content.size(), file);
    std::fclose(file);
    hdbench::opaque(got);
    hdbench::opaque(content.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 16 * 1024 * 1024);
}

BENCHMARK(readOurs)->Name("read_16MiB_file/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(readFread)->Name("read_16MiB_file/fread")->Unit(benchmark::kMillisecond);

}  // namespace

HDU_BENCHMARK_MAIN()
