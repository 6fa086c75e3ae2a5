#include "LowLevelFacilities/FixedBlockSizeMemoryPool.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/CXString.h"
#include "LowLevelFacilities/Formatter.h"
#include "LowLevelFacilities/GlobalMemoryPoolManager.h"
#include "LowLevelFacilities/PlatformFacilities.h"
#include "LowLevelFacilities/WideCodeUnit.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <string>

// Every chunk starts with this header; the blocks follow it at a fixed stride.
// The header is padded to the strictest fundamental alignment, so the first
// block is as well aligned as the chunk memory itself.
struct alignas(std::max_align_t) FixedBlockSizeMemoryPool::ChunkHeader {
  ChunkHeader* next;
};

namespace {

// Blocks are laid out at a stride that holds the link word and keeps every
// block pointer-aligned (a free block stores a pointer in its first word). The
// block size the pool reports stays the one it was given (raised to 4): on a
// 64-bit build a 4-byte block simply occupies 8 bytes.
// The stride is computed in 64 bits: on a 32-bit build a block size near 4 GB
// must not wrap around to a tiny stride.
std::uint64_t blockStride(std::uint32_t blockSize) noexcept {
  const std::uint64_t size = std::max<std::uint64_t>(blockSize, sizeof(void*));
  return (size + alignof(void*) - 1) / alignof(void*) * alignof(void*);
}

void copyName(wchar_t (&target)[FixedBlockSizeMemoryPool::kNameCapacity], const wchar_t* name) noexcept {
  unsigned length = 0;
  if (name != nullptr) {
    while (length < FixedBlockSizeMemoryPool::kMaximumNameCharacters && name[length] != L'\0') {
      target[length] = name[length];
      ++length;
    }
  }
  for (unsigned i = length; i < FixedBlockSizeMemoryPool::kNameCapacity; ++i) {
    target[i] = L'\0';
  }
}

}  // namespace

FixedBlockSizeMemoryPool::FixedBlockSizeMemoryPool(const wchar_t* name, unsigned blockSize, unsigned blocksPerChunk,
                                                   bool freeChunksOnDestruction, bool reportOnDestruction) noexcept
    : m_validityTag(kValidityTag),
      m_requestedBlockSize(blockSize),
      m_blockSize(std::max<std::uint32_t>(blockSize, kMinimumBlockSize)),
      m_blocksPerChunk(std::max<std::uint32_t>(blocksPerChunk, kMinimumBlocksPerChunk)),
      m_freeChunksOnDestruction(freeChunksOnDestruction),
      m_reportOnDestruction(reportOnDestruction) {
  copyName(m_name, name);
  copyName(m_displayName, name);
}

FixedBlockSizeMemoryPool::~FixedBlockSizeMemoryPool() {
  if (m_reportOnDestruction) {
    wchar_t wide[256];
    const unsigned length = GetStatisticsDisplayString(wide, 256);
    const std::string text = InternalHaldenCP::formatToStdString("%s\n", std::wstring(wide, length));
    PlatformFacilities::writeToDebuggerChannel(text.c_str());
  }
  // The validity tag goes first: a pool being destroyed can no longer take
  // part in combining.
  // Volatile, so that the optimiser keeps this store into a dying object.
  *static_cast<volatile std::uint32_t*>(&m_validityTag) = 0;
  m_freeListHead = nullptr;
  m_freeBlockCount = 0;
  if (m_freeChunksOnDestruction) {
    ChunkHeader* chunk = m_chunkListHead;
    while (chunk != nullptr) {
      ChunkHeader* next = chunk->next;
      ::operator delete(static_cast<void*>(chunk));
      chunk = next;
    }
  }
  m_chunkListHead = nullptr;
}

void FixedBlockSizeMemoryPool::AddChunk() {
  const std::uint64_t wideStride = blockStride(m_blockSize);
  // A chunk larger than the address space can hold (a 32-bit build asked for
  // huge blocks or very many of them) is refused instead of wrapping around.
  const std::uint64_t chunkBytes = sizeof(ChunkHeader) + wideStride * m_blocksPerChunk;
  if (chunkBytes > std::numeric_limits<std::size_t>::max() / 2) {
    throw std::bad_alloc();
  }
  const auto stride = static_cast<std::size_t>(wideStride);
  void* memory = ::operator new(static_cast<std::size_t>(chunkBytes));
  auto* chunk = new (memory) ChunkHeader{m_chunkListHead};
  m_chunkListHead = chunk;
  ++m_chunkCount;
  // Thread the new blocks in address order; the list was empty.
  auto* first = reinterpret_cast<unsigned char*>(chunk) + sizeof(ChunkHeader);
  FreeBlock* next = nullptr;
  for (std::uint32_t i = m_blocksPerChunk; i-- > 0;) {
    next = new (first + i * stride) FreeBlock{next};
    if (i + 1 == m_blocksPerChunk) {
      m_freeListTail = next;
    }
  }
  m_freeListHead = next;
  m_freeBlockCount = m_blocksPerChunk;
}

void* FixedBlockSizeMemoryPool::AllocateFromPoolAfterRefill(unsigned size) {
  if (size > m_blockSize) {
    HDU_THROW(CPExceptionInvalidArgument, HDU_DEBUG_CONTEXT("FixedBlockSizeMemoryPool::AllocateFromPool"),
              "A block of %u bytes was requested from the pool '%S', whose blocks hold %u bytes.", size, m_name,
              m_blockSize);
  }
  if (m_freeListHead == nullptr) {
    // Blocks another thread released come first; a new chunk only when the
    // manager has none of this geometry either.
    if (m_globalManagerThreshold == kNotTakingPart || !GlobalMemoryPoolManager::HandFreeBlocksTo(*this)) {
      AddChunk();
    }
  }
  FreeBlock* block = m_freeListHead;
  m_freeListHead = block->next;
  --m_freeBlockCount;
  ++m_allocationCount;
  return block;
}

void FixedBlockSizeMemoryPool::HandFreeListToGlobalMemoryPoolManager() noexcept {
  GlobalMemoryPoolManager::AcceptFreeListOf(*this);
}

void FixedBlockSizeMemoryPool::SetGlobalMemoryPoolManagerThreshold(std::uint32_t freeBlocks) noexcept {
  m_globalManagerThreshold = freeBlocks == 0 ? kNotTakingPart : freeBlocks;
}

std::uint32_t FixedBlockSizeMemoryPool::TakeFreeListOf(FixedBlockSizeMemoryPool& other) noexcept {
  return TakeFreeBlocksOf(other, other.m_freeBlockCount);
}

std::uint32_t FixedBlockSizeMemoryPool::TakeFreeBlocksOf(FixedBlockSizeMemoryPool& other,
                                                         std::uint32_t maximumBlocks) noexcept {
  if (&other == this || other.m_freeListHead == nullptr || maximumBlocks == 0 || !HasSameGeometryAs(other)) {
    return 0;
  }
  // The taken part of the other's list goes behind this pool's last block.
  // The whole list moves without walking it; a part is cut behind its last
  // block, found by walking that part only.
  FreeBlock* first = other.m_freeListHead;
  FreeBlock* last = other.m_freeListTail;
  std::uint32_t moved = other.m_freeBlockCount;
  if (maximumBlocks < moved) {
    last = first;
    for (std::uint32_t i = 1; i < maximumBlocks; ++i) {
      last = last->next;
    }
    moved = maximumBlocks;
    other.m_freeListHead = last->next;
    last->next = nullptr;
    other.m_freeBlockCount -= moved;
  } else {
    other.m_freeListHead = nullptr;
    other.m_freeListTail = nullptr;
    other.m_freeBlockCount = 0;
  }
  if (m_freeListHead != nullptr) {
    m_freeListTail->next = first;
  } else {
    m_freeListHead = first;
  }
  m_freeListTail = last;
  m_freeBlockCount += moved;
  return moved;
}

void FixedBlockSizeMemoryPool::TransferEverythingFrom(FixedBlockSizeMemoryPool& other) noexcept {
  // Free list: the other's list goes behind this pool's last block.
  m_combinedBlockCount += TakeFreeListOf(other);
  // Chunks: this pool now owns (and will free) the other's chunks.
  if (other.m_chunkListHead != nullptr) {
    ChunkHeader* last = other.m_chunkListHead;
    while (last->next != nullptr) {
      last = last->next;
    }
    last->next = m_chunkListHead;
    m_chunkListHead = other.m_chunkListHead;
    other.m_chunkListHead = nullptr;
  }
  m_reportOnDestruction = other.m_reportOnDestruction;
  m_allocationCount += other.m_allocationCount;
  m_returnCount += other.m_returnCount;
  m_chunkCount += other.m_chunkCount;
  m_combinedBlockCount += other.m_combinedBlockCount;
  m_recycledBlockCount += other.m_recycledBlockCount;
  m_nullReturnCount += other.m_nullReturnCount;
  other.m_allocationCount = 0;
  other.m_returnCount = 0;
  other.m_chunkCount = 0;
  other.m_combinedBlockCount = 0;
  other.m_recycledBlockCount = 0;
  other.m_nullReturnCount = 0;
}

void FixedBlockSizeMemoryPool::CombineOtherMemoryPoolWithThisOne(FixedBlockSizeMemoryPool& other) noexcept {
  if (&other == this) {
    return;
  }
  if (m_validityTag != kValidityTag || other.m_validityTag != kValidityTag) {
    return;
  }
  if (!HasSameGeometryAs(other)) {
    return;
  }
  TransferEverythingFrom(other);
}

void FixedBlockSizeMemoryPool::RecycleMemoryPoolFreeListWithGlobalMemoryPoolManager() {
  if (m_validityTag != kValidityTag) {
    return;
  }
  GlobalMemoryPoolManager::AdoptEverythingOf(*this);
}

FixedBlockSizeMemoryPool::Counters FixedBlockSizeMemoryPool::GetCounters() const noexcept {
  return {m_allocationCount,    m_returnCount,        m_chunkCount,
          m_combinedBlockCount, m_recycledBlockCount, m_nullReturnCount};
}

std::uint32_t FixedBlockSizeMemoryPool::CountFreeListBlocks() const noexcept {
  std::uint32_t count = 0;
  for (const FreeBlock* block = m_freeListHead; block != nullptr; block = block->next) {
    ++count;
  }
  return count;
}

bool FixedBlockSizeMemoryPool::IsBlockInFreeList(const void* candidate) const noexcept {
  for (const FreeBlock* block = m_freeListHead; block != nullptr; block = block->next) {
    if (block == candidate) {
      return true;
    }
  }
  return false;
}

unsigned FixedBlockSizeMemoryPool::WriteDisplayString(wchar_t* buffer, unsigned capacity,
                                                      const char* utf8Text) const noexcept {
  if (buffer == nullptr || capacity == 0) {
    return 0;
  }
  buffer[0] = L'\0';
  try {
    const std::wstring wide = CXString::fromUtf8Lenient(utf8Text).toWString();
    std::size_t length = std::min<std::size_t>(wide.size(), capacity - 1);
    // Never leave half of a UTF-16 pair at the cut.
    if (sizeof(wchar_t) == 2 && length > 0 && length < wide.size()) {
      const auto last = wideCodeUnitValue(wide[length - 1]);
      if (last >= 0xD800 && last <= 0xDBFF) {
        --length;
      }
    }
    std::copy_n(wide.data(), length, buffer);
    buffer[length] = L'\0';
    return static_cast<unsigned>(length);
  } catch (...) {
    buffer[0] = L'\0';
    return 0;
  }
}

unsigned FixedBlockSizeMemoryPool::GetStatisticsDisplayString(wchar_t* buffer, unsigned capacity) const noexcept {
  try {
    const std::string text = InternalHaldenCP::formatToStdString(
        "%s: %u allocated, %u returned, %u in use, %u free, %u chunks of %u x %u bytes", m_displayName,
        m_allocationCount, m_returnCount, GetBlocksInUse(), GetFreeBlockCount(), m_chunkCount, m_blocksPerChunk,
        m_blockSize);
    return WriteDisplayString(buffer, capacity, text.c_str());
  } catch (...) {
    return WriteDisplayString(buffer, capacity, "");
  }
}

unsigned FixedBlockSizeMemoryPool::GetDumpDisplayString(wchar_t* buffer, unsigned capacity,
                                                        bool includeStatistics) const noexcept {
  try {
    std::string text = InternalHaldenCP::formatToStdString(
        "FixedBlockSizeMemoryPool '%s' (block size %u, requested %u, %u blocks per chunk, free chunks on destruction "
        "%s, report on destruction %s, %u free blocks)",
        m_displayName, m_blockSize, m_requestedBlockSize, m_blocksPerChunk, m_freeChunksOnDestruction ? "yes" : "no",
        m_reportOnDestruction ? "yes" : "no", GetFreeBlockCount());
    if (includeStatistics) {
      text += InternalHaldenCP::formatToStdString(
          "; allocations=%u returns=%u chunks=%u combined=%u recycled=%u null-returns=%u", m_allocationCount,
          m_returnCount, m_chunkCount, m_combinedBlockCount, m_recycledBlockCount, m_nullReturnCount);
    }
    return WriteDisplayString(buffer, capacity, text.c_str());
  } catch (...) {
    return WriteDisplayString(buffer, capacity, "");
  }
}

void FixedBlockSizeMemoryPool::Dump(DumpArgs dumpArgs) const {
  wchar_t wide[512];
  const unsigned length = GetDumpDisplayString(wide, 512, true);
  dumpArgs.writeLine(CXString(std::wstring(wide, length)).toUtf8());
}
