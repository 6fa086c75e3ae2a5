#include "LowLevelFacilities/LoggingContextualOptions.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace HaldenConfiguration {

namespace {

const char* const kSelectorKeys[LCSE_NUMBER_OF_SELECTORS] = {
    "builds", "processes", "destinations", "types", "platforms", "unit-tests", "warmup-mode",
};

char toLowerAscii(char c) noexcept {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringAsciiCase(const std::string& a, const std::string& b) noexcept {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (toLowerAscii(a[i]) != toLowerAscii(b[i])) {
      return false;
    }
  }
  return true;
}

std::string normalizedBuild(const std::string& build) {
  if (build == "checked") {
    return "debug";
  }
  if (build == "free") {
    return "release";
  }
  return build;
}

bool valueMatches(int selector, const std::string& value, const LoggingSelectionContext& context) {
  switch (selector) {
    case LCSE_BUILDS:
      return normalizedBuild(value) == normalizedBuild(context.build);
    case LCSE_PROCESSES: {
      if (equalsIgnoringAsciiCase(value, context.processName)) {
        return true;
      }
      const std::size_t dot = context.processName.rfind('.');
      return dot != std::string::npos && equalsIgnoringAsciiCase(value, context.processName.substr(0, dot));
    }
    case LCSE_PLATFORMS:
      return value == context.platform;
    case LCSE_UNIT_TESTS:
      return value == (context.unitTests ? "on" : "off");
    case LCSE_WARMUP_MODE:
      return value == (context.warmupMode ? "on" : "off");
    default:
      return false;
  }
}

std::string contextValue(int selector, const LoggingSelectionContext& context) {
  switch (selector) {
    case LCSE_BUILDS:
      return context.build;
    case LCSE_PROCESSES:
      return context.processName;
    case LCSE_PLATFORMS:
      return context.platform;
    case LCSE_UNIT_TESTS:
      return context.unitTests ? "on" : "off";
    case LCSE_WARMUP_MODE:
      return context.warmupMode ? "on" : "off";
    default:
      return {};
  }
}

std::string listForDisplay(const LoggingContextSelector& selector) {
  std::string result = "[";
  for (std::size_t i = 0; i < selector.values.size(); ++i) {
    if (i != 0) {
      result += ", ";
    }
    result += selector.values[i];
  }
  return result + "]";
}

// Inclusive: the value is listed; exclusive: it is not.
bool selectorMatches(const LoggingContextSelector& selector, int which, const LoggingSelectionContext& context) {
  bool listed = false;
  for (const std::string& value : selector.values) {
    if (valueMatches(which, value, context)) {
      listed = true;
      break;
    }
  }
  if (selector.values.empty()) {
    return false;
  }
  return selector.exclusive ? !listed : listed;
}

bool selectorMatchesWord(const LoggingContextSelector& selector, const std::string& word) {
  if (selector.values.empty()) {
    return false;
  }
  bool listed = false;
  for (const std::string& value : selector.values) {
    if (value == word) {
      listed = true;
      break;
    }
  }
  return selector.exclusive ? !listed : listed;
}

}  // namespace

// ---- LoggingSelectionContext -------------------------------------------------------------

LoggingSelectionContext LoggingSelectionContext::fromProcessContext(const ProcessContextInfo& info, bool warmupMode) {
  LoggingSelectionContext context;
  context.processName = info.getProcessName();
  context.build = getLibraryBuildWord();
  context.platform = getPlatformWord();
  context.warmupMode = warmupMode;
  const char* unitTests = std::getenv("HDU_UNIT_TESTS");
  context.unitTests = unitTests != nullptr && *unitTests != '\0' && std::strcmp(unitTests, "0") != 0 &&
                      std::strcmp(unitTests, "off") != 0;
  return context;
}

const char* LoggingSelectionContext::getLibraryBuildWord() noexcept {
#ifdef NDEBUG
  return "release";
#else
  return "debug";
#endif
}

const char* LoggingSelectionContext::getPlatformWord() noexcept {
#ifdef _WIN32
  return "windows";
#else
  return "linux";
#endif
}

std::string LoggingSelectionContext::getDisplayString() const {
  return "process '" + processName + "', build '" + build + "', platform '" + platform + "', warm-up " +
         (warmupMode ? "on" : "off") + ", unit tests " + (unitTests ? "on" : "off");
}

// ---- LoggingContext ------------------------------------------------------------------------

const char* LoggingContext::getSelectorKey(int selector) noexcept {
  return (selector >= 0 && selector < LCSE_NUMBER_OF_SELECTORS) ? kSelectorKeys[selector] : "";
}

int LoggingContext::findSelectorByKey(const std::string& key) noexcept {
  for (int i = 0; i < LCSE_NUMBER_OF_SELECTORS; ++i) {
    if (key == kSelectorKeys[i]) {
      return i;
    }
  }
  return -1;
}

bool LoggingContext::matchesProcess(const LoggingSelectionContext& context,
                                    std::vector<std::string>* explanation) const {
  bool all = true;
  for (int which : {LCSE_BUILDS, LCSE_PROCESSES, LCSE_PLATFORMS, LCSE_UNIT_TESTS, LCSE_WARMUP_MODE}) {
    const LoggingContextSelector& selector = m_selectors[which];
    if (!selector.present) {
      continue;
    }
    const bool matches = selectorMatches(selector, which, context);
    all = all && matches;
    if (explanation != nullptr) {
      std::string phrase = std::string(kSelectorKeys[which]) + " '" + contextValue(which, context) + "' ";
      if (selector.values.empty()) {
        phrase += "cannot match: no valid values";
      } else if (selector.exclusive) {
        phrase += matches ? "is not among the excluded " : "is excluded by ";
        phrase += listForDisplay(selector);
      } else {
        phrase += matches ? "is in " : "is not in ";
        phrase += listForDisplay(selector);
      }
      explanation->push_back(std::move(phrase));
    }
  }
  return all;
}

bool LoggingContext::selectsNoDestination() const noexcept {
  const LoggingContextSelector& selector = m_selectors[LCSE_DESTINATIONS];
  return selector.present && !selector.exclusive && selector.values.size() == 1 && selector.values[0] == "empty";
}

bool LoggingContext::matchesDestination(const std::string& name, const std::string& typeWord) const {
  if (selectsNoDestination()) {
    return false;
  }
  const LoggingContextSelector& names = m_selectors[LCSE_DESTINATIONS];
  const LoggingContextSelector& types = m_selectors[LCSE_TYPES];
  if (names.present && !selectorMatchesWord(names, name)) {
    return false;
  }
  if (types.present && !selectorMatchesWord(types, typeWord)) {
    return false;
  }
  return true;
}

// ---- LoggingContextualOptions ------------------------------------------------------------

LoggingContextualOptions::LoggingContextualOptions(LoggingContextsSet contexts, LoggingOptions options,
                                                   std::string sourceName, std::size_t entryNumber)
    : m_contexts(std::move(contexts)),
      m_options(std::move(options)),
      m_sourceName(std::move(sourceName)),
      m_entryNumber(entryNumber) {}

void LoggingContextualOptions::evaluate(const LoggingSelectionContext& context, std::vector<std::string>* explanation) {
  m_processMatches.assign(m_contexts.size(), false);
  for (std::size_t i = 0; i < m_contexts.size(); ++i) {
    std::vector<std::string> phrases;
    m_processMatches[i] = m_contexts[i].matchesProcess(context, explanation != nullptr ? &phrases : nullptr);
    if (explanation != nullptr) {
      std::string line =
          "contexts[" + std::to_string(i + 1) + "] " + (m_processMatches[i] ? "matches" : "does not match");
      if (phrases.empty()) {
        line += ": no process selectors";
      } else {
        line += ": ";
        for (std::size_t p = 0; p < phrases.size(); ++p) {
          line += (p == 0 ? "" : "; ") + phrases[p];
        }
      }
      explanation->push_back(std::move(line));
    }
  }
}

bool LoggingContextualOptions::appliesToProcess() const noexcept {
  for (const bool match : m_processMatches) {
    if (match) {
      return true;
    }
  }
  return false;
}

bool LoggingContextualOptions::affectsFacilityOptions() const noexcept {
  for (std::size_t i = 0; i < m_contexts.size() && i < m_processMatches.size(); ++i) {
    if (m_processMatches[i] && (!m_contexts[i].hasDestinationSelectors() || m_contexts[i].selectsNoDestination())) {
      return true;
    }
  }
  return false;
}

bool LoggingContextualOptions::affectsDestination(const std::string& name, const std::string& typeWord) const {
  for (std::size_t i = 0; i < m_contexts.size() && i < m_processMatches.size(); ++i) {
    if (m_processMatches[i] && m_contexts[i].matchesDestination(name, typeWord)) {
      return true;
    }
  }
  return false;
}

}  // namespace HaldenConfiguration
