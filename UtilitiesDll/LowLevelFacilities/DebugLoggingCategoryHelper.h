#pragma once
// Debug-logging categories and their names.
//
// A category is a bit of an unsigned 64-bit set: a log message and a log
// destination each carry a mask of them. XC_NONE is 0 and XC_ALL all 64 bits;
// every other category is one bit, from XC_ERR (bit 0) to
// XC_PRINT_HELPER_UTILDLL (bit 58); bits 59 to 63 have no name. XC_ERR is
// special in filtering: a message carrying it reaches every destination that
// admits XC_ERR, whatever else it carries.
//
// HaldenLogging::DebugLoggingCategoryHelper maps categories to their names
// (exactly as written in the configuration file: case-sensitive, with the
// "XC_" prefix) and back. Its two process-wide maps are built once each,
// under their own std::once_flag, from one static table of 61 (name, mask)
// pairs, and are read without locks afterwards.

#include "LowLevelFacilities/LoggingConfigurationReportSink.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>

enum tagDebugLoggingCategoryEnumType : unsigned long long {
  XC_NONE = 0ULL,
  XC_ERR = 1ULL << 0,
  XC_TRACE = 1ULL << 1,
  XC_PERFORMANCE = 1ULL << 2,
  XC_UTILDLL = 1ULL << 3,
  XC_BIDIQUERY = 1ULL << 4,
  XC_JOB_EVENTAPP = 1ULL << 5,
  XC_ADV_XCPT_FILTERDLL = 1ULL << 6,
  XC_COMMDLL = 1ULL << 7,
  XC_FILTER_UTILDLL = 1ULL << 8,
  XC_ANNOTATION_FILTERDLL = 1ULL << 9,
  XC_PROXY_FILTERDLL = 1ULL << 10,
  XC_CORE_INTEROPDLL = 1ULL << 11,
  XC_COMM_INTEROPDLL = 1ULL << 12,
  XC_PDL_FILTERDLL = 1ULL << 13,
  XC_TRANSFORM_FILTERDLL = 1ULL << 14,
  XC_INTEROP_CORE_WRTDLL = 1ULL << 15,
  XC_INNER_CORE = 1ULL << 16,
  XC_OUTER_CORE = 1ULL << 17,
  XC_FILTER_UTILITIES = 1ULL << 18,
  XC_UTILITIES = 1ULL << 19,
  XC_CORE_FILTER = 1ULL << 20,
  XC_FLOW = 1ULL << 21,
  XC_DRIVER_ENTRY = 1ULL << 22,
  XC_TIMING = 1ULL << 23,
  XC_COREDLLS = 1ULL << 24,
  XC_ATTRADV = 1ULL << 25,
  XC_ATTRDUMP = 1ULL << 26,
  XC_ATTRIBUTES = 1ULL << 27,
  XC_CAPABILITIES = 1ULL << 28,
  XC_CONSTRAINT = 1ULL << 29,
  XC_CONSTRAINT_VERBOSE = 1ULL << 30,
  XC_DATAMODEL = 1ULL << 31,
  XC_DATAMODEL_INNERDLL = 1ULL << 32,
  XC_DEFAULTSETTINGS = 1ULL << 33,
  XC_FEATURE_CHANGE_DEBUGGER = 1ULL << 34,
  XC_FEATUREREF = 1ULL << 35,
  XC_OBSERVER = 1ULL << 36,
  XC_SPECIALPAGES = 1ULL << 37,
  XC_TRANSACTIONS = 1ULL << 38,
  XC_TRANSACTORS = 1ULL << 39,
  XC_TRANSLATORS = 1ULL << 40,
  XC_XML_CONSTRAINT = 1ULL << 41,
  XC_INTEROP_OBSERVED_FEATURES = 1ULL << 42,
  XC_MANAGED = 1ULL << 43,
  XC_PINVOKE = 1ULL << 44,
  XC_CBRS = 1ULL << 45,
  XC_DEVICESTATUS = 1ULL << 46,
  XC_HANDLERS = 1ULL << 47,
  XC_NAMEDPAPER = 1ULL << 48,
  XC_PRINTTICKET = 1ULL << 49,
  XC_THREAD = 1ULL << 50,
  XC_ASYNCH_HTTP = 1ULL << 51,
  XC_ATTRBYTES = 1ULL << 52,
  XC_COMPRESS = 1ULL << 53,
  XC_DICTINFRA = 1ULL << 54,
  XC_PROCESS = 1ULL << 55,
  XC_REGISTRY = 1ULL << 56,
  XC_XMLPARSE = 1ULL << 57,
  XC_PRINT_HELPER_UTILDLL = 1ULL << 58,
  XC_ALL = ~0ULL,
};

using DebugLoggingCategoryEnumType = tagDebugLoggingCategoryEnumType;

namespace HaldenLogging {

class HDU_API DebugLoggingCategoryHelper {
 public:
  enum : unsigned { kNumberOfCategoryTableEntries = 61 };

  struct CategoryTableEntry {
    const char* name;
    unsigned long long mask;
  };
  // The static table: XC_NONE, XC_ALL, then the 59 single bits in bit order.
  static const CategoryTableEntry* getCategoryTable() noexcept;

  // The full name of a category. A mask that is not exactly one of the
  // table's values throws CPExceptionInvalidArgument whose message is the
  // title "Format Error: No String Mapping for Debug Logging Category", ": ",
  // and the text "The specified DebugLoggingCategoryEnumType, <value in hex
  // as 0x%016llX>, does not have an enum-to-string mapping defined for it.
  // Did you use the X_DEFINE_ENUM_IM() or X_DEFINE_ENUM_EX() macro to define
  // it?".
  static const std::string& getCategoryString(tagDebugLoggingCategoryEnumType category);
  // The name less its "XC_" prefix.
  static std::string getCategoryStringWithoutPrefix(tagDebugLoggingCategoryEnumType category);

  // The category of an exact (case-sensitive) name. An unknown name is
  // reported under "Format Error: Invalid Debug Logging Category Name" with
  // "Invalid category name, '<name>'. Did you misspell it? Note that category
  // strings are case-sensitive and generally all uppercase. This category
  // will be ignored." and yields XC_NONE. The one-argument forms report to
  // ErrorDisplayReportSink.
  static tagDebugLoggingCategoryEnumType getCategoryFromString(const std::string& name);
  static tagDebugLoggingCategoryEnumType getCategoryFromString(
      const std::string& name, HaldenConfiguration::ILoggingConfigurationReportSink& sink);
  // The same after putting "XC_" in front of the name.
  static tagDebugLoggingCategoryEnumType getCategoryFromStringWithoutPrefix(const std::string& name);
  static tagDebugLoggingCategoryEnumType getCategoryFromStringWithoutPrefix(
      const std::string& name, HaldenConfiguration::ILoggingConfigurationReportSink& sink);
  // Whether the name is in the table; reports nothing.
  static bool isKnownCategoryName(const std::string& name);

  // Writes "[", then " <name>" for every table entry whose bits meet the
  // mask (XC_ALL is never named; XC_NONE meets no mask), then " ] ". The
  // output is cut to fit `size` bytes including the terminating zero (a
  // buffer of size 0 is left alone). Returns the number of characters
  // written, not counting the terminator. Allocates nothing.
  static unsigned int addCategoryStringsToBuffer(const unsigned long long& mask, char* buffer, unsigned int size);

 private:
  static std::once_flag ms_onceFlagForEnumToStringMap;
  static std::once_flag ms_onceFlagForStringToEnumMap;
  static std::unordered_map<unsigned long long, std::string>* ms_enumToStringMap;
  static std::map<std::string, unsigned long long>* ms_stringToEnumMap;
};

}  // namespace HaldenLogging
