#pragma once
// GlobalMemoryPoolManager: the process-wide pool manager, which keeps free
// pool blocks that their thread does not need and hands them to a thread that
// would otherwise carve a new chunk.
//
// Why: a block returns to the pool of the thread that releases it. When one
// thread makes objects and another releases them, every block would end on the
// releasing thread's free list while the making thread carved chunk after
// chunk. Pools that take part (FixedBlockSizeMemoryPool's
// SetGlobalMemoryPoolManagerThreshold; the per-thread storages' pools do) hand
// their free list here once it is longer than their threshold, and take from
// here before they carve a chunk. Memory then stays bounded by the blocks in
// use plus about a threshold's worth per pool.
//
// The manager keeps one receiving pool per block geometry (block size and
// blocks per chunk). The receiving pool of the shared-pointer control blocks'
// geometry is UtilitiesDllPerThreadStorage's pool for new threads, so the
// blocks kept there also seed the next new thread. Lists given to the manager
// move whole, in the same short time however long they are; a pool takes at
// most a chunk's worth back, walking only those blocks.
//
// Locking: every operation takes the per-thread-storage lock (one lock guards
// the storages, the pool for new threads and the manager). Once the unload
// clean-up has begun (the storage marker word is no longer 34567) the manager
// takes nothing and hands out nothing: the clean-up is combining its pools.

#include "LowLevelFacilities/FixedBlockSizeMemoryPool.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <cstdint>

class HDU_API GlobalMemoryPoolManager {
 public:
  GlobalMemoryPoolManager() = delete;

  // RecycleMemoryPoolFreeListWithGlobalMemoryPoolManager: the pool's free
  // list, its chunks and its counters go to the receiving pool of its geometry
  // (made on first need; std::bad_alloc when it cannot be). The pool owns
  // nothing afterwards, stays usable and may be destroyed. Nothing happens once
  // the unload clean-up has begun.
  static void AdoptEverythingOf(FixedBlockSizeMemoryPool& pool);
  // A taking-part pool that went over its threshold: its free list alone (the
  // chunks stay with it). False, and the pool keeps its list, when the manager
  // cannot take it (no receiving pool could be made, or unloading).
  static bool AcceptFreeListOf(FixedBlockSizeMemoryPool& pool) noexcept;
  // A taking-part pool whose list is empty: free blocks the manager holds for
  // its geometry move into it, a chunk's worth at most (so that threads
  // starting together share them rather than carving chunks). False when there
  // are none.
  static bool HandFreeBlocksTo(FixedBlockSizeMemoryPool& pool) noexcept;
  // A block released where the calling thread has no pool to take it (its
  // storage has been given up at the end of the thread, or could not be made):
  // it goes to the receiving pool of its geometry; once the unload clean-up has
  // begun it is left where it is.
  static void ReturnBlock(void* block, unsigned blockSize, unsigned blocksPerChunk) noexcept;

  // Free blocks held for a geometry (0 when the manager has no such pool).
  static std::uint32_t GetFreeBlockCountForGeometry(unsigned blockSize, unsigned blocksPerChunk);

  // Unload clean-up, called with the per-thread-storage lock held: every
  // receiving pool of a geometry among `survivors` is combined into that
  // survivor and destroyed. A receiving pool of another geometry (one that only
  // explicitly recycled pools used) is destroyed with its chunks when none of
  // its blocks is in use, and otherwise deliberately kept.
  static void CombineReceivingPoolsIntoSurvivors(FixedBlockSizeMemoryPool* const* survivors,
                                                 std::size_t count) noexcept;
};
