#include "attributebytes/AttributeBytesList.h"

#include <atomic>

AttributeBytesListIterator::~AttributeBytesListIterator() = default;

std::uint64_t AttributeBytesList::NewListStamp() noexcept {
  static std::atomic<std::uint64_t> lastStamp{0};
  return lastStamp.fetch_add(1, std::memory_order_relaxed) + 1;
}

AttributeBytesList::~AttributeBytesList() = default;
