#include "AttributeBytesTestSupport.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesNameSpaces.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <gtest/gtest.h>

#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

using abtest::concat;
using abtest::Expected;
using abtest::expectThrow;
using abtest::hexBytes;
using abtest::hexText;

namespace {

const char* const kBadSignature = "Import request ignored. This expected signature is missing or doesn't match.";
const char* const kRawListFile = "UtilitiesDll\\attributebytes\\AttributeBytesRawList";
const char* const kIndexedListFile = "UtilitiesDll\\attributebytes\\AttributeBytesIndexedList";
const char* const kNameSpacesFile = "UtilitiesDll\\attributebytes\\AttributeBytesNameSpaces";

AttributeBytes featureInteger(long featureId, long value) {
  return AttributeBytes(AttributeBytesFeatureId(featureId), AttributeBytesIntegerValue(value));
}

// Reads every record of a list through the abstract interface.
std::vector<std::string> readAll(const AttributeBytesList& list) {
  std::vector<std::string> texts;
  const auto iterator = list.CreateIterator();
  while (const auto record = list.GetNextAttributeBytes(*iterator)) {
    texts.push_back(record->GetDebugDisplayString());
  }
  EXPECT_FALSE(list.GetNextAttributeBytesSharedPtr(*iterator));  // stays at the end
  return texts;
}

}  // namespace

TEST(AttributeBytesRawList, StateSignatureOrderAndLazyParsing) {
  AttributeBytesRawList list;
  EXPECT_EQ(hexText(list.GetAttributeBytesRawListState()), "41 42 52 4C");
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_FALSE(list.GetNextAttributeBytes(*list.CreateIterator()));

  // Records stay in the order they were added, duplicates included.
  list.AddAttributeBytes(featureInteger(9, 1));
  list.AddAttributeBytes(MakeAttributeBytesSharedPtr(featureInteger(2, 2)));
  list.AddAttributeBytes(featureInteger(9, 3));
  EXPECT_EQ(readAll(list),
            (std::vector<std::string>{"Feature(9) value=1", "Feature(2) value=2", "Feature(9) value=3"}));
  EXPECT_EQ(hexText(list.GetAttributeBytesRawListState()),
            "41 42 52 4C 02 09 00 00 00 03 00 01 00 00 00 02 02 00 00 00 03 00 02 00 00 00 "
            "02 09 00 00 00 03 00 03 00 00 00");
  EXPECT_EQ(list.GetAttributeBytesCount(), 3u);
  const AttributeBytesRawList reread(list.GetAttributeBytesRawListState());
  EXPECT_TRUE(reread.IsEqual(list));

  AttributeBytesRawListIterator iterator = list.GetRawListIterator();
  EXPECT_EQ(list.GetNextAttributeBytesFromRawListIterator(iterator)->GetDebugDisplayString(), "Feature(9) value=1");
  EXPECT_EQ(iterator.GetOffset(), 11u);

  // "ABRL" and a truncated record: imports; reading the record throws, and
  // the iterator stays in front of it.
  AttributeBytesRawList damaged;
  damaged.ImportAttributeBytesRawListState(hexBytes("41 42 52 4C 02 05 00 00 00 03 00 2C 01"));
  AttributeBytesRawListIterator at = damaged.GetRawListIterator();
  EXPECT_THROW(damaged.GetNextAttributeBytesFromRawListIterator(at), CPExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_EQ(at.GetOffset(), 0u);
  EXPECT_THROW(damaged.GetAttributeBytesCount(), CPExceptionNotEnoughBytesForDesiredDataType);
}

TEST(AttributeBytesRawList, FailedImportsAndBadIteratorsChangeNothing) {
  AttributeBytesRawList list;
  list.AddAttributeBytes(featureInteger(1, 1));
  const ByteBuffer before = list.GetAttributeBytesRawListState();
  struct Row {
    const char* state;
    bool shortState;
  };
  for (const Row& row : {Row{"41 42 49 4C 02 05 00 00 00", false}, Row{"4C 52 42 41", false}, Row{"41 42 52 4D", false},
                         Row{"41 42 52", true}, Row{"", true}}) {
    if (row.shortState) {
      expectThrow<CPExceptionNotEnoughBytesForDesiredDataType>(
          [&] { list.ImportAttributeBytesRawListState(hexBytes(row.state)); },
          Expected{"", "ByteBuffer::WalkBufferToGetLong", ""}, row.state);
    } else {
      expectThrow<CPExceptionMissingOrBadAttributeBytesFormat>(
          [&] { list.ImportAttributeBytesRawListState(hexBytes(row.state)); },
          Expected{kBadSignature, "AttributeBytesRawList::ImportAttributeBytesRawListState", kRawListFile}, row.state);
    }
    EXPECT_EQ(hexText(list.GetAttributeBytesRawListState()), hexText(before));
  }

  // Iterators: another class, another list, a replaced state, no list.
  AttributeBytesIndexedList indexed;
  auto foreign = indexed.CreateIterator();
  expectThrow<CPExceptionAttributeValueTypeMismatch>(
      [&] { list.GetNextAttributeBytes(*foreign); },
      Expected{"Incoming AttributeBytesListIterator is the wrong type for this class!",
               "AttributeBytesRawList::GetNextAttributeBytes", kRawListFile});
  AttributeBytesRawList other(list);
  auto otherIterator = other.CreateIterator();
  expectThrow<CPExceptionIndexOutOfBounds>(
      [&] { list.GetNextAttributeBytesSharedPtr(*otherIterator); },
      Expected{"Invalid iterator supplied!", "AttributeBytesRawList::GetNextAttributeBytesSharedPtr", kRawListFile});
  auto stale = list.CreateIterator();
  list.ImportAttributeBytesRawListState(before);
  EXPECT_THROW(list.GetNextAttributeBytes(*stale), CPExceptionIndexOutOfBounds);
  AttributeBytesRawListIterator none;
  EXPECT_THROW(list.GetNextAttributeBytesFromRawListIterator(none), CPExceptionIndexOutOfBounds);
  // Adding keeps walks going.
  auto walking = list.CreateIterator();
  ASSERT_TRUE(list.GetNextAttributeBytes(*walking));
  list.AddAttributeBytes(featureInteger(2, 2));
  EXPECT_EQ(list.GetNextAttributeBytes(*walking)->GetDebugDisplayString(), "Feature(2) value=2");
  expectThrow<CPExceptionInvalidArgumentNullPointer>([&] { list.AddAttributeBytes(AttributeBytesSharedPtr()); },
                                                     Expected{"", "AttributeBytesRawList::AddAttributeBytes", ""});
}

TEST(AttributeBytesIndexedList, OneRecordPerIdWrittenInIdOrder) {
  AttributeBytesIndexedList list;
  EXPECT_EQ(hexText(list.GetAttributeBytesIndexedListState()), "41 42 49 4C 41 42 52 4C");

  // Added in any order, written in id order: tag first, then payload.
  list.AddAttributeBytes(AttributeBytes(AttributeBytesValueId(1), AttributeBytesBooleanValue(true)));
  list.AddAttributeBytes(featureInteger(300, 3));
  list.AddAttributeBytes(MakeAttributeBytesSharedPtr(featureInteger(-4, 4)));
  list.AddAttributeBytes(featureInteger(20, 2));
  EXPECT_EQ(readAll(list), (std::vector<std::string>{"Feature(-4) value=4", "Feature(20) value=2",
                                                     "Feature(300) value=3", "Value(1) value=TRUE"}));
  EXPECT_EQ(hexText(list.GetAttributeBytesIndexedListState()),
            "41 42 49 4C 41 42 52 4C "
            "02 FC FF FF FF 03 00 04 00 00 00 02 14 00 00 00 03 00 02 00 00 00 "
            "02 2C 01 00 00 03 00 03 00 00 00 04 01 00 00 00 05 00 01");

  // The duplicate rule.
  expectThrow<CPExceptionDuplicateAttributeId>(
      [&] { list.AddAttributeBytes(featureInteger(20, 99)); },
      Expected{"An entry already exists in the list for=Feature(20)! Insertion failed!\r\n",
               "AttributeBytesIndexedList::AddAttributeBytes", kIndexedListFile});
  EXPECT_EQ(list.GetAttributeBytesRef(AttributeBytesFeatureId(20)).GetDebugDisplayString(), "Feature(20) value=2");
  list.SetAttributeBytes(featureInteger(20, 99));
  EXPECT_EQ(list.GetAttributeBytesRef(AttributeBytesFeatureId(20)).GetDebugDisplayString(), "Feature(20) value=99");
  EXPECT_EQ(list.GetAttributeBytesCount(), 4u);

  // Look-ups.
  expectThrow<CPExceptionFeatureNotFound>(
      [&] { list.GetAttributeBytesRef(AttributeBytesFeatureId(21)); },
      Expected{"Request for a non-existent attribute (Feature(21))! Consider using the 'xxxPtr' method, instead, and "
               "check the return code.",
               "AttributeBytesIndexedList::GetAttributeBytesRef", kIndexedListFile});
  EXPECT_EQ(list.GetAttributeBytesPtr(AttributeBytesFeatureId(21)), nullptr);
  EXPECT_FALSE(list.GetAttributeBytesSharedPtr(AttributeBytesValueId(20)));
  EXPECT_EQ(list.GetAttributeBytesValuePtr(AttributeBytesFeatureId(21)), nullptr);
  const AttributeBytesSharedPtr shared = list.GetAttributeBytesSharedPtr(AttributeBytesValueId(1));
  ASSERT_TRUE(shared);
  EXPECT_EQ(shared.get(), list.GetAttributeBytesPtr(AttributeBytesValueId(1)));  // shared, not copied

  // Iterators: reference without advancing, the end, removal renews the stamp.
  AttributeBytesIndexedListIterator iterator = list.GetIndexedListIterator();
  EXPECT_EQ(list.GetAttributeBytesRefFromIndexedListIterator(iterator).GetDebugDisplayString(), "Feature(-4) value=4");
  EXPECT_EQ(list.GetNextAttributeBytesFromIndexedListIterator(iterator)->GetDebugDisplayString(),
            "Feature(-4) value=4");
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(list.GetNextAttributeBytesFromIndexedListIterator(iterator));
  }
  EXPECT_FALSE(list.GetNextAttributeBytesFromIndexedListIterator(iterator));
  EXPECT_THROW(list.GetAttributeBytesRefFromIndexedListIterator(iterator), CPExceptionIteratorOutOfBounds);
  EXPECT_TRUE(list.RemoveAttributeBytes(AttributeBytesFeatureId(300)));
  EXPECT_FALSE(list.RemoveAttributeBytes(AttributeBytesFeatureId(300)));
  expectThrow<CPExceptionIndexOutOfBounds>(
      [&] { list.GetNextAttributeBytesFromIndexedListIterator(iterator); },
      Expected{"Invalid iterator supplied!", "AttributeBytesIndexedList::GetNextAttributeBytesFromIndexedListIterator",
               kIndexedListFile});
  AttributeBytesRawList raw;
  auto rawIterator = raw.CreateIterator();
  expectThrow<CPExceptionAttributeValueTypeMismatch>(
      [&] { list.GetNextAttributeBytesSharedPtr(*rawIterator); },
      Expected{"Incoming AttributeBytesListIterator is the wrong type for this class!",
               "AttributeBytesIndexedList::GetNextAttributeBytesSharedPtr", kIndexedListFile});

  // A copy clones; conversions to and from raw lists keep map order.
  AttributeBytesIndexedList copy(list);
  EXPECT_TRUE(copy.IsEqual(list));
  EXPECT_NE(copy.GetAttributeBytesPtr(AttributeBytesValueId(1)), list.GetAttributeBytesPtr(AttributeBytesValueId(1)));
  AttributeBytesRawList flattened;
  flattened.ImportFromIndexedList(list);
  EXPECT_EQ(hexText(concat({hexBytes("41 42 49 4C"), flattened.GetAttributeBytesRawListState()})),
            hexText(list.GetAttributeBytesIndexedListState()));
  AttributeBytesIndexedList rebuilt;
  rebuilt.ImportFromRawList(flattened);
  EXPECT_TRUE(rebuilt.IsEqual(list));
  EXPECT_EQ(AttributeBytesRawList(list).GetAttributeBytesCount(), 3u);
}

TEST(AttributeBytesIndexedList, FailedImportsLeaveTheListExactlyAsItWas) {
  AttributeBytesIndexedList list;
  list.AddAttributeBytes(featureInteger(1, 1));
  list.AddAttributeBytes(featureInteger(2, 2));
  const ByteBuffer before = list.GetAttributeBytesIndexedListState();
  const std::string record5 = "02 05 00 00 00 03 00 2C 01 00 00";

  struct Row {
    std::string state;
    int numericCode;
    const char* message;
    const char* function;
  };
  const std::vector<Row> rows = {
      {"41 42 49 4C 41 42 52 4C " + record5 + " " + record5, CPExceptionDuplicateAttributeId::kNumericTypeCode,
       "An entry already exists in the list for=Feature(5)! Insertion failed!\r\n",
       "AttributeBytesIndexedList::AddAttributeBytes"},
      {"41 42 52 4C " + record5, CPExceptionMissingOrBadAttributeBytesFormat::kNumericTypeCode, kBadSignature,
       "AttributeBytesIndexedList::ImportAttributeBytesIndexedListState"},
      {"41 42 49 4C 41 42 49 4C " + record5, CPExceptionMissingOrBadAttributeBytesFormat::kNumericTypeCode,
       kBadSignature, "AttributeBytesRawList::ImportAttributeBytesRawListState"},
      {"41 42 49 4C 41 42 52 4C " + record5 + " 02 06 00",
       CPExceptionNotEnoughBytesForDesiredDataType::kNumericTypeCode, nullptr, nullptr},
      {"41 42 49 4C 41 42 52 4C " + record5 + " 09", CPExceptionNotEnoughBytesForDesiredDataType::kNumericTypeCode,
       nullptr, nullptr},
      {"41 42 49 4C 41 42 52 4C 00 01 02", CPExceptionUnhandledSyntax::kNumericTypeCode, nullptr, nullptr},
      {"41 42 49 4C 41 42", CPExceptionNotEnoughBytesForDesiredDataType::kNumericTypeCode, nullptr, nullptr},
      {"41 42", CPExceptionNotEnoughBytesForDesiredDataType::kNumericTypeCode, nullptr, nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.state);
    auto iterator = list.GetIndexedListIterator();
    try {
      list.ImportAttributeBytesIndexedListState(hexBytes(row.state));
      ADD_FAILURE() << "imported";
    } catch (const CPException& e) {
      EXPECT_EQ(e.getExceptionTypeByNumericCode(), row.numericCode);
      if (row.message != nullptr) {
        EXPECT_STREQ(e.getExceptionMessage(), row.message);
        EXPECT_STREQ(e.getExceptionLocationFunctionName(), row.function);
      }
    }
    EXPECT_EQ(hexText(list.GetAttributeBytesIndexedListState()), hexText(before));
    EXPECT_TRUE(list.GetNextAttributeBytesFromIndexedListIterator(iterator));  // the stamp did not change either
  }
  // The good state imports and replaces everything.
  list.ImportAttributeBytesIndexedListState(hexBytes("41 42 49 4C 41 42 52 4C " + record5));
  EXPECT_EQ(list.GetAttributeBytesCount(), 1u);
  EXPECT_EQ(AttributeBytesIndexedList(before).GetAttributeBytesCount(), 2u);
}

TEST(AttributeBytesNameSpaces, VersionStampedStateWithNestedLists) {
  const DriverVersion version(7, 4, 0, 999);
  AttributeBytesNameSpaces nameSpaces(version);
  EXPECT_EQ(hexText(nameSpaces.GetAttributeBytesNameSpacesState()),
            "41 42 4E 53 07 00 04 00 00 00 E7 03 41 42 49 4C 41 42 52 4C");

  // Namespace 4 holds a record with a nested list; namespace 1 one integer.
  AttributeBytesRawList innermost;
  innermost.AddAttributeBytes(AttributeBytes(AttributeBytesNewValueId(CXString(u"x")), AttributeBytesIntegerValue(1)));
  AttributeBytesRawList saved;
  saved.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesListValue(2, innermost)));
  AttributeBytesRawList docProps;
  docProps.AddAttributeBytes(featureInteger(5, 300));
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(4), saved);
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(1), docProps, 7);
  EXPECT_THROW(nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(4), docProps), CPExceptionDuplicateAttributeId);

  const ByteBuffer state = nameSpaces.GetAttributeBytesNameSpacesState();
  EXPECT_EQ(hexText(ByteBuffer(state.begin(), state.begin() + 20)),
            "41 42 4E 53 07 00 04 00 00 00 E7 03 41 42 49 4C 41 42 52 4C");
  // The first namespace record (id 1): id, list tag, flag, kind, length, "ABRL", the record.
  EXPECT_EQ(hexText(ByteBuffer(state.begin() + 20, state.begin() + 20 + 5 + 2 + 1 + 4 + 4 + 11)),
            "09 01 00 00 00 0B 00 07 0F 00 00 00 41 42 52 4C 02 05 00 00 00 03 00 2C 01 00 00");

  DriverVersion reported;
  const AttributeBytesNameSpaces reread(state, &reported);
  EXPECT_EQ(reported, version);
  EXPECT_EQ(reread.GetDriverVersion(), version);
  EXPECT_EQ(hexText(reread.GetAttributeBytesNameSpacesState()), hexText(state));
  EXPECT_EQ(reread.GetNameSpaceCount(), 2u);

  // Counted from 0 in id order; null beyond the last.
  EXPECT_EQ(reread.GetNameSpaceByIndex(0)->GetAttributeBytesId().GetDebugDisplayString(), "NameSpace(1)");
  EXPECT_EQ(reread.GetNameSpaceByIndex(1)->GetAttributeBytesId().GetDebugDisplayString(), "NameSpace(4)");
  EXPECT_FALSE(reread.GetNameSpaceByIndex(2));

  // Down through the nested lists.
  AttributeBytesRawList records;
  ASSERT_TRUE(reread.GetNameSpaceRecords(AttributeBytesNameSpacesId(4), records));
  const AttributeBytesSharedPtr outer = records.GetNextAttributeBytesSharedPtr(*records.CreateIterator());
  const AttributeBytesListValue& nested = outer->GetAttributeBytesValue().GetListValue();
  EXPECT_EQ(nested.GetKindOfList(), 2);
  EXPECT_EQ(readAll(nested.GetValue()), std::vector<std::string>{"NewValue('x') value=1"});
  EXPECT_FALSE(reread.GetNameSpaceRecords(AttributeBytesNameSpacesId(2), records));

  std::string sink;
  reread.AttributeBytesDump(DumpArgs(&sink), NoCoreDllsAttributeBytesDebugDisplayHelper());
  EXPECT_EQ(sink.substr(0, sink.find('\n')), "AttributeBytesNameSpaces: version 0.7.0.4.0.0.0.999, 2 namespaces");
  EXPECT_NE(sink.find("          NewValue('x') value=1\n"), std::string::npos) << sink;

  // Failed imports keep everything, the version included.
  AttributeBytesNameSpaces target(reread);
  struct Row {
    ByteBuffer state;
    int numericCode;
    const char* function;
  };
  const std::vector<Row> rows = {
      {concat({hexBytes("41 42 4E 54"), ByteBuffer(state.begin() + 4, state.end())}),
       CPExceptionMissingOrBadAttributeBytesFormat::kNumericTypeCode,
       "AttributeBytesNameSpaces::ImportAttributeBytesNameSpacesState"},
      {hexBytes("41 42 4E 53 01 00 02 00 03"), CPExceptionNotEnoughBytesForDesiredDataType::kNumericTypeCode,
       "DriverVersion::WalkBufferToGetDriverVersion"},
      {hexBytes("41 42 4E 53 01 00 02 00 03 00 04 00 41 42 52 4C"),
       CPExceptionMissingOrBadAttributeBytesFormat::kNumericTypeCode,
       "AttributeBytesIndexedList::ImportAttributeBytesIndexedListState"},
      {ByteBuffer(state.begin(), state.end() - 1), CPExceptionNotEnoughBytesForDesiredDataType::kNumericTypeCode,
       nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(hexText(row.state));
    try {
      target.ImportAttributeBytesNameSpacesState(row.state);
      ADD_FAILURE() << "imported";
    } catch (const CPException& e) {
      EXPECT_EQ(e.getExceptionTypeByNumericCode(), row.numericCode);
      if (row.function != nullptr) {
        EXPECT_STREQ(e.getExceptionLocationFunctionName(), row.function);
      }
      if (row.numericCode == CPExceptionMissingOrBadAttributeBytesFormat::kNumericTypeCode) {
        EXPECT_STREQ(e.getExceptionMessage(), kBadSignature);
      }
    }
    EXPECT_EQ(target.GetDriverVersion(), version);
    EXPECT_EQ(hexText(target.GetAttributeBytesNameSpacesState()), hexText(state));
  }
  expectThrow<CPExceptionMissingOrBadAttributeBytesFormat>(
      [&] { target.ImportAttributeBytesNameSpacesState(hexBytes("41 42 49 4C 41 42 52 4C")); },
      Expected{kBadSignature, "AttributeBytesNameSpaces::ImportAttributeBytesNameSpacesState", kNameSpacesFile});
  // A truncated namespace list: the namespaces state imports, reading the records fails.
  AttributeBytesRawList cutList(hexBytes("41 42 52 4C 02 05 00"));
  target.SetNameSpace(AttributeBytesNameSpacesId(4), cutList);
  const AttributeBytesNameSpaces withCut(target.GetAttributeBytesNameSpacesState(), nullptr);
  ASSERT_TRUE(withCut.GetNameSpaceRecords(AttributeBytesNameSpacesId(4), records));
  EXPECT_THROW(records.GetNextAttributeBytes(*records.CreateIterator()), CPExceptionNotEnoughBytesForDesiredDataType);
}

namespace {

bool within(std::span<const unsigned char> inner, std::span<const unsigned char> outer) {
  return !inner.empty() && inner.data() >= outer.data() && inner.data() + inner.size() <= outer.data() + outer.size();
}

}  // namespace

TEST(AttributeBytesRawList, NestedListsAndCopiesShareTheBytesUntilOneIsChanged) {
  AttributeBytesRawList inner;
  inner.AddAttributeBytes(featureInteger(7, 70));
  AttributeBytesRawList outer;
  outer.AddAttributeBytes(featureInteger(1, 10));
  outer.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(2), AttributeBytesListValue(3, inner)));
  const AttributeBytesRawList imported(outer.GetAttributeBytesRawListState());

  // A list value read from the list refers to the list's own bytes.
  AttributeBytesRawListIterator iterator = imported.GetRawListIterator();
  imported.GetNextAttributeBytesFromRawListIterator(iterator);
  const AttributeBytesSharedPtr record = imported.GetNextAttributeBytesFromRawListIterator(iterator);
  const AttributeBytesRawList& nested = record->GetAttributeBytesValue().GetListValue().GetValue();
  EXPECT_TRUE(within(nested.GetRecordBytes(), imported.GetRecordBytes()));
  EXPECT_TRUE(nested.IsEqual(inner));
  EXPECT_EQ(nested.GetNestingLevel(), 1u);
  EXPECT_EQ(imported.GetNestingLevel(), 0u);

  // Copies (of lists, of values, of records) share too; a change copies first
  // and leaves the others as they were.
  AttributeBytesRawList copy(nested);
  EXPECT_EQ(copy.GetRecordBytes().data(), nested.GetRecordBytes().data());
  const std::unique_ptr<AttributeBytesValue> clone = record->GetAttributeBytesValue().Clone();
  EXPECT_EQ(clone->GetListValue().GetValue().GetRecordBytes().data(), nested.GetRecordBytes().data());
  copy.AddAttributeBytes(featureInteger(8, 80));
  EXPECT_NE(copy.GetRecordBytes().data(), nested.GetRecordBytes().data());
  EXPECT_EQ(hexText(nested.GetAttributeBytesRawListState()), hexText(inner.GetAttributeBytesRawListState()));
  EXPECT_EQ(copy.GetAttributeBytesCount(), 2u);
  EXPECT_EQ(hexText(imported.GetAttributeBytesRawListState()), hexText(outer.GetAttributeBytesRawListState()));

  // A state handed over is taken, not copied.
  ByteBuffer handedOver = inner.GetAttributeBytesRawListState();
  const unsigned char* const handedOverRecords = handedOver.data() + 4;
  AttributeBytesRawList taken;
  taken.ImportAttributeBytesRawListState(std::move(handedOver));
  EXPECT_EQ(taken.GetRecordBytes().data(), handedOverRecords);
  EXPECT_TRUE(taken.IsEqual(inner));

  // The record keeps the bytes alive after the list that read it is gone.
  AttributeBytesSharedPtr survivor;
  {
    const AttributeBytesRawList temporary(outer.GetAttributeBytesRawListState());
    AttributeBytesRawListIterator walk = temporary.GetRawListIterator();
    temporary.GetNextAttributeBytesFromRawListIterator(walk);
    survivor = temporary.GetNextAttributeBytesFromRawListIterator(walk);
  }
  EXPECT_TRUE(survivor->GetAttributeBytesValue().GetListValue().GetValue().IsEqual(inner));
}

TEST(AttributeBytesRawList, A10000DeepStateIsReadWithinItsOwnBytes) {
  constexpr unsigned kDepth = 10000;
  const AttributeBytesRawList top(concat({hexBytes("41 42 52 4C"), abtest::nestedListRecords(kDepth)}));
  // Every level down to the bottom, each level's record held while the next
  // is read: every nested list lies inside the top list's bytes, so the walk
  // costs the state's bytes once, not once per level.
  std::vector<AttributeBytesSharedPtr> held;
  const AttributeBytesRawList* list = &top;
  for (unsigned level = 1; level <= kDepth; ++level) {
    AttributeBytesRawListIterator iterator = list->GetRawListIterator();
    held.push_back(list->GetNextAttributeBytesFromRawListIterator(iterator));
    ASSERT_FALSE(list->GetNextAttributeBytesFromRawListIterator(iterator)) << level;
    list = &held.back()->GetAttributeBytesValue().GetListValue().GetValue();
    ASSERT_TRUE(within(list->GetRecordBytes(), top.GetRecordBytes())) << level;
    ASSERT_EQ(list->GetNestingLevel(), level);
  }
  AttributeBytesRawListIterator iterator = list->GetRawListIterator();
  const AttributeBytesSharedPtr bottom = list->GetNextAttributeBytesFromRawListIterator(iterator);
  EXPECT_EQ(bottom->GetDebugDisplayString(), "Feature(1) value=7");

  // With a maximum nesting level, the lists beneath carry it, and the first
  // list deeper than it cannot be read (its record can: it is in a list that
  // is not too deep).
  AttributeBytesRawList limited(top);
  limited.SetMaximumNestingLevel(3);
  list = &limited;
  held.clear();
  for (unsigned level = 1; level <= 4; ++level) {
    AttributeBytesRawListIterator walk = list->GetRawListIterator();
    held.push_back(list->GetNextAttributeBytesFromRawListIterator(walk));
    list = &held.back()->GetAttributeBytesValue().GetListValue().GetValue();
    EXPECT_EQ(list->GetMaximumNestingLevel(), 3u);
  }
  AttributeBytesRawListIterator tooDeep = list->GetRawListIterator();
  expectThrow<CPExceptionMissingOrBadAttributeBytesFormat>(
      [&] { list->GetNextAttributeBytesFromRawListIterator(tooDeep); },
      Expected{"The records are nested in list values deeper than 3 levels.",
               "AttributeBytesRawList::GetNextAttributeBytesFromRawListIterator", kRawListFile});
  EXPECT_THROW(list->GetAttributeBytesCount(), CPExceptionMissingOrBadAttributeBytesFormat);
  EXPECT_THROW(AttributeBytesIndexedList().ImportFromRawList(*list), CPExceptionMissingOrBadAttributeBytesFormat);
  std::string dump;
  list->AttributeBytesDump(DumpArgs(&dump), NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
  EXPECT_NE(dump.find("<records nested too deeply, not shown>"), std::string::npos) << dump;
}

TEST(AttributeBytesIndexedList, OrderMatchesLessThanWhateverTheInsertionOrder) {
  // Ids of every kind, with negative numbers and capability types, inserted
  // in a scrambled order: the list's order is LessThan's.
  std::vector<AttributeBytesSharedPtr> records;
  int value = 0;
  const auto add = [&](std::unique_ptr<AttributeBytesId> id) {
    records.push_back(
        MakeAttributeBytesSharedPtr(std::move(id), std::make_unique<AttributeBytesIntegerValue>(value++)));
  };
  for (const long number : {-2147483647L - 1, -5L, 0L, 7L, 2147483647L}) {
    add(std::make_unique<AttributeBytesFeatureId>(number));
    add(std::make_unique<AttributeBytesValueId>(number));
    add(std::make_unique<AttributeBytesListOfValuesItemId>(number));
    add(std::make_unique<AttributeBytesNameSpacesId>(number));
    for (const short type : {short{-32768}, short{-1}, short{0}, short{32767}}) {
      add(std::make_unique<AttributeBytesCapabilityId>(number, type));
    }
  }
  for (const char16_t* name : {u"", u"a", u"ab", u"b", u"\xFFFF"}) {
    add(std::make_unique<AttributeBytesNewFeatureId>(CXString(name)));
    add(std::make_unique<AttributeBytesNewValueId>(CXString(name)));
    add(std::make_unique<AttributeBytesNewCapabilityId>(CXString(name), short{-3}));
    add(std::make_unique<AttributeBytesNewCapabilityId>(CXString(name), short{3}));
  }
  for (std::size_t step : {std::size_t{1}, std::size_t{7}, std::size_t{13}}) {
    AttributeBytesIndexedList list;
    for (std::size_t i = 0, j = 0; i < records.size(); ++i, j = (j + step) % records.size()) {
      list.AddAttributeBytes(records[step == 1 ? records.size() - 1 - i : j]);
    }
    ASSERT_EQ(list.GetAttributeBytesCount(), records.size());
    AttributeBytesIndexedListIterator iterator = list.GetIndexedListIterator();
    AttributeBytesSharedPtr previous = list.GetNextAttributeBytesFromIndexedListIterator(iterator);
    while (AttributeBytesSharedPtr next = list.GetNextAttributeBytesFromIndexedListIterator(iterator)) {
      EXPECT_TRUE(previous->GetAttributeBytesId().LessThan(next->GetAttributeBytesId()))
          << previous->GetDebugDisplayString() << " before " << next->GetDebugDisplayString();
      previous = next;
    }
    for (const AttributeBytesSharedPtr& record : records) {
      EXPECT_EQ(list.GetAttributeBytesSharedPtr(record->GetAttributeBytesId()), record);
      EXPECT_THROW(list.AddAttributeBytes(AttributeBytes(*record)), CPExceptionDuplicateAttributeId);
    }
    EXPECT_EQ(list.GetAttributeBytesCount(), records.size());
  }
}

TEST(AttributeBytesIndexedList, MovedAndSwappedListsKeepTheirOwnNodes) {
  AttributeBytesIndexedList first;
  for (long i = 0; i < 300; ++i) {
    first.AddAttributeBytes(featureInteger(i, i));
  }
  AttributeBytesIndexedList moved(std::move(first));
  // The moved-from list is usable and independent: both grow at the same
  // time on two threads (they share no node pool).
  std::thread other([&first] {  // NOLINT(bugprone-use-after-move): reuse is the point
    for (long i = 0; i < 300; ++i) {
      first.AddAttributeBytes(featureInteger(1000 + i, i));  // NOLINT(bugprone-use-after-move): reuse is the point
    }
  });
  for (long i = 300; i < 600; ++i) {
    moved.AddAttributeBytes(featureInteger(i, i));
  }
  other.join();
  EXPECT_EQ(first.GetAttributeBytesCount(), 300u);
  EXPECT_EQ(moved.GetAttributeBytesCount(), 600u);
  AttributeBytesIndexedList assigned;
  assigned = std::move(moved);
  moved.AddAttributeBytes(featureInteger(1, 1));  // NOLINT(bugprone-use-after-move): reuse is the point
  EXPECT_EQ(moved.GetAttributeBytesCount(), 1u);
  assigned.swap(first);
  EXPECT_EQ(assigned.GetAttributeBytesCount(), 300u);
  EXPECT_EQ(first.GetAttributeBytesCount(), 600u);
  const AttributeBytesIndexedList copy(first);
  EXPECT_TRUE(copy.IsEqual(first));
  first.Clear();
  EXPECT_EQ(copy.GetAttributeBytesCount(), 600u);
  AttributeBytesIndexedList edited(copy);
  EXPECT_TRUE(edited.RemoveAttributeBytes(AttributeBytesFeatureId(5)));
  EXPECT_FALSE(edited.ContainsAttributeBytes(AttributeBytesFeatureId(5)));
  EXPECT_TRUE(copy.ContainsAttributeBytes(AttributeBytesFeatureId(5)));
}
