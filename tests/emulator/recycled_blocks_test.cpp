// Large blocks kept for the next picture: only while allowed, never more
// than allowed (the oldest go first), handed out again whole or cut to size,
// on huge-page boundaries, and every block given back exactly once under
// threads that take and give at once. Planes of one document land in the
// memory the last one gave back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "emulator/document.h"
#include "emulator/recycled_blocks.h"

namespace {

using hostemu::giveBlock;
using hostemu::keptBlockBytes;
using hostemu::takeBlock;

constexpr std::size_t kMiB = std::size_t{1} << 20;

TEST(RecycledBlocks, NothingIsKeptUnlessAllowed) {
  const hostemu::KeepFreedBlocks none;
  void *a = takeBlock(8 * kMiB);
  std::memset(a, 1, 8 * kMiB);
  giveBlock(a, 8 * kMiB);
  EXPECT_EQ(keptBlockBytes(), 0u);
  // Small blocks are the heap's whatever the limit.
  const hostemu::KeepFreedBlocks some(64 * kMiB);
  void *s = takeBlock(kMiB - 1);
  giveBlock(s, kMiB - 1);
  EXPECT_EQ(keptBlockBytes(), 0u);
  giveBlock(nullptr, 8 * kMiB);
  EXPECT_EQ(keptBlockBytes(), 0u);
}

TEST(RecycledBlocks, ABlockGivenBackIsTheNextOfItsSize) {
  const hostemu::KeepFreedBlocks keep(64 * kMiB);
  const std::size_t bytes = 24'000'000;  // a 24-megapixel plane, not whole huge pages
  auto *a = static_cast<std::uint8_t *>(takeBlock(bytes));
#if defined(__linux__)
  // On huge-page boundaries, so that its edges may be huge pages too.
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a) % (2 * kMiB), 0u);
#endif
  std::memset(a, 0xA5, bytes);  // every byte of it is ours
  giveBlock(a, bytes);
  EXPECT_GE(keptBlockBytes(), bytes);
  EXPECT_LT(keptBlockBytes(), bytes + 2 * kMiB);
  auto *b = static_cast<std::uint8_t *>(takeBlock(bytes));
  EXPECT_EQ(b, a);
  EXPECT_EQ(keptBlockBytes(), 0u);
  // A smaller block is cut from it; what is given back is only that part.
  giveBlock(b, bytes);
  auto *c = static_cast<std::uint8_t *>(takeBlock(5 * kMiB));
  EXPECT_EQ(c, a);
  std::memset(c, 0, 5 * kMiB);
  giveBlock(c, 5 * kMiB);
  EXPECT_GE(keptBlockBytes(), 5 * kMiB);
#if defined(__linux__)
  EXPECT_LE(keptBlockBytes(), 6 * kMiB);  // the rest went back to the system
#endif
  // A larger one than any kept is new memory, and writable to its end.
  auto *d = static_cast<std::uint8_t *>(takeBlock(40 * kMiB));
  EXPECT_NE(d, a);
  d[40 * kMiB - 1] = 7;
  giveBlock(d, 40 * kMiB);
}

TEST(RecycledBlocks, TheLimitHoldsAndTheOldestGoFirst) {
  const hostemu::KeepFreedBlocks keep(10 * kMiB);
  void *a = takeBlock(4 * kMiB);
  void *b = takeBlock(4 * kMiB);
  void *c = takeBlock(4 * kMiB);
  void *big = takeBlock(12 * kMiB);
  giveBlock(big, 12 * kMiB);  // more than may be kept: gone at once
  EXPECT_EQ(keptBlockBytes(), 0u);
  giveBlock(a, 4 * kMiB);
  giveBlock(b, 4 * kMiB);
  EXPECT_EQ(keptBlockBytes(), 8 * kMiB);
  giveBlock(c, 4 * kMiB);  // a makes room for c
  EXPECT_EQ(keptBlockBytes(), 8 * kMiB);
  void *first = takeBlock(4 * kMiB);
  void *second = takeBlock(4 * kMiB);
  EXPECT_TRUE((first == b && second == c) || (first == c && second == b));
  giveBlock(first, 4 * kMiB);
  giveBlock(second, 4 * kMiB);
  hostemu::keepFreedBlocksAtLeast(6 * kMiB);  // lower than now: no change
  EXPECT_EQ(hostemu::keptBlockLimit(), 10 * kMiB);
  hostemu::keepFreedBlocks(4 * kMiB);
  EXPECT_EQ(keptBlockBytes(), 4 * kMiB);
  hostemu::keepFreedBlocks(0);
  EXPECT_EQ(keptBlockBytes(), 0u);
}

TEST(RecycledBlocks, WhetherABlockIsKeptIsDecidedWhenItIsGivenBack) {
  void *before = takeBlock(4 * kMiB);  // taken while nothing is kept
  const hostemu::KeepFreedBlocks keep(64 * kMiB);
  giveBlock(before, 4 * kMiB);
  EXPECT_EQ(keptBlockBytes(), 4 * kMiB);
  void *again = takeBlock(4 * kMiB);
  EXPECT_EQ(again, before);
  hostemu::keepFreedBlocks(0);
  giveBlock(again, 4 * kMiB);  // given back after keeping stopped
  EXPECT_EQ(keptBlockBytes(), 0u);
}

TEST(RecycledBlocks, ThreadsTakingAndGivingAtOnceShareBlocksSafely) {
  const hostemu::KeepFreedBlocks keep(32 * kMiB);
  constexpr int kThreads = 4;
  std::vector<std::thread> threads;
  std::vector<int> wrong(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &wrong] {
      for (int i = 0; i < 40; ++i) {
        const std::size_t bytes = (1 + (i + t) % 5) * kMiB + 12345;
        auto *p = static_cast<std::uint8_t *>(takeBlock(bytes));
        // Another thread holding the same block would overwrite these.
        std::memset(p, t + 1, bytes);
        std::this_thread::yield();
        if (p[0] != t + 1 || p[bytes / 2] != t + 1 || p[bytes - 1] != t + 1) ++wrong[t];
        giveBlock(p, bytes);
      }
    });
  }
  for (auto &th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(wrong[t], 0) << "thread " << t;
  EXPECT_LE(keptBlockBytes(), 32 * kMiB);
}

TEST(RecycledBlocks, ANewDocumentsPlanesAreTheLastOnesMemory) {
  const hostemu::KeepFreedBlocks keep(64 * kMiB);
  std::vector<const std::uint8_t *> before;
  {
    hostemu::Document doc;
    doc.planes.resize(3);
    for (auto &p : doc.planes) {
      p.samples.resize(6'000'000);
      before.push_back(p.samples.data());
    }
  }
  hostemu::Document next;
  next.planes.resize(3);
  for (auto &p : next.planes) {
    p.samples.resize(6'000'000);
    EXPECT_NE(std::find(before.begin(), before.end(), p.samples.data()), before.end());
  }
  // A copy is a plane of its own, with the same bytes.
  next.planes[0].samples[5'999'999] = 42;
  const hostemu::Samples copy = next.planes[0].samples;
  EXPECT_NE(copy.data(), next.planes[0].samples.data());
  EXPECT_EQ(copy[5'999'999], 42);
}

}  // namespace
