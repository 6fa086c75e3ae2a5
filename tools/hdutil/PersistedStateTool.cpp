#include "PersistedStateTool.h"

#include "SettingsModel.h"

#include "Compression/CompressedBuffer.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "LowLevelFacilities/Formatter.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <map>
#include <memory>
#include <vector>

namespace hdutil {

namespace {

using InternalHaldenCP::formatToStdString;

constexpr std::size_t kHeaderSize = 16;
constexpr std::uint32_t kCurrentFormatVersion = 0x20070001;

std::uint32_t readLittleEndian32(const ByteBuffer& bytes, std::size_t at) {
  return static_cast<std::uint32_t>(bytes[at]) | (static_cast<std::uint32_t>(bytes[at + 1]) << 8) |
         (static_cast<std::uint32_t>(bytes[at + 2]) << 16) | (static_cast<std::uint32_t>(bytes[at + 3]) << 24);
}

std::uint16_t readLittleEndian16(const ByteBuffer& bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8));
}

void writeLittleEndian(ByteBuffer& bytes, std::size_t at, std::uint32_t value, int width) {
  for (int i = 0; i < width; ++i) {
    bytes[at + static_cast<std::size_t>(i)] = static_cast<unsigned char>(value >> (8 * i));
  }
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
    array.push(static_cast<int>(word));
  }
  return array;
}

std::vector<std::uint16_t> wordsFromJson(const Json& json, std::size_t count, const std::string& where) {
  const std::vector<Json>& items = json.asArray(where);
  if (items.size() != count) {
    throw JsonError(where + " must hold " + std::to_string(count) + " numbers");
  }
  std::vector<std::uint16_t> words;
  for (const Json& item : items) {
    const long long value = item.asInteger(where + "[]");
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
    const std::string name = wellKnownNameSpaceName(number);
    return name.empty() ? formatToStdString("Namespace %ld", number)
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

void printRecords(std::ostream& out, const AttributeBytesRawList& list, const std::string& indent) {
  for (const std::unique_ptr<AttributeBytes>& record : readAllRecords(list)) {
    out << indent << recordLine(*record, static_cast<int>(indent.size()) - 2) << "\n";
    const AttributeBytesValue& value = record->GetAttributeBytesValue();
    if (value.IsList()) {
      printRecords(out, value.GetListValue().GetValue(), indent + "    ");
    }
  }
}

std::vector<std::unique_ptr<AttributeBytes>> nameSpaceRecords(const AttributeBytesNameSpaces& nameSpaces) {
  return readAllRecords(AttributeBytesRawList(nameSpaces.GetNameSpacesIndexedList()));
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
  out << formatToStdString("  header size       %u bytes\n", state.headerSize);
  out << formatToStdString("  format version    0x%08X%s\n", state.formatVersion,
                           state.currentHeader ? " (current)" : " (older, upgraded when read)");
  out << formatToStdString("  creator version   %u.%u.%u.%u\n", state.creatorVersion[0], state.creatorVersion[1],
                           state.creatorVersion[2], state.creatorVersion[3]);
}

}  // namespace

PersistedState loadPersistedState(const ByteBuffer& bytes) {
  PersistedState state;
  PersistentAttributes persistent;
  DriverVersion version;
  // Every check of the format, every record of every namespace parsed.
  persistent.ImportPersistentAttributesState(bytes, version, true, true);
  state.totalSize = bytes.size();
  state.driverVersion = version;
  state.nameSpaces = persistent.GetAttributeBytesNameSpaces();

  // The header as it stands in the input (an older one is upgraded by the
  // import; a state without any header is shown as such).
  state.hasHeader = bytes.size() >= kHeaderSize && readLittleEndian32(bytes, 0) == kHeaderSize;
  std::size_t compressedStart = 0;
  if (state.hasHeader) {
    state.headerSize = readLittleEndian32(bytes, 0);
    state.formatVersion = readLittleEndian32(bytes, 4);
    for (std::size_t i = 0; i < 4; ++i) {
      state.creatorVersion[i] = readLittleEndian16(bytes, 8 + 2 * i);
    }
    compressedStart = kHeaderSize;
  }
  state.currentHeader = state.hasHeader && state.formatVersion == kCurrentFormatVersion;
  const ByteBuffer compressed(bytes.begin() + static_cast<std::ptrdiff_t>(compressedStart), bytes.end());
  long originalSize = 0;
  int parameter = -1;
  auto format = static_cast<CompressionFormatEnum>(1);
  unsigned int footerSize = 0;
  if (CompressedBuffer::GetFooterInfo(compressed, originalSize, parameter, format, footerSize, false)) {
    state.originalSize = originalSize;
    state.compressionLevel = parameter;
    state.compressionFormat = static_cast<int>(format);
    state.footerSize = footerSize;
    state.compressedSize = compressed.size() - footerSize;
  }
  // Whether encode gives back these very bytes (older headers, trailing bytes,
  // non-canonical flag bytes and the like come back in the library's form).
  try {
    const ByteBuffer canonical = encodePersistedState(persistedStateToJson(state, ""));
    state.canonicalSize = canonical.size();
    state.canonical = canonical == bytes;
  } catch (const std::exception&) {
    state.canonical = false;  // the facts read cannot be written back as they are
  }
  return state;
}

void printPersistedState(std::ostream& out, const PersistedState& state, const std::string& source) {
  out << "Persisted settings state: " << source << ", " << state.totalSize << " bytes\n";
  out << "Header\n";
  if (!state.hasHeader) {
    out << "  none: an older state without header (upgraded when read)\n";
  } else {
    printHeader(out, state);
  }
  out << "Compressed settings\n";
  out << formatToStdString("  compression       %s (format %d), level %d, %u-byte footer\n",
                           state.compressionFormat == 1 ? "zlib" : "cabinet", state.compressionFormat,
                           state.compressionLevel, state.footerSize);
  out << formatToStdString("  sizes             %u bytes compressed, %ld bytes original\n",
                           static_cast<unsigned>(state.compressedSize), state.originalSize);
  if (state.canonical) {
    out << "Canonical form      yes (encode of inspect --json gives back these bytes)\n";
  } else {
    out << formatToStdString(
        "Canonical form      no: encode writes the same settings in the library's form (%u bytes)\n",
        static_cast<unsigned>(state.canonicalSize));
  }
  out << formatToStdString("Driver version      %s  [%s]\n",
                           state.driverVersion.GetVersionDisplayString().utf8StdString(),
                           versionWords(state.driverVersion));
  const std::vector<std::unique_ptr<AttributeBytes>> nameSpaces = nameSpaceRecords(state.nameSpaces);
  out << "Namespaces          " << nameSpaces.size() << "\n";
  for (const std::unique_ptr<AttributeBytes>& nameSpace : nameSpaces) {
    const AttributeBytesValue& value = nameSpace->GetAttributeBytesValue();
    out << "\n" << nameSpaceTitle(nameSpace->GetAttributeBytesId());
    if (!value.IsList()) {
      out << ": " << recordLine(*nameSpace) << "\n";
      continue;
    }
    const AttributeBytesListValue& list = value.GetListValue();
    out << formatToStdString(", %u records, kind of list %u%s\n", list.GetValue().GetAttributeBytesCount(),
                             static_cast<unsigned>(list.GetKindOfList()), value.IsSpecified() ? "" : ", <unspecified>");
    printRecords(out, list.GetValue(), "  ");
  }
}

Json persistedStateToJson(const PersistedState& state, const std::string& source) {
  Json document = Json::object();
  document.set("source", source);
  document.set("totalSize", static_cast<long long>(state.totalSize));
  document.set("canonical", state.canonical);
  Json header = Json::object();
  header.set("present", state.hasHeader);
  header.set("headerSize", static_cast<long long>(state.headerSize));
  header.set("formatVersion", formatToStdString("0x%08X", state.formatVersion));
  header.set("current", state.currentHeader);
  Json creator = Json::array();
  for (const std::uint16_t word : state.creatorVersion) {
    creator.push(static_cast<int>(word));
  }
  header.set("creatorVersion", std::move(creator));
  document.set("header", std::move(header));
  Json compression = Json::object();
  compression.set("format", state.compressionFormat);
  compression.set("level", state.compressionLevel);
  compression.set("footerSize", static_cast<long long>(state.footerSize));
  compression.set("compressedSize", static_cast<long long>(state.compressedSize));
  compression.set("originalSize", static_cast<long long>(state.originalSize));
  document.set("compression", std::move(compression));
  document.set("driverVersion", versionToJson(state.driverVersion));
  document.set("driverVersionText", state.driverVersion.GetVersionDisplayString().utf8StdString());
  Json nameSpaces = Json::array();
  for (const std::unique_ptr<AttributeBytes>& record : nameSpaceRecords(state.nameSpaces)) {
    nameSpaces.push(recordToJson(*record));
  }
  document.set("namespaces", std::move(nameSpaces));
  return document;
}

ByteBuffer encodePersistedState(const Json& document) {
  const std::vector<std::uint16_t> version =
      wordsFromJson(document.at("driverVersion", "the document"), 4, "driverVersion");
  AttributeBytesNameSpaces nameSpaces(DriverVersion(version[0], version[1], version[2], version[3]));
  const std::vector<Json>& records = document.at("namespaces", "the document").asArray("namespaces");
  for (std::size_t i = 0; i < records.size(); ++i) {
    nameSpaces.GetNameSpacesIndexedList().AddAttributeBytes(
        recordFromJson(records[i], "namespaces[" + std::to_string(i) + "]"));
  }

  ByteBuffer bytes = PersistentAttributes(nameSpaces).GetPersistentAttributesState();

  // The header as the document gives it (an older creator keeps its stamp).
  // The creator version as the document gives it (a state keeps its creator's
  // stamp). States are always written with the current header: an older or
  // missing one, as inspect reports it, is read but never written.
  if (document.has("header")) {
    const Json& header = document.at("header", "the document");
    const bool present = !header.has("present") || header.at("present", "header").asBool("header.present");
    const std::string formatVersion = header.at("formatVersion", "header").asString("header.formatVersion");
    if (present && formatVersion == formatToStdString("0x%08X", kCurrentFormatVersion)) {
      const std::vector<std::uint16_t> creator =
          wordsFromJson(header.at("creatorVersion", "header"), 4, "header.creatorVersion");
      for (std::size_t i = 0; i < 4; ++i) {
        writeLittleEndian(bytes, 8 + 2 * i, creator[i], 2);
      }
    }
  }

  // Another zlib level than the library's default: compress again at that level.
  if (document.has("compression")) {
    const Json& compression = document.at("compression", "the document");
    const long long format = compression.at("format", "compression").asInteger("compression.format");
    const long long level = compression.at("level", "compression").asInteger("compression.level");
    if (format != 1) {
      throw JsonError("compression.format must be 1 (zlib): hdutil writes zlib states only");
    }
    if (level < -1 || level > 9) {
      throw JsonError("compression.level must be -1 to 9");
    }
    if (level != -1) {
      ZlibCompressedBuffer zlib(static_cast<int>(level));
      zlib.CompressBuffer(nameSpaces.GetAttributeBytesNameSpacesState());
      bytes.resize(kHeaderSize);
      bytes.append(zlib.GetData());
    }
  }
  return bytes;
}

bool printDifferences(std::ostream& out, const PersistedState& before, const PersistedState& after) {
  bool different = false;
  if (!(before.driverVersion == after.driverVersion)) {
    out << "driver version: " << before.driverVersion.GetVersionDisplayString().utf8StdString() << " -> "
        << after.driverVersion.GetVersionDisplayString().utf8StdString() << "\n";
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
      out << (oldSpace != nullptr ? "- " : "+ ") << title
          << formatToStdString(" (%u records)\n", static_cast<unsigned>(innerRecords(only).size()));
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
      out << title << "\n";
      for (const std::string& line : lines) {
        out << line << "\n";
      }
      different = true;
    }
  }
  return different;
}

}  // namespace hdutil
