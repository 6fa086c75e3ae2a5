#include "DebuggingAndExceptions/ExecutionContextBase.h"

#include "DebuggingAndExceptions/ExecutionContextText.h"

#include <iterator>
#include <string_view>
#include <utility>

namespace {

#define HDU_EXECUTION_CONTEXT_NAME_PAIR(name) {#name, name},
constexpr InternalHaldenCP::ExecutionContextNamePair kNamePairs[] = {
    HDU_EXECUTION_CONTEXT_ENUM_TABLE(HDU_EXECUTION_CONTEXT_NAME_PAIR, HDU_EXECUTION_CONTEXT_NAME_PAIR)};
#undef HDU_EXECUTION_CONTEXT_NAME_PAIR
static_assert(std::size(kNamePairs) == 180, "the general family has 180 names");

constexpr std::string_view kPrefix = "ECIE_";

}  // namespace

// The critical section first, then the table's lifetime mark (see
// ExecutionContextText.h): objects of one file are built in this order and
// destroyed in the reverse one.
CriticalResource ExecutionContextBase::m_soStringMapResource;

namespace {

constinit InternalHaldenCP::ExecutionContextNameTable g_nameTable(kNamePairs, std::size(kNamePairs), kPrefix,
                                                                  ExecutionContextBase::m_soStringMapResource);
InternalHaldenCP::ExecutionContextNameTableLifetime g_nameTableLifetime(g_nameTable);

}  // namespace

namespace text = InternalHaldenCP::ExecutionContextText;

// ---- ExecutionContextBase -----------------------------------------------------------

ExecutionContextBase::ExecutionContextBase(int context, std::uint64_t debugLoggingCategoriesToFilterOn,
                                           const char* file, const char* function, int line, bool locationEmbeddedInMsg,
                                           CPString&& message)
    : ExecutionContextBase(context, debugLoggingCategoriesToFilterOn, CPString(file), CPString(function), line,
                           locationEmbeddedInMsg, std::move(message)) {}

ExecutionContextBase::ExecutionContextBase(int context, std::uint64_t debugLoggingCategoriesToFilterOn, CPString&& file,
                                           CPString&& function, int line, bool locationEmbeddedInMsg,
                                           CPString&& message)
    : m_fields(context, debugLoggingCategoriesToFilterOn, std::move(file), std::move(function), line,
               locationEmbeddedInMsg, std::move(message)) {}

ExecutionContextBase::ExecutionContextBase(int context, std::uint64_t debugLoggingCategoriesToFilterOn,
                                           CPString&& message)
    : m_fields(context, debugLoggingCategoriesToFilterOn, std::move(message)) {}

ExecutionContextBase::ExecutionContextBase(const ExecutionContextBase& other) = default;
ExecutionContextBase& ExecutionContextBase::operator=(const ExecutionContextBase& other) = default;
ExecutionContextBase::~ExecutionContextBase() = default;

CPString ExecutionContextBase::GetDebugDisplayString(int context, bool withPrefix, bool /*unused*/) {
  return CPString(std::string(g_nameTable.FindName(context, withPrefix)));
}

CPString ExecutionContextBase::GetContextDebugDisplayString(bool withPrefix) const {
  return GetDebugDisplayString(m_fields.context, withPrefix, false);
}

CPString ExecutionContextBase::GetContextAndMessage(int context, bool withPrefix, bool withMessage) const {
  return text::MakeContextAndMessage(g_nameTable.FindName(context, withPrefix), withMessage, m_fields.message);
}

CPString ExecutionContextBase::GetSingleLineLocationString() const {
  return m_fields.SingleLineLocationString();
}

CPString ExecutionContextBase::MakeDumpDisplayString(bool includeMessage) const {
  return m_fields.DumpDisplayString(g_nameTable.FindName(m_fields.context, false), includeMessage);
}

bool ExecutionContextBase::AssertValidContextIdType(int context) noexcept {
  return context >= ECIE_NOT_SPECIFIED && context < ECIE_NO_MORE_ENUMS;
}

bool ExecutionContextBase::operator==(const ExecutionContextBase& other) const {
  return m_fields == other.m_fields;
}

bool ExecutionContextBase::operator<(const ExecutionContextBase& other) const {
  return m_fields < other.m_fields;
}

// ---- BasicExecutionContext ----------------------------------------------------------

BasicExecutionContext::BasicExecutionContext(int context, std::uint64_t debugLoggingCategoriesToFilterOn,
                                             const char* file, const char* function, int line,
                                             bool locationEmbeddedInMsg, CPString&& message)
    : ExecutionContextBase(context, debugLoggingCategoriesToFilterOn, file, function, line, locationEmbeddedInMsg,
                           std::move(message)) {}

BasicExecutionContext::BasicExecutionContext(int context, std::uint64_t debugLoggingCategoriesToFilterOn,
                                             CPString&& file, CPString&& function, int line, bool locationEmbeddedInMsg,
                                             CPString&& message)
    : ExecutionContextBase(context, debugLoggingCategoriesToFilterOn, std::move(file), std::move(function), line,
                           locationEmbeddedInMsg, std::move(message)) {}

BasicExecutionContext::BasicExecutionContext(int context, std::uint64_t debugLoggingCategoriesToFilterOn,
                                             CPString&& message)
    : ExecutionContextBase(context, debugLoggingCategoriesToFilterOn, std::move(message)) {}

BasicExecutionContext::BasicExecutionContext(const BasicExecutionContext& other) = default;
BasicExecutionContext& BasicExecutionContext::operator=(const BasicExecutionContext& other) = default;
BasicExecutionContext::~BasicExecutionContext() = default;

std::unique_ptr<ExecutionContextBase> BasicExecutionContext::Clone() const {
  return std::make_unique<BasicExecutionContext>(*this);
}

bool BasicExecutionContext::IsEqual(const ExecutionContextBase& other) const {
  return dynamic_cast<const BasicExecutionContext*>(&other) != nullptr && *this == other;
}

bool BasicExecutionContext::LessThan(const ExecutionContextBase& other) const {
  // The same type test as IsEqual, whose outcome is deliberately not used:
  // contexts of any class are ordered by the common fields.
  [[maybe_unused]] const bool sameClass = dynamic_cast<const BasicExecutionContext*>(&other) != nullptr;
  return *this < other;
}

CPString BasicExecutionContext::GetDumpDisplayString(bool includeMessage) const {
  return MakeDumpDisplayString(includeMessage);
}

void BasicExecutionContext::Dump(const DumpArgs& /*dumpArgs*/) const {}

// ---- ExecutionContextBaseCompare ----------------------------------------------------

bool ExecutionContextBaseCompare::operator()(const ExecutionContextBase* a, const ExecutionContextBase* b) const {
  if (a == nullptr || b == nullptr) {
    return a == nullptr && b != nullptr;
  }
  return a->LessThan(*b);
}
