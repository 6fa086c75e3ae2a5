// PersistentAttributes against bare zlib on the same data: a settings
// collection of 10,000 mixed records (six namespaces, every value type and id
// kind, nested lists).
//
//   build_10k/ours       GetPersistentAttributesState: the namespaces state is
//                        written, compressed (one call, level -1), framed by
//                        header and footer
//   build_10k/zlib       compress2 at level -1 of the namespaces state
//   import_10k/ours      ImportPersistentAttributesState (records taken on
//                        trust, as the importing constructor does): upgrade
//                        check, header, footer, validation, uncompress, size
//                        check, namespaces import
//   import_10k/zlib      uncompress of the same stream into a buffer of the
//                        original size
//   import_checked_10k/  the same import, every record parsed
//                        (checkEveryRecord), against the same uncompress
//   roundtrip_10k/       build then import, against compress2 then uncompress
//   namespaces_state_10k   (no peer) the part of build_10k/ours that is not
//                          zlib: writing the namespaces state
//   namespaces_import_10k  (no peer) the part of import_10k/ours that is not
//                          zlib: importing the decompressed namespaces state
//
// Counters: "allocs" (heap allocations per iteration, from the program's
// counting operator new) and "peak_KiB": the peak memory of one operation,
// measured once per case in a forked child (its resident set high-water mark,
// reset just before the operation, minus its resident set at that moment, after
// the inherited free heap memory has been returned to the system).
//
// The probe's own cost (an empty operation) is printed once at the start.
//
// Goal: ours at most 25% slower than zlib alone (a ratio of 0.8 or more in
// the "ratio" lines).

#include "BenchSupport.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesNameSpaces.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

namespace {

constexpr int kRecords = 10000;

// One record of a type chosen by `i` (cycling through every value type),
// with values that vary like real settings: small numbers, repeated names.
AttributeBytes makeRecord(int i) {
  const long feature = 100 + i;
  const CXString name = CXString::fromUtf8("Feature" + std::to_string(i % 97) + "Option" + std::to_string(i % 13));
  switch (i % 11) {
    case 0:
      return AttributeBytes(AttributeBytesFeatureId(feature), AttributeBytesOptionValue(AttributeBytesValueId(i % 50)));
    case 1:
      return AttributeBytes(AttributeBytesFeatureId(feature), AttributeBytesIntegerValue(i * 37 % 1000));
    case 2:
      return AttributeBytes(AttributeBytesNewFeatureId(name), AttributeBytesStringValue(name));
    case 3:
      return AttributeBytes(AttributeBytesValueId(feature), AttributeBytesBooleanValue(i % 3 == 0, i % 7 != 0));
    case 4:
      return AttributeBytes(AttributeBytesCapabilityId(feature, static_cast<short>(i % 5)),
                            AttributeBytesRangeValue(1, i % 999));
    case 5:
      return AttributeBytes(AttributeBytesFeatureId(feature),
                            AttributeBytesRangeOfDimensionValue(Dimension(i % 300, DIMENSION_UNIT_MILLIMETERS),
                                                                Dimension(297, DIMENSION_UNIT_MILLIMETERS)));
    case 6:
      return AttributeBytes(AttributeBytesNewCapabilityId(name, 2),
                            AttributeBytesDimensionValue(Dimension(i % 100, DIMENSION_UNIT_TENTHS_OF_MILLIMETERS)));
    case 7:
      return AttributeBytes(AttributeBytesListOfValuesItemId(i),
                            AttributeBytesResolutionValue(600 * (1 + i % 2), 1200, static_cast<short>(i % 4)));
    case 8: {
      ByteBuffer blob;
      for (int b = 0; b < 24; ++b) {
        blob.push_back(static_cast<unsigned char>((i + b * b) & 0xFF));
      }
      return AttributeBytes(AttributeBytesFeatureId(feature), AttributeBytesDataBlobValue(blob));
    }
    case 9: {
      AttributeBytesRawList inner;
      for (int item = 0; item < 3; ++item) {
        inner.AddAttributeBytes(
            AttributeBytes(AttributeBytesListOfValuesItemId(item), AttributeBytesIntegerValue(i % 10 + item)));
      }
      return AttributeBytes(AttributeBytesFeatureId(feature), AttributeBytesListValue(1, inner));
    }
    default:
      return AttributeBytes(AttributeBytesFeatureId(feature),
                            AttributeBytesDateTimeValue(UtcTime(1700000000 + 3600LL * (i % 500))));
  }
}

struct Data {
  PersistentAttributes object;
  ByteBuffer nameSpacesState;  // what zlib gets
  ByteBuffer persistedState;   // what our import gets
  ByteBuffer zlibStream;       // what uncompress gets
};

const Data& data() {
  static const Data instance = [] {
    AttributeBytesNameSpaces nameSpaces(DriverVersion(7, 4, 0, 999));
    AttributeBytesRawList lists[6];
    for (int i = 0; i < kRecords; ++i) {
      lists[i % 6].AddAttributeBytes(makeRecord(i));
    }
    for (long id = 1; id <= 6; ++id) {
      nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(id), lists[id - 1]);
    }
    Data result{PersistentAttributes(nameSpaces), nameSpaces.GetAttributeBytesNameSpacesState(), ByteBuffer(),
                ByteBuffer()};
    result.persistedState = result.object.GetPersistentAttributesState();
    result.zlibStream.assign(result.persistedState.begin() + 16, result.persistedState.end() - 13);
    std::printf("10,000 records: namespaces state %zu bytes, persisted state %zu bytes (zlib stream %zu bytes)\n",
                result.nameSpacesState.size(), result.persistedState.size(), result.zlibStream.size());
    return result;
  }();
  return instance;
}

template <class Operation>
double peakKiB(Operation operation);

// ---- the operations, shared by the timed loops and the memory probe ----

void buildOurs() {
  ByteBuffer state;
  data().object.GetPersistentAttributesState(state);
  hdbench::opaque(state);
}

void buildZlib() {
  const ByteBuffer& in = data().nameSpacesState;
  uLongf size = compressBound(static_cast<uLong>(in.size()));
  std::unique_ptr<Bytef[]> out(new Bytef[size]);
  if (compress2(out.get(), &size, in.data(), static_cast<uLong>(in.size()), Z_DEFAULT_COMPRESSION) != Z_OK) {
    std::abort();
  }
  hdbench::opaque(out);
  hdbench::opaque(size);
}

void importOurs(bool checkEveryRecord) {
  PersistentAttributes object;
  DriverVersion version;
  if (!object.ImportPersistentAttributesState(data().persistedState, version, true, checkEveryRecord)) {
    std::abort();
  }
  hdbench::opaque(object);
}

void importZlib() {
  const Data& d = data();
  uLongf size = static_cast<uLongf>(d.nameSpacesState.size());
  std::unique_ptr<Bytef[]> out(new Bytef[size]);
  if (uncompress(out.get(), &size, d.zlibStream.data(), static_cast<uLong>(d.zlibStream.size())) != Z_OK) {
    std::abort();
  }
  hdbench::opaque(out);
  hdbench::opaque(size);
}

// ---- peak memory of one operation, in a forked child ----

long readStatusKiB(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const std::size_t length = std::strlen(field);
  while (std::getline(status, line)) {
    if (line.compare(0, length, field) == 0 && line.size() > length && line[length] == ':') {
      return std::stol(line.substr(length + 1));
    }
  }
  return -1;
}

template <class Operation>
double peakKiB(Operation operation) {
  int channel[2];
  if (pipe(channel) != 0) {
    return -1;
  }
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    malloc_trim(0);
    long result = -1;
    // "5" resets the resident set high-water mark (VmHWM) to the current size.
    if (std::FILE* clear = std::fopen("/proc/self/clear_refs", "w")) {
      const bool reset = std::fputs("5", clear) >= 0;
      if (std::fclose(clear) == 0 && reset) {
        const long before = readStatusKiB("VmRSS");
        operation();
        result = readStatusKiB("VmHWM") - before;
      }
    }
    const ssize_t written = write(channel[1], &result, sizeof result);
    _exit(written == static_cast<ssize_t>(sizeof result) ? 0 : 1);
  }
  close(channel[1]);
  long result = -1;
  if (child < 0 || read(channel[0], &result, sizeof result) != static_cast<ssize_t>(sizeof result)) {
    result = -1;
  }
  close(channel[0]);
  if (child > 0) {
    int status = 0;
    waitpid(child, &status, 0);
  }
  return static_cast<double>(result);
}

// Prints the probe's own cost once, before the first case.
void showProbeBaseline() {
  static const bool shown = [] {
    data();
    std::printf("peak_KiB of an empty operation (what the probe itself costs): %.0f KiB\n", peakKiB([] {}));
    return true;
  }();
  hdbench::opaque(shown);
}

template <class Operation>
void run(benchmark::State& state, Operation operation) {
  showProbeBaseline();
  const double peak = peakKiB(operation);
  hdbench::AllocationCounter counter;
  for (auto _ : state) {
    operation();
  }
  state.counters["allocs"] =
      benchmark::Counter(static_cast<double>(counter.allocations()) / static_cast<double>(state.iterations()));
  state.counters["peak_KiB"] = peak;
  state.SetBytesProcessed(static_cast<long long>(state.iterations()) *
                          static_cast<long long>(data().nameSpacesState.size()));
}

void writeNameSpacesState() {
  const ByteBuffer state = data().object.GetAttributeBytesNameSpaces().GetAttributeBytesNameSpacesState();
  hdbench::opaque(state);
}

void importNameSpacesState() {
  AttributeBytesNameSpaces nameSpaces;
  hdbench::opaque(nameSpaces.ImportAttributeBytesNameSpacesState(data().nameSpacesState));
  hdbench::opaque(nameSpaces);
}

void BM_NameSpacesState(benchmark::State& state) {
  run(state, writeNameSpacesState);
}
void BM_NameSpacesImport(benchmark::State& state) {
  run(state, importNameSpacesState);
}
void BM_BuildOurs(benchmark::State& state) {
  run(state, buildOurs);
}
void BM_BuildZlib(benchmark::State& state) {
  run(state, buildZlib);
}
void BM_ImportOurs(benchmark::State& state) {
  run(state, [] { importOurs(false); });
}
void BM_ImportZlib(benchmark::State& state) {
  run(state, importZlib);
}
void BM_ImportCheckedOurs(benchmark::State& state) {
  run(state, [] { importOurs(true); });
}
void BM_RoundTripOurs(benchmark::State& state) {
  run(state, [] {
    buildOurs();
    importOurs(false);
  });
}
void BM_RoundTripZlib(benchmark::State& state) {
  run(state, [] {
    buildZlib();
    importZlib();
  });
}

}  // namespace

BENCHMARK(BM_BuildOurs)->Name("build_10k/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BuildZlib)->Name("build_10k/zlib")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ImportOurs)->Name("import_10k/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ImportZlib)->Name("import_10k/zlib")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ImportCheckedOurs)->Name("import_checked_10k/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ImportZlib)->Name("import_checked_10k/zlib")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RoundTripOurs)->Name("roundtrip_10k/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RoundTripZlib)->Name("roundtrip_10k/zlib")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_NameSpacesState)->Name("namespaces_state_10k")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_NameSpacesImport)->Name("namespaces_import_10k")->Unit(benchmark::kMicrosecond);

HDU_BENCHMARK_MAIN()
