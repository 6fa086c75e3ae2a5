#include "DebuggingAndExceptions/ConstraintExecutionContextBase.h"

#include "DebuggingAndExceptions/ExecutionContextText.h"

#include <iterator>
#include <string_view>
#include <utility>

namespace {

#define HDU_CONSTRAINT_EXECUTION_CONTEXT_NAME_PAIR(name) {#name, name},
constexpr InternalHaldenCP::ExecutionContextNamePair kNamePairs[] = {HDU_CONSTRAINT_EXECUTION_CONTEXT_ENUM_TABLE(
    HDU_CONSTRAINT_EXECUTION_CONTEXT_NAME_PAIR, HDU_CONSTRAINT_EXECUTION_CONTEXT_NAME_PAIR)};
#undef HDU_CONSTRAINT_EXECUTION_CONTEXT_NAME_PAIR
static_assert(std::size(kNamePairs) == 5, "the constraint family has 5 names");

constexpr std::string_view kPrefix = "CECIE_";

}  // namespace

// The critical section first, then the table's lifetime mark (see
// ExecutionContextText.h): objects of one file are built in this order and
// destroyed in the reverse one.
CriticalResource ConstraintExecutionContextBase::m_soStringMapResource;

namespace {

constinit InternalHaldenCP::ExecutionContextNameTable g_nameTable(
    kNamePairs, std::size(kNamePairs), kPrefix, ConstraintExecutionContextBase::m_soStringMapResource);
InternalHaldenCP::ExecutionContextNameTableLifetime g_nameTableLifetime(g_nameTable);

}  // namespace

namespace text = InternalHaldenCP::ExecutionContextText;

// ---- ConstraintExecutionContextBase -------------------------------------------------

ConstraintExecutionContextBase::ConstraintExecutionContextBase(int context,
                                                               std::uint64_t debugLoggingCategoriesToFilterOn,
                                                               const char* file, const char* function, int line,
                                                               bool locationEmbeddedInMsg, CPString&& message)
    : m_fields(context, debugLoggingCategoriesToFilterOn, CPString(file), CPString(function), line,
               locationEmbeddedInMsg, std::move(message)) {}

ConstraintExecutionContextBase::ConstraintExecutionContextBase(int context,
                                                               std::uint64_t debugLoggingCategoriesToFilterOn,
                                                               CPString&& message)
    : m_fields(context, debugLoggingCategoriesToFilterOn, std::move(message)) {}

ConstraintExecutionContextBase::ConstraintExecutionContextBase(const ConstraintExecutionContextBase& other) = default;
ConstraintExecutionContextBase& ConstraintExecutionContextBase::operator=(const ConstraintExecutionContextBase& other) =
    default;
ConstraintExecutionContextBase::~ConstraintExecutionContextBase() = default;

CPString ConstraintExecutionContextBase::GetDebugDisplayString(int context, bool withPrefix, bool /*unused*/) {
  return CPString(std::string(g_nameTable.FindName(context, withPrefix)));
}

CPString ConstraintExecutionContextBase::GetContextDebugDisplayString(bool withPrefix) const {
  return GetDebugDisplayString(m_fields.context, withPrefix, false);
}

CPString ConstraintExecutionContextBase::GetContextAndMessage(int context, bool withPrefix, bool withMessage) const {
  return text::MakeContextAndMessage(g_nameTable.FindName(context, withPrefix), withMessage, m_fields.message);
}

CPString ConstraintExecutionContextBase::GetSingleLineLocationString() const {
  return m_fields.SingleLineLocationString();
}

CPString ConstraintExecutionContextBase::MakeDumpDisplayString(bool includeMessage) const {
  return m_fields.DumpDisplayString(g_nameTable.FindName(m_fields.context, false), includeMessage);
}

bool ConstraintExecutionContextBase::AssertValidContextIdType(int context) noexcept {
  return context >= CECIE_NOT_SPECIFIED && context < CECIE_NO_MORE_ENUMS;
}

bool ConstraintExecutionContextBase::operator==(const ConstraintExecutionContextBase& other) const {
  return m_fields == other.m_fields;
}

bool ConstraintExecutionContextBase::operator<(const ConstraintExecutionContextBase& other) const {
  return m_fields < other.m_fields;
}

// ---- BasicConstraintExecutionContext ------------------------------------------------

BasicConstraintExecutionContext::BasicConstraintExecutionContext(int context,
                                                                 std::uint64_t debugLoggingCategoriesToFilterOn,
                                                                 const char* file, const char* function, int line,
                                                                 bool locationEmbeddedInMsg, CPString&& message)
    : ConstraintExecutionContextBase(context, debugLoggingCategoriesToFilterOn, file, function, line,
                                     locationEmbeddedInMsg, std::move(message)) {}

BasicConstraintExecutionContext::BasicConstraintExecutionContext(int context,
                                                                 std::uint64_t debugLoggingCategoriesToFilterOn,
                                                                 CPString&& message)
    : ConstraintExecutionContextBase(context, debugLoggingCategoriesToFilterOn, std::move(message)) {}

BasicConstraintExecutionContext::BasicConstraintExecutionContext(const BasicConstraintExecutionContext& other) =
    default;
BasicConstraintExecutionContext& BasicConstraintExecutionContext::operator=(
    const BasicConstraintExecutionContext& other) = default;
BasicConstraintExecutionContext::~BasicConstraintExecutionContext() = default;

std::unique_ptr<ConstraintExecutionContextBase> BasicConstraintExecutionContext::Clone() const {
  return std::make_unique<BasicConstraintExecutionContext>(*this);
}

bool BasicConstraintExecutionContext::IsEqual(const ConstraintExecutionContextBase& other) const {
  return dynamic_cast<const BasicConstraintExecutionContext*>(&other) != nullptr && *this == other;
}

bool BasicConstraintExecutionContext::LessThan(const ConstraintExecutionContextBase& other) const {
  // The same type test as IsEqual, whose outcome is deliberately not used:
  // contexts of any class are ordered by the common fields.
  [[maybe_unused]] const bool sameClass = dynamic_cast<const BasicConstraintExecutionContext*>(&other) != nullptr;
  return *this < other;
}

CPString BasicConstraintExecutionContext::GetDumpDisplayString(bool includeMessage) const {
  return MakeDumpDisplayString(includeMessage);
}

void BasicConstraintExecutionContext::Dump(const DumpArgs& /*dumpArgs*/) const {}

// ---- ConstraintExecutionContextBaseCompare ------------------------------------------

bool ConstraintExecutionContextBaseCompare::operator()(const ConstraintExecutionContextBase* a,
                                                       const ConstraintExecutionContextBase* b) const {
  if (a == nullptr || b == nullptr) {
    return a == nullptr && b != nullptr;
  }
  return a->LessThan(*b);
}
