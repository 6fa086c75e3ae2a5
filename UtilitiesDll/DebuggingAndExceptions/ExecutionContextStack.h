#pragma once
// ExecutionContextStack: the contexts a thread is working on behalf of, the
// most recent last; ExecutionContextLifetime: pushes one context for the
// duration of a scope.
//
// Each thread has one stack, owned by its UtilitiesDllPerThreadStorage and
// created on first use (UtilitiesDllPerThreadStorage::GetExecutionContextStack());
// it is used by its own thread only, without locks. The stack holds shared
// references: a context lives as long as anyone holds it, and may sit on
// several threads' stacks at once.
//
//   {
//     ExecutionContextLifetime importing(MakeBasicExecutionContext(
//         ECIE_IMPORT_FROM_PRINT_TICKET, categories, __FILE__, "Importer::Run", __LINE__, false, CPString()));
//     ...  // errors reported from here show the context
//   }      // popped here
//
// PopContext pops the top whatever pointer it is given (and does nothing on an
// empty stack): lifetimes nest strictly, so the top is always the one being
// ended, and checking would only cost time on every named operation.
//
// Displays (N levels deep, the oldest first, the indent two blanks for the
// oldest and two more for each further context):
//   GetMultiLineDisplayString: "Execution context (Thread=0x%04lx) (%ld levels deep):\r\n"
//       with the calling thread's identifier and N, then "<indent><dump display>\r\n" per context.
//   GetStackString: "\r\n", then "\t\t\t\t<indent><dump display with message>\r\n" per
//       context; meant to be appended to exception texts.
//   GetMostRecentContextDisplayString: the top's dump display, or "<No Context>".

#include "DebuggingAndExceptions/DumpArgs.h"
#include "DebuggingAndExceptions/ExecutionContextBase.h"
#include "LowLevelFacilities/CPString.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <utility>
#include <vector>

class HDU_API ExecutionContextStack {
 public:
  // Room for this many contexts is reserved when a stack is built, so that
  // ordinary nesting never reallocates.
  enum : unsigned { kInitialCapacity = 16 };

  ExecutionContextStack();
  // Copies share the contexts.
  ExecutionContextStack(const ExecutionContextStack& other);
  ExecutionContextStack& operator=(const ExecutionContextStack& other);
  ~ExecutionContextStack();

  // Appends a new shared reference to the context. A null pointer throws
  // CPExceptionNullArgument and leaves the stack as it was; so does running
  // out of memory (std::bad_alloc).
  void PushContext(const ExecutionContextSharedPtr& context) {
    if (!context) {
      ThrowNullContext();
    }
    m_contexts.push_back(context);
  }
  // The same, taking over the caller's reference (no count to raise now and
  // none to lower at the pop).
  void PushContext(ExecutionContextSharedPtr&& context) {
    if (!context) {
      ThrowNullContext();
    }
    m_contexts.push_back(std::move(context));
  }
  // Removes the top and drops its reference (deleting the context when that
  // was the last); the pointer is not consulted (see the top of the file).
  void PopContext(const ExecutionContextBase* /*context*/) noexcept {
    if (!m_contexts.empty()) {
      m_contexts.pop_back();
    }
  }

  // The top's identifier, or 31500 (ECIE_NOT_SPECIFIED) when empty.
  int GetMostRecentContext() const noexcept {
    return m_contexts.empty() ? static_cast<int>(ECIE_NOT_SPECIFIED) : m_contexts.back()->GetContext();
  }
  CPString GetMostRecentContextDisplayString(bool includeMessage) const;
  CPString GetMultiLineDisplayString(bool includeMessage) const;
  CPString GetStackString() const;
  // The debugging dump: writes nothing.
  void Dump(const DumpArgs& dumpArgs, CPString&& title, const char* indent) const;

  std::size_t GetNumberOfContexts() const noexcept { return m_contexts.size(); }
  bool IsEmpty() const noexcept { return m_contexts.empty(); }
  // The contexts, oldest first.
  const std::vector<ExecutionContextSharedPtr>& GetContexts() const noexcept { return m_contexts; }

 private:
  [[noreturn]] static void ThrowNullContext();

  std::vector<ExecutionContextSharedPtr> m_contexts;
};

// Pushes a context on construction and pops it on destruction. Create it on
// the thread whose stack it names and end it there (a stack belongs to one
// thread); lifetimes end in the reverse order of their construction, as
// scopes do.
class HDU_API ExecutionContextLifetime {
 public:
  // Records the stack and the context, then pushes (when the push throws,
  // nothing was pushed and no pop will follow).
  ExecutionContextLifetime(ExecutionContextStack& stack, const ExecutionContextSharedPtr& context)
      : m_stack(stack), m_context(context.get()) {
    m_stack.PushContext(context);
  }
  ExecutionContextLifetime(ExecutionContextStack& stack, ExecutionContextSharedPtr&& context)
      : m_stack(stack), m_context(context.get()) {
    m_stack.PushContext(std::move(context));
  }
  // The same on the calling thread's stack.
  explicit ExecutionContextLifetime(const ExecutionContextSharedPtr& context);
  explicit ExecutionContextLifetime(ExecutionContextSharedPtr&& context);
  ~ExecutionContextLifetime() { m_stack.PopContext(m_context); }
  ExecutionContextLifetime(const ExecutionContextLifetime&) = delete;
  ExecutionContextLifetime& operator=(const ExecutionContextLifetime&) = delete;

  const ExecutionContextBase& GetExecutionContextRef() const noexcept { return *m_context; }

 private:
  ExecutionContextStack& m_stack;
  const ExecutionContextBase* m_context;
};
