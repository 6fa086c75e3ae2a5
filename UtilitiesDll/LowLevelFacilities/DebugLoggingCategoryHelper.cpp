#include "LowLevelFacilities/DebugLoggingCategoryHelper.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Formatter.h"

#include <cstring>

namespace HaldenLogging {

namespace {

#define HDU_CATEGORY_ENTRY(name) \
  { #name, name }

const DebugLoggingCategoryHelper::CategoryTableEntry
    kCategoryTable[DebugLoggingCategoryHelper::kNumberOfCategoryTableEntries] = {
        HDU_CATEGORY_ENTRY(XC_NONE),
        HDU_CATEGORY_ENTRY(XC_ALL),
        HDU_CATEGORY_ENTRY(XC_ERR),
        HDU_CATEGORY_ENTRY(XC_TRACE),
        HDU_CATEGORY_ENTRY(XC_PERFORMANCE),
        HDU_CATEGORY_ENTRY(XC_UTILDLL),
        HDU_CATEGORY_ENTRY(XC_BIDIQUERY),
        HDU_CATEGORY_ENTRY(XC_JOB_EVENTAPP),
        HDU_CATEGORY_ENTRY(XC_ADV_XCPT_FILTERDLL),
        HDU_CATEGORY_ENTRY(XC_COMMDLL),
        HDU_CATEGORY_ENTRY(XC_FILTER_UTILDLL),
        HDU_CATEGORY_ENTRY(XC_ANNOTATION_FILTERDLL),
        HDU_CATEGORY_ENTRY(XC_PROXY_FILTERDLL),
        HDU_CATEGORY_ENTRY(XC_CORE_INTEROPDLL),
        HDU_CATEGORY_ENTRY(XC_COMM_INTEROPDLL),
        HDU_CATEGORY_ENTRY(XC_PDL_FILTERDLL),
        HDU_CATEGORY_ENTRY(XC_TRANSFORM_FILTERDLL),
        HDU_CATEGORY_ENTRY(XC_INTEROP_CORE_WRTDLL),
        HDU_CATEGORY_ENTRY(XC_INNER_CORE),
        HDU_CATEGORY_ENTRY(XC_OUTER_CORE),
        HDU_CATEGORY_ENTRY(XC_FILTER_UTILITIES),
        HDU_CATEGORY_ENTRY(XC_UTILITIES),
        HDU_CATEGORY_ENTRY(XC_CORE_FILTER),
        HDU_CATEGORY_ENTRY(XC_FLOW),
        HDU_CATEGORY_ENTRY(XC_DRIVER_ENTRY),
        HDU_CATEGORY_ENTRY(XC_TIMING),
        HDU_CATEGORY_ENTRY(XC_COREDLLS),
        HDU_CATEGORY_ENTRY(XC_ATTRADV),
        HDU_CATEGORY_ENTRY(XC_ATTRDUMP),
        HDU_CATEGORY_ENTRY(XC_ATTRIBUTES),
        HDU_CATEGORY_ENTRY(XC_CAPABILITIES),
        HDU_CATEGORY_ENTRY(XC_CONSTRAINT),
        HDU_CATEGORY_ENTRY(XC_CONSTRAINT_VERBOSE),
        HDU_CATEGORY_ENTRY(XC_DATAMODEL),
        HDU_CATEGORY_ENTRY(XC_DATAMODEL_INNERDLL),
        HDU_CATEGORY_ENTRY(XC_DEFAULTSETTINGS),
        HDU_CATEGORY_ENTRY(XC_FEATURE_CHANGE_DEBUGGER),
        HDU_CATEGORY_ENTRY(XC_FEATUREREF),
        HDU_CATEGORY_ENTRY(XC_OBSERVER),
        HDU_CATEGORY_ENTRY(XC_SPECIALPAGES),
        HDU_CATEGORY_ENTRY(XC_TRANSACTIONS),
        HDU_CATEGORY_ENTRY(XC_TRANSACTORS),
        HDU_CATEGORY_ENTRY(XC_TRANSLATORS),
        HDU_CATEGORY_ENTRY(XC_XML_CONSTRAINT),
        HDU_CATEGORY_ENTRY(XC_INTEROP_OBSERVED_FEATURES),
        HDU_CATEGORY_ENTRY(XC_MANAGED),
        HDU_CATEGORY_ENTRY(XC_PINVOKE),
        HDU_CATEGORY_ENTRY(XC_CBRS),
        HDU_CATEGORY_ENTRY(XC_DEVICESTATUS),
        HDU_CATEGORY_ENTRY(XC_HANDLERS),
        HDU_CATEGORY_ENTRY(XC_NAMEDPAPER),
        HDU_CATEGORY_ENTRY(XC_PRINTTICKET),
        HDU_CATEGORY_ENTRY(XC_THREAD),
        HDU_CATEGORY_ENTRY(XC_ASYNCH_HTTP),
        HDU_CATEGORY_ENTRY(XC_ATTRBYTES),
        HDU_CATEGORY_ENTRY(XC_COMPRESS),
        HDU_CATEGORY_ENTRY(XC_DICTINFRA),
        HDU_CATEGORY_ENTRY(XC_PROCESS),
        HDU_CATEGORY_ENTRY(XC_REGISTRY),
        HDU_CATEGORY_ENTRY(XC_XMLPARSE),
        HDU_CATEGORY_ENTRY(XC_PRINT_HELPER_UTILDLL),
};

#undef HDU_CATEGORY_ENTRY

const char* const kPrefix = "XC_";
const std::size_t kPrefixLength = 3;

}  // namespace

std::once_flag DebugLoggingCategoryHelper::ms_onceFlagForEnumToStringMap;
std::once_flag DebugLoggingCategoryHelper::ms_onceFlagForStringToEnumMap;
std::unordered_map<unsigned long long, std::string>* DebugLoggingCategoryHelper::ms_enumToStringMap = nullptr;
std::map<std::string, unsigned long long>* DebugLoggingCategoryHelper::ms_stringToEnumMap = nullptr;

const DebugLoggingCategoryHelper::CategoryTableEntry* DebugLoggingCategoryHelper::getCategoryTable() noexcept {
  return kCategoryTable;
}

// The maps are never destroyed: category names may be asked for while the
// library's static objects are being torn down (a last log line at unload).
const std::string& DebugLoggingCategoryHelper::getCategoryString(tagDebugLoggingCategoryEnumType category) {
  std::call_once(ms_onceFlagForEnumToStringMap, [] {
    auto* map = new std::unordered_map<unsigned long long, std::string>();
    for (const CategoryTableEntry& entry : kCategoryTable) {
      map->emplace(entry.mask, entry.name);
    }
    ms_enumToStringMap = map;
  });
  const auto found = ms_enumToStringMap->find(static_cast<unsigned long long>(category));
  if (found == ms_enumToStringMap->end()) {
    HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT("DebugLoggingCategoryHelper::getCategoryString"),
              "Format Error: No String Mapping for Debug Logging Category: The specified "
              "DebugLoggingCategoryEnumType, 0x%016llX, does not have an enum-to-string mapping defined for it. Did "
              "you use the X_DEFINE_ENUM_IM() or X_DEFINE_ENUM_EX() macro to define it?",
              static_cast<unsigned long long>(category));
  }
  return found->second;
}

std::string DebugLoggingCategoryHelper::getCategoryStringWithoutPrefix(tagDebugLoggingCategoryEnumType category) {
  return getCategoryString(category).substr(kPrefixLength);
}

bool DebugLoggingCategoryHelper::isKnownCategoryName(const std::string& name) {
  std::call_once(ms_onceFlagForStringToEnumMap, [] {
    auto* map = new std::map<std::string, unsigned long long>();
    for (const CategoryTableEntry& entry : kCategoryTable) {
      map->emplace(entry.name, entry.mask);
    }
    ms_stringToEnumMap = map;
  });
  return ms_stringToEnumMap->find(name) != ms_stringToEnumMap->end();
}

tagDebugLoggingCategoryEnumType DebugLoggingCategoryHelper::getCategoryFromString(
    const std::string& name, HaldenConfiguration::ILoggingConfigurationReportSink& sink) {
  if (isKnownCategoryName(name)) {
    return static_cast<tagDebugLoggingCategoryEnumType>(ms_stringToEnumMap->find(name)->second);
  }
  sink.reportConfigurationProblem(
      HaldenConfiguration::ConfigurationReportSeverityEnum::CRSE_ERROR,
      "Format Error: Invalid Debug Logging Category Name",
      "Invalid category name, '" + name +
          "'. Did you misspell it? Note that category strings are case-sensitive and generally all uppercase. This "
          "category will be ignored.");
  return XC_NONE;
}

tagDebugLoggingCategoryEnumType DebugLoggingCategoryHelper::getCategoryFromString(const std::string& name) {
  return getCategoryFromString(name, HaldenConfiguration::ErrorDisplayReportSink::getInstance());
}

tagDebugLoggingCategoryEnumType DebugLoggingCategoryHelper::getCategoryFromStringWithoutPrefix(
    const std::string& name, HaldenConfiguration::ILoggingConfigurationReportSink& sink) {
  return getCategoryFromString(kPrefix + name, sink);
}

tagDebugLoggingCategoryEnumType DebugLoggingCategoryHelper::getCategoryFromStringWithoutPrefix(
    const std::string& name) {
  return getCategoryFromStringWithoutPrefix(name, HaldenConfiguration::ErrorDisplayReportSink::getInstance());
}

unsigned int DebugLoggingCategoryHelper::addCategoryStringsToBuffer(const unsigned long long& mask, char* buffer,
                                                                    unsigned int size) {
  if (buffer == nullptr || size == 0) {
    return 0;
  }
  unsigned int used = 0;
  const auto put = [&](const char* text) {
    const std::size_t length = std::strlen(text);
    const std::size_t room = size - 1 - used;
    const std::size_t count = length < room ? length : room;
    std::memcpy(buffer + used, text, count);
    used += static_cast<unsigned int>(count);
  };
  put("[");
  for (const CategoryTableEntry& entry : kCategoryTable) {
    if (entry.mask == XC_ALL || (entry.mask & mask) == 0) {
      continue;
    }
    put(" ");
    put(entry.name);
  }
  put(" ] ");
  buffer[used] = '\0';
  return used;
}

}  // namespace HaldenLogging
