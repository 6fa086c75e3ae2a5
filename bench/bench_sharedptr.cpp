// HldSharedPtr against std::shared_ptr, same run:
//   create_destroy        make a pointer to a new object and let it go:
//                         MakeHldShared against std::make_shared (both place
//                         the object and its control block in one block)
//   create_destroy_from_new  the same from an object made with `new` (a
//                         separate control block on both sides)
//   copy_destroy          copy an existing pointer and let the copy go
//   create_copy_destroy   make one, copy it three times, let all go
// Both sides count atomically (the benchmark main starts a thread first, so
// libstdc++ uses its atomic counts too).

#include "BenchSupport.h"

#include "LowLevelFacilities/HldSharedPtr.h"

#include <memory>

namespace {

struct Payload {
  explicit Payload(int v) : value(v) {}
  virtual ~Payload() = default;
  int value;
  int more[3] = {};
};

void createDestroyOurs(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    HldSharedPtr<Payload> pointer = MakeHldShared<Payload>(++i);
    hdbench::opaque(pointer);
  }
}
BENCHMARK(createDestroyOurs)->Name("create_destroy/ours");

void createDestroyStd(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    std::shared_ptr<Payload> pointer = std::make_shared<Payload>(++i);
    hdbench::opaque(pointer);
  }
}
BENCHMARK(createDestroyStd)->Name("create_destroy/std_make_shared");

// The object made with `new`: the control block separately, from the
// thread's pool on our side and from the heap on the other.
void createDestroyFromNewOurs(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    HldSharedPtr<Payload> pointer(new Payload(++i));
    hdbench::opaque(pointer);
  }
}
BENCHMARK(createDestroyFromNewOurs)->Name("create_destroy_from_new/ours");

void createDestroyStdFromNew(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    std::shared_ptr<Payload> pointer(new Payload(++i));
    hdbench::opaque(pointer);
  }
}
BENCHMARK(createDestroyStdFromNew)->Name("create_destroy_from_new/std_shared_ptr_new");

void copyDestroyOurs(benchmark::State& state) {
  const HldSharedPtr<Payload> original(new Payload(1));
  for (auto _ : state) {
    HldSharedPtr<Payload> copy = original;
    hdbench::opaque(copy);
  }
}
BENCHMARK(copyDestroyOurs)->Name("copy_destroy/ours");

void copyDestroyStd(benchmark::State& state) {
  const std::shared_ptr<Payload> original = std::make_shared<Payload>(1);
  for (auto _ : state) {
    std::shared_ptr<Payload> copy = original;
    hdbench::opaque(copy);
  }
}
BENCHMARK(copyDestroyStd)->Name("copy_destroy/std_make_shared");

void createCopyDestroyOurs(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    HldSharedPtr<Payload> pointer = MakeHldShared<Payload>(++i);
    HldSharedPtr<Payload> a = pointer;
    HldSharedPtr<Payload> b = a;
    HldSharedPtr<Payload> c = b;
    hdbench::opaque(c);
  }
}
BENCHMARK(createCopyDestroyOurs)->Name("create_copy_destroy/ours");

void createCopyDestroyStd(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    std::shared_ptr<Payload> pointer = std::make_shared<Payload>(++i);
    std::shared_ptr<Payload> a = pointer;
    std::shared_ptr<Payload> b = a;
    std::shared_ptr<Payload> c = b;
    hdbench::opaque(c);
  }
}
BENCHMARK(createCopyDestroyStd)->Name("create_copy_destroy/std_make_shared");

}  // namespace

HDU_BENCHMARK_MAIN()
