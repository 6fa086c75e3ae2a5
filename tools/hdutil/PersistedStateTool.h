#pragma once
// hdutil's inspector: a persisted settings state read, shown, compared and
// written back.
//
// What is shown. A state is imported with every check of its format, then
// every record at every level is read. A state whose namespaces hold a
// top-level record that is not a namespace list (written by an older library
// or by other code; the library's checked import refuses it and the library
// no longer writes it) is still shown, with each such record named on an
// "Unusual" line; encode refuses to write it, as the library does. Lists
// nested deeper than PersistentAttributes::kMaximumCheckedListDepth (32)
// levels are refused, as the library's checked import refuses them.
//
// Size. A state whose footer announces more than kMaximumStateSize (8 MiB)
// of settings is refused before anything is decompressed. Real states are
// far smaller (a registry value holds at most about 1 MB), and what is read
// is held several times over: the records of a list while they are shown,
// and for --json a document of about a hundred times the settings' size. So
// any state, however it was made, costs hdutil at most about 1 GB.
//
// Output. Every line of the text report and of the differences passes
// through printableText, so that names and strings from the state cannot
// start lines of their own or reach the terminal as control codes.

#include "Json.h"

#include "General/ByteBuffer.h"
#include "General/DriverVersion.h"
#include "attributebytes/AttributeBytesNameSpaces.h"

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace hdutil {

inline constexpr std::size_t kMaximumStateSize = std::size_t{8} * 1024 * 1024;

struct PersistedState {
  std::size_t totalSize = 0;
  // The 16-byte header as it stands in the input.
  bool hasHeader = false;
  std::uint32_t headerSize = 0;
  std::uint32_t formatVersion = 0;
  std::uint16_t creatorVersion[4] = {0, 0, 0, 0};
  bool currentHeader = false;
  // The compressed part and its footer.
  std::size_t compressedSize = 0;
  unsigned footerSize = 0;
  int compressionFormat = 0;
  int compressionLevel = 0;
  long originalSize = 0;
  // Whether encoding the same facts gives back exactly the input bytes, and
  // how long the library's own form of the state is; when the library does
  // not write these settings at all, why (its message).
  bool canonical = false;
  std::size_t canonicalSize = 0;
  std::string notWritable;
  // What is unusual about the state without keeping it from being shown.
  std::vector<std::string> unusual;
  // The namespaces state inside.
  DriverVersion driverVersion;
  AttributeBytesNameSpaces nameSpaces;
};

// How writePersistedState writes namespaces.
struct StateWriting {
  // Keep this creator version in the header (otherwise the library's own).
  bool keepCreatorVersion = false;
  std::uint16_t creatorVersion[4] = {0, 0, 0, 0};
  // The zlib level, -1 (zlib's default, the library's choice) to 9.
  int compressionLevel = -1;
};

// Imports a persisted state with the library and reads every record (see
// above); throws the library's exceptions, or InputError, for bad input.
PersistedState loadPersistedState(const ByteBuffer& state);

// The namespaces as a persisted state, written by the library; throws the
// library's exceptions for namespaces it does not write.
ByteBuffer writePersistedState(const AttributeBytesNameSpaces& nameSpaces, const StateWriting& writing);

// The readable report.
void printPersistedState(std::ostream& out, const PersistedState& state, const std::string& source);
// The same facts as JSON; encodePersistedState turns it back into the bytes.
Json persistedStateToJson(const PersistedState& state, const std::string& source);
ByteBuffer encodePersistedState(const Json& document);

// Writes which records were added, removed or changed between two states,
// per namespace; returns whether there was any difference.
bool printDifferences(std::ostream& out, const PersistedState& before, const PersistedState& after);

}  // namespace hdutil
