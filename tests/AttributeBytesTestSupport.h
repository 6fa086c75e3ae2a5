#pragma once
// Helpers shared by the attribute-bytes tests.

#include "DebuggingAndExceptions/CPException.h"
#include "General/ByteBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
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

// The records of `depth` list values nested one inside the other (each a
// record of feature 2 whose list holds the next level), with the integer
// record "feature 1, 7" at the bottom. Written byte by byte: building them
// through the library would copy each level into the one above.
inline ByteBuffer nestedListRecords(unsigned depth) {
  const auto appendLittleEndian32 = [](ByteBuffer& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
      out.push_back(static_cast<unsigned char>(value >> (8 * i)));
    }
  };
  constexpr std::uint32_t kListRecordHead = 16;  // id 5, tag and flag 2, kind 1, length 4, "ABRL" 4
  constexpr std::uint32_t kIntegerRecord = 11;
  ByteBuffer records;
  records.reserve(std::size_t{depth} * kListRecordHead + kIntegerRecord);
  for (unsigned level = 0; level < depth; ++level) {
    for (const unsigned char byte : {0x02, 0x02, 0x00, 0x00, 0x00, 0x0B, 0x00, 0x00}) {
      records.push_back(byte);
    }
    appendLittleEndian32(records, 4 + (depth - level - 1) * kListRecordHead + kIntegerRecord);
    appendLittleEndian32(records, 0x4C524241u);  // "ABRL"
  }
  for (const unsigned char byte : {0x02, 0x01, 0x00, 0x00, 0x00, 0x03, 0x00, 0x07, 0x00, 0x00, 0x00}) {
    records.push_back(byte);
  }
  return records;
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
