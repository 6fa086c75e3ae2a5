#pragma once
// PersistentAttributes: the stored form of a complete set of driver settings.
//
// An AttributeBytesNameSpaces (every namespace's records, stamped with the
// DriverVersion that wrote them) is serialised, compressed with zlib and
// preceded by a fixed 16-byte header:
//
//   offset  size  field
//        0    16  header (PersistentAttributesHeaderType, little-endian):
//                   header size 16, format version 0x20070001,
//                   creator version 7, 4, 0, 999 (four 16-bit words)
//       16     n  the namespaces state ("ABNS" ...) compressed with zlib's
//                 one-call compression at the default level (-1); absent
//                 for an empty state (below)
//     16+n    13  the compressed-buffer footer: format 1 (zlib), level -1,
//                 original (uncompressed) size, "COM5"; big-endian
//
// A default object's state is therefore exactly
//   10 00 00 00 01 00 07 20 07 00 04 00 00 00 E7 03   header
//   01 FF FF FF FF 00 00 00 00 43 4F 4D 35            footer, original size 0
//
// The empty state. A namespaces object with no namespaces still has a state
// ("ABNS", its version, "ABIL" "ABRL"), and when its version is not 0.0.0.0
// that state carries information and is compressed like any other. Only a
// namespaces object equal to a default-constructed one (no namespaces,
// version 0.0.0.0) is empty: it is written as header plus footer, with
// original size 0 and no compressed bytes, and reading such a state gives
// that default object back (version 0.0.0.0). So every state this class
// writes reads back to equal namespaces and rebuilds byte for byte.
//
// Import, in this order, each step refusing what it cannot use (the object
// is left exactly as it was whenever any step fails):
//  1. UpgradeOldStateDataVersionIfNecessary: older layouts are turned into
//     the current one (see "Older states" below).
//  2. GetMajorComponentsFromStateDataBuffer: at least the 16 header bytes
//     ("The ByteBuffer data is not big enough (%ld bytes) to contain the
//     required header  (%ld bytes)!") and a current header (size 16, format
//     version 0x20070001; the creator version is not compared); the rest is
//     the compressed part with its footer. Both failures throw
//     CPExceptionMissingOrBadPersistentAttributesFormat.
//  3. GetComponentsFromCompressedDataBuffer: the footer is read through
//     CompressedBuffer::GetFooterInfo (a missing footer throws
//     CPExceptionMissingOrBadCompressedBufferFooter); ValidateCompressedData
//     checks what the footer says against the compressed bytes (below);
//     the bytes are decompressed through ZlibCompressedBuffer::
//     InflateClaimedSize (damaged zlib data throws CPExceptionCompression); a
//     zlib stream whose size differs from the footer's original size throws
//     CPExceptionMissingOrBadPersistentAttributesFormat ("Size of
//     decompressed data (%ld) doesn't match the expected original size
//     (%ld)."). Inflation stops soon after the output passes the original
//     size (as many bytes again, at least ZlibCompressedBuffer::
//     kMinimumSizeCountingAllowance), so a small stream that inflates to
//     gigabytes costs no more than twice its claim;
//     when it stops before the stream's end the true size is not known, and
//     the message says "at least N" in place of the first number, N being
//     the bytes seen. Bytes between the end of the zlib stream and the footer
//     are ignored, as zlib's one-call decompression ignores them; this
//     class never writes any.
//  4. ValidateCompressedData (called from step 3 before anything is
//     decompressed, so that nothing is allocated on the footer's word alone)
//     throws CPExceptionMissingOrBadPersistentAttributesFormat unless:
//       - the footer's format is 1 (zlib);
//       - its level is a zlib level, -1 to 9 (the 8-byte "COMP" footer
//         records none and passes);
//       - the original size is not negative, and not above the object's
//         maximum original size (below);
//       - an original size of 0 comes with no compressed bytes, and any
//         other original size with some (this class writes nothing for an
//         empty state, and the stream of anything else is never empty);
//       - the original size is at most 1032 times the compressed size (no
//         deflate stream expands further);
//       - the compressed bytes begin with a zlib stream header (compression
//         method 8, window at most 32K, check bits right, no preset
//         dictionary).
//  5. The namespaces state is imported (AttributeBytesNameSpaces: "ABNS",
//     the version, "ABIL", "ABRL" and the namespace records, with the
//     exceptions of those classes), giving the DriverVersion. The records
//     inside each namespace's list are, as everywhere for raw lists, parsed
//     only when read, unless the import is asked to check every record.
//
// Older states (UpgradeOldStateDataVersionIfNecessary). Two older forms are
// recognised and converted before anything else is checked:
//  - a header of the current layout (size field 16) whose format version is
//    older than 0x20070001 but not older than 0x20060000 (0x2006xxxx, or
//    0x20070000): the layout of the header, the compressed part and the
//    footer is the same, so only the format version is rewritten; the
//    creator version is kept;
//  - a state with no header at all, which begins directly with a zlib stream
//    header and ends with a compressed-buffer footer ("COM5", "COM4" or
//    "COMP"): a current header is put in front, with creator version
//    0.0.0.0 (unknown).
// Anything else is left as it is and judged by step 2: a header with another
// size or another format version (a newer one included) is refused. A state
// with no header whose data is empty (the footer alone) is not recognised.
//
// The maximum original size. The footer's original size is what the import
// allocates, and the state comes from places a user controls (a registry
// hive, a print ticket, a file), so a state may not claim more than the
// object's maximum: 64 MiB (CompressedBuffer::kDefaultMaximumOriginalSize)
// unless the caller sets another (SetMaximumOriginalSize, or the importing
// constructor's last argument). Real settings are a few kilobytes. A larger
// claim fails step 4 ("The original size in the footer (%ld) is above the
// maximum original size accepted (%lu bytes).") before anything is
// allocated or inflated. The maximum is a setting of the object: imports
// keep it, copies and swaps take it along.
//
// Memory. An import holds the persisted state it is given, the decompressed
// namespaces state once, and the parsed namespace records: the namespaces'
// lists, and every list nested in their records, share the decompressed
// bytes instead of copying them. Checking every record adds at most one
// record's own copy (a data blob) at a time. With `throwOnFailure`, running out of memory (std::bad_alloc, or a size
// the platform's buffers cannot hold, std::length_error) is thrown as CPExceptionOutOfMemory.
//
// The flags:
//  - `throwOnFailure` (ImportPersistentAttributesState's first flag, and the
//    importing constructor's flag): true lets a failure's exception
//    propagate; false reports it through the exception facility
//    (CPException::reportAndProcessCaughtException, with the catch site
//    "PersistentAttributes::ImportPersistentAttributesState") and returns
//    false (the constructor then leaves a default object and reports the
//    version 0.0.0.0). Any std::exception is caught this way, memory
//    exhaustion included.
//  - `checkEveryRecord` (the second flag): true also parses every record of
//    every namespace, lists nested in list values included, and requires
//    every top-level record to be a namespace (an "ABIDE_NAMESPACE" id with
//    a list value); a damaged record then fails the import with the
//    exception of the primitive that ran out (or of the record factories),
//    a record that is not a namespace, or list values nested more than
//    kMaximumCheckedListDepth (32) levels deep (a namespace's own list is
//    level 1), with CPExceptionMissingOrBadPersistentAttributesFormat.
//    False takes the
//    records on trust as the raw lists do, and a damaged one fails later,
//    when it is read. The importing constructor does not check every record.
//    The nesting limit holds on every import path all the same: the lists an
//    import yields carry it (AttributeBytesRawList's maximum nesting level,
//    32), so that after a trusting import reading the records of a list
//    nested deeper than 32 levels throws
//    CPExceptionMissingOrBadAttributeBytesFormat, as reading a damaged
//    record throws; no reader can be led deeper.
//
// What is written. A namespaces state holds namespaces: every top-level
// record is an "ABIDE_NAMESPACE" id with a list value. The indexed list
// handed out by AttributeBytesNameSpaces::GetNameSpacesIndexedList accepts
// any record, so building checks this rule and refuses, before anything is
// written, namespaces that break it, with the checked import's exception and
// message (CPExceptionMissingOrBadPersistentAttributesFormat, "The
// namespaces state holds a record that is not a namespace list (%s, %s).",
// label "PersistentAttributes::CreateStateDataFromComponents"). So every
// state this class writes meets the checked import's namespace rule. The
// nesting limit of list values is a reading limit: lists nested deeper than
// kMaximumCheckedListDepth are written, and refused by a checked import.
//
// What is held. The object holds the header of the state it was read from
// (GetHeader; a current header for objects not read from a state, and the
// upgraded header for older states) and the namespaces in parsed form; the
// namespaces state is produced from them when the persisted state is built.
// Building always writes a current header (InitializeHeaderStructure):
// whoever writes a state is its creator. Nothing is cached, so const members
// may be called from several threads at once.
//
// Source module for failures: UtilitiesDll\attributebytes\PersistentAttributes.

#include "Compression/CompressedBuffer.h"
#include "DebuggingAndExceptions/DumpArgs.h"
#include "General/ByteBuffer.h"
#include "General/DriverVersion.h"
#include "attributebytes/AttributeBytesId.h"
#include "attributebytes/AttributeBytesNameSpaces.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>
#include <string>

class IAttributeBytesDebugDisplayHelper;

// The 16-byte header in front of a persisted state. All fields little-endian
// on the wire.
struct HDU_API PersistentAttributesHeaderType {
  enum : std::uint32_t {
    kHeaderSize = 16,
    kCurrentFormatVersion = 0x20070001u,
    // The oldest format version still read (see UpgradeOldStateDataVersionIfNecessary).
    kOldestFormatVersion = 0x20060000u,
  };
  // The creator version this library writes.
  enum : std::uint16_t {
    kCurrentCreatorVersion0 = 7,
    kCurrentCreatorVersion1 = 4,
    kCurrentCreatorVersion2 = 0,
    kCurrentCreatorVersion3 = 999,
  };

  std::uint32_t m_headerSize = kHeaderSize;
  std::uint32_t m_formatVersion = kCurrentFormatVersion;
  // The creator's DriverVersion words, word 0 first.
  std::uint16_t m_creatorVersion[4] = {kCurrentCreatorVersion0, kCurrentCreatorVersion1, kCurrentCreatorVersion2,
                                       kCurrentCreatorVersion3};

  // The current values (those InitializeHeaderStructure fills in).
  PersistentAttributesHeaderType() noexcept = default;

  // Header size 16, format version 0x20070001, creator version 7, 4, 0, 999.
  void InitializeHeaderStructure() noexcept;
  // Size 16 and format version 0x20070001; the creator version is not compared.
  bool IsCurrentVersionHeader() const noexcept;

  DriverVersion GetCreatorVersion() const noexcept;
  void SetCreatorVersion(const DriverVersion& creatorVersion) noexcept;

  // The 16 bytes of the header.
  ByteBuffer GetHeaderBytes() const;
  // Appends the 16 bytes to `out`.
  void AppendHeaderBytes(ByteBuffer& out) const;
  // Reads a header from the first 16 of `size` bytes at `bytes` (nothing is
  // checked but the length). Fewer than 16 bytes throw
  // CPExceptionNotEnoughBytesForDesiredDataType.
  static PersistentAttributesHeaderType FromBytes(const unsigned char* bytes, std::size_t size);
  static PersistentAttributesHeaderType FromBytes(const ByteBuffer& bytes);

  // "size 16, format version 0x20070001 (current), creator version <display>"
  // ("(older)", "(unknown)" for other versions).
  std::string GetDumpDisplayString() const;

  bool operator==(const PersistentAttributesHeaderType& other) const noexcept;
};

class HDU_API PersistentAttributes {
 public:
  // How deep checkEveryRecord follows list values inside list values.
  enum : unsigned { kMaximumCheckedListDepth = 32 };

  // The well-known namespaces.
  enum : long {
    kDataModelDocPropNameSpace = 1,
    kDataModelDevicePropNameSpace = 2,
    kMsDeviceCapabilitiesNameSpace = 3,
    kSavedSettingsNameSpace = 4,
    kSavedSettingsDataNameSpace = 5,
    kScanSettingsNameSpace = 6,
  };

  // DoDefaultConstruction: a current header and empty namespaces (no
  // namespaces, version 0.0.0.0).
  PersistentAttributes();
  // Imports a persisted state (see ImportPersistentAttributesState, with
  // checkEveryRecord false) and reports the namespaces' version through
  // `driverVersionOut` when it is not null. With `throwOnFailure` false a
  // failure is reported, the object stays default and the version reported
  // is 0.0.0.0.
  // `maximumOriginalSize` becomes the object's maximum (see above).
  PersistentAttributes(const ByteBuffer& state, bool throwOnFailure, DriverVersion* driverVersionOut,
                       unsigned long maximumOriginalSize = CompressedBuffer::kDefaultMaximumOriginalSize);
  // A current header and a copy of the namespaces.
  explicit PersistentAttributes(const AttributeBytesNameSpaces& nameSpaces);
  PersistentAttributes(const PersistentAttributes& other);
  PersistentAttributes(PersistentAttributes&& other) noexcept;
  // Strong guarantee: a failed copy leaves this object as it was.
  PersistentAttributes& operator=(const PersistentAttributes& other);
  PersistentAttributes& operator=(PersistentAttributes&& other) noexcept;
  ~PersistentAttributes();

  void swap(PersistentAttributes& other) noexcept;

  // ---- well-known namespace ids ----
  static AttributeBytesNameSpacesId GetDataModelDocPropNameSpaceId();      // 1
  static AttributeBytesNameSpacesId GetDataModelDevicePropNameSpaceId();   // 2
  static AttributeBytesNameSpacesId GetMsDeviceCapabilitiesNameSpaceId();  // 3
  static AttributeBytesNameSpacesId GetSavedSettingsNameSpaceId();         // 4
  static AttributeBytesNameSpacesId GetSavedSettingsDataNameSpaceId();     // 5
  static AttributeBytesNameSpacesId GetScanSettingsNameSpaceId();          // 6
  // "DataModelDocProp", "DataModelDeviceProp", "MsDeviceCapabilities",
  // "SavedSettings", "SavedSettingsData", "ScanSettings" for 1 to 6; "" for
  // any other id. Never null.
  static const char* GetWellKnownNameSpaceName(long nameSpaceId) noexcept;

  // ---- header ----
  static void InitializeHeaderStructure(PersistentAttributesHeaderType& header) noexcept {
    header.InitializeHeaderStructure();
  }
  static bool IsCurrentVersionHeader(const PersistentAttributesHeaderType& header) noexcept {
    return header.IsCurrentVersionHeader();
  }
  // The header of the state this object was read from (see above).
  const PersistentAttributesHeaderType& GetHeader() const noexcept { return m_header; }

  // ---- the ceiling on a state's claimed original size (see above) ----
  unsigned long GetMaximumOriginalSize() const noexcept { return m_maximumOriginalSize; }
  void SetMaximumOriginalSize(unsigned long maximumOriginalSize) noexcept {
    m_maximumOriginalSize = maximumOriginalSize;
  }

  // ---- persisted state ----
  // CreateStateDataFromComponents: header, compressed namespaces state,
  // footer (see above). Namespaces holding a top-level record that is not a
  // namespace list throw CPExceptionMissingOrBadPersistentAttributesFormat
  // (see "What is written").
  ByteBuffer GetPersistentAttributesState() const;
  // Replaces the contents of `out` with the state.
  void GetPersistentAttributesState(ByteBuffer& out) const;
  // The size of the whole state. It is found by building the state, so it
  // costs as much as GetPersistentAttributesState.
  unsigned long GetPersistentAttributesStateSize() const;

  // Replaces the header and namespaces from a persisted state and reports
  // the namespaces' version through `driverVersionOut`. Returns true on
  // success. On failure nothing changes (neither the object nor
  // `driverVersionOut`): with `throwOnFailure` the exception propagates,
  // otherwise it is reported and the result is false. `checkEveryRecord`
  // also parses every record (see above).
  bool ImportPersistentAttributesState(const ByteBuffer& state, DriverVersion& driverVersionOut, bool throwOnFailure,
                                       bool checkEveryRecord);

  // ---- namespaces ----
  const AttributeBytesNameSpaces& GetAttributeBytesNameSpaces() const noexcept { return m_nameSpaces; }
  AttributeBytesNameSpaces& GetAttributeBytesNameSpaces() noexcept { return m_nameSpaces; }
  // Replaces the namespaces (version included) with a copy; the header is
  // kept. Strong guarantee.
  void SetAttributeBytesNameSpaces(const AttributeBytesNameSpaces& nameSpaces);
  // Replaces `list` with the records of a namespace. Returns false, and
  // leaves `list` empty, when there is no such namespace. A namespace record
  // whose value is not a list throws CPExceptionAttributeValueTypeMismatch
  // (and leaves `list` as it was).
  bool GetAttributeBytesListForNameSpace(const AttributeBytesNameSpacesId& nameSpaceId,
                                         AttributeBytesRawList& list) const;
  // Adds the namespace with these records, or replaces its records.
  void SetAttributeBytesListForNameSpace(const AttributeBytesNameSpacesId& nameSpaceId,
                                         const AttributeBytesRawList& list);

  // ---- debugging ----
  // "PersistentAttributes: header <header display>", then the namespaces
  // (AttributeBytesNameSpaces::AttributeBytesDump), nested. Well-known
  // namespaces are named on a line of their own before their record.
  void AttributeBytesDump(const DumpArgs& dumpArgs, const IAttributeBytesDebugDisplayHelper& helper) const;
  // The persisted state this object builds, described part by part (see the
  // static form).
  void DumpStateData(const DumpArgs& dumpArgs, const IAttributeBytesDebugDisplayHelper& helper) const;
  // Any persisted state, described part by part for tools: its size, the
  // header, the footer, the compressed and original sizes, then either the
  // imported contents (as AttributeBytesDump) or one line naming the failure
  // ("import failed: <exception log string>"). Never throws for bad bytes.
  static void DumpStateData(const ByteBuffer& state, const DumpArgs& dumpArgs,
                            const IAttributeBytesDebugDisplayHelper& helper);

  // ---- the import steps (public for tools and tests) ----
  // Step 1. Returns true and fills `upgradedState` when `state` is one of the
  // older forms; otherwise returns false and `upgradedState` is untouched
  // (the state is used as it is).
  static bool UpgradeOldStateDataVersionIfNecessary(const ByteBuffer& state, ByteBuffer& upgradedState);
  // Step 2. Reads and checks the header; the compressed part with its footer
  // is the rest of the state, from byte 16.
  static PersistentAttributesHeaderType GetMajorComponentsFromStateDataBuffer(const ByteBuffer& state);
  // Step 3 (with step 4). `compressedPart` points at `size` bytes: the
  // compressed data with its footer. Replaces `nameSpacesState` with the
  // decompressed namespaces state (empty for an empty state).
  static void GetComponentsFromCompressedDataBuffer(
      const unsigned char* compressedPart, std::size_t size, ByteBuffer& nameSpacesState,
      unsigned long maximumOriginalSize = CompressedBuffer::kDefaultMaximumOriginalSize);
  // Step 4: `compressedSize` compressed bytes at `compressedData` (the
  // footer excluded), and what the footer says about them.
  static void ValidateCompressedData(const unsigned char* compressedData, std::size_t compressedSize, long originalSize,
                                     int parameter, int format, unsigned int footerSize,
                                     unsigned long maximumOriginalSize = CompressedBuffer::kDefaultMaximumOriginalSize);

 private:
  void DoDefaultConstruction() noexcept;
  void CreateStateDataFromComponents(ByteBuffer& out) const;
  void ImportOrThrow(const ByteBuffer& state, DriverVersion& driverVersionOut, bool checkEveryRecord);

  PersistentAttributesHeaderType m_header;
  AttributeBytesNameSpaces m_nameSpaces;
  unsigned long m_maximumOriginalSize = CompressedBuffer::kDefaultMaximumOriginalSize;
};
