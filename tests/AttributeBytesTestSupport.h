#pragma once
// Helpers shared by the attribute-bytes tests.

#include "DebuggingAndExceptions/CPException.h"
#include "General/ByteBuffer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace abtest {

// "02 05 00" -> bytes.
inline ByteBuffer hexBytes(const std::string& text) {
  ByteBuffer bytes;
  std::istringstream in(text);
  std::string pair;
  while (in >> pair) {
    bytes.push_back(static_cast<unsigned char>(std::stoul(pair, nullptr, 16)));
  }
  return bytes;
}

inline std::string hexText(const ByteBuffer& bytes) {
  std::string text;
  char pair[4];
  for (unsigned char b : bytes) {
    std::snprintf(pair, sizeof pair, text.empty() ? "%02X" : " %02X", b);
    text += pair;
  }
  return text;
}

inline ByteBuffer concat(std::initializer_list<ByteBuffer> parts) {
  ByteBuffer all;
  for (const ByteBuffer& part : parts) {
    all.append(part);
  }
  return all;
}

// What a thrown exception must carry. Empty texts are not checked.
struct Expected {
  std::string message;
  std::string functionName;
  std::string fileName;
};

// Runs `action`, which must throw `Exception`; checks the texts given.
template <class Exception, class Action>
void expectThrow(Action action, const Expected& expected, const std::string& context = "") {
  try {
    action();
  } catch (const Exception& e) {
    if (!expected.message.empty()) {
      EXPECT_EQ(std::string(e.getExceptionMessage()), expected.message) << context;
    }
    if (!expected.functionName.empty()) {
      EXPECT_EQ(std::string(e.getExceptionLocationFunctionName()), expected.functionName) << context;
    }
    if (!expected.fileName.empty()) {
      EXPECT_EQ(std::string(e.getExceptionLocationFullFileName()), expected.fileName) << context;
    }
    EXPECT_EQ(e.getExceptionTypeByNumericCode(), Exception::kNumericTypeCode) << context;
    return;
  } catch (const std::exception& e) {
    ADD_FAILURE() << context << ": another exception: " << e.what();
    return;
  }
  ADD_FAILURE() << context << ": nothing was thrown";
}

}  // namespace abtest
