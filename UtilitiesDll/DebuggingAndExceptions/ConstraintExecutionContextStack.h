#pragma once
// ConstraintExecutionContextStack and ConstraintExecutionContextLifetime: the
// per-thread stack of constraint execution contexts and the object that
// pushes one for a scope. They work as ExecutionContextStack and
// ExecutionContextLifetime do (see ExecutionContextStack.h): one stack per
// thread, created on first use by
// UtilitiesDllPerThreadStorage::GetConstraintExecutionContextStack(), used by
// its thread only; PopContext pops the top whatever pointer it is given.
//
//   ConstraintExecutionContextLifetime adding(MakeBasicConstraintExecutionContext(
//       CECIE_ADD_DI_COMMON_CONSTRAINTS, categories, __FILE__, "Constraints::AddCommon", __LINE__, false, CPString()));
//
// The multi-line display's heading is
// "Constraint Execution context (Thread=0x%04lx) (%ld levels deep):\r\n"; the
// other displays are those of the general family.

#include "DebuggingAndExceptions/ConstraintExecutionContextBase.h"
#include "DebuggingAndExceptions/DumpArgs.h"
#include "LowLevelFacilities/CPString.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <utility>
#include <vector>

class HDU_API ConstraintExecutionContextStack {
 public:
  // Room for this many contexts is reserved when a stack is built, so that
  // ordinary nesting never reallocates.
  enum : unsigned { kInitialCapacity = 16 };

  ConstraintExecutionContextStack();
  // Copies share the contexts.
  ConstraintExecutionContextStack(const ConstraintExecutionContextStack& other);
  ConstraintExecutionContextStack& operator=(const ConstraintExecutionContextStack& other);
  ~ConstraintExecutionContextStack();

  // Appends a new shared reference to the context. A null pointer throws
  // CPExceptionNullArgument and leaves the stack as it was; so does running
  // out of memory (std::bad_alloc).
  void PushContext(const ConstraintExecutionContextSharedPtr& context) {
    if (!context) {
      ThrowNullContext();
    }
    m_contexts.push_back(context);
  }
  // The same, taking over the caller's reference (no count to raise now and
  // none to lower at the pop).
  void PushContext(ConstraintExecutionContextSharedPtr&& context) {
    if (!context) {
      ThrowNullContext();
    }
    m_contexts.push_back(std::move(context));
  }
  // Removes the top and drops its reference (deleting the context when that
  // was the last); the pointer is not consulted (see the top of the file).
  void PopContext(const ConstraintExecutionContextBase* /*context*/) noexcept {
    if (!m_contexts.empty()) {
      m_contexts.pop_back();
    }
  }

  // The top's identifier, or 31500 (CECIE_NOT_SPECIFIED) when empty.
  int GetMostRecentContext() const noexcept {
    return m_contexts.empty() ? static_cast<int>(CECIE_NOT_SPECIFIED) : m_contexts.back()->GetContext();
  }
  CPString GetMostRecentContextDisplayString(bool includeMessage) const;
  CPString GetMultiLineDisplayString(bool includeMessage) const;
  CPString GetStackString() const;
  // The debugging dump: writes nothing.
  void Dump(const DumpArgs& dumpArgs, CPString&& title, const char* indent) const;

  std::size_t GetNumberOfContexts() const noexcept { return m_contexts.size(); }
  bool IsEmpty() const noexcept { return m_contexts.empty(); }
  // The contexts, oldest first.
  const std::vector<ConstraintExecutionContextSharedPtr>& GetContexts() const noexcept { return m_contexts; }

 private:
  [[noreturn]] static void ThrowNullContext();

  std::vector<ConstraintExecutionContextSharedPtr> m_contexts;
};

// Pushes a context on construction and pops it on destruction. Create it on
// the thread whose stack it names and end it there (a stack belongs to one
// thread); lifetimes end in the reverse order of their construction, as
// scopes do.
class HDU_API ConstraintExecutionContextLifetime {
 public:
  // Records the stack and the context, then pushes (when the push throws,
  // nothing was pushed and no pop will follow).
  ConstraintExecutionContextLifetime(ConstraintExecutionContextStack& stack,
                                     const ConstraintExecutionContextSharedPtr& context)
      : m_stack(stack), m_context(context.get()) {
    m_stack.PushContext(context);
  }
  ConstraintExecutionContextLifetime(ConstraintExecutionContextStack& stack,
                                     ConstraintExecutionContextSharedPtr&& context)
      : m_stack(stack), m_context(context.get()) {
    m_stack.PushContext(std::move(context));
  }
  // The same on the calling thread's stack.
  explicit ConstraintExecutionContextLifetime(const ConstraintExecutionContextSharedPtr& context);
  explicit ConstraintExecutionContextLifetime(ConstraintExecutionContextSharedPtr&& context);
  ~ConstraintExecutionContextLifetime() { m_stack.PopContext(m_context); }
  ConstraintExecutionContextLifetime(const ConstraintExecutionContextLifetime&) = delete;
  ConstraintExecutionContextLifetime& operator=(const ConstraintExecutionContextLifetime&) = delete;

  const ConstraintExecutionContextBase& GetExecutionContextRef() const noexcept { return *m_context; }

 private:
  ConstraintExecutionContextStack& m_stack;
  const ConstraintExecutionContextBase* m_context;
};
