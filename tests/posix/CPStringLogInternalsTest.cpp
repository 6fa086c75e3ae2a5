#include "LowLevelFacilities/CPString.h"

#include <gtest/gtest.h>

#include <string>

// On POSIX the debugger channel is standard error, where the line can be read back.
TEST(CPStringPosix, LogInternalsWritesTheLineToTheDebuggerChannel) {
  const CPString text("caf\xC3\xA9");
  testing::internal::CaptureStderr();
  text.logInternals(3);
  const std::string written = testing::internal::GetCapturedStderr();
  EXPECT_EQ(written, text.getLogInternals().utf8StdString() + "\n");
  EXPECT_EQ(written.rfind("Length=5, begin() ptr=0x", 0), 0u);
  EXPECT_NE(written.find(", string='caf\xC3\xA9'"), std::string::npos);
}
