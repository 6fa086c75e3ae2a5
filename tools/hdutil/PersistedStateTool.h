#pragma once
// hdutil's inspector: a persisted settings state read, shown, compared and
// written back.

#include "Json.h"

#include "General/ByteBuffer.h"
#include "General/DriverVersion.h"
#include "attributebytes/AttributeBytesNameSpaces.h"

#include <cstdint>
#include <ostream>
#include <string>

namespace hdutil {

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
  // how long the library's own form of the state is.
  bool canonical = false;
  std::size_t canonicalSize = 0;
  // The namespaces state inside.
  DriverVersion driverVersion;
  AttributeBytesNameSpaces nameSpaces;
};

// Imports a persisted state with the library (every check of the format);
// throws the library's exceptions for bad input.
PersistedState loadPersistedState(const ByteBuffer& state);

// The readable report.
void printPersistedState(std::ostream& out, const PersistedState& state, const std::string& source);
// The same facts as JSON; encodePersistedState turns it back into the bytes.
Json persistedStateToJson(const PersistedState& state, const std::string& source);
ByteBuffer encodePersistedState(const Json& document);

// Writes which records were added, removed or changed between two states,
// per namespace; returns whether there was any difference.
bool printDifferences(std::ostream& out, const PersistedState& before, const PersistedState& after);

}  // namespace hdutil
