// Execution contexts of both families: names, display forms, comparison,
// stacks and lifetimes, the per-thread stacks and the error report.

#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/ConstraintExecutionContextStack.h"
#include "DebuggingAndExceptions/DebugUtilities.h"
#include "DebuggingAndExceptions/ExceptionFacility.h"
#include "DebuggingAndExceptions/ExecutionContextStack.h"
#include "DebuggingAndExceptions/ExecutionContextText.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"
#include "RecordingHosts.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using Storage = UtilitiesDllPerThreadStorage;

// The two families, for the tests that hold for both.
struct GeneralFamily {
  using Base = ExecutionContextBase;
  using Basic = BasicExecutionContext;
  using Stack = ExecutionContextStack;
  using Lifetime = ExecutionContextLifetime;
  using SharedPtr = ExecutionContextSharedPtr;
  static constexpr int kFirst = ECIE_IMPORT_KSDF;
  static constexpr const char* kFirstName = "IMPORT_KSDF";
  static constexpr int kSecond = ECIE_UI_DIALOG;
  static constexpr const char* kSecondName = "UI_DIALOG";
  static constexpr const char* kHeading = "Execution context";
  static Stack& threadStack() { return Storage::GetExecutionContextStack(); }
};
struct ConstraintFamily {
  using Base = ConstraintExecutionContextBase;
  using Basic = BasicConstraintExecutionContext;
  using Stack = ConstraintExecutionContextStack;
  using Lifetime = ConstraintExecutionContextLifetime;
  using SharedPtr = ConstraintExecutionContextSharedPtr;
  static constexpr int kFirst = CECIE_ADD_DI_DISC_CONSTRAINTS;
  static constexpr const char* kFirstName = "ADD_DI_DISC_CONSTRAINTS";
  static constexpr int kSecond = CECIE_ADD_DI_KARVEN_CONSTRAINTS;
  static constexpr const char* kSecondName = "ADD_DI_KARVEN_CONSTRAINTS";
  static constexpr const char* kHeading = "Constraint Execution context";
  static Stack& threadStack() { return Storage::GetConstraintExecutionContextStack(); }
};

template <class Family>
typename Family::SharedPtr makeShared(int context, const char* function, int line, const char* message = "") {
  return typename Family::SharedPtr(
      new typename Family::Basic(context, 0, "C:\\drv\\src\\Importer.cpp", function, line, false, CPString(message)));
}

// The heading of a multi-line display on the calling thread, by the C library.
std::string heading(const char* family, std::size_t levels) {
  char text[128];
  std::snprintf(text, sizeof text, "%s (Thread=0x%04lx) (%ld levels deep):\r\n", family,
                static_cast<unsigned long>(PlatformFacilities::currentThreadId()), static_cast<long>(levels));
  return text;
}

// Counts its destructions, to see when the last reference is dropped.
class CountedContext : public BasicExecutionContext {
 public:
  explicit CountedContext(std::atomic<int>& destroyed)
      : BasicExecutionContext(ECIE_UI_DIALOG, 0, CPString("counted")), m_destroyed(destroyed) {}
  CountedContext(const CountedContext&) = delete;
  CountedContext& operator=(const CountedContext&) = delete;
  ~CountedContext() override { ++m_destroyed; }

 private:
  std::atomic<int>& m_destroyed;
};

// Another class of the general family, to tell IsEqual from LessThan.
class OtherContext : public ExecutionContextBase {
 public:
  OtherContext(int context, const char* file, const char* function, int line)
      : ExecutionContextBase(context, 0, file, function, line, false, CPString()) {}
  std::unique_ptr<ExecutionContextBase> Clone() const override { return nullptr; }
  bool IsEqual(const ExecutionContextBase& other) const override { return *this == other; }
  bool LessThan(const ExecutionContextBase& other) const override { return *this < other; }
  CPString GetDumpDisplayString(bool includeMessage) const override { return MakeDumpDisplayString(includeMessage); }
  void Dump(const DumpArgs&) const override {}
};

template <class Function>
void runOnThread(Function function) {
  std::thread(function).join();
}

}  // namespace

TEST(ExecutionContextNames, IdentifiersNamesAndPrefixes) {
  // Values by position: the order is what callers store.
  EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(31500, true, false), "ECIE_NOT_SPECIFIED");
  EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(31521, true, false),
            "ECIE_NOTIFICATION_CHANGE_TO_ISOLATE_USER_INTENDED_CHANGES_FOR_CS9372_2014_MAY_12");
  EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(31540, false, false), "EXECUTE_CONSTRAINT");
  EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(31542, true, true), "ECIE_EXPORT_SAVED_SETINGS_STORE_TO_FILE");
  EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(31574, false, true), "IMPORT_KSDF");
  EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(31639, false, false), "UI_DIALOG");
  EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(31671, true, false), "ECIE_TELOC_TRANSLATOR");
  EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(31678, false, false), "UI_ADD_FEATURE_AS_SUPPORTED");
  EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(31679, true, false), "ECIE_NO_MORE_ENUMS");
  for (const int unknown : {0, -1, 31499, 31680, 2147483647}) {
    EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(unknown, true, false), "") << unknown;
    EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(unknown, false, false), "") << unknown;
  }
  // Every valid identifier and the end marker have their own name.
  std::set<std::string> names;
  for (int id = 31500; id <= 31679; ++id) {
    const std::string name = ExecutionContextBase::GetDebugDisplayString(id, true, false).utf8StdString();
    EXPECT_EQ(name.rfind("ECIE_", 0), 0u) << id;
    EXPECT_EQ(ExecutionContextBase::GetDebugDisplayString(id, false, false).utf8StdString(), name.substr(5));
    names.insert(name);
  }
  EXPECT_EQ(names.size(), 180u);
  EXPECT_TRUE(ExecutionContextBase::AssertValidContextIdType(31500));
  EXPECT_TRUE(ExecutionContextBase::AssertValidContextIdType(31678));
  EXPECT_FALSE(ExecutionContextBase::AssertValidContextIdType(31679));
  EXPECT_FALSE(ExecutionContextBase::AssertValidContextIdType(31499));
  EXPECT_FALSE(ExecutionContextBase::AssertValidContextIdType(0));

  // The constraint family has its own table and prefix.
  const char* const constraintNames[] = {"CECIE_NOT_SPECIFIED", "CECIE_ADD_DI_COMMON_CONSTRAINTS",
                                         "CECIE_ADD_DI_DISC_CONSTRAINTS", "CECIE_ADD_DI_KARVEN_CONSTRAINTS",
                                         "CECIE_NO_MORE_ENUMS"};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(ConstraintExecutionContextBase::GetDebugDisplayString(31500 + i, true, false), constraintNames[i]);
    EXPECT_EQ(ConstraintExecutionContextBase::GetDebugDisplayString(31500 + i, false, false),
              std::string(constraintNames[i]).substr(6));
  }
  EXPECT_EQ(ConstraintExecutionContextBase::GetDebugDisplayString(31505, true, false), "");
  EXPECT_EQ(ConstraintExecutionContextBase::GetDebugDisplayString(31639, true, false), "");
  EXPECT_TRUE(ConstraintExecutionContextBase::AssertValidContextIdType(31503));
  EXPECT_FALSE(ConstraintExecutionContextBase::AssertValidContextIdType(31504));
}

TEST(ExecutionContextNames, ANameNoLongerThanThePrefixLosesEverything) {
  const InternalHaldenCP::ExecutionContextNamePair pairs[] = {{"ECIE_", 1}, {"ECI", 2}, {"ECIE_X", 3}};
  CriticalResource resource;
  InternalHaldenCP::ExecutionContextNameTable table(pairs, std::size(pairs), "ECIE_", resource);
  // Before its lifetime mark the table answers from the pairs, without a map.
  EXPECT_EQ(table.FindName(3, false), "X");
  EXPECT_FALSE(table.IsMapBuilt());
  InternalHaldenCP::ExecutionContextNameTableLifetime lifetime(table);
  EXPECT_EQ(table.FindName(1, false), "");
  EXPECT_EQ(table.FindName(2, false), "");
  EXPECT_EQ(table.FindName(2, true), "ECI");
  EXPECT_EQ(table.FindName(3, false), "X");
  EXPECT_EQ(table.FindName(4, true), "");
  EXPECT_TRUE(table.IsMapBuilt());
}

TEST(ExecutionContextNames, LookupsFromEightThreadsAtOnce) {
  // A fresh table whose first lookups race, and the library's tables.
  std::vector<InternalHaldenCP::ExecutionContextNamePair> pairs;
  pairs.reserve(500);
  std::vector<std::string> texts;
  texts.reserve(500);
  for (int i = 0; i < 500; ++i) {
    texts.push_back("ECIE_NAME_" + std::to_string(i));
  }
  for (int i = 0; i < 500; ++i) {
    pairs.push_back({texts[i].c_str(), 1000 + i});
  }
  CriticalResource resource;
  InternalHaldenCP::ExecutionContextNameTable table(pairs.data(), pairs.size(), "ECIE_", resource);
  InternalHaldenCP::ExecutionContextNameTableLifetime lifetime(table);
  ASSERT_FALSE(table.IsMapBuilt());

  std::atomic<int> ready{0};
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      ++ready;
      while (ready.load() < 8) {
        std::this_thread::yield();
      }
      for (int round = 0; round < 20; ++round) {
        for (int i = 0; i < 500; ++i) {
          const int id = 1000 + (i * 7 + t * 13) % 500;
          if (table.FindName(id, false) != std::string_view(texts[id - 1000]).substr(5)) {
            ++mismatches;
          }
        }
        if (ExecutionContextBase::GetDebugDisplayString(31542, false, false) != "EXPORT_SAVED_SETINGS_STORE_TO_FILE" ||
            ExecutionContextBase::GetDebugDisplayString(31500 + round, true, false).isEmpty() ||
            ConstraintExecutionContextBase::GetDebugDisplayString(31501, false, false) != "ADD_DI_COMMON_CONSTRAINTS") {
          ++mismatches;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(mismatches.load(), 0);
  EXPECT_TRUE(table.IsMapBuilt());
}

TEST(ExecutionContext, ConstructorsAndAccessors) {
  CPString message("importing the ticket");
  const BasicExecutionContext narrow(ECIE_IMPORT_KSDF, 0x8000000000000001ull, "C:\\drv\\src\\Importer.cpp",
                                     "Importer::Run", 42, true, std::move(message));
  EXPECT_TRUE(message.isEmpty());  // NOLINT(bugprone-use-after-move): the constructor empties its source
  EXPECT_EQ(narrow.GetContext(), 31574);
  EXPECT_EQ(narrow.GetExecutionContextEnum(), 31574);
  EXPECT_EQ(narrow.GetDebugLoggingCategoriesToFilterOn(), 0x8000000000000001ull);
  EXPECT_EQ(narrow.GetFileWhereConstructed(), "C:\\drv\\src\\Importer.cpp");
  EXPECT_EQ(narrow.GetFileNameWhereConstructed(), "Importer.cpp");
  EXPECT_EQ(narrow.GetFunctionWhereConstructed(), "Importer::Run");
  EXPECT_EQ(narrow.GetLineNumWhereConstructed(), 42u);
  EXPECT_TRUE(narrow.IsLocationEmbeddedInMsg());
  EXPECT_EQ(narrow.GetMessageW(), "importing the ticket");
  EXPECT_TRUE(narrow.HasMessage());
  EXPECT_EQ(narrow.GetContextDebugDisplayString(true), "ECIE_IMPORT_KSDF");

  CPString file("/home/build/src/Importer.cpp");
  CPString function("import");
  CPString note;
  const BasicExecutionContext moved(7, 0, std::move(file), std::move(function), -1, false, std::move(note));
  EXPECT_TRUE(file.isEmpty());                                                     // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(function.isEmpty());                                                 // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(moved.GetFileNameWhereConstructed(), "/home/build/src/Importer.cpp");  // only a backslash separates
  EXPECT_EQ(moved.GetLineNumWhereConstructed(), 0xFFFFFFFFu);
  EXPECT_FALSE(moved.HasMessage());
  EXPECT_EQ(moved.GetSingleLineLocationString(), "/home/build/src/Importer.cpp, import line -1");

  const BasicExecutionContext nulls(ECIE_UI_DIALOG, 0, nullptr, nullptr, 3, false, CPString());
  EXPECT_EQ(nulls.GetFileWhereConstructed(), "");
  EXPECT_EQ(nulls.GetSingleLineLocationString(), ",  line 3");
  const BasicExecutionContext folderOnly(ECIE_UI_DIALOG, 0, "C:\\drv\\", "f", 3, false, CPString());
  EXPECT_EQ(folderOnly.GetFileNameWhereConstructed(), "");

  const BasicConstraintExecutionContext constraint(CECIE_ADD_DI_DISC_CONSTRAINTS, 5, "D:\\c\\Disc.cpp", "addDisc", 9,
                                                   false, CPString("disc"));
  EXPECT_EQ(constraint.GetConstraintExecutionContextEnum(), 31502);
  EXPECT_EQ(constraint.GetFileNameWhereConstructed(), "Disc.cpp");
  EXPECT_EQ(constraint.GetDumpDisplayString(true), "ADD_DI_DISC_CONSTRAINTS: disc (Disc.cpp, addDisc line 9)");
}

TEST(ExecutionContext, DumpDisplayStringForEachRowOfTheTable) {
  const char* file = "C:\\drv\\src\\Importer.cpp";
  for (const int id : {static_cast<int>(ECIE_IMPORT_KSDF), 0, 31679}) {
    const std::string n = id == 0 ? "" : (id == 31679 ? "NO_MORE_ENUMS" : "IMPORT_KSDF");
    const BasicExecutionContext member(id, 0, file, "Importer::Run", 42, false, CPString("reading"));
    const BasicExecutionContext freeFunction(id, 0, file, "importKsdf", 7, false, CPString("reading"));
    const BasicExecutionContext embedded(id, 0, file, "Importer::Run", 42, true, CPString("reading at line 42"));
    const BasicExecutionContext silent(id, 0, file, "Importer::Run", 42, true, CPString());
    EXPECT_EQ(member.GetDumpDisplayString(false), n + " (Importer::Run line 42)");
    EXPECT_EQ(member.GetDumpDisplayString(true), n + ": reading (Importer::Run line 42)");
    EXPECT_EQ(freeFunction.GetDumpDisplayString(false), n + " (Importer.cpp, importKsdf line 7)");
    EXPECT_EQ(freeFunction.GetDumpDisplayString(true), n + ": reading (Importer.cpp, importKsdf line 7)");
    EXPECT_EQ(embedded.GetDumpDisplayString(false), n);
    EXPECT_EQ(embedded.GetDumpDisplayString(true), n + ": reading at line 42");
    EXPECT_EQ(silent.GetDumpDisplayString(true), n);
  }
  // The message-only constructor: no function, so the location names an
  // empty file and function.
  const BasicExecutionContext messageOnly(ECIE_UI_DIALOG, 0, CPString("Printing"));
  EXPECT_EQ(messageOnly.GetDumpDisplayString(true), "UI_DIALOG: Printing (,  line 0)");
  EXPECT_EQ(messageOnly.GetDumpDisplayString(false), "UI_DIALOG (,  line 0)");
  EXPECT_FALSE(messageOnly.IsLocationEmbeddedInMsg());

  // A message of blanks is a message here, but not for GetContextAndMessage.
  const BasicExecutionContext blanks(ECIE_UI_DIALOG, 0, CPString("   "));
  EXPECT_TRUE(blanks.HasMessage());
  EXPECT_EQ(blanks.GetDumpDisplayString(true), "UI_DIALOG:     (,  line 0)");
  EXPECT_EQ(blanks.GetContextAndMessage(ECIE_UI_DIALOG, true, true), "ECIE_UI_DIALOG");
  EXPECT_EQ(messageOnly.GetContextAndMessage(ECIE_UI_DIALOG, true, true), "ECIE_UI_DIALOG::COMMENT:: Printing");
  EXPECT_EQ(messageOnly.GetContextAndMessage(ECIE_IMPORT_KSDF, false, true), "IMPORT_KSDF::COMMENT:: Printing");
  EXPECT_EQ(messageOnly.GetContextAndMessage(ECIE_UI_DIALOG, false, false), "UI_DIALOG");
  EXPECT_EQ(messageOnly.GetContextAndMessage(0, true, true), "::COMMENT:: Printing");
}

TEST(ExecutionContext, EqualityOrderingAndClone) {
  const BasicExecutionContext a(ECIE_UI_DIALOG, 1, "C:\\a.cpp", "A::f", 5, false, CPString("one"));
  const BasicExecutionContext sameButMessage(ECIE_UI_DIALOG, 1, "C:\\a.cpp", "A::f", 5, false, CPString("two"));
  const BasicExecutionContext sameButFlag(ECIE_UI_DIALOG, 1, "C:\\a.cpp", "A::f", 5, true, CPString("one"));
  EXPECT_TRUE(a.IsEqual(BasicExecutionContext(a)));
  EXPECT_FALSE(a.IsEqual(sameButMessage));
  EXPECT_FALSE(a.IsEqual(sameButFlag));
  // Message and flag take no part in the order.
  EXPECT_FALSE(a.LessThan(sameButMessage));
  EXPECT_FALSE(sameButMessage.LessThan(a));
  EXPECT_FALSE(a.LessThan(sameButFlag));

  // Order: identifier (signed), categories (unsigned), file, function (bytes), line (unsigned).
  const auto make = [](int id, std::uint64_t categories, const char* file, const char* function, int line) {
    return BasicExecutionContext(id, categories, file, function, line, false, CPString());
  };
  EXPECT_TRUE(make(-5, 9, "z", "z", 9).LessThan(make(0, 0, "a", "a", 0)));
  EXPECT_TRUE(make(1, 1, "z", "z", 9).LessThan(make(1, 0x8000000000000000ull, "a", "a", 0)));
  EXPECT_TRUE(make(1, 1, "Z", "z", 9).LessThan(make(1, 1, "a", "a", 0)));
  EXPECT_TRUE(make(1, 1, "z", "z", 9).LessThan(make(1, 1, "\xC3\xA9", "a", 0)));  // bytes above 0x7F sort last
  EXPECT_TRUE(make(1, 1, "a", "B::f", 9).LessThan(make(1, 1, "a", "a", 0)));
  EXPECT_TRUE(make(1, 1, "a", "a", 5).LessThan(make(1, 1, "a", "a", -1)));  // line 0xFFFFFFFF is the largest
  EXPECT_FALSE(make(1, 1, "a", "a", 5).LessThan(make(1, 1, "a", "a", 5)));

  // Another class with the same fields: operator== holds, IsEqual does not;
  // LessThan compares all the same.
  const OtherContext other(ECIE_UI_DIALOG, "C:\\a.cpp", "A::f", 5);
  const BasicExecutionContext plain(ECIE_UI_DIALOG, 0, "C:\\a.cpp", "A::f", 5, false, CPString());
  EXPECT_TRUE(plain == other);
  EXPECT_FALSE(plain.IsEqual(other));
  const OtherContext later(ECIE_UI_DIALOG, "C:\\a.cpp", "A::f", 6);
  EXPECT_TRUE(plain.LessThan(later));
  EXPECT_FALSE(plain.LessThan(other));

  const std::unique_ptr<ExecutionContextBase> clone = a.Clone();
  ASSERT_NE(clone, nullptr);
  EXPECT_NE(clone.get(), &a);
  EXPECT_NE(dynamic_cast<BasicExecutionContext*>(clone.get()), nullptr);
  EXPECT_TRUE(clone->IsEqual(a));
  EXPECT_EQ(clone->GetFileNameWhereConstructed(), "a.cpp");
  const std::unique_ptr<ConstraintExecutionContextBase> constraintClone =
      BasicConstraintExecutionContext(CECIE_ADD_DI_COMMON_CONSTRAINTS, 2, CPString("m")).Clone();
  EXPECT_EQ(constraintClone->GetDumpDisplayString(true), "ADD_DI_COMMON_CONSTRAINTS: m (,  line 0)");

  // The comparator: null first, then by LessThan; a set of shared pointers
  // orders by the contexts.
  const ExecutionContextBaseCompare compare;
  EXPECT_TRUE(compare(nullptr, &a));
  EXPECT_FALSE(compare(&a, nullptr));
  EXPECT_FALSE(compare(nullptr, nullptr));
  std::set<ExecutionContextSharedPtr> ordered;
  ordered.insert(MakeBasicExecutionContext(ECIE_UI_DIALOG, 0, CPString("b")));
  ordered.insert(MakeBasicExecutionContext(ECIE_IMPORT_KSDF, 0, CPString("a")));
  ordered.insert(MakeBasicExecutionContext(ECIE_UI_DIALOG, 0, CPString("same place, other message")));
  ASSERT_EQ(ordered.size(), 2u);
  EXPECT_EQ((*ordered.begin())->GetContext(), ECIE_IMPORT_KSDF);
  EXPECT_TRUE(ConstraintExecutionContextBaseCompare()(nullptr, constraintClone.get()));
}

template <class Family>
class ExecutionContextStacks : public ::testing::Test {};
using Families = ::testing::Types<GeneralFamily, ConstraintFamily>;
TYPED_TEST_SUITE(ExecutionContextStacks, Families);

TYPED_TEST(ExecutionContextStacks, ThreeLevelsOfLifetimesWithGrowingIndent) {
  using F = TypeParam;
  typename F::Stack stack;
  EXPECT_EQ(stack.GetMostRecentContext(), 31500);
  EXPECT_EQ(stack.GetMostRecentContextDisplayString(true), "<No Context>");
  EXPECT_EQ(stack.GetMultiLineDisplayString(true), heading(F::kHeading, 0));
  EXPECT_EQ(stack.GetStackString(), "\r\n");

  const std::string first = std::string(F::kFirstName) + ": outer (Importer::Run line 10)";
  const std::string second = std::string(F::kSecondName) + " (Importer.cpp, helper line 20)";
  const std::string third = ": inner (Importer::Step line 30)";
  {
    typename F::Lifetime outer(stack, makeShared<F>(F::kFirst, "Importer::Run", 10, "outer"));
    {
      const auto middleContext = makeShared<F>(F::kSecond, "helper", 20);
      typename F::Lifetime middle(stack, middleContext);
      EXPECT_EQ(&middle.GetExecutionContextRef(), middleContext.get());
      {
        typename F::Lifetime inner(stack, makeShared<F>(0, "Importer::Step", 30, "inner"));
        EXPECT_EQ(stack.GetNumberOfContexts(), 3u);
        EXPECT_EQ(stack.GetMostRecentContext(), 0);
        EXPECT_EQ(stack.GetMostRecentContextDisplayString(false), " (Importer::Step line 30)");
        EXPECT_EQ(stack.GetMultiLineDisplayString(true),
                  heading(F::kHeading, 3) + "  " + first + "\r\n    " + second + "\r\n      " + third + "\r\n");
        EXPECT_EQ(stack.GetMultiLineDisplayString(false), heading(F::kHeading, 3) + "  " + std::string(F::kFirstName) +
                                                              " (Importer::Run line 10)\r\n    " + second +
                                                              "\r\n       (Importer::Step line 30)\r\n");
        EXPECT_EQ(stack.GetStackString(),
                  "\r\n\t\t\t\t  " + first + "\r\n\t\t\t\t    " + second + "\r\n\t\t\t\t      " + third + "\r\n");
      }
      EXPECT_EQ(stack.GetMostRecentContext(), F::kSecond);
      EXPECT_EQ(middleContext.use_count(), 2u);
    }
    EXPECT_EQ(stack.GetNumberOfContexts(), 1u);
    EXPECT_EQ(stack.GetMostRecentContextDisplayString(true), first);
  }
  EXPECT_TRUE(stack.IsEmpty());
}

TYPED_TEST(ExecutionContextStacks, PopTakesTheTopWhateverPointerItIsGiven) {
  using F = TypeParam;
  typename F::Stack stack;
  const auto bottom = makeShared<F>(F::kFirst, "f", 1);
  const auto top = makeShared<F>(F::kSecond, "g", 2);
  const auto foreign = makeShared<F>(F::kFirst, "h", 3);
  stack.PushContext(bottom);
  stack.PushContext(top);
  stack.PopContext(bottom.get());  // not the top: the top goes all the same
  EXPECT_EQ(stack.GetNumberOfContexts(), 1u);
  EXPECT_EQ(stack.GetContexts().back().get(), bottom.get());
  EXPECT_EQ(top.use_count(), 1u);
  stack.PopContext(foreign.get());
  EXPECT_TRUE(stack.IsEmpty());
  stack.PopContext(nullptr);  // an empty stack stays empty
  EXPECT_TRUE(stack.IsEmpty());

  // A null context is refused with the library's exception; the stack is unchanged.
  stack.PushContext(bottom);
  try {
    stack.PushContext(typename F::SharedPtr());
    ADD_FAILURE() << "a null context was pushed";
  } catch (const CPExceptionNullArgument& e) {
    EXPECT_EQ(e.getExceptionTypeByNumericCode(), 2);
    EXPECT_STREQ(e.getExceptionMessage(), "A null execution context cannot be pushed.");
  }
  const typename F::SharedPtr none;
  EXPECT_THROW(stack.PushContext(none), CPExceptionNullArgument);
  EXPECT_THROW(typename F::Lifetime(stack, none), CPExceptionNullArgument);
  EXPECT_THROW(typename F::Lifetime(stack, typename F::SharedPtr()), CPExceptionNullArgument);
  EXPECT_EQ(stack.GetNumberOfContexts(), 1u);
  EXPECT_EQ(stack.GetMostRecentContext(), F::kFirst);
}

TEST(ExecutionContextStacks, ASharedContextOutlivesOneOfItsStacks) {
  std::atomic<int> destroyed{0};
  auto shared = ExecutionContextSharedPtr(new CountedContext(destroyed));
  auto first = std::make_unique<ExecutionContextStack>();
  ExecutionContextStack second;
  first->PushContext(shared);
  second.PushContext(shared);
  ExecutionContextStack copy(second);  // copies share the context
  shared.reset();
  EXPECT_EQ(copy.GetContexts().back().use_count(), 3u);
  first.reset();
  EXPECT_EQ(destroyed.load(), 0);
  EXPECT_EQ(second.GetMostRecentContextDisplayString(true), "UI_DIALOG: counted (,  line 0)");
  second.PopContext(nullptr);
  EXPECT_EQ(destroyed.load(), 0);
  EXPECT_EQ(copy.GetContexts().back().use_count(), 1u);
  ExecutionContextStack assigned;
  assigned = copy;
  EXPECT_EQ(assigned.GetMostRecentContext(), ECIE_UI_DIALOG);
  assigned.PopContext(nullptr);
  copy.PopContext(nullptr);
  EXPECT_EQ(destroyed.load(), 1);

  // A context made on one thread, held by another thread's stack after its
  // maker has ended, is deleted by the last pop there.
  ExecutionContextSharedPtr handOver;
  runOnThread([&] { handOver = ExecutionContextSharedPtr(new CountedContext(destroyed)); });
  runOnThread([&] {
    ExecutionContextStack& stack = Storage::GetExecutionContextStack();
    stack.PushContext(handOver);
    handOver.reset();
    stack.PopContext(nullptr);
    EXPECT_EQ(destroyed.load(), 2);
  });
}

TEST(ExecutionContextStacks, EachThreadHasItsOwnStacks) {
  // A thread that never used the library has no storage and no stack, and
  // asking for the error-display stack creates neither.
  runOnThread([] {
    EXPECT_EQ(Storage::TryGetExecutionContextStackForErrorDisplay(), nullptr);
    EXPECT_EQ(Storage::TryGetUtilitiesDllPerThreadStorageObject(), nullptr);
    Storage::GetSharedPtrMemoryPool();  // storage, but still no stack
    EXPECT_EQ(Storage::TryGetExecutionContextStackForErrorDisplay(), nullptr);
    ExecutionContextStack& stack = Storage::GetExecutionContextStack();
    EXPECT_EQ(Storage::TryGetExecutionContextStackForErrorDisplay(), &stack);
    EXPECT_EQ(&Storage::GetExecutionContextStack(), &stack);
    EXPECT_EQ(Storage::TryGetUtilitiesDllPerThreadStorageObject()->PeekConstraintExecutionContextStack(), nullptr);
    EXPECT_NE(static_cast<void*>(&Storage::GetConstraintExecutionContextStack()), static_cast<void*>(&stack));
  });

  // Two threads push different contexts at the same time; each sees its own.
  std::atomic<int> pushed{0};
  std::atomic<int> checked{0};
  const auto worker = [&](int id, const char* name) {
    ExecutionContextLifetime lifetime(MakeBasicExecutionContext(id, 0, CPString(name)));
    ConstraintExecutionContextLifetime constraint(
        MakeBasicConstraintExecutionContext(CECIE_ADD_DI_COMMON_CONSTRAINTS, 0, CPString(name)));
    ++pushed;
    while (pushed.load() < 2) {
      std::this_thread::yield();
    }
    const ExecutionContextStack& stack = Storage::GetExecutionContextStack();
    EXPECT_EQ(stack.GetNumberOfContexts(), 1u);
    EXPECT_EQ(stack.GetMostRecentContext(), id);
    EXPECT_EQ(stack.GetMultiLineDisplayString(true),
              heading("Execution context", 1) + "  " +
                  ExecutionContextBase::GetDebugDisplayString(id, false, false).utf8StdString() + ": " + name +
                  " (,  line 0)\r\n");
    EXPECT_EQ(Storage::GetConstraintExecutionContextStack().GetMostRecentContextDisplayString(true),
              std::string("ADD_DI_COMMON_CONSTRAINTS: ") + name + " (,  line 0)");
    ++checked;
    while (checked.load() < 2) {
      std::this_thread::yield();
    }
  };
  std::thread one(worker, ECIE_IMPORT_KSDF, "first thread");
  std::thread two(worker, ECIE_UI_DIALOG, "second thread");
  one.join();
  two.join();

  // A thread that ends with a context still pushed does not hand it to a
  // thread that starts later.
  runOnThread([] { Storage::GetExecutionContextStack().PushContext(MakeBasicExecutionContext(1, 0, CPString("x"))); });
  runOnThread([] { EXPECT_TRUE(Storage::GetExecutionContextStack().IsEmpty()); });
}

TEST(ExecutionContextStacks, ErrorReportOfAThrowInsideNestedContexts) {
  runOnThread([] {
    RecordingPlatformUtilities platform;
    RecordingExceptionHost host;
    ExceptionFacility facility(platform, host);
    const DebugContextCopy site("C:\\src\\Job.cpp", 5, "Job::Run");
    // Without a stack the line says so.
    EXPECT_NE(DebugUtilities::getErrorContextAndMessageDescription(site, 0, "w", {}, {})
                  .find("\nExecution context:\t<unavailable>\n"),
              std::string::npos);

    const std::string twoLevels = heading("Execution context", 2);
    const std::string noLevels = heading("Execution context", 0);
    {
      ExecutionContextLifetime job(MakeBasicExecutionContext(ECIE_XPS_FILTER_START_OPERATION, 0, "C:\\src\\Job.cpp",
                                                             "Job::Run", 5, false, CPString("job 17")));
      {
        ExecutionContextLifetime import(MakeBasicExecutionContext(
            ECIE_IMPORT_FROM_PRINT_TICKET, 0, "C:\\src\\Ticket.cpp", "readTicket", 80, false, CPString()));
        try {
          HDU_THROW(CPExceptionOutOfRange, HDU_DEBUG_CONTEXT("readTicket"), "index %d", 9);
        } catch (const CPException& e) {
          facility.reportAndProcessCaughtException(e, HDU_DEBUG_CONTEXT("Job::Run"), "importing");
        }
      }
      ASSERT_EQ(host.reports.size(), 1u);
      const std::string& report = host.reports[0].second;
      EXPECT_NE(report.find("index 9"), std::string::npos);
      // The display's line ends become the report's.
      const std::string tail = "\nWhile:\timporting\nExecution context:\t" + twoLevels.substr(0, twoLevels.size() - 2) +
                               "\n  XPS_FILTER_START_OPERATION: job 17 (Job::Run line 5)\n"
                               "    IMPORT_FROM_PRINT_TICKET (Ticket.cpp, readTicket line 80)\n";
      ASSERT_GE(report.size(), tail.size());
      EXPECT_EQ(report.substr(report.size() - tail.size()), tail);

      // Details follow the stack's lines.
      const std::string withDetails = DebugUtilities::getErrorContextAndMessageDescription(site, 0, "w", {}, "d");
      EXPECT_NE(
          withDetails.find("levels deep):\n  XPS_FILTER_START_OPERATION: job 17 (Job::Run line 5)\n\nDetails:\n\td"),
          std::string::npos);
    }
    // An emptied stack still shows its heading.
    const std::string empty = DebugUtilities::getErrorContextAndMessageDescription(site, 0, "w", {}, {});
    EXPECT_EQ(empty.substr(empty.find("Execution context:\t")),
              "Execution context:\t" + noLevels.substr(0, noLevels.size() - 2) + "\n");
  });
}
