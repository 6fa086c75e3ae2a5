#include "PersistedStateTool.h"

#include "PrintableText.h"
#include "SettingsModel.h"
#include "StateInput.h"

#include "Compression/CompressedBuffer.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Formatter.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

namespace hdutil {

namespace {

using InternalHaldenCP::formatToStdString;

constexpr std::size_t kHeaderSize = PersistentAttributesHeaderType::kHeaderSize;
constexpr std::uint32_t kCurrentFormatVersion = PersistentAttributesHeaderType::kCurrentFormatVersion;
// The longest compressed-buffer footer.
constexpr std::size_t kLongestFooterSize = 13;

std::uint32_t readLittleEndian32(const ByteBuffer& bytes, std::size_t at) {
  return static_cast<std::uint32_t>(bytes[at]) | (static_cast<std::uint32_t>(bytes[at + 1]) << 8) |
         (static_cast<std::uint32_t>(bytes[at + 2]) << 16) | (static_cast<std::uint32_t>(bytes[at + 3]) << 24);
}

std::uint16_t readLittleEndian16(const ByteBuffer& bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8));
}

void writeLittleEndian16(ByteBuffer& bytes, std::size_t at, std::uint16_t value) {
  bytes[at] = static_cast<unsigned char>(value);
  bytes[at + 1] = static_cast<unsigned char>(value >> 8);
}

// Every line of the reports leaves through here (see the header).
void writeLine(std::ostream& out, std::string_view line) {
  out << printableText(line) << '\n';
}

// The footer of the compressed part that ends `bytes`. The footer rules
// depend on the length of the data only up to the longest footer, so its last
// 13 bytes (or all of it, when shorter) are enough.
bool readFooter(const ByteBuffer& bytes, std::size_t compressedStart, long& originalSize, int& parameter,
                CompressionFormatEnum& format, unsigned& footerSize) {
  const std::size_t compressedSize = bytes.size() - std::min(compressedStart, bytes.size());
  const std::size_t tailSize = std::min(compressedSize, kLongestFooterSize);
  const ByteBuffer tail(bytes.end() - static_cast<std::ptrdiff_t>(tailSize), bytes.end());
  return CompressedBuffer::GetFooterInfo(tail, originalSize, parameter, format, footerSize, false);
}

std::string versionWords(const DriverVersion& version) {
  unsigned short w0 = 0, w1 = 0, w2 = 0, w3 = 0;
  version.GetWordComponents(w0, w1, w2, w3);
  return formatToStdString("%u, %u, %u, %u", w0, w1, w2, w3);
}

Json versionToJson(const DriverVersion& version) {
  unsigned short words[4] = {0, 0, 0, 0};
  version.GetWordComponents(words[0], words[1], words[2], words[3]);
  Json array = Json::array();
  for (const unsigned short word : words) {
    array.push_back(static_cast<int>(word));
  }
  return array;
}

std::vector<std::uint16_t> wordsFromJson(const Json& json, std::size_t count, const std::string& where) {
  const Json::array_t& items = jsonArray(json, where);
  if (items.size() != count) {
    throw JsonError(where + " must hold " + std::to_string(count) + " numbers");
  }
  std::vector<std::uint16_t> words;
  for (const Json& item : items) {
    const long long value = jsonInteger(item, where + "[]");
    if (value < 0 || value > 0xFFFF) {
      throw JsonError(where + " holds a number outside 0 to 65535");
    }
    words.push_back(static_cast<std::uint16_t>(value));
  }
  return words;
}

// The readable name of a namespace-level record ("Namespace 1 (DataModelDocProp)").
std::string nameSpaceTitle(const AttributeBytesId& id) {
  if (id.GetAttributeBytesIdType() == ABIDE_NAMESPACE) {
    const long number = static_cast<const AttributeBytesNameSpacesId&>(id).GetNameSpaceId();
    const char* name = PersistentAttributes::GetWellKnownNameSpaceName(number);
    return *name == '\0' ? formatToStdString("Namespace %ld", number)
                         : formatToStdString("Namespace %ld (%s)", number, name);
  }
  return "Record " + idText(id);
}

// One record: id, value type and value in columns (the id column narrows as
// nested lists indent, so that the columns stay aligned).
std::string recordLine(const AttributeBytes& record, int indent = 0) {
  const AttributeBytesValue& value = record.GetAttributeBytesValue();
  const int idWidth = indent < 40 ? 50 - indent : 10;
  std::string line = formatToStdString("%-*s %-16s %s", idWidth, idText(record.GetAttributeBytesId()),
                                       valueTypeName(value), valueText(value));
  if (!value.IsSpecified()) {
    line += "  <unspecified>";
  }
  return line;
}

// Recursion is bounded: loadPersistedState refuses lists nested deeper than 32.
void printRecords(std::ostream& out, const AttributeBytesRawList& list, const std::string& indent) {
  for (const std::unique_ptr<AttributeBytes>& record : readAllRecords(list)) {
    writeLine(out, indent + recordLine(*record, static_cast<int>(indent.size()) - 2));
    const AttributeBytesValue& value = record->GetAttributeBytesValue();
    if (value.IsList()) {
      printRecords(out, value.GetListValue().GetValue(), indent + "    ");
    }
  }
}

std::vector<std::unique_ptr<AttributeBytes>> nameSpaceRecords(const AttributeBytesNameSpaces& nameSpaces) {
  return readAllRecords(AttributeBytesRawList(nameSpaces.GetNameSpacesIndexedList()));
}

bool isNameSpaceList(const AttributeBytes& record) {
  return record.GetAttributeBytesId().GetAttributeBytesIdType() == ABIDE_NAMESPACE &&
         record.GetAttributeBytesValue().IsList();
}

// Reads every record at every level, as the library's checked import does,
// but notes top-level records that are not namespace lists instead of
// refusing them. A work list instead of recursion, so that no input can
// exhaust the stack; a list is finished before the lists inside it are read.
std::vector<std::string> examineRecords(const AttributeBytesNameSpaces& nameSpaces) {
  struct PendingList {
    std::unique_ptr<AttributeBytes> owner;  // the record whose value is the list
    unsigned depth;                         // 1 for a namespace's own list
  };
  std::vector<std::string> unusual;
  std::vector<PendingList> pending;
  for (std::unique_ptr<AttributeBytes>& record : nameSpaceRecords(nameSpaces)) {
    if (!isNameSpaceList(*record)) {
      unusual.push_back("a top-level record that is not a namespace list: " + idText(record->GetAttributeBytesId()) +
                        " " + valueTypeName(record->GetAttributeBytesValue()));
    }
    if (record->GetAttributeBytesValue().IsList()) {
      pending.push_back({std::move(record), 1});
    }
  }
  while (!pending.empty()) {
    const PendingList current = std::move(pending.back());
    pending.pop_back();
    const AttributeBytesRawList& list = current.owner->GetAttributeBytesValue().GetListValue().GetValue();
    const std::unique_ptr<AttributeBytesListIterator> iterator = list.CreateIterator();
    while (std::unique_ptr<AttributeBytes> record = list.GetNextAttributeBytes(*iterator)) {
      if (!record->GetAttributeBytesValue().IsList()) {
        continue;
      }
      if (current.depth >= PersistentAttributes::kMaximumCheckedListDepth) {
        throw InputError(formatToStdString("the state holds list values nested deeper than %u levels",
                                           static_cast<unsigned>(PersistentAttributes::kMaximumCheckedListDepth)));
      }
      pending.push_back({std::move(record), current.depth + 1});
    }
  }
  return unusual;
}

// The key of a record in a comparison: its id part.
std::string idKey(const AttributeBytesId& id) {
  const ByteBuffer bytes = id.GetTypeAndIdentifierState();
  return std::string(bytes.begin(), bytes.end());
}

std::string valueKey(const AttributeBytesValue& value) {
  const ByteBuffer bytes = value.GetTypeAndValueState();
  return std::string(bytes.begin(), bytes.end());
}

void printHeader(std::ostream& out, const PersistedState& state) {
  writeLine(out, formatToStdString("  header size       %u bytes", state.headerSize));
  writeLine(out, formatToStdString("  format version    0x%08X%s", state.formatVersion,
                                   state.currentHeader ? " (current)" : " (older, upgraded when read)"));
  writeLine(out, formatToStdString("  creator version   %u.%u.%u.%u", state.creatorVersion[0], state.creatorVersion[1],
                                   state.creatorVersion[2], state.creatorVersion[3]));
}

// The library writes the state with its own creator version and zlib's
// default level; these are the settings that give back the input.
StateWriting writingOf(const PersistedState& state) {
  StateWriting writing;
  writing.keepCreatorVersion = state.currentHeader;
  std::copy(std::begin(state.creatorVersion), std::end(state.creatorVersion), std::begin(writing.creatorVersion));
  writing.compressionLevel = state.compressionLevel;
  return writing;
}

}  // namespace

PersistedState loadPersistedState(const ByteBuffer& bytes) {
  PersistedState state;
  state.totalSize = bytes.size();
  state.hasHeader = bytes.size() >= kHeaderSize && readLittleEndian32(bytes, 0) == kHeaderSize;
  const std::size_t compressedStart = state.hasHeader ? kHeaderSize : 0;

  // Nothing is decompressed beyond the limit: the footer is read first.
  long originalSize = 0;
  int parameter = -1;
  auto format = static_cast<CompressionFormatEnum>(1);
  unsigned int footerSize = 0;
  const bool hasFooter = readFooter(bytes, compressedStart, originalSize, parameter, format, footerSize);
  if (hasFooter && originalSize > 0 && static_cast<unsigned long>(originalSize) > kMaximumStateSize) {
    throw InputError(formatToStdString("the state holds %ld bytes of settings, above hdutil's limit of %u MiB",
                                       originalSize,
                                       static_cast<unsigned>(kMaximumStateSize / (std::size_t{1024} * 1024))));
  }

  // Every check of the format; the records are read by examineRecords.
  PersistentAttributes persistent;
  DriverVersion version;
  persistent.ImportPersistentAttributesState(bytes, version, true, false);
  state.unusual = examineRecords(persistent.GetAttributeBytesNameSpaces());
  state.driverVersion = version;
  state.nameSpaces = std::move(persistent.GetAttributeBytesNameSpaces());

  // The header as it stands in the input (an older one is upgraded by the
  // import; a state without any header is shown as such).
  if (state.hasHeader) {
    state.headerSize = readLittleEndian32(bytes, 0);
    state.formatVersion = readLittleEndian32(bytes, 4);
    for (std::size_t i = 0; i < 4; ++i) {
      state.creatorVersion[i] = readLittleEndian16(bytes, 8 + 2 * i);
    }
  }
  state.currentHeader = state.hasHeader && state.formatVersion == kCurrentFormatVersion;
  if (hasFooter) {
    state.originalSize = originalSize;
    state.compressionLevel = parameter;
    state.compressionFormat = static_cast<int>(format);
    state.footerSize = footerSize;
    state.compressedSize = bytes.size() - compressedStart - footerSize;
  }

  // Whether encode gives back these very bytes (older headers, trailing bytes,
  // non-canonical flag bytes and the like come back in the library's form).
  try {
    const ByteBuffer canonical = writePersistedState(state.nameSpaces, writingOf(state));
    state.canonicalSize = canonical.size();
    state.canonical = canonical == bytes;
  } catch (const CPException& e) {
    state.notWritable = e.getExceptionMessage();
  }
  return state;
}

ByteBuffer writePersistedState(const AttributeBytesNameSpaces& nameSpaces, const StateWriting& writing) {
  ByteBuffer bytes = PersistentAttributes(nameSpaces).GetPersistentAttributesState();
  if (writing.keepCreatorVersion) {
    for (std::size_t i = 0; i < 4; ++i) {
      writeLittleEndian16(bytes, 8 + 2 * i, writing.creatorVersion[i]);
    }
  }
  // Another zlib level than the library's default: compress again at that level.
  if (writing.compressionLevel != -1) {
    ZlibCompressedBuffer zlib(writing.compressionLevel);
    zlib.CompressBuffer(nameSpaces.GetAttributeBytesNameSpacesState());
    bytes.resize(kHeaderSize);
    bytes.append(zlib.GetData());
  }
  return bytes;
}

void printPersistedState(std::ostream& out, const PersistedState& state, const std::string& source) {
  writeLine(out, "Persisted settings state: " + source + ", " + std::to_string(state.totalSize) + " bytes");
  writeLine(out, "Header");
  if (!state.hasHeader) {
    writeLine(out, "  none: an older state without header (upgraded when read)");
  } else {
    printHeader(out, state);
  }
  writeLine(out, "Compressed settings");
  writeLine(out, formatToStdString("  compression       %s (format %d), level %d, %u-byte footer",
                                   state.compressionFormat == 1 ? "zlib" : "cabinet", state.compressionFormat,
                                   state.compressionLevel, state.footerSize));
  writeLine(out, formatToStdString("  sizes             %u bytes compressed, %ld bytes original",
                                   static_cast<unsigned>(state.compressedSize), state.originalSize));
  if (state.canonical) {
    writeLine(out, "Canonical form      yes (encode of inspect --json gives back these bytes)");
  } else if (!state.notWritable.empty()) {
    writeLine(out, "Canonical form      no: the library does not write these settings (" + state.notWritable + ")");
  } else {
    writeLine(out, formatToStdString(
                       "Canonical form      no: encode writes the same settings in the library's form (%u bytes)",
                       static_cast<unsigned>(state.canonicalSize)));
  }
  for (const std::string& note : state.unusual) {
    writeLine(out, "Unusual             " + note);
  }
  writeLine(out, formatToStdString("Driver version      %s  [%s]",
                                   state.driverVersion.GetVersionDisplayString().utf8StdString(),
                                   versionWords(state.driverVersion)));
  const std::vector<std::unique_ptr<AttributeBytes>> nameSpaces = nameSpaceRecords(state.nameSpaces);
  writeLine(out, "Namespaces          " + std::to_string(nameSpaces.size()));
  for (const std::unique_ptr<AttributeBytes>& nameSpace : nameSpaces) {
    const AttributeBytesValue& value = nameSpace->GetAttributeBytesValue();
    writeLine(out, "");
    const std::string title = nameSpaceTitle(nameSpace->GetAttributeBytesId());
    if (!value.IsList()) {
      writeLine(out, title + ": " + recordLine(*nameSpace));
      continue;
    }
    const AttributeBytesListValue& list = value.GetListValue();
    writeLine(out,
              title + formatToStdString(", %u records, kind of list %u%s", list.GetValue().GetAttributeBytesCount(),
                                        static_cast<unsigned>(list.GetKindOfList()),
                                        value.IsSpecified() ? "" : ", <unspecified>"));
    printRecords(out, list.GetValue(), "  ");
  }
}

Json persistedStateToJson(const PersistedState& state, const std::string& source) {
  Json document = Json::object();
  document["source"] = source;
  document["totalSize"] = state.totalSize;
  document["canonical"] = state.canonical;
  if (!state.unusual.empty()) {
    document["unusual"] = state.unusual;
  }
  Json header = Json::object();
  header["present"] = state.hasHeader;
  header["headerSize"] = state.headerSize;
  header["formatVersion"] = formatToStdString("0x%08X", state.formatVersion);
  header["current"] = state.currentHeader;
  Json creator = Json::array();
  for (const std::uint16_t word : state.creatorVersion) {
    creator.push_back(static_cast<int>(word));
  }
  header["creatorVersion"] = std::move(creator);
  document["header"] = std::move(header);
  Json compression = Json::object();
  compression["format"] = state.compressionFormat;
  compression["level"] = state.compressionLevel;
  compression["footerSize"] = state.footerSize;
  compression["compressedSize"] = state.compressedSize;
  compression["originalSize"] = static_cast<long long>(state.originalSize);
  document["compression"] = std::move(compression);
  document["driverVersion"] = versionToJson(state.driverVersion);
  document["driverVersionText"] = state.driverVersion.GetVersionDisplayString().utf8StdString();
  Json nameSpaces = Json::array();
  for (const std::unique_ptr<AttributeBytes>& record : nameSpaceRecords(state.nameSpaces)) {
    nameSpaces.push_back(recordToJson(*record));
  }
  document["namespaces"] = std::move(nameSpaces);
  return document;
}

ByteBuffer encodePersistedState(const Json& document) {
  const std::vector<std::uint16_t> version =
      wordsFromJson(jsonMember(document, "driverVersion", "the document"), 4, "driverVersion");
  AttributeBytesNameSpaces nameSpaces(DriverVersion(version[0], version[1], version[2], version[3]));
  const Json::array_t& records = jsonArray(jsonMember(document, "namespaces", "the document"), "namespaces");
  for (std::size_t i = 0; i < records.size(); ++i) {
    nameSpaces.GetNameSpacesIndexedList().AddAttributeBytes(
        recordFromJson(records[i], "namespaces[" + std::to_string(i) + "]"));
  }

  // The creator version as the document gives it (a state keeps its
  // creator's stamp). States are always written with the current header: an
  // older or missing one, as inspect reports it, is read but never written.
  StateWriting writing;
  if (jsonHasMember(document, "header")) {
    const Json& header = jsonMember(document, "header", "the document");
    const bool present =
        !jsonHasMember(header, "present") || jsonBool(jsonMember(header, "present", "header"), "header.present");
    const std::string& formatVersion =
        jsonString(jsonMember(header, "formatVersion", "header"), "header.formatVersion");
    if (present && formatVersion == formatToStdString("0x%08X", kCurrentFormatVersion)) {
      const std::vector<std::uint16_t> creator =
          wordsFromJson(jsonMember(header, "creatorVersion", "header"), 4, "header.creatorVersion");
      writing.keepCreatorVersion = true;
      std::copy(creator.begin(), creator.end(), std::begin(writing.creatorVersion));
    }
  }

  if (jsonHasMember(document, "compression")) {
    const Json& compression = jsonMember(document, "compression", "the document");
    const long long format = jsonInteger(jsonMember(compression, "format", "compression"), "compression.format");
    const long long level = jsonInteger(jsonMember(compression, "level", "compression"), "compression.level");
    if (format != 1) {
      throw JsonError("compression.format must be 1 (zlib): hdutil writes zlib states only");
    }
    if (level < -1 || level > 9) {
      throw JsonError("compression.level must be -1 to 9");
    }
    writing.compressionLevel = static_cast<int>(level);
  }
  return writePersistedState(nameSpaces, writing);
}

bool printDifferences(std::ostream& out, const PersistedState& before, const PersistedState& after) {
  bool different = false;
  if (!(before.driverVersion == after.driverVersion)) {
    writeLine(out, "driver version: " + before.driverVersion.GetVersionDisplayString().utf8StdString() + " -> " +
                       after.driverVersion.GetVersionDisplayString().utf8StdString());
    different = true;
  }

  const auto byId = [](std::vector<std::unique_ptr<AttributeBytes>> records) {
    std::map<std::string, std::unique_ptr<AttributeBytes>> map;
    for (std::unique_ptr<AttributeBytes>& record : records) {
      std::string key = idKey(record->GetAttributeBytesId());
      map.emplace(std::move(key), std::move(record));
    }
    return map;
  };
  const auto innerRecords = [](const AttributeBytes& nameSpace) {
    std::vector<std::unique_ptr<AttributeBytes>> records;
    if (nameSpace.GetAttributeBytesValue().IsList()) {
      records = readAllRecords(nameSpace.GetAttributeBytesValue().GetListValue().GetValue());
    }
    return records;
  };

  std::map<std::string, std::unique_ptr<AttributeBytes>> oldSpaces = byId(nameSpaceRecords(before.nameSpaces));
  std::map<std::string, std::unique_ptr<AttributeBytes>> newSpaces = byId(nameSpaceRecords(after.nameSpaces));
  std::vector<std::string> keys;
  keys.reserve(oldSpaces.size() + newSpaces.size());
  for (const auto& [key, record] : oldSpaces) {
    keys.push_back(key);
  }
  for (const auto& [key, record] : newSpaces) {
    if (oldSpaces.find(key) == oldSpaces.end()) {
      keys.push_back(key);
    }
  }
  for (const std::string& key : keys) {
    const auto oldIt = oldSpaces.find(key);
    const auto newIt = newSpaces.find(key);
    const AttributeBytes* oldSpace = oldIt != oldSpaces.end() ? oldIt->second.get() : nullptr;
    const AttributeBytes* newSpace = newIt != newSpaces.end() ? newIt->second.get() : nullptr;
    const AttributeBytes* either = oldSpace != nullptr ? oldSpace : newSpace;
    if (either == nullptr) {
      continue;  // every key comes from one of the two maps
    }
    const std::string title = nameSpaceTitle(either->GetAttributeBytesId());
    if (oldSpace == nullptr || newSpace == nullptr) {
      const AttributeBytes& only = oldSpace != nullptr ? *oldSpace : *newSpace;
      writeLine(out, (oldSpace != nullptr ? "- " : "+ ") + title +
                         formatToStdString(" (%u records)", static_cast<unsigned>(innerRecords(only).size())));
      different = true;
      continue;
    }
    std::vector<std::string> lines;
    if (oldSpace->GetAttributeBytesValue().IsSpecified() != newSpace->GetAttributeBytesValue().IsSpecified()) {
      lines.push_back(std::string("  ~ namespace ") +
                      (newSpace->GetAttributeBytesValue().IsSpecified() ? "now specified" : "now unspecified"));
    }
    std::vector<std::unique_ptr<AttributeBytes>> oldList = innerRecords(*oldSpace);
    std::vector<std::unique_ptr<AttributeBytes>> newList = innerRecords(*newSpace);
    std::map<std::string, const AttributeBytes*> newById;
    for (const std::unique_ptr<AttributeBytes>& record : newList) {
      newById.emplace(idKey(record->GetAttributeBytesId()), record.get());
    }
    std::map<std::string, const AttributeBytes*> oldById;
    for (const std::unique_ptr<AttributeBytes>& record : oldList) {
      const std::string idBytes = idKey(record->GetAttributeBytesId());
      oldById.emplace(idBytes, record.get());
      const auto found = newById.find(idBytes);
      if (found == newById.end()) {
        lines.push_back("  - " + recordLine(*record));
      } else if (valueKey(record->GetAttributeBytesValue()) != valueKey(found->second->GetAttributeBytesValue())) {
        const AttributeBytesValue& oldValue = record->GetAttributeBytesValue();
        const AttributeBytesValue& newValue = found->second->GetAttributeBytesValue();
        const auto describe = [](const AttributeBytesValue& value) {
          return valueTypeName(value) + " " + valueText(value) + (value.IsSpecified() ? "" : " <unspecified>");
        };
        lines.push_back(formatToStdString("  ~ %-50s %s -> %s", idText(record->GetAttributeBytesId()),
                                          describe(oldValue), describe(newValue)));
      }
    }
    for (const std::unique_ptr<AttributeBytes>& record : newList) {
      if (oldById.find(idKey(record->GetAttributeBytesId())) == oldById.end()) {
        lines.push_back("  + " + recordLine(*record));
      }
    }
    if (!lines.empty()) {
      writeLine(out, title);
      for (const std::string& line : lines) {
        writeLine(out, line);
      }
      different = true;
    }
  }
  return different;
}

}  // namespace hdutil
