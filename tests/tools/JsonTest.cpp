#include "Json.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <vector>

using hdutil::Json;
using hdutil::JsonError;
using hdutil::parseJson;
using hdutil::writeJson;

namespace {

std::string parseFailure(const std::string& text) {
  try {
    parseJson(text);
  } catch (const JsonError& e) {
    return e.what();
  }
  return "(accepted)";
}

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

std::string objectWithMembers(std::size_t count) {
  std::string text = "{";
  for (std::size_t i = 0; i < count; ++i) {
    text += (i == 0 ? "\"k" : ", \"k") + std::to_string(i) + "\": " + std::to_string(i);
  }
  return text + "}";
}

}  // namespace

TEST(HdutilJson, OnlyJsonIsRead) {
  // Numbers, strings and structure outside the grammar, each refused with the
  // place named.
  const char* const refused[] = {
      "[+1]",
      "[.5]",
      "[007]",
      "[1.]",
      "[-01]",
      "[1e]",
      "[0x10]",
      "[NaN]",
      "[1,]",
      "{\"a\": 1,}",
      "{'a': 1}",
      "[\"a\\\nb\"]",
      "[\"\\u12\"]",
      "[\"\\ud800\"]",
      "[\"\\udc00x\"]",
      "[\"tab\there\"]",
      "[\"\xFF\"]",
      "[\"\xED\xA0\x80\"]",
      "[1] [2]",
      "",
      "nul",
      "[true, fals]",
  };
  for (const char* text : refused) {
    const std::string message = parseFailure(text);
    EXPECT_EQ(message.rfind("parse error at line ", 0), 0u) << text << ": " << message;
  }
  EXPECT_EQ(parseFailure("[007]"),
            "parse error at line 1, column 3: syntax error while parsing array - unexpected number literal; "
            "expected ']'");

  // What JSON allows is read exactly.
  const Json value = parseJson(
      " {\"i\": -9223372036854775808, \"u\": 18446744073709551615, \"f\": -0.5e-3, \"s\": \"\\u00e9\\ud83d\\udda8\\/\","
      " \"a\": [true, false, null], \"o\": {}}\n");
  EXPECT_EQ(value.at("i").get<long long>(), std::numeric_limits<long long>::min());
  EXPECT_EQ(value.at("u").get<unsigned long long>(), std::numeric_limits<unsigned long long>::max());
  EXPECT_DOUBLE_EQ(value.at("f").get<double>(), -0.0005);
  EXPECT_EQ(value.at("s").get<std::string>(), "\xC3\xA9\xF0\x9F\x96\xA8/");
  EXPECT_EQ(value.at("a").size(), 3u);
  EXPECT_TRUE(value.at("o").is_object());
  // Members keep the document's order.
  std::string order;
  for (const auto& [name, member] : value.items()) {
    order += name;
  }
  EXPECT_EQ(order, "iufsao");
}

TEST(HdutilJson, DuplicateMembersMemberCountAndDepthAreLimited) {
  EXPECT_EQ(parseFailure("{\"a\": 1, \"b\": 2, \"a\": 3}"), "duplicate member \"a\" in an object");
  EXPECT_EQ(parseFailure("[{\"x\": {\"a\": 1, \"a\": 1}}]"), "duplicate member \"a\" in an object");
  // The same name in different objects, nested or side by side, is fine.
  const Json fine = parseJson("{\"a\": {\"a\": {\"a\": 1}}, \"b\": [{\"a\": 1}, {\"a\": 2}], \"c\": {\"a\": 3}}");
  EXPECT_EQ(fine.at("a").at("a").at("a"), 1);
  EXPECT_EQ(fine.at("b").at(1).at("a"), 2);
  EXPECT_EQ(fine.at("c").at("a"), 3);

  EXPECT_EQ(parseJson(objectWithMembers(hdutil::kMaximumJsonObjectMembers)).size(), 64u);
  EXPECT_EQ(parseFailure(objectWithMembers(hdutil::kMaximumJsonObjectMembers + 1)),
            "an object with more than 64 members");
  // A hostile object is refused at its 65th member, whatever follows.
  EXPECT_EQ(parseFailure(objectWithMembers(160000)), "an object with more than 64 members");
  // Arrays are not limited in length.
  std::string longArray = "[0";
  for (int i = 1; i < 100000; ++i) {
    longArray += ",0";
  }
  EXPECT_EQ(parseJson(longArray + "]").size(), 100000u);

  EXPECT_EQ(parseJson(nested(hdutil::kMaximumJsonDepth)).size(), 1u);
  EXPECT_EQ(parseFailure(nested(hdutil::kMaximumJsonDepth + 1)), "arrays and objects nested deeper than 256 levels");
  EXPECT_EQ(parseFailure(std::string(100000, '[')), "arrays and objects nested deeper than 256 levels");
}

TEST(HdutilJson, WrittenLayoutIsExact) {
  Json document = Json::object();
  document["name"] = "quote \" backslash \\ line\nbell\x07 \xC3\xA9";
  document["words"] = Json::array({7, 48, 0, 1});
  document["empty"] = Json::object();
  document["none"] = Json::array();
  document["mixed"] = Json::array({1, "two"});
  document["records"] = Json::array({Json::object({{"id", 5}, {"ok", true}})});
  document["bad"] =
      "a\xFF"
      "b";
  EXPECT_EQ(writeJson(document),
            "{\n"
            "  \"name\": \"quote \\\" backslash \\\\ line\\nbell\\u0007 \xC3\xA9\",\n"
            "  \"words\": [7, 48, 0, 1],\n"
            "  \"empty\": {},\n"
            "  \"none\": [],\n"
            "  \"mixed\": [\n"
            "    1,\n"
            "    \"two\"\n"
            "  ],\n"
            "  \"records\": [\n"
            "    {\n"
            "      \"id\": 5,\n"
            "      \"ok\": true\n"
            "    }\n"
            "  ],\n"
            "  \"bad\": \"a\xEF\xBF\xBD"
            "b\"\n"
            "}\n");
  // What is written reads back to the same value (the repaired string aside).
  document.erase("bad");
  EXPECT_EQ(parseJson(writeJson(document)), document);
}

TEST(HdutilJson, TypedAccessNamesThePlace) {
  const Json document =
      parseJson("{\"n\": 1.0, \"big\": 9223372036854775808, \"max\": 9223372036854775807, \"s\": \"x\", \"b\": true}");
  const auto failure = [](auto access) -> std::string {
    try {
      access();
    } catch (const JsonError& e) {
      return e.what();
    }
    return "(accepted)";
  };
  EXPECT_EQ(failure([&] { hdutil::jsonInteger(document.at("n"), "n"); }),
            "n must be an integer, not a number with a fraction or exponent");
  EXPECT_EQ(failure([&] { hdutil::jsonInteger(document.at("big"), "big"); }), "big is outside the 64-bit range");
  EXPECT_EQ(hdutil::jsonInteger(document.at("max"), "max"), std::numeric_limits<long long>::max());
  EXPECT_EQ(failure([&] { hdutil::jsonString(document.at("b"), "b"); }), "b must be a string, not a boolean");
  EXPECT_EQ(failure([&] { hdutil::jsonBool(document.at("s"), "s"); }), "s must be true or false, not a string");
  EXPECT_EQ(failure([&] { hdutil::jsonArray(document, "the document"); }),
            "the document must be an array, not an object");
  EXPECT_EQ(failure([&] { hdutil::jsonMember(document, "missing", "the document"); }),
            "the document has no \"missing\"");
  EXPECT_EQ(failure([&] { hdutil::jsonMember(document.at("s"), "x", "s"); }), "s must be an object, not a string");
  EXPECT_TRUE(hdutil::jsonHasMember(document, "s"));
  EXPECT_FALSE(hdutil::jsonHasMember(document.at("s"), "s"));
}

namespace {

// Writes `value` through the stream writer, opening every container the
// writer can hold open (arrays of integers only go whole, as value()).
void streamThrough(hdutil::JsonStreamWriter& writer, const Json& value) {
  bool flat = value.is_array() && !value.empty();
  for (const Json& item : value.is_array() ? value : Json::array()) {
    flat = flat && item.is_number_integer();
  }
  if (value.is_object()) {
    writer.beginObject();
    for (const auto& [name, member] : value.get_ref<const Json::object_t&>()) {
      writer.key(name);
      streamThrough(writer, member);
    }
    writer.endObject();
  } else if (value.is_array() && !flat) {
    writer.beginArray();
    for (const Json& item : value) {
      streamThrough(writer, item);
    }
    writer.endArray();
  } else {
    writer.value(value);
  }
}

}  // namespace

TEST(HdutilJson, TheStreamWriterWritesWriteJsonsLayout) {
  Json document = parseJson(
      "{\"a\": [], \"b\": {}, \"c\": [1, 2, -3], \"d\": [[], [1], {\"x\": [{}, []]}, \"s\", true, null],"
      " \"e\": {\"f\": {\"g\": [[[]]]}}, \"quote\\\"\\n\": \"tab\\t \\u0001 \\u00e9\", \"n\": 18446744073709551615}");
  document["bad"] = std::string("\xFF\xFE", 2);  // repaired to U+FFFD, as writeJson repairs it
  for (const Json& value : {document, Json::array(), Json::object(), Json::array({Json::object()}), Json(7)}) {
    std::ostringstream out;
    hdutil::JsonStreamWriter writer(out);
    streamThrough(writer, value);
    writer.finish();
    EXPECT_EQ(out.str(), writeJson(value)) << writeJson(value);
  }

  // A hex string is written as it is made: most of it has reached the stream
  // before the document ends, and it reads as the upper-case digits.
  std::vector<unsigned char> bytes(100000);
  std::string hex;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(i * 37 + 11);
    static const char kDigits[] = "0123456789ABCDEF";
    hex += kDigits[bytes[i] >> 4];
    hex += kDigits[bytes[i] & 15];
  }
  std::ostringstream out;
  hdutil::JsonStreamWriter writer(out);
  writer.beginArray();
  writer.hexString(bytes);
  writer.hexString({});
  EXPECT_GE(out.str().size(), hdutil::kJsonStreamBufferSize);
  writer.endArray();
  writer.finish();
  EXPECT_EQ(out.str(), writeJson(Json::array({hex, ""})));
}
