#include "AttributeBytesTestSupport.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIdFactory.h"
#include "attributebytes/AttributeBytesReader.h"
#include "attributebytes/AttributeBytesValueFactory.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using abtest::concat;
using abtest::Expected;
using abtest::expectThrow;
using abtest::hexBytes;
using abtest::hexText;

namespace {

const char* const kNotEnough = "";  // the walkers' message is checked in the ByteBuffer tests

struct IdRow {
  std::shared_ptr<AttributeBytesId> id;
  const char* idPart;  // tag and payload
  const char* typeName;
  const char* displayText;
};

std::vector<IdRow> idRows() {
  return {
      {std::make_shared<AttributeBytesFeatureId>(5), "02 05 00 00 00", "ABIDE_FEATURE", "Feature(5)"},
      {std::make_shared<AttributeBytesNewFeatureId>(CXString(u"AB")), "03 02 00 41 00 42 00", "ABIDE_NEWFEATURE",
       "NewFeature('AB')"},
      {std::make_shared<AttributeBytesValueId>(-1), "04 FF FF FF FF", "ABIDE_VALUE", "Value(-1)"},
      {std::make_shared<AttributeBytesNewValueId>(CXString()), "05 00 00", "ABIDE_NEWVALUE", "NewValue('')"},
      {std::make_shared<AttributeBytesListOfValuesItemId>(3), "06 03 00 00 00", "ABIDE_LISTOFVALUESITEM",
       "ListItem(3)"},
      {std::make_shared<AttributeBytesCapabilityId>(0x01020304, 7), "07 07 00 04 03 02 01", "ABIDE_CAPABILITY",
       "Capability(7, Feature(16909060))"},
      {std::make_shared<AttributeBytesNewCapabilityId>(CXString(u"A\u00E9"), -2), "08 FE FF 02 00 41 00 E9 00",
       "ABIDE_NEWCAPABILITY", "NewCapability(-2, NewFeature('A\xC3\xA9'))"},
      {std::make_shared<AttributeBytesNameSpacesId>(4), "09 04 00 00 00", "ABIDE_NAMESPACE", "NameSpace(4)"},
  };
}

struct ValueRow {
  std::shared_ptr<AttributeBytesValue> value;
  std::string valuePart;  // tag, flag and payload
  const char* typeName;
  std::string displayLine;  // with "Feature(5)" as the id text
};

ByteBuffer littleEndian64(std::int64_t value) {
  ByteBuffer bytes;
  for (int i = 0; i < 8; ++i) {
    bytes.push_back(static_cast<unsigned char>(static_cast<std::uint64_t>(value) >> (8 * i)));
  }
  return bytes;
}

AttributeBytesRawList listOfOneBoolean() {
  AttributeBytesRawList list;
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesBooleanValue(true)));
  return list;
}

std::vector<ValueRow> valueRows() {
  const UtcTime when(2023, 11, 14, 22, 13, 20);
  return {
      {std::make_shared<AttributeBytesOptionValue>(AttributeBytesValueId(7)), "02 00 04 07 00 00 00", "ABVTE_OPTION",
       "Feature(5) value=Value(7)"},
      {std::make_shared<AttributeBytesOptionValue>(AttributeBytesNewValueId(CXString(u"x")), false),
       "02 01 05 01 00 78 00", "ABVTE_OPTION", "Feature(5) value=NewValue('x') <unspecified>"},
      {std::make_shared<AttributeBytesIntegerValue>(300), "03 00 2C 01 00 00", "ABVTE_INTEGER", "Feature(5) value=300"},
      {std::make_shared<AttributeBytesIntegerValue>(-2, false), "03 01 FE FF FF FF", "ABVTE_INTEGER",
       "Feature(5) value=-2 <unspecified>"},
      {std::make_shared<AttributeBytesStringValue>(CXString(u"AB")), "04 00 02 00 41 00 42 00", "ABVTE_STRING",
       "Feature(5) value='AB'"},
      {std::make_shared<AttributeBytesBooleanValue>(true), "05 00 01", "ABVTE_BOOLEAN", "Feature(5) value=TRUE"},
      {std::make_shared<AttributeBytesBooleanValue>(false), "05 00 00", "ABVTE_BOOLEAN", "Feature(5) value=FALSE"},
      {std::make_shared<AttributeBytesRangeValue>(-1, 7), "06 00 FF FF FF FF 07 00 00 00", "ABVTE_RANGE",
       "Feature(5) value=[-1, 7]"},
      {std::make_shared<AttributeBytesRangeOfDimensionValue>(Dimension(210, DIMENSION_UNIT_MILLIMETERS),
                                                             Dimension(0.5, DIMENSION_UNIT_MILLIMETERS)),
       "07 00 50 34 03 00 F4 01 00 00", "ABVTE_RANGEOFDIMENSION", "Feature(5) value=[210 mm, 0.5 mm]"},
      {std::make_shared<AttributeBytesDimensionValue>(Dimension(1, DIMENSION_UNIT_INCHES)), "08 00 38 63 00 00",
       "ABVTE_DIMENSION", "Feature(5) value=1 in"},
      // Number's rounding: 2.5 microns are stored as 2.
      {std::make_shared<AttributeBytesDimensionValue>(Dimension(2.5, DIMENSION_UNIT_MICRONS)), "08 00 02 00 00 00",
       "ABVTE_DIMENSION", "Feature(5) value=2.5 um"},
      {std::make_shared<AttributeBytesResolutionValue>(600, 1200, 3), "09 00 B0 04 00 00 58 02 00 00 03 00",
       "ABVTE_RESOLUTION", "Feature(5) value=600 x 1200 (3)"},
      {std::make_shared<AttributeBytesDataBlobValue>(ByteBuffer{0xAA, 0xBB}), "0A 00 02 00 00 00 AA BB",
       "ABVTE_DATABLOB", "Feature(5) value=2 bytes: AABB"},
      {std::make_shared<AttributeBytesDataBlobValue>(ByteBuffer()), "0A 00 00 00 00 00", "ABVTE_DATABLOB",
       "Feature(5) value=0 bytes: "},
      {std::make_shared<AttributeBytesListValue>(3, listOfOneBoolean()),
       "0B 00 03 0C 00 00 00 41 42 52 4C 02 01 00 00 00 05 00 01", "ABVTE_LIST",
       "Feature(5) value=list of kind 3, 8 bytes"},
      {std::make_shared<AttributeBytesListValue>(0, AttributeBytesRawList()), "0B 00 00 04 00 00 00 41 42 52 4C",
       "ABVTE_LIST", "Feature(5) value=list of kind 0, 0 bytes"},
      {std::make_shared<AttributeBytesDateTimeValue>(when), "0C 00 " + hexText(littleEndian64(when.ToTime64())),
       "ABVTE_DATETIME", "Feature(5) value=2023-11-14T22:13:20Z"},
  };
}

// Every record of the tables above: each id with an integer, and feature 5
// with each value.
std::vector<AttributeBytes> sampleRecords() {
  std::vector<AttributeBytes> records;
  for (const IdRow& row : idRows()) {
    records.emplace_back(*row.id, AttributeBytesIntegerValue(1));
  }
  for (const ValueRow& row : valueRows()) {
    records.emplace_back(AttributeBytesFeatureId(5), *row.value);
  }
  return records;
}

class NamingHelper : public IAttributeBytesDebugDisplayHelper {
 public:
  std::string GetFeatureIdDisplayString(long featureId) const override {
    return featureId == 5 ? "PageMediaSize" : std::to_string(featureId);
  }
  std::string GetValueIdDisplayString(long valueId) const override {
    return valueId == 7 ? "ISOA4" : std::to_string(valueId);
  }
  std::string GetCapabilityTypeDisplayString(short capabilityType) const override {
    return capabilityType == 7 ? "Default" : std::to_string(capabilityType);
  }
  std::string GetNameSpaceIdDisplayString(long nameSpaceId) const override {
    return nameSpaceId == 4 ? "SavedSettings" : std::to_string(nameSpaceId);
  }
};

}  // namespace

TEST(AttributeBytesId, EveryTypeWritesReadsClonesAndNamesItselfExactly) {
  for (const IdRow& row : idRows()) {
    const AttributeBytesId& id = *row.id;
    SCOPED_TRACE(row.typeName);
    const ByteBuffer expected = hexBytes(row.idPart);
    EXPECT_EQ(hexText(id.GetTypeAndIdentifierState()), row.idPart);
    EXPECT_EQ(hexText(id.GetIdentifierState()), hexText(ByteBuffer(expected.begin() + 1, expected.end())));
    ByteBuffer replaced{0x99, 0x98};
    id.GetTypeAndIdentifierState(replaced);
    EXPECT_EQ(hexText(replaced), row.idPart);
    EXPECT_STREQ(id.GetTypeDebugDisplayString(), row.typeName);
    EXPECT_STREQ(AttributeBytesId::GetTypeDebugDisplayString(id.GetAttributeBytesIdType()), row.typeName);
    EXPECT_EQ(id.GetDebugDisplayString(), row.displayText);

    // Created by the factory from the tag, the payload reads back equal and
    // the cursor ends exactly after it (a trailing byte stays unread).
    std::unique_ptr<AttributeBytesId> parsed =
        AttributeBytesIdFactory::CreateAttributeBytesId(static_cast<AttributeBytesIdEnum>(expected[0]));
    ByteBuffer payload(expected.begin() + 1, expected.end());
    payload.push_back(0x5A);
    unsigned char* cursor = payload.data();
    unsigned int remaining = static_cast<unsigned int>(payload.size());
    parsed->WalkBufferToSetIdentifier(cursor, remaining);
    EXPECT_EQ(remaining, 1u);
    EXPECT_EQ(*cursor, 0x5A);
    EXPECT_TRUE(parsed->IsEqual(id));
    EXPECT_TRUE(id.Clone()->IsEqual(id));

    // Cut anywhere inside the payload: the library's exception, and neither
    // the id nor the cursor moves.
    for (unsigned cut = 0; cut + 1 < expected.size(); ++cut) {
      std::unique_ptr<AttributeBytesId> target = id.Clone();
      const unsigned char* start = payload.data();
      const unsigned char* walk = start;
      unsigned int left = cut;
      expectThrow<CPExceptionNotEnoughBytesForDesiredDataType>(
          [&] { target->WalkBufferToSetIdentifier(walk, left); }, Expected{kNotEnough, "", ""},
          std::string(row.typeName) + " cut at " + std::to_string(cut));
      EXPECT_EQ(walk, start);
      EXPECT_EQ(left, cut);
      EXPECT_TRUE(target->IsEqual(id));
    }

    // Raw memory: exactly the size fits; one byte less throws and writes nothing.
    std::vector<unsigned char> memory(expected.size() + 2, 0xEE);
    EXPECT_EQ(id.GetTypeAndIdentifierState(memory.data(), static_cast<unsigned int>(expected.size())), expected.size());
    EXPECT_EQ(hexText(ByteBuffer(memory.begin(), memory.begin() + static_cast<long>(expected.size()))), row.idPart);
    EXPECT_EQ(memory[expected.size()], 0xEE);
    std::vector<unsigned char> small(expected.size(), 0xEE);
    expectThrow<CPExceptionNotEnoughBytesForDesiredDataType>(
        [&] { id.GetTypeAndIdentifierState(small.data(), static_cast<unsigned int>(expected.size() - 1)); },
        Expected{"Cannot copy the AttributeBytesId state: it needs " + std::to_string(expected.size()) +
                     " bytes, but the destination holds only " + std::to_string(expected.size() - 1) + " bytes.",
                 "AttributeBytesId::GetTypeAndIdentifierState", "UtilitiesDll\\attributebytes\\AttributeBytesId"});
    EXPECT_EQ(small, std::vector<unsigned char>(expected.size(), 0xEE));
  }
  EXPECT_STREQ(AttributeBytesId::GetTypeDebugDisplayString(ABIDE_UNSPECIFIED), "ABIDE_UNSPECIFIED");
  EXPECT_STREQ(AttributeBytesId::GetTypeDebugDisplayString(static_cast<AttributeBytesIdEnum>(0)), "UNKNOWN!");
  EXPECT_STREQ(AttributeBytesId::GetTypeDebugDisplayString(static_cast<AttributeBytesIdEnum>(10)), "UNKNOWN!");

  // `long` fields hold 32-bit values wherever long is wider.
  EXPECT_EQ(AttributeBytesFeatureId(static_cast<long>(0x7FFFFFFFL)).GetFeatureId(), 0x7FFFFFFFL);
  if constexpr (sizeof(long) > 4) {
    const long wide = static_cast<long>(0x100000005LL);
    EXPECT_EQ(AttributeBytesFeatureId(wide).GetFeatureId(), 5);
    EXPECT_EQ(AttributeBytesIntegerValue(-static_cast<long>(0x100000001LL)).GetValue(), -1);
  }
}

TEST(AttributeBytesId, OrderIsTotalByTagThenPayload) {
  std::vector<std::shared_ptr<AttributeBytesId>> ids;
  for (const IdRow& row : idRows()) {
    ids.push_back(row.id);
  }
  ids.push_back(std::make_shared<AttributeBytesFeatureId>(-7));
  ids.push_back(std::make_shared<AttributeBytesFeatureId>(6));
  ids.push_back(std::make_shared<AttributeBytesNewFeatureId>(CXString(u"A")));
  ids.push_back(std::make_shared<AttributeBytesNewFeatureId>(CXString(u"ABC")));
  ids.push_back(std::make_shared<AttributeBytesCapabilityId>(0x01020304, 6));
  ids.push_back(std::make_shared<AttributeBytesCapabilityId>(0x01020303, 9));
  ids.push_back(std::make_shared<AttributeBytesNewCapabilityId>(CXString(u"A\u00E9"), -3));
  ids.push_back(std::make_shared<AttributeBytesNameSpacesId>(4));  // equal to a row above
  for (const auto& a : ids) {
    for (const auto& b : ids) {
      const bool less = a->LessThan(*b);
      const bool greater = b->LessThan(*a);
      const bool equal = a->IsEqual(*b);
      EXPECT_EQ(int(less) + int(greater) + int(equal), 1)
          << a->GetDebugDisplayString() << " / " << b->GetDebugDisplayString();
      if (a->GetAttributeBytesIdType() != b->GetAttributeBytesIdType()) {
        EXPECT_EQ(less, a->GetAttributeBytesIdType() < b->GetAttributeBytesIdType());
      }
    }
  }
  EXPECT_TRUE(AttributeBytesFeatureId(-7).LessThan(AttributeBytesFeatureId(5)));
  EXPECT_TRUE(AttributeBytesFeatureId(99).LessThan(AttributeBytesValueId(-99)));  // tag first
  EXPECT_TRUE(AttributeBytesNewFeatureId(CXString(u"A")).LessThan(AttributeBytesNewFeatureId(CXString(u"AB"))));
  EXPECT_TRUE(AttributeBytesCapabilityId(1, 9).LessThan(AttributeBytesCapabilityId(2, 0)));  // feature id first
  EXPECT_TRUE(AttributeBytesCapabilityId(2, 0).LessThan(AttributeBytesCapabilityId(2, 1)));
  EXPECT_FALSE(AttributeBytesFeatureId(5).IsEqual(AttributeBytesValueId(5)));
}

TEST(AttributeBytesFactories, UnknownTagsThrowUnhandledSyntax) {
  struct Row {
    int tag;
    const char* name;
  };
  for (const Row& row : {Row{0, "UNKNOWN!"}, Row{1, "ABIDE_UNSPECIFIED"}, Row{10, "UNKNOWN!"}, Row{255, "UNKNOWN!"}}) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "%x", row.tag);
    expectThrow<CPExceptionUnhandledSyntax>(
        [&] { AttributeBytesIdFactory::CreateAttributeBytesId(static_cast<AttributeBytesIdEnum>(row.tag)); },
        Expected{std::string("Unhandled AttributeBytesId type, ") + row.name + " (" + std::to_string(row.tag) + "/0x" +
                     hex + ").",
                 "AttributeBytesIdFactory::CreateAttributeBytesId", ""});
  }
  for (const Row& row : {Row{0, "UNKNOWN!"}, Row{1, "ABVTE_UNSPECIFIED"}, Row{13, "UNKNOWN!"}, Row{200, "UNKNOWN!"}}) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "%x", row.tag);
    expectThrow<CPExceptionUnhandledSyntax>(
        [&] {
          AttributeBytesValueFactory::CreateAttributeBytesValue(static_cast<AttributeBytesValueEnum>(row.tag),
                                                                NoCoreDllsAttributeBytesDebugDisplayHelper());
        },
        Expected{std::string("Unhandled AttributeBytesValue syntax, ") + row.name + " (" + std::to_string(row.tag) +
                     "/0x" + hex + ").",
                 "AttributeBytesValueFactory::CreateAttributeBytesValue", ""});
  }
  // Every known tag creates its own class, not specified until read.
  for (int tag = 2; tag <= 9; ++tag) {
    EXPECT_EQ(AttributeBytesIdFactory::CreateAttributeBytesId(static_cast<AttributeBytesIdEnum>(tag))
                  ->GetAttributeBytesIdType(),
              tag);
  }
  for (int tag = 2; tag <= 12; ++tag) {
    const auto value = AttributeBytesValueFactory::CreateAttributeBytesValue(static_cast<AttributeBytesValueEnum>(tag));
    EXPECT_EQ(value->GetAttributeBytesValueType(), tag);
    EXPECT_FALSE(value->IsSpecified());
    EXPECT_EQ(value->IsList(), tag == ABVTE_LIST);
  }
}

TEST(AttributeBytesValue, EveryTypeWritesReadsComparesAndDisplaysExactly) {
  const std::vector<ValueRow> rows = valueRows();
  for (const ValueRow& row : rows) {
    const AttributeBytesValue& value = *row.value;
    SCOPED_TRACE(row.valuePart);
    const ByteBuffer expected = hexBytes(row.valuePart);
    EXPECT_EQ(hexText(value.GetTypeAndValueState()), row.valuePart);
    EXPECT_EQ(hexText(value.GetValueState()), hexText(ByteBuffer(expected.begin() + 2, expected.end())));
    EXPECT_STREQ(value.GetTypeDebugDisplayString(), row.typeName);
    EXPECT_EQ(value.GetDisplayLine("", "Feature(5)", NoCoreDllsAttributeBytesDebugDisplayHelper()), row.displayLine);

    // Read back through the factory and the payload walker.
    auto parsed =
        AttributeBytesValueFactory::CreateAttributeBytesValue(static_cast<AttributeBytesValueEnum>(expected[0]));
    parsed->SetSpecified(expected[1] == 0);
    const ByteBuffer payload(expected.begin() + 2, expected.end());
    const unsigned char* cursor = payload.data();
    unsigned int remaining = static_cast<unsigned int>(payload.size());
    parsed->WalkBufferToSetValue(cursor, remaining);
    EXPECT_EQ(remaining, 0u);
    EXPECT_TRUE(parsed->IsEqual(value));
    EXPECT_EQ(hexText(parsed->GetTypeAndValueState()), row.valuePart);
    EXPECT_TRUE(value.Clone()->IsEqual(value));

    // Cut anywhere in the payload: the library's exception, nothing moves.
    for (unsigned cut = 0; cut < payload.size(); ++cut) {
      std::unique_ptr<AttributeBytesValue> target = value.Clone();
      const unsigned char* walk = payload.data();
      unsigned int left = cut;
      expectThrow<CPExceptionNotEnoughBytesForDesiredDataType>([&] { target->WalkBufferToSetValue(walk, left); },
                                                               Expected{}, "cut at " + std::to_string(cut));
      EXPECT_EQ(walk, payload.data());
      EXPECT_EQ(left, cut);
      EXPECT_TRUE(target->IsEqual(value));
    }

    std::vector<unsigned char> small(expected.size(), 0xEE);
    expectThrow<CPExceptionNotEnoughBytesForDesiredDataType>(
        [&] { value.GetTypeAndValueState(small.data(), static_cast<unsigned int>(expected.size() - 1)); },
        Expected{"Cannot copy the AttributeBytesValue state: it needs " + std::to_string(expected.size()) +
                     " bytes, but the destination holds only " + std::to_string(expected.size() - 1) + " bytes.",
                 "AttributeBytesValue::GetTypeAndValueState", ""});
    EXPECT_EQ(small, std::vector<unsigned char>(expected.size(), 0xEE));
    EXPECT_EQ(value.GetTypeAndValueState(small.data(), static_cast<unsigned int>(small.size())), expected.size());
    EXPECT_EQ(hexText(ByteBuffer(small.begin(), small.end())), row.valuePart);
  }

  // Total order: by tag, then payload, then the specified flag.
  for (const ValueRow& a : rows) {
    for (const ValueRow& b : rows) {
      const bool less = a.value->LessThan(*b.value);
      const bool greater = b.value->LessThan(*a.value);
      EXPECT_EQ(int(less) + int(greater) + int(a.value->IsEqual(*b.value)), 1) << a.valuePart << " / " << b.valuePart;
    }
  }
  EXPECT_TRUE(AttributeBytesIntegerValue(5, false).LessThan(AttributeBytesIntegerValue(5, true)));
  EXPECT_FALSE(AttributeBytesIntegerValue(5, false).IsEqual(AttributeBytesIntegerValue(5, true)));
  EXPECT_TRUE(AttributeBytesIntegerValue(9).LessThan(AttributeBytesStringValue(CXString())));
  // Dimensions are equal when they store the same microns.
  EXPECT_TRUE(AttributeBytesDimensionValue(Dimension(1, DIMENSION_UNIT_INCHES))
                  .IsEqual(AttributeBytesDimensionValue(Dimension(25400, DIMENSION_UNIT_MICRONS))));
  // A boolean byte other than 0 reads as true; a flag byte other than 0 as unspecified.
  const AttributeBytes odd(hexBytes("02 05 00 00 00 05 07 02"));
  EXPECT_TRUE(static_cast<const AttributeBytesBooleanValue&>(odd.GetAttributeBytesValue()).GetValue());
  EXPECT_FALSE(odd.GetAttributeBytesValue().IsSpecified());
  EXPECT_EQ(hexText(odd.GetAttributeBytesState()), "02 05 00 00 00 05 01 01");
}

TEST(AttributeBytesValue, AccessorsOfOptionAndListValuesRefuseOtherKinds) {
  const AttributeBytesOptionValue byValue(AttributeBytesValueId(7));
  EXPECT_EQ(byValue.GetValueIdValue().GetValueId(), 7);
  expectThrow<CPExceptionAttributeValueTypeMismatch>(
      [&] { byValue.GetFeatureIdValue(); },
      Expected{"The AttributeBytesId value is of a different type (ABIDE_VALUE) than expected by this method.",
               "AttributeBytesOptionValue::GetFeatureIdValue", "UtilitiesDll\\attributebytes\\AttributeBytesValue"});
  const AttributeBytesOptionValue byFeature(std::make_unique<AttributeBytesFeatureId>(5));
  EXPECT_EQ(byFeature.GetFeatureIdValue().GetFeatureId(), 5);
  EXPECT_EQ(byFeature.GetValue().GetAttributeBytesIdType(), ABIDE_FEATURE);
  expectThrow<CPExceptionAttributeValueTypeMismatch>(
      [&] { byFeature.GetValueIdValue(); },
      Expected{"The AttributeBytesId value is of a different type (ABIDE_FEATURE) than expected by this method.",
               "AttributeBytesOptionValue::GetValueIdValue", ""});
  expectThrow<CPExceptionAutoPtrNull>([] { AttributeBytesOptionValue(std::unique_ptr<AttributeBytesId>()); },
                                      Expected{});

  const AttributeBytesIntegerValue integer(1);
  expectThrow<CPExceptionAttributeValueTypeMismatch>(
      [&] { integer.GetListValue(); }, Expected{"Can't convert a 'ABVTE_INTEGER' object to an AttributeBytesListValue!",
                                                "AttributeBytesValue::GetListValue", ""});
  const AttributeBytesListValue list(9, listOfOneBoolean());
  const AttributeBytesValue& asValue = list;
  EXPECT_EQ(asValue.GetListValue().GetKindOfList(), 9);
  EXPECT_EQ(asValue.GetListValue().GetValue().GetAttributeBytesCount(), 1u);

  long first = 0, second = 0;
  short third = 0;
  AttributeBytesResolutionValue(600, 1200, 3).GetValue(first, second, third);
  EXPECT_EQ(first, 600);
  EXPECT_EQ(second, 1200);
  EXPECT_EQ(third, 3);
}

TEST(AttributeBytes, RecordBytesParseWriteAndFailWithoutLosingState) {
  // Feature 5 with the integer 300, specified and not.
  const ByteBuffer specified = hexBytes("02 05 00 00 00 03 00 2C 01 00 00");
  const AttributeBytes record(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300));
  EXPECT_EQ(hexText(record.GetAttributeBytesState()), hexText(specified));
  const AttributeBytes unspecified(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300, false));
  EXPECT_EQ(unspecified.GetAttributeBytesState()[6], 0x01);
  const AttributeBytes parsed(specified);
  EXPECT_TRUE(parsed.IsEqual(record));
  EXPECT_EQ(parsed.GetDebugDisplayString(), "Feature(5) value=300");
  EXPECT_EQ(parsed.GetDebugDisplayString(NamingHelper()), "Feature(PageMediaSize) value=300");

  // Left-over bytes are ignored.
  ByteBuffer longer = specified;
  longer.push_back(0x77);
  EXPECT_TRUE(AttributeBytes(longer).IsEqual(record));

  // Every record of every type round-trips; cut at any byte it throws the
  // library's exception and the target keeps its id and value.
  for (const AttributeBytes& sample : sampleRecords()) {
    const ByteBuffer state = sample.GetAttributeBytesState();
    SCOPED_TRACE(hexText(state));
    EXPECT_TRUE(AttributeBytes(state).IsEqual(sample));
    AttributeBytes copy(sample);
    EXPECT_TRUE(copy.IsEqual(sample));
    EXPECT_NE(&copy.GetAttributeBytesId(), &sample.GetAttributeBytesId());  // cloned, not shared
    for (unsigned cut = 0; cut < state.size(); ++cut) {
      AttributeBytes target(record);
      expectThrow<CPExceptionNotEnoughBytesForDesiredDataType>(
          [&] { target.ImportAttributeBytesState(ByteBuffer(state.begin(), state.begin() + cut)); }, Expected{},
          "cut at " + std::to_string(cut));
      EXPECT_TRUE(target.IsEqual(record));
      EXPECT_THROW(AttributeBytes(ByteBuffer(state.begin(), state.begin() + cut)),
                   CPExceptionNotEnoughBytesForDesiredDataType);
    }
  }

  // Unknown id tags 0, 1 and 10 and an unknown value tag.
  for (const char* bad : {"00 05 00 00 00 03 00 2C 01 00 00", "01 05 00 00 00 03 00 2C 01 00 00",
                          "0A 05 00 00 00 03 00 2C 01 00 00", "02 05 00 00 00 0D 00 2C 01 00 00"}) {
    AttributeBytes target(record);
    expectThrow<CPExceptionUnhandledSyntax>([&] { target.ImportAttributeBytesState(hexBytes(bad)); }, Expected{}, bad);
    EXPECT_TRUE(target.IsEqual(record));
  }
  expectThrow<CPExceptionUnhandledSyntax>(
      [] { AttributeBytes(hexBytes("01 05 00 00 00")); },
      Expected{"Unhandled AttributeBytesId type, ABIDE_UNSPECIFIED (1/0x1).", "", ""});
  // A list value whose embedded state is not a raw list.
  expectThrow<CPExceptionMissingOrBadAttributeBytesFormat>(
      [] { AttributeBytes(hexBytes("02 05 00 00 00 0B 00 00 04 00 00 00 41 42 49 4C")); },
      Expected{"Import request ignored. This expected signature is missing or doesn't match.",
               "AttributeBytesRawList::ImportAttributeBytesRawListState", ""});
  expectThrow<CPExceptionNotEnoughBytesForDesiredDataType>(
      [] { AttributeBytes(hexBytes("02 05 00 00 00 0B 00 00 02 00 00 00 41 42")); }, Expected{});

  // Ownership and null parts.
  expectThrow<CPExceptionAutoPtrNull>(
      [] { AttributeBytes(std::unique_ptr<AttributeBytesId>(), std::make_unique<AttributeBytesIntegerValue>(1)); },
      Expected{});
  expectThrow<CPExceptionAutoPtrNull>(
      [] { AttributeBytes(std::make_unique<AttributeBytesFeatureId>(1), std::unique_ptr<AttributeBytesValue>()); },
      Expected{});
  AttributeBytes assigned(AttributeBytesFeatureId(1), AttributeBytesBooleanValue(true));
  assigned = record;
  EXPECT_TRUE(assigned.IsEqual(record));
  assigned.SetAttributeBytesValue(AttributeBytesStringValue(CXString(u"z")));
  EXPECT_EQ(hexText(assigned.GetAttributeBytesState()), "02 05 00 00 00 04 00 01 00 7A 00");
}

TEST(AttributeBytes, DumpsShowNestedListsAndNeverThrowOnDamagedBytes) {
  AttributeBytesRawList inner;
  inner.AddAttributeBytes(AttributeBytes(AttributeBytesValueId(7), AttributeBytesBooleanValue(false, false)));
  AttributeBytesRawList outer;
  outer.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesListValue(2, inner)));
  const AttributeBytes top(AttributeBytesNameSpacesId(4), AttributeBytesListValue(1, outer));

  std::string sink;
  top.AttributeBytesDump(DumpArgs(&sink, 2), NamingHelper());
  EXPECT_EQ(sink,
            "  NameSpace(SavedSettings) value=list of kind 1, 24 bytes\n"
            "    AttributeBytesRawList: 24 bytes\n"
            "      Feature(PageMediaSize) value=list of kind 2, 8 bytes\n"
            "        AttributeBytesRawList: 8 bytes\n"
            "          Value(ISOA4) value=FALSE <unspecified>\n");

  // Damaged records inside a list show where the damage is.
  AttributeBytesRawList damaged(hexBytes("41 42 52 4C 02 05 00 00 00 05 00 01 02 05 00"));
  sink.clear();
  damaged.AttributeBytesDump(DumpArgs(&sink), NoCoreDllsAttributeBytesDebugDisplayHelper());
  EXPECT_EQ(sink.substr(0, sink.find('\n', sink.find('\n') + 1) + 1),
            "AttributeBytesRawList: 11 bytes\n  Feature(5) value=TRUE\n");
  EXPECT_NE(sink.find("<damaged record at offset 8: Cannot convert"), std::string::npos) << sink;

  // Lists nested deeper than the dump shows are summarised, not expanded.
  AttributeBytesRawList deep;
  for (int level = 0; level < 100; ++level) {
    AttributeBytesRawList wrapper;
    wrapper.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(level), AttributeBytesListValue(0, deep)));
    deep = wrapper;
  }
  sink.clear();
  deep.AttributeBytesDump(DumpArgs(&sink), NoCoreDllsAttributeBytesDebugDisplayHelper());
  EXPECT_NE(sink.find("<records nested too deeply, not shown>"), std::string::npos);
  EXPECT_LT(sink.size(), 20000u);
}

TEST(AttributeBytesReader, WalksRecordsAndKeepsItsPlaceOnFailure) {
  ByteBuffer bytes;
  const std::vector<AttributeBytes> samples = sampleRecords();
  std::vector<unsigned> offsets;
  for (const AttributeBytes& sample : samples) {
    offsets.push_back(static_cast<unsigned>(bytes.size()));
    sample.AppendAttributeBytesState(bytes);
  }
  AttributeBytesReader reader(bytes);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    EXPECT_EQ(reader.GetOffset(), offsets[i]);
    const std::unique_ptr<AttributeBytes> record = reader.ReadNextAttributeBytes();
    ASSERT_TRUE(record);
    EXPECT_TRUE(record->IsEqual(samples[i]));
    EXPECT_EQ(reader.GetLastRecordOffset(), offsets[i]);
  }
  EXPECT_TRUE(reader.IsAtEnd());
  EXPECT_FALSE(reader.ReadNextAttributeBytes());
  EXPECT_FALSE(reader.ReadNextAttributeBytesSharedPtr());
  reader.Reset();
  EXPECT_TRUE(reader.SkipNextAttributeBytes());
  EXPECT_EQ(reader.GetOffset(), offsets[1]);

  // A record cut short: the exception passes, the reader stays in front of it.
  const ByteBuffer cut(bytes.begin(), bytes.begin() + offsets[1] + 3);
  AttributeBytesReader cutReader(cut);
  EXPECT_TRUE(cutReader.SkipNextAttributeBytes());
  AttributeBytes out(samples[0]);
  EXPECT_THROW(cutReader.ReadNextAttributeBytes(out), CPExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_EQ(cutReader.GetOffset(), offsets[1]);
  EXPECT_TRUE(out.IsEqual(samples[0]));
  EXPECT_EQ(AttributeBytesReader(nullptr, 5).GetLength(), 0u);
}

TEST(AttributeBytesRecord, TextsLongerThanACountedStringHoldsAreRefusedBeforeWriting) {
  AttributeBytesRawList list;
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(6), AttributeBytesIntegerValue(42)));
  const ByteBuffer before = list.GetAttributeBytesRawListState();
  const CXString longest(std::u16string(32767, u'A'));
  const CXString tooLong(std::u16string(32768, u'A'));
  // 32,767 units are written and read back.
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(7), AttributeBytesStringValue(longest)));
  EXPECT_EQ(list.GetAttributeBytesCount(), 2u);
  // 32,768 are refused, in values and in names, and the list is unchanged.
  AttributeBytesRawList other(before);
  EXPECT_THROW(other.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(8), AttributeBytesStringValue(tooLong))),
               CPExceptionInvalidArgument);
  EXPECT_THROW(
      other.AddAttributeBytes(AttributeBytes(AttributeBytesNewFeatureId(tooLong), AttributeBytesIntegerValue(1))),
      CPExceptionInvalidArgument);
  EXPECT_EQ(other.GetAttributeBytesRawListState(), before);
}

TEST(AttributeBytes, ParsedRecordsHoldTheirPartsAndSurviveEveryChange) {
  // A record of each value type, parsed from bytes (one allocation holding
  // record, id and value), then changed in every way a record can be.
  AttributeBytesRawList list;
  list.AddAttributeBytes(AttributeBytes(AttributeBytesNewFeatureId(CXString(u"a long feature name")),
                                        AttributeBytesStringValue(CXString(u"a long string value"))));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(2), AttributeBytesDataBlobValue(ByteBuffer(100, 7))));
  list.AddAttributeBytes(
      AttributeBytes(AttributeBytesCapabilityId(3, 4), AttributeBytesOptionValue(AttributeBytesValueId(9))));
  AttributeBytesRawList inner;
  inner.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(6)));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(4), AttributeBytesListValue(1, inner)));
  const ByteBuffer records = list.GetAttributeBytesRawListState();

  AttributeBytesReader reader(list);
  std::vector<std::unique_ptr<AttributeBytes>> parsed;
  while (std::unique_ptr<AttributeBytes> record = reader.ReadNextAttributeBytes()) {
    parsed.push_back(std::move(record));
  }
  ASSERT_EQ(parsed.size(), 4u);
  const std::vector<std::string> shown = {parsed[0]->GetDebugDisplayString(), parsed[1]->GetDebugDisplayString(),
                                          parsed[2]->GetDebugDisplayString(), parsed[3]->GetDebugDisplayString()};

  // Swapping a parsed record with a built one, then freeing the parsed one:
  // nothing of it may be left in the other.
  AttributeBytes built(AttributeBytesFeatureId(77), AttributeBytesIntegerValue(78));
  built.swap(*parsed[0]);
  parsed[0].reset();
  EXPECT_EQ(built.GetDebugDisplayString(), shown[0]);
  // Two parsed records swapped, both freed in turn.
  parsed[1]->swap(*parsed[2]);
  EXPECT_EQ(parsed[1]->GetDebugDisplayString(), shown[2]);
  std::unique_ptr<AttributeBytes> kept = std::move(parsed[2]);
  parsed[1].reset();
  EXPECT_EQ(kept->GetDebugDisplayString(), shown[1]);
  // Assignment, a new value, re-reading in place.
  *kept = *parsed[3];
  EXPECT_EQ(kept->GetDebugDisplayString(), shown[3]);
  parsed[3]->SetAttributeBytesValue(AttributeBytesBooleanValue(true));
  parsed[3]->ImportAttributeBytesState(built.GetAttributeBytesState());
  EXPECT_EQ(parsed[3]->GetDebugDisplayString(), shown[0]);

  // Every truncation of every record fails cleanly (the sanitizers see any
  // part left behind).
  const ByteBuffer bytes(records.begin() + 4, records.end());
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const unsigned char* cursor = bytes.data();
    unsigned int remaining = static_cast<unsigned int>(length);
    try {
      while (remaining > 0) {
        AttributeBytes::WalkBufferToCreateAttributeBytesSharedPtr(cursor, remaining, list.GetSource());
      }
    } catch (const CPException&) {
    }
  }
}

TEST(AttributeBytesReader, CheckingARecordFailsExactlyWhereReadingItFails) {
  // Fixed payload sizes, as the classes write them.
  struct IdRow {
    std::unique_ptr<AttributeBytesId> id;
    unsigned fixed;
  };
  IdRow ids[] = {{std::make_unique<AttributeBytesFeatureId>(1), 4},
                 {std::make_unique<AttributeBytesNewFeatureId>(CXString(u"n")), 0},
                 {std::make_unique<AttributeBytesValueId>(1), 4},
                 {std::make_unique<AttributeBytesNewValueId>(CXString(u"n")), 0},
                 {std::make_unique<AttributeBytesListOfValuesItemId>(1), 4},
                 {std::make_unique<AttributeBytesCapabilityId>(1, 2), 6},
                 {std::make_unique<AttributeBytesNewCapabilityId>(CXString(u"n"), 2), 0},
                 {std::make_unique<AttributeBytesNameSpacesId>(1), 4}};
  for (const IdRow& row : ids) {
    EXPECT_EQ(AttributeBytesIdFactory::GetFixedPayloadSize(row.id->GetAttributeBytesIdType()), row.fixed);
    if (row.fixed != 0) {
      EXPECT_EQ(row.id->GetIdentifierState().size(), row.fixed) << row.id->GetTypeDebugDisplayString();
    }
  }
  AttributeBytesRawList inner;
  inner.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(2)));
  struct ValueRow {
    std::unique_ptr<AttributeBytesValue> value;
    unsigned fixed;
  };
  ValueRow values[] = {{std::make_unique<AttributeBytesOptionValue>(AttributeBytesValueId(3)), 0},
                       {std::make_unique<AttributeBytesIntegerValue>(5), 4},
                       {std::make_unique<AttributeBytesStringValue>(CXString(u"text")), 0},
                       {std::make_unique<AttributeBytesBooleanValue>(true), 1},
                       {std::make_unique<AttributeBytesRangeValue>(1, 2), 8},
                       {std::make_unique<AttributeBytesRangeOfDimensionValue>(Dimension(1, DIMENSION_UNIT_MILLIMETERS),
                                                                              Dimension(2, DIMENSION_UNIT_MILLIMETERS)),
                        8},
                       {std::make_unique<AttributeBytesDimensionValue>(Dimension(3, DIMENSION_UNIT_INCHES)), 4},
                       {std::make_unique<AttributeBytesResolutionValue>(600, 1200, 3), 10},
                       {std::make_unique<AttributeBytesDataBlobValue>(ByteBuffer(3, 9)), 0},
                       {std::make_unique<AttributeBytesListValue>(1, inner), 0},
                       {std::make_unique<AttributeBytesDateTimeValue>(UtcTime(2020, 1, 2, 3, 4, 5)), 8}};
  for (const ValueRow& row : values) {
    EXPECT_EQ(AttributeBytesValueFactory::GetFixedPayloadSize(row.value->GetAttributeBytesValueType()), row.fixed);
    if (row.fixed != 0) {
      EXPECT_EQ(row.value->GetValueState().size(), row.fixed) << row.value->GetTypeDebugDisplayString();
    }
  }
  EXPECT_EQ(AttributeBytesIdFactory::GetFixedPayloadSize(static_cast<AttributeBytesIdEnum>(0)), 0u);
  EXPECT_EQ(AttributeBytesValueFactory::GetFixedPayloadSize(static_cast<AttributeBytesValueEnum>(13)), 0u);

  // Every id with every value, each cut at every length: checking and
  // reading agree on the outcome, the exception class and the position.
  AttributeBytesRawList all;
  for (const IdRow& id : ids) {
    for (const ValueRow& value : values) {
      all.AddAttributeBytes(AttributeBytes(*id.id, *value.value));
    }
  }
  const auto bytes = all.GetRecordBytes();
  for (std::size_t length = 0; length <= bytes.size(); length += (length < 200 ? 1 : 7)) {
    AttributeBytesRawList cut;
    cut.ImportAttributeBytesRawListState(
        concat({hexBytes("41 42 52 4C"), ByteBuffer(bytes.data(), static_cast<unsigned long>(length))}));
    AttributeBytesReader reading(cut);
    AttributeBytesReader checking(cut);
    for (;;) {
      std::string readFailure;
      std::string checkFailure;
      bool read = false;
      bool checked = false;
      std::unique_ptr<AttributeBytes> record;
      AttributeBytesRawList nested;
      bool isList = false;
      try {
        record = reading.ReadNextAttributeBytes();
        read = record != nullptr;
      } catch (const CPException& e) {
        readFailure = std::to_string(e.getExceptionTypeByNumericCode()) + e.getExceptionMessage();
      }
      try {
        checked = checking.CheckNextAttributeBytes(nested, isList);
      } catch (const CPException& e) {
        checkFailure = std::to_string(e.getExceptionTypeByNumericCode()) + e.getExceptionMessage();
      }
      ASSERT_EQ(checkFailure, readFailure) << length;
      ASSERT_EQ(checked, read) << length;
      ASSERT_EQ(checking.GetOffset(), reading.GetOffset()) << length;
      if (!read || !readFailure.empty()) {
        break;
      }
      EXPECT_EQ(isList, record->GetAttributeBytesValue().IsList());
      if (isList) {
        EXPECT_TRUE(nested.IsEqual(record->GetAttributeBytesValue().GetListValue().GetValue()));
      }
    }
  }
}
