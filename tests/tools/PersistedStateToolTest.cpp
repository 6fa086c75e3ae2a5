#include "PersistedStateTool.h"
#include "PrintableText.h"
#include "SampleState.h"
#include "StateInput.h"

#include "DebuggingAndExceptions/CPException.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesIndexedList.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <sstream>
#include <string>

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
  const ByteBuffer junk(100, 0x55);
  try {
    loadPersistedState(stateAround(junk, hdutil::kMaximumStateSize + 1));
    ADD_FAILURE() << "the size was not refused";
  } catch (const InputError& e) {
    EXPECT_STREQ(e.what(), "the state holds 8388609 bytes of settings, above hdutil's limit of 8 MiB");
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
