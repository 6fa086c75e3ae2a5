// The position errors of every part of CPString (access, index conversion,
// searching and substrings, editing): exception class, type code, message and
// the member named as the thrower, and the string left as it was.

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/CPString.h"
#include "ThrownExceptionSupport.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace {

using CP = SizeCodePoints32Struct;
using RB = SizeRawBytes32Struct;

// "a", "é" (2 bytes), "€" (3 bytes), "b": 4 code points, 7 bytes.
const char* const kText =
    "a\xC3\xA9\xE2\x82\xAC"
    "b";
const std::size_t kTextBytes = 7;

std::string codePointMessage(unsigned position) {
  return "invalid string position, " + std::to_string(position) + "! There are 4 code points in this string: " + kText;
}

std::string rawByteMessage(unsigned position) {
  return "invalid byte index string position, " + std::to_string(position) +
         "! There are 7 raw bytes in this string: " + kText;
}

}  // namespace

TEST(CPStringPositionErrors, EachPartNamesItsMemberAndLeavesTheStringAsItWas) {
  CPString text(kText);
  const struct {
    Thrown thrown;
    std::string message;
    const char* function;
  } outOfRange[] = {
      {thrownAs<CPExceptionOutOfRange>([&] { (void)text.at(CP(4)); }), codePointMessage(4), "CPString::at"},
      {thrownAs<CPExceptionOutOfRange>([&] { (void)text.at(RB(7)); }), rawByteMessage(7), "CPString::at"},
      {thrownAs<CPExceptionOutOfRange>([&] { (void)text.getIterator(CP(5)); }), codePointMessage(5),
       "CPString::getIterator"},
      {thrownAs<CPExceptionOutOfRange>([&] { (void)text.stdStringIndexFromUtf8RawByteIndex(RB(8)); }),
       rawByteMessage(8), "CPString::stdStringIndexFromUtf8RawByteIndex"},
      {thrownAs<CPExceptionOutOfRange>([&] { (void)text.substring(CP(5)); }), codePointMessage(5),
       "CPString::substring"},
      {thrownAs<CPExceptionOutOfRange>([&] { (void)text.substringRange(RB(3), RB(2)); }), rawByteMessage(2),
       "CPString::substringRange"},
      {thrownAs<CPExceptionOutOfRange>([&] { text.insert(CP(5), "x"); }), codePointMessage(5), "CPString::insert"},
      {thrownAs<CPExceptionOutOfRange>([&] { text.insert(RB(8), "x"); }), rawByteMessage(8), "CPString::insert"},
      {thrownAs<CPExceptionOutOfRange>([&] { text.erase(CP(2), CP(3)); }), codePointMessage(5), "CPString::erase"},
  };
  for (const auto& row : outOfRange) {
    SCOPED_TRACE(row.function);
    EXPECT_EQ(row.thrown.message, row.message);
    EXPECT_EQ(row.thrown.function, row.function);
    EXPECT_EQ(row.thrown.code, 4);
  }

  // A raw-byte index inside the sequence of "é".
  const Thrown inside =
      thrownAs<utf8::CPExceptionInvalidUtf8>([&] { (void)text.codePointIteratorFromStdStringIndex(2); });
  EXPECT_EQ(inside.message,
            std::string("The byte index 2 is inside a UTF-8 sequence, not at the start of a code point: ") + kText);
  EXPECT_EQ(inside.function, "CPString::codePointIteratorFromStdStringIndex");
  EXPECT_EQ(inside.code, 1002);

  // A byte iterator of another string: the message names both ranges.
  const CPString other("x");
  const Thrown foreign =
      thrownAs<CPExceptionIteratorOutOfBounds>([&] { (void)text.codePointIndexFromByteIterator(other.beginBytes()); });
  EXPECT_EQ(foreign.message.rfind("The byte iterator 0x", 0), 0u) << foreign.message;
  EXPECT_NE(foreign.message.find(" does not point into this string (0x"), std::string::npos) << foreign.message;
  EXPECT_EQ(foreign.message.substr(foreign.message.size() - kTextBytes - 3), std::string("): ") + kText);
  EXPECT_EQ(foreign.function, "CPString::codePointIndexFromByteIterator");
  EXPECT_EQ(foreign.code, 28);

  // Malformed bytes met on a code-point walk name the member that walked.
  const CPString malformed(
      "ab\xFF"
      "c");
  const Thrown walked = thrownAs<utf8::CPExceptionInvalidUtf8>([&] { (void)malformed.lengthInCodePoints(); });
  EXPECT_EQ(walked.function, "CPString::lengthInCodePoints");
  EXPECT_EQ(walked.code, 1002);
  EXPECT_EQ(thrownAs<utf8::CPExceptionInvalidUtf8>([&] { (void)malformed.right(CP(1)); }).function, "CPString::right");
  EXPECT_EQ(
      thrownAs<utf8::CPExceptionInvalidUtf8>([&] { (void)malformed.codePointIndexFromStdStringIndex(4); }).function,
      "CPString::codePointIndexFromByteIndex");

  // Nothing failed changed the string.
  EXPECT_EQ(text.utf8StdString(), kText);
}
