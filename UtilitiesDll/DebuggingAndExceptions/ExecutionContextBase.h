#pragma once
// Execution contexts: small records that driver code pushes while it performs
// a named operation (importing a print ticket, running a dialog), so that
// diagnostics produced deeper down can say on whose behalf the work was done.
// This file holds the contexts themselves; ExecutionContextStack.h the
// per-thread stack and the lifetime object that pushes and pops them. The
// constraint engine has a family of the same shape of its own
// (ConstraintExecutionContextBase.h).
//
// A context holds, in this order: its identifier (ExecutionContextEnum.h),
// the 64-bit set of debug-logging categories on which logging filters while
// the context is in force, the file where it was constructed (as given,
// usually a full path) and the file name derived from it (the part after the
// last backslash; the whole file when it holds none), the function and line
// where it was constructed, whether the message already holds that location,
// and a free-text message (may be empty). Contexts never change once built,
// so one context may be shared by several threads' stacks.
//
// Display forms, with N the identifier's name without the "ECIE_" prefix, M
// the message and L the single-line location:
// - GetSingleLineLocationString(): "<function> line <line>" when the function
//   name contains "::" (a member function is located by its qualified name),
//   otherwise "<file name>, <function> line <line>".
// - GetDumpDisplayString(includeMessage): N when the location is embedded in
//   the message, "N: M" when the message is included as well; otherwise
//   "N (L)", or "N: M (L)" with the message. The message is included when
//   asked for and not empty (a message of blanks counts).
// - GetContextAndMessage(context, withPrefix, withMessage): the name of
//   `context`, then "::COMMENT:: " and this context's message when asked for
//   and the message is neither empty nor only white space.
// An identifier the name table does not hold (0, say) has an empty name, so
// its dump display begins with ": " or " (". The end marker ECIE_NO_MORE_ENUMS
// is not a valid identifier but has a name and displays it.
//
// Names come from one process-wide table per family, built on the first
// lookup inside the family's critical section (m_soStringMapResource), where
// every lookup happens.
//
// Comparison: operator== compares identifier, categories, file, function,
// line, the location flag and the message (not the derived file name).
// IsEqual is operator== behind a run-time type test (false when the other is
// not a BasicExecutionContext). operator< orders by identifier (signed),
// categories (unsigned), file and function (byte-wise) and line (unsigned);
// the flag and the message take no part. LessThan makes the same type test
// but ignores its outcome and always compares, unlike IsEqual: callers that
// keep contexts in ordered containers rely on this.

#include "DebuggingAndExceptions/DumpArgs.h"
#include "DebuggingAndExceptions/ExecutionContextEnum.h"
#include "DebuggingAndExceptions/ExecutionContextFields.h"
#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CriticalResource.h"
#include "LowLevelFacilities/HldSharedPtr.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <memory>
#include <utility>

class HDU_API ExecutionContextBase {
 public:
  virtual ~ExecutionContextBase();

  // A new BasicExecutionContext that is a copy of this one.
  virtual std::unique_ptr<ExecutionContextBase> Clone() const = 0;
  virtual bool IsEqual(const ExecutionContextBase& other) const = 0;
  virtual bool LessThan(const ExecutionContextBase& other) const = 0;
  virtual CPString GetDumpDisplayString(bool includeMessage) const = 0;
  // The debugging dump: contexts write nothing.
  virtual void Dump(const DumpArgs& dumpArgs) const = 0;

  int GetContext() const noexcept { return m_fields.context; }
  int GetExecutionContextEnum() const noexcept { return m_fields.context; }
  std::uint64_t GetDebugLoggingCategoriesToFilterOn() const noexcept {
    return m_fields.debugLoggingCategoriesToFilterOn;
  }
  const CPString& GetFileWhereConstructed() const noexcept { return m_fields.fileWhereConstructed; }
  const CPString& GetFileNameWhereConstructed() const noexcept { return m_fields.fileNameWhereConstructed; }
  const CPString& GetFunctionWhereConstructed() const noexcept { return m_fields.functionWhereConstructed; }
  std::uint32_t GetLineNumWhereConstructed() const noexcept { return m_fields.lineNumWhereConstructed; }
  bool IsLocationEmbeddedInMsg() const noexcept { return m_fields.locationEmbeddedInMsg; }
  const CPString& GetMessageW() const noexcept { return m_fields.message; }
  bool HasMessage() const noexcept { return !m_fields.message.isEmpty(); }

  // The identifier's name, without the "ECIE_" prefix when `withPrefix` is
  // false; empty for an identifier the table does not hold. The third
  // argument has no effect.
  static CPString GetDebugDisplayString(int context, bool withPrefix, bool unused);
  CPString GetContextDebugDisplayString(bool withPrefix) const;
  CPString GetContextAndMessage(int context, bool withPrefix, bool withMessage) const;
  CPString GetSingleLineLocationString() const;
  // True exactly for the valid identifiers, 31500 to 31678.
  static bool AssertValidContextIdType(int context) noexcept;

  bool operator==(const ExecutionContextBase& other) const;
  bool operator<(const ExecutionContextBase& other) const;

  // The family's critical section, guarding its name table.
  static CriticalResource m_soStringMapResource;

 protected:
  // Copies the two narrow strings (a null pointer as empty) and takes the
  // message by move (the source is left empty).
  ExecutionContextBase(int context, std::uint64_t debugLoggingCategoriesToFilterOn, const char* file,
                       const char* function, int line, bool locationEmbeddedInMsg, CPString&& message);
  ExecutionContextBase(int context, std::uint64_t debugLoggingCategoriesToFilterOn, CPString&& file,
                       CPString&& function, int line, bool locationEmbeddedInMsg, CPString&& message);
  // File, file name and function empty, line 0, location not embedded.
  ExecutionContextBase(int context, std::uint64_t debugLoggingCategoriesToFilterOn, CPString&& message);
  ExecutionContextBase(const ExecutionContextBase& other);
  ExecutionContextBase& operator=(const ExecutionContextBase& other);

  // The dump display of this context (see the top of the file).
  CPString MakeDumpDisplayString(bool includeMessage) const;

 private:
  InternalHaldenCP::ExecutionContextFields m_fields;
};

// The one concrete class of the family.
class HDU_API BasicExecutionContext : public ExecutionContextBase {
 public:
  BasicExecutionContext(int context, std::uint64_t debugLoggingCategoriesToFilterOn, const char* file,
                        const char* function, int line, bool locationEmbeddedInMsg, CPString&& message);
  BasicExecutionContext(int context, std::uint64_t debugLoggingCategoriesToFilterOn, CPString&& file,
                        CPString&& function, int line, bool locationEmbeddedInMsg, CPString&& message);
  BasicExecutionContext(int context, std::uint64_t debugLoggingCategoriesToFilterOn, CPString&& message);
  BasicExecutionContext(const BasicExecutionContext& other);
  BasicExecutionContext& operator=(const BasicExecutionContext& other);
  ~BasicExecutionContext() override;

  std::unique_ptr<ExecutionContextBase> Clone() const override;
  bool IsEqual(const ExecutionContextBase& other) const override;
  bool LessThan(const ExecutionContextBase& other) const override;
  CPString GetDumpDisplayString(bool includeMessage) const override;
  void Dump(const DumpArgs& dumpArgs) const override;
};

// The ordering of shared pointers to contexts: a null pointer before any
// context, contexts by LessThan.
struct HDU_API ExecutionContextBaseCompare {
  bool operator()(const ExecutionContextBase* a, const ExecutionContextBase* b) const;
};

using ExecutionContextSharedPtr = HldSharedPtr<ExecutionContextBase, ExecutionContextBaseCompare>;

// A new BasicExecutionContext, shared (its control block from the calling
// thread's pool).
template <class... Args>
ExecutionContextSharedPtr MakeBasicExecutionContext(Args&&... args) {
  return ExecutionContextSharedPtr(new BasicExecutionContext(std::forward<Args>(args)...));
}
