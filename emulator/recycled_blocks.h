// Where large sample buffers come from: a picture's planes, the host's
// working copy of them, the tile blocks it hands a filter.
//
// Memory new to a process costs a page fault and the kernel's zeroing of
// every page at its first touch, and for a picture of tens of megabytes that
// is a good part of a whole correction. So each large block is mapped on its
// own, 2 MiB aligned and advised onto transparent huge pages (Linux): the
// whole block, edges included, may then be faulted in 2 MiB at a time, where
// the heap's blocks start anywhere and fault their edges in 4 KiB pages. And
// a process that corrects one picture after another may keep the blocks the
// last one gave back and hand them to the next (keepFreedBlocks): their
// pages are already there. Unless a caller allows that, a block given back
// goes back to the system at once.
//
// Thread-safe. The blocks kept are the process's, as the heap is.
#pragma once

#include <cstddef>

namespace hostemu {

// Blocks under this many bytes always come from the heap.
inline constexpr std::size_t kRecycledBlockMin = std::size_t{1} << 20;

// `bytes` of memory, not initialised, aligned for any sample type (16 bytes
// at least). Throws std::bad_alloc when there is no memory for it.
void *takeBlock(std::size_t bytes);

// Gives back a block from takeBlock(bytes), with the same `bytes`. Null is
// ignored.
void giveBlock(void *block, std::size_t bytes) noexcept;

// From now on up to `bytes` of blocks given back are kept for later takes
// (the oldest go first when more come back). 0, the start, frees those kept
// and keeps none.
void keepFreedBlocks(std::size_t bytes);

// keepFreedBlocks(bytes) if that keeps more than now; threads may race.
void keepFreedBlocksAtLeast(std::size_t bytes);

// What is kept now, and the most that may be.
std::size_t keptBlockBytes();
std::size_t keptBlockLimit();

// keepFreedBlocks(bytes) for as long as it lives; then 0, which frees them.
class KeepFreedBlocks {
 public:
  explicit KeepFreedBlocks(std::size_t bytes = 0) { keepFreedBlocks(bytes); }
  ~KeepFreedBlocks() { keepFreedBlocks(0); }
  KeepFreedBlocks(const KeepFreedBlocks &) = delete;
  KeepFreedBlocks &operator=(const KeepFreedBlocks &) = delete;
};

}  // namespace hostemu
