#pragma once
// Contextual options: option sets that apply only in some contexts.
//
// A configuration's `[[logging.contextual-options]]` entries each hold an
// array of `contexts` tables and one `options` table. One `contexts` table is
// a HaldenConfiguration::LoggingContext: up to seven selectors, each an array
// of strings:
//   builds        "checked", "debug", "free", "release", "aefree", "aeplus"
//   processes     process names
//   destinations  destination names
//   types         destination types ("file", "stderr", "stdout",
//                 "outputdebugstring", "null", "stringstream")
//   platforms     "windows", "linux"
//   unit-tests    "on", "off"
//   warmup-mode   "on", "off"
// A value that begins with "!" (the exclusive prefix) means every value
// except that one; the values of one selector are all exclusive or all
// inclusive. The exclusive prefix is not allowed in unit-tests and
// warmup-mode (write "off" instead).
//
// Matching. The process selectors (builds, processes, platforms, unit-tests,
// warmup-mode) are matched against a LoggingSelectionContext when the
// configuration is read:
//  - builds: "checked" is the same build as "debug", "free" the same as
//    "release". The library's own build is "debug" when compiled without
//    NDEBUG, "release" otherwise; a checker may name any build word.
//  - processes: a value matches the process's file name ("spoolsv.exe") or
//    that name without its extension ("spoolsv"), ignoring ASCII case.
//  - unit-tests: "on" while the process runs the library's unit tests (the
//    environment variable HDU_UNIT_TESTS is set to a value other than "",
//    "0" or "off"); warmup-mode: "on" in warm-up mode (RuntimeConfiguration).
// An inclusive selector matches when the context's value is one of its
// values; an exclusive one when it is none of them. A selector left with no
// valid values matches nothing. A table matches a process when every process
// selector present matches; an entry applies when at least one of its tables
// matches.
//
// The destination selectors (destinations, types) say where the options of
// a matching table go: a table without destination selectors applies its
// entry's options to the facility's own options and to every destination; a
// table with them applies them to the destinations it selects (by name and by
// type: both must match when both are present). The value "empty" as the only
// value of `destinations` selects no destination, so that an entry can change
// the facility's own options alone.

#include "LowLevelFacilities/LoggingOptions.h"
#include "LowLevelFacilities/ProcessContextInfo.h"
#include "hdUtilitiesExport.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace HaldenConfiguration {

// What the process selectors are matched against.
struct HDU_API LoggingSelectionContext {
  std::string processName;  // the program's file name
  std::string build;        // a build word
  std::string platform;     // "windows" or "linux"
  bool warmupMode = false;
  bool unitTests = false;

  // The process of `info`, the library's build and platform, the given
  // warm-up mode and the unit-test switch from HDU_UNIT_TESTS.
  static LoggingSelectionContext fromProcessContext(const ProcessContextInfo& info, bool warmupMode);
  static const char* getLibraryBuildWord() noexcept;
  static const char* getPlatformWord() noexcept;
  // "process 'spoolsv.exe', build 'release', platform 'windows', warm-up off, unit tests off"
  std::string getDisplayString() const;
  bool operator==(const LoggingSelectionContext&) const = default;
};

enum LoggingContextSelectorEnum : int {
  LCSE_BUILDS = 0,
  LCSE_PROCESSES = 1,
  LCSE_DESTINATIONS = 2,
  LCSE_TYPES = 3,
  LCSE_PLATFORMS = 4,
  LCSE_UNIT_TESTS = 5,
  LCSE_WARMUP_MODE = 6,
  LCSE_NUMBER_OF_SELECTORS = 7,
};

struct LoggingContextSelector {
  bool present = false;
  bool exclusive = false;
  std::vector<std::string> values;  // without the exclusive prefix
};

class HDU_API LoggingContext {
 public:
  static const char* getSelectorKey(int selector) noexcept;
  // The selector of a key, or -1.
  static int findSelectorByKey(const std::string& key) noexcept;

  LoggingContextSelector& getSelector(LoggingContextSelectorEnum selector) { return m_selectors[selector]; }
  const LoggingContextSelector& getSelector(LoggingContextSelectorEnum selector) const { return m_selectors[selector]; }

  // Whether every process selector present matches. When `explanation` is
  // given, one phrase per selector present is appended to it ("builds
  // 'debug' is in [debug]", "processes 'a.exe' is not in [b]").
  bool matchesProcess(const LoggingSelectionContext& context, std::vector<std::string>* explanation = nullptr) const;
  bool hasDestinationSelectors() const noexcept {
    return m_selectors[LCSE_DESTINATIONS].present || m_selectors[LCSE_TYPES].present;
  }
  // `destinations` is exactly ["empty"].
  bool selectsNoDestination() const noexcept;
  // Whether the destination selectors present select this destination
  // (true when there are none).
  bool matchesDestination(const std::string& name, const std::string& typeWord) const;

 private:
  std::array<LoggingContextSelector, LCSE_NUMBER_OF_SELECTORS> m_selectors;
};

using LoggingContextsSet = std::vector<LoggingContext>;

// One contextual-options entry as read, with the outcome of matching its
// tables against the process.
class HDU_API LoggingContextualOptions {
 public:
  LoggingContextualOptions() = default;
  LoggingContextualOptions(LoggingContextsSet contexts, LoggingOptions options, std::string sourceName,
                           std::size_t entryNumber);

  const LoggingContextsSet& getContexts() const noexcept { return m_contexts; }
  const LoggingOptions& getOptions() const noexcept { return m_options; }
  const std::string& getSourceName() const noexcept { return m_sourceName; }
  // 1 for the first entry of its source.
  std::size_t getEntryNumber() const noexcept { return m_entryNumber; }

  // Matches every table against the process; remembers the outcome.
  void evaluate(const LoggingSelectionContext& context, std::vector<std::string>* explanation = nullptr);
  // Whether at least one table matched the process.
  bool appliesToProcess() const noexcept;
  // Whether the options go to the facility's own options: some matching
  // table has no destination selectors, or selects no destination.
  bool affectsFacilityOptions() const noexcept;
  // Whether the options go to this destination: some matching table selects it.
  bool affectsDestination(const std::string& name, const std::string& typeWord) const;

 private:
  LoggingContextsSet m_contexts;
  LoggingOptions m_options;
  std::string m_sourceName;
  std::size_t m_entryNumber = 0;
  std::vector<bool> m_processMatches;
};

}  // namespace HaldenConfiguration
