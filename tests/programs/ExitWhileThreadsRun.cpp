// A program that returns from main while other threads are still creating,
// copying, handing to each other and releasing shared pointers, and while
// short-lived threads keep starting and ending. The library's exit clean-up
// then runs while they go on: it must neither crash nor touch memory it has
// freed. The program is built with the sanitizers of its build; a run counts
// as passed only when it exits with 0 (see repeat.sh).
//
// Usage: hduExitWhileThreadsRun [workers] [microseconds before exit]
//
// The workers exercise every path into the per-thread storage: objects placed
// with their control block (MakeHldShared), objects with a separate control
// block, objects too large for a block, releases on another thread than the
// maker (through a shared mailbox), and, because some workers only release,
// the hand-over of free lists to the global memory pool manager and back.
// Nothing the workers share is ever destroyed: the process ends around them.
//
// On Windows the program ends itself as soon as the library has unloaded (the
// unload observer sees the clean-up step, with the marker word 0): what comes
// after it, the C runtime's own process detach, is outside the library, and
// under Wine it can spin for ever on a lock of Wine's own that one of the
// ended threads held when the system stopped it. The library's part, which is
// what runs here, is its detach steps: they must neither wait for a lock nor
// touch the heap.

#include "DesktopUtilitiesLibraryHost.h"
#include "LowLevelFacilities/HldSharedPtr.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

// Called by the library for each unload step, from the unloading thread.
void onUnloadStep(const char* step, std::uint32_t markerWord) {
#ifdef _WIN32
  if (std::strcmp(step, "clean-up") == 0 && markerWord == 0) {
    static const char kLine[] = "library unloaded\n";
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), kLine, sizeof kLine - 1, &written, nullptr);
    ::TerminateProcess(::GetCurrentProcess(), 0);
  }
#else
  static_cast<void>(step);
  static_cast<void>(markerWord);
#endif
}

struct Small {
  explicit Small(unsigned v) : value(v) {}
  virtual ~Small() = default;
  unsigned value;
};

struct Large : Small {
  explicit Large(unsigned v) : Small(v) {}
  unsigned char bytes[400] = {};
};

struct Mailbox {
  std::mutex mutex;
  std::vector<HldSharedPtr<Small>> pointers;
};

// Allocated once and never destroyed: the workers use them until the process
// is gone.
Mailbox* g_mailbox = nullptr;
std::atomic<unsigned> g_rounds{0};

unsigned nextRandom(unsigned& state) {
  state = state * 1103515245u + 12345u;
  return state >> 8;
}

[[noreturn]] void work(unsigned seed) {
  std::vector<HldSharedPtr<Small>> kept;
  kept.reserve(256);
  unsigned state = seed;
  const bool onlyReleases = seed % 3 == 0;  // takes more from the mailbox than it makes
  for (;;) {
    const unsigned r = nextRandom(state);
    if (!onlyReleases || r % 8 == 0) {
      switch (r % 3) {
        case 0:
          kept.push_back(MakeHldShared<Small>(r));
          break;
        case 1:
          kept.push_back(HldSharedPtr<Small>(new Small(r)));
          break;
        default:
          kept.push_back(MakeHldShared<Large>(r));
          break;
      }
    }
    if (!kept.empty()) {
      HldSharedPtr<Small> copy = kept[r % kept.size()];
      static_cast<void>(copy->value);
    }
    if (r % 32 == 0) {  // mostly its own pools; now and then the mailbox
      std::lock_guard<std::mutex> lock(g_mailbox->mutex);
      if (onlyReleases) {
        for (std::size_t i = 0; i < 64 && !g_mailbox->pointers.empty(); ++i) {
          g_mailbox->pointers.pop_back();
        }
      } else {
        for (std::size_t i = 0; i < 8 && !kept.empty() && g_mailbox->pointers.size() < 4096; ++i) {
          g_mailbox->pointers.push_back(std::move(kept.back()));
          kept.pop_back();
        }
      }
    }
    if (kept.size() > 200) {
      kept.erase(kept.begin(), kept.begin() + 100);
    }
    g_rounds.fetch_add(1, std::memory_order_relaxed);
  }
}

// Starts short-lived threads one after another: each makes a pointer, leaves
// it in the mailbox and ends, so that storages are given up and reused while
// the process exits.
[[noreturn]] void startShortLivedThreads() {
  for (unsigned i = 0;; ++i) {
    std::thread([i] {
      HldSharedPtr<Small> made = MakeHldShared<Small>(i);
      std::lock_guard<std::mutex> lock(g_mailbox->mutex);
      g_mailbox->pointers.push_back(std::move(made));
    }).join();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int workers = argc > 1 ? std::atoi(argv[1]) : 4;
  const int delayMicroseconds = argc > 2 ? std::atoi(argv[2]) : 500;
  g_mailbox = new Mailbox;
  DesktopUtilitiesLibraryHost::SetUnloadStepObserver(&onUnloadStep);
  for (int i = 0; i < workers; ++i) {
    std::thread(work, static_cast<unsigned>(i + 1)).detach();
  }
  std::thread(startShortLivedThreads).detach();
  while (g_rounds.load(std::memory_order_relaxed) < 1000) {
    std::this_thread::yield();
  }
  std::this_thread::sleep_for(std::chrono::microseconds(delayMicroseconds));
  return 0;  // exit runs the library's clean-up while the other threads go on
}
