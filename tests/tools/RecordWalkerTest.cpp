#include "RecordWalker.h"
#include "SampleState.h"

#include "AttributeBytesTestSupport.h"

#include "DebuggingAndExceptions/CPException.h"
#include "attributebytes/AttributeBytesNameSpaces.h"
#include "attributebytes/PersistentAttributes.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <typeinfo>
#include <vector>

using hdutil::RecordView;
using hdutil::RecordWalker;

namespace {

// Every list of the sample, and one with a large blob, an empty blob and
// nested lists.
std::vector<AttributeBytesRawList> listsToWalk() {
  std::vector<AttributeBytesRawList> lists;
  const AttributeBytesNameSpaces sample = hdutil::buildSampleNameSpaces();
  for (long id : {1, 2, 4, 5}) {
    AttributeBytesRawList list;
    EXPECT_TRUE(sample.GetNameSpaceRecords(AttributeBytesNameSpacesId(id), list));
    lists.push_back(list);
  }
  ByteBuffer blob(70000, 0);
  for (std::size_t i = 0; i < blob.size(); ++i) {
    blob[i] = static_cast<unsigned char>(i * 31);
  }
  AttributeBytesRawList inner;
  inner.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesDataBlobValue(blob, false)));
  AttributeBytesRawList mixed;
  mixed.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(2), AttributeBytesDataBlobValue(blob)));
  mixed.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(3), AttributeBytesListValue(7, inner, false)));
  mixed.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(4), AttributeBytesDataBlobValue(ByteBuffer())));
  lists.push_back(mixed);
  return lists;
}

ByteBuffer asBuffer(hdutil::Bytes bytes) {
  ByteBuffer buffer;
  buffer.insert(buffer.end(), bytes.begin(), bytes.end());
  return buffer;
}

std::string failureOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const CPException& e) {
    return CPException::getReadableTypeName(typeid(e)) + ": " + std::string(e.getExceptionMessage());
  }
  return "(no failure)";
}

}  // namespace

TEST(HdutilRecordWalker, ReadsWhatTheLibraryReadsWithoutCopyingBlobs) {
  for (const AttributeBytesRawList& list : listsToWalk()) {
    const std::span<const unsigned char> records = list.GetRecordBytes();
    RecordWalker walker(list);
    const std::unique_ptr<AttributeBytesListIterator> iterator = list.CreateIterator();
    std::size_t count = 0;
    while (const std::unique_ptr<AttributeBytes> expected = list.GetNextAttributeBytes(*iterator)) {
      const RecordView* record = walker.next();
      ASSERT_NE(record, nullptr);
      ++count;
      const AttributeBytesValue& value = expected->GetAttributeBytesValue();
      EXPECT_TRUE(record->id().IsEqual(expected->GetAttributeBytesId()));
      EXPECT_EQ(record->valueType(), value.GetAttributeBytesValueType());
      EXPECT_EQ(record->isSpecified(), value.IsSpecified());
      // The record's bytes are where the list holds them, split at the id.
      const ByteBuffer state = expected->GetAttributeBytesState();
      EXPECT_EQ(asBuffer(record->bytes()), state);
      EXPECT_EQ(record->idBytes().size(), expected->GetAttributeBytesId().GetTypeAndIdentifierState().size());
      EXPECT_GE(record->bytes().data(), records.data());
      EXPECT_LE(record->bytes().data() + record->bytes().size(), records.data() + records.size());
      if (record->isBlob()) {
        EXPECT_EQ(record->value(), nullptr);
        const ByteBuffer& bytes = static_cast<const AttributeBytesDataBlobValue&>(value).GetValue();
        EXPECT_EQ(asBuffer(record->blob()), bytes);
        EXPECT_EQ(record->blob().data() + record->blob().size(), record->bytes().data() + record->bytes().size())
            << "a blob is a view into the list's bytes";
      } else {
        EXPECT_TRUE(record->value()->IsEqual(value));
      }
      if (record->isList()) {
        // A nested list shares the list's storage.
        EXPECT_EQ(record->list().GetValue().GetSource().storage->get(), list.GetSource().storage->get());
      }
    }
    EXPECT_EQ(walker.next(), nullptr);
    EXPECT_EQ(walker.next(), nullptr);
    EXPECT_EQ(RecordWalker::countRecords(list), count);

    // Back to a record seen before.
    RecordWalker again(list);
    const RecordView* first = again.next();
    ASSERT_NE(first, nullptr);
    const std::size_t second = again.offset();
    while (again.next() != nullptr) {
    }
    again.seek(second);
    const RecordView* record = again.next();
    if (count > 1) {
      ASSERT_NE(record, nullptr);
      EXPECT_EQ(record->bytes().data(), records.data() + second);
    } else {
      EXPECT_EQ(record, nullptr);
    }
  }

  // A record the library built.
  const AttributeBytes built(AttributeBytesFeatureId(9), AttributeBytesDataBlobValue(abtest::hexBytes("01 02")));
  const RecordView view(built);
  EXPECT_TRUE(view.isBlob());
  EXPECT_NE(view.value(), nullptr);
  EXPECT_EQ(view.blob().size(), 2u);
  EXPECT_TRUE(view.bytes().empty());
}

TEST(HdutilRecordWalker, DamagedRecordsFailAsTheLibraryFailsThemAndTheWalkerStays) {
  // An integer record, then a data blob record of 3 bytes: every cut of the
  // second record, a blob count beyond the bytes, unknown tags.
  const ByteBuffer good = abtest::hexBytes("02 01 00 00 00 03 00 07 00 00 00");
  const ByteBuffer blob = abtest::hexBytes("02 02 00 00 00 0A 00 03 00 00 00 AA BB CC");
  std::vector<ByteBuffer> damaged;
  for (std::size_t cut = 1; cut < blob.size(); ++cut) {
    damaged.push_back(abtest::concat({good, ByteBuffer(blob.begin(), blob.begin() + static_cast<long>(cut))}));
  }
  damaged.push_back(abtest::concat({good, abtest::hexBytes("02 02 00 00 00 0A 00 FF FF FF FF AA")}));
  damaged.push_back(abtest::concat({good, abtest::hexBytes("02 02 00 00 00 0D 00 00")}));
  damaged.push_back(abtest::concat({good, abtest::hexBytes("0E 02 00 00 00 03 00 07 00 00 00")}));
  for (const ByteBuffer& records : damaged) {
    AttributeBytesRawList list(abtest::concat({abtest::hexBytes("41 42 52 4C"), records}));
    const std::unique_ptr<AttributeBytesListIterator> iterator = list.CreateIterator();
    ASSERT_NE(list.GetNextAttributeBytes(*iterator), nullptr);
    const std::string expected = failureOf([&] { list.GetNextAttributeBytes(*iterator); });
    ASSERT_NE(expected, "(no failure)") << abtest::hexText(records);

    RecordWalker walker(list);
    ASSERT_NE(walker.next(), nullptr);
    EXPECT_EQ(failureOf([&] { walker.next(); }), expected) << abtest::hexText(records);
    EXPECT_EQ(walker.offset(), good.size());
    EXPECT_EQ(failureOf([&] { RecordWalker::countRecords(list); }), expected);
  }

  // The nesting limit the lists of an import carry holds for the walker.
  AttributeBytesRawList deepest;
  deepest.ImportAttributeBytesRawListState(
      abtest::concat({abtest::hexBytes("41 42 52 4C"), abtest::nestedListRecords(40)}));
  deepest.SetMaximumNestingLevel(32);
  std::function<void(const AttributeBytesRawList&)> descend = [&](const AttributeBytesRawList& list) {
    RecordWalker walker(list);
    while (const RecordView* record = walker.next()) {
      if (record->isList()) {
        descend(record->list().GetValue());
      }
    }
  };
  EXPECT_EQ(
      failureOf([&] { descend(deepest); }),
      "CPExceptionMissingOrBadAttributeBytesFormat: The records are nested in list values deeper than 32 levels.");
}
