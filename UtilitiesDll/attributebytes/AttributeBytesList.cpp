#include "attributebytes/AttributeBytesList.h"

#include <atomic>

AttributeBytesListIterator::~AttributeBytesListIterator() = default;

namespace {

// Stamps are taken from the process-wide counter in blocks, one block per
// thread at a time, so that making a list costs no atomic operation.
constexpr std::uint64_t kStampsPerBlock = 1024;

std::atomic<std::uint64_t> g_lastStampBlockEnd{0};
thread_local std::uint64_t t_nextStamp = 0;
thread_local std::uint64_t t_stampBlockEnd = 0;

}  // namespace

std::uint64_t AttributeBytesList::NewListStamp() noexcept {
  if (t_nextStamp == t_stampBlockEnd) {
    const std::uint64_t blockEnd =
        g_lastStampBlockEnd.fetch_add(kStampsPerBlock, std::memory_order_relaxed) + kStampsPerBlock;
    t_nextStamp = blockEnd - kStampsPerBlock + 1;  // stamps start at 1: 0 marks an iterator of no list
    t_stampBlockEnd = blockEnd + 1;
  }
  return t_nextStamp++;
}

AttributeBytesList::~AttributeBytesList() = default;
