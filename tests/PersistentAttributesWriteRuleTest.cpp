// What PersistentAttributes writes and what its checked import reads agree:
// namespaces whose top level holds a record that is not a namespace list are
// refused by both, with the same exception and message.
#include "AttributeBytesTestSupport.h"
#include "CompressionTestSupport.h"
#include "PersistentAttributesTestSupport.h"
#include "attributebytes/PersistentAttributes.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

using abtest::concat;
using abtest::Expected;
using abtest::expectThrow;
using abtest::hexBytes;
using abtest::hexText;

namespace {

const char* const kFile = "UtilitiesDll\\attributebytes\\PersistentAttributes";

// header + zlib stream + footer, put together without PersistentAttributes.
ByteBuffer persistedByHand(const ByteBuffer& nameSpacesState) {
  uLongf size = compressBound(static_cast<uLong>(nameSpacesState.size()));
  ByteBuffer stream(size, 0);
  EXPECT_EQ(compress2(stream.data(), &size, nameSpacesState.data(), static_cast<uLong>(nameSpacesState.size()), -1),
            Z_OK);
  stream.resize(size);
  const auto footer = compression_test::footerBytes(1, -1, static_cast<std::int32_t>(nameSpacesState.size()));
  return concat({hexBytes("10 00 00 00 01 00 07 20 07 00 04 00 00 00 E7 03"), stream,
                 ByteBuffer(footer.data(), static_cast<unsigned long>(footer.size()))});
}

}  // namespace

TEST(PersistentAttributesWriteRule, TopLevelRecordsThatAreNotNameSpaceListsAreNeitherWrittenNorReadChecked) {
  struct Row {
    AttributeBytes record;
    const char* shown;  // the message's "(id, value type)"
  };
  AttributeBytesRawList inner;
  inner.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(2)));
  const std::vector<Row> rows = {
      {AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300)), "(Feature(5), ABVTE_INTEGER)"},
      {AttributeBytes(AttributeBytesFeatureId(9), AttributeBytesListValue(0, inner)), "(Feature(9), ABVTE_LIST)"},
      {AttributeBytes(AttributeBytesNameSpacesId(7), AttributeBytesIntegerValue(1)), "(NameSpace(7), ABVTE_INTEGER)"},
  };
  for (const Row& row : rows) {
    AttributeBytesNameSpaces nameSpaces = patest::realisticNameSpaces(1);
    nameSpaces.GetNameSpacesIndexedList().AddAttributeBytes(row.record);
    const std::string message =
        std::string("The namespaces state holds a record that is not a namespace list ") + row.shown + ".";

    // Building refuses before anything is written; the output stays as it was.
    const PersistentAttributes object(nameSpaces);
    expectThrow<CPExceptionMissingOrBadPersistentAttributesFormat>(
        [&] { object.GetPersistentAttributesState(); },
        Expected{message, "PersistentAttributes::CreateStateDataFromComponents", kFile}, row.shown);
    ByteBuffer out = hexBytes("AA BB");
    EXPECT_THROW(object.GetPersistentAttributesState(out), CPExceptionMissingOrBadPersistentAttributesFormat);
    EXPECT_EQ(hexText(out), "AA BB") << row.shown;
    EXPECT_THROW(object.GetPersistentAttributesStateSize(), CPExceptionMissingOrBadPersistentAttributesFormat);

    // The same namespaces written by other code: the checked import refuses
    // them with the same message; the unchecked one takes them on trust.
    const ByteBuffer state = persistedByHand(nameSpaces.GetAttributeBytesNameSpacesState());
    PersistentAttributes reader;
    DriverVersion version;
    expectThrow<CPExceptionMissingOrBadPersistentAttributesFormat>(
        [&] { reader.ImportPersistentAttributesState(state, version, true, true); },
        Expected{message, "PersistentAttributes::ImportPersistentAttributesState", kFile}, row.shown);
    EXPECT_TRUE(reader.ImportPersistentAttributesState(state, version, true, false)) << row.shown;
    EXPECT_EQ(reader.GetAttributeBytesNameSpaces().GetNameSpaceCount(), nameSpaces.GetNameSpaceCount());
  }

  // Namespaces holding namespace lists only are written and pass the checked import.
  const AttributeBytesNameSpaces good = patest::realisticNameSpaces(1);
  PersistentAttributes reader;
  DriverVersion version;
  EXPECT_TRUE(reader.ImportPersistentAttributesState(PersistentAttributes(good).GetPersistentAttributesState(), version,
                                                     true, true));
}
