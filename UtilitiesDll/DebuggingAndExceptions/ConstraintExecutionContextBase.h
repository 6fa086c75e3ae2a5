#pragma once
// Constraint execution contexts: the execution contexts the constraint engine
// pushes while it applies constraints. The family has the shape of the general
// one (ExecutionContextBase.h, whose notes on fields, display forms, name
// table and comparison hold here too) with its own identifiers
// (ConstraintExecutionContextEnum.h, names prefixed "CECIE_"), its own name
// table and critical section, and its own per-thread stack
// (ConstraintExecutionContextStack.h). Its classes have two of the general
// family's three constructors: the one with file, function and line as
// narrow strings, and the one with a message only.
//
// Display forms, with N the identifier's name without the "CECIE_" prefix, M
// the message and L the single-line location "<function> line <line>" (the
// function name contains "::") or "<file name>, <function> line <line>":
// GetDumpDisplayString gives N or "N: M" when the location is embedded in the
// message, otherwise "N (L)" or "N: M (L)". IsEqual tests for a
// BasicConstraintExecutionContext first; LessThan makes the same test but
// always compares.

#include "DebuggingAndExceptions/ConstraintExecutionContextEnum.h"
#include "DebuggingAndExceptions/DumpArgs.h"
#include "DebuggingAndExceptions/ExecutionContextFields.h"
#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CriticalResource.h"
#include "LowLevelFacilities/HldSharedPtr.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <memory>
#include <utility>

class HDU_API ConstraintExecutionContextBase {
 public:
  virtual ~ConstraintExecutionContextBase();

  // A new BasicConstraintExecutionContext that is a copy of this one.
  virtual std::unique_ptr<ConstraintExecutionContextBase> Clone() const = 0;
  virtual bool IsEqual(const ConstraintExecutionContextBase& other) const = 0;
  virtual bool LessThan(const ConstraintExecutionContextBase& other) const = 0;
  virtual CPString GetDumpDisplayString(bool includeMessage) const = 0;
  // The debugging dump: contexts write nothing.
  virtual void Dump(const DumpArgs& dumpArgs) const = 0;

  int GetContext() const noexcept { return m_fields.context; }
  int GetConstraintExecutionContextEnum() const noexcept { return m_fields.context; }
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

  // The identifier's name, without the "CECIE_" prefix when `withPrefix` is
  // false; empty for an identifier the table does not hold. The third
  // argument has no effect.
  static CPString GetDebugDisplayString(int context, bool withPrefix, bool unused);
  CPString GetContextDebugDisplayString(bool withPrefix) const;
  CPString GetContextAndMessage(int context, bool withPrefix, bool withMessage) const;
  CPString GetSingleLineLocationString() const;
  // True exactly for the valid identifiers, 31500 to 31503.
  static bool AssertValidContextIdType(int context) noexcept;

  bool operator==(const ConstraintExecutionContextBase& other) const;
  bool operator<(const ConstraintExecutionContextBase& other) const;

  // The family's critical section, guarding its name table.
  static CriticalResource m_soStringMapResource;

 protected:
  // Copies the two narrow strings (a null pointer as empty) and takes the
  // message by move (the source is left empty).
  ConstraintExecutionContextBase(int context, std::uint64_t debugLoggingCategoriesToFilterOn, const char* file,
                                 const char* function, int line, bool locationEmbeddedInMsg, CPString&& message);
  // File, file name and function empty, line 0, location not embedded.
  ConstraintExecutionContextBase(int context, std::uint64_t debugLoggingCategoriesToFilterOn, CPString&& message);
  ConstraintExecutionContextBase(const ConstraintExecutionContextBase& other);
  ConstraintExecutionContextBase& operator=(const ConstraintExecutionContextBase& other);

  // The dump display of this context (see the top of the file).
  CPString MakeDumpDisplayString(bool includeMessage) const;

 private:
  InternalHaldenCP::ExecutionContextFields m_fields;
};

// The one concrete class of the family.
class HDU_API BasicConstraintExecutionContext : public ConstraintExecutionContextBase {
 public:
  BasicConstraintExecutionContext(int context, std::uint64_t debugLoggingCategoriesToFilterOn, const char* file,
                                  const char* function, int line, bool locationEmbeddedInMsg, CPString&& message);
  BasicConstraintExecutionContext(int context, std::uint64_t debugLoggingCategoriesToFilterOn, CPString&& message);
  BasicConstraintExecutionContext(const BasicConstraintExecutionContext& other);
  BasicConstraintExecutionContext& operator=(const BasicConstraintExecutionContext& other);
  ~BasicConstraintExecutionContext() override;

  std::unique_ptr<ConstraintExecutionContextBase> Clone() const override;
  bool IsEqual(const ConstraintExecutionContextBase& other) const override;
  bool LessThan(const ConstraintExecutionContextBase& other) const override;
  CPString GetDumpDisplayString(bool includeMessage) const override;
  void Dump(const DumpArgs& dumpArgs) const override;
};

// The ordering of shared pointers to contexts: a null pointer before any
// context, contexts by LessThan.
struct HDU_API ConstraintExecutionContextBaseCompare {
  bool operator()(const ConstraintExecutionContextBase* a, const ConstraintExecutionContextBase* b) const;
};

using ConstraintExecutionContextSharedPtr =
    HldSharedPtr<ConstraintExecutionContextBase, ConstraintExecutionContextBaseCompare>;

// A new BasicConstraintExecutionContext, shared (its control block from the calling
// thread's pool).
template <class... Args>
ConstraintExecutionContextSharedPtr MakeBasicConstraintExecutionContext(Args&&... args) {
  return ConstraintExecutionContextSharedPtr(new BasicConstraintExecutionContext(std::forward<Args>(args)...));
}
