// The parts of UtilitiesDllPerThreadStorage that need the execution-context
// stacks as complete classes: the deleters of the two stacks a storage owns,
// and the getters that create a thread's stacks on first use. They live here,
// beside the stacks, so that the per-thread storage's own files need only the
// declarations.

#include "DebuggingAndExceptions/ConstraintExecutionContextStack.h"
#include "DebuggingAndExceptions/ExecutionContextStack.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

void ExecutionContextStackDeleter::operator()(ExecutionContextStack* stack) const noexcept {
  delete stack;
}

void ConstraintExecutionContextStackDeleter::operator()(ConstraintExecutionContextStack* stack) const noexcept {
  delete stack;
}

// No lock: the storage and its stacks belong to the calling thread alone.
ExecutionContextStack& UtilitiesDllPerThreadStorage::GetExecutionContextStack() {
  UtilitiesDllPerThreadStorage& storage = GetUtilitiesDllPerThreadStorageObject();
  if (!storage.m_executionContextStack) {
    storage.m_executionContextStack.reset(new ExecutionContextStack());
  }
  return *storage.m_executionContextStack;
}

ConstraintExecutionContextStack& UtilitiesDllPerThreadStorage::GetConstraintExecutionContextStack() {
  UtilitiesDllPerThreadStorage& storage = GetUtilitiesDllPerThreadStorageObject();
  if (!storage.m_constraintExecutionContextStack) {
    storage.m_constraintExecutionContextStack.reset(new ConstraintExecutionContextStack());
  }
  return *storage.m_constraintExecutionContextStack;
}
