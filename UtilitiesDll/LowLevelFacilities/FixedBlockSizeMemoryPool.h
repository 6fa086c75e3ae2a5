#pragma once
// FixedBlockSizeMemoryPool: a pool of equal-sized blocks, handed out and taken
// back without any locking by the one thread that owns the pool.
//
// Free blocks form a singly linked list threaded through their first word
// (hence a block is at least 4 bytes, and pointer-aligned: blocks are laid out
// at a stride rounded up to the alignment of a pointer). When the list is empty,
// AllocateFromPool carves a new chunk of `blocks per chunk` blocks from the heap.
// A block may be returned to a different pool than the one it came from (a
// shared pointer released on another thread): it then lives on in that pool.
//
// The pool knows the last block of its free list and how many blocks the list
// holds, so combining two pools, and handing a free list over, take the same
// short time however long the lists are (the unload clean-up combines the
// pools of every thread that ever used the library).
//
// Chunks. Every chunk belongs to exactly one pool, which frees it when it is
// destroyed. Combining and recycling move the chunks along with the free list,
// so a pool that has been combined into another owns nothing any more and can
// be destroyed safely; the pool that absorbs all others at unload frees every
// chunk. A pool must not be destroyed while blocks of its chunks are still in
// use or listed in another pool's free list; combine it into a survivor first.
//
// Sharing free blocks with the global memory pool manager. A pool that takes
// part (SetGlobalMemoryPoolManagerThreshold with a threshold above 0) hands its
// whole free list to the process-wide manager (GlobalMemoryPoolManager) when
// a return makes it longer than the threshold, and, when its list is empty,
// first takes up to a chunk's worth of the manager's free blocks of its
// geometry before it carves a new chunk. So a thread that only releases (the
// consumer of objects another thread makes) does not hoard blocks, and the
// thread that makes them reuses them. Only the free blocks move, never the chunks: a pool that takes part
// must live until the unload clean-up combines every pool into one (the
// per-thread storages' pools do); its blocks may be in use anywhere until then.
// The hand-over takes the per-thread-storage lock, once per threshold's worth
// of returns at most.
//
// The two flags:
//  - first flag ("free chunks on destruction"): when true the destructor frees
//    the chunks the pool owns; when false they are deliberately left to the
//    process (for a pool whose blocks may still be referenced while the
//    process shuts down). Given at construction; never copied.
//  - second flag ("report on destruction"): when true the destructor writes the
//    pool's statistics string to the debugger channel. Copied from the other
//    pool when pools are combined, so that a pool being watched stays watched.
//
// The six counters (32-bit, wrapping): allocations served, blocks returned,
// chunks owned, free blocks received by combining, free blocks handed to the
// global memory pool manager, and ReturnToPool calls with a null block. All are
// added into this pool (and zeroed in the other) when pools are combined, so
// that after the unload clean-up `allocations - returns` counts the blocks
// still in use anywhere.

#include "DebuggingAndExceptions/DumpArgs.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <new>

class HDU_API FixedBlockSizeMemoryPool {
 public:
  enum : std::uint32_t { kValidityTag = 89 };
  enum : unsigned {
    kNameCapacity = 64,           // characters, terminator included
    kMaximumNameCharacters = 63,  // a longer name is cut here
    kMinimumBlockSize = 4,
    kMinimumBlocksPerChunk = 2,
  };

  struct Counters {
    std::uint32_t allocations;
    std::uint32_t returns;
    std::uint32_t chunks;
    std::uint32_t blocksReceivedByCombining;
    std::uint32_t blocksRecycled;
    std::uint32_t nullReturns;
  };

  // name: cut at 63 characters (null gives an empty name). blockSize: raised
  // to at least 4. blocksPerChunk: raised to at least 2.
  FixedBlockSizeMemoryPool(const wchar_t* name, unsigned blockSize, unsigned blocksPerChunk,
                           bool freeChunksOnDestruction, bool reportOnDestruction) noexcept;
  ~FixedBlockSizeMemoryPool();
  FixedBlockSizeMemoryPool(const FixedBlockSizeMemoryPool&) = delete;
  FixedBlockSizeMemoryPool& operator=(const FixedBlockSizeMemoryPool&) = delete;

  // Pops the head of the free list, first filling the list with a new chunk
  // when it is empty. A request larger than the block size throws
  // CPExceptionInvalidArgument; running out of memory throws std::bad_alloc.
  // (The common case is inline: it is on the path of every shared pointer.)
  void* AllocateFromPool(unsigned size) {
    if (size > m_blockSize || m_freeListHead == nullptr) {
      return AllocateFromPoolAfterRefill(size);
    }
    FreeBlock* block = m_freeListHead;
    m_freeListHead = block->next;
    --m_freeBlockCount;
    ++m_allocationCount;
    return block;
  }
  // Pushes the block on the head of the free list; a null block is ignored.
  // The size is not used: every block has the pool's size. A pool that takes
  // part in the global manager and now holds more free blocks than its
  // threshold hands its free list over.
  void ReturnToPool(void* block, unsigned /*size*/) noexcept {
    if (block == nullptr) {
      ++m_nullReturnCount;
      return;
    }
    FreeBlock* pushed = ::new (block) FreeBlock{m_freeListHead};
    if (m_freeListHead == nullptr) {
      m_freeListTail = pushed;
    }
    m_freeListHead = pushed;
    ++m_returnCount;
    if (++m_freeBlockCount > m_globalManagerThreshold) {
      HandFreeListToGlobalMemoryPoolManager();
    }
  }
  // Appends the other pool's whole free list behind the last block of this
  // pool's list (or makes it this pool's list when this one is empty), takes
  // over the other pool's chunks, copies its second flag, and adds its
  // counters into this pool's, zeroing the other's. Does nothing unless both
  // pools carry the validity tag and have the same block size and blocks per
  // chunk; combining a pool with itself moves nothing.
  void CombineOtherMemoryPoolWithThisOne(FixedBlockSizeMemoryPool& other) noexcept;
  // Hands the free list (with the chunks and counters) to the process-wide
  // pool manager, which keeps one receiving pool per block geometry; the pool
  // stays usable and starts a new chunk when it next needs a block. For the
  // shared-pointer geometry the receiving pool is the one new threads are
  // seeded from.
  void RecycleMemoryPoolFreeListWithGlobalMemoryPoolManager();
  // Makes the pool take part in the global memory pool manager (see the top)
  // with the given threshold of free blocks; 0 (the default) ends taking part.
  void SetGlobalMemoryPoolManagerThreshold(std::uint32_t freeBlocks) noexcept;
  std::uint32_t GetGlobalMemoryPoolManagerThreshold() const noexcept {
    return m_globalManagerThreshold == kNotTakingPart ? 0 : m_globalManagerThreshold;
  }
  // Moves the other pool's free list alone (no chunks, no counters) behind
  // this pool's list; both must have the same geometry. What the global
  // manager does with the lists it receives and hands out. Returns the
  // number of blocks moved.
  std::uint32_t TakeFreeListOf(FixedBlockSizeMemoryPool& other) noexcept;
  // The same with at most `maximumBlocks` blocks from the head of the other's
  // list (walking those when it is longer).
  std::uint32_t TakeFreeBlocksOf(FixedBlockSizeMemoryPool& other, std::uint32_t maximumBlocks) noexcept;

  // One line, into a caller's buffer of `capacity` characters (terminator
  // included); returns the characters written, without the terminator. The
  // text is cut to fit (never in the middle of a UTF-16 pair):
  //   "<name>: <allocations> allocated, <returns> returned, <in use> in use,
  //    <free> free, <chunks> chunks of <n> x <size> bytes"
  unsigned GetStatisticsDisplayString(wchar_t* buffer, unsigned capacity) const noexcept;
  // "FixedBlockSizeMemoryPool '<name>' (block size <size>, requested <r>,
  //  <n> blocks per chunk, free chunks on destruction <yes|no>, report on
  //  destruction <yes|no>, <free> free blocks)", followed, when
  // `includeStatistics`, by "; " and the six counters as
  // "allocations=%u returns=%u chunks=%u combined=%u recycled=%u null-returns=%u".
  unsigned GetDumpDisplayString(wchar_t* buffer, unsigned capacity, bool includeStatistics) const noexcept;
  void Dump(DumpArgs dumpArgs) const;

  // ---- inspection ----
  bool IsValid() const noexcept { return m_validityTag == kValidityTag; }
  const wchar_t* GetName() const noexcept { return m_name; }
  unsigned GetRequestedBlockSize() const noexcept { return m_requestedBlockSize; }
  unsigned GetBlockSize() const noexcept { return m_blockSize; }
  unsigned GetBlocksPerChunk() const noexcept { return m_blocksPerChunk; }
  bool GetFreeChunksOnDestructionFlag() const noexcept { return m_freeChunksOnDestruction; }
  bool GetReportOnDestructionFlag() const noexcept { return m_reportOnDestruction; }
  Counters GetCounters() const noexcept;
  // Blocks handed out and not yet returned, over every pool whose counters
  // were combined into this one.
  std::uint32_t GetBlocksInUse() const noexcept { return m_allocationCount - m_returnCount; }
  std::uint32_t GetFreeBlockCount() const noexcept { return m_freeBlockCount; }
  // Walks the free list and counts it (for checks; GetFreeBlockCount is kept
  // up to date and answers at once).
  std::uint32_t CountFreeListBlocks() const noexcept;
  bool IsBlockInFreeList(const void* block) const noexcept;
  const void* PeekFreeListHead() const noexcept { return m_freeListHead; }
  // The last block of the free list (null when the list is empty).
  const void* PeekFreeListTail() const noexcept { return m_freeListHead != nullptr ? m_freeListTail : nullptr; }

 private:
  friend class GlobalMemoryPoolManager;  // moves free lists and notes them in the counters

  struct FreeBlock {
    FreeBlock* next;
  };
  struct ChunkHeader;

  enum : std::uint32_t { kNotTakingPart = 0xFFFFFFFF };

  void AddChunk();
  void* AllocateFromPoolAfterRefill(unsigned size);
  void HandFreeListToGlobalMemoryPoolManager() noexcept;
  bool HasSameGeometryAs(const FixedBlockSizeMemoryPool& other) const noexcept {
    return m_blockSize == other.m_blockSize && m_blocksPerChunk == other.m_blocksPerChunk;
  }
  void TransferEverythingFrom(FixedBlockSizeMemoryPool& other) noexcept;
  unsigned WriteDisplayString(wchar_t* buffer, unsigned capacity, const char* utf8Text) const noexcept;

  std::uint32_t m_validityTag;
  wchar_t m_name[kNameCapacity];
  FreeBlock* m_freeListHead = nullptr;
  // The last block of the free list; meaningful only while the list is not
  // empty (so taking a block never has to update it).
  FreeBlock* m_freeListTail = nullptr;
  std::uint32_t m_freeBlockCount = 0;
  // Free blocks beyond which a return hands the list to the global manager;
  // kNotTakingPart for a pool that does not take part.
  std::uint32_t m_globalManagerThreshold = kNotTakingPart;
  wchar_t m_displayName[kNameCapacity];
  std::uint32_t m_requestedBlockSize;
  std::uint32_t m_blockSize;
  std::uint32_t m_blocksPerChunk;
  bool m_freeChunksOnDestruction;
  bool m_reportOnDestruction;
  std::uint32_t m_allocationCount = 0;
  std::uint32_t m_returnCount = 0;
  std::uint32_t m_chunkCount = 0;
  std::uint32_t m_combinedBlockCount = 0;
  std::uint32_t m_recycledBlockCount = 0;
  std::uint32_t m_nullReturnCount = 0;
  ChunkHeader* m_chunkListHead = nullptr;
};
