#include "PersistedStateTool.h"

#include "CanonicalForm.h"
#include "PrintableText.h"
#include "RecordWalker.h"
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
#include <cstring>
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
std::string recordLine(const RecordView& record, int indent = 0) {
  const int idWidth = indent < 40 ? 50 - indent : 10;
  std::string line = formatToStdString("%-*s %-16s %s", idWidth, idText(record.id()), valueTypeName(record.valueType()),
                                       valueText(record));
  if (!record.isSpecified()) {
    line += "  <unspecified>";
  }
  return line;
}

// Recursion is bounded: loadPersistedState refuses lists nested deeper than
// 32 levels (and the lists' own limit stops any walk below that).
void printRecords(std::ostream& out, const AttributeBytesRawList& list, const std::string& indent) {
  RecordWalker walker(list);
  while (const RecordView* record = walker.next()) {
    writeLine(out, indent + recordLine(*record, static_cast<int>(indent.size()) - 2));
    if (record->isList()) {
      printRecords(out, record->list().GetValue(), indent + "    ");
    }
  }
}

// The namespace-level records, in the order the library keeps and writes
// them: the records the import built, shared, not copied.
template <class Visit>
void forEachNameSpaceRecord(const AttributeBytesNameSpaces& nameSpaces, Visit visit) {
  const AttributeBytesIndexedList& top = nameSpaces.GetNameSpacesIndexedList();
  AttributeBytesIndexedListIterator iterator = top.GetIndexedListIterator();
  while (const AttributeBytesSharedPtr record = top.GetNextAttributeBytesFromIndexedListIterator(iterator)) {
    visit(*record);
  }
}

bool isNameSpaceList(const AttributeBytes& record) {
  return record.GetAttributeBytesId().GetAttributeBytesIdType() == ABIDE_NAMESPACE &&
         record.GetAttributeBytesValue().IsList();
}

// Reads every record of a list and of the lists inside it, depth first. The
// depth is checked before a list is entered, so the recursion stays within
// kMaximumCheckedListDepth levels whatever the input; each level holds one
// walker (one record) at a time.
void examineList(const AttributeBytesRawList& list, unsigned depth) {
  RecordWalker walker(list);
  while (const RecordView* record = walker.next()) {
    if (!record->isList()) {
      continue;
    }
    if (depth >= PersistentAttributes::kMaximumCheckedListDepth) {
      throw InputError(formatToStdString("the state holds list values nested deeper than %u levels",
                                         static_cast<unsigned>(PersistentAttributes::kMaximumCheckedListDepth)));
    }
    examineList(record->list().GetValue(), depth + 1);
  }
}

// Reads every record at every level, as the library's checked import does,
// but notes top-level records that are not namespace lists instead of
// refusing them.
std::vector<std::string> examineRecords(const AttributeBytesNameSpaces& nameSpaces) {
  std::vector<std::string> unusual;
  forEachNameSpaceRecord(nameSpaces, [&](const AttributeBytes& record) {
    if (!isNameSpaceList(record)) {
      unusual.push_back("a top-level record that is not a namespace list: " + idText(record.GetAttributeBytesId()) +
                        " " + valueTypeName(record.GetAttributeBytesValue()));
    }
    if (record.GetAttributeBytesValue().IsList()) {
      examineList(record.GetAttributeBytesValue().GetListValue().GetValue(), 1);
    }
  });
  return unusual;
}

// The key of a namespace-level record in a comparison: its id part.
std::string idKey(const AttributeBytesId& id) {
  const ByteBuffer bytes = id.GetTypeAndIdentifierState();
  return std::string(bytes.begin(), bytes.end());
}

bool sameBytes(Bytes a, Bytes b) noexcept {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0);
}

// Whether two values are written alike by the library (the comparison of
// their value parts as the library writes them): bytes that are the same
// are; otherwise a data blob compares its bytes, a list its kind and its
// records' bytes (both as they stand, as the library writes them), and any
// other value (a few bytes at most) the library's form of both, which
// evens out flag and boolean bytes other than 0 and 1.
bool sameValue(const RecordView& a, const RecordView& b) {
  if (sameBytes(a.valueBytes(), b.valueBytes())) {
    return true;
  }
  if (a.valueType() != b.valueType() || a.isSpecified() != b.isSpecified()) {
    return false;
  }
  if (a.isBlob()) {
    return sameBytes(a.blob(), b.blob());
  }
  if (a.isList()) {
    return a.list().GetKindOfList() == b.list().GetKindOfList() &&
           sameBytes(a.list().GetValue().GetRecordBytes(), b.list().GetValue().GetRecordBytes());
  }
  return a.value()->GetTypeAndValueState() == b.value()->GetTypeAndValueState();
}

// Where the records of a namespace's list stand, sorted by their ids' bytes
// and, among equal ids, by their place in the list: so the first entry of an
// id is the id's first record. Eight bytes a record; the records themselves
// are read again from the list when they are shown.
struct IdEntry {
  std::uint32_t offset;  // of the record in the list's record bytes
  std::uint32_t idSize;
};

class RecordIndex {
 public:
  explicit RecordIndex(const AttributeBytesRawList& list) : m_records(list.GetRecordBytes()) {
    RecordWalker walker(list);
    std::size_t offset = 0;
    while (const RecordView* record = walker.next()) {
      m_entries.push_back({static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(record->idBytes().size())});
      offset = walker.offset();
    }
    std::sort(m_entries.begin(), m_entries.end(), [this](const IdEntry& a, const IdEntry& b) {
      const int order = compare(idOf(a), idOf(b));
      return order != 0 ? order < 0 : a.offset < b.offset;
    });
  }

  // The offset of the first record with this id, or -1.
  long long find(Bytes id) const {
    const auto found =
        std::lower_bound(m_entries.begin(), m_entries.end(), id,
                         [this](const IdEntry& entry, Bytes key) { return compare(idOf(entry), key) < 0; });
    return found != m_entries.end() && compare(idOf(*found), id) == 0 ? static_cast<long long>(found->offset) : -1;
  }

 private:
  Bytes idOf(const IdEntry& entry) const noexcept { return m_records.subspan(entry.offset, entry.idSize); }

  static int compare(Bytes a, Bytes b) noexcept {
    const int order = std::memcmp(a.data(), b.data(), std::min(a.size(), b.size()));
    if (order != 0) {
      return order;
    }
    return a.size() < b.size() ? -1 : (a.size() > b.size() ? 1 : 0);
  }

  Bytes m_records;
  std::vector<IdEntry> m_entries;
};

// The record that starts at `offset` in the walker's list.
const RecordView& recordAt(RecordWalker& walker, long long offset) {
  walker.seek(static_cast<std::size_t>(offset));
  return *walker.next();
}

std::string describeValue(const RecordView& record) {
  return valueTypeName(record.valueType()) + " " + valueText(record) + (record.isSpecified() ? "" : " <unspecified>");
}

// The records of two namespace lists that differ, under `title` (written
// before the first line); returns whether any did. Each record is compared
// with the first record of its id on the other side, as a map of the ids
// would find it.
bool printListDifferences(std::ostream& out, const std::string& title, bool& titleWritten,
                          const AttributeBytesRawList& oldList, const AttributeBytesRawList& newList) {
  bool different = false;
  const auto line = [&](const std::string& text) {
    if (!titleWritten) {
      writeLine(out, title);
      titleWritten = true;
    }
    writeLine(out, text);
    different = true;
  };
  {
    const RecordIndex newIndex(newList);
    RecordWalker newWalker(newList);
    RecordWalker oldWalker(oldList);
    while (const RecordView* record = oldWalker.next()) {
      const long long found = newIndex.find(record->idBytes());
      if (found < 0) {
        line("  - " + recordLine(*record));
      } else if (const RecordView& counterpart = recordAt(newWalker, found); !sameValue(*record, counterpart)) {
        line(formatToStdString("  ~ %-50s %s -> %s", idText(record->id()), describeValue(*record),
                               describeValue(counterpart)));
      }
    }
  }
  const RecordIndex oldIndex(oldList);
  RecordWalker newWalker(newList);
  while (const RecordView* record = newWalker.next()) {
    if (oldIndex.find(record->idBytes()) < 0) {
      line("  + " + recordLine(*record));
    }
  }
  return different;
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
    const CanonicalForm canonical = compareWithCanonicalForm(state.nameSpaces, writingOf(state), bytes);
    state.canonicalSize = canonical.size;
    state.canonical = canonical.same;
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
  writeLine(out, "Namespaces          " + std::to_string(state.nameSpaces.GetNameSpaceCount()));
  forEachNameSpaceRecord(state.nameSpaces, [&](const AttributeBytes& nameSpace) {
    const RecordView record(nameSpace);
    writeLine(out, "");
    const std::string title = nameSpaceTitle(record.id());
    if (!record.isList()) {
      writeLine(out, title + ": " + recordLine(record));
      return;
    }
    const AttributeBytesListValue& list = record.list();
    writeLine(out, title + formatToStdString(", %u records, kind of list %u%s",
                                             static_cast<unsigned>(RecordWalker::countRecords(list.GetValue())),
                                             static_cast<unsigned>(list.GetKindOfList()),
                                             record.isSpecified() ? "" : ", <unspecified>"));
    printRecords(out, list.GetValue(), "  ");
  });
}

namespace {

// Every member of the document but the namespaces, in the document's order.
Json documentHead(const PersistedState& state, const std::string& source) {
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
  return document;
}

}  // namespace

Json persistedStateToJson(const PersistedState& state, const std::string& source) {
  Json document = documentHead(state, source);
  Json nameSpaces = Json::array();
  forEachNameSpaceRecord(state.nameSpaces,
                         [&](const AttributeBytes& record) { nameSpaces.push_back(recordToJson(RecordView(record))); });
  document["namespaces"] = std::move(nameSpaces);
  return document;
}

void writePersistedStateJson(std::ostream& out, const PersistedState& state, const std::string& source) {
  JsonStreamWriter writer(out);
  writer.beginObject();
  const Json head = documentHead(state, source);
  for (const auto& [name, member] : head.get_ref<const Json::object_t&>()) {
    writer.key(name);
    writer.value(member);
  }
  writer.key("namespaces");
  writer.beginArray();
  forEachNameSpaceRecord(state.nameSpaces,
                         [&](const AttributeBytes& record) { writeRecordJson(writer, RecordView(record)); });
  writer.endArray();
  writer.endObject();
  writer.finish();
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

  // The namespace-level records by id (the records the imports built).
  const auto byId = [](const AttributeBytesNameSpaces& nameSpaces) {
    std::map<std::string, const AttributeBytes*> map;
    forEachNameSpaceRecord(
        nameSpaces, [&](const AttributeBytes& record) { map.emplace(idKey(record.GetAttributeBytesId()), &record); });
    return map;
  };
  const AttributeBytesRawList noRecords;
  const auto innerRecords = [&noRecords](const AttributeBytes& nameSpace) -> const AttributeBytesRawList& {
    const AttributeBytesValue& value = nameSpace.GetAttributeBytesValue();
    return value.IsList() ? value.GetListValue().GetValue() : noRecords;
  };

  const std::map<std::string, const AttributeBytes*> oldSpaces = byId(before.nameSpaces);
  const std::map<std::string, const AttributeBytes*> newSpaces = byId(after.nameSpaces);
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
    const AttributeBytes* oldSpace = oldIt != oldSpaces.end() ? oldIt->second : nullptr;
    const AttributeBytes* newSpace = newIt != newSpaces.end() ? newIt->second : nullptr;
    const AttributeBytes* either = oldSpace != nullptr ? oldSpace : newSpace;
    if (either == nullptr) {
      continue;  // every key comes from one of the two maps
    }
    const std::string title = nameSpaceTitle(either->GetAttributeBytesId());
    if (oldSpace == nullptr || newSpace == nullptr) {
      const AttributeBytes& only = oldSpace != nullptr ? *oldSpace : *newSpace;
      writeLine(out, (oldSpace != nullptr ? "- " : "+ ") + title +
                         formatToStdString(" (%u records)",
                                           static_cast<unsigned>(RecordWalker::countRecords(innerRecords(only)))));
      different = true;
      continue;
    }
    bool titleWritten = false;
    if (oldSpace->GetAttributeBytesValue().IsSpecified() != newSpace->GetAttributeBytesValue().IsSpecified()) {
      writeLine(out, title);
      writeLine(out, std::string("  ~ namespace ") +
                         (newSpace->GetAttributeBytesValue().IsSpecified() ? "now specified" : "now unspecified"));
      titleWritten = true;
      different = true;
    }
    if (printListDifferences(out, title, titleWritten, innerRecords(*oldSpace), innerRecords(*newSpace))) {
      different = true;
    }
  }
  return different;
}

}  // namespace hdutil
