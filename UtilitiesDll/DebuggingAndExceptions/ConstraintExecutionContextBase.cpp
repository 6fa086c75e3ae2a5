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
    : m_context(context),
      m_debugLoggingCategoriesToFilterOn(debugLoggingCategoriesToFilterOn),
      m_fileWhereConstructed(file),
      m_fileNameWhereConstructed(std::string(text::FileNameAfterLastBackslash(m_fileWhereConstructed.utf8StdString()))),
      m_functionWhereConstructed(function),
      m_lineNumWhereConstructed(static_cast<std::uint32_t>(line)),
      m_locationEmbeddedInMsg(locationEmbeddedInMsg),
      m_message(std::exchange(message, CPString())) {}

ConstraintExecutionContextBase::ConstraintExecutionContextBase(int context,
                                                               std::uint64_t debugLoggingCategoriesToFilterOn,
                                                               CPString&& message)
    : m_context(context),
      m_debugLoggingCategoriesToFilterOn(debugLoggingCategoriesToFilterOn),
      m_lineNumWhereConstructed(0),
      m_locationEmbeddedInMsg(false),
      m_message(std::exchange(message, CPString())) {}

ConstraintExecutionContextBase::ConstraintExecutionContextBase(const ConstraintExecutionContextBase& other) = default;
ConstraintExecutionContextBase& ConstraintExecutionContextBase::operator=(const ConstraintExecutionContextBase& other) =
    default;
ConstraintExecutionContextBase::~ConstraintExecutionContextBase() = default;

CPString ConstraintExecutionContextBase::GetDebugDisplayString(int context, bool withPrefix, bool /*unused*/) {
  return CPString(std::string(g_nameTable.FindName(context, withPrefix)));
}

CPString ConstraintExecutionContextBase::GetContextDebugDisplayString(bool withPrefix) const {
  return GetDebugDisplayString(m_context, withPrefix, false);
}

CPString ConstraintExecutionContextBase::GetContextAndMessage(int context, bool withPrefix, bool withMessage) const {
  return text::MakeContextAndMessage(g_nameTable.FindName(context, withPrefix), withMessage, m_message);
}

CPString ConstraintExecutionContextBase::GetSingleLineLocationString() const {
  InternalHaldenCP::FormatStringBuffer<1024> buffer;
  text::AppendSingleLineLocation(buffer, m_fileNameWhereConstructed.utf8StdString(), m_functionWhereConstructed,
                                 m_lineNumWhereConstructed);
  return CPString(buffer.takeStdString());
}

CPString ConstraintExecutionContextBase::MakeDumpDisplayString(bool includeMessage) const {
  return text::MakeDumpDisplayString(g_nameTable.FindName(m_context, false), m_locationEmbeddedInMsg, includeMessage,
                                     m_message, m_fileNameWhereConstructed.utf8StdString(), m_functionWhereConstructed,
                                     m_lineNumWhereConstructed);
}

bool ConstraintExecutionContextBase::AssertValidContextIdType(int context) noexcept {
  return context >= CECIE_NOT_SPECIFIED && context < CECIE_NO_MORE_ENUMS;
}

bool ConstraintExecutionContextBase::operator==(const ConstraintExecutionContextBase& other) const {
  return m_context == other.m_context &&
         m_debugLoggingCategoriesToFilterOn == other.m_debugLoggingCategoriesToFilterOn &&
         m_fileWhereConstructed == other.m_fileWhereConstructed &&
         m_functionWhereConstructed == other.m_functionWhereConstructed &&
         m_lineNumWhereConstructed == other.m_lineNumWhereConstructed &&
         m_locationEmbeddedInMsg == other.m_locationEmbeddedInMsg && m_message == other.m_message;
}

bool ConstraintExecutionContextBase::operator<(const ConstraintExecutionContextBase& other) const {
  if (m_context != other.m_context) {
    return m_context < other.m_context;
  }
  if (m_debugLoggingCategoriesToFilterOn != other.m_debugLoggingCategoriesToFilterOn) {
    return m_debugLoggingCategoriesToFilterOn < other.m_debugLoggingCategoriesToFilterOn;
  }
  if (const int byFile = m_fileWhereConstructed.utf8StdString().compare(other.m_fileWhereConstructed.utf8StdString());
      byFile != 0) {
    return byFile < 0;
  }
  if (const int byFunction =
          m_functionWhereConstructed.utf8StdString().compare(other.m_functionWhereConstructed.utf8StdString());
      byFunction != 0) {
    return byFunction < 0;
  }
  return m_lineNumWhereConstructed < other.m_lineNumWhereConstructed;
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
