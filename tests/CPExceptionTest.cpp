#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/DebugUtilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

struct TableRow {
  const char* name;
  int code;
  std::function<void()> thrower;
  // Which base classes must catch it (beyond CPException).
  bool asInvalidArgument = false;
  bool asCommunicationsFailure = false;
  bool asFile = false;
  bool asUtf8 = false;
};

template <class E>
std::function<void()> throwerFor() {
  return [] { throw E("message", 0, DebugContextCopy("file.cpp", 1, "f")); };
}

template <class E>
int catchCode(const std::function<void()>& thrower) {
  try {
    thrower();
  } catch (const E& e) {
    return e.getExceptionTypeByNumericCode();
  } catch (...) {
    return -1;
  }
  return -2;
}

}  // namespace

TEST(CPException, EveryClassOfTheTableHasItsCodeAndIsCaughtAsItsBase) {
  std::vector<TableRow> rows;
#define HDU_ROW(ClassName, BaseName, TypeCode) rows.push_back({#ClassName, TypeCode, throwerFor<ClassName>()});
  HDU_CPEXCEPTION_TABLE(HDU_ROW)
#undef HDU_ROW
#define HDU_ROW(ClassName, BaseName, TypeCode) \
  rows.push_back({"utf8::" #ClassName, TypeCode, throwerFor<utf8::ClassName>(), false, false, false, true});
  {
    using namespace utf8;
    HDU_UTF8_CPEXCEPTION_TABLE(HDU_ROW)
  }
#undef HDU_ROW
  ASSERT_EQ(rows.size(), 97u + 1u + 4u);  // codes 1-98 without 25, 999, and 1001-1004

  std::vector<int> codes;
  for (TableRow& row : rows) {
    const std::string name = row.name;
    row.asInvalidArgument = name == "CPExceptionNullArgument" || name == "CPExceptionDuplicateArgument";
    row.asFile = name == "CPExceptionCreateFileForReading" || name == "CPExceptionCreateFileForWriting" ||
                 name == "CPExceptionReadFile" || name == "CPExceptionWriteFile";
    row.asCommunicationsFailure = row.code >= 31 && row.code <= 39;

    EXPECT_EQ(catchCode<CPException>(row.thrower), row.code) << name;
    if (row.asInvalidArgument) {
      EXPECT_EQ(catchCode<CPExceptionInvalidArgument>(row.thrower), row.code) << name;
    }
    if (row.asFile) {
      EXPECT_EQ(catchCode<CPExceptionFile>(row.thrower), row.code) << name;
    }
    if (row.asCommunicationsFailure) {
      EXPECT_EQ(catchCode<CPExceptionCommunicationsFailure>(row.thrower), row.code) << name;
    }
    if (row.asUtf8) {
      EXPECT_EQ(catchCode<utf8::exception>(row.thrower), row.code) << name;
    }
    // A class that is not a base of this one does not catch it.
    if (!row.asInvalidArgument && row.code != 1) {
      EXPECT_EQ(catchCode<CPExceptionInvalidArgument>(row.thrower), -1) << name;
    }
    codes.push_back(row.code);
  }
  // Codes are unique; 0 and 25 are unused; 999 is the assertion.
  std::sort(codes.begin(), codes.end());
  EXPECT_EQ(std::adjacent_find(codes.begin(), codes.end()), codes.end());
  EXPECT_FALSE(std::binary_search(codes.begin(), codes.end(), 0));
  EXPECT_FALSE(std::binary_search(codes.begin(), codes.end(), 25));
  EXPECT_EQ(static_cast<int>(CPExceptionAssertion::kNumericTypeCode), 999);
  EXPECT_EQ(static_cast<int>(CPExceptionInvalidAttributeOperationParamter::kNumericTypeCode), 44);
}

TEST(CPException, ThrowSiteCapturesLastErrorLocationAndMessage) {
  PlatformFacilities::setLastError(5);
  try {
    HDU_THROW(CPExceptionNullArgument, HDU_DEBUG_CONTEXT_IN("UtilitiesDll\\General\\Thing", "Thing::Do"),
              "value %d is %s", 42, "bad");
    FAIL() << "no throw";
  } catch (const CPExceptionInvalidArgument& e) {
    EXPECT_EQ(e.getExceptionTypeByNumericCode(), 2);
    EXPECT_EQ(e.getLastErrorValue(), 5u);
    EXPECT_STREQ(e.getExceptionMessage(), "value 42 is bad");
    EXPECT_STREQ(e.getExceptionLocationFullFileName(), "UtilitiesDll\\General\\Thing");
    EXPECT_STREQ(e.getExceptionLocationFunctionName(), "Thing::Do");
    EXPECT_GT(e.getExceptionLocationLineNumber(), 0);
    EXPECT_EQ(e.getExceptionType(), "class CPExceptionNullArgument");
    EXPECT_EQ(PlatformFacilities::getLastError(), 5u);
    const std::string expectedStart = "class CPExceptionNullArgument thrown from UtilitiesDll\\General\\Thing (line " +
                                      std::to_string(e.getExceptionLocationLineNumber()) +
                                      ") in Thing::Do ('last err' at time of throw: ";
    const std::string text = e.what();
    EXPECT_EQ(text.rfind(expectedStart, 0), 0u) << text;
    EXPECT_NE(text.find(" (5/0x5)): value 42 is bad"), std::string::npos) << text;
  }
}

TEST(CPException, NoexceptLocationAndConstructorsAndCopies) {
  const CPExceptionOutOfRange e(7, DebugContextCopy(DebugContextReference("a.cpp", 12, "A::B", true)));
  EXPECT_EQ(e.getExceptionDebugContext().getLogString(), "a.cpp (line 12) in A::B (noexcept)");
  EXPECT_STREQ(e.getExceptionMessage(), "");
  const CPExceptionOutOfRange copy(e);  // NOLINT(performance-unnecessary-copy-initialization): the copy is tested
  EXPECT_STREQ(copy.what(), e.what());
  EXPECT_EQ(copy.getLastErrorValue(), 7u);
  std::string moved = "moved text";
  const CPExceptionFile f(std::move(moved), 0, DebugContextCopy("f.cpp", 3, "g"));
  EXPECT_STREQ(f.getExceptionMessage(), "moved text");
  EXPECT_EQ(f.getExceptionDebugContext().getLogString(), "f.cpp (line 3) in g");
  EXPECT_EQ(utf8::CPExceptionInvalidUtf8("x", 0, DebugContextCopy()).getExceptionType(),
            "class utf8::CPExceptionInvalidUtf8");
}

TEST(CPException, WhatKeepsTheWholeTextOrNothingAtTheBufferBoundary) {
  const CPExceptionInvalidArgument probe("", 0, DebugContextCopy("f", 1, "g"));
  const std::size_t overhead = probe.getLogString().size();
  const std::size_t fits = CPException::kWhatBufferCharacters - 1 - overhead;  // log string of 2,047
  const CPExceptionInvalidArgument whole(std::string(fits, 'x'), 0, DebugContextCopy("f", 1, "g"));
  ASSERT_EQ(whole.getLogString().size(), 2047u);
  EXPECT_EQ(std::string(whole.what()), whole.getLogString());
  const CPExceptionInvalidArgument tooLong(std::string(fits + 1, 'x'), 0, DebugContextCopy("f", 1, "g"));
  ASSERT_EQ(tooLong.getLogString().size(), 2048u);
  EXPECT_STREQ(tooLong.what(), "");
  // what() preserves the last error and gives the current text each time.
  PlatformFacilities::setLastError(1234);
  (void)whole.what();
  EXPECT_EQ(PlatformFacilities::getLastError(), 1234u);
}

TEST(CPException, DescriptionsOfStandardExceptions) {
  EXPECT_EQ(CPException::getExceptionDescription(std::bad_alloc()), "Object of std::bad_alloc. Out of memory!");
  EXPECT_EQ(CPException::getExceptionDescription(std::runtime_error("boom")), "Object of std::runtime_error\n\n\tboom");
  EXPECT_EQ(CPException::getExceptionDescription(std::runtime_error("")),
            "Object of std::runtime_error\n\n\tNo additional information available.");
  EXPECT_EQ(CPException::getExceptionDescription(std::exception()).rfind("Object of std::exception\n\n\t", 0), 0u);
  const CPExceptionFile f("m", 0, DebugContextCopy("f", 1, "g"));
  EXPECT_EQ(CPException::getExceptionDescription(f), f.getLogString());
  EXPECT_TRUE(CPException::isCPException(f));
  EXPECT_FALSE(CPException::isCPException(std::runtime_error("x")));
}

TEST(CPException, ComAndOrvikExceptionsAnswerTheirOwnCodes) {
  const CPComException com("Call failed", 0, DebugContextReference("c.cpp", 9, "C::D"), static_cast<long>(0x80004005L));
  EXPECT_EQ(static_cast<unsigned>(com.getExceptionTypeByNumericCode()), 0x80004005u);
  EXPECT_EQ(static_cast<unsigned long>(com.GetHresult()) & 0xFFFFFFFFul, 0x80004005ul);
  EXPECT_EQ(std::string(com.getExceptionMessage()).rfind("Call failed HRESULT = 0x80004005 (", 0), 0u);
  EXPECT_EQ(
      CPComException::GetAdditionalExceptionDescription(&com).toUtf8().rfind("COM Error HRESULT = 0x80004005 (", 0),
      0u);

  const CPOrvikParseException orvik("parse", 0, DebugContextReference("o.cpp", 1, "O"),
                                    CPOrvikParseException::ORVIK_ATTRIBUTE_MISSING);
  EXPECT_EQ(orvik.getExceptionTypeByNumericCode(), 14);
  EXPECT_EQ(orvik.GetCodeString().toUtf8(), "ORVIK_ATTRIBUTE_MISSING");
  EXPECT_STREQ(CPOrvikParseException::GetCodeName(CPOrvikParseException::ORVIK_COM_ERROR), "ORVIK_COM_ERROR");
  EXPECT_EQ(static_cast<int>(CPOrvikParseException::ORVIK_COM_ERROR), 26);
}

TEST(DebugUtilities, LastErrorDisplayString) {
  PlatformFacilities::setLastError(77);
  const std::string withPrefix = DebugUtilities::formatLastErrorDisplayString(2, true);
  EXPECT_EQ(withPrefix.rfind("GetLastError() = ", 0), 0u);
  const std::string systemText = PlatformFacilities::systemMessageText(2);
  EXPECT_EQ(withPrefix, "GetLastError() = " + systemText + " (2/0x2)");
  EXPECT_EQ(DebugUtilities::formatLastErrorDisplayString(0x7FFFFF01ul, false), "Unknown value (2147483393/0x7fffff01)");
  EXPECT_EQ(PlatformFacilities::getLastError(), 77u);
}

TEST(CPException, WhatMayBeCalledFromSeveralThreadsOnOneObject) {
  // One exception object shared by threads, as a rethrown exception_ptr is.
  for (int round = 0; round < 20; ++round) {
    const std::exception_ptr shared = std::make_exception_ptr(
        CPExceptionFile("shared message", 3, DebugContextCopy("shared.cpp", 9, "Shared::Throw")));
    std::vector<std::string> texts(4);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      threads.emplace_back([&shared, &texts, i] {
        try {
          std::rethrow_exception(shared);
        } catch (const std::exception& e) {
          texts[i] = e.what();
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    for (const std::string& text : texts) {
      EXPECT_EQ(text, texts[0]);
      EXPECT_NE(text.find("shared message"), std::string::npos);
    }
  }
}

namespace {

// A class of the hierarchy that changes its message after construction, as
// classes that add detail to a caught exception do.
class RelabelledException : public CPExceptionFile {
 public:
  using CPExceptionFile::CPExceptionFile;
  void relabel(const char* message) { setExceptionMessage(message); }
  void relabel(std::string&& message) { setExceptionMessage(std::move(message)); }
};

}  // namespace

TEST(CPException, WhatFollowsANewMessage) {
  RelabelledException e("first text", 0, DebugContextCopy("r.cpp", 5, "R::S"));
  EXPECT_NE(std::string(e.what()).find(": first text"), std::string::npos);
  e.relabel("second text");
  EXPECT_STREQ(e.getExceptionMessage(), "second text");
  EXPECT_EQ(std::string(e.what()), e.getLogString());
  EXPECT_EQ(std::string(e.what()).find("first text"), std::string::npos);

  // Through the moved-string form, into and out of the too-long case.
  const std::size_t overhead = e.getLogString().size() - std::strlen("second text");
  e.relabel(std::string(CPException::kWhatBufferCharacters - overhead, 'x'));  // log string of 2,048
  EXPECT_STREQ(e.what(), "");
  e.relabel(std::string("third"));
  EXPECT_EQ(std::string(e.what()), e.getLogString());
  EXPECT_NE(std::string(e.what()).find(": third"), std::string::npos);
  const RelabelledException copy(e);  // NOLINT(performance-unnecessary-copy-initialization): the copy is tested
  EXPECT_STREQ(copy.what(), e.what());
}
