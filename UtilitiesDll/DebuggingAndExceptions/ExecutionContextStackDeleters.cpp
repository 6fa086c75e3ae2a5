// Deleters of the per-thread execution-context stacks held by
// UtilitiesDllPerThreadStorage.
//
// ExecutionContextStack and ConstraintExecutionContextStack are only declared
// so far; nothing can create one, so a storage's stack pointers are always
// null and std::unique_ptr never calls these deleters. When the stacks are
// defined, their deleters become `delete stack;` here, in a file that sees the
// complete classes, together with UtilitiesDllPerThreadStorage's
// GetExecutionContextStack() and GetConstraintExecutionContextStack().

#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

void ExecutionContextStackDeleter::operator()(ExecutionContextStack* /*stack*/) const noexcept {}

void ConstraintExecutionContextStackDeleter::operator()(ConstraintExecutionContextStack* /*stack*/) const noexcept {}
