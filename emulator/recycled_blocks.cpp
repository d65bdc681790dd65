#include "emulator/recycled_blocks.h"

#include "emulator/large_pages.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#elif defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace hostemu {

namespace {

#if defined(__linux__)
// Mapped blocks are whole huge pages: a block's last partial page would
// otherwise be faulted in 4 KiB at a time, and a block of the same picture
// size comes back the same size anyway.
constexpr std::size_t kGrain = std::size_t{1} << 21;
#else
constexpr std::size_t kGrain = std::size_t{1} << 16;
#endif

std::size_t roundUp(std::size_t bytes) {
  if (bytes > SIZE_MAX - kGrain) throw std::bad_alloc();
  return (bytes + kGrain - 1) & ~(kGrain - 1);
}

#if defined(__linux__)
void *mapFresh(std::size_t size) {
  // Over-map by one grain and cut the ends off, leaving a 2 MiB aligned block.
  void *raw =
      mmap(nullptr, size + kGrain, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) throw std::bad_alloc();
  const auto begin = reinterpret_cast<std::uintptr_t>(raw);
  const std::uintptr_t aligned = (begin + kGrain - 1) & ~(kGrain - 1);
  if (aligned > begin) munmap(raw, aligned - begin);
  const std::uintptr_t tail = begin + size + kGrain - (aligned + size);
  if (tail > 0) munmap(reinterpret_cast<void *>(aligned + size), tail);
  void *block = reinterpret_cast<void *>(aligned);
  adviseHugePages(block, size);
  // Without huge pages the block would fault in 4 KiB at a time as it is
  // first written; brought in now, in one call, it costs a fifth of that.
  // With them it is left alone: their first touch is spread over the
  // threads that write the block, which populating here would serialise.
  if (!hugePagesOnOffer()) (void)populatePages(block, size);
  return block;
}

void unmap(void *block, std::size_t size) {
  munmap(block, size);
}

// Gives the pages past `keep` back to the system.
void cutTail(void *block, std::size_t size, std::size_t keep) {
  if (size > keep) munmap(static_cast<std::uint8_t *>(block) + keep, size - keep);
}
#elif defined(_WIN32)
void *mapFresh(std::size_t size) {
  void *block = VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (block == nullptr) throw std::bad_alloc();
  (void)populatePages(block, size);  // no huge pages here: see the Linux mapFresh
  return block;
}
void unmap(void *block, std::size_t) {
  VirtualFree(block, 0, MEM_RELEASE);
}
void cutTail(void *, std::size_t, std::size_t) {}
#else
void *mapFresh(std::size_t size) {
  return ::operator new(size);
}
void unmap(void *block, std::size_t) {
  ::operator delete(block);
}
void cutTail(void *, std::size_t, std::size_t) {}
#endif

struct Kept {
  void *block;
  std::size_t size;
};

struct Cache {
  std::mutex lock;
  std::size_t limit = 0;
  std::size_t keptBytes = 0;
  std::vector<Kept> kept;  // oldest first
  // Blocks handed out, by their mapped size.
  std::unordered_map<void *, std::size_t> out;

  // Drops the oldest kept blocks until `room` more fits under the limit; the
  // caller unmaps what is returned, outside the lock.
  std::vector<Kept> makeRoom(std::size_t room) {
    std::size_t n = 0;
    std::size_t freed = 0;
    while (n < kept.size() && keptBytes - freed + room > limit) freed += kept[n++].size;
    std::vector<Kept> dropped(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(n));
    kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(n));
    keptBytes -= freed;
    return dropped;
  }
};

// The process's one cache, like its heap: blocks pass between the threads
// and the pictures of a batch. It is never destroyed, so that a buffer freed
// while the process exits still finds it; the system takes what it keeps.
Cache &cache() {
  static Cache *const c = new Cache;
  return *c;
}

// glibc maps every block over a threshold on its own and, once such a block
// is freed, raises the threshold to its size (at most 32 MiB) and keeps that
// much freed memory: a picture's planes used to teach it so, after which a
// codec's buffers of a megabyte or so were the heap's, reused strip after
// strip. The planes no longer pass through it, so it is told the same once,
// when the first large block is taken; otherwise such buffers are mapped,
// faulted in and unmapped again for every strip.
void keepMidSizeHeapBlocks() {
#if defined(__GLIBC__)
  static const bool told = [] {
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
    return true;
  }();
  (void)told;
#endif
}

void unmapAll(const std::vector<Kept> &blocks) {
  for (const Kept &k : blocks) unmap(k.block, k.size);
}

}  // namespace

void *takeBlock(std::size_t bytes) {
  if (bytes < kRecycledBlockMin) return ::operator new(bytes);
  keepMidSizeHeapBlocks();
  Cache &c = cache();
  const std::size_t want = roundUp(bytes);
  {
    std::lock_guard hold(c.lock);
    // The smallest kept block that holds it; a larger one gives its tail back.
    auto best = c.kept.end();
    for (auto k = c.kept.begin(); k != c.kept.end(); ++k) {
      if (k->size >= want && (best == c.kept.end() || k->size < best->size)) best = k;
    }
    if (best != c.kept.end()) {
      const Kept found = *best;
      c.kept.erase(best);
      c.keptBytes -= found.size;
      cutTail(found.block, found.size, want);
#if defined(__linux__)
      c.out.emplace(found.block, want);
#else
      c.out.emplace(found.block, found.size);
#endif
      return found.block;
    }
  }
  void *block = mapFresh(want);
  std::lock_guard hold(c.lock);
  try {
    c.out.emplace(block, want);
  } catch (...) {
    unmap(block, want);
    throw;
  }
  return block;
}

void giveBlock(void *block, std::size_t bytes) noexcept {
  if (block == nullptr) return;
  if (bytes < kRecycledBlockMin) {
    ::operator delete(block);
    return;
  }
  Cache &c = cache();
  std::vector<Kept> dropped;
  std::size_t size = 0;
  {
    std::lock_guard hold(c.lock);
    const auto it = c.out.find(block);
    if (it == c.out.end()) return;  // only takeBlock's blocks come here
    size = it->second;
    c.out.erase(it);
    if (size <= c.limit) {
      try {
        dropped = c.makeRoom(size);
        c.kept.push_back({block, size});
        c.keptBytes += size;
        size = 0;
      } catch (...) {
        // No room for the bookkeeping: the block simply goes back.
      }
    }
  }
  unmapAll(dropped);
  if (size > 0) unmap(block, size);
}

void keepFreedBlocks(std::size_t bytes) {
  Cache &c = cache();
  std::vector<Kept> dropped;
  {
    std::lock_guard hold(c.lock);
    c.limit = bytes;
    dropped = c.makeRoom(0);
  }
  unmapAll(dropped);
}

void keepFreedBlocksAtLeast(std::size_t bytes) {
  Cache &c = cache();
  std::lock_guard hold(c.lock);
  c.limit = std::max(c.limit, bytes);
}

std::size_t keptBlockBytes() {
  Cache &c = cache();
  std::lock_guard hold(c.lock);
  return c.keptBytes;
}

std::size_t keptBlockLimit() {
  Cache &c = cache();
  std::lock_guard hold(c.lock);
  return c.limit;
}

}  // namespace hostemu
