#include "AttributeBytesTestSupport.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "CompressionTestSupport.h"
#include "PersistentAttributesTestSupport.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"
#include "attributebytes/PersistentAttributes.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <climits>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

using abtest::concat;
using abtest::Expected;
using abtest::expectThrow;
using abtest::hexBytes;
using abtest::hexText;

namespace {

const char* const kFile = "UtilitiesDll\\attributebytes\\PersistentAttributes";
const char* const kCurrentHeader = "10 00 00 00 01 00 07 20 07 00 04 00 00 00 E7 03";
const char* const kEmptyFooter = "01 FF FF FF FF 00 00 00 00 43 4F 4D 35";

// A zlib stream made with zlib itself, not through the library.
ByteBuffer zlibStream(const ByteBuffer& data) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  ByteBuffer out(size, 0);
  EXPECT_EQ(compress2(out.data(), &size, data.data(), static_cast<uLong>(data.size()), -1), Z_OK);
  out.resize(size);
  return out;
}

ByteBuffer footer(unsigned char format, std::int32_t level, std::int32_t originalSize) {
  const auto bytes = compression_test::footerBytes(format, level, originalSize);
  return ByteBuffer(bytes.data(), static_cast<unsigned long>(bytes.size()));
}

// header + zlib stream of `nameSpacesState` + footer, written by hand.
ByteBuffer persisted(const ByteBuffer& nameSpacesState, const char* header = kCurrentHeader) {
  return concat({hexBytes(header), zlibStream(nameSpacesState),
                 footer(1, -1, static_cast<std::int32_t>(nameSpacesState.size()))});
}

ByteBuffer nameSpacesStateOf(const AttributeBytesNameSpaces& nameSpaces) {
  return nameSpaces.GetAttributeBytesNameSpacesState();
}

// Imports `state`, which must fail with `Exception`, in both modes; checks
// that the object and the version argument stay exactly as they were.
template <class Exception>
void expectImportFailure(PersistentAttributes& object, const ByteBuffer& state, const Expected& expected,
                         const std::string& context, bool checkEveryRecord = false) {
  const ByteBuffer stateBefore = object.GetPersistentAttributesState();
  const PersistentAttributesHeaderType headerBefore = object.GetHeader();
  const DriverVersion versionBefore = object.GetAttributeBytesNameSpaces().GetDriverVersion();
  DriverVersion version(1, 2, 3, 4);
  expectThrow<Exception>([&] { object.ImportPersistentAttributesState(state, version, true, checkEveryRecord); },
                         expected, context);
  EXPECT_FALSE(object.ImportPersistentAttributesState(state, version, false, checkEveryRecord)) << context;
  EXPECT_EQ(version, DriverVersion(1, 2, 3, 4)) << context;
  EXPECT_EQ(hexText(object.GetPersistentAttributesState()), hexText(stateBefore)) << context;
  EXPECT_TRUE(object.GetHeader() == headerBefore) << context;
  EXPECT_EQ(object.GetAttributeBytesNameSpaces().GetDriverVersion(), versionBefore) << context;
}

}  // namespace

TEST(PersistentAttributesHeader, BytesCurrentVersionAndWellKnownNames) {
  PersistentAttributesHeaderType header;
  EXPECT_EQ(hexText(header.GetHeaderBytes()), kCurrentHeader);
  EXPECT_TRUE(header.IsCurrentVersionHeader());

  // Any creator version is current; size and format version must match.
  struct Row {
    const char* bytes;
    bool current;
  };
  for (const Row& row : {Row{"10 00 00 00 01 00 07 20 00 00 00 00 00 00 00 00", true},
                         Row{"10 00 00 00 01 00 07 20 FF FF FF FF FF FF FF FF", true},
                         Row{"10 00 00 00 00 00 07 20 07 00 04 00 00 00 E7 03", false},
                         Row{"10 00 00 00 02 00 07 20 07 00 04 00 00 00 E7 03", false},
                         Row{"11 00 00 00 01 00 07 20 07 00 04 00 00 00 E7 03", false},
                         Row{"00 00 00 10 20 07 00 01 07 00 04 00 00 00 E7 03", false}}) {
    const auto read = PersistentAttributesHeaderType::FromBytes(hexBytes(row.bytes));
    EXPECT_EQ(read.IsCurrentVersionHeader(), row.current) << row.bytes;
    EXPECT_EQ(PersistentAttributes::IsCurrentVersionHeader(read), row.current) << row.bytes;
    EXPECT_EQ(hexText(read.GetHeaderBytes()), row.bytes);
  }
  auto changed = PersistentAttributesHeaderType::FromBytes(hexBytes("11 00 00 00 02 00 06 20 01 00 02 00 03 00 04 00"));
  EXPECT_EQ(changed.GetCreatorVersion(), DriverVersion(1, 2, 3, 4));
  EXPECT_EQ(changed.GetDumpDisplayString(),
            "size 17, format version 0x20060002 (unknown), creator version 0.1.0.2.0.3.0.4");
  PersistentAttributes::InitializeHeaderStructure(changed);
  EXPECT_EQ(hexText(changed.GetHeaderBytes()), kCurrentHeader);
  EXPECT_EQ(changed.GetDumpDisplayString(),
            "size 16, format version 0x20070001 (current), creator version 0.7.0.4.0.0.0.999");
  expectThrow<CPExceptionNotEnoughBytesForDesiredDataType>(
      [] { PersistentAttributesHeaderType::FromBytes(hexBytes(kCurrentHeader + std::string(" ")).data(), 15); },
      Expected{"Cannot read the persisted attributes header because the source buffer is too small (15 bytes)! It "
               "needs to be at least 16 bytes.",
               "PersistentAttributesHeaderType::FromBytes", kFile});

  struct NameRow {
    AttributeBytesNameSpacesId id;
    long number;
    const char* name;
  };
  for (const NameRow& row :
       {NameRow{PersistentAttributes::GetDataModelDocPropNameSpaceId(), 1, "DataModelDocProp"},
        NameRow{PersistentAttributes::GetDataModelDevicePropNameSpaceId(), 2, "DataModelDeviceProp"},
        NameRow{PersistentAttributes::GetMsDeviceCapabilitiesNameSpaceId(), 3, "MsDeviceCapabilities"},
        NameRow{PersistentAttributes::GetSavedSettingsNameSpaceId(), 4, "SavedSettings"},
        NameRow{PersistentAttributes::GetSavedSettingsDataNameSpaceId(), 5, "SavedSettingsData"},
        NameRow{PersistentAttributes::GetScanSettingsNameSpaceId(), 6, "ScanSettings"}}) {
    EXPECT_EQ(row.id.GetNameSpaceId(), row.number);
    EXPECT_EQ(hexText(row.id.GetTypeAndIdentifierState()), "09 0" + std::to_string(row.number) + " 00 00 00");
    EXPECT_STREQ(PersistentAttributes::GetWellKnownNameSpaceName(row.number), row.name);
  }
  EXPECT_STREQ(PersistentAttributes::GetWellKnownNameSpaceName(0), "");
  EXPECT_STREQ(PersistentAttributes::GetWellKnownNameSpaceName(7), "");
  EXPECT_STREQ(PersistentAttributes::GetWellKnownNameSpaceName(-1), "");
}

TEST(PersistentAttributes, DefaultAndEmptyStates) {
  // No namespaces and version 0.0.0.0: header and footer only.
  const PersistentAttributes empty;
  const ByteBuffer state = empty.GetPersistentAttributesState();
  EXPECT_EQ(hexText(state), std::string(kCurrentHeader) + " " + kEmptyFooter);
  EXPECT_EQ(empty.GetPersistentAttributesStateSize(), 29u);
  DriverVersion version(9, 9, 9, 9);
  const PersistentAttributes reread(state, true, &version);
  EXPECT_EQ(version, DriverVersion());
  EXPECT_EQ(reread.GetAttributeBytesNameSpaces().GetNameSpaceCount(), 0u);
  EXPECT_EQ(reread.GetPersistentAttributesState(), state);

  // No namespaces but a version: the 20-byte namespaces state is compressed.
  const PersistentAttributes stamped{AttributeBytesNameSpaces(DriverVersion(7, 4, 0, 999))};
  const ByteBuffer stampedState = stamped.GetPersistentAttributesState();
  const ByteBuffer abns = hexBytes("41 42 4E 53 07 00 04 00 00 00 E7 03 41 42 49 4C 41 42 52 4C");
  EXPECT_EQ(hexText(stampedState), hexText(persisted(abns)));
  const PersistentAttributes stampedReread(stampedState, true, &version);
  EXPECT_EQ(version, DriverVersion(7, 4, 0, 999));
  EXPECT_EQ(stampedReread.GetPersistentAttributesState(), stampedState);

  // A compressed default namespaces state reads as empty and is written so.
  const PersistentAttributes fromCompressedDefault(
      persisted(hexBytes("41 42 4E 53 00 00 00 00 00 00 00 00 41 42 49 4C 41 42 52 4C")), true, &version);
  EXPECT_EQ(version, DriverVersion());
  EXPECT_EQ(fromCompressedDefault.GetPersistentAttributesState(), state);
}

TEST(PersistentAttributes, RealisticStatesRoundTripByteForByte) {
  const AttributeBytesNameSpaces nameSpaces = patest::realisticNameSpaces(3);
  const ByteBuffer abns = nameSpacesStateOf(nameSpaces);
  const PersistentAttributes written(nameSpaces);
  const ByteBuffer state = written.GetPersistentAttributesState();
  EXPECT_EQ(written.GetPersistentAttributesStateSize(), state.size());

  // The layout, checked with zlib directly: header, stream, footer.
  ASSERT_GT(state.size(), 29u);
  EXPECT_EQ(hexText(ByteBuffer(state.begin(), state.begin() + 16)), kCurrentHeader);
  EXPECT_EQ(hexText(ByteBuffer(state.end() - 13, state.end())),
            hexText(footer(1, -1, static_cast<std::int32_t>(abns.size()))));
  ByteBuffer inflated(abns.size(), 0);
  uLongf inflatedSize = static_cast<uLongf>(inflated.size());
  ASSERT_EQ(uncompress(inflated.data(), &inflatedSize, state.data() + 16, static_cast<uLong>(state.size() - 29)), Z_OK);
  EXPECT_EQ(inflatedSize, abns.size());
  EXPECT_EQ(inflated, abns);
  EXPECT_EQ(hexText(state), hexText(persisted(abns)));  // zlib's own one-call output at level -1

  // Read back: same namespaces, version, records; rebuilt byte for byte.
  for (const bool checkEveryRecord : {false, true}) {
    PersistentAttributes read;
    DriverVersion version;
    ASSERT_TRUE(read.ImportPersistentAttributesState(state, version, true, checkEveryRecord));
    EXPECT_EQ(version, DriverVersion(7048, 1, 0, 999));
    EXPECT_EQ(nameSpacesStateOf(read.GetAttributeBytesNameSpaces()), abns);
    EXPECT_TRUE(
        read.GetAttributeBytesNameSpaces().GetNameSpacesIndexedList().IsEqual(nameSpaces.GetNameSpacesIndexedList()));
    EXPECT_EQ(read.GetPersistentAttributesState(), state);
    EXPECT_TRUE(read.GetHeader().IsCurrentVersionHeader());
  }

  // Bytes after the end of the stream are ignored, as zlib ignores them.
  const ByteBuffer padded = concat(
      {ByteBuffer(state.begin(), state.end() - 13), hexBytes("00 11 22"), ByteBuffer(state.end() - 13, state.end())});
  EXPECT_EQ(PersistentAttributes(padded, true, nullptr).GetPersistentAttributesState(), state);

  // One namespace's records; a missing one gives false and an empty list.
  const PersistentAttributes read(state, true, nullptr);
  AttributeBytesRawList list;
  ASSERT_TRUE(read.GetAttributeBytesListForNameSpace(PersistentAttributes::GetSavedSettingsNameSpaceId(), list));
  AttributeBytesRawList expected;
  ASSERT_TRUE(nameSpaces.GetNameSpaceRecords(AttributeBytesNameSpacesId(4), expected));
  EXPECT_TRUE(list.IsEqual(expected));
  EXPECT_EQ(list.GetAttributeBytesCount(), 33u);
  EXPECT_FALSE(
      read.GetAttributeBytesListForNameSpace(PersistentAttributes::GetMsDeviceCapabilitiesNameSpaceId(), list));
  EXPECT_TRUE(list.IsEmpty());

  // Editing: a namespace replaced, copies independent, assignment.
  PersistentAttributes edited(read);
  AttributeBytesRawList scan;
  scan.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(300)));
  edited.SetAttributeBytesListForNameSpace(PersistentAttributes::GetScanSettingsNameSpaceId(), scan);
  EXPECT_NE(edited.GetPersistentAttributesState(), state);
  EXPECT_EQ(read.GetPersistentAttributesState(), state);
  ASSERT_TRUE(PersistentAttributes(edited.GetPersistentAttributesState(), true, nullptr)
                  .GetAttributeBytesListForNameSpace(AttributeBytesNameSpacesId(6), list));
  EXPECT_TRUE(list.IsEqual(scan));
  edited = read;
  EXPECT_EQ(edited.GetPersistentAttributesState(), state);
  edited.SetAttributeBytesNameSpaces(AttributeBytesNameSpaces());
  EXPECT_EQ(edited.GetPersistentAttributesStateSize(), 29u);
}

// Every way an import can fail, step by step. Each test starts from an
// object holding real contents and the header of an older state, so that a
// failed import that touched either would show (expectImportFailure checks
// the object and the version argument after each failure, in both modes).
class PersistentAttributesImportFailure : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(object.ImportPersistentAttributesState(
        persisted(abns, "10 00 00 00 05 00 06 20 06 00 01 00 00 00 02 00"), version, true, true));
    ASSERT_EQ(object.GetHeader().GetCreatorVersion(), DriverVersion(6, 1, 0, 2));
  }

  const AttributeBytesNameSpaces nameSpaces = patest::realisticNameSpaces(1);
  const ByteBuffer abns = nameSpacesStateOf(nameSpaces);
  PersistentAttributes object;
  DriverVersion version;
  const ByteBuffer good = persisted(abns);
  const ByteBuffer header = hexBytes(kCurrentHeader);
  const ByteBuffer stream = zlibStream(abns);
  const std::int32_t size = static_cast<std::int32_t>(abns.size());
};

TEST_F(PersistentAttributesImportFailure, Step2TheHeaderMustBeThereAndCurrent) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{15}}) {
    expectImportFailure<CPExceptionMissingOrBadPersistentAttributesFormat>(
        object, ByteBuffer(good.begin(), good.begin() + static_cast<long>(length)),
        Expected{"The ByteBuffer data is not big enough (" + std::to_string(length) +
                     " bytes) to contain the required header  (16 bytes)!",
                 "PersistentAttributes::GetMajorComponentsFromStateDataBuffer", kFile},
        "short " + std::to_string(length));
  }
  for (const char* other : {"10 00 00 00 02 00 07 20 07 00 04 00 00 00 E7 03",     // newer
                            "10 00 00 00 FF FF 05 20 07 00 04 00 00 00 E7 03",     // older than the oldest read
                            "14 00 00 00 01 00 07 20 07 00 04 00 00 00 E7 03"}) {  // another size
    const auto read = PersistentAttributesHeaderType::FromBytes(hexBytes(other));
    expectImportFailure<CPExceptionMissingOrBadPersistentAttributesFormat>(
        object, persisted(abns, other),
        Expected{InternalHaldenCP::formatToStdString(
                     "The persisted attributes header is not of a version that can be read (header size %lu, format "
                     "version 0x%08lx; expected header size 16, format version 0x20070001).",
                     read.m_headerSize, read.m_formatVersion),
                 "PersistentAttributes::GetMajorComponentsFromStateDataBuffer", kFile},
        other);
  }
}

TEST_F(PersistentAttributesImportFailure, Step3TheFooterMustBeThere) {
  expectImportFailure<CPExceptionMissingOrBadCompressedBufferFooter>(
      object, concat({header, stream}),
      Expected{"Footer information missing (buffer is " + std::to_string(stream.size()) +
                   " bytes versus footer size of 13, 12, or 8) OR signature bytes were invalid (yes). "
                   "CompressedBuffer ByteBuffer is invalid!",
               "CompressedBuffer::GetFooterInfo", ""},
      "no footer");
  expectImportFailure<CPExceptionMissingOrBadCompressedBufferFooter>(object, header, Expected{}, "header only");
}

TEST_F(PersistentAttributesImportFailure, Step4WhatTheFooterSaysMustFitTheData) {
  struct ValidationRow {
    ByteBuffer state;
    std::string message;
  };
  const ValidationRow validationRows[] = {
      {concat({header, stream, footer(2, -1, size)}),
       "The compressed data is in compression format 2, but persisted attributes are always Zlib compressed (format "
       "1)."},
      {concat({header, stream, footer(0, -1, size)}),
       "The compressed data is in compression format 0, but persisted attributes are always Zlib compressed (format "
       "1)."},
      {concat({header, stream, footer(1, 10, size)}),
       "The compression level in the footer (10) is not a Zlib level (-1 to 9)."},
      {concat({header, stream, footer(1, -2, size)}),
       "The compression level in the footer (-2) is not a Zlib level (-1 to 9)."},
      {concat({header, stream, footer(1, -1, -5)}), "The original size in the footer (-5) is negative."},
      {concat({header, stream, footer(1, -1, 0)}), "The original size in the footer is 0, but " +
                                                       std::to_string(stream.size()) +
                                                       " bytes of compressed data precede the footer."},
      {concat({header, footer(1, -1, 20)}),
       "The original size in the footer is 20 bytes, but there is no compressed data."},
      {concat({header, hexBytes("78 9C 03 00 00 00 00 01"), footer(1, -1, 8257)}),
       "The original size in the footer (8257) is impossible for 8 bytes of Zlib data (at most 8256 bytes can come "
       "out)."},
      {concat({header, hexBytes("1F 8B 08 00"), footer(1, -1, 4)}),
       "The compressed data does not begin with a Zlib stream header (1F 8B)."},
      {concat({header, hexBytes("78 9D 03 00"), footer(1, -1, 4)}),
       "The compressed data does not begin with a Zlib stream header (78 9D)."},
      {concat({header, hexBytes("78 BB 03 00"), footer(1, -1, 4)}),  // preset dictionary
       "The compressed data does not begin with a Zlib stream header (78 BB)."},
      {concat({header, hexBytes("78"), footer(1, -1, 4)}),
       "The compressed data does not begin with a Zlib stream header (78)."},
  };
  for (const ValidationRow& row : validationRows) {
    expectImportFailure<CPExceptionMissingOrBadPersistentAttributesFormat>(
        object, row.state, Expected{row.message, "PersistentAttributes::ValidateCompressedData", kFile}, row.message);
  }
}

TEST_F(PersistentAttributesImportFailure, Step3TheZlibDataMustBeSound) {
  ByteBuffer badCheck = stream;
  badCheck.back() ^= 0x01;  // the Adler-32 at the end of the stream
  expectImportFailure<CPExceptionCompression>(
      object, concat({header, badCheck, footer(1, -1, size)}),
      Expected{"ZlibCompressedBuffer::uncompressData(): ZLIB returned an error (Z_DATA_ERROR (data error)) from "
               "uncompress()!",
               "ZlibCompressedBuffer::UncompressData", ""},
      "bad check value");
  const ByteBuffer cut(stream.begin(), stream.end() - 6);
  expectImportFailure<CPExceptionCompression>(object, concat({header, cut, footer(1, -1, size)}), Expected{},
                                              "stream cut short");
  ByteBuffer badBlock = stream;
  badBlock[2] = 0xFF;  // block type 3 (reserved)
  expectImportFailure<CPExceptionCompression>(object, concat({header, badBlock, footer(1, -1, size)}), Expected{},
                                              "bad block type");
}

TEST_F(PersistentAttributesImportFailure, Step3TheDecompressedSizeMustMatchTheFooter) {
  for (const std::int32_t claimed : {size - 1, size + 1, std::int32_t{1}}) {
    expectImportFailure<CPExceptionMissingOrBadPersistentAttributesFormat>(
        object, concat({header, stream, footer(1, -1, claimed)}),
        Expected{"Size of decompressed data (" + std::to_string(abns.size()) +
                     ") doesn't match the expected original size (" + std::to_string(claimed) + ").",
                 "PersistentAttributes::GetComponentsFromCompressedDataBuffer", kFile},
        "claimed " + std::to_string(claimed));
  }
}

TEST_F(PersistentAttributesImportFailure, Step5TheNameSpacesStateMustBeSound) {
  const char* const badSignature = "Import request ignored. This expected signature is missing or doesn't match.";
  struct SignatureRow {
    std::size_t offset;
    const char* function;
  };
  for (const SignatureRow& row : {SignatureRow{0, "AttributeBytesNameSpaces::ImportAttributeBytesNameSpacesState"},
                                  SignatureRow{12, "AttributeBytesIndexedList::ImportAttributeBytesIndexedListState"},
                                  SignatureRow{19, "AttributeBytesRawList::ImportAttributeBytesRawListState"}}) {
    ByteBuffer damaged = abns;
    damaged[row.offset] ^= 0x20;
    expectImportFailure<CPExceptionMissingOrBadAttributeBytesFormat>(
        object, persisted(damaged), Expected{badSignature, row.function, ""}, row.function);
  }
  expectImportFailure<CPExceptionNotEnoughBytesForDesiredDataType>(object, persisted(hexBytes("41 42 4E")), Expected{},
                                                                   "3-byte namespaces state");
  expectImportFailure<CPExceptionNotEnoughBytesForDesiredDataType>(
      object, persisted(hexBytes("41 42 4E 53 07 00 04 00 00")), Expected{}, "version cut short");
  expectImportFailure<CPExceptionNotEnoughBytesForDesiredDataType>(
      object, persisted(ByteBuffer(abns.begin(), abns.end() - 5)), Expected{}, "namespace record cut short");
  expectImportFailure<CPExceptionUnhandledSyntax>(object, persisted(concat({abns, hexBytes("0A")})), Expected{},
                                                  "unknown id tag after the last namespace");
  expectImportFailure<CPExceptionDuplicateAttributeId>(
      object,
      persisted(concat({hexBytes("41 42 4E 53 07 00 04 00 00 00 E7 03 41 42 49 4C 41 42 52 4C"),
                        hexBytes("09 04 00 00 00 05 00 01 09 04 00 00 00 05 00 00")})),
      Expected{}, "the same namespace twice");
}

TEST_F(PersistentAttributesImportFailure, Step5RecordsAreCheckedWhenAskedOtherwiseWhenRead) {
  AttributeBytesRawList damagedList;
  damagedList.ImportAttributeBytesRawListState(hexBytes("41 42 52 4C 02 05 00 00 00 03 00 2C 01"));
  AttributeBytesRawList nestedDamage;
  nestedDamage.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesListValue(0, damagedList)));
  AttributeBytesRawList deeper;
  deeper.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(2), AttributeBytesListValue(0, nestedDamage)));
  for (const AttributeBytesRawList* inner : {&damagedList, &deeper}) {
    AttributeBytesNameSpaces withDamage = nameSpaces;
    withDamage.SetNameSpace(AttributeBytesNameSpacesId(4), *inner);
    const ByteBuffer state = persisted(nameSpacesStateOf(withDamage));
    expectImportFailure<CPExceptionNotEnoughBytesForDesiredDataType>(object, state, Expected{}, "damaged record", true);
    PersistentAttributes trusting;
    ASSERT_TRUE(trusting.ImportPersistentAttributesState(state, version, true, false));
    AttributeBytesRawList records;
    ASSERT_TRUE(trusting.GetAttributeBytesListForNameSpace(AttributeBytesNameSpacesId(4), records));
    EXPECT_TRUE(records.IsEqual(*inner));
  }
  AttributeBytesNameSpaces notNameSpaces(DriverVersion(7, 4, 0, 999));
  notNameSpaces.GetNameSpacesIndexedList().AddAttributeBytes(
      AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300)));
  expectImportFailure<CPExceptionMissingOrBadPersistentAttributesFormat>(
      object, persisted(nameSpacesStateOf(notNameSpaces)),
      Expected{"The namespaces state holds a record that is not a namespace list (Feature(5), ABVTE_INTEGER).",
               "PersistentAttributes::ImportPersistentAttributesState", kFile},
      "not a namespace", true);
}

TEST_F(PersistentAttributesImportFailure, AFailedImportingConstructorLeavesADefaultObject) {
  version = DriverVersion(1, 1, 1, 1);
  const PersistentAttributes failed(ByteBuffer(good.begin(), good.begin() + 15), false, &version);
  EXPECT_EQ(version, DriverVersion());
  EXPECT_EQ(failed.GetPersistentAttributesStateSize(), 29u);
  EXPECT_THROW(PersistentAttributes(ByteBuffer(good.begin(), good.begin() + 15), true, &version),
               CPExceptionMissingOrBadPersistentAttributesFormat);
}

TEST(PersistentAttributes, OlderStatesAreUpgraded) {
  const AttributeBytesNameSpaces nameSpaces = patest::realisticNameSpaces(2);
  const ByteBuffer abns = nameSpacesStateOf(nameSpaces);
  const ByteBuffer current = PersistentAttributes(nameSpaces).GetPersistentAttributesState();

  // A current state is used as it is.
  ByteBuffer upgraded = hexBytes("AA");
  EXPECT_FALSE(PersistentAttributes::UpgradeOldStateDataVersionIfNecessary(current, upgraded));
  EXPECT_EQ(hexText(upgraded), "AA");

  // Older format versions of the same layout: only the version is rewritten,
  // the creator version is kept.
  for (const char* older : {"10 00 00 00 00 00 06 20 06 00 00 00 00 00 01 00",     // 0x20060000, the oldest
                            "10 00 00 00 34 12 06 20 06 00 05 00 00 00 00 00",     // 0x20061234
                            "10 00 00 00 00 00 07 20 07 00 03 00 00 00 10 00"}) {  // 0x20070000
    const ByteBuffer state = persisted(abns, older);
    ASSERT_TRUE(PersistentAttributes::UpgradeOldStateDataVersionIfNecessary(state, upgraded)) << older;
    ByteBuffer expected = state;
    expected[4] = 0x01;
    expected[5] = 0x00;
    expected[6] = 0x07;
    expected[7] = 0x20;
    EXPECT_EQ(upgraded, expected);
    DriverVersion version;
    const PersistentAttributes read(state, true, &version);
    EXPECT_EQ(version, DriverVersion(7048, 1, 0, 999));
    EXPECT_TRUE(read.GetHeader().IsCurrentVersionHeader());
    EXPECT_EQ(read.GetHeader().GetCreatorVersion(),
              PersistentAttributesHeaderType::FromBytes(hexBytes(older)).GetCreatorVersion());
    EXPECT_EQ(read.GetPersistentAttributesState(), current);  // written anew as current
  }

  // No header: the zlib stream and its footer, in each footer form.
  const ByteBuffer stream = zlibStream(abns);
  const auto size = static_cast<std::uint32_t>(abns.size());
  const ByteBuffer sizeBytes{static_cast<unsigned char>(size >> 24), static_cast<unsigned char>(size >> 16),
                             static_cast<unsigned char>(size >> 8), static_cast<unsigned char>(size)};
  for (const ByteBuffer& tail : {footer(1, -1, static_cast<std::int32_t>(size)),
                                 concat({hexBytes("FF FF FF FF"), sizeBytes, hexBytes("43 4F 4D 34")}),
                                 concat({sizeBytes, hexBytes("43 4F 4D 50")})}) {
    const ByteBuffer headerless = concat({stream, tail});
    ASSERT_TRUE(PersistentAttributes::UpgradeOldStateDataVersionIfNecessary(headerless, upgraded));
    EXPECT_EQ(hexText(upgraded),
              hexText(concat({hexBytes("10 00 00 00 01 00 07 20 00 00 00 00 00 00 00 00"), headerless})));
    DriverVersion version;
    PersistentAttributes read;
    ASSERT_TRUE(read.ImportPersistentAttributesState(headerless, version, true, true)) << hexText(tail);
    EXPECT_EQ(version, DriverVersion(7048, 1, 0, 999));
    EXPECT_EQ(read.GetHeader().GetCreatorVersion(), DriverVersion());  // unknown
    EXPECT_EQ(read.GetPersistentAttributesState(), current);
  }
  // Not recognised: a stream without a footer, a footer alone, and a state
  // that is neither; these are judged as current states and refused.
  for (const ByteBuffer& other : {stream, footer(1, -1, 0), concat({hexBytes("79 9C"), footer(1, -1, 0)})}) {
    EXPECT_FALSE(PersistentAttributes::UpgradeOldStateDataVersionIfNecessary(other, upgraded)) << hexText(other);
    EXPECT_THROW(PersistentAttributes(other, true, nullptr), CPExceptionMissingOrBadPersistentAttributesFormat);
  }
}

TEST(PersistentAttributes, DumpsNameTheWellKnownNameSpacesAndTheParts) {
  AttributeBytesNameSpaces nameSpaces(DriverVersion(7, 4, 0, 999));
  AttributeBytesRawList records;
  records.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300)));
  nameSpaces.AddNameSpace(PersistentAttributes::GetSavedSettingsNameSpaceId(), records);
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(77), records);
  const PersistentAttributes object(nameSpaces);
  const auto& helper = NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance();

  std::string dump;
  object.AttributeBytesDump(DumpArgs(&dump), helper);
  EXPECT_EQ(dump.rfind("PersistentAttributes: header size 16, format version 0x20070001 (current), creator version "
                       "0.7.0.4.0.0.0.999\n",
                       0),
            0u)
      << dump;
  EXPECT_NE(dump.find("NameSpace(4 SavedSettings)"), std::string::npos) << dump;
  EXPECT_NE(dump.find("NameSpace(77)"), std::string::npos) << dump;
  EXPECT_NE(dump.find("Feature(5) value=300"), std::string::npos) << dump;

  std::string stateDump;
  object.DumpStateData(DumpArgs(&stateDump), helper);
  const ByteBuffer state = object.GetPersistentAttributesState();
  EXPECT_EQ(stateDump.rfind("PersistentAttributes state: " + std::to_string(state.size()) + " bytes\n", 0), 0u);
  EXPECT_NE(stateDump.find("footer: 13 bytes, format 1, level -1, original size " +
                           std::to_string(nameSpacesStateOf(nameSpaces).size()) +
                           "; compressed data: " + std::to_string(state.size() - 29) + " bytes"),
            std::string::npos)
      << stateDump;
  EXPECT_NE(stateDump.find("NameSpace(4 SavedSettings)"), std::string::npos) << stateDump;

  std::string badDump;
  PersistentAttributes::DumpStateData(ByteBuffer(state.begin(), state.begin() + 20), DumpArgs(&badDump), helper);
  EXPECT_NE(badDump.find("footer: missing"), std::string::npos) << badDump;
  EXPECT_NE(badDump.find("import failed: class CPExceptionMissingOrBadCompressedBufferFooter"), std::string::npos)
      << badDump;
  std::string shortDump;
  PersistentAttributes::DumpStateData(hexBytes("10 00"), DumpArgs(&shortDump), helper);
  EXPECT_NE(shortDump.find("header: missing"), std::string::npos) << shortDump;
}

// Leaves a persisted state and its namespaces state in the interop folder for
// tests/interop/check_persisted_state.py, which reads them with Python's zlib.
TEST(PersistentAttributesInterop, WritesPersistedStateForOtherReaders) {
  const std::string folder = compression_test::interopFolder();
  std::filesystem::create_directories(folder);
  const char separator = folder.find('\\') != std::string::npos ? '\\' : '/';
  const AttributeBytesNameSpaces nameSpaces = patest::realisticNameSpaces(20);
  const ByteBuffer state = PersistentAttributes(nameSpaces).GetPersistentAttributesState();
  ASSERT_TRUE(compression_test::writeFile(folder + separator + "persisted_state.bin", state));
  ASSERT_TRUE(compression_test::writeFile(folder + separator + "persisted_state.abns", nameSpacesStateOf(nameSpaces)));
  EXPECT_EQ(PersistentAttributes(state, true, nullptr).GetPersistentAttributesState(), state);
}

TEST(PersistentAttributes, CheckingEveryRecordFollowsNestedListsToALimitedDepth) {
  // A namespace whose list holds `nesting` list values one inside the other.
  const auto stateWithNesting = [](unsigned nesting) {
    AttributeBytesRawList list;
    list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(7)));
    for (unsigned i = 0; i < nesting; ++i) {
      AttributeBytesRawList outer;
      outer.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(2), AttributeBytesListValue(0, list)));
      list = outer;
    }
    AttributeBytesNameSpaces nameSpaces(DriverVersion(1, 2, 3, 4));
    nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(1), list);
    return PersistentAttributes(nameSpaces).GetPersistentAttributesState();
  };
  PersistentAttributes imported;
  DriverVersion version;
  EXPECT_TRUE(imported.ImportPersistentAttributesState(stateWithNesting(31), version, true, true));
  const ByteBuffer tooDeep = stateWithNesting(32);
  try {
    imported.ImportPersistentAttributesState(tooDeep, version, true, true);
    FAIL() << "no exception";
  } catch (const CPExceptionMissingOrBadPersistentAttributesFormat& e) {
    EXPECT_STREQ(e.getExceptionMessage(), "The namespaces state holds list values nested deeper than 32 levels.");
  }
  // Without the check the records are taken on trust.
  EXPECT_TRUE(imported.ImportPersistentAttributesState(tooDeep, version, true, false));
}

namespace {

// A zlib stream header followed by `size` - 2 bytes of junk: enough
// compressed bytes for the ratio check to let large claims through.
ByteBuffer junkStream(std::size_t size) {
  ByteBuffer junk{0x78, 0x9C};
  for (std::size_t i = 2; i < size; ++i) {
    junk.push_back(static_cast<unsigned char>(i * 131 + 7));
  }
  return junk;
}

}  // namespace

TEST(PersistentAttributes, HostileStatesAreRefusedByWhatTheyClaim) {
  PersistentAttributes object;
  const ByteBuffer header = hexBytes(kCurrentHeader);

  // A stream inflating to 16 MiB, footer claiming 1,000 bytes: inflation stops
  // soon after the claim, and the message says how far it went.
  const ByteBuffer zeros = zlibStream(ByteBuffer(std::size_t{16} << 20, 0));
  try {
    DriverVersion version;
    object.ImportPersistentAttributesState(concat({header, zeros, footer(1, -1, 1000)}), version, true, true);
    FAIL() << "no exception";
  } catch (const CPExceptionMissingOrBadPersistentAttributesFormat& e) {
    const std::string message = e.getExceptionMessage();
    const std::string prefix = "Size of decompressed data (at least ";
    ASSERT_EQ(message.rfind(prefix, 0), 0u) << message;
    const unsigned long long seen = std::stoull(message.substr(prefix.size()));
    EXPECT_GT(seen, 1000u);
    EXPECT_LE(seen, 1000u + ZlibCompressedBuffer::kMinimumSizeCountingAllowance + 4 * 1024);
    EXPECT_EQ(message, prefix + std::to_string(seen) + ") doesn't match the expected original size (1000).");
  }

  // The ceiling: 64 MiB by default, checked before anything is allocated or
  // inflated; at the ceiling the claim is believed as far as the data goes.
  EXPECT_EQ(object.GetMaximumOriginalSize(), 64UL << 20);
  const ByteBuffer junk = junkStream(70 * 1024);
  const Expected aboveDefault{
      "The original size in the footer (67108865) is above the maximum original size accepted (67108864 bytes).",
      "PersistentAttributes::ValidateCompressedData", kFile};
  expectImportFailure<CPExceptionMissingOrBadPersistentAttributesFormat>(
      object, concat({header, junk, footer(1, -1, (64 << 20) + 1)}), aboveDefault, "64 MiB + 1");
  expectImportFailure<CPExceptionCompression>(object, concat({header, junk, footer(1, -1, 64 << 20)}), Expected{},
                                              "64 MiB");
  // A 2 MB stream claiming 2 GiB - 1 bytes, and a 256 MB claim: refused at once.
  for (const std::int32_t claim : {std::int32_t{0x7FFFFFFF}, std::int32_t{256 << 20}}) {
    expectImportFailure<CPExceptionMissingOrBadPersistentAttributesFormat>(
        object, concat({header, junkStream(std::size_t{2100} << 10), footer(1, -1, claim)}),
        Expected{"The original size in the footer (" + std::to_string(claim) +
                     ") is above the maximum original size accepted (67108864 bytes).",
                 "PersistentAttributes::ValidateCompressedData", kFile},
        "claim " + std::to_string(claim));
  }
  // Footers that claim a negative size, or 4 GiB - 1 (negative as stored).
  for (const std::int32_t claim : {std::int32_t{-1}, std::int32_t{INT32_MIN}}) {
    expectImportFailure<CPExceptionMissingOrBadPersistentAttributesFormat>(
        object, concat({header, junk, footer(1, -1, claim)}),
        Expected{"The original size in the footer (" + std::to_string(claim) + ") is negative.",
                 "PersistentAttributes::ValidateCompressedData", kFile},
        "claim " + std::to_string(claim));
  }

  // The caller's own ceiling, on both sides, on the object and on the
  // importing constructor; the ceiling is the object's and survives imports.
  const AttributeBytesNameSpaces nameSpaces = patest::realisticNameSpaces(1);
  const ByteBuffer abns = nameSpacesStateOf(nameSpaces);
  const ByteBuffer state = persisted(abns);
  const auto size = static_cast<unsigned long>(abns.size());
  PersistentAttributes limited;
  limited.SetMaximumOriginalSize(size - 1);
  expectImportFailure<CPExceptionMissingOrBadPersistentAttributesFormat>(
      limited, state,
      Expected{"The original size in the footer (" + std::to_string(size) +
                   ") is above the maximum original size accepted (" + std::to_string(size - 1) + " bytes).",
               "PersistentAttributes::ValidateCompressedData", kFile},
      "one byte above the caller's ceiling");
  limited.SetMaximumOriginalSize(size);
  DriverVersion version;
  ASSERT_TRUE(limited.ImportPersistentAttributesState(state, version, true, true));
  EXPECT_EQ(limited.GetMaximumOriginalSize(), size);
  EXPECT_EQ(PersistentAttributes(limited).GetMaximumOriginalSize(), size);
  EXPECT_THROW(PersistentAttributes(state, true, nullptr, size - 1), CPExceptionMissingOrBadPersistentAttributesFormat);
  EXPECT_EQ(PersistentAttributes(state, true, &version, size).GetPersistentAttributesState(), state);
}

TEST(PersistentAttributes, EveryImportPathHoldsTheNestingLimit) {
  // A namespace whose list holds records nested `depth` list values deep.
  const auto stateNested = [](unsigned depth) {
    const ByteBuffer records = abtest::nestedListRecords(depth);
    ByteBuffer nameSpaces =
        hexBytes("41 42 4E 53 07 00 04 00 00 00 E7 03 41 42 49 4C 41 42 52 4C 09 04 00 00 00 0B 00 00");
    const auto listState = static_cast<std::uint32_t>(4 + records.size());
    for (int i = 0; i < 4; ++i) {
      nameSpaces.push_back(static_cast<unsigned char>(listState >> (8 * i)));
    }
    return persisted(concat({nameSpaces, hexBytes("41 42 52 4C"), records}));
  };
  // Lists at levels 1 (the namespace's) to 32 can be read; level 33 cannot.
  const auto walkDown = [](const PersistentAttributes& object) {
    AttributeBytesRawList list;
    EXPECT_TRUE(object.GetAttributeBytesListForNameSpace(AttributeBytesNameSpacesId(4), list));
    std::vector<AttributeBytesSharedPtr> held;
    const AttributeBytesRawList* current = &list;
    unsigned level = 1;
    try {
      for (;; ++level) {
        AttributeBytesRawListIterator iterator = current->GetRawListIterator();
        held.push_back(current->GetNextAttributeBytesFromRawListIterator(iterator));
        current = &held.back()->GetAttributeBytesValue().GetListValue().GetValue();
      }
    } catch (const CPExceptionMissingOrBadAttributeBytesFormat& e) {
      EXPECT_STREQ(e.getExceptionMessage(), "The records are nested in list values deeper than 32 levels.");
    }
    return level;
  };

  for (const unsigned depth : {40u, 100000u}) {
    SCOPED_TRACE(depth);
    const ByteBuffer state = stateNested(depth);
    // The checked import refuses at once.
    PersistentAttributes checked;
    DriverVersion version;
    try {
      checked.ImportPersistentAttributesState(state, version, true, true);
      ADD_FAILURE() << "no exception";
    } catch (const CPExceptionMissingOrBadPersistentAttributesFormat& e) {
      EXPECT_STREQ(e.getExceptionMessage(), "The namespaces state holds list values nested deeper than 32 levels.");
    }
    // The trusting import and the importing constructor take the records on
    // trust, and no reader gets below level 32.
    PersistentAttributes trusting;
    ASSERT_TRUE(trusting.ImportPersistentAttributesState(state, version, true, false));
    EXPECT_EQ(walkDown(trusting), 33u);
    const PersistentAttributes constructed(state, true, nullptr);
    EXPECT_EQ(walkDown(constructed), 33u);
    std::string dump;
    constructed.AttributeBytesDump(DumpArgs(&dump), NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
    EXPECT_NE(dump.find("<records nested too deeply, not shown>"), std::string::npos);
  }
  // At the limit everything is read.
  const PersistentAttributes atTheLimit(stateNested(31), true, nullptr);
  AttributeBytesRawList list;
  ASSERT_TRUE(atTheLimit.GetAttributeBytesListForNameSpace(AttributeBytesNameSpacesId(4), list));
  std::vector<AttributeBytesSharedPtr> held;
  const AttributeBytesRawList* current = &list;
  for (unsigned level = 1; level <= 32; ++level) {
    AttributeBytesRawListIterator iterator = current->GetRawListIterator();
    held.push_back(current->GetNextAttributeBytesFromRawListIterator(iterator));
    ASSERT_TRUE(held.back());
    if (level < 32) {
      current = &held.back()->GetAttributeBytesValue().GetListValue().GetValue();
    }
  }
  EXPECT_EQ(held.back()->GetDebugDisplayString(), "Feature(1) value=7");
}
