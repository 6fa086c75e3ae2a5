#pragma once
// HaldenConfiguration::LoggingTomlReader: reading typed values of the logging
// configuration out of cpptoml tables, with the configuration's reports.
// Used by LoggingConfiguration, LoggingOptions and the destinations; only
// library code includes it (it includes cpptoml).
//
// A key is named in reports by its full path, "logging.destination.log1.max-
// verbosity-level" or "logging.contextual-options[2].contexts[1].builds"
// (entries counted from 1). Report texts, with KEY that path and VALUE the
// value as written:
//   "Format Error: Type Mismatch for TOML Value"
//     "Wrong type for this key's value: 'KEY'. Expect true or false."
//     "Wrong type. Expect this key's value to be a string: 'KEY'."
//     "Wrong type. Expect this key's value to be an integer: 'KEY'."
//     "Wrong type. Expect this key's value to be an array: 'KEY'."
//     a table where an array was wanted: "Wrong type. Expect this key's value
//     to be an array: 'KEY'. Missing a set of braces (e.g., 'NAME=[...]')?"
//   "Format Error Found by tryGetTomlArrayAsStrings()"
//     "Wrong type. Expect this key's value to be an array of strings: 'KEY'."
//     "Wrong type. Expect this key's value to be an array of strings
//     (representing enums): 'KEY'."  (the whole key is ignored)
//   "Format Error Found by tryGetTomlOption()"
//     "The value, VALUE, is out of range for this key: 'KEY'. Expect an
//     integer from MIN to MAX. Ignoring this value."
//   "Format Error: Invalid Empty TOML Value"
//     "Empty string not allowed in this array of strings: 'KEY'."
//     "Empty string not allowed in this array of enum values: 'KEY'."
//   "Format Error: No Enum Mapping for TOML Value"
//     "Unexpected string. No enum mapping. The value: 'VALUE' is not in the
//     map associated with this key: 'KEY'."
//   "Format Error: Invalid Use of Exclusive Prefix"
//     "Invalid use of the 'exclusive prefix' character, '!', in the value,
//     'VALUE', for this key, 'KEY'! Ignoring this value."   ("!" alone, "!!x")
//     "The set of values includes a mix of 'exclusive' (i.e., starts with '!')
//     and 'inclusive' values! The values for this key are being ignored:
//     'KEY'."
//   "Format Error: 'Exlusive' Prefix Not Allowed"
//     "Invalid use of the 'exclusive prefix' character, '!', in the value,
//     'VALUE', for this key, 'KEY'! Ignoring this value."  (where "!" has no
//     meaning: category arrays, unit-tests, warmup-mode)
//   "Format Error Found by LoggingOptions::LoggingOptions()"
//     "Unexpected value, 'XC_ALL', in the list of values for this key,
//     'KEY'! Ignoring the values."  (excluding every category)
//   "Warning Parsing Logging Configuration TOML Data"
//     "Unknown key, 'KEY', in the [TABLE] table. It is not a logging
//     configuration key and is being ignored."
// A value that is reported is ignored; the rest of the table is still read.

#include "LowLevelFacilities/LoggingConfigurationReportSink.h"
#include "LowLevelFacilities/LoggingContextualOptions.h"
#include "LowLevelFacilities/LoggingOptions.h"

#include <cpptoml.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace HaldenConfiguration::LoggingTomlReader {

extern const char* const kWarningTitle;
extern const char* const kErrorTitle;

std::string joinKey(const std::string& tablePath, const std::string& key);
// The value of a key, or null when the table does not hold it.
std::shared_ptr<cpptoml::base> findValue(const cpptoml::table& table, const std::string& key);

void report(ILoggingConfigurationReportSink& sink, const char* title, const std::string& text);
void reportWarning(ILoggingConfigurationReportSink& sink, const std::string& text);
void reportUnknownKey(ILoggingConfigurationReportSink& sink, const std::string& tablePath, const std::string& key);
// "Wrong type ...", with the braces hint when `value` is a table.
void reportWrongType(ILoggingConfigurationReportSink& sink, const char* piece, const std::string& keyPath,
                     const std::string& key, const cpptoml::base& value);

// Reads one option key (described by `description`) into `into`; reports
// and leaves `into` unchanged when the value is wrong.
bool tryGetTomlOption(const cpptoml::table& table, const std::string& tablePath,
                      const LoggingOptionDescription& description, LoggingOptions& into,
                      ILoggingConfigurationReportSink& sink);

// The strings of an array key. Empty strings are reported and dropped.
// Non-string elements (or a value that is not an array) make the whole key
// ignored: std::nullopt.
std::optional<std::vector<std::string>> tryGetTomlArrayAsStrings(const cpptoml::table& table,
                                                                 const std::string& tablePath, const std::string& key,
                                                                 bool representsEnums,
                                                                 ILoggingConfigurationReportSink& sink);

// Reads every option key of the table into `into`. Keys that are neither
// option keys nor in `otherKeys` are reported as unknown.
void readLoggingOptionsFromTable(const cpptoml::table& table, const std::string& tablePath, LoggingOptions& into,
                                 ILoggingConfigurationReportSink& sink,
                                 std::initializer_list<const char*> otherKeys = {});

// Reads one `contexts` table. Destination names are not checked here.
LoggingContext readLoggingContextFromTable(const cpptoml::table& table, const std::string& tablePath,
                                           ILoggingConfigurationReportSink& sink);

// A boolean key; std::nullopt (after a report) when it has another type.
std::optional<bool> tryGetTomlBoolean(const cpptoml::table& table, const std::string& tablePath, const std::string& key,
                                      ILoggingConfigurationReportSink& sink);

}  // namespace HaldenConfiguration::LoggingTomlReader
