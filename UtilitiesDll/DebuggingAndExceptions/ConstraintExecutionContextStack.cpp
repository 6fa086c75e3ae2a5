#include "DebuggingAndExceptions/ConstraintExecutionContextStack.h"

#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/ExecutionContextText.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

namespace text = InternalHaldenCP::ExecutionContextText;

ConstraintExecutionContextStack::ConstraintExecutionContextStack() {
  m_contexts.reserve(kInitialCapacity);
}

ConstraintExecutionContextStack::ConstraintExecutionContextStack(const ConstraintExecutionContextStack& other) =
    default;
ConstraintExecutionContextStack& ConstraintExecutionContextStack::operator=(
    const ConstraintExecutionContextStack& other) = default;
ConstraintExecutionContextStack::~ConstraintExecutionContextStack() = default;

void ConstraintExecutionContextStack::ThrowNullContext() {
  HDU_THROW(CPExceptionNullArgument, HDU_DEBUG_CONTEXT("ConstraintExecutionContextStack::PushContext"),
            "A null execution context cannot be pushed.");
}

CPString ConstraintExecutionContextStack::GetMostRecentContextDisplayString(bool includeMessage) const {
  return m_contexts.empty() ? CPString("<No Context>") : m_contexts.back()->GetDumpDisplayString(includeMessage);
}

CPString ConstraintExecutionContextStack::GetMultiLineDisplayString(bool includeMessage) const {
  return text::MakeMultiLineDisplayString("Constraint Execution context (Thread=0x%04lx) (%ld levels deep):\r\n",
                                          m_contexts, includeMessage);
}

CPString ConstraintExecutionContextStack::GetStackString() const {
  return text::MakeStackString(m_contexts);
}

void ConstraintExecutionContextStack::Dump(const DumpArgs& /*dumpArgs*/, CPString&& /*title*/,
                                           const char* /*indent*/) const {}

ConstraintExecutionContextLifetime::ConstraintExecutionContextLifetime(
    const ConstraintExecutionContextSharedPtr& context)
    : ConstraintExecutionContextLifetime(UtilitiesDllPerThreadStorage::GetConstraintExecutionContextStack(), context) {}

ConstraintExecutionContextLifetime::ConstraintExecutionContextLifetime(ConstraintExecutionContextSharedPtr&& context)
    : ConstraintExecutionContextLifetime(UtilitiesDllPerThreadStorage::GetConstraintExecutionContextStack(),
                                         std::move(context)) {}
