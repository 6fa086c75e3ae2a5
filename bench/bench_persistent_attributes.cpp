// PersistentAttributes against bare zlib on the same data.
//
// A settings collection of 10,000 mixed records (six namespaces, every value
// type and id kind, nested lists):
//   build_10k/ours       GetPersistentAttributesState: the namespaces state is
//                        written, compressed (one call, level -1), framed by
//                        header and footer
//   build_10k/zlib       compress2 at level -1 of the namespaces state
//   import_10k/ours      ImportPersistentAttributesState (records taken on
//                        trust, as the importing constructor does): upgrade
//                        check, header, footer, validation, inflation, size
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
// One record holding a 64 MB data blob (64,000,000 bytes, under the default
// ceiling on the original size):
//   import_blob_64MB/ours, import_checked_blob_64MB/ours   the two imports
//   .../zlib                                            uncompress alone
//
// Hostile states, each refused; the peer is the import of an honest state of
// the size the footer claims, so the ratio shows whether refusing costs more
// than the claim:
//   refuse_inflates_1GiB_claims_1000   a 1 MB stream that inflates to 1 GiB,
//                                      footer original size 1,000
//   refuse_inflates_4GiB_claims_1000   4 MB inflating to 4 GiB, the same claim
//   refuse_claims_2GiB                 2 MB inflating to 2 GiB - 1 bytes, and
//                                      the footer says so
//   .../honest_1000                    a state whose namespaces state is
//                                      1,000 bytes, imported
//
// Counters: "allocs" (heap allocations per iteration, from the program's
// counting operator new) and "peak_KiB": the peak memory of one operation,
// measured once per case in a forked child (bench/MemoryProbe.h). After the
// speed ratios the program prints the peak memory of each pair.
//
// Goals: the checked import at least 0.5x the speed of uncompress; the
// import's peak memory at most 1.25x uncompress's; a refused hostile state
// about as cheap as an honest state of the size it claims.

#include "BenchSupport.h"
#include "DebuggingAndExceptions/CPException.h"
#include "MemoryProbe.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesNameSpaces.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
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

// ---- a 64 MB data blob ----

constexpr std::size_t kBlobSize = 64000000;

struct BlobData {
  ByteBuffer persistedState;
  ByteBuffer zlibStream;
  std::size_t nameSpacesStateSize = 0;
};

const BlobData& blobData() {
  static const BlobData instance = [] {
    // Bytes of low entropy (4 random bits each), so that zlib halves them.
    ByteBuffer blob(kBlobSize, 0);
    std::uint32_t seed = 12345;
    for (unsigned char& byte : blob) {
      seed = seed * 1664525u + 1013904223u;
      byte = static_cast<unsigned char>(seed >> 28);
    }
    AttributeBytesRawList records;
    records.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesDataBlobValue(blob)));
    blob = ByteBuffer();
    AttributeBytesNameSpaces nameSpaces(DriverVersion(7, 4, 0, 999));
    nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(4), std::move(records));
    BlobData result;
    result.nameSpacesStateSize = nameSpaces.GetAttributeBytesNameSpacesState().size();
    result.persistedState = PersistentAttributes(nameSpaces).GetPersistentAttributesState();
    result.zlibStream.assign(result.persistedState.begin() + 16, result.persistedState.end() - 13);
    std::printf("64 MB blob: namespaces state %zu bytes, persisted state %zu bytes\n", result.nameSpacesStateSize,
                result.persistedState.size());
    return result;
  }();
  return instance;
}

void importBlobOurs(bool checkEveryRecord) {
  PersistentAttributes object;
  DriverVersion version;
  if (!object.ImportPersistentAttributesState(blobData().persistedState, version, true, checkEveryRecord)) {
    std::abort();
  }
  hdbench::opaque(object);
}

void importBlobZlib() {
  const BlobData& d = blobData();
  uLongf size = static_cast<uLongf>(d.nameSpacesStateSize);
  std::unique_ptr<Bytef[]> out(new Bytef[size]);
  if (uncompress(out.get(), &size, d.zlibStream.data(), static_cast<uLong>(d.zlibStream.size())) != Z_OK) {
    std::abort();
  }
  hdbench::opaque(out);
  hdbench::opaque(size);
}

// ---- hostile states ----

// A zlib stream of `count` zero bytes at deflate's highest ratio (about 1030
// to 1), made without deflating all of them: deflate output between two full
// flushes does not depend on what came before, so the compressed form of one
// 16 MiB run of zeros is repeated, and the Adler-32 of n zeros is
// (n mod 65521) << 16 | 1.
ByteBuffer zerosStream(std::uint64_t count) {
  constexpr std::size_t kUnit = std::size_t{16} << 20;
  const auto deflateRun = [](z_stream& stream, std::size_t zeros) {
    static const ByteBuffer kZeros(kUnit, 0);
    ByteBuffer out(kUnit / 512 + 1024, 0);
    stream.next_in = const_cast<Bytef*>(kZeros.data());
    stream.avail_in = static_cast<uInt>(zeros);
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    if (deflate(&stream, Z_FULL_FLUSH) != Z_OK || stream.avail_in != 0 || stream.avail_out == 0) {
      std::abort();
    }
    out.resize(out.size() - stream.avail_out);
    return out;
  };
  z_stream stream{};
  if (deflateInit2(&stream, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY) != Z_OK) {
    std::abort();
  }
  deflateRun(stream, kUnit);  // the first run after a fresh start
  const ByteBuffer unit = deflateRun(stream, kUnit);
  const ByteBuffer rest = count % kUnit != 0 ? deflateRun(stream, count % kUnit) : ByteBuffer();
  deflateEnd(&stream);
  ByteBuffer result{0x78, 0xDA};
  for (std::uint64_t i = 0; i < count / kUnit; ++i) {
    result.append(unit);
  }
  result.append(rest);
  const std::uint32_t adler = static_cast<std::uint32_t>((count % 65521) << 16) | 1u;
  for (const unsigned char byte : {std::uint8_t{0x03}, std::uint8_t{0x00}, static_cast<std::uint8_t>(adler >> 24),
                                   static_cast<std::uint8_t>(adler >> 16), static_cast<std::uint8_t>(adler >> 8),
                                   static_cast<std::uint8_t>(adler)}) {
    result.push_back(byte);
  }
  return result;
}

// Header, stream, footer with the given original size.
ByteBuffer persistedWithClaim(const ByteBuffer& stream, std::uint32_t claimedSize) {
  ByteBuffer state = PersistentAttributesHeaderType().GetHeaderBytes();
  state.append(stream);
  for (const unsigned char byte :
       {std::uint8_t{0x01}, std::uint8_t{0xFF}, std::uint8_t{0xFF}, std::uint8_t{0xFF}, std::uint8_t{0xFF},
        static_cast<std::uint8_t>(claimedSize >> 24), static_cast<std::uint8_t>(claimedSize >> 16),
        static_cast<std::uint8_t>(claimedSize >> 8), static_cast<std::uint8_t>(claimedSize), std::uint8_t{'C'},
        std::uint8_t{'O'}, std::uint8_t{'M'}, std::uint8_t{'5'}}) {
    state.push_back(byte);
  }
  return state;
}

const ByteBuffer& hostileState(int which) {
  static const ByteBuffer inflates1GiB = persistedWithClaim(zerosStream(std::uint64_t{1} << 30), 1000);
  static const ByteBuffer inflates4GiB = persistedWithClaim(zerosStream(std::uint64_t{4} << 30), 1000);
  static const ByteBuffer claims2GiB = persistedWithClaim(zerosStream(0x7FFFFFFF), 0x7FFFFFFF);
  switch (which) {
    case 1:
      return inflates1GiB;
    case 4:
      return inflates4GiB;
    default:
      return claims2GiB;
  }
}

// A state whose namespaces state is exactly 1,000 bytes.
const ByteBuffer& honestState() {
  static const ByteBuffer state = [] {
    AttributeBytesRawList records;
    records.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesDataBlobValue(ByteBuffer())));
    AttributeBytesNameSpaces nameSpaces(DriverVersion(7, 4, 0, 999));
    nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(4), records);
    const std::size_t overhead = nameSpaces.GetAttributeBytesNameSpacesState().size();
    ByteBuffer blob(1000 - overhead, 0);
    for (std::size_t i = 0; i < blob.size(); ++i) {
      blob[i] = static_cast<unsigned char>(i * 7 % 251);
    }
    AttributeBytesRawList sized;
    sized.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesDataBlobValue(blob)));
    nameSpaces.SetNameSpace(AttributeBytesNameSpacesId(4), sized);
    if (nameSpaces.GetAttributeBytesNameSpacesState().size() != 1000) {
      std::abort();
    }
    return PersistentAttributes(nameSpaces).GetPersistentAttributesState();
  }();
  return state;
}

void refuseHostile(int which) {
  PersistentAttributes object;
  DriverVersion version;
  try {
    object.ImportPersistentAttributesState(hostileState(which), version, true, true);
  } catch (const CPException& e) {
    hdbench::opaque(e);
    return;
  }
  std::abort();  // every hostile state must be refused
}

void importHonest() {
  PersistentAttributes object;
  DriverVersion version;
  if (!object.ImportPersistentAttributesState(honestState(), version, true, true)) {
    std::abort();
  }
  hdbench::opaque(object);
}

// Prints the probe's own cost once, before the first case.
void showProbeBaseline() {
  static const bool shown = [] {
    data();
    std::printf("peak_KiB of an empty operation (what the probe itself costs): %.0f KiB\n", hdbench::peakKiB([] {}));
    return true;
  }();
  hdbench::opaque(shown);
}

template <class Operation>
void run(benchmark::State& state, const std::string& name, std::size_t bytesPerOperation, Operation operation) {
  showProbeBaseline();
  const double peak = hdbench::peakKiB(operation);
  hdbench::recordPeak(name, peak);
  hdbench::AllocationCounter counter;
  for (auto _ : state) {
    operation();
  }
  state.counters["allocs"] =
      benchmark::Counter(static_cast<double>(counter.allocations()) / static_cast<double>(state.iterations()));
  state.counters["peak_KiB"] = peak;
  if (bytesPerOperation != 0) {
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * static_cast<long long>(bytesPerOperation));
  }
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

template <class Operation>
void add(const std::string& name, std::size_t (*bytes)(), Operation operation) {
  benchmark::RegisterBenchmark(name.c_str(), [name, bytes, operation](benchmark::State& state) {
    run(state, name, bytes(), operation);
  })->Unit(benchmark::kMicrosecond);
}

std::size_t tenThousandBytes() {
  return data().nameSpacesState.size();
}
std::size_t blobBytes() {
  return blobData().nameSpacesStateSize;
}
std::size_t noBytes() {
  return 0;
}

void registerAll() {
  add("build_10k/ours", tenThousandBytes, buildOurs);
  add("build_10k/zlib", tenThousandBytes, buildZlib);
  add("import_10k/ours", tenThousandBytes, [] { importOurs(false); });
  add("import_10k/zlib", tenThousandBytes, importZlib);
  add("import_checked_10k/ours", tenThousandBytes, [] { importOurs(true); });
  add("import_checked_10k/zlib", tenThousandBytes, importZlib);
  add("roundtrip_10k/ours", tenThousandBytes, [] {
    buildOurs();
    importOurs(false);
  });
  add("roundtrip_10k/zlib", tenThousandBytes, [] {
    buildZlib();
    importZlib();
  });
  add("namespaces_state_10k", tenThousandBytes, writeNameSpacesState);
  add("namespaces_import_10k", tenThousandBytes, importNameSpacesState);
  add("import_blob_64MB/ours", blobBytes, [] { importBlobOurs(false); });
  add("import_blob_64MB/zlib", blobBytes, importBlobZlib);
  add("import_checked_blob_64MB/ours", blobBytes, [] { importBlobOurs(true); });
  add("import_checked_blob_64MB/zlib", blobBytes, importBlobZlib);
  for (const auto& [name, which] : {std::pair<const char*, int>{"refuse_inflates_1GiB_claims_1000", 1},
                                    std::pair<const char*, int>{"refuse_inflates_4GiB_claims_1000", 4},
                                    std::pair<const char*, int>{"refuse_claims_2GiB", 2}}) {
    const int hostile = which;
    add(std::string(name) + "/ours", noBytes, [hostile] { refuseHostile(hostile); });
    add(std::string(name) + "/honest_1000", noBytes, importHonest);
  }
}

const bool kRegistered = (registerAll(), true);

}  // namespace

int main(int argc, char** argv) {
  const int result = hdbench::runAll(argc, argv);
  hdbench::printPeakRatios();
  return result;
}
