#include "CanonicalForm.h"
#include "PersistedStateTool.h"
#include "PrintableText.h"
#include "SampleState.h"
#include "StateInput.h"

#include "AttributeBytesTestSupport.h"

#include "DebuggingAndExceptions/CPException.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

using hdutil::InputError;
using hdutil::loadPersistedState;
using hdutil::PersistedState;

namespace {

const char* const kCurrentHeader = "1000000001000720070004000000E703";

ByteBuffer hexBytes(const char* hex) {
  ByteBuffer bytes;
  ByteBuffer::ConvertHexBinaryStringToByteBuffer(CXString::fromUtf8(hex), bytes, true);
  return bytes;
}

void appendBigEndian32(ByteBuffer& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    out.push_back(static_cast<unsigned char>(value >> shift));
  }
}

// header + `compressed` + a "COM5" footer announcing `originalSize`.
ByteBuffer stateAround(const ByteBuffer& compressed, std::uint32_t originalSize) {
  ByteBuffer state = hexBytes(kCurrentHeader);
  state.insert(state.end(), compressed.begin(), compressed.end());
  state.push_back(1);
  appendBigEndian32(state, 0xFFFFFFFFu);  // level -1
  appendBigEndian32(state, originalSize);
  for (const char c : {'C', 'O', 'M', '5'}) {
    state.push_back(static_cast<unsigned char>(c));
  }
  return state;
}

// The namespaces as other code might persist them: without PersistentAttributes.
ByteBuffer persistedByHand(const AttributeBytesNameSpaces& nameSpaces) {
  const ByteBuffer inner = nameSpaces.GetAttributeBytesNameSpacesState();
  uLongf size = compressBound(static_cast<uLong>(inner.size()));
  ByteBuffer stream(size, 0);
  EXPECT_EQ(compress2(stream.data(), &size, inner.data(), static_cast<uLong>(inner.size()), -1), Z_OK);
  stream.resize(size);
  return stateAround(stream, static_cast<std::uint32_t>(inner.size()));
}

std::string report(const PersistedState& state) {
  std::ostringstream out;
  hdutil::printPersistedState(out, state, "test");
  return out.str();
}

bool holdsLine(const std::string& text, const std::string& line) {
  return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

// Lists nested `levels` deep: a namespace whose own list is level 1.
AttributeBytesNameSpaces nestedLists(int levels) {
  AttributeBytesRawList list;
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(7)));
  for (int level = levels; level > 1; --level) {
    AttributeBytesRawList outer;
    outer.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(level), AttributeBytesListValue(0, list)));
    list = outer;
  }
  AttributeBytesNameSpaces nameSpaces(DriverVersion(1, 2, 3, 4));
  nameSpaces.AddNameSpace(PersistentAttributes::GetDataModelDocPropNameSpaceId(), list);
  return nameSpaces;
}

// The sample with more: a data blob larger than the JSON writer's buffer
// (half incompressible), lists nested three deep with blobs and an empty
// list, an empty namespace, names and strings to escape.
AttributeBytesNameSpaces richNameSpaces() {
  AttributeBytesNameSpaces nameSpaces = hdutil::buildSampleNameSpaces();
  ByteBuffer blob(200000, 0);
  std::uint32_t seed = 1;
  for (std::size_t i = 0; i < blob.size(); ++i) {
    seed = seed * 1664525u + 1013904223u;
    blob[i] = i < blob.size() / 2 ? static_cast<unsigned char>(seed >> 24) : static_cast<unsigned char>("abc "[i % 4]);
  }
  AttributeBytesRawList inner;
  inner.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesDataBlobValue(blob, false)));
  inner.AddAttributeBytes(
      AttributeBytes(AttributeBytesFeatureId(2), AttributeBytesListValue(3, AttributeBytesRawList())));
  AttributeBytesRawList middle;
  middle.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(3), AttributeBytesListValue(1, inner, false)));
  AttributeBytesRawList records;
  records.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(10), AttributeBytesDataBlobValue(blob)));
  records.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(11), AttributeBytesListValue(2, middle)));
  records.AddAttributeBytes(
      AttributeBytes(AttributeBytesNewFeatureId(CXString::fromUtf8("q\"uote\\ \x01\n")),
                     AttributeBytesStringValue(CXString(std::u16string{u'x', 0xD800, u'\t'}), false)));
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(9), records, 4);
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(12), AttributeBytesRawList());
  return nameSpaces;
}

std::string streamedJson(const PersistedState& state) {
  std::ostringstream out;
  hdutil::writePersistedStateJson(out, state, "source \"x\"\n");
  return out.str();
}

}  // namespace

TEST(HdutilPersistedState, SampleComesBackByteForByteThroughJson) {
  const ByteBuffer sample = PersistentAttributes(hdutil::buildSampleNameSpaces()).GetPersistentAttributesState();
  const PersistedState state = loadPersistedState(sample);
  EXPECT_TRUE(state.canonical);
  EXPECT_TRUE(state.unusual.empty());
  EXPECT_EQ(state.canonicalSize, sample.size());
  const hdutil::Json document = hdutil::parseJson(hdutil::writeJson(hdutil::persistedStateToJson(state, "sample")));
  EXPECT_EQ(hdutil::encodePersistedState(document), sample);
  EXPECT_FALSE(document.contains("unusual"));

  // Another creator and zlib level are kept, and reported as canonical.
  hdutil::Json edited = document;
  edited["header"]["creatorVersion"] = hdutil::Json::array({1, 2, 3, 4});
  edited["compression"]["level"] = 9;
  const ByteBuffer written = hdutil::encodePersistedState(edited);
  EXPECT_EQ(hdutil::encodePersistedState(hdutil::persistedStateToJson(loadPersistedState(written), "")), written);
  const PersistedState reread = loadPersistedState(written);
  EXPECT_TRUE(reread.canonical);
  EXPECT_EQ(reread.compressionLevel, 9);
  EXPECT_EQ(reread.creatorVersion[3], 4);
}

TEST(HdutilPersistedState, TopLevelRecordsThatAreNotNameSpaceListsAreShownAndFlagged) {
  AttributeBytesNameSpaces nameSpaces = hdutil::buildSampleNameSpaces();
  nameSpaces.GetNameSpacesIndexedList().AddAttributeBytes(
      AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300)));
  const ByteBuffer bytes = persistedByHand(nameSpaces);

  const PersistedState state = loadPersistedState(bytes);
  ASSERT_EQ(state.unusual.size(), 1u);
  EXPECT_EQ(state.unusual[0], "a top-level record that is not a namespace list: Feature(5) INTEGER");
  const std::string refusal =
      "The namespaces state holds a record that is not a namespace list (Feature(5), ABVTE_INTEGER).";
  EXPECT_EQ(state.notWritable, refusal);
  EXPECT_FALSE(state.canonical);

  const std::string text = report(state);
  EXPECT_TRUE(holdsLine(text, "Canonical form      no: the library does not write these settings (" + refusal + ")"))
      << text;
  EXPECT_TRUE(
      holdsLine(text, "Unusual             a top-level record that is not a namespace list: Feature(5) INTEGER"));
  EXPECT_NE(text.find("\nRecord Feature(5): Feature(5)"), std::string::npos);
  EXPECT_TRUE(holdsLine(text, "Namespaces          5"));

  const hdutil::Json document = hdutil::persistedStateToJson(state, "test");
  EXPECT_EQ(document.at("unusual"), hdutil::Json::array({state.unusual[0]}));
  try {
    hdutil::encodePersistedState(document);
    ADD_FAILURE() << "encode wrote a state the library refuses";
  } catch (const CPExceptionMissingOrBadPersistentAttributesFormat& e) {
    EXPECT_EQ(std::string(e.getExceptionMessage()), refusal);
  }
}

TEST(HdutilPersistedState, ListsNestedDeeperThanTheLibraryChecksAreRefused) {
  for (const int levels : {32, 33}) {
    const ByteBuffer bytes = PersistentAttributes(nestedLists(levels)).GetPersistentAttributesState();
    PersistentAttributes checked;
    DriverVersion version;
    if (levels == 32) {
      EXPECT_EQ(loadPersistedState(bytes).nameSpaces.GetNameSpaceCount(), 1u);
      EXPECT_TRUE(checked.ImportPersistentAttributesState(bytes, version, true, true));
    } else {
      try {
        loadPersistedState(bytes);
        ADD_FAILURE() << "33 levels were accepted";
      } catch (const InputError& e) {
        EXPECT_STREQ(e.what(), "the state holds list values nested deeper than 32 levels");
      }
      EXPECT_THROW(checked.ImportPersistentAttributesState(bytes, version, true, true),
                   CPExceptionMissingOrBadPersistentAttributesFormat);
    }
  }
}

TEST(HdutilPersistedState, SettingsAboveTheLimitAreRefusedBeforeDecompressing) {
  // The tool's ceiling is the library's own.
  EXPECT_EQ(hdutil::kMaximumStateSize, std::size_t{64} * 1024 * 1024);
  EXPECT_EQ(hdutil::kMaximumStateSize, PersistentAttributes().GetMaximumOriginalSize());
  const ByteBuffer junk(100, 0x55);
  try {
    loadPersistedState(stateAround(junk, hdutil::kMaximumStateSize + 1));
    ADD_FAILURE() << "the size was not refused";
  } catch (const InputError& e) {
    EXPECT_STREQ(e.what(), "the state holds 67108865 bytes of settings, above hdutil's limit of 64 MiB");
  }
  // At the limit the library judges the state (here: far too little data).
  EXPECT_THROW(loadPersistedState(stateAround(junk, hdutil::kMaximumStateSize)), CPException);
}

TEST(HdutilPersistedState, ReportsAreUtf8AndNamesCannotStartLines) {
  AttributeBytesRawList records;
  records.AddAttributeBytes(
      AttributeBytes(AttributeBytesFeatureId(1), AttributeBytesStringValue(CXString(std::u16string{0xD800, u'A'}))));
  records.AddAttributeBytes(
      AttributeBytes(AttributeBytesFeatureId(2), AttributeBytesStringValue(CXString(std::u16string{u'B', 0xDC00}))));
  records.AddAttributeBytes(AttributeBytes(AttributeBytesNewFeatureId(CXString::fromUtf8("x\nhdutil: forged \x1b[2J")),
                                           AttributeBytesIntegerValue(1)));
  AttributeBytesNameSpaces nameSpaces(DriverVersion(1, 2, 3, 4));
  nameSpaces.AddNameSpace(PersistentAttributes::GetDataModelDocPropNameSpaceId(), records);
  const PersistedState state = loadPersistedState(PersistentAttributes(nameSpaces).GetPersistentAttributesState());

  const std::string text = report(state);
  EXPECT_TRUE(hdutil::isValidUtf8(text));
  EXPECT_EQ(text.find("\xED\xA0\x80"), std::string::npos);
  EXPECT_NE(text.find("STRING           '\xEF\xBF\xBD"
                      "A'\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("STRING           'B\xEF\xBF\xBD'\n"), std::string::npos) << text;
  EXPECT_NE(text.find("NewFeature('x\\nhdutil: forged \\x1B[2J')"), std::string::npos) << text;
  EXPECT_EQ(text.find("\nhdutil:"), std::string::npos);
  EXPECT_EQ(text.find('\x1b'), std::string::npos);

  std::ostringstream differences;
  const PersistedState sample =
      loadPersistedState(PersistentAttributes(hdutil::buildSampleNameSpaces()).GetPersistentAttributesState());
  EXPECT_TRUE(hdutil::printDifferences(differences, sample, state));
  EXPECT_TRUE(hdutil::isValidUtf8(differences.str()));
  EXPECT_EQ(differences.str().find('\x1b'), std::string::npos);
  EXPECT_EQ(differences.str().find("\nhdutil:"), std::string::npos);
}

TEST(HdutilPersistedState, StreamedJsonIsTheDocumentByteForByte) {
  AttributeBytesNameSpaces unusual = hdutil::buildSampleNameSpaces();
  unusual.GetNameSpacesIndexedList().AddAttributeBytes(
      AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesDataBlobValue(ByteBuffer(70000, 0x5A))));
  for (const ByteBuffer& bytes : {PersistentAttributes(hdutil::buildSampleNameSpaces()).GetPersistentAttributesState(),
                                  PersistentAttributes(richNameSpaces()).GetPersistentAttributesState(),
                                  persistedByHand(unusual), PersistentAttributes().GetPersistentAttributesState()}) {
    const PersistedState state = loadPersistedState(bytes);
    const std::string streamed = streamedJson(state);
    EXPECT_EQ(streamed, hdutil::writeJson(hdutil::persistedStateToJson(state, "source \"x\"\n")));
    // And it is the state: encode gives back the library's form.
    if (state.notWritable.empty()) {
      EXPECT_EQ(hdutil::encodePersistedState(hdutil::parseJson(streamed)).size(), state.canonicalSize);
    }
  }
}

TEST(HdutilPersistedState, CanonicalFormIsFoundAtEveryLevelWithoutWritingTheState) {
  const AttributeBytesNameSpaces nameSpaces = richNameSpaces();

  // The namespaces state in pieces is the library's namespaces state.
  ByteBuffer pieces;
  hdutil::forEachNameSpacesStatePiece(
      nameSpaces, [&](hdutil::Bytes piece) { pieces.insert(pieces.end(), piece.begin(), piece.end()); });
  EXPECT_EQ(pieces, nameSpaces.GetAttributeBytesNameSpacesState());

  for (int level = -1; level <= 9; ++level) {
    hdutil::StateWriting writing;
    writing.compressionLevel = level;
    const ByteBuffer written = hdutil::writePersistedState(nameSpaces, writing);
    const PersistedState state = loadPersistedState(written);
    EXPECT_TRUE(state.canonical) << "level " << level;
    EXPECT_EQ(state.canonicalSize, written.size()) << "level " << level;

    // The same settings in forms the library does not write: the size named
    // is that of the library's form.
    ByteBuffer trailing = written;
    trailing.insert(trailing.end() - 13, {'x', 'y'});
    ByteBuffer older = written;
    older[4] = 0x01;
    older[5] = 0x00;
    older[6] = 0x06;  // format version 0x20060001, upgraded when read
    ByteBuffer creator = written;
    creator[14] ^= 0x01;  // kept: still canonical
    for (const ByteBuffer& variant : {trailing, older, creator}) {
      const PersistedState other = loadPersistedState(variant);
      hdutil::StateWriting library;
      library.compressionLevel = level;
      library.keepCreatorVersion = other.currentHeader;
      std::copy(std::begin(other.creatorVersion), std::end(other.creatorVersion), std::begin(library.creatorVersion));
      const ByteBuffer canonical = hdutil::writePersistedState(other.nameSpaces, library);
      EXPECT_EQ(other.canonical, canonical == variant) << "level " << level;
      EXPECT_EQ(other.canonicalSize, canonical.size()) << "level " << level;
    }
    EXPECT_TRUE(loadPersistedState(creator).canonical) << "level " << level;
    EXPECT_FALSE(loadPersistedState(older).canonical) << "level " << level;
  }

  // A record that is not a namespace list: the library's refusal, whatever the level.
  AttributeBytesNameSpaces unusual = hdutil::buildSampleNameSpaces();
  unusual.GetNameSpacesIndexedList().AddAttributeBytes(
      AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300)));
  EXPECT_THROW(hdutil::compareWithCanonicalForm(unusual, hdutil::StateWriting(), persistedByHand(unusual)),
               CPExceptionMissingOrBadPersistentAttributesFormat);
}

TEST(HdutilPersistedState, DifferencesCompareValuesAsTheLibraryWritesThem) {
  // Raw records: feature 1 boolean written 1 / 2 (the same true), feature 2
  // twice (each compared with the first on the other side), a blob whose
  // last byte changes, a list whose record changes, a flag byte 2 / 1 (both
  // unspecified), one removed, one added.
  const auto list = [](const char* hex) {
    return AttributeBytesRawList(abtest::hexBytes(std::string("41 42 52 4C ") + hex));
  };
  const AttributeBytesRawList before = list(
      "02 01 00 00 00 05 00 01 "
      "02 02 00 00 00 03 00 01 00 00 00  02 02 00 00 00 03 00 02 00 00 00 "
      "02 03 00 00 00 0A 00 03 00 00 00 AA BB CC "
      "02 04 00 00 00 0B 00 00 0C 00 00 00 41 42 52 4C 02 05 00 00 00 05 00 01 "
      "02 06 00 00 00 03 01 09 00 00 00 "
      "02 07 00 00 00 05 00 00");
  const AttributeBytesRawList after = list(
      "02 01 00 00 00 05 00 02 "
      "02 02 00 00 00 03 00 02 00 00 00  02 02 00 00 00 03 00 05 00 00 00 "
      "02 03 00 00 00 0A 00 03 00 00 00 AA BB CD "
      "02 04 00 00 00 0B 00 00 0C 00 00 00 41 42 52 4C 02 05 00 00 00 05 00 00 "
      "02 06 00 00 00 03 02 09 00 00 00 "
      "02 08 00 00 00 05 00 00");
  const auto load = [](const AttributeBytesRawList& records) {
    AttributeBytesNameSpaces nameSpaces(DriverVersion(1, 2, 3, 4));
    nameSpaces.AddNameSpace(PersistentAttributes::GetDataModelDocPropNameSpaceId(), records);
    return loadPersistedState(persistedByHand(nameSpaces));
  };
  std::ostringstream out;
  EXPECT_TRUE(hdutil::printDifferences(out, load(before), load(after)));
  const std::string column(41, ' ');  // ids take 50 columns, then a blank
  const std::string boolean = "BOOLEAN" + std::string(10, ' ') + "FALSE";
  EXPECT_EQ(out.str(),
            "Namespace 1 (DataModelDocProp)\n"
            "  ~ Feature(2)" +
                column +
                "INTEGER 1 -> INTEGER 2\n"
                "  ~ Feature(3)" +
                column +
                "DATABLOB 3 bytes AABBCC -> DATABLOB 3 bytes AABBCD\n"
                "  ~ Feature(4)" +
                column +
                "LIST kind 0, 1 records -> LIST kind 0, 1 records\n"
                "  - Feature(7)" +
                column + boolean +
                "\n"
                "  + Feature(8)" +
                column + boolean + "\n");
  // Even against itself, the second record of an id meets the first.
  std::ostringstream itself;
  EXPECT_TRUE(hdutil::printDifferences(itself, load(before), load(before)));
  EXPECT_EQ(itself.str(), "Namespace 1 (DataModelDocProp)\n  ~ Feature(2)" + column + "INTEGER 2 -> INTEGER 1\n");
}
