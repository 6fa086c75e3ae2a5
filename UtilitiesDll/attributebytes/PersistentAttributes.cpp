#include "attributebytes/PersistentAttributes.h"

#include "Compression/CompressedBuffer.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Formatter.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesReader.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/AttributeBytesWire.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

constexpr const char* kSourceFile = "UtilitiesDll\\attributebytes\\PersistentAttributes";

// The namespaces state is compressed at zlib's default level.
constexpr int kCompressionLevel = -1;

std::uint32_t readLittleEndian32(const unsigned char* bytes) noexcept {
  return static_cast<std::uint32_t>(bytes[0]) | (static_cast<std::uint32_t>(bytes[1]) << 8) |
         (static_cast<std::uint32_t>(bytes[2]) << 16) | (static_cast<std::uint32_t>(bytes[3]) << 24);
}

std::uint16_t readLittleEndian16(const unsigned char* bytes) noexcept {
  return static_cast<std::uint16_t>(bytes[0] | (bytes[1] << 8));
}

void writeLittleEndian32(unsigned char* bytes, std::uint32_t value) noexcept {
  for (int i = 0; i < 4; ++i) {
    bytes[i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

// A namespaces object that carries nothing: no namespaces and version
// 0.0.0.0. Its persisted state is header plus footer only.
bool isEmptyNameSpaces(const AttributeBytesNameSpaces& nameSpaces) noexcept {
  return nameSpaces.GetNameSpaceCount() == 0 && nameSpaces.GetDriverVersion() == DriverVersion();
}

// Shows the well-known namespace names beside the caller's own texts.
class WellKnownNameSpaceDisplayHelper : public IAttributeBytesDebugDisplayHelper {
 public:
  explicit WellKnownNameSpaceDisplayHelper(const IAttributeBytesDebugDisplayHelper& inner) noexcept : m_inner(inner) {}
  std::string GetFeatureIdDisplayString(long featureId) const override {
    return m_inner.GetFeatureIdDisplayString(featureId);
  }
  std::string GetValueIdDisplayString(long valueId) const override { return m_inner.GetValueIdDisplayString(valueId); }
  std::string GetCapabilityTypeDisplayString(short capabilityType) const override {
    return m_inner.GetCapabilityTypeDisplayString(capabilityType);
  }
  std::string GetNameSpaceIdDisplayString(long nameSpaceId) const override {
    std::string text = m_inner.GetNameSpaceIdDisplayString(nameSpaceId);
    const char* name = PersistentAttributes::GetWellKnownNameSpaceName(nameSpaceId);
    if (*name != '\0') {
      text += " ";
      text += name;
    }
    return text;
  }

 private:
  const IAttributeBytesDebugDisplayHelper& m_inner;
};

// A top-level record of a namespaces state must be a namespace (an
// "ABIDE_NAMESPACE" id) with a list value: the checked import refuses other
// records, and building refuses to write them.
void requireNameSpaceList(const AttributeBytes& record, const char* function) {
  const AttributeBytesId& id = record.GetAttributeBytesId();
  const AttributeBytesValue& value = record.GetAttributeBytesValue();
  if (id.GetAttributeBytesIdType() != ABIDE_NAMESPACE || !value.IsList()) {
    HDU_THROW(CPExceptionMissingOrBadPersistentAttributesFormat, HDU_DEBUG_CONTEXT_IN(kSourceFile, function),
              "The namespaces state holds a record that is not a namespace list (%s, %s).", id.GetDebugDisplayString(),
              value.GetTypeDebugDisplayString());
  }
}

// One list still to be walked by checkEveryRecord (it shares the state's
// bytes, so holding it costs no copy).
struct PendingList {
  AttributeBytesRawList list;
  unsigned depth;  // 1 for a namespace's own list
};

[[noreturn]] void throwNestedTooDeep() {
  HDU_THROW(CPExceptionMissingOrBadPersistentAttributesFormat,
            HDU_DEBUG_CONTEXT_IN(kSourceFile, "PersistentAttributes::ImportPersistentAttributesState"),
            "The namespaces state holds list values nested deeper than %u levels.",
            static_cast<unsigned>(PersistentAttributes::kMaximumCheckedListDepth));
}

// Parses every record of every namespace, lists nested in list values
// included. The records are read without being kept
// (AttributeBytesReader::CheckNextAttributeBytes: records of fixed layout are
// checked for their length, the others built on the stack and dropped). The walk keeps a work list instead of
// recursing, so that deeply nested lists cannot exhaust the stack, and a
// list is finished before the lists inside it are walked, so that only the
// pending lists are held (they share the state's bytes). Lists nested deeper
// than PersistentAttributes::kMaximumCheckedListDepth fail the check before
// their records are read.
void checkEveryRecord(const AttributeBytesNameSpaces& nameSpaces) {
  std::vector<PendingList> pending;
  const AttributeBytesIndexedList& top = nameSpaces.GetNameSpacesIndexedList();
  AttributeBytesIndexedListIterator topIterator = top.GetIndexedListIterator();
  while (AttributeBytesSharedPtr record = top.GetNextAttributeBytesFromIndexedListIterator(topIterator)) {
    requireNameSpaceList(*record, "PersistentAttributes::ImportPersistentAttributesState");
    pending.push_back({record->GetAttributeBytesValue().GetListValue().GetValue(), 1});
  }
  AttributeBytesRawList nested;
  while (!pending.empty()) {
    const PendingList current = std::move(pending.back());
    pending.pop_back();
    AttributeBytesReader reader(current.list);
    bool isList = false;
    while (reader.CheckNextAttributeBytes(nested, isList)) {
      if (isList) {
        if (current.depth >= PersistentAttributes::kMaximumCheckedListDepth) {
          throwNestedTooDeep();
        }
        pending.push_back({std::move(nested), current.depth + 1});
      }
    }
  }
}

}  // namespace

// ---- PersistentAttributesHeaderType ----

void PersistentAttributesHeaderType::InitializeHeaderStructure() noexcept {
  *this = PersistentAttributesHeaderType();
}

bool PersistentAttributesHeaderType::IsCurrentVersionHeader() const noexcept {
  return m_headerSize == kHeaderSize && m_formatVersion == kCurrentFormatVersion;
}

DriverVersion PersistentAttributesHeaderType::GetCreatorVersion() const noexcept {
  return DriverVersion(m_creatorVersion[0], m_creatorVersion[1], m_creatorVersion[2], m_creatorVersion[3]);
}

void PersistentAttributesHeaderType::SetCreatorVersion(const DriverVersion& creatorVersion) noexcept {
  creatorVersion.GetWordComponents(m_creatorVersion[0], m_creatorVersion[1], m_creatorVersion[2], m_creatorVersion[3]);
}

ByteBuffer PersistentAttributesHeaderType::GetHeaderBytes() const {
  ByteBuffer bytes;
  AppendHeaderBytes(bytes);
  return bytes;
}

void PersistentAttributesHeaderType::AppendHeaderBytes(ByteBuffer& out) const {
  out.reserve(out.size() + kHeaderSize);
  AttributeBytesWire::appendUInt32(out, m_headerSize);
  AttributeBytesWire::appendUInt32(out, m_formatVersion);
  for (const std::uint16_t word : m_creatorVersion) {
    AttributeBytesWire::appendUInt16(out, word);
  }
}

PersistentAttributesHeaderType PersistentAttributesHeaderType::FromBytes(const unsigned char* bytes, std::size_t size) {
  if (bytes == nullptr || size < kHeaderSize) {
    HDU_THROW(CPExceptionNotEnoughBytesForDesiredDataType,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "PersistentAttributesHeaderType::FromBytes"),
              "Cannot read the persisted attributes header because the source buffer is too small (%ld bytes)! It "
              "needs to be at least %ld bytes.",
              static_cast<long long>(bytes == nullptr ? 0 : size), static_cast<long long>(kHeaderSize));
  }
  PersistentAttributesHeaderType header;
  header.m_headerSize = readLittleEndian32(bytes);
  header.m_formatVersion = readLittleEndian32(bytes + 4);
  for (int i = 0; i < 4; ++i) {
    header.m_creatorVersion[i] = readLittleEndian16(bytes + 8 + std::ptrdiff_t{2} * i);
  }
  return header;
}

PersistentAttributesHeaderType PersistentAttributesHeaderType::FromBytes(const ByteBuffer& bytes) {
  return FromBytes(bytes.empty() ? nullptr : bytes.data(), bytes.size());
}

std::string PersistentAttributesHeaderType::GetDumpDisplayString() const {
  const char* kind = "unknown";
  if (IsCurrentVersionHeader()) {
    kind = "current";
  } else if (m_headerSize == kHeaderSize && m_formatVersion >= kOldestFormatVersion &&
             m_formatVersion < kCurrentFormatVersion) {
    kind = "older";
  }
  return InternalHaldenCP::formatToStdString("size %lu, format version 0x%08lx (%s), creator version %s", m_headerSize,
                                             m_formatVersion, kind, GetCreatorVersion().GetVersionDisplayString());
}

bool PersistentAttributesHeaderType::operator==(const PersistentAttributesHeaderType& other) const noexcept {
  return m_headerSize == other.m_headerSize && m_formatVersion == other.m_formatVersion &&
         std::equal(std::begin(m_creatorVersion), std::end(m_creatorVersion), std::begin(other.m_creatorVersion));
}

// ---- PersistentAttributes: construction ----

PersistentAttributes::PersistentAttributes() {
  DoDefaultConstruction();
}

PersistentAttributes::PersistentAttributes(const ByteBuffer& state, bool throwOnFailure,
                                           DriverVersion* driverVersionOut, unsigned long maximumOriginalSize)
    : m_maximumOriginalSize(maximumOriginalSize) {
  DoDefaultConstruction();
  DriverVersion version;
  ImportPersistentAttributesState(state, version, throwOnFailure, false);
  if (driverVersionOut != nullptr) {
    *driverVersionOut = version;
  }
}

PersistentAttributes::PersistentAttributes(const AttributeBytesNameSpaces& nameSpaces) : m_nameSpaces(nameSpaces) {}

PersistentAttributes::PersistentAttributes(const PersistentAttributes& other) = default;
PersistentAttributes::PersistentAttributes(PersistentAttributes&& other) noexcept = default;

PersistentAttributes& PersistentAttributes::operator=(const PersistentAttributes& other) {
  if (this != &other) {
    PersistentAttributes copy(other);
    swap(copy);
  }
  return *this;
}

PersistentAttributes& PersistentAttributes::operator=(PersistentAttributes&& other) noexcept = default;

PersistentAttributes::~PersistentAttributes() = default;

void PersistentAttributes::swap(PersistentAttributes& other) noexcept {
  std::swap(m_header, other.m_header);
  m_nameSpaces.swap(other.m_nameSpaces);
  std::swap(m_maximumOriginalSize, other.m_maximumOriginalSize);
}

void PersistentAttributes::DoDefaultConstruction() noexcept {
  m_header.InitializeHeaderStructure();
  m_nameSpaces = AttributeBytesNameSpaces();
}

// ---- well-known namespaces ----

AttributeBytesNameSpacesId PersistentAttributes::GetDataModelDocPropNameSpaceId() {
  return AttributeBytesNameSpacesId(kDataModelDocPropNameSpace);
}
AttributeBytesNameSpacesId PersistentAttributes::GetDataModelDevicePropNameSpaceId() {
  return AttributeBytesNameSpacesId(kDataModelDevicePropNameSpace);
}
AttributeBytesNameSpacesId PersistentAttributes::GetMsDeviceCapabilitiesNameSpaceId() {
  return AttributeBytesNameSpacesId(kMsDeviceCapabilitiesNameSpace);
}
AttributeBytesNameSpacesId PersistentAttributes::GetSavedSettingsNameSpaceId() {
  return AttributeBytesNameSpacesId(kSavedSettingsNameSpace);
}
AttributeBytesNameSpacesId PersistentAttributes::GetSavedSettingsDataNameSpaceId() {
  return AttributeBytesNameSpacesId(kSavedSettingsDataNameSpace);
}
AttributeBytesNameSpacesId PersistentAttributes::GetScanSettingsNameSpaceId() {
  return AttributeBytesNameSpacesId(kScanSettingsNameSpace);
}

const char* PersistentAttributes::GetWellKnownNameSpaceName(long nameSpaceId) noexcept {
  switch (nameSpaceId) {
    case kDataModelDocPropNameSpace:
      return "DataModelDocProp";
    case kDataModelDevicePropNameSpace:
      return "DataModelDeviceProp";
    case kMsDeviceCapabilitiesNameSpace:
      return "MsDeviceCapabilities";
    case kSavedSettingsNameSpace:
      return "SavedSettings";
    case kSavedSettingsDataNameSpace:
      return "SavedSettingsData";
    case kScanSettingsNameSpace:
      return "ScanSettings";
    default:
      return "";
  }
}

// ---- building ----

ByteBuffer PersistentAttributes::GetPersistentAttributesState() const {
  ByteBuffer state;
  CreateStateDataFromComponents(state);
  return state;
}

void PersistentAttributes::GetPersistentAttributesState(ByteBuffer& out) const {
  CreateStateDataFromComponents(out);
}

unsigned long PersistentAttributes::GetPersistentAttributesStateSize() const {
  ByteBuffer state;
  CreateStateDataFromComponents(state);
  return static_cast<unsigned long>(state.size());
}

void PersistentAttributes::CreateStateDataFromComponents(ByteBuffer& out) const {
  const PersistentAttributesHeaderType header;  // the current values
  ByteBuffer result;
  if (isEmptyNameSpaces(m_nameSpaces)) {
    result.reserve(std::size_t{PersistentAttributesHeaderType::kHeaderSize} + CompressedBuffer::kSizeOfFooterInfo);
    header.AppendHeaderBytes(result);
    CompressedBuffer::AppendFooterInfo(result, 0, kCompressionLevel, CFE_ZLIB);
  } else {
    const AttributeBytesIndexedList& top = m_nameSpaces.GetNameSpacesIndexedList();
    AttributeBytesIndexedListIterator iterator = top.GetIndexedListIterator();
    while (const AttributeBytesSharedPtr record = top.GetNextAttributeBytesFromIndexedListIterator(iterator)) {
      requireNameSpaceList(*record, "PersistentAttributes::CreateStateDataFromComponents");
    }
    const ByteBuffer nameSpacesState = m_nameSpaces.GetAttributeBytesNameSpacesState();
    ByteBuffer compressed;  // the zlib stream and the footer
    ZlibCompressedBuffer::CompressData(nameSpacesState.data(), static_cast<unsigned long>(nameSpacesState.size()),
                                       compressed, kCompressionLevel);
    result.reserve(PersistentAttributesHeaderType::kHeaderSize + compressed.size());
    header.AppendHeaderBytes(result);
    AttributeBytesWire::appendBytes(result, compressed.data(), compressed.size());
  }
  out.swap(result);
}

// ---- importing ----

bool PersistentAttributes::ImportPersistentAttributesState(const ByteBuffer& state, DriverVersion& driverVersionOut,
                                                           bool throwOnFailure, bool checkEveryRecord) {
  if (throwOnFailure) {
    // The standard library's memory failures become the library's own.
    try {
      ImportOrThrow(state, driverVersionOut, checkEveryRecord);
    } catch (const std::bad_alloc&) {
      HDU_THROW(CPExceptionOutOfMemory,
                HDU_DEBUG_CONTEXT_IN(kSourceFile, "PersistentAttributes::ImportPersistentAttributesState"),
                "Not enough memory to import a persisted attributes state of %lu bytes.",
                static_cast<unsigned long long>(state.size()));
    } catch (const std::length_error&) {
      HDU_THROW(CPExceptionOutOfMemory,
                HDU_DEBUG_CONTEXT_IN(kSourceFile, "PersistentAttributes::ImportPersistentAttributesState"),
                "A persisted attributes state of %lu bytes needs a buffer larger than this platform can hold.",
                static_cast<unsigned long long>(state.size()));
    }
    return true;
  }
  try {
    ImportOrThrow(state, driverVersionOut, checkEveryRecord);
    return true;
  } catch (const std::exception& exception) {
    CPException::reportAndProcessCaughtException(
        exception, HDU_DEBUG_CONTEXT_IN(kSourceFile, "PersistentAttributes::ImportPersistentAttributesState"),
        InternalHaldenCP::formatToStdString(
            "Importing a persisted attributes state of %lu bytes failed; the previous contents were kept.",
            static_cast<unsigned long long>(state.size())));
    return false;
  }
}

void PersistentAttributes::ImportOrThrow(const ByteBuffer& state, DriverVersion& driverVersionOut,
                                         bool checkEveryRecordRequested) {
  // Everything is built aside and swapped in at the end: a failure anywhere
  // leaves the object and the version argument as they were.
  ByteBuffer upgraded;
  const ByteBuffer& current = UpgradeOldStateDataVersionIfNecessary(state, upgraded) ? upgraded : state;
  const PersistentAttributesHeaderType header = GetMajorComponentsFromStateDataBuffer(current);

  ByteBuffer nameSpacesState;
  GetComponentsFromCompressedDataBuffer(current.data() + PersistentAttributesHeaderType::kHeaderSize,
                                        current.size() - PersistentAttributesHeaderType::kHeaderSize, nameSpacesState,
                                        m_maximumOriginalSize);

  AttributeBytesNameSpaces nameSpaces;
  DriverVersion version;  // an empty state is the default namespaces, version 0.0.0.0
  if (!nameSpacesState.empty()) {
    // The namespaces' lists share the decompressed bytes; every list read
    // from them is held to the same nesting limit as the checked import.
    version = nameSpaces.ImportAttributeBytesNameSpacesState(std::move(nameSpacesState), kMaximumCheckedListDepth);
  }
  if (checkEveryRecordRequested) {
    checkEveryRecord(nameSpaces);
  }

  m_header = header;
  m_nameSpaces.swap(nameSpaces);
  driverVersionOut = version;
}

bool PersistentAttributes::UpgradeOldStateDataVersionIfNecessary(const ByteBuffer& state, ByteBuffer& upgradedState) {
  const std::size_t size = state.size();
  if (size >= PersistentAttributesHeaderType::kHeaderSize) {
    const std::uint32_t headerSize = readLittleEndian32(state.data());
    const std::uint32_t formatVersion = readLittleEndian32(state.data() + 4);
    if (headerSize == PersistentAttributesHeaderType::kHeaderSize &&
        formatVersion >= PersistentAttributesHeaderType::kOldestFormatVersion &&
        formatVersion < PersistentAttributesHeaderType::kCurrentFormatVersion) {
      // The same layout under an older version number.
      ByteBuffer copy(state);
      writeLittleEndian32(copy.data() + 4, PersistentAttributesHeaderType::kCurrentFormatVersion);
      upgradedState.swap(copy);
      return true;
    }
  }
  // No header: a zlib stream with its footer. A current header begins with
  // 10 00, which is never a zlib stream header (compression method 0).
  if (ZlibCompressedBuffer::BeginsWithZlibStreamHeader(state.data(), size)) {
    long originalSize = 0;
    int parameter = kCompressionLevel;
    CompressionFormatEnum format = CFE_ZLIB;
    unsigned int footerSize = 0;
    if (CompressedBuffer::GetFooterInfo(state, originalSize, parameter, format, footerSize, false) &&
        size > footerSize) {
      PersistentAttributesHeaderType header;
      header.SetCreatorVersion(DriverVersion());  // unknown
      ByteBuffer result;
      result.reserve(PersistentAttributesHeaderType::kHeaderSize + size);
      header.AppendHeaderBytes(result);
      result.append(state);
      upgradedState.swap(result);
      return true;
    }
  }
  return false;
}

PersistentAttributesHeaderType PersistentAttributes::GetMajorComponentsFromStateDataBuffer(const ByteBuffer& state) {
  if (state.size() < PersistentAttributesHeaderType::kHeaderSize) {
    HDU_THROW(CPExceptionMissingOrBadPersistentAttributesFormat,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "PersistentAttributes::GetMajorComponentsFromStateDataBuffer"),
              "The ByteBuffer data is not big enough (%ld bytes) to contain the required header  (%ld bytes)!",
              static_cast<long long>(state.size()),
              static_cast<long long>(PersistentAttributesHeaderType::kHeaderSize));
  }
  const PersistentAttributesHeaderType header = PersistentAttributesHeaderType::FromBytes(state);
  if (!header.IsCurrentVersionHeader()) {
    HDU_THROW(CPExceptionMissingOrBadPersistentAttributesFormat,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "PersistentAttributes::GetMajorComponentsFromStateDataBuffer"),
              "The persisted attributes header is not of a version that can be read (header size %lu, format "
              "version 0x%08lx; expected header size %lu, format version 0x%08lx).",
              header.m_headerSize, header.m_formatVersion,
              static_cast<unsigned long>(PersistentAttributesHeaderType::kHeaderSize),
              static_cast<unsigned long>(PersistentAttributesHeaderType::kCurrentFormatVersion));
  }
  return header;
}

void PersistentAttributes::GetComponentsFromCompressedDataBuffer(const unsigned char* compressedPart, std::size_t size,
                                                                 ByteBuffer& nameSpacesState,
                                                                 unsigned long maximumOriginalSize) {
  // The footer reader looks only at the last 13 bytes (and at the length,
  // to choose the layout), so it is given those instead of a copy of the
  // whole part. Should no footer be found it is asked again with the whole
  // part, so that its message names the real size.
  long originalSize = 0;
  int parameter = kCompressionLevel;
  CompressionFormatEnum format = CFE_ZLIB;  // the 8-byte footer names no format: its data is zlib
  unsigned int footerSize = 0;
  const std::size_t tailSize = std::min<std::size_t>(size, CompressedBuffer::kSizeOfFooterInfo);
  const ByteBuffer tail(compressedPart + (size - tailSize), static_cast<unsigned long>(tailSize));
  if (!CompressedBuffer::GetFooterInfo(tail, originalSize, parameter, format, footerSize, false)) {
    const ByteBuffer whole(compressedPart, static_cast<unsigned long>(size));
    CompressedBuffer::GetFooterInfo(whole, originalSize, parameter, format, footerSize, true);
  }

  const std::size_t compressedSize = size - footerSize;
  ValidateCompressedData(compressedPart, compressedSize, originalSize, parameter, static_cast<int>(format), footerSize,
                         maximumOriginalSize);
  if (compressedSize == 0) {
    nameSpacesState.clear();  // an empty state (validated: original size 0)
    return;
  }
  // Damaged zlib data keeps the decompressor's own exception; a stream of
  // another size is answered here.
  const ZlibCompressedBuffer::InflationResult result = ZlibCompressedBuffer::InflateClaimedSize(
      compressedPart, static_cast<unsigned long>(compressedSize), originalSize, nameSpacesState);
  if (!result.sizeMatches) {
    HDU_THROW(CPExceptionMissingOrBadPersistentAttributesFormat,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "PersistentAttributes::GetComponentsFromCompressedDataBuffer"),
              "Size of decompressed data (%s) doesn't match the expected original size (%ld).",
              result.sizeIsLowerBound ? InternalHaldenCP::formatToStdString("at least %lu", result.size)
                                      : std::to_string(result.size),
              static_cast<long long>(originalSize));
  }
}

void PersistentAttributes::ValidateCompressedData(const unsigned char* compressedData, std::size_t compressedSize,
                                                  long originalSize, int parameter, int format, unsigned int footerSize,
                                                  unsigned long maximumOriginalSize) {
#define HDU_VALIDATION_FAILED(...)                             \
  HDU_THROW(CPExceptionMissingOrBadPersistentAttributesFormat, \
            HDU_DEBUG_CONTEXT_IN(kSourceFile, "PersistentAttributes::ValidateCompressedData"), __VA_ARGS__)
  if (format != CFE_ZLIB) {
    HDU_VALIDATION_FAILED(
        "The compressed data is in compression format %ld, but persisted attributes are always Zlib compressed "
        "(format %ld).",
        static_cast<long long>(format), static_cast<long long>(CFE_ZLIB));
  }
  // The 8-byte footer records no level.
  if (footerSize != CompressedBuffer::kSizeOfOldestFooterInfo && (parameter < -1 || parameter > 9)) {
    HDU_VALIDATION_FAILED("The compression level in the footer (%ld) is not a Zlib level (-1 to 9).",
                          static_cast<long long>(parameter));
  }
  if (originalSize < 0) {
    HDU_VALIDATION_FAILED("The original size in the footer (%ld) is negative.", static_cast<long long>(originalSize));
  }
  if (static_cast<unsigned long long>(originalSize) > maximumOriginalSize) {
    HDU_VALIDATION_FAILED(
        "The original size in the footer (%ld) is above the maximum original size accepted (%lu "
        "bytes).",
        static_cast<long long>(originalSize), static_cast<unsigned long long>(maximumOriginalSize));
  }
  if (originalSize == 0 && compressedSize != 0) {
    HDU_VALIDATION_FAILED("The original size in the footer is 0, but %lu bytes of compressed data precede the footer.",
                          static_cast<unsigned long long>(compressedSize));
  }
  if (originalSize != 0 && compressedSize == 0) {
    HDU_VALIDATION_FAILED("The original size in the footer is %ld bytes, but there is no compressed data.",
                          static_cast<long long>(originalSize));
  }
  const unsigned long long mostOut =
      static_cast<unsigned long long>(compressedSize) * ZlibCompressedBuffer::kMaximumExpansionRatio;
  if (static_cast<unsigned long long>(originalSize) > mostOut) {
    HDU_VALIDATION_FAILED(
        "The original size in the footer (%ld) is impossible for %lu bytes of Zlib data (at most %lu bytes can come "
        "out).",
        static_cast<long long>(originalSize), static_cast<unsigned long long>(compressedSize), mostOut);
  }
  if (compressedSize != 0 && !ZlibCompressedBuffer::BeginsWithZlibStreamHeader(compressedData, compressedSize)) {
    const std::string firstBytes =
        compressedSize >= 2 ? InternalHaldenCP::formatToStdString("%02X %02X", compressedData[0], compressedData[1])
                            : InternalHaldenCP::formatToStdString("%02X", compressedData[0]);
    HDU_VALIDATION_FAILED("The compressed data does not begin with a Zlib stream header (%s).", firstBytes);
  }
#undef HDU_VALIDATION_FAILED
}

// ---- namespaces ----

void PersistentAttributes::SetAttributeBytesNameSpaces(const AttributeBytesNameSpaces& nameSpaces) {
  AttributeBytesNameSpaces copy(nameSpaces);
  m_nameSpaces.swap(copy);
}

bool PersistentAttributes::GetAttributeBytesListForNameSpace(const AttributeBytesNameSpacesId& nameSpaceId,
                                                             AttributeBytesRawList& list) const {
  AttributeBytesRawList records;
  if (!m_nameSpaces.GetNameSpaceRecords(nameSpaceId, records)) {
    list.Clear();
    return false;
  }
  list.swap(records);
  return true;
}

void PersistentAttributes::SetAttributeBytesListForNameSpace(const AttributeBytesNameSpacesId& nameSpaceId,
                                                             const AttributeBytesRawList& list) {
  m_nameSpaces.SetNameSpace(nameSpaceId, list);
}

// ---- debugging ----

void PersistentAttributes::AttributeBytesDump(const DumpArgs& dumpArgs,
                                              const IAttributeBytesDebugDisplayHelper& helper) const {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  dumpArgs.writeLine("PersistentAttributes: header " + m_header.GetDumpDisplayString());
  const WellKnownNameSpaceDisplayHelper namingHelper(helper);
  m_nameSpaces.AttributeBytesDump(dumpArgs.nested(), namingHelper);
}

void PersistentAttributes::DumpStateData(const DumpArgs& dumpArgs,
                                         const IAttributeBytesDebugDisplayHelper& helper) const {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  DumpStateData(GetPersistentAttributesState(), dumpArgs, helper);
}

void PersistentAttributes::DumpStateData(const ByteBuffer& state, const DumpArgs& dumpArgs,
                                         const IAttributeBytesDebugDisplayHelper& helper) {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  try {
    dumpArgs.writeLine(InternalHaldenCP::formatToStdString("PersistentAttributes state: %lu bytes",
                                                           static_cast<unsigned long long>(state.size())));
    const DumpArgs inner = dumpArgs.nested();
    ByteBuffer upgraded;
    const bool isOlder = UpgradeOldStateDataVersionIfNecessary(state, upgraded);
    const ByteBuffer& current = isOlder ? upgraded : state;
    if (isOlder) {
      inner.writeLine(upgraded.size() > state.size() ? "older form without a header (a current header is assumed)"
                                                     : "older header version (read as the current one)");
    }
    if (current.size() >= PersistentAttributesHeaderType::kHeaderSize) {
      // An older header is shown as it was written; a missing one as assumed.
      const bool headerless = current.size() > state.size();
      const auto header = PersistentAttributesHeaderType::FromBytes(headerless ? current : state);
      inner.writeLine("header: " + header.GetDumpDisplayString());
      const ByteBuffer rest(current.begin() + PersistentAttributesHeaderType::kHeaderSize, current.end());
      long originalSize = 0;
      int parameter = kCompressionLevel;
      CompressionFormatEnum format = CFE_ZLIB;
      unsigned int footerSize = 0;
      if (CompressedBuffer::GetFooterInfo(rest, originalSize, parameter, format, footerSize, false)) {
        inner.writeLine(InternalHaldenCP::formatToStdString(
            "footer: %u bytes, format %d, level %d, original size %ld; compressed data: %lu bytes", footerSize,
            static_cast<int>(format), parameter, static_cast<long long>(originalSize),
            static_cast<unsigned long long>(rest.size() - footerSize)));
      } else {
        inner.writeLine("footer: missing");
      }
    } else {
      inner.writeLine("header: missing");
    }
    PersistentAttributes contents;
    DriverVersion version;
    try {
      contents.ImportPersistentAttributesState(state, version, true, false);
    } catch (const CPException& exception) {
      inner.writeLine("import failed: " + exception.getLogString());
      return;
    }
    contents.AttributeBytesDump(inner, helper);
  } catch (const std::exception& exception) {
    dumpArgs.writeLine(std::string("dump failed: ") + CPException::getExceptionDescription(exception));
  }
}
