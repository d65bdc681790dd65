// Sample buffers advised onto huge pages: the advice changes no byte (sizes
// below, at and across the 2 MiB page, and buffers reused at a smaller size),
// and on Linux with huge pages available the
// advised range is one the kernel may back with them (its smaps entry says
// so). Where a process has no huge pages, a fresh block is in memory before
// its first touch; where it has them, it is left to fault in huge pages.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "emulator/large_pages.h"
#include "emulator/recycled_blocks.h"

#if defined(__linux__)
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

constexpr std::size_t kHuge = std::size_t{1} << 21;

TEST(LargePages, AssignedSamplesAreExactlyTheValueAtEverySize) {
  for (std::size_t bytes :
       {std::size_t{0}, std::size_t{1}, kHuge - 1, kHuge, kHuge + 3, 5 * kHuge + 4097}) {
    hostemu::Samples samples(17, 9);  // stale contents must not survive
    hostemu::assignSamples(samples, bytes, 0x5C);
    ASSERT_EQ(samples.size(), bytes);
    for (std::size_t i = 0; i < bytes; ++i) ASSERT_EQ(samples[i], 0x5C) << "byte " << i;
  }
  // A buffer reused for fewer bytes keeps no tail and no old byte.
  hostemu::Samples reused;
  hostemu::assignSamples(reused, 3 * kHuge, 0xFF);
  hostemu::assignSamples(reused, kHuge + 5, 0);
  ASSERT_EQ(reused.size(), kHuge + 5);
  for (std::size_t i = 0; i < reused.size(); ++i) ASSERT_EQ(reused[i], 0) << "byte " << i;
}

TEST(LargePages, AdviceOnOddRangesIsHarmless) {
  std::vector<std::uint8_t> small(100, 7);
  hostemu::adviseHugePages(small.data() + 1, 50);
  hostemu::adviseHugePages(nullptr, 0);
  hostemu::adviseHugePages(nullptr, 3 * kHuge);
  for (std::uint8_t v : small) EXPECT_EQ(v, 7);
}

#if defined(__linux__)
// The machine's transparent huge page modes, the chosen one in brackets
// ("always [madvise] never"); empty where the kernel has none.
std::string machineHugePageModes() {
  std::ifstream mode("/sys/kernel/mm/transparent_hugepage/enabled");
  std::string modes;
  std::getline(mode, modes);
  return modes;
}

// The THPeligible line of the mapping holding addr in /proc/self/smaps, or -1.
int hugePageEligible(const void *addr) {
  std::ifstream smaps("/proc/self/smaps");
  const auto at = reinterpret_cast<std::uintptr_t>(addr);
  std::string line;
  bool inside = false;
  while (std::getline(smaps, line)) {
    unsigned long long lo = 0, hi = 0;
    if (std::sscanf(line.c_str(), "%llx-%llx ", &lo, &hi) == 2) {
      inside = at >= lo && at < hi;
    } else if (inside && line.rfind("THPeligible:", 0) == 0) {
      return std::stoi(line.substr(12));
    }
  }
  return -1;
}

TEST(LargePages, AdvisedBufferMayBeBackedByHugePages) {
  const std::string modes = machineHugePageModes();
  if (modes.find("[never]") != std::string::npos || modes.empty()) {
    GTEST_SKIP() << "transparent huge pages are off here";
  }
  hostemu::Samples samples;
  hostemu::assignSamples(samples, 8 * kHuge, 1);
  // Inside the buffer, past its first (perhaps partial) huge page.
  EXPECT_EQ(hugePageEligible(samples.data() + 3 * kHuge), 1) << "THP modes: " << modes;
}

// How many of the pages of [data, data + bytes) are in memory (mincore).
std::size_t residentPages(const void *data, std::size_t bytes) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(data) & ~(page - 1);
  const std::size_t length = reinterpret_cast<std::uintptr_t>(data) + bytes - begin;
  std::vector<unsigned char> in((length + page - 1) / page);
  if (mincore(reinterpret_cast<void *>(begin), length, in.data()) != 0) return SIZE_MAX;
  std::size_t n = 0;
  for (unsigned char v : in) n += v & 1U;
  return n;
}

// Whether this kernel can populate a range (MADV_POPULATE_WRITE came in 5.14).
bool kernelPopulates() {
  void *page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  const bool can = page != MAP_FAILED && madvise(page, 4096, 23 /* MADV_POPULATE_WRITE */) == 0;
  if (page != MAP_FAILED) munmap(page, 4096);
  return can;
}

TEST(LargePages, PopulatedPagesAreInMemoryBeforeTheirFirstTouchAndKeepTheirBytes) {
  if (!kernelPopulates()) GTEST_SKIP() << "this kernel has no MADV_POPULATE_WRITE";
  const std::size_t bytes = 3 * kHuge + 12345;
  auto *map = static_cast<std::uint8_t *>(
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(map, MAP_FAILED);
  (void)madvise(map, bytes, MADV_NOHUGEPAGE);  // 4 KiB pages, whatever the machine's mode
  map[0] = 0x3C;
  map[5000] = 0xC3;
  ASSERT_LT(residentPages(map, bytes), 3u);
  // From an unaligned start: its page is populated too, and so is the last.
  EXPECT_TRUE(hostemu::populatePages(map + 100, bytes - 100));
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  EXPECT_EQ(residentPages(map, bytes), (bytes + page - 1) / page);
  EXPECT_EQ(map[0], 0x3C);
  EXPECT_EQ(map[5000], 0xC3);
  EXPECT_EQ(map[bytes - 1], 0);
  EXPECT_FALSE(hostemu::populatePages(nullptr, bytes));
  munmap(map, bytes);
}

TEST(LargePages, FreshBlocksComeInWholeOnlyWhereNoHugePageIsOffered) {
  if (!kernelPopulates()) GTEST_SKIP() << "this kernel has no MADV_POPULATE_WRITE";
  constexpr std::size_t bytes = 4 * kHuge + 4096;
  const hostemu::KeepFreedBlocks none;  // a fresh mapping, not a kept block
  // A process whose huge pages are turned off, as a job or a container may be.
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0) != 0) _exit(3);
    if (hostemu::hugePagesOnOffer()) _exit(4);
    void *block = hostemu::takeBlock(bytes);
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const bool whole = residentPages(block, bytes) == (bytes + page - 1) / page;
    hostemu::giveBlock(block, bytes);
    _exit(whole ? 0 : 5);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "3: prctl refused, 4: huge pages still offered, "
                                       "5: the block was not brought in";
  // Here, with huge pages on: the block is left to its writers' first touch.
  const std::string modes = machineHugePageModes();
  if (modes.empty() || modes.find("[never]") != std::string::npos) return;
  EXPECT_TRUE(hostemu::hugePagesOnOffer()) << "THP modes: " << modes;
  void *block = hostemu::takeBlock(bytes);
  EXPECT_EQ(residentPages(block, bytes), 0u);
  hostemu::giveBlock(block, bytes);
}
#endif

}  // namespace
