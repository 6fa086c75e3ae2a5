// Execution contexts against their plain standard-library equivalent, same run:
//   push_pop           push an existing context on the thread's stack through an
//                      ExecutionContextLifetime and pop it again, against
//                      push_back/pop_back of a std::shared_ptr to the same kind of
//                      object in a std::vector (the cost of every named operation)
//   make_push_pop      the same with a new context each time (message only), made
//                      by MakeBasicExecutionContext against std::make_shared (one
//                      allocation for object and count) and std::shared_ptr(new)
//   make_push_pop_site the same with a full site (file path, function, message),
//                      as drivers construct them
//   name_lookup        ExecutionContextBase::GetDebugDisplayString, whose lookup
//                      enters the family's critical section, against a
//                      std::mutex-guarded std::unordered_map<int, std::string>
//   name_lookup_8_threads  the same while seven more threads look names up
// Each case reports heap allocations per operation ("allocs").

#include "BenchSupport.h"

#include "DebuggingAndExceptions/ExecutionContextStack.h"
#include "LowLevelFacilities/UtilitiesDllPerThreadStorage.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace {

using StdContextPtr = std::shared_ptr<BasicExecutionContext>;

const char* const kFile = "C:\\Build\\hd-Utilities\\UtilitiesDll\\attributebytes\\PersistentAttributes.cpp";
const char* const kFunction = "PersistentAttributes::ImportPersistentAttributesState";

void reportAllocations(benchmark::State& state, const hdbench::AllocationCounter& counter) {
  state.counters["allocs"] =
      benchmark::Counter(static_cast<double>(counter.allocations()), benchmark::Counter::kAvgIterations);
}

void pushPopOurs(benchmark::State& state) {
  const ExecutionContextSharedPtr context =
      MakeBasicExecutionContext(ECIE_IMPORT_FROM_PRINT_TICKET, 0, CPString("importing"));
  ExecutionContextLifetime warm(context);  // the thread's stack exists before timing
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    ExecutionContextLifetime lifetime(context);
    hdbench::opaque(lifetime);
  }
  reportAllocations(state, counter);
}
BENCHMARK(pushPopOurs)->Name("push_pop/ours");

void pushPopStd(benchmark::State& state) {
  const StdContextPtr context =
      std::make_shared<BasicExecutionContext>(ECIE_IMPORT_FROM_PRINT_TICKET, 0, CPString("importing"));
  std::vector<StdContextPtr> stack;
  stack.reserve(ExecutionContextStack::kInitialCapacity);
  stack.push_back(context);
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    stack.push_back(context);
    hdbench::opaque(stack);
    stack.pop_back();
  }
  reportAllocations(state, counter);
}
BENCHMARK(pushPopStd)->Name("push_pop/std_vector_shared_ptr");

void makePushPopOurs(benchmark::State& state) {
  ExecutionContextStack& stack = UtilitiesDllPerThreadStorage::GetExecutionContextStack();
  hdbench::opaque(stack);
  int id = ECIE_NOT_SPECIFIED;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(id);
    ExecutionContextLifetime lifetime(MakeBasicExecutionContext(id, 0, CPString()));
    hdbench::opaque(lifetime);
  }
  reportAllocations(state, counter);
}
BENCHMARK(makePushPopOurs)->Name("make_push_pop/ours");

void makePushPopStd(benchmark::State& state) {
  std::vector<StdContextPtr> stack;
  stack.reserve(ExecutionContextStack::kInitialCapacity);
  int id = ECIE_NOT_SPECIFIED;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(id);
    stack.push_back(std::make_shared<BasicExecutionContext>(id, 0, CPString()));
    hdbench::opaque(stack);
    stack.pop_back();
  }
  reportAllocations(state, counter);
}
BENCHMARK(makePushPopStd)->Name("make_push_pop/std_vector_shared_ptr");

// The peer with its object and control block allocated separately, as ours are
// (the object from the heap, the control block from the thread's pool).
void makePushPopStdFromNew(benchmark::State& state) {
  std::vector<StdContextPtr> stack;
  stack.reserve(ExecutionContextStack::kInitialCapacity);
  int id = ECIE_NOT_SPECIFIED;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(id);
    stack.push_back(StdContextPtr(new BasicExecutionContext(id, 0, CPString())));
    hdbench::opaque(stack);
    stack.pop_back();
  }
  reportAllocations(state, counter);
}
BENCHMARK(makePushPopStdFromNew)->Name("make_push_pop/std_vector_shared_ptr_new");

void makePushPopSiteOurs(benchmark::State& state) {
  UtilitiesDllPerThreadStorage::GetExecutionContextStack();
  const char* file = kFile;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(file);
    ExecutionContextLifetime lifetime(MakeBasicExecutionContext(ECIE_IMPORT_FROM_PRINT_TICKET, 0, file, kFunction,
                                                                __LINE__, false, CPString("job 17")));
    hdbench::opaque(lifetime);
  }
  reportAllocations(state, counter);
}
BENCHMARK(makePushPopSiteOurs)->Name("make_push_pop_site/ours");

void makePushPopSiteStd(benchmark::State& state) {
  std::vector<StdContextPtr> stack;
  stack.reserve(ExecutionContextStack::kInitialCapacity);
  const char* file = kFile;
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    hdbench::opaque(file);
    stack.push_back(std::make_shared<BasicExecutionContext>(ECIE_IMPORT_FROM_PRINT_TICKET, 0, file, kFunction, __LINE__,
                                                            false, CPString("job 17")));
    hdbench::opaque(stack);
    stack.pop_back();
  }
  reportAllocations(state, counter);
}
BENCHMARK(makePushPopSiteStd)->Name("make_push_pop_site/std_vector_shared_ptr");

// ---- name lookups ----

// The peer: the same table with standard parts, built on first use under the lock.
class StdNameTable {
 public:
  std::string find(int id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_names.empty()) {
      for (int value = ECIE_NOT_SPECIFIED; value <= ECIE_NO_MORE_ENUMS; ++value) {
        m_names.emplace(value, ExecutionContextBase::GetDebugDisplayString(value, true, false).utf8StdString());
      }
    }
    const auto found = m_names.find(id);
    return found != m_names.end() ? found->second : std::string();
  }

 private:
  std::mutex m_mutex;
  std::unordered_map<int, std::string> m_names;
};

StdNameTable& stdNameTable() {
  static StdNameTable table;
  return table;
}

// Identifiers cycle over the whole table (short and long names alike).
int nextId(int& index) {
  index = (index + 37) % 180;
  return ECIE_NOT_SPECIFIED + index;
}

void lookUpOurs(int id) {
  CPString name = ExecutionContextBase::GetDebugDisplayString(id, true, false);
  hdbench::opaque(name);
}
void lookUpStd(int id) {
  std::string name = stdNameTable().find(id);
  hdbench::opaque(name);
}

// Seven threads looking names up for as long as they live.
class BackgroundLookups {
 public:
  explicit BackgroundLookups(void (*lookUp)(int)) {
    for (int t = 0; t < 7; ++t) {
      m_threads.emplace_back([this, lookUp, t] {
        int index = t;
        while (!m_stop.load(std::memory_order_relaxed)) {
          lookUp(nextId(index));
        }
      });
    }
  }
  BackgroundLookups(const BackgroundLookups&) = delete;
  BackgroundLookups& operator=(const BackgroundLookups&) = delete;
  ~BackgroundLookups() {
    m_stop = true;
    for (std::thread& thread : m_threads) {
      thread.join();
    }
  }

 private:
  std::atomic<bool> m_stop{false};
  std::vector<std::thread> m_threads;
};

template <void (*LookUp)(int)>
void nameLookup(benchmark::State& state) {
  int index = 0;
  LookUp(nextId(index));  // the table is built before timing
  const hdbench::AllocationCounter counter;
  for (auto _ : state) {
    LookUp(nextId(index));
  }
  reportAllocations(state, counter);
}
BENCHMARK_TEMPLATE(nameLookup, lookUpOurs)->Name("name_lookup/ours");
BENCHMARK_TEMPLATE(nameLookup, lookUpStd)->Name("name_lookup/std_mutex_unordered_map");

template <void (*LookUp)(int)>
void nameLookupEightThreads(benchmark::State& state) {
  int index = 0;
  LookUp(nextId(index));
  const BackgroundLookups others(LookUp);
  for (auto _ : state) {
    LookUp(nextId(index));
  }
}
BENCHMARK_TEMPLATE(nameLookupEightThreads, lookUpOurs)->Name("name_lookup_8_threads/ours")->UseRealTime();
BENCHMARK_TEMPLATE(nameLookupEightThreads, lookUpStd)
    ->Name("name_lookup_8_threads/std_mutex_unordered_map")
    ->UseRealTime();

}  // namespace

HDU_BENCHMARK_MAIN()
