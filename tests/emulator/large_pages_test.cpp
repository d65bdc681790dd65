// Sample buffers advised onto huge pages: the advice changes no byte (sizes
// below, at and across the 2 MiB page, and buffers reused at a smaller size),
// and on Linux with huge pages available the
// advised range is one the kernel may back with them (its smaps entry says
// so).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "emulator/large_pages.h"

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
  std::ifstream mode("/sys/kernel/mm/transparent_hugepage/enabled");
  std::string modes;
  std::getline(mode, modes);
  if (modes.find("[never]") != std::string::npos || modes.empty()) {
    GTEST_SKIP() << "transparent huge pages are off here";
  }
  hostemu::Samples samples;
  hostemu::assignSamples(samples, 8 * kHuge, 1);
  // Inside the buffer, past its first (perhaps partial) huge page.
  EXPECT_EQ(hugePageEligible(samples.data() + 3 * kHuge), 1) << "THP modes: " << modes;
}
#endif

}  // namespace
