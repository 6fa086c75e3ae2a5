#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

using HaldenConfiguration::CollectingReportSink;
using HaldenConfiguration::ConfigurationReportSeverityEnum;
using HaldenLogging::DebugLoggingCategoryHelper;

TEST(DebugLoggingCategoryHelper, TableHasSixtyOneEntriesInBitOrder) {
  const auto* table = DebugLoggingCategoryHelper::getCategoryTable();
  EXPECT_STREQ(table[0].name, "XC_NONE");
  EXPECT_EQ(table[0].mask, 0u);
  EXPECT_STREQ(table[1].name, "XC_ALL");
  EXPECT_EQ(table[1].mask, ~0ULL);
  std::set<std::string> names;
  for (unsigned i = 2; i < DebugLoggingCategoryHelper::kNumberOfCategoryTableEntries; ++i) {
    EXPECT_EQ(table[i].mask, 1ULL << (i - 2)) << table[i].name;
    EXPECT_EQ(std::strncmp(table[i].name, "XC_", 3), 0);
    names.insert(table[i].name);
  }
  EXPECT_EQ(names.size(), 59u);
  // Spot checks of the order, and the last named bit.
  EXPECT_EQ(XC_ERR, 1ULL);
  EXPECT_EQ(XC_TRACE, 2ULL);
  EXPECT_EQ(XC_PERFORMANCE, 4ULL);
  EXPECT_EQ(XC_UTILITIES, 1ULL << 19);
  EXPECT_EQ(XC_DATAMODEL, 1ULL << 31);
  EXPECT_EQ(XC_DATAMODEL_INNERDLL, 1ULL << 32);
  EXPECT_EQ(XC_PRINT_HELPER_UTILDLL, 1ULL << 58);
  EXPECT_STREQ(table[60].name, "XC_PRINT_HELPER_UTILDLL");
}

TEST(DebugLoggingCategoryHelper, NamesBothWaysAndTheirErrors) {
  EXPECT_EQ(DebugLoggingCategoryHelper::getCategoryString(XC_ERR), "XC_ERR");
  EXPECT_EQ(DebugLoggingCategoryHelper::getCategoryString(XC_ALL), "XC_ALL");
  EXPECT_EQ(DebugLoggingCategoryHelper::getCategoryString(XC_NONE), "XC_NONE");
  EXPECT_EQ(DebugLoggingCategoryHelper::getCategoryStringWithoutPrefix(XC_ASYNCH_HTTP), "ASYNCH_HTTP");

  // A mask of two bits, or an unnamed bit, has no name.
  for (const unsigned long long mask : {XC_ERR | XC_TRACE, 1ULL << 59}) {
    try {
      DebugLoggingCategoryHelper::getCategoryString(static_cast<tagDebugLoggingCategoryEnumType>(mask));
      ADD_FAILURE() << "no exception for " << mask;
    } catch (const CPExceptionInvalidArgument& error) {
      const std::string expected =
          std::string(
              "Format Error: No String Mapping for Debug Logging Category: The specified "
              "DebugLoggingCategoryEnumType, ") +
          (mask == 3 ? "0x0000000000000003" : "0x0800000000000000") +
          ", does not have an enum-to-string mapping defined for it. Did you use the X_DEFINE_ENUM_IM() or "
          "X_DEFINE_ENUM_EX() macro to define it?";
      EXPECT_EQ(std::string(error.getExceptionMessage()), expected);
    }
  }

  CollectingReportSink sink;
  EXPECT_EQ(DebugLoggingCategoryHelper::getCategoryFromString("XC_CONSTRAINT_VERBOSE", sink), XC_CONSTRAINT_VERBOSE);
  EXPECT_EQ(DebugLoggingCategoryHelper::getCategoryFromStringWithoutPrefix("REGISTRY", sink), XC_REGISTRY);
  EXPECT_TRUE(sink.getReports().empty());
  // Case matters: a lower-case name is unknown, reported, and contributes nothing.
  EXPECT_EQ(DebugLoggingCategoryHelper::getCategoryFromString("xc_err", sink), XC_NONE);
  EXPECT_EQ(DebugLoggingCategoryHelper::getCategoryFromStringWithoutPrefix("NOPE", sink), XC_NONE);
  ASSERT_EQ(sink.getReports().size(), 2u);
  EXPECT_EQ(sink.getReports()[0].severity, ConfigurationReportSeverityEnum::CRSE_ERROR);
  EXPECT_EQ(sink.getReports()[0].title, "Format Error: Invalid Debug Logging Category Name");
  EXPECT_EQ(sink.getReports()[0].text,
            "Invalid category name, 'xc_err'. Did you misspell it? Note that category strings are case-sensitive and "
            "generally all uppercase. This category will be ignored.");
  EXPECT_NE(sink.getReports()[1].text.find("'XC_NOPE'"), std::string::npos);
}

TEST(DebugLoggingCategoryHelper, CategoryStringsInABuffer) {
  char buffer[2048];
  unsigned length =
      DebugLoggingCategoryHelper::addCategoryStringsToBuffer(XC_ERR | XC_XMLPARSE, buffer, sizeof(buffer));
  EXPECT_STREQ(buffer, "[ XC_ERR XC_XMLPARSE ] ");
  EXPECT_EQ(length, std::strlen(buffer));

  DebugLoggingCategoryHelper::addCategoryStringsToBuffer(0, buffer, sizeof(buffer));
  EXPECT_STREQ(buffer, "[ ] ");

  // All ones: every named bit, never XC_ALL (nor XC_NONE).
  DebugLoggingCategoryHelper::addCategoryStringsToBuffer(~0ULL, buffer, sizeof(buffer));
  const std::string all(buffer);
  EXPECT_EQ(all.rfind("[ XC_ERR XC_TRACE XC_PERFORMANCE ", 0), 0u);
  EXPECT_EQ(all.find("XC_ALL"), std::string::npos);
  EXPECT_EQ(all.find("XC_NONE"), std::string::npos);
  EXPECT_EQ(all.substr(all.size() - 26), "XC_PRINT_HELPER_UTILDLL ] ");
  std::size_t names = 0;
  for (std::size_t p = all.find(" XC_"); p != std::string::npos; p = all.find(" XC_", p + 1)) {
    ++names;
  }
  EXPECT_EQ(names, 59u);

  // Cut at the buffer's size, always terminated.
  char small[8];
  std::memset(small, 'x', sizeof(small));
  length = DebugLoggingCategoryHelper::addCategoryStringsToBuffer(XC_ERR, small, sizeof(small));
  EXPECT_STREQ(small, "[ XC_ER");
  EXPECT_EQ(length, 7u);
  char one = 'x';
  EXPECT_EQ(DebugLoggingCategoryHelper::addCategoryStringsToBuffer(XC_ERR, &one, 1), 0u);
  EXPECT_EQ(one, '\0');
  EXPECT_EQ(DebugLoggingCategoryHelper::addCategoryStringsToBuffer(XC_ERR, &one, 0), 0u);
}
