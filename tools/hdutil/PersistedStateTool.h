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
// Size and memory. A state whose footer announces more than kMaximumStateSize
// (64 MiB, the library's own ceiling, CompressedBuffer::
// kDefaultMaximumOriginalSize) of settings is refused before anything is
// decompressed; so is an input file above 64 MiB (see StateInput.h). What is
// read is held once: the decompressed settings, which the namespaces' lists
// share. Records are read one at a time, in place (RecordWalker: a data blob
// is never copied), the canonical-form check streams (CanonicalForm.h), and
// the text report, the JSON and the differences are written as the records
// are read, so nothing grows with the output. At its peak inspect holds the
// input once and the settings once, plus a few hundred kilobytes, text and
// --json alike: two copies of the settings at most (a state stored at zlib
// level 0, not compressed, adds the settings' written form and its stored
// form while its canonical form is checked: four copies). diff holds both
// states' settings, one input at a time, and while a namespace is compared
// an index of 8 bytes a record of one of its two lists. bench_hdutil_memory
// measures it. So no state costs hdutil more than a few hundred megabytes,
// within reach of the 32-bit build.
//
// Output. Every line of the text report and of the differences passes
// through printableText, so that names and strings from the state cannot
// start lines of their own or reach the terminal as control codes.

#include "Json.h"

#include "Compression/CompressedBuffer.h"
#include "General/ByteBuffer.h"
#include "General/DriverVersion.h"
#include "attributebytes/AttributeBytesNameSpaces.h"

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace hdutil {

inline constexpr std::size_t kMaximumStateSize = CompressedBuffer::kDefaultMaximumOriginalSize;

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
// That document, as writeJson writes it, streamed to `out` as the records are
// read (what inspect --json writes; it never holds the document).
void writePersistedStateJson(std::ostream& out, const PersistedState& state, const std::string& source);
ByteBuffer encodePersistedState(const Json& document);

// Writes which records were added, removed or changed between two states,
// per namespace; returns whether there was any difference.
bool printDifferences(std::ostream& out, const PersistedState& before, const PersistedState& after);

}  // namespace hdutil
