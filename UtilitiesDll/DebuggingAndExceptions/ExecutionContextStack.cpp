#include "DebuggingAndExceptions/ExecutionContextStack.h"

#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/ExecutionContextText.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

namespace text = InternalHaldenCP::ExecutionContextText;

ExecutionContextStack::ExecutionContextStack() {
  m_contexts.reserve(kInitialCapacity);
}

ExecutionContextStack::ExecutionContextStack(const ExecutionContextStack& other) = default;
ExecutionContextStack& ExecutionContextStack::operator=(const ExecutionContextStack& other) = default;
ExecutionContextStack::~ExecutionContextStack() = default;

void ExecutionContextStack::ThrowNullContext() {
  HDU_THROW(CPExceptionNullArgument, HDU_DEBUG_CONTEXT("ExecutionContextStack::PushContext"),
            "A null execution context cannot be pushed.");
}

CPString ExecutionContextStack::GetMostRecentContextDisplayString(bool includeMessage) const {
  return m_contexts.empty() ? CPString("<No Context>") : m_contexts.back()->GetDumpDisplayString(includeMessage);
}

CPString ExecutionContextStack::GetMultiLineDisplayString(bool includeMessage) const {
  return text::MakeMultiLineDisplayString("Execution context (Thread=0x%04lx) (%ld levels deep):\r\n", m_contexts,
                                          includeMessage);
}

CPString ExecutionContextStack::GetStackString() const {
  return text::MakeStackString(m_contexts);
}

void ExecutionContextStack::Dump(const DumpArgs& /*dumpArgs*/, CPString&& /*title*/, const char* /*indent*/) const {}

ExecutionContextLifetime::ExecutionContextLifetime(const ExecutionContextSharedPtr& context)
    : ExecutionContextLifetime(UtilitiesDllPerThreadStorage::GetExecutionContextStack(), context) {}

ExecutionContextLifetime::ExecutionContextLifetime(ExecutionContextSharedPtr&& context)
    : ExecutionContextLifetime(UtilitiesDllPerThreadStorage::GetExecutionContextStack(), std::move(context)) {}
